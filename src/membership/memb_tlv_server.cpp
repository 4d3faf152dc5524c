// The manager's side of the TLV membership messages: the port membership
// request (one record, answered by two response records) and the
// compression-group change are read by the library's TLV parsers, the
// responses written by its TLV builders. Record fields are host-order values,
// so interface indexes in them are plain values.
#include <cstdlib>
#include <cstring>
#include <memory>

#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/server/membership.h>
#include <vlan_mgr/tlv.h>

#include "tlv/tlv_server.h"

namespace vlan_mgr::server {
namespace {

using tlv::alloc_with_list;
using tlv::Owned;

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
    // Never true: every record has a header and every element adds bytes.
    if (base == 0 || with_one <= base) // LCOV_EXCL_BR_LINE: the TLV utility's sizes always grow
        return UINT64_MAX;             // LCOV_EXCL_LINE: see above
    return base + (with_one - base) * n;
}

// A bitmap field of a record (records are packed, so the field is addressed
// as bytes): the length word stays as init set it, the bits are the set's
// VLANs 1..4094.
void put_record_bits(vlan_bitmap &field, const VlanBits &set)
{
    bits_to_wire(set, reinterpret_cast<uint8_t *>(&field) + 4);
}

} // namespace

uint32_t decode_port_memb_2_request(const uint8_t *payload, size_t len, PortMemb2Request &out)
{
    const Owned<vlan_get_port_memb_2_req_t> owned = tlv::parse(payload, len, vlan_parse_get_port_memb_2_req);
    if (!owned)
        return VLAN_MGR_ERR_BAD_REQUEST;
    out.vdc_id = owned->field0;
    out.if_indexes.assign(owned->ifindex, owned->ifindex + owned->ifindex_count);
    return 0;
}

uint64_t port_memb_2_reply_size(uint32_t ports)
{
    return encoded_size<vlan_get_port_memb_2_rsp_t, vlan_get_port_memb_2_t>(
        vlan_get_port_memb_2_rsp_get_tlv_sz, vlan_get_port_memb_2_rsp_init, vlan_get_port_memb_2_init, ports);
}

uint32_t encode_port_memb_2_reply(std::span<const PortMemb2> entries, Payload &out)
{
    const auto n = static_cast<uint32_t>(entries.size());
    Owned<vlan_get_port_memb_2_rsp_t> rsp = alloc_with_list<vlan_get_port_memb_2_rsp_t, vlan_get_port_memb_2_t>(n);
    if (!rsp)
        return VLAN_MGR_ERR_NO_MEMORY;
    vlan_get_port_memb_2_rsp_init(rsp.get());
    rsp->field4 = 0;
    rsp->count = n;
    for (uint32_t i = 0; i < n; ++i) {
        vlan_get_port_memb_2_t &e = rsp->data[i];
        vlan_get_port_memb_2_init(&e);
        e.field3 = entries[i].if_index;
        e.field6 = entries[i].mode;
        e.field7 = entries[i].access_vlan;
        e.field8 = entries[i].voice_vlan;
        e.field9 = entries[i].native_vlan;
        e.field10 = entries[i].status;
    }
    return tlv::build(rsp.get(), vlan_build_get_port_memb_2_rsp, out);
}

uint64_t port_trunking_memb_2_reply_size(uint32_t ports)
{
    return encoded_size<vlan_get_port_trunking_memb_2_rsp_t, vlan_get_port_trunking_memb_2_t>(
        vlan_get_port_trunking_memb_2_rsp_get_tlv_sz, vlan_get_port_trunking_memb_2_rsp_init,
        vlan_get_port_trunking_memb_2_init, ports);
}

uint32_t encode_port_trunking_memb_2_reply(std::span<const PortTrunkingMemb2> entries, Payload &out)
{
    const auto n = static_cast<uint32_t>(entries.size());
    Owned<vlan_get_port_trunking_memb_2_rsp_t> rsp =
        alloc_with_list<vlan_get_port_trunking_memb_2_rsp_t, vlan_get_port_trunking_memb_2_t>(n);
    if (!rsp)
        return VLAN_MGR_ERR_NO_MEMORY;
    vlan_get_port_trunking_memb_2_rsp_init(rsp.get());
    rsp->field0 = 0;
    rsp->count = n;
    for (uint32_t i = 0; i < n; ++i) {
        vlan_get_port_trunking_memb_2_t &e = rsp->data[i];
        vlan_get_port_trunking_memb_2_init(&e);
        e.field3 = entries[i].if_index;
        e.field4 = entries[i].mode;
        e.field5 = entries[i].native_vlan;
        put_record_bits(e.vlans6, entries[i].allowed);
        put_record_bits(e.vlans7, entries[i].active);
        e.field8 = entries[i].status;
    }
    return tlv::build(rsp.get(), vlan_build_get_port_trunking_memb_2_rsp, out);
}

uint32_t decode_comprgrp_memb_change(const uint8_t *payload, size_t len, ComprgrpChange &out)
{
    const Owned<vlan_comprgrp_memb_change_notif_t> msg = tlv::parse(payload, len, vlan_parse_comprgrp_memb_change_msg);
    if (!msg)
        return VLAN_MGR_ERR_BAD_REQUEST;
    out.if_index = msg->field38;
    out.vlans = bits_from_wire(reinterpret_cast<const uint8_t *>(&msg->vlans) + 4);
    out.group = msg->field40;
    out.vdc_id = msg->field41;
    return 0;
}

} // namespace vlan_mgr::server
