/* TLV message schemas: the schema table format read by the platform's TLV
 * utility, the schema tables of the TLV-encoded records, their accessor
 * families and the TLV-framed messages. */
#ifndef VLAN_MGR_TLV_H
#define VLAN_MGR_TLV_H

#include <vlan_mgr/frame.h>

VLAN_MGR_BEGIN_DECLS

/* Field kinds of a schema table. */
#define VLAN_MGR_TLV_KIND_FIXED  1u /* fixed-size field copied as it stands */
#define VLAN_MGR_TLV_KIND_STRING 3u /* NUL-terminated text in a fixed buffer */
#define VLAN_MGR_TLV_KIND_LIST   5u /* variable-length list trailing the record */

struct vlan_mgr_tlv_table;

/* Writes a record's defaults; returns 0. */
typedef int32_t (*vlan_mgr_tlv_init_fn)(void *record);
/* Returns the number of elements of a record's trailing list. */
typedef uint32_t (*vlan_mgr_tlv_count_fn)(const void *record);

/* One field descriptor: twelve words, 48 bytes on the 32-bit target. The
 * terminator has id, elem_size, offset, terminator, max_size and
 * always_minus_one all -1 and the rest 0. */
typedef struct vlan_mgr_tlv_field {
    int32_t id;
    uint32_t elem_size;   /* width; 1 for a string; element size for a list */
    uint32_t offset;
    uint32_t kind;
    uint32_t reserved[3];
    vlan_mgr_tlv_count_fn count_fn;          /* lists only */
    int32_t terminator;                      /* 0; -1 in the terminator */
    uint32_t max_size;                       /* width; 33 for a string; 0 for a list */
    int32_t always_minus_one;
    const struct vlan_mgr_tlv_table *nested; /* element table of a list of records */
} vlan_mgr_tlv_field_t;
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_tlv_field_t, kind, 12);
VLAN_MGR_STATIC_ASSERT(sizeof(void *) != 4 || offsetof(vlan_mgr_tlv_field_t, count_fn) == 28, "count_fn at word 7");
VLAN_MGR_STATIC_ASSERT(sizeof(void *) != 4 || sizeof(vlan_mgr_tlv_field_t) == 48, "descriptor is 48 bytes");
VLAN_MGR_STATIC_ASSERT(sizeof(void *) != 4 || offsetof(vlan_mgr_tlv_field_t, nested) == 44, "nested at word 11");

/* A schema table: a four-word header, then the descriptors in carrying order,
 * then the terminator. */
typedef struct vlan_mgr_tlv_table {
    uint32_t size;            /* record size without a trailing list */
    const char *type_name;    /* e.g. "vlan_create_notif2_t" */
    vlan_mgr_tlv_init_fn init;
    uint32_t reserved;        /* 0 */
    vlan_mgr_tlv_field_t fields[];
} vlan_mgr_tlv_table_t;
VLAN_MGR_STATIC_ASSERT(sizeof(void *) != 4 || sizeof(vlan_mgr_tlv_table_t) == 16, "header is 16 bytes");
VLAN_MGR_STATIC_ASSERT(sizeof(void *) != 4 || offsetof(vlan_mgr_tlv_table_t, fields) == 16, "descriptors at 16");

/* ---- Records ----------------------------------------------------------------
 * The records that travel as TLV, in host byte order. Members are named after
 * what they carry where that is known, otherwise after their field id
 * (fieldNN). A VLAN name is a 33-byte buffer: up to 32 characters and a NUL.
 * Records ending in a list hold `count` elements after their fixed part. */

#define VLAN_MGR_TLV_NAME_SIZE 33u

/* One created VLAN of a create notification: 73 bytes, packed. */
typedef struct VLAN_MGR_PACKED vlan_create_notif2 {
    uint16_t bd_id;          /* id 9: BD id */
    uint16_t field10;        /* id 10 */
    uint16_t field7;         /* id 7 */
    vdc_vlan_id_t vdc_vlan;  /* id 16: VDC id, VLAN id */
    uint32_t field6;         /* id 6 */
    uint32_t field13;        /* id 13, default 8 */
    uint32_t field11;        /* id 11 */
    uint32_t field12;        /* id 12, default 2 */
    uint32_t field14;        /* id 14, default 1 */
    uint32_t field15;        /* id 15, default 1 */
    uint32_t field30;        /* id 30 */
    char name[VLAN_MGR_TLV_NAME_SIZE]; /* id 8: VLAN name */
} vlan_create_notif2_t;
VLAN_MGR_ASSERT_SIZE(vlan_create_notif2_t, 73);
VLAN_MGR_ASSERT_OFFSET(vlan_create_notif2_t, bd_id, 0);
VLAN_MGR_ASSERT_OFFSET(vlan_create_notif2_t, field10, 2);
VLAN_MGR_ASSERT_OFFSET(vlan_create_notif2_t, field7, 4);
VLAN_MGR_ASSERT_OFFSET(vlan_create_notif2_t, vdc_vlan, 6);
VLAN_MGR_ASSERT_OFFSET(vlan_create_notif2_t, field6, 12);
VLAN_MGR_ASSERT_OFFSET(vlan_create_notif2_t, field13, 16);
VLAN_MGR_ASSERT_OFFSET(vlan_create_notif2_t, field11, 20);
VLAN_MGR_ASSERT_OFFSET(vlan_create_notif2_t, field12, 24);
VLAN_MGR_ASSERT_OFFSET(vlan_create_notif2_t, field14, 28);
VLAN_MGR_ASSERT_OFFSET(vlan_create_notif2_t, field15, 32);
VLAN_MGR_ASSERT_OFFSET(vlan_create_notif2_t, field30, 36);
VLAN_MGR_ASSERT_OFFSET(vlan_create_notif2_t, name, 40);

