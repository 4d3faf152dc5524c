// Helpers of the notification tests: literal byte groups, a caller's
// allocator that fills its blocks with a pattern and records the sizes asked
// for, and one call of a parser on an in-memory message with its results
// copied out.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include <vlan_mgr/bd_db.h>
#include <vlan_mgr/notif.h>

#include "test_platform.h"

namespace notiftest {

using Bytes = std::vector<uint8_t>;

// Joins literal byte groups.
inline Bytes cat(std::initializer_list<Bytes> parts)
{
    Bytes out;
    for (const Bytes &p : parts)
        out.insert(out.end(), p.begin(), p.end());
    return out;
}

inline Bytes be16(uint16_t v) { return {static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v)}; }
inline Bytes be32(uint32_t v)
{
    return {static_cast<uint8_t>(v >> 24), static_cast<uint8_t>(v >> 16), static_cast<uint8_t>(v >> 8),
            static_cast<uint8_t>(v)};
}
// Host order on the little-endian targets.
inline Bytes le16(uint16_t v) { return {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8)}; }
inline Bytes le32(uint32_t v)
{
    return {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v >> 16),
            static_cast<uint8_t>(v >> 24)};
}
inline Bytes fill(size_t n, uint8_t b) { return Bytes(n, b); }

// What the allocator leaves in a block: the bytes that no field writes.
constexpr uint8_t kPattern = 0xA5;
inline Bytes untouched(size_t n) { return Bytes(n, kPattern); }

// The bitmap length word: 512 in host order.
inline const Bytes kLen512 = {0x00, 0x02, 0x00, 0x00};

// A 512-byte bit array whose bytes differ from one array to the next.
inline Bytes bits(uint8_t seed)
{
    Bytes b(512);
    for (size_t i = 0; i < 512; ++i)
        b[i] = static_cast<uint8_t>(i * 13 + seed * 7 + 1);
    return b;
}

// Writes `v` into `b` at `off`, growing nothing: the payload is sized first.
inline void put(Bytes &b, size_t off, const Bytes &v)
{
    ASSERT_LE(off + v.size(), b.size());
    std::copy(v.begin(), v.end(), b.begin() + static_cast<long>(off));
}

// The caller's allocator of the tests: records every size asked for, fills
// the block with the pattern, fails when told to.
struct AllocLog {
    std::vector<size_t> sizes;
    int fail_at = 0; // 1-based call that returns NULL; 0: none
};
inline AllocLog &alloc_log()
{
    static AllocLog log;
    return log;
}
inline void *pattern_alloc(size_t n)
{
    AllocLog &log = alloc_log();
    log.sizes.push_back(n);
    if (static_cast<int>(log.sizes.size()) == log.fail_at)
        return nullptr;
    void *p = std::malloc(n == 0 ? 1 : n);
    std::memset(p, kPattern, n);
    return p;
}
inline void reset_alloc_log(int fail_at = 0)
{
    alloc_log().sizes.clear();
    alloc_log().fail_at = fail_at;
}

using Parser = uint32_t (*)(const struct mts_msg_hdl *, void **, uint32_t *, vlan_mgr_notif_alloc_fn);

// One parser call: the status, the count, the whole block handed out (its
// size is the one size the allocator was asked for) and the sizes asked.
struct Result {
    uint32_t rc = 0;
    uint32_t count = 0;
    bool records_null = true;
    Bytes records;
    std::vector<size_t> sizes;
};

inline Result run(Parser parse, uint32_t opcode, const Bytes &payload, bool odd = false, int fail_at = 0)
{
    reset_alloc_log(fail_at);
    mts_msg_hdl_t msg = odd ? tp::make_message_at_odd_address(opcode, payload) : tp::make_message(opcode, payload);
    void *records = reinterpret_cast<void *>(0x1);
    uint32_t count = 0xDEAD;
    Result r;
    r.rc = parse(&msg, &records, &count, pattern_alloc);
    r.count = count;
    r.records_null = records == nullptr;
    r.sizes = alloc_log().sizes;
    if (records != nullptr && records != reinterpret_cast<void *>(0x1)) {
        if (!r.sizes.empty()) {
            const auto *p = static_cast<const uint8_t *>(records);
            r.records.assign(p, p + r.sizes.back());
        }
        std::free(records);
    }
    return r;
}

} // namespace notiftest
