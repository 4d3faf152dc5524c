/* The VLAN manager's protocol: the MTS opcode of every request family, the
 * notifications it publishes, the status words it answers with, and the
 * values that its requests carry (VLAN types, port modes, option bits).
 *
 * A client builds a request payload with the library's builder of the family,
 * sends it to SAP VLAN_MGR_MTS_SAP on node VLAN_MGR_MTS_DEST_NODE with the
 * opcode below (address word 0 = 1: a request that expects a reply), and
 * hands the reply to the family's parser. docs/protocol.md gives every
 * family's request and reply. */
#ifndef VLAN_MGR_OPCODES_H
#define VLAN_MGR_OPCODES_H

/* ---- Requests: VLAN configuration --------------------------------------- */
#define VLAN_MGR_OPC_VLAN_CREATE          0x5D01u /* vlan_create_build_mts / _parse_reply */
#define VLAN_MGR_OPC_VLAN_DELETE          0x5D02u /* vlan_delete_build_mts */
#define VLAN_MGR_OPC_VLAN_DELETE_RANGE    0x5D03u /* vlan_delete_range_build_mts */
#define VLAN_MGR_OPC_VLAN_TYPE_CHANGE     0x5D04u /* vlan_type_change_build_mts */
#define VLAN_MGR_OPC_VLAN_ASSOCIATION     0x5D05u /* vlan_association_build_mts */
#define VLAN_MGR_OPC_VLAN_ASSOCIATION_MULTI 0x5D06u /* vlan_association_multi_build_mts */
#define VLAN_MGR_OPC_VLAN_NAME_TO_ID      0x5D07u /* vlan_name_to_id_build_mts */
#define VLAN_MGR_OPC_VLAN_RSVD_CHECK      0x5D08u /* reserved check (12-byte request, 16-byte reply) */
#define VLAN_MGR_OPC_VLAN_CREATE_UPDATE   0x5D09u /* TLV: vlan_mgr_create_update_build_mts */
#define VLAN_MGR_OPC_VLAN_CONFIGMODE      0x5D0Au /* TLV: vlan_build_vlan_configmode_change_req */

/* ---- Requests: VLAN queries ---------------------------------------------- */
#define VLAN_MGR_OPC_VLAN_INFO            0x5D20u /* vlan_get_vlan_info_build_mts */
#define VLAN_MGR_OPC_NEXT_VLAN_INFO       0x5D21u /* vlan_get_next_vlan_info_build_mts */
#define VLAN_MGR_OPC_ALL_CREATED_VLAN     0x5D22u /* vlan_get_all_created_vlan_build_mts */
#define VLAN_MGR_OPC_RANGE_CREATED_VLAN   0x5D23u /* vlan_get_range_created_vlan_build_mts */
#define VLAN_MGR_OPC_VLANS_FOR_ATTR_VALUE 0x5D24u /* vlan_get_vlans_for_attr_value_build_mts */
#define VLAN_MGR_OPC_RESERVE_VLAN_INFO    0x5D25u /* vlan_get_reserve_vlan_info_build_mts */
#define VLAN_MGR_OPC_ALL_CREATED_VLAN_2   0x5D26u /* TLV: vlan_build_get_all_created_vlan_2_req */
#define VLAN_MGR_OPC_DIAG_VLAN_INFO       0x5D27u /* TLV: vlan_build_get_diag_vlan_info_req */
#define VLAN_MGR_OPC_DYN_RSVD_VLAN_INFO   0x5D28u /* TLV: vlan_build_get_dyn_rsvd_vlan_info_req_msg */
#define VLAN_MGR_OPC_RANGE_CREATED_VLAN_NAME 0x5D29u /* TLV: vlan_build_get_range_created_vlan_req_msg */
#define VLAN_MGR_OPC_VNI_SERVER_MAPPING   0x5D2Au /* vlan_mgr_req_vni_server_vlan_mapping_build_mts */

