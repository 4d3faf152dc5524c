// What the port membership handlers share: the largest reply the transport
// carries, the ports of a request looked up, and the handlers of the three
// groups (queries in handlers_memb.cpp, updates in memb_update.cpp, TLV
// messages in memb_tlv.cpp). Requests are decoded and replies encoded by
// vlan_mgr::server (include/vlan_mgr/server/membership.h).
#ifndef VLAN_MGRD_MEMB_COMMON_H
#define VLAN_MGRD_MEMB_COMMON_H

#include <cstdint>
#include <vector>

#include <vlan_mgr/membership.h>
#include <vlan_mgr/server/membership.h>

#include "handlers.h"
#include "state.h"

namespace vlan_mgrd::memb {

// The largest payload the message transport carries (16 MiB). A reply that
// would be larger is refused with VLAN_MGR_ERR_NOT_SUPPORTED before it is
// built: the client asks again for fewer ports or VLANs.
inline constexpr uint64_t kMaxReply = 16u * 1024u * 1024u;

// The VDC a request without a VDC id acts on: the requester's own. False
// when the requester's VDC is not one of 1..5.
inline bool own_vdc(const Request &req) { return Manager::vdc_valid(req.src_vdc); }

// Looks up every port of `if_indexes` in `vdc`; false when one is unknown.
bool find_ports(Vdc &vdc, const std::vector<uint32_t> &if_indexes, std::vector<Port *> &ports);

// The VLANs a trunk carries that exist and are active (the allowed set less
// the VLANs that are not created or are suspended), whatever the port's mode.
VlanSet active_allowed(const Vdc &vdc, const Port &p);

// Updates (memb_update.cpp).
void handle_update_port_memb(Manager &m, const Request &req, Reply &reply, ChangeSet &changes);
void handle_update_port_trunking_memb(Manager &m, const Request &req, Reply &reply, ChangeSet &changes);

// TLV-framed messages (memb_tlv.cpp).
void handle_port_memb_2(Manager &m, const Request &req, Reply &reply, ChangeSet &changes);
void handle_port_trunking_memb_2(Manager &m, const Request &req, Reply &reply, ChangeSet &changes);
void handle_comprgrp_memb_change(Manager &m, const Request &req, Reply &reply, ChangeSet &changes);

} // namespace vlan_mgrd::memb

#endif
