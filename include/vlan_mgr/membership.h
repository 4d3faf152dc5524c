/* Port membership: builders and parsers for the VLAN membership of ports
 * (access, trunking, active, voice), for the ports of given VLANs, and for
 * changing a port's membership. */
#ifndef VLAN_MGR_MEMBERSHIP_H
#define VLAN_MGR_MEMBERSHIP_H

#include <vlan_mgr/frame.h>

VLAN_MGR_BEGIN_DECLS

/* Further status codes of the membership requests. */
/* (The first two are shared with the VLAN queries; either header may come first.) */
#ifndef VLAN_MGR_ERR_NO_ENTRIES
#define VLAN_MGR_ERR_NO_ENTRIES      0x41100011u /* a reply that lists no entries or no ports */
#endif
#ifndef VLAN_MGR_ERR_INVALID_VLAN
#define VLAN_MGR_ERR_INVALID_VLAN    0x41100012u /* a VLAN id outside 1..4094 */
#endif
#define VLAN_MGR_ERR_ACCESS_UPD_OP   0x41100022u /* access update operation not 1, 9 or 13 */
#define VLAN_MGR_ERR_TRUNK_UPD_OP    0x41100023u /* trunking update operation not 2, 3, 4, 5, 9, 11 or 12 */

/* Interface indexes are carried in host order in every record below; on the
 * wire they pass through the platform's hton_if_index / ntoh_if_index. */

/* ==== Port membership queries ============================================== */

/* Access (active) or voice VLAN of a port, own VDC form: if-index, VLAN id. */
typedef struct VLAN_MGR_PACKED port_vlan_local {
    uint32_t if_index;
    uint32_t vlan_id;
} port_vlan_local;
VLAN_MGR_ASSERT_SIZE(port_vlan_local, 8);
VLAN_MGR_ASSERT_OFFSET(port_vlan_local, if_index, 0);
VLAN_MGR_ASSERT_OFFSET(port_vlan_local, vlan_id, 4);

/* Access (active) or voice VLAN of a port: if-index, VDC id and VLAN id. */
typedef struct VLAN_MGR_PACKED port_vdc_vlan {
    uint32_t if_index;
    vdc_vlan_id_t vdc_vlan;
} port_vdc_vlan;
VLAN_MGR_ASSERT_SIZE(port_vdc_vlan, 10);
VLAN_MGR_ASSERT_OFFSET(port_vdc_vlan, if_index, 0);
VLAN_MGR_ASSERT_OFFSET(port_vdc_vlan, vdc_vlan, 4);

/* Membership record of a port, own VDC form. The words and VLANs are the
 * VLAN manager's; the library only carries them. */
typedef struct VLAN_MGR_PACKED port_memb_local {
    uint32_t if_index;
    uint32_t word_1;
    uint32_t word_2;
    uint32_t vlan_a;
    uint32_t vlan_b;
} port_memb_local;
VLAN_MGR_ASSERT_SIZE(port_memb_local, 20);
VLAN_MGR_ASSERT_OFFSET(port_memb_local, if_index, 0);
VLAN_MGR_ASSERT_OFFSET(port_memb_local, word_1, 4);
VLAN_MGR_ASSERT_OFFSET(port_memb_local, word_2, 8);
VLAN_MGR_ASSERT_OFFSET(port_memb_local, vlan_a, 12);
VLAN_MGR_ASSERT_OFFSET(port_memb_local, vlan_b, 16);

/* Membership record of a port, with the VDC ids of VLAN A and VLAN B. */
typedef struct VLAN_MGR_PACKED port_memb {
    uint32_t if_index;
    uint32_t word_1;
    uint32_t word_2;
    vdc_vlan_id_t vlan_a;
    vdc_vlan_id_t vlan_b;
} port_memb;
VLAN_MGR_ASSERT_SIZE(port_memb, 24);
VLAN_MGR_ASSERT_OFFSET(port_memb, if_index, 0);
VLAN_MGR_ASSERT_OFFSET(port_memb, word_1, 4);
VLAN_MGR_ASSERT_OFFSET(port_memb, word_2, 8);
VLAN_MGR_ASSERT_OFFSET(port_memb, vlan_a, 12);
VLAN_MGR_ASSERT_OFFSET(port_memb, vlan_b, 18);

