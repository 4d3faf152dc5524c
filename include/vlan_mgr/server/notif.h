// The manager's side of the notifications it publishes: one encoder per
// notification, made from the layouts that the library's notification
// parsers read (src/notif/layout.h). The manager decides what to notify;
// these write the bytes. Internal: not installed with the library.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include <vlan_mgr/server/common.h>

namespace vlan_mgr::server {

// One created VLAN of a VLAN create notification (0x5C1D).
struct CreatedVlanNotice {
    uint16_t bd_id = 0;
    uint16_t type = 0;
    uint16_t vdc_id = 0;
    uint32_t vlan_id = 0;
    uint32_t primary = 0; // a secondary private VLAN's primary, else 0
    uint32_t mode = 0;
    uint32_t segment = 0;
    uint32_t options = 0; // the create options
    uint32_t state = 0;
    std::string name; // the name subscribers see; cut to 32 characters
    bool operator==(const CreatedVlanNotice &) const = default;
};

// One deleted VLAN of a VLAN delete notification (0x5C22): what it was.
struct DeletedVlan {
    uint16_t bd_id = 0;
    uint16_t vdc_id = 0;
    uint32_t vlan_id = 0;
    uint32_t type = 0;
    uint32_t state = 0;
    uint32_t primary = 0;
    std::string name; // cut to 32 characters
    bool operator==(const DeletedVlan &) const = default;
};

// The create and delete notifications: the count, the fixed entries and the
// TLV part of the notif2 records (made by the library's TLV encoders). True;
// or false when the TLV part cannot be made, with `out` unspecified and
// `error` saying what failed ("out of memory for the create notification",
// or "create notification: TLV encoding failed, error 0x<code>"; the same
// with "delete").
bool encode_create_notification(std::span<const CreatedVlanNotice> vlans, Payload &out, std::string &error);
bool encode_delete_notification(std::span<const DeletedVlan> vlans, Payload &out, std::string &error);

// One renamed VLAN of a VLAN config change notification (0x5C21).
struct VlanName {
    uint16_t vdc_id = 0;
    uint32_t vlan_id = 0;
    std::string name; // cut to 32 characters, sent in a 33-byte field
    bool operator==(const VlanName &) const = default;
};
Payload encode_name_notification(std::span<const VlanName> vlans);

// A VLAN type change notification (0x5C26): one VLAN.
Payload encode_type_change_notification(uint16_t vdc_id, uint32_t vlan_id, uint32_t type, uint32_t primary);

// The BD ids of VLANs of one VDC, a BD change notification (0x5C2B).
struct VlanBd {
    uint32_t vlan_id = 0;
    uint16_t bd_id = 0;
    bool operator==(const VlanBd &) const = default;
};
Payload encode_bd_change_notification(uint16_t vdc_id, std::span<const VlanBd> vlans);

// One port of a port membership change notification (0x5C24). The bitmaps
// carry VLANs 1..4094.
struct PortMembership {
    uint16_t vdc_id = 0;
    uint32_t if_index = 0; // sent as hton_if_index gives it
    uint32_t mode = 0;
    VlanBits configured;
    VlanBits active; // configured, created and active
    bool operator==(const PortMembership &) const = default;
};
Payload encode_port_membership_notification(std::span<const PortMembership> ports);

} // namespace vlan_mgr::server
