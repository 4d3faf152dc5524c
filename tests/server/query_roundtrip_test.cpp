// VLAN queries: builder -> manager's decoder, and manager's encoder ->
// parser, give back what went in; the decoders refuse what the manager
// refuses; the encoders' bytes against literal bytes.
#include <algorithm>
#include <cstring>

#include <vlan_mgr/bd_id.h>
#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/query_req.h>
#include <vlan_mgr/rsvd.h>
#include <vlan_mgr/server/query.h>
#include <vlan_mgr/tlv.h>

#include "roundtrip.h"
#include "test_platform.h"

namespace server = vlan_mgr::server;
using roundtrip::Gen;
using roundtrip::Owned;
using server::Payload;

namespace {

constexpr uint32_t kBad = VLAN_MGR_ERR_BAD_REQUEST;

server::VlanAttrs attrs_for(Gen &g, uint32_t vlan_id)
{
    const uint32_t types[] = {VLAN_MGR_VLAN_TYPE_NORMAL, VLAN_MGR_VLAN_TYPE_PRIMARY, VLAN_MGR_VLAN_TYPE_ISOLATED,
                              VLAN_MGR_VLAN_TYPE_COMMUNITY};
    server::VlanAttrs a;
    a.type = types[g.in(0, 3)];
    a.mode = g.coin() ? 0 : g.u32();
    a.bd_id = vlan_id; // the manager's BD of a VLAN; 16 bits on the wire
    a.segment = g.coin() ? 0 : g.in(1, 0xFFFFFF);
    a.primary = a.type == VLAN_MGR_VLAN_TYPE_ISOLATED || a.type == VLAN_MGR_VLAN_TYPE_COMMUNITY ? g.vlan() : 0;
    a.state = g.in(1, 2);
    return a;
}

// `n` VLANs in id order with attribute words and names of 0..32 characters.
std::vector<server::CreatedVlan> vlans_for(Gen &g, size_t n)
{
    std::vector<server::CreatedVlan> out;
    for (uint32_t v : g.vlans(n))
        out.push_back({v, attrs_for(g, v), g.name(32)});
    return out;
}

// A set of any of the 4096 bits, `n` of them at most.
server::VlanBits any_bits(Gen &g, size_t n)
{
    server::VlanBits b;
    for (size_t i = 0; i < n; ++i)
        b.set(g.in(0, 4095));
    return b;
}

template <typename R>
Payload tlv_request(int32_t (*build)(const R *, void **, uint32_t *), const R &rec)
{
    void *p = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(build(&rec, &p, &len), 0);
    Owned<> own(p);
    return roundtrip::bytes_of(p, len);
}

template <typename R>
Owned<R> tlv_reply(int32_t (*parse)(const void *, uint32_t, R **), const Payload &reply)
{
    R *rec = nullptr;
    EXPECT_EQ(parse(reply.data(), static_cast<uint32_t>(reply.size()), &rec), 0);
    return Owned<R>(rec);
}

void put_be32(Payload &b, uint32_t v)
{
    for (int s = 24; s >= 0; s -= 8)
        b.push_back(static_cast<uint8_t>(v >> s));
}

// A TLV buffer's header, its type name padded to 4 bytes (total length
// filled in by the caller).
Payload tlv_header(const std::string &type)
{
    Payload b = {0, 0, 0, 0, 1, 0, 0, static_cast<uint8_t>(type.size())};
    b.insert(b.end(), type.begin(), type.end());
    b.resize((b.size() + 3) / 4 * 4, 0);
    return b;
}

// One attribute: id, value length, the value as given (host order), padding.
void tlv_attr(Payload &b, uint32_t id, const Payload &value)
{
    put_be32(b, id);
    put_be32(b, static_cast<uint32_t>(value.size()));
    b.insert(b.end(), value.begin(), value.end());
    b.resize((b.size() + 3) / 4 * 4, 0);
}

Payload le32(uint32_t v)
{
    return {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v >> 16),
            static_cast<uint8_t>(v >> 24)};
}

void set_total(Payload &b)
{
    const uint32_t n = static_cast<uint32_t>(b.size());
    b[0] = static_cast<uint8_t>(n >> 24);
    b[1] = static_cast<uint8_t>(n >> 16);
    b[2] = static_cast<uint8_t>(n >> 8);
    b[3] = static_cast<uint8_t>(n);
}

// ---- VLAN info and next-VLAN info -------------------------------------------

TEST(QueryRoundTrip, VlanInfoAndNextVlanInfoRequests)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const bool next = i % 2 == 1;
        const vdc_vlan_id_t key{1, i == 0 ? 4094u : next && i == 1 ? 0u : next ? g.in(0, 4094) : g.vlan()};
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(next ? vlan_get_next_vlan_info_build_mts(&key, &p, &len) : vlan_get_vlan_info_build_mts(&key, &p, &len),
                  0u);
        Owned<> own(p);
        server::VlanInfoRequest got;
        ASSERT_EQ(server::decode_vlan_info_request(static_cast<const uint8_t *>(p), len, got), 0u) << "case " << i;
        EXPECT_EQ(got, (server::VlanInfoRequest{1, key.vlan_id}));
    }
}

