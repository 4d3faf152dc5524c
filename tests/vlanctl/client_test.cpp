// vlanctl's client against a manager stand-in whose replies the test writes:
// refusals, replies cut short, VLANs deleted between a listing and their
// query, ports the interface table does not know, trunk updates refused per
// port, and transports that cannot be opened or are refused.
#include "vlanctl_test_util.h"

#include <map>
#include <thread>

#include <pthread.h>

#include <grp.h>
#include <sys/stat.h>

#include <vlan_mgr/vlan_mgr.h>
#include <vlan_mgr/opcodes.h>

#include "client.h"
#include "watch.h"
#include "vlan_mgr_host_mts.h"

namespace {

using vlanctl_test::Result;
using vlanctl_test::VlanctlE2e;
using Bytes = std::vector<uint8_t>;

// A bare status word, as the manager answers a request it refuses.
Bytes bare(uint32_t status)
{
    return {static_cast<uint8_t>(status >> 24), static_cast<uint8_t>(status >> 16), static_cast<uint8_t>(status >> 8),
            static_cast<uint8_t>(status)};
}

void put32(Bytes &b, uint32_t v)
{
    for (int s = 24; s >= 0; s -= 8)
        b.push_back(static_cast<uint8_t>(v >> s));
}

void put16(Bytes &b, uint16_t v)
{
    b.push_back(static_cast<uint8_t>(v >> 8));
    b.push_back(static_cast<uint8_t>(v));
}

// A created-VLAN listing of VDC 1: one group, a 22-byte record per VLAN.
Bytes listing(std::initializer_list<uint32_t> vlans)
{
    Bytes b;
    put32(b, 1);
    put16(b, 1);
    put32(b, static_cast<uint32_t>(vlans.size()));
    for (uint32_t v : vlans) {
        put32(b, v);
        put32(b, 0);
        put16(b, static_cast<uint16_t>(v));
        put32(b, 0);
        put32(b, 0);
        put32(b, 0);
    }
    return b;
}

// A VLAN's information: status 0, VDC 1, six attribute words (all 0) and an
// empty name.
Bytes info_without_name()
{
    Bytes b(62, 0);
    b[5] = 1;
    return b;
}

// Per-VLAN membership: one group for `vlan` with `ports`.
Bytes members(uint32_t vlan, std::initializer_list<uint32_t> ports)
{
    Bytes b;
    put32(b, 0);
    put32(b, 1);
    put16(b, 1);
    put32(b, vlan);
    put32(b, static_cast<uint32_t>(ports.size()));
    for (uint32_t p : ports)
        put32(b, p);
    return b;
}

// A trunk update's reply: status 0, operation, VDC, VLAN, `count` and the
// {port, outcome} pairs actually written.
Bytes trunk_reply(uint32_t count, std::initializer_list<std::pair<uint32_t, uint32_t>> pairs)
{
    Bytes b;
    put32(b, 0);
    put32(b, 0);
    put16(b, 1);
    put32(b, 40);
    put32(b, count);
    for (const auto &[port, outcome] : pairs) {
        put32(b, port);
        put32(b, outcome);
    }
    return b;
}

// The manager stand-in: a child process serving the manager's SAP that
// answers each opcode of `script` with its replies in turn (the last one
// again once they are used up) and leaves every other request unanswered.
class FakeManager : public VlanctlE2e {
protected:
    void SetUp() override
    {
        VlanctlE2e::SetUp();
        setenv("VLAN_MGR_MTS_TIMEOUT_MS", "500", 1);
    }
    void TearDown() override
    {
        if (fake_ > 0) {
            kill(fake_, SIGKILL);
            waitpid(fake_, nullptr, 0);
        }
        VlanctlE2e::TearDown();
    }

