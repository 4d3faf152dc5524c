// The manager's own exchanges: request keys -> the manager's decoder, and
// the manager's entry arrays -> the library's reply sender -> the library's
// parser of the replies give back what went in; the autostate reply ->
// the library's autostate query.
#include <cstring>

#include <vlan_mgr/frame.h>
#include <vlan_mgr/notif.h>
#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/server/exchange.h>

#include "roundtrip.h"
#include "test_platform.h"

namespace server = vlan_mgr::server;
using roundtrip::Gen;
using roundtrip::Owned;

namespace {

constexpr uint32_t kTypes[] = {VLAN_MGR_VLAN_TYPE_NORMAL, VLAN_MGR_VLAN_TYPE_PRIMARY, VLAN_MGR_VLAN_TYPE_ISOLATED,
                               VLAN_MGR_VLAN_TYPE_COMMUNITY};

// A request as a client writes it: 6-byte keys, big-endian.
server::Payload request_of(const std::vector<server::VlanKey> &keys)
{
    server::Payload p;
    for (const server::VlanKey &k : keys) {
        p.push_back(static_cast<uint8_t>(k.vdc_id >> 8));
        p.push_back(static_cast<uint8_t>(k.vdc_id));
        for (int s = 24; s >= 0; s -= 8)
            p.push_back(static_cast<uint8_t>(k.vlan_id >> s));
    }
    return p;
}

std::vector<server::VlanKey> keys_for(Gen &g, size_t n)
{
    std::vector<server::VlanKey> keys(n);
    for (server::VlanKey &k : keys)
        k = {g.vdc(), g.in(0, 4095)};
    return keys;
}

// Sends `entries` as the reply to a request of `opcode` through the
// library, and parses the reply it sent.
uint32_t send_and_parse(uint32_t opcode, const server::Payload &entries, size_t stride, Owned<uint8_t> &recs,
                        uint32_t &count)
{
    tp::reset();
    mts_msg_hdl_t req = tp::make_message(opcode, {});
    const int32_t rc = vlan_mgr_send_vlan_req_resp_reply(7, entries.data(),
                                                         static_cast<int32_t>(entries.size() / stride), &req);
    if (rc != 0 || tp::state().sent.size() != 1)
        return 0xFFFFFFFFu;
    mts_msg_hdl_t reply = tp::make_message(opcode, tp::state().sent[0].payload);
    void *out = nullptr;
    const uint32_t st = vlan_mgr_parse_notification_msg(&reply, &out, &count, std::malloc);
    recs.reset(static_cast<uint8_t *>(out));
    return st;
}

using roundtrip::record_at;

TEST(ExchangeRoundTrip, RequestKeysDecodeInOrder)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        const std::vector<server::VlanKey> keys = keys_for(g, g.size_for(i, 5 * 4096));
        const server::Payload req = request_of(keys);
        std::vector<server::VlanKey> got;
        ASSERT_EQ(server::decode_req_resp_request(req.data(), req.size(), got), 0u) << "case " << i;
        ASSERT_EQ(got, keys);
    }
}

TEST(ExchangeRoundTrip, ReqResp16EntriesReadBackFromTheSentReply)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        std::vector<server::ReqResp16Entry> in(g.size_for(i, 4094));
        for (server::ReqResp16Entry &e : in)
            e = {g.vdc(), g.vlan(), g.u16(), g.u32()};
        const server::Payload entries = server::encode_req_resp16_entries(in);
        ASSERT_EQ(entries.size(), 16 * in.size());
        Owned<uint8_t> recs;
        uint32_t count = 0;
        ASSERT_EQ(send_and_parse(MTS_OPC_VLAN_REQ_RESP_16, entries, 16, recs, count), 0u) << "case " << i;
        ASSERT_EQ(count, in.size());
        for (size_t k = 0; k < in.size(); ++k) {
            const auto r = record_at<vlan_mgr_notif_5c03_t>(recs.get(), k);
            ASSERT_EQ((server::ReqResp16Entry{r.v0, r.v2, r.vdc_id, r.v8}), in[k]) << "entry " << k;
            ASSERT_EQ(r.v12, 0u);
        }
    }
}

