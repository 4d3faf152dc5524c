// The saved configuration's file: files written by hand byte for byte (with
// a valid checksum) that are refused for each inconsistent field, the
// one-file loader, and the store's refusals of files it cannot read, create,
// replace or write (a symbolic link where a file belongs, a directory in its
// place, a file size limit in a forked child).
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "child_exit.h"
#include "persist.h"
#include "state.h"

namespace vlan_mgrd {
namespace {

using Bytes = std::vector<uint8_t>;
using test::in_child;

// Big-endian writer of a hand-made file.
struct Body {
    Bytes b;
    Body &u8(uint32_t v)
    {
        b.push_back(static_cast<uint8_t>(v));
        return *this;
    }
    Body &u16(uint32_t v) { return u8(v >> 8).u8(v); }
    Body &u32(uint32_t v) { return u16(v >> 16).u16(v); }
    Body &raw(const Bytes &x)
    {
        b.insert(b.end(), x.begin(), x.end());
        return *this;
    }
    Body &text(const std::string &s)
    {
        b.insert(b.end(), s.begin(), s.end());
        return *this;
    }
};

// CRC-32 as zlib computes it.
uint32_t crc32(uint32_t crc, const uint8_t *p, size_t n)
{
    crc = ~crc;
    for (size_t i = 0; i < n; ++i) {
        crc ^= p[i];
        for (int k = 0; k < 8; ++k)
            crc = (crc & 1) ? 0xEDB88320u ^ (crc >> 1) : crc >> 1;
    }
    return ~crc;
}

// The 512-byte bitmap with these VLAN bits set.
Bytes bitmap(std::initializer_list<uint32_t> vlans)
{
    Bytes out(512, 0);
    for (uint32_t v : vlans)
        out[v / 8] |= static_cast<uint8_t>(0x80u >> (v % 8));
    return out;
}

// A VDC's part with no VNI mapping, VLAN 1 alone and no port, unless told.
Bytes plain_vdc(uint16_t id)
{
    Body v;
    v.u16(id).u32(0).u32(0).u16(0).u32(0).u32(0).raw(bitmap({1})).u16(0).u16(0);
    return v.b;
}

// A whole file of `body`: header (version, generation 1, length, checksum).
Bytes seal(const Bytes &body, uint32_t version = 1)
{
    Body f;
    f.text("VLMGRCFG").u32(version).u32(0).u32(1).u32(static_cast<uint32_t>(body.size())).u32(0).raw(body);
    uint32_t crc = crc32(0, f.b.data() + 8, 16);
    crc = crc32(crc, f.b.data() + 28, body.size());
    f.b[24] = static_cast<uint8_t>(crc >> 24);
    f.b[25] = static_cast<uint8_t>(crc >> 16);
    f.b[26] = static_cast<uint8_t>(crc >> 8);
    f.b[27] = static_cast<uint8_t>(crc);
    return f.b;
}

// The body: the autostate word, the VDC count, `vdc1` and the plain parts of
// VDCs 2..5.
Bytes body_with(const Bytes &vdc1, uint32_t nvdc = 5)
{
    Body body;
    body.u32(0).u8(nvdc).raw(vdc1);
    for (uint16_t id = 2; id <= 5; ++id)
        body.raw(plain_vdc(id));
    return body.b;
}

Bytes file_with(const Bytes &vdc1, uint32_t version = 1, uint32_t nvdc = 5, const Bytes &trailing = {})
{
    Bytes body = body_with(vdc1, nvdc);
    body.insert(body.end(), trailing.begin(), trailing.end());
    return seal(body, version);
}

// VDC 1's part up to its VLAN list, with these created VLAN bits.
Body vdc1_head(const Bytes &created = bitmap({1}))
{
    Body v;
    v.u16(1).u32(0).u32(0).u16(0).u32(0).u32(0).raw(created);
    return v;
}

// One VLAN record: id, name, type, mode, segment, primary, state, options,
// secondaries.
Body &vlan_record(Body &v, uint16_t id, const std::string &name, uint32_t type = 0, uint32_t primary = 0,
                  uint32_t state = 1, std::vector<uint16_t> secondaries = {})
{
    v.u16(id).u8(static_cast<uint32_t>(name.size())).text(name).u32(type).u32(0).u32(0).u32(primary).u32(state).u32(0);
    v.u16(static_cast<uint32_t>(secondaries.size()));
    for (uint16_t s : secondaries)
        v.u16(s);
    return v;
}

std::string decode_error(const Bytes &file)
{
    auto m = std::make_unique<Manager>();
    std::string error;
    if (decode_state(file.data(), file.size(), *m, error))
        return "decoded";
    return error;
}

TEST(PersistDecode, AHandMadeFileOfTheDefaultStateDecodes)
{
    Body v = vdc1_head();
    v.u16(2);
    vlan_record(v, 10, "blue", VLAN_MGR_VLAN_TYPE_PRIMARY, 0, 1, {20});
    vlan_record(v, 20, "", VLAN_MGR_VLAN_TYPE_ISOLATED, 10, 2);
    // Two ports: one the table has, one it no longer has (skipped).
    v.u16(2);
    v.u32(0x1a000000).u32(VLAN_MGR_PORT_MODE_TRUNK).u32(1).u32(10).u32(0).u32(0).u8(0).raw(bitmap({10, 20}));
    v.u32(0x1a00f000).u32(VLAN_MGR_PORT_MODE_ACCESS).u32(10).u32(1).u32(0).u32(0).u8(1);
    const Bytes file = file_with(v.b);
    auto m = std::make_unique<Manager>();
    Port p;
    p.if_index = 0x1a000000;
    p.name = "Ethernet1/1";
    m->vdc(1).ports.push_back(p);
    std::string error;
    ASSERT_TRUE(decode_state(file.data(), file.size(), *m, error)) << error;
    const Vdc &vdc = m->vdc(1);
    EXPECT_EQ(vdc.vlans[10].name, "blue");
    EXPECT_TRUE(vdc.vlans[10].secondaries.test(20));
    EXPECT_EQ(vdc.vlans[20].primary, 10u);
    EXPECT_EQ(vdc.vlans[20].state, VlanState::Suspended);
    ASSERT_EQ(vdc.ports.size(), 1u);
    EXPECT_EQ(vdc.ports[0].name, "Ethernet1/1");
    EXPECT_EQ(vdc.ports[0].mode, VLAN_MGR_PORT_MODE_TRUNK);
    EXPECT_EQ(vdc.ports[0].trunk_allowed.count(), 2u);
}

TEST(PersistDecode, HeaderFaultsAreNamed)
{
    const Bytes good = file_with(plain_vdc(1));
    Bytes bad_magic = good;
    bad_magic[0] = 'X';
    EXPECT_EQ(decode_error(bad_magic), "not a saved VLAN manager configuration (bad magic)");
    EXPECT_EQ(decode_error(file_with(plain_vdc(1), 2)), "unsupported format version 2");
    Bytes longer = good;
    longer.push_back(0);
    EXPECT_EQ(decode_error(longer), "body length " + std::to_string(good.size() - 28) +
                                        " does not match the file size " + std::to_string(longer.size()));
    Bytes damaged = good;
    damaged[40] ^= 1;
    EXPECT_EQ(decode_error(damaged), "checksum mismatch (file damaged)");
}

TEST(PersistDecode, VdcLevelFaultsAreNamed)
{
    EXPECT_EQ(decode_error(file_with(plain_vdc(1), 1, 4)), "VDC count 4, expected 5");
    EXPECT_EQ(decode_error(file_with(plain_vdc(3))), "VDC 1: found VDC id 3");
    Body range;
    range.u16(1).u32(4096).u32(4094).u16(0).u32(0).u32(0).raw(bitmap({1})).u16(0).u16(0);
    EXPECT_EQ(decode_error(file_with(range.b)), "VDC 1: bad reserved range");
    Body many;
    many.u16(1).u32(0).u32(0).u16(0).u32(0).u32(0x10000000);
    EXPECT_EQ(decode_error(file_with(many.b)), "VDC 1: VNI mapping count exceeds the file");
    Body twice;
    twice.u16(1).u32(0).u32(0).u16(0).u32(0).u32(2).u32(5000).u32(10).u32(5000).u32(11);
    twice.raw(bitmap({1})).u16(0).u16(0);
    EXPECT_EQ(decode_error(file_with(twice.b)), "VDC 1: VNI 5000 mapped twice");
    Body zero = vdc1_head(bitmap({0, 1}));
    zero.u16(0).u16(0);
    EXPECT_EQ(decode_error(file_with(zero.b)), "VDC 1: VLAN 0 or 4095 marked created");
    EXPECT_EQ(decode_error(file_with(plain_vdc(1), 1, 5, {0})), "unexpected bytes after the last VDC");
    Bytes cut = body_with(plain_vdc(1));
    cut.resize(cut.size() - 1); // VDC 5's port count cut short
    EXPECT_EQ(decode_error(seal(cut)), "file truncated");
}

TEST(PersistDecode, VlanRecordFaultsAreNamed)
{
    auto with = [](auto add) {
        Body v = vdc1_head();
        v.u16(1);
        add(v);
        v.u16(0);
        return decode_error(file_with(v.b));
    };
    EXPECT_EQ(with([](Body &v) { vlan_record(v, 0, "x"); }), "VDC 1: bad VLAN id 0");
    EXPECT_EQ(with([](Body &v) { vlan_record(v, 1, "x"); }), "VDC 1: VLAN 1: saved twice");
    EXPECT_EQ(with([](Body &v) { vlan_record(v, 10, std::string(33, 'a')); }),
              "VDC 1: VLAN 10: name longer than 32 characters");
    EXPECT_EQ(with([](Body &v) { vlan_record(v, 10, std::string("a\0b", 3)); }), "VDC 1: VLAN 10: name holds a NUL byte");
    EXPECT_EQ(with([](Body &v) { vlan_record(v, 10, "x", 0, 4095); }), "VDC 1: VLAN 10: bad primary VLAN 4095");
    EXPECT_EQ(with([](Body &v) { vlan_record(v, 10, "x", 0, 0, 3); }), "VDC 1: VLAN 10: bad state 3");
    EXPECT_EQ(with([](Body &v) { vlan_record(v, 10, "x", VLAN_MGR_VLAN_TYPE_PRIMARY, 0, 1, {0}); }),
              "VDC 1: VLAN 10: bad secondary VLAN 0");
    EXPECT_EQ(with([](Body &v) {
                  vlan_record(v, 10, "x", VLAN_MGR_VLAN_TYPE_PRIMARY, 0, 1);
                  v.b[v.b.size() - 2] = 0xFF; // 65535 secondaries announced
                  v.b[v.b.size() - 1] = 0xFF;
              }),
              "VDC 1: VLAN 10: secondary count exceeds the file");
}

TEST(PersistDecode, AFileCutInsideAVlanOrPortRecordIsTruncated)
{
    // The last VDC's records, cut at the end of the body.
    auto last_vdc = [](auto add) {
        Body body;
        body.u32(0).u8(5);
        for (uint16_t id = 1; id <= 4; ++id)
            body.raw(plain_vdc(id));
        body.u16(5).u32(0).u32(0).u16(0).u32(0).u32(0).raw(bitmap({1}));
        add(body);
        return decode_error(seal(body.b));
    };
    EXPECT_EQ(last_vdc([](Body &v) { v.u16(1).u16(10); }), "file truncated");          // before the name length
    EXPECT_EQ(last_vdc([](Body &v) { v.u16(1).u16(10).u8(1).text("x").u32(0); }), "file truncated"); // in the words
    EXPECT_EQ(last_vdc([](Body &v) { v.u16(0).u16(1).u32(0x1a000000).u32(1); }), "file truncated"); // in a port
}

TEST(PersistDecode, PortRecordFaultsAreNamed)
{
    auto with = [](uint32_t mode, uint32_t access, uint8_t all, const Bytes &allowed) {
        Body v = vdc1_head();
        v.u16(0).u16(1);
        v.u32(0x1a000000).u32(mode).u32(access).u32(1).u32(0).u32(0).u8(all).raw(allowed);
        return decode_error(file_with(v.b));
    };
    EXPECT_EQ(with(VLAN_MGR_PORT_MODE_ACCESS, 1, 2, {}), "VDC 1: port 0x1a000000: bad allowed-set flag");
    EXPECT_EQ(with(VLAN_MGR_PORT_MODE_TRUNK, 1, 0, bitmap({4095})),
              "VDC 1: port 0x1a000000: VLAN 0 or 4095 in the allowed set");
    EXPECT_EQ(with(9, 1, 1, {}), "VDC 1: port 0x1a000000: bad mode 9");
    EXPECT_EQ(with(VLAN_MGR_PORT_MODE_ACCESS, 4095, 1, {}), "VDC 1: port 0x1a000000: bad VLAN id");
}

// ---- Files --------------------------------------------------------------------

class PersistFiles : public ::testing::Test {
protected:
    void SetUp() override
    {
        char tmpl[] = "/tmp/persist_test.XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
        path_ = dir_ + "/vlan_mgrd.state";
    }
    void TearDown() override { EXPECT_EQ(std::system(("rm -rf " + dir_).c_str()), 0); }

