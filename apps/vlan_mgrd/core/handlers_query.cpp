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

#include "handlers.h"
#include "query_common.h"
#include "wire_io.h"

namespace vlan_mgrd {
namespace query {

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

namespace {

// ---- VLAN info and next-VLAN info -------------------------------------------

constexpr uint32_t kInfoRequestLen = 6;
constexpr size_t kInfoNameLen = 32;

// Status, VDC id, attribute words 1..6, the name in 32 NUL-padded bytes.
void write_info(Reply &reply, uint16_t vdc_id, const Vlan &vl, uint32_t vlan_id)
{
    WireWriter w(reply);
    w.u32(0);
    w.u16(vdc_id);
    for (uint32_t word : attr_words(vl, vlan_id))
        w.u32(word);
    const std::string name = reply_name(vl, vlan_id);
    w.bytes(name.data(), name.size());
    w.zeros(kInfoNameLen - name.size());
}

// Both requests: VDC id, VLAN id. VLAN info wants a created VLAN 1..4094;
// next-VLAN info the first created VLAN above the given id (0..4094, 0
// starts a walk), and ends the walk with VLAN_MGR_ERR_NO_VLANS.
void vlan_info_common(Manager &m, const Request &req, Reply &reply, bool next)
{
    WireReader r(req.payload, req.len);
    const uint16_t vdc_id = r.u16(0);
    const uint32_t vlan_id = r.u32(2);
    if (!r.ok() || req.len != kInfoRequestLen)
        return reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
    if (!vdc_allowed(req, vdc_id))
        return reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
    const Vdc &vdc = m.vdc(vdc_id);
    if (!next) {
        if (!Manager::vlan_valid(vlan_id))
            return reply_status(reply, VLAN_MGR_ERR_INVALID_VLAN);
        if (!vdc.vlans[vlan_id].created)
            return reply_status(reply, VLAN_MGR_ERR_VLAN_NOT_CREATED);
        return write_info(reply, vdc_id, vdc.vlans[vlan_id], vlan_id);
    }
    if (vlan_id > kVlanMax)
        return reply_status(reply, VLAN_MGR_ERR_INVALID_VLAN);
    for (uint32_t v = vlan_id + 1; v <= kVlanMax; ++v)
        if (vdc.vlans[v].created)
            return write_info(reply, vdc_id, vdc.vlans[v], v);
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

constexpr uint32_t kAllRequestLen = 6;
constexpr uint32_t kRangeRequestLen = 522;
constexpr uint32_t kBitmapLenWord = 512;
constexpr size_t kGroupFixed = 36;       // bytes a group takes besides its records' share
constexpr size_t kGroupPerRecord = 132;  // bytes a group takes per record
constexpr size_t kListingRecord = 22;

// One group (this VDC): VDC id, R, then R records of 22 bytes (VLAN id,
// attribute word 2, BD id, attribute words 4, 5, 6); the group takes
// 36 + 132·R bytes, the rest of which is zero.
void write_listing(Reply &reply, const Vdc &vdc, const VlanSet &vlans)
{
    WireWriter w(reply);
    const uint32_t count = static_cast<uint32_t>(vlans.count());
    w.u32(1);
    const size_t group = w.size();
    w.u16(vdc.id);
    w.u32(count);
    for (uint32_t v = 1; v <= kVlanMax; ++v) {
        if (!vlans.test(v))
            continue;
        const std::array<uint32_t, 6> a = attr_words(vdc.vlans[v], v);
        w.u32(v);
        w.u32(a[kAttrMode - 1]);
        w.u16(bd_of(v));
        w.u32(a[kAttrSegment - 1]);
        w.u32(a[kAttrPrimary - 1]);
        w.u32(a[kAttrState - 1]);
    }
    const size_t used = w.size() - group;
    w.zeros(kGroupFixed + kGroupPerRecord * count - used);
    static_assert(kGroupFixed >= 6 && kGroupPerRecord >= kListingRecord);
}

// Count of VDC ids (1), VDC id.
void all_created_vlan(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    WireReader r(req.payload, req.len);
    const uint32_t num = r.u32(0);
    const uint16_t vdc_id = r.u16(4);
    if (!r.ok() || req.len != kAllRequestLen || num != 1)
        return reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
    if (!vdc_allowed(req, vdc_id))
        return reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
    const Vdc &vdc = m.vdc(vdc_id);
    write_listing(reply, vdc, created_vlans(vdc));
}

// Count of VDC ids (1), the bitmap (length word 512 in host order, 512
// bytes), VDC id. Bits 0 and 4095 name no VLAN and are ignored.
void range_created_vlan(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    WireReader r(req.payload, req.len);
    const uint32_t num = r.u32(0);
    const uint32_t bitmap_len = r.host32(4);
    const VlanSet asked = r.bitmap(8);
    const uint16_t vdc_id = r.u16(520);
    if (!r.ok() || req.len != kRangeRequestLen || num != 1 || bitmap_len != kBitmapLenWord)
        return reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
    if (!vdc_allowed(req, vdc_id))
        return reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
    const Vdc &vdc = m.vdc(vdc_id);
    write_listing(reply, vdc, asked & created_vlans(vdc));
}

// ---- VLANs by attribute ------------------------------------------------------

constexpr uint32_t kAttrRequestLen = 6;
constexpr uint32_t kAttrMax = 21;
constexpr uint32_t kAttrBdPairs = 7;       // (VLAN id, BD id) pairs
constexpr uint32_t kAttrPrimaryType = 8;   // primary private VLANs
constexpr uint32_t kAttrIsolated = 9;      // isolated secondaries
constexpr uint32_t kAttrCommunity = 10;    // community secondaries
constexpr uint32_t kAttrNamed = 11;        // VLANs with a name of their own
constexpr uint32_t kAttrServedMax = 11;

// Whether created VLAN `vl` carries attribute `attr` (1..11 but 7, which
// lists every created VLAN with a value).
bool carries(const Vlan &vl, uint32_t attr)
{
    switch (attr) {
    case kAttrType: return vl.type != VLAN_MGR_VLAN_TYPE_NORMAL;
    case kAttrMode: return vl.mode != 0;
    case kAttrBd: return true;
    case kAttrSegment: return vl.segment != 0;
    case kAttrPrimary: return vl.primary != 0;
    case kAttrState: return vl.state == VlanState::Suspended;
    case kAttrPrimaryType: return vl.type == VLAN_MGR_VLAN_TYPE_PRIMARY;
    case kAttrIsolated: return vl.type == VLAN_MGR_VLAN_TYPE_ISOLATED;
    case kAttrCommunity: return vl.type == VLAN_MGR_VLAN_TYPE_COMMUNITY;
    case kAttrNamed: return !vl.name.empty();
    default: return false;
    }
}

// VDC id, attribute number. Reply: status, the attribute echoed, N, then N
// VLAN ids (attribute 7: N pairs of VLAN id and BD id). Attributes 12..21
// are valid numbers the manager keeps nothing for: status
// VLAN_MGR_ERR_NOT_SUPPORTED with the attribute echoed and N = 0.
void vlans_for_attr_value(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    WireReader r(req.payload, req.len);
    const uint16_t vdc_id = r.u16(0);
    const uint32_t attr = r.u32(2);
    if (!r.ok() || req.len != kAttrRequestLen)
        return reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
    if (!vdc_allowed(req, vdc_id))
        return reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
    if (attr < 1 || attr > kAttrMax)
        return reply_status(reply, VLAN_MGR_ERR_INVALID_ATTR);
    WireWriter w(reply);
    if (attr > kAttrServedMax) {
        w.u32(VLAN_MGR_ERR_NOT_SUPPORTED);
        w.u32(attr);
        w.u32(0);
        return;
    }
    const Vdc &vdc = m.vdc(vdc_id);
    w.u32(0);
    w.u32(attr);
    const size_t count_at = w.size();
    w.u32(0);
    uint32_t n = 0;
    for (uint32_t v = 1; v <= kVlanMax; ++v) {
        const Vlan &vl = vdc.vlans[v];
        if (!vl.created)
            continue;
        if (attr == kAttrBdPairs) {
            w.u32(v);
            w.u32(bd_of(v));
        } else if (carries(vl, attr)) {
            w.u32(v);
        } else {
            continue;
        }
        ++n;
    }
    w.patch32(count_at, n);
}

// ---- Reserved-VLAN information -------------------------------------------------

constexpr uint32_t kReserveRequestLen = 10;

// Query word, count of VDC ids (1), VDC id. The query word selects nothing:
// every value gets the same answer. Reply: status 0, one record: two zero
// bytes, VDC id, bitmap 1 = the configured range rsvd_start..rsvd_end,
// bitmap 2 = the VLANs kept from creation (the reserved set), word 1 =
// rsvd_start, word 2 = rsvd_end.
void reserve_vlan_info(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    WireReader r(req.payload, req.len);
    (void)r.u32(0);
    const uint32_t num = r.u32(4);
    const uint16_t vdc_id = r.u16(8);
    if (!r.ok() || req.len != kReserveRequestLen || num != 1)
        return reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
    if (!vdc_allowed(req, vdc_id))
        return reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
    const Vdc &vdc = m.vdc(vdc_id);
    VlanSet range;
    for (uint32_t v = vdc.rsvd_start; v != 0 && v <= vdc.rsvd_end && v <= kVlanMax; ++v)
        range.set(v);
    WireWriter w(reply);
    w.u32(0);
    w.u32(1);
    w.u16(0);
    w.u16(vdc_id);
    w.bitmap(range);
    w.bitmap(vdc.reserved);
    w.u32(vdc.rsvd_start);
    w.u32(vdc.rsvd_end);
}

// ---- VNI-server mapping ----------------------------------------------------------

constexpr uint32_t kVniRequestLen = 12;
constexpr uint32_t kVniMax = 0xFFFFFF;     // VNIs are 24-bit
constexpr uint32_t kVniQuery = 0;          // value: answer the mapping
constexpr uint32_t kVniUnmap = 0xFFFFFFFF; // value: remove the mapping

// 1, value, key = VNI, in the requester's own VDC. Value 1..4094 maps the
// VNI to that VLAN, 0 asks for the mapping, 0xFFFFFFFF removes it. Reply:
// status, VDC id, VNI, the VLAN the VNI maps to after the request (0: none;
// for a removal the VLAN it mapped to).
void vni_server_mapping(Manager &m, const Request &req, Reply &reply, ChangeSet &changes)
{
    WireReader r(req.payload, req.len);
    const uint32_t word0 = r.u32(0);
    const uint32_t value = r.u32(4);
    const uint32_t vni = r.u32(8);
    if (!r.ok() || req.len != kVniRequestLen || word0 != 1)
        return reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
    if (!vdc_allowed(req, req.src_vdc))
        return reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
    if (vni == 0 || vni > kVniMax)
        return reply_status(reply, VLAN_MGR_ERR_INVALID_ARG);
    Vdc &vdc = m.vdc(req.src_vdc);
    const auto it = vdc.vni_to_vlan.find(vni);
    const uint32_t before = it == vdc.vni_to_vlan.end() ? 0 : it->second;
    uint32_t answer = before;
    if (value == kVniUnmap) {
        if (it != vdc.vni_to_vlan.end()) {
            vdc.vni_to_vlan.erase(it);
            changes.vdc(req.src_vdc).vdc_config = true;
        }
    } else if (value != kVniQuery) {
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
    WireWriter w(reply);
    w.u32(0);
    w.u32(req.src_vdc);
    w.u32(vni);
    w.u32(answer);
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
