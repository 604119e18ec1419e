// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/terminal.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <iostream>

namespace macctl {

namespace {

constexpr size_t kProgressWidth = 30;

std::string colours_when;

bool has_colours() {
    if (colours_when == "always") return true;
    if (colours_when == "never") return false;
    const char* const term = std::getenv("TERM");
    // The convention of no-color.org.
    const char* const refused = std::getenv("NO_COLOR");
    return isatty(STDOUT_FILENO) == 1 && term != nullptr && std::string(term) != "dumb" &&
           (refused == nullptr || *refused == '\0');
}

const char* escape_of(Colour colour) {
    switch (colour) {
        case Colour::kGood:
            return "\033[32m";
        case Colour::kWarning:
            return "\033[33m";
        case Colour::kBlank:
            return "\033[36m";
        case Colour::kBad:
            return "\033[1;31m";
        default:
            return "";
    }
}

}  // namespace

void choose_colours(const std::string& when) { colours_when = when; }

std::string coloured(const std::string& text, Colour colour) {
    if (colour == Colour::kNone || !has_colours()) return text;
    return escape_of(colour) + text + "\033[0m";
}

void Table::add(std::vector<std::string> cells, std::vector<Colour> colours) {
    rows_.push_back({std::move(cells), std::move(colours)});
}

bool Table::choose(const std::string& name) {
    const auto same = [&name](const std::string& head) {
        return std::equal(head.begin(), head.end(), name.begin(), name.end(), [](char a, char b) {
            return a == std::toupper(static_cast<unsigned char>(b));
        });
    };
    const auto found = std::find_if(head().begin(), head().end(), same);
    if (found == head().end()) return false;
    chosen_.push_back(static_cast<size_t>(found - head().begin()));
    return true;
}

std::string Table::text(bool with_head) const {
    std::vector<size_t> columns = chosen_;
    for (size_t i = 0; chosen_.empty() && i < head().size(); ++i) columns.push_back(i);
    std::vector<size_t> widths(head().size());
    const auto first = rows_.begin() + (with_head ? 0 : 1);
    for (auto row = first; row != rows_.end(); ++row) {
        for (size_t i = 0; i < widths.size(); ++i) {
            widths[i] = std::max(widths[i], row->cells[i].size());
        }
    }
    std::string text;
    for (auto row = first; row != rows_.end(); ++row) {
        for (size_t k = 0; k < columns.size(); ++k) {
            const size_t i = columns[k];
            const Colour colour = i < row->colours.size() ? row->colours[i] : Colour::kNone;
            text += coloured(row->cells[i], colour);
            if (k + 1 < columns.size())
                text += std::string(widths[i] - row->cells[i].size() + 2, ' ');
        }
        text += '\n';
    }
    return text;
}

bool confirm(const std::string& question, bool* asked) {
    *asked = isatty(STDIN_FILENO) == 1 && isatty(STDERR_FILENO) == 1;
    if (!*asked) return false;
    fmt::print(stderr, "{} [y/N] ", question);
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "Y" || answer == "yes";
}

Progress::Progress(std::string label, size_t total)
    : label_(std::move(label)),
      total_(total),
      start_(std::chrono::steady_clock::now()),
      terminal_(isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
    if (shown_) fmt::print(stderr, "\r\033[K");
}

void Progress::step(size_t done) {
    if (!terminal_ || std::chrono::steady_clock::now() - start_ < std::chrono::seconds(1)) return;
    const size_t filled = total_ == 0 ? kProgressWidth : kProgressWidth * done / total_;
    fmt::print(stderr, "\r{} [{:<{}}] {}/{}", label_, std::string(filled, '#'), kProgressWidth, done,
               total_);
    std::fflush(stderr);
    shown_ = true;
}

}  // namespace macctl
