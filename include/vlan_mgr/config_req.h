/* VLAN configuration requests: builders and parsers for creating, deleting,
 * retyping and associating VLANs and for VLAN names. */
#ifndef VLAN_MGR_CONFIG_REQ_H
#define VLAN_MGR_CONFIG_REQ_H

#include <vlan_mgr/frame.h>

VLAN_MGR_BEGIN_DECLS

/* ---- VLAN create/update (TLV-framed) ------------------------------------- */

/* One VLAN of a create/update request: 48 bytes, naturally aligned. */
typedef struct vlan_mgr_create_update {
    uint8_t field3;      /* id 3 */
    uint8_t pad1[3];
    uint32_t field5;     /* id 5 */
    uint32_t field6;     /* id 6 */
    uint16_t field7;     /* id 7 */
    char name[33];       /* id 8: VLAN name, NUL-terminated */
    uint8_t pad2;
} vlan_mgr_create_update_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_create_update_t, 48);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_create_update_t, field5, 4);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_create_update_t, field6, 8);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_create_update_t, field7, 12);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_create_update_t, name, 14);

/* A create/update request: a 16-bit count, then `count` records from offset 2
 * (packed: the records are unaligned; copy them with memcpy). */
typedef struct VLAN_MGR_PACKED vlan_mgr_create_update_req {
    uint16_t count;
    vlan_mgr_create_update_t data[];
} vlan_mgr_create_update_req_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_create_update_req_t, 2);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_create_update_req_t, data, 2);

/* Allocates a zero-filled request for `n` records (48n + 2 bytes) into *msg.
 * Returns 0, or 1 when the allocation failed. The caller frees *msg. */
VLAN_MGR_API int32_t vlan_mgr_init_create_update_req_msg(vlan_mgr_create_update_req_t **msg, uint32_t n);
/* Sets the count to 0; returns 0. */
VLAN_MGR_API int32_t vlan_mgr_create_update_req_default_init(void *msg);
/* Returns the request's count. */
VLAN_MGR_API uint32_t vlan_mgr_create_update_msg_get_sz(const void *msg);

/* ---- Status codes of the configuration requests ------------------------- */

#define VLAN_MGR_ERR_VLAN_RANGE       0x41100056u /* primary VLAN outside 1..4094 */
#define VLAN_MGR_ERR_DEFAULT_VLAN     0x41100058u /* VLAN 1 may not take this role or type */
#define VLAN_MGR_ERR_ASSOC_TYPE       0x4110005fu /* association type is neither 2 nor 3 */
#define VLAN_MGR_ERR_TOO_MANY_ASSOC   0x41100085u /* more than 512 associations in one request */
#define VLAN_MGR_ERR_MULTI_ASSOC_TYPE 0x41100087u /* several associations of a type other than 2 */

/* ---- Result records ------------------------------------------------------ */

/* One entry of a delete, type-change or single association reply, in host
 * order: the VLAN id (the secondary VLAN in an association reply) and its
 * status. */
typedef struct vlan_delete_result {
    uint32_t vlan_id;
    uint32_t status;
} vlan_delete_result_t;
VLAN_MGR_ASSERT_SIZE(vlan_delete_result_t, 8);
VLAN_MGR_ASSERT_OFFSET(vlan_delete_result_t, vlan_id, 0);
VLAN_MGR_ASSERT_OFFSET(vlan_delete_result_t, status, 4);

/* One pair of a multi association reply, in host order. */
typedef struct vlan_assoc_result {
    uint32_t secondary_vlan;
    uint32_t primary_vlan;
    uint32_t status;
} vlan_assoc_result_t;
VLAN_MGR_ASSERT_SIZE(vlan_assoc_result_t, 12);
VLAN_MGR_ASSERT_OFFSET(vlan_assoc_result_t, secondary_vlan, 0);
VLAN_MGR_ASSERT_OFFSET(vlan_assoc_result_t, primary_vlan, 4);
VLAN_MGR_ASSERT_OFFSET(vlan_assoc_result_t, status, 8);

/* Common to every function below.
 * Builders store the payload length in *payload_len, then the malloc'ed
 * payload in *payload; the caller sends it and frees it with free(). On
 * VLAN_MGR_ERR_NO_MEMORY *payload is NULL; on every other error neither
 * out-parameter is written. Bytes a layout leaves unused are sent as zeros.
 * `payload` and `payload_len` themselves are not checked.
 * `_local` builders use the caller's own VDC id and return the full builder's
 * status. `_local` parsers decode the VDC id into a scratch word and drop it.
 * Parsers return the status word of a 4-byte reply, VLAN_MGR_ERR_NO_MEMORY
 * for an empty one, and VLAN_MGR_ERR_TRUNCATED (allocating nothing) when a
 * field the reply's counts call for lies beyond payload_len; a negative
 * payload_len is treated as holding no bytes. Arrays they return are
 * malloc'ed and belong to the caller (free()). */

