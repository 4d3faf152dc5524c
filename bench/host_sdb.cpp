// Reading one BD record from the host platform's shared database, side by
// side with the floor under it and with what other systems pay:
//   BM_sdb_read      sdb_read of VDC 1's VLAN 100 record (18 bytes)
//   BM_lmdb_get      the same record from an identical file with LMDB itself:
//                    renew a read transaction, get, copy the bytes out, reset
//   BM_redis_hget    the same record with a Redis HGET over a Unix socket, from
//                    a redis-server that the benchmark starts (no TCP port)
//                    and stops; skipped when redis-server or hiredis is missing
// and a 99-key sdb_mfetch (the library's batch) against 99 gets in one LMDB
// transaction. Through the library itself, on VDC 5's BD database file
// (/dev/shm/5/vlan_mgr_bd_sdb, made for the run and removed after it):
//   BM_vlan_get_bd_miss      vlan_get_bd with the cache off: one database read
//   BM_multi_vlan_type_4094  vlan_mgr_sdb_get_multi_vlan_type over VLANs
//                            1..4094, against 4094 LMDB gets in one transaction
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <lmdb.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#ifdef VLAN_MGR_BENCH_HIREDIS
#include <hiredis/hiredis.h>
#endif

#include <vlan_mgr/bd_db.h>

#include "ratio.h"
#include "vlan_mgr_host_sdb.h"
#include "vlan_mgr_platform.h"

namespace {

constexpr uint32_t kVlans = 4094;
constexpr uint32_t kBatch = 99;

void bd_key(uint32_t vlan, uint8_t out[4], uint8_t vdc = 1)
{
    out[0] = vdc;
    out[1] = static_cast<uint8_t>(vlan >> 16);
    out[2] = static_cast<uint8_t>(vlan >> 8);
    out[3] = static_cast<uint8_t>(vlan);
}

// A bd_record: BD, primary VLAN, type, mode, segment id, big-endian.
void bd_record(uint32_t vlan, uint8_t out[18])
{
    std::memset(out, 0, 18);
    out[0] = static_cast<uint8_t>((vlan + 4096) >> 8);
    out[1] = static_cast<uint8_t>(vlan + 4096);
    out[4] = static_cast<uint8_t>(vlan >> 8);
    out[5] = static_cast<uint8_t>(vlan);
    out[9] = 1;
}

// The library's own database of VDC 5.
constexpr uint16_t kLibVdc = 5;
constexpr char kLibUri[] = "volatile:/dev/shm/5/vlan_mgr_bd_sdb";

struct Fixture {
    bool lib_ok = false;
    std::string dir;
    std::string uri;
    bool ok = false;
    MDB_env *env = nullptr;
    MDB_txn *txn = nullptr;
    MDB_dbi dbi = 0;
    pid_t redis_pid = -1;
#ifdef VLAN_MGR_BENCH_HIREDIS
    redisContext *redis = nullptr;
#endif

    Fixture()
    {
        // The run's own database root: "/dev/shm/" in a URI names it.
        char tmpl[] = "/dev/shm/vlan_mgr_bench_sdb.XXXXXX";
        if (mkdtemp(tmpl) == nullptr)
            return;
        dir = tmpl;
        setenv("VLAN_MGR_SDB_ROOT", dir.c_str(), 1);
        uri = "volatile:/dev/shm/vlan_mgr_bd_sdb";
        const std::string floor_uri = "volatile:/dev/shm/floor_sdb";
        // The same records in both files; the floor's publisher is closed so
        // that LMDB can open that file directly in this process.
        if (!publish(uri) || !publish(floor_uri) || sdb_open(uri.c_str(), 1, 0, 0, 0) != 0)
            return;
        const std::string floor_path = dir + "/floor_sdb";
        if (mdb_env_create(&env) != 0 ||
            mdb_env_open(env, floor_path.c_str(), MDB_NOSUBDIR | MDB_RDONLY | MDB_NOTLS | MDB_NORDAHEAD, 0644) != 0 ||
            mdb_txn_begin(env, nullptr, MDB_RDONLY, &txn) != 0 || mdb_dbi_open(txn, nullptr, 0, &dbi) != 0)
            return;
        mdb_txn_reset(txn);
        lib_ok = publish(kLibUri, kLibVdc);
        start_redis();
        ok = true;
    }

