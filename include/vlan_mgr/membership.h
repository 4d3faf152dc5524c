/* Port membership: builders and parsers for the VLAN membership of ports. */
#ifndef VLAN_MGR_MEMBERSHIP_H
#define VLAN_MGR_MEMBERSHIP_H

#include <vlan_mgr/frame.h>

VLAN_MGR_BEGIN_DECLS

VLAN_MGR_END_DECLS

#endif
