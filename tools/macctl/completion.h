// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Completion: the shells' scripts ask the tool itself what may follow.
#ifndef TOOLS_MACCTL_COMPLETION_H
#define TOOLS_MACCTL_COMPLETION_H

#include <string>
#include <vector>

namespace macctl {

// The first argument with which a script asks; the words behind it are those of the command
// line, the last one as far as it is typed.
inline constexpr char kCompleteWord[] = "__complete";

// What the shell has to offer besides the candidates; the exit status of the question.
enum class Offer { kCandidates = 0, kFiles = 3, kFolders = 4 };

struct Completion {
    Offer offer = Offer::kCandidates;
    std::string text;  // lines "WORD<tab>DESCRIPTION"
};
Completion complete(const std::vector<std::string>& words);

// The script of a shell, "bash", "zsh" or "fish"; empty for another.
std::string completion_script(const std::string& shell);

}  // namespace macctl

#endif
