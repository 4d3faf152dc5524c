// Helpers of the BD database tests: fresh library tables for every test,
// literal keys and records, and the report expectations.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <unistd.h>

#include <vlan_mgr/bd_db.h>

#include "bd_db/bd_cache.h"
#include "test_platform.h"

namespace bdtest {

using Bytes = std::vector<uint8_t>;

inline std::string pid() { return std::to_string(getpid()); }

inline const std::string kUri1 = "volatile:/dev/shm/vlan_mgr_bd_sdb";
inline const std::string kUri2 = "volatile:/dev/shm/2/vlan_mgr_bd_sdb";

// Frees the library's current tables (those of the constructor or of an
// earlier test).
// fresh_tables() then builds fresh ones, as at load, without initialising the
// publisher library again. The allocation counters start from 0 afterwards.
inline void free_tables()
{
    namespace db = vlan_mgr::bd_db;
    if (db::bd_sdb_cached_p != nullptr) {
        for (unsigned i = 0; i < db::kVdcCount; ++i)
            std::free(db::bd_sdb_cached_p[i]);
        std::free(db::bd_sdb_cached_p);
    }
    for (void *&p : db::load_kept) {
        std::free(p);
        p = nullptr;
    }
    if (db::vlan_mgr_bd_sdb_uri != nullptr) {
        for (unsigned i = 0; i < db::kVdcCount; ++i)
            std::free(db::vlan_mgr_bd_sdb_uri[i]);
        std::free(db::vlan_mgr_bd_sdb_uri);
    }
    std::free(bd_sdb_uri_p); // its buffers were freed through load_kept
    std::free(db::opened_flag);
    db::bd_sdb_cached_p = nullptr;
    db::vlan_mgr_bd_sdb_uri = nullptr;
    bd_sdb_uri_p = nullptr;
    db::opened_flag = nullptr;
}

inline void fresh_tables()
{
    namespace db = vlan_mgr::bd_db;
    free_tables();
    db::first_open_marker = 0;
    vlan_mgr_pblr_lib_init_done = 1;
    db::load_tables();
    tp::reset();
    tp::reset_allocs();
}

class BdDb : public ::testing::Test {
protected:
    void SetUp() override { fresh_tables(); }
};

// A history event's bytes: the class word, the text and its NUL.
inline tp::Bytes history_bytes(uint32_t subtype, const std::string &text)
{
    tp::Bytes b(4 + text.size() + 1, 0);
    std::memcpy(b.data(), &subtype, 4);
    std::memcpy(b.data() + 4, text.data(), text.size());
    return b;
}

// Expects exactly one report on the three channels: history (class, text),
// debug line (when the class was switched on), syslog (when the level let it
// through) with the catalogue's format.
inline void expect_one_report(uint32_t subtype, const std::string &text, const std::string &syslog_line,
                              uint32_t severity)
{
    const tp::State &s = tp::state();
    ASSERT_EQ(s.history.size(), 1u);
    EXPECT_EQ(s.history[0].event_id, 0x730000u);
    EXPECT_EQ(s.history[0].length, 4 + text.size() + 1);
    EXPECT_EQ(s.history[0].bytes, history_bytes(subtype, text));
    ASSERT_EQ(s.debug_lines.size(), 1u);
    EXPECT_EQ(s.debug_lines[0], text);
    ASSERT_EQ(s.syslog.size(), 1u);
    EXPECT_EQ(s.syslog[0].severity, severity);
    EXPECT_EQ(s.syslog[0].line, syslog_line);
}

inline void expect_no_report()
{
    EXPECT_TRUE(tp::state().history.empty());
    EXPECT_TRUE(tp::state().debug_lines.empty());
    EXPECT_TRUE(tp::state().syslog.empty());
}

// Switches on every channel for the report classes 100 and 102.
inline void all_channels_on()
{
    tp::set_debug(100, true);
    tp::set_debug(102, true);
    syslog_fac_LOG_VLAN_MGR.current_level = 7;
}

inline size_t count_ops(tp::SdbOp op)
{
    size_t n = 0;
    for (const tp::SdbCall &c : tp::state().sdb_calls)
        n += c.op == op;
    return n;
}

} // namespace bdtest
