/* Host platform API for programs: the message transport.
 *
 * An MTS endpoint is (node, SAP). A process opens a handle bound to a SAP
 * (167 is the VLAN manager's) to serve requests and publish notifications,
 * or a handle with SAP 0 that only sends requests and receives replies and
 * notifications. The handle number is what mts_send, mts_recv and mts_drop
 * take. Node 0xFE000000 is this machine; other nodes are reached over TCP
 * through the node table (see docs/host_platform.md).
 *
 * mts_send and payload ownership: a payload sent with an address record
 * (`addr` non-NULL: the request form, and a datagram sent with one) is handed
 * over to the transport. It must come from malloc; the transport frees it
 * before mts_send returns, whether or not the send succeeded, so the caller
 * never touches it again. Without an address record (replies, datagrams sent
 * with `addr` NULL) the caller keeps its payload; the transport copies it.
 *
 * Delivery: a request is delivered at most once. It carries a deadline, its
 * sender's time-out (VLAN_MGR_MTS_TIMEOUT_MS) counted from the send; the
 * whole exchange (connect check, send, the receive of the reply by its token)
 * ends by then, and a receiving handle drops a request whose deadline has
 * passed before it is handed out (counted in requests_expired). After a
 * receive of the reply timed out, the request is discarded from the sender's
 * queue. Deadlines are CLOCK_REALTIME: nodes' clocks must agree to within a
 * small part of the time-out. */
#ifndef VLAN_MGR_HOST_MTS_H
#define VLAN_MGR_HOST_MTS_H

#include <stdint.h>

#include "vlan_mgr_platform.h"

