// The shared database's publisher on the host platform: batches, who may
// publish, and readers in other processes while batches are committed or
// while the publisher dies in the middle of one.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/host_platform.h"
#include "host/sdb_internal.h"
#include "host_test_util.h"
#include "sdb_test_util.h"
#include "vlan_mgr_host_sdb.h"
#include "vlan_mgr_platform.h"

using host_test::ScopedEnv;
using sdb_test::fnv1a;
using sdb_test::in_child;
using sdb_test::key4;
using sdb_test::ShmDir;

namespace {

constexpr int32_t INVALID_ARG = 0x411a0001;
constexpr int32_t NOT_OPEN = 0x411a0002;
constexpr int32_t ALREADY_OPEN = 0x411a0003;
constexpr int32_t NO_RECORD = 0x411a0007;
constexpr int32_t NOT_OWNER = 0x411a0008;
constexpr int32_t PUBLISHED_ELSEWHERE = 0x411a0009;
constexpr int32_t FULL = 0x411a000B;

const uint8_t K1[4] = {0x01, 0x00, 0x00, 0x01};
const uint8_t K2[4] = {0x01, 0x00, 0x00, 0x02};
const uint8_t K3[4] = {0x01, 0x00, 0x00, 0x03};
const uint8_t V1[3] = {0xaa, 0xbb, 0xcc};
const uint8_t V2[2] = {0x12, 0x34};

// The record of `key` as a process that has the database open reads it: its
// bytes, or "" when missing, or "error 0x..." on another failure.
std::string read_rec(const std::string &uri, const uint8_t *key)
{
    sdb_key_t k = key4(key);
    int32_t err = -1;
    const sdb_rec_t *rec = sdb_read(uri.c_str(), &k, &err);
    if (rec == nullptr)
        return err == NO_RECORD ? "" : "error " + std::to_string(err);
    return std::string(static_cast<const char *>(rec->data), rec->len);
}

std::string bytes(const uint8_t *p, size_t n) { return std::string(reinterpret_cast<const char *>(p), n); }

// In a child: opens the database, reads `key` and compares it with `expected`.
int child_reads(const std::string &uri, const uint8_t *key, const std::string &expected)
{
    const int32_t rc = sdb_open(uri.c_str(), 1, 0, 0, 0);
    if (rc != 0 && rc != ALREADY_OPEN)
        return 10;
    return read_rec(uri, key) == expected ? 0 : 11;
}

class SdbPub : public ::testing::Test {
protected:
    ShmDir dir;
    std::string path = dir.file("vlan_mgr_bd_sdb");
    std::string uri = dir.uri("vlan_mgr_bd_sdb");
    sdb_pub_t *pub = nullptr;

