// Configuration requests: builder -> manager's decoder, and manager's
// encoder -> parser, give back what went in.
#include <algorithm>
#include <cstring>

#include <vlan_mgr/config_req.h>
#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/server/config.h>
#include <vlan_mgr/tlv.h>

#include "roundtrip.h"
#include "test_platform.h"

namespace server = vlan_mgr::server;
using roundtrip::Gen;
using roundtrip::Owned;

namespace {

std::vector<server::VlanStatus> statuses_for(Gen &g, const std::vector<uint32_t> &ids)
{
    std::vector<server::VlanStatus> out;
    for (uint32_t v : ids)
        out.push_back({v, g.status()});
    return out;
}

TEST(ConfigRoundTrip, CreateRequestOfOneNamedVlanOrOfABitmap)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const uint16_t vdc = 1; // the builder takes the caller's own VDC
        const uint32_t options = g.coin() ? VLAN_MGR_CREATE_OPT_RENAME : 0;
        const bool one = i % 2 == 1;
        const std::vector<uint32_t> ids = one ? g.vlans(1) : g.vlans(std::max<size_t>(2, g.size_for(i, 4094)));
        const std::string name = one ? g.name(33) : std::string();
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_create_build_mts(vdc, static_cast<uint16_t>(ids.size()), ids.data(), name.c_str(), options,
                                        &p, &len),
                  0u);
        Owned<> own(p);
        server::CreateRequest got;
        ASSERT_EQ(server::decode_create_request(static_cast<const uint8_t *>(p), len, got), 0u) << "case " << i;
        EXPECT_EQ(got.vdc_id, vdc);
        EXPECT_EQ(got.count, ids.size());
        EXPECT_EQ(got.options, options);
        if (one) {
            EXPECT_EQ(got.vlan_id, ids[0]);
            EXPECT_EQ(got.name, name);
        } else {
            EXPECT_EQ(server::ids_of(got.vlans), ids);
        }
    }
}

TEST(ConfigRoundTrip, CreateReplyAndCreateUpdateReply)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const uint16_t vdc = g.vdc();
        const std::vector<server::VlanStatus> results = statuses_for(g, g.vlans(g.size_for(i, 4094)));
        const server::Payload reply = server::encode_create_reply(vdc, results);
        uint16_t got_vdc = 0, count = 0;
        uint32_t *ids = nullptr, *st = nullptr;
        ASSERT_EQ(vlan_create_parse_reply(&got_vdc, &count, &ids, &st, reply.data(),
                                          static_cast<uint32_t>(reply.size())),
                  0u);
        Owned<uint32_t> own_ids(ids), own_st(st);
        EXPECT_EQ(got_vdc, vdc);
        ASSERT_EQ(count, results.size());
        for (size_t k = 0; k < results.size(); ++k)
            ASSERT_EQ((server::VlanStatus{ids[k], st[k]}), results[k]) << "entry " << k;

        const server::Payload upd = server::encode_create_update_reply(results);
        ASSERT_EQ(vlan_mgr_create_update_parse_reply(&count, &ids, &st, upd.data(), static_cast<int32_t>(upd.size())),
                  0u);
        Owned<uint32_t> own_ids2(ids), own_st2(st);
        ASSERT_EQ(count, results.size());
        for (size_t k = 0; k < results.size(); ++k)
            ASSERT_EQ((server::VlanStatus{ids[k], st[k]}), results[k]) << "entry " << k;
    }
}

// What the decoder refuses: a request shorter than its fixed part, count 0,
// a name without its NUL before the trailing bytes, a bitmap request with no
// VLAN.
TEST(ConfigDecode, CreateRefusesWhatNoBuilderMakes)
{
    const uint32_t id = 10;
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_create_build_mts(1, 1, &id, "ten", 0, &p, &len), 0u);
    Owned<> own(p);
    server::Payload req = roundtrip::bytes_of(p, len);
    server::CreateRequest got;
    ASSERT_EQ(server::decode_create_request(req.data(), req.size(), got), 0u);
    EXPECT_EQ(got.name, "ten");
    for (size_t cut = 0; cut < 533; ++cut)
        ASSERT_EQ(server::decode_create_request(req.data(), cut, got), VLAN_MGR_ERR_BAD_REQUEST) << cut;
    EXPECT_EQ(server::decode_create_request(nullptr, 0, got), VLAN_MGR_ERR_BAD_REQUEST);

    server::Payload zero_count = req;
    zero_count[2] = zero_count[3] = 0;
    EXPECT_EQ(server::decode_create_request(zero_count.data(), zero_count.size(), got), VLAN_MGR_ERR_BAD_REQUEST);

    server::Payload no_nul = req;
    std::memset(no_nul.data() + 528, 'x', no_nul.size() - 528 - 4);
    EXPECT_EQ(server::decode_create_request(no_nul.data(), no_nul.size(), got), VLAN_MGR_ERR_BAD_REQUEST);

    server::Payload empty_bitmap = req;
    empty_bitmap[3] = 2; // count 2, and no bit set
    EXPECT_EQ(server::decode_create_request(empty_bitmap.data(), empty_bitmap.size(), got), VLAN_MGR_ERR_BAD_REQUEST);
}

