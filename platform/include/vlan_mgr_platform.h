/* The platform interface that libvlan_mgr calls. The library leaves every
 * function here undefined; a program links exactly one platform: the host
 * platform (platform/host) or the test platform (platform/testing). The TLV
 * utility's functions are declared in tlvu.h.
 *
 * The library's load-time constructor already calls into the platform, so a
 * platform must work before its own static constructors have run. */
#ifndef VLAN_MGR_PLATFORM_H
#define VLAN_MGR_PLATFORM_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define VLAN_MGR_PLATFORM_API __attribute__((visibility("default")))

/* ---- Message transport (MTS) ------------------------------------------ */

/* A message owned by the transport; opaque to the library. */
typedef struct mts_msg mts_msg_t;

/* A message handle: what mts_send and mts_recv hand back and what mts_drop
 * releases. A received handle exposes its payload through mts_payload_get. */
typedef struct mts_msg_hdl {
    mts_msg_t *msg;
} mts_msg_hdl_t;

/* Address record of a send: 17 words; the first is 1 for a request that
 * expects a request-response reply. */
typedef struct mts_addr {
    uint32_t word[17];
} mts_addr_t;

/* Receive options: 10 words; word 0 = 1 selects matching by token, word 3
 * holds the request-response token to match. */
typedef struct mts_recv_opts {
    uint32_t word[10];
} mts_recv_opts_t;

VLAN_MGR_PLATFORM_API uint32_t mts_opc_get(const mts_msg_hdl_t *msg);
VLAN_MGR_PLATFORM_API void *mts_payload_get(const mts_msg_hdl_t *msg);
VLAN_MGR_PLATFORM_API uint32_t mts_payload_size(const mts_msg_hdl_t *msg);
/* Sends `payload_len` bytes of `payload`. With `request` non-NULL the message
 * is the reply to that request (dest_sap and opcode 0). With `addr` non-NULL
 * the payload (malloc'ed) passes to the transport, which frees it whatever
 * the outcome; otherwise the transport copies it and the caller keeps
 * ownership. Returns 0 on success. */
VLAN_MGR_PLATFORM_API int32_t mts_send(uint32_t mts_handle, uint32_t dest_node, uint32_t dest_sap,
                                       uint32_t opcode, void *payload, uint32_t payload_len,
                                       mts_msg_hdl_t *msg_out, const mts_msg_hdl_t *request,
                                       const mts_addr_t *addr);
VLAN_MGR_PLATFORM_API uint32_t mts_rr_token_get(const mts_msg_hdl_t *msg);
/* Blocks until a message matching `opts` arrives; 0 on success. */
VLAN_MGR_PLATFORM_API int32_t mts_recv(uint32_t mts_handle, mts_msg_hdl_t *msg_out,
                                       const mts_recv_opts_t *opts);
VLAN_MGR_PLATFORM_API int32_t mts_drop(uint32_t mts_handle, mts_msg_hdl_t *msg);

/* ---- Shared database ---------------------------------------------------- */

/* A key or a value: a pointer to bytes and their length. */
typedef struct sdb_key {
    const void *data;
    uint32_t len;
} sdb_key_t;

typedef struct sdb_rec {
    const void *data; /* NULL: no record for this key */
    uint32_t len;
} sdb_rec_t;

/* The database handle is its URI, e.g. "volatile:/dev/shm/vlan_mgr_bd_sdb". */
VLAN_MGR_PLATFORM_API int32_t sdb_open(const char *uri, uint32_t flags, uint32_t arg2, uint32_t arg3,
                                       uint32_t arg4);
/* Reads one record. Returns a descriptor owned by the platform, valid until the
 * next call on the same handle, or NULL; *error is set either way. */
VLAN_MGR_PLATFORM_API const sdb_rec_t *sdb_read(const char *handle, const sdb_key_t *key, int32_t *error);
/* Fetches `count` keys at once into `recs` (caller's array of `count`); a
 * missing key leaves data NULL. The values stay valid until sdb_mfetch_done. */
