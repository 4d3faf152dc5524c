// The host transport's refusals: calls on handles that do not exist or cannot
// do what is asked, run directories that cannot hold the sockets, nodes that
// the node table does not name, own node ids that are not numbers, and the
// framing header's parser.
#include "mts_test_util.h"

#include <fstream>
#include <string>
#include <sys/stat.h>

#include "host/mts_frame.h"
#include "sdb_test_util.h"

using namespace mts_test;

namespace {

constexpr int32_t INVALID_ARG = 0x40480001;
constexpr int32_t BUSY = 0x40480004;
constexpr int32_t BAD_HANDLE = 0x40480101;
constexpr int32_t TOO_BIG = 0x40480105;
constexpr int32_t NO_NODE = 0x40480107;
constexpr int32_t IO = 0x40480109;
constexpr int32_t ACCESS = 0x4048010A;

using MtsErrors = MtsTest;

TEST_F(MtsErrors, CallsOnAHandleThatDoesNotExistGiveNoSuchHandle)
{
    const uint8_t b = 1;
    EXPECT_EQ(vlan_mgr_host_mts_notify(0x7777, 5, &b, 1), BAD_HANDLE);
    EXPECT_EQ(vlan_mgr_host_mts_subscribe(0x7777, VLAN_MGR_HOST_MTS_LOCAL_NODE, 3, 5), BAD_HANDLE);
    EXPECT_EQ(vlan_mgr_host_mts_wait_subscribers(0x7777, 5, 1, 0), BAD_HANDLE);
}

TEST_F(MtsErrors, ANotificationWithoutItsBytesOrLargerThanAMessageIsRefused)
{
    uint32_t h = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(221, &h), 0);
    const uint8_t b = 1;
    EXPECT_EQ(vlan_mgr_host_mts_notify(h, 5, nullptr, 1), INVALID_ARG);
    EXPECT_EQ(vlan_mgr_host_mts_notify(h, 5, &b, VLAN_MGR_HOST_MTS_MAX_PAYLOAD + 1), TOO_BIG);
    EXPECT_EQ(vlan_mgr_host_mts_close(h), 0);
}

TEST_F(MtsErrors, AClientHandleHasNoSubscribersToWaitFor)
{
    uint32_t c = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(0, &c), 0);
    EXPECT_EQ(vlan_mgr_host_mts_wait_subscribers(c, 5, 1, 0), INVALID_ARG);
    EXPECT_EQ(vlan_mgr_host_mts_close(c), 0);
}

TEST_F(MtsErrors, InfoOfNoMessageIsRefused)
{
    vlan_mgr_host_mts_info_t info{};
    mts_msg_hdl_t empty{};
    EXPECT_EQ(vlan_mgr_host_mts_msg_info(nullptr, &info), INVALID_ARG);
    EXPECT_EQ(vlan_mgr_host_mts_msg_info(&empty, &info), INVALID_ARG);
}

TEST_F(MtsErrors, TheHandleTableHoldsAtMost1024HandlesAndTheNextIsBusy)
{
    std::vector<uint32_t> open;
    int32_t rc = 0;
    for (int i = 0; i < 1100 && rc == 0; ++i) {
        uint32_t c = 0;
        rc = vlan_mgr_host_mts_open(0, &c);
        if (rc == 0)
            open.push_back(c);
    }
    EXPECT_EQ(rc, BUSY);
    EXPECT_EQ(open.size(), 1024u);
    for (uint32_t c : open)
        EXPECT_EQ(vlan_mgr_host_mts_close(c), 0);
    uint32_t c = 0;
    EXPECT_EQ(vlan_mgr_host_mts_open(0, &c), 0);
    EXPECT_EQ(vlan_mgr_host_mts_close(c), 0);
}