/* ---- Requests: port membership ------------------------------------------- */
#define VLAN_MGR_OPC_PORT_ACTIVE_MEMB     0x5D40u /* vlan_get_port_active_memb_build_mts */
#define VLAN_MGR_OPC_PORT_VOICE_VLAN_MEMB 0x5D41u /* vlan_get_port_voice_vlan_memb_build_mts */
#define VLAN_MGR_OPC_PORT_MEMB            0x5D42u /* vlan_get_port_memb_build_mts */
#define VLAN_MGR_OPC_PORT_TRUNKING_MEMB   0x5D43u /* vlan_get_port_trunking_memb_build_mts */
#define VLAN_MGR_OPC_PORT_ACTIVE_TRUNKING_MEMB 0x5D44u /* vlan_get_port_active_trunking_memb_build_mts */
#define VLAN_MGR_OPC_PER_VLAN_TRUNKING_MEMB 0x5D45u /* vlan_get_per_vlan_trunking_memb_info_build_mts */
#define VLAN_MGR_OPC_PER_VLAN_ACCESS_MEMB 0x5D46u /* vlan_get_per_vlan_access_memb_info_build_mts */
#define VLAN_MGR_OPC_PER_VLAN_MEMB        0x5D47u /* vlan_get_per_vlan_memb_info_build_mts */
#define VLAN_MGR_OPC_UPDATE_PORT_MEMB     0x5D48u /* vlan_update_port_memb_build_mts */
#define VLAN_MGR_OPC_UPDATE_PORT_TRUNKING_MEMB 0x5D49u /* vlan_update_port_trunking_memb_build_mts */
#define VLAN_MGR_OPC_PORT_VLAN_MEMB_INFO  0x5D4Au /* vlan_build_port_vlan_memb_info_mts */
#define VLAN_MGR_OPC_PORT_MEMB_2          0x5D4Bu /* TLV: vlan_build_get_port_memb_2_req */
#define VLAN_MGR_OPC_PORT_TRUNKING_MEMB_2 0x5D4Cu /* TLV: port_memb_2 request, trunking_memb_2 response */
#define VLAN_MGR_OPC_COMPRGRP_MEMB_CHANGE 0x5D4Du /* TLV: vlan_build_comprgrp_memb_change_msg */

/* Requests with opcodes of their own in frame.h: the global autostate query
 * (MTS_OPC_VLAN_GET_GLOBAL_AUTOSTATE) and the two request-response exchanges
 * (MTS_OPC_VLAN_REQ_RESP_16, MTS_OPC_VLAN_REQ_RESP_30). */

/* ---- Operation codes of the port membership updates --------------------- */
/* vlan_update_port_memb_build_mts (access ports): */
#define VLAN_MGR_ACCESS_OP_SET_VLAN       1u  /* the ports' access VLAN becomes the VLAN */
#define VLAN_MGR_ACCESS_OP_SET_VOICE      9u  /* the ports' voice VLAN becomes the VLAN */
#define VLAN_MGR_ACCESS_OP_REMOVE         13u /* the ports leave the VLAN (access VLAN 1, no voice VLAN) */
/* vlan_update_port_trunking_memb_build_mts (trunk ports): */
#define VLAN_MGR_TRUNK_OP_SET_ALLOWED     2u  /* allowed VLANs := the record's bitmap */
#define VLAN_MGR_TRUNK_OP_ADD_ALLOWED     3u  /* allowed VLANs += the bitmap */
#define VLAN_MGR_TRUNK_OP_REMOVE_ALLOWED  4u  /* allowed VLANs -= the bitmap */
#define VLAN_MGR_TRUNK_OP_ALLOW_ALL       5u  /* allowed VLANs := 1..4094 */
#define VLAN_MGR_TRUNK_OP_SET_NATIVE      9u  /* native VLAN := the record's VLAN id */
#define VLAN_MGR_TRUNK_OP_ALLOW_NONE      11u /* allowed VLANs := none */
#define VLAN_MGR_TRUNK_OP_SET_MODE        12u /* mode := the record's 16-bit value (1 access, 2 trunk) */

/* ---- Notifications the manager publishes (docs/protocol.md) -------------- */
#define VLAN_MGR_NOTIF_VLAN_CREATE        0x5C1Du /* created VLANs, fixed list + create notif2 TLV */
#define VLAN_MGR_NOTIF_VLAN_CONFIG_CHANGE 0x5C21u /* VLAN name records */
#define VLAN_MGR_NOTIF_VLAN_DELETE        0x5C22u /* deleted VLANs, fixed list + delete notif2 TLV */
#define VLAN_MGR_NOTIF_PORT_MEMB_CHANGE   0x5C24u /* a port's configured and active VLANs */
#define VLAN_MGR_NOTIF_VLAN_TYPE_CHANGE   0x5C26u /* a VLAN's type and private-VLAN association */
#define VLAN_MGR_NOTIF_BD_CHANGE          0x5C2Bu /* VLAN -> BD of one VDC (sent after a restart) */

/* ---- Status words of the manager's replies ------------------------------- */
/* Besides the library's own codes (VLAN_MGR_ERR_VDC_MISMATCH for a request
 * about another VDC, VLAN_MGR_ERR_INVALID_VLAN, VLAN_MGR_ERR_DEFAULT_VLAN for
 * VLAN 1, VLAN_MGR_ERR_NAME_TOO_LONG ...), the manager answers with: */
