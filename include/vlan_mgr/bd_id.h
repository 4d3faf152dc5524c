/* Bridge-domain identifiers: the mapping between VLAN ids and software BD
 * ids, conversion between VLAN and BD bitmaps, the BD-manager entry points
 * (which on this platform have fixed answers: a software BD is its VLAN, and
 * the richer BD services are absent), and the VNI-server mapping exchange. */
#ifndef VLAN_MGR_BD_ID_H
#define VLAN_MGR_BD_ID_H

#include <vlan_mgr/frame.h>

VLAN_MGR_BEGIN_DECLS

/* Status codes of the BD id functions, besides VLAN_MGR_ERR_NO_MEMORY and
 * VLAN_MGR_ERR_INVALID_ARG. */
/* An argument is invalid (NULL pointer, VLAN id above 4095), or the BD
 * service asked for does not exist on this platform. */
#define VLAN_MGR_ERR_BD_NOT_SUPPORTED     0x411000B7u
/* The software BD id lies outside the VLAN range 1..4095. */
#define VLAN_MGR_ERR_BD_NOT_IN_VLAN_RANGE 0x411000B5u
/* The BD has no network id. */
#define VLAN_MGR_ERR_BD_NO_NETWORK_ID     0x411000B8u

/* The highest VLAN id that maps to a software BD. */
#define VLAN_MGR_BD_MAX_VLAN 4095u

/* ---- VLAN and software BD ids ------------------------------------------- */

/* Maps a VLAN id to its software BD id (the same number). Returns 0 with
 * *out_bd = vlan_id for 0..4095 (VLAN 0 is accepted);
 * VLAN_MGR_ERR_BD_NOT_SUPPORTED with *out_bd = 0 for a larger id;
 * VLAN_MGR_ERR_BD_NOT_SUPPORTED when out_bd is NULL. */
VLAN_MGR_API uint32_t vlan_id_to_sw_bd_id(uint32_t vlan_id, uint32_t *out_bd);

/* Maps a software BD id to its VLAN id (the same number). Returns 0 with
 * *out_vlan = bd_id for 1..4095; VLAN_MGR_ERR_BD_NOT_IN_VLAN_RANGE for 0 or
 * above 4095, leaving *out_vlan untouched; VLAN_MGR_ERR_BD_NOT_SUPPORTED when
 * out_vlan is NULL. Unlike vlan_id_to_sw_bd_id, 0 is refused. */
VLAN_MGR_API uint32_t sw_bd_id_to_vlan_id(uint32_t bd_id, uint32_t *out_vlan);

/* 1 when bd_id is in 1..4095, else 0. */
VLAN_MGR_API int32_t sw_bd_is_in_vlan_range(uint32_t bd_id);

/* ---- Bitmap conversion -------------------------------------------------- */

/* Convert a set of software BDs to the set of their VLANs, and back. Each
 * writes *dst in full: length word 512, then exactly the ids set in src's
 * bit array (the mapping is the identity, so the bits come out as they went
 * in). src's length word is not read. src and dst may be the same bitmap but
 * must not otherwise overlap. Return 0, or VLAN_MGR_ERR_BD_NOT_SUPPORTED
 * (dst untouched) when either pointer is NULL. Nothing is allocated. */
VLAN_MGR_API uint32_t sw_bd_bitset_to_vlan_bitset(const vlan_bitmap *src, vlan_bitmap *dst);
VLAN_MGR_API uint32_t vlan_bitset_to_sw_bd_bitset(const vlan_bitmap *src, vlan_bitmap *dst);

/* ---- BD-manager services ------------------------------------------------ */
/* None of these services exists on this platform. Each accepts its
 * arguments, ignores them, writes through none of its pointers (which may be
 * NULL) and returns its fixed answer, given with each. */

