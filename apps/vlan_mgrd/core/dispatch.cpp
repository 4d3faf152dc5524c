#include <array>

#include <vlan_mgr/frame.h>
#include <vlan_mgr/server/common.h>

#include "handlers.h"

namespace vlan_mgrd {

void reply_status(Reply &reply, uint32_t status)
{
    reply = vlan_mgr::server::status_payload(status);
}

bool vdc_allowed(const Request &req, uint32_t vdc_id)
{
    return Manager::vdc_valid(vdc_id) && vdc_id == req.src_vdc;
}

const HandlerEntry *find_handler(uint32_t opcode)
{
    const std::array<std::span<const HandlerEntry>, 4> tables = {config_handlers(), query_handlers(),
                                                                 membership_handlers(), misc_handlers()};
    for (std::span<const HandlerEntry> table : tables)
        for (const HandlerEntry &e : table)
            if (e.opcode == opcode)
                return &e;
    return nullptr;
}

void dispatch(Manager &m, const Request &req, Reply &reply, ChangeSet &changes)
{
    reply.clear();
    const HandlerEntry *e = find_handler(req.opcode);
    if (e == nullptr) {
        reply_status(reply, VLAN_MGR_ERR_UNKNOWN_REQUEST);
        return;
    }
    // Handlers act on the requester's own VDC when the request names none,
    // so a sender outside 1..5 is refused before any of them runs.
    if (!Manager::vdc_valid(req.src_vdc)) {
        reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
        return;
    }
    e->fn(m, req, reply, changes);
}

} // namespace vlan_mgrd