#define VLAN_MGR_ERR_BAD_REQUEST      0x411000C0u /* malformed or truncated request */
#define VLAN_MGR_ERR_UNKNOWN_REQUEST  0x411000C1u /* no request of that opcode */
#define VLAN_MGR_ERR_VLAN_RESERVED    0x411000C2u /* the VLAN is in the reserved range */
#define VLAN_MGR_ERR_VLAN_NOT_CREATED 0x411000C3u /* the VLAN does not exist */
#define VLAN_MGR_ERR_UNKNOWN_PORT     0x411000C4u /* no such interface in the VDC */
#define VLAN_MGR_ERR_PVLAN            0x411000C5u /* private-VLAN type or association not allowed */
#define VLAN_MGR_ERR_STORE            0x411000C6u /* the change could not be saved or published */
#define VLAN_MGR_ERR_NAME_IN_USE      0x411000C7u /* another VLAN has that name */
#define VLAN_MGR_ERR_NO_SUCH_NAME     0x411000C8u /* no VLAN has that name */
#define VLAN_MGR_ERR_NOT_SUPPORTED    0x411000C9u /* valid request the manager does not serve */
#define VLAN_MGR_ERR_VDC_DENIED       0x411000CAu /* the sender may not act for that VDC */
#define VLAN_MGR_ERR_BAD_NAME         0x411000CBu /* the VLAN name is not printable text */

/* ---- Values carried by requests ------------------------------------------ */
/* VLAN types (type change request, bd_record type field). */
#define VLAN_MGR_VLAN_TYPE_NORMAL     0u
#define VLAN_MGR_VLAN_TYPE_PRIMARY    3u /* private VLAN: primary */
#define VLAN_MGR_VLAN_TYPE_ISOLATED   4u /* private VLAN: secondary, isolated */
#define VLAN_MGR_VLAN_TYPE_COMMUNITY  5u /* private VLAN: secondary, community */
/* Association types of the association requests. */
#define VLAN_MGR_ASSOC_ADD            2u /* associate the secondaries with the primary */
#define VLAN_MGR_ASSOC_REMOVE         3u /* dissociate them */
/* create_options bits of the create request. */
#define VLAN_MGR_CREATE_OPT_RENAME    0x1u /* only rename an existing VLAN (count 1) */
/* Port modes. */
#define VLAN_MGR_PORT_MODE_ACCESS     1u
#define VLAN_MGR_PORT_MODE_TRUNK      2u
/* Attribute numbers of the attribute query (1..VLAN_MGR_ATTR_MAX); 1..6 are
 * also the six attribute words of the info replies and the listings, word 1
 * first (attr[VLAN_MGR_ATTR_TYPE - 1] of vlan_info_record). */
#define VLAN_MGR_ATTR_TYPE            1u  /* VLAN type (VLAN_MGR_VLAN_TYPE_*) */
#define VLAN_MGR_ATTR_MODE            2u  /* VLAN mode word */
#define VLAN_MGR_ATTR_BD              3u  /* BD id */
#define VLAN_MGR_ATTR_SEGMENT         4u  /* segment id (VNI), 0: none */
#define VLAN_MGR_ATTR_PRIMARY         5u  /* primary VLAN of a secondary, 0: none */
#define VLAN_MGR_ATTR_STATE           6u  /* VLAN state (VLAN_MGR_VLAN_STATE_*) */
#define VLAN_MGR_ATTR_BD_PAIRS        7u  /* query only: (VLAN id, BD id) pairs */
#define VLAN_MGR_ATTR_PRIMARY_TYPE    8u  /* query only: primary private VLANs */
#define VLAN_MGR_ATTR_ISOLATED        9u  /* query only: isolated secondaries */
#define VLAN_MGR_ATTR_COMMUNITY       10u /* query only: community secondaries */
#define VLAN_MGR_ATTR_NAMED           11u /* query only: VLANs with a name of their own */
#define VLAN_MGR_ATTR_MAX             21u /* the highest attribute number */
/* VLAN states (attribute word 6). */
#define VLAN_MGR_VLAN_STATE_ACTIVE    1u
#define VLAN_MGR_VLAN_STATE_SUSPENDED 2u
/* Values of the VNI-server mapping request besides a VLAN id 1..4094. */
#define VLAN_MGR_VNI_VALUE_QUERY      0u          /* answer the VNI's mapping */
#define VLAN_MGR_VNI_VALUE_UNMAP      0xFFFFFFFFu /* remove the VNI's mapping */
/* field32 of the dynamic reserved VLAN query: all five bitmaps (the
 * record's default, the only kind the manager serves). */
#define VLAN_MGR_DYN_RSVD_ALL         5u

#endif