// One result travels in the id field with an empty bitmap; several in the
// bitmap, with the id field 0.
TEST(ConfigEncode, CreateReplyBytes)
{
    const server::VlanStatus one[] = {{100, 0x411000C2u}};
    const server::Payload a = server::encode_create_reply(2, one);
    ASSERT_EQ(a.size(), 528u);
    EXPECT_EQ((server::Payload(a.begin(), a.begin() + 8)), (server::Payload{0, 2, 0, 1, 0, 0, 0, 100}));
    uint32_t len_word;
    std::memcpy(&len_word, a.data() + 8, 4);
    EXPECT_EQ(len_word, 512u);
    EXPECT_EQ(std::count(a.begin() + 12, a.begin() + 524, 0), 512);
    EXPECT_EQ((server::Payload(a.begin() + 524, a.end())), (server::Payload{0x41, 0x10, 0x00, 0xC2}));

    const server::VlanStatus two[] = {{0, 1}, {4095, 2}};
    const server::Payload b = server::encode_create_reply(1, two);
    ASSERT_EQ(b.size(), 532u);
    EXPECT_EQ((server::Payload(b.begin(), b.begin() + 8)), (server::Payload{0, 1, 0, 2, 0, 0, 0, 0}));
    EXPECT_EQ(b[12], 0x80);       // VLAN 0
    EXPECT_EQ(b[12 + 511], 0x01); // VLAN 4095
    EXPECT_EQ((server::Payload(b.begin() + 524, b.end())), (server::Payload{0, 0, 0, 1, 0, 0, 0, 2}));
    EXPECT_EQ(server::encode_create_update_reply(two).size(), 530u);
}

// ---- Shared helpers of the remaining messages ----------------------------------

vlan_bitmap bitmap_of(const std::vector<uint32_t> &ids)
{
    vlan_bitmap b{};
    b.len = 512;
    for (uint32_t v : ids)
        b.bits[v / 8] |= static_cast<uint8_t>(0x80u >> (v % 8));
    return b;
}

// `n` distinct VLANs of 2..4094 (VLAN 1 left out, as the association
// builders refuse it).
std::vector<uint32_t> without_vlan1(Gen &g, size_t n)
{
    std::vector<uint32_t> ids = g.vlans(std::min<size_t>(n + 1, 4094));
    ids.erase(std::remove(ids.begin(), ids.end(), 1u), ids.end());
    if (ids.size() > n)
        ids.resize(n);
    return ids;
}

uint32_t be32_at(const server::Payload &p, size_t off)
{
    return (uint32_t{p[off]} << 24) | (uint32_t{p[off + 1]} << 16) | (uint32_t{p[off + 2]} << 8) | p[off + 3];
}

// ---- Delete, delete-range, type change ------------------------------------------

TEST(ConfigRoundTrip, DeleteAndDeleteRangeRequests)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const uint16_t vdc = 1; // the builders take the caller's own VDC
        const std::vector<uint32_t> ids = g.vlans(g.size_for(i, 4094));
        const bool range = i % 2 == 1;
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(range ? vlan_delete_range_build_mts(vdc, static_cast<uint32_t>(ids.size()), ids.data(), &p, &len)
                        : vlan_delete_build_mts(vdc, static_cast<uint32_t>(ids.size()), ids.data(), &p, &len),
                  0u);
        Owned<> own(p);
        server::DeleteRequest got;
        ASSERT_EQ(server::decode_delete_request(static_cast<const uint8_t *>(p), len, got), 0u) << "case " << i;
        EXPECT_EQ(got.vdc_id, vdc);
        EXPECT_EQ(got.count, ids.size());
        EXPECT_EQ(server::ids_of(got.vlans), ids);
    }
}

TEST(ConfigRoundTrip, TypeChangeRequestOfEveryType)
{
    ROUNDTRIP_TRACE();
    Gen g;
    const int32_t types[] = {0, 3, 4, 5};
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const uint16_t vdc = g.vdc();
        const int32_t type = i < 8 ? types[i % 4] : (g.coin() ? types[g.in(0, 3)] : static_cast<int32_t>(g.u32()));
        // VLAN 1 may not take a private type.
        std::vector<uint32_t> ids = g.vlans(g.size_for(i, 4094));
        if (type >= 3 && type <= 5) {
            ids.erase(std::remove(ids.begin(), ids.end(), 1u), ids.end());
            if (ids.empty())
                ids.push_back(2);
        }
        const vlan_bitmap b = bitmap_of(ids);
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_type_change_build_mts(vdc, &b, type, &p, &len), 0u) << "case " << i;
        Owned<> own(p);
        server::TypeChangeRequest got;
        ASSERT_EQ(server::decode_type_change_request(static_cast<const uint8_t *>(p), len, got), 0u) << "case " << i;
        EXPECT_EQ(got.vdc_id, vdc);
        EXPECT_EQ(got.type, static_cast<uint32_t>(type));
        EXPECT_EQ(got.count, ids.size());
        EXPECT_EQ(server::ids_of(got.vlans), ids);
    }
}

