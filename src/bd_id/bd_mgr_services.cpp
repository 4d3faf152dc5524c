// The BD-manager entry points. On this platform a software BD is simply its
// VLAN and the richer BD services (hardware BDs, names, VNIs, fabric BDs,
// network ids) do not exist, so every entry point gives a fixed answer: the
// arguments are accepted and ignored, and nothing is written through them.
#include <vlan_mgr/bd_id.h>

extern "C" {

int32_t if_index_vni_get_id(uint32_t) { return 12; }

uint32_t bd_mgr_get_sw_bd_to_hw_bd(uint32_t, uint32_t *) { return VLAN_MGR_ERR_BD_NOT_SUPPORTED; }

uint32_t bd_mgr_check_sw_bd_to_tessellink_membership(uint32_t, uint32_t, int32_t *)
{
    return VLAN_MGR_ERR_BD_NOT_SUPPORTED;
}

uint32_t bd_mgr_get_fabric_scale_bd_info(uint32_t *, uint32_t *) { return VLAN_MGR_ERR_BD_NOT_SUPPORTED; }

int32_t bd_mgr_is_fabric_scale_sw_bd(uint32_t) { return 0; }

uint32_t bd_mgr_get_fabric_control_bd_info(uint32_t *) { return VLAN_MGR_ERR_BD_NOT_SUPPORTED; }

int32_t bd_mgr_is_sw_bd_fabric_bd(uint32_t) { return 0; }

int32_t bd_mgr_is_sw_bd_vlan(uint32_t) { return 1; }

int32_t bd_mgr_is_fabric_control_sw_bd(uint32_t) { return 0; }

uint32_t bd_mgr_get_bd_range_allocation(uint32_t *, uint32_t *) { return VLAN_MGR_ERR_BD_NOT_SUPPORTED; }

uint32_t bd_mgr_get_fabric_bd_range_allocation(uint32_t *, uint32_t *) { return VLAN_MGR_ERR_BD_NOT_SUPPORTED; }

// Answers with a status word, not a truth value; sw_bd_is_in_vlan_range
// gives the truth value.
uint32_t bd_mgr_is_sw_bd_in_vlan_range(uint32_t) { return VLAN_MGR_ERR_BD_NOT_SUPPORTED; }

uint32_t bd_mgr_get_hw_bd_to_sw_bd(uint32_t, uint32_t *) { return VLAN_MGR_ERR_BD_NOT_SUPPORTED; }

int32_t sw_bd_to_vni(uint32_t) { return -1; }

uint32_t bd_mgr_bd_name_to_hw_bd(const char *, uint32_t *) { return VLAN_MGR_ERR_BD_NOT_SUPPORTED; }

uint32_t bd_mgr_bd_name_to_sw_bd(const char *, uint32_t *) { return VLAN_MGR_ERR_BD_NOT_SUPPORTED; }

uint32_t bd_mgr_sw_bd_to_bd_name(uint32_t, char *, uint32_t) { return VLAN_MGR_ERR_BD_NOT_SUPPORTED; }

uint32_t vni_to_sw_bd(uint32_t, uint32_t *) { return VLAN_MGR_ERR_BD_NOT_SUPPORTED; }

uint32_t sw_bd_to_vlan(uint32_t, uint32_t *) { return VLAN_MGR_ERR_BD_NOT_SUPPORTED; }

uint32_t bd_mgr_get_sw_bd_to_network_id(uint32_t, uint32_t *) { return VLAN_MGR_ERR_BD_NO_NETWORK_ID; }

uint32_t bd_mgr_get_bd_id_for_name(const char *, uint32_t *) { return VLAN_MGR_ERR_BD_NOT_SUPPORTED; }

uint32_t vlan_mgr_get_vlan_lsdb_info(uint32_t, void *) { return VLAN_MGR_OK; }

uint32_t bd_mgr_get_bd_lsdb_info(uint32_t, void *) { return VLAN_MGR_OK; }

int32_t bd_mgr_is_sw_bd_created(uint32_t) { return 0; }

uint32_t bd_mgr_get_bd_and_primary_bd(uint32_t, uint32_t *, uint32_t *) { return VLAN_MGR_ERR_BD_NOT_SUPPORTED; }

uint32_t bd_mgr_alloc_swbd_for_name(const char *, uint32_t *) { return VLAN_MGR_ERR_BD_NOT_SUPPORTED; }

int32_t bd_mgr_get_vsi_if_index_for_bd_and_parent_port(uint32_t, uint32_t, uint32_t *) { return -1; }

int32_t bd_mgr_get_bd_bmp_for_parent_port(uint32_t, vlan_bitmap *) { return -1; }
}
