/* The schema tables of the records that travel as TLV. The TLV utility reads
 * them as they stand: a four-word header, the field descriptors in carrying
 * order, then the terminator. The tables stay in this order in the library's
 * data, and are writable.
 *
 * This is C because the descriptors fill the table's flexible array, which
 * GCC initialises statically in C. Each row reads as in the record's schema:
 * FIXED(id, offset, width), STRING(id, offset), LIST(id, offset, element
 * size, count function, element table or NULL). */
#include <stddef.h>

#include <vlan_mgr/config_req.h>
#include <vlan_mgr/tlv.h>

/* GCC emits file-scope objects in its own order unless told to keep the
 * source order; clang keeps it anyway. */
#if defined(__GNUC__) && !defined(__clang__)
#define TABLE __attribute__((no_reorder)) vlan_mgr_tlv_table_t
#else
#define TABLE vlan_mgr_tlv_table_t
#endif

/* Kind 1: copied as it stands; maximum size = width. */
#define FIXED(id, off, width) \
    { (id), (width), (off), VLAN_MGR_TLV_KIND_FIXED, {0, 0, 0}, NULL, 0, (width), -1, NULL }
/* Kind 3: a 33-byte name buffer, element size 1. */
#define STRING(id, off) \
    { (id), 1, (off), VLAN_MGR_TLV_KIND_STRING, {0, 0, 0}, NULL, 0, VLAN_MGR_TLV_NAME_SIZE, -1, NULL }
/* Kind 5: the list trailing the record; maximum size 0. */
#define LIST(id, off, elem_size, count_fn, elem_table) \
    { (id), (elem_size), (off), VLAN_MGR_TLV_KIND_LIST, {0, 0, 0}, (count_fn), 0, 0, -1, (elem_table) }
/* Words 0-2 = -1, 3-7 = 0, 8-10 = -1, 11 = 0. */
#define END \
    { -1, 0xFFFFFFFFu, 0xFFFFFFFFu, 0, {0, 0, 0}, NULL, -1, 0xFFFFFFFFu, -1, NULL }

/* 1 */
TABLE vlan_mgr_create_notif2_tbl = {
    73, "vlan_create_notif2_t", vlan_mgr_create_notif2_default_init, 0, {
        FIXED(9, 0, 2),
        FIXED(10, 2, 2),
        FIXED(7, 4, 2),
        FIXED(6, 12, 4),
        FIXED(16, 6, 6),
        FIXED(13, 16, 4),
        FIXED(11, 20, 4),
        FIXED(12, 24, 4),
        FIXED(14, 28, 4),
        FIXED(15, 32, 4),
        FIXED(30, 36, 4),
        STRING(8, 40),
        END,
    }};

/* 2 */
TABLE vlan_mgr_vdc_vlan_info_tbl = {
    6, "vdc_vlan_id_t", vlan_mgr_vdc_vlan_info_init, 0, {
        FIXED(4, 0, 2),
        FIXED(5, 2, 4),
        END,
    }};

/* 3 */
TABLE vlan_mgr_create_notif2_payload_tbl = {
    4, "vlan_create_notif2_payload_t", vlan_mgr_create_notif2_payload_init, 0, {
        FIXED(17, 0, 4),
        LIST(18, 4, 73, vlan_mgr_create_notif2_payload_data_get_sz, &vlan_mgr_create_notif2_tbl),
        END,
    }};

/* 4 */
TABLE vlan_mgr_delete_notif2_tbl = {
    53, "vlan_delete_notif2_t", vlan_mgr_delete_notif2_default_init, 0, {
        FIXED(9, 0, 2),
        FIXED(16, 2, 6),
        FIXED(20, 8, 4),
        FIXED(15, 12, 4),
        STRING(8, 16),
        FIXED(31, 49, 4),
        END,
    }};

/* 5 */
TABLE vlan_mgr_delete_notif2_payload_tbl = {
    4, "vlan_delete_notif2_payload_t", vlan_mgr_delete_notif2_payload_init, 0, {
        FIXED(17, 0, 4),
        LIST(19, 4, 53, vlan_mgr_delete_notif2_payload_data_get_sz, &vlan_mgr_delete_notif2_tbl),
        END,
    }};

