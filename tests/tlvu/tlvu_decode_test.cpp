// TLV to record: tlvu_table_convert_tlv_to_struct and
// tlvu_table_get_struct_size_from_tlv, on hand-built buffers, round trips and
// hostile input.
#include <functional>

#include "tlvu_test_util.h"

namespace tlvu_test {
namespace {

// The key record {VDC 1, VLAN 100}, as the encoder test writes it.
const Bytes kKeyTlv = {
    0x00, 0x00, 0x00, 0x2c, 0x01, 0x00, 0x00, 0x0a, 't', 'e', 's', 't', '_', 'k', 'e', 'y', '_', 't', 0x00, 0x00,
    0x00, 0x00, 0x00, 0x04, 0x00, 0x00, 0x00, 0x02, 0x01, 0x00, 0x00, 0x00,
    0x00, 0x00, 0x00, 0x05, 0x00, 0x00, 0x00, 0x04, 0x64, 0x00, 0x00, 0x00,
};

// A delete record: BD 0x1234, key {1, 10}, 100, 1, "blue", 0xA1B2C3D4 at 49.
const Bytes kDelTlv = {
    0x00, 0x00, 0x00, 0x60, 0x01, 0x00, 0x00, 0x0a, 't', 'e', 's', 't', '_', 'd', 'e', 'l', '_', 't', 0x00, 0x00,
    0x00, 0x00, 0x00, 0x09, 0x00, 0x00, 0x00, 0x02, 0x34, 0x12, 0x00, 0x00,
    0x00, 0x00, 0x00, 0x10, 0x00, 0x00, 0x00, 0x06, 0x01, 0x00, 0x0a, 0x00, 0x00, 0x00, 0x00, 0x00,
    0x00, 0x00, 0x00, 0x14, 0x00, 0x00, 0x00, 0x04, 0x64, 0x00, 0x00, 0x00,
    0x00, 0x00, 0x00, 0x0f, 0x00, 0x00, 0x00, 0x04, 0x01, 0x00, 0x00, 0x00,
    0x00, 0x00, 0x00, 0x08, 0x00, 0x00, 0x00, 0x04, 'b', 'l', 'u', 'e',
    0x00, 0x00, 0x00, 0x1f, 0x00, 0x00, 0x00, 0x04, 0xd4, 0xc3, 0xb2, 0xa1,
};

// The record kDelTlv decodes to, byte by byte.
const Bytes kDelRecord = {
    0x34, 0x12,                               // BD id
    0x01, 0x00, 0x0a, 0x00, 0x00, 0x00,       // key
    0x64, 0x00, 0x00, 0x00,                   // 100
    0x01, 0x00, 0x00, 0x00,                   // 1
    'b', 'l', 'u', 'e', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, // name, 33 bytes
    0xd4, 0xc3, 0xb2, 0xa1,                   // offset 49
};

// Two-element payload of delete records, built by hand.
Bytes del_payload_tlv(uint32_t count_field, uint32_t elements)
{
    Attrs list;
    for (uint32_t i = 0; i < elements; ++i) {
        Attrs e;
        e.u16(9, static_cast<uint16_t>(0x100 + i)).attr(8, {'v', static_cast<uint8_t>('0' + i)});
        list.attr(19, e.b);
    }
    return Builder("test_del_payload_t").u32(17, count_field).attr(19, list.b).done();
}

// Runs a decode and asserts a refusal that allocated nothing and left the
// out-pointer alone.
void expect_refused(const vlan_mgr_tlv_table_t *t, const Bytes &tlv, int32_t code)
{
    HeapCopy c(tlv);
    const long before = tp::live_allocs();
    void *rec = reinterpret_cast<void *>(0x2);
    EXPECT_EQ(tlvu_table_convert_tlv_to_struct(&rec, c.p, static_cast<uint32_t>(c.n), t, 0), code);
    EXPECT_EQ(rec, reinterpret_cast<void *>(0x2));
    EXPECT_EQ(tp::live_allocs(), before);
}

TEST(TlvuDecode, KeyBufferGivesItsRecord)
{
    const Bytes want = {0x01, 0x00, 0x64, 0x00, 0x00, 0x00};
    EXPECT_EQ(decode(key_tbl.get(), kKeyTlv), want);
}

TEST(TlvuDecode, PackedRecordWithUnalignedFieldAt49)
{
    EXPECT_EQ(decode(del_tbl.get(), kDelTlv), kDelRecord);
}

TEST(TlvuDecode, BufferAtOddAddress)
{
    OddCopy c(kDelTlv);
    void *rec = nullptr;
    ASSERT_EQ(tlvu_table_convert_tlv_to_struct(&rec, c.data(), c.size(), del_tbl.get(), 0), TLVU_OK);
    Freer f{rec};
    EXPECT_EQ(bytes_of(rec, 53), kDelRecord);
    uint32_t size = 0;
    EXPECT_EQ(tlvu_table_get_struct_size_from_tlv(&size, c.data(), c.size(), del_tbl.get()), TLVU_OK);
    EXPECT_EQ(size, 53u);
}

TEST(TlvuDecode, LengthZeroTakesTheLengthFromTheHeader)
{
    HeapCopy c(kDelTlv);
    void *rec = nullptr;
    ASSERT_EQ(tlvu_table_convert_tlv_to_struct(&rec, c.p, 0, del_tbl.get(), 0), TLVU_OK);
    Freer f{rec};
    EXPECT_EQ(bytes_of(rec, 53), kDelRecord);
    uint32_t size = 0;
    EXPECT_EQ(tlvu_table_get_struct_size_from_tlv(&size, c.p, 0, del_tbl.get()), TLVU_OK);
    EXPECT_EQ(size, 53u);
}

TEST(TlvuDecode, BytesAfterTheHeadersLengthAreIgnored)
{
    Bytes b = kDelTlv;
    b.insert(b.end(), {0xff, 0xff, 0xff, 0xff, 0xff});
    EXPECT_EQ(decode(del_tbl.get(), b), kDelRecord);
}

TEST(TlvuDecode, AbsentFieldsKeepTheInitDefaults)
{
    Bytes b = Builder("test_del_t").u16(9, 7).done();
    Bytes want(53, 0x00);
    want[0] = 7;
    want[8] = 100; // field 20
    want[12] = 1;  // field 15
    EXPECT_EQ(decode(del_tbl.get(), b), want);

    // A fresh 73-byte record holds 8, 2, 1, 1 in fields 13, 12, 14, 15.
    Bytes c = decode(create_tbl.get(), Builder("test_create_t").done());
    ASSERT_EQ(c.size(), 73u);
    EXPECT_EQ(load<uint32_t>(&c[16]), 8u);
    EXPECT_EQ(load<uint32_t>(&c[24]), 2u);
    EXPECT_EQ(load<uint32_t>(&c[28]), 1u);
    EXPECT_EQ(load<uint32_t>(&c[32]), 1u);
    EXPECT_EQ(load<uint32_t>(&c[20]), 0u);
}

TEST(TlvuDecode, UnknownIdsAreSkippedAtBothLevels)
{
    Attrs e;
    e.u32(77, 5).u16(9, 0x0102).attr(-5, {1, 2, 3, 4, 5, 6, 7}).attr(8, {'x'});
    Attrs list;
    list.attr(19, e.b);
    Bytes b = Builder("test_del_payload_t")
                  .attr(1000, {9, 9, 9})
                  .u32(17, 1)
                  .attr(-2, {})
                  .attr(19, list.b)
                  .u32(0x7fffffff, 1)
                  .done();
    Bytes rec = decode(del_payload_tbl.get(), b);
    ASSERT_EQ(rec.size(), 4u + 53);
    Bytes want(4 + 53, 0x00);
    want[0] = 1;
    want[4] = 0x02;
    want[5] = 0x01;
    want[4 + 8] = 100;
    want[4 + 12] = 1;
    want[4 + 16] = 'x';
    EXPECT_EQ(rec, want);
}

TEST(TlvuDecode, FieldsInAnotherOrderAreAccepted)
{
    Bytes b = Builder("test_key_t").u32(5, 100).u16(4, 1).done();
    const Bytes want = {0x01, 0x00, 0x64, 0x00, 0x00, 0x00};
    EXPECT_EQ(decode(key_tbl.get(), b), want);
}

TEST(TlvuDecode, BufferOfAnotherRecordTypeIsRefused)
{
    expect_refused(del_tbl.get(), kKeyTlv, TLVU_ERR_WRONG_TYPE);
    expect_refused(key_tbl.get(), kDelTlv, TLVU_ERR_WRONG_TYPE);
    // Same length of name, one letter different.
    expect_refused(key_tbl.get(), Builder("test_kez_t").done(), TLVU_ERR_WRONG_TYPE);
    // A prefix of the name.
    expect_refused(key_tbl.get(), Builder("test_key").done(), TLVU_ERR_WRONG_TYPE);
    HeapCopy c(kKeyTlv);
    uint32_t size = 99;
    EXPECT_EQ(tlvu_table_get_struct_size_from_tlv(&size, c.p, 44, del_tbl.get()), TLVU_ERR_WRONG_TYPE);
    EXPECT_EQ(size, 99u);
}

TEST(TlvuDecode, HeaderWithAnotherVersionOrReservedByteIsRefused)
{
    expect_refused(key_tbl.get(), Builder("test_key_t", 2).done(), TLVU_ERR_BAD_HEADER);
    expect_refused(key_tbl.get(), Builder("test_key_t", 0).done(), TLVU_ERR_BAD_HEADER);
    Bytes b = kKeyTlv;
    b[5] = 1;
    expect_refused(key_tbl.get(), b, TLVU_ERR_BAD_HEADER);
}

TEST(TlvuDecode, HeaderLengthShorterThanTheHeaderIsRefused)
{
    for (uint32_t len : {0u, 8u, 19u}) {
        Bytes b = kKeyTlv;
        put_be32(b, 0, len);
        expect_refused(key_tbl.get(), b, TLVU_ERR_BAD_HEADER);
    }
}

TEST(TlvuDecode, HeaderLengthBeyondTheBytesGivenIsTruncated)
{
    for (uint32_t len : {45u, 48u, 0x7fffffffu, 0xffffffffu}) {
        Bytes b = kKeyTlv;
        put_be32(b, 0, len);
        expect_refused(key_tbl.get(), b, TLVU_ERR_TRUNCATED);
    }
}

TEST(TlvuDecode, NonZeroPaddingIsRefused)
{
    Bytes b = kKeyTlv;
    b[30] = 1; // after the 2-byte value of field 4
    expect_refused(key_tbl.get(), b, TLVU_ERR_BAD_PADDING);
    b = kKeyTlv;
    b[19] = 'x'; // after the type name
    expect_refused(key_tbl.get(), b, TLVU_ERR_BAD_PADDING);
}

TEST(TlvuDecode, FixedFieldOfAnotherLengthIsRefused)
{
    expect_refused(key_tbl.get(), Builder("test_key_t").u32(4, 1).done(), TLVU_ERR_BAD_LENGTH);
    expect_refused(key_tbl.get(), Builder("test_key_t").u16(5, 1).done(), TLVU_ERR_BAD_LENGTH);
    expect_refused(key_tbl.get(), Builder("test_key_t").attr(5, {}).done(), TLVU_ERR_BAD_LENGTH);
    expect_refused(bitmap_tbl.get(), Builder("test_bitmap_t").attr(39, Bytes(512)).done(), TLVU_ERR_BAD_LENGTH);
}

TEST(TlvuDecode, NameOf32CharactersIsAcceptedAndLongerOnesAreCutTo32)
{
    const std::string n32(32, 'a');
    Bytes rec = decode(del_tbl.get(), Builder("test_del_t").str(8, n32).done());
    ASSERT_EQ(rec.size(), 53u);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(&rec[16]), 32), n32);
    EXPECT_EQ(rec[48], 0);
    // 33, 40 and 300 characters: the first 32 are kept, then the NUL; the
    // fields around the name are untouched.
    for (size_t len : {size_t{33}, size_t{40}, size_t{300}}) {
        SCOPED_TRACE(len);
        std::string text;
        for (size_t i = 0; i < len; ++i)
            text.push_back(static_cast<char>('A' + i % 26));
        rec = decode(del_tbl.get(), Builder("test_del_t").str(8, text).u32(31, 0xA1B2C3D4u).done());
        ASSERT_EQ(rec.size(), 53u);
        EXPECT_EQ(std::string(reinterpret_cast<const char *>(&rec[16]), 32), "ABCDEFGHIJKLMNOPQRSTUVWXYZABCDEF");
        EXPECT_EQ(rec[48], 0);
        EXPECT_EQ(Bytes(rec.begin() + 49, rec.end()), (Bytes{0xd4, 0xc3, 0xb2, 0xa1}));
    }
}

