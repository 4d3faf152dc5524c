// TLV to record. A first pass checks the framing of the top level and of the
// list's elements and counts the elements, so that the one allocation is
// sized from the bytes present; a second pass fills the record.
#include <cstdlib>

#include "tlvu_internal.h"

namespace tlvu {

namespace {

// What the framing pass learnt about a buffer.
struct Scan {
    uint32_t total = 0;  // the buffer's length
    uint32_t body = 0;   // offset of the first attribute
    uint32_t count = 0;  // elements of the list attribute
};

// Checks the framing of one run of attributes and of the list's element
// attributes, and refuses a known id met twice.
int32_t scan(const Schema &s, const uint8_t *p, uint32_t tlv_len, Scan &out)
{
    int32_t rc = parse_header(p, tlv_len, s.top, &out.total, &out.body);
    if (rc != TLVU_OK)
        return rc;
    uint64_t seen = 0;
    uint32_t hint = 0;
    Attr a;
    for (uint32_t pos = out.body; pos < out.total; pos = a.next) {
        rc = next_attr(p, pos, out.total, a);
        if (rc != TLVU_OK)
            return rc;
        const int32_t i = find_field(s.top, a.id, hint);
        if (i < 0)
            continue;
        if (seen & (uint64_t{1} << i))
            return TLVU_ERR_DUPLICATE_FIELD;
        seen |= uint64_t{1} << i;
        if (&s.top.fields[i] != s.top.list)
            continue;
        const uint32_t end = pos + kAttrHeader + a.len;
        Attr e;
        for (uint32_t q = pos + kAttrHeader; q < end; q = e.next) {
            rc = next_attr(p, q, end, e);
            if (rc != TLVU_OK)
                return rc;
            if (e.id != a.id)
                return TLVU_ERR_BAD_ELEMENT;
            ++out.count; // at most len / 8: cannot wrap
        }
    }
    return TLVU_OK;
}

// Size of the decoded record: fixed part, then the list.
int32_t record_size(const Schema &s, uint32_t count, uint32_t &size)
{
    uint64_t n = s.top.t->size;
    if (s.top.list != nullptr)
        n += uint64_t{count} * s.top.list->elem_size;
    if (n > kMaxSize || n > SIZE_MAX)
        return TLVU_ERR_NO_MEMORY;
    size = static_cast<uint32_t>(n);
    return TLVU_OK;
}

// Stores one fixed or string value into the record.
inline int32_t put_value(const vlan_mgr_tlv_field_t &f, const uint8_t *v, uint32_t len, uint8_t *rec)
{
    uint8_t *dst = rec + f.offset;
    if (f.kind == VLAN_MGR_TLV_KIND_FIXED) {
        if (len != f.elem_size)
            return TLVU_ERR_BAD_LENGTH;
        copy_value(dst, v, len);
        return TLVU_OK;
    }
    // A string travels without its NUL. A text longer than the buffer can
    // hold is cut to its first (buffer size - 1) characters, terminated.
    if (text_len(v, len) != len)
        return TLVU_ERR_BAD_TEXT; // the text would end early: not what was sent
    const uint32_t kept = len < f.max_size ? len : f.max_size - 1;
    copy_bytes(dst, v, kept);
    zero_bytes(dst + kept, f.max_size - kept);
    return TLVU_OK;
}

// Fills a record from the run of attributes [pos, end): framing checked,
// unknown ids skipped, a known id twice refused (`seen` holds the fields
// already filled, and gains the ones filled here). The list attribute, if the
// table has one, is handed to `list`.
template <typename ListReader>
int32_t fill(const Table &t, const uint8_t *p, uint32_t pos, uint32_t end, uint8_t *rec, ListReader &&list,
             uint64_t &seen, uint32_t hint = 0)
{
    Attr a;
    for (; pos < end; pos = a.next) {
        int32_t rc = next_attr(p, pos, end, a);
        if (rc != TLVU_OK)
            return rc;
        const int32_t i = find_field(t, a.id, hint);
        if (i < 0)
            continue;
        if (seen & (uint64_t{1} << i))
            return TLVU_ERR_DUPLICATE_FIELD;
        seen |= uint64_t{1} << i;
        const vlan_mgr_tlv_field_t &f = t.fields[i];
        rc = f.kind == VLAN_MGR_TLV_KIND_LIST ? list(p + pos + kAttrHeader, a.len)
                                              : put_value(f, p + pos + kAttrHeader, a.len, rec);
        if (rc != TLVU_OK)
            return rc;
    }
    return TLVU_OK;
}

struct NoList {
    int32_t operator()(const uint8_t *, uint32_t) const { return TLVU_ERR_BAD_TABLE; }
};

inline uint32_t load32(const uint8_t *p)
{
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}

// Copies a text of n bytes, checking on the way that it holds no NUL (false
// if it does; the destination is then partly written). Whole words while
// they last, the tail as one word that overlaps the last whole one.
inline bool copy_text(uint8_t *d, const uint8_t *s, uint32_t n)
{
    constexpr uint64_t kOnes = 0x0101010101010101ull, kHighs = 0x8080808080808080ull;
    if (n < 8) {
        for (uint32_t i = 0; i < n; ++i) {
            if (s[i] == 0)
                return false;
            d[i] = s[i];
        }
        return true;
    }
    uint64_t zero = 0, w;
    for (uint32_t i = 0; i + 8 <= n; i += 8) {
        std::memcpy(&w, s + i, 8);
        zero |= (w - kOnes) & ~w & kHighs; // non-zero when w has a zero byte
        std::memcpy(d + i, &w, 8);
    }
    std::memcpy(&w, s + n - 8, 8);
    zero |= (w - kOnes) & ~w & kHighs;
    std::memcpy(d + n - 8, &w, 8);
    return zero == 0;
}

// Takes the value of a fixed field whose header matched the operation's and
// whose attribute lies inside the run: the slot's spare bytes must be zero
// padding. A value of 2 to 8 bytes is copied with two loads and two stores
// that overlap as the width needs, so that every width takes the same path.
inline int32_t take_fixed(const Op &op, const uint8_t *val, uint8_t *dst)
{
    const uint32_t w = op.w;
    if (w <= 8) {
        uint32_t pad = load32(val) & op.pad_lo;
        if (w > 4)
            pad |= load32(val + 4) & op.pad_hi;
        if (pad != 0)
            return TLVU_ERR_BAD_PADDING;
        if (w >= 4) {
            const uint32_t lo = load32(val), hi = load32(val + w - 4);
            std::memcpy(dst, &lo, 4);
            std::memcpy(dst + w - 4, &hi, 4);
        } else if (w >= 2) {
            uint16_t lo, hi;
            std::memcpy(&lo, val, 2);
            std::memcpy(&hi, val + w - 2, 2);
            std::memcpy(dst, &lo, 2);
            std::memcpy(dst + w - 2, &hi, 2);
        } else {
            *dst = *val;
        }
        return TLVU_OK;
    }
    for (uint32_t k = w; k < pad4(w); ++k)
        if (val[k] != 0)
            return TLVU_ERR_BAD_PADDING;
    std::memcpy(dst, val, w);
    return TLVU_OK;
}

// Fills one element from its attributes [pos, end) of the list's value v.
// Attributes that come as the encoder writes them (the plan's order, the
// expected lengths) take the short way; from the first one that does not,
// the general walk takes over. With a template (a covered record), the fields
// absent from the element are copied from it afterwards.
__attribute__((always_inline)) inline int32_t fill_element(const Schema &s, const Plan &plan, const uint8_t *v, uint32_t pos, uint32_t end, uint8_t *dst,
                     const uint8_t *tmpl)
{
    // Local copies: the stores into the record could alias the plan.
    const uint32_t nops = plan.n;
    uint32_t k = 0;
    // The leading small fixed fields, when their attributes all fit: no
    // bounds to check one by one, a compact description of each.
    if (end - pos >= plan.small_bytes) {
        const uint32_t nsmall = plan.nsmall;
        const uint8_t *a = v + pos;
        for (; k < nsmall; ++k) {
            const Plan::Small sm = plan.small[k];
            uint64_t h;
            std::memcpy(&h, a, 8);
            if (h != sm.hdr)
                break;
            const uint8_t *val = a + kAttrHeader;
            uint8_t *d = dst + sm.off;
            const uint32_t w = sm.w, lo = load32(val);
            uint32_t pad = lo & sm.pad_lo;
            if (w > 4)
                pad |= load32(val + 4) & sm.pad_hi;
            if (pad != 0)
                return TLVU_ERR_BAD_PADDING;
            if (w >= 4) {
                const uint32_t hi = load32(val + w - 4);
                std::memcpy(d, &lo, 4);
                std::memcpy(d + w - 4, &hi, 4);
                a += w > 4 ? 16 : 12;
            } else {
                if (w >= 2) {
                    uint16_t lo16, hi16;
                    std::memcpy(&lo16, val, 2);
                    std::memcpy(&hi16, val + w - 2, 2);
                    std::memcpy(d, &lo16, 2);
                    std::memcpy(d + w - 2, &hi16, 2);
                } else {
                    *d = *val;
                }
                a += 12;
            }
        }
        pos = static_cast<uint32_t>(a - v);
    }
    for (; k < nops && end - pos >= kAttrHeader; ++k) {
        const Op op = plan.ops[k];
        const uint8_t *a = v + pos;
        uint8_t *d = dst + op.off;
        if (op.code != kOpText) {
            uint64_t h;
            std::memcpy(&h, a, 8);
            if (h != op.hdr || end - pos < op.adv)
                break;
            const int32_t rc = take_fixed(op, a + kAttrHeader, d);
            if (rc != TLVU_OK)
                return rc;
            pos += op.adv;
        } else {
            uint32_t id;
            std::memcpy(&id, a, 4);
            const uint32_t n = load_be32(a + 4);
            const uint32_t room = end - pos - kAttrHeader;
            if (id != op.id_be || n > room || pad4(n) > room)
                break;
            for (uint32_t i = n; i < pad4(n); ++i)
                if (a[kAttrHeader + i] != 0)
                    return TLVU_ERR_BAD_PADDING;
            if (n >= op.w) {
                // Too long for the buffer: checked whole, cut to op.w - 1.
                if (std::memchr(a + kAttrHeader, 0, n) != nullptr)
                    return TLVU_ERR_BAD_TEXT;
                copy_bytes(d, a + kAttrHeader, op.w - 1);
                d[op.w - 1] = 0;
            } else {
                if (!copy_text(d, a + kAttrHeader, n))
                    return TLVU_ERR_BAD_TEXT;
                zero_bytes(d + n, op.w - n);
            }
            pos += kAttrHeader + pad4(n);
        }
    }
    // The short way took the plan's first k fields, in order.
    uint64_t seen = k == 64 ? ~uint64_t{0} : (uint64_t{1} << k) - 1;
    if (pos < end) {
        const int32_t rc = fill(s.elem, v, pos, end, dst, NoList{}, seen, k);
        if (rc != TLVU_OK)
            return rc;
    }
    const uint64_t all = nops == 64 ? ~uint64_t{0} : (uint64_t{1} << nops) - 1;
    if (tmpl != nullptr && seen != all)
        for (uint32_t i = 0; i < nops; ++i)
            if (!(seen & (uint64_t{1} << i)))
                std::memcpy(dst + plan.ops[i].off, tmpl + plan.ops[i].off, plan.ops[i].w);
    return TLVU_OK;
}

// Fills the list's `count` elements (framing checked by scan) from the list
// attribute's value. Element 0, prepared by the element table's init
// function, is the template of the others, so init runs once per call; it is
// filled last. When the element table's fields cover the whole record, an
// element takes from the template only the fields it lacks; otherwise it
// starts as a copy of it.
int32_t fill_list(const Schema &s, const uint8_t *v, uint32_t len, uint32_t count, uint8_t *elems)
{
    const vlan_mgr_tlv_field_t &l = *s.top.list;
    const uint32_t es = l.elem_size;
    Attr e;
    if (!s.has_elem) {
        const Op op = fixed_op(l.id, 0, es, 0);
        uint8_t *dst = elems;
        for (uint32_t q = 0; q < len; q = e.next, dst += es) {
            int32_t rc = next_attr(v, q, len, e);
            if (rc != TLVU_OK)
                return rc;
            if (e.len != es)
                return TLVU_ERR_BAD_LENGTH;
            rc = take_fixed(op, v + q + kAttrHeader, dst);
            if (rc != TLVU_OK)
                return rc;
        }
        return TLVU_OK;
    }
    if (count == 0)
        return TLVU_OK;
    Plan plan;
    make_plan(s.elem, plan);
    Attr first;
    int32_t rc = next_attr(v, 0, len, first);
    if (rc != TLVU_OK)
        return rc;
    uint8_t *dst = elems + es;
    const uint8_t *tmpl = plan.covered ? elems : nullptr;
    for (uint32_t q = first.next; q < len; dst += es) {
        // The element's framing was checked by scan: its length only.
        const uint32_t start = q + kAttrHeader, elen = load_be32(v + q + 4);
        if (!plan.covered)
            std::memcpy(dst, elems, es);
        rc = fill_element(s, plan, v, start, start + elen, dst, tmpl);
        if (rc != TLVU_OK)
            return rc;
        q = start + pad4(elen);
    }
    return fill_element(s, plan, v, kAttrHeader, kAttrHeader + first.len, elems, nullptr);
}

int32_t decode(const Schema &s, const uint8_t *p, const Scan &sc, uint8_t *rec)
{
    const vlan_mgr_tlv_table_t *t = s.top.t;
    std::memset(rec, 0, t->size);
    if (t->init != nullptr && t->init(rec) != 0)
        return TLVU_ERR_INIT_FAILED;
    uint8_t *elems = rec + t->size;
    if (s.has_elem && sc.count != 0) {
        const vlan_mgr_tlv_table_t *et = s.elem.t;
        std::memset(elems, 0, et->size);
        if (et->init != nullptr && et->init(elems) != 0)
            return TLVU_ERR_INIT_FAILED;
    }
    uint64_t seen = 0;
    int32_t rc = fill(
        s.top, p, sc.body, sc.total, rec,
        [&](const uint8_t *v, uint32_t len) { return fill_list(s, v, len, sc.count, elems); }, seen);
    if (rc != TLVU_OK)
        return rc;
    // The caller finds the list through the count function: it must not
    // count more (or fewer) elements than there are.
    if (s.top.list != nullptr && s.top.list->count_fn(rec) != sc.count)
        return TLVU_ERR_COUNT_MISMATCH;
    return TLVU_OK;
}

} // namespace

} // namespace tlvu

