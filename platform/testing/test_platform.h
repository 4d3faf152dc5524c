// The test platform: implements every platform function in memory, records
// each call and lets a test script the answers and inject failures. All state
// resets before each test (tp_main.cpp installs the listener).
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "vlan_mgr_platform.h"

struct mts_msg {
    uint32_t opcode = 0;
    std::vector<uint8_t> payload;
    uint32_t rr_token = 0;
    // Bytes in front of the payload inside `payload` (odd-address tests).
    uint32_t lead = 0;
};

namespace tp {

using Bytes = std::vector<uint8_t>;

struct HistoryEvent {
    uint32_t event_id;
    uint32_t length;
    Bytes bytes; // the `length` bytes recorded
    uint32_t subtype() const;
    std::string text() const; // the text after the subtype word, up to its NUL
};

struct SyslogCall {
    uint32_t severity;
    std::string format;
    std::string facility; // the facility name argument
    int severity_arg;
    std::string text;     // the message text argument
    std::string line;     // the format applied to its arguments
};

struct MtsSend {
    uint32_t mts_handle, dest_node, dest_sap, opcode;
    Bytes payload;
    const mts_msg_t *request; // the request a reply answers, or nullptr
    bool has_addr;
    mts_addr_t addr;
    // The caller's payload pointer itself (only its value: a payload sent
    // with an address record has been released by the transport).
    const void *payload_ptr = nullptr;
};

struct MtsRecv {
    uint32_t mts_handle;
    bool has_opts;
    mts_recv_opts_t opts;
};

enum class SdbOp { open, read, mfetch, mfetch_done, close, publisher_init };

struct SdbCall {
    SdbOp op;
    std::string uri;
    std::vector<Bytes> keys;
};

struct Sdb {
    std::map<Bytes, Bytes> records;
    bool open = false;
};

struct State {
    // System manager.
    uint16_t vdc_id = 1;
    int vdc_get_calls = 0;
    int32_t vdc_created_result = -1; // -1: created for VDC 1..5
    int32_t set_ctxt_result = 0;
    int32_t reset_ctxt_result = 0;
    std::vector<uint16_t> ctxt_switches; // VDCs switched into
    int ctxt_resets = 0;

    // Event history, debug, syslog.
    int32_t subtype_check_result = 0; // 0: record
    std::vector<uint32_t> debug_classes; // classes switched on
    std::vector<HistoryEvent> history;
    std::vector<std::string> debug_lines;
    std::vector<SyslogCall> syslog;
    struct HeaderCall { void *out; std::string name; bool name_null; uint32_t len, sec, usec; };
    std::vector<HeaderCall> history_headers;

    // Shared database.
    std::map<std::string, Sdb> sdbs;
    std::vector<SdbCall> sdb_calls;
    std::map<std::pair<SdbOp, int>, int32_t> sdb_errors; // (op, 1-based call of that op) -> error
    std::map<SdbOp, int> sdb_op_counts;
    int32_t publisher_init_result = 0;
    sdb_rec_t read_rec{};
    std::vector<int> mfetch_outstanding;
    // The parameter block of the last fsrv_sdb_publisher_lib_init call.
    const void *publisher_params = nullptr;
    // (1-based sdb_mfetch call) -> error word that the call sets while it
    // still returns 0 and fills the records.
    std::map<int, int32_t> mfetch_error_words;

    // Message transport.
    std::deque<std::unique_ptr<mts_msg_t>> messages;
    std::vector<MtsSend> sent;
    std::vector<MtsRecv> received;
    std::deque<int32_t> send_results; // empty: 0
    std::deque<int32_t> recv_results; // empty: 0
    std::deque<mts_msg_t *> replies;  // handed back by mts_recv
    std::vector<const mts_msg_t *> dropped;
    uint32_t next_token = 100;

    // Other.
    uint32_t module_type = 0;
    int32_t module_result = 0;
    std::vector<void *> mtrack_freed;
    std::vector<std::string> tlvu_errors; // lines printed by the TLV utility
};

State &state();
void reset();

// Helpers for scripting.
mts_msg_hdl_t make_message(uint32_t opcode, const Bytes &payload);
void set_debug(uint32_t report_class, bool on);
void sdb_put(const std::string &uri, const Bytes &key, const Bytes &value);
void sdb_fail(SdbOp op, int nth_call, int32_t error);
std::string format_bytes(const uint8_t *p, size_t n);

// Allocation control: the library's malloc, calloc and realloc go through
// wrappers that count calls and the blocks still held.
void fail_alloc_at(long nth);       // the nth allocation from now fails (1-based); 0: none
long alloc_calls();                 // allocations since reset
long live_allocs();                 // blocks allocated since reset and not freed
void reset_allocs();

// A message whose payload starts at an odd address and ends exactly at the
// end of its heap block (notification parser tests).
mts_msg_hdl_t make_message_at_odd_address(uint32_t opcode, const Bytes &payload);

} // namespace tp
