// Host event history: the subtype switch (VLAN_MGR_HIST_OFF), events recorded
// in the process's ring file, the ring's layout and life, and the header line
// of a printed entry.
#include <gtest/gtest.h>

#include <algorithm>
#include <dirent.h>
#include <cstdio>
#include <cstring>
#include <csignal>
#include <ctime>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "host/host_platform.h"
#include "host_test_util.h"
#include "vlan_mgr_platform.h"

using host_test::ScopedEnv;
using host_test::TempDir;
using namespace vlan_mgr_host;

namespace {

struct Got {
    uint64_t seq;
    uint32_t event_id, length, stored, sec, usec;
    std::vector<uint8_t> data;
};

void collect(const HistEntry &e, void *ctx)
{
    static_cast<std::vector<Got> *>(ctx)->push_back(
        {e.seq, e.event_id, e.length, e.stored, e.time_sec, e.time_usec, std::vector<uint8_t>(e.data, e.data + e.stored)});
}

std::vector<Got> read_ring(const char *path, HistRingInfo *info = nullptr)
{
    std::vector<Got> got;
    EXPECT_EQ(hist_ring_read_file(path, collect, &got, info), RingRead::ok);
    return got;
}

std::vector<uint8_t> file_bytes(const std::string &path)
{
    std::ifstream f(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>()};
}

uint32_t u32_at(const std::vector<uint8_t> &b, size_t off)
{
    uint32_t v = 0;
    std::memcpy(&v, b.data() + off, 4);
    return v;
}

uint64_t u64_at(const std::vector<uint8_t> &b, size_t off)
{
    uint64_t v = 0;
    std::memcpy(&v, b.data() + off, 8);
    return v;
}

// Every test records into a ring of its own in a private directory.
class HostHistory : public testing::Test {
protected:
    HostHistory()
        : dir_env_("VLAN_MGR_HIST_DIR", dir_.path().c_str()), slots_env_("VLAN_MGR_HIST_SLOTS", nullptr),
          off_env_("VLAN_MGR_HIST_OFF", nullptr)
    {
        hist_ring_close(false);
    }
    ~HostHistory() override { hist_ring_close(true); }

    std::string own_path() const { return dir_.path() + "/vlan_mgr_hist." + std::to_string(getpid()); }

    TempDir dir_;

private:
    ScopedEnv dir_env_;
    ScopedEnv slots_env_;
    ScopedEnv off_env_;
};

} // namespace

TEST(SdwrapHistEventSubtypeCheck, RecordsEveryClassByDefault)
{
    ScopedEnv off("VLAN_MGR_HIST_OFF", nullptr);
    EXPECT_EQ(sdwrap_hist_event_subtype_check(0x730000, 100), 0);
    EXPECT_EQ(sdwrap_hist_event_subtype_check(0x730000, 102), 0);
    EXPECT_EQ(sdwrap_hist_event_subtype_check(0x730001, 0), 0);
}

TEST(SdwrapHistEventSubtypeCheck, ListedClassesAreSwitchedOff)
{
    ScopedEnv off("VLAN_MGR_HIST_OFF", "100");
    EXPECT_NE(sdwrap_hist_event_subtype_check(0x730000, 100), 0);
    EXPECT_EQ(sdwrap_hist_event_subtype_check(0x730000, 102), 0);
    setenv("VLAN_MGR_HIST_OFF", "100,102", 1);
    EXPECT_NE(sdwrap_hist_event_subtype_check(0x730000, 102), 0);
}

TEST(SdwrapHistEventSubtypeCheck, AllSwitchesEveryClassOff)
{
    ScopedEnv off("VLAN_MGR_HIST_OFF", "all");
    EXPECT_NE(sdwrap_hist_event_subtype_check(0x730000, 100), 0);
    EXPECT_NE(sdwrap_hist_event_subtype_check(0x730000, 7), 0);
}

