// The reserved-check exchange, used on the VLAN manager's side: the request
// is parsed here and the reply built.
#include "config_req/config_common.h"

namespace {
constexpr size_t kRequestLen = 12;
constexpr uint32_t kReplyLen = 16;
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
    if (!r.has(0, kRequestLen))
        return VLAN_MGR_ERR_TRUNCATED;
    *vdc_id = r.u16(0);
    *check_word1 = r.u32(4);
    *check_word2 = r.u32(8);
    return VLAN_MGR_OK;
}

// Reply: VDC id, 2 unused bytes (sent as 0), the two check words, the result.
uint32_t vlan_mgr_vlan_rsvd_check_build_reply_pld(uint16_t vdc_id, uint32_t check_word1, uint32_t check_word2,
                                                  uint32_t check_result, void **payload)
{
    *payload = nullptr;
    void *p = std::malloc(kReplyLen);
    if (p == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    *payload = p;
    wire::Writer w(p, kReplyLen);
    w.u16(0, vdc_id);
    w.u32(4, check_word1);
    w.u32(8, check_word2);
    w.u32(12, check_result);
    return VLAN_MGR_OK;
}
}
