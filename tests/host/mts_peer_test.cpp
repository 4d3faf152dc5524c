// Who a received message comes from and whom it is for: the kernel's
// credentials of the sending process, the destination SAP checked by the
// handle that serves, and a refusal by the file system reported as such
// (with its path), never as an absent server. Children are forked before this
// process starts the transport (and its threads).
#include "mts_test_util.h"

#include <fstream>

#include <grp.h>
#include <sys/stat.h>
#include <zmq.h>

#include <vlan_mgr/frame.h>

#include "host/mts_frame.h"

namespace {

using namespace mts_test;

constexpr uint32_t kNobody = 65534;
constexpr int32_t kAccess = static_cast<int32_t>(VLAN_MGR_HOST_ERR_MTS_ACCESS);

// Drops this (child) process to uid and gid 65534, with `groups` as its
// supplementary groups: false when the kernel refused.
bool become_nobody(const std::vector<gid_t> &groups)
{
    return setgroups(groups.size(), groups.empty() ? nullptr : groups.data()) == 0 && setgid(kNobody) == 0 &&
           setuid(kNobody) == 0;
}

// The header the transport would send for these fields.
std::vector<uint8_t> header(uint32_t kind, uint32_t dest_sap, uint32_t opcode, uint32_t token)
{
    vlan_mgr_host::MtsFrame f{};
    f.kind = kind;
    f.src_vdc = 1;
    f.src_node = VLAN_MGR_HOST_MTS_LOCAL_NODE;
    f.dest_sap = dest_sap;
    f.opcode = opcode;
    f.token = token;
    std::vector<uint8_t> h(vlan_mgr_host::mts_frame_header_size());
    vlan_mgr_host::mts_frame_encode(f, h.data());
    return h;
}

// A bare ZeroMQ DEALER on <run dir>/sap.<sap>, as any process could open.
class RawDealer {
public:
    RawDealer(const std::string &run_dir, uint32_t sap)
    {
        ctx_ = zmq_ctx_new();
        sock_ = zmq_socket(ctx_, ZMQ_DEALER);
        const std::string addr = "ipc://" + run_dir + "/sap." + std::to_string(sap);
        zmq_connect(sock_, addr.c_str());
    }
    ~RawDealer()
    {
        int zero = 0;
        zmq_setsockopt(sock_, ZMQ_LINGER, &zero, sizeof zero);
        zmq_close(sock_);
        zmq_ctx_term(ctx_);
    }
    RawDealer(const RawDealer &) = delete;
    RawDealer &operator=(const RawDealer &) = delete;
    void send(const std::vector<std::vector<uint8_t>> &frames)
    {
        for (size_t i = 0; i < frames.size(); ++i)
            zmq_send(sock_, frames[i].data(), frames[i].size(), i + 1 < frames.size() ? ZMQ_SNDMORE : 0);
    }

private:
    void *ctx_ = nullptr;
    void *sock_ = nullptr;
};

class MtsPeerTest : public MtsTest {};

TEST_F(MtsPeerTest, MtsReceivedRequestCarriesTheSendersKernelCredentials)
{
    // The run directory is the group's: the child reaches it as a member.
    // The child is forked before this process starts the transport's
    // threads, and sends once the SAP is served.
    ASSERT_EQ(chmod(dir_.path().c_str(), 0770), 0);
    const gid_t group = getegid();
    Signal serving;
    const pid_t child = spawn([group, &serving] {
        if (!become_nobody({group}))
            return 20;
        if (!serving.wait_for(5000))
            return 19;
        uint32_t c = 0;
        if (vlan_mgr_host_mts_open(0, &c) != 0)
            return 21;
        mts_addr_t a{};  // one-way: nothing to wait for
        const uint8_t byte = 7;
        return mts_send(c, VLAN_MGR_MTS_DEST_NODE, VLAN_MGR_MTS_SAP, 0x1234, mts_test::handed(&byte, 1), 1, nullptr,
                        nullptr, &a) == 0
                   ? 0
                   : 22;
    });
    uint32_t server = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(VLAN_MGR_MTS_SAP, &server), 0);
    serving.raise();
    mts_msg_hdl_t m{};
    ASSERT_EQ(vlan_mgr_host_mts_recv_timed(server, &m, nullptr, 5000), 0);
    vlan_mgr_host_mts_info_t info{};
    ASSERT_EQ(vlan_mgr_host_mts_msg_info(&m, &info), 0);
    EXPECT_EQ(info.opcode, 0x1234u);
    EXPECT_EQ(info.peer, VLAN_MGR_HOST_MTS_PEER_LOCAL);
    EXPECT_EQ(info.peer_uid, kNobody);
    EXPECT_EQ(info.peer_gid, kNobody);
    EXPECT_EQ(info.peer_pid, static_cast<uint32_t>(child));
    mts_drop(server, &m);
    EXPECT_EQ(join(child), 0);