TEST(TlvuDecode, NameOf40CharactersFromLiteralBytesArrivesAsItsFirst32)
{
    // id 8, 40 bytes "0123456789" x 4, then field 31: no padding needed.
    Bytes tlv = {0x00, 0x00, 0x00, 0x50, 0x01, 0x00, 0x00, 0x0a, 't', 'e', 's', 't', '_', 'd', 'e', 'l', '_', 't',
                 0x00, 0x00, 0x00, 0x00, 0x00, 0x08, 0x00, 0x00, 0x00, 0x28};
    for (int k = 0; k < 4; ++k)
        for (char c = '0'; c <= '9'; ++c)
            tlv.push_back(static_cast<uint8_t>(c));
    const Bytes tail = {0x00, 0x00, 0x00, 0x1f, 0x00, 0x00, 0x00, 0x04, 0x01, 0x02, 0x03, 0x04};
    tlv.insert(tlv.end(), tail.begin(), tail.end());
    ASSERT_EQ(tlv.size(), 0x50u);
    const Bytes rec = decode(del_tbl.get(), tlv);
    ASSERT_EQ(rec.size(), 53u);
    const Bytes want_name = {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9', '0', '1', '2', '3', '4', '5', '6',
                             '7', '8', '9', '0', '1', '2', '3', '4', '5', '6', '7', '8', '9', '0', '1', 0};
    EXPECT_EQ(Bytes(rec.begin() + 16, rec.begin() + 49), want_name);
    EXPECT_EQ(Bytes(rec.begin() + 49, rec.end()), (Bytes{0x01, 0x02, 0x03, 0x04}));
}