/* ---- VLAN create ------------------------------------------------------- */

/* Builds the request that creates `count` VLANs listed in `vlan_ids` in VDC
 * `vdc_id`, carrying `create_options` unchanged. With count 1 the request
 * names the VLAN with `name` (a valid string of at most 33 characters, may
 * be empty; read only when count is 1); otherwise the ids go in a bitmap
 * (duplicates collapse). Payload: 533 + strlen(name) bytes with count 1,
 * otherwise 533.
 * Returns 0; VLAN_MGR_ERR_INVALID_ARG (count 0 or vlan_ids NULL);
 * VLAN_MGR_ERR_VDC_MISMATCH (vdc_id is not the caller's own; reported);
 * VLAN_MGR_ERR_NAME_TOO_LONG; VLAN_MGR_ERR_NO_MEMORY. */
VLAN_MGR_API uint32_t vlan_create_build_mts(uint16_t vdc_id, uint16_t count, const uint32_t *vlan_ids,
                                            const char *name, uint32_t create_options, void **payload,
                                            uint32_t *payload_len);
/* vlan_create_build_mts for the caller's own VDC. */
VLAN_MGR_API uint32_t vlan_create_build_mts_local(uint16_t count, const uint32_t *vlan_ids, const char *name,
                                                  uint32_t create_options, void **payload,
                                                  uint32_t *payload_len);

/* Decodes a create reply: *vdc_id, *count, and two arrays of max(count, 1)
 * words, *vlan_ids (ascending; -1 where the reply's bitmap ran out, the walk
 * then starting again from VLAN 0) and *statuses, one per VLAN. A count of 0
 * still decodes one id and one status. Both arrays belong to the caller.
 * vdc_id, count and payload are checked; vlan_ids and statuses are not and
 * must be valid. Returns 0 (the per-VLAN statuses carry the outcome), the
 * word of a 4-byte reply, VLAN_MGR_ERR_INVALID_ARG, VLAN_MGR_ERR_NO_MEMORY
 * (empty reply, or an allocation failed: then both arrays are freed and
 * *vlan_ids, and *statuses if it was reached, are NULL) or
 * VLAN_MGR_ERR_TRUNCATED. */
VLAN_MGR_API uint32_t vlan_create_parse_reply(uint16_t *vdc_id, uint16_t *count, uint32_t **vlan_ids,
                                              uint32_t **statuses, const void *payload, uint32_t payload_len);
/* vlan_create_parse_reply without the VDC id. */
VLAN_MGR_API uint32_t vlan_create_parse_reply_local(uint16_t *count, uint32_t **vlan_ids, uint32_t **statuses,
                                                    const void *payload, uint32_t payload_len);

/* Decodes a create/update reply: the create reply without its VDC id.
 * count and payload are checked; vlan_ids and statuses are not. Results,
 * ownership and codes as vlan_create_parse_reply. */
VLAN_MGR_API uint32_t vlan_mgr_create_update_parse_reply(uint16_t *count, uint32_t **vlan_ids,
                                                         uint32_t **statuses, const void *payload,
                                                         int32_t payload_len);

/* ---- VLAN delete and delete-range -------------------------------------- */

/* Builds the 524-byte request that deletes the `count` VLANs of `vlan_ids`
 * (duplicates collapse; the count is sent as given).
 * Returns 0; VLAN_MGR_ERR_INVALID_ARG (vlan_ids NULL or count 0);
 * VLAN_MGR_ERR_VDC_MISMATCH (reported with the builder's own name);
 * VLAN_MGR_ERR_NO_MEMORY. */
VLAN_MGR_API uint32_t vlan_delete_build_mts(uint16_t vdc_id, uint32_t count, const uint32_t *vlan_ids,
                                            void **payload, uint32_t *payload_len);
/* vlan_delete_build_mts under its range name, which its report carries. */
VLAN_MGR_API uint32_t vlan_delete_range_build_mts(uint16_t vdc_id, uint32_t count, const uint32_t *vlan_ids,
                                                  void **payload, uint32_t *payload_len);
/* vlan_delete_build_mts for the caller's own VDC. */
VLAN_MGR_API uint32_t vlan_delete_build_mts_local(uint32_t count, const uint32_t *vlan_ids, void **payload,
                                                  uint32_t *payload_len);
