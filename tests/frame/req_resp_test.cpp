// The synchronous request-response exchange: the reply sender and the global
// autostate-disable query, on the test platform.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

#include <vlan_mgr/frame.h>

#include "test_platform.h"

namespace {

using tp::Bytes;

std::string pid() { return std::to_string(getpid()); }

Bytes sent_payload(size_t i) { return tp::state().sent.at(i).payload; }

// Two caller entries of 16 bytes: the four fields in host order, the rest of
// each entry filled with 0xEE, which the reply must not carry.
Bytes entries16()
{
    Bytes e(32, 0xEE);
    const uint16_t a0 = 0x0102, b0 = 0x0708, a1 = 0x1112, b1 = 0x1718;
    const uint32_t c0 = 0x03040506, d0 = 0x090A0B0C, c1 = 0x13141516, d1 = 0x191A1B1C;
    std::memcpy(&e[0], &a0, 2);
    std::memcpy(&e[2], &c0, 4);
    std::memcpy(&e[6], &b0, 2);
    std::memcpy(&e[8], &d0, 4);
    std::memcpy(&e[16], &a1, 2);
    std::memcpy(&e[18], &c1, 4);
    std::memcpy(&e[22], &b1, 2);
    std::memcpy(&e[24], &d1, 4);
    return e;
}

// ---- Reply sender ----------------------------------------------------------------

TEST(ReqRespReply, NullEntriesIsInvalidArgAndTouchesNothing)
{
    mts_msg_hdl_t req = tp::make_message(0x5C03, {});
    EXPECT_EQ(vlan_mgr_send_vlan_req_resp_reply(7, nullptr, 2, &req), 0x41100003);
    EXPECT_TRUE(tp::state().sent.empty());
    EXPECT_TRUE(tp::state().dropped.empty());
    EXPECT_TRUE(tp::state().history.empty());
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(ReqRespReply, ZeroCountIsInvalidArgAndTouchesNothing)
{
    Bytes e = entries16();
    mts_msg_hdl_t req = tp::make_message(0x5C03, {});
    EXPECT_EQ(vlan_mgr_send_vlan_req_resp_reply(7, e.data(), 0, &req), 0x41100003);
    EXPECT_TRUE(tp::state().sent.empty());
    EXPECT_TRUE(tp::state().dropped.empty());
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(ReqRespReply, Opcode5C03TwoEntriesGivesFortyByteReply)
{
    Bytes e = entries16();
    mts_msg_hdl_t req = tp::make_message(0x5C03, {0xAA});
    EXPECT_EQ(vlan_mgr_send_vlan_req_resp_reply(7, e.data(), 2, &req), 0);

    ASSERT_EQ(tp::state().sent.size(), 1u);
    const tp::MtsSend &s = tp::state().sent[0];
    EXPECT_EQ(s.mts_handle, 7u);
    EXPECT_EQ(s.dest_node, 0xFE000000u);
    EXPECT_EQ(s.dest_sap, 0u);
    EXPECT_EQ(s.opcode, 0u);
    EXPECT_EQ(s.request, req.msg);
    EXPECT_FALSE(s.has_addr);
    const Bytes expected = {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x02,
                            0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0A, 0x0B, 0x0C, 0, 0, 0, 0,
                            0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18, 0x19, 0x1A, 0x1B, 0x1C, 0, 0, 0, 0};
    EXPECT_EQ(s.payload, expected);

    // The handle that the send filled is dropped; the payload is freed.
    ASSERT_EQ(tp::state().dropped.size(), 1u);
    EXPECT_EQ(tp::state().dropped[0], tp::state().messages.back().get());
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(ReqRespReply, Opcode5C29OneEntryGivesThirtyFourByteReply)
{
    Bytes e(30, 0xEE);
    const uint16_t a = 0x2122, b = 0x2728;
    const uint32_t c = 0x23242526, d = 0x292A2B2C;
    std::memcpy(&e[0], &a, 2);
    std::memcpy(&e[2], &c, 4);
    std::memcpy(&e[6], &b, 2);
    std::memcpy(&e[8], &d, 4);
    mts_msg_hdl_t req = tp::make_message(0x5C29, {});
    EXPECT_EQ(vlan_mgr_send_vlan_req_resp_reply(3, e.data(), 1, &req), 0);

    ASSERT_EQ(tp::state().sent.size(), 1u);
    const tp::MtsSend &s = tp::state().sent[0];
    EXPECT_EQ(s.mts_handle, 3u);
    EXPECT_EQ(s.dest_node, 0xFE000000u);
    EXPECT_EQ(s.dest_sap, 0u);
    EXPECT_EQ(s.opcode, 0u);
    EXPECT_EQ(s.request, req.msg);
    EXPECT_FALSE(s.has_addr);
    const Bytes expected = {0x00, 0x00, 0x00, 0x01, 0x21, 0x22, 0x23, 0x24, 0x25, 0x26, 0x27, 0x28, 0x29,
                            0x2A, 0x2B, 0x2C, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(s.payload, expected);
    ASSERT_EQ(tp::state().dropped.size(), 1u);
    EXPECT_EQ(tp::state().dropped[0], tp::state().messages.back().get());
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(ReqRespReply, Opcode5C29ReadsCallerEntriesWithThirtyByteStride)
{
    Bytes e(60, 0);
    e[30] = 0x01; // first byte of the second entry's first 16-bit value (host order)
    e[31] = 0x02;
    mts_msg_hdl_t req = tp::make_message(0x5C29, {});
    EXPECT_EQ(vlan_mgr_send_vlan_req_resp_reply(3, e.data(), 2, &req), 0);
    const Bytes p = sent_payload(0);
    ASSERT_EQ(p.size(), 64u);
    EXPECT_EQ(p[3], 0x02);
    EXPECT_EQ(p[34], 0x02); // 0x0201 in host order, written big-endian
    EXPECT_EQ(p[35], 0x01);
}

TEST(ReqRespReply, OtherOpcodeSendsNothingDropsOwnHandleAndReturnsZero)
{
    Bytes e = entries16();
    mts_msg_hdl_t req = tp::make_message(0x5C04, {});
    EXPECT_EQ(vlan_mgr_send_vlan_req_resp_reply(7, e.data(), 2, &req), 0);
    EXPECT_TRUE(tp::state().sent.empty());
    ASSERT_EQ(tp::state().dropped.size(), 1u);
    EXPECT_EQ(tp::state().dropped[0], nullptr); // never sent, so it holds no message
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(ReqRespReply, OtherOpcodeWithNegativeCountStillReturnsZero)
{
    Bytes e = entries16();
    mts_msg_hdl_t req = tp::make_message(0x1234, {});
    EXPECT_EQ(vlan_mgr_send_vlan_req_resp_reply(7, e.data(), -1, &req), 0);
    EXPECT_TRUE(tp::state().sent.empty());
    EXPECT_EQ(tp::state().dropped.size(), 1u);
}

TEST(ReqRespReply, NegativeCountIsAnAllocationFailure)
{
    Bytes e = entries16();
    for (uint32_t opcode : {0x5C03u, 0x5C29u}) {
        mts_msg_hdl_t req = tp::make_message(opcode, {});
        EXPECT_EQ(vlan_mgr_send_vlan_req_resp_reply(7, e.data(), -1, &req), 0x41100002);
        EXPECT_EQ(vlan_mgr_send_vlan_req_resp_reply(7, e.data(), INT32_MIN, &req), 0x41100002);
    }
    EXPECT_TRUE(tp::state().sent.empty());
    EXPECT_TRUE(tp::state().dropped.empty());
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(ReqRespReply, AllocationFailureIsNoMemoryWithoutReport)
{
    Bytes e = entries16();
    for (uint32_t opcode : {0x5C03u, 0x5C29u}) {
        mts_msg_hdl_t req = tp::make_message(opcode, {});
        tp::fail_alloc_at(1);
        EXPECT_EQ(vlan_mgr_send_vlan_req_resp_reply(7, e.data(), 2, &req), 0x41100002);
        EXPECT_EQ(tp::live_allocs(), 0);
    }
    EXPECT_TRUE(tp::state().sent.empty());
    EXPECT_TRUE(tp::state().dropped.empty());
    EXPECT_TRUE(tp::state().history.empty());
    EXPECT_TRUE(tp::state().syslog.empty());
}

TEST(ReqRespReply, SendFailureReturnsItsResultAfterDropAndFree)
{
    Bytes e = entries16();
    tp::set_debug(102, true);
    syslog_fac_LOG_VLAN_MGR.current_level = 7;
    mts_msg_hdl_t req = tp::make_message(0x5C03, {});
    tp::state().send_results.push_back(0x40480108);
    EXPECT_EQ(vlan_mgr_send_vlan_req_resp_reply(7, e.data(), 2, &req), 0x40480108);
    EXPECT_EQ(tp::state().sent.size(), 1u);
    ASSERT_EQ(tp::state().dropped.size(), 1u);
    EXPECT_EQ(tp::state().dropped[0], nullptr);
    EXPECT_EQ(tp::live_allocs(), 0);
    EXPECT_TRUE(tp::state().history.empty());
    EXPECT_TRUE(tp::state().debug_lines.empty());
    EXPECT_TRUE(tp::state().syslog.empty());
}

// ---- Autostate query ---------------------------------------------------------------

constexpr const char kFn[] = "vlan_mgr_get_global_autostate_disable_settings";

void expect_query_sent(uint32_t handle)
{
    ASSERT_GE(tp::state().sent.size(), 1u);
    const tp::MtsSend &s = tp::state().sent[0];
    EXPECT_EQ(s.mts_handle, handle);
    EXPECT_EQ(s.dest_node, 0xFE000000u);
    EXPECT_EQ(s.dest_sap, 167u);
    EXPECT_EQ(s.opcode, 0x5C53u);
    EXPECT_EQ(s.request, nullptr);
    EXPECT_EQ(s.payload, (Bytes{0x01, 0x00, 0x00, 0x00})); // 1 in host order, little-endian target
    ASSERT_TRUE(s.has_addr);
    EXPECT_EQ(s.addr.word[0], 1u);
    for (int i = 1; i < 17; ++i)
        EXPECT_EQ(s.addr.word[i], 0u) << i;
}

void expect_recv_options(uint32_t handle, uint32_t token)
{
    ASSERT_EQ(tp::state().received.size(), 1u);
    const tp::MtsRecv &r = tp::state().received[0];
    EXPECT_EQ(r.mts_handle, handle);
    ASSERT_TRUE(r.has_opts);
    EXPECT_EQ(r.opts.word[0], 1u);
    EXPECT_EQ(r.opts.word[1], 0u);
    EXPECT_EQ(r.opts.word[2], 0u);
    EXPECT_EQ(r.opts.word[3], token);
    for (int i = 4; i < 10; ++i)
        EXPECT_EQ(r.opts.word[i], 0u) << i;
}

// The three channels of one report of the query (class 102, INFO_MSG).
void expect_report(const std::string &what, int err, int32_t rc, bool with_rc)
{
    std::string tail = ": pid = " + pid() + ", " + what + " failed with following error no: " + std::to_string(err) +
                       " (" + std::strerror(err) + ")";
    tail += with_rc ? " and return val: " + std::to_string(rc) + " \n" : "\n";
    const std::string debug = std::string("vlan_mgr ") + kFn + tail;
    const std::string sys = std::string(" ") + kFn + tail;
    ASSERT_EQ(tp::state().history.size(), 1u);
    EXPECT_EQ(tp::state().history[0].event_id, 0x730000u);
    EXPECT_EQ(tp::state().history[0].subtype(), 102u);
    EXPECT_EQ(tp::state().history[0].text(), debug);
    EXPECT_EQ(tp::state().history[0].length, 4 + debug.size() + 1);
    ASSERT_EQ(tp::state().debug_lines.size(), 1u);
    EXPECT_EQ(tp::state().debug_lines[0], debug);
    ASSERT_EQ(tp::state().syslog.size(), 1u);
    const tp::SyslogCall &sl = tp::state().syslog[0];
    EXPECT_EQ(sl.severity, 6u);
    EXPECT_EQ(sl.format, "<<%%%s-%d-INFO_MSG>> %s");
    EXPECT_EQ(sl.facility, "VLAN_MGR");
    EXPECT_EQ(sl.text, sys);
    EXPECT_EQ(sl.line, "<<%VLAN_MGR-6-INFO_MSG>> " + sys);
}

// The query payload passed to the transport with an address record, and the
// transport released it: nothing of the library's is left.
void expect_transport_took_payload()
{
    ASSERT_FALSE(tp::state().sent.empty());
    EXPECT_TRUE(tp::state().sent[0].has_addr);
    EXPECT_EQ(tp::live_allocs(), 0);
}

void report_everywhere()
{
    tp::set_debug(102, true);
    syslog_fac_LOG_VLAN_MGR.current_level = 7;
}

TEST(AutostateQuery, ReplyBeginningWith01000000YieldsOne)
{
    mts_msg_hdl_t reply = tp::make_message(0, {0x01, 0x00, 0x00, 0x00});
    tp::state().replies.push_back(reply.msg);
    uint32_t *v = vlan_mgr_get_global_autostate_disable_settings(9);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(*v, 1u);

    expect_query_sent(9);
    expect_recv_options(9, 100); // the token of the sent query
    // The sent handle is dropped after its token is read, then the reply.
    ASSERT_EQ(tp::state().dropped.size(), 2u);
    EXPECT_EQ(tp::state().dropped[0], tp::state().messages.back().get());
    EXPECT_EQ(tp::state().dropped[0]->rr_token, 100u);
    EXPECT_EQ(tp::state().dropped[1], reply.msg);
    EXPECT_TRUE(tp::state().history.empty());
    free(v);
    // The 4-byte query payload passes to the transport, which releases it.
    EXPECT_EQ(tp::live_allocs(), 0);
    expect_transport_took_payload();
}

TEST(AutostateQuery, SettingIsTheFirstWordUnswapped)
{
    mts_msg_hdl_t reply = tp::make_message(0, {0x78, 0x56, 0x34, 0x12, 0xFF, 0xFF});
    tp::state().replies.push_back(reply.msg);
    uint32_t *v = vlan_mgr_get_global_autostate_disable_settings(1);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(*v, 0x12345678u);
    free(v);
    expect_transport_took_payload();
}

TEST(AutostateQuery, ReplyShorterThanAWordLeavesTheRestZero)
{
    mts_msg_hdl_t reply = tp::make_message(0, {0x05, 0x06});
    tp::state().replies.push_back(reply.msg);
    uint32_t *v = vlan_mgr_get_global_autostate_disable_settings(1);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(*v, 0x0605u);
    free(v);
    expect_transport_took_payload();
    tp::state().sent.clear();
    mts_msg_hdl_t empty = tp::make_message(0, {});
    tp::state().replies.push_back(empty.msg);
    v = vlan_mgr_get_global_autostate_disable_settings(1);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(*v, 0u);
    free(v);
    expect_transport_took_payload();
}

TEST(AutostateQuery, PayloadAllocationFailureReturnsNullWithoutReport)
{
    report_everywhere();
    tp::fail_alloc_at(1);
    EXPECT_EQ(vlan_mgr_get_global_autostate_disable_settings(9), nullptr);
    EXPECT_TRUE(tp::state().sent.empty());
    EXPECT_TRUE(tp::state().received.empty());
    EXPECT_TRUE(tp::state().dropped.empty());
    EXPECT_TRUE(tp::state().history.empty());
    EXPECT_TRUE(tp::state().debug_lines.empty());
    EXPECT_TRUE(tp::state().syslog.empty());
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(AutostateQuery, SendFailureIsReportedOnEveryChannel)
{
    report_everywhere();
    tp::state().send_results.push_back(0x40480102);
    errno = EIO;
    EXPECT_EQ(vlan_mgr_get_global_autostate_disable_settings(9), nullptr);
    expect_query_sent(9);
    EXPECT_TRUE(tp::state().received.empty());
    EXPECT_TRUE(tp::state().dropped.empty());
    expect_report("mts_send", EIO, 0x40480102, true);
    EXPECT_EQ(tp::live_allocs(), 0); // the transport released the payload handed to it
    expect_transport_took_payload();
}

TEST(AutostateQuery, SendFailureWithNegativeResultPrintsItSigned)
{
    report_everywhere();
    tp::state().send_results.push_back(-1);
    errno = EAGAIN;
    EXPECT_EQ(vlan_mgr_get_global_autostate_disable_settings(2), nullptr);
    expect_report("mts_send", EAGAIN, -1, true);
    expect_transport_took_payload();
}

TEST(AutostateQuery, RecvFailureIsReportedAndNothingMoreIsDropped)
{
    report_everywhere();
    tp::state().recv_results.push_back(0x40480103);
    errno = ETIMEDOUT;
    EXPECT_EQ(vlan_mgr_get_global_autostate_disable_settings(4), nullptr);
    expect_query_sent(4);
    expect_recv_options(4, 100);
    ASSERT_EQ(tp::state().dropped.size(), 1u); // the sent handle only
    EXPECT_EQ(tp::state().dropped[0]->rr_token, 100u);
    expect_report("mts_recv", ETIMEDOUT, 0x40480103, true);
    EXPECT_EQ(tp::live_allocs(), 0);
    expect_transport_took_payload();
}

TEST(AutostateQuery, ResultAllocationFailureIsReportedAndReplyDropped)
{
    report_everywhere();
    mts_msg_hdl_t reply = tp::make_message(0, {0x01, 0x00, 0x00, 0x00});
    tp::state().replies.push_back(reply.msg);
    tp::fail_alloc_at(2);
    errno = ENOMEM;
    EXPECT_EQ(vlan_mgr_get_global_autostate_disable_settings(5), nullptr);
    ASSERT_EQ(tp::state().dropped.size(), 2u);
    EXPECT_EQ(tp::state().dropped[1], reply.msg);
    expect_report("malloc", ENOMEM, 0, false);
    EXPECT_EQ(tp::live_allocs(), 0);
    expect_transport_took_payload();
}

TEST(AutostateQuery, ReportsKeepHistoryAndDebugWhenSyslogLevelHoldsInfoBack)
{
    tp::set_debug(102, true);
    ASSERT_EQ(syslog_fac_LOG_VLAN_MGR.current_level, 2);
    tp::state().send_results.push_back(5);
    EXPECT_EQ(vlan_mgr_get_global_autostate_disable_settings(9), nullptr);
    EXPECT_EQ(tp::state().history.size(), 1u);
    EXPECT_EQ(tp::state().debug_lines.size(), 1u);
    EXPECT_TRUE(tp::state().syslog.empty());
    expect_transport_took_payload();
}

TEST(AutostateQuery, ReportWithDebugClassOffHasNoDebugLine)
{
    syslog_fac_LOG_VLAN_MGR.current_level = 7;
    tp::state().recv_results.push_back(5);
    EXPECT_EQ(vlan_mgr_get_global_autostate_disable_settings(9), nullptr);
    EXPECT_EQ(tp::state().history.size(), 1u);
    EXPECT_TRUE(tp::state().debug_lines.empty());
    EXPECT_EQ(tp::state().syslog.size(), 1u);
    expect_transport_took_payload();
}

TEST(AutostateQuery, EveryAllocationFailsOnceAndNothingStaysHeld)
{
    for (long n = 1; n <= 2; ++n) {
        tp::reset();
        tp::reset_allocs();
        mts_msg_hdl_t reply = tp::make_message(0, {0x01, 0x00, 0x00, 0x00});
        tp::state().replies.push_back(reply.msg);
        tp::fail_alloc_at(n);
        EXPECT_EQ(vlan_mgr_get_global_autostate_disable_settings(9), nullptr) << n;
        EXPECT_EQ(tp::live_allocs(), 0) << n; // the transport released the payload handed to it
        if (n > 1)
            expect_transport_took_payload();
    }
}

} // namespace
