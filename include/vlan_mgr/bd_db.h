/* Bridge-domain shared database: per-VDC handle, BD cache, lookups and getters. */
#ifndef VLAN_MGR_BD_DB_H
#define VLAN_MGR_BD_DB_H

#include <vlan_mgr/frame.h>

VLAN_MGR_BEGIN_DECLS

VLAN_MGR_END_DECLS

#endif
