// Fuzzes vlan_get_port_active_trunking_memb_parse_reply and its _local form with arbitrary reply bytes.
#include <vlan_mgr/membership.h>

#include "config_fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const config_fuzz::Input in(data, size);
    uint32_t *ids = nullptr;
    void *bm = nullptr;
    uint32_t count = 0;
    if (vlan_get_port_active_trunking_memb_parse_reply(&ids, &count, &bm, in.data(), in.len()) !=
            VLAN_MGR_ERR_TRUNCATED &&
        ids != nullptr) {
        config_fuzz::consume(ids, count);
        config_fuzz::consume(static_cast<port_active_trunking *>(bm), bm != nullptr ? count : 0);
    }
    ids = nullptr;
    bm = nullptr;
    if (vlan_get_port_active_trunking_memb_parse_reply_local(&ids, &count, &bm, in.data(), in.len()) !=
            VLAN_MGR_ERR_TRUNCATED &&
        ids != nullptr) {
        config_fuzz::consume(ids, count);
        config_fuzz::consume(static_cast<port_active_trunking_local *>(bm), bm != nullptr ? count : 0);
    }
    return 0;
}
