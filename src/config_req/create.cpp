// VLAN create: the request builder, the reply parser and the create/update
// reply parser, which reads the same reply without its VDC id.
#include <cstring>

#include "config_req/config_common.h"
#include "config_req/layout.h"
#include "frame/local_vdc.h"
#include "frame/reply.h"
#include "frame/report.h"

namespace vlan_mgr::config {
namespace {

using Req = layout::config::CreateRequest;
using layout::config::kCreateReply;
using layout::config::kCreateUpdateReply;
using layout::config::StatusListReply;

// Decodes a create-style reply whose common rules have been applied. With
// count 1 the id is the reply's vlan_id; otherwise the ids are walked out of
// the bitmap in ascending order, each search starting after the previous id
// (after -1, that is from VLAN 0 again). A count of 0 still decodes one id and
// one status, so both arrays hold at least one element.
uint32_t decode_status_list(const StatusListReply &l, const wire::Reader &r, uint16_t *vdc_id, uint16_t *count,
                            uint32_t **vlan_ids, uint32_t **statuses)
{
    if (!r.has(l.count.off, l.count.width))
        return VLAN_MGR_ERR_TRUNCATED;
    const uint16_t n = l.count.get(r);
    const uint32_t entries = n == 0 ? 1 : n;
    // The statuses follow the bitmap, so this also covers every bitmap word
    // the walk may read, and the vlan_id field before it.
    if (!has_span(r, l.statuses.off, l.statuses.end(entries) - l.statuses.off))
        return VLAN_MGR_ERR_TRUNCATED;

    if (l.has_vdc)
        *vdc_id = l.vdc_id.get(r);
    *count = n;
    auto *ids = static_cast<uint32_t *>(std::malloc(4ull * entries));
    *vlan_ids = ids;
    if (ids == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    auto *st = static_cast<uint32_t *>(std::malloc(4ull * entries));
    *statuses = st;
    if (st == nullptr) {
        std::free(ids);
        *vlan_ids = nullptr;
        return VLAN_MGR_ERR_NO_MEMORY;
    }

    constexpr layout::U32 status{0};
    if (n == 1) {
        ids[0] = l.vlan_id.get(r);
        st[0] = status.get(l.statuses.entry(r, 0));
        return VLAN_MGR_OK;
    }
    // The walker yields what searching from (previous id + 1) would, one id
    // per call.
    bitmap::Walker walk(l.vlans.bits(r));
    for (uint32_t i = 0; i < entries; ++i) {
        ids[i] = static_cast<uint32_t>(walk.next());
        st[i] = status.get(l.statuses.entry(r, i));
    }
    return VLAN_MGR_OK;
}

} // namespace
} // namespace vlan_mgr::config

using namespace vlan_mgr;
using namespace vlan_mgr::config;

extern "C" {

uint32_t vlan_create_build_mts(uint16_t vdc_id, uint16_t count, const uint32_t *vlan_ids, const char *name,
                               uint32_t create_options, void **payload, uint32_t *payload_len)
{
    if (count == 0 || vlan_ids == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (const uint32_t st = check_local_vdc(vdc_id, "vlan_create_build_mts"); st != VLAN_MGR_OK)
        return st;
    size_t name_len = 0;
    if (count == 1) {
        name_len = strnlen(name, Req::kNameMax + 1);
        if (name_len > Req::kNameMax)
            return VLAN_MGR_ERR_NAME_TOO_LONG;
    }
    uint8_t *p = alloc_payload(payload, payload_len, Req::kFixedLen + static_cast<uint32_t>(name_len));
    if (p == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;

    wire::Writer w(p, Req::kFixedLen + name_len); // the NUL after the name and the trailing bytes stay 0
    Req::vdc_id.put(w, vdc_id);
    Req::count.put(w, count);
    Req::options.put(w, create_options);
    if (count == 1) {
        Req::vlan_id.put(w, vlan_ids[0]);
        Req::vlans.init(w);
        w.bytes(Req::kNameOff, name, name_len);
    } else {
        write_bitmap_from_ids(w.at(Req::vlans.off), vlan_ids, count);
    }
    return VLAN_MGR_OK;
}

uint32_t vlan_create_build_mts_local(uint16_t count, const uint32_t *vlan_ids, const char *name,
                                     uint32_t create_options, void **payload, uint32_t *payload_len)
{
    return vlan_create_build_mts(vlan_mgr_local_vdc_get(), count, vlan_ids, name, create_options, payload,
                                 payload_len);
}

uint32_t vlan_create_parse_reply(uint16_t *vdc_id, uint16_t *count, uint32_t **vlan_ids, uint32_t **statuses,
                                 const void *payload, uint32_t payload_len)
{
    if (vdc_id == nullptr || count == nullptr || payload == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (const auto st = common_reply_status(payload, payload_len))
        return *st;
    return decode_status_list(kCreateReply, wire::Reader(payload, payload_len), vdc_id, count, vlan_ids, statuses);
}

uint32_t vlan_create_parse_reply_local(uint16_t *count, uint32_t **vlan_ids, uint32_t **statuses,
                                       const void *payload, uint32_t payload_len)
{
    uint16_t vdc_id;
    return vlan_create_parse_reply(&vdc_id, count, vlan_ids, statuses, payload, payload_len);
}

uint32_t vlan_mgr_create_update_parse_reply(uint16_t *count, uint32_t **vlan_ids, uint32_t **statuses,
                                            const void *payload, int32_t payload_len)
{
    if (count == nullptr || payload == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (const auto st = common_reply_status(payload, static_cast<uint32_t>(payload_len)))
        return *st;
    const wire::Reader r(payload, payload_len < 0 ? 0 : static_cast<size_t>(payload_len));
    return decode_status_list(kCreateUpdateReply, r, nullptr, count, vlan_ids, statuses);
}
}