/* The TLV part of a create notification: a count, then `count` records. */
typedef struct vlan_create_notif2_payload {
    uint32_t count;                /* id 17 */
    vlan_create_notif2_t data[];   /* id 18 */
} vlan_create_notif2_payload_t;
VLAN_MGR_ASSERT_SIZE(vlan_create_notif2_payload_t, 4);
VLAN_MGR_ASSERT_OFFSET(vlan_create_notif2_payload_t, data, 4);

/* One deleted VLAN of a delete notification: 53 bytes, packed; field31 sits
 * unaligned at offset 49. */
typedef struct VLAN_MGR_PACKED vlan_delete_notif2 {
    uint16_t bd_id;          /* id 9: BD id */
    vdc_vlan_id_t vdc_vlan;  /* id 16: VDC id, VLAN id */
    uint32_t field20;        /* id 20, default 100 */
    uint32_t field15;        /* id 15, default 1 */
    char name[VLAN_MGR_TLV_NAME_SIZE]; /* id 8: VLAN name */
    uint32_t field31;        /* id 31 */
} vlan_delete_notif2_t;
VLAN_MGR_ASSERT_SIZE(vlan_delete_notif2_t, 53);
VLAN_MGR_ASSERT_OFFSET(vlan_delete_notif2_t, bd_id, 0);
VLAN_MGR_ASSERT_OFFSET(vlan_delete_notif2_t, vdc_vlan, 2);
VLAN_MGR_ASSERT_OFFSET(vlan_delete_notif2_t, field20, 8);
VLAN_MGR_ASSERT_OFFSET(vlan_delete_notif2_t, field15, 12);
VLAN_MGR_ASSERT_OFFSET(vlan_delete_notif2_t, name, 16);
VLAN_MGR_ASSERT_OFFSET(vlan_delete_notif2_t, field31, 49);

/* The TLV part of a delete notification: a count, then `count` records. */
typedef struct vlan_delete_notif2_payload {
    uint32_t count;                /* id 17 */
    vlan_delete_notif2_t data[];   /* id 19 */
} vlan_delete_notif2_payload_t;
VLAN_MGR_ASSERT_SIZE(vlan_delete_notif2_payload_t, 4);
VLAN_MGR_ASSERT_OFFSET(vlan_delete_notif2_payload_t, data, 4);

/* VLAN-name range request: the VLANs whose names are asked for. 516 bytes. */
typedef struct vlan_name_req {
    vlan_bitmap vlans;             /* id 21 */
} vlan_name_req_t;
VLAN_MGR_ASSERT_SIZE(vlan_name_req_t, 516);

/* One VLAN of a VLAN-name response: 60 bytes, naturally aligned. */
typedef struct vlan_name_and_state {
    uint32_t vlan_id;              /* id 5 */
    uint32_t field6;               /* id 6 */
    uint16_t bd_id;                /* id 9 */
    uint8_t pad1[2];
    uint32_t field23;              /* id 23 */
    uint32_t field13;              /* id 13 */
    uint32_t field22;              /* id 22 */
    char name[VLAN_MGR_TLV_NAME_SIZE]; /* id 8 */
    uint8_t pad2[3];
} vlan_name_and_state_t;
VLAN_MGR_ASSERT_SIZE(vlan_name_and_state_t, 60);
VLAN_MGR_ASSERT_OFFSET(vlan_name_and_state_t, vlan_id, 0);
VLAN_MGR_ASSERT_OFFSET(vlan_name_and_state_t, field6, 4);
VLAN_MGR_ASSERT_OFFSET(vlan_name_and_state_t, bd_id, 8);
VLAN_MGR_ASSERT_OFFSET(vlan_name_and_state_t, field23, 12);
VLAN_MGR_ASSERT_OFFSET(vlan_name_and_state_t, field13, 16);
VLAN_MGR_ASSERT_OFFSET(vlan_name_and_state_t, field22, 20);
VLAN_MGR_ASSERT_OFFSET(vlan_name_and_state_t, name, 24);

/* VLAN-name range response: a count, then `count` VLANs. */
typedef struct vlan_name_rsp {
    uint32_t count;                /* id 24 */
    vlan_name_and_state_t data[];  /* id 25 */
} vlan_name_rsp_t;
VLAN_MGR_ASSERT_SIZE(vlan_name_rsp_t, 4);
VLAN_MGR_ASSERT_OFFSET(vlan_name_rsp_t, data, 4);

/* Configuration-mode change (request and notification): 524 bytes. */
typedef struct vlan_configmode_payload {
    uint32_t field26;              /* id 26 */
    uint32_t field27;              /* id 27 */
    vlan_bitmap vlans;             /* id 28 */
} vlan_configmode_payload_t;
VLAN_MGR_ASSERT_SIZE(vlan_configmode_payload_t, 524);
VLAN_MGR_ASSERT_OFFSET(vlan_configmode_payload_t, field27, 4);
VLAN_MGR_ASSERT_OFFSET(vlan_configmode_payload_t, vlans, 8);

/* Configuration-mode change response: 4 bytes. */
typedef struct vlan_configmode_rsp {
    uint32_t field29;              /* id 29 */
} vlan_configmode_rsp_t;
VLAN_MGR_ASSERT_SIZE(vlan_configmode_rsp_t, 4);

