// VLAN names: the name-to-id builder and parsers, and the default VLAN name.
#include "../common/request_test_util.h"

#include <vlan_mgr/config_req.h>

namespace {

using namespace reqtest;

const char *const kName32 = "abcdefghijklmnopqrstuvwxyz012345";  // 32 characters
const char *const kName33 = "abcdefghijklmnopqrstuvwxyz0123456"; // 33 characters

TEST(NameToIdBuild, RedInVdcOneGivesSixBytes)
{
    tp::state().vdc_id = 1;
    const uint16_t vdc = 1;
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_name_to_id_build_mts("red", &vdc, &p, &len), VLAN_MGR_OK);
    ASSERT_EQ(len, 6u);
    EXPECT_EQ(take(p, len), (Bytes{0x00, 0x01, 0x72, 0x65, 0x64, 0x00}));
    expect_no_report();
}

TEST(NameToIdBuild, EmptyNameGivesThreeBytes)
{
    const uint16_t vdc = 1;
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_name_to_id_build_mts("", &vdc, &p, &len), VLAN_MGR_OK);
    EXPECT_EQ(take(p, len), (Bytes{0x00, 0x01, 0x00}));
}

TEST(NameToIdBuild, LimitIs32CharactersOneBelowCreate)
{
    const uint16_t vdc = 1;
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_name_to_id_build_mts(kName32, &vdc, &p, &len), VLAN_MGR_OK);
    ASSERT_EQ(len, 35u);
    const Bytes b = take(p, len);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(b.data() + 2)), kName32);
    EXPECT_EQ(b[34], 0x00);

    p = &p;
    len = 77;
    EXPECT_EQ(vlan_name_to_id_build_mts(kName33, &vdc, &p, &len), 0x4110000fu);
    EXPECT_EQ(p, &p);
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(tp::live_allocs(), 0);
    // The create request takes the same 33-character name.
    const uint32_t ids[] = {10};
    ASSERT_EQ(vlan_create_build_mts(1, 1, ids, kName33, 0, &p, &len), VLAN_MGR_OK);
    std::free(p);
    expect_no_report();
}

TEST(NameToIdBuild, NullNameOrVdcIsInvalidBeforeTheVdcCheck)
{
    const uint16_t vdc = 2;
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_name_to_id_build_mts(nullptr, &vdc, &p, &len), 0x41100003u);
    EXPECT_EQ(vlan_name_to_id_build_mts("red", nullptr, &p, &len), 0x41100003u);
    EXPECT_EQ(p, &p);
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(tp::state().vdc_get_calls, 0);
    expect_no_report();
}

TEST(NameToIdBuild, ForeignVdcIsReportedWithoutTheBuilderName)
{
    tp::state().vdc_id = 1;
    syslog_fac_LOG_VLAN_MGR.current_level = 3;
    tp::set_debug(100, true);
    const uint16_t vdc = 2;
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_name_to_id_build_mts(kName33, &vdc, &p, &len), 0x41100013u); // before the name length
    EXPECT_EQ(p, &p);
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(tp::alloc_calls(), 0);
    expect_vdc_report("vlan_mgr pid " + pid_text() + ", vdcID 2, local vdcID 1\n",
                      " pid " + pid_text() + ", vdcID 2, local vdcID 1\n", true, true);
}

TEST(NameToIdBuild, ForeignVdcAtDefaultSyslogLevelIsNotSentToSyslog)
{
    tp::state().vdc_id = 5;
    const uint16_t vdc = 4;
    void *p = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(vlan_name_to_id_build_mts("red", &vdc, &p, &len), 0x41100013u);
    expect_vdc_report("vlan_mgr pid " + pid_text() + ", vdcID 4, local vdcID 5\n", "", false, false);
}

