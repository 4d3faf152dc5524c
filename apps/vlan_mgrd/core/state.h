// The VLAN manager's state: per VDC, its VLANs, its ports and their
// membership, its reserved range and its VNI-server mapping; and the change
// set that one request leaves behind, from which the manager saves its
// configuration, publishes the BD database and sends its notifications.
//
// Handlers change the state directly and mark what they changed in the
// ChangeSet; nothing else tracks changes.
#ifndef VLAN_MGRD_STATE_H
#define VLAN_MGRD_STATE_H

#include <array>
#include <bitset>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/server/common.h>

namespace vlan_mgrd {

inline constexpr uint16_t kVdcCount = 5;        // VDC ids 1..5
inline constexpr uint32_t kVlanMax = 4094;      // VLAN ids 1..4094
inline constexpr size_t kNameMax = 32;          // characters of a VLAN name
inline constexpr uint32_t kDefaultVlan = 1;

// A set of VLAN ids; bit v is VLAN v (bits 0 and 4095 are never set).
using VlanSet = vlan_mgr::server::VlanBits;

// Administrative state of a VLAN (info attribute 6).
enum class VlanState : uint32_t { Active = VLAN_MGR_VLAN_STATE_ACTIVE, Suspended = VLAN_MGR_VLAN_STATE_SUSPENDED };

struct Vlan {
    bool created = false;
    std::string name;                 // empty: the default name VLANnnnn
    uint32_t type = VLAN_MGR_VLAN_TYPE_NORMAL;
    uint32_t mode = 0;                // VLAN mode word (create/update record)
    uint32_t segment = 0;             // segment id (VNI), 0: none
    uint32_t primary = 0;             // secondary private VLAN: its primary; else 0
    VlanSet secondaries;              // primary private VLAN: its secondaries
    VlanState state = VlanState::Active;
    uint32_t create_options = 0;      // option word of the request that created it
};

// The software BD of a VLAN is the VLAN id itself.
inline uint16_t bd_of(uint32_t vlan_id) { return static_cast<uint16_t>(vlan_id); }

struct Port {
    uint32_t if_index = 0;            // host order
    std::string name;                 // "Ethernet1/1"
    uint32_t mode = VLAN_MGR_PORT_MODE_ACCESS;
    uint32_t access_vlan = kDefaultVlan;
    uint32_t native_vlan = kDefaultVlan;
    uint32_t voice_vlan = 0;          // 0: none
    VlanSet trunk_allowed;            // configured; all of 1..4094 by default
    uint32_t comprgrp = 0;            // compression group (comprgrp change request)
    Port() { for (uint32_t v = 1; v <= kVlanMax; ++v) trunk_allowed.set(v); }
};

struct Vdc {
    uint16_t id = 0;
    std::array<Vlan, 4096> vlans{};   // index = VLAN id
    std::vector<Port> ports;          // in interface-table order
    VlanSet reserved;                 // VLANs of the reserved range: never created
    uint32_t rsvd_start = 0, rsvd_end = 0;  // configured reserved range (inclusive)
    uint16_t l3_bd = 0;               // the VDC's layer-3 BD
    uint32_t config_mode = 0;         // configuration-mode word (configmode request)
    std::map<uint32_t, uint32_t> vni_to_vlan;  // VNI-server mapping

    Port *port(uint32_t if_index);
    const Port *port(uint32_t if_index) const;
    Port *port_named(const std::string &name);
    // VLANs a port carries: access VLAN (and voice VLAN) in access mode, the
    // allowed set in trunk mode; `active` keeps only created, active VLANs.
    VlanSet port_vlans(const Port &p, bool active) const;
    // The created, active VLANs; a caller that needs the active VLANs of many
    // ports computes this once and masks each port's configured set with it.
    VlanSet active_vlans() const;
};

struct Manager {
    std::array<Vdc, kVdcCount> vdcs;  // vdcs[id - 1]
    uint32_t autostate_disable = 0;   // global autostate-disable setting

    Manager();
    static bool vdc_valid(uint32_t vdc_id) { return vdc_id >= 1 && vdc_id <= kVdcCount; }
    static bool vlan_valid(uint32_t vlan_id) { return vlan_id >= 1 && vlan_id <= kVlanMax; }
    Vdc &vdc(uint32_t vdc_id) { return vdcs[vdc_id - 1]; }
    const Vdc &vdc(uint32_t vdc_id) const { return vdcs[vdc_id - 1]; }
};

// What one request changed, per VDC.
struct VdcChanges {
    VlanSet created;                  // created by this request
    VlanSet deleted;                  // deleted by this request
    std::map<uint32_t, Vlan> deleted_before;  // their last state (names for notifications)
    VlanSet renamed;                  // name changed (created ones are not listed)
    VlanSet retyped;                  // type, mode, segment or association changed
    std::set<uint32_t> ports;         // if_indexes whose membership changed
    bool vdc_config = false;          // config mode, VNI mapping or other VDC-wide setting
    bool any() const
    {
        return created.any() || deleted.any() || renamed.any() || retyped.any() || !ports.empty() || vdc_config;
    }
};

struct ChangeSet {
    std::array<VdcChanges, kVdcCount> vdcs;
    bool global = false;              // a setting outside the VDCs changed

    VdcChanges &vdc(uint32_t vdc_id) { return vdcs[vdc_id - 1]; }
    const VdcChanges &vdc(uint32_t vdc_id) const { return vdcs[vdc_id - 1]; }
    bool any() const
    {
        if (global)
            return true;
        for (const VdcChanges &c : vdcs)
            if (c.any())
                return true;
        return false;
    }
    // Marks helpers: a VLAN deleted after being created in the same request
    // (or the reverse) ends up in one set only.
    void mark_created(uint32_t vdc_id, uint32_t vlan_id);
    void mark_deleted(uint32_t vdc_id, uint32_t vlan_id, const Vlan &before);
    void mark_renamed(uint32_t vdc_id, uint32_t vlan_id);
    void mark_retyped(uint32_t vdc_id, uint32_t vlan_id);
    void mark_port(uint32_t vdc_id, uint32_t if_index) { vdc(vdc_id).ports.insert(if_index); }
};

} // namespace vlan_mgrd

#endif