    void put(const uint8_t *key, const void *value, uint32_t len)
    {
        sdb_key_t k = key4(key);
        ASSERT_EQ(sdb_pub_put(pub, &k, value, len), 0);
    }
    void TearDown() override
    {
        sdb_close(uri.c_str());
        if (pub != nullptr)
            sdb_pub_close(pub);
    }
};

TEST_F(SdbPub, ACommittedBatchIsSeenByAnotherProcessAndAnUncommittedOneIsNot)
{
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    put(K1, V1, sizeof V1);
    put(K2, V2, sizeof V2);
    EXPECT_EQ(sdb_pub_pending(pub), 2u);
    EXPECT_EQ(in_child([&] { return child_reads(uri, K1, ""); }), 0);
    ASSERT_EQ(sdb_pub_commit(pub), 0);
    EXPECT_EQ(sdb_pub_pending(pub), 0u);
    EXPECT_EQ(in_child([&] { return child_reads(uri, K1, bytes(V1, 3)); }), 0);
    EXPECT_EQ(in_child([&] { return child_reads(uri, K2, bytes(V2, 2)); }), 0);
}

TEST_F(SdbPub, DeletesAndReplacementsApplyInTheOrderOfTheBatch)
{
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    put(K1, V1, sizeof V1);
    put(K2, V2, sizeof V2);
    put(K3, V1, sizeof V1);
    ASSERT_EQ(sdb_pub_commit(pub), 0);
    sdb_key_t k1 = key4(K1), k3 = key4(K3);
    ASSERT_EQ(sdb_pub_del(pub, &k1), 0);
    put(K2, V1, sizeof V1);
    put(K3, V2, sizeof V2);
    ASSERT_EQ(sdb_pub_del(pub, &k3), 0);
    const uint8_t never[4] = {0x01, 0x00, 0x0f, 0xff};
    sdb_key_t kn = key4(never);
    ASSERT_EQ(sdb_pub_del(pub, &kn), 0); // no such record: not an error
    ASSERT_EQ(sdb_pub_commit(pub), 0);
    EXPECT_EQ(read_rec(uri, K1), "");
    EXPECT_EQ(read_rec(uri, K2), bytes(V1, 3));
    EXPECT_EQ(read_rec(uri, K3), "");
}

TEST_F(SdbPub, DeleteAllClearsTheFileInTheSameBatchAsTheNewRecords)
{
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    put(K1, V1, sizeof V1);
    put(K2, V1, sizeof V1);
    ASSERT_EQ(sdb_pub_commit(pub), 0);
    ASSERT_EQ(sdb_pub_del_all(pub), 0);
    put(K3, V2, sizeof V2);
    ASSERT_EQ(sdb_pub_commit(pub), 0);
    EXPECT_EQ(read_rec(uri, K1), "");
    EXPECT_EQ(read_rec(uri, K2), "");
    EXPECT_EQ(read_rec(uri, K3), bytes(V2, 2));
}

TEST_F(SdbPub, DiscardDropsTheBatchAndAnEmptyCommitChangesNothing)
{
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    put(K1, V1, sizeof V1);
    ASSERT_EQ(sdb_pub_commit(pub), 0);
    put(K1, V2, sizeof V2);
    put(K2, V2, sizeof V2);
    ASSERT_EQ(sdb_pub_discard(pub), 0);
    EXPECT_EQ(sdb_pub_pending(pub), 0u);
    EXPECT_EQ(sdb_pub_commit(pub), 0);
    EXPECT_EQ(read_rec(uri, K1), bytes(V1, 3));
    EXPECT_EQ(read_rec(uri, K2), "");
}

TEST_F(SdbPub, AnExistingFileKeepsItsRecordsForTheNextPublisher)
{
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    put(K1, V1, sizeof V1);
    ASSERT_EQ(sdb_pub_commit(pub), 0);
    put(K2, V1, sizeof V1); // dropped by the close
    ASSERT_EQ(sdb_pub_close(pub), 0);
    pub = nullptr;
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    EXPECT_EQ(read_rec(uri, K1), bytes(V1, 3));
    EXPECT_EQ(read_rec(uri, K2), "");
}

TEST_F(SdbPub, OnePublisherPerDatabase)
{
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    sdb_pub_t *second = reinterpret_cast<sdb_pub_t *>(&second);
    EXPECT_EQ(sdb_pub_open(uri.c_str(), &second), ALREADY_OPEN);
    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(in_child([&] {
                  sdb_pub_t *p = nullptr;
                  // The handle inherited from the parent cannot publish here.
                  if (sdb_pub_put(pub, nullptr, nullptr, 0) != INVALID_ARG)
                      return 1;
                  sdb_key_t k = key4(K1);
                  if (sdb_pub_put(pub, &k, V1, 3) != NOT_OPEN || sdb_pub_commit(pub) != NOT_OPEN)
                      return 2;
                  return sdb_pub_open(uri.c_str(), &p) == PUBLISHED_ELSEWHERE && p == nullptr ? 0 : 3;
              }),
              0);
    ASSERT_EQ(sdb_pub_close(pub), 0);
    pub = nullptr;
    EXPECT_EQ(in_child([&] {
                  sdb_pub_t *p = nullptr;
                  if (sdb_pub_open(uri.c_str(), &p) != 0)
                      return 1;
                  sdb_key_t k = key4(K1);
                  if (sdb_pub_put(p, &k, V2, 2) != 0 || sdb_pub_commit(p) != 0)
                      return 2;
                  return sdb_pub_close(p);
              }),
              0);
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    EXPECT_EQ(read_rec(uri, K1), bytes(V2, 2));
}

TEST_F(SdbPub, InvalidArguments)
{
    EXPECT_EQ(sdb_pub_open(uri.c_str(), nullptr), INVALID_ARG);
    sdb_pub_t *p = reinterpret_cast<sdb_pub_t *>(&p);
    EXPECT_EQ(sdb_pub_open(nullptr, &p), INVALID_ARG);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(sdb_pub_open("volatile:", &p), INVALID_ARG);
    EXPECT_EQ(sdb_pub_open(path.c_str(), &p), INVALID_ARG);
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    sdb_key_t k = key4(K1);
    EXPECT_EQ(sdb_pub_put(nullptr, &k, V1, 3), INVALID_ARG);
    EXPECT_EQ(sdb_pub_put(pub, nullptr, V1, 3), INVALID_ARG);
    EXPECT_EQ(sdb_pub_put(pub, &k, nullptr, 3), INVALID_ARG);
    sdb_key_t empty{K1, 0}, no_data{nullptr, 4};
    static const uint8_t big[512] = {};
    sdb_key_t too_long{big, 512}, longest{big, 511};
    EXPECT_EQ(sdb_pub_put(pub, &empty, V1, 3), INVALID_ARG);
    EXPECT_EQ(sdb_pub_put(pub, &no_data, V1, 3), INVALID_ARG);
    EXPECT_EQ(sdb_pub_put(pub, &too_long, V1, 3), INVALID_ARG);
    EXPECT_EQ(sdb_pub_del(pub, &too_long), INVALID_ARG);
    EXPECT_EQ(sdb_pub_del(pub, nullptr), INVALID_ARG);
    EXPECT_EQ(sdb_pub_pending(pub), 0u);
    EXPECT_EQ(sdb_pub_put(pub, &longest, V1, 3), 0);
    EXPECT_EQ(sdb_pub_put(pub, &k, nullptr, 0), 0);
    EXPECT_EQ(sdb_pub_commit(pub), 0);
    EXPECT_EQ(sdb_pub_del(nullptr, &k), INVALID_ARG);
    EXPECT_EQ(sdb_pub_del_all(nullptr), INVALID_ARG);
    EXPECT_EQ(sdb_pub_commit(nullptr), INVALID_ARG);
    EXPECT_EQ(sdb_pub_discard(nullptr), INVALID_ARG);
    EXPECT_EQ(sdb_pub_close(nullptr), INVALID_ARG);
    EXPECT_EQ(sdb_pub_pending(nullptr), 0u);
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    EXPECT_EQ(read_rec(uri, K1), "");
    sdb_key_t kl = longest;
    int32_t err = -1;
    const sdb_rec_t *rec = sdb_read(uri.c_str(), &kl, &err);
    ASSERT_NE(rec, nullptr);
    EXPECT_EQ(bytes(static_cast<const uint8_t *>(rec->data), rec->len), bytes(V1, 3));
}

TEST_F(SdbPub, ABatchThatDoesNotFitTheMapFailsAndChangesNothing)
{
    ScopedEnv map("VLAN_MGR_SDB_MAP_MB", "1");
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    put(K1, V1, sizeof V1);
    ASSERT_EQ(sdb_pub_commit(pub), 0);
    std::vector<uint8_t> huge(2u << 20, 0x5a);
    put(K1, V2, sizeof V2);
    put(K2, huge.data(), static_cast<uint32_t>(huge.size()));
    EXPECT_EQ(sdb_pub_commit(pub), FULL);
    EXPECT_EQ(sdb_pub_pending(pub), 0u);
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    EXPECT_EQ(read_rec(uri, K1), bytes(V1, 3));
    EXPECT_EQ(read_rec(uri, K2), "");
    // The publisher goes on with smaller batches.
    put(K2, V2, sizeof V2);
    EXPECT_EQ(sdb_pub_commit(pub), 0);
    EXPECT_EQ(read_rec(uri, K2), bytes(V2, 2));
}

TEST_F(SdbPub, AFileOfAnotherUserIsNotPublishedEvenByRoot)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to give the file away";
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    ASSERT_EQ(sdb_pub_close(pub), 0);
    pub = nullptr;
    ASSERT_EQ(chown(path.c_str(), 65534, 65534), 0);
    sdb_pub_t *p = nullptr;
    EXPECT_EQ(sdb_pub_open(uri.c_str(), &p), NOT_OWNER);
    EXPECT_EQ(p, nullptr);
}

