/* The host platform's own API for programs: what a process needs beyond the
 * platform interface to take part in the system on a Linux host. The message
 * transport (open a handle bound to a SAP, subscribe to notifications) and
 * the shared database's publisher side (put, delete, commit a batch), and the
 * trust boundary of the manager's directories and files. */
#ifndef VLAN_MGR_HOST_H
#define VLAN_MGR_HOST_H

#include "vlan_mgr_host_mts.h"
#include "vlan_mgr_host_sdb.h"
#include "vlan_mgr_host_trust.h"

#endif