/* Port membership query: `ifindex_count` interface indexes after the fixed part. */
typedef struct vlan_get_port_memb_2_req {
    uint32_t field0;               /* id 0, default 1 */
    uint32_t ifindex_count;        /* id 1 */
    uint32_t ifindex[];            /* id 2: interface indexes */
} vlan_get_port_memb_2_req_t;
VLAN_MGR_ASSERT_SIZE(vlan_get_port_memb_2_req_t, 8);
VLAN_MGR_ASSERT_OFFSET(vlan_get_port_memb_2_req_t, ifindex_count, 4);
VLAN_MGR_ASSERT_OFFSET(vlan_get_port_memb_2_req_t, ifindex, 8);

/* One port of a port membership response: 24 bytes. */
typedef struct vlan_get_port_memb_2 {
    uint32_t field3;               /* id 3 */
    uint32_t field6;               /* id 6, default 1 */
    uint32_t field7;               /* id 7, default 1 */
    uint32_t field8;               /* id 8 */
    uint32_t field9;               /* id 9 */
    uint32_t field10;              /* id 10 */
} vlan_get_port_memb_2_t;
VLAN_MGR_ASSERT_SIZE(vlan_get_port_memb_2_t, 24);
VLAN_MGR_ASSERT_OFFSET(vlan_get_port_memb_2_t, field6, 4);
VLAN_MGR_ASSERT_OFFSET(vlan_get_port_memb_2_t, field7, 8);
VLAN_MGR_ASSERT_OFFSET(vlan_get_port_memb_2_t, field8, 12);
VLAN_MGR_ASSERT_OFFSET(vlan_get_port_memb_2_t, field9, 16);
VLAN_MGR_ASSERT_OFFSET(vlan_get_port_memb_2_t, field10, 20);

/* Port membership response: `count` ports after the fixed part. */
typedef struct vlan_get_port_memb_2_rsp {
    uint32_t field4;               /* id 4 */
    uint32_t count;                /* id 1 */
    vlan_get_port_memb_2_t data[]; /* id 5 */
} vlan_get_port_memb_2_rsp_t;
VLAN_MGR_ASSERT_SIZE(vlan_get_port_memb_2_rsp_t, 8);
VLAN_MGR_ASSERT_OFFSET(vlan_get_port_memb_2_rsp_t, count, 4);
VLAN_MGR_ASSERT_OFFSET(vlan_get_port_memb_2_rsp_t, data, 8);

/* One port of a trunking membership response: 1048 bytes. */
typedef struct vlan_get_port_trunking_memb_2 {
    uint32_t field3;               /* id 3 */
    uint32_t field4;               /* id 4 */
    uint32_t field5;               /* id 5 */
    vlan_bitmap vlans6;            /* id 6 */
    vlan_bitmap vlans7;            /* id 7 */
    uint32_t field8;               /* id 8 */
} vlan_get_port_trunking_memb_2_t;
VLAN_MGR_ASSERT_SIZE(vlan_get_port_trunking_memb_2_t, 1048);
VLAN_MGR_ASSERT_OFFSET(vlan_get_port_trunking_memb_2_t, field4, 4);
VLAN_MGR_ASSERT_OFFSET(vlan_get_port_trunking_memb_2_t, field5, 8);
VLAN_MGR_ASSERT_OFFSET(vlan_get_port_trunking_memb_2_t, vlans6, 12);
VLAN_MGR_ASSERT_OFFSET(vlan_get_port_trunking_memb_2_t, vlans7, 528);
VLAN_MGR_ASSERT_OFFSET(vlan_get_port_trunking_memb_2_t, field8, 1044);

/* Trunking membership response: `count` ports after the fixed part. */
typedef struct vlan_get_port_trunking_memb_2_rsp {
    uint32_t field0;               /* id 0 */
    uint32_t count;                /* id 1 */
    vlan_get_port_trunking_memb_2_t data[]; /* id 2 */
} vlan_get_port_trunking_memb_2_rsp_t;
VLAN_MGR_ASSERT_SIZE(vlan_get_port_trunking_memb_2_rsp_t, 8);
VLAN_MGR_ASSERT_OFFSET(vlan_get_port_trunking_memb_2_rsp_t, count, 4);
VLAN_MGR_ASSERT_OFFSET(vlan_get_port_trunking_memb_2_rsp_t, data, 8);

/* Diagnostic VLAN info query: 4 bytes. */
typedef struct vlan_get_diag_vlan_info_req {
    uint32_t field0;               /* id 0 */
} vlan_get_diag_vlan_info_req_t;
VLAN_MGR_ASSERT_SIZE(vlan_get_diag_vlan_info_req_t, 4);

/* One VLAN of a diagnostic VLAN info response: 8 bytes. */
typedef struct vlan_id_and_bd {
    uint32_t vlan_id;              /* id 3 */
    uint16_t bd_id;                /* id 4 */
    uint8_t pad[2];
} vlan_id_and_bd_t;
VLAN_MGR_ASSERT_SIZE(vlan_id_and_bd_t, 8);
VLAN_MGR_ASSERT_OFFSET(vlan_id_and_bd_t, bd_id, 4);

/* Diagnostic VLAN info response: `count` VLANs after the fixed part. */
typedef struct vlan_get_diag_vlan_info_rsp {
    uint32_t field0;               /* id 0 */
    uint32_t count;                /* id 1 */
    vlan_id_and_bd_t data[];       /* id 2 */
} vlan_get_diag_vlan_info_rsp_t;
VLAN_MGR_ASSERT_SIZE(vlan_get_diag_vlan_info_rsp_t, 8);
VLAN_MGR_ASSERT_OFFSET(vlan_get_diag_vlan_info_rsp_t, count, 4);
VLAN_MGR_ASSERT_OFFSET(vlan_get_diag_vlan_info_rsp_t, data, 8);

