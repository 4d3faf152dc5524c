// VLAN delete and delete-range: builders, reply parsers and their _local forms.
#include "../common/request_test_util.h"

#include <vlan_mgr/config_req.h>

namespace {

using namespace reqtest;

using Builder = uint32_t (*)(uint16_t, uint32_t, const uint32_t *, void **, uint32_t *);
using LocalBuilder = uint32_t (*)(uint32_t, const uint32_t *, void **, uint32_t *);
using Parser = uint32_t (*)(vlan_delete_result_t **, uint32_t *, uint16_t *, const void *, int32_t);
using LocalParser = uint32_t (*)(vlan_delete_result_t **, uint32_t *, const void *, int32_t);

const Builder kBuilders[] = {vlan_delete_build_mts, vlan_delete_range_build_mts};
const LocalBuilder kLocalBuilders[] = {vlan_delete_build_mts_local, vlan_delete_range_build_mts_local};
const Parser kParsers[] = {vlan_delete_parse_reply, vlan_delete_range_parse_reply};
const LocalParser kLocalParsers[] = {vlan_delete_parse_reply_local, vlan_delete_range_parse_reply_local};

// Overall status 0x41100011, VDC 1, two pairs {2, 0} and {3, 0x41100012}.
const Bytes kTwoPairReply = {0x41, 0x10, 0x00, 0x11, 0x00, 0x01, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x02, 0x00,
                             0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x03, 0x41, 0x10, 0x00, 0x12};
// Status 0, VDC 2, no pairs.
const Bytes kEmptyReply = {0x00, 0x00, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x00};

Bytes delete_request(std::initializer_list<std::pair<size_t, uint8_t>> bits, uint8_t vdc, uint8_t count)
{
    Bytes b = cat({{0x00, 0x00, 0x00, vdc, 0x00, 0x00, 0x00, count}, kLen512, zeros(512)});
    for (auto [index, value] : bits)
        b[12 + index] = value;
    return b;
}

// ---- Builders ---------------------------------------------------------------------

TEST(DeleteBuild, DeletingTwoAndThreeFromVdcOneGives524Bytes)
{
    tp::state().vdc_id = 1;
    const uint32_t ids[] = {2, 3};
    for (Builder build : kBuilders) {
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(build(1, 2, ids, &p, &len), VLAN_MGR_OK);
        ASSERT_EQ(len, 524u);
        EXPECT_EQ(take(p, len), delete_request({{0, 0x30}}, 0x01, 0x02));
    }
    expect_no_report();
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(DeleteBuild, DuplicateIdsKeepTheListedCountWithOneBit)
{
    const uint32_t ids[] = {7, 7};
    for (Builder build : kBuilders) {
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(build(1, 2, ids, &p, &len), VLAN_MGR_OK);
        EXPECT_EQ(take(p, len), delete_request({{0, 0x01}}, 0x01, 0x02));
    }
}

TEST(DeleteBuild, IdsAreNotRangeChecked)
{
    const uint32_t ids[] = {0, 4095};
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_delete_build_mts(1, 2, ids, &p, &len), VLAN_MGR_OK);
    EXPECT_EQ(take(p, len), delete_request({{0, 0x80}, {511, 0x01}}, 0x01, 0x02));
}

TEST(DeleteBuild, NoIdsOrCountZeroIsInvalidBeforeTheVdcCheck)
{
    tp::state().vdc_id = 1;
    syslog_fac_LOG_VLAN_MGR.current_level = 3;
    tp::set_debug(100, true);
    const uint32_t ids[] = {2};
    for (Builder build : kBuilders) {
        void *p = &p;
        uint32_t len = 77;
        EXPECT_EQ(build(2, 1, nullptr, &p, &len), 0x41100003u);
        EXPECT_EQ(build(2, 0, ids, &p, &len), 0x41100003u);
        EXPECT_EQ(p, &p);
        EXPECT_EQ(len, 77u);
    }
    EXPECT_EQ(tp::state().vdc_get_calls, 0);
    EXPECT_EQ(tp::alloc_calls(), 0);
    expect_no_report();
}

TEST(DeleteBuild, ForeignVdcIsReportedWithTheDeleteName)
{
    tp::state().vdc_id = 1;
    syslog_fac_LOG_VLAN_MGR.current_level = 3;
    tp::set_debug(100, true);
    const uint32_t ids[] = {2};
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_delete_build_mts(2, 1, ids, &p, &len), 0x41100013u);
    EXPECT_EQ(p, &p);
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(tp::alloc_calls(), 0);
    expect_vdc_report("vlan_mgr vlan_delete_build_mts: pid " + pid_text() + ", vdcID 2, local vdcID 1\n",
                      " vlan_delete_build_mts: pid " + pid_text() + ", vdcID 2, local vdcID 1\n", true, true);
}

