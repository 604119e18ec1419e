// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/board_map.h"

#include <fmt/format.h>

#include <algorithm>

#include "mac_mng/mac_mng.h"
#include "tools/macctl/terminal.h"

namespace macctl {

namespace {

constexpr size_t kCells = 64;
constexpr char kAreaLetters[] = {'M', 'S', 'E'};

std::string label_of(const Copy& copy) {
    std::string type = fmt::format("type {} {}", copy.type, area_name(copy.area));
    if (copy.inst == MAC_DEFAULT_INSTANCE) return type;
    return fmt::format("instance 0x{:x} {}", copy.inst, type);
}

template <typename Spec>
void add_records(const Layout& layout, MediumKind kind, const Spec& spec, MediumMap* map) {
    for (const Copy& entry : layout.entries) {
        if (!lies_on(entry, kind, spec)) continue;
        map->places.push_back(
            {range_of(entry), label_of(entry), entry.driver, entry.area, entry.line});
    }
}

void add_environment(const host::EnvSpec& env, MediumMap* map) {
    map->places.push_back(
        {{env.offset, u64{env.offset} + env.size}, "environment", "", 2, env.line});
    if (!env.redundant) return;
    map->places.back().label = "environment copy 1";
    map->places.push_back({{env.redundant_offset, u64{env.redundant_offset} + env.size},
                           "environment copy 2",
                           "",
                           2,
                           env.line});
}

void mark_overlaps(MediumMap* map) {
    std::stable_sort(
        map->places.begin(), map->places.end(),
        [](const Place& left, const Place& right) { return left.range.start < right.range.start; });
    // Whoever overlaps one before it overlaps the one of those that reaches furthest; and the
    // one behind it begins before all others behind it.
    u64 furthest = 0;
    for (size_t i = 0; i < map->places.size(); ++i) {
        Place& place = map->places[i];
        const bool next_overlaps =
            i + 1 < map->places.size() && map->places[i + 1].range.start < place.range.end;
        place.overlaps =
            place.range.end > map->size || place.range.start < furthest || next_overlaps;
        furthest = std::max(furthest, place.range.end);
    }
}

MediumMap map_env(const host::EnvSpec& env, const Layout& layout) {
    const u32 step = env.erase.value_or(env.size);
    MediumMap map{"env",
                  env.image,
                  (env.end() + step - 1) / step * step,
                  step,
                  env.erase ? "erase block" : "copy",
                  {},
                  {}};
    add_environment(env, &map);
    for (const Copy& entry : layout.entries) {
        if (entry.medium() == MediumKind::kEnv) {
            map.variables.push_back(
                fmt::format("{0} and {0}_num: {1}", entry.name, label_of(entry)));
        }
    }
    return map;
}

// One letter for each 64th of the medium.
std::string bar_text(const MediumMap& map) {
    std::string cells(kCells, '.');
    for (const Place& place : map.places) {
        const u64 first = place.range.start * kCells / map.size;
        const u64 last = (place.range.end - 1) * kCells / map.size;
        for (u64 i = first; i <= last && i < kCells; ++i) {
            char& cell = cells[i];
            if (place.overlaps) {
                cell = '#';
            } else if (cell == '.') {
                cell = kAreaLetters[place.area];
            } else if (cell != '#' && cell != kAreaLetters[place.area]) {
                cell = '+';
            }
        }
    }
    return cells;
}

std::string place_text(const Place& place) {
    const std::string row = fmt::format(
        "  {} 0x{:06x}-0x{:06x}  {:>6} B  {:<24} {}", kAreaLetters[place.area], place.range.start,
        place.range.end - 1, place.range.end - place.range.start, place.label, place.driver);
    const size_t end = row.find_last_not_of(' ');
    if (!place.overlaps) return row.substr(0, end + 1) + "\n";
    return coloured(row.substr(0, end + 1) + "  OVERLAP OR PAST THE END", Colour::kBad) + "\n";
}

}  // namespace

std::vector<MediumMap> map_board(const host::BoardFile& file) {
    const Layout layout = read_layout(file);
    std::vector<MediumMap> media;
    bool env_drawn = false;
    for (const host::FlashSpec& flash : file.flashes()) {
        MediumMap map{chip_name(MediumKind::kFlash, flash.chip, flash.inst),
                      flash.image,
                      flash.size,
                      flash.erase,
                      "erase block",
                      {},
                      {}};
        add_records(layout, MediumKind::kFlash, flash, &map);
        if (file.env() && !flash.mtd.empty() && flash.mtd == file.env()->mtd) {
            add_environment(*file.env(), &map);
            map.size = std::max<u64>(map.size, file.env()->end());
            map.variables = map_env(*file.env(), layout).variables;
            env_drawn = true;
        }
        media.push_back(std::move(map));
    }
    for (const host::EepromSpec& eeprom : file.eeproms()) {
        MediumMap map{chip_name(MediumKind::kEeprom, eeprom.chip, eeprom.inst),
                      eeprom.image,
                      eeprom.size,
                      eeprom.page,
                      "page",
                      {},
                      {}};
        add_records(layout, MediumKind::kEeprom, eeprom, &map);
        media.push_back(std::move(map));
    }
    if (file.env() && !env_drawn) media.push_back(map_env(*file.env(), layout));
    for (MediumMap& map : media) mark_overlaps(&map);
    return media;
}

std::string map_text(const std::vector<MediumMap>& media) {
    std::string text;
    for (const MediumMap& map : media) {
        text += fmt::format("{} ({}): {} bytes, {} {} bytes\n  [{}]\n", map.name, map.image,
                            map.size, map.step_name, map.step, bar_text(map));
        for (const Place& place : map.places) text += place_text(place);
        for (const std::string& variable : map.variables) text += "  " + variable + "\n";
        if (map.places.empty()) text += "  nothing lies here\n";
        text += "\n";
    }
    return text +
           "M main, S spare, E environment, + several, # overlap or past the end, . free; the bar "
           "is "
           "to scale\n";
}

}  // namespace macctl
