// The manager's side of VLAN delete, delete-range and type change: the two
// request decoders and the reply that both answer with.
#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/server/config.h>

#include "config_req/layout.h"

namespace vlan_mgr::server {
namespace {

using DelReq = layout::config::DeleteRequest;
using TypeReq = layout::config::TypeChangeRequest;
using Rep = layout::config::DeleteReply;
using Pair = layout::config::Pair;

} // namespace

uint32_t decode_delete_request(const uint8_t *payload, size_t len, DeleteRequest &out)
{
    const wire::Reader r(payload, len);
    if (payload == nullptr || !r.has(0, DelReq::kLen))
        return VLAN_MGR_ERR_BAD_REQUEST;
    out.vdc_id = DelReq::vdc_id.get(r);
    out.count = DelReq::count.get(r);
    out.vlans = bits_from_wire(DelReq::vlans.bits(r));
    return out.vlans.none() ? VLAN_MGR_ERR_BAD_REQUEST : 0;
}

uint32_t decode_type_change_request(const uint8_t *payload, size_t len, TypeChangeRequest &out)
{
    const wire::Reader r(payload, len);
    if (payload == nullptr || !r.has(0, TypeReq::kLen))
        return VLAN_MGR_ERR_BAD_REQUEST;
    out.vdc_id = TypeReq::vdc_id.get(r);
    out.type = TypeReq::type.get(r);
    out.count = TypeReq::count.get(r);
    out.vlans = bits_from_wire(TypeReq::vlans.bits(r));
    return out.vlans.none() ? VLAN_MGR_ERR_BAD_REQUEST : 0;
}

Payload encode_delete_reply(uint16_t vdc_id, std::span<const VlanStatus> results)
{
    uint32_t overall = 0;
    for (const VlanStatus &r : results)
        if (r.status != 0) {
            overall = r.status;
            break;
        }
    Payload out(Rep::pairs.end(results.size()));
    wire::Writer w(out.data(), out.size());
    Rep::status.put(w, overall);
    Rep::vdc_id.put(w, vdc_id);
    Rep::count.put(w, static_cast<uint32_t>(results.size()));
    for (size_t i = 0; i < results.size(); ++i) {
        wire::Writer e = Rep::pairs.entry(w, i);
        Pair::vlan_id.put(e, results[i].vlan_id);
        Pair::status.put(e, results[i].status);
    }
    return out;
}

} // namespace vlan_mgr::server
