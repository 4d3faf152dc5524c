/* Notifications: decoding the VLAN manager's change, create and delete notifications. */
#ifndef VLAN_MGR_NOTIF_H
#define VLAN_MGR_NOTIF_H

#include <vlan_mgr/frame.h>
#include <vlan_mgr/tlv.h>

VLAN_MGR_BEGIN_DECLS

/* The transport's message handle (declared by the platform). */
struct mts_msg_hdl;

/* The caller's allocator of the notification parsers: returns `size` bytes
 * or NULL. The caller frees what it returned with its own counterpart. */
typedef void *(*vlan_mgr_notif_alloc_fn)(size_t size);

/* Status codes of the notification parsers. */
#define VLAN_MGR_ERR_NOTIF_ALLOC 0x4110000bu /* the caller's allocator returned NULL */
#define VLAN_MGR_ERR_NOTIF_EMPTY 0x41100011u /* the notification holds no record */

/* ---- Notification opcodes -------------------------------------------------- */

#define VLAN_MGR_NOTIF_FIRST_OPC       0x5C03u /* lowest opcode either parser accepts */
#define VLAN_MGR_NOTIF_LAST_OPC        0x5C4Fu /* highest of vlan_mgr_parse_notification_msg */
#define VLAN_MGR_NOTIF_LAST_LOCAL_OPC  0x5C38u /* highest of the _local parser */
#define VLAN_MGR_NOTIF_VLAN_CREATE     0x5C1Du /* VLANs created: BD ids (cache set) */
#define VLAN_MGR_NOTIF_VLAN_NAME       0x5C21u /* VLAN name records */
#define VLAN_MGR_NOTIF_VLAN_DELETE     0x5C22u /* VLANs deleted (cache cleared) */
#define VLAN_MGR_NOTIF_IF_LISTS        0x5C25u /* interface lists */
#define VLAN_MGR_NOTIF_BD_CHANGE       0x5C2Bu /* BD ids of one VDC (cache set) */
#define VLAN_MGR_NOTIF_VLAN_CREATE_2   0x1D40Eu /* create notification, other opcode */
#define VLAN_MGR_NOTIF_VLAN_DELETE_2   0x1D40Fu /* delete notification, other opcode */

/* ---- Change notification records (host order) -----------------------------
 * Members are named after what they carry where that is known (VDC, VLAN and
 * BD ids, interface indexes, VLAN bitmaps), otherwise after their offset in
 * the record (vNN). Members marked "not written" are left by the parsers as
 * the caller's allocator returned them. All records are packed. */

/* 0x5C03: element i at payload 8 + 16i. */
typedef struct VLAN_MGR_PACKED vlan_mgr_notif_5c03 {
    uint16_t v0;     /* payload 8 */
    uint32_t v2;     /* payload 10 */
    uint16_t vdc_id; /* payload 14 */
    uint32_t v8;     /* payload 16 */
    uint32_t v12;    /* payload 20 */
} vlan_mgr_notif_5c03_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_5c03_t, 16);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_5c03_t, v2, 2);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_5c03_t, vdc_id, 6);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_5c03_t, v12, 12);

typedef struct VLAN_MGR_PACKED vlan_mgr_notif_5c03_local {
    uint16_t v0;
    uint32_t v2;
    uint32_t v6;     /* payload 16 */
    uint32_t v10;    /* payload 20 */
} vlan_mgr_notif_5c03_local_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_5c03_local_t, 14);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_5c03_local_t, v10, 10);

/* 0x5C1D: VLANs created; element i at payload 4 + 40i. Each record sets the
 * BD cache entry of (vdc_id, vlan_id) to bd_id. */
typedef struct VLAN_MGR_PACKED vlan_mgr_notif_vlan_create {
    uint16_t bd_id;   /* element 0 */
    uint16_t v2;      /* element 2 */
    uint16_t v4;      /* element 4 */
    uint16_t vdc_id;  /* element 6 */
    uint32_t vlan_id; /* element 8 */
    uint32_t v12;     /* element 12 */
    uint32_t v16;     /* not written (element 16 is not read) */
    uint32_t v20;     /* element 20 */
    uint32_t v24;
    uint32_t v28;
    uint32_t v32;
    uint32_t v36;     /* element 36 */
} vlan_mgr_notif_vlan_create_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_vlan_create_t, 40);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_vlan_create_t, vdc_id, 6);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_vlan_create_t, vlan_id, 8);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_vlan_create_t, v36, 36);