TEST(QueryRoundTrip, VlanInfoReply)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const uint16_t vdc = g.vdc();
        const uint32_t v = g.vlan();
        const server::VlanAttrs a = attrs_for(g, v);
        const std::string name = i == 0 ? std::string(32, 'n') : g.name(32);
        const Payload reply = server::encode_vlan_info_reply(vdc, a, name);
        vlan_info_record rec;
        ASSERT_EQ(vlan_get_vlan_info_parse_reply(&rec, reply.data(), static_cast<uint32_t>(reply.size())), 0u);
        EXPECT_EQ(rec.vdc_id, vdc);
        const uint32_t words[6] = {a.type, a.mode, a.bd_id, a.segment, a.primary, a.state};
        for (size_t k = 0; k < 6; ++k)
            EXPECT_EQ(rec.attr[k], words[k]) << "word " << k + 1;
        EXPECT_EQ(std::string(rec.name), name);
    }
}

// What the decoder refuses: any length but 6.
TEST(QueryDecode, VlanInfoRefusesAnyOtherLength)
{
    const Payload req = {0, 1, 0, 0, 0, 10, 0};
    server::VlanInfoRequest got;
    for (size_t len = 0; len <= req.size(); ++len)
        EXPECT_EQ(server::decode_vlan_info_request(req.data(), len, got), len == 6 ? 0u : kBad) << len;
    EXPECT_EQ(got, (server::VlanInfoRequest{1, 10}));
    EXPECT_EQ(server::decode_vlan_info_request(nullptr, 6, got), kBad);
}

// A 32-character name fills the field without a NUL; a longer one is cut.
TEST(QueryEncode, VlanInfoReplyBytes)
{
    const server::VlanAttrs a{3, 0x01020304u, 100, 0xABCDEFu, 0, 2};
    const Payload r = server::encode_vlan_info_reply(2, a, "ten");
    const Payload head = {0, 0, 0, 0, 0, 2, 0, 0, 0, 3, 1, 2, 3, 4, 0, 0, 0, 100, 0, 0xAB, 0xCD, 0xEF,
                          0, 0, 0, 0, 0, 0, 0, 2, 't', 'e', 'n'};
    Payload want = head;
    want.resize(62, 0);
    EXPECT_EQ(r, want);

    const Payload full = server::encode_vlan_info_reply(1, a, std::string(40, 'x'));
    ASSERT_EQ(full.size(), 62u);
    EXPECT_EQ(std::count(full.begin() + 30, full.end(), 'x'), 32);
}

// ---- Created-VLAN listings ---------------------------------------------------

TEST(QueryRoundTrip, AllCreatedAndRangeCreatedRequests)
{
    ROUNDTRIP_TRACE();
    Gen g;
    const uint16_t vdc = 1; // the builders take the caller's own VDC
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_get_all_created_vlan_build_mts(&vdc, 1, &p, &len), 0u);
    Owned<> own_all(p);
    uint16_t got_vdc = 0;
    ASSERT_EQ(server::decode_all_created_request(static_cast<const uint8_t *>(p), len, got_vdc), 0u);
    EXPECT_EQ(got_vdc, 1);

    for (int i = 0; i < roundtrip::kCases; ++i) {
        // Every bit travels, 0 and 4095 included; case 0 asks for all 4094.
        const server::VlanBits asked = i == 0 ? g.bits_of(g.vlans(4094)) : any_bits(g, g.size_for(i, 4096));
        vlan_bitmap bm;
        bm.len = VLAN_MGR_BITMAP_BYTES;
        server::raw_bits_to_wire(asked, bm.bits);
        ASSERT_EQ(vlan_get_range_created_vlan_build_mts(&vdc, 1, &p, &len, &bm), 0u);
        Owned<> own(p);
        server::RangeCreatedRequest got;
        ASSERT_EQ(server::decode_range_created_request(static_cast<const uint8_t *>(p), len, got), 0u) << i;
        EXPECT_EQ(got, (server::RangeCreatedRequest{1, asked}));
    }
}

