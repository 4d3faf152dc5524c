// Fuzzes vlan_name_to_id_parse_reply and its _local form with arbitrary reply bytes.
#include <vlan_mgr/config_req.h>

#include "config_fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const config_fuzz::Input in(data, size);
    vdc_vlan_id_t r{0, 0};
    vlan_name_to_id_parse_reply(&r, in.data(), in.len());
    uint32_t vlan = 0;
    vlan_name_to_id_parse_reply_local(&vlan, in.data(), in.len());
    if (in.len() >= 10 && vlan != r.vlan_id)
        __builtin_trap(); // both forms decode the same id
    return 0;
}
