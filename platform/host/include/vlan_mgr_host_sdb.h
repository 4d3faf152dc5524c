/* Host platform API for programs: the shared database publisher.
 *
 * A database is named by the same URI that readers pass to sdb_open,
 * "volatile:<path>", e.g. "volatile:/dev/shm/vlan_mgr_bd_sdb". It is one file
 * at <path> (and its lock file <path>-lock) that every process of the machine
 * maps. One process publishes it: it collects puts and deletes in a batch and
 * commits the batch at once. Readers in other processes see either the whole
 * batch or none of it, never a record half written, and never wait for the
 * publisher.
 *
 * Only the user that owns the file may publish: the first publisher creates
 * the file with mode 0644 (and the lock file with mode 0666, since every
 * reader registers in it); a process of another user gets 0x411a0008.
 *
 * Error words (syserr2str gives their texts):
 *   0x411a0001 invalid argument         0x411a0002 handle not open (or
 *   0x411a0003 already published by     inherited across fork)
 *              this process             0x411a0004 cannot create or map the file
 *   0x411a0005 out of memory or the     0x411a0006 the file is not a database
 *              database is full         0x411a0008 the file belongs to another user
 *   0x411a0009 another process publishes this database
 */
#ifndef VLAN_MGR_HOST_SDB_H
#define VLAN_MGR_HOST_SDB_H

#include <stdint.h>

#include "vlan_mgr_platform.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A publisher handle: one open database being published. Its calls may come
 * from several threads; they are serialised on the handle. */
typedef struct sdb_pub sdb_pub_t;

/* Opens the database `uri` for publishing, creating its file when it does not
 * exist (the file's size, its map, is fixed then: VLAN_MGR_SDB_MAP_MB MiB,
 * default 64). An existing file keeps its records. *pub receives the handle,
 * or NULL on failure. 0x411a0003 when this process already publishes it,
 * 0x411a0009 when another process does, 0x411a0008 when the file belongs to
 * another user. */
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
 * empty afterwards, also after a failure, which changes nothing in the file. */
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
