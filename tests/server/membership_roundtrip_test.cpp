// Port membership requests: builder -> manager's decoder, and manager's
// encoder -> parser, give back what went in; the decoders' refusals; the
// encoders' bytes.
#include <algorithm>
#include <cstring>

#include <vlan_mgr/membership.h>
#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/server/membership.h>
#include <vlan_mgr/tlv.h>

#include "roundtrip.h"
#include "test_platform.h"

namespace server = vlan_mgr::server;
using roundtrip::Gen;
using roundtrip::Owned;
using server::Payload;
using server::VlanBits;

namespace {

// The largest port list of a case: 65,536 ports.
constexpr size_t kMaxPorts = 65536;

// Values copied out of packed records (no reference binds to them).
template <typename T>
T val(T v)
{
    return v;
}

std::vector<uint32_t> if_indexes(Gen &g, size_t n)
{
    std::vector<uint32_t> out(n);
    for (uint32_t &x : out)
        x = g.u32();
    return out;
}

// A few VLAN sets of 1..4094 (the first one every VLAN), for lists too long
// to draw a set per entry.
std::vector<VlanBits> set_pool(Gen &g)
{
    std::vector<VlanBits> pool;
    pool.push_back(g.bits_of(g.vlans(4094)));
    pool.push_back(VlanBits{});
    for (int i = 0; i < 6; ++i)
        pool.push_back(g.bits_of(g.vlans(g.in(1, 4094))));
    return pool;
}

// A list size for messages whose entries carry bitmaps (about 1 KB each):
// 65,536 first, then small lists, so that the cases stay quick under the
// sanitizers.
size_t bitmap_list_size(Gen &g, int i)
{
    if (i == 0)
        return kMaxPorts;
    return i == 1 ? 1 : g.in(1, 64);
}

// Every bit, 0 and 4095 included.
VlanBits any_bits(Gen &g)
{
    VlanBits b = g.bits_of(g.vlans(g.in(0, 4094)));
    b.set(0, g.coin());
    b.set(4095, g.coin());
    return b;
}

VlanBits bits_of(const vlan_bitmap &bm) { return server::bits_from_wire(bm.bits); }

uint32_t len_word(const vlan_bitmap &bm) { return val(bm.len); }

vlan_bitmap to_bitmap(const VlanBits &set)
{
    vlan_bitmap bm;
    bm.len = 512;
    server::raw_bits_to_wire(set, bm.bits);
    return bm;
}

Payload be32(uint32_t v) { return {uint8_t(v >> 24), uint8_t(v >> 16), uint8_t(v >> 8), uint8_t(v)}; }

Payload cat(std::initializer_list<Payload> parts)
{
    Payload out;
    for (const Payload &p : parts)
        out.insert(out.end(), p.begin(), p.end());
    return out;
}

// On the test platform hton_if_index swaps the bytes: an index goes out
// big-endian.
const Payload kIfxWire = {0x1A, 0x2B, 0x3C, 0x4D};
constexpr uint32_t kIfx = 0x1A2B3C4Du;

// ---- Port queries --------------------------------------------------------------

using PortBuilder = uint32_t (*)(const uint32_t *, uint32_t, void **, uint32_t *);
constexpr PortBuilder kPortBuilders[] = {
    vlan_get_port_active_memb_build_mts, vlan_get_port_voice_vlan_memb_build_mts, vlan_get_port_memb_build_mts,
    vlan_get_port_trunking_memb_build_mts, vlan_get_port_active_trunking_memb_build_mts};

TEST(MembershipRoundTrip, PortListRequestOfEveryPortQuery)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const std::vector<uint32_t> ports = if_indexes(g, g.size_for(i, kMaxPorts));
        const PortBuilder build = kPortBuilders[i % 5];
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(build(ports.data(), static_cast<uint32_t>(ports.size()), &p, &len), 0u);
        Owned<> own(p);
        std::vector<uint32_t> got;
        ASSERT_EQ(server::decode_port_list_request(static_cast<const uint8_t *>(p), len, got), 0u) << "case " << i;
        ASSERT_EQ(got, ports) << "case " << i;
    }
}

TEST(MembershipRoundTrip, PortVlanReplyOfActiveAndVoiceQueries)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        std::vector<server::PortVlan> in(g.size_for(i, kMaxPorts));
        for (auto &e : in)
            e = {g.u32(), {g.vdc(), g.coin() ? 0 : g.vlan()}};
        const Payload reply = server::encode_port_vlan_reply(in);
        const auto len = static_cast<uint32_t>(reply.size());

        void *recs = nullptr;
        uint32_t n = 0;
        ASSERT_EQ(vlan_get_port_active_memb_parse_reply(&recs, &n, reply.data(), len), 0u);
        Owned<> own1(recs);
        ASSERT_EQ(n, in.size());
        const auto *full = static_cast<const port_vdc_vlan *>(recs);
        for (size_t k = 0; k < in.size(); ++k)
            ASSERT_EQ((server::PortVlan{val(full[k].if_index), {val(full[k].vdc_vlan.vdc_id),
                                                                 val(full[k].vdc_vlan.vlan_id)}}),
                      in[k])
                << "entry " << k;

        ASSERT_EQ(vlan_get_port_voice_vlan_memb_parse_reply(&recs, &n, reply.data(), len), 0u);
        Owned<> own2(recs);
        ASSERT_EQ(n, in.size());
        EXPECT_EQ(std::memcmp(recs, own1.get(), sizeof(port_vdc_vlan) * n), 0);

        ASSERT_EQ(vlan_get_port_active_memb_parse_reply_local(&recs, &n, reply.data(), len), 0u);
        Owned<> own3(recs);
        ASSERT_EQ(n, in.size());
        const auto *local = static_cast<const port_vlan_local *>(recs);
        for (size_t k = 0; k < in.size(); ++k) {
            ASSERT_EQ(val(local[k].if_index), in[k].if_index);
            ASSERT_EQ(val(local[k].vlan_id), in[k].vlan.vlan_id);
        }
    }
}