TEST(QueryRoundTrip, CreatedReply)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const uint16_t vdc = g.vdc();
        const std::vector<server::CreatedVlan> vlans = vlans_for(g, g.size_for(i, 4094));
        const Payload reply = server::encode_created_reply(vdc, vlans);
        EXPECT_EQ(reply.size(), 40u + 132u * vlans.size());
        created_vlan_record *recs = nullptr;
        uint32_t count = 0;
        ASSERT_EQ(vlan_get_all_created_vlan_parse_reply(&recs, &count, reply.data(), static_cast<uint32_t>(reply.size())),
                  0u);
        Owned<created_vlan_record> own(recs);
        ASSERT_EQ(count, vlans.size());
        for (size_t k = 0; k < vlans.size(); ++k) {
            const server::VlanAttrs &a = vlans[k].attrs;
            EXPECT_EQ(recs[k].vdc_id, vdc);
            ASSERT_EQ(recs[k].vlan_id, vlans[k].vlan_id) << "entry " << k;
            EXPECT_EQ(recs[k].attr2, a.mode);
            EXPECT_EQ(recs[k].bd_id, a.bd_id);
            EXPECT_EQ(recs[k].attr4, a.segment);
            EXPECT_EQ(recs[k].attr5, a.primary);
            EXPECT_EQ(recs[k].attr6, a.state);
        }
    }
    // No VLAN: the empty group, which the parser reports as no VLANs.
    const Payload empty = server::encode_created_reply(1, {});
    created_vlan_record *recs = nullptr;
    uint32_t count = 0;
    EXPECT_EQ(vlan_get_all_created_vlan_parse_reply(&recs, &count, empty.data(), static_cast<uint32_t>(empty.size())),
              VLAN_MGR_ERR_NO_VLANS);
}

// What the decoders refuse: another length, a count of VDC ids other than 1,
// a bitmap length word other than 512.
TEST(QueryDecode, CreatedListingsRefuseWhatTheManagerRefuses)
{
    Payload all = {0, 0, 0, 1, 0, 2, 0};
    uint16_t vdc = 0;
    for (size_t len = 0; len <= all.size(); ++len)
        EXPECT_EQ(server::decode_all_created_request(all.data(), len, vdc), len == 6 ? 0u : kBad) << len;
    EXPECT_EQ(vdc, 2);
    all[3] = 2;
    EXPECT_EQ(server::decode_all_created_request(all.data(), 6, vdc), kBad);
    all[3] = 0;
    EXPECT_EQ(server::decode_all_created_request(all.data(), 6, vdc), kBad);
    EXPECT_EQ(server::decode_all_created_request(nullptr, 6, vdc), kBad);

    Payload range(523, 0);
    range[3] = 1;
    const uint32_t word = 512;
    std::memcpy(range.data() + 4, &word, 4);
    range[8] = 0x20; // VLAN 2
    range[521] = 3;
    server::RangeCreatedRequest got;
    for (size_t len = 0; len <= range.size(); ++len)
        ASSERT_EQ(server::decode_range_created_request(range.data(), len, got), len == 522 ? 0u : kBad) << len;
    EXPECT_EQ(got.vdc_id, 3);
    EXPECT_EQ(server::ids_of(got.vlans), (std::vector<uint32_t>{2}));
    Payload bad_count = range;
    bad_count[3] = 2;
    EXPECT_EQ(server::decode_range_created_request(bad_count.data(), 522, got), kBad);
    Payload bad_word = range;
    bad_word[4] ^= 1;
    EXPECT_EQ(server::decode_range_created_request(bad_word.data(), 522, got), kBad);
}

// One group: VDC id, R, the records, zeros up to 36 + 132·R bytes.
TEST(QueryEncode, CreatedReplyBytes)
{
    const server::CreatedVlan one[] = {{100, {3, 0x0A0B0C0Du, 100, 7, 0, 1}, "ignored"}};
    const Payload r = server::encode_created_reply(2, one);
    Payload want = {0, 0, 0, 1, 0, 2, 0, 0, 0, 1, 0, 0, 0, 100, 0x0A, 0x0B, 0x0C, 0x0D, 0, 100,
                    0, 0, 0, 7, 0, 0, 0, 0, 0, 0, 0, 1};
    want.resize(4 + 36 + 132, 0);
    EXPECT_EQ(r, want);

    Payload empty = {0, 0, 0, 1, 0, 5, 0, 0, 0, 0};
    empty.resize(40, 0);
    EXPECT_EQ(server::encode_created_reply(5, {}), empty);
}

// ---- VLANs by attribute ------------------------------------------------------

