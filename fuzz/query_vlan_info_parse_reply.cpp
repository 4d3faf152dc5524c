// Fuzzes vlan_get_vlan_info_parse_reply and its _local form with arbitrary reply bytes.
#include <vlan_mgr/query_req.h>

#include "config_fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const config_fuzz::Input in(data, size);
    vlan_info_record r{};
    vlan_get_vlan_info_parse_reply(&r, in.data(), in.len());
    vlan_info_record_local l{};
    vlan_get_vlan_info_parse_reply_local(&l, in.data(), in.len());
    // The name is always terminated inside its field.
    if (r.name[32] != '\0' || l.name[32] != '\0')
        __builtin_trap();
    return 0;
}
