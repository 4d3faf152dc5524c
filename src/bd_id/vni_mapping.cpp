// The VNI-server VLAN-mapping exchange: the request builder and the reply
// parser.
#include <cstdlib>

#include <vlan_mgr/bd_id.h>

#include "frame/reply.h"
#include <vlan_mgr/internal/wire.h>

namespace {

// Request: three big-endian words.
constexpr uint32_t kRequestSize = 12;
constexpr size_t kReqWord0 = 0; // always 1
constexpr size_t kReqValue = 4;
constexpr size_t kReqKey = 8;

// Reply: the status word, then three values.
constexpr uint32_t kReplySize = 16;
constexpr size_t kRepStatus = 0;
constexpr size_t kRepOut3 = 4;
constexpr size_t kRepOut1 = 8;
constexpr size_t kRepOut2 = 12;

} // namespace

extern "C" {

uint32_t vlan_mgr_req_vni_server_vlan_mapping_build_mts(uint32_t, uint32_t key, uint32_t value, void **out_buf,
                                                        uint32_t *out_len)
{
    if (key == 0 || out_buf == nullptr || out_len == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    // The length goes out before the allocation, so it reads 12 even when
    // the allocation fails.
    *out_len = kRequestSize;
    void *p = std::malloc(kRequestSize);
    *out_buf = p;
    if (p == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    vlan_mgr::wire::Writer w(p, kRequestSize);
    w.u32(kReqWord0, 1);
    w.u32(kReqValue, value);
    w.u32(kReqKey, key);
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
    if (!r.has(0, kReplySize))
        return VLAN_MGR_ERR_TRUNCATED;
    // out3 is optional: a caller that does not want the first value passes NULL.
    if (out3 != nullptr)
        *out3 = r.u32(kRepOut3);
    *out1 = r.u32(kRepOut1);
    *out2 = r.u32(kRepOut2);
    return r.u32(kRepStatus);
}
}
