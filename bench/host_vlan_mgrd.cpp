// The VLAN manager daemon measured through the host transport, the way a
// client sees it: vlan_mgrd runs in its own process on a temporary run
// directory and database root, and this program sends it the library's
// requests. Each operation is timed by the wall clock (the work happens in
// the daemon and the transport's I/O threads) and printed beside two floors
// measured in the same run: 4094 round trips of a request the daemon answers
// at once (an opcode nobody serves), and 4094 ping-pongs over a Unix socket
// pair. Only the ratios are stable on a shared machine; the goal is that
// every operation on the full VLAN space stays under one second.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vlan_mgr/vlan_mgr.h>
#include <vlan_mgr/opcodes.h>

#include "vlan_mgr_host.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32_t kVlans = 4094;
constexpr uint32_t kPorts = 48;
constexpr uint32_t kNoSuchOpcode = 0x5DFFu;

std::string g_dir;
pid_t g_daemon = -1;
uint32_t g_client = 0;

double ms_since(Clock::time_point t0)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - t0).count();
}

// One request-reply exchange; the reply payload, empty when it failed.
std::vector<uint8_t> exchange(uint32_t opcode, const void *payload, uint32_t len, int32_t &rc)
{
    mts_addr_t addr{};
    addr.word[0] = 1;
    mts_msg_hdl_t sent{};
    // Sent with an address record, the payload is the transport's to free.
    void *copy = std::malloc(len != 0 ? len : 1);
    if (copy != nullptr && len != 0)
        std::memcpy(copy, payload, len);
    rc = mts_send(g_client, VLAN_MGR_MTS_DEST_NODE, VLAN_MGR_MTS_SAP, opcode, copy, len, &sent, nullptr, &addr);
    if (rc != 0)
        return {};
    mts_recv_opts_t opts{};
    opts.word[0] = 1;
    opts.word[3] = mts_rr_token_get(&sent);
    mts_drop(g_client, &sent);
    mts_msg_hdl_t reply{};
    rc = mts_recv(g_client, &reply, &opts);
    if (rc != 0)
        return {};
    const auto *p = static_cast<const uint8_t *>(mts_payload_get(&reply));
    std::vector<uint8_t> out(p, p + mts_payload_size(&reply));
    mts_drop(g_client, &reply);
    return out;
}

void stop_daemon()
{
    if (g_daemon > 0) {
        kill(g_daemon, SIGTERM);
        waitpid(g_daemon, nullptr, 0);
        g_daemon = -1;
    }
    if (!g_dir.empty()) {
        std::error_code ec;
        std::filesystem::remove_all(g_dir, ec);
    }
}

