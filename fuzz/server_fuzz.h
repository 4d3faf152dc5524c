// What every fuzz target of the manager's decoders shares: byte 0 picks the
// decoder of the family's table, the rest is the payload, handed over in a
// heap buffer of exactly its size so that a read past its end is caught.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

namespace server_fuzz {

using Decoder = void (*)(const uint8_t *, size_t);

template <size_t N>
int run_one(const Decoder (&decoders)[N], const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const Decoder d = decoders[data[0] % N];
    auto buf = std::make_unique<uint8_t[]>(size - 1);
    if (size > 1)
        std::memcpy(buf.get(), data + 1, size - 1);
    d(buf.get(), size - 1);
    return 0;
}

} // namespace server_fuzz