TEST(DeleteBuild, ForeignVdcIsReportedWithTheRangeName)
{
    tp::state().vdc_id = 2;
    syslog_fac_LOG_VLAN_MGR.current_level = 3;
    tp::set_debug(100, true);
    const uint32_t ids[] = {2};
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_delete_range_build_mts(1, 1, ids, &p, &len), 0x41100013u);
    EXPECT_EQ(p, &p);
    EXPECT_EQ(tp::alloc_calls(), 0);
    expect_vdc_report("vlan_mgr vlan_delete_range_build_mts: pid " + pid_text() + ", vdcID 1, local vdcID 2\n",
                      " vlan_delete_range_build_mts: pid " + pid_text() + ", vdcID 1, local vdcID 2\n", true,
                      true);
}

TEST(DeleteBuild, ForeignVdcAtDefaultSyslogLevelIsNotSentToSyslog)
{
    tp::state().vdc_id = 1;
    const uint32_t ids[] = {2};
    void *p = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(vlan_delete_range_build_mts(3, 1, ids, &p, &len), 0x41100013u);
    expect_vdc_report("vlan_mgr vlan_delete_range_build_mts: pid " + pid_text() + ", vdcID 3, local vdcID 1\n", "",
                      false, false);
}

TEST(DeleteBuild, LocalFormsUseTheCachedLocalVdc)
{
    tp::state().vdc_id = 3;
    const uint32_t ids[] = {2, 3};
    for (int i = 0; i < 3; ++i)
        for (LocalBuilder build : kLocalBuilders) {
            void *p = nullptr;
            uint32_t len = 0;
            ASSERT_EQ(build(2, ids, &p, &len), VLAN_MGR_OK);
            EXPECT_EQ(take(p, len), delete_request({{0, 0x30}}, 0x03, 0x02));
        }
    EXPECT_EQ(tp::state().vdc_get_calls, 1);
    for (LocalBuilder build : kLocalBuilders) {
        void *p = &p;
        uint32_t len = 77;
        EXPECT_EQ(build(0, ids, &p, &len), 0x41100003u);
        EXPECT_EQ(build(1, nullptr, &p, &len), 0x41100003u);
        EXPECT_EQ(p, &p);
    }
    expect_no_report();
}

TEST(DeleteBuild, AllocationFailureLeavesNullPayloadAndTheLength)
{
    const uint32_t ids[] = {2, 3};
    for (Builder build : kBuilders) {
        const long allocs = sweep_alloc_failures([&] {
            void *p = &p;
            uint32_t len = 0;
            const uint32_t st = build(1, 2, ids, &p, &len);
            if (st == VLAN_MGR_ERR_NO_MEMORY) {
                EXPECT_EQ(p, nullptr);
                EXPECT_EQ(len, 524u);
            } else {
                std::free(p);
            }
            return st;
        });
        EXPECT_EQ(allocs, 1);
    }
}

TEST(DeleteBuild, RequestFor4094Vlans)
{
    std::vector<uint32_t> ids;
    for (uint32_t v = 1; v <= 4094; ++v)
        ids.push_back(v);
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_delete_build_mts(1, 4094, ids.data(), &p, &len), VLAN_MGR_OK);
    Bytes want = cat({{0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x0F, 0xFE}, kLen512, Bytes(512, 0xFF)});
    want[12] = 0x7F;
    want[12 + 511] = 0xFE;
    EXPECT_EQ(take(p, len), want);
}

// ---- Parsers ------------------------------------------------------------------------

