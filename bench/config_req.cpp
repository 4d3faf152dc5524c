// Configuration request builders and the create reply decoder, each beside a
// floor measured in the same run: the builders against malloc and memset of
// the payload's size (and, for the 4094-VLAN requests, also against that plus
// setting the 4094 bits by hand), the decoder against a plain bit-by-bit scan
// of the same bitmap.
#include <cstdlib>
#include <cstring>
#include <vector>

#include <vlan_mgr/config_req.h>

#include "ratio.h"

namespace {

std::vector<uint32_t> vlans_1_to_4094()
{
    std::vector<uint32_t> ids;
    for (uint32_t v = 1; v <= 4094; ++v)
        ids.push_back(v);
    return ids;
}

// Floor of a builder: the payload allocated and zeroed, nothing else.
void malloc_memset(benchmark::State &state, size_t size)
{
    for (auto _ : state) {
        void *p = std::malloc(size);
        benchmark::DoNotOptimize(p);
        std::memset(p, 0, size);
        benchmark::ClobberMemory();
        std::free(p);
    }
}

// Floor of a 4094-VLAN builder: allocated, zeroed, and one bit set per id.
void malloc_memset_bits(benchmark::State &state, size_t size, size_t bits_off)
{
    const std::vector<uint32_t> ids = vlans_1_to_4094();
    for (auto _ : state) {
        auto *p = static_cast<uint8_t *>(std::malloc(size));
        benchmark::DoNotOptimize(p);
        std::memset(p, 0, size);
        for (uint32_t v : ids)
            p[bits_off + v / 8] |= static_cast<uint8_t>(0x80u >> (v % 8));
        benchmark::ClobberMemory();
        std::free(p);
    }
}

// ---- Create request, one VLAN with a name -------------------------------------

void BM_create_build_one_named(benchmark::State &state)
{
    const uint32_t id = 10;
    for (auto _ : state) {
        void *p = nullptr;
        uint32_t len = 0;
        benchmark::DoNotOptimize(vlan_create_build_mts(1, 1, &id, "engineering", 0, &p, &len));
        benchmark::ClobberMemory();
        std::free(p);
    }
}
BENCHMARK(BM_create_build_one_named);

void BM_floor_malloc_memset_544(benchmark::State &state) { malloc_memset(state, 544); }
BENCHMARK(BM_floor_malloc_memset_544);

BENCH_RATIO("BM_create_build_one_named", "BM_floor_malloc_memset_544", 2.0);

// ---- Create request, 4094 VLANs ----------------------------------------------------

void BM_create_build_4094(benchmark::State &state)
{
    const std::vector<uint32_t> ids = vlans_1_to_4094();
    for (auto _ : state) {
        void *p = nullptr;
        uint32_t len = 0;
        benchmark::DoNotOptimize(vlan_create_build_mts(1, 4094, ids.data(), nullptr, 0, &p, &len));
        benchmark::ClobberMemory();
        std::free(p);
    }
}
BENCHMARK(BM_create_build_4094);

void BM_floor_malloc_memset_533(benchmark::State &state) { malloc_memset(state, 533); }
BENCHMARK(BM_floor_malloc_memset_533);

void BM_floor_malloc_memset_533_bits_4094(benchmark::State &state) { malloc_memset_bits(state, 533, 16); }
BENCHMARK(BM_floor_malloc_memset_533_bits_4094);

BENCH_RATIO("BM_create_build_4094", "BM_floor_malloc_memset_533", 2.0);
BENCH_RATIO("BM_create_build_4094", "BM_floor_malloc_memset_533_bits_4094", 2.0);

// ---- Delete request, 4094 VLANs ------------------------------------------------------

void BM_delete_build_4094(benchmark::State &state)
{
    const std::vector<uint32_t> ids = vlans_1_to_4094();
    for (auto _ : state) {
        void *p = nullptr;
        uint32_t len = 0;
        benchmark::DoNotOptimize(vlan_delete_build_mts(1, 4094, ids.data(), &p, &len));
        benchmark::ClobberMemory();
        std::free(p);
    }
}
BENCHMARK(BM_delete_build_4094);

void BM_floor_malloc_memset_524(benchmark::State &state) { malloc_memset(state, 524); }
BENCHMARK(BM_floor_malloc_memset_524);

void BM_floor_malloc_memset_524_bits_4094(benchmark::State &state) { malloc_memset_bits(state, 524, 12); }
BENCHMARK(BM_floor_malloc_memset_524_bits_4094);

BENCH_RATIO("BM_delete_build_4094", "BM_floor_malloc_memset_524", 2.0);
BENCH_RATIO("BM_delete_build_4094", "BM_floor_malloc_memset_524_bits_4094", 2.0);

// ---- Create reply, 4094 VLANs -----------------------------------------------------------

// VDC 1, count 4094, VLANs 1..4094 in the bitmap, one status per VLAN.
std::vector<uint8_t> reply_4094()
{
    std::vector<uint8_t> b = {0x00, 0x01, 0x0F, 0xFE, 0, 0, 0, 0, 0x00, 0x02, 0x00, 0x00};
    std::vector<uint8_t> bits(512, 0xFF);
    bits[0] = 0x7F;
    bits[511] = 0xFE;
    b.insert(b.end(), bits.begin(), bits.end());
    for (uint32_t i = 0; i < 4094; ++i)
        for (int s = 24; s >= 0; s -= 8)
            b.push_back(static_cast<uint8_t>(i >> s));
    return b;
}

void BM_create_parse_4094(benchmark::State &state)
{
    const std::vector<uint8_t> reply = reply_4094();
    for (auto _ : state) {
        uint16_t vdc = 0, count = 0;
        uint32_t *ids = nullptr, *st = nullptr;
        benchmark::DoNotOptimize(vlan_create_parse_reply(&vdc, &count, &ids, &st, reply.data(),
                                                         static_cast<uint32_t>(reply.size())));
        benchmark::DoNotOptimize(ids[4093]);
        std::free(ids);
        std::free(st);
    }
}
BENCHMARK(BM_create_parse_4094);

// Floor: the same 4096 bits tested one by one, each member's id stored.
void BM_floor_scan_bitmap_4094(benchmark::State &state)
{
    const std::vector<uint8_t> reply = reply_4094();
    const uint8_t *bits = reply.data() + 12;
    std::vector<uint32_t> ids(4096);
    for (auto _ : state) {
        size_t n = 0;
        for (uint32_t v = 0; v < 4096; ++v)
            if (bits[v / 8] & (0x80u >> (v % 8)))
                ids[n++] = v;
        benchmark::DoNotOptimize(n);
        benchmark::DoNotOptimize(ids.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_floor_scan_bitmap_4094);

BENCH_RATIO("BM_create_parse_4094", "BM_floor_scan_bitmap_4094", 3.0);

} // namespace

BENCH_RATIO_MAIN()
