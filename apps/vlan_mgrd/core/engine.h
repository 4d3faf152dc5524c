// The manager without its transport: the state, the request handlers and the
// effects of every change (configuration saved, BD database published,
// notifications built). The daemon's server loop feeds it requests; tests
// drive it directly.
#ifndef VLAN_MGRD_ENGINE_H
#define VLAN_MGRD_ENGINE_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "handlers.h"
#include "notification.h"
#include "state.h"

namespace vlan_mgrd {

struct EngineOptions {
    std::string state_path;    // saved configuration ("" : not saved)
    std::string iftable_path;  // interface table file ("" : the 48 default ports)
    std::string run_dir;       // where the interface table in use is written ("" : not written)
    bool publish = true;       // publish the BD databases of the VDCs
    // Flush every save to disk (fsync of the file and its directory). Off,
    // a save is still atomic and survives the daemon being killed (the
    // kernel holds the renamed file), but not a crash of the machine.
    bool sync = true;
};

class Engine {
public:
    explicit Engine(EngineOptions options);
    ~Engine();
    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;

    // Loads the interface table and the reserved ranges, restores the saved
    // configuration and republishes every VDC's database (one batch each).
    // 0, or a status word with `error` saying what failed.
    uint32_t start(std::string &error);

    // Runs one request: the handler's reply; when the request changed
    // anything, the configuration is saved and the change published (one
    // batch per VDC) before this returns, and `notifications` receives what
    // to send to subscribers. A change that cannot be saved or published is
    // answered with VLAN_MGR_ERR_STORE.
    void handle(const Request &req, Reply &reply, std::vector<Notification> &notifications);

    // The effects of a change already made to manager(): save, publish,
    // build the notifications. handle() calls it after the handler; tests
    // call it after changing the state themselves. 0 or VLAN_MGR_ERR_STORE.
    uint32_t apply(const ChangeSet &changes, std::vector<Notification> &notifications);

    // One BD-change notification (0x5C2B) per VDC listing every created
    // VLAN's BD: what the daemon sends once after a start() that restored a
    // saved configuration, so that subscribers rebuild their BD caches after
    // a restart.
    void restart_notifications(std::vector<Notification> &notifications) const;

    // True when start() restored a saved configuration.
    bool restored() const { return restored_; }

    Manager &manager() { return manager_; }
    const EngineOptions &options() const { return options_; }

private:
    struct Effects;
    EngineOptions options_;
    Manager manager_;
    std::unique_ptr<Effects> effects_;
    bool restored_ = false;
};

} // namespace vlan_mgrd

#endif
