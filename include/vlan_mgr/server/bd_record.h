// The manager's side of the BD database: the keys and records it publishes
// for the library's BD lookups, port and VLAN getters and reserved-range
// queries to read, made from their layouts (src/bd_db/layout.h). Internal:
// not installed with the library.
#pragma once

#include <cstdint>

#include <vlan_mgr/server/common.h>

namespace vlan_mgr::server {

// A record's key: 4 bytes (a VDC's object, a future range's word) or 5 (a
// port's record).
struct RecordKey {
    uint8_t bytes[5] = {};
    uint32_t len = 0;
};

// The key of a VLAN's record (VLAN id 1..4094) of the VDC.
RecordKey vlan_record_key(uint16_t vdc_id, uint32_t vlan_id);
RecordKey l3_bd_key(uint16_t vdc_id);
RecordKey rsvd_start_key(uint16_t vdc_id);
RecordKey rsvd_end_key(uint16_t vdc_id);
// The future range's keys are the same in every VDC's database.
RecordKey future_rsvd_start_key();
RecordKey future_rsvd_end_key();
// A port's access and trunk records, keyed by hton_if_index(if_index).
RecordKey access_key(uint32_t if_index);
RecordKey trunk_key(uint32_t if_index);

// A VLAN's record.
struct VlanRecord {
    uint16_t bd_id = 0;
    uint32_t primary = 0; // a secondary private VLAN's primary, else the VLAN itself
    uint32_t type = 0;
    uint32_t mode = 0;
    uint32_t segment = 0;
    bool operator==(const VlanRecord &) const = default;
};
Payload encode_vlan_record(const VlanRecord &r);

// The VDC's layer-3 BD; one bound of the configured reserved range; one
// bound of the future reserved range.
Payload encode_l3_bd_record(uint16_t bd_id);
Payload encode_rsvd_record(uint16_t vlan_id);
Payload encode_future_rsvd_record(uint32_t vlan_id);

// A port's access entry, written `slots` times (once per port of the VDC,
// at least once) so that it sits in every slot a getter may read.
struct AccessEntry {
    uint32_t if_index = 0; // written as hton_if_index gives it
    uint32_t mode = 0;
    uint32_t access_vlan = 0;
    uint16_t vdc_id = 0;
    uint32_t voice_vlan = 0;
    uint16_t native_vlan = 0;
    bool access_up = false; // the access VLAN is created and active
    bool operator==(const AccessEntry &) const = default;
};
Payload encode_access_record(const AccessEntry &e, size_t slots);

// A port's trunk record. The bitmaps carry VLANs 1..4094.
struct TrunkPortRecord {
    uint32_t if_index = 0; // written as hton_if_index gives it
    uint16_t vdc_id = 0;
    uint32_t mode = 0;
    uint16_t native_vlan = 0;
    VlanBits configured;
    VlanBits active; // configured, created and active
    uint16_t voice_vlan = 0;
    uint32_t comprgrp = 0;
    bool operator==(const TrunkPortRecord &) const = default;
};
Payload encode_trunk_record(const TrunkPortRecord &t);

} // namespace vlan_mgr::server
