#include "frame/local_vdc.h"

#include "vlan_mgr_platform.h"

namespace {
uint16_t local_vdc_id = 0; // 0: not fetched yet
}

extern "C" uint16_t vlan_mgr_local_vdc_get(void)
{
    if (local_vdc_id == 0)
        local_vdc_id = sysmgr_vdc_get();
    return local_vdc_id;
}

namespace vlan_mgr {
void local_vdc_forget() { local_vdc_id = 0; }
} // namespace vlan_mgr
