// Record to TLV: a first pass sizes the buffer exactly (the strings' lengths
// are the only sizes that depend on the record), one malloc, and a second
// pass writes it.
#include <cstdlib>

#include "tlvu_internal.h"

namespace tlvu {

namespace {

// Bytes past the end of the TLV that an element's last 8-byte store may touch.
constexpr uint32_t kSpill = 4;

// The lengths of the list's strings as the sizing pass measured them, so that
// the writing pass does not scan each text a second time: one byte each, for
// strings of buffers up to 256 bytes, for the first kLenCache strings of the
// list (the rest are measured again).
constexpr uint32_t kLenCache = 8192;
struct LenCache {
    uint8_t len[kLenCache];
    uint32_t n = 0;      // lengths stored
    bool usable = false; // every string buffer of the element is at most 256 bytes
};

// ---- Sizes ------------------------------------------------------------------

// Encoded bytes of the string fields of one record (their framing is in
// fixed_bytes). A string that fills its whole buffer has no NUL: refused.
int32_t string_bytes(const Table &t, const uint8_t *rec, uint64_t &bytes)
{
    for (uint32_t i = 0; i < t.nfields; ++i) {
        const vlan_mgr_tlv_field_t &f = t.fields[i];
        if (f.kind != VLAN_MGR_TLV_KIND_STRING)
            continue;
        const uint32_t n = text_len(rec + f.offset, f.max_size);
        if (n >= f.max_size)
            return TLVU_ERR_STRING_TOO_LONG;
        bytes += pad4(n);
    }
    return TLVU_OK;
}

// Bytes of the header, the fixed and string fields and the list attribute's
// framing: everything but the list's elements.
int32_t top_bytes(const Schema &s, const uint8_t *rec, uint64_t &bytes)
{
    bytes = header_size(s.top.name_len) + s.top.fixed_bytes + (s.top.list != nullptr ? kAttrHeader : 0);
    return string_bytes(s.top, rec, bytes);
}

// Bytes of one element attribute, its strings aside.
uint64_t element_bytes(const Schema &s)
{
    return kAttrHeader + (s.has_elem ? s.elem.fixed_bytes : pad4_64(s.top.list->elem_size));
}

// Exact bytes of the list's elements. The least each element takes is
// checked against 32 bits before any element is read.
int32_t list_bytes(const Schema &s, const uint8_t *rec, uint32_t count, uint64_t &bytes, LenCache *cache)
{
    const uint64_t per = element_bytes(s);
    if (count != 0 && per > kMaxSize / count)
        return TLVU_ERR_NO_MEMORY;
    bytes = per * count;
    if (!s.has_elem || s.elem.nstrings == 0)
        return TLVU_OK;
    // Only the strings vary: their offsets and buffer sizes, gathered once.
    uint32_t off[TLVU_MAX_FIELDS], max[TLVU_MAX_FIELDS], n = 0;
    bool small = true;
    for (uint32_t i = 0; i < s.elem.nfields; ++i)
        if (s.elem.fields[i].kind == VLAN_MGR_TLV_KIND_STRING) {
            off[n] = s.elem.fields[i].offset;
            max[n] = s.elem.fields[i].max_size;
            small = small && max[n] <= 256;
            ++n;
        }
    uint8_t *keep = nullptr;
    uint32_t room = 0;
    if (cache != nullptr && small) {
        cache->usable = true;
        cache->n = 0;
        keep = cache->len;
        room = kLenCache;
    }
    const uint32_t es = s.top.list->elem_size;
    const uint8_t *e = rec + s.top.list->offset;
    for (uint32_t i = 0; i < count; ++i, e += es) {
        for (uint32_t k = 0; k < n; ++k) {
            const uint32_t len = text_len(e + off[k], max[k]);
            if (len >= max[k])
                return TLVU_ERR_STRING_TOO_LONG;
            bytes += pad4(len);
            if (room != 0) {
                *keep++ = static_cast<uint8_t>(len); // len < max <= 256
                --room;
            }
        }
        if (bytes > kMaxSize)
            return TLVU_ERR_NO_MEMORY;
    }
    if (keep != nullptr)
        cache->n = kLenCache - room;
    return TLVU_OK;
}

uint32_t list_count(const Schema &s, const uint8_t *rec)
{
    return s.top.list != nullptr ? s.top.list->count_fn(rec) : 0;
}

// Exact size of the whole buffer.
int32_t encoded_size(const Schema &s, const uint8_t *rec, uint64_t &size, LenCache *cache)
{
    int32_t rc = top_bytes(s, rec, size);
    if (rc != TLVU_OK)
        return rc;
    if (s.top.list != nullptr) {
        uint64_t lb = 0;
        rc = list_bytes(s, rec, list_count(s, rec), lb, cache);
        if (rc != TLVU_OK)
            return rc;
        size += lb;
    }
    return size > kMaxSize ? TLVU_ERR_NO_MEMORY : TLVU_OK;
}

// ---- Writing ----------------------------------------------------------------

// A fixed field of W <= 8 bytes: the constant header, then the value in a
// zeroed slot of 4 or 8 bytes (the slot's spare bytes are the padding).
template <uint32_t W> inline uint8_t *put_small(const Op &op, const uint8_t *src, uint8_t *o)
{
    std::memcpy(o, &op.hdr, 8);
    if constexpr (W <= 4) {
        const uint32_t v = load_zext<W, uint32_t>(src);
        std::memcpy(o + 8, &v, 4);
        return o + 12;
    } else {
        const uint64_t v = load_zext<W, uint64_t>(src);
        std::memcpy(o + 8, &v, 8);
        return o + 16;
    }
}

// One attribute of one operation; nullptr for a string without its NUL.
inline uint8_t *put_op(const Op &op, const uint8_t *rec, uint8_t *o)
{
    const uint8_t *src = rec + op.off;
    switch (op.code) {
    case 1: return put_small<1>(op, src, o);
    case 2: return put_small<2>(op, src, o);
    case 3: return put_small<3>(op, src, o);
    case 4: return put_small<4>(op, src, o);
    case 5: return put_small<5>(op, src, o);
    case 6: return put_small<6>(op, src, o);
    case 7: return put_small<7>(op, src, o);
    case 8: return put_small<8>(op, src, o);
    case kOpBig:
        std::memcpy(o, &op.hdr, 8);
        if (op.w & 3u)
            std::memset(o + kAttrHeader + (op.w & ~3u), 0, 4); // the padding's word, before the value
        std::memcpy(o + kAttrHeader, src, op.w);
        return o + op.adv;
    default: {
        const uint32_t n = text_len(src, op.w);
        if (n >= op.w)
            return nullptr;
        std::memcpy(o, &op.id_be, 4);
        store_be32(o + 4, n);
        if (n & 3u)
            std::memset(o + kAttrHeader + (n & ~3u), 0, 4);
        copy_bytes(o + kAttrHeader, src, n);
        return o + kAttrHeader + pad4(n);
    }
    }
}

// A fixed field of at most 8 bytes that may be loaded 8 bytes at a time, at a
// constant place in its element's value: its attribute header, the mask of
// its value's bytes in an 8-byte load, its offset in the element and the
// offset of its attribute in the element's value.
struct WideOp {
    uint64_t hdr;
    uint64_t mask;
    uint32_t off;
    uint32_t at;
};

// Writes the list attribute: one element attribute per element.
uint8_t *put_list(const Schema &s, const uint8_t *rec, uint32_t count, uint8_t *o, const LenCache &cache)
{
    const vlan_mgr_tlv_field_t &l = *s.top.list;
    uint8_t *const value = o + kAttrHeader;
    uint8_t *p = value;
    const uint8_t *e = rec + l.offset;
    if (s.has_elem) {
        Plan plan;
        make_plan(s.elem, plan);
        const uint32_t id_be = from_be32(static_cast<uint32_t>(l.id));
        const uint32_t nops = plan.n; // a local: the stores could alias the plan
        // The element's leading wide fields have the same place in every
        // element: their stores do not wait for one another.
        WideOp wide[TLVU_MAX_FIELDS];
        uint32_t nwide = 0, wide_bytes = 0;
        while (nwide < nops && plan.ops[nwide].wide) {
            const Op &op = plan.ops[nwide];
            wide[nwide++] = {op.hdr, op.mask, op.off, wide_bytes};
            wide_bytes += op.adv;
        }
        const uint8_t *lens = cache.usable ? cache.len : nullptr;
        uint32_t nlens = cache.usable ? cache.n : 0;
        for (uint32_t i = 0; i < count; ++i, e += l.elem_size) {
            uint8_t *q = p + kAttrHeader;
            // One 8-byte load per field, masked to the value: the slot's
            // padding comes out zero, and the 4 bytes a 4-byte slot spills
            // over are rewritten by whatever follows (the buffer has kSpill
            // bytes to spare for the last one).
            for (uint32_t k = 0; k < nwide; ++k) {
                const WideOp &w = wide[k];
                uint64_t v;
                std::memcpy(&v, e + w.off, 8);
                v &= w.mask;
                std::memcpy(q + w.at, &w.hdr, 8);
                std::memcpy(q + w.at + 8, &v, 8);
            }
            q += wide_bytes;
            for (uint32_t k = nwide; k < nops; ++k) {
                const Op &op = plan.ops[k];
                if (op.wide) {
                    uint64_t v;
                    std::memcpy(&v, e + op.off, 8);
                    v &= op.mask;
                    std::memcpy(q, &op.hdr, 8);
                    std::memcpy(q + 8, &v, 8);
                    q += op.adv;
                    continue;
                }
                if (op.code == kOpText && nlens != 0) {
                    // Measured, and its NUL found, by the sizing pass.
                    const uint32_t n = *lens++;
                    --nlens;
                    std::memcpy(q, &op.id_be, 4);
                    store_be32(q + 4, n);
                    if (n & 3u)
                        std::memset(q + kAttrHeader + (n & ~3u), 0, 4);
                    copy_bytes(q + kAttrHeader, e + op.off, n);
                    q += kAttrHeader + pad4(n);
                    continue;
                }
                q = put_op(op, e, q);
                if (q == nullptr)
                    return nullptr;
            }
            std::memcpy(p, &id_be, 4);
            store_be32(p + 4, static_cast<uint32_t>(q - p - kAttrHeader));
            p = q;
        }
    } else {
        const Op op = fixed_op(l.id, 0, l.elem_size, 0);
        for (uint32_t i = 0; i < count; ++i, e += l.elem_size)
            p = put_op(op, e, p);
    }
    store_be32(o, static_cast<uint32_t>(l.id));
    store_be32(o + 4, static_cast<uint32_t>(p - value));
    return p;
}

// Writes the attributes of the top-level fields in the table's order.
uint8_t *put_top(const Schema &s, const uint8_t *rec, uint32_t count, uint8_t *o, const LenCache &cache)
{
    for (uint32_t i = 0; i < s.top.nfields && o != nullptr; ++i) {
        const vlan_mgr_tlv_field_t &f = s.top.fields[i];
        switch (f.kind) {
        case VLAN_MGR_TLV_KIND_FIXED:
            o = put_op(fixed_op(f.id, f.offset, f.elem_size, i), rec, o);
            break;
        case VLAN_MGR_TLV_KIND_STRING: {
            Op op{};
            op.id_be = from_be32(static_cast<uint32_t>(f.id));
            op.off = f.offset;
            op.w = f.max_size;
            op.code = kOpText;
            o = put_op(op, rec, o);
            break;
        }
        default:
            o = put_list(s, rec, count, o, cache);
            break;
        }
    }
    return o;
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
    if (encoded_size(s, static_cast<const uint8_t *>(record), size, nullptr) != TLVU_OK)
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

    // The exact size: one look at each element's strings before writing.
    uint64_t size = 0;
    LenCache cache;
    rc = encoded_size(s, rec, size, &cache);
    if (rc != TLVU_OK)
        return rc;
    const uint32_t count = list_count(s, rec);
    const uint64_t total = size + headroom;
    if (total > kMaxSize || total + kSpill > SIZE_MAX)
        return TLVU_ERR_NO_MEMORY;
    uint8_t *buf = static_cast<uint8_t *>(std::malloc(static_cast<size_t>(total + kSpill)));
    if (buf == nullptr)
        return TLVU_ERR_NO_MEMORY;

    std::memset(buf, 0, headroom);
    uint8_t *p = buf + headroom;
    const uint32_t hdr = header_size(s.top.name_len);
    p[4] = TLVU_VERSION;
    p[5] = 0;
    store_be16(p + 6, static_cast<uint16_t>(s.top.name_len));
    std::memset(p + hdr - 4, 0, 4);
    std::memcpy(p + kHeaderFixed, table->type_name, s.top.name_len);
    uint8_t *end = put_top(s, rec, count, p + hdr, cache);
    if (end == nullptr) {
        std::free(buf);
        return TLVU_ERR_STRING_TOO_LONG;
    }
    store_be32(p, static_cast<uint32_t>(end - p));
    *tlv = buf;
    *tlv_len = static_cast<uint32_t>(total);
    if (fields_written != nullptr)
        *fields_written = s.top.nfields;
    return TLVU_OK;
}
