// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// A board file: what its platform part says, checked, and its XML tree. Reading
// one touches no medium.
#ifndef PLATFORM_HOST_BOARD_FILE_H
#define PLATFORM_HOST_BOARD_FILE_H

#include <filesystem>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <vector>

#include "platform/common/crc16.h"
#include "platform/common/env_image.h"
#include "platform/host/board_error.h"

namespace host {

struct FlashSpec {
    unsigned line;
    u32 chip;
    std::optional<u32> inst;  // the one instance that it serves; none: all of them
    std::string image;
    std::string mtd;  // partition name; empty when not given
    u32 size;
    u32 erase;
};

struct EepromSpec {
    unsigned line;
    u32 chip;
    std::optional<u32> inst;
    std::string image;
    std::string nvmem;  // device name on a live system; empty when not given
    u32 size;
    u32 page;
};

// The medium that an instance finds under a chip number: the one that serves it alone, else
// the one that serves all; null without either.
template <typename Spec>
const Spec* find_medium(const std::vector<Spec>& media, u32 inst, u32 chip) {
    const Spec* for_all = nullptr;
    for (const Spec& spec : media) {
        if (spec.chip != chip) continue;
        if (spec.inst == inst) return &spec;
        if (!spec.inst) for_all = &spec;
    }
    return for_all;
}

struct EnvSpec {
    unsigned line;
    std::string image;
    std::string mtd;
    u32 size;  // of one copy
    bool redundant;
    u32 offset;                               // of the first copy
    u32 redundant_offset;                     // of the second copy
    std::optional<u32> erase;                 // a file with NOR rules
    std::optional<platform::EnvFlags> flags;  // what the flag byte means

    // Bytes that the image must have at least.
    u64 end() const { return u64{redundant ? std::max(offset, redundant_offset) : offset} + size; }
};

class BoardFile {
public:
    // Throws BoardError.
    static BoardFile read(const std::filesystem::path& path);
    static BoardFile parse(std::string text, const std::filesystem::path& path);

    const std::filesystem::path& path() const { return path_; }
    const std::string& name() const { return name_; }
    const platform::Crc16Variant& crc16() const { return *crc16_; }
    u32 log_level() const { return log_level_; }
    const std::vector<FlashSpec>& flashes() const { return flashes_; }
    const std::vector<EepromSpec>& eeproms() const { return eeproms_; }
    const std::optional<EnvSpec>& env() const { return env_; }

    // The <board> element.
    pugi::xml_node root() const { return document_.document_element(); }

    // The node below which an instance's tree stands; empty when it has none.
    pugi::xml_node instance_root(u32 inst) const;

    // Line of a node in the file, counted from 1.
    unsigned line_of(pugi::xml_node node) const;

    // An image path, relative to the file.
    std::filesystem::path resolve(const std::string& image) const;

    [[noreturn]] void fail(unsigned line, const std::string& reason) const;

private:
    BoardFile() = default;
    unsigned line_at(std::ptrdiff_t offset) const;
    [[noreturn]] void fail_at(pugi::xml_node node, const std::string& reason) const;
    void read_platform(pugi::xml_node platform);
    void read_flash(pugi::xml_node node);
    void read_eeprom(pugi::xml_node node);
    void read_env(pugi::xml_node node);
    void check_instances(pugi::xml_node board) const;
    void check_attributes(pugi::xml_node node, std::initializer_list<const char*> known) const;
    template <typename Spec>
    void add_medium(pugi::xml_node node, const Spec& spec, std::vector<Spec>* media) const;
    std::string text(pugi::xml_node node, const char* attribute) const;
    u32 number(pugi::xml_node node, const char* attribute, u32 least, u32 most) const;
    std::optional<u32> optional_number(pugi::xml_node node, const char* attribute, u32 least,
                                       u32 most) const;

    std::filesystem::path path_;
    std::string source_;
    std::vector<u32> line_ends_;  // where they stand, so that no line is counted from the top
    pugi::xml_document document_;
    std::string name_;
    const platform::Crc16Variant* crc16_ = nullptr;
    u32 log_level_ = 1;
    std::vector<FlashSpec> flashes_;
    std::vector<EepromSpec> eeproms_;
    std::optional<EnvSpec> env_;
};

// The number of a C literal of at most 32 bits; none for anything else.
std::optional<u32> parse_u32(const char* text);

}  // namespace host

#endif