TEST(QueryRoundTrip, VlansForAttrRequestAndReply)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int32_t attr = 1; attr <= 21; ++attr) {
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_get_vlans_for_attr_value_build_mts(1, attr, &p, &len), 0u);
        Owned<> own(p);
        server::VlansForAttrRequest got;
        ASSERT_EQ(server::decode_vlans_for_attr_request(static_cast<const uint8_t *>(p), len, got), 0u);
        EXPECT_EQ(got, (server::VlansForAttrRequest{1, static_cast<uint32_t>(attr)}));
    }
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const uint32_t attr = i % 3 == 0 ? 7 : g.in(1, 11);
        std::vector<server::VlanAttrValue> entries;
        for (uint32_t v : g.vlans(g.size_for(i, 4094)))
            entries.push_back({v, attr == 7 ? g.u16() : 0u});
        const Payload reply = server::encode_vlans_for_attr_reply(0, attr, entries);
        uint32_t got_attr = 0, count = 0;
        vlan_attr_entry *recs = nullptr;
        ASSERT_EQ(vlan_get_vlans_for_attr_value_parse_reply(&got_attr, &count, &recs, reply.data(),
                                                            static_cast<uint32_t>(reply.size())),
                  0u);
        Owned<vlan_attr_entry> own(recs);
        EXPECT_EQ(got_attr, attr);
        ASSERT_EQ(count, entries.size());
        for (size_t k = 0; k < entries.size(); ++k)
            ASSERT_EQ((server::VlanAttrValue{recs[k].vlan_id, recs[k].value}), entries[k]) << "entry " << k;
    }
    // A status other than 0 comes back with the attribute and the count.
    const Payload ns = server::encode_vlans_for_attr_reply(VLAN_MGR_ERR_NOT_SUPPORTED, 15, {});
    uint32_t got_attr = 0, count = 1;
    vlan_attr_entry *recs = nullptr;
    EXPECT_EQ(vlan_get_vlans_for_attr_value_parse_reply(&got_attr, &count, &recs, ns.data(),
                                                        static_cast<uint32_t>(ns.size())),
              VLAN_MGR_ERR_NOT_SUPPORTED);
    EXPECT_EQ(got_attr, 15u);
    EXPECT_EQ(count, 0u);
}

// Any length but 6 is refused; the attribute number is the handler's to check.
TEST(QueryDecode, VlansForAttrRefusesAnyOtherLength)
{
    const Payload req = {0, 1, 0xFF, 0xFF, 0xFF, 0xFF, 0};
    server::VlansForAttrRequest got;
    for (size_t len = 0; len <= req.size(); ++len)
        EXPECT_EQ(server::decode_vlans_for_attr_request(req.data(), len, got), len == 6 ? 0u : kBad) << len;
    EXPECT_EQ(got, (server::VlansForAttrRequest{1, 0xFFFFFFFFu}));
}

TEST(QueryEncode, VlansForAttrReplyBytes)
{
    const server::VlanAttrValue two[] = {{10, 10}, {4094, 4094}};
    EXPECT_EQ(server::encode_vlans_for_attr_reply(0, 7, two),
              (Payload{0, 0, 0, 0, 0, 0, 0, 7, 0, 0, 0, 2, 0, 0, 0, 10, 0, 0, 0, 10, 0, 0, 0x0F, 0xFE, 0, 0, 0x0F, 0xFE}));
    EXPECT_EQ(server::encode_vlans_for_attr_reply(0, 3, two),
              (Payload{0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0, 2, 0, 0, 0, 10, 0, 0, 0x0F, 0xFE}));
    EXPECT_EQ(server::encode_vlans_for_attr_reply(VLAN_MGR_ERR_NOT_SUPPORTED, 12, {}),
              (Payload{0x41, 0x10, 0x00, 0xC9, 0, 0, 0, 12, 0, 0, 0, 0}));
}

// ---- Reserved-VLAN information -------------------------------------------------

TEST(QueryRoundTrip, ReserveVlanInfoRequestAndReply)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const uint16_t vdc = 1;
        const uint32_t query = g.u32();
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_get_reserve_vlan_info_build_mts(&vdc, 1, query, &p, &len), 0u);
        Owned<> own(p);
        server::ReserveVlanInfoRequest got;
        ASSERT_EQ(server::decode_reserve_vlan_info_request(static_cast<const uint8_t *>(p), len, got), 0u);
        EXPECT_EQ(got, (server::ReserveVlanInfoRequest{query, 1}));

        server::ReserveVlanInfo info;
        info.vdc_id = g.vdc();
        info.range = g.bits_of(g.vlans(g.size_for(i, 4094)));
        info.reserved = g.bits_of(g.vlans(g.size_for(i, 4094)));
        info.start = g.in(0, 4094);
        info.end = g.in(0, 4094);
        const Payload reply = server::encode_reserve_vlan_info_reply(info);
        reserve_vlan_info *recs = nullptr;
        uint32_t count = 0, status = 1;
        ASSERT_EQ(vlan_get_reserve_vlan_info_parse_reply(&recs, &count, &status, reply.data(),
                                                         static_cast<uint32_t>(reply.size())),
                  0u);
        Owned<reserve_vlan_info> own_recs(recs);
        EXPECT_EQ(status, 0u);
        ASSERT_EQ(count, 1u);
        EXPECT_EQ(recs[0].vdc_id, info.vdc_id);
        EXPECT_EQ(server::bits_from_wire(recs[0].bitmap1.bits), info.range);
        EXPECT_EQ(server::bits_from_wire(recs[0].bitmap2.bits), info.reserved);
        EXPECT_EQ(recs[0].word1, info.start);
        EXPECT_EQ(recs[0].word2, info.end);
    }
}

