// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/host/files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>
#include <utility>

namespace host {

namespace {

namespace fs = std::filesystem;

constexpr long kPipeFilesystem = 0x50495045;  // PIPEFS_MAGIC: pipes without a name
constexpr size_t kFirstPart = 4096;
constexpr size_t kPart = size_t{1} << 20;  // between two looks at signals
constexpr int kLinksMax = 40;
constexpr size_t kNameMax = 255;
constexpr char kBesideEnd[] = ".mac_mng-new";
constexpr char kNoFileBeside[] = "no file can be made in its folder: ";
constexpr std::chrono::milliseconds kPause{2};

// A descriptor that closes itself.
class Descriptor {
public:
    Descriptor(const fs::path& path, int flags)
        : number_(::open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY)) {}
    ~Descriptor() {
        if (number_ >= 0) close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int number() const { return number_; }
    bool is_open() const { return number_ >= 0; }

private:
    int number_;
};

// Why bytes are not taken from what was opened; null when they are.
const char* source_problem(int descriptor, const struct stat& status, Source source) {
    if (S_ISREG(status.st_mode)) return nullptr;
    if (S_ISDIR(status.st_mode)) return "it is a directory";
    struct statfs filesystem {};
    if (S_ISFIFO(status.st_mode) &&
        (fstatfs(descriptor, &filesystem) != 0 || filesystem.f_type != kPipeFilesystem)) {
        return "it is a FIFO";
    }
    return source == Source::kFile ? "it is no regular file" : nullptr;
}

// Whether the lock is held now. Where a file system knows no locks, nobody else has it.
bool lock_now(int descriptor) {
    return flock(descriptor, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

// Whether a path still names an open file.
bool names(const fs::path& path, int descriptor) {
    struct stat named {};
    struct stat opened {};
    return lstat(path.c_str(), &named) == 0 && fstat(descriptor, &opened) == 0 &&
           named.st_ino == opened.st_ino && named.st_dev == opened.st_dev;
}

fs::path folder_of(const fs::path& path) {
    return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

// Beside a file, hidden, and under a name that its next writer finds.
fs::path name_beside(const fs::path& path) {
    std::string name = ".";
    name.append(path.filename().string(), 0, kNameMax - sizeof(kBesideEnd)).append(kBesideEnd);
    return folder_of(path) / name;
}

// Whether this user may, as the one that the program runs as.
bool may(const fs::path& path, int mode) {
    return faccessat(AT_FDCWD, path.c_str(), mode, AT_EACCESS) == 0;
}

// Some file systems do not synchronise what needs none (EINVAL).
bool synchronise(int descriptor) { return fsync(descriptor) == 0 || errno == EINVAL; }

}  // namespace

bool is_forbidden(int error) { return error == EACCES || error == EPERM || error == EROFS; }

std::string read_stream(int descriptor, const std::string& name, size_t limit) {
    std::string content;
    size_t length = 0;
    for (;;) {
        if (length == content.size()) content.resize(std::max(kFirstPart, 2 * length));
        const ssize_t got = ::read(descriptor, content.data() + length, content.size() - length);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) throw ReadError(name, strerror(errno));
        length += static_cast<size_t>(got);
        if (length > limit) {
            throw ReadError(name, "it has more than " + std::to_string(limit) + " bytes");
        }
        if (got == 0) break;
    }
    content.resize(length);
    return content;
}

std::string read_file(const fs::path& path, Source source, size_t limit) {
    // A FIFO without a writer must not keep us here.
    const Descriptor file(path, O_RDONLY | O_NONBLOCK);
    struct stat status {};
    if (!file.is_open() || fstat(file.number(), &status) != 0) {
        throw ReadError(path, strerror(errno));
    }
    if (const char* const problem = source_problem(file.number(), status, source)) {
        throw ReadError(path, problem);
    }
    if (S_ISREG(status.st_mode)) return read_stream(file.number(), path.string(), limit);
    fcntl(file.number(), F_SETFL, O_RDONLY);
    return read_stream(file.number(), path.string(), std::min(limit, kTextMax));
}

const char* encoding_problem(std::string_view text) {
    using namespace std::string_view_literals;
    if (text.starts_with("\xff\xfe\0\0"sv) || text.starts_with("\0\0\xfe\xff"sv)) {
        return "is UTF-32 text, expected UTF-8";
    }
    if (text.starts_with("\xff\xfe"sv) || text.starts_with("\xfe\xff"sv)) {
        return "is UTF-16 text, expected UTF-8";
    }
    return nullptr;
}

// What can be seen before anything is made.
NewFile::NewFile(const fs::path& path, Rehearsal) : path_(path), target_(path) {
    struct stat old {};
    const bool exists = stat(path.c_str(), &old) == 0;
    if (!exists && errno != ENOENT) fail(errno);
    if (exists && S_ISDIR(old.st_mode)) fail("it is a directory");
    // Who may make files beside it could replace even one that is closed to writing.
    if (exists && !may(path, W_OK)) fail(errno);
    if (exists) old_ = old;
    if (!is_special()) follow_links();
}

NewFile::NewFile(const fs::path& path, mode_t mode) : NewFile(path, Rehearsal{}) {
    if (is_special()) {
        open_special();
    } else {
        open_beside(old_ ? 0600 : mode);
    }
}

void NewFile::rehearse(const fs::path& path) {
    const NewFile file(path, Rehearsal{});
    if (!file.is_special() && !may(folder_of(file.target_), W_OK | X_OK)) {
        file.fail(errno, kNoFileBeside);
    }
}

NewFile::~NewFile() {
    if (descriptor_ >= 0 && !beside_.empty()) unlink(beside_.c_str());
    close_descriptor();
}

void NewFile::fail(const std::string& reason) const { throw WriteError(path_, reason); }

void NewFile::fail(int error, const std::string& what) const {
    throw WriteError(path_, what + strerror(error), error);
}

void NewFile::close_descriptor() {
    if (descriptor_ >= 0) close(descriptor_);
    descriptor_ = -1;
    whole_.reset();
}

void NewFile::follow_links() {
    std::error_code error;
    for (int links = 0; fs::is_symlink(fs::symlink_status(target_, error)); ++links) {
        const fs::path next = fs::read_symlink(target_, error);
        if (error || links == kLinksMax) fail(error ? error.value() : ELOOP);
        target_ = folder_of(target_) / next;
    }
}

void NewFile::open_special() {
    descriptor_ = ::open(path_.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
    if (descriptor_ < 0) fail(errno);
}

// Its lock tells a file that is being written from one that was left behind.
void NewFile::open_beside(mode_t mode) {
    beside_ = name_beside(target_);
    for (;; std::this_thread::sleep_for(kPause)) {
        whole_.emplace();
        descriptor_ =
            ::open(beside_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
        if (is_ours_alone()) return;
        const int error = errno;
        const bool made = descriptor_ >= 0;
        close_descriptor();
        if (made) continue;
        if (error != EEXIST) {
            fail(error, kNoFileBeside);
        }
        remove_left_behind();
    }
}

bool NewFile::is_ours_alone() const {
    return descriptor_ >= 0 && lock_now(descriptor_) && names(beside_, descriptor_);
}

void NewFile::remove_left_behind() const {
    const Descriptor left(beside_, O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
    if (!left.is_open() && errno == ENOENT) return;
    const bool known = left.is_open();
    if (known && (!lock_now(left.number()) || !names(beside_, left.number()))) return;
    if (!known || (unlink(beside_.c_str()) != 0 && errno != ENOENT)) {
        fail(errno, beside_.string() + " is in the way: ");
    }
}

// The owner first: a change of owner takes the bits for set-id away.
void NewFile::take_over_rights() const {
    if (!old_) return;
    const bool given = fchown(descriptor_, old_->st_uid, old_->st_gid) == 0 ||
                       fchown(descriptor_, static_cast<uid_t>(-1), old_->st_gid) == 0;
    // What its group was allowed is not for ours.
    const mode_t kept = given ? 07777 : 0707;
    if (fchmod(descriptor_, old_->st_mode & kept) != 0) fail(errno);
}

void NewFile::write(std::string_view bytes) {
    while (!bytes.empty()) {
        if (whole_ && whole_->is_asked_to_end()) fail(EINTR);
        const size_t part = std::min(bytes.size(), kPart);
        const ssize_t moved = ::write(descriptor_, bytes.data(), part);
        if (moved < 0 && errno == EINTR) continue;
        if (moved < 0) fail(errno);
        bytes.remove_prefix(static_cast<size_t>(moved));
    }
}

void NewFile::put_in_place() {
    take_over_rights();
    if (!synchronise(descriptor_)) fail(errno);
    if (rename(beside_.c_str(), target_.c_str()) != 0) fail(errno);
    beside_.clear();
    // A folder that may be written and not be read cannot be synchronised.
    const Descriptor folder(folder_of(target_), O_RDONLY | O_DIRECTORY);
    if (folder.is_open() && !synchronise(folder.number())) fail(errno);
}

void NewFile::commit() {
    if (!beside_.empty()) put_in_place();
    const bool closed = close(std::exchange(descriptor_, -1)) == 0;
    whole_.reset();
    if (!closed) fail(errno);
}

void replace_file(const fs::path& path, std::string_view content) {
    NewFile file(path);
    file.write(content);
    file.commit();
}

void replace_file(const fs::path& path, std::span<const u8> content) {
    replace_file(path, {reinterpret_cast<const char*>(content.data()), content.size()});
}

}  // namespace host
