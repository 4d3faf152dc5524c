// Configuration requests: builder -> manager's decoder, and manager's
// encoder -> parser, give back what went in.
#include <algorithm>
#include <cstring>

#include <vlan_mgr/config_req.h>
#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/server/config.h>

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

} // namespace
