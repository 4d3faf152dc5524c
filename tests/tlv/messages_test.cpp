// The 15 builder/parser pairs of the TLV-framed messages: literal encodings,
// round trips of every record type (lists of 0, 1 and 4094 elements, names of
// 0 and 32 characters, bitmaps full and empty), refusals printed by the
// accessor, cut and corrupted buffers, allocation failures.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <vlan_mgr/tlv.h>

#include "test_platform.h"
#include "tlv_test_util.h"

namespace {

using namespace tlvtest;

#define CODEC(builder, parser, R, prefix) \
    Codec{#builder, prefix, erase_build<R, builder>, erase_parse<R, parser>, true}

const Codec kComprgrp = CODEC(vlan_build_comprgrp_memb_change_msg, vlan_parse_comprgrp_memb_change_msg,
                              vlan_comprgrp_memb_change_notif_t, "vlan_mgr_comprgrp_change_notif");
const Codec kAllCreatedReq = CODEC(vlan_build_get_all_created_vlan_2_req, vlan_parse_get_all_created_vlan_2_req,
                                   vlan_get_all_created_vlan_2_req_t, "vlan_get_all_created_vlan_2_req");
const Codec kAllCreatedRsp = CODEC(vlan_build_get_all_created_vlan_2_rsp, vlan_parse_get_all_created_vlan_2_rsp,
                                   vlan_get_all_created_vlan_2_rsp_t, "vlan_get_all_created_vlan_2_rsp");
const Codec kDiagReq = CODEC(vlan_build_get_diag_vlan_info_req, vlan_parse_get_diag_vlan_info_req,
                             vlan_get_diag_vlan_info_req_t, "vlan_get_diag_vlan_info_req");
const Codec kDiagRsp = CODEC(vlan_build_get_diag_vlan_info_rsp, vlan_parse_get_diag_vlan_info_rsp,
                             vlan_get_diag_vlan_info_rsp_t, "vlan_get_diag_vlan_info_rsp");
const Codec kTrunkingRsp = CODEC(vlan_build_get_port_trunking_memb_2_rsp, vlan_parse_get_port_trunking_memb_2_rsp,
                                 vlan_get_port_trunking_memb_2_rsp_t, "vlan_get_port_trunking_memb_2_rsp");
const Codec kPortMembReq = CODEC(vlan_build_get_port_memb_2_req, vlan_parse_get_port_memb_2_req,
                                 vlan_get_port_memb_2_req_t, "vlan_get_port_memb_2_req");
const Codec kPortMembRsp = CODEC(vlan_build_get_port_memb_2_rsp, vlan_parse_get_port_memb_2_rsp,
                                 vlan_get_port_memb_2_rsp_t, "vlan_get_port_memb_2_rsp");
const Codec kConfigmodeRsp = CODEC(vlan_build_vlan_configmode_change_rsp, vlan_parse_vlan_configmode_change_rsp,
                                   vlan_configmode_rsp_t, "vlan_configmode_rsp");
const Codec kConfigmodeNotif = CODEC(vlan_build_vlan_configmode_change_notif, vlan_parse_vlan_configmode_change_notif,
                                     vlan_configmode_payload_t, "vlan_configmode_payload");
const Codec kConfigmodeReq = CODEC(vlan_build_vlan_configmode_change_req, vlan_parse_vlan_configmode_change_req,
                                   vlan_configmode_payload_t, "vlan_configmode_payload");
const Codec kDynRsvdReq = CODEC(vlan_build_get_dyn_rsvd_vlan_info_req_msg, vlan_parse_get_dyn_rsvd_vlan_info_req_msg,
                                vlan_dyn_rsvd_req_t, "vlan_get_dyn_rsvd_vlan_req");
const Codec kDynRsvdRsp = CODEC(vlan_build_get_dyn_rsvd_vlan_info_rsp_msg, vlan_parse_get_dyn_rsvd_vlan_info_rsp_msg,
                                vlan_dyn_rsvd_rsp_t, "vlan_get_dyn_rsvd_vlan_rsp");
const Codec kNameReq = CODEC(vlan_build_get_range_created_vlan_req_msg, vlan_parse_get_range_created_vlan_req_msg,
                             vlan_name_req_t, "vlan_mgr_get_range_created_vlan_name_req");
const Codec kNameRsp = CODEC(vlan_build_get_range_created_vlan_rsp_msg, vlan_parse_get_range_created_vlan_rsp_msg,
                             vlan_name_rsp_t, "vlan_mgr_get_range_created_vlan_name_rsp");

#undef CODEC

// ---- Sample records ----------------------------------------------------------

Bytes comprgrp(const Bytes &vlans)
{
    return plain<vlan_comprgrp_memb_change_notif_t>(vlan_mgr_comprgrp_change_notif_init, [&](auto &r) {
        r.field38 = 0x01020304;
        put(&r.vlans, vlans);
        r.field40 = 0x0A0B;
        r.field41 = 0x0C0D;
    });
}

Bytes all_created_req(uint16_t v)
{
    return plain<vlan_get_all_created_vlan_2_req_t>(vlan_get_all_created_vlan_2_req_init, [&](auto &r) { r.field0 = v; });
}

Bytes all_created_rsp(size_t n)
{
    return with_list<vlan_get_all_created_vlan_2_rsp_t, vlan_get_all_created_vlan_2_info_t>(
        vlan_get_all_created_vlan_2_rsp_init, vlan_get_all_created_vlan_2_info_init, n,
        [&](auto &r) {
            r.field0 = 7;
            r.count = static_cast<uint32_t>(n);
        },
        [](auto &e, size_t i) {
            e.field3 = static_cast<uint32_t>(i + 1);
            e.field4 = 0x44444444;
            e.field5 = static_cast<uint16_t>(0x5000 + i);
            e.field6 = 0x66666666;
            e.field7 = 0x77777777;
            e.field8 = static_cast<uint32_t>(0x80000000 + i);
            e.field9 = 0x99999999;
        });
}

Bytes diag_req(uint32_t v)
{
    return plain<vlan_get_diag_vlan_info_req_t>(vlan_get_diag_vlan_info_req_init, [&](auto &r) { r.field0 = v; });
}

Bytes diag_rsp(size_t n)
{
    return with_list<vlan_get_diag_vlan_info_rsp_t, vlan_id_and_bd_t>(
        vlan_get_diag_vlan_info_rsp_init, vlan_id_and_bd_init, n,
        [&](auto &r) {
            r.field0 = 0xD1A6;
            r.count = static_cast<uint32_t>(n);
        },
        [](auto &e, size_t i) {
            e.vlan_id = static_cast<uint32_t>(i + 1);
            e.bd_id = static_cast<uint16_t>(0x1000 + i);
        });
}

Bytes trunking_rsp(size_t n)
{
    const Bytes full = full_bitmap(), empty = bitmap({});
    return with_list<vlan_get_port_trunking_memb_2_rsp_t, vlan_get_port_trunking_memb_2_t>(
        vlan_get_port_trunking_memb_2_rsp_init, vlan_get_port_trunking_memb_2_init, n,
        [&](auto &r) {
            r.field0 = 3;
            r.count = static_cast<uint32_t>(n);
        },
        [&](auto &e, size_t i) {
            e.field3 = static_cast<uint32_t>(0x1A000000 + i);
            e.field4 = 4;
            e.field5 = 5;
            put(&e.vlans6, i % 2 == 0 ? full : empty);
            put(&e.vlans7, i % 2 == 0 ? empty : full);
            e.field8 = static_cast<uint32_t>(i);
        });
}

Bytes port_memb_req(size_t n)
{
    return with_list<vlan_get_port_memb_2_req_t, uint32_t>(
        vlan_get_port_memb_2_req_init, nullptr, n, [&](auto &r) { r.ifindex_count = static_cast<uint32_t>(n); },
        [](uint32_t &e, size_t i) { e = static_cast<uint32_t>(0x1A000000 + i); });
}

Bytes port_memb_rsp(size_t n)
{
    return with_list<vlan_get_port_memb_2_rsp_t, vlan_get_port_memb_2_t>(
        vlan_get_port_memb_2_rsp_init, vlan_get_port_memb_2_init, n,
        [&](auto &r) {
            r.field4 = 0x4444;
            r.count = static_cast<uint32_t>(n);
        },
        [](auto &e, size_t i) {
            e.field3 = static_cast<uint32_t>(0x1A000000 + i);
            e.field6 = 6;
            e.field7 = 7;
            e.field8 = 8;
            e.field9 = 9;
            e.field10 = static_cast<uint32_t>(i);
        });
}

Bytes configmode_rsp(uint32_t v)
{
    return plain<vlan_configmode_rsp_t>(vlan_configmode_rsp_init, [&](auto &r) { r.field29 = v; });
}

Bytes configmode(const Bytes &vlans)
{
    return plain<vlan_configmode_payload_t>(vlan_configmode_payload_init, [&](auto &r) {
        r.field26 = 0x26;
        r.field27 = 0x27;
        put(&r.vlans, vlans);
    });
}

Bytes dyn_rsvd_req()
{
    return plain<vlan_dyn_rsvd_req_t>(vlan_dyn_rsvd_vlan_req_msg_default_init, [](auto &) {});
}

Bytes dyn_rsvd_rsp(const Bytes &a, const Bytes &b, const Bytes &c, const Bytes &d, const Bytes &e)
{
    return plain<vlan_dyn_rsvd_rsp_t>(vlan_get_dyn_rsvd_vlan_rsp_default_init, [&](auto &r) {
        put(&r.vlans33, a);
        put(&r.vlans34, b);
        put(&r.vlans35, c);
        put(&r.vlans36, d);
        put(&r.vlans37, e);
    });
}

Bytes name_req(const Bytes &vlans)
{
    return plain<vlan_name_req_t>(vlan_name_req_msg_default_init, [&](auto &r) { put(&r.vlans, vlans); });
}

Bytes name_rsp(size_t n, size_t name_len)
{
    return with_list<vlan_name_rsp_t, vlan_name_and_state_t>(
        vlan_name_rsp_msg_default_init, vlan_name_rsp_default_init, n,
        [&](auto &r) { r.count = static_cast<uint32_t>(n); },
        [&](auto &e, size_t i) {
            e.vlan_id = static_cast<uint32_t>(i + 1);
            e.field6 = 6;
            e.bd_id = static_cast<uint16_t>(0x2000 + i);
            e.field23 = 23;
            e.field13 = 13;
            e.field22 = static_cast<uint32_t>(i);
            set_name(e.name, name_of(name_len, i));
        });
}

// A buffer of another record type than every message here.
Bytes foreign()
{
    return TlvWriter("vlan_id_and_bd_t").attr(3, le32(1)).attr(4, le16(2)).done();
}

// Every pair with a valid small record of its type.
struct Sample {
    const Codec *codec;
    Bytes record;
};

std::vector<Sample> samples()
{
    return {
        {&kComprgrp, comprgrp(bitmap({1, 4094}))},
        {&kAllCreatedReq, all_created_req(0xBEEF)},
        {&kAllCreatedRsp, all_created_rsp(1)},
        {&kDiagReq, diag_req(0xD1A6)},
        {&kDiagRsp, diag_rsp(1)},
        {&kTrunkingRsp, trunking_rsp(1)},
        {&kPortMembReq, port_memb_req(2)},
        {&kPortMembRsp, port_memb_rsp(1)},
        {&kConfigmodeRsp, configmode_rsp(0x11223344)},
        {&kConfigmodeNotif, configmode(bitmap({10}))},
        {&kConfigmodeReq, configmode(bitmap({10}))},
        {&kDynRsvdReq, dyn_rsvd_req()},
        {&kDynRsvdRsp, dyn_rsvd_rsp(bitmap({3968}), bitmap({}), full_bitmap(), bitmap({1}), bitmap({4095}))},
        {&kNameReq, name_req(bitmap({1, 2, 3}))},
        {&kNameRsp, name_rsp(1, 11)},
    };
}

// ---- Literal encodings ------------------------------------------------------

TEST(TlvMessages, ConfigmodeResponseEncodesToLiteralBytes)
{
    const Bytes expected = {
        0x00, 0x00, 0x00, 0x2C, 0x01, 0x00, 0x00, 0x15,                  // length 44, version 1, name of 21
        'v',  'l',  'a',  'n',  '_',  'c',  'o',  'n',  'f',  'i',  'g', // "vlan_configmode_rsp_t"
        'm',  'o',  'd',  'e',  '_',  'r',  's',  'p',  '_',  't',  0x00, 0x00, 0x00,
        0x00, 0x00, 0x00, 0x1D, 0x00, 0x00, 0x00, 0x04, 0x44, 0x33, 0x22, 0x11, // id 29, 4 bytes, host order
    };
    expect_literal(kConfigmodeRsp, configmode_rsp(0x11223344), expected);
    EXPECT_EQ(TlvWriter("vlan_configmode_rsp_t").attr(29, le32(0x11223344)).done(), expected);
}

TEST(TlvMessages, ComprgrpChangeEncodesFieldsInOrder)
{
    expect_literal(kComprgrp, comprgrp(bitmap({1, 4094})),
                   TlvWriter("vlan_comprgrp_memb_change_notif_t")
                       .attr(38, {0x04, 0x03, 0x02, 0x01})
                       .attr(39, bitmap({1, 4094}))
                       .attr(40, {0x0B, 0x0A})
                       .attr(41, {0x0D, 0x0C})
                       .done());
    // VLANs 1 and 4094: bit 0x40 of byte 0, bit 0x02 of byte 511.
    const Bytes b = bitmap({1, 4094});
    EXPECT_EQ(b[4], 0x40);
    EXPECT_EQ(b[515], 0x02);
}

TEST(TlvMessages, CreatedVlanListingRequestEncodesTwoByteField)
{
    expect_literal(kAllCreatedReq, all_created_req(0xBEEF),
                   TlvWriter("vlan_get_all_created_vlan_2_req_t").attr(0, {0xEF, 0xBE}).done());
}

TEST(TlvMessages, CreatedVlanListingResponseNestsPackedElements)
{
    const Bytes element = Attrs()
                              .attr(3, le32(1))
                              .attr(4, le32(0x44444444))
                              .attr(5, le16(0x5000))
                              .attr(6, le32(0x66666666))
                              .attr(7, le32(0x77777777))
                              .attr(8, le32(0x80000000))
                              .attr(9, le32(0x99999999))
                              .b;
    expect_literal(kAllCreatedRsp, all_created_rsp(1),
                   TlvWriter("vlan_get_all_created_vlan_2_rsp_t")
                       .attr(0, le32(7))
                       .attr(1, le32(1))
                       .attr(2, Attrs().attr(2, element).b)
                       .done());
}

TEST(TlvMessages, DiagRequestAndResponseEncodeToLiteralBytes)
{
    expect_literal(kDiagReq, diag_req(0xD1A6),
                   TlvWriter("vlan_get_diag_vlan_info_req_t").attr(0, le32(0xD1A6)).done());
    const Bytes element = Attrs().attr(3, le32(1)).attr(4, le16(0x1000)).b;
    expect_literal(kDiagRsp, diag_rsp(1),
                   TlvWriter("vlan_get_diag_vlan_info_rsp_t")
                       .attr(0, le32(0xD1A6))
                       .attr(1, le32(1))
                       .attr(2, Attrs().attr(2, element).b)
                       .done());
}

TEST(TlvMessages, TrunkingResponseCarriesBothBitmaps)
{
    const Bytes element = Attrs()
                              .attr(3, le32(0x1A000000))
                              .attr(4, le32(4))
                              .attr(5, le32(5))
                              .attr(6, full_bitmap())
                              .attr(7, bitmap({}))
                              .attr(8, le32(0))
                              .b;
    expect_literal(kTrunkingRsp, trunking_rsp(1),
                   TlvWriter("vlan_get_port_trunking_memb_2_rsp_t")
                       .attr(0, le32(3))
                       .attr(1, le32(1))
                       .attr(2, Attrs().attr(2, element).b)
                       .done());
}

TEST(TlvMessages, PortMembRequestCarriesPlainInterfaceIndexes)
{
    expect_literal(kPortMembReq, port_memb_req(2),
                   TlvWriter("vlan_get_port_memb_2_req_t")
                       .attr(0, le32(1))
                       .attr(1, le32(2))
                       .attr(2, Attrs().attr(2, le32(0x1A000000)).attr(2, le32(0x1A000001)).b)
                       .done());
}

TEST(TlvMessages, PortMembResponseEncodesToLiteralBytes)
{
    const Bytes element = Attrs()
                              .attr(3, le32(0x1A000000))
                              .attr(6, le32(6))
                              .attr(7, le32(7))
                              .attr(8, le32(8))
                              .attr(9, le32(9))
                              .attr(10, le32(0))
                              .b;
    expect_literal(kPortMembRsp, port_memb_rsp(1),
                   TlvWriter("vlan_get_port_memb_2_rsp_t")
                       .attr(4, le32(0x4444))
                       .attr(1, le32(1))
                       .attr(5, Attrs().attr(5, element).b)
                       .done());
}

TEST(TlvMessages, ConfigmodeNotificationAndRequestEncodeAlike)
{
    const Bytes expected = TlvWriter("vlan_configmode_payload_t")
                               .attr(26, le32(0x26))
                               .attr(27, le32(0x27))
                               .attr(28, bitmap({10}))
                               .done();
    expect_literal(kConfigmodeNotif, configmode(bitmap({10})), expected);
    expect_literal(kConfigmodeReq, configmode(bitmap({10})), expected);
}

TEST(TlvMessages, DynRsvdRequestCarriesItsDefaultFive)
{
    expect_literal(kDynRsvdReq, dyn_rsvd_req(), TlvWriter("vlan_dyn_rsvd_req_t").attr(32, le32(5)).done());
}

TEST(TlvMessages, DynRsvdResponseCarriesFiveBitmapsInOrder)
{
    expect_literal(kDynRsvdRsp,
                   dyn_rsvd_rsp(bitmap({3968}), bitmap({}), full_bitmap(), bitmap({1}), bitmap({4095})),
                   TlvWriter("vlan_dyn_rsvd_rsp_t")
                       .attr(33, bitmap({3968}))
                       .attr(34, bitmap({}))
                       .attr(35, full_bitmap())
                       .attr(36, bitmap({1}))
                       .attr(37, bitmap({4095}))
                       .done());
}

TEST(TlvMessages, NameRequestAndResponseEncodeToLiteralBytes)
{
    expect_literal(kNameReq, name_req(bitmap({1, 2, 3})),
                   TlvWriter("vlan_name_req_t").attr(21, bitmap({1, 2, 3})).done());
    const Bytes element = Attrs()
                              .attr(5, le32(1))
                              .attr(6, le32(6))
                              .attr(9, le16(0x2000))
                              .attr(23, le32(23))
                              .attr(13, le32(13))
                              .attr(22, le32(0))
                              .str(8, "abcdefghijk")
                              .b;
    expect_literal(kNameRsp, name_rsp(1, 11),
                   TlvWriter("vlan_name_rsp_t").attr(24, le32(1)).attr(25, Attrs().attr(25, element).b).done());
}

// ---- Round trips ------------------------------------------------------------

TEST(TlvMessages, EverySampleRoundTrips)
{
    for (const Sample &s : samples())
        expect_round_trip(*s.codec, s.record);
}

TEST(TlvMessages, ListsOfZeroOneAndMaxElementsRoundTrip)
{
    for (size_t n : {size_t{0}, size_t{1}, size_t{4094}}) {
        SCOPED_TRACE(n);
        expect_round_trip(kAllCreatedRsp, all_created_rsp(n));
        expect_round_trip(kDiagRsp, diag_rsp(n));
        expect_round_trip(kTrunkingRsp, trunking_rsp(n));
        expect_round_trip(kPortMembReq, port_memb_req(n));
        expect_round_trip(kPortMembRsp, port_memb_rsp(n));
        expect_round_trip(kNameRsp, name_rsp(n, 32));
    }
}

TEST(TlvMessages, NamesOfZeroAndThirtyTwoCharactersRoundTrip)
{
    for (size_t len : {size_t{0}, size_t{1}, size_t{31}, size_t{32}})
        expect_round_trip(kNameRsp, name_rsp(3, len));
}

TEST(TlvMessages, NameOfThirtyThreeCharactersIsRefusedByTheEncoder)
{
    Bytes rec = name_rsp(1, 32);
    vlan_name_and_state_t e;
    std::memcpy(&e, rec.data() + 4, sizeof e);
    std::memset(e.name, 'x', sizeof e.name); // no room left for the NUL
    std::memcpy(rec.data() + 4, &e, sizeof e);
    void *tlv = sentinel();
    uint32_t len = kSentinelLen;
    EXPECT_EQ(vlan_build_get_range_created_vlan_rsp_msg(reinterpret_cast<const vlan_name_rsp_t *>(rec.data()), &tlv,
                                                        &len),
              kStringTooLong);
    EXPECT_EQ(tlv, nullptr);
    EXPECT_EQ(len, 0u);
    EXPECT_EQ(errors(), std::vector<std::string>{"vlan_mgr_get_range_created_vlan_name_rsp_to_tlv: ERR 0x411b0008\n"});
}

TEST(TlvMessages, EveryBitmapFieldFullAndEmptyRoundTrips)
{
    for (const Bytes &b : {full_bitmap(), bitmap({})}) {
        expect_round_trip(kComprgrp, comprgrp(b));
        expect_round_trip(kConfigmodeNotif, configmode(b));
        expect_round_trip(kConfigmodeReq, configmode(b));
        expect_round_trip(kNameReq, name_req(b));
        expect_round_trip(kDynRsvdRsp, dyn_rsvd_rsp(b, b, b, b, b));
    }
    expect_round_trip(kTrunkingRsp, trunking_rsp(2)); // element 0 full/empty, element 1 empty/full
}

TEST(TlvMessages, ExtremeFieldValuesRoundTrip)
{
    expect_round_trip(kConfigmodeRsp, configmode_rsp(0));
    expect_round_trip(kConfigmodeRsp, configmode_rsp(0xFFFFFFFF));
    expect_round_trip(kAllCreatedReq, all_created_req(0xFFFF));
    expect_round_trip(kDiagReq, diag_req(0xFFFFFFFF));
}

TEST(TlvMessages, ParsedRecordHasExactlyTheListsSize)
{
    const Bytes tlv = encode(kDiagRsp, diag_rsp(5));
    EXPECT_EQ(vlan_get_diag_vlan_info_rsp_get_struct_sz(tlv.data()), 8 + 5 * 8);
}

// ---- The configuration-mode request is the notification ---------------------

TEST(TlvMessages, ConfigmodeRequestAndNotificationParsersGiveTheSameRecord)
{
    const Bytes tlv = encode(kConfigmodeNotif, configmode(bitmap({5, 100, 4094})));
    vlan_configmode_payload_t *a = nullptr, *b = nullptr;
    ASSERT_EQ(vlan_parse_vlan_configmode_change_req(tlv.data(), static_cast<uint32_t>(tlv.size()), &a), 0);
    Freer ha(a);
    ASSERT_EQ(vlan_parse_vlan_configmode_change_notif(tlv.data(), static_cast<uint32_t>(tlv.size()), &b), 0);
    Freer hb(b);
    EXPECT_EQ(bytes_of(a, sizeof *a), bytes_of(b, sizeof *b));
    EXPECT_EQ(a->field26, 0x26u);
    EXPECT_EQ(a->vlans.len, 512u);
    EXPECT_EQ(a->vlans.bits[0], 0x04);
}

TEST(TlvMessages, ConfigmodeRequestRefusalIsPrintedAsTheNotificationsAccessor)
{
    // The request goes through the notification's builder and parser, so the
    // line names the notification record's accessor.
    expect_foreign_refused(kConfigmodeReq, foreign());
    expect_null_record_refused(kConfigmodeReq);
}

// ---- Refusals ---------------------------------------------------------------

TEST(TlvMessages, BufferOfAnotherRecordTypeIsRefusedWithTheAccessorsLine)
{
    for (const Sample &s : samples())
        expect_foreign_refused(*s.codec, foreign());
}

TEST(TlvMessages, BufferOfAnotherMessageIsRefused)
{
    // A diagnostic request handed to the listing request's parser: both are
    // one small field with id 0, only the type name differs.
    const Bytes tlv = encode(kDiagReq, diag_req(1));
    expect_foreign_refused(kAllCreatedReq, tlv);
}

TEST(TlvMessages, NullRecordReachesTheUtility)
{
    for (const Sample &s : samples())
        expect_null_record_refused(*s.codec);
}

TEST(TlvMessages, BuilderClearsItsOutsBeforeTheCall)
{
    // Outs holding garbage are cleared even when the utility then refuses.
    expect_null_record_refused(kDiagReq);
    void *tlv = sentinel();
    uint32_t len = kSentinelLen;
    EXPECT_EQ(vlan_build_get_diag_vlan_info_req(nullptr, &tlv, &len), kInvalidArg);
    EXPECT_EQ(tlv, nullptr);
    EXPECT_EQ(len, 0u);
}

TEST(TlvMessages, ParserClearsItsOutBeforeTheCall)
{
    vlan_get_diag_vlan_info_req_t *out = reinterpret_cast<vlan_get_diag_vlan_info_req_t *>(sentinel());
    const Bytes f = foreign();
    EXPECT_EQ(vlan_parse_get_diag_vlan_info_req(f.data(), static_cast<uint32_t>(f.size()), &out), kWrongType);
    EXPECT_EQ(out, nullptr);
}

TEST(TlvMessages, ParserWithLengthZeroTakesTheBuffersOwnLength)
{
    const Bytes tlv = encode(kDiagReq, diag_req(42));
    vlan_get_diag_vlan_info_req_t *out = nullptr;
    ASSERT_EQ(vlan_parse_get_diag_vlan_info_req(tlv.data(), 0, &out), 0);
    Freer h(out);
    EXPECT_EQ(out->field0, 42u);
}

// ---- Damaged buffers ----------------------------------------------------------

TEST(TlvMessages, EveryValidBufferCutShortFailsCleanly)
{
    for (const Sample &s : samples())
        expect_cuts_fail(*s.codec, encode(*s.codec, s.record));
}

TEST(TlvMessages, MaxListBuffersCutShortFailCleanly)
{
    expect_cuts_fail(kDiagRsp, encode(kDiagRsp, diag_rsp(4094)), 1009);
    expect_cuts_fail(kNameRsp, encode(kNameRsp, name_rsp(4094, 32)), 4093);
}

TEST(TlvMessages, EverySingleByteFlippedFailsCleanlyOrDecodes)
{
    for (const Sample &s : samples())
        expect_flips_safe(*s.codec, encode(*s.codec, s.record));
}

TEST(TlvMessages, CountDisagreeingWithTheListIsRefused)
{
    const Bytes element = Attrs().attr(3, le32(1)).attr(4, le16(0x1000)).b;
    for (uint32_t count : {0u, 2u, 4094u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(count);
        const Bytes tlv = TlvWriter("vlan_get_diag_vlan_info_rsp_t")
                              .attr(0, le32(1))
                              .attr(1, le32(count))
                              .attr(2, Attrs().attr(2, element).b)
                              .done();
        void *out = sentinel();
        const long base = tp::live_allocs();
        EXPECT_EQ(kDiagRsp.parse(tlv.data(), static_cast<uint32_t>(tlv.size()), &out), kCountMismatch);
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(errors(), std::vector<std::string>{"vlan_get_diag_vlan_info_rsp_to_struct: ERR 0x411b000a\n"});
        drop_errors();
        EXPECT_EQ(tp::live_allocs(), base);
    }
}

TEST(TlvMessages, LengthsAtTheirExtremesAreRefused)
{
    // The buffer's total length at 0xFFFFFFFF.
    Bytes big_total = encode(kDiagRsp, diag_rsp(1));
    big_total[0] = big_total[1] = big_total[2] = big_total[3] = 0xFF;
    // A list attribute claiming 0xFFFFFFFF bytes.
    Bytes big_list = TlvWriter("vlan_get_diag_vlan_info_rsp_t").attr(0, le32(1)).attr(1, le32(1)).b;
    for (uint8_t b : {0x00, 0x00, 0x00, 0x02, 0xFF, 0xFF, 0xFF, 0xFF})
        big_list.push_back(b);
    const uint32_t n = static_cast<uint32_t>(big_list.size());
    big_list[0] = static_cast<uint8_t>(n >> 24);
    big_list[1] = static_cast<uint8_t>(n >> 16);
    big_list[2] = static_cast<uint8_t>(n >> 8);
    big_list[3] = static_cast<uint8_t>(n);
    // A fixed field of the wrong width.
    const Bytes wide = TlvWriter("vlan_get_diag_vlan_info_req_t").attr(0, le16(1)).done();

    const long base = tp::live_allocs();
    void *out = sentinel();
    EXPECT_EQ(kDiagRsp.parse(big_total.data(), static_cast<uint32_t>(big_total.size()), &out), kTruncated);
    EXPECT_EQ(out, nullptr);
    out = sentinel();
    EXPECT_EQ(kDiagRsp.parse(big_list.data(), n, &out), kTruncated);
    EXPECT_EQ(out, nullptr);
    out = sentinel();
    EXPECT_EQ(kDiagReq.parse(wide.data(), static_cast<uint32_t>(wide.size()), &out), kBadLength);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(errors(), (std::vector<std::string>{"vlan_get_diag_vlan_info_rsp_to_struct: ERR 0x411b0004\n",
                                                  "vlan_get_diag_vlan_info_rsp_to_struct: ERR 0x411b0004\n",
                                                  "vlan_get_diag_vlan_info_req_to_struct: ERR 0x411b0007\n"}));
    drop_errors();
    EXPECT_EQ(tp::live_allocs(), base);
}

TEST(TlvMessages, FieldsMissingFromTheBufferKeepTheirDefaults)
{
    // A listing element with only field 3: fields 6 and 7 hold 2 and 8.
    const Bytes tlv = TlvWriter("vlan_get_all_created_vlan_2_rsp_t")
                          .attr(0, le32(0))
                          .attr(1, le32(1))
                          .attr(2, Attrs().attr(2, Attrs().attr(3, le32(77)).b).b)
                          .done();
    vlan_get_all_created_vlan_2_rsp_t *out = nullptr;
    ASSERT_EQ(vlan_parse_get_all_created_vlan_2_rsp(tlv.data(), static_cast<uint32_t>(tlv.size()), &out), 0);
    Freer h(out);
    EXPECT_EQ(bytes_of(out, 8 + 26),
              cat({le32(0), le32(1), le32(77), le32(0), le16(0), le32(2), le32(8), le32(0), le32(0)}));
}

// ---- Allocation failures ----------------------------------------------------

TEST(TlvMessages, EveryBuilderAllocationFailsOnce)
{
    for (const Sample &s : samples())
        expect_build_alloc_sweep(*s.codec, s.record, encode(*s.codec, s.record));
}

TEST(TlvMessages, EveryParserAllocationFailsOnce)
{
    for (const Sample &s : samples())
        expect_parse_alloc_sweep(*s.codec, encode(*s.codec, s.record), s.record);
}

} // namespace
