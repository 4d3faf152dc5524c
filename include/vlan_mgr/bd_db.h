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

VLAN_MGR_END_DECLS

#endif
