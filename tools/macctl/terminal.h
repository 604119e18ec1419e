// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// What is only for people at a terminal: colours, questions, progress.
#ifndef TOOLS_MACCTL_TERMINAL_H
#define TOOLS_MACCTL_TERMINAL_H

#include <chrono>
#include <string>
#include <vector>

namespace macctl {

enum class Colour { kNone, kGood, kWarning, kBlank, kBad };

// What --color says; empty or "auto": colours where standard output is a terminal that has
// them.
void choose_colours(const std::string& when);

// The text in that colour where there are colours.
std::string coloured(const std::string& text, Colour colour);

// Rows in columns, left-aligned; colours do not count as width.
class Table {
public:
    explicit Table(std::vector<std::string> head) { rows_.push_back({std::move(head), {}}); }
    void add(std::vector<std::string> cells, std::vector<Colour> colours);
    const std::vector<std::string>& head() const { return rows_[0].cells; }
    // Shows that column behind those that were chosen before, and no other; false when
    // there is none of that name, in any case.
    bool choose(const std::string& name);
    std::string text(bool with_head = true) const;

private:
    struct Row {
        std::vector<std::string> cells;
        std::vector<Colour> colours;
    };
    std::vector<Row> rows_;
    std::vector<size_t> chosen_;
};

// Asks on standard error; false unless a person answers yes. `asked` tells whether
// there was a terminal to ask at.
bool confirm(const std::string& question, bool* asked);

// A bar on standard error, when that is a terminal and the work takes longer than a
// second.
class Progress {
public:
    Progress(std::string label, size_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    void step(size_t done);

private:
    std::string label_;
    size_t total_;
    std::chrono::steady_clock::time_point start_;
    bool terminal_;
    bool shown_ = false;
};

}  // namespace macctl

#endif
