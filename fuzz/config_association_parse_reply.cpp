// Fuzzes vlan_association_parse_reply and its _local form with arbitrary reply bytes.
#include <vlan_mgr/config_req.h>

#include "config_fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const config_fuzz::Input in(data, size);
    vlan_delete_result_t *r = nullptr;
    uint32_t count = 0, type = 0, primary = 0;
    uint16_t vdc = 0, tag = 0;
    vlan_association_parse_reply(&r, &count, &vdc, &type, &primary, &tag, in.data(), in.len());
    config_fuzz::consume(r, r != nullptr ? count : 0);
    r = nullptr;
    vlan_association_parse_reply_local(&r, &count, &type, &primary, &tag, in.data(), in.len());
    config_fuzz::consume(r, r != nullptr ? count : 0);
    return 0;
}
