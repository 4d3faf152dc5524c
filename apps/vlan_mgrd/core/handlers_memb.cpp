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
#include "wire_io.h"

namespace vlan_mgrd {
namespace memb {

bool read_port_list(const Request &req, std::vector<uint32_t> &if_indexes)
{
    WireReader r(req.payload, req.len);
    const uint32_t n = r.u32(0);
    if (!r.ok() || n == 0 || uint64_t{req.len} != 4 + 4 * uint64_t{n})
        return false;
    if_indexes.resize(n);
    for (uint32_t i = 0; i < n; ++i)
        if_indexes[i] = read_if_index(r, 4 + 4 * i);
    return r.ok();
}

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

// Wire sizes of the replies' entries.
constexpr uint64_t kPortVlanEntry = 10;         // if-index, VDC id, VLAN id
constexpr uint64_t kPortMembEntry = 24;         // if-index, two words, two keys
constexpr uint64_t kTrunkingEntry = 1052;       // if-index, key, VDC id, two bitmaps, key
constexpr uint64_t kActiveTrunkingEntry = 524;  // if-index, then a block of 520 bytes

// The common part of the five port queries: the request read, the VDC and
// every port found, the reply known to fit. False when `reply` already holds
// the refusal.
bool start_port_query(Manager &m, const Request &req, Reply &reply, uint64_t entry, Vdc *&vdc,
                      std::vector<Port *> &ports)
{
    std::vector<uint32_t> if_indexes;
    if (!read_port_list(req, if_indexes)) {
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
    if (8 + entry * ports.size() > kMaxReply) {
        reply_status(reply, VLAN_MGR_ERR_NOT_SUPPORTED);
        return false;
    }
    reply.clear();
    reply.reserve(static_cast<size_t>(8 + entry * ports.size()));
    WireWriter w(reply);
    w.u32(0);
    w.u32(static_cast<uint32_t>(ports.size()));
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

// Entry: if-index, VDC id, VLAN id.
void port_active_memb(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    Vdc *vdc = nullptr;
    std::vector<Port *> ports;
    if (!start_port_query(m, req, reply, kPortVlanEntry, vdc, ports))
        return;
    WireWriter w(reply);
    for (const Port *p : ports) {
        write_if_index(w, p->if_index);
        w.u16(vdc->id);
        w.u32(active_access_vlan(*vdc, *p));
    }
}

// Entry: if-index, VDC id, voice VLAN (0: none).
void port_voice_vlan_memb(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    Vdc *vdc = nullptr;
    std::vector<Port *> ports;
    if (!start_port_query(m, req, reply, kPortVlanEntry, vdc, ports))
        return;
    WireWriter w(reply);
    for (const Port *p : ports) {
        write_if_index(w, p->if_index);
        w.u16(vdc->id);
        w.u32(p->voice_vlan);
    }
}

// Entry: if-index, word 1 = mode, word 2 = voice VLAN, VLAN A = access VLAN,
// VLAN B = native VLAN (both with the VDC id).
void port_memb(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    Vdc *vdc = nullptr;
    std::vector<Port *> ports;
    if (!start_port_query(m, req, reply, kPortMembEntry, vdc, ports))
        return;
    WireWriter w(reply);
    for (const Port *p : ports) {
        write_if_index(w, p->if_index);
        w.u32(p->mode);
        w.u32(p->voice_vlan);
        w.u16(vdc->id);
        w.u32(p->access_vlan);
        w.u16(vdc->id);
        w.u32(p->native_vlan);
    }
}

// Entry: if-index, VLAN word 1 = native VLAN, the bitmaps' VDC id, 2 bytes 0,
// bitmap 1 = allowed VLANs, bitmap 2 = allowed VLANs that are active, VLAN
// word 2 = access VLAN. Bitmaps are written whatever the port's mode.
void port_trunking_memb(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    Vdc *vdc = nullptr;
    std::vector<Port *> ports;
    if (!start_port_query(m, req, reply, kTrunkingEntry, vdc, ports))
        return;
    WireWriter w(reply);
    for (const Port *p : ports) {
        write_if_index(w, p->if_index);
        w.u16(vdc->id);
        w.u32(p->native_vlan);
        w.u16(vdc->id);
        w.zeros(2);
        w.bitmap(p->trunk_allowed);
        w.bitmap(active_allowed(*vdc, *p));
        w.u16(vdc->id);
        w.u32(p->access_vlan);
    }
}

// N if-indexes, then N blocks: 2 bytes 0, VDC id, bitmap (length word 512)
// of the VLANs the port trunks that are active; empty for an access port.
void port_active_trunking_memb(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    Vdc *vdc = nullptr;
    std::vector<Port *> ports;
    if (!start_port_query(m, req, reply, kActiveTrunkingEntry, vdc, ports))
        return;
    WireWriter w(reply);
    for (const Port *p : ports)
        write_if_index(w, p->if_index);
    for (const Port *p : ports) {
        w.zeros(2);
        w.u16(vdc->id);
        w.bitmap(p->mode == VLAN_MGR_PORT_MODE_TRUNK ? active_allowed(*vdc, *p) : VlanSet{});
    }
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

// Request: N, then N keys (VDC id, VLAN id), exactly 4 + 6 * N bytes. Reply:
// status, G = N, then per key in order its VDC id, VLAN id, K and the K
// member ports in interface-table order.
void per_vlan_query(Manager &m, const Request &req, Reply &reply, Members kind)
{
    WireReader r(req.payload, req.len);
    const uint32_t n = r.u32(0);
    if (!r.ok() || n == 0 || uint64_t{req.len} != 4 + 6 * uint64_t{n}) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    std::vector<uint32_t> vlans(n);
    for (uint32_t i = 0; i < n; ++i) {
        const uint16_t vdc_id = r.u16(4 + 6 * i);
        vlans[i] = r.u32(4 + 6 * i + 2);
        if (!vdc_allowed(req, vdc_id)) {
            reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
            return;
        }
        if (!Manager::vlan_valid(vlans[i])) {
            reply_status(reply, VLAN_MGR_ERR_INVALID_VLAN);
            return;
        }
    }
    const Vdc &vdc = m.vdc(req.src_vdc);

    // Which ports belong to each VLAN, once per VLAN id, in table order.
    std::vector<std::vector<uint32_t>> members(kVlanMax + 1);
    std::array<bool, kVlanMax + 1> done{};
    uint64_t size = 8;
    for (uint32_t v : vlans) {
        if (!done[v]) {
            done[v] = true;
            for (const Port &p : vdc.ports)
                if (is_member(vdc, p, v, kind))
                    members[v].push_back(p.if_index);
        }
        size += 10 + 4 * uint64_t{members[v].size()};
        if (size > kMaxReply) {
            reply_status(reply, VLAN_MGR_ERR_NOT_SUPPORTED);
            return;
        }
    }

    reply.clear();
    reply.reserve(static_cast<size_t>(size));
    WireWriter w(reply);
    w.u32(0);
    w.u32(n);
    for (uint32_t v : vlans) {
        w.u16(vdc.id);
        w.u32(v);
        w.u32(static_cast<uint32_t>(members[v].size()));
        for (uint32_t if_index : members[v])
            write_if_index(w, if_index);
    }
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

constexpr uint32_t kMembInfoRecord = 532;

// Request: N, then N records of 532 bytes: if-index, first key (VDC id, VLAN
// id), second key, bitmap length, bitmap. Each record asks whether its port
// carries any VLAN of the range first..second (both VLAN ids 0: no range) or
// of the bitmap. Reply: status, the VDC id, K, then the if-indexes of the K
// records whose answer is yes, in request order.
void port_vlan_memb_info(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    WireReader r(req.payload, req.len);
    const uint32_t n = r.u32(0);
    if (!r.ok() || n == 0 || uint64_t{req.len} != 4 + kMembInfoRecord * uint64_t{n}) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    std::vector<uint32_t> if_indexes(n);
    std::vector<VlanSet> asked(n);
    for (uint32_t i = 0; i < n; ++i) {
        const uint32_t at = 4 + kMembInfoRecord * i;
        if_indexes[i] = read_if_index(r, at);
        const uint16_t vdc_1 = r.u16(at + 4), vdc_2 = r.u16(at + 10);
        const uint32_t first = r.u32(at + 6), last = r.u32(at + 12);
        if (!vdc_allowed(req, vdc_1) || !vdc_allowed(req, vdc_2)) {
            reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
            return;
        }
        const bool no_range = first == 0 && last == 0;
        if (!no_range && !(Manager::vlan_valid(first) && Manager::vlan_valid(last) && first <= last)) {
            reply_status(reply, VLAN_MGR_ERR_INVALID_VLAN);
            return;
        }
        // The length word at +16 is the sender's 512 in its own byte order.
        asked[i] = r.bitmap(at + 20);
        asked[i].reset(0);
        asked[i].reset(4095);
        if (!no_range)
            for (uint32_t v = first; v <= last; ++v)
                asked[i].set(v);
    }
    if (!r.ok()) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    Vdc &vdc = m.vdc(req.src_vdc);
    std::vector<Port *> ports;
    if (!find_ports(vdc, if_indexes, ports)) {
        reply_status(reply, VLAN_MGR_ERR_UNKNOWN_PORT);
        return;
    }
    reply.clear();
    WireWriter w(reply);
    w.u32(0);
    w.u16(vdc.id);
    w.u32(0); // K, known at the end
    uint32_t k = 0;
    for (uint32_t i = 0; i < n; ++i)
        if ((vdc.port_vlans(*ports[i], false) & asked[i]).any()) {
            write_if_index(w, ports[i]->if_index);
            ++k;
        }
    w.patch32(6, k);
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
