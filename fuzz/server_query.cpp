// The manager's decoders of the VLAN queries given arbitrary payloads: byte 0
// picks the decoder, the rest is the payload, in a heap buffer of exactly its
// size. A decoder must refuse or accept without reading outside the payload;
// an accepted request must encode a reply that the library's parser reads
// back.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include <vlan_mgr/bd_id.h>
#include <vlan_mgr/query_req.h>
#include <vlan_mgr/server/query.h>
#include <vlan_mgr/tlv.h>

#include "server_fuzz.h"

namespace server = vlan_mgr::server;

namespace {

struct FreeDeleter {
    void operator()(void *p) const { std::free(p); }
};

void check(bool ok)
{
    if (!ok)
        std::abort();
}

// The VLANs of a set, 1..4094, as a listing gives them.
std::vector<server::CreatedVlan> listing(const server::VlanBits &set)
{
    std::vector<server::CreatedVlan> out;
    for (uint32_t v : server::ids_of(set))
        if (v >= 1 && v <= 4094)
            out.push_back({v, {0, 0, v, 0, 0, 1}, "VLAN"});
    return out;
}

void vlan_info(const uint8_t *p, size_t n)
{
    server::VlanInfoRequest req;
    if (server::decode_vlan_info_request(p, n, req) != 0)
        return;
    const server::Payload reply = server::encode_vlan_info_reply(req.vdc_id, {1, 2, req.vlan_id, 4, 5, 6}, "name");
    vlan_info_record rec;
    check(vlan_get_vlan_info_parse_reply(&rec, reply.data(), static_cast<uint32_t>(reply.size())) == 0 &&
          rec.vdc_id == req.vdc_id && rec.attr[2] == req.vlan_id);
}

void created(const uint16_t vdc_id, const server::VlanBits &set)
{
    const std::vector<server::CreatedVlan> vlans = listing(set);
    const server::Payload reply = server::encode_created_reply(vdc_id, vlans);
    created_vlan_record *recs = nullptr;
    uint32_t count = 0;
    const uint32_t st = vlan_get_all_created_vlan_parse_reply(&recs, &count, reply.data(),
                                                              static_cast<uint32_t>(reply.size()));
    std::unique_ptr<created_vlan_record, FreeDeleter> own(recs);
    check(vlans.empty() ? st == VLAN_MGR_ERR_NO_VLANS : st == 0 && count == vlans.size());
}

void all_created(const uint8_t *p, size_t n)
{
    uint16_t vdc = 0;
    if (server::decode_all_created_request(p, n, vdc) == 0)
        created(vdc, server::VlanBits().set(1));
}

void range_created(const uint8_t *p, size_t n)
{
    server::RangeCreatedRequest req;
    if (server::decode_range_created_request(p, n, req) == 0)
        created(req.vdc_id, req.vlans);
}

void vlans_for_attr(const uint8_t *p, size_t n)
{
    server::VlansForAttrRequest req;
    if (server::decode_vlans_for_attr_request(p, n, req) != 0)
        return;
    const server::VlanAttrValue entries[] = {{1, 1}, {req.vdc_id, 7}};
    const server::Payload reply = server::encode_vlans_for_attr_reply(0, req.attr, entries);
    uint32_t attr = 0, count = 0;
    vlan_attr_entry *recs = nullptr;
    const uint32_t st = vlan_get_vlans_for_attr_value_parse_reply(&attr, &count, &recs, reply.data(),
                                                                  static_cast<uint32_t>(reply.size()));
    std::unique_ptr<vlan_attr_entry, FreeDeleter> own(recs);
    check(st == 0 && attr == req.attr && count == 2);
}

void reserve_info(const uint8_t *p, size_t n)
{
    server::ReserveVlanInfoRequest req;
    if (server::decode_reserve_vlan_info_request(p, n, req) != 0)
        return;
    server::ReserveVlanInfo info;
    info.vdc_id = req.vdc_id;
    info.start = req.query;
    const server::Payload reply = server::encode_reserve_vlan_info_reply(info);
    reserve_vlan_info *recs = nullptr;
    uint32_t count = 0, status = 1;
    const uint32_t st = vlan_get_reserve_vlan_info_parse_reply(&recs, &count, &status, reply.data(),
                                                               static_cast<uint32_t>(reply.size()));
    std::unique_ptr<reserve_vlan_info, FreeDeleter> own(recs);
    check(st == 0 && count == 1 && status == 0 && recs[0].vdc_id == req.vdc_id && recs[0].word1 == req.query);
}

template <typename R>
std::unique_ptr<R, FreeDeleter> parse_tlv(int32_t (*parse)(const void *, uint32_t, R **),
                                          const server::Payload &reply)
{
    R *rec = nullptr;
    const int32_t rc = parse(reply.data(), static_cast<uint32_t>(reply.size()), &rec);
    std::unique_ptr<R, FreeDeleter> own(rec);
    check(rc == 0 && rec != nullptr);
    return own;
}

void all_created_vlan_2(const uint8_t *p, size_t n)
{
    uint16_t vdc = 0;
    if (server::decode_all_created_vlan_2_request(p, n, vdc) != 0)
        return;
    const auto vlans = listing(server::VlanBits().set(1).set(4094));
    const auto rsp = parse_tlv(vlan_parse_get_all_created_vlan_2_rsp,
                               server::encode_all_created_vlan_2_reply(vdc, vlans));
    check(rsp->field0 == vdc && rsp->count == 2);
}

void diag_vlan_info(const uint8_t *p, size_t n)
{
    uint32_t vdc = 0;
    if (server::decode_diag_vlan_info_request(p, n, vdc) != 0)
        return;
    const auto vlans = listing(server::VlanBits().set(10));
    const auto rsp = parse_tlv(vlan_parse_get_diag_vlan_info_rsp, server::encode_diag_vlan_info_reply(vdc, vlans));
    check(rsp->field0 == vdc && rsp->count == 1 && rsp->data[0].vlan_id == 10);
}

void dyn_rsvd_vlan_info(const uint8_t *p, size_t n)
{
    uint32_t kind = 0;
    if (server::decode_dyn_rsvd_vlan_info_request(p, n, kind) != 0)
        return;
    server::DynRsvdGroups groups;
    groups.candidates.set(kind % 4096);
    const auto rsp = parse_tlv(vlan_parse_get_dyn_rsvd_vlan_info_rsp_msg,
                               server::encode_dyn_rsvd_vlan_info_reply(groups));
    check(server::bits_from_wire(rsp->vlans33.bits) == groups.candidates);
}

void range_created_vlan_name(const uint8_t *p, size_t n)
{
    server::VlanBits asked;
    if (server::decode_range_created_vlan_name_request(p, n, asked) != 0)
        return;
    const auto vlans = listing(asked);
    const auto rsp = parse_tlv(vlan_parse_get_range_created_vlan_rsp_msg,
                               server::encode_range_created_vlan_name_reply(vlans));
    check(rsp->count == vlans.size());
}

void vni_mapping(const uint8_t *p, size_t n)
{
    server::VniMappingRequest req;
    if (server::decode_vni_mapping_request(p, n, req) != 0)
        return;
    const server::Payload reply = server::encode_vni_mapping_reply(1, req.vni, req.value);
    uint32_t out1 = 0, out2 = 0, out3 = 0;
    check(vlan_mgr_parse_vni_vlan_mapping_reply(&out1, &out2, &out3, reply.data(),
                                                static_cast<uint32_t>(reply.size())) == 0 &&
          out1 == req.vni && out2 == req.value && out3 == 1);
}

using server_fuzz::Decoder;
constexpr Decoder kDecoders[] = {
    vlan_info,          all_created,    range_created,      vlans_for_attr,          reserve_info,
    all_created_vlan_2, diag_vlan_info, dyn_rsvd_vlan_info, range_created_vlan_name, vni_mapping,
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    return server_fuzz::run_one(kDecoders, data, size);
}
