#include "server.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <time.h>
#include <unistd.h>

#include <vlan_mgr/frame.h>
#include <vlan_mgr/history.h>
#include <vlan_mgr/opcodes.h>

#include "vlan_mgr_platform.h"

namespace vlan_mgrd {

namespace {

// Event-history ids of the manager: the history's high bits (0x73) and the
// event number. Failures and stops use the report record {class, text} of
// the library's own failure reports (event 0), starts VLAN_MGR_EVENT_DONE_INIT.
constexpr uint32_t kHistFailure = VLAN_MGR_LIB_HIST_ID;
constexpr uint32_t kHistStart = VLAN_MGR_LIB_HIST_ID | VLAN_MGR_EVENT_DONE_INIT;

// Sends `text` with a catalogue record. Per-request warnings obey the
// facility's current level like the library's own reports; the daemon's
// start, stop and fatal errors always go out.
void syslog_text(const vlan_mgr_syslog_msg_t &msg, const char *text, bool always)
{
    const uint32_t severity = msg.severity & 0xFFu;
    if (!always && msg.facility->current_level < severity)
        return;
    char facility[32];
    std::snprintf(facility, sizeof facility, "%s", msg.facility->name);
    for (char *c = facility; *c != '\0'; ++c)
        if (*c >= 'a' && *c <= 'z')
            *c = static_cast<char>(*c - 'a' + 'A');
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    kivo_syslog(severity, msg.format, facility, static_cast<int>(severity), text);
#pragma GCC diagnostic pop
}

void history_report(uint32_t report_class, const std::string &text)
{
    if (sdwrap_hist_event_subtype_check(kHistFailure, report_class) != 0)
        return;
    struct {
        uint32_t subtype;
        char text[512];
    } record{};
    record.subtype = report_class;
    std::snprintf(record.text, sizeof record.text, "vlan_mgrd %s", text.c_str());
    sdwrap_hist_event(kHistFailure, static_cast<uint32_t>(4 + std::strlen(record.text) + 1), &record);
}

bool entry_reply_opcode(uint32_t opcode, uint32_t &stride)
{
    if (opcode == MTS_OPC_VLAN_REQ_RESP_16) {
        stride = VLAN_MGR_REQ_RESP_16_STRIDE;
        return true;
    }
    if (opcode == MTS_OPC_VLAN_REQ_RESP_30) {
        stride = VLAN_MGR_REQ_RESP_30_STRIDE;
        return true;
    }
    return false;
}

std::string hex_word(uint32_t w)
{
    char buf[16];
    std::snprintf(buf, sizeof buf, "0x%08x", w);
    return buf;
}

} // namespace

void log_event(LogKind kind, const std::string &text)
{
    const vlan_mgr_syslog_msg_t &msg = kind == LogKind::Error     ? syslog_msg_ERROR_MSG
                                       : kind == LogKind::Warning ? syslog_msg_WARN_MSG
                                                                  : syslog_msg_INFO_MSG;
    history_report(VLAN_MGR_REPORT_INFO, text);
    syslog_text(msg, text.c_str(), kind != LogKind::Warning);
}

void log_started(const std::string &text)
{
    if (sdwrap_hist_event_subtype_check(kHistStart, VLAN_MGR_REPORT_INFO) == 0) {
        const std::string line = "vlan_mgrd " + text;
        sdwrap_hist_event(kHistStart, static_cast<uint32_t>(line.size() + 1), line.c_str());
    }
    syslog_text(syslog_msg_NOTIF_MSG, text.c_str(), true);
}

Server::Server(Engine &engine, ServerOptions options) : engine_(engine), options_(options), own_access_(geteuid())
{
}

Server::~Server() { close(); }

int32_t Server::open(std::string &error)
{
    if (open_)
        return 0;
    const int32_t rc = vlan_mgr_host_mts_open(options_.sap, &handle_);
    if (rc == static_cast<int32_t>(VLAN_MGR_HOST_ERR_MTS_SAP_BUSY)) {
        error = "SAP " + std::to_string(options_.sap) + " is already served: another VLAN manager runs on this run directory";
        return rc;
    }
    if (rc != 0) {
        error = "cannot open SAP " + std::to_string(options_.sap) + ": " + syserr2str(rc) + " (" +
                hex_word(static_cast<uint32_t>(rc)) + ")";
        return rc;
    }
    open_ = true;
    return 0;
}

void Server::close()
{
    if (!open_)
        return;
    vlan_mgr_host_mts_close(handle_);
    open_ = false;
}

void Server::send_reply(const mts_msg_hdl_t &request, uint32_t opcode, Reply &reply)
{
    int32_t rc = 0;
    uint32_t stride = 0;
    if (entry_reply_opcode(opcode, stride)) {
        // The exchange's reply is framed by the library from the handler's
        // entries; anything that is not whole entries is answered with a
        // bare status (the handler's own when it wrote one).
        const size_t count = reply.size() / stride;
        if (count > 0 && reply.size() % stride == 0 && count <= INT32_MAX) {
            rc = vlan_mgr_send_vlan_req_resp_reply(handle_, reply.data(), static_cast<int32_t>(count), &request);
        } else {
            if (reply.size() != 4)
                reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
            mts_msg_hdl_t sent{};
            rc = mts_send(handle_, VLAN_MGR_MTS_DEST_NODE, 0, 0, reply.data(), static_cast<uint32_t>(reply.size()),
                          &sent, &request, nullptr);
            if (rc == 0)
                mts_drop(handle_, &sent);
        }
    } else {
        if (reply.empty())
            reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);  // a reply is never empty
        mts_msg_hdl_t sent{};
        rc = mts_send(handle_, VLAN_MGR_MTS_DEST_NODE, 0, 0, reply.data(), static_cast<uint32_t>(reply.size()), &sent,
                      &request, nullptr);
        if (rc == 0)
            mts_drop(handle_, &sent);
    }
    if (rc != 0) {
        ++stats_.failures;
        log_event(LogKind::Warning, "reply to request " + hex_word(opcode) + " not sent: " +
                                        syserr2str(rc) + " (" + hex_word(static_cast<uint32_t>(rc)) + ")");
    }
}

