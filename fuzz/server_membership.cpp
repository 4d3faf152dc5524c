// The manager's decoders of the port membership requests given arbitrary
// payloads: byte 0 picks the decoder, the rest is the payload, in a heap
// buffer of exactly its size. A decoder must refuse or accept without
// reading outside the payload; an accepted request must encode a reply that
// the library's parser reads back.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <vlan_mgr/membership.h>
#include <vlan_mgr/server/membership.h>
#include <vlan_mgr/tlv.h>

#include "server_fuzz.h"

namespace server = vlan_mgr::server;

namespace {

template <typename T>
struct Freed {
    T *p = nullptr;
    ~Freed() { std::free(p); }
};

// The port queries: answered with every port in VLAN 1 of VDC 1.
void port_list(const uint8_t *p, size_t n)
{
    std::vector<uint32_t> ports;
    if (server::decode_port_list_request(p, n, ports) != 0)
        return;
    if (ports.empty())
        std::abort();
    if (ports.size() > 4096)
        ports.resize(4096); // keeps each run short; the layouts do not change with the count
    std::vector<server::PortVlan> entries;
    for (uint32_t x : ports)
        entries.push_back({x, {1, 1}});
    const server::Payload reply = server::encode_port_vlan_reply(entries);
    Freed<void> recs;
    uint32_t count = 0;
    if (vlan_get_port_active_memb_parse_reply(&recs.p, &count, reply.data(), static_cast<uint32_t>(reply.size())) !=
            0 ||
        count != entries.size() || static_cast<const port_vdc_vlan *>(recs.p)[0].if_index != ports[0])
        std::abort();
}

void per_vlan(const uint8_t *p, size_t n)
{
    std::vector<server::VdcVlan> keys;
    if (server::decode_per_vlan_request(p, n, keys) != 0)
        return;
    const uint32_t port = 7;
    std::vector<server::PerVlanGroup> groups;
    for (const server::VdcVlan &k : keys)
        groups.push_back({k, std::span<const uint32_t>(&port, 1)});
    const server::Payload reply = server::encode_per_vlan_reply(groups);
    Freed<vlan_port_memb> recs;
    uint32_t count = 0;
    if (vlan_get_per_vlan_memb_info_parse_reply(&recs.p, &count, reply.data(), static_cast<uint32_t>(reply.size())) !=
            0 ||
        count != keys.size() || recs.p[0].vdc_vlan.vlan_id != keys[0].vlan_id)
        std::abort();
}

void update_access(const uint8_t *p, size_t n)
{
    server::UpdatePortMembRequest req;
    if (server::decode_update_port_memb_request(p, n, req) != 0)
        return;
    if (req.if_indexes.empty())
        std::abort();
    const server::Payload reply = server::encode_update_port_memb_reply(0, req.key);
    vdc_vlan_id_t key{0, 0};
    if (vlan_update_port_memb_parse_reply(&key, reply.data(), static_cast<uint32_t>(reply.size())) != 0 ||
        key.vdc_id != req.key.vdc_id || key.vlan_id != req.key.vlan_id)
        std::abort();
}

void update_trunking(const uint8_t *p, size_t n)
{
    server::UpdatePortTrunkingMembRequest req;
    if (server::decode_update_port_trunking_memb_request(p, n, req) != 0)
        return;
    if (req.records.empty())
        std::abort();
    std::vector<server::PortStatus> st;
    for (const server::TrunkUpdateRecord &r : req.records)
        st.push_back({r.if_index, 0});
    const server::Payload reply = server::encode_update_port_trunking_memb_reply(req.op, req.records[0].key, st);
    Freed<trunking_update_result> res;
    if (vlan_update_port_trunking_memb_parse_reply(&res.p, reply.data()) != 0 || res.p->count != st.size() ||
        res.p->op != req.op)
        std::abort();
}

void memb_info(const uint8_t *p, size_t n)
{
    std::vector<server::PortVlanMembInfo> recs;
    if (server::decode_port_vlan_memb_info_request(p, n, recs) != 0)
        return;
    std::vector<uint32_t> ports;
    for (const server::PortVlanMembInfo &r : recs)
        ports.push_back(r.if_index);
    const server::Payload reply = server::encode_vlan_range_memb_reply(1, ports);
    Freed<uint32_t> ids;
    uint32_t count = 0;
    if (vlan_get_vlan_range_memb_info_parse_reply_local(&ids.p, &count, reply.data(),
                                                        static_cast<uint32_t>(reply.size())) != 0 ||
        count != ports.size() || std::memcmp(ids.p, ports.data(), 4 * ports.size()) != 0)
        std::abort();
}

// Both TLV queries read the same request.
void port_memb_2(const uint8_t *p, size_t n)
{
    server::PortMemb2Request req;
    if (server::decode_port_memb_2_request(p, n, req) != 0)
        return;
    if (req.if_indexes.size() > 256)
        req.if_indexes.resize(256);
    std::vector<server::PortMemb2> a;
    std::vector<server::PortTrunkingMemb2> b;
    for (uint32_t x : req.if_indexes) {
        a.push_back({x, 2, 1, 0, 1, 0});
        server::PortTrunkingMemb2 e;
        e.if_index = x;
        e.allowed.set(1);
        b.push_back(e);
    }
    server::Payload ra, rb;
    if (server::encode_port_memb_2_reply(a, ra) != 0 || server::encode_port_trunking_memb_2_reply(b, rb) != 0)
        std::abort();
    Freed<vlan_get_port_memb_2_rsp_t> pa;
    Freed<vlan_get_port_trunking_memb_2_rsp_t> pb;
    if (vlan_parse_get_port_memb_2_rsp(ra.data(), static_cast<uint32_t>(ra.size()), &pa.p) != 0 ||
        pa.p->count != a.size() ||
        vlan_parse_get_port_trunking_memb_2_rsp(rb.data(), static_cast<uint32_t>(rb.size()), &pb.p) != 0 ||
        pb.p->count != b.size())
        std::abort();
}

void comprgrp(const uint8_t *p, size_t n)
{
    server::ComprgrpChange msg;
    if (server::decode_comprgrp_memb_change(p, n, msg) != 0)
        return;
    // The reply is a bare status.
    if (server::status_payload(0).size() != 4)
        std::abort();
}

using server_fuzz::Decoder;
constexpr Decoder kDecoders[] = {port_list, per_vlan, update_access, update_trunking, memb_info, port_memb_2, comprgrp};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    return server_fuzz::run_one(kDecoders, data, size);
}