    void write(const std::string &path, const Bytes &bytes)
    {
        std::ofstream out(path, std::ios::binary);
        out.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    static bool exists(const std::string &path)
    {
        struct stat st {};
        return lstat(path.c_str(), &st) == 0;
    }

    std::string dir_, path_;
};

TEST_F(PersistFiles, LoadStateRestoresAFileAndTakesAMissingOneAsNothingSaved)
{
    auto m = std::make_unique<Manager>();
    bool restored = true;
    std::string error;
    EXPECT_TRUE(load_state(*m, path_, restored, error));
    EXPECT_FALSE(restored);

    Body v = vdc1_head();
    v.u16(1);
    vlan_record(v, 10, "blue");
    v.u16(0);
    write(path_, file_with(v.b));
    EXPECT_TRUE(load_state(*m, path_, restored, error)) << error;
    EXPECT_TRUE(restored);
    EXPECT_EQ(m->vdc(1).vlans[10].name, "blue");
}

TEST_F(PersistFiles, LoadStateRefusesWhatIsNotAValidFile)
{
    auto m = std::make_unique<Manager>();
    bool restored = true;
    std::string error;
    ASSERT_EQ(mkdir((dir_ + "/adir").c_str(), 0700), 0);
    EXPECT_FALSE(load_state(*m, dir_ + "/adir", restored, error));
    EXPECT_EQ(error, dir_ + "/adir is not a regular file");
    EXPECT_FALSE(restored);

    ASSERT_EQ(symlink(path_.c_str(), path_.c_str()), 0); // a loop
    EXPECT_FALSE(load_state(*m, path_, restored, error));
    EXPECT_EQ(error, "cannot open " + path_ + ": Too many levels of symbolic links");
    ASSERT_EQ(unlink(path_.c_str()), 0);

    write(path_, {'V', 'L', 'M'});
    EXPECT_FALSE(load_state(*m, path_, restored, error));
    EXPECT_EQ(error, path_ + ": file too short for its header (3 bytes)");

    ASSERT_EQ(truncate(path_.c_str(), 65 * 1024 * 1024), 0); // sparse
    EXPECT_FALSE(load_state(*m, path_, restored, error));
    EXPECT_EQ(error, path_ + " is too large to be a saved configuration");
    EXPECT_FALSE(restored);
}

TEST_F(PersistFiles, TheStoreRefusesASnapshotOrLogItCannotRead)
{
    auto m = std::make_unique<Manager>();
    bool restored = true;
    std::string error;
    ASSERT_EQ(mkdir(path_.c_str(), 0700), 0);
    {
        StateStore store(path_, false);
        EXPECT_FALSE(store.load(*m, restored, error));
        EXPECT_EQ(error, path_ + " is not a regular file");
    }
    ASSERT_EQ(rmdir(path_.c_str()), 0);
    ASSERT_EQ(symlink((path_ + ".log").c_str(), (path_ + ".log").c_str()), 0);
    {
        StateStore store(path_, false);
        EXPECT_FALSE(store.load(*m, restored, error));
        EXPECT_EQ(error, "cannot open " + path_ + ".log: Too many levels of symbolic links");
    }
    ASSERT_EQ(unlink((path_ + ".log").c_str()), 0);
    write(path_, {});
    ASSERT_EQ(truncate(path_.c_str(), 257 * 1024 * 1024), 0); // sparse
    {
        StateStore store(path_, false);
        EXPECT_FALSE(store.load(*m, restored, error));
        EXPECT_EQ(error, path_ + " is too large to be a saved configuration");
    }
    EXPECT_FALSE(restored);
}

TEST_F(PersistFiles, TheStoreRefusesALogDamagedBeforeItsLastRecord)
{
    auto m = std::make_unique<Manager>();
    bool restored = true;
    std::string error;
    Bytes garbage(40, 'x');
    write(path_ + ".log", garbage);
    {
        StateStore store(path_, false);
        EXPECT_FALSE(store.load(*m, restored, error));
        EXPECT_EQ(error, path_ + ".log: damaged at offset 0");
    }
    // A record with a bad checksum followed by a good one.
    Bytes bad = file_with(plain_vdc(1));
    bad[40] ^= 1;
    Bytes log = bad;
    const Bytes good = file_with(plain_vdc(1));
    log.insert(log.end(), good.begin(), good.end());
    write(path_ + ".log", log);
    {
        StateStore store(path_, false);
        EXPECT_FALSE(store.load(*m, restored, error));
        EXPECT_EQ(error, path_ + ".log: checksum mismatch at offset 0");
    }
    // A valid record that does not decode.
    write(path_ + ".log", file_with(plain_vdc(2)));
    {
        StateStore store(path_, false);
        EXPECT_FALSE(store.load(*m, restored, error));
        EXPECT_EQ(error, path_ + ".log: VDC 1: found VDC id 2");
    }
    EXPECT_FALSE(restored);
}

TEST_F(PersistFiles, ALogWhoseOnlyRecordWasNotFinishedRestoresNothing)
{
    Bytes rec = file_with(plain_vdc(1));
    rec[40] ^= 1; // its checksum no longer matches: the write did not finish
    write(path_ + ".log", rec);
    auto m = std::make_unique<Manager>();
    m->vdc(1).vlans[10].created = true;
    bool restored = true;
    std::string error;
    StateStore store(path_, false);
    EXPECT_TRUE(store.load(*m, restored, error)) << error;
    EXPECT_FALSE(restored);
    EXPECT_TRUE(m->vdc(1).vlans[10].created); // left as it was
}

TEST_F(PersistFiles, ARestoredStateThatCannotBeCompactedStopsTheLoad)
{
    auto m = std::make_unique<Manager>();
    bool restored = false;
    std::string error;
    write(path_, file_with(plain_vdc(1)));
    // The snapshot's temporary file is a link: not followed.
    ASSERT_EQ(symlink((dir_ + "/elsewhere").c_str(), (path_ + ".tmp").c_str()), 0);
    {
        StateStore store(path_, false);
        EXPECT_FALSE(store.load(*m, restored, error));
        EXPECT_EQ(error, "cannot create " + path_ + ".tmp: Too many levels of symbolic links");
    }
    EXPECT_FALSE(exists(dir_ + "/elsewhere"));
    ASSERT_EQ(unlink((path_ + ".tmp").c_str()), 0);
    // The log is a dangling link: read as missing, never opened for writing.
    ASSERT_EQ(symlink((dir_ + "/elsewhere").c_str(), (path_ + ".log").c_str()), 0);
    {
        StateStore store(path_, false);
        EXPECT_FALSE(store.load(*m, restored, error));
        EXPECT_EQ(error, "cannot open " + path_ + ".log: Too many levels of symbolic links");
    }
    EXPECT_FALSE(exists(dir_ + "/elsewhere"));
}

TEST_F(PersistFiles, AStateFileThatCannotReplaceItsPathIsReportedAndRemoved)
{
    ASSERT_EQ(mkdir(path_.c_str(), 0700), 0);
    ASSERT_EQ(mkdir((path_ + "/x").c_str(), 0700), 0);
    auto m = std::make_unique<Manager>();
    std::string error;
    EXPECT_FALSE(save_state(*m, path_, false, error));
    EXPECT_EQ(error, "cannot rename " + path_ + ".tmp to " + path_ + ": Is a directory");
    EXPECT_FALSE(exists(path_ + ".tmp"));
}

TEST_F(PersistFiles, AFileSizeLimitFailsTheSaveTheLogAndTheLockCleanly)
{
    auto m = std::make_unique<Manager>();
    int status = -1;
    const std::string out = in_child(
        [&] {
            signal(SIGXFSZ, SIG_IGN);
            const rlimit lim{0, RLIM_INFINITY}; // not one byte may be written
            setrlimit(RLIMIT_FSIZE, &lim);
            std::string e1, e2, e3;
            const bool saved = save_state(*m, path_, false, e1);
            StateStore store(path_ + "2", false);
            bool restored = false;
            std::array<std::vector<uint8_t>, kVdcCount> parts;
            for (uint16_t i = 0; i < kVdcCount; ++i)
                encode_vdc(m->vdcs[i], parts[i]);
            const bool logged = store.load(*m, restored, e2) && store.save(*m, parts, e2);
            pid_t holder = 0;
            const int fd = lock_state(path_ + "3", holder, e3);
            const rlimit none{RLIM_INFINITY, RLIM_INFINITY};
            setrlimit(RLIMIT_FSIZE, &none); // the child's own files may be written again
            return std::to_string(saved) + "|" + e1 + "|" + std::to_string(logged) + "|" + e2 + "|" +
                   std::to_string(fd) + "|" + e3;
        },
        status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(out, "0|cannot write " + path_ + ".tmp: File too large|0|cannot write " + path_ +
                       "2.log: File too large|-2|cannot write " + path_ + "3.lock: File too large");
    EXPECT_FALSE(exists(path_ + ".tmp"));
    struct stat st {};
    ASSERT_EQ(stat((path_ + "2.log").c_str(), &st), 0);
    EXPECT_EQ(st.st_size, 0);
}

} // namespace
} // namespace vlan_mgrd
