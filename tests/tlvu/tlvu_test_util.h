// Helpers of the TLV utility's tests: byte vectors, exact-size heap copies
// (so that AddressSanitizer sees the end of a buffer), copies at an odd
// address, and records freed at scope exit.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "test_platform.h"
#include "tlvu.h"
#include "tlvu_test_tables.h"

namespace tlvu_test {

using Bytes = std::vector<uint8_t>;

// A block of the caller's bytes on the heap, exactly as long as they are.
struct HeapCopy {
    uint8_t *p = nullptr;
    size_t n = 0;
    HeapCopy(const uint8_t *src, size_t len) : p(static_cast<uint8_t *>(std::malloc(len ? len : 1))), n(len)
    {
        if (len)
            std::memcpy(p, src, len);
    }
    explicit HeapCopy(const Bytes &b) : HeapCopy(b.data(), b.size()) {}
    ~HeapCopy() { std::free(p); }
    HeapCopy(const HeapCopy &) = delete;
    HeapCopy &operator=(const HeapCopy &) = delete;
};

// The bytes one past an odd address: an unaligned copy.
struct OddCopy {
    std::vector<uint8_t> store;
    explicit OddCopy(const Bytes &b) : store(b.size() + 1)
    {
        std::memcpy(store.data() + 1, b.data(), b.size());
    }
    const uint8_t *data() const { return store.data() + 1; }
    uint32_t size() const { return static_cast<uint32_t>(store.size() - 1); }
};

// Frees what the utility allocated when the test ends.
struct Freer {
    void *p = nullptr;
    ~Freer() { std::free(p); }
};

inline Bytes bytes_of(const void *p, size_t n)
{
    const uint8_t *b = static_cast<const uint8_t *>(p);
    return Bytes(b, b + n);
}

// Encodes a record, expecting success; returns the buffer's bytes.
inline Bytes encode(const vlan_mgr_tlv_table_t *t, const void *rec)
{
    void *buf = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(tlvu_table_convert_struct_to_tlv(&buf, &len, t, rec, 0, nullptr, 0), TLVU_OK);
    Bytes out = bytes_of(buf, buf ? len : 0);
    std::free(buf);
    return out;
}

// Decodes a buffer (from an exact-size heap copy), expecting success; returns
// the record's bytes (its allocation's size, as the struct-size call gives it).
inline Bytes decode(const vlan_mgr_tlv_table_t *t, const Bytes &tlv)
{
    HeapCopy c(tlv);
    uint32_t size = 0;
    EXPECT_EQ(tlvu_table_get_struct_size_from_tlv(&size, c.p, static_cast<uint32_t>(c.n), t), TLVU_OK);
    void *rec = nullptr;
    EXPECT_EQ(tlvu_table_convert_tlv_to_struct(&rec, c.p, static_cast<uint32_t>(c.n), t, 0), TLVU_OK);
    Bytes out = bytes_of(rec, rec ? size : 0);
    std::free(rec);
    return out;
}

// Framing words as they stand in a buffer (big-endian).
inline void be32(Bytes &b, uint32_t v)
{
    for (int s = 24; s >= 0; s -= 8)
        b.push_back(static_cast<uint8_t>(v >> s));
}
inline void put_be32(Bytes &b, size_t at, uint32_t v)
{
    for (int i = 0; i < 4; ++i)
        b[at + i] = static_cast<uint8_t>(v >> (24 - 8 * i));
}
inline uint32_t get_be32(const Bytes &b, size_t at)
{
    return uint32_t{b[at]} << 24 | uint32_t{b[at + 1]} << 16 | uint32_t{b[at + 2]} << 8 | b[at + 3];
}

// Builds buffers by hand: a header for a type name, then attributes.
struct Builder {
    Bytes b;
    explicit Builder(const std::string &type, uint8_t version = 1)
    {
        be32(b, 0);
        b.push_back(version);
        b.push_back(0);
        b.push_back(static_cast<uint8_t>(type.size() >> 8));
        b.push_back(static_cast<uint8_t>(type.size()));
        b.insert(b.end(), type.begin(), type.end());
        while (b.size() % 4)
            b.push_back(0);
    }
    Builder &attr(int32_t id, const Bytes &value)
    {
        be32(b, static_cast<uint32_t>(id));
        be32(b, static_cast<uint32_t>(value.size()));
        b.insert(b.end(), value.begin(), value.end());
        while (b.size() % 4)
            b.push_back(0);
        return *this;
    }
    Builder &u32(int32_t id, uint32_t v) { return attr(id, bytes_of(&v, 4)); }
    Builder &u16(int32_t id, uint16_t v) { return attr(id, bytes_of(&v, 2)); }
    Builder &str(int32_t id, const std::string &s) { return attr(id, Bytes(s.begin(), s.end())); }
    Bytes done()
    {
        put_be32(b, 0, static_cast<uint32_t>(b.size()));
        return b;
    }
};

// The value of one attribute run, for list and element values.
struct Attrs {
    Bytes b;
    Attrs &attr(int32_t id, const Bytes &value)
    {
        be32(b, static_cast<uint32_t>(id));
        be32(b, static_cast<uint32_t>(value.size()));
        b.insert(b.end(), value.begin(), value.end());
        while (b.size() % 4)
            b.push_back(0);
        return *this;
    }
    Attrs &u32(int32_t id, uint32_t v) { return attr(id, bytes_of(&v, 4)); }
    Attrs &u16(int32_t id, uint16_t v) { return attr(id, bytes_of(&v, 2)); }
};

inline DelRec make_del(uint16_t bd, uint16_t vdc, uint32_t vlan, const char *name, uint32_t f31)
{
    DelRec r;
    del_init(&r);
    r.bd = bd;
    std::memcpy(r.key, &vdc, 2);
    std::memcpy(r.key + 2, &vlan, 4);
    std::memset(r.name, 0, sizeof r.name);
    std::memcpy(r.name, name, strnlen(name, sizeof r.name - 1));
    r.f31 = f31;
    return r;
}

inline CreateRec make_create(uint32_t i)
{
    CreateRec r;
    create_init(&r);
    r.bd = static_cast<uint16_t>(i + 1);
    r.f10 = static_cast<uint16_t>(i * 3);
    r.f7 = static_cast<uint16_t>(i ^ 0x5a5a);
    uint16_t vdc = 1;
    uint32_t vlan = i % 4094 + 1;
    std::memcpy(r.key, &vdc, 2);
    std::memcpy(r.key + 2, &vlan, 4);
    r.f6 = i * 7;
    r.f11 = i;
    r.f30 = ~i;
    std::snprintf(r.name, sizeof r.name, "VLAN%04u", vlan);
    return r;
}

// A payload record: the count word then `n` records, in one block.
template <typename Rec> Bytes payload(const std::vector<Rec> &recs)
{
    Bytes b(4 + recs.size() * sizeof(Rec));
    store<uint32_t>(b.data(), static_cast<uint32_t>(recs.size()));
    if (!recs.empty())
        std::memcpy(b.data() + 4, recs.data(), recs.size() * sizeof(Rec));
    return b;
}

} // namespace tlvu_test
