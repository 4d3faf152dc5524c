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
#include "query_req/layout.h"

namespace vlan_mgr::query {
namespace {

using Req = layout::query::ReserveRequest;
using Rep = layout::query::ReserveReply;
using Rec = layout::query::ReserveRecord;

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
    if (!r.has(0, Rep::records.off))
        return VLAN_MGR_ERR_TRUNCATED;
    const uint32_t n = Rep::count.get(r);
    if (!has_span(r, Rep::records.off, Rep::records.end(n) - Rep::records.off))
        return VLAN_MGR_ERR_TRUNCATED;
    *count = n;
    *status = Rep::status.get(r);
    const auto size = checked_size(n, sizeof(Record), 0);
    if (size && *size == 0)
        return VLAN_MGR_ERR_NO_VLANS;
    auto *out = size ? static_cast<Record *>(std::malloc(*size)) : nullptr;
    *records = out;
    if (out == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    // The bitmaps' length words are not read.
    for (uint32_t i = 0; i < n; ++i) {
        const wire::Reader rec = Rep::records.entry(r, i);
        Record &o = out[i];
        if constexpr (requires { o.vdc_id; }) {
            o.unused[0] = 0;
            o.unused[1] = 0;
            o.vdc_id = Rec::vdc_id.get(rec);
        }
        copy_bitmap(o.bitmap1, Rec::bitmap1.bits(rec));
        copy_bitmap(o.bitmap2, Rec::bitmap2.bits(rec));
        o.word1 = Rec::word1.get(rec);
        o.word2 = Rec::word2.get(rec);
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
    uint8_t *p = alloc_payload(payload, payload_len, Req::kLen);
    if (p == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    wire::Writer w(p, Req::kLen);
    Req::query.put(w, query);
    Req::num.put(w, 1);
    Req::vdc_id.put(w, vdc_id);
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