TEST(TlvuDecode, LongNameWithANulAnywhereIsRefused)
{
    for (size_t at : {size_t{0}, size_t{31}, size_t{32}, size_t{39}}) {
        Bytes name(40, 'n');
        name[at] = 0;
        SCOPED_TRACE(at);
        expect_refused(del_tbl.get(), Builder("test_del_t").attr(8, name).done(), TLVU_ERR_BAD_TEXT);
    }
}

TEST(TlvuDecode, NameWithANulInsideIsRefused)
{
    expect_refused(del_tbl.get(), Builder("test_del_t").attr(8, {'a', 0, 'b'}).done(), TLVU_ERR_BAD_TEXT);
    expect_refused(del_tbl.get(), Builder("test_del_t").attr(8, {0}).done(), TLVU_ERR_BAD_TEXT);
    expect_refused(del_tbl.get(), Builder("test_del_t").attr(8, {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 0}).done(),
                   TLVU_ERR_BAD_TEXT);
    Attrs e;
    e.attr(8, {'x', 'y', 0});
    Attrs list;
    list.attr(19, e.b);
    expect_refused(del_payload_tbl.get(), Builder("test_del_payload_t").u32(17, 1).attr(19, list.b).done(),
                   TLVU_ERR_BAD_TEXT);
}

TEST(TlvuDecode, ShortNameClearsTheRestOfItsBuffer)
{
    // A default-filled name buffer is replaced whole: the NUL and every byte after it.
    Bytes rec = decode(del_tbl.get(), Builder("test_del_t").str(8, "ab").done());
    ASSERT_EQ(rec.size(), 53u);
    EXPECT_EQ(rec[16], 'a');
    EXPECT_EQ(rec[17], 'b');
    EXPECT_EQ(Bytes(rec.begin() + 18, rec.begin() + 49), Bytes(31, 0x00));
}

TEST(TlvuDecode, KnownFieldTwiceIsRefused)
{
    expect_refused(key_tbl.get(), Builder("test_key_t").u16(4, 1).u16(4, 2).done(), TLVU_ERR_DUPLICATE_FIELD);
    Attrs e;
    e.u16(9, 1).u16(9, 2);
    Attrs list;
    list.attr(19, e.b);
    expect_refused(del_payload_tbl.get(), Builder("test_del_payload_t").u32(17, 1).attr(19, list.b).done(),
                   TLVU_ERR_DUPLICATE_FIELD);
    Attrs empty;
    expect_refused(del_payload_tbl.get(),
                   Builder("test_del_payload_t").attr(19, empty.b).attr(19, empty.b).done(),
                   TLVU_ERR_DUPLICATE_FIELD);
}

TEST(TlvuDecode, UnknownIdTwiceIsSkippedTwice)
{
    Bytes b = Builder("test_key_t").u16(99, 1).u16(99, 2).u16(4, 3).done();
    const Bytes want = {0x03, 0x00, 0x00, 0x00, 0x00, 0x00};
    EXPECT_EQ(decode(key_tbl.get(), b), want);
}

TEST(TlvuDecode, PayloadWithTwoRecords)
{
    Bytes rec = decode(del_payload_tbl.get(), del_payload_tlv(2, 2));
    ASSERT_EQ(rec.size(), 4u + 2 * 53);
    Bytes want(4 + 2 * 53, 0x00);
    want[0] = 2;
    for (int i = 0; i < 2; ++i) {
        uint8_t *e = &want[4 + 53 * i];
        e[0] = static_cast<uint8_t>(i);
        e[1] = 0x01;
        e[8] = 100;
        e[12] = 1;
        e[16] = 'v';
        e[17] = static_cast<uint8_t>('0' + i);
    }
    EXPECT_EQ(rec, want);
}

TEST(TlvuDecode, CountWordZeroYieldsNoElements)
{
    Bytes rec = decode(del_payload_tbl.get(), del_payload_tlv(0, 0));
    EXPECT_EQ(rec, Bytes(4, 0x00));
    Bytes b = Builder("test_del_payload_t").u32(17, 0).done(); // no list attribute at all
    EXPECT_EQ(decode(del_payload_tbl.get(), b), Bytes(4, 0x00));
}

TEST(TlvuDecode, CountThatDisagreesWithTheListIsRefused)
{
    expect_refused(del_payload_tbl.get(), del_payload_tlv(3, 2), TLVU_ERR_COUNT_MISMATCH);
    expect_refused(del_payload_tbl.get(), del_payload_tlv(1, 2), TLVU_ERR_COUNT_MISMATCH);
    expect_refused(del_payload_tbl.get(), del_payload_tlv(0, 1), TLVU_ERR_COUNT_MISMATCH);
    expect_refused(del_payload_tbl.get(), del_payload_tlv(0xffffffff, 1), TLVU_ERR_COUNT_MISMATCH);
    // A count with no list attribute.
    expect_refused(del_payload_tbl.get(), Builder("test_del_payload_t").u32(17, 1).done(),
                   TLVU_ERR_COUNT_MISMATCH);
    // A list with no count field: the count stays at its default 0.
    Attrs e;
    Attrs list;
    list.attr(19, e.b);
    expect_refused(del_payload_tbl.get(), Builder("test_del_payload_t").attr(19, list.b).done(),
                   TLVU_ERR_COUNT_MISMATCH);
}

