// The engine: the state, the handlers, and the effects of every change.
//
// Order of start(): the interface table (ports go to their VDC), the saved
// configuration, every VDC's BD database rebuilt from scratch in one batch
// (no record of an earlier run survives), then the reserved VLANs computed
// from the published range with the library's own allocation.
//
// A change's effects (apply): save, publish, notifications, in that order.
// A failing save or publish is logged to syslog and turns the reply into
// VLAN_MGR_ERR_STORE; the state stays changed in memory, and the next change
// that saves successfully writes it all (the file always holds a whole
// configuration).
#include "engine.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <syslog.h>

#include <iftable.h>
#include <vlan_mgr/bd_db.h>
#include <vlan_mgr/rsvd.h>
#include <vlan_mgr_platform.h>

#include "notify.h"
#include "persist.h"
#include "publish.h"

namespace vlan_mgrd {

namespace {

// The configured reserved range of a fresh VDC.
constexpr uint32_t kDefaultRsvdStart = 3968;
constexpr uint32_t kDefaultRsvdEnd = 4094;

void log_error(const std::string &what)
{
    kivo_syslog(LOG_ERR, "%%VLAN_MGR-3-STORE: %s", what.c_str());
}

VlanSet bits_of(const vlan_bitmap &b) { return vlan_mgr::server::bits_from_wire(b.bits); }

// The VDC's reserved VLANs: its configured range and VLAN 4094, and every
// VLAN the allocation hands out to internal users. Read back through the
// library from the database just published; without a database, the range
// alone.
void compute_reserved(Vdc &vdc, bool published)
{
    VlanSet set;
    bool done = false;
    if (published) {
        vlan_close_bd_sdb(vdc.id); // read what was just committed
        dyn_rsvd_vlan_bitmaps_t bm;
        if (vlan_get_dyn_rsvd_vlans(&bm, vdc.id) == 0) {
            set = bits_of(bm.rsvd_candidates) | bits_of(bm.rsvd_group64) | bits_of(bm.rsvd_group4_first) |
                  bits_of(bm.rsvd_group4_second) | bits_of(bm.rsvd_single);
            done = true;
        }
        vlan_close_bd_sdb(vdc.id);
    }
    if (!done) {
        for (uint32_t v = vdc.rsvd_start; v <= vdc.rsvd_end && v <= kVlanMax; ++v)
            set.set(v);
        set.set(4094);
    }
    set.reset(0);
    set.reset(kDefaultVlan);
    set.reset(4095);
    vdc.reserved = set;
}

} // namespace

struct Engine::Effects {
    Publisher publisher;
    // Each VDC's encoded part of the saved file, kept between saves: a
    // change re-encodes only the VDCs it names.
    std::array<std::vector<uint8_t>, kVdcCount> saved_parts;
    bool parts_valid = false;
    std::unique_ptr<StateStore> store;
};

Engine::Engine(EngineOptions options) : options_(std::move(options)), effects_(std::make_unique<Effects>()) {}

Engine::~Engine() = default;

uint32_t Engine::start(std::string &error)
{
    // Interface table.
    std::vector<vlan_mgr_apps::IfEntry> table;
    if (options_.iftable_path.empty()) {
        table = vlan_mgr_apps::default_iftable();
    } else if (!vlan_mgr_apps::load_iftable(options_.iftable_path, table, error)) {
        error = "interface table " + options_.iftable_path + ": " + error;
        return VLAN_MGR_ERR_STORE;
    }
    for (Vdc &vdc : manager_.vdcs)
        vdc.ports.clear();
    for (const vlan_mgr_apps::IfEntry &e : table) {
        if (!Manager::vdc_valid(e.vdc)) {
            error = "interface table: port " + e.name + " in VDC " + std::to_string(e.vdc);
            return VLAN_MGR_ERR_STORE;
        }
        Port p;
        p.if_index = e.if_index;
        p.name = e.name;
        manager_.vdc(e.vdc).ports.push_back(p);
    }
    if (!options_.run_dir.empty()) {
        if (::mkdir(options_.run_dir.c_str(), 0755) != 0 && errno != EEXIST) {
            error = "cannot create " + options_.run_dir + ": " + std::strerror(errno);
            return VLAN_MGR_ERR_STORE;
        }
        std::string why;
        if (!vlan_mgr_apps::save_iftable(options_.run_dir + "/iftable", table, why)) {
            error = "cannot write the interface table: " + why;
            return VLAN_MGR_ERR_STORE;
        }
    }

    for (Vdc &vdc : manager_.vdcs) {
        if (vdc.rsvd_start == 0 && vdc.rsvd_end == 0) {
            vdc.rsvd_start = kDefaultRsvdStart;
            vdc.rsvd_end = kDefaultRsvdEnd;
        }
    }

    // Saved configuration.
    if (!options_.state_path.empty()) {
        bool restored = false;
        std::string why;
        effects_->store = std::make_unique<StateStore>(options_.state_path, options_.sync);
        if (!effects_->store->load(manager_, restored, why)) {
            error = "saved configuration not usable: " + why;
            return VLAN_MGR_ERR_STORE;
        }
        restored_ = restored;
    }

    // Databases, rebuilt from scratch.
    if (options_.publish) {
        if (effects_->publisher.open(error) != 0)
            return VLAN_MGR_ERR_STORE;
        for (const Vdc &vdc : manager_.vdcs)
            if (effects_->publisher.publish_all(vdc, error) != 0)
                return VLAN_MGR_ERR_STORE;
    }
    for (Vdc &vdc : manager_.vdcs)
        compute_reserved(vdc, options_.publish);
    return 0;
}

uint32_t Engine::apply(const ChangeSet &changes, std::vector<Notification> &notifications)
{
    if (!changes.any())
        return 0;
    uint32_t status = 0;
    std::string error;
    if (effects_->store) {
        for (uint16_t id = 1; id <= kVdcCount; ++id)
            if (!effects_->parts_valid || changes.global || changes.vdc(id).any())
                encode_vdc(manager_.vdc(id), effects_->saved_parts[id - 1]);
        effects_->parts_valid = true;
        if (!effects_->store->save(manager_, effects_->saved_parts, error)) {
            log_error("configuration not saved: " + error);
            status = VLAN_MGR_ERR_STORE;
        }
    }
    if (options_.publish && effects_->publisher.publish_changes(manager_, changes, error) != 0) {
        log_error("BD database not published: " + error);
        status = VLAN_MGR_ERR_STORE;
    }
    if (!build_notifications(manager_, changes, notifications, error)) {
        log_error("notifications not built: " + error);
        status = VLAN_MGR_ERR_STORE;
    }
    return status;
}

void Engine::handle(const Request &req, Reply &reply, std::vector<Notification> &notifications)
{
    ChangeSet changes;
    dispatch(manager_, req, reply, changes);
    if (changes.any() && apply(changes, notifications) != 0)
        reply_status(reply, VLAN_MGR_ERR_STORE);
}

void Engine::restart_notifications(std::vector<Notification> &notifications) const
{
    build_bd_snapshot(manager_, notifications);
}

} // namespace vlan_mgrd
