// The build and parse wrappers of the TLV part of the create and delete
// notifications: literal encodings in carrying order, round trips (0, 1 and
// 4094 records, names of 0 and 32 characters, the unaligned word at 49),
// cleared outs, refusals, damaged buffers and allocation failures.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <vlan_mgr/notif.h>

#include "test_platform.h"
#include "tlv_test_util.h"

namespace {

using namespace tlvtest;

const Codec kCreate{"vlan_mgr_create_notif2_build_notification", "vlan_mgr_create_notif2_payload",
                    erase_build<vlan_create_notif2_payload_t, vlan_mgr_create_notif2_build_notification>,
                    erase_parse<vlan_create_notif2_payload_t, vlan_mgr_create_notif2_parse_notification>, true};
const Codec kDelete{"vlan_mgr_delete_notif2_build_notification", "vlan_mgr_delete_notif2_payload",
                    erase_build<vlan_delete_notif2_payload_t, vlan_mgr_delete_notif2_build_notification>,
                    erase_parse<vlan_delete_notif2_payload_t, vlan_mgr_delete_notif2_parse_notification>, true};

Bytes create_payload(size_t n, size_t name_len)
{
    return with_list<vlan_create_notif2_payload_t, vlan_create_notif2_t>(
        vlan_mgr_create_notif2_payload_init, vlan_mgr_create_notif2_default_init, n,
        [&](auto &r) { r.count = static_cast<uint32_t>(n); },
        [&](auto &e, size_t i) {
            e.bd_id = static_cast<uint16_t>(0x0100 + i);
            e.field10 = 0x0A0A;
            e.field7 = 0x0707;
            e.vdc_vlan.vdc_id = 1;
            e.vdc_vlan.vlan_id = static_cast<uint32_t>(i + 1);
            e.field6 = 0x06060606;
            e.field11 = 0x11;
            e.field30 = static_cast<uint32_t>(0x30000000 + i);
            set_name(e.name, name_of(name_len, i));
        });
}

Bytes delete_payload(size_t n, size_t name_len)
{
    return with_list<vlan_delete_notif2_payload_t, vlan_delete_notif2_t>(
        vlan_mgr_delete_notif2_payload_init, vlan_mgr_delete_notif2_default_init, n,
        [&](auto &r) { r.count = static_cast<uint32_t>(n); },
        [&](auto &e, size_t i) {
            e.bd_id = static_cast<uint16_t>(0x0100 + i);
            e.vdc_vlan.vdc_id = 2;
            e.vdc_vlan.vlan_id = static_cast<uint32_t>(i + 1);
            set_name(e.name, name_of(name_len, i));
            e.field31 = static_cast<uint32_t>(0xA1B2C3D4u ^ i);
        });
}

TEST(TlvNotif2, CreatePayloadEncodesFieldsInCarryingOrder)
{
    // Offset 12 (id 6) is carried before offset 6 (id 16).
    const Bytes element = Attrs()
                              .attr(9, le16(0x0100))
                              .attr(10, le16(0x0A0A))
                              .attr(7, le16(0x0707))
                              .attr(6, le32(0x06060606))
                              .attr(16, cat({le16(1), le32(1)}))
                              .attr(13, le32(8))
                              .attr(11, le32(0x11))
                              .attr(12, le32(2))
                              .attr(14, le32(1))
                              .attr(15, le32(1))
                              .attr(30, le32(0x30000000))
                              .str(8, "abcdefghijk")
                              .b;
    expect_literal(kCreate, create_payload(1, 11),
                   TlvWriter("vlan_create_notif2_payload_t")
                       .attr(17, le32(1))
                       .attr(18, Attrs().attr(18, element).b)
                       .done());
}

TEST(TlvNotif2, DeletePayloadCarriesTheUnalignedWordLast)
{
    const Bytes element = Attrs()
                              .attr(9, le16(0x0100))
                              .attr(16, cat({le16(2), le32(1)}))
                              .attr(20, le32(100))
                              .attr(15, le32(1))
                              .str(8, "")
                              .attr(31, le32(0xA1B2C3D4))
                              .b;
    const Bytes rec = delete_payload(1, 0);
    // The record holds the word at offset 4 + 49, unaligned.
    EXPECT_EQ(Bytes(rec.begin() + 4 + 49, rec.begin() + 4 + 53), (Bytes{0xD4, 0xC3, 0xB2, 0xA1}));
    expect_literal(kDelete, rec,
                   TlvWriter("vlan_delete_notif2_payload_t")
                       .attr(17, le32(1))
                       .attr(19, Attrs().attr(19, element).b)
                       .done());
}

TEST(TlvNotif2, PayloadsOfZeroOneAndMaxRecordsRoundTrip)
{
    for (size_t n : {size_t{0}, size_t{1}, size_t{4094}}) {
        SCOPED_TRACE(n);
        expect_round_trip(kCreate, create_payload(n, 32));
        expect_round_trip(kDelete, delete_payload(n, 32));
    }
}

TEST(TlvNotif2, NamesOfZeroAndThirtyTwoCharactersRoundTrip)
{
    for (size_t len : {size_t{0}, size_t{32}}) {
        expect_round_trip(kCreate, create_payload(2, len));
        expect_round_trip(kDelete, delete_payload(2, len));
    }
}

TEST(TlvNotif2, DecodedUnalignedWordIsReadBack)
{
    const Bytes tlv = encode(kDelete, delete_payload(3, 5));
    vlan_delete_notif2_payload_t *out = nullptr;
    ASSERT_EQ(vlan_mgr_delete_notif2_parse_notification(tlv.data(), static_cast<uint32_t>(tlv.size()), &out), 0);
    Freer h(out);
    ASSERT_EQ(out->count, 3u);
    for (uint32_t i = 0; i < 3; ++i) {
        EXPECT_EQ(out->data[i].field31, 0xA1B2C3D4u ^ i);
        EXPECT_EQ(out->data[i].field20, 100u);
        EXPECT_EQ(out->data[i].vdc_vlan.vlan_id, i + 1);
    }
}

TEST(TlvNotif2, PayloadWithCountZeroHasNoRecords)
{
    const Bytes tlv = encode(kCreate, create_payload(0, 0));
    EXPECT_EQ(tlv, TlvWriter("vlan_create_notif2_payload_t").attr(17, le32(0)).attr(18, {}).done());
    vlan_create_notif2_payload_t *out = nullptr;
    ASSERT_EQ(vlan_mgr_create_notif2_parse_notification(tlv.data(), static_cast<uint32_t>(tlv.size()), &out), 0);
    Freer h(out);
    EXPECT_EQ(out->count, 0u);
    EXPECT_EQ(vlan_mgr_create_notif2_payload_get_struct_sz(tlv.data()), 4);
}

TEST(TlvNotif2, DecodedCreateRecordsHoldTheirDefaultsWhereTheBufferIsSilent)
{
    // An element carrying only its BD id: fields 13, 12, 14, 15 are 8, 2, 1, 1.
    const Bytes tlv = TlvWriter("vlan_create_notif2_payload_t")
                          .attr(17, le32(1))
                          .attr(18, Attrs().attr(18, Attrs().attr(9, le16(7)).b).b)
                          .done();
    vlan_create_notif2_payload_t *out = nullptr;
    ASSERT_EQ(vlan_mgr_create_notif2_parse_notification(tlv.data(), static_cast<uint32_t>(tlv.size()), &out), 0);
    Freer h(out);
    EXPECT_EQ(out->data[0].bd_id, 7u);
    EXPECT_EQ(out->data[0].field13, 8u);
    EXPECT_EQ(out->data[0].field12, 2u);
    EXPECT_EQ(out->data[0].field14, 1u);
    EXPECT_EQ(out->data[0].field15, 1u);
}

TEST(TlvNotif2, WrappersClearTheirOuts)
{
    // Both sides of the sibling difference with the create/update entry
    // points: these clear the outs before the call.
    expect_null_record_refused(kCreate);
    expect_null_record_refused(kDelete);
    vlan_create_notif2_payload_t *out = reinterpret_cast<vlan_create_notif2_payload_t *>(sentinel());
    const Bytes tlv = encode(kDelete, delete_payload(1, 1));
    EXPECT_EQ(vlan_mgr_create_notif2_parse_notification(tlv.data(), static_cast<uint32_t>(tlv.size()), &out),
              kWrongType);
    EXPECT_EQ(out, nullptr);
}

TEST(TlvNotif2, BufferOfTheOtherNotificationIsRefused)
{
    expect_foreign_refused(kCreate, encode(kDelete, delete_payload(1, 3)));
    expect_foreign_refused(kDelete, encode(kCreate, create_payload(1, 3)));
}

TEST(TlvNotif2, CutBuffersFailCleanly)
{
    expect_cuts_fail(kCreate, encode(kCreate, create_payload(1, 32)));
    expect_cuts_fail(kDelete, encode(kDelete, delete_payload(1, 32)));
    expect_cuts_fail(kCreate, encode(kCreate, create_payload(2, 0)));
    expect_cuts_fail(kCreate, encode(kCreate, create_payload(4094, 32)), 4093);
    expect_cuts_fail(kDelete, encode(kDelete, delete_payload(4094, 32)), 4093);
}

TEST(TlvNotif2, FlippedBytesFailCleanlyOrDecode)
{
    expect_flips_safe(kCreate, encode(kCreate, create_payload(2, 32)));
    expect_flips_safe(kDelete, encode(kDelete, delete_payload(2, 32)));
}

TEST(TlvNotif2, CountsAtTheirExtremesAreRefused)
{
    const Bytes element = Attrs().attr(9, le16(1)).b;
    for (uint32_t count : {0u, 2u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(count);
        const Bytes tlv = TlvWriter("vlan_delete_notif2_payload_t")
                              .attr(17, le32(count))
                              .attr(19, Attrs().attr(19, element).b)
                              .done();
        const long base = tp::live_allocs();
        vlan_delete_notif2_payload_t *out = reinterpret_cast<vlan_delete_notif2_payload_t *>(sentinel());
        EXPECT_EQ(vlan_mgr_delete_notif2_parse_notification(tlv.data(), static_cast<uint32_t>(tlv.size()), &out),
                  kCountMismatch);
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(errors(), std::vector<std::string>{"vlan_mgr_delete_notif2_payload_to_struct: ERR 0x411b000a\n"});
        drop_errors();
        EXPECT_EQ(tp::live_allocs(), base);
    }
}

TEST(TlvNotif2, NameLongerThanItsBufferArrivesCutTo32Characters)
{
    const Bytes element = Attrs().str(8, std::string(33, 'n')).b;
    const Bytes tlv =
        TlvWriter("vlan_create_notif2_payload_t").attr(17, le32(1)).attr(18, Attrs().attr(18, element).b).done();
    vlan_create_notif2_payload_t *out = nullptr;
    ASSERT_EQ(vlan_mgr_create_notif2_parse_notification(tlv.data(), static_cast<uint32_t>(tlv.size()), &out), 0);
    Freer h(out);
    ASSERT_EQ(out->count, 1u);
    EXPECT_EQ(std::string(out->data[0].name), std::string(32, 'n'));
    EXPECT_TRUE(errors().empty());
}

TEST(TlvNotif2, EveryAllocationFailsOnce)
{
    const Bytes c = create_payload(2, 32), d = delete_payload(2, 32);
    expect_build_alloc_sweep(kCreate, c, encode(kCreate, c));
    expect_build_alloc_sweep(kDelete, d, encode(kDelete, d));
    expect_parse_alloc_sweep(kCreate, encode(kCreate, c), c);
    expect_parse_alloc_sweep(kDelete, encode(kDelete, d), d);
}

} // namespace