TEST(NameToIdBuild, LocalFormUsesTheCachedLocalVdc)
{
    tp::state().vdc_id = 3;
    for (int i = 0; i < 3; ++i) {
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_name_to_id_build_mts_local("red", &p, &len), VLAN_MGR_OK);
        EXPECT_EQ(take(p, len), (Bytes{0x00, 0x03, 0x72, 0x65, 0x64, 0x00}));
    }
    EXPECT_EQ(tp::state().vdc_get_calls, 1);
    void *p = &p;
    uint32_t len = 0;
    EXPECT_EQ(vlan_name_to_id_build_mts_local(nullptr, &p, &len), 0x41100003u);
    EXPECT_EQ(vlan_name_to_id_build_mts_local(kName33, &p, &len), 0x4110000fu);
    EXPECT_EQ(p, &p);
}

TEST(NameToIdBuild, AllocationFailureLeavesNullPayloadAndTheLength)
{
    const uint16_t vdc = 1;
    const long allocs = sweep_alloc_failures([&] {
        void *p = &p;
        uint32_t len = 0;
        const uint32_t st = vlan_name_to_id_build_mts("red", &vdc, &p, &len);
        if (st == VLAN_MGR_ERR_NO_MEMORY) {
            EXPECT_EQ(p, nullptr);
            EXPECT_EQ(len, 6u);
        } else {
            std::free(p);
        }
        return st;
    });
    EXPECT_EQ(allocs, 1);
}

// ---- Reply ------------------------------------------------------------------------------

// Status 0, VDC 2, VLAN 100.
const Bytes kReply = {0x00, 0x00, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x64};

TEST(NameToIdParse, DecodesVdcAndVlan)
{
    HeapCopy c(kReply);
    vdc_vlan_id_t r{9, 9};
    ASSERT_EQ(vlan_name_to_id_parse_reply(&r, c.data(), c.size()), 0u);
    EXPECT_EQ(r.vdc_id, 2);
    EXPECT_EQ(r.vlan_id, 100u);
}

TEST(NameToIdParse, ReplyStatusIsReturnedWhateverItsValue)
{
    const Bytes reply = {0x41, 0x10, 0x00, 0x1c, 0x00, 0x01, 0x00, 0x00, 0x0F, 0xFE};
    HeapCopy c(reply);
    vdc_vlan_id_t r{9, 9};
    EXPECT_EQ(vlan_name_to_id_parse_reply(&r, c.data(), c.size()), 0x4110001cu);
    EXPECT_EQ(r.vdc_id, 1);
    EXPECT_EQ(r.vlan_id, 4094u);
}

