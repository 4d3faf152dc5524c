// The manager's side of its own exchanges: the request-response requests
// (MTS_OPC_VLAN_REQ_RESP_16, MTS_OPC_VLAN_REQ_RESP_30) decoded, their entry
// arrays and the global autostate reply (MTS_OPC_VLAN_GET_GLOBAL_AUTOSTATE)
// encoded. Layouts: src/frame/exchange_layout.h. Internal: not installed
// with the library.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include <vlan_mgr/server/common.h>

namespace vlan_mgr::server {

// One key of a request-response request.
struct VlanKey {
    uint16_t vdc_id = 0;
    uint32_t vlan_id = 0;
    bool operator==(const VlanKey &) const = default;
};

// A request-response request: at least one 6-byte key and at most one per
// VLAN of every VDC (5 x 4096). 0, or VLAN_MGR_ERR_BAD_REQUEST for an empty
// payload, one that is not a whole number of keys or one with too many
// (`keys` is then unspecified). The keys' VDC and VLAN ids are the
// handler's to check.
uint32_t decode_req_resp_request(const uint8_t *payload, size_t len, std::vector<VlanKey> &keys);

// The answer to one key of a 0x5C03 request: the VLAN's BD id (0: not
// created) and segment id (0: none).
struct ReqResp16Entry {
    uint16_t vdc_id = 0;
    uint32_t vlan_id = 0;
    uint16_t bd_id = 0;
    uint32_t segment = 0;
    bool operator==(const ReqResp16Entry &) const = default;
};
// The answer to one key of a 0x5C29 request: the VLAN's type and primary
// VLAN (a secondary private VLAN's primary, else 0), both 0 when the VLAN is
// not created.
struct ReqResp30Entry {
    uint16_t vdc_id = 0;
    uint32_t vlan_id = 0;
    uint16_t type = 0;
    uint32_t primary = 0;
    bool operator==(const ReqResp30Entry &) const = default;
};

// The entry array in the caller-entry form of
// vlan_mgr_send_vlan_req_resp_reply (host order, 16 or 30 bytes an entry,
// the rest of each entry 0), which writes the big-endian reply.
Payload encode_req_resp16_entries(std::span<const ReqResp16Entry> entries);
Payload encode_req_resp30_entries(std::span<const ReqResp30Entry> entries);

// The global autostate reply: the setting, 4 bytes in host order.
Payload encode_autostate_reply(uint32_t setting);

} // namespace vlan_mgr::server
