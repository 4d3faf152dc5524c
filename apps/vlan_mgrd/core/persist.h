// The saved configuration: the whole Manager state that an operator set up,
// kept in one small binary file that is replaced atomically on every change.
#ifndef VLAN_MGRD_PERSIST_H
#define VLAN_MGRD_PERSIST_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "state.h"

namespace vlan_mgrd {

// The file's bytes for the state of `m` (format described in persist.cpp).
std::vector<uint8_t> encode_state(const Manager &m);

// The same in parts, so that a saver re-encodes only the VDCs a change
// touched: one VDC's part of the body, and the whole file from the global
// settings of `m` and the five parts (in VDC order).
void encode_vdc(const Vdc &vdc, std::vector<uint8_t> &out);
std::vector<uint8_t> assemble_state(const Manager &m, const std::array<std::vector<uint8_t>, kVdcCount> &vdcs);

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

} // namespace vlan_mgrd

#endif
