// Port membership updates: the access update (one VLAN for a list of ports)
// and the trunking update (per port a VLAN, a 16-bit value and a VLAN
// bitmap), each with its operation code.
//
// Both read and check the whole request (length, operation, VDC ids) before
// they change anything. A port whose membership changed is marked in the
// change set; an update that leaves a port as it was marks nothing.
#include "handlers.h"
#include "memb_common.h"
#include "wire_io.h"

namespace vlan_mgrd::memb {
namespace {

// Access update operations.
constexpr uint32_t kAccessSetVlan = 1;   // the ports' access VLAN becomes the VLAN
constexpr uint32_t kAccessSetVoice = 9;  // the ports' voice VLAN becomes the VLAN
constexpr uint32_t kAccessRemove = 13;   // the ports leave the VLAN (access VLAN back to 1, voice VLAN none)

// Trunking update operations.
constexpr uint32_t kTrunkSetAllowed = 2;    // allowed VLANs := the record's bitmap
constexpr uint32_t kTrunkAddAllowed = 3;    // allowed VLANs += the bitmap
constexpr uint32_t kTrunkRemoveAllowed = 4; // allowed VLANs -= the bitmap
constexpr uint32_t kTrunkAllowAll = 5;      // allowed VLANs := 1..4094
constexpr uint32_t kTrunkSetNative = 9;     // native VLAN := the record's VLAN id
constexpr uint32_t kTrunkAllowNone = 11;    // allowed VLANs := none
constexpr uint32_t kTrunkSetMode = 12;      // mode := the record's 16-bit value (1 access, 2 trunk)

constexpr uint32_t kTrunkRecord = 528;

void reply_access(Reply &reply, uint32_t status, uint16_t vdc_id, uint32_t vlan_id)
{
    reply.clear();
    WireWriter w(reply);
    w.u32(status);
    w.u16(vdc_id);
    w.u32(vlan_id);
}

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

// One record of a trunking update, as read from the request.
struct TrunkRecord {
    uint32_t vlan_id;
    uint16_t value;
    VlanSet bitmap;
    uint32_t if_index;
};

// Applies one record to its port; the record's status (0 or a refusal that
// leaves the port as it was).
uint32_t apply_trunk_record(Vdc &vdc, uint32_t op, const TrunkRecord &rec, ChangeSet &changes)
{
    Port *p = vdc.port(rec.if_index);
    if (p == nullptr)
        return VLAN_MGR_ERR_UNKNOWN_PORT;
    const Port before = *p;
    switch (op) {
    case kTrunkSetAllowed:
    case kTrunkAddAllowed:
        if (const uint32_t st = check_vlan_set(vdc, rec.bitmap))
            return st;
        p->trunk_allowed = op == kTrunkSetAllowed ? rec.bitmap : p->trunk_allowed | rec.bitmap;
        break;
    case kTrunkRemoveAllowed:
        p->trunk_allowed &= ~rec.bitmap;
        break;
    case kTrunkAllowAll:
        p->trunk_allowed = all_vlans();
        break;
    case kTrunkSetNative:
        if (const uint32_t st = check_vlan(vdc, rec.vlan_id))
            return st;
        p->native_vlan = rec.vlan_id;
        break;
    case kTrunkAllowNone:
        p->trunk_allowed.reset();
        break;
    case kTrunkSetMode:
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

// Request: operation, VDC id, VLAN id, N, N if-indexes (14 + 4 * N bytes).
// Reply: status, VDC id, VLAN id (10 bytes); the refusals that concern the
// request as a whole are bare statuses.
void handle_update_port_memb(Manager &m, const Request &req, Reply &reply, ChangeSet &changes)
{
    WireReader r(req.payload, req.len);
    const uint32_t op = r.u32(0);
    const uint16_t vdc_id = r.u16(4);
    const uint32_t vlan_id = r.u32(6);
    const uint32_t n = r.u32(10);
    if (!r.ok() || n == 0 || uint64_t{req.len} != 14 + 4 * uint64_t{n}) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    if (op != kAccessSetVlan && op != kAccessSetVoice && op != kAccessRemove) {
        reply_status(reply, VLAN_MGR_ERR_ACCESS_UPD_OP);
        return;
    }
    if (!vdc_allowed(req, vdc_id)) {
        reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
        return;
    }
    Vdc &vdc = m.vdc(vdc_id);
    const uint32_t vlan_status =
        op == kAccessRemove ? (Manager::vlan_valid(vlan_id) ? 0 : VLAN_MGR_ERR_INVALID_VLAN) : check_vlan(vdc, vlan_id);
    if (vlan_status != 0) {
        reply_access(reply, vlan_status, vdc_id, vlan_id);
        return;
    }
    std::vector<uint32_t> if_indexes(n);
    for (uint32_t i = 0; i < n; ++i)
        if_indexes[i] = read_if_index(r, 14 + 4 * i);
    std::vector<Port *> ports;
    if (!r.ok() || !find_ports(vdc, if_indexes, ports)) {
        reply_status(reply, r.ok() ? VLAN_MGR_ERR_UNKNOWN_PORT : VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }

    // A VLAN that does not exist yet may be configured: the port joins it
    // when it is created.
    for (Port *p : ports) {
        const uint32_t access_before = p->access_vlan, voice_before = p->voice_vlan;
        switch (op) {
        case kAccessSetVlan:
            p->access_vlan = vlan_id;
            break;
        case kAccessSetVoice:
            p->voice_vlan = vlan_id;
            break;
        default: // kAccessRemove
            if (p->access_vlan == vlan_id)
                p->access_vlan = kDefaultVlan;
            if (p->voice_vlan == vlan_id)
                p->voice_vlan = 0;
            break;
        }
        if (p->access_vlan != access_before || p->voice_vlan != voice_before)
            changes.mark_port(vdc.id, p->if_index);
    }
    reply_access(reply, 0, vdc_id, vlan_id);
}

// Request: operation, N, N records of 528 bytes (VDC id, VLAN id, 16-bit
// value, bitmap length, bitmap, if-index). Reply: status 0, the operation,
// the VDC id, the VLAN id of the first record, M = N, then per record the
// pair (if-index, status of that port).
void handle_update_port_trunking_memb(Manager &m, const Request &req, Reply &reply, ChangeSet &changes)
{
    WireReader r(req.payload, req.len);
    const uint32_t op = r.u32(0);
    const uint32_t n = r.u32(4);
    if (!r.ok() || n == 0 || uint64_t{req.len} != 8 + kTrunkRecord * uint64_t{n}) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    if (op != kTrunkSetAllowed && op != kTrunkAddAllowed && op != kTrunkRemoveAllowed && op != kTrunkAllowAll &&
        op != kTrunkSetNative && op != kTrunkAllowNone && op != kTrunkSetMode) {
        reply_status(reply, VLAN_MGR_ERR_TRUNK_UPD_OP);
        return;
    }
    std::vector<TrunkRecord> recs(n);
    for (uint32_t i = 0; i < n; ++i) {
        const uint32_t at = 8 + kTrunkRecord * i;
        if (!vdc_allowed(req, r.u16(at))) {
            reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
            return;
        }
        recs[i].vlan_id = r.u32(at + 2);
        recs[i].value = r.u16(at + 6);
        // The length word at +8 is the sender's 512 in its own byte order; the
        // bitmap is always 512 bytes.
        recs[i].bitmap = r.bitmap(at + 12);
        recs[i].if_index = read_if_index(r, at + 524);
    }
    if (!r.ok()) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }

    Vdc &vdc = m.vdc(req.src_vdc);
    reply.clear();
    reply.reserve(18 + 8 * size_t{n});
    WireWriter w(reply);
    w.u32(0);
    w.u32(op);
    w.u16(vdc.id);
    w.u32(recs[0].vlan_id);
    w.u32(n);
    for (const TrunkRecord &rec : recs) {
        const uint32_t st = apply_trunk_record(vdc, op, rec, changes);
        write_if_index(w, rec.if_index);
        w.u32(st);
    }
}

} // namespace vlan_mgrd::memb
