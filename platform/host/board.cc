// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/host/board.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <set>

#include "platform/host/images.h"
#include "platform/host/mtd_device.h"

namespace host {

namespace {

constexpr unsigned kMtdMajor = 90;

Board* current_board = nullptr;

}  // namespace

void attach(Board* board) { current_board = board; }
Board* attached_board() { return current_board; }

// Opens the images of a board in two passes: the first checks all of them, the
// second makes the missing ones.
class Board::Opener {
public:
    Opener(Board* board, bool in_memory, Access access, StoreWrapper wrap)
        : board_(board),
          file_(board->file_),
          in_memory_(in_memory),
          access_(access),
          wrap_(std::move(wrap)) {}

    void check(const ImageSpec& spec) {
        const std::string& image = spec.image;
        const std::filesystem::path path = file_.resolve(image);
        const std::string key = std::filesystem::weakly_canonical(path).string();
        // A partition may well hold records and the environment.
        if (!images_.insert(key).second && !is_mtd_path(image)) {
            file_.fail(spec.line, "the image " + image + " serves two media");
        }
        if (in_memory_) return;
        struct stat status {};
        if (stat(path.c_str(), &status) != 0) {
            if (access_ != Access::kReadOnly) check_creatable(path, spec);
            return;
        }
        if (is_mtd(status)) return;
        if (!S_ISREG(status.st_mode)) {
            file_.fail(spec.line, "the image " + image +
                                      " is neither a regular file nor an MTD character device");
        }
        check_size(spec, static_cast<u64>(status.st_size));
        close(open_file(path, image, spec.line).descriptor);
    }

    std::unique_ptr<NorDevice> nor(const std::string& image, unsigned line, u64 size, u32 erase,
                                   bool at_least) {
        const std::filesystem::path path = file_.resolve(image);
        if (!is_mtd_path(image)) {
            return std::make_unique<EmulatedNor>(store(image, line, size), erase);
        }
        MtdGeometry geometry{};
        std::string error;
        auto device = open_mtd(path.string(), writing(), &geometry, &error);
        if (device == nullptr) file_.fail(line, image + ": " + error);
        if (writing() && !geometry.writable)
            file_.fail(line, image + ": the MTD device is read-only");
        if (at_least || access_ == Access::kReadOnly ? geometry.size < size
                                                     : geometry.size != size) {
            file_.fail(line, image + ": the MTD device has " + std::to_string(geometry.size) +
                                 " bytes, expected " + std::to_string(size));
        }
        if (writing() && erase != 0 && geometry.erase_size != erase) {
            file_.fail(line, image + ": the MTD device erases " +
                                 std::to_string(geometry.erase_size) + " bytes at once, expected " +
                                 std::to_string(erase));
        }
        nor_flags_ = geometry.nor;
        return device;
    }

    std::unique_ptr<Store> store(const std::string& image, unsigned line, u64 size) {
        const u32 bytes = static_cast<u32>(size);
        if (in_memory_) {
            auto memory = std::make_unique<MemoryStore>(bytes);
            board_->memory_[image] = memory.get();
            if (wrap_) return wrap_(std::move(memory));
            return memory;
        }
        const std::filesystem::path path = file_.resolve(image);
        const ImageSpec spec = {image, line, size, false};
        const bool missing = !std::filesystem::exists(path);
        if (missing && !writing()) {
            return std::make_unique<AbsentStore>(bytes, "the image " + image + " is not there",
                                                 &board_->refused_);
        }
        if (missing || is_to_be_mended(spec)) {
            make_image(file_, spec);
            board_->made_.push_back(image);
        }
        const Opened opened = open_file(path, image, line);
        struct stat status {};
        fstat(opened.descriptor, &status);
        auto store =
            std::make_unique<FileStore>(opened.descriptor, static_cast<u32>(status.st_size));
        if (opened.refusal.empty()) return store;
        return std::make_unique<ReadOnlyStore>(std::move(store), opened.refusal, &board_->refused_);
    }

    bool is_mtd_path(const std::string& image) const {
        struct stat status {};
        return !in_memory_ && stat(file_.resolve(image).c_str(), &status) == 0 && is_mtd(status);
    }

    // Whether the MTD device opened last is NOR flash.
    bool nor_flags() const { return nor_flags_; }

private:
    struct Opened {
        int descriptor;
        std::string refusal;  // why it cannot be written; empty when it can be
    };

    static bool is_mtd(const struct stat& status) {
        return S_ISCHR(status.st_mode) && major(status.st_rdev) == kMtdMajor;
    }

    bool writing() const { return access_ != Access::kReadOnly && access_ != Access::kRehearse; }

    bool is_to_be_mended(const ImageSpec& spec) const {
        return access_ == Access::kMend && image_state(file_, spec) == ImageState::kCutShort;
    }

