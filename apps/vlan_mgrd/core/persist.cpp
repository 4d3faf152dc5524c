// Saving and restoring the manager's configuration.
//
// File format, version 1. All numbers big-endian.
//
//   Header (28 bytes)
//     0   8  magic "VLMGRCFG"
//     8   4  format version: 1
//     12  8  generation: grows by one with every save
//     20  4  L: length of the body that follows the header
//     24  4  CRC-32 (IEEE 802.3, as zlib's crc32) of header bytes 8..23
//            followed by the L body bytes
//   Body
//     u32  global autostate-disable setting
//     u8   number of VDCs: 5
//     then per VDC, in id order 1..5:
//       u16  VDC id
//       u32  reserved range start, u32 reserved range end (0, 0: not set)
//       u16  layer-3 BD
//       u32  configuration-mode word
//       u32  number of VNI mappings, then per mapping: u32 VNI, u32 VLAN id
//       512  bitmap of the created VLANs whose attributes are all at their
//            defaults (default name, normal type, mode 0, segment 0, no
//            primary, no secondaries, active, create options 0); VLAN v is
//            bit 0x80 >> (v % 8) of byte v / 8
//       u16  number of the other created VLANs, then per VLAN:
//              u16 VLAN id, u8 name length (0..32), the name's bytes,
//              u32 type, u32 mode, u32 segment, u32 primary VLAN,
//              u32 state (1 active, 2 suspended), u32 create options,
//              u16 number of secondaries, then their VLAN ids (u16 each)
//       u16  number of ports whose configuration is not the default, then
//            per port:
//              u32 interface index, u32 mode, u32 access VLAN,
//              u32 native VLAN, u32 voice VLAN, u32 compression group,
//              u8 1 when the trunk allowed set is all of 1..4094, else 0
//              followed by the allowed set's 512-byte bitmap
//
// Only what differs from a fresh state is written: 4094 VLANs created with
// their defaults take 512 bytes, so a save on every request stays a write of
// a few kilobytes. Loading checks the header, the CRC, every count against
// the bytes left, every id and every enumerated value, and that nothing is
// left over; any failure refuses the whole file.
#include "persist.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vlan_mgr/internal/layout.h>
#include <vlan_mgr/internal/wire.h>
#include <vlan_mgr/server/common.h>

#include "vlan_mgr_host_trust.h"