// ---- Records that carry their own checksum -----------------------------------
// Layout: u64 batch, u32 key index, u32 payload length, payload, u64 FNV-1a of
// everything before it. Every batch writes every key.

constexpr uint32_t KEYS = 64;

void key_of(uint32_t i, uint8_t out[4])
{
    out[0] = 0x01;
    out[1] = 0x00;
    out[2] = static_cast<uint8_t>((i + 1) >> 8);
    out[3] = static_cast<uint8_t>(i + 1);
}

std::vector<uint8_t> make_record(uint64_t batch, uint32_t index)
{
    const uint32_t plen = 8 + static_cast<uint32_t>((batch * 7 + index * 13) % 500);
    std::vector<uint8_t> r(16 + plen + 8);
    std::memcpy(r.data(), &batch, 8);
    std::memcpy(r.data() + 8, &index, 4);
    std::memcpy(r.data() + 12, &plen, 4);
    for (uint32_t i = 0; i < plen; ++i)
        r[16 + i] = static_cast<uint8_t>(batch * 31 + index * 17 + i);
    const uint64_t sum = fnv1a(r.data(), 16 + plen);
    std::memcpy(r.data() + 16 + plen, &sum, 8);
    return r;
}

// The batch number of a whole record of key `index`, or 0 when it is torn.
uint64_t check_record(const void *data, uint32_t len, uint32_t index)
{
    if (data == nullptr || len < 24)
        return 0;
    const auto *p = static_cast<const uint8_t *>(data);
    uint64_t batch, sum;
    uint32_t idx, plen;
    std::memcpy(&batch, p, 8);
    std::memcpy(&idx, p + 8, 4);
    std::memcpy(&plen, p + 12, 4);
    if (idx != index || plen != len - 24)
        return 0;
    std::memcpy(&sum, p + 16 + plen, 8);
    return sum == fnv1a(p, 16 + plen) ? batch : 0;
}

