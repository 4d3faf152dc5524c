// Fuzzes vlan_update_port_memb_parse_reply and its _local form with arbitrary reply bytes.
#include <vlan_mgr/membership.h>

#include "config_fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const config_fuzz::Input in(data, size);
    vdc_vlan_id_t key{0, 0};
    vlan_update_port_memb_parse_reply(&key, in.data(), in.len());
    uint32_t vlan = 0;
    vlan_update_port_memb_parse_reply_local(&vlan, in.data(), in.len());
    volatile uint32_t sink = key.vdc_id ^ key.vlan_id ^ vlan;
    (void)sink;
    return 0;
}