TEST(MembershipRoundTrip, PortMembReply)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        std::vector<server::PortMemb> in(g.size_for(i, kMaxPorts));
        for (auto &e : in)
            e = {g.u32(), g.in(1, 2), g.coin() ? 0 : g.vlan(), {g.vdc(), g.vlan()}, {g.vdc(), g.vlan()}};
        const Payload reply = server::encode_port_memb_reply(in);
        const auto len = static_cast<uint32_t>(reply.size());
        void *recs = nullptr;
        uint32_t n = 0;
        ASSERT_EQ(vlan_get_port_memb_parse_reply(&recs, &n, reply.data(), len), 0u);
        Owned<> own(recs);
        ASSERT_EQ(n, in.size());
        const auto *r = static_cast<const port_memb *>(recs);
        for (size_t k = 0; k < in.size(); ++k)
            ASSERT_EQ((server::PortMemb{val(r[k].if_index), val(r[k].word_1), val(r[k].word_2),
                                        {val(r[k].vlan_a.vdc_id), val(r[k].vlan_a.vlan_id)},
                                        {val(r[k].vlan_b.vdc_id), val(r[k].vlan_b.vlan_id)}}),
                      in[k])
                << "entry " << k;

        ASSERT_EQ(vlan_get_port_memb_parse_reply_local(&recs, &n, reply.data(), len), 0u);
        Owned<> own2(recs);
        const auto *l = static_cast<const port_memb_local *>(recs);
        for (size_t k = 0; k < in.size(); ++k) {
            ASSERT_EQ(val(l[k].if_index), in[k].if_index);
            ASSERT_EQ(val(l[k].word_1), in[k].mode);
            ASSERT_EQ(val(l[k].word_2), in[k].voice_vlan);
            ASSERT_EQ(val(l[k].vlan_a), in[k].access.vlan_id);
            ASSERT_EQ(val(l[k].vlan_b), in[k].native.vlan_id);
        }
    }
}

TEST(MembershipRoundTrip, PortTrunkingReply)
{
    ROUNDTRIP_TRACE();
    Gen g;
    const std::vector<VlanBits> pool = set_pool(g);
    for (int i = 0; i < roundtrip::kCases / 4; ++i) {
        std::vector<server::PortTrunking> in(bitmap_list_size(g, i));
        for (auto &e : in)
            e = {g.u32(), {g.vdc(), g.vlan()}, g.vdc(), pool[g.in(0, 7)], pool[g.in(0, 7)], {g.vdc(), g.vlan()}};
        const Payload reply = server::encode_port_trunking_reply(in);
        const auto len = static_cast<uint32_t>(reply.size());
        void *recs = nullptr;
        uint32_t n = 0;
        ASSERT_EQ(vlan_get_port_trunking_memb_parse_reply(&recs, &n, reply.data(), len), 0u);
        Owned<> own(recs);
        ASSERT_EQ(n, in.size());
        const auto *r = static_cast<const port_trunking_memb *>(recs);
        for (size_t k = 0; k < in.size(); ++k) {
            ASSERT_EQ((server::PortTrunking{val(r[k].if_index), {val(r[k].vdc_id_1), val(r[k].vlan_word_1)},
                                            val(r[k].bitmap_vdc_id), bits_of(r[k].bitmap_1), bits_of(r[k].bitmap_2),
                                            {val(r[k].vdc_id_2), val(r[k].vlan_word_2)}}),
                      in[k])
                << "entry " << k;
            ASSERT_EQ(len_word(r[k].bitmap_1), 512u);
        }

        ASSERT_EQ(vlan_get_port_trunking_memb_parse_reply_local(&recs, &n, reply.data(), len), 0u);
        Owned<> own2(recs);
        const auto *l = static_cast<const port_trunking_memb_local *>(recs);
        for (size_t k = 0; k < in.size(); ++k) {
            ASSERT_EQ(val(l[k].if_index), in[k].if_index);
            ASSERT_EQ(val(l[k].vlan_word_1), in[k].native.vlan_id);
            ASSERT_EQ(bits_of(l[k].bitmap_1), in[k].allowed);
            ASSERT_EQ(bits_of(l[k].bitmap_2), in[k].active);
            ASSERT_EQ(val(l[k].vlan_word_2), in[k].access.vlan_id);
        }
    }
}

TEST(MembershipRoundTrip, PortActiveTrunkingReply)
{
    ROUNDTRIP_TRACE();
    Gen g;
    const std::vector<VlanBits> pool = set_pool(g);
    for (int i = 0; i < roundtrip::kCases / 4; ++i) {
        std::vector<server::PortActiveTrunking> in(bitmap_list_size(g, i));
        for (auto &e : in)
            e = {g.u32(), g.vdc(), pool[g.in(0, 7)]};
        const Payload reply = server::encode_port_active_trunking_reply(in);
        const auto len = static_cast<uint32_t>(reply.size());
        uint32_t *ids = nullptr;
        void *bms = nullptr;
        uint32_t n = 0;
        ASSERT_EQ(vlan_get_port_active_trunking_memb_parse_reply(&ids, &n, &bms, reply.data(), len), 0u);
        Owned<uint32_t> own_ids(ids);
        Owned<> own_bms(bms);
        ASSERT_EQ(n, in.size());
        const auto *r = static_cast<const port_active_trunking *>(bms);
        for (size_t k = 0; k < in.size(); ++k)
            ASSERT_EQ((server::PortActiveTrunking{ids[k], val(r[k].vdc_id), bits_of(r[k].bitmap)}), in[k])
                << "entry " << k;

        ASSERT_EQ(vlan_get_port_active_trunking_memb_parse_reply_local(&ids, &n, &bms, reply.data(), len), 0u);
        Owned<uint32_t> own_ids2(ids);
        Owned<> own_bms2(bms);
        const auto *l = static_cast<const port_active_trunking_local *>(bms);
        for (size_t k = 0; k < in.size(); ++k) {
            ASSERT_EQ(ids[k], in[k].if_index);
            ASSERT_EQ(bits_of(l[k]), in[k].active);
        }
    }
}

