// The test platform's implementation of the platform interface.
#include "test_platform.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace tp {

namespace {
// Function-local static: usable before static constructors have run, since
// the library's load-time constructor may call in first.
State *&state_ptr()
{
    static State *s = nullptr;
    return s;
}

std::string vformat(const char *fmt, va_list ap)
{
    va_list copy;
    va_copy(copy, ap);
    int n = std::vsnprintf(nullptr, 0, fmt, copy);
    va_end(copy);
    std::string out(n > 0 ? static_cast<size_t>(n) : 0, '\0');
    std::vsnprintf(out.data(), out.size() + 1, fmt, ap);
    return out;
}

int32_t injected_sdb_error(SdbOp op)
{
    State &s = state();
    int n = ++s.sdb_op_counts[op];
    auto it = s.sdb_errors.find({op, n});
    return it == s.sdb_errors.end() ? 0 : it->second;
}

template <typename T> T pop_or(std::deque<T> &q, T fallback)
{
    if (q.empty())
        return fallback;
    T v = q.front();
    q.pop_front();
    return v;
}
} // namespace

State &state()
{
    State *&s = state_ptr();
    if (s == nullptr)
        s = new State();
    return *s;
}

void reset()
{
    State *&s = state_ptr();
    delete s;
    s = new State();
}

uint32_t HistoryEvent::subtype() const
{
    uint32_t v = 0;
    if (bytes.size() >= 4)
        std::memcpy(&v, bytes.data(), 4);
    return v;
}

std::string HistoryEvent::text() const
{
    if (bytes.size() <= 4)
        return {};
    const char *p = reinterpret_cast<const char *>(bytes.data() + 4);
    return std::string(p, strnlen(p, bytes.size() - 4));
}

mts_msg_hdl_t make_message(uint32_t opcode, const Bytes &payload)
{
    auto msg = std::make_unique<mts_msg_t>();
    msg->opcode = opcode;
    msg->payload = payload;
    mts_msg_hdl_t h{msg.get()};
    state().messages.push_back(std::move(msg));
    return h;
}

// ---- Messages at an odd address ----
// Heap blocks are at least 8-aligned, so one byte in front makes it odd.
mts_msg_hdl_t make_message_at_odd_address(uint32_t opcode, const Bytes &payload)
{
    Bytes b(payload.size() + 1, 0xEE);
    std::copy(payload.begin(), payload.end(), b.begin() + 1);
    mts_msg_hdl_t h = make_message(opcode, b);
    h.msg->lead = 1;
    return h;
}

void set_debug(uint32_t report_class, bool on)
{
    auto &v = state().debug_classes;
    v.erase(std::remove(v.begin(), v.end(), report_class), v.end());
    if (on)
        v.push_back(report_class);
}

void sdb_put(const std::string &uri, const Bytes &key, const Bytes &value) { state().sdbs[uri].records[key] = value; }

void sdb_fail(SdbOp op, int nth_call, int32_t error) { state().sdb_errors[{op, nth_call}] = error; }

std::string format_bytes(const uint8_t *p, size_t n)
{
    std::string out;
    char buf[4];
    for (size_t i = 0; i < n; ++i) {
        std::snprintf(buf, sizeof buf, i ? " %02X" : "%02X", p[i]);
        out += buf;
    }
    return out;
}

} // namespace tp

using tp::state;

