// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// What commands work on: the module in this process over a board file, or the
// one that the kernel has loaded. Both take the same commands and give the same
// answers.
#ifndef TOOLS_MACCTL_TARGET_H
#define TOOLS_MACCTL_TARGET_H

#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/macctl/client.h"

namespace macctl {

// The target cannot be reached at all; the text says why and what to do.
class TargetError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The module was loaded and its start-up failed.
class StartUpError : public TargetError {
public:
    using TargetError::TargetError;
};

// A line of the module's log ring.
struct LogEntry {
    u32 level;
    std::string text;
};

class Target {
public:
    virtual ~Target() = default;

    const Client& client() const { return client_; }

    // The lines of the module's log ring, oldest first. Throws TargetError.
    virtual std::vector<LogEntry> log() const = 0;

    // The content of a diagnostic attribute; none when there is no such file.
    virtual std::optional<std::string> attribute(const std::string& name) const = 0;

protected:
    explicit Target(Ioctl ioctl) : client_(std::move(ioctl)) {}

private:
    Client client_;
};

inline constexpr char kDevicePath[] = "/dev/mac_mng";

// Loads the module over a board file for as long as the target lives. Its log
// lines go to standard error up to the board's level, or all of them when
// verbose. Throws StartUpError, or the board's own error.
std::unique_ptr<Target> open_board(const std::filesystem::path& board_file, bool verbose);

// Opens the control device. Throws TargetError.
std::unique_ptr<Target> open_device(const std::filesystem::path& device);

// The status of a command from what ioctl() gave: the C library turns results
// from -4095 to -1 into errno.
u32 ioctl_status(int result, int error);

}  // namespace macctl

#endif
