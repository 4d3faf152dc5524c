// The manager's side of VLAN create: the request decoder, and the create and
// create/update reply encoders.
#include <cstring>

#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/server/config.h>

#include "config_req/layout.h"
#include "frame/bitmap.h"

namespace vlan_mgr::server {
namespace {

using Req = layout::config::CreateRequest;

Payload encode_status_list(const layout::config::StatusListReply &l, uint16_t vdc_id,
                           std::span<const VlanStatus> results)
{
    Payload out(l.statuses.end(results.size()));
    wire::Writer w(out.data(), out.size());
    if (l.has_vdc)
        l.vdc_id.put(w, vdc_id);
    l.count.put(w, static_cast<uint16_t>(results.size()));
    l.vlans.init(w);
    if (results.size() == 1) {
        l.vlan_id.put(w, results[0].vlan_id);
    } else {
        for (const VlanStatus &r : results)
            if (r.vlan_id < bitmap::kBits)
                bitmap::set(l.vlans.bits(w), r.vlan_id);
    }
    constexpr layout::U32 status{0};
    for (size_t i = 0; i < results.size(); ++i) {
        wire::Writer e = l.statuses.entry(w, i);
        status.put(e, results[i].status);
    }
    return out;
}

} // namespace

uint32_t decode_create_request(const uint8_t *payload, size_t len, CreateRequest &out)
{
    const wire::Reader r(payload, len);
    if (payload == nullptr || !r.has(0, Req::kFixedLen))
        return VLAN_MGR_ERR_BAD_REQUEST;
    out.vdc_id = Req::vdc_id.get(r);
    out.count = Req::count.get(r);
    out.vlan_id = Req::vlan_id.get(r);
    out.options = Req::options.get(r);
    out.vlans = bits_from_wire(Req::vlans.bits(r));
    out.name.clear();
    if (out.count == 0)
        return VLAN_MGR_ERR_BAD_REQUEST;
    if (out.count == 1) {
        // The name runs to its NUL, which lies before the trailing bytes.
        const uint8_t *name = r.at(Req::kNameOff);
        const void *nul = std::memchr(name, 0, len - Req::kTrailing - Req::kNameOff);
        if (nul == nullptr)
            return VLAN_MGR_ERR_BAD_REQUEST;
        out.name.assign(reinterpret_cast<const char *>(name),
                        static_cast<size_t>(static_cast<const uint8_t *>(nul) - name));
    } else if (out.vlans.none()) {
        return VLAN_MGR_ERR_BAD_REQUEST;
    }
    return 0;
}

Payload encode_create_reply(uint16_t vdc_id, std::span<const VlanStatus> results)
{
    return encode_status_list(layout::config::kCreateReply, vdc_id, results);
}

Payload encode_create_update_reply(std::span<const VlanStatus> results)
{
    return encode_status_list(layout::config::kCreateUpdateReply, 0, results);
}

} // namespace vlan_mgr::server