int32_t publish_batch(sdb_pub_t *p, uint64_t batch)
{
    for (uint32_t i = 0; i < KEYS; ++i) {
        uint8_t kb[4];
        key_of(i, kb);
        sdb_key_t k = key4(kb);
        const std::vector<uint8_t> r = make_record(batch, i);
        if (int32_t rc = sdb_pub_put(p, &k, r.data(), static_cast<uint32_t>(r.size())); rc != 0)
            return rc;
    }
    return sdb_pub_commit(p);
}

// What one reader process saw.
struct ReaderResult {
    uint64_t reads;     // records read and checked
    uint64_t torn;      // a record whose checksum or layout is wrong
    uint64_t failed;    // a read or fetch that failed
    uint64_t mixed;     // one fetch that saw records of different batches
    uint64_t backwards; // a key read older than before
    uint64_t first_batch, last_batch;
};

// Fetches all keys in one call: every record whole and all of one batch.
// Returns that batch, or 0 after counting the fault in `res`.
uint64_t fetch_all(const std::string &uri, ReaderResult &res)
{
    uint8_t kb[KEYS][4];
    sdb_key_t keys[KEYS];
    for (uint32_t i = 0; i < KEYS; ++i) {
        key_of(i, kb[i]);
        keys[i] = key4(kb[i]);
    }
    sdb_rec_t recs[KEYS];
    int32_t err = -1;
    if (sdb_mfetch(uri.c_str(), keys, KEYS, recs, &err) != 0 || err != 0) {
        ++res.failed;
        return 0;
    }
    uint64_t batch = 0;
    bool torn = false, mixed = false;
    for (uint32_t i = 0; i < KEYS; ++i) {
        const uint64_t b = check_record(recs[i].data, recs[i].len, i);
        torn |= b == 0;
        if (batch == 0)
            batch = b;
        mixed |= b != 0 && b != batch;
    }
    sdb_mfetch_done(uri.c_str(), recs, KEYS);
    res.reads += KEYS;
    res.torn += torn;
    res.mixed += mixed;
    return torn || mixed ? 0 : batch;
}

double stress_seconds()
{
    const char *v = std::getenv("VLAN_MGR_SDB_STRESS_SECONDS");
    const double s = v != nullptr ? std::atof(v) : 0;
    return s > 0 ? s : 2.0;
}

double now()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

bool write_all(int fd, const void *p, size_t n) { return write(fd, p, n) == static_cast<ssize_t>(n); }
bool read_all(int fd, void *p, size_t n)
{
    auto *c = static_cast<char *>(p);
    while (n > 0) {
        const ssize_t r = read(fd, c, n);
        if (r <= 0)
            return false;
        c += r;
        n -= static_cast<size_t>(r);
    }
    return true;
}