TEST(QueryDecode, ReserveVlanInfoRefusesWhatTheManagerRefuses)
{
    Payload req = {0, 0, 0, 9, 0, 0, 0, 1, 0, 4, 0};
    server::ReserveVlanInfoRequest got;
    for (size_t len = 0; len <= req.size(); ++len)
        EXPECT_EQ(server::decode_reserve_vlan_info_request(req.data(), len, got), len == 10 ? 0u : kBad) << len;
    EXPECT_EQ(got, (server::ReserveVlanInfoRequest{9, 4}));
    req[7] = 2;
    EXPECT_EQ(server::decode_reserve_vlan_info_request(req.data(), 10, got), kBad);
}

// Status 0, one record: 2 zero bytes, VDC id, the two bitmaps (VLANs 1..4094
// only), the two words.
TEST(QueryEncode, ReserveVlanInfoReplyBytes)
{
    server::ReserveVlanInfo info;
    info.vdc_id = 3;
    info.range.set(0).set(1).set(4094).set(4095);
    info.reserved.set(8);
    info.start = 0x0F80;
    info.end = 0x0FFE;
    const Payload r = server::encode_reserve_vlan_info_reply(info);
    ASSERT_EQ(r.size(), 8u + 1044u);
    EXPECT_EQ((Payload(r.begin(), r.begin() + 12)), (Payload{0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 3}));
    uint32_t w1, w2;
    std::memcpy(&w1, r.data() + 12, 4);
    std::memcpy(&w2, r.data() + 528, 4);
    EXPECT_EQ(w1, 512u);
    EXPECT_EQ(w2, 512u);
    Payload bits1(512, 0), bits2(512, 0);
    bits1[0] = 0x40;   // VLAN 1 (VLAN 0 is not written)
    bits1[511] = 0x02; // VLAN 4094 (VLAN 4095 is not written)
    bits2[1] = 0x80;   // VLAN 8
    EXPECT_EQ((Payload(r.begin() + 16, r.begin() + 528)), bits1);
    EXPECT_EQ((Payload(r.begin() + 532, r.begin() + 1044)), bits2);
    EXPECT_EQ((Payload(r.begin() + 1044, r.end())), (Payload{0, 0, 0x0F, 0x80, 0, 0, 0x0F, 0xFE}));
}

// ---- The TLV-framed queries ------------------------------------------------------

TEST(QueryRoundTrip, AllCreatedVlan2RequestAndReply)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const uint16_t named = i == 0 ? 0 : g.u16();
        const Payload req = tlv_request(vlan_build_get_all_created_vlan_2_req, vlan_get_all_created_vlan_2_req_t{named});
        uint16_t got = 1;
        ASSERT_EQ(server::decode_all_created_vlan_2_request(req.data(), req.size(), got), 0u);
        EXPECT_EQ(got, named);

        const uint32_t vdc = g.vdc();
        const std::vector<server::CreatedVlan> vlans = vlans_for(g, g.size_for(i, 4094));
        const Payload reply = server::encode_all_created_vlan_2_reply(vdc, vlans);
        const auto rsp = tlv_reply(vlan_parse_get_all_created_vlan_2_rsp, reply);
        ASSERT_NE(rsp, nullptr);
        EXPECT_EQ(rsp->field0, vdc);
        ASSERT_EQ(rsp->count, vlans.size());
        for (size_t k = 0; k < vlans.size(); ++k) {
            const vlan_get_all_created_vlan_2_info_t e = rsp->data[k];
            const server::VlanAttrs &a = vlans[k].attrs;
            ASSERT_EQ(e.field3, vlans[k].vlan_id) << "entry " << k;
            EXPECT_EQ(e.field4, a.type);
            EXPECT_EQ(e.field5, a.bd_id);
            EXPECT_EQ(e.field6, a.mode);
            EXPECT_EQ(e.field7, a.segment);
            EXPECT_EQ(e.field8, a.primary);
            EXPECT_EQ(e.field9, a.state);
        }
    }
}

TEST(QueryRoundTrip, DiagVlanInfoRequestAndReply)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const uint32_t named = i == 0 ? 0 : g.u32();
        const Payload req = tlv_request(vlan_build_get_diag_vlan_info_req, vlan_get_diag_vlan_info_req_t{named});
        uint32_t got = 1;
        ASSERT_EQ(server::decode_diag_vlan_info_request(req.data(), req.size(), got), 0u);
        EXPECT_EQ(got, named);

        const uint32_t vdc = g.vdc();
        const std::vector<server::CreatedVlan> vlans = vlans_for(g, g.size_for(i, 4094));
        const Payload reply = server::encode_diag_vlan_info_reply(vdc, vlans);
        const auto rsp = tlv_reply(vlan_parse_get_diag_vlan_info_rsp, reply);
        ASSERT_NE(rsp, nullptr);
        EXPECT_EQ(rsp->field0, vdc);
        ASSERT_EQ(rsp->count, vlans.size());
        for (size_t k = 0; k < vlans.size(); ++k) {
            ASSERT_EQ(rsp->data[k].vlan_id, vlans[k].vlan_id) << "entry " << k;
            EXPECT_EQ(rsp->data[k].bd_id, vlans[k].attrs.bd_id);
        }
    }
}

