// Port membership updates: the access update and its replies, the trunking
// update and its replies, and the serialised port membership records.
#include "memb_test_util.h"

namespace {

using namespace reqtest;
using namespace membtest;

// ---- Access update builder ------------------------------------------------------------

TEST(AccessUpdateBuild, OnePortIsEighteenBytes)
{
    const uint32_t ports[] = {kIfx};
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_update_port_memb_build_mts(ports, 1, vdc_vlan_id_t{2, 100}, 0, 1, &p, &len), VLAN_MGR_OK);
    ASSERT_EQ(len, 18u);
    EXPECT_EQ(take(p, len), (Bytes{0x00, 0x00, 0x00, 0x01, 0x00, 0x02, 0x00, 0x00, 0x00, 0x64, 0x00, 0x00, 0x00,
                                   0x01, 0x1A, 0x2B, 0x3C, 0x4D}));
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(AccessUpdateBuild, OperationsOneNineAndThirteenAreAccepted)
{
    const uint32_t ports[] = {kIfx, 0x01020304u};
    for (uint32_t op : {1u, 9u, 13u}) {
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_update_port_memb_build_mts(ports, 2, vdc_vlan_id_t{1, 4094}, 0, op, &p, &len), VLAN_MGR_OK);
        EXPECT_EQ(take(p, len), (Bytes{0x00, 0x00, 0x00, static_cast<uint8_t>(op), 0x00, 0x01, 0x00, 0x00, 0x0F, 0xFE,
                                       0x00, 0x00, 0x00, 0x02, 0x1A, 0x2B, 0x3C, 0x4D, 0x01, 0x02, 0x03, 0x04}));
    }
}

TEST(AccessUpdateBuild, OtherOperationsAreRefusedWithoutAllocating)
{
    const uint32_t ports[] = {kIfx};
    for (uint32_t op : {0u, 2u, 3u, 12u, 14u, 0xFFFFFFFFu}) {
        void *p = &p;
        uint32_t len = 77;
        EXPECT_EQ(vlan_update_port_memb_build_mts(ports, 1, vdc_vlan_id_t{1, 10}, 0, op, &p, &len), 0x41100022u);
        EXPECT_EQ(vlan_update_port_memb_build_mts_local(ports, 1, 10, 0, op, &p, &len), 0x41100022u);
        EXPECT_EQ(p, &p);
        EXPECT_EQ(len, 77u);
    }
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(AccessUpdateBuild, MissingPortsAreCheckedBeforeTheOperation)
{
    const uint32_t ports[] = {kIfx};
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_update_port_memb_build_mts(nullptr, 1, vdc_vlan_id_t{1, 10}, 0, 2, &p, &len), 0x41100003u);
    EXPECT_EQ(vlan_update_port_memb_build_mts(ports, 0, vdc_vlan_id_t{1, 10}, 0, 2, &p, &len), 0x41100003u);
    EXPECT_EQ(vlan_update_port_memb_build_mts_local(nullptr, 1, 10, 0, 1, &p, &len), 0x41100003u);
    EXPECT_EQ(p, &p);
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(AccessUpdateBuild, VlanOfAnotherVdcIsBuiltWithoutComplaint)
{
    tp::state().vdc_id = 1;
    syslog_fac_LOG_VLAN_MGR.current_level = 7;
    tp::set_debug(100, true);
    const uint32_t ports[] = {kIfx};
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_update_port_memb_build_mts(ports, 1, vdc_vlan_id_t{4, 20}, 0, 9, &p, &len), VLAN_MGR_OK);
    EXPECT_EQ(take(p, len), (Bytes{0x00, 0x00, 0x00, 0x09, 0x00, 0x04, 0x00, 0x00, 0x00, 0x14, 0x00, 0x00, 0x00,
                                   0x01, 0x1A, 0x2B, 0x3C, 0x4D}));
    EXPECT_EQ(tp::state().vdc_get_calls, 0);
    expect_no_report();
}

