/* Notifications: decoding the VLAN manager's change, create and delete notifications. */
#ifndef VLAN_MGR_NOTIF_H
#define VLAN_MGR_NOTIF_H

#include <vlan_mgr/frame.h>
#include <vlan_mgr/tlv.h>

VLAN_MGR_BEGIN_DECLS

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