/* vlan_delete_build_mts for the caller's own VDC (the same request). */
VLAN_MGR_API uint32_t vlan_delete_range_build_mts_local(uint32_t count, const uint32_t *vlan_ids,
                                                        void **payload, uint32_t *payload_len);

/* Decodes a delete reply: *count and *vdc_id, and *results, an array of
 * *count {VLAN id, status} pairs in the reply's order (malloc'ed even for a
 * count of 0; the caller frees it). *results is set to NULL first, so it
 * stays NULL on every failure; count, vdc_id and payload are checked,
 * results is not and must be valid. Returns the reply's overall status
 * (pairs are handed back whatever it is), the word of a 4-byte reply,
 * VLAN_MGR_ERR_INVALID_ARG (results untouched), VLAN_MGR_ERR_NO_MEMORY or
 * VLAN_MGR_ERR_TRUNCATED. */
VLAN_MGR_API uint32_t vlan_delete_parse_reply(vlan_delete_result_t **results, uint32_t *count, uint16_t *vdc_id,
                                              const void *payload, int32_t payload_len);
/* vlan_delete_parse_reply under its range name. */
VLAN_MGR_API uint32_t vlan_delete_range_parse_reply(vlan_delete_result_t **results, uint32_t *count,
                                                    uint16_t *vdc_id, const void *payload, int32_t payload_len);
/* vlan_delete_parse_reply without the VDC id. */
VLAN_MGR_API uint32_t vlan_delete_parse_reply_local(vlan_delete_result_t **results, uint32_t *count,
                                                    const void *payload, int32_t payload_len);
/* vlan_delete_range_parse_reply without the VDC id. */
VLAN_MGR_API uint32_t vlan_delete_range_parse_reply_local(vlan_delete_result_t **results, uint32_t *count,
                                                          const void *payload, int32_t payload_len);

/* ---- VLAN type change -------------------------------------------------- */

/* Builds the 528-byte request that gives the VLANs of `bitmap` the type
 * `vlan_type`; the bits are copied as they are and their number is sent.
 * The VDC id is checked by range only (1..5), with no report.
 * Returns 0; VLAN_MGR_ERR_VDC_MISMATCH (vdc_id outside 1..5);
 * VLAN_MGR_ERR_INVALID_ARG (bitmap NULL or empty);
 * VLAN_MGR_ERR_DEFAULT_VLAN (type 3, 4 or 5 with VLAN 1 set);
 * VLAN_MGR_ERR_NO_MEMORY. */
VLAN_MGR_API uint32_t vlan_type_change_build_mts(uint16_t vdc_id, const vlan_bitmap *bitmap, int32_t vlan_type,
                                                 void **payload, uint32_t *payload_len);
/* vlan_type_change_build_mts for the caller's own VDC. */
VLAN_MGR_API uint32_t vlan_type_change_build_mts_local(const vlan_bitmap *bitmap, int32_t vlan_type,
                                                       void **payload, uint32_t *payload_len);

/* Decodes a type-change reply, which is a delete reply:
 * vlan_delete_parse_reply. */
VLAN_MGR_API uint32_t vlan_type_change_parse_reply(vlan_delete_result_t **results, uint32_t *count,
                                                   uint16_t *vdc_id, const void *payload, int32_t payload_len);
/* vlan_delete_parse_reply_local. */
VLAN_MGR_API uint32_t vlan_type_change_parse_reply_local(vlan_delete_result_t **results, uint32_t *count,
                                                         const void *payload, int32_t payload_len);

/* ---- Private-VLAN association ------------------------------------------ */

/* Builds the 540-byte request that associates the secondary VLANs of
 * `bitmap` with `primary_vlan` (read only for type 2). The VDC id is checked
 * by range only (1..5), with no report.
 * Returns 0; VLAN_MGR_ERR_VDC_MISMATCH (vdc_id outside 1..5);
 * VLAN_MGR_ERR_INVALID_ARG (bitmap NULL or empty); VLAN_MGR_ERR_ASSOC_TYPE
 * (type not 2 or 3); VLAN_MGR_ERR_VLAN_RANGE (type 2, primary outside
 * 1..4094); VLAN_MGR_ERR_DEFAULT_VLAN (type 2 with primary 1, or VLAN 1
 * among the secondaries); VLAN_MGR_ERR_NO_MEMORY. */
VLAN_MGR_API uint32_t vlan_association_build_mts(uint16_t vdc_id, int32_t primary_vlan, const vlan_bitmap *bitmap,
                                                 int32_t assoc_type, uint16_t assoc_tag, void **payload,
                                                 uint32_t *payload_len);