    void serve(std::map<uint32_t, std::vector<Bytes>> script)
    {
        int ready[2];
        ASSERT_EQ(pipe(ready), 0);
        fake_ = fork();
        ASSERT_GE(fake_, 0);
        if (fake_ == 0) {
            close(ready[0]);
            uint32_t h = 0;
            if (vlan_mgr_host_mts_open(VLAN_MGR_MTS_SAP, &h) != 0)
                _exit(10);
            if (write(ready[1], "x", 1) != 1)
                _exit(11);
            std::map<uint32_t, size_t> used;
            for (;;) {
                mts_msg_hdl_t m{};
                if (mts_recv(h, &m, nullptr) != 0)
                    continue;
                const auto it = script.find(mts_opc_get(&m));
                if (it != script.end() && !it->second.empty()) {
                    size_t &n = used[it->first];
                    const Bytes &reply = it->second[std::min(n, it->second.size() - 1)];
                    ++n;
                    uint8_t none = 0;
                    mts_send(h, VLAN_MGR_MTS_DEST_NODE, 0, 0,
                             reply.empty() ? &none : const_cast<uint8_t *>(reply.data()),
                             static_cast<uint32_t>(reply.size()), nullptr, &m, nullptr);
                }
                mts_drop(h, &m);
            }
        }
        close(ready[1]);
        char c = 0;
        ASSERT_EQ(read(ready[0], &c, 1), 1);
        close(ready[0]);
    }

    // Runs `call` on a client of VDC 1 with the default interface table and
    // returns what ended it ({0, ""} when nothing did).
    template <typename F>
    vlanctl::CtlError run(F call)
    {
        vlanctl::Transport t;
        vlanctl::Client client(t, 1, vlan_mgr_apps::default_iftable());
        try {
            call(client);
        } catch (const vlanctl::CtlError &e) {
            return e;
        }
        return {0, ""};
    }

