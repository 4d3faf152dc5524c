// Internals shared by the TLV utility's source units: byte access to the
// framing words, the per-call view of a checked schema table, the header and
// the attribute framing. See docs/tlv.md for the encoding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

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

} // namespace tlvu
