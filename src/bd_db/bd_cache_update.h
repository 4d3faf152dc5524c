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

namespace vlan_mgr::bd_db {

// The two words of the cache that the fast path below reads (defined with
// the rest of the cache in bd_sdb.cpp).
extern uint16_t **bd_sdb_cached_p; // 5 pointers: null, or the VDC's cache block
extern int32_t bd_cache_enabled;   // 1 while the cache is on

// Sets one entry. The common case (cache on, the VDC's block made, a VLAN id
// in range) is the store that the entry point would make, done inline: a
// notification of 4094 VLANs makes one per VLAN. Every other case goes
// through the entry point, which reports, makes the block or drops the
// update. The block is loaded with acquire so that a block made by another
// thread is seen zeroed; the entry is stored whole.
inline void set_cache_entry(uint16_t vdc_id, uint32_t vlan_id, uint16_t bd_id)
{
    if (bd_cache_enabled != 0 && vdc_id >= 1 && vdc_id <= 5 && vlan_id >= 1 && vlan_id <= 4094) {
        if (uint16_t *block = __atomic_load_n(&bd_sdb_cached_p[vdc_id - 1], __ATOMIC_ACQUIRE)) {
            __atomic_store_n(&block[vlan_id], bd_id, __ATOMIC_RELAXED);
            return;
        }
    }
    vlan_mgr_set_bd_cache_entry(vdc_id, vlan_id, bd_id);
}

} // namespace vlan_mgr::bd_db