// The reply of delete, delete-range and type change, read by each of their
// parsers: the overall status is the first failing one.
TEST(ConfigRoundTrip, DeleteReplyReadByTheDeleteAndTypeChangeParsers)
{
    ROUNDTRIP_TRACE();
    Gen g;
    using Parser = uint32_t (*)(vlan_delete_result_t **, uint32_t *, uint16_t *, const void *, int32_t);
    const Parser parsers[] = {vlan_delete_parse_reply, vlan_delete_range_parse_reply, vlan_type_change_parse_reply};
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const uint16_t vdc = g.vdc();
        const std::vector<server::VlanStatus> results = statuses_for(g, g.vlans(g.size_for(i, 4094)));
        uint32_t overall = 0;
        for (const server::VlanStatus &r : results)
            if (overall == 0)
                overall = r.status;
        const server::Payload reply = i % 3 == 2 ? server::encode_type_change_reply(vdc, results)
                                                 : server::encode_delete_reply(vdc, results);
        vlan_delete_result_t *out = nullptr;
        uint32_t count = 0;
        uint16_t got_vdc = 0;
        ASSERT_EQ(parsers[i % 3](&out, &count, &got_vdc, reply.data(), static_cast<int32_t>(reply.size())), overall)
            << "case " << i;
        Owned<vlan_delete_result_t> own(out);
        EXPECT_EQ(got_vdc, vdc);
        ASSERT_EQ(count, results.size());
        for (size_t k = 0; k < results.size(); ++k)
            ASSERT_EQ((server::VlanStatus{out[k].vlan_id, out[k].status}), results[k]) << "entry " << k;
    }
}

// What the decoders refuse: a request shorter than its layout, or a bitmap
// with no VLAN. VLANs 0 and 4095 are decoded as they came.
TEST(ConfigDecode, DeleteAndTypeChangeRefuseShortOrEmptyRequests)
{
    const uint32_t ids[] = {0, 10, 4095};
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_delete_build_mts(1, 3, ids, &p, &len), 0u);
    Owned<> own(p);
    server::Payload del = roundtrip::bytes_of(p, len);
    ASSERT_EQ(del.size(), 524u);
    server::DeleteRequest d;
    ASSERT_EQ(server::decode_delete_request(del.data(), del.size(), d), 0u);
    EXPECT_EQ(server::ids_of(d.vlans), (std::vector<uint32_t>{0, 10, 4095}));
    for (size_t cut = 0; cut < del.size(); ++cut)
        ASSERT_EQ(server::decode_delete_request(del.data(), cut, d), VLAN_MGR_ERR_BAD_REQUEST) << cut;
    EXPECT_EQ(server::decode_delete_request(nullptr, 0, d), VLAN_MGR_ERR_BAD_REQUEST);
    std::fill(del.begin() + 12, del.end(), 0);
    EXPECT_EQ(server::decode_delete_request(del.data(), del.size(), d), VLAN_MGR_ERR_BAD_REQUEST);

    const vlan_bitmap b = bitmap_of({2, 3});
    ASSERT_EQ(vlan_type_change_build_mts(2, &b, 3, &p, &len), 0u);
    Owned<> own2(p);
    server::Payload tc = roundtrip::bytes_of(p, len);
    ASSERT_EQ(tc.size(), 528u);
    server::TypeChangeRequest t;
    ASSERT_EQ(server::decode_type_change_request(tc.data(), tc.size(), t), 0u);
    for (size_t cut = 0; cut < tc.size(); ++cut)
        ASSERT_EQ(server::decode_type_change_request(tc.data(), cut, t), VLAN_MGR_ERR_BAD_REQUEST) << cut;
    EXPECT_EQ(server::decode_type_change_request(nullptr, 0, t), VLAN_MGR_ERR_BAD_REQUEST);
    std::fill(tc.begin() + 16, tc.end(), 0);
    EXPECT_EQ(server::decode_type_change_request(tc.data(), tc.size(), t), VLAN_MGR_ERR_BAD_REQUEST);
}

TEST(ConfigEncode, DeleteReplyBytes)
{
    const server::VlanStatus r[] = {{10, 0}, {11, 0x411000C3u}, {12, 0x41100058u}};
    EXPECT_EQ(server::encode_delete_reply(2, r),
              (server::Payload{0x41, 0x10, 0x00, 0xC3, 0, 2, 0, 0, 0, 3,          // first failure, VDC, count
                               0, 0, 0, 10, 0, 0, 0, 0,                           // {10, 0}
                               0, 0, 0, 11, 0x41, 0x10, 0x00, 0xC3,               // {11, not created}
                               0, 0, 0, 12, 0x41, 0x10, 0x00, 0x58}));            // {12, default VLAN}
    EXPECT_EQ(server::encode_type_change_reply(5, {}), (server::Payload{0, 0, 0, 0, 0, 5, 0, 0, 0, 0}));
}

// ---- Private-VLAN association ------------------------------------------------------