    static bool publish(const std::string &u, uint8_t vdc = 1)
    {
        sdb_pub_t *pub = nullptr;
        if (sdb_pub_open(u.c_str(), &pub) != 0)
            return false;
        for (uint32_t v = 1; v <= kVlans; ++v) {
            uint8_t k[4], r[18];
            bd_key(v, k, vdc);
            bd_record(v, r);
            sdb_key_t key{k, 4};
            sdb_pub_put(pub, &key, r, sizeof r);
        }
        const bool ok = sdb_pub_commit(pub) == 0;
        sdb_pub_close(pub);
        return ok;
    }

    void start_redis()
    {
#ifdef VLAN_MGR_BENCH_HIREDIS
        const std::string sock = dir + "/redis.sock";
        int out[2];
        if (pipe(out) != 0)
            return;
        redis_pid = fork();
        if (redis_pid == 0) {
            dup2(out[1], STDOUT_FILENO);
            close(out[0]);
            close(out[1]);
            execlp("redis-server", "redis-server", "--port", "0", "--unixsocket", sock.c_str(), "--unixsocketperm",
                   "700", "--save", "", "--appendonly", "no", "--daemonize", "no", "--dir", dir.c_str(),
                   static_cast<char *>(nullptr));
            _exit(127);
        }
        close(out[1]);
        // The server says when it accepts connections ("ready to accept connections",
        // capitalised by some versions); EOF means it did not start.
        std::string log;
        char buf[512];
        ssize_t n;
        while (log.find("eady to accept connections") == std::string::npos && (n = read(out[0], buf, sizeof buf)) > 0)
            log.append(buf, static_cast<size_t>(n));
        close(out[0]); // the server ignores SIGPIPE: later log lines are dropped
        if (log.find("eady to accept connections") == std::string::npos) {
            stop_redis();
            return;
        }
        redis = redisConnectUnix(sock.c_str());
        if (redis == nullptr || redis->err != 0) {
            stop_redis();
            return;
        }
        for (uint32_t v = 1; v <= kVlans; ++v) {
            uint8_t k[4], r[18];
            bd_key(v, k);
            bd_record(v, r);
            redisReply *reply = static_cast<redisReply *>(
                redisCommand(redis, "HSET vlan_mgr_bd_sdb %b %b", k, size_t{4}, r, size_t{18}));
            if (reply == nullptr) {
                stop_redis();
                return;
            }
            freeReplyObject(reply);
        }
#endif
    }

    void stop_redis()
    {
#ifdef VLAN_MGR_BENCH_HIREDIS
        if (redis != nullptr)
            redisFree(redis);
        redis = nullptr;
#endif
        if (redis_pid > 0) {
            kill(redis_pid, SIGTERM);
            waitpid(redis_pid, nullptr, 0);
        }
        redis_pid = -1;
    }

