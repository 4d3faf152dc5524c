// Record to TLV: tlvu_table_convert_struct_to_tlv and tlvu_table_size.
#include "tlvu_test_util.h"

namespace tlvu_test {
namespace {

// The key record {VDC 1, VLAN 100} of the 6-byte key table.
const Bytes kKeyTlv = {
    0x00, 0x00, 0x00, 0x2c, 0x01, 0x00, 0x00, 0x0a,                         // length 44, version 1, name 10
    't', 'e', 's', 't', '_', 'k', 'e', 'y', '_', 't', 0x00, 0x00,           // "test_key_t", padding
    0x00, 0x00, 0x00, 0x04, 0x00, 0x00, 0x00, 0x02, 0x01, 0x00, 0x00, 0x00, // id 4, 2 bytes, 1, padding
    0x00, 0x00, 0x00, 0x05, 0x00, 0x00, 0x00, 0x04, 0x64, 0x00, 0x00, 0x00, // id 5, 4 bytes, 100
};

// make_del(0x1234, 1, 10, "blue", 0xA1B2C3D4) with the defaults 100 and 1.
const Bytes kDelTlv = {
    0x00, 0x00, 0x00, 0x60, 0x01, 0x00, 0x00, 0x0a, 't', 'e', 's', 't', '_', 'd', 'e', 'l', '_', 't', 0x00, 0x00,
    0x00, 0x00, 0x00, 0x09, 0x00, 0x00, 0x00, 0x02, 0x34, 0x12, 0x00, 0x00,                         // BD id
    0x00, 0x00, 0x00, 0x10, 0x00, 0x00, 0x00, 0x06, 0x01, 0x00, 0x0a, 0x00, 0x00, 0x00, 0x00, 0x00, // key
    0x00, 0x00, 0x00, 0x14, 0x00, 0x00, 0x00, 0x04, 0x64, 0x00, 0x00, 0x00,                         // 100
    0x00, 0x00, 0x00, 0x0f, 0x00, 0x00, 0x00, 0x04, 0x01, 0x00, 0x00, 0x00,                         // 1
    0x00, 0x00, 0x00, 0x08, 0x00, 0x00, 0x00, 0x04, 'b', 'l', 'u', 'e',                             // name
    0x00, 0x00, 0x00, 0x1f, 0x00, 0x00, 0x00, 0x04, 0xd4, 0xc3, 0xb2, 0xa1,                         // offset 49
};

TEST(TlvuEncode, KeyRecordIsHeaderThenOneAttributePerField)
{
    const uint8_t rec[6] = {0x01, 0x00, 0x64, 0x00, 0x00, 0x00};
    void *buf = nullptr;
    uint32_t len = 0, fields = 0;
    ASSERT_EQ(tlvu_table_convert_struct_to_tlv(&buf, &len, key_tbl.get(), rec, 0, &fields, 0), TLVU_OK);
    Freer f{buf};
    EXPECT_EQ(len, 44u);
    EXPECT_EQ(bytes_of(buf, len), kKeyTlv);
    EXPECT_EQ(fields, 2u);
    EXPECT_EQ(tlvu_table_size(key_tbl.get(), rec), 44u);
}

TEST(TlvuEncode, PackedRecordWithUnalignedFieldAt49FromOddAddress)
{
    DelRec r = make_del(0x1234, 1, 10, "blue", 0xA1B2C3D4);
    OddCopy rec(bytes_of(&r, sizeof r));
    void *buf = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(tlvu_table_convert_struct_to_tlv(&buf, &len, del_tbl.get(), rec.data(), 0, nullptr, 0), TLVU_OK);
    Freer f{buf};
    EXPECT_EQ(bytes_of(buf, len), kDelTlv);
    EXPECT_EQ(tlvu_table_size(del_tbl.get(), rec.data()), 96u);
}

TEST(TlvuEncode, PlainListElementsTravelAsTheirBytes)
{
    const uint32_t rec[4] = {1, 2, 0x01000001, 0x02000002};
    const Bytes expected = {
        0x00, 0x00, 0x00, 0x4c, 0x01, 0x00, 0x00, 0x0c, 't', 'e', 's', 't', '_', 'p', 'o', 'r', 't', 's', '_', 't',
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x04, 0x01, 0x00, 0x00, 0x00, // id 0
        0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x04, 0x02, 0x00, 0x00, 0x00, // id 1: the count
        0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x18,                         // id 2: the list, 24 bytes
        0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x04, 0x01, 0x00, 0x00, 0x01, // element
        0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x04, 0x02, 0x00, 0x00, 0x02, // element
    };
    EXPECT_EQ(encode(ports_tbl.get(), rec), expected);
    EXPECT_EQ(tlvu_table_size(ports_tbl.get(), rec), 76u);
}

TEST(TlvuEncode, ListOfRecordsBehind16BitCountAtOddOffset)
{
    uint8_t rec[2 + 48];
    store<uint16_t>(rec, 1);
    UpdRec u;
    upd_init(&u);
    u.f3 = 5;
    u.f5 = 6;
    u.f6 = 7;
    u.f7 = 8;
    std::strcpy(u.name, "ab");
    std::memcpy(rec + 2, &u, sizeof u);
    const Bytes expected = {
        0x00, 0x00, 0x00, 0x70, 0x01, 0x00, 0x00, 0x0e,                         // length 112, name 14
        't', 'e', 's', 't', '_', 'u', 'p', 'd', '_', 'r', 'e', 'q', '_', 't', 0x00, 0x00,
        0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x02, 0x01, 0x00, 0x00, 0x00, // id 1: count 1
        0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x44,                         // id 2: list, 68 bytes
        0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x3c,                         // element, 60 bytes
        0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00, 0x01, 0x05, 0x00, 0x00, 0x00,
        0x00, 0x00, 0x00, 0x05, 0x00, 0x00, 0x00, 0x04, 0x06, 0x00, 0x00, 0x00,
        0x00, 0x00, 0x00, 0x06, 0x00, 0x00, 0x00, 0x04, 0x07, 0x00, 0x00, 0x00,
        0x00, 0x00, 0x00, 0x07, 0x00, 0x00, 0x00, 0x02, 0x08, 0x00, 0x00, 0x00,
        0x00, 0x00, 0x00, 0x08, 0x00, 0x00, 0x00, 0x02, 'a', 'b', 0x00, 0x00,
    };
    EXPECT_EQ(encode(upd_req_tbl.get(), rec), expected);
}

TEST(TlvuEncode, FieldsOf3And5And7BytesArePaddedToTheirSlots)
{
    const uint8_t rec[16] = {0xa1, 0xa2, 0xa3, 0xb1, 0xb2, 0xb3, 0xb4, 0xb5,
                             0xc1, 0xc2, 0xc3, 0xc4, 0xc5, 0xc6, 0xc7, 0xd1};
    const Bytes fields = {
        0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x03, 0xa1, 0xa2, 0xa3, 0x00,
        0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x05, 0xb1, 0xb2, 0xb3, 0xb4, 0xb5, 0x00, 0x00, 0x00,
        0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00, 0x07, 0xc1, 0xc2, 0xc3, 0xc4, 0xc5, 0xc6, 0xc7, 0x00,
        0x00, 0x00, 0x00, 0x04, 0x00, 0x00, 0x00, 0x01, 0xd1, 0x00, 0x00, 0x00,
    };
    Bytes want = {0x00, 0x00, 0x00, 0x4c, 0x01, 0x00, 0x00, 0x0a, 't', 'e', 's', 't', '_', 'o', 'd', 'd', '_', 't', 0, 0};
    want.insert(want.end(), fields.begin(), fields.end());
    EXPECT_EQ(encode(odd_tbl.get(), rec), want);

    // The same record as the one element of a list: the same attributes.
    uint8_t list_rec[4 + 16];
    store<uint32_t>(list_rec, 1);
    std::memcpy(list_rec + 4, rec, 16);
    Bytes b = encode(odd_list_tbl.get(), list_rec);
    ASSERT_EQ(b.size(), 24u + 12 + 8 + 8 + fields.size());
    EXPECT_EQ(get_be32(b, 36), 2u);  // the list
    EXPECT_EQ(get_be32(b, 40), 64u);
    EXPECT_EQ(get_be32(b, 44), 2u);  // its element
    EXPECT_EQ(get_be32(b, 48), 56u);
    EXPECT_EQ(Bytes(b.begin() + 52, b.end()), fields);
}

TEST(TlvuEncode, ListEndingOnA4ByteValueEndsTheBufferExactly)
{
    uint8_t rec[4 + 2 * 16];
    store<uint32_t>(rec, 2);
    for (int i = 0; i < 32; ++i)
        rec[4 + i] = static_cast<uint8_t>(0x10 + i);
    void *buf = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(tlvu_table_convert_struct_to_tlv(&buf, &len, pair_list_tbl.get(), rec, 0, nullptr, 0), TLVU_OK);
    Freer f{buf};
    const Bytes elem1 = {
        0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x28,                         // element, 40 bytes
        0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x08, 0x20, 0x21, 0x22, 0x23, 0x24, 0x25, 0x26, 0x27,
        0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00, 0x04, 0x2c, 0x2d, 0x2e, 0x2f,
        0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x04, 0x28, 0x29, 0x2a, 0x2b, // the buffer's last bytes
    };
    ASSERT_EQ(len, 24u + 12 + 8 + 2 * 48);
    EXPECT_EQ(bytes_of(static_cast<uint8_t *>(buf) + len - 48, 48), elem1);
    EXPECT_EQ(decode(pair_list_tbl.get(), bytes_of(buf, len)), bytes_of(rec, sizeof rec));
}

TEST(TlvuEncode, EmptyNameIsZeroLengthAttribute)
{
    DelRec r = make_del(1, 1, 1, "", 0);
    Bytes b = encode(del_tbl.get(), &r);
    ASSERT_EQ(b.size(), 92u);
    const Bytes name_attr = {0x00, 0x00, 0x00, 0x08, 0x00, 0x00, 0x00, 0x00};
    EXPECT_EQ(Bytes(b.begin() + 72, b.begin() + 80), name_attr);
}

TEST(TlvuEncode, NameOf32CharactersFillsItsAttribute)
{
    const std::string name(32, 'x');
    DelRec r = make_del(1, 1, 1, name.c_str(), 0);
    Bytes b = encode(del_tbl.get(), &r);
    ASSERT_EQ(b.size(), 124u);
    EXPECT_EQ(get_be32(b, 72), 8u);
    EXPECT_EQ(get_be32(b, 76), 32u);
    EXPECT_EQ(std::string(b.begin() + 80, b.begin() + 112), name);
    EXPECT_EQ(get_be32(b, 112), 31u);
}

TEST(TlvuEncode, NameFillingItsWholeBufferIsRefused)
{
    DelRec r = make_del(1, 1, 1, "", 0);
    std::memset(r.name, 'y', sizeof r.name); // 33 characters, no NUL
    void *buf = &r;
    uint32_t len = 77, fields = 5;
    EXPECT_EQ(tlvu_table_convert_struct_to_tlv(&buf, &len, del_tbl.get(), &r, 0, &fields, 0),
              TLVU_ERR_STRING_TOO_LONG);
    EXPECT_EQ(buf, &r);
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(fields, 5u);
    EXPECT_EQ(tlvu_table_size(del_tbl.get(), &r), 0u);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(TlvuEncode, NameWithoutNulInAListElementIsRefused)
{
    std::vector<CreateRec> recs = {make_create(1), make_create(2)};
    std::memset(recs[1].name, 'z', sizeof recs[1].name);
    Bytes rec = payload(recs);
    void *buf = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(tlvu_table_convert_struct_to_tlv(&buf, &len, create_payload_tbl.get(), rec.data(), 0, nullptr, 0),
              TLVU_ERR_STRING_TOO_LONG);
    EXPECT_EQ(buf, nullptr);
    EXPECT_EQ(tp::alloc_calls(), 0); // found while sizing
    EXPECT_EQ(tlvu_table_size(create_payload_tbl.get(), rec.data()), 0u);
}

TEST(TlvuEncode, HeadroomIsZeroBytesInFrontOfTheTlv)
{
    const uint8_t rec[6] = {0x01, 0x00, 0x64, 0x00, 0x00, 0x00};
    void *buf = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(tlvu_table_convert_struct_to_tlv(&buf, &len, key_tbl.get(), rec, 5, nullptr, 0), TLVU_OK);
    Freer f{buf};
    ASSERT_EQ(len, 49u);
    Bytes want(5, 0x00);
    want.insert(want.end(), kKeyTlv.begin(), kKeyTlv.end());
    EXPECT_EQ(bytes_of(buf, len), want);
}

TEST(TlvuEncode, FieldsWrittenCountsTopLevelFieldsListIncluded)
{
    std::vector<CreateRec> recs = {make_create(1), make_create(2), make_create(3)};
    Bytes rec = payload(recs);
    void *buf = nullptr;
    uint32_t len = 0, fields = 0;
    ASSERT_EQ(tlvu_table_convert_struct_to_tlv(&buf, &len, create_payload_tbl.get(), rec.data(), 0, &fields, 0),
              TLVU_OK);
    std::free(buf);
    EXPECT_EQ(fields, 2u);
    ASSERT_EQ(tlvu_table_convert_struct_to_tlv(&buf, &len, create_tbl.get(), &recs[0], 0, &fields, 0), TLVU_OK);
    std::free(buf);
    EXPECT_EQ(fields, 12u);
}

TEST(TlvuEncode, TableSizeIsTheLengthOfTheBufferWithoutHeadroom)
{
    for (uint32_t n : {0u, 1u, 7u, 100u}) {
        std::vector<CreateRec> recs;
        for (uint32_t i = 0; i < n; ++i)
            recs.push_back(make_create(i));
        Bytes rec = payload(recs);
        void *buf = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(tlvu_table_convert_struct_to_tlv(&buf, &len, create_payload_tbl.get(), rec.data(), 3, nullptr, 0),
                  TLVU_OK);
        std::free(buf);
        EXPECT_EQ(tlvu_table_size(create_payload_tbl.get(), rec.data()), len - 3) << n;
    }
}

TEST(TlvuEncode, EmptyListIsAnEmptyListAttribute)
{
    const uint32_t rec[2] = {9, 0};
    Bytes b = encode(ports_tbl.get(), rec);
    ASSERT_EQ(b.size(), 52u);
    const Bytes tail = {0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x00};
    EXPECT_EQ(Bytes(b.end() - 8, b.end()), tail);
}

TEST(TlvuEncode, BitmapFieldOf516BytesIsOneAttribute)
{
    BitmapRec r;
    bitmap_init(&r);
    r.bm[0] = 0x80;
    r.bm[511] = 0x01;
    r.f40 = 0xBEEF;
    r.f41 = 3;
    Bytes b = encode(bitmap_tbl.get(), &r);
    // header 24, id 38: 12, id 39: 8 + 516, ids 40 and 41: 12 each
    ASSERT_EQ(b.size(), 24u + 12 + 524 + 12 + 12);
    EXPECT_EQ(get_be32(b, 36), 39u);
    EXPECT_EQ(get_be32(b, 40), 516u);
    const Bytes len_word = {0x00, 0x02, 0x00, 0x00}; // 512 as the record holds it
    EXPECT_EQ(Bytes(b.begin() + 44, b.begin() + 48), len_word);
    EXPECT_EQ(b[48], 0x80);
    EXPECT_EQ(b[48 + 511], 0x01);
    const Bytes f40 = {0x00, 0x00, 0x00, 0x28, 0x00, 0x00, 0x00, 0x02, 0xef, 0xbe, 0x00, 0x00};
    EXPECT_EQ(Bytes(b.begin() + 560, b.begin() + 572), f40);
}

TEST(TlvuEncode, NullArgumentsAndFlagsAreRefusedAndChangeNothing)
{
    const uint8_t rec[6] = {};
    void *buf = reinterpret_cast<void *>(0x1);
    uint32_t len = 9, fields = 9;
    EXPECT_EQ(tlvu_table_convert_struct_to_tlv(nullptr, &len, key_tbl.get(), rec, 0, &fields, 0),
              TLVU_ERR_INVALID_ARG);
    EXPECT_EQ(tlvu_table_convert_struct_to_tlv(&buf, nullptr, key_tbl.get(), rec, 0, &fields, 0),
              TLVU_ERR_INVALID_ARG);
    EXPECT_EQ(tlvu_table_convert_struct_to_tlv(&buf, &len, nullptr, rec, 0, &fields, 0), TLVU_ERR_INVALID_ARG);
    EXPECT_EQ(tlvu_table_convert_struct_to_tlv(&buf, &len, key_tbl.get(), nullptr, 0, &fields, 0),
              TLVU_ERR_INVALID_ARG);
    EXPECT_EQ(tlvu_table_convert_struct_to_tlv(&buf, &len, key_tbl.get(), rec, 0, &fields, 1), TLVU_ERR_INVALID_ARG);
    EXPECT_EQ(buf, reinterpret_cast<void *>(0x1));
    EXPECT_EQ(len, 9u);
    EXPECT_EQ(fields, 9u);
    EXPECT_EQ(tlvu_table_size(nullptr, rec), 0u);
    EXPECT_EQ(tlvu_table_size(key_tbl.get(), nullptr), 0u);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(TlvuEncode, HugeCountIsAllocationFailureBeforeAnyElementIsRead)
{
    // Only the count word exists: the sizes alone must stop the call.
    uint32_t count = UINT32_MAX;
    void *buf = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(tlvu_table_convert_struct_to_tlv(&buf, &len, create_payload_tbl.get(), &count, 0, nullptr, 0),
              TLVU_ERR_NO_MEMORY);
    EXPECT_EQ(tlvu_table_size(create_payload_tbl.get(), &count), 0u);
    // 12 bytes per plain element: the list alone just fits 32 bits, the
    // whole buffer does not.
    const uint32_t ports[2] = {1, UINT32_MAX / 12};
    EXPECT_EQ(tlvu_table_convert_struct_to_tlv(&buf, &len, ports_tbl.get(), ports, 0, nullptr, 0),
              TLVU_ERR_NO_MEMORY);
    EXPECT_EQ(tlvu_table_size(ports_tbl.get(), ports), 0u);
    EXPECT_EQ(buf, nullptr);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(TlvuEncode, HeadroomPastFourGigabytesIsAllocationFailure)
{
    const uint8_t rec[6] = {};
    void *buf = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(tlvu_table_convert_struct_to_tlv(&buf, &len, key_tbl.get(), rec, UINT32_MAX - 43, nullptr, 0),
              TLVU_ERR_NO_MEMORY);
    EXPECT_EQ(buf, nullptr);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(TlvuEncode, AllocationFailureIsReportedAndLeavesNothing)
{
    std::vector<CreateRec> recs = {make_create(1), make_create(2)};
    Bytes rec = payload(recs);
    long n = 1;
    for (;; ++n) {
        tp::fail_alloc_at(n);
        void *buf = nullptr;
        uint32_t len = 0;
        int32_t rc = tlvu_table_convert_struct_to_tlv(&buf, &len, create_payload_tbl.get(), rec.data(), 0, nullptr, 0);
        tp::fail_alloc_at(0);
        if (rc == TLVU_OK) {
            std::free(buf);
            break;
        }
        EXPECT_EQ(rc, TLVU_ERR_NO_MEMORY) << n;
        EXPECT_EQ(buf, nullptr);
        EXPECT_EQ(tp::live_allocs(), 0) << n;
    }
    EXPECT_EQ(n, 2); // one allocation: the buffer
    EXPECT_EQ(tp::live_allocs(), 0);
}

} // namespace
} // namespace tlvu_test
