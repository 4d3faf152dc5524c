// Reserved-VLAN information: a request for one VDC, and a reply of records
// that each carry a VDC id, two VLAN bitmaps and two words. Unlike the other
// parsers, this one hands the VLAN manager's status back through an out
// parameter and returns 0 once it has a body to parse.
#include <cstring>

#include <unistd.h>

#include <vlan_mgr/query_req.h>

#include "frame/local_vdc.h"
#include "frame/payload.h"
#include "frame/reply.h"
#include "frame/report.h"

namespace vlan_mgr::query {
namespace {

constexpr uint32_t kRequestLen = 10;
constexpr size_t kRecordsOff = 8;
constexpr size_t kWireRecord = 1044;

// Wire record: 2 unused bytes, VDC id, bitmap 1 (length word, 512 bytes),
// bitmap 2 (the same), word 1, word 2. The length words are not read.
constexpr size_t kVdcOff = 2, kBits1Off = 8, kBits2Off = 524, kWord1Off = 1036, kWord2Off = 1040;

void copy_bitmap(vlan_bitmap &dst, const uint8_t *bits)
{
    dst.len = VLAN_MGR_BITMAP_BYTES;
    std::memcpy(dst.bits, bits, VLAN_MGR_BITMAP_BYTES);
}

// Every byte of each result record is written: the full record's first two
// bytes, which the layout leaves unused, are set to 0.
template <typename Record>
uint32_t parse_reserve(Record **records, uint32_t *count, uint32_t *status, const void *payload,
                       uint32_t payload_len)
{
    if (count == nullptr || status == nullptr || payload == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    *count = 0;
    *records = nullptr;
    if (const auto st = common_reply_status(payload, payload_len))
        return *st;
    const wire::Reader r(payload, payload_len);
    if (!r.has(0, kRecordsOff))
        return VLAN_MGR_ERR_TRUNCATED;
    const uint32_t n = r.u32(4);
    if (!has_span(r, kRecordsOff, uint64_t{kWireRecord} * n))
        return VLAN_MGR_ERR_TRUNCATED;
    *count = n;
    *status = r.u32(0);
    const auto size = checked_size(n, sizeof(Record), 0);
    if (size && *size == 0)
        return VLAN_MGR_ERR_NO_VLANS;
    auto *out = size ? static_cast<Record *>(std::malloc(*size)) : nullptr;
    *records = out;
    if (out == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    for (uint32_t i = 0; i < n; ++i) {
        const uint8_t *rec = r.at(kRecordsOff + kWireRecord * i);
        Record &o = out[i];
        if constexpr (requires { o.vdc_id; }) {
            o.unused[0] = 0;
            o.unused[1] = 0;
            o.vdc_id = wire::get_u16(rec, kVdcOff);
        }
        copy_bitmap(o.bitmap1, rec + kBits1Off);
        copy_bitmap(o.bitmap2, rec + kBits2Off);
        o.word1 = wire::get_u32(rec, kWord1Off);
        o.word2 = wire::get_u32(rec, kWord2Off);
    }
    return VLAN_MGR_OK;
}

} // namespace
} // namespace vlan_mgr::query

using namespace vlan_mgr;
using namespace vlan_mgr::query;

extern "C" {

uint32_t vlan_get_reserve_vlan_info_build_mts(const uint16_t *vdc_ids, int32_t num, uint32_t query, void **payload,
                                              uint32_t *payload_len)
{
    if (vdc_ids == nullptr || num == 0)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (num != 1)
        return report_failure(VLAN_MGR_ERR_INVALID_ARG, VLAN_MGR_REPORT_VDC_MISMATCH, syslog_msg_ERROR_MSG,
                              "vlan_mgr pid %d, num_entries %d, should be 1\n", " pid %d, num_entries %d, should be 1\n",
                              [&] { return std::make_tuple(static_cast<int>(getpid()), static_cast<int>(num)); });
    const uint16_t vdc_id = vdc_ids[0];
    if (const uint32_t st = check_local_vdc(vdc_id, nullptr); st != VLAN_MGR_OK)
        return st;
    uint8_t *p = alloc_payload(payload, payload_len, kRequestLen);
    if (p == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    wire::Writer w(p, kRequestLen);
    w.u32(0, query);
    w.u32(4, 1);
    w.u16(8, vdc_id);
    return VLAN_MGR_OK;
}

uint32_t vlan_get_reserve_vlan_info_build_mts_local(uint32_t query, void **payload, uint32_t *payload_len)
{
    const uint16_t vdc_id = vlan_mgr_local_vdc_get();
    return vlan_get_reserve_vlan_info_build_mts(&vdc_id, 1, query, payload, payload_len);
}

uint32_t vlan_get_reserve_vlan_info_parse_reply(reserve_vlan_info **records, uint32_t *count, uint32_t *status,
                                                const void *payload, uint32_t payload_len)
{
    return parse_reserve(records, count, status, payload, payload_len);
}

uint32_t vlan_get_reserve_vlan_info_parse_reply_local(reserve_vlan_info_local **records, uint32_t *count,
                                                      uint32_t *status, const void *payload, uint32_t payload_len)
{
    return parse_reserve(records, count, status, payload, payload_len);
}
}
