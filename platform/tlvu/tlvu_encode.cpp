// Record to TLV: one pass sizes the buffer (string lengths are the only
// record-dependent sizes), one malloc, one pass writes it.
#include <cstdlib>

#include "tlvu_internal.h"

namespace tlvu {

namespace {

// Encoded bytes of the string fields of one record (the framing is already in
// fixed_bytes). A string that fills its whole buffer has no NUL: refused.
int32_t string_bytes(const Table &t, const uint8_t *rec, uint64_t &bytes)
{
    for (uint32_t i = 0; i < t.nfields; ++i) {
        const vlan_mgr_tlv_field_t &f = t.fields[i];
        if (f.kind != VLAN_MGR_TLV_KIND_STRING)
            continue;
        const size_t n = strnlen(reinterpret_cast<const char *>(rec + f.offset), f.max_size);
        if (n >= f.max_size)
            return TLVU_ERR_STRING_TOO_LONG;
        bytes += pad4(static_cast<uint32_t>(n));
    }
    return TLVU_OK;
}

// Encoded bytes of the list attribute's value: one element attribute per
// element. Any size past 32 bits is an allocation failure.
int32_t list_bytes(const Schema &s, const uint8_t *rec, uint32_t count, uint64_t &bytes)
{
    const vlan_mgr_tlv_field_t &l = *s.top.list;
    const uint64_t per = kAttrHeader + (s.has_elem ? s.elem.fixed_bytes : pad4_64(l.elem_size));
    // The least each element takes, checked before any element is read.
    if (count != 0 && per > kMaxSize / count)
        return TLVU_ERR_NO_MEMORY;
    bytes = per * count;
    if (!s.has_elem || s.elem.nstrings == 0)
        return TLVU_OK;
    const uint8_t *e = rec + l.offset;
    for (uint32_t i = 0; i < count; ++i, e += l.elem_size) {
        int32_t rc = string_bytes(s.elem, e, bytes);
        if (rc != TLVU_OK)
            return rc;
        if (bytes > kMaxSize)
            return TLVU_ERR_NO_MEMORY;
    }
    return TLVU_OK;
}

// Size of the whole buffer (header included) and the list's element count.
int32_t encoded_size(const Schema &s, const uint8_t *rec, uint64_t &size, uint32_t &count)
{
    size = header_size(s.top.name_len) + s.top.fixed_bytes;
    int32_t rc = string_bytes(s.top, rec, size);
    if (rc != TLVU_OK)
        return rc;
    count = 0;
    if (s.top.list != nullptr) {
        count = s.top.list->count_fn(rec);
        uint64_t lb = 0;
        rc = list_bytes(s, rec, count, lb);
        if (rc != TLVU_OK)
            return rc;
        size += kAttrHeader + lb;
    }
    return size > kMaxSize ? TLVU_ERR_NO_MEMORY : TLVU_OK;
}

inline uint8_t *put_attr(uint8_t *o, int32_t id, uint32_t len)
{
    store_be32(o, static_cast<uint32_t>(id));
    store_be32(o + 4, len);
    // Zero the padding first: the word holding it is then partly overwritten
    // by the value.
    if (len & 3u)
        std::memset(o + kAttrHeader + (len & ~3u), 0, 4);
    return o + kAttrHeader;
}

// Writes the attributes of the fixed and string fields of one record; the
// list field, if any, is written by `list` at its place in the order.
template <typename ListWriter>
uint8_t *put_fields(const Table &t, const uint8_t *rec, uint8_t *o, ListWriter &&list)
{
    for (uint32_t i = 0; i < t.nfields; ++i) {
        const vlan_mgr_tlv_field_t &f = t.fields[i];
        const uint8_t *src = rec + f.offset;
        switch (f.kind) {
        case VLAN_MGR_TLV_KIND_FIXED:
            o = put_attr(o, f.id, f.elem_size);
            copy_value(o, src, f.elem_size);
            o += pad4(f.elem_size);
            break;
        case VLAN_MGR_TLV_KIND_STRING: {
            // Checked shorter than max_size by the sizing pass.
            const uint32_t n = static_cast<uint32_t>(strnlen(reinterpret_cast<const char *>(src), f.max_size));
            o = put_attr(o, f.id, n);
            std::memcpy(o, src, n);
            o += pad4(n);
            break;
        }
        default:
            o = list(f, o);
            break;
        }
    }
    return o;
}

struct NoList {
    uint8_t *operator()(const vlan_mgr_tlv_field_t &, uint8_t *o) const { return o; }
};

uint8_t *put_list(const Schema &s, const uint8_t *rec, uint32_t count, uint8_t *o)
{
    const vlan_mgr_tlv_field_t &l = *s.top.list;
    uint8_t *const value = o + kAttrHeader;
    uint8_t *p = value;
    const uint8_t *e = rec + l.offset;
    if (s.has_elem) {
        for (uint32_t i = 0; i < count; ++i, e += l.elem_size) {
            uint8_t *elem = p + kAttrHeader;
            uint8_t *end = put_fields(s.elem, e, elem, NoList{});
            store_be32(p, static_cast<uint32_t>(l.id));
            store_be32(p + 4, static_cast<uint32_t>(end - elem));
            p = end;
        }
    } else {
        for (uint32_t i = 0; i < count; ++i, e += l.elem_size) {
            p = put_attr(p, l.id, l.elem_size);
            copy_value(p, e, l.elem_size);
            p += pad4(l.elem_size);
        }
    }
    store_be32(o, static_cast<uint32_t>(l.id));
    store_be32(o + 4, static_cast<uint32_t>(p - value));
    return p;
}

} // namespace

} // namespace tlvu

