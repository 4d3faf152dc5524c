// vlan_mgrd restarted under a subscriber: after a start that restored the
// saved configuration, the manager sends one BD-change notification (0x5C2B)
// per VDC, and a subscriber that lived across the restart (its transport
// reconnects to the new manager by itself) fills its BD cache from it.
#include "daemon_fixture.h"

#include <algorithm>
#include <map>

#include <vlan_mgr/opcodes.h>

namespace vlan_mgrd::daemon_test {
namespace {

// Creates `ids` in VDC 1 with one request (a single VLAN unnamed): 0 when
// every VLAN was created, else the failing word (or 0xBAD for a refused VLAN).
uint32_t create_vlans(uint32_t h, const std::vector<uint32_t> &ids)
{
    void *p = nullptr;
    uint32_t len = 0;
    const char *name = ids.size() == 1 ? "" : nullptr;
    uint32_t rc = vlan_create_build_mts(1, static_cast<uint16_t>(ids.size()), ids.data(), name, 0, &p, &len);
    if (rc != 0)
        return rc;
    Exchange x = exchange_built(h, VLAN_MGR_OPC_VLAN_CREATE, p, len);
    if (x.rc != 0)
        return static_cast<uint32_t>(x.rc);
    uint16_t vdc = 0, count = 0;
    uint32_t *out_ids = nullptr, *statuses = nullptr;
    rc = vlan_create_parse_reply(&vdc, &count, &out_ids, &statuses, x.reply.data(),
                                 static_cast<uint32_t>(x.reply.size()));
    if (rc == 0 && count != ids.size())
        rc = 0xBADu;
    for (uint32_t i = 0; rc == 0 && i < count; ++i)
        if (statuses[i] != 0)
            rc = 0xBADu;
    std::free(out_ids);
    std::free(statuses);
    return rc;
}

uint32_t delete_vlans(uint32_t h, const std::vector<uint32_t> &ids)
{
    void *p = nullptr;
    uint32_t len = 0;
    uint32_t rc = vlan_delete_build_mts(1, static_cast<uint32_t>(ids.size()), ids.data(), &p, &len);
    if (rc != 0)
        return rc;
    Exchange x = exchange_built(h, VLAN_MGR_OPC_VLAN_DELETE, p, len);
    if (x.rc != 0)
        return static_cast<uint32_t>(x.rc);
    vlan_delete_result_t *results = nullptr;
    uint32_t count = 0;
    uint16_t vdc = 0;
    rc = vlan_delete_parse_reply(&results, &count, &vdc, x.reply.data(), static_cast<int32_t>(x.reply.size()));
    std::free(results);
    return rc;
}

// The VLANs the restart's 0x5C2B must list for VDC 1, each with BD = VLAN.
const std::vector<uint32_t> kRestored = {1, 100, 101, 102};

// Exit statuses of the subscriber.
enum SubscriberExit : int {
    kSubOk = 0,
    kSubOpen = 10,
    kSubSubscribe = 11,
    kSubNotSynced = 12,
    kSubCreate = 13,
    kSubCacheNotEmpty = 14,
    kSubNoBdChange = 15,
    kSubParse = 16,
    kSubWrongRecords = 17,
    kSubCacheWrong = 18,
};

class VlanMgrdRestartTest : public VlanMgrdDaemonTest {
protected:
    // The subscriber's life: subscribed to VLAN creates (to know that its
    // subscription reached the first manager) and BD changes, BD cache on,
    // and no database it could read (its database root does not exist), so
    // that a BD lookup that succeeds was answered by the cache. It creates
    // VLANs 100-102 itself, raises `before_restart` and then waits (at most
    // 10 s) for the restarted manager's 0x5C2B of VDC 1.
    static int subscriber(const std::string &no_sdb, const Pipe &before_restart)
    {
        setenv("VLAN_MGR_SDB_ROOT", no_sdb.c_str(), 1);
        uint32_t h = 0;
        if (vlan_mgr_host_mts_open(0, &h) != 0)
            return kSubOpen;
        vlan_mgr_enable_cached_bd_sdb();
        for (uint32_t opc : {VLAN_MGR_NOTIF_VLAN_CREATE, VLAN_MGR_NOTIF_BD_CHANGE})
            if (vlan_mgr_host_mts_subscribe(h, VLAN_MGR_MTS_DEST_NODE, VLAN_MGR_MTS_SAP, opc) != 0)
                return kSubSubscribe;
        // The subscription travels to the publisher on its own: create and
        // delete a probe VLAN until its notification comes back. Creates are
        // only counted, never parsed: the cache learns nothing from them.
        bool synced = false;
        for (int attempt = 0; attempt < 20 && !synced; ++attempt) {
            create_vlans(h, {3000});
            mts_msg_hdl_t m{};
            while (vlan_mgr_host_mts_recv_timed(h, &m, nullptr, 200) == 0) {
                const bool probe = mts_opc_get(&m) == VLAN_MGR_NOTIF_VLAN_CREATE;
                mts_drop(h, &m);
                if (probe) {
                    synced = true;
                    break;
                }
            }
            delete_vlans(h, {3000});
        }
        if (!synced)
            return kSubNotSynced;
        if (create_vlans(h, {100, 101, 102}) != 0)
            return kSubCreate;
        // Neither the cache nor a database answers yet.
        uint16_t bd = 0;
        for (uint32_t v : kRestored)
            if (vlan_get_bd(vdc_vlan_id_t{1, v}, &bd) == 0)
                return kSubCacheNotEmpty;
        before_restart.raise();

        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        for (;;) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0)
                return kSubNoBdChange;
            mts_msg_hdl_t m{};
            // Time-outs and the loss reports of the manager's restart go by.
            if (vlan_mgr_host_mts_recv_timed(h, &m, nullptr, static_cast<uint32_t>(left.count())) != 0)
                continue;
            const auto *payload = static_cast<const uint8_t *>(mts_payload_get(&m));
            const bool vdc1 = mts_opc_get(&m) == VLAN_MGR_NOTIF_BD_CHANGE && mts_payload_size(&m) >= 4 &&
                              payload[2] == 0 && payload[3] == 1;
            if (!vdc1) {
                mts_drop(h, &m);
                continue;
            }
            void *raw = nullptr;
            uint32_t count = 0;
            const uint32_t rc = vlan_mgr_parse_notification_msg(&m, &raw, &count, std::malloc);
            mts_drop(h, &m);
            if (rc != 0)
                return kSubParse;
            const auto *records = static_cast<const vlan_mgr_notif_bd_change_t *>(raw);
            bool right = count == kRestored.size();
            for (uint32_t i = 0; right && i < count; ++i)
                right = records[i].vlan_id == kRestored[i] && records[i].bd_id == kRestored[i];
            std::free(raw);
            if (!right)
                return kSubWrongRecords;
            break;
        }
        // The cache answers now, with each VLAN's BD.
        for (uint32_t v : kRestored)
            if (vlan_get_bd(vdc_vlan_id_t{1, v}, &bd) != 0 || bd != v)
                return kSubCacheWrong;
        return kSubOk;
    }

