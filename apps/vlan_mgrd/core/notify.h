// Building the notifications of a change: what to notify is decided here,
// the payloads are written by the encoders of vlan_mgr/server/notif.h
// (field meanings: docs/protocol/notifications.md).
#ifndef VLAN_MGRD_NOTIFY_H
#define VLAN_MGRD_NOTIFY_H

#include <string>
#include <vector>

#include "notification.h"
#include "state.h"

namespace vlan_mgrd {

// The name subscribers see: the configured one, or "VLANnnnn".
std::string display_name(uint32_t vlan_id, const Vlan &v);

// The notifications of one change, after the state was changed: per VDC,
// created VLANs (0x5C1D), deleted ones (0x5C22), renamed ones (0x5C21),
// each retyped VLAN (0x5C26), the BD records rewritten for retyped VLANs
// (0x5C2B) and the ports whose membership changed (0x5C24). Each kind of a
// VDC goes in one notification, whatever its size (0x5C26: one per VLAN).
// False with `error` when a TLV part cannot be built.
bool build_notifications(const Manager &m, const ChangeSet &changes, std::vector<Notification> &out,
                         std::string &error);

// One 0x5C2B notification per VDC listing the BD of every created VLAN:
// what a subscriber needs to rebuild its BD cache after the manager
// restarted.
void build_bd_snapshot(const Manager &m, std::vector<Notification> &out);

} // namespace vlan_mgrd

#endif
