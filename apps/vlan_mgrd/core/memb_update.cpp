// Port membership updates: the access update (one VLAN for a list of ports)
// and the trunking update (per port a VLAN, a 16-bit value and a VLAN
// bitmap), each with its operation code.
//
// Both read and check the whole request (length, operation, VDC ids) before
// they change anything. A port whose membership changed is marked in the
// change set; an update that leaves a port as it was marks nothing.
#include <vlan_mgr/opcodes.h>

#include "handlers.h"
#include "memb_common.h"

namespace vlan_mgrd::memb {
namespace {

namespace server = vlan_mgr::server;

VlanSet all_vlans()
{
    VlanSet set;
    for (uint32_t v = 1; v <= kVlanMax; ++v)
        set.set(v);
    return set;
}

// A set of VLANs a port is told to carry: ids 0 and 4095 do not exist, and
// VLANs of the reserved range are never carried.
uint32_t check_vlan_set(const Vdc &vdc, const VlanSet &set)
{
    if (set.test(0) || set.test(4095))
        return VLAN_MGR_ERR_INVALID_VLAN;
    if ((set & vdc.reserved).any())
        return VLAN_MGR_ERR_VLAN_RESERVED;
    return 0;
}

uint32_t check_vlan(const Vdc &vdc, uint32_t vlan_id)
{
    if (!Manager::vlan_valid(vlan_id))
        return VLAN_MGR_ERR_INVALID_VLAN;
    if (vdc.reserved.test(vlan_id))
        return VLAN_MGR_ERR_VLAN_RESERVED;
    return 0;
}

// Applies one record to its port; the record's status (0 or a refusal that
// leaves the port as it was).
uint32_t apply_trunk_record(Vdc &vdc, uint32_t op, const server::TrunkUpdateRecord &rec, ChangeSet &changes)
{
    Port *p = vdc.port(rec.if_index);
    if (p == nullptr)
        return VLAN_MGR_ERR_UNKNOWN_PORT;
    const Port before = *p;
    switch (op) {
    case VLAN_MGR_TRUNK_OP_SET_ALLOWED:
    case VLAN_MGR_TRUNK_OP_ADD_ALLOWED:
        if (const uint32_t st = check_vlan_set(vdc, rec.vlans))
            return st;
        p->trunk_allowed = op == VLAN_MGR_TRUNK_OP_SET_ALLOWED ? rec.vlans : p->trunk_allowed | rec.vlans;
        break;
    case VLAN_MGR_TRUNK_OP_REMOVE_ALLOWED:
        p->trunk_allowed &= ~rec.vlans;
        break;
    case VLAN_MGR_TRUNK_OP_ALLOW_ALL:
        p->trunk_allowed = all_vlans();
        break;
    case VLAN_MGR_TRUNK_OP_SET_NATIVE:
        if (const uint32_t st = check_vlan(vdc, rec.key.vlan_id))
            return st;
        p->native_vlan = rec.key.vlan_id;
        break;
    case VLAN_MGR_TRUNK_OP_ALLOW_NONE:
        p->trunk_allowed.reset();
        break;
    case VLAN_MGR_TRUNK_OP_SET_MODE:
        if (rec.value != VLAN_MGR_PORT_MODE_ACCESS && rec.value != VLAN_MGR_PORT_MODE_TRUNK)
            return VLAN_MGR_ERR_INVALID_ARG;
        p->mode = rec.value;
        break;
    default:
        return VLAN_MGR_ERR_TRUNK_UPD_OP; // not reached: the operation was checked first
    }
    if (p->trunk_allowed != before.trunk_allowed || p->native_vlan != before.native_vlan || p->mode != before.mode)
        changes.mark_port(vdc.id, p->if_index);
    return 0;
}

} // namespace

// Refusals of the request as a whole are bare statuses; a refused VLAN is
// answered with its status and the request's key.
void handle_update_port_memb(Manager &m, const Request &req, Reply &reply, ChangeSet &changes)
{
    server::UpdatePortMembRequest in;
    if (server::decode_update_port_memb_request(req.payload, req.len, in) != 0) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    const uint32_t op = in.op;
    if (op != VLAN_MGR_ACCESS_OP_SET_VLAN && op != VLAN_MGR_ACCESS_OP_SET_VOICE && op != VLAN_MGR_ACCESS_OP_REMOVE) {
        reply_status(reply, VLAN_MGR_ERR_ACCESS_UPD_OP);
        return;
    }
    if (!vdc_allowed(req, in.key.vdc_id)) {
        reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
        return;
    }
    Vdc &vdc = m.vdc(in.key.vdc_id);
    const uint32_t vlan_id = in.key.vlan_id;
    const uint32_t vlan_status = op == VLAN_MGR_ACCESS_OP_REMOVE
                                     ? (Manager::vlan_valid(vlan_id) ? 0 : VLAN_MGR_ERR_INVALID_VLAN)
                                     : check_vlan(vdc, vlan_id);
    if (vlan_status != 0) {
        reply = server::encode_update_port_memb_reply(vlan_status, in.key);
        return;
    }
    std::vector<Port *> ports;
    if (!find_ports(vdc, in.if_indexes, ports)) {
        reply_status(reply, VLAN_MGR_ERR_UNKNOWN_PORT);
        return;
    }

    // A VLAN that does not exist yet may be configured: the port joins it
    // when it is created.
    for (Port *p : ports) {
        const uint32_t access_before = p->access_vlan, voice_before = p->voice_vlan;
        switch (op) {
        case VLAN_MGR_ACCESS_OP_SET_VLAN:
            p->access_vlan = vlan_id;
            break;
        case VLAN_MGR_ACCESS_OP_SET_VOICE:
            p->voice_vlan = vlan_id;
            break;
        default: // VLAN_MGR_ACCESS_OP_REMOVE
            if (p->access_vlan == vlan_id)
                p->access_vlan = kDefaultVlan;
            if (p->voice_vlan == vlan_id)
                p->voice_vlan = 0;
            break;
        }
        if (p->access_vlan != access_before || p->voice_vlan != voice_before)
            changes.mark_port(vdc.id, p->if_index);
    }
    reply = server::encode_update_port_memb_reply(0, in.key);
}

// Each record is applied to its own port, in order. Reply: status 0, the
// operation, the VDC id, the VLAN id of the first record, then per record
// its port and that port's status.
void handle_update_port_trunking_memb(Manager &m, const Request &req, Reply &reply, ChangeSet &changes)
{
    server::UpdatePortTrunkingMembRequest in;
    if (server::decode_update_port_trunking_memb_request(req.payload, req.len, in) != 0) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    const uint32_t op = in.op;
    if (op != VLAN_MGR_TRUNK_OP_SET_ALLOWED && op != VLAN_MGR_TRUNK_OP_ADD_ALLOWED &&
        op != VLAN_MGR_TRUNK_OP_REMOVE_ALLOWED && op != VLAN_MGR_TRUNK_OP_ALLOW_ALL &&
        op != VLAN_MGR_TRUNK_OP_SET_NATIVE && op != VLAN_MGR_TRUNK_OP_ALLOW_NONE && op != VLAN_MGR_TRUNK_OP_SET_MODE) {
        reply_status(reply, VLAN_MGR_ERR_TRUNK_UPD_OP);
        return;
    }
    for (const server::TrunkUpdateRecord &rec : in.records)
        if (!vdc_allowed(req, rec.key.vdc_id)) {
            reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
            return;
        }

    Vdc &vdc = m.vdc(req.src_vdc);
    std::vector<server::PortStatus> results(in.records.size());
    for (size_t i = 0; i < in.records.size(); ++i)
        results[i] = {in.records[i].if_index, apply_trunk_record(vdc, op, in.records[i], changes)};
    reply = server::encode_update_port_trunking_memb_reply(op, {vdc.id, in.records[0].key.vlan_id}, results);
}

} // namespace vlan_mgrd::memb
