// The VLAN query handlers with the fixed layouts: requests built by the
// library's builders, replies decoded by the library's parsers.
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <vlan_mgr/bd_id.h>
#include <vlan_mgr/query_req.h>

#include "handler_test_util.h"
#include "query_test_util.h"

namespace vlan_mgrd {
namespace {

using namespace qtest;
using test::be32;

class QueryHandlers : public ::testing::Test {
protected:
    std::unique_ptr<Manager> m = make_manager();
    ChangeSet changes;

    Reply run(uint32_t opcode, const Bytes &payload, uint16_t src_vdc = 1)
    {
        return test::run(*m, opcode, payload, changes, src_vdc);
    }

    Bytes info_request(uint32_t opcode, uint16_t vdc, uint32_t vlan)
    {
        const vdc_vlan_id_t key{vdc, vlan};
        void *p = nullptr;
        uint32_t len = 0;
        const uint32_t st = opcode == VLAN_MGR_OPC_VLAN_INFO ? vlan_get_vlan_info_build_mts(&key, &p, &len)
                                                             : vlan_get_next_vlan_info_build_mts(&key, &p, &len);
        EXPECT_EQ(st, 0u);
        return take(p, len);
    }

    Bytes all_request()
    {
        const uint16_t vdc = 1;
        void *p = nullptr;
        uint32_t len = 0;
        EXPECT_EQ(vlan_get_all_created_vlan_build_mts(&vdc, 1, &p, &len), 0u);
        return take(p, len);
    }

    Bytes range_request(const vlan_bitmap &bm)
    {
        const uint16_t vdc = 1;
        void *p = nullptr;
        uint32_t len = 0;
        EXPECT_EQ(vlan_get_range_created_vlan_build_mts(&vdc, 1, &p, &len, &bm), 0u);
        return take(p, len);
    }

    Bytes attr_request(int32_t attr)
    {
        void *p = nullptr;
        uint32_t len = 0;
        EXPECT_EQ(vlan_get_vlans_for_attr_value_build_mts(1, attr, &p, &len), 0u);
        return take(p, len);
    }

    Bytes reserve_request(uint32_t query)
    {
        const uint16_t vdc = 1;
        void *p = nullptr;
        uint32_t len = 0;
        EXPECT_EQ(vlan_get_reserve_vlan_info_build_mts(&vdc, 1, query, &p, &len), 0u);
        return take(p, len);
    }

    Bytes vni_request(uint32_t vni, uint32_t value)
    {
        void *p = nullptr;
        uint32_t len = 0;
        EXPECT_EQ(vlan_mgr_req_vni_server_vlan_mapping_build_mts(0, vni, value, &p, &len), 0u);
        return take(p, len);
    }

    // Decodes a 62-byte info reply; returns its status.
    uint32_t parse_info(const Reply &r, vlan_info_record &rec)
    {
        std::memset(&rec, 0xEE, sizeof rec);
        return vlan_get_vlan_info_parse_reply(&rec, r.data(), static_cast<uint32_t>(r.size()));
    }

    struct Listing {
        uint32_t status = 0;
        std::vector<created_vlan_record> records;
    };
    Listing parse_listing(const Reply &r)
    {
        Listing out;
        created_vlan_record *recs = nullptr;
        uint32_t count = 0;
        out.status = vlan_get_all_created_vlan_parse_reply(&recs, &count, r.data(), static_cast<uint32_t>(r.size()));
        if (recs != nullptr)
            out.records.assign(recs, recs + count);
        std::free(recs);
        return out;
    }

    struct AttrResult {
        uint32_t status = 0;
        uint32_t attr = 0;
        uint32_t count = 0;
        std::vector<vlan_attr_entry> entries;
    };
    AttrResult query_attr(int32_t attr)
    {
        const Reply r = run(VLAN_MGR_OPC_VLANS_FOR_ATTR_VALUE, attr_request(attr));
        AttrResult out;
        vlan_attr_entry *recs = nullptr;
        out.status = vlan_get_vlans_for_attr_value_parse_reply(&out.attr, &out.count, &recs, r.data(),
                                                                static_cast<uint32_t>(r.size()));
        if (recs != nullptr)
            out.entries.assign(recs, recs + out.count);
        std::free(recs);
        return out;
    }

