// Fuzzes vlan_get_port_voice_vlan_memb_parse_reply with arbitrary reply bytes.
#include <vlan_mgr/membership.h>

#include "config_fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const config_fuzz::Input in(data, size);
    void *r = nullptr;
    uint32_t count = 0;
    vlan_get_port_voice_vlan_memb_parse_reply(&r, &count, in.data(), in.len());
    config_fuzz::consume(static_cast<port_vdc_vlan *>(r), r != nullptr ? count : 0);
    return 0;
}
