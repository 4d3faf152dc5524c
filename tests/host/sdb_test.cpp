// The shared database's reader calls on the host platform: sdb_open,
// sdb_read, sdb_mfetch, sdb_mfetch_done, sdb_close, fsrv_sdb_publisher_lib_init.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <thread>
#include <vector>

#include "host/host_platform.h"
#include "sdb_test_util.h"
#include "vlan_mgr_host_sdb.h"
#include "vlan_mgr_platform.h"

using sdb_test::in_child;
using sdb_test::key4;
using sdb_test::ShmDir;

namespace {

constexpr int32_t INVALID_ARG = 0x411a0001;
constexpr int32_t NOT_OPEN = 0x411a0002;
constexpr int32_t ALREADY_OPEN = 0x411a0003;
constexpr int32_t CORRUPT = 0x411a0006;
constexpr int32_t NO_RECORD = 0x411a0007;

// VDC 1, VLAN 100 and VLAN 101, and a BD record for each.
const uint8_t K100[4] = {0x01, 0x00, 0x00, 0x64};
const uint8_t K101[4] = {0x01, 0x00, 0x00, 0x65};
const uint8_t K102[4] = {0x01, 0x00, 0x00, 0x66};
const uint8_t R100[18] = {0x00, 0x2a, 0x00, 0x00, 0x00, 0x64, 0x00, 0x00, 0x00, 0x01,
                          0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x86, 0xa0};
const uint8_t R101[18] = {0x00, 0x2b, 0x00, 0x00, 0x00, 0x65, 0x00, 0x00, 0x00, 0x04,
                          0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};

class Sdb : public ::testing::Test {
protected:
    ShmDir dir;
    std::string uri = dir.uri("vlan_mgr_bd_sdb");
    sdb_pub_t *pub = nullptr;

    void publish(const uint8_t *key, const void *value, uint32_t len)
    {
        if (pub == nullptr) {
            ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
        }
        sdb_key_t k = key4(key);
        ASSERT_EQ(sdb_pub_put(pub, &k, value, len), 0);
        ASSERT_EQ(sdb_pub_commit(pub), 0);
    }
    void TearDown() override
    {
        sdb_close(uri.c_str());
        if (pub != nullptr)
            sdb_pub_close(pub);
    }
};

TEST_F(Sdb, OpenOfAnOpenDatabaseReturnsAlreadyOpenAndKeepsItOpen)
{
    publish(K100, R100, sizeof R100);
    EXPECT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    EXPECT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), ALREADY_OPEN);
    sdb_key_t k = key4(K100);
    int32_t err = -1;
    const sdb_rec_t *rec = sdb_read(uri.c_str(), &k, &err);
    ASSERT_NE(rec, nullptr);
    EXPECT_EQ(err, 0);
    ASSERT_EQ(rec->len, 18u);
    EXPECT_EQ(std::memcmp(rec->data, R100, 18), 0);
}

TEST_F(Sdb, TheHandleIsTheUriTextNotThePointer)
{
    publish(K100, R100, sizeof R100);
    char buf[100] = {};
    std::snprintf(buf, sizeof buf, "%s", uri.c_str());
    ASSERT_EQ(sdb_open(buf, 1, 0, 0, 0), 0);
    const std::string copy = uri;
    sdb_key_t k = key4(K100);
    int32_t err = -1;
    const sdb_rec_t *rec = sdb_read(copy.c_str(), &k, &err);
    ASSERT_NE(rec, nullptr);
    EXPECT_EQ(err, 0);
    EXPECT_EQ(sdb_close(copy.c_str()), 0);
    EXPECT_EQ(sdb_close(buf), NOT_OPEN);
}

