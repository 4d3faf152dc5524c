// The BD database's reads that the lookups and the getters share: the
// record reads of bd_read.h (layouts in bd_db/layout.h) and this
// subsystem's cache and tables.
#pragma once

#include <cstdint>

#include <vlan_mgr/bd_db.h>

#include "bd_db/bd_cache.h"
#include "bd_db/bd_read.h"

namespace vlan_mgr::bd_db {

// Test hook: forgets the own VDC id cached by the segment getters' _local forms.
void segment_vdc_forget();

} // namespace vlan_mgr::bd_db

extern "C" {
// The uncached BD read behind vlan_get_bd: opens the VDC's database, reads the
// VLAN's record and reports read failures and a zero BD. The VDC and VLAN ids
// are checked by the caller.
uint32_t vlan_get_bd_2(vdc_vlan_id_t key, uint16_t *bd);
}