TEST(AccessUpdateBuild, TheIgnoredArgumentChangesNothing)
{
    const uint32_t ports[] = {kIfx};
    void *p1 = nullptr, *p2 = nullptr;
    uint32_t l1 = 0, l2 = 0;
    ASSERT_EQ(vlan_update_port_memb_build_mts(ports, 1, vdc_vlan_id_t{1, 5}, 0, 13, &p1, &l1), VLAN_MGR_OK);
    ASSERT_EQ(vlan_update_port_memb_build_mts(ports, 1, vdc_vlan_id_t{1, 5}, 0xDEADBEEF, 13, &p2, &l2), VLAN_MGR_OK);
    EXPECT_EQ(take(p1, l1), take(p2, l2));
}

TEST(AccessUpdateBuild, LocalFormFillsTheLocalVdcFetchedOnce)
{
    tp::state().vdc_id = 3;
    const uint32_t ports[] = {kIfx};
    for (int i = 0; i < 3; ++i) {
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(vlan_update_port_memb_build_mts_local(ports, 1, 4094, 0, 13, &p, &len), VLAN_MGR_OK);
        EXPECT_EQ(take(p, len), (Bytes{0x00, 0x00, 0x00, 0x0D, 0x00, 0x03, 0x00, 0x00, 0x0F, 0xFE, 0x00, 0x00, 0x00,
                                       0x01, 0x1A, 0x2B, 0x3C, 0x4D}));
    }
    EXPECT_EQ(tp::state().vdc_get_calls, 1);
}

TEST(AccessUpdateBuild, AllocationFailureLeavesNullPayloadAndTheLength)
{
    const uint32_t ports[] = {kIfx};
    for (bool local : {false, true}) {
        const long allocs = sweep_alloc_failures([&] {
            void *p = &p;
            uint32_t len = 0;
            const uint32_t st = local ? vlan_update_port_memb_build_mts_local(ports, 1, 10, 0, 1, &p, &len)
                                      : vlan_update_port_memb_build_mts(ports, 1, vdc_vlan_id_t{1, 10}, 0, 1, &p, &len);
            if (st == VLAN_MGR_ERR_NO_MEMORY) {
                EXPECT_EQ(p, nullptr);
                EXPECT_EQ(len, 18u);
            } else {
                std::free(p);
            }
            return st;
        });
        EXPECT_EQ(allocs, 1);
    }
}

TEST(AccessUpdateBuild, ACountWhoseSizeOverflowsIsAnAllocationFailure)
{
    const uint32_t ports[] = {kIfx};
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_update_port_memb_build_mts(ports, 0x40000000u, vdc_vlan_id_t{1, 10}, 0, 1, &p, &len),
              VLAN_MGR_ERR_NO_MEMORY);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

// ---- Access update reply ------------------------------------------------------------

// Status 0x41100099, VDC 2, VLAN 100.
const Bytes kAccessReply = {0x41, 0x10, 0x00, 0x99, 0x00, 0x02, 0x00, 0x00, 0x00, 0x64};