/* Trunking membership of a port, own VDC form. Both bitmaps have their
 * length word set to 512. */
typedef struct VLAN_MGR_PACKED port_trunking_memb_local {
    uint32_t if_index;
    uint32_t vlan_word_1;
    vlan_bitmap bitmap_1;
    vlan_bitmap bitmap_2;
    uint32_t vlan_word_2;
} port_trunking_memb_local;
VLAN_MGR_ASSERT_SIZE(port_trunking_memb_local, 1044);
VLAN_MGR_ASSERT_OFFSET(port_trunking_memb_local, if_index, 0);
VLAN_MGR_ASSERT_OFFSET(port_trunking_memb_local, vlan_word_1, 4);
VLAN_MGR_ASSERT_OFFSET(port_trunking_memb_local, bitmap_1, 8);
VLAN_MGR_ASSERT_OFFSET(port_trunking_memb_local, bitmap_2, 524);
VLAN_MGR_ASSERT_OFFSET(port_trunking_memb_local, vlan_word_2, 1040);

/* Trunking membership of a port: the reply entry's layout field for field,
 * in host order. `reserved` is not carried and is 0; both bitmaps have their
 * length word set to 512. */
typedef struct VLAN_MGR_PACKED port_trunking_memb {
    uint32_t if_index;
    uint16_t vdc_id_1;
    uint32_t vlan_word_1;
    uint16_t bitmap_vdc_id;
    uint16_t reserved;
    vlan_bitmap bitmap_1;
    vlan_bitmap bitmap_2;
    uint16_t vdc_id_2;
    uint32_t vlan_word_2;
} port_trunking_memb;
VLAN_MGR_ASSERT_SIZE(port_trunking_memb, 1052);
VLAN_MGR_ASSERT_OFFSET(port_trunking_memb, if_index, 0);
VLAN_MGR_ASSERT_OFFSET(port_trunking_memb, vdc_id_1, 4);
VLAN_MGR_ASSERT_OFFSET(port_trunking_memb, vlan_word_1, 6);
VLAN_MGR_ASSERT_OFFSET(port_trunking_memb, bitmap_vdc_id, 10);
VLAN_MGR_ASSERT_OFFSET(port_trunking_memb, reserved, 12);
VLAN_MGR_ASSERT_OFFSET(port_trunking_memb, bitmap_1, 14);
VLAN_MGR_ASSERT_OFFSET(port_trunking_memb, bitmap_2, 530);
VLAN_MGR_ASSERT_OFFSET(port_trunking_memb, vdc_id_2, 1046);
VLAN_MGR_ASSERT_OFFSET(port_trunking_memb, vlan_word_2, 1048);

/* Active trunking bitmap of a port, own VDC form: the bitmap alone. */
typedef vlan_bitmap port_active_trunking_local;
VLAN_MGR_ASSERT_SIZE(port_active_trunking_local, 516);

/* Active trunking bitmap of a port with its VDC id; `reserved` is 0. */
typedef struct VLAN_MGR_PACKED port_active_trunking {
    uint8_t reserved[2];
    uint16_t vdc_id;
    vlan_bitmap bitmap;
} port_active_trunking;
VLAN_MGR_ASSERT_SIZE(port_active_trunking, 520);
VLAN_MGR_ASSERT_OFFSET(port_active_trunking, reserved, 0);
VLAN_MGR_ASSERT_OFFSET(port_active_trunking, vdc_id, 2);
VLAN_MGR_ASSERT_OFFSET(port_active_trunking, bitmap, 4);

