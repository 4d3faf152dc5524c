// The engine's start and the effects of a change when something under them
// fails for real: an interface table that cannot be read or written, a
// database root that cannot be used, a publisher whose database went away
// (a forked child's publisher no longer publishes), a port that a change
// names but the VDC no longer has.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vlan_mgr/bd_db.h>
#include <vlan_mgr/config_req.h>
#include <vlan_mgr/opcodes.h>

#include "child_exit.h"
#include "engine.h"
#include "handler_test_util.h"
#include "notify.h"
#include "publish.h"

namespace vlan_mgrd {
namespace {

using test::in_child;

std::string hex_of(uint32_t w)
{
    char b[16];
    std::snprintf(b, sizeof b, "0x%08x", w);
    return b;
}

class EffectsFailure : public ::testing::Test {
protected:
    void SetUp() override
    {
        char tmpl[] = "/tmp/effects_failure_test.XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
        ASSERT_EQ(mkdir((dir_ + "/sdb").c_str(), 0700), 0);
        setenv("VLAN_MGR_SDB_ROOT", (dir_ + "/sdb").c_str(), 1);
        setenv("VLAN_MGR_VDC", "1", 1);
        options_.state_path = dir_ + "/state";
        options_.run_dir = dir_ + "/run";
        options_.sync = false;
    }
    void TearDown() override
    {
        engine_.reset();
        for (uint16_t v = 1; v <= 5; ++v)
            vlan_close_bd_sdb(v);
        unsetenv("VLAN_MGR_SDB_ROOT");
        EXPECT_EQ(std::system(("rm -rf " + dir_).c_str()), 0);
    }

    uint32_t start(const EngineOptions &o, std::string &error)
    {
        engine_ = std::make_unique<Engine>(o);
        return engine_->start(error);
    }

    static std::vector<uint8_t> create_req(uint32_t vlan)
    {
        void *p = nullptr;
        uint32_t len = 0;
        EXPECT_EQ(vlan_create_build_mts(1, 1, &vlan, "", 0, &p, &len), 0u);
        std::vector<uint8_t> out(static_cast<uint8_t *>(p), static_cast<uint8_t *>(p) + len);
        std::free(p);
        return out;
    }

