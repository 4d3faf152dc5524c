// The manager's own requests: the global autostate setting and the two
// request-response exchanges.
//
// Contract with the daemon's server for MTS_OPC_VLAN_REQ_RESP_16 (0x5C03)
// and MTS_OPC_VLAN_REQ_RESP_30 (0x5C29):
//   Request: a list of 6-byte vdc_vlan_id_t keys, big-endian (u16 VDC id,
//   u32 VLAN id), at least one, at most kMaxKeys.
//   Reply of the handler: either a 4-byte big-endian status (the payload is
//   empty, not a multiple of 6 bytes or too long: VLAN_MGR_ERR_BAD_REQUEST;
//   a key of another VDC: VLAN_MGR_ERR_VDC_MISMATCH; a VLAN id outside
//   1..4094: VLAN_MGR_ERR_INVALID_VLAN), which the server sends as it is;
//   or the ENTRY ARRAY in the caller-entry form of
//   vlan_mgr_send_vlan_req_resp_reply: one entry per key, in key order, of
//   16 bytes (0x5C03) or 30 bytes (0x5C29), fields in HOST order:
//     0x5C03: 0 u16 VDC id, 2 u32 VLAN id, 6 u16 BD id (0: VLAN not
//             created), 8 u32 segment id (0: none), 12..15 zero
//     0x5C29: 0 u16 VDC id, 2 u32 VLAN id, 6 u16 VLAN type, 8 u32 primary
//             VLAN (a secondary private VLAN's primary, else 0), 12..29 zero
//   The server tells the two apart by the size (a status is 4 bytes, an
//   entry array a multiple of the stride) and sends the array with
//   vlan_mgr_send_vlan_req_resp_reply(handle, reply.data(),
//   reply.size() / stride, request), which writes the big-endian reply.
//
// MTS_OPC_VLAN_GET_GLOBAL_AUTOSTATE (0x5C53): the request's payload is not
// read; the reply is 4 bytes, the setting as a 32-bit word in HOST order
// (the library hands the reply's first word to its caller as it stands).
#include <cstring>

#include <vlan_mgr/bd_db.h>
#include <vlan_mgr/frame.h>

#include "handlers.h"
#include "wire_io.h"

namespace vlan_mgrd {
namespace {

constexpr uint32_t kKeySize = 6;
constexpr uint32_t kMaxKeys = 5 * 4096; // every VLAN of every VDC

void get_autostate(Manager &m, const Request &, Reply &reply, ChangeSet &)
{
    uint8_t word[4];
    std::memcpy(word, &m.autostate_disable, 4);
    reply.assign(word, word + 4);
}

template <typename T>
void put_host(uint8_t *entry, size_t off, T v)
{
    std::memcpy(entry + off, &v, sizeof v);
}

template <uint32_t Stride>
void req_resp(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    if (req.len == 0 || req.len % kKeySize != 0 || req.len / kKeySize > kMaxKeys) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    const uint32_t n = req.len / kKeySize;
    WireReader r(req.payload, req.len);
    for (uint32_t i = 0; i < n; ++i) {
        const uint16_t vdc = r.u16(i * kKeySize);
        const uint32_t vlan = r.u32(i * kKeySize + 2);
        if (!r.ok()) {
            reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
            return;
        }
        if (!vdc_allowed(req, vdc)) {
            reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
            return;
        }
        if (!Manager::vlan_valid(vlan)) {
            reply_status(reply, VLAN_MGR_ERR_INVALID_VLAN);
            return;
        }
    }
    std::vector<uint8_t> entries(size_t{Stride} * n, 0);
    for (uint32_t i = 0; i < n; ++i) {
        const uint16_t vdc = r.u16(i * kKeySize);
        const uint32_t vlan = r.u32(i * kKeySize + 2);
        const Vlan &v = m.vdc(vdc).vlans[vlan];
        uint8_t *e = entries.data() + size_t{Stride} * i;
        put_host<uint16_t>(e, 0, vdc);
        put_host<uint32_t>(e, 2, vlan);
        if (Stride == VLAN_MGR_REQ_RESP_16_STRIDE) {
            put_host<uint16_t>(e, 6, v.created ? bd_of(vlan) : uint16_t{0});
            put_host<uint32_t>(e, 8, v.created ? v.segment : 0u);
        } else {
            put_host<uint16_t>(e, 6, v.created ? static_cast<uint16_t>(v.type) : uint16_t{0});
            put_host<uint32_t>(e, 8, v.created ? v.primary : 0u);
        }
    }
    reply.swap(entries);
}

const HandlerEntry kMiscHandlers[] = {
    {MTS_OPC_VLAN_GET_GLOBAL_AUTOSTATE, "global autostate", get_autostate},
    {MTS_OPC_VLAN_REQ_RESP_16, "request-response 16", req_resp<VLAN_MGR_REQ_RESP_16_STRIDE>},
    {MTS_OPC_VLAN_REQ_RESP_30, "request-response 30", req_resp<VLAN_MGR_REQ_RESP_30_STRIDE>},
};

} // namespace

std::span<const HandlerEntry> misc_handlers()
{
    return kMiscHandlers;
}

} // namespace vlan_mgrd