TEST(QueryRoundTrip, DynRsvdVlanInfoRequestAndReply)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const uint32_t kind = i == 0 ? 5 : g.u32();
        const Payload req = tlv_request(vlan_build_get_dyn_rsvd_vlan_info_req_msg, vlan_dyn_rsvd_req_t{kind});
        uint32_t got = 0;
        ASSERT_EQ(server::decode_dyn_rsvd_vlan_info_request(req.data(), req.size(), got), 0u);
        EXPECT_EQ(got, kind);

        // Every bit travels as given, 0 and 4095 included.
        const size_t n = g.size_for(i, 4096);
        const server::DynRsvdGroups groups{any_bits(g, n), any_bits(g, n), any_bits(g, n), any_bits(g, n),
                                           any_bits(g, n)};
        const Payload reply = server::encode_dyn_rsvd_vlan_info_reply(groups);
        const auto rsp = tlv_reply(vlan_parse_get_dyn_rsvd_vlan_info_rsp_msg, reply);
        ASSERT_NE(rsp, nullptr);
        const vlan_bitmap *bms[] = {&rsp->vlans33, &rsp->vlans34, &rsp->vlans35, &rsp->vlans36, &rsp->vlans37};
        for (const vlan_bitmap *bm : bms)
            EXPECT_EQ(bm->len, 512u);
        EXPECT_EQ((server::DynRsvdGroups{server::bits_from_wire(rsp->vlans33.bits),
                                         server::bits_from_wire(rsp->vlans34.bits),
                                         server::bits_from_wire(rsp->vlans35.bits),
                                         server::bits_from_wire(rsp->vlans36.bits),
                                         server::bits_from_wire(rsp->vlans37.bits)}),
                  groups);
    }
}

// The groups come from the library's allocator: the default layout from 3968.
TEST(QueryRsvd, AllocateRsvdGroupsHandsOutTheLibrarysGroups)
{
    server::VlanBits candidates;
    for (uint32_t v = 3968; v <= 4094; ++v)
        candidates.set(v);
    const server::DynRsvdGroups d = server::allocate_rsvd_groups(candidates, VLAN_MGR_RSVD_ALLOC_DEFAULT);
    EXPECT_EQ(d.group64.count(), 64u);
    EXPECT_TRUE(d.group64.test(3968));
    EXPECT_TRUE(d.group64.test(4031));
    EXPECT_EQ(server::ids_of(d.group4_first), (std::vector<uint32_t>{4032, 4033, 4034, 4035}));
    EXPECT_EQ(server::ids_of(d.group4_second), (std::vector<uint32_t>{4036, 4037, 4038, 4039}));
    EXPECT_EQ(server::ids_of(d.single), (std::vector<uint32_t>{4042}));
}

TEST(QueryRoundTrip, RangeCreatedVlanNameRequestAndReply)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const server::VlanBits asked = i == 0 ? g.bits_of(g.vlans(4094)) : any_bits(g, g.size_for(i, 4096));
        vlan_name_req_t rq;
        rq.vlans.len = VLAN_MGR_BITMAP_BYTES;
        server::raw_bits_to_wire(asked, rq.vlans.bits);
        const Payload req = tlv_request(vlan_build_get_range_created_vlan_req_msg, rq);
        server::VlanBits got;
        ASSERT_EQ(server::decode_range_created_vlan_name_request(req.data(), req.size(), got), 0u);
        EXPECT_EQ(got, asked);

        const std::vector<server::CreatedVlan> vlans = vlans_for(g, g.size_for(i, 4094));
        const Payload reply = server::encode_range_created_vlan_name_reply(vlans);
        const auto rsp = tlv_reply(vlan_parse_get_range_created_vlan_rsp_msg, reply);
        ASSERT_NE(rsp, nullptr);
        ASSERT_EQ(rsp->count, vlans.size());
        for (size_t k = 0; k < vlans.size(); ++k) {
            const vlan_name_and_state_t &e = rsp->data[k];
            const server::VlanAttrs &a = vlans[k].attrs;
            ASSERT_EQ(e.vlan_id, vlans[k].vlan_id) << "entry " << k;
            EXPECT_EQ(e.field6, a.type);
            EXPECT_EQ(e.bd_id, a.bd_id);
            EXPECT_EQ(e.field23, a.state);
            EXPECT_EQ(e.field13, a.mode);
            EXPECT_EQ(e.field22, a.primary);
            EXPECT_EQ(std::string(e.name), vlans[k].name);
        }
    }
}