typedef struct VLAN_MGR_PACKED vlan_mgr_notif_vlan_create_local {
    uint16_t bd_id;
    uint16_t v2;
    uint16_t v4;
    uint32_t vlan_id; /* element 8 */
    uint32_t v10;     /* element 12 */
    uint32_t v14;     /* element 20 */
    uint32_t v18;
    uint32_t v22;
    uint32_t v26;     /* element 32 */
    uint32_t v30;     /* not written */
} vlan_mgr_notif_vlan_create_local_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_vlan_create_local_t, 34);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_vlan_create_local_t, vlan_id, 6);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_vlan_create_local_t, v26, 26);

/* 0x5C1E, 0x5C23: one record with n trailing interface indexes. */
typedef struct VLAN_MGR_PACKED vlan_mgr_notif_5c1e {
    uint16_t v0;
    uint32_t v2;
    uint16_t v6;
    uint32_t v8;
    uint32_t v12;
    uint32_t n;
    uint32_t if_index[]; /* n of them */
} vlan_mgr_notif_5c1e_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_5c1e_t, 20);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_5c1e_t, n, 16);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_5c1e_t, if_index, 20);

typedef struct VLAN_MGR_PACKED vlan_mgr_notif_5c1e_local {
    uint32_t v0; /* payload 2 */
    uint32_t v4; /* payload 8 */
    uint32_t v8; /* payload 12 */
    uint32_t n;
    uint32_t if_index[];
} vlan_mgr_notif_5c1e_local_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_5c1e_local_t, 16);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_5c1e_local_t, if_index, 16);

/* 0x5C1F: four VLAN bitmaps (length words written as 512). */
typedef struct VLAN_MGR_PACKED vlan_mgr_notif_5c1f {
    uint16_t vdc_id;
    vlan_bitmap bitmap[4];
} vlan_mgr_notif_5c1f_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_5c1f_t, 2066);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_5c1f_t, bitmap, 2);

typedef struct VLAN_MGR_PACKED vlan_mgr_notif_5c1f_local {
    vlan_bitmap bitmap[4];
} vlan_mgr_notif_5c1f_local_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_5c1f_local_t, 2064);

/* 0x5C20: one VLAN bitmap. */
typedef struct VLAN_MGR_PACKED vlan_mgr_notif_5c20 {
    uint16_t vdc_id;
    uint16_t v2; /* not written */
    uint32_t v4;
    vlan_bitmap bitmap;
} vlan_mgr_notif_5c20_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_5c20_t, 524);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_5c20_t, bitmap, 8);

typedef struct VLAN_MGR_PACKED vlan_mgr_notif_5c20_local {
    uint32_t v0;
    vlan_bitmap bitmap;
} vlan_mgr_notif_5c20_local_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_5c20_local_t, 520);

/* 0x5C21: VLAN name records, same form in both parsers. An 18-byte header,
 * then len_a + len_b bytes: two texts (len_a and len_b bytes, copied up to
 * their first NUL) or, when `flag` is non-zero, two 32-bit values. */
typedef struct VLAN_MGR_PACKED vlan_mgr_notif_vlan_name {
    uint16_t v0;
    uint32_t v2;
    uint32_t flag;
    uint32_t len_a;
    uint32_t len_b;
    uint8_t data[];
} vlan_mgr_notif_vlan_name_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_vlan_name_t, 18);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_vlan_name_t, len_a, 10);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_vlan_name_t, len_b, 14);

/* 0x5C22: VLANs deleted; element i at payload 4 + 12i. Each record clears the
 * BD cache entry of (vdc_id, vlan_id). */
typedef struct VLAN_MGR_PACKED vlan_mgr_notif_vlan_delete {
    uint16_t bd_id;
    uint16_t vdc_id;
    uint32_t vlan_id;
    uint32_t v8;
} vlan_mgr_notif_vlan_delete_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_vlan_delete_t, 12);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_vlan_delete_t, vlan_id, 4);

typedef struct VLAN_MGR_PACKED vlan_mgr_notif_vlan_delete_local {
    uint16_t bd_id;
    uint32_t vlan_id;
    uint32_t v6;
} vlan_mgr_notif_vlan_delete_local_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_vlan_delete_local_t, 10);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_vlan_delete_local_t, v6, 6);

/* 0x5C24 (and 0x5C38 in the _local parser): element i at payload 1044i. */
typedef struct VLAN_MGR_PACKED vlan_mgr_notif_5c24 {
    uint16_t v0;     /* not written */
    uint16_t vdc_id;
    uint32_t if_index;
    uint32_t v8;
    vlan_bitmap bitmap[2];
} vlan_mgr_notif_5c24_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_5c24_t, 1044);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_5c24_t, bitmap, 12);

