// The host transport's request-response exchange between two processes.
#include "mts_test_util.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sys/stat.h>
#include <thread>

namespace {

using namespace mts_test;

constexpr uint32_t kStop = 1; // datagram opcode that ends a test server

// A server on `sap` that answers every request with its payload and every
// byte plus `add`, under the request's opcode, until a kStop datagram.
// Returns 0, or the number of the check that failed.
int echo_server(uint32_t sap, const Signal &ready, uint8_t add)
{
    uint32_t h = 0;
    if (vlan_mgr_host_mts_open(sap, &h) != 0)
        return 10;
    ready.raise();
    for (;;) {
        mts_msg_hdl_t m{};
        if (mts_recv(h, &m, nullptr) != 0)
            return 11;
        vlan_mgr_host_mts_info_t info{};
        vlan_mgr_host_mts_msg_info(&m, &info);
        if (info.kind == VLAN_MGR_HOST_MTS_DATAGRAM && info.opcode == kStop) {
            mts_drop(h, &m);
            return 0;
        }
        if (info.kind != VLAN_MGR_HOST_MTS_REQUEST)
            return 12;
        std::vector<uint8_t> p = payload_of(m);
        for (uint8_t &b : p)
            b = static_cast<uint8_t>(b + add);
        mts_msg_hdl_t sent{};
        if (mts_send(h, 0, 0, 0, p.data(), static_cast<uint32_t>(p.size()), &sent, &m, nullptr) != 0)
            return 13;
        mts_drop(h, &sent);
        mts_drop(h, &m);
    }
}

void stop_server(uint32_t client, uint32_t sap)
{
    ASSERT_EQ(mts_send(client, VLAN_MGR_HOST_MTS_LOCAL_NODE, sap, kStop, nullptr, 0, nullptr, nullptr, nullptr), 0);
}

using MtsExchange = MtsTest;

// The transport works before static constructors have run: a constructor
// that runs first opens and closes a handle.
constinit int32_t early_open = -1, early_close = -1;
__attribute__((constructor(101))) void use_transport_early()
{
    uint32_t h = 0;
    early_open = vlan_mgr_host_mts_open(0, &h);
    early_close = vlan_mgr_host_mts_close(h);
    vlan_mgr_host_mts_shutdown();
}

TEST_F(MtsExchange, WorksBeforeStaticConstructors)
{
    EXPECT_EQ(early_open, 0);
    EXPECT_EQ(early_close, 0);
}

TEST_F(MtsExchange, RequestGetsItsReplyWithTheRequestsTokenAndOpcode)
{
    Signal ready;
    pid_t server = spawn([&] { return echo_server(200, ready, 1); });
    ASSERT_EQ(ready.wait(), 'x');

    uint32_t c = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(0, &c), 0);
    uint8_t req[] = {0x10, 0x20, 0x30};
    mts_addr_t a = request_addr();
    mts_msg_hdl_t sent{};
    ASSERT_EQ(mts_send(c, VLAN_MGR_HOST_MTS_LOCAL_NODE, 200, 0x5C03, handed(req, sizeof req), sizeof req, &sent,
                       nullptr, &a),
              0);
    const uint32_t token = mts_rr_token_get(&sent);
    EXPECT_NE(token, 0u);
    EXPECT_EQ(mts_opc_get(&sent), 0x5C03u);
    EXPECT_EQ(mts_drop(c, &sent), 0);
    EXPECT_EQ(sent.msg, nullptr);