// Each TLV decoder refuses a buffer cut short, one whose length word is not
// the payload's length, one of another record type, and (VLAN names) a
// bitmap length word other than 512.
TEST(QueryDecode, TlvQueriesRefuseMalformedBuffers)
{
    const Payload all = tlv_request(vlan_build_get_all_created_vlan_2_req, vlan_get_all_created_vlan_2_req_t{2});
    const Payload diag = tlv_request(vlan_build_get_diag_vlan_info_req, vlan_get_diag_vlan_info_req_t{2});
    const Payload dyn = tlv_request(vlan_build_get_dyn_rsvd_vlan_info_req_msg, vlan_dyn_rsvd_req_t{5});
    vlan_name_req_t rq;
    rq.vlans.len = VLAN_MGR_BITMAP_BYTES;
    std::memset(rq.vlans.bits, 0, sizeof rq.vlans.bits);
    const Payload names = tlv_request(vlan_build_get_range_created_vlan_req_msg, rq);

    uint16_t u16 = 0;
    uint32_t u32 = 0;
    server::VlanBits bits;
    const auto all_d = [&](const Payload &b, size_t n) { return server::decode_all_created_vlan_2_request(b.data(), n, u16); };
    const auto diag_d = [&](const Payload &b, size_t n) { return server::decode_diag_vlan_info_request(b.data(), n, u32); };
    const auto dyn_d = [&](const Payload &b, size_t n) { return server::decode_dyn_rsvd_vlan_info_request(b.data(), n, u32); };
    const auto names_d = [&](const Payload &b, size_t n) {
        return server::decode_range_created_vlan_name_request(b.data(), n, bits);
    };
    for (size_t cut = 0; cut < all.size(); ++cut)
        ASSERT_EQ(all_d(all, cut), kBad) << cut;
    for (size_t cut = 0; cut < diag.size(); ++cut)
        ASSERT_EQ(diag_d(diag, cut), kBad) << cut;
    for (size_t cut = 0; cut < dyn.size(); ++cut)
        ASSERT_EQ(dyn_d(dyn, cut), kBad) << cut;
    for (size_t cut = 0; cut < names.size(); ++cut)
        ASSERT_EQ(names_d(names, cut), kBad) << cut;

    Payload longer = all;
    longer.push_back(0);
    EXPECT_EQ(all_d(longer, longer.size()), kBad);
    EXPECT_EQ(all_d(diag, diag.size()), kBad);
    EXPECT_EQ(diag_d(dyn, dyn.size()), kBad);
    EXPECT_EQ(dyn_d(all, all.size()), kBad);
    EXPECT_EQ(names_d(diag, diag.size()), kBad);
    EXPECT_EQ(server::decode_all_created_vlan_2_request(nullptr, 0, u16), kBad);

    rq.vlans.len = 511;
    const Payload short_word = tlv_request(vlan_build_get_range_created_vlan_req_msg, rq);
    EXPECT_EQ(names_d(short_word, short_word.size()), kBad);

    EXPECT_EQ(all_d(all, all.size()), 0u);
    EXPECT_EQ(u16, 2);
    EXPECT_EQ(diag_d(diag, diag.size()), 0u);
    EXPECT_EQ(u32, 2u);
    EXPECT_EQ(dyn_d(dyn, dyn.size()), 0u);
    EXPECT_EQ(u32, 5u);
    EXPECT_EQ(names_d(names, names.size()), 0u);
    EXPECT_TRUE(bits.none());
}

// The TLV buffers byte by byte: header (total length, version 1, the type
// name padded to 4), then one attribute per field (id, value length, the
// value in host order, padding); a list is an attribute whose value is its
// elements, each of which carries the list's id and its fields' attributes.
TEST(QueryEncode, DiagVlanInfoReplyBytes)
{
    const server::CreatedVlan one[] = {{100, {0, 0, 100, 0, 0, 1}, ""}};
    Payload want = tlv_header("vlan_get_diag_vlan_info_rsp_t");
    tlv_attr(want, 0, le32(3));
    tlv_attr(want, 1, le32(1));
    Payload elem;
    tlv_attr(elem, 3, le32(100));
    tlv_attr(elem, 4, Payload{100, 0});
    Payload list;
    tlv_attr(list, 2, elem);
    tlv_attr(want, 2, list);
    set_total(want);
    ASSERT_EQ(want.size(), 104u);
    EXPECT_EQ(server::encode_diag_vlan_info_reply(3, one), want);
}

