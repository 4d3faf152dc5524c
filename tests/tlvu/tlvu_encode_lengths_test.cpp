// Record to TLV: the lengths of a list's strings, measured while sizing the
// buffer and kept for the writing pass (one byte each, for the first 8192
// strings of buffers up to 256 bytes), and measured again past them.
#include "tlvu_test_util.h"

namespace tlvu_test {
namespace {

void put_be32(Bytes &b, uint32_t v)
{
    b.push_back(static_cast<uint8_t>(v >> 24));
    b.push_back(static_cast<uint8_t>(v >> 16));
    b.push_back(static_cast<uint8_t>(v >> 8));
    b.push_back(static_cast<uint8_t>(v));
}

void put_pad(Bytes &b)
{
    while (b.size() % 4 != 0)
        b.push_back(0);
}

// One attribute as the format lays it out: id, length, value, zero padding.
void put_attr(Bytes &b, uint32_t id, const Bytes &value)
{
    put_be32(b, id);
    put_be32(b, static_cast<uint32_t>(value.size()));
    b.insert(b.end(), value.begin(), value.end());
    put_pad(b);
}

Bytes header(const char *name, uint32_t total)
{
    Bytes b;
    put_be32(b, total);
    b.push_back(1);
    b.push_back(0);
    const uint32_t n = static_cast<uint32_t>(std::strlen(name));
    b.push_back(static_cast<uint8_t>(n >> 8));
    b.push_back(static_cast<uint8_t>(n));
    b.insert(b.end(), name, name + n);
    put_pad(b);
    return b;
}

Bytes le32(uint32_t v) { return {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)}; }

// The name of element i: its length cycles through 0..32, its letters vary.
std::string del_name(uint32_t i)
{
    std::string s(i * 7 % 33, ' ');
    for (size_t c = 0; c < s.size(); ++c)
        s[c] = static_cast<char>('a' + (i + c) % 26);
    return s;
}

TEST(TlvuEncodeLengths, ListOfMoreThan8192NamesIsExactBeforeAndAfterTheKeptLengths)
{
    constexpr uint32_t kCount = 8200; // one name each: 8192 kept, 8 measured again
    Bytes rec(4 + kCount * sizeof(DelRec), 0);
    store<uint32_t>(rec.data(), kCount);
    for (uint32_t i = 0; i < kCount; ++i) {
        DelRec r;
        del_init(&r);
        r.bd = static_cast<uint16_t>(i);
        const uint8_t key[6] = {1, 0, uint8_t(i), uint8_t(i >> 8), 0, 0};
        std::memcpy(r.key, key, 6);
        r.f15 = i * 3;
        const std::string n = del_name(i);
        std::memcpy(r.name, n.c_str(), n.size() + 1);
        r.f31 = 0xA1B2C300u + (i & 0xff);
        std::memcpy(rec.data() + 4 + i * sizeof r, &r, sizeof r);
    }

    // The expected buffer, field by field from the table's layout: BD id
    // (id 9, 2 bytes), key (16, 6), 100 (20, 4), f15 (15, 4), name (8), f31
    // (31, 4), each element an attribute of the list's id 19.
    Bytes list;
    for (uint32_t i = 0; i < kCount; ++i) {
        Bytes e;
        put_attr(e, 9, {uint8_t(i), uint8_t(i >> 8)});
        put_attr(e, 16, {1, 0, uint8_t(i), uint8_t(i >> 8), 0, 0});
        put_attr(e, 20, le32(100));
        put_attr(e, 15, le32(i * 3));
        const std::string n = del_name(i);
        put_attr(e, 8, Bytes(n.begin(), n.end()));
        put_attr(e, 31, le32(0xA1B2C300u + (i & 0xff)));
        put_attr(list, 19, e);
    }
    Bytes body;
    put_attr(body, 17, le32(kCount));
    put_attr(body, 19, list);
    const Bytes head = header("test_del_payload_t", 0);
    Bytes expected = header("test_del_payload_t", static_cast<uint32_t>(head.size() + body.size()));
    expected.insert(expected.end(), body.begin(), body.end());

    EXPECT_EQ(encode(del_payload_tbl.get(), rec.data()), expected);
    EXPECT_EQ(tlvu_table_size(del_payload_tbl.get(), rec.data()), expected.size());
}

// Elements of a 4-byte value and a name in a buffer of 256 bytes (lengths up
// to 255 are kept) or 300 bytes (measured again while writing).
struct NameTables {
    TableOf<2> elem;
    TableOf<2> list;
};

// Fills `t` in place: the list points at the element table inside it.
void name_tables(NameTables &t, uint32_t buffer)
{
    t = {{4 + buffer, "test_long_name_t", nullptr, 0, {fixed(1, 0, 4), text(2, 4, buffer), terminator()}},
         {4, "test_long_names_t", zero4_init, 0, {fixed(17, 0, 4), {}, terminator()}}};
    t.list.fields[1] = list(18, 4, 4 + buffer, count_at_0, t.elem.get());
}

void expect_names_encoded(uint32_t buffer, const std::vector<uint32_t> &lengths)
{
    NameTables t;
    name_tables(t, buffer);
    const uint32_t es = 4 + buffer;
    Bytes rec(4 + lengths.size() * es, 0);
    store<uint32_t>(rec.data(), static_cast<uint32_t>(lengths.size()));
    Bytes list;
    for (size_t i = 0; i < lengths.size(); ++i) {
        uint8_t *e = rec.data() + 4 + i * es;
        store<uint32_t>(e, static_cast<uint32_t>(i + 1));
        Bytes name(lengths[i]);
        for (uint32_t c = 0; c < lengths[i]; ++c)
            name[c] = static_cast<uint8_t>('A' + (c + i) % 26);
        if (!name.empty())
            std::memcpy(e + 4, name.data(), name.size());
        Bytes el;
        put_attr(el, 1, le32(static_cast<uint32_t>(i + 1)));
        put_attr(el, 2, name);
        put_attr(list, 18, el);
    }
    Bytes body;
    put_attr(body, 17, le32(static_cast<uint32_t>(lengths.size())));
    put_attr(body, 18, list);
    const uint32_t head = static_cast<uint32_t>(header("test_long_names_t", 0).size());
    Bytes expected = header("test_long_names_t", static_cast<uint32_t>(head + body.size()));
    expected.insert(expected.end(), body.begin(), body.end());
    EXPECT_EQ(encode(t.list.get(), rec.data()), expected) << "buffer " << buffer;
}

TEST(TlvuEncodeLengths, NamesOfBuffersUpTo256BytesTakeTheirKeptLengths)
{
    expect_names_encoded(256, {255, 0, 1, 254, 3, 128});
}

TEST(TlvuEncodeLengths, NamesOfLargerBuffersAreMeasuredAgain)
{
    // 256 and 299 characters do not fit one byte: kept, they would come out
    // as 0 and 43.
    expect_names_encoded(300, {256, 299, 0, 255, 5});
    expect_names_encoded(257, {256, 0, 17});
}

TEST(TlvuEncodeLengths, NameWithoutNulPastTheFirstElementAllocatesNothing)
{
    NameTables t;
    name_tables(t, 256);
    Bytes rec(4 + 3 * 260, 0);
    store<uint32_t>(rec.data(), 3);
    std::memset(rec.data() + 4 + 2 * 260 + 4, 'x', 256); // element 2: no NUL
    const long allocs = tp::alloc_calls();
    void *tlv = reinterpret_cast<void *>(1);
    uint32_t len = 7;
    EXPECT_EQ(tlvu_table_convert_struct_to_tlv(&tlv, &len, t.list.get(), rec.data(), 0, nullptr, 0),
              static_cast<int32_t>(TLVU_ERR_STRING_TOO_LONG));
    EXPECT_EQ(tp::alloc_calls(), allocs);
    EXPECT_EQ(tlv, reinterpret_cast<void *>(1));
    EXPECT_EQ(len, 7u);
    EXPECT_EQ(tp::live_allocs(), 0L);
}

} // namespace
} // namespace tlvu_test
