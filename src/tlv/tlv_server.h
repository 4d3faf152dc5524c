// What the manager's side of every TLV-framed message shares: the request
// record that the library's TLV parser makes of a payload, a response record
// with room for its list, and the TLV buffer that the library's builder makes
// of it, taken into a payload. The layouts themselves are the TLV tables.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

#include <vlan_mgr/frame.h>
#include <vlan_mgr/server/common.h>

#include "frame/payload.h"

namespace vlan_mgr::server::tlv {

// Records and buffers of the TLV utility are malloc'ed.
struct FreeDeleter {
    void operator()(void *p) const { std::free(p); }
};
template <typename T>
using Owned = std::unique_ptr<T, FreeDeleter>;

// The request record of `payload`, or nothing when the TLV parser refuses it.
// A null or empty payload never reaches the parser (for which a length of 0
// means "as long as the buffer's own header says"), nor one whose length
// does not fit the parser's 32-bit length.
template <typename R>
Owned<R> parse(const uint8_t *payload, size_t len, int32_t (*parse_fn)(const void *, uint32_t, R **))
{
    if (payload == nullptr || len == 0 || !fits_u32(len))
        return nullptr;
    R *rec = nullptr;
    const int32_t rc = parse_fn(payload, static_cast<uint32_t>(len), &rec);
    Owned<R> owned(rec);
    if (rc != 0)
        return nullptr;
    return owned;
}

// A zeroed record with room for `n` list elements after its fixed part;
// nothing when it cannot be allocated.
template <typename R, typename E>
Owned<R> alloc_with_list(uint64_t n)
{
    const uint64_t size = sizeof(R) + n * sizeof(E);
    if (n > (UINT64_MAX - sizeof(R)) / sizeof(E) || size > SIZE_MAX)
        return nullptr;
    return Owned<R>(static_cast<R *>(std::calloc(1, static_cast<size_t>(size))));
}

// Runs the builder `build_fn` on `rec` and takes its TLV buffer into `out`:
// 0, or VLAN_MGR_ERR_NO_MEMORY when the builder failed (`out` unchanged).
template <typename R, typename Build>
uint32_t build(const R *rec, Build build_fn, Payload &out)
{
    void *buf = nullptr;
    uint32_t len = 0;
    const int32_t rc = build_fn(rec, &buf, &len);
    Owned<void> owned(buf);
    if (rc != 0 || buf == nullptr)
        return VLAN_MGR_ERR_NO_MEMORY;
    const auto *b = static_cast<const uint8_t *>(buf);
    out.assign(b, b + len);
    return 0;
}

// The same as a reply: the TLV buffer, or the bare status
// VLAN_MGR_ERR_NO_MEMORY.
template <typename R, typename Build>
Payload reply(const R *rec, Build build_fn)
{
    Payload out;
    if (rec == nullptr || build(rec, build_fn, out) != 0)
        return status_payload(VLAN_MGR_ERR_NO_MEMORY);
    return out;
}

} // namespace vlan_mgr::server::tlv
