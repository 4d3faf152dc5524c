// The manager's side of the reserved-VLAN info query: the request decoder
// and the reply encoder.
#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/server/query.h>

#include "query_req/layout.h"

namespace vlan_mgr::server {
namespace {

using Req = layout::query::ReserveRequest;
using Rep = layout::query::ReserveReply;
using Rec = layout::query::ReserveRecord;

} // namespace

uint32_t decode_reserve_vlan_info_request(const uint8_t *payload, size_t len, ReserveVlanInfoRequest &out)
{
    if (payload == nullptr || len != Req::kLen)
        return VLAN_MGR_ERR_BAD_REQUEST;
    const wire::Reader r(payload, len);
    out.query = Req::query.get(r);
    out.vdc_id = Req::vdc_id.get(r);
    return Req::num.get(r) == 1 ? 0 : VLAN_MGR_ERR_BAD_REQUEST;
}

// Status 0, one record; its first two bytes stay zero.
Payload encode_reserve_vlan_info_reply(const ReserveVlanInfo &info)
{
    Payload out(static_cast<size_t>(Rep::records.end(1)));
    wire::Writer w(out.data(), out.size());
    Rep::status.put(w, 0);
    Rep::count.put(w, 1);
    wire::Writer rec = Rep::records.entry(w, 0);
    Rec::vdc_id.put(rec, info.vdc_id);
    Rec::bitmap1.init(rec);
    bits_to_wire(info.range, Rec::bitmap1.bits(rec));
    Rec::bitmap2.init(rec);
    bits_to_wire(info.reserved, Rec::bitmap2.bits(rec));
    Rec::word1.put(rec, info.start);
    Rec::word2.put(rec, info.end);
    return out;
}

} // namespace vlan_mgr::server