/* 6 */
TABLE vlan_mgr_create_update_tbl = {
    48, "vlan_mgr_create_update_t", vlan_mgr_create_update_default_init, 0, {
        FIXED(3, 0, 1),
        FIXED(5, 4, 4),
        FIXED(6, 8, 4),
        FIXED(7, 12, 2),
        STRING(8, 14),
        END,
    }};

/* 7 */
TABLE vlan_mgr_create_update_req_tbl = {
    2, "vlan_mgr_create_update_req_t", vlan_mgr_create_update_req_default_init, 0, {
        FIXED(1, 0, 2),
        LIST(2, 2, 48, vlan_mgr_create_update_msg_get_sz, &vlan_mgr_create_update_tbl),
        END,
    }};

/* 8 */
TABLE vlan_mgr_name_info_req_tbl = {
    516, "vlan_name_req_t", vlan_name_req_msg_default_init, 0, {
        FIXED(21, 0, 516),
        END,
    }};

/* 9 */
TABLE vlan_mgr_name_rsp_tbl = {
    60, "vlan_name_and_state_t", vlan_name_rsp_default_init, 0, {
        FIXED(5, 0, 4),
        FIXED(6, 4, 4),
        FIXED(9, 8, 2),
        FIXED(23, 12, 4),
        FIXED(13, 16, 4),
        FIXED(22, 20, 4),
        STRING(8, 24),
        END,
    }};

/* 10 */
TABLE vlan_mgr_name_info_rsp_tbl = {
    4, "vlan_name_rsp_t", vlan_name_rsp_msg_default_init, 0, {
        FIXED(24, 0, 4),
        LIST(25, 4, 60, vlan_name_rsp_msg_data_get_sz, &vlan_mgr_name_rsp_tbl),
        END,
    }};

/* 11 */
TABLE vlan_configmode_payload_tbl = {
    524, "vlan_configmode_payload_t", vlan_configmode_payload_init, 0, {
        FIXED(26, 0, 4),
        FIXED(27, 4, 4),
        FIXED(28, 8, 516),
        END,
    }};

/* 12 */
TABLE vlan_configmode_rsp_tbl = {
    4, "vlan_configmode_rsp_t", vlan_configmode_rsp_init, 0, {
        FIXED(29, 0, 4),
        END,
    }};

/* 13 */
TABLE vlan_get_port_memb_2_req_tbl = {
    8, "vlan_get_port_memb_2_req_t", vlan_get_port_memb_2_req_init, 0, {
        FIXED(0, 0, 4),
        FIXED(1, 4, 4),
        LIST(2, 8, 4, vlan_get_port_memb_2_req_ifindex_list_get_sz, NULL),
        END,
    }};

/* 14 */
TABLE vlan_get_port_memb_2_tbl = {
    24, "vlan_get_port_memb_2_t", vlan_get_port_memb_2_init, 0, {
        FIXED(3, 0, 4),
        FIXED(6, 4, 4),
        FIXED(7, 8, 4),
        FIXED(8, 12, 4),
        FIXED(9, 16, 4),
        FIXED(10, 20, 4),
        END,
    }};

/* 15 */
TABLE vlan_get_port_memb_2_rsp_tbl = {
    8, "vlan_get_port_memb_2_rsp_t", vlan_get_port_memb_2_rsp_init, 0, {
        FIXED(4, 0, 4),
        FIXED(1, 4, 4),
        LIST(5, 8, 24, vlan_get_port_memb_2_rsp_get_port_memb_list_sz, &vlan_get_port_memb_2_tbl),
        END,
    }};

/* 16 */
TABLE vlan_get_port_trunking_memb_2_tbl = {
    1048, "vlan_get_port_trunking_memb_2_t", vlan_get_port_trunking_memb_2_init, 0, {
        FIXED(3, 0, 4),
        FIXED(4, 4, 4),
        FIXED(5, 8, 4),
        FIXED(6, 12, 516),
        FIXED(7, 528, 516),
        FIXED(8, 1044, 4),
        END,
    }};