// ---- Per-VLAN queries ----------------------------------------------------------

TEST(MembershipRoundTrip, PerVlanRequestOfEveryKind)
{
    ROUNDTRIP_TRACE();
    Gen g;
    using KeysBuilder = uint32_t (*)(const vdc_vlan_id_t *, uint32_t, void **, uint32_t *);
    using LocalBuilder = uint32_t (*)(const int32_t *, uint32_t, void **, uint32_t *);
    constexpr KeysBuilder kKeys[] = {vlan_get_per_vlan_trunking_memb_info_build_mts,
                                     vlan_get_per_vlan_access_memb_info_build_mts,
                                     vlan_get_per_vlan_memb_info_build_mts};
    constexpr LocalBuilder kLocal[] = {vlan_get_per_vlan_trunking_memb_info_build_mts_local,
                                       vlan_get_per_vlan_access_memb_info_build_mts_local,
                                       vlan_get_per_vlan_memb_info_build_mts_local};
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const uint16_t vdc = 1; // the builders take the caller's own VDC
        const size_t n = g.size_for(i, kMaxPorts);
        std::vector<server::VdcVlan> want(n);
        std::vector<vdc_vlan_id_t> keys(n);
        std::vector<int32_t> ids(n);
        for (size_t k = 0; k < n; ++k) {
            want[k] = {vdc, g.vlan()};
            keys[k].vdc_id = vdc;
            keys[k].vlan_id = want[k].vlan_id;
            ids[k] = static_cast<int32_t>(want[k].vlan_id);
        }
        void *p = nullptr;
        uint32_t len = 0;
        const bool local = g.coin();
        ASSERT_EQ(local ? kLocal[i % 3](ids.data(), static_cast<uint32_t>(n), &p, &len)
                        : kKeys[i % 3](keys.data(), static_cast<uint32_t>(n), &p, &len),
                  0u);
        Owned<> own(p);
        std::vector<server::VdcVlan> got;
        ASSERT_EQ(server::decode_per_vlan_request(static_cast<const uint8_t *>(p), len, got), 0u) << "case " << i;
        ASSERT_EQ(got, want) << "case " << i;
    }
}

TEST(MembershipRoundTrip, PerVlanReplyOfEveryKind)
{
    ROUNDTRIP_TRACE();
    Gen g;
    using Full = uint32_t (*)(vlan_port_memb **, uint32_t *, const void *, uint32_t);
    using Local = uint32_t (*)(vlan_port_memb_local **, uint32_t *, const void *, uint32_t);
    constexpr Full kFull[] = {vlan_get_per_vlan_trunking_memb_info_parse_reply,
                              vlan_get_per_vlan_access_memb_info_parse_reply, vlan_get_per_vlan_memb_info_parse_reply};
    constexpr Local kLocal[] = {vlan_get_per_vlan_trunking_memb_info_parse_reply_local,
                                vlan_get_per_vlan_access_memb_info_parse_reply_local,
                                vlan_get_per_vlan_memb_info_parse_reply_local};
    for (int i = 0; i < roundtrip::kCases; ++i) {
        // Case 0: one VLAN carried by 65,536 ports; then 4094 groups; then
        // random groups, some of them empty.
        const std::vector<uint32_t> all_ports = if_indexes(g, i == 0 ? kMaxPorts : g.in(1, 64));
        const size_t groups = i == 0 ? 1 : i == 1 ? 4094 : g.in(1, 40);
        const std::vector<uint32_t> vlans = g.vlans(groups);
        std::vector<server::PerVlanGroup> in(groups);
        for (size_t k = 0; k < groups; ++k) {
            const size_t from = g.in(0, static_cast<uint32_t>(all_ports.size()));
            const size_t cnt = g.in(0, static_cast<uint32_t>(all_ports.size() - from));
            const std::span<const uint32_t> all(all_ports);
            in[k] = {{g.vdc(), vlans[k]}, i == 0 ? all : all.subspan(from, cnt)};
        }
        if (i != 0)
            in[0].ports = std::span<const uint32_t>(all_ports).first(1); // at least one member: else NO_ENTRIES
        const Payload reply = server::encode_per_vlan_reply(in);
        ASSERT_EQ(reply.size(), server::per_vlan_reply_size(in));
        const auto len = static_cast<uint32_t>(reply.size());

        vlan_port_memb *full = nullptr;
        uint32_t n = 0;
        ASSERT_EQ(kFull[i % 3](&full, &n, reply.data(), len), 0u);
        Owned<vlan_port_memb> own1(full);
        vlan_port_memb_local *local = nullptr;
        uint32_t nl = 0;
        ASSERT_EQ(kLocal[i % 3](&local, &nl, reply.data(), len), 0u);
        Owned<vlan_port_memb_local> own2(local);
        size_t at = 0;
        for (const server::PerVlanGroup &grp : in)
            for (uint32_t port : grp.ports) {
                ASSERT_LT(at, n);
                ASSERT_EQ(val(full[at].vdc_vlan.vdc_id), grp.key.vdc_id);
                ASSERT_EQ(val(full[at].vdc_vlan.vlan_id), grp.key.vlan_id);
                ASSERT_EQ(val(full[at].if_index), port);
                ASSERT_EQ(val(local[at].vlan_id), grp.key.vlan_id);
                ASSERT_EQ(val(local[at].if_index), port);
                ++at;
            }
        ASSERT_EQ(at, n);
        ASSERT_EQ(nl, n);
    }
}

// ---- Access membership update --------------------------------------------------

