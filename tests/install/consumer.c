/* A C program of another switch process, built against the installed package. */
#include <stdio.h>
#include <string.h>

#include <vlan_mgr/vlan_mgr.h>

int main(void)
{
    if (strcmp(syslog_msg_ERROR_MSG.name, "ERROR_MSG") != 0)
        return 1;
    printf("consumer linked: %s\n", syslog_fac_LOG_VLAN_MGR.name);
    return 0;
}
