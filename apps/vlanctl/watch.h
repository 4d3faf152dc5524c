// vlanctl watch: the manager's notifications, one line per record.
#ifndef VLANCTL_WATCH_H
#define VLANCTL_WATCH_H

#include <cstdint>
#include <string>
#include <vector>

#include "client.h"
#include "vlan_mgr_platform.h"

namespace vlanctl {

// The opcodes watch subscribes to.
extern const uint32_t kWatchedOpcodes[6];

// The lines of one notification, decoded with the library's parsers; a
// notification that does not decode gives one line saying so.
std::vector<std::string> describe_notification(const mts_msg_hdl_t &msg,
                                               const std::vector<vlan_mgr_apps::IfEntry> &iftable);

// Subscribes and prints every record as it arrives (stdout, flushed after
// each line) until SIGINT or SIGTERM, or until `count` records (0: no limit).
// Returns the exit status.
int watch(Client &client, Transport &transport, uint64_t count);

} // namespace vlanctl

#endif