    ~Fixture()
    {
        stop_redis();
        if (txn != nullptr)
            mdb_txn_abort(txn);
        if (env != nullptr)
            mdb_env_close(env);
        sdb_close(uri.c_str());
        vlan_close_bd_sdb(kLibVdc);
        const std::string lib_dir = dir + "/5";
        unlink((lib_dir + "/vlan_mgr_bd_sdb").c_str());
        unlink((lib_dir + "/vlan_mgr_bd_sdb-lock").c_str());
        rmdir(lib_dir.c_str());
        if (DIR *d = opendir(dir.c_str())) {
            while (dirent *e = readdir(d))
                if (e->d_name[0] != '.')
                    unlink((dir + "/" + e->d_name).c_str());
            closedir(d);
        }
        rmdir(dir.c_str());
    }
};

// CPU time (user + system, ns) that process `pid` has used so far, from
// /proc/<pid>/stat; 0 when unknown.
double process_cpu_ns(pid_t pid)
{
    char path[64];
    std::snprintf(path, sizeof path, "/proc/%d/stat", static_cast<int>(pid));
    FILE *f = std::fopen(path, "r");
    if (f == nullptr)
        return 0;
    char buf[1024];
    const size_t n = std::fread(buf, 1, sizeof buf - 1, f);
    std::fclose(f);
    buf[n] = '\0';
    // Fields after the command's closing parenthesis: state is field 3,
    // utime and stime are fields 14 and 15.
    const char *p = std::strrchr(buf, ')');
    unsigned long long utime = 0, stime = 0;
    if (p == nullptr || std::sscanf(p + 2, "%*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %llu %llu", &utime,
                                    &stime) != 2)
        return 0;
    return static_cast<double>(utime + stime) * 1e9 / static_cast<double>(sysconf(_SC_CLK_TCK));
}

Fixture &fx()
{
    static Fixture f;
    return f;
}

void BM_sdb_read(benchmark::State &state)
{
    Fixture &f = fx();
    if (!f.ok) {
        state.SkipWithError("database not set up");
        return;
    }
    uint8_t k[4];
    bd_key(100, k);
    sdb_key_t key{k, 4};
    const char *handle = f.uri.c_str();
    for (auto _ : state) {
        int32_t err;
        const sdb_rec_t *rec = sdb_read(handle, &key, &err);
        benchmark::DoNotOptimize(rec);
        benchmark::DoNotOptimize(static_cast<const uint8_t *>(rec->data)[1]);
    }
}
BENCHMARK(BM_sdb_read);

void BM_lmdb_get(benchmark::State &state)
{
    Fixture &f = fx();
    if (!f.ok) {
        state.SkipWithError("database not set up");
        return;
    }
    uint8_t k[4];
    bd_key(100, k);
    uint8_t copy[64];
    for (auto _ : state) {
        mdb_txn_renew(f.txn);
        MDB_val key{4, k}, val;
        if (mdb_get(f.txn, f.dbi, &key, &val) == 0 && val.mv_size <= sizeof copy)
            std::memcpy(copy, val.mv_data, val.mv_size);
        mdb_txn_reset(f.txn);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(BM_lmdb_get);

void BM_redis_hget(benchmark::State &state)
{
#ifdef VLAN_MGR_BENCH_HIREDIS
    Fixture &f = fx();
    if (!f.ok || f.redis == nullptr) {
        state.SkipWithError("redis-server not available");
        return;
    }
    uint8_t k[4];
    bd_key(100, k);
    // The server's work is done in its own process, outside this thread's CPU
    // time: it is reported beside it as server_cpu_ns per HGET.
    const double server_before = process_cpu_ns(f.redis_pid);
    for (auto _ : state) {
        redisReply *reply =
            static_cast<redisReply *>(redisCommand(f.redis, "HGET vlan_mgr_bd_sdb %b", k, size_t{4}));
        if (reply == nullptr || reply->type != REDIS_REPLY_STRING || reply->len != 18) {
            state.SkipWithError("HGET failed");
            if (reply != nullptr)
                freeReplyObject(reply);
            return;
        }
        benchmark::DoNotOptimize(reply->str[1]);
        freeReplyObject(reply);
    }
    if (state.iterations() > 0)
        state.counters["server_cpu_ns"] =
            (process_cpu_ns(f.redis_pid) - server_before) / static_cast<double>(state.iterations());
#else
    state.SkipWithError("built without hiredis");
#endif
}
BENCHMARK(BM_redis_hget);

void BM_sdb_mfetch_99(benchmark::State &state)
{
    Fixture &f = fx();
    if (!f.ok) {
        state.SkipWithError("database not set up");
        return;
    }
    uint8_t kb[kBatch][4];
    sdb_key_t keys[kBatch];
    for (uint32_t i = 0; i < kBatch; ++i) {
        bd_key(1000 + i, kb[i]);
        keys[i] = {kb[i], 4};
    }
    sdb_rec_t recs[kBatch];
    const char *handle = f.uri.c_str();
    for (auto _ : state) {
        int32_t err;
        sdb_mfetch(handle, keys, kBatch, recs, &err);
        benchmark::DoNotOptimize(static_cast<const uint8_t *>(recs[kBatch - 1].data)[1]);
        sdb_mfetch_done(handle, recs, kBatch);
    }
}
BENCHMARK(BM_sdb_mfetch_99);

void BM_lmdb_get_99(benchmark::State &state)
{
    Fixture &f = fx();
    if (!f.ok) {
        state.SkipWithError("database not set up");
        return;
    }
    uint8_t kb[kBatch][4];
    for (uint32_t i = 0; i < kBatch; ++i)
        bd_key(1000 + i, kb[i]);
    static uint8_t copy[kBatch][18];
    for (auto _ : state) {
        mdb_txn_renew(f.txn);
        for (uint32_t i = 0; i < kBatch; ++i) {
            MDB_val key{4, kb[i]}, val;
            if (mdb_get(f.txn, f.dbi, &key, &val) == 0 && val.mv_size == 18)
                std::memcpy(copy[i], val.mv_data, 18);
        }
        mdb_txn_reset(f.txn);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(BM_lmdb_get_99);

void BM_vlan_get_bd_miss(benchmark::State &state)
{
    Fixture &f = fx();
    if (!f.lib_ok) {
        state.SkipWithError("VDC 5 database not set up");
        return;
    }
    vlan_mgr_disable_cached_bd_sdb();
    uint16_t bd = 0;
    for (auto _ : state) {
        vlan_get_bd(vdc_vlan_id_t{kLibVdc, 100}, &bd);
        benchmark::DoNotOptimize(bd);
    }
    if (bd != 100 + 4096)
        state.SkipWithError("wrong BD");
}
BENCHMARK(BM_vlan_get_bd_miss);

void BM_multi_vlan_type_4094(benchmark::State &state)
{
    Fixture &f = fx();
    if (!f.lib_ok) {
        state.SkipWithError("VDC 5 database not set up");
        return;
    }
    vlan_bitmap bm{};
    bm.len = 512;
    for (uint32_t v = 1; v <= kVlans; ++v)
        bm.bits[v / 8] |= static_cast<uint8_t>(0x80u >> (v % 8));
    uint32_t count = 0;
    for (auto _ : state) {
        vlan_mgr_sdb_vlan_pair_t *pairs = nullptr;
        vlan_mgr_sdb_get_multi_vlan_type(kLibVdc, &bm, &count, &pairs);
        benchmark::DoNotOptimize(pairs);
        std::free(pairs);
    }
    if (count != kVlans)
        state.SkipWithError("wrong count");
}
BENCHMARK(BM_multi_vlan_type_4094);

void BM_lmdb_get_4094(benchmark::State &state)
{
    Fixture &f = fx();
    if (!f.ok) {
        state.SkipWithError("database not set up");
        return;
    }
    static uint8_t kb[kVlans][4];
    static uint8_t copy[kVlans][18];
    for (uint32_t i = 0; i < kVlans; ++i)
        bd_key(i + 1, kb[i]);
    for (auto _ : state) {
        mdb_txn_renew(f.txn);
        for (uint32_t i = 0; i < kVlans; ++i) {
            MDB_val key{4, kb[i]}, val;
            if (mdb_get(f.txn, f.dbi, &key, &val) == 0 && val.mv_size == 18)
                std::memcpy(copy[i], val.mv_data, 18);
        }
        mdb_txn_reset(f.txn);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(BM_lmdb_get_4094);

BENCH_RATIO("BM_sdb_read", "BM_lmdb_get", 1.5);
BENCH_RATIO("BM_vlan_get_bd_miss", "BM_lmdb_get", 1.5);
BENCH_RATIO("BM_redis_hget", "BM_vlan_get_bd_miss", 0);
BENCH_RATIO("BM_multi_vlan_type_4094", "BM_lmdb_get_4094", 0);
BENCH_RATIO("BM_redis_hget", "BM_lmdb_get", 0);
BENCH_RATIO("BM_redis_hget", "BM_sdb_read", 0);
BENCH_RATIO("BM_sdb_mfetch_99", "BM_lmdb_get_99", 1.5);

} // namespace

BENCH_RATIO_MAIN()
