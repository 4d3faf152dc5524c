// Walking a full VLAN bitmap with vlan_bitmap_find_next and with the walker
// the parsers use, beside a floor that
// loads the same 4096 ids from a plain array.
#include <cstring>
#include <numeric>

#include "frame/bitmap.h"
#include "ratio.h"

namespace {

void BM_find_next_full_bitmap(benchmark::State &state)
{
    alignas(4) uint8_t field[516];
    vlan_mgr::bitmap::init_field(field);
    std::memset(field + 4, 0xFF, 512);
    for (auto _ : state) {
        int64_t sum = 0;
        for (int32_t v = vlan_bitmap_find_next(field, 0); v >= 0; v = vlan_bitmap_find_next(field, v + 1))
            sum += v;
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(BM_find_next_full_bitmap);

// Floor: the 4096 ids read from an array, one load each.
void BM_floor_array_load_4096(benchmark::State &state)
{
    static int32_t ids[4096];
    std::iota(ids, ids + 4096, 0);
    for (auto _ : state) {
        int64_t sum = 0;
        for (int32_t i = 0; i < 4096; ++i) {
            benchmark::DoNotOptimize(ids[i]);
            sum += ids[i];
        }
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(BM_floor_array_load_4096);

// The parsers walk a reply's bitmap with bitmap::Walker, which keeps the
// current word instead of searching again from each start.
void BM_walker_full_bitmap(benchmark::State &state)
{
    alignas(4) uint8_t field[516];
    vlan_mgr::bitmap::init_field(field);
    std::memset(field + 4, 0xFF, 512);
    for (auto _ : state) {
        int64_t sum = 0;
        vlan_mgr::bitmap::Walker walk(field + 4);
        for (int32_t v = walk.next(); v >= 0; v = walk.next())
            sum += v;
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(BM_walker_full_bitmap);

// Each find-next call searches afresh from its start: no target is set for it.
BENCH_RATIO("BM_find_next_full_bitmap", "BM_floor_array_load_4096", 0);
BENCH_RATIO("BM_walker_full_bitmap", "BM_floor_array_load_4096", 4.0);

} // namespace

BENCH_RATIO_MAIN()
