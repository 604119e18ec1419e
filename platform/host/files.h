// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Files: read whole, and replaced whole or not at all.
#ifndef PLATFORM_HOST_FILES_H
#define PLATFORM_HOST_FILES_H

#include <sys/stat.h>

#include <filesystem>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/host/uninterrupted.h"
#include "platform/types.h"

namespace host {

// What a file is, or would not do; the text names it.
class FileError : public std::runtime_error {
public:
    FileError(const std::string& text, std::string reason, int code = 0)
        : std::runtime_error(text), reason_(std::move(reason)), code_(code) {}
    // The part of the text that says why.
    const std::string& reason() const { return reason_; }
    // The C library's number for it, 0 where it has none.
    int code() const { return code_; }

private:
    std::string reason_;
    int code_;
};

class ReadError : public FileError {
public:
    ReadError(const std::string& name, const std::string& reason)
        : FileError(name + " cannot be read: " + reason, reason) {}
};

class WriteError : public FileError {
public:
    WriteError(const std::string& name, const std::string& reason, int code = 0)
        : FileError(name + " cannot be written: " + reason, reason, code) {}
};

// Whether an error of the C library says that this user may not.
bool is_forbidden(int error);

// What is taken in at most: of a text, and of a dump of the largest medium. A device or a pipe
// may have no end, and gives no more than a text.
inline constexpr size_t kTextMax = size_t{256} << 20;
inline constexpr size_t kDumpMax = size_t{1} << 30;

// Where bytes come from: a file that can be read again, or also a device or the pipe that a
// shell makes for "<(...)". A FIFO with a name would wait for its writer, and is refused.
enum class Source { kFile, kStream };

// All bytes. Throws ReadError, for a directory and for more than `limit` bytes as well.
std::string read_file(const std::filesystem::path& path, Source source, size_t limit);
// The same of an open descriptor, which errors call by that name.
std::string read_stream(int descriptor, const std::string& name, size_t limit);

// What a text is that is not UTF-8, as a sentence's end: "is UTF-16 text, expected UTF-8"; null
// when nothing speaks against it.
const char* encoding_problem(std::string_view text);

// A file that is written beside its place and put there by commit(), on the disk when that
// returns; until then, and for ever when anything goes wrong, what stood there stays and
// nothing is left beside it. Its mode stays, its owner where the caller may give files away;
// symbolic links are followed. Signals that would end the process wait; one that is killed
// outright leaves one file, which the next to write this one removes. A device or a FIFO is
// written to, and never replaced.
class NewFile {
public:
    // `mode`: of a file that was not there, less the caller's umask. Throws WriteError, as do
    // the others.
    explicit NewFile(const std::filesystem::path& path, mode_t mode = 0666);
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    void write(std::string_view bytes);
    void commit();

    // Throws WriteError where making one would, as far as that is known without trying.
    static void rehearse(const std::filesystem::path& path);

private:
    struct Rehearsal {};
    NewFile(const std::filesystem::path& path, Rehearsal);
    [[noreturn]] void fail(const std::string& reason) const;
    [[noreturn]] void fail(int error, const std::string& what = "") const;
    void follow_links();
    bool is_special() const { return old_ && !S_ISREG(old_->st_mode); }
    void open_special();
    void open_beside(mode_t mode);
    bool is_ours_alone() const;
    void remove_left_behind() const;
    void take_over_rights() const;
    void put_in_place();
    void close_descriptor();

    std::filesystem::path path_;      // as the caller calls it
    std::filesystem::path target_;    // behind the links
    std::filesystem::path beside_;    // empty for a special file
    std::optional<struct stat> old_;  // what stands there
    int descriptor_ = -1;
    std::optional<Uninterrupted> whole_;
};

// Throws WriteError.
void replace_file(const std::filesystem::path& path, std::string_view content);
void replace_file(const std::filesystem::path& path, std::span<const u8> content);

}  // namespace host

#endif
