/* Message frame and common plumbing of libvlan_mgr: status codes, the VLAN
 * bitmap wire type, the VLAN key record, the syslog message catalogue and the
 * VLAN manager's MTS constants. */
#ifndef VLAN_MGR_FRAME_H
#define VLAN_MGR_FRAME_H

#include <vlan_mgr/export.h>

VLAN_MGR_BEGIN_DECLS

/* Status codes. Every builder and parser returns an unsigned 32-bit status;
 * 0 is success, errors live in the VLAN manager's space 0x4110xxxx. Status
 * words received from the VLAN manager and platform error words (0x4048xxxx,
 * 0x411axxxx) are passed through unchanged. */
#define VLAN_MGR_OK                0u
#define VLAN_MGR_ERR_NO_MEMORY     0x41100002u /* malloc failed, or an empty reply */
#define VLAN_MGR_ERR_INVALID_ARG   0x41100003u /* required pointer NULL or count 0 */
#define VLAN_MGR_ERR_NAME_TOO_LONG 0x4110000fu /* VLAN name over its limit */
#define VLAN_MGR_ERR_VDC_MISMATCH  0x41100013u /* VDC id is not the caller's own */
/* A reply whose counts or offsets point beyond the bytes received. */
#define VLAN_MGR_ERR_TRUNCATED     0x411000F0u

/* The VLAN manager's MTS addressing. */
#define VLAN_MGR_MTS_DEST_NODE 0xFE000000u
#define VLAN_MGR_MTS_SAP       167u

/* Event-history id of every failure the library reports, and its classes. */
#define VLAN_MGR_LIB_HIST_ID        0x730000u
#define VLAN_MGR_REPORT_VDC_MISMATCH 100u
#define VLAN_MGR_REPORT_INFO         102u

/* VLAN bitmap, the wire form of a set of VLANs: a length word holding 512 in
 * host byte order, then 4096 bits. VLAN v is bit 0x80 >> (v & 7) of
 * bits[v / 8]. */
#define VLAN_MGR_BITMAP_BYTES 512u
typedef struct vlan_bitmap {
    uint32_t len;
    uint8_t bits[VLAN_MGR_BITMAP_BYTES];
} vlan_bitmap;
VLAN_MGR_ASSERT_SIZE(vlan_bitmap, 516);
VLAN_MGR_ASSERT_OFFSET(vlan_bitmap, bits, 4);

/* A VLAN key: the VDC id, then the VLAN id. Packed, 6 bytes; big-endian in
 * requests and replies, host order in result records. */
typedef struct VLAN_MGR_PACKED vdc_vlan_id {
    uint16_t vdc_id;
    uint32_t vlan_id;
} vdc_vlan_id_t;
VLAN_MGR_ASSERT_SIZE(vdc_vlan_id_t, 6);
VLAN_MGR_ASSERT_OFFSET(vdc_vlan_id_t, vlan_id, 2);

/* Syslog facility record of the VLAN manager. Writable: the platform's
 * logging configuration raises `current_level` at run time; messages whose
 * severity number is above it are not sent. */
typedef struct vlan_mgr_syslog_facility {
    const char *name;        /* "vlan_mgr", sent upper-cased */
    uint32_t code;           /* the platform's facility code, 0x880 */
    uint8_t default_level;   /* 2 */
    uint8_t current_level;   /* 2 */
    uint8_t reserved[2];
} vlan_mgr_syslog_facility_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_syslog_facility_t, VLAN_MGR_WORDS_SIZE(2, 1));
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_syslog_facility_t, code, sizeof(void *));
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_syslog_facility_t, default_level, sizeof(void *) + 4);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_syslog_facility_t, current_level, sizeof(void *) + 5);

/* One syslog message of the catalogue: mnemonic, facility, format and
 * severity (0..7, only the low byte is read). */
typedef struct vlan_mgr_syslog_msg {
    const char *name;
    vlan_mgr_syslog_facility_t *facility;
    const char *format;
    uint32_t severity;
} vlan_mgr_syslog_msg_t;
VLAN_MGR_ASSERT_SIZE(vlan_mgr_syslog_msg_t, sizeof(void *) == 4 ? 16 : 32);
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_syslog_msg_t, facility, sizeof(void *));
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_syslog_msg_t, format, 2 * sizeof(void *));
VLAN_MGR_ASSERT_OFFSET(vlan_mgr_syslog_msg_t, severity, 3 * sizeof(void *));