TEST(AccessUpdateParse, KeyAndStatus)
{
    HeapCopy c(kAccessReply);
    vdc_vlan_id_t key{0, 0};
    EXPECT_EQ(vlan_update_port_memb_parse_reply(&key, c.data(), c.size()), 0x41100099u);
    EXPECT_EQ(key.vdc_id, 2);
    EXPECT_EQ(key.vlan_id, 100u);
    uint32_t vlan = 0;
    EXPECT_EQ(vlan_update_port_memb_parse_reply_local(&vlan, c.data(), c.size()), 0x41100099u);
    EXPECT_EQ(vlan, 100u);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(AccessUpdateParse, FullFormChecksOnlyTheKey)
{
    vdc_vlan_id_t key{7, 7};
    EXPECT_EQ(vlan_update_port_memb_parse_reply(nullptr, kAccessReply.data(), 10), 0x41100003u);
    // A missing payload is an empty reply here, not an invalid argument.
    EXPECT_EQ(vlan_update_port_memb_parse_reply(&key, nullptr, 10), 0x41100002u);
    EXPECT_EQ(vlan_update_port_memb_parse_reply(&key, kAccessReply.data(), 0), 0x41100002u);
    EXPECT_EQ(vlan_update_port_memb_parse_reply(&key, kAccessReply.data(), 4), 0x41100099u);
    EXPECT_EQ(key.vdc_id, 7);
    EXPECT_EQ(key.vlan_id, 7u);
}

TEST(AccessUpdateParse, LocalFormChecksThePayloadAndAlwaysWritesTheVlan)
{
    uint32_t vlan = 7;
    EXPECT_EQ(vlan_update_port_memb_parse_reply_local(nullptr, kAccessReply.data(), 10), 0x41100003u);
    EXPECT_EQ(vlan_update_port_memb_parse_reply_local(&vlan, nullptr, 10), 0x41100003u);
    EXPECT_EQ(vlan, 7u);
    // After a bare status or an empty reply the VLAN is the scratch key's 0.
    EXPECT_EQ(vlan_update_port_memb_parse_reply_local(&vlan, kAccessReply.data(), 4), 0x41100099u);
    EXPECT_EQ(vlan, 0u);
    vlan = 7;
    EXPECT_EQ(vlan_update_port_memb_parse_reply_local(&vlan, kAccessReply.data(), 0), 0x41100002u);
    EXPECT_EQ(vlan, 0u);
}

TEST(AccessUpdateParse, EveryCutFailsCleanlyAndOddAddressesDecodeAlike)
{
    expect_every_cut_fails(kAccessReply, [](const uint8_t *d, uint32_t n) {
        vdc_vlan_id_t key{7, 7};
        const uint32_t st = vlan_update_port_memb_parse_reply(&key, d, n);
        EXPECT_EQ(key.vdc_id, 7) << n;
        EXPECT_EQ(key.vlan_id, 7u) << n;
        return st;
    });
    expect_every_cut_fails(kAccessReply, [](const uint8_t *d, uint32_t n) {
        uint32_t vlan = 7;
        const uint32_t st = vlan_update_port_memb_parse_reply_local(&vlan, d, n);
        EXPECT_EQ(vlan, 0u) << n;
        return st;
    });
    expect_same_at_odd_address(kAccessReply, [](const uint8_t *d, uint32_t n) {
        vdc_vlan_id_t key{0, 0};
        uint32_t vlan = 0;
        const uint32_t st = vlan_update_port_memb_parse_reply(&key, d, n);
        const uint32_t st_local = vlan_update_port_memb_parse_reply_local(&vlan, d, n);
        return cat({be32(st), be16(key.vdc_id), be32(key.vlan_id), be32(st_local), be32(vlan)});
    });
}

// ---- Trunking update builder ------------------------------------------------------------

trunking_update_input input(uint16_t vdc, uint32_t vlan, uint16_t id, const vlan_bitmap &b)
{
    trunking_update_input in{};
    in.vdc_vlan.vdc_id = vdc;
    in.vdc_vlan.vlan_id = vlan;
    in.id = id;
    in.bitmap = b;
    return in;
}

TEST(TrunkingUpdateBuild, TwoPortsAre1064Bytes)
{
    vlan_bitmap b1 = bitmap_of({1, 4094});
    b1.len = 7; // the caller's length word is not carried
    const trunking_update_input in[] = {input(2, 100, 0xABCD, b1), input(3, 4094, 0x0102, bitmap_of({0}))};
    const uint32_t ports[] = {kIfx, 0x01020304u};
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_update_port_trunking_memb_build_mts(ports, 2, in, 11, &p, &len), VLAN_MGR_OK);
    ASSERT_EQ(len, 1064u);
    const Bytes got = take(p, len);
    EXPECT_EQ(Bytes(got.begin() + 16, got.begin() + 20), (Bytes{0x00, 0x02, 0x00, 0x00}));
    EXPECT_EQ(Bytes(got.begin() + 532, got.begin() + 536), kIfxWire);
    const Bytes want = cat({{0x00, 0x00, 0x00, 0x0B, 0x00, 0x00, 0x00, 0x02},
                            {0x00, 0x02, 0x00, 0x00, 0x00, 0x64, 0xAB, 0xCD}, kLen512, bits_of({1, 4094}), kIfxWire,
                            {0x00, 0x03, 0x00, 0x00, 0x0F, 0xFE, 0x01, 0x02}, kLen512, bits_of({0}),
                            {0x01, 0x02, 0x03, 0x04}});
    EXPECT_EQ(got, want);
}

