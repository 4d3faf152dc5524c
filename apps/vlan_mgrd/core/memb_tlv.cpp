// The TLV-framed membership messages: the port membership and the trunking
// membership queries (one request record, two response records) and the
// compression-group membership change.
//
// The request is decoded with the library's message parser, which refuses
// anything that is not a whole, well-formed buffer of the request's record
// type (answered with the bare status VLAN_MGR_ERR_BAD_REQUEST); the response
// is the library's message builder's buffer, copied into the reply. Record
// fields are in host order (the TLV carries record values as they stand), so
// the interface indexes in them are plain values.
#include <cstdlib>
#include <cstring>
#include <memory>

#include <vlan_mgr/tlv.h>

#include "handlers.h"
#include "memb_common.h"
#include "wire_io.h"

namespace vlan_mgrd::memb {
namespace {

struct FreeDeleter {
    void operator()(void *p) const { std::free(p); }
};
template <typename T>
using Owned = std::unique_ptr<T, FreeDeleter>;

// The port list request of both queries, decoded; nullptr when the buffer is
// not a port membership request.
Owned<vlan_get_port_memb_2_req_t> parse_port_list(const Request &req)
{
    // A length of 0 would make the decoder trust the buffer's own length.
    if (req.payload == nullptr || req.len == 0)
        return nullptr;
    vlan_get_port_memb_2_req_t *rec = nullptr;
    const int32_t rc = vlan_parse_get_port_memb_2_req(req.payload, req.len, &rec);
    Owned<vlan_get_port_memb_2_req_t> owned(rec);
    if (rc != 0)
        return nullptr;
    return owned;
}

// A zeroed record with room for `n` list elements after its fixed part.
template <typename Rec, typename Elem>
Owned<Rec> alloc_with_list(uint32_t n)
{
    const size_t size = sizeof(Rec) + size_t{n} * sizeof(Elem);
    return Owned<Rec>(static_cast<Rec *>(std::calloc(1, size)));
}

// The TLV size of a response of `n` elements, from the sizes of one of 0
// and one of 1 element (every element of these records encodes to the same
// length). Computed in 64 bits so that no count wraps.
template <typename Rec, typename Elem>
uint64_t encoded_size(uint32_t (*tlv_sz)(const void *), int32_t (*init)(void *), int32_t (*elem_init)(void *),
                      uint32_t n)
{
    Owned<Rec> one = alloc_with_list<Rec, Elem>(1);
    if (!one)
        return UINT64_MAX;
    init(one.get());
    elem_init(&one->data[0]);
    one->count = 0;
    const uint64_t base = tlv_sz(one.get());
    one->count = 1;
    const uint64_t with_one = tlv_sz(one.get());
    if (base == 0 || with_one <= base)
        return UINT64_MAX;
    return base + (with_one - base) * n;
}

// Copies a builder's buffer into the reply and releases it; a builder that
// fails leaves the bare status VLAN_MGR_ERR_NO_MEMORY.
void reply_tlv(Reply &reply, int32_t rc, void *tlv, uint32_t tlv_len)
{
    Owned<void> owned(tlv);
    if (rc != 0 || tlv == nullptr) {
        reply_status(reply, VLAN_MGR_ERR_NO_MEMORY);
        return;
    }
    const auto *b = static_cast<const uint8_t *>(tlv);
    reply.assign(b, b + tlv_len);
}

// The request's port list, checked: false when `reply` holds the refusal
// (bad request; a VDC other than the requester's in field 0).
bool start_tlv_query(const Request &req, Reply &reply, Owned<vlan_get_port_memb_2_req_t> &rq)
{
    rq = parse_port_list(req);
    if (!rq) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return false;
    }
    if (!vdc_allowed(req, rq->field0)) {
        reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
        return false;
    }
    return true;
}

} // namespace

// Request field 0 = VDC id (default 1), then the ports. Response: field 4 =
// status 0, the count, per port: field 3 = if-index, 6 = mode, 7 = access
// VLAN, 8 = voice VLAN (0: none), 9 = native VLAN, 10 = the port's status
// (0, or VLAN_MGR_ERR_UNKNOWN_PORT with the other fields at their defaults).
void handle_port_memb_2(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    Owned<vlan_get_port_memb_2_req_t> rq;
    if (!start_tlv_query(req, reply, rq))
        return;
    const uint32_t n = rq->ifindex_count;
    if (encoded_size<vlan_get_port_memb_2_rsp_t, vlan_get_port_memb_2_t>(
            vlan_get_port_memb_2_rsp_get_tlv_sz, vlan_get_port_memb_2_rsp_init, vlan_get_port_memb_2_init, n) >
        kMaxReply) {
        reply_status(reply, VLAN_MGR_ERR_NOT_SUPPORTED);
        return;
    }
    Owned<vlan_get_port_memb_2_rsp_t> rsp = alloc_with_list<vlan_get_port_memb_2_rsp_t, vlan_get_port_memb_2_t>(n);
    if (!rsp) {
        reply_status(reply, VLAN_MGR_ERR_NO_MEMORY);
        return;
    }
    vlan_get_port_memb_2_rsp_init(rsp.get());
    rsp->field4 = 0;
    rsp->count = n;
    const Vdc &vdc = m.vdc(rq->field0);
    for (uint32_t i = 0; i < n; ++i) {
        vlan_get_port_memb_2_t &e = rsp->data[i];
        vlan_get_port_memb_2_init(&e);
        e.field3 = rq->ifindex[i];
        const Port *p = vdc.port(rq->ifindex[i]);
        if (p == nullptr) {
            e.field10 = VLAN_MGR_ERR_UNKNOWN_PORT;
            continue;
        }
        e.field6 = p->mode;
        e.field7 = p->access_vlan;
        e.field8 = p->voice_vlan;
        e.field9 = p->native_vlan;
        e.field10 = 0;
    }
    void *tlv = nullptr;
    uint32_t tlv_len = 0;
    const int32_t rc = vlan_build_get_port_memb_2_rsp(rsp.get(), &tlv, &tlv_len);
    reply_tlv(reply, rc, tlv, tlv_len);
}