typedef struct VLAN_MGR_PACKED vlan_mgr_notif_5c24_local {
    uint32_t if_index;
    uint32_t v4;
    vlan_bitmap bitmap;
} vlan_mgr_notif_5c24_local_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_5c24_local_t, 524);

/* 0x5C25: interface lists. Each record: w0, two 16-bit values, w2, and the
 * three list lengths n3, n4, n5, then n3 + n4 + n5 interface indexes. The
 * _local form drops the 16-bit VDC id (the record is 2 bytes shorter). */
typedef struct VLAN_MGR_PACKED vlan_mgr_notif_if_lists {
    uint32_t w0;
    uint16_t v4;
    uint16_t vdc_id;
    uint32_t w2;
    uint32_t n3, n4, n5;
    uint32_t if_index[];
} vlan_mgr_notif_if_lists_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_if_lists_t, 24);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_if_lists_t, n3, 12);

typedef struct VLAN_MGR_PACKED vlan_mgr_notif_if_lists_local {
    uint32_t w0;
    uint16_t v4;
    uint32_t w2;
    uint32_t n3, n4, n5;
    uint32_t if_index[];
} vlan_mgr_notif_if_lists_local_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_if_lists_local_t, 22);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_if_lists_local_t, n3, 10);

/* 0x5C26: one record. */
typedef struct VLAN_MGR_PACKED vlan_mgr_notif_5c26 {
    uint16_t vdc_id;
    uint32_t v2, v6, v10;
} vlan_mgr_notif_5c26_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_5c26_t, 14);

typedef struct VLAN_MGR_PACKED vlan_mgr_notif_5c26_local {
    uint32_t v0, v4, v8;
} vlan_mgr_notif_5c26_local_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_5c26_local_t, 12);

/* 0x5C28: element i at payload 1568i. */
typedef struct VLAN_MGR_PACKED vlan_mgr_notif_5c28 {
    uint32_t if_index;
    uint32_t v4;
    uint16_t v8;
    uint16_t vdc_id;
    uint32_t v12, v16;
    vlan_bitmap bitmap[3];
} vlan_mgr_notif_5c28_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_5c28_t, 1568);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_5c28_t, bitmap, 20);

typedef struct VLAN_MGR_PACKED vlan_mgr_notif_5c28_local {
    uint32_t if_index;
    uint32_t v4;
    uint16_t v8;
    uint32_t v10, v14;
    vlan_bitmap bitmap[3];
    uint16_t v1566; /* not written */
} vlan_mgr_notif_5c28_local_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_5c28_local_t, 1568);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_5c28_local_t, bitmap, 18);

/* 0x5C29: element i at payload 4 + 30i (full parser only). */
typedef struct VLAN_MGR_PACKED vlan_mgr_notif_5c29 {
    uint16_t v0;
    uint32_t v2;
    uint16_t v6;
    uint32_t v8, v12, v16, v20;
    uint16_t v24; /* written as 0 */
    uint32_t v26;
} vlan_mgr_notif_5c29_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_5c29_t, 30);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_5c29_t, v26, 26);

/* 0x5C2B: BD ids of one VDC (payload 2); element i at payload 8 + 8i. Each
 * record sets the BD cache entry of (that VDC, vlan_id) to bd_id. The same
 * record in both parsers. */
typedef struct VLAN_MGR_PACKED vlan_mgr_notif_bd_change {
    uint32_t vlan_id;
    uint16_t bd_id;
    uint16_t v6;
} vlan_mgr_notif_bd_change_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_bd_change_t, 8);

/* 0x5C2C: element i at payload 1052i. */
typedef struct VLAN_MGR_PACKED vlan_mgr_notif_5c2c {
    uint32_t if_index;
    uint16_t v4;
    uint32_t v6;
    uint16_t v10;
    uint32_t v12;
    vlan_bitmap bitmap;
} vlan_mgr_notif_5c2c_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_5c2c_t, 532);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_notif_5c2c_t, bitmap, 16);

typedef struct VLAN_MGR_PACKED vlan_mgr_notif_5c2c_local {
    uint32_t if_index;
    uint32_t v4; /* payload 14 */
    uint32_t v8; /* payload 1056 */
    vlan_bitmap bitmap;
} vlan_mgr_notif_5c2c_local_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_5c2c_local_t, 528);

/* 0x5C4E, 0x5C4F: one record with n trailing interface indexes (full parser
 * only). */
