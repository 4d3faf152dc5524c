// The saved configuration: the whole Manager state that an operator set up,
// kept in one small binary file that is replaced atomically on every change.
#ifndef VLAN_MGRD_PERSIST_H
#define VLAN_MGRD_PERSIST_H

#include <array>
#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

#include "state.h"

namespace vlan_mgrd {

// The file's bytes for the state of `m` (format described in persist.cpp).
std::vector<uint8_t> encode_state(const Manager &m);

// The same in parts, so that a saver re-encodes only the VDCs a change
// touched: one VDC's part of the body, and the whole file from the global
// settings of `m` and the five parts (in VDC order).
void encode_vdc(const Vdc &vdc, std::vector<uint8_t> &out);
std::vector<uint8_t> assemble_state(const Manager &m, const std::array<std::vector<uint8_t>, kVdcCount> &vdcs,
                                    uint64_t generation);

// Decodes a saved file into `m`. `m` must hold the ports of the interface
// table in use: saved ports are matched by interface index (a saved port
// that is no longer in the table is skipped). On failure `m` is left as it
// was and `error` says what is wrong.
bool decode_state(const uint8_t *data, size_t len, Manager &m, std::string &error);

// Writes the state to `path` atomically: a temporary file beside it, written
// in full (and flushed to disk when `sync`), renamed over `path` (and the
// directory flushed when `sync`). False with `error` on any failure; `path`
// then still holds the previous configuration.
bool save_state(const Manager &m, const std::string &path, bool sync, std::string &error);
// The writing part of save_state, for bytes already encoded.
bool write_state_file(const std::vector<uint8_t> &bytes, const std::string &path, bool sync, std::string &error);

// Reads `path` into `m`. A missing file is no error (nothing restored,
// `restored` false). A file that cannot be read or is not a valid saved
// configuration: false with `error`, `m` unchanged.
bool load_state(Manager &m, const std::string &path, bool &restored, std::string &error);

// The state's owner: an exclusive lock (flock) on `path`.lock, the lock file
// beside the state file, that the manager takes before it loads the state and
// holds for its life, so that no second manager ever loads or saves the same
// state. The lock file (mode 0600, trust group) holds the owner's pid and a
// newline. Returns the lock's descriptor (close-on-exec); -1 when another
// process holds the lock, with `holder` its pid as the lock file names it (0
// when it names none); -2 with `error` when the lock file cannot be opened.
int lock_state(const std::string &path, pid_t &holder, std::string &error);

// The manager's saved configuration on disk: a snapshot file at `path` and a
// log beside it, `path`.log. Every save appends one record, a whole saved
// state in the file format with the next generation number, to the log (one
// write of a few kilobytes, flushed with fdatasync when `sync`); when the
// log passes kCompactBytes, the state is written as the new snapshot
// (temporary file, fsync, rename, directory fsync) and the log emptied.
// Restoring takes the record of the highest generation from the snapshot
// and the log. A record cut short or with a bad checksum at the log's end
// (a write the process did not finish) is ignored; any other damage refuses
// the start.
class StateStore {
public:
    static constexpr uint64_t kCompactBytes = 4u << 20;

    StateStore(std::string path, bool sync);
    ~StateStore();
    StateStore(const StateStore &) = delete;
    StateStore &operator=(const StateStore &) = delete;

    // Restores the newest saved state into `m` (ports of the interface table
    // already in `m`), then compacts: a restored state becomes the snapshot
    // and the log starts empty. A missing snapshot and log: nothing restored.
    bool load(Manager &m, bool &restored, std::string &error);
    // Saves the state made of the global settings of `m` and the VDC parts.
    bool save(const Manager &m, const std::array<std::vector<uint8_t>, kVdcCount> &parts, std::string &error);

    const std::string &log_path() const { return log_path_; }

private:
    bool compact(const Manager &m, std::string &error);
    bool open_log(std::string &error);

    std::string path_, log_path_;
    bool sync_;
    int log_fd_ = -1;
    bool fresh_log_ = false;      // nothing valid in the log: emptied when opened
    uint64_t generation_ = 0;
    uint64_t log_bytes_ = 0;
};

} // namespace vlan_mgrd

#endif
