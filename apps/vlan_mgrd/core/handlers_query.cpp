#include "handlers.h"

namespace vlan_mgrd {

std::span<const HandlerEntry> query_handlers()
{
    return {};
}

} // namespace vlan_mgrd