/* One question of vlan_get_port_trunking_memb_parse_reply_check_vlan_local:
 * a port and a VLAN, then the three answers (0 or 1). */
typedef struct port_vlan_check_entry {
    uint32_t if_index;
    uint32_t vlan_id;
    uint32_t in_bitmap;      /* the VLAN's bit is set in the port's bitmap 1 */
    uint32_t is_vlan_word_1; /* the VLAN equals the port's VLAN word 1 */
    uint32_t is_vlan_word_2; /* the VLAN equals the port's VLAN word 2 */
} port_vlan_check_entry;
VLAN_MGR_ASSERT_SIZE(port_vlan_check_entry, 20);
VLAN_MGR_ASSERT_OFFSET(port_vlan_check_entry, if_index, 0);
VLAN_MGR_ASSERT_OFFSET(port_vlan_check_entry, vlan_id, 4);
VLAN_MGR_ASSERT_OFFSET(port_vlan_check_entry, in_bitmap, 8);
VLAN_MGR_ASSERT_OFFSET(port_vlan_check_entry, is_vlan_word_1, 12);
VLAN_MGR_ASSERT_OFFSET(port_vlan_check_entry, is_vlan_word_2, 16);

/* The caller's list of questions: a count, then that many entries. */
typedef struct port_vlan_check_list {
    uint32_t count;
    port_vlan_check_entry entries[];
} port_vlan_check_list;
VLAN_MGR_ASSERT_SIZE(port_vlan_check_list, 4);
VLAN_MGR_ASSERT_OFFSET(port_vlan_check_list, count, 0);
VLAN_MGR_ASSERT_OFFSET(port_vlan_check_list, entries, 4);

/* The five port queries share one request: the port count, then the ports'
 * if-indexes (4 + 4 * count bytes). Each builder stores the length in
 * *payload_len, then the malloc'ed payload in *payload (NULL when the
 * allocation failed); the caller sends it under the query's own request type
 * and frees it with free(). There is no upper bound on the count.
 * Returns 0; VLAN_MGR_ERR_INVALID_ARG (if_indexes NULL or count 0, nothing
 * written); VLAN_MGR_ERR_NO_MEMORY. */
VLAN_MGR_API uint32_t vlan_get_port_active_memb_build_mts(const uint32_t *if_indexes, uint32_t count, void **payload,
                                                          uint32_t *payload_len);
VLAN_MGR_API uint32_t vlan_get_port_voice_vlan_memb_build_mts(const uint32_t *if_indexes, uint32_t count,
                                                              void **payload, uint32_t *payload_len);
VLAN_MGR_API uint32_t vlan_get_port_memb_build_mts(const uint32_t *if_indexes, uint32_t count, void **payload,
                                                   uint32_t *payload_len);
VLAN_MGR_API uint32_t vlan_get_port_trunking_memb_build_mts(const uint32_t *if_indexes, uint32_t count,
                                                            void **payload, uint32_t *payload_len);
VLAN_MGR_API uint32_t vlan_get_port_active_trunking_memb_build_mts(const uint32_t *if_indexes, uint32_t count,
                                                                   void **payload, uint32_t *payload_len);

/* The single-array port parsers. Each checks `count` and `payload`
 * (VLAN_MGR_ERR_INVALID_ARG; `records` is not checked), then sets *count to 0
 * and *records to NULL. A 4-byte reply returns its status word; an empty one
 * VLAN_MGR_ERR_NO_MEMORY. Otherwise *records receives a malloc'ed array of
 * *count records, freed by the caller with free(). Further codes:
 * VLAN_MGR_ERR_NO_ENTRIES (the reply lists no ports), VLAN_MGR_ERR_NO_MEMORY
 * (allocation failed), VLAN_MGR_ERR_TRUNCATED (the entries run past
 * payload_len; nothing allocated).
 * The parsers differ on purpose, as noted on each. */