/* vlan_association_build_mts for the caller's own VDC. */
VLAN_MGR_API uint32_t vlan_association_build_mts_local(int32_t primary_vlan, const vlan_bitmap *bitmap,
                                                       int32_t assoc_type, uint16_t assoc_tag, void **payload,
                                                       uint32_t *payload_len);

/* Builds the request of `n` associations (8 + 532n bytes): entry i pairs
 * primary_vlans[i] with the secondaries of bitmaps[i] (n consecutive
 * bitmaps); `cookie`, `assoc_tag`, `assoc_type` and the VDC id are shared.
 * The VDC id is checked by range only (1..5), with no report.
 * Returns 0; VLAN_MGR_ERR_VDC_MISMATCH (vdc_id outside 1..5);
 * VLAN_MGR_ERR_INVALID_ARG (bitmaps or primary_vlans NULL, n 0, or an empty
 * bitmap); VLAN_MGR_ERR_TOO_MANY_ASSOC (n over 512);
 * VLAN_MGR_ERR_MULTI_ASSOC_TYPE (n over 1 with a type other than 2);
 * VLAN_MGR_ERR_ASSOC_TYPE; VLAN_MGR_ERR_VLAN_RANGE and
 * VLAN_MGR_ERR_DEFAULT_VLAN as the single form; VLAN_MGR_ERR_NO_MEMORY. */
VLAN_MGR_API uint32_t vlan_association_multi_build_mts(uint16_t vdc_id, uint32_t cookie, uint16_t assoc_tag,
                                                       int32_t assoc_type, uint32_t n,
                                                       const uint32_t *primary_vlans, const vlan_bitmap *bitmaps,
                                                       void **payload, uint32_t *payload_len);
/* vlan_association_multi_build_mts for the caller's own VDC. */
VLAN_MGR_API uint32_t vlan_association_multi_build_mts_local(uint32_t cookie, uint16_t assoc_tag,
                                                             int32_t assoc_type, uint32_t n,
                                                             const uint32_t *primary_vlans,
                                                             const vlan_bitmap *bitmaps, void **payload,
                                                             uint32_t *payload_len);

/* Decodes a single association reply: the header fields, and *results, an
 * array of *count {secondary VLAN id, status} pairs (malloc'ed even for a
 * count of 0; the caller frees it). *results is set to NULL first; every
 * out-parameter except results is checked, and payload. Returns the reply's
 * overall status, the word of a 4-byte reply, VLAN_MGR_ERR_INVALID_ARG,
 * VLAN_MGR_ERR_NO_MEMORY or VLAN_MGR_ERR_TRUNCATED. */
VLAN_MGR_API uint32_t vlan_association_parse_reply(vlan_delete_result_t **results, uint32_t *count,
                                                   uint16_t *vdc_id, uint32_t *assoc_type, uint32_t *primary_vlan,
                                                   uint16_t *assoc_tag, const void *payload, uint32_t payload_len);
/* vlan_association_parse_reply without the VDC id. */
VLAN_MGR_API uint32_t vlan_association_parse_reply_local(vlan_delete_result_t **results, uint32_t *count,
                                                         uint32_t *assoc_type, uint32_t *primary_vlan,
                                                         uint16_t *assoc_tag, const void *payload,
                                                         uint32_t payload_len);

/* Decodes a multi association reply: *cookie, *vdc_id and *assoc_type (from
 * the first entry; 0 when the reply has none), *total, and *results, an
 * array of *total {secondary VLAN, primary VLAN, status} triples, entry
 * after entry (malloc'ed even when empty; the caller frees it). *results
 * and *total are set to 0 first and stay 0 on every failure, an allocation
 * failure included; vdc_id, cookie, assoc_type, total and
 * payload are checked, results is not and must be valid. Returns the
 * reply's overall status, the word of a 4-byte reply,
 * VLAN_MGR_ERR_INVALID_ARG, VLAN_MGR_ERR_NO_MEMORY or
 * VLAN_MGR_ERR_TRUNCATED. */
VLAN_MGR_API uint32_t vlan_association_multi_parse_reply(uint16_t *vdc_id, uint32_t *cookie, uint32_t *assoc_type,
                                                         uint32_t *total, vlan_assoc_result_t **results,
                                                         const void *payload, uint32_t payload_len);
/* vlan_association_multi_parse_reply without the VDC id. */
VLAN_MGR_API uint32_t vlan_association_multi_parse_reply_local(uint32_t *cookie, uint32_t *assoc_type,
                                                               uint32_t *total, vlan_assoc_result_t **results,
                                                               const void *payload, uint32_t payload_len);