TEST_F(Sdb, OpenRejectsWhatIsNotAVolatileUri)
{
    EXPECT_EQ(sdb_open(nullptr, 1, 0, 0, 0), INVALID_ARG);
    EXPECT_EQ(sdb_open("", 1, 0, 0, 0), INVALID_ARG);
    EXPECT_EQ(sdb_open("volatile:", 1, 0, 0, 0), INVALID_ARG);
    EXPECT_EQ(sdb_open("/dev/shm/vlan_mgr_bd_sdb", 1, 0, 0, 0), INVALID_ARG);
    EXPECT_EQ(sdb_open("persistent:/dev/shm/vlan_mgr_bd_sdb", 1, 0, 0, 0), INVALID_ARG);
    const std::string long_uri = "volatile:/" + std::string(300, 'a');
    EXPECT_EQ(sdb_open(long_uri.c_str(), 1, 0, 0, 0), INVALID_ARG);
}

TEST_F(Sdb, ADatabaseNotMadeYetOpensAndHasNoRecordsUntilItsPublisherMakesIt)
{
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    sdb_key_t k = key4(K100);
    int32_t err = -1;
    EXPECT_EQ(sdb_read(uri.c_str(), &k, &err), nullptr);
    EXPECT_EQ(err, NO_RECORD);
    sdb_rec_t recs[2] = {{K100, 1}, {K100, 1}};
    sdb_key_t keys[2] = {key4(K100), key4(K101)};
    EXPECT_EQ(sdb_mfetch(uri.c_str(), keys, 2, recs, &err), 0);
    EXPECT_EQ(err, 0);
    EXPECT_EQ(recs[0].data, nullptr);
    EXPECT_EQ(recs[1].data, nullptr);

    publish(K100, R100, sizeof R100);
    const sdb_rec_t *rec = sdb_read(uri.c_str(), &k, &err);
    ASSERT_NE(rec, nullptr);
    EXPECT_EQ(err, 0);
    EXPECT_EQ(std::memcmp(rec->data, R100, 18), 0);
}

TEST_F(Sdb, ADatabaseInAVdcDirectoryNotMadeYetOpens)
{
    const std::string vdc_uri = dir.uri("2/vlan_mgr_bd_sdb");
    EXPECT_EQ(sdb_open(vdc_uri.c_str(), 1, 0, 0, 0), 0);
    sdb_key_t k = key4(K100);
    int32_t err = -1;
    EXPECT_EQ(sdb_read(vdc_uri.c_str(), &k, &err), nullptr);
    EXPECT_EQ(err, NO_RECORD);
    EXPECT_EQ(sdb_close(vdc_uri.c_str()), 0);
}

TEST_F(Sdb, AMissingRecordIsNoSuchRecord)
{
    publish(K100, R100, sizeof R100);
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    sdb_key_t k = key4(K101);
    int32_t err = -1;
    EXPECT_EQ(sdb_read(uri.c_str(), &k, &err), nullptr);
    EXPECT_EQ(err, NO_RECORD);
    EXPECT_STREQ(syserr2str(err), "shared database: no such record");
}

TEST_F(Sdb, TheRecordStaysAsReadUntilTheNextCallOnTheHandle)
{
    publish(K100, R100, sizeof R100);
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    sdb_key_t k = key4(K100);
    int32_t err = -1;
    const sdb_rec_t *rec = sdb_read(uri.c_str(), &k, &err);
    ASSERT_NE(rec, nullptr);
    // The publisher replaces the record and then deletes it: what was read stays.
    publish(K100, R101, sizeof R101);
    sdb_key_t kd = key4(K100);
    ASSERT_EQ(sdb_pub_del(pub, &kd), 0);
    ASSERT_EQ(sdb_pub_commit(pub), 0);
    ASSERT_EQ(rec->len, 18u);
    EXPECT_EQ(std::memcmp(rec->data, R100, 18), 0);
    EXPECT_EQ(sdb_read(uri.c_str(), &k, &err), nullptr);
    EXPECT_EQ(err, NO_RECORD);
}

