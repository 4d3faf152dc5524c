/* VLAN queries: builders and parsers that read VLAN information from the VLAN manager. */
#ifndef VLAN_MGR_QUERY_REQ_H
#define VLAN_MGR_QUERY_REQ_H

#include <vlan_mgr/frame.h>

VLAN_MGR_BEGIN_DECLS

/* ---- Status codes of the queries ------------------------------------------ */

#ifndef VLAN_MGR_ERR_NO_VLANS
#define VLAN_MGR_ERR_NO_VLANS     0x41100011u /* a listing reply with no groups, records or entries */
#endif
#ifndef VLAN_MGR_ERR_INVALID_VLAN
#define VLAN_MGR_ERR_INVALID_VLAN 0x41100012u /* VLAN id outside the query's range */
#endif
#ifndef VLAN_MGR_ERR_INVALID_ATTR
#define VLAN_MGR_ERR_INVALID_ATTR 0x41100076u /* attribute number outside 1..21 */
#endif

/* ---- Result records ------------------------------------------------------ */

/* One VLAN's information, in host order: the VDC id, six attribute words in
 * the reply's order, and the name (at most 32 characters, NUL-terminated). */
typedef struct VLAN_MGR_PACKED vlan_info_record {
    uint16_t vdc_id;
    uint32_t attr[6];
    char name[33];
} vlan_info_record;
VLAN_MGR_ASSERT_SIZE(vlan_info_record, 59);
VLAN_MGR_ASSERT_OFFSET(vlan_info_record, vdc_id, 0);
VLAN_MGR_ASSERT_OFFSET(vlan_info_record, attr, 2);
VLAN_MGR_ASSERT_OFFSET(vlan_info_record, name, 26);

/* vlan_info_record without the VDC id. */
typedef struct VLAN_MGR_PACKED vlan_info_record_local {
    uint32_t attr[6];
    char name[33];
} vlan_info_record_local;
VLAN_MGR_ASSERT_SIZE(vlan_info_record_local, 57);
VLAN_MGR_ASSERT_OFFSET(vlan_info_record_local, attr, 0);
VLAN_MGR_ASSERT_OFFSET(vlan_info_record_local, name, 24);

/* One created VLAN, in host order, naturally aligned (padding bytes are 0). */
typedef struct created_vlan_record {
    uint16_t vdc_id;
    uint32_t vlan_id;
    uint32_t attr2;
    uint16_t bd_id;
    uint32_t attr4;
    uint32_t attr5;
    uint32_t attr6;
} created_vlan_record;
VLAN_MGR_ASSERT_SIZE(created_vlan_record, 28);
VLAN_MGR_ASSERT_OFFSET(created_vlan_record, vdc_id, 0);
VLAN_MGR_ASSERT_OFFSET(created_vlan_record, vlan_id, 4);
VLAN_MGR_ASSERT_OFFSET(created_vlan_record, attr2, 8);
VLAN_MGR_ASSERT_OFFSET(created_vlan_record, bd_id, 12);
VLAN_MGR_ASSERT_OFFSET(created_vlan_record, attr4, 16);
VLAN_MGR_ASSERT_OFFSET(created_vlan_record, attr5, 20);
VLAN_MGR_ASSERT_OFFSET(created_vlan_record, attr6, 24);

/* created_vlan_record without the VDC id, packed (22 bytes). */
typedef struct VLAN_MGR_PACKED created_vlan_record_local {
    uint32_t vlan_id;
    uint32_t attr2;
    uint16_t bd_id;
    uint32_t attr4;
    uint32_t attr5;
    uint32_t attr6;
} created_vlan_record_local;
VLAN_MGR_ASSERT_SIZE(created_vlan_record_local, 22);
VLAN_MGR_ASSERT_OFFSET(created_vlan_record_local, vlan_id, 0);
VLAN_MGR_ASSERT_OFFSET(created_vlan_record_local, attr2, 4);
VLAN_MGR_ASSERT_OFFSET(created_vlan_record_local, bd_id, 8);
VLAN_MGR_ASSERT_OFFSET(created_vlan_record_local, attr4, 10);
VLAN_MGR_ASSERT_OFFSET(created_vlan_record_local, attr5, 14);
VLAN_MGR_ASSERT_OFFSET(created_vlan_record_local, attr6, 18);

