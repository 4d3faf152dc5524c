// Port membership queries: the five request builders, the single-array reply
// parsers, the active trunking parsers and the VLAN check.
#include "memb_test_util.h"

namespace {

using namespace reqtest;
using namespace membtest;

using Builder = uint32_t (*)(const uint32_t *, uint32_t, void **, uint32_t *);
using Parser = uint32_t (*)(void **, uint32_t *, const void *, uint32_t);
using TrunkParser = uint32_t (*)(uint32_t **, uint32_t *, void **, const void *, uint32_t);

const Builder kBuilders[] = {vlan_get_port_active_memb_build_mts, vlan_get_port_voice_vlan_memb_build_mts,
                             vlan_get_port_memb_build_mts, vlan_get_port_trunking_memb_build_mts,
                             vlan_get_port_active_trunking_memb_build_mts};

const Parser kSingleParsers[] = {
    vlan_get_port_active_memb_parse_reply_local, vlan_get_port_active_memb_parse_reply,
    vlan_get_port_voice_vlan_memb_parse_reply,   vlan_get_port_memb_parse_reply_local,
    vlan_get_port_memb_parse_reply,              vlan_get_port_trunking_memb_parse_reply_local,
    vlan_get_port_trunking_memb_parse_reply};

// Status 0, two ports: 0x1A2B3C4D in VDC 3 VLAN 4094, 0x0A0B0C0D in VDC 2 VLAN 10.
const Bytes kPortVlanReply = {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x02, 0x1A, 0x2B, 0x3C, 0x4D, 0x00, 0x03,
                              0x00, 0x00, 0x0F, 0xFE, 0x0A, 0x0B, 0x0C, 0x0D, 0x00, 0x02, 0x00, 0x00, 0x00, 0x0A};

// Status 0x41100099, one port: words 0x11223344 and 0x55667788, VLAN A 100 of
// VDC 2, VLAN B 4000 of VDC 4.
const Bytes kPortMembReply = {0x41, 0x10, 0x00, 0x99, 0x00, 0x00, 0x00, 0x01, 0x1A, 0x2B, 0x3C, 0x4D,
                              0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x00, 0x02, 0x00, 0x00,
                              0x00, 0x64, 0x00, 0x04, 0x00, 0x00, 0x0F, 0xA0};

// One trunking entry: if-index, VDC 3 and VLAN word 1, bitmap VDC 5, two
// bytes not read, bitmap 1, bitmap 2 (with length words that are not read),
// VDC 6 and VLAN word 2.
Bytes trunk_entry(const Bytes &ifx, uint32_t word_1, const Bytes &bits_1, const Bytes &bits_2, uint32_t word_2)
{
    return cat({ifx, {0x00, 0x03}, be32(word_1), {0x00, 0x05}, {0xAA, 0xBB}, {0xDE, 0xAD, 0xBE, 0xEF}, bits_1,
                {0xDE, 0xAD, 0xBE, 0xEF}, bits_2, {0x00, 0x06}, be32(word_2)});
}

Bytes trunk_reply(uint32_t status, std::initializer_list<Bytes> entries)
{
    Bytes b = cat({be32(status), be32(static_cast<uint32_t>(entries.size()))});
    for (const Bytes &e : entries)
        b.insert(b.end(), e.begin(), e.end());
    return b;
}

const Bytes kTrunkReply = trunk_reply(0, {trunk_entry(kIfxWire, 10, bits_of({1, 10, 4094}), bits_of({20}), 20)});

// Status 0x41100077, two ports, bitmap blocks of VDC 3 (VLAN 1) and VDC 4
// (VLAN 4095), each with two bytes and a length word that are not read.
const Bytes kActiveTrunkReply =
    cat({{0x41, 0x10, 0x00, 0x77, 0x00, 0x00, 0x00, 0x02}, kIfxWire, {0x01, 0x02, 0x03, 0x04},
         {0xAA, 0xBB, 0x00, 0x03, 0xDE, 0xAD, 0xBE, 0xEF}, bits_of({1}),
         {0xCC, 0xDD, 0x00, 0x04, 0xDE, 0xAD, 0xBE, 0xEF}, bits_of({4095})});

// ---- Builders --------------------------------------------------------------------

TEST(PortMembBuild, OnePortIsEightBytesWithTheIfIndexConverted)
{
    const uint32_t ports[] = {kIfx};
    for (Builder build : kBuilders) {
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(build(ports, 1, &p, &len), VLAN_MGR_OK);
        ASSERT_EQ(len, 8u);
        EXPECT_EQ(take(p, len), (Bytes{0x00, 0x00, 0x00, 0x01, 0x1A, 0x2B, 0x3C, 0x4D}));
    }
    EXPECT_EQ(tp::alloc_calls(), 5);
    EXPECT_EQ(tp::live_allocs(), 0);
    expect_no_report();
}

TEST(PortMembBuild, PortsKeepTheirOrder)
{
    const uint32_t ports[] = {kIfx, 0x01020304u, 0xF0E0D0C0u};
    for (Builder build : kBuilders) {
        void *p = nullptr;
        uint32_t len = 0;
        ASSERT_EQ(build(ports, 3, &p, &len), VLAN_MGR_OK);
        EXPECT_EQ(take(p, len), (Bytes{0x00, 0x00, 0x00, 0x03, 0x1A, 0x2B, 0x3C, 0x4D, 0x01, 0x02, 0x03, 0x04,
                                       0xF0, 0xE0, 0xD0, 0xC0}));
    }
}

TEST(PortMembBuild, NoPortsOrCountZeroIsInvalidAndAllocatesNothing)
{
    const uint32_t ports[] = {kIfx};
    for (Builder build : kBuilders) {
        void *p = &p;
        uint32_t len = 77;
        EXPECT_EQ(build(ports, 0, &p, &len), 0x41100003u);
        EXPECT_EQ(build(nullptr, 1, &p, &len), 0x41100003u);
        EXPECT_EQ(p, &p);
        EXPECT_EQ(len, 77u);
    }
    EXPECT_EQ(tp::alloc_calls(), 0);
    EXPECT_EQ(tp::state().vdc_get_calls, 0);
    expect_no_report();
}

TEST(PortMembBuild, AllocationFailureLeavesNullPayloadAndTheLength)
{
    const uint32_t ports[] = {kIfx, 2};
    for (Builder build : kBuilders) {
        const long allocs = sweep_alloc_failures([&] {
            void *p = &p;
            uint32_t len = 0;
            const uint32_t st = build(ports, 2, &p, &len);
            if (st == VLAN_MGR_ERR_NO_MEMORY) {
                EXPECT_EQ(p, nullptr);
                EXPECT_EQ(len, 12u);
            } else {
                std::free(p);
            }
            return st;
        });
        EXPECT_EQ(allocs, 1);
    }
}

TEST(PortMembBuild, ACountWhoseSizeOverflowsIsAnAllocationFailure)
{
    // 4 + 4 * 0x40000000 does not fit a 32-bit length; the ports are never read.
    const uint32_t ports[] = {kIfx};
    for (Builder build : kBuilders) {
        void *p = &p;
        uint32_t len = 77;
        EXPECT_EQ(build(ports, 0x40000000u, &p, &len), VLAN_MGR_ERR_NO_MEMORY);
        EXPECT_EQ(p, nullptr);
        EXPECT_EQ(len, 77u);
    }
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(PortMembRoundTrip, SixtyFiveThousandPortsGoOutAndComeBack)
{
    constexpr uint32_t kPorts = 65536;
    std::vector<uint32_t> ports(kPorts);
    for (uint32_t i = 0; i < kPorts; ++i)
        ports[i] = kIfx + i * 0x01010101u;
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_get_port_active_memb_build_mts(ports.data(), kPorts, &p, &len), VLAN_MGR_OK);
    ASSERT_EQ(len, 4 + 4 * kPorts);
    const Bytes req = take(p, len);
    EXPECT_EQ(Bytes(req.begin(), req.begin() + 8), (Bytes{0x00, 0x01, 0x00, 0x00, 0x1A, 0x2B, 0x3C, 0x4D}));
    // The VLAN manager's answer: each requested port in VLAN 7 of VDC 1.
    Bytes reply = cat({be32(0), be32(kPorts)});
    for (uint32_t i = 0; i < kPorts; ++i) {
        reply.insert(reply.end(), req.begin() + 4 + 4 * i, req.begin() + 8 + 4 * i);
        push_be16(reply, 1);
        push_be32(reply, 7);
    }
    void *r = nullptr;
    uint32_t n = 0;
    ASSERT_EQ(vlan_get_port_active_memb_parse_reply(&r, &n, reply.data(), static_cast<uint32_t>(reply.size())), 0u);
    ASSERT_EQ(n, kPorts);
    const auto *recs = static_cast<const port_vdc_vlan *>(r);
    for (uint32_t i = 0; i < kPorts; ++i) {
        ASSERT_EQ(recs[i].if_index, ports[i]) << i;
        ASSERT_EQ(recs[i].vdc_vlan.vdc_id, 1);
        ASSERT_EQ(recs[i].vdc_vlan.vlan_id, 7u);
    }
    std::free(r);
    EXPECT_EQ(tp::live_allocs(), 0);
}

// ---- Single-array parsers: common behaviour ------------------------------------

TEST(PortMembParse, FourByteReplyReturnsItsStatusWithNoArray)
{
    const Bytes status = {0x41, 0x10, 0x00, 0x55};
    const Bytes zero = {0x00, 0x00, 0x00, 0x00};
    for (Parser parse : kSingleParsers) {
        void *r = &r;
        uint32_t count = 9;
        EXPECT_EQ(parse(&r, &count, status.data(), 4), 0x41100055u);
        EXPECT_EQ(r, nullptr);
        EXPECT_EQ(count, 0u);
        r = &r;
        count = 9;
        EXPECT_EQ(parse(&r, &count, zero.data(), 4), 0u);
        EXPECT_EQ(r, nullptr);
        EXPECT_EQ(count, 0u);
    }
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(PortMembParse, EmptyReplyIsNoMemory)
{
    for (Parser parse : kSingleParsers) {
        void *r = &r;
        uint32_t count = 9;
        EXPECT_EQ(parse(&r, &count, kPortVlanReply.data(), 0), 0x41100002u);
        EXPECT_EQ(r, nullptr);
        EXPECT_EQ(count, 0u);
    }
}

TEST(PortMembParse, NullCountOrPayloadIsInvalidAndTouchesNothing)
{
    for (Parser parse : kSingleParsers) {
        void *r = &r;
        uint32_t count = 9;
        EXPECT_EQ(parse(&r, nullptr, kPortVlanReply.data(), 28), 0x41100003u);
        EXPECT_EQ(parse(&r, &count, nullptr, 28), 0x41100003u);
        EXPECT_EQ(r, &r);
        EXPECT_EQ(count, 9u);
    }
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(PortMembParseDeathTest, RecordsPointerIsWrittenWithoutACheck)
{
    for (Parser parse : kSingleParsers) {
        uint32_t count = 0;
        EXPECT_DEATH(parse(nullptr, &count, kPortVlanReply.data(), 4), "");
    }
}

TEST(PortMembParse, CountZeroIsNoEntries)
{
    const Bytes reply = {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};
    for (Parser parse : kSingleParsers) {
        void *r = &r;
        uint32_t count = 9;
        EXPECT_EQ(parse(&r, &count, reply.data(), 8), 0x41100011u);
        EXPECT_EQ(r, nullptr);
        EXPECT_EQ(count, 0u);
    }
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(PortMembParse, CountPastThePayloadIsTruncatedAndAllocatesNothing)
{
    // Two entries announced, one there; and the largest count, whose size
    // would wrap a 32-bit product.
    Bytes short_reply = kPortVlanReply;
    short_reply.resize(18);
    Bytes huge = kPortVlanReply;
    huge[4] = huge[5] = huge[6] = huge[7] = 0xFF;
    for (Parser parse : kSingleParsers)
        for (const Bytes *reply : {&short_reply, &huge}) {
            HeapCopy c(*reply);
            void *r = &r;
            uint32_t count = 9;
            EXPECT_EQ(parse(&r, &count, c.data(), c.size()), VLAN_MGR_ERR_TRUNCATED);
            EXPECT_EQ(r, nullptr);
            EXPECT_EQ(count, 0u);
        }
    EXPECT_EQ(tp::alloc_calls(), 0);
}

// ---- Active and voice VLAN parsers ---------------------------------------------

TEST(PortActiveMembParse, LocalRecordsKeepPortAndVlan)
{
    HeapCopy c(kPortVlanReply);
    void *r = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_get_port_active_memb_parse_reply_local(&r, &count, c.data(), c.size()), 0u);
    ASSERT_EQ(count, 2u);
    const auto *recs = static_cast<const port_vlan_local *>(r);
    EXPECT_EQ(recs[0].if_index, 0x1A2B3C4Du);
    EXPECT_EQ(recs[0].vlan_id, 4094u);
    EXPECT_EQ(recs[1].if_index, 0x0A0B0C0Du);
    EXPECT_EQ(recs[1].vlan_id, 10u);
    std::free(r);
}

TEST(PortActiveMembParse, FullAndVoiceRecordsCarryTheVdc)
{
    for (Parser parse : {vlan_get_port_active_memb_parse_reply, vlan_get_port_voice_vlan_memb_parse_reply}) {
        HeapCopy c(kPortVlanReply);
        void *r = nullptr;
        uint32_t count = 0;
        ASSERT_EQ(parse(&r, &count, c.data(), c.size()), 0u);
        ASSERT_EQ(count, 2u);
        const auto *recs = static_cast<const port_vdc_vlan *>(r);
        EXPECT_EQ(recs[0].if_index, 0x1A2B3C4Du);
        EXPECT_EQ(recs[0].vdc_vlan.vdc_id, 3);
        EXPECT_EQ(recs[0].vdc_vlan.vlan_id, 4094u);
        EXPECT_EQ(recs[1].if_index, 0x0A0B0C0Du);
        EXPECT_EQ(recs[1].vdc_vlan.vdc_id, 2);
        EXPECT_EQ(recs[1].vdc_vlan.vlan_id, 10u);
        std::free(r);
    }
}

TEST(PortActiveMembParse, NonZeroStatusStopsBeforeTheBody)
{
    Bytes reply = kPortVlanReply;
    reply[0] = 0x41;
    reply[1] = 0x10;
    reply[3] = 0x99;
    for (Parser parse : {vlan_get_port_active_memb_parse_reply_local, vlan_get_port_active_memb_parse_reply,
                         vlan_get_port_voice_vlan_memb_parse_reply, vlan_get_port_trunking_memb_parse_reply_local,
                         vlan_get_port_trunking_memb_parse_reply}) {
        HeapCopy c(reply);
        void *r = &r;
        uint32_t count = 9;
        EXPECT_EQ(parse(&r, &count, c.data(), c.size()), 0x41100099u);
        EXPECT_EQ(r, nullptr);
        EXPECT_EQ(count, 0u);
    }
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(PortActiveMembParse, ActiveFormsResetTheCountWhenTheAllocationFails)
{
    for (Parser parse : {vlan_get_port_active_memb_parse_reply_local, vlan_get_port_active_memb_parse_reply}) {
        HeapCopy c(kPortVlanReply);
        const long allocs = sweep_alloc_failures([&] {
            void *r = &r;
            uint32_t count = 9;
            const uint32_t st = parse(&r, &count, c.data(), c.size());
            if (st == VLAN_MGR_ERR_NO_MEMORY) {
                EXPECT_EQ(r, nullptr);
                EXPECT_EQ(count, 0u);
            }
            std::free(r == &r ? nullptr : r);
            return st;
        });
        EXPECT_EQ(allocs, 1);
    }
}

TEST(PortActiveMembParse, VoiceFormKeepsTheCountWhenTheAllocationFails)
{
    HeapCopy c(kPortVlanReply);
    const long allocs = sweep_alloc_failures([&] {
        void *r = &r;
        uint32_t count = 9;
        const uint32_t st = vlan_get_port_voice_vlan_memb_parse_reply(&r, &count, c.data(), c.size());
        if (st == VLAN_MGR_ERR_NO_MEMORY) {
            EXPECT_EQ(r, nullptr);
            EXPECT_EQ(count, 2u);
        }
        std::free(r == &r ? nullptr : r);
        return st;
    });
    EXPECT_EQ(allocs, 1);
}

TEST(PortActiveMembParse, EveryCutFailsCleanlyAndOddAddressesDecodeAlike)
{
    for (Parser parse : {vlan_get_port_active_memb_parse_reply_local, vlan_get_port_active_memb_parse_reply,
                         vlan_get_port_voice_vlan_memb_parse_reply}) {
        expect_every_cut_fails(kPortVlanReply, [&](const uint8_t *d, uint32_t n) {
            void *r = nullptr;
            uint32_t count = 0;
            const uint32_t st = parse(&r, &count, d, n);
            std::free(r);
            return st;
        });
        expect_same_at_odd_address(kPortVlanReply, [&](const uint8_t *d, uint32_t n) {
            void *r = nullptr;
            uint32_t count = 0;
            const uint32_t st = parse(&r, &count, d, n);
            const size_t rec = parse == vlan_get_port_active_memb_parse_reply_local ? 8 : 10;
            Bytes out = cat({be32(st), be32(count)});
            const auto *b = static_cast<const uint8_t *>(r);
            out.insert(out.end(), b, b + rec * count);
            std::free(r);
            return out;
        });
    }
}

// ---- Membership record parsers ---------------------------------------------------

TEST(PortMembRecordParse, NonZeroStatusIsReturnedAfterTheRecordsAreFilled)
{
    {
        HeapCopy c(kPortMembReply);
        void *r = nullptr;
        uint32_t count = 0;
        ASSERT_EQ(vlan_get_port_memb_parse_reply(&r, &count, c.data(), c.size()), 0x41100099u);
        ASSERT_EQ(count, 1u);
        const auto *rec = static_cast<const port_memb *>(r);
        EXPECT_EQ(rec->if_index, 0x1A2B3C4Du);
        EXPECT_EQ(rec->word_1, 0x11223344u);
        EXPECT_EQ(rec->word_2, 0x55667788u);
        EXPECT_EQ(rec->vlan_a.vdc_id, 2);
        EXPECT_EQ(rec->vlan_a.vlan_id, 100u);
        EXPECT_EQ(rec->vlan_b.vdc_id, 4);
        EXPECT_EQ(rec->vlan_b.vlan_id, 4000u);
        std::free(r);
    }
    {
        HeapCopy c(kPortMembReply);
        void *r = nullptr;
        uint32_t count = 0;
        ASSERT_EQ(vlan_get_port_memb_parse_reply_local(&r, &count, c.data(), c.size()), 0x41100099u);
        ASSERT_EQ(count, 1u);
        const auto *rec = static_cast<const port_memb_local *>(r);
        EXPECT_EQ(rec->if_index, 0x1A2B3C4Du);
        EXPECT_EQ(rec->word_1, 0x11223344u);
        EXPECT_EQ(rec->word_2, 0x55667788u);
        EXPECT_EQ(rec->vlan_a, 100u);
        EXPECT_EQ(rec->vlan_b, 4000u);
        std::free(r);
    }
}

TEST(PortMembRecordParse, ActiveParserGivenTheSameReplyReturnsTheStatusWithNoArray)
{
    // The same non-zero status with a full body: the membership parser fills
    // its array, the active parser stops.
    Bytes reply = kPortVlanReply;
    reply[0] = 0x41;
    reply[1] = 0x10;
    reply[3] = 0x99;
    HeapCopy c(reply);
    void *r = &r;
    uint32_t count = 9;
    EXPECT_EQ(vlan_get_port_active_memb_parse_reply(&r, &count, c.data(), c.size()), 0x41100099u);
    EXPECT_EQ(r, nullptr);
    EXPECT_EQ(count, 0u);
}

TEST(PortMembRecordParse, ShortReplyWithStatusIsTruncatedNotTheStatus)
{
    // Five bytes: the early-return parsers answer with the status, the
    // membership parsers need the count first.
    const Bytes reply = {0x41, 0x10, 0x00, 0x99, 0x00};
    for (Parser parse : {vlan_get_port_memb_parse_reply_local, vlan_get_port_memb_parse_reply}) {
        HeapCopy c(reply);
        void *r = &r;
        uint32_t count = 9;
        EXPECT_EQ(parse(&r, &count, c.data(), c.size()), VLAN_MGR_ERR_TRUNCATED);
    }
    for (Parser parse : {vlan_get_port_active_memb_parse_reply, vlan_get_port_voice_vlan_memb_parse_reply}) {
        HeapCopy c(reply);
        void *r = &r;
        uint32_t count = 9;
        EXPECT_EQ(parse(&r, &count, c.data(), c.size()), 0x41100099u);
    }
}

TEST(PortMembRecordParse, AllocationFailureKeepsTheCount)
{
    for (Parser parse : {vlan_get_port_memb_parse_reply_local, vlan_get_port_memb_parse_reply}) {
        HeapCopy c(kPortMembReply);
        const long allocs = sweep_alloc_failures([&] {
            void *r = &r;
            uint32_t count = 9;
            const uint32_t st = parse(&r, &count, c.data(), c.size());
            if (st == VLAN_MGR_ERR_NO_MEMORY) {
                EXPECT_EQ(r, nullptr);
                EXPECT_EQ(count, 1u);
            } else {
                EXPECT_EQ(st, 0x41100099u);
            }
            std::free(r == &r ? nullptr : r);
            return st;
        });
        EXPECT_EQ(allocs, 1);
    }
}

TEST(PortMembRecordParse, EveryCutFailsCleanlyAndOddAddressesDecodeAlike)
{
    for (Parser parse : {vlan_get_port_memb_parse_reply_local, vlan_get_port_memb_parse_reply}) {
        expect_every_cut_fails(kPortMembReply, [&](const uint8_t *d, uint32_t n) {
            void *r = nullptr;
            uint32_t count = 0;
            const uint32_t st = parse(&r, &count, d, n);
            std::free(r);
            return st;
        });
        expect_same_at_odd_address(kPortMembReply, [&](const uint8_t *d, uint32_t n) {
            void *r = nullptr;
            uint32_t count = 0;
            const uint32_t st = parse(&r, &count, d, n);
            const size_t rec = parse == vlan_get_port_memb_parse_reply ? 24 : 20;
            Bytes out = cat({be32(st), be32(count)});
            const auto *b = static_cast<const uint8_t *>(r);
            out.insert(out.end(), b, b + rec * count);
            std::free(r);
            return out;
        });
    }
}

// ---- Trunking parsers ----------------------------------------------------------

TEST(PortTrunkingParse, FullRecordFollowsTheEntryInHostOrder)
{
    HeapCopy c(kTrunkReply);
    void *r = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_get_port_trunking_memb_parse_reply(&r, &count, c.data(), c.size()), 0u);
    ASSERT_EQ(count, 1u);
    const auto *rec = static_cast<const port_trunking_memb *>(r);
    EXPECT_EQ(rec->if_index, 0x1A2B3C4Du);
    EXPECT_EQ(rec->vdc_id_1, 3);
    EXPECT_EQ(rec->vlan_word_1, 10u);
    EXPECT_EQ(rec->bitmap_vdc_id, 5);
    EXPECT_EQ(rec->reserved, 0);
    const Bytes b1 = bytes_of(rec, 1);
    EXPECT_EQ(Bytes(b1.begin() + 14, b1.begin() + 18), kLen512);
    EXPECT_EQ(Bytes(b1.begin() + 18, b1.begin() + 530), bits_of({1, 10, 4094}));
    EXPECT_EQ(Bytes(b1.begin() + 530, b1.begin() + 534), kLen512);
    EXPECT_EQ(Bytes(b1.begin() + 534, b1.begin() + 1046), bits_of({20}));
    EXPECT_EQ(rec->vdc_id_2, 6);
    EXPECT_EQ(rec->vlan_word_2, 20u);
    std::free(r);
}

TEST(PortTrunkingParse, LocalRecordDropsTheVdcIds)
{
    HeapCopy c(kTrunkReply);
    void *r = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_get_port_trunking_memb_parse_reply_local(&r, &count, c.data(), c.size()), 0u);
    ASSERT_EQ(count, 1u);
    const Bytes want = cat({{0x4D, 0x3C, 0x2B, 0x1A}, {0x0A, 0x00, 0x00, 0x00}, kLen512, bits_of({1, 10, 4094}),
                            kLen512, bits_of({20}), {0x14, 0x00, 0x00, 0x00}});
    EXPECT_EQ(bytes_of(static_cast<const port_trunking_memb_local *>(r), 1), want);
    std::free(r);
}

TEST(PortTrunkingParse, AllocationFailureKeepsTheCount)
{
    for (Parser parse : {vlan_get_port_trunking_memb_parse_reply_local, vlan_get_port_trunking_memb_parse_reply}) {
        HeapCopy c(kTrunkReply);
        const long allocs = sweep_alloc_failures([&] {
            void *r = &r;
            uint32_t count = 9;
            const uint32_t st = parse(&r, &count, c.data(), c.size());
            if (st == VLAN_MGR_ERR_NO_MEMORY) {
                EXPECT_EQ(r, nullptr);
                EXPECT_EQ(count, 1u);
            }
            std::free(r == &r ? nullptr : r);
            return st;
        });
        EXPECT_EQ(allocs, 1);
    }
}

TEST(PortTrunkingParse, EveryCutFailsCleanlyAndOddAddressesDecodeAlike)
{
    const Bytes two = trunk_reply(0, {trunk_entry(kIfxWire, 10, bits_of({1}), bits_of({2}), 20),
                                      trunk_entry({1, 2, 3, 4}, 30, bits_of({4095}), bits_of({0}), 40)});
    for (Parser parse : {vlan_get_port_trunking_memb_parse_reply_local, vlan_get_port_trunking_memb_parse_reply}) {
        expect_every_cut_fails(two, [&](const uint8_t *d, uint32_t n) {
            void *r = nullptr;
            uint32_t count = 0;
            const uint32_t st = parse(&r, &count, d, n);
            std::free(r);
            return st;
        });
        expect_same_at_odd_address(two, [&](const uint8_t *d, uint32_t n) {
            void *r = nullptr;
            uint32_t count = 0;
            const uint32_t st = parse(&r, &count, d, n);
            const size_t rec = parse == vlan_get_port_trunking_memb_parse_reply ? 1052 : 1044;
            Bytes out = cat({be32(st), be32(count)});
            const auto *b = static_cast<const uint8_t *>(r);
            out.insert(out.end(), b, b + rec * count);
            std::free(r);
            return out;
        });
    }
}

TEST(PortTrunkingRoundTrip, FullBitmapsOfFourThousandPorts)
{
    constexpr uint32_t kPorts = 4096;
    std::vector<uint32_t> ports(kPorts);
    for (uint32_t i = 0; i < kPorts; ++i)
        ports[i] = kIfx ^ (i * 0x00010203u);
    void *p = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(vlan_get_port_trunking_memb_build_mts(ports.data(), kPorts, &p, &len), VLAN_MGR_OK);
    const Bytes req = take(p, len);
    Bytes reply = cat({be32(0), be32(kPorts)});
    const Bytes all(512, 0xFF);
    for (uint32_t i = 0; i < kPorts; ++i) {
        const Bytes e = trunk_entry(Bytes(req.begin() + 4 + 4 * i, req.begin() + 8 + 4 * i), i, all, bits_of({i}),
                                    4094);
        reply.insert(reply.end(), e.begin(), e.end());
    }
    void *r = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_get_port_trunking_memb_parse_reply(&r, &count, reply.data(), static_cast<uint32_t>(reply.size())),
              0u);
    ASSERT_EQ(count, kPorts);
    const auto *recs = static_cast<const port_trunking_memb *>(r);
    for (uint32_t i = 0; i < kPorts; ++i) {
        ASSERT_EQ(recs[i].if_index, ports[i]);
        ASSERT_EQ(recs[i].vlan_word_1, i);
        ASSERT_EQ(std::memcmp(recs[i].bitmap_1.bits, all.data(), 512), 0);
        ASSERT_EQ(std::memcmp(recs[i].bitmap_2.bits, bits_of({i}).data(), 512), 0);
    }
    std::free(r);
}

// ---- Active trunking parsers ------------------------------------------------

TEST(PortActiveTrunkingParse, LocalFormGivesPortsAndBitmapsThenTheStatus)
{
    HeapCopy c(kActiveTrunkReply);
    uint32_t *ids = nullptr;
    void *bm = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_get_port_active_trunking_memb_parse_reply_local(&ids, &count, &bm, c.data(), c.size()),
              0x41100077u);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(ids[0], 0x1A2B3C4Du);
    EXPECT_EQ(ids[1], 0x01020304u);
    EXPECT_EQ(bytes_of(static_cast<const port_active_trunking_local *>(bm), 2),
              cat({kLen512, bits_of({1}), kLen512, bits_of({4095})}));
    std::free(ids);
    std::free(bm);
}

