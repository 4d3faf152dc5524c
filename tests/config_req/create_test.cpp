// VLAN create: request builder, reply parser and the create/update reply parser.
#include "../common/request_test_util.h"

#include <vlan_mgr/config_req.h>

namespace {

using namespace reqtest;

const uint32_t kVlan10[] = {10};
const char *const kName33 = "abcdefghijklmnopqrstuvwxyz0123456";  // 33 characters
const char *const kName34 = "abcdefghijklmnopqrstuvwxyz01234567"; // 34 characters

// A create reply (test-side encoding): VDC id, count, vlan_id, bitmap field
// with `vlans` set, then the statuses.
Bytes create_reply(uint16_t vdc, uint16_t count, uint32_t vlan_id, std::initializer_list<uint32_t> vlans,
                   const std::vector<uint32_t> &statuses)
{
    Bytes b;
    push_be16(b, vdc);
    push_be16(b, count);
    push_be32(b, vlan_id);
    b.insert(b.end(), kLen512.begin(), kLen512.end());
    Bytes bits(512, 0);
    for (uint32_t v : vlans)
        bits[v / 8] |= static_cast<uint8_t>(0x80u >> (v % 8));
    b.insert(b.end(), bits.begin(), bits.end());
    for (uint32_t s : statuses)
        push_be32(b, s);
    return b;
}

// The same reply without its VDC id: the create/update reply.
Bytes create_update_reply(uint16_t count, uint32_t vlan_id, std::initializer_list<uint32_t> vlans,
                          const std::vector<uint32_t> &statuses)
{
    Bytes b = create_reply(0, count, vlan_id, vlans, statuses);
    b.erase(b.begin(), b.begin() + 2);
    return b;
}

struct Decoded {
    uint32_t status;
    uint16_t vdc = 0xEEEE, count = 0xEEEE;
    std::vector<uint32_t> ids, statuses;
};

// Runs vlan_create_parse_reply and copies the arrays out (freeing them).
Decoded parse_create(const uint8_t *p, uint32_t len)
{
    Decoded d;
    uint32_t *ids = nullptr, *st = nullptr;
    d.status = vlan_create_parse_reply(&d.vdc, &d.count, &ids, &st, p, len);
    if (d.status == VLAN_MGR_OK) {
        const size_t n = d.count == 0 ? 1 : d.count;
        d.ids.assign(ids, ids + n);
        d.statuses.assign(st, st + n);
    }
    std::free(ids);
    std::free(st);
    return d;
}

Decoded parse_create_update(const uint8_t *p, int32_t len)
{
    Decoded d;
    uint32_t *ids = nullptr, *st = nullptr;
    d.status = vlan_mgr_create_update_parse_reply(&d.count, &ids, &st, p, len);
    if (d.status == VLAN_MGR_OK) {
        const size_t n = d.count == 0 ? 1 : d.count;
        d.ids.assign(ids, ids + n);
        d.statuses.assign(st, st + n);
    }
    std::free(ids);
    std::free(st);
    return d;
}

// ---- Builder -----------------------------------------------------------------

TEST(CreateBuild, NamedVlanInLocalVdcGives544Bytes)
{
    tp::state().vdc_id = 1;
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_create_build_mts(1, 1, kVlan10, "engineering", 0, &p, &len), VLAN_MGR_OK);
    ASSERT_EQ(len, 544u);
    const Bytes want = cat({{0x00, 0x01, 0x00, 0x01, 0x00, 0x00, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x00},
                            kLen512,
                            zeros(512),
                            {0x65, 0x6E, 0x67, 0x69, 0x6E, 0x65, 0x65, 0x72, 0x69, 0x6E, 0x67, 0x00},
                            {0x00, 0x00, 0x00, 0x00}});
    EXPECT_EQ(take(p, len), want);
    expect_no_report();
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(CreateBuild, OptionWordIsCarriedBigEndianAndEmptyNameIsOneNul)
{
    void *p = nullptr;
    uint32_t len = 0;
    const uint32_t ids[] = {0x0FFE};
    ASSERT_EQ(vlan_create_build_mts(1, 1, ids, "", 0xDEADBEEFu, &p, &len), VLAN_MGR_OK);
    ASSERT_EQ(len, 533u);
    const Bytes want = cat({{0x00, 0x01, 0x00, 0x01, 0x00, 0x00, 0x0F, 0xFE, 0xDE, 0xAD, 0xBE, 0xEF},
                            kLen512,
                            zeros(512),
                            {0x00},
                            {0x00, 0x00, 0x00, 0x00}});
    EXPECT_EQ(take(p, len), want);
}

TEST(CreateBuild, SetOfVlansGoesInTheBitmapWithDuplicatesCollapsed)
{
    void *p = nullptr;
    uint32_t len = 0;
    const uint32_t ids[] = {100, 5, 100};
    ASSERT_EQ(vlan_create_build_mts(1, 3, ids, "ignored", 0, &p, &len), VLAN_MGR_OK);
    ASSERT_EQ(len, 533u);
    Bytes want = cat({{0x00, 0x01, 0x00, 0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00},
                      kLen512,
                      zeros(512),
                      {0x00},
                      {0x00, 0x00, 0x00, 0x00}});
    want[16 + 0] = 0x04;  // VLAN 5
    want[16 + 12] = 0x08; // VLAN 100
    EXPECT_EQ(take(p, len), want);
}

TEST(CreateBuild, NameOf33CharactersIsAccepted)
{
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_create_build_mts(1, 1, kVlan10, kName33, 0, &p, &len), VLAN_MGR_OK);
    ASSERT_EQ(len, 566u);
    const Bytes b = take(p, len);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(b.data() + 528), 33), kName33);
    EXPECT_EQ(Bytes(b.begin() + 561, b.end()), zeros(5)); // NUL, then the 4 trailing bytes
}

