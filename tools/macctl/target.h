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

#include "platform/host/loader.h"
#include "tools/macctl/client.h"
#include "tools/macctl/inspect.h"

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

    // The control device's commands. Throws TargetError.
    virtual const Client& client() = 0;

    // Whether an instance is mounted. Throws TargetError.
    virtual bool is_mounted(u32 inst) = 0;

    // The lines of the module's log ring, oldest first. Throws TargetError.
    virtual std::vector<LogEntry> log() = 0;

    // The content of a diagnostic attribute; none when there is no such file.
    virtual std::optional<std::string> attribute(const std::string& name) = 0;

    // The board's description: where the copies of each block lie. Throws TargetError when
    // there is none that this tool can read.
    virtual host::BoardFile board_file() = 0;

    // The copies on their media, with nothing written. Throws TargetError when the
    // board's description or its media cannot be read.
    virtual std::vector<PoolReport> inspect(const PoolFilter& filter) = 0;

    // Throws what a change would before its first byte is written, as far as that can be known
    // without asking the system, which writes whatever it is asked.
    virtual void rehearse() {}

    // Why media were not what the system asked of them, as far as it is known here.
    virtual std::vector<std::string> reasons() const { return {}; }

    // Ends the work, so that the next one finds what this one left. Throws WriteError when
    // what is mounted cannot be kept.
    virtual void finish() {}
};

inline constexpr char kDevicePath[] = "/dev/mac_mng";

// How a board file is used.
enum class LogLines { kNone, kUpToTheBoardsLevel, kAll };
struct BoardUse {
    LogLines lines;
    bool tell_mistakes;
    host::LockWait wait;
};

// A board file. The module is loaded over it when it is first needed and stays loaded
// as long as the target lives; its log lines go to standard error as far as they are
// wanted. Commands throw StartUpError, or the board's own error.
std::unique_ptr<Target> open_board(const std::filesystem::path& board_file, const BoardUse& use);

// One line on standard error for a board file with mistakes, which points to "board check".
void tell_mistakes(const host::BoardFile& file);

// Opens the control device. Throws TargetError.
std::unique_ptr<Target> open_device(const std::filesystem::path& device);

// The status of a command from what ioctl() gave: the C library turns results
// from -4095 to -1 into errno.
u32 ioctl_status(int result, int error);

}  // namespace macctl

#endif