TEST(PortActiveTrunkingParse, FullFormAlsoTakesEachBlocksVdc)
{
    HeapCopy c(kActiveTrunkReply);
    uint32_t *ids = nullptr;
    void *bm = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_get_port_active_trunking_memb_parse_reply(&ids, &count, &bm, c.data(), c.size()), 0x41100077u);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(ids[0], 0x1A2B3C4Du);
    EXPECT_EQ(ids[1], 0x01020304u);
    EXPECT_EQ(bytes_of(static_cast<const port_active_trunking *>(bm), 2),
              cat({{0x00, 0x00, 0x03, 0x00}, kLen512, bits_of({1}), {0x00, 0x00, 0x04, 0x00}, kLen512,
                   bits_of({4095})}));
    std::free(ids);
    std::free(bm);
}

TEST(PortActiveTrunkingParse, ArraysAreNeitherCheckedNorClearedAtEntry)
{
    const TrunkParser parsers[] = {vlan_get_port_active_trunking_memb_parse_reply_local,
                                   vlan_get_port_active_trunking_memb_parse_reply};
    const Bytes four = {0x41, 0x10, 0x00, 0x55};
    for (TrunkParser parse : parsers) {
        uint32_t *ids = reinterpret_cast<uint32_t *>(&ids);
        void *bm = &bm;
        uint32_t count = 9;
        EXPECT_EQ(parse(&ids, &count, &bm, four.data(), 4), 0x41100055u);
        EXPECT_EQ(ids, reinterpret_cast<uint32_t *>(&ids));
        EXPECT_EQ(bm, &bm);
        EXPECT_EQ(count, 9u);
        EXPECT_EQ(parse(nullptr, &count, nullptr, four.data(), 4), 0x41100055u);
        EXPECT_EQ(parse(&ids, &count, &bm, four.data(), 0), 0x41100002u);
        EXPECT_EQ(parse(&ids, nullptr, &bm, four.data(), 4), 0x41100003u);
        EXPECT_EQ(parse(&ids, &count, &bm, nullptr, 4), 0x41100003u);
        EXPECT_EQ(ids, reinterpret_cast<uint32_t *>(&ids));
        EXPECT_EQ(bm, &bm);
        EXPECT_EQ(count, 9u);
    }
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(PortActiveTrunkingParse, CountZeroIsNoEntriesWithTheCountZero)
{
    const Bytes reply = {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};
    for (TrunkParser parse : {vlan_get_port_active_trunking_memb_parse_reply_local,
                              vlan_get_port_active_trunking_memb_parse_reply}) {
        uint32_t *ids = nullptr;
        void *bm = nullptr;
        uint32_t count = 9;
        EXPECT_EQ(parse(&ids, &count, &bm, reply.data(), 8), 0x41100011u);
        EXPECT_EQ(count, 0u);
    }
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(PortActiveTrunkingParse, CountPastThePayloadIsTruncatedAndWritesNothing)
{
    const Bytes short_reply(kActiveTrunkReply.begin(), kActiveTrunkReply.end() - 1);
    Bytes huge = kActiveTrunkReply;
    huge[4] = huge[5] = huge[6] = huge[7] = 0xFF;
    for (TrunkParser parse : {vlan_get_port_active_trunking_memb_parse_reply_local,
                              vlan_get_port_active_trunking_memb_parse_reply})
        for (const Bytes *reply : std::initializer_list<const Bytes *>{&short_reply, &huge}) {
            HeapCopy c(*reply);
            uint32_t *ids = nullptr;
            void *bm = &bm;
            uint32_t count = 9;
            EXPECT_EQ(parse(&ids, &count, &bm, c.data(), c.size()), VLAN_MGR_ERR_TRUNCATED);
            EXPECT_EQ(ids, nullptr);
            EXPECT_EQ(bm, &bm);
            EXPECT_EQ(count, 9u);
        }
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(PortActiveTrunkingParse, FirstArrayFailingKeepsTheCount)
{
    for (TrunkParser parse : {vlan_get_port_active_trunking_memb_parse_reply_local,
                              vlan_get_port_active_trunking_memb_parse_reply}) {
        HeapCopy c(kActiveTrunkReply);
        uint32_t *ids = reinterpret_cast<uint32_t *>(&ids);
        void *bm = &bm;
        uint32_t count = 9;
        tp::fail_alloc_at(1);
        EXPECT_EQ(parse(&ids, &count, &bm, c.data(), c.size()), 0x41100002u);
        EXPECT_EQ(ids, nullptr);
        EXPECT_EQ(bm, &bm);
        EXPECT_EQ(count, 2u);
        EXPECT_EQ(tp::live_allocs(), 0);
    }
}

TEST(PortActiveTrunkingParse, LocalFormReleasesTheFirstArrayWithFree)
{
    HeapCopy c(kActiveTrunkReply);
    uint32_t *ids = reinterpret_cast<uint32_t *>(&ids);
    void *bm = &bm;
    uint32_t count = 9;
    tp::fail_alloc_at(2);
    EXPECT_EQ(vlan_get_port_active_trunking_memb_parse_reply_local(&ids, &count, &bm, c.data(), c.size()),
              0x41100002u);
    EXPECT_EQ(ids, nullptr);
    EXPECT_EQ(bm, nullptr);
    EXPECT_EQ(count, 0u);
    EXPECT_TRUE(tp::state().mtrack_freed.empty());
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(PortActiveTrunkingParse, FullFormReleasesTheFirstArrayWithMtrackFree)
{
    HeapCopy c(kActiveTrunkReply);
    uint32_t *ids = reinterpret_cast<uint32_t *>(&ids);
    void *bm = &bm;
    uint32_t count = 9;
    tp::fail_alloc_at(2);
    EXPECT_EQ(vlan_get_port_active_trunking_memb_parse_reply(&ids, &count, &bm, c.data(), c.size()), 0x41100002u);
    EXPECT_EQ(ids, nullptr);
    EXPECT_EQ(bm, nullptr);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(tp::state().mtrack_freed.size(), 1u);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(PortActiveTrunkingParse, EveryAllocationFailsOnceWithNothingLeft)
{
    for (TrunkParser parse : {vlan_get_port_active_trunking_memb_parse_reply_local,
                              vlan_get_port_active_trunking_memb_parse_reply}) {
        HeapCopy c(kActiveTrunkReply);
        const long allocs = sweep_alloc_failures([&] {
            uint32_t *ids = nullptr;
            void *bm = nullptr;
            uint32_t count = 0;
            const uint32_t st = parse(&ids, &count, &bm, c.data(), c.size());
            std::free(ids);
            std::free(bm);
            return st;
        });
        EXPECT_EQ(allocs, 2);
    }
}

TEST(PortActiveTrunkingParse, EveryCutFailsCleanlyAndOddAddressesDecodeAlike)
{
    for (TrunkParser parse : {vlan_get_port_active_trunking_memb_parse_reply_local,
                              vlan_get_port_active_trunking_memb_parse_reply}) {
        expect_every_cut_fails(kActiveTrunkReply, [&](const uint8_t *d, uint32_t n) {
            uint32_t *ids = nullptr;
            void *bm = nullptr;
            uint32_t count = 0;
            const uint32_t st = parse(&ids, &count, &bm, d, n);
            std::free(ids);
            std::free(bm);
            return st;
        });
        expect_same_at_odd_address(kActiveTrunkReply, [&](const uint8_t *d, uint32_t n) {
            uint32_t *ids = nullptr;
            void *bm = nullptr;
            uint32_t count = 0;
            const uint32_t st = parse(&ids, &count, &bm, d, n);
            const size_t rec = parse == vlan_get_port_active_trunking_memb_parse_reply ? 520 : 516;
            Bytes out = cat({be32(st), be32(count), bytes_of(ids, count)});
            const auto *b = static_cast<const uint8_t *>(bm);
            out.insert(out.end(), b, b + rec * count);
            std::free(ids);
            std::free(bm);
            return out;
        });
    }
}

// ---- VLAN check over a trunking reply ---------------------------------------------

// A caller's list of up to four questions: the count word, then the entries.
struct CheckList {
    uint32_t words[1 + 4 * 5];
    port_vlan_check_list *get() { return reinterpret_cast<port_vlan_check_list *>(words); }
};

// Each question's answers start at 7, so that clearing shows.
CheckList make_list(std::initializer_list<std::pair<uint32_t, uint32_t>> q)
{
    CheckList l{};
    l.get()->count = static_cast<uint32_t>(q.size());
    size_t i = 0;
    for (auto [ifx, vlan] : q)
        l.get()->entries[i++] = {ifx, vlan, 7, 7, 7};
    return l;
}

// Port 0x1A2B3C4D: word 1 is 10, word 2 is 20, bitmap 1 {1, 10, 4094},
// bitmap 2 {30}; port 0x01020304 listed twice, first with word 1 30.
const Bytes kCheckReply = trunk_reply(0, {trunk_entry(kIfxWire, 10, bits_of({1, 10, 4094}), bits_of({30}), 20),
                                          trunk_entry({1, 2, 3, 4}, 30, bits_of({}), bits_of({}), 0),
                                          trunk_entry({1, 2, 3, 4}, 40, bits_of({40}), bits_of({}), 40)});

TEST(PortTrunkingCheck, AnswersFromBitmapOneAndBothVlanWords)
{
    CheckList l = make_list({{kIfx, 10}, {kIfx, 20}, {kIfx, 4094}, {kIfx, 30}});
    HeapCopy c(kCheckReply);
    ASSERT_EQ(vlan_get_port_trunking_memb_parse_reply_check_vlan_local(c.data(), c.size(), l.get()), 0u);
    const port_vlan_check_entry *e = l.get()->entries;
    EXPECT_EQ((std::vector<uint32_t>{e[0].in_bitmap, e[0].is_vlan_word_1, e[0].is_vlan_word_2}),
              (std::vector<uint32_t>{1, 1, 0}));
    EXPECT_EQ((std::vector<uint32_t>{e[1].in_bitmap, e[1].is_vlan_word_1, e[1].is_vlan_word_2}),
              (std::vector<uint32_t>{0, 0, 1}));
    EXPECT_EQ((std::vector<uint32_t>{e[2].in_bitmap, e[2].is_vlan_word_1, e[2].is_vlan_word_2}),
              (std::vector<uint32_t>{1, 0, 0}));
    // Bitmap 2 is not consulted.
    EXPECT_EQ((std::vector<uint32_t>{e[3].in_bitmap, e[3].is_vlan_word_1, e[3].is_vlan_word_2}),
              (std::vector<uint32_t>{0, 0, 0}));
    EXPECT_EQ(e[0].if_index, kIfx);
    EXPECT_EQ(e[0].vlan_id, 10u);
    EXPECT_EQ(tp::live_allocs(), 0);
}

TEST(PortTrunkingCheck, UnlistedPortKeepsZerosAndATwiceListedPortAnswersFromItsFirstRecord)
{
    CheckList l = make_list({{0x99999999u, 10}, {0x01020304u, 30}, {0x01020304u, 40}, {0x01020304u, 5000}});
    HeapCopy c(kCheckReply);
    ASSERT_EQ(vlan_get_port_trunking_memb_parse_reply_check_vlan_local(c.data(), c.size(), l.get()), 0u);
    const port_vlan_check_entry *e = l.get()->entries;
    EXPECT_EQ((std::vector<uint32_t>{e[0].in_bitmap, e[0].is_vlan_word_1, e[0].is_vlan_word_2}),
              (std::vector<uint32_t>{0, 0, 0}));
    EXPECT_EQ((std::vector<uint32_t>{e[1].in_bitmap, e[1].is_vlan_word_1, e[1].is_vlan_word_2}),
              (std::vector<uint32_t>{0, 1, 0}));
    // 40 is word 1, word 2 and a bit of the second record only.
    EXPECT_EQ((std::vector<uint32_t>{e[2].in_bitmap, e[2].is_vlan_word_1, e[2].is_vlan_word_2}),
              (std::vector<uint32_t>{0, 0, 0}));
    // An id past 4095 is never in the bitmap.
    EXPECT_EQ((std::vector<uint32_t>{e[3].in_bitmap, e[3].is_vlan_word_1, e[3].is_vlan_word_2}),
              (std::vector<uint32_t>{0, 0, 0}));
}

TEST(PortTrunkingCheck, MissingPayloadOrListOrEmptyListIsInvalid)
{
    CheckList l = make_list({{kIfx, 10}});
    CheckList empty = make_list({});
    HeapCopy c(kCheckReply);
    EXPECT_EQ(vlan_get_port_trunking_memb_parse_reply_check_vlan_local(nullptr, c.size(), l.get()), 0x41100003u);
    EXPECT_EQ(vlan_get_port_trunking_memb_parse_reply_check_vlan_local(c.data(), c.size(), nullptr), 0x41100003u);
    EXPECT_EQ(vlan_get_port_trunking_memb_parse_reply_check_vlan_local(c.data(), c.size(), empty.get()),
              0x41100003u);
    EXPECT_EQ(l.get()->entries[0].in_bitmap, 7u);
    EXPECT_EQ(tp::alloc_calls(), 0);
}

TEST(PortTrunkingCheck, ParserFailuresComeBackAsTheyStandWithTheListUntouched)
{
    const Bytes status_reply = {0x41, 0x10, 0x00, 0x99, 0x00, 0x00, 0x00, 0x01};
    const Bytes count_zero = {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};
    const Bytes bare_zero = {0x00, 0x00, 0x00, 0x00};
    const Bytes bare_status = {0x41, 0x10, 0x00, 0x55};
    struct Case {
        const Bytes *reply;
        uint32_t len, want;
    } cases[] = {{&status_reply, 8, 0x41100099u}, {&count_zero, 8, 0x41100011u}, {&bare_zero, 4, 0x41100011u},
                 {&bare_status, 4, 0x41100055u},  {&bare_zero, 0, 0x41100002u},  {&status_reply, 6, 0x41100099u},
                 {&count_zero, 7, VLAN_MGR_ERR_TRUNCATED}};
    for (const Case &k : cases) {
        CheckList l = make_list({{kIfx, 10}});
        HeapCopy c(k.reply->data(), k.len);
        EXPECT_EQ(vlan_get_port_trunking_memb_parse_reply_check_vlan_local(c.data(), k.len, l.get()), k.want);
        EXPECT_EQ(l.get()->entries[0].in_bitmap, 7u);
        EXPECT_EQ(tp::live_allocs(), 0);
    }
}

TEST(PortTrunkingCheck, AllocationFailureLeavesNothing)
{
    HeapCopy c(kCheckReply);
    const long allocs = sweep_alloc_failures([&] {
        CheckList l = make_list({{kIfx, 10}});
        return vlan_get_port_trunking_memb_parse_reply_check_vlan_local(c.data(), c.size(), l.get());
    });
    EXPECT_EQ(allocs, 1);
}

TEST(PortTrunkingCheck, EveryCutFailsCleanlyAndOddAddressesAnswerAlike)
{
    expect_every_cut_fails(
        kCheckReply,
        [&](const uint8_t *d, uint32_t n) {
            CheckList l = make_list({{kIfx, 10}});
            return vlan_get_port_trunking_memb_parse_reply_check_vlan_local(d, n, l.get());
        },
        [](size_t len) -> uint32_t {
            if (len == 0)
                return VLAN_MGR_ERR_NO_MEMORY;
            if (len == 4)
                return VLAN_MGR_ERR_NO_ENTRIES; // a bare status 0, no records
            return VLAN_MGR_ERR_TRUNCATED;
        });
    expect_same_at_odd_address(kCheckReply, [&](const uint8_t *d, uint32_t n) {
        CheckList l = make_list({{kIfx, 10}, {0x01020304u, 30}});
        const uint32_t st = vlan_get_port_trunking_memb_parse_reply_check_vlan_local(d, n, l.get());
        return cat({be32(st), bytes_of(l.get()->entries, 2)});
    });
}

} // namespace