/* The facility and the catalogue. The library itself sends only ERROR_MSG and
 * INFO_MSG; the others are for the VLAN manager process. */
VLAN_MGR_API extern vlan_mgr_syslog_facility_t syslog_fac_LOG_VLAN_MGR;
VLAN_MGR_API extern const vlan_mgr_syslog_msg_t syslog_msg_ERROR_MSG;
VLAN_MGR_API extern const vlan_mgr_syslog_msg_t syslog_msg_WARN_MSG;
VLAN_MGR_API extern const vlan_mgr_syslog_msg_t syslog_msg_INFO_MSG;
VLAN_MGR_API extern const vlan_mgr_syslog_msg_t syslog_msg_NOTIF_MSG;
VLAN_MGR_API extern const vlan_mgr_syslog_msg_t syslog_msg_CRITICAL_MSG;
VLAN_MGR_API extern const vlan_mgr_syslog_msg_t syslog_msg_VLAN_OPER_STATUS_CHG;
VLAN_MGR_API extern const vlan_mgr_syslog_msg_t syslog_msg_VLAN_CREATED;
VLAN_MGR_API extern const vlan_mgr_syslog_msg_t syslog_msg_VLAN_MGR_STATELESS_RESTART;
VLAN_MGR_API extern const vlan_mgr_syslog_msg_t syslog_msg_VLAN_MGR_STATEFULL_RESTART;
VLAN_MGR_API extern const vlan_mgr_syslog_msg_t syslog_msg_RESERVED_VLAN_RANGE_CHANGED;

/* ---- Synchronous request-response exchange ------------------------------- */

/* MTS opcodes of the exchange. */
#define MTS_OPC_VLAN_GET_GLOBAL_AUTOSTATE 0x5C53u /* the autostate query */
#define MTS_OPC_VLAN_REQ_RESP_16          0x5C03u /* request answered with 16-byte entries */
#define MTS_OPC_VLAN_REQ_RESP_30          0x5C29u /* request answered with 30-byte entries */

/* Stride of the caller's entries and of the reply entries per opcode. Each
 * entry holds, packed and in host order: a 16-bit value at 0, a 32-bit value
 * at 2, a 16-bit value at 6 and a 32-bit value at 8; the reply carries them
 * big-endian and the rest of the entry as zeros. */
#define VLAN_MGR_REQ_RESP_16_STRIDE 16u
#define VLAN_MGR_REQ_RESP_30_STRIDE 30u

/* A received MTS message handle (the platform's mts_msg_hdl_t). */
struct mts_msg_hdl;

/* Answers `request`, received on `mts_handle`, with `count` entries of
 * `entries` (stride by the request's opcode): opcode 0x5C03 gets
 * {0, count, 16-byte entries}, 0x5C29 gets {count, 30-byte entries}, both
 * big-endian. The reply is sent to node 0xFE000000 along the request. Returns
 * VLAN_MGR_ERR_INVALID_ARG for NULL entries or a count of 0,
 * VLAN_MGR_ERR_NO_MEMORY when the reply cannot be allocated (a negative
 * count too), 0 without sending anything for any other opcode, else the
 * result of mts_send. */
VLAN_MGR_API int32_t vlan_mgr_send_vlan_req_resp_reply(uint32_t mts_handle, const void *entries, int32_t count,
                                                      const struct mts_msg_hdl *request);

/* Asks the VLAN manager (SAP 167) for its global autostate-disable setting
 * and waits for the answer on `mts_handle`. Returns a malloc'ed word holding
 * the setting (the reply's first word, in host order), which the caller frees
 * with free, or NULL when the exchange failed (reported, class 102,
 * INFO_MSG, except a failed first allocation). The 4-byte request payload
 * passes to the transport and is not freed by the library. */
VLAN_MGR_API uint32_t *vlan_mgr_get_global_autostate_disable_settings(uint32_t mts_handle);

VLAN_MGR_END_DECLS

#endif
