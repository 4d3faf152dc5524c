// Helpers of the TLV tests: owned malloc'd buffers, exact-size heap copies
// (so that AddressSanitizer sees the end of a cut buffer), and the TLV
// framing written out by hand for literal expected buffers.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include <vlan_mgr/tlv.h>

#include "test_platform.h"

namespace tlvtest {

using Bytes = std::vector<uint8_t>;

// Result codes of the TLV utility that the tests provoke.
constexpr int32_t kInvalidArg = 0x411B0001;
constexpr int32_t kNoMemory = 0x411B0002;
constexpr int32_t kTruncated = 0x411B0004;
constexpr int32_t kWrongType = 0x411B0006;
constexpr int32_t kBadLength = 0x411B0007;
constexpr int32_t kStringTooLong = 0x411B0008;
constexpr int32_t kCountMismatch = 0x411B000A;

// Frees a malloc'd block at the end of a scope.
struct Freer {
    void *p = nullptr;
    Freer() = default;
    explicit Freer(void *q) : p(q) {}
    Freer(const Freer &) = delete;
    Freer &operator=(const Freer &) = delete;
    ~Freer() { std::free(p); }
};

inline Bytes bytes_of(const void *p, size_t n)
{
    const uint8_t *b = static_cast<const uint8_t *>(p);
    return Bytes(b, b + n);
}

// A heap copy of exactly n bytes (at least 1 byte is allocated; n may be 0).
struct HeapCopy {
    uint8_t *p;
    HeapCopy(const uint8_t *src, size_t n) : p(static_cast<uint8_t *>(std::malloc(n == 0 ? 1 : n)))
    {
        if (n != 0)
            std::memcpy(p, src, n);
    }
    HeapCopy(const HeapCopy &) = delete;
    HeapCopy &operator=(const HeapCopy &) = delete;
    ~HeapCopy() { std::free(p); }
};

// The error lines the TLV utility printed since the test started.
inline const std::vector<std::string> &errors() { return tp::state().tlvu_errors; }

// Drops the recorded error lines and the memory that holds them, so that a
// test can compare tp::live_allocs() with its value before a call.
inline void drop_errors() { std::vector<std::string>().swap(tp::state().tlvu_errors); }

// Hand-written TLV framing. An attribute is a big-endian id, a big-endian
// value length, the value and zero padding to 4. A buffer is a header
// (big-endian total length, version 1, a zero byte, big-endian name length,
// the type name padded to 4) and its attributes.
struct Attrs {
    Bytes b;
    void be32(uint32_t v)
    {
        for (int s = 24; s >= 0; s -= 8)
            b.push_back(static_cast<uint8_t>(v >> s));
    }
    void pad()
    {
        while (b.size() % 4 != 0)
            b.push_back(0);
    }
    Attrs &attr(int32_t id, const Bytes &value)
    {
        be32(static_cast<uint32_t>(id));
        be32(static_cast<uint32_t>(value.size()));
        b.insert(b.end(), value.begin(), value.end());
        pad();
        return *this;
    }
    Attrs &str(int32_t id, const std::string &text) { return attr(id, Bytes(text.begin(), text.end())); }
};

struct TlvWriter : Attrs {
    explicit TlvWriter(const std::string &type_name)
    {
        be32(0); // total, patched by done()
        b.push_back(1);
        b.push_back(0);
        b.push_back(static_cast<uint8_t>(type_name.size() >> 8));
        b.push_back(static_cast<uint8_t>(type_name.size()));
        b.insert(b.end(), type_name.begin(), type_name.end());
        pad();
    }
    TlvWriter &attr(int32_t id, const Bytes &value)
    {
        Attrs::attr(id, value);
        return *this;
    }
    TlvWriter &str(int32_t id, const std::string &text)
    {
        Attrs::str(id, text);
        return *this;
    }
    Bytes done()
    {
        const uint32_t n = static_cast<uint32_t>(b.size());
        for (int i = 0; i < 4; ++i)
            b[static_cast<size_t>(i)] = static_cast<uint8_t>(n >> (24 - 8 * i));
        return b;
    }
};

// Little-endian bytes of a host-order value (the record's bytes on x86).
inline Bytes le16(uint16_t v) { return {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8)}; }
inline Bytes le32(uint32_t v)
{
    return {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v >> 16),
            static_cast<uint8_t>(v >> 24)};
}
inline Bytes cat(std::initializer_list<Bytes> parts)
{
    Bytes out;
    for (const Bytes &p : parts)
        out.insert(out.end(), p.begin(), p.end());
    return out;
}

} // namespace tlvtest