// A socket path longer than a Unix socket address holds: no server can bind
// it and no client reach it.
TEST_F(MtsErrors, ARunDirectoryTooLongForASocketAddressIsAnInvalidArgument)
{
    const std::string long_dir = dir_.path() + "/" + std::string(110, 'r');
    ASSERT_EQ(mkdir(long_dir.c_str(), 0700), 0);
    host_test::ScopedEnv run(vlan_mgr_host::ENV_RUN_DIR, long_dir.c_str());
    uint32_t h = 0, c = 0;
    EXPECT_EQ(vlan_mgr_host_mts_open(222, &h), INVALID_ARG);
    EXPECT_EQ(h, 0u);
    ASSERT_EQ(vlan_mgr_host_mts_open(0, &c), 0);
    uint8_t b = 1; // stays the caller's: no address record
    EXPECT_EQ(mts_send(c, VLAN_MGR_HOST_MTS_LOCAL_NODE, 222, 5, &b, 1, nullptr, nullptr, nullptr),
              INVALID_ARG);
    EXPECT_EQ(vlan_mgr_host_mts_subscribe(c, VLAN_MGR_HOST_MTS_LOCAL_NODE, 222, 5), INVALID_ARG);
    EXPECT_EQ(vlan_mgr_host_mts_close(c), 0);
    rmdir(long_dir.c_str());
}

TEST_F(MtsErrors, ARunDirectoryUnderARegularFileIsAnIoError)
{
    const std::string file = dir_.path() + "/file";
    std::ofstream(file) << "x";
    host_test::ScopedEnv run(vlan_mgr_host::ENV_RUN_DIR, (file + "/run").c_str());
    uint32_t h = 0;
    EXPECT_EQ(vlan_mgr_host_mts_open(223, &h), IO);
    EXPECT_EQ(h, 0u);
}

TEST_F(MtsErrors, ARunDirectoryThatThisUserMayNotMakeIsRefusedNamingIt)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to switch to another user";
    ASSERT_EQ(chmod(dir_.path().c_str(), 0755), 0);
    const std::string run = dir_.path() + "/run";
    host_test::ScopedEnv env(vlan_mgr_host::ENV_RUN_DIR, run.c_str());
    Signal text;
    const pid_t child = spawn([&] {
        if (!sdb_test::become_nobody(false, 0))
            return 100;
        uint32_t h = 0;
        const int32_t rc = vlan_mgr_host_mts_open(224, &h);
        const char *path = vlan_mgr_host_mts_last_error_path();
        if (path == nullptr || run != path)
            return 101;
        if (std::string(syserr2str(rc)).find(run) == std::string::npos)
            return 102;
        return rc == ACCESS ? 0 : 103;
    });
    EXPECT_EQ(join(child), 0);
    struct stat st {};
    EXPECT_NE(stat(run.c_str(), &st), 0);
}

class MtsNodeTable : public MtsTest {
protected:
    std::string table_ = dir_.path() + "/nodes";
    host_test::ScopedEnv env_{vlan_mgr_host::ENV_NODE_TABLE, table_.c_str()};
    void write_table(const std::string &text) { std::ofstream(table_) << text; }
};

TEST_F(MtsNodeTable, ANodeThatOnlyMalformedLinesNameIsNoNode)
{
    write_table("0x02000000z 127.0.0.1 20000\n"       // id not a number
                "0x02000000 127.0.0.1 0\n"            // no port
                "0x02000000 127.0.0.1 70000\n"        // port beyond 65535
                "0x02000000 127.0.0.1\n"              // no port at all
                "0x03000000 127.0.0.1 20000 # other\n"); // another node
    uint32_t c = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(0, &c), 0);
    uint8_t b = 1; // stays the caller's: no address record
    EXPECT_EQ(mts_send(c, 0x02000000, 3, 5, &b, 1, nullptr, nullptr, nullptr), NO_NODE);
    EXPECT_EQ(vlan_mgr_host_mts_subscribe(c, 0x02000000, 3, 5), NO_NODE);
    EXPECT_EQ(vlan_mgr_host_mts_close(c), 0);
}

TEST_F(MtsNodeTable, ASapWhosePortWouldPassTheLastPortIsNoNode)
{
    write_table("0x02000000 127.0.0.1 65000\n");
    uint32_t c = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(0, &c), 0);
    uint8_t b = 1; // stays the caller's: no address record
    // 65000 + 2 * 300 = 65600.
    EXPECT_EQ(mts_send(c, 0x02000000, 300, 5, &b, 1, nullptr, nullptr, nullptr), NO_NODE);
    EXPECT_EQ(vlan_mgr_host_mts_close(c), 0);
}

