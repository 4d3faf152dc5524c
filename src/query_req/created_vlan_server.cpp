// The manager's side of the created-VLAN listings: the decoders of the
// all-created and range requests and the encoder of their one reply.
#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/server/query.h>

#include "query_req/layout.h"

namespace vlan_mgr::server {
namespace {

using AllReq = layout::query::AllCreatedRequest;
using RangeReq = layout::query::RangeCreatedRequest;
using Rep = layout::query::CreatedReply;
using Group = layout::query::CreatedGroup;
using Rec = layout::query::CreatedRecord;

} // namespace

uint32_t decode_all_created_request(const uint8_t *payload, size_t len, uint16_t &vdc_id)
{
    if (payload == nullptr || len != AllReq::kLen)
        return VLAN_MGR_ERR_BAD_REQUEST;
    const wire::Reader r(payload, len);
    vdc_id = AllReq::vdc_id.get(r);
    return AllReq::num.get(r) == 1 ? 0 : VLAN_MGR_ERR_BAD_REQUEST;
}

uint32_t decode_range_created_request(const uint8_t *payload, size_t len, RangeCreatedRequest &out)
{
    if (payload == nullptr || len != RangeReq::kLen)
        return VLAN_MGR_ERR_BAD_REQUEST;
    const wire::Reader r(payload, len);
    out.vdc_id = RangeReq::vdc_id.get(r);
    out.vlans = bits_from_wire(RangeReq::vlans.bits(r));
    if (RangeReq::num.get(r) != 1 || RangeReq::vlans.length().get(r) != layout::Bitmap::kBitBytes)
        return VLAN_MGR_ERR_BAD_REQUEST;
    return 0;
}

// One group; its records end well before the group does (22 of the 132
// bytes per record), the rest is zero.
Payload encode_created_reply(uint16_t vdc_id, std::span<const CreatedVlan> vlans)
{
    static_assert(Group::kHead <= Rep::kGroupFixed && Group::records.stride <= Rep::kGroupPerRecord);
    Payload out(static_cast<size_t>(Rep::kGroupsOff + Rep::group_size(vlans.size())));
    wire::Writer w(out.data(), out.size());
    Rep::groups.put(w, 1);
    wire::Writer group = w.sub(Rep::kGroupsOff);
    Group::vdc_id.put(group, vdc_id);
    Group::count.put(group, static_cast<uint32_t>(vlans.size()));
    for (size_t i = 0; i < vlans.size(); ++i) {
        const CreatedVlan &v = vlans[i];
        wire::Writer e = Group::records.entry(group, i);
        Rec::vlan_id.put(e, v.vlan_id);
        Rec::attr2.put(e, v.attrs.mode);
        Rec::bd_id.put(e, static_cast<uint16_t>(v.attrs.bd_id));
        Rec::attr4.put(e, v.attrs.segment);
        Rec::attr5.put(e, v.attrs.primary);
        Rec::attr6.put(e, v.attrs.state);
    }
    return out;
}

} // namespace vlan_mgr::server
