#include "handlers.h"

namespace vlan_mgrd {

std::span<const HandlerEntry> config_handlers()
{
    return {};
}

} // namespace vlan_mgrd
