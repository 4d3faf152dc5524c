// VLAN type change. The reply is the delete reply and is decoded by the
// delete parsers.
#include "config_req/config_common.h"
#include "config_req/layout.h"
#include "frame/local_vdc.h"
#include <vlan_mgr/opcodes.h>

namespace {

using Req = vlan_mgr::layout::config::TypeChangeRequest;

// Types that VLAN 1, the default VLAN, may not take: the private-VLAN types.
bool default_vlan_excluded(int32_t vlan_type)
{
    const auto type = static_cast<uint32_t>(vlan_type);
    return type == VLAN_MGR_VLAN_TYPE_PRIMARY || type == VLAN_MGR_VLAN_TYPE_ISOLATED ||
           type == VLAN_MGR_VLAN_TYPE_COMMUNITY;
}

} // namespace

using namespace vlan_mgr;
using namespace vlan_mgr::config;

extern "C" {

uint32_t vlan_type_change_build_mts(uint16_t vdc_id, const vlan_bitmap *bitmap, int32_t vlan_type, void **payload,
                                    uint32_t *payload_len)
{
    if (!vdc_in_range(vdc_id))
        return VLAN_MGR_ERR_VDC_MISMATCH;
    if (bitmap == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;

    // One walk counts the VLANs and refuses VLAN 1 as it reaches it.
    const bool no_default_vlan = default_vlan_excluded(vlan_type);
    uint32_t count = 0;
    for (int32_t v = bitmap::find_next_bits(bitmap->bits, 0); v >= 0;
         v = bitmap::find_next_bits(bitmap->bits, static_cast<uint32_t>(v) + 1)) {
        if (v == 1 && no_default_vlan)
            return VLAN_MGR_ERR_DEFAULT_VLAN;
        ++count;
    }
    if (count == 0)
        return VLAN_MGR_ERR_INVALID_ARG;

    uint8_t *p = alloc_payload(payload, payload_len, Req::kLen);
    if (p == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    wire::Writer w(p, Req::kLen); // bytes 0 and 1 are not used and go out as 0
    Req::vdc_id.put(w, vdc_id);
    Req::type.put(w, static_cast<uint32_t>(vlan_type));
    Req::count.put(w, count);
    Req::vlans.init(w);
    w.bytes(Req::vlans.bits_off(), bitmap->bits, bitmap::kBytes);
    return VLAN_MGR_OK;
}

uint32_t vlan_type_change_build_mts_local(const vlan_bitmap *bitmap, int32_t vlan_type, void **payload,
                                          uint32_t *payload_len)
{
    return vlan_type_change_build_mts(vlan_mgr_local_vdc_get(), bitmap, vlan_type, payload, payload_len);
}

uint32_t vlan_type_change_parse_reply(vlan_delete_result_t **results, uint32_t *count, uint16_t *vdc_id,
                                      const void *payload, int32_t payload_len)
{
    return vlan_delete_parse_reply(results, count, vdc_id, payload, payload_len);
}

uint32_t vlan_type_change_parse_reply_local(vlan_delete_result_t **results, uint32_t *count, const void *payload,
                                            int32_t payload_len)
{
    return vlan_delete_parse_reply_local(results, count, payload, payload_len);
}
}
