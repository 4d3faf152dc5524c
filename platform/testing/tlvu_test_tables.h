// Schema tables of the TLV utility's tests, fuzz target and benchmark, shaped
// like the library's own: a packed record with an unaligned 4-byte field at
// offset 49 and a 33-byte string, a 73-byte packed record with fields out of
// offset order, payloads with a count and a list of such records, a list of
// plain 4-byte values, a list behind a 16-bit count at an odd offset, a record
// holding a 516-byte VLAN bitmap, and a 6-byte key.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "tlvu.h"

namespace tlvu_test {

// A table laid out like vlan_mgr_tlv_table_t with N descriptors and the
// terminator: the flexible array cannot be initialised in standard C++.
template <size_t N> struct TableOf {
    uint32_t size;
    const char *type_name;
    vlan_mgr_tlv_init_fn init;
    uint32_t reserved;
    vlan_mgr_tlv_field_t fields[N + 1];
    const vlan_mgr_tlv_table_t *get() const { return reinterpret_cast<const vlan_mgr_tlv_table_t *>(this); }
};
static_assert(offsetof(TableOf<1>, fields) == offsetof(vlan_mgr_tlv_table_t, fields));

constexpr vlan_mgr_tlv_field_t fixed(int32_t id, uint32_t offset, uint32_t width)
{
    return {id, width, offset, VLAN_MGR_TLV_KIND_FIXED, {0, 0, 0}, nullptr, 0, width, -1, nullptr};
}
constexpr vlan_mgr_tlv_field_t text(int32_t id, uint32_t offset, uint32_t buffer = 33)
{
    return {id, 1, offset, VLAN_MGR_TLV_KIND_STRING, {0, 0, 0}, nullptr, 0, buffer, -1, nullptr};
}
inline vlan_mgr_tlv_field_t list(int32_t id, uint32_t offset, uint32_t elem_size, vlan_mgr_tlv_count_fn count,
                                 const vlan_mgr_tlv_table_t *nested)
{
    return {id, elem_size, offset, VLAN_MGR_TLV_KIND_LIST, {0, 0, 0}, count, 0, 0, -1, nested};
}
constexpr vlan_mgr_tlv_field_t terminator()
{
    return {-1, UINT32_MAX, UINT32_MAX, 0, {0, 0, 0}, nullptr, -1, UINT32_MAX, -1, nullptr};
}

template <typename T> T load(const void *p)
{
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
template <typename T> void store(void *p, T v) { std::memcpy(p, &v, sizeof v); }

#pragma pack(push, 1)
// One deleted VLAN: 53 bytes, packed, the last field unaligned at 49.
struct DelRec {
    uint16_t bd;
    uint8_t key[6];
    uint32_t f20;
    uint32_t f15;
    char name[33];
    uint32_t f31;
};
// One created VLAN: 73 bytes, packed.
struct CreateRec {
    uint16_t bd;
    uint16_t f10;
    uint16_t f7;
    uint8_t key[6];
    uint32_t f6;
    uint32_t f13, f11, f12, f14, f15, f30;
    char name[33];
};
#pragma pack(pop)
static_assert(sizeof(DelRec) == 53 && offsetof(DelRec, f31) == 49 && offsetof(DelRec, name) == 16);
static_assert(sizeof(CreateRec) == 73 && offsetof(CreateRec, f6) == 12 && offsetof(CreateRec, name) == 40);

// A naturally aligned 48-byte record, listed behind a 16-bit count.
struct UpdRec {
    uint8_t f3;
    uint32_t f5;
    uint32_t f6;
    uint16_t f7;
    char name[33];
};
static_assert(sizeof(UpdRec) == 48 && offsetof(UpdRec, name) == 14);

// A record holding a VLAN bitmap: 524 bytes.
struct BitmapRec {
    uint32_t f38;
    uint32_t bm_len;
    uint8_t bm[512];
    uint16_t f40;
    uint16_t f41;
};
static_assert(sizeof(BitmapRec) == 524 && offsetof(BitmapRec, f40) == 520);

inline int32_t del_init(void *r)
{
    std::memset(r, 0, sizeof(DelRec));
    store<uint32_t>(static_cast<uint8_t *>(r) + offsetof(DelRec, f20), 100);
    store<uint32_t>(static_cast<uint8_t *>(r) + offsetof(DelRec, f15), 1);
    return 0;
}
inline int32_t create_init(void *r)
{
    std::memset(r, 0, sizeof(CreateRec));
    uint8_t *p = static_cast<uint8_t *>(r);
    store<uint32_t>(p + offsetof(CreateRec, f13), 8);
    store<uint32_t>(p + offsetof(CreateRec, f12), 2);
    store<uint32_t>(p + offsetof(CreateRec, f14), 1);
    store<uint32_t>(p + offsetof(CreateRec, f15), 1);
    return 0;
}
inline int32_t zero4_init(void *r)
{
    std::memset(r, 0, 4);
    return 0;
}
inline int32_t ports_init(void *r)
{
    store<uint32_t>(r, 1);
    store<uint32_t>(static_cast<uint8_t *>(r) + 4, 0);
    return 0;
}
inline int32_t upd_init(void *r)
{
    std::memset(r, 0, sizeof(UpdRec));
    return 0;
}
inline int32_t upd_req_init(void *r)
{
    store<uint16_t>(r, 0);
    return 0;
}
inline int32_t bitmap_init(void *r)
{
    std::memset(r, 0, sizeof(BitmapRec));
    store<uint32_t>(static_cast<uint8_t *>(r) + 4, 512);
    store<uint32_t>(r, 7);
    return 0;
}
inline int32_t key_init(void *r)
{
    std::memset(r, 0, 6);
    return 0;
}
inline uint32_t count_at_0(const void *r) { return load<uint32_t>(r); }
inline uint32_t count_at_4(const void *r) { return load<uint32_t>(static_cast<const uint8_t *>(r) + 4); }
inline uint32_t count_u16_at_0(const void *r) { return load<uint16_t>(r); }

inline const TableOf<6> del_tbl = {
    53, "test_del_t", del_init, 0,
    {fixed(9, 0, 2), fixed(16, 2, 6), fixed(20, 8, 4), fixed(15, 12, 4), text(8, 16), fixed(31, 49, 4), terminator()}};

inline const TableOf<12> create_tbl = {
    73, "test_create_t", create_init, 0,
    {fixed(9, 0, 2), fixed(10, 2, 2), fixed(7, 4, 2), fixed(6, 12, 4), fixed(16, 6, 6), fixed(13, 16, 4),
     fixed(11, 20, 4), fixed(12, 24, 4), fixed(14, 28, 4), fixed(15, 32, 4), fixed(30, 36, 4), text(8, 40),
     terminator()}};

inline const TableOf<2> del_payload_tbl = {
    4, "test_del_payload_t", zero4_init, 0,
    {fixed(17, 0, 4), list(19, 4, 53, count_at_0, del_tbl.get()), terminator()}};

inline const TableOf<2> create_payload_tbl = {
    4, "test_create_payload_t", zero4_init, 0,
    {fixed(17, 0, 4), list(18, 4, 73, count_at_0, create_tbl.get()), terminator()}};

// A list of plain 4-byte values (no element table).
inline const TableOf<3> ports_tbl = {
    8, "test_ports_t", ports_init, 0,
    {fixed(0, 0, 4), fixed(1, 4, 4), list(2, 8, 4, count_at_4, nullptr), terminator()}};

inline const TableOf<5> upd_tbl = {
    48, "test_upd_t", upd_init, 0,
    {fixed(3, 0, 1), fixed(5, 4, 4), fixed(6, 8, 4), fixed(7, 12, 2), text(8, 14), terminator()}};

// A 16-bit count and a list of 48-byte records at offset 2.
inline const TableOf<2> upd_req_tbl = {
    2, "test_upd_req_t", upd_req_init, 0,
    {fixed(1, 0, 2), list(2, 2, 48, count_u16_at_0, upd_tbl.get()), terminator()}};

inline const TableOf<4> bitmap_tbl = {
    524, "test_bitmap_t", bitmap_init, 0,
    {fixed(38, 0, 4), fixed(39, 4, 516), fixed(40, 520, 2), fixed(41, 522, 2), terminator()}};

// A 6-byte key: a 16-bit and a 32-bit field.
inline const TableOf<2> key_tbl = {6, "test_key_t", key_init, 0, {fixed(4, 0, 2), fixed(5, 2, 4), terminator()}};

// Fields of 3, 5, 7 and 1 bytes: 16 bytes, packed.
inline const TableOf<4> odd_tbl = {
    16, "test_odd_t", nullptr, 0, {fixed(1, 0, 3), fixed(2, 3, 5), fixed(3, 8, 7), fixed(4, 15, 1), terminator()}};
inline const TableOf<2> odd_list_tbl = {
    4, "test_odd_list_t", zero4_init, 0, {fixed(1, 0, 4), list(2, 4, 16, count_at_0, odd_tbl.get()), terminator()}};

// A 16-byte element whose last field in carrying order is a 4-byte value
// with 8 bytes of record from its offset: the list ends on it.
inline const TableOf<3> pair_tbl = {
    16, "test_pair_t", nullptr, 0, {fixed(2, 0, 8), fixed(3, 12, 4), fixed(1, 8, 4), terminator()}};
inline const TableOf<2> pair_list_tbl = {
    4, "test_pair_list_t", zero4_init, 0, {fixed(1, 0, 4), list(2, 4, 16, count_at_0, pair_tbl.get()), terminator()}};

} // namespace tlvu_test