bool start_daemon(bool no_sync)
{
    char tmpl[] = "/tmp/vlan_mgrd_bench.XXXXXX";
    if (mkdtemp(tmpl) == nullptr)
        return false;
    g_dir = tmpl;
    const std::string run = g_dir + "/run", sdb = g_dir + "/sdb", state = g_dir + "/vlan_mgrd.state";
    std::filesystem::create_directory(sdb);
    std::filesystem::create_directory(g_dir + "/hist");
    setenv("VLAN_MGR_RUN_DIR", run.c_str(), 1);
    setenv("VLAN_MGR_SDB_ROOT", sdb.c_str(), 1);
    setenv("VLAN_MGR_HIST_DIR", (g_dir + "/hist").c_str(), 1);
    setenv("VLAN_MGR_MTS_TIMEOUT_MS", "20000", 1);
    g_daemon = fork();
    if (g_daemon == 0) {
        const int null = open("/dev/null", O_WRONLY);
        if (null >= 0)
            dup2(null, STDOUT_FILENO);
        execl(VLAN_MGRD_BIN, VLAN_MGRD_BIN, "--foreground", "--run-dir", run.c_str(), "--state", state.c_str(),
              "--sdb-root", sdb.c_str(), no_sync ? "--no-sync" : static_cast<char *>(nullptr),
              static_cast<char *>(nullptr));
        _exit(127);
    }
    const std::string pid_file = run + "/vlan_mgrd.pid";
    for (int i = 0; i < 2000; ++i) {
        if (access(pid_file.c_str(), R_OK) == 0)
            return vlan_mgr_host_mts_open(0, &g_client) == 0;
        if (waitpid(g_daemon, nullptr, WNOHANG) == g_daemon) {
            g_daemon = -1;
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
}

// 4094 ping-pongs of 4 bytes over a Unix socket pair with a forked echo.
double socketpair_floor_ms()
{
    int sv[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, sv) != 0)
        return -1;
    const pid_t echo = fork();
    if (echo == 0) {
        close(sv[0]);
        char buf[4];
        while (read(sv[1], buf, sizeof buf) == 4)
            if (write(sv[1], buf, 4) != 4)
                break;
        _exit(0);
    }
    close(sv[1]);
    char buf[4] = {1, 2, 3, 4};
    const auto t0 = Clock::now();
    for (uint32_t i = 0; i < kVlans; ++i)
        if (write(sv[0], buf, 4) != 4 || read(sv[0], buf, 4) != 4)
            break;
    const double ms = ms_since(t0);
    close(sv[0]);
    waitpid(echo, nullptr, 0);
    return ms;
}

// 4094 round trips of a request the daemon answers with a bare status.
double empty_request_floor_ms()
{
    const uint8_t req[4] = {0, 0, 0, 1};
    int32_t rc = 0;
    const auto t0 = Clock::now();
    for (uint32_t i = 0; i < kVlans; ++i) {
        exchange(kNoSuchOpcode, req, sizeof req, rc);
        if (rc != 0)
            return -1;
    }
    return ms_since(t0);
}

// Sends a create of `ids`; counts the VLANs whose status is 0.
uint32_t create(const std::vector<uint32_t> &ids, int32_t &rc)
{
    void *p = nullptr;
    uint32_t len = 0;
    if (vlan_create_build_mts(1, static_cast<uint16_t>(ids.size()), ids.data(), "", 0, &p, &len) != 0) {
        rc = -1;
        return 0;
    }
    const std::vector<uint8_t> r = exchange(VLAN_MGR_OPC_VLAN_CREATE, p, len, rc);
    std::free(p);
    uint16_t vdc = 0, count = 0;
    uint32_t *out_ids = nullptr, *statuses = nullptr;
    uint32_t ok = 0;
    if (rc == 0 && vlan_create_parse_reply(&vdc, &count, &out_ids, &statuses, r.data(),
                                           static_cast<uint32_t>(r.size())) == 0)
        for (uint32_t i = 0; i < count; ++i)
            ok += statuses[i] == 0;
    std::free(out_ids);
    std::free(statuses);
    return ok;
}

uint32_t delete_all(const std::vector<uint32_t> &ids, int32_t &rc)
{
    void *p = nullptr;
    uint32_t len = 0;
    if (vlan_delete_build_mts(1, static_cast<uint32_t>(ids.size()), ids.data(), &p, &len) != 0) {
        rc = -1;
        return 0;
    }
    const std::vector<uint8_t> r = exchange(VLAN_MGR_OPC_VLAN_DELETE, p, len, rc);
    std::free(p);
    vlan_delete_result_t *results = nullptr;
    uint32_t count = 0, ok = 0;
    uint16_t vdc = 0;
    if (rc == 0)
        vlan_delete_parse_reply(&results, &count, &vdc, r.data(), static_cast<int32_t>(r.size()));
    for (uint32_t i = 0; results != nullptr && i < count; ++i)
        ok += results[i].status == 0;
    std::free(results);
    return ok;
}

uint32_t list_all(int32_t &rc, std::vector<uint32_t> *ids = nullptr)
{
    const uint16_t vdc = 1;
    void *p = nullptr;
    uint32_t len = 0;
    vlan_get_all_created_vlan_build_mts(&vdc, 1, &p, &len);
    const std::vector<uint8_t> r = exchange(VLAN_MGR_OPC_ALL_CREATED_VLAN, p, len, rc);
    std::free(p);
    created_vlan_record *records = nullptr;
    uint32_t count = 0;
    if (rc == 0 && vlan_get_all_created_vlan_parse_reply(&records, &count, r.data(),
                                                         static_cast<uint32_t>(r.size())) != 0)
        count = 0;
    for (uint32_t i = 0; ids != nullptr && i < count; ++i)
        ids->push_back(records[i].vlan_id);
    std::free(records);
    return count;
}

// One trunking update of the 48 ports of the default interface table with
// the VLANs `vlans` in each record's bitmap: the number of ports whose
// status in the reply is 0.
uint32_t trunk_all(int32_t op, uint16_t value, const std::vector<uint32_t> &vlans, int32_t &rc)
{
    std::vector<uint32_t> ifs(kPorts);
    std::vector<trunking_update_input> in(kPorts);
    for (uint32_t i = 0; i < kPorts; ++i) {
        ifs[i] = 0x01010000u + i + 1;
        std::memset(&in[i], 0, sizeof in[i]);
        in[i].vdc_vlan.vdc_id = 1;
        in[i].vdc_vlan.vlan_id = 1;
        in[i].id = value;
        in[i].bitmap.len = VLAN_MGR_BITMAP_BYTES;
        for (uint32_t v : vlans)
            in[i].bitmap.bits[v / 8] = static_cast<uint8_t>(in[i].bitmap.bits[v / 8] | (0x80u >> (v % 8)));
    }
    void *p = nullptr;
    uint32_t len = 0;
    if (vlan_update_port_trunking_memb_build_mts(ifs.data(), kPorts, in.data(), op, &p, &len) != 0) {
        rc = -1;
        return 0;
    }
    const std::vector<uint8_t> r = exchange(VLAN_MGR_OPC_UPDATE_PORT_TRUNKING_MEMB, p, len, rc);
    std::free(p);
    trunking_update_result *result = nullptr;
    if (rc != 0 || r.size() < 4 || vlan_update_port_trunking_memb_parse_reply(&result, r.data()) != 0)
        return 0;
    uint32_t ok = 0;
    for (uint32_t i = 0; i < result->count; ++i)
        ok += result->pairs[i].word_2 == 0;
    std::free(result);
    return ok;
}

void row(const char *what, double ms, double floor_ms, const std::string &note)
{
    std::printf("%-46s %10.1f %8.2f %6s  %s\n", what, ms, floor_ms > 0 ? ms / floor_ms : 0.0,
                ms < 1000.0 ? "yes" : "NO", note.c_str());
}

} // namespace