/* 17 */
TABLE vlan_get_port_trunking_memb_2_rsp_tbl = {
    8, "vlan_get_port_trunking_memb_2_rsp_t", vlan_get_port_trunking_memb_2_rsp_init, 0, {
        FIXED(0, 0, 4),
        FIXED(1, 4, 4),
        LIST(2, 8, 1048, vlan_get_port_trunking_memb_2_rsp_get_port_memb_list_sz, &vlan_get_port_trunking_memb_2_tbl),
        END,
    }};

/* 18 */
TABLE vlan_get_diag_vlan_info_req_tbl = {
    4, "vlan_get_diag_vlan_info_req_t", vlan_get_diag_vlan_info_req_init, 0, {
        FIXED(0, 0, 4),
        END,
    }};

/* 19 */
TABLE vlan_id_and_bd_tbl = {
    8, "vlan_id_and_bd_t", vlan_id_and_bd_init, 0, {
        FIXED(3, 0, 4),
        FIXED(4, 4, 2),
        END,
    }};

/* 20 */
TABLE vlan_get_diag_vlan_info_rsp_tbl = {
    8, "vlan_get_diag_vlan_info_rsp_t", vlan_get_diag_vlan_info_rsp_init, 0, {
        FIXED(0, 0, 4),
        FIXED(1, 4, 4),
        LIST(2, 8, 8, vlan_get_diag_vlan_info_rsp_vlan_id_and_bd_list_sz, &vlan_id_and_bd_tbl),
        END,
    }};

/* 21 */
TABLE vlan_get_all_created_vlan_2_req_tbl = {
    2, "vlan_get_all_created_vlan_2_req_t", vlan_get_all_created_vlan_2_req_init, 0, {
        FIXED(0, 0, 2),
        END,
    }};

/* 22 */
TABLE vlan_get_all_created_vlan_2_info_tbl = {
    26, "vlan_get_all_created_vlan_2_info_t", vlan_get_all_created_vlan_2_info_init, 0, {
        FIXED(3, 0, 4),
        FIXED(4, 4, 4),
        FIXED(5, 8, 2),
        FIXED(6, 10, 4),
        FIXED(7, 14, 4),
        FIXED(8, 18, 4),
        FIXED(9, 22, 4),
        END,
    }};

/* 23 */
TABLE vlan_get_all_created_vlan_2_rsp_tbl = {
    8, "vlan_get_all_created_vlan_2_rsp_t", vlan_get_all_created_vlan_2_rsp_init, 0, {
        FIXED(0, 0, 4),
        FIXED(1, 4, 4),
        LIST(2, 8, 26, vlan_get_all_created_vlan_2_rsp_list_sz, &vlan_get_all_created_vlan_2_info_tbl),
        END,
    }};

/* 24 */
TABLE vlan_dyn_rsvd_vlan_req_tbl = {
    4, "vlan_dyn_rsvd_req_t", vlan_dyn_rsvd_vlan_req_msg_default_init, 0, {
        FIXED(32, 0, 4),
        END,
    }};

/* 25 */
TABLE vlan_dyn_rsvd_vlan_rsp_tbl = {
    2580, "vlan_dyn_rsvd_rsp_t", vlan_get_dyn_rsvd_vlan_rsp_default_init, 0, {
        FIXED(33, 0, 516),
        FIXED(34, 516, 516),
        FIXED(35, 1032, 516),
        FIXED(36, 1548, 516),
        FIXED(37, 2064, 516),
        END,
    }};

/* 26 */
TABLE vlan_mgr_comprgrp_change_notif_tbl = {
    524, "vlan_comprgrp_memb_change_notif_t", vlan_mgr_comprgrp_change_notif_init, 0, {
        FIXED(38, 0, 4),
        FIXED(39, 4, 516),
        FIXED(40, 520, 2),
        FIXED(41, 522, 2),
        END,
    }};
