// vlan_get_bd answered from the BD cache, beside a floor that loads the same
// VLANs' entries from a bare 4096-entry array. Runs on the test platform: a
// hit touches no database.
#include <cstdint>

#include <vlan_mgr/bd_db.h>

#include "bd_db/bd_cache.h"
#include "ratio.h"

namespace {

void BM_vlan_get_bd_cache_hit(benchmark::State &state)
{
    vlan_mgr_enable_cached_bd_sdb();
    for (uint32_t v = 1; v <= 4094; ++v)
        vlan_mgr_set_bd_cache_entry(1, v, static_cast<uint16_t>(v + 1));
    // The caller's keys, as a client keeps them.
    static vdc_vlan_id_t keys[4095];
    for (uint32_t v = 1; v <= 4094; ++v) {
        keys[v].vdc_id = 1;
        keys[v].vlan_id = v;
    }
    uint32_t v = 1;
    for (auto _ : state) {
        uint16_t bd = 0;
        benchmark::DoNotOptimize(vlan_get_bd(keys[v], &bd));
        benchmark::DoNotOptimize(bd);
        v = v == 4094 ? 1 : v + 1;
    }
    vlan_mgr_disable_cached_bd_sdb();
}
BENCHMARK(BM_vlan_get_bd_cache_hit);

// Floor: one load from a 4096-entry array per lookup, same VLAN sequence.
void BM_floor_bare_array_load(benchmark::State &state)
{
    static uint16_t entries[4096];
    for (uint32_t v = 1; v <= 4094; ++v)
        entries[v] = static_cast<uint16_t>(v + 1);
    uint16_t *table = entries;
    benchmark::DoNotOptimize(table);
    uint32_t v = 1;
    for (auto _ : state) {
        uint16_t bd = table[v];
        benchmark::DoNotOptimize(bd);
        v = v == 4094 ? 1 : v + 1;
    }
}
BENCHMARK(BM_floor_bare_array_load);

} // namespace

BENCH_RATIO("BM_vlan_get_bd_cache_hit", "BM_floor_bare_array_load", 2.0);

BENCH_RATIO_MAIN()
