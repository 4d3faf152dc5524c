// The fuzz input of the notification parsers: the first two bytes choose the
// opcode (near the notification range, so that most inputs reach a
// decoder), the third switches the BD cache on or off, the rest is the
// payload of an in-memory message of exactly that size. The caller's
// allocator remembers the size it handed out, and every byte handed out is
// read back before it is freed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include <vlan_mgr/bd_db.h>
#include <vlan_mgr/notif.h>

#include "test_platform.h"

namespace notif_fuzz {

inline size_t &last_size()
{
    static size_t n = 0;
    return n;
}

inline void *sized_alloc(size_t n)
{
    last_size() = n;
    return std::malloc(n == 0 ? 1 : n);
}

struct Input {
    uint32_t opcode = 0;
    bool cache = false;
    mts_msg_hdl_t msg{};
};

// Maps the input to a message; `base` is the opcode that selector 0 gives.
inline Input make_input(const uint8_t *data, size_t size, uint32_t base, uint32_t span)
{
    tp::reset();
    Input in;
    uint16_t sel = 0;
    if (size >= 2)
        sel = static_cast<uint16_t>(data[0] << 8 | data[1]);
    in.opcode = sel >= 0xFF00 ? (uint32_t{sel} << 8) : base + sel % span; // now and then far away
    in.cache = size >= 3 && (data[2] & 1) != 0;
    const size_t skip = size < 3 ? size : 3;
    in.msg = tp::make_message(in.opcode, std::vector<uint8_t>(data + skip, data + size));
    if (in.cache)
        vlan_mgr_enable_cached_bd_sdb();
    else
        vlan_mgr_disable_cached_bd_sdb();
    return in;
}

// Reads every byte handed out, then frees the block.
inline void consume(void *records, size_t n)
{
    if (records == nullptr)
        return;
    volatile uint8_t sink = 0;
    const auto *b = static_cast<const uint8_t *>(records);
    for (size_t i = 0; i < n; ++i)
        sink = static_cast<uint8_t>(sink ^ b[i]);
    (void)sink;
    std::free(records);
}

} // namespace notif_fuzz
