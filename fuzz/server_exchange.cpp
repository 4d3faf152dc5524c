// The manager's decoders of its own exchanges given arbitrary payloads:
// byte 0 picks the decoder, the rest is the payload, in a heap buffer of
// exactly its size. A decoder must refuse or accept without reading outside
// the payload; an accepted request-response request is answered with one
// entry per key and the entry array must hold exactly those keys.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <vlan_mgr/frame.h>
#include <vlan_mgr/server/exchange.h>

#include "server_fuzz.h"

namespace server = vlan_mgr::server;

namespace {

template <class Entry, class Encode>
void answer(const std::vector<server::VlanKey> &keys, Encode encode, size_t stride)
{
    std::vector<Entry> entries;
    for (const server::VlanKey &k : keys)
        entries.push_back({k.vdc_id, k.vlan_id, 0, 0});
    const server::Payload out = encode(std::span<const Entry>(entries));
    if (out.size() != stride * keys.size())
        std::abort();
    for (size_t i = 0; i < keys.size(); ++i) {
        uint16_t vdc;
        uint32_t vlan;
        std::memcpy(&vdc, out.data() + stride * i, 2);
        std::memcpy(&vlan, out.data() + stride * i + 2, 4);
        if (vdc != keys[i].vdc_id || vlan != keys[i].vlan_id)
            std::abort();
    }
}

void req_resp(const uint8_t *p, size_t n)
{
    std::vector<server::VlanKey> keys;
    if (server::decode_req_resp_request(p, n, keys) != 0)
        return;
    if (keys.empty() || keys.size() * 6 != n)
        std::abort();
    answer<server::ReqResp16Entry>(keys, server::encode_req_resp16_entries, VLAN_MGR_REQ_RESP_16_STRIDE);
    answer<server::ReqResp30Entry>(keys, server::encode_req_resp30_entries, VLAN_MGR_REQ_RESP_30_STRIDE);
}

using server_fuzz::Decoder;
constexpr Decoder kDecoders[] = {req_resp};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    return server_fuzz::run_one(kDecoders, data, size);
}
