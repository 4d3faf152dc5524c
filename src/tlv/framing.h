// The one builder and the one parser of every TLV-framed message: they clear
// the caller's outs, then hand over to the record's accessor, which prints
// any refusal of the TLV utility with its own name.
#pragma once

#include <cstdint>

namespace vlan_mgr::tlv {

using ToTlv = int32_t (*)(const void *record, void **tlv, uint32_t *tlv_len, uint32_t headroom,
                          uint32_t *fields_written, uint32_t flags);
using ToStruct = int32_t (*)(void **record, const void *tlv, uint32_t tlv_len, uint32_t flags);

// Encodes `record` into a new buffer: no headroom, a scratch word for the
// count of fields written (not reported), no flags.
inline int32_t build(ToTlv to_tlv, const void *record, void **tlv, uint32_t *tlv_len)
{
    *tlv = nullptr;
    *tlv_len = 0;
    uint32_t fields_written = 0;
    return to_tlv(record, tlv, tlv_len, 0, &fields_written, 0);
}

// Decodes a buffer into a new record of type R, no flags. The out holds
// whatever the utility left there, also on failure.
template <typename R>
int32_t parse(ToStruct to_struct, const void *tlv, uint32_t tlv_len, R **record)
{
    *record = nullptr;
    void *out = nullptr;
    const int32_t rc = to_struct(&out, tlv, tlv_len, 0);
    *record = static_cast<R *>(out);
    return rc;
}

} // namespace vlan_mgr::tlv
