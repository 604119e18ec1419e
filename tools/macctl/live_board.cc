// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/live_board.h"

#include <fmt/format.h>

#include <algorithm>
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

bool has_bytes(const fs::path& file) {
    std::error_code ignored;
    return fs::is_regular_file(file, ignored) && fs::file_size(file, ignored) != 0;
}

// The folder of a chip's nvmem device, as the kernel's service looks for it: the exact
// name first, then with the number that the kernel appended. Empty where there is none.
fs::path nvmem_device(const std::string& name, const fs::path& devices) {
    std::error_code ignored;
    if (fs::exists(devices / name, ignored)) return devices / name;
    for (const auto& entry : fs::directory_iterator(devices, ignored)) {
        const std::string found = entry.path().filename().string();
        const bool numbered =
            found.rfind(name, 0) == 0 &&
            found.find_first_not_of("0123456789", name.size()) == std::string::npos;
        if (numbered) return entry.path();
    }
    return {};
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

std::string chip_file(const std::string& name, const fs::path& buses) {
    if (name.empty()) return kAbsent;
    if (name[0] == '/') return name;
    std::vector<fs::path> files = {buses / "i2c/devices" / name / "eeprom"};
    const fs::path device = nvmem_device(name, buses / "nvmem/devices");
    if (!device.empty()) {
        // Linux 4.7 to 5.9 gives the nvmem file no size; the chip's own, in the folder that
        // the device is in, has one everywhere.
        std::error_code ignored;
        const fs::path chip = fs::canonical(device, ignored).parent_path();
        files.insert(files.begin(), {device / "nvmem", chip / "eeprom"});
    }
    const auto found = std::find_if(files.begin(), files.end(), has_bytes);
    return found == files.end() ? kAbsent + name : found->string();
}

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
