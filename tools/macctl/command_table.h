// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The commands in one table, from which the parser, the help, the completions and the
// manual page are made.
#ifndef TOOLS_MACCTL_COMMAND_TABLE_H
#define TOOLS_MACCTL_COMMAND_TABLE_H

#include <span>
#include <string_view>
#include <variant>

#include "tools/macctl/command.h"

namespace macctl {

// Where an option's value goes. The text of an address or a number is parsed on its way.
using Setting = std::variant<bool Options::*, std::string Options::*, u32 Options::*,
                             std::optional<u32> Options::*, MacAddress Options::*,
                             std::vector<std::string> Options::*>;

using Choices = std::span<const char* const>;

struct OptionRow {
    const char* names;  // "-t,--type"; without hyphens an argument that stands by itself
    const char* value;  // what the help calls its value; null for a flag
    const char* what;
    Setting setting;
    bool required = false;
    Choices choices = {};

    bool is_positional() const { return names[0] != '-'; }
    bool has_name(std::string_view word) const;
    // "NUMBER", "TEXT:{plain,csv}"; empty for a flag.
    std::string type_name() const;
};

// One command, or an object whose verbs follow it in the table.
struct CommandRow {
    const char* path;  // "set block"
    const char* what;
    const char* example;
    Command run;  // null for an object, and for what the command line answers by itself
    std::span<const OptionRow> options = {};
    const char* alias = nullptr;

    std::string_view name() const;    // "block"
    std::string_view parent() const;  // "set", empty on the first level
};

std::span<const CommandRow> command_table();
// The options of every command; --help and --version are the parser's own.
std::span<const OptionRow> global_options();

// The row of that path, null when there is none.
const CommandRow* find_row(std::string_view path);
// The rows right below a path, in the order of the help.
std::vector<const CommandRow*> rows_below(std::string_view path);
// Whether other words have to follow.
bool is_object(const CommandRow& row);

}  // namespace macctl

#endif
