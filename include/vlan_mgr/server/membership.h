// The manager's side of the port membership requests (opcodes 0x5D40 to
// 0x5D4D): each request decoded from its payload, each reply encoded. A
// decoder returns 0, or VLAN_MGR_ERR_BAD_REQUEST for a malformed or
// truncated request (the output is then unspecified): shorter or longer
// than its count makes it, or a count of 0. Interface indexes are plain
// values here; on the wire they pass through the platform's hton_if_index /
// ntoh_if_index. Layouts: src/membership/layout.h; the TLV messages are read
// and written by the library's TLV parsers and builders.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include <vlan_mgr/server/common.h>

namespace vlan_mgr::server {

// A VDC id and a VLAN id.
struct VdcVlan {
    uint16_t vdc_id = 0;
    uint32_t vlan_id = 0;
    bool operator==(const VdcVlan &) const = default;
};

// ---- Port queries (0x5D40 to 0x5D44) ----------------------------------------

// The request of all five: N >= 1 interface indexes, in request order.
uint32_t decode_port_list_request(const uint8_t *payload, size_t len, std::vector<uint32_t> &if_indexes);

// The reply layouts of the five queries.
enum class PortReply { active, voice, memb, trunking, active_trunking };

// The size of a reply of `ports` entries (in 64 bits: no count wraps).
uint64_t port_reply_size(PortReply kind, uint64_t ports);

// Port active membership (0x5D40) and voice VLAN (0x5D41): per port its VDC
// id and one VLAN id.
struct PortVlan {
    uint32_t if_index = 0;
    VdcVlan vlan;
    bool operator==(const PortVlan &) const = default;
};
Payload encode_port_vlan_reply(std::span<const PortVlan> entries);

// Port membership (0x5D42): word 1 (mode), word 2 (voice VLAN), VLAN A
// (access VLAN) and VLAN B (native VLAN).
struct PortMemb {
    uint32_t if_index = 0;
    uint32_t mode = 0;
    uint32_t voice_vlan = 0;
    VdcVlan access;
    VdcVlan native;
    bool operator==(const PortMemb &) const = default;
};
Payload encode_port_memb_reply(std::span<const PortMemb> entries);

// Port trunking membership (0x5D43): VLAN word 1 (native), the bitmaps' VDC
// id, bitmap 1 (allowed), bitmap 2 (allowed and active), VLAN word 2
// (access). The bitmaps carry VLANs 1..4094 only.
struct PortTrunking {
    uint32_t if_index = 0;
    VdcVlan native;
    uint16_t bitmap_vdc_id = 0;
    VlanBits allowed;
    VlanBits active;
    VdcVlan access;
    bool operator==(const PortTrunking &) const = default;
};
Payload encode_port_trunking_reply(std::span<const PortTrunking> entries);

// Port active trunking membership (0x5D44): the interface indexes, then per
// port its VDC id and a bitmap (VLANs 1..4094 only).
struct PortActiveTrunking {
    uint32_t if_index = 0;
    uint16_t vdc_id = 0;
    VlanBits active;
    bool operator==(const PortActiveTrunking &) const = default;
};
Payload encode_port_active_trunking_reply(std::span<const PortActiveTrunking> entries);

// ---- Per-VLAN queries (0x5D45 to 0x5D47) -------------------------------------

// The request: N >= 1 keys, in request order (not checked here).
uint32_t decode_per_vlan_request(const uint8_t *payload, size_t len, std::vector<VdcVlan> &keys);

// One group of the reply: the key and its member ports (not owned).
struct PerVlanGroup {
    VdcVlan key;
    std::span<const uint32_t> ports;
};
uint64_t per_vlan_reply_size(std::span<const PerVlanGroup> groups);
Payload encode_per_vlan_reply(std::span<const PerVlanGroup> groups);

// ---- Access membership update (0x5D48) ---------------------------------------

struct UpdatePortMembRequest {
    uint32_t op = 0;                 // VLAN_MGR_ACCESS_OP_* (not checked here)
    VdcVlan key;
    std::vector<uint32_t> if_indexes; // N >= 1
    bool operator==(const UpdatePortMembRequest &) const = default;
};
uint32_t decode_update_port_memb_request(const uint8_t *payload, size_t len, UpdatePortMembRequest &out);

// The reply: the status and the request's key.
Payload encode_update_port_memb_reply(uint32_t status, VdcVlan key);

// ---- Trunking membership update (0x5D49) -------------------------------------

// One record: its key, its 16-bit value, its bitmap (every bit as sent, 0
// and 4095 included) and its port.
struct TrunkUpdateRecord {
    VdcVlan key;
    uint16_t value = 0;
    VlanBits vlans;
    uint32_t if_index = 0;
    bool operator==(const TrunkUpdateRecord &) const = default;
};
struct UpdatePortTrunkingMembRequest {
    uint32_t op = 0;                  // VLAN_MGR_TRUNK_OP_* (not checked here)
    std::vector<TrunkUpdateRecord> records; // N >= 1
};
uint32_t decode_update_port_trunking_memb_request(const uint8_t *payload, size_t len,
                                                  UpdatePortTrunkingMembRequest &out);

// One port's outcome.
struct PortStatus {
    uint32_t if_index = 0;
    uint32_t status = 0;
    bool operator==(const PortStatus &) const = default;
};
// The reply: status 0, the operation, the key (VDC id, VLAN id), then one
// pair per port: the interface index and the port's status.
Payload encode_update_port_trunking_memb_reply(uint32_t op, VdcVlan key, std::span<const PortStatus> ports);

// ---- Port VLAN membership info (0x5D4A) ---------------------------------------

// One record: the port, the range first..last and the bitmap (every bit as
// sent).
struct PortVlanMembInfo {
    uint32_t if_index = 0;
    VdcVlan first;
    VdcVlan last;
    VlanBits vlans;
    bool operator==(const PortVlanMembInfo &) const = default;
};
uint32_t decode_port_vlan_memb_info_request(const uint8_t *payload, size_t len, std::vector<PortVlanMembInfo> &out);

// The VLAN-range membership reply: status 0, the VDC id, the ports.
Payload encode_vlan_range_memb_reply(uint16_t vdc_id, std::span<const uint32_t> if_indexes);

// ---- TLV messages (0x5D4B to 0x5D4D) ------------------------------------------

// The port membership (TLV) request of 0x5D4B and 0x5D4C: field 0 (the VDC
// id) and the interface indexes (host-order values). Refuses an empty buffer
// and what vlan_parse_get_port_memb_2_req refuses.
struct PortMemb2Request {
    uint32_t vdc_id = 0;
    std::vector<uint32_t> if_indexes;
    bool operator==(const PortMemb2Request &) const = default;
};
uint32_t decode_port_memb_2_request(const uint8_t *payload, size_t len, PortMemb2Request &out);

// One port of the 0x5D4B reply; the defaults are those of an unknown port.
struct PortMemb2 {
    uint32_t if_index = 0;
    uint32_t mode = 1;
    uint32_t access_vlan = 1;
    uint32_t voice_vlan = 0;
    uint32_t native_vlan = 0;
    uint32_t status = 0;
    bool operator==(const PortMemb2 &) const = default;
};
// The encoded size of a reply of `ports` entries; UINT64_MAX when it cannot
// be computed.
uint64_t port_memb_2_reply_size(uint32_t ports);
// The reply (status 0, the entries); 0, or VLAN_MGR_ERR_NO_MEMORY when the
// library's builder could not make it.
uint32_t encode_port_memb_2_reply(std::span<const PortMemb2> entries, Payload &out);

// One port of the 0x5D4C reply; the defaults are those of an unknown port.
// The bitmaps carry VLANs 1..4094 only.
struct PortTrunkingMemb2 {
    uint32_t if_index = 0;
    uint32_t mode = 0;
    uint32_t native_vlan = 0;
    VlanBits allowed;
    VlanBits active;
    uint32_t status = 0;
    bool operator==(const PortTrunkingMemb2 &) const = default;
};
uint64_t port_trunking_memb_2_reply_size(uint32_t ports);
uint32_t encode_port_trunking_memb_2_reply(std::span<const PortTrunkingMemb2> entries, Payload &out);

// The compression-group membership change (0x5D4D). Refuses an empty buffer
// and what vlan_parse_comprgrp_memb_change_msg refuses. Its reply is a bare
// status (status_payload).
struct ComprgrpChange {
    uint32_t if_index = 0;
    VlanBits vlans;
    uint16_t group = 0;
    uint16_t vdc_id = 0;
    bool operator==(const ComprgrpChange &) const = default;
};
uint32_t decode_comprgrp_memb_change(const uint8_t *payload, size_t len, ComprgrpChange &out);

} // namespace vlan_mgr::server