/* Active (access) VLAN of each port, into port_vlan_local records. A non-zero
 * reply status is returned before anything is decoded; *count is 0 again
 * after an allocation failure. */
VLAN_MGR_API uint32_t vlan_get_port_active_memb_parse_reply_local(void **records, uint32_t *count, const void *payload,
                                                                  uint32_t payload_len);
/* Active (access) VLAN of each port, into port_vdc_vlan records. Same
 * behaviour as the _local form. */
VLAN_MGR_API uint32_t vlan_get_port_active_memb_parse_reply(void **records, uint32_t *count, const void *payload,
                                                            uint32_t payload_len);
/* Voice VLAN of each port, into port_vdc_vlan records. A non-zero reply
 * status is returned before anything is decoded; after an allocation failure
 * *count keeps the reply's count. */
VLAN_MGR_API uint32_t vlan_get_port_voice_vlan_memb_parse_reply(void **records, uint32_t *count, const void *payload,
                                                                uint32_t payload_len);
/* Membership record of each port, into port_memb_local records. The entries
 * are decoded whatever the reply's status, which is then returned; after an
 * allocation failure *count keeps the reply's count. */
VLAN_MGR_API uint32_t vlan_get_port_memb_parse_reply_local(void **records, uint32_t *count, const void *payload,
                                                           uint32_t payload_len);
/* Membership record of each port, into port_memb records. Same behaviour as
 * the _local form. */
VLAN_MGR_API uint32_t vlan_get_port_memb_parse_reply(void **records, uint32_t *count, const void *payload,
                                                     uint32_t payload_len);
/* Trunking membership of each port, into port_trunking_memb_local records. A
 * non-zero reply status is returned before anything is decoded; after an
 * allocation failure *count keeps the reply's count. */
VLAN_MGR_API uint32_t vlan_get_port_trunking_memb_parse_reply_local(void **records, uint32_t *count,
                                                                    const void *payload, uint32_t payload_len);
/* Trunking membership of each port, into port_trunking_memb records. Same
 * behaviour as the _local form. */
VLAN_MGR_API uint32_t vlan_get_port_trunking_memb_parse_reply(void **records, uint32_t *count, const void *payload,
                                                              uint32_t payload_len);

/* Active trunking bitmaps of each port: *if_indexes receives a malloc'ed
 * array of *count if-indexes and *bitmaps one of *count
 * port_active_trunking_local records; both are freed by the caller with
 * free(). Checks `count` and `payload` only (VLAN_MGR_ERR_INVALID_ARG) and
 * neither clears nor checks the array pointers; the entries are decoded
 * whatever the reply's status, which is then returned. A 4-byte reply
 * returns its status word, an empty one VLAN_MGR_ERR_NO_MEMORY; other codes:
 * VLAN_MGR_ERR_NO_ENTRIES (*count 0), VLAN_MGR_ERR_TRUNCATED (nothing
 * written), VLAN_MGR_ERR_NO_MEMORY: when the first array fails *count keeps
 * the reply's count; when the second fails, the first is released with
 * free(), *if_indexes and *bitmaps are NULL and *count 0. */
VLAN_MGR_API uint32_t vlan_get_port_active_trunking_memb_parse_reply_local(uint32_t **if_indexes, uint32_t *count,
                                                                           void **bitmaps, const void *payload,
                                                                           uint32_t payload_len);
/* As the _local form, into port_active_trunking records (with the VDC id);
 * when the second array fails, the first is released with the platform's
 * mtrack_free(). */
VLAN_MGR_API uint32_t vlan_get_port_active_trunking_memb_parse_reply(uint32_t **if_indexes, uint32_t *count,
                                                                     void **bitmaps, const void *payload,
                                                                     uint32_t payload_len);

