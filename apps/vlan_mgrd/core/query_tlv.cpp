// The TLV-framed VLAN queries: the created-VLAN listing, the diagnostic VLAN
// info, the dynamic reserved-VLAN info and the names of the created VLANs of
// a set. Each request is decoded and each response encoded by the manager's
// side of the protocol (vlan_mgr::server, over the library's TLV parsers and
// builders); refusals are bare 4-byte status words, as for every other
// request.
#include <vlan_mgr/rsvd.h>
#include <vlan_mgr/server/query.h>

#include "handlers.h"
#include "query_common.h"

namespace vlan_mgrd::query {
namespace {

namespace server = vlan_mgr::server;

// The VDC a TLV query names: 0 is the requester's own.
uint32_t named_vdc(const Request &req, uint32_t vdc_id)
{
    return vdc_id == 0 ? req.src_vdc : vdc_id;
}

} // namespace

// The VDC named (0: the requester's own) and every created VLAN in id order
// with its attribute words.
void all_created_vlan_2(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    uint16_t named = 0;
    if (server::decode_all_created_vlan_2_request(req.payload, req.len, named) != 0)
        return reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
    const uint32_t vdc_id = named_vdc(req, named);
    if (!vdc_allowed(req, vdc_id))
        return reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
    const Vdc &vdc = m.vdc(vdc_id);
    reply = server::encode_all_created_vlan_2_reply(vdc_id, listed(vdc, created_vlans(vdc)));
}

// The VDC named (0: the requester's own) and every created VLAN with its BD
// id.
void diag_vlan_info(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    uint32_t named = 0;
    if (server::decode_diag_vlan_info_request(req.payload, req.len, named) != 0)
        return reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
    const uint32_t vdc_id = named_vdc(req, named);
    if (!vdc_allowed(req, vdc_id))
        return reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
    const Vdc &vdc = m.vdc(vdc_id);
    reply = server::encode_diag_vlan_info_reply(vdc_id, listed(vdc, created_vlans(vdc)));
}

namespace {

constexpr uint32_t kRsvdDefaultFirst = 3968;
constexpr uint32_t kRsvdAlwaysKept = 4094;
constexpr size_t kRsvdMinCandidates = 80;
constexpr size_t kRsvdDefaultMaxCandidates = 127;

// The reserved groups of a VDC, handed out as every client of the library
// computes them from the VDC's reserved VLANs: the candidates are the
// reserved VLANs and VLAN 4094; 80..127 candidates from 3968 get the default
// layout, 80 or more from elsewhere are handed out in ascending order, and
// anything else gets no groups.
server::DynRsvdGroups reserved_groups(const Vdc &vdc)
{
    VlanSet candidates = vdc.reserved;
    candidates.set(kRsvdAlwaysKept);
    uint32_t first = 0;
    while (!candidates.test(first))
        ++first;
    const size_t count = candidates.count();
    if (count >= kRsvdMinCandidates && count <= kRsvdDefaultMaxCandidates && first == kRsvdDefaultFirst)
        return server::allocate_rsvd_groups(candidates, VLAN_MGR_RSVD_ALLOC_DEFAULT);
    if (count >= kRsvdMinCandidates && first != kRsvdDefaultFirst)
        return server::allocate_rsvd_groups(candidates, VLAN_MGR_RSVD_ALLOC_DYNAMIC);
    server::DynRsvdGroups none;
    none.candidates = candidates;
    return none;
}

} // namespace

// Kind 5 (all five bitmaps; anything else is VLAN_MGR_ERR_NOT_SUPPORTED),
// for the requester's own VDC: the candidates (reserved VLANs and 4094), the
// group of 64, the two groups of 4 and the single VLAN.
void dyn_rsvd_vlan_info(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    uint32_t kind = 0;
    if (server::decode_dyn_rsvd_vlan_info_request(req.payload, req.len, kind) != 0)
        return reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
    if (!vdc_allowed(req, req.src_vdc))
        return reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
    if (kind != VLAN_MGR_DYN_RSVD_ALL)
        return reply_status(reply, VLAN_MGR_ERR_NOT_SUPPORTED);
    reply = server::encode_dyn_rsvd_vlan_info_reply(reserved_groups(m.vdc(req.src_vdc)));
}

// The created VLANs among those asked about, in the requester's own VDC, in
// id order with their attribute words and names (the default name when the
// VLAN has none).
void range_created_vlan_name(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    VlanSet asked;
    if (server::decode_range_created_vlan_name_request(req.payload, req.len, asked) != 0)
        return reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
    if (!vdc_allowed(req, req.src_vdc))
        return reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
    const Vdc &vdc = m.vdc(req.src_vdc);
    reply = server::encode_range_created_vlan_name_reply(listed(vdc, asked & created_vlans(vdc), true));
}

} // namespace vlan_mgrd::query
