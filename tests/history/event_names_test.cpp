#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <string>

#include <vlan_mgr/history.h>

#include "history/event_names.h"

namespace {

// Every event name, in value order, as history readers know them.
const char *const kNames[125] = {
    "VLAN_MGR_EVENT_CLI_ERROR",
    "VLAN_MGR_EVENT_STP_STATE_CHANGE",
    "VLAN_MGR_EVENT_MALLOC_ERROR",
    "VLAN_MGR_EVENT_DONE_SDWRAP_INIT",
    "VLAN_MGR_EVENT_VLAN",
    "VLAN_MGR_EVENT_BD",
    "VLAN_MGR_EVENT_DONE_INIT",
    "VLAN_MGR_EVENT_DONE_REBUILD_CONFIG_FROM_PSS",
    "VLAN_MGR_EVENT_DONE_STATELESS_RESTART",
    "VLAN_MGR_EVENT_DONE_STATEFULL_RESTART",
    "VLAN_MGR_EVENT_PORT_LAYER_CHANGE",
    "VLAN_MGR_EVENT_PORT_MEMBERSHIP_CREATE",
    "VLAN_MGR_EVENT_PORT_MEMBERSHIP_REMOVE",
    "VLAN_MGR_EVENT_PORT_CONFIG_DELETE",
    "VLAN_MGR_EVENT_PORT_NOT_L2",
    "VLAN_MGR_EVENT_PSS_COPY_R_S",
    "VLAN_MGR_EVENT_PSS_TLV",
    "VLAN_MGR_EVENT_PSS_GETKEY",
    "VLAN_MGR_EVENT_PSS_MOVE2KEY",
    "VLAN_MGR_EVENT_PSS_FETCH",
    "VLAN_MGR_EVENT_PSS_DELETE",
    "VLAN_MGR_EVENT_PSS_STORE",
    "VLAN_MGR_EVENT_PSS_STORE_CFG_VDC",
    "VLAN_MGR_EVENT_PSS_STORE_CFG_VLAN",
    "VLAN_MGR_EVENT_PSS_STORE_CFG_INTF",
    "VLAN_MGR_EVENT_PSS_STORE_RT_VLAN",
    "VLAN_MGR_EVENT_PSS_STORE_RT_INTF",
    "VLAN_MGR_EVENT_PSS_GET",
    "VLAN_MGR_EVENT_PSS_GET_CFG_VDC",
    "VLAN_MGR_EVENT_PSS_GET_CFG_VLAN",
    "VLAN_MGR_EVENT_PSS_GET_CFG_INTF",
    "VLAN_MGR_EVENT_PSS_GET_RT_VLAN",
    "VLAN_MGR_EVENT_PSS_GET_RT_INTF",
    "VLAN_MGR_EVENT_DB_ADD_PORT_TO_VLAN",
    "VLAN_MGR_EVENT_DB_REMOVE_PORT_FROM_VLAN",
    "VLAN_MGR_EVENT_DB_ADD_PORT_TO_DB",
    "VLAN_MGR_EVENT_DB_REMOVE_PORT_FROM_DB",
    "VLAN_MGR_EVENT_GSYNC",
    "VLAN_MGR_EVENT_CLI_STATUS",
    "VLAN_MGR_EVENT_DEL_NOTIF",
    "VLAN_MGR_EVENT_DEL_REQ_RSP_REQUEST",
    "VLAN_MGR_EVENT_DEL_REQ_RSP_RESPONSE",
    "VLAN_MGR_EVENT_DEL_CLEANUP",
    "VLAN_MGR_EVENT_VLAN_DEL",
    "VLAN_MGR_EVENT_VLAN_CREATE",
    "VLAN_MGR_EVENT_VLAN_NAME",
    "VLAN_MGR_EVENT_VLAN_ATTR",
    "VLAN_MGR_EVENT_VLAN_ATTR_NOTIF",
    "VLAN_MGR_EVENT_VLAN_OPER_NOTIF",
    "VLAN_MGR_EVENT_DONE_STANDBY_RESTART",
    "VLAN_MGR_EVENT_PORT_MEMBERSHIP_UPDATE",
    "VLAN_MGR_EVENT_TPORT_MEMBERSHIP_UPDATE",
    "VLAN_MGR_EVENT_HA_HANDLER",
    "VLAN_MGR_EVENT_IF_CREATED",
    "VLAN_MGR_EVENT_IF_REMOVED",
    "VLAN_MGR_EVENT_SWITCHOVER",
    "VLAN_MGR_EVENT_SWITCHOVER_DONE",
    "VLAN_MGR_EVENT_PSS_SHRINK",
    "VLAN_MGR_EVENT_PSS_STORE_CFG_BD",
    "VLAN_MGR_EVENT_SDB_STORE",
    "VLAN_MGR_EVENT_SDB_REMOVE",
    "VLAN_MGR_EVENT_SDB_GET",
    "VLAN_MGR_EVENT_SDB_GET_NEXT",
    "VLAN_MGR_EVENT_SDB_DISPATCH",
    "VLAN_MGR_EVENT_VLAN_CREATE_NOTIF",
    "VLAN_MGR_EVENT_PORT_AFFECTED_NOTIF",
    "VLAN_MGR_EVENT_MEMB_CHG_NOTIF",
    "VLAN_MGR_EVENT_TRUNK_MEMB_CHG_NOTIF",
    "VLAN_MGR_EVENT_BD_UPDATE_NOTIF",
    "VLAN_MGR_EVENT_BD_REQ_RSP",
    "VLAN_MGR_EVENT_BD_QUERY",
    "VLAN_MGR_EVENT_BD_RESERVE",
    "VLAN_MGR_EVENT_BD_CONFIG",
    "VLAN_MGR_EVENT_BD_RELEASE",
    "VLAN_MGR_EVENT_BD_REOURCE_MSG",
    "VLAN_MGR_EVENT_BD_AVAIL_CHECK",
    "VLAN_MGR_EVENT_BD_HASH_ADD",
    "VLAN_MGR_EVENT_BD_HASH_UPDATE",
    "VLAN_MGR_EVENT_BD_ENTRY_NOT_IN_HASH",
    "VLAN_MGR_EVENT_BD_GSDB_CALLBACK",
    "VLAN_MGR_EVENT_BD_FREE",
    "VLAN_MGR_EVENT_SWITCHOVER_ACTIVE_MARKER",
    "VLAN_MGR_EVENT_L2_PROTO_STATE_CHG_NOTIF",
    "VLAN_MGR_EVENT_BUILD_PORT_LIST",
    "VLAN_MGR_EVENT_REMOVE_TRUNK_PORT",
    "VLAN_MGR_EVENT_ADJUST_PORT_CHANNEL",
    "VLAN_MGR_EVENT_PORT_CHANNEL_TRUNK_ALLOW",
    "VLAN_MGR_EVENT_PHY_LINK_STATE_CHANGE_NOTIF",
    "VLAN_MGR_EVENT_L2_BUNDLE_PHY_STATE_CHANGE_NOTIF",
    "VLAN_MGR_EVENT_PORT_IS_MEMBER_OF_TRUNK_PORT_CHANNEL",
    "VLAN_MGR_EVENT_PCM_COMPAT_CHECK",
    "VLAN_MGR_EVENT_PCM_COMPAT_CHECK_RANGE",
    "VLAN_MGR_EVENT_PCM_CHECK_SUPPORT_INTERFACE",
    "VLAN_MGR_EVENT_DOT1Q_TAG_NATIVE_NOTIF",
    "VLAN_MGR_EVENT_DOT1Q_TAG_NATIVE_UPDATE",
    "VLAN_MGR_EVENT_BUILD_PORT_AFFECTED_PAYLOAD",
    "VLAN_MGR_EVENT_VLAN_DEL_WRAPPER",
    "VLAN_MGR_EVENT_SET_VLAN_INTERNAL_STATE",
    "VLAN_MGR_EVENT_COMMON_DEL_REQ_HANDLER",
    "VLAN_MGR_EVENT_ALLOC_DEL_HANDSHAKE_MSG",
    "VLAN_MGR_EVENT_FILL_DEL_HANDSHAKE_MSG",
    "VLAN_MGR_EVENT_ABORT_DELETE_RE_CREATE_VLAN",
    "VLAN_MGR_EVENT_POST_DELETE_PVLAN",
    "VLAN_MGR_EVENT_POST_DELETE_PVLAN_TYPE_CHG",
    "VLAN_MGR_EVENT_POST_DELETE_PVLAN_ASSOCIATION",
    "VLAN_MGR_EVENT_POST_DELETE_USER",
    "VLAN_MGR_EVENT_PVLAN_TYPE_CHANGE",
    "VLAN_MGR_EVENT_PVLAN_ASSOCIATION",
    "VLAN_MGR_EVENT_PROCESS_QUEUED_MSG_REF",
    "VLAN_MGR_EVENT_RESTORE_VLAN_CFG",
    "VLAN_MGR_EVENT_RESERVED_VLAN_CHG_NOTIF",
    "VLAN_MGR_EVENT_IF_CONFIG_DELETE",
    "VLAN_MGR_EVENT_SDB_STORE_LIST",
    "VLAN_MGR_EVENT_PCM_PARAM_FROM_CHANNEL",
    "VLAN_MGR_EVENT_PCM_PARAM_TO_CHANNEL",
    "VLAN_MGR_EVENT_PCM_MAP_MEMBERSHIP",
    "VLAN_MGR_EVENT_PCM_MALLOC_MEMORY",
    "VLAN_MGR_EVENT_RANGE_STP_STATE_CHANGE",
    "VLAN_MGR_EVENT_MULTI_VLAN_OPER_NOTIF",
    "VLAN_MGR_EVENT_PSS_STORE_RT_VDC",
    "VLAN_MGR_EVENT_POST_CREATE_USER",
    "VLAN_MGR_EVENT_POST_CREATE_INIT",
    "VLAN_MGR_EVENT_BD_GSDB_CALLBACK_CLAEANUP",
    "VLAN_MGR_EVENT_VLAN_CREATE_REQ_RESP",
    "VLAN_MGR_EVENT_LAST",
};

std::string lower(const char *s)
{
    std::string r(s);
    for (char &c : r)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return r;
}

TEST(EventNames, FindGivesEveryNameByValue)
{
    for (int32_t v = 0; v < 125; ++v) {
        const char *name = __vlan_mgr_event_enums_t_find(v);
        ASSERT_NE(name, nullptr) << v;
        EXPECT_STREQ(name, kNames[v]) << v;
    }
}

TEST(EventNames, Str2EnumGivesEveryValueByName)
{
    for (int32_t v = 0; v < 125; ++v)
        EXPECT_EQ(__vlan_mgr_event_enums_t_str2enum(kNames[v]), v) << kNames[v];
}

TEST(EventNames, Str2EnumIgnoresCaseForEveryName)
{
    for (int32_t v = 0; v < 125; ++v)
        EXPECT_EQ(__vlan_mgr_event_enums_t_str2enum(lower(kNames[v]).c_str()), v) << kNames[v];
}

TEST(EventNames, EnumeratorsMatchTheirNames)
{
    EXPECT_EQ(VLAN_MGR_EVENT_CLI_ERROR, 0);
    EXPECT_EQ(VLAN_MGR_EVENT_DONE_STATEFULL_RESTART, 9);
    EXPECT_EQ(VLAN_MGR_EVENT_BD_REOURCE_MSG, 74);
    EXPECT_EQ(VLAN_MGR_EVENT_BD_FREE, 80);
    EXPECT_EQ(VLAN_MGR_EVENT_BD_GSDB_CALLBACK_CLAEANUP, 122);
    EXPECT_EQ(VLAN_MGR_EVENT_VLAN_CREATE_REQ_RESP, 123);
    EXPECT_EQ(VLAN_MGR_EVENT_LAST, 124);
}

TEST(EventNames, OddSpellingsAreKept)
{
    EXPECT_STREQ(__vlan_mgr_event_enums_t_find(9), "VLAN_MGR_EVENT_DONE_STATEFULL_RESTART");
    EXPECT_STREQ(__vlan_mgr_event_enums_t_find(122), "VLAN_MGR_EVENT_BD_GSDB_CALLBACK_CLAEANUP");
    EXPECT_EQ(__vlan_mgr_event_enums_t_str2enum("VLAN_MGR_EVENT_BD_RESOURCE_MSG"), 0);
    EXPECT_EQ(__vlan_mgr_event_enums_t_str2enum("VLAN_MGR_EVENT_DONE_STATEFUL_RESTART"), 0);
    EXPECT_EQ(__vlan_mgr_event_enums_t_str2enum("VLAN_MGR_EVENT_BD_GSDB_CALLBACK_CLEANUP"), 0);
}

TEST(EventNames, Find74IsTheResourceMessageAsSpelled)
{
    EXPECT_STREQ(__vlan_mgr_event_enums_t_find(74), "VLAN_MGR_EVENT_BD_REOURCE_MSG");
}

TEST(EventNames, Find124IsTheEndMarker)
{
    EXPECT_STREQ(__vlan_mgr_event_enums_t_find(124), "VLAN_MGR_EVENT_LAST");
}

TEST(EventNames, Find125IsNull)
{
    EXPECT_EQ(__vlan_mgr_event_enums_t_find(125), nullptr);
}

TEST(EventNames, FindValuesAboveTheTableAreNull)
{
    for (int32_t v : {126, 200, 255, 256, 65535, 65536, 0x7FFFFFFF})
        EXPECT_EQ(__vlan_mgr_event_enums_t_find(v), nullptr) << v;
}

TEST(EventNames, FindNegativeValuesAreNull)
{
    for (int32_t v : {-1, -2, -124, -125, -65536, static_cast<int32_t>(0x80000000u)})
        EXPECT_EQ(__vlan_mgr_event_enums_t_find(v), nullptr) << v;
}

TEST(EventNames, FindZeroIsTheFirstName)
{
    EXPECT_STREQ(__vlan_mgr_event_enums_t_find(0), "VLAN_MGR_EVENT_CLI_ERROR");
}

TEST(EventNames, Str2EnumLowerCaseNameOfEvent80Is80)
{
    EXPECT_EQ(__vlan_mgr_event_enums_t_str2enum("vlan_mgr_event_bd_free"), 80);
}

TEST(EventNames, Str2EnumMixedCase)
{
    EXPECT_EQ(__vlan_mgr_event_enums_t_str2enum("Vlan_Mgr_Event_Vlan_Create_Req_Resp"), 123);
}

TEST(EventNames, Str2EnumUnknownNameIsZero)
{
    EXPECT_EQ(__vlan_mgr_event_enums_t_str2enum("VLAN_MGR_EVENT_NO_SUCH_EVENT"), 0);
    EXPECT_EQ(__vlan_mgr_event_enums_t_str2enum("VLAN_MGR_EVENT_BD_FRE"), 0);
    EXPECT_EQ(__vlan_mgr_event_enums_t_str2enum("VLAN_MGR_EVENT_BD_FREE "), 0);
    EXPECT_EQ(__vlan_mgr_event_enums_t_str2enum("VLAN_MGR_EVENT_BD_FREEX"), 0);
}

TEST(EventNames, Str2EnumEmptyNameIsZero)
{
    EXPECT_EQ(__vlan_mgr_event_enums_t_str2enum(""), 0);
}

TEST(EventNames, Str2EnumNullNameIsZero)
{
    EXPECT_EQ(__vlan_mgr_event_enums_t_str2enum(nullptr), 0);
}

TEST(EventNames, Str2EnumUnknownIsIndistinguishableFromFirstEvent)
{
    EXPECT_EQ(__vlan_mgr_event_enums_t_str2enum("no such name"),
              __vlan_mgr_event_enums_t_str2enum("VLAN_MGR_EVENT_CLI_ERROR"));
}

TEST(EventNames, TableEndsWithEmptyNameTerminator)
{
    using vlan_mgr::history::kEventNames;
    EXPECT_EQ(kEventNames[125].value, 0);
    ASSERT_NE(kEventNames[125].name, nullptr);
    EXPECT_STREQ(kEventNames[125].name, "");
    for (int i = 0; i < 125; ++i) {
        EXPECT_EQ(kEventNames[i].value, i);
        EXPECT_STREQ(kEventNames[i].name, kNames[i]);
    }
}

// The lookups' handling of a table's ends, on small tables.
using vlan_mgr::history::EventName;
using vlan_mgr::history::find_name;
using vlan_mgr::history::find_value;

TEST(EventNameLookup, ZeroTakesFirstEntryWithoutComparingItsValue)
{
    const EventName t[] = {{7, "SEVEN"}, {8, "EIGHT"}, {0, ""}};
    EXPECT_STREQ(find_name(t, 0), "SEVEN");
    EXPECT_EQ(find_name(t, 7), nullptr); // the first entry is never compared
    EXPECT_STREQ(find_name(t, 8), "EIGHT");
}

TEST(EventNameLookup, FirstMatchWinsFromSecondEntryOn)
{
    const EventName t[] = {{0, "ZERO"}, {3, "A"}, {3, "B"}, {0, ""}};
    EXPECT_STREQ(find_name(t, 3), "A");
}

TEST(EventNameLookup, StopsAtTerminator)
{
    const EventName t[] = {{0, "ZERO"}, {1, "ONE"}, {2, ""}, {2, "AFTER"}};
    EXPECT_STREQ(find_name(t, 1), "ONE");
    EXPECT_EQ(find_name(t, 2), nullptr);
    EXPECT_EQ(find_value(t, "AFTER"), 0);
}

TEST(EventNameLookup, EmptyFirstNameGivesNull)
{
    const EventName t[] = {{0, ""}, {1, "ONE"}};
    EXPECT_EQ(find_name(t, 0), nullptr);
    EXPECT_EQ(find_name(t, 1), nullptr);
    EXPECT_EQ(find_value(t, "ONE"), 0);
}

TEST(EventNameLookup, Str2EnumFirstMatchIgnoringCaseWins)
{
    const EventName t[] = {{5, "Name"}, {6, "NAME"}, {0, ""}};
    EXPECT_EQ(find_value(t, "name"), 5);
    EXPECT_EQ(find_value(t, "other"), 0);
}

} // namespace
