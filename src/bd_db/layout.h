// The layouts of the BD database's keys and records, written once: the
// library's lookups and getters (this folder, src/rsvd/) read them, the
// manager's record encoders (*_server.cpp) write them. Fields are big-endian
// except interface indexes (as hton_if_index gives them) and the future
// range's key words (host order).
//
// Records of VDC n:
//   VLAN record     key: the VDC key of the VLAN id; value: VlanRecord
//   layer-3 BD      key: the VDC key of object 0x1000; value: L3BdRecord
//   reserved range  keys: the VDC keys of objects 0x1002 (start) and 0x1003
//                   (end); value: RsvdRecord
//   future range    keys: the host-order words 9 (start) and 10 (end);
//                   value: FutureRsvdRecord. The range that takes effect
//                   after a restart.
//   access record   key: PortKey type 1; value: the port's AccessEntry,
//                   repeated once per port of the VDC (entry i of a getter's
//                   list is read from slot i of port i's record)
//   trunk record    key: PortKey type 2; value: TrunkRecord
#pragma once

#include <vlan_mgr/internal/layout.h>

namespace vlan_mgr::layout::bd_db {

// The key of a VDC's record: 4 bytes, big-endian, the VDC id's low 8 bits
// then a 24-bit object id (a VLAN id 1..4094, or one of the objects below).
// VDC 2, VLAN 100 is 02 00 00 64.
struct VdcKey {
    static constexpr U32 word{0};
    static constexpr size_t kSize = 4;
    static constexpr uint32_t kObjectMask = 0xFFFFFFu;
    static constexpr uint32_t kL3BdObject = 0x1000;
    static constexpr uint32_t kRsvdStartObject = 0x1002;
    static constexpr uint32_t kRsvdEndObject = 0x1003;
    static constexpr uint32_t word_of(uint16_t vdc_id, uint32_t object)
    {
        return (static_cast<uint32_t>(vdc_id & 0xFFu) << 24) | (object & kObjectMask);
    }
};

// The future range's keys: a bare 32-bit word in host order.
struct FutureKey {
    static constexpr HostU32 word{0};
    static constexpr size_t kSize = 4;
    static constexpr uint32_t kStartWord = 9;
    static constexpr uint32_t kEndWord = 10;
};

// A port's key: the record type, then the interface index as hton_if_index
// gives it.
struct PortKey {
    static constexpr U8 type{0};
    static constexpr HostU32 if_index{1};
    static constexpr size_t kSize = 5;
    static constexpr uint8_t kAccess = 1;
    static constexpr uint8_t kTrunk = 2;
};

// A VLAN's record, 18 bytes. A record shorter than the fields that a reader
// needs counts as a failed read.
struct VlanRecord {
    static constexpr U16 bd_id{0};
    static constexpr U32 primary{2}; // a secondary private VLAN's primary, else the VLAN itself
    static constexpr U32 type{6};
    static constexpr U32 mode{10};
    static constexpr U32 segment{14};
    static constexpr size_t kSize = 18;
};

// The VDC's layer-3 BD.
struct L3BdRecord {
    static constexpr U16 bd_id{0};
    static constexpr size_t kSize = 2;
};

// One bound of the configured reserved range.
struct RsvdRecord {
    static constexpr U16 vlan_id{0};
    static constexpr size_t kSize = 2;
};

// One bound of the future reserved range.
struct FutureRsvdRecord {
    static constexpr U16 field0{0}; // 0
    static constexpr U32 vlan_id{2};
    static constexpr size_t kSize = 6;
};

// A port's access entry, 24 bytes.
struct AccessEntry {
    static constexpr HostU32 if_index{0}; // hton_if_index's bytes
    static constexpr U32 mode{4};         // the port mode (1 access, 2 trunk)
    static constexpr U32 access_vlan{8};
    static constexpr U16 vdc_id{12};
    static constexpr U32 voice_vlan{14}; // 0: none
    static constexpr U16 native_vlan{18};
    static constexpr U32 access_up{20}; // 1 when the access VLAN is created and active, else 0
    static constexpr size_t kSize = 24;
};

// A port's trunk record, 1050 bytes. The bitmaps' length words are written
// big-endian (512) and never read.
struct TrunkRecord {
    static constexpr HostU32 if_index{0}; // hton_if_index's bytes
    static constexpr U16 vdc_id{4};
    static constexpr U32 mode{6};
    static constexpr U16 native_vlan{10};
    static constexpr U32 configured_len{12};
    static constexpr size_t kConfiguredBits = 16;
    static constexpr U32 active_len{528};
    static constexpr size_t kActiveBits = 532; // configured, created and active
    static constexpr U16 voice_vlan{1044};
    static constexpr U32 comprgrp{1046}; // the compression group
    static constexpr size_t kSize = 1050;
    static constexpr uint32_t kBitBytes = 512;
};

} // namespace vlan_mgr::layout::bd_db

// ---- Caller entries of the port getters ----------------------------------------
// The entries that vlan_mgr_sdb_get_port_accntv_memb and
// vlan_mgr_sdb_get_port_trunking_memb hand to their caller: the stored fields
// in host order, at the offsets of the public records (vlan_mgr/bd_db.h).
#include <cstddef>

#include <vlan_mgr/bd_db.h>

namespace vlan_mgr::layout::bd_db {

// 24 bytes, every byte written.
struct AccessCallerEntry {
    using T = vlan_mgr_sdb_accntv_memb_t;
    static constexpr HostU32 if_index{offsetof(T, if_index)}; // ntoh_if_index's value
    static constexpr HostU32 mode{offsetof(T, value1)};
    static constexpr HostU32 access_vlan{offsetof(T, value2)};
    static constexpr HostU16 vdc_id{offsetof(T, value3)};
    static constexpr HostU32 voice_vlan{offsetof(T, value4)};
    static constexpr HostU16 native_vlan{offsetof(T, value5)};
    static constexpr HostU32 access_up{offsetof(T, value6)};
    static constexpr size_t kSize = sizeof(T);
};

// 1052 bytes; the two bytes after the native VLAN stay zero, each bitmap's
// length word holds 512.
struct TrunkingCallerEntry {
    using T = vlan_mgr_sdb_trunking_memb_t;
    static constexpr HostU32 if_index{offsetof(T, if_index)}; // ntoh_if_index's value
    static constexpr HostU16 vdc_id{offsetof(T, value1)};
    static constexpr HostU32 mode{offsetof(T, value2)};
    static constexpr HostU16 native_vlan{offsetof(T, value3)};
    static constexpr Bitmap configured{offsetof(T, bitmap1)};
    static constexpr Bitmap active{offsetof(T, bitmap2)};
    static constexpr HostU16 voice_vlan{offsetof(T, value4)};
    static constexpr HostU32 comprgrp{offsetof(T, value5)};
    static constexpr size_t kSize = sizeof(T);
};

} // namespace vlan_mgr::layout::bd_db
