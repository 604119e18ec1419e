// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The words that name a command, before anything of the command line is parsed.
#ifndef TOOLS_MACCTL_WORDS_H
#define TOOLS_MACCTL_WORDS_H

#include "tools/macctl/command_table.h"

namespace macctl {

// The command line cannot be understood; the text says which word, and what was meant.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Resolved {
    const CommandRow* row;           // null when no word names a command
    std::vector<std::string> words;  // with the command's own names in the place of short ones
};

// Words may be shortened as long as they are unambiguous; options before and between them
// are left alone. Throws UsageError for a word that names no command, or more than one,
// and for an option that the command does not have.
Resolved resolve(std::vector<std::string> words);

// What errors call a command: "macctl" for none.
std::string place_of(const CommandRow* row);
// The words that may follow it, joined by ", ".
std::string names_below(const CommandRow* row);

}  // namespace macctl

#endif
