// Request handlers: one function per request opcode, grouped by family in
// tables, and the one dispatch that the server and the tests call.
//
// A handler decodes the request with the library's decoder of its message
// (vlan_mgr::server, which never reads outside the payload), changes the
// Manager, marks what it changed in the ChangeSet and sets `reply` to the
// library's encoding of the reply. It never throws on bad input:
// a malformed or truncated request is answered with a 4-byte status
// (VLAN_MGR_ERR_BAD_REQUEST) and changes nothing.
#ifndef VLAN_MGRD_HANDLERS_H
#define VLAN_MGRD_HANDLERS_H

#include <cstdint>
#include <span>
#include <vector>

#include "state.h"

namespace vlan_mgrd {

struct Request {
    uint32_t opcode = 0;
    const uint8_t *payload = nullptr;
    uint32_t len = 0;
    uint16_t src_vdc = 1;             // the requester's own VDC id
};

using Reply = std::vector<uint8_t>;

using Handler = void (*)(Manager &m, const Request &req, Reply &reply, ChangeSet &changes);

struct HandlerEntry {
    uint32_t opcode;
    const char *name;                 // for logs: "vlan create"
    Handler fn;
};

// The families' tables (handlers_config.cpp, handlers_query.cpp,
// handlers_memb.cpp) and the manager's own requests (handlers_misc.cpp).
std::span<const HandlerEntry> config_handlers();
std::span<const HandlerEntry> query_handlers();
std::span<const HandlerEntry> membership_handlers();
std::span<const HandlerEntry> misc_handlers();

// Finds the handler of req.opcode; nullptr when there is none.
const HandlerEntry *find_handler(uint32_t opcode);

// Runs the request: the handler's reply, or the 4-byte status
// VLAN_MGR_ERR_UNKNOWN_REQUEST for an opcode nobody serves, or
// VLAN_MGR_ERR_VDC_MISMATCH when the requester's VDC is outside 1..5 (so a
// handler may index m.vdc(req.src_vdc) without checking it).
void dispatch(Manager &m, const Request &req, Reply &reply, ChangeSet &changes);

// A reply that is a bare status word (big-endian).
void reply_status(Reply &reply, uint32_t status);

// VDC rule of every request that names a VDC: ids outside 1..5 and ids other
// than the requester's own are refused with VLAN_MGR_ERR_VDC_MISMATCH.
bool vdc_allowed(const Request &req, uint32_t vdc_id);

} // namespace vlan_mgrd

#endif
