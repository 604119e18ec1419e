// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/layout.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <unordered_map>

#include "base/vocabulary.h"
#include "mac_mng/mac_mng.h"
#include "storage/driver/mac_driver_table.h"

namespace macctl {

namespace {

// What fits the system's fields, their ends not counted.
constexpr size_t kDriverNameMax = 39;
constexpr size_t kStorageNameMax = 31;

constexpr const char* kConfigNode = "mac";
constexpr const char* kEntryAttributes[] = {"id",      "drv_name", "chip_id",
                                       "channel", "mac_num",  "storage_name"};

bool is_attribute(const char* name) {
    return std::any_of(std::begin(kEntryAttributes), std::end(kEntryAttributes),
                       [name](const char* known) { return std::strcmp(known, name) == 0; });
}

bool is_node(const char* name) {
    return std::strcmp(name, mac::kMainStorageNode) == 0 ||
           std::strcmp(name, mac::kSpareStorageNode) == 0 || std::strcmp(name, kConfigNode) == 0;
}

// Reads the entries of one node as the system does: the first element that lacks a
// required attribute ends it.
class EntryReader {
public:
    EntryReader(const host::BoardFile& file, Layout* layout) : file_(file), layout_(layout) {}

    void read_instance(u32 inst, pugi::xml_node root) {
        const pugi::xml_node top = root.child(mac::kModuleName);
        check_nodes(top);
        read_node(inst, 0, top.child(mac::kMainStorageNode));
        read_node(inst, 1, top.child(mac::kSpareStorageNode));
    }

private:
    void check_nodes(pugi::xml_node top) {
        for (const pugi::xml_node node : top.children()) {
            if (node.type() != pugi::node_element || is_node(node.name())) continue;
            problem("unknown-node", file_.line_of(node), false,
                    fmt::format("<{}> is a node that the system does not look at", node.name()),
                    "it looks at <mac_storage_main>, <mac_storage_spare> and <mac>");
        }
    }

    void check_attributes(pugi::xml_node element, unsigned line) {
        for (const pugi::xml_attribute attribute : element.attributes()) {
            if (is_attribute(attribute.name())) continue;
            problem("unknown-attribute", line, false,
                    fmt::format("{}=\"{}\" is an attribute that the system does not look at",
                                attribute.name(), attribute.value()),
                    "it looks at id, drv_name, chip_id, channel, mac_num and storage_name");
        }
    }

    void read_node(u32 inst, unsigned area, pugi::xml_node node) {
        for (const pugi::xml_node element : node.children()) {
            if (element.type() != pugi::node_element) continue;
            Copy copy;
            copy.inst = inst;
            copy.area = area;
            copy.line = file_.line_of(element);
            if (!read_entry(element, &copy)) return;
            check_attributes(element, copy.line);
            add(copy);
        }
    }

    bool read_entry(pugi::xml_node element, Copy* copy) {
        if (!required_number(element, "id", &copy->type)) return false;
        copy->driver = element.attribute("drv_name").value();
        if (copy->driver.empty() || copy->driver.size() > kDriverNameMax) {
            problem(
                "bad-entry", copy->line, true,
                fmt::format("drv_name=\"{}\": expected a driver's name of at most {} characters",
                            copy->driver, kDriverNameMax),
                "the system stops reading this node here; name one of the seven drivers");
            return false;
        }
        if (!required_number(element, "chip_id", &copy->chip)) return false;
        if (!required_number(element, "channel", &copy->offset)) return false;
        if (const pugi::xml_attribute num = element.attribute("mac_num")) {
            const std::optional<u32> value = host::parse_u32(num.value());
            if (!value) {
                problem("bad-number", copy->line, false,
                        fmt::format("mac_num=\"{}\" is no number; the system takes 1", num.value()),
                        "write a C literal, decimal or 0x...");
            }
            copy->num = value.value_or(1);
        }
        copy->name = element.attribute("storage_name").value();
        if (copy->name.size() > kStorageNameMax) {
            problem("long-name", copy->line, true,
                    fmt::format("storage_name=\"{}\" has {} characters; the system leaves it empty",
                                copy->name, copy->name.size()),
                    fmt::format("use at most {} characters", kStorageNameMax));
            copy->name.clear();
        }
        return true;
    }

