// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The command line: the tree of commands, from which help, completions and the
// manual page are made as well.
#ifndef TOOLS_MACCTL_CLI_H
#define TOOLS_MACCTL_CLI_H

#include <CLI/CLI.hpp>

#include "tools/macctl/commands.h"

namespace macctl {

// Words may be shortened as long as they are unambiguous; options before and
// between them are left alone. Throws CLI::ParseError for an ambiguous one.
std::vector<std::string> expand_words(const CLI::App& app, std::vector<std::string> words);

// The shell script that completes the tree's commands; empty for an unknown shell.
std::string completion_script(const CLI::App& app, const std::string& shell);

// The tree as the COMMANDS section of macctl(8), and the page around it.
std::string manual_page(const CLI::App& app);

// A command's own name after those of the commands above it: "set block".
std::string path_of(const CLI::App& app);

// Builds the tree, runs what the arguments ask for and prints its result. Returns
// the exit status.
int run_command_line(int argc, char** argv);

}  // namespace macctl

#endif