// A reader process: waits until `go` is closed, then reads until `seconds`
// have passed, single records and whole fetches in turn, and writes its
// ReaderResult to `out`.
void reader_process(const std::string &uri, int go, int out, double seconds)
{
    char c;
    (void)!read(go, &c, 1); // returns at EOF: the parent closed its end
    ReaderResult res{};
    if (sdb_open(uri.c_str(), 1, 0, 0, 0) != 0)
        ++res.failed;
    uint64_t last[KEYS] = {};
    uint32_t seed = static_cast<uint32_t>(getpid());
    const double end = now() + seconds;
    for (uint64_t n = 0; now() < end; ++n) {
        if (n % 8 == 0) {
            const uint64_t b = fetch_all(uri, res);
            if (b != 0) {
                res.first_batch = res.first_batch == 0 ? b : res.first_batch;
                res.last_batch = b;
            }
            continue;
        }
        seed = seed * 1103515245u + 12345u;
        const uint32_t i = (seed >> 8) % KEYS;
        uint8_t kb[4];
        key_of(i, kb);
        sdb_key_t k = key4(kb);
        int32_t err = -1;
        const sdb_rec_t *rec = sdb_read(uri.c_str(), &k, &err);
        if (rec == nullptr || err != 0) {
            ++res.failed;
            continue;
        }
        ++res.reads;
        const uint64_t b = check_record(rec->data, rec->len, i);
        if (b == 0)
            ++res.torn;
        else if (b < last[i])
            ++res.backwards;
        else
            last[i] = b;
    }
    write_all(out, &res, sizeof res);
}

TEST_F(SdbPub, EightReaderProcessesNeverSeeATornRecordOrAHalfBatch)
{
    const double seconds = stress_seconds();
    int ready[2], stop[2], go[2], results[2];
    ASSERT_EQ(pipe(ready), 0);
    ASSERT_EQ(pipe(stop), 0);
    ASSERT_EQ(pipe(go), 0);
    ASSERT_EQ(pipe(results), 0);

    // The publisher: one batch after the other until `stop` is closed, then
    // the number of batches committed on `ready`.
    const pid_t publisher = fork();
    ASSERT_GE(publisher, 0);
    if (publisher == 0) {
        close(stop[1]);
        close(go[1]);
        sdb_pub_t *p = nullptr;
        uint64_t batch = 0;
        if (sdb_pub_open(uri.c_str(), &p) == 0 && publish_batch(p, ++batch) == 0) {
            write_all(ready[1], "R", 1);
            pollfd pfd{stop[0], POLLIN, 0};
            while (poll(&pfd, 1, 0) == 0)
                if (publish_batch(p, ++batch) != 0)
                    break;
        }
        write_all(ready[1], &batch, sizeof batch);
        host_test::child_exit(0);
    }
    close(stop[0]);
    char r = 0;
    ASSERT_TRUE(read_all(ready[0], &r, 1));
    ASSERT_EQ(r, 'R');

    std::vector<pid_t> readers;
    for (int i = 0; i < 8; ++i) {
        const pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            close(go[1]);
            reader_process(uri, go[0], results[1], seconds);
            host_test::child_exit(0);
        }
        readers.push_back(pid);
    }
    close(go[1]); // all readers start now
    ReaderResult total{};
    uint64_t min_span = UINT64_MAX;
    for (size_t i = 0; i < readers.size(); ++i) {
        ReaderResult res{};
        ASSERT_TRUE(read_all(results[0], &res, sizeof res));
        total.reads += res.reads;
        total.torn += res.torn;
        total.failed += res.failed;
        total.mixed += res.mixed;
        total.backwards += res.backwards;
        min_span = std::min(min_span, res.last_batch - res.first_batch);
    }
    close(stop[1]);
    uint64_t batches = 0;
    EXPECT_TRUE(read_all(ready[0], &batches, sizeof batches));
    for (pid_t pid : readers)
        waitpid(pid, nullptr, 0);
    waitpid(publisher, nullptr, 0);

    EXPECT_EQ(total.torn, 0u);
    EXPECT_EQ(total.failed, 0u);
    EXPECT_EQ(total.mixed, 0u);
    EXPECT_EQ(total.backwards, 0u);
    EXPECT_GT(total.reads, 0u);
    // Every reader saw batches change while it read.
    EXPECT_GT(min_span, 0u);
    EXPECT_GT(batches, 2u);
    std::printf("%.1f s: %llu batches of %u records committed, %llu records read by 8 processes\n", seconds,
                static_cast<unsigned long long>(batches), KEYS, static_cast<unsigned long long>(total.reads));
}

