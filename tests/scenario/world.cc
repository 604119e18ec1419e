// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tests/scenario/world.h"

#include <algorithm>

#include "mac_mng/mac_ioctl.h"
#include "mac_mng/mac_mng.h"
#include "platform/host/device_service.h"
#include "platform/host/log_service.h"

namespace scenario {

namespace {

std::vector<std::string> names_of(const host::BoardFile& file) {
    std::vector<std::string> names;
    for (const auto& flash : file.flashes()) names.push_back(flash.image);
    for (const auto& eeprom : file.eeproms()) names.push_back(eeprom.image);
    if (file.env()) names.push_back(file.env()->image);
    return names;
}

u32 command(u32 number, void* record) {
    return static_cast<u32>(host::device_ioctl(number, record));
}

mac_ioctl_address record_of(u32 type, const Block& block) {
    mac_ioctl_address record{MAC_DEFAULT_INSTANCE, block.num, {}, {}, type};
    std::copy(block.base.begin(), block.base.end(), record.addr);
    return record;
}

}  // namespace

World::World(const std::string& board, const Images& images, const Plan& fault) {
    host::log_set_level(0);
    board_ = host::Board::in_memory(
        host::BoardFile::parse(board, "scenario"), [this](std::unique_ptr<host::Store> store) {
            return std::make_unique<PoweredStore>(std::move(store), &power_);
        });
    for (const auto& [name, bytes] : images) board_->memory(name) = bytes;
    module_.emplace(*board_);
    power_.arm(fault);
}

World::~World() { module_.reset(); }

u32 World::set_block(u32 type, const Block& block) const {
    mac_ioctl_address record = record_of(type, block);
    return command(MAC_IOCTL_SET_ADDR_NUM, &record);
}

u32 World::set_addr(u32 type, const Mac& base) const {
    mac_ioctl_address record = record_of(type, {base, 0});
    return command(MAC_IOCTL_SET_ADDR, &record);
}

u32 World::set_num(u32 type, u32 num) const {
    mac_ioctl_count record{MAC_DEFAULT_INSTANCE, num, type};
    return command(MAC_IOCTL_SET_NUM, &record);
}

Reading World::read(u32 type) const {
    Reading reading;
    mac_ioctl_address record = record_of(type, {});
    reading.status = command(MAC_IOCTL_GET_ADDR, &record);
    if (reading.status != 0) return reading;
    std::copy(std::begin(record.addr), std::end(record.addr), reading.block.base.begin());
    mac_ioctl_count count{MAC_DEFAULT_INSTANCE, 0, type};
    reading.status = command(MAC_IOCTL_GET_NUM, &count);
    reading.block.num = count.num;
    return reading;
}

Images World::images() const {
    Images images;
    for (const std::string& name : names_of(board_->file())) images[name] = board_->memory(name);
    return images;
}

Images blank(const std::string& board) { return World(board, {}).images(); }

}  // namespace scenario