/* Created-VLAN listing query: 2 bytes. */
typedef struct vlan_get_all_created_vlan_2_req {
    uint16_t field0;               /* id 0 */
} vlan_get_all_created_vlan_2_req_t;
VLAN_MGR_ASSERT_SIZE(vlan_get_all_created_vlan_2_req_t, 2);

/* One VLAN of a created-VLAN listing: 26 bytes, packed. */
typedef struct VLAN_MGR_PACKED vlan_get_all_created_vlan_2_info {
    uint32_t field3;               /* id 3 */
    uint32_t field4;               /* id 4 */
    uint16_t field5;               /* id 5 */
    uint32_t field6;               /* id 6, default 2 */
    uint32_t field7;               /* id 7, default 8 */
    uint32_t field8;               /* id 8 */
    uint32_t field9;               /* id 9 */
} vlan_get_all_created_vlan_2_info_t;
VLAN_MGR_ASSERT_SIZE(vlan_get_all_created_vlan_2_info_t, 26);
VLAN_MGR_ASSERT_OFFSET(vlan_get_all_created_vlan_2_info_t, field4, 4);
VLAN_MGR_ASSERT_OFFSET(vlan_get_all_created_vlan_2_info_t, field5, 8);
VLAN_MGR_ASSERT_OFFSET(vlan_get_all_created_vlan_2_info_t, field6, 10);
VLAN_MGR_ASSERT_OFFSET(vlan_get_all_created_vlan_2_info_t, field7, 14);
VLAN_MGR_ASSERT_OFFSET(vlan_get_all_created_vlan_2_info_t, field8, 18);
VLAN_MGR_ASSERT_OFFSET(vlan_get_all_created_vlan_2_info_t, field9, 22);

/* Created-VLAN listing response: `count` VLANs after the fixed part. */
typedef struct vlan_get_all_created_vlan_2_rsp {
    uint32_t field0;               /* id 0 */
    uint32_t count;                /* id 1 */
    vlan_get_all_created_vlan_2_info_t data[]; /* id 2 */
} vlan_get_all_created_vlan_2_rsp_t;
VLAN_MGR_ASSERT_SIZE(vlan_get_all_created_vlan_2_rsp_t, 8);
VLAN_MGR_ASSERT_OFFSET(vlan_get_all_created_vlan_2_rsp_t, count, 4);
VLAN_MGR_ASSERT_OFFSET(vlan_get_all_created_vlan_2_rsp_t, data, 8);

/* Dynamic reserved-VLAN info query: 4 bytes. */
typedef struct vlan_dyn_rsvd_req {
    uint32_t field32;              /* id 32, default 5 */
} vlan_dyn_rsvd_req_t;
VLAN_MGR_ASSERT_SIZE(vlan_dyn_rsvd_req_t, 4);

/* Dynamic reserved-VLAN info response: five VLAN bitmaps, 2580 bytes. */
typedef struct vlan_dyn_rsvd_rsp {
    vlan_bitmap vlans33;           /* id 33 */
    vlan_bitmap vlans34;           /* id 34 */
    vlan_bitmap vlans35;           /* id 35 */
    vlan_bitmap vlans36;           /* id 36 */
    vlan_bitmap vlans37;           /* id 37 */
} vlan_dyn_rsvd_rsp_t;
VLAN_MGR_ASSERT_SIZE(vlan_dyn_rsvd_rsp_t, 2580);
VLAN_MGR_ASSERT_OFFSET(vlan_dyn_rsvd_rsp_t, vlans34, 516);
VLAN_MGR_ASSERT_OFFSET(vlan_dyn_rsvd_rsp_t, vlans35, 1032);
VLAN_MGR_ASSERT_OFFSET(vlan_dyn_rsvd_rsp_t, vlans36, 1548);
VLAN_MGR_ASSERT_OFFSET(vlan_dyn_rsvd_rsp_t, vlans37, 2064);

/* Compression-group membership change: 524 bytes. */
typedef struct vlan_comprgrp_memb_change_notif {
    uint32_t field38;              /* id 38 */
    vlan_bitmap vlans;             /* id 39 */
    uint16_t field40;              /* id 40 */
    uint16_t field41;              /* id 41 */
} vlan_comprgrp_memb_change_notif_t;
VLAN_MGR_ASSERT_SIZE(vlan_comprgrp_memb_change_notif_t, 524);
VLAN_MGR_ASSERT_OFFSET(vlan_comprgrp_memb_change_notif_t, vlans, 4);
VLAN_MGR_ASSERT_OFFSET(vlan_comprgrp_memb_change_notif_t, field40, 520);
VLAN_MGR_ASSERT_OFFSET(vlan_comprgrp_memb_change_notif_t, field41, 522);

