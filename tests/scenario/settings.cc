// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The boards and actions of the scenarios.
#include <fmt/format.h>

#include "platform/env.h"
#include "tests/scenario/runner.h"

namespace scenario {

namespace {

struct End {
    std::string driver;
    unsigned chip;
    unsigned offset;  // of type 0
    unsigned next;    // of type 1
    std::string name = "";
};

std::string entry(unsigned type, const End& end) {
    return fmt::format(
        R"(<e id="{}" drv_name="{}" chip_id="{}" channel="{}" mac_num="8" storage_name="{}"/>)",
        type, end.driver, end.chip, type == 0 ? end.offset : end.next,
        end.name.empty() ? "" : fmt::format("{}{}", end.name, type));
}

constexpr char kTwoCopies[] = R"(redundant="1" redundant_offset="0x1000" erase="0x1000")";
constexpr char kOneCopy[] = R"(erase="0x1000")";

std::string board_of(const std::string& eeproms, const char* env, const std::string& main,
                     const std::string& spare) {
    return fmt::format(
        R"(<board><platform>
<flash chip="45" image="flash" size="0x4000" erase="0x1000"/>
<eeprom chip="1" image="one" {0}/>
<eeprom chip="2" image="two" {0}/>
<env image="env" size="0x200" {1}/>
</platform><mac_mng>
<mac_storage_main>{2}</mac_storage_main>
<mac_storage_spare>{3}</mac_storage_spare>
</mac_mng></board>)",
        eeproms, env, main, spare);
}

std::string board(const End& main, const End& spare, const char* env = kTwoCopies) {
    return board_of(R"(size="0x400" page="16")", env, entry(0, main) + entry(1, main),
                    entry(0, spare) + entry(1, spare));
}

// One router record that fills most of its chip, and a small neighbour behind it.
Setting large(unsigned num, unsigned size, unsigned page) {
    const auto entries = [num, size](unsigned chip) {
        return fmt::format(
            R"(<e id="0" drv_name="drv_mac_router_in_crc" chip_id="{0}" channel="0" mac_num="{1}"/>)"
            R"(<e id="1" drv_name="drv_mac_eeprom" chip_id="{0}" channel="{2}" mac_num="8"/>)",
            chip, num, size - 16);
    };
    return {fmt::format("router of {}", num),
            board_of(fmt::format(R"(size="{}" page="{}")", size, page), kTwoCopies, entries(1),
                     entries(2)),
            num,
            num - 1,
            true,
            "",
            true};
}

End eeprom(const std::string& driver, unsigned chip) { return {driver, chip, 0x24, 0x204}; }

std::vector<Setting> make_settings() {
    const End flash_main = {"drv_mac_flash", 45, 0x4c0, 0x4d0};
    const End flash_spare = {"drv_mac_flash", 45, 0x24c0, 0x24d0};
    const End env = {"drv_mac_env", 0, 0, 0, "pool"};
    const End env_spare = {"drv_mac_env", 0, 0, 0, "more"};
    const char* const no_check = "the format has no check: a torn record is taken as it is";
    const auto alone = [](const std::string& driver) {
        return board(eeprom(driver, 1), eeprom(driver, 2));
    };
    std::vector<Setting> list;
    list.push_back({"flash", board(flash_main, flash_spare), 8, 5, true, "", false});
    list.push_back({"eeprom", alone("drv_mac_eeprom"), 8, 5, true, "", true});
    const char* const twice =
        "a set of address and count together saves twice: a cut between leaves the new count "
        "with the old address";
    list.push_back({"env", board(env, env_spare), 8, 5, true, twice, true, true});
    list.push_back({"kolbe_in_crc", alone("drv_mac_kolbe_in_crc"), 8, 8, true,
                    "after a cut between the copies the spare keeps the old block until the next "
                    "set: their constant check values do not tell them apart",
                    true});
    list.push_back({"kolbe_no_crc", alone("drv_mac_kolbe_no_crc"), 8, 8, false, no_check, true});
    list.push_back({"router_in_crc", alone("drv_mac_router_in_crc"), 8, 5, true, "", true});
    list.push_back({"router_no_crc", alone("drv_mac_router_no_crc"), 8, 5, false, no_check, true});
    list.push_back({"env+flash", board(env, flash_spare), 8, 5, true, twice, false, true});
    list.push_back(
        {"flash+eeprom", board(flash_main, eeprom("drv_mac_eeprom", 2)), 8, 5, true, "", false});
    list.push_back({"router_in_crc+eeprom",
                    board(eeprom("drv_mac_router_in_crc", 1), eeprom("drv_mac_eeprom", 2)), 8, 5,
                    true, "", true});
    list.push_back({"flash, one erase block",
                    board(flash_main, {"drv_mac_flash", 45, 0x5c0, 0x5d0}), 8, 5, false,
                    "one erase block holds both copies: a cut while it is rewritten takes both",
                    false});
    list.push_back({"env, one copy", board(env, env_spare, kOneCopy), 8, 5, false,
                    "the environment has one copy: a cut while it is saved takes all of it",
                    false});
    return list;
}

// A copy of type 0 that is no good: a bit of its base address is another one, or its
// variable is gone.
void damage(Images* images, const Setting& setting, unsigned area) {
    const Place place = place_of(setting, area);
    if (place.variable.empty()) {
        (*images)[place.image][place.offset + place.base_at] ^= 0x10;
        return;
    }
    World world(setting.board, *images);
    (void)drv_env_set(place.variable.c_str(), "");
    (void)drv_env_save();
    *images = world.images();
}

std::vector<Action> make_actions() {
    const auto nothing = [](Images*, const Setting&) {};
    const auto set = [](const World& world, const Setting& setting) {
        return world.set_block(0, {kNewBlock.base, setting.new_num});
    };
    const auto read = [](const World& world, const Setting&) { return world.read(0).status; };
    std::vector<Action> list;
    list.push_back({"first", nothing, set, true, true, true});
    list.push_back({"set", nothing, set, true, true, false});
    list.push_back(
        {"addr", nothing,
         [](const World& world, const Setting&) { return world.set_addr(0, kNewBlock.base); }, true,
         false, false});
    list.push_back({"mend-main",
                    [](Images* images, const Setting& setting) { damage(images, setting, 0); },
                    read, false, false, false});
    list.push_back({"mend-spare",
                    [](Images* images, const Setting& setting) { damage(images, setting, 1); },
                    read, false, false, false});
    return list;
}

}  // namespace

const std::vector<Setting>& settings() {
    static const std::vector<Setting> list = make_settings();
    return list;
}

const std::vector<Setting>& large_settings() {
    // The most that fits a 24C256 with its pages, and the most that there can be.
    static const std::vector<Setting> list = {large(5455, 0x8000, 64),
                                              large(65534, 0x61000, 0x1000)};
    return list;
}

const std::vector<Action>& actions() {
    static const std::vector<Action> list = make_actions();
    return list;
}

}  // namespace scenario
