/* Host platform API for programs: the shared database publisher.
 *
 * A database is named by the same URI that readers pass to sdb_open,
 * "volatile:<path>", e.g. "volatile:/dev/shm/vlan_mgr_bd_sdb". It is one file
 * (and its lock file <file>-lock) that every reader of the machine maps. A
 * path under /dev/shm/ is placed in the database root instead:
 * VLAN_MGR_SDB_ROOT when set, else VLAN_MGR_HOST_SDB_DEFAULT_ROOT, so that
 * "volatile:/dev/shm/2/vlan_mgr_bd_sdb" is the file
 * /dev/shm/vlan_mgr/2/vlan_mgr_bd_sdb. One process publishes it: it collects
 * puts and deletes in a batch and commits the batch at once. Readers in other
 * processes see either the whole batch or none of it, never a record half
 * written, and never wait for the publisher.
 *
 * The files are inside the trust boundary (vlan_mgr_host_trust.h): the
 * publisher makes the root and the directories under it (mode 02750), the
 * file (0640) and the lock file (0660: readers write their slot in it), all
 * its own and in the trust group whatever the umask. Only the trust group's
 * members read; only the files' owner publishes (0x411a0008 to others). A
 * root that every user may write to (a sticky directory such as /dev/shm
 * itself), or that belongs to another user, is refused with 0x411a000A.
 *
 * Error words (syserr2str gives their texts):
 *   0x411a0001 invalid argument         0x411a0002 handle not open (or
 *   0x411a0003 already published by     inherited across fork)
 *              this process             0x411a0004 cannot create or map the file
 *   0x411a0005 out of memory            0x411a0006 the file is not a database
 *   0x411a0008 the file belongs to      0x411a0009 another process publishes
 *              another user                        this database
 *   0x411a000A permission denied: syserr2str's text in the same thread names
 *              the directory or file refused
 *   0x411a000B the database file (its map) is full: syserr2str's text in the
 *              same thread names the cause, "reader pid P holds a snapshot
 *              since transaction T" or "the batch does not fit the map of N MiB"
 */
#ifndef VLAN_MGR_HOST_SDB_H
#define VLAN_MGR_HOST_SDB_H

#include <stdint.h>

#include "vlan_mgr_platform.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Where databases named under /dev/shm/ live when VLAN_MGR_SDB_ROOT is not
 * set, and the mode the publisher gives that root and its directories. */
#define VLAN_MGR_HOST_SDB_DEFAULT_ROOT "/dev/shm/vlan_mgr"
#define VLAN_MGR_HOST_SDB_DIR_MODE 02750

/* A publisher handle: one open database being published. Its calls may come
 * from several threads; they are serialised on the handle. */
typedef struct sdb_pub sdb_pub_t;

/* Opens the database `uri` for publishing, making the root, the directory of
 * the file and the file itself when they do not exist (the file's size, its
 * map, is fixed then: VLAN_MGR_SDB_MAP_MB MiB, default 128), and giving
 * existing ones the boundary's group and modes. An existing file keeps its
 * records. *pub receives the handle, or NULL on failure. 0x411a0003 when
 * this process already publishes it, 0x411a0009 when another process does,
 * 0x411a0008 when the file or its lock file belongs to another user,
 * 0x411a000A when a directory or file is refused (named by syserr2str). */
int32_t sdb_pub_open(const char *uri, sdb_pub_t **pub);

/* Adds to the batch: store `len` bytes at `value` under `key` (1 to 511 bytes),
 * replacing any record of that key. The bytes are copied. */
int32_t sdb_pub_put(sdb_pub_t *pub, const sdb_key_t *key, const void *value, uint32_t len);

/* Adds to the batch: remove the record of `key` (no error when there is none). */
int32_t sdb_pub_del(sdb_pub_t *pub, const sdb_key_t *key);

/* Adds to the batch: remove every record (a publisher that starts afresh
 * clears the file and puts its records in the same batch). */
int32_t sdb_pub_del_all(sdb_pub_t *pub);

/* Commits the batch: readers see all of its changes from now on. The batch is
 * empty afterwards, also after a failure, which changes nothing in the file.
 * Reader slots of processes that died are given back first. 0x411a000B when
 * the map is full, with its cause in syserr2str's text. */
int32_t sdb_pub_commit(sdb_pub_t *pub);

/* Drops the batch without committing it. */
int32_t sdb_pub_discard(sdb_pub_t *pub);

/* Number of changes in the batch. */
uint32_t sdb_pub_pending(const sdb_pub_t *pub);

/* Drops the batch, closes the handle and frees it. */
int32_t sdb_pub_close(sdb_pub_t *pub);

#ifdef __cplusplus
}
#endif

#endif