/* ---- Schema tables ----------------------------------------------------------
 * Exported and writable, in this order in the library's data. Each describes
 * one record for the TLV utility; the descriptor order is the carrying order.
 * The records of tables 6 and 7 (vlan_mgr_create_update_t and
 * vlan_mgr_create_update_req_t) are declared in <vlan_mgr/config_req.h>. */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_mgr_create_notif2_tbl;            /* vlan_create_notif2_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_mgr_vdc_vlan_info_tbl;            /* vdc_vlan_id_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_mgr_create_notif2_payload_tbl;    /* vlan_create_notif2_payload_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_mgr_delete_notif2_tbl;            /* vlan_delete_notif2_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_mgr_delete_notif2_payload_tbl;    /* vlan_delete_notif2_payload_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_mgr_create_update_tbl;            /* vlan_mgr_create_update_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_mgr_create_update_req_tbl;        /* vlan_mgr_create_update_req_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_mgr_name_info_req_tbl;            /* vlan_name_req_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_mgr_name_rsp_tbl;                 /* vlan_name_and_state_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_mgr_name_info_rsp_tbl;            /* vlan_name_rsp_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_configmode_payload_tbl;           /* vlan_configmode_payload_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_configmode_rsp_tbl;               /* vlan_configmode_rsp_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_get_port_memb_2_req_tbl;          /* vlan_get_port_memb_2_req_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_get_port_memb_2_tbl;              /* vlan_get_port_memb_2_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_get_port_memb_2_rsp_tbl;          /* vlan_get_port_memb_2_rsp_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_get_port_trunking_memb_2_tbl;     /* vlan_get_port_trunking_memb_2_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_get_port_trunking_memb_2_rsp_tbl; /* vlan_get_port_trunking_memb_2_rsp_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_get_diag_vlan_info_req_tbl;       /* vlan_get_diag_vlan_info_req_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_id_and_bd_tbl;                    /* vlan_id_and_bd_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_get_diag_vlan_info_rsp_tbl;       /* vlan_get_diag_vlan_info_rsp_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_get_all_created_vlan_2_req_tbl;   /* vlan_get_all_created_vlan_2_req_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_get_all_created_vlan_2_info_tbl;  /* vlan_get_all_created_vlan_2_info_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_get_all_created_vlan_2_rsp_tbl;   /* vlan_get_all_created_vlan_2_rsp_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_dyn_rsvd_vlan_req_tbl;            /* vlan_dyn_rsvd_req_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_dyn_rsvd_vlan_rsp_tbl;            /* vlan_dyn_rsvd_rsp_t */
VLAN_MGR_API extern vlan_mgr_tlv_table_t vlan_mgr_comprgrp_change_notif_tbl;    /* vlan_comprgrp_memb_change_notif_t */

/* ---- Init and count functions -----------------------------------------------
 * An init function writes its record's defaults (0 unless stated; a VLAN
 * bitmap gets the length word 512 and all bits clear; a name buffer is
 * cleared whole) and returns 0. It writes the fixed part only, never a
 * trailing list, and leaves padding bytes alone. A count function returns the
 * number of elements of its record's trailing list (its count member).
 * vlan_mgr_create_update_req_default_init and vlan_mgr_create_update_msg_get_sz
 * are declared in <vlan_mgr/config_req.h>. */

/* vlan_create_notif2_t: field13 8, field12 2, field14 1, field15 1, the rest 0. */
VLAN_MGR_API int32_t vlan_mgr_create_notif2_default_init(void *record);
/* vdc_vlan_id_t: both 0. */
VLAN_MGR_API int32_t vlan_mgr_vdc_vlan_info_init(void *record);
/* vlan_create_notif2_payload_t: count 0. */
VLAN_MGR_API int32_t vlan_mgr_create_notif2_payload_init(void *record);
/* vlan_create_notif2_payload_t: returns count. */
VLAN_MGR_API uint32_t vlan_mgr_create_notif2_payload_data_get_sz(const void *record);
/* vlan_delete_notif2_t: field20 100, field15 1, the rest 0. */
VLAN_MGR_API int32_t vlan_mgr_delete_notif2_default_init(void *record);
/* vlan_delete_notif2_payload_t: count 0. */
VLAN_MGR_API int32_t vlan_mgr_delete_notif2_payload_init(void *record);
/* vlan_delete_notif2_payload_t: returns count. */
VLAN_MGR_API uint32_t vlan_mgr_delete_notif2_payload_data_get_sz(const void *record);
/* vlan_mgr_create_update_t: all 0, name empty. */
VLAN_MGR_API int32_t vlan_mgr_create_update_default_init(void *record);
/* vlan_name_req_t: writes nothing (the caller fills the whole record). */
VLAN_MGR_API int32_t vlan_name_req_msg_default_init(void *record);
/* vlan_name_and_state_t: all 0, name empty. */
VLAN_MGR_API int32_t vlan_name_rsp_default_init(void *record);
/* vlan_name_rsp_t: count 0. */
VLAN_MGR_API int32_t vlan_name_rsp_msg_default_init(void *record);
/* vlan_name_rsp_t: returns count. */
VLAN_MGR_API uint32_t vlan_name_rsp_msg_data_get_sz(const void *record);
/* vlan_configmode_payload_t: 0, 0, empty bitmap. */
VLAN_MGR_API int32_t vlan_configmode_payload_init(void *record);
/* vlan_configmode_rsp_t: 0. */
VLAN_MGR_API int32_t vlan_configmode_rsp_init(void *record);
/* vlan_get_port_memb_2_req_t: field0 1, ifindex_count 0. */
VLAN_MGR_API int32_t vlan_get_port_memb_2_req_init(void *record);
/* vlan_get_port_memb_2_req_t: returns ifindex_count. */
VLAN_MGR_API uint32_t vlan_get_port_memb_2_req_ifindex_list_get_sz(const void *record);
/* vlan_get_port_memb_2_t: 0, 1, 1, 0, 0, 0. */
VLAN_MGR_API int32_t vlan_get_port_memb_2_init(void *record);
/* vlan_get_port_memb_2_rsp_t: both 0. */
VLAN_MGR_API int32_t vlan_get_port_memb_2_rsp_init(void *record);
/* vlan_get_port_memb_2_rsp_t: returns count. */
VLAN_MGR_API uint32_t vlan_get_port_memb_2_rsp_get_port_memb_list_sz(const void *record);
/* vlan_get_port_trunking_memb_2_t: words 0, both bitmaps empty. */
VLAN_MGR_API int32_t vlan_get_port_trunking_memb_2_init(void *record);
/* vlan_get_port_trunking_memb_2_rsp_t: both 0. */
VLAN_MGR_API int32_t vlan_get_port_trunking_memb_2_rsp_init(void *record);
/* vlan_get_port_trunking_memb_2_rsp_t: returns count. */
VLAN_MGR_API uint32_t vlan_get_port_trunking_memb_2_rsp_get_port_memb_list_sz(const void *record);
/* vlan_get_diag_vlan_info_req_t: 0. */
VLAN_MGR_API int32_t vlan_get_diag_vlan_info_req_init(void *record);
/* vlan_id_and_bd_t: both 0. */
VLAN_MGR_API int32_t vlan_id_and_bd_init(void *record);
/* vlan_get_diag_vlan_info_rsp_t: both 0. */
VLAN_MGR_API int32_t vlan_get_diag_vlan_info_rsp_init(void *record);
/* vlan_get_diag_vlan_info_rsp_t: returns count. */
VLAN_MGR_API uint32_t vlan_get_diag_vlan_info_rsp_vlan_id_and_bd_list_sz(const void *record);
/* vlan_get_all_created_vlan_2_req_t: 0. */
VLAN_MGR_API int32_t vlan_get_all_created_vlan_2_req_init(void *record);
/* vlan_get_all_created_vlan_2_info_t: field6 2, field7 8, the rest 0. */
VLAN_MGR_API int32_t vlan_get_all_created_vlan_2_info_init(void *record);
/* vlan_get_all_created_vlan_2_rsp_t: both 0. */
VLAN_MGR_API int32_t vlan_get_all_created_vlan_2_rsp_init(void *record);
/* vlan_get_all_created_vlan_2_rsp_t: returns count. */
VLAN_MGR_API uint32_t vlan_get_all_created_vlan_2_rsp_list_sz(const void *record);
/* vlan_dyn_rsvd_req_t: field32 5. */
VLAN_MGR_API int32_t vlan_dyn_rsvd_vlan_req_msg_default_init(void *record);
/* vlan_dyn_rsvd_rsp_t: five empty bitmaps. */
VLAN_MGR_API int32_t vlan_get_dyn_rsvd_vlan_rsp_default_init(void *record);
/* vlan_comprgrp_memb_change_notif_t: writes nothing. */
VLAN_MGR_API int32_t vlan_mgr_comprgrp_change_notif_init(void *record);

