// Schema table checks: every entry point refuses a table that breaks the
// format's rules, before reading any record or buffer byte.
#include <functional>

#include "tlvu_test_util.h"

namespace tlvu_test {
namespace {

// Runs every entry point on `t` and expects `code` from each (0 from the
// size call, which has no code).
void expect_table_refused(const vlan_mgr_tlv_table_t *t, int32_t code = TLVU_ERR_BAD_TABLE)
{
    alignas(8) uint8_t rec[4096] = {};
    const Bytes tlv = Builder(t->type_name != nullptr ? t->type_name : "x").done();
    HeapCopy c(tlv);
    const uint32_t n = static_cast<uint32_t>(c.n);
    void *buf = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(tlvu_table_convert_struct_to_tlv(&buf, &len, t, rec, 0, nullptr, 0), code);
    EXPECT_EQ(buf, nullptr);
    EXPECT_EQ(tlvu_table_size(t, rec), 0u);
    void *out = nullptr;
    EXPECT_EQ(tlvu_table_convert_tlv_to_struct(&out, c.p, n, t, 0), code);
    EXPECT_EQ(out, nullptr);
    uint32_t size = 0;
    EXPECT_EQ(tlvu_table_get_struct_size_from_tlv(&size, c.p, n, t), code);
    tlvu_field_itr_t it;
    EXPECT_EQ(tlvu_field_itr_init(&it, c.p, n, t, 0, 0), code);
    uint8_t v[4];
    uint32_t vlen = 4;
    EXPECT_EQ(tlvu_get_field(c.p, n, 1, v, &vlen, t), code);
    EXPECT_EQ(tp::live_allocs(), 1); // the test's copy only
}

int32_t no_init(void *) { return 0; }

TEST(TlvuTable, NameMustBeOneTo255Characters)
{
    const TableOf<1> null_name = {4, nullptr, no_init, 0, {fixed(1, 0, 4), terminator()}};
    expect_table_refused(null_name.get());
    const TableOf<1> empty = {4, "", no_init, 0, {fixed(1, 0, 4), terminator()}};
    expect_table_refused(empty.get());
    const std::string n256(256, 'n');
    const TableOf<1> long_name = {4, n256.c_str(), no_init, 0, {fixed(1, 0, 4), terminator()}};
    expect_table_refused(long_name.get());

    const std::string n255(255, 'n');
    const TableOf<1> ok = {4, n255.c_str(), no_init, 0, {fixed(1, 0, 4), terminator()}};
    const uint32_t rec = 0x01020304;
    Bytes b = encode(ok.get(), &rec);
    ASSERT_EQ(b.size(), 8u + 256 + 12);
    EXPECT_EQ(b[6], 0x00);
    EXPECT_EQ(b[7], 0xff);
    EXPECT_EQ(b[8 + 255], 0x00);
    EXPECT_EQ(decode(ok.get(), b), bytes_of(&rec, 4));
}

TEST(TlvuTable, SizeMustNotBeZero)
{
    const TableOf<0> t = {0, "t", no_init, 0, {terminator()}};
    expect_table_refused(t.get());
}

TEST(TlvuTable, KindMustBeFixedStringOrList)
{
    for (uint32_t kind : {0u, 2u, 4u, 6u, 0xffffffffu}) {
        TableOf<1> t = {8, "t", no_init, 0, {fixed(1, 0, 4), terminator()}};
        t.fields[0].kind = kind;
        expect_table_refused(t.get());
    }
}

TEST(TlvuTable, FieldsMustLieInsideTheRecord)
{
    const TableOf<1> zero_width = {8, "t", no_init, 0, {fixed(1, 0, 0), terminator()}};
    expect_table_refused(zero_width.get());
    const TableOf<1> past = {53, "t", no_init, 0, {fixed(1, 50, 4), terminator()}};
    expect_table_refused(past.get());
    const TableOf<1> wraps = {53, "t", no_init, 0, {fixed(1, 0xfffffffc, 8), terminator()}};
    expect_table_refused(wraps.get());
    const TableOf<1> text_past = {48, "t", no_init, 0, {text(8, 16), terminator()}};
    expect_table_refused(text_past.get());
    const TableOf<1> text_zero = {48, "t", no_init, 0, {text(8, 0, 0), terminator()}};
    expect_table_refused(text_zero.get());
    // Exactly at the end is fine.
    const TableOf<2> at_end = {53, "t", no_init, 0, {fixed(1, 49, 4), text(2, 16), terminator()}};
    uint8_t rec[53] = {};
    EXPECT_EQ(tlvu_table_size(at_end.get(), rec), 8u + 4 + 12 + 8);
}

TEST(TlvuTable, IdsMustBeUnique)
{
    const TableOf<2> t = {8, "t", no_init, 0, {fixed(3, 0, 4), fixed(3, 4, 4), terminator()}};
    expect_table_refused(t.get());
}

TEST(TlvuTable, ListMustBeOneTrailingListWithCountAndElementSize)
{
    const TableOf<3> two = {4, "t", no_init, 0,
                            {fixed(1, 0, 4), list(2, 4, 4, count_at_0, nullptr), list(3, 4, 4, count_at_0, nullptr),
                             terminator()}};
    expect_table_refused(two.get());
    const TableOf<2> inside = {8, "t", no_init, 0, {fixed(1, 0, 4), list(2, 4, 4, count_at_0, nullptr), terminator()}};
    expect_table_refused(inside.get());
    const TableOf<2> no_count = {4, "t", no_init, 0, {fixed(1, 0, 4), list(2, 4, 4, nullptr, nullptr), terminator()}};
    expect_table_refused(no_count.get());
    const TableOf<2> no_size = {4, "t", no_init, 0, {fixed(1, 0, 4), list(2, 4, 0, count_at_0, nullptr), terminator()}};
    expect_table_refused(no_size.get());
}

TEST(TlvuTable, ElementTableMustBeValidFixedSizeAndWithoutList)
{
    const TableOf<2> nested_list = {
        4, "t", no_init, 0, {fixed(17, 0, 4), list(19, 4, 4, count_at_0, ports_tbl.get()), terminator()}};
    expect_table_refused(nested_list.get());
    const TableOf<2> wrong_size = {
        4, "t", no_init, 0, {fixed(17, 0, 4), list(19, 4, 52, count_at_0, del_tbl.get()), terminator()}};
    expect_table_refused(wrong_size.get());
    const TableOf<1> bad_elem = {4, nullptr, no_init, 0, {fixed(1, 0, 4), terminator()}};
    const TableOf<2> bad_nested = {
        4, "t", no_init, 0, {fixed(17, 0, 4), list(19, 4, 4, count_at_0, bad_elem.get()), terminator()}};
    expect_table_refused(bad_nested.get());
}

TEST(TlvuTable, AtMost64Fields)
{
    TableOf<65> t65 = {65 * 4, "t", no_init, 0, {}};
    for (uint32_t i = 0; i < 65; ++i)
        t65.fields[i] = fixed(static_cast<int32_t>(i), i * 4, 4);
    t65.fields[65] = terminator();
    expect_table_refused(t65.get());

    TableOf<64> t64 = {64 * 4, "t", no_init, 0, {}};
    for (uint32_t i = 0; i < 64; ++i)
        t64.fields[i] = fixed(static_cast<int32_t>(i), i * 4, 4);
    t64.fields[64] = terminator();
    std::vector<uint32_t> rec(64);
    for (uint32_t i = 0; i < 64; ++i)
        rec[i] = i * 3;
    Bytes b = encode(t64.get(), rec.data());
    EXPECT_EQ(b.size(), 12u + 64 * 12);
    EXPECT_EQ(decode(t64.get(), b), bytes_of(rec.data(), 256));
}

TEST(TlvuTable, TableWithoutFieldsIsJustAHeader)
{
    const TableOf<0> t = {4, "nothing", nullptr, 0, {terminator()}};
    const uint32_t rec = 0xffffffff;
    const Bytes want = {0x00, 0x00, 0x00, 0x10, 0x01, 0x00, 0x00, 0x07, 'n', 'o', 't', 'h', 'i', 'n', 'g', 0x00};
    EXPECT_EQ(encode(t.get(), &rec), want);
    // Without an init function the record starts zeroed.
    EXPECT_EQ(decode(t.get(), want), Bytes(4, 0x00));
}

} // namespace
} // namespace tlvu_test
