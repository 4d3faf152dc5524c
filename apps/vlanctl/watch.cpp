#include "watch.h"

#include <csignal>
#include <ctime>
#include <pthread.h>
#include <signal.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <vlan_mgr/vlan_mgr.h>
#include <vlan_mgr/opcodes.h>

#include "output.h"
#include "printable.h"
#include "status_text.h"
#include "vlan_list.h"
#include "vlan_mgr_host_mts.h"

namespace vlanctl {

const uint32_t kWatchedOpcodes[6] = {VLAN_MGR_NOTIF_VLAN_CREATE,       VLAN_MGR_NOTIF_VLAN_DELETE,
                                     VLAN_MGR_NOTIF_VLAN_CONFIG_CHANGE, VLAN_MGR_NOTIF_PORT_MEMB_CHANGE,
                                     VLAN_MGR_NOTIF_VLAN_TYPE_CHANGE,   VLAN_MGR_NOTIF_BD_CHANGE};

namespace {

// SIGINT and SIGTERM end a watch. They are blocked before the transport
// starts its threads (which inherit the block) and taken between receives
// with sigtimedwait, so no handler ever interrupts the transport.
const sigset_t &stop_signals()
{
    static const sigset_t set = [] {
        sigset_t s;
        sigemptyset(&s);
        sigaddset(&s, SIGINT);
        sigaddset(&s, SIGTERM);
        return s;
    }();
    return set;
}

bool stop_pending()
{
    timespec now{};
    return sigtimedwait(&stop_signals(), nullptr, &now) > 0;
}

void *notif_alloc(size_t size) { return std::malloc(size); }

// Frees what a notification parser handed out.
struct Records {
    void *ptr = nullptr;
    Records() = default;
    Records(const Records &) = delete;
    Records &operator=(const Records &) = delete;
    ~Records() { std::free(ptr); }
};

std::string port_name(const std::vector<vlan_mgr_apps::IfEntry> &iftable, uint32_t if_index)
{
    const vlan_mgr_apps::IfEntry *e = vlan_mgr_apps::find_port(iftable, if_index);
    return e != nullptr ? e->name : hex_word(if_index);
}

std::string or_none(const std::vector<uint32_t> &vlans) { return vlans.empty() ? "none" : format_vlan_list(vlans); }

std::string failed(const char *what, uint32_t opcode, uint32_t status)
{
    char buf[64];
    std::snprintf(buf, sizeof buf, "%s 0x%04x: ", what, opcode);
    return buf + vlan_mgr_apps::status_text(status) + " (" + hex_word(status) + ")";
}

// A text field of a name record: at most `len` bytes, up to the first NUL.
std::string text_of(const uint8_t *p, uint32_t len)
{
    size_t n = 0;
    while (n < len && p[n] != 0)
        ++n;
    return std::string(reinterpret_cast<const char *>(p), n);
}

} // namespace

std::vector<std::string> describe_notification(const mts_msg_hdl_t &msg,
                                               const std::vector<vlan_mgr_apps::IfEntry> &iftable)
{
    const uint32_t opcode = mts_opc_get(&msg);
    std::vector<std::string> lines;
    if (opcode == VLAN_MGR_NOTIF_VLAN_CREATE) {
        vlan_create_notif2_t *recs = nullptr;
        uint32_t count = 0;
        const uint32_t st = vlan_mgr_parse_create_notification_msg(&msg, &recs, &count, notif_alloc);
        Records owned;
        owned.ptr = recs;
        if (st != 0)
            return {failed("undecodable notification", opcode, st)};
        for (uint32_t i = 0; i < count; ++i)
            lines.push_back("create vdc " + std::to_string(recs[i].vdc_vlan.vdc_id) + " vlan " +
                            std::to_string(recs[i].vdc_vlan.vlan_id) + " bd " + std::to_string(recs[i].bd_id) +
                            " name " + vlan_mgr_apps::escape_unprintable(text_of(
                                                reinterpret_cast<const uint8_t *>(recs[i].name), sizeof recs[i].name)));
        return lines;
    }
    if (opcode == VLAN_MGR_NOTIF_VLAN_DELETE) {
        vlan_delete_notif2_t *recs = nullptr;
        uint32_t count = 0;
        const uint32_t st = vlan_mgr_parse_delete_notification_msg(&msg, &recs, &count, notif_alloc);
        Records owned;
        owned.ptr = recs;
        if (st != 0)
            return {failed("undecodable notification", opcode, st)};
        for (uint32_t i = 0; i < count; ++i)
            lines.push_back("delete vdc " + std::to_string(recs[i].vdc_vlan.vdc_id) + " vlan " +
                            std::to_string(recs[i].vdc_vlan.vlan_id) + " bd " + std::to_string(recs[i].bd_id));
        return lines;
    }

    Records owned;
    uint32_t count = 0;
    const uint32_t st = vlan_mgr_parse_notification_msg(&msg, &owned.ptr, &count, notif_alloc);
    if (st != 0)
        return {failed("undecodable notification", opcode, st)};
    if (opcode == VLAN_MGR_NOTIF_VLAN_CONFIG_CHANGE) {
        vlan_mgr_config_changed_notif_iter_t it;
        vlan_mgr_config_changed_notif_iter_init(owned.ptr, count, &it);
        const void *cursor = nullptr;
        while (vlan_mgr_config_changed_notif_get_attr(&it, &cursor) == 0 && cursor != nullptr) {
            const auto *r = static_cast<const vlan_mgr_notif_vlan_name_t *>(cursor);
            std::string line = "config vdc " + std::to_string(r->v0) + " vlan " + std::to_string(r->v2);
            if (r->flag == 0)
                line += " name " + vlan_mgr_apps::escape_unprintable(text_of(r->data, r->len_a));
            lines.push_back(line);
        }
        return lines;
    }
    if (opcode == VLAN_MGR_NOTIF_PORT_MEMB_CHANGE) {
        const auto *recs = static_cast<const vlan_mgr_notif_5c24_t *>(owned.ptr);
        for (uint32_t i = 0; i < count; ++i)
            lines.push_back("port vdc " + std::to_string(recs[i].vdc_id) + " " +
                            port_name(iftable, recs[i].if_index) + " mode " + port_mode_name(recs[i].v8) + " vlans " +
                            or_none(from_bitmap(recs[i].bitmap[0])) + " active " +
                            or_none(from_bitmap(recs[i].bitmap[1])));
        return lines;
    }
    if (opcode == VLAN_MGR_NOTIF_VLAN_TYPE_CHANGE) {
        const auto *recs = static_cast<const vlan_mgr_notif_5c26_t *>(owned.ptr);
        for (uint32_t i = 0; i < count; ++i)
            lines.push_back("type vdc " + std::to_string(recs[i].vdc_id) + " vlan " + std::to_string(recs[i].v2) +
                            " type " + vlan_type_name(recs[i].v6) + " primary " + std::to_string(recs[i].v10));
        return lines;
    }
    if (opcode == VLAN_MGR_NOTIF_BD_CHANGE) {
        const auto *recs = static_cast<const vlan_mgr_notif_bd_change_t *>(owned.ptr);
        for (uint32_t i = 0; i < count; ++i)
            lines.push_back("bd vlan " + std::to_string(recs[i].vlan_id) + " bd " + std::to_string(recs[i].bd_id));
        return lines;
    }
    char buf[48];
    std::snprintf(buf, sizeof buf, "notification 0x%04x: %u records", opcode, count);
    return {buf};
}

int watch(Client &client, Transport &transport, uint64_t count)
{
    pthread_sigmask(SIG_BLOCK, &stop_signals(), nullptr);
    // One query first: a manager that does not answer ends the command here
    // (exit 3) instead of leaving it waiting for notifications that never come.
    client.created_vlan_ids();
    const uint32_t h = transport.handle();
    for (uint32_t opc : kWatchedOpcodes) {
        const int32_t rc = vlan_mgr_host_mts_subscribe(h, VLAN_MGR_MTS_DEST_NODE, VLAN_MGR_MTS_SAP, opc);
        if (rc != 0)
            throw CtlError{kExitUnreachable, "Error: VLAN manager not reachable: " +
                                                 vlan_mgr_apps::status_text(static_cast<uint32_t>(rc)) + "\n"};
    }
    std::fprintf(stderr, "Watching the VLAN manager's notifications\n");
    std::fflush(stderr);

    uint64_t printed = 0;
    while (!stop_pending() && (count == 0 || printed < count)) {
        mts_msg_hdl_t msg{};
        const int32_t rc = vlan_mgr_host_mts_recv_timed(h, &msg, nullptr, 100);
        if (rc == static_cast<int32_t>(VLAN_MGR_HOST_ERR_MTS_TIMEOUT))
            continue;
        if (rc == static_cast<int32_t>(VLAN_MGR_HOST_ERR_MTS_NOTIF_LOST)) {
            // The transport knows how many: the publisher's numbers (from a
            // later notification or its heartbeat) went past ours.
            vlan_mgr_host_mts_stats_t st{};
            vlan_mgr_host_mts_stats(h, &st);
            std::fprintf(stderr, "vlanctl: lost %llu notification%s; re-read the state with 'vlanctl show vlan'\n",
                         static_cast<unsigned long long>(st.last_lost), st.last_lost == 1 ? "" : "s");
            std::fflush(stderr);
            continue;
        }
        if (rc != 0)
            throw CtlError{kExitUnreachable, "Error: VLAN manager not reachable: " +
                                                 vlan_mgr_apps::status_text(static_cast<uint32_t>(rc)) + "\n"};
        for (const std::string &line : describe_notification(msg, client.iftable())) {
            if (count != 0 && printed >= count)
                break;
            std::printf("%s\n", line.c_str());
            std::fflush(stdout);
            ++printed;
        }
        mts_drop(h, &msg);
    }
    return kExitOk;
}

} // namespace vlanctl
