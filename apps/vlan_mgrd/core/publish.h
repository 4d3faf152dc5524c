// Publishing the VDCs' BD databases: the records that the library's BD
// lookups, port and VLAN getters and reserved-range queries read (keys and
// layouts: src/bd_db/layout.h, written by vlan_mgr/server/bd_record.h).
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

// The database URI of a VDC: "volatile:/dev/shm/vlan_mgr_bd_sdb" for VDC 1,
// "volatile:/dev/shm/<n>/vlan_mgr_bd_sdb" for VDC n.
std::string bd_sdb_uri(uint16_t vdc_id);

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
