#include "frame/report.h"

#include <cctype>
#include <unistd.h>

#include "frame/local_vdc.h"

namespace {
// Facility names are short ("vlan_mgr"); longer names are cut.
char upper_buf[64];
} // namespace

extern "C" const char *vlan_mgr_str_toupper(const char *text)
{
    size_t n = std::strlen(text);
    if (n >= sizeof upper_buf)
        n = sizeof upper_buf - 1;
    upper_buf[n] = '\0';
    for (size_t i = n; i-- > 0;)
        upper_buf[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[i])));
    return upper_buf;
}

namespace vlan_mgr {

void report_syslog(const vlan_mgr_syslog_msg_t &msg, const char *text)
{
    const uint32_t severity = msg.severity & 0xFFu;
    if (msg.facility->current_level < severity)
        return;
    kivo_syslog(severity, msg.format, vlan_mgr_str_toupper(msg.facility->name), static_cast<int>(severity), text);
}

uint32_t check_local_vdc(uint16_t vdc_id, const char *builder_name)
{
    const uint16_t local = vlan_mgr_local_vdc_get();
    if (vdc_id == local)
        return VLAN_MGR_OK;
    if (builder_name != nullptr)
        return report_failure(VLAN_MGR_ERR_VDC_MISMATCH, VLAN_MGR_REPORT_VDC_MISMATCH, syslog_msg_ERROR_MSG,
                              "vlan_mgr %s: pid %d, vdcID %d, local vdcID %d\n",
                              " %s: pid %d, vdcID %d, local vdcID %d\n", [&] {
                                  return std::make_tuple(builder_name, static_cast<int>(getpid()),
                                                         static_cast<int>(vdc_id),
                                                         static_cast<int>(vlan_mgr_local_vdc_get()));
                              });
    return report_failure(VLAN_MGR_ERR_VDC_MISMATCH, VLAN_MGR_REPORT_VDC_MISMATCH, syslog_msg_ERROR_MSG,
                          "vlan_mgr pid %d, vdcID %d, local vdcID %d\n", " pid %d, vdcID %d, local vdcID %d\n", [&] {
                              return std::make_tuple(static_cast<int>(getpid()), static_cast<int>(vdc_id),
                                                     static_cast<int>(vlan_mgr_local_vdc_get()));
                          });
}

uint32_t report_invalid_vlan(uint32_t status, const char *builder_name, int32_t vlan_id)
{
    return report_failure(status, VLAN_MGR_REPORT_INFO, syslog_msg_INFO_MSG, "vlan_mgr %s:pid %d, invalid vlanID %d\n",
                          " %s:pid %d, invalid vlanID %d\n", [&] {
                              return std::make_tuple(builder_name, static_cast<int>(getpid()),
                                                     static_cast<int>(vlan_id));
                          });
}

} // namespace vlan_mgr
