// The TLV-framed VLAN queries: the created-VLAN listing, the diagnostic VLAN
// info, the dynamic reserved-VLAN info and the names of the created VLANs of
// a set. Each request is decoded with the library's parser of its record and
// answered with the TLV buffer that the library's builder of the response
// record produces; refusals are bare 4-byte status words, as for every other
// request.
#include <cstdlib>
#include <cstring>
#include <memory>

#include <vlan_mgr/rsvd.h>
#include <vlan_mgr/tlv.h>

#include "handlers.h"
#include "query_common.h"
#include "wire_io.h"

namespace vlan_mgrd::query {
namespace {

struct FreeDeleter {
    void operator()(void *p) const { std::free(p); }
};
template <typename R>
using Owned = std::unique_ptr<R, FreeDeleter>;

// A TLV buffer starts with its own total length (big-endian), header
// included, and a header of at least 8 bytes. A request whose length word is
// not exactly the payload's length is refused here, before the TLV utility
// sees it: the utility trusts a buffer whose length it is told is 0.
constexpr uint32_t kTlvHeaderMin = 8;

template <typename R>
Owned<R> parse_request(const Request &req, int32_t (*parse)(const void *, uint32_t, R **))
{
    WireReader r(req.payload, req.len);
    const uint32_t total = r.u32(0);
    if (!r.ok() || req.len < kTlvHeaderMin || total != req.len)
        return nullptr;
    R *rec = nullptr;
    if (parse(req.payload, req.len, &rec) != 0) {
        std::free(rec);
        return nullptr;
    }
    return Owned<R>(rec);
}

// A response record with `n` list elements after its fixed part, zeroed.
template <typename R, typename E>
Owned<R> alloc_response(uint32_t n)
{
    return Owned<R>(static_cast<R *>(std::calloc(1, sizeof(R) + sizeof(E) * n)));
}

// The reply is the response record's TLV buffer; a record that cannot be
// encoded (no memory) is answered with VLAN_MGR_ERR_NO_MEMORY.
template <typename R>
void send_response(Reply &reply, const R *rec, int32_t (*build)(const R *, void **, uint32_t *))
{
    void *tlv = nullptr;
    uint32_t len = 0;
    if (rec == nullptr || build(rec, &tlv, &len) != 0 || tlv == nullptr) {
        std::free(tlv);
        return reply_status(reply, VLAN_MGR_ERR_NO_MEMORY);
    }
    const auto *p = static_cast<const uint8_t *>(tlv);
    reply.assign(p, p + len);
    std::free(tlv);
}

vlan_bitmap to_bitmap(const VlanSet &set)
{
    vlan_bitmap out;
    out.len = VLAN_MGR_BITMAP_BYTES;
    std::memset(out.bits, 0, sizeof out.bits);
    for (uint32_t v = 0; v < 4096; ++v)
        if (set.test(v))
            out.bits[v / 8] |= static_cast<uint8_t>(0x80u >> (v % 8));
    return out;
}

VlanSet from_bitmap(const vlan_bitmap &in)
{
    VlanSet set;
    for (uint32_t v = 0; v < 4096; ++v)
        if (in.bits[v / 8] & (0x80u >> (v % 8)))
            set.set(v);
    return set;
}

// The VDC a TLV query names: 0 is the requester's own.
uint32_t named_vdc(const Request &req, uint32_t vdc_id)
{
    return vdc_id == 0 ? req.src_vdc : vdc_id;
}

} // namespace

// Request field 0: the VDC id (0: the requester's own). Response: field 0 =
// the VDC id, then every created VLAN in id order: field 3 VLAN id, 4 type,
// 5 BD id, 6 mode, 7 segment id, 8 primary VLAN, 9 state.
void all_created_vlan_2(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    const Owned<vlan_get_all_created_vlan_2_req_t> rq = parse_request(req, vlan_parse_get_all_created_vlan_2_req);
    if (!rq)
        return reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
    const uint32_t vdc_id = named_vdc(req, rq->field0);
    if (!vdc_allowed(req, vdc_id))
        return reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
    const Vdc &vdc = m.vdc(vdc_id);
    const VlanSet vlans = created_vlans(vdc);
    const uint32_t n = static_cast<uint32_t>(vlans.count());
    auto rsp = alloc_response<vlan_get_all_created_vlan_2_rsp_t, vlan_get_all_created_vlan_2_info_t>(n);
    if (!rsp)
        return reply_status(reply, VLAN_MGR_ERR_NO_MEMORY);
    rsp->field0 = vdc_id;
    rsp->count = n;
    uint32_t i = 0;
    for (uint32_t v = 1; v <= kVlanMax; ++v) {
        if (!vlans.test(v))
            continue;
        const std::array<uint32_t, 6> a = attr_words(vdc.vlans[v], v);
        vlan_get_all_created_vlan_2_info_t &e = rsp->data[i++];
        e.field3 = v;
        e.field4 = a[kAttrType - 1];
        e.field5 = bd_of(v);
        e.field6 = a[kAttrMode - 1];
        e.field7 = a[kAttrSegment - 1];
        e.field8 = a[kAttrPrimary - 1];
        e.field9 = a[kAttrState - 1];
    }
    send_response(reply, rsp.get(), vlan_build_get_all_created_vlan_2_rsp);
}

// Request field 0: the VDC id (0: the requester's own). Response: field 0 =
// the VDC id, then every created VLAN with its BD id.
void diag_vlan_info(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    const Owned<vlan_get_diag_vlan_info_req_t> rq = parse_request(req, vlan_parse_get_diag_vlan_info_req);
    if (!rq)
        return reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
    const uint32_t vdc_id = named_vdc(req, rq->field0);
    if (!vdc_allowed(req, vdc_id))
        return reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
    const Vdc &vdc = m.vdc(vdc_id);
    const VlanSet vlans = created_vlans(vdc);
    const uint32_t n = static_cast<uint32_t>(vlans.count());
    auto rsp = alloc_response<vlan_get_diag_vlan_info_rsp_t, vlan_id_and_bd_t>(n);
    if (!rsp)
        return reply_status(reply, VLAN_MGR_ERR_NO_MEMORY);
    rsp->field0 = vdc_id;
    rsp->count = n;
    uint32_t i = 0;
    for (uint32_t v = 1; v <= kVlanMax; ++v) {
        if (!vlans.test(v))
            continue;
        rsp->data[i].vlan_id = v;
        rsp->data[i].bd_id = bd_of(v);
        ++i;
    }
    send_response(reply, rsp.get(), vlan_build_get_diag_vlan_info_rsp);
}

namespace {

// The one request kind served: all five bitmaps (the record's default).
constexpr uint32_t kDynRsvdAll = 5;
constexpr uint32_t kRsvdDefaultFirst = 3968;
constexpr uint32_t kRsvdAlwaysKept = 4094;
constexpr size_t kRsvdMinCandidates = 80;
constexpr size_t kRsvdDefaultMaxCandidates = 127;

// The reserved groups of a VDC, handed out as every client of the library
// computes them from the VDC's reserved VLANs: the candidates are the
// reserved VLANs and VLAN 4094; 80..127 candidates from 3968 get the default
// layout, 80 or more from elsewhere are handed out in ascending order, and
// anything else gets no groups.
dyn_rsvd_vlan_bitmaps_t reserved_groups(const Vdc &vdc)
{
    dyn_rsvd_vlan_bitmaps_t set;
    std::memset(&set, 0, sizeof set);
    VlanSet candidates = vdc.reserved;
    candidates.set(kRsvdAlwaysKept);
    set.rsvd_candidates = to_bitmap(candidates);
    set.rsvd_group64 = to_bitmap(VlanSet());
    set.rsvd_group4_first = to_bitmap(VlanSet());
    set.rsvd_group4_second = to_bitmap(VlanSet());
    set.rsvd_single = to_bitmap(VlanSet());
    set.rsvd_spare = to_bitmap(VlanSet());
    uint32_t first = 0;
    while (!candidates.test(first))
        ++first;
    const size_t count = candidates.count();
    if (count >= kRsvdMinCandidates && count <= kRsvdDefaultMaxCandidates && first == kRsvdDefaultFirst)
        vlan_mgr_allocate_rsvd_vlans(&set, VLAN_MGR_RSVD_ALLOC_DEFAULT);
    else if (count >= kRsvdMinCandidates && first != kRsvdDefaultFirst)
        vlan_mgr_allocate_rsvd_vlans(&set, VLAN_MGR_RSVD_ALLOC_DYNAMIC);
    return set;
}

} // namespace

// Request field 32: 5 (all five bitmaps; anything else is
// VLAN_MGR_ERR_NOT_SUPPORTED). The requester's own VDC. Response: field 33 =
// the candidates (reserved VLANs and 4094), 34 = the group of 64, 35 and 36 =
// the two groups of 4, 37 = the single VLAN.
void dyn_rsvd_vlan_info(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    const Owned<vlan_dyn_rsvd_req_t> rq = parse_request(req, vlan_parse_get_dyn_rsvd_vlan_info_req_msg);
    if (!rq)
        return reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
    if (!vdc_allowed(req, req.src_vdc))
        return reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
    if (rq->field32 != kDynRsvdAll)
        return reply_status(reply, VLAN_MGR_ERR_NOT_SUPPORTED);
    const dyn_rsvd_vlan_bitmaps_t set = reserved_groups(m.vdc(req.src_vdc));
    vlan_dyn_rsvd_rsp_t rsp;
    rsp.vlans33 = set.rsvd_candidates;
    rsp.vlans34 = set.rsvd_group64;
    rsp.vlans35 = set.rsvd_group4_first;
    rsp.vlans36 = set.rsvd_group4_second;
    rsp.vlans37 = set.rsvd_single;
    send_response(reply, &rsp, vlan_build_get_dyn_rsvd_vlan_info_rsp_msg);
}

// Request field 21: the VLANs asked about (length word 512, else the request
// is malformed), in the requester's own VDC. Response: the created ones among
// them in id order: field 5 VLAN id, 6 type, 9 BD id, 23 state, 13 mode, 22
// primary VLAN, 8 name (the default name when the VLAN has none).
void range_created_vlan_name(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    const Owned<vlan_name_req_t> rq = parse_request(req, vlan_parse_get_range_created_vlan_req_msg);
    if (!rq || rq->vlans.len != VLAN_MGR_BITMAP_BYTES)
        return reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
    if (!vdc_allowed(req, req.src_vdc))
        return reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
    const Vdc &vdc = m.vdc(req.src_vdc);
    const VlanSet vlans = from_bitmap(rq->vlans) & created_vlans(vdc);
    const uint32_t n = static_cast<uint32_t>(vlans.count());
    auto rsp = alloc_response<vlan_name_rsp_t, vlan_name_and_state_t>(n);
    if (!rsp)
        return reply_status(reply, VLAN_MGR_ERR_NO_MEMORY);
    rsp->count = n;
    uint32_t i = 0;
    for (uint32_t v = 1; v <= kVlanMax; ++v) {
        if (!vlans.test(v))
            continue;
        const Vlan &vl = vdc.vlans[v];
        const std::array<uint32_t, 6> a = attr_words(vl, v);
        vlan_name_and_state_t &e = rsp->data[i++];
        e.vlan_id = v;
        e.field6 = a[kAttrType - 1];
        e.bd_id = bd_of(v);
        e.field23 = a[kAttrState - 1];
        e.field13 = a[kAttrMode - 1];
        e.field22 = a[kAttrPrimary - 1];
        const std::string name = reply_name(vl, v);
        std::memcpy(e.name, name.data(), name.size()); // at most 32 bytes: the 33rd stays NUL
    }
    send_response(reply, rsp.get(), vlan_build_get_range_created_vlan_rsp_msg);
}

} // namespace vlan_mgrd::query
