// Field descriptors: a message's layout is written once, as a struct of these
// (offsets from the start of the payload or of a list entry), and both
// directions are made from it: the library's builder and the manager's
// reply encoder put the fields, the manager's request decoder and the
// library's parser get them. Reads assume that the caller checked the span
// (wire::Reader::has, or the message's fixed length).
// Internal: not installed with the library.
#pragma once

#include <cstddef>
#include <cstdint>

#include <vlan_mgr/internal/wire.h>

namespace vlan_mgr::layout {

// A big-endian integer field.
template <class T>
struct Be {
    size_t off;
    static constexpr size_t width = sizeof(T);
    constexpr size_t end() const { return off + width; }
    T get(const wire::Reader &r) const
    {
        if constexpr (sizeof(T) == 1)
            return r.u8(off);
        else if constexpr (sizeof(T) == 2)
            return r.u16(off);
        else if constexpr (sizeof(T) == 4)
            return r.u32(off);
        else
            return r.u64(off);
    }
    void put(wire::Writer &w, T v) const
    {
        if constexpr (sizeof(T) == 1)
            w.u8(off, v);
        else if constexpr (sizeof(T) == 2)
            w.u16(off, v);
        else if constexpr (sizeof(T) == 4)
            w.u32(off, v);
        else
            w.u64(off, v);
    }
};
using U8 = Be<uint8_t>;
using U16 = Be<uint16_t>;
using U32 = Be<uint32_t>;
using U64 = Be<uint64_t>;

// A 32-bit word in host order (the length word of a VLAN bitmap).
struct HostU32 {
    size_t off;
    static constexpr size_t width = 4;
    constexpr size_t end() const { return off + width; }
    uint32_t get(const wire::Reader &r) const { return r.host_u32(off); }
    void put(wire::Writer &w, uint32_t v) const { w.host_u32(off, v); }
};

// A 16-bit word in host order (the caller-side records of the
// request-response reply sender and of the port getters).
struct HostU16 {
    size_t off;
    static constexpr size_t width = 2;
    constexpr size_t end() const { return off + width; }
    uint16_t get(const wire::Reader &r) const { return r.host_u16(off); }
    void put(wire::Writer &w, uint16_t v) const { w.host_u16(off, v); }
};

// A VLAN bitmap field: the length word 512 in host order, then 512 bytes in
// which VLAN v is bit 0x80 >> (v % 8) of byte v / 8.
struct Bitmap {
    size_t off;
    static constexpr size_t kBitBytes = 512;
    static constexpr size_t width = 4 + kBitBytes;
    constexpr size_t end() const { return off + width; }
    constexpr HostU32 length() const { return {off}; }
    constexpr size_t bits_off() const { return off + 4; }
    const uint8_t *bits(const wire::Reader &r) const { return r.at(bits_off()); }
    uint8_t *bits(wire::Writer &w) const { return w.at(bits_off()); }
    // Writes the length word; the bits are left as they are (zeroed by the
    // writer).
    void init(wire::Writer &w) const { w.host_u32(off, static_cast<uint32_t>(kBitBytes)); }
};

// A byte area of fixed size (a name field).
struct Bytes {
    size_t off;
    size_t width;
    constexpr size_t end() const { return off + width; }
    const uint8_t *get(const wire::Reader &r) const { return r.at(off); }
    uint8_t *at(wire::Writer &w) const { return w.at(off); }
};

// A list of entries of `stride` bytes from `off`. Each entry is read and
// written through a sub-cursor with the entry's own field offsets.
struct List {
    size_t off;
    size_t stride;
    // Where n entries end, in 64 bits so that a count from the wire cannot
    // wrap on a 32-bit target.
    constexpr uint64_t end(uint64_t n) const { return off + n * stride; }
    wire::Reader entry(const wire::Reader &r, size_t i) const { return r.sub(off + i * stride); }
    wire::Writer entry(const wire::Writer &w, size_t i) const { return w.sub(off + i * stride); }
};

} // namespace vlan_mgr::layout

// ---- The VLAN bits of a bitmap field ------------------------------------------
// The 512 bytes past a bitmap field's length word (Bitmap::bits): VLAN v is
// bit 0x80 >> (v % 8) of byte v / 8. bitmap_set takes v modulo 4096;
// bitmap_test is false for v of 4096 or more.
namespace vlan_mgr::layout {

constexpr size_t bitmap_byte(uint32_t v) { return (v >> 3) & (Bitmap::kBitBytes - 1); }
constexpr uint8_t bitmap_mask(uint32_t v) { return static_cast<uint8_t>(0x80u >> (v & 7)); }
inline void bitmap_set(uint8_t *bits, uint32_t v) { bits[bitmap_byte(v)] |= bitmap_mask(v); }
inline bool bitmap_test(const uint8_t *bits, uint32_t v)
{
    return v < 8 * Bitmap::kBitBytes && (bits[bitmap_byte(v)] & bitmap_mask(v)) != 0;
}

} // namespace vlan_mgr::layout
