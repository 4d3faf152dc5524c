// The manager's socket as any local process can reach it, through a bare
// ZeroMQ DEALER on <run dir>/sap.167: a request for another SAP is not
// served, and tens of thousands of malformed messages (random bytes, valid
// headers with random payloads for every opcode the manager serves, payloads
// whose counts lie, wrong numbers of frames) leave it answering, with its
// memory flat after a warm-up.
#include "daemon_fixture.h"

#include <algorithm>
#include <random>

#include <vlan_mgr/opcodes.h>
#include <zmq.h>

#include "handlers.h"
#include "host/mts_frame.h"

namespace vlan_mgrd::daemon_test {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes header(uint32_t kind, uint32_t dest_sap, uint32_t opcode, uint32_t token, uint32_t vdc = 1)
{
    vlan_mgr_host::MtsFrame f{};
    f.kind = kind;
    f.src_vdc = vdc;
    f.src_node = VLAN_MGR_HOST_MTS_LOCAL_NODE;
    f.dest_sap = dest_sap;
    f.opcode = opcode;
    f.token = token;
    Bytes h(vlan_mgr_host::mts_frame_header_size());
    vlan_mgr_host::mts_frame_encode(f, h.data());
    return h;
}

// A bare ZeroMQ DEALER on the manager's request socket.
class RawDealer {
public:
    explicit RawDealer(const std::string &run_dir)
    {
        ctx_ = zmq_ctx_new();
        sock_ = zmq_socket(ctx_, ZMQ_DEALER);
        int zero = 0;
        zmq_setsockopt(sock_, ZMQ_LINGER, &zero, sizeof zero);
        const std::string addr = "ipc://" + run_dir + "/sap.167";
        zmq_connect(sock_, addr.c_str());
    }
    ~RawDealer()
    {
        zmq_close(sock_);
        zmq_ctx_term(ctx_);
    }
    RawDealer(const RawDealer &) = delete;
    RawDealer &operator=(const RawDealer &) = delete;

