// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/live_board.h"

#include <fmt/format.h>

#include <cstring>
#include <fstream>
#include <sstream>

#include "platform/common/board_tree.h"
#include "platform/host/files.h"
#include "tools/macctl/board_compile.h"
#include "tools/macctl/target.h"

extern "C" {
#include <libfdt.h>
}

namespace macctl {

namespace {

namespace fs = std::filesystem;

constexpr char kBoardParameter[] = "/sys/module/mac_platform/parameters/board";
constexpr char kNvmemDevices[] = "/sys/bus/nvmem/devices";
constexpr char kFirmware[] = "/lib/firmware/";
// What cannot be opened, so that reading the medium fails and says so.
constexpr char kAbsent[] = "/dev/mac_mng-absent/";

void add_children(const void* blob, int parent, pugi::xml_node element) {
    int property = 0;
    fdt_for_each_property_offset(property, blob, parent) {
        const char* name = nullptr;
        int length = 0;
        const void* const value = fdt_getprop_by_offset(blob, property, &name, &length);
        if (value == nullptr) continue;
        const auto* const text = static_cast<const char*>(value);
        if (std::strcmp(name, BOARD_TREE_TEXT) == 0) {
            element.text().set(text);
        } else {
            element.append_attribute(name).set_value(text);
        }
    }
    int child = 0;
    fdt_for_each_subnode(child, blob, parent) {
        const std::string name = fdt_get_name(blob, child, nullptr);
        add_children(blob, child, element.append_child(name.substr(0, name.find('@')).c_str()));
    }
}

// The character device of an MTD partition, by its name.
std::string mtd_device(const std::string& partition) {
    std::ifstream table("/proc/mtd");
    for (std::string line; std::getline(table, line);) {
        const size_t colon = line.find(':');
        const size_t quote = line.find('"');
        if (colon == std::string::npos || quote == std::string::npos) continue;
        if (line.substr(quote + 1, line.rfind('"') - quote - 1) == partition) {
            return "/dev/" + line.substr(0, colon);
        }
    }
    return kAbsent + partition;
}

// The file of a chip: its nvmem device, with or without the number that the kernel
// appended, or the file in its own folder.
std::string chip_file(const std::string& name) {
    if (!name.empty() && name[0] == '/') return name;
    // As the kernel's service looks: the exact name first.
    const fs::path exact = fs::path(kNvmemDevices) / name / "nvmem";
    if (!name.empty() && fs::exists(exact)) return exact.string();
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(kNvmemDevices, ignored)) {
        const std::string found = entry.path().filename().string();
        const bool numbered =
            found.rfind(name, 0) == 0 &&
            found.find_first_not_of("0123456789", name.size()) == std::string::npos;
        if (!name.empty() && numbered) return (entry.path() / "nvmem").string();
    }
    const std::string own = "/sys/bus/i2c/devices/" + name + "/eeprom";
    return fs::exists(own) ? own : kAbsent + name;
}

void set_image(pugi::xml_node medium, const std::string& image) {
    medium.remove_attribute("image");
    medium.append_attribute("image").set_value(image.c_str());
}

std::vector<u8> read_blob(const fs::path& path) {
    try {
        const std::string content = host::read_file(path, host::Source::kFile, host::kTextMax);
        return {content.begin(), content.end()};
    } catch (const host::ReadError& error) {
        throw TargetError(fmt::format("{}; it says where the records lie", error.what()));
    }
}

}  // namespace

std::string decompile_board(const std::vector<u8>& blob) {
    board_tree tree{};
    if (board_tree_open(&tree, blob.data(), static_cast<u32>(blob.size())) != 0) return "";
    pugi::xml_document document;
    add_children(blob.data(), 0, document.append_child("board"));
    std::ostringstream text;
    document.save(text);
    return text.str();
}

host::BoardFile live_board() {
    std::string name = kBoardFirmware;
    std::ifstream parameter(kBoardParameter);
    std::getline(parameter, name);
    const fs::path path = kFirmware + (name.empty() ? kBoardFirmware : name);
    const std::string text = decompile_board(read_blob(path));
    if (text.empty()) throw TargetError(path.string() + " is no compiled board file");
    pugi::xml_document document;
    document.load_string(text.c_str());
    for (pugi::xml_node medium : document.document_element().child("platform").children()) {
        const bool is_chip = std::strcmp(medium.name(), "eeprom") == 0;
        set_image(medium, is_chip ? chip_file(medium.attribute("nvmem").value())
                                  : mtd_device(medium.attribute("mtd").value()));
    }
    std::ostringstream live;
    document.save(live);
    return host::BoardFile::parse(live.str(), path);
}

}  // namespace macctl