/* ---- VLAN names ---------------------------------------------------------- */

/* Builds the request that resolves `name` (at most 32 characters, one fewer
 * than a create request accepts) to its VLAN id in VDC *vdc_id:
 * strlen(name) + 3 bytes.
 * Returns 0; VLAN_MGR_ERR_INVALID_ARG (name or vdc_id NULL);
 * VLAN_MGR_ERR_VDC_MISMATCH (reported, without the builder's name);
 * VLAN_MGR_ERR_NAME_TOO_LONG; VLAN_MGR_ERR_NO_MEMORY. */
VLAN_MGR_API uint32_t vlan_name_to_id_build_mts(const char *name, const uint16_t *vdc_id, void **payload,
                                                uint32_t *payload_len);
/* vlan_name_to_id_build_mts for the caller's own VDC. */
VLAN_MGR_API uint32_t vlan_name_to_id_build_mts_local(const char *name, void **payload, uint32_t *payload_len);

/* Decodes a name-to-id reply into *result (host order) and returns the
 * reply's status whatever its value; the word of a 4-byte reply,
 * VLAN_MGR_ERR_INVALID_ARG (result or payload NULL), VLAN_MGR_ERR_NO_MEMORY
 * (empty reply) or VLAN_MGR_ERR_TRUNCATED. */
VLAN_MGR_API uint32_t vlan_name_to_id_parse_reply(vdc_vlan_id_t *result, const void *payload,
                                                  uint32_t payload_len);
/* Decodes a name-to-id reply's VLAN id into *vlan_id. After the check of
 * vlan_id and payload (VLAN_MGR_ERR_INVALID_ARG) *vlan_id is written
 * whatever the outcome: on any failure it holds 0, no meaningful id.
 * Codes as vlan_name_to_id_parse_reply. */
VLAN_MGR_API uint32_t vlan_name_to_id_parse_reply_local(uint32_t *vlan_id, const void *payload,
                                                        uint32_t payload_len);

/* Writes the default name of VLAN `vlan_id` ("VLAN" and the id, at least
 * four digits: VLAN0001, VLAN4094, VLAN10000) into `name`, which must hold
 * 32 bytes, and returns its length. The id is printed as a signed number. */
VLAN_MGR_API int32_t vlan_mgr_vlan_id_to_name(uint32_t vlan_id, char *name);

/* ---- Reserved check (VLAN manager side) --------------------------------- */

/* Decodes the 12-byte reserved-check request into *vdc_id, *check_word1 and
 * *check_word2. Returns 0; VLAN_MGR_ERR_INVALID_ARG (any pointer NULL);
 * VLAN_MGR_ERR_TRUNCATED when payload_len is under 12 (nothing written). A
 * longer payload is accepted and only its first 12 bytes are read. */
VLAN_MGR_API uint32_t vlan_mgr_vlan_rsvd_check_parse_request_pld(const void *payload, uint32_t payload_len,
                                                                 uint16_t *vdc_id, uint32_t *check_word1,
                                                                 uint32_t *check_word2);
/* Builds the 16-byte reserved-check reply (the length is not returned) into
 * *payload, which is set to NULL first; the caller frees it. `payload` is
 * not checked. Returns 0 or VLAN_MGR_ERR_NO_MEMORY. */
VLAN_MGR_API uint32_t vlan_mgr_vlan_rsvd_check_build_reply_pld(uint16_t vdc_id, uint32_t check_word1,
                                                               uint32_t check_word2, uint32_t check_result,
                                                               void **payload);

/* ---- VLAN create/update: TLV conversion ----------------------------------- */

/* Encodes a create/update request into a new TLV buffer, stored in *tlv_buffer
 * with its length in *tlv_len (the caller frees the buffer with free). The
 * outs are not cleared first. Returns 0 or the TLV utility's error code,
 * printed as "vlan_mgr_create_update_req_to_tlv: ERR 0x<code>". */
VLAN_MGR_API int32_t vlan_mgr_create_update_build_mts(const vlan_mgr_create_update_req_t *record, void **tlv_buffer,
                                                      uint32_t *tlv_len);
/* Decodes a TLV buffer into a new create/update request stored in *record (the
 * caller frees it with free). The out is not cleared first. Returns 0 or the
 * TLV utility's error code, printed as
 * "vlan_mgr_create_update_req_to_struct: ERR 0x<code>". */
VLAN_MGR_API int32_t vlan_mgr_create_update_parse_req(const void *tlv_buffer, uint32_t tlv_len,
                                                      vlan_mgr_create_update_req_t **record);

VLAN_MGR_END_DECLS

#endif
