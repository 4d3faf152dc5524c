// Reader of the event-history ring: files that are not rings, entries caught
// while being written, and the preparation of an entry's text for printing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sys/wait.h>
#include <unistd.h>
#include <string>
#include <vector>

#include "host/host_platform.h"
#include "host_test_util.h"

using host_test::TempDir;
using namespace vlan_mgr_host;

namespace {

void count(const HistEntry &e, void *ctx) { static_cast<std::vector<uint64_t> *>(ctx)->push_back(e.seq); }

// A ring of `slots` slots built in memory, 8-byte aligned like a mapping.
struct MemRing {
    explicit MemRing(uint32_t slots) : words((64 + slots * 576) / 8, 0)
    {
        RingHeader *h = hdr();
        std::memcpy(h->magic, "VMGRHIST", 8);
        h->version = 1;
        h->header_size = 64;
        h->slot_size = 576;
        h->slot_count = slots;
        h->data_size = 544;
        h->pid = 99;
    }
    RingHeader *hdr() { return reinterpret_cast<RingHeader *>(words.data()); }
    RingSlot *slot(uint32_t i) { return reinterpret_cast<RingSlot *>(reinterpret_cast<uint8_t *>(words.data()) + 64) + i; }
    void put(uint32_t i, uint64_t seq, uint32_t event_id, const char *text)
    {
        RingSlot *s = slot(i);
        s->seq = seq;
        s->event_id = event_id;
        s->length = s->stored = static_cast<uint32_t>(std::strlen(text) + 1);
        std::memcpy(s->data, text, s->stored);
    }
    size_t size() const { return words.size() * 8; }
    std::vector<uint64_t> words;
};

std::string write_file(const TempDir &dir, const std::string &content)
{
    std::string path = dir.path() + "/ring";
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

HistEntry entry_of(uint32_t event_id, const std::vector<uint8_t> &bytes)
{
    return HistEntry{0, event_id, static_cast<uint32_t>(bytes.size()), static_cast<uint32_t>(bytes.size()), 0, 0,
                     bytes.data()};
}

std::vector<uint8_t> report(uint32_t cls, const std::string &text)
{
    std::vector<uint8_t> b(4 + text.size() + 1, 0);
    std::memcpy(b.data(), &cls, 4);
    std::memcpy(b.data() + 4, text.data(), text.size());
    return b;
}

} // namespace

TEST(HistRingRead, MissingFileCannotBeOpened)
{
    TempDir dir;
    HistRingInfo info;
    EXPECT_EQ(hist_ring_read_file((dir.path() + "/none").c_str(), count, nullptr, &info), RingRead::cannot_open);
    EXPECT_EQ(hist_ring_read_file(nullptr, count, nullptr, &info), RingRead::cannot_open);
}

TEST(HistRingRead, DirectoryCannotBeOpened)
{
    TempDir dir;
    EXPECT_EQ(hist_ring_read_file(dir.path().c_str(), count, nullptr, nullptr), RingRead::cannot_open);
}

TEST(HistRingRead, ShortOrForeignFilesAreNotRings)
{
    TempDir dir;
    EXPECT_EQ(hist_ring_read_file(write_file(dir, "").c_str(), count, nullptr, nullptr), RingRead::bad_format);
    EXPECT_EQ(hist_ring_read_file(write_file(dir, "VMGRHIST").c_str(), count, nullptr, nullptr),
              RingRead::bad_format);
    EXPECT_EQ(hist_ring_read_file(write_file(dir, std::string(5000, 'x')).c_str(), count, nullptr, nullptr),
              RingRead::bad_format);
}

TEST(HistRingRead, RingFileCutShortIsRefused)
{
    TempDir dir;
    MemRing r(4);
    std::string bytes(reinterpret_cast<const char *>(r.words.data()), r.size() - 1);
    EXPECT_EQ(hist_ring_read_file(write_file(dir, bytes).c_str(), count, nullptr, nullptr), RingRead::bad_format);
    bytes.push_back('\0');
    EXPECT_EQ(hist_ring_read_file(write_file(dir, bytes).c_str(), count, nullptr, nullptr), RingRead::ok);
}

TEST(HistRingRead, HeaderFieldsAreChecked)
{
    struct Case {
        const char *what;
        void (*spoil)(RingHeader *);
    };
    const Case cases[] = {
        {"magic", [](RingHeader *h) { h->magic[0] = 'X'; }},
        {"version", [](RingHeader *h) { h->version = 2; }},
        {"header size", [](RingHeader *h) { h->header_size = 32; }},
        {"slot size", [](RingHeader *h) { h->slot_size = 512; }},
        {"data size", [](RingHeader *h) { h->data_size = 600; }},
        {"no slots", [](RingHeader *h) { h->slot_count = 0; }},
        {"more slots than bytes", [](RingHeader *h) { h->slot_count = 5; }},
        {"too many slots", [](RingHeader *h) { h->slot_count = 65537; }},
    };
    for (const Case &c : cases) {
        MemRing r(4);
        c.spoil(r.hdr());
        EXPECT_EQ(hist_ring_read(r.words.data(), r.size(), count, nullptr, nullptr), RingRead::bad_format) << c.what;
    }
    MemRing good(4);
    EXPECT_EQ(hist_ring_read(good.words.data(), good.size(), count, nullptr, nullptr), RingRead::ok);
    EXPECT_EQ(hist_ring_read(nullptr, 100, count, nullptr, nullptr), RingRead::bad_format);
    EXPECT_EQ(hist_ring_read(good.words.data(), 63, count, nullptr, nullptr), RingRead::bad_format);
}

TEST(HistRingRead, EmptyRingDeliversNothing)
{
    MemRing r(4);
    std::vector<uint64_t> seen;
    HistRingInfo info;
    ASSERT_EQ(hist_ring_read(r.words.data(), r.size(), count, &seen, &info), RingRead::ok);
    EXPECT_TRUE(seen.empty());
    EXPECT_EQ(info.recorded, 0u);
    EXPECT_EQ(info.delivered, 0u);
    EXPECT_EQ(info.pid, 99u);
}

TEST(HistRingRead, EntryBeingWrittenIsSkipped)
{
    MemRing r(4);
    r.put(0, 1, 0x730000, "a");
    r.put(1, 0, 0x730000, "b"); // never completed
    r.put(2, 3, 0x730000, "c");
    r.put(3, SLOT_BUSY, 0x730000, "d"); // claimed by a writer
    r.hdr()->head = 4;
    std::vector<uint64_t> seen;
    HistRingInfo info;
    ASSERT_EQ(hist_ring_read(r.words.data(), r.size(), count, &seen, &info), RingRead::ok);
    EXPECT_EQ(seen, (std::vector<uint64_t>{0, 2}));
    EXPECT_EQ(info.recorded, 4u);
    EXPECT_EQ(info.skipped, 2u);
    EXPECT_EQ(info.delivered, 2u);
}

TEST(HistRingRead, SlotStillHoldingAnOlderEntryIsSkipped)
{
    // Entry 5 was reserved (head 6) but its slot (1) still holds entry 1.
    MemRing r(4);
    r.put(2, 3, 0x730000, "e2");
    r.put(3, 4, 0x730000, "e3");
    r.put(0, 5, 0x730000, "e4");
    r.put(1, 2, 0x730000, "e1");
    r.hdr()->head = 6;
    std::vector<uint64_t> seen;
    HistRingInfo info;
    ASSERT_EQ(hist_ring_read(r.words.data(), r.size(), count, &seen, &info), RingRead::ok);
    EXPECT_EQ(seen, (std::vector<uint64_t>{2, 3, 4}));
    EXPECT_EQ(info.overwritten, 2u);
    EXPECT_EQ(info.skipped, 1u);
}

TEST(HistRingRead, StoredCountBeyondTheSlotIsCapped)
{
    MemRing r(1);
    r.put(0, 1, 0x730001, "x");
    r.slot(0)->stored = 100000;
    r.hdr()->head = 1;
    uint32_t stored = 0;
    ASSERT_EQ(hist_ring_read(
                  r.words.data(), r.size(),
                  [](const HistEntry &e, void *ctx) { *static_cast<uint32_t *>(ctx) = e.stored; }, &stored, nullptr),
              RingRead::ok);
    EXPECT_EQ(stored, 544u);
}

// ---- Entry text for the print callback ----

TEST(HistEntryText, ReportRecordGivesItsClassAndText)
{
    std::vector<uint8_t> b = report(100, "vlan_mgr vlan_create_build_mts: pid 7, vdcID 3, local vdcID 1\n");
    char out[1089];
    uint32_t len = 0, cls = 0;
    hist_entry_text(entry_of(0x730000, b), out, sizeof out, &len, &cls);
    EXPECT_STREQ(out, "vlan_mgr vlan_create_build_mts: pid 7, vdcID 3, local vdcID 1");
    EXPECT_EQ(len, 61u);
    EXPECT_EQ(cls, 100u);
}

TEST(HistEntryText, OtherEventsAreTextFromTheirFirstByte)
{
    std::vector<uint8_t> b = {'V', 'L', 'A', 'N', ' ', '5', 0, 'x'};
    char out[64];
    uint32_t len = 0, cls = 9;
    hist_entry_text(entry_of(0x73002c, b), out, sizeof out, &len, &cls);
    EXPECT_STREQ(out, "VLAN 5");
    EXPECT_EQ(len, 6u);
    EXPECT_EQ(cls, 0u);
}

TEST(HistEntryText, PercentSignsAreDoubled)
{
    std::vector<uint8_t> b = report(102, "sdb_open(volatile:/dev/shm/a%sb) 100%\n");
    char out[128];
    uint32_t len = 0;
    hist_entry_text(entry_of(0x730000, b), out, sizeof out, &len, nullptr);
    EXPECT_STREQ(out, "sdb_open(volatile:/dev/shm/a%%sb) 100%%");
    EXPECT_EQ(len, 37u); // as printed, each %% printing one %
}

TEST(HistEntryText, ControlBytesBecomeDotsButTabsStay)
{
    std::vector<uint8_t> b = {'a', '\n', 'b', '\t', 'c', 0x01, 0x7f, 'd', '\r', '\n', '\n'};
    char out[64];
    uint32_t len = 0;
    hist_entry_text(entry_of(0x730001, b), out, sizeof out, &len, nullptr);
    EXPECT_STREQ(out, "a.b\tc..d");
    EXPECT_EQ(len, 8u);
}

TEST(HistEntryText, TextWithoutNulEndsAtTheStoredBytes)
{
    std::vector<uint8_t> b = {'a', 'b', 'c'};
    char out[64];
    uint32_t len = 0;
    hist_entry_text(entry_of(0x730001, b), out, sizeof out, &len, nullptr);
    EXPECT_STREQ(out, "abc");
    EXPECT_EQ(len, 3u);
}

TEST(HistEntryText, SmallBufferCutsWithoutSplittingAPercentPair)
{
    std::vector<uint8_t> b = {'a', 'b', '%', 'c', 0};
    char out[4];
    uint32_t len = 0;
    hist_entry_text(entry_of(0x730001, b), out, sizeof out, &len, nullptr);
    EXPECT_STREQ(out, "ab");
    EXPECT_EQ(len, 2u);
    char one[1];
    hist_entry_text(entry_of(0x730001, b), one, sizeof one, &len, nullptr);
    EXPECT_EQ(one[0], '\0');
    EXPECT_EQ(len, 0u);
}

TEST(HistEntryText, ShortReportRecordHasNoClass)
{
    std::vector<uint8_t> b = {'a', 'b'};
    char out[16];
    uint32_t len = 0, cls = 5;
    hist_entry_text(entry_of(0x730000, b), out, sizeof out, &len, &cls);
    EXPECT_STREQ(out, "ab");
    EXPECT_EQ(cls, 0u);
    std::vector<uint8_t> four = {0x64, 0, 0, 0};
    hist_entry_text(entry_of(0x730000, four), out, sizeof out, &len, &cls);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(len, 0u);
    EXPECT_EQ(cls, 100u);
}

TEST(HistEntryText, LongestSlotTextFitsTheDocumentedBuffer)
{
    std::vector<uint8_t> b(544, '%');
    char out[2 * 544 + 1];
    uint32_t len = 0;
    hist_entry_text(entry_of(0x730001, b), out, sizeof out, &len, nullptr);
    EXPECT_EQ(std::strlen(out), 1088u);
    EXPECT_EQ(len, 544u);
}

TEST(HistEventNumber, IsTheLowSixteenBitsOfTheEventId)
{
    EXPECT_EQ(hist_event_number(0x730000), 0);
    EXPECT_EQ(hist_event_number(0x73007b), 123);
    EXPECT_EQ(hist_event_number(0x73ffff), 0xffff);
}

// ---- Removing the rings of ended processes ----

namespace {

void note_removed(const char *path, void *ctx) { static_cast<std::vector<std::string> *>(ctx)->push_back(path); }

bool exists(const std::string &path) { return access(path.c_str(), F_OK) == 0; }

} // namespace

TEST(HistRingPrune, RemovesOnlyTheRingsOfEndedProcesses)
{
    TempDir dir;
    host_test::ScopedEnv env("VLAN_MGR_HIST_DIR", dir.path().c_str());
    const pid_t gone = fork();
    ASSERT_GE(gone, 0);
    if (gone == 0)
        _exit(0);
    ASSERT_EQ(waitpid(gone, nullptr, 0), gone);

    const std::string base = dir.path() + "/vlan_mgr_hist.";
    const std::string dead = base + std::to_string(gone);
    const std::string dead_tmp = dead + ".a1B2c3";
    const std::string dead_other = dead + ".x";
    const std::string mine = base + std::to_string(getpid());
    const std::string not_pid = base + "abc";
    const std::string zero = base + "0";
    const std::string other = dir.path() + "/other.txt";
    for (const std::string *p : {&dead, &dead_tmp, &dead_other, &mine, &not_pid, &zero, &other})
        std::ofstream(*p) << "x";

    std::vector<std::string> removed;
    EXPECT_EQ(hist_ring_prune(note_removed, &removed), 2u);
    std::sort(removed.begin(), removed.end());
    EXPECT_EQ(removed, (std::vector<std::string>{dead, dead_tmp}));
    EXPECT_FALSE(exists(dead));
    EXPECT_FALSE(exists(dead_tmp));
    for (const std::string *p : {&dead_other, &mine, &not_pid, &zero, &other})
        EXPECT_TRUE(exists(*p)) << *p;
}

TEST(HistRingPrune, MissingDirectoryRemovesNothing)
{
    TempDir dir;
    host_test::ScopedEnv env("VLAN_MGR_HIST_DIR", (dir.path() + "/none").c_str());
    EXPECT_EQ(hist_ring_prune(nullptr, nullptr), 0u);
}

TEST(HistRingPrune, ADirectoryNameTooLongForItsBufferRemovesNothing)
{
    host_test::ScopedEnv env("VLAN_MGR_HIST_DIR", ("/tmp/" + std::string(300, 'd')).c_str());
    EXPECT_EQ(hist_ring_prune(nullptr, nullptr), 0u);
}
