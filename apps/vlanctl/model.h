// What vlanctl shows, decoded from the manager's replies and the BD
// database: plain records that the output unit turns into tables and JSON.
#ifndef VLANCTL_MODEL_H
#define VLANCTL_MODEL_H

#include <cstdint>
#include <string>
#include <vector>

namespace vlanctl {

struct VlanView {
    uint32_t id = 0;
    std::string name;
    std::string status;              // "active", "suspended"
    uint32_t type = 0;               // VLAN_MGR_VLAN_TYPE_*
    uint32_t primary = 0;            // a secondary private VLAN's primary, else 0
    std::vector<std::string> ports;  // member ports, interface-table order, full names
};

struct SwitchportView {
    std::string name;                // "Ethernet1/5"
    uint32_t mode = 0;               // VLAN_MGR_PORT_MODE_*
    uint32_t access_vlan = 0;        // 0: none
    uint32_t native_vlan = 0;        // 0: none
    uint32_t voice_vlan = 0;         // 0: none
    std::vector<uint32_t> allowed;   // trunk: the allowed VLANs (configured)
    std::vector<uint32_t> active;    // trunk: the allowed VLANs that exist and are active
};

struct BdView {
    uint32_t vlan = 0;
    uint32_t bd = 0;
};

struct ReservedView {
    uint32_t start = 0, end = 0;             // configured range (inclusive)
    uint32_t future_start = 0, future_end = 0;
    std::vector<uint32_t> vlans;             // every reserved VLAN
};

struct SummaryView {
    uint32_t existing = 0;   // every created VLAN, VLAN 1 included
    uint32_t user = 0;       // created VLANs other than VLAN 1
    uint32_t extended = 0;   // created VLANs above 1005
    uint32_t primary = 0, isolated = 0, community = 0;
};

// One result of a change request that the manager refused for some VLANs.
struct VlanFailure {
    uint32_t vlan = 0;
    uint32_t status = 0;
};

} // namespace vlanctl

#endif
