// vlanctl's side of the manager's protocol: one request-reply exchange over
// the host transport, the change requests and the queries, each built and
// parsed by the library's own builders and parsers, and the reads of the BD
// database through the library.
#ifndef VLANCTL_CLIENT_H
#define VLANCTL_CLIENT_H

#include <cstdint>
#include <string>
#include <vector>

#include "iftable.h"
#include "model.h"

namespace vlanctl {

// Exit statuses.
inline constexpr int kExitOk = 0;
inline constexpr int kExitRefused = 1;      // the manager refused the request
inline constexpr int kExitUsage = 2;        // bad command line, VLAN list or interface
inline constexpr int kExitUnreachable = 3;  // the manager cannot be reached: nothing was sent
inline constexpr int kExitNoAnswer = 4;     // sent, no answer: the change may or may not have been applied

// A failed command: the exit status and the complete text for stderr.
struct CtlError {
    int exit_code;
    std::string message;
};

[[noreturn]] void usage_error(const std::string &what);             // "Error: <what>", exit 2
// "Error: <status text> (0x%08x)" and the per-VLAN failures, exit 1.
[[noreturn]] void refused(uint32_t status, const std::vector<VlanFailure> &failures = {});

// The client's transport handle (SAP 0), opened at the first request.
class Transport {
public:
    Transport() = default;
    ~Transport();
    Transport(const Transport &) = delete;
    Transport &operator=(const Transport &) = delete;

    // Sends `payload` to the manager as a request of `opcode` and returns the
    // reply's payload, all within the transport's one time-out. A send that
    // fails (nothing was sent) ends the command with exit 3; a request sent
    // and not answered, with exit 4 (the transport has dropped it by then,
    // but the manager may have begun it before).
    std::vector<uint8_t> request(uint32_t opcode, const void *payload, uint32_t len);
    // The open handle (opening it when needed).
    uint32_t handle();

private:
    bool open_ = false;
    uint32_t handle_ = 0;
};

// The manager's view of the VDC `vdc` (the process's own VDC id).
class Client {
public:
    Client(Transport &transport, uint16_t vdc, std::vector<vlan_mgr_apps::IfEntry> iftable)
        : t_(transport), vdc_(vdc), iftable_(std::move(iftable))
    {
    }

    // The port of a name as the operator writes it ("Ethernet1/1", "eth1/1");
    // an unknown name ends the command with exit 2.
    const vlan_mgr_apps::IfEntry &port(const std::string &name) const;

    // ---- Changes: each returns normally when the manager accepted the
    // request for every VLAN and otherwise ends the command (refused()).
    void create_vlans(const std::vector<uint32_t> &vlans, const std::string &name);
    void rename_vlan(uint32_t vlan, const std::string &name);
    void delete_vlans(const std::vector<uint32_t> &vlans);
    void set_vlan_type(const std::vector<uint32_t> &vlans, uint32_t type);
    void associate(uint32_t primary, const std::vector<uint32_t> &secondaries, bool add);
    // Access-membership update of one port: `op` as the manager defines it.
    void update_access(const vlan_mgr_apps::IfEntry &port, uint32_t op, uint32_t vlan);
    // Trunking-membership update of one port: the record's VLAN, 16-bit
    // value and bitmap, each used by the operations that need it.
    void update_trunk(const vlan_mgr_apps::IfEntry &port, int32_t op, uint32_t vlan, uint16_t value,
                      const std::vector<uint32_t> &vlans);

    // ---- Queries.
    std::vector<VlanView> vlans();                 // every created VLAN with its ports
    VlanView vlan(uint32_t id);                    // one VLAN (refused when it does not exist)
    uint32_t vlan_by_name(const std::string &name);
    SwitchportView switchport(const vlan_mgr_apps::IfEntry &port);
    std::vector<uint32_t> created_vlan_ids();      // through the created-VLAN listing
    // BD ids from the database through the BD cache, for `vlans`.
    std::vector<BdView> bds(const std::vector<uint32_t> &vlans);
    ReservedView reserved();

    uint16_t vdc() const { return vdc_; }
    const std::vector<vlan_mgr_apps::IfEntry> &iftable() const { return iftable_; }

private:
    std::vector<std::string> port_names(const std::vector<uint32_t> &if_indexes) const;
    void fill_ports(std::vector<VlanView> &vlans);
    VlanView view_of(uint32_t id, const void *info_record);

    Transport &t_;
    uint16_t vdc_;
    std::vector<vlan_mgr_apps::IfEntry> iftable_;
};

} // namespace vlanctl

#endif
