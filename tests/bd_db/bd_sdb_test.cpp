#include "bd_db_test_util.h"

#include <csignal>
#include <cstdio>
#include <cstring>

using namespace bdtest;
namespace db = vlan_mgr::bd_db;

namespace {

// What the tables looked like when the program's own static initialisation
// ran, before main: the library constructor had already set them up.
struct AtStartup {
    bool cached_table, opened_flag, uri_p_table, uri_table, cache_off, publisher_done, publisher_called;
    bool cached_all_null, uri_p_zeroed;
};
AtStartup snapshot()
{
    AtStartup a{};
    a.cached_table = db::bd_sdb_cached_p != nullptr;
    a.opened_flag = db::opened_flag != nullptr;
    a.uri_p_table = bd_sdb_uri_p != nullptr;
    a.uri_table = db::vlan_mgr_bd_sdb_uri != nullptr;
    a.cache_off = db::bd_cache_enabled == 0;
    a.publisher_done = vlan_mgr_pblr_lib_init_done == 1;
    a.publisher_called = count_ops(tp::SdbOp::publisher_init) == 1;
    a.cached_all_null = a.cached_table;
    a.uri_p_zeroed = a.uri_p_table;
    for (unsigned i = 0; i < 5; ++i) {
        if (a.cached_table && db::bd_sdb_cached_p[i] != nullptr)
            a.cached_all_null = false;
        if (a.uri_p_table)
            for (unsigned j = 0; j < 100; ++j)
                if (bd_sdb_uri_p[i] == nullptr || bd_sdb_uri_p[i][j] != 0)
                    a.uri_p_zeroed = false;
    }
    return a;
}
const AtStartup at_startup = snapshot();

TEST(BdDbLoad, TablesWereSetUpBeforeMainInAProgramLinkedWithTheStaticArchive)
{
    EXPECT_TRUE(at_startup.cached_table);
    EXPECT_TRUE(at_startup.cached_all_null);
    EXPECT_TRUE(at_startup.opened_flag);
    EXPECT_TRUE(at_startup.uri_p_table);
    EXPECT_TRUE(at_startup.uri_p_zeroed);
    EXPECT_TRUE(at_startup.uri_table);
    EXPECT_TRUE(at_startup.cache_off);
    EXPECT_TRUE(at_startup.publisher_done);
    EXPECT_TRUE(at_startup.publisher_called);
}

TEST_F(BdDb, LoadMakesNineteenAllocationsAndLeavesTheCacheTableNull)
{
    vlan_mgr_pblr_lib_init_done = 1;
    free_tables();
    const long before = tp::alloc_calls();
    db::load_tables();
    EXPECT_EQ(tp::alloc_calls() - before, 19);
    for (unsigned i = 0; i < 5; ++i) {
        EXPECT_EQ(db::bd_sdb_cached_p[i], nullptr);
        EXPECT_EQ(std::string(bd_sdb_uri_p[i], 100), std::string(100, '\0'));
        EXPECT_EQ(std::string(db::vlan_mgr_bd_sdb_uri[i], 100), std::string(100, '\0'));
        EXPECT_NE(bd_sdb_uri_p[i], db::vlan_mgr_bd_sdb_uri[i]);
    }
    EXPECT_EQ(db::bd_cache_enabled, 0);
    EXPECT_EQ(count_ops(tp::SdbOp::publisher_init), 0u); // already initialised: skipped
    fresh_tables(); // frees what this load made
}

TEST_F(BdDb, LoadInitialisesThePublisherLibraryWithItsParameterBlock)
{
    vlan_mgr_pblr_lib_init_done = 0;
    free_tables();
    db::load_tables();
    EXPECT_EQ(vlan_mgr_pblr_lib_init_done, 1);
    ASSERT_EQ(count_ops(tp::SdbOp::publisher_init), 1u);
    const auto *p = static_cast<const uint8_t *>(tp::state().publisher_params);
    ASSERT_NE(p, nullptr);
    uint32_t words[4];
    std::memcpy(words, p, 16);
    EXPECT_EQ(words[0], 1u);
    EXPECT_EQ(words[1], 0u);
    EXPECT_EQ(words[2], 0u);
    EXPECT_EQ(words[3], 0u);
    const uint8_t *desc;
    std::memcpy(&desc, p + 16, sizeof desc);
    const char *name;
    std::memcpy(&name, desc, sizeof name);
    EXPECT_STREQ(name, "vlan_mgr_bd_sdb");
    uint32_t dwords[7];
    std::memcpy(dwords, desc + sizeof name, sizeof dwords);
    const uint32_t expected[7] = {0, 23614, 0, 2, 0, 0, 0};
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ(dwords[i], expected[i]) << i;
    fresh_tables();
}

// ---- Load failures end the process -----------------------------------------
// A death test sees only what the dying process writes to stderr, so the
// process prints what the test platform recorded from its SIGABRT handler:
// the report on each channel, then the number of publisher initialisations.
void print_reports(int)
{
    const tp::State &s = tp::state();
    for (const tp::HistoryEvent &h : s.history)
        std::fprintf(stderr, "history %u %u %u [%s]\n", h.event_id, h.subtype(), h.length, h.text().c_str());
    for (const std::string &d : s.debug_lines)
        std::fprintf(stderr, "debug [%s]\n", d.c_str());
    for (const tp::SyslogCall &c : s.syslog)
        std::fprintf(stderr, "syslog %u [%s]\n", c.severity, c.line.c_str());
    std::fprintf(stderr, "publisher_init %zu\nend\n", count_ops(tp::SdbOp::publisher_init));
}

std::string regex_quote(const std::string &text)
{
    std::string out;
    for (char c : text) {
        if (std::strchr(".[]()*+?{}|^$\\", c) != nullptr)
            out += '\\';
        out += c;
    }
    return out;
}

void load_with_alloc_failure(long nth, uint8_t level, uint32_t publisher_done, int32_t publisher_result)
{
    // The child process ran the constructor at its own load; start its
    // record afresh.
    tp::reset();
    std::signal(SIGABRT, print_reports);
    tp::set_debug(102, true);
    syslog_fac_LOG_VLAN_MGR.current_level = level;
    vlan_mgr_pblr_lib_init_done = static_cast<int32_t>(publisher_done);
    tp::state().publisher_init_result = publisher_result;
    tp::fail_alloc_at(nth);
    db::load_tables();
    // A failure armed beyond the load must not fall on what exit() allocates
    // (the coverage runtime writes its counts there).
    tp::fail_alloc_at(0);
    std::fprintf(stderr, "loaded\n");
    std::exit(0);
}

struct LoadFailure {
    long nth;
    const char *text;
    unsigned history_length;
};

// Allocation order at load: the cache table and its five blocks, the open
// flags, the URI pointer table and its five buffers, the URI table and its
// five buffers.
const LoadFailure kLoadFailures[] = {
    {1, "bd_sdb_cached_p malloc failed", 42},      {2, "bd_sdb_cached_p malloc failed", 42},
    {3, "bd_sdb_cached_p malloc failed", 42},      {4, "bd_sdb_cached_p malloc failed", 42},
    {5, "bd_sdb_cached_p malloc failed", 42},      {6, "bd_sdb_cached_p malloc failed", 42},
    {7, "opened_flag malloc failed", 38},          {8, "bd_sdb_uri_p malloc failed", 39},
    {9, "bd_sdb_uri_p malloc failed", 39},         {10, "bd_sdb_uri_p malloc failed", 39},
    {11, "bd_sdb_uri_p malloc failed", 39},        {12, "bd_sdb_uri_p malloc failed", 39},
    {13, "bd_sdb_uri_p malloc failed", 39},        {14, "vlan_mgr_bd_sdb_uri malloc failed", 46},
    {15, "vlan_mgr_bd_sdb_uri malloc failed", 46}, {16, "vlan_mgr_bd_sdb_uri malloc failed", 46},
    {17, "vlan_mgr_bd_sdb_uri malloc failed", 46}, {18, "vlan_mgr_bd_sdb_uri malloc failed", 46},
    {19, "vlan_mgr_bd_sdb_uri malloc failed", 46},
};

// Where 32-bit programs run under qemu's user-mode emulator, the emulator
// adds one line of its own to the stderr of a process killed by SIGABRT.
#define QEMU_ABORT_LINE "(qemu: [^\n]*\n)?"

TEST(BdDbLoadDeathTest, EveryAllocationFailureIsReportedAndAborts)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const LoadFailure &f : kLoadFailures) {
        SCOPED_TRACE(f.nth);
        const std::string text = std::string("vlan_mgr") + f.text;
        const std::string expected = "^history 7536640 102 " + std::to_string(f.history_length) + " \\[" +
                                     regex_quote(text) + "\\]\ndebug \\[" + regex_quote(text) +
                                     "\\]\nsyslog 6 \\[" + regex_quote(std::string("<<%VLAN_MGR-6-INFO_MSG>> ") + f.text) +
                                     "\\]\npublisher_init 0\nend\n" QEMU_ABORT_LINE "$";
        EXPECT_EXIT(load_with_alloc_failure(f.nth, 7, 0, 0), ::testing::KilledBySignal(SIGABRT), expected);
    }
}

