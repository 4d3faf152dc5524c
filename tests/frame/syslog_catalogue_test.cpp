#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include <vlan_mgr/frame.h>

namespace {

struct Row {
    const vlan_mgr_syslog_msg_t *msg;
    const char *name;
    uint32_t severity;
    const char *format;
};

TEST(SyslogCatalogue, EveryRecordAsListed)
{
    const Row rows[] = {
        {&syslog_msg_ERROR_MSG, "ERROR_MSG", 3, "<<%%%s-%d-ERROR_MSG>> %s"},
        {&syslog_msg_WARN_MSG, "WARN_MSG", 4, "<<%%%s-%d-WARN_MSG>> %s"},
        {&syslog_msg_INFO_MSG, "INFO_MSG", 6, "<<%%%s-%d-INFO_MSG>> %s"},
        {&syslog_msg_NOTIF_MSG, "NOTIF_MSG", 5, "<<%%%s-%d-NOTIF_MSG>> %s"},
        {&syslog_msg_CRITICAL_MSG, "CRITICAL_MSG", 2, "<<%%%s-%d-CRITICAL_MSG>> %s"},
        {&syslog_msg_VLAN_OPER_STATUS_CHG, "VLAN_OPER_STATUS_CHG", 6,
         "<<%%%s-%d-VLAN_OPER_STATUS_CHG>> VLAN %d, status changed to %s"},
        {&syslog_msg_VLAN_CREATED, "VLAN_CREATED", 6, "<<%%%s-%d-VLAN_CREATED>> VLAN %d, created"},
        {&syslog_msg_VLAN_MGR_STATELESS_RESTART, "VLAN_MGR_STATELESS_RESTART", 6,
         "<<%%%s-%d-VLAN_MGR_STATELESS_RESTART>> VLAN Manager stateless restart"},
        {&syslog_msg_VLAN_MGR_STATEFULL_RESTART, "VLAN_MGR_STATEFULL_RESTART", 6,
         "<<%%%s-%d-VLAN_MGR_STATEFULL_RESTART>> VLAN Manager statefull restart"},
        {&syslog_msg_RESERVED_VLAN_RANGE_CHANGED, "RESERVED_VLAN_RANGE_CHANGED", 5,
         "<<%%%s-%d-RESERVED_VLAN_RANGE_CHANGED>> New Reserved VLAN Range Configured From VLAN %d to VLAN %d"},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        EXPECT_STREQ(r.msg->name, r.name);
        EXPECT_EQ(r.msg->facility, &syslog_fac_LOG_VLAN_MGR);
        EXPECT_STREQ(r.msg->format, r.format);
        EXPECT_EQ(r.msg->severity, r.severity);
    }
}

TEST(SyslogCatalogue, FacilityInitialValues)
{
    EXPECT_STREQ(syslog_fac_LOG_VLAN_MGR.name, "vlan_mgr");
    EXPECT_EQ(syslog_fac_LOG_VLAN_MGR.code, 0x880u);
    EXPECT_EQ(syslog_fac_LOG_VLAN_MGR.default_level, 2);
    EXPECT_EQ(syslog_fac_LOG_VLAN_MGR.current_level, 2);
}

TEST(SyslogCatalogue, RecordLayoutOnThisTarget)
{
    if (sizeof(void *) == 4) {
        EXPECT_EQ(sizeof(vlan_mgr_syslog_msg_t), 16u);
        EXPECT_EQ(sizeof(vlan_mgr_syslog_facility_t), 12u);
        // Byte 0 of word 3 is the default level, byte 1 the current level.
        const auto *words = reinterpret_cast<const uint8_t *>(&syslog_fac_LOG_VLAN_MGR);
        EXPECT_EQ(words[8], 2);
        EXPECT_EQ(words[9], 2);
        uint32_t code;
        std::memcpy(&code, words + 4, 4);
        EXPECT_EQ(code, 0x880u);
    } else {
        EXPECT_EQ(sizeof(vlan_mgr_syslog_msg_t), 32u);
        EXPECT_EQ(sizeof(vlan_mgr_syslog_facility_t), 16u);
    }
    EXPECT_EQ(sizeof(vlan_bitmap), 516u);
    EXPECT_EQ(sizeof(vdc_vlan_id_t), 6u);
}

} // namespace
