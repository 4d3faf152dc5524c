// Fuzzes vlan_get_reserve_vlan_info_parse_reply and its _local form with
// arbitrary reply bytes.
#include <vlan_mgr/query_req.h>

#include "config_fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const config_fuzz::Input in(data, size);
    uint32_t count = 0, status = 0;
    reserve_vlan_info *r = nullptr;
    vlan_get_reserve_vlan_info_parse_reply(&r, &count, &status, in.data(), in.len());
    config_fuzz::consume(r, r != nullptr ? count : 0);
    reserve_vlan_info_local *l = nullptr;
    vlan_get_reserve_vlan_info_parse_reply_local(&l, &count, &status, in.data(), in.len());
    config_fuzz::consume(l, l != nullptr ? count : 0);
    return 0;
}
