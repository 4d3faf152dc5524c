// The VNI-server VLAN-mapping exchange: the request builder and the reply
// parser.
#include <cstdlib>

#include <vlan_mgr/bd_id.h>

#include "bd_id/layout.h"
#include "frame/reply.h"
#include <vlan_mgr/internal/wire.h>

namespace {

using Req = vlan_mgr::layout::bd_id::VniMappingRequest;
using Rep = vlan_mgr::layout::bd_id::VniMappingReply;

} // namespace

extern "C" {

uint32_t vlan_mgr_req_vni_server_vlan_mapping_build_mts(uint32_t, uint32_t key, uint32_t value, void **out_buf,
                                                        uint32_t *out_len)
{
    if (key == 0 || out_buf == nullptr || out_len == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    // The length goes out before the allocation, so it reads 12 even when
    // the allocation fails.
    *out_len = Req::kLen;
    void *p = std::malloc(Req::kLen);
    *out_buf = p;
    if (p == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    vlan_mgr::wire::Writer w(p, Req::kLen);
    Req::word0.put(w, 1);
    Req::value.put(w, value);
    Req::key.put(w, key);
    return VLAN_MGR_OK;
}

uint32_t vlan_mgr_parse_vni_vlan_mapping_reply(uint32_t *out1, uint32_t *out2, uint32_t *out3, const void *payload,
                                               uint32_t len)
{
    if (out1 == nullptr || out2 == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (const auto status = vlan_mgr::common_reply_status(payload, len))
        return *status;
    const vlan_mgr::wire::Reader r(payload, len);
    if (!r.has(0, Rep::kLen))
        return VLAN_MGR_ERR_TRUNCATED;
    // out3 is optional: a caller that does not want the first value passes NULL.
    if (out3 != nullptr)
        *out3 = Rep::vdc_id.get(r);
    *out1 = Rep::vni.get(r);
    *out2 = Rep::vlan_id.get(r);
    return Rep::status.get(r);
}
}