TEST_F(Sdb, AnEmptyRecordIsFoundWithLengthZero)
{
    publish(K100, nullptr, 0);
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    sdb_key_t k = key4(K100);
    int32_t err = -1;
    const sdb_rec_t *rec = sdb_read(uri.c_str(), &k, &err);
    ASSERT_NE(rec, nullptr);
    EXPECT_EQ(err, 0);
    EXPECT_NE(rec->data, nullptr);
    EXPECT_EQ(rec->len, 0u);
}

TEST_F(Sdb, AReaderOpenedOnASmallFileReadsWhatThePublisherWritesLater)
{
    // A reader in another process maps the whole map size recorded in the
    // file, not just the pages written when it opened.
    publish(K100, R100, sizeof R100);
    int opened[2], written[2];
    ASSERT_EQ(pipe(opened), 0);
    ASSERT_EQ(pipe(written), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        sdb_key_t k = key4(K100);
        int32_t e = -1;
        if (sdb_open(uri.c_str(), 1, 0, 0, 0) != 0 || sdb_read(uri.c_str(), &k, &e) == nullptr)
            host_test::child_exit(1);
        char c = 'O';
        if (write(opened[1], &c, 1) != 1 || read(written[0], &c, 1) != 1)
            host_test::child_exit(2);
        const uint8_t last[4] = {0x03, 0x00, 0x00, 7};
        sdb_key_t kl = key4(last);
        const sdb_rec_t *rec = sdb_read(uri.c_str(), &kl, &e);
        if (rec == nullptr || e != 0 || rec->len != (1u << 20))
            host_test::child_exit(3);
        host_test::child_exit(static_cast<const uint8_t *>(rec->data)[rec->len - 1] == 0x77 ? 0 : 4);
    }
    char c = 0;
    ASSERT_EQ(read(opened[0], &c, 1), 1);
    std::vector<uint8_t> big(1u << 20, 0x77);
    for (uint8_t i = 0; i < 8; ++i) {
        const uint8_t kb[4] = {0x03, 0x00, 0x00, i};
        publish(kb, big.data(), static_cast<uint32_t>(big.size()));
    }
    ASSERT_EQ(write(written[1], "W", 1), 1);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    for (int fd : {opened[0], opened[1], written[0], written[1]})
        close(fd);
}

TEST_F(Sdb, ReadOfADatabaseNotOpenIsNotOpen)
{
    publish(K100, R100, sizeof R100);
    sdb_key_t k = key4(K100);
    int32_t err = -1;
    EXPECT_EQ(sdb_read(uri.c_str(), &k, &err), nullptr);
    EXPECT_EQ(err, NOT_OPEN);
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    ASSERT_NE(sdb_read(uri.c_str(), &k, &err), nullptr);
    ASSERT_EQ(sdb_close(uri.c_str()), 0);
    EXPECT_EQ(sdb_read(uri.c_str(), &k, &err), nullptr);
    EXPECT_EQ(err, NOT_OPEN);
    // Open again after a close.
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    EXPECT_NE(sdb_read(uri.c_str(), &k, &err), nullptr);
    EXPECT_EQ(err, 0);
}

TEST_F(Sdb, ReadRejectsInvalidKeys)
{
    publish(K100, R100, sizeof R100);
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    int32_t err = -1;
    EXPECT_EQ(sdb_read(uri.c_str(), nullptr, &err), nullptr);
    EXPECT_EQ(err, INVALID_ARG);
    sdb_key_t no_data{nullptr, 4};
    err = -1;
    EXPECT_EQ(sdb_read(uri.c_str(), &no_data, &err), nullptr);
    EXPECT_EQ(err, INVALID_ARG);
    sdb_key_t empty{K100, 0};
    err = -1;
    EXPECT_EQ(sdb_read(uri.c_str(), &empty, &err), nullptr);
    EXPECT_EQ(err, INVALID_ARG);
    static const uint8_t big[512] = {};
    sdb_key_t too_long{big, 512};
    err = -1;
    EXPECT_EQ(sdb_read(uri.c_str(), &too_long, &err), nullptr);
    EXPECT_EQ(err, INVALID_ARG);
    sdb_key_t longest{big, 511};
    err = -1;
    EXPECT_EQ(sdb_read(uri.c_str(), &longest, &err), nullptr);
    EXPECT_EQ(err, NO_RECORD);
    sdb_key_t k = key4(K100);
    err = -1;
    EXPECT_EQ(sdb_read(nullptr, &k, &err), nullptr);
    EXPECT_EQ(err, INVALID_ARG);
    EXPECT_EQ(sdb_read(uri.c_str(), &k, nullptr), nullptr);
}