namespace vlan_mgrd {
namespace {

namespace layout = vlan_mgr::layout;
namespace wire = vlan_mgr::wire;

// The header of the file and of every record of the log.
struct StateHeader {
    static constexpr layout::Bytes magic{0, 8};
    static constexpr layout::U32 version{8};
    static constexpr layout::U64 generation{12};
    static constexpr layout::U32 body_len{20};
    static constexpr layout::U32 crc{24};
    static constexpr size_t kSize = crc.end();
};
static_assert(StateHeader::kSize == 28);

constexpr char kMagic[8] = {'V', 'L', 'M', 'G', 'R', 'C', 'F', 'G'};
static_assert(sizeof kMagic == StateHeader::magic.width);
constexpr uint32_t kVersion = 1;
constexpr size_t kHeaderSize = StateHeader::kSize;
// The bit bytes of a VLAN set in the body (no length word).
constexpr size_t kSetBytes = layout::Bitmap::kBitBytes;
// The state file, its log and its lock: the manager's user alone, whatever
// the umask (see the trust boundary in docs/manager.md).
constexpr mode_t kStateFileMode = 0600;

uint32_t crc32_update(uint32_t crc, const uint8_t *p, size_t n);

// Whether the header at `rec` (kHeaderSize bytes) starts with the magic.
bool magic_ok(const uint8_t *rec)
{
    return std::memcmp(StateHeader::magic.get(wire::Reader(rec, kHeaderSize)), kMagic, sizeof kMagic) == 0;
}

// The record's CRC: the header from its version up to the CRC itself
// (bytes 8..23), then the body.
uint32_t record_crc(const uint8_t *rec, uint32_t body)
{
    constexpr size_t from = StateHeader::version.off, to = StateHeader::crc.off;
    return crc32_update(crc32_update(0, rec + from, to - from), rec + kHeaderSize, body);
}

uint32_t crc32_update(uint32_t crc, const uint8_t *p, size_t n)
{
    static const std::array<uint32_t, 256> table = [] {
        std::array<uint32_t, 256> t{};
        for (uint32_t i = 0; i < 256; ++i) {
            uint32_t c = i;
            for (int k = 0; k < 8; ++k)
                c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            t[i] = c;
        }
        return t;
    }();
    uint32_t c = crc ^ 0xFFFFFFFFu;
    for (size_t i = 0; i < n; ++i)
        c = table[(c ^ p[i]) & 0xFF] ^ (c >> 8);
    return c ^ 0xFFFFFFFFu;
}

bool vlan_is_default(const Vlan &v)
{
    return v.name.empty() && v.type == VLAN_MGR_VLAN_TYPE_NORMAL && v.mode == 0 && v.segment == 0 &&
           v.primary == 0 && v.secondaries.none() && v.state == VlanState::Active && v.create_options == 0;
}

bool all_allowed(const VlanSet &s)
{
    return s.count() == kVlanMax && !s.test(0) && !s.test(4095);
}

bool port_is_default(const Port &p)
{
    return p.mode == VLAN_MGR_PORT_MODE_ACCESS && p.access_vlan == kDefaultVlan && p.native_vlan == kDefaultVlan &&
           p.voice_vlan == 0 && p.comprgrp == 0 && all_allowed(p.trunk_allowed);
}

bool type_valid(uint32_t t)
{
    return t == VLAN_MGR_VLAN_TYPE_NORMAL || t == VLAN_MGR_VLAN_TYPE_PRIMARY || t == VLAN_MGR_VLAN_TYPE_ISOLATED ||
           t == VLAN_MGR_VLAN_TYPE_COMMUNITY;
}

// A VLAN id field that may be 0 (none) or a valid VLAN.
bool vlan_or_none(uint32_t v) { return v == 0 || Manager::vlan_valid(v); }

// Sequential big-endian reads over the body, bounds-checked: a read past
// the end yields 0 (an empty set, no bytes), fails the cursor and leaves it
// at the end, so the decoder checks ok() once after a group of fields.
class Cursor {
public:
    Cursor(const uint8_t *p, uint32_t len) : r_(p, len) {}
    uint8_t u8() { return take(1) ? r_.u8(at_) : 0; }
    uint16_t u16() { return take(2) ? r_.u16(at_) : 0; }
    uint32_t u32() { return take(4) ? r_.u32(at_) : 0; }
    VlanSet bitmap() { return take(kSetBytes) ? vlan_mgr::server::bits_from_wire(r_.at(at_)) : VlanSet(); }
    const uint8_t *bytes(uint32_t n) { return take(n) ? r_.at(at_) : nullptr; }
    bool ok() const { return ok_; }
    uint32_t left() const { return static_cast<uint32_t>(r_.size() - pos_); }
    bool at_end() const { return pos_ == r_.size(); }

private:
    // Takes the next n bytes (at_ is where they start); false when the
    // cursor has failed or they are not there.
    bool take(size_t n)
    {
        if (!ok_)
            return false;
        if (!r_.has(pos_, n)) {
            ok_ = false;
            pos_ = r_.size();
            return false;
        }
        at_ = pos_;
        pos_ += n;
        return true;
    }
    wire::Reader r_;
    size_t pos_ = 0, at_ = 0;
    bool ok_ = true;
};

bool fail(std::string &error, const std::string &what)
{
    error = what;
    return false;
}

} // namespace

void encode_vdc(const Vdc &vdc, std::vector<uint8_t> &out)
{
    out.clear();
    wire::Appender w(out);
    w.u16(vdc.id);
    w.u32(vdc.rsvd_start);
    w.u32(vdc.rsvd_end);
    w.u16(vdc.l3_bd);
    w.u32(vdc.config_mode);
    w.u32(static_cast<uint32_t>(vdc.vni_to_vlan.size()));
    for (const auto &[vni, vlan] : vdc.vni_to_vlan) {
        w.u32(vni);
        w.u32(vlan);
    }
    // One pass over the VLANs: the plain ones into the bitmap, the others
    // remembered for their records.
    VlanSet plain;
    std::vector<uint16_t> others;
    for (uint32_t v = 1; v <= kVlanMax; ++v) {
        const Vlan &vl = vdc.vlans[v];
        if (!vl.created)
            continue;
        if (vlan_is_default(vl))
            plain.set(v);
        else
            others.push_back(static_cast<uint16_t>(v));
    }
    vlan_mgr::server::bits_to_wire(plain, w.grow(kSetBytes));
    w.u16(static_cast<uint16_t>(others.size()));
    for (uint16_t v : others) {
        const Vlan &vl = vdc.vlans[v];
        w.u16(v);
        const size_t name_len = std::min(vl.name.size(), kNameMax);
        w.u8(static_cast<uint8_t>(name_len));
        w.bytes(vl.name.data(), name_len);
        w.u32(vl.type);
        w.u32(vl.mode);
        w.u32(vl.segment);
        w.u32(vl.primary);
        w.u32(static_cast<uint32_t>(vl.state));
        w.u32(vl.create_options);
        w.u16(static_cast<uint16_t>(vl.secondaries.count()));
        if (vl.secondaries.any())
            for (uint32_t s = 1; s <= kVlanMax; ++s)
                if (vl.secondaries.test(s))
                    w.u16(static_cast<uint16_t>(s));
    }
    const size_t count_at = w.size();
    w.u16(0); // the port count, put back below
    uint16_t nports = 0;
    for (const Port &p : vdc.ports) {
        if (port_is_default(p))
            continue;
        ++nports;
        w.u32(p.if_index);
        w.u32(p.mode);
        w.u32(p.access_vlan);
        w.u32(p.native_vlan);
        w.u32(p.voice_vlan);
        w.u32(p.comprgrp);
        if (all_allowed(p.trunk_allowed)) {
            w.u8(1);
        } else {
            w.u8(0);
            vlan_mgr::server::bits_to_wire(p.trunk_allowed, w.grow(kSetBytes));
        }
    }
    w.patch_u16(count_at, nports);
}

std::vector<uint8_t> assemble_state(const Manager &m, const std::array<std::vector<uint8_t>, kVdcCount> &vdcs,
                                    uint64_t generation)
{
    size_t size = kHeaderSize + 5;
    for (const std::vector<uint8_t> &seg : vdcs)
        size += seg.size();
    std::vector<uint8_t> out;
    out.reserve(size);
    out.resize(kHeaderSize); // written below, once the body is known
    wire::Appender w(out);
    w.u32(m.autostate_disable);
    w.u8(static_cast<uint8_t>(kVdcCount));
    for (const std::vector<uint8_t> &seg : vdcs)
        w.bytes(seg.data(), seg.size());
    const uint32_t body = static_cast<uint32_t>(out.size() - kHeaderSize);
    wire::Writer h(out.data(), kHeaderSize);
    h.bytes(StateHeader::magic.off, kMagic, sizeof kMagic);
    StateHeader::version.put(h, kVersion);
    StateHeader::generation.put(h, generation);
    StateHeader::body_len.put(h, body);
    StateHeader::crc.put(h, record_crc(out.data(), body)); // over the fields above
    return out;
}

std::vector<uint8_t> encode_state(const Manager &m)
{
    std::array<std::vector<uint8_t>, kVdcCount> vdcs;
    for (uint16_t i = 0; i < kVdcCount; ++i)
        encode_vdc(m.vdcs[i], vdcs[i]);
    return assemble_state(m, vdcs, 0);
}

bool decode_state(const uint8_t *data, size_t len, Manager &m, std::string &error)
{
    if (len < kHeaderSize)
        return fail(error, "file too short for its header (" + std::to_string(len) + " bytes)");
    if (!magic_ok(data))
        return fail(error, "not a saved VLAN manager configuration (bad magic)");
    const wire::Reader head(data, kHeaderSize);
    const uint32_t version = StateHeader::version.get(head);
    if (version != kVersion)
        return fail(error, "unsupported format version " + std::to_string(version));
    const uint32_t body = StateHeader::body_len.get(head);
    if (uint64_t{body} != len - kHeaderSize)
        return fail(error, "body length " + std::to_string(body) + " does not match the file size " +
                               std::to_string(len));
    if (record_crc(data, body) != StateHeader::crc.get(head))
        return fail(error, "checksum mismatch (file damaged)");

    // Decoded into a copy; `m` changes only when the whole file is valid.
    auto fresh = std::make_unique<Manager>();
    for (uint16_t i = 0; i < kVdcCount; ++i) {
        fresh->vdcs[i].reserved = m.vdcs[i].reserved;
        fresh->vdcs[i].rsvd_start = m.vdcs[i].rsvd_start;
        fresh->vdcs[i].rsvd_end = m.vdcs[i].rsvd_end;
        for (const Port &p : m.vdcs[i].ports) {
            Port np;
            np.if_index = p.if_index;
            np.name = p.name;
            fresh->vdcs[i].ports.push_back(np);
        }
    }
    Cursor c(data + kHeaderSize, body);
    fresh->autostate_disable = c.u32();
    const uint8_t nvdc = c.u8();
    if (c.ok() && nvdc != kVdcCount)
        return fail(error, "VDC count " + std::to_string(nvdc) + ", expected 5");
    for (uint16_t i = 0; i < kVdcCount && c.ok(); ++i) {
        Vdc &vdc = fresh->vdcs[i];
        const std::string where = "VDC " + std::to_string(i + 1) + ": ";
        const uint16_t id = c.u16();
        if (c.ok() && id != i + 1)
            return fail(error, where + "found VDC id " + std::to_string(id));
        const uint32_t rs = c.u32(), re = c.u32();
        if (c.ok() && (rs > 4095 || re > 4095))
            return fail(error, where + "bad reserved range");
        if (rs != 0 || re != 0) {
            vdc.rsvd_start = rs;
            vdc.rsvd_end = re;
        }
        vdc.l3_bd = c.u16();
        vdc.config_mode = c.u32();
        const uint32_t nvni = c.u32();
        if (c.ok() && uint64_t{nvni} * 8 > c.left())
            return fail(error, where + "VNI mapping count exceeds the file");
        for (uint32_t k = 0; k < nvni && c.ok(); ++k) {
            const uint32_t vni = c.u32(), vlan = c.u32();
            if (c.ok() && !vdc.vni_to_vlan.emplace(vni, vlan).second)
                return fail(error, where + "VNI " + std::to_string(vni) + " mapped twice");
        }
        for (Vlan &v : vdc.vlans)
            v = Vlan{};
        const VlanSet plain = c.bitmap();
        if (c.ok() && (plain.test(0) || plain.test(4095)))
            return fail(error, where + "VLAN 0 or 4095 marked created");
        for (uint32_t v = 1; v <= kVlanMax; ++v)
            if (plain.test(v))
                vdc.vlans[v].created = true;
        const uint16_t nvlan = c.u16();
        for (uint32_t k = 0; k < nvlan && c.ok(); ++k) {
            const uint16_t v = c.u16();
            const uint8_t name_len = c.u8();
            if (!c.ok())
                break;
            const std::string vw = where + "VLAN " + std::to_string(v) + ": ";
            if (!Manager::vlan_valid(v))
                return fail(error, where + "bad VLAN id " + std::to_string(v));
            if (vdc.vlans[v].created)
                return fail(error, vw + "saved twice");
            if (name_len > kNameMax)
                return fail(error, vw + "name longer than 32 characters");
            const uint8_t *name = c.bytes(name_len);
            Vlan &vl = vdc.vlans[v];
            vl.created = true;
            if (name != nullptr)
                vl.name.assign(reinterpret_cast<const char *>(name), name_len);
            vl.type = c.u32();
            vl.mode = c.u32();
            vl.segment = c.u32();
            vl.primary = c.u32();
            const uint32_t state = c.u32();
            vl.create_options = c.u32();
            const uint16_t nsec = c.u16();
            if (!c.ok())
                break;
            if (vl.name.find('\0') != std::string::npos)
                return fail(error, vw + "name holds a NUL byte");
            if (!type_valid(vl.type))
                return fail(error, vw + "bad type " + std::to_string(vl.type));
            if (!vlan_or_none(vl.primary))
                return fail(error, vw + "bad primary VLAN " + std::to_string(vl.primary));
            if (state != static_cast<uint32_t>(VlanState::Active) && state != static_cast<uint32_t>(VlanState::Suspended))
                return fail(error, vw + "bad state " + std::to_string(state));
            vl.state = static_cast<VlanState>(state);
            if (uint64_t{nsec} * 2 > c.left())
                return fail(error, vw + "secondary count exceeds the file");
            for (uint32_t s = 0; s < nsec; ++s) {
                const uint16_t sv = c.u16();
                if (!Manager::vlan_valid(sv))
                    return fail(error, vw + "bad secondary VLAN " + std::to_string(sv));
                vl.secondaries.set(sv);
            }
        }
        if (c.ok() && !vdc.vlans[kDefaultVlan].created)
            return fail(error, where + "VLAN 1 missing");
        const uint16_t nports = c.u16();
        for (uint32_t k = 0; k < nports && c.ok(); ++k) {
            Port p;
            p.if_index = c.u32();
            p.mode = c.u32();
            p.access_vlan = c.u32();
            p.native_vlan = c.u32();
            p.voice_vlan = c.u32();
            p.comprgrp = c.u32();
            const uint8_t all = c.u8();
            if (!c.ok())
                break;
            char idx[16];
            std::snprintf(idx, sizeof idx, "0x%08x", p.if_index);
            const std::string pw = where + "port " + idx + ": ";
            if (all > 1)
                return fail(error, pw + "bad allowed-set flag");
            if (all == 0) {
                p.trunk_allowed = c.bitmap();
                if (c.ok() && (p.trunk_allowed.test(0) || p.trunk_allowed.test(4095)))
                    return fail(error, pw + "VLAN 0 or 4095 in the allowed set");
            }
            if (p.mode != VLAN_MGR_PORT_MODE_ACCESS && p.mode != VLAN_MGR_PORT_MODE_TRUNK)
                return fail(error, pw + "bad mode " + std::to_string(p.mode));
            if (!vlan_or_none(p.access_vlan) || !vlan_or_none(p.native_vlan) || !vlan_or_none(p.voice_vlan))
                return fail(error, pw + "bad VLAN id");
            Port *dst = vdc.port(p.if_index);
            if (dst == nullptr)
                continue; // no longer in the interface table
            p.name = dst->name;
            *dst = p;
        }
    }
    if (!c.ok())
        return fail(error, "file truncated");
    if (!c.at_end())
        return fail(error, "unexpected bytes after the last VDC");
    m = std::move(*fresh);
    return true;
}

bool save_state(const Manager &m, const std::string &path, bool sync, std::string &error)
{
    return write_state_file(encode_state(m), path, sync, error);
}

bool write_state_file(const std::vector<uint8_t> &bytes, const std::string &path, bool sync, std::string &error)
{
    const std::string tmp = path + ".tmp";
    const int fd = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, kStateFileMode);
    if (fd < 0)
        return fail(error, "cannot create " + tmp + ": " + std::strerror(errno));
    if (const int e = vlan_mgr_host_trust_fd(fd, kStateFileMode); e != 0) {
        ::close(fd);
        ::unlink(tmp.c_str());
        return fail(error, "cannot secure " + tmp + ": " + std::strerror(e));
    }
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            const int e = errno;
            ::close(fd);
            ::unlink(tmp.c_str());
            return fail(error, "cannot write " + tmp + ": " + std::strerror(e));
        }
        done += static_cast<size_t>(n);
    }
    if (sync && ::fsync(fd) != 0) {
        const int e = errno;
        ::close(fd);
        ::unlink(tmp.c_str());
        return fail(error, "cannot flush " + tmp + ": " + std::strerror(e));
    }
    if (::close(fd) != 0) {
        const int e = errno;
        ::unlink(tmp.c_str());
        return fail(error, "cannot close " + tmp + ": " + std::strerror(e));
    }
    if (::rename(tmp.c_str(), path.c_str()) != 0) {
        const int e = errno;
        ::unlink(tmp.c_str());
        return fail(error, "cannot rename " + tmp + " to " + path + ": " + std::strerror(e));
    }
    if (sync) {
        const size_t slash = path.find_last_of('/');
        const std::string dir = slash == std::string::npos ? "." : (slash == 0 ? "/" : path.substr(0, slash));
        const int dfd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (dfd >= 0) {
            const int r = ::fsync(dfd);
            const int e = errno;
            ::close(dfd);
            if (r != 0)
                return fail(error, "cannot flush directory " + dir + ": " + std::strerror(e));
        }
    }
    return true;
}

