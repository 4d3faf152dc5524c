// Publishing the VDCs' BD databases: the records that the library's BD
// lookups, port and VLAN getters and reserved-range queries read.
//
// Records of VDC n (keys as the library builds them):
//   VLAN record     key: u8 VDC id, u24 VLAN id (big-endian)
//                   value (18 bytes, big-endian): u16 BD id, u32 primary VLAN
//                   (a secondary private VLAN's primary, otherwise the VLAN
//                   itself), u32 type, u32 mode, u32 segment id
//   layer-3 BD      key: VDC id, object 0x1000; value: u16 layer-3 BD
//   reserved range  keys: VDC id, objects 0x1002 (start) and 0x1003 (end);
//                   value: u16 VLAN id
//   future range    keys: the host-order words 9 (start) and 10 (end);
//                   value (6 bytes): u16 0, u32 VLAN id at offset 2. The
//                   range that takes effect after a restart: the configured
//                   range itself.
//   access record   key: 0x01, hton_if_index(if_index) as the platform gives
//                   it; value: the port's 24-byte access entry (below),
//                   repeated once per port of the VDC, so that the entry sits
//                   in every slot a getter may read
//   trunk record    key: 0x02, hton_if_index(if_index); value: 1050 bytes
//                   (below)
//
// Access entry (24 bytes, big-endian except the interface index):
//   0 if_index (hton_if_index), 4 u32 port mode (1 access, 2 trunk),
//   8 u32 access VLAN, 12 u16 VDC id, 14 u32 voice VLAN (0 none),
//   18 u16 native VLAN, 20 u32 1 when the access VLAN is created and active,
//   else 0.
// Trunk record (1050 bytes, big-endian except the interface index):
//   0 if_index (hton_if_index), 4 u16 VDC id, 6 u32 port mode,
//   10 u16 native VLAN, 12 u32 512 + 512 bytes: the configured VLANs of the
//   port, 528 u32 512 + 512 bytes: the active ones (created and active),
//   1044 u16 voice VLAN, 1046 u32 compression group.
#ifndef VLAN_MGRD_PUBLISH_H
#define VLAN_MGRD_PUBLISH_H

#include <array>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "state.h"

struct sdb_pub;

namespace vlan_mgrd {

inline constexpr size_t kVlanRecordSize = 18;
inline constexpr size_t kAccessEntrySize = 24;
inline constexpr size_t kTrunkRecordSize = 1050;

// The database URI of a VDC: "volatile:/dev/shm/vlan_mgr_bd_sdb" for VDC 1,
// "volatile:/dev/shm/<n>/vlan_mgr_bd_sdb" for VDC n.
std::string bd_sdb_uri(uint16_t vdc_id);

std::vector<uint8_t> vlan_record(const Vdc &vdc, uint32_t vlan_id);
std::vector<uint8_t> access_record(const Vdc &vdc, const Port &p);
// `active` is vdc.active_vlans(), computed once for all the ports of a batch.
std::vector<uint8_t> trunk_record(const Vdc &vdc, const Port &p, const VlanSet &active);

// The ports of the VDC whose published records a change touches: those
// named by the change and those that carry (or carried) a created, deleted
// or retyped VLAN.
std::set<uint32_t> affected_ports(const Vdc &vdc, const VdcChanges &c);

class Publisher {
public:
    Publisher() = default;
    ~Publisher();
    Publisher(const Publisher &) = delete;
    Publisher &operator=(const Publisher &) = delete;

    // Opens every VDC's database for publishing (creating the directories
    // of VDCs 2..5). 0, or the platform's error word with `error`.
    uint32_t open(std::string &error);
    // Replaces the whole content of the VDC's database in one batch.
    uint32_t publish_all(const Vdc &vdc, std::string &error);
    // Publishes what the change names, one batch per changed VDC.
    uint32_t publish_changes(const Manager &m, const ChangeSet &changes, std::string &error);
    void close();

private:
    uint32_t put_vdc_records(const Vdc &vdc, std::string &error);
    uint32_t commit(uint16_t vdc_id, std::string &error);
    std::array<sdb_pub *, kVdcCount> pubs_{};
};

} // namespace vlan_mgrd

#endif
