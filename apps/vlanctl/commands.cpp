#include "commands.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <CLI/CLI.hpp>

#include <vlan_mgr/vlan_mgr.h>
#include <vlan_mgr/opcodes.h>

#include "client.h"
#include "history.h"
#include "output.h"
#include "printable.h"
#include "vlan_list.h"
#include "watch.h"

namespace vlanctl {

namespace {

// The largest process id Linux hands out (PID_MAX_LIMIT on 64-bit systems).
constexpr uint64_t kPidMax = 4194304;

std::vector<uint32_t> vlan_list_arg(const std::string &text)
{
    std::vector<uint32_t> vlans;
    std::string error;
    if (!parse_vlan_list(text, vlans, error))
        usage_error(error);
    return vlans;
}

uint32_t vlan_arg(const std::string &text)
{
    uint32_t v = 0;
    std::string error;
    if (!parse_vlan_id(text, v, error))
        usage_error(error);
    return v;
}

// A name the operator gives: 1 to 32 printable ASCII characters (the
// manager refuses the rest with VLAN_MGR_ERR_BAD_NAME).
void name_arg(const std::string &name)
{
    if (name.empty() || name.size() > vlan_mgr_apps::kVlanNameMaxChars || !vlan_mgr_apps::all_printable_ascii(name))
        usage_error("invalid VLAN name: must be 1 to 32 printable ASCII characters");
}

// A decimal number of 1 to `max` (digits only, no sign or blanks); 0 when
// `text` is not one.
uint64_t positive_arg(const std::string &text, uint64_t max)
{
    if (text.empty() || text.size() > 19)
        return 0;
    uint64_t v = 0;
    for (char c : text) {
        if (c < '0' || c > '9')
            return 0;
        v = v * 10 + static_cast<uint64_t>(c - '0');
    }
    return v <= max ? v : 0;
}

// The words of an unknown command: the subcommands parsed so far and the
// first word that names none of the deepest one's subcommands; empty when
// the command line stopped short of a subcommand instead.
std::string unknown_command(CLI::App &app)
{
    std::string words;
    CLI::App *cur = &app;
    for (;;) {
        CLI::App *next = nullptr;
        for (CLI::App *sub : cur->get_subcommands())
            next = sub;
        if (next == nullptr)
            break;
        words += next->get_name() + " ";
        cur = next;
    }
    if (cur->get_subcommands({}).empty())
        return {};
    // A word no subcommand takes falls through to the parents: it is among
    // the words left over anywhere in the parsed chain.
    for (const std::string &arg : app.remaining(true))
        if (!arg.empty() && arg[0] != '-')
            return words + arg;
    return {};
}

uint32_t type_arg(const std::string &text)
{
    if (text == "normal")
        return VLAN_MGR_VLAN_TYPE_NORMAL;
    if (text == "primary")
        return VLAN_MGR_VLAN_TYPE_PRIMARY;
    if (text == "isolated")
        return VLAN_MGR_VLAN_TYPE_ISOLATED;
    return VLAN_MGR_VLAN_TYPE_COMMUNITY;
}

void print(const std::string &text)
{
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
}

// The state a command line gathers while it is parsed.
struct Args {
    int vdc = 0;
    uint32_t timeout_ms = 0;
    bool json = false;
    std::string list, name, vlan, action, type, port, mode, show_name, count, pid;
};

} // namespace

int run(int argc, char **argv)
{
    CLI::App app{"vlanctl: configure and inspect the VLAN manager", "vlanctl"};
    app.require_subcommand(1);
    app.footer("Exit status: 0 success, 1 refused by the manager, 2 usage error, 3 the manager cannot be "
               "reached (nothing was sent), 4 no answer within the time-out (the change may or may not have "
               "been applied).");
    app.fallthrough();
    Args a;
    app.add_option("--vdc", a.vdc, "VDC to work in (sets VLAN_MGR_VDC; default: the process's own)")
        ->check(CLI::Range(1, 65535));
    app.add_option("--timeout", a.timeout_ms, "Reply time-out in milliseconds (sets VLAN_MGR_MTS_TIMEOUT_MS)")
        ->check(CLI::Range(1u, 3600000u));

    auto add_json = [&](CLI::App *cmd) { cmd->add_flag("--json", a.json, "Print JSON"); };
    auto leaf = [](CLI::App *parent, const std::string &name, const std::string &help) {
        return parent->add_subcommand(name, help);
    };

    // ---- vlan
    CLI::App *vlan = app.add_subcommand("vlan", "Create, delete, name and type VLANs");
    vlan->require_subcommand(1);
    CLI::App *vcreate = leaf(vlan, "create", "Create VLANs");
    vcreate->add_option("vlans", a.list, "VLAN list, e.g. 10,20-30")->required();
    vcreate->add_option("--name", a.name, "Name of the VLAN (a single VLAN only)");
    CLI::App *vdelete = leaf(vlan, "delete", "Delete VLANs");
    vdelete->add_option("vlans", a.list, "VLAN list")->required();
    CLI::App *vname = leaf(vlan, "name", "Rename a VLAN");
    vname->add_option("vlan", a.vlan, "VLAN id")->required();
    vname->add_option("name", a.name, "New name (at most 32 characters)")->required();
    CLI::App *vtype = leaf(vlan, "type", "Set the type of VLANs");
    vtype->add_option("vlans", a.list, "VLAN list")->required();
    vtype->add_option("type", a.type, "normal, primary, isolated or community")
        ->required()
        ->check(CLI::IsMember({"normal", "primary", "isolated", "community"}));
    CLI::App *vpvlan = leaf(vlan, "private-vlan", "Associate secondary VLANs with a primary VLAN");
    vpvlan->add_option("primary", a.vlan, "Primary VLAN")->required();
    vpvlan->add_option("action", a.action, "add or remove")->required()->check(CLI::IsMember({"add", "remove"}));
    vpvlan->add_option("vlans", a.list, "Secondary VLANs")->required();

    // ---- interface NAME ...
    CLI::App *intf = app.add_subcommand("interface", "Change the VLAN membership of an interface");
    intf->add_option("name", a.port, "Interface, e.g. Ethernet1/1")->required();
    intf->require_subcommand(1);
    CLI::App *iaccess = leaf(intf, "access", "Access VLAN");
    iaccess->require_subcommand(1);
    CLI::App *iaccess_vlan = leaf(iaccess, "vlan", "Set the access VLAN");
    iaccess_vlan->add_option("vlan", a.vlan, "VLAN id")->required();
    CLI::App *itrunk = leaf(intf, "trunk", "Trunk allowed and native VLANs");
    itrunk->require_subcommand(1);
    CLI::App *iallowed = leaf(itrunk, "allowed", "Allowed VLANs");
    iallowed->require_subcommand(1);
    CLI::App *iallowed_vlan = leaf(iallowed, "vlan", "Change the allowed VLANs");
    iallowed_vlan->add_option("action", a.action, "add, remove or set")
        ->required()
        ->check(CLI::IsMember({"add", "remove", "set"}));
    iallowed_vlan->add_option("vlans", a.list, "VLAN list")->required();
    CLI::App *inative = leaf(itrunk, "native", "Native VLAN");
    inative->require_subcommand(1);
    CLI::App *inative_vlan = leaf(inative, "vlan", "Set the native VLAN");
    inative_vlan->add_option("vlan", a.vlan, "VLAN id")->required();
    CLI::App *ivoice = leaf(intf, "voice", "Voice VLAN");
    ivoice->require_subcommand(1);
    CLI::App *ivoice_vlan = leaf(ivoice, "vlan", "Set the voice VLAN");
    ivoice_vlan->add_option("vlan", a.vlan, "VLAN id")->required();
    CLI::App *imode = leaf(intf, "mode", "Set the port mode");
    imode->add_option("mode", a.mode, "access or trunk")->required()->check(CLI::IsMember({"access", "trunk"}));

    // ---- show
    CLI::App *show = app.add_subcommand("show", "Show VLANs, interfaces and bridge domains");
    show->require_subcommand(1);
    CLI::App *svlan = leaf(show, "vlan", "Show VLANs");
    add_json(svlan);
    CLI::App *sbrief = leaf(svlan, "brief", "VLANs with their status and ports");
    add_json(sbrief);
    CLI::App *sid = leaf(svlan, "id", "One VLAN by id");
    sid->add_option("vlan", a.vlan, "VLAN id")->required();
    add_json(sid);
    CLI::App *sname = leaf(svlan, "name", "One VLAN by name");
    sname->add_option("name", a.show_name, "VLAN name")->required();
    add_json(sname);
    CLI::App *sreserved = leaf(svlan, "reserved", "The reserved VLAN range");
    add_json(sreserved);
    CLI::App *ssummary = leaf(svlan, "summary", "VLAN counts");
    add_json(ssummary);
    CLI::App *sintf = leaf(show, "interface", "Show an interface");
    sintf->add_option("name", a.port, "Interface, e.g. Ethernet1/1")->required();
    sintf->require_subcommand(1);
    add_json(sintf);
    CLI::App *sswitchport = leaf(sintf, "switchport", "Mode and VLANs of the interface");
    add_json(sswitchport);
    CLI::App *sbd = leaf(show, "bd", "Bridge domains of VLANs, from the shared database");
    sbd->add_option("vlan", a.vlan, "VLAN id (default: every VLAN)");
    add_json(sbd);

    // ---- watch, history
    CLI::App *watchc = app.add_subcommand("watch", "Print the manager's notifications as they arrive");
    watchc->add_option("--count", a.count, "Stop after this many records (1 to 4294967295)");
    CLI::App *history = app.add_subcommand("history", "Print the event history of a process");
    history->add_option("pid", a.pid, "Process id (default: the manager's)");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &e) {
        // A word that names no command: said so, cut and escaped.
        const std::string unknown = unknown_command(app);
        if (e.get_exit_code() != 0 && !unknown.empty()) {
            std::fputs(("Error: unknown command '" + vlan_mgr_apps::echo_text(unknown) + "'\n").c_str(), stderr);
            return kExitUsage;
        }
        return app.exit(e) == 0 ? kExitOk : kExitUsage;
    }

