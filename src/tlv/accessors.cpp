// The accessor families of the schema tables: seven thin wrappers per table
// that pass the table to the TLV utility and forward everything else. The
// three that convert or size a buffer print a refusal with their own name.
#include <cstdint>

#include <vlan_mgr/config_req.h>
#include <vlan_mgr/tlv.h>

#include "tlvu.h"

namespace {

// Prints the utility's refusal as "<accessor name>: ERR 0x<code>".
void print_refusal(const char *name, int32_t code)
{
    tlvu_error_print("%s: ERR 0x%x\n", name, static_cast<unsigned>(code));
}

// The size of the record a TLV buffer decodes to: the utility fills a size
// word that starts at 0; the buffer's length is not known here and is passed
// as 0. -1 when the utility refuses the buffer.
int32_t struct_size(const char *name, const vlan_mgr_tlv_table_t *table, const void *tlv)
{
    uint32_t size = 0;
    const int32_t rc = tlvu_table_get_struct_size_from_tlv(&size, tlv, 0, table);
    if (rc != 0) {
        print_refusal(name, rc);
        return -1;
    }
    return static_cast<int32_t>(size);
}

int32_t to_tlv(const char *name, const vlan_mgr_tlv_table_t *table, const void *record, void **tlv,
               uint32_t *tlv_len, uint32_t headroom, uint32_t *fields_written, uint32_t flags)
{
    const int32_t rc = tlvu_table_convert_struct_to_tlv(tlv, tlv_len, table, record, headroom, fields_written, flags);
    if (rc != 0)
        print_refusal(name, rc);
    return rc;
}

int32_t to_struct(const char *name, const vlan_mgr_tlv_table_t *table, void **record, const void *tlv,
                  uint32_t tlv_len, uint32_t flags)
{
    const int32_t rc = tlvu_table_convert_tlv_to_struct(record, tlv, tlv_len, table, flags);
    if (rc != 0)
        print_refusal(name, rc);
    return rc;
}

} // namespace

// clang-format off
// One family, one line per wrapper: `P` names the seven functions, `T` is the
// schema table they pass on.
#define TLV_ACCESSORS(P, T) \
    int32_t P##_field_itr_init(void *itr, const void *buf, uint32_t len, uint32_t flags, uint16_t depth) { return tlvu_field_itr_init(static_cast<tlvu_field_itr_t *>(itr), buf, len, &T, flags, depth); } \
    int32_t P##_field_get_next(void *itr, void *field) { return tlvu_field_itr_get_next(static_cast<tlvu_field_itr_t *>(itr), static_cast<tlvu_field_t *>(field)); } \
    int32_t P##_get_field(const void *buf, uint32_t len, int32_t id, void *value, uint32_t *value_len) { return tlvu_get_field(buf, len, id, value, value_len, &T); } \
    int32_t P##_get_struct_sz(const void *buf) { return struct_size(#P "_get_struct_sz", &T, buf); } \
    uint32_t P##_get_tlv_sz(const void *record) { return tlvu_table_size(&T, record); } \
    int32_t P##_to_tlv(const void *record, void **buf, uint32_t *len, uint32_t headroom, uint32_t *written, uint32_t flags) { return to_tlv(#P "_to_tlv", &T, record, buf, len, headroom, written, flags); } \
    int32_t P##_to_struct(void **record, const void *buf, uint32_t len, uint32_t flags) { return to_struct(#P "_to_struct", &T, record, buf, len, flags); }

extern "C" {

TLV_ACCESSORS(vlan_mgr_create_notif2, vlan_mgr_create_notif2_tbl)
TLV_ACCESSORS(vlan_mgr_vdc_vlan_info_tlv, vlan_mgr_vdc_vlan_info_tbl)
TLV_ACCESSORS(vlan_mgr_create_notif2_payload, vlan_mgr_create_notif2_payload_tbl)
TLV_ACCESSORS(vlan_mgr_delete_notif2, vlan_mgr_delete_notif2_tbl)
TLV_ACCESSORS(vlan_mgr_delete_notif2_payload, vlan_mgr_delete_notif2_payload_tbl)
TLV_ACCESSORS(vlan_mgr_create_update, vlan_mgr_create_update_tbl)
TLV_ACCESSORS(vlan_mgr_create_update_req, vlan_mgr_create_update_req_tbl)
TLV_ACCESSORS(vlan_mgr_get_range_created_vlan_name_req, vlan_mgr_name_info_req_tbl)
TLV_ACCESSORS(vlan_mgr_get_created_vlan_name_rsp, vlan_mgr_name_rsp_tbl)
TLV_ACCESSORS(vlan_mgr_get_range_created_vlan_name_rsp, vlan_mgr_name_info_rsp_tbl)
TLV_ACCESSORS(vlan_configmode_payload, vlan_configmode_payload_tbl)
TLV_ACCESSORS(vlan_configmode_rsp, vlan_configmode_rsp_tbl)
TLV_ACCESSORS(vlan_get_port_memb_2_req, vlan_get_port_memb_2_req_tbl)
TLV_ACCESSORS(vlan_get_port_memb_2_rsp, vlan_get_port_memb_2_rsp_tbl)
TLV_ACCESSORS(vlan_get_port_trunking_memb_2_rsp, vlan_get_port_trunking_memb_2_rsp_tbl)
TLV_ACCESSORS(vlan_get_diag_vlan_info_req, vlan_get_diag_vlan_info_req_tbl)
TLV_ACCESSORS(vlan_get_diag_vlan_info_rsp, vlan_get_diag_vlan_info_rsp_tbl)
TLV_ACCESSORS(vlan_get_all_created_vlan_2_req, vlan_get_all_created_vlan_2_req_tbl)
TLV_ACCESSORS(vlan_get_all_created_vlan_2_rsp, vlan_get_all_created_vlan_2_rsp_tbl)
TLV_ACCESSORS(vlan_get_dyn_rsvd_vlan_req, vlan_dyn_rsvd_vlan_req_tbl)
TLV_ACCESSORS(vlan_get_dyn_rsvd_vlan_rsp, vlan_dyn_rsvd_vlan_rsp_tbl)
TLV_ACCESSORS(vlan_mgr_comprgrp_change_notif, vlan_mgr_comprgrp_change_notif_tbl)

} // extern "C"
// clang-format on

#undef TLV_ACCESSORS
