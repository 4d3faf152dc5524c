// The text of a status word: the library's codes, the manager's reply codes
// and the platform's error words (transport, database).
#ifndef VLAN_MGR_APPS_STATUS_TEXT_H
#define VLAN_MGR_APPS_STATUS_TEXT_H

#include <cstdint>
#include <string>

namespace vlan_mgr_apps {

// "VLAN is reserved" for 0x411000C2, ...; "status 0x%08x" for a word it does
// not know.
std::string status_text(uint32_t status);

} // namespace vlan_mgr_apps

#endif
