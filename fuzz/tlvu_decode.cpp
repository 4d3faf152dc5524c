// Feeds arbitrary bytes to the TLV utility's readers with the test-shaped
// schema tables (a packed record with a string and an unaligned field, payloads
// with lists of records, a plain list, a list at an odd offset, a bitmap, odd
// widths). The first byte picks the table and whether a valid header for it
// is put in front of the remaining bytes (so that most inputs reach the
// attributes); the buffer is an exact-size heap block, so AddressSanitizer
// sees any read past its end.
//
// Checked: decoding and the struct-size call agree; a decoded record encodes
// again and decodes to the same bytes; the iterator and tlvu_get_field never
// fail differently from how the framing allows.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "tlvu_test_tables.h"

namespace {

using namespace tlvu_test;

const vlan_mgr_tlv_table_t *table_at(uint8_t i)
{
    const vlan_mgr_tlv_table_t *tables[] = {
        key_tbl.get(),       del_tbl.get(),      create_tbl.get(),    del_payload_tbl.get(),
        create_payload_tbl.get(), ports_tbl.get(), upd_req_tbl.get(), bitmap_tbl.get(),
        odd_list_tbl.get(),  pair_list_tbl.get(),
    };
    return tables[i % (sizeof tables / sizeof tables[0])];
}

std::vector<uint8_t> header_for(const vlan_mgr_tlv_table_t *t, size_t body)
{
    const size_t n = std::strlen(t->type_name);
    std::vector<uint8_t> h(8 + ((n + 3) & ~size_t{3}), 0);
    const uint32_t total = static_cast<uint32_t>(h.size() + body);
    h[0] = static_cast<uint8_t>(total >> 24);
    h[1] = static_cast<uint8_t>(total >> 16);
    h[2] = static_cast<uint8_t>(total >> 8);
    h[3] = static_cast<uint8_t>(total);
    h[4] = 1;
    h[7] = static_cast<uint8_t>(n);
    std::memcpy(h.data() + 8, t->type_name, n);
    return h;
}

void check(bool ok)
{
    if (!ok)
        std::abort();
}

// Walks one level with the iterator, and the levels below a list.
void walk(const vlan_mgr_tlv_table_t *t, const void *buf, uint32_t len, uint16_t depth)
{
    tlvu_field_itr_t it;
    if (tlvu_field_itr_init(&it, buf, len, t, 0, depth) != TLVU_OK)
        return;
    tlvu_field_t f;
    int32_t rc;
    int guard = 0;
    while ((rc = tlvu_field_itr_get_next(&it, &f)) == TLVU_OK) {
        check(++guard < 1 << 20);
        const uint8_t *v = static_cast<const uint8_t *>(f.value);
        check(v >= static_cast<const uint8_t *>(it.buf) && v + f.len <= it.buf + it.len);
        if (f.desc != nullptr && f.desc->kind == VLAN_MGR_TLV_KIND_LIST && depth == 0)
            walk(t, f.value, f.len, 1);
        else if (depth == 1 && f.desc != nullptr && f.desc->nested != nullptr)
            walk(f.desc->nested, f.value, f.len, 2);
    }
    check(rc == TLVU_END || rc == TLVU_ERR_TRUNCATED || rc == TLVU_ERR_BAD_PADDING);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0 || size > (1u << 20))
        return 0;
    const uint8_t mode = data[0];
    ++data;
    --size;
    const vlan_mgr_tlv_table_t *t = table_at(mode >> 1);

    std::vector<uint8_t> bytes;
    if (mode & 1)
        bytes = header_for(t, size);
    bytes.insert(bytes.end(), data, data + size);
    const uint32_t len = static_cast<uint32_t>(bytes.size());
    uint8_t *buf = static_cast<uint8_t *>(std::malloc(len ? len : 1));
    if (buf == nullptr)
        return 0;
    if (len)
        std::memcpy(buf, bytes.data(), len);

    uint32_t size_needed = 0;
    const int32_t size_rc = len ? tlvu_table_get_struct_size_from_tlv(&size_needed, buf, len, t) : -1;
    void *rec = nullptr;
    const int32_t rc = len ? tlvu_table_convert_tlv_to_struct(&rec, buf, len, t, 0) : -1;
    if (rc == TLVU_OK) {
        check(size_rc == TLVU_OK && rec != nullptr);
        // Encoded again and decoded, the record comes back byte for byte.
        void *tlv2 = nullptr;
        uint32_t len2 = 0;
        check(tlvu_table_convert_struct_to_tlv(&tlv2, &len2, t, rec, 0, nullptr, 0) == TLVU_OK);
        check(tlvu_table_size(t, rec) == len2);
        void *rec2 = nullptr;
        check(tlvu_table_convert_tlv_to_struct(&rec2, tlv2, len2, t, 0) == TLVU_OK);
        check(std::memcmp(rec, rec2, size_needed) == 0);
        std::free(rec2);
        std::free(tlv2);
        std::free(rec);
    } else {
        check(rec == nullptr);
    }

    if (len) {
        walk(t, buf, len, 0);
        uint8_t value[64];
        for (int32_t id : {0, 8, 9, 17, 19, 39}) {
            uint32_t vlen = sizeof value;
            const int32_t g = tlvu_get_field(buf, len, id, value, &vlen, t);
            if (g == TLVU_OK)
                check(vlen <= sizeof value);
        }
    }
    std::free(buf);
    return 0;
}
