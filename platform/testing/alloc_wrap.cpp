// Allocation wrappers, linked with --wrap=malloc,calloc,realloc,free. They count
// every allocation, make the chosen one fail, and keep the blocks still held
// in a fixed open-addressing table (no allocation of their own), so that a
// test can assert that a call left nothing behind.
#include <cstddef>
#include <cstdint>

#include "test_platform.h"

extern "C" {
void *__real_malloc(size_t);
void *__real_calloc(size_t, size_t);
void *__real_realloc(void *, size_t);
void __real_free(void *);
}

namespace {

constexpr size_t kSlots = 1u << 16;
void *live_table[kSlots];
void *const kTombstone = reinterpret_cast<void *>(uintptr_t{1});
long live_count = 0;
long calls = 0;
long fail_at = 0;

size_t slot_of(void *p) { return (reinterpret_cast<uintptr_t>(p) >> 4) & (kSlots - 1); }

void track(void *p)
{
    for (size_t i = slot_of(p), n = 0; n < kSlots; i = (i + 1) & (kSlots - 1), ++n)
        if (live_table[i] == nullptr || live_table[i] == kTombstone) {
            live_table[i] = p;
            ++live_count;
            return;
        }
}

void untrack(void *p)
{
    for (size_t i = slot_of(p), n = 0; n < kSlots && live_table[i] != nullptr; i = (i + 1) & (kSlots - 1), ++n)
        if (live_table[i] == p) {
            live_table[i] = kTombstone;
            --live_count;
            return;
        }
}

bool should_fail() { return ++calls == fail_at; }

} // namespace

extern "C" {

void *__wrap_malloc(size_t size)
{
    if (should_fail())
        return nullptr;
    void *p = __real_malloc(size);
    if (p)
        track(p);
    return p;
}

void *__wrap_calloc(size_t n, size_t size)
{
    if (should_fail())
        return nullptr;
    void *p = __real_calloc(n, size);
    if (p)
        track(p);
    return p;
}

void *__wrap_realloc(void *old, size_t size)
{
    if (should_fail())
        return nullptr;
    void *p = __real_realloc(old, size);
    if (p) {
        if (old)
            untrack(old);
        track(p);
    }
    return p;
}

void __wrap_free(void *p)
{
    if (p)
        untrack(p);
    __real_free(p);
}
}

namespace tp {

void fail_alloc_at(long nth) { fail_at = nth == 0 ? 0 : calls + nth; }
long alloc_calls() { return calls; }
long live_allocs() { return live_count; }

void reset_allocs()
{
    for (auto &slot : live_table)
        slot = nullptr;
    live_count = 0;
    calls = 0;
    fail_at = 0;
}

} // namespace tp