TEST(TlvuDecode, StructSizeCountsTheElementsPresent)
{
    for (uint32_t n : {0u, 1u, 5u}) {
        HeapCopy c(del_payload_tlv(n, n));
        uint32_t size = 0;
        EXPECT_EQ(tlvu_table_get_struct_size_from_tlv(&size, c.p, static_cast<uint32_t>(c.n), del_payload_tbl.get()),
                  TLVU_OK);
        EXPECT_EQ(size, 4 + 53 * n);
        EXPECT_EQ(tlvu_table_get_struct_size_from_tlv(&size, c.p, 0, del_payload_tbl.get()), TLVU_OK);
        EXPECT_EQ(size, 4 + 53 * n);
    }
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(TlvuDecode, ElementCarryingAnotherIdIsRefused)
{
    Attrs e;
    e.u16(9, 1);
    Attrs list;
    list.attr(19, e.b).attr(18, e.b);
    Bytes b = Builder("test_del_payload_t").u32(17, 2).attr(19, list.b).done();
    expect_refused(del_payload_tbl.get(), b, TLVU_ERR_BAD_ELEMENT);
    HeapCopy c(b);
    uint32_t size = 0;
    EXPECT_EQ(tlvu_table_get_struct_size_from_tlv(&size, c.p, static_cast<uint32_t>(c.n), del_payload_tbl.get()),
              TLVU_ERR_BAD_ELEMENT);
}

TEST(TlvuDecode, PlainElementOfAnotherSizeIsRefused)
{
    Attrs list;
    list.u32(2, 1).u16(2, 1);
    expect_refused(ports_tbl.get(), Builder("test_ports_t").u32(1, 2).attr(2, list.b).done(), TLVU_ERR_BAD_LENGTH);
}

TEST(TlvuDecode, PlainListGivesItsValues)
{
    Attrs list;
    list.u32(2, 0xAABBCCDD).u32(2, 7).u32(2, 0);
    Bytes rec = decode(ports_tbl.get(), Builder("test_ports_t").u32(1, 3).attr(2, list.b).done());
    const Bytes want = {0x01, 0, 0, 0, 0x03, 0, 0, 0, 0xdd, 0xcc, 0xbb, 0xaa, 0x07, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(rec, want);
}

TEST(TlvuDecode, ElementFieldWithWrongLengthOrLongNameIsRefused)
{
    Attrs e;
    e.u32(9, 1);
    Attrs list;
    list.attr(19, e.b);
    expect_refused(del_payload_tbl.get(), Builder("test_del_payload_t").u32(17, 1).attr(19, list.b).done(),
                   TLVU_ERR_BAD_LENGTH);
}

TEST(TlvuDecode, ElementNameTooLongIsCutOnBothWaysAndWithANulRefused)
{
    // In order (the short way) and after an out-of-order field (the general
    // walk): 33 and 40 characters keep their first 32.
    for (size_t len : {size_t{33}, size_t{40}})
        for (bool in_order : {true, false}) {
            SCOPED_TRACE(std::to_string(len) + (in_order ? " in order" : " general walk"));
            Attrs e;
            if (in_order)
                e.u16(9, 0x1234).attr(16, {0x01, 0x00, 0x0a, 0x00, 0x00, 0x00}).u32(20, 100).u32(15, 1);
            else
                e.u32(31, 7);
            e.attr(8, Bytes(len, 'n'));
            Attrs list;
            list.attr(19, e.b);
            Bytes rec = decode(del_payload_tbl.get(), Builder("test_del_payload_t").u32(17, 1).attr(19, list.b).done());
            ASSERT_EQ(rec.size(), 57u);
            EXPECT_EQ(Bytes(rec.begin() + 4 + 16, rec.begin() + 4 + 48), Bytes(32, 'n'));
            EXPECT_EQ(rec[4 + 48], 0);
            Bytes bad(len, 'n');
            bad[len - 1] = 0;
            Attrs e2;
            if (in_order)
                e2.u16(9, 0x1234).attr(16, {0x01, 0x00, 0x0a, 0x00, 0x00, 0x00}).u32(20, 100).u32(15, 1);
            else
                e2.u32(31, 7);
            e2.attr(8, bad);
            Attrs list2;
            list2.attr(19, e2.b);
            expect_refused(del_payload_tbl.get(), Builder("test_del_payload_t").u32(17, 1).attr(19, list2.b).done(),
                           TLVU_ERR_BAD_TEXT);
        }
}

TEST(TlvuDecode, ElementFieldsInAnotherOrderOrMissingOrFollowedByUnknownIds)
{
    CreateRec a = make_create(10), b = make_create(11), c;
    create_init(&c);
    c.f11 = 77;
    // a: reversed order; b: every field, then an unknown one; c: one field.
    Attrs ea;
    ea.attr(8, Bytes(a.name, a.name + std::strlen(a.name)))
        .u32(30, a.f30).u32(15, a.f15).u32(14, a.f14).u32(12, a.f12).u32(11, a.f11).u32(13, a.f13)
        .attr(16, bytes_of(a.key, 6)).u32(6, a.f6).u16(7, a.f7).u16(10, a.f10).u16(9, a.bd);
    Attrs eb;
    eb.u16(9, b.bd).u16(10, b.f10).u16(7, b.f7).u32(6, b.f6).attr(16, bytes_of(b.key, 6)).u32(13, b.f13)
        .u32(11, b.f11).u32(12, b.f12).u32(14, b.f14).u32(15, b.f15).u32(30, b.f30)
        .attr(8, Bytes(b.name, b.name + std::strlen(b.name))).u32(99, 1);
    Attrs ec;
    ec.u32(11, 77);
    Attrs list;
    list.attr(18, ea.b).attr(18, eb.b).attr(18, ec.b);
    Bytes tlv = Builder("test_create_payload_t").u32(17, 3).attr(18, list.b).done();
    EXPECT_EQ(decode(create_payload_tbl.get(), tlv), payload(std::vector<CreateRec>{a, b, c}));
}

TEST(TlvuDecode, ElementFieldWithNonZeroPaddingIsRefused)
{
    // A 2-byte value whose slot's spare bytes are not zero.
    Attrs e;
    e.attr(9, {1, 2, 0, 7});
    Attrs list;
    list.attr(19, e.b);
    Bytes b = Builder("test_del_payload_t").u32(17, 1).attr(19, list.b).done();
    put_be32(b, b.size() - 8, 2); // the attribute says 2 bytes; its slot holds 1, 2, 0, 7
    expect_refused(del_payload_tbl.get(), b, TLVU_ERR_BAD_PADDING);
    // A name whose padding is not zero.
    Attrs e2;
    e2.attr(8, {'a', 'b', 'c', 'd', 'e', 0, 0, 9});
    Attrs list2;
    list2.attr(19, e2.b);
    Bytes b2 = Builder("test_del_payload_t").u32(17, 1).attr(19, list2.b).done();
    put_be32(b2, b2.size() - 12, 5);
    expect_refused(del_payload_tbl.get(), b2, TLVU_ERR_BAD_PADDING);
}

TEST(TlvuDecode, NonZeroPaddingInAFullElementIsRefused)
{
    // Every leading fixed field present, in order: the element takes the
    // short way, which checks the slots' padding as well.
    DelRec r = make_del(0x0102, 1, 10, "n", 5);
    Bytes good = encode(del_payload_tbl.get(), payload(std::vector<DelRec>{r}).data());
    EXPECT_EQ(decode(del_payload_tbl.get(), good), payload(std::vector<DelRec>{r}));
    // Header 28 (a name of 18), count 12, list 8, element 8: field 9 at 56.
    ASSERT_EQ(get_be32(good, 56), 9u);
    Bytes b = good;
    b[56 + 11] = 7; // the 2-byte value's last padding byte
    expect_refused(del_payload_tbl.get(), b, TLVU_ERR_BAD_PADDING);
    // Field 16 (6 bytes) follows at 68: its padding is in the slot's second word.
    ASSERT_EQ(get_be32(good, 68), 16u);
    b = good;
    b[68 + 8 + 7] = 1;
    expect_refused(del_payload_tbl.get(), b, TLVU_ERR_BAD_PADDING);
    b = good;
    b[68 + 8 + 6] = 1;
    expect_refused(del_payload_tbl.get(), b, TLVU_ERR_BAD_PADDING);
    // A value byte changed is still a valid buffer.
    b = good;
    b[68 + 8 + 5] = 0x44;
    Bytes want = payload(std::vector<DelRec>{r});
    want[4 + 2 + 5] = 0x44;
    EXPECT_EQ(decode(del_payload_tbl.get(), b), want);
}

TEST(TlvuDecode, RoundTripOfOddWidthsAndOfAListEndingOnA4ByteValue)
{
    Bytes rec(4 + 16 * 5);
    store<uint32_t>(&rec[0], 5);
    for (size_t i = 4; i < rec.size(); ++i)
        rec[i] = static_cast<uint8_t>(i * 37);
    EXPECT_EQ(decode(odd_list_tbl.get(), encode(odd_list_tbl.get(), rec.data())), rec);
    EXPECT_EQ(decode(pair_list_tbl.get(), encode(pair_list_tbl.get(), rec.data())), rec);
    EXPECT_EQ(decode(odd_tbl.get(), encode(odd_tbl.get(), &rec[4])), Bytes(rec.begin() + 4, rec.begin() + 20));
}

// ---- Round trips ----------------------------------------------------------

TEST(TlvuDecode, RoundTripOfPayloadsOf0And1And4094Records)
{
    for (uint32_t n : {0u, 1u, 4094u}) {
        std::vector<CreateRec> recs;
        for (uint32_t i = 0; i < n; ++i)
            recs.push_back(make_create(i));
        Bytes rec = payload(recs);
        Bytes tlv = encode(create_payload_tbl.get(), rec.data());
        EXPECT_EQ(decode(create_payload_tbl.get(), tlv), rec) << n;
    }
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(TlvuDecode, RoundTripOfNamesOf0And32Characters)
{
    for (const std::string &name : {std::string(), std::string(1, 'q'), std::string(32, 'Z')}) {
        DelRec r = make_del(4094, 5, 4094, name.c_str(), 0xFFFFFFFF);
        Bytes tlv = encode(del_tbl.get(), &r);
        EXPECT_EQ(decode(del_tbl.get(), tlv), bytes_of(&r, sizeof r)) << name;
        std::vector<DelRec> recs = {r, make_del(1, 1, 1, "", 0), r};
        Bytes p = payload(recs);
        EXPECT_EQ(decode(del_payload_tbl.get(), encode(del_payload_tbl.get(), p.data())), p) << name;
    }
}

TEST(TlvuDecode, RoundTripOfEveryNameLengthFrom0To32)
{
    std::vector<DelRec> recs;
    for (uint32_t n = 0; n <= 32; ++n) {
        std::string name;
        for (uint32_t i = 0; i < n; ++i)
            name.push_back(static_cast<char>('a' + (i + n) % 26));
        recs.push_back(make_del(static_cast<uint16_t>(n), 1, n, name.c_str(), n));
        DelRec &r = recs.back();
        EXPECT_EQ(decode(del_tbl.get(), encode(del_tbl.get(), &r)), bytes_of(&r, sizeof r)) << n;
    }
    Bytes p = payload(recs);
    Bytes tlv = encode(del_payload_tbl.get(), p.data());
    EXPECT_EQ(decode(del_payload_tbl.get(), tlv), p);
    // Each name's attribute holds exactly its characters.
    HeapCopy c(tlv);
    tlvu_field_itr_t top, elems, fields;
    tlvu_field_t f;
    ASSERT_EQ(tlvu_field_itr_init(&top, c.p, 0, del_payload_tbl.get(), 0, 0), TLVU_OK);
    ASSERT_EQ(tlvu_field_itr_get_next(&top, &f), TLVU_OK);
    ASSERT_EQ(tlvu_field_itr_get_next(&top, &f), TLVU_OK);
    ASSERT_EQ(tlvu_field_itr_init(&elems, f.value, f.len, del_payload_tbl.get(), 0, 1), TLVU_OK);
    for (uint32_t n = 0; n <= 32; ++n) {
        ASSERT_EQ(tlvu_field_itr_get_next(&elems, &f), TLVU_OK);
        ASSERT_EQ(tlvu_field_itr_init(&fields, f.value, f.len, del_tbl.get(), 0, 2), TLVU_OK);
        tlvu_field_t g;
        while (tlvu_field_itr_get_next(&fields, &g) == TLVU_OK && g.id != 8) {
        }
        ASSERT_EQ(g.id, 8);
        EXPECT_EQ(g.len, n);
        EXPECT_EQ(std::string(static_cast<const char *>(g.value), g.len), std::string(recs[n].name)) << n;
    }
}

TEST(TlvuDecode, RoundTripOfPlainListOf0And1And4094Values)
{
    for (uint32_t n : {0u, 1u, 4094u}) {
        Bytes rec(8 + 4 * n);
        store<uint32_t>(&rec[0], 0x12345678);
        store<uint32_t>(&rec[4], n);
        for (uint32_t i = 0; i < n; ++i)
            store<uint32_t>(&rec[8 + 4 * i], i * 2654435761u);
        EXPECT_EQ(decode(ports_tbl.get(), encode(ports_tbl.get(), rec.data())), rec) << n;
    }
}

TEST(TlvuDecode, RoundTripOfListBehind16BitCountAtOddOffset)
{
    for (uint16_t n : {uint16_t{0}, uint16_t{1}, uint16_t{300}}) {
        Bytes rec(2 + 48 * n);
        store<uint16_t>(&rec[0], n);
        for (uint16_t i = 0; i < n; ++i) {
            UpdRec u;
            upd_init(&u);
            u.f3 = static_cast<uint8_t>(i);
            u.f5 = i * 11u;
            u.f6 = ~uint32_t{i};
            u.f7 = static_cast<uint16_t>(i + 1);
            std::snprintf(u.name, sizeof u.name, "n%u", i);
            std::memcpy(&rec[2 + 48 * i], &u, sizeof u);
        }
        EXPECT_EQ(decode(upd_req_tbl.get(), encode(upd_req_tbl.get(), rec.data())), rec) << n;
    }
}

TEST(TlvuDecode, RoundTripOfBitmapRecord)
{
    BitmapRec r;
    bitmap_init(&r);
    for (int i = 0; i < 512; i += 3)
        r.bm[i] = static_cast<uint8_t>(i * 7 + 1);
    r.f38 = 0xdeadbeef;
    r.f40 = 4094;
    r.f41 = 1;
    EXPECT_EQ(decode(bitmap_tbl.get(), encode(bitmap_tbl.get(), &r)), bytes_of(&r, sizeof r));
}

TEST(TlvuDecode, RecordIsOneBlockOfFixedPartAndList)
{
    std::vector<CreateRec> recs = {make_create(5), make_create(6)};
    Bytes rec = payload(recs);
    Bytes tlv = encode(create_payload_tbl.get(), rec.data());
    HeapCopy c(tlv);
    const long before = tp::alloc_calls();
    void *out = nullptr;
    ASSERT_EQ(tlvu_table_convert_tlv_to_struct(&out, c.p, static_cast<uint32_t>(c.n), create_payload_tbl.get(), 0),
              TLVU_OK);
    EXPECT_EQ(tp::alloc_calls() - before, 1);
    EXPECT_EQ(bytes_of(out, rec.size()), rec);
    std::free(out);
    EXPECT_EQ(tp::live_allocs(), 1); // only the test's own copy
}

// ---- Arguments, tables, allocation ---------------------------------------

TEST(TlvuDecode, NullArgumentsAndFlagsAreRefused)
{
    HeapCopy c(kKeyTlv);
    void *rec = reinterpret_cast<void *>(0x3);
    uint32_t size = 5;
    EXPECT_EQ(tlvu_table_convert_tlv_to_struct(nullptr, c.p, 44, key_tbl.get(), 0), TLVU_ERR_INVALID_ARG);
    EXPECT_EQ(tlvu_table_convert_tlv_to_struct(&rec, nullptr, 44, key_tbl.get(), 0), TLVU_ERR_INVALID_ARG);
    EXPECT_EQ(tlvu_table_convert_tlv_to_struct(&rec, c.p, 44, nullptr, 0), TLVU_ERR_INVALID_ARG);
    EXPECT_EQ(tlvu_table_convert_tlv_to_struct(&rec, c.p, 44, key_tbl.get(), 4), TLVU_ERR_INVALID_ARG);
    EXPECT_EQ(rec, reinterpret_cast<void *>(0x3));
    EXPECT_EQ(tlvu_table_get_struct_size_from_tlv(nullptr, c.p, 44, key_tbl.get()), TLVU_ERR_INVALID_ARG);
    EXPECT_EQ(tlvu_table_get_struct_size_from_tlv(&size, nullptr, 44, key_tbl.get()), TLVU_ERR_INVALID_ARG);
    EXPECT_EQ(tlvu_table_get_struct_size_from_tlv(&size, c.p, 44, nullptr), TLVU_ERR_INVALID_ARG);
    EXPECT_EQ(size, 5u);
}

int32_t failing_init(void *) { return 5; }
inline const TableOf<1> failing_tbl = {4, "test_failing_t", failing_init, 0, {fixed(1, 0, 4), terminator()}};
inline const TableOf<2> failing_elem_payload_tbl = {
    4, "test_failing_payload_t", zero4_init, 0,
    {fixed(17, 0, 4), list(18, 4, 4, count_at_0, failing_tbl.get()), terminator()}};

TEST(TlvuDecode, InitFunctionFailureIsReportedAndFreesTheRecord)
{
    expect_refused(failing_tbl.get(), Builder("test_failing_t").u32(1, 1).done(), TLVU_ERR_INIT_FAILED);
    Attrs list;
    list.attr(18, {});
    expect_refused(failing_elem_payload_tbl.get(),
                   Builder("test_failing_payload_t").u32(17, 1).attr(18, list.b).done(), TLVU_ERR_INIT_FAILED);
    // Without elements the element table's init is not needed.
    EXPECT_EQ(decode(failing_elem_payload_tbl.get(), Builder("test_failing_payload_t").done()), Bytes(4, 0x00));
}

int32_t counting_init_calls = 0;
int32_t counting_init(void *r)
{
    ++counting_init_calls;
    return del_init(r);
}
inline const TableOf<6> counting_del_tbl = {
    53, "test_del_t", counting_init, 0,
    {fixed(9, 0, 2), fixed(16, 2, 6), fixed(20, 8, 4), fixed(15, 12, 4), text(8, 16), fixed(31, 49, 4), terminator()}};
inline const TableOf<2> counting_payload_tbl = {
    4, "test_del_payload_t", zero4_init, 0,
    {fixed(17, 0, 4), list(19, 4, 53, count_at_0, counting_del_tbl.get()), terminator()}};

TEST(TlvuDecode, ElementInitRunsOncePerCallAndEveryElementGetsItsDefaults)
{
    counting_init_calls = 0;
    Bytes rec = decode(counting_payload_tbl.get(), del_payload_tlv(50, 50));
    EXPECT_EQ(counting_init_calls, 1);
    ASSERT_EQ(rec.size(), 4u + 50 * 53);
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(load<uint32_t>(&rec[4 + 53 * i + 8]), 100u) << i;
        EXPECT_EQ(load<uint32_t>(&rec[4 + 53 * i + 12]), 1u) << i;
        EXPECT_EQ(load<uint16_t>(&rec[4 + 53 * i]), 0x100 + i) << i;
    }
}

// An element of 2^28 bytes: 16 empty elements ask for more than 32 bits.
inline const TableOf<1> huge_elem_tbl = {0x10000000, "test_huge_t", nullptr, 0, {fixed(1, 0, 4), terminator()}};
inline const TableOf<2> huge_payload_tbl = {
    4, "test_huge_payload_t", zero4_init, 0,
    {fixed(17, 0, 4), list(18, 4, 0x10000000, count_at_0, huge_elem_tbl.get()), terminator()}};

TEST(TlvuDecode, RecordSizeOver32BitsIsAllocationFailureWithoutAllocating)
{
    Attrs list;
    for (int i = 0; i < 16; ++i)
        list.attr(18, {});
    Bytes b = Builder("test_huge_payload_t").u32(17, 16).attr(18, list.b).done();
    HeapCopy c(b);
    const long calls = tp::alloc_calls();
    uint32_t size = 0;
    EXPECT_EQ(tlvu_table_get_struct_size_from_tlv(&size, c.p, static_cast<uint32_t>(c.n), huge_payload_tbl.get()),
              TLVU_ERR_NO_MEMORY);
    void *rec = nullptr;
    EXPECT_EQ(tlvu_table_convert_tlv_to_struct(&rec, c.p, static_cast<uint32_t>(c.n), huge_payload_tbl.get(), 0),
              TLVU_ERR_NO_MEMORY);
    EXPECT_EQ(rec, nullptr);
    EXPECT_EQ(tp::alloc_calls(), calls);
    // 15 elements still fit: the size is exact.
    Attrs list15;
    for (int i = 0; i < 15; ++i)
        list15.attr(18, {});
    HeapCopy c15(Builder("test_huge_payload_t").u32(17, 15).attr(18, list15.b).done());
    EXPECT_EQ(tlvu_table_get_struct_size_from_tlv(&size, c15.p, static_cast<uint32_t>(c15.n), huge_payload_tbl.get()),
              TLVU_OK);
    EXPECT_EQ(size, 4u + 15u * 0x10000000u);
}

TEST(TlvuDecode, AllocationFailureIsReportedAndLeavesNothing)
{
    std::vector<CreateRec> recs = {make_create(1), make_create(2), make_create(3)};
    Bytes rec = payload(recs);
    HeapCopy c(encode(create_payload_tbl.get(), rec.data()));
    long n = 1;
    for (;; ++n) {
        tp::fail_alloc_at(n);
        void *out = nullptr;
        int32_t rc = tlvu_table_convert_tlv_to_struct(&out, c.p, static_cast<uint32_t>(c.n), create_payload_tbl.get(), 0);
        tp::fail_alloc_at(0);
        if (rc == TLVU_OK) {
            EXPECT_EQ(bytes_of(out, rec.size()), rec);
            std::free(out);
            break;
        }
        EXPECT_EQ(rc, TLVU_ERR_NO_MEMORY) << n;
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(tp::live_allocs(), 1) << n; // the test's copy
    }
    EXPECT_EQ(n, 2); // one allocation: the record
    EXPECT_EQ(tp::live_allocs(), 1);
}

// ---- Hostile input --------------------------------------------------------

// Valid buffers of every test table.
std::vector<std::pair<const vlan_mgr_tlv_table_t *, Bytes>> valid_buffers()
{
    std::vector<std::pair<const vlan_mgr_tlv_table_t *, Bytes>> out;
    out.emplace_back(key_tbl.get(), kKeyTlv);
    out.emplace_back(del_tbl.get(), kDelTlv);
    std::vector<CreateRec> recs = {make_create(1), make_create(2)};
    Bytes p = payload(recs);
    out.emplace_back(create_payload_tbl.get(), encode(create_payload_tbl.get(), p.data()));
    out.emplace_back(del_payload_tbl.get(), del_payload_tlv(2, 2));
    const uint32_t ports[5] = {1, 3, 10, 20, 30};
    out.emplace_back(ports_tbl.get(), encode(ports_tbl.get(), ports));
    uint8_t upd[2 + 48 * 2] = {};
    store<uint16_t>(upd, 2);
    std::strcpy(reinterpret_cast<char *>(upd + 2 + 14), "a");
    std::strcpy(reinterpret_cast<char *>(upd + 2 + 48 + 14), "bcdef");
    out.emplace_back(upd_req_tbl.get(), encode(upd_req_tbl.get(), upd));
    BitmapRec r;
    bitmap_init(&r);
    r.bm[100] = 0x42;
    out.emplace_back(bitmap_tbl.get(), encode(bitmap_tbl.get(), &r));
    uint8_t odd[4 + 2 * 16];
    store<uint32_t>(odd, 2);
    for (int i = 4; i < 36; ++i)
        odd[i] = static_cast<uint8_t>(i);
    out.emplace_back(odd_list_tbl.get(), encode(odd_list_tbl.get(), odd));
    out.emplace_back(pair_list_tbl.get(), encode(pair_list_tbl.get(), odd));
    return out;
}

// Decodes `b` from an exact-size heap copy and from an odd address; either
// succeeds or fails with one of the utility's codes, leaving nothing behind.
// The struct-size call agrees with the decode.
int32_t decode_any(const vlan_mgr_tlv_table_t *t, const Bytes &b)
{
    HeapCopy c(b);
    const long live = tp::live_allocs();
    void *rec = nullptr;
    const int32_t rc = tlvu_table_convert_tlv_to_struct(&rec, c.p, static_cast<uint32_t>(c.n), t, 0);
    uint32_t size = 0;
    const int32_t src = tlvu_table_get_struct_size_from_tlv(&size, c.p, static_cast<uint32_t>(c.n), t);
    if (rc == TLVU_OK) {
        EXPECT_NE(rec, nullptr);
        EXPECT_EQ(src, TLVU_OK);
        std::free(rec);
    } else {
        EXPECT_GE(rc, TLVU_ERR_INVALID_ARG);
        EXPECT_LE(rc, TLVU_ERR_BAD_TEXT);
        EXPECT_NE(rc, TLVU_END);
        EXPECT_EQ(rec, nullptr);
    }
    OddCopy odd(b);
    void *rec2 = nullptr;
    EXPECT_EQ(tlvu_table_convert_tlv_to_struct(&rec2, odd.data(), odd.size(), t, 0), rc);
    std::free(rec2);
    EXPECT_EQ(tp::live_allocs(), live);
    return rc;
}

TEST(TlvuDecode, EveryBufferCutAtEveryShorterLengthIsTruncated)
{
    for (auto &[t, b] : valid_buffers()) {
        ASSERT_EQ(decode_any(t, b), TLVU_OK);
        // From 1: a length of 0 means "a whole buffer, length in its header".
        for (size_t len = 1; len < b.size(); ++len) {
            HeapCopy c(b.data(), len);
            void *rec = nullptr;
            EXPECT_EQ(tlvu_table_convert_tlv_to_struct(&rec, c.p, static_cast<uint32_t>(len), t, 0),
                      TLVU_ERR_TRUNCATED)
                << t->type_name << " cut at " << len;
            uint32_t size = 0;
            EXPECT_EQ(tlvu_table_get_struct_size_from_tlv(&size, c.p, static_cast<uint32_t>(len), t),
                      TLVU_ERR_TRUNCATED);
            EXPECT_EQ(rec, nullptr);
            OddCopy odd(Bytes(b.begin(), b.begin() + static_cast<std::ptrdiff_t>(len)));
            EXPECT_EQ(tlvu_table_convert_tlv_to_struct(&rec, odd.data(), odd.size(), t, 0), TLVU_ERR_TRUNCATED);
            EXPECT_EQ(rec, nullptr);
        }
    }
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(TlvuDecode, EveryBufferCutAndRelabelledFailsCleanlyOrDecodesWhatRemains)
{
    // The header's length rewritten to the cut, so that the attributes'
    // own lengths are what run past the end.
    for (auto &[t, b] : valid_buffers()) {
        int ok = 0;
        for (size_t len = 8; len < b.size(); ++len) {
            Bytes cut(b.begin(), b.begin() + static_cast<std::ptrdiff_t>(len));
            put_be32(cut, 0, static_cast<uint32_t>(len));
            ok += decode_any(t, cut) == TLVU_OK;
        }
        // Cuts at attribute boundaries of the records without a list are
        // valid buffers with fewer fields.
        if (t == del_tbl.get()) {
            EXPECT_EQ(ok, 6) << t->type_name; // after the header and after each of the first 5 fields
        }
        if (t == key_tbl.get()) {
            EXPECT_EQ(ok, 2) << t->type_name;
        }
    }
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(TlvuDecode, EverySingleByteFlipFailsCleanlyOrDecodes)
{
    for (auto &[t, b] : valid_buffers())
        for (size_t i = 0; i < b.size(); ++i)
            for (uint8_t x : {uint8_t{0x01}, uint8_t{0x80}, uint8_t{0xff}}) {
                Bytes f = b;
                f[i] ^= x;
                decode_any(t, f);
            }
    // A flipped value byte leaves a valid buffer.
    Bytes f = kDelTlv;
    f[28] ^= 0xff;
    Bytes want = kDelRecord;
    want[0] ^= 0xff;
    EXPECT_EQ(decode(del_tbl.get(), f), want);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(TlvuDecode, EveryFramingWordSetToExtremesFailsCleanly)
{
    for (auto &[t, b] : valid_buffers()) {
        // Walk the framing: every attribute header at both levels (and the
        // element attributes' fields), by trying each 4-byte-aligned word.
        for (size_t at = 0; at + 4 <= b.size(); at += 4)
            for (uint32_t v : {0u, 1u, 3u, 4u, 5u, 8u, 0x7fffffffu, 0x80000000u, 0xfffffff8u, 0xfffffffcu,
                               0xffffffffu, get_be32(b, at) + 1, get_be32(b, at) - 1, get_be32(b, at) + 4,
                               get_be32(b, at) - 4}) {
                Bytes f = b;
                put_be32(f, at, v);
                decode_any(t, f);
            }
    }
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(TlvuDecode, ListLengthBeyondTheBufferAllocatesNothing)
{
    Bytes b = del_payload_tlv(2, 2);
    // The list attribute's length word follows the header (28) and the count field (12).
    ASSERT_EQ(get_be32(b, 40), 19u);
    put_be32(b, 44, 0x7ffffff0);
    HeapCopy c(b);
    const long calls = tp::alloc_calls();
    void *rec = nullptr;
    EXPECT_EQ(tlvu_table_convert_tlv_to_struct(&rec, c.p, static_cast<uint32_t>(c.n), del_payload_tbl.get(), 0),
              TLVU_ERR_TRUNCATED);
    EXPECT_EQ(tp::alloc_calls(), calls);
}

} // namespace
} // namespace tlvu_test

namespace tlvu_test {
namespace {

// A one-element delete payload whose element carries its fields in the
// table's order (BD id, key, 100, 1, then the name): the name is taken on
// the in-order way, copied a word at a time while it is checked for a NUL.
Bytes in_order_del_payload(const Bytes &name)
{
    Attrs e;
    e.u16(9, 0x1234)
        .attr(16, {0x01, 0x00, 0x0a, 0x00, 0x00, 0x00})
        .u32(20, 100)
        .u32(15, 1)
        .attr(8, name)
        .u32(31, 0xA1B2C3D4u);
    Attrs list;
    list.attr(19, e.b);
    return Builder("test_del_payload_t").u32(17, 1).attr(19, list.b).done();
}

TEST(TlvuDecode, InOrderElementNameWithANulAnywhereIsRefused)
{
    // Names of 1 to 32 bytes, a NUL at each place: short names byte by byte,
    // longer ones in whole words and an overlapping last word.
    for (uint32_t n = 1; n <= 32; ++n)
        for (uint32_t at = 0; at < n; ++at) {
            Bytes name(n, 'q');
            name[at] = 0;
            SCOPED_TRACE("length " + std::to_string(n) + ", NUL at " + std::to_string(at));
            expect_refused(del_payload_tbl.get(), in_order_del_payload(name), TLVU_ERR_BAD_TEXT);
        }
}

TEST(TlvuDecode, InOrderElementNameOfEveryLengthIsCopiedAndItsBufferCleared)
{
    for (uint32_t n = 0; n <= 32; ++n) {
        Bytes name(n);
        for (uint32_t c = 0; c < n; ++c)
            name[c] = static_cast<uint8_t>('A' + c % 26);
        SCOPED_TRACE("length " + std::to_string(n));
        HeapCopy c(in_order_del_payload(name));
        Freer out;
        ASSERT_EQ(tlvu_table_convert_tlv_to_struct(&out.p, c.p, static_cast<uint32_t>(c.n), del_payload_tbl.get(), 0),
                  TLVU_OK);
        // The count, then the element byte by byte.
        Bytes expected = {0x01, 0x00, 0x00, 0x00,
                          0x34, 0x12, 0x01, 0x00, 0x0a, 0x00, 0x00, 0x00, 0x64, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00};
        Bytes buffer(33, 0);
        if (n != 0)
            std::memcpy(buffer.data(), name.data(), n);
        expected.insert(expected.end(), buffer.begin(), buffer.end());
        expected.insert(expected.end(), {0xd4, 0xc3, 0xb2, 0xa1});
        EXPECT_EQ(bytes_of(out.p, 4 + sizeof(DelRec)), expected);
    }
}

} // namespace
} // namespace tlvu_test
