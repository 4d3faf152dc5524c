// The manager's decoders of the configuration requests given arbitrary
// payloads: byte 0 picks the decoder, the rest is the payload, in a heap
// buffer of exactly its size. A decoder must refuse or accept without
// reading outside the payload; an accepted request must encode a reply that
// the library's parser reads back.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <vlan_mgr/config_req.h>
#include <vlan_mgr/server/config.h>

namespace server = vlan_mgr::server;

namespace {

void create(const uint8_t *p, size_t n)
{
    server::CreateRequest req;
    if (server::decode_create_request(p, n, req) != 0)
        return;
    std::vector<server::VlanStatus> results;
    if (req.count == 1)
        results.push_back({req.vlan_id, 0});
    else
        for (uint32_t v : server::ids_of(req.vlans))
            results.push_back({v, 0});
    const server::Payload reply = server::encode_create_reply(req.vdc_id, results);
    uint16_t vdc = 0, count = 0;
    uint32_t *ids = nullptr, *st = nullptr;
    if (vlan_create_parse_reply(&vdc, &count, &ids, &st, reply.data(), static_cast<uint32_t>(reply.size())) != 0 ||
        count != results.size())
        std::abort();
    std::free(ids);
    std::free(st);
}

using Decoder = void (*)(const uint8_t *, size_t);
constexpr Decoder kDecoders[] = {create};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const Decoder d = kDecoders[data[0] % (sizeof kDecoders / sizeof kDecoders[0])];
    auto buf = std::make_unique<uint8_t[]>(size - 1);
    if (size > 1)
        std::memcpy(buf.get(), data + 1, size - 1);
    d(buf.get(), size - 1);
    return 0;
}
