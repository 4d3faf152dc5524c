// The layouts of the VNI-server VLAN-mapping exchange, written once: the
// library's builder and parser (vni_mapping.cpp) and the manager's decoder
// and encoder (vni_mapping_server.cpp) are made from them.
#pragma once

#include <vlan_mgr/internal/layout.h>

namespace vlan_mgr::layout::bd_id {

// Request: 1, the value, the key (a VNI).
struct VniMappingRequest {
    static constexpr U32 word0{0}; // always 1
    static constexpr U32 value{4};
    static constexpr U32 key{8};
    static constexpr uint32_t kLen = 12;
};

// Reply: status, VDC id, the VNI, the VLAN it maps to. The library's parser
// hands them out as (result, out3, out1, out2).
struct VniMappingReply {
    static constexpr U32 status{0};
    static constexpr U32 vdc_id{4};
    static constexpr U32 vni{8};
    static constexpr U32 vlan_id{12};
    static constexpr uint32_t kLen = 16;
};

} // namespace vlan_mgr::layout::bd_id