TEST(TrunkingUpdateBuild, OnlyTheSevenOperationsAreAccepted)
{
    const trunking_update_input in[] = {input(1, 10, 0, bitmap_of({}))};
    const uint32_t ports[] = {kIfx};
    for (int32_t op : {2, 3, 4, 5, 9, 11, 12}) {
        void *p = nullptr;
        uint32_t len = 0;
        EXPECT_EQ(vlan_update_port_trunking_memb_build_mts(ports, 1, in, op, &p, &len), VLAN_MGR_OK) << op;
        const Bytes got = take(p, len);
        EXPECT_EQ(Bytes(got.begin(), got.begin() + 4), be32(static_cast<uint32_t>(op)));
    }
    const long before = tp::alloc_calls();
    for (int32_t op : {0, 1, 6, 7, 8, 10, 13, -1}) {
        void *p = &p;
        uint32_t len = 77;
        EXPECT_EQ(vlan_update_port_trunking_memb_build_mts(ports, 1, in, op, &p, &len), 0x41100023u) << op;
        EXPECT_EQ(p, &p);
        EXPECT_EQ(len, 77u);
    }
    EXPECT_EQ(tp::alloc_calls(), before);
}

TEST(TrunkingUpdateBuild, MissingPortsOrRecordsOrCountZeroIsInvalid)
{
    const trunking_update_input in[] = {input(1, 10, 0, bitmap_of({}))};
    const uint32_t ports[] = {kIfx};
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_update_port_trunking_memb_build_mts(nullptr, 1, in, 1, &p, &len), 0x41100003u);
    EXPECT_EQ(vlan_update_port_trunking_memb_build_mts(ports, 0, in, 1, &p, &len), 0x41100003u);
    EXPECT_EQ(vlan_update_port_trunking_memb_build_mts(ports, 1, nullptr, 1, &p, &len), 0x41100003u);
    EXPECT_EQ(p, &p);
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(TrunkingUpdateBuild, AllocationFailureLeavesNullPayloadAndTheLength)
{
    const trunking_update_input in[] = {input(1, 10, 0, bitmap_of({}))};
    const uint32_t ports[] = {kIfx};
    const long allocs = sweep_alloc_failures([&] {
        void *p = &p;
        uint32_t len = 0;
        const uint32_t st = vlan_update_port_trunking_memb_build_mts(ports, 1, in, 2, &p, &len);
        if (st == VLAN_MGR_ERR_NO_MEMORY) {
            EXPECT_EQ(p, nullptr);
            EXPECT_EQ(len, 536u);
        } else {
            std::free(p);
        }
        return st;
    });
    EXPECT_EQ(allocs, 1);
}

