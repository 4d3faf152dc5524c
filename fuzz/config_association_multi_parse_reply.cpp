// Fuzzes vlan_association_multi_parse_reply and its _local form with arbitrary reply bytes.
#include <vlan_mgr/config_req.h>

#include "config_fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const config_fuzz::Input in(data, size);
    vlan_assoc_result_t *r = nullptr;
    uint32_t cookie = 0, type = 0, total = 0;
    uint16_t vdc = 0;
    vlan_association_multi_parse_reply(&vdc, &cookie, &type, &total, &r, in.data(), in.len());
    config_fuzz::consume(r, r != nullptr ? total : 0);
    r = nullptr;
    vlan_association_multi_parse_reply_local(&cookie, &type, &total, &r, in.data(), in.len());
    config_fuzz::consume(r, r != nullptr ? total : 0);
    return 0;
}