VLAN_MGR_PLATFORM_API int32_t sdb_mfetch(const char *handle, const sdb_key_t *keys, uint32_t count,
                                         sdb_rec_t *recs, int32_t *error);
VLAN_MGR_PLATFORM_API int32_t sdb_mfetch_done(const char *handle, sdb_rec_t *recs, uint32_t count);
VLAN_MGR_PLATFORM_API int32_t sdb_close(const char *handle);
VLAN_MGR_PLATFORM_API int32_t fsrv_sdb_publisher_lib_init(const void *params);

/* ---- VDC and system manager --------------------------------------------- */

/* The calling process's own VDC id. */
VLAN_MGR_PLATFORM_API uint16_t sysmgr_vdc_get(void);
VLAN_MGR_PLATFORM_API int32_t sysmgr_set_vdc_ctxt(uint16_t vdc_id);
VLAN_MGR_PLATFORM_API int32_t sysmgr_reset_vdc_ctxt(void);
/* Non-zero when the VDC exists; *out receives the platform's VDC state. */
VLAN_MGR_PLATFORM_API int32_t vdc_is_created(uint16_t vdc_id, uint32_t *out);

/* ---- Event history and debugging ---------------------------------------- */

/* The module-name object that debug lines are printed under. */
typedef struct sdwrap_dbg_modname {
    char name[32];
} sdwrap_dbg_modname_t;
VLAN_MGR_PLATFORM_API extern sdwrap_dbg_modname_t sdwrap_dbg_modname;

/* 0 when an event of this subtype is to be recorded. */
VLAN_MGR_PLATFORM_API int32_t sdwrap_hist_event_subtype_check(uint32_t event_id, uint32_t subtype);
/* Records `length` bytes of `record` under `event_id`. */
VLAN_MGR_PLATFORM_API int32_t sdwrap_hist_event(uint32_t event_id, uint32_t length, const void *record);
/* Non-zero when debug output of this class is switched on. */
VLAN_MGR_PLATFORM_API int32_t sdwrap_chk_int(uint32_t subtype, uint32_t arg1, uint32_t arg2, uint32_t arg3);
/* Prints the header line of one history entry: its time (seconds and
 * microseconds), the event's name (may be NULL) and the text's length. `out`
 * is the history service's print context. */
VLAN_MGR_PLATFORM_API int32_t sdwrap_hist_print_event_header(void *out, const char *event_name,
                                                             uint32_t text_length, uint32_t time_sec,
                                                             uint32_t time_usec);
/* Prints one debug line for module `modname`. */
VLAN_MGR_PLATFORM_API int32_t buginf(int32_t level, const sdwrap_dbg_modname_t *modname, int32_t flags,
                                     const char *format, ...) __attribute__((format(printf, 4, 5)));

/* ---- Syslog ------------------------------------------------------------- */

/* Sends one syslog message: `format` with the arguments that follow (for the
 * catalogue: facility name, severity, text). */
VLAN_MGR_PLATFORM_API int32_t kivo_syslog(uint32_t severity, const char *format, ...);

/* ---- Interface indexes and the rest ------------------------------------- */

VLAN_MGR_PLATFORM_API uint32_t hton_if_index(uint32_t if_index);
VLAN_MGR_PLATFORM_API uint32_t ntoh_if_index(uint32_t if_index);
/* The card's module type; 0 on success. */
VLAN_MGR_PLATFORM_API int32_t get_card_module_info(uint32_t *module_type);
/* Text of a platform error word; never NULL. */
VLAN_MGR_PLATFORM_API const char *syserr2str(int32_t error);
/* Releases memory that the transport allocated on the caller's behalf. */
VLAN_MGR_PLATFORM_API void mtrack_free(void *ptr);

#ifdef __cplusplus
}
#endif

#endif