    void send(const std::vector<Bytes> &frames)
    {
        for (size_t i = 0; i < frames.size(); ++i)
            zmq_send(sock_, frames[i].data(), frames[i].size(), i + 1 < frames.size() ? ZMQ_SNDMORE : 0);
    }
    // The next reply's frames within `ms`; empty when none came.
    std::vector<Bytes> receive(int ms)
    {
        zmq_pollitem_t item{sock_, 0, ZMQ_POLLIN, 0};
        if (zmq_poll(&item, 1, ms) <= 0)
            return {};
        std::vector<Bytes> frames;
        for (;;) {
            zmq_msg_t m;
            zmq_msg_init(&m);
            if (zmq_msg_recv(&m, sock_, 0) < 0) {
                zmq_msg_close(&m);
                break;
            }
            const auto *p = static_cast<const uint8_t *>(zmq_msg_data(&m));
            frames.emplace_back(p, p + zmq_msg_size(&m));
            const bool more = zmq_msg_more(&m) != 0;
            zmq_msg_close(&m);
            if (!more)
                break;
        }
        return frames;
    }
    // Reads replies until the one with `token` (true), or none for `ms`.
    bool sync(uint32_t token, int ms)
    {
        for (;;) {
            const std::vector<Bytes> r = receive(ms);
            if (r.empty())
                return false;
            vlan_mgr_host::MtsFrame f{};
            if (r.size() == 2 && vlan_mgr_host::mts_frame_decode(r[0].data(), r[0].size(), &f) && f.token == token)
                return true;
        }
    }

private:
    void *ctx_ = nullptr;
    void *sock_ = nullptr;
};

Bytes create_payload(uint16_t vdc, std::vector<uint32_t> ids)
{
    void *p = nullptr;
    uint32_t len = 0;
    if (vlan_create_build_mts(vdc, static_cast<uint16_t>(ids.size()), ids.data(), "", 0, &p, &len) != 0)
        return {};
    Bytes b(static_cast<uint8_t *>(p), static_cast<uint8_t *>(p) + len);
    std::free(p);
    return b;
}

std::vector<uint32_t> created_in_vdc1(uint32_t h)
{
    const uint16_t vdc = 1;
    void *p = nullptr;
    uint32_t len = 0;
    if (vlan_get_all_created_vlan_build_mts(&vdc, 1, &p, &len) != 0)
        return {0xFFFFFFFFu};
    Exchange x = exchange_built(h, VLAN_MGR_OPC_ALL_CREATED_VLAN, p, len);
    created_vlan_record *records = nullptr;
    uint32_t count = 0;
    if (x.rc != 0 ||
        vlan_get_all_created_vlan_parse_reply(&records, &count, x.reply.data(), static_cast<uint32_t>(x.reply.size())) != 0)
        return {0xFFFFFFFEu};
    std::vector<uint32_t> out;
    for (uint32_t i = 0; i < count; ++i)
        out.push_back(records[i].vlan_id);
    std::free(records);
    return out;
}

// Every opcode the manager serves.
std::vector<uint32_t> served_opcodes()
{
    std::vector<uint32_t> out;
    for (std::span<const HandlerEntry> t : {config_handlers(), query_handlers(), membership_handlers(), misc_handlers()})
        for (const HandlerEntry &e : t)
            out.push_back(e.opcode);
    return out;
}

// A /proc/<pid>/status field in kB; -1 when absent.
long status_kb(pid_t pid, const std::string &field)
{
    const std::string s = read_file("/proc/" + std::to_string(pid) + "/status");
    const size_t at = s.find("\n" + field + ":");
    if (at == std::string::npos)
        return -1;
    return std::strtol(s.c_str() + at + field.size() + 2, nullptr, 10);
}

class GarbageTest : public VlanMgrdDaemonTest {};

TEST_F(GarbageTest, VlanMgrdDoesNotServeARequestNamingAnotherSap)
{
    ASSERT_GT(start_daemon({"--no-sync"}), 0);
    RawDealer d(run_dir_);
    // A create of VLAN 300 for SAP 99 on SAP 167's socket: no reply, no VLAN.
    d.send({header(VLAN_MGR_HOST_MTS_REQUEST, 99, VLAN_MGR_OPC_VLAN_CREATE, 1), create_payload(1, {300})});
    d.send({header(VLAN_MGR_HOST_MTS_DATAGRAM, 99, VLAN_MGR_OPC_VLAN_CREATE, 2), create_payload(1, {301})});
    EXPECT_TRUE(d.receive(500).empty());
    std::vector<uint32_t> vlans = created_in_vdc1(client());
    EXPECT_EQ(std::count(vlans.begin(), vlans.end(), 300u), 0) << ::testing::PrintToString(vlans);
    EXPECT_EQ(std::count(vlans.begin(), vlans.end(), 301u), 0) << ::testing::PrintToString(vlans);
    // The same request for SAP 167 is answered, and done.
    d.send({header(VLAN_MGR_HOST_MTS_REQUEST, VLAN_MGR_MTS_SAP, VLAN_MGR_OPC_VLAN_CREATE, 3), create_payload(1, {300})});
    const std::vector<Bytes> reply = d.receive(5000);
    ASSERT_EQ(reply.size(), 2u);
    vlan_mgr_host::MtsFrame f{};
    ASSERT_TRUE(vlan_mgr_host::mts_frame_decode(reply[0].data(), reply[0].size(), &f));
    EXPECT_EQ(f.kind, VLAN_MGR_HOST_MTS_REPLY);
    EXPECT_EQ(f.token, 3u);
    vlans = created_in_vdc1(client());
    EXPECT_EQ(std::count(vlans.begin(), vlans.end(), 300u), 1) << ::testing::PrintToString(vlans);
    EXPECT_EQ(stop_daemon(), 0);
}

TEST_F(GarbageTest, VlanMgrdSurvivesGarbageOnItsSocketAndItsMemoryStaysFlat)
{
    // Under AddressSanitizer freed blocks are held back (quarantined) for a
    // while, which would look like growth: this daemon reuses them at once,
    // so that what grows is what is never freed. Other builds ignore it.
    const char *asan = std::getenv("ASAN_OPTIONS");
    const std::string saved = asan != nullptr ? asan : "";
    setenv("ASAN_OPTIONS", (saved + (saved.empty() ? "" : ":") + "quarantine_size_mb=0:thread_local_quarantine_size_kb=0").c_str(), 1);
    const pid_t pid = start_daemon({"--no-sync"});
    if (asan != nullptr)
        setenv("ASAN_OPTIONS", saved.c_str(), 1);
    else
        unsetenv("ASAN_OPTIONS");
    ASSERT_GT(pid, 0);
    RawDealer d(run_dir_);
    std::mt19937 rng(16);
    auto rnd = [&rng](uint32_t n) { return static_cast<uint32_t>(rng() % n); };
    auto random_bytes = [&](size_t max) {
        Bytes b(rnd(static_cast<uint32_t>(max + 1)));
        for (uint8_t &c : b)
            c = static_cast<uint8_t>(rng());
        return b;
    };
    const std::vector<uint32_t> opcodes = served_opcodes();
    ASSERT_FALSE(opcodes.empty());
    const Bytes valid_create = create_payload(1, {10, 20, 30});
    uint32_t token = 1;

    // One garbage message of a kind picked at random.
    auto garbage = [&]() -> std::vector<Bytes> {
        const uint32_t opcode = opcodes[rnd(static_cast<uint32_t>(opcodes.size()))];
        const uint32_t kind = rnd(4) == 0 ? VLAN_MGR_HOST_MTS_DATAGRAM : VLAN_MGR_HOST_MTS_REQUEST;
        const uint32_t vdc = rnd(8) == 0 ? rnd(8) : 1;
        switch (rnd(6)) {
        case 0:  // random frames
        {
            std::vector<Bytes> frames(1 + rnd(4));
            for (Bytes &f : frames)
                f = random_bytes(64);
            return frames;
        }
        case 1:  // a random header-sized frame and a payload
            return {random_bytes(40), random_bytes(64)};
        case 2:  // a valid header, a random payload
        case 3:
            return {header(kind, VLAN_MGR_MTS_SAP, opcode, ++token, vdc), random_bytes(rnd(4) == 0 ? 2048 : 96)};
        case 4:  // a valid payload whose counts and lengths lie
        {
            Bytes p = valid_create;
            for (int i = 0; i < 3; ++i)
                p[rnd(static_cast<uint32_t>(std::min<size_t>(p.size(), 16)))] = static_cast<uint8_t>(rng());
            p.resize(rnd(static_cast<uint32_t>(p.size() + 1)));
            return {header(kind, VLAN_MGR_MTS_SAP, rnd(2) ? VLAN_MGR_OPC_VLAN_CREATE : opcode, ++token, vdc), p};
        }
        default:  // wrong frame counts
            if (rnd(2) == 0)
                return {header(kind, VLAN_MGR_MTS_SAP, opcode, ++token)};
            return {header(kind, VLAN_MGR_MTS_SAP, opcode, ++token), random_bytes(16), random_bytes(16)};
        }
    };
    // Sends `count` garbage messages in batches, each batch followed by a
    // request whose reply shows that the manager has read all before it.
    auto flood = [&](int count) {
        for (int sent = 0; sent < count;) {
            for (int i = 0; i < 400 && sent < count; ++i, ++sent)
                d.send(garbage());
            const uint32_t mark = ++token;
            d.send({header(VLAN_MGR_HOST_MTS_REQUEST, VLAN_MGR_MTS_SAP, VLAN_MGR_OPC_VLAN_INFO, mark), {}});
            if (!d.sync(mark, 10000))
                return false;
        }
        return true;
    };

    ASSERT_TRUE(flood(20000)) << read_file(log_file());
    const long data0 = status_kb(pid, "VmData"), anon0 = status_kb(pid, "RssAnon");
    ASSERT_TRUE(flood(20000)) << read_file(log_file());
    const long data1 = status_kb(pid, "VmData"), anon1 = status_kb(pid, "RssAnon");
    ASSERT_GT(data0, 0);
    EXPECT_LT(data1 - data0, 2048) << "VmData " << data0 << " kB -> " << data1 << " kB";
    EXPECT_LT(anon1 - anon0, 2048) << "RssAnon " << anon0 << " kB -> " << anon1 << " kB";

    // Still answering a correct request.
    const std::vector<uint32_t> vlans = created_in_vdc1(client());
    EXPECT_EQ(std::count(vlans.begin(), vlans.end(), 1u), 1) << ::testing::PrintToString(vlans); // answered in full
    EXPECT_NE(vlans.front(), 0xFFFFFFFFu);
    EXPECT_NE(vlans.front(), 0xFFFFFFFEu);
    EXPECT_EQ(waitpid(pid, nullptr, WNOHANG), 0);
    EXPECT_EQ(stop_daemon(), 0);
}

} // namespace
} // namespace vlan_mgrd::daemon_test
