// The manager's side of the protocol: what every family's request decoders
// and reply encoders share. The decoders and encoders are made from the same
// layout descriptions as the library's builders and parsers (src/<family>/
// layout.h); they are linked by the manager from the internal static library
// vlan_mgr_server and are not part of libvlan_mgr.so's exported names.
// Internal: not installed with the library.
#pragma once

#include <bitset>
#include <cstdint>
#include <vector>

namespace vlan_mgr::server {

// A whole payload, request or reply.
using Payload = std::vector<uint8_t>;

// A set of VLAN ids 0..4095, as a bitmap field carries it.
using VlanBits = std::bitset<4096>;

// One VLAN's outcome in a reply that lists a status per VLAN.
struct VlanStatus {
    uint32_t vlan_id;
    uint32_t status;
    bool operator==(const VlanStatus &) const = default;
};

// A reply that is a bare status word (big-endian): what every parser reads
// as the request's failure.
Payload status_payload(uint32_t status);

// The 512 bit bytes of a bitmap field, both ways (no length word).
// bits_to_wire writes VLANs 1..4094 only (a set of the manager's state);
// raw_bits_to_wire every bit, 0 and 4095 included (a set taken from a
// request, echoed so that a refused id still gets its status).
VlanBits bits_from_wire(const uint8_t *bits);
void bits_to_wire(const VlanBits &set, uint8_t *bits);
void raw_bits_to_wire(const VlanBits &set, uint8_t *bits);

// The members of a set, ascending.
std::vector<uint32_t> ids_of(const VlanBits &set);

} // namespace vlan_mgr::server
