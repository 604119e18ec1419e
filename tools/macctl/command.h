// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// What every command of macctl is made of: what was asked for, what it works on, and
// a result that reads as text or as JSON.
#ifndef TOOLS_MACCTL_COMMAND_H
#define TOOLS_MACCTL_COMMAND_H

#include "tools/macctl/target.h"
#include "tools/macctl/value.h"

namespace macctl {

enum Exit {
    kExitDone = 0,
    kExitUsage = 1,
    kExitRefused = 2,
    kExitNotFound = 3,
    kExitDegraded = 4,
    kExitLost = 5,
    kExitRepaired = 6,
    kExitNotWritten = 7,
    kExitBlank = 8,
    kExitUnusable = 9,
    kExitFile = 10,
};

// The table of macctl(8).
struct ExitRow {
    Exit exit;
    const char* meaning;
};
inline constexpr ExitRow kExitTable[] = {
    {kExitDone, "done"},
    {kExitUsage, "the command line is wrong"},
    {kExitRefused, "the system refused, or a board file has errors"},
    {kExitNotFound, "no such block, instance, attribute or record"},
    {kExitDegraded, "a copy is no good, and the block is there"},
    {kExitLost, "no copy of a block is good"},
    {kExitRepaired, "something was repaired"},
    {kExitNotWritten,
     "nothing, or not all, was written: to the media, to a file, or to standard output; also "
     "where writing needs --yes"},
    {kExitBlank,
     "nothing was ever written where a block is to be. A power cut while the erase block of both "
     "copies is erased looks the same, so this is no success; before programming, "
     "\"check --allow-blank\" makes it one"},
    {kExitUnusable, "the board file, one of its media, or the device cannot be used"},
    {kExitFile, "another file cannot be read"},
};

// The command cannot be done.
class Failure : public std::runtime_error {
public:
    Failure(Exit exit, const std::string& text) : std::runtime_error(text), exit_(exit) {}
    Failure(Exit exit, const std::string& text, u32 status)
        : std::runtime_error(text), exit_(exit), status_(status) {}
    Exit exit() const { return exit_; }
    std::optional<u32> status() const { return status_; }

private:
    Exit exit_;
    std::optional<u32> status_;
};

// What a command gives back: text for people, data for programs, the exit status.
struct Result {
    std::string text;
    Value data = Value::object();
    int exit = kExitDone;
    bool acknowledges = false;  // the text says what was done, and --quiet leaves it out
};

struct Options {
    std::string board;
    std::string device;
    bool json = false;
    bool json_line = false;
    bool no_header = false;
    bool verbose = false;
    bool yes = false;
    bool dry_run = false;
    bool follow = false;
    bool strict = false;
    bool force = false;
    bool quiet = false;
    bool allow_blank = false;
    std::optional<u32> inst;
    std::optional<u32> type;
    std::optional<u32> num;
    std::optional<u32> wait;  // seconds for the board's lock
    MacAddress address{};
    std::string name;        // attribute, shell, ...
    std::string file;        // input or output
    std::string format;      // of a list or a record
    std::string crc16;       // CRC-16 variant
    std::string interfaces;  // names for .link files
    std::string columns;     // of a table
    std::string colour;      // "auto", "always", "never"
    std::string directory;   // where files go
    std::string svg;
    u32 offset = 0;
    std::vector<std::string> words;  // of the command that help is wanted for
    bool manual = false;

    u32 instance() const { return inst.value_or(0xffffffff); }
    Pool pool() const { return {instance(), type.value_or(0)}; }
    PoolFilter filter() const { return {inst, type}; }
};

class Context {
public:
    explicit Context(const Options& given) : options(given) {}

    // The device is the default on a system that has it. Throws TargetError.
    Target& target();
    // The board file that was named. Throws TargetError.
    const std::string& board() const;
    // The same, read; what is wrong with it is told. Throws BoardError.
    host::BoardFile board_file() const;

    // How the board's lock is waited for.
    host::LockWait lock_wait() const;

    // What is wrong with the board file is what the command prints.
    void leave_mistakes_to_command() { tell_mistakes_ = false; }

    // After the command has run: the board is free for others, and what is to be known of it is
    // told. Throws what Target::finish() throws.
    void finish();
    // "; the image e.bin is not writable: ...", or nothing: why the system could not go on.
    std::string reasons() const;

    const Options& options;

private:
    BoardUse use() const;

    std::unique_ptr<Target> target_;
    bool tell_mistakes_ = true;
};

using Command = Result (*)(Context& context);

// Turns a refusal of the system into a Failure that says what, where and why.
void must(Context& context, const std::string& what, u32 status);
// The status with its reason: of a block that is not there, whether the board does not
// configure it, or its instance is not mounted.
std::string describe_refusal(Context& context, u32 status);
// The same for blocks that a board does not have, by the type and instance that were asked for.
[[noreturn]] void refuse_absent(Context& context, const std::string& what);
// The exit status for a status of the system.
Exit exit_for(u32 status);

// "instance 0xffffffff type 0"; how a block is called in every message.
std::string pool_name(u32 inst, u32 type);
std::string instance_name(u32 inst);
// "00:11:22:33:44:00 count 8".
std::string block_words(const MacAddress& base, u32 num);
Value block_value(const MacAddress& base, u32 num);

// What --json prints: the one form of results and errors, its version with it.
Value answer(const std::string& command, int exit, const char* kind, Value content);

// Does something with an instance mounted, and leaves it as it was.
template <typename Action>
u32 with_mounted(const Client& client, u32 inst, Action action) {
    // Mounting what is mounted already is refused, and then it stays.
    const bool mounted_here = inst != 0xffffffff && client.init(inst) == 0;
    const u32 status = action();
    if (mounted_here) (void)client.deinit(inst);
    return status;
}

}  // namespace macctl

#endif
