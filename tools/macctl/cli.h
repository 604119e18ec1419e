// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The command line. cli.cc is the one source that sees the parser's library.
#ifndef TOOLS_MACCTL_CLI_H
#define TOOLS_MACCTL_CLI_H

namespace macctl {

// Runs what the arguments ask for and prints its result. Returns the exit status.
int run_command_line(int argc, char** argv);

}  // namespace macctl

#endif