TEST(MembershipRoundTrip, UpdatePortMembRequestOfEveryOperation)
{
    ROUNDTRIP_TRACE();
    Gen g;
    constexpr uint32_t kOps[] = {VLAN_MGR_ACCESS_OP_SET_VLAN, VLAN_MGR_ACCESS_OP_SET_VOICE, VLAN_MGR_ACCESS_OP_REMOVE};
    for (int i = 0; i < roundtrip::kCases; ++i) {
        server::UpdatePortMembRequest want;
        want.op = kOps[i % 3];
        want.key = {g.u16(), g.coin() ? g.vlan() : g.u32()}; // carried as given
        want.if_indexes = if_indexes(g, g.size_for(i, kMaxPorts));
        void *p = nullptr;
        uint32_t len = 0;
        vdc_vlan_id_t key;
        key.vdc_id = want.key.vdc_id;
        key.vlan_id = want.key.vlan_id;
        ASSERT_EQ(vlan_update_port_memb_build_mts(want.if_indexes.data(), static_cast<uint32_t>(want.if_indexes.size()),
                                                  key, 0, want.op, &p, &len),
                  0u);
        Owned<> own(p);
        server::UpdatePortMembRequest got;
        ASSERT_EQ(server::decode_update_port_memb_request(static_cast<const uint8_t *>(p), len, got), 0u);
        ASSERT_EQ(got, want) << "case " << i;
    }
}

TEST(MembershipRoundTrip, UpdatePortMembReply)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const uint32_t status = g.status();
        const server::VdcVlan key{g.vdc(), g.u32()};
        const Payload reply = server::encode_update_port_memb_reply(status, key);
        vdc_vlan_id_t got{0, 0};
        ASSERT_EQ(vlan_update_port_memb_parse_reply(&got, reply.data(), static_cast<uint32_t>(reply.size())), status);
        EXPECT_EQ(val(got.vdc_id), key.vdc_id);
        EXPECT_EQ(val(got.vlan_id), key.vlan_id);
        uint32_t vlan = 0;
        ASSERT_EQ(vlan_update_port_memb_parse_reply_local(&vlan, reply.data(), static_cast<uint32_t>(reply.size())),
                  status);
        EXPECT_EQ(vlan, key.vlan_id);
    }
}

// ---- Trunking membership update ------------------------------------------------

TEST(MembershipRoundTrip, UpdatePortTrunkingMembRequestOfEveryOperation)
{
    ROUNDTRIP_TRACE();
    Gen g;
    constexpr int32_t kOps[] = {VLAN_MGR_TRUNK_OP_SET_ALLOWED, VLAN_MGR_TRUNK_OP_ADD_ALLOWED,
                                VLAN_MGR_TRUNK_OP_REMOVE_ALLOWED, VLAN_MGR_TRUNK_OP_ALLOW_ALL,
                                VLAN_MGR_TRUNK_OP_SET_NATIVE, VLAN_MGR_TRUNK_OP_ALLOW_NONE,
                                VLAN_MGR_TRUNK_OP_SET_MODE};
    std::vector<VlanBits> pool = set_pool(g);
    pool.push_back(any_bits(g));
    pool.back().set(0);
    pool.back().set(4095);
    for (int i = 0; i < roundtrip::kCases / 2; ++i) {
        const size_t n = bitmap_list_size(g, i);
        const std::vector<uint32_t> ports = if_indexes(g, n);
        std::vector<trunking_update_input> recs(n);
        std::vector<server::TrunkUpdateRecord> want(n);
        for (size_t k = 0; k < n; ++k) {
            want[k] = {{g.u16(), g.u32()}, g.u16(), i < 2 ? pool.back() : pool[g.in(0, 8)], ports[k]};
            recs[k].vdc_vlan.vdc_id = want[k].key.vdc_id;
            recs[k].vdc_vlan.vlan_id = want[k].key.vlan_id;
            recs[k].id = want[k].value;
            recs[k].bitmap = to_bitmap(want[k].vlans);
        }
        const int32_t op = kOps[i % 7];
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_update_port_trunking_memb_build_mts(ports.data(), static_cast<uint32_t>(n), recs.data(), op, &p,
                                                           &len),
                  0u);
        Owned<> own(p);
        server::UpdatePortTrunkingMembRequest got;
        ASSERT_EQ(server::decode_update_port_trunking_memb_request(static_cast<const uint8_t *>(p), len, got), 0u);
        EXPECT_EQ(got.op, static_cast<uint32_t>(op));
        ASSERT_EQ(got.records.size(), n);
        for (size_t k = 0; k < n; ++k)
            ASSERT_EQ(got.records[k], want[k]) << "case " << i << " record " << k;
    }
}

// The pair's first word is the interface index through hton_if_index; the
// library reads it big-endian, which on a platform whose wire order is
// big-endian is the index itself.
TEST(MembershipRoundTrip, UpdatePortTrunkingMembReply)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const uint32_t op = g.u32();
        const server::VdcVlan key{g.vdc(), g.u32()};
        std::vector<server::PortStatus> ports(g.size_for(i, kMaxPorts));
        for (auto &s : ports)
            s = {g.u32(), g.status()};
        const Payload reply = server::encode_update_port_trunking_memb_reply(op, key, ports);
        ASSERT_EQ(reply.size(), 18 + 8 * ports.size());
        trunking_update_result *full = nullptr;
        ASSERT_EQ(vlan_update_port_trunking_memb_parse_reply(&full, reply.data()), 0u);
        Owned<trunking_update_result> own1(full);
        EXPECT_EQ(val(full->op), op);
        EXPECT_EQ(val(full->vdc_id), key.vdc_id);
        EXPECT_EQ(val(full->vlan_id), key.vlan_id);
        ASSERT_EQ(val(full->count), ports.size());
        for (size_t k = 0; k < ports.size(); ++k)
            ASSERT_EQ((server::PortStatus{val(full->pairs[k].word_1), val(full->pairs[k].word_2)}), ports[k]);
        trunking_update_result_local *local = nullptr;
        ASSERT_EQ(vlan_update_port_trunking_memb_parse_reply_local(&local, reply.data()), 0u);
        Owned<trunking_update_result_local> own2(local);
        EXPECT_EQ(val(local->op), op);
        EXPECT_EQ(val(local->vlan_id), key.vlan_id);
        ASSERT_EQ(val(local->count), ports.size());
        ASSERT_EQ(std::memcmp(local->pairs, full->pairs, 8 * ports.size()), 0);
    }
}

