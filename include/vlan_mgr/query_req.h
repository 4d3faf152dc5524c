/* VLAN queries: builders and parsers that read VLAN information from the VLAN manager. */
#ifndef VLAN_MGR_QUERY_REQ_H
#define VLAN_MGR_QUERY_REQ_H

#include <vlan_mgr/frame.h>

VLAN_MGR_BEGIN_DECLS

VLAN_MGR_END_DECLS

#endif
