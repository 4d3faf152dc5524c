/* Host platform API for programs: the message transport. */
#ifndef VLAN_MGR_HOST_MTS_H
#define VLAN_MGR_HOST_MTS_H

#include <stdint.h>

#include "vlan_mgr_platform.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