    mts_recv_opts_t o = by_token(token);
    mts_msg_hdl_t reply{};
    ASSERT_EQ(mts_recv(c, &reply, &o), 0);
    EXPECT_EQ(payload_of(reply), (std::vector<uint8_t>{0x11, 0x21, 0x31}));
    EXPECT_EQ(mts_opc_get(&reply), 0x5C03u);
    EXPECT_EQ(mts_rr_token_get(&reply), token);
    vlan_mgr_host_mts_info_t info{};
    ASSERT_EQ(vlan_mgr_host_mts_msg_info(&reply, &info), 0);
    EXPECT_EQ(info.kind, VLAN_MGR_HOST_MTS_REPLY);
    EXPECT_EQ(info.src_sap, 200u);
    EXPECT_EQ(mts_drop(c, &reply), 0);
    EXPECT_EQ(mts_drop(c, &reply), 0x40480001); // already dropped

    stop_server(c, 200);
    EXPECT_EQ(join(server), 0);
}

TEST_F(MtsExchange, TokenMatchKeepsOtherMessagesQueuedInOrder)
{
    Signal ready, datagrams_sent;
    uint32_t c = 0;
    // The server also sends two datagrams to the client's SAP while the
    // client waits for its third reply.
    pid_t server = spawn([&] {
        uint32_t h = 0;
        if (vlan_mgr_host_mts_open(202, &h) != 0)
            return 10;
        ready.raise();
        std::vector<mts_msg_hdl_t> reqs(3);
        for (auto &r : reqs)
            if (mts_recv(h, &r, nullptr) != 0)
                return 11;
        for (uint8_t i = 0; i < 3; ++i) {
            uint8_t b = static_cast<uint8_t>(0xA0 + i);
            if (mts_send(h, 0, 0, 0, &b, 1, nullptr, &reqs[i], nullptr) != 0)
                return 12;
            uint8_t d = static_cast<uint8_t>(0xD0 + i);
            if (i < 2 && mts_send(h, VLAN_MGR_HOST_MTS_LOCAL_NODE, 203, 0x77, &d, 1, nullptr, nullptr, nullptr) != 0)
                return 13;
            mts_drop(h, &reqs[i]);
        }
        datagrams_sent.raise();
        mts_msg_hdl_t stop{};
        return mts_recv(h, &stop, nullptr) == 0 && mts_opc_get(&stop) == kStop ? 0 : 14;
    });
    ASSERT_EQ(ready.wait(), 'x');
    ASSERT_EQ(vlan_mgr_host_mts_open(203, &c), 0);
    mts_addr_t a = request_addr();
    uint32_t tokens[3];
    for (uint32_t &t : tokens) {
        mts_msg_hdl_t sent{};
        ASSERT_EQ(mts_send(c, VLAN_MGR_HOST_MTS_LOCAL_NODE, 202, 0x5C29, nullptr, 0, &sent, nullptr, &a), 0);
        t = mts_rr_token_get(&sent);
        mts_drop(c, &sent);
    }
    EXPECT_NE(tokens[0], tokens[1]);
    EXPECT_NE(tokens[1], tokens[2]);

    mts_recv_opts_t o = by_token(tokens[2]);
    mts_msg_hdl_t m{};
    ASSERT_EQ(mts_recv(c, &m, &o), 0);
    EXPECT_EQ(payload_of(m), std::vector<uint8_t>{0xA2});
    mts_drop(c, &m);
    ASSERT_EQ(datagrams_sent.wait(), 'x');

    // The others follow in their order: the two earlier replies, then the datagrams.
    const uint8_t expected[] = {0xA0, 0xA1, 0xD0, 0xD1};
    const uint32_t kinds[] = {VLAN_MGR_HOST_MTS_REPLY, VLAN_MGR_HOST_MTS_REPLY, VLAN_MGR_HOST_MTS_DATAGRAM,
                              VLAN_MGR_HOST_MTS_DATAGRAM};
    for (int i = 0; i < 4; ++i) {
        ASSERT_EQ(mts_recv(c, &m, nullptr), 0) << i;
        EXPECT_EQ(payload_of(m), std::vector<uint8_t>{expected[i]}) << i;
        vlan_mgr_host_mts_info_t info{};
        vlan_mgr_host_mts_msg_info(&m, &info);
        EXPECT_EQ(info.kind, kinds[i]) << i;
        if (i < 2) {
            EXPECT_EQ(info.token, tokens[i]);
        }
        mts_drop(c, &m);
    }
    // Nothing else is queued.
    EXPECT_EQ(vlan_mgr_host_mts_recv_timed(c, &m, nullptr, 0), 0x40480103);
    stop_server(c, 202);
    EXPECT_EQ(join(server), 0);
}

