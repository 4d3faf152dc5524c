// Helpers shared by the request-family tests (configuration, query and port
// membership requests): literal byte groups and big-endian encoders, VLAN
// bitmaps, exact-size heap copies of replies (optionally at an odd address),
// the cut-reply and allocation-failure sweeps, and the expectations of the
// reports the builders and parsers make.
//
// Header only: tests/common has no .cpp, so no test program is built for it;
// each family's tests include it by its relative path.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

#include <vlan_mgr/frame.h>

#include "test_platform.h"

namespace reqtest {

using Bytes = std::vector<uint8_t>;

// Joins literal byte groups into one payload.
inline Bytes cat(std::initializer_list<Bytes> parts)
{
    Bytes out;
    for (const Bytes &p : parts)
        out.insert(out.end(), p.begin(), p.end());
    return out;
}

inline Bytes zeros(size_t n) { return Bytes(n, 0); }

// The bitmap length word: 512 in host order on the little-endian targets.
inline const Bytes kLen512 = {0x00, 0x02, 0x00, 0x00};

// Test-side big-endian encoders, for payloads too long to write out by hand.
inline void push_be16(Bytes &b, uint16_t v)
{
    b.push_back(static_cast<uint8_t>(v >> 8));
    b.push_back(static_cast<uint8_t>(v));
}
inline void push_be32(Bytes &b, uint32_t v)
{
    for (int s = 24; s >= 0; s -= 8)
        b.push_back(static_cast<uint8_t>(v >> s));
}

// Big-endian bytes of one word, for expectations built field by field.
inline Bytes be32(uint32_t v)
{
    Bytes b;
    push_be32(b, v);
    return b;
}
inline Bytes be16(uint16_t v)
{
    Bytes b;
    push_be16(b, v);
    return b;
}

// The first four bytes as a big-endian word: a reply's status.
inline uint32_t first_word(const Bytes &b)
{
    return (uint32_t{b[0]} << 24) | (uint32_t{b[1]} << 16) | (uint32_t{b[2]} << 8) | b[3];
}

// 512 bitmap bytes with the listed VLANs set.
inline Bytes bits_of(std::initializer_list<uint32_t> vlans)
{
    Bytes b(512, 0);
    for (uint32_t v : vlans)
        b[v / 8] |= static_cast<uint8_t>(0x80u >> (v % 8));
    return b;
}

// A vlan_bitmap with the listed VLANs set and a length word of 512.
inline vlan_bitmap bitmap_of(std::initializer_list<uint32_t> vlans)
{
    vlan_bitmap b{};
    b.len = 512;
    const Bytes bits = bits_of(vlans);
    std::memcpy(b.bits, bits.data(), 512);
    return b;
}

// Copies a builder's payload out and frees it.
inline Bytes take(void *payload, uint32_t len)
{
    const auto *p = static_cast<const uint8_t *>(payload);
    Bytes b(p, p + len);
    std::free(payload);
    return b;
}

// The bytes of a record array handed back by a parser.
template <typename T>
Bytes bytes_of(const T *p, size_t n)
{
    const auto *b = reinterpret_cast<const uint8_t *>(p);
    return Bytes(b, b + n * sizeof(T));
}

// An exact-size heap copy of `n` bytes (allocated with new[], so the
// library's allocation counters do not see it), placed at an odd address when
// asked; AddressSanitizer then catches any read past its end.
class HeapCopy {
public:
    HeapCopy(const uint8_t *data, size_t n, bool odd = false)
        : buf_(new uint8_t[n + (odd ? 1 : 0)]), p_(buf_.get() + (odd ? 1 : 0)), n_(n)
    {
        if (n != 0)
            std::memcpy(p_, data, n);
    }
    explicit HeapCopy(const Bytes &b, bool odd = false) : HeapCopy(b.data(), b.size(), odd) {}
    const uint8_t *data() const { return p_; }
    uint32_t size() const { return static_cast<uint32_t>(n_); }

private:
    std::unique_ptr<uint8_t[]> buf_;
    uint8_t *p_;
    size_t n_;
};

// What a cut of `len` bytes must give, for expect_every_cut_fails.
using CutStatus = std::function<uint32_t(size_t len)>;

// For payloads without the common reply rules (requests have no bare-status
// form): every cut, the empty and the 4-byte one included, is truncated.
inline uint32_t every_cut_truncated(size_t) { return VLAN_MGR_ERR_TRUNCATED; }

// Runs `parse(data, len)` on every strict prefix of `reply`, each in its own
// exact-size heap buffer, and compares the status with `want(len)`. Without
// `want` the common reply rules apply: an empty prefix gives
// VLAN_MGR_ERR_NO_MEMORY, a 4-byte one the word it holds and every other one
// VLAN_MGR_ERR_TRUNCATED. `parse` frees whatever it got; no block may be left
// allocated.
template <typename Parse>
void expect_every_cut_fails(const Bytes &reply, Parse parse, CutStatus want = {})
{
    for (size_t len = 0; len < reply.size(); ++len) {
        HeapCopy cut(reply.data(), len);
        const uint32_t st = parse(cut.data(), static_cast<uint32_t>(len));
        uint32_t expected = VLAN_MGR_ERR_TRUNCATED;
        if (want)
            expected = want(len);
        else if (len == 0)
            expected = VLAN_MGR_ERR_NO_MEMORY;
        else if (len == 4)
            expected = first_word(reply);
        EXPECT_EQ(st, expected) << "cut at " << len;
        EXPECT_EQ(tp::live_allocs(), 0) << "cut at " << len;
    }
}

// Decodes `reply` from an aligned exact-size copy and from one at an odd
// address; `decode(data, len)` returns everything the parser handed back
// (status, fields and array elements, as words or as bytes) and frees the
// arrays. Both must agree, and nothing may be left allocated.
template <typename Decode>
void expect_same_at_odd_address(const Bytes &reply, Decode decode)
{
    HeapCopy aligned(reply), odd(reply, true);
    ASSERT_EQ(reinterpret_cast<uintptr_t>(odd.data()) & 1, 1u);
    const auto want = decode(aligned.data(), aligned.size());
    EXPECT_FALSE(want.empty());
    EXPECT_EQ(decode(odd.data(), odd.size()), want);
    EXPECT_EQ(tp::live_allocs(), 0);
}

// Makes the 1st, 2nd, ... allocation of `call` fail in turn, until a run
// makes fewer allocations than the one set to fail (the call then succeeded).
// Every failing run must return `fail_status` and leave nothing allocated;
// `call` frees what it received. Returns how many allocations a successful
// call makes.
template <typename Call>
long sweep_alloc_failures(Call call, uint32_t fail_status = VLAN_MGR_ERR_NO_MEMORY)
{
    for (long n = 1; n < 1000; ++n) {
        const long before = tp::alloc_calls();
        tp::fail_alloc_at(n);
        const uint32_t st = call();
        const long made = tp::alloc_calls() - before;
        tp::fail_alloc_at(0);
        EXPECT_EQ(tp::live_allocs(), 0) << "allocation " << n << " failing";
        if (made < n)
            return n - 1;
        EXPECT_EQ(st, fail_status) << "allocation " << n << " failing";
    }
    ADD_FAILURE() << "the call never succeeded";
    return -1;
}

inline std::string pid_text() { return std::to_string(getpid()); }

// Every reporting channel switched on: the debug lines of classes 100 and 102,
// and syslog up to INFO.
inline void all_channels_on()
{
    tp::set_debug(100, true);
    tp::set_debug(102, true);
    syslog_fac_LOG_VLAN_MGR.current_level = 7;
}

// Expects exactly one report: the history record (event 0x730000, the class,
// the debug text and its NUL), the debug line when the class is switched on,
// and the syslog call of the catalogue record (`mnemonic`, `severity`) when
// the facility level lets it through.
inline void expect_report(uint32_t report_class, const std::string &debug_text, const std::string &syslog_text,
                          const std::string &mnemonic, uint32_t severity, bool debug_on, bool syslog_on)
{
    const tp::State &s = tp::state();
    ASSERT_EQ(s.history.size(), 1u);
    EXPECT_EQ(s.history[0].event_id, 0x730000u);
    EXPECT_EQ(s.history[0].length, 4 + debug_text.size() + 1);
    EXPECT_EQ(s.history[0].subtype(), report_class);
    EXPECT_EQ(s.history[0].text(), debug_text);
    if (debug_on) {
        ASSERT_EQ(s.debug_lines.size(), 1u);
        EXPECT_EQ(s.debug_lines[0], debug_text);
    } else {
        EXPECT_TRUE(s.debug_lines.empty());
    }
    if (syslog_on) {
        ASSERT_EQ(s.syslog.size(), 1u);
        EXPECT_EQ(s.syslog[0].severity, severity);
        EXPECT_EQ(s.syslog[0].format, "<<%%%s-%d-" + mnemonic + ">> %s");
        EXPECT_EQ(s.syslog[0].facility, "VLAN_MGR");
        EXPECT_EQ(s.syslog[0].severity_arg, static_cast<int>(severity));
        EXPECT_EQ(s.syslog[0].text, syslog_text);
        EXPECT_EQ(s.syslog[0].line, "<<%VLAN_MGR-" + std::to_string(severity) + "-" + mnemonic + ">> " + syslog_text);
    } else {
        EXPECT_TRUE(s.syslog.empty());
    }
}

// The VDC mismatch report: class 100, ERROR_MSG at severity 3.
inline void expect_vdc_report(const std::string &debug_text, const std::string &syslog_text, bool debug_on,
                              bool syslog_on)
{
    expect_report(100, debug_text, syslog_text, "ERROR_MSG", 3, debug_on, syslog_on);
}

// Nothing reported on any channel.
inline void expect_no_report()
{
    EXPECT_TRUE(tp::state().history.empty());
    EXPECT_TRUE(tp::state().debug_lines.empty());
    EXPECT_TRUE(tp::state().syslog.empty());
}

} // namespace reqtest