TEST(CreateBuild, NameOf34CharactersFailsWithCountOne)
{
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_create_build_mts(1, 1, kVlan10, kName34, 0, &p, &len), 0x4110000fu);
    EXPECT_EQ(p, &p);
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(tp::alloc_calls(), 0);
    expect_no_report();
}

TEST(CreateBuild, NameIsNotReadWhenCountIsNotOne)
{
    const uint32_t ids[] = {20, 21};
    for (const char *name : {kName34, static_cast<const char *>(nullptr)}) {
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_create_build_mts(1, 2, ids, name, 0, &p, &len), VLAN_MGR_OK);
        ASSERT_EQ(len, 533u);
        Bytes want = cat({{0x00, 0x01, 0x00, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00},
                          kLen512,
                          zeros(512),
                          {0x00},
                          {0x00, 0x00, 0x00, 0x00}});
        want[16 + 2] = 0x0C; // VLANs 20 and 21
        EXPECT_EQ(take(p, len), want);
    }
}

TEST(CreateBuild, CountZeroOrNoIdsIsInvalidBeforeTheVdcCheck)
{
    tp::state().vdc_id = 1;
    syslog_fac_LOG_VLAN_MGR.current_level = 3;
    tp::set_debug(100, true);
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_create_build_mts(2, 0, kVlan10, "x", 0, &p, &len), 0x41100003u);
    EXPECT_EQ(vlan_create_build_mts(2, 1, nullptr, "x", 0, &p, &len), 0x41100003u);
    EXPECT_EQ(p, &p);
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(tp::state().vdc_get_calls, 0);
    EXPECT_EQ(tp::alloc_calls(), 0);
    expect_no_report();
}

TEST(CreateBuild, ForeignVdcIsReportedWithTheBuilderName)
{
    tp::state().vdc_id = 1;
    syslog_fac_LOG_VLAN_MGR.current_level = 3;
    tp::set_debug(100, true);
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_create_build_mts(2, 1, kVlan10, "x", 0, &p, &len), 0x41100013u);
    EXPECT_EQ(p, &p);
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(tp::alloc_calls(), 0);
    expect_vdc_report("vlan_mgr vlan_create_build_mts: pid " + pid_text() + ", vdcID 2, local vdcID 1\n",
                      " vlan_create_build_mts: pid " + pid_text() + ", vdcID 2, local vdcID 1\n", true, true);
}

