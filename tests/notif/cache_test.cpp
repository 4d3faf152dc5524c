// The BD cache as the change notifications keep it: entries set by 0x5C1D
// and 0x5C2B, cleared by 0x5C22, in both parsers and through
// vlan_mgr_update_bd_cache_local; nothing changes with the cache off, on a
// refused notification, or through the create/delete parsers. The cache is
// observed through its blocks.
#include <unistd.h>

#include "../bd_db/bd_db_test_util.h"
#include "bd_db/bd_cache.h"
#include "notif_test_util.h"

namespace {

using namespace notiftest;
using vlan_mgr::bd_db::cache_block;

// 0x5C1D element: BD `bd`, VDC `vdc`, VLAN `vlan`.
Bytes create_element(uint16_t bd, uint16_t vdc, uint32_t vlan)
{
    return cat({be16(bd), be16(0x0B02), be16(0x0C03), be16(vdc), be32(vlan), be32(0x41424344), be32(0x51525354),
                be32(0x61626364), be32(0x71727374), be32(0x81828384), be32(0x91929394), be32(0xA1A2A3A4)});
}
Bytes creates() { return cat({be32(2), create_element(0x0A01, 1, 100), create_element(0x0A02, 1, 101)}); }
Bytes deletes(uint16_t vdc, uint32_t vlan)
{
    return cat({be32(1), be16(0x0A01), be16(vdc), be32(vlan), be32(0x41424344)});
}
// 0x5C2B: VDC 3 at payload 2; VLANs 200 and 4094.
Bytes bd_changes()
{
    return cat({be16(0x0001), be16(3), be32(2), be32(200), be16(0x0B01), be16(0x0C0D), be32(4094), be16(0x0B02),
                be16(0x0C0E)});
}

// The VDC's entries that are not 0, as (VLAN, BD) pairs.
std::vector<std::pair<uint32_t, uint16_t>> entries(uint16_t vdc)
{
    std::vector<std::pair<uint32_t, uint16_t>> out;
    const uint16_t *b = cache_block(vdc);
    if (b == nullptr)
        return out;
    for (uint32_t v = 0; v < 4096; ++v)
        if (b[v] != 0)
            out.emplace_back(v, b[v]);
    return out;
}

using Pairs = std::vector<std::pair<uint32_t, uint16_t>>;

class NotifCache : public ::testing::Test {
protected:
    void SetUp() override
    {
        vlan_mgr_disable_cached_bd_sdb();
        vlan_mgr_enable_cached_bd_sdb();
    }
    void TearDown() override { vlan_mgr_disable_cached_bd_sdb(); }
};

TEST_F(NotifCache, CreatedVlansAreSetByBothParsers)
{
    for (Parser parse : {vlan_mgr_parse_notification_msg, vlan_mgr_parse_notification_msg_local}) {
        vlan_mgr_disable_cached_bd_sdb();
        vlan_mgr_enable_cached_bd_sdb();
        ASSERT_EQ(run(parse, 0x5C1D, creates()).rc, VLAN_MGR_OK);
        EXPECT_EQ(entries(1), (Pairs{{100, 0x0A01}, {101, 0x0A02}}));
        for (uint16_t vdc = 2; vdc <= 5; ++vdc)
            EXPECT_EQ(cache_block(vdc), nullptr);
    }
    EXPECT_TRUE(tp::state().history.empty());
}

TEST_F(NotifCache, DeletedVlanIsClearedByBothParsers)
{
    for (Parser parse : {vlan_mgr_parse_notification_msg, vlan_mgr_parse_notification_msg_local}) {
        ASSERT_EQ(run(vlan_mgr_parse_notification_msg, 0x5C1D, creates()).rc, VLAN_MGR_OK);
        ASSERT_EQ(run(parse, 0x5C22, deletes(1, 100)).rc, VLAN_MGR_OK);
        EXPECT_EQ(entries(1), (Pairs{{101, 0x0A02}}));
        ASSERT_EQ(run(parse, 0x5C22, deletes(1, 101)).rc, VLAN_MGR_OK);
        EXPECT_EQ(entries(1), Pairs{});
        EXPECT_NE(cache_block(1), nullptr);
    }
}

TEST_F(NotifCache, ClearingCreatesTheVdcsBlockAllZero)
{
    ASSERT_EQ(run(vlan_mgr_parse_notification_msg, 0x5C22, deletes(4, 10)).rc, VLAN_MGR_OK);
    ASSERT_NE(cache_block(4), nullptr);
    EXPECT_EQ(entries(4), Pairs{});
}

TEST_F(NotifCache, BdChangesWithTwoElementsMakeTwoSetsWithTheVdcAtPayloadOffset2)
{
    for (Parser parse : {vlan_mgr_parse_notification_msg, vlan_mgr_parse_notification_msg_local}) {
        vlan_mgr_disable_cached_bd_sdb();
        vlan_mgr_enable_cached_bd_sdb();
        ASSERT_EQ(run(parse, 0x5C2B, bd_changes()).rc, VLAN_MGR_OK);
        EXPECT_EQ(entries(3), (Pairs{{200, 0x0B01}, {4094, 0x0B02}}));
        EXPECT_EQ(cache_block(1), nullptr);
    }
}

TEST_F(NotifCache, UpdateBdCacheLocalSetsAndClears)
{
    mts_msg_hdl_t c = tp::make_message(0x5C1D, creates());
    ASSERT_EQ(vlan_mgr_update_bd_cache_local(&c), VLAN_MGR_OK);
    EXPECT_EQ(entries(1), (Pairs{{100, 0x0A01}, {101, 0x0A02}}));
    mts_msg_hdl_t d = tp::make_message(0x5C22, deletes(1, 101));
    ASSERT_EQ(vlan_mgr_update_bd_cache_local(&d), VLAN_MGR_OK);
    EXPECT_EQ(entries(1), (Pairs{{100, 0x0A01}}));
    EXPECT_EQ(tp::live_allocs(), 1); // the cache block only
}

TEST_F(NotifCache, OtherOpcodesLeaveTheCacheAlone)
{
    const Bytes p5c26 = cat({be16(1), be32(100), be32(0x0A01), be32(3)});
    ASSERT_EQ(run(vlan_mgr_parse_notification_msg, 0x5C26, p5c26).rc, VLAN_MGR_OK);
    for (uint16_t vdc = 1; vdc <= 5; ++vdc)
        EXPECT_EQ(cache_block(vdc), nullptr);
}

TEST_F(NotifCache, WithTheCacheOffNothingIsStoredAndNoBlockMade)
{
    vlan_mgr_disable_cached_bd_sdb();
    ASSERT_EQ(run(vlan_mgr_parse_notification_msg, 0x5C1D, creates()).rc, VLAN_MGR_OK);
    ASSERT_EQ(run(vlan_mgr_parse_notification_msg_local, 0x5C2B, bd_changes()).rc, VLAN_MGR_OK);
    for (uint16_t vdc = 1; vdc <= 5; ++vdc)
        EXPECT_EQ(cache_block(vdc), nullptr);
    EXPECT_TRUE(tp::state().history.empty());
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_F(NotifCache, RefusedNotificationsLeaveTheCacheUnchanged)
{
    ASSERT_EQ(run(vlan_mgr_parse_notification_msg, 0x5C1D, creates()).rc, VLAN_MGR_OK);
    const Pairs before = entries(1);
    // Every cut of a 0x5C22, a 0x5C1D with other BD ids and a 0x5C2B.
    const Bytes del = deletes(1, 100);
    const Bytes cre = cat({be32(2), create_element(0x0F01, 1, 100), create_element(0x0F02, 1, 101)});
    const Bytes chg = bd_changes();
    for (Parser parse : {vlan_mgr_parse_notification_msg, vlan_mgr_parse_notification_msg_local}) {
        for (size_t len = 0; len < del.size(); ++len)
            EXPECT_EQ(run(parse, 0x5C22, Bytes(del.begin(), del.begin() + static_cast<long>(len))).rc,
                      VLAN_MGR_ERR_TRUNCATED);
        for (size_t len = 0; len < 80; ++len)
            EXPECT_EQ(run(parse, 0x5C1D, Bytes(cre.begin(), cre.begin() + static_cast<long>(len))).rc,
                      VLAN_MGR_ERR_TRUNCATED);
        for (size_t len = 0; len < chg.size(); ++len)
            EXPECT_EQ(run(parse, 0x5C2B, Bytes(chg.begin(), chg.begin() + static_cast<long>(len))).rc,
                      VLAN_MGR_ERR_TRUNCATED);
        // The allocator failing comes before any record.
        EXPECT_EQ(run(parse, 0x5C22, del, false, 1).rc, 0x4110000bu);
        EXPECT_EQ(run(parse, 0x5C1D, cre, false, 1).rc, 0x4110000bu);
    }
    EXPECT_EQ(entries(1), before);
    EXPECT_EQ(cache_block(3), nullptr);
}

TEST_F(NotifCache, VlanIdsOutsideTheRangeAreReportedAndIgnored)
{
    tp::set_debug(102, true);
    const Bytes p = cat({be32(3), create_element(0x0A01, 1, 0), create_element(0x0A02, 1, 4095),
                         create_element(0x0A03, 1, 4094)});
    ASSERT_EQ(run(vlan_mgr_parse_notification_msg, 0x5C1D, p).rc, VLAN_MGR_OK);
    EXPECT_EQ(entries(1), (Pairs{{4094, 0x0A03}}));
    char want0[128], want1[128];
    std::snprintf(want0, sizeof want0, "vlan_mgr pid %d, vdc 1: got invalid VLAN id 0, must be 1<=VLAN<=4094\n",
                  getpid());
    std::snprintf(want1, sizeof want1, "vlan_mgr pid %d, vdc 1: got invalid VLAN id 4095, must be 1<=VLAN<=4094\n",
                  getpid());
    ASSERT_EQ(tp::state().history.size(), 2u);
    EXPECT_EQ(tp::state().history[0].subtype(), 102u);
    EXPECT_EQ(tp::state().history[0].text(), want0);
    EXPECT_EQ(tp::state().history[1].text(), want1);
    EXPECT_EQ(tp::state().debug_lines, (std::vector<std::string>{want0, want1}));
}

TEST_F(NotifCache, VdcIdsOutsideOneToFiveAreDroppedSilently)
{
    const Bytes p = cat({be32(2), create_element(0x0A01, 0, 100), create_element(0x0A02, 6, 101)});
    ASSERT_EQ(run(vlan_mgr_parse_notification_msg, 0x5C1D, p).rc, VLAN_MGR_OK);
    ASSERT_EQ(run(vlan_mgr_parse_notification_msg_local, 0x5C22, deletes(0xFFFF, 100)).rc, VLAN_MGR_OK);
    for (uint16_t vdc = 1; vdc <= 5; ++vdc)
        EXPECT_EQ(cache_block(vdc), nullptr);
    EXPECT_TRUE(tp::state().history.empty());
}

TEST_F(NotifCache, SetsInTheInlinePathAndThroughTheEntryPointAgree)
{
    // The first record makes VDC 2's block (entry point), the later ones
    // find it; a VLAN id out of range in between goes to the entry point.
    const Bytes p = cat({be32(4), create_element(0x0A01, 2, 1), create_element(0x0A02, 2, 4095),
                         create_element(0x0A03, 2, 4094), create_element(0x0A04, 2, 1)});
    ASSERT_EQ(run(vlan_mgr_parse_notification_msg, 0x5C1D, p).rc, VLAN_MGR_OK);
    EXPECT_EQ(entries(2), (Pairs{{1, 0x0A04}, {4094, 0x0A03}}));
    EXPECT_EQ(tp::state().history.size(), 1u);
}

TEST_F(NotifCache, CacheBlockAllocationFailureSkipsThatEntryOnly)
{
    // Allocation 1: the records (the test allocator's malloc); 2: the cache
    // block, which fails and is reported; the next record makes it again.
    tp::fail_alloc_at(2);
    const Result r = run(vlan_mgr_parse_notification_msg, 0x5C1D, creates());
    ASSERT_EQ(r.rc, VLAN_MGR_OK);
    EXPECT_EQ(r.count, 2u);
    EXPECT_EQ(entries(1), (Pairs{{101, 0x0A02}}));
    ASSERT_EQ(tp::state().history.size(), 1u);
    EXPECT_EQ(tp::state().history[0].subtype(), 100u);
    char want[128];
    std::snprintf(want, sizeof want, "vlan_mgr vlan_mgr_check_bd_cache: pid %d, vdc 1, malloc 8192 bytes BD cache failed\n",
                  getpid());
    EXPECT_EQ(tp::state().history[0].text(), want);
    EXPECT_EQ(tp::live_allocs(), 1); // the block
}

TEST_F(NotifCache, CreateAndDeleteNotificationParsersDoNotTouchTheCache)
{
    mts_msg_hdl_t c = tp::make_message(0x5C1D, creates());
    vlan_create_notif2_t *cr = nullptr;
    uint32_t n = 0;
    ASSERT_EQ(vlan_mgr_parse_create_notification_msg(&c, &cr, &n, std::malloc), VLAN_MGR_OK);
    std::free(cr);
    mts_msg_hdl_t d = tp::make_message(0x5C22, deletes(1, 100));
    vlan_delete_notif2_t *dr = nullptr;
    ASSERT_EQ(vlan_mgr_parse_delete_notification_msg(&d, &dr, &n, std::malloc), VLAN_MGR_OK);
    std::free(dr);
    for (uint16_t vdc = 1; vdc <= 5; ++vdc)
        EXPECT_EQ(cache_block(vdc), nullptr);
}

// ---- Lookups answer from what the notifications left in the cache ----------

vdc_vlan_id_t key(uint16_t vdc, uint32_t vlan)
{
    vdc_vlan_id_t k;
    k.vdc_id = vdc;
    k.vlan_id = vlan;
    return k;
}

// The database holds BD 7 for VDC 1, VLAN 100 and BD 9 for VDC 3, VLAN 200.
class NotifCacheLookup : public ::testing::Test {
protected:
    void SetUp() override
    {
        bdtest::fresh_tables();
        tp::sdb_put(bdtest::kUri1, {0x01, 0x00, 0x00, 0x64},
                    {0x00, 0x07, 0x00, 0x00, 0x00, 0x64, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00,
                     0x12, 0x34});
        tp::sdb_put("volatile:/dev/shm/3/vlan_mgr_bd_sdb", {0x03, 0x00, 0x00, 0xC8},
                    {0x00, 0x09, 0x00, 0x00, 0x00, 0xC8, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00,
                     0x12, 0x34});
        vlan_mgr_enable_cached_bd_sdb();
    }
    void TearDown() override { vlan_mgr_disable_cached_bd_sdb(); }
};

TEST_F(NotifCacheLookup, AfterACreateTheLookupAnswersFromTheCacheWithoutARead)
{
    for (Parser parse : {vlan_mgr_parse_notification_msg, vlan_mgr_parse_notification_msg_local}) {
        ASSERT_EQ(run(parse, 0x5C1D, creates()).rc, VLAN_MGR_OK);
        uint16_t bd = 0;
        ASSERT_EQ(vlan_get_bd(key(1, 100), &bd), VLAN_MGR_OK);
        EXPECT_EQ(bd, 0x0A01); // the notification's, not the database's 7
        ASSERT_EQ(vlan_get_bd(key(1, 101), &bd), VLAN_MGR_OK);
        EXPECT_EQ(bd, 0x0A02);
        EXPECT_EQ(bdtest::count_ops(tp::SdbOp::read), 0u);
    }
}

TEST_F(NotifCacheLookup, AfterABdChangeTheLookupAnswersFromTheCacheWithoutARead)
{
    for (Parser parse : {vlan_mgr_parse_notification_msg, vlan_mgr_parse_notification_msg_local}) {
        ASSERT_EQ(run(parse, 0x5C2B, bd_changes()).rc, VLAN_MGR_OK);
        uint16_t bd = 0;
        ASSERT_EQ(vlan_get_bd(key(3, 200), &bd), VLAN_MGR_OK);
        EXPECT_EQ(bd, 0x0B01);
        ASSERT_EQ(vlan_get_bd(key(3, 4094), &bd), VLAN_MGR_OK);
        EXPECT_EQ(bd, 0x0B02);
        EXPECT_EQ(bdtest::count_ops(tp::SdbOp::read), 0u);
    }
}

TEST_F(NotifCacheLookup, AClearedEntryMakesTheNextLookupReadTheDatabaseAgain)
{
    for (Parser parse : {vlan_mgr_parse_notification_msg, vlan_mgr_parse_notification_msg_local}) {
        tp::state().sdb_calls.clear();
        ASSERT_EQ(run(vlan_mgr_parse_notification_msg, 0x5C1D, creates()).rc, VLAN_MGR_OK);
        ASSERT_EQ(run(parse, 0x5C22, deletes(1, 100)).rc, VLAN_MGR_OK);
        uint16_t bd = 0;
        ASSERT_EQ(vlan_get_bd(key(1, 100), &bd), VLAN_MGR_OK);
        EXPECT_EQ(bd, 7);
        EXPECT_EQ(bdtest::count_ops(tp::SdbOp::read), 1u);
        // The read filled the entry again: the next lookup is a hit.
        ASSERT_EQ(vlan_get_bd(key(1, 100), &bd), VLAN_MGR_OK);
        EXPECT_EQ(bd, 7);
        EXPECT_EQ(bdtest::count_ops(tp::SdbOp::read), 1u);
    }
}

TEST_F(NotifCacheLookup, UpdateBdCacheLocalKeepsLookupsCoherent)
{
    mts_msg_hdl_t c = tp::make_message(0x5C1D, creates());
    ASSERT_EQ(vlan_mgr_update_bd_cache_local(&c), VLAN_MGR_OK);
    uint16_t bd = 0;
    ASSERT_EQ(vlan_get_bd(key(1, 100), &bd), VLAN_MGR_OK);
    EXPECT_EQ(bd, 0x0A01);
    mts_msg_hdl_t d = tp::make_message(0x5C22, deletes(1, 100));
    ASSERT_EQ(vlan_mgr_update_bd_cache_local(&d), VLAN_MGR_OK);
    ASSERT_EQ(vlan_get_bd(key(1, 100), &bd), VLAN_MGR_OK);
    EXPECT_EQ(bd, 7);
    EXPECT_EQ(bdtest::count_ops(tp::SdbOp::read), 1u);
}

} // namespace