/* ---- Accessor families ------------------------------------------------------
 * Each family passes its schema table T to the TLV utility (see the utility's
 * documentation for the meaning of the arguments) and forwards the rest
 * unchanged. For a family `prefix`:
 *
 *   prefix_field_itr_init(itr, tlv, tlv_len, flags, depth): starts a walk over
 *       the fields of a TLV buffer; returns the utility's result.
 *   prefix_field_get_next(itr, field): the next field of the walk; returns the
 *       utility's result.
 *   prefix_get_field(tlv, tlv_len, field_id, value, value_len): copies one
 *       field out of a TLV buffer; returns the utility's result.
 *   prefix_get_struct_sz(tlv): the size of the record that the TLV buffer
 *       decodes to, or -1 when the utility refuses the buffer.
 *   prefix_get_tlv_sz(record): the size of the record's TLV form.
 *   prefix_to_tlv(record, tlv, tlv_len, headroom, fields_written, flags):
 *       encodes the record into a new buffer stored in *tlv (the caller frees
 *       it with free) and its length in *tlv_len; returns 0 or the utility's
 *       error code.
 *   prefix_to_struct(record, tlv, tlv_len, flags): decodes the buffer into a
 *       new record stored in *record (the caller frees it with free); returns
 *       0 or the utility's error code.
 *
 * `itr` and `field` point to the utility's iterator and field records. The
 * get_struct_sz, to_tlv and to_struct members print a refusal as
 * "<their own name>: ERR 0x<code>" through the utility's error printer. */
#define VLAN_MGR_TLV_DECLARE_ACCESSORS(prefix)                                                                  \
    VLAN_MGR_API int32_t prefix##_field_itr_init(void *itr, const void *tlv, uint32_t tlv_len, uint32_t flags,  \
                                                 uint16_t depth);                                               \
    VLAN_MGR_API int32_t prefix##_field_get_next(void *itr, void *field);                                       \
    VLAN_MGR_API int32_t prefix##_get_field(const void *tlv, uint32_t tlv_len, int32_t field_id, void *value,   \
                                            uint32_t *value_len);                                               \
    VLAN_MGR_API int32_t prefix##_get_struct_sz(const void *tlv);                                               \
    VLAN_MGR_API uint32_t prefix##_get_tlv_sz(const void *record);                                              \
    VLAN_MGR_API int32_t prefix##_to_tlv(const void *record, void **tlv, uint32_t *tlv_len, uint32_t headroom,  \
                                         uint32_t *fields_written, uint32_t flags);                             \
    VLAN_MGR_API int32_t prefix##_to_struct(void **record, const void *tlv, uint32_t tlv_len, uint32_t flags);

