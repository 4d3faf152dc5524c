// The VLAN operations behind the configuration requests: create, rename,
// delete, retype, associate and dissociate one VLAN of one VDC, each marking
// what it changed in the ChangeSet and answering with a per-VLAN status
// (0 when the VLAN ends up as asked).
#ifndef VLAN_MGRD_CONFIG_OPS_H
#define VLAN_MGRD_CONFIG_OPS_H

#include <cstdint>
#include <string>

#include "state.h"

namespace vlan_mgrd::config_ops {

// The name a VLAN answers to: its own, or the default VLANnnnn.
std::string effective_name(uint32_t vlan_id, const Vlan &v);

// The created VLAN of `vdc` that answers to `name` (its own name first, then
// a default name), lowest id first; 0 when none does.
uint32_t find_by_name(const Vdc &vdc, const std::string &name);

// Creates VLAN `vlan_id`, or renames it when it exists and `name` is not
// empty. With `rename_only` an absent VLAN is not created
// (VLAN_MGR_ERR_VLAN_NOT_CREATED). Statuses: VLAN_MGR_ERR_INVALID_VLAN,
// VLAN_MGR_ERR_VLAN_RESERVED, VLAN_MGR_ERR_NAME_TOO_LONG,
// VLAN_MGR_ERR_BAD_NAME (a byte outside printable ASCII 0x20..0x7E),
// VLAN_MGR_ERR_NAME_IN_USE; nothing changes unless the status is 0.
uint32_t create_or_rename(Vdc &vdc, ChangeSet &changes, uint32_t vlan_id, const std::string &name,
                          bool rename_only, uint32_t create_options);

// Deletes VLAN `vlan_id`: its private-VLAN associations go with it, port
// configuration stays. Statuses: VLAN_MGR_ERR_INVALID_VLAN,
// VLAN_MGR_ERR_DEFAULT_VLAN, VLAN_MGR_ERR_VLAN_RESERVED,
// VLAN_MGR_ERR_VLAN_NOT_CREATED.
uint32_t delete_vlan(Vdc &vdc, ChangeSet &changes, uint32_t vlan_id);

// Gives VLAN `vlan_id` the type `type` (0, 3, 4 or 5); a VLAN whose type
// changes loses its associations. Statuses: VLAN_MGR_ERR_INVALID_VLAN,
// VLAN_MGR_ERR_VLAN_NOT_CREATED, VLAN_MGR_ERR_PVLAN (other types),
// VLAN_MGR_ERR_DEFAULT_VLAN (VLAN 1 and a private type).
uint32_t change_type(Vdc &vdc, ChangeSet &changes, uint32_t vlan_id, uint32_t type);

// Checks the primary VLAN of an association: 0, VLAN_MGR_ERR_VLAN_RANGE,
// VLAN_MGR_ERR_DEFAULT_VLAN, VLAN_MGR_ERR_VLAN_NOT_CREATED or
// VLAN_MGR_ERR_PVLAN (not of the primary type).
uint32_t check_primary(const Vdc &vdc, uint32_t primary);

// Associates secondary `secondary` with the (checked) primary `primary`.
uint32_t associate(Vdc &vdc, ChangeSet &changes, uint32_t primary, uint32_t secondary);

// Dissociates secondary `secondary` from its primary; `primary` 0 accepts
// any primary, otherwise it must be the secondary's own.
uint32_t dissociate(Vdc &vdc, ChangeSet &changes, uint32_t primary, uint32_t secondary);

// Marks every port whose configured VLANs include `vlan_id`: its active
// membership changes when that VLAN comes or goes.
void mark_ports_carrying(const Vdc &vdc, ChangeSet &changes, uint32_t vlan_id);

} // namespace vlan_mgrd::config_ops

#endif
