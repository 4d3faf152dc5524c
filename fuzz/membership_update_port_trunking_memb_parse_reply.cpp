// Fuzzes the trunking update reply parsers. They take no length: the caller
// passes a whole reply, so only inputs that hold the 18-byte header and the
// M pairs it announces (when the status is 0) are handed to them.
#include <vlan_mgr/membership.h>

#include "config_fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 4)
        return 0;
    const uint32_t status = uint32_t{data[0]} << 24 | uint32_t{data[1]} << 16 | uint32_t{data[2]} << 8 | data[3];
    if (status == 0) {
        if (size < 18)
            return 0;
        const uint64_t m = uint64_t{data[14]} << 24 | uint64_t{data[15]} << 16 | uint64_t{data[16]} << 8 | data[17];
        if (size < 18 + 8 * m)
            return 0;
    }
    const config_fuzz::Input in(data, size);
    trunking_update_result *r = nullptr;
    if (vlan_update_port_trunking_memb_parse_reply(&r, in.data()) == 0)
        config_fuzz::consume(reinterpret_cast<uint8_t *>(r), 14 + 8 * size_t{r->count});
    trunking_update_result_local *l = nullptr;
    if (vlan_update_port_trunking_memb_parse_reply_local(&l, in.data()) == 0)
        config_fuzz::consume(reinterpret_cast<uint8_t *>(l), 12 + 8 * size_t{l->count});
    return 0;
}
