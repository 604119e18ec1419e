// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/host/board.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <set>

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
    Opener(const BoardFile& file, bool in_memory, Access access, StoreWrapper wrap,
           std::map<std::string, MemoryStore*>* memory)
        : file_(file),
          in_memory_(in_memory),
          access_(access),
          wrap_(std::move(wrap)),
          memory_(memory) {}

    void check(const std::string& image, unsigned line, u64 size, bool at_least) {
        const std::filesystem::path path = file_.resolve(image);
        const std::string key = std::filesystem::weakly_canonical(path).string();
        // A partition may well hold records and the environment.
        if (!images_.insert(key).second && !is_mtd_path(image)) {
            file_.fail(line, "the image " + image + " serves two media");
        }
        if (in_memory_) return;
        struct stat status {};
        if (stat(path.c_str(), &status) != 0) {
            if (access_ == Access::kReadWrite) check_creatable(path, image, line);
            return;
        }
        if (is_mtd(status)) return;
        if (!S_ISREG(status.st_mode)) {
            file_.fail(line, "the image " + image +
                                 " is neither a regular file nor an MTD character device");
        }
        const u64 found = static_cast<u64>(status.st_size);
        if (at_least || access_ == Access::kReadOnly ? found < size : found != size) {
            file_.fail(line, "the image " + image + " has " + std::to_string(found) +
                                 " bytes, expected " + std::to_string(size));
        }
        close(open_file(path, image, line));
    }

    std::unique_ptr<NorDevice> nor(const std::string& image, unsigned line, u64 size, u32 erase,
                                   bool at_least) {
        const std::filesystem::path path = file_.resolve(image);
        if (!is_mtd_path(image)) {
            return std::make_unique<EmulatedNor>(store(image, line, size), erase);
        }
        MtdGeometry geometry{};
        std::string error;
        const bool writing = access_ == Access::kReadWrite;
        auto device = open_mtd(path.string(), writing, &geometry, &error);
        if (device == nullptr) file_.fail(line, image + ": " + error);
        if (writing && !geometry.writable)
            file_.fail(line, image + ": the MTD device is read-only");
        if (at_least || !writing ? geometry.size < size : geometry.size != size) {
            file_.fail(line, image + ": the MTD device has " + std::to_string(geometry.size) +
                                 " bytes, expected " + std::to_string(size));
        }
        if (writing && erase != 0 && geometry.erase_size != erase) {
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
            (*memory_)[image] = memory.get();
            if (wrap_) return wrap_(std::move(memory));
            return memory;
        }
        const std::filesystem::path path = file_.resolve(image);
        const bool missing = !std::filesystem::exists(path);
        if (missing && access_ == Access::kReadOnly) return std::make_unique<AbsentStore>(bytes);
        const int descriptor = open_file(path, image, line);
        struct stat status {};
        fstat(descriptor, &status);
        const u32 length = missing ? bytes : static_cast<u32>(status.st_size);
        auto store = std::make_unique<FileStore>(descriptor, length);
        if (missing && !store->write(0, std::vector<u8>(bytes, 0xff))) {
            file_.fail(line, "the image " + image + " cannot be written: " + strerror(errno));
        }
        return store;
    }

    bool is_mtd_path(const std::string& image) const {
        struct stat status {};
        return !in_memory_ && stat(file_.resolve(image).c_str(), &status) == 0 && is_mtd(status);
    }

    // Whether the MTD device opened last is NOR flash.
    bool nor_flags() const { return nor_flags_; }

private:
    static bool is_mtd(const struct stat& status) {
        return S_ISCHR(status.st_mode) && major(status.st_rdev) == kMtdMajor;
    }

    void check_creatable(const std::filesystem::path& path, const std::string& image,
                         unsigned line) const {
        if (errno == ENOENT &&
            access(path.parent_path().empty() ? "." : path.parent_path().c_str(), W_OK) == 0) {
            return;
        }
        file_.fail(line, "the image " + image + " cannot be made: " + strerror(errno));
    }

    int open_file(const std::filesystem::path& path, const std::string& image,
                  unsigned line) const {
        const bool writing = access_ == Access::kReadWrite;
        const int descriptor =
            ::open(path.c_str(), (writing ? O_RDWR | O_CREAT : O_RDONLY) | O_CLOEXEC, 0644);
        if (descriptor < 0) {
            file_.fail(line, "the image " + image +
                                 (writing ? " is not writable: " : " cannot be read: ") +
                                 strerror(errno));
        }
        return descriptor;
    }

    const BoardFile& file_;
    bool in_memory_;
    Access access_;
    StoreWrapper wrap_;
    std::map<std::string, MemoryStore*>* memory_;
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
    Opener opener(from, in_memory, access, std::move(wrap), &board->memory_);
    for (const FlashSpec& flash : from.flashes()) {
        opener.check(flash.image, flash.line, flash.size, false);
    }
    for (const EepromSpec& eeprom : from.eeproms()) {
        opener.check(eeprom.image, eeprom.line, eeprom.size, false);
    }
    if (from.env()) opener.check(from.env()->image, from.env()->line, from.env()->end(), true);
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