// A refusal is always logged, whatever the facility's level, but at most
// kDeniedPerSecond lines a second: a peer that keeps asking cannot flood the
// log, and the next line that goes out tells how many were left out.
void Server::log_denied(const std::string &text)
{
    constexpr uint32_t kDeniedPerSecond = 10;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    if (static_cast<int64_t>(now.tv_sec) != denied_second_) {
        denied_second_ = static_cast<int64_t>(now.tv_sec);
        denied_lines_ = 0;
    }
    if (denied_lines_ >= kDeniedPerSecond) {
        ++denied_unlogged_;
        return;
    }
    ++denied_lines_;
    std::string line = text;
    if (denied_unlogged_ > 0)
        line += " (" + std::to_string(denied_unlogged_) + " more refused, not logged)";
    denied_unlogged_ = 0;
    history_report(VLAN_MGR_REPORT_INFO, line);
    syslog_text(syslog_msg_WARN_MSG, line.c_str(), true);
}

void Server::publish_notifications()
{
    for (const Notification &n : notifications_) {
        const int32_t rc = vlan_mgr_host_mts_notify(handle_, n.opcode, n.payload.data(),
                                                     static_cast<uint32_t>(n.payload.size()));
        if (rc != 0) {
            ++stats_.failures;
            log_event(LogKind::Warning, "notification " + hex_word(n.opcode) + " not published: " + syserr2str(rc));
        } else {
            ++stats_.notifications;
        }
    }
}

uint32_t Server::publish_restart()
{
    if (!open_ || !engine_.restored())
        return 0;
    // A subscriber's transport reconnects to the new endpoint by itself and
    // subscribes again; no count of the previous run's subscribers survives
    // a kill, so the whole window is waited (requests sent meanwhile stay
    // queued and are answered after it).
    if (options_.restart_settle_ms > 0)
        (void)vlan_mgr_host_mts_wait_subscribers(handle_, VLAN_MGR_NOTIF_BD_CHANGE, INT32_MAX,
                                                 options_.restart_settle_ms);
    notifications_.clear();
    engine_.restart_notifications(notifications_);
    const uint64_t before = stats_.notifications;
    publish_notifications();
    return static_cast<uint32_t>(stats_.notifications - before);
}