    // This process's own request: its own credentials.
    uint32_t c = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(0, &c), 0);
    mts_addr_t a{};
    ASSERT_EQ(mts_send(c, VLAN_MGR_MTS_DEST_NODE, VLAN_MGR_MTS_SAP, 0x1235, nullptr, 0, nullptr, nullptr, &a), 0);
    ASSERT_EQ(vlan_mgr_host_mts_recv_timed(server, &m, nullptr, 5000), 0);
    ASSERT_EQ(vlan_mgr_host_mts_msg_info(&m, &info), 0);
    EXPECT_EQ(info.peer, VLAN_MGR_HOST_MTS_PEER_LOCAL);
    EXPECT_EQ(info.peer_uid, static_cast<uint32_t>(geteuid()));
    EXPECT_EQ(info.peer_gid, static_cast<uint32_t>(getegid()));
    EXPECT_EQ(info.peer_pid, static_cast<uint32_t>(getpid()));
    mts_drop(server, &m);

    // A message this process sent has no peer.
    mts_addr_t req{};
    req.word[0] = 1;
    mts_msg_hdl_t sent{};
    ASSERT_EQ(mts_send(c, VLAN_MGR_MTS_DEST_NODE, VLAN_MGR_MTS_SAP, 0x1236, nullptr, 0, &sent, nullptr, &req), 0);
    ASSERT_EQ(vlan_mgr_host_mts_msg_info(&sent, &info), 0);
    EXPECT_EQ(info.peer, VLAN_MGR_HOST_MTS_PEER_UNKNOWN);
    EXPECT_EQ(info.peer_uid, 0u);
    EXPECT_EQ(info.peer_pid, 0u);
    mts_drop(c, &sent);
}

TEST_F(MtsPeerTest, MtsRequestNamingAnotherDestinationSapIsDiscardedAndCounted)
{
    uint32_t server = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(VLAN_MGR_MTS_SAP, &server), 0);
    {
        RawDealer d(dir_.path(), VLAN_MGR_MTS_SAP);
        // A request and a one-way message for SAP 99, sent to SAP 167's socket,
        // then a request for SAP 167.
        d.send({header(VLAN_MGR_HOST_MTS_REQUEST, 99, 0x5C01, 1), {1, 2, 3}});
        d.send({header(VLAN_MGR_HOST_MTS_DATAGRAM, 99, 0x5C02, 2), {4}});
        d.send({header(VLAN_MGR_HOST_MTS_REQUEST, VLAN_MGR_MTS_SAP, 0x5C03, 3), {5}});
        mts_msg_hdl_t m{};
        ASSERT_EQ(vlan_mgr_host_mts_recv_timed(server, &m, nullptr, 5000), 0);
        vlan_mgr_host_mts_info_t info{};
        ASSERT_EQ(vlan_mgr_host_mts_msg_info(&m, &info), 0);
        EXPECT_EQ(info.opcode, 0x5C03u);
        EXPECT_EQ(info.dest_sap, VLAN_MGR_MTS_SAP);
        EXPECT_EQ(info.token, 3u);
        mts_drop(server, &m);
        EXPECT_EQ(vlan_mgr_host_mts_recv_timed(server, &m, nullptr, 200),
                  static_cast<int32_t>(VLAN_MGR_HOST_ERR_MTS_TIMEOUT));
    }
    vlan_mgr_host_mts_stats_t d{};
    ASSERT_EQ(vlan_mgr_host_mts_stats(server, &d), 0);
    EXPECT_EQ(d.wrong_sap, 2u);
    EXPECT_EQ(d.malformed, 0u);
    EXPECT_EQ(vlan_mgr_host_mts_stats(server, nullptr), vlan_mgr_host::ERR_INVALID_ARG);
    EXPECT_EQ(vlan_mgr_host_mts_stats(server + 1, &d), static_cast<int32_t>(VLAN_MGR_HOST_ERR_MTS_BAD_HANDLE));
}

