// The manager's side of the two TLV-framed configuration requests,
// create/update and configuration mode. Their layouts are the TLV tables
// (src/tlv): the decoders run the library's TLV request parsers and hand
// back plain records; the configuration-mode reply is built by the library's
// TLV builder. The create/update reply is the create reply's
// (encode_create_update_reply).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <vlan_mgr/config_req.h>
#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/server/config.h>
#include <vlan_mgr/tlv.h>

#include "tlv/tlv_server.h"

namespace vlan_mgr::server {
uint32_t decode_create_update_request(const uint8_t *payload, size_t len, std::vector<CreateUpdateItem> &out)
{
    out.clear();
    const tlv::Owned<vlan_mgr_create_update_req_t> own = tlv::parse(payload, len, vlan_mgr_create_update_parse_req);
    if (!own)
        return VLAN_MGR_ERR_BAD_REQUEST;
    const vlan_mgr_create_update_req_t *rec = own.get();
    const uint32_t count = vlan_mgr_create_update_msg_get_sz(rec);
    if (count == 0)
        return VLAN_MGR_ERR_BAD_REQUEST;
    // The records follow the count unaligned: each is copied out whole.
    const auto *records = reinterpret_cast<const uint8_t *>(rec) + offsetof(vlan_mgr_create_update_req_t, data);
    out.reserve(count);
    VlanBits seen;
    for (uint32_t i = 0; i < count; ++i) {
        vlan_mgr_create_update_t it;
        std::memcpy(&it, records + sizeof it * i, sizeof it);
        // With several records the reply carries their VLANs in a bitmap:
        // one record per VLAN, ids below 4096.
        if (count > 1) {
            if (it.field5 >= seen.size() || seen.test(it.field5))
                return VLAN_MGR_ERR_BAD_REQUEST;
            seen.set(it.field5);
        }
        out.push_back(
            {it.field3, it.field5, it.field6, it.field7, std::string(it.name, strnlen(it.name, sizeof it.name))});
    }
    return 0;
}

uint32_t decode_configmode_request(const uint8_t *payload, size_t len, ConfigModeRequest &out)
{
    const tlv::Owned<vlan_configmode_payload_t> msg = tlv::parse(payload, len, vlan_parse_vlan_configmode_change_req);
    if (!msg)
        return VLAN_MGR_ERR_BAD_REQUEST;
    out.mode = msg->field26;
    out.field27 = msg->field27;
    out.vlans = bits_from_wire(msg->vlans.bits);
    return 0;
}

Payload encode_configmode_reply(uint32_t field29)
{
    vlan_configmode_rsp_t rsp{};
    vlan_configmode_rsp_init(&rsp);
    rsp.field29 = field29;
    return tlv::reply(&rsp, vlan_build_vlan_configmode_change_rsp);
}

} // namespace vlan_mgr::server
