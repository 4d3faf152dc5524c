// Walking a buffer's attributes without decoding it: the iterator and the
// single-field lookup.
#include "tlvu_internal.h"

using namespace tlvu;

extern "C" int32_t tlvu_field_itr_init(tlvu_field_itr_t *itr, const void *tlv, uint32_t tlv_len,
                                       const vlan_mgr_tlv_table_t *table, uint32_t flags, uint16_t depth)
{
    if (itr == nullptr || tlv == nullptr || table == nullptr || flags != 0 || depth > TLVU_MAX_DEPTH)
        return TLVU_ERR_INVALID_ARG;
    // The whole schema is checked, as by the conversions: a table that they
    // refuse is refused here too.
    Schema s;
    int32_t rc = check_schema(table, s);
    if (rc != TLVU_OK)
        return rc;
    const Table &t = s.top;
    const uint8_t *p = static_cast<const uint8_t *>(tlv);
    uint32_t len = tlv_len, pos = 0;
    if (depth == 0) {
        rc = parse_header(p, tlv_len, t, &len, &pos);
        if (rc != TLVU_OK)
            return rc;
    }
    itr->buf = p;
    itr->len = len;
    itr->pos = pos;
    itr->table = table;
    itr->flags = flags;
    itr->depth = depth;
    return TLVU_OK;
}

extern "C" int32_t tlvu_field_itr_get_next(tlvu_field_itr_t *itr, tlvu_field_t *field)
{
    if (itr == nullptr || field == nullptr || itr->buf == nullptr || itr->table == nullptr || itr->pos > itr->len)
        return TLVU_ERR_INVALID_ARG;
    if (itr->pos == itr->len)
        return TLVU_END;
    Attr a;
    int32_t rc = next_attr(itr->buf, itr->pos, itr->len, a);
    if (rc != TLVU_OK)
        return rc;
    // The table was checked by tlvu_field_itr_init: it ends within
    // TLVU_MAX_FIELDS descriptors.
    const vlan_mgr_tlv_field_t *desc = nullptr;
    for (const vlan_mgr_tlv_field_t *f = itr->table->fields; f->id != -1; ++f)
        if (f->id == a.id) {
            desc = f;
            break;
        }
    field->id = a.id;
    field->len = a.len;
    field->value = itr->buf + itr->pos + kAttrHeader;
    field->desc = desc;
    itr->pos = a.next;
    return TLVU_OK;
}

extern "C" int32_t tlvu_get_field(const void *tlv, uint32_t tlv_len, int32_t field_id, void *value,
                                  uint32_t *value_len, const vlan_mgr_tlv_table_t *table)
{
    if (tlv == nullptr || value_len == nullptr || table == nullptr || (value == nullptr && *value_len != 0))
        return TLVU_ERR_INVALID_ARG;
    Schema s;
    int32_t rc = check_schema(table, s);
    if (rc != TLVU_OK)
        return rc;
    const Table &t = s.top;
    const uint8_t *p = static_cast<const uint8_t *>(tlv);
    uint32_t total = 0, pos = 0;
    rc = parse_header(p, tlv_len, t, &total, &pos);
    if (rc != TLVU_OK)
        return rc;
    Attr a;
    for (; pos < total; pos = a.next) {
        rc = next_attr(p, pos, total, a);
        if (rc != TLVU_OK)
            return rc;
        if (a.id != field_id)
            continue;
        uint32_t hint = 0;
        const int32_t i = find_field(t, a.id, hint);
        const bool text = i >= 0 && t.fields[i].kind == VLAN_MGR_TLV_KIND_STRING;
        const uint64_t need = uint64_t{a.len} + (text ? 1 : 0);
        if (need > *value_len) { // a.len < 2^32 - 8: the NUL's byte still fits 32 bits
            *value_len = static_cast<uint32_t>(need);
            return TLVU_ERR_BUFFER_TOO_SMALL;
        }
        uint8_t *out = static_cast<uint8_t *>(value);
        if (a.len != 0)
            std::memcpy(out, p + pos + kAttrHeader, a.len);
        if (text)
            out[a.len] = 0;
        *value_len = a.len;
        return TLVU_OK;
    }
    return TLVU_ERR_NOT_FOUND;
}
