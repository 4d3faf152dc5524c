// What the VLAN query handlers share: a VLAN's six attribute words as the
// queries report them, the name a reply carries, and the handlers of the
// TLV-framed queries (query_tlv.cpp), which handlers_query.cpp lists in the
// family's table.
#ifndef VLAN_MGRD_QUERY_COMMON_H
#define VLAN_MGRD_QUERY_COMMON_H

#include <array>
#include <cstdint>
#include <string>

#include "handlers.h"
#include "state.h"

namespace vlan_mgrd::query {

// The attribute words of the info replies, numbered as on the wire (word 1
// first). The attribute query uses the same numbers for attributes 1..6.
inline constexpr uint32_t kAttrType = 1;     // VLAN type (0 normal, 3 primary, 4 isolated, 5 community)
inline constexpr uint32_t kAttrMode = 2;     // VLAN mode word
inline constexpr uint32_t kAttrBd = 3;       // BD id (the VLAN id)
inline constexpr uint32_t kAttrSegment = 4;  // segment id (VNI), 0: none
inline constexpr uint32_t kAttrPrimary = 5;  // primary VLAN of a secondary, else 0
inline constexpr uint32_t kAttrState = 6;    // 1 active, 2 suspended

// Attribute words 1..6 of VLAN `vlan_id` (index 0 holds word 1).
inline std::array<uint32_t, 6> attr_words(const Vlan &vl, uint32_t vlan_id)
{
    return {vl.type, vl.mode, bd_of(vlan_id), vl.segment, vl.primary, static_cast<uint32_t>(vl.state)};
}

// The name a reply carries: the VLAN's own name, or the default name
// (VLAN0010) when it has none; never more than kNameMax characters.
std::string reply_name(const Vlan &vl, uint32_t vlan_id);

// The created VLANs of a VDC.
VlanSet created_vlans(const Vdc &vdc);

// The TLV-framed queries (query_tlv.cpp).
void all_created_vlan_2(Manager &m, const Request &req, Reply &reply, ChangeSet &changes);
void diag_vlan_info(Manager &m, const Request &req, Reply &reply, ChangeSet &changes);
void dyn_rsvd_vlan_info(Manager &m, const Request &req, Reply &reply, ChangeSet &changes);
void range_created_vlan_name(Manager &m, const Request &req, Reply &reply, ChangeSet &changes);

} // namespace vlan_mgrd::query

#endif