TEST_F(Sdb, CloseOfADatabaseNotOpenIsNotOpen)
{
    EXPECT_EQ(sdb_close(uri.c_str()), NOT_OPEN);
    EXPECT_EQ(sdb_close(nullptr), INVALID_ARG);
    EXPECT_EQ(sdb_close("nothing"), INVALID_ARG);
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    EXPECT_EQ(sdb_close(uri.c_str()), 0);
    EXPECT_EQ(sdb_close(uri.c_str()), NOT_OPEN);
}

TEST_F(Sdb, AFileThatIsNotADatabaseIsCorrupt)
{
    ASSERT_EQ(mkdir(dir.root().c_str(), 0755), 0);
    const std::string path = dir.file("not_a_db");
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT, 0644);
    ASSERT_GE(fd, 0);
    std::string junk(8192, 'x');
    ASSERT_EQ(write(fd, junk.data(), junk.size()), static_cast<ssize_t>(junk.size()));
    close(fd);
    const std::string junk_uri = dir.uri("not_a_db");
    EXPECT_EQ(sdb_open(junk_uri.c_str(), 1, 0, 0, 0), CORRUPT);
    EXPECT_EQ(sdb_close(junk_uri.c_str()), NOT_OPEN);

    const std::string empty = dir.file("empty");
    close(open(empty.c_str(), O_WRONLY | O_CREAT, 0644));
    const std::string empty_uri = dir.uri("empty");
    EXPECT_EQ(sdb_open(empty_uri.c_str(), 1, 0, 0, 0), CORRUPT);
}

TEST_F(Sdb, MfetchFindsEveryKeyInOneSnapshotAndMarksMissingOnes)
{
    publish(K100, R100, sizeof R100);
    publish(K101, R101, sizeof R101);
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    sdb_key_t keys[3] = {key4(K100), key4(K102), key4(K101)};
    sdb_rec_t recs[3];
    int32_t err = -1;
    ASSERT_EQ(sdb_mfetch(uri.c_str(), keys, 3, recs, &err), 0);
    EXPECT_EQ(err, 0);
    ASSERT_NE(recs[0].data, nullptr);
    ASSERT_EQ(recs[0].len, 18u);
    EXPECT_EQ(std::memcmp(recs[0].data, R100, 18), 0);
    EXPECT_EQ(recs[1].data, nullptr);
    EXPECT_EQ(recs[1].len, 0u);
    ASSERT_NE(recs[2].data, nullptr);
    ASSERT_EQ(recs[2].len, 18u);
    EXPECT_EQ(std::memcmp(recs[2].data, R101, 18), 0);

    // A read in between and a new commit leave the fetched values as they were.
    sdb_key_t k = key4(K100);
    ASSERT_NE(sdb_read(uri.c_str(), &k, &err), nullptr);
    publish(K100, R101, sizeof R101);
    EXPECT_EQ(std::memcmp(recs[0].data, R100, 18), 0);
    EXPECT_EQ(std::memcmp(recs[2].data, R101, 18), 0);

    EXPECT_EQ(sdb_mfetch_done(uri.c_str(), recs, 3), 0);
    EXPECT_EQ(recs[0].data, nullptr);
    EXPECT_EQ(recs[2].data, nullptr);
}

