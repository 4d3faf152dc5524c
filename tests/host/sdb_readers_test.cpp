// Readers inside the trust boundary that hold a snapshot: a reader killed in
// the middle of its read transaction is cleared and the file does not grow;
// a live reader that holds a snapshot until the map is full is named (its pid)
// in the word's text; the default map holds a VDC's worst case.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

#include <lmdb.h>
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
using sdb_test::ShmDir;

namespace {

constexpr int32_t FULL = 0x411a000B;

// A VLAN record key of VDC 1: 01, u24 VLAN id.
std::vector<uint8_t> vlan_key(uint32_t vlan)
{
    return {0x01, static_cast<uint8_t>(vlan >> 16), static_cast<uint8_t>(vlan >> 8), static_cast<uint8_t>(vlan)};
}

// One bulk create (every VLAN 1..4094, an 18-byte record each) or delete, as
// one batch, as the manager publishes `vlan create 1-4094` and its undo.
int32_t bulk(sdb_pub_t *pub, bool create)
{
    const uint8_t rec[18] = {0x00, 0x2a, 0x00, 0x00, 0x00, 0x64};
    for (uint32_t v = 1; v <= 4094; ++v) {
        const std::vector<uint8_t> k = vlan_key(v);
        const sdb_key_t d{k.data(), 4};
        const int32_t rc = create ? sdb_pub_put(pub, &d, rec, sizeof rec) : sdb_pub_del(pub, &d);
        if (rc != 0)
            return rc;
    }
    return sdb_pub_commit(pub);
}

off_t size_of(const std::string &path)
{
    struct stat st {};
    return stat(path.c_str(), &st) == 0 ? st.st_size : -1;
}

// A reader process of the group that uses LMDB itself: it opens the file,
// begins a read transaction, tells its snapshot's transaction id through a
// pipe and stays in the transaction until it is killed.
struct HoldingReader {
    pid_t pid = -1;
    unsigned long long txnid = 0;

    explicit HoldingReader(const std::string &path)
    {
        int p[2];
        if (pipe(p) != 0)
            return;
        pid = fork();
        if (pid == 0) {
            close(p[0]);
            MDB_env *env = nullptr;
            MDB_txn *txn = nullptr;
            if (mdb_env_create(&env) != 0 || mdb_env_set_maxreaders(env, 1024) != 0 ||
                mdb_env_open(env, path.c_str(), MDB_NOSUBDIR | MDB_RDONLY | MDB_NOTLS, 0) != 0 ||
                mdb_txn_begin(env, nullptr, MDB_RDONLY, &txn) != 0)
                host_test::child_exit(1);
            const unsigned long long id = mdb_txn_id(txn);
            (void)!write(p[1], &id, sizeof id);
            for (;;)
                pause();
        }
        close(p[1]);
        if (read(p[0], &txnid, sizeof txnid) != static_cast<ssize_t>(sizeof txnid))
            txnid = 0;
        close(p[0]);
    }
    void kill_now()
    {
        if (pid <= 0)
            return;
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        pid = -1;
    }
    ~HoldingReader() { kill_now(); }
};

class SdbReaders : public ::testing::Test {
protected:
    ShmDir dir;
    std::string uri = dir.uri("vlan_mgr_bd_sdb");
    std::string path = dir.file("vlan_mgr_bd_sdb");
    sdb_pub_t *pub = nullptr;