TEST(HistRingPath, DefaultsToDevShm)
{
    ScopedEnv dir("VLAN_MGR_HIST_DIR", nullptr);
    char buf[64];
    ASSERT_TRUE(hist_ring_path(4321, buf, sizeof buf));
    EXPECT_STREQ(buf, "/dev/shm/vlan_mgr_hist.4321");
    setenv("VLAN_MGR_HIST_DIR", "", 1);
    ASSERT_TRUE(hist_ring_path(4321, buf, sizeof buf));
    EXPECT_STREQ(buf, "/dev/shm/vlan_mgr_hist.4321");
}

TEST(HistRingPath, DirectoryFromTheEnvironment)
{
    ScopedEnv dir("VLAN_MGR_HIST_DIR", "/var/tmp/h");
    char buf[64];
    ASSERT_TRUE(hist_ring_path(7, buf, sizeof buf));
    EXPECT_STREQ(buf, "/var/tmp/h/vlan_mgr_hist.7");
}

TEST(HistRingPath, RefusesABufferTooSmall)
{
    ScopedEnv dir("VLAN_MGR_HIST_DIR", nullptr);
    char buf[27];
    EXPECT_FALSE(hist_ring_path(4321, buf, sizeof buf)); // needs 28 with its NUL
    char fits[28];
    EXPECT_TRUE(hist_ring_path(4321, fits, sizeof fits));
}

TEST_F(HostHistory, NoRingBeforeTheFirstEvent)
{
    EXPECT_EQ(hist_ring_file(), nullptr);
    struct stat st;
    EXPECT_NE(stat(own_path().c_str(), &st), 0);
    HistRingInfo info;
    EXPECT_EQ(hist_ring_read_self(collect, nullptr, &info), RingRead::cannot_open);
}

TEST_F(HostHistory, FirstEventCreatesTheRingFileOfThisProcess)
{
    const uint8_t rec[] = {1, 2, 3};
    ASSERT_EQ(sdwrap_hist_event(0x730005, sizeof rec, rec), 0);
    ASSERT_NE(hist_ring_file(), nullptr);
    EXPECT_EQ(std::string(hist_ring_file()), own_path());
    struct stat st;
    ASSERT_EQ(stat(own_path().c_str(), &st), 0);
    EXPECT_EQ(st.st_size, 64 + 512 * 576);
    EXPECT_EQ(st.st_mode & 0777, 0644u);
}

TEST_F(HostHistory, EventsAreRecordedInOrderWithBytesLengthAndTime)
{
    const time_t before = time(nullptr);
    const uint8_t a[] = {0x64, 0, 0, 0, 'h', 'i', '\n', 0};
    const uint8_t b[] = {0xde, 0xad};
    ASSERT_EQ(sdwrap_hist_event(0x730000, sizeof a, a), 0);
    ASSERT_EQ(sdwrap_hist_event(0x73007b, sizeof b, b), 0);
    ASSERT_EQ(sdwrap_hist_event(0x12345678, 0, nullptr), 0);
    const time_t after = time(nullptr);

    HistRingInfo info;
    std::vector<Got> got = read_ring(hist_ring_file(), &info);
    ASSERT_EQ(got.size(), 3u);
    EXPECT_EQ(info.recorded, 3u);
    EXPECT_EQ(info.overwritten, 0u);
    EXPECT_EQ(info.skipped, 0u);
    EXPECT_EQ(info.delivered, 3u);
    EXPECT_EQ(info.slot_count, 512u);
    EXPECT_EQ(info.pid, static_cast<uint32_t>(getpid()));

    EXPECT_EQ(got[0].seq, 0u);
    EXPECT_EQ(got[0].event_id, 0x730000u);
    EXPECT_EQ(got[0].length, 8u);
    EXPECT_EQ(got[0].data, (std::vector<uint8_t>{0x64, 0, 0, 0, 'h', 'i', '\n', 0}));
    EXPECT_EQ(got[1].seq, 1u);
    EXPECT_EQ(got[1].event_id, 0x73007bu);
    EXPECT_EQ(got[1].data, (std::vector<uint8_t>{0xde, 0xad}));
    EXPECT_EQ(got[2].seq, 2u);
    EXPECT_EQ(got[2].event_id, 0x12345678u);
    EXPECT_EQ(got[2].length, 0u);
    EXPECT_TRUE(got[2].data.empty());
    for (const Got &g : got) {
        EXPECT_GE(g.sec, static_cast<uint32_t>(before));
        EXPECT_LE(g.sec, static_cast<uint32_t>(after));
        EXPECT_LT(g.usec, 1000000u);
    }
}

