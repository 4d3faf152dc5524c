// Port membership requests: the five port queries (which VLANs each of a
// list of ports belongs to), the three per-VLAN queries (which ports belong
// to each of a list of VLANs), and the table of the whole family. The
// updates are in memb_update.cpp, the TLV-framed messages in memb_tlv.cpp.
//
// Every query acts on the requester's own VDC. A request the manager cannot
// read is answered with the bare status VLAN_MGR_ERR_BAD_REQUEST, a port the
// VDC does not have with the bare status VLAN_MGR_ERR_UNKNOWN_PORT (these
// replies carry no per-port status), and a reply that would not fit in one
// transport message with VLAN_MGR_ERR_NOT_SUPPORTED.
#include <array>

#include "handlers.h"
#include "memb_common.h"

namespace vlan_mgrd {
namespace memb {

bool find_ports(Vdc &vdc, const std::vector<uint32_t> &if_indexes, std::vector<Port *> &ports)
{
    ports.resize(if_indexes.size());
    for (size_t i = 0; i < if_indexes.size(); ++i) {
        // Requests often name the same port again: try the previous answer first.
        if (i > 0 && if_indexes[i] == if_indexes[i - 1]) {
            ports[i] = ports[i - 1];
            continue;
        }
        ports[i] = vdc.port(if_indexes[i]);
        if (ports[i] == nullptr)
            return false;
    }
    return true;
}

VlanSet active_allowed(const Vdc &vdc, const Port &p)
{
    VlanSet set = p.trunk_allowed;
    for (uint32_t v = 1; v <= kVlanMax; ++v)
        if (set.test(v) && (!vdc.vlans[v].created || vdc.vlans[v].state != VlanState::Active))
            set.reset(v);
    return set;
}

} // namespace memb

namespace {

using namespace memb;
namespace server = vlan_mgr::server;

// The common part of the five port queries: the request decoded, the VDC and
// every port found, the reply known to fit. False when `reply` already holds
// the refusal.
bool start_port_query(Manager &m, const Request &req, Reply &reply, server::PortReply kind, Vdc *&vdc,
                      std::vector<Port *> &ports)
{
    std::vector<uint32_t> if_indexes;
    if (server::decode_port_list_request(req.payload, req.len, if_indexes) != 0) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return false;
    }
    if (!own_vdc(req)) {
        reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
        return false;
    }
    vdc = &m.vdc(req.src_vdc);
    if (!find_ports(*vdc, if_indexes, ports)) {
        reply_status(reply, VLAN_MGR_ERR_UNKNOWN_PORT);
        return false;
    }
    if (server::port_reply_size(kind, ports.size()) > kMaxReply) {
        reply_status(reply, VLAN_MGR_ERR_NOT_SUPPORTED);
        return false;
    }
    return true;
}

// The access VLAN of an access port when that VLAN exists and is active;
// 0 for a trunk port or an access VLAN that carries no traffic.
uint32_t active_access_vlan(const Vdc &vdc, const Port &p)
{
    if (p.mode != VLAN_MGR_PORT_MODE_ACCESS)
        return 0;
    const uint32_t v = p.access_vlan;
    if (!Manager::vlan_valid(v) || !vdc.vlans[v].created || vdc.vlans[v].state != VlanState::Active)
        return 0;
    return v;
}

// Per port: the VDC id and its active access VLAN.
void port_active_memb(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    Vdc *vdc = nullptr;
    std::vector<Port *> ports;
    if (!start_port_query(m, req, reply, server::PortReply::active, vdc, ports))
        return;
    std::vector<server::PortVlan> out;
    out.reserve(ports.size());
    for (const Port *p : ports)
        out.push_back({p->if_index, {vdc->id, active_access_vlan(*vdc, *p)}});
    reply = server::encode_port_vlan_reply(out);
}

// Per port: the VDC id and its voice VLAN (0: none).
void port_voice_vlan_memb(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    Vdc *vdc = nullptr;
    std::vector<Port *> ports;
    if (!start_port_query(m, req, reply, server::PortReply::voice, vdc, ports))
        return;
    std::vector<server::PortVlan> out;
    out.reserve(ports.size());
    for (const Port *p : ports)
        out.push_back({p->if_index, {vdc->id, p->voice_vlan}});
    reply = server::encode_port_vlan_reply(out);
}

// Per port: mode, voice VLAN, access VLAN and native VLAN (both with the VDC
// id).
void port_memb(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    Vdc *vdc = nullptr;
    std::vector<Port *> ports;
    if (!start_port_query(m, req, reply, server::PortReply::memb, vdc, ports))
        return;
    std::vector<server::PortMemb> out;
    out.reserve(ports.size());
    for (const Port *p : ports)
        out.push_back({p->if_index, p->mode, p->voice_vlan, {vdc->id, p->access_vlan}, {vdc->id, p->native_vlan}});
    reply = server::encode_port_memb_reply(out);
}

// Per port: the native VLAN, the allowed VLANs, those of them that are
// active, the access VLAN. The sets are given whatever the port's mode.
void port_trunking_memb(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    Vdc *vdc = nullptr;
    std::vector<Port *> ports;
    if (!start_port_query(m, req, reply, server::PortReply::trunking, vdc, ports))
        return;
    std::vector<server::PortTrunking> out(ports.size());
    for (size_t i = 0; i < ports.size(); ++i) {
        const Port &p = *ports[i];
        out[i] = {p.if_index, {vdc->id, p.native_vlan}, vdc->id, p.trunk_allowed, active_allowed(*vdc, p),
                  {vdc->id, p.access_vlan}};
    }
    reply = server::encode_port_trunking_reply(out);
}

// Per port: the VDC id and the VLANs the port trunks that are active; none
// for an access port.
void port_active_trunking_memb(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    Vdc *vdc = nullptr;
    std::vector<Port *> ports;
    if (!start_port_query(m, req, reply, server::PortReply::active_trunking, vdc, ports))
        return;
    std::vector<server::PortActiveTrunking> out(ports.size());
    for (size_t i = 0; i < ports.size(); ++i) {
        const Port &p = *ports[i];
        out[i] = {p.if_index, vdc->id, p.mode == VLAN_MGR_PORT_MODE_TRUNK ? active_allowed(*vdc, p) : VlanSet{}};
    }
    reply = server::encode_port_active_trunking_reply(out);
}

// ---- Per-VLAN queries ---------------------------------------------------------

enum class Members { trunking, access, all };

// Whether `p` is a member of VLAN `v` for the query kind: a trunk port whose
// allowed set holds v; an access port whose access or voice VLAN is v; either.
bool is_member(const Vdc &vdc, const Port &p, uint32_t v, Members kind)
{
    const bool trunk = p.mode == VLAN_MGR_PORT_MODE_TRUNK;
    if ((kind == Members::trunking && !trunk) || (kind == Members::access && trunk))
        return false;
    return vdc.port_vlans(p, false).test(v);
}

// Per key, in request order: the key with the VDC's id and the member ports
// in interface-table order. Every key is checked (its VDC, then its VLAN id)
// before anything is looked up.
void per_vlan_query(Manager &m, const Request &req, Reply &reply, Members kind)
{
    std::vector<server::VdcVlan> keys;
    if (server::decode_per_vlan_request(req.payload, req.len, keys) != 0) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    for (const server::VdcVlan &k : keys) {
        if (!vdc_allowed(req, k.vdc_id)) {
            reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
            return;
        }
        if (!Manager::vlan_valid(k.vlan_id)) {
            reply_status(reply, VLAN_MGR_ERR_INVALID_VLAN);
            return;
        }
    }
    const Vdc &vdc = m.vdc(req.src_vdc);

    // Which ports belong to each VLAN, once per VLAN id, in table order.
    std::vector<std::vector<uint32_t>> members(kVlanMax + 1);
    std::array<bool, kVlanMax + 1> done{};
    std::vector<server::PerVlanGroup> groups(keys.size());
    for (size_t i = 0; i < keys.size(); ++i) {
        const uint32_t v = keys[i].vlan_id;
        if (!done[v]) {
            done[v] = true;
            for (const Port &p : vdc.ports)
                if (is_member(vdc, p, v, kind))
                    members[v].push_back(p.if_index);
        }
        groups[i] = {{vdc.id, v}, members[v]};
    }
    if (server::per_vlan_reply_size(groups) > kMaxReply) {
        reply_status(reply, VLAN_MGR_ERR_NOT_SUPPORTED);
        return;
    }
    reply = server::encode_per_vlan_reply(groups);
}

void per_vlan_trunking_memb(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    per_vlan_query(m, req, reply, Members::trunking);
}

void per_vlan_access_memb(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    per_vlan_query(m, req, reply, Members::access);
}

void per_vlan_memb(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    per_vlan_query(m, req, reply, Members::all);
}

// ---- Port VLAN membership info -----------------------------------------------

// Each record asks whether its port carries any VLAN of the range
// first..last (both VLAN ids 0: no range) or of the bitmap (ids 0 and 4095
// ignored). Reply: the VDC id and the ports of the records answered yes, in
// request order.
void port_vlan_memb_info(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    std::vector<server::PortVlanMembInfo> recs;
    if (server::decode_port_vlan_memb_info_request(req.payload, req.len, recs) != 0) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    std::vector<uint32_t> if_indexes(recs.size());
    std::vector<VlanSet> asked(recs.size());
    for (size_t i = 0; i < recs.size(); ++i) {
        const server::PortVlanMembInfo &rec = recs[i];
        if_indexes[i] = rec.if_index;
        if (!vdc_allowed(req, rec.first.vdc_id) || !vdc_allowed(req, rec.last.vdc_id)) {
            reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
            return;
        }
        const uint32_t first = rec.first.vlan_id, last = rec.last.vlan_id;
        const bool no_range = first == 0 && last == 0;
        if (!no_range && !(Manager::vlan_valid(first) && Manager::vlan_valid(last) && first <= last)) {
            reply_status(reply, VLAN_MGR_ERR_INVALID_VLAN);
            return;
        }
        asked[i] = rec.vlans;
        asked[i].reset(0);
        asked[i].reset(4095);
        if (!no_range)
            for (uint32_t v = first; v <= last; ++v)
                asked[i].set(v);
    }
    Vdc &vdc = m.vdc(req.src_vdc);
    std::vector<Port *> ports;
    if (!find_ports(vdc, if_indexes, ports)) {
        reply_status(reply, VLAN_MGR_ERR_UNKNOWN_PORT);
        return;
    }
    std::vector<uint32_t> yes;
    for (size_t i = 0; i < recs.size(); ++i)
        if ((vdc.port_vlans(*ports[i], false) & asked[i]).any())
            yes.push_back(ports[i]->if_index);
    reply = server::encode_vlan_range_memb_reply(vdc.id, yes);
}

const HandlerEntry kMembershipHandlers[] = {
    {VLAN_MGR_OPC_PORT_ACTIVE_MEMB, "port active membership", port_active_memb},
    {VLAN_MGR_OPC_PORT_VOICE_VLAN_MEMB, "port voice VLAN", port_voice_vlan_memb},
    {VLAN_MGR_OPC_PORT_MEMB, "port membership", port_memb},
    {VLAN_MGR_OPC_PORT_TRUNKING_MEMB, "port trunking membership", port_trunking_memb},
    {VLAN_MGR_OPC_PORT_ACTIVE_TRUNKING_MEMB, "port active trunking membership", port_active_trunking_memb},
    {VLAN_MGR_OPC_PER_VLAN_TRUNKING_MEMB, "per-VLAN trunking membership", per_vlan_trunking_memb},
    {VLAN_MGR_OPC_PER_VLAN_ACCESS_MEMB, "per-VLAN access membership", per_vlan_access_memb},
    {VLAN_MGR_OPC_PER_VLAN_MEMB, "per-VLAN membership", per_vlan_memb},
    {VLAN_MGR_OPC_UPDATE_PORT_MEMB, "update access membership", handle_update_port_memb},
    {VLAN_MGR_OPC_UPDATE_PORT_TRUNKING_MEMB, "update trunking membership", handle_update_port_trunking_memb},
    {VLAN_MGR_OPC_PORT_VLAN_MEMB_INFO, "port VLAN membership info", port_vlan_memb_info},
    {VLAN_MGR_OPC_PORT_MEMB_2, "port membership (TLV)", handle_port_memb_2},
    {VLAN_MGR_OPC_PORT_TRUNKING_MEMB_2, "port trunking membership (TLV)", handle_port_trunking_memb_2},
    {VLAN_MGR_OPC_COMPRGRP_MEMB_CHANGE, "compression-group change (TLV)", handle_comprgrp_memb_change},
};

} // namespace

std::span<const HandlerEntry> membership_handlers()
{
    return kMembershipHandlers;
}

} // namespace vlan_mgrd
