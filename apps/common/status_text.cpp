#include "status_text.h"

#include <cstdio>

#include <vlan_mgr/vlan_mgr.h>

#include "vlan_mgr_platform.h"

namespace vlan_mgr_apps {

namespace {

struct Text {
    uint32_t status;
    const char *text;
};

constexpr Text kTexts[] = {
    {0, "success"},
    {VLAN_MGR_ERR_NO_MEMORY, "out of memory"},
    {VLAN_MGR_ERR_INVALID_ARG, "invalid argument"},
    {VLAN_MGR_ERR_NAME_TOO_LONG, "VLAN name too long"},
    {VLAN_MGR_ERR_NO_ENTRIES, "no entries"},
    {VLAN_MGR_ERR_INVALID_VLAN, "VLAN id out of range"},
    {VLAN_MGR_ERR_VDC_MISMATCH, "VDC id invalid or not the requester's own"},
    {VLAN_MGR_ERR_SDB_READ, "VLAN record could not be read"},
    {VLAN_MGR_ERR_ACCESS_UPD_OP, "invalid access update operation"},
    {VLAN_MGR_ERR_TRUNK_UPD_OP, "invalid trunking update operation"},
    {VLAN_MGR_ERR_VLAN_RANGE, "primary VLAN out of range"},
    {VLAN_MGR_ERR_DEFAULT_VLAN, "not allowed on the default VLAN 1"},
    {VLAN_MGR_ERR_ASSOC_TYPE, "invalid association type"},
    {VLAN_MGR_ERR_INVALID_ATTR, "invalid attribute number"},
    {VLAN_MGR_ERR_TOO_MANY_ASSOC, "too many associations"},
    {VLAN_MGR_ERR_MULTI_ASSOC_TYPE, "invalid association type for several associations"},
    {VLAN_MGR_ERR_BAD_REQUEST, "malformed or truncated request"},
    {VLAN_MGR_ERR_UNKNOWN_REQUEST, "unknown request"},
    {VLAN_MGR_ERR_VLAN_RESERVED, "VLAN is reserved"},
    {VLAN_MGR_ERR_VLAN_NOT_CREATED, "VLAN does not exist"},
    {VLAN_MGR_ERR_UNKNOWN_PORT, "no such interface"},
    {VLAN_MGR_ERR_PVLAN, "private-VLAN type or association not allowed"},
    {VLAN_MGR_ERR_STORE, "change could not be saved"},
    {VLAN_MGR_ERR_NAME_IN_USE, "VLAN name already in use"},
    {VLAN_MGR_ERR_NO_SUCH_NAME, "no VLAN has that name"},
    {VLAN_MGR_ERR_NOT_SUPPORTED, "request not supported"},
    {VLAN_MGR_ERR_VDC_DENIED, "not authorised for that VDC"},
    {VLAN_MGR_ERR_BAD_NAME, "VLAN name must be printable characters"},
    {VLAN_MGR_ERR_TRUNCATED, "reply truncated"},
};

} // namespace

std::string status_text(uint32_t status)
{
    for (const Text &t : kTexts)
        if (t.status == status)
            return t.text;
    // Words of the platform (transport 0x4048xxxx, database 0x411axxxx).
    if ((status & 0xFFFF0000u) == 0x40480000u || (status & 0xFFFF0000u) == 0x411A0000u) {
        const char *s = syserr2str(static_cast<int32_t>(status));
        if (s != nullptr && s[0] != '\0')
            return s;
    }
    char buf[32];
    std::snprintf(buf, sizeof buf, "status 0x%08x", status);
    return buf;
}

} // namespace vlan_mgr_apps
