// The manager's request handlers given arbitrary requests: byte 0 picks the
// opcode among those served (0xFF: bytes 1-4 give a raw opcode), byte 1 the
// requester's VDC, the rest is the payload, in a heap buffer of exactly its
// size. The state carries over between inputs, as in a running manager, and
// is reset now and then so that it stays small. Every request must be
// answered with a reply of at least a status word.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "handlers.h"
#include "iftable.h"
#include "state.h"

namespace {

std::vector<uint32_t> served_opcodes()
{
    std::vector<uint32_t> ops;
    for (uint32_t op = 0x5C00; op < 0x5E00; ++op)
        if (vlan_mgrd::find_handler(op) != nullptr)
            ops.push_back(op);
    return ops;
}

std::unique_ptr<vlan_mgrd::Manager> fresh_manager()
{
    auto m = std::make_unique<vlan_mgrd::Manager>();
    for (const vlan_mgr_apps::IfEntry &e : vlan_mgr_apps::default_iftable()) {
        vlan_mgrd::Port p;
        p.if_index = e.if_index;
        p.name = e.name;
        m->vdc(e.vdc).ports.push_back(p);
    }
    for (uint32_t v = 3900; v <= 3967; ++v) // a reserved range, as the engine computes one
        m->vdc(1).reserved.set(v);
    return m;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const std::vector<uint32_t> ops = served_opcodes();
    static std::unique_ptr<vlan_mgrd::Manager> manager = fresh_manager();
    static unsigned runs = 0;
    if (++runs % 4096 == 0)
        manager = fresh_manager();
    if (size < 2 || ops.empty())
        return 0;
    uint32_t opcode = ops[data[0] % ops.size()];
    size_t at = 2;
    if (data[0] == 0xFF) {
        if (size < 6)
            return 0;
        opcode = (uint32_t{data[2]} << 24) | (uint32_t{data[3]} << 16) | (uint32_t{data[4]} << 8) | data[5];
        at = 6;
    }
    const size_t len = size - at;
    auto *payload = static_cast<uint8_t *>(std::malloc(len ? len : 1));
    if (len != 0)
        std::memcpy(payload, data + at, len);
    vlan_mgrd::Request req;
    req.opcode = opcode;
    req.payload = payload;
    req.len = static_cast<uint32_t>(len);
    req.src_vdc = static_cast<uint16_t>(1 + data[1] % 6); // 6: a VDC id no request may name
    vlan_mgrd::Reply reply;
    vlan_mgrd::ChangeSet changes;
    vlan_mgrd::dispatch(*manager, req, reply, changes);
    std::free(payload);
    if (reply.size() < 4)
        std::abort();
    return 0;
}
