// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/collision.h"

#include <fmt/format.h>

namespace macctl {

namespace {

std::string range_words(const Range& range) {
    return fmt::format("0x{:x} to 0x{:x}", range.start, range.end - 1);
}

std::string copy_words(const Copy& copy) {
    return fmt::format("instance 0x{:x} type {} {} (line {})", copy.inst, copy.type,
                       area_name(copy.area), copy.line);
}

// What of the other copy is hit.
std::string hit_words(const Copy& other) {
    if (other.medium() == MediumKind::kEnv) {
        return fmt::format("{} in the variable {}", copy_words(other), other.name);
    }
    return fmt::format("{} at {}", copy_words(other), range_words(range_of(other)));
}

std::vector<Range> env_ranges(const host::EnvSpec& env) {
    std::vector<Range> ranges = {{env.offset, u64{env.offset} + env.size}};
    if (env.redundant) {
        ranges.push_back({env.redundant_offset, u64{env.redundant_offset} + env.size});
    }
    return ranges;
}

// A medium: its kind, its chip, and the one instance that it serves, if it does.
struct Medium {
    MediumKind kind;
    u32 chip;
    std::optional<u32> inst;
};

// The part of the environment's image that the bytes of a flash would take.
std::optional<std::string> env_hit(const host::BoardFile& file, const Medium& medium,
                                   const Range& bytes) {
    if (!file.env()) return std::nullopt;
    for (const host::FlashSpec& flash : file.flashes()) {
        if (flash.chip != medium.chip || flash.inst != medium.inst || flash.mtd.empty() ||
            flash.mtd != file.env()->mtd)
            continue;
        for (const Range& range : env_ranges(*file.env())) {
            if (range.overlaps(bytes)) {
                return fmt::format("the environment (line {}) at {}", file.env()->line,
                                   range_words(range));
            }
        }
    }
    return std::nullopt;
}

bool is_same_copy(const Copy& left, const Copy& right) {
    return left.inst == right.inst && left.type == right.type && left.area == right.area;
}

// Of two entries for one copy the system uses the first, and none of a type it does not mount.
std::vector<Copy> copies_in_use(const Layout& layout) {
    std::vector<Copy> copies;
    for (const PoolLayout& pool : layout.pools) {
        for (const auto& copy : pool.copies) {
            if (copy && copy->format() != nullptr) copies.push_back(*copy);
        }
    }
    return copies;
}

std::string sentence(const Copy& copy, const std::string& hit) {
    const std::string where =
        copy.medium() == MediumKind::kEnv
            ? copy.place()
            : fmt::format("{}, bytes {}", copy.place(), range_words(range_of(copy)));
    return fmt::format("its {} copy, {}, would be written over {}", area_name(copy.area), where,
                       hit);
}

void add_hits(const host::BoardFile& file, const std::vector<Copy>& all, const Copy& copy,
              std::vector<std::string>* hits) {
    for (const Copy& other : all) {
        if (is_same_copy(copy, other) || !collide(copy, other)) continue;
        hits->push_back(sentence(copy, hit_words(other)));
    }
    if (copy.medium() != MediumKind::kFlash) return;
    if (const auto hit =
            env_hit(file, {copy.medium(), copy.chip, copy.chip_inst}, range_of(copy))) {
        hits->push_back(sentence(copy, *hit));
    }
}

std::optional<Medium> medium_of_image(const host::BoardFile& file,
                                      const std::filesystem::path& image) {
    const auto is_it = [&](const std::string& named) {
        std::error_code failed;
        return std::filesystem::equivalent(file.resolve(named), image, failed);
    };
    for (const host::FlashSpec& flash : file.flashes()) {
        if (is_it(flash.image)) return Medium{MediumKind::kFlash, flash.chip, flash.inst};
    }
    for (const host::EepromSpec& eeprom : file.eeproms()) {
        if (is_it(eeprom.image)) return Medium{MediumKind::kEeprom, eeprom.chip, eeprom.inst};
    }
    if (file.env() && is_it(file.env()->image)) return Medium{MediumKind::kEnv, 0, {}};
    return std::nullopt;
}

}  // namespace

bool collide(const Copy& left, const Copy& right) {
    if (!same_medium(left, right)) return false;
    if (left.medium() != MediumKind::kEnv) return range_of(left).overlaps(range_of(right));
    return left.name == right.name || left.name + "_num" == right.name ||
           right.name + "_num" == left.name;
}

std::vector<std::string> collisions(const host::BoardFile& file, const Pool& block,
                                    std::optional<unsigned> area) {
    const std::vector<Copy> all = copies_in_use(read_layout(file));
    std::vector<std::string> hits;
    for (const Copy& copy : all) {
        if (copy.inst != block.inst || copy.type != block.type) continue;
        if (!area || copy.area == *area) add_hits(file, all, copy, &hits);
    }
    return hits;
}

std::vector<std::string> collisions(const host::BoardFile& file, const std::filesystem::path& image,
                                    const Range& bytes) {
    std::vector<std::string> hits;
    const std::optional<Medium> medium = medium_of_image(file, image);
    if (!medium) return hits;
    if (medium->kind == MediumKind::kEnv) {
        for (const Range& range : env_ranges(*file.env())) {
            if (!range.overlaps(bytes)) continue;
            hits.push_back(fmt::format("the environment (line {}) at {}", file.env()->line,
                                       range_words(range)));
        }
        return hits;
    }
    for (const Copy& copy : copies_in_use(read_layout(file))) {
        if (copy.medium() != medium->kind || copy.chip != medium->chip ||
            copy.chip_inst != medium->inst) {
            continue;
        }
        const Range range = range_of(copy);
        const bool meant = range.start == bytes.start && range.end >= bytes.end;
        if (!meant && range.overlaps(bytes)) hits.push_back(hit_words(copy));
    }
    if (medium->kind == MediumKind::kFlash) {
        if (const auto hit = env_hit(file, *medium, bytes)) hits.push_back(*hit);
    }
    return hits;
}

}  // namespace macctl
