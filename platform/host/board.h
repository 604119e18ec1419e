// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// An open board: the media of a board file, ready for the services.
#ifndef PLATFORM_HOST_BOARD_H
#define PLATFORM_HOST_BOARD_H

#include <functional>
#include <map>
#include <memory>
#include <mutex>

#include "mac_mng/mac_mng.h"
#include "platform/host/board_file.h"
#include "platform/host/environment.h"
#include "platform/host/medium.h"
#include "platform/xml.h"

namespace host {

// What may be done to the images. Unless it is to look only, those that are not there are made.
enum class Access {
    kReadWrite,
    // The same, and an image that was cut short when it was made is made anew.
    kMend,
    // An image that this user may read and not write can be read; a write to it is refused.
    kWherePermitted,
    // To look only: nothing is made and nothing can be written; a medium whose image is
    // not there cannot be read, and an image may be larger than the board file says.
    kReadOnly,
    // The same, and an image has to be of the size that writing wants.
    kRehearse,
};

class Board {
public:
    // Opens every medium of a board file: a regular file (made, erased, when it is
    // missing), an MTD character device, or an EEPROM's file under /sys. Throws
    // BoardError before any of them is changed, and WriteError when one cannot be made.
    static std::unique_ptr<Board> open(BoardFile file, Access access = Access::kReadWrite);

    // The same over images in memory. Each goes through `wrap`, where one is given:
    // that is where tests cut the power.
    using StoreWrapper = std::function<std::unique_ptr<Store>(std::unique_ptr<Store>)>;
    static std::unique_ptr<Board> in_memory(BoardFile file, StoreWrapper wrap = {});

    const BoardFile& file() const { return file_; }
    const platform::Crc16& crc16() const { return crc16_; }

    // Null when the board has none of that number for the instance, or none at all.
    Medium* flash(u32 chip, u32 inst = MAC_DEFAULT_INSTANCE) const {
        return find(file_.flashes(), flashes_, inst, chip);
    }
    Medium* eeprom(u32 chip, u32 inst = MAC_DEFAULT_INSTANCE) const {
        return find(file_.eeproms(), eeproms_, inst, chip);
    }
    Environment* env() const { return env_.get(); }

    // The images that were made, and why others were not what was asked of them.
    const std::vector<std::string>& made() const { return made_; }
    const Reasons& refused() const { return refused_; }

    // The bytes of an image in memory, by its name in the board file.
    std::vector<u8>& memory(const std::string& image) { return memory_.at(image)->bytes(); }

    // The chain of a node's entries; built on first use, owned by the board.
    xml_entry* entries_of(pugi::xml_node node);

private:
    class Opener;
    using Media = std::vector<std::unique_ptr<Medium>>;  // in the order of the board file

    explicit Board(BoardFile file);
    static std::unique_ptr<Board> make(BoardFile file, bool in_memory, Access access,
                                       StoreWrapper wrap);
    void open_env(const EnvSpec& spec, Opener& opener);
    template <typename Spec>
    static Medium* find(const std::vector<Spec>& specs, const Media& media, u32 inst, u32 chip) {
        const Spec* const spec = find_medium(specs, inst, chip);
        return spec == nullptr ? nullptr : media[static_cast<size_t>(spec - specs.data())].get();
    }

    BoardFile file_;
    platform::Crc16 crc16_;
    Media flashes_;
    Media eeproms_;
    std::unique_ptr<Environment> env_;
    std::map<std::string, MemoryStore*> memory_;
    std::vector<std::string> made_;
    Reasons refused_;
    std::mutex entries_lock_;
    std::map<pugi::xml_node, std::vector<xml_entry>> entries_;
};

// The board that the services work on; null takes it away.
void attach(Board* board);
Board* attached_board();

}  // namespace host

#endif
