// Port membership builders and reply decoders, each beside a floor measured
// in the same run. Decoders of the largest replies (every VLAN's member
// ports, the longest port lists, full trunking bitmaps) against a plain scan
// that turns the same bytes into the same records with no checks, or against
// malloc and memcpy of the reply; builders of the largest requests against
// the same bytes written by hand into a malloc'ed buffer.
#include <cstdlib>
#include <cstring>
#include <vector>

#include <vlan_mgr/membership.h>

#include "ratio.h"
#include "vlan_mgr_platform.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint32_t kPorts = 65536;     // the longest port list measured
constexpr uint32_t kTrunkPorts = 1024; // ports with full trunking bitmaps
constexpr uint32_t kVlans = 4094;
constexpr uint32_t kPortsPerVlan = 16;

void push_be16(Bytes &b, uint16_t v)
{
    b.push_back(static_cast<uint8_t>(v >> 8));
    b.push_back(static_cast<uint8_t>(v));
}
void push_be32(Bytes &b, uint32_t v)
{
    for (int s = 24; s >= 0; s -= 8)
        b.push_back(static_cast<uint8_t>(v >> s));
}
void push_ifx(Bytes &b, uint32_t v)
{
    const uint32_t w = hton_if_index(v);
    const auto *p = reinterpret_cast<const uint8_t *>(&w);
    b.insert(b.end(), p, p + 4);
}
inline uint32_t be32_at(const uint8_t *p)
{
    uint32_t v;
    std::memcpy(&v, p, 4);
    return __builtin_bswap32(v);
}
inline uint16_t be16_at(const uint8_t *p)
{
    uint16_t v;
    std::memcpy(&v, p, 2);
    return __builtin_bswap16(v);
}
inline void put_be32(uint8_t *p, uint32_t v)
{
    v = __builtin_bswap32(v);
    std::memcpy(p, &v, 4);
}
inline void put_be16(uint8_t *p, uint16_t v)
{
    v = __builtin_bswap16(v);
    std::memcpy(p, &v, 2);
}
inline void put_ifx(uint8_t *p, uint32_t v)
{
    v = hton_if_index(v);
    std::memcpy(p, &v, 4);
}
inline uint32_t get_ifx(const uint8_t *p)
{
    uint32_t v;
    std::memcpy(&v, p, 4);
    return ntoh_if_index(v);
}

// Floor of a decoder: the reply's bytes copied into a new buffer.
void malloc_memcpy(benchmark::State &state, const Bytes &reply)
{
    for (auto _ : state) {
        void *p = std::malloc(reply.size());
        benchmark::DoNotOptimize(p);
        std::memcpy(p, reply.data(), reply.size());
        benchmark::ClobberMemory();
        std::free(p);
    }
}

// ---- Per-VLAN membership reply: every VLAN with 16 ports --------------------------

const Bytes &per_vlan_reply()
{
    static const Bytes b = [] {
        Bytes r;
        push_be32(r, 0);
        push_be32(r, kVlans);
        for (uint32_t v = 1; v <= kVlans; ++v) {
            push_be16(r, 1);
            push_be32(r, v);
            push_be32(r, kPortsPerVlan);
            for (uint32_t k = 0; k < kPortsPerVlan; ++k)
                push_ifx(r, 0x1A2B0000u + (v << 4) + k);
        }
        return r;
    }();
    return b;
}

void BM_per_vlan_parse_4094x16(benchmark::State &state)
{
    const Bytes &reply = per_vlan_reply();
    for (auto _ : state) {
        vlan_port_memb *r = nullptr;
        uint32_t n = 0;
        benchmark::DoNotOptimize(
            vlan_get_per_vlan_memb_info_parse_reply(&r, &n, reply.data(), static_cast<uint32_t>(reply.size())));
        benchmark::DoNotOptimize(r[n - 1]);
        std::free(r);
    }
}
BENCHMARK(BM_per_vlan_parse_4094x16);

// Floor: one unchecked walk over the groups writing the same records.
void BM_floor_scan_per_vlan_4094x16(benchmark::State &state)
{
    const Bytes &reply = per_vlan_reply();
    for (auto _ : state) {
        auto *out = static_cast<vlan_port_memb *>(std::malloc(sizeof(vlan_port_memb) * kVlans * kPortsPerVlan));
        benchmark::DoNotOptimize(out);
        const uint8_t *g = reply.data() + 8;
        vlan_port_memb *o = out;
        for (uint32_t i = 0; i < kVlans; ++i) {
            const uint16_t vdc = be16_at(g);
            const uint32_t vlan = be32_at(g + 2);
            const uint32_t k = be32_at(g + 6);
            for (uint32_t j = 0; j < k; ++j, ++o) {
                o->vdc_vlan.vdc_id = vdc;
                o->vdc_vlan.vlan_id = vlan;
                o->reserved[0] = o->reserved[1] = 0;
                o->if_index = get_ifx(g + 10 + 4 * j);
            }
            g += 10 + 4 * k;
        }
        benchmark::ClobberMemory();
        std::free(out);
    }
}
BENCHMARK(BM_floor_scan_per_vlan_4094x16);

