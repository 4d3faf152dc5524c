// Fuzzes vlan_mgr_create_update_parse_reply and its _local form with arbitrary reply bytes.
#include <vlan_mgr/config_req.h>

#include "config_fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const config_fuzz::Input in(data, size);
    uint16_t count = 0;
    uint32_t *ids = nullptr, *st = nullptr;
    const int32_t len = static_cast<int32_t>(in.len());
    if (vlan_mgr_create_update_parse_reply(&count, &ids, &st, in.data(), len) == VLAN_MGR_OK && len != 4) {
        config_fuzz::consume(ids, count == 0 ? 1 : count);
        config_fuzz::consume(st, count == 0 ? 1 : count);
    } else if (ids != nullptr || st != nullptr) {
        __builtin_trap();
    }
    return 0;
}