TEST(ConfigRoundTrip, AssociationRequestOfBothTypes)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const uint16_t vdc = g.vdc();
        const int32_t type = i % 2 == 0 ? 2 : 3;
        const int32_t primary = type == 2 ? static_cast<int32_t>(g.in(2, 4094))
                                          : (g.coin() ? 0 : static_cast<int32_t>(g.u32()));
        const uint16_t tag = g.u16();
        const std::vector<uint32_t> ids = without_vlan1(g, g.size_for(i, 4093));
        const vlan_bitmap b = bitmap_of(ids);
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_association_build_mts(vdc, primary, &b, type, tag, &p, &len), 0u) << "case " << i;
        Owned<> own(p);
        server::AssociationEntry got;
        ASSERT_EQ(server::decode_association_request(static_cast<const uint8_t *>(p), len, got), 0u) << "case " << i;
        EXPECT_EQ(got.tag, tag);
        EXPECT_EQ(got.vdc_id, vdc);
        EXPECT_EQ(got.type, static_cast<uint32_t>(type));
        EXPECT_EQ(got.primary, static_cast<uint32_t>(primary));
        EXPECT_EQ(got.count, ids.size());
        EXPECT_EQ(server::ids_of(got.secondaries), ids);
    }
}

TEST(ConfigRoundTrip, AssociationMultiRequestUpTo512Entries)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases / 4; ++i) {
        const uint16_t vdc = g.vdc();
        const uint32_t cookie = g.u32();
        const uint16_t tag = g.u16();
        const uint32_t n = i == 0 ? 512 : (i == 1 ? 1 : g.in(1, 40));
        const int32_t type = n > 1 || g.coin() ? 2 : 3;
        std::vector<uint32_t> primaries(n);
        std::vector<vlan_bitmap> bitmaps(n);
        std::vector<std::vector<uint32_t>> ids(n);
        for (uint32_t k = 0; k < n; ++k) {
            primaries[k] = type == 2 ? g.in(2, 4094) : g.u32();
            ids[k] = without_vlan1(g, i == 0 && k == 0 ? 4093 : g.in(1, 64));
            bitmaps[k] = bitmap_of(ids[k]);
        }
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_association_multi_build_mts(vdc, cookie, tag, type, n, primaries.data(), bitmaps.data(), &p,
                                                   &len),
                  0u)
            << "case " << i;
        Owned<> own(p);
        server::AssociationMultiRequest got;
        ASSERT_EQ(server::decode_association_multi_request(static_cast<const uint8_t *>(p), len, got), 0u)
            << "case " << i;
        EXPECT_EQ(got.cookie, cookie);
        ASSERT_EQ(got.entries.size(), n);
        for (uint32_t k = 0; k < n; ++k) {
            const server::AssociationEntry &e = got.entries[k];
            ASSERT_EQ(e.tag, tag);
            ASSERT_EQ(e.vdc_id, vdc);
            ASSERT_EQ(e.type, static_cast<uint32_t>(type));
            ASSERT_EQ(e.primary, primaries[k]);
            ASSERT_EQ(e.count, ids[k].size());
            ASSERT_EQ(server::ids_of(e.secondaries), ids[k]) << "entry " << k;
        }
    }
}

server::AssociationOutcome outcome_for(Gen &g, size_t n)
{
    server::AssociationOutcome o;
    o.tag = g.u16();
    o.vdc_id = g.vdc();
    o.type = g.coin() ? VLAN_MGR_ASSOC_ADD : (g.coin() ? VLAN_MGR_ASSOC_REMOVE : g.u32());
    o.primary = g.coin() ? g.vlan() : g.u32();
    o.results = statuses_for(g, g.vlans(n));
    return o;
}

uint32_t first_failure(const std::vector<server::VlanStatus> &results)
{
    for (const server::VlanStatus &r : results)
        if (r.status != 0)
            return r.status;
    return 0;
}

TEST(ConfigRoundTrip, AssociationReply)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const server::AssociationOutcome o = outcome_for(g, g.size_for(i, 4094));
        const server::Payload reply = server::encode_association_reply(o);
        vlan_delete_result_t *out = nullptr;
        uint32_t count = 0, type = 0, primary = 0;
        uint16_t vdc = 0, tag = 0;
        ASSERT_EQ(vlan_association_parse_reply(&out, &count, &vdc, &type, &primary, &tag, reply.data(),
                                               static_cast<uint32_t>(reply.size())),
                  first_failure(o.results))
            << "case " << i;
        Owned<vlan_delete_result_t> own(out);
        EXPECT_EQ(vdc, o.vdc_id);
        EXPECT_EQ(type, o.type);
        EXPECT_EQ(primary, o.primary);
        EXPECT_EQ(tag, o.tag);
        ASSERT_EQ(count, o.results.size());
        for (size_t k = 0; k < count; ++k)
            ASSERT_EQ((server::VlanStatus{out[k].vlan_id, out[k].status}), o.results[k]) << "entry " << k;
    }
}

