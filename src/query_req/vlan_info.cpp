// VLAN info and next-VLAN info: two requests of the same layout (VDC id, VLAN
// id) that differ in the VLAN ids they accept, and one reply parsed into a
// record with or without the VDC id.
#include <cstring>

#include <vlan_mgr/query_req.h>

#include "frame/local_vdc.h"
#include "query_req/layout.h"
#include "frame/payload.h"
#include "frame/reply.h"
#include "frame/report.h"

namespace vlan_mgr::query {
namespace {

using Req = layout::query::InfoRequest;
using Rep = layout::query::InfoReply;

enum class Query { info, next_info };

// The VDC is checked before the VLAN id. Only the next-VLAN query accepts 0
// (the start of a walk), and only it reports an id it rejects.
uint32_t build_info(Query q, const vdc_vlan_id_t *key, void **payload, uint32_t *payload_len)
{
    if (key == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    const uint16_t vdc_id = key->vdc_id;
    const uint32_t vlan_id = key->vlan_id;
    if (const uint32_t st = check_local_vdc(vdc_id, nullptr); st != VLAN_MGR_OK)
        return st;
    if (q == Query::info) {
        if (vlan_id < 1 || vlan_id > 4094)
            return VLAN_MGR_ERR_INVALID_VLAN;
    } else if (vlan_id > 4094) {
        return report_invalid_vlan(VLAN_MGR_ERR_INVALID_VLAN, "vlan_get_next_vlan_info_build_mts",
                                   static_cast<int32_t>(vlan_id));
    }
    uint8_t *p = alloc_payload(payload, payload_len, Req::kLen);
    if (p == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    wire::Writer w(p, Req::kLen);
    Req::vdc_id.put(w, vdc_id);
    Req::vlan_id.put(w, vlan_id);
    return VLAN_MGR_OK;
}

// Reply: status, VDC id, six attribute words, a 32-byte NUL-padded name. The
// record gets the VDC id only when it has the field.
template <typename Record>
uint32_t parse_info(Record *record, const void *payload, uint32_t payload_len)
{
    if (record == nullptr || payload == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (const auto st = common_reply_status(payload, payload_len))
        return *st;
    const wire::Reader r(payload, payload_len);
    if (!r.has(0, Rep::kLen))
        return VLAN_MGR_ERR_TRUNCATED;
    if constexpr (requires { record->vdc_id; })
        record->vdc_id = Rep::vdc_id.get(r);
    constexpr layout::U32 word{0};
    for (size_t i = 0; i < Rep::kAttrs; ++i)
        record->attr[i] = word.get(Rep::attrs.entry(r, i));
    // The name is not necessarily NUL-terminated on the wire: at most 32
    // bytes are taken, and the 33rd stays NUL.
    std::memset(record->name, 0, sizeof record->name);
    std::strncpy(record->name, reinterpret_cast<const char *>(Rep::name.get(r)), Rep::name.width);
    return Rep::status.get(r);
}

} // namespace
} // namespace vlan_mgr::query

using namespace vlan_mgr;
using namespace vlan_mgr::query;

extern "C" {

uint32_t vlan_get_vlan_info_build_mts(const vdc_vlan_id_t *key, void **payload, uint32_t *payload_len)
{
    return build_info(Query::info, key, payload, payload_len);
}

uint32_t vlan_get_vlan_info_build_mts_local(uint32_t vlan_id, void **payload, uint32_t *payload_len)
{
    const vdc_vlan_id_t key{vlan_mgr_local_vdc_get(), vlan_id};
    return vlan_get_vlan_info_build_mts(&key, payload, payload_len);
}

uint32_t vlan_get_next_vlan_info_build_mts(const vdc_vlan_id_t *key, void **payload, uint32_t *payload_len)
{
    return build_info(Query::next_info, key, payload, payload_len);
}

uint32_t vlan_get_next_vlan_info_build_mts_local(uint32_t vlan_id, void **payload, uint32_t *payload_len)
{
    const vdc_vlan_id_t key{vlan_mgr_local_vdc_get(), vlan_id};
    return vlan_get_next_vlan_info_build_mts(&key, payload, payload_len);
}

uint32_t vlan_get_vlan_info_parse_reply(vlan_info_record *record, const void *payload, uint32_t payload_len)
{
    return parse_info(record, payload, payload_len);
}

uint32_t vlan_get_vlan_info_parse_reply_local(vlan_info_record_local *record, const void *payload,
                                              uint32_t payload_len)
{
    return parse_info(record, payload, payload_len);
}
}
