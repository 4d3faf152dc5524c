/* Reserved VLAN ranges: the reserved VLAN groups and the configured and future ranges. */
#ifndef VLAN_MGR_RSVD_H
#define VLAN_MGR_RSVD_H

#include <vlan_mgr/frame.h>

VLAN_MGR_BEGIN_DECLS

VLAN_MGR_END_DECLS

#endif
