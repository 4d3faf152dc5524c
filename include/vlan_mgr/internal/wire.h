// The one byte-order codec: every payload byte that the library, the host
// platform and the programs read or write goes through these helpers.
// Payloads are packed and unaligned, so multi-byte fields are copied with
// memcpy and swapped (big-endian) or copied as they are (host order), never
// read through a cast pointer. Internal: not installed with the library.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vlan_mgr::wire {

// Big-endian fields are copied with memcpy and swapped on a little-endian
// host, which compiles to one unaligned load or store and a byte swap.
inline uint16_t to_big16(uint16_t v)
{
    if constexpr (std::endian::native == std::endian::little)
        return __builtin_bswap16(v);
    return v;
}

inline uint32_t to_big32(uint32_t v)
{
    if constexpr (std::endian::native == std::endian::little)
        return __builtin_bswap32(v);
    return v;
}

inline uint64_t to_big64(uint64_t v)
{
    if constexpr (std::endian::native == std::endian::little)
        return __builtin_bswap64(v);
    return v;
}

inline void put_u16(uint8_t *p, size_t off, uint16_t v)
{
    v = to_big16(v);
    std::memcpy(p + off, &v, sizeof v);
}

inline void put_u32(uint8_t *p, size_t off, uint32_t v)
{
    v = to_big32(v);
    std::memcpy(p + off, &v, sizeof v);
}

inline void put_u64(uint8_t *p, size_t off, uint64_t v)
{
    v = to_big64(v);
    std::memcpy(p + off, &v, sizeof v);
}

inline uint16_t get_u16(const uint8_t *p, size_t off)
{
    uint16_t v;
    std::memcpy(&v, p + off, sizeof v);
    return to_big16(v);
}

inline uint32_t get_u32(const uint8_t *p, size_t off)
{
    uint32_t v;
    std::memcpy(&v, p + off, sizeof v);
    return to_big32(v);
}

inline uint64_t get_u64(const uint8_t *p, size_t off)
{
    uint64_t v;
    std::memcpy(&v, p + off, sizeof v);
    return to_big64(v);
}

// Host-order 32-bit word: the length word in front of a VLAN bitmap.
inline void put_host_u32(uint8_t *p, size_t off, uint32_t v) { std::memcpy(p + off, &v, sizeof v); }

inline uint32_t get_host_u32(const uint8_t *p, size_t off)
{
    uint32_t v;
    std::memcpy(&v, p + off, sizeof v);
    return v;
}

// Host-order 16-bit word: fields of the caller-side records that the library
// fills or reads in the host's own order.
inline void put_host_u16(uint8_t *p, size_t off, uint16_t v) { std::memcpy(p + off, &v, sizeof v); }

inline uint16_t get_host_u16(const uint8_t *p, size_t off)
{
    uint16_t v;
    std::memcpy(&v, p + off, sizeof v);
    return v;
}

// Writes a payload of known size. The constructor zeroes every byte, so bytes
// that a layout leaves unwritten never carry heap contents onto the wire.
class Writer {
public:
    Writer(void *buf, size_t size) : p_(static_cast<uint8_t *>(buf)), size_(size) { std::memset(p_, 0, size_); }
    // For a payload whose every byte the caller writes (a list of fields
    // that leave no gap): nothing is zeroed first, so that a builder of
    // megabytes does not write them twice.
    struct EveryByte {};
    Writer(void *buf, size_t size, EveryByte) : p_(static_cast<uint8_t *>(buf)), size_(size) {}
    void u8(size_t off, uint8_t v) { p_[off] = v; }
    void u16(size_t off, uint16_t v) { put_u16(p_, off, v); }
    void u32(size_t off, uint32_t v) { put_u32(p_, off, v); }
    void u64(size_t off, uint64_t v) { put_u64(p_, off, v); }
    void host_u32(size_t off, uint32_t v) { put_host_u32(p_, off, v); }
    void host_u16(size_t off, uint16_t v) { put_host_u16(p_, off, v); }
    void bytes(size_t off, const void *src, size_t n) { std::memcpy(p_ + off, src, n); }
    uint8_t *at(size_t off) { return p_ + off; }
    size_t size() const { return size_; }
    // The part of the payload from `off`: an entry of a list, written with
    // the entry's own offsets. Nothing is zeroed again.
    Writer sub(size_t off) const { return Writer(p_ + off, size_ - off, Unzeroed{}); }

private:
    struct Unzeroed {};
    Writer(uint8_t *p, size_t size, Unzeroed) : p_(p), size_(size) {}
    uint8_t *p_;
    size_t size_;
};

// Reads a received payload. has() tells whether a field lies inside the
// payload; parsers check before they read.
class Reader {
public:
    Reader(const void *buf, size_t size) : p_(static_cast<const uint8_t *>(buf)), size_(size) {}
    bool has(size_t off, size_t width) const { return off <= size_ && width <= size_ - off; }
    uint8_t u8(size_t off) const { return p_[off]; }
    uint16_t u16(size_t off) const { return get_u16(p_, off); }
    uint32_t u32(size_t off) const { return get_u32(p_, off); }
    uint64_t u64(size_t off) const { return get_u64(p_, off); }
    uint32_t host_u32(size_t off) const { return get_host_u32(p_, off); }
    uint16_t host_u16(size_t off) const { return get_host_u16(p_, off); }
    const uint8_t *at(size_t off) const { return p_ + off; }
    size_t size() const { return size_; }
    // The part of the payload from `off` (which has(off, 0) has checked): an
    // entry of a list, read with the entry's own offsets.
    Reader sub(size_t off) const { return Reader(p_ + off, size_ - off); }

private:
    const uint8_t *p_;
    size_t size_;
};

} // namespace vlan_mgr::wire

// ---- Appender ----------------------------------------------------------------
// A byte stream whose size is known only at its end (the manager's saved
// state): fields are appended to a std::vector in the same byte orders as
// Writer's, and a count known only later is put back over the zeros that
// held its place. For the programs only; the library writes through Writer.
#include <vector>

namespace vlan_mgr::wire {

class Appender {
public:
    explicit Appender(std::vector<uint8_t> &out) : out_(out) {}
    size_t size() const { return out_.size(); }
    void u8(uint8_t v) { out_.push_back(v); }
    void u16(uint16_t v) { put_u16(grow(sizeof v), 0, v); }
    void u32(uint32_t v) { put_u32(grow(sizeof v), 0, v); }
    void u64(uint64_t v) { put_u64(grow(sizeof v), 0, v); }
    void host_u32(uint32_t v) { put_host_u32(grow(sizeof v), 0, v); }
    void bytes(const void *src, size_t n)
    {
        if (n != 0)
            std::memcpy(grow(n), src, n);
    }
    // Appends n zero bytes and returns where they start (valid until the
    // next append): room for a field written in place, such as a bitmap.
    uint8_t *grow(size_t n)
    {
        const size_t at = out_.size();
        out_.resize(at + n);
        return out_.data() + at;
    }
    // Puts a 16- or 32-bit field over bytes appended earlier, at `off` from
    // the start of the vector.
    void patch_u16(size_t off, uint16_t v) { put_u16(out_.data(), off, v); }
    void patch_u32(size_t off, uint32_t v) { put_u32(out_.data(), off, v); }

private:
    std::vector<uint8_t> &out_;
};

} // namespace vlan_mgr::wire