TEST_F(MtsExchange, SixteenMebibytePayloadsBothWays)
{
    host_test::ScopedEnv slow("VLAN_MGR_MTS_TIMEOUT_MS", "20000");
    Signal ready;
    pid_t server = spawn([&] { return echo_server(204, ready, 3); });
    ASSERT_EQ(ready.wait(), 'x');
    uint32_t c = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(0, &c), 0);
    std::vector<uint8_t> big(VLAN_MGR_HOST_MTS_MAX_PAYLOAD);
    for (size_t i = 0; i < big.size(); ++i)
        big[i] = static_cast<uint8_t>(i * 7 + (i >> 16));
    mts_addr_t a = request_addr();
    mts_msg_hdl_t sent{};
    ASSERT_EQ(mts_send(c, VLAN_MGR_HOST_MTS_LOCAL_NODE, 204, 9, handed(big.data(), big.size()),
                       static_cast<uint32_t>(big.size()), &sent, nullptr, &a),
              0);
    mts_recv_opts_t o = by_token(mts_rr_token_get(&sent));
    mts_drop(c, &sent);
    mts_msg_hdl_t reply{};
    ASSERT_EQ(mts_recv(c, &reply, &o), 0);
    ASSERT_EQ(mts_payload_size(&reply), VLAN_MGR_HOST_MTS_MAX_PAYLOAD);
    const auto *p = static_cast<const uint8_t *>(mts_payload_get(&reply));
    size_t wrong = 0;
    for (size_t i = 0; i < big.size(); ++i)
        wrong += p[i] != static_cast<uint8_t>(big[i] + 3);
    EXPECT_EQ(wrong, 0u);
    mts_drop(c, &reply);

    // One byte more is refused before anything is sent.
    big.push_back(0);
    EXPECT_EQ(mts_send(c, VLAN_MGR_HOST_MTS_LOCAL_NODE, 204, 9, handed(big.data(), big.size()),
                       static_cast<uint32_t>(big.size()), &sent, nullptr, &a),
              0x40480105);
    stop_server(c, 204);
    EXPECT_EQ(join(server), 0);
}

TEST_F(MtsExchange, ServerKilledBeforeAnsweringEndsInTimeoutWord)
{
    host_test::ScopedEnv t("VLAN_MGR_MTS_TIMEOUT_MS", "300");
    Signal ready;
    pid_t server = spawn([&] {
        uint32_t h = 0;
        if (vlan_mgr_host_mts_open(205, &h) != 0)
            return 10;
        ready.raise();
        mts_msg_hdl_t m{};
        if (mts_recv(h, &m, nullptr) == 0)
            ::raise(SIGKILL); // dies holding the request
        return 11;
    });
    ASSERT_EQ(ready.wait(), 'x');
    uint32_t c = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(0, &c), 0);
    mts_addr_t a = request_addr();
    mts_msg_hdl_t sent{};
    ASSERT_EQ(mts_send(c, VLAN_MGR_HOST_MTS_LOCAL_NODE, 205, 5, nullptr, 0, &sent, nullptr, &a), 0);
    mts_recv_opts_t o = by_token(mts_rr_token_get(&sent));
    mts_drop(c, &sent);
    const uint64_t t0 = now_ms();
    mts_msg_hdl_t m{};
    EXPECT_EQ(mts_recv(c, &m, &o), 0x40480103);
    const uint64_t took = now_ms() - t0;
    EXPECT_GE(took, 290u);
    EXPECT_LT(took, 2000u);
    EXPECT_EQ(m.msg, nullptr);
    EXPECT_EQ(join(server), -1);
    EXPECT_STREQ(syserr2str(0x40480103), "message transport: no reply within the time-out");

    // The server's socket file is left behind; nobody listens on it.
    EXPECT_EQ(mts_send(c, VLAN_MGR_HOST_MTS_LOCAL_NODE, 206, 5, nullptr, 0, &sent, nullptr, &a), 0x40480102);
}

