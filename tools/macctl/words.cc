// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Shortened words of the command line.
#include <fmt/format.h>

#include "tools/macctl/cli.h"

namespace macctl {

namespace {

// Whether the word is an option whose value is the next word.
bool takes_next(const CLI::App* app, const std::string& word) {
    if (word.size() < 2 || word[0] != '-' || word.find('=') != std::string::npos) return false;
    for (; app != nullptr; app = app->get_parent()) {
        const CLI::Option* const option = app->get_option_no_throw(word);
        if (option != nullptr) return option->get_items_expected_max() > 0;
    }
    return false;
}

// The command that a word stands for; null when it is none here.
const CLI::App* find_command(const CLI::App* at, const std::string& word) {
    std::vector<const CLI::App*> candidates;
    for (const CLI::App* app : at->get_subcommands({})) {
        if (app->check_name(word)) return app;
        if (app->get_name().rfind(word, 0) == 0) candidates.push_back(app);
    }
    if (candidates.size() > 1) {
        std::string names;
        for (const CLI::App* app : candidates) {
            names += (names.empty() ? "" : ", ") + app->get_name();
        }
        throw CLI::ValidationError(fmt::format("\"{}\" is ambiguous, it could be: {}", word, names),
                                   CLI::ExitCodes::ValidationError);
    }
    return candidates.empty() ? nullptr : candidates[0];
}

}  // namespace

std::vector<std::string> expand_words(const CLI::App& app, std::vector<std::string> words) {
    const CLI::App* at = &app;
    for (size_t i = 0; i < words.size(); ++i) {
        if (words[i].empty() || words[i][0] == '-') {
            if (takes_next(at, words[i])) ++i;
            continue;
        }
        const CLI::App* const command = find_command(at, words[i]);
        if (command == nullptr) break;  // an argument, or a word for the parser to refuse
        words[i] = command->get_name();
        at = command;
    }
    return words;
}

std::string path_of(const CLI::App& app) {
    if (app.get_parent() == nullptr) return "";
    const std::string above = path_of(*app.get_parent());
    return above.empty() ? app.get_name() : above + " " + app.get_name();
}

}  // namespace macctl