    static std::vector<uint32_t> ids(const std::vector<vlan_attr_entry> &entries)
    {
        std::vector<uint32_t> out;
        for (const vlan_attr_entry &e : entries)
            out.push_back(e.vlan_id);
        return out;
    }
};

using Attrs = std::vector<uint32_t>;
Attrs attrs_of(const vlan_info_record &rec)
{
    Attrs out;
    for (size_t i = 0; i < 6; ++i)
        out.push_back(rec.attr[i]);
    return out;
}

// ---- VLAN info ----------------------------------------------------------------

TEST_F(QueryHandlers, VlanInfoAnswersAttributesAndName)
{
    const Reply r = run(VLAN_MGR_OPC_VLAN_INFO, info_request(VLAN_MGR_OPC_VLAN_INFO, 1, 10));
    ASSERT_EQ(r.size(), 62u);
    const Bytes expected = {0, 0, 0, 0,  0, 1,                                  // status, VDC 1
                            0, 0, 0, 0,  0, 0, 0, 0,  0, 0, 0, 10,              // type, mode, BD 10
                            0, 0, 0, 0,  0, 0, 0, 0,  0, 0, 0, 1,               // segment, primary, active
                            'f', 'i', 'n', 'a', 'n', 'c', 'e', 0, 0, 0, 0, 0, 0, 0, 0, 0,
                            0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(r, expected);
    vlan_info_record rec;
    EXPECT_EQ(parse_info(r, rec), 0u);
    EXPECT_EQ(rec.vdc_id, 1u);
    EXPECT_EQ(attrs_of(rec), (Attrs{0, 0, 10, 0, 0, 1}));
    EXPECT_STREQ(rec.name, "finance");
    EXPECT_FALSE(changes.any());
}

TEST_F(QueryHandlers, VlanInfoOfAVlanWithoutNameCarriesTheDefaultName)
{
    vlan_info_record rec;
    EXPECT_EQ(parse_info(run(VLAN_MGR_OPC_VLAN_INFO, info_request(VLAN_MGR_OPC_VLAN_INFO, 1, 1)), rec), 0u);
    EXPECT_EQ(attrs_of(rec), (Attrs{0, 0, 1, 0, 0, 1}));
    EXPECT_STREQ(rec.name, "VLAN0001");
    EXPECT_EQ(parse_info(run(VLAN_MGR_OPC_VLAN_INFO, info_request(VLAN_MGR_OPC_VLAN_INFO, 1, 22)), rec), 0u);
    EXPECT_STREQ(rec.name, "VLAN0022");
}

TEST_F(QueryHandlers, VlanInfoOfPrivateAndSuspendedVlans)
{
    vlan_info_record rec;
    EXPECT_EQ(parse_info(run(VLAN_MGR_OPC_VLAN_INFO, info_request(VLAN_MGR_OPC_VLAN_INFO, 1, 20)), rec), 0u);
    EXPECT_EQ(attrs_of(rec), (Attrs{3, 0, 20, 0, 0, 1}));
    EXPECT_STREQ(rec.name, "pvlan-primary");
    EXPECT_EQ(parse_info(run(VLAN_MGR_OPC_VLAN_INFO, info_request(VLAN_MGR_OPC_VLAN_INFO, 1, 21)), rec), 0u);
    EXPECT_EQ(attrs_of(rec), (Attrs{4, 0, 21, 0, 20, 1}));
    EXPECT_EQ(parse_info(run(VLAN_MGR_OPC_VLAN_INFO, info_request(VLAN_MGR_OPC_VLAN_INFO, 1, 22)), rec), 0u);
    EXPECT_EQ(attrs_of(rec), (Attrs{5, 0, 22, 0, 20, 1}));
    EXPECT_EQ(parse_info(run(VLAN_MGR_OPC_VLAN_INFO, info_request(VLAN_MGR_OPC_VLAN_INFO, 1, 30)), rec), 0u);
    EXPECT_EQ(attrs_of(rec), (Attrs{0, 2, 30, 5000, 0, 2}));
    EXPECT_FALSE(changes.any());
}

TEST_F(QueryHandlers, VlanInfoNameOf32CharactersFillsTheField)
{
    const std::string name(32, 'n');
    m->vdc(1).vlans[10].name = name;
    const Reply r = run(VLAN_MGR_OPC_VLAN_INFO, info_request(VLAN_MGR_OPC_VLAN_INFO, 1, 10));
    ASSERT_EQ(r.size(), 62u);
    EXPECT_EQ(std::string(r.begin() + 30, r.end()), name);
    vlan_info_record rec;
    EXPECT_EQ(parse_info(r, rec), 0u);
    EXPECT_EQ(std::string(rec.name), name);
}

TEST_F(QueryHandlers, VlanInfoOfAVlanNotCreatedIsABareStatus)
{
    const Reply r = run(VLAN_MGR_OPC_VLAN_INFO, info_request(VLAN_MGR_OPC_VLAN_INFO, 1, 11));
    EXPECT_EQ(r, status_reply(0x411000C3));
    vlan_info_record rec;
    EXPECT_EQ(parse_info(r, rec), 0x411000C3u);
    // A reserved VLAN is never created.
    EXPECT_EQ(run(VLAN_MGR_OPC_VLAN_INFO, info_request(VLAN_MGR_OPC_VLAN_INFO, 1, 4000)), status_reply(0x411000C3));
    // VLAN 100 exists in VDC 2 only.
    EXPECT_EQ(run(VLAN_MGR_OPC_VLAN_INFO, info_request(VLAN_MGR_OPC_VLAN_INFO, 1, 100)), status_reply(0x411000C3));
    EXPECT_FALSE(changes.any());
}

TEST_F(QueryHandlers, VlanInfoOutsideOneTo4094IsAnInvalidVlan)
{
    // The library's builder refuses these ids; the bytes are written here.
    EXPECT_EQ(run(VLAN_MGR_OPC_VLAN_INFO, Bytes{0, 1, 0, 0, 0, 0}), status_reply(0x41100012));
    EXPECT_EQ(run(VLAN_MGR_OPC_VLAN_INFO, Bytes{0, 1, 0, 0, 0x0F, 0xFF}), status_reply(0x41100012));
    EXPECT_EQ(run(VLAN_MGR_OPC_VLAN_INFO, Bytes{0, 1, 0xFF, 0xFF, 0xFF, 0xFF}), status_reply(0x41100012));
    EXPECT_EQ(run(VLAN_MGR_OPC_NEXT_VLAN_INFO, Bytes{0, 1, 0, 0, 0x0F, 0xFF}), status_reply(0x41100012));
    EXPECT_EQ(run(VLAN_MGR_OPC_NEXT_VLAN_INFO, Bytes{0, 1, 0x80, 0, 0, 0}), status_reply(0x41100012));
}

TEST_F(QueryHandlers, VlanInfoOfVdc2ServesVdc2Requests)
{
    // VDC 2 asks about its own VLAN (the bytes a builder of VDC 2 writes).
    vlan_info_record rec;
    EXPECT_EQ(parse_info(run(VLAN_MGR_OPC_VLAN_INFO, Bytes{0, 2, 0, 0, 0, 100}, 2), rec), 0u);
    EXPECT_EQ(rec.vdc_id, 2u);
    EXPECT_EQ(attrs_of(rec), (Attrs{0, 0, 100, 0, 0, 1}));
    EXPECT_STREQ(rec.name, "VLAN0100");
    EXPECT_EQ(run(VLAN_MGR_OPC_VLAN_INFO, Bytes{0, 2, 0, 0, 0, 10}, 2), status_reply(0x411000C3));
}

// ---- Next-VLAN info -------------------------------------------------------------

TEST_F(QueryHandlers, NextVlanInfoWalksTheCreatedVlansInIdOrder)
{
    std::vector<uint32_t> walked;
    std::vector<std::string> names;
    uint32_t after = 0;
    uint32_t status = 0;
    for (int guard = 0; guard < 10; ++guard) {
        const Reply r = run(VLAN_MGR_OPC_NEXT_VLAN_INFO, info_request(VLAN_MGR_OPC_NEXT_VLAN_INFO, 1, after));
        vlan_info_record rec;
        status = parse_info(r, rec);
        if (r.size() == 4)
            break;
        ASSERT_EQ(status, 0u);
        ASSERT_EQ(rec.vdc_id, 1u);
        walked.push_back(rec.attr[2]); // the BD id is the VLAN id
        names.push_back(rec.name);
        after = rec.attr[2];
    }
    EXPECT_EQ(status, 0x41100011u);
    EXPECT_EQ(walked, (std::vector<uint32_t>{1, 10, 20, 21, 22, 30}));
    EXPECT_EQ(names, (std::vector<std::string>{"VLAN0001", "finance", "pvlan-primary", "VLAN0021", "VLAN0022",
                                               "VLAN0030"}));
    EXPECT_FALSE(changes.any());
}

TEST_F(QueryHandlers, NextVlanInfoPastTheLastVlanIsNoEntries)
{
    EXPECT_EQ(run(VLAN_MGR_OPC_NEXT_VLAN_INFO, info_request(VLAN_MGR_OPC_NEXT_VLAN_INFO, 1, 30)),
              status_reply(0x41100011));
    EXPECT_EQ(run(VLAN_MGR_OPC_NEXT_VLAN_INFO, info_request(VLAN_MGR_OPC_NEXT_VLAN_INFO, 1, 4094)),
              status_reply(0x41100011));
    // From inside a gap: the next created VLAN.
    vlan_info_record rec;
    EXPECT_EQ(parse_info(run(VLAN_MGR_OPC_NEXT_VLAN_INFO, info_request(VLAN_MGR_OPC_NEXT_VLAN_INFO, 1, 11)), rec),
              0u);
    EXPECT_EQ(rec.attr[2], 20u);
}

TEST_F(QueryHandlers, NextVlanInfoWalksAll4094Vlans)
{
    create_all(*m);
    m->vdc(1).vlans[4094].name = "last";
    uint32_t after = 0;
    uint32_t seen = 0;
    for (;;) {
        const Reply r = run(VLAN_MGR_OPC_NEXT_VLAN_INFO, info_request(VLAN_MGR_OPC_NEXT_VLAN_INFO, 1, after));
        vlan_info_record rec;
        const uint32_t st = parse_info(r, rec);
        if (r.size() == 4) {
            EXPECT_EQ(st, 0x41100011u);
            break;
        }
        ASSERT_EQ(st, 0u);
        ASSERT_EQ(rec.attr[2], after + 1);
        after = rec.attr[2];
        ++seen;
        if (after == 4094) {
            EXPECT_STREQ(rec.name, "last");
        } else if (after == 4093) {
            EXPECT_STREQ(rec.name, "VLAN4093");
        }
        ASSERT_LE(seen, 4094u);
    }
    EXPECT_EQ(seen, 4094u);
    EXPECT_EQ(after, 4094u);
    EXPECT_FALSE(changes.any());
}

// ---- Created-VLAN listings ---------------------------------------------------------

TEST_F(QueryHandlers, AllCreatedVlansListsEveryCreatedVlan)
{
    const Reply r = run(VLAN_MGR_OPC_ALL_CREATED_VLAN, all_request());
    ASSERT_EQ(r.size(), 4u + 36u + 132u * 6u);
    EXPECT_EQ(be32(r, 0), 1u);         // one group
    EXPECT_EQ(test::be16(r, 4), 1u);   // VDC 1
    EXPECT_EQ(be32(r, 6), 6u);         // six records
    // The record of VLAN 30: id, mode, BD, segment, primary, state.
    const Bytes rec30(r.begin() + 10 + 5 * 22, r.begin() + 10 + 6 * 22);
    EXPECT_EQ(rec30, (Bytes{0, 0, 0, 30, 0, 0, 0, 2, 0, 30, 0, 0, 0x13, 0x88, 0, 0, 0, 0, 0, 0, 0, 2}));
    const Listing l = parse_listing(r);
    ASSERT_EQ(l.status, 0u);
    ASSERT_EQ(l.records.size(), 6u);
    const uint32_t want_ids[] = {1, 10, 20, 21, 22, 30};
    for (size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(l.records[i].vdc_id, 1u);
        EXPECT_EQ(l.records[i].vlan_id, want_ids[i]);
        EXPECT_EQ(l.records[i].bd_id, want_ids[i]);
    }
    EXPECT_EQ(l.records[3].attr5, 20u); // 21's primary
    EXPECT_EQ(l.records[4].attr5, 20u);
    EXPECT_EQ(l.records[5].attr2, 2u);
    EXPECT_EQ(l.records[5].attr4, 5000u);
    EXPECT_EQ(l.records[5].attr6, 2u);
    EXPECT_EQ(l.records[0].attr6, 1u);
    EXPECT_FALSE(changes.any());
}

TEST_F(QueryHandlers, AllCreatedVlansLists4094Vlans)
{
    create_all(*m);
    const Reply r = run(VLAN_MGR_OPC_ALL_CREATED_VLAN, all_request());
    ASSERT_EQ(r.size(), 4u + 36u + 132u * 4094u);
    const Listing l = parse_listing(r);
    ASSERT_EQ(l.status, 0u);
    ASSERT_EQ(l.records.size(), 4094u);
    for (uint32_t i = 0; i < 4094; ++i) {
        ASSERT_EQ(l.records[i].vlan_id, i + 1);
        ASSERT_EQ(l.records[i].bd_id, i + 1);
        ASSERT_EQ(l.records[i].vdc_id, 1u);
    }
    EXPECT_EQ(l.records[29].attr4, 5000u);
}

TEST_F(QueryHandlers, RangeCreatedVlansListsTheCreatedOnesOfTheSet)
{
    const vlan_bitmap asked = bitmap_of({0, 1, 2, 10, 21, 40, 4000, 4094, 4095});
    const Reply r = run(VLAN_MGR_OPC_RANGE_CREATED_VLAN, range_request(asked));
    ASSERT_EQ(r.size(), 4u + 36u + 132u * 3u);
    const Listing l = parse_listing(r);
    ASSERT_EQ(l.status, 0u);
    ASSERT_EQ(l.records.size(), 3u);
    EXPECT_EQ(l.records[0].vlan_id, 1u);
    EXPECT_EQ(l.records[1].vlan_id, 10u);
    EXPECT_EQ(l.records[2].vlan_id, 21u);
    EXPECT_EQ(l.records[2].attr5, 20u);
    EXPECT_FALSE(changes.any());
}

TEST_F(QueryHandlers, RangeCreatedVlansWithNoneCreatedIsAnEmptyGroup)
{
    const Reply r = run(VLAN_MGR_OPC_RANGE_CREATED_VLAN, range_request(bitmap_of({2, 3, 4000})));
    Bytes expected = {0, 0, 0, 1, 0, 1, 0, 0, 0, 0};
    expected.resize(40, 0);
    EXPECT_EQ(r, expected);
    EXPECT_EQ(parse_listing(r).status, 0x41100011u);
}

TEST_F(QueryHandlers, RangeCreatedVlansAtTheBoundsOfTheVlanSpace)
{
    create_all(*m);
    // Every bit, 0 and 4095 included: 4094 VLANs.
    Listing l = parse_listing(run(VLAN_MGR_OPC_RANGE_CREATED_VLAN, range_request(bitmap_range(0, 4095))));
    ASSERT_EQ(l.status, 0u);
    ASSERT_EQ(l.records.size(), 4094u);
    EXPECT_EQ(l.records.front().vlan_id, 1u);
    EXPECT_EQ(l.records.back().vlan_id, 4094u);
    // The first and the last VLAN alone.
    l = parse_listing(run(VLAN_MGR_OPC_RANGE_CREATED_VLAN, range_request(bitmap_of({1, 4094}))));
    ASSERT_EQ(l.records.size(), 2u);
    EXPECT_EQ(l.records[0].vlan_id, 1u);
    EXPECT_EQ(l.records[1].vlan_id, 4094u);
    EXPECT_EQ(l.records[1].bd_id, 4094u);
    // Only the ids that name no VLAN.
    EXPECT_EQ(parse_listing(run(VLAN_MGR_OPC_RANGE_CREATED_VLAN, range_request(bitmap_of({0, 4095})))).status,
              0x41100011u);
}

TEST_F(QueryHandlers, ListingRequestsWithAnotherCountOrBitmapLengthAreMalformed)
{
    Bytes all = all_request();
    all[3] = 2; // two VDC ids
    EXPECT_EQ(run(VLAN_MGR_OPC_ALL_CREATED_VLAN, all), status_reply(0x411000C0));
    Bytes range = range_request(bitmap_of({10}));
    range[3] = 0;
    EXPECT_EQ(run(VLAN_MGR_OPC_RANGE_CREATED_VLAN, range), status_reply(0x411000C0));
    range = range_request(bitmap_of({10}));
    const uint32_t wrong_len = 511;
    std::memcpy(range.data() + 4, &wrong_len, 4);
    EXPECT_EQ(run(VLAN_MGR_OPC_RANGE_CREATED_VLAN, range), status_reply(0x411000C0));
    EXPECT_FALSE(changes.any());
}

// ---- VLANs by attribute -------------------------------------------------------------

TEST_F(QueryHandlers, AttributeQueryReplyBytes)
{
    const Reply r = run(VLAN_MGR_OPC_VLANS_FOR_ATTR_VALUE, attr_request(5));
    EXPECT_EQ(r, (Bytes{0, 0, 0, 0, 0, 0, 0, 5, 0, 0, 0, 2, 0, 0, 0, 21, 0, 0, 0, 22}));
    EXPECT_FALSE(changes.any());
}

TEST_F(QueryHandlers, AttributeQueryListsTheVlansCarryingEachServedAttribute)
{
    const std::vector<std::pair<int32_t, std::vector<uint32_t>>> cases = {
        {1, {20, 21, 22}},               // private VLANs
        {2, {30}},                       // a mode word
        {3, {1, 10, 20, 21, 22, 30}},    // a BD: every created VLAN
        {4, {30}},                       // a segment id
        {5, {21, 22}},                   // a primary VLAN
        {6, {30}},                       // suspended
        {8, {20}},                       // primary
        {9, {21}},                       // isolated
        {10, {22}},                      // community
        {11, {10, 20}},                  // a name of their own
    };
    for (const auto &[attr, want] : cases) {
        const AttrResult res = query_attr(attr);
        EXPECT_EQ(res.status, 0u) << attr;
        EXPECT_EQ(res.attr, static_cast<uint32_t>(attr));
        EXPECT_EQ(res.count, want.size()) << attr;
        EXPECT_EQ(ids(res.entries), want) << attr;
    }
    EXPECT_FALSE(changes.any());
}

TEST_F(QueryHandlers, AttributeSevenPairsEveryVlanWithItsBd)
{
    const AttrResult res = query_attr(7);
    ASSERT_EQ(res.status, 0u);
    EXPECT_EQ(res.attr, 7u);
    ASSERT_EQ(res.entries.size(), 6u);
    const uint32_t want[] = {1, 10, 20, 21, 22, 30};
    for (size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(res.entries[i].vlan_id, want[i]);
        EXPECT_EQ(res.entries[i].value, want[i]);
    }
    create_all(*m);
    const AttrResult all = query_attr(7);
    ASSERT_EQ(all.entries.size(), 4094u);
    EXPECT_EQ(all.entries[4093].vlan_id, 4094u);
    EXPECT_EQ(all.entries[4093].value, 4094u);
}

TEST_F(QueryHandlers, AttributeWithNoVlanIsAnEmptyList)
{
    m->vdc(1).vlans[30].segment = 0;
    const Reply r = run(VLAN_MGR_OPC_VLANS_FOR_ATTR_VALUE, attr_request(4));
    EXPECT_EQ(r, (Bytes{0, 0, 0, 0, 0, 0, 0, 4, 0, 0, 0, 0}));
}

TEST_F(QueryHandlers, AttributesTwelveToTwentyOneAreNotSupported)
{
    for (int32_t attr = 12; attr <= 21; ++attr) {
        const Reply r = run(VLAN_MGR_OPC_VLANS_FOR_ATTR_VALUE, attr_request(attr));
        EXPECT_EQ(r, (Bytes{0x41, 0x10, 0x00, 0xC9, 0, 0, 0, static_cast<uint8_t>(attr), 0, 0, 0, 0}));
        const AttrResult res = query_attr(attr);
        EXPECT_EQ(res.status, 0x411000C9u);
        EXPECT_EQ(res.attr, static_cast<uint32_t>(attr));
        EXPECT_EQ(res.count, 0u);
        EXPECT_TRUE(res.entries.empty());
    }
}

TEST_F(QueryHandlers, AttributeOutsideOneToTwentyOneIsInvalid)
{
    EXPECT_EQ(run(VLAN_MGR_OPC_VLANS_FOR_ATTR_VALUE, Bytes{0, 1, 0, 0, 0, 0}), status_reply(0x41100076));
    EXPECT_EQ(run(VLAN_MGR_OPC_VLANS_FOR_ATTR_VALUE, Bytes{0, 1, 0, 0, 0, 22}), status_reply(0x41100076));
    EXPECT_EQ(run(VLAN_MGR_OPC_VLANS_FOR_ATTR_VALUE, Bytes{0, 1, 0xFF, 0xFF, 0xFF, 0xFF}), status_reply(0x41100076));
}

// ---- Reserved-VLAN information --------------------------------------------------------

TEST_F(QueryHandlers, ReserveVlanInfoAnswersTheRangeAndTheReservedSet)
{
    // The range and the reserved set differ here: 4094 kept out of the set.
    m->vdc(1).reserved.reset(4094);
    const Reply r = run(VLAN_MGR_OPC_RESERVE_VLAN_INFO, reserve_request(5));
    ASSERT_EQ(r.size(), 8u + 1044u);
    EXPECT_EQ(Bytes(r.begin(), r.begin() + 12), (Bytes{0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1}));
    reserve_vlan_info *recs = nullptr;
    uint32_t count = 0, status = 0xFFFFFFFF;
    ASSERT_EQ(vlan_get_reserve_vlan_info_parse_reply(&recs, &count, &status, r.data(), static_cast<uint32_t>(r.size())),
              0u);
    ASSERT_EQ(count, 1u);
    EXPECT_EQ(status, 0u);
    EXPECT_EQ(recs[0].vdc_id, 1u);
    EXPECT_EQ(members(recs[0].bitmap1), range_ids(3968, 4094));
    EXPECT_EQ(members(recs[0].bitmap2), range_ids(3968, 4093));
    EXPECT_EQ(recs[0].word1, 3968u);
    EXPECT_EQ(recs[0].word2, 4094u);
    std::free(recs);
    // The query word selects nothing.
    EXPECT_EQ(run(VLAN_MGR_OPC_RESERVE_VLAN_INFO, reserve_request(0xFFFFFFFF)), r);
    EXPECT_FALSE(changes.any());
}

TEST_F(QueryHandlers, ReserveVlanInfoWithoutARange)
{
    Vdc &d = m->vdc(1);
    d.reserved.reset();
    d.rsvd_start = d.rsvd_end = 0;
    reserve_vlan_info_local *recs = nullptr;
    uint32_t count = 0, status = 0xFFFFFFFF;
    const Reply r = run(VLAN_MGR_OPC_RESERVE_VLAN_INFO, reserve_request(1));
    ASSERT_EQ(vlan_get_reserve_vlan_info_parse_reply_local(&recs, &count, &status, r.data(),
                                                           static_cast<uint32_t>(r.size())),
              0u);
    ASSERT_EQ(count, 1u);
    EXPECT_EQ(status, 0u);
    EXPECT_TRUE(members(recs[0].bitmap1).empty());
    EXPECT_TRUE(members(recs[0].bitmap2).empty());
    EXPECT_EQ(recs[0].word1, 0u);
    EXPECT_EQ(recs[0].word2, 0u);
    std::free(recs);
}

TEST_F(QueryHandlers, ReserveVlanInfoWithAnotherCountIsMalformed)
{
    Bytes req = reserve_request(5);
    req[7] = 2;
    EXPECT_EQ(run(VLAN_MGR_OPC_RESERVE_VLAN_INFO, req), status_reply(0x411000C0));
}

// ---- VNI-server mapping ------------------------------------------------------------

TEST_F(QueryHandlers, VniMapQueryAndRemove)
{
    uint32_t vni = 0, vlan = 0, vdc = 0;
    Reply r = run(VLAN_MGR_OPC_VNI_SERVER_MAPPING, vni_request(5000, 30));
    EXPECT_EQ(r, (Bytes{0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0x13, 0x88, 0, 0, 0, 30}));
    EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(&vni, &vlan, &vdc, r.data(), static_cast<uint32_t>(r.size())), 0u);
    EXPECT_EQ(vni, 5000u);
    EXPECT_EQ(vlan, 30u);
    EXPECT_EQ(vdc, 1u);
    EXPECT_EQ(m->vdc(1).vni_to_vlan, (std::map<uint32_t, uint32_t>{{5000, 30}}));
    EXPECT_TRUE(changes.vdc(1).vdc_config);
    EXPECT_FALSE(changes.vdc(2).vdc_config);

    // A query answers the mapping and changes nothing.
    ChangeSet fresh;
    changes = fresh;
    r = run(VLAN_MGR_OPC_VNI_SERVER_MAPPING, vni_request(5000, 0));
    EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(&vni, &vlan, &vdc, r.data(), static_cast<uint32_t>(r.size())), 0u);
    EXPECT_EQ(vni, 5000u);
    EXPECT_EQ(vlan, 30u);
    EXPECT_FALSE(changes.any());