    pid_t fake_ = 0;
};

void expect_error(const vlanctl::CtlError &e, int code, const std::string &message)
{
    EXPECT_EQ(e.exit_code, code);
    EXPECT_EQ(e.message, message);
}

TEST_F(FakeManager, RefusedListingEndsTheCommandWithItsStatus)
{
    serve({{VLAN_MGR_OPC_ALL_CREATED_VLAN, {bare(VLAN_MGR_ERR_VDC_DENIED)}}});
    expect_error(run([](vlanctl::Client &c) { c.created_vlan_ids(); }), 1,
                 "Error: not authorised for that VDC (0x411000ca)\n");
}

TEST_F(FakeManager, VlanInformationCutShortIsATruncatedReply)
{
    serve({{VLAN_MGR_OPC_VLAN_INFO, {Bytes(10, 0)}}});
    expect_error(run([](vlanctl::Client &c) { c.vlan(10); }), 1, "Error: reply truncated (0x411000f0)\n");
}

TEST_F(FakeManager, ListedVlanWhoseInformationIsCutShortIsATruncatedReply)
{
    serve({{VLAN_MGR_OPC_ALL_CREATED_VLAN, {listing({10})}}, {VLAN_MGR_OPC_VLAN_INFO, {Bytes(10, 0)}}});
    expect_error(run([](vlanctl::Client &c) { c.vlans(); }), 1, "Error: reply truncated (0x411000f0)\n");
}

// An empty reply is neither a bare status nor the whole reply: cut short.
TEST_F(FakeManager, EmptyVlanInformationIsATruncatedReply)
{
    serve({{VLAN_MGR_OPC_ALL_CREATED_VLAN, {listing({10})}}, {VLAN_MGR_OPC_VLAN_INFO, {Bytes{}}}});
    expect_error(run([](vlanctl::Client &c) { c.vlan(10); }), 1, "Error: reply truncated (0x411000f0)\n");
    expect_error(run([](vlanctl::Client &c) { c.vlans(); }), 1, "Error: reply truncated (0x411000f0)\n");
}

// A bare status is the VLAN's outcome, whatever it says: even the words for
// no memory or a truncated reply name the VLAN.
TEST_F(FakeManager, BareStatusOfVlanInformationNamesTheVlanWhateverItSays)
{
    serve({{VLAN_MGR_OPC_ALL_CREATED_VLAN, {listing({10})}},
           {VLAN_MGR_OPC_VLAN_INFO,
            {bare(VLAN_MGR_ERR_NO_MEMORY), bare(VLAN_MGR_ERR_TRUNCATED), bare(VLAN_MGR_ERR_NO_MEMORY),
             bare(VLAN_MGR_ERR_TRUNCATED)}}});
    const std::string no_memory = "Error: out of memory (0x41100002)\n"
                                  "  VLAN 10: out of memory (0x41100002)\n";
    const std::string truncated = "Error: reply truncated (0x411000f0)\n"
                                  "  VLAN 10: reply truncated (0x411000f0)\n";
    expect_error(run([](vlanctl::Client &c) { c.vlan(10); }), 1, no_memory);
    expect_error(run([](vlanctl::Client &c) { c.vlan(10); }), 1, truncated);
    expect_error(run([](vlanctl::Client &c) { c.vlans(); }), 1, no_memory);
    expect_error(run([](vlanctl::Client &c) { c.vlans(); }), 1, truncated);
}

TEST_F(FakeManager, ListedVlanWhoseInformationIsRefusedNamesTheVlan)
{
    serve({{VLAN_MGR_OPC_ALL_CREATED_VLAN, {listing({10})}},
           {VLAN_MGR_OPC_VLAN_INFO, {bare(VLAN_MGR_ERR_VDC_DENIED)}}});
    expect_error(run([](vlanctl::Client &c) { c.vlans(); }), 1,
                 "Error: not authorised for that VDC (0x411000ca)\n"
                 "  VLAN 10: not authorised for that VDC (0x411000ca)\n");
}

// VLAN 10 was deleted between the listing and its query: it is left out.
// VLAN 20 has no name of its own (its default name is shown) and a port the
// interface table does not know (shown by its index, after the known ones).
TEST_F(FakeManager, VlanDeletedSinceTheListingIsLeftOutAndUnknownPortsShowTheirIndex)
{
    serve({{VLAN_MGR_OPC_ALL_CREATED_VLAN, {listing({10, 20})}},
           {VLAN_MGR_OPC_VLAN_INFO, {bare(VLAN_MGR_ERR_VLAN_NOT_CREATED), info_without_name()}},
           {VLAN_MGR_OPC_PER_VLAN_MEMB, {members(20, {0x0abcdef0u, 0x01010002u})}}});
    std::vector<vlanctl::VlanView> vlans;
    const vlanctl::CtlError e = run([&](vlanctl::Client &c) { vlans = c.vlans(); });
    expect_error(e, 0, "");
    ASSERT_EQ(vlans.size(), 1u);
    EXPECT_EQ(vlans[0].id, 20u);
    EXPECT_EQ(vlans[0].name, "VLAN0020");
    EXPECT_EQ(vlans[0].status, "active");
    EXPECT_EQ(vlans[0].ports, (std::vector<std::string>{"Ethernet1/2", "0x0abcdef0"}));
}

TEST_F(FakeManager, RefusedMembershipQueryEndsTheCommand)
{
    serve({{VLAN_MGR_OPC_VLAN_INFO, {info_without_name()}},
           {VLAN_MGR_OPC_PER_VLAN_MEMB, {bare(VLAN_MGR_ERR_VDC_DENIED)}}});
    expect_error(run([](vlanctl::Client &c) { c.vlan(30); }), 1, "Error: not authorised for that VDC (0x411000ca)\n");
}

TEST_F(FakeManager, RefusedNameLookupEndsTheCommand)
{
    serve({{VLAN_MGR_OPC_VLAN_NAME_TO_ID, {bare(VLAN_MGR_ERR_NO_SUCH_NAME)}}});
    expect_error(run([](vlanctl::Client &c) { c.vlan_by_name("x"); }), 1,
                 "Error: no VLAN has that name (0x411000c8)\n");
}

TEST_F(FakeManager, RefusedPortQueriesEndTheCommand)
{
    const vlan_mgr_apps::IfEntry port{"Ethernet1/3", 0x01010003u, 1};
    serve({{VLAN_MGR_OPC_PORT_MEMB, {bare(VLAN_MGR_ERR_VDC_DENIED)}}});
    expect_error(run([&](vlanctl::Client &c) { c.switchport(port); }), 1,
                 "Error: not authorised for that VDC (0x411000ca)\n");
}

TEST_F(FakeManager, RefusedTrunkingQueryOfAPortEndsTheCommand)
{
    const vlan_mgr_apps::IfEntry port{"Ethernet1/3", 0x01010003u, 1};
    Bytes memb;
    put32(memb, 0);
    put32(memb, 1);
    memb.resize(8 + 24, 0);
    serve({{VLAN_MGR_OPC_PORT_MEMB, {memb}}, {VLAN_MGR_OPC_PORT_TRUNKING_MEMB, {bare(VLAN_MGR_ERR_VDC_DENIED)}}});
    expect_error(run([&](vlanctl::Client &c) { c.switchport(port); }), 1,
                 "Error: not authorised for that VDC (0x411000ca)\n");
}

// The trunk update's parser takes no length: replies that are empty, cut
// short, refused, or that count more pairs than they carry are refused
// before it reads them; a pair whose outcome is not 0 refuses the update.
TEST_F(FakeManager, TrunkUpdateRepliesThatAreEmptyShortRefusedOrRefusedPerPortEndTheCommand)
{
    const vlan_mgr_apps::IfEntry port{"Ethernet1/3", 0x01010003u, 1};
    serve({{VLAN_MGR_OPC_UPDATE_PORT_TRUNKING_MEMB,
            {Bytes{}, Bytes{0, 0}, bare(VLAN_MGR_ERR_VDC_DENIED), Bytes(8, 0), trunk_reply(2, {{0x01010003u, 0}}),
             trunk_reply(1, {{0x01010003u, VLAN_MGR_ERR_VDC_DENIED}}), trunk_reply(1, {{0x01010003u, 0}})}}});
    auto update = [&](vlanctl::Client &c) { c.update_trunk(port, 2, 0, 0, {40}); };
    const std::string truncated = "Error: reply truncated (0x411000f0)\n";
    const std::string denied = "Error: not authorised for that VDC (0x411000ca)\n";
    // An empty reply is no reply: the library's word for it.
    expect_error(run(update), 1, "Error: out of memory (0x41100002)\n");
    expect_error(run(update), 1, truncated);
    expect_error(run(update), 1, denied);
    expect_error(run(update), 1, truncated);
    expect_error(run(update), 1, truncated);
    expect_error(run(update), 1, denied);
    expect_error(run(update), 0, "");
}

// A create or rename reply of VDC 1 for one VLAN: VDC, count, the VLAN, its
// status after the 512-byte bitmap.
Bytes one_vlan_result(uint32_t vlan, uint32_t status)
{
    Bytes b;
    put16(b, 1);
    put16(b, 1);
    put32(b, vlan);
    b.resize(524, 0);
    put32(b, status);
    return b;
}

TEST_F(FakeManager, CreateAndRenameRepliesThatAreShortRefusedOrRefusedPerVlanEndTheCommand)
{
    serve({{VLAN_MGR_OPC_VLAN_CREATE,
            {Bytes(6, 0), bare(VLAN_MGR_ERR_VDC_DENIED), one_vlan_result(40, VLAN_MGR_ERR_VDC_DENIED)}}});
    expect_error(run([](vlanctl::Client &c) { c.create_vlans({40}, ""); }), 1,
                 "Error: reply truncated (0x411000f0)\n");
    expect_error(run([](vlanctl::Client &c) { c.rename_vlan(40, "x"); }), 1,
                 "Error: not authorised for that VDC (0x411000ca)\n");
    expect_error(run([](vlanctl::Client &c) { c.rename_vlan(40, "x"); }), 1,
                 "Error: not authorised for that VDC (0x411000ca)\n"
                 "  VLAN 40: not authorised for that VDC (0x411000ca)\n");
}

// A user outside the manager's group: the request socket refuses the
// connection, nothing is sent (exit 3), and the message names the socket.
TEST_F(FakeManager, RequestRefusedByTheSocketExitsThreeNamingIt)
{
    serve({{VLAN_MGR_OPC_ALL_CREATED_VLAN, {listing({10})}}});
    ASSERT_EQ(chmod(dir_.c_str(), 0755), 0);
    ASSERT_EQ(chmod(run_.c_str(), 0755), 0);
    ASSERT_EQ(chmod((run_ + "/sap.167").c_str(), 0660), 0);
    const std::string out = dir_ + "/hostile.out", err = dir_ + "/hostile.err";
    const pid_t c = fork();
    if (c == 0) {
        const int o = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const int e = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const gid_t none[1] = {65534};
        if (o < 0 || e < 0 || setgroups(1, none) != 0 || setgid(65534) != 0 || setuid(65534) != 0)
            _exit(126);
        dup2(o, 1);
        dup2(e, 2);
        execl(VLANCTL_BIN, VLANCTL_BIN, "show", "vlan", static_cast<char *>(nullptr));
        _exit(127);
    }
    ASSERT_GT(c, 0);
    EXPECT_EQ(vlanctl_test::wait_exit(c, 10000), 3);
    EXPECT_EQ(vlanctl_test::read_file(out), "");
    EXPECT_EQ(vlanctl_test::read_file(err), "Error: message transport: permission denied: " + run_ + "/sap.167\n");
}

// A listing of no VDC groups (a group count of 0 and the bytes of one empty
// group after it) means no VLANs: an empty list, and no membership query.
TEST_F(FakeManager, ListingWithoutGroupsIsNoVlans)
{
    serve({{VLAN_MGR_OPC_ALL_CREATED_VLAN, {Bytes{0, 0, 0, 0, 0, 1, 0, 0, 0, 0}}}});
    std::vector<vlanctl::VlanView> vlans{{}};
    expect_error(run([&](vlanctl::Client &c) { vlans = c.vlans(); }), 0, "");
    EXPECT_TRUE(vlans.empty());
}

// The reserved range is read from the VDC's BD database, which no manager
// has published here.
TEST_F(FakeManager, ReservedRangeWithoutADatabaseIsRefused)
{
    expect_error(run([](vlanctl::Client &c) { c.reserved(); }), 1, "Error: VLAN record could not be read (0x4110001c)\n");
}

// The watch's transport handle is closed under it (by another thread of the
// program): the next receive fails and the watch ends with exit 3.
TEST_F(FakeManager, WatchWhoseTransportHandleIsClosedEndsUnreachable)
{
    serve({{VLAN_MGR_OPC_ALL_CREATED_VLAN, {listing({10})}}});
    sigset_t before;
    ASSERT_EQ(pthread_sigmask(SIG_SETMASK, nullptr, &before), 0);
    vlanctl::CtlError e{0, ""};
    {
        vlanctl::Transport t;
        vlanctl::Client client(t, 1, vlan_mgr_apps::default_iftable());
        const uint32_t h = t.handle();
        std::thread closer([h] {
            // Long after the listing and the subscriptions, which take
            // milliseconds: the watch is waiting for notifications by then.
            std::this_thread::sleep_for(std::chrono::milliseconds(500));
            vlan_mgr_host_mts_close(h);
        });
        testing::internal::CaptureStderr();
        try {
            vlanctl::watch(client, t, 0);
        } catch (const vlanctl::CtlError &err) {
            e = err;
        }
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "Watching the VLAN manager's notifications\n");
        closer.join();
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    EXPECT_EQ(e.exit_code, 3);
    EXPECT_EQ(e.message, "Error: VLAN manager not reachable: message transport: no such handle\n");
}

// Every handle of the process's transport is taken: the client's cannot be
// opened and nothing is sent.
TEST_F(FakeManager, TransportWithoutAFreeHandleIsUnreachable)
{
    std::vector<uint32_t> taken;
    for (int i = 0; i < 2048; ++i) {
        uint32_t h = 0;
        if (vlan_mgr_host_mts_open(0, &h) != 0)
            break;
        taken.push_back(h);
    }
    EXPECT_EQ(taken.size(), 1024u);
    vlanctl::CtlError e{0, ""};
    {
        vlanctl::Transport t;
        try {
            t.handle();
        } catch (const vlanctl::CtlError &err) {
            e = err;
        }
    }
    for (uint32_t h : taken)
        vlan_mgr_host_mts_close(h);
    vlan_mgr_host_mts_shutdown();
    EXPECT_EQ(e.exit_code, 3);
    EXPECT_EQ(e.message, "Error: VLAN manager not reachable: resource busy\n");
}

} // namespace
