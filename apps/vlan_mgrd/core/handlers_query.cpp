// The VLAN queries: one VLAN's information, the next VLAN's (a walk in id
// order), the created VLANs of a VDC or of a set of VLANs, the VLANs that
// carry an attribute, the reserved-VLAN information, the VNI-server mapping,
// and (query_tlv.cpp) the TLV-framed queries.
//
// Queries change nothing, with one exception: the VNI-server request that
// maps a VNI to a VLAN (or removes a mapping) changes the VDC's mapping and
// marks the VDC's configuration as changed.
#include <cstring>

#include <vlan_mgr/config_req.h>
#include <vlan_mgr/query_req.h>

#include <vlan_mgr/server/query.h>

#include "handlers.h"
#include "query_common.h"

namespace vlan_mgrd {
namespace query {

namespace server = vlan_mgr::server;

std::string reply_name(const Vlan &vl, uint32_t vlan_id)
{
    if (!vl.name.empty())
        return vl.name.substr(0, kNameMax);
    char buf[kNameMax] = {};
    vlan_mgr_vlan_id_to_name(vlan_id, buf);
    return std::string(buf, strnlen(buf, sizeof buf));
}

VlanSet created_vlans(const Vdc &vdc)
{
    VlanSet set;
    for (uint32_t v = 1; v <= kVlanMax; ++v)
        if (vdc.vlans[v].created)
            set.set(v);
    return set;
}

std::vector<server::CreatedVlan> listed(const Vdc &vdc, const VlanSet &vlans, bool with_names)
{
    std::vector<server::CreatedVlan> out;
    out.reserve(vlans.count());
    for (uint32_t v = 1; v <= kVlanMax; ++v) {
        if (!vlans.test(v))
            continue;
        const Vlan &vl = vdc.vlans[v];
        out.push_back({v, attr_words(vl, v), with_names ? reply_name(vl, v) : std::string()});
    }
    return out;
}

namespace {

// ---- VLAN info and next-VLAN info -------------------------------------------

// Both requests: VDC id, VLAN id. VLAN info wants a created VLAN 1..4094;
// next-VLAN info the first created VLAN above the given id (0..4094, 0
// starts a walk), and ends the walk with VLAN_MGR_ERR_NO_VLANS.
void vlan_info_common(Manager &m, const Request &req, Reply &reply, bool next)
{
    server::VlanInfoRequest in;
    if (server::decode_vlan_info_request(req.payload, req.len, in) != 0)
        return reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
    if (!vdc_allowed(req, in.vdc_id))
        return reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
    const Vdc &vdc = m.vdc(in.vdc_id);
    const auto answer = [&](uint32_t v) {
        reply = server::encode_vlan_info_reply(in.vdc_id, attr_words(vdc.vlans[v], v), reply_name(vdc.vlans[v], v));
    };
    if (!next) {
        if (!Manager::vlan_valid(in.vlan_id))
            return reply_status(reply, VLAN_MGR_ERR_INVALID_VLAN);
        if (!vdc.vlans[in.vlan_id].created)
            return reply_status(reply, VLAN_MGR_ERR_VLAN_NOT_CREATED);
        return answer(in.vlan_id);
    }
    if (in.vlan_id > kVlanMax)
        return reply_status(reply, VLAN_MGR_ERR_INVALID_VLAN);
    for (uint32_t v = in.vlan_id + 1; v <= kVlanMax; ++v)
        if (vdc.vlans[v].created)
            return answer(v);
    reply_status(reply, VLAN_MGR_ERR_NO_VLANS);
}

void vlan_info(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    vlan_info_common(m, req, reply, false);
}

void next_vlan_info(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    vlan_info_common(m, req, reply, true);
}

// ---- Created-VLAN listings ---------------------------------------------------

// The VDC's created VLANs.
void all_created_vlan(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    uint16_t vdc_id = 0;
    if (server::decode_all_created_request(req.payload, req.len, vdc_id) != 0)
        return reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
    if (!vdc_allowed(req, vdc_id))
        return reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
    const Vdc &vdc = m.vdc(vdc_id);
    reply = server::encode_created_reply(vdc_id, listed(vdc, created_vlans(vdc)));
}

// The created VLANs among those asked about; bits 0 and 4095 name no VLAN
// and are ignored.
void range_created_vlan(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    server::RangeCreatedRequest in;
    if (server::decode_range_created_request(req.payload, req.len, in) != 0)
        return reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
    if (!vdc_allowed(req, in.vdc_id))
        return reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
    const Vdc &vdc = m.vdc(in.vdc_id);
    reply = server::encode_created_reply(in.vdc_id, listed(vdc, in.vlans & created_vlans(vdc)));
}

// ---- VLANs by attribute ------------------------------------------------------

// The attributes this manager keeps: 1..VLAN_MGR_ATTR_NAMED.
constexpr uint32_t kAttrServedMax = VLAN_MGR_ATTR_NAMED;

// Whether created VLAN `vl` carries attribute `attr` (1..11 but 7, which
// lists every created VLAN with a value).
bool carries(const Vlan &vl, uint32_t attr)
{
    switch (attr) {
    case VLAN_MGR_ATTR_TYPE: return vl.type != VLAN_MGR_VLAN_TYPE_NORMAL;
    case VLAN_MGR_ATTR_MODE: return vl.mode != 0;
    case VLAN_MGR_ATTR_BD: return true;
    case VLAN_MGR_ATTR_SEGMENT: return vl.segment != 0;
    case VLAN_MGR_ATTR_PRIMARY: return vl.primary != 0;
    case VLAN_MGR_ATTR_STATE: return vl.state == VlanState::Suspended;
    case VLAN_MGR_ATTR_PRIMARY_TYPE: return vl.type == VLAN_MGR_VLAN_TYPE_PRIMARY;
    case VLAN_MGR_ATTR_ISOLATED: return vl.type == VLAN_MGR_VLAN_TYPE_ISOLATED;
    case VLAN_MGR_ATTR_COMMUNITY: return vl.type == VLAN_MGR_VLAN_TYPE_COMMUNITY;
    case VLAN_MGR_ATTR_NAMED: return !vl.name.empty();
    default: return false;
    }
}

// The created VLANs that carry the attribute, in id order (attribute 7:
// every created VLAN with its BD id). Attributes 12..21 are valid numbers
// the manager keeps nothing for: status VLAN_MGR_ERR_NOT_SUPPORTED with the
// attribute echoed and no VLAN.
void vlans_for_attr_value(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    server::VlansForAttrRequest in;
    if (server::decode_vlans_for_attr_request(req.payload, req.len, in) != 0)
        return reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
    if (!vdc_allowed(req, in.vdc_id))
        return reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
    if (in.attr < 1 || in.attr > VLAN_MGR_ATTR_MAX)
        return reply_status(reply, VLAN_MGR_ERR_INVALID_ATTR);
    if (in.attr > kAttrServedMax) {
        reply = server::encode_vlans_for_attr_reply(VLAN_MGR_ERR_NOT_SUPPORTED, in.attr, {});
        return;
    }
    const Vdc &vdc = m.vdc(in.vdc_id);
    std::vector<server::VlanAttrValue> entries;
    for (uint32_t v = 1; v <= kVlanMax; ++v) {
        const Vlan &vl = vdc.vlans[v];
        if (vl.created && (in.attr == VLAN_MGR_ATTR_BD_PAIRS || carries(vl, in.attr)))
            entries.push_back({v, in.attr == VLAN_MGR_ATTR_BD_PAIRS ? bd_of(v) : 0u});
    }
    reply = server::encode_vlans_for_attr_reply(0, in.attr, entries);
}

// ---- Reserved-VLAN information -------------------------------------------------

// The query word selects nothing: every value gets the same answer. The
// answer: the configured range rsvd_start..rsvd_end, the VLANs kept from
// creation (the reserved set), rsvd_start and rsvd_end.
void reserve_vlan_info(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    server::ReserveVlanInfoRequest in;
    if (server::decode_reserve_vlan_info_request(req.payload, req.len, in) != 0)
        return reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
    if (!vdc_allowed(req, in.vdc_id))
        return reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
    const Vdc &vdc = m.vdc(in.vdc_id);
    server::ReserveVlanInfo info;
    info.vdc_id = in.vdc_id;
    for (uint32_t v = vdc.rsvd_start; v != 0 && v <= vdc.rsvd_end && v <= kVlanMax; ++v)
        info.range.set(v);
    info.reserved = vdc.reserved;
    info.start = vdc.rsvd_start;
    info.end = vdc.rsvd_end;
    reply = server::encode_reserve_vlan_info_reply(info);
}

// ---- VNI-server mapping ----------------------------------------------------------

constexpr uint32_t kVniMax = 0xFFFFFF;     // VNIs are 24-bit

// In the requester's own VDC. Value 1..4094 maps the VNI to that VLAN, 0
// asks for the mapping, 0xFFFFFFFF removes it. The answer: the VLAN the VNI
// maps to after the request (0: none; for a removal the VLAN it mapped to).
void vni_server_mapping(Manager &m, const Request &req, Reply &reply, ChangeSet &changes)
{
    server::VniMappingRequest in;
    if (server::decode_vni_mapping_request(req.payload, req.len, in) != 0)
        return reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
    if (!vdc_allowed(req, req.src_vdc))
        return reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
    const uint32_t vni = in.vni;
    const uint32_t value = in.value;
    if (vni == 0 || vni > kVniMax)
        return reply_status(reply, VLAN_MGR_ERR_INVALID_ARG);
    Vdc &vdc = m.vdc(req.src_vdc);
    const auto it = vdc.vni_to_vlan.find(vni);
    const uint32_t before = it == vdc.vni_to_vlan.end() ? 0 : it->second;
    uint32_t answer = before;
    if (value == VLAN_MGR_VNI_VALUE_UNMAP) {
        if (it != vdc.vni_to_vlan.end()) {
            vdc.vni_to_vlan.erase(it);
            changes.vdc(req.src_vdc).vdc_config = true;
        }
    } else if (value != VLAN_MGR_VNI_VALUE_QUERY) {
        if (!Manager::vlan_valid(value))
            return reply_status(reply, VLAN_MGR_ERR_INVALID_VLAN);
        if (vdc.reserved.test(value))
            return reply_status(reply, VLAN_MGR_ERR_VLAN_RESERVED);
        if (before != value) {
            vdc.vni_to_vlan[vni] = value;
            changes.vdc(req.src_vdc).vdc_config = true;
        }
        answer = value;
    }
    reply = server::encode_vni_mapping_reply(req.src_vdc, vni, answer);
}

const HandlerEntry kQueryHandlers[] = {
    {VLAN_MGR_OPC_VLAN_INFO, "vlan info", vlan_info},
    {VLAN_MGR_OPC_NEXT_VLAN_INFO, "next vlan info", next_vlan_info},
    {VLAN_MGR_OPC_ALL_CREATED_VLAN, "all created vlans", all_created_vlan},
    {VLAN_MGR_OPC_RANGE_CREATED_VLAN, "range created vlans", range_created_vlan},
    {VLAN_MGR_OPC_VLANS_FOR_ATTR_VALUE, "vlans for attribute", vlans_for_attr_value},
    {VLAN_MGR_OPC_RESERVE_VLAN_INFO, "reserved vlan info", reserve_vlan_info},
    {VLAN_MGR_OPC_ALL_CREATED_VLAN_2, "all created vlans (tlv)", all_created_vlan_2},
    {VLAN_MGR_OPC_DIAG_VLAN_INFO, "diag vlan info", diag_vlan_info},
    {VLAN_MGR_OPC_DYN_RSVD_VLAN_INFO, "dynamic reserved vlan info", dyn_rsvd_vlan_info},
    {VLAN_MGR_OPC_RANGE_CREATED_VLAN_NAME, "range created vlan names", range_created_vlan_name},
    {VLAN_MGR_OPC_VNI_SERVER_MAPPING, "vni server mapping", vni_server_mapping},
};

} // namespace
} // namespace query

std::span<const HandlerEntry> query_handlers()
{
    return query::kQueryHandlers;
}

} // namespace vlan_mgrd
