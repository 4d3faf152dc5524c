// The manager's side of the VNI-server VLAN-mapping exchange: the request
// decoder and the reply encoder.
#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/server/query.h>

#include "bd_id/layout.h"

namespace vlan_mgr::server {
namespace {

using Req = layout::bd_id::VniMappingRequest;
using Rep = layout::bd_id::VniMappingReply;

} // namespace

uint32_t decode_vni_mapping_request(const uint8_t *payload, size_t len, VniMappingRequest &out)
{
    if (payload == nullptr || len != Req::kLen)
        return VLAN_MGR_ERR_BAD_REQUEST;
    const wire::Reader r(payload, len);
    out.value = Req::value.get(r);
    out.vni = Req::key.get(r);
    return Req::word0.get(r) == 1 ? 0 : VLAN_MGR_ERR_BAD_REQUEST;
}

Payload encode_vni_mapping_reply(uint32_t vdc_id, uint32_t vni, uint32_t vlan_id)
{
    Payload out(Rep::kLen);
    wire::Writer w(out.data(), out.size());
    Rep::status.put(w, 0);
    Rep::vdc_id.put(w, vdc_id);
    Rep::vni.put(w, vni);
    Rep::vlan_id.put(w, vlan_id);
    return out;
}

} // namespace vlan_mgr::server