TEST_F(MtsNodeTable, AServerWhosePortWouldPassTheLastPortIsNoNode)
{
    write_table("0x01000000 127.0.0.1 65000\n");
    host_test::ScopedEnv node(vlan_mgr_host::ENV_NODE, "0x01000000");
    uint32_t h = 0;
    EXPECT_EQ(vlan_mgr_host_mts_open(300, &h), NO_NODE);
    EXPECT_EQ(h, 0u);
}

TEST_F(MtsErrors, AnOwnNodeIdThatIsNotANumberMeansTheLocalNode)
{
    uint32_t h = 0, c = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(225, &h), 0);
    ASSERT_EQ(vlan_mgr_host_mts_open(0, &c), 0);
    for (const char *id : {"0x1zz", "-1", "99999999999", "abc"}) {
        host_test::ScopedEnv node(vlan_mgr_host::ENV_NODE, id);
        uint8_t b = 1; // stays the caller's: no address record
        ASSERT_EQ(mts_send(c, VLAN_MGR_HOST_MTS_LOCAL_NODE, 225, 5, &b, 1, nullptr, nullptr, nullptr), 0)
            << id;
        mts_msg_hdl_t m{};
        ASSERT_EQ(vlan_mgr_host_mts_recv_timed(h, &m, nullptr, 1000), 0) << id;
        vlan_mgr_host_mts_info_t info{};
        ASSERT_EQ(vlan_mgr_host_mts_msg_info(&m, &info), 0);
        EXPECT_EQ(info.src_node, VLAN_MGR_HOST_MTS_LOCAL_NODE) << id;
        mts_drop(h, &m);
    }
    EXPECT_EQ(vlan_mgr_host_mts_close(c), 0);
    EXPECT_EQ(vlan_mgr_host_mts_close(h), 0);
}

TEST(MtsFrame, AHeaderDecodesToTheFieldsItWasMadeOf)
{
    using vlan_mgr_host::MtsFrame;
    const MtsFrame f{VLAN_MGR_HOST_MTS_REQUEST, 3, 0x01000000, 7, 9, 0x1234, 42, 5, 1700000000123ull};
    std::vector<uint8_t> h(vlan_mgr_host::mts_frame_header_size());
    vlan_mgr_host::mts_frame_encode(f, h.data());
    MtsFrame d{};
    ASSERT_TRUE(vlan_mgr_host::mts_frame_decode(h.data(), h.size(), &d));
    EXPECT_EQ(d.kind, f.kind);
    EXPECT_EQ(d.src_vdc, 3u);
    EXPECT_EQ(d.src_node, 0x01000000u);
    EXPECT_EQ(d.src_sap, 7u);
    EXPECT_EQ(d.dest_sap, 9u);
    EXPECT_EQ(d.opcode, 0x1234u);
    EXPECT_EQ(d.token, 42u);
    EXPECT_EQ(d.seq, 5u);
    EXPECT_EQ(d.deadline, 1700000000123ull);
}

TEST(MtsFrame, AHeaderCutShortWithAnotherMagicOrAnUnknownKindIsDropped)
{
    using vlan_mgr_host::MtsFrame;
    const MtsFrame f{VLAN_MGR_HOST_MTS_DATAGRAM, 1, 2, 3, 4, 5, 6, 7, 0};
    std::vector<uint8_t> h(vlan_mgr_host::mts_frame_header_size());
    vlan_mgr_host::mts_frame_encode(f, h.data());
    MtsFrame d{};
    EXPECT_FALSE(vlan_mgr_host::mts_frame_decode(nullptr, h.size(), &d));
    EXPECT_FALSE(vlan_mgr_host::mts_frame_decode(h.data(), h.size() - 1, &d));
    std::vector<uint8_t> magic = h;
    magic[0] ^= 0xff;
    EXPECT_FALSE(vlan_mgr_host::mts_frame_decode(magic.data(), magic.size(), &d));
    std::vector<uint8_t> kind = h;
    kind[5] = 0;
    EXPECT_FALSE(vlan_mgr_host::mts_frame_decode(kind.data(), kind.size(), &d));
    kind[5] = vlan_mgr_host::kMtsKindHeartbeat + 1;
    EXPECT_FALSE(vlan_mgr_host::mts_frame_decode(kind.data(), kind.size(), &d));
}

} // namespace