/* The if-index type of VNI interfaces: always 12. */
VLAN_MGR_API int32_t if_index_vni_get_id(uint32_t if_index);
/* Hardware BD of a software BD: VLAN_MGR_ERR_BD_NOT_SUPPORTED. */
VLAN_MGR_API uint32_t bd_mgr_get_sw_bd_to_hw_bd(uint32_t sw_bd, uint32_t *hw_bd);
/* Whether a port belongs to a BD's link group: VLAN_MGR_ERR_BD_NOT_SUPPORTED. */
VLAN_MGR_API uint32_t bd_mgr_check_sw_bd_to_tessellink_membership(uint32_t sw_bd, uint32_t if_index,
                                                                   int32_t *is_member);
/* Fabric-scale BD range: VLAN_MGR_ERR_BD_NOT_SUPPORTED. */
VLAN_MGR_API uint32_t bd_mgr_get_fabric_scale_bd_info(uint32_t *first_sw_bd, uint32_t *count);
/* Whether a BD is a fabric-scale BD: always 0 (no). */
VLAN_MGR_API int32_t bd_mgr_is_fabric_scale_sw_bd(uint32_t sw_bd);
/* Fabric control BD: VLAN_MGR_ERR_BD_NOT_SUPPORTED. */
VLAN_MGR_API uint32_t bd_mgr_get_fabric_control_bd_info(uint32_t *sw_bd);
/* Whether a BD is a fabric BD: always 0 (no). */
VLAN_MGR_API int32_t bd_mgr_is_sw_bd_fabric_bd(uint32_t sw_bd);
/* Whether a BD is a VLAN: always 1 (yes). */
VLAN_MGR_API int32_t bd_mgr_is_sw_bd_vlan(uint32_t sw_bd);
/* Whether a BD is the fabric control BD: always 0 (no). */
VLAN_MGR_API int32_t bd_mgr_is_fabric_control_sw_bd(uint32_t sw_bd);
/* BD range allocation: VLAN_MGR_ERR_BD_NOT_SUPPORTED. */
VLAN_MGR_API uint32_t bd_mgr_get_bd_range_allocation(uint32_t *first_sw_bd, uint32_t *last_sw_bd);
/* Fabric BD range allocation: VLAN_MGR_ERR_BD_NOT_SUPPORTED. */
VLAN_MGR_API uint32_t bd_mgr_get_fabric_bd_range_allocation(uint32_t *first_sw_bd, uint32_t *last_sw_bd);
/* Always VLAN_MGR_ERR_BD_NOT_SUPPORTED: a status, not a truth value (use
 * sw_bd_is_in_vlan_range for the answer). */
VLAN_MGR_API uint32_t bd_mgr_is_sw_bd_in_vlan_range(uint32_t sw_bd);
/* Software BD of a hardware BD: VLAN_MGR_ERR_BD_NOT_SUPPORTED. */
VLAN_MGR_API uint32_t bd_mgr_get_hw_bd_to_sw_bd(uint32_t hw_bd, uint32_t *sw_bd);
/* VNI of a software BD: always -1 (none). */
VLAN_MGR_API int32_t sw_bd_to_vni(uint32_t sw_bd);
/* Hardware BD of a named BD: VLAN_MGR_ERR_BD_NOT_SUPPORTED. */
VLAN_MGR_API uint32_t bd_mgr_bd_name_to_hw_bd(const char *bd_name, uint32_t *hw_bd);
/* Software BD of a named BD: VLAN_MGR_ERR_BD_NOT_SUPPORTED. */
VLAN_MGR_API uint32_t bd_mgr_bd_name_to_sw_bd(const char *bd_name, uint32_t *sw_bd);
/* Name of a software BD: VLAN_MGR_ERR_BD_NOT_SUPPORTED. */
VLAN_MGR_API uint32_t bd_mgr_sw_bd_to_bd_name(uint32_t sw_bd, char *bd_name, uint32_t bd_name_size);
/* Software BD of a VNI: VLAN_MGR_ERR_BD_NOT_SUPPORTED. */
VLAN_MGR_API uint32_t vni_to_sw_bd(uint32_t vni, uint32_t *sw_bd);
/* VLAN of a software BD through the BD manager: VLAN_MGR_ERR_BD_NOT_SUPPORTED
 * (sw_bd_id_to_vlan_id gives the answer). */