/* Parses a trunking membership reply with
 * vlan_get_port_trunking_memb_parse_reply_local and answers each entry of
 * `list`: the three answers of every entry are cleared, then set from the
 * first record of the entry's port (none: all stay 0). The VLAN's bit is
 * looked up in bitmap 1 (ids 4096 and up are never set). Returns 0;
 * VLAN_MGR_ERR_INVALID_ARG (payload or list NULL, or an empty list, nothing
 * written); the parser's non-zero result as it stands (list untouched);
 * VLAN_MGR_ERR_NO_ENTRIES (a reply without records). Nothing stays
 * allocated. */
VLAN_MGR_API uint32_t vlan_get_port_trunking_memb_parse_reply_check_vlan_local(const void *payload,
                                                                              uint32_t payload_len,
                                                                              port_vlan_check_list *list);

/* ==== Per-VLAN membership queries ========================================== */

/* One member port of a VLAN: the VLAN's key, then the port. `reserved` is 0. */
typedef struct vlan_port_memb {
    vdc_vlan_id_t vdc_vlan;
    uint8_t reserved[2];
    uint32_t if_index;
} vlan_port_memb;
VLAN_MGR_ASSERT_SIZE(vlan_port_memb, 12);
VLAN_MGR_ASSERT_OFFSET(vlan_port_memb, vdc_vlan, 0);
VLAN_MGR_ASSERT_OFFSET(vlan_port_memb, reserved, 6);
VLAN_MGR_ASSERT_OFFSET(vlan_port_memb, if_index, 8);

/* One member port of a VLAN, own VDC form. */
typedef struct vlan_port_memb_local {
    uint32_t vlan_id;
    uint32_t if_index;
} vlan_port_memb_local;
VLAN_MGR_ASSERT_SIZE(vlan_port_memb_local, 8);
VLAN_MGR_ASSERT_OFFSET(vlan_port_memb_local, vlan_id, 0);
VLAN_MGR_ASSERT_OFFSET(vlan_port_memb_local, if_index, 4);

/* Which ports belong to each of `count` VLANs: trunking members, access
 * members, or all members. The three names build the same request (the
 * count, then each key's VDC id and VLAN id: 4 + 6 * count bytes); the caller
 * sends it under the query's own request type and frees it with free().
 * Every key is checked in order before anything is allocated: its VDC id
 * must be the caller's own (VLAN_MGR_ERR_VDC_MISMATCH, reported with the
 * key's index and VLAN id), its VLAN id 1..4094 (VLAN_MGR_ERR_INVALID_VLAN,
 * reported). Returns 0; VLAN_MGR_ERR_INVALID_ARG (keys NULL or count 0);
 * VLAN_MGR_ERR_NO_MEMORY (*payload NULL). */
VLAN_MGR_API uint32_t vlan_get_per_vlan_trunking_memb_info_build_mts(const vdc_vlan_id_t *keys, uint32_t count,
                                                                     void **payload, uint32_t *payload_len);
VLAN_MGR_API uint32_t vlan_get_per_vlan_access_memb_info_build_mts(const vdc_vlan_id_t *keys, uint32_t count,
                                                                   void **payload, uint32_t *payload_len);
VLAN_MGR_API uint32_t vlan_get_per_vlan_memb_info_build_mts(const vdc_vlan_id_t *keys, uint32_t count,
                                                            void **payload, uint32_t *payload_len);

/* The same request for `count` VLANs of the caller's own VDC. Unlike the
 * full form, the VLAN ids are checked while the payload is written: on the
 * first id outside 1..4094 it returns VLAN_MGR_ERR_INVALID_VLAN (reported)
 * and leaves the payload allocated in *payload, written up to and including
 * the bad entry and zero after it; the caller frees it. Returns 0;
 * VLAN_MGR_ERR_INVALID_ARG (vlan_ids NULL or count 0); VLAN_MGR_ERR_NO_MEMORY
 * (*payload NULL). */
VLAN_MGR_API uint32_t vlan_get_per_vlan_trunking_memb_info_build_mts_local(const int32_t *vlan_ids, uint32_t count,
                                                                           void **payload, uint32_t *payload_len);
