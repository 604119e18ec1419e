// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/host/board_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <set>
#include <sstream>

#include "mac_mng/mac_mng.h"
#include "platform/host/files.h"

namespace host {

namespace {

constexpr u32 kMediumMax = 0x40000000;
constexpr u32 kLogLevelMax = 3;

bool same_text(const char* left, const char* right) { return std::strcmp(left, right) == 0; }

std::vector<u32> line_ends_of(const std::string& text) {
    std::vector<u32> ends;
    for (size_t at = 0; (at = text.find('\n', at)) != std::string::npos; ++at) {
        ends.push_back(static_cast<u32>(at));
    }
    return ends;
}

}  // namespace

std::optional<u32> parse_u32(const char* text) {
    // strtoull would take signs and blanks as well.
    if (*text < '0' || *text > '9') return std::nullopt;
    char* end = nullptr;
    errno = 0;
    const unsigned long long value = std::strtoull(text, &end, 0);
    if (errno != 0 || *end != '\0' || value > 0xffffffff) return std::nullopt;
    return static_cast<u32>(value);
}

BoardFile BoardFile::read(const std::filesystem::path& path) {
    std::string text;
    try {
        text = read_file(path, Source::kFile, kTextMax);
    } catch (const ReadError& error) {
        throw BoardError(path.string(), 1, "cannot be read: " + error.reason());
    }
    return parse(std::move(text), path);
}

BoardFile BoardFile::parse(std::string text, const std::filesystem::path& path) {
    BoardFile file;
    file.path_ = path;
    file.source_ = std::move(text);
    if (const char* const problem = encoding_problem(file.source_)) file.fail(1, problem);
    file.line_ends_ = line_ends_of(file.source_);
    // No other encoding: offsets, and so lines, are those of the text as it is.
    const pugi::xml_parse_result result = file.document_.load_buffer(
        file.source_.data(), file.source_.size(), pugi::parse_default, pugi::encoding_utf8);
    if (!result) {
        file.fail(file.line_at(result.offset),
                  std::string("not well-formed XML: ") + result.description());
    }
    const pugi::xml_node board = file.document_.document_element();
    if (!same_text(board.name(), "board")) {
        file.fail_at(board,
                     std::string("the root element is <") + board.name() + ">, expected <board>");
    }
    file.name_ = board.attribute("name").as_string("board");
    const pugi::xml_node platform = board.child("platform");
    if (!platform) file.fail_at(board, "<board> has no <platform>");
    file.read_platform(platform);
    file.check_instances(board);
    return file;
}

void BoardFile::fail(unsigned line, const std::string& reason) const {
    throw BoardError(path_.string(), line, reason);
}

void BoardFile::fail_at(pugi::xml_node node, const std::string& reason) const {
    fail(line_of(node), reason);
}

unsigned BoardFile::line_at(std::ptrdiff_t offset) const {
    const auto end = std::lower_bound(line_ends_.begin(), line_ends_.end(), offset);
    return static_cast<unsigned>(1 + (end - line_ends_.begin()));
}

unsigned BoardFile::line_of(pugi::xml_node node) const { return line_at(node.offset_debug()); }

std::filesystem::path BoardFile::resolve(const std::string& image) const {
    return path_.parent_path() / image;
}

pugi::xml_node BoardFile::instance_root(u32 inst) const {
    const pugi::xml_node board = document_.document_element();
    if (inst == MAC_DEFAULT_INSTANCE) return board;
    return board.find_child([inst](pugi::xml_node node) {
        return same_text(node.name(), "instance") &&
               parse_u32(node.attribute("id").value()) == inst;
    });
}

void BoardFile::check_attributes(pugi::xml_node node,
                                 std::initializer_list<const char*> known) const {
    std::set<std::string> seen;
    for (const pugi::xml_attribute attribute : node.attributes()) {
        const bool is_known = std::any_of(known.begin(), known.end(), [&](const char* name) {
            return same_text(name, attribute.name());
        });
        const std::string where = std::string("<") + node.name() + ">";
        if (!is_known) fail_at(node, where + " knows no attribute \"" + attribute.name() + "\"");
        if (!seen.insert(attribute.name()).second) {
            fail_at(node, where + " has the attribute \"" + attribute.name() + "\" twice");
        }
    }
}

std::string BoardFile::text(pugi::xml_node node, const char* attribute) const {
    const char* const value = node.attribute(attribute).value();
    if (*value == '\0') {
        fail_at(node,
                std::string("<") + node.name() + "> lacks the attribute \"" + attribute + "\"");
    }
    return value;
}

u32 BoardFile::number(pugi::xml_node node, const char* attribute, u32 least, u32 most) const {
    const std::string value = text(node, attribute);
    const std::optional<u32> result = parse_u32(value.c_str());
    std::ostringstream expected;
    expected << std::showbase << "<" << node.name() << "> " << attribute << "=\"" << value
             << "\": expected a number from " << std::dec << least << " to " << std::hex << most;
    if (!result || *result < least || *result > most) fail_at(node, expected.str());
    return *result;
}

std::optional<u32> BoardFile::optional_number(pugi::xml_node node, const char* attribute, u32 least,
                                              u32 most) const {
    if (!node.attribute(attribute)) return std::nullopt;
    return number(node, attribute, least, most);
}

void BoardFile::read_platform(pugi::xml_node platform) {
    check_attributes(platform, {"crc16", "log_level"});
    const char* const crc16 = platform.attribute("crc16").as_string(platform::kCrc16Default);
    crc16_ = platform::crc16_find(crc16);
    if (crc16_ == nullptr) {
        fail_at(platform,
                std::string("crc16=\"") + crc16 + "\" is none of the 31 known CRC-16 variants");
    }
    log_level_ = optional_number(platform, "log_level", 0, kLogLevelMax).value_or(1);
    for (const pugi::xml_node node : platform.children()) {
        if (node.type() != pugi::node_element) continue;
        if (same_text(node.name(), "flash")) {
            read_flash(node);
        } else if (same_text(node.name(), "eeprom")) {
            read_eeprom(node);
        } else if (same_text(node.name(), "env")) {
            read_env(node);
        } else {
            fail_at(node, std::string("<platform> knows no <") + node.name() +
                              ">; expected <flash>, <eeprom> or <env>");
        }
    }
}

template <typename Spec>
void BoardFile::add_medium(pugi::xml_node node, const Spec& spec, std::vector<Spec>* media) const {
    for (const Spec& other : *media) {
        if (other.chip != spec.chip || other.inst != spec.inst) continue;
        std::ostringstream clash;
        clash << "two <" << node.name() << "> media have the chip number " << spec.chip;
        if (spec.inst) clash << " for instance " << std::showbase << std::hex << *spec.inst;
        clash << " (the other in line " << std::dec << other.line << ")";
        fail_at(node, clash.str());
    }
    media->push_back(spec);
}

void BoardFile::read_flash(pugi::xml_node node) {
    check_attributes(node, {"chip", "inst", "image", "mtd", "size", "erase"});
    const FlashSpec spec = {line_of(node),
                            number(node, "chip", 0, 0xffffffff),
                            optional_number(node, "inst", 0, 0xffffffff),
                            text(node, "image"),
                            node.attribute("mtd").value(),
                            number(node, "size", 1, kMediumMax),
                            number(node, "erase", 1, kMediumMax)};
    if (spec.size % spec.erase != 0) {
        fail_at(node, "<flash> size is no multiple of its erase block");
    }
    add_medium(node, spec, &flashes_);
}

void BoardFile::read_eeprom(pugi::xml_node node) {
    check_attributes(node, {"chip", "inst", "image", "nvmem", "size", "page"});
    const EepromSpec spec = {line_of(node),
                             number(node, "chip", 0, 0xffffffff),
                             optional_number(node, "inst", 0, 0xffffffff),
                             text(node, "image"),
                             node.attribute("nvmem").value(),
                             number(node, "size", 1, kMediumMax),
                             optional_number(node, "page", 1, 0x10000).value_or(1)};
    add_medium(node, spec, &eeproms_);
}

void BoardFile::read_env(pugi::xml_node node) {
    check_attributes(node, {"image", "mtd", "size", "redundant", "offset", "redundant_offset",
                            "erase", "flags"});
    if (env_) {
        fail_at(node, "a board has one <env>; the other is in line " + std::to_string(env_->line));
    }
    EnvSpec spec{};
    spec.line = line_of(node);
    spec.image = text(node, "image");
    spec.mtd = node.attribute("mtd").value();
    spec.size = number(node, "size", platform::kEnvSizeMin, kMediumMax);
    spec.redundant = optional_number(node, "redundant", 0, 1).value_or(0) == 1;
    spec.offset = optional_number(node, "offset", 0, kMediumMax).value_or(0);
    spec.redundant_offset =
        optional_number(node, "redundant_offset", 0, kMediumMax).value_or(spec.offset + spec.size);
    spec.erase = optional_number(node, "erase", 1, kMediumMax);
    if (const pugi::xml_attribute flags = node.attribute("flags")) {
        if (same_text(flags.value(), "counter")) {
            spec.flags = platform::EnvFlags::kCounter;
        } else if (same_text(flags.value(), "boolean")) {
            spec.flags = platform::EnvFlags::kBoolean;
        } else {
            fail_at(node, std::string("<env> flags=\"") + flags.value() +
                              "\": expected \"counter\" or \"boolean\"");
        }
    }
    const u64 first = spec.offset;
    const u64 second = spec.redundant_offset;
    if (spec.redundant && first < second + spec.size && second < first + spec.size) {
        fail_at(node, "the two copies of <env> overlap");
    }
    env_ = spec;
}

void BoardFile::check_instances(pugi::xml_node board) const {
    std::set<u32> seen;
    for (const pugi::xml_node node : board.children()) {
        if (node.type() != pugi::node_element) continue;
        if (same_text(node.name(), "platform")) {
            if (node != board.child("platform")) fail_at(node, "<board> has two <platform>");
        } else if (same_text(node.name(), "instance")) {
            check_attributes(node, {"id"});
            const u32 id = number(node, "id", 0, 0xffffffff);
            if (id == MAC_DEFAULT_INSTANCE) {
                fail_at(node, "the default instance 0xffffffff stands directly under <board>");
            }
            if (!seen.insert(id).second) fail_at(node, "two <instance> have the same id");
        } else if (!same_text(node.name(), "mac_mng")) {
            fail_at(node, std::string("<board> knows no <") + node.name() +
                              ">; expected <platform>, <mac_mng> or <instance>");
        }
    }
}

}  // namespace host