typedef struct VLAN_MGR_PACKED vlan_mgr_notif_5c4e {
    uint16_t v0;
    uint32_t v2;
    uint32_t n;
    uint32_t if_index[];
} vlan_mgr_notif_5c4e_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_notif_5c4e_t, 10);

/* ---- Change notifications ------------------------------------------------------
 *
 * vlan_mgr_parse_notification_msg (msg, records, count, alloc): decodes the
 * payload of a change notification, chosen by its opcode, into one array of
 * host-order records obtained from `alloc` (the caller frees it with its
 * counterpart), stores it in *records and the number of records in *count
 * (both cleared first), and updates the BD cache after each record of 0x5C1D,
 * 0x5C2B (set) and 0x5C22 (clear). Handled opcodes: 0x5C03, 0x5C1D, 0x5C1E,
 * 0x5C1F, 0x5C20, 0x5C21, 0x5C22, 0x5C23, 0x5C24, 0x5C25, 0x5C26, 0x5C28,
 * 0x5C29, 0x5C2B, 0x5C2C, 0x5C4E, 0x5C4F. `msg`, `records` and `count` must be
 * valid. Returns:
 *   0;
 *   VLAN_MGR_ERR_INVALID_ARG: `alloc` NULL, an opcode not handled;
 *   0x41100011: the record count (0x5C25: the total size) is 0;
 *   0x4110000b: the allocator returned NULL (0x41100002 for 0x5C2C);
 *   VLAN_MGR_ERR_TRUNCATED: the payload (mts_payload_size) is shorter than
 *     its counts and lengths claim, or their byte size overflows; nothing is
 *     allocated and the BD cache is unchanged.
 * On failure *records stays NULL and nothing is allocated; for 0x5C21 *count
 * already holds the count when the allocator fails.
 *
 * 0x5C21: every record is stepped over and its texts copied with the first
 * record's two lengths (all records of one notification have the same
 * lengths), while each record's header, its own two lengths included, is
 * copied from its own input record; vlan_mgr_config_changed_notif_* walk the
 * records by those lengths. A
 * record whose flag is set needs 8 bytes of values (len_a + len_b >= 8);
 * otherwise the notification is refused as VLAN_MGR_ERR_TRUNCATED. */
VLAN_MGR_API uint32_t vlan_mgr_parse_notification_msg(const struct mts_msg_hdl *msg, void **records, uint32_t *count,
                                                      vlan_mgr_notif_alloc_fn alloc);

/* The same for the record forms without the VDC id (the *_local_t records):
 * opcodes 0x5C03 to 0x5C38; handles 0x5C03, 0x5C1D, 0x5C1E, 0x5C1F, 0x5C20,
 * 0x5C21, 0x5C22, 0x5C23, 0x5C24, 0x5C25, 0x5C26, 0x5C28, 0x5C2B, 0x5C2C and
 * 0x5C38 (as 0x5C24); the cache is updated as by the full parser, with the
 * VDC id read from the payload. Codes as above. */
VLAN_MGR_API uint32_t vlan_mgr_parse_notification_msg_local(const struct mts_msg_hdl *msg, void **records,
                                                            uint32_t *count, vlan_mgr_notif_alloc_fn alloc);

/* Brings the BD cache up to date from a change notification without handing
 * out records: runs the _local parser with malloc and frees its records.
 * Returns VLAN_MGR_ERR_INVALID_ARG for a NULL `msg`, otherwise the parser's
 * result. */
VLAN_MGR_API uint32_t vlan_mgr_update_bd_cache_local(const struct mts_msg_hdl *msg);

/* ---- Create/delete notifications ------------------------------------------
 *
 * vlan_mgr_parse_create_notification_msg (msg, records, count, alloc):
 * opcode 0x5C1D or 0x1D40E. The payload is a 32-bit count N, N fixed entries
 * of 40 bytes, then optionally the TLV part (vlan_create_notif2_payload_t).
 * Either form is handed out as N vlan_create_notif2_t records in one array
 * from `alloc` (N x 73 bytes on both paths). Without a TLV part the records
 * are made from the fixed entries (field11 and field30 not written, name
 * empty); with one, the fixed list is ignored and the TLV records are copied,
 * names cut to 32 characters and terminated. The BD cache is not touched.
 * Returns:
 *   0;
 *   VLAN_MGR_ERR_INVALID_ARG: another opcode, or `alloc` NULL;
 *   0x41100011: N is 0, or the TLV part holds no record;
 *   0x4110000b: the allocator returned NULL;
 *   VLAN_MGR_ERR_TRUNCATED: the payload is shorter than 4 + 40N bytes (or
 *     than its count word);
 *   a TLV utility error code of the TLV part, as printed by
 *     "vlan_mgr_create_notif2_payload_to_struct: ERR 0x<code>".
 * On failure *records stays NULL and nothing stays allocated. `msg`,
 * `records` and `count` must be valid. */