TEST_F(MtsExchange, RequestToASapNobodyServesFailsAtOnce)
{
    uint32_t c = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(0, &c), 0);
    mts_addr_t a = request_addr();
    mts_msg_hdl_t sent{nullptr};
    const uint64_t t0 = now_ms();
    EXPECT_EQ(mts_send(c, VLAN_MGR_HOST_MTS_LOCAL_NODE, 250, 5, nullptr, 0, &sent, nullptr, &a), 0x40480102);
    EXPECT_LT(now_ms() - t0, 1000u);
    EXPECT_EQ(sent.msg, nullptr);
    EXPECT_STREQ(syserr2str(0x40480102), "message transport: nobody serves the destination SAP");
}

TEST_F(MtsExchange, ASapIsServedOnceAndFreedByClose)
{
    uint32_t a = 0, b = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(207, &a), 0);
    EXPECT_EQ(vlan_mgr_host_mts_open(207, &b), 0x40480106);
    EXPECT_EQ(b, 0u);
    // The endpoints let the owner and its group connect, nobody else.
    struct stat st{};
    ASSERT_EQ(stat((dir_.path() + "/sap.207").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0660u);
    ASSERT_EQ(stat((dir_.path() + "/pub.207").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0660u);
    EXPECT_EQ(vlan_mgr_host_mts_close(a), 0);
    EXPECT_EQ(vlan_mgr_host_mts_close(a), 0x40480101);
    EXPECT_NE(stat((dir_.path() + "/sap.207").c_str(), &st), 0);
    ASSERT_EQ(vlan_mgr_host_mts_open(207, &b), 0);
    EXPECT_NE(a, b);
    mts_msg_hdl_t m{};
    EXPECT_EQ(mts_recv(a, &m, nullptr), 0x40480101);
    EXPECT_EQ(mts_send(a, VLAN_MGR_HOST_MTS_LOCAL_NODE, 207, 1, nullptr, 0, nullptr, nullptr, nullptr), 0x40480101);
}

TEST_F(MtsExchange, MissingRunDirectoryIsCreatedForOwnerAndGroup)
{
    const std::string sub = dir_.path() + "/run";
    host_test::ScopedEnv d("VLAN_MGR_RUN_DIR", sub.c_str());
    uint32_t h = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(208, &h), 0);
    struct stat st{};
    ASSERT_EQ(stat(sub.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0770u);
    vlan_mgr_host_mts_close(h);
    rmdir(sub.c_str());
}

TEST_F(MtsExchange, BadArgumentsGetTheirWords)
{
    uint32_t c = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(0, &c), 0);
    EXPECT_EQ(vlan_mgr_host_mts_open(0, nullptr), 0x40480001);
    EXPECT_EQ(mts_send(c, VLAN_MGR_HOST_MTS_LOCAL_NODE, 1, 1, nullptr, 4, nullptr, nullptr, nullptr), 0x40480001);
    EXPECT_EQ(mts_recv(c, nullptr, nullptr), 0x40480001);
    EXPECT_EQ(mts_drop(c, nullptr), 0x40480001);
    EXPECT_EQ(vlan_mgr_host_mts_notify(c, 1, nullptr, 0), 0x40480001); // no SAP, no publisher
    EXPECT_EQ(mts_send(c, 0x12345678, 1, 1, nullptr, 0, nullptr, nullptr, nullptr), 0x40480107);
    EXPECT_EQ(mts_opc_get(nullptr), 0u);
    EXPECT_EQ(mts_payload_get(nullptr), nullptr);
    EXPECT_EQ(mts_payload_size(nullptr), 0u);
    EXPECT_EQ(mts_rr_token_get(nullptr), 0u);
    for (int32_t w = 0x40480101; w <= 0x40480109; ++w)
        EXPECT_EQ(std::string(syserr2str(w)).rfind("message transport: ", 0), 0u) << std::hex << w;
}

