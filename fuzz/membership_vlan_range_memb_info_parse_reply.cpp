// Fuzzes vlan_get_vlan_range_memb_info_parse_reply_local with arbitrary reply bytes.
#include <vlan_mgr/membership.h>

#include "config_fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const config_fuzz::Input in(data, size);
    uint32_t *ids = nullptr;
    uint32_t count = 0;
    vlan_get_vlan_range_memb_info_parse_reply_local(&ids, &count, in.data(), in.len());
    config_fuzz::consume(ids, ids != nullptr ? count : 0);
    return 0;
}