namespace {

// Reads a whole file; false with errno set when it cannot be read.
bool read_file(const std::string &path, std::vector<uint8_t> &out, bool &missing, std::string &error)
{
    missing = false;
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (errno == ENOENT) {
            missing = true;
            return true;
        }
        return fail(error, "cannot open " + path + ": " + std::strerror(errno));
    }
    struct stat st;
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        return fail(error, path + " is not a regular file");
    }
    constexpr off_t kMaxSize = 256 * 1024 * 1024;
    if (st.st_size > kMaxSize) {
        ::close(fd);
        return fail(error, path + " is too large to be a saved configuration");
    }
    out.resize(static_cast<size_t>(st.st_size));
    size_t done = 0;
    while (done < out.size()) {
        const ssize_t n = ::read(fd, out.data() + done, out.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        done += static_cast<size_t>(n);
    }
    ::close(fd);
    if (done != out.size())
        return fail(error, "cannot read " + path);
    return true;
}

uint64_t generation_of(const uint8_t *rec)
{
    return StateHeader::generation.get(wire::Reader(rec, kHeaderSize));
}

bool write_all(int fd, const std::vector<uint8_t> &bytes)
{
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

} // namespace

int lock_state(const std::string &path, pid_t &holder, std::string &error)
{
    holder = 0;
    const std::string lock_path = path + ".lock";
    const int fd = ::open(lock_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kStateFileMode);
    if (fd < 0) {
        error = "cannot open " + lock_path + ": " + std::strerror(errno);
        return -2;
    }
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        const int e = errno;
        if (e == EWOULDBLOCK) {
            char buf[32] = {};
            const ssize_t n = ::pread(fd, buf, sizeof buf - 1, 0);
            long pid = 0;
            if (n > 0 && std::sscanf(buf, "%ld", &pid) == 1 && pid > 0)
                holder = static_cast<pid_t>(pid);
            ::close(fd);
            return -1;
        }
        ::close(fd);
        error = "cannot lock " + lock_path + ": " + std::strerror(e);
        return -2;
    }
    // Owned now: the file says by whom.
    const std::string pid = std::to_string(static_cast<long>(::getpid())) + "\n";
    if (const int e = vlan_mgr_host_trust_fd(fd, kStateFileMode); e != 0) {
        ::close(fd);
        error = "cannot secure " + lock_path + ": " + std::strerror(e);
        return -2;
    }
    if (::ftruncate(fd, 0) != 0 ||
        ::pwrite(fd, pid.data(), pid.size(), 0) != static_cast<ssize_t>(pid.size())) {
        const int e = errno;
        ::close(fd);
        error = "cannot write " + lock_path + ": " + std::strerror(e);
        return -2;
    }
    return fd;
}

