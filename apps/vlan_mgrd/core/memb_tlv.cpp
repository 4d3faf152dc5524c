// The TLV-framed membership messages: the port membership and the trunking
// membership queries (one request record, two response records) and the
// compression-group membership change.
//
// The request is decoded by vlan_mgr::server over the library's message
// parser, which refuses anything that is not a whole, well-formed buffer of
// the request's record type (answered with the bare status
// VLAN_MGR_ERR_BAD_REQUEST); the response is encoded by the library's message
// builder. Record fields are host-order values, so the interface indexes in
// them are plain values.
#include "handlers.h"
#include "memb_common.h"

namespace vlan_mgrd::memb {
namespace {

namespace server = vlan_mgr::server;

// The request's port list, checked: false when `reply` holds the refusal
// (bad request; a VDC other than the requester's in field 0).
bool start_tlv_query(const Request &req, Reply &reply, server::PortMemb2Request &rq)
{
    if (server::decode_port_memb_2_request(req.payload, req.len, rq) != 0) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return false;
    }
    if (!vdc_allowed(req, rq.vdc_id)) {
        reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
        return false;
    }
    return true;
}

// The encoder's reply, or the bare status of its failure.
void reply_encoded(Reply &reply, uint32_t st, server::Payload &out)
{
    if (st != 0)
        reply_status(reply, st);
    else
        reply = std::move(out);
}

} // namespace

// Per port: mode, access VLAN, voice VLAN (0: none), native VLAN and the
// port's status (0, or VLAN_MGR_ERR_UNKNOWN_PORT with the other fields at
// their defaults).
void handle_port_memb_2(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    server::PortMemb2Request rq;
    if (!start_tlv_query(req, reply, rq))
        return;
    const auto n = static_cast<uint32_t>(rq.if_indexes.size());
    if (server::port_memb_2_reply_size(n) > kMaxReply) {
        reply_status(reply, VLAN_MGR_ERR_NOT_SUPPORTED);
        return;
    }
    const Vdc &vdc = m.vdc(rq.vdc_id);
    std::vector<server::PortMemb2> out(n);
    for (uint32_t i = 0; i < n; ++i) {
        server::PortMemb2 &e = out[i];
        e.if_index = rq.if_indexes[i];
        const Port *p = vdc.port(rq.if_indexes[i]);
        if (p == nullptr) {
            e.status = VLAN_MGR_ERR_UNKNOWN_PORT;
            continue;
        }
        e.mode = p->mode;
        e.access_vlan = p->access_vlan;
        e.voice_vlan = p->voice_vlan;
        e.native_vlan = p->native_vlan;
    }
    server::Payload tlv;
    reply_encoded(reply, server::encode_port_memb_2_reply(out, tlv), tlv);
}

// Per port: mode, native VLAN, allowed VLANs, allowed VLANs that are active
// and the port's status (0, or VLAN_MGR_ERR_UNKNOWN_PORT with the other
// fields at their defaults).
void handle_port_trunking_memb_2(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    server::PortMemb2Request rq;
    if (!start_tlv_query(req, reply, rq))
        return;
    const auto n = static_cast<uint32_t>(rq.if_indexes.size());
    if (server::port_trunking_memb_2_reply_size(n) > kMaxReply) {
        reply_status(reply, VLAN_MGR_ERR_NOT_SUPPORTED);
        return;
    }
    const Vdc &vdc = m.vdc(rq.vdc_id);
    std::vector<server::PortTrunkingMemb2> out(n);
    for (uint32_t i = 0; i < n; ++i) {
        server::PortTrunkingMemb2 &e = out[i];
        e.if_index = rq.if_indexes[i];
        const Port *p = vdc.port(rq.if_indexes[i]);
        if (p == nullptr) {
            e.status = VLAN_MGR_ERR_UNKNOWN_PORT;
            continue;
        }
        e.mode = p->mode;
        e.native_vlan = p->native_vlan;
        e.allowed = p->trunk_allowed;
        e.active = active_allowed(vdc, *p);
    }
    server::Payload tlv;
    reply_encoded(reply, server::encode_port_trunking_memb_2_reply(out, tlv), tlv);
}

// The port's new compression group (0: none) is stored; the VLANs the change
// concerns are carried for the port's other listeners and not kept. Reply: a
// 4-byte status.
void handle_comprgrp_memb_change(Manager &m, const Request &req, Reply &reply, ChangeSet &changes)
{
    server::ComprgrpChange msg;
    if (server::decode_comprgrp_memb_change(req.payload, req.len, msg) != 0) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    if (!vdc_allowed(req, msg.vdc_id)) {
        reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
        return;
    }
    Vdc &vdc = m.vdc(msg.vdc_id);
    Port *p = vdc.port(msg.if_index);
    if (p == nullptr) {
        reply_status(reply, VLAN_MGR_ERR_UNKNOWN_PORT);
        return;
    }
    if (p->comprgrp != msg.group) {
        p->comprgrp = msg.group;
        changes.mark_port(vdc.id, p->if_index);
    }
    reply_status(reply, 0);
}

} // namespace vlan_mgrd::memb
