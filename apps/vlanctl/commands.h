// vlanctl's command line: the command tree (CLI11) and what each command does.
#ifndef VLANCTL_COMMANDS_H
#define VLANCTL_COMMANDS_H

namespace vlanctl {

// Runs the command line and returns the exit status (0 success, 1 refused by
// the manager, 2 usage error, 3 manager not reachable).
int run(int argc, char **argv);

} // namespace vlanctl

#endif