void BM_floor_memcpy_per_vlan_4094x16(benchmark::State &state) { malloc_memcpy(state, per_vlan_reply()); }
BENCHMARK(BM_floor_memcpy_per_vlan_4094x16);

BENCH_RATIO("BM_per_vlan_parse_4094x16", "BM_floor_scan_per_vlan_4094x16", 3.0);
BENCH_RATIO("BM_per_vlan_parse_4094x16", "BM_floor_memcpy_per_vlan_4094x16", 0);

// ---- Active membership reply: 65536 ports --------------------------------------------

const Bytes &active_reply()
{
    static const Bytes b = [] {
        Bytes r;
        push_be32(r, 0);
        push_be32(r, kPorts);
        for (uint32_t i = 0; i < kPorts; ++i) {
            push_ifx(r, 0x1A2B3C4Du + i);
            push_be16(r, 1);
            push_be32(r, 1 + i % kVlans);
        }
        return r;
    }();
    return b;
}

void BM_port_active_parse_65536(benchmark::State &state)
{
    const Bytes &reply = active_reply();
    for (auto _ : state) {
        void *r = nullptr;
        uint32_t n = 0;
        benchmark::DoNotOptimize(
            vlan_get_port_active_memb_parse_reply(&r, &n, reply.data(), static_cast<uint32_t>(reply.size())));
        benchmark::DoNotOptimize(static_cast<port_vdc_vlan *>(r)[n - 1]);
        std::free(r);
    }
}
BENCHMARK(BM_port_active_parse_65536);

void BM_floor_scan_port_active_65536(benchmark::State &state)
{
    const Bytes &reply = active_reply();
    for (auto _ : state) {
        auto *out = static_cast<port_vdc_vlan *>(std::malloc(sizeof(port_vdc_vlan) * kPorts));
        benchmark::DoNotOptimize(out);
        const uint8_t *e = reply.data() + 8;
        for (uint32_t i = 0; i < kPorts; ++i, e += 10) {
            out[i].if_index = get_ifx(e);
            out[i].vdc_vlan.vdc_id = be16_at(e + 4);
            out[i].vdc_vlan.vlan_id = be32_at(e + 6);
        }
        benchmark::ClobberMemory();
        std::free(out);
    }
}
BENCHMARK(BM_floor_scan_port_active_65536);

void BM_floor_memcpy_port_active_65536(benchmark::State &state) { malloc_memcpy(state, active_reply()); }
BENCHMARK(BM_floor_memcpy_port_active_65536);

BENCH_RATIO("BM_port_active_parse_65536", "BM_floor_scan_port_active_65536", 3.0);
BENCH_RATIO("BM_port_active_parse_65536", "BM_floor_memcpy_port_active_65536", 0);

// ---- VLAN-range reply: 65536 ports ------------------------------------------------------

const Bytes &range_reply()
{
    static const Bytes b = [] {
        Bytes r = {0, 0, 0, 0, 0, 0};
        push_be32(r, kPorts);
        for (uint32_t i = 0; i < kPorts; ++i)
            push_ifx(r, 0x1A2B3C4Du + i);
        return r;
    }();
    return b;
}

void BM_vlan_range_parse_65536(benchmark::State &state)
{
    const Bytes &reply = range_reply();
    for (auto _ : state) {
        uint32_t *r = nullptr;
        uint32_t n = 0;
        benchmark::DoNotOptimize(
            vlan_get_vlan_range_memb_info_parse_reply_local(&r, &n, reply.data(), static_cast<uint32_t>(reply.size())));
        benchmark::DoNotOptimize(r[n - 1]);
        std::free(r);
    }
}
BENCHMARK(BM_vlan_range_parse_65536);

