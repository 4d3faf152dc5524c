// The manager's side of the VLANs-by-attribute query: the request decoder
// and the reply encoder.
#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/server/query.h>

#include "query_req/layout.h"

namespace vlan_mgr::server {
namespace {

using Req = layout::query::AttrRequest;
using Rep = layout::query::AttrReply;
using Entry = layout::query::AttrEntry;

} // namespace

uint32_t decode_vlans_for_attr_request(const uint8_t *payload, size_t len, VlansForAttrRequest &out)
{
    if (payload == nullptr || len != Req::kLen)
        return VLAN_MGR_ERR_BAD_REQUEST;
    const wire::Reader r(payload, len);
    out.vdc_id = Req::vdc_id.get(r);
    out.attr = Req::attr.get(r);
    return 0;
}

Payload encode_vlans_for_attr_reply(uint32_t status, uint32_t attr, std::span<const VlanAttrValue> entries)
{
    const layout::List list = Rep::entries(attr);
    Payload out(static_cast<size_t>(list.end(entries.size())));
    wire::Writer w(out.data(), out.size());
    Rep::status.put(w, status);
    Rep::attr.put(w, attr);
    Rep::count.put(w, static_cast<uint32_t>(entries.size()));
    for (size_t i = 0; i < entries.size(); ++i) {
        wire::Writer e = list.entry(w, i);
        Entry::vlan_id.put(e, entries[i].vlan_id);
        if (attr == Rep::kValueAttr)
            Entry::value.put(e, entries[i].value);
    }
    return out;
}

} // namespace vlan_mgr::server