TEST_F(MtsExchange, OtherNodesAreReachedOverTcpThroughTheNodeTable)
{
    const std::string table = dir_.path() + "/nodes";
    const unsigned base = 20000 + static_cast<unsigned>(getpid() % 20000) / 2 * 2;
    {
        std::ofstream f(table);
        f << "# node id, host, base port\n0x01000000 127.0.0.1 " << base << "\n";
    }
    host_test::ScopedEnv t(vlan_mgr_host::ENV_NODE_TABLE, table.c_str());
    Signal ready;
    pid_t server = spawn([&] {
        setenv(vlan_mgr_host::ENV_NODE, "0x01000000", 1);
        return echo_server(3, ready, 5);
    });
    ASSERT_EQ(ready.wait(), 'x');
    uint32_t c = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(0, &c), 0);
    uint8_t b = 1;
    mts_addr_t a = request_addr();
    mts_msg_hdl_t sent{};
    ASSERT_EQ(mts_send(c, 0x01000000, 3, 2, handed(&b, 1), 1, &sent, nullptr, &a), 0);
    mts_recv_opts_t o = by_token(mts_rr_token_get(&sent));
    mts_drop(c, &sent);
    mts_msg_hdl_t reply{};
    ASSERT_EQ(mts_recv(c, &reply, &o), 0);
    EXPECT_EQ(payload_of(reply), std::vector<uint8_t>{6});
    vlan_mgr_host_mts_info_t info{};
    vlan_mgr_host_mts_msg_info(&reply, &info);
    EXPECT_EQ(info.src_node, 0x01000000u);
    mts_drop(c, &reply);
    ASSERT_EQ(mts_send(c, 0x01000000, 3, kStop, nullptr, 0, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(join(server), 0);
}

TEST_F(MtsExchange, TimedReceiveGivesAMessageOrTheTimeoutWord)
{
    uint32_t h = 0, c = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(212, &h), 0);
    ASSERT_EQ(vlan_mgr_host_mts_open(0, &c), 0);
    mts_msg_hdl_t m{};
    const uint64_t t0 = now_ms();
    EXPECT_EQ(vlan_mgr_host_mts_recv_timed(h, &m, nullptr, 50), 0x40480103);
    EXPECT_GE(now_ms() - t0, 50u);
    uint8_t b = 0x42;
    ASSERT_EQ(mts_send(c, VLAN_MGR_HOST_MTS_LOCAL_NODE, 212, 0x99, &b, 1, nullptr, nullptr, nullptr), 0);
    ASSERT_EQ(vlan_mgr_host_mts_recv_timed(h, &m, nullptr, 5000), 0);
    EXPECT_EQ(mts_opc_get(&m), 0x99u);
    EXPECT_EQ(payload_of(m), std::vector<uint8_t>{0x42});
    vlan_mgr_host_mts_info_t info{};
    ASSERT_EQ(vlan_mgr_host_mts_msg_info(&m, &info), 0);
    EXPECT_EQ(info.kind, VLAN_MGR_HOST_MTS_DATAGRAM);
    EXPECT_EQ(info.src_sap, 0u);
    EXPECT_EQ(info.dest_sap, 212u);
    // A one-way message cannot be answered.
    EXPECT_EQ(mts_send(h, 0, 0, 0, &b, 1, nullptr, &m, nullptr), 0x40480001);
    mts_drop(h, &m);
}

