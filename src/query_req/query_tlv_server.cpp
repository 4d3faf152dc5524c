// The manager's side of the TLV-framed VLAN queries: thin decoders over the
// library's parsers of the request records, and encoders that fill the
// response record and hand it to the library's builder.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/rsvd.h>
#include <vlan_mgr/server/query.h>
#include <vlan_mgr/tlv.h>

#include "query_req/layout.h"
#include "tlv/tlv_server.h"

namespace vlan_mgr::server {
namespace {

using Tlv = layout::query::TlvRequest;

using tlv::Owned;

// The request record, or nothing when the buffer is malformed: its length
// word is not the payload's length, or the TLV utility refuses it.
template <typename R>
Owned<R> parse_request(const uint8_t *payload, size_t len, int32_t (*parse)(const void *, uint32_t, R **))
{
    const wire::Reader r(payload, len);
    if (payload == nullptr || len < Tlv::kHeaderMin || Tlv::total.get(r) != len)
        return nullptr;
    return tlv::parse(payload, len, parse);
}

vlan_bitmap to_vlan_bitmap(const VlanBits &set)
{
    vlan_bitmap out;
    out.len = VLAN_MGR_BITMAP_BYTES;
    raw_bits_to_wire(set, out.bits);
    return out;
}

// The name a record carries: at most 32 bytes, the 33rd stays NUL.
void copy_name(char (&dst)[VLAN_MGR_TLV_NAME_SIZE], const std::string &name)
{
    std::memcpy(dst, name.data(), std::min(name.size(), sizeof dst - 1));
}

} // namespace

uint32_t decode_all_created_vlan_2_request(const uint8_t *payload, size_t len, uint16_t &vdc_id)
{
    const auto rq = parse_request(payload, len, vlan_parse_get_all_created_vlan_2_req);
    if (!rq)
        return VLAN_MGR_ERR_BAD_REQUEST;
    vdc_id = rq->field0;
    return 0;
}

Payload encode_all_created_vlan_2_reply(uint32_t vdc_id, std::span<const CreatedVlan> vlans)
{
    auto rsp = tlv::alloc_with_list<vlan_get_all_created_vlan_2_rsp_t, vlan_get_all_created_vlan_2_info_t>(vlans.size());
    if (!rsp)
        return status_payload(VLAN_MGR_ERR_NO_MEMORY);
    rsp->field0 = vdc_id;
    rsp->count = static_cast<uint32_t>(vlans.size());
    for (size_t i = 0; i < vlans.size(); ++i) {
        const CreatedVlan &v = vlans[i];
        vlan_get_all_created_vlan_2_info_t &e = rsp->data[i];
        e.field3 = v.vlan_id;
        e.field4 = v.attrs.type;
        e.field5 = static_cast<uint16_t>(v.attrs.bd_id);
        e.field6 = v.attrs.mode;
        e.field7 = v.attrs.segment;
        e.field8 = v.attrs.primary;
        e.field9 = v.attrs.state;
    }
    return tlv::reply(rsp.get(), vlan_build_get_all_created_vlan_2_rsp);
}

uint32_t decode_diag_vlan_info_request(const uint8_t *payload, size_t len, uint32_t &vdc_id)
{
    const auto rq = parse_request(payload, len, vlan_parse_get_diag_vlan_info_req);
    if (!rq)
        return VLAN_MGR_ERR_BAD_REQUEST;
    vdc_id = rq->field0;
    return 0;
}

Payload encode_diag_vlan_info_reply(uint32_t vdc_id, std::span<const CreatedVlan> vlans)
{
    auto rsp = tlv::alloc_with_list<vlan_get_diag_vlan_info_rsp_t, vlan_id_and_bd_t>(vlans.size());
    if (!rsp)
        return status_payload(VLAN_MGR_ERR_NO_MEMORY);
    rsp->field0 = vdc_id;
    rsp->count = static_cast<uint32_t>(vlans.size());
    for (size_t i = 0; i < vlans.size(); ++i) {
        rsp->data[i].vlan_id = vlans[i].vlan_id;
        rsp->data[i].bd_id = static_cast<uint16_t>(vlans[i].attrs.bd_id);
    }
    return tlv::reply(rsp.get(), vlan_build_get_diag_vlan_info_rsp);
}

uint32_t decode_dyn_rsvd_vlan_info_request(const uint8_t *payload, size_t len, uint32_t &kind)
{
    const auto rq = parse_request(payload, len, vlan_parse_get_dyn_rsvd_vlan_info_req_msg);
    if (!rq)
        return VLAN_MGR_ERR_BAD_REQUEST;
    kind = rq->field32;
    return 0;
}

// Every bitmap of the set starts empty with its length word 512; the
// allocator ORs the groups in.
DynRsvdGroups allocate_rsvd_groups(const VlanBits &candidates, uint32_t mode)
{
    dyn_rsvd_vlan_bitmaps_t set;
    std::memset(&set, 0, sizeof set);
    set.rsvd_candidates = to_vlan_bitmap(candidates);
    set.rsvd_group64 = to_vlan_bitmap(VlanBits());
    set.rsvd_group4_first = to_vlan_bitmap(VlanBits());
    set.rsvd_group4_second = to_vlan_bitmap(VlanBits());
    set.rsvd_single = to_vlan_bitmap(VlanBits());
    set.rsvd_spare = to_vlan_bitmap(VlanBits());
    vlan_mgr_allocate_rsvd_vlans(&set, mode);
    return {bits_from_wire(set.rsvd_candidates.bits), bits_from_wire(set.rsvd_group64.bits),
            bits_from_wire(set.rsvd_group4_first.bits), bits_from_wire(set.rsvd_group4_second.bits),
            bits_from_wire(set.rsvd_single.bits)};
}

Payload encode_dyn_rsvd_vlan_info_reply(const DynRsvdGroups &groups)
{
    vlan_dyn_rsvd_rsp_t rsp;
    rsp.vlans33 = to_vlan_bitmap(groups.candidates);
    rsp.vlans34 = to_vlan_bitmap(groups.group64);
    rsp.vlans35 = to_vlan_bitmap(groups.group4_first);
    rsp.vlans36 = to_vlan_bitmap(groups.group4_second);
    rsp.vlans37 = to_vlan_bitmap(groups.single);
    return tlv::reply(&rsp, vlan_build_get_dyn_rsvd_vlan_info_rsp_msg);
}

uint32_t decode_range_created_vlan_name_request(const uint8_t *payload, size_t len, VlanBits &vlans)
{
    const auto rq = parse_request(payload, len, vlan_parse_get_range_created_vlan_req_msg);
    if (!rq || rq->vlans.len != VLAN_MGR_BITMAP_BYTES)
        return VLAN_MGR_ERR_BAD_REQUEST;
    vlans = bits_from_wire(rq->vlans.bits);
    return 0;
}

Payload encode_range_created_vlan_name_reply(std::span<const CreatedVlan> vlans)
{
    auto rsp = tlv::alloc_with_list<vlan_name_rsp_t, vlan_name_and_state_t>(vlans.size());
    if (!rsp)
        return status_payload(VLAN_MGR_ERR_NO_MEMORY);
    rsp->count = static_cast<uint32_t>(vlans.size());
    for (size_t i = 0; i < vlans.size(); ++i) {
        const CreatedVlan &v = vlans[i];
        vlan_name_and_state_t &e = rsp->data[i];
        e.vlan_id = v.vlan_id;
        e.field6 = v.attrs.type;
        e.bd_id = static_cast<uint16_t>(v.attrs.bd_id);
        e.field23 = v.attrs.state;
        e.field13 = v.attrs.mode;
        e.field22 = v.attrs.primary;
        copy_name(e.name, v.name);
    }
    return tlv::reply(rsp.get(), vlan_build_get_range_created_vlan_rsp_msg);
}

} // namespace vlan_mgr::server
