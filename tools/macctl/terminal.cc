// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/terminal.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>

namespace macctl {

namespace {

constexpr size_t kBarWidth = 30;

bool has_colours() {
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

std::string coloured(const std::string& text, Colour colour) {
    if (colour == Colour::kNone || !has_colours()) return text;
    return escape_of(colour) + text + "\033[0m";
}

void Table::add(std::vector<std::string> cells, std::vector<Colour> colours) {
    rows_.push_back({std::move(cells), std::move(colours)});
}

std::string Table::text() const {
    std::vector<size_t> widths(rows_[0].cells.size());
    for (const Row& row : rows_) {
        for (size_t i = 0; i < row.cells.size(); ++i) {
            widths[i] = std::max(widths[i], row.cells[i].size());
        }
    }
    std::string text;
    for (const Row& row : rows_) {
        for (size_t i = 0; i < row.cells.size(); ++i) {
            const bool last = i + 1 == row.cells.size();
            const Colour colour = i < row.colours.size() ? row.colours[i] : Colour::kNone;
            text += coloured(row.cells[i], colour);
            if (!last) text += std::string(widths[i] - row.cells[i].size() + 2, ' ');
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
    const size_t filled = total_ == 0 ? kBarWidth : kBarWidth * done / total_;
    fmt::print(stderr, "\r{} [{:<{}}] {}/{}", label_, std::string(filled, '#'), kBarWidth, done,
               total_);
    std::fflush(stderr);
    shown_ = true;
}

}  // namespace macctl
