// VLAN delete and delete-range: one request and one reply under two sets of
// names. The reply is also the type-change reply.
#include "config_req/config_common.h"
#include "config_req/layout.h"
#include "frame/local_vdc.h"
#include "frame/reply.h"
#include "frame/report.h"

namespace vlan_mgr::config {
namespace {

using Req = layout::config::DeleteRequest;
using Rep = layout::config::DeleteReply;

// `builder_name` is the exported name that a VDC mismatch report carries.
uint32_t build_delete(const char *builder_name, uint16_t vdc_id, uint32_t count, const uint32_t *vlan_ids,
                      void **payload, uint32_t *payload_len)
{
    if (vlan_ids == nullptr || count == 0)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (const uint32_t st = check_local_vdc(vdc_id, builder_name); st != VLAN_MGR_OK)
        return st;
    uint8_t *p = alloc_payload(payload, payload_len, Req::kLen);
    if (p == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    wire::Writer w(p, Req::kLen); // bytes 0 and 1 are not used and go out as 0
    Req::vdc_id.put(w, vdc_id);
    Req::count.put(w, count);
    write_bitmap_from_ids(w.at(Req::vlans.off), vlan_ids, count);
    return VLAN_MGR_OK;
}

// Reply: overall status, VDC id, count, then count {VLAN id, status} pairs.
uint32_t parse_delete(vlan_delete_result_t **results, uint32_t *count, uint16_t *vdc_id, const void *payload,
                      int32_t payload_len)
{
    if (count == nullptr || vdc_id == nullptr || payload == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    *results = nullptr;
    if (const auto st = common_reply_status(payload, static_cast<uint32_t>(payload_len)))
        return *st;
    const wire::Reader r(payload, payload_len < 0 ? 0 : static_cast<size_t>(payload_len));
    if (!r.has(0, Rep::pairs.off))
        return VLAN_MGR_ERR_TRUNCATED;
    const uint32_t n = Rep::count.get(r);
    if (!has_span(r, Rep::pairs.off, Rep::pairs.end(n) - Rep::pairs.off))
        return VLAN_MGR_ERR_TRUNCATED;
    *count = n;
    *vdc_id = Rep::vdc_id.get(r);
    if (const uint32_t st = decode_pairs(r, Rep::pairs, n, results); st != VLAN_MGR_OK)
        return st;
    return Rep::status.get(r);
}

} // namespace
} // namespace vlan_mgr::config

using namespace vlan_mgr;
using namespace vlan_mgr::config;

extern "C" {

uint32_t vlan_delete_build_mts(uint16_t vdc_id, uint32_t count, const uint32_t *vlan_ids, void **payload,
                               uint32_t *payload_len)
{
    return build_delete("vlan_delete_build_mts", vdc_id, count, vlan_ids, payload, payload_len);
}

uint32_t vlan_delete_range_build_mts(uint16_t vdc_id, uint32_t count, const uint32_t *vlan_ids, void **payload,
                                     uint32_t *payload_len)
{
    return build_delete("vlan_delete_range_build_mts", vdc_id, count, vlan_ids, payload, payload_len);
}

// Both _local forms build through vlan_delete_build_mts: with the local VDC id
// no mismatch can be reported, so the range name is never needed here.
uint32_t vlan_delete_build_mts_local(uint32_t count, const uint32_t *vlan_ids, void **payload, uint32_t *payload_len)
{
    return vlan_delete_build_mts(vlan_mgr_local_vdc_get(), count, vlan_ids, payload, payload_len);
}

uint32_t vlan_delete_range_build_mts_local(uint32_t count, const uint32_t *vlan_ids, void **payload,
                                           uint32_t *payload_len)
{
    return vlan_delete_build_mts(vlan_mgr_local_vdc_get(), count, vlan_ids, payload, payload_len);
}

uint32_t vlan_delete_parse_reply(vlan_delete_result_t **results, uint32_t *count, uint16_t *vdc_id,
                                 const void *payload, int32_t payload_len)
{
    return parse_delete(results, count, vdc_id, payload, payload_len);
}

uint32_t vlan_delete_range_parse_reply(vlan_delete_result_t **results, uint32_t *count, uint16_t *vdc_id,
                                       const void *payload, int32_t payload_len)
{
    return parse_delete(results, count, vdc_id, payload, payload_len);
}

uint32_t vlan_delete_parse_reply_local(vlan_delete_result_t **results, uint32_t *count, const void *payload,
                                       int32_t payload_len)
{
    uint16_t vdc_id;
    return vlan_delete_parse_reply(results, count, &vdc_id, payload, payload_len);
}

uint32_t vlan_delete_range_parse_reply_local(vlan_delete_result_t **results, uint32_t *count, const void *payload,
                                             int32_t payload_len)
{
    uint16_t vdc_id;
    return vlan_delete_range_parse_reply(results, count, &vdc_id, payload, payload_len);
}
}
