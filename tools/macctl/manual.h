// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#ifndef TOOLS_MACCTL_MANUAL_H
#define TOOLS_MACCTL_MANUAL_H

#include <string>

namespace macctl {

// macctl(8), whose COMMANDS section is made from the table of commands.
std::string manual_page();

}  // namespace macctl

#endif
