#include "handlers.h"

namespace vlan_mgrd {

std::span<const HandlerEntry> membership_handlers()
{
    return {};
}

} // namespace vlan_mgrd
