// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Why a board file cannot be used: file, line and reason.
#ifndef PLATFORM_HOST_BOARD_ERROR_H
#define PLATFORM_HOST_BOARD_ERROR_H

#include <stdexcept>
#include <string>

namespace host {

class BoardError : public std::runtime_error {
public:
    BoardError(const std::string& file, unsigned line, const std::string& reason)
        : std::runtime_error(file + ":" + std::to_string(line) + ": " + reason), line_(line) {}
    unsigned line() const { return line_; }

private:
    unsigned line_;
};

}  // namespace host

#endif
