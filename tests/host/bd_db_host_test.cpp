// The BD database end to end on the host platform: a publisher process
// writes BD records into the real LMDB file of VDC 3 with the publisher API,
// and reader processes look them up with the library's lookups and getters.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vlan_mgr/bd_db.h>

#include "bd_db/bd_cache.h"
#include "host/host_platform.h"
#include "sdb_test_util.h"
#include "vlan_mgr_host_sdb.h"
#include "vlan_mgr_host_trust.h"

namespace {

constexpr uint16_t kVdc = 3;
constexpr char kUri[] = "volatile:/dev/shm/3/vlan_mgr_bd_sdb";

// A VLAN record: BD id, primary VLAN, type, mode, segment id, big-endian.
struct VlanRec {
    uint8_t b[18];
};

VlanRec vlan_rec(uint16_t bd, uint32_t primary, uint32_t type, uint32_t mode, uint32_t segment)
{
    VlanRec r{};
    const uint32_t words[4] = {primary, type, mode, segment};
    r.b[0] = static_cast<uint8_t>(bd >> 8);
    r.b[1] = static_cast<uint8_t>(bd);
    for (int w = 0; w < 4; ++w)
        for (int i = 0; i < 4; ++i)
            r.b[2 + 4 * w + i] = static_cast<uint8_t>(words[w] >> (24 - 8 * i));
    return r;
}

// Publishes, from a process of its own, VLAN 10 with `bd10`, VLAN 20 (an
// isolated secondary VLAN of primary 10, segment 5020) and the VDC's layer-3
// BD, in one batch. Returns the child's exit status (0: committed).
int publish(uint16_t bd10)
{
    return sdb_test::in_child([bd10] {
        sdb_pub_t *pub = nullptr;
        if (sdb_pub_open(kUri, &pub) != 0)
            return 1;
        const uint8_t k10[4] = {0x03, 0x00, 0x00, 0x0A};
        const uint8_t k20[4] = {0x03, 0x00, 0x00, 0x14};
        const uint8_t kl3[4] = {0x03, 0x00, 0x10, 0x00};
        const VlanRec r10 = vlan_rec(bd10, 10, 1, 0, 5010);
        const VlanRec r20 = vlan_rec(0x0200, 10, 4, 1, 5020);
        const uint8_t l3[2] = {0x0F, 0xFF};
        const sdb_key_t d10 = sdb_test::key4(k10), d20 = sdb_test::key4(k20), dl3 = sdb_test::key4(kl3);
        if (sdb_pub_put(pub, &d10, r10.b, sizeof r10.b) != 0 || sdb_pub_put(pub, &d20, r20.b, sizeof r20.b) != 0 ||
            sdb_pub_put(pub, &dl3, l3, sizeof l3) != 0)
            return 2;
        if (sdb_pub_commit(pub) != 0)
            return 3;
        return sdb_pub_close(pub) == 0 ? 0 : 4;
    });
}

// The database root is a private directory (removed with the files), so
// that VDC 3's file is <root>/3/vlan_mgr_bd_sdb.
class BdDbHost : public ::testing::Test {
protected:
    sdb_test::ShmDir dir;
    void TearDown() override
    {
        vlan_mgr_disable_cached_bd_sdb();
        vlan_close_bd_sdb(kVdc);
    }
};

// Every lookup and getter of one reader process, as exit codes so that a
// failing check names itself.
int read_everything()
{
    uint16_t bd = 0;
    if (vlan_get_bd(vdc_vlan_id_t{kVdc, 10}, &bd) != 0 || bd != 0x0105)
        return 10;
    uint32_t primary = 0;
    if (vlan_get_bd_and_primary_vlan(vdc_vlan_id_t{kVdc, 20}, &bd, &primary) != 0 || bd != 0x0200 || primary != 10)
        return 11;
    if (vlan_get_l3_bd(kVdc, &bd) != 0 || bd != 0x0FFF)
        return 12;
    uint32_t v = 0;
    // The type is handed back as stored: 00 00 00 04 reads as 0x04000000 here.
    if (vlan_mgr_sdb_get_vlan_type(kVdc, 20, &v) != 0 || v != 0x04000000u)
        return 13;
    if (vlan_mgr_sdb_get_vlan_type(kVdc, 30, &v) != 0x4110001cu)
        return 14;
    return 0;
}

TEST_F(BdDbHost, ReaderProcessesSeeWhatThePublisherCommitted)
{
    ASSERT_EQ(publish(0x0105), 0);
    // Two readers at once, each a process of its own with its own tables.
    pid_t readers[2];
    for (pid_t &r : readers) {
        r = fork();
        ASSERT_GE(r, 0);
        if (r == 0)
            host_test::child_exit(read_everything());
    }
    for (pid_t r : readers) {
        int status = 0;
        ASSERT_EQ(waitpid(r, &status, 0), r);
        ASSERT_TRUE(WIFEXITED(status));
        EXPECT_EQ(WEXITSTATUS(status), 0);
    }
}

TEST_F(BdDbHost, CacheServesRepeatedLookupsAndReopenSeesNewData)
{
    ASSERT_EQ(publish(0x0105), 0);
    ASSERT_EQ(vlan_mgr_enable_cached_bd_sdb(), 0u);
    vlan_mgr_invalidate_bd_cache_entry(kVdc, 10); // makes VDC 3's cache block
    uint16_t bd = 0;
    ASSERT_EQ(vlan_get_bd(vdc_vlan_id_t{kVdc, 10}, &bd), 0u);
    EXPECT_EQ(bd, 0x0105);

    // The publisher moves VLAN 10 to BD 0x0777; without a notification this
    // process keeps answering from its cache, which proves no read was made.
    ASSERT_EQ(publish(0x0777), 0);
    ASSERT_EQ(vlan_get_bd(vdc_vlan_id_t{kVdc, 10}, &bd), 0u);
    EXPECT_EQ(bd, 0x0105);
    // Uncached lookups read the database and see the new batch.
    uint32_t primary = 0;
    ASSERT_EQ(vlan_get_bd_and_primary_vlan(vdc_vlan_id_t{kVdc, 10}, &bd, &primary), 0u);
    EXPECT_EQ(bd, 0x0777);

    // Closing drops the cache block; the reopened database has the new BD.
    ASSERT_EQ(vlan_close_bd_sdb(kVdc), 0u);
    ASSERT_EQ(vlan_get_bd(vdc_vlan_id_t{kVdc, 10}, &bd), 0u);
    EXPECT_EQ(bd, 0x0777);
}

// The history entry of the last library report of this process.
void last_report(const vlan_mgr_host::HistEntry &entry, void *ctx)
{
    char text[2 * vlan_mgr_host::SLOT_DATA_BYTES + 1];
    uint32_t len = 0;
    vlan_mgr_host::hist_entry_text(entry, text, sizeof text, &len, nullptr);
    *static_cast<std::string *>(ctx) = text;
}

TEST_F(BdDbHost, AReaderOutsideTheTrustGroupIsToldPermissionDeniedWithThePath)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to switch to another user";
    ASSERT_EQ(publish(0x0105), 0);
    int p[2];
    ASSERT_EQ(pipe(p), 0);
    const gid_t gid = vlan_mgr_host_trust_gid();
    const int status = sdb_test::in_child([&] {
        close(p[0]);
        if (!sdb_test::become_nobody(false, gid))
            return 1;
        // Its history ring in memory: nobody may not make a file in dir.
        setenv("VLAN_MGR_HIST_DIR", dir.path().c_str(), 1);
        vlan_mgr_host::hist_ring_close(false);
        char head[64];
        std::snprintf(head, sizeof head, "0x%x pid %d|", vlan_open_bd_sdb(kVdc), static_cast<int>(getpid()));
        uint16_t bd = 0;
        std::snprintf(head + std::strlen(head), sizeof head - std::strlen(head), "0x%x|",
                      vlan_get_bd(vdc_vlan_id_t{kVdc, 10}, &bd));
        std::string report;
        vlan_mgr_host::hist_ring_read_self(last_report, &report, nullptr);
        const std::string out = head + report;
        return write(p[1], out.data(), out.size()) == static_cast<ssize_t>(out.size()) ? 0 : 2;
    });
    close(p[1]);
    std::string seen;
    char buf[1024];
    ssize_t n;
    while ((n = read(p[0], buf, sizeof buf)) > 0)
        seen.append(buf, static_cast<size_t>(n));
    close(p[0]);
    ASSERT_EQ(status, 0);
    const std::string pid = seen.substr(seen.find("pid ") + 4, seen.find('|') - seen.find("pid ") - 4);
    EXPECT_EQ(seen, "0x411a000a pid " + pid + "|0x411a000a|" + "vlan_mgr vlan_open_bd_sdb:4854 pid " + pid +
                        ", vdc 3, sdb_open(volatile:/dev/shm/3/vlan_mgr_bd_sdb) failed, err 0x411a000a "
                        "[shared database: permission denied: " +
                        dir.file("3/vlan_mgr_bd_sdb") + "]");
}

} // namespace
