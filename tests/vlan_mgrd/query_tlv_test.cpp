// The TLV-framed VLAN queries: requests built with the library's TLV
// builders, replies decoded with its TLV parsers.
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <vlan_mgr/tlv.h>

#include "handler_test_util.h"
#include "query_test_util.h"

namespace vlan_mgrd {
namespace {

using namespace qtest;

template <typename R>
struct FreeOnExit {
    R *p = nullptr;
    ~FreeOnExit() { std::free(p); }
};

class QueryTlvHandlers : public ::testing::Test {
protected:
    std::unique_ptr<Manager> m = make_manager();
    ChangeSet changes;

    Reply run(uint32_t opcode, const Bytes &payload, uint16_t src_vdc = 1)
    {
        return test::run(*m, opcode, payload, changes, src_vdc);
    }

    static Bytes all_created_2_request(uint16_t vdc)
    {
        vlan_get_all_created_vlan_2_req_t rq;
        vlan_get_all_created_vlan_2_req_init(&rq);
        rq.field0 = vdc;
        void *tlv = nullptr;
        uint32_t len = 0;
        EXPECT_EQ(vlan_build_get_all_created_vlan_2_req(&rq, &tlv, &len), 0);
        return take(tlv, len);
    }

    static Bytes diag_request(uint32_t vdc)
    {
        vlan_get_diag_vlan_info_req_t rq;
        vlan_get_diag_vlan_info_req_init(&rq);
        rq.field0 = vdc;
        void *tlv = nullptr;
        uint32_t len = 0;
        EXPECT_EQ(vlan_build_get_diag_vlan_info_req(&rq, &tlv, &len), 0);
        return take(tlv, len);
    }

    static Bytes dyn_rsvd_request(uint32_t kind)
    {
        vlan_dyn_rsvd_req_t rq;
        vlan_dyn_rsvd_vlan_req_msg_default_init(&rq);
        rq.field32 = kind;
        void *tlv = nullptr;
        uint32_t len = 0;
        EXPECT_EQ(vlan_build_get_dyn_rsvd_vlan_info_req_msg(&rq, &tlv, &len), 0);
        return take(tlv, len);
    }