    // Starts the manager, runs the subscriber across a stop by `sig` and a
    // restart on the same state, and checks what the subscriber saw.
    void restart_under_subscriber(int sig, int stop_status)
    {
        ASSERT_GT(start_daemon(), 0);
        Pipe before_restart;
        const std::string no_sdb = dir_ + "/no_sdb";
        const pid_t sub = spawn([&] { return subscriber(no_sdb, before_restart); });
        if (before_restart.wait_for(15000) != 'x') {
            const int status = join(sub, 1000);
            FAIL() << "the subscriber did not get ready: exit status " << status;
        }
        EXPECT_EQ(stop_daemon(sig), stop_status);
        ASSERT_GT(start_daemon(), 0);
        EXPECT_EQ(join(sub), kSubOk);
        EXPECT_EQ(stop_daemon(), 0);
        // The restarted manager served no request and published the five
        // VDCs' BD ids.
        EXPECT_NE(read_file(log_file()).find("stopped after 0 requests, 5 notifications"), std::string::npos)
            << read_file(log_file());
    }
};

TEST_F(VlanMgrdRestartTest, VlanMgrdRestartAfterKill9RefreshesSubscriberBdCache)
{
    restart_under_subscriber(SIGKILL, -1);
}

TEST_F(VlanMgrdRestartTest, VlanMgrdRestartAfterCleanStopRefreshesSubscriberBdCache)
{
    restart_under_subscriber(SIGTERM, 0);
}

// A start that restored nothing (no saved state yet) sends no BD change.
TEST_F(VlanMgrdRestartTest, VlanMgrdFreshStartSendsNoRestartNotification)
{
    ASSERT_GT(start_daemon(), 0);
    EXPECT_EQ(stop_daemon(), 0);
    EXPECT_NE(read_file(log_file()).find("stopped after 0 requests, 0 notifications"), std::string::npos)
        << read_file(log_file());
}

} // namespace
} // namespace vlan_mgrd::daemon_test