TEST(NameToIdParse, CommonRulesAndPointerChecks)
{
    vdc_vlan_id_t r{9, 9};
    const Bytes bare = {0x00, 0x00, 0x00, 0x00};
    EXPECT_EQ(vlan_name_to_id_parse_reply(&r, bare.data(), 4), 0u);
    EXPECT_EQ(vlan_name_to_id_parse_reply(&r, bare.data(), 0), 0x41100002u);
    EXPECT_EQ(vlan_name_to_id_parse_reply(nullptr, kReply.data(), 10), 0x41100003u);
    EXPECT_EQ(vlan_name_to_id_parse_reply(&r, nullptr, 10), 0x41100003u);
    EXPECT_EQ(r.vdc_id, 9);
    EXPECT_EQ(r.vlan_id, 9u);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(NameToIdParse, EveryCutOfAValidReplyFailsCleanly)
{
    expect_every_cut_fails(kReply, [](const uint8_t *p, uint32_t len) {
        vdc_vlan_id_t r{9, 9};
        const uint32_t st = vlan_name_to_id_parse_reply(&r, p, len);
        EXPECT_EQ(r.vlan_id, 9u);
        return st;
    });
}

TEST(NameToIdParse, ReplyAtAnOddAddressDecodesTheSame)
{
    HeapCopy c(kReply, true);
    vdc_vlan_id_t r{0, 0};
    ASSERT_EQ(vlan_name_to_id_parse_reply(&r, c.data(), c.size()), 0u);
    EXPECT_EQ(r.vdc_id, 2);
    EXPECT_EQ(r.vlan_id, 100u);
}

TEST(NameToIdParseLocal, CopiesTheVlanId)
{
    HeapCopy c(kReply, true);
    uint32_t vlan = 0;
    ASSERT_EQ(vlan_name_to_id_parse_reply_local(&vlan, c.data(), c.size()), 0u);
    EXPECT_EQ(vlan, 100u);
}

TEST(NameToIdParseLocal, WritesItsOutputEvenAfterAFailure)
{
    const Bytes bare = {0x41, 0x10, 0x00, 0x1c};
    uint32_t vlan = 0xDEADBEEF;
    EXPECT_EQ(vlan_name_to_id_parse_reply_local(&vlan, bare.data(), 4), 0x4110001cu);
    EXPECT_EQ(vlan, 0u);
    vlan = 0xDEADBEEF;
    EXPECT_EQ(vlan_name_to_id_parse_reply_local(&vlan, bare.data(), 0), 0x41100002u);
    EXPECT_EQ(vlan, 0u);
    vlan = 0xDEADBEEF;
    HeapCopy cut(kReply.data(), 9);
    EXPECT_EQ(vlan_name_to_id_parse_reply_local(&vlan, cut.data(), cut.size()), VLAN_MGR_ERR_TRUNCATED);
    EXPECT_EQ(vlan, 0u);
}

TEST(NameToIdParseLocal, ChecksItsTwoPointersAndThenWritesNothing)
{
    uint32_t vlan = 0xDEADBEEF;
    EXPECT_EQ(vlan_name_to_id_parse_reply_local(nullptr, kReply.data(), 10), 0x41100003u);
    EXPECT_EQ(vlan_name_to_id_parse_reply_local(&vlan, nullptr, 10), 0x41100003u);
    EXPECT_EQ(vlan, 0xDEADBEEFu);
}

TEST(NameToIdParseLocal, EveryCutOfAValidReplyFailsCleanly)
{
    expect_every_cut_fails(kReply, [](const uint8_t *p, uint32_t len) {
        uint32_t vlan = 9;
        const uint32_t st = vlan_name_to_id_parse_reply_local(&vlan, p, len);
        EXPECT_EQ(vlan, 0u);
        return st;
    });
}

// ---- Default names -------------------------------------------------------------------------

TEST(VlanIdToName, PadsToFourDigits)
{
    const struct {
        uint32_t id;
        const char *name;
    } cases[] = {{0, "VLAN0000"},   {1, "VLAN0001"},   {9, "VLAN0009"},   {10, "VLAN0010"},
                 {99, "VLAN0099"},  {100, "VLAN0100"}, {999, "VLAN0999"}, {1000, "VLAN1000"},
                 {4094, "VLAN4094"}, {10000, "VLAN10000"}};
    for (const auto &c : cases) {
        std::unique_ptr<char[]> buf(new char[32]); // exactly the documented size
        std::memset(buf.get(), 'x', 32);
        const int32_t n = vlan_mgr_vlan_id_to_name(c.id, buf.get());
        EXPECT_EQ(std::string(buf.get()), c.name);
        EXPECT_EQ(n, static_cast<int32_t>(std::strlen(c.name)));
        EXPECT_EQ(buf[static_cast<size_t>(n)], '\0');
    }
}

TEST(VlanIdToName, IdAboveTheSignedRangePrintsAsANegativeNumber)
{
    char buf[32];
    EXPECT_EQ(vlan_mgr_vlan_id_to_name(0xFFFFFFFFu, buf), 6);
    EXPECT_STREQ(buf, "VLAN-1");
    EXPECT_EQ(vlan_mgr_vlan_id_to_name(0x80000000u, buf), 15);
    EXPECT_STREQ(buf, "VLAN-2147483648");
}

} // namespace
