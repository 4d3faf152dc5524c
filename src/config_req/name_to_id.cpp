// VLAN names: the name-to-id request and reply, and the default name of a
// VLAN.
#include <cstdio>
#include <cstring>

#include "config_req/config_common.h"
#include "config_req/layout.h"
#include "frame/local_vdc.h"
#include "frame/reply.h"
#include "frame/report.h"

namespace {
using Req = vlan_mgr::layout::config::NameToIdRequest;
using Rep = vlan_mgr::layout::config::NameToIdReply;
} // namespace

using namespace vlan_mgr;
using namespace vlan_mgr::config;

extern "C" {

uint32_t vlan_name_to_id_build_mts(const char *name, const uint16_t *vdc_id, void **payload, uint32_t *payload_len)
{
    if (name == nullptr || vdc_id == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (const uint32_t st = check_local_vdc(*vdc_id, nullptr); st != VLAN_MGR_OK)
        return st;
    const size_t len = strnlen(name, Req::kNameMax + 1);
    if (len > Req::kNameMax)
        return VLAN_MGR_ERR_NAME_TOO_LONG;
    const uint32_t size = static_cast<uint32_t>(len) + Req::kFixedLen; // VDC id, the name, its NUL
    uint8_t *p = alloc_payload(payload, payload_len, size);
    if (p == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    wire::Writer w(p, size);
    Req::vdc_id.put(w, *vdc_id);
    w.bytes(Req::kNameOff, name, len);
    return VLAN_MGR_OK;
}

uint32_t vlan_name_to_id_build_mts_local(const char *name, void **payload, uint32_t *payload_len)
{
    const uint16_t vdc_id = vlan_mgr_local_vdc_get();
    return vlan_name_to_id_build_mts(name, &vdc_id, payload, payload_len);
}

// Reply: status, VDC id, VLAN id.
uint32_t vlan_name_to_id_parse_reply(vdc_vlan_id_t *result, const void *payload, uint32_t payload_len)
{
    if (result == nullptr || payload == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (const auto st = common_reply_status(payload, payload_len))
        return *st;
    const wire::Reader r(payload, payload_len);
    if (!r.has(0, Rep::kLen))
        return VLAN_MGR_ERR_TRUNCATED;
    result->vdc_id = Rep::vdc_id.get(r);
    result->vlan_id = Rep::vlan_id.get(r);
    return Rep::status.get(r);
}

// The VLAN id is copied out whatever the full parser returned; after a
// failure it is the scratch record's 0.
uint32_t vlan_name_to_id_parse_reply_local(uint32_t *vlan_id, const void *payload, uint32_t payload_len)
{
    if (vlan_id == nullptr || payload == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    vdc_vlan_id_t scratch{0, 0};
    const uint32_t st = vlan_name_to_id_parse_reply(&scratch, payload, payload_len);
    *vlan_id = scratch.vlan_id;
    return st;
}

int32_t vlan_mgr_vlan_id_to_name(uint32_t vlan_id, char *name)
{
    constexpr size_t kNameBuf = 32;
    const int id = static_cast<int>(vlan_id);
    int len;
    if (vlan_id <= 9)
        len = std::snprintf(name, kNameBuf, "VLAN000%d", id);
    else if (vlan_id <= 99)
        len = std::snprintf(name, kNameBuf, "VLAN00%d", id);
    else if (vlan_id <= 999)
        len = std::snprintf(name, kNameBuf, "VLAN0%d", id);
    else
        len = std::snprintf(name, kNameBuf, "VLAN%d", id);
    // At most "VLAN-2147483648": always inside the buffer.
    name[len] = '\0';
    return len;
}
}
