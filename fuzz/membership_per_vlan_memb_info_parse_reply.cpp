// Fuzzes the per-VLAN membership parsers (full and _local; the three names of
// each share one implementation) with arbitrary reply bytes.
#include <vlan_mgr/membership.h>

#include "config_fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const config_fuzz::Input in(data, size);
    vlan_port_memb *r = nullptr;
    uint32_t count = 0;
    vlan_get_per_vlan_memb_info_parse_reply(&r, &count, in.data(), in.len());
    config_fuzz::consume(r, r != nullptr ? count : 0);
    vlan_port_memb_local *l = nullptr;
    vlan_get_per_vlan_trunking_memb_info_parse_reply_local(&l, &count, in.data(), in.len());
    config_fuzz::consume(l, l != nullptr ? count : 0);
    return 0;
}