using namespace tlvu;

extern "C" int32_t tlvu_table_get_struct_size_from_tlv(uint32_t *size, const void *tlv, uint32_t tlv_len,
                                                       const vlan_mgr_tlv_table_t *table)
{
    if (size == nullptr || tlv == nullptr || table == nullptr)
        return TLVU_ERR_INVALID_ARG;
    Schema s;
    int32_t rc = check_schema(table, s);
    if (rc != TLVU_OK)
        return rc;
    Scan sc;
    rc = scan(s, static_cast<const uint8_t *>(tlv), tlv_len, sc);
    if (rc != TLVU_OK)
        return rc;
    uint32_t n = 0;
    rc = record_size(s, sc.count, n);
    if (rc != TLVU_OK)
        return rc;
    *size = n;
    return TLVU_OK;
}

extern "C" int32_t tlvu_table_convert_tlv_to_struct(void **record, const void *tlv, uint32_t tlv_len,
                                                    const vlan_mgr_tlv_table_t *table, uint32_t flags)
{
    if (record == nullptr || tlv == nullptr || table == nullptr || flags != 0)
        return TLVU_ERR_INVALID_ARG;
    Schema s;
    int32_t rc = check_schema(table, s);
    if (rc != TLVU_OK)
        return rc;
    const uint8_t *p = static_cast<const uint8_t *>(tlv);
    Scan sc;
    rc = scan(s, p, tlv_len, sc);
    if (rc != TLVU_OK)
        return rc;
    uint32_t size = 0;
    rc = record_size(s, sc.count, size);
    if (rc != TLVU_OK)
        return rc;
    uint8_t *rec = static_cast<uint8_t *>(std::malloc(size));
    if (rec == nullptr)
        return TLVU_ERR_NO_MEMORY;
    rc = decode(s, p, sc, rec);
    if (rc != TLVU_OK) {
        std::free(rec);
        return rc;
    }
    *record = rec;
    return TLVU_OK;
}