// Floor: the same if-indexes converted one by one into a new array. Every
// if-index goes through the platform's conversion, so a bare memcpy (below,
// for information) is out of reach.
void BM_floor_scan_vlan_range_65536(benchmark::State &state)
{
    const Bytes &reply = range_reply();
    for (auto _ : state) {
        auto *out = static_cast<uint32_t *>(std::malloc(4 * kPorts));
        benchmark::DoNotOptimize(out);
        const uint8_t *e = reply.data() + 10;
        for (uint32_t i = 0; i < kPorts; ++i)
            out[i] = get_ifx(e + 4 * i);
        benchmark::ClobberMemory();
        std::free(out);
    }
}
BENCHMARK(BM_floor_scan_vlan_range_65536);

void BM_floor_memcpy_vlan_range_65536(benchmark::State &state) { malloc_memcpy(state, range_reply()); }
BENCHMARK(BM_floor_memcpy_vlan_range_65536);

BENCH_RATIO("BM_vlan_range_parse_65536", "BM_floor_scan_vlan_range_65536", 3.0);
BENCH_RATIO("BM_vlan_range_parse_65536", "BM_floor_memcpy_vlan_range_65536", 0);

// ---- Trunking reply: 1024 ports with full bitmaps --------------------------------------

const Bytes &trunk_reply()
{
    static const Bytes b = [] {
        Bytes r;
        push_be32(r, 0);
        push_be32(r, kTrunkPorts);
        for (uint32_t i = 0; i < kTrunkPorts; ++i) {
            push_ifx(r, 0x1A2B3C4Du + i);
            push_be16(r, 1);
            push_be32(r, 1 + i);
            push_be16(r, 1);
            push_be16(r, 0);
            push_be32(r, 512);
            r.insert(r.end(), 512, 0xFF);
            push_be32(r, 512);
            r.insert(r.end(), 512, 0xFF);
            push_be16(r, 1);
            push_be32(r, 4094 - i);
        }
        return r;
    }();
    return b;
}

void BM_port_trunking_parse_1024(benchmark::State &state)
{
    const Bytes &reply = trunk_reply();
    for (auto _ : state) {
        void *r = nullptr;
        uint32_t n = 0;
        benchmark::DoNotOptimize(
            vlan_get_port_trunking_memb_parse_reply(&r, &n, reply.data(), static_cast<uint32_t>(reply.size())));
        benchmark::DoNotOptimize(static_cast<port_trunking_memb *>(r)[n - 1]);
        std::free(r);
    }
}
BENCHMARK(BM_port_trunking_parse_1024);

void BM_floor_memcpy_port_trunking_1024(benchmark::State &state) { malloc_memcpy(state, trunk_reply()); }
BENCHMARK(BM_floor_memcpy_port_trunking_1024);

BENCH_RATIO("BM_port_trunking_parse_1024", "BM_floor_memcpy_port_trunking_1024", 3.0);

// ---- Active trunking reply: 1024 ports -----------------------------------------------------

const Bytes &active_trunk_reply()
{
    static const Bytes b = [] {
        Bytes r;
        push_be32(r, 0);
        push_be32(r, kTrunkPorts);
        for (uint32_t i = 0; i < kTrunkPorts; ++i)
            push_ifx(r, 0x1A2B3C4Du + i);
        for (uint32_t i = 0; i < kTrunkPorts; ++i) {
            push_be16(r, 0);
            push_be16(r, 1);
            push_be32(r, 512);
            r.insert(r.end(), 512, 0xFF);
        }
        return r;
    }();
    return b;
}

void BM_port_active_trunking_parse_1024(benchmark::State &state)
{
    const Bytes &reply = active_trunk_reply();
    for (auto _ : state) {
        uint32_t *ids = nullptr;
        void *bm = nullptr;
        uint32_t n = 0;
        benchmark::DoNotOptimize(vlan_get_port_active_trunking_memb_parse_reply(&ids, &n, &bm, reply.data(),
                                                                               static_cast<uint32_t>(reply.size())));
        benchmark::DoNotOptimize(ids[n - 1]);
        std::free(ids);
        std::free(bm);
    }
}
BENCHMARK(BM_port_active_trunking_parse_1024);

void BM_floor_memcpy_port_active_trunking_1024(benchmark::State &state) { malloc_memcpy(state, active_trunk_reply()); }
BENCHMARK(BM_floor_memcpy_port_active_trunking_1024);

BENCH_RATIO("BM_port_active_trunking_parse_1024", "BM_floor_memcpy_port_active_trunking_1024", 3.0);

// ---- Builders -----------------------------------------------------------------------------

const std::vector<uint32_t> &ports()
{
    static const std::vector<uint32_t> p = [] {
        std::vector<uint32_t> v(kPorts);
        for (uint32_t i = 0; i < kPorts; ++i)
            v[i] = 0x1A2B3C4Du + i;
        return v;
    }();
    return p;
}

