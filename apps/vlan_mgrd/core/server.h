// The manager's message loop: serves SAP VLAN_MGR_MTS_SAP on the host
// transport, hands every request to the Engine, publishes the notifications
// of each change and then answers the requester.
#ifndef VLAN_MGRD_SERVER_H
#define VLAN_MGRD_SERVER_H

#include <csignal>
#include <signal.h>
#include <cstdint>
#include <string>

#include "engine.h"
#include "vdc_access.h"
#include "vlan_mgr_host_mts.h"

namespace vlan_mgrd {

struct ServerOptions {
    uint32_t sap = 167;          // VLAN_MGR_MTS_SAP
    uint32_t poll_ms = 200;      // how often the loop looks at the stop flag
    uint32_t heartbeat_ms = 1000; // at most this long between two heartbeats
    // After a start that restored a saved configuration: how long the SAP
    // is open before the restart notifications go out, so that subscribers
    // of the previous run, whose sockets reconnect on their own within
    // 100..200 ms of the new endpoint appearing, have subscribed again.
    uint32_t restart_settle_ms = 300;
    // Who may act for which VDC; null: only root and this process's own
    // user act for any VDC. Not owned.
    VdcAccess *vdc_access = nullptr;
};

// Counters of one run, for the stop message and the tests.
struct ServerStats {
    uint64_t requests = 0;       // requests answered
    uint64_t datagrams = 0;      // one-way messages run without a reply
    uint64_t notifications = 0;  // notifications published
    uint64_t failures = 0;       // replies or notifications the transport refused
    uint64_t expired = 0;        // requests dropped unhandled: their senders had given up
    uint64_t vdc_denied = 0;     // messages refused: the sender may not act for their VDC
};

class Server {
public:
    Server(Engine &engine, ServerOptions options);
    ~Server();
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    // Opens the SAP. 0, VLAN_MGR_HOST_ERR_MTS_SAP_BUSY when another process
    // serves it, or another transport error word; `error` says what failed.
    int32_t open(std::string &error);

    // After a start that restored a saved configuration (Engine::restored),
    // once the SAP is open and before any request is served: waits
    // restart_settle_ms for subscriptions to arrive, then publishes the
    // engine's restart notifications (one 0x5C2B per VDC listing every
    // created VLAN's BD), built from the state at that moment. Returns how
    // many were published; 0 after a start that restored nothing.
    uint32_t publish_restart();

    // Receives and answers messages until one of `stop_signals` is pending;
    // the caller keeps them blocked in every thread, and the loop takes them
    // between messages (at least every poll interval), so the message being
    // handled when one arrives is finished first and no handler ever runs
    // inside the transport. Publishes a heartbeat at the start and then at
    // least every heartbeat_ms, and logs the requests that the transport
    // dropped because their deadline had passed. 0 after a stop, or the transport's error word
    // when receiving failed for good (`error` says what).
    int32_t run(const sigset_t &stop_signals, std::string &error);

    // Handles one received message: checks that its sender may act for the
    // VDC that its header names (a request refused is answered with the bare
    // status VLAN_MGR_ERR_VDC_DENIED, a one-way message dropped, and one
    // warning names the sender), runs it through the engine, publishes the
    // notifications, answers a request, drops the message.
    void serve_one(mts_msg_hdl_t &msg);

    // Closes the SAP (idempotent). The transport itself is shut down by the
    // program (vlan_mgr_host_mts_shutdown) before it exits.
    void close();

    uint32_t handle() const { return handle_; }
    const ServerStats &stats() const { return stats_; }

private:
    void send_reply(const mts_msg_hdl_t &request, uint32_t opcode, Reply &reply);
    // The loop's housekeeping between messages: the heartbeat when it is due
    // (`now_ms` on CLOCK_MONOTONIC) and the expired requests' count.
    void between_messages(uint64_t now_ms);
    void log_denied(const std::string &text);
    // Publishes notifications_ to the subscribers; counts and logs each.
    void publish_notifications();

    Engine &engine_;
    ServerOptions options_;
    VdcAccess own_access_;  // used when options_.vdc_access is null
    int64_t denied_second_ = 0;    // log_denied's current second (monotonic)
    uint32_t denied_lines_ = 0;    // lines logged in it
    uint64_t denied_unlogged_ = 0; // refusals left out of the log since the last line
    uint32_t handle_ = 0;
    bool open_ = false;
    ServerStats stats_;
    uint64_t last_heartbeat_ms_ = 0;
    bool heartbeat_sent_ = false;
    Reply reply_;
    std::vector<Notification> notifications_;
};

// The daemon's log lines: a syslog message of the library's catalogue
// (through the platform's kivo_syslog) and an event-history record, so that
// both `journalctl` and the history tool show starts, stops and failures.
enum class LogKind { Info, Warning, Error };
void log_event(LogKind kind, const std::string &text);
// Start of service: recorded as VLAN_MGR_EVENT_DONE_INIT.
void log_started(const std::string &text);

} // namespace vlan_mgrd

#endif
