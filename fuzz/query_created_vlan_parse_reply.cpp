// Fuzzes vlan_get_all_created_vlan_parse_reply and its _local form with
// arbitrary reply bytes, with the BD cache switched on so that every listed
// VLAN also goes through the cache update.
#include <vlan_mgr/bd_db.h>
#include <vlan_mgr/query_req.h>

#include "config_fuzz_input.h"
#include "test_platform.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const bool cache_on = (vlan_mgr_enable_cached_bd_sdb(), true);
    (void)cache_on;
    const config_fuzz::Input in(data, size);
    created_vlan_record *r = nullptr;
    uint32_t count = 0;
    vlan_get_all_created_vlan_parse_reply(&r, &count, in.data(), in.len());
    config_fuzz::consume(r, count);
    created_vlan_record_local *l = nullptr;
    vlan_get_all_created_vlan_parse_reply_local(&l, &count, in.data(), in.len());
    config_fuzz::consume(l, count);
    // VLAN ids outside 1..4094 are reported by the cache; the test platform
    // keeps every report, so its record starts afresh for each input.
    tp::reset();
    return 0;
}
