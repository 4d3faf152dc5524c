// An MTS request-response round trip on the host transport (4-byte request,
// 4-byte reply, a server in another process) beside its floor: the same
// ping-pong over a plain Unix socket pair with a forked echo process. Both
// run in the same program; the ratio is of wall-clock time per round trip,
// since the work happens in two processes and ZeroMQ's I/O threads, which the
// benchmark thread's CPU time does not see.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include "host/host_platform.h"
#include "vlan_mgr_host_mts.h"

namespace {

constexpr uint32_t kSap = 190;
constexpr uint32_t kStop = 1;

pid_t g_server = 0;
uint32_t g_client = 0;
char g_dir[] = "/tmp/vlan_mgr_bench_mts.XXXXXX";

// The echo server on kSap, in a process of its own, until a kStop datagram.
void start_mts_server()
{
    if (g_server != 0)
        return;
    if (mkdtemp(g_dir) == nullptr)
        std::abort();
    setenv(vlan_mgr_host::ENV_RUN_DIR, g_dir, 1);
    int ready[2];
    if (pipe(ready) != 0)
        std::abort();
    g_server = fork();
    if (g_server == 0) {
        uint32_t h = 0;
        if (vlan_mgr_host_mts_open(kSap, &h) != 0)
            _exit(1);
        (void)!write(ready[1], "x", 1);
        for (;;) {
            mts_msg_hdl_t m{};
            if (mts_recv(h, &m, nullptr) != 0 || mts_opc_get(&m) == kStop)
                break;
            mts_send(h, 0, 0, 0, mts_payload_get(&m), mts_payload_size(&m), nullptr, &m, nullptr);
            mts_drop(h, &m);
        }
        vlan_mgr_host_mts_shutdown();
        _exit(0);
    }
    char c;
    if (read(ready[0], &c, 1) != 1)
        std::abort();
    close(ready[0]);
    close(ready[1]);
    if (vlan_mgr_host_mts_open(0, &g_client) != 0)
        std::abort();
}

void stop_mts_server()
{
    if (g_server == 0)
        return;
    mts_send(g_client, VLAN_MGR_HOST_MTS_LOCAL_NODE, kSap, kStop, nullptr, 0, nullptr, nullptr, nullptr);
    waitpid(g_server, nullptr, 0);
    vlan_mgr_host_mts_shutdown();
    rmdir(g_dir);
}

void BM_MtsRoundTrip(benchmark::State &state)
{
    start_mts_server();
    mts_addr_t addr{};
    addr.word[0] = 1;
    for (auto _ : state) {
        mts_msg_hdl_t sent{}, reply{};
        // As the library's autostate query does: a malloc'ed payload that
        // the transport takes with the address record.
        auto *value = static_cast<uint32_t *>(std::malloc(sizeof(uint32_t)));
        *value = 1;
        if (mts_send(g_client, VLAN_MGR_HOST_MTS_LOCAL_NODE, kSap, 0x5C53, value, 4, &sent, nullptr, &addr) != 0) {
            state.SkipWithError("mts_send failed");
            break;
        }
        mts_recv_opts_t opts{};
        opts.word[0] = 1;
        opts.word[3] = mts_rr_token_get(&sent);
        mts_drop(g_client, &sent);
        if (mts_recv(g_client, &reply, &opts) != 0) {
            state.SkipWithError("mts_recv failed");
            break;
        }
        std::memcpy(&value, mts_payload_get(&reply), 4);
        mts_drop(g_client, &reply);
    }
}
BENCHMARK(BM_MtsRoundTrip)->UseRealTime();

// The floor: 4 bytes out and 4 bytes back over a socket pair.
void BM_UnixSocketPingPong(benchmark::State &state)
{
    int sv[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, sv) != 0) {
        state.SkipWithError("socketpair failed");
        return;
    }
    pid_t echo = fork();
    if (echo == 0) {
        close(sv[0]);
        char buf[4];
        while (read(sv[1], buf, 4) == 4 && write(sv[1], buf, 4) == 4) {
        }
        _exit(0);
    }
    close(sv[1]);
    uint32_t value = 1;
    for (auto _ : state) {
        if (write(sv[0], &value, 4) != 4 || read(sv[0], &value, 4) != 4) {
            state.SkipWithError("ping-pong failed");
            break;
        }
    }
    close(sv[0]);
    waitpid(echo, nullptr, 0);
}
BENCHMARK(BM_UnixSocketPingPong)->UseRealTime();

class RealTimeCollector : public benchmark::ConsoleReporter {
public:
    std::map<std::string, double> ns;
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &r : runs)
            if (!r.error_occurred && r.run_type == Run::RT_Iteration)
                ns[r.benchmark_name()] =
                    r.GetAdjustedRealTime() * 1e9 / benchmark::GetTimeUnitMultiplier(r.time_unit);
        ConsoleReporter::ReportRuns(runs);
    }
};

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    RealTimeCollector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    stop_mts_server();
    auto b = collector.ns.find("BM_MtsRoundTrip/real_time");
    auto f = collector.ns.find("BM_UnixSocketPingPong/real_time");
    std::printf("\n%-48s %12s %12s %8s\n", "benchmark (wall clock)", "ns", "floor ns", "ratio");
    if (b != collector.ns.end() && f != collector.ns.end() && f->second > 0)
        std::printf("%-48s %12.1f %12.1f %8.2f\n", b->first.c_str(), b->second, f->second, b->second / f->second);
    benchmark::Shutdown();
    return 0;
}
