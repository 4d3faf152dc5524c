// Created-VLAN listings: all VLANs created in a VDC, or the created ones among
// a set of VLANs. Both requests share one reply, grouped by VDC; its parser
// also writes every listed VLAN's BD id into the BD cache, so that a client
// that lists its VLANs has its cache warmed as it goes.
#include <cstring>

#include <unistd.h>

#include <vlan_mgr/query_req.h>

#include "bd_db/bd_cache_update.h"
#include "frame/local_vdc.h"
#include "frame/payload.h"
#include "frame/reply.h"
#include "frame/report.h"
#include "query_req/layout.h"

namespace vlan_mgr::query {
namespace {

using AllReq = layout::query::AllCreatedRequest;
using RangeReq = layout::query::RangeCreatedRequest;
using Rep = layout::query::CreatedReply;
using Group = layout::query::CreatedGroup;
using Rec = layout::query::CreatedRecord;

// The checks the two listing builders share: exactly one VDC id, and it is
// the caller's own.
uint32_t check_vdc_list(const uint16_t *vdc_ids, uint32_t num_entries)
{
    if (vdc_ids == nullptr || num_entries != 1)
        return report_failure(VLAN_MGR_ERR_INVALID_ARG, VLAN_MGR_REPORT_VDC_MISMATCH, syslog_msg_ERROR_MSG,
                              "vlan_mgr pid %d, vdc_id_p 0x%x, num_entries %d\n",
                              " pid %d, vdc_id_p 0x%x, num_entries %d\n", [&] {
                                  return std::make_tuple(static_cast<int>(getpid()),
                                                         static_cast<unsigned>(reinterpret_cast<uintptr_t>(vdc_ids)),
                                                         static_cast<int>(num_entries));
                              });
    return check_local_vdc(vdc_ids[0], nullptr);
}

// Wire record: VLAN id, attribute word 2, BD id, attribute words 4, 5, 6.
// Every byte of the result record is written: the aligned record's padding
// is cleared with the record, so the array needs no clearing pass of its own.
template <typename Record>
void decode_record(Record &o, const wire::Reader &rec)
{
    if constexpr (requires { o.vdc_id; })
        std::memset(static_cast<void *>(&o), 0, sizeof o);
    o.vlan_id = Rec::vlan_id.get(rec);
    o.attr2 = Rec::attr2.get(rec);
    o.bd_id = Rec::bd_id.get(rec);
    o.attr4 = Rec::attr4.get(rec);
    o.attr5 = Rec::attr5.get(rec);
    o.attr6 = Rec::attr6.get(rec);
}

template <typename Record>
uint32_t parse_created(Record **records, uint32_t *count, const void *payload, uint32_t payload_len)
{
    if (count == nullptr || payload == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    *count = 0;
    *records = nullptr;
    if (const auto st = common_reply_status(payload, payload_len))
        return *st;
    const wire::Reader r(payload, payload_len);
    if (!r.has(0, Rep::kGroupsOff))
        return VLAN_MGR_ERR_TRUNCATED;
    const uint32_t groups = Rep::groups.get(r);
    if (groups == 0)
        return VLAN_MGR_ERR_NO_VLANS;

    // First pass: every group's head and records lie inside the reply; the
    // space reserved after a group's records is never read. Each group moves
    // the offset on by at least 36 bytes, so a count of groups beyond the
    // reply ends the walk at the first group outside it.
    uint64_t total = 0;
    uint64_t off = Rep::kGroupsOff;
    for (uint32_t g = 0; g < groups; ++g) {
        if (!has_span(r, off, Group::kHead))
            return VLAN_MGR_ERR_TRUNCATED;
        const wire::Reader group = r.sub(static_cast<size_t>(off));
        const uint32_t n = Group::count.get(group);
        if (!has_span(group, Group::records.off, Group::records.end(n) - Group::records.off))
            return VLAN_MGR_ERR_TRUNCATED;
        total += n;
        off += Rep::group_size(n);
    }
    if (total == 0)
        return VLAN_MGR_ERR_NO_VLANS;
    const auto size = checked_size(total, sizeof(Record), 0);
    auto *out = size ? static_cast<Record *>(std::malloc(*size)) : nullptr;
    if (out == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    *records = out;
    *count = static_cast<uint32_t>(total);

    // Second pass: the records in reply order, each followed by its cache
    // update (ignored while the cache is off).
    off = Rep::kGroupsOff;
    for (uint32_t g = 0; g < groups; ++g) {
        const wire::Reader group = r.sub(static_cast<size_t>(off));
        const uint16_t vdc_id = Group::vdc_id.get(group);
        const uint32_t n = Group::count.get(group);
        for (uint32_t i = 0; i < n; ++i) {
            Record &o = *out++;
            decode_record(o, Group::records.entry(group, i));
            if constexpr (requires { o.vdc_id; })
                o.vdc_id = vdc_id;
            vlan_mgr_set_bd_cache_entry(vdc_id, o.vlan_id, o.bd_id);
        }
        off += Rep::group_size(n);
    }
    return VLAN_MGR_OK;
}

} // namespace
} // namespace vlan_mgr::query

using namespace vlan_mgr;
using namespace vlan_mgr::query;

extern "C" {

uint32_t vlan_get_all_created_vlan_build_mts(const uint16_t *vdc_ids, uint32_t num_entries, void **payload,
                                             uint32_t *payload_len)
{
    if (const uint32_t st = check_vdc_list(vdc_ids, num_entries); st != VLAN_MGR_OK)
        return st;
    uint8_t *p = alloc_payload(payload, payload_len, AllReq::kLen);
    if (p == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    wire::Writer w(p, AllReq::kLen);
    AllReq::num.put(w, 1);
    AllReq::vdc_id.put(w, vdc_ids[0]);
    return VLAN_MGR_OK;
}

uint32_t vlan_get_all_created_vlan_build_mts_local(void **payload, uint32_t *payload_len)
{
    const uint16_t vdc_id = vlan_mgr_local_vdc_get();
    return vlan_get_all_created_vlan_build_mts(&vdc_id, 1, payload, payload_len);
}

// The bitmap's length word is written in host order, the one such word of
// the request; the caller's bit bytes are copied as they are.
uint32_t vlan_get_range_created_vlan_build_mts(const uint16_t *vdc_ids, uint32_t num_entries, void **payload,
                                               uint32_t *payload_len, const vlan_bitmap *bitmap)
{
    if (const uint32_t st = check_vdc_list(vdc_ids, num_entries); st != VLAN_MGR_OK)
        return st;
    uint8_t *p = alloc_payload(payload, payload_len, RangeReq::kLen);
    if (p == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    wire::Writer w(p, RangeReq::kLen);
    RangeReq::num.put(w, 1);
    RangeReq::vlans.init(w);
    w.bytes(RangeReq::vlans.bits_off(), bitmap->bits, VLAN_MGR_BITMAP_BYTES);
    RangeReq::vdc_id.put(w, vdc_ids[0]);
    return VLAN_MGR_OK;
}

uint32_t vlan_get_range_created_vlan_build_mts_local(void **payload, uint32_t *payload_len,
                                                     const vlan_bitmap *bitmap)
{
    const uint16_t vdc_id = vlan_mgr_local_vdc_get();
    return vlan_get_range_created_vlan_build_mts(&vdc_id, 1, payload, payload_len, bitmap);
}

uint32_t vlan_get_all_created_vlan_parse_reply(created_vlan_record **records, uint32_t *count, const void *payload,
                                               uint32_t payload_len)
{
    return parse_created(records, count, payload, payload_len);
}

uint32_t vlan_get_all_created_vlan_parse_reply_local(created_vlan_record_local **records, uint32_t *count,
                                                     const void *payload, uint32_t payload_len)
{
    return parse_created(records, count, payload, payload_len);
}
}
