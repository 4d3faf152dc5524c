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