TEST(QueryEncode, AllCreatedVlan2ReplyBytes)
{
    const server::CreatedVlan one[] = {{10, {4, 0x11, 10, 0x22, 5, 2}, "x"}};
    Payload want = tlv_header("vlan_get_all_created_vlan_2_rsp_t");
    tlv_attr(want, 0, le32(1));
    tlv_attr(want, 1, le32(1));
    Payload elem;
    tlv_attr(elem, 3, le32(10));
    tlv_attr(elem, 4, le32(4));
    tlv_attr(elem, 5, Payload{10, 0});
    tlv_attr(elem, 6, le32(0x11));
    tlv_attr(elem, 7, le32(0x22));
    tlv_attr(elem, 8, le32(5));
    tlv_attr(elem, 9, le32(2));
    Payload list;
    tlv_attr(list, 2, elem);
    tlv_attr(want, 2, list);
    set_total(want);
    EXPECT_EQ(server::encode_all_created_vlan_2_reply(1, one), want);
}

TEST(QueryEncode, RangeCreatedVlanNameReplyBytes)
{
    const server::CreatedVlan one[] = {{20, {3, 0x33, 20, 0, 0, 1}, "twenty"}};
    Payload want = tlv_header("vlan_name_rsp_t");
    tlv_attr(want, 24, le32(1));
    Payload elem;
    tlv_attr(elem, 5, le32(20));
    tlv_attr(elem, 6, le32(3));
    tlv_attr(elem, 9, Payload{20, 0});
    tlv_attr(elem, 23, le32(1));
    tlv_attr(elem, 13, le32(0x33));
    tlv_attr(elem, 22, le32(0));
    tlv_attr(elem, 8, Payload{'t', 'w', 'e', 'n', 't', 'y'});
    Payload list;
    tlv_attr(list, 25, elem);
    tlv_attr(want, 25, list);
    set_total(want);
    EXPECT_EQ(server::encode_range_created_vlan_name_reply(one), want);
}

TEST(QueryEncode, DynRsvdVlanInfoReplyBytes)
{
    server::DynRsvdGroups groups;
    groups.candidates.set(0).set(4095);
    groups.single.set(4042);
    Payload want = tlv_header("vlan_dyn_rsvd_rsp_t");
    for (uint32_t id = 33; id <= 37; ++id) {
        Payload value = le32(512);
        value.resize(516, 0);
        if (id == 33) {
            value[4] = 0x80;   // VLAN 0, as given
            value[515] = 0x01; // VLAN 4095
        }
        if (id == 37)
            value[4 + 4042 / 8] = 0x20; // VLAN 4042
        tlv_attr(want, id, value);
    }
    set_total(want);
    EXPECT_EQ(server::encode_dyn_rsvd_vlan_info_reply(groups), want);
}

// ---- VNI-server mapping ----------------------------------------------------------

TEST(QueryRoundTrip, VniMappingRequestAndReply)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const uint32_t key = i == 0 ? 0xFFFFFFFFu : g.in(1, 0xFFFFFFFFu);
        const uint32_t values[] = {0, 0xFFFFFFFFu, g.vlan(), g.u32()};
        const uint32_t value = values[i % 4];
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_mgr_req_vni_server_vlan_mapping_build_mts(g.u32(), key, value, &p, &len), 0u);
        Owned<> own(p);
        server::VniMappingRequest got;
        ASSERT_EQ(server::decode_vni_mapping_request(static_cast<const uint8_t *>(p), len, got), 0u);
        EXPECT_EQ(got, (server::VniMappingRequest{value, key}));

        const uint32_t vdc = g.vdc(), vni = g.in(1, 0xFFFFFF), vlan = g.in(0, 4094);
        const Payload reply = server::encode_vni_mapping_reply(vdc, vni, vlan);
        uint32_t out1 = 0, out2 = 0, out3 = 0;
        ASSERT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(&out1, &out2, &out3, reply.data(),
                                                        static_cast<uint32_t>(reply.size())),
                  0u);
        EXPECT_EQ(out1, vni);
        EXPECT_EQ(out2, vlan);
        EXPECT_EQ(out3, vdc);
    }
}

TEST(QueryDecode, VniMappingRefusesWhatTheManagerRefuses)
{
    Payload req = {0, 0, 0, 1, 0, 0, 0, 10, 0, 0, 0x13, 0x88, 0};
    server::VniMappingRequest got;
    for (size_t len = 0; len <= req.size(); ++len)
        EXPECT_EQ(server::decode_vni_mapping_request(req.data(), len, got), len == 12 ? 0u : kBad) << len;
    EXPECT_EQ(got, (server::VniMappingRequest{10, 5000}));
    req[3] = 0;
    EXPECT_EQ(server::decode_vni_mapping_request(req.data(), 12, got), kBad);
    req[3] = 2;
    EXPECT_EQ(server::decode_vni_mapping_request(req.data(), 12, got), kBad);
}

TEST(QueryEncode, VniMappingReplyBytes)
{
    EXPECT_EQ(server::encode_vni_mapping_reply(2, 5000, 100),
              (Payload{0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0x13, 0x88, 0, 0, 0, 100}));
}

} // namespace
