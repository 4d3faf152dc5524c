// The manager's side of VLAN info and next-VLAN info: the request decoder
// (one layout for both) and the reply encoder.
#include <algorithm>

#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/server/query.h>

#include "query_req/layout.h"

namespace vlan_mgr::server {
namespace {

using Req = layout::query::InfoRequest;
using Rep = layout::query::InfoReply;

} // namespace

uint32_t decode_vlan_info_request(const uint8_t *payload, size_t len, VlanInfoRequest &out)
{
    if (payload == nullptr || len != Req::kLen)
        return VLAN_MGR_ERR_BAD_REQUEST;
    const wire::Reader r(payload, len);
    out.vdc_id = Req::vdc_id.get(r);
    out.vlan_id = Req::vlan_id.get(r);
    return 0;
}

Payload encode_vlan_info_reply(uint16_t vdc_id, const VlanAttrs &attrs, std::string_view name)
{
    Payload out(Rep::kLen);
    wire::Writer w(out.data(), out.size());
    Rep::status.put(w, 0);
    Rep::vdc_id.put(w, vdc_id);
    const uint32_t words[Rep::kAttrs] = {attrs.type, attrs.mode, attrs.bd_id, attrs.segment, attrs.primary,
                                         attrs.state};
    constexpr layout::U32 word{0};
    for (size_t i = 0; i < Rep::kAttrs; ++i) {
        wire::Writer e = Rep::attrs.entry(w, i);
        word.put(e, words[i]);
    }
    // The rest of the name field stays zero.
    w.bytes(Rep::name.off, name.data(), std::min(name.size(), Rep::name.width));
    return out;
}

} // namespace vlan_mgr::server