namespace tlvtest {

// ---- Record images ----------------------------------------------------------

// A VLAN bitmap field: length word 512, then the bits of the listed VLANs.
inline Bytes bitmap(std::initializer_list<uint32_t> vlans)
{
    Bytes b(516, 0);
    b[1] = 0x02; // 512, little-endian
    for (uint32_t v : vlans)
        b[4 + v / 8] |= static_cast<uint8_t>(0x80u >> (v % 8));
    return b;
}
inline Bytes full_bitmap()
{
    Bytes b(516, 0xFF);
    b[0] = 0x00;
    b[1] = 0x02;
    b[2] = 0x00;
    b[3] = 0x00;
    return b;
}
inline void put(void *record, const Bytes &b) { std::memcpy(record, b.data(), b.size()); }

// A record of type R followed by n elements of type E, all starting from zero
// bytes and their init functions, then filled by `fix` and `elem(e, i)`.
// Elements are filled in a local and copied in: they may be unaligned.
template <typename R, typename E, typename Fix, typename Elem>
Bytes with_list(vlan_mgr_tlv_init_fn rinit, vlan_mgr_tlv_init_fn einit, size_t n, Fix fix, Elem elem)
{
    Bytes rec(sizeof(R) + n * sizeof(E), 0);
    R r;
    std::memset(&r, 0, sizeof r);
    rinit(&r);
    fix(r);
    std::memcpy(rec.data(), &r, sizeof r);
    for (size_t i = 0; i < n; ++i) {
        E e;
        std::memset(&e, 0, sizeof e);
        if (einit != nullptr)
            einit(&e);
        elem(e, i);
        std::memcpy(rec.data() + sizeof(R) + i * sizeof(E), &e, sizeof e);
    }
    return rec;
}

// A record without a list.
template <typename R, typename Fix>
Bytes plain(vlan_mgr_tlv_init_fn init, Fix fix)
{
    R r;
    std::memset(&r, 0, sizeof r);
    init(&r);
    fix(r);
    return bytes_of(&r, sizeof r);
}

// A name of n characters (0 to 32), distinct per seed.
inline std::string name_of(size_t n, size_t seed)
{
    std::string s;
    for (size_t i = 0; i < n; ++i)
        s.push_back(static_cast<char>('a' + (i + seed) % 26));
    return s;
}
inline void set_name(char (&dst)[VLAN_MGR_TLV_NAME_SIZE], const std::string &s)
{
    std::memset(dst, 0, sizeof dst);
    std::memcpy(dst, s.data(), s.size() < sizeof dst ? s.size() : sizeof dst);
}

// ---- A builder/parser pair, type-erased -------------------------------------

using BuildFn = int32_t (*)(const void *record, void **tlv, uint32_t *tlv_len);
// *record holds the parser's out before the call and receives it after.
using ParseFn = int32_t (*)(const void *tlv, uint32_t tlv_len, void **record);

template <typename R, int32_t (*B)(const R *, void **, uint32_t *)>
int32_t erase_build(const void *record, void **tlv, uint32_t *tlv_len)
{
    return B(static_cast<const R *>(record), tlv, tlv_len);
}

template <typename R, int32_t (*P)(const void *, uint32_t, R **)>
int32_t erase_parse(const void *tlv, uint32_t tlv_len, void **record)
{
    R *out = static_cast<R *>(*record);
    const int32_t rc = P(tlv, tlv_len, &out);
    *record = out;
    return rc;
}

struct Codec {
    const char *name;   // builder or parser name, for traces
    const char *prefix; // the accessor family that prints refusals
    BuildFn build;
    ParseFn parse;
    bool clears_outs;   // false: the caller's outs are handed over as they stand
};

// Stand-ins for outs that a call must either clear or leave alone.
inline void *sentinel() { return reinterpret_cast<void *>(uintptr_t{0x10}); }
constexpr uint32_t kSentinelLen = 99;

inline std::string refusal(const Codec &c, const char *suffix, const char *code)
{
    return std::string(c.prefix) + suffix + ": ERR " + code + "\n";
}

// The out a failed call leaves: NULL when the call clears it, else as given.
inline void *failed_out(const Codec &c) { return c.clears_outs ? nullptr : sentinel(); }

inline Bytes encode(const Codec &c, const Bytes &record)
{
    void *tlv = nullptr;
    uint32_t len = 0;
    EXPECT_EQ(c.build(record.data(), &tlv, &len), 0) << c.name;
    Freer hold(tlv);
    return tlv != nullptr ? bytes_of(tlv, len) : Bytes{};
}

// Decodes from an exact-size heap copy; `size` bytes of the record are compared.
inline Bytes decode(const Codec &c, const Bytes &tlv, size_t size)
{
    HeapCopy exact(tlv.data(), tlv.size());
    void *out = nullptr;
    EXPECT_EQ(c.parse(exact.p, static_cast<uint32_t>(tlv.size()), &out), 0) << c.name;
    Freer hold(out);
    return out != nullptr ? bytes_of(out, size) : Bytes{};
}

// Encodes and decodes back: equal byte for byte, from an exact-size buffer and
// from an odd address; nothing printed, nothing left allocated.
inline void expect_round_trip(const Codec &c, const Bytes &record)
{
    SCOPED_TRACE(c.name);
    const long base = tp::live_allocs();
    {
        const Bytes tlv = encode(c, record);
        ASSERT_FALSE(tlv.empty());
        EXPECT_EQ(decode(c, tlv, record.size()), record);
        Bytes odd(tlv.size() + 1);
        std::memcpy(odd.data() + 1, tlv.data(), tlv.size());
        void *out = nullptr;
        ASSERT_EQ(c.parse(odd.data() + 1, static_cast<uint32_t>(tlv.size()), &out), 0);
        Freer hold(out);
        EXPECT_EQ(bytes_of(out, record.size()), record);
    }
    EXPECT_TRUE(errors().empty());
    EXPECT_EQ(tp::live_allocs(), base);
}

// The builder writes `expected` and the parser reads it back into `record`.
inline void expect_literal(const Codec &c, const Bytes &record, const Bytes &expected)
{
    SCOPED_TRACE(c.name);
    EXPECT_EQ(encode(c, record), expected);
    EXPECT_EQ(decode(c, expected, record.size()), record);
}

// Every cut of a valid buffer (lengths 1 to size - 1; a length of 0 means "a
// whole buffer, length in its header") fails with the truncation code, one
// line from the accessor, the out cleared or left alone, nothing allocated.
// Long buffers are cut at every length near both ends and every `step` bytes
// in between.
inline void expect_cuts_fail(const Codec &c, const Bytes &tlv, size_t step = 1)
{
    SCOPED_TRACE(c.name);
    const long base = tp::live_allocs();
    for (size_t cut = 1; cut < tlv.size(); cut += (cut < 256 || tlv.size() - cut <= 256) ? 1 : step) {
        HeapCopy h(tlv.data(), cut);
        void *out = sentinel();
        ASSERT_EQ(c.parse(h.p, static_cast<uint32_t>(cut), &out), kTruncated) << "cut at " << cut;
        EXPECT_EQ(out, failed_out(c)) << "cut at " << cut;
        ASSERT_EQ(errors(), std::vector<std::string>{refusal(c, "_to_struct", "0x411b0004")}) << "cut at " << cut;
        drop_errors();
    }
    EXPECT_EQ(tp::live_allocs(), base);
}

// Every single byte of a valid buffer flipped: the parser either succeeds
// (the record is freed) or fails with the out cleared or left alone; a flip
// inside the header always fails. Nothing left allocated.
inline void expect_flips_safe(const Codec &c, const Bytes &tlv)
{
    SCOPED_TRACE(c.name);
    const long base = tp::live_allocs();
    const size_t header = 8 + ((size_t{tlv[6]} << 8 | tlv[7]) + 3) / 4 * 4;
    for (size_t i = 0; i < tlv.size(); ++i) {
        Bytes b = tlv;
        b[i] ^= 0xFF;
        HeapCopy h(b.data(), b.size());
        void *out = sentinel();
        const int32_t rc = c.parse(h.p, static_cast<uint32_t>(b.size()), &out);
        if (rc == 0) {
            EXPECT_GE(i, header);
            std::free(out);
        } else {
            EXPECT_EQ(out, failed_out(c)) << "flip at " << i;
            EXPECT_EQ(errors().size(), 1u) << "flip at " << i;
        }
        drop_errors();
    }
    EXPECT_EQ(tp::live_allocs(), base);
}

// Every allocation of the builder fails once: the allocation code, one line
// from the accessor, the outs cleared or left alone, nothing held; then the
// call succeeds with `expected`.
inline void expect_build_alloc_sweep(const Codec &c, const Bytes &record, const Bytes &expected)
{
    SCOPED_TRACE(c.name);
    drop_errors();
    const long base = tp::live_allocs();
    for (long n = 1;; ++n) {
        ASSERT_LT(n, 8) << "the builder never succeeded";
        void *tlv = sentinel();
        uint32_t len = kSentinelLen;
        tp::fail_alloc_at(n);
        const int32_t rc = c.build(record.data(), &tlv, &len);
        tp::fail_alloc_at(0);
        if (rc == 0) {
            EXPECT_GT(n, 1) << "no allocation failed";
            EXPECT_EQ(bytes_of(tlv, len), expected);
            std::free(tlv);
            break;
        }
        EXPECT_EQ(rc, kNoMemory);
        EXPECT_EQ(tlv, failed_out(c));
        EXPECT_EQ(len, c.clears_outs ? 0u : kSentinelLen);
        EXPECT_EQ(errors(), std::vector<std::string>{refusal(c, "_to_tlv", "0x411b0002")});
        drop_errors();
        EXPECT_EQ(tp::live_allocs(), base);
    }
    EXPECT_TRUE(errors().empty());
    EXPECT_EQ(tp::live_allocs(), base);
}

// The same for the parser, which then yields `record`.
inline void expect_parse_alloc_sweep(const Codec &c, const Bytes &tlv, const Bytes &record)
{
    SCOPED_TRACE(c.name);
    drop_errors();
    const long base = tp::live_allocs();
    for (long n = 1;; ++n) {
        ASSERT_LT(n, 8) << "the parser never succeeded";
        void *out = sentinel();
        tp::fail_alloc_at(n);
        const int32_t rc = c.parse(tlv.data(), static_cast<uint32_t>(tlv.size()), &out);
        tp::fail_alloc_at(0);
        if (rc == 0) {
            EXPECT_GT(n, 1) << "no allocation failed";
            EXPECT_EQ(bytes_of(out, record.size()), record);
            std::free(out);
            break;
        }
        EXPECT_EQ(rc, kNoMemory);
        EXPECT_EQ(out, failed_out(c));
        EXPECT_EQ(errors(), std::vector<std::string>{refusal(c, "_to_struct", "0x411b0002")});
        drop_errors();
        EXPECT_EQ(tp::live_allocs(), base);
    }
    EXPECT_EQ(tp::live_allocs(), base);
}

// A buffer of another record type: the wrong-type code, printed once by the
// accessor; nothing allocated.
inline void expect_foreign_refused(const Codec &c, const Bytes &foreign)
{
    SCOPED_TRACE(c.name);
    drop_errors();
    const long base = tp::live_allocs();
    {
        HeapCopy h(foreign.data(), foreign.size());
        void *out = sentinel();
        EXPECT_EQ(c.parse(h.p, static_cast<uint32_t>(foreign.size()), &out), kWrongType);
        EXPECT_EQ(out, failed_out(c));
        EXPECT_EQ(errors(), std::vector<std::string>{refusal(c, "_to_struct", "0x411b0006")});
        drop_errors();
    }
    EXPECT_EQ(tp::live_allocs(), base);
}

// A NULL record reaches the utility as it is: its invalid-argument code,
// printed once by the accessor, the outs cleared or left alone.
inline void expect_null_record_refused(const Codec &c)
{
    SCOPED_TRACE(c.name);
    drop_errors();
    void *tlv = sentinel();
    uint32_t len = kSentinelLen;
    EXPECT_EQ(c.build(nullptr, &tlv, &len), kInvalidArg);
    EXPECT_EQ(tlv, failed_out(c));
    EXPECT_EQ(len, c.clears_outs ? 0u : kSentinelLen);
    EXPECT_EQ(errors(), std::vector<std::string>{refusal(c, "_to_tlv", "0x411b0001")});
    drop_errors();
}

} // namespace tlvtest
