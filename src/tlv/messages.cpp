// The TLV-framed messages: one builder and one parser per message, each a
// thin wrapper over its record's _to_tlv or _to_struct accessor.
#include <cstdint>

#include <vlan_mgr/tlv.h>

#include "tlv/framing.h"

// clang-format off
// One message: its builder and parser names, its record type and the
// accessor family of that record.
#define TLV_MESSAGE(build_name, parse_name, R, P) \
    int32_t build_name(const R *msg, void **tlv, uint32_t *tlv_len) { return vlan_mgr::tlv::build(P##_to_tlv, msg, tlv, tlv_len); } \
    int32_t parse_name(const void *tlv, uint32_t tlv_len, R **msg) { return vlan_mgr::tlv::parse(P##_to_struct, tlv, tlv_len, msg); }

extern "C" {

TLV_MESSAGE(vlan_build_comprgrp_memb_change_msg, vlan_parse_comprgrp_memb_change_msg, vlan_comprgrp_memb_change_notif_t, vlan_mgr_comprgrp_change_notif)
TLV_MESSAGE(vlan_build_get_all_created_vlan_2_req, vlan_parse_get_all_created_vlan_2_req, vlan_get_all_created_vlan_2_req_t, vlan_get_all_created_vlan_2_req)
TLV_MESSAGE(vlan_build_get_all_created_vlan_2_rsp, vlan_parse_get_all_created_vlan_2_rsp, vlan_get_all_created_vlan_2_rsp_t, vlan_get_all_created_vlan_2_rsp)
TLV_MESSAGE(vlan_build_get_diag_vlan_info_req, vlan_parse_get_diag_vlan_info_req, vlan_get_diag_vlan_info_req_t, vlan_get_diag_vlan_info_req)
TLV_MESSAGE(vlan_build_get_diag_vlan_info_rsp, vlan_parse_get_diag_vlan_info_rsp, vlan_get_diag_vlan_info_rsp_t, vlan_get_diag_vlan_info_rsp)
TLV_MESSAGE(vlan_build_get_port_trunking_memb_2_rsp, vlan_parse_get_port_trunking_memb_2_rsp, vlan_get_port_trunking_memb_2_rsp_t, vlan_get_port_trunking_memb_2_rsp)
TLV_MESSAGE(vlan_build_get_port_memb_2_req, vlan_parse_get_port_memb_2_req, vlan_get_port_memb_2_req_t, vlan_get_port_memb_2_req)
TLV_MESSAGE(vlan_build_get_port_memb_2_rsp, vlan_parse_get_port_memb_2_rsp, vlan_get_port_memb_2_rsp_t, vlan_get_port_memb_2_rsp)
TLV_MESSAGE(vlan_build_vlan_configmode_change_rsp, vlan_parse_vlan_configmode_change_rsp, vlan_configmode_rsp_t, vlan_configmode_rsp)
TLV_MESSAGE(vlan_build_vlan_configmode_change_notif, vlan_parse_vlan_configmode_change_notif, vlan_configmode_payload_t, vlan_configmode_payload)
TLV_MESSAGE(vlan_build_get_dyn_rsvd_vlan_info_req_msg, vlan_parse_get_dyn_rsvd_vlan_info_req_msg, vlan_dyn_rsvd_req_t, vlan_get_dyn_rsvd_vlan_req)
TLV_MESSAGE(vlan_build_get_dyn_rsvd_vlan_info_rsp_msg, vlan_parse_get_dyn_rsvd_vlan_info_rsp_msg, vlan_dyn_rsvd_rsp_t, vlan_get_dyn_rsvd_vlan_rsp)
TLV_MESSAGE(vlan_build_get_range_created_vlan_req_msg, vlan_parse_get_range_created_vlan_req_msg, vlan_name_req_t, vlan_mgr_get_range_created_vlan_name_req)
TLV_MESSAGE(vlan_build_get_range_created_vlan_rsp_msg, vlan_parse_get_range_created_vlan_rsp_msg, vlan_name_rsp_t, vlan_mgr_get_range_created_vlan_name_rsp)

// The configuration-mode change request shares the notification's record and
// encoding.
int32_t vlan_build_vlan_configmode_change_req(const vlan_configmode_payload_t *msg, void **tlv, uint32_t *tlv_len) { return vlan_build_vlan_configmode_change_notif(msg, tlv, tlv_len); }
int32_t vlan_parse_vlan_configmode_change_req(const void *tlv, uint32_t tlv_len, vlan_configmode_payload_t **msg) { return vlan_parse_vlan_configmode_change_notif(tlv, tlv_len, msg); }

} // extern "C"
// clang-format on

#undef TLV_MESSAGE
