// The reserved-check exchange, used on the VLAN manager's side: the request
// is parsed here and the reply built.
#include "config_req/config_common.h"
#include "config_req/layout.h"

namespace {
using Req = vlan_mgr::layout::config::RsvdCheckRequest;
using Rep = vlan_mgr::layout::config::RsvdCheckReply;
} // namespace

using namespace vlan_mgr;

extern "C" {

// Request: VDC id, 2 unused bytes, two check words. There are no common reply
// rules here: a request shorter than its 12 bytes is refused, a longer one is
// read for its first 12.
uint32_t vlan_mgr_vlan_rsvd_check_parse_request_pld(const void *payload, uint32_t payload_len, uint16_t *vdc_id,
                                                    uint32_t *check_word1, uint32_t *check_word2)
{
    if (payload == nullptr || vdc_id == nullptr || check_word1 == nullptr || check_word2 == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    const wire::Reader r(payload, payload_len);
    if (!r.has(0, Req::kLen))
        return VLAN_MGR_ERR_TRUNCATED;
    *vdc_id = Req::vdc_id.get(r);
    *check_word1 = Req::check_word1.get(r);
    *check_word2 = Req::check_word2.get(r);
    return VLAN_MGR_OK;
}

// Reply: VDC id, 2 unused bytes (sent as 0), the two check words, the result.
uint32_t vlan_mgr_vlan_rsvd_check_build_reply_pld(uint16_t vdc_id, uint32_t check_word1, uint32_t check_word2,
                                                  uint32_t check_result, void **payload)
{
    *payload = nullptr;
    void *p = std::malloc(Rep::kLen);
    if (p == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    *payload = p;
    wire::Writer w(p, Rep::kLen);
    Rep::vdc_id.put(w, vdc_id);
    Rep::check_word1.put(w, check_word1);
    Rep::check_word2.put(w, check_word2);
    Rep::check_result.put(w, check_result);
    return VLAN_MGR_OK;
}
}