TEST(DeleteParse, OverallStatusIsReturnedWithEveryPair)
{
    for (Parser parse : kParsers) {
        HeapCopy c(kTwoPairReply);
        vlan_delete_result_t *r = nullptr;
        uint32_t count = 0;
        uint16_t vdc = 0;
        ASSERT_EQ(parse(&r, &count, &vdc, c.data(), static_cast<int32_t>(c.size())), 0x41100011u);
        EXPECT_EQ(count, 2u);
        EXPECT_EQ(vdc, 1);
        ASSERT_NE(r, nullptr);
        EXPECT_EQ(r[0].vlan_id, 2u);
        EXPECT_EQ(r[0].status, 0u);
        EXPECT_EQ(r[1].vlan_id, 3u);
        EXPECT_EQ(r[1].status, 0x41100012u);
        std::free(r);
    }
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(DeleteParse, CountZeroAllocatesAnEmptyArrayAndReturnsTheStatus)
{
    for (Parser parse : kParsers) {
        HeapCopy c(kEmptyReply);
        vlan_delete_result_t *r = nullptr;
        uint32_t count = 9;
        uint16_t vdc = 0;
        EXPECT_EQ(parse(&r, &count, &vdc, c.data(), static_cast<int32_t>(c.size())), 0u);
        EXPECT_EQ(count, 0u);
        EXPECT_EQ(vdc, 2);
        EXPECT_EQ(tp::live_allocs(), 1); // the zero-byte array
        std::free(r);
    }
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(DeleteParse, FourByteReplyLeavesResultsNullAndReturnsItsWord)
{
    for (Parser parse : kParsers)
        for (const Bytes &reply : {Bytes{0x41, 0x10, 0x00, 0x12}, Bytes{0x00, 0x00, 0x00, 0x00}}) {
            HeapCopy c(reply);
            vlan_delete_result_t sentinel{};
            vlan_delete_result_t *r = &sentinel;
            uint32_t count = 9;
            uint16_t vdc = 9;
            EXPECT_EQ(parse(&r, &count, &vdc, c.data(), 4), first_word(reply));
            EXPECT_EQ(r, nullptr);
            EXPECT_EQ(count, 9u);
            EXPECT_EQ(vdc, 9);
        }
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(DeleteParse, EmptyReplyIsNoMemoryWithResultsNull)
{
    for (Parser parse : kParsers) {
        vlan_delete_result_t sentinel{};
        vlan_delete_result_t *r = &sentinel;
        uint32_t count = 0;
        uint16_t vdc = 0;
        EXPECT_EQ(parse(&r, &count, &vdc, kTwoPairReply.data(), 0), 0x41100002u);
        EXPECT_EQ(r, nullptr);
    }
}

TEST(DeleteParse, CountVdcAndPayloadPointersAreCheckedAndResultsUntouched)
{
    for (Parser parse : kParsers) {
        vlan_delete_result_t sentinel{};
        vlan_delete_result_t *r = &sentinel;
        uint32_t count = 0;
        uint16_t vdc = 0;
        const int32_t len = static_cast<int32_t>(kTwoPairReply.size());
        EXPECT_EQ(parse(&r, nullptr, &vdc, kTwoPairReply.data(), len), 0x41100003u);
        EXPECT_EQ(parse(&r, &count, nullptr, kTwoPairReply.data(), len), 0x41100003u);
        EXPECT_EQ(parse(&r, &count, &vdc, nullptr, len), 0x41100003u);
        EXPECT_EQ(r, &sentinel);
    }
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(DeleteParseDeathTest, ResultsPointerIsWrittenWithoutACheck)
{
    uint32_t count = 0;
    uint16_t vdc = 0;
    EXPECT_DEATH(vlan_delete_parse_reply(nullptr, &count, &vdc, kTwoPairReply.data(), 4), "");
    EXPECT_DEATH(vlan_delete_range_parse_reply(nullptr, &count, &vdc, kTwoPairReply.data(), 4), "");
}

TEST(DeleteParse, AllocationFailureLeavesResultsNull)
{
    for (Parser parse : kParsers) {
        HeapCopy c(kTwoPairReply);
        const long allocs = sweep_alloc_failures([&] {
            vlan_delete_result_t *r = nullptr;
            uint32_t count = 0;
            uint16_t vdc = 0;
            const uint32_t st = parse(&r, &count, &vdc, c.data(), static_cast<int32_t>(c.size()));
            if (st == VLAN_MGR_ERR_NO_MEMORY) {
                EXPECT_EQ(r, nullptr);
            } else {
                EXPECT_EQ(st, 0x41100011u);
                std::free(r);
            }
            return st;
        });
        EXPECT_EQ(allocs, 1);
    }
}

TEST(DeleteParse, CountBeyondThePayloadIsTruncated)
{
    Bytes reply = kTwoPairReply;
    reply[9] = 0x03; // three pairs announced, two present
    HeapCopy c(reply);
    vlan_delete_result_t *r = nullptr;
    uint32_t count = 9;
    uint16_t vdc = 9;
    EXPECT_EQ(vlan_delete_parse_reply(&r, &count, &vdc, c.data(), static_cast<int32_t>(c.size())),
              VLAN_MGR_ERR_TRUNCATED);
    EXPECT_EQ(r, nullptr);
    EXPECT_EQ(count, 9u);
    EXPECT_EQ(vdc, 9);
    reply[6] = 0xFF; // a count whose size overflows 32 bits
    HeapCopy huge(reply);
    EXPECT_EQ(vlan_delete_parse_reply(&r, &count, &vdc, huge.data(), static_cast<int32_t>(huge.size())),
              VLAN_MGR_ERR_TRUNCATED);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(DeleteParse, NegativeLengthHoldsNoBytes)
{
    vlan_delete_result_t *r = nullptr;
    uint32_t count = 0;
    uint16_t vdc = 0;
    EXPECT_EQ(vlan_delete_parse_reply(&r, &count, &vdc, kTwoPairReply.data(), -4), VLAN_MGR_ERR_TRUNCATED);
    EXPECT_EQ(r, nullptr);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(DeleteParse, EveryCutOfAValidReplyFailsCleanly)
{
    for (Parser parse : kParsers)
        for (const Bytes &reply : {kTwoPairReply, kEmptyReply})
            expect_every_cut_fails(reply, [&](const uint8_t *p, uint32_t len) {
                vlan_delete_result_t *r = nullptr;
                uint32_t count = 0;
                uint16_t vdc = 0;
                const uint32_t st = parse(&r, &count, &vdc, p, static_cast<int32_t>(len));
                EXPECT_EQ(r, nullptr);
                return st;
            });
}

TEST(DeleteParse, ReplyAtAnOddAddressDecodesTheSame)
{
    for (Parser parse : kParsers) {
        HeapCopy c(kTwoPairReply, true);
        vlan_delete_result_t *r = nullptr;
        uint32_t count = 0;
        uint16_t vdc = 0;
        ASSERT_EQ(parse(&r, &count, &vdc, c.data(), static_cast<int32_t>(c.size())), 0x41100011u);
        ASSERT_EQ(count, 2u);
        EXPECT_EQ(r[1].vlan_id, 3u);
        EXPECT_EQ(r[1].status, 0x41100012u);
        std::free(r);
    }
}

TEST(DeleteParse, LocalFormsDropTheVdc)
{
    for (LocalParser parse : kLocalParsers) {
        HeapCopy c(kTwoPairReply);
        vlan_delete_result_t *r = nullptr;
        uint32_t count = 0;
        ASSERT_EQ(parse(&r, &count, c.data(), static_cast<int32_t>(c.size())), 0x41100011u);
        EXPECT_EQ(count, 2u);
        EXPECT_EQ(r[0].vlan_id, 2u);
        std::free(r);
        EXPECT_EQ(parse(&r, nullptr, c.data(), static_cast<int32_t>(c.size())), 0x41100003u);
        EXPECT_EQ(parse(&r, &count, c.data(), 4), 0x41100011u);
        EXPECT_EQ(r, nullptr);
    }
    EXPECT_EQ(tp::live_allocs(), 0);
}

// ---- Every valid reply, every parser form -------------------------------------------

std::vector<uint32_t> pairs_summary(uint32_t status, uint32_t count, uint16_t vdc, vlan_delete_result_t *r)
{
    std::vector<uint32_t> out = {status, count, vdc, r != nullptr};
    if (r != nullptr)
        for (uint32_t i = 0; i < count; ++i) {
            out.push_back(r[i].vlan_id);
            out.push_back(r[i].status);
        }
    std::free(r);
    return out;
}

TEST(DeleteParse, EveryValidReplyInEveryFormAtAnOddAddressAndCut)
{
    for (Parser parse : kParsers) {
        auto decode = [parse](const uint8_t *p, uint32_t len) {
            vlan_delete_result_t *r = nullptr;
            uint32_t count = 0;
            uint16_t vdc = 0;
            const uint32_t st = parse(&r, &count, &vdc, p, static_cast<int32_t>(len));
            return pairs_summary(st, count, vdc, r);
        };
        for (const Bytes &reply : {kTwoPairReply, kEmptyReply})
            expect_same_at_odd_address(reply, decode);
    }
    for (LocalParser parse : kLocalParsers) {
        auto decode = [parse](const uint8_t *p, uint32_t len) {
            vlan_delete_result_t *r = nullptr;
            uint32_t count = 0;
            const uint32_t st = parse(&r, &count, p, static_cast<int32_t>(len));
            return pairs_summary(st, count, 0, r);
        };
        for (const Bytes &reply : {kTwoPairReply, kEmptyReply}) {
            expect_same_at_odd_address(reply, decode);
            expect_every_cut_fails(reply, [&](const uint8_t *p, uint32_t len) {
                const std::vector<uint32_t> out = decode(p, len);
                EXPECT_EQ(out[3], 0u); // no array handed back
                return out[0];
            });
        }
    }
}

} // namespace