VLAN_MGR_API uint32_t vlan_get_per_vlan_access_memb_info_build_mts_local(const int32_t *vlan_ids, uint32_t count,
                                                                         void **payload, uint32_t *payload_len);
VLAN_MGR_API uint32_t vlan_get_per_vlan_memb_info_build_mts_local(const int32_t *vlan_ids, uint32_t count,
                                                                  void **payload, uint32_t *payload_len);

/* Decodes a per-VLAN membership reply into one flat malloc'ed array of
 * *count records, group by group and port by port; the caller frees it with
 * free(). Checks `count` and `payload` (VLAN_MGR_ERR_INVALID_ARG; `records`
 * is not checked), then sets *count to 0 and *records to NULL. Returns the
 * reply's status whatever its value (the records are decoded all the same);
 * the word of a 4-byte reply; VLAN_MGR_ERR_NO_MEMORY (empty reply, or
 * allocation failed: *count then holds the number of ports);
 * VLAN_MGR_ERR_NO_ENTRIES (no member ports); VLAN_MGR_ERR_TRUNCATED (a group
 * runs past payload_len; nothing allocated, *count 0). */
VLAN_MGR_API uint32_t vlan_get_per_vlan_trunking_memb_info_parse_reply(vlan_port_memb **records, uint32_t *count,
                                                                       const void *payload, uint32_t payload_len);
VLAN_MGR_API uint32_t vlan_get_per_vlan_access_memb_info_parse_reply(vlan_port_memb **records, uint32_t *count,
                                                                     const void *payload, uint32_t payload_len);
VLAN_MGR_API uint32_t vlan_get_per_vlan_memb_info_parse_reply(vlan_port_memb **records, uint32_t *count,
                                                              const void *payload, uint32_t payload_len);
/* The same into vlan_port_memb_local records (no VDC id). */
VLAN_MGR_API uint32_t vlan_get_per_vlan_trunking_memb_info_parse_reply_local(vlan_port_memb_local **records,
                                                                             uint32_t *count, const void *payload,
                                                                             uint32_t payload_len);
VLAN_MGR_API uint32_t vlan_get_per_vlan_access_memb_info_parse_reply_local(vlan_port_memb_local **records,
                                                                           uint32_t *count, const void *payload,
                                                                           uint32_t payload_len);
VLAN_MGR_API uint32_t vlan_get_per_vlan_memb_info_parse_reply_local(vlan_port_memb_local **records, uint32_t *count,
                                                                    const void *payload, uint32_t payload_len);

/* Decodes a VLAN-range membership reply (status, two bytes not read, the
 * port count, the if-indexes) into a malloc'ed array of *count if-indexes,
 * freed by the caller with free(). Checks `count` and `payload`
 * (VLAN_MGR_ERR_INVALID_ARG), then sets *count to 0 and *if_indexes to NULL.
 * Returns the reply's status word; the word of a 4-byte reply;
 * VLAN_MGR_ERR_NO_MEMORY (empty reply, or allocation failed: *count then
 * holds the port count); VLAN_MGR_ERR_NO_ENTRIES (no ports);
 * VLAN_MGR_ERR_TRUNCATED (nothing allocated). */
VLAN_MGR_API uint32_t vlan_get_vlan_range_memb_info_parse_reply_local(uint32_t **if_indexes, uint32_t *count,
                                                                      const void *payload, uint32_t payload_len);

/* ==== Port membership updates ============================================== */

/* Input of a trunking update, one per port, in host order: the port's VLAN,
 * a 16-bit id, and a VLAN bitmap (its length word is not read). */
