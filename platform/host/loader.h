// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Loads and unloads the module in this process, as the kernel's glue does: after
// a failed start-up and after shutdown nothing dangles, and loading again works.
#ifndef PLATFORM_HOST_LOADER_H
#define PLATFORM_HOST_LOADER_H

#include <filesystem>
#include <memory>

#include "platform/host/board.h"
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
    std::string log;  // as it is stored: most sessions only add to it
};
StoredState stored_state(const std::filesystem::path& board_file);
// The lines of a stored log.
std::vector<LogLine> parse_log(std::string_view stored);

// The lock file of a board (".lock"): one process at a time works on its media.
class BoardLock {
public:
    // Waits for it. Throws BoardError when the file cannot be made, unless it is to
    // look only: whoever may not write here cannot get in the way either.
    BoardLock(const BoardFile& file, Access access);
    ~BoardLock();
    BoardLock(const BoardLock&) = delete;
    BoardLock& operator=(const BoardLock&) = delete;

private:
    int descriptor_;
};

// A board file in use by this process alone. Which instances are mounted, and the
// module's log, last from one session to the next, as they would on a device that
// stays up; both are kept beside the board file (".state"), under its lock.
class Session {
public:
    // Waits for the board's lock; throws BoardError.
    explicit Session(BoardFile file);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    const Board& board() const { return *board_; }
    const Module& module() const { return *module_; }

private:
    void restore();
    void remember() const;

    std::filesystem::path state_path_;
    std::unique_ptr<BoardLock> lock_;
    std::unique_ptr<Board> board_;
    StoredState before_;
    std::unique_ptr<Module> module_;
};

}  // namespace host

#endif
