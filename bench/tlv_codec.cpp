// Encoding and decoding TLV records, each beside a floor that copies the same
// record bytes with memcpy into a fresh malloc'd block (the conversions
// allocate their result too): the create-notification payload with 4094
// records, and one 60-byte VLAN name record.
#include <cstdlib>
#include <cstring>
#include <vector>

#include <vlan_mgr/notif.h>
#include <vlan_mgr/tlv.h>

#include "ratio.h"

namespace {

constexpr uint32_t kRecords = 4094;

// A create-notification payload of 4094 records with 32-character names.
std::vector<uint8_t> make_payload()
{
    std::vector<uint8_t> p(sizeof(vlan_create_notif2_payload_t) + kRecords * sizeof(vlan_create_notif2_t));
    vlan_create_notif2_payload_t head;
    vlan_mgr_create_notif2_payload_init(&head);
    head.count = kRecords;
    std::memcpy(p.data(), &head, sizeof head);
    for (uint32_t i = 0; i < kRecords; ++i) {
        vlan_create_notif2_t r;
        vlan_mgr_create_notif2_default_init(&r);
        r.bd_id = static_cast<uint16_t>(i + 1);
        r.vdc_vlan.vdc_id = 1;
        r.vdc_vlan.vlan_id = i + 1;
        r.field6 = i;
        for (int c = 0; c < 32; ++c)
            r.name[c] = static_cast<char>('a' + (i + static_cast<uint32_t>(c)) % 26);
        r.name[32] = '\0';
        std::memcpy(p.data() + sizeof head + i * sizeof r, &r, sizeof r);
    }
    return p;
}

const std::vector<uint8_t> &payload()
{
    static const std::vector<uint8_t> p = make_payload();
    return p;
}

const std::vector<uint8_t> &payload_tlv()
{
    static const std::vector<uint8_t> t = [] {
        void *tlv = nullptr;
        uint32_t len = 0;
        vlan_mgr_create_notif2_build_notification(reinterpret_cast<const vlan_create_notif2_payload_t *>(payload().data()),
                                                  &tlv, &len);
        std::vector<uint8_t> v(static_cast<uint8_t *>(tlv), static_cast<uint8_t *>(tlv) + len);
        std::free(tlv);
        return v;
    }();
    return t;
}

vlan_name_and_state_t make_name_record()
{
    vlan_name_and_state_t r;
    std::memset(&r, 0, sizeof r);
    vlan_name_rsp_default_init(&r);
    r.vlan_id = 100;
    r.bd_id = 100;
    r.field13 = 1;
    std::strcpy(r.name, "engineering");
    return r;
}

const vlan_name_and_state_t kName = make_name_record();

const std::vector<uint8_t> &name_tlv()
{
    static const std::vector<uint8_t> t = [] {
        void *tlv = nullptr;
        uint32_t len = 0, n = 0;
        vlan_mgr_get_created_vlan_name_rsp_to_tlv(&kName, &tlv, &len, 0, &n, 0);
        std::vector<uint8_t> v(static_cast<uint8_t *>(tlv), static_cast<uint8_t *>(tlv) + len);
        std::free(tlv);
        return v;
    }();
    return t;
}

// Floor: the record bytes copied into a fresh block.
void copy_floor(benchmark::State &state, const void *src, size_t n)
{
    for (auto _ : state) {
        void *dst = std::malloc(n);
        std::memcpy(dst, src, n);
        benchmark::DoNotOptimize(dst);
        benchmark::ClobberMemory();
        std::free(dst);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(n));
}

void BM_encode_create_notif2_4094(benchmark::State &state)
{
    const auto *rec = reinterpret_cast<const vlan_create_notif2_payload_t *>(payload().data());
    for (auto _ : state) {
        void *tlv = nullptr;
        uint32_t len = 0;
        if (vlan_mgr_create_notif2_build_notification(rec, &tlv, &len) != 0)
            state.SkipWithError("encode failed");
        benchmark::DoNotOptimize(tlv);
        std::free(tlv);
    }
}
BENCHMARK(BM_encode_create_notif2_4094);

void BM_decode_create_notif2_4094(benchmark::State &state)
{
    const std::vector<uint8_t> &tlv = payload_tlv();
    for (auto _ : state) {
        vlan_create_notif2_payload_t *out = nullptr;
        if (vlan_mgr_create_notif2_parse_notification(tlv.data(), static_cast<uint32_t>(tlv.size()), &out) != 0)
            state.SkipWithError("decode failed");
        benchmark::DoNotOptimize(out);
        std::free(out);
    }
}
BENCHMARK(BM_decode_create_notif2_4094);

void BM_floor_memcpy_create_notif2_4094(benchmark::State &state)
{
    copy_floor(state, payload().data(), payload().size());
}
BENCHMARK(BM_floor_memcpy_create_notif2_4094);

void BM_encode_name_record(benchmark::State &state)
{
    for (auto _ : state) {
        void *tlv = nullptr;
        uint32_t len = 0, n = 0;
        if (vlan_mgr_get_created_vlan_name_rsp_to_tlv(&kName, &tlv, &len, 0, &n, 0) != 0)
            state.SkipWithError("encode failed");
        benchmark::DoNotOptimize(tlv);
        std::free(tlv);
    }
}
BENCHMARK(BM_encode_name_record);

void BM_decode_name_record(benchmark::State &state)
{
    const std::vector<uint8_t> &tlv = name_tlv();
    for (auto _ : state) {
        void *out = nullptr;
        if (vlan_mgr_get_created_vlan_name_rsp_to_struct(&out, tlv.data(), static_cast<uint32_t>(tlv.size()), 0) != 0)
            state.SkipWithError("decode failed");
        benchmark::DoNotOptimize(out);
        std::free(out);
    }
}
BENCHMARK(BM_decode_name_record);

void BM_floor_memcpy_name_record(benchmark::State &state)
{
    copy_floor(state, &kName, sizeof kName);
}
BENCHMARK(BM_floor_memcpy_name_record);

// The payload's TLV form is about 753 KB for 299 KB of record bytes (every
// field framed by an 8-byte id and length); the name record has no target of
// its own beyond a guard against regressions.
BENCH_RATIO("BM_encode_create_notif2_4094", "BM_floor_memcpy_create_notif2_4094", 4.0);
BENCH_RATIO("BM_decode_create_notif2_4094", "BM_floor_memcpy_create_notif2_4094", 4.0);
BENCH_RATIO("BM_encode_name_record", "BM_floor_memcpy_name_record", 12.0);
BENCH_RATIO("BM_decode_name_record", "BM_floor_memcpy_name_record", 12.0);

} // namespace

BENCH_RATIO_MAIN()
