// Fuzzes vlan_mgr_vlan_rsvd_check_parse_request_pld with arbitrary request
// bytes.
#include <vlan_mgr/config_req.h>

#include "config_fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const config_fuzz::Input in(data, size);
    uint16_t vdc = 0;
    uint32_t w1 = 0, w2 = 0;
    const uint32_t st = vlan_mgr_vlan_rsvd_check_parse_request_pld(in.data(), in.len(), &vdc, &w1, &w2);
    if ((st == VLAN_MGR_OK) != (in.len() >= 12))
        __builtin_trap();
    return 0;
}