TEST(BdDbLoadDeathTest, AllocationFailureAbortsAlsoWhenSyslogHoldsTheMessageBack)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(load_with_alloc_failure(7, 2, 1, 0), ::testing::KilledBySignal(SIGABRT),
                "^history 7536640 102 38 \\[vlan_mgropened_flag malloc failed\\]\n"
                "debug \\[vlan_mgropened_flag malloc failed\\]\npublisher_init 0\nend\n" QEMU_ABORT_LINE "$");
}

TEST(BdDbLoadDeathTest, PublisherInitFailureAbortsWithoutAReport)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(load_with_alloc_failure(0, 7, 0, 5), ::testing::KilledBySignal(SIGABRT), "^publisher_init 1\nend\n" QEMU_ABORT_LINE "$");
}

TEST(BdDbLoadDeathTest, LoadWithoutFailureCompletes)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(load_with_alloc_failure(20, 7, 0, 0), ::testing::ExitedWithCode(0), "^loaded\n$");
}

// ---- Open and close ---------------------------------------------------------

TEST_F(BdDb, UriOfVdcOneHasNoDirectoryAndVdcTwoHasItsId)
{
    EXPECT_EQ(vlan_open_bd_sdb(1), 0u);
    EXPECT_EQ(vlan_open_bd_sdb(2), 0u);
    EXPECT_EQ(vlan_open_bd_sdb(5), 0u);
    EXPECT_STREQ(bd_sdb_uri_p[0], "volatile:/dev/shm/vlan_mgr_bd_sdb");
    EXPECT_STREQ(bd_sdb_uri_p[1], "volatile:/dev/shm/2/vlan_mgr_bd_sdb");
    EXPECT_STREQ(bd_sdb_uri_p[4], "volatile:/dev/shm/5/vlan_mgr_bd_sdb");
    EXPECT_EQ(bd_sdb_uri_p[0], db::vlan_mgr_bd_sdb_uri[0]);
    EXPECT_EQ(bd_sdb_uri_p[2], nullptr);
    ASSERT_EQ(tp::state().sdb_calls.size(), 3u);
    EXPECT_EQ(tp::state().sdb_calls[0].uri, "volatile:/dev/shm/vlan_mgr_bd_sdb");
    EXPECT_EQ(tp::state().sdb_calls[1].uri, "volatile:/dev/shm/2/vlan_mgr_bd_sdb");
    EXPECT_EQ(db::opened_flag[0], 1);
    EXPECT_EQ(db::opened_flag[1], 1);
    EXPECT_EQ(db::opened_flag[2], 0);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_F(BdDb, FirstOpenClearsEveryFlagAndForgetsTheBuffersMadeAtLoad)
{
    for (unsigned i = 0; i < 5; ++i)
        db::opened_flag[i] = 0xAA; // not cleared at load
    ASSERT_NE(bd_sdb_uri_p[3], nullptr);
    EXPECT_EQ(vlan_open_bd_sdb(1), 0u);
    EXPECT_EQ(db::opened_flag[0], 1);
    for (unsigned i = 1; i < 5; ++i) {
        EXPECT_EQ(db::opened_flag[i], 0);
        EXPECT_EQ(bd_sdb_uri_p[i], nullptr);
    }
    // Not again on later opens.
    db::opened_flag[3] = 1;
    EXPECT_EQ(vlan_open_bd_sdb(2), 0u);
    EXPECT_EQ(db::opened_flag[3], 1);
}

TEST_F(BdDb, OpenOfAnOpenVdcReturnsZeroWithoutOpeningAgain)
{
    EXPECT_EQ(vlan_open_bd_sdb(1), 0u);
    EXPECT_EQ(vlan_open_bd_sdb(1), 0u);
    EXPECT_EQ(count_ops(tp::SdbOp::open), 1u);
}

TEST_F(BdDb, AlreadyOpenAnswerMarksTheVdcOpen)
{
    tp::sdb_fail(tp::SdbOp::open, 1, 0x411a0003);
    all_channels_on();
    EXPECT_EQ(vlan_open_bd_sdb(3), 0u);
    EXPECT_EQ(db::opened_flag[2], 1);
    EXPECT_STREQ(bd_sdb_uri_p[2], "volatile:/dev/shm/3/vlan_mgr_bd_sdb");
    expect_no_report();
    EXPECT_EQ(vlan_open_bd_sdb(3), 0u);
    EXPECT_EQ(count_ops(tp::SdbOp::open), 1u);
}

TEST_F(BdDb, OpenFailureIsReportedAndForgetsTheUri)
{
    tp::sdb_fail(tp::SdbOp::open, 1, 0x411a0004);
    all_channels_on();
    EXPECT_EQ(vlan_open_bd_sdb(2), 0x411a0004u);
    EXPECT_EQ(bd_sdb_uri_p[1], nullptr);
    EXPECT_EQ(std::string(db::vlan_mgr_bd_sdb_uri[1], 100), std::string(100, '\0'));
    EXPECT_EQ(db::opened_flag[1], 0);
    expect_one_report(102,
                      "vlan_mgr vlan_open_bd_sdb:4854 pid " + pid() +
                          ", vdc 2, sdb_open(volatile:/dev/shm/2/vlan_mgr_bd_sdb) failed, err 0x411a0004 [error "
                          "0x411a0004]\n",
                      "<<%VLAN_MGR-6-INFO_MSG>>  vlan_open_bd_sdb:4854 pid " + pid() +
                          ", vdc 2, sdb_open(volatile:/dev/shm/2/vlan_mgr_bd_sdb) failed, err 0x411a0004 [error "
                          "0x411a0004]\n",
                      6);
    // The next open builds the URI again and retries.
    EXPECT_EQ(vlan_open_bd_sdb(2), 0u);
    EXPECT_EQ(count_ops(tp::SdbOp::open), 2u);
    EXPECT_STREQ(bd_sdb_uri_p[1], "volatile:/dev/shm/2/vlan_mgr_bd_sdb");
}

TEST_F(BdDb, OpenFailureAtTheInitialLevelIsRecordedButNotSentToSyslog)
{
    tp::sdb_fail(tp::SdbOp::open, 1, 0x411a0004);
    EXPECT_EQ(vlan_open_bd_sdb(1), 0x411a0004u);
    ASSERT_EQ(tp::state().history.size(), 1u);
    EXPECT_TRUE(tp::state().debug_lines.empty());
    EXPECT_TRUE(tp::state().syslog.empty());
}

TEST_F(BdDb, AnotherExistingVdcIsFormattedInsideItsContextAndOpenedInTheOwn)
{
    tp::state().vdc_id = 1;
    EXPECT_EQ(vlan_open_bd_sdb(2), 0u);
    EXPECT_EQ(tp::state().ctxt_switches, std::vector<uint16_t>{2});
    EXPECT_EQ(tp::state().ctxt_resets, 1);
    // The own VDC needs no switch.
    EXPECT_EQ(vlan_open_bd_sdb(1), 0u);
    EXPECT_EQ(tp::state().ctxt_switches.size(), 1u);
    EXPECT_EQ(tp::state().ctxt_resets, 1);
}

TEST_F(BdDb, VdcThatDoesNotExistIsFormattedWithoutASwitch)
{
    tp::state().vdc_id = 1;
    tp::state().vdc_created_result = 0;
    EXPECT_EQ(vlan_open_bd_sdb(4), 0u);
    EXPECT_TRUE(tp::state().ctxt_switches.empty());
    EXPECT_EQ(tp::state().ctxt_resets, 0);
    EXPECT_STREQ(bd_sdb_uri_p[3], "volatile:/dev/shm/4/vlan_mgr_bd_sdb");
}

TEST_F(BdDb, FailedSwitchIntoTheVdcReturnsItsResultWithNothingChanged)
{
    tp::state().vdc_id = 1;
    tp::state().set_ctxt_result = 0x40480004;
    all_channels_on();
    EXPECT_EQ(vlan_open_bd_sdb(2), 0x40480004u);
    EXPECT_EQ(bd_sdb_uri_p[1], nullptr);
    EXPECT_EQ(tp::state().ctxt_resets, 0);
    EXPECT_EQ(count_ops(tp::SdbOp::open), 0u);
    expect_no_report();
}

TEST_F(BdDb, FailedSwitchBackReturnsItsResultWithTheUriSetAndTheDatabaseNotOpened)
{
    tp::state().vdc_id = 1;
    tp::state().reset_ctxt_result = 0x40480001;
    all_channels_on();
    EXPECT_EQ(vlan_open_bd_sdb(2), 0x40480001u);
    EXPECT_STREQ(bd_sdb_uri_p[1], "volatile:/dev/shm/2/vlan_mgr_bd_sdb");
    EXPECT_EQ(db::opened_flag[1], 0);
    EXPECT_EQ(count_ops(tp::SdbOp::open), 0u);
    expect_no_report();
    // With the URI set, the next open goes straight to sdb_open.
    tp::state().reset_ctxt_result = 0;
    EXPECT_EQ(vlan_open_bd_sdb(2), 0u);
    EXPECT_EQ(tp::state().ctxt_switches.size(), 1u);
    EXPECT_EQ(count_ops(tp::SdbOp::open), 1u);
}

TEST_F(BdDb, CloseOfAnOpenVdcClosesForgetsAndDropsTheBlock)
{
    vlan_mgr_enable_cached_bd_sdb();
    ASSERT_EQ(vlan_open_bd_sdb(2), 0u);
    vlan_mgr_set_bd_cache_entry(2, 100, 7);
    ASSERT_NE(db::bd_sdb_cached_p[1], nullptr);
    EXPECT_EQ(vlan_close_bd_sdb(2), 0u);
    ASSERT_EQ(count_ops(tp::SdbOp::close), 1u);
    EXPECT_EQ(tp::state().sdb_calls.back().uri, "volatile:/dev/shm/2/vlan_mgr_bd_sdb");
    EXPECT_EQ(db::opened_flag[1], 0);
    EXPECT_EQ(bd_sdb_uri_p[1], nullptr);
    EXPECT_EQ(std::string(db::vlan_mgr_bd_sdb_uri[1], 100), std::string(100, '\0'));
    EXPECT_EQ(db::bd_sdb_cached_p[1], nullptr);
    EXPECT_EQ(tp::live_allocs(), 0);
    // Reopening opens again.
    EXPECT_EQ(vlan_open_bd_sdb(2), 0u);
    EXPECT_EQ(count_ops(tp::SdbOp::open), 2u);
}

TEST_F(BdDb, CloseOfANeverOpenedVdcReturnsZeroAndStillDropsItsBlock)
{
    vlan_mgr_enable_cached_bd_sdb();
    vlan_mgr_set_bd_cache_entry(3, 10, 5);
    ASSERT_NE(db::bd_sdb_cached_p[2], nullptr);
    EXPECT_EQ(vlan_close_bd_sdb(3), 0u);
    EXPECT_EQ(db::bd_sdb_cached_p[2], nullptr);
    EXPECT_EQ(count_ops(tp::SdbOp::close), 0u);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_F(BdDb, FailedCloseReturns8bAndKeepsEverything)
{
    vlan_mgr_enable_cached_bd_sdb();
    ASSERT_EQ(vlan_open_bd_sdb(1), 0u);
    vlan_mgr_set_bd_cache_entry(1, 10, 5);
    tp::sdb_fail(tp::SdbOp::close, 1, 0x411a0002);
    all_channels_on();
    EXPECT_EQ(vlan_close_bd_sdb(1), 0x4110008bu);
    EXPECT_EQ(db::opened_flag[0], 1);
    EXPECT_STREQ(bd_sdb_uri_p[0], "volatile:/dev/shm/vlan_mgr_bd_sdb");
    ASSERT_NE(db::bd_sdb_cached_p[0], nullptr);
    EXPECT_EQ(db::bd_sdb_cached_p[0][10], 5);
    expect_no_report();
}

TEST_F(BdDb, VdcIdsOutsideOneToFiveAreRefusedByOpenAndClose)
{
    for (uint16_t vdc : {0, 6, 0xFFFF}) {
        EXPECT_EQ(vlan_open_bd_sdb(vdc), 0x41100013u);
        EXPECT_EQ(vlan_close_bd_sdb(vdc), 0x41100013u);
    }
    EXPECT_TRUE(tp::state().sdb_calls.empty());
    EXPECT_EQ(db::first_open_marker, 0);
}

// ---- The cache ----------------------------------------------------------------

TEST_F(BdDb, AfterLoadWithTheCacheOffAnEntryUpdateChangesNothing)
{
    all_channels_on();
    vlan_mgr_set_bd_cache_entry(1, 10, 5);
    vlan_mgr_invalidate_bd_cache_entry(1, 10);
    for (unsigned i = 0; i < 5; ++i)
        EXPECT_EQ(db::bd_sdb_cached_p[i], nullptr);
    EXPECT_EQ(tp::alloc_calls(), 0);
    expect_no_report();
    EXPECT_EQ(vlan_mgr_check_bd_cache(1), 0x41100084u);
}

TEST_F(BdDb, InvalidateAfterEnableCreatesAnAllZeroBlock)
{
    EXPECT_EQ(vlan_mgr_enable_cached_bd_sdb(), 0u);
    vlan_mgr_invalidate_bd_cache_entry(1, 10);
    ASSERT_NE(db::bd_sdb_cached_p[0], nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(db::bd_sdb_cached_p[0]), 8192), std::string(8192, '\0'));
    EXPECT_EQ(db::bd_sdb_cached_p[1], nullptr);
    EXPECT_EQ(tp::live_allocs(), 1);
}

TEST_F(BdDb, SecondEnableKeepsEntriesAndDisableThenEnableEmpties)
{
    vlan_mgr_enable_cached_bd_sdb();
    vlan_mgr_set_bd_cache_entry(2, 100, 0x1234);
    EXPECT_EQ(vlan_mgr_enable_cached_bd_sdb(), 0u);
    ASSERT_NE(db::bd_sdb_cached_p[1], nullptr);
    EXPECT_EQ(db::bd_sdb_cached_p[1][100], 0x1234);
    EXPECT_EQ(vlan_mgr_disable_cached_bd_sdb(), 0u);
    EXPECT_EQ(db::bd_sdb_cached_p[1], nullptr);
    EXPECT_EQ(db::bd_cache_enabled, 0);
    EXPECT_EQ(vlan_mgr_enable_cached_bd_sdb(), 0u);
    EXPECT_EQ(db::bd_cache_enabled, 1);
    EXPECT_EQ(db::bd_sdb_cached_p[1], nullptr);
    EXPECT_EQ(tp::live_allocs(), 0);
    EXPECT_EQ(vlan_mgr_disable_cached_bd_sdb(), 0u); // also when off already
    EXPECT_EQ(vlan_mgr_disable_cached_bd_sdb(), 0u);
}

TEST_F(BdDb, EntryUpdatesOutsideOneTo4094AreReportedAndIgnored)
{
    vlan_mgr_enable_cached_bd_sdb();
    all_channels_on();
    vlan_mgr_set_bd_cache_entry(2, 0, 9);
    expect_one_report(102, "vlan_mgr pid " + pid() + ", vdc 2: got invalid VLAN id 0, must be 1<=VLAN<=4094\n",
                      "<<%VLAN_MGR-6-INFO_MSG>>  pid " + pid() + ", vdc 2: got invalid VLAN id 0, must be 1<=VLAN<=4094\n",
                      6);
    EXPECT_EQ(db::bd_sdb_cached_p[1], nullptr); // no block made either
    tp::reset();
    all_channels_on();
    vlan_mgr_invalidate_bd_cache_entry(3, 4095);
    expect_one_report(102, "vlan_mgr pid " + pid() + ", vdc 3: got invalid VLAN id 4095, must be 1<=VLAN<=4094\n",
                      "<<%VLAN_MGR-6-INFO_MSG>>  pid " + pid() + ", vdc 3: got invalid VLAN id 4095, must be 1<=VLAN<=4094\n",
                      6);
    EXPECT_EQ(db::bd_sdb_cached_p[2], nullptr);
    tp::reset();
    all_channels_on();
    vlan_mgr_invalidate_bd_cache_entry(1, -1);
    ASSERT_EQ(tp::state().history.size(), 1u);
    EXPECT_EQ(tp::state().history[0].text(), "vlan_mgr pid " + pid() + ", vdc 1: got invalid VLAN id -1, must be 1<=VLAN<=4094\n");
    tp::reset();
    vlan_mgr_set_bd_cache_entry(1, 0x10000u, 9);
    ASSERT_EQ(tp::state().history.size(), 1u);
    EXPECT_EQ(tp::state().history[0].text(), "vlan_mgr pid " + pid() + ", vdc 1: got invalid VLAN id 65536, must be 1<=VLAN<=4094\n");
    EXPECT_EQ(db::bd_sdb_cached_p[0], nullptr);
}

TEST_F(BdDb, EntryUpdatesOfOneAnd4094AreStored)
{
    vlan_mgr_enable_cached_bd_sdb();
    all_channels_on();
    vlan_mgr_set_bd_cache_entry(4, 1, 0x0101);
    vlan_mgr_set_bd_cache_entry(4, 4094, 0xFFFE);
    ASSERT_NE(db::bd_sdb_cached_p[3], nullptr);
    EXPECT_EQ(db::bd_sdb_cached_p[3][1], 0x0101);
    EXPECT_EQ(db::bd_sdb_cached_p[3][4094], 0xFFFE);
    EXPECT_EQ(db::bd_sdb_cached_p[3][0], 0);
    EXPECT_EQ(db::bd_sdb_cached_p[3][4095], 0);
    vlan_mgr_invalidate_bd_cache_entry(4, 4094);
    EXPECT_EQ(db::bd_sdb_cached_p[3][4094], 0);
    EXPECT_EQ(db::bd_sdb_cached_p[3][1], 0x0101);
    expect_no_report();
}

TEST_F(BdDb, CheckMakesTheBlockOnceAndReturnsZero)
{
    vlan_mgr_enable_cached_bd_sdb();
    EXPECT_EQ(vlan_mgr_check_bd_cache(5), 0u);
    uint16_t *block = db::bd_sdb_cached_p[4];
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(vlan_mgr_check_bd_cache(5), 0u);
    EXPECT_EQ(db::bd_sdb_cached_p[4], block);
    EXPECT_EQ(tp::alloc_calls(), 1);
}

TEST_F(BdDb, FailedBlockAllocationIsReportedAndLeavesTheEntryNull)
{
    vlan_mgr_enable_cached_bd_sdb();
    all_channels_on();
    tp::fail_alloc_at(1);
    EXPECT_EQ(vlan_mgr_check_bd_cache(2), 0x41100002u);
    EXPECT_EQ(db::bd_sdb_cached_p[1], nullptr);
    expect_one_report(100, "vlan_mgr vlan_mgr_check_bd_cache: pid " + pid() + ", vdc 2, malloc 8192 bytes BD cache failed\n",
                      "<<%VLAN_MGR-3-ERROR_MSG>>  vlan_mgr_check_bd_cache: pid " + pid() +
                          ", vdc 2, malloc 8192 bytes BD cache failed\n",
                      3);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST_F(BdDb, FailedBlockAllocationInAnEntryUpdateStoresNothing)
{
    vlan_mgr_enable_cached_bd_sdb();
    tp::fail_alloc_at(1);
    vlan_mgr_set_bd_cache_entry(1, 10, 3);
    EXPECT_EQ(db::bd_sdb_cached_p[0], nullptr);
    ASSERT_EQ(tp::state().history.size(), 1u);
    EXPECT_EQ(tp::state().history[0].subtype(), 100u);
    EXPECT_EQ(tp::live_allocs(), 0);
    // The next update makes the block.
    vlan_mgr_set_bd_cache_entry(1, 10, 3);
    ASSERT_NE(db::bd_sdb_cached_p[0], nullptr);
    EXPECT_EQ(db::bd_sdb_cached_p[0][10], 3);
}

} // namespace
