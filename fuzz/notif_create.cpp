// Fuzzes vlan_mgr_parse_create_notification_msg with arbitrary payloads (its
// two opcodes and others), the fixed list and the TLV part alike.
#include "notif_fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    notif_fuzz::Input in = notif_fuzz::make_input(data, size, 0x5C1D, 4);
    if (size >= 1 && (data[0] & 0x80) != 0) {
        in.opcode = 0x1D40E;
        in.msg.msg->opcode = 0x1D40E;
    }
    vlan_create_notif2_t *records = nullptr;
    uint32_t count = 0;
    notif_fuzz::last_size() = 0;
    const uint32_t rc = vlan_mgr_parse_create_notification_msg(&in.msg, &records, &count, notif_fuzz::sized_alloc);
    if (rc != VLAN_MGR_OK && records != nullptr)
        __builtin_trap();
    if (rc == VLAN_MGR_OK && notif_fuzz::last_size() != size_t{count} * sizeof(vlan_create_notif2_t))
        __builtin_trap(); // exactly the records written
    notif_fuzz::consume(records, notif_fuzz::last_size());
    return 0;
}
