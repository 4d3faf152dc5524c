// The caller's own VDC id, fetched from the system manager once and cached
// for the life of the process.
#pragma once

#include <cstdint>

extern "C" {
// The cached local VDC id, fetched with sysmgr_vdc_get while still 0.
uint16_t vlan_mgr_local_vdc_get(void);
}

namespace vlan_mgr {
// Test hook: forgets the cached id so that the next call fetches it again.
void local_vdc_forget();
} // namespace vlan_mgr
