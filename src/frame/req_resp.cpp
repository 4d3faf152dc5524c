// The synchronous request-response exchange: the reply that the VLAN
// manager's side sends back along a received request, and the global
// autostate-disable query that waits for the VLAN manager's answer.
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <tuple>
#include <unistd.h>

#include <vlan_mgr/frame.h>

#include "frame/exchange_layout.h"
#include "frame/report.h"
#include <vlan_mgr/internal/wire.h>
#include "vlan_mgr_platform.h"

namespace {

using vlan_mgr::wire::Reader;
using vlan_mgr::wire::Writer;
namespace X = vlan_mgr::layout::exchange;

// Copies the four fields of each caller entry, byte-swapped to big-endian,
// into the reply's entries (the caller's entries have the reply's stride);
// the rest of each reply entry stays zero.
void write_entries(Writer &w, const X::ReqRespReply &l, const uint8_t *entries, uint32_t count)
{
    using C = X::CallerEntry;
    using E = X::ReqRespReply::Entry;
    for (uint32_t i = 0; i < count; ++i) {
        const Reader src(entries + static_cast<size_t>(i) * l.entries.stride, l.entries.stride);
        Writer dst = l.entries.entry(w, i);
        E::first16.put(dst, C::first16.get(src));
        E::first32.put(dst, C::first32.get(src));
        E::second16.put(dst, C::second16.get(src));
        E::second32.put(dst, C::second32.get(src));
    }
}

constexpr const char kQueryName[] = "vlan_mgr_get_global_autostate_disable_settings";

// Reports a failed transport call or allocation of the autostate query
// (class 102, INFO_MSG); errno and its text are read afresh for each channel.
void report_call_failed(const char *debug_format, const char *syslog_format, int32_t rc)
{
    vlan_mgr::report_failure(0, VLAN_MGR_REPORT_INFO, syslog_msg_INFO_MSG, debug_format, syslog_format, [rc] {
        const int e = errno;
        return std::make_tuple(kQueryName, static_cast<int>(getpid()), e, std::strerror(e), static_cast<int>(rc));
    });
}

} // namespace

extern "C" {

VLAN_MGR_API int32_t vlan_mgr_send_vlan_req_resp_reply(uint32_t mts_handle, const void *entries, int32_t count,
                                                      const struct mts_msg_hdl *request)
{
    if (entries == nullptr || count == 0)
        return static_cast<int32_t>(VLAN_MGR_ERR_INVALID_ARG);

    mts_msg_hdl_t message_handle{nullptr};
    const uint32_t opcode = mts_opc_get(request);
    const X::ReqRespReply *l;
    if (opcode == MTS_OPC_VLAN_REQ_RESP_16) {
        l = &X::kReqResp16Reply;
    } else if (opcode == MTS_OPC_VLAN_REQ_RESP_30) {
        l = &X::kReqResp30Reply;
    } else {
        // Nothing to answer with: release the handle that was never sent.
        mts_drop(mts_handle, &message_handle);
        return 0;
    }
    // A negative count, or one whose reply does not fit a 32-bit length, is
    // an allocation failure.
    const uint64_t length = l->entries.end(static_cast<uint64_t>(static_cast<int64_t>(count)));
    if (count < 0 || length > UINT32_MAX)
        return static_cast<int32_t>(VLAN_MGR_ERR_NO_MEMORY);

    void *payload = std::malloc(static_cast<size_t>(length));
    if (payload == nullptr)
        return static_cast<int32_t>(VLAN_MGR_ERR_NO_MEMORY);
    Writer w(payload, static_cast<size_t>(length));
    l->count.put(w, static_cast<uint32_t>(count));
    write_entries(w, *l, static_cast<const uint8_t *>(entries), static_cast<uint32_t>(count));

    const int32_t result = mts_send(mts_handle, VLAN_MGR_MTS_DEST_NODE, 0, 0, payload,
                                    static_cast<uint32_t>(length), &message_handle, request, nullptr);
    mts_drop(mts_handle, &message_handle);
    std::free(payload);
    return result;
}

VLAN_MGR_API uint32_t *vlan_mgr_get_global_autostate_disable_settings(uint32_t mts_handle)
{
    mts_addr_t address;
    std::memset(&address, 0, sizeof address);
    address.word[0] = 1;

    using Req = X::AutostateRequest;
    auto *payload = static_cast<uint32_t *>(std::malloc(Req::kSize));
    if (payload == nullptr)
        return nullptr;
    {
        Writer w(payload, Req::kSize);
        Req::word.put(w, Req::kValue); // host byte order, not swapped
    }

    // The payload passes to the transport; it is not freed here.
    mts_msg_hdl_t send_handle{nullptr};
    int32_t rc = mts_send(mts_handle, VLAN_MGR_MTS_DEST_NODE, VLAN_MGR_MTS_SAP, MTS_OPC_VLAN_GET_GLOBAL_AUTOSTATE,
                          payload, Req::kSize, &send_handle, nullptr, &address);
    if (rc != 0) {
        report_call_failed("vlan_mgr %s: pid = %d, mts_send failed with following error no: %d (%s) and return val: %d \n",
                           " %s: pid = %d, mts_send failed with following error no: %d (%s) and return val: %d \n", rc);
        return nullptr;
    }

    const uint32_t token = mts_rr_token_get(&send_handle);
    mts_drop(mts_handle, &send_handle);

    mts_recv_opts_t options;
    std::memset(&options, 0, sizeof options);
    options.word[0] = 1;
    options.word[3] = token;
    mts_msg_hdl_t recv_handle{nullptr};
    rc = mts_recv(mts_handle, &recv_handle, &options);
    if (rc != 0) {
        report_call_failed("vlan_mgr %s: pid = %d, mts_recv failed with following error no: %d (%s) and return val: %d \n",
                           " %s: pid = %d, mts_recv failed with following error no: %d (%s) and return val: %d \n", rc);
        return nullptr;
    }

    auto *result = static_cast<uint32_t *>(std::malloc(sizeof(uint32_t)));
    if (result == nullptr) {
        vlan_mgr::report_failure(0, VLAN_MGR_REPORT_INFO, syslog_msg_INFO_MSG,
                                 "vlan_mgr %s: pid = %d, malloc failed with following error no: %d (%s)\n",
                                 " %s: pid = %d, malloc failed with following error no: %d (%s)\n", [] {
                                     const int e = errno;
                                     return std::make_tuple(kQueryName, static_cast<int>(getpid()), e,
                                                            std::strerror(e));
                                 });
        mts_drop(mts_handle, &recv_handle);
        return nullptr;
    }
    // The setting is the reply's first word, taken as is; a reply shorter
    // than a word leaves the missing bytes 0.
    using Rep = X::AutostateReply;
    static_assert(Rep::setting.off == 0 && Rep::kSize == sizeof(uint32_t));
    *result = 0;
    const void *reply = mts_payload_get(&recv_handle);
    uint32_t have = mts_payload_size(&recv_handle);
    if (reply != nullptr)
        std::memcpy(result, reply, have < Rep::kSize ? have : Rep::kSize);
    mts_drop(mts_handle, &recv_handle);
    return result;
}

} // extern "C"
