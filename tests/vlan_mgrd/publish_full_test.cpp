// The manager's publisher when the database is full because a reader holds a
// snapshot: the failed change's message names the reader's pid.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <lmdb.h>
#include <sys/wait.h>
#include <unistd.h>

#include "publish.h"
#include "state.h"

namespace vlan_mgrd {
namespace {

class PublishFull : public ::testing::Test {
protected:
    void SetUp() override
    {
        char tmpl[] = "/tmp/publish_full_test.XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
        setenv("VLAN_MGR_SDB_ROOT", (dir_ + "/sdb").c_str(), 1);
        setenv("VLAN_MGR_SDB_MAP_MB", "2", 1);
    }
    void TearDown() override
    {
        if (holder_ > 0) {
            kill(holder_, SIGKILL);
            waitpid(holder_, nullptr, 0);
        }
        publisher_.close();
        unsetenv("VLAN_MGR_SDB_MAP_MB");
        unsetenv("VLAN_MGR_SDB_ROOT");
        EXPECT_EQ(std::system(("rm -rf " + dir_).c_str()), 0);
    }

    // A reader process that stays in one read transaction of VDC 1's file;
    // returns the snapshot's transaction id.
    unsigned long long hold_snapshot()
    {
        int p[2];
        if (pipe(p) != 0)
            return 0;
        const std::string file = dir_ + "/sdb/vlan_mgr_bd_sdb";
        holder_ = fork();
        if (holder_ == 0) {
            close(p[0]);
            MDB_env *env = nullptr;
            MDB_txn *txn = nullptr;
            if (mdb_env_create(&env) != 0 || mdb_env_set_maxreaders(env, 1024) != 0 ||
                mdb_env_open(env, file.c_str(), MDB_NOSUBDIR | MDB_RDONLY | MDB_NOTLS, 0) != 0 ||
                mdb_txn_begin(env, nullptr, MDB_RDONLY, &txn) != 0)
                _exit(1);
            const unsigned long long id = mdb_txn_id(txn);
            (void)!write(p[1], &id, sizeof id);
            for (;;)
                pause();
        }
        close(p[1]);
        unsigned long long id = 0;
        if (read(p[0], &id, sizeof id) != static_cast<ssize_t>(sizeof id))
            id = 0;
        close(p[0]);
        return id;
    }

    std::string dir_;
    pid_t holder_ = -1;
    Publisher publisher_;
};

TEST_F(PublishFull, AFullDatabaseIsReportedWithThePidOfTheReaderHoldingTheOldestSnapshot)
{
    const auto m = std::make_unique<Manager>(); // 12 MB: not on the stack
    Vdc &vdc = m->vdc(1);
    for (uint32_t v = 1; v <= kVlanMax; ++v)
        vdc.vlans[v].created = true;
    std::string error;
    ASSERT_EQ(publisher_.open(error), 0u) << error;
    ASSERT_EQ(publisher_.publish_all(vdc, error), 0u) << error;
    const unsigned long long txnid = hold_snapshot();
    ASSERT_GT(txnid, 0u);
    uint32_t rc = 0;
    for (uint32_t round = 1; round <= 50 && rc == 0; ++round) {
        for (uint32_t v = 1; v <= kVlanMax; ++v)
            vdc.vlans[v].segment = round;
        rc = publisher_.publish_all(vdc, error);
    }
    ASSERT_EQ(rc, 0x411a000bu);
    char expected[256];
    std::snprintf(expected, sizeof expected,
                  "cannot commit volatile:/dev/shm/vlan_mgr_bd_sdb: error 0x411a000b (shared database: database "
                  "file full: reader pid %d holds a snapshot since transaction %llu)",
                  static_cast<int>(holder_), txnid);
    EXPECT_EQ(error, expected);
    // The holder ends: the next change is published.
    kill(holder_, SIGKILL);
    waitpid(holder_, nullptr, 0);
    holder_ = -1;
    EXPECT_EQ(publisher_.publish_all(vdc, error), 0u) << error;
}

} // namespace
} // namespace vlan_mgrd