TEST_F(MtsExchange, CloseFromAnotherThreadEndsABlockedReceive)
{
    uint32_t h = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(211, &h), 0);
    Signal receiving;
    int32_t rc = 0;
    std::thread t([&] {
        receiving.raise();
        mts_msg_hdl_t m{};
        rc = mts_recv(h, &m, nullptr);
    });
    ASSERT_EQ(receiving.wait(), 'x');
    // A send on the same handle from this thread gets its turn meanwhile.
    EXPECT_EQ(mts_send(h, VLAN_MGR_HOST_MTS_LOCAL_NODE, 250, 1, nullptr, 0, nullptr, nullptr, nullptr), 0x40480102);
    EXPECT_EQ(vlan_mgr_host_mts_close(h), 0);
    t.join();
    EXPECT_EQ(rc, 0x40480101);
}

// 8 clients x N requests against one server (N: VLAN_MGR_TEST_MTS_REQUESTS,
// default 10000): every client gets exactly its own answers in order, and the
// server sees every request of every client once, in each client's order.
TEST_F(MtsExchange, EightClientsManyRequestsNothingLostOrDuplicated)
{
    const char *n_env = std::getenv("VLAN_MGR_TEST_MTS_REQUESTS");
    const uint32_t n = n_env != nullptr ? static_cast<uint32_t>(std::atoi(n_env)) : 10000;
    constexpr uint32_t kClients = 8;
    Signal ready;
    pid_t server = spawn([&] {
        uint32_t h = 0;
        if (vlan_mgr_host_mts_open(209, &h) != 0)
            return 10;
        ready.raise();
        std::vector<uint32_t> next(kClients, 0);
        for (;;) {
            mts_msg_hdl_t m{};
            if (mts_recv(h, &m, nullptr) != 0)
                return 11;
            if (mts_opc_get(&m) == kStop)
                break;
            if (mts_payload_size(&m) != 8)
                return 12;
            uint32_t v[2];
            std::memcpy(v, mts_payload_get(&m), 8);
            if (v[0] >= kClients || v[1] != next[v[0]]++)
                return 13; // lost, duplicated or out of order
            v[1] = ~v[1];
            if (mts_send(h, 0, 0, 0, v, 8, nullptr, &m, nullptr) != 0)
                return 14;
            mts_drop(h, &m);
        }
        for (uint32_t k : next)
            if (k != n)
                return 15;
        return 0;
    });
    ASSERT_EQ(ready.wait(), 'x');
    std::vector<pid_t> clients;
    for (uint32_t id = 0; id < kClients; ++id)
        clients.push_back(spawn([&, id] {
            uint32_t c = 0;
            if (vlan_mgr_host_mts_open(0, &c) != 0)
                return 20;
            mts_addr_t a = request_addr();
            for (uint32_t i = 0; i < n; ++i) {
                uint32_t v[2] = {id, i};
                mts_msg_hdl_t sent{}, reply{};
                if (mts_send(c, VLAN_MGR_HOST_MTS_LOCAL_NODE, 209, 0x5C03, handed(v, 8), 8, &sent, nullptr, &a) != 0)
                    return 21;
                mts_recv_opts_t o = by_token(mts_rr_token_get(&sent));
                mts_drop(c, &sent);
                if (mts_recv(c, &reply, &o) != 0)
                    return 22;
                uint32_t r[2];
                if (mts_payload_size(&reply) != 8)
                    return 23;
                std::memcpy(r, mts_payload_get(&reply), 8);
                mts_drop(c, &reply);
                if (r[0] != id || r[1] != ~i)
                    return 24;
            }
            return 0;
        }));
    for (pid_t p : clients)
        EXPECT_EQ(join(p), 0);
    uint32_t c = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(0, &c), 0);
    stop_server(c, 209);
    EXPECT_EQ(join(server), 0);
}

} // namespace