    try {
        if (a.vdc != 0)
            setenv("VLAN_MGR_VDC", std::to_string(a.vdc).c_str(), 1);
        if (a.timeout_ms != 0)
            setenv("VLAN_MGR_MTS_TIMEOUT_MS", std::to_string(a.timeout_ms).c_str(), 1);

        uint64_t count = 0;
        if (watchc->parsed() && watchc->count("--count") != 0) {
            count = positive_arg(a.count, UINT32_MAX);
            if (count == 0)
                usage_error("--count must be a number from 1 to 4294967295");
        }
        if (history->parsed()) {
            uint64_t pid = 0;
            if (history->count("pid") != 0) {
                pid = positive_arg(a.pid, kPidMax);
                if (pid == 0)
                    usage_error("history: the process id must be a number from 1 to 4194304");
            }
            return show_history(static_cast<int>(pid));
        }

        Transport transport;
        Client client(transport, sysmgr_vdc_get(), vlan_mgr_apps::client_iftable());
        auto out = [&](const std::string &text, const Json &j) { print(a.json ? json_text(j) : text); };

        // vlan ...
        if (vcreate->parsed()) {
            const std::vector<uint32_t> vlans = vlan_list_arg(a.list);
            if (vcreate->count("--name") != 0) {
                if (vlans.size() != 1)
                    usage_error("--name needs a single VLAN");
                name_arg(a.name);
            }
            client.create_vlans(vlans, a.name);
        } else if (vdelete->parsed()) {
            client.delete_vlans(vlan_list_arg(a.list));
        } else if (vname->parsed()) {
            const uint32_t v = vlan_arg(a.vlan);
            name_arg(a.name);
            client.rename_vlan(v, a.name);
        } else if (vtype->parsed()) {
            client.set_vlan_type(vlan_list_arg(a.list), type_arg(a.type));
        } else if (vpvlan->parsed()) {
            const uint32_t primary = vlan_arg(a.vlan);
            client.associate(primary, vlan_list_arg(a.list), a.action == "add");
        }
        // interface NAME ...
        else if (intf->parsed()) {
            const vlan_mgr_apps::IfEntry &port = client.port(a.port);
            if (iaccess_vlan->parsed()) {
                client.update_access(port, VLAN_MGR_ACCESS_OP_SET_VLAN, vlan_arg(a.vlan));
            } else if (ivoice_vlan->parsed()) {
                client.update_access(port, VLAN_MGR_ACCESS_OP_SET_VOICE, vlan_arg(a.vlan));
            } else if (iallowed_vlan->parsed()) {
                const int32_t op = a.action == "add"      ? VLAN_MGR_TRUNK_OP_ADD_ALLOWED
                                   : a.action == "remove" ? VLAN_MGR_TRUNK_OP_REMOVE_ALLOWED
                                                          : VLAN_MGR_TRUNK_OP_SET_ALLOWED;
                client.update_trunk(port, op, 0, 0, vlan_list_arg(a.list));
            } else if (inative_vlan->parsed()) {
                client.update_trunk(port, VLAN_MGR_TRUNK_OP_SET_NATIVE, vlan_arg(a.vlan), 0, {});
            } else if (imode->parsed()) {
                const uint16_t mode = a.mode == "trunk" ? VLAN_MGR_PORT_MODE_TRUNK : VLAN_MGR_PORT_MODE_ACCESS;
                client.update_trunk(port, VLAN_MGR_TRUNK_OP_SET_MODE, 0, mode, {});
            }
        }
        // show ...
        else if (sreserved->parsed()) {
            const ReservedView r = client.reserved();
            out(render_reserved(r), reserved_json(r));
        } else if (ssummary->parsed()) {
            const SummaryView s = summarize(client.vlans());
            out(render_summary(s), summary_json(s));
        } else if (sbrief->parsed()) {
            const std::vector<VlanView> v = client.vlans();
            out(render_vlan_brief(v), vlans_json(v));
        } else if (sid->parsed()) {
            const std::vector<VlanView> v{client.vlan(vlan_arg(a.vlan))};
            out(render_vlan_full(v), vlans_json(v));
        } else if (sname->parsed()) {
            const std::vector<VlanView> v{client.vlan(client.vlan_by_name(a.show_name))};
            out(render_vlan_full(v), vlans_json(v));
        } else if (svlan->parsed()) {
            const std::vector<VlanView> v = client.vlans();
            out(render_vlan_full(v), vlans_json(v));
        } else if (sswitchport->parsed()) {
            const SwitchportView p = client.switchport(client.port(a.port));
            out(render_switchport(p), switchport_json(p));
        } else if (sbd->parsed()) {
            // The BD cache is on, and the created-VLAN listing fills it.
            vlan_mgr_enable_cached_bd_sdb();
            std::vector<uint32_t> vlans;
            if (sbd->count("vlan") != 0)
                vlans.push_back(vlan_arg(a.vlan));
            const std::vector<uint32_t> created = client.created_vlan_ids();
            if (vlans.empty())
                vlans = created;
            const std::vector<BdView> b = client.bds(vlans);
            out(render_bd(b), bd_json(b));
        } else if (watchc->parsed()) {
            return watch(client, transport, count);
        }
        return kExitOk;
    } catch (const CtlError &e) {
        std::fflush(stdout);
        std::fputs(e.message.c_str(), stderr);
        return e.exit_code;
    }
}

} // namespace vlanctl