TEST(TrunkingUpdateBuild, ACountWhoseSizeOverflowsIsAnAllocationFailure)
{
    // 8 + 528 * 0x007C1F08 does not fit a 32-bit length; no record is read.
    const trunking_update_input in[] = {input(1, 10, 0, bitmap_of({}))};
    const uint32_t ports[] = {kIfx};
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_update_port_trunking_memb_build_mts(ports, 0x007C1F08u, in, 2, &p, &len), VLAN_MGR_ERR_NO_MEMORY);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(TrunkingUpdateBuild, FourThousandPortsWithFullBitmaps)
{
    constexpr uint32_t kPorts = 4096;
    std::vector<trunking_update_input> in(kPorts);
    std::vector<uint32_t> ports(kPorts);
    vlan_bitmap all{};
    all.len = 512;
    std::memset(all.bits, 0xFF, 512);
    for (uint32_t i = 0; i < kPorts; ++i) {
        in[i] = input(static_cast<uint16_t>(1 + i % 5), 1 + i % 4094, static_cast<uint16_t>(i), all);
        ports[i] = kIfx + i;
    }
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_update_port_trunking_memb_build_mts(ports.data(), kPorts, in.data(), 5, &p, &len), VLAN_MGR_OK);
    ASSERT_EQ(len, 8 + 528 * kPorts);
    const Bytes got = take(p, len);
    Bytes want = cat({be32(5), be32(kPorts)});
    for (uint32_t i = 0; i < kPorts; ++i) {
        push_be16(want, static_cast<uint16_t>(1 + i % 5));
        push_be32(want, 1 + i % 4094);
        push_be16(want, static_cast<uint16_t>(i));
        want.insert(want.end(), kLen512.begin(), kLen512.end());
        want.insert(want.end(), 512, 0xFF);
        push_be32(want, kIfx + i);
    }
    EXPECT_EQ(got, want);
}

// ---- Trunking update reply -----------------------------------------------------------

// Status 0, operation 11, VDC 3, VLAN 4094, two pairs.
const Bytes kTrunkReply = {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x0B, 0x00, 0x03, 0x00, 0x00, 0x0F,
                           0xFE, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x0A, 0x41, 0x10, 0x00, 0x12,
                           0x00, 0x00, 0x00, 0x14, 0x00, 0x00, 0x00, 0x00};

TEST(TrunkingUpdateParse, FullResultCarriesEveryField)
{
    HeapCopy c(kTrunkReply);
    trunking_update_result *r = nullptr;
    ASSERT_EQ(vlan_update_port_trunking_memb_parse_reply(&r, c.data()), 0u);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(bytes_of(reinterpret_cast<const uint8_t *>(r), 14 + 16),
              (Bytes{0x0B, 0x00, 0x00, 0x00, 0x03, 0x00, 0xFE, 0x0F, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x0A,
                     0x00, 0x00, 0x00, 0x12, 0x00, 0x10, 0x41, 0x14, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}));
    EXPECT_EQ(r->pairs[1].word_1, 20u);
    std::free(r);
}

TEST(TrunkingUpdateParse, LocalResultDropsTheVdc)
{
    HeapCopy c(kTrunkReply);
    trunking_update_result_local *r = nullptr;
    ASSERT_EQ(vlan_update_port_trunking_memb_parse_reply_local(&r, c.data()), 0u);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(bytes_of(reinterpret_cast<const uint8_t *>(r), 12 + 16),
              (Bytes{0x0B, 0x00, 0x00, 0x00, 0xFE, 0x0F, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x0A, 0x00,
                     0x00, 0x00, 0x12, 0x00, 0x10, 0x41, 0x14, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}));
    std::free(r);
}

