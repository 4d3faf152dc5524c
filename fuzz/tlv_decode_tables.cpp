// Decodes arbitrary bytes with each of the library's 26 schema tables: the
// first input byte picks the table, the rest is the TLV buffer. Each input is
// walked with the iterator, searched field by field, sized, decoded, and a
// decoded record is encoded again (which must succeed: the decoder leaves
// every string terminated and the count equal to the list it built).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <vlan_mgr/config_req.h>
#include <vlan_mgr/tlv.h>

#include "test_platform.h"
#include "tlvu.h"

namespace {

using ToStruct = int32_t (*)(void **, const void *, uint32_t, uint32_t);
using ToTlv = int32_t (*)(const void *, void **, uint32_t *, uint32_t, uint32_t *, uint32_t);
using ItrInit = int32_t (*)(void *, const void *, uint32_t, uint32_t, uint16_t);
using GetNext = int32_t (*)(void *, void *);
using GetField = int32_t (*)(const void *, uint32_t, int32_t, void *, uint32_t *);
using StructSz = int32_t (*)(const void *);

// A table and its accessor family; the element-only tables have none and are
// handed to the utility directly.
struct Entry {
    const vlan_mgr_tlv_table_t *table;
    ToStruct to_struct;
    ToTlv to_tlv;
    ItrInit itr_init;
    GetNext get_next;
    GetField get_field;
    StructSz struct_sz;
};

#define FAMILY(T, P) \
    Entry { &T, P##_to_struct, P##_to_tlv, P##_field_itr_init, P##_field_get_next, P##_get_field, P##_get_struct_sz }
#define ELEMENT(T) \
    Entry { &T, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr }

const Entry kEntries[] = {
    FAMILY(vlan_mgr_create_notif2_tbl, vlan_mgr_create_notif2),
    FAMILY(vlan_mgr_vdc_vlan_info_tbl, vlan_mgr_vdc_vlan_info_tlv),
    FAMILY(vlan_mgr_create_notif2_payload_tbl, vlan_mgr_create_notif2_payload),
    FAMILY(vlan_mgr_delete_notif2_tbl, vlan_mgr_delete_notif2),
    FAMILY(vlan_mgr_delete_notif2_payload_tbl, vlan_mgr_delete_notif2_payload),
    FAMILY(vlan_mgr_create_update_tbl, vlan_mgr_create_update),
    FAMILY(vlan_mgr_create_update_req_tbl, vlan_mgr_create_update_req),
    FAMILY(vlan_mgr_name_info_req_tbl, vlan_mgr_get_range_created_vlan_name_req),
    FAMILY(vlan_mgr_name_rsp_tbl, vlan_mgr_get_created_vlan_name_rsp),
    FAMILY(vlan_mgr_name_info_rsp_tbl, vlan_mgr_get_range_created_vlan_name_rsp),
    FAMILY(vlan_configmode_payload_tbl, vlan_configmode_payload),
    FAMILY(vlan_configmode_rsp_tbl, vlan_configmode_rsp),
    FAMILY(vlan_get_port_memb_2_req_tbl, vlan_get_port_memb_2_req),
    ELEMENT(vlan_get_port_memb_2_tbl),
    FAMILY(vlan_get_port_memb_2_rsp_tbl, vlan_get_port_memb_2_rsp),
    ELEMENT(vlan_get_port_trunking_memb_2_tbl),
    FAMILY(vlan_get_port_trunking_memb_2_rsp_tbl, vlan_get_port_trunking_memb_2_rsp),
    FAMILY(vlan_get_diag_vlan_info_req_tbl, vlan_get_diag_vlan_info_req),
    ELEMENT(vlan_id_and_bd_tbl),
    FAMILY(vlan_get_diag_vlan_info_rsp_tbl, vlan_get_diag_vlan_info_rsp),
    FAMILY(vlan_get_all_created_vlan_2_req_tbl, vlan_get_all_created_vlan_2_req),
    ELEMENT(vlan_get_all_created_vlan_2_info_tbl),
    FAMILY(vlan_get_all_created_vlan_2_rsp_tbl, vlan_get_all_created_vlan_2_rsp),
    FAMILY(vlan_dyn_rsvd_vlan_req_tbl, vlan_get_dyn_rsvd_vlan_req),
    FAMILY(vlan_dyn_rsvd_vlan_rsp_tbl, vlan_get_dyn_rsvd_vlan_rsp),
    FAMILY(vlan_mgr_comprgrp_change_notif_tbl, vlan_mgr_comprgrp_change_notif),
};

#undef FAMILY
#undef ELEMENT

constexpr size_t kTables = sizeof kEntries / sizeof kEntries[0];
static_assert(kTables == 26);

uint32_t be32(const uint8_t *p) { return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3]; }

void walk(const Entry &e, const uint8_t *buf, uint32_t len)
{
    tlvu_field_itr_t itr;
    const int32_t rc = e.itr_init ? e.itr_init(&itr, buf, len, 0, 0) : tlvu_field_itr_init(&itr, buf, len, e.table, 0, 0);
    if (rc != 0)
        return;
    tlvu_field_t field;
    for (int guard = 0; guard < 4096; ++guard) {
        const int32_t r = e.get_next ? e.get_next(&itr, &field) : tlvu_field_itr_get_next(&itr, &field);
        if (r != 0)
            break;
        volatile uint8_t sink = field.len != 0 ? *static_cast<const uint8_t *>(field.value) : 0;
        (void)sink;
    }
}

void lookup(const Entry &e, const uint8_t *buf, uint32_t len)
{
    uint8_t value[2600];
    for (const vlan_mgr_tlv_field_t *f = e.table->fields; f->id != -1; ++f) {
        uint32_t value_len = sizeof value;
        if (e.get_field)
            e.get_field(buf, len, f->id, value, &value_len);
        else
            tlvu_get_field(buf, len, f->id, value, &value_len, e.table);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // A length of 0 would mean "a whole buffer, length in its header": the
    // fuzzer's bytes are never that. Large inputs only make large records.
    if (size < 2 || size > 65536)
        return 0;
    tp::reset(); // the recorded error lines would otherwise pile up
    const Entry &e = kEntries[data[0] % kTables];
    // An exact-size copy, so that any read past the end is caught.
    const uint32_t len = static_cast<uint32_t>(size - 1);
    std::vector<uint8_t> copy(data + 1, data + size);
    const uint8_t *buf = copy.data();

    walk(e, buf, len);
    lookup(e, buf, len);
    // Sizing takes the length from the buffer's header: only when it lies
    // inside the bytes given.
    if (e.struct_sz && len >= 8 && be32(buf) <= len)
        e.struct_sz(buf);

    void *record = nullptr;
    const int32_t rc = e.to_struct ? e.to_struct(&record, buf, len, 0)
                                   : tlvu_table_convert_tlv_to_struct(&record, buf, len, e.table, 0);
    if (rc != 0) {
        if (record != nullptr)
            __builtin_trap(); // a refused buffer hands out nothing
        return 0;
    }
    void *again = nullptr;
    uint32_t again_len = 0;
    const int32_t rc2 = e.to_tlv ? e.to_tlv(record, &again, &again_len, 0, nullptr, 0)
                                 : tlvu_table_convert_struct_to_tlv(&again, &again_len, e.table, record, 0, nullptr, 0);
    if (rc2 != 0)
        __builtin_trap();
    std::free(again);
    std::free(record);
    return 0;
}
