// Big-endian reading of request payloads (every read bounds-checked) and
// writing of reply and notification payloads.
#ifndef VLAN_MGRD_WIRE_IO_H
#define VLAN_MGRD_WIRE_IO_H

#include <cstdint>
#include <cstring>
#include <vector>

#include "state.h"

namespace vlan_mgrd {

// Reads fields at absolute offsets; a read past the end sets ok() false and
// yields 0, so a handler checks ok() once after reading its fields.
class WireReader {
public:
    WireReader(const uint8_t *p, uint32_t len) : p_(p), len_(len) {}
    uint32_t size() const { return len_; }
    bool ok() const { return ok_; }
    bool has(uint32_t off, uint32_t n) const { return off <= len_ && n <= len_ - off; }
    uint8_t u8(uint32_t off) { return has(off, 1) ? p_[off] : fail(); }
    uint16_t u16(uint32_t off)
    {
        if (!has(off, 2))
            return fail();
        return static_cast<uint16_t>((p_[off] << 8) | p_[off + 1]);
    }
    uint32_t u32(uint32_t off)
    {
        if (!has(off, 4))
            return fail();
        return (uint32_t{p_[off]} << 24) | (uint32_t{p_[off + 1]} << 16) | (uint32_t{p_[off + 2]} << 8) |
               uint32_t{p_[off + 3]};
    }
    // A 32-bit word in host order (the 512 length word of a bitmap).
    uint32_t host32(uint32_t off)
    {
        uint32_t v = 0;
        if (!has(off, 4))
            return fail();
        std::memcpy(&v, p_ + off, 4);
        return v;
    }
    // The 512 bitmap bytes at `off` (VLAN v is bit 0x80 >> (v % 8) of byte v / 8).
    VlanSet bitmap(uint32_t off)
    {
        if (!has(off, 512)) {
            fail();
            return VlanSet();
        }
        return vlan_mgr::server::bits_from_wire(p_ + off);
    }
    const uint8_t *bytes(uint32_t off, uint32_t n)
    {
        if (!has(off, n)) {
            fail();
            return nullptr;
        }
        return p_ + off;
    }

private:
    uint8_t fail()
    {
        ok_ = false;
        return 0;
    }
    const uint8_t *p_;
    uint32_t len_;
    bool ok_ = true;
};

// Appends big-endian fields to a payload.
class WireWriter {
public:
    explicit WireWriter(std::vector<uint8_t> &out) : out_(out) {}
    size_t size() const { return out_.size(); }
    void u8(uint8_t v) { out_.push_back(v); }
    void u16(uint16_t v)
    {
        out_.push_back(static_cast<uint8_t>(v >> 8));
        out_.push_back(static_cast<uint8_t>(v));
    }
    void u32(uint32_t v)
    {
        for (int s = 24; s >= 0; s -= 8)
            out_.push_back(static_cast<uint8_t>(v >> s));
    }
    void host32(uint32_t v)
    {
        uint8_t b[4];
        std::memcpy(b, &v, 4);
        out_.insert(out_.end(), b, b + 4);
    }
    void bytes(const void *p, size_t n)
    {
        const auto *b = static_cast<const uint8_t *>(p);
        out_.insert(out_.end(), b, b + n);
    }
    void zeros(size_t n) { out_.insert(out_.end(), n, 0); }
    // The 512 bitmap bytes of `set` (no length word).
    void bitmap_bits(const VlanSet &set)
    {
        const size_t at = out_.size();
        out_.resize(at + 512);
        vlan_mgr::server::bits_to_wire(set, out_.data() + at);
    }
    // A whole vlan_bitmap: the length word 512 in host order, then the bits.
    void bitmap(const VlanSet &set)
    {
        host32(512);
        bitmap_bits(set);
    }
    // Overwrites a big-endian word written earlier (counts known at the end).
    void patch32(size_t at, uint32_t v)
    {
        for (int i = 0; i < 4; ++i)
            out_[at + i] = static_cast<uint8_t>(v >> (24 - 8 * i));
    }

private:
    std::vector<uint8_t> &out_;
};

} // namespace vlan_mgrd

#endif
