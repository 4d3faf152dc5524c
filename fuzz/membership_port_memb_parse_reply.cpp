// Fuzzes vlan_get_port_memb_parse_reply and its _local form with arbitrary reply bytes.
#include <vlan_mgr/membership.h>

#include "config_fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const config_fuzz::Input in(data, size);
    void *r = nullptr;
    uint32_t count = 0;
    vlan_get_port_memb_parse_reply(&r, &count, in.data(), in.len());
    config_fuzz::consume(static_cast<port_memb *>(r), r != nullptr ? count : 0);
    r = nullptr;
    vlan_get_port_memb_parse_reply_local(&r, &count, in.data(), in.len());
    config_fuzz::consume(static_cast<port_memb_local *>(r), r != nullptr ? count : 0);
    return 0;
}