// The multi parser reports the first entry's VDC and type, and every pair
// with its entry's primary.
TEST(ConfigRoundTrip, AssociationMultiReply)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases / 4; ++i) {
        const uint32_t cookie = g.u32();
        const size_t n = i == 0 ? 512 : g.in(0, 20);
        std::vector<server::AssociationOutcome> outcomes;
        for (size_t k = 0; k < n; ++k)
            outcomes.push_back(outcome_for(g, i == 0 && k == 0 ? 4094 : g.in(0, 50)));
        uint32_t overall = 0;
        std::vector<vlan_assoc_result_t> expected;
        for (const server::AssociationOutcome &o : outcomes) {
            if (overall == 0)
                overall = first_failure(o.results);
            for (const server::VlanStatus &r : o.results)
                expected.push_back({r.vlan_id, o.primary, r.status});
        }
        const server::Payload reply = server::encode_association_multi_reply(cookie, outcomes);
        uint16_t vdc = 0;
        uint32_t got_cookie = 0, type = 0, total = 0;
        vlan_assoc_result_t *out = nullptr;
        ASSERT_EQ(vlan_association_multi_parse_reply(&vdc, &got_cookie, &type, &total, &out, reply.data(),
                                                     static_cast<uint32_t>(reply.size())),
                  overall)
            << "case " << i;
        Owned<vlan_assoc_result_t> own(out);
        EXPECT_EQ(got_cookie, cookie);
        EXPECT_EQ(vdc, n != 0 ? outcomes[0].vdc_id : 0);
        EXPECT_EQ(type, n != 0 ? outcomes[0].type : 0);
        ASSERT_EQ(total, expected.size());
        for (size_t k = 0; k < total; ++k) {
            ASSERT_EQ(out[k].secondary_vlan, expected[k].secondary_vlan) << "pair " << k;
            ASSERT_EQ(out[k].primary_vlan, expected[k].primary_vlan) << "pair " << k;
            ASSERT_EQ(out[k].status, expected[k].status) << "pair " << k;
        }
    }
}

TEST(ConfigDecode, AssociationRefusesShortRequestsWrongWordsAndNoSecondary)
{
    const vlan_bitmap b = bitmap_of({20, 21});
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_association_build_mts(1, 10, &b, 2, 7, &p, &len), 0u);
    Owned<> own(p);
    const server::Payload req = roundtrip::bytes_of(p, len);
    ASSERT_EQ(req.size(), 540u);
    server::AssociationEntry e;
    ASSERT_EQ(server::decode_association_request(req.data(), req.size(), e), 0u);
    for (size_t cut = 0; cut < req.size(); ++cut)
        ASSERT_EQ(server::decode_association_request(req.data(), cut, e), VLAN_MGR_ERR_BAD_REQUEST) << cut;
    EXPECT_EQ(server::decode_association_request(nullptr, 0, e), VLAN_MGR_ERR_BAD_REQUEST);
    server::Payload bad = req;
    bad[0] = 0xBB; // magic
    EXPECT_EQ(server::decode_association_request(bad.data(), bad.size(), e), VLAN_MGR_ERR_BAD_REQUEST);
    bad = req;
    bad[7] = 2; // the second word
    EXPECT_EQ(server::decode_association_request(bad.data(), bad.size(), e), VLAN_MGR_ERR_BAD_REQUEST);
    bad = req;
    std::fill(bad.begin() + 28, bad.end(), 0); // no secondary
    EXPECT_EQ(server::decode_association_request(bad.data(), bad.size(), e), VLAN_MGR_ERR_BAD_REQUEST);
    // A longer request is read for its first 540 bytes.
    server::Payload longer = req;
    longer.push_back(0xFF);
    EXPECT_EQ(server::decode_association_request(longer.data(), longer.size(), e), 0u);

    const uint32_t primaries[] = {10, 11};
    const vlan_bitmap bs[] = {bitmap_of({20}), bitmap_of({21})};
    ASSERT_EQ(vlan_association_multi_build_mts(1, 99, 7, 2, 2, primaries, bs, &p, &len), 0u);
    Owned<> own2(p);
    const server::Payload multi = roundtrip::bytes_of(p, len);
    ASSERT_EQ(multi.size(), 8u + 2 * 532);
    server::AssociationMultiRequest m;
    ASSERT_EQ(server::decode_association_multi_request(multi.data(), multi.size(), m), 0u);
    for (size_t cut = 0; cut < multi.size(); ++cut)
        ASSERT_EQ(server::decode_association_multi_request(multi.data(), cut, m), VLAN_MGR_ERR_BAD_REQUEST) << cut;
    EXPECT_EQ(server::decode_association_multi_request(nullptr, 0, m), VLAN_MGR_ERR_BAD_REQUEST);
    bad = multi;
    bad[7] = 0; // n 0
    EXPECT_EQ(server::decode_association_multi_request(bad.data(), bad.size(), m), VLAN_MGR_ERR_BAD_REQUEST);
    bad = multi;
    bad[7] = 1; // one entry of two: accepted, the rest not read
    ASSERT_EQ(server::decode_association_multi_request(bad.data(), bad.size(), m), 0u);
    EXPECT_EQ(m.entries.size(), 1u);
    bad = multi;
    bad[4] = 0x80; // n 2^31 + 2: far beyond the payload
    EXPECT_EQ(server::decode_association_multi_request(bad.data(), bad.size(), m), VLAN_MGR_ERR_BAD_REQUEST);
    bad = multi;
    std::fill(bad.begin() + 8 + 532 + 20, bad.end(), 0); // the second entry has no secondary
    EXPECT_EQ(server::decode_association_multi_request(bad.data(), bad.size(), m), VLAN_MGR_ERR_BAD_REQUEST);
}

