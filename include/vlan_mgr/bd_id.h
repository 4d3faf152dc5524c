#ifndef VLAN_MGR_BD_ID_H
#define VLAN_MGR_BD_ID_H

#include <vlan_mgr/frame.h>

VLAN_MGR_BEGIN_DECLS

VLAN_MGR_END_DECLS

#endif
