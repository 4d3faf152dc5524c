// The host platform's small services: interface-index byte order, error
// texts, the card's module type, transport memory release and the TLV
// utility's error lines.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/uio.h>
#include <unistd.h>

#include <vlan_mgr/internal/wire.h>

#include "host/host_platform.h"
#include "tlvu.h"
#include "vlan_mgr_platform.h"

namespace {

struct ErrorText {
    int32_t error;
    const char *text;
};

constexpr ErrorText error_texts[] = {
    {vlan_mgr_host::ERR_INVALID_ARG, "invalid argument"},
    {vlan_mgr_host::ERR_NO_MEMORY, "out of memory"},
    {vlan_mgr_host::ERR_NOT_FOUND, "no such entry"},
    {vlan_mgr_host::ERR_BUSY, "resource busy"},
    // Message transport.
    {vlan_mgr_host::MTS_ERR_BAD_HANDLE, "message transport: no such handle"},
    {vlan_mgr_host::MTS_ERR_NO_SERVER, "message transport: nobody serves the destination SAP"},
    {vlan_mgr_host::MTS_ERR_TIMEOUT, "message transport: no reply within the time-out"},
    {vlan_mgr_host::MTS_ERR_NOTIF_LOST, "message transport: notifications lost, resynchronise"},
    {vlan_mgr_host::MTS_ERR_TOO_BIG, "message transport: payload over 16 MiB"},
    {vlan_mgr_host::MTS_ERR_SAP_BUSY, "message transport: SAP already served"},
    {vlan_mgr_host::MTS_ERR_NO_NODE, "message transport: node not in the node table"},
    {vlan_mgr_host::MTS_ERR_PEER_GONE, "message transport: requester gone"},
    {vlan_mgr_host::MTS_ERR_IO, "message transport: socket or run directory error"},
    {vlan_mgr_host::MTS_ERR_ACCESS, "message transport: permission denied"},
    {vlan_mgr_host::SDB_ERR_INVALID_ARG, "shared database: invalid argument"},
    {vlan_mgr_host::SDB_ERR_NOT_OPEN, "shared database: database not open"},
    {vlan_mgr_host::SDB_ERR_ALREADY_OPEN, "shared database: database already open"},
    {vlan_mgr_host::SDB_ERR_BACKING_FILE, "shared database: cannot create or map the database file"},
    {vlan_mgr_host::SDB_ERR_NO_MEMORY, "shared database: out of memory"},
    {vlan_mgr_host::SDB_ERR_CORRUPT, "shared database: database file is corrupt"},
    {vlan_mgr_host::SDB_ERR_NO_RECORD, "shared database: no such record"},
    // The shared database's publisher.
    {vlan_mgr_host::SDB_ERR_NOT_OWNER, "shared database: the database file belongs to another user"},
    {vlan_mgr_host::SDB_ERR_PUBLISHED_ELSEWHERE, "shared database: another process publishes this database"},
    {vlan_mgr_host::SDB_ERR_PERMISSION, "shared database: permission denied"},
    {vlan_mgr_host::SDB_ERR_FULL, "shared database: database file full"},
};

// Texts made for words without a fixed text, one buffer per thread so that
// two threads asking at once each keep theirs until their next call.
thread_local char made_text[64];

// The detail noted for one word in this thread, and the text made with it.
constexpr size_t kDetailMax = 256;
thread_local int32_t detail_error = 0;
thread_local char detail_text[kDetailMax];
thread_local char detailed_text[kDetailMax + 128];

} // namespace

void vlan_mgr_host::note_error_detail(int32_t error, const char *detail)
{
    if (detail == nullptr || detail[0] == '\0') {
        detail_error = 0;
        detail_text[0] = '\0';
        return;
    }
    detail_error = error;
    std::snprintf(detail_text, sizeof detail_text, "%s", detail);
}

extern "C" {

// Interface indexes travel in network byte order (big-endian), converted by
// the one byte-order codec.
uint32_t hton_if_index(uint32_t if_index) { return vlan_mgr::wire::to_big32(if_index); }
uint32_t ntoh_if_index(uint32_t if_index) { return vlan_mgr::wire::to_big32(if_index); }

// 0 for success; errno values (1..4095) get the C library's text; the
// platform's own words have fixed texts, followed by the detail this thread
// noted for the word (note_error_detail); anything else is "unknown error
// 0x...". Never NULL.
const char *syserr2str(int32_t error)
{
    if (error == 0)
        return "success";
    for (const ErrorText &e : error_texts)
        if (e.error == error) {
            if (detail_error != error || detail_text[0] == '\0')
                return e.text;
            std::snprintf(detailed_text, sizeof detailed_text, "%s: %s", e.text, detail_text);
            return detailed_text;
        }
    if (error > 0 && error < 4096) {
        // The GNU strerror_r returns a pointer to a text (ours or a static one).
        const char *t = strerror_r(error, made_text, sizeof made_text);
        return t != nullptr ? t : "unknown error";
    }
    std::snprintf(made_text, sizeof made_text, "unknown error 0x%x", static_cast<unsigned>(error));
    return made_text;
}

// The module type comes from VLAN_MGR_MODULE_TYPE (decimal, or hex with 0x),
// default 0. A malformed value is a configuration error: the type is set to 0
// and the error word returned.
int32_t get_card_module_info(uint32_t *module_type)
{
    if (module_type == nullptr)
        return vlan_mgr_host::ERR_INVALID_ARG;
    *module_type = 0;
    const char *v = std::getenv(vlan_mgr_host::ENV_MODULE_TYPE);
    if (v == nullptr || *v == '\0')
        return 0;
    char *end = nullptr;
    errno = 0;
    unsigned long long t = std::strtoull(v, &end, 0);
    if (end == v || *end != '\0' || errno != 0 || t > 0xFFFFFFFFull || *v == '-')
        return vlan_mgr_host::ERR_INVALID_ARG;
    *module_type = static_cast<uint32_t>(t);
    return 0;
}

// The host transport hands out malloc'ed memory.
void mtrack_free(void *ptr) { std::free(ptr); }

// One write per line, ending with one newline.
void tlvu_error_sink(const char *line)
{
    if (line == nullptr)
        return;
    const size_t len = std::strlen(line);
    char newline[] = "\n";
    iovec parts[2] = {{const_cast<char *>(line), len}, {newline, 1}};
    const int count = len > 0 && line[len - 1] == '\n' ? 1 : 2;
    std::fflush(stderr);
    (void)!writev(STDERR_FILENO, parts, count);
}
}
