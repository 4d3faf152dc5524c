// vlanctl: the operators' command-line client of the VLAN manager.
#include "commands.h"

int main(int argc, char **argv) { return vlanctl::run(argc, argv); }
