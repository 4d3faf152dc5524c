// The config-change iterator over the VLAN name records.
#include "notif_test_util.h"

namespace {

using namespace notiftest;

// Two records of 18 + 4 + 6 bytes, as the 0x5C21 parser hands them out.
Bytes two_records()
{
    return cat({le16(1), le32(2), le32(0), le32(4), le32(6), {'a', 'b', 'c', 'd', 'x', 'y', 0, 0, 0, 0}, le16(3),
                le32(4), le32(0), le32(4), le32(6), {'e', 'f', 'g', 'h', 'z', 0, 0, 0, 0, 0}});
}

TEST(NotifConfigIter, InitRefusesANullFirstRecordOrIterator)
{
    const Bytes recs = two_records();
    vlan_mgr_config_changed_notif_iter_t it{};
    EXPECT_EQ(vlan_mgr_config_changed_notif_iter_init(nullptr, 2, &it), VLAN_MGR_ERR_INVALID_ARG);
    EXPECT_EQ(it.first, nullptr);
    EXPECT_EQ(vlan_mgr_config_changed_notif_iter_init(recs.data(), 2, nullptr), VLAN_MGR_ERR_INVALID_ARG);
}

TEST(NotifConfigIter, InitStoresFirstRecordCountAndFirstCallFlag)
{
    const Bytes recs = two_records();
    vlan_mgr_config_changed_notif_iter_t it{};
    ASSERT_EQ(vlan_mgr_config_changed_notif_iter_init(recs.data(), 2, &it), VLAN_MGR_OK);
    EXPECT_EQ(it.first, recs.data());
    EXPECT_EQ(it.remaining, 2u);
    EXPECT_EQ(it.first_call, 1u);
}

TEST(NotifConfigIter, CountTwoGivesFirstThenNextThenNull)
{
    const Bytes recs = two_records();
    vlan_mgr_config_changed_notif_iter_t it{};
    ASSERT_EQ(vlan_mgr_config_changed_notif_iter_init(recs.data(), 2, &it), VLAN_MGR_OK);
    const void *cur = reinterpret_cast<const void *>(0x1);
    ASSERT_EQ(vlan_mgr_config_changed_notif_get_attr(&it, &cur), VLAN_MGR_OK);
    EXPECT_EQ(cur, recs.data());
    EXPECT_EQ(it.first_call, 0u);
    ASSERT_EQ(vlan_mgr_config_changed_notif_get_attr(&it, &cur), VLAN_MGR_OK);
    EXPECT_EQ(cur, recs.data() + 28); // 18 + 4 + 6
    ASSERT_EQ(vlan_mgr_config_changed_notif_get_attr(&it, &cur), VLAN_MGR_OK);
    EXPECT_EQ(cur, nullptr);
    EXPECT_EQ(it.remaining, 0u);
}

TEST(NotifConfigIter, AdvanceStartsFromTheCallersCursor)
{
    // A record elsewhere with lengths 1 and 2: the next one is 21 bytes on.
    const Bytes recs = two_records();
    const Bytes other = cat({le16(0), le32(0), le32(0), le32(1), le32(2), {'q', 'r', 's'}});
    vlan_mgr_config_changed_notif_iter_t it{};
    ASSERT_EQ(vlan_mgr_config_changed_notif_iter_init(recs.data(), 3, &it), VLAN_MGR_OK);
    const void *cur = nullptr;
    ASSERT_EQ(vlan_mgr_config_changed_notif_get_attr(&it, &cur), VLAN_MGR_OK);
    cur = other.data();
    ASSERT_EQ(vlan_mgr_config_changed_notif_get_attr(&it, &cur), VLAN_MGR_OK);
    EXPECT_EQ(cur, other.data() + 21);
    EXPECT_EQ(it.remaining, 1u);
}

TEST(NotifConfigIter, CountZeroGivesNullAtOnce)
{
    const Bytes recs = two_records();
    vlan_mgr_config_changed_notif_iter_t it{};
    ASSERT_EQ(vlan_mgr_config_changed_notif_iter_init(recs.data(), 0, &it), VLAN_MGR_OK);
    const void *cur = recs.data();
    EXPECT_EQ(vlan_mgr_config_changed_notif_get_attr(&it, &cur), VLAN_MGR_OK);
    EXPECT_EQ(cur, nullptr);
}

TEST(NotifConfigIter, GetAttrRefusesNullIteratorCursorOrALaterNullCursor)
{
    const Bytes recs = two_records();
    vlan_mgr_config_changed_notif_iter_t it{};
    ASSERT_EQ(vlan_mgr_config_changed_notif_iter_init(recs.data(), 2, &it), VLAN_MGR_OK);
    const void *cur = nullptr;
    EXPECT_EQ(vlan_mgr_config_changed_notif_get_attr(nullptr, &cur), VLAN_MGR_ERR_INVALID_ARG);
    EXPECT_EQ(vlan_mgr_config_changed_notif_get_attr(&it, nullptr), VLAN_MGR_ERR_INVALID_ARG);
    EXPECT_EQ(it.remaining, 2u);
    ASSERT_EQ(vlan_mgr_config_changed_notif_get_attr(&it, &cur), VLAN_MGR_OK);
    cur = nullptr;
    EXPECT_EQ(vlan_mgr_config_changed_notif_get_attr(&it, &cur), VLAN_MGR_ERR_INVALID_ARG);
    EXPECT_EQ(it.remaining, 1u);
}

const void *released = nullptr;
int releases = 0;
void record_release(void *p)
{
    released = p;
    ++releases;
}

TEST(NotifConfigIter, DestroyReleasesTheFirstRecord)
{
    const Bytes recs = two_records();
    vlan_mgr_config_changed_notif_iter_t it{};
    ASSERT_EQ(vlan_mgr_config_changed_notif_iter_init(recs.data(), 2, &it), VLAN_MGR_OK);
    releases = 0;
    EXPECT_EQ(vlan_mgr_config_changed_notif_iter_destroy(&it, record_release), VLAN_MGR_OK);
    EXPECT_EQ(released, recs.data());
    EXPECT_EQ(releases, 1);
    EXPECT_EQ(vlan_mgr_config_changed_notif_iter_destroy(nullptr, record_release), VLAN_MGR_ERR_INVALID_ARG);
    EXPECT_EQ(releases, 1);
    EXPECT_EQ(vlan_mgr_config_changed_notif_iter_destroy(&it, nullptr), VLAN_MGR_OK);
}

TEST(NotifConfigIter, WalksTheRecordsOfA5C21NotificationAndFreesThem)
{
    const Bytes payload = cat({be32(2), be16(1), be32(2), be32(0), be32(4), be32(6), {'a', 'b', 'c', 'd'},
                               {'x', 'y', 0, 0, 0, 0}, be16(3), be32(4), be32(0), be32(4), be32(6),
                               {'e', 'f', 'g', 'h'}, {'z', 0, 0, 0, 0, 0}});
    mts_msg_hdl_t msg = tp::make_message(0x5C21, payload);
    void *records = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(vlan_mgr_parse_notification_msg(&msg, &records, &count, std::malloc), VLAN_MGR_OK);
    vlan_mgr_config_changed_notif_iter_t it{};
    ASSERT_EQ(vlan_mgr_config_changed_notif_iter_init(records, count, &it), VLAN_MGR_OK);
    const void *cur = nullptr;
    std::vector<uint16_t> firsts;
    for (;;) {
        ASSERT_EQ(vlan_mgr_config_changed_notif_get_attr(&it, &cur), VLAN_MGR_OK);
        if (cur == nullptr)
            break;
        vlan_mgr_notif_vlan_name_t h;
        std::memcpy(&h, cur, sizeof h);
        firsts.push_back(h.v0);
    }
    EXPECT_EQ(firsts, (std::vector<uint16_t>{1, 3}));
    EXPECT_EQ(vlan_mgr_config_changed_notif_iter_destroy(&it, std::free), VLAN_MGR_OK);
    EXPECT_EQ(tp::live_allocs(), 0);
}

} // namespace