VLAN_MGR_API uint32_t vlan_mgr_parse_create_notification_msg(const struct mts_msg_hdl *msg,
                                                             vlan_create_notif2_t **records, uint32_t *count,
                                                             vlan_mgr_notif_alloc_fn alloc);
/* The same for deleted VLANs: opcode 0x5C22 or 0x1D40F, fixed entries of 12
 * bytes, N x 53 bytes asked of `alloc`; a record made from a fixed entry has
 * field20 from the entry, field15 0, the name empty and field31 not
 * written. */
VLAN_MGR_API uint32_t vlan_mgr_parse_delete_notification_msg(const struct mts_msg_hdl *msg,
                                                             vlan_delete_notif2_t **records, uint32_t *count,
                                                             vlan_mgr_notif_alloc_fn alloc);

/* ---- Config-change iterator -------------------------------------------------
 * Walks the VLAN name records (vlan_mgr_notif_vlan_name_t) that the parsers
 * hand out for 0x5C21, record by record, each 18 + len_a + len_b bytes long.
 * The walk trusts those lengths: pass an array as a parser handed it out. */
typedef struct vlan_mgr_config_changed_notif_iter {
    const void *first;   /* the first record */
    uint32_t remaining;  /* records not yet returned */
    uint32_t first_call; /* 1 until the first record was returned */
} vlan_mgr_config_changed_notif_iter_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_config_changed_notif_iter_t, VLAN_MGR_WORDS_SIZE(2, 1));
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_config_changed_notif_iter_t, remaining, sizeof(void *));

/* Starts a walk over `count` records from `first`. VLAN_MGR_ERR_INVALID_ARG
 * when `first` or `iter` is NULL, else 0. */
VLAN_MGR_API uint32_t vlan_mgr_config_changed_notif_iter_init(const void *first, uint32_t count,
                                                              vlan_mgr_config_changed_notif_iter_t *iter);
/* Sets *cursor to the next record: the first record on the first call, then
 * the record after the one *cursor points at; NULL when none remains.
 * VLAN_MGR_ERR_INVALID_ARG when `iter` or `cursor` is NULL, or when a later
 * call finds *cursor NULL (nothing changes); else 0. */
VLAN_MGR_API uint32_t vlan_mgr_config_changed_notif_get_attr(vlan_mgr_config_changed_notif_iter_t *iter,
                                                             const void **cursor);
/* Ends a walk: calls `release` (when not NULL) with the first record.
 * VLAN_MGR_ERR_INVALID_ARG when `iter` is NULL, else 0. */
VLAN_MGR_API uint32_t vlan_mgr_config_changed_notif_iter_destroy(vlan_mgr_config_changed_notif_iter_t *iter,
                                                                 void (*release)(void *));

/* ---- Create/delete notifications: the TLV part --------------------------- */

/* Decodes the TLV part of a create notification into a new payload record
 * (count, then the records) stored in *payload, which is cleared first; the
 * caller frees the record with free. Returns 0 or the TLV utility's error
 * code, printed as "vlan_mgr_create_notif2_payload_to_struct: ERR 0x<code>". */
VLAN_MGR_API int32_t vlan_mgr_create_notif2_parse_notification(const void *tlv, uint32_t tlv_len,
                                                               vlan_create_notif2_payload_t **payload);
/* Encodes a create notification's payload record into a new TLV buffer stored
 * in *tlv with its length in *tlv_len (both cleared first); the caller frees
 * the buffer with free and appends it behind the fixed list. Returns 0 or the
 * TLV utility's error code, printed as
 * "vlan_mgr_create_notif2_payload_to_tlv: ERR 0x<code>". */
VLAN_MGR_API int32_t vlan_mgr_create_notif2_build_notification(const vlan_create_notif2_payload_t *payload, void **tlv,
                                                               uint32_t *tlv_len);
/* The same for a delete notification (vlan_mgr_delete_notif2_payload_*). */
VLAN_MGR_API int32_t vlan_mgr_delete_notif2_parse_notification(const void *tlv, uint32_t tlv_len,
                                                               vlan_delete_notif2_payload_t **payload);
VLAN_MGR_API int32_t vlan_mgr_delete_notif2_build_notification(const vlan_delete_notif2_payload_t *payload, void **tlv,
                                                               uint32_t *tlv_len);

VLAN_MGR_END_DECLS

#endif
