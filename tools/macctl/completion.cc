// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Completion scripts, made from the tree of commands.
#include <fmt/format.h>

#include <functional>

#include "tools/macctl/cli.h"

namespace macctl {

namespace {

using Visit = std::function<void(const CLI::App&)>;

void walk(const CLI::App& app, const Visit& visit) {
    visit(app);
    for (const CLI::App* child : app.get_subcommands({})) walk(*child, visit);
}

std::string commands_of(const CLI::App& app) {
    std::string words;
    for (const CLI::App* child : app.get_subcommands({})) words += child->get_name() + " ";
    return words;
}

std::string options_of(const CLI::App& app) {
    std::string words;
    for (const CLI::App* at = &app; at != nullptr; at = at->get_parent()) {
        for (const CLI::Option* option : at->get_options()) {
            for (const std::string& name : option->get_lnames()) words += "--" + name + " ";
        }
    }
    return words;
}

// The functions that both shells share: the words below a command, and those of them
// that are commands.
std::string word_functions(const CLI::App& app) {
    std::string table;
    walk(app, [&table](const CLI::App& at) {
        table += fmt::format("        \"{}\") words_below=\"{}{}\" ;;\n", path_of(at),
                             commands_of(at), options_of(at));
    });
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

std::string bash_script(const CLI::App& app) {
    return "# Completion of macctl; made by \"macctl completion\".\n" + word_functions(app) +
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

std::string zsh_script(const CLI::App& app) {
    return "#compdef macctl\n# Completion of macctl; made by \"macctl completion\".\n" +
           word_functions(app) +
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
std::string fish_condition(const CLI::App& at) {
    std::string condition;
    for (const CLI::App* app = &at; app->get_parent() != nullptr; app = app->get_parent()) {
        condition =
            fmt::format("__fish_seen_subcommand_from {}; and {}", app->get_name(), condition);
    }
    const std::string below = commands_of(at);
    if (!below.empty()) condition += "not __fish_seen_subcommand_from " + below;
    while (!condition.empty() && condition.back() == ' ') condition.pop_back();
    const std::string tail = "; and";
    if (condition.size() >= tail.size() &&
        condition.compare(condition.size() - tail.size(), tail.size(), tail) == 0) {
        condition.resize(condition.size() - tail.size());
    }
    return condition;
}

std::string fish_script(const CLI::App& app) {
    std::string script = "# Completion of macctl; made by \"macctl completion\".\n";
    walk(app, [&script](const CLI::App& at) {
        const std::string condition = fish_quote(fish_condition(at));
        for (const CLI::App* child : at.get_subcommands({})) {
            script += fmt::format("complete -c macctl -f -n {} -a {} -d {}\n", condition,
                                  child->get_name(), fish_quote(child->get_description()));
        }
        const bool top = at.get_parent() == nullptr;
        for (const CLI::Option* option : at.get_options()) {
            if (option->get_lnames().empty()) continue;
            std::string line = fmt::format("complete -c macctl -l {}", option->get_lnames()[0]);
            if (!option->get_snames().empty()) line += " -s " + option->get_snames()[0];
            if (!top) line += " -n " + condition;
            if (option->get_items_expected_max() > 0) line += " -r";
            script += line + " -d " + fish_quote(option->get_description()) + "\n";
        }
    });
    return script;
}

}  // namespace

std::string completion_script(const CLI::App& app, const std::string& shell) {
    if (shell == "fish") return fish_script(app);
    if (shell == "bash") return bash_script(app);
    if (shell == "zsh") return zsh_script(app);
    return "";
}

}  // namespace macctl
