/* Bridge-domain shared database: per-VDC handle, BD cache, lookups and getters.
 *
 * The VLAN manager publishes every VLAN's bridge domain (BD) in a shared
 * database per VDC: "volatile:/dev/shm/vlan_mgr_bd_sdb" for VDC 1 and
 * "volatile:/dev/shm/<vdc>/vlan_mgr_bd_sdb" for the others. The library opens
 * a VDC's database on first use and keeps a per-process cache of BD ids
 * (off until switched on).
 *
 * The library's constructor sets up the tables at load, before any other
 * call, in the shared library and in a program linked with the static
 * archive (the archive's CMake target adds a linker option that keeps the
 * constructor's object in the link). A failed allocation there ends the
 * process with abort.
 *
 * Threads: nothing here takes a lock. Lookups that hit the cache may run
 * beside cache updates (an entry is read and written whole); everything else
 * that touches the database or the cache is serialised by the caller. */
#ifndef VLAN_MGR_BD_DB_H
#define VLAN_MGR_BD_DB_H

#include <vlan_mgr/frame.h>

VLAN_MGR_BEGIN_DECLS

/* Status codes of the BD database. */
#define VLAN_MGR_ERR_INVALID_VLAN      0x41100012u /* VLAN id outside 1..4094 */
#define VLAN_MGR_ERR_SDB_READ          0x4110001cu /* a VLAN record could not be read */
#define VLAN_MGR_ERR_BD_CACHE_OFF      0x41100084u /* the BD cache is switched off */
#define VLAN_MGR_ERR_SDB_CLOSE         0x4110008bu /* sdb_close failed */
#define VLAN_MGR_ERR_PORT_RECORD       0x4110008cu /* a port's membership record is missing */

/* ---- Handle and cache ---------------------------------------------------- */

/* Per VDC (index vdc_id - 1, five entries): null while no URI is set, else
 * the VDC's URI, the handle passed to the database calls. */
VLAN_MGR_API extern char **bd_sdb_uri_p;
/* 1 once the shared-database publisher library has been initialised. */
VLAN_MGR_API extern int32_t vlan_mgr_pblr_lib_init_done;

/* Makes sure the VDC's BD database is open. 0 on success (also when it was
 * open already), otherwise the error word of the platform call that failed
 * (a failed sdb_open is reported). A VDC id outside 1..5 gives
 * VLAN_MGR_ERR_VDC_MISMATCH and changes nothing. */
VLAN_MGR_API uint32_t vlan_open_bd_sdb(uint16_t vdc_id);
/* Closes the VDC's database if it is open, forgets its URI and drops its
 * cache block. 0, or VLAN_MGR_ERR_SDB_CLOSE when sdb_close fails (nothing
 * changed). A VDC id outside 1..5 gives VLAN_MGR_ERR_VDC_MISMATCH. */
VLAN_MGR_API uint32_t vlan_close_bd_sdb(uint16_t vdc_id);
/* Switch the BD cache on (from an empty cache; no change when it is on
 * already) and off (emptied). Both return 0. */
VLAN_MGR_API uint32_t vlan_mgr_enable_cached_bd_sdb(void);
VLAN_MGR_API uint32_t vlan_mgr_disable_cached_bd_sdb(void);

/* ---- BD lookups -----------------------------------------------------------
 * Argument checks, in this order: VDC id outside 1..5 gives
 * VLAN_MGR_ERR_VDC_MISMATCH, VLAN id outside 1..4094 VLAN_MGR_ERR_INVALID_VLAN,
 * a null output VLAN_MGR_ERR_INVALID_ARG; none is reported. Errors of
 * vlan_open_bd_sdb are returned unchanged. The _local forms use the caller's
 * own VDC. */

/* The VLAN's BD id. Answered from the BD cache when the VDC's block holds a
 * non-zero entry; otherwise read from the database (and cached when the block
 * exists). A missing record returns the platform's error word (0x40480003 or
 * 0x411a0007) without a report; other read failures are reported and return
 * the error word; a record with BD 0 is reported and returns 0 with *bd = 0. */