VLAN_MGR_TLV_DECLARE_ACCESSORS(vlan_mgr_create_notif2)                   /* vlan_mgr_create_notif2_tbl */
VLAN_MGR_TLV_DECLARE_ACCESSORS(vlan_mgr_vdc_vlan_info_tlv)               /* vlan_mgr_vdc_vlan_info_tbl */
VLAN_MGR_TLV_DECLARE_ACCESSORS(vlan_mgr_create_notif2_payload)           /* vlan_mgr_create_notif2_payload_tbl */
VLAN_MGR_TLV_DECLARE_ACCESSORS(vlan_mgr_delete_notif2)                   /* vlan_mgr_delete_notif2_tbl */
VLAN_MGR_TLV_DECLARE_ACCESSORS(vlan_mgr_delete_notif2_payload)           /* vlan_mgr_delete_notif2_payload_tbl */
VLAN_MGR_TLV_DECLARE_ACCESSORS(vlan_mgr_create_update)                   /* vlan_mgr_create_update_tbl */
VLAN_MGR_TLV_DECLARE_ACCESSORS(vlan_mgr_create_update_req)               /* vlan_mgr_create_update_req_tbl */
VLAN_MGR_TLV_DECLARE_ACCESSORS(vlan_mgr_get_range_created_vlan_name_req) /* vlan_mgr_name_info_req_tbl */
VLAN_MGR_TLV_DECLARE_ACCESSORS(vlan_mgr_get_created_vlan_name_rsp)       /* vlan_mgr_name_rsp_tbl */
VLAN_MGR_TLV_DECLARE_ACCESSORS(vlan_mgr_get_range_created_vlan_name_rsp) /* vlan_mgr_name_info_rsp_tbl */
VLAN_MGR_TLV_DECLARE_ACCESSORS(vlan_configmode_payload)                  /* vlan_configmode_payload_tbl */
VLAN_MGR_TLV_DECLARE_ACCESSORS(vlan_configmode_rsp)                      /* vlan_configmode_rsp_tbl */
VLAN_MGR_TLV_DECLARE_ACCESSORS(vlan_get_port_memb_2_req)                 /* vlan_get_port_memb_2_req_tbl */
VLAN_MGR_TLV_DECLARE_ACCESSORS(vlan_get_port_memb_2_rsp)                 /* vlan_get_port_memb_2_rsp_tbl */
VLAN_MGR_TLV_DECLARE_ACCESSORS(vlan_get_port_trunking_memb_2_rsp)        /* vlan_get_port_trunking_memb_2_rsp_tbl */
VLAN_MGR_TLV_DECLARE_ACCESSORS(vlan_get_diag_vlan_info_req)              /* vlan_get_diag_vlan_info_req_tbl */
VLAN_MGR_TLV_DECLARE_ACCESSORS(vlan_get_diag_vlan_info_rsp)              /* vlan_get_diag_vlan_info_rsp_tbl */
VLAN_MGR_TLV_DECLARE_ACCESSORS(vlan_get_all_created_vlan_2_req)          /* vlan_get_all_created_vlan_2_req_tbl */
VLAN_MGR_TLV_DECLARE_ACCESSORS(vlan_get_all_created_vlan_2_rsp)          /* vlan_get_all_created_vlan_2_rsp_tbl */
VLAN_MGR_TLV_DECLARE_ACCESSORS(vlan_get_dyn_rsvd_vlan_req)               /* vlan_dyn_rsvd_vlan_req_tbl */
VLAN_MGR_TLV_DECLARE_ACCESSORS(vlan_get_dyn_rsvd_vlan_rsp)               /* vlan_dyn_rsvd_vlan_rsp_tbl */
VLAN_MGR_TLV_DECLARE_ACCESSORS(vlan_mgr_comprgrp_change_notif)           /* vlan_mgr_comprgrp_change_notif_tbl */

#undef VLAN_MGR_TLV_DECLARE_ACCESSORS

/* ---- TLV-framed messages ----------------------------------------------------
 * A builder clears *tlv and *tlv_len, then encodes the filled-in record (start
 * from its init function) into a new TLV buffer that the caller sends and
 * frees with free. A parser clears *record, then decodes a received TLV
 * buffer into a new record that the caller frees with free. Both return 0 or
 * the TLV utility's error code (already printed by the record's accessor),
 * and check nothing themselves: the out-pointers must be valid. The MTS
 * opcode is the sender's choice. */

/* Compression-group membership change (vlan_mgr_comprgrp_change_notif). */
VLAN_MGR_API int32_t vlan_build_comprgrp_memb_change_msg(const vlan_comprgrp_memb_change_notif_t *msg, void **tlv,
                                                         uint32_t *tlv_len);
VLAN_MGR_API int32_t vlan_parse_comprgrp_memb_change_msg(const void *tlv, uint32_t tlv_len,
                                                         vlan_comprgrp_memb_change_notif_t **msg);
/* Created-VLAN listing query (vlan_get_all_created_vlan_2_req). */
VLAN_MGR_API int32_t vlan_build_get_all_created_vlan_2_req(const vlan_get_all_created_vlan_2_req_t *msg, void **tlv,
                                                           uint32_t *tlv_len);
VLAN_MGR_API int32_t vlan_parse_get_all_created_vlan_2_req(const void *tlv, uint32_t tlv_len,
                                                           vlan_get_all_created_vlan_2_req_t **msg);
/* Created-VLAN listing response (vlan_get_all_created_vlan_2_rsp). */
VLAN_MGR_API int32_t vlan_build_get_all_created_vlan_2_rsp(const vlan_get_all_created_vlan_2_rsp_t *msg, void **tlv,
                                                           uint32_t *tlv_len);
VLAN_MGR_API int32_t vlan_parse_get_all_created_vlan_2_rsp(const void *tlv, uint32_t tlv_len,
                                                           vlan_get_all_created_vlan_2_rsp_t **msg);
/* Diagnostic VLAN info query (vlan_get_diag_vlan_info_req). */
VLAN_MGR_API int32_t vlan_build_get_diag_vlan_info_req(const vlan_get_diag_vlan_info_req_t *msg, void **tlv,
                                                       uint32_t *tlv_len);
