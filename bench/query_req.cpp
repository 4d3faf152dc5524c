// VLAN query builders and reply decoders, each beside floors measured in the
// same run: every decoder against malloc of its result and a memcpy of the
// same reply bytes, and against a plain scan that converts the same fields by
// hand into the same records; every builder against the same request bytes
// written by hand into a fresh buffer.
#include <cstdlib>
#include <cstring>
#include <vector>

#include <vlan_mgr/bd_db.h>
#include <vlan_mgr/query_req.h>

#include "ratio.h"

namespace {

using Bytes = std::vector<uint8_t>;

uint32_t rd32(const uint8_t *p)
{
    uint32_t v;
    std::memcpy(&v, p, 4);
    return __builtin_bswap32(v);
}
uint16_t rd16(const uint8_t *p)
{
    uint16_t v;
    std::memcpy(&v, p, 2);
    return __builtin_bswap16(v);
}

void be16(Bytes &b, uint16_t v)
{
    b.push_back(static_cast<uint8_t>(v >> 8));
    b.push_back(static_cast<uint8_t>(v));
}
void be32(Bytes &b, uint32_t v)
{
    for (int s = 24; s >= 0; s -= 8)
        b.push_back(static_cast<uint8_t>(v >> s));
}

// Floor of a decoder: the result array allocated and the reply's bytes copied.
void malloc_memcpy(benchmark::State &state, const Bytes &reply, size_t result_size)
{
    for (auto _ : state) {
        void *p = std::malloc(result_size);
        benchmark::DoNotOptimize(p);
        std::memcpy(p, reply.data(), reply.size() < result_size ? reply.size() : result_size);
        benchmark::ClobberMemory();
        std::free(p);
    }
}

// ---- Created-VLAN listing, 4094 VLANs -----------------------------------------------

// One group of VLANs 1..4094 in VDC 1 (the reserved space after the records
// is not read and not sent).
Bytes listing_4094()
{
    Bytes b;
    be32(b, 1);
    be16(b, 1);
    be32(b, 4094);
    for (uint32_t v = 1; v <= 4094; ++v) {
        be32(b, v);
        be32(b, v << 8);
        be16(b, static_cast<uint16_t>(v));
        be32(b, 4);
        be32(b, 5);
        be32(b, 6);
    }
    return b;
}

void BM_created_parse_4094(benchmark::State &state)
{
    const Bytes reply = listing_4094();
    for (auto _ : state) {
        created_vlan_record *r = nullptr;
        uint32_t n = 0;
        benchmark::DoNotOptimize(vlan_get_all_created_vlan_parse_reply(&r, &n, reply.data(),
                                                                       static_cast<uint32_t>(reply.size())));
        benchmark::DoNotOptimize(r[4093].bd_id);
        std::free(r);
    }
}
BENCHMARK(BM_created_parse_4094);

// The same with the BD cache switched on: every VLAN's entry is written.
void BM_created_parse_4094_cache_on(benchmark::State &state)
{
    const Bytes reply = listing_4094();
    vlan_mgr_enable_cached_bd_sdb();
    for (auto _ : state) {
        created_vlan_record *r = nullptr;
        uint32_t n = 0;
        benchmark::DoNotOptimize(vlan_get_all_created_vlan_parse_reply(&r, &n, reply.data(),
                                                                       static_cast<uint32_t>(reply.size())));
        benchmark::DoNotOptimize(r[4093].bd_id);
        std::free(r);
    }
    vlan_mgr_disable_cached_bd_sdb();
}
BENCHMARK(BM_created_parse_4094_cache_on);

void BM_created_parse_local_4094(benchmark::State &state)
{
    const Bytes reply = listing_4094();
    for (auto _ : state) {
        created_vlan_record_local *r = nullptr;
        uint32_t n = 0;
        benchmark::DoNotOptimize(vlan_get_all_created_vlan_parse_reply_local(&r, &n, reply.data(),
                                                                             static_cast<uint32_t>(reply.size())));
        const uint16_t last_bd = r[4093].bd_id;
        benchmark::DoNotOptimize(last_bd);
        std::free(r);
    }
}
BENCHMARK(BM_created_parse_local_4094);

void BM_floor_created_malloc_memcpy_4094(benchmark::State &state)
{
    malloc_memcpy(state, listing_4094(), 4094 * sizeof(created_vlan_record));
}
BENCHMARK(BM_floor_created_malloc_memcpy_4094);

// Plain scan: the six fields of each record converted into the aligned
// records, with nothing checked and no cache.
void BM_floor_created_scan_4094(benchmark::State &state)
{
    const Bytes reply = listing_4094();
    for (auto _ : state) {
        auto *r = static_cast<created_vlan_record *>(std::malloc(4094 * sizeof(created_vlan_record)));
        benchmark::DoNotOptimize(r);
        const uint8_t *p = reply.data() + 10;
        for (uint32_t i = 0; i < 4094; ++i, p += 22)
            r[i] = created_vlan_record{1, rd32(p), rd32(p + 4), rd16(p + 8), rd32(p + 10), rd32(p + 14), rd32(p + 18)};
        benchmark::DoNotOptimize(r[4093].bd_id);
        benchmark::ClobberMemory();
        std::free(r);
    }
}
BENCHMARK(BM_floor_created_scan_4094);

BENCH_RATIO("BM_created_parse_4094", "BM_floor_created_scan_4094", 3.0);
BENCH_RATIO("BM_created_parse_local_4094", "BM_floor_created_scan_4094", 3.0);
BENCH_RATIO("BM_created_parse_4094_cache_on", "BM_floor_created_scan_4094", 3.0);
BENCH_RATIO("BM_created_parse_4094", "BM_floor_created_malloc_memcpy_4094", 0);
BENCH_RATIO("BM_created_parse_local_4094", "BM_floor_created_malloc_memcpy_4094", 0);

// ---- VLANs by attribute, 4094 pairs -------------------------------------------------

Bytes attr7_4094()
{
    Bytes b;
    be32(b, 0);
    be32(b, 7);
    be32(b, 4094);
    for (uint32_t v = 1; v <= 4094; ++v) {
        be32(b, v);
        be32(b, v * 5);
    }
    return b;
}

void BM_attr_parse_4094(benchmark::State &state)
{
    const Bytes reply = attr7_4094();
    for (auto _ : state) {
        uint32_t attr = 0, n = 0;
        vlan_attr_entry *r = nullptr;
        benchmark::DoNotOptimize(vlan_get_vlans_for_attr_value_parse_reply(&attr, &n, &r, reply.data(),
                                                                           static_cast<uint32_t>(reply.size())));
        benchmark::DoNotOptimize(r[4093].value);
        std::free(r);
    }
}
BENCHMARK(BM_attr_parse_4094);

void BM_floor_attr_malloc_memcpy_4094(benchmark::State &state)
{
    malloc_memcpy(state, attr7_4094(), 4094 * sizeof(vlan_attr_entry));
}
BENCHMARK(BM_floor_attr_malloc_memcpy_4094);

void BM_floor_attr_scan_4094(benchmark::State &state)
{
    const Bytes reply = attr7_4094();
    for (auto _ : state) {
        auto *r = static_cast<vlan_attr_entry *>(std::malloc(4094 * sizeof(vlan_attr_entry)));
        benchmark::DoNotOptimize(r);
        const uint8_t *p = reply.data() + 12;
        for (uint32_t i = 0; i < 4094; ++i, p += 8)
            r[i] = vlan_attr_entry{rd32(p), static_cast<uint16_t>(rd32(p + 4)), {0, 0}};
        benchmark::DoNotOptimize(r[4093].value);
        benchmark::ClobberMemory();
        std::free(r);
    }
}
BENCHMARK(BM_floor_attr_scan_4094);

BENCH_RATIO("BM_attr_parse_4094", "BM_floor_attr_scan_4094", 3.0);
BENCH_RATIO("BM_attr_parse_4094", "BM_floor_attr_malloc_memcpy_4094", 0);

// ---- Reserved-VLAN info, one record per VDC, every VLAN reserved --------------------

Bytes reserve_5()
{
    Bytes b;
    be32(b, 0);
    be32(b, 5);
    for (uint16_t vdc = 1; vdc <= 5; ++vdc) {
        be16(b, 0);
        be16(b, vdc);
        for (int m = 0; m < 2; ++m) {
            be32(b, 512);
            b.insert(b.end(), 512, 0xFF);
        }
        be32(b, 1);
        be32(b, 4094);
    }
    return b;
}

void BM_reserve_parse_5(benchmark::State &state)
{
    const Bytes reply = reserve_5();
    for (auto _ : state) {
        reserve_vlan_info *r = nullptr;
        uint32_t n = 0, status = 0;
        benchmark::DoNotOptimize(vlan_get_reserve_vlan_info_parse_reply(&r, &n, &status, reply.data(),
                                                                        static_cast<uint32_t>(reply.size())));
        benchmark::DoNotOptimize(r[4].word2);
        std::free(r);
    }
}
BENCHMARK(BM_reserve_parse_5);

void BM_floor_reserve_malloc_memcpy_5(benchmark::State &state)
{
    malloc_memcpy(state, reserve_5(), 5 * sizeof(reserve_vlan_info));
}
BENCHMARK(BM_floor_reserve_malloc_memcpy_5);

// Plain scan: each record's VDC id, both bitmaps and both words copied by
// hand.
void BM_floor_reserve_scan_5(benchmark::State &state)
{
    const Bytes reply = reserve_5();
    for (auto _ : state) {
        auto *r = static_cast<reserve_vlan_info *>(std::malloc(5 * sizeof(reserve_vlan_info)));
        benchmark::DoNotOptimize(r);
        const uint8_t *p = reply.data() + 8;
        for (uint32_t i = 0; i < 5; ++i, p += 1044) {
            r[i].unused[0] = r[i].unused[1] = 0;
            r[i].vdc_id = rd16(p + 2);
            r[i].bitmap1.len = 512;
            std::memcpy(r[i].bitmap1.bits, p + 8, 512);
            r[i].bitmap2.len = 512;
            std::memcpy(r[i].bitmap2.bits, p + 524, 512);
            r[i].word1 = rd32(p + 1036);
            r[i].word2 = rd32(p + 1040);
        }
        benchmark::DoNotOptimize(r[4].word2);
        benchmark::ClobberMemory();
        std::free(r);
    }
}
BENCHMARK(BM_floor_reserve_scan_5);

BENCH_RATIO("BM_reserve_parse_5", "BM_floor_reserve_scan_5", 3.0);
BENCH_RATIO("BM_reserve_parse_5", "BM_floor_reserve_malloc_memcpy_5", 0);

// ---- VLAN info reply ------------------------------------------------------------------

void BM_info_parse(benchmark::State &state)
{
    Bytes reply(62, 0);
    reply[5] = 1;
    std::memcpy(reply.data() + 30, "VLAN0100", 8);
    for (auto _ : state) {
        vlan_info_record r;
        benchmark::DoNotOptimize(vlan_get_vlan_info_parse_reply(&r, reply.data(), 62));
        benchmark::DoNotOptimize(&r);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_info_parse);

void BM_floor_info_memcpy(benchmark::State &state)
{
    Bytes reply(62, 0);
    for (auto _ : state) {
        vlan_info_record r;
        benchmark::DoNotOptimize(reply.data());
        std::memcpy(&r, reply.data(), sizeof r);
        benchmark::DoNotOptimize(&r);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_floor_info_memcpy);

// Plain scan: the VDC id, six words and the name copied by hand.
void BM_floor_info_scan(benchmark::State &state)
{
    Bytes reply(62, 0);
    std::memcpy(reply.data() + 30, "VLAN0100", 8);
    for (auto _ : state) {
        vlan_info_record r;
        benchmark::DoNotOptimize(reply.data());
        const uint8_t *p = reply.data();
        r.vdc_id = rd16(p + 4);
        for (int i = 0; i < 6; ++i)
            r.attr[i] = rd32(p + 6 + 4 * i);
        std::memcpy(r.name, p + 30, 32);
        r.name[32] = '\0';
        benchmark::DoNotOptimize(&r);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_floor_info_scan);

BENCH_RATIO("BM_info_parse", "BM_floor_info_scan", 3.0);
BENCH_RATIO("BM_info_parse", "BM_floor_info_memcpy", 0);

// ---- Builders -------------------------------------------------------------------------

void BM_range_created_build(benchmark::State &state)
{
    vlan_bitmap bm;
    bm.len = 512;
    std::memset(bm.bits, 0xFF, sizeof bm.bits);
    for (auto _ : state) {
        void *p = nullptr;
        uint32_t len = 0;
        benchmark::DoNotOptimize(vlan_get_range_created_vlan_build_mts_local(&p, &len, &bm));
        benchmark::ClobberMemory();
        std::free(p);
    }
}
BENCHMARK(BM_range_created_build);

// The same 522 bytes by hand: count 1, length word, the bitmap, the VDC id.
void BM_floor_range_created_by_hand(benchmark::State &state)
{
    vlan_bitmap bm;
    bm.len = 512;
    std::memset(bm.bits, 0xFF, sizeof bm.bits);
    for (auto _ : state) {
        auto *p = static_cast<uint8_t *>(std::malloc(522));
        benchmark::DoNotOptimize(p);
        const uint8_t head[8] = {0, 0, 0, 1, 0, 2, 0, 0};
        std::memcpy(p, head, 8);
        std::memcpy(p + 8, bm.bits, 512);
        p[520] = 0;
        p[521] = 1;
        benchmark::ClobberMemory();
        std::free(p);
    }
}
BENCHMARK(BM_floor_range_created_by_hand);

BENCH_RATIO("BM_range_created_build", "BM_floor_range_created_by_hand", 2.0);

void BM_info_build(benchmark::State &state)
{
    const vdc_vlan_id_t key{1, 100};
    for (auto _ : state) {
        void *p = nullptr;
        uint32_t len = 0;
        benchmark::DoNotOptimize(vlan_get_next_vlan_info_build_mts(&key, &p, &len));
        benchmark::ClobberMemory();
        std::free(p);
    }
}
BENCHMARK(BM_info_build);

void BM_attr_build(benchmark::State &state)
{
    for (auto _ : state) {
        void *p = nullptr;
        uint32_t len = 0;
        benchmark::DoNotOptimize(vlan_get_vlans_for_attr_value_build_mts(1, 7, &p, &len));
        benchmark::ClobberMemory();
        std::free(p);
    }
}
BENCHMARK(BM_attr_build);

// The same 6 bytes by hand (VDC id and a 32-bit word).
void BM_floor_six_bytes_by_hand(benchmark::State &state)
{
    for (auto _ : state) {
        auto *p = static_cast<uint8_t *>(std::malloc(6));
        benchmark::DoNotOptimize(p);
        const uint8_t bytes[6] = {0, 1, 0, 0, 0, 100};
        std::memcpy(p, bytes, 6);
        benchmark::ClobberMemory();
        std::free(p);
    }
}
BENCHMARK(BM_floor_six_bytes_by_hand);

BENCH_RATIO("BM_info_build", "BM_floor_six_bytes_by_hand", 2.0);
BENCH_RATIO("BM_attr_build", "BM_floor_six_bytes_by_hand", 2.0);

void BM_reserve_build(benchmark::State &state)
{
    for (auto _ : state) {
        void *p = nullptr;
        uint32_t len = 0;
        benchmark::DoNotOptimize(vlan_get_reserve_vlan_info_build_mts_local(5, &p, &len));
        benchmark::ClobberMemory();
        std::free(p);
    }
}
BENCHMARK(BM_reserve_build);

void BM_floor_ten_bytes_by_hand(benchmark::State &state)
{
    for (auto _ : state) {
        auto *p = static_cast<uint8_t *>(std::malloc(10));
        benchmark::DoNotOptimize(p);
        const uint8_t bytes[10] = {0, 0, 0, 5, 0, 0, 0, 1, 0, 1};
        std::memcpy(p, bytes, 10);
        benchmark::ClobberMemory();
        std::free(p);
    }
}
BENCHMARK(BM_floor_ten_bytes_by_hand);

BENCH_RATIO("BM_reserve_build", "BM_floor_ten_bytes_by_hand", 2.0);

} // namespace

BENCH_RATIO_MAIN()