// ---- Port VLAN membership info -------------------------------------------------

TEST(MembershipRoundTrip, PortVlanMembInfoRequest)
{
    ROUNDTRIP_TRACE();
    Gen g;
    std::vector<VlanBits> pool = set_pool(g);
    pool.push_back(any_bits(g));
    for (int i = 0; i < roundtrip::kCases / 2; ++i) {
        const size_t n = bitmap_list_size(g, i);
        std::vector<port_vlan_memb_info> recs(n);
        std::vector<server::PortVlanMembInfo> want(n);
        for (size_t k = 0; k < n; ++k) {
            want[k] = {g.u32(), {g.u16(), g.u32()}, {g.u16(), g.u32()}, pool[g.in(0, 8)]};
            recs[k].if_index = want[k].if_index;
            recs[k].vlan_1.vdc_id = want[k].first.vdc_id;
            recs[k].vlan_1.vlan_id = want[k].first.vlan_id;
            recs[k].vlan_2.vdc_id = want[k].last.vdc_id;
            recs[k].vlan_2.vlan_id = want[k].last.vlan_id;
            recs[k].bitmap = to_bitmap(want[k].vlans);
        }
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_build_port_vlan_memb_info_mts(recs.data(), static_cast<uint32_t>(n), &p, &len), 0u);
        Owned<> own(p);
        std::vector<server::PortVlanMembInfo> got;
        ASSERT_EQ(server::decode_port_vlan_memb_info_request(static_cast<const uint8_t *>(p), len, got), 0u);
        ASSERT_EQ(got.size(), n);
        for (size_t k = 0; k < n; ++k)
            ASSERT_EQ(got[k], want[k]) << "case " << i << " record " << k;
    }
}

TEST(MembershipRoundTrip, VlanRangeMembReply)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const std::vector<uint32_t> ports = if_indexes(g, g.size_for(i, kMaxPorts));
        const Payload reply = server::encode_vlan_range_memb_reply(g.vdc(), ports);
        uint32_t *ids = nullptr;
        uint32_t n = 0;
        ASSERT_EQ(vlan_get_vlan_range_memb_info_parse_reply_local(&ids, &n, reply.data(),
                                                                  static_cast<uint32_t>(reply.size())),
                  0u);
        Owned<uint32_t> own(ids);
        ASSERT_EQ(std::vector<uint32_t>(ids, ids + n), ports);
    }
}

// ---- TLV messages --------------------------------------------------------------

TEST(MembershipRoundTrip, PortMemb2Request)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        server::PortMemb2Request want;
        want.vdc_id = g.coin() ? 1 : g.vdc();
        want.if_indexes = if_indexes(g, i == 2 ? 0 : g.size_for(i, kMaxPorts));
        Owned<vlan_get_port_memb_2_req_t> rec(static_cast<vlan_get_port_memb_2_req_t *>(
            std::calloc(1, sizeof(vlan_get_port_memb_2_req_t) + 4 * want.if_indexes.size())));
        vlan_get_port_memb_2_req_init(rec.get());
        rec->field0 = want.vdc_id;
        rec->ifindex_count = static_cast<uint32_t>(want.if_indexes.size());
        if (!want.if_indexes.empty())
            std::memcpy(rec->ifindex, want.if_indexes.data(), 4 * want.if_indexes.size());
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_build_get_port_memb_2_req(rec.get(), &p, &len), 0);
        Owned<> own(p);
        server::PortMemb2Request got;
        ASSERT_EQ(server::decode_port_memb_2_request(static_cast<const uint8_t *>(p), len, got), 0u);
        ASSERT_EQ(got, want) << "case " << i;
    }
}

TEST(MembershipRoundTrip, PortMemb2Reply)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases / 2; ++i) {
        std::vector<server::PortMemb2> in(i == 2 ? 0 : g.size_for(i, kMaxPorts));
        for (auto &e : in) {
            e.if_index = g.u32();
            if (g.in(0, 7) == 0) {
                e.status = VLAN_MGR_ERR_UNKNOWN_PORT;
                continue;
            }
            e = {e.if_index, g.in(1, 2), g.vlan(), g.coin() ? 0 : g.vlan(), g.vlan(), 0};
        }
        Payload reply;
        ASSERT_EQ(server::encode_port_memb_2_reply(in, reply), 0u);
        EXPECT_EQ(reply.size(), server::port_memb_2_reply_size(static_cast<uint32_t>(in.size())));
        vlan_get_port_memb_2_rsp_t *rsp = nullptr;
        ASSERT_EQ(vlan_parse_get_port_memb_2_rsp(reply.data(), static_cast<uint32_t>(reply.size()), &rsp), 0);
        Owned<vlan_get_port_memb_2_rsp_t> own(rsp);
        EXPECT_EQ(rsp->field4, 0u);
        ASSERT_EQ(rsp->count, in.size());
        for (size_t k = 0; k < in.size(); ++k) {
            const vlan_get_port_memb_2_t &e = rsp->data[k];
            ASSERT_EQ((server::PortMemb2{e.field3, e.field6, e.field7, e.field8, e.field9, e.field10}), in[k]);
        }
    }
}

