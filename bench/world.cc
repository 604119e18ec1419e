// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "bench/world.h"

#include <fmt/format.h>

#include "mac_mng/mac_mng.h"
#include "platform/host/log_service.h"
#include "platform/log.h"

namespace bench {

namespace {

constexpr u32 kPoolBytes = 16;

// Pools from `first` on, counted over all instances.
std::string storage(const char* element, u32 chip, u32 first, u32 pools) {
    std::string text = fmt::format("<{}>", element);
    for (u32 type = 0; type < pools; ++type) {
        text += fmt::format(
            R"(<e id="{}" drv_name="drv_mac_eeprom" chip_id="{}" channel="{}" mac_num="16"/>)",
            type, chip, kPoolBytes * (first + type));
    }
    return text + fmt::format("</{}>", element);
}

std::string tree(u32 first, u32 pools) {
    return "<mac_mng>" + storage("mac_storage_main", 1, first, pools) +
           storage("mac_storage_spare", 2, first, pools) + "</mac_mng>";
}

std::string board_xml(u32 instances, u32 pools) {
    std::string text = R"(<board><platform><eeprom chip="1" image="one" size="0x10000" page="32"/>)"
                       R"(<eeprom chip="2" image="two" size="0x10000" page="32"/></platform>)" +
                       tree(0, pools);
    for (u32 i = 1; i < instances; ++i) {
        text += fmt::format("<instance id=\"{}\">{}</instance>", i, tree(pools * i, pools));
    }
    return text + "</board>";
}

}  // namespace

World::World(u32 instances, u32 unmounted, u32 pools)
    : board_(
          host::Board::in_memory(host::BoardFile::parse(board_xml(instances, pools), "bench.xml"))),
      module_(*board_),
      last_(instances == unmounted + 1 ? MAC_DEFAULT_INSTANCE : instances - unmounted - 1) {
    host::log_set_level(PLATFORM_LOG_NOTICE);
    for (u32 i = 1; i < instances - unmounted; ++i) (void)drv_mac_init(i);
    (void)drv_mac_set_addr_num(last_, 0, kLongest, kBase);
    (void)drv_mac_set_addr_num(MAC_DEFAULT_INSTANCE, 0, kLongest, kBase);
}

}  // namespace bench
