// The manager's own requests: the global autostate setting and the two
// request-response exchanges (layouts in src/frame/exchange_layout.h).
//
// Contract with the daemon's server for MTS_OPC_VLAN_REQ_RESP_16 (0x5C03)
// and MTS_OPC_VLAN_REQ_RESP_30 (0x5C29): the handler's reply is either a
// 4-byte big-endian status (a malformed request: VLAN_MGR_ERR_BAD_REQUEST;
// a key of another VDC: VLAN_MGR_ERR_VDC_MISMATCH; a VLAN id outside
// 1..4094: VLAN_MGR_ERR_INVALID_VLAN), which the server sends as it is; or
// the entry array in the caller-entry form of
// vlan_mgr_send_vlan_req_resp_reply, one entry per key in key order, which
// the server tells apart by its size (a multiple of the stride) and sends
// with vlan_mgr_send_vlan_req_resp_reply(handle, reply.data(),
// reply.size() / stride, request).
//
// MTS_OPC_VLAN_GET_GLOBAL_AUTOSTATE (0x5C53): the request's payload is not
// read; the reply is the setting.
#include <vlan_mgr/bd_db.h>
#include <vlan_mgr/frame.h>
#include <vlan_mgr/server/exchange.h>

#include "handlers.h"

namespace vlan_mgrd {
namespace {

namespace server = vlan_mgr::server;

void get_autostate(Manager &m, const Request &, Reply &reply, ChangeSet &)
{
    reply = server::encode_autostate_reply(m.autostate_disable);
}

// The keys of a request, checked in order: the first key of another VDC or
// with a VLAN id outside 1..4094 refuses the request.
uint32_t decode_keys(const Request &req, std::vector<server::VlanKey> &keys)
{
    if (const uint32_t st = server::decode_req_resp_request(req.payload, req.len, keys); st != 0)
        return st;
    for (const server::VlanKey &k : keys) {
        if (!vdc_allowed(req, k.vdc_id))
            return VLAN_MGR_ERR_VDC_MISMATCH;
        if (!Manager::vlan_valid(k.vlan_id))
            return VLAN_MGR_ERR_INVALID_VLAN;
    }
    return 0;
}

// 0x5C03: each VLAN's BD id and segment id.
void req_resp_16(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    std::vector<server::VlanKey> keys;
    if (const uint32_t st = decode_keys(req, keys); st != 0) {
        reply_status(reply, st);
        return;
    }
    std::vector<server::ReqResp16Entry> entries;
    entries.reserve(keys.size());
    for (const server::VlanKey &k : keys) {
        const Vlan &v = m.vdc(k.vdc_id).vlans[k.vlan_id];
        entries.push_back({k.vdc_id, k.vlan_id, v.created ? bd_of(k.vlan_id) : uint16_t{0},
                           v.created ? v.segment : 0u});
    }
    reply = server::encode_req_resp16_entries(entries);
}

// 0x5C29: each VLAN's type and primary VLAN.
void req_resp_30(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    std::vector<server::VlanKey> keys;
    if (const uint32_t st = decode_keys(req, keys); st != 0) {
        reply_status(reply, st);
        return;
    }
    std::vector<server::ReqResp30Entry> entries;
    entries.reserve(keys.size());
    for (const server::VlanKey &k : keys) {
        const Vlan &v = m.vdc(k.vdc_id).vlans[k.vlan_id];
        entries.push_back({k.vdc_id, k.vlan_id, v.created ? static_cast<uint16_t>(v.type) : uint16_t{0},
                           v.created ? v.primary : 0u});
    }
    reply = server::encode_req_resp30_entries(entries);
}

const HandlerEntry kMiscHandlers[] = {
    {MTS_OPC_VLAN_GET_GLOBAL_AUTOSTATE, "global autostate", get_autostate},
    {MTS_OPC_VLAN_REQ_RESP_16, "request-response 16", req_resp_16},
    {MTS_OPC_VLAN_REQ_RESP_30, "request-response 30", req_resp_30},
};

} // namespace

std::span<const HandlerEntry> misc_handlers()
{
    return kMiscHandlers;
}

} // namespace vlan_mgrd
