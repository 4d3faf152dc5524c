// Fuzzes vlan_mgr_parse_notification_msg with arbitrary opcodes and payloads.
#include "notif_fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    notif_fuzz::Input in = notif_fuzz::make_input(data, size, 0x5C00, 0x60);
    void *records = nullptr;
    uint32_t count = 0;
    notif_fuzz::last_size() = 0;
    const uint32_t rc = vlan_mgr_parse_notification_msg(&in.msg, &records, &count, notif_fuzz::sized_alloc);
    if (rc != VLAN_MGR_OK && records != nullptr)
        __builtin_trap(); // a failure hands out nothing
    notif_fuzz::consume(records, notif_fuzz::last_size());
    return 0;
}
