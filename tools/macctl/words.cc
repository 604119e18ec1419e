// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/words.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

namespace macctl {

namespace {

// The parser's own options.
constexpr const char* kBareOptions[] = {"-h", "--help", "--version"};

// How many characters have to be added, dropped or replaced to make one of the other.
size_t distance(std::string_view left, std::string_view right) {
    std::vector<size_t> above(right.size() + 1);
    std::iota(above.begin(), above.end(), size_t{0});
    for (size_t i = 0; i < left.size(); ++i) {
        std::vector<size_t> row = {i + 1};
        for (size_t j = 0; j < right.size(); ++j) {
            const size_t replaced = above[j] + (left[i] == right[j] ? 0 : 1);
            row.push_back(std::min({replaced, above[j + 1] + 1, row[j] + 1}));
        }
        above = std::move(row);
    }
    return above.back();
}

// "; did you mean X?" for the candidate that is most like the word, if one is at all: two
// characters swapped count as two.
std::string suggestion(std::string_view word, const std::vector<std::string>& candidates) {
    const std::string* best = nullptr;
    size_t least = std::min<size_t>(2, word.size() / 2) + 1;
    for (const std::string& candidate : candidates) {
        const size_t far = distance(word, candidate);
        if (far < least) {
            best = &candidate;
            least = far;
        }
    }
    return best == nullptr ? "" : fmt::format("; did you mean \"{}\"?", *best);
}

const OptionRow* option_of(const CommandRow* row, std::string_view word) {
    const auto has_it = [word](const OptionRow& option) { return option.has_name(word); };
    if (row != nullptr) {
        const auto own = std::find_if(row->options.begin(), row->options.end(), has_it);
        if (own != row->options.end() && !own->is_positional()) return &*own;
    }
    const auto global = global_options();
    const auto found = std::find_if(global.begin(), global.end(), has_it);
    return found == global.end() ? nullptr : &*found;
}

void add_long_names(std::span<const OptionRow> options, std::vector<std::string>* names) {
    for (const OptionRow& option : options) {
        const std::string_view all = option.names;
        const size_t at = all.find("--");
        if (at != std::string_view::npos) names->emplace_back(all.substr(at));
    }
}

[[noreturn]] void refuse_option(const CommandRow* row, const std::string& word) {
    std::vector<std::string> names(std::begin(kBareOptions), std::end(kBareOptions));
    add_long_names(global_options(), &names);
    if (row != nullptr) add_long_names(row->options, &names);
    std::string why = word.starts_with("--") ? suggestion(word, names) : "";
    if (why.empty() && (row == nullptr || is_object(*row))) {
        why = "; options of a command stand behind its words";
    }
    throw UsageError(fmt::format("\"{}\" is no option of {}{}", word, place_of(row), why));
}

// Whether the word's value is the next word. Throws UsageError for an option that is not
// there.
bool takes_next(const CommandRow* row, const std::string& word) {
    const bool is_long = word.starts_with("--");
    // "--type=0", "-t0"
    const std::string name = is_long ? word.substr(0, word.find('=')) : word.substr(0, 2);
    if (std::find(std::begin(kBareOptions), std::end(kBareOptions), name) != std::end(kBareOptions)) {
        return false;
    }
    const OptionRow* const option = option_of(row, name);
    if (option == nullptr) refuse_option(row, name);
    return option->value != nullptr && name == word;
}

// "-1" is a number that a command refuses, and no option.
bool is_option(const std::string& word) {
    return word.size() > 1 && word[0] == '-' && (word[1] < '0' || word[1] > '9');
}

[[noreturn]] void refuse_word(const CommandRow* at, const std::string& word) {
    std::vector<std::string> names;
    for (const CommandRow* below : rows_below(at == nullptr ? "" : at->path)) {
        names.emplace_back(below->name());
        if (below->alias != nullptr) names.emplace_back(below->alias);
    }
    const std::string meant = suggestion(word, names);
    if (at == nullptr) throw UsageError(fmt::format("there is no command \"{}\"{}", word, meant));
    throw UsageError(
        fmt::format("{} has no \"{}\", only {}{}", place_of(at), word, names_below(at), meant));
}

// The command that a word stands for.
const CommandRow* find_command(const CommandRow* at, const std::string& word) {
    std::vector<const CommandRow*> candidates;
    for (const CommandRow* row : rows_below(at == nullptr ? "" : at->path)) {
        if (row->name() == word || (row->alias != nullptr && row->alias == word)) return row;
        if (!word.empty() && row->name().starts_with(word)) candidates.push_back(row);
    }
    if (candidates.empty()) refuse_word(at, word);
    if (candidates.size() > 1) {
        std::string names;
        for (const CommandRow* row : candidates) {
            names += (names.empty() ? "" : ", ") + std::string(row->name());
        }
        throw UsageError(fmt::format("\"{}\" is ambiguous, it could be: {}", word, names));
    }
    return candidates[0];
}

}  // namespace

std::string place_of(const CommandRow* row) {
    return row == nullptr ? "macctl" : fmt::format("\"{}\"", row->path);
}

std::string names_below(const CommandRow* row) {
    std::string names;
    for (const CommandRow* below : rows_below(row == nullptr ? "" : row->path)) {
        names += (names.empty() ? "" : ", ") + std::string(below->name());
    }
    return names;
}

Resolved resolve(std::vector<std::string> words) {
    const CommandRow* at = nullptr;
    for (size_t i = 0; i < words.size(); ++i) {
        if (words[i] == "--") break;
        if (is_option(words[i])) {
            if (takes_next(at, words[i])) ++i;
        } else if (at == nullptr || is_object(*at)) {
            at = find_command(at, words[i]);
            words[i] = at->name();
        }
    }
    return {at, std::move(words)};
}

}  // namespace macctl
