// The manager's side of the VLAN configuration requests: each request
// decoded from its payload, each reply encoded. A decoder returns 0, or
// VLAN_MGR_ERR_BAD_REQUEST for a malformed or truncated request (the output
// is then unspecified). Layouts: src/config_req/layout.h.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

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

// VLAN delete and delete-range (VLAN_MGR_OPC_VLAN_DELETE, _DELETE_RANGE, one
// layout): the VLANs of the bitmap, at least one bit (0 and 4095 included).
struct DeleteRequest {
    uint16_t vdc_id = 0;
    uint32_t count = 0;      // carried, not compared with the bits
    VlanBits vlans;
    bool operator==(const DeleteRequest &) const = default;
};
uint32_t decode_delete_request(const uint8_t *payload, size_t len, DeleteRequest &out);

// VLAN type change (VLAN_MGR_OPC_VLAN_TYPE_CHANGE): the VLANs of the bitmap
// (at least one bit) and the type they are to take, any word.
struct TypeChangeRequest {
    uint16_t vdc_id = 0;
    uint32_t type = 0;
    uint32_t count = 0;      // carried, not compared with the bits
    VlanBits vlans;
    bool operator==(const TypeChangeRequest &) const = default;
};
uint32_t decode_type_change_request(const uint8_t *payload, size_t len, TypeChangeRequest &out);

// The delete reply, also the type-change reply: the overall status (the
// first failing status of `results`, 0 when none), the VDC id, and one
// {VLAN id, status} pair per result in the given order.
Payload encode_delete_reply(uint16_t vdc_id, std::span<const VlanStatus> results);
inline Payload encode_type_change_reply(uint16_t vdc_id, std::span<const VlanStatus> results)
{
    return encode_delete_reply(vdc_id, results);
}

// One private-VLAN association entry (VLAN_MGR_OPC_VLAN_ASSOCIATION carries
// one, VLAN_MGR_OPC_VLAN_ASSOCIATION_MULTI several): at least one secondary
// (0 and 4095 included); the type and the primary are any words.
struct AssociationEntry {
    uint16_t tag = 0;
    uint16_t vdc_id = 0;
    uint32_t type = 0;       // VLAN_MGR_ASSOC_ADD or _REMOVE, else refused per VLAN
    uint32_t primary = 0;
    uint32_t count = 0;      // carried, not compared with the bits
    VlanBits secondaries;
    bool operator==(const AssociationEntry &) const = default;
};
// The single request: the magic word 0xBABEFACE, 1, one entry.
uint32_t decode_association_request(const uint8_t *payload, size_t len, AssociationEntry &out);
// The multi request: a cookie, n (at least 1), n entries inside the payload.
struct AssociationMultiRequest {
    uint32_t cookie = 0;
    std::vector<AssociationEntry> entries;
    bool operator==(const AssociationMultiRequest &) const = default;
};
uint32_t decode_association_multi_request(const uint8_t *payload, size_t len, AssociationMultiRequest &out);

// What one entry did: its fields as the request carried them, and one
// status per secondary, ascending.
struct AssociationOutcome {
    uint16_t tag = 0;
    uint16_t vdc_id = 0;
    uint32_t type = 0;
    uint32_t primary = 0;
    std::vector<VlanStatus> results;
    bool operator==(const AssociationOutcome &) const = default;
};
// The single reply: the magic word, 1, 0, the entry's status (its first
// failing status, 0 when none), then the entry. The multi reply: the cookie,
// the overall status (the first failing status of all entries), n, then per
// entry its status and the entry.
Payload encode_association_reply(const AssociationOutcome &outcome);
Payload encode_association_multi_reply(uint32_t cookie, std::span<const AssociationOutcome> outcomes);

// VLAN name to id (VLAN_MGR_OPC_VLAN_NAME_TO_ID): the VDC id and the name,
// whose NUL is the payload's last byte (the name ends at its first NUL).
struct NameToIdRequest {
    uint16_t vdc_id = 0;
    std::string name;
    bool operator==(const NameToIdRequest &) const = default;
};
uint32_t decode_name_to_id_request(const uint8_t *payload, size_t len, NameToIdRequest &out);
// The 10-byte reply: status, VDC id, VLAN id.
Payload encode_name_to_id_reply(uint32_t status, uint16_t vdc_id, uint32_t vlan_id);

// Reserved check (VLAN_MGR_OPC_VLAN_RSVD_CHECK): the first 12 bytes of the
// payload, the two check words as they came.
struct RsvdCheckRequest {
    uint16_t vdc_id = 0;
    uint32_t check_word1 = 0;
    uint32_t check_word2 = 0;
    bool operator==(const RsvdCheckRequest &) const = default;
};
uint32_t decode_rsvd_check_request(const uint8_t *payload, size_t len, RsvdCheckRequest &out);
// The 16-byte reply: the request's fields echoed, then the result.
Payload encode_rsvd_check_reply(uint16_t vdc_id, uint32_t check_word1, uint32_t check_word2, uint32_t check_result);

// Create/update (VLAN_MGR_OPC_VLAN_CREATE_UPDATE), TLV-framed: at least one
// record; with several, no two records of one VLAN and every VLAN id below
// 4096 (the reply bitmap carries them). The records are in request order.
struct CreateUpdateItem {
    static constexpr uint8_t kUpdateOnly = 1;
    uint8_t operation = 0;   // field3: kUpdateOnly, else create or update
    uint32_t vlan_id = 0;    // field5
    uint32_t segment = 0;    // field6
    uint16_t mode = 0;       // field7
    std::string name;        // up to its NUL (33 bytes at most)
    bool update_only() const { return operation == kUpdateOnly; }
    bool operator==(const CreateUpdateItem &) const = default;
};
uint32_t decode_create_update_request(const uint8_t *payload, size_t len, std::vector<CreateUpdateItem> &out);

// Configuration mode (VLAN_MGR_OPC_VLAN_CONFIGMODE), TLV-framed.
struct ConfigModeRequest {
    uint32_t mode = 0;       // field26: the configuration-mode word
    uint32_t field27 = 0;    // carried, not used
    VlanBits vlans;          // carried, not used
    bool operator==(const ConfigModeRequest &) const = default;
};
uint32_t decode_configmode_request(const uint8_t *payload, size_t len, ConfigModeRequest &out);
// The TLV response with its field29; the bare status VLAN_MGR_ERR_NO_MEMORY
// when it cannot be built.
Payload encode_configmode_reply(uint32_t field29);

} // namespace vlan_mgr::server
