// Host system manager. The process's own VDC id comes from VLAN_MGR_VDC in
// the environment, else from the number in the file named by
// VLAN_MGR_VDC_FILE (default /etc/vlan_mgr/vdc), else it is 1; a value that
// is not a number from 1 to 65535 is passed over. Both sources are read at
// every call (the library caches the answer itself). VDCs 1 to 5 exist.
#include <cstdio>
#include <cstdlib>

#include "host/host_platform.h"
#include "vlan_mgr_platform.h"

namespace {

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// A decimal VDC id with optional blanks around it; 0 when malformed.
uint16_t parse_vdc(const char *text)
{
    while (is_blank(*text))
        ++text;
    if (*text < '0' || *text > '9')
        return 0;
    char *end = nullptr;
    long v = std::strtol(text, &end, 10);
    while (is_blank(*end))
        ++end;
    return *end == '\0' && v >= 1 && v <= 0xFFFF ? static_cast<uint16_t>(v) : 0;
}

uint16_t vdc_from_file(const char *path)
{
    std::FILE *f = std::fopen(path, "re");
    if (f == nullptr)
        return 0;
    char line[32] = {};
    uint16_t v = std::fgets(line, sizeof line, f) ? parse_vdc(line) : 0;
    std::fclose(f);
    return v;
}

bool vdc_exists(uint16_t vdc_id) { return vdc_id >= 1 && vdc_id <= 5; }

// The context switched into; 0 while the process runs in its own VDC.
constinit uint16_t switched_vdc = 0;

} // namespace

namespace vlan_mgr_host {
uint16_t vdc_ctxt() { return __atomic_load_n(&switched_vdc, __ATOMIC_RELAXED); }
} // namespace vlan_mgr_host

extern "C" {

uint16_t sysmgr_vdc_get(void)
{
    if (const char *env = std::getenv(vlan_mgr_host::ENV_VDC))
        if (uint16_t v = parse_vdc(env))
            return v;
    const char *path = std::getenv(vlan_mgr_host::ENV_VDC_FILE);
    if (uint16_t v = vdc_from_file(path != nullptr && *path != '\0' ? path : vlan_mgr_host::DEFAULT_VDC_FILE))
        return v;
    return 1;
}

int32_t vdc_is_created(uint16_t vdc_id, uint32_t *out)
{
    int32_t created = vdc_exists(vdc_id) ? 1 : 0;
    if (out)
        *out = static_cast<uint32_t>(created);
    return created;
}

// Switching into a VDC that does not exist is refused.
int32_t sysmgr_set_vdc_ctxt(uint16_t vdc_id)
{
    if (!vdc_exists(vdc_id))
        return vlan_mgr_host::ERR_INVALID_ARG;
    __atomic_store_n(&switched_vdc, vdc_id, __ATOMIC_RELAXED);
    return 0;
}

int32_t sysmgr_reset_vdc_ctxt(void)
{
    __atomic_store_n(&switched_vdc, static_cast<uint16_t>(0), __ATOMIC_RELAXED);
    return 0;
}
}
