// Feeds arbitrary bytes to the transport's framing header parser, the one
// that every frame received from a socket goes through. The buffer is an
// exact-size heap block, so AddressSanitizer sees any read past its end.
//
// Checked: a header that parses is of a kind the transport knows, and what
// the builder makes of its fields parses again to the same fields; a header
// cut short or made longer never parses.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "host/mts_frame.h"
#include "vlan_mgr_host_mts.h"

namespace {

bool same(const vlan_mgr_host::MtsFrame &a, const vlan_mgr_host::MtsFrame &b)
{
    return a.kind == b.kind && a.src_vdc == b.src_vdc && a.src_node == b.src_node && a.src_sap == b.src_sap &&
           a.dest_sap == b.dest_sap && a.opcode == b.opcode && a.token == b.token && a.seq == b.seq &&
           a.deadline == b.deadline;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::vector<uint8_t> buf(data, data + size);
    vlan_mgr_host::MtsFrame f{};
    if (!vlan_mgr_host::mts_frame_decode(buf.data(), buf.size(), &f))
        return 0;
    if (f.kind < VLAN_MGR_HOST_MTS_REQUEST || f.kind > vlan_mgr_host::kMtsKindHeartbeat)
        std::abort();
    const size_t n = vlan_mgr_host::mts_frame_header_size();
    std::vector<uint8_t> again(n);
    vlan_mgr_host::mts_frame_encode(f, again.data());
    vlan_mgr_host::MtsFrame g{};
    if (!vlan_mgr_host::mts_frame_decode(again.data(), again.size(), &g) || !same(f, g))
        std::abort();
    // The same bytes one short, and with one more, are not a header.
    vlan_mgr_host::MtsFrame h{};
    std::vector<uint8_t> shorter(again.begin(), again.end() - 1);
    if (vlan_mgr_host::mts_frame_decode(shorter.data(), shorter.size(), &h))
        std::abort();
    std::vector<uint8_t> longer(again);
    longer.push_back(0);
    if (vlan_mgr_host::mts_frame_decode(longer.data(), longer.size(), &h))
        std::abort();
    return 0;
}