// The same request. Response: field 0 = status 0, the count, per port: field
// 3 = if-index, 4 = mode, 5 = native VLAN, 6 = allowed VLANs, 7 = allowed
// VLANs that are active, 8 = the port's status (0, or
// VLAN_MGR_ERR_UNKNOWN_PORT with the other fields at their defaults).
void handle_port_trunking_memb_2(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    Owned<vlan_get_port_memb_2_req_t> rq;
    if (!start_tlv_query(req, reply, rq))
        return;
    const uint32_t n = rq->ifindex_count;
    if (encoded_size<vlan_get_port_trunking_memb_2_rsp_t, vlan_get_port_trunking_memb_2_t>(
            vlan_get_port_trunking_memb_2_rsp_get_tlv_sz, vlan_get_port_trunking_memb_2_rsp_init,
            vlan_get_port_trunking_memb_2_init, n) > kMaxReply) {
        reply_status(reply, VLAN_MGR_ERR_NOT_SUPPORTED);
        return;
    }
    Owned<vlan_get_port_trunking_memb_2_rsp_t> rsp =
        alloc_with_list<vlan_get_port_trunking_memb_2_rsp_t, vlan_get_port_trunking_memb_2_t>(n);
    if (!rsp) {
        reply_status(reply, VLAN_MGR_ERR_NO_MEMORY);
        return;
    }
    vlan_get_port_trunking_memb_2_rsp_init(rsp.get());
    rsp->field0 = 0;
    rsp->count = n;
    const Vdc &vdc = m.vdc(rq->field0);
    std::vector<uint8_t> bits;
    for (uint32_t i = 0; i < n; ++i) {
        vlan_get_port_trunking_memb_2_t &e = rsp->data[i];
        vlan_get_port_trunking_memb_2_init(&e);
        e.field3 = rq->ifindex[i];
        const Port *p = vdc.port(rq->ifindex[i]);
        if (p == nullptr) {
            e.field8 = VLAN_MGR_ERR_UNKNOWN_PORT;
            continue;
        }
        e.field4 = p->mode;
        e.field5 = p->native_vlan;
        // The bitmap fields: length word 512 (set by init), then the bits.
        bits.clear();
        WireWriter(bits).bitmap_bits(p->trunk_allowed);
        std::memcpy(reinterpret_cast<uint8_t *>(&e.vlans6) + 4, bits.data(), 512);
        bits.clear();
        WireWriter(bits).bitmap_bits(active_allowed(vdc, *p));
        std::memcpy(reinterpret_cast<uint8_t *>(&e.vlans7) + 4, bits.data(), 512);
        e.field8 = 0;
    }
    void *tlv = nullptr;
    uint32_t tlv_len = 0;
    const int32_t rc = vlan_build_get_port_trunking_memb_2_rsp(rsp.get(), &tlv, &tlv_len);
    reply_tlv(reply, rc, tlv, tlv_len);
}

// Record: field 38 = if-index of the port, 39 = the VLANs the change concerns
// (carried for the port's other listeners, not kept), 40 = the port's new
// compression group (0: none), 41 = VDC id. Reply: a 4-byte status.
void handle_comprgrp_memb_change(Manager &m, const Request &req, Reply &reply, ChangeSet &changes)
{
    if (req.payload == nullptr || req.len == 0) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    vlan_comprgrp_memb_change_notif_t *raw = nullptr;
    const int32_t rc = vlan_parse_comprgrp_memb_change_msg(req.payload, req.len, &raw);
    Owned<vlan_comprgrp_memb_change_notif_t> msg(raw);
    if (rc != 0 || !msg) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    if (!vdc_allowed(req, msg->field41)) {
        reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
        return;
    }
    Vdc &vdc = m.vdc(msg->field41);
    Port *p = vdc.port(msg->field38);
    if (p == nullptr) {
        reply_status(reply, VLAN_MGR_ERR_UNKNOWN_PORT);
        return;
    }
    if (p->comprgrp != msg->field40) {
        p->comprgrp = msg->field40;
        changes.mark_port(vdc.id, p->if_index);
    }
    reply_status(reply, 0);
}

} // namespace vlan_mgrd::memb
