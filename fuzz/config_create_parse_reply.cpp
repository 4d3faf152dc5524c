// Fuzzes vlan_create_parse_reply and its _local form with arbitrary reply bytes.
#include <vlan_mgr/config_req.h>

#include "config_fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const config_fuzz::Input in(data, size);
    uint16_t vdc = 0, count = 0;
    uint32_t *ids = nullptr, *st = nullptr;
    if (vlan_create_parse_reply(&vdc, &count, &ids, &st, in.data(), in.len()) == VLAN_MGR_OK && in.len() != 4) {
        config_fuzz::consume(ids, count == 0 ? 1 : count);
        config_fuzz::consume(st, count == 0 ? 1 : count);
    } else if (ids != nullptr || st != nullptr) {
        __builtin_trap(); // a failure leaves nothing allocated
    }
    ids = st = nullptr;
    if (vlan_create_parse_reply_local(&count, &ids, &st, in.data(), in.len()) == VLAN_MGR_OK && in.len() != 4) {
        config_fuzz::consume(ids, count == 0 ? 1 : count);
        config_fuzz::consume(st, count == 0 ? 1 : count);
    }
    return 0;
}