TEST_F(HostHistory, RingFileLayout)
{
    const uint8_t rec[] = {0x66, 0, 0, 0, 'a', 'b', 0};
    ASSERT_EQ(sdwrap_hist_event(0x730000, sizeof rec, rec), 0);
    ASSERT_EQ(sdwrap_hist_event(0x730001, 2, "z"), 0);
    std::vector<uint8_t> f = file_bytes(own_path());
    ASSERT_EQ(f.size(), 64u + 512u * 576u);
    // Header.
    EXPECT_EQ(std::string(f.begin(), f.begin() + 8), "VMGRHIST");
    EXPECT_EQ(u32_at(f, 8), 1u);   // version
    EXPECT_EQ(u32_at(f, 12), 64u);  // header size
    EXPECT_EQ(u32_at(f, 16), 576u); // slot size
    EXPECT_EQ(u32_at(f, 20), 512u); // slot count
    EXPECT_EQ(u32_at(f, 24), 544u); // data bytes per slot
    EXPECT_EQ(u32_at(f, 28), static_cast<uint32_t>(getpid()));
    EXPECT_EQ(u64_at(f, 32), 2u);   // head
    // Slot 0 at 64, slot 1 at 640.
    EXPECT_EQ(u64_at(f, 64), 1u);          // seq = entry 0 + 1
    EXPECT_EQ(u32_at(f, 72), 0x730000u);   // event id
    EXPECT_EQ(u32_at(f, 76), 7u);          // length
    EXPECT_EQ(u32_at(f, 80), 7u);          // stored
    const uint8_t data0[] = {0x66, 0, 0, 0, 'a', 'b', 0};
    EXPECT_EQ(std::memcmp(f.data() + 96, data0, sizeof data0), 0);
    EXPECT_EQ(u64_at(f, 640), 2u);
    EXPECT_EQ(u32_at(f, 648), 0x730001u);
    EXPECT_EQ(u32_at(f, 652), 2u);
    EXPECT_EQ(f[672], 'z');
    EXPECT_EQ(f[673], 0);
    EXPECT_EQ(u64_at(f, 64 + 2 * 576), 0u); // slot 2 never written
}

TEST_F(HostHistory, WrapAroundKeepsTheNewestEntries)
{
    ScopedEnv slots("VLAN_MGR_HIST_SLOTS", "4");
    for (uint8_t i = 0; i < 10; ++i)
        ASSERT_EQ(sdwrap_hist_event(0x730000u + i, 1, &i), 0);
    HistRingInfo info;
    std::vector<Got> got = read_ring(hist_ring_file(), &info);
    EXPECT_EQ(info.slot_count, 4u);
    EXPECT_EQ(info.recorded, 10u);
    EXPECT_EQ(info.overwritten, 6u);
    ASSERT_EQ(got.size(), 4u);
    for (uint8_t k = 0; k < 4; ++k) {
        EXPECT_EQ(got[k].seq, 6u + k);
        EXPECT_EQ(got[k].event_id, 0x730006u + k);
        EXPECT_EQ(got[k].data, std::vector<uint8_t>{static_cast<uint8_t>(6 + k)});
    }
}

