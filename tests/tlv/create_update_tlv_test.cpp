// The create/update request in TLV form: vlan_mgr_create_update_build_mts and
// vlan_mgr_create_update_parse_req. Unlike the other TLV-framed messages they
// hand the caller's outs to the utility without clearing them first.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <vlan_mgr/config_req.h>
#include <vlan_mgr/tlv.h>

#include "test_platform.h"
#include "tlv_test_util.h"

namespace {

using namespace tlvtest;

const Codec kCreateUpdate{"vlan_mgr_create_update_build_mts", "vlan_mgr_create_update_req",
                          erase_build<vlan_mgr_create_update_req_t, vlan_mgr_create_update_build_mts>,
                          erase_parse<vlan_mgr_create_update_req_t, vlan_mgr_create_update_parse_req>, false};

Bytes request(size_t n, size_t name_len)
{
    return with_list<vlan_mgr_create_update_req_t, vlan_mgr_create_update_t>(
        vlan_mgr_create_update_req_default_init, vlan_mgr_create_update_default_init, n,
        [&](auto &r) { r.count = static_cast<uint16_t>(n); },
        [&](auto &e, size_t i) {
            e.field3 = static_cast<uint8_t>(i % 3);
            e.field5 = static_cast<uint32_t>(i + 1);
            e.field6 = 0x06060606;
            e.field7 = static_cast<uint16_t>(0x0700 + i);
            set_name(e.name, name_of(name_len, i));
        });
}

TEST(TlvCreateUpdate, RequestEncodesToLiteralBytes)
{
    const Bytes element = Attrs()
                              .attr(3, {0x00})
                              .attr(5, le32(1))
                              .attr(6, le32(0x06060606))
                              .attr(7, le16(0x0700))
                              .str(8, "abcdefghijk")
                              .b;
    expect_literal(kCreateUpdate, request(1, 11),
                   TlvWriter("vlan_mgr_create_update_req_t")
                       .attr(1, le16(1))
                       .attr(2, Attrs().attr(2, element).b)
                       .done());
}

TEST(TlvCreateUpdate, RequestFromTheAllocatorRoundTrips)
{
    // A request made by vlan_mgr_init_create_update_req_msg: its 48-byte
    // records start at offset 2, unaligned.
    vlan_mgr_create_update_req_t *msg = nullptr;
    ASSERT_EQ(vlan_mgr_init_create_update_req_msg(&msg, 3), 0);
    Freer hm(msg);
    msg->count = 3;
    for (size_t i = 0; i < 3; ++i) {
        vlan_mgr_create_update_t e;
        std::memset(&e, 0, sizeof e);
        vlan_mgr_create_update_default_init(&e);
        e.field5 = static_cast<uint32_t>(100 + i);
        set_name(e.name, name_of(32, i));
        std::memcpy(reinterpret_cast<uint8_t *>(msg) + 2 + 48 * i, &e, sizeof e);
    }
    void *tlv = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_mgr_create_update_build_mts(msg, &tlv, &len), 0);
    Freer ht(tlv);
    vlan_mgr_create_update_req_t *out = nullptr;
    ASSERT_EQ(vlan_mgr_create_update_parse_req(tlv, len, &out), 0);
    Freer ho(out);
    EXPECT_EQ(bytes_of(out, 2 + 3 * 48), bytes_of(msg, 2 + 3 * 48));
    EXPECT_EQ(vlan_mgr_create_update_msg_get_sz(out), 3u);
}

TEST(TlvCreateUpdate, RequestsOfZeroOneAndMaxRecordsRoundTrip)
{
    for (size_t n : {size_t{0}, size_t{1}, size_t{4094}}) {
        SCOPED_TRACE(n);
        expect_round_trip(kCreateUpdate, request(n, 32));
    }
}

TEST(TlvCreateUpdate, NamesOfZeroAndThirtyTwoCharactersRoundTrip)
{
    expect_round_trip(kCreateUpdate, request(2, 0));
    expect_round_trip(kCreateUpdate, request(2, 32));
}