/* One VLAN carrying an attribute: its id and, for attribute 7, the low 16
 * bits of its value. The value (other attributes) and `reserved` are not
 * decoded and hold 0. */
typedef struct vlan_attr_entry {
    uint32_t vlan_id;
    uint16_t value;
    uint8_t reserved[2];
} vlan_attr_entry;
VLAN_MGR_ASSERT_SIZE(vlan_attr_entry, 8);
VLAN_MGR_ASSERT_OFFSET(vlan_attr_entry, vlan_id, 0);
VLAN_MGR_ASSERT_OFFSET(vlan_attr_entry, value, 4);
VLAN_MGR_ASSERT_OFFSET(vlan_attr_entry, reserved, 6);

/* One reserved-VLAN information record, in host order, laid out as on the
 * wire (1044 bytes): two unused bytes (0), the VDC id, two VLAN bitmaps
 * (length words 512) and two words. */
typedef struct reserve_vlan_info {
    uint8_t unused[2];
    uint16_t vdc_id;
    vlan_bitmap bitmap1;
    vlan_bitmap bitmap2;
    uint32_t word1;
    uint32_t word2;
} reserve_vlan_info;
VLAN_MGR_ASSERT_SIZE(reserve_vlan_info, 1044);
VLAN_MGR_ASSERT_OFFSET(reserve_vlan_info, unused, 0);
VLAN_MGR_ASSERT_OFFSET(reserve_vlan_info, vdc_id, 2);
VLAN_MGR_ASSERT_OFFSET(reserve_vlan_info, bitmap1, 4);
VLAN_MGR_ASSERT_OFFSET(reserve_vlan_info, bitmap2, 520);
VLAN_MGR_ASSERT_OFFSET(reserve_vlan_info, word1, 1036);
VLAN_MGR_ASSERT_OFFSET(reserve_vlan_info, word2, 1040);

/* reserve_vlan_info without the VDC id (1040 bytes). */
typedef struct reserve_vlan_info_local {
    vlan_bitmap bitmap1;
    vlan_bitmap bitmap2;
    uint32_t word1;
    uint32_t word2;
} reserve_vlan_info_local;
VLAN_MGR_ASSERT_SIZE(reserve_vlan_info_local, 1040);
VLAN_MGR_ASSERT_OFFSET(reserve_vlan_info_local, bitmap1, 0);
VLAN_MGR_ASSERT_OFFSET(reserve_vlan_info_local, bitmap2, 516);
VLAN_MGR_ASSERT_OFFSET(reserve_vlan_info_local, word1, 1032);
VLAN_MGR_ASSERT_OFFSET(reserve_vlan_info_local, word2, 1036);

/* Common to every function below.
 * Builders store the payload length, then the malloc'ed payload; the caller
 * sends it and frees it with free(). On VLAN_MGR_ERR_NO_MEMORY the payload
 * pointer is NULL. Bytes a layout leaves unused are sent as zeros. `payload`
 * and `payload_len` themselves are not checked.
 * Parsers return the status word of a 4-byte reply, VLAN_MGR_ERR_NO_MEMORY
 * for an empty one, and VLAN_MGR_ERR_TRUNCATED (allocating nothing) when a
 * field they read lies beyond payload_len. Arrays they return are malloc'ed
 * and belong to the caller (free()). */

/* ---- VLAN info and next-VLAN info ------------------------------------------ */

/* Builds the 6-byte request for the information of VLAN key->vlan_id in VDC
 * key->vdc_id. Returns 0; VLAN_MGR_ERR_INVALID_ARG (key NULL);
 * VLAN_MGR_ERR_VDC_MISMATCH (reported); VLAN_MGR_ERR_INVALID_VLAN (VLAN id
 * outside 1..4094, not reported); VLAN_MGR_ERR_NO_MEMORY (the length is
 * still set to 6). */
VLAN_MGR_API uint32_t vlan_get_vlan_info_build_mts(const vdc_vlan_id_t *key, void **payload, uint32_t *payload_len);
/* vlan_get_vlan_info_build_mts for VLAN `vlan_id` of the caller's own VDC. */
VLAN_MGR_API uint32_t vlan_get_vlan_info_build_mts_local(uint32_t vlan_id, void **payload, uint32_t *payload_len);