TEST_F(HostHistory, RingOfOneSlotHoldsTheLastEvent)
{
    ScopedEnv slots("VLAN_MGR_HIST_SLOTS", "1");
    for (uint8_t i = 0; i < 3; ++i)
        ASSERT_EQ(sdwrap_hist_event(0x730000, 1, &i), 0);
    std::vector<Got> got = read_ring(hist_ring_file());
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].seq, 2u);
    EXPECT_EQ(got[0].data, std::vector<uint8_t>{2});
}

TEST_F(HostHistory, SlotCountOutOfRangeTakesTheDefault)
{
    for (const char *bad : {"0", "65537", "x", "4k", "-4"}) {
        hist_ring_close(true);
        ScopedEnv slots("VLAN_MGR_HIST_SLOTS", bad);
        ASSERT_EQ(sdwrap_hist_event(0x730000, 1, "a"), 0);
        HistRingInfo info;
        read_ring(hist_ring_file(), &info);
        EXPECT_EQ(info.slot_count, 512u) << bad;
    }
}

TEST_F(HostHistory, LongRecordKeepsItsFirstBytesAndItsFullLength)
{
    std::vector<uint8_t> rec(600);
    for (size_t i = 0; i < rec.size(); ++i)
        rec[i] = static_cast<uint8_t>(i * 7);
    ASSERT_EQ(sdwrap_hist_event(0x730000, static_cast<uint32_t>(rec.size()), rec.data()), 0);
    std::vector<Got> got = read_ring(hist_ring_file());
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].length, 600u);
    EXPECT_EQ(got[0].stored, 544u);
    EXPECT_EQ(got[0].data, std::vector<uint8_t>(rec.begin(), rec.begin() + 544));
}

TEST_F(HostHistory, LargestReportRecordIsKeptWhole)
{
    // 4-byte class + 511 characters + NUL: the longest record a report makes.
    std::vector<uint8_t> rec(516, 'x');
    rec[515] = 0;
    ASSERT_EQ(sdwrap_hist_event(0x730000, 516, rec.data()), 0);
    std::vector<Got> got = read_ring(hist_ring_file());
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].stored, 516u);
    EXPECT_EQ(got[0].data, rec);
}

namespace {
void set_slot_seq(const std::string &path, uint32_t slot, uint64_t seq)
{
    std::FILE *f = std::fopen(path.c_str(), "r+b");
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(std::fseek(f, 64 + static_cast<long>(slot) * 576, SEEK_SET), 0);
    ASSERT_EQ(std::fwrite(&seq, 8, 1, f), 1u);
    std::fclose(f);
}
} // namespace

TEST_F(HostHistory, SlotLeftBusyIsGivenUpOnAndTheEntryDropped)
{
    ScopedEnv slots("VLAN_MGR_HIST_SLOTS", "1");
    ASSERT_EQ(sdwrap_hist_event(0x730001, 2, "a"), 0);
    set_slot_seq(own_path(), 0, ~uint64_t{0}); // a writer that never finished
    EXPECT_EQ(sdwrap_hist_event(0x730002, 2, "b"), 0x40480004);
    HistRingInfo info;
    EXPECT_TRUE(read_ring(own_path().c_str(), &info).empty());
    EXPECT_EQ(info.recorded, 2u);
    EXPECT_EQ(info.skipped, 1u);
}

TEST_F(HostHistory, SlotHoldingANewerEntryIsLeftAlone)
{
    ScopedEnv slots("VLAN_MGR_HIST_SLOTS", "1");
    ASSERT_EQ(sdwrap_hist_event(0x730001, 2, "a"), 0);
    set_slot_seq(own_path(), 0, 3); // as if entry 2 had been written by a writer that lapped
    EXPECT_EQ(sdwrap_hist_event(0x730002, 2, "b"), 0);
    std::vector<uint8_t> f = file_bytes(own_path());
    EXPECT_EQ(u64_at(f, 64), 3u);
    EXPECT_EQ(u32_at(f, 72), 0x730001u);
    EXPECT_EQ(f[96], 'a');
}