VLAN_MGR_API uint32_t vlan_get_bd(vdc_vlan_id_t key, uint16_t *bd);
VLAN_MGR_API uint32_t vlan_get_bd_local(uint32_t vlan_id, uint16_t *bd);
/* The VLAN's BD id and primary VLAN id, read without the cache.
 * VLAN_MGR_ERR_SDB_READ when the record cannot be read. */
VLAN_MGR_API uint32_t vlan_get_bd_and_primary_vlan(vdc_vlan_id_t key, uint16_t *bd, uint32_t *primary_vlan);
VLAN_MGR_API uint32_t vlan_get_bd_and_primary_vlan_local(uint32_t vlan_id, uint16_t *bd, uint32_t *primary_vlan);
/* The VDC's layer-3 BD id. VLAN_MGR_ERR_SDB_READ when it cannot be read. */
VLAN_MGR_API uint32_t vlan_get_l3_bd(uint16_t vdc_id, uint16_t *bd);
VLAN_MGR_API uint32_t vlan_get_l3_bd_local(uint16_t *bd);
/* The secondary private VLANs (types 4 and 5) of the own VDC in ascending
 * order: *list is a malloc'ed array of *count VLAN ids that the caller frees,
 * or NULL with *count 0 when there is none. VLAN_MGR_ERR_NO_MEMORY when the
 * array cannot be allocated; VLAN_MGR_ERR_INVALID_ARG for a null pointer. */
VLAN_MGR_API uint32_t vlan_get_secondary_pvlan_list_local(uint32_t **list, uint32_t *count);

/* ---- Port and VLAN getters ---------------------------------------------------
 * Direct reads without the cache; nothing is reported. */

/* An access membership entry, host order, packed (24 bytes). */
typedef struct VLAN_MGR_PACKED vlan_mgr_sdb_accntv_memb {
    uint32_t if_index;
    uint32_t value1;
    uint32_t value2;
    uint16_t value3;
    uint32_t value4;
    uint16_t value5;
    uint32_t value6;
} vlan_mgr_sdb_accntv_memb_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_sdb_accntv_memb_t, 24);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_sdb_accntv_memb_t, value3, 12);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_sdb_accntv_memb_t, value4, 14);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_sdb_accntv_memb_t, value5, 18);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_sdb_accntv_memb_t, value6, 20);

/* A trunking membership entry, host order (1052 bytes): two bytes of padding
 * (zero) after value2; each bitmap's length word holds 512. */
typedef struct VLAN_MGR_PACKED vlan_mgr_sdb_trunking_memb {
    uint32_t if_index;
    uint16_t value1;
    uint32_t value2;
    uint16_t value3;
    uint8_t pad[2];
    vlan_bitmap bitmap1;
    vlan_bitmap bitmap2;
    uint16_t value4;
    uint32_t value5;
} vlan_mgr_sdb_trunking_memb_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_sdb_trunking_memb_t, 1052);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_sdb_trunking_memb_t, value2, 6);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_sdb_trunking_memb_t, value3, 10);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_sdb_trunking_memb_t, bitmap1, 14);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_sdb_trunking_memb_t, bitmap2, 530);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_sdb_trunking_memb_t, value4, 1046);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_sdb_trunking_memb_t, value5, 1048);

/* One result of a multi-VLAN getter, host order. */
typedef struct vlan_mgr_sdb_vlan_pair {
    uint32_t vlan_id;
    uint32_t value;
} vlan_mgr_sdb_vlan_pair_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_sdb_vlan_pair_t, 8);

/* The access membership of `count` ports of the own VDC: *entries is a
 * malloc'ed array of `count` vlan_mgr_sdb_accntv_memb_t (caller frees; also
 * after a failure part-way). Entry i is taken from the i-th 24-byte slot of
 * port i's record. VLAN_MGR_ERR_PORT_RECORD when a port's record is missing
 * or too short, VLAN_MGR_ERR_NO_MEMORY, VLAN_MGR_ERR_INVALID_ARG for null
 * pointers. */
