// The library's request-response exchange between two processes on the host
// transport: the VLAN manager's side answers with the reply sender, the
// client asks with the global autostate query.
#include "mts_test_util.h"

#include <cstdlib>

#include <vlan_mgr/frame.h>

namespace {

using namespace mts_test;

// A VLAN manager stand-in on SAP 167: answers the autostate query with the
// setting 1, the two entry requests with the reply sender, and drops anything
// else unanswered, until a datagram of opcode 1.
int vlan_manager(const Signal &ready)
{
    uint32_t h = 0;
    if (vlan_mgr_host_mts_open(VLAN_MGR_MTS_SAP, &h) != 0)
        return 10;
    ready.raise();
    for (;;) {
        mts_msg_hdl_t m{};
        if (mts_recv(h, &m, nullptr) != 0)
            return 11;
        const uint32_t opc = mts_opc_get(&m);
        if (opc == 1)
            return 0;
        if (opc == MTS_OPC_VLAN_GET_GLOBAL_AUTOSTATE) {
            uint32_t query;
            if (mts_payload_size(&m) != 4)
                return 12;
            std::memcpy(&query, mts_payload_get(&m), 4);
            if (query != 1)
                return 13;
            const uint8_t setting[4] = {0x01, 0x00, 0x00, 0x00};
            if (mts_send(h, VLAN_MGR_MTS_DEST_NODE, 0, 0, const_cast<uint8_t *>(setting), 4, nullptr, &m, nullptr) != 0)
                return 14;
        } else {
            uint8_t entries[60] = {};
            const uint16_t a = 0x0102;
            const uint32_t b = 0x03040506;
            std::memcpy(entries, &a, 2);
            std::memcpy(entries + 2, &b, 4);
            std::memcpy(entries + 30, &a, 2); // second entry at stride 30 (0x5C29) ...
            std::memcpy(entries + 16, &a, 2); // ... or at stride 16 (0x5C03)
            if (vlan_mgr_send_vlan_req_resp_reply(h, entries, 2, &m) != 0)
                return 15;
        }
        mts_drop(h, &m);
    }
}

std::vector<uint8_t> ask(uint32_t c, uint32_t opcode, int32_t *rc)
{
    mts_addr_t a = request_addr();
    mts_msg_hdl_t sent{}, reply{};
    *rc = mts_send(c, VLAN_MGR_MTS_DEST_NODE, VLAN_MGR_MTS_SAP, opcode, nullptr, 0, &sent, nullptr, &a);
    if (*rc != 0)
        return {};
    mts_recv_opts_t o = by_token(mts_rr_token_get(&sent));
    mts_drop(c, &sent);
    *rc = mts_recv(c, &reply, &o);
    if (*rc != 0)
        return {};
    std::vector<uint8_t> p = payload_of(reply);
    mts_drop(c, &reply);
    return p;
}

using MtsReqResp = MtsTest;

TEST_F(MtsReqResp, AutostateQueryAndEntryRepliesBetweenTwoProcesses)
{
    host_test::ScopedEnv t("VLAN_MGR_MTS_TIMEOUT_MS", "300");
    Signal ready;
    pid_t manager = spawn([&] { return vlan_manager(ready); });
    ASSERT_EQ(ready.wait(), 'x');

    // The query leaves its request payload to the transport, so it runs in a
    // child of its own; the child reports the setting as its exit status.
    pid_t client = spawn([] {
        uint32_t c = 0;
        if (vlan_mgr_host_mts_open(0, &c) != 0)
            return 100;
        uint32_t *v = vlan_mgr_get_global_autostate_disable_settings(c);
        if (v == nullptr)
            return 101;
        const int setting = static_cast<int>(*v);
        std::free(v);
        return setting;
    });
    EXPECT_EQ(join(client), 1);

    uint32_t c = 0;
    ASSERT_EQ(vlan_mgr_host_mts_open(0, &c), 0);
    int32_t rc = -1;
    EXPECT_EQ(ask(c, MTS_OPC_VLAN_REQ_RESP_16, &rc),
              (std::vector<uint8_t>{0, 0, 0, 0, 0, 0, 0, 2,
                                    0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                    0x01, 0x02, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(rc, 0);
    std::vector<uint8_t> r30 = ask(c, MTS_OPC_VLAN_REQ_RESP_30, &rc);
    EXPECT_EQ(rc, 0);
    std::vector<uint8_t> expected30(64, 0);
    expected30[3] = 2;
    const uint8_t first[] = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06};
    std::memcpy(&expected30[4], first, 6);
    expected30[34] = 0x01;
    expected30[35] = 0x02;
    EXPECT_EQ(r30, expected30);

    // A request of another opcode is never answered: the client's wait ends
    // in the time-out word.
    EXPECT_TRUE(ask(c, 0x5C04, &rc).empty());
    EXPECT_EQ(rc, 0x40480103);

    ASSERT_EQ(mts_send(c, VLAN_MGR_MTS_DEST_NODE, VLAN_MGR_MTS_SAP, 1, nullptr, 0, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(join(manager), 0);
}

TEST_F(MtsReqResp, AutostateQueryWithoutAManagerFailsWithNull)
{
    pid_t client = spawn([] {
        uint32_t c = 0;
        if (vlan_mgr_host_mts_open(0, &c) != 0)
            return 100;
        return vlan_mgr_get_global_autostate_disable_settings(c) == nullptr ? 0 : 101;
    });
    EXPECT_EQ(join(client), 0);
}

} // namespace