TEST(TrunkingUpdateParse, NonZeroStatusLeavesTheResultNull)
{
    // Only the status word is read.
    const Bytes reply = {0x41, 0x10, 0x00, 0x99};
    HeapCopy c(reply);
    trunking_update_result *r = reinterpret_cast<trunking_update_result *>(&r);
    EXPECT_EQ(vlan_update_port_trunking_memb_parse_reply(&r, c.data()), 0x41100099u);
    EXPECT_EQ(r, nullptr);
    trunking_update_result_local *l = reinterpret_cast<trunking_update_result_local *>(&l);
    EXPECT_EQ(vlan_update_port_trunking_memb_parse_reply_local(&l, c.data()), 0x41100099u);
    EXPECT_EQ(l, nullptr);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(TrunkingUpdateParse, NoPairsGiveTheHeaderAlone)
{
    // Exactly 18 bytes: AddressSanitizer would catch a read of a pair.
    const Bytes reply = {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x02, 0x00, 0x01,
                         0x00, 0x00, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x00};
    HeapCopy c(reply);
    trunking_update_result *r = nullptr;
    ASSERT_EQ(vlan_update_port_trunking_memb_parse_reply(&r, c.data()), 0u);
    EXPECT_EQ(bytes_of(reinterpret_cast<const uint8_t *>(r), 14),
              (Bytes{0x02, 0x00, 0x00, 0x00, 0x01, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}));
    std::free(r);
    trunking_update_result_local *l = nullptr;
    ASSERT_EQ(vlan_update_port_trunking_memb_parse_reply_local(&l, c.data()), 0u);
    EXPECT_EQ(bytes_of(reinterpret_cast<const uint8_t *>(l), 12),
              (Bytes{0x02, 0x00, 0x00, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}));
    std::free(l);
}

TEST(TrunkingUpdateParse, AllocationFailureLeavesTheResultNull)
{
    HeapCopy c(kTrunkReply);
    EXPECT_EQ(sweep_alloc_failures([&] {
                  trunking_update_result *r = reinterpret_cast<trunking_update_result *>(&r);
                  const uint32_t st = vlan_update_port_trunking_memb_parse_reply(&r, c.data());
                  if (st == VLAN_MGR_ERR_NO_MEMORY) {
                      EXPECT_EQ(r, nullptr);
                  }
                  std::free(r);
                  return st;
              }),
              1);
    EXPECT_EQ(sweep_alloc_failures([&] {
                  trunking_update_result_local *r = reinterpret_cast<trunking_update_result_local *>(&r);
                  const uint32_t st = vlan_update_port_trunking_memb_parse_reply_local(&r, c.data());
                  if (st == VLAN_MGR_ERR_NO_MEMORY) {
                      EXPECT_EQ(r, nullptr);
                  }
                  std::free(r);
                  return st;
              }),
              1);
}

TEST(TrunkingUpdateParse, OddAddressesDecodeAlike)
{
    expect_same_at_odd_address(kTrunkReply, [](const uint8_t *d, uint32_t) {
        trunking_update_result *r = nullptr;
        trunking_update_result_local *l = nullptr;
        const uint32_t st = vlan_update_port_trunking_memb_parse_reply(&r, d);
        const uint32_t st_local = vlan_update_port_trunking_memb_parse_reply_local(&l, d);
        const Bytes out = cat({be32(st), be32(st_local), bytes_of(reinterpret_cast<const uint8_t *>(r), 30),
                               bytes_of(reinterpret_cast<const uint8_t *>(l), 28)});
        std::free(r);
        std::free(l);
        return out;
    });
}

TEST(TrunkingUpdateParseDeathTest, NeitherPointerIsChecked)
{
    trunking_update_result *r = nullptr;
    EXPECT_DEATH(vlan_update_port_trunking_memb_parse_reply(nullptr, kTrunkReply.data()), "");
    EXPECT_DEATH(vlan_update_port_trunking_memb_parse_reply(&r, nullptr), "");
    trunking_update_result_local *l = nullptr;
    EXPECT_DEATH(vlan_update_port_trunking_memb_parse_reply_local(nullptr, kTrunkReply.data()), "");
    EXPECT_DEATH(vlan_update_port_trunking_memb_parse_reply_local(&l, nullptr), "");
}

// ---- Port VLAN membership records ------------------------------------------------------

port_vlan_memb_info memb_info(uint32_t ifx, vdc_vlan_id_t a, vdc_vlan_id_t b, const vlan_bitmap &bm)
{
    port_vlan_memb_info m{};
    m.if_index = ifx;
    m.vlan_1 = a;
    m.vlan_2 = b;
    m.bitmap = bm;
    return m;
}

TEST(PortVlanMembInfoBuild, OneRecordIs536Bytes)
{
    vlan_bitmap bm = bitmap_of({2, 4095});
    bm.len = 3; // the caller's length word is not carried
    const port_vlan_memb_info in[] = {memb_info(kIfx, {2, 10}, {3, 4094}, bm)};
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_build_port_vlan_memb_info_mts(in, 1, &p, &len), VLAN_MGR_OK);
    ASSERT_EQ(len, 536u);
    EXPECT_EQ(take(p, len), cat({{0x00, 0x00, 0x00, 0x01}, kIfxWire, {0x00, 0x02, 0x00, 0x00, 0x00, 0x0A},
                                 {0x00, 0x03, 0x00, 0x00, 0x0F, 0xFE}, kLen512, bits_of({2, 4095})}));
}