#ifdef __cplusplus
extern "C" {
#endif

#define VLAN_MGR_HOST_MTS_LOCAL_NODE  0xFE000000u
#define VLAN_MGR_HOST_MTS_MAX_PAYLOAD (16u * 1024u * 1024u) /* bytes per message */
#define VLAN_MGR_HOST_MTS_WAIT_FOREVER 0xFFFFFFFFu

/* Error words of the transport (texts from syserr2str). */
#define VLAN_MGR_HOST_ERR_MTS_BAD_HANDLE 0x40480101 /* no such MTS handle */
#define VLAN_MGR_HOST_ERR_MTS_NO_SERVER  0x40480102 /* nobody serves the destination SAP */
#define VLAN_MGR_HOST_ERR_MTS_TIMEOUT    0x40480103 /* no reply (or message) within the time-out */
#define VLAN_MGR_HOST_ERR_MTS_NOTIF_LOST 0x40480104 /* notifications lost, resynchronise */
#define VLAN_MGR_HOST_ERR_MTS_TOO_BIG    0x40480105 /* payload over 16 MiB */
#define VLAN_MGR_HOST_ERR_MTS_SAP_BUSY   0x40480106 /* the SAP is already served */
#define VLAN_MGR_HOST_ERR_MTS_NO_NODE    0x40480107 /* node not in the node table */
#define VLAN_MGR_HOST_ERR_MTS_PEER_GONE  0x40480108 /* the requester is no longer there */
#define VLAN_MGR_HOST_ERR_MTS_IO         0x40480109 /* socket or run-directory error */
#define VLAN_MGR_HOST_ERR_MTS_ACCESS     0x4048010A /* permission denied on the run directory or a socket */

/* Kinds of message (vlan_mgr_host_mts_info_t.kind). */
#define VLAN_MGR_HOST_MTS_REQUEST      1u /* expects a reply (address word 0 = 1) */
#define VLAN_MGR_HOST_MTS_REPLY        2u
#define VLAN_MGR_HOST_MTS_DATAGRAM     3u /* one-way message */
#define VLAN_MGR_HOST_MTS_NOTIFICATION 4u

/* Opens a handle bound to `sap` on this machine (0: a client-only handle
 * with no SAP of its own) and stores its number in *mts_handle. Serving a
 * SAP creates <run dir>/sap.<sap> and <run dir>/pub.<sap>, mode 0660, and
 * also listens on TCP when this node is in the node table. Returns 0,
 * VLAN_MGR_HOST_ERR_MTS_SAP_BUSY when another process serves the SAP, or
 * VLAN_MGR_HOST_ERR_MTS_IO. */
int32_t vlan_mgr_host_mts_open(uint32_t sap, uint32_t *mts_handle);

/* Closes a handle: its sockets, its endpoints and the messages queued on it.
 * Messages already received and not dropped stay valid until mts_drop. */
int32_t vlan_mgr_host_mts_close(uint32_t mts_handle);

/* Subscribes the handle to the notifications of `opcode` published by the
 * handle serving (node, sap). Notifications arrive through mts_recv. */
int32_t vlan_mgr_host_mts_subscribe(uint32_t mts_handle, uint32_t node, uint32_t sap, uint32_t opcode);

/* Sends a notification of `opcode` to every subscriber of it; the handle
 * must serve a SAP. Never blocks: a subscriber whose queue is full misses the
 * message and gets VLAN_MGR_HOST_ERR_MTS_NOTIF_LOST at a later receive (when
 * the next notification or heartbeat of the publisher reaches it). */
int32_t vlan_mgr_host_mts_notify(uint32_t mts_handle, uint32_t opcode, const void *payload, uint32_t payload_len);

/* Publishes a heartbeat: the latest number of every opcode the handle has
 * published. A subscriber's transport compares it with the last notification
 * it received of each opcode it subscribes to and, when it is behind, its
 * next receive returns VLAN_MGR_HOST_ERR_MTS_NOTIF_LOST (the count in
 * vlan_mgr_host_mts_stats). Heartbeats are never handed out by mts_recv. A
 * publisher calls it at least once a second while it serves, so that a
 * subscriber learns of a loss within that time even when nothing else is
 * published. Never blocks. 0, VLAN_MGR_HOST_ERR_MTS_BAD_HANDLE, or 0x40480001
 * for a handle that serves no SAP. */
int32_t vlan_mgr_host_mts_heartbeat(uint32_t mts_handle);

/* Counters of a handle. */
typedef struct vlan_mgr_host_mts_stats {
    uint64_t requests_expired;   /* requests dropped unhandled: their deadline had passed */
    uint64_t notifications_lost; /* notifications lost, in all */
    uint64_t last_lost;          /* lost in the gap that the latest 0x40480104 reported */
    uint64_t malformed;          /* received and discarded: bad header, wrong frame count,
                                    wrong kind for the socket */
    uint64_t wrong_sap;          /* received and discarded: requests and one-way messages
                                    whose destination SAP is not the handle's */
} vlan_mgr_host_mts_stats_t;

/* Fills *stats: 0, 0x40480001 (stats NULL) or VLAN_MGR_HOST_ERR_MTS_BAD_HANDLE. */
int32_t vlan_mgr_host_mts_stats(uint32_t mts_handle, vlan_mgr_host_mts_stats_t *stats);

/* Waits until at least `count` subscriptions to `opcode` have reached the
 * handle's publisher: 0, or VLAN_MGR_HOST_ERR_MTS_TIMEOUT after
 * `timeout_ms`. */
int32_t vlan_mgr_host_mts_wait_subscribers(uint32_t mts_handle, uint32_t opcode, uint32_t count,
                                           uint32_t timeout_ms);

/* mts_recv with a time-out of its own (VLAN_MGR_HOST_MTS_WAIT_FOREVER: none)
 * for a receive without token matching: VLAN_MGR_HOST_ERR_MTS_TIMEOUT when
 * nothing arrived. A receive matching a token ends at the request's deadline
 * (its send plus the transport's time-out) or after `timeout_ms`, whichever
 * comes first. */
int32_t vlan_mgr_host_mts_recv_timed(uint32_t mts_handle, mts_msg_hdl_t *msg_out, const mts_recv_opts_t *opts,
                                     uint32_t timeout_ms);

/* What the transport knows of a message. */
typedef struct vlan_mgr_host_mts_info {
    uint32_t kind;     /* VLAN_MGR_HOST_MTS_REQUEST ... */
    uint32_t src_node; /* sender's node */
    uint32_t src_sap;  /* sender's SAP, 0 for a client-only handle */
    uint32_t dest_sap;
    uint32_t opcode;
    uint32_t token;    /* request-response token */
    uint32_t seq;      /* notifications: the publisher's number of it for this opcode */
    uint32_t src_vdc;  /* the sender's own VDC id (its sysmgr_vdc_get) */
    /* Requests and one-way messages received by a handle that serves a SAP:
     * who sent it, as the socket knows it (not from the header). For
     * VLAN_MGR_HOST_MTS_PEER_LOCAL the kernel's credentials of the process
     * that opened the connection; 0 otherwise, and for every other message. */
    uint32_t peer;     /* VLAN_MGR_HOST_MTS_PEER_UNKNOWN ... */
    uint32_t peer_uid;
    uint32_t peer_gid;
    uint32_t peer_pid;
} vlan_mgr_host_mts_info_t;

/* Where a received message came from (vlan_mgr_host_mts_info_t.peer). */
#define VLAN_MGR_HOST_MTS_PEER_UNKNOWN 0u /* sent messages; a local peer without credentials */
#define VLAN_MGR_HOST_MTS_PEER_LOCAL   1u /* this machine's socket: uid, gid and pid are known */
#define VLAN_MGR_HOST_MTS_PEER_REMOTE  2u /* TCP (another node): no credentials */

/* Fills *info for a received or sent message: 0 or 0x40480001. */
int32_t vlan_mgr_host_mts_msg_info(const mts_msg_hdl_t *msg, vlan_mgr_host_mts_info_t *info);

/* The path that the last VLAN_MGR_HOST_ERR_MTS_ACCESS returned to this
 * thread was refused on (a socket, or the run directory): "" when the last
 * call of this thread that can return it (open, subscribe, a request or
 * one-way message through mts_send) did not. The text belongs to the
 * transport and stays valid until this thread's next such call. */
const char *vlan_mgr_host_mts_last_error_path(void);

/* Closes every handle, delivers what is still queued for sending (datagrams
 * within the transport's time-out, a serving handle's replies and
 * notifications within 500 ms; requests still awaiting their reply are
 * dropped) and releases the transport. A program calls it
 * before it exits; the transport starts again at the next open. */
void vlan_mgr_host_mts_shutdown(void);

#ifdef __cplusplus
}
#endif

#endif
