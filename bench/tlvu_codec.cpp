// The TLV utility on a create-notification-shaped payload of 4094 records of
// 73 bytes, encoded and decoded, beside floors that copy the same record bytes
// with memcpy (into a buffer kept across iterations, and into a fresh malloc)
// and one that copies as many bytes as the encoded buffer holds.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "tlvu_test_tables.h"
#include "ratio.h"

namespace {

using namespace tlvu_test;

constexpr uint32_t kRecords = 4094;

std::vector<uint8_t> make_payload()
{
    std::vector<uint8_t> rec(4 + kRecords * sizeof(CreateRec));
    store<uint32_t>(rec.data(), kRecords);
    for (uint32_t i = 0; i < kRecords; ++i) {
        CreateRec r;
        create_init(&r);
        r.bd = static_cast<uint16_t>(i + 1);
        r.f6 = i;
        r.f11 = i * 3;
        std::snprintf(r.name, sizeof r.name, "VLAN%04u", i + 1);
        std::memcpy(rec.data() + 4 + i * sizeof r, &r, sizeof r);
    }
    return rec;
}

const std::vector<uint8_t> &payload()
{
    static const std::vector<uint8_t> p = make_payload();
    return p;
}

void BM_tlvu_encode_4094x73(benchmark::State &state)
{
    const auto &p = payload();
    for (auto _ : state) {
        void *buf = nullptr;
        uint32_t len = 0;
        if (tlvu_table_convert_struct_to_tlv(&buf, &len, create_payload_tbl.get(), p.data(), 0, nullptr, 0) != 0)
            state.SkipWithError("encode failed");
        benchmark::DoNotOptimize(buf);
        std::free(buf);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(p.size()));
}
BENCHMARK(BM_tlvu_encode_4094x73);

void BM_tlvu_decode_4094x73(benchmark::State &state)
{
    const auto &p = payload();
    void *tlv = nullptr;
    uint32_t len = 0;
    tlvu_table_convert_struct_to_tlv(&tlv, &len, create_payload_tbl.get(), p.data(), 0, nullptr, 0);
    for (auto _ : state) {
        void *rec = nullptr;
        if (tlvu_table_convert_tlv_to_struct(&rec, tlv, len, create_payload_tbl.get(), 0) != 0)
            state.SkipWithError("decode failed");
        benchmark::DoNotOptimize(rec);
        std::free(rec);
    }
    std::free(tlv);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(p.size()));
}
BENCHMARK(BM_tlvu_decode_4094x73);

// Floor: the record bytes copied into a buffer that stays allocated.
void BM_floor_memcpy_4094x73(benchmark::State &state)
{
    const auto &p = payload();
    std::vector<uint8_t> dst(p.size());
    for (auto _ : state) {
        std::memcpy(dst.data(), p.data(), p.size());
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(p.size()));
}
BENCHMARK(BM_floor_memcpy_4094x73);

// Floor: the same copy into a fresh malloc, freed, as the utility does.
void BM_floor_malloc_memcpy_4094x73(benchmark::State &state)
{
    const auto &p = payload();
    for (auto _ : state) {
        void *dst = std::malloc(p.size());
        std::memcpy(dst, p.data(), p.size());
        benchmark::DoNotOptimize(dst);
        benchmark::ClobberMemory();
        std::free(dst);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(p.size()));
}
BENCHMARK(BM_floor_malloc_memcpy_4094x73);

// Context: the encoded buffer is about twice the record's bytes (an 8-byte
// header per field); this floor copies that many bytes.
void BM_floor_memcpy_tlv_bytes(benchmark::State &state)
{
    const auto &p = payload();
    uint32_t len = tlvu_table_size(create_payload_tbl.get(), p.data());
    std::vector<uint8_t> src(len, 0x5a), dst(len);
    for (auto _ : state) {
        std::memcpy(dst.data(), src.data(), len);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * len);
}
BENCHMARK(BM_floor_memcpy_tlv_bytes);

BENCH_RATIO("BM_tlvu_encode_4094x73", "BM_floor_memcpy_4094x73", 4.0);
BENCH_RATIO("BM_tlvu_decode_4094x73", "BM_floor_memcpy_4094x73", 4.0);
BENCH_RATIO("BM_tlvu_encode_4094x73", "BM_floor_malloc_memcpy_4094x73", 4.0);
BENCH_RATIO("BM_tlvu_decode_4094x73", "BM_floor_malloc_memcpy_4094x73", 4.0);
BENCH_RATIO("BM_tlvu_encode_4094x73", "BM_floor_memcpy_tlv_bytes", 4.0);
BENCH_RATIO("BM_tlvu_decode_4094x73", "BM_floor_memcpy_tlv_bytes", 4.0);

} // namespace

BENCH_RATIO_MAIN()
