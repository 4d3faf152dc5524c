// The manager's side of the VLAN configuration requests: each request
// decoded from its payload, each reply encoded. A decoder returns 0, or
// VLAN_MGR_ERR_BAD_REQUEST for a malformed or truncated request (the output
// is then unspecified). Layouts: src/config_req/layout.h.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include <vlan_mgr/server/common.h>

namespace vlan_mgr::server {

// VLAN create (VLAN_MGR_OPC_VLAN_CREATE): one VLAN with a name (count 1),
// or the VLANs of the bitmap with no name (count > 1, at least one bit).
struct CreateRequest {
    uint16_t vdc_id = 0;
    uint16_t count = 0;
    uint32_t vlan_id = 0;    // count 1
    uint32_t options = 0;    // VLAN_MGR_CREATE_OPT_*
    VlanBits vlans;          // count > 1
    std::string name;        // count 1: up to its NUL
    bool operator==(const CreateRequest &) const = default;
};
uint32_t decode_create_request(const uint8_t *payload, size_t len, CreateRequest &out);

// The create reply and, without the VDC id, the create/update reply: one
// status per VLAN, `results` ascending by VLAN id. One result is carried in
// the id field; several in the bitmap (ids 0..4095).
Payload encode_create_reply(uint16_t vdc_id, std::span<const VlanStatus> results);
Payload encode_create_update_reply(std::span<const VlanStatus> results);

} // namespace vlan_mgr::server