TEST_F(MtsPeerTest, MtsMalformedMessagesAreDiscardedAndCounted)
{
    uint32_t server = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(VLAN_MGR_MTS_SAP, &server), 0);
    {
        RawDealer d(dir_.path(), VLAN_MGR_MTS_SAP);
        d.send({{0xDE, 0xAD}});                                                     // one frame of garbage
        d.send({header(VLAN_MGR_HOST_MTS_REQUEST, VLAN_MGR_MTS_SAP, 1, 1)});        // no payload frame
        d.send({header(VLAN_MGR_HOST_MTS_REPLY, VLAN_MGR_MTS_SAP, 1, 1), {}});      // a reply to a server
        d.send({header(VLAN_MGR_HOST_MTS_REQUEST, VLAN_MGR_MTS_SAP, 1, 1), {}, {}}); // a frame too many
        d.send({header(VLAN_MGR_HOST_MTS_REQUEST, VLAN_MGR_MTS_SAP, 0x77, 9), {}});
        mts_msg_hdl_t m{};
        ASSERT_EQ(vlan_mgr_host_mts_recv_timed(server, &m, nullptr, 5000), 0);
        EXPECT_EQ(mts_opc_get(&m), 0x77u);
        mts_drop(server, &m);
    }
    vlan_mgr_host_mts_stats_t d{};
    ASSERT_EQ(vlan_mgr_host_mts_stats(server, &d), 0);
    EXPECT_EQ(d.malformed, 4u);
    EXPECT_EQ(d.wrong_sap, 0u);
}