void BM_port_query_build_65536(benchmark::State &state)
{
    const std::vector<uint32_t> &ids = ports();
    for (auto _ : state) {
        void *p = nullptr;
        uint32_t len = 0;
        benchmark::DoNotOptimize(vlan_get_port_memb_build_mts(ids.data(), kPorts, &p, &len));
        benchmark::ClobberMemory();
        std::free(p);
    }
}
BENCHMARK(BM_port_query_build_65536);

void BM_floor_hand_port_query_65536(benchmark::State &state)
{
    const std::vector<uint32_t> &ids = ports();
    for (auto _ : state) {
        auto *p = static_cast<uint8_t *>(std::malloc(4 + 4 * kPorts));
        benchmark::DoNotOptimize(p);
        put_be32(p, kPorts);
        for (uint32_t i = 0; i < kPorts; ++i)
            put_ifx(p + 4 + 4 * i, ids[i]);
        benchmark::ClobberMemory();
        std::free(p);
    }
}
BENCHMARK(BM_floor_hand_port_query_65536);

BENCH_RATIO("BM_port_query_build_65536", "BM_floor_hand_port_query_65536", 2.0);

void BM_access_update_build_65536(benchmark::State &state)
{
    const std::vector<uint32_t> &ids = ports();
    for (auto _ : state) {
        void *p = nullptr;
        uint32_t len = 0;
        benchmark::DoNotOptimize(vlan_update_port_memb_build_mts(ids.data(), kPorts, vdc_vlan_id_t{1, 10}, 0, 1, &p, &len));
        benchmark::ClobberMemory();
        std::free(p);
    }
}
BENCHMARK(BM_access_update_build_65536);

void BM_floor_hand_access_update_65536(benchmark::State &state)
{
    const std::vector<uint32_t> &ids = ports();
    for (auto _ : state) {
        auto *p = static_cast<uint8_t *>(std::malloc(14 + 4 * kPorts));
        benchmark::DoNotOptimize(p);
        put_be32(p, 1);
        put_be16(p + 4, 1);
        put_be32(p + 6, 10);
        put_be32(p + 10, kPorts);
        for (uint32_t i = 0; i < kPorts; ++i)
            put_ifx(p + 14 + 4 * i, ids[i]);
        benchmark::ClobberMemory();
        std::free(p);
    }
}
BENCHMARK(BM_floor_hand_access_update_65536);

BENCH_RATIO("BM_access_update_build_65536", "BM_floor_hand_access_update_65536", 2.0);

void BM_per_vlan_build_4094(benchmark::State &state)
{
    std::vector<vdc_vlan_id_t> keys;
    for (uint32_t v = 1; v <= kVlans; ++v)
        keys.push_back({1, v});
    for (auto _ : state) {
        void *p = nullptr;
        uint32_t len = 0;
        benchmark::DoNotOptimize(vlan_get_per_vlan_memb_info_build_mts(keys.data(), kVlans, &p, &len));
        benchmark::ClobberMemory();
        std::free(p);
    }
}
BENCHMARK(BM_per_vlan_build_4094);

// Floor: the same 4094 keys written by hand; the builder also checks each
// key's VDC and VLAN id.
void BM_floor_hand_per_vlan_4094(benchmark::State &state)
{
    std::vector<vdc_vlan_id_t> keys;
    for (uint32_t v = 1; v <= kVlans; ++v)
        keys.push_back({1, v});
    for (auto _ : state) {
        auto *p = static_cast<uint8_t *>(std::malloc(4 + 6 * kVlans));
        benchmark::DoNotOptimize(p);
        put_be32(p, kVlans);
        for (uint32_t i = 0; i < kVlans; ++i) {
            put_be16(p + 4 + 6 * i, keys[i].vdc_id);
            put_be32(p + 6 + 6 * i, keys[i].vlan_id);
        }
        benchmark::ClobberMemory();
        std::free(p);
    }
}
BENCHMARK(BM_floor_hand_per_vlan_4094);

BENCH_RATIO("BM_per_vlan_build_4094", "BM_floor_hand_per_vlan_4094", 2.0);

void BM_trunking_update_build_1024(benchmark::State &state)
{
    std::vector<trunking_update_input> in(kTrunkPorts);
    for (uint32_t i = 0; i < kTrunkPorts; ++i) {
        in[i].vdc_vlan = {1, 1 + i};
        in[i].id = static_cast<uint16_t>(i);
        in[i].bitmap.len = 512;
        std::memset(in[i].bitmap.bits, 0xFF, 512);
    }
    const std::vector<uint32_t> &ids = ports();
    for (auto _ : state) {
        void *p = nullptr;
        uint32_t len = 0;
        benchmark::DoNotOptimize(vlan_update_port_trunking_memb_build_mts(ids.data(), kTrunkPorts, in.data(), 2, &p, &len));
        benchmark::ClobberMemory();
        std::free(p);
    }
}
BENCHMARK(BM_trunking_update_build_1024);

