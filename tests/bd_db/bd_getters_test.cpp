#include "bd_db_test_util.h"

#include <cstring>

#include "bd_db/bd_record.h"
#include "frame/local_vdc.h"

using namespace bdtest;
namespace db = vlan_mgr::bd_db;

namespace {

class BdGetters : public BdDb {
protected:
    void SetUp() override
    {
        BdDb::SetUp();
        db::segment_vdc_forget();
    }
};

void push_be32(Bytes &b, uint32_t v)
{
    for (int s = 24; s >= 0; s -= 8)
        b.push_back(static_cast<uint8_t>(v >> s));
}

// A VLAN record (test-side encoder for the many records of the batch tests).
Bytes record(uint16_t bd, uint32_t primary, uint32_t type, uint32_t mode, uint32_t segment)
{
    Bytes b = {static_cast<uint8_t>(bd >> 8), static_cast<uint8_t>(bd)};
    push_be32(b, primary);
    push_be32(b, type);
    push_be32(b, mode);
    push_be32(b, segment);
    return b;
}

Bytes vlan_key(uint8_t vdc, uint32_t vlan)
{
    return {vdc, static_cast<uint8_t>(vlan >> 16), static_cast<uint8_t>(vlan >> 8), static_cast<uint8_t>(vlan)};
}

vlan_bitmap bitmap_of(uint32_t first, uint32_t last)
{
    vlan_bitmap bm;
    bm.len = 512;
    std::memset(bm.bits, 0, sizeof bm.bits);
    for (uint32_t v = first; v <= last; ++v)
        bm.bits[v / 8] |= static_cast<uint8_t>(0x80u >> (v % 8));
    return bm;
}

std::vector<size_t> mfetch_sizes()
{
    std::vector<size_t> sizes;
    for (const tp::SdbCall &c : tp::state().sdb_calls)
        if (c.op == tp::SdbOp::mfetch)
            sizes.push_back(c.keys.size());
    return sizes;
}

// ---- Multi-VLAN getters ------------------------------------------------------------

TEST_F(BdGetters, TwoHundredFiftyVlansMakeThreeFetchesOf99And99And52Keys)
{
    for (uint32_t v = 1; v <= 250; ++v)
        tp::sdb_put(kUri2, vlan_key(2, v), record(1, v + 1000, 3, 2 * v, 0));
    vlan_bitmap bm = bitmap_of(1, 250);
    uint32_t count = 0;
    vlan_mgr_sdb_vlan_pair_t *pairs = nullptr;
    EXPECT_EQ(vlan_mgr_sdb_get_multi_vlan_mode(2, &bm, &count, &pairs), 0u);
    EXPECT_EQ(mfetch_sizes(), (std::vector<size_t>{99, 99, 52}));
    EXPECT_EQ(count_ops(tp::SdbOp::mfetch_done), 3u);
    ASSERT_EQ(count, 250u);
    for (uint32_t i = 0; i < 250; ++i) {
        EXPECT_EQ(pairs[i].vlan_id, i + 1);
        EXPECT_EQ(pairs[i].value, 2 * (i + 1));
    }
    // The keys of the first fetch start at VDC 2, VLAN 1; the third ends at VLAN 250.
    std::vector<Bytes> first, third;
    for (const tp::SdbCall &c : tp::state().sdb_calls)
        if (c.op == tp::SdbOp::mfetch)
            (first.empty() ? first : third) = c.keys;
    EXPECT_EQ(first.front(), Bytes({0x02, 0x00, 0x00, 0x01}));
    EXPECT_EQ(first.back(), Bytes({0x02, 0x00, 0x00, 0x63}));
    EXPECT_EQ(third.front(), Bytes({0x02, 0x00, 0x00, 0xC7}));
    EXPECT_EQ(third.back(), Bytes({0x02, 0x00, 0x00, 0xFA}));
    std::free(pairs);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_F(BdGetters, ExactlyNinetyNineVlansMakeOneFetchAndNoneMakeNone)
{
    vlan_bitmap bm = bitmap_of(1000, 1098);
    uint32_t count = 7;
    vlan_mgr_sdb_vlan_pair_t *pairs = nullptr;
    EXPECT_EQ(vlan_mgr_sdb_get_multi_vlan_type(1, &bm, &count, &pairs), 0u);
    EXPECT_EQ(mfetch_sizes(), std::vector<size_t>{99});
    EXPECT_EQ(count, 0u); // no records: no pairs
    std::free(pairs);
    tp::reset();
    bm = bitmap_of(1, 0);
    count = 7;
    EXPECT_EQ(vlan_mgr_sdb_get_multi_vlan_type(1, &bm, &count, &pairs), 0u);
    EXPECT_TRUE(mfetch_sizes().empty());
    EXPECT_EQ(count, 0u);
    std::free(pairs);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_F(BdGetters, EachMemberFillsItsOwnPair)
{
    // VLAN 10: primary 20, type 4 (stored 00 00 00 04), mode 2, segment 0x00ABCDEF. VLAN 11 missing.
    tp::sdb_put(kUri1, {0x01, 0x00, 0x00, 0x0A},
                {0x00, 0x05, 0x00, 0x00, 0x00, 0x14, 0x00, 0x00, 0x00, 0x04, 0x00, 0x00, 0x00, 0x02, 0x00, 0xAB,
                 0xCD, 0xEF});
    tp::sdb_put(kUri1, {0x01, 0x00, 0x00, 0x0C}, record(6, 30, 5, 1, 0x1234));
    vlan_bitmap bm = bitmap_of(10, 12);
    uint32_t count = 0;
    vlan_mgr_sdb_vlan_pair_t *pairs = nullptr;

    EXPECT_EQ(vlan_mgr_sdb_get_multi_vlan_mode(1, &bm, &count, &pairs), 0u);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(pairs[0].vlan_id, 10u);
    EXPECT_EQ(pairs[0].value, 2u);
    EXPECT_EQ(pairs[1].vlan_id, 12u);
    EXPECT_EQ(pairs[1].value, 1u);
    std::free(pairs);

    EXPECT_EQ(vlan_mgr_sdb_get_multi_vlan_type(1, &bm, &count, &pairs), 0u);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(pairs[0].vlan_id, 20u);
    EXPECT_EQ(pairs[0].value, 0x04000000u); // stored bytes, not converted
    EXPECT_EQ(pairs[1].vlan_id, 30u);
    EXPECT_EQ(pairs[1].value, 0x05000000u);
    std::free(pairs);

    EXPECT_EQ(vlan_mgr_sdb_get_multi_vlan_segment_id(1, &bm, &count, &pairs), 0u);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(pairs[0].vlan_id, 20u);
    EXPECT_EQ(pairs[0].value, 0x00ABCDEFu);
    EXPECT_EQ(pairs[1].vlan_id, 30u);
    EXPECT_EQ(pairs[1].value, 0x1234u);
    std::free(pairs);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_F(BdGetters, RecordsShorterThanAMembersFieldsGiveNoPair)
{
    const Bytes full = record(6, 30, 5, 1, 0x1234);
    for (size_t len = 0; len < full.size(); ++len) {
        tp::sdb_put(kUri1, {0x01, 0x00, 0x00, 0x0C}, Bytes(full.begin(), full.begin() + static_cast<long>(len)));
        vlan_bitmap bm = bitmap_of(12, 12);
        uint32_t count = 9;
        vlan_mgr_sdb_vlan_pair_t *pairs = nullptr;
        EXPECT_EQ(vlan_mgr_sdb_get_multi_vlan_type(1, &bm, &count, &pairs), 0u);
        EXPECT_EQ(count, len >= 10 ? 1u : 0u) << len;
        std::free(pairs);
        EXPECT_EQ(vlan_mgr_sdb_get_multi_vlan_mode(1, &bm, &count, &pairs), 0u);
        EXPECT_EQ(count, len >= 14 ? 1u : 0u) << len;
        std::free(pairs);
        EXPECT_EQ(vlan_mgr_sdb_get_multi_vlan_segment_id(1, &bm, &count, &pairs), 0u);
        EXPECT_EQ(count, 0u) << len;
        std::free(pairs);
    }
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_F(BdGetters, MembersDifferInTheirChecks)
{
    vlan_bitmap bm = bitmap_of(1, 3);
    uint32_t count = 0;
    vlan_mgr_sdb_vlan_pair_t *pairs = nullptr;
    for (uint16_t vdc : {0, 6}) {
        EXPECT_EQ(vlan_mgr_sdb_get_multi_vlan_mode(vdc, &bm, &count, &pairs), 0x41100013u);
        EXPECT_EQ(vlan_mgr_sdb_get_multi_vlan_type(vdc, &bm, &count, &pairs), 0x41100013u);
    }
    EXPECT_EQ(vlan_mgr_sdb_get_multi_vlan_mode(1, nullptr, &count, &pairs), 0x41100013u);
    EXPECT_EQ(vlan_mgr_sdb_get_multi_vlan_type(1, nullptr, &count, &pairs), 0x41100013u);
    EXPECT_EQ(vlan_mgr_sdb_get_multi_vlan_segment_id(1, nullptr, &count, &pairs), 0x41100013u);
    EXPECT_EQ(vlan_mgr_sdb_get_multi_vlan_segment_id(1, &bm, &count, nullptr), 0x41100002u);
    EXPECT_EQ(vlan_mgr_sdb_get_multi_vlan_mode(1, &bm, &count, nullptr), 0x41100003u);
    EXPECT_EQ(vlan_mgr_sdb_get_multi_vlan_type(1, &bm, nullptr, &pairs), 0x41100003u);
    EXPECT_EQ(tp::alloc_calls(), 0);
    EXPECT_TRUE(tp::state().sdb_calls.empty());
    // The segment getter has no VDC check of its own: the pairs are allocated
    // and stored, and the open refuses the VDC.
    EXPECT_EQ(vlan_mgr_sdb_get_multi_vlan_segment_id(0, &bm, &count, &pairs), 0x41100013u);
    EXPECT_NE(pairs, nullptr);
    std::free(pairs);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_F(BdGetters, OpenFailureIsReturnedWithThePairsAlreadyStored)
{
    tp::sdb_fail(tp::SdbOp::open, 1, 0x411a0004);
    vlan_bitmap bm = bitmap_of(1, 3);
    uint32_t count = 77;
    vlan_mgr_sdb_vlan_pair_t *pairs = nullptr;
    EXPECT_EQ(vlan_mgr_sdb_get_multi_vlan_mode(2, &bm, &count, &pairs), 0x411a0004u);
    EXPECT_NE(pairs, nullptr);
    EXPECT_EQ(count, 77u);
    std::free(pairs);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_F(BdGetters, FailingFetchEndsTheWalkWithItsError)
{
    for (uint32_t v = 1; v <= 250; ++v)
        tp::sdb_put(kUri1, vlan_key(1, v), record(1, v, 3, v, 0));
    tp::sdb_fail(tp::SdbOp::mfetch, 2, 0x411a0002);
    vlan_bitmap bm = bitmap_of(1, 250);
    uint32_t count = 0;
    vlan_mgr_sdb_vlan_pair_t *pairs = nullptr;
    EXPECT_EQ(vlan_mgr_sdb_get_multi_vlan_mode(1, &bm, &count, &pairs), 0x411a0002u);
    EXPECT_EQ(count, 99u);
    EXPECT_EQ(mfetch_sizes(), (std::vector<size_t>{99, 99}));
    EXPECT_EQ(count_ops(tp::SdbOp::mfetch_done), 1u);
    std::free(pairs);
}

TEST_F(BdGetters, ABatchIsOnlyFilledWhenTheFetchSetsErrorWordZero)
{
    for (uint32_t v = 1; v <= 250; ++v)
        tp::sdb_put(kUri1, vlan_key(1, v), record(1, v, 3, v, 0));
    tp::state().mfetch_error_words[1] = 0x411a0006; // returns 0, error word set
    vlan_bitmap bm = bitmap_of(1, 250);
    uint32_t count = 0;
    vlan_mgr_sdb_vlan_pair_t *pairs = nullptr;
    EXPECT_EQ(vlan_mgr_sdb_get_multi_vlan_mode(1, &bm, &count, &pairs), 0u);
    EXPECT_EQ(mfetch_sizes(), (std::vector<size_t>{99, 99, 52}));
    EXPECT_EQ(count_ops(tp::SdbOp::mfetch_done), 3u);
    ASSERT_EQ(count, 151u);
    EXPECT_EQ(pairs[0].vlan_id, 100u);
    EXPECT_EQ(pairs[150].vlan_id, 250u);
    std::free(pairs);
}

TEST_F(BdGetters, SegmentWalkSkipsABatchWithAnErrorWord)
{
    tp::sdb_put(kUri1, vlan_key(1, 50), record(3, 49, 1, 1, 7));
    tp::state().mfetch_error_words[1] = 0x411a0006;
    uint32_t vlan = 0;
    EXPECT_EQ(vlan_mgr_sdb_get_segment_vlan_id(1, 7, &vlan), 0x41100003u);
    EXPECT_EQ(count_ops(tp::SdbOp::mfetch), 41u);
}

TEST_F(BdGetters, PairAllocationFailureReturnsNoMemory)
{
    vlan_bitmap bm = bitmap_of(1, 3);
    uint32_t count = 0;
    vlan_mgr_sdb_vlan_pair_t *pairs = reinterpret_cast<vlan_mgr_sdb_vlan_pair_t *>(uintptr_t{1});
    tp::fail_alloc_at(1);
    EXPECT_EQ(vlan_mgr_sdb_get_multi_vlan_segment_id(1, &bm, &count, &pairs), 0x41100002u);
    EXPECT_EQ(pairs, nullptr);
    EXPECT_TRUE(tp::state().sdb_calls.empty());
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_F(BdGetters, SegmentLocalFormsUseACacheOfTheirOwn)
{
    tp::state().vdc_id = 3;
    vlan_bitmap bm = bitmap_of(1, 1);
    uint32_t count = 0;
    vlan_mgr_sdb_vlan_pair_t *pairs = nullptr;
    EXPECT_EQ(vlan_mgr_sdb_get_multi_vlan_segment_id_local(&bm, &count, &pairs), 0u);
    std::free(pairs);
    EXPECT_EQ(tp::state().sdb_calls.front().uri, "volatile:/dev/shm/3/vlan_mgr_bd_sdb");
    EXPECT_EQ(tp::state().vdc_get_calls, 2); // own cache, then the open's check of the frame's
    uint32_t seg = 0;
    tp::state().module_type = 232;
    EXPECT_EQ(vlan_mgr_sdb_get_vlan_segment_id_local(1, &seg), 0x4110001cu);
    uint32_t vlan = 0;
    EXPECT_EQ(vlan_mgr_sdb_get_segment_vlan_id_local(5, &vlan), 0x41100003u);
    EXPECT_EQ(tp::state().vdc_get_calls, 2);
    db::segment_vdc_forget();
    EXPECT_EQ(vlan_mgr_sdb_get_segment_vlan_id_local(5, &vlan), 0x41100003u);
    EXPECT_EQ(tp::state().vdc_get_calls, 3);
}

// ---- Single attribute getters ---------------------------------------------------------

TEST_F(BdGetters, TypeIsTheStoredBytesAndModeIsConverted)
{
    tp::sdb_put(kUri2, {0x02, 0x00, 0x00, 0x64},
                {0x00, 0x07, 0x00, 0x00, 0x00, 0x64, 0x00, 0x00, 0x00, 0x04, 0x00, 0x00, 0x01, 0x02});
    uint32_t type = 0, mode = 0;
    EXPECT_EQ(vlan_mgr_sdb_get_vlan_type(2, 100, &type), 0u);
    EXPECT_EQ(type, 0x04000000u);
    EXPECT_EQ(vlan_mgr_sdb_get_vlan_mode(2, 100, &mode), 0u);
    EXPECT_EQ(mode, 0x102u);
}

TEST_F(BdGetters, SingleGettersCheckVdcAndPointerButNotTheVlan)
{
    uint32_t v = 0x5555;
    EXPECT_EQ(vlan_mgr_sdb_get_vlan_type(0, 1, &v), 0x41100013u);
    EXPECT_EQ(vlan_mgr_sdb_get_vlan_mode(6, 1, &v), 0x41100013u);
    EXPECT_EQ(vlan_mgr_sdb_get_vlan_type(1, 1, nullptr), 0x41100003u);
    EXPECT_EQ(vlan_mgr_sdb_get_vlan_mode(1, 1, nullptr), 0x41100003u);
    EXPECT_TRUE(tp::state().sdb_calls.empty());
    tp::sdb_put(kUri1, {0x01, 0x00, 0x00, 0x00}, record(1, 0, 9, 8, 0));
    EXPECT_EQ(vlan_mgr_sdb_get_vlan_mode(1, 0, &v), 0u);
    EXPECT_EQ(v, 8u);
    EXPECT_EQ(vlan_mgr_sdb_get_vlan_mode(1, 5, &v), 0x4110001cu);
    EXPECT_EQ(vlan_mgr_sdb_get_vlan_type(1, 4095, &v), 0x4110001cu);
    EXPECT_EQ(v, 8u);
}

TEST_F(BdGetters, SingleGettersRefuseRecordsTooShort)
{
    const Bytes full = record(1, 2, 4, 8, 0);
    for (size_t len = 0; len < 14; ++len) {
        tp::sdb_put(kUri1, {0x01, 0x00, 0x00, 0x01}, Bytes(full.begin(), full.begin() + static_cast<long>(len)));
        uint32_t v = 0x77;
        EXPECT_EQ(vlan_mgr_sdb_get_vlan_mode(1, 1, &v), 0x4110001cu) << len;
        EXPECT_EQ(vlan_mgr_sdb_get_vlan_type(1, 1, &v), len >= 10 ? 0u : 0x4110001cu) << len;
    }
}

TEST_F(BdGetters, SingleGettersReturnOpenAndReadFailures)
{
    uint32_t v = 0;
    tp::sdb_fail(tp::SdbOp::open, 1, 0x411a0004);
    EXPECT_EQ(vlan_mgr_sdb_get_vlan_type(4, 1, &v), 0x411a0004u);
    tp::sdb_put("volatile:/dev/shm/4/vlan_mgr_bd_sdb", {0x04, 0x00, 0x00, 0x01}, record(1, 2, 4, 8, 0));
    tp::sdb_fail(tp::SdbOp::read, 1, 0x411a0002);
    EXPECT_EQ(vlan_mgr_sdb_get_vlan_mode(4, 1, &v), 0x4110001cu);
    EXPECT_EQ(vlan_mgr_sdb_get_vlan_mode(4, 1, &v), 0u);
    EXPECT_EQ(v, 8u);
    // Only the failed open was reported (by the open itself).
    ASSERT_EQ(tp::state().history.size(), 1u);
    EXPECT_EQ(tp::state().history[0].text().substr(0, 30), "vlan_mgr vlan_open_bd_sdb:4854");
}

TEST_F(BdGetters, SegmentIdOnlyOnTheSixModuleTypes)
{
    tp::sdb_put(kUri1, {0x01, 0x00, 0x00, 0x0A}, record(1, 10, 1, 1, 0x00FFEEDD));
    for (uint32_t mt : {232u, 247u, 251u, 273u, 284u, 285u}) {
        tp::state().module_type = mt;
        uint32_t seg = 0;
        EXPECT_EQ(vlan_mgr_sdb_get_vlan_segment_id(1, 10, &seg), 0u) << mt;
        EXPECT_EQ(seg, 0x00FFEEDDu) << mt;
    }
    tp::reset();
    for (uint32_t mt : {0u, 231u, 233u, 286u}) {
        tp::state().module_type = mt;
        uint32_t seg = 0x99;
        EXPECT_EQ(vlan_mgr_sdb_get_vlan_segment_id(1, 10, &seg), 0u) << mt;
        EXPECT_EQ(seg, 0u);
    }
    EXPECT_TRUE(tp::state().sdb_calls.empty()); // not even opened
}

TEST_F(BdGetters, SegmentIdFailures)
{
    EXPECT_EQ(vlan_mgr_sdb_get_vlan_segment_id(1, 10, nullptr), 0x41100003u);
    tp::state().module_result = 0x40480001;
    uint32_t seg = 0x99;
    EXPECT_EQ(vlan_mgr_sdb_get_vlan_segment_id(1, 10, &seg), 0x40480001u);
    EXPECT_EQ(seg, 0u);
    tp::state().module_result = 0;
    tp::state().module_type = 284;
    EXPECT_EQ(vlan_mgr_sdb_get_vlan_segment_id(1, 10, &seg), 0x4110001cu);
    tp::sdb_put(kUri1, {0x01, 0x00, 0x00, 0x0A}, Bytes(17, 0));
    EXPECT_EQ(vlan_mgr_sdb_get_vlan_segment_id(1, 10, &seg), 0x4110001cu);
    EXPECT_EQ(vlan_mgr_sdb_get_vlan_segment_id(7, 10, &seg), 0x41100013u); // refused by the open
    tp::sdb_fail(tp::SdbOp::open, 2, 0x411a0004);
    EXPECT_EQ(vlan_mgr_sdb_get_vlan_segment_id(2, 10, &seg), 0x411a0004u);
}

// ---- Segment walk ------------------------------------------------------------------------

TEST_F(BdGetters, SegmentWalkCoversVlansOneTo4095InBatchesOfHundred)
{
    uint32_t vlan = 0x1234;
    EXPECT_EQ(vlan_mgr_sdb_get_segment_vlan_id(1, 42, &vlan), 0x41100003u);
    EXPECT_EQ(vlan, 0x1234u);
    const std::vector<size_t> sizes = mfetch_sizes();
    ASSERT_EQ(sizes.size(), 41u);
    for (size_t i = 0; i < 40; ++i)
        EXPECT_EQ(sizes[i], 100u);
    EXPECT_EQ(sizes[40], 95u);
    EXPECT_EQ(count_ops(tp::SdbOp::mfetch_done), 41u);
    const tp::SdbCall &last = tp::state().sdb_calls[tp::state().sdb_calls.size() - 2];
    EXPECT_EQ(last.keys.front(), Bytes({0x01, 0x00, 0x0F, 0xA1}));
    EXPECT_EQ(last.keys.back(), Bytes({0x01, 0x00, 0x0F, 0xFF}));
}

TEST_F(BdGetters, SegmentWalkStopsAtTheFirstMatchWithoutReleasingItsBatch)
{
    tp::sdb_put(kUri2, vlan_key(2, 150), record(3, 140, 1, 1, 5000));
    tp::sdb_put(kUri2, vlan_key(2, 160), record(3, 141, 1, 1, 5000));
    tp::sdb_put(kUri2, vlan_key(2, 90), Bytes(17, 0x13)); // too short: skipped
    uint32_t vlan = 0;
    EXPECT_EQ(vlan_mgr_sdb_get_segment_vlan_id(2, 5000, &vlan), 0u);
    EXPECT_EQ(vlan, 140u);
    EXPECT_EQ(mfetch_sizes(), (std::vector<size_t>{100, 100}));
    EXPECT_EQ(count_ops(tp::SdbOp::mfetch_done), 1u);
}

TEST_F(BdGetters, SegmentWalkSkipsAFailedBatch)
{
    tp::sdb_put(kUri1, vlan_key(1, 50), record(3, 49, 1, 1, 7));
    tp::sdb_put(kUri1, vlan_key(1, 4095), record(3, 4000, 1, 1, 8));
    tp::sdb_fail(tp::SdbOp::mfetch, 1, 0x411a0002);
    uint32_t vlan = 0;
    EXPECT_EQ(vlan_mgr_sdb_get_segment_vlan_id(1, 7, &vlan), 0x41100003u);
    EXPECT_EQ(count_ops(tp::SdbOp::mfetch_done), 40u);
    tp::state().sdb_calls.clear();
    EXPECT_EQ(vlan_mgr_sdb_get_segment_vlan_id(1, 8, &vlan), 0u);
    EXPECT_EQ(vlan, 4000u);
    EXPECT_EQ(vlan_mgr_sdb_get_segment_vlan_id(1, 8, nullptr), 0x41100003u);
}

// ---- Port membership -----------------------------------------------------------------------

TEST_F(BdGetters, AccessEntryIIsTakenFromTheIthSlotOfPortIsRecord)
{
    // Port 0x1A000100: the platform's hton_if_index gives the key bytes 1A 00 01 00.
    tp::sdb_put(kUri1, {0x01, 0x1A, 0x00, 0x01, 0x00},
                {0x1A, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x02, 0x00, 0x03, 0x00, 0x00,
                 0x00, 0x04, 0x00, 0x05, 0x00, 0x00, 0x00, 0x06});
    // Port 0x1A000200: its record holds two slots; entry 1 comes from the second.
    Bytes second(24, 0xEE);
    second.insert(second.end(), {0x1A, 0x00, 0x02, 0x00, 0x11, 0x22, 0x33, 0x44, 0x00, 0x00, 0x00, 0x00, 0xAB,
                                 0xCD, 0x01, 0x02, 0x03, 0x04, 0x00, 0x01, 0xFF, 0xFF, 0xFF, 0xFF});
    tp::sdb_put(kUri1, {0x01, 0x1A, 0x00, 0x02, 0x00}, second);
    int32_t ports[2] = {0x1A000100, 0x1A000200};
    uint32_t *entries = nullptr;
    EXPECT_EQ(vlan_mgr_sdb_get_port_accntv_memb(ports, 2, &entries), 0u);
    ASSERT_NE(entries, nullptr);
    const Bytes expected = {0x00, 0x01, 0x00, 0x1A, 0x01, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00,
                            0x03, 0x00, 0x04, 0x00, 0x00, 0x00, 0x05, 0x00, 0x06, 0x00, 0x00, 0x00,
                            0x00, 0x02, 0x00, 0x1A, 0x44, 0x33, 0x22, 0x11, 0x00, 0x00, 0x00, 0x00,
                            0xCD, 0xAB, 0x04, 0x03, 0x02, 0x01, 0x01, 0x00, 0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(Bytes(reinterpret_cast<uint8_t *>(entries), reinterpret_cast<uint8_t *>(entries) + 48), expected);
    const auto *e = reinterpret_cast<const vlan_mgr_sdb_accntv_memb_t *>(entries);
    EXPECT_EQ(e[0].if_index, 0x1A000100u);
    EXPECT_EQ(e[1].value1, 0x11223344u);
    std::vector<Bytes> keys;
    for (const tp::SdbCall &c : tp::state().sdb_calls)
        if (c.op == tp::SdbOp::read)
            keys.push_back(c.keys[0]);
    EXPECT_EQ(keys, (std::vector<Bytes>{{0x01, 0x1A, 0x00, 0x01, 0x00}, {0x01, 0x1A, 0x00, 0x02, 0x00}}));
    std::free(entries);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_F(BdGetters, AccessFailures)
{
    tp::sdb_put(kUri1, {0x01, 0x00, 0x00, 0x00, 0x01}, Bytes(24, 0));
    tp::sdb_put(kUri1, {0x01, 0x00, 0x00, 0x00, 0x02}, Bytes(47, 0)); // one byte short of slot 1
    int32_t ports[3] = {0x01000000, 0x02000000, 0x03000000};
    uint32_t *entries = nullptr;
    EXPECT_EQ(vlan_mgr_sdb_get_port_accntv_memb(ports, 2, &entries), 0x4110008cu);
    ASSERT_NE(entries, nullptr); // stays with the caller
    std::free(entries);
    tp::sdb_put(kUri1, {0x01, 0x00, 0x00, 0x00, 0x02}, Bytes(48, 0));
    EXPECT_EQ(vlan_mgr_sdb_get_port_accntv_memb(ports, 3, &entries), 0x4110008cu); // third missing
    std::free(entries);
    tp::fail_alloc_at(1);
    entries = reinterpret_cast<uint32_t *>(uintptr_t{1});
    EXPECT_EQ(vlan_mgr_sdb_get_port_accntv_memb(ports, 2, &entries), 0x41100002u);
    EXPECT_EQ(entries, nullptr);
    EXPECT_EQ(vlan_mgr_sdb_get_port_accntv_memb(nullptr, 2, &entries), 0x41100003u);
    EXPECT_EQ(vlan_mgr_sdb_get_port_accntv_memb(ports, 2, nullptr), 0x41100003u);
    EXPECT_EQ(vlan_close_bd_sdb(1), 0u);
    tp::sdb_fail(tp::SdbOp::open, 2, 0x411a0004);
    EXPECT_EQ(vlan_mgr_sdb_get_port_accntv_memb(ports, 2, &entries), 0x411a0004u);
    EXPECT_EQ(tp::live_allocs(), 0);
}

Bytes trunking_record(uint32_t if_bytes_be)
{
    Bytes b;
    push_be32(b, if_bytes_be);
    b.insert(b.end(), {0x01, 0x02});             // 4: 16-bit
    b.insert(b.end(), {0x03, 0x04, 0x05, 0x06}); // 6: 32-bit
    b.insert(b.end(), {0x07, 0x08});             // 10: 16-bit
    b.insert(b.end(), {0xDE, 0xAD, 0xBE, 0xEF}); // 12: stored length word, not read
    for (int i = 0; i < 512; ++i)
        b.push_back(static_cast<uint8_t>(i));
    b.insert(b.end(), {0xDE, 0xAD, 0xBE, 0xEF}); // 528
    for (int i = 0; i < 512; ++i)
        b.push_back(static_cast<uint8_t>(255 - i));
    b.insert(b.end(), {0x09, 0x0A});             // 1044
    b.insert(b.end(), {0x0B, 0x0C, 0x0D, 0x0E}); // 1046
    return b;
}

TEST_F(BdGetters, TrunkingEntriesAreConvertedWithPaddingAndLengthWords)
{
    const Bytes rec = trunking_record(0x1A000100);
    ASSERT_EQ(rec.size(), 1050u);
    tp::sdb_put(kUri1, {0x02, 0x1A, 0x00, 0x01, 0x00}, rec);
    uint32_t ports[1] = {0x1A000100};
    uint32_t *entries = nullptr;
    EXPECT_EQ(vlan_mgr_sdb_get_port_trunking_memb(1, ports, 1, &entries), 0u);
    ASSERT_NE(entries, nullptr);
    const auto *p = reinterpret_cast<const uint8_t *>(entries);
    EXPECT_EQ(Bytes(p, p + 18), Bytes({0x00, 0x01, 0x00, 0x1A, 0x02, 0x01, 0x06, 0x05, 0x04, 0x03, 0x08, 0x07,
                                       0x00, 0x00, 0x00, 0x02, 0x00, 0x00}));
    EXPECT_EQ(Bytes(p + 18, p + 530), Bytes(rec.begin() + 16, rec.begin() + 528));
    EXPECT_EQ(Bytes(p + 530, p + 534), Bytes({0x00, 0x02, 0x00, 0x00}));
    EXPECT_EQ(Bytes(p + 534, p + 1046), Bytes(rec.begin() + 532, rec.begin() + 1044));
    EXPECT_EQ(Bytes(p + 1046, p + 1052), Bytes({0x0A, 0x09, 0x0E, 0x0D, 0x0C, 0x0B}));
    std::free(entries);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_F(BdGetters, TrunkingOpensTheOwnVdcAndReadsThroughTheGivenOne)
{
    tp::state().vdc_id = 1;
    ASSERT_EQ(vlan_open_bd_sdb(2), 0u);
    tp::sdb_put(kUri2, {0x02, 0x00, 0x00, 0x00, 0x05}, trunking_record(5));
    tp::state().sdb_calls.clear();
    uint32_t ports[1] = {5}; // key bytes 02 00 00 00 05
    uint32_t *entries = nullptr;
    EXPECT_EQ(vlan_mgr_sdb_get_port_trunking_memb(2, ports, 1, &entries), 0u);
    ASSERT_EQ(tp::state().sdb_calls.size(), 2u);
    EXPECT_EQ(tp::state().sdb_calls[0].op, tp::SdbOp::open);
    EXPECT_EQ(tp::state().sdb_calls[0].uri, kUri1);
    EXPECT_EQ(tp::state().sdb_calls[1].uri, kUri2);
    std::free(entries);
    // A VDC whose database was never opened has no handle: no record.
    EXPECT_EQ(vlan_mgr_sdb_get_port_trunking_memb(3, ports, 1, &entries), 0x4110008cu);
    std::free(entries);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_F(BdGetters, TrunkingFailures)
{
    uint32_t ports[2] = {1, 2};
    uint32_t *entries = reinterpret_cast<uint32_t *>(uintptr_t{1});
    EXPECT_EQ(vlan_mgr_sdb_get_port_trunking_memb(0, ports, 1, &entries), 0x41100013u);
    EXPECT_EQ(entries, nullptr); // cleared first
    tp::sdb_put(kUri1, {0x02, 0x01, 0x00, 0x00, 0x00}, Bytes(1049, 0)); // one byte short
    EXPECT_EQ(vlan_mgr_sdb_get_port_trunking_memb(1, ports, 1, &entries), 0x4110008cu);
    std::free(entries);
    tp::fail_alloc_at(1);
    EXPECT_EQ(vlan_mgr_sdb_get_port_trunking_memb(1, ports, 2, &entries), 0x41100002u);
    EXPECT_EQ(entries, nullptr);
    EXPECT_EQ(vlan_mgr_sdb_get_port_trunking_memb(1, nullptr, 1, &entries), 0x41100003u);
    EXPECT_EQ(tp::live_allocs(), 0);
}

} // namespace