TEST_F(Sdb, MfetchOfAHundredBdKeys)
{
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    uint8_t key_bytes[100][4];
    uint8_t values[100][18] = {};
    for (int v = 1; v <= 100; ++v) {
        const uint8_t kb[4] = {0x02, 0x00, 0x00, static_cast<uint8_t>(v)};
        std::memcpy(key_bytes[v - 1], kb, 4);
        values[v - 1][1] = static_cast<uint8_t>(v + 1); // BD v + 1
        if (v % 2 == 0) {
            sdb_key_t k = key4(key_bytes[v - 1]);
            ASSERT_EQ(sdb_pub_put(pub, &k, values[v - 1], 18), 0);
        }
    }
    ASSERT_EQ(sdb_pub_pending(pub), 50u);
    ASSERT_EQ(sdb_pub_commit(pub), 0);
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    sdb_key_t keys[100];
    for (int i = 0; i < 100; ++i)
        keys[i] = key4(key_bytes[i]);
    sdb_rec_t recs[100];
    int32_t err = -1;
    ASSERT_EQ(sdb_mfetch(uri.c_str(), keys, 100, recs, &err), 0);
    for (int i = 0; i < 100; ++i) {
        const int vlan = i + 1;
        if (vlan % 2 == 0) {
            ASSERT_NE(recs[i].data, nullptr) << vlan;
            EXPECT_EQ(static_cast<const uint8_t *>(recs[i].data)[1], vlan + 1);
        } else {
            EXPECT_EQ(recs[i].data, nullptr) << vlan;
        }
    }
    EXPECT_EQ(sdb_mfetch_done(uri.c_str(), recs, 100), 0);
}

TEST_F(Sdb, MfetchRejectsInvalidArgumentsAndReportsTheWordBothWays)
{
    publish(K100, R100, sizeof R100);
    sdb_key_t keys[2] = {key4(K100), {K100, 0}};
    sdb_rec_t recs[2] = {{K100, 4}, {K100, 4}};
    int32_t err = -1;
    EXPECT_EQ(sdb_mfetch(uri.c_str(), keys, 1, recs, &err), NOT_OPEN);
    EXPECT_EQ(err, NOT_OPEN);
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    err = -1;
    EXPECT_EQ(sdb_mfetch(uri.c_str(), keys, 2, recs, &err), INVALID_ARG);
    EXPECT_EQ(err, INVALID_ARG);
    EXPECT_EQ(recs[0].data, nullptr);
    EXPECT_EQ(recs[1].data, nullptr);
    EXPECT_EQ(sdb_mfetch(nullptr, keys, 1, recs, &err), INVALID_ARG);
    EXPECT_EQ(sdb_mfetch(uri.c_str(), nullptr, 1, recs, &err), INVALID_ARG);
    EXPECT_EQ(sdb_mfetch(uri.c_str(), keys, 1, nullptr, &err), INVALID_ARG);
    // No error pointer: the word is still returned; zero keys fetch nothing.
    EXPECT_EQ(sdb_mfetch(uri.c_str(), keys, 1, recs, nullptr), 0);
    EXPECT_NE(recs[0].data, nullptr);
    err = -1;
    EXPECT_EQ(sdb_mfetch(uri.c_str(), nullptr, 0, nullptr, &err), 0);
    EXPECT_EQ(err, 0);
}

TEST_F(Sdb, MfetchDoneChecksItsHandle)
{
    sdb_rec_t recs[1] = {{K100, 4}};
    EXPECT_EQ(sdb_mfetch_done(uri.c_str(), recs, 1), NOT_OPEN);
    EXPECT_EQ(sdb_mfetch_done(nullptr, recs, 1), INVALID_ARG);
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    EXPECT_EQ(sdb_mfetch_done(uri.c_str(), nullptr, 1), INVALID_ARG);
    EXPECT_EQ(sdb_mfetch_done(uri.c_str(), nullptr, 0), 0);
    EXPECT_EQ(sdb_mfetch_done(uri.c_str(), recs, 1), 0);
    EXPECT_EQ(recs[0].data, nullptr);
}