TEST(CreateBuild, ForeignVdcAtDefaultSyslogLevelIsRecordedButNotSentToSyslog)
{
    tp::state().vdc_id = 4;
    void *p = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(vlan_create_build_mts(5, 1, kVlan10, "x", 0, &p, &len), 0x41100013u);
    expect_vdc_report("vlan_mgr vlan_create_build_mts: pid " + pid_text() + ", vdcID 5, local vdcID 4\n",
                      "", false, false);
}

TEST(CreateBuild, VdcCheckComesBeforeTheNameLength)
{
    tp::state().vdc_id = 1;
    void *p = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(vlan_create_build_mts(3, 1, kVlan10, kName34, 0, &p, &len), 0x41100013u);
    EXPECT_EQ(tp::state().history.size(), 1u);
}

TEST(CreateBuild, LocalFormUsesTheCachedLocalVdc)
{
    tp::state().vdc_id = 3;
    for (int i = 0; i < 5; ++i) {
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_create_build_mts_local(1, kVlan10, "a", 7, &p, &len), VLAN_MGR_OK);
        ASSERT_EQ(len, 534u);
        const Bytes b = take(p, len);
        EXPECT_EQ(Bytes(b.begin(), b.begin() + 12),
                  (Bytes{0x00, 0x03, 0x00, 0x01, 0x00, 0x00, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x07}));
        EXPECT_EQ(b[528], 'a');
    }
    EXPECT_EQ(tp::state().vdc_get_calls, 1);
    expect_no_report();
}

TEST(CreateBuild, LocalFormKeepsTheOtherChecks)
{
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_create_build_mts_local(0, kVlan10, "a", 0, &p, &len), 0x41100003u);
    EXPECT_EQ(vlan_create_build_mts_local(1, kVlan10, kName34, 0, &p, &len), 0x4110000fu);
    EXPECT_EQ(p, &p);
}

TEST(CreateBuild, AllocationFailureLeavesNullPayloadAndTheLength)
{
    const long allocs = sweep_alloc_failures([] {
        void *p = &p;
        uint32_t len = 0;
        const uint32_t st = vlan_create_build_mts(1, 1, kVlan10, "engineering", 0, &p, &len);
        if (st == VLAN_MGR_ERR_NO_MEMORY) {
            EXPECT_EQ(p, nullptr);
            EXPECT_EQ(len, 544u);
        } else {
            std::free(p);
        }
        return st;
    });
    EXPECT_EQ(allocs, 1);
    expect_no_report();
}

TEST(CreateBuild, RequestFor4094VlansSetsEveryBitButZeroAndTheLast)
{
    std::vector<uint32_t> ids;
    for (uint32_t v = 4094; v >= 1; --v)
        ids.push_back(v);
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_create_build_mts(1, 4094, ids.data(), nullptr, 0, &p, &len), VLAN_MGR_OK);
    ASSERT_EQ(len, 533u);
    Bytes want = cat({{0x00, 0x01, 0x0F, 0xFE, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00},
                      kLen512,
                      Bytes(512, 0xFF),
                      {0x00},
                      {0x00, 0x00, 0x00, 0x00}});
    want[16] = 0x7F;        // VLAN 0 not listed
    want[16 + 511] = 0xFE;  // VLAN 4095 not listed
    EXPECT_EQ(take(p, len), want);
}

// ---- Create reply ---------------------------------------------------------------

