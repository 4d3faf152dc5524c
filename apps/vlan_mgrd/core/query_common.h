// What the VLAN query handlers share: a VLAN's six attribute words as the
// queries report them, the name a reply carries, the VLANs a listing
// describes, and the handlers of the TLV-framed queries (query_tlv.cpp),
// which handlers_query.cpp lists in the family's table.
#ifndef VLAN_MGRD_QUERY_COMMON_H
#define VLAN_MGRD_QUERY_COMMON_H

#include <cstdint>
#include <string>
#include <vector>

#include <vlan_mgr/server/query.h>

#include "handlers.h"
#include "state.h"

namespace vlan_mgrd::query {

// Attribute words 1..6 of VLAN `vlan_id` (VLAN_MGR_ATTR_TYPE .. VLAN_MGR_ATTR_STATE).
inline vlan_mgr::server::VlanAttrs attr_words(const Vlan &vl, uint32_t vlan_id)
{
    return {vl.type, vl.mode, bd_of(vlan_id), vl.segment, vl.primary, static_cast<uint32_t>(vl.state)};
}

// The name a reply carries: the VLAN's own name, or the default name
// (VLAN0010) when it has none; never more than kNameMax characters.
std::string reply_name(const Vlan &vl, uint32_t vlan_id);

// The created VLANs of a VDC.
VlanSet created_vlans(const Vdc &vdc);

// The VLANs of `vlans` (1..4094) in id order, each with its attribute words
// and, when the reply carries names, its reply name.
std::vector<vlan_mgr::server::CreatedVlan> listed(const Vdc &vdc, const VlanSet &vlans, bool with_names = false);

// The TLV-framed queries (query_tlv.cpp).
void all_created_vlan_2(Manager &m, const Request &req, Reply &reply, ChangeSet &changes);
void diag_vlan_info(Manager &m, const Request &req, Reply &reply, ChangeSet &changes);
void dyn_rsvd_vlan_info(Manager &m, const Request &req, Reply &reply, ChangeSet &changes);
void range_created_vlan_name(Manager &m, const Request &req, Reply &reply, ChangeSet &changes);

} // namespace vlan_mgrd::query

#endif
