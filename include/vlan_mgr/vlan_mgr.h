/* libvlan_mgr: the client library of the VLAN manager service. Includes every
 * subsystem header. */
#ifndef VLAN_MGR_VLAN_MGR_H
#define VLAN_MGR_VLAN_MGR_H

#include <vlan_mgr/frame.h>
#include <vlan_mgr/history.h>
#include <vlan_mgr/config_req.h>
#include <vlan_mgr/query_req.h>
#include <vlan_mgr/membership.h>
#include <vlan_mgr/bd_db.h>
#include <vlan_mgr/rsvd.h>
#include <vlan_mgr/notif.h>
#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/tlv.h>
#include <vlan_mgr/bd_id.h>

#endif
