// The BD cache as the parsers that keep it current see it: the created-VLAN
// listing parsers and the notification parsers set and clear entries
// through these entry points and know nothing else of the cache. They are
// not exported.
#pragma once

#include <cstdint>

extern "C" {

// Makes sure the VDC's cache block exists: 0 when it exists or was just made,
// 0x41100084 while the cache is switched off, VLAN_MGR_ERR_NO_MEMORY when the
// block could not be allocated (reported).
uint32_t vlan_mgr_check_bd_cache(uint16_t vdc_id);

// Clear or set one VLAN's entry in the VDC's cache block (creating the block
// when the cache is on). A VLAN id outside 1..4094 is reported and ignored;
// with the cache off the update is dropped silently.
void vlan_mgr_invalidate_bd_cache_entry(uint16_t vdc_id, int32_t vlan_id);
void vlan_mgr_set_bd_cache_entry(uint16_t vdc_id, uint32_t vlan_id, uint16_t bd_id);

} // extern "C"