TEST(ConfigEncode, AssociationRepliesBytes)
{
    const server::AssociationOutcome one{7, 1, 2, 10, {{20, 0}, {21, 0x411000C5u}}};
    EXPECT_EQ(server::encode_association_reply(one),
              (server::Payload{0xBA, 0xBE, 0xFA, 0xCE, 0, 0, 0, 1, 0, 0, 0, 0, // magic, 1, 0
                               0x41, 0x10, 0x00, 0xC5,                         // first failure
                               0, 1, 0, 0, 0, 2, 0, 0, 0, 10, 0, 7, 0, 0, 0, 2, // VDC, type, primary, tag, count
                               0, 0, 0, 20, 0, 0, 0, 0, 0, 0, 0, 21, 0x41, 0x10, 0x00, 0xC5}));

    const server::AssociationOutcome two[] = {{7, 1, 2, 10, {{20, 0}}}, {8, 1, 2, 11, {{21, 0x411000C3u}}}};
    EXPECT_EQ(server::encode_association_multi_reply(0x01020304u, two),
              (server::Payload{1, 2, 3, 4, 0x41, 0x10, 0x00, 0xC3, 0, 0, 0, 2, // cookie, overall, n
                               0, 0, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 10, 0, 7, 0, 0, 0, 1, 0, 0, 0, 20, 0, 0, 0, 0,
                               0x41, 0x10, 0x00, 0xC3, 0, 1, 0, 0, 0, 2, 0, 0, 0, 11, 0, 8, 0, 0, 0, 1, 0, 0, 0, 21,
                               0x41, 0x10, 0x00, 0xC3}));
    EXPECT_EQ(server::encode_association_multi_reply(5, {}), (server::Payload{0, 0, 0, 5, 0, 0, 0, 0, 0, 0, 0, 0}));
}

// ---- Name to id, reserved check ------------------------------------------------------

TEST(ConfigRoundTrip, NameToIdRequestAndReply)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const uint16_t vdc = 1; // the builder takes the caller's own VDC
        const std::string name = i == 0 ? g.name(32).append(32, 'x').substr(0, 32) : g.name(32);
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_name_to_id_build_mts(name.c_str(), &vdc, &p, &len), 0u);
        Owned<> own(p);
        server::NameToIdRequest got;
        ASSERT_EQ(server::decode_name_to_id_request(static_cast<const uint8_t *>(p), len, got), 0u) << "case " << i;
        EXPECT_EQ(got.vdc_id, vdc);
        EXPECT_EQ(got.name, name);

        const uint32_t status = g.status();
        const uint16_t rvdc = g.vdc();
        const uint32_t vlan = g.u32();
        const server::Payload reply = server::encode_name_to_id_reply(status, rvdc, vlan);
        vdc_vlan_id_t r{0, 0};
        ASSERT_EQ(vlan_name_to_id_parse_reply(&r, reply.data(), static_cast<uint32_t>(reply.size())), status);
        EXPECT_EQ(r.vdc_id, rvdc);
        EXPECT_EQ(r.vlan_id, vlan);
    }
}

// Under 3 bytes, or a last byte that is not NUL; the name ends at its first
// NUL.
TEST(ConfigDecode, NameToIdRefusesShortRequestsAndAMissingNul)
{
    server::NameToIdRequest got;
    const server::Payload ok = {0, 2, 'a', 'b', 0};
    ASSERT_EQ(server::decode_name_to_id_request(ok.data(), ok.size(), got), 0u);
    EXPECT_EQ(got, (server::NameToIdRequest{2, "ab"}));
    for (size_t cut = 0; cut < 3; ++cut)
        EXPECT_EQ(server::decode_name_to_id_request(ok.data(), cut, got), VLAN_MGR_ERR_BAD_REQUEST) << cut;
    EXPECT_EQ(server::decode_name_to_id_request(ok.data(), 4, got), VLAN_MGR_ERR_BAD_REQUEST);
    EXPECT_EQ(server::decode_name_to_id_request(nullptr, 0, got), VLAN_MGR_ERR_BAD_REQUEST);
    const server::Payload empty = {0, 1, 0};
    ASSERT_EQ(server::decode_name_to_id_request(empty.data(), empty.size(), got), 0u);
    EXPECT_EQ(got, (server::NameToIdRequest{1, ""}));
    const server::Payload inner = {0, 1, 'a', 0, 'b', 0};
    ASSERT_EQ(server::decode_name_to_id_request(inner.data(), inner.size(), got), 0u);
    EXPECT_EQ(got, (server::NameToIdRequest{1, "a"}));
}

TEST(ConfigEncode, NameToIdReplyBytes)
{
    EXPECT_EQ(server::encode_name_to_id_reply(0, 3, 4094), (server::Payload{0, 0, 0, 0, 0, 3, 0, 0, 0x0F, 0xFE}));
    EXPECT_EQ(server::encode_name_to_id_reply(VLAN_MGR_ERR_NO_SUCH_NAME, 1, 0),
              (server::Payload{0x41, 0x10, 0x00, 0xC8, 0, 1, 0, 0, 0, 0}));
}