StateStore::StateStore(std::string path, bool sync) : path_(std::move(path)), log_path_(path_ + ".log"), sync_(sync)
{
}

StateStore::~StateStore()
{
    if (log_fd_ >= 0)
        ::close(log_fd_);
}

bool StateStore::open_log(std::string &error)
{
    if (log_fd_ >= 0)
        return true;
    log_fd_ = ::open(log_path_.c_str(),
                     O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW | (fresh_log_ ? O_TRUNC : 0),
                     kStateFileMode);
    if (log_fd_ < 0)
        return fail(error, "cannot open " + log_path_ + ": " + std::strerror(errno));
    if (const int e = vlan_mgr_host_trust_fd(log_fd_, kStateFileMode); e != 0) {
        ::close(log_fd_);
        log_fd_ = -1;
        return fail(error, "cannot secure " + log_path_ + ": " + std::strerror(e));
    }
    fresh_log_ = false;
    return true;
}

bool StateStore::load(Manager &m, bool &restored, std::string &error)
{
    restored = false;
    std::vector<uint8_t> snap, log;
    bool snap_missing = false, log_missing = false;
    if (!read_file(path_, snap, snap_missing, error) || !read_file(log_path_, log, log_missing, error))
        return false;
    // The newest record: the snapshot's, then any later one of the log.
    const uint8_t *best = nullptr;
    size_t best_len = 0;
    uint64_t best_gen = 0;
    if (!snap_missing) {
        if (snap.size() < kHeaderSize || !magic_ok(snap.data())) {
            return fail(error, path_ + ": " +
                                   (snap.size() < kHeaderSize
                                        ? "file too short for its header (" + std::to_string(snap.size()) + " bytes)"
                                        : std::string("not a saved VLAN manager configuration (bad magic)")));
        }
        best = snap.data();
        best_len = snap.size();
        best_gen = generation_of(best);
    }
    size_t pos = 0;
    while (pos < log.size()) {
        const size_t left = log.size() - pos;
        if (left < kHeaderSize)
            break; // a record cut short: the last write did not finish
        const uint8_t *rec = log.data() + pos;
        if (!magic_ok(rec))
            return fail(error, log_path_ + ": damaged at offset " + std::to_string(pos));
        const wire::Reader head(rec, kHeaderSize);
        const uint32_t body = StateHeader::body_len.get(head);
        if (uint64_t{body} > left - kHeaderSize)
            break; // cut short
        const size_t len = kHeaderSize + size_t{body};
        if (record_crc(rec, body) != StateHeader::crc.get(head)) {
            if (len == left)
                break; // the last record, not finished
            return fail(error, log_path_ + ": checksum mismatch at offset " + std::to_string(pos));
        }
        const uint64_t gen = generation_of(rec);
        if (best == nullptr || gen > best_gen) {
            best = rec;
            best_len = len;
            best_gen = gen;
        }
        pos += len;
    }
    if (best != nullptr) {
        std::string why;
        if (!decode_state(best, best_len, m, why))
            return fail(error, (best == snap.data() ? path_ : log_path_) + ": " + why);
        generation_ = best_gen;
        restored = true;
        return compact(m, error);
    }
    // Nothing valid: the log starts afresh at the first save.
    fresh_log_ = true;
    log_bytes_ = 0;
    return true;
}

