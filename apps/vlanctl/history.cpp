#include "history.h"

#include <fstream>
#include <string>

#include "client.h"
#include "iftable.h"

// The history tool's main (tools/vlan_mgr_hist_show.cpp).
int vlan_mgr_hist_show_main(int argc, char **argv);

namespace vlanctl {

int show_history(int pid)
{
    if (pid == 0) {
        const std::string path = vlan_mgr_apps::run_dir() + "/vlan_mgrd.pid";
        std::ifstream in(path);
        if (!(in >> pid) || pid <= 0)
            usage_error("no manager process id in " + path + "; give a process id");
    }
    std::string prog = "vlan_mgr_hist_show", arg = std::to_string(pid);
    char *argv[] = {prog.data(), arg.data(), nullptr};
    const int rc = vlan_mgr_hist_show_main(2, argv);
    return rc == 0 ? kExitOk : kExitUsage;
}

} // namespace vlanctl