VLAN_MGR_API int32_t vlan_parse_get_diag_vlan_info_req(const void *tlv, uint32_t tlv_len,
                                                       vlan_get_diag_vlan_info_req_t **msg);
/* Diagnostic VLAN info response (vlan_get_diag_vlan_info_rsp). */
VLAN_MGR_API int32_t vlan_build_get_diag_vlan_info_rsp(const vlan_get_diag_vlan_info_rsp_t *msg, void **tlv,
                                                       uint32_t *tlv_len);
VLAN_MGR_API int32_t vlan_parse_get_diag_vlan_info_rsp(const void *tlv, uint32_t tlv_len,
                                                       vlan_get_diag_vlan_info_rsp_t **msg);
/* Trunking membership response (vlan_get_port_trunking_memb_2_rsp); there is
 * no request pair. */
VLAN_MGR_API int32_t vlan_build_get_port_trunking_memb_2_rsp(const vlan_get_port_trunking_memb_2_rsp_t *msg,
                                                             void **tlv, uint32_t *tlv_len);
VLAN_MGR_API int32_t vlan_parse_get_port_trunking_memb_2_rsp(const void *tlv, uint32_t tlv_len,
                                                             vlan_get_port_trunking_memb_2_rsp_t **msg);
/* Port membership query (vlan_get_port_memb_2_req). */
VLAN_MGR_API int32_t vlan_build_get_port_memb_2_req(const vlan_get_port_memb_2_req_t *msg, void **tlv,
                                                    uint32_t *tlv_len);
VLAN_MGR_API int32_t vlan_parse_get_port_memb_2_req(const void *tlv, uint32_t tlv_len,
                                                    vlan_get_port_memb_2_req_t **msg);
/* Port membership response (vlan_get_port_memb_2_rsp). */
VLAN_MGR_API int32_t vlan_build_get_port_memb_2_rsp(const vlan_get_port_memb_2_rsp_t *msg, void **tlv,
                                                    uint32_t *tlv_len);
VLAN_MGR_API int32_t vlan_parse_get_port_memb_2_rsp(const void *tlv, uint32_t tlv_len,
                                                    vlan_get_port_memb_2_rsp_t **msg);
/* Configuration-mode change response (vlan_configmode_rsp). */
VLAN_MGR_API int32_t vlan_build_vlan_configmode_change_rsp(const vlan_configmode_rsp_t *msg, void **tlv,
                                                           uint32_t *tlv_len);
VLAN_MGR_API int32_t vlan_parse_vlan_configmode_change_rsp(const void *tlv, uint32_t tlv_len,
                                                           vlan_configmode_rsp_t **msg);
/* Configuration-mode change notification (vlan_configmode_payload). */
VLAN_MGR_API int32_t vlan_build_vlan_configmode_change_notif(const vlan_configmode_payload_t *msg, void **tlv,
                                                             uint32_t *tlv_len);
VLAN_MGR_API int32_t vlan_parse_vlan_configmode_change_notif(const void *tlv, uint32_t tlv_len,
                                                             vlan_configmode_payload_t **msg);
/* Configuration-mode change request: the same record and encoding as the
 * notification; these call the notification's builder and parser. */
VLAN_MGR_API int32_t vlan_build_vlan_configmode_change_req(const vlan_configmode_payload_t *msg, void **tlv,
                                                           uint32_t *tlv_len);
VLAN_MGR_API int32_t vlan_parse_vlan_configmode_change_req(const void *tlv, uint32_t tlv_len,
                                                           vlan_configmode_payload_t **msg);
/* Dynamic reserved-VLAN info query (vlan_get_dyn_rsvd_vlan_req). */
VLAN_MGR_API int32_t vlan_build_get_dyn_rsvd_vlan_info_req_msg(const vlan_dyn_rsvd_req_t *msg, void **tlv,
                                                               uint32_t *tlv_len);
VLAN_MGR_API int32_t vlan_parse_get_dyn_rsvd_vlan_info_req_msg(const void *tlv, uint32_t tlv_len,
                                                               vlan_dyn_rsvd_req_t **msg);
/* Dynamic reserved-VLAN info response (vlan_get_dyn_rsvd_vlan_rsp). */
VLAN_MGR_API int32_t vlan_build_get_dyn_rsvd_vlan_info_rsp_msg(const vlan_dyn_rsvd_rsp_t *msg, void **tlv,
                                                               uint32_t *tlv_len);
VLAN_MGR_API int32_t vlan_parse_get_dyn_rsvd_vlan_info_rsp_msg(const void *tlv, uint32_t tlv_len,
                                                               vlan_dyn_rsvd_rsp_t **msg);
/* VLAN-name range query (vlan_mgr_get_range_created_vlan_name_req). */
VLAN_MGR_API int32_t vlan_build_get_range_created_vlan_req_msg(const vlan_name_req_t *msg, void **tlv,
                                                               uint32_t *tlv_len);
VLAN_MGR_API int32_t vlan_parse_get_range_created_vlan_req_msg(const void *tlv, uint32_t tlv_len,
                                                               vlan_name_req_t **msg);
/* VLAN-name range response (vlan_mgr_get_range_created_vlan_name_rsp). */
VLAN_MGR_API int32_t vlan_build_get_range_created_vlan_rsp_msg(const vlan_name_rsp_t *msg, void **tlv,
                                                               uint32_t *tlv_len);
VLAN_MGR_API int32_t vlan_parse_get_range_created_vlan_rsp_msg(const void *tlv, uint32_t tlv_len,
                                                               vlan_name_rsp_t **msg);

VLAN_MGR_END_DECLS

#endif
