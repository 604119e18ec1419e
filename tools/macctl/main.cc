// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// macctl: the operator's tool, over a board file or over the control device of a
// running system, with the same commands. Data goes to standard output, everything
// else to standard error.
#include "tools/macctl/cli.h"

int main(int argc, char** argv) { return macctl::run_command_line(argc, argv); }
