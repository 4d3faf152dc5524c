// A notification the manager sends to its subscribers: what the change
// effects produce and the server loop sends.
#ifndef VLAN_MGRD_NOTIFICATION_H
#define VLAN_MGRD_NOTIFICATION_H

#include <cstdint>
#include <vector>

namespace vlan_mgrd {

// A notification to send: opcode and payload.
struct Notification {
    uint32_t opcode;
    std::vector<uint8_t> payload;
};

} // namespace vlan_mgrd

#endif
