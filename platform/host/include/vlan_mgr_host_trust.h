/* The trust boundary of the host platform: the manager's run directory, its
 * database directory and its state directory, and every file in them, belong
 * to the manager's user and to one group, the trust group; nothing in them is
 * writable or openable by anyone else. Members of the trust group may use the
 * manager's sockets and read its database.
 *
 * The trust group is the group named by VLAN_MGR_GROUP (default "vlan_mgr")
 * when it exists, else the calling process's effective group. */
#ifndef VLAN_MGR_HOST_TRUST_H
#define VLAN_MGR_HOST_TRUST_H

#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The environment variable naming the trust group, and its default. */
#define VLAN_MGR_HOST_ENV_GROUP "VLAN_MGR_GROUP"
#define VLAN_MGR_HOST_DEFAULT_GROUP "vlan_mgr"

/* The trust group's id (see above). */
gid_t vlan_mgr_host_trust_gid(void);

/* Makes `path` a directory of the boundary: creates it when missing (missing
 * parents are created with mode 0755), then gives it the trust group and
 * exactly `mode` (permission and setgid bits), whatever the umask. A path that
 * is not a directory (ENOTDIR), is a symbolic link (ELOOP) or is owned by
 * another user (EPERM) is refused, and so is an existing directory shared with
 * others (EEXIST): one that others may write or that is sticky (/tmp, /dev/shm),
 * or one that others may enter and that is not empty (/run, /srv). Returns 0
 * or an errno value; a directory that already existed is left as it was on
 * failure. */
int vlan_mgr_host_trust_dir(const char *path, mode_t mode);

/* Gives an open file the trust group and exactly `mode`. 0 or an errno value. */
int vlan_mgr_host_trust_fd(int fd, mode_t mode);

#ifdef __cplusplus
}
#endif

#endif
