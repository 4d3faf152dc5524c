// Helpers shared by the configuration request tests: literal byte groups,
// exact-size heap copies of replies, the cut-reply and allocation-failure
// sweeps, and the expectations of a VDC mismatch report.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

#include <vlan_mgr/config_req.h>

#include "test_platform.h"

namespace cfgtest {

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

// Test-side big-endian encoders, for replies too long to write out by hand.
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
inline uint32_t first_word(const Bytes &b)
{
    return (uint32_t{b[0]} << 24) | (uint32_t{b[1]} << 16) | (uint32_t{b[2]} << 8) | b[3];
}

// Copies a builder's payload out and frees it.
inline Bytes take(void *payload, uint32_t len)
{
    const auto *p = static_cast<const uint8_t *>(payload);
    Bytes b(p, p + len);
    std::free(payload);
    return b;
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

// Runs `parse(data, len)` on every strict prefix of `reply`, each in its own
// exact-size heap buffer. With the common reply rules an empty prefix gives
// VLAN_MGR_ERR_NO_MEMORY and a 4-byte one the word it holds; every other
// prefix must give VLAN_MGR_ERR_TRUNCATED. `parse` frees whatever it got; no
// block may be left allocated.
template <typename Parse>
void expect_every_cut_fails(const Bytes &reply, Parse parse, bool common_rules = true)
{
    for (size_t len = 0; len < reply.size(); ++len) {
        HeapCopy cut(reply.data(), len);
        const uint32_t st = parse(cut.data(), static_cast<uint32_t>(len));
        if (common_rules && len == 0)
            EXPECT_EQ(st, VLAN_MGR_ERR_NO_MEMORY) << "cut at " << len;
        else if (common_rules && len == 4)
            EXPECT_EQ(st, first_word(reply)) << "cut at " << len;
        else
            EXPECT_EQ(st, VLAN_MGR_ERR_TRUNCATED) << "cut at " << len;
        EXPECT_EQ(tp::live_allocs(), 0) << "cut at " << len;
    }
}

// Decodes `reply` from an aligned exact-size copy and from one at an odd
// address; `decode(data, len)` returns everything the parser handed back
// (status, fields, array elements) and frees the arrays. Both must agree, and
// nothing may be left allocated.
template <typename Decode>
void expect_same_at_odd_address(const Bytes &reply, Decode decode)
{
    HeapCopy aligned(reply), odd(reply, true);
    ASSERT_EQ(reinterpret_cast<uintptr_t>(odd.data()) & 1, 1u);
    const std::vector<uint32_t> want = decode(aligned.data(), aligned.size());
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

// Expects exactly one VDC mismatch report: the history record (event
// 0x730000, class 100, the debug text and its NUL), the debug line when class
// 100 is switched on, and the ERROR_MSG syslog call when the facility level
// lets severity 3 through.
inline void expect_vdc_report(const std::string &debug_text, const std::string &syslog_text, bool debug_on,
                              bool syslog_on)
{
    const tp::State &s = tp::state();
    ASSERT_EQ(s.history.size(), 1u);
    EXPECT_EQ(s.history[0].event_id, 0x730000u);
    EXPECT_EQ(s.history[0].length, 4 + debug_text.size() + 1);
    EXPECT_EQ(s.history[0].subtype(), 100u);
    EXPECT_EQ(s.history[0].text(), debug_text);
    if (debug_on) {
        ASSERT_EQ(s.debug_lines.size(), 1u);
        EXPECT_EQ(s.debug_lines[0], debug_text);
    } else {
        EXPECT_TRUE(s.debug_lines.empty());
    }
    if (syslog_on) {
        ASSERT_EQ(s.syslog.size(), 1u);
        EXPECT_EQ(s.syslog[0].severity, 3u);
        EXPECT_EQ(s.syslog[0].format, "<<%%%s-%d-ERROR_MSG>> %s");
        EXPECT_EQ(s.syslog[0].facility, "VLAN_MGR");
        EXPECT_EQ(s.syslog[0].severity_arg, 3);
        EXPECT_EQ(s.syslog[0].text, syslog_text);
        EXPECT_EQ(s.syslog[0].line, "<<%VLAN_MGR-3-ERROR_MSG>> " + syslog_text);
    } else {
        EXPECT_TRUE(s.syslog.empty());
    }
}

// Nothing reported on any channel.
inline void expect_no_report()
{
    EXPECT_TRUE(tp::state().history.empty());
    EXPECT_TRUE(tp::state().debug_lines.empty());
    EXPECT_TRUE(tp::state().syslog.empty());
}

// A vlan_bitmap with the listed VLANs set and a length word of 512.
inline vlan_bitmap bitmap_of(std::initializer_list<uint32_t> vlans)
{
    vlan_bitmap b{};
    b.len = 512;
    for (uint32_t v : vlans)
        b.bits[v / 8] |= static_cast<uint8_t>(0x80u >> (v % 8));
    return b;
}

} // namespace cfgtest
