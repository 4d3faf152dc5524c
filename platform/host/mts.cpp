// The host platform's message transport on ZeroMQ.
//
// A handle that serves SAP s binds a ROUTER socket at <run dir>/sap.<s> for
// requests and datagrams and an XPUB socket at <run dir>/pub.<s> for the
// notifications it publishes. To send to (node, sap) a handle connects one
// DEALER socket per destination; replies come back on that DEALER, carrying
// the request's token. Notifications arrive on one SUB socket per handle.
// Every message is three frames or fewer: [routing id or topic], a 40-byte
// header, the payload.
//
// Delivery: a request carries its deadline (the sender's time-out from the
// moment it was sent, in CLOCK_REALTIME milliseconds); the receiving handle
// drops it unhandled once that has passed, and the sender's receive of the
// reply ends at the same moment, after which the request's DEALER is closed
// without lingering. A publisher sends a heartbeat with the latest number of
// each opcode it has published; a subscriber that is behind it learns at its
// next receive how many notifications it lost.
//
// State: a constant-initialised table of handle pointers under one mutex;
// each handle has a mutex of its own and a reference count, so that close
// never frees a handle that another thread is using. A forked child forgets
// the parent's transport (ZeroMQ contexts do not survive fork) and starts an
// empty one at its next open.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>
#include <zmq.h>

#include "host/host_platform.h"
#include "host/mts_frame.h"
#include "vlan_mgr_host_trust.h"
#include "vlan_mgr_host_mts.h"
#include "vlan_mgr_platform.h"

namespace host = vlan_mgr_host;

static_assert(VLAN_MGR_HOST_ERR_MTS_BAD_HANDLE == host::MTS_ERR_BAD_HANDLE);
static_assert(VLAN_MGR_HOST_ERR_MTS_NO_SERVER == host::MTS_ERR_NO_SERVER);
static_assert(VLAN_MGR_HOST_ERR_MTS_TIMEOUT == host::MTS_ERR_TIMEOUT);
static_assert(VLAN_MGR_HOST_ERR_MTS_NOTIF_LOST == host::MTS_ERR_NOTIF_LOST);
static_assert(VLAN_MGR_HOST_ERR_MTS_TOO_BIG == host::MTS_ERR_TOO_BIG);
static_assert(VLAN_MGR_HOST_ERR_MTS_SAP_BUSY == host::MTS_ERR_SAP_BUSY);
static_assert(VLAN_MGR_HOST_ERR_MTS_NO_NODE == host::MTS_ERR_NO_NODE);
static_assert(VLAN_MGR_HOST_ERR_MTS_PEER_GONE == host::MTS_ERR_PEER_GONE);
static_assert(VLAN_MGR_HOST_ERR_MTS_IO == host::MTS_ERR_IO);
static_assert(VLAN_MGR_HOST_ERR_MTS_ACCESS == host::MTS_ERR_ACCESS);

// A message as the transport hands it out: received (with its payload frame,
// kept without a copy until mts_drop) or sent (header fields only).
struct mts_msg {
    uint32_t kind, src_node, src_sap, dest_sap, opcode, token, seq;
    uint32_t src_vdc;     // the sender's own VDC id
    uint64_t deadline;    // requests: CLOCK_REALTIME ms after which it is dropped; 0 none
    uint32_t handle;      // the handle that received it; 0 for a sent message
    bool has_payload;
    zmq_msg_t payload;
    uint32_t peer, peer_uid, peer_gid, peer_pid;  // the sender as the socket knows it (received only)
    uint8_t rid_len;      // routing id of the requester (requests only)
    uint8_t rid[255];
    mts_msg *next;        // link in a handle's queue
};