TEST(MembershipRoundTrip, PortTrunkingMemb2Reply)
{
    ROUNDTRIP_TRACE();
    Gen g;
    const std::vector<VlanBits> pool = set_pool(g);
    for (int i = 0; i < roundtrip::kCases / 4; ++i) {
        std::vector<server::PortTrunkingMemb2> in(i == 2 ? 0 : bitmap_list_size(g, i));
        for (auto &e : in) {
            e.if_index = g.u32();
            if (g.in(0, 7) == 0) {
                e.status = VLAN_MGR_ERR_UNKNOWN_PORT;
                continue;
            }
            e = {e.if_index, g.in(1, 2), g.vlan(), pool[g.in(0, 7)], pool[g.in(0, 7)], 0};
        }
        Payload reply;
        ASSERT_EQ(server::encode_port_trunking_memb_2_reply(in, reply), 0u);
        EXPECT_EQ(reply.size(), server::port_trunking_memb_2_reply_size(static_cast<uint32_t>(in.size())));
        vlan_get_port_trunking_memb_2_rsp_t *rsp = nullptr;
        ASSERT_EQ(vlan_parse_get_port_trunking_memb_2_rsp(reply.data(), static_cast<uint32_t>(reply.size()), &rsp), 0);
        Owned<vlan_get_port_trunking_memb_2_rsp_t> own(rsp);
        EXPECT_EQ(rsp->field0, 0u);
        ASSERT_EQ(rsp->count, in.size());
        for (size_t k = 0; k < in.size(); ++k) {
            const vlan_get_port_trunking_memb_2_t &e = rsp->data[k];
            ASSERT_EQ((server::PortTrunkingMemb2{e.field3, e.field4, e.field5, bits_of(e.vlans6), bits_of(e.vlans7),
                                                 e.field8}),
                      in[k])
                << "entry " << k;
            ASSERT_EQ(len_word(e.vlans6), 512u);
        }
    }
}

TEST(MembershipRoundTrip, ComprgrpMembChange)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const server::ComprgrpChange want{g.u32(), i == 0 ? g.bits_of(g.vlans(4094)) : any_bits(g), g.u16(), g.vdc()};
        vlan_comprgrp_memb_change_notif_t msg{};
        msg.field38 = want.if_index;
        msg.vlans = to_bitmap(want.vlans);
        msg.field40 = want.group;
        msg.field41 = want.vdc_id;
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_build_comprgrp_memb_change_msg(&msg, &p, &len), 0);
        Owned<> own(p);
        server::ComprgrpChange got;
        ASSERT_EQ(server::decode_comprgrp_memb_change(static_cast<const uint8_t *>(p), len, got), 0u);
        ASSERT_EQ(got, want) << "case " << i;
    }
}

// ---- Decoder refusals ----------------------------------------------------------

// Every fixed-layout decoder: a request cut short or one byte longer than its
// count makes it, a count of 0, no payload.
template <typename Out>
void expect_refusals(const Payload &req, size_t count_off,
                     uint32_t (*decode)(const uint8_t *, size_t, Out &))
{
    Out out;
    ASSERT_EQ(decode(req.data(), req.size(), out), 0u);
    for (size_t cut = 0; cut < req.size(); ++cut)
        ASSERT_EQ(decode(req.data(), cut, out), VLAN_MGR_ERR_BAD_REQUEST) << "cut " << cut;
    Payload longer = req;
    longer.push_back(0);
    EXPECT_EQ(decode(longer.data(), longer.size(), out), VLAN_MGR_ERR_BAD_REQUEST);
    Payload zero = req;
    std::memset(zero.data() + count_off, 0, 4);
    EXPECT_EQ(decode(zero.data(), zero.size(), out), VLAN_MGR_ERR_BAD_REQUEST);
    EXPECT_EQ(decode(zero.data(), count_off + 4, out), VLAN_MGR_ERR_BAD_REQUEST);
    // A count that claims one entry more than the payload holds.
    Payload more = req;
    more[count_off + 3] = static_cast<uint8_t>(more[count_off + 3] + 1);
    EXPECT_EQ(decode(more.data(), more.size(), out), VLAN_MGR_ERR_BAD_REQUEST);
    EXPECT_EQ(decode(nullptr, 0, out), VLAN_MGR_ERR_BAD_REQUEST);
}

TEST(MembershipDecode, FixedLayoutRequestsRefuseAWrongLengthOrCountZero)
{
    const uint32_t ports[] = {kIfx, 7};
    void *p = nullptr;
    uint32_t len = 0;

    ASSERT_EQ(vlan_get_port_memb_build_mts(ports, 2, &p, &len), 0u);
    Payload req = roundtrip::bytes_of(p, len);
    std::free(p);
    EXPECT_EQ(req, cat({be32(2), kIfxWire, {0, 0, 0, 7}}));
    expect_refusals<std::vector<uint32_t>>(req, 0, server::decode_port_list_request);

    const vdc_vlan_id_t keys[] = {{1, 10}, {1, 20}};
    ASSERT_EQ(vlan_get_per_vlan_memb_info_build_mts(keys, 2, &p, &len), 0u);
    req = roundtrip::bytes_of(p, len);
    std::free(p);
    expect_refusals<std::vector<server::VdcVlan>>(req, 0, server::decode_per_vlan_request);

    ASSERT_EQ(vlan_update_port_memb_build_mts(ports, 2, vdc_vlan_id_t{1, 10}, 0, VLAN_MGR_ACCESS_OP_SET_VLAN, &p, &len),
              0u);
    req = roundtrip::bytes_of(p, len);
    std::free(p);
    expect_refusals<server::UpdatePortMembRequest>(req, 10, server::decode_update_port_memb_request);

    trunking_update_input recs[2] = {};
    ASSERT_EQ(vlan_update_port_trunking_memb_build_mts(ports, 2, recs, VLAN_MGR_TRUNK_OP_ALLOW_ALL, &p, &len), 0u);
    req = roundtrip::bytes_of(p, len);
    std::free(p);
    expect_refusals<server::UpdatePortTrunkingMembRequest>(req, 4, server::decode_update_port_trunking_memb_request);

    port_vlan_memb_info info[2] = {};
    ASSERT_EQ(vlan_build_port_vlan_memb_info_mts(info, 2, &p, &len), 0u);
    req = roundtrip::bytes_of(p, len);
    std::free(p);
    expect_refusals<std::vector<server::PortVlanMembInfo>>(req, 0, server::decode_port_vlan_memb_info_request);
}

