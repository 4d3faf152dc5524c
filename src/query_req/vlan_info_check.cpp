// The whole-reply check of the VLAN info reply, for clients that refuse a
// reply of any other length before its parser reads it.
#include <vlan_mgr/frame.h>
#include <vlan_mgr/internal/reply_checks.h>

#include "query_req/layout.h"

namespace vlan_mgr {

// A bare status word, or the whole reply.
uint32_t vlan_info_reply_check(const void * /*reply*/, size_t len)
{
    constexpr size_t kBareStatus = layout::query::InfoReply::status.end();
    if (len != kBareStatus && len < layout::query::InfoReply::kLen)
        return VLAN_MGR_ERR_TRUNCATED;
    return VLAN_MGR_OK;
}

} // namespace vlan_mgr