TEST(ExchangeRoundTrip, ReqResp30EntriesOfEveryTypeReadBackFromTheSentReply)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        std::vector<server::ReqResp30Entry> in(g.size_for(i, 4094));
        for (size_t k = 0; k < in.size(); ++k) {
            const uint32_t type = kTypes[(k + static_cast<size_t>(i)) % std::size(kTypes)];
            const bool secondary = type == VLAN_MGR_VLAN_TYPE_ISOLATED || type == VLAN_MGR_VLAN_TYPE_COMMUNITY;
            in[k] = {g.vdc(), g.vlan(), static_cast<uint16_t>(type), secondary ? g.vlan() : 0};
        }
        const server::Payload entries = server::encode_req_resp30_entries(in);
        ASSERT_EQ(entries.size(), 30 * in.size());
        Owned<uint8_t> recs;
        uint32_t count = 0;
        ASSERT_EQ(send_and_parse(MTS_OPC_VLAN_REQ_RESP_30, entries, 30, recs, count), 0u) << "case " << i;
        ASSERT_EQ(count, in.size());
        for (size_t k = 0; k < in.size(); ++k) {
            const auto r = record_at<vlan_mgr_notif_5c29_t>(recs.get(), k);
            ASSERT_EQ((server::ReqResp30Entry{r.v0, r.v2, r.v6, r.v8}), in[k]) << "entry " << k;
            ASSERT_TRUE(r.v12 == 0 && r.v16 == 0 && r.v20 == 0 && r.v24 == 0 && r.v26 == 0);
        }
    }
}

TEST(ExchangeRoundTrip, AutostateReplyIsWhatTheQueryHandsOut)
{
    ROUNDTRIP_TRACE();
    Gen g;
    for (int i = 0; i < roundtrip::kCases; ++i) {
        tp::reset();
        const uint32_t setting = i < 2 ? static_cast<uint32_t>(i) : g.u32();
        const server::Payload reply = server::encode_autostate_reply(setting);
        mts_msg_hdl_t msg = tp::make_message(MTS_OPC_VLAN_GET_GLOBAL_AUTOSTATE, reply);
        tp::state().replies.push_back(msg.msg);
        Owned<uint32_t> got(vlan_mgr_get_global_autostate_disable_settings(3));
        ASSERT_NE(got, nullptr);
        EXPECT_EQ(*got, setting);
    }
}

// What the decoder refuses: an empty payload, one that is not a whole
// number of keys, more keys than every VLAN of every VDC.
TEST(ExchangeDecode, ReqRespRefusesWhatIsNotAListOfKeys)
{
    std::vector<server::VlanKey> got;
    const uint8_t one[6] = {0, 1, 0, 0, 0, 10};
    EXPECT_EQ(server::decode_req_resp_request(one, 6, got), 0u);
    EXPECT_EQ(got, (std::vector<server::VlanKey>{{1, 10}}));
    EXPECT_EQ(server::decode_req_resp_request(one, 0, got), VLAN_MGR_ERR_BAD_REQUEST);
    EXPECT_EQ(server::decode_req_resp_request(nullptr, 0, got), VLAN_MGR_ERR_BAD_REQUEST);
    for (size_t len = 1; len < 6; ++len)
        EXPECT_EQ(server::decode_req_resp_request(one, len, got), VLAN_MGR_ERR_BAD_REQUEST) << len;
    const server::Payload most(6 * 5 * 4096, 0);
    EXPECT_EQ(server::decode_req_resp_request(most.data(), most.size(), got), 0u);
    EXPECT_EQ(got.size(), 5u * 4096u);
    const server::Payload too_many(6 * (5 * 4096 + 1), 0);
    EXPECT_EQ(server::decode_req_resp_request(too_many.data(), too_many.size(), got), VLAN_MGR_ERR_BAD_REQUEST);
    const server::Payload odd(13, 0);
    EXPECT_EQ(server::decode_req_resp_request(odd.data(), odd.size(), got), VLAN_MGR_ERR_BAD_REQUEST);
}

// ---- Literal bytes -------------------------------------------------------------

TEST(ExchangeEncode, EntriesAreHostOrderAndTheRestIsZero)
{
    const server::ReqResp16Entry e16{2, 0x01020304, 0x0506, 0x0708090A};
    const server::Payload a = server::encode_req_resp16_entries(std::span(&e16, 1));
    server::Payload want16(16, 0);
    const uint16_t vdc = 2, bd = 0x0506;
    const uint32_t vlan = 0x01020304, seg = 0x0708090A;
    std::memcpy(&want16[0], &vdc, 2);
    std::memcpy(&want16[2], &vlan, 4);
    std::memcpy(&want16[6], &bd, 2);
    std::memcpy(&want16[8], &seg, 4);
    EXPECT_EQ(a, want16);
    // On this little-endian machine:
    EXPECT_EQ(a, (server::Payload{2, 0, 4, 3, 2, 1, 6, 5, 0x0A, 9, 8, 7, 0, 0, 0, 0}));

    const server::ReqResp30Entry e30{1, 20, 4, 10};
    const server::Payload b = server::encode_req_resp30_entries(std::span(&e30, 1));
    server::Payload want30(30, 0);
    want30[0] = 1;
    want30[2] = 20;
    want30[6] = 4;
    want30[8] = 10;
    EXPECT_EQ(b, want30);
    EXPECT_TRUE(server::encode_req_resp16_entries({}).empty());

    EXPECT_EQ(server::encode_autostate_reply(0x01020304), (server::Payload{4, 3, 2, 1}));
}

} // namespace
