// The layouts of the notifications that the VLAN manager publishes, written
// once: the parsers of this folder (change.cpp, create_delete.cpp) and the
// manager's encoders (*_server.cpp) are all made from them. Fields are
// big-endian except the bitmaps' length words (host order, 512) and
// interface indexes (as hton_if_index gives them).
#pragma once

#include <vlan_mgr/internal/layout.h>

namespace vlan_mgr::layout::notif {

// VLAN create (0x5C1D): count(4), then `count` entries of 40 bytes, then the
// TLV part of the notif2 records (vlan_create_notif2_payload_t), if any.
struct Create {
    static constexpr U32 count{0};
    static constexpr List entries{4, 40};
    // One created VLAN, offsets inside its entry.
    struct Entry {
        static constexpr U16 bd_id{0};
        static constexpr U16 type{2};
        static constexpr U16 field7{4};   // 0
        static constexpr U16 vdc_id{6};
        static constexpr U32 vlan_id{8};
        static constexpr U32 primary{12}; // a secondary private VLAN's primary, else 0
        static constexpr U32 unused16{16}; // 0, not read
        static constexpr U32 mode{20};
        static constexpr U32 segment{24};
        static constexpr U32 options{28}; // the create options
        static constexpr U32 state{32};
        static constexpr U32 field36{36}; // 0
    };
};

// VLAN delete (0x5C22): count(4), then `count` entries of 12 bytes, then the
// TLV part of the notif2 records (vlan_delete_notif2_payload_t), if any.
struct Delete {
    static constexpr U32 count{0};
    static constexpr List entries{4, 12};
    struct Entry {
        static constexpr U16 bd_id{0};
        static constexpr U16 vdc_id{2};
        static constexpr U32 vlan_id{4};
        static constexpr U32 type{8}; // the type the VLAN had
    };
};

// VLAN config change, names (0x5C21): count(4), then `count` records of
// 18 + len_a + len_b bytes: a header, then text A (len_a bytes) and text B
// (len_b bytes); a record whose flag is set carries two 32-bit values at 18
// and 22 instead of texts. The manager sends the name as text A, 33 bytes
// (the name and its NUL, zero-filled), and no text B.
struct Names {
    static constexpr U32 count{0};
    static constexpr size_t kRecordsOff = 4;
    struct Record {
        static constexpr U16 vdc_id{0};
        static constexpr U32 vlan_id{2};
        static constexpr U32 flag{6}; // 0: texts, else values
        static constexpr U32 len_a{10};
        static constexpr U32 len_b{14};
        static constexpr U32 value_a{18}; // flag set
        static constexpr U32 value_b{22}; // flag set
        static constexpr size_t kHead = 18;
    };
    static constexpr uint32_t kNameField = 33; // a name and its NUL
};

// VLAN type change (0x5C26): one VLAN, 14 bytes.
struct TypeChange {
    static constexpr U16 vdc_id{0};
    static constexpr U32 vlan_id{2};
    static constexpr U32 type{6};
    static constexpr U32 primary{10}; // a secondary private VLAN's primary, else 0
    static constexpr size_t kSize = 14;
};

// BD change (0x5C2B): the BD ids of VLANs of one VDC.
//   u16 0, vdc(2), count(4), then `count` entries of 8 bytes
struct BdChange {
    static constexpr U16 field0{0}; // 0
    static constexpr U16 vdc_id{2};
    static constexpr U32 count{4};
    static constexpr List entries{8, 8};
    struct Entry {
        static constexpr U32 vlan_id{0};
        static constexpr U16 bd_id{4};
        static constexpr U16 field6{6}; // 0
    };
};

// Port membership change (0x5C24): count(4), then `count` entries of 1044
// bytes, one per port.
struct PortMembership {
    static constexpr U32 count{0};
    static constexpr List entries{4, 1044};
    struct Entry {
        static constexpr U16 field0{0}; // 0, not read
        static constexpr U16 vdc_id{2};
        static constexpr HostU32 if_index{4}; // hton_if_index's bytes
        static constexpr U32 mode{8};         // the port mode
        static constexpr Bitmap configured{12};
        static constexpr Bitmap active{528}; // configured, created and active
    };
};

// Where a field of list entry 0 lies in the payload: the parsers read entry
// i at payload stride * i with these offsets.
constexpr size_t in_first(const List &l, size_t field_off) { return l.off + field_off; }

// ---- The notifications that only the library reads ---------------------------
// The manager sends none of these; the layouts below are what the parsers
// read. Fields are named after the record member they land in (vNN: the
// member at that offset of the full record).

// Interface indexes follow some records: 32-bit words as hton_if_index gives
// them.
inline constexpr size_t kIfIndexWidth = 4;

// 0x5C1E, 0x5C23: one record of 20 bytes, then `n` interface indexes.
struct Notif5C1E {
    static constexpr U16 v0{0};
    static constexpr U32 v2{2};
    static constexpr U16 v6{6};
    static constexpr U32 v8{8};
    static constexpr U32 v12{12};
    static constexpr U32 n{16}; // interface indexes that follow
    static constexpr List if_indexes{20, kIfIndexWidth};
    static constexpr size_t kSize = 20; // the record before its indexes
};

// 0x5C4E, 0x5C4F: one record of 10 bytes, then `n` interface indexes.
struct Notif5C4E {
    static constexpr U16 v0{0};
    static constexpr U32 v2{2};
    static constexpr U32 n{6}; // interface indexes that follow
    static constexpr List if_indexes{10, kIfIndexWidth};
    static constexpr size_t kSize = 10;
};

// 0x5C1F: a VDC id, then four VLAN bitmaps; 2066 bytes.
struct Notif5C1F {
    static constexpr U16 vdc_id{0};
    static constexpr size_t kBitmaps = 4;
    static constexpr Bitmap bitmaps[kBitmaps]{{2}, {2 + Bitmap::width}, {2 + 2 * Bitmap::width},
                                              {2 + 3 * Bitmap::width}};
    static constexpr size_t kSize = 2 + kBitmaps * Bitmap::width;
};

// 0x5C20: a VDC id, a half word not read, a 32-bit value and one VLAN
// bitmap; 524 bytes.
struct Notif5C20 {
    static constexpr U16 vdc_id{0};
    static constexpr U16 field2{2}; // not read
    static constexpr U32 v4{4};
    static constexpr Bitmap bitmap{8};
    static constexpr size_t kSize = 524;
};

// 0x5C25: count(4), then `count` records of 24 bytes, each followed by
// n3 + n4 + n5 interface indexes.
struct IfLists {
    static constexpr U32 count{0};
    static constexpr size_t kRecordsOff = 4;
    struct Record {
        static constexpr U32 w0{0};
        static constexpr U16 v4{4};
        static constexpr U16 vdc_id{6};
        static constexpr U32 w2{8};
        static constexpr U32 n3{12};
        static constexpr U32 n4{16};
        static constexpr U32 n5{20};
        static constexpr List if_indexes{24, kIfIndexWidth};
        static constexpr size_t kHead = 24; // the record before its indexes
    };
};

// 0x5C28: count(4), then `count` entries of 1568 bytes, one per port.
struct Notif5C28 {
    static constexpr U32 count{0};
    static constexpr List entries{4, 1568};
    struct Entry {
        static constexpr HostU32 if_index{0}; // hton_if_index's bytes
        static constexpr U32 v4{4};
        static constexpr U16 v8{8};
        static constexpr U16 vdc_id{10};
        static constexpr U32 v12{12};
        static constexpr U32 v16{16};
        static constexpr Bitmap bitmaps[3]{{20}, {20 + Bitmap::width}, {20 + 2 * Bitmap::width}};
    };
};

// 0x5C2C: a word not read, count(4), then `count` entries of 1052 bytes,
// one per port.
struct Notif5C2C {
    static constexpr U32 field0{0}; // not read
    static constexpr U32 count{4};
    static constexpr List entries{8, 1052};
    struct Entry {
        static constexpr HostU32 if_index{0}; // hton_if_index's bytes
        static constexpr U16 v4{4};
        static constexpr U32 v6{6};
        static constexpr U32 field10{10}; // not read
        static constexpr Bitmap bitmap{14};
        static constexpr Bitmap bitmap2{530}; // not read
        static constexpr U16 v10{1046};
        static constexpr U32 v12{1048};
    };
};

// Each record's fields end where its next part starts.
static_assert(Notif5C1E::n.end() == Notif5C1E::kSize && Notif5C1E::if_indexes.off == Notif5C1E::kSize);
static_assert(Notif5C4E::n.end() == Notif5C4E::kSize && Notif5C4E::if_indexes.off == Notif5C4E::kSize);
static_assert(Notif5C1F::bitmaps[Notif5C1F::kBitmaps - 1].end() == Notif5C1F::kSize);
static_assert(Notif5C20::bitmap.end() == Notif5C20::kSize);
static_assert(IfLists::Record::n5.end() == IfLists::Record::kHead &&
              IfLists::Record::if_indexes.off == IfLists::Record::kHead);
static_assert(Notif5C28::Entry::bitmaps[2].end() == Notif5C28::entries.stride);
static_assert(Notif5C2C::Entry::bitmap2.end() == Notif5C2C::Entry::v10.off &&
              Notif5C2C::Entry::v12.end() == Notif5C2C::entries.stride);

} // namespace vlan_mgr::layout::notif