extern "C" {

// ---- Message transport ----

uint32_t mts_opc_get(const mts_msg_hdl_t *msg) { return msg->msg->opcode; }
void *mts_payload_get(const mts_msg_hdl_t *msg) { return msg->msg->payload.data() + msg->msg->lead; }
uint32_t mts_payload_size(const mts_msg_hdl_t *msg) { return static_cast<uint32_t>(msg->msg->payload.size() - msg->msg->lead); }

int32_t mts_send(uint32_t mts_handle, uint32_t dest_node, uint32_t dest_sap, uint32_t opcode, void *payload,
                 uint32_t payload_len, mts_msg_hdl_t *msg_out, const mts_msg_hdl_t *request, const mts_addr_t *addr)
{
    tp::State &s = state();
    tp::MtsSend rec{mts_handle, dest_node, dest_sap, opcode, {}, request ? request->msg : nullptr, addr != nullptr, {}};
    const auto *p = static_cast<const uint8_t *>(payload);
    rec.payload.assign(p, p + payload_len);
    if (addr)
        rec.addr = *addr;
    rec.payload_ptr = payload;
    s.sent.push_back(rec);
    // A payload sent with an address record passes to the transport, which
    // releases it once copied, whatever the outcome (as the host transport).
    if (addr != nullptr)
        free(payload);
    int32_t rc = tp::pop_or(s.send_results, 0);
    if (rc == 0) {
        mts_msg_hdl_t h = tp::make_message(opcode, rec.payload);
        h.msg->rr_token = s.next_token++;
        *msg_out = h;
    }
    return rc;
}

uint32_t mts_rr_token_get(const mts_msg_hdl_t *msg) { return msg->msg->rr_token; }

int32_t mts_recv(uint32_t mts_handle, mts_msg_hdl_t *msg_out, const mts_recv_opts_t *opts)
{
    tp::State &s = state();
    tp::MtsRecv rec{mts_handle, opts != nullptr, {}};
    if (opts)
        rec.opts = *opts;
    s.received.push_back(rec);
    int32_t rc = tp::pop_or(s.recv_results, 0);
    if (rc == 0)
        msg_out->msg = tp::pop_or<mts_msg_t *>(s.replies, nullptr);
    return rc;
}

int32_t mts_drop(uint32_t, mts_msg_hdl_t *msg)
{
    state().dropped.push_back(msg->msg);
    return 0;
}

// ---- Shared database ----

int32_t sdb_open(const char *uri, uint32_t, uint32_t, uint32_t, uint32_t)
{
    tp::State &s = state();
    s.sdb_calls.push_back({tp::SdbOp::open, uri, {}});
    int32_t err = tp::injected_sdb_error(tp::SdbOp::open);
    if (err == 0)
        s.sdbs[uri].open = true;
    return err;
}

const sdb_rec_t *sdb_read(const char *handle, const sdb_key_t *key, int32_t *error)
{
    tp::State &s = state();
    const auto *k = static_cast<const uint8_t *>(key->data);
    tp::Bytes kb(k, k + key->len);
    s.sdb_calls.push_back({tp::SdbOp::read, handle, {kb}});
    *error = tp::injected_sdb_error(tp::SdbOp::read);
    if (*error != 0)
        return nullptr;
    auto &recs = s.sdbs[handle].records;
    auto it = recs.find(kb);
    if (it == recs.end())
        return nullptr;
    s.read_rec = {it->second.data(), static_cast<uint32_t>(it->second.size())};
    return &s.read_rec;
}

int32_t sdb_mfetch(const char *handle, const sdb_key_t *keys, uint32_t count, sdb_rec_t *recs, int32_t *error)
{
    tp::State &s = state();
    tp::SdbCall call{tp::SdbOp::mfetch, handle, {}};
    for (uint32_t i = 0; i < count; ++i) {
        const auto *k = static_cast<const uint8_t *>(keys[i].data);
        call.keys.emplace_back(k, k + keys[i].len);
    }
    s.sdb_calls.push_back(call);
    int32_t err = tp::injected_sdb_error(tp::SdbOp::mfetch);
    *error = err;
    if (err != 0)
        return err;
    if (auto w = s.mfetch_error_words.find(s.sdb_op_counts[tp::SdbOp::mfetch]); w != s.mfetch_error_words.end())
        *error = w->second;
    auto &db = s.sdbs[handle].records;
    for (uint32_t i = 0; i < count; ++i) {
        auto it = db.find(call.keys[i]);
        recs[i] = it == db.end() ? sdb_rec_t{nullptr, 0}
                                 : sdb_rec_t{it->second.data(), static_cast<uint32_t>(it->second.size())};
    }
    return 0;
}

int32_t sdb_mfetch_done(const char *handle, sdb_rec_t *, uint32_t)
{
    state().sdb_calls.push_back({tp::SdbOp::mfetch_done, handle, {}});
    return 0;
}

int32_t sdb_close(const char *handle)
{
    tp::State &s = state();
    s.sdb_calls.push_back({tp::SdbOp::close, handle, {}});
    int32_t err = tp::injected_sdb_error(tp::SdbOp::close);
    if (err == 0)
        s.sdbs[handle].open = false;
    return err;
}

int32_t fsrv_sdb_publisher_lib_init(const void *params)
{
    state().sdb_calls.push_back({tp::SdbOp::publisher_init, {}, {}});
    state().publisher_params = params;
    return state().publisher_init_result;
}

// ---- System manager ----

uint16_t sysmgr_vdc_get(void)
{
    ++state().vdc_get_calls;
    return state().vdc_id;
}

int32_t sysmgr_set_vdc_ctxt(uint16_t vdc_id)
{
    state().ctxt_switches.push_back(vdc_id);
    return state().set_ctxt_result;
}

int32_t sysmgr_reset_vdc_ctxt(void)
{
    ++state().ctxt_resets;
    return state().reset_ctxt_result;
}

int32_t vdc_is_created(uint16_t vdc_id, uint32_t *out)
{
    int32_t r = state().vdc_created_result;
    if (r < 0)
        r = vdc_id >= 1 && vdc_id <= 5;
    if (out)
        *out = static_cast<uint32_t>(r);
    return r;
}

// ---- Event history, debug, syslog ----

sdwrap_dbg_modname_t sdwrap_dbg_modname = {"vlan_mgr"};

int32_t sdwrap_hist_event_subtype_check(uint32_t, uint32_t) { return state().subtype_check_result; }

int32_t sdwrap_hist_event(uint32_t event_id, uint32_t length, const void *record)
{
    const auto *p = static_cast<const uint8_t *>(record);
    state().history.push_back({event_id, length, tp::Bytes(p, p + length)});
    return 0;
}

int32_t sdwrap_chk_int(uint32_t subtype, uint32_t, uint32_t, uint32_t)
{
    const auto &v = state().debug_classes;
    return std::find(v.begin(), v.end(), subtype) != v.end() ? 1 : 0;
}

int32_t sdwrap_hist_print_event_header(void *out, const char *event_name, uint32_t text_length, uint32_t time_sec,
                                       uint32_t time_usec)
{
    state().history_headers.push_back(
        {out, event_name ? event_name : "", event_name == nullptr, text_length, time_sec, time_usec});
    return 0;
}

int32_t buginf(int32_t, const sdwrap_dbg_modname_t *, int32_t, const char *format, ...)
{
    va_list ap;
    va_start(ap, format);
    state().debug_lines.push_back(tp::vformat(format, ap));
    va_end(ap);
    return 0;
}

int32_t kivo_syslog(uint32_t severity, const char *format, ...)
{
    va_list ap;
    va_start(ap, format);
    va_list copy;
    va_copy(copy, ap);
    tp::SyslogCall call{severity, format, {}, 0, {}, {}};
    call.facility = va_arg(copy, const char *);
    call.severity_arg = va_arg(copy, int);
    call.text = va_arg(copy, const char *);
    va_end(copy);
    call.line = tp::vformat(format, ap);
    va_end(ap);
    state().syslog.push_back(call);
    return 0;
}

// ---- Interface indexes and the rest ----

// Interface indexes travel in network byte order, as on the host platform.
uint32_t hton_if_index(uint32_t v) { return __builtin_bswap32(v); }
uint32_t ntoh_if_index(uint32_t v) { return __builtin_bswap32(v); }

int32_t get_card_module_info(uint32_t *module_type)
{
    *module_type = state().module_type;
    return state().module_result;
}

const char *syserr2str(int32_t error)
{
    static char buf[32];
    std::snprintf(buf, sizeof buf, "error 0x%x", static_cast<unsigned>(error));
    return buf;
}

void mtrack_free(void *ptr)
{
    state().mtrack_freed.push_back(ptr);
    free(ptr);
}
}
