// Host system manager: the process's VDC id comes from VLAN_MGR_VDC in the
// environment, else from the first number in the file named by
// VLAN_MGR_VDC_FILE (default /etc/vlan_mgr/vdc), else 1. VDCs 1 to 5 exist.
#include <cstdio>
#include <cstdlib>

#include "vlan_mgr_platform.h"

namespace {

uint16_t parse_vdc(const char *text)
{
    char *end = nullptr;
    long v = std::strtol(text, &end, 10);
    return end != text && v >= 1 && v <= 0xFFFF ? static_cast<uint16_t>(v) : 0;
}

uint16_t vdc_from_file(const char *path)
{
    std::FILE *f = std::fopen(path, "r");
    if (f == nullptr)
        return 0;
    char line[32] = {};
    uint16_t v = std::fgets(line, sizeof line, f) ? parse_vdc(line) : 0;
    std::fclose(f);
    return v;
}

// The context switched into; 0 while the process runs in its own VDC.
uint16_t switched_vdc = 0;

} // namespace

extern "C" {

uint16_t sysmgr_vdc_get(void)
{
    if (const char *env = std::getenv("VLAN_MGR_VDC"))
        if (uint16_t v = parse_vdc(env))
            return v;
    const char *path = std::getenv("VLAN_MGR_VDC_FILE");
    if (uint16_t v = vdc_from_file(path ? path : "/etc/vlan_mgr/vdc"))
        return v;
    return 1;
}

int32_t vdc_is_created(uint16_t vdc_id, uint32_t *out)
{
    int32_t created = vdc_id >= 1 && vdc_id <= 5;
    if (out)
        *out = static_cast<uint32_t>(created);
    return created;
}

int32_t sysmgr_set_vdc_ctxt(uint16_t vdc_id)
{
    switched_vdc = vdc_id;
    return 0;
}

int32_t sysmgr_reset_vdc_ctxt(void)
{
    switched_vdc = 0;
    return 0;
}
}
