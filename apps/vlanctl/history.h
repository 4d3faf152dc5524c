// vlanctl history: a process's event history, printed by the history tool's
// own code (tools/vlan_mgr_hist_show.cpp, built into vlanctl with its main
// renamed) through the library's print callback.
#ifndef VLANCTL_HISTORY_H
#define VLANCTL_HISTORY_H

namespace vlanctl {

// Prints the history of `pid` (0: the manager's, from <run dir>/vlan_mgrd.pid)
// and returns the exit status: 0, or 2 when there is no such history.
int show_history(int pid);

} // namespace vlanctl

#endif
