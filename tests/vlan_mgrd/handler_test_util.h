// Running one request through the manager's handlers in-process, and reading
// big-endian fields of its reply.
#ifndef VLAN_MGRD_HANDLER_TEST_UTIL_H
#define VLAN_MGRD_HANDLER_TEST_UTIL_H

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "handlers.h"
#include "state.h"

namespace vlan_mgrd::test {

// Dispatches `payload` (a library builder's output, or literal bytes) as a
// request of `opcode` from a process of VDC `src_vdc`.
inline Reply run(Manager &m, uint32_t opcode, const void *payload, uint32_t len, ChangeSet &changes,
                 uint16_t src_vdc = 1)
{
    Request req;
    req.opcode = opcode;
    req.payload = static_cast<const uint8_t *>(payload);
    req.len = len;
    req.src_vdc = src_vdc;
    Reply reply;
    dispatch(m, req, reply, changes);
    return reply;
}

inline Reply run(Manager &m, uint32_t opcode, const std::vector<uint8_t> &payload, ChangeSet &changes,
                 uint16_t src_vdc = 1)
{
    return run(m, opcode, payload.data(), static_cast<uint32_t>(payload.size()), changes, src_vdc);
}

// Runs a payload that a library builder malloc'ed, and frees it.
inline Reply run_built(Manager &m, uint32_t opcode, void *payload, uint32_t len, ChangeSet &changes,
                       uint16_t src_vdc = 1)
{
    Reply r = run(m, opcode, payload, len, changes, src_vdc);
    std::free(payload);
    return r;
}

inline uint32_t be32(const Reply &r, size_t off)
{
    return (uint32_t{r.at(off)} << 24) | (uint32_t{r.at(off + 1)} << 16) | (uint32_t{r.at(off + 2)} << 8) |
           uint32_t{r.at(off + 3)};
}
inline uint16_t be16(const Reply &r, size_t off)
{
    return static_cast<uint16_t>((r.at(off) << 8) | r.at(off + 1));
}

} // namespace vlan_mgrd::test

#endif