void Server::serve_one(mts_msg_hdl_t &msg)
{
    vlan_mgr_host_mts_info_t info{};
    if (vlan_mgr_host_mts_msg_info(&msg, &info) != 0 ||
        (info.kind != VLAN_MGR_HOST_MTS_REQUEST && info.kind != VLAN_MGR_HOST_MTS_DATAGRAM)) {
        mts_drop(handle_, &msg);  // replies and notifications are not for the manager
        return;
    }
    Request req;
    req.opcode = info.opcode;
    req.payload = static_cast<const uint8_t *>(mts_payload_get(&msg));
    req.len = mts_payload_size(&msg);
    if (req.payload == nullptr)
        req.len = 0;
    // A sender that does not know its VDC is in the default VDC.
    req.src_vdc = info.src_vdc == 0 ? 1 : static_cast<uint16_t>(info.src_vdc > 0xFFFFu ? 0xFFFFu : info.src_vdc);

    // The header's VDC is the sender's word; its credentials are the kernel's.
    VdcAccess &access = options_.vdc_access != nullptr ? *options_.vdc_access : own_access_;
    if (!access.allows(info, req.src_vdc)) {
        ++stats_.vdc_denied;
        const std::string who = info.peer == VLAN_MGR_HOST_MTS_PEER_LOCAL
                                    ? "uid " + std::to_string(info.peer_uid) + " (pid " +
                                          std::to_string(info.peer_pid) + ")"
                                : info.peer == VLAN_MGR_HOST_MTS_PEER_REMOTE
                                    ? "a TCP peer (node " + hex_word(info.src_node) + ")"
                                    : "a peer without credentials";
        log_denied("request " + hex_word(info.opcode) + " refused: " + who + " is not authorised for VDC " +
                   std::to_string(req.src_vdc));
        if (info.kind == VLAN_MGR_HOST_MTS_REQUEST) {
            reply_.clear();
            reply_status(reply_, VLAN_MGR_ERR_VDC_DENIED);
            send_reply(msg, info.opcode, reply_);
        }
        mts_drop(handle_, &msg);
        return;
    }

    reply_.clear();
    notifications_.clear();
    engine_.handle(req, reply_, notifications_);

    // Subscribers learn of a change before the requester hears that it is
    // done, so that a client that reacts to the reply finds them updated.
    publish_notifications();
    if (info.kind == VLAN_MGR_HOST_MTS_REQUEST) {
        send_reply(msg, info.opcode, reply_);
        ++stats_.requests;
    } else {
        ++stats_.datagrams;
    }
    mts_drop(handle_, &msg);
}

namespace {

uint64_t monotonic_ms()
{
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000u + static_cast<uint64_t>(ts.tv_nsec) / 1000000u;
}

// Takes a pending stop signal, without waiting: true when there was one.
bool stop_pending(const sigset_t &stop_signals)
{
    timespec now{};
    return sigtimedwait(&stop_signals, nullptr, &now) > 0;
}

} // namespace

void Server::between_messages(uint64_t now_ms)
{
    if (!heartbeat_sent_ || now_ms - last_heartbeat_ms_ >= options_.heartbeat_ms) {
        const int32_t rc = vlan_mgr_host_mts_heartbeat(handle_);
        if (rc != 0)
            log_event(LogKind::Warning, std::string("heartbeat not published: ") + syserr2str(rc));
        last_heartbeat_ms_ = now_ms;
        heartbeat_sent_ = true;
    }
    vlan_mgr_host_mts_stats_t st{};
    if (vlan_mgr_host_mts_stats(handle_, &st) == 0 && st.requests_expired > stats_.expired) {
        const uint64_t n = st.requests_expired - stats_.expired;
        stats_.expired = st.requests_expired;
        // Always logged (not subject to the facility's level): a client
        // was told "no answer" for each of them.
        log_event(LogKind::Info, std::to_string(n) + (n == 1 ? " request" : " requests") +
                                        " dropped unhandled: the sender's deadline had passed");
    }
}

int32_t Server::run(const sigset_t &stop_signals, std::string &error)
{
    uint32_t consecutive_errors = 0;
    while (!stop_pending(stop_signals)) {
        const uint64_t now = monotonic_ms();
        between_messages(now);
        // Waits no longer than until the next heartbeat is due.
        const uint64_t due = last_heartbeat_ms_ + options_.heartbeat_ms;
        const uint32_t wait = static_cast<uint32_t>(
            std::min<uint64_t>(options_.poll_ms, due > now ? due - now : 0));
        mts_msg_hdl_t msg{};
        const int32_t rc = vlan_mgr_host_mts_recv_timed(handle_, &msg, nullptr, wait);
        if (rc == static_cast<int32_t>(VLAN_MGR_HOST_ERR_MTS_TIMEOUT))
            continue;
        if (rc != 0) {
            // A bad handle will not get better; other errors (a malformed
            // frame, an interrupted wait) are logged and the loop goes on.
            if (rc == static_cast<int32_t>(VLAN_MGR_HOST_ERR_MTS_BAD_HANDLE) || ++consecutive_errors > 100) {
                error = std::string("receive failed: ") + syserr2str(rc) + " (" + hex_word(static_cast<uint32_t>(rc)) + ")";
                return rc;
            }
            log_event(LogKind::Warning, std::string("receive failed: ") + syserr2str(rc));
            usleep(10 * 1000);
            continue;
        }
        consecutive_errors = 0;
        serve_one(msg);
    }
    return 0;
}

} // namespace vlan_mgrd