// The child's hook: tells the parent that the batch is half applied inside
// the write transaction, then waits to be killed.
int hook_report_fd = -1;
int hook_wait_fd = -1;
void stop_half_way(uint32_t applied, uint32_t total)
{
    if (applied != total / 2)
        return;
    write_all(hook_report_fd, "H", 1);
    char c;
    (void)!read(hook_wait_fd, &c, 1); // never answered
    host_test::child_exit(9);
}

TEST_F(SdbPub, APublisherKilledInTheMiddleOfABatchLeavesTheLastCommittedState)
{
    int report[2], hold[2], go[2], seen[2], stop[2];
    ASSERT_EQ(pipe(report), 0);
    ASSERT_EQ(pipe(hold), 0);
    ASSERT_EQ(pipe(go), 0);
    ASSERT_EQ(pipe(seen), 0);
    ASSERT_EQ(pipe(stop), 0);

    const pid_t publisher = fork();
    ASSERT_GE(publisher, 0);
    if (publisher == 0) {
        sdb_pub_t *p = nullptr;
        if (sdb_pub_open(uri.c_str(), &p) != 0 || publish_batch(p, 1) != 0)
            host_test::child_exit(1);
        write_all(report[1], "C", 1);
        hook_report_fd = report[1];
        hook_wait_fd = hold[0];
        vlan_mgr_host::sdb_apply_hook = stop_half_way;
        publish_batch(p, 2);
        host_test::child_exit(2);
    }
    char c = 0;
    ASSERT_TRUE(read_all(report[0], &c, 1));
    ASSERT_EQ(c, 'C');

    // A reader that reads all the time: every fetch is all batch 1 or all
    // batch 3, never batch 2. It says when it first sees batch 3.
    const pid_t reader = fork();
    ASSERT_GE(reader, 0);
    if (reader == 0) {
        close(go[1]);
        close(stop[1]);
        ReaderResult res{};
        if (sdb_open(uri.c_str(), 1, 0, 0, 0) != 0)
            host_test::child_exit(1);
        write_all(seen[1], "1", 1);
        bool told = false;
        pollfd pfd{stop[0], POLLIN, 0};
        uint64_t wrong = 0;
        while (poll(&pfd, 1, 0) == 0) {
            const uint64_t b = fetch_all(uri, res);
            wrong += b != 1 && b != 3;
            if (b == 3 && !told) {
                write_all(seen[1], "3", 1);
                told = true;
            }
        }
        host_test::child_exit(res.torn == 0 && res.failed == 0 && res.mixed == 0 && wrong == 0 && res.reads > 0 ? 0 : 3);
    }
    ASSERT_TRUE(read_all(seen[0], &c, 1));
    ASSERT_EQ(c, '1');

    // The publisher is now inside its write transaction, half the batch applied.
    ASSERT_TRUE(read_all(report[0], &c, 1));
    ASSERT_EQ(c, 'H');
    ASSERT_EQ(kill(publisher, SIGKILL), 0);
    int status = 0;
    ASSERT_EQ(waitpid(publisher, &status, 0), publisher);
    ASSERT_TRUE(WIFSIGNALED(status));

    // Readers find batch 1 whole.
    ASSERT_EQ(sdb_open(uri.c_str(), 1, 0, 0, 0), 0);
    ReaderResult mine{};
    EXPECT_EQ(fetch_all(uri, mine), 1u);
    EXPECT_EQ(mine.torn + mine.failed + mine.mixed, 0u);

    // A new publisher takes over (the dead one's write lock is recovered).
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    ASSERT_EQ(publish_batch(pub, 3), 0);
    EXPECT_EQ(fetch_all(uri, mine), 3u);
    ASSERT_TRUE(read_all(seen[0], &c, 1));
    EXPECT_EQ(c, '3');
    close(stop[1]);
    ASSERT_EQ(waitpid(reader, &status, 0), reader);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

} // namespace
