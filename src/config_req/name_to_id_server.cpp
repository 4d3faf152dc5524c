// The manager's side of VLAN name to id and of the reserved check: their
// request decoders and reply encoders.
#include <cstring>

#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/server/config.h>

#include "config_req/layout.h"

namespace vlan_mgr::server {
namespace {

using NameReq = layout::config::NameToIdRequest;
using NameRep = layout::config::NameToIdReply;
using RsvdReq = layout::config::RsvdCheckRequest;
using RsvdRep = layout::config::RsvdCheckReply;

} // namespace

uint32_t decode_name_to_id_request(const uint8_t *payload, size_t len, NameToIdRequest &out)
{
    const wire::Reader r(payload, len);
    // The name's NUL is the last byte; the name itself ends at its first NUL.
    if (payload == nullptr || !r.has(0, NameReq::kFixedLen) || payload[len - 1] != 0)
        return VLAN_MGR_ERR_BAD_REQUEST;
    out.vdc_id = NameReq::vdc_id.get(r);
    const auto *name = reinterpret_cast<const char *>(r.at(NameReq::kNameOff));
    out.name.assign(name, strnlen(name, len - NameReq::kFixedLen));
    return 0;
}

Payload encode_name_to_id_reply(uint32_t status, uint16_t vdc_id, uint32_t vlan_id)
{
    Payload out(NameRep::kLen);
    wire::Writer w(out.data(), out.size());
    NameRep::status.put(w, status);
    NameRep::vdc_id.put(w, vdc_id);
    NameRep::vlan_id.put(w, vlan_id);
    return out;
}

uint32_t decode_rsvd_check_request(const uint8_t *payload, size_t len, RsvdCheckRequest &out)
{
    // Longer requests are read for their first 12 bytes.
    const wire::Reader r(payload, len);
    if (payload == nullptr || !r.has(0, RsvdReq::kLen))
        return VLAN_MGR_ERR_BAD_REQUEST;
    out.vdc_id = RsvdReq::vdc_id.get(r);
    out.check_word1 = RsvdReq::check_word1.get(r);
    out.check_word2 = RsvdReq::check_word2.get(r);
    return 0;
}

Payload encode_rsvd_check_reply(uint16_t vdc_id, uint32_t check_word1, uint32_t check_word2, uint32_t check_result)
{
    Payload out(RsvdRep::kLen); // the 2 unused bytes go out as 0
    wire::Writer w(out.data(), out.size());
    RsvdRep::vdc_id.put(w, vdc_id);
    RsvdRep::check_word1.put(w, check_word1);
    RsvdRep::check_word2.put(w, check_word2);
    RsvdRep::check_result.put(w, check_result);
    return out;
}

} // namespace vlan_mgr::server