// The operation and the VLAN ids are the manager's to check: the decoders
// accept any.
TEST(MembershipDecode, UpdatesCarryAnyOperationAndVlan)
{
    Payload req = cat({be32(77), {0, 9}, be32(5000), be32(1), kIfxWire});
    server::UpdatePortMembRequest a;
    ASSERT_EQ(server::decode_update_port_memb_request(req.data(), req.size(), a), 0u);
    EXPECT_EQ(a, (server::UpdatePortMembRequest{77, {9, 5000}, {kIfx}}));

    Payload trunk = cat({be32(99), be32(1), {0, 3}, be32(4095), {0, 2}, {0, 2, 0, 0}});
    trunk.resize(trunk.size() + 512);
    trunk[8 + 12] = 0x80;       // VLAN 0
    trunk[8 + 12 + 511] = 0x01; // VLAN 4095
    trunk.insert(trunk.end(), kIfxWire.begin(), kIfxWire.end());
    server::UpdatePortTrunkingMembRequest t;
    ASSERT_EQ(server::decode_update_port_trunking_memb_request(trunk.data(), trunk.size(), t), 0u);
    EXPECT_EQ(t.op, 99u);
    ASSERT_EQ(t.records.size(), 1u);
    VlanBits both;
    both.set(0);
    both.set(4095);
    EXPECT_EQ(t.records[0], (server::TrunkUpdateRecord{{3, 4095}, 2, both, kIfx}));
}

TEST(MembershipDecode, TlvRequestsRefuseAnEmptyOrForeignBuffer)
{
    server::PortMemb2Request rq;
    server::ComprgrpChange cg;
    const uint8_t junk[] = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(server::decode_port_memb_2_request(nullptr, 0, rq), VLAN_MGR_ERR_BAD_REQUEST);
    EXPECT_EQ(server::decode_port_memb_2_request(junk, 0, rq), VLAN_MGR_ERR_BAD_REQUEST);
    EXPECT_EQ(server::decode_port_memb_2_request(junk, sizeof junk, rq), VLAN_MGR_ERR_BAD_REQUEST);
    EXPECT_EQ(server::decode_comprgrp_memb_change(nullptr, 0, cg), VLAN_MGR_ERR_BAD_REQUEST);
    EXPECT_EQ(server::decode_comprgrp_memb_change(junk, 0, cg), VLAN_MGR_ERR_BAD_REQUEST);
    EXPECT_EQ(server::decode_comprgrp_memb_change(junk, sizeof junk, cg), VLAN_MGR_ERR_BAD_REQUEST);

    // A buffer of the other record type, and one cut short.
    vlan_comprgrp_memb_change_notif_t msg{};
    msg.field41 = 1;
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_build_comprgrp_memb_change_msg(&msg, &p, &len), 0);
    Owned<> own(p);
    EXPECT_EQ(server::decode_port_memb_2_request(static_cast<const uint8_t *>(p), len, rq), VLAN_MGR_ERR_BAD_REQUEST);
    ASSERT_EQ(server::decode_comprgrp_memb_change(static_cast<const uint8_t *>(p), len, cg), 0u);
    for (uint32_t cut = 1; cut < len; ++cut)
        ASSERT_EQ(server::decode_comprgrp_memb_change(static_cast<const uint8_t *>(p), cut, cg),
                  VLAN_MGR_ERR_BAD_REQUEST)
            << cut;
}

// ---- Encoder bytes -------------------------------------------------------------

TEST(MembershipEncode, PortQueryReplyBytes)
{
    const server::PortVlan pv[] = {{kIfx, {2, 300}}};
    EXPECT_EQ(server::encode_port_vlan_reply(pv), cat({be32(0), be32(1), kIfxWire, {0, 2}, be32(300)}));

    const server::PortMemb pm[] = {{kIfx, 2, 7, {1, 10}, {1, 20}}};
    EXPECT_EQ(server::encode_port_memb_reply(pm),
              cat({be32(0), be32(1), kIfxWire, be32(2), be32(7), {0, 1}, be32(10), {0, 1}, be32(20)}));

    VlanBits edge;
    edge.set(0); // never written: VLANs 1..4094 only
    edge.set(1);
    edge.set(4094);
    edge.set(4095);
    const server::PortTrunking pt[] = {{kIfx, {3, 1}, 3, edge, VlanBits{}, {3, 5}}};
    const Payload t = server::encode_port_trunking_reply(pt);
    ASSERT_EQ(t.size(), 8u + 1052u);
    EXPECT_EQ(Payload(t.begin(), t.begin() + 26),
              cat({be32(0), be32(1), kIfxWire, {0, 3}, be32(1), {0, 3}, {0, 0}, {0, 2, 0, 0}}));
    EXPECT_EQ(t[8 + 18], 0x40);       // VLAN 1
    EXPECT_EQ(t[8 + 18 + 511], 0x02); // VLAN 4094
    EXPECT_EQ(std::count(t.begin() + 8 + 18, t.begin() + 8 + 530, 0), 510);
    EXPECT_EQ(Payload(t.begin() + 8 + 530, t.begin() + 8 + 534), (Payload{0, 2, 0, 0}));
    EXPECT_EQ(std::count(t.begin() + 8 + 534, t.begin() + 8 + 1046, 0), 512);
    EXPECT_EQ(Payload(t.end() - 6, t.end()), cat({{0, 3}, be32(5)}));

    const server::PortActiveTrunking pa[] = {{kIfx, 4, edge}, {7, 4, VlanBits{}}};
    const Payload a = server::encode_port_active_trunking_reply(pa);
    ASSERT_EQ(a.size(), 8u + 2 * 524u);
    EXPECT_EQ(Payload(a.begin(), a.begin() + 24),
              cat({be32(0), be32(2), kIfxWire, {0, 0, 0, 7}, {0, 0, 0, 4}, {0, 2, 0, 0}}));
    EXPECT_EQ(a[24], 0x40);
    EXPECT_EQ(a[24 + 511], 0x02);
    EXPECT_EQ(Payload(a.begin() + 536, a.begin() + 544), (Payload{0, 0, 0, 4, 0, 2, 0, 0}));
    EXPECT_EQ(std::count(a.begin() + 544, a.end(), 0), 512);
    EXPECT_EQ(server::port_reply_size(server::PortReply::active_trunking, 2), a.size());
    EXPECT_EQ(server::port_reply_size(server::PortReply::trunking, 15947), 8u + 1052u * 15947u);
    EXPECT_EQ(server::port_reply_size(server::PortReply::memb, 3), 8u + 72u);
    EXPECT_EQ(server::port_reply_size(server::PortReply::voice, 3), 38u);
}