TEST_F(HostHistory, NullRecordWithALengthIsRefused)
{
    EXPECT_EQ(sdwrap_hist_event(0x730000, 4, nullptr), 0x40480001);
    EXPECT_EQ(hist_ring_file(), nullptr); // nothing recorded, no ring made
}

TEST_F(HostHistory, StaleFileOfTheSamePidIsReplaced)
{
    {
        std::ofstream stale(own_path(), std::ios::binary);
        stale << "left over by an earlier process with this pid";
    }
    ASSERT_EQ(sdwrap_hist_event(0x730000, 1, "q"), 0);
    std::vector<Got> got = read_ring(own_path().c_str());
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].data, std::vector<uint8_t>{'q'});
}

TEST_F(HostHistory, NoTemporaryFileIsLeftBehind)
{
    ASSERT_EQ(sdwrap_hist_event(0x730000, 1, "q"), 0);
    int files = 0;
    if (DIR *d = opendir(dir_.path().c_str())) {
        while (dirent *e = readdir(d))
            if (e->d_name[0] != '.')
                ++files;
        closedir(d);
    }
    EXPECT_EQ(files, 1);
}

TEST_F(HostHistory, RingStaysReadableAfterItIsClosed)
{
    ASSERT_EQ(sdwrap_hist_event(0x730009, 3, "end"), 0);
    hist_ring_close(false); // as when the process ends
    std::vector<Got> got = read_ring(own_path().c_str());
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].event_id, 0x730009u);
}

TEST_F(HostHistory, WithoutAFileTheRingLivesInMemory)
{
    ScopedEnv dir("VLAN_MGR_HIST_DIR", (dir_.path() + "/missing/dir").c_str());
    ASSERT_EQ(sdwrap_hist_event(0x730000, 2, "m"), 0);
    ASSERT_EQ(sdwrap_hist_event(0x730001, 2, "n"), 0);
    EXPECT_EQ(hist_ring_file(), nullptr);
    std::vector<Got> got;
    HistRingInfo info;
    ASSERT_EQ(hist_ring_read_self(collect, &got, &info), RingRead::ok);
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].data, (std::vector<uint8_t>{'m', 0}));
    EXPECT_EQ(got[1].data, (std::vector<uint8_t>{'n', 0}));
    EXPECT_EQ(info.pid, static_cast<uint32_t>(getpid()));
}

TEST_F(HostHistory, ReadSelfSeesTheFileRingToo)
{
    ASSERT_EQ(sdwrap_hist_event(0x730000, 2, "s"), 0);
    std::vector<Got> got;
    ASSERT_EQ(hist_ring_read_self(collect, &got, nullptr), RingRead::ok);
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].data, (std::vector<uint8_t>{'s', 0}));
}

