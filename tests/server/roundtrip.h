// What the round-trip tests share: a seeded generator of valid inputs and
// owners for what the library's builders and parsers allocate.
//
// Every test draws its inputs from Gen, seeded with VLAN_MGR_ROUNDTRIP_SEED
// when it is set, otherwise with a fixed seed; the seed is printed with each
// failure (SCOPED_TRACE), so that a failing case can be run again.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include <vlan_mgr/server/common.h>

namespace roundtrip {

inline uint64_t seed()
{
    const char *s = std::getenv("VLAN_MGR_ROUNDTRIP_SEED");
    return s != nullptr ? std::strtoull(s, nullptr, 0) : 0x5EEDu;
}

// The cases each test runs over (the first ones are the edges: the largest
// lists, every type); the rest are random.
inline constexpr int kCases = 200;

class Gen {
public:
    explicit Gen(uint64_t s = seed()) : rng_(s) {}
    uint32_t u32() { return static_cast<uint32_t>(rng_()); }
    uint16_t u16() { return static_cast<uint16_t>(rng_()); }
    uint8_t u8() { return static_cast<uint8_t>(rng_()); }
    // A uniform value in [lo, hi].
    uint32_t in(uint32_t lo, uint32_t hi) { return std::uniform_int_distribution<uint32_t>(lo, hi)(rng_); }
    bool coin() { return (rng_() & 1) != 0; }
    uint32_t vlan() { return in(1, 4094); }
    uint16_t vdc() { return static_cast<uint16_t>(in(1, 5)); }
    // A status word as replies carry them: 0 mostly, else any word.
    uint32_t status() { return in(0, 3) == 0 ? u32() : 0; }
    // `n` distinct VLAN ids of 1..4094, ascending (n = 4094: every VLAN).
    std::vector<uint32_t> vlans(size_t n)
    {
        std::vector<uint32_t> all(4094);
        std::iota(all.begin(), all.end(), 1u);
        std::shuffle(all.begin(), all.end(), rng_);
        all.resize(std::min<size_t>(n, all.size()));
        std::sort(all.begin(), all.end());
        return all;
    }
    // A list size for case i: the largest first, then small and large ones.
    size_t size_for(int i, size_t max)
    {
        if (i == 0)
            return max;
        if (i == 1)
            return 1;
        return in(0, 3) == 0 ? in(1, static_cast<uint32_t>(max)) : in(1, 16);
    }
    vlan_mgr::server::VlanBits bits_of(const std::vector<uint32_t> &ids)
    {
        vlan_mgr::server::VlanBits b;
        for (uint32_t v : ids)
            b.set(v);
        return b;
    }
    // A name of printable ASCII, 0..max characters.
    std::string name(size_t max)
    {
        std::string s(in(0, static_cast<uint32_t>(max)), ' ');
        for (char &c : s)
            c = static_cast<char>(in(0x21, 0x7E));
        return s;
    }
    std::mt19937_64 &engine() { return rng_; }

private:
    std::mt19937_64 rng_;
};

// Frees what a builder or parser allocated.
struct FreeDeleter {
    void operator()(void *p) const { std::free(p); }
};
template <class T = void>
using Owned = std::unique_ptr<T, FreeDeleter>;

// The bytes of a built payload.
inline vlan_mgr::server::Payload bytes_of(const void *p, uint32_t len)
{
    const auto *b = static_cast<const uint8_t *>(p);
    return vlan_mgr::server::Payload(b, b + len);
}

// Record i of an array of T that a parser returned (copied: the array
// holds packed records at any alignment).
template <class T>
T record_at(const uint8_t *recs, size_t i)
{
    T t;
    std::memcpy(&t, recs + sizeof(T) * i, sizeof t);
    return t;
}

} // namespace roundtrip

// Names the seed in every failure of the enclosing scope.
#define ROUNDTRIP_TRACE() SCOPED_TRACE(::testing::Message() << "VLAN_MGR_ROUNDTRIP_SEED=" << ::roundtrip::seed())
