/* Host platform API for programs: the shared database publisher. */
#ifndef VLAN_MGR_HOST_SDB_H
#define VLAN_MGR_HOST_SDB_H

#include <stdint.h>

#include "vlan_mgr_platform.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
