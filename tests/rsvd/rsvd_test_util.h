// Helpers of the reserved-range tests: a fixture that starts every test with
// every VDC's database closed, range records put into the test platform's
// database, bit-by-bit bitmap checks against literal VLAN ranges, the log of
// marker-file probes, and marker files created for one test and the machine's
// own state put back afterwards.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include <vlan_mgr/bd_db.h>
#include <vlan_mgr/rsvd.h>

#include "test_platform.h"

namespace vlan_mgr {
void local_vdc_forget();
}

namespace rsvdtest {

using Bytes = std::vector<uint8_t>;
using Range = std::pair<uint32_t, uint32_t>; // inclusive

// The BD database of each VDC.
inline const std::string kUri1 = "volatile:/dev/shm/vlan_mgr_bd_sdb";
inline const std::string kUri2 = "volatile:/dev/shm/2/vlan_mgr_bd_sdb";
inline const std::string kUri3 = "volatile:/dev/shm/3/vlan_mgr_bd_sdb";

// One logged probe: the call, its path, its mode or flags (the descriptor for
// close) and its result.
struct Probe {
    std::string call;
    std::string path;
    int arg;
    int result;
};
extern bool probe_logging;
extern std::vector<Probe> probes;

class RsvdTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        // The database handles are process-wide: close every VDC's database
        // left open by an earlier test, then forget those calls.
        for (uint16_t vdc = 1; vdc <= 5; ++vdc)
            vlan_close_bd_sdb(vdc);
        tp::reset();
        tp::reset_allocs();
        vlan_mgr::local_vdc_forget();
        syslog_fac_LOG_VLAN_MGR.current_level = 2;
        probes.clear();
        probe_logging = false;
    }
    void TearDown() override { probe_logging = false; }
};

// Current range records: a 16-bit big-endian value under VDC-qualified keys.
inline void put_current(const std::string &uri, uint8_t vdc, uint16_t start, uint16_t end)
{
    tp::sdb_put(uri, {vdc, 0x00, 0x10, 0x02}, {static_cast<uint8_t>(start >> 8), static_cast<uint8_t>(start)});
    tp::sdb_put(uri, {vdc, 0x00, 0x10, 0x03}, {static_cast<uint8_t>(end >> 8), static_cast<uint8_t>(end)});
}

// Future range records: 2 leading bytes, then a 32-bit big-endian value.
inline Bytes future_value(uint32_t v)
{
    return {0x00, 0x00, static_cast<uint8_t>(v >> 24), static_cast<uint8_t>(v >> 16), static_cast<uint8_t>(v >> 8),
            static_cast<uint8_t>(v)};
}
inline void put_future(const std::string &uri, uint32_t start, uint32_t end)
{
    tp::sdb_put(uri, {0x09, 0x00, 0x00, 0x00}, future_value(start));
    tp::sdb_put(uri, {0x0a, 0x00, 0x00, 0x00}, future_value(end));
}

// The (URI, key) of every read, in order.
inline std::vector<std::pair<std::string, Bytes>> reads()
{
    std::vector<std::pair<std::string, Bytes>> out;
    for (const tp::SdbCall &c : tp::state().sdb_calls)
        if (c.op == tp::SdbOp::read)
            out.emplace_back(c.uri, c.keys.at(0));
    return out;
}

inline size_t sdb_call_count() { return tp::state().sdb_calls.size(); }

// Checks all 4096 bits of a bit array: set exactly for the VLANs inside one
// of `ranges`.
inline void expect_bits(const uint8_t *bits, std::initializer_list<Range> ranges)
{
    int wrong = 0;
    for (uint32_t v = 0; v < 4096; ++v) {
        bool want = false;
        for (const Range &r : ranges)
            want = want || (v >= r.first && v <= r.second);
        const bool got = ((bits[v / 8] >> (7 - v % 8)) & 1) != 0;
        if (got != want && ++wrong <= 8)
            ADD_FAILURE() << "VLAN " << v << (want ? " not set" : " set");
    }
    EXPECT_EQ(wrong, 0);
}

// The 4 bytes of a length word holding 512 in host order (little-endian target).
inline Bytes len_word(const vlan_bitmap &b)
{
    const auto *p = reinterpret_cast<const uint8_t *>(&b.len);
    return Bytes(p, p + 4);
}
inline const Bytes kLen512 = {0x00, 0x02, 0x00, 0x00};

// A marker file present or absent for the life of the object. What was there
// before (the file, and which of its directories existed) is put back.
class Marker {
public:
    Marker(std::string path, bool present) : path_(std::move(path))
    {
        namespace fs = std::filesystem;
        const fs::path p(path_);
        if (fs::exists(p)) {
            saved_ = path_ + ".rsvd_test_saved";
            fs::rename(p, saved_);
        }
        if (!present)
            return;
        std::vector<fs::path> missing;
        for (fs::path d = p.parent_path(); !d.empty() && !fs::exists(d); d = d.parent_path())
            missing.push_back(d);
        for (auto it = missing.rbegin(); it != missing.rend(); ++it) {
            fs::create_directory(*it);
            created_dirs_.push_back(*it);
        }
        FILE *f = std::fopen(path_.c_str(), "w");
        if (f == nullptr) {
            ADD_FAILURE() << "cannot create " << path_;
            return;
        }
        std::fclose(f);
        created_ = true;
    }
    ~Marker()
    {
        namespace fs = std::filesystem;
        std::error_code ec;
        if (created_)
            fs::remove(path_, ec);
        for (auto it = created_dirs_.rbegin(); it != created_dirs_.rend(); ++it)
            fs::remove(*it, ec);
        if (!saved_.empty())
            fs::rename(saved_, path_, ec);
    }
    Marker(const Marker &) = delete;
    Marker &operator=(const Marker &) = delete;

private:
    std::string path_;
    std::string saved_;
    bool created_ = false;
    std::vector<std::filesystem::path> created_dirs_;
};

inline constexpr const char *kCaMarker = "/kivo/etc/is_ca_system";
inline constexpr const char *kSatMarker = "/kivo/etc/routing-sw/cli/satmgr_ui.cli";
inline constexpr const char *kNivMarker = "/kivo/etc/routing-sw/cli/vim_niv.cli__";
inline constexpr const char *kEhmTmp = "/tmp/end_host_mode_ethernet";
inline constexpr const char *kEhmPss = "/mnt/pss/end_host_mode_ethernet";

} // namespace rsvdtest