VLAN_MGR_API uint32_t sw_bd_to_vlan(uint32_t sw_bd, uint32_t *vlan_id);
/* Network id of a software BD: VLAN_MGR_ERR_BD_NO_NETWORK_ID. */
VLAN_MGR_API uint32_t bd_mgr_get_sw_bd_to_network_id(uint32_t sw_bd, uint32_t *network_id);
/* BD id of a named BD: VLAN_MGR_ERR_BD_NOT_SUPPORTED. */
VLAN_MGR_API uint32_t bd_mgr_get_bd_id_for_name(const char *bd_name, uint32_t *bd_id);
/* A VLAN's record in the link-state database: always 0, nothing filled in. */
VLAN_MGR_API uint32_t vlan_mgr_get_vlan_lsdb_info(uint32_t vlan_id, void *info);
/* A BD's record in the link-state database: always 0, nothing filled in. */
VLAN_MGR_API uint32_t bd_mgr_get_bd_lsdb_info(uint32_t sw_bd, void *info);
/* Whether a software BD has been created: always 0 (no). */
VLAN_MGR_API int32_t bd_mgr_is_sw_bd_created(uint32_t sw_bd);
/* A BD and its primary BD: VLAN_MGR_ERR_BD_NOT_SUPPORTED. */
VLAN_MGR_API uint32_t bd_mgr_get_bd_and_primary_bd(uint32_t sw_bd, uint32_t *bd, uint32_t *primary_bd);
/* Allocates a software BD for a name: VLAN_MGR_ERR_BD_NOT_SUPPORTED. */
VLAN_MGR_API uint32_t bd_mgr_alloc_swbd_for_name(const char *bd_name, uint32_t *sw_bd);
/* The VSI if-index of a BD on a parent port: always -1 (none). */
VLAN_MGR_API int32_t bd_mgr_get_vsi_if_index_for_bd_and_parent_port(uint32_t sw_bd, uint32_t parent_if_index,
                                                                     uint32_t *vsi_if_index);
/* The BDs carried by a parent port: always -1 (none). */
VLAN_MGR_API int32_t bd_mgr_get_bd_bmp_for_parent_port(uint32_t parent_if_index, vlan_bitmap *bd_bitmap);

/* ---- VNI-server mapping exchange ---------------------------------------- */

/* Builds the VNI-server VLAN-mapping request: 12 bytes, big-endian words
 * 1, value, key. `ignored` is not used. Returns VLAN_MGR_ERR_INVALID_ARG
 * when key is 0 or out_buf or out_len is NULL (nothing written). Otherwise
 * sets *out_len to 12, then stores the malloc'ed payload in *out_buf and
 * returns 0; on allocation failure returns VLAN_MGR_ERR_NO_MEMORY with
 * *out_buf NULL and *out_len still 12. The caller frees *out_buf. */
VLAN_MGR_API uint32_t vlan_mgr_req_vni_server_vlan_mapping_build_mts(uint32_t ignored, uint32_t key, uint32_t value,
                                                                     void **out_buf, uint32_t *out_len);

/* Parses the VNI server's reply to the mapping request: `len` bytes at
 * `payload`. A 16-byte (or longer) reply holds big-endian words: status,
 * then the values stored in *out3, *out1 and *out2, in that order; the
 * status word is returned. Returns VLAN_MGR_ERR_INVALID_ARG when out1 or
 * out2 is NULL (out3 is optional: when NULL its value is not stored); the
 * status word itself for a 4-byte reply, nothing stored; VLAN_MGR_ERR_NO_MEMORY
 * for an empty reply or a NULL payload; VLAN_MGR_ERR_TRUNCATED, nothing
 * stored, for any other reply shorter than 16 bytes. Nothing is allocated;
 * the payload stays the caller's. */
VLAN_MGR_API uint32_t vlan_mgr_parse_vni_vlan_mapping_reply(uint32_t *out1, uint32_t *out2, uint32_t *out3,
                                                            const void *payload, uint32_t len);

VLAN_MGR_END_DECLS

#endif