VLAN_MGR_API uint32_t vlan_mgr_sdb_get_port_accntv_memb(int32_t *if_indexes, uint32_t count, uint32_t **entries);
/* The trunking membership of `count` ports: *entries (NULL first) is a
 * malloc'ed array of `count` vlan_mgr_sdb_trunking_memb_t. Opens the own VDC's
 * database and reads through the handle of `vdc_id`. Codes as above, and
 * VLAN_MGR_ERR_VDC_MISMATCH for a VDC id outside 1..5. */
VLAN_MGR_API uint32_t vlan_mgr_sdb_get_port_trunking_memb(uint16_t vdc_id, uint32_t *if_indexes, uint32_t count,
                                                          uint32_t **entries);
/* A VLAN's type (its four stored bytes, not converted) and mode (converted).
 * VLAN_MGR_ERR_VDC_MISMATCH, VLAN_MGR_ERR_INVALID_ARG, VLAN_MGR_ERR_SDB_READ. */
VLAN_MGR_API uint32_t vlan_mgr_sdb_get_vlan_type(uint16_t vdc_id, uint32_t vlan_id, uint32_t *type);
VLAN_MGR_API uint32_t vlan_mgr_sdb_get_vlan_mode(uint16_t vdc_id, uint32_t vlan_id, uint32_t *mode);
/* A VLAN's segment id; 0 (and status 0) on module types without segment ids,
 * the platform's error when the module type cannot be read. */
VLAN_MGR_API uint32_t vlan_mgr_sdb_get_vlan_segment_id(uint16_t vdc_id, uint32_t vlan_id, uint32_t *segment_id);
VLAN_MGR_API uint32_t vlan_mgr_sdb_get_vlan_segment_id_local(uint32_t vlan_id, uint32_t *segment_id);
/* The primary VLAN of the first VLAN record carrying `segment_id`;
 * VLAN_MGR_ERR_INVALID_ARG when there is none or `vlan_id` is null. */
VLAN_MGR_API uint32_t vlan_mgr_sdb_get_segment_vlan_id(uint16_t vdc_id, uint32_t segment_id, uint32_t *vlan_id);
VLAN_MGR_API uint32_t vlan_mgr_sdb_get_segment_vlan_id_local(uint32_t segment_id, uint32_t *vlan_id);
/* Multi-VLAN getters: one pair per VLAN of `bitmap` whose record was read, in
 * ascending order; *pairs is a malloc'ed array (8 bytes per VLAN of the
 * bitmap) that the caller frees, stored before the database is opened, and
 * *count the number of pairs filled. VLAN_MGR_ERR_VDC_MISMATCH for a null
 * bitmap (and, except in the segment getter, a VDC id outside 1..5); the
 * segment getter gives VLAN_MGR_ERR_NO_MEMORY for a null `pairs`. A failing
 * multi-fetch ends the walk with its error. */
VLAN_MGR_API uint32_t vlan_mgr_sdb_get_multi_vlan_type(uint16_t vdc_id, vlan_bitmap *bitmap, uint32_t *count,
                                                       vlan_mgr_sdb_vlan_pair_t **pairs);
VLAN_MGR_API uint32_t vlan_mgr_sdb_get_multi_vlan_mode(uint16_t vdc_id, vlan_bitmap *bitmap, uint32_t *count,
                                                       vlan_mgr_sdb_vlan_pair_t **pairs);
VLAN_MGR_API uint32_t vlan_mgr_sdb_get_multi_vlan_segment_id(uint16_t vdc_id, vlan_bitmap *bitmap, uint32_t *count,
                                                             vlan_mgr_sdb_vlan_pair_t **pairs);
VLAN_MGR_API uint32_t vlan_mgr_sdb_get_multi_vlan_segment_id_local(vlan_bitmap *bitmap, uint32_t *count,
                                                                   vlan_mgr_sdb_vlan_pair_t **pairs);

VLAN_MGR_END_DECLS

#endif