    // Mapping it to the same VLAN again changes nothing either.
    r = run(VLAN_MGR_OPC_VNI_SERVER_MAPPING, vni_request(5000, 30));
    EXPECT_EQ(be32(r, 12), 30u);
    EXPECT_FALSE(changes.any());

    // Another VLAN replaces the mapping.
    r = run(VLAN_MGR_OPC_VNI_SERVER_MAPPING, vni_request(5000, 10));
    EXPECT_EQ(be32(r, 12), 10u);
    EXPECT_EQ(m->vdc(1).vni_to_vlan.at(5000), 10u);
    EXPECT_TRUE(changes.vdc(1).vdc_config);

    // Removal answers the VLAN it mapped to.
    changes = fresh;
    r = run(VLAN_MGR_OPC_VNI_SERVER_MAPPING, vni_request(5000, 0xFFFFFFFF));
    EXPECT_EQ(r, (Bytes{0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0x13, 0x88, 0, 0, 0, 10}));
    EXPECT_TRUE(m->vdc(1).vni_to_vlan.empty());
    EXPECT_TRUE(changes.vdc(1).vdc_config);

    // Nothing mapped: VLAN 0, and a removal changes nothing.
    changes = fresh;
    EXPECT_EQ(run(VLAN_MGR_OPC_VNI_SERVER_MAPPING, vni_request(5000, 0)),
              (Bytes{0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0x13, 0x88, 0, 0, 0, 0}));
    EXPECT_EQ(run(VLAN_MGR_OPC_VNI_SERVER_MAPPING, vni_request(5000, 0xFFFFFFFF)),
              (Bytes{0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0x13, 0x88, 0, 0, 0, 0}));
    EXPECT_FALSE(changes.any());
}

TEST_F(QueryHandlers, VniMappingIsPerVdc)
{
    Reply r = run(VLAN_MGR_OPC_VNI_SERVER_MAPPING, vni_request(7000, 100), 2);
    EXPECT_EQ(r, (Bytes{0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0x1B, 0x58, 0, 0, 0, 100}));
    EXPECT_TRUE(changes.vdc(2).vdc_config);
    EXPECT_FALSE(changes.vdc(1).vdc_config);
    EXPECT_TRUE(m->vdc(1).vni_to_vlan.empty());
    EXPECT_EQ(m->vdc(2).vni_to_vlan.at(7000), 100u);
    r = run(VLAN_MGR_OPC_VNI_SERVER_MAPPING, vni_request(7000, 0), 1);
    EXPECT_EQ(be32(r, 12), 0u);
}

TEST_F(QueryHandlers, VniMappingRefusals)
{
    // A reserved VLAN, an id outside 1..4094, a VNI beyond 24 bits.
    EXPECT_EQ(run(VLAN_MGR_OPC_VNI_SERVER_MAPPING, vni_request(5000, 4000)), status_reply(0x411000C2));
    EXPECT_EQ(run(VLAN_MGR_OPC_VNI_SERVER_MAPPING, vni_request(5000, 4095)), status_reply(0x41100012));
    EXPECT_EQ(run(VLAN_MGR_OPC_VNI_SERVER_MAPPING, vni_request(0x1000000, 30)), status_reply(0x41100003));
    // VNI 0 (the builder refuses it) and a first word other than 1.
    EXPECT_EQ(run(VLAN_MGR_OPC_VNI_SERVER_MAPPING, Bytes{0, 0, 0, 1, 0, 0, 0, 30, 0, 0, 0, 0}),
              status_reply(0x41100003));
    EXPECT_EQ(run(VLAN_MGR_OPC_VNI_SERVER_MAPPING, Bytes{0, 0, 0, 2, 0, 0, 0, 30, 0, 0, 0x13, 0x88}),
              status_reply(0x411000C0));
    // The bare status reaches the caller through the library's parser.
    const Reply r = run(VLAN_MGR_OPC_VNI_SERVER_MAPPING, vni_request(5000, 4000));
    uint32_t a = 1, b = 2, c = 3;
    EXPECT_EQ(vlan_mgr_parse_vni_vlan_mapping_reply(&a, &b, &c, r.data(), static_cast<uint32_t>(r.size())),
              0x411000C2u);
    EXPECT_EQ(a, 1u);
    EXPECT_TRUE(m->vdc(1).vni_to_vlan.empty());
    EXPECT_FALSE(changes.any());
}

// ---- The VDC rule ------------------------------------------------------------------

TEST_F(QueryHandlers, RequestsNamingAnotherVdcAreRefused)
{
    // Built for VDC 1, sent by a process of VDC 2.
    const std::vector<std::pair<uint32_t, Bytes>> requests = {
        {VLAN_MGR_OPC_VLAN_INFO, info_request(VLAN_MGR_OPC_VLAN_INFO, 1, 10)},
        {VLAN_MGR_OPC_NEXT_VLAN_INFO, info_request(VLAN_MGR_OPC_NEXT_VLAN_INFO, 1, 0)},
        {VLAN_MGR_OPC_ALL_CREATED_VLAN, all_request()},
        {VLAN_MGR_OPC_RANGE_CREATED_VLAN, range_request(bitmap_of({10}))},
        {VLAN_MGR_OPC_VLANS_FOR_ATTR_VALUE, attr_request(3)},
        {VLAN_MGR_OPC_RESERVE_VLAN_INFO, reserve_request(5)},
    };
    for (const auto &[opcode, payload] : requests) {
        EXPECT_EQ(run(opcode, payload, 2), status_reply(0x41100013)) << std::hex << opcode;
        // And from a VDC id that does not exist.
        EXPECT_EQ(run(opcode, payload, 6), status_reply(0x41100013)) << std::hex << opcode;
        EXPECT_EQ(run(opcode, payload, 0), status_reply(0x41100013)) << std::hex << opcode;
    }
    // VDC ids outside 1..5 in the request, from VDC 1.
    EXPECT_EQ(run(VLAN_MGR_OPC_VLAN_INFO, Bytes{0, 0, 0, 0, 0, 10}), status_reply(0x41100013));
    EXPECT_EQ(run(VLAN_MGR_OPC_VLAN_INFO, Bytes{0, 6, 0, 0, 0, 10}), status_reply(0x41100013));
    EXPECT_EQ(run(VLAN_MGR_OPC_VLANS_FOR_ATTR_VALUE, Bytes{0xFF, 0xFF, 0, 0, 0, 3}), status_reply(0x41100013));
    // The VNI request names no VDC: the requester's own must exist.
    EXPECT_EQ(run(VLAN_MGR_OPC_VNI_SERVER_MAPPING, vni_request(5000, 30), 6), status_reply(0x41100013));
    EXPECT_EQ(run(VLAN_MGR_OPC_VNI_SERVER_MAPPING, vni_request(5000, 30), 0), status_reply(0x41100013));
    EXPECT_FALSE(changes.any());
}

// ---- Malformed requests ----------------------------------------------------------

TEST_F(QueryHandlers, EveryRequestCutShortOrOverlongIsMalformed)
{
    const std::vector<std::pair<uint32_t, Bytes>> requests = {
        {VLAN_MGR_OPC_VLAN_INFO, info_request(VLAN_MGR_OPC_VLAN_INFO, 1, 10)},
        {VLAN_MGR_OPC_NEXT_VLAN_INFO, info_request(VLAN_MGR_OPC_NEXT_VLAN_INFO, 1, 0)},
        {VLAN_MGR_OPC_ALL_CREATED_VLAN, all_request()},
        {VLAN_MGR_OPC_RANGE_CREATED_VLAN, range_request(bitmap_of({10}))},
        {VLAN_MGR_OPC_VLANS_FOR_ATTR_VALUE, attr_request(3)},
        {VLAN_MGR_OPC_RESERVE_VLAN_INFO, reserve_request(5)},
        {VLAN_MGR_OPC_VNI_SERVER_MAPPING, vni_request(5000, 30)},
    };
    for (const auto &[opcode, full] : requests) {
        for (size_t len = 0; len < full.size(); ++len) {
            const Bytes cut(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(len));
            ASSERT_EQ(run(opcode, cut), status_reply(0x411000C0)) << std::hex << opcode << std::dec << " at " << len;
        }
        Bytes longer = full;
        longer.push_back(0);
        EXPECT_EQ(run(opcode, longer), status_reply(0x411000C0)) << std::hex << opcode;
        // The whole request is served.
        EXPECT_NE(run(opcode, full), status_reply(0x411000C0)) << std::hex << opcode;
    }
    // Only the last, whole VNI request changed anything.
    EXPECT_EQ(m->vdc(1).vni_to_vlan, (std::map<uint32_t, uint32_t>{{5000, 30}}));
}

TEST_F(QueryHandlers, MalformedRequestsChangeNothing)
{
    const Bytes full = vni_request(5000, 30);
    for (size_t len = 0; len < full.size(); ++len)
        run(VLAN_MGR_OPC_VNI_SERVER_MAPPING, Bytes(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(len)));
    EXPECT_TRUE(m->vdc(1).vni_to_vlan.empty());
    EXPECT_FALSE(changes.any());
}

TEST_F(QueryHandlers, ArbitraryBytesGetAReplyAndChangeNothing)
{
    const uint32_t opcodes[] = {VLAN_MGR_OPC_VLAN_INFO,          VLAN_MGR_OPC_NEXT_VLAN_INFO,
                                VLAN_MGR_OPC_ALL_CREATED_VLAN,   VLAN_MGR_OPC_RANGE_CREATED_VLAN,
                                VLAN_MGR_OPC_VLANS_FOR_ATTR_VALUE, VLAN_MGR_OPC_RESERVE_VLAN_INFO,
                                VLAN_MGR_OPC_ALL_CREATED_VLAN_2, VLAN_MGR_OPC_DIAG_VLAN_INFO,
                                VLAN_MGR_OPC_DYN_RSVD_VLAN_INFO, VLAN_MGR_OPC_RANGE_CREATED_VLAN_NAME};
    uint32_t seed = 12345;
    auto next = [&seed] {
        seed = seed * 1103515245u + 12345u;
        return seed >> 16;
    };
    for (uint32_t opc : opcodes) {
        for (int i = 0; i < 300; ++i) {
            Bytes payload(next() % 600);
            for (uint8_t &b : payload)
                b = static_cast<uint8_t>(next());
            // Half of them carry the first bytes of a well-formed request.
            if (i % 2 == 0 && payload.size() >= 6) {
                payload[0] = 0;
                payload[1] = 1;
            }
            // A quarter carry a TLV length word that matches the payload.
            if (i % 4 == 1 && payload.size() >= 8) {
                const uint32_t len = static_cast<uint32_t>(payload.size());
                payload[0] = static_cast<uint8_t>(len >> 24);
                payload[1] = static_cast<uint8_t>(len >> 16);
                payload[2] = static_cast<uint8_t>(len >> 8);
                payload[3] = static_cast<uint8_t>(len);
                payload[4] = 1;
                payload[5] = 0;
            }
            const Reply r = run(opc, payload);
            ASSERT_GE(r.size(), 4u) << std::hex << opc;
        }
    }
    EXPECT_FALSE(changes.any());
    EXPECT_TRUE(m->vdc(1).vni_to_vlan.empty());
}

TEST_F(QueryHandlers, EveryQueryOpcodeHasANamedHandler)
{
    const uint32_t opcodes[] = {VLAN_MGR_OPC_VLAN_INFO,          VLAN_MGR_OPC_NEXT_VLAN_INFO,
                                VLAN_MGR_OPC_ALL_CREATED_VLAN,   VLAN_MGR_OPC_RANGE_CREATED_VLAN,
                                VLAN_MGR_OPC_VLANS_FOR_ATTR_VALUE, VLAN_MGR_OPC_RESERVE_VLAN_INFO,
                                VLAN_MGR_OPC_ALL_CREATED_VLAN_2, VLAN_MGR_OPC_DIAG_VLAN_INFO,
                                VLAN_MGR_OPC_DYN_RSVD_VLAN_INFO, VLAN_MGR_OPC_RANGE_CREATED_VLAN_NAME,
                                VLAN_MGR_OPC_VNI_SERVER_MAPPING};
    EXPECT_EQ(query_handlers().size(), std::size(opcodes));
    for (uint32_t opc : opcodes) {
        const HandlerEntry *e = find_handler(opc);
        ASSERT_NE(e, nullptr) << std::hex << opc;
        EXPECT_EQ(e->opcode, opc);
        EXPECT_GT(std::strlen(e->name), 0u);
    }
}

} // namespace
} // namespace vlan_mgrd