/* Builds the 6-byte request for the VLAN after key->vlan_id (0 asks for the
 * first). As vlan_get_vlan_info_build_mts, except that the VLAN id may be
 * 0..4094 and a rejected id is reported. */
VLAN_MGR_API uint32_t vlan_get_next_vlan_info_build_mts(const vdc_vlan_id_t *key, void **payload,
                                                        uint32_t *payload_len);
/* vlan_get_next_vlan_info_build_mts in the caller's own VDC. */
VLAN_MGR_API uint32_t vlan_get_next_vlan_info_build_mts_local(uint32_t vlan_id, void **payload,
                                                              uint32_t *payload_len);

/* Decodes a 62-byte reply of either query into *record and returns the
 * reply's status (the record is filled whatever its value). A 4-byte reply
 * returns its status and leaves the record untouched. Returns
 * VLAN_MGR_ERR_INVALID_ARG (record or payload NULL), VLAN_MGR_ERR_NO_MEMORY
 * (empty reply), VLAN_MGR_ERR_TRUNCATED (shorter than 62 bytes; the record
 * is untouched). Allocates nothing. */
VLAN_MGR_API uint32_t vlan_get_vlan_info_parse_reply(vlan_info_record *record, const void *payload,
                                                     uint32_t payload_len);
/* vlan_get_vlan_info_parse_reply into a record without the VDC id. */
VLAN_MGR_API uint32_t vlan_get_vlan_info_parse_reply_local(vlan_info_record_local *record, const void *payload,
                                                           uint32_t payload_len);

/* ---- Created-VLAN listings --------------------------------------------------- */

/* Builds the 6-byte request listing every VLAN created in the one VDC of
 * vdc_ids (num_entries must be 1). Returns 0; VLAN_MGR_ERR_INVALID_ARG
 * (vdc_ids NULL or num_entries not 1; reported); VLAN_MGR_ERR_VDC_MISMATCH
 * (reported); VLAN_MGR_ERR_NO_MEMORY. */
VLAN_MGR_API uint32_t vlan_get_all_created_vlan_build_mts(const uint16_t *vdc_ids, uint32_t num_entries,
                                                          void **payload, uint32_t *payload_len);
/* vlan_get_all_created_vlan_build_mts for the caller's own VDC. */
VLAN_MGR_API uint32_t vlan_get_all_created_vlan_build_mts_local(void **payload, uint32_t *payload_len);

/* Builds the 522-byte request listing the created VLANs among those of
 * `bitmap` (its 512 bit bytes are copied; its length word is not read).
 * `bitmap` must be valid. Codes as vlan_get_all_created_vlan_build_mts. */
VLAN_MGR_API uint32_t vlan_get_range_created_vlan_build_mts(const uint16_t *vdc_ids, uint32_t num_entries,
                                                            void **payload, uint32_t *payload_len,
                                                            const vlan_bitmap *bitmap);
/* vlan_get_range_created_vlan_build_mts for the caller's own VDC. */
VLAN_MGR_API uint32_t vlan_get_range_created_vlan_build_mts_local(void **payload, uint32_t *payload_len,
                                                                  const vlan_bitmap *bitmap);

/* Decodes a reply to either listing into *records (*count of them, in reply
 * order), and sets the BD cache entry of every listed VLAN when the cache is
 * switched on. count and payload are checked; records is not and must be
 * valid; *records is NULL and *count 0 unless 0 is returned. Returns 0,
 * the word of a 4-byte reply, VLAN_MGR_ERR_INVALID_ARG,
 * VLAN_MGR_ERR_NO_MEMORY, VLAN_MGR_ERR_NO_VLANS (no groups or no records) or
 * VLAN_MGR_ERR_TRUNCATED. */
VLAN_MGR_API uint32_t vlan_get_all_created_vlan_parse_reply(created_vlan_record **records, uint32_t *count,
                                                            const void *payload, uint32_t payload_len);
/* vlan_get_all_created_vlan_parse_reply into records without the VDC id. */
VLAN_MGR_API uint32_t vlan_get_all_created_vlan_parse_reply_local(created_vlan_record_local **records,
                                                                  uint32_t *count, const void *payload,
                                                                  uint32_t payload_len);

