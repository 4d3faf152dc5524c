/* Notifications: decoding the VLAN manager's change, create and delete notifications. */
#ifndef VLAN_MGR_NOTIF_H
#define VLAN_MGR_NOTIF_H

#include <vlan_mgr/frame.h>

VLAN_MGR_BEGIN_DECLS

VLAN_MGR_END_DECLS

#endif