    template <typename Spec>
    static void find_chip(const std::vector<Spec>& media, Copy* copy) {
        const Spec* const spec = host::find_medium(media, copy->inst, copy->chip);
        if (spec != nullptr) copy->chip_inst = spec->inst;
    }

    bool required_number(pugi::xml_node element, const char* attribute, u32* value) {
        const pugi::xml_attribute found = element.attribute(attribute);
        const std::optional<u32> number = host::parse_u32(found.value());
        if (number) {
            *value = *number;
            return true;
        }
        const std::string what =
            found ? fmt::format("{}=\"{}\" is no number", attribute, found.value())
                  : fmt::format("<{}> lacks the attribute \"{}\"", element.name(), attribute);
        problem("bad-entry", file_.line_of(element), true, what,
                "the system stops reading this node here: add it, decimal or 0x...");
        return false;
    }

    void add(Copy copy) {
        if (copy.medium() == MediumKind::kFlash) find_chip(file_.flashes(), &copy);
        if (copy.medium() == MediumKind::kEeprom) find_chip(file_.eeproms(), &copy);
        layout_->entries.push_back(copy);
        if (!is_known_type(copy.type)) return;
        const auto [found, is_new] =
            pool_at_.try_emplace(block_key(copy.inst, copy.type), layout_->pools.size());
        if (is_new) layout_->pools.push_back({copy.inst, copy.type, {}});
        PoolLayout& pool = layout_->pools[found->second];
        // Of two entries for one copy the system uses the first.
        if (!pool.copies[copy.area]) pool.copies[copy.area] = copy;
    }

    void problem(const char* code, unsigned line, bool error, std::string text,
                 std::string advice) {
        layout_->problems.push_back({code, line, std::move(text), std::move(advice), error});
    }

    const host::BoardFile& file_;
    Layout* layout_;
    std::unordered_map<u64, size_t> pool_at_;  // by its key, in the layout
};

}  // namespace

bool is_known_type(u32 type) { return type <= 5 || (type >= 64 && type <= 79); }

MediumKind medium_of_driver(const std::string& driver) {
    for (const mac::DriverRow& row : mac::kDriverTable) {
        if (driver != row.name) continue;
        if (row.ops.read == mac_flash_read) return MediumKind::kFlash;
        return row.ops.read == mac_env_read ? MediumKind::kEnv : MediumKind::kEeprom;
    }
    return MediumKind::kNone;
}

const char* medium_name(MediumKind kind) {
    switch (kind) {
        case MediumKind::kFlash:
            return "flash";
        case MediumKind::kEeprom:
            return "eeprom";
        case MediumKind::kEnv:
            return "env";
        default:
            return "none";
    }
}

const char* area_name(unsigned area) { return area == 0 ? "main" : "spare"; }

std::string chip_name(MediumKind kind, u32 chip, std::optional<u32> inst) {
    const std::string name = fmt::format("{} {}", medium_name(kind), chip);
    return inst ? fmt::format("{} of instance 0x{:x}", name, *inst) : name;
}

std::string Copy::place() const {
    if (medium() == MediumKind::kEnv) return fmt::format("variable {}", name);
    return fmt::format("{} at 0x{:x}", chip_name(medium(), chip, chip_inst), offset);
}

Layout read_layout(const host::BoardFile& file) {
    Layout layout;
    EntryReader reader(file, &layout);
    reader.read_instance(MAC_DEFAULT_INSTANCE, file.root());
    for (const pugi::xml_node node : file.root().children("instance")) {
        const u32 inst = host::parse_u32(node.attribute("id").value()).value_or(0);
        reader.read_instance(inst, node);
    }
    // The default instance first, then by number; by type within. Most files are so already.
    const auto is_before = [](const PoolLayout& left, const PoolLayout& right) {
        return std::pair(left.inst + 1, left.type) < std::pair(right.inst + 1, right.type);
    };
    if (!std::is_sorted(layout.pools.begin(), layout.pools.end(), is_before)) {
        std::stable_sort(layout.pools.begin(), layout.pools.end(), is_before);
    }
    return layout;
}

}  // namespace macctl
