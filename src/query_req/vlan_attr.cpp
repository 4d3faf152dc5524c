// VLANs by attribute: the request names a VDC and an attribute number; the
// reply lists the VLANs that carry it, with a value for attribute 7.
#include <cstring>

#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/query_req.h>

#include "frame/local_vdc.h"
#include "frame/payload.h"
#include "frame/reply.h"
#include "frame/report.h"
#include "query_req/layout.h"

namespace vlan_mgr::query {
namespace {

using Req = layout::query::AttrRequest;
using Rep = layout::query::AttrReply;
using Entry = layout::query::AttrEntry;

} // namespace
} // namespace vlan_mgr::query

using namespace vlan_mgr;
using namespace vlan_mgr::query;

extern "C" {

// A VDC mismatch is reported as such but answered with
// VLAN_MGR_ERR_INVALID_ARG, unlike the listing builders.
uint32_t vlan_get_vlans_for_attr_value_build_mts(uint16_t vdc_id, int32_t attr, void **payload,
                                                 uint32_t *payload_len)
{
    *payload_len = 0;
    *payload = nullptr;
    if (check_local_vdc(vdc_id, nullptr) != VLAN_MGR_OK)
        return VLAN_MGR_ERR_INVALID_ARG;
    if (attr < 1 || static_cast<uint32_t>(attr) > VLAN_MGR_ATTR_MAX)
        return VLAN_MGR_ERR_INVALID_ATTR;
    uint8_t *p = alloc_payload(payload, payload_len, Req::kLen);
    if (p == nullptr) {
        *payload_len = 0;
        return VLAN_MGR_ERR_NO_MEMORY;
    }
    wire::Writer w(p, Req::kLen);
    Req::vdc_id.put(w, vdc_id);
    Req::attr.put(w, static_cast<uint32_t>(attr));
    return VLAN_MGR_OK;
}

uint32_t vlan_get_vlans_for_attr_value_build_mts_local(int32_t attr, void **payload, uint32_t *payload_len)
{
    return vlan_get_vlans_for_attr_value_build_mts(vlan_mgr_local_vdc_get(), attr, payload, payload_len);
}

// Reply: status, the attribute number echoed, the entry count N, then the
// entries. The attribute and N are handed back before the status is looked
// at; the entries are read (and must lie inside the reply) only when the
// status is 0.
uint32_t vlan_get_vlans_for_attr_value_parse_reply(uint32_t *attr, uint32_t *count, vlan_attr_entry **records,
                                                   const void *payload, uint32_t payload_len)
{
    if (attr == nullptr || count == nullptr || payload == nullptr)
        return VLAN_MGR_ERR_INVALID_ARG;
    *count = 0;
    *records = nullptr;
    if (const auto st = common_reply_status(payload, payload_len))
        return *st;
    const wire::Reader r(payload, payload_len);
    if (!r.has(0, Rep::kEntriesOff))
        return VLAN_MGR_ERR_TRUNCATED;
    const uint32_t status = Rep::status.get(r);
    const uint32_t echoed = Rep::attr.get(r);
    const uint32_t n = Rep::count.get(r);
    // Attribute 7 lists (VLAN id, value) pairs; every other attribute VLAN ids.
    const layout::List entries = Rep::entries(echoed);
    if (status == 0 && !has_span(r, entries.off, entries.end(n) - entries.off))
        return VLAN_MGR_ERR_TRUNCATED;
    *attr = echoed;
    *count = n;
    if (status != 0)
        return status;
    const auto size = checked_size(n, sizeof(vlan_attr_entry), 0);
    auto *out = size ? static_cast<vlan_attr_entry *>(std::malloc(*size)) : nullptr;
    *records = out;
    if (out == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    // Each entry is written whole: fields that are not decoded (the value of
    // other attributes, the last two bytes of every entry) are 0.
    if (echoed == Rep::kValueAttr) {
        for (uint32_t i = 0; i < n; ++i) {
            const wire::Reader e = entries.entry(r, i);
            out[i] = vlan_attr_entry{Entry::vlan_id.get(e), static_cast<uint16_t>(Entry::value.get(e)), {0, 0}};
        }
    } else {
        for (uint32_t i = 0; i < n; ++i)
            out[i] = vlan_attr_entry{Entry::vlan_id.get(entries.entry(r, i)), 0, {0, 0}};
    }
    return VLAN_MGR_OK;
}
}
