// The TLV part of the create and delete notifications: build and parse
// wrappers over the payload records' accessor families.
#include <cstdint>

#include <vlan_mgr/notif.h>
#include <vlan_mgr/tlv.h>

#include "tlv/framing.h"

using vlan_mgr::tlv::build;
using vlan_mgr::tlv::parse;

extern "C" {

int32_t vlan_mgr_create_notif2_parse_notification(const void *tlv, uint32_t tlv_len,
                                                  vlan_create_notif2_payload_t **payload)
{
    return parse(vlan_mgr_create_notif2_payload_to_struct, tlv, tlv_len, payload);
}

int32_t vlan_mgr_create_notif2_build_notification(const vlan_create_notif2_payload_t *payload, void **tlv,
                                                  uint32_t *tlv_len)
{
    return build(vlan_mgr_create_notif2_payload_to_tlv, payload, tlv, tlv_len);
}

int32_t vlan_mgr_delete_notif2_parse_notification(const void *tlv, uint32_t tlv_len,
                                                  vlan_delete_notif2_payload_t **payload)
{
    return parse(vlan_mgr_delete_notif2_payload_to_struct, tlv, tlv_len, payload);
}

int32_t vlan_mgr_delete_notif2_build_notification(const vlan_delete_notif2_payload_t *payload, void **tlv,
                                                  uint32_t *tlv_len)
{
    return build(vlan_mgr_delete_notif2_payload_to_tlv, payload, tlv, tlv_len);
}
}
