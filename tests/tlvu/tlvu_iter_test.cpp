// Walking a buffer: tlvu_field_itr_init, tlvu_field_itr_get_next and
// tlvu_get_field.
#include "tlvu_test_util.h"

namespace tlvu_test {
namespace {

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

struct Seen {
    int32_t id;
    uint32_t len;
    size_t value_offset;
    const vlan_mgr_tlv_field_t *desc;
    bool operator==(const Seen &) const = default;
};

std::ostream &operator<<(std::ostream &os, const Seen &s)
{
    return os << "{" << s.id << ", " << s.len << ", " << s.value_offset << ", " << s.desc << "}";
}

std::vector<Seen> walk(tlvu_field_itr_t &it, const uint8_t *base, int32_t &end_code)
{
    std::vector<Seen> out;
    tlvu_field_t f;
    for (;;) {
        end_code = tlvu_field_itr_get_next(&it, &f);
        if (end_code != TLVU_OK)
            return out;
        out.push_back({f.id, f.len, static_cast<size_t>(static_cast<const uint8_t *>(f.value) - base), f.desc});
    }
}

TEST(TlvuIter, YieldsEveryTopLevelFieldThenEnd)
{
    HeapCopy c(kDelTlv);
    tlvu_field_itr_t it;
    ASSERT_EQ(tlvu_field_itr_init(&it, c.p, 96, del_tbl.get(), 0, 0), TLVU_OK);
    int32_t end = 0;
    const vlan_mgr_tlv_field_t *d = del_tbl.get()->fields;
    const std::vector<Seen> want = {{9, 2, 28, &d[0]},  {16, 6, 40, &d[1]}, {20, 4, 56, &d[2]},
                                    {15, 4, 68, &d[3]}, {8, 4, 80, &d[4]},  {31, 4, 92, &d[5]}};
    EXPECT_EQ(walk(it, c.p, end), want);
    EXPECT_EQ(end, TLVU_END);
    tlvu_field_t f;
    EXPECT_EQ(tlvu_field_itr_get_next(&it, &f), TLVU_END); // and stays at the end
}

TEST(TlvuIter, LengthZeroTakesTheLengthFromTheHeader)
{
    HeapCopy c(kDelTlv);
    tlvu_field_itr_t it;
    ASSERT_EQ(tlvu_field_itr_init(&it, c.p, 0, del_tbl.get(), 0, 0), TLVU_OK);
    int32_t end = 0;
    EXPECT_EQ(walk(it, c.p, end).size(), 6u);
    EXPECT_EQ(end, TLVU_END);
}

TEST(TlvuIter, UnknownIdHasNoDescriptor)
{
    HeapCopy c(Builder("test_key_t").u16(4, 1).attr(1234, {1, 2, 3}).done());
    tlvu_field_itr_t it;
    ASSERT_EQ(tlvu_field_itr_init(&it, c.p, static_cast<uint32_t>(c.n), key_tbl.get(), 0, 0), TLVU_OK);
    int32_t end = 0;
    const std::vector<Seen> want = {{4, 2, 28, &key_tbl.get()->fields[0]}, {1234, 3, 40, nullptr}};
    EXPECT_EQ(walk(it, c.p, end), want);
    EXPECT_EQ(end, TLVU_END);
}

TEST(TlvuIter, DepthOneWalksListElementsAndDepthTwoAnElementsFields)
{
    Attrs e0;
    e0.u16(9, 0x0101).attr(8, {'a'});
    Attrs e1;
    e1.u32(20, 5);
    Attrs list;
    list.attr(19, e0.b).attr(19, e1.b);
    HeapCopy c(Builder("test_del_payload_t").u32(17, 2).attr(19, list.b).done());
    tlvu_field_itr_t top;
    ASSERT_EQ(tlvu_field_itr_init(&top, c.p, static_cast<uint32_t>(c.n), del_payload_tbl.get(), 0, 0), TLVU_OK);
    tlvu_field_t f;
    ASSERT_EQ(tlvu_field_itr_get_next(&top, &f), TLVU_OK);
    EXPECT_EQ(f.id, 17);
    ASSERT_EQ(tlvu_field_itr_get_next(&top, &f), TLVU_OK);
    ASSERT_EQ(f.id, 19);
    EXPECT_EQ(f.desc, &del_payload_tbl.get()->fields[1]);
    EXPECT_EQ(f.len, 52u); // (8 + 12 + 12) + (8 + 12)

    tlvu_field_itr_t elems;
    ASSERT_EQ(tlvu_field_itr_init(&elems, f.value, f.len, del_payload_tbl.get(), 0, 1), TLVU_OK);
    const uint8_t *lv = static_cast<const uint8_t *>(f.value);
    int32_t end = 0;
    const vlan_mgr_tlv_field_t *ld = &del_payload_tbl.get()->fields[1];
    const std::vector<Seen> want_elems = {{19, 24, 8, ld}, {19, 12, 40, ld}};
    EXPECT_EQ(walk(elems, lv, end), want_elems);
    EXPECT_EQ(end, TLVU_END);

    tlvu_field_itr_t fields;
    ASSERT_EQ(tlvu_field_itr_init(&fields, lv + 8, 24, del_tbl.get(), 0, 2), TLVU_OK);
    const std::vector<Seen> want_fields = {{9, 2, 8, &del_tbl.get()->fields[0]},
                                           {8, 1, 20, &del_tbl.get()->fields[4]}};
    EXPECT_EQ(walk(fields, lv + 8, end), want_fields);
    EXPECT_EQ(end, TLVU_END);
    // An empty run ends at once.
    ASSERT_EQ(tlvu_field_itr_init(&fields, lv, 0, del_tbl.get(), 0, 2), TLVU_OK);
    EXPECT_EQ(tlvu_field_itr_get_next(&fields, &f), TLVU_END);
}

TEST(TlvuIter, ValuesPointIntoTheBufferAtAnOddAddress)
{
    OddCopy c(kDelTlv);
    tlvu_field_itr_t it;
    ASSERT_EQ(tlvu_field_itr_init(&it, c.data(), c.size(), del_tbl.get(), 0, 0), TLVU_OK);
    tlvu_field_t f;
    for (int i = 0; i < 6; ++i)
        ASSERT_EQ(tlvu_field_itr_get_next(&it, &f), TLVU_OK);
    EXPECT_EQ(f.id, 31);
    EXPECT_EQ(load<uint32_t>(f.value), 0xA1B2C3D4u);
}

TEST(TlvuIter, InitRefusesBadArgumentsDepthAndHeaders)
{
    HeapCopy c(kDelTlv);
    tlvu_field_itr_t it;
    std::memset(&it, 0x5a, sizeof it);
    const tlvu_field_itr_t before = it;
    EXPECT_EQ(tlvu_field_itr_init(nullptr, c.p, 96, del_tbl.get(), 0, 0), TLVU_ERR_INVALID_ARG);
    EXPECT_EQ(tlvu_field_itr_init(&it, nullptr, 96, del_tbl.get(), 0, 0), TLVU_ERR_INVALID_ARG);
    EXPECT_EQ(tlvu_field_itr_init(&it, c.p, 96, nullptr, 0, 0), TLVU_ERR_INVALID_ARG);
    EXPECT_EQ(tlvu_field_itr_init(&it, c.p, 96, del_tbl.get(), 1, 0), TLVU_ERR_INVALID_ARG);
    EXPECT_EQ(tlvu_field_itr_init(&it, c.p, 96, del_tbl.get(), 0, 3), TLVU_ERR_INVALID_ARG);
    EXPECT_EQ(tlvu_field_itr_init(&it, c.p, 96, key_tbl.get(), 0, 0), TLVU_ERR_WRONG_TYPE);
    EXPECT_EQ(tlvu_field_itr_init(&it, c.p, 95, del_tbl.get(), 0, 0), TLVU_ERR_TRUNCATED);
    EXPECT_EQ(tlvu_field_itr_init(&it, c.p, 7, del_tbl.get(), 0, 0), TLVU_ERR_TRUNCATED);
    EXPECT_EQ(std::memcmp(&it, &before, sizeof it), 0);
}

TEST(TlvuIter, AttributeRunningPastTheEndStopsTheWalk)
{
    Bytes b = kDelTlv;
    // The name's length set to 5: its padding then covers the id of field 31,
    // whose last byte is not zero.
    put_be32(b, 80 - 4, 5);
    HeapCopy c(b);
    tlvu_field_itr_t it;
    ASSERT_EQ(tlvu_field_itr_init(&it, c.p, 96, del_tbl.get(), 0, 0), TLVU_OK);
    tlvu_field_t f;
    for (int i = 0; i < 4; ++i)
        ASSERT_EQ(tlvu_field_itr_get_next(&it, &f), TLVU_OK);
    EXPECT_EQ(tlvu_field_itr_get_next(&it, &f), TLVU_ERR_BAD_PADDING);
    put_be32(b, 80 - 4, 200);
    HeapCopy c2(b);
    ASSERT_EQ(tlvu_field_itr_init(&it, c2.p, 96, del_tbl.get(), 0, 0), TLVU_OK);
    for (int i = 0; i < 4; ++i)
        ASSERT_EQ(tlvu_field_itr_get_next(&it, &f), TLVU_OK);
    EXPECT_EQ(tlvu_field_itr_get_next(&it, &f), TLVU_ERR_TRUNCATED);
    EXPECT_EQ(tlvu_field_itr_get_next(&it, &f), TLVU_ERR_TRUNCATED); // stays where it is
}

TEST(TlvuIter, EveryCutAtDepthOneFailsCleanly)
{
    // A bare run of attributes cut anywhere but at an attribute boundary is
    // truncated; the iterator never reads past the run.
    Attrs list;
    list.u32(2, 1).u16(2, 2).attr(2, {1, 2, 3, 4, 5});
    for (size_t len = 0; len < list.b.size(); ++len) {
        HeapCopy c(list.b.data(), len);
        tlvu_field_itr_t it;
        ASSERT_EQ(tlvu_field_itr_init(&it, c.p, static_cast<uint32_t>(len), ports_tbl.get(), 0, 1), TLVU_OK);
        int32_t end = 0;
        size_t n = walk(it, c.p, end).size();
        EXPECT_EQ(end, len == 0 || len == 12 || len == 24 ? TLVU_END : TLVU_ERR_TRUNCATED) << len;
        EXPECT_EQ(n, len >= 24 ? 2u : len >= 12 ? 1u : 0u) << len;
    }
}

TEST(TlvuIter, GetNextRefusesNullsAndAnIteratorOutOfRange)
{
    HeapCopy c(kDelTlv);
    tlvu_field_itr_t it;
    ASSERT_EQ(tlvu_field_itr_init(&it, c.p, 96, del_tbl.get(), 0, 0), TLVU_OK);
    tlvu_field_t f;
    EXPECT_EQ(tlvu_field_itr_get_next(nullptr, &f), TLVU_ERR_INVALID_ARG);
    EXPECT_EQ(tlvu_field_itr_get_next(&it, nullptr), TLVU_ERR_INVALID_ARG);
    tlvu_field_itr_t bad = it;
    bad.pos = bad.len + 1;
    EXPECT_EQ(tlvu_field_itr_get_next(&bad, &f), TLVU_ERR_INVALID_ARG);
    bad = it;
    bad.buf = nullptr;
    EXPECT_EQ(tlvu_field_itr_get_next(&bad, &f), TLVU_ERR_INVALID_ARG);
    bad = it;
    bad.table = nullptr;
    EXPECT_EQ(tlvu_field_itr_get_next(&bad, &f), TLVU_ERR_INVALID_ARG);
}

// ---- tlvu_get_field ---------------------------------------------------------

TEST(TlvuGetField, CopiesTheValueOfTheFieldById)
{
    HeapCopy c(kDelTlv);
    uint8_t v[8] = {0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee};
    uint32_t len = sizeof v;
    ASSERT_EQ(tlvu_get_field(c.p, 96, 31, v, &len, del_tbl.get()), TLVU_OK);
    EXPECT_EQ(len, 4u);
    const Bytes want = {0xd4, 0xc3, 0xb2, 0xa1, 0xee, 0xee, 0xee, 0xee};
    EXPECT_EQ(bytes_of(v, 8), want);
    len = 6;
    ASSERT_EQ(tlvu_get_field(c.p, 0, 16, v, &len, del_tbl.get()), TLVU_OK);
    EXPECT_EQ(len, 6u);
    const Bytes key = {0x01, 0x00, 0x0a, 0x00, 0x00, 0x00, 0xee, 0xee};
    EXPECT_EQ(bytes_of(v, 8), key);
}

TEST(TlvuGetField, StringComesWithItsNul)
{
    HeapCopy c(kDelTlv);
    char name[33];
    std::memset(name, 'x', sizeof name);
    uint32_t len = 5;
    ASSERT_EQ(tlvu_get_field(c.p, 96, 8, name, &len, del_tbl.get()), TLVU_OK);
    EXPECT_EQ(len, 4u);
    EXPECT_STREQ(name, "blue");
    EXPECT_EQ(name[5], 'x');
    len = 4; // no room for the NUL
    std::memset(name, 'x', sizeof name);
    EXPECT_EQ(tlvu_get_field(c.p, 96, 8, name, &len, del_tbl.get()), TLVU_ERR_BUFFER_TOO_SMALL);
    EXPECT_EQ(len, 5u);
    EXPECT_EQ(name[0], 'x');
}

TEST(TlvuGetField, TooSmallBufferGetsTheSizeNeededAndNothingCopied)
{
    HeapCopy c(kDelTlv);
    uint8_t v[3] = {0xee, 0xee, 0xee};
    uint32_t len = 3;
    EXPECT_EQ(tlvu_get_field(c.p, 96, 20, v, &len, del_tbl.get()), TLVU_ERR_BUFFER_TOO_SMALL);
    EXPECT_EQ(len, 4u);
    EXPECT_EQ(bytes_of(v, 3), Bytes(3, 0xee));
    // A NULL value with length 0 asks for the size.
    len = 0;
    EXPECT_EQ(tlvu_get_field(c.p, 96, 16, nullptr, &len, del_tbl.get()), TLVU_ERR_BUFFER_TOO_SMALL);
    EXPECT_EQ(len, 6u);
}

TEST(TlvuGetField, ListFieldGivesItsElementAttributes)
{
    Attrs list;
    list.u32(2, 0x11223344);
    HeapCopy c(Builder("test_ports_t").u32(1, 1).attr(2, list.b).done());
    uint8_t v[16];
    uint32_t len = sizeof v;
    ASSERT_EQ(tlvu_get_field(c.p, static_cast<uint32_t>(c.n), 2, v, &len, ports_tbl.get()), TLVU_OK);
    ASSERT_EQ(len, 12u);
    const Bytes want = {0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x04, 0x44, 0x33, 0x22, 0x11};
    EXPECT_EQ(bytes_of(v, 12), want);
}

TEST(TlvuGetField, EmptyValueAndUnknownIdsAreFound)
{
    HeapCopy c(Builder("test_key_t").attr(77, {}).attr(-9, {5}).done());
    uint32_t len = 0;
    EXPECT_EQ(tlvu_get_field(c.p, static_cast<uint32_t>(c.n), 77, nullptr, &len, key_tbl.get()), TLVU_OK);
    EXPECT_EQ(len, 0u);
    uint8_t v = 0;
    len = 1;
    EXPECT_EQ(tlvu_get_field(c.p, static_cast<uint32_t>(c.n), -9, &v, &len, key_tbl.get()), TLVU_OK);
    EXPECT_EQ(len, 1u);
    EXPECT_EQ(v, 5);
}

TEST(TlvuGetField, MissingFieldIsNotFoundAndChangesNothing)
{
    HeapCopy c(kDelTlv);
    uint8_t v[4] = {1, 2, 3, 4};
    uint32_t len = 4;
    EXPECT_EQ(tlvu_get_field(c.p, 96, 10, v, &len, del_tbl.get()), TLVU_ERR_NOT_FOUND);
    EXPECT_EQ(len, 4u);
    EXPECT_EQ(bytes_of(v, 4), Bytes({1, 2, 3, 4}));
}

TEST(TlvuGetField, RefusesBadArgumentsAndOtherRecordTypes)
{
    HeapCopy c(kDelTlv);
    uint8_t v[4];
    uint32_t len = 4;
    EXPECT_EQ(tlvu_get_field(nullptr, 96, 9, v, &len, del_tbl.get()), TLVU_ERR_INVALID_ARG);
    EXPECT_EQ(tlvu_get_field(c.p, 96, 9, v, nullptr, del_tbl.get()), TLVU_ERR_INVALID_ARG);
    EXPECT_EQ(tlvu_get_field(c.p, 96, 9, nullptr, &len, del_tbl.get()), TLVU_ERR_INVALID_ARG);
    EXPECT_EQ(tlvu_get_field(c.p, 96, 9, v, &len, nullptr), TLVU_ERR_INVALID_ARG);
    EXPECT_EQ(tlvu_get_field(c.p, 96, 9, v, &len, key_tbl.get()), TLVU_ERR_WRONG_TYPE);
    EXPECT_EQ(len, 4u);
}

TEST(TlvuGetField, EveryCutFailsCleanly)
{
    for (size_t cut = 1; cut < kDelTlv.size(); ++cut) {
        HeapCopy c(kDelTlv.data(), cut);
        uint8_t v[4];
        uint32_t len = 4;
        EXPECT_EQ(tlvu_get_field(c.p, static_cast<uint32_t>(cut), 31, v, &len, del_tbl.get()), TLVU_ERR_TRUNCATED)
            << cut;
        // Relabelled to the cut: the walk itself meets the end.
        Bytes b(kDelTlv.begin(), kDelTlv.begin() + static_cast<std::ptrdiff_t>(cut));
        if (cut >= 8)
            put_be32(b, 0, static_cast<uint32_t>(cut));
        HeapCopy r(b);
        const int32_t rc = tlvu_get_field(r.p, static_cast<uint32_t>(cut), 31, v, &len, del_tbl.get());
        EXPECT_NE(rc, TLVU_OK) << cut;
    }
}

} // namespace
} // namespace tlvu_test

namespace tlvu_test {
namespace {

TEST(TlvuIter, ReadersAllocateNothing)
{
    HeapCopy c(kDelTlv);
    const long calls = tp::alloc_calls();
    tlvu_field_itr_t it;
    tlvu_field_t f;
    ASSERT_EQ(tlvu_field_itr_init(&it, c.p, 96, del_tbl.get(), 0, 0), TLVU_OK);
    while (tlvu_field_itr_get_next(&it, &f) == TLVU_OK) {
    }
    uint8_t v[8];
    uint32_t len = sizeof v;
    EXPECT_EQ(tlvu_get_field(c.p, 96, 9, v, &len, del_tbl.get()), TLVU_OK);
    uint32_t size = 0;
    EXPECT_EQ(tlvu_table_get_struct_size_from_tlv(&size, c.p, 96, del_tbl.get()), TLVU_OK);
    DelRec r = make_del(0x1234, 1, 10, "blue", 0xA1B2C3D4);
    EXPECT_EQ(tlvu_table_size(del_tbl.get(), &r), 96u);
    EXPECT_EQ(tp::alloc_calls(), calls);
}

} // namespace
} // namespace tlvu_test
