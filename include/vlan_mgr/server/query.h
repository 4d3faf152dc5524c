// The manager's side of the VLAN queries: each request decoded from its
// payload, each reply encoded. A decoder returns 0, or
// VLAN_MGR_ERR_BAD_REQUEST for a malformed request (the output is then
// unspecified). Layouts: src/query_req/layout.h and src/bd_id/layout.h; the
// TLV-framed queries are decoded and encoded by the library's TLV parsers and
// builders of their records.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include <vlan_mgr/server/common.h>

namespace vlan_mgr::server {

// The six attribute words of a VLAN as the queries report them (word 1
// first): type, mode, BD id, segment id, primary VLAN, state.
struct VlanAttrs {
    uint32_t type = 0;
    uint32_t mode = 0;
    uint32_t bd_id = 0;
    uint32_t segment = 0;
    uint32_t primary = 0;
    uint32_t state = 0;
    bool operator==(const VlanAttrs &) const = default;
};

// One VLAN of a listing: each reply carries the parts its layout has (BD ids
// travel as 16 bits; names, where carried, as at most 32 bytes).
struct CreatedVlan {
    uint32_t vlan_id = 0;
    VlanAttrs attrs;
    std::string name;
    bool operator==(const CreatedVlan &) const = default;
};

// VLAN info (VLAN_MGR_OPC_VLAN_INFO) and next-VLAN info
// (VLAN_MGR_OPC_NEXT_VLAN_INFO): exactly 6 bytes. The reply: status 0, the
// VDC id, the six words and the name (its first 32 bytes, NUL-padded).
struct VlanInfoRequest {
    uint16_t vdc_id = 0;
    uint32_t vlan_id = 0;
    bool operator==(const VlanInfoRequest &) const = default;
};
uint32_t decode_vlan_info_request(const uint8_t *payload, size_t len, VlanInfoRequest &out);
Payload encode_vlan_info_reply(uint16_t vdc_id, const VlanAttrs &attrs, std::string_view name);

// All created VLANs (VLAN_MGR_OPC_ALL_CREATED_VLAN): exactly 6 bytes, count
// of VDC ids 1. Created VLANs in a range (VLAN_MGR_OPC_RANGE_CREATED_VLAN):
// exactly 522 bytes, count 1, bitmap length word 512; `vlans` holds every bit
// of the bitmap, 0 and 4095 included.
uint32_t decode_all_created_request(const uint8_t *payload, size_t len, uint16_t &vdc_id);
struct RangeCreatedRequest {
    uint16_t vdc_id = 0;
    VlanBits vlans;
    bool operator==(const RangeCreatedRequest &) const = default;
};
uint32_t decode_range_created_request(const uint8_t *payload, size_t len, RangeCreatedRequest &out);

// The reply of both: one group for `vdc_id` with a record per VLAN (VLAN id,
// words 2, 3 (16 bits), 4, 5, 6), in the order given; the group takes
// 36 + 132 bytes per record, the rest zero.
Payload encode_created_reply(uint16_t vdc_id, std::span<const CreatedVlan> vlans);

// VLANs by attribute (VLAN_MGR_OPC_VLANS_FOR_ATTR_VALUE): exactly 6 bytes;
// the attribute is not checked here.
struct VlansForAttrRequest {
    uint16_t vdc_id = 0;
    uint32_t attr = 0;
    bool operator==(const VlansForAttrRequest &) const = default;
};
uint32_t decode_vlans_for_attr_request(const uint8_t *payload, size_t len, VlansForAttrRequest &out);

// The reply: `status`, `attr` echoed, the count, then the VLAN ids, or for
// attribute 7 (VLAN id, value) pairs.
struct VlanAttrValue {
    uint32_t vlan_id = 0;
    uint32_t value = 0; // attribute 7 only
    bool operator==(const VlanAttrValue &) const = default;
};
Payload encode_vlans_for_attr_reply(uint32_t status, uint32_t attr, std::span<const VlanAttrValue> entries);

// Reserved-VLAN info (VLAN_MGR_OPC_RESERVE_VLAN_INFO): exactly 10 bytes,
// count of VDC ids 1.
struct ReserveVlanInfoRequest {
    uint32_t query = 0;
    uint16_t vdc_id = 0;
    bool operator==(const ReserveVlanInfoRequest &) const = default;
};
uint32_t decode_reserve_vlan_info_request(const uint8_t *payload, size_t len, ReserveVlanInfoRequest &out);

// The reply: status 0 and one record. Both bitmaps carry VLANs 1..4094 only.
struct ReserveVlanInfo {
    uint16_t vdc_id = 0;
    VlanBits range;     // bitmap 1: the configured reserved range
    VlanBits reserved;  // bitmap 2: the VLANs kept from creation
    uint32_t start = 0; // word 1
    uint32_t end = 0;   // word 2
    bool operator==(const ReserveVlanInfo &) const = default;
};
Payload encode_reserve_vlan_info_reply(const ReserveVlanInfo &info);

// The TLV-framed queries. A request is a TLV buffer whose length word is
// exactly the payload's length (at least the 8-byte header) and that the
// TLV utility decodes as the query's record. An encoder returns the TLV
// buffer of the response record, or the bare status VLAN_MGR_ERR_NO_MEMORY
// when it cannot be built.

// All created VLANs, TLV (VLAN_MGR_OPC_ALL_CREATED_VLAN_2): field 0, the VDC
// id (0: the requester's own). The reply: field 0 `vdc_id`, one element per
// VLAN: id, type, BD id (16 bits), mode, segment, primary, state.
uint32_t decode_all_created_vlan_2_request(const uint8_t *payload, size_t len, uint16_t &vdc_id);
Payload encode_all_created_vlan_2_reply(uint32_t vdc_id, std::span<const CreatedVlan> vlans);

// Diagnostic VLAN info (VLAN_MGR_OPC_DIAG_VLAN_INFO): field 0, the VDC id
// (0: the requester's own). The reply: field 0 `vdc_id`, one (VLAN id, BD id
// (16 bits)) per VLAN.
uint32_t decode_diag_vlan_info_request(const uint8_t *payload, size_t len, uint32_t &vdc_id);
Payload encode_diag_vlan_info_reply(uint32_t vdc_id, std::span<const CreatedVlan> vlans);

// Dynamic reserved-VLAN info (VLAN_MGR_OPC_DYN_RSVD_VLAN_INFO): field 32,
// the kind of answer asked for.
uint32_t decode_dyn_rsvd_vlan_info_request(const uint8_t *payload, size_t len, uint32_t &kind);

// The reserved groups: the candidates and the groups handed out from them.
struct DynRsvdGroups {
    VlanBits candidates;
    VlanBits group64;
    VlanBits group4_first;
    VlanBits group4_second;
    VlanBits single;
    bool operator==(const DynRsvdGroups &) const = default;
};
// The groups that vlan_mgr_allocate_rsvd_vlans hands out from `candidates`
// in allocation mode `mode` (VLAN_MGR_RSVD_ALLOC_*).
DynRsvdGroups allocate_rsvd_groups(const VlanBits &candidates, uint32_t mode);
// The reply: fields 33..37 = candidates, group of 64, the two groups of 4,
// the single VLAN; every bit as given.
Payload encode_dyn_rsvd_vlan_info_reply(const DynRsvdGroups &groups);

// VLAN names in a range (VLAN_MGR_OPC_RANGE_CREATED_VLAN_NAME): field 21,
// the VLANs asked about (every bit), whose length word must be 512. The
// reply: one element per VLAN: id, type, BD id (16 bits), state, mode,
// primary, name (its first 32 bytes).
uint32_t decode_range_created_vlan_name_request(const uint8_t *payload, size_t len, VlanBits &vlans);
Payload encode_range_created_vlan_name_reply(std::span<const CreatedVlan> vlans);

// VNI-server mapping (VLAN_MGR_OPC_VNI_SERVER_MAPPING): exactly 12 bytes,
// first word 1; the key is a VNI. The reply: status 0, the VDC id, the VNI,
// the VLAN it maps to.
struct VniMappingRequest {
    uint32_t value = 0;
    uint32_t vni = 0;
    bool operator==(const VniMappingRequest &) const = default;
};
uint32_t decode_vni_mapping_request(const uint8_t *payload, size_t len, VniMappingRequest &out);
Payload encode_vni_mapping_reply(uint32_t vdc_id, uint32_t vni, uint32_t vlan_id);

} // namespace vlan_mgr::server
