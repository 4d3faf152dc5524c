#include "handlers.h"

namespace vlan_mgrd {

std::span<const HandlerEntry> misc_handlers()
{
    return {};
}

} // namespace vlan_mgrd
