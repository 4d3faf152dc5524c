// The fuzz input of the configuration reply parsers: the bytes in a heap
// buffer of exactly their size, so that AddressSanitizer catches any read past
// the end, and a touch of every element a parser hands back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace config_fuzz {

class Input {
public:
    Input(const uint8_t *data, size_t size) : p_(static_cast<uint8_t *>(std::malloc(size ? size : 1))), n_(size)
    {
        if (size != 0)
            std::memcpy(p_, data, size);
    }
    ~Input() { std::free(p_); }
    Input(const Input &) = delete;
    Input &operator=(const Input &) = delete;
    const uint8_t *data() const { return p_; }
    uint32_t len() const { return static_cast<uint32_t>(n_); }

private:
    uint8_t *p_;
    size_t n_;
};

// Reads every byte of `n` elements so that a short array is caught; frees it.
template <typename T>
void consume(T *array, size_t n)
{
    if (array == nullptr)
        return;
    volatile uint8_t sink = 0;
    const auto *b = reinterpret_cast<const uint8_t *>(array);
    for (size_t i = 0; i < n * sizeof(T); ++i)
        sink = static_cast<uint8_t>(sink ^ b[i]);
    (void)sink;
    std::free(array);
}

} // namespace config_fuzz