namespace {

// ---- Wire header ------------------------------------------------------------

namespace wire = vlan_mgr::wire;
using Header = host::MtsHeaderLayout;
using Topic = host::MtsTopicLayout;
using Subscription = host::MtsSubscriptionLayout;
using Heartbeat = host::MtsHeartbeatLayout;

constexpr size_t kHeaderSize = Header::kSize;
// Kind of a publisher's heartbeat: read by the transport, never handed out.
constexpr uint8_t kHeartbeat = vlan_mgr_host::kMtsKindHeartbeat;
// The topic heartbeats are published under; every subscriber takes it.
constexpr uint32_t kHeartbeatTopic = 0xFFFFFFFF;

// Writes the header of `m`, version 2 (mts_frame.h gives its layout).
void encode_header(uint8_t *h, const mts_msg &m)
{
    wire::Writer w(h, Header::kSize);
    Header::magic.put(w, Header::kMagic);
    Header::version.put(w, Header::kVersion);
    Header::kind.put(w, static_cast<uint8_t>(m.kind));
    Header::src_vdc.put(w, static_cast<uint16_t>(m.src_vdc));
    Header::src_node.put(w, m.src_node);
    Header::src_sap.put(w, m.src_sap);
    Header::dest_sap.put(w, m.dest_sap);
    Header::opcode.put(w, m.opcode);
    Header::token.put(w, m.token);
    Header::seq.put(w, m.seq);
    Header::deadline.put(w, m.deadline);
}

// Reads a version 1 or 2 header of exactly its size; false (and `m`
// unchanged) for anything else. Depends on the bytes only.
bool decode_header(const uint8_t *h, size_t len, mts_msg &m)
{
    if (h == nullptr)
        return false;
    const wire::Reader r(h, len);
    if (!r.has(0, Header::kSize1) || Header::magic.get(r) != Header::kMagic)
        return false;
    const uint8_t version = Header::version.get(r), kind = Header::kind.get(r);
    if (!((version == Header::kVersion1 && len == Header::kSize1) ||
          (version == Header::kVersion && len == Header::kSize)) ||
        kind < VLAN_MGR_HOST_MTS_REQUEST || kind > kHeartbeat)
        return false;
    m.kind = kind;
    m.src_vdc = Header::src_vdc.get(r);
    m.src_node = Header::src_node.get(r);
    m.src_sap = Header::src_sap.get(r);
    m.dest_sap = Header::dest_sap.get(r);
    m.opcode = Header::opcode.get(r);
    m.token = Header::token.get(r);
    m.seq = Header::seq.get(r);
    m.deadline = version == Header::kVersion ? Header::deadline.get(r) : 0;
    return true;
}

// The topic frame of `opcode`: a notification's first frame, and what a
// subscriber subscribes to.
std::array<uint8_t, Topic::kSize> topic_of(uint32_t opcode)
{
    std::array<uint8_t, Topic::kSize> t;
    wire::Writer w(t.data(), t.size());
    Topic::opcode.put(w, opcode);
    return t;
}

mts_msg *new_msg()
{
    auto *m = static_cast<mts_msg *>(std::calloc(1, sizeof(mts_msg)));
    if (m != nullptr)
        zmq_msg_init(&m->payload);
    return m;
}

void free_msg(mts_msg *m)
{
    if (m == nullptr)
        return;
    zmq_msg_close(&m->payload);
    std::free(m);
}

// ---- Environment ------------------------------------------------------------

uint32_t env_u32(const char *name, uint32_t fallback, uint32_t min)
{
    const char *v = std::getenv(name);
    if (v == nullptr || *v == '\0' || *v == '-')
        return fallback;
    char *end = nullptr;
    errno = 0;
    unsigned long long n = std::strtoull(v, &end, 0);
    if (end == v || *end != '\0' || errno != 0 || n > 0xFFFFFFFFull || n < min)
        return fallback;
    return static_cast<uint32_t>(n);
}

uint32_t timeout_ms() { return env_u32(host::ENV_MTS_TIMEOUT_MS, host::DEFAULT_MTS_TIMEOUT_MS, 1); }
uint32_t own_node() { return env_u32(host::ENV_NODE, VLAN_MGR_HOST_MTS_LOCAL_NODE, 0); }

const char *run_dir()
{
    const char *d = std::getenv(host::ENV_RUN_DIR);
    return d != nullptr && *d != '\0' ? d : host::DEFAULT_RUN_DIR;
}

bool is_local(uint32_t node) { return node == VLAN_MGR_HOST_MTS_LOCAL_NODE || node == own_node(); }

// The node table: one line per node, "<node id> <host> <base port>", '#'
// starting a comment. SAP s of a node listens on base + 2s (requests) and
// base + 2s + 1 (notifications).
bool node_lookup(uint32_t node, char *hostname, size_t host_size, uint32_t *base_port)
{
    const char *path = std::getenv(host::ENV_NODE_TABLE);
    if (path == nullptr || *path == '\0')
        path = host::DEFAULT_NODE_TABLE;
    FILE *f = std::fopen(path, "re");
    if (f == nullptr)
        return false;
    char line[512];
    bool found = false;
    while (!found && std::fgets(line, sizeof line, f) != nullptr) {
        if (char *hash = std::strchr(line, '#'))
            *hash = '\0';
        char id[64], name[256];
        unsigned long port = 0;
        if (std::sscanf(line, "%63s %255s %lu", id, name, &port) != 3)
            continue;
        char *end = nullptr;
        unsigned long long n = std::strtoull(id, &end, 0);
        if (*end != '\0' || n != node || port == 0 || port > 65535 || std::strlen(name) >= host_size)
            continue;
        std::snprintf(hostname, host_size, "%s", name);
        *base_port = static_cast<uint32_t>(port);
        found = true;
    }
    std::fclose(f);
    return found;
}

enum class Ep { requests, notifications };

// The local socket path of a SAP's endpoint.
bool ipc_path(uint32_t sap, Ep ep, char *buf, size_t size)
{
    int n = std::snprintf(buf, size, "%s/%s.%u", run_dir(), ep == Ep::requests ? "sap" : "pub", sap);
    return n > 0 && static_cast<size_t>(n) < size && static_cast<size_t>(n) < sizeof(sockaddr_un::sun_path);
}

// The address to connect to for (node, sap): 0 or an error word.
int32_t endpoint(uint32_t node, uint32_t sap, Ep ep, char *buf, size_t size, bool *local_path)
{
    *local_path = false;
    if (is_local(node)) {
        char path[sizeof(sockaddr_un::sun_path)];
        if (!ipc_path(sap, ep, path, sizeof path))
            return host::ERR_INVALID_ARG;
        *local_path = true;
        std::snprintf(buf, size, "ipc://%s", path);
        return 0;
    }
    char name[256];
    uint32_t base = 0;
    if (!node_lookup(node, name, sizeof name, &base))
        return host::MTS_ERR_NO_NODE;
    const uint64_t port = base + 2ull * sap + (ep == Ep::notifications ? 1 : 0);
    if (port > 65535)
        return host::MTS_ERR_NO_NODE;
    std::snprintf(buf, size, "tcp://%s:%u", name, static_cast<unsigned>(port));
    return 0;
}

// What a connection attempt to a local socket found.
enum class Listener { yes, nobody, denied };

// Whether a process accepts connections on the local socket `path`. A path
// that this process may not reach (search permission on the run directory,
// write permission on the socket) is `denied`, never taken for an absent
// server.
Listener someone_listens(const char *path)
{
    sockaddr_un a{};
    const size_t len = std::strlen(path);
    if (len >= sizeof a.sun_path)
        return Listener::nobody;
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return Listener::nobody;
    a.sun_family = AF_UNIX;
    std::memcpy(a.sun_path, path, len + 1);
    const int rc = connect(fd, reinterpret_cast<sockaddr *>(&a), sizeof a);
    const int err = errno;
    close(fd);
    if (rc == 0)
        return Listener::yes;
    return err == EACCES || err == EPERM ? Listener::denied : Listener::nobody;
}

// The path of this thread's last permission refusal
// (vlan_mgr_host_mts_last_error_path).
thread_local constinit char t_error_path[512] = {};

void clear_error_path()
{
    if (t_error_path[0] == '\0')
        return; // the thread's noted detail, if any, is not ours
    t_error_path[0] = '\0';
    host::note_error_detail(host::MTS_ERR_ACCESS, nullptr);
}

// A permission refusal: its path for vlan_mgr_host_mts_last_error_path, and
// in this thread's text of the word (syserr2str), so that every report of it
// names the path.
int32_t access_denied(const char *path)
{
    const size_t n = std::min(std::strlen(path), sizeof t_error_path - 1);
    std::memcpy(t_error_path, path, n);
    t_error_path[n] = '\0';
    host::note_error_detail(host::MTS_ERR_ACCESS, t_error_path);
    return host::MTS_ERR_ACCESS;
}

// The sender of a message read from `frame`. A local socket's peer address is
// "localhost:<uid>:<gid>:<pid>" (the kernel's credentials of the connecting
// process); a TCP peer's is its numeric address, which never reads
// "localhost".
void set_peer(mts_msg *m, zmq_msg_t *frame)
{
    const char *addr = zmq_msg_gets(frame, "Peer-Address");
    m->peer = VLAN_MGR_HOST_MTS_PEER_UNKNOWN;
    if (addr == nullptr || *addr == '\0')
        return;
    static constexpr char kLocal[] = "localhost";
    if (std::strncmp(addr, kLocal, sizeof kLocal - 1) != 0) {
        m->peer = VLAN_MGR_HOST_MTS_PEER_REMOTE;
        return;
    }
    const char *p = addr + sizeof kLocal - 1;
    uint32_t ids[3] = {};
    for (uint32_t &id : ids) {
        if (*p != ':' || p[1] < '0' || p[1] > '9')
            return;
        char *end = nullptr;
        errno = 0;
        const unsigned long long v = std::strtoull(p + 1, &end, 10);
        if (errno != 0 || v > 0xFFFFFFFFull)
            return;
        id = static_cast<uint32_t>(v);
        p = end;
    }
    if (*p != '\0')
        return;
    m->peer = VLAN_MGR_HOST_MTS_PEER_LOCAL;
    m->peer_uid = ids[0];
    m->peer_gid = ids[1];
    m->peer_pid = ids[2];
}

uint64_t clock_ms(clockid_t clock)
{
    timespec ts;
    clock_gettime(clock, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000u + static_cast<uint64_t>(ts.tv_nsec) / 1000000u;
}

uint64_t now_ms() { return clock_ms(CLOCK_MONOTONIC); }
// Deadlines on the wire: the wall clock, which both ends share.
uint64_t wall_ms() { return clock_ms(CLOCK_REALTIME); }

// ---- Handles ------------------------------------------------------------------

struct Dealer {
    uint32_t node, sap;
    void *sock;
};

struct SeqState {
    uint32_t node, sap, opcode, last;
};

// A request sent and not yet answered: where its reply comes from and when
// its sender stops waiting (CLOCK_MONOTONIC ms).
struct Pending {
    uint32_t token;
    uint64_t deadline;
    void *sock;
};

struct Handle {
    pthread_mutex_t mu = PTHREAD_MUTEX_INITIALIZER;
    uint32_t id = 0, sap = 0;
    int refs = 0;        // users between acquire and release (under g_mu)
    bool closed = false; // removed from the table; the last user frees it
    void *router = nullptr, *pub = nullptr, *sub = nullptr;
    std::vector<Dealer> dealers;
    std::vector<std::pair<uint32_t, uint32_t>> pub_seq;   // opcode -> last number sent
    std::vector<std::pair<uint32_t, int>> subscribers;    // opcode -> subscriptions seen
    std::vector<std::pair<uint32_t, uint32_t>> sub_to;    // (node, sap) publishers connected
    std::vector<uint32_t> sub_opcodes;                    // opcodes subscribed
    std::vector<SeqState> seen;                           // last notification per publisher and opcode
    std::vector<uint32_t> abandoned;                      // tokens whose wait timed out
    std::vector<Pending> pending;                         // requests awaiting their reply
    uint64_t expired = 0;        // requests dropped unhandled: their deadline had passed
    uint64_t lost_total = 0;     // notifications lost, in all
    uint64_t lost_last = 0;      // lost in the gap the latest NOTIF_LOST reported
    uint64_t malformed = 0;      // received and discarded: not a message for this socket
    uint64_t wrong_sap = 0;      // received and discarded: naming another destination SAP
    mts_msg *head = nullptr, *tail = nullptr;             // received, not yet handed out
    uint32_t next_token = 1;
    char paths[2][sizeof(sockaddr_un::sun_path)] = {};    // endpoints to remove at close
};

constexpr uint32_t kSlots = 1024;
constexpr uint32_t kSlotBits = 11;

constinit pthread_mutex_t g_mu = PTHREAD_MUTEX_INITIALIZER;
constinit void *g_ctx = nullptr;
constinit Handle *g_handles[kSlots] = {};
constinit uint32_t g_generation = 0;
constinit bool g_atfork_set = false;

void atfork_prepare() { pthread_mutex_lock(&g_mu); }
void atfork_parent() { pthread_mutex_unlock(&g_mu); }
// The child has none of the parent's ZeroMQ threads: it forgets the parent's
// context and handles (without touching them) and starts afresh.
void atfork_child()
{
    g_ctx = nullptr;
    std::memset(static_cast<void *>(g_handles), 0, sizeof g_handles);
    pthread_mutex_init(&g_mu, nullptr);
}

// The ZeroMQ context, made at first use. Called under g_mu.
void *context()
{
    if (!g_atfork_set) {
        pthread_atfork(atfork_prepare, atfork_parent, atfork_child);
        g_atfork_set = true;
    }
    if (g_ctx == nullptr)
        g_ctx = zmq_ctx_new();
    return g_ctx;
}

// Finds a handle and takes a reference to it; nullptr when there is none.
Handle *acquire(uint32_t id)
{
    const uint32_t slot = (id & ((1u << kSlotBits) - 1)) - 1;
    if (slot >= kSlots)
        return nullptr;
    pthread_mutex_lock(&g_mu);
    Handle *h = g_handles[slot];
    if (h != nullptr && h->id == id)
        ++h->refs;
    else
        h = nullptr;
    pthread_mutex_unlock(&g_mu);
    return h;
}

void set_int(void *s, int opt, int v) { zmq_setsockopt(s, opt, &v, sizeof v); }

void destroy(Handle *h)
{
    for (void *s : {h->router, h->pub, h->sub})
        if (s != nullptr)
            zmq_close(s);
    for (Dealer &d : h->dealers) {
        // A request still waiting for its reply is not left behind.
        if (std::any_of(h->pending.begin(), h->pending.end(), [&d](const Pending &p) { return p.sock == d.sock; }))
            set_int(d.sock, ZMQ_LINGER, 0);
        zmq_close(d.sock);
    }
    for (const char *p : h->paths)
        if (p[0] != '\0')
            unlink(p);
    while (mts_msg *m = h->head) {
        h->head = m->next;
        free_msg(m);
    }
    pthread_mutex_destroy(&h->mu);
    delete h;
}

void release(Handle *h)
{
    pthread_mutex_lock(&g_mu);
    const bool last = --h->refs == 0 && h->closed;
    pthread_mutex_unlock(&g_mu);
    if (last)
        destroy(h);
}

// A reference and the handle's lock for one scope.
class Use {
public:
    explicit Use(uint32_t id) : h_(acquire(id))
    {
        if (h_ != nullptr)
            pthread_mutex_lock(&h_->mu);
    }
    ~Use()
    {
        if (h_ != nullptr) {
            pthread_mutex_unlock(&h_->mu);
            release(h_);
        }
    }
    Use(const Use &) = delete;
    Use &operator=(const Use &) = delete;
    Handle *operator->() const { return h_; }
    Handle *get() const { return h_; }
    void unlock() { pthread_mutex_unlock(&h_->mu); }
    void lock() { pthread_mutex_lock(&h_->mu); }

private:
    Handle *h_;
};

void *new_socket(int type)
{
    pthread_mutex_lock(&g_mu);
    void *ctx = context();
    pthread_mutex_unlock(&g_mu);
    if (ctx == nullptr)
        return nullptr;
    void *s = zmq_socket(ctx, type);
    if (s == nullptr)
        return nullptr;
    set_int(s, ZMQ_LINGER, static_cast<int>(std::min<uint32_t>(timeout_ms(), 0x7FFFFFFF)));
    const int64_t max = VLAN_MGR_HOST_MTS_MAX_PAYLOAD;
    zmq_setsockopt(s, ZMQ_MAXMSGSIZE, &max, sizeof max);
    return s;
}

// Binds `s` at the SAP's local socket (refusing a SAP that a live process
// serves, replacing a stale socket file), with mode 0660, and at its TCP port
// when this node is in the node table.
int32_t bind_endpoint(void *s, uint32_t sap, Ep ep, char *path_out)
{
    char path[sizeof(sockaddr_un::sun_path)];
    if (!ipc_path(sap, ep, path, sizeof path))
        return host::ERR_INVALID_ARG;
    if (someone_listens(path) == Listener::yes)
        return host::MTS_ERR_SAP_BUSY;
    unlink(path);
    char addr[sizeof path + 8];
    std::snprintf(addr, sizeof addr, "ipc://%s", path);
    if (zmq_bind(s, addr) != 0)
        return errno == EACCES || errno == EPERM ? access_denied(path) : host::MTS_ERR_IO;
    std::memcpy(path_out, path, sizeof path);
    chmod(path, 0660);
    char name[256];
    uint32_t base = 0;
    const uint32_t node = own_node();
    if (node != VLAN_MGR_HOST_MTS_LOCAL_NODE && node_lookup(node, name, sizeof name, &base)) {
        const uint64_t port = base + 2ull * sap + (ep == Ep::notifications ? 1 : 0);
        if (port > 65535)
            return host::MTS_ERR_NO_NODE;
        std::snprintf(addr, sizeof addr, "tcp://*:%u", static_cast<unsigned>(port));
        if (zmq_bind(s, addr) != 0)
            return host::MTS_ERR_IO;
    }
    return 0;
}

// Sends frames with a wait for room until `deadline` (CLOCK_MONOTONIC ms);
// the first part decides, the rest of a multipart message always follows at
// once.
int32_t send_frames(void *s, const void *const *parts, const size_t *lens, int count, uint64_t deadline)
{
    for (int i = 0; i < count; ++i) {
        const int flags = ZMQ_DONTWAIT | (i + 1 < count ? ZMQ_SNDMORE : 0);
        while (zmq_send(s, parts[i], lens[i], flags) < 0) {
            if (errno == EHOSTUNREACH)
                return host::MTS_ERR_PEER_GONE;
            if (errno != EAGAIN && errno != EINTR)
                return host::MTS_ERR_IO;
            const uint64_t now = now_ms();
            if (now >= deadline)
                return host::MTS_ERR_TIMEOUT;
            zmq_pollitem_t item{s, 0, ZMQ_POLLOUT, 0};
            zmq_poll(&item, 1, static_cast<long>(std::min<uint64_t>(deadline - now, 100)));
        }
    }
    return 0;
}

// The DEALER to (node, sap), connected at first use. A local SAP that nobody
// serves is refused at once.
int32_t dealer_for(Handle *h, uint32_t node, uint32_t sap, void **out)
{
    clear_error_path();
    if (is_local(node))
        node = VLAN_MGR_HOST_MTS_LOCAL_NODE;
    for (Dealer &d : h->dealers)
        if (d.node == node && d.sap == sap) {
            *out = d.sock;
            return 0;
        }
    char addr[512];
    bool local_path = false;
    int32_t rc = endpoint(node, sap, Ep::requests, addr, sizeof addr, &local_path);
    if (rc != 0)
        return rc;
    if (local_path) {
        const Listener l = someone_listens(addr + 6);
        if (l == Listener::denied)
            return access_denied(addr + 6);
        if (l == Listener::nobody)
            return host::MTS_ERR_NO_SERVER;
    }
    void *s = new_socket(ZMQ_DEALER);
    if (s == nullptr)
        return host::MTS_ERR_IO;
    if (zmq_connect(s, addr) != 0) {
        zmq_close(s);
        return host::MTS_ERR_IO;
    }
    h->dealers.push_back({node, sap, s});
    *out = s;
    return 0;
}

// Reads one whole message from `s`: [routing id] header payload, or
// topic header payload for a SUB socket. nullptr when nothing was waiting or
// the message was malformed (then it is dropped).
enum class From { router, dealer, sub };

mts_msg *read_message(Handle *h, void *s, From from)
{
    zmq_msg_t frames[4];
    int n = 0;
    bool ok = true;
    for (;;) {
        zmq_msg_t part;
        zmq_msg_init(&part);
        if (zmq_msg_recv(&part, s, ZMQ_DONTWAIT) < 0) {
            zmq_msg_close(&part);
            break;
        }
        const bool more = zmq_msg_more(&part) != 0;
        if (n < 4) {
            zmq_msg_init(&frames[n]);
            zmq_msg_move(&frames[n++], &part);
        } else {
            ok = false;
        }
        zmq_msg_close(&part);
        if (!more)
            break;
    }
    const int want = from == From::dealer ? 2 : 3;
    mts_msg *m = nullptr;
    if (n > 0 && (!ok || n != want))
        ++h->malformed;
    if (ok && n == want && (m = new_msg()) != nullptr) {
        const int hdr = want - 2;
        if (!decode_header(static_cast<const uint8_t *>(zmq_msg_data(&frames[hdr])), zmq_msg_size(&frames[hdr]), *m) ||
            (from == From::router && (zmq_msg_size(&frames[0]) > sizeof m->rid ||
                                      (m->kind != VLAN_MGR_HOST_MTS_REQUEST && m->kind != VLAN_MGR_HOST_MTS_DATAGRAM))) ||
            (from == From::dealer && m->kind != VLAN_MGR_HOST_MTS_REPLY) ||
            (from == From::sub && m->kind != VLAN_MGR_HOST_MTS_NOTIFICATION && m->kind != kHeartbeat)) {
            ++h->malformed;
            free_msg(m);
            m = nullptr;
        } else if (from == From::router && m->dest_sap != h->sap) {
            // Served only by the handle bound to the SAP that it names.
            ++h->wrong_sap;
            free_msg(m);
            m = nullptr;
        } else {
            if (from == From::router) {
                m->rid_len = static_cast<uint8_t>(zmq_msg_size(&frames[0]));
                std::memcpy(m->rid, zmq_msg_data(&frames[0]), m->rid_len);
                set_peer(m, &frames[1]);
            }
            zmq_msg_move(&m->payload, &frames[want - 1]);
            m->has_payload = true;
            m->handle = h->id;
        }
    }
    for (int i = 0; i < n; ++i)
        zmq_msg_close(&frames[i]);
    return m;
}

void push_back(Handle *h, mts_msg *m)
{
    m->next = nullptr;
    if (h->tail != nullptr)
        h->tail->next = m;
    else
        h->head = m;
    h->tail = m;
}

void push_front(Handle *h, mts_msg *m)
{
    m->next = h->head;
    h->head = m;
    if (h->tail == nullptr)
        h->tail = m;
}

mts_msg *pop_front(Handle *h)
{
    mts_msg *m = h->head;
    if (m != nullptr) {
        h->head = m->next;
        if (h->head == nullptr)
            h->tail = nullptr;
        m->next = nullptr;
    }
    return m;
}

// Takes the reply with `token` out of the queue.
mts_msg *take_reply(Handle *h, uint32_t token)
{
    mts_msg *prev = nullptr;
    for (mts_msg *m = h->head; m != nullptr; prev = m, m = m->next)
        if (m->kind == VLAN_MGR_HOST_MTS_REPLY && m->token == token) {
            (prev != nullptr ? prev->next : h->head) = m->next;
            if (h->tail == m)
                h->tail = prev;
            m->next = nullptr;
            return m;
        }
    return nullptr;
}

// A reply that nobody waits for any more is dropped on arrival.
bool abandoned(Handle *h, const mts_msg *m)
{
    if (m->kind != VLAN_MGR_HOST_MTS_REPLY)
        return false;
    auto it = std::find(h->abandoned.begin(), h->abandoned.end(), m->token);
    if (it == h->abandoned.end())
        return false;
    h->abandoned.erase(it);
    return true;
}

SeqState *seen_of(Handle *h, uint32_t node, uint32_t sap, uint32_t opcode)
{
    for (SeqState &s : h->seen)
        if (s.node == node && s.sap == sap && s.opcode == opcode)
            return &s;
    return nullptr;
}

// How many notifications of this publisher and opcode were lost before `m`
// (0: none, and `m` is recorded as the last one delivered).
uint64_t notifications_lost(Handle *h, const mts_msg *m)
{
    SeqState *s = seen_of(h, m->src_node, m->src_sap, m->opcode);
    if (s == nullptr) {
        h->seen.push_back({m->src_node, m->src_sap, m->opcode, m->seq});
        return 0;
    }
    // A publisher that started again counts from 1.
    if (m->seq == s->last + 1 || m->seq == 1) {
        s->last = m->seq;
        return 0;
    }
    // Numbers that went back without restarting at 1: a publisher that
    // started again, whose first notifications this handle missed.
    const uint64_t lost = m->seq > s->last ? uint64_t{m->seq} - s->last - 1 : uint64_t{m->seq} - (m->seq != 0);
    if (lost == 0) {
        s->last = m->seq;
        return 0;
    }
    // After a loss `m` itself is delivered next, as the one that follows.
    s->last = m->seq - 1;
    return lost;
}

// How many notifications the heartbeat `m` shows lost: for each opcode that
// the handle subscribes to, the publisher's latest number beyond the last one
// received. An opcode not heard of before starts counting from the
// heartbeat; a publisher whose numbers went back started again.
uint64_t heartbeat_lost(Handle *h, const mts_msg *m)
{
    const auto *p = static_cast<const uint8_t *>(zmq_msg_data(const_cast<zmq_msg_t *>(&m->payload)));
    const size_t n = m->has_payload ? zmq_msg_size(const_cast<zmq_msg_t *>(&m->payload)) : 0;
    uint64_t lost = 0;
    const wire::Reader r(p, n);
    for (size_t i = 0; n % Heartbeat::entries.stride == 0 && Heartbeat::entries.end(i + 1) <= n; ++i) {
        const wire::Reader e = Heartbeat::entries.entry(r, i);
        const uint32_t opcode = Heartbeat::opcode.get(e), latest = Heartbeat::latest.get(e);
        if (std::find(h->sub_opcodes.begin(), h->sub_opcodes.end(), opcode) == h->sub_opcodes.end())
            continue;
        SeqState *s = seen_of(h, m->src_node, m->src_sap, opcode);
        if (s == nullptr) {
            h->seen.push_back({m->src_node, m->src_sap, opcode, latest});
            continue;
        }
        if (latest > s->last)
            lost += latest - s->last;
        s->last = latest;
    }
    return lost;
}

// Records a loss for vlan_mgr_host_mts_stats and returns its error word.
int32_t report_lost(Handle *h, uint64_t lost)
{
    h->lost_last = lost;
    h->lost_total += lost;
    return host::MTS_ERR_NOTIF_LOST;
}

// Closes the DEALER `sock` without lingering, unless another request still
// waits for its reply through it: a request that its sender gave up on is
// not delivered later. The next send to that destination connects afresh.
void discard_dealer(Handle *h, void *sock)
{
    const uint64_t now = now_ms();
    if (std::any_of(h->pending.begin(), h->pending.end(),
                    [sock, now](const Pending &p) { return p.sock == sock && p.deadline > now; }))
        return;
    for (auto it = h->dealers.begin(); it != h->dealers.end(); ++it)
        if (it->sock == sock) {
            set_int(sock, ZMQ_LINGER, 0);
            zmq_close(sock);
            h->dealers.erase(it);
            return;
        }
}

// Waits up to `wait_ms` (-1: for ever) for any socket of the handle (only its
// DEALERs when `replies_only`) to become readable; reads one message from
// each readable socket into the queue. The handle's lock is released while
// waiting, in slices, so that other threads can use the handle meanwhile.
void wait_and_read(Use &u, bool replies_only, long wait_ms)
{
    Handle *h = u.get();
    std::vector<zmq_pollitem_t> items;
    std::vector<From> from;
    if (!replies_only) {
        if (h->router != nullptr) {
            items.push_back({h->router, 0, ZMQ_POLLIN, 0});
            from.push_back(From::router);
        }
        if (h->sub != nullptr) {
            items.push_back({h->sub, 0, ZMQ_POLLIN, 0});
            from.push_back(From::sub);
        }
    }
    for (Dealer &d : h->dealers) {
        items.push_back({d.sock, 0, ZMQ_POLLIN, 0});
        from.push_back(From::dealer);
    }
    if (items.empty()) {
        u.unlock();
        poll(nullptr, 0, static_cast<int>(wait_ms < 0 || wait_ms > 50 ? 50 : wait_ms));
        u.lock();
        return;
    }
    // ZeroMQ sockets are used under the lock only; poll in short slices.
    const long slice = wait_ms < 0 || wait_ms > 50 ? 50 : wait_ms;
    int ready = zmq_poll(items.data(), static_cast<int>(items.size()), 0);
    if (ready == 0 && slice > 0)
        ready = zmq_poll(items.data(), static_cast<int>(items.size()), slice);
    if (ready <= 0) {
        // Between slices, other threads waiting for the handle get their turn.
        u.unlock();
        sched_yield();
        u.lock();
        return;
    }
    for (size_t i = 0; i < items.size(); ++i) {
        if ((items[i].revents & ZMQ_POLLIN) == 0)
            continue;
        mts_msg *m = read_message(h, items[i].socket, from[i]);
        if (m == nullptr)
            continue;
        if (abandoned(h, m))
            free_msg(m);
        else
            push_back(h, m);
    }
}

int32_t receive(uint32_t mts_handle, mts_msg_hdl_t *msg_out, const mts_recv_opts_t *opts, uint32_t limit_ms)
{
    if (msg_out == nullptr)
        return host::ERR_INVALID_ARG;
    msg_out->msg = nullptr;
    Use u(mts_handle);
    if (u.get() == nullptr)
        return host::MTS_ERR_BAD_HANDLE;
    Handle *h = u.get();
    const bool by_token = opts != nullptr && opts->word[0] == 1;
    const uint32_t token = by_token ? opts->word[3] : 0;
    const uint64_t start = now_ms();
    uint64_t deadline = limit_ms == VLAN_MGR_HOST_MTS_WAIT_FOREVER ? UINT64_MAX : start + limit_ms;
    if (by_token) {
        // A reply is awaited until the request's own deadline, which its
        // send started: the whole exchange takes one time-out at most.
        auto p = std::find_if(h->pending.begin(), h->pending.end(), [token](const Pending &q) { return q.token == token; });
        deadline = std::min(deadline, p != h->pending.end() ? p->deadline : start + timeout_ms());
    }
    bool polled = false;
    for (;;) {
        if (__atomic_load_n(&h->closed, __ATOMIC_ACQUIRE))
            return host::MTS_ERR_BAD_HANDLE; // closed by another thread meanwhile
        mts_msg *m = by_token ? take_reply(h, token) : pop_front(h);
        if (m != nullptr) {
            if (m->kind == VLAN_MGR_HOST_MTS_REQUEST && m->deadline != 0 && wall_ms() >= m->deadline) {
                // Its sender has given up: it is never handled.
                ++h->expired;
                free_msg(m);
                continue;
            }
            if (m->kind == kHeartbeat) {
                const uint64_t lost = heartbeat_lost(h, m);
                free_msg(m);
                if (lost != 0)
                    return report_lost(h, lost);
                continue;
            }
            if (m->kind == VLAN_MGR_HOST_MTS_NOTIFICATION) {
                if (const uint64_t lost = notifications_lost(h, m)) {
                    // Told once; the message that showed the gap comes next.
                    push_front(h, m);
                    return report_lost(h, lost);
                }
            }
            if (m->kind == VLAN_MGR_HOST_MTS_REPLY) {
                // Answered, however it was received: no longer awaited.
                const uint32_t answered = m->token;
                h->pending.erase(std::remove_if(h->pending.begin(), h->pending.end(),
                                                [answered](const Pending &q) { return q.token == answered; }),
                                 h->pending.end());
            }
            msg_out->msg = m;
            return 0;
        }
        const uint64_t now = now_ms();
        // Strictly after: milliseconds are truncated, and the wait is never
        // shorter than asked.
        if (now > deadline && polled) {
            if (by_token) {
                h->abandoned.push_back(token);
                if (h->abandoned.size() > 256)
                    h->abandoned.erase(h->abandoned.begin());
                auto p = std::find_if(h->pending.begin(), h->pending.end(),
                                      [token](const Pending &q) { return q.token == token; });
                if (p != h->pending.end()) {
                    void *sock = p->sock;
                    h->pending.erase(p);
                    discard_dealer(h, sock);
                }
            }
            return host::MTS_ERR_TIMEOUT;
        }
        // The sockets are looked at at least once, even with no time left.
        wait_and_read(u, by_token,
                      deadline == UINT64_MAX ? -1 : now > deadline ? 0 : static_cast<long>(deadline - now + 1));
        polled = true;
    }
}

// Drains the subscription messages that reached a publisher.
void count_subscriptions(Handle *h)
{
    uint8_t buf[16];
    for (;;) {
        int n = zmq_recv(h->pub, buf, sizeof buf, ZMQ_DONTWAIT);
        if (n < 0)
            break;
        if (n != static_cast<int>(Subscription::kSize))
            continue;
        const wire::Reader r(buf, Subscription::kSize);
        const uint8_t subscribe = Subscription::subscribe.get(r);
        if (subscribe != 0 && subscribe != 1)
            continue;
        const uint32_t opcode = Subscription::opcode.get(r);
        auto it = std::find_if(h->subscribers.begin(), h->subscribers.end(),
                               [opcode](const auto &p) { return p.first == opcode; });
        if (it == h->subscribers.end()) {
            h->subscribers.push_back({opcode, 0});
            it = h->subscribers.end() - 1;
        }
        it->second += subscribe == 1 ? 1 : -1;
    }
}

} // namespace

// ---- Framing header, for the fuzz target (mts_frame.h) ----------------------------

namespace vlan_mgr_host {

size_t mts_frame_header_size() { return kHeaderSize; }

bool mts_frame_decode(const uint8_t *h, size_t len, MtsFrame *out)
{
    mts_msg m{};
    if (!decode_header(h, len, m))
        return false;
    *out = {m.kind, m.src_vdc, m.src_node, m.src_sap, m.dest_sap, m.opcode, m.token, m.seq, m.deadline};
    return true;
}

void mts_frame_encode(const MtsFrame &f, uint8_t *out)
{
    mts_msg m{};
    m.kind = f.kind;
    m.src_vdc = f.src_vdc;
    m.src_node = f.src_node;
    m.src_sap = f.src_sap;
    m.dest_sap = f.dest_sap;
    m.opcode = f.opcode;
    m.token = f.token;
    m.seq = f.seq;
    m.deadline = f.deadline;
    encode_header(out, m);
}

} // namespace vlan_mgr_host

extern "C" {

// ---- Host API -------------------------------------------------------------------

int32_t vlan_mgr_host_mts_open(uint32_t sap, uint32_t *mts_handle)
{
    if (mts_handle == nullptr)
        return host::ERR_INVALID_ARG;
    *mts_handle = 0;
    clear_error_path();
    Handle *h = new (std::nothrow) Handle;
    if (h == nullptr)
        return host::ERR_NO_MEMORY;
    h->sap = sap;
    int32_t rc = 0;
    if (sap != 0) {
        const char *dir = run_dir();
        // A missing run directory is made as the manager makes it: the
        // trust group, setgid so that the sockets get that group too.
        if (mkdir(dir, 0700) == 0) {
            if (vlan_mgr_host_trust_dir(dir, 02770) != 0)
                rc = host::MTS_ERR_IO;
        } else if (errno == EACCES || errno == EPERM)
            rc = access_denied(dir);
        else if (errno != EEXIST)
            rc = host::MTS_ERR_IO;
        if (rc == 0) {
            h->router = new_socket(ZMQ_ROUTER);
            h->pub = new_socket(ZMQ_XPUB);
            if (h->router == nullptr || h->pub == nullptr)
                rc = host::MTS_ERR_IO;
        }
        if (rc == 0) {
            set_int(h->router, ZMQ_ROUTER_MANDATORY, 1);
            // Replies and notifications still queued when the handle closes
            // get a short while to leave: a peer that does not read (a
            // stopped subscriber, a client that gave up) never holds up the
            // server's exit.
            const int linger = static_cast<int>(std::min<uint32_t>(timeout_ms(), host::MTS_SERVE_LINGER_MS));
            set_int(h->router, ZMQ_LINGER, linger);
            set_int(h->pub, ZMQ_LINGER, linger);
            set_int(h->pub, ZMQ_XPUB_VERBOSER, 1);
            set_int(h->pub, ZMQ_SNDHWM,
                    static_cast<int>(std::min<uint32_t>(
                        env_u32(host::ENV_MTS_NOTIF_QUEUE, host::DEFAULT_MTS_NOTIF_QUEUE, 1), 0x7FFFFFFF)));
            rc = bind_endpoint(h->router, sap, Ep::requests, h->paths[0]);
        }
        if (rc == 0)
            rc = bind_endpoint(h->pub, sap, Ep::notifications, h->paths[1]);
    }
    pthread_mutex_lock(&g_mu);
    uint32_t slot = kSlots;
    if (rc == 0) {
        for (uint32_t i = 0; i < kSlots; ++i)
            if (g_handles[i] == nullptr) {
                slot = i;
                break;
            }
        if (slot == kSlots)
            rc = host::ERR_BUSY;
    }
    if (rc == 0) {
        g_generation = (g_generation + 1) & ((1u << (32 - kSlotBits)) - 1);
        h->id = (g_generation << kSlotBits) | (slot + 1);
        g_handles[slot] = h;
        *mts_handle = h->id;
    }
    pthread_mutex_unlock(&g_mu);
    if (rc != 0) {
        // A SAP that another process serves keeps its endpoints.
        if (rc == host::MTS_ERR_SAP_BUSY)
            h->paths[0][0] = h->paths[1][0] = '\0';
        destroy(h);
    }
    return rc;
}

int32_t vlan_mgr_host_mts_close(uint32_t mts_handle)
{
    Handle *h = acquire(mts_handle);
    if (h == nullptr)
        return host::MTS_ERR_BAD_HANDLE;
    pthread_mutex_lock(&g_mu);
    const uint32_t slot = (mts_handle & ((1u << kSlotBits) - 1)) - 1;
    if (g_handles[slot] == h)
        g_handles[slot] = nullptr;
    __atomic_store_n(&h->closed, true, __ATOMIC_RELEASE);
    pthread_mutex_unlock(&g_mu);
    release(h);
    return 0;
}

int32_t vlan_mgr_host_mts_subscribe(uint32_t mts_handle, uint32_t node, uint32_t sap, uint32_t opcode)
{
    clear_error_path();
    Use u(mts_handle);
    if (u.get() == nullptr)
        return host::MTS_ERR_BAD_HANDLE;
    Handle *h = u.get();
    if (h->sub == nullptr) {
        h->sub = new_socket(ZMQ_SUB);
        if (h->sub == nullptr)
            return host::MTS_ERR_IO;
        set_int(h->sub, ZMQ_RCVHWM,
                static_cast<int>(std::min<uint32_t>(
                    env_u32(host::ENV_MTS_NOTIF_QUEUE, host::DEFAULT_MTS_NOTIF_QUEUE, 1), 0x7FFFFFFF)));
        // Subscriptions still queued for a publisher that does not read are
        // of no use once the handle closes.
        set_int(h->sub, ZMQ_LINGER, 0);
        // Every publisher's heartbeats, read by the transport itself.
        const auto topic = topic_of(kHeartbeatTopic);
        if (zmq_setsockopt(h->sub, ZMQ_SUBSCRIBE, topic.data(), topic.size()) != 0)
            return host::MTS_ERR_IO;
    }
    if (is_local(node))
        node = VLAN_MGR_HOST_MTS_LOCAL_NODE;
    const std::pair<uint32_t, uint32_t> pub{node, sap};
    if (std::find(h->sub_to.begin(), h->sub_to.end(), pub) == h->sub_to.end()) {
        char addr[512];
        bool local_path = false;
        int32_t rc = endpoint(node, sap, Ep::notifications, addr, sizeof addr, &local_path);
        if (rc != 0)
            return rc;
        // A publisher that is not there yet is waited for; one that this
        // process may not reach never would be.
        if (local_path && someone_listens(addr + 6) == Listener::denied)
            return access_denied(addr + 6);
        if (zmq_connect(h->sub, addr) != 0)
            return host::MTS_ERR_IO;
        h->sub_to.push_back(pub);
    }
    if (std::find(h->sub_opcodes.begin(), h->sub_opcodes.end(), opcode) == h->sub_opcodes.end()) {
        const auto topic = topic_of(opcode);
        if (zmq_setsockopt(h->sub, ZMQ_SUBSCRIBE, topic.data(), topic.size()) != 0)
            return host::MTS_ERR_IO;
        h->sub_opcodes.push_back(opcode);
    }
    return 0;
}

int32_t vlan_mgr_host_mts_notify(uint32_t mts_handle, uint32_t opcode, const void *payload, uint32_t payload_len)
{
    if (payload == nullptr && payload_len != 0)
        return host::ERR_INVALID_ARG;
    if (payload_len > VLAN_MGR_HOST_MTS_MAX_PAYLOAD)
        return host::MTS_ERR_TOO_BIG;
    Use u(mts_handle);
    if (u.get() == nullptr)
        return host::MTS_ERR_BAD_HANDLE;
    Handle *h = u.get();
    if (h->pub == nullptr)
        return host::ERR_INVALID_ARG;
    count_subscriptions(h);
    auto it = std::find_if(h->pub_seq.begin(), h->pub_seq.end(), [opcode](const auto &p) { return p.first == opcode; });
    if (it == h->pub_seq.end()) {
        h->pub_seq.push_back({opcode, 0});
        it = h->pub_seq.end() - 1;
    }
    mts_msg m{};
    m.kind = VLAN_MGR_HOST_MTS_NOTIFICATION;
    m.src_node = own_node();
    m.src_vdc = sysmgr_vdc_get();
    m.src_sap = h->sap;
    m.opcode = opcode;
    m.seq = ++it->second;
    const auto topic = topic_of(opcode);
    uint8_t header[kHeaderSize];
    encode_header(header, m);
    const void *parts[] = {topic.data(), header, payload};
    const size_t lens[] = {topic.size(), sizeof header, payload_len};
    // A subscriber whose queue is full misses the message; the publisher never waits.
    return send_frames(h->pub, parts, lens, 3, now_ms() + timeout_ms());
}

int32_t vlan_mgr_host_mts_heartbeat(uint32_t mts_handle)
{
    Use u(mts_handle);
    if (u.get() == nullptr)
        return host::MTS_ERR_BAD_HANDLE;
    Handle *h = u.get();
    if (h->pub == nullptr)
        return host::ERR_INVALID_ARG;
    count_subscriptions(h);
    // {opcode, latest number} for every opcode published, big-endian.
    std::vector<uint8_t> payload(static_cast<size_t>(Heartbeat::entries.end(h->pub_seq.size())));
    if (!payload.empty()) {
        const wire::Writer w(payload.data(), payload.size());
        for (size_t i = 0; i < h->pub_seq.size(); ++i) {
            wire::Writer e = Heartbeat::entries.entry(w, i);
            Heartbeat::opcode.put(e, h->pub_seq[i].first);
            Heartbeat::latest.put(e, h->pub_seq[i].second);
        }
    }
    mts_msg m{};
    m.kind = kHeartbeat;
    m.src_node = own_node();
    m.src_vdc = sysmgr_vdc_get();
    m.src_sap = h->sap;
    m.opcode = kHeartbeatTopic;
    const auto topic = topic_of(kHeartbeatTopic);
    uint8_t header[kHeaderSize];
    encode_header(header, m);
    const void *parts[] = {topic.data(), header, payload.data()};
    const size_t lens[] = {topic.size(), sizeof header, payload.size()};
    return send_frames(h->pub, parts, lens, 3, now_ms());
}

int32_t vlan_mgr_host_mts_stats(uint32_t mts_handle, vlan_mgr_host_mts_stats_t *stats)
{
    if (stats == nullptr)
        return host::ERR_INVALID_ARG;
    Use u(mts_handle);
    if (u.get() == nullptr)
        return host::MTS_ERR_BAD_HANDLE;
    stats->requests_expired = u->expired;
    stats->notifications_lost = u->lost_total;
    stats->last_lost = u->lost_last;
    stats->malformed = u->malformed;
    stats->wrong_sap = u->wrong_sap;
    return 0;
}

int32_t vlan_mgr_host_mts_wait_subscribers(uint32_t mts_handle, uint32_t opcode, uint32_t count, uint32_t timeout)
{
    Use u(mts_handle);
    if (u.get() == nullptr)
        return host::MTS_ERR_BAD_HANDLE;
    Handle *h = u.get();
    if (h->pub == nullptr)
        return host::ERR_INVALID_ARG;
    const uint64_t deadline = now_ms() + timeout;
    for (;;) {
        count_subscriptions(h);
        for (const auto &p : h->subscribers)
            if (p.first == opcode && p.second >= static_cast<int>(count))
                return 0;
        if (count == 0)
            return 0;
        const uint64_t now = now_ms();
        if (now >= deadline)
            return host::MTS_ERR_TIMEOUT;
        zmq_pollitem_t item{h->pub, 0, ZMQ_POLLIN, 0};
        zmq_poll(&item, 1, static_cast<long>(std::min<uint64_t>(deadline - now, 50)));
    }
}

int32_t vlan_mgr_host_mts_recv_timed(uint32_t mts_handle, mts_msg_hdl_t *msg_out, const mts_recv_opts_t *opts,
                                     uint32_t timeout)
{
    return receive(mts_handle, msg_out, opts, timeout);
}

int32_t vlan_mgr_host_mts_msg_info(const mts_msg_hdl_t *msg, vlan_mgr_host_mts_info_t *info)
{
    if (msg == nullptr || msg->msg == nullptr || info == nullptr)
        return host::ERR_INVALID_ARG;
    const mts_msg &m = *msg->msg;
    *info = {m.kind, m.src_node, m.src_sap, m.dest_sap, m.opcode, m.token, m.seq, m.src_vdc,
             m.peer, m.peer_uid, m.peer_gid, m.peer_pid};
    return 0;
}

const char *vlan_mgr_host_mts_last_error_path(void) { return t_error_path; }

void vlan_mgr_host_mts_shutdown(void)
{
    for (uint32_t i = 0; i < kSlots; ++i) {
        pthread_mutex_lock(&g_mu);
        Handle *h = g_handles[i];
        pthread_mutex_unlock(&g_mu);
        if (h != nullptr)
            vlan_mgr_host_mts_close(h->id);
    }
    pthread_mutex_lock(&g_mu);
    void *ctx = g_ctx;
    g_ctx = nullptr;
    pthread_mutex_unlock(&g_mu);
    if (ctx != nullptr)
        zmq_ctx_term(ctx); // waits for queued messages, up to each socket's linger
}

// ---- Platform interface -----------------------------------------------------------

uint32_t mts_opc_get(const mts_msg_hdl_t *msg)
{
    return msg != nullptr && msg->msg != nullptr ? msg->msg->opcode : 0;
}

void *mts_payload_get(const mts_msg_hdl_t *msg)
{
    if (msg == nullptr || msg->msg == nullptr || !msg->msg->has_payload)
        return nullptr;
    return zmq_msg_data(&msg->msg->payload);
}

uint32_t mts_payload_size(const mts_msg_hdl_t *msg)
{
    if (msg == nullptr || msg->msg == nullptr || !msg->msg->has_payload)
        return 0;
    return static_cast<uint32_t>(zmq_msg_size(&msg->msg->payload));
}

uint32_t mts_rr_token_get(const mts_msg_hdl_t *msg)
{
    return msg != nullptr && msg->msg != nullptr ? msg->msg->token : 0;
}

int32_t mts_send(uint32_t mts_handle, uint32_t dest_node, uint32_t dest_sap, uint32_t opcode, void *payload,
                 uint32_t payload_len, mts_msg_hdl_t *msg_out, const mts_msg_hdl_t *request, const mts_addr_t *addr)
{
    // A payload sent with an address record is the transport's: it is freed
    // here whatever the outcome (the bytes themselves go out as a copy).
    struct Taken {
        void *p;
        ~Taken() { std::free(p); }
    } taken{addr != nullptr ? payload : nullptr};
    if (request == nullptr)
        clear_error_path();
    // The exchange's one time-out runs from here: the connect check, the wait
    // for room and the wait for the reply all come out of it.
    const uint32_t limit = timeout_ms();
    const uint64_t deadline = now_ms() + limit;
    if (payload == nullptr && payload_len != 0)
        return host::ERR_INVALID_ARG;
    if (payload_len > VLAN_MGR_HOST_MTS_MAX_PAYLOAD)
        return host::MTS_ERR_TOO_BIG;
    if (request != nullptr && (request->msg == nullptr || request->msg->kind != VLAN_MGR_HOST_MTS_REQUEST))
        return host::ERR_INVALID_ARG;
    // A reply leaves through the handle that received the request.
    Use u(request != nullptr ? request->msg->handle : mts_handle);
    if (u.get() == nullptr)
        return request != nullptr ? host::MTS_ERR_PEER_GONE : host::MTS_ERR_BAD_HANDLE;
    Handle *h = u.get();

    mts_msg m{};
    m.src_node = own_node();
    m.src_vdc = sysmgr_vdc_get();
    m.src_sap = h->sap;
    void *sock = nullptr;
    if (request != nullptr) {
        m.kind = VLAN_MGR_HOST_MTS_REPLY;
        m.dest_sap = request->msg->src_sap;
        m.opcode = request->msg->opcode;
        m.token = request->msg->token;
        sock = h->router;
    } else {
        m.kind = addr != nullptr && addr->word[0] == 1 ? VLAN_MGR_HOST_MTS_REQUEST : VLAN_MGR_HOST_MTS_DATAGRAM;
        m.dest_sap = dest_sap;
        m.opcode = opcode;
        int32_t rc = dealer_for(h, dest_node, dest_sap, &sock);
        if (rc != 0)
            return rc;
        m.token = h->next_token++;
        if (h->next_token == 0)
            h->next_token = 1;
        if (m.kind == VLAN_MGR_HOST_MTS_REQUEST)
            m.deadline = wall_ms() + limit;
    }
    mts_msg *sent = nullptr;
    if (msg_out != nullptr) {
        sent = new_msg();
        if (sent == nullptr)
            return host::ERR_NO_MEMORY;
        sent->kind = m.kind;
        sent->src_node = m.src_node;
        sent->src_vdc = m.src_vdc;
        sent->src_sap = m.src_sap;
        sent->dest_sap = m.dest_sap;
        sent->opcode = m.opcode;
        sent->token = m.token;
    }
    uint8_t header[kHeaderSize];
    encode_header(header, m);
    int32_t rc;
    if (request != nullptr) {
        // A reply never waits for room: a requester that does not read its
        // replies loses them (and its wait ends in a time-out) instead of
        // holding up the server.
        const void *parts[] = {request->msg->rid, header, payload};
        const size_t lens[] = {request->msg->rid_len, sizeof header, payload_len};
        rc = send_frames(sock, parts, lens, 3, now_ms());
    } else {
        const void *parts[] = {header, payload};
        const size_t lens[] = {sizeof header, payload_len};
        rc = send_frames(sock, parts, lens, 2, deadline);
    }
    if (rc != 0) {
        free_msg(sent);
        return rc;
    }
    if (m.kind == VLAN_MGR_HOST_MTS_REQUEST) {
        h->pending.push_back({m.token, deadline, sock});
        // Requests whose replies nobody ever asked for are forgotten in time.
        if (h->pending.size() > 1024)
            h->pending.erase(h->pending.begin());
    }
    if (msg_out != nullptr)
        msg_out->msg = sent;
    return 0;
}

int32_t mts_recv(uint32_t mts_handle, mts_msg_hdl_t *msg_out, const mts_recv_opts_t *opts)
{
    return receive(mts_handle, msg_out, opts, VLAN_MGR_HOST_MTS_WAIT_FOREVER);
}

int32_t mts_drop(uint32_t, mts_msg_hdl_t *msg)
{
    if (msg == nullptr || msg->msg == nullptr)
        return host::ERR_INVALID_ARG;
    free_msg(msg->msg);
    msg->msg = nullptr;
    return 0;
}

} // extern "C"
