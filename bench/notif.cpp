// Parsing a 0x5C1D change notification of 4094 created VLANs with the BD
// cache on (4094 cache updates) into a fresh malloc'd array, beside a floor
// that copies the same payload bytes with memcpy into a fresh block.
#include <cstdlib>
#include <cstring>
#include <vector>

#include <vlan_mgr/bd_db.h>
#include <vlan_mgr/notif.h>

#include "ratio.h"
#include "test_platform.h"

namespace {

constexpr uint32_t kRecords = 4094;

void put_be16(std::vector<uint8_t> &b, size_t off, uint16_t v)
{
    b[off] = static_cast<uint8_t>(v >> 8);
    b[off + 1] = static_cast<uint8_t>(v);
}
void put_be32(std::vector<uint8_t> &b, size_t off, uint32_t v)
{
    for (int k = 0; k < 4; ++k)
        b[off + static_cast<size_t>(k)] = static_cast<uint8_t>(v >> (24 - 8 * k));
}

// VDC 1, VLANs 1..4094, BD ids 1..4094.
std::vector<uint8_t> make_payload()
{
    std::vector<uint8_t> p(4 + 40 * size_t{kRecords}, 0x11);
    put_be32(p, 0, kRecords);
    for (uint32_t i = 0; i < kRecords; ++i) {
        const size_t e = 40 * size_t{i};
        put_be16(p, e + 4, static_cast<uint16_t>(i + 1));
        put_be16(p, e + 10, 1);
        put_be32(p, e + 12, i + 1);
    }
    return p;
}

const std::vector<uint8_t> &payload()
{
    static const std::vector<uint8_t> p = make_payload();
    return p;
}

void BM_parse_5c1d_4094_cache_on(benchmark::State &state)
{
    vlan_mgr_enable_cached_bd_sdb();
    mts_msg_hdl_t msg = tp::make_message(VLAN_MGR_NOTIF_VLAN_CREATE, payload());
    for (auto _ : state) {
        void *records = nullptr;
        uint32_t count = 0;
        if (vlan_mgr_parse_notification_msg(&msg, &records, &count, std::malloc) != 0 || count != kRecords)
            state.SkipWithError("parse failed");
        benchmark::DoNotOptimize(records);
        benchmark::ClobberMemory();
        std::free(records);
    }
    vlan_mgr_disable_cached_bd_sdb();
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(payload().size()));
}
BENCHMARK(BM_parse_5c1d_4094_cache_on);

// The same with the cache off: the decoding alone (each update is dropped).
void BM_parse_5c1d_4094_cache_off(benchmark::State &state)
{
    vlan_mgr_disable_cached_bd_sdb();
    mts_msg_hdl_t msg = tp::make_message(VLAN_MGR_NOTIF_VLAN_CREATE, payload());
    for (auto _ : state) {
        void *records = nullptr;
        uint32_t count = 0;
        if (vlan_mgr_parse_notification_msg(&msg, &records, &count, std::malloc) != 0 || count != kRecords)
            state.SkipWithError("parse failed");
        benchmark::DoNotOptimize(records);
        benchmark::ClobberMemory();
        std::free(records);
    }
}
BENCHMARK(BM_parse_5c1d_4094_cache_off);

void BM_floor_memcpy_5c1d_4094(benchmark::State &state)
{
    const size_t n = payload().size();
    for (auto _ : state) {
        void *dst = std::malloc(n);
        std::memcpy(dst, payload().data(), n);
        benchmark::DoNotOptimize(dst);
        benchmark::ClobberMemory();
        std::free(dst);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(n));
}
BENCHMARK(BM_floor_memcpy_5c1d_4094);

BENCH_RATIO("BM_parse_5c1d_4094_cache_on", "BM_floor_memcpy_5c1d_4094", 4.0);
BENCH_RATIO("BM_parse_5c1d_4094_cache_off", "BM_floor_memcpy_5c1d_4094", 0);

} // namespace

BENCH_RATIO_MAIN()