typedef struct VLAN_MGR_PACKED trunking_update_input {
    vdc_vlan_id_t vdc_vlan;
    uint16_t id;
    vlan_bitmap bitmap;
} trunking_update_input;
VLAN_MGR_ASSERT_SIZE(trunking_update_input, 524);
VLAN_MGR_ASSERT_OFFSET(trunking_update_input, vdc_vlan, 0);
VLAN_MGR_ASSERT_OFFSET(trunking_update_input, id, 6);
VLAN_MGR_ASSERT_OFFSET(trunking_update_input, bitmap, 8);

/* One result pair of a trunking update reply. */
typedef struct trunking_update_pair {
    uint32_t word_1;
    uint32_t word_2;
} trunking_update_pair;
VLAN_MGR_ASSERT_SIZE(trunking_update_pair, 8);
VLAN_MGR_ASSERT_OFFSET(trunking_update_pair, word_1, 0);
VLAN_MGR_ASSERT_OFFSET(trunking_update_pair, word_2, 4);

/* A trunking update reply in host order: 14 + 8 * count bytes. */
typedef struct VLAN_MGR_PACKED trunking_update_result {
    uint32_t op;
    uint16_t vdc_id;
    uint32_t vlan_id;
    uint32_t count;
    trunking_update_pair pairs[];
} trunking_update_result;
VLAN_MGR_ASSERT_SIZE(trunking_update_result, 14);
VLAN_MGR_ASSERT_OFFSET(trunking_update_result, op, 0);
VLAN_MGR_ASSERT_OFFSET(trunking_update_result, vdc_id, 4);
VLAN_MGR_ASSERT_OFFSET(trunking_update_result, vlan_id, 6);
VLAN_MGR_ASSERT_OFFSET(trunking_update_result, count, 10);
VLAN_MGR_ASSERT_OFFSET(trunking_update_result, pairs, 14);

/* A trunking update reply without the VDC id: 12 + 8 * count bytes. */
typedef struct VLAN_MGR_PACKED trunking_update_result_local {
    uint32_t op;
    uint32_t vlan_id;
    uint32_t count;
    trunking_update_pair pairs[];
} trunking_update_result_local;
VLAN_MGR_ASSERT_SIZE(trunking_update_result_local, 12);
VLAN_MGR_ASSERT_OFFSET(trunking_update_result_local, op, 0);
VLAN_MGR_ASSERT_OFFSET(trunking_update_result_local, vlan_id, 4);
VLAN_MGR_ASSERT_OFFSET(trunking_update_result_local, count, 8);
VLAN_MGR_ASSERT_OFFSET(trunking_update_result_local, pairs, 12);

/* A port's VLAN membership, as given to and sent by
 * vlan_build_port_vlan_memb_info_mts (532 bytes). */
typedef struct VLAN_MGR_PACKED port_vlan_memb_info {
    uint32_t if_index;
    vdc_vlan_id_t vlan_1;
    vdc_vlan_id_t vlan_2;
    vlan_bitmap bitmap;
} port_vlan_memb_info;
VLAN_MGR_ASSERT_SIZE(port_vlan_memb_info, 532);
VLAN_MGR_ASSERT_OFFSET(port_vlan_memb_info, if_index, 0);
VLAN_MGR_ASSERT_OFFSET(port_vlan_memb_info, vlan_1, 4);
VLAN_MGR_ASSERT_OFFSET(port_vlan_memb_info, vlan_2, 10);
VLAN_MGR_ASSERT_OFFSET(port_vlan_memb_info, bitmap, 16);

/* Access membership update of `count` ports for the VLAN `key` (14 + 4 *
 * count bytes). `unused` is ignored. The key's VDC id is not compared with
 * the caller's own. The builder stores the length, then the malloc'ed
 * payload (NULL when the allocation failed); the caller frees it with free().
 * Returns 0; VLAN_MGR_ERR_INVALID_ARG (if_indexes NULL or count 0);
 * VLAN_MGR_ERR_ACCESS_UPD_OP (op not 1, 9 or 13); VLAN_MGR_ERR_NO_MEMORY. */
