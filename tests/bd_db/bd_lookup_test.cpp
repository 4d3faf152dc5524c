#include "bd_db_test_util.h"

#include <atomic>
#include <thread>

#include "frame/local_vdc.h"

using namespace bdtest;
namespace db = vlan_mgr::bd_db;

namespace {

vdc_vlan_id_t key(uint16_t vdc, uint32_t vlan)
{
    vdc_vlan_id_t k;
    k.vdc_id = vdc;
    k.vlan_id = vlan;
    return k;
}

// VDC 2, VLAN 100: BD 0x0007, primary VLAN 100, type 1, mode 2, segment 0x1234.
const Bytes kKey2_100 = {0x02, 0x00, 0x00, 0x64};
const Bytes kRec2_100 = {0x00, 0x07, 0x00, 0x00, 0x00, 0x64, 0x00, 0x00, 0x00, 0x01,
                         0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x12, 0x34};

size_t reads() { return count_ops(tp::SdbOp::read); }

using BdLookup = BdDb;

TEST_F(BdLookup, ArgumentsAreCheckedVdcThenVlanThenPointerWithoutReport)
{
    all_channels_on();
    uint16_t bd = 0xBEEF;
    EXPECT_EQ(vlan_get_bd(key(0, 0), &bd), 0x41100013u);
    EXPECT_EQ(vlan_get_bd(key(6, 100), &bd), 0x41100013u);
    EXPECT_EQ(vlan_get_bd(key(1, 0), &bd), 0x41100012u);
    EXPECT_EQ(vlan_get_bd(key(1, 4095), nullptr), 0x41100012u);
    EXPECT_EQ(vlan_get_bd(key(5, 4094), nullptr), 0x41100003u);
    EXPECT_EQ(bd, 0xBEEF);
    EXPECT_TRUE(tp::state().sdb_calls.empty());
    expect_no_report();
}

TEST_F(BdLookup, ReadsTheRecordUnderItsKeyBytes)
{
    tp::sdb_put(kUri2, kKey2_100, kRec2_100);
    uint16_t bd = 0;
    EXPECT_EQ(vlan_get_bd(key(2, 100), &bd), 0u);
    EXPECT_EQ(bd, 7);
    ASSERT_EQ(tp::state().sdb_calls.size(), 2u);
    EXPECT_EQ(tp::state().sdb_calls[0].op, tp::SdbOp::open);
    EXPECT_EQ(tp::state().sdb_calls[1].op, tp::SdbOp::read);
    EXPECT_EQ(tp::state().sdb_calls[1].uri, kUri2);
    EXPECT_EQ(tp::state().sdb_calls[1].keys, std::vector<Bytes>{kKey2_100});
}

TEST_F(BdLookup, WithABlockTheFirstLookupReadsAndCachesAndTheSecondDoesNotRead)
{
    tp::sdb_put(kUri2, kKey2_100, kRec2_100);
    vlan_mgr_enable_cached_bd_sdb();
    vlan_mgr_invalidate_bd_cache_entry(2, 1); // makes VDC 2's block
    uint16_t bd = 0;
    EXPECT_EQ(vlan_get_bd(key(2, 100), &bd), 0u);
    EXPECT_EQ(bd, 7);
    EXPECT_EQ(db::bd_sdb_cached_p[1][100], 7);
    EXPECT_EQ(reads(), 1u);
    bd = 0;
    const size_t calls = tp::state().sdb_calls.size();
    EXPECT_EQ(vlan_get_bd(key(2, 100), &bd), 0u);
    EXPECT_EQ(bd, 7);
    EXPECT_EQ(tp::state().sdb_calls.size(), calls); // no database call at all
}

TEST_F(BdLookup, AHitNeedsNoOpenDatabase)
{
    vlan_mgr_enable_cached_bd_sdb();
    vlan_mgr_set_bd_cache_entry(3, 4094, 0x0BAD);
    uint16_t bd = 0;
    EXPECT_EQ(vlan_get_bd(key(3, 4094), &bd), 0u);
    EXPECT_EQ(bd, 0x0BAD);
    EXPECT_TRUE(tp::state().sdb_calls.empty());
}

TEST_F(BdLookup, WithoutABlockNothingIsCachedAndNoBlockIsMade)
{
    tp::sdb_put(kUri2, kKey2_100, kRec2_100);
    vlan_mgr_enable_cached_bd_sdb();
    uint16_t bd = 0;
    EXPECT_EQ(vlan_get_bd(key(2, 100), &bd), 0u);
    EXPECT_EQ(vlan_get_bd(key(2, 100), &bd), 0u);
    EXPECT_EQ(reads(), 2u);
    EXPECT_EQ(db::bd_sdb_cached_p[1], nullptr);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_F(BdLookup, WithTheCacheOffEveryLookupReads)
{
    tp::sdb_put(kUri2, kKey2_100, kRec2_100);
    uint16_t bd = 0;
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(vlan_get_bd(key(2, 100), &bd), 0u);
    EXPECT_EQ(reads(), 3u);
    EXPECT_EQ(count_ops(tp::SdbOp::open), 1u);
}

TEST_F(BdLookup, ZeroBdIsReportedReturnedAsZeroCachedAndReadAgainNextTime)
{
    tp::sdb_put(kUri1, {0x01, 0x00, 0x00, 0x0A}, {0x00, 0x00, 0x00, 0x00, 0x00, 0x0A});
    vlan_mgr_enable_cached_bd_sdb();
    vlan_mgr_set_bd_cache_entry(1, 10, 0x55); // makes the block; the lookup's write overrides it below
    vlan_mgr_invalidate_bd_cache_entry(1, 10);
    all_channels_on();
    uint16_t bd = 0xBEEF;
    EXPECT_EQ(vlan_get_bd(key(1, 10), &bd), 0u);
    EXPECT_EQ(bd, 0);
    EXPECT_EQ(db::bd_sdb_cached_p[0][10], 0);
    expect_one_report(102,
                      "vlan_mgr vlan_get_bd_2:5008 [1:10] pid " + pid() +
                          ", sdb_read(volatile:/dev/shm/vlan_mgr_bd_sdb) failed, err 0x0 [error 0x0] bd=0\n",
                      "<<%VLAN_MGR-6-INFO_MSG>>  vlan_get_bd_2:5008 [1:10] pid " + pid() +
                          ", sdb_read(volatile:/dev/shm/vlan_mgr_bd_sdb) failed, err 0x0 [error 0x0] bd=0\n",
                      6);
    EXPECT_EQ(vlan_get_bd(key(1, 10), &bd), 0u);
    EXPECT_EQ(reads(), 2u);
}

TEST_F(BdLookup, MissingRecordErrorsAreReturnedWithoutReport)
{
    for (int32_t err : {0x40480003, 0x411a0007}) {
        tp::reset();
        all_channels_on();
        tp::sdb_fail(tp::SdbOp::read, 1, err);
        uint16_t bd = 0xBEEF;
        EXPECT_EQ(vlan_get_bd(key(2, 100), &bd), static_cast<uint32_t>(err));
        EXPECT_EQ(bd, 0xBEEF);
        expect_no_report();
    }
}

TEST_F(BdLookup, OtherReadFailuresAreReportedAndReturned)
{
    tp::sdb_fail(tp::SdbOp::read, 1, 0x411a0002);
    all_channels_on();
    vlan_mgr_enable_cached_bd_sdb();
    vlan_mgr_invalidate_bd_cache_entry(2, 1);
    uint16_t bd = 0xBEEF;
    EXPECT_EQ(vlan_get_bd(key(2, 100), &bd), 0x411a0002u);
    EXPECT_EQ(bd, 0xBEEF);
    EXPECT_EQ(db::bd_sdb_cached_p[1][100], 0);
    expect_one_report(102,
                      "vlan_mgr vlan_get_bd_2:4998 [2:100] pid " + pid() +
                          ", sdb_read(volatile:/dev/shm/2/vlan_mgr_bd_sdb) failed, err 0x411a0002 [error 0x411a0002]\n",
                      "<<%VLAN_MGR-6-INFO_MSG>>  vlan_get_bd_2:4998 [2:100] pid " + pid() +
                          ", sdb_read(volatile:/dev/shm/2/vlan_mgr_bd_sdb) failed, err 0x411a0002 [error 0x411a0002]\n",
                      6);
}

TEST_F(BdLookup, NoResultWithErrorWordZeroIsReportedAndReturnsZeroWithBdUntouched)
{
    all_channels_on();
    uint16_t bd = 0xBEEF;
    EXPECT_EQ(vlan_get_bd(key(2, 100), &bd), 0u); // no record stored: no result, error 0
    EXPECT_EQ(bd, 0xBEEF);
    ASSERT_EQ(tp::state().history.size(), 1u);
    EXPECT_EQ(tp::state().history[0].text(),
              "vlan_mgr vlan_get_bd_2:4998 [2:100] pid " + pid() +
                  ", sdb_read(volatile:/dev/shm/2/vlan_mgr_bd_sdb) failed, err 0x0 [error 0x0]\n");
}

TEST_F(BdLookup, RecordTooShortForTheBdIsAReportedFailedRead)
{
    tp::sdb_put(kUri2, kKey2_100, {0x00});
    uint16_t bd = 0xBEEF;
    EXPECT_EQ(vlan_get_bd(key(2, 100), &bd), 0x411000F0u);
    EXPECT_EQ(bd, 0xBEEF);
    ASSERT_EQ(tp::state().history.size(), 1u);
    EXPECT_EQ(tp::state().history[0].text(),
              "vlan_mgr vlan_get_bd_2:4998 [2:100] pid " + pid() +
                  ", sdb_read(volatile:/dev/shm/2/vlan_mgr_bd_sdb) failed, err 0x411000f0 [error 0x411000f0]\n");
    tp::sdb_put(kUri2, kKey2_100, {0x00, 0x09});
    EXPECT_EQ(vlan_get_bd(key(2, 100), &bd), 0u);
    EXPECT_EQ(bd, 9);
}

TEST_F(BdLookup, OpenFailureIsReturnedUnchanged)
{
    tp::sdb_fail(tp::SdbOp::open, 1, 0x411a0004);
    uint16_t bd = 0;
    EXPECT_EQ(vlan_get_bd(key(4, 1), &bd), 0x411a0004u);
    EXPECT_EQ(reads(), 0u);
}

TEST_F(BdLookup, LocalFormUsesTheOwnVdcFetchedOnce)
{
    tp::state().vdc_id = 2;
    tp::sdb_put(kUri2, kKey2_100, kRec2_100);
    uint16_t bd = 0;
    EXPECT_EQ(vlan_get_bd_local(100, &bd), 0u);
    EXPECT_EQ(bd, 7);
    EXPECT_EQ(vlan_get_bd_local(100, &bd), 0u);
    EXPECT_EQ(tp::state().vdc_get_calls, 1);
    EXPECT_EQ(vlan_get_bd_local(0, &bd), 0x41100012u);
    EXPECT_EQ(vlan_get_bd_local(5, nullptr), 0x41100003u);
}

// ---- BD and primary VLAN --------------------------------------------------------

TEST_F(BdLookup, BdAndPrimaryVlanFromTheRecord)
{
    tp::sdb_put(kUri2, {0x02, 0x00, 0x00, 0x65}, {0x01, 0x02, 0x00, 0x00, 0x0F, 0xFE});
    uint16_t bd = 0;
    uint32_t primary = 0;
    EXPECT_EQ(vlan_get_bd_and_primary_vlan(key(2, 101), &bd, &primary), 0u);
    EXPECT_EQ(bd, 0x0102);
    EXPECT_EQ(primary, 4094u);
    tp::state().vdc_id = 2;
    vlan_mgr::local_vdc_forget(); // fetched as 1 when VDC 2 was opened
    bd = 0;
    primary = 0;
    EXPECT_EQ(vlan_get_bd_and_primary_vlan_local(101, &bd, &primary), 0u);
    EXPECT_EQ(bd, 0x0102);
    EXPECT_EQ(primary, 4094u);
}

TEST_F(BdLookup, BdAndPrimaryVlanChecksAndFailuresAreSilent)
{
    all_channels_on();
    uint16_t bd = 0;
    uint32_t primary = 0;
    EXPECT_EQ(vlan_get_bd_and_primary_vlan(key(0, 0), nullptr, nullptr), 0x41100013u);
    EXPECT_EQ(vlan_get_bd_and_primary_vlan(key(1, 4095), nullptr, nullptr), 0x41100012u);
    EXPECT_EQ(vlan_get_bd_and_primary_vlan(key(1, 1), nullptr, &primary), 0x41100003u);
    EXPECT_EQ(vlan_get_bd_and_primary_vlan(key(1, 1), &bd, nullptr), 0x41100003u);
    EXPECT_TRUE(tp::state().sdb_calls.empty());
    // Missing record, injected error, record cut short: 0x4110001c, no report.
    EXPECT_EQ(vlan_get_bd_and_primary_vlan(key(2, 100), &bd, &primary), 0x4110001cu);
    tp::sdb_fail(tp::SdbOp::read, 2, 0x411a0002);
    EXPECT_EQ(vlan_get_bd_and_primary_vlan(key(2, 100), &bd, &primary), 0x4110001cu);
    for (size_t len = 0; len < 6; ++len) {
        tp::sdb_put(kUri2, kKey2_100, Bytes(kRec2_100.begin(), kRec2_100.begin() + static_cast<long>(len)));
        EXPECT_EQ(vlan_get_bd_and_primary_vlan(key(2, 100), &bd, &primary), 0x4110001cu) << len;
    }
    EXPECT_EQ(bd, 0);
    EXPECT_EQ(primary, 0u);
    expect_no_report();
    tp::sdb_fail(tp::SdbOp::open, 2, 0x411a0004); // the first open was VDC 2's
    tp::state().syslog.clear();
    tp::state().history.clear();
    tp::state().debug_lines.clear();
    EXPECT_EQ(vlan_get_bd_and_primary_vlan(key(3, 100), &bd, &primary), 0x411a0004u);
}

// ---- Layer-3 BD -------------------------------------------------------------------

TEST_F(BdLookup, L3BdReadsObject4096)
{
    tp::sdb_put(kUri2, {0x02, 0x00, 0x10, 0x00}, {0x0F, 0xA0});
    uint16_t bd = 0;
    EXPECT_EQ(vlan_get_l3_bd(2, &bd), 0u);
    EXPECT_EQ(bd, 0x0FA0);
    ASSERT_EQ(reads(), 1u);
    EXPECT_EQ(tp::state().sdb_calls.back().keys, std::vector<Bytes>{Bytes({0x02, 0x00, 0x10, 0x00})});
    tp::state().vdc_id = 2;
    vlan_mgr::local_vdc_forget(); // fetched as 1 when VDC 2 was opened
    bd = 0;
    EXPECT_EQ(vlan_get_l3_bd_local(&bd), 0u);
    EXPECT_EQ(bd, 0x0FA0);
}

TEST_F(BdLookup, L3BdChecksAndFailures)
{
    all_channels_on();
    uint16_t bd = 0x1111;
    EXPECT_EQ(vlan_get_l3_bd(0, &bd), 0x41100013u);
    EXPECT_EQ(vlan_get_l3_bd(6, nullptr), 0x41100013u);
    EXPECT_EQ(vlan_get_l3_bd(1, nullptr), 0x41100003u);
    EXPECT_EQ(vlan_get_l3_bd_local(nullptr), 0x41100003u);
    EXPECT_EQ(vlan_get_l3_bd(1, &bd), 0x4110001cu);
    tp::sdb_put(kUri1, {0x01, 0x00, 0x10, 0x00}, {0x0F});
    EXPECT_EQ(vlan_get_l3_bd(1, &bd), 0x4110001cu);
    EXPECT_EQ(bd, 0x1111);
    expect_no_report();
}

// ---- Secondary private VLANs ----------------------------------------------------------

TEST_F(BdLookup, NoSecondaryVlansGivesANullListAndCountZero)
{
    tp::sdb_put(kUri1, {0x01, 0x00, 0x00, 0x05}, {0, 1, 0, 0, 0, 5, 0, 0, 0, 3});
    uint32_t *list = reinterpret_cast<uint32_t *>(uintptr_t{1});
    uint32_t count = 99;
    EXPECT_EQ(vlan_get_secondary_pvlan_list_local(&list, &count), 0u);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(reads(), 4094u);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_F(BdLookup, SecondaryVlansOfTypesFourAndFiveInAscendingOrder)
{
    tp::state().vdc_id = 3;
    const std::string uri = "volatile:/dev/shm/3/vlan_mgr_bd_sdb";
    tp::sdb_put(uri, {0x03, 0x00, 0x0F, 0xFE}, {0, 1, 0, 0, 0, 2, 0, 0, 0, 4});
    tp::sdb_put(uri, {0x03, 0x00, 0x00, 0x07}, {0, 1, 0, 0, 0, 2, 0, 0, 0, 5});
    tp::sdb_put(uri, {0x03, 0x00, 0x00, 0x01}, {0, 1, 0, 0, 0, 2, 0, 0, 0, 4, 0, 0, 0, 0});
    tp::sdb_put(uri, {0x03, 0x00, 0x00, 0x09}, {0, 1, 0, 0, 0, 2, 0, 0, 0, 3});
    tp::sdb_put(uri, {0x03, 0x00, 0x00, 0x0A}, {0, 1, 0, 0, 0, 2, 0, 0, 0}); // too short: skipped
    tp::sdb_put(uri, {0x03, 0x00, 0x00, 0x0B}, {0, 1, 0, 0, 0, 2, 1, 0, 0, 4}); // type 0x01000004
    tp::sdb_fail(tp::SdbOp::read, 7, 0x411a0002);                              // VLAN 7: skipped
    tp::sdb_fail(tp::SdbOp::read, 8, 0x411a0002);
    tp::sdb_put(uri, {0x03, 0x00, 0x00, 0x08}, {0, 1, 0, 0, 0, 2, 0, 0, 0, 5});
    uint32_t *list = nullptr;
    uint32_t count = 0;
    EXPECT_EQ(vlan_get_secondary_pvlan_list_local(&list, &count), 0u);
    ASSERT_EQ(count, 2u);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list[0], 1u);
    EXPECT_EQ(list[1], 4094u);
    std::free(list);
    EXPECT_EQ(tp::live_allocs(), 0);
    EXPECT_EQ(reads(), 4094u);
    expect_no_report();
}

TEST_F(BdLookup, SecondaryListAllocationFailureAndOpenFailure)
{
    uint32_t *list = reinterpret_cast<uint32_t *>(uintptr_t{1});
    uint32_t count = 5;
    tp::fail_alloc_at(1);
    EXPECT_EQ(vlan_get_secondary_pvlan_list_local(&list, &count), 0x41100002u);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(reads(), 0u);
    EXPECT_EQ(tp::live_allocs(), 0);
    EXPECT_EQ(vlan_close_bd_sdb(1), 0u);
    tp::sdb_fail(tp::SdbOp::open, 2, 0x411a0004);
    list = reinterpret_cast<uint32_t *>(uintptr_t{1});
    EXPECT_EQ(vlan_get_secondary_pvlan_list_local(&list, &count), 0x411a0004u);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(vlan_get_secondary_pvlan_list_local(nullptr, &count), 0x41100003u);
    EXPECT_EQ(vlan_get_secondary_pvlan_list_local(&list, nullptr), 0x41100003u);
}

// ---- Threads -------------------------------------------------------------------------

// Lookups that hit the cache on several threads while another thread keeps
// rewriting the entries: every lookup sees one of the values written whole,
// never a mix of two. Run under ThreadSanitizer as well.
TEST_F(BdLookup, LookupsBesideCacheUpdatesNeverSeeATornEntry)
{
    vlan_mgr_enable_cached_bd_sdb();
    for (uint32_t v = 1; v <= 4094; ++v)
        vlan_mgr_set_bd_cache_entry(2, v, 0x0101);
    std::atomic<bool> stop{false};
    std::atomic<long> torn{0}, failed{0}, lookups{0};
    std::vector<std::thread> readers;
    for (int t = 0; t < 3; ++t)
        readers.emplace_back([&, t] {
            uint32_t v = 1 + static_cast<uint32_t>(t) * 1000;
            long n = 0;
            while (!stop.load(std::memory_order_relaxed) || n < 20000) {
                uint16_t bd = 0;
                if (vlan_get_bd(key(2, v), &bd) != 0)
                    ++failed;
                else if (bd != 0x0101 && bd != 0xFEFE)
                    ++torn;
                v = v % 4094 + 1;
                ++n;
            }
            lookups += n;
        });
    std::thread writer([&] {
        for (int round = 0; round < 20; ++round)
            for (uint32_t v = 1; v <= 4094; ++v)
                vlan_mgr_set_bd_cache_entry(2, v, (round + v) % 2 ? 0xFEFE : 0x0101);
        stop = true;
    });
    writer.join();
    for (std::thread &r : readers)
        r.join();
    EXPECT_EQ(torn.load(), 0);
    EXPECT_EQ(failed.load(), 0);
    EXPECT_GE(lookups.load(), 60000);
    EXPECT_TRUE(tp::state().sdb_calls.empty()); // every lookup was a hit
}

} // namespace
