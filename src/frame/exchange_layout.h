// The layouts of the manager's own exchanges, written once: the library's
// reply sender and autostate query (req_resp.cpp), the parser of the
// request-response replies (notif/change.cpp) and the manager's decoders and
// encoders (exchange_server.cpp) are all made from them.
#pragma once

#include <vlan_mgr/frame.h>
#include <vlan_mgr/internal/layout.h>

namespace vlan_mgr::layout::exchange {

// Request-response request (MTS_OPC_VLAN_REQ_RESP_16 and _30): a list of
// 6-byte VDC/VLAN keys, big-endian, at least one, at most kMaxKeys.
struct ReqRespRequest {
    static constexpr List keys{0, 6};
    struct Key {
        static constexpr U16 vdc_id{0};
        static constexpr U32 vlan_id{2};
    };
    static constexpr uint32_t kMaxKeys = 5 * 4096; // every VLAN of every VDC
};

// The caller entry of vlan_mgr_send_vlan_req_resp_reply: 16 or 30 bytes,
// four fields in HOST order, the rest not read.
//   0x5C03: VDC id, VLAN id, BD id (0: not created), segment id (0: none)
//   0x5C29: VDC id, VLAN id, VLAN type, primary VLAN (a secondary private
//           VLAN's primary, else 0)
struct CallerEntry {
    static constexpr HostU16 first16{0};
    static constexpr HostU32 first32{2};
    static constexpr HostU16 second16{6};
    static constexpr HostU32 second32{8};
};

// The request-response reply: a count and one big-endian entry per key, in
// key order, with the caller entry's stride; the entry's bytes after the
// four fields are 0.
//   0x5C03: 4 bytes 0, count(4), entries of 16 bytes from 8
//   0x5C29: count(4), entries of 30 bytes from 4
struct ReqRespReply {
    U32 count;
    List entries;
    // The parser's reads of one entry beyond the four fields (sent as 0).
    struct Entry {
        static constexpr U16 first16{0};
        static constexpr U32 first32{2};
        static constexpr U16 second16{6};
        static constexpr U32 second32{8};
        static constexpr U32 word12{12};
        static constexpr U32 word16{16}; // 30-byte entries only
        static constexpr U32 word20{20};
        static constexpr U16 half24{24};
        static constexpr U32 word26{26};
    };
};
inline constexpr ReqRespReply kReqResp16Reply{{4}, {8, VLAN_MGR_REQ_RESP_16_STRIDE}};
inline constexpr ReqRespReply kReqResp30Reply{{0}, {4, VLAN_MGR_REQ_RESP_30_STRIDE}};

// The global autostate query (MTS_OPC_VLAN_GET_GLOBAL_AUTOSTATE): the request
// is the word 1 in host order, which the manager does not read; the reply
// is the setting as a 32-bit word in HOST order.
struct AutostateRequest {
    static constexpr HostU32 word{0};
    static constexpr size_t kSize = 4;
    static constexpr uint32_t kValue = 1;
};
struct AutostateReply {
    static constexpr HostU32 setting{0};
    static constexpr size_t kSize = 4;
};

} // namespace vlan_mgr::layout::exchange
