// The manager's side of its own exchanges: the request-response request
// decoder, the entry arrays of its replies and the global autostate reply.
#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/server/exchange.h>

#include "frame/exchange_layout.h"

namespace vlan_mgr::server {
namespace {

namespace X = layout::exchange;
using C = X::CallerEntry;

// One caller entry per answer, with the reply's stride.
template <class Entry, class Fill>
Payload encode_entries(std::span<const Entry> entries, size_t stride, Fill fill)
{
    Payload out(stride * entries.size());
    for (size_t i = 0; i < entries.size(); ++i) {
        wire::Writer w(out.data() + stride * i, stride);
        fill(w, entries[i]);
    }
    return out;
}

} // namespace

uint32_t decode_req_resp_request(const uint8_t *payload, size_t len, std::vector<VlanKey> &keys)
{
    using R = X::ReqRespRequest;
    keys.clear();
    if (payload == nullptr || len == 0 || len % R::keys.stride != 0 || len / R::keys.stride > R::kMaxKeys)
        return VLAN_MGR_ERR_BAD_REQUEST;
    const wire::Reader r(payload, len);
    const size_t n = len / R::keys.stride;
    keys.reserve(n);
    for (size_t i = 0; i < n; ++i) {
        const wire::Reader k = R::keys.entry(r, i);
        keys.push_back({R::Key::vdc_id.get(k), R::Key::vlan_id.get(k)});
    }
    return 0;
}

Payload encode_req_resp16_entries(std::span<const ReqResp16Entry> entries)
{
    return encode_entries(entries, VLAN_MGR_REQ_RESP_16_STRIDE, [](wire::Writer &w, const ReqResp16Entry &e) {
        C::first16.put(w, e.vdc_id);
        C::first32.put(w, e.vlan_id);
        C::second16.put(w, e.bd_id);
        C::second32.put(w, e.segment);
    });
}

Payload encode_req_resp30_entries(std::span<const ReqResp30Entry> entries)
{
    return encode_entries(entries, VLAN_MGR_REQ_RESP_30_STRIDE, [](wire::Writer &w, const ReqResp30Entry &e) {
        C::first16.put(w, e.vdc_id);
        C::first32.put(w, e.vlan_id);
        C::second16.put(w, e.type);
        C::second32.put(w, e.primary);
    });
}

Payload encode_autostate_reply(uint32_t setting)
{
    Payload out(X::AutostateReply::kSize);
    wire::Writer w(out.data(), out.size());
    X::AutostateReply::setting.put(w, setting);
    return out;
}

} // namespace vlan_mgr::server
