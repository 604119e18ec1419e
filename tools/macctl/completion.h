// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#ifndef TOOLS_MACCTL_COMPLETION_H
#define TOOLS_MACCTL_COMPLETION_H

#include <string>

namespace macctl {

// The shell script that completes the table's commands; empty for an unknown shell.
std::string completion_script(const std::string& shell);

}  // namespace macctl

#endif