    void TearDown() override
    {
        if (pub != nullptr)
            sdb_pub_close(pub);
    }
};

TEST_F(SdbReaders, AReaderKilledInsideItsReadTransactionIsClearedAndTheFileDoesNotGrow)
{
    ScopedEnv map("VLAN_MGR_SDB_MAP_MB", "1");
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    ASSERT_EQ(bulk(pub, true), 0);
    ASSERT_EQ(bulk(pub, false), 0);
    {
        HoldingReader reader(path);
        ASSERT_GT(reader.txnid, 0u);
        reader.kill_now(); // SIGKILL inside the read transaction
    }
    // 1 MiB holds about three bulk creates that cannot reuse pages. The file
    // reaches its size in the first two cycles and keeps it.
    for (int cycle = 1; cycle <= 2; ++cycle) {
        ASSERT_EQ(bulk(pub, true), 0) << "create of cycle " << cycle;
        ASSERT_EQ(bulk(pub, false), 0) << "delete of cycle " << cycle;
    }
    const off_t after_two = size_of(path);
    for (int cycle = 3; cycle <= 200; ++cycle) {
        ASSERT_EQ(bulk(pub, true), 0) << "create of cycle " << cycle;
        ASSERT_EQ(bulk(pub, false), 0) << "delete of cycle " << cycle;
    }
    EXPECT_EQ(size_of(path), after_two);
}

TEST_F(SdbReaders, ALiveReaderHoldingASnapshotUntilTheMapIsFullIsNamedByItsPid)
{
    ScopedEnv map("VLAN_MGR_SDB_MAP_MB", "1");
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    ASSERT_EQ(bulk(pub, true), 0);
    HoldingReader reader(path);
    ASSERT_GT(reader.pid, 0);
    ASSERT_GT(reader.txnid, 0u);
    int32_t rc = 0;
    int cycles = 0;
    for (; cycles < 100 && rc == 0; ++cycles) {
        rc = bulk(pub, false);
        if (rc == 0)
            rc = bulk(pub, true);
    }
    ASSERT_EQ(rc, FULL);
    char expected[160];
    std::snprintf(expected, sizeof expected,
                  "shared database: database file full: reader pid %d holds a snapshot since transaction %llu",
                  static_cast<int>(reader.pid), reader.txnid);
    EXPECT_EQ(std::string(syserr2str(rc)), expected);
    // Once the holder is gone, the manager's next change succeeds.
    reader.kill_now();
    EXPECT_EQ(bulk(pub, false), 0);
    EXPECT_EQ(bulk(pub, true), 0);
}

TEST_F(SdbReaders, ABatchLargerThanTheMapIsReportedWithTheMapSize)
{
    ScopedEnv map("VLAN_MGR_SDB_MAP_MB", "1");
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    std::vector<uint8_t> huge(2u << 20, 0x5a);
    const uint8_t key[4] = {0x01, 0x00, 0x00, 0x01};
    const sdb_key_t k{key, 4};
    ASSERT_EQ(sdb_pub_put(pub, &k, huge.data(), static_cast<uint32_t>(huge.size())), 0);
    EXPECT_EQ(sdb_pub_commit(pub), FULL);
    EXPECT_STREQ(syserr2str(FULL), "shared database: database file full: the batch does not fit the map of 1 MiB");
    // Another word's text in between does not take the detail along.
    vlan_mgr_host::note_error_detail(0x411a000A, "/x");
    EXPECT_STREQ(syserr2str(FULL), "shared database: database file full");
}

// The worst case of one VDC's file: 4094 VLAN records and, for 1024 ports,
// 1024 access records (24 bytes per port of the VDC: 24 KiB each) and 1024
// trunk records (1050 bytes), republished whole (delete all, put all in one
// batch) again and again: LMDB then holds three copies (the batch being
// written, the last committed snapshot and the one before it).
TEST_F(SdbReaders, TheDefaultMapHoldsAVdcWithEveryVlanAnd1024PortsRepublishedWhole)
{
    ScopedEnv map("VLAN_MGR_SDB_MAP_MB", nullptr);
    ASSERT_EQ(sdb_pub_open(uri.c_str(), &pub), 0);
    constexpr uint32_t kPorts = 1024;
    const std::vector<uint8_t> access(24 * kPorts, 0x11);
    const std::vector<uint8_t> trunk(1050, 0x22);
    const uint8_t rec[18] = {0x00, 0x2a};
    off_t one_copy = 0;
    for (int round = 0; round < 6; ++round) {
        ASSERT_EQ(sdb_pub_del_all(pub), 0);
        for (uint32_t v = 1; v <= 4094; ++v) {
            const std::vector<uint8_t> kv = vlan_key(v);
            const sdb_key_t d{kv.data(), 4};
            ASSERT_EQ(sdb_pub_put(pub, &d, rec, sizeof rec), 0);
        }
        for (uint32_t p = 0; p < kPorts; ++p) {
            const uint32_t ifx = 0x1a000000u + (p << 12);
            uint8_t ka[5] = {0x01, static_cast<uint8_t>(ifx >> 24), static_cast<uint8_t>(ifx >> 16),
                             static_cast<uint8_t>(ifx >> 8), static_cast<uint8_t>(ifx)};
            uint8_t kt[5] = {0x02, ka[1], ka[2], ka[3], ka[4]};
            const sdb_key_t da{ka, 5}, dt{kt, 5};
            ASSERT_EQ(sdb_pub_put(pub, &da, access.data(), static_cast<uint32_t>(access.size())), 0);
            ASSERT_EQ(sdb_pub_put(pub, &dt, trunk.data(), static_cast<uint32_t>(trunk.size())), 0);
        }
        ASSERT_EQ(sdb_pub_commit(pub), 0) << "round " << round << ": " << syserr2str(FULL);
        if (round == 0)
            one_copy = size_of(path);
    }
    // Three copies (91 MiB in docs/host_platform.md), and room left in the
    // map for one more: a reader may hold a snapshot across a republish.
    EXPECT_LE(size_of(path), 3 * one_copy + 256 * 4096);
    EXPECT_LE(size_of(path) + one_copy, off_t{vlan_mgr_host::SDB_DEFAULT_MAP_MB} << 20);
}

} // namespace