    static Bytes names_request(const vlan_bitmap &bm)
    {
        vlan_name_req_t rq;
        rq.vlans = bm;
        void *tlv = nullptr;
        uint32_t len = 0;
        EXPECT_EQ(vlan_build_get_range_created_vlan_req_msg(&rq, &tlv, &len), 0);
        return take(tlv, len);
    }
};

// ---- Created-VLAN listing --------------------------------------------------------

TEST_F(QueryTlvHandlers, AllCreatedVlan2ListsEveryCreatedVlan)
{
    for (uint16_t vdc : {uint16_t{0}, uint16_t{1}}) {
        const Reply r = run(VLAN_MGR_OPC_ALL_CREATED_VLAN_2, all_created_2_request(vdc));
        FreeOnExit<vlan_get_all_created_vlan_2_rsp_t> rsp;
        ASSERT_EQ(vlan_parse_get_all_created_vlan_2_rsp(r.data(), static_cast<uint32_t>(r.size()), &rsp.p), 0);
        EXPECT_EQ(rsp.p->field0, 1u);
        ASSERT_EQ(rsp.p->count, 6u);
        const uint32_t want[6][7] = {
            {1, 0, 1, 0, 0, 0, 1},   {10, 0, 10, 0, 0, 0, 1},   {20, 3, 20, 0, 0, 0, 1},
            {21, 4, 21, 0, 0, 20, 1}, {22, 5, 22, 0, 0, 20, 1}, {30, 0, 30, 2, 5000, 0, 2},
        };
        for (uint32_t i = 0; i < 6; ++i) {
            const vlan_get_all_created_vlan_2_info_t &e = rsp.p->data[i];
            EXPECT_EQ(e.field3, want[i][0]);
            EXPECT_EQ(e.field4, want[i][1]);
            EXPECT_EQ(e.field5, want[i][2]);
            EXPECT_EQ(e.field6, want[i][3]);
            EXPECT_EQ(e.field7, want[i][4]);
            EXPECT_EQ(e.field8, want[i][5]);
            EXPECT_EQ(e.field9, want[i][6]);
        }
    }
    EXPECT_FALSE(changes.any());
}

TEST_F(QueryTlvHandlers, AllCreatedVlan2Lists4094Vlans)
{
    create_all(*m);
    const Reply r = run(VLAN_MGR_OPC_ALL_CREATED_VLAN_2, all_created_2_request(1));
    FreeOnExit<vlan_get_all_created_vlan_2_rsp_t> rsp;
    ASSERT_EQ(vlan_parse_get_all_created_vlan_2_rsp(r.data(), static_cast<uint32_t>(r.size()), &rsp.p), 0);
    ASSERT_EQ(rsp.p->count, 4094u);
    for (uint32_t i = 0; i < 4094; ++i) {
        ASSERT_EQ(rsp.p->data[i].field3, i + 1);
        ASSERT_EQ(rsp.p->data[i].field5, i + 1);
    }
}

TEST_F(QueryTlvHandlers, AllCreatedVlan2OfVdc2FromVdc2)
{
    const Reply r = run(VLAN_MGR_OPC_ALL_CREATED_VLAN_2, all_created_2_request(0), 2);
    FreeOnExit<vlan_get_all_created_vlan_2_rsp_t> rsp;
    ASSERT_EQ(vlan_parse_get_all_created_vlan_2_rsp(r.data(), static_cast<uint32_t>(r.size()), &rsp.p), 0);
    EXPECT_EQ(rsp.p->field0, 2u);
    ASSERT_EQ(rsp.p->count, 2u);
    EXPECT_EQ(rsp.p->data[0].field3, 1u);
    EXPECT_EQ(rsp.p->data[1].field3, 100u);
}

// ---- Diagnostic VLAN info ---------------------------------------------------------

TEST_F(QueryTlvHandlers, DiagVlanInfoPairsEveryCreatedVlanWithItsBd)
{
    for (uint32_t vdc : {0u, 1u}) {
        const Reply r = run(VLAN_MGR_OPC_DIAG_VLAN_INFO, diag_request(vdc));
        FreeOnExit<vlan_get_diag_vlan_info_rsp_t> rsp;
        ASSERT_EQ(vlan_parse_get_diag_vlan_info_rsp(r.data(), static_cast<uint32_t>(r.size()), &rsp.p), 0);
        EXPECT_EQ(rsp.p->field0, 1u);
        ASSERT_EQ(rsp.p->count, 6u);
        const uint32_t want[] = {1, 10, 20, 21, 22, 30};
        for (uint32_t i = 0; i < 6; ++i) {
            EXPECT_EQ(rsp.p->data[i].vlan_id, want[i]);
            EXPECT_EQ(rsp.p->data[i].bd_id, want[i]);
        }
    }
    EXPECT_FALSE(changes.any());
}

// ---- Dynamic reserved-VLAN info ---------------------------------------------------

TEST_F(QueryTlvHandlers, DynRsvdVlanInfoOfTheDefaultRange)
{
    const Reply r = run(VLAN_MGR_OPC_DYN_RSVD_VLAN_INFO, dyn_rsvd_request(5));
    FreeOnExit<vlan_dyn_rsvd_rsp_t> rsp;
    ASSERT_EQ(vlan_parse_get_dyn_rsvd_vlan_info_rsp_msg(r.data(), static_cast<uint32_t>(r.size()), &rsp.p), 0);
    EXPECT_EQ(rsp.p->vlans33.len, 512u);
    EXPECT_EQ(members(rsp.p->vlans33), range_ids(3968, 4094));
    EXPECT_EQ(members(rsp.p->vlans34), range_ids(3968, 4031));
    EXPECT_EQ(members(rsp.p->vlans35), range_ids(4032, 4035));
    EXPECT_EQ(members(rsp.p->vlans36), range_ids(4036, 4039));
    EXPECT_EQ(members(rsp.p->vlans37), (std::vector<uint32_t>{4042}));
    EXPECT_FALSE(changes.any());
}

TEST_F(QueryTlvHandlers, DynRsvdVlanInfoOfAMovedRange)
{
    Vdc &d = m->vdc(1);
    d.reserved.reset();
    for (uint32_t v = 2000; v <= 2127; ++v)
        d.reserved.set(v);
    d.rsvd_start = 2000;
    d.rsvd_end = 2127;
    const Reply r = run(VLAN_MGR_OPC_DYN_RSVD_VLAN_INFO, dyn_rsvd_request(5));
    FreeOnExit<vlan_dyn_rsvd_rsp_t> rsp;
    ASSERT_EQ(vlan_parse_get_dyn_rsvd_vlan_info_rsp_msg(r.data(), static_cast<uint32_t>(r.size()), &rsp.p), 0);
    std::vector<uint32_t> candidates = range_ids(2000, 2127);
    candidates.push_back(4094);
    EXPECT_EQ(members(rsp.p->vlans33), candidates);
    EXPECT_EQ(members(rsp.p->vlans34), range_ids(2000, 2063));
    EXPECT_EQ(members(rsp.p->vlans35), range_ids(2064, 2067));
    EXPECT_EQ(members(rsp.p->vlans36), range_ids(2068, 2071));
    EXPECT_EQ(members(rsp.p->vlans37), (std::vector<uint32_t>{2074}));
}

TEST_F(QueryTlvHandlers, DynRsvdVlanInfoOfTooSmallARangeHasNoGroups)
{
    Vdc &d = m->vdc(1);
    d.reserved.reset();
    for (uint32_t v = 3968; v <= 3977; ++v)
        d.reserved.set(v);
    const Reply r = run(VLAN_MGR_OPC_DYN_RSVD_VLAN_INFO, dyn_rsvd_request(5));
    FreeOnExit<vlan_dyn_rsvd_rsp_t> rsp;
    ASSERT_EQ(vlan_parse_get_dyn_rsvd_vlan_info_rsp_msg(r.data(), static_cast<uint32_t>(r.size()), &rsp.p), 0);
    std::vector<uint32_t> candidates = range_ids(3968, 3977);
    candidates.push_back(4094);
    EXPECT_EQ(members(rsp.p->vlans33), candidates);
    EXPECT_TRUE(members(rsp.p->vlans34).empty());
    EXPECT_TRUE(members(rsp.p->vlans35).empty());
    EXPECT_TRUE(members(rsp.p->vlans36).empty());
    EXPECT_TRUE(members(rsp.p->vlans37).empty());
    EXPECT_EQ(rsp.p->vlans37.len, 512u);
}

TEST_F(QueryTlvHandlers, DynRsvdVlanInfoOfAnotherKindIsNotSupported)
{
    EXPECT_EQ(run(VLAN_MGR_OPC_DYN_RSVD_VLAN_INFO, dyn_rsvd_request(4)), status_reply(0x411000C9));
    EXPECT_EQ(run(VLAN_MGR_OPC_DYN_RSVD_VLAN_INFO, dyn_rsvd_request(0)), status_reply(0x411000C9));
}

// ---- Names of the created VLANs of a set ------------------------------------------

TEST_F(QueryTlvHandlers, RangeCreatedVlanNamesOfTheCreatedVlansOfTheSet)
{
    const Reply r =
        run(VLAN_MGR_OPC_RANGE_CREATED_VLAN_NAME, names_request(bitmap_of({0, 1, 10, 11, 20, 21, 30, 4000, 4095})));
    FreeOnExit<vlan_name_rsp_t> rsp;
    ASSERT_EQ(vlan_parse_get_range_created_vlan_rsp_msg(r.data(), static_cast<uint32_t>(r.size()), &rsp.p), 0);
    ASSERT_EQ(rsp.p->count, 5u);
    struct Want {
        uint32_t vlan, type, state, mode, primary;
        const char *name;
    };
    const Want want[] = {
        {1, 0, 1, 0, 0, "VLAN0001"}, {10, 0, 1, 0, 0, "finance"}, {20, 3, 1, 0, 0, "pvlan-primary"},
        {21, 4, 1, 0, 20, "VLAN0021"}, {30, 0, 2, 2, 0, "VLAN0030"},
    };
    for (uint32_t i = 0; i < 5; ++i) {
        const vlan_name_and_state_t &e = rsp.p->data[i];
        EXPECT_EQ(e.vlan_id, want[i].vlan);
        EXPECT_EQ(e.field6, want[i].type);
        EXPECT_EQ(e.bd_id, want[i].vlan);
        EXPECT_EQ(e.field23, want[i].state);
        EXPECT_EQ(e.field13, want[i].mode);
        EXPECT_EQ(e.field22, want[i].primary);
        EXPECT_STREQ(e.name, want[i].name);
    }
    EXPECT_FALSE(changes.any());
}

TEST_F(QueryTlvHandlers, RangeCreatedVlanNamesOfNoCreatedVlanIsAnEmptyList)
{
    const Reply r = run(VLAN_MGR_OPC_RANGE_CREATED_VLAN_NAME, names_request(bitmap_of({2, 3})));
    FreeOnExit<vlan_name_rsp_t> rsp;
    ASSERT_EQ(vlan_parse_get_range_created_vlan_rsp_msg(r.data(), static_cast<uint32_t>(r.size()), &rsp.p), 0);
    EXPECT_EQ(rsp.p->count, 0u);
}

TEST_F(QueryTlvHandlers, RangeCreatedVlanNamesOfAll4094VlansWith32CharacterNames)
{
    create_all(*m);
    const std::string long_name(32, 'x');
    m->vdc(1).vlans[4094].name = long_name;
    const Reply r = run(VLAN_MGR_OPC_RANGE_CREATED_VLAN_NAME, names_request(bitmap_range(0, 4095)));
    FreeOnExit<vlan_name_rsp_t> rsp;
    ASSERT_EQ(vlan_parse_get_range_created_vlan_rsp_msg(r.data(), static_cast<uint32_t>(r.size()), &rsp.p), 0);
    ASSERT_EQ(rsp.p->count, 4094u);
    EXPECT_STREQ(rsp.p->data[0].name, "VLAN0001");
    EXPECT_STREQ(rsp.p->data[4092].name, "VLAN4093");
    EXPECT_EQ(std::string(rsp.p->data[4093].name), long_name);
    EXPECT_EQ(rsp.p->data[4093].vlan_id, 4094u);
}

TEST_F(QueryTlvHandlers, RangeCreatedVlanNamesWithABadBitmapLengthIsMalformed)
{
    vlan_bitmap bm = bitmap_of({10});
    bm.len = 256;
    EXPECT_EQ(run(VLAN_MGR_OPC_RANGE_CREATED_VLAN_NAME, names_request(bm)), status_reply(0x411000C0));
}

// ---- The VDC rule and malformed requests -------------------------------------------

TEST_F(QueryTlvHandlers, RequestsNamingAnotherVdcAreRefused)
{
    EXPECT_EQ(run(VLAN_MGR_OPC_ALL_CREATED_VLAN_2, all_created_2_request(2)), status_reply(0x41100013));
    EXPECT_EQ(run(VLAN_MGR_OPC_ALL_CREATED_VLAN_2, all_created_2_request(6)), status_reply(0x41100013));
    EXPECT_EQ(run(VLAN_MGR_OPC_ALL_CREATED_VLAN_2, all_created_2_request(1), 2), status_reply(0x41100013));
    EXPECT_EQ(run(VLAN_MGR_OPC_DIAG_VLAN_INFO, diag_request(2)), status_reply(0x41100013));
    EXPECT_EQ(run(VLAN_MGR_OPC_DIAG_VLAN_INFO, diag_request(0xFFFFFFFF)), status_reply(0x41100013));
    EXPECT_EQ(run(VLAN_MGR_OPC_DIAG_VLAN_INFO, diag_request(1), 3), status_reply(0x41100013));
    // The requester's own VDC must exist.
    EXPECT_EQ(run(VLAN_MGR_OPC_ALL_CREATED_VLAN_2, all_created_2_request(0), 6), status_reply(0x41100013));
    EXPECT_EQ(run(VLAN_MGR_OPC_DIAG_VLAN_INFO, diag_request(0), 0), status_reply(0x41100013));
    EXPECT_EQ(run(VLAN_MGR_OPC_DYN_RSVD_VLAN_INFO, dyn_rsvd_request(5), 6), status_reply(0x41100013));
    EXPECT_EQ(run(VLAN_MGR_OPC_RANGE_CREATED_VLAN_NAME, names_request(bitmap_of({10})), 0),
              status_reply(0x41100013));
    EXPECT_FALSE(changes.any());
}

TEST_F(QueryTlvHandlers, EveryRequestCutShortOrOverlongIsMalformed)
{
    const std::vector<std::pair<uint32_t, Bytes>> requests = {
        {VLAN_MGR_OPC_ALL_CREATED_VLAN_2, all_created_2_request(1)},
        {VLAN_MGR_OPC_DIAG_VLAN_INFO, diag_request(1)},
        {VLAN_MGR_OPC_DYN_RSVD_VLAN_INFO, dyn_rsvd_request(5)},
        {VLAN_MGR_OPC_RANGE_CREATED_VLAN_NAME, names_request(bitmap_of({10}))},
    };
    for (const auto &[opcode, full] : requests) {
        for (size_t len = 0; len < full.size(); ++len) {
            const Bytes cut(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(len));
            ASSERT_EQ(run(opcode, cut), status_reply(0x411000C0)) << std::hex << opcode << std::dec << " at " << len;
        }
        Bytes longer = full;
        longer.push_back(0);
        EXPECT_EQ(run(opcode, longer), status_reply(0x411000C0)) << std::hex << opcode;
        const Reply whole = run(opcode, full);
        EXPECT_GT(whole.size(), 4u) << std::hex << opcode;
    }
    EXPECT_FALSE(changes.any());
}

TEST_F(QueryTlvHandlers, ARequestOfAnotherRecordTypeIsMalformed)
{
    // A diagnostic request sent with the listing's opcode, and the reverse.
    EXPECT_EQ(run(VLAN_MGR_OPC_ALL_CREATED_VLAN_2, diag_request(1)), status_reply(0x411000C0));
    EXPECT_EQ(run(VLAN_MGR_OPC_DIAG_VLAN_INFO, all_created_2_request(1)), status_reply(0x411000C0));
    EXPECT_EQ(run(VLAN_MGR_OPC_RANGE_CREATED_VLAN_NAME, dyn_rsvd_request(5)), status_reply(0x411000C0));
    // The fixed-layout listing request is no TLV buffer.
    EXPECT_EQ(run(VLAN_MGR_OPC_ALL_CREATED_VLAN_2, Bytes{0, 0, 0, 1, 0, 1}), status_reply(0x411000C0));
}

} // namespace
} // namespace vlan_mgrd
