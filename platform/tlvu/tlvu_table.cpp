// Checks of the schema tables and of a buffer's header. Every call checks the
// tables it is given (a few dozen descriptors) instead of trusting them or
// remembering them: nothing is kept between calls.
#include "tlvu_internal.h"

#include <utility>

namespace tlvu {

namespace {

bool fits(uint64_t offset, uint64_t width, uint64_t size) { return offset + width <= size; }

} // namespace

int32_t check_table(const vlan_mgr_tlv_table_t *table, Table &out, bool element)
{
    if (table == nullptr || table->type_name == nullptr || table->size == 0)
        return TLVU_ERR_BAD_TABLE;
    const size_t name_len = strnlen(table->type_name, TLVU_MAX_TYPE_NAME + 1);
    if (name_len == 0 || name_len > TLVU_MAX_TYPE_NAME)
        return TLVU_ERR_BAD_TABLE;

    Table t;
    t.t = table;
    t.fields = table->fields;
    t.name_len = static_cast<uint32_t>(name_len);
    uint32_t n = 0;
    for (;; ++n) {
        const vlan_mgr_tlv_field_t &f = table->fields[n];
        if (f.id == -1)
            break;
        if (n == TLVU_MAX_FIELDS)
            return TLVU_ERR_BAD_TABLE; // no terminator within the limit
        for (uint32_t i = 0; i < n; ++i)
            if (table->fields[i].id == f.id)
                return TLVU_ERR_BAD_TABLE;
        switch (f.kind) {
        case VLAN_MGR_TLV_KIND_FIXED:
            if (f.elem_size == 0 || !fits(f.offset, f.elem_size, table->size))
                return TLVU_ERR_BAD_TABLE;
            t.fixed_bytes += kAttrHeader + pad4_64(f.elem_size);
            break;
        case VLAN_MGR_TLV_KIND_STRING:
            if (f.max_size == 0 || !fits(f.offset, f.max_size, table->size))
                return TLVU_ERR_BAD_TABLE;
            t.fixed_bytes += kAttrHeader;
            ++t.nstrings;
            break;
        case VLAN_MGR_TLV_KIND_LIST:
            // One list, trailing the fixed part; elements have a size; an
            // element cannot itself be variable.
            if (element || t.list != nullptr || f.offset != table->size || f.elem_size == 0 ||
                f.count_fn == nullptr)
                return TLVU_ERR_BAD_TABLE;
            t.list = &f;
            break;
        default:
            return TLVU_ERR_BAD_TABLE;
        }
    }
    t.nfields = n;
    out = t;
    return TLVU_OK;
}

int32_t check_schema(const vlan_mgr_tlv_table_t *table, Schema &out)
{
    int32_t rc = check_table(table, out.top, false);
    if (rc != TLVU_OK)
        return rc;
    out.has_elem = false;
    const vlan_mgr_tlv_field_t *list = out.top.list;
    if (list != nullptr && list->nested != nullptr) {
        rc = check_table(list->nested, out.elem, true);
        if (rc != TLVU_OK)
            return rc;
        if (list->nested->size != list->elem_size)
            return TLVU_ERR_BAD_TABLE;
        out.has_elem = true;
    }
    return TLVU_OK;
}

void make_plan(const Table &t, Plan &plan)
{
    plan.n = t.nfields;
    // Coverage: the fields' byte ranges, sorted by offset, must join up from
    // 0 to the record's size (at most 64 fields: a simple sort will do).
    uint32_t start[TLVU_MAX_FIELDS], end[TLVU_MAX_FIELDS];
    for (uint32_t i = 0; i < t.nfields; ++i) {
        const vlan_mgr_tlv_field_t &f = t.fields[i];
        if (f.kind == VLAN_MGR_TLV_KIND_STRING) {
            Op op{};
            op.id_be = from_be32(static_cast<uint32_t>(f.id));
            op.off = f.offset;
            op.w = f.max_size;
            op.code = kOpText;
            op.field = static_cast<uint8_t>(i);
            plan.ops[i] = op;
        } else {
            plan.ops[i] = fixed_op(f.id, f.offset, f.elem_size, i);
        }
        plan.ops[i].wide = plan.ops[i].code <= 8 && uint64_t{f.offset} + 8 <= t.t->size;
        start[i] = plan.ops[i].off;
        end[i] = plan.ops[i].off + plan.ops[i].w;
        for (uint32_t j = i; j > 0 && start[j - 1] > start[j]; --j) {
            std::swap(start[j - 1], start[j]);
            std::swap(end[j - 1], end[j]);
        }
    }
    uint32_t reach = 0;
    for (uint32_t i = 0; i < t.nfields && start[i] <= reach; ++i)
        reach = end[i] > reach ? end[i] : reach;
    plan.covered = reach >= t.t->size;
    plan.nsmall = 0;
    plan.small_bytes = 0;
    while (plan.nsmall < plan.n && plan.ops[plan.nsmall].code <= 8) {
        const Op &op = plan.ops[plan.nsmall];
        plan.small[plan.nsmall++] = {op.hdr, op.off, op.w, op.pad_lo, op.pad_hi};
        plan.small_bytes += op.adv;
    }
}

int32_t parse_header(const uint8_t *p, uint32_t tlv_len, const Table &t, uint32_t *total, uint32_t *body)
{
    if (tlv_len != 0 && tlv_len < kHeaderFixed)
        return TLVU_ERR_TRUNCATED;
    const uint32_t len = load_be32(p);
    if (tlv_len != 0 && len > tlv_len)
        return TLVU_ERR_TRUNCATED;
    if (p[4] != TLVU_VERSION || p[5] != 0)
        return TLVU_ERR_BAD_HEADER;
    const uint32_t name_len = load_be16(p + 6);
    const uint32_t hdr = header_size(name_len);
    if (len < hdr)
        return TLVU_ERR_BAD_HEADER; // the length word must cover the header itself
    if (name_len != t.name_len || std::memcmp(p + kHeaderFixed, t.t->type_name, name_len) != 0)
        return TLVU_ERR_WRONG_TYPE;
    for (uint32_t k = kHeaderFixed + name_len; k < hdr; ++k)
        if (p[k] != 0)
            return TLVU_ERR_BAD_PADDING;
    *total = len;
    *body = hdr;
    return TLVU_OK;
}

} // namespace tlvu