TEST_F(MtsPeerTest, MtsSenderOutsideTheRunDirectoryGroupGetsPermissionDeniedWithThePath)
{
    // The run directory admits its owner and group only; the child is in
    // neither.
    ASSERT_EQ(chmod(dir_.path().c_str(), 0770), 0);
    const std::string sap_path = dir_.path() + "/sap.167";
    const std::string pub_path = dir_.path() + "/pub.167";
    Signal serving;
    const pid_t child = spawn([&] {
        if (!become_nobody({}))
            return 20;
        if (!serving.wait_for(5000))
            return 19;
        uint32_t c = 0;
        if (vlan_mgr_host_mts_open(0, &c) != 0)
            return 21;
        mts_addr_t a = request_addr();
        mts_msg_hdl_t sent{};
        const int32_t rc = mts_send(c, VLAN_MGR_MTS_DEST_NODE, VLAN_MGR_MTS_SAP, 1, nullptr, 0, &sent, nullptr, &a);
        if (rc != kAccess)
            return rc == static_cast<int32_t>(VLAN_MGR_HOST_ERR_MTS_NO_SERVER) ? 22 : 23;
        if (sap_path != vlan_mgr_host_mts_last_error_path())
            return 24;
        if (vlan_mgr_host_mts_subscribe(c, VLAN_MGR_MTS_DEST_NODE, VLAN_MGR_MTS_SAP, 0x5C00) != kAccess)
            return 25;
        if (pub_path != vlan_mgr_host_mts_last_error_path())
            return 26;
        // Serving a SAP there is refused so too.
        uint32_t s = 0;
        if (vlan_mgr_host_mts_open(168, &s) != kAccess)
            return 27;
        if (sap_path.substr(0, sap_path.size() - 3) + "168" != vlan_mgr_host_mts_last_error_path())
            return 28;
        // Every report of the word names the path, until the next send.
        const std::string sap168 = sap_path.substr(0, sap_path.size() - 3) + "168";
        if (std::string(syserr2str(kAccess)) != "message transport: permission denied: " + sap168)
            return 29;
        mts_addr_t big = request_addr();
        if (mts_send(c, VLAN_MGR_MTS_DEST_NODE, VLAN_MGR_MTS_SAP, 1, nullptr, VLAN_MGR_HOST_MTS_MAX_PAYLOAD + 1, nullptr,
                     nullptr, &big) != vlan_mgr_host::ERR_INVALID_ARG)
            return 30;
        if (std::string(vlan_mgr_host_mts_last_error_path()) != "" ||
            std::string(syserr2str(kAccess)) != "message transport: permission denied")
            return 31;
        return 0;
    });
    uint32_t server = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(VLAN_MGR_MTS_SAP, &server), 0);
    serving.raise();
    EXPECT_EQ(join(child), 0);
}

TEST_F(MtsPeerTest, MtsLastErrorPathIsEmptyAfterAnyOtherOutcome)
{
    uint32_t c = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(0, &c), 0);
    mts_addr_t a = request_addr();
    EXPECT_EQ(mts_send(c, VLAN_MGR_MTS_DEST_NODE, 200, 1, nullptr, 0, nullptr, nullptr, &a),
              static_cast<int32_t>(VLAN_MGR_HOST_ERR_MTS_NO_SERVER));
    EXPECT_STREQ(vlan_mgr_host_mts_last_error_path(), "");
}

TEST_F(MtsPeerTest, MtsMessageOverTcpComesFromARemotePeerWithoutCredentials)
{
    const std::string table = dir_.path() + "/nodes";
    const unsigned base = 22000 + static_cast<unsigned>(getpid() % 18000) / 2 * 2;
    {
        std::ofstream f(table);
        f << "0x01000000 127.0.0.1 " << base << "\n";
    }
    host_test::ScopedEnv t(vlan_mgr_host::ENV_NODE_TABLE, table.c_str());
    Signal ready;
    const pid_t server = spawn([&] {
        setenv(vlan_mgr_host::ENV_NODE, "0x01000000", 1);
        uint32_t h = 0;
        if (vlan_mgr_host_mts_open(3, &h) != 0)
            return 10;
        ready.raise();
        mts_msg_hdl_t m{};
        if (vlan_mgr_host_mts_recv_timed(h, &m, nullptr, 5000) != 0)
            return 11;
        vlan_mgr_host_mts_info_t info{};
        if (vlan_mgr_host_mts_msg_info(&m, &info) != 0)
            return 12;
        mts_drop(h, &m);
        if (info.peer != VLAN_MGR_HOST_MTS_PEER_REMOTE)
            return 20 + static_cast<int>(info.peer);
        return info.peer_uid == 0 && info.peer_gid == 0 && info.peer_pid == 0 ? 0 : 13;
    });
    ASSERT_TRUE(ready.wait_for(5000));
    uint32_t c = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(0, &c), 0);
    mts_addr_t a{};
    ASSERT_EQ(mts_send(c, 0x01000000, 3, 0x42, nullptr, 0, nullptr, nullptr, &a), 0);
    EXPECT_EQ(join(server), 0);
}

} // namespace
