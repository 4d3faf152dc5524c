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

VLAN_MGR_END_DECLS

#endif