void BM_floor_hand_trunking_update_1024(benchmark::State &state)
{
    std::vector<trunking_update_input> in(kTrunkPorts);
    for (uint32_t i = 0; i < kTrunkPorts; ++i) {
        in[i].vdc_vlan = {1, 1 + i};
        in[i].id = static_cast<uint16_t>(i);
        in[i].bitmap.len = 512;
        std::memset(in[i].bitmap.bits, 0xFF, 512);
    }
    const std::vector<uint32_t> &ids = ports();
    for (auto _ : state) {
        auto *p = static_cast<uint8_t *>(std::malloc(8 + 528 * kTrunkPorts));
        benchmark::DoNotOptimize(p);
        put_be32(p, 2);
        put_be32(p + 4, kTrunkPorts);
        uint8_t *r = p + 8;
        for (uint32_t i = 0; i < kTrunkPorts; ++i, r += 528) {
            put_be16(r, in[i].vdc_vlan.vdc_id);
            put_be32(r + 2, in[i].vdc_vlan.vlan_id);
            put_be16(r + 6, in[i].id);
            const uint32_t len512 = 512;
            std::memcpy(r + 8, &len512, 4);
            std::memcpy(r + 12, in[i].bitmap.bits, 512);
            put_ifx(r + 524, ids[i]);
        }
        benchmark::ClobberMemory();
        std::free(p);
    }
}
BENCHMARK(BM_floor_hand_trunking_update_1024);

BENCH_RATIO("BM_trunking_update_build_1024", "BM_floor_hand_trunking_update_1024", 2.0);

void BM_port_vlan_memb_info_build_1024(benchmark::State &state)
{
    std::vector<port_vlan_memb_info> in(kTrunkPorts);
    for (uint32_t i = 0; i < kTrunkPorts; ++i) {
        in[i].if_index = 0x1A2B3C4Du + i;
        in[i].vlan_1 = {1, 1 + i};
        in[i].vlan_2 = {1, 4094 - i};
        in[i].bitmap.len = 512;
        std::memset(in[i].bitmap.bits, 0xFF, 512);
    }
    for (auto _ : state) {
        void *p = nullptr;
        uint32_t len = 0;
        benchmark::DoNotOptimize(vlan_build_port_vlan_memb_info_mts(in.data(), kTrunkPorts, &p, &len));
        benchmark::ClobberMemory();
        std::free(p);
    }
}
BENCHMARK(BM_port_vlan_memb_info_build_1024);

void BM_floor_hand_port_vlan_memb_info_1024(benchmark::State &state)
{
    std::vector<port_vlan_memb_info> in(kTrunkPorts);
    for (uint32_t i = 0; i < kTrunkPorts; ++i) {
        in[i].if_index = 0x1A2B3C4Du + i;
        in[i].vlan_1 = {1, 1 + i};
        in[i].vlan_2 = {1, 4094 - i};
        in[i].bitmap.len = 512;
        std::memset(in[i].bitmap.bits, 0xFF, 512);
    }
    for (auto _ : state) {
        auto *p = static_cast<uint8_t *>(std::malloc(4 + 532 * kTrunkPorts));
        benchmark::DoNotOptimize(p);
        put_be32(p, kTrunkPorts);
        uint8_t *r = p + 4;
        for (uint32_t i = 0; i < kTrunkPorts; ++i, r += 532) {
            put_ifx(r, in[i].if_index);
            put_be16(r + 4, in[i].vlan_1.vdc_id);
            put_be32(r + 6, in[i].vlan_1.vlan_id);
            put_be16(r + 10, in[i].vlan_2.vdc_id);
            put_be32(r + 12, in[i].vlan_2.vlan_id);
            const uint32_t len512 = 512;
            std::memcpy(r + 16, &len512, 4);
            std::memcpy(r + 20, in[i].bitmap.bits, 512);
        }
        benchmark::ClobberMemory();
        std::free(p);
    }
}
BENCHMARK(BM_floor_hand_port_vlan_memb_info_1024);

BENCH_RATIO("BM_port_vlan_memb_info_build_1024", "BM_floor_hand_port_vlan_memb_info_1024", 2.0);

} // namespace

BENCH_RATIO_MAIN()
