// The VLAN manager's syslog facility and message catalogue. In each format the
// first %s receives the upper-cased facility name and the %d its severity.
#include <vlan_mgr/frame.h>

extern "C" {

vlan_mgr_syslog_facility_t syslog_fac_LOG_VLAN_MGR = {"vlan_mgr", 0x880, 2, 2, {0, 0}};

#define VLAN_MGR_SYSLOG_MSG(mnemonic, severity, text) \
    const vlan_mgr_syslog_msg_t syslog_msg_##mnemonic = { \
        #mnemonic, &syslog_fac_LOG_VLAN_MGR, "<<%%%s-%d-" #mnemonic ">> " text, severity};

VLAN_MGR_SYSLOG_MSG(ERROR_MSG, 3, "%s")
VLAN_MGR_SYSLOG_MSG(WARN_MSG, 4, "%s")
VLAN_MGR_SYSLOG_MSG(INFO_MSG, 6, "%s")
VLAN_MGR_SYSLOG_MSG(NOTIF_MSG, 5, "%s")
VLAN_MGR_SYSLOG_MSG(CRITICAL_MSG, 2, "%s")
VLAN_MGR_SYSLOG_MSG(VLAN_OPER_STATUS_CHG, 6, "VLAN %d, status changed to %s")
VLAN_MGR_SYSLOG_MSG(VLAN_CREATED, 6, "VLAN %d, created")
VLAN_MGR_SYSLOG_MSG(VLAN_MGR_STATELESS_RESTART, 6, "VLAN Manager stateless restart")
VLAN_MGR_SYSLOG_MSG(VLAN_MGR_STATEFULL_RESTART, 6, "VLAN Manager statefull restart")
VLAN_MGR_SYSLOG_MSG(RESERVED_VLAN_RANGE_CHANGED, 5, "New Reserved VLAN Range Configured From VLAN %d to VLAN %d")

#undef VLAN_MGR_SYSLOG_MSG
}