VLAN_MGR_API uint32_t vlan_update_port_memb_build_mts(const uint32_t *if_indexes, uint32_t count, vdc_vlan_id_t key,
                                                      uint32_t unused, uint32_t op, void **payload,
                                                      uint32_t *payload_len);
/* The same for VLAN `vlan_id` of the caller's own VDC. */
VLAN_MGR_API uint32_t vlan_update_port_memb_build_mts_local(const uint32_t *if_indexes, uint32_t count,
                                                            uint32_t vlan_id, uint32_t unused, uint32_t op,
                                                            void **payload, uint32_t *payload_len);
/* Decodes an access update reply's VDC id and VLAN id into *key and returns
 * the reply's status. Returns VLAN_MGR_ERR_INVALID_ARG (key NULL); the word
 * of a 4-byte reply; VLAN_MGR_ERR_NO_MEMORY (empty reply or payload NULL);
 * VLAN_MGR_ERR_TRUNCATED (shorter than 10 bytes; *key untouched). */
VLAN_MGR_API uint32_t vlan_update_port_memb_parse_reply(vdc_vlan_id_t *key, const void *payload,
                                                        uint32_t payload_len);
/* Decodes an access update reply's VLAN id into *vlan_id. Returns
 * VLAN_MGR_ERR_INVALID_ARG (vlan_id or payload NULL, nothing written); after
 * that *vlan_id is written whatever the outcome (0 when the reply had no
 * body) and the codes are those of vlan_update_port_memb_parse_reply. */
VLAN_MGR_API uint32_t vlan_update_port_memb_parse_reply_local(uint32_t *vlan_id, const void *payload,
                                                              uint32_t payload_len);

/* Trunking membership update of `count` ports, one input record each
 * (8 + 528 * count bytes; the bitmap length word goes out as 512 in host
 * order). The builder stores the length, then the malloc'ed payload (NULL
 * when the allocation failed); the caller frees it with free(). Returns 0;
 * VLAN_MGR_ERR_INVALID_ARG (if_indexes or records NULL, or count 0);
 * VLAN_MGR_ERR_TRUNK_UPD_OP (op not 2, 3, 4, 5, 9, 11 or 12);
 * VLAN_MGR_ERR_NO_MEMORY. */
VLAN_MGR_API uint32_t vlan_update_port_trunking_memb_build_mts(const uint32_t *if_indexes, uint32_t count,
                                                               const trunking_update_input *records, int32_t op,
                                                               void **payload, uint32_t *payload_len);
/* Decodes a trunking update reply. There is no length: the caller must pass
 * a whole reply (18 + 8 * M bytes when its status is 0), and neither pointer
 * is checked. *result is set to NULL first; a non-zero status is returned
 * as it stands; otherwise *result receives a malloc'ed record, freed by the
 * caller with free(), and 0 is returned; VLAN_MGR_ERR_NO_MEMORY when the
 * allocation failed. */
VLAN_MGR_API uint32_t vlan_update_port_trunking_memb_parse_reply(trunking_update_result **result,
                                                                 const void *payload);
/* The same into a record without the VDC id. */
VLAN_MGR_API uint32_t vlan_update_port_trunking_memb_parse_reply_local(trunking_update_result_local **result,
                                                                       const void *payload);

/* Serialises `count` port membership records into one message: the count,
 * then each record with its integers big-endian and its bitmap length word
 * 512 in host order (4 + 532 * count bytes). The builder stores the length,
 * then the malloc'ed payload (NULL when the allocation failed); the caller
 * frees it with free(). Returns 0; VLAN_MGR_ERR_INVALID_ARG (records NULL or
 * count 0); VLAN_MGR_ERR_NO_MEMORY. */
VLAN_MGR_API uint32_t vlan_build_port_vlan_memb_info_mts(const port_vlan_memb_info *records, uint32_t count,
                                                         void **payload, uint32_t *payload_len);

VLAN_MGR_END_DECLS

#endif
