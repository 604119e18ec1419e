// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Loads and unloads the module in this process, as the kernel's glue does: after
// a failed start-up and after shutdown nothing dangles, and loading again works.
#ifndef PLATFORM_HOST_LOADER_H
#define PLATFORM_HOST_LOADER_H

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include "platform/host/board.h"
#include "platform/host/files.h"
#include "platform/host/log_service.h"

namespace host {

// The module, loaded over an attached board until it goes out of scope.
class Module {
public:
    explicit Module(Board& board);
    ~Module();
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    // Result of start-up; unless it is 0 the module is not loaded.
    u32 status() const { return status_; }

    // Result of loading the configuration listing's content; a board that has
    // none gives 0.
    u32 listing_status() const { return listing_status_; }

private:
    u32 status_;
    u32 listing_status_ = 0;
};

// What a board remembers from one session to the next.
struct StoredState {
    std::vector<u32> mounted;
    std::string log;      // as it is stored: most sessions only add to it
    std::string content;  // all of it
};
// Throws ReadError.
StoredState stored_state(const std::filesystem::path& board_file);
// The lines of a stored log.
std::vector<LogLine> parse_log(std::string_view stored);

// How a lock that others hold is waited for.
struct LockWait {
    std::optional<u32> seconds;                    // at most; none: for ever
    std::function<void(const std::string&)> tell;  // told once, when it takes a second
};

// The board is in use by others.
class BoardBusy : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The lock file of a board (".lock"): one process at a time works on its media.
class BoardLock {
public:
    // Waits for it. Throws BoardBusy, and BoardError when the file cannot be used, unless it
    // is to look only: then problem() says why it is not held.
    BoardLock(const BoardFile& file, Access access, const LockWait& wait = {});
    ~BoardLock();
    BoardLock(const BoardLock&) = delete;
    BoardLock& operator=(const BoardLock&) = delete;

    // Empty when it is held.
    const std::string& problem() const { return problem_; }

private:
    void open_file(const std::string& path);
    void take(const std::string& path, const LockWait& wait) const;

    int descriptor_ = -1;
    std::string problem_;
};

// A board file in use by this process alone. Which instances are mounted, and the
// module's log, last from one session to the next, as they would on a device that
// stays up; both are kept beside the board file (".state"), under its lock. Where this user
// may write neither lock nor images, blocks can still be read.
class Session {
public:
    // Waits for the board's lock; throws BoardError, BoardBusy, ReadError, WriteError.
    explicit Session(BoardFile file, const LockWait& wait = {});
    // Remembers what it can, unless finish() did.
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Writes down what the next session is to know. Throws WriteError; whether more than lines
    // of the log is lost then is what mounts_changed() says.
    void finish();
    bool mounts_changed() const;

    // Why media were not what was asked of them.
    Reasons refused() const;

    // Whether an earlier session left something.
    bool is_continued() const { return !before_.content.empty(); }

    const Board& board() const { return *board_; }
    const Module& module() const { return *module_; }

private:
    void restore();
    std::string state() const;

    std::filesystem::path state_path_;
    std::unique_ptr<BoardLock> lock_;
    std::unique_ptr<Board> board_;
    StoredState before_;
    std::unique_ptr<Module> module_;
    std::string mounted_;  // when the session began
    bool finished_ = false;
};

}  // namespace host

#endif