    void check_size(const ImageSpec& spec, u64 found) const {
        const bool enough = spec.at_least || access_ == Access::kReadOnly;
        if (enough ? found >= spec.size : found == spec.size) return;
        const bool cut_short = image_state(file_, spec) == ImageState::kCutShort;
        if (cut_short && access_ == Access::kMend) return;
        file_.fail(spec.line,
                   "the image " + spec.image + " has " + std::to_string(found) +
                       " bytes, expected " + std::to_string(spec.size) +
                       (cut_short ? "; it was cut short when it was made: \"board init\" makes it "
                                    "anew"
                                  : ""));
    }

    void check_creatable(const std::filesystem::path& path, const ImageSpec& spec) const {
        if (errno == ENOENT &&
            access(path.parent_path().empty() ? "." : path.parent_path().c_str(), W_OK) == 0) {
            return;
        }
        file_.fail(spec.line, "the image " + spec.image + " cannot be made: " + strerror(errno));
    }

    Opened open_file(const std::filesystem::path& path, const std::string& image,
                     unsigned line) const {
        const std::string what = "the image " + image;
        std::string refusal = what + " is open for reading only";
        if (writing()) {
            const int descriptor = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
            if (descriptor >= 0) return {descriptor, ""};
            refusal = what + " is not writable: " + strerror(errno);
            if (!is_forbidden(errno) || access_ != Access::kWherePermitted) {
                file_.fail(line, refusal);
            }
        }
        const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (descriptor < 0) file_.fail(line, what + " cannot be read: " + strerror(errno));
        return {descriptor, refusal};
    }

    Board* board_;
    const BoardFile& file_;
    bool in_memory_;
    Access access_;
    StoreWrapper wrap_;
    std::set<std::string> images_;
    bool nor_flags_ = false;
};

Board::Board(BoardFile file) : file_(std::move(file)) { crc16_.select(file_.crc16()); }

std::unique_ptr<Board> Board::open(BoardFile file, Access access) {
    return make(std::move(file), false, access, {});
}

std::unique_ptr<Board> Board::in_memory(BoardFile file, StoreWrapper wrap) {
    return make(std::move(file), true, Access::kReadWrite, std::move(wrap));
}

std::unique_ptr<Board> Board::make(BoardFile file, bool in_memory, Access access,
                                   StoreWrapper wrap) {
    std::unique_ptr<Board> board(new Board(std::move(file)));
    const BoardFile& from = board->file_;
    Opener opener(board.get(), in_memory, access, std::move(wrap));
    for (const ImageSpec& spec : image_specs(from)) opener.check(spec);
    for (const FlashSpec& flash : from.flashes()) {
        board->flashes_.push_back(std::make_unique<FlashMedium>(
            opener.nor(flash.image, flash.line, flash.size, flash.erase, false)));
    }
    for (const EepromSpec& eeprom : from.eeproms()) {
        board->eeproms_.push_back(std::make_unique<EepromMedium>(
            opener.store(eeprom.image, eeprom.line, eeprom.size), eeprom.page));
    }
    if (from.env()) board->open_env(*from.env(), opener);
    return board;
}

void Board::open_env(const EnvSpec& spec, Opener& opener) {
    const bool live = opener.is_mtd_path(spec.image);
    std::unique_ptr<Medium> medium;
    if (live || spec.erase) {
        medium = std::make_unique<FlashMedium>(
            opener.nor(spec.image, spec.line, spec.end(), spec.erase.value_or(0), true));
    } else {
        // A plain file is written in whole: one page as large as a copy.
        medium = std::make_unique<EepromMedium>(opener.store(spec.image, spec.line, spec.end()),
                                                spec.size);
    }
    const bool boolean = live && opener.nor_flags();
    platform::EnvFlags flags = platform::EnvFlags::kNone;
    if (spec.redundant) {
        flags = spec.flags.value_or(boolean ? platform::EnvFlags::kBoolean
                                            : platform::EnvFlags::kCounter);
    }
    const EnvGeometry geometry = {spec.size, {spec.offset, spec.redundant_offset}, flags, live};
    env_ = std::make_unique<Environment>(std::move(medium), geometry);
}

xml_entry* Board::entries_of(pugi::xml_node node) {
    const std::lock_guard guard(entries_lock_);
    std::vector<xml_entry>& chain = entries_[node];
    if (chain.empty()) {
        for (const pugi::xml_node child : node.children()) {
            if (child.type() == pugi::node_element) {
                chain.push_back({nullptr, child.internal_object()});
            }
        }
        for (size_t i = 1; i < chain.size(); ++i) chain[i - 1].next = &chain[i];
    }
    return chain.empty() ? nullptr : chain.data();
}

}  // namespace host
