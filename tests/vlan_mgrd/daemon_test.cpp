// vlan_mgrd as a process: start and stop, the pid file and the instance
// lock, requests from client processes over the host transport, the BD
// database read by other processes, notifications to a subscriber, and the
// state surviving a kill -9.
#include "daemon_fixture.h"

#include <algorithm>
#include <set>

#include <vlan_mgr/opcodes.h>

namespace vlan_mgrd::daemon_test {
namespace {

using Bytes = std::vector<uint8_t>;

const Bytes kBadRequest = {0x41, 0x10, 0x00, 0xC0};
const Bytes kUnknownRequest = {0x41, 0x10, 0x00, 0xC1};

// ---- Library round trips -----------------------------------------------------

// Creates `ids` in VDC 1 with one request; with one id, names it `name`.
// Returns the per-VLAN statuses in id order (empty when the exchange or
// the parse failed; `rc` tells which word).
std::vector<uint32_t> create_vlans(uint32_t h, const std::vector<uint32_t> &ids, const char *name, uint32_t &rc,
                                   uint32_t options = 0)
{
    void *p = nullptr;
    uint32_t len = 0;
    rc = vlan_create_build_mts(1, static_cast<uint16_t>(ids.size()), ids.data(), name, options, &p, &len);
    if (rc != 0)
        return {};
    Exchange x = exchange_built(h, VLAN_MGR_OPC_VLAN_CREATE, p, len);
    if (x.rc != 0) {
        rc = static_cast<uint32_t>(x.rc);
        return {};
    }
    uint16_t vdc = 0, count = 0;
    uint32_t *out_ids = nullptr, *statuses = nullptr;
    rc = vlan_create_parse_reply(&vdc, &count, &out_ids, &statuses, x.reply.data(),
                                 static_cast<uint32_t>(x.reply.size()));
    std::vector<uint32_t> result;
    if (rc == 0) {
        for (uint32_t i = 0; i < count; ++i)
            result.push_back(out_ids[i] == ids[std::min<size_t>(i, ids.size() - 1)] ? statuses[i] : 0xDEADu);
        if (vdc != 1 || count != ids.size())
            result.push_back(0xBADu);
    }
    std::free(out_ids);
    std::free(statuses);
    return result;
}

// Deletes `ids` from VDC 1: the reply's overall status, or the failing word.
uint32_t delete_vlans(uint32_t h, const std::vector<uint32_t> &ids, std::vector<uint32_t> *statuses = nullptr)
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
    if (statuses != nullptr && results != nullptr)
        for (uint32_t i = 0; i < count; ++i)
            statuses->push_back(results[i].status);
    std::free(results);
    return rc;
}

// The VLANs created in VDC 1, each with its BD id: {vlan, bd}.
std::vector<std::pair<uint32_t, uint16_t>> list_vlans(uint32_t h, uint32_t &rc)
{
    const uint16_t vdc = 1;
    void *p = nullptr;
    uint32_t len = 0;
    rc = vlan_get_all_created_vlan_build_mts(&vdc, 1, &p, &len);
    if (rc != 0)
        return {};
    Exchange x = exchange_built(h, VLAN_MGR_OPC_ALL_CREATED_VLAN, p, len);
    if (x.rc != 0) {
        rc = static_cast<uint32_t>(x.rc);
        return {};
    }
    created_vlan_record *records = nullptr;
    uint32_t count = 0;
    rc = vlan_get_all_created_vlan_parse_reply(&records, &count, x.reply.data(), static_cast<uint32_t>(x.reply.size()));
    std::vector<std::pair<uint32_t, uint16_t>> out;
    for (uint32_t i = 0; i < count; ++i)
        out.emplace_back(records[i].vlan_id, records[i].bd_id);
    std::free(records);
    return out;
}

// One VLAN's information record: the reply's status, or the failing word.
uint32_t vlan_info(uint32_t h, uint32_t vlan, vlan_info_record &record)
{
    const vdc_vlan_id_t key = {1, vlan};
    void *p = nullptr;
    uint32_t len = 0;
    uint32_t rc = vlan_get_vlan_info_build_mts(&key, &p, &len);
    if (rc != 0)
        return rc;
    Exchange x = exchange_built(h, VLAN_MGR_OPC_VLAN_INFO, p, len);
    if (x.rc != 0)
        return static_cast<uint32_t>(x.rc);
    return vlan_get_vlan_info_parse_reply(&record, x.reply.data(), static_cast<uint32_t>(x.reply.size()));
}


constexpr uint32_t kPort1 = 0x01010001u;  // Ethernet1/1 of the default interface table
constexpr uint32_t kPort2 = 0x01010002u;

// Sets the access VLAN of `port` (operation 1): the reply's status.
uint32_t set_access(uint32_t h, uint32_t port, uint32_t vlan)
{
    void *p = nullptr;
    uint32_t len = 0;
    uint32_t rc = vlan_update_port_memb_build_mts(&port, 1, vdc_vlan_id_t{1, vlan}, 0, 1, &p, &len);
    if (rc != 0)
        return rc;
    Exchange x = exchange_built(h, VLAN_MGR_OPC_UPDATE_PORT_MEMB, p, len);
    if (x.rc != 0)
        return static_cast<uint32_t>(x.rc);
    vdc_vlan_id_t key{};
    return vlan_update_port_memb_parse_reply(&key, x.reply.data(), static_cast<uint32_t>(x.reply.size()));
}

// Runs one trunking update record on `port`: the reply's status.
uint32_t trunk_update(uint32_t h, uint32_t port, int32_t op, uint16_t value, std::initializer_list<uint32_t> vlans)
{
    trunking_update_input in;
    std::memset(&in, 0, sizeof in);
    in.vdc_vlan.vdc_id = 1;
    in.vdc_vlan.vlan_id = 1;
    in.id = value;
    for (uint32_t v : vlans)
        in.bitmap.bits[v / 8] = static_cast<uint8_t>(in.bitmap.bits[v / 8] | (0x80u >> (v % 8)));
    void *p = nullptr;
    uint32_t len = 0;
    uint32_t rc = vlan_update_port_trunking_memb_build_mts(&port, 1, &in, op, &p, &len);
    if (rc != 0)
        return rc;
    Exchange x = exchange_built(h, VLAN_MGR_OPC_UPDATE_PORT_TRUNKING_MEMB, p, len);
    if (x.rc != 0)
        return static_cast<uint32_t>(x.rc);
    if (x.reply.size() < 4)
        return 0xFFFFFFFFu;
    trunking_update_result *result = nullptr;
    rc = vlan_update_port_trunking_memb_parse_reply(&result, x.reply.data());
    std::free(result);
    return rc;
}

// The membership of `port`: mode, access VLAN and allowed trunk VLANs.
struct PortView {
    uint32_t mode = 0, access = 0;
    std::vector<uint32_t> allowed;
    bool operator==(const PortView &) const = default;
};

uint32_t port_view(uint32_t h, uint32_t port, PortView &out)
{
    void *p = nullptr;
    uint32_t len = 0;
    uint32_t rc = vlan_get_port_memb_build_mts(&port, 1, &p, &len);
    if (rc != 0)
        return rc;
    Exchange x = exchange_built(h, VLAN_MGR_OPC_PORT_MEMB, p, len);
    if (x.rc != 0)
        return static_cast<uint32_t>(x.rc);
    void *records = nullptr;
    uint32_t count = 0;
    rc = vlan_get_port_memb_parse_reply(&records, &count, x.reply.data(), static_cast<uint32_t>(x.reply.size()));
    if (rc != 0 || count != 1) {
        std::free(records);
        return rc != 0 ? rc : 0xFFFFFFFEu;
    }
    const auto *m = static_cast<const port_memb *>(records);
    out.mode = m->word_1;
    out.access = m->vlan_a.vlan_id;
    std::free(records);

    rc = vlan_get_port_trunking_memb_build_mts(&port, 1, &p, &len);
    if (rc != 0)
        return rc;
    x = exchange_built(h, VLAN_MGR_OPC_PORT_TRUNKING_MEMB, p, len);
    if (x.rc != 0)
        return static_cast<uint32_t>(x.rc);
    rc = vlan_get_port_trunking_memb_parse_reply(&records, &count, x.reply.data(),
                                                 static_cast<uint32_t>(x.reply.size()));
    if (rc != 0 || count != 1) {
        std::free(records);
        return rc != 0 ? rc : 0xFFFFFFFDu;
    }
    const auto *t = static_cast<const port_trunking_memb *>(records);
    out.allowed.clear();
    for (uint32_t v = 1; v <= 4094; ++v)
        if ((t->bitmap_1.bits[v / 8] & (0x80u >> (v % 8))) != 0)
            out.allowed.push_back(v);
    std::free(records);
    return 0;
}

std::vector<std::pair<uint32_t, uint16_t>> with_bd(std::initializer_list<uint32_t> ids)
{
    std::vector<std::pair<uint32_t, uint16_t>> out;
    for (uint32_t v : ids)
        out.emplace_back(v, static_cast<uint16_t>(v));
    return out;
}

// ---- Start, stop, instance -----------------------------------------------------

TEST_F(VlanMgrdDaemonTest, VlanMgrdPidFileNamesTheDaemonAndSigtermStopsWithStatus0)
{
    const pid_t pid = start_daemon();
    ASSERT_GT(pid, 0);
    EXPECT_EQ(read_file(pid_file()), std::to_string(pid) + "\n");
    EXPECT_TRUE(exists(run_dir_ + "/sap.167"));
    struct stat st {};
    ASSERT_EQ(stat(run_dir_.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 02770u);
    EXPECT_EQ(stop_daemon(SIGTERM), 0);
    EXPECT_FALSE(exists(pid_file()));
    EXPECT_NE(read_file(log_file()).find("stopped after 0 requests"), std::string::npos) << read_file(log_file());
}

TEST_F(VlanMgrdDaemonTest, VlanMgrdSigintStopsWithStatus0AfterServingRequests)
{
    ASSERT_GT(start_daemon(), 0);
    const uint8_t req[4] = {0, 0, 0, 1};
    Exchange x = exchange(client(), 0x5DFFu, req, sizeof req);
    ASSERT_EQ(x.rc, 0);
    EXPECT_EQ(x.reply, kUnknownRequest);
    EXPECT_EQ(stop_daemon(SIGINT), 0);
    EXPECT_FALSE(exists(pid_file()));
    EXPECT_NE(read_file(log_file()).find("stopped after 1 requests"), std::string::npos) << read_file(log_file());
}

TEST_F(VlanMgrdDaemonTest, VlanMgrdSecondDaemonOnTheSameRunDirRefusesWithStatus3)
{
    const pid_t first = start_daemon();
    ASSERT_GT(first, 0);
    std::string out;
    const int rc = run_to_end({"--foreground", "--run-dir", run_dir_, "--state", dir_ + "/other.state", "--sdb-root",
                               sdb_root_},
                              out);
    EXPECT_EQ(rc, 3);
    EXPECT_EQ(out, "vlan_mgrd: another vlan_mgrd (pid " + std::to_string(first) + ") runs on run directory " +
                       run_dir_ + "\n");
    // The first one still serves and still owns the pid file.
    EXPECT_EQ(read_file(pid_file()), std::to_string(first) + "\n");
    const uint8_t req[4] = {0, 0, 0, 1};
    Exchange x = exchange(client(), 0x5DFFu, req, sizeof req);
    ASSERT_EQ(x.rc, 0);
    EXPECT_EQ(x.reply, kUnknownRequest);
    EXPECT_EQ(stop_daemon(), 0);
}

TEST_F(VlanMgrdDaemonTest, VlanMgrdDaemonModeReturnsOnceServingAndSigtermEndsIt)
{
    std::string out;
    const int rc = run_to_end({"--run-dir", run_dir_, "--state", state_, "--sdb-root", sdb_root_}, out);
    ASSERT_EQ(rc, 0) << out;
    const std::string pid_text = read_file(pid_file());
    ASSERT_FALSE(pid_text.empty());
    const pid_t pid = static_cast<pid_t>(std::stol(pid_text));
    EXPECT_EQ(out, "vlan_mgrd: started, pid " + std::to_string(pid) + ", run directory " + run_dir_ + ", state " +
                       state_ + "\n");
    // It answers, then ends on SIGTERM and removes its pid file.
    const uint8_t req[4] = {0, 0, 0, 1};
    Exchange x = exchange(client(), 0x5DFFu, req, sizeof req);
    EXPECT_EQ(x.rc, 0);
    EXPECT_EQ(x.reply, kUnknownRequest);
    ASSERT_EQ(kill(pid, SIGTERM), 0);
    bool gone = false;
    for (int i = 0; i < 2000 && !gone; ++i) {
        gone = kill(pid, 0) != 0 && !exists(pid_file());
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_TRUE(gone);
}

TEST_F(VlanMgrdDaemonTest, VlanMgrdUsageVersionAndHelp)
{
    std::string out;
    EXPECT_EQ(run_to_end({"--version"}, out), 0);
    EXPECT_EQ(out, "vlan_mgrd 1.0.0\n");
    EXPECT_EQ(run_to_end({"--help"}, out), 0);
    EXPECT_EQ(out.rfind("Usage: vlan_mgrd [OPTION]...\n", 0), 0u) << out;
    EXPECT_EQ(run_to_end({"--no-such-option"}, out), 2);
    EXPECT_EQ(run_to_end({"--foreground", "extra"}, out), 2);
    EXPECT_NE(out.find("vlan_mgrd: unexpected argument 'extra'\n"), std::string::npos) << out;
}

TEST_F(VlanMgrdDaemonTest, VlanMgrdRequestWhileDownFailsWithNoServer)
{
    // Nobody has ever served the SAP.
    Exchange x = exchange(client(), 0x5DFFu, nullptr, 0);
    EXPECT_EQ(static_cast<uint32_t>(x.rc), VLAN_MGR_HOST_ERR_MTS_NO_SERVER);

    // A daemon killed without a chance to clean up: a fresh handle is told at
    // once, a handle that was connected gets its answer within the time-out.
    reopen_client();
    ASSERT_GT(start_daemon(), 0);
    const uint8_t req[4] = {0, 0, 0, 1};
    ASSERT_EQ(exchange(client(), 0x5DFFu, req, sizeof req).rc, 0);
    EXPECT_EQ(stop_daemon(SIGKILL), -1);
    const auto t0 = std::chrono::steady_clock::now();
    x = exchange(client(), 0x5DFFu, req, sizeof req);
    const auto waited = std::chrono::steady_clock::now() - t0;
    EXPECT_TRUE(static_cast<uint32_t>(x.rc) == VLAN_MGR_HOST_ERR_MTS_NO_SERVER ||
                static_cast<uint32_t>(x.rc) == VLAN_MGR_HOST_ERR_MTS_TIMEOUT)
        << std::hex << x.rc;
    EXPECT_LT(waited, std::chrono::milliseconds(3000));
    reopen_client();
    x = exchange(client(), 0x5DFFu, req, sizeof req);
    EXPECT_EQ(static_cast<uint32_t>(x.rc), VLAN_MGR_HOST_ERR_MTS_NO_SERVER);
}

TEST_F(VlanMgrdDaemonTest, VlanMgrdRestartsOverTheFilesOfAKilledDaemon)
{
    const pid_t first = start_daemon();
    ASSERT_GT(first, 0);
    EXPECT_EQ(stop_daemon(SIGKILL), -1);
    EXPECT_EQ(read_file(pid_file()), std::to_string(first) + "\n");  // left behind
    const pid_t second = start_daemon();
    ASSERT_GT(second, 0);
    EXPECT_EQ(read_file(pid_file()), std::to_string(second) + "\n");
    const uint8_t req[4] = {0, 0, 0, 1};
    Exchange x = exchange(client(), 0x5DFFu, req, sizeof req);
    EXPECT_EQ(x.rc, 0);
    EXPECT_EQ(x.reply, kUnknownRequest);
    EXPECT_EQ(stop_daemon(), 0);
}

// ---- Requests --------------------------------------------------------------------

TEST_F(VlanMgrdDaemonTest, VlanMgrdMalformedRequestGetsBadRequestAndTheDaemonStaysUp)
{
    ASSERT_GT(start_daemon(), 0);
    const uint8_t short_create[3] = {0, 1, 0};
    Exchange x = exchange(client(), VLAN_MGR_OPC_VLAN_CREATE, short_create, sizeof short_create);
    ASSERT_EQ(x.rc, 0);
    EXPECT_EQ(x.reply, kBadRequest);
    x = exchange(client(), VLAN_MGR_OPC_VLAN_INFO, nullptr, 0);
    ASSERT_EQ(x.rc, 0);
    EXPECT_EQ(x.reply, kBadRequest);
    // The 16-byte exchange with a key cut short.
    const uint8_t short_key[5] = {0, 1, 0, 0, 0};
    x = exchange(client(), MTS_OPC_VLAN_REQ_RESP_16, short_key, sizeof short_key);
    ASSERT_EQ(x.rc, 0);
    EXPECT_EQ(x.reply, kBadRequest);

    uint32_t rc = 0;
    EXPECT_EQ(create_vlans(client(), {10}, "ten", rc), std::vector<uint32_t>{0});
    EXPECT_EQ(rc, 0u);
    EXPECT_EQ(stop_daemon(), 0);
}

TEST_F(VlanMgrdDaemonTest, VlanMgrdAnswersTheAutostateQuery)
{
    ASSERT_GT(start_daemon(), 0);
    // The query hands its 4-byte request payload to the transport, which
    // frees it: it runs in this process, whose leak check sees the rest.
    uint32_t *setting = vlan_mgr_get_global_autostate_disable_settings(client());
    ASSERT_NE(setting, nullptr);
    EXPECT_EQ(*setting, 0u);
    std::free(setting);
    EXPECT_EQ(stop_daemon(), 0);
}

// The 0x5C03 exchange: 16-byte entries framed by the library's reply sender,
// decoded by the notification parser's 0x5C03 layout.
TEST_F(VlanMgrdDaemonTest, VlanMgrdAnswersTheSixteenByteExchange)
{
    ASSERT_GT(start_daemon(), 0);
    uint32_t rc = 0;
    ASSERT_EQ(create_vlans(client(), {300}, "", rc), std::vector<uint32_t>{0});
    const uint8_t keys[12] = {0, 1, 0, 0, 0x01, 0x2C, 0, 1, 0, 0, 0, 1};  // (1, 300), (1, 1)
    Exchange x = exchange(client(), MTS_OPC_VLAN_REQ_RESP_16, keys, sizeof keys);
    ASSERT_EQ(x.rc, 0);
    // {0, count 2, 2 x 16-byte entries}
    ASSERT_EQ(x.reply.size(), 8u + 32u);
    EXPECT_EQ(Bytes(x.reply.begin(), x.reply.begin() + 8), (Bytes{0, 0, 0, 0, 0, 0, 0, 2}));
    EXPECT_EQ(stop_daemon(), 0);
}

// Create, query, rename, delete from a client process; a third process sees
// the manager's state in the BD database.
TEST_F(VlanMgrdDaemonTest, VlanMgrdClientsCreateQueryAndDeleteAndTheDatabaseFollows)
{
    ASSERT_GT(start_daemon(), 0);
    const pid_t c = spawn([] {
        uint32_t h = 0;
        if (vlan_mgr_host_mts_open(0, &h) != 0)
            return 10;
        uint32_t rc = 0;
        if (create_vlans(h, {10, 20, 30}, nullptr, rc) != std::vector<uint32_t>{0, 0, 0})
            return 11;
        if (create_vlans(h, {40}, "blue", rc) != std::vector<uint32_t>{0})
            return 12;
        vlan_info_record info{};
        if (vlan_info(h, 40, info) != 0 || info.vdc_id != 1 || std::string(info.name) != "blue")
            return 13;
        if (list_vlans(h, rc) != with_bd({1, 10, 20, 30, 40}) || rc != 0)
            return 14;
        std::vector<uint32_t> st;
        if (delete_vlans(h, {20}, &st) != 0 || st != std::vector<uint32_t>{0})
            return 15;
        if (list_vlans(h, rc) != with_bd({1, 10, 30, 40}))
            return 16;
        // Port 1 in access VLAN 10; port 2 a trunk allowing 30 and 40.
        if (set_access(h, kPort1, 10) != 0)
            return 17;
        if (trunk_update(h, kPort2, 12, VLAN_MGR_PORT_MODE_TRUNK, {}) != 0 ||
            trunk_update(h, kPort2, 2, 0, {30, 40}) != 0)
            return 18;
        PortView v1, v2;
        if (port_view(h, kPort1, v1) != 0 || v1.mode != VLAN_MGR_PORT_MODE_ACCESS || v1.access != 10)
            return 19;
        if (port_view(h, kPort2, v2) != 0 || v2.mode != VLAN_MGR_PORT_MODE_TRUNK ||
            v2.allowed != std::vector<uint32_t>{30, 40})
            return 20;
        return 0;
    });
    ASSERT_EQ(join(c), 0);

    const pid_t reader = spawn([] {
        uint16_t bd = 0;
        for (uint32_t v : {1u, 10u, 30u, 40u})
            if (vlan_get_bd(vdc_vlan_id_t{1, v}, &bd) != 0 || bd != v)
                return static_cast<int>(20 + v % 100);
        if (vlan_get_bd(vdc_vlan_id_t{1, 20}, &bd) == 0)
            return 30;  // deleted: no record
        vlan_close_bd_sdb(1);
        return 0;
    });
    EXPECT_EQ(join(reader), 0);
    EXPECT_EQ(stop_daemon(), 0);
}

// A subscriber to the create and delete notifications keeps its BD cache in
// step through the library's notification parsers.
TEST_F(VlanMgrdDaemonTest, VlanMgrdSubscriberKeepsItsBdCacheCoherent)
{
    ASSERT_GT(start_daemon(), 0);
    Pipe ready, go;
    const pid_t sub = spawn([&] {
        uint32_t h = 0;
        if (vlan_mgr_host_mts_open(0, &h) != 0)
            return 10;
        vlan_mgr_enable_cached_bd_sdb();
        for (uint32_t opc : {VLAN_MGR_NOTIF_VLAN_CREATE, VLAN_MGR_NOTIF_VLAN_DELETE})
            if (vlan_mgr_host_mts_subscribe(h, VLAN_MGR_MTS_DEST_NODE, VLAN_MGR_MTS_SAP, opc) != 0)
                return 11;
        // The subscription travels to the publisher on its own: create and
        // delete a probe VLAN until its notification comes back.
        bool synced = false;
        for (int attempt = 0; attempt < 20 && !synced; ++attempt) {
            uint32_t rc = 0;
            create_vlans(h, {3000}, "", rc);
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
            return 12;
        ready.raise();
        // Expect: created 11, 12; deleted 3000 (the probe), 11.
        std::set<uint32_t> created, deleted;
        while (created.size() < 2 || deleted.count(11) == 0) {
            mts_msg_hdl_t m{};
            if (vlan_mgr_host_mts_recv_timed(h, &m, nullptr, 5000) != 0)
                return 13;
            const uint32_t opc = mts_opc_get(&m);
            void *records = nullptr;
            uint32_t count = 0;
            if (vlan_mgr_parse_notification_msg(&m, &records, &count, malloc) != 0)
                return 14;
            std::free(records);
            if (opc == VLAN_MGR_NOTIF_VLAN_CREATE) {
                vlan_create_notif2_t *cr = nullptr;
                if (vlan_mgr_parse_create_notification_msg(&m, &cr, &count, malloc) != 0)
                    return 15;
                for (uint32_t i = 0; i < count; ++i) {
                    const uint32_t v = cr[i].vdc_vlan.vlan_id;
                    created.insert(v);
                }
                std::free(cr);
            } else if (opc == VLAN_MGR_NOTIF_VLAN_DELETE) {
                vlan_delete_notif2_t *dr = nullptr;
                if (vlan_mgr_parse_delete_notification_msg(&m, &dr, &count, malloc) != 0)
                    return 16;
                for (uint32_t i = 0; i < count; ++i) {
                    const uint32_t v = dr[i].vdc_vlan.vlan_id;
                    deleted.insert(v);
                }
                std::free(dr);
            }
            mts_drop(h, &m);
        }
        if (created != std::set<uint32_t>{11, 12})
            return 17;
        uint16_t bd = 0;
        if (vlan_get_bd(vdc_vlan_id_t{1, 12}, &bd) != 0 || bd != 12)
            return 18;
        if (vlan_get_bd(vdc_vlan_id_t{1, 11}, &bd) == 0)
            return 19;  // its cache entry was cleared, and the database has no record
        if (vlan_get_bd(vdc_vlan_id_t{1, 3000}, &bd) == 0)
            return 20;
        return 0;
    });
    ASSERT_EQ(ready.wait_for(15000), 'x');
    uint32_t rc = 0;
    EXPECT_EQ(create_vlans(client(), {11, 12}, nullptr, rc), (std::vector<uint32_t>{0, 0}));
    EXPECT_EQ(delete_vlans(client(), {11}), 0u);
    EXPECT_EQ(join(sub), 0);
    EXPECT_EQ(stop_daemon(), 0);
}

// kill -9, then a new daemon on the same state: every VLAN and name is back,
// and the database is published again before the first request is answered.
TEST_F(VlanMgrdDaemonTest, VlanMgrdStateSurvivesKill9)
{
    ASSERT_GT(start_daemon(), 0);
    uint32_t rc = 0;
    ASSERT_EQ(create_vlans(client(), {100, 200, 300}, nullptr, rc), (std::vector<uint32_t>{0, 0, 0}));
    ASSERT_EQ(create_vlans(client(), {400}, "red", rc), std::vector<uint32_t>{0});
    ASSERT_EQ(delete_vlans(client(), {200}), 0u);
    ASSERT_EQ(set_access(client(), kPort1, 300), 0u);
    ASSERT_EQ(trunk_update(client(), kPort2, 12, VLAN_MGR_PORT_MODE_TRUNK, {}), 0u);
    ASSERT_EQ(trunk_update(client(), kPort2, 2, 0, {100, 400}), 0u);
    PortView before1, before2;
    ASSERT_EQ(port_view(client(), kPort1, before1), 0u);
    ASSERT_EQ(port_view(client(), kPort2, before2), 0u);
    EXPECT_EQ(before1.access, 300u);
    EXPECT_EQ(before2.allowed, (std::vector<uint32_t>{100, 400}));
    EXPECT_EQ(stop_daemon(SIGKILL), -1);

    // The database is removed with the daemon down: only the restart can bring it back.
    std::error_code ec;
    std::filesystem::remove_all(sdb_root_, ec);
    ASSERT_EQ(mkdir(sdb_root_.c_str(), 0700), 0);
    reopen_client();
    ASSERT_GT(start_daemon(), 0);

    const pid_t reader = spawn([] {
        uint16_t bd = 0;
        for (uint32_t v : {1u, 100u, 300u, 400u})
            if (vlan_get_bd(vdc_vlan_id_t{1, v}, &bd) != 0 || bd != v)
                return static_cast<int>(10 + v / 100);
        if (vlan_get_bd(vdc_vlan_id_t{1, 200}, &bd) == 0)
            return 20;
        return 0;
    });
    EXPECT_EQ(join(reader), 0);
    EXPECT_EQ(list_vlans(client(), rc), with_bd({1, 100, 300, 400}));
    vlan_info_record info{};
    EXPECT_EQ(vlan_info(client(), 400, info), 0u);
    EXPECT_STREQ(info.name, "red");
    PortView after1, after2;
    EXPECT_EQ(port_view(client(), kPort1, after1), 0u);
    EXPECT_EQ(port_view(client(), kPort2, after2), 0u);
    EXPECT_EQ(after1, before1);
    EXPECT_EQ(after2, before2);
    EXPECT_EQ(stop_daemon(), 0);
}

} // namespace
} // namespace vlan_mgrd::daemon_test