int main(int argc, char **argv)
{
    // --no-sync: the daemon does not flush each save (vlan_mgrd --no-sync).
    const bool no_sync = argc > 1 && std::strcmp(argv[1], "--no-sync") == 0;
    // The socket-pair floor forks its echo before this process uses the transport.
    const double pair_ms = socketpair_floor_ms();
    if (!start_daemon(no_sync)) {
        std::fprintf(stderr, "bench_host_vlan_mgrd: vlan_mgrd (%s) did not start\n", VLAN_MGRD_BIN);
        stop_daemon();
        return 1;
    }
    int32_t rc = 0;
    const double floor_ms = empty_request_floor_ms();
    if (floor_ms <= 0) {
        std::fprintf(stderr, "bench_host_vlan_mgrd: the daemon did not answer\n");
        stop_daemon();
        return 1;
    }
    std::printf("floors: %u empty requests through the daemon %.1f ms (%.1f us each); %u socket-pair ping-pongs "
                "%.1f ms (daemon floor / socket pair = %.2f)\n\n",
                kVlans, floor_ms, floor_ms * 1000.0 / kVlans, kVlans, pair_ms, pair_ms > 0 ? floor_ms / pair_ms : 0.0);
    std::printf("%-46s %10s %8s %6s  %s\n", "operation", "ms", "/floor", "<1s", "result");

    std::vector<uint32_t> all;
    for (uint32_t v = 1; v <= kVlans; ++v)
        all.push_back(v);

    auto t0 = Clock::now();
    uint32_t ok = create(all, rc);
    row("create VLANs 1-4094 in one request", ms_since(t0), floor_ms,
        std::to_string(ok) + " created (rc " + std::to_string(rc) + ")");

    std::vector<uint32_t> created;
    t0 = Clock::now();
    uint32_t listed = list_all(rc, &created);
    row("all-created listing", ms_since(t0), floor_ms, std::to_string(listed) + " VLANs listed");

    // The ports become trunks that allow nothing (untimed), then every VLAN
    // is allowed on all 48 in one update (operation 2, set allowed).
    trunk_all(12, VLAN_MGR_PORT_MODE_TRUNK, {}, rc);
    trunk_all(11, 0, {}, rc);
    t0 = Clock::now();
    const uint32_t trunked = trunk_all(2, 0, created, rc);
    row("48 trunk ports on every VLAN (one update)", ms_since(t0), floor_ms,
        std::to_string(trunked) + " ports now allow the " + std::to_string(created.size()) + " VLANs");

    t0 = Clock::now();
    ok = delete_all(all, rc);
    row("delete VLANs 1-4094 in one request", ms_since(t0), floor_ms, std::to_string(ok) + " deleted");

    t0 = Clock::now();
    ok = 0;
    for (uint32_t v = 1; v <= kVlans; ++v)
        ok += create({v}, rc);
    row("4094 single-VLAN create requests", ms_since(t0), floor_ms, std::to_string(ok) + " created");

    t0 = Clock::now();
    listed = list_all(rc);
    row("all-created listing", ms_since(t0), floor_ms, std::to_string(listed) + " VLANs listed");

    vlan_mgr_host_mts_close(g_client);
    vlan_mgr_host_mts_shutdown();
    stop_daemon();
    return 0;
}