TEST(MembershipEncode, PerVlanAndRangeReplyBytes)
{
    const uint32_t ports[] = {kIfx, 9};
    const server::PerVlanGroup groups[] = {{{1, 10}, ports}, {{1, 20}, {}}};
    EXPECT_EQ(server::encode_per_vlan_reply(groups), cat({be32(0), be32(2), {0, 1}, be32(10), be32(2), kIfxWire,
                                                          be32(9), {0, 1}, be32(20), be32(0)}));
    EXPECT_EQ(server::per_vlan_reply_size(groups), 36u);
    EXPECT_EQ(server::encode_vlan_range_memb_reply(3, ports), cat({be32(0), {0, 3}, be32(2), kIfxWire, be32(9)}));
    EXPECT_EQ(server::encode_vlan_range_memb_reply(3, {}), cat({be32(0), {0, 3}, be32(0)}));
}

TEST(MembershipEncode, UpdateReplyBytes)
{
    EXPECT_EQ(server::encode_update_port_memb_reply(VLAN_MGR_ERR_VLAN_RESERVED, {1, 4000}),
              cat({{0x41, 0x10, 0x00, 0xC2}, {0, 1}, be32(4000)}));
    const server::PortStatus st[] = {{kIfx, 0}, {5, VLAN_MGR_ERR_UNKNOWN_PORT}};
    EXPECT_EQ(server::encode_update_port_trunking_memb_reply(VLAN_MGR_TRUNK_OP_SET_MODE, {2, 30}, st),
              cat({be32(0), be32(12), {0, 2}, be32(30), be32(2), kIfxWire, be32(0), be32(5),
                   {0x41, 0x10, 0x00, 0xC4}}));
}

// TLV framing words are big-endian, record values host-order (these tests
// run little-endian): the buffer's length, version 1, the type name padded to
// 4, then per field its id, its value's length and the value; a list is one
// attribute holding an element attribute (the list's id) per element.
Payload le32(uint32_t v) { return {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)}; }
Payload attr(uint32_t id, const Payload &value)
{
    Payload out = cat({be32(id), be32(static_cast<uint32_t>(value.size())), value});
    out.resize(out.size() + (4 - value.size() % 4) % 4, 0);
    return out;
}
Payload tlv_head(uint32_t total, const std::string &name)
{
    Payload out = cat({be32(total), {1, 0, 0, static_cast<uint8_t>(name.size())}});
    out.insert(out.end(), name.begin(), name.end());
    out.resize(out.size() + (4 - name.size() % 4) % 4, 0);
    return out;
}

TEST(MembershipEncode, PortMemb2ReplyBytes)
{
    const server::PortMemb2 e[] = {{0x0A0B0C0Du, 2, 10, 0, 20, 0}};
    Payload got;
    ASSERT_EQ(server::encode_port_memb_2_reply(e, got), 0u);
    const Payload elem = cat({attr(3, le32(0x0A0B0C0Du)), attr(6, le32(2)), attr(7, le32(10)), attr(8, le32(0)),
                              attr(9, le32(20)), attr(10, le32(0))});
    EXPECT_EQ(got, cat({tlv_head(148, "vlan_get_port_memb_2_rsp_t"), attr(4, le32(0)), attr(1, le32(1)),
                        attr(5, attr(5, elem))}));
    EXPECT_EQ(server::port_memb_2_reply_size(1), 148u);

    // An unknown port keeps the defaults 1, 1, 0, 0.
    const server::PortMemb2 unknown[] = {{5, 1, 1, 0, 0, VLAN_MGR_ERR_UNKNOWN_PORT}};
    ASSERT_EQ(server::encode_port_memb_2_reply(unknown, got), 0u);
    EXPECT_EQ(Payload(got.end() - 12, got.end()), attr(10, le32(VLAN_MGR_ERR_UNKNOWN_PORT)));
    ASSERT_EQ(server::encode_port_memb_2_reply({}, got), 0u);
    EXPECT_EQ(got, cat({tlv_head(68, "vlan_get_port_memb_2_rsp_t"), attr(4, le32(0)), attr(1, le32(0)), attr(5, {})}));
}

TEST(MembershipEncode, PortTrunkingMemb2ReplyBytes)
{
    VlanBits allowed;
    allowed.set(0); // never written: VLANs 1..4094 only
    allowed.set(1);
    allowed.set(4094);
    server::PortTrunkingMemb2 e;
    e.if_index = 0x0A0B0C0Du;
    e.mode = 2;
    e.native_vlan = 1;
    e.allowed = allowed;
    const server::PortTrunkingMemb2 one[] = {e};
    Payload got;
    ASSERT_EQ(server::encode_port_trunking_memb_2_reply(one, got), 0u);
    Payload bits6 = cat({{0, 2, 0, 0}, Payload(512, 0)});
    bits6[4] = 0x40;
    bits6[4 + 511] = 0x02;
    const Payload bits7 = cat({{0, 2, 0, 0}, Payload(512, 0)});
    const Payload elem = cat({attr(3, le32(0x0A0B0C0Du)), attr(4, le32(2)), attr(5, le32(1)), attr(6, bits6),
                              attr(7, bits7), attr(8, le32(0))});
    EXPECT_EQ(got, cat({tlv_head(1180, "vlan_get_port_trunking_memb_2_rsp_t"), attr(0, le32(0)), attr(1, le32(1)),
                        attr(2, attr(2, elem))}));
    EXPECT_EQ(server::port_trunking_memb_2_reply_size(1), 1180u);
    EXPECT_EQ(server::port_trunking_memb_2_reply_size(2), 1180u + 1104u);
}

} // namespace
