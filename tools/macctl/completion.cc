// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Completion scripts, made from the table of commands.
#include "tools/macctl/completion.h"

#include <fmt/format.h>

#include <sstream>

#include "tools/macctl/command_table.h"

namespace macctl {

namespace {

// The long names of the options, each behind a blank.
std::string long_names(std::span<const OptionRow> options) {
    std::string words;
    for (const OptionRow& option : options) {
        const std::string_view names = option.names;
        const size_t at = names.find("--");
        if (at != std::string_view::npos) words += " " + std::string(names.substr(at));
    }
    return words;
}

std::string names_below(std::string_view path) {
    std::string words;
    for (const CommandRow* row : rows_below(path)) words += std::string(row->name()) + " ";
    return words;
}

std::string words_below(std::string_view path, std::span<const OptionRow> options) {
    return names_below(path) + "--help --version" + long_names(options) +
           long_names(global_options());
}

// The functions that both shells share: the words below a command, and those of them
// that are commands.
std::string word_functions() {
    static constexpr char kCase[] = "        \"{}\") words_below=\"{}\" ;;\n";
    std::string table = fmt::format(kCase, "", words_below("", {}));
    for (const CommandRow& row : command_table()) {
        table += fmt::format(kCase, row.path, words_below(row.path, row.options));
    }
    return "_macctl_words() {\n"
           "    local words_below=\n"
           "    case $1 in\n" +
           table +
           "    esac\n"
           "    echo \"$words_below\"\n"
           "}\n"
           "_macctl_commands() {\n"
           "    _macctl_words \"$1\" | tr ' ' '\\n' | grep -v '^-' | tr '\\n' ' '\n"
           "}\n";
}

std::string bash_script() {
    return "# Completion of macctl; made by \"macctl completion\".\n" + word_functions() +
           "_macctl() {\n"
           "    local current=${COMP_WORDS[COMP_CWORD]} below='' word\n"
           "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
           "        case \" $(_macctl_commands \"$below\") \" in\n"
           "        *\" $word \"*) below=\"${below:+$below }$word\" ;;\n"
           "        esac\n"
           "    done\n"
           "    mapfile -t COMPREPLY < <(compgen -W \"$(_macctl_words \"$below\")\" -- "
           "\"$current\")\n"
           "    [ ${#COMPREPLY[@]} -ne 0 ] || mapfile -t COMPREPLY < <(compgen -f -- "
           "\"$current\")\n"
           "}\n"
           "complete -F _macctl macctl\n";
}

std::string zsh_script() {
    return "#compdef macctl\n# Completion of macctl; made by \"macctl completion\".\n" +
           word_functions() +
           "_macctl() {\n"
           "    local below='' word\n"
           "    for word in ${words[2,CURRENT-1]}; do\n"
           "        case \" $(_macctl_commands \"$below\") \" in\n"
           "        *\" $word \"*) below=\"${below:+$below }$word\" ;;\n"
           "        esac\n"
           "    done\n"
           "    compadd -- ${=$(_macctl_words \"$below\")} && return\n"
           "    _files\n"
           "}\n"
           "compdef _macctl macctl\n";
}

std::string fish_quote(const std::string& text) {
    std::string result = "'";
    for (const char character : text) {
        if (character == '\'' || character == '\\') result += '\\';
        result += character;
    }
    return result + "'";
}

// Offered where all words of the path, and none of the words below it, are there.
std::string fish_condition(const std::string& path) {
    std::string condition;
    std::istringstream words(path);
    for (std::string word; words >> word;) {
        condition += (condition.empty() ? "" : "; and ") +
                     fmt::format("__fish_seen_subcommand_from {}", word);
    }
    std::string below = names_below(path);
    if (below.empty()) return condition;
    below.pop_back();
    return condition + (condition.empty() ? "" : "; and ") + "not __fish_seen_subcommand_from " +
           below;
}

std::string fish_commands(const std::string& path) {
    const std::string condition = fish_quote(fish_condition(path));
    std::string script;
    for (const CommandRow* row : rows_below(path)) {
        script += fmt::format("complete -c macctl -f -n {} -a {} -d {}\n", condition, row->name(),
                              fish_quote(row->what));
    }
    return script;
}

std::string fish_options(std::span<const OptionRow> options, const std::string& condition) {
    std::string script;
    for (const OptionRow& option : options) {
        const std::string_view names = option.names;
        const size_t at = names.find("--");
        if (at == std::string_view::npos) continue;
        script += fmt::format("complete -c macctl -l {}", names.substr(at + 2));
        if (at > 0) script += fmt::format(" -s {}", names.substr(1, 1));
        if (!condition.empty()) script += " -n " + fish_quote(condition);
        if (option.value != nullptr) script += " -r";
        script += " -d " + fish_quote(option.what) + "\n";
    }
    return script;
}

std::string fish_script() {
    std::string script =
        "# Completion of macctl; made by \"macctl completion\".\n"
        "complete -c macctl -l help -s h -d 'Print this help message and exit'\n"
        "complete -c macctl -l version -d 'Display program version information "
        "and exit'\n" +
        fish_commands("") + fish_options(global_options(), "");
    for (const CommandRow& row : command_table()) {
        script += fish_commands(row.path) + fish_options(row.options, fish_condition(row.path));
    }
    return script;
}

}  // namespace

std::string completion_script(const std::string& shell) {
    if (shell == "fish") return fish_script();
    if (shell == "bash") return bash_script();
    if (shell == "zsh") return zsh_script();
    return "";
}

}  // namespace macctl