    std::string dir_;
    EngineOptions options_;
    std::unique_ptr<Engine> engine_;
};

// ---- Start --------------------------------------------------------------------

TEST_F(EffectsFailure, AnUnreadableInterfaceTableStopsTheStart)
{
    EngineOptions o = options_;
    o.iftable_path = dir_ + "/no-such-iftable";
    std::string error;
    EXPECT_EQ(start(o, error), VLAN_MGR_ERR_STORE);
    EXPECT_EQ(error, "interface table " + o.iftable_path + ": " + o.iftable_path + ": cannot be read");
}

TEST_F(EffectsFailure, ARunDirectoryThatCannotBeMadeStopsTheStart)
{
    EngineOptions o = options_;
    o.run_dir = dir_ + "/missing/run";
    std::string error;
    EXPECT_EQ(start(o, error), VLAN_MGR_ERR_STORE);
    EXPECT_EQ(error, "cannot create " + o.run_dir + ": No such file or directory");
}

TEST_F(EffectsFailure, AnInterfaceTableThatCannotBeWrittenStopsTheStart)
{
    ASSERT_EQ(mkdir(options_.run_dir.c_str(), 0700), 0);
    ASSERT_EQ(mkdir((options_.run_dir + "/iftable").c_str(), 0700), 0); // a directory in its place
    std::string error;
    EXPECT_EQ(start(options_, error), VLAN_MGR_ERR_STORE);
    EXPECT_EQ(error, "cannot write the interface table: " + options_.run_dir + "/iftable: cannot be replaced");
}

TEST_F(EffectsFailure, ADatabaseRootThatIsAFileStopsTheStart)
{
    const std::string root = dir_ + "/root-file";
    std::ofstream(root) << "x";
    setenv("VLAN_MGR_SDB_ROOT", root.c_str(), 1);
    std::string error;
    const uint32_t rc = start(options_, error);
    EXPECT_EQ(rc, VLAN_MGR_ERR_STORE);
    EXPECT_EQ(error, "cannot publish volatile:/dev/shm/vlan_mgr_bd_sdb: error 0x411a0004 (shared database: cannot "
                     "create or map the database file)");
}

TEST_F(EffectsFailure, ADatabaseTooSmallForTheInterfaceTableStopsTheStart)
{
    // 1200 ports' trunk records (over a kilobyte each) do not fit in a
    // database file of one megabyte.
    const std::string iftable = dir_ + "/iftable";
    {
        std::ofstream out(iftable);
        for (uint32_t i = 0; i < 1200; ++i)
            out << "Ethernet" << (i / 48 + 1) << "/" << (i % 48 + 1) << " " << (0x1a000000u + (i << 12)) << " 1\n";
    }
    setenv("VLAN_MGR_SDB_MAP_MB", "1", 1);
    EngineOptions o = options_;
    o.iftable_path = iftable;
    std::string error;
    const uint32_t rc = start(o, error);
    unsetenv("VLAN_MGR_SDB_MAP_MB");
    EXPECT_EQ(rc, VLAN_MGR_ERR_STORE);
    EXPECT_EQ(error, "cannot commit volatile:/dev/shm/vlan_mgr_bd_sdb: error 0x411a000b (shared database: database "
                     "file full: the batch does not fit the map of 1 MiB)");
}

constexpr uint32_t kPorts = 125;

TEST_F(EffectsFailure, AChangeThatDoesNotFitTheDatabaseIsAnsweredWithTheStoreStatus)
{
    // 125 ports fit a database file of one megabyte (about 200 do not);
    // rewriting the records of all of them in one batch (the old pages stay
    // until it commits) does not.
    const std::string iftable = dir_ + "/iftable";
    {
        std::ofstream out(iftable);
        for (uint32_t i = 0; i < kPorts; ++i)
            out << "Ethernet" << (i / 48 + 1) << "/" << (i % 48 + 1) << " " << (0x1a000000u + (i << 12)) << " 1\n";
    }
    setenv("VLAN_MGR_SDB_MAP_MB", "1", 1);
    EngineOptions o = options_;
    o.iftable_path = iftable;
    std::string error;
    const uint32_t rc = start(o, error);
    unsetenv("VLAN_MGR_SDB_MAP_MB");
    ASSERT_EQ(rc, 0u) << error;
    ChangeSet c;
    for (Port &p : engine_->manager().vdc(1).ports) {
        p.mode = VLAN_MGR_PORT_MODE_TRUNK;
        c.mark_port(1, p.if_index);
    }
    std::vector<Notification> notes;
    EXPECT_EQ(engine_->apply(c, notes), VLAN_MGR_ERR_STORE);
    // Announced all the same: the state in memory is the truth.
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_EQ(notes[0].opcode, VLAN_MGR_NOTIF_PORT_MEMB_CHANGE);
}

TEST_F(EffectsFailure, WithoutPublishingTheReservedVlansAreTheConfiguredRange)
{
    EngineOptions o = options_;
    o.publish = false;
    std::string error;
    ASSERT_EQ(start(o, error), 0u) << error;
    for (uint16_t id = 1; id <= kVdcCount; ++id) {
        const VlanSet &r = engine_->manager().vdc(id).reserved;
        EXPECT_EQ(r.count(), 127u) << id; // 3968..4094
        EXPECT_FALSE(r.test(3967));
        EXPECT_TRUE(r.test(3968));
        EXPECT_TRUE(r.test(4094));
        EXPECT_FALSE(r.test(4095));
    }
}

TEST_F(EffectsFailure, AnEmptyChangeHasNoEffect)
{
    std::string error;
    ASSERT_EQ(start(options_, error), 0u) << error;
    std::vector<Notification> notes;
    EXPECT_EQ(engine_->apply(ChangeSet{}, notes), 0u);
    EXPECT_TRUE(notes.empty());
    // Nothing saved: no log record was written.
    struct stat st {};
    EXPECT_NE(stat((options_.state_path + ".log").c_str(), &st), 0);
}

// ---- A change -----------------------------------------------------------------

TEST_F(EffectsFailure, AChangeThatCannotBeSavedIsAnsweredWithTheStoreStatus)
{
    EngineOptions o = options_;
    o.state_path = dir_ + "/no/such/dir/state";
    std::string error;
    ASSERT_EQ(start(o, error), 0u) << error;
    const std::vector<uint8_t> payload = create_req(10);
    Request req;
    req.opcode = VLAN_MGR_OPC_VLAN_CREATE;
    req.payload = payload.data();
    req.len = static_cast<uint32_t>(payload.size());
    req.src_vdc = 1;
    Reply reply;
    std::vector<Notification> notes;
    engine_->handle(req, reply, notes);
    EXPECT_EQ(reply, (Reply{0x41, 0x10, 0x00, 0xC6}));
    // Changed in memory and announced all the same.
    EXPECT_TRUE(engine_->manager().vdc(1).vlans[10].created);
    ASSERT_FALSE(notes.empty());
    EXPECT_EQ(notes[0].opcode, VLAN_MGR_NOTIF_VLAN_CREATE);
}

TEST_F(EffectsFailure, AChangeThatCannotBePublishedIsAnsweredWithTheStoreStatus)
{
    std::string error;
    ASSERT_EQ(start(options_, error), 0u) << error;
    // A forked child's publisher no longer publishes: every batch is refused.
    int status = -1;
    const std::string out = in_child(
        [&] {
            const std::vector<uint8_t> payload = create_req(10);
            Request req;
            req.opcode = VLAN_MGR_OPC_VLAN_CREATE;
            req.payload = payload.data();
            req.len = static_cast<uint32_t>(payload.size());
            req.src_vdc = 1;
            Reply reply;
            std::vector<Notification> notes;
            engine_->handle(req, reply, notes);
            std::string r;
            for (uint8_t b : reply)
                r += std::to_string(b) + " ";
            return r + "/" + std::to_string(notes.size());
        },
        status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(out, "65 16 0 198 /1");
}

// ---- The publisher -------------------------------------------------------------

TEST_F(EffectsFailure, APublisherNotOpenRefusesEveryBatchNamingTheVdc)
{
    auto m = std::make_unique<Manager>();
    Publisher pub;
    std::string error;
    EXPECT_EQ(pub.publish_all(m->vdc(3), error), VLAN_MGR_ERR_STORE);
    EXPECT_EQ(error, "database of VDC 3 not open");
    ChangeSet c;
    c.mark_created(2, 10);
    EXPECT_EQ(pub.publish_changes(*m, c, error), VLAN_MGR_ERR_STORE);
    EXPECT_EQ(error, "database of VDC 2 not open");
}

TEST_F(EffectsFailure, OpeningThePublisherTwiceKeepsItsDatabases)
{
    auto m = std::make_unique<Manager>();
    Publisher pub;
    std::string error;
    ASSERT_EQ(pub.open(error), 0u) << error;
    EXPECT_EQ(pub.open(error), 0u) << error;
    EXPECT_EQ(pub.publish_all(m->vdc(1), error), 0u) << error;
}

TEST_F(EffectsFailure, APortThatTheVdcNoLongerHasIsLeftOutOfTheDatabaseAndTheNotifications)
{
    auto m = std::make_unique<Manager>();
    Port p;
    p.if_index = 0x1a000000;
    p.name = "Ethernet1/1";
    m->vdc(1).ports.push_back(p);
    Publisher pub;
    std::string error;
    ASSERT_EQ(pub.open(error), 0u) << error;
    ASSERT_EQ(pub.publish_all(m->vdc(1), error), 0u) << error;
    ChangeSet c;
    c.mark_port(1, 0x1a005000); // not a port of VDC 1
    EXPECT_EQ(pub.publish_changes(*m, c, error), 0u) << error;
    std::vector<Notification> notes;
    EXPECT_TRUE(build_notifications(*m, c, notes, error));
    EXPECT_TRUE(notes.empty());
    // With a port that is there too, only that one is announced.
    c.mark_port(1, 0x1a000000);
    EXPECT_EQ(pub.publish_changes(*m, c, error), 0u) << error;
    EXPECT_TRUE(build_notifications(*m, c, notes, error));
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_EQ(notes[0].opcode, VLAN_MGR_NOTIF_PORT_MEMB_CHANGE);
    ASSERT_GE(notes[0].payload.size(), 4u);
    EXPECT_EQ(test::be32(notes[0].payload, 0), 1u);
}

TEST_F(EffectsFailure, APublisherWhoseDatabaseWentAwayNamesTheBatchItCouldNotQueue)
{
    auto m = std::make_unique<Manager>();
    Publisher pub;
    std::string error;
    ASSERT_EQ(pub.open(error), 0u) << error;
    int status = -1;
    const std::string out = in_child(
        [&] {
            std::string e1, e2;
            const uint32_t all = pub.publish_all(m->vdc(1), e1);
            m->vdc(4).vlans[10].created = true;
            ChangeSet c;
            c.mark_created(4, 10);
            const uint32_t changes = pub.publish_changes(*m, c, e2);
            return hex_of(all) + "|" + e1 + "|" + hex_of(changes) + "|" + e2;
        },
        status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(out, "0x411a0002|cannot clear volatile:/dev/shm/vlan_mgr_bd_sdb: error 0x411a0002|0x411a0002|"
                   "cannot queue records of VDC 4: error 0x411a0002");
}

} // namespace
} // namespace vlan_mgrd