using namespace tlvu;

extern "C" uint32_t tlvu_table_size(const vlan_mgr_tlv_table_t *table, const void *record)
{
    if (table == nullptr || record == nullptr)
        return 0;
    Schema s;
    if (check_schema(table, s) != TLVU_OK)
        return 0;
    uint64_t size = 0;
    uint32_t count = 0;
    if (encoded_size(s, static_cast<const uint8_t *>(record), size, count) != TLVU_OK)
        return 0;
    return static_cast<uint32_t>(size);
}

extern "C" int32_t tlvu_table_convert_struct_to_tlv(void **tlv, uint32_t *tlv_len, const vlan_mgr_tlv_table_t *table,
                                                    const void *record, uint32_t headroom, uint32_t *fields_written,
                                                    uint32_t flags)
{
    if (tlv == nullptr || tlv_len == nullptr || table == nullptr || record == nullptr || flags != 0)
        return TLVU_ERR_INVALID_ARG;
    Schema s;
    int32_t rc = check_schema(table, s);
    if (rc != TLVU_OK)
        return rc;
    const uint8_t *rec = static_cast<const uint8_t *>(record);
    uint64_t size = 0;
    uint32_t count = 0;
    rc = encoded_size(s, rec, size, count);
    if (rc != TLVU_OK)
        return rc;
    const uint64_t total = size + headroom;
    if (total > kMaxSize || total > SIZE_MAX)
        return TLVU_ERR_NO_MEMORY;
    uint8_t *buf = static_cast<uint8_t *>(std::malloc(static_cast<size_t>(total)));
    if (buf == nullptr)
        return TLVU_ERR_NO_MEMORY;

    std::memset(buf, 0, headroom);
    uint8_t *p = buf + headroom;
    const uint32_t hdr = header_size(s.top.name_len);
    store_be32(p, static_cast<uint32_t>(size));
    p[4] = TLVU_VERSION;
    p[5] = 0;
    store_be16(p + 6, static_cast<uint16_t>(s.top.name_len));
    std::memset(p + hdr - 4, 0, 4);
    std::memcpy(p + kHeaderFixed, table->type_name, s.top.name_len);
    put_fields(s.top, rec, p + hdr,
               [&](const vlan_mgr_tlv_field_t &, uint8_t *o) { return put_list(s, rec, count, o); });

    *tlv = buf;
    *tlv_len = static_cast<uint32_t>(total);
    if (fields_written != nullptr)
        *fields_written = s.top.nfields;
    return TLVU_OK;
}