TEST(PortVlanMembInfoBuild, MissingRecordsOrCountZeroIsInvalid)
{
    const port_vlan_memb_info in[] = {memb_info(kIfx, {2, 10}, {3, 4094}, bitmap_of({}))};
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_build_port_vlan_memb_info_mts(nullptr, 1, &p, &len), 0x41100003u);
    EXPECT_EQ(vlan_build_port_vlan_memb_info_mts(in, 0, &p, &len), 0x41100003u);
    EXPECT_EQ(p, &p);
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(PortVlanMembInfoBuild, AllocationFailureLeavesNullPayloadAndTheLength)
{
    const port_vlan_memb_info in[] = {memb_info(kIfx, {2, 10}, {3, 4094}, bitmap_of({}))};
    EXPECT_EQ(sweep_alloc_failures([&] {
                  void *p = &p;
                  uint32_t len = 0;
                  const uint32_t st = vlan_build_port_vlan_memb_info_mts(in, 1, &p, &len);
                  if (st == VLAN_MGR_ERR_NO_MEMORY) {
                      EXPECT_EQ(p, nullptr);
                      EXPECT_EQ(len, 536u);
                  } else {
                      std::free(p);
                  }
                  return st;
              }),
              1);
}

TEST(PortVlanMembInfoBuild, ACountWhoseSizeOverflowsIsAnAllocationFailure)
{
    // 4 + 532 * 0x00800000 does not fit a 32-bit length; no record is read.
    const port_vlan_memb_info in[] = {memb_info(kIfx, {2, 10}, {3, 4094}, bitmap_of({}))};
    void *p = &p;
    uint32_t len = 77;
    EXPECT_EQ(vlan_build_port_vlan_memb_info_mts(in, 0x00800000u, &p, &len), VLAN_MGR_ERR_NO_MEMORY);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(len, 77u);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(PortVlanMembInfoBuild, FourThousandRecordsWithFullBitmaps)
{
    constexpr uint32_t kRecords = 4096;
    vlan_bitmap all{};
    all.len = 512;
    std::memset(all.bits, 0xFF, 512);
    std::vector<port_vlan_memb_info> in;
    for (uint32_t i = 0; i < kRecords; ++i)
        in.push_back(memb_info(kIfx ^ i, {static_cast<uint16_t>(1 + i % 5), 1 + i % 4094}, {5, 4094 - i % 4094},
                               all));
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_build_port_vlan_memb_info_mts(in.data(), kRecords, &p, &len), VLAN_MGR_OK);
    ASSERT_EQ(len, 4 + 532 * kRecords);
    Bytes want = be32(kRecords);
    for (uint32_t i = 0; i < kRecords; ++i) {
        push_be32(want, kIfx ^ i);
        push_be16(want, static_cast<uint16_t>(1 + i % 5));
        push_be32(want, 1 + i % 4094);
        push_be16(want, 5);
        push_be32(want, 4094 - i % 4094);
        want.insert(want.end(), kLen512.begin(), kLen512.end());
        want.insert(want.end(), 512, 0xFF);
    }
    EXPECT_EQ(take(p, len), want);
}

} // namespace