/* ---- VLANs by attribute ----------------------------------------------------- */

/* Builds the 6-byte request for the VLANs carrying attribute `attr` (1..21)
 * in VDC vdc_id. First sets *payload to NULL and *payload_len to 0. Returns
 * 0; VLAN_MGR_ERR_INVALID_ARG (vdc_id is not the caller's own; reported as a
 * VDC mismatch); VLAN_MGR_ERR_INVALID_ATTR (not reported);
 * VLAN_MGR_ERR_NO_MEMORY (*payload_len back to 0). */
VLAN_MGR_API uint32_t vlan_get_vlans_for_attr_value_build_mts(uint16_t vdc_id, int32_t attr, void **payload,
                                                              uint32_t *payload_len);
/* vlan_get_vlans_for_attr_value_build_mts for the caller's own VDC. */
VLAN_MGR_API uint32_t vlan_get_vlans_for_attr_value_build_mts_local(int32_t attr, void **payload,
                                                                    uint32_t *payload_len);

/* Decodes an attribute reply: *attr (the echoed attribute number), *count
 * and *records (for attribute 7 VLAN id and value pairs, otherwise VLAN ids).
 * attr, count and payload are checked; records is not. The attribute and the
 * count are stored before the reply's status is looked at: a non-zero status
 * is returned with the count set and *records NULL. Returns 0, the reply's
 * status, the word of a 4-byte reply, VLAN_MGR_ERR_INVALID_ARG,
 * VLAN_MGR_ERR_NO_MEMORY (empty reply, or allocation failed: the count stays
 * set, *records NULL) or VLAN_MGR_ERR_TRUNCATED (nothing stored but the
 * cleared count and records). */
VLAN_MGR_API uint32_t vlan_get_vlans_for_attr_value_parse_reply(uint32_t *attr, uint32_t *count,
                                                                vlan_attr_entry **records, const void *payload,
                                                                uint32_t payload_len);

/* ---- Reserved-VLAN information ----------------------------------------------- */

/* Builds the 10-byte request: `query` as given, the count 1 and the VDC id.
 * Returns 0; VLAN_MGR_ERR_INVALID_ARG (vdc_ids NULL or num 0, not reported;
 * num other than 1, reported); VLAN_MGR_ERR_VDC_MISMATCH (reported);
 * VLAN_MGR_ERR_NO_MEMORY. */
VLAN_MGR_API uint32_t vlan_get_reserve_vlan_info_build_mts(const uint16_t *vdc_ids, int32_t num, uint32_t query,
                                                           void **payload, uint32_t *payload_len);
/* vlan_get_reserve_vlan_info_build_mts for the caller's own VDC. */
VLAN_MGR_API uint32_t vlan_get_reserve_vlan_info_build_mts_local(uint32_t query, void **payload,
                                                                 uint32_t *payload_len);

/* Decodes a reserved-VLAN reply into *records (*count of them) and the
 * VLAN manager's status into *status, and returns 0 whatever that status was.
 * count, status and payload are checked; records is not. A 4-byte reply
 * returns its word and leaves *status untouched. Returns 0,
 * VLAN_MGR_ERR_INVALID_ARG, VLAN_MGR_ERR_NO_MEMORY (empty reply, or the
 * allocation failed: count and status stay set, *records NULL),
 * VLAN_MGR_ERR_NO_VLANS (no records; count and status set) or
 * VLAN_MGR_ERR_TRUNCATED (nothing stored but the cleared count and records). */
VLAN_MGR_API uint32_t vlan_get_reserve_vlan_info_parse_reply(reserve_vlan_info **records, uint32_t *count,
                                                             uint32_t *status, const void *payload,
                                                             uint32_t payload_len);
/* vlan_get_reserve_vlan_info_parse_reply into records without the VDC id. */
VLAN_MGR_API uint32_t vlan_get_reserve_vlan_info_parse_reply_local(reserve_vlan_info_local **records,
                                                                   uint32_t *count, uint32_t *status,
                                                                   const void *payload, uint32_t payload_len);

VLAN_MGR_END_DECLS

#endif