bool StateStore::compact(const Manager &m, std::string &error)
{
    std::array<std::vector<uint8_t>, kVdcCount> parts;
    for (uint16_t i = 0; i < kVdcCount; ++i)
        encode_vdc(m.vdcs[i], parts[i]);
    // The snapshot is always flushed: the log is emptied right after it.
    if (!write_state_file(assemble_state(m, parts, ++generation_), path_, true, error))
        return false;
    if (!open_log(error))
        return false;
    if (::ftruncate(log_fd_, 0) != 0)
        return fail(error, "cannot empty " + log_path_ + ": " + std::strerror(errno));
    log_bytes_ = 0;
    return true;
}

bool StateStore::save(const Manager &m, const std::array<std::vector<uint8_t>, kVdcCount> &parts, std::string &error)
{
    if (!open_log(error))
        return false;
    const std::vector<uint8_t> rec = assemble_state(m, parts, generation_ + 1);
    if (!write_all(log_fd_, rec)) {
        const int e = errno;
        // No half record may stay in front of the next one.
        if (::ftruncate(log_fd_, static_cast<off_t>(log_bytes_)) != 0) {
            ::close(log_fd_);
            log_fd_ = -1;
        }
        return fail(error, "cannot write " + log_path_ + ": " + std::strerror(e));
    }
    if (sync_ && ::fdatasync(log_fd_) != 0)
        return fail(error, "cannot flush " + log_path_ + ": " + std::strerror(errno));
    ++generation_;
    log_bytes_ += rec.size();
    if (log_bytes_ >= kCompactBytes)
        return compact(m, error);
    return true;
}

bool load_state(Manager &m, const std::string &path, bool &restored, std::string &error)
{
    restored = false;
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (errno == ENOENT)
            return true;
        return fail(error, "cannot open " + path + ": " + std::strerror(errno));
    }
    struct stat st;
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        return fail(error, path + " is not a regular file");
    }
    constexpr off_t kMaxSize = 64 * 1024 * 1024;
    if (st.st_size > kMaxSize) {
        ::close(fd);
        return fail(error, path + " is too large to be a saved configuration");
    }
    std::vector<uint8_t> bytes(static_cast<size_t>(st.st_size));
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::read(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        done += static_cast<size_t>(n);
    }
    ::close(fd);
    if (done != bytes.size())
        return fail(error, "cannot read " + path);
    std::string why;
    if (!decode_state(bytes.data(), bytes.size(), m, why))
        return fail(error, path + ": " + why);
    restored = true;
    return true;
}

} // namespace vlan_mgrd