TEST_F(Sdb, ThreadsReadOneHandleWhileThePublisherCommits)
{
    publish(K100, R100, sizeof R100);
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    std::atomic<bool> stop{false};
    std::atomic<int> bad{0};
    std::atomic<long> reads{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            sdb_key_t k = key4(K100);
            while (!stop.load()) {
                int32_t err = -1;
                const sdb_rec_t *rec = sdb_read(uri.c_str(), &k, &err);
                if (rec == nullptr || err != 0 || rec->len != 18 ||
                    (std::memcmp(rec->data, R100, 18) != 0 && std::memcmp(rec->data, R101, 18) != 0))
                    ++bad;
                ++reads;
            }
        });
    for (int i = 0; i < 2000; ++i)
        publish(K100, i % 2 ? R100 : R101, 18);
    stop = true;
    for (std::thread &t : threads)
        t.join();
    EXPECT_EQ(bad.load(), 0);
    EXPECT_GT(reads.load(), 0);
}

TEST_F(Sdb, ThreadsThatEndGiveTheirReaderSlotsBack)
{
    // More threads one after the other than the lock file has reader slots.
    publish(K100, R100, sizeof R100);
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    int failed = 0;
    for (int i = 0; i < 1200; ++i) {
        std::thread([&] {
            sdb_key_t k = key4(K100);
            int32_t err = -1;
            if (sdb_read(uri.c_str(), &k, &err) == nullptr || err != 0)
                ++failed;
        }).join();
    }
    EXPECT_EQ(failed, 0);
}

TEST_F(Sdb, AForkedChildReadsThroughTheHandleItsParentOpened)
{
    publish(K100, R100, sizeof R100);
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    sdb_key_t k = key4(K100);
    int32_t err = -1;
    ASSERT_NE(sdb_read(uri.c_str(), &k, &err), nullptr);
    const int status = in_child([&] {
        int32_t e = -1;
        const sdb_rec_t *rec = sdb_read(uri.c_str(), &k, &e);
        if (rec == nullptr || e != 0 || rec->len != 18 || std::memcmp(rec->data, R100, 18) != 0)
            return 1;
        if (sdb_open(uri.c_str(), 1, 0, 0, 0) != ALREADY_OPEN)
            return 2;
        return sdb_close(uri.c_str()) == 0 ? 0 : 3;
    });
    EXPECT_EQ(status, 0);
    // The parent's own reads go on.
    const sdb_rec_t *rec = sdb_read(uri.c_str(), &k, &err);
    ASSERT_NE(rec, nullptr);
    EXPECT_EQ(std::memcmp(rec->data, R100, 18), 0);
}

TEST(SdbPublisherLibInit, TakesTheLibrarysParameterBlock)
{
    struct Descriptor {
        const char *name;
        uint32_t words[7];
    } descriptor{"vlan_mgr_bd_sdb", {0, 23614, 0, 2, 0, 0, 0}};
    struct Params {
        uint32_t words[4];
        const Descriptor *list;
    } params{{1, 0, 0, 0}, &descriptor};
    EXPECT_EQ(fsrv_sdb_publisher_lib_init(&params), 0);
    EXPECT_EQ(fsrv_sdb_publisher_lib_init(&params), 0);
    EXPECT_EQ(fsrv_sdb_publisher_lib_init(nullptr), INVALID_ARG);
}

TEST(SdbErrorWords, PublisherWordsHaveTheirTexts)
{
    EXPECT_STREQ(syserr2str(0x411a0008), "shared database: the database file belongs to another user");
    EXPECT_STREQ(syserr2str(0x411a0009), "shared database: another process publishes this database");
}

} // namespace