TEST(TlvCreateUpdate, BuilderLeavesTheOutsAsTheyWereOnFailure)
{
    // The other side of the sibling difference: the outs are not cleared.
    expect_null_record_refused(kCreateUpdate);
    void *tlv = sentinel();
    uint32_t len = kSentinelLen;
    EXPECT_EQ(vlan_mgr_create_update_build_mts(nullptr, &tlv, &len), kInvalidArg);
    EXPECT_EQ(tlv, sentinel());
    EXPECT_EQ(len, kSentinelLen);
}

TEST(TlvCreateUpdate, ParserLeavesTheOutAsItWasOnFailure)
{
    const Bytes foreign = TlvWriter("vlan_mgr_create_update_t").attr(3, {0x01}).done();
    expect_foreign_refused(kCreateUpdate, foreign);
    vlan_mgr_create_update_req_t *out = reinterpret_cast<vlan_mgr_create_update_req_t *>(sentinel());
    EXPECT_EQ(vlan_mgr_create_update_parse_req(foreign.data(), static_cast<uint32_t>(foreign.size()), &out),
              kWrongType);
    EXPECT_EQ(out, sentinel());
}

TEST(TlvCreateUpdate, OutsAreSetOnSuccess)
{
    const Bytes rec = request(1, 4);
    void *tlv = sentinel();
    uint32_t len = kSentinelLen;
    ASSERT_EQ(vlan_mgr_create_update_build_mts(reinterpret_cast<const vlan_mgr_create_update_req_t *>(rec.data()),
                                               &tlv, &len),
              0);
    Freer h(tlv);
    EXPECT_NE(tlv, sentinel());
    EXPECT_EQ(Bytes(static_cast<uint8_t *>(tlv), static_cast<uint8_t *>(tlv) + 4),
              (Bytes{0, 0, static_cast<uint8_t>(len >> 8), static_cast<uint8_t>(len)}));
}

TEST(TlvCreateUpdate, CutBuffersFailCleanly)
{
    expect_cuts_fail(kCreateUpdate, encode(kCreateUpdate, request(1, 32)));
    expect_cuts_fail(kCreateUpdate, encode(kCreateUpdate, request(0, 0)));
    expect_cuts_fail(kCreateUpdate, encode(kCreateUpdate, request(4094, 32)), 4093);
}

TEST(TlvCreateUpdate, FlippedBytesFailCleanlyOrDecode)
{
    expect_flips_safe(kCreateUpdate, encode(kCreateUpdate, request(2, 32)));
}

TEST(TlvCreateUpdate, CountsAtTheirExtremesAreRefused)
{
    const Bytes element = Attrs().attr(5, le32(10)).b;
    for (uint16_t count : {uint16_t{0}, uint16_t{2}, uint16_t{0xFFFF}}) {
        SCOPED_TRACE(count);
        const Bytes tlv = TlvWriter("vlan_mgr_create_update_req_t")
                              .attr(1, le16(count))
                              .attr(2, Attrs().attr(2, element).b)
                              .done();
        const long base = tp::live_allocs();
        void *out = sentinel();
        EXPECT_EQ(kCreateUpdate.parse(tlv.data(), static_cast<uint32_t>(tlv.size()), &out), kCountMismatch);
        EXPECT_EQ(out, sentinel());
        EXPECT_EQ(errors(), std::vector<std::string>{"vlan_mgr_create_update_req_to_struct: ERR 0x411b000a\n"});
        drop_errors();
        EXPECT_EQ(tp::live_allocs(), base);
    }
}

TEST(TlvCreateUpdate, EveryAllocationFailsOnce)
{
    const Bytes rec = request(2, 32);
    expect_build_alloc_sweep(kCreateUpdate, rec, encode(kCreateUpdate, rec));
    expect_parse_alloc_sweep(kCreateUpdate, encode(kCreateUpdate, rec), rec);
}

} // namespace