TEST(CreateParse, SetReplyDecodesAscendingIdsAndMinusOneWhenBitsRunOut)
{
    const Bytes reply = create_reply(1, 3, 0, {5, 100}, {0x41100011u, 0, 0x4110000bu});
    HeapCopy c(reply);
    const Decoded d = parse_create(c.data(), c.size());
    EXPECT_EQ(d.status, VLAN_MGR_OK); // the per-VLAN statuses carry the outcome
    EXPECT_EQ(d.vdc, 1);
    EXPECT_EQ(d.count, 3);
    EXPECT_EQ(d.ids, (std::vector<uint32_t>{5, 100, 0xFFFFFFFFu}));
    EXPECT_EQ(d.statuses, (std::vector<uint32_t>{0x41100011u, 0, 0x4110000bu}));
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(CreateParse, WalkRestartsFromVlanZeroAfterMinusOne)
{
    const Bytes reply = create_reply(2, 5, 0, {5, 100}, {1, 2, 3, 4, 5});
    HeapCopy c(reply);
    const Decoded d = parse_create(c.data(), c.size());
    EXPECT_EQ(d.status, VLAN_MGR_OK);
    EXPECT_EQ(d.vdc, 2);
    EXPECT_EQ(d.ids, (std::vector<uint32_t>{5, 100, 0xFFFFFFFFu, 5, 100}));
    EXPECT_EQ(d.statuses, (std::vector<uint32_t>{1, 2, 3, 4, 5}));
}

TEST(CreateParse, CountOneTakesTheIdFieldAndIgnoresTheBitmap)
{
    const Bytes reply = create_reply(1, 1, 4094, {7}, {0x41100012u});
    HeapCopy c(reply);
    const Decoded d = parse_create(c.data(), c.size());
    EXPECT_EQ(d.status, VLAN_MGR_OK);
    EXPECT_EQ(d.count, 1);
    EXPECT_EQ(d.ids, (std::vector<uint32_t>{4094}));
    EXPECT_EQ(d.statuses, (std::vector<uint32_t>{0x41100012u}));
}

TEST(CreateParse, CountZeroStillDecodesOneIdAndOneStatus)
{
    const Bytes reply = create_reply(1, 0, 0, {33}, {0x41100011u});
    ASSERT_EQ(reply.size(), 528u);
    HeapCopy c(reply);
    const Decoded d = parse_create(c.data(), c.size());
    EXPECT_EQ(d.status, VLAN_MGR_OK);
    EXPECT_EQ(d.count, 0);
    EXPECT_EQ(d.ids, (std::vector<uint32_t>{33}));
    EXPECT_EQ(d.statuses, (std::vector<uint32_t>{0x41100011u}));
}

TEST(CreateParse, CountZeroWithoutRoomForOneStatusIsTruncated)
{
    const Bytes reply = create_reply(1, 0, 0, {33}, {});
    HeapCopy c(reply);
    EXPECT_EQ(parse_create(c.data(), c.size()).status, VLAN_MGR_ERR_TRUNCATED);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(CreateParse, FourByteReplyIsABareStatusAndWritesNothing)
{
    for (const Bytes &reply : {Bytes{0x00, 0x00, 0x00, 0x00}, Bytes{0x41, 0x10, 0x00, 0x11}}) {
        HeapCopy c(reply);
        uint16_t vdc = 0xEEEE, count = 0xEEEE;
        uint32_t *ids = reinterpret_cast<uint32_t *>(&vdc), *st = reinterpret_cast<uint32_t *>(&count);
        EXPECT_EQ(vlan_create_parse_reply(&vdc, &count, &ids, &st, c.data(), 4), first_word(reply));
        EXPECT_EQ(vdc, 0xEEEE);
        EXPECT_EQ(count, 0xEEEE);
        EXPECT_EQ(ids, reinterpret_cast<uint32_t *>(&vdc));
        EXPECT_EQ(st, reinterpret_cast<uint32_t *>(&count));
    }
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(CreateParse, EmptyReplyIsNoMemory)
{
    const uint8_t byte = 0;
    uint16_t vdc = 0, count = 0;
    uint32_t *ids = nullptr, *st = nullptr;
    EXPECT_EQ(vlan_create_parse_reply(&vdc, &count, &ids, &st, &byte, 0), 0x41100002u);
    EXPECT_EQ(ids, nullptr);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(CreateParse, VdcCountAndPayloadPointersAreChecked)
{
    const Bytes reply = create_reply(1, 1, 10, {}, {0});
    uint16_t vdc = 0, count = 0;
    uint32_t *ids = nullptr, *st = nullptr;
    EXPECT_EQ(vlan_create_parse_reply(nullptr, &count, &ids, &st, reply.data(), 528), 0x41100003u);
    EXPECT_EQ(vlan_create_parse_reply(&vdc, nullptr, &ids, &st, reply.data(), 528), 0x41100003u);
    EXPECT_EQ(vlan_create_parse_reply(&vdc, &count, &ids, &st, nullptr, 528), 0x41100003u);
    EXPECT_EQ(ids, nullptr);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(CreateParse, IdAndStatusPointersAreNotChecked)
{
    // A 4-byte reply writes no array, so NULL array pointers pass.
    const Bytes reply = {0x41, 0x10, 0x00, 0x12};
    uint16_t vdc = 0, count = 0;
    EXPECT_EQ(vlan_create_parse_reply(&vdc, &count, nullptr, nullptr, reply.data(), 4), 0x41100012u);
}

TEST(CreateParseDeathTest, NullIdPointerIsWrittenWithoutACheck)
{
    const Bytes reply = create_reply(1, 1, 10, {}, {0});
    uint16_t vdc = 0, count = 0;
    uint32_t *st = nullptr;
    EXPECT_DEATH(vlan_create_parse_reply(&vdc, &count, nullptr, &st, reply.data(), 528), "");
}

TEST(CreateParse, CountBeyondThePayloadIsTruncatedAndAllocatesNothing)
{
    Bytes reply = create_reply(1, 3, 0, {5, 100}, {0, 0}); // room for 2 statuses of 3
    HeapCopy c(reply);
    uint16_t vdc = 0xEEEE, count = 0xEEEE;
    uint32_t *ids = nullptr, *st = nullptr;
    EXPECT_EQ(vlan_create_parse_reply(&vdc, &count, &ids, &st, c.data(), c.size()), VLAN_MGR_ERR_TRUNCATED);
    EXPECT_EQ(vdc, 0xEEEE);
    EXPECT_EQ(count, 0xEEEE);
    EXPECT_EQ(ids, nullptr);
    EXPECT_EQ(st, nullptr);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(CreateParse, EveryAllocationFailureFreesWhatWasAllocated)
{
    const Bytes reply = create_reply(1, 3, 0, {5, 100}, {1, 2, 3});
    HeapCopy c(reply);
    int run = 0;
    const long allocs = sweep_alloc_failures([&] {
        ++run;
        uint16_t vdc = 0, count = 0;
        uint32_t *ids = nullptr;
        uint32_t *st = reinterpret_cast<uint32_t *>(&vdc); // must stay when the first allocation fails
        const uint32_t status = vlan_create_parse_reply(&vdc, &count, &ids, &st, c.data(), c.size());
        if (status == VLAN_MGR_ERR_NO_MEMORY) {
            EXPECT_EQ(ids, nullptr);
            EXPECT_EQ(st, run == 1 ? reinterpret_cast<uint32_t *>(&vdc) : nullptr);
        } else {
            std::free(ids);
            std::free(st);
        }
        return status;
    });
    EXPECT_EQ(allocs, 2);
}

TEST(CreateParse, EveryCutOfAValidReplyFailsCleanly)
{
    const std::vector<Bytes> replies = {create_reply(1, 3, 0, {5, 100}, {1, 2, 3}),
                                        create_reply(1, 1, 10, {}, {9}), create_reply(1, 0, 0, {}, {9})};
    for (const Bytes &reply : replies)
        expect_every_cut_fails(reply, [](const uint8_t *p, uint32_t len) {
            uint16_t vdc = 0, count = 0;
            uint32_t *ids = nullptr, *st = nullptr;
            const uint32_t status = vlan_create_parse_reply(&vdc, &count, &ids, &st, p, len);
            EXPECT_EQ(ids, nullptr);
            EXPECT_EQ(st, nullptr);
            return status;
        });
}

TEST(CreateParse, ReplyAtAnOddAddressDecodesTheSame)
{
    const Bytes reply = create_reply(3, 3, 0, {5, 100, 4095}, {7, 8, 9});
    HeapCopy c(reply, true);
    ASSERT_EQ(reinterpret_cast<uintptr_t>(c.data()) & 1, 1u);
    const Decoded d = parse_create(c.data(), c.size());
    EXPECT_EQ(d.status, VLAN_MGR_OK);
    EXPECT_EQ(d.vdc, 3);
    EXPECT_EQ(d.ids, (std::vector<uint32_t>{5, 100, 4095}));
    EXPECT_EQ(d.statuses, (std::vector<uint32_t>{7, 8, 9}));
}

TEST(CreateParse, LocalFormDecodesWithoutTheVdc)
{
    const Bytes reply = create_reply(4, 2, 0, {8, 9}, {0, 0x41100011u});
    HeapCopy c(reply);
    uint16_t count = 0;
    uint32_t *ids = nullptr, *st = nullptr;
    ASSERT_EQ(vlan_create_parse_reply_local(&count, &ids, &st, c.data(), c.size()), VLAN_MGR_OK);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(std::vector<uint32_t>(ids, ids + 2), (std::vector<uint32_t>{8, 9}));
    EXPECT_EQ(std::vector<uint32_t>(st, st + 2), (std::vector<uint32_t>{0, 0x41100011u}));
    std::free(ids);
    std::free(st);
    EXPECT_EQ(vlan_create_parse_reply_local(nullptr, &ids, &st, c.data(), c.size()), 0x41100003u);
    EXPECT_EQ(vlan_create_parse_reply_local(&count, &ids, &st, c.data(), 4), 0x00040002u);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(CreateRoundTrip, RequestAndReplyOf4094VlansDecodeInAscendingOrder)
{
    std::vector<uint32_t> ids;
    for (uint32_t v = 4094; v >= 1; --v)
        ids.push_back(v);
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_create_build_mts(1, 4094, ids.data(), nullptr, 0, &p, &len), VLAN_MGR_OK);
    const Bytes request = take(p, len);

    // The VLAN manager answers with the request's bitmap and one status per VLAN.
    Bytes reply = {0x00, 0x01, 0x0F, 0xFE, 0x00, 0x00, 0x00, 0x00};
    reply.insert(reply.end(), request.begin() + 12, request.begin() + 528);
    for (uint32_t i = 0; i < 4094; ++i)
        push_be32(reply, 0x41100000u + i);
    HeapCopy c(reply);
    const Decoded d = parse_create(c.data(), c.size());
    ASSERT_EQ(d.status, VLAN_MGR_OK);
    ASSERT_EQ(d.count, 4094);
    for (uint32_t i = 0; i < 4094; ++i) {
        ASSERT_EQ(d.ids[i], i + 1);
        ASSERT_EQ(d.statuses[i], 0x41100000u + i);
    }
    EXPECT_EQ(tp::live_allocs(), 0);
}

// ---- Create/update reply ------------------------------------------------------------

TEST(CreateUpdateParse, ReplyWithoutVdcDecodesTheSameWay)
{
    const Bytes reply = create_update_reply(3, 0, {5, 100}, {0x41100011u, 0, 6});
    ASSERT_EQ(reply.size(), 534u);
    HeapCopy c(reply);
    const Decoded d = parse_create_update(c.data(), static_cast<int32_t>(c.size()));
    EXPECT_EQ(d.status, VLAN_MGR_OK);
    EXPECT_EQ(d.count, 3);
    EXPECT_EQ(d.ids, (std::vector<uint32_t>{5, 100, 0xFFFFFFFFu}));
    EXPECT_EQ(d.statuses, (std::vector<uint32_t>{0x41100011u, 0, 6}));
}

TEST(CreateUpdateParse, CountOneReadsTheUnalignedIdAtOffsetTwo)
{
    const Bytes reply = cat({{0x00, 0x01, 0x00, 0x00, 0x0F, 0xFE}, kLen512, zeros(512), {0x41, 0x10, 0x00, 0x58}});
    HeapCopy c(reply);
    const Decoded d = parse_create_update(c.data(), static_cast<int32_t>(c.size()));
    EXPECT_EQ(d.status, VLAN_MGR_OK);
    EXPECT_EQ(d.ids, (std::vector<uint32_t>{4094}));
    EXPECT_EQ(d.statuses, (std::vector<uint32_t>{0x41100058u}));
}

TEST(CreateUpdateParse, CountZeroStillDecodesOneIdAndOneStatus)
{
    const Bytes reply = create_update_reply(0, 0, {2}, {3});
    HeapCopy c(reply);
    const Decoded d = parse_create_update(c.data(), static_cast<int32_t>(c.size()));
    EXPECT_EQ(d.status, VLAN_MGR_OK);
    EXPECT_EQ(d.count, 0);
    EXPECT_EQ(d.ids, (std::vector<uint32_t>{2}));
    EXPECT_EQ(d.statuses, (std::vector<uint32_t>{3}));
}

TEST(CreateUpdateParse, CountAndPayloadPointersAreCheckedNotTheArrays)
{
    const Bytes reply = create_update_reply(1, 10, {}, {0});
    uint16_t count = 0;
    uint32_t *ids = nullptr, *st = nullptr;
    EXPECT_EQ(vlan_mgr_create_update_parse_reply(nullptr, &ids, &st, reply.data(), 526), 0x41100003u);
    EXPECT_EQ(vlan_mgr_create_update_parse_reply(&count, &ids, &st, nullptr, 526), 0x41100003u);
    const Bytes bare = {0x00, 0x00, 0x00, 0x00};
    count = 0xEEEE;
    EXPECT_EQ(vlan_mgr_create_update_parse_reply(&count, nullptr, nullptr, bare.data(), 4), 0u);
    EXPECT_EQ(count, 0xEEEE);
    uint8_t byte = 0;
    EXPECT_EQ(vlan_mgr_create_update_parse_reply(&count, &ids, &st, &byte, 0), 0x41100002u);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(CreateUpdateParse, NegativeLengthHoldsNoBytes)
{
    const Bytes reply = create_update_reply(1, 10, {}, {0});
    uint16_t count = 0xEEEE;
    uint32_t *ids = nullptr, *st = nullptr;
    EXPECT_EQ(vlan_mgr_create_update_parse_reply(&count, &ids, &st, reply.data(), -1), VLAN_MGR_ERR_TRUNCATED);
    EXPECT_EQ(count, 0xEEEE);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(CreateUpdateParse, EveryAllocationFailureFreesWhatWasAllocated)
{
    const Bytes reply = create_update_reply(2, 0, {5, 6}, {1, 2});
    HeapCopy c(reply);
    const long allocs = sweep_alloc_failures([&] {
        uint16_t count = 0;
        uint32_t *ids = nullptr, *st = nullptr;
        const uint32_t status =
            vlan_mgr_create_update_parse_reply(&count, &ids, &st, c.data(), static_cast<int32_t>(c.size()));
        if (status == VLAN_MGR_ERR_NO_MEMORY) {
            EXPECT_EQ(ids, nullptr);
        }
        std::free(ids);
        std::free(st);
        return status;
    });
    EXPECT_EQ(allocs, 2);
}

TEST(CreateUpdateParse, EveryCutOfAValidReplyFailsCleanly)
{
    for (const Bytes &reply : {create_update_reply(2, 0, {5, 6}, {1, 2}), create_update_reply(1, 9, {}, {1})})
        expect_every_cut_fails(reply, [](const uint8_t *p, uint32_t len) {
            uint16_t count = 0;
            uint32_t *ids = nullptr, *st = nullptr;
            const uint32_t status =
                vlan_mgr_create_update_parse_reply(&count, &ids, &st, p, static_cast<int32_t>(len));
            EXPECT_EQ(ids, nullptr);
            return status;
        });
}

TEST(CreateUpdateParse, ReplyAtAnOddAddressDecodesTheSame)
{
    const Bytes reply = create_update_reply(2, 0, {4000, 4094}, {1, 2});
    HeapCopy c(reply, true);
    const Decoded d = parse_create_update(c.data(), static_cast<int32_t>(c.size()));
    EXPECT_EQ(d.status, VLAN_MGR_OK);
    EXPECT_EQ(d.ids, (std::vector<uint32_t>{4000, 4094}));
    EXPECT_EQ(d.statuses, (std::vector<uint32_t>{1, 2}));
}

// ---- Every valid reply, every parser form --------------------------------------------

std::vector<Bytes> valid_create_replies()
{
    return {create_reply(1, 3, 0, {5, 100}, {0x41100011u, 0, 0x4110000bu}), create_reply(2, 5, 0, {5, 100}, {1, 2, 3, 4, 5}),
            create_reply(1, 1, 4094, {7}, {0x41100012u}), create_reply(1, 0, 0, {33}, {0x41100011u}),
            create_reply(4, 2, 0, {8, 9}, {0, 0x41100011u})};
}

std::vector<uint32_t> summary(uint32_t status, uint16_t vdc, uint16_t count, uint32_t *ids, uint32_t *st)
{
    std::vector<uint32_t> out = {status, vdc, count};
    if (ids != nullptr && st != nullptr)
        for (size_t i = 0; i < (count == 0 ? 1u : count); ++i) {
            out.push_back(ids[i]);
            out.push_back(st[i]);
        }
    std::free(ids);
    std::free(st);
    return out;
}

std::vector<uint32_t> decode_create(const uint8_t *p, uint32_t len)
{
    uint16_t vdc = 0, count = 0;
    uint32_t *ids = nullptr, *st = nullptr;
    const uint32_t status = vlan_create_parse_reply(&vdc, &count, &ids, &st, p, len);
    return summary(status, vdc, count, ids, st);
}

std::vector<uint32_t> decode_create_local(const uint8_t *p, uint32_t len)
{
    uint16_t count = 0;
    uint32_t *ids = nullptr, *st = nullptr;
    const uint32_t status = vlan_create_parse_reply_local(&count, &ids, &st, p, len);
    return summary(status, 0, count, ids, st);
}

std::vector<uint32_t> decode_create_update(const uint8_t *p, uint32_t len)
{
    uint16_t count = 0;
    uint32_t *ids = nullptr, *st = nullptr;
    const uint32_t status = vlan_mgr_create_update_parse_reply(&count, &ids, &st, p, static_cast<int32_t>(len));
    return summary(status, 0, count, ids, st);
}

TEST(CreateParse, EveryValidReplyDecodesTheSameAtAnOddAddressInBothForms)
{
    for (const Bytes &reply : valid_create_replies()) {
        expect_same_at_odd_address(reply, decode_create);
        expect_same_at_odd_address(reply, decode_create_local);
        EXPECT_EQ(decode_create_local(reply.data(), static_cast<uint32_t>(reply.size()))[3],
                  decode_create(reply.data(), static_cast<uint32_t>(reply.size()))[3]);
    }
}

TEST(CreateParse, EveryCutOfEveryValidReplyFailsCleanlyInBothForms)
{
    for (const Bytes &reply : valid_create_replies()) {
        expect_every_cut_fails(reply, [](const uint8_t *p, uint32_t len) { return decode_create(p, len)[0]; });
        expect_every_cut_fails(reply, [](const uint8_t *p, uint32_t len) { return decode_create_local(p, len)[0]; });
    }
}

TEST(CreateUpdateParse, EveryValidReplyDecodesTheSameAtAnOddAddress)
{
    const std::vector<Bytes> replies = {
        create_update_reply(3, 0, {5, 100}, {0x41100011u, 0, 6}), create_update_reply(0, 0, {2}, {3}),
        cat({{0x00, 0x01, 0x00, 0x00, 0x0F, 0xFE}, kLen512, zeros(512), {0x41, 0x10, 0x00, 0x58}})};
    for (const Bytes &reply : replies) {
        expect_same_at_odd_address(reply, decode_create_update);
        expect_every_cut_fails(reply, [](const uint8_t *p, uint32_t len) { return decode_create_update(p, len)[0]; });
    }
}

} // namespace