// The reserved check has no request builder: its request decoder agrees
// with the library's request parser on any bytes, and its reply encoder
// gives the bytes of the library's reply builder.
TEST(ConfigRoundTrip, RsvdCheckRequestAndReplyAgreeWithTheLibrary)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        // A length of 0..20 over real bytes (never an empty vector's null
        // data(), which the library refuses as an invalid argument).
        server::Payload buf(20);
        for (uint8_t &b : buf)
            b = g.u8();
        const uint32_t n = g.in(0, 20);
        uint16_t vdc = 0;
        uint32_t w1 = 0, w2 = 0;
        const uint32_t lib = vlan_mgr_vlan_rsvd_check_parse_request_pld(buf.data(), n, &vdc, &w1, &w2);
        server::RsvdCheckRequest got;
        const uint32_t st = server::decode_rsvd_check_request(buf.data(), n, got);
        if (lib != 0) {
            ASSERT_EQ(lib, VLAN_MGR_ERR_TRUNCATED);
            ASSERT_EQ(st, VLAN_MGR_ERR_BAD_REQUEST) << "case " << i;
            continue;
        }
        ASSERT_EQ(st, 0u) << "case " << i;
        EXPECT_EQ(got, (server::RsvdCheckRequest{vdc, w1, w2}));

        const uint32_t result = g.u32();
        void *out = nullptr;
        ASSERT_EQ(vlan_mgr_vlan_rsvd_check_build_reply_pld(vdc, w1, w2, result, &out), 0u);
        Owned<> own(out);
        EXPECT_EQ(server::encode_rsvd_check_reply(vdc, w1, w2, result), roundtrip::bytes_of(out, 16));
    }
}

TEST(ConfigDecode, RsvdCheckRefusesUnder12Bytes)
{
    const server::Payload req = {0, 2, 0xEE, 0xEE, 0, 0, 0, 10, 0, 0, 0, 20, 0xFF};
    server::RsvdCheckRequest got;
    for (size_t cut = 0; cut < 12; ++cut)
        ASSERT_EQ(server::decode_rsvd_check_request(req.data(), cut, got), VLAN_MGR_ERR_BAD_REQUEST) << cut;
    EXPECT_EQ(server::decode_rsvd_check_request(nullptr, 0, got), VLAN_MGR_ERR_BAD_REQUEST);
    ASSERT_EQ(server::decode_rsvd_check_request(req.data(), req.size(), got), 0u);
    EXPECT_EQ(got, (server::RsvdCheckRequest{2, 10, 20}));
}

TEST(ConfigEncode, RsvdCheckReplyBytes)
{
    EXPECT_EQ(server::encode_rsvd_check_reply(2, 10, 20, 3),
              (server::Payload{0, 2, 0, 0, 0, 0, 0, 10, 0, 0, 0, 20, 0, 0, 0, 3}));
}

// ---- Create/update and configuration mode (TLV) ---------------------------------------

server::Payload create_update_tlv(const std::vector<server::CreateUpdateItem> &items)
{
    vlan_mgr_create_update_req_t *msg = nullptr;
    EXPECT_EQ(vlan_mgr_init_create_update_req_msg(&msg, static_cast<uint32_t>(items.size())), 0);
    Owned<vlan_mgr_create_update_req_t> own(msg);
    const auto count = static_cast<uint16_t>(items.size());
    std::memcpy(msg, &count, sizeof count);
    for (size_t i = 0; i < items.size(); ++i) {
        vlan_mgr_create_update_t rec{};
        rec.field3 = items[i].operation;
        rec.field5 = items[i].vlan_id;
        rec.field6 = items[i].segment;
        rec.field7 = items[i].mode;
        std::memcpy(rec.name, items[i].name.data(), std::min(items[i].name.size(), sizeof rec.name - 1));
        std::memcpy(reinterpret_cast<uint8_t *>(msg) + 2 + sizeof rec * i, &rec, sizeof rec);
    }
    void *tlv = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(vlan_mgr_create_update_build_mts(msg, &tlv, &len), 0);
    Owned<> own_tlv(tlv);
    return tlv != nullptr ? roundtrip::bytes_of(tlv, len) : server::Payload{};
}

TEST(ConfigRoundTrip, CreateUpdateRequest)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases / 2; ++i) {
        const size_t n = g.size_for(i, 4094);
        // One record may carry any id; several carry distinct ids below 4096.
        std::vector<uint32_t> ids = n == 1 ? std::vector<uint32_t>{g.coin() ? g.vlan() : g.u32()} : g.vlans(n);
        std::shuffle(ids.begin(), ids.end(), g.engine());
        std::vector<server::CreateUpdateItem> items;
        for (uint32_t v : ids)
            items.push_back({static_cast<uint8_t>(g.coin() ? g.in(0, 1) : g.u8()), v, g.coin() ? 0 : g.u32(),
                             g.u16(), g.name(32)});
        const server::Payload tlv = create_update_tlv(items);
        ASSERT_FALSE(tlv.empty());
        std::vector<server::CreateUpdateItem> got;
        ASSERT_EQ(server::decode_create_update_request(tlv.data(), tlv.size(), got), 0u) << "case " << i;
        ASSERT_EQ(got, items) << "case " << i;
    }
}

