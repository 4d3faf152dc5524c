// Internals shared by the TLV utility's source units: byte access to the
// framing words, the per-call view of a checked schema table, the header and
// the attribute framing. See docs/tlv.md for the encoding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "tlvu.h"

namespace tlvu {

constexpr uint32_t kAttrHeader = 8;   // field id, value length
constexpr uint32_t kHeaderFixed = 8;  // total length, version, reserved, name length
constexpr uint32_t kMaxSize = UINT32_MAX; // every buffer and record size fits 32 bits

// Framing words are big-endian; values are copied as they stand.
inline uint32_t from_be32(uint32_t v)
{
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    return __builtin_bswap32(v);
#else
    return v;
#endif
}

inline uint32_t load_be32(const uint8_t *p)
{
    uint32_t v;
    std::memcpy(&v, p, 4);
    return from_be32(v);
}

inline void store_be32(uint8_t *p, uint32_t v)
{
    v = from_be32(v);
    std::memcpy(p, &v, 4);
}

inline uint16_t load_be16(const uint8_t *p) { return static_cast<uint16_t>(p[0] << 8 | p[1]); }

inline void store_be16(uint8_t *p, uint16_t v)
{
    p[0] = static_cast<uint8_t>(v >> 8);
    p[1] = static_cast<uint8_t>(v);
}

// Rounds up to a multiple of 4. Callers keep n below 2^32 - 3 (32-bit form) or
// use the 64-bit form.
inline uint32_t pad4(uint32_t n) { return (n + 3u) & ~3u; }
inline uint64_t pad4_64(uint64_t n) { return (n + 3u) & ~uint64_t{3}; }

// Copies one value. The common widths become plain moves instead of a call:
// a record of a dozen 2- and 4-byte fields is copied field by field.
inline void copy_value(uint8_t *dst, const uint8_t *src, uint32_t w)
{
    switch (w) {
    case 1: *dst = *src; break;
    case 2: std::memcpy(dst, src, 2); break;
    case 4: std::memcpy(dst, src, 4); break;
    case 6: std::memcpy(dst, src, 6); break;
    case 8: std::memcpy(dst, src, 8); break;
    default: std::memcpy(dst, src, w); break;
    }
}

// Reads W <= 8 bytes into the low-addressed end of a zeroed word: stored
// back, the word gives the W bytes followed by zero bytes. Built from whole
// loads and shifts (a byte-wise build through memory stalls the store).
template <uint32_t W, typename S> inline S load_zext(const uint8_t *src)
{
    static_assert(W >= 1 && W <= sizeof(S));
    if constexpr (W == sizeof(S) || W == 1 || W == 2 || W == 4) {
        using U = std::conditional_t<W == 1, uint8_t, std::conditional_t<W == 2, uint16_t,
                  std::conditional_t<W == 4, uint32_t, S>>>;
        U u;
        std::memcpy(&u, src, sizeof u);
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
        return static_cast<S>(u);
#else
        return static_cast<S>(static_cast<S>(u) << (8 * (sizeof(S) - sizeof(U))));
#endif
    } else {
        // W = 3, 5, 6, 7: a low part of 2 or 4 bytes and the rest.
        constexpr uint32_t L = W > 4 ? 4 : 2;
        const S lo = load_zext<L, S>(src);
        const S hi = load_zext<W - L, S>(src + L);
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
        return static_cast<S>(lo | static_cast<S>(hi << (8 * L)));
#else
        return static_cast<S>(lo | static_cast<S>(hi >> (8 * L)));
#endif
    }
}

// memcpy and memset for the short runs of a VLAN name: overlapping word
// moves that touch exactly [0, n), without a call. Longer runs use the
// library's functions.
inline void copy_bytes(uint8_t *d, const uint8_t *s, uint32_t n)
{
    if (n >= 8 && n <= 64) {
        uint64_t w;
        for (uint32_t i = 0; i + 8 < n; i += 8) {
            std::memcpy(&w, s + i, 8);
            std::memcpy(d + i, &w, 8);
        }
        std::memcpy(&w, s + n - 8, 8);
        std::memcpy(d + n - 8, &w, 8);
    } else if (n >= 4 && n < 8) {
        uint32_t lo, hi;
        std::memcpy(&lo, s, 4);
        std::memcpy(&hi, s + n - 4, 4);
        std::memcpy(d, &lo, 4);
        std::memcpy(d + n - 4, &hi, 4);
    } else if (n >= 2 && n < 4) {
        uint16_t lo, hi;
        std::memcpy(&lo, s, 2);
        std::memcpy(&hi, s + n - 2, 2);
        std::memcpy(d, &lo, 2);
        std::memcpy(d + n - 2, &hi, 2);
    } else if (n == 1) {
        *d = *s;
    } else if (n > 64) {
        std::memcpy(d, s, n);
    }
}

inline void zero_bytes(uint8_t *d, uint32_t n)
{
    const uint64_t z = 0;
    if (n >= 8 && n <= 64) {
        for (uint32_t i = 0; i + 8 < n; i += 8)
            std::memcpy(d + i, &z, 8);
        std::memcpy(d + n - 8, &z, 8);
    } else if (n >= 4 && n < 8) {
        std::memcpy(d, &z, 4);
        std::memcpy(d + n - 4, &z, 4);
    } else if (n > 64) {
        std::memset(d, 0, n);
    } else {
        for (uint32_t i = 0; i < n; ++i)
            d[i] = 0;
    }
}

// A schema table as one call sees it, after check_table has accepted it.
struct Table {
    const vlan_mgr_tlv_table_t *t = nullptr;
    const vlan_mgr_tlv_field_t *fields = nullptr;
    uint32_t nfields = 0;
    uint32_t name_len = 0;
    const vlan_mgr_tlv_field_t *list = nullptr; // the trailing list, if any
    // Encoded bytes of every attribute whose size does not depend on the
    // record (fixed fields, and the framing of the string fields).
    uint64_t fixed_bytes = 0;
    uint32_t nstrings = 0;
};

// The table and, for a list of records, its element table.
struct Schema {
    Table top;
    Table elem;                 // valid when has_elem
    bool has_elem = false;
};

// Checks a table against the format's rules (docs/tlv.md, "Tables"): name,
// size, kinds, widths inside the record, unique ids, at most one list, which
// lies right after the fixed part; an element table holds no list.
int32_t check_table(const vlan_mgr_tlv_table_t *table, Table &out, bool element);
int32_t check_schema(const vlan_mgr_tlv_table_t *table, Schema &out);

// Index of the descriptor with `id`, or -1. `hint` is the index expected
// next: fields mostly come in the table's order, so the first comparison
// usually hits; it is advanced past the found field.
inline int32_t find_field(const Table &t, int32_t id, uint32_t &hint)
{
    if (hint < t.nfields && t.fields[hint].id == id)
        return static_cast<int32_t>(hint++);
    for (uint32_t i = 0; i < t.nfields; ++i)
        if (t.fields[i].id == id) {
            hint = i + 1;
            return static_cast<int32_t>(i);
        }
    return -1;
}

inline uint32_t header_size(uint32_t name_len) { return kHeaderFixed + pad4(name_len); }

// Checks the header of a whole buffer against the table. tlv_len 0: the length
// is the header's. On success *total is the buffer's length and *body the
// offset of its first attribute.
int32_t parse_header(const uint8_t *p, uint32_t tlv_len, const Table &t, uint32_t *total, uint32_t *body);

// One attribute of a run [pos, end) of a buffer: its id, value length and the
// offset after its padding. Checks that header, value and padding lie inside
// the run and that the padding is zero. Requires pos <= end.
struct Attr {
    int32_t id;
    uint32_t len;
    uint32_t next;
};

inline int32_t next_attr(const uint8_t *p, uint32_t pos, uint32_t end, Attr &a)
{
    if (end - pos < kAttrHeader)
        return TLVU_ERR_TRUNCATED;
    const uint32_t room = end - pos - kAttrHeader;
    const uint32_t len = load_be32(p + pos + 4);
    if (len > room)
        return TLVU_ERR_TRUNCATED;
    const uint32_t padded = pad4(len); // len < 2^32 - 8: no wrap
    if (padded > room)
        return TLVU_ERR_TRUNCATED;
    const uint8_t *pad = p + pos + kAttrHeader + len;
    for (uint32_t k = 0; k < padded - len; ++k)
        if (pad[k] != 0)
            return TLVU_ERR_BAD_PADDING;
    a.id = static_cast<int32_t>(load_be32(p + pos));
    a.len = len;
    a.next = pos + kAttrHeader + padded;
    return TLVU_OK;
}

// ---- Per-call plans ---------------------------------------------------------
// A list repeats one element table thousands of times, so each call turns
// that table into a small array of operations on its own stack: the attribute
// header of a fixed field is a constant 8-byte pattern, and its width selects
// a copy of constant size. Nothing is kept between calls.

enum OpCode : uint8_t {
    // 1..8: fixed field of that width, value in a 4- or 8-byte slot.
    kOpBig = 9,  // fixed field wider than 8 bytes
    kOpText = 10 // string: length varies
};

struct Op {
    uint64_t hdr;    // the attribute header as it stands in a buffer (fixed fields)
    uint32_t id_be;  // the field id as it stands in a buffer
    uint32_t off;    // offset in the record
    uint32_t w;      // width; buffer size of a string
    uint32_t adv;    // bytes of the whole attribute (fixed fields)
    uint8_t code;
    uint8_t field;   // index of the descriptor in its table
    bool wide;       // width <= 8 and 8 bytes from the offset stay in the record
    uint64_t mask;   // the value's bytes in an 8-byte load (fixed fields <= 8)
    uint32_t pad_lo; // the padding bytes of the value's slot, as masks over
    uint32_t pad_hi; // its first and second 4-byte loads (fixed fields <= 8)
};

struct Plan {
    Op ops[TLVU_MAX_FIELDS];
    uint32_t n = 0;
    // Every byte of the record belongs to some field: a record whose fields
    // are all present needs no defaults.
    bool covered = false;
    // The leading fixed fields of at most 8 bytes, in a compact form for the
    // decoder's short way, and the bytes their attributes take together.
    uint32_t nsmall = 0;
    uint32_t small_bytes = 0;
    struct Small {
        uint64_t hdr;
        uint32_t off;
        uint32_t w;
        uint32_t pad_lo, pad_hi;
    } small[TLVU_MAX_FIELDS];
};

inline uint64_t attr_header(int32_t id, uint32_t len)
{
    uint8_t b[8];
    store_be32(b, static_cast<uint32_t>(id));
    store_be32(b + 4, len);
    uint64_t h;
    std::memcpy(&h, b, 8);
    return h;
}

// An operation for a fixed field or for a plain list element (whose
// attribute looks the same: the list's id and the element's bytes).
inline Op fixed_op(int32_t id, uint32_t off, uint32_t w, uint32_t field)
{
    Op op{};
    op.hdr = attr_header(id, w);
    op.id_be = from_be32(static_cast<uint32_t>(id));
    op.off = off;
    op.w = w;
    op.adv = kAttrHeader + pad4(w);
    op.code = w <= 8 ? static_cast<uint8_t>(w) : static_cast<uint8_t>(kOpBig);
    op.field = static_cast<uint8_t>(field);
    if (w <= 8) {
        uint8_t m[8] = {}, pad[8] = {};
        std::memset(m, 0xff, w);
        std::memcpy(&op.mask, m, 8);
        std::memset(pad + w, 0xff, pad4(w) - w);
        std::memcpy(&op.pad_lo, pad, 4);
        std::memcpy(&op.pad_hi, pad + 4, 4);
    }
    return op;
}

// The plan of a table without a list (an element table).
void make_plan(const Table &t, Plan &plan);

// Length of the text in a buffer of `max` bytes: the offset of its first NUL,
// or `max` when there is none. Reads only inside the buffer, a word at a time.
inline uint32_t text_len(const uint8_t *s, uint32_t max)
{
    uint32_t i = 0;
    for (; i + 8 <= max; i += 8) {
        uint64_t w;
        std::memcpy(&w, s + i, 8);
#if __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
        w = __builtin_bswap64(w);
#endif
        // The lowest flagged byte is the first zero byte (the flags above it
        // may be false).
        const uint64_t z = (w - 0x0101010101010101ull) & ~w & 0x8080808080808080ull;
        if (z != 0)
            return i + static_cast<uint32_t>(__builtin_ctzll(z)) / 8;
    }
    for (; i < max; ++i)
        if (s[i] == 0)
            return i;
    return max;
}

} // namespace tlvu