TEST_F(HostHistory, ForkedChildRecordsIntoARingOfItsOwn)
{
    ASSERT_EQ(sdwrap_hist_event(0x730000, 7, "parent"), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        int rc = sdwrap_hist_event(0x730001, 6, "child");
        host_test::child_exit(rc == 0 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    ASSERT_EQ(WEXITSTATUS(status), 0);

    std::vector<Got> mine = read_ring(own_path().c_str());
    ASSERT_EQ(mine.size(), 1u);
    EXPECT_EQ(mine[0].event_id, 0x730000u);

    const std::string child_path = dir_.path() + "/vlan_mgr_hist." + std::to_string(child);
    HistRingInfo info;
    std::vector<Got> theirs = read_ring(child_path.c_str(), &info);
    ASSERT_EQ(theirs.size(), 1u);
    EXPECT_EQ(theirs[0].event_id, 0x730001u);
    EXPECT_EQ(theirs[0].data, (std::vector<uint8_t>{'c', 'h', 'i', 'l', 'd', 0}));
    EXPECT_EQ(info.pid, static_cast<uint32_t>(child));
}

namespace {

constexpr uint32_t threads = 4, per_thread = 1000;

// Each record is its event id repeated: a torn entry would mix two ids.
void writer(uint32_t t)
{
    for (uint32_t i = 0; i < per_thread; ++i) {
        const uint32_t id = (t << 16) | i;
        uint32_t rec[16];
        for (uint32_t &w : rec)
            w = id;
        sdwrap_hist_event(id, sizeof rec, rec);
    }
}

// Counts in *ctx the entries whose bytes do not match their event id.
void consistent(const HistEntry &e, void *ctx)
{
    if (e.event_id == 0xFFFFFFFF) // the event that opened the ring
        return;
    bool ok = e.stored == 64;
    for (uint32_t k = 0; ok && k < 16; ++k) {
        uint32_t w;
        std::memcpy(&w, e.data + 4 * k, 4);
        ok = w == e.event_id;
    }
    if (!ok)
        ++*static_cast<int *>(ctx);
}

// Reads the ring again and again while the writers run; returns the torn
// entries seen.
int torn_while_writing()
{
    EXPECT_EQ(sdwrap_hist_event(0xFFFFFFFF, 0, nullptr), 0); // open the ring first
    std::vector<std::thread> pool;
    for (uint32_t t = 0; t < threads; ++t)
        pool.emplace_back(writer, t);
    int torn = 0;
    for (int pass = 0; pass < 50; ++pass)
        hist_ring_read_file(hist_ring_file(), consistent, &torn, nullptr);
    for (std::thread &th : pool)
        th.join();
    return torn;
}

} // namespace

TEST_F(HostHistory, ConcurrentWritersLoseNothingAndReadersSeeNoTornEntry)
{
    ScopedEnv slots("VLAN_MGR_HIST_SLOTS", "8192");
    const int torn = torn_while_writing();
    EXPECT_EQ(torn, 0);

    std::vector<Got> got = read_ring(hist_ring_file());
    ASSERT_EQ(got.size(), 1 + threads * per_thread);
    std::vector<int> seen(threads * per_thread, 0);
    int bad = 0;
    for (size_t k = 1; k < got.size(); ++k) {
        HistEntry e{got[k].seq, got[k].event_id, got[k].length, got[k].stored, 0, 0, got[k].data.data()};
        consistent(e, &bad);
        ++seen[(got[k].event_id >> 16) * per_thread + (got[k].event_id & 0xFFFF)];
    }
    EXPECT_EQ(bad, 0);
    EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), static_cast<long>(threads * per_thread));
}

TEST_F(HostHistory, ReaderOfALappedRingSeesNoTornEntry)
{
    ScopedEnv slots("VLAN_MGR_HIST_SLOTS", "8");
    EXPECT_EQ(torn_while_writing(), 0);
    HistRingInfo info;
    int bad = 0;
    ASSERT_EQ(hist_ring_read_file(hist_ring_file(), consistent, &bad, &info), RingRead::ok);
    EXPECT_EQ(bad, 0);
    EXPECT_EQ(info.recorded, 1 + threads * per_thread);
    EXPECT_EQ(info.delivered, 8u);
}

// ---- Header line of a printed entry ----

namespace {
std::string header_via_file(const char *name, uint32_t len, uint32_t sec, uint32_t usec, int32_t *rc)
{
    std::FILE *f = std::tmpfile();
    EXPECT_NE(f, nullptr);
    if (f == nullptr)
        return {};
    *rc = sdwrap_hist_print_event_header(f, name, len, sec, usec);
    std::rewind(f);
    char buf[256] = {};
    size_t n = std::fread(buf, 1, sizeof buf - 1, f);
    std::fclose(f);
    return std::string(buf, n);
}
} // namespace