// An empty or undecodable buffer, no record, and with several records two of
// one VLAN or an id the reply bitmap cannot carry.
TEST(ConfigDecode, CreateUpdateRefusesWhatTheReplyCannotCarry)
{
    std::vector<server::CreateUpdateItem> got;
    const server::Payload one = create_update_tlv({{0, 5000, 0, 0, ""}});
    ASSERT_EQ(server::decode_create_update_request(one.data(), one.size(), got), 0u);
    EXPECT_EQ(got, (std::vector<server::CreateUpdateItem>{{0, 5000, 0, 0, ""}}));
    EXPECT_FALSE(got[0].update_only());
    const server::Payload upd = create_update_tlv({{1, 7, 0, 0, "web"}});
    ASSERT_EQ(server::decode_create_update_request(upd.data(), upd.size(), got), 0u);
    EXPECT_TRUE(got[0].update_only());

    EXPECT_EQ(server::decode_create_update_request(nullptr, 0, got), VLAN_MGR_ERR_BAD_REQUEST);
    EXPECT_EQ(server::decode_create_update_request(one.data(), 0, got), VLAN_MGR_ERR_BAD_REQUEST);
    EXPECT_EQ(server::decode_create_update_request(one.data(), 7, got), VLAN_MGR_ERR_BAD_REQUEST);
    const server::Payload none = create_update_tlv({});
    EXPECT_EQ(server::decode_create_update_request(none.data(), none.size(), got), VLAN_MGR_ERR_BAD_REQUEST);
    const server::Payload dup = create_update_tlv({{0, 7, 0, 0, "a"}, {0, 7, 0, 0, "b"}});
    EXPECT_EQ(server::decode_create_update_request(dup.data(), dup.size(), got), VLAN_MGR_ERR_BAD_REQUEST);
    const server::Payload big = create_update_tlv({{0, 7, 0, 0, ""}, {0, 4096, 0, 0, ""}});
    EXPECT_EQ(server::decode_create_update_request(big.data(), big.size(), got), VLAN_MGR_ERR_BAD_REQUEST);
    const server::Payload edge = create_update_tlv({{0, 0, 0, 0, ""}, {0, 4095, 0, 0, ""}});
    EXPECT_EQ(server::decode_create_update_request(edge.data(), edge.size(), got), 0u);
}

TEST(ConfigRoundTrip, ConfigModeRequestAndReply)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases / 2; ++i) {
        vlan_configmode_payload_t msg{};
        vlan_configmode_payload_init(&msg);
        msg.field26 = g.u32();
        msg.field27 = g.u32();
        const std::vector<uint32_t> ids = i == 2 ? std::vector<uint32_t>{} : g.vlans(g.size_for(i, 4094));
        msg.vlans = bitmap_of(ids);
        void *tlv = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_build_vlan_configmode_change_req(&msg, &tlv, &len), 0);
        Owned<> own(tlv);
        server::ConfigModeRequest got;
        ASSERT_EQ(server::decode_configmode_request(static_cast<const uint8_t *>(tlv), len, got), 0u) << "case " << i;
        EXPECT_EQ(got.mode, msg.field26);
        EXPECT_EQ(got.field27, msg.field27);
        EXPECT_EQ(server::ids_of(got.vlans), ids);

        const uint32_t field29 = i == 0 ? 0 : g.u32();
        const server::Payload reply = server::encode_configmode_reply(field29);
        vlan_configmode_rsp_t *rsp = nullptr;
        ASSERT_EQ(vlan_parse_vlan_configmode_change_rsp(reply.data(), static_cast<uint32_t>(reply.size()), &rsp), 0);
        Owned<vlan_configmode_rsp_t> own_rsp(rsp);
        ASSERT_NE(rsp, nullptr);
        EXPECT_EQ(rsp->field29, field29);
    }
}

TEST(ConfigDecode, ConfigModeRefusesAnEmptyOrUndecodableBuffer)
{
    server::ConfigModeRequest got;
    EXPECT_EQ(server::decode_configmode_request(nullptr, 0, got), VLAN_MGR_ERR_BAD_REQUEST);
    const server::Payload junk = {0, 0, 0, 8, 9, 9, 9, 9};
    EXPECT_EQ(server::decode_configmode_request(junk.data(), 0, got), VLAN_MGR_ERR_BAD_REQUEST);
    EXPECT_EQ(server::decode_configmode_request(junk.data(), junk.size(), got), VLAN_MGR_ERR_BAD_REQUEST);
}

TEST(ConfigEncode, ConfigModeReplyBytes)
{
    const server::Payload expected = {
        0x00, 0x00, 0x00, 0x2C, 0x01, 0x00, 0x00, 0x15,                  // length 44, version 1, name of 21
        'v',  'l',  'a',  'n',  '_',  'c',  'o',  'n',  'f',  'i',  'g', // "vlan_configmode_rsp_t"
        'm',  'o',  'd',  'e',  '_',  'r',  's',  'p',  '_',  't',  0x00, 0x00, 0x00,
        0x00, 0x00, 0x00, 0x1D, 0x00, 0x00, 0x00, 0x04, 0x00, 0x00, 0x00, 0x00, // id 29, 4 bytes: 0
    };
    EXPECT_EQ(server::encode_configmode_reply(0), expected);
    EXPECT_EQ(be32_at(server::encode_configmode_reply(0x11223344u), 40), 0x44332211u); // host order
}

} // namespace
