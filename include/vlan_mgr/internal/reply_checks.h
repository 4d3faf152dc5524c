// Whole-reply checks for the replies whose parsers take no length or read a
// fixed layout: a client runs the check first and hands the reply to the
// parser only when the check returns 0. Each check reads the reply's layout
// as the library's parser of it does, so that a client never reads payload
// bytes itself.
// Internal: not installed with the library and not exported from the shared
// library; programs reach it through the static library.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vlan_mgr {

// The trunking update reply (vlan_update_port_trunking_memb_parse_reply,
// which takes no length): its status word and, with status 0, the fields up
// to the pair count and as many pairs as that count says. 0 when the reply
// is whole (the parser then gives its status); VLAN_MGR_ERR_NO_MEMORY for an
// empty reply (the library's word for no reply); VLAN_MGR_ERR_TRUNCATED for
// a reply cut short.
uint32_t trunking_update_reply_check(const void *reply, size_t len);

// The VLAN info reply (vlan_get_vlan_info_parse_reply): a bare 4-byte status
// or the whole 62-byte reply. 0 when it is one of them (the parser then
// gives its status, the bare status included); VLAN_MGR_ERR_TRUNCATED for
// any other length, an empty reply included.
uint32_t vlan_info_reply_check(const void *reply, size_t len);

} // namespace vlan_mgr