TEST(SdwrapHistPrintEventHeader, PrintsTimeNameAndLengthOnTheGivenFile)
{
    int32_t rc = 0;
    std::string line = header_via_file("VLAN_MGR_EVENT_CLI_ERROR", 57, 1700000000, 123456, &rc);
    EXPECT_EQ(line, "[2023-11-14 22:13:20.123456] VLAN_MGR_EVENT_CLI_ERROR, length 57\n");
    EXPECT_EQ(rc, static_cast<int32_t>(line.size()));
}

TEST(SdwrapHistPrintEventHeader, PadsMicroseconds)
{
    int32_t rc = 0;
    EXPECT_EQ(header_via_file("X", 0, 0, 7, &rc), "[1970-01-01 00:00:00.000007] X, length 0\n");
}

TEST(SdwrapHistPrintEventHeader, NullNameIsPrintedAsUnknown)
{
    int32_t rc = 0;
    EXPECT_EQ(header_via_file(nullptr, 3, 86400, 0, &rc), "[1970-01-02 00:00:00.000000] (unknown event), length 3\n");
}

TEST(SdwrapHistPrintEventHeader, NullOutputIsStdout)
{
    testing::internal::CaptureStdout();
    sdwrap_hist_print_event_header(nullptr, "VLAN_MGR_EVENT_BD", 4, 60, 5);
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[1970-01-01 00:01:00.000005] VLAN_MGR_EVENT_BD, length 4\n");
}

TEST_F(HostHistory, ADirectoryInTheWayOfTheRingFileKeepsTheRingInMemoryAndLeavesNoTemporaryFile)
{
    const std::string in_the_way = own_path();
    ASSERT_EQ(mkdir(in_the_way.c_str(), 0755), 0);
    const std::string inside = in_the_way + "/keep";
    std::ofstream(inside) << "x";
    const int32_t rc = sdwrap_hist_event(0x730000, 2, "d");
    const char *file = hist_ring_file();
    std::vector<Got> got;
    const RingRead read = hist_ring_read_self(collect, &got, nullptr);
    const int entries = [&] {
        int n = 0;
        if (DIR *d = opendir(dir_.path().c_str())) {
            while (dirent *e = readdir(d))
                n += e->d_name[0] != '.';
            closedir(d);
        }
        return n;
    }();
    unlink(inside.c_str());
    rmdir(in_the_way.c_str());
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(file, nullptr);
    EXPECT_EQ(read, RingRead::ok);
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].data, (std::vector<uint8_t>{'d', 0}));
    EXPECT_EQ(entries, 1); // the directory alone
}

// A file size limit below the ring's size: its pages cannot be reserved, so
// the ring lives in memory and no file is left behind (a later event must not
// meet a SIGBUS on a file that could not grow).
TEST_F(HostHistory, ARingWhosePagesCannotBeReservedLivesInMemory)
{
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        rlimit before{};
        getrlimit(RLIMIT_FSIZE, &before);
        const rlimit small{4096, before.rlim_max};
        int rc = setrlimit(RLIMIT_FSIZE, &small) == 0 ? 0 : 10;
        if (rc == 0 && sdwrap_hist_event(0x730001, 2, "f") != 0)
            rc = 11;
        if (rc == 0 && hist_ring_file() != nullptr)
            rc = 12;
        std::vector<Got> got;
        if (rc == 0 && (hist_ring_read_self(collect, &got, nullptr) != RingRead::ok || got.size() != 1 ||
                        got[0].event_id != 0x730001u))
            rc = 13;
        setrlimit(RLIMIT_FSIZE, &before); // a coverage build writes its counts on the way out
        host_test::child_exit(rc);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    int child_files = 0;
    const std::string prefix = "vlan_mgr_hist." + std::to_string(child);
    if (DIR *d = opendir(dir_.path().c_str())) {
        while (dirent *e = readdir(d))
            child_files += std::strncmp(e->d_name, prefix.c_str(), prefix.size()) == 0;
        closedir(d);
    }
    EXPECT_EQ(child_files, 0);
}
