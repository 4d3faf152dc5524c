// Fuzzes vlan_get_vlans_for_attr_value_parse_reply with arbitrary reply bytes.
#include <vlan_mgr/query_req.h>

#include "config_fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const config_fuzz::Input in(data, size);
    uint32_t attr = 0, count = 0;
    vlan_attr_entry *r = nullptr;
    vlan_get_vlans_for_attr_value_parse_reply(&attr, &count, &r, in.data(), in.len());
    config_fuzz::consume(r, r != nullptr ? count : 0);
    return 0;
}
