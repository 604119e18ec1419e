// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Where the fields of the system's records lie, and how large the records are. Nothing here
// runs: a record that is laid out otherwise does not compile. The control device's argument
// records assert theirs in mac_mng/mac_ioctl.h too, for every user; here the numbers stand a
// second time, so that a header that is changed in one breath with its own assertions is seen.
#include <cstddef>

#include "config/mac_cfg.h"
#include "config/mac_config.h"
#include "control/mac_diag.h"
#include "control/mac_ioctl.h"
#include "core/mac_data.h"
#include "mac_mng/mac_ioctl.h"
#include "platform/device.h"
#include "platform/xml.h"
#include "storage/driver/mac_driver.h"
#include "storage/formats/mac_qolt.h"

namespace {

constexpr size_t kWord = 8;
constexpr size_t kSpin = sizeof(platform_spinlock);
constexpr size_t kMutex = sizeof(platform_mutex);
static_assert(sizeof(void*) == kWord && sizeof(mac_link) == 2 * kWord);
static_assert(sizeof(mac::List<mac_entry>) == 2 * kWord);

// A list link: next, previous.
static_assert(offsetof(mac_link, next) == 0);
static_assert(offsetof(mac_link, prev) == kWord);

// A data set and its two areas.
static_assert(offsetof(mac_inst_mng, list) == 0);
static_assert(offsetof(mac_inst_mng, mac_mutex) == 16);
static_assert(offsetof(mac_inst_mng, inst_id) == 16 + kMutex);
static_assert(offsetof(mac_inst_mng, mac_type) == 20 + kMutex);
static_assert(offsetof(mac_inst_mng, area) == 24 + kMutex);
static_assert(sizeof(mac_inst_mng::area) == 2 * sizeof(mac_area));

static_assert(offsetof(mac_area, support) == 0);
static_assert(offsetof(mac_area, chip_id) == 4);
static_assert(offsetof(mac_area, channel) == 8);
static_assert(offsetof(mac_area, cfg_flag) == 16);
static_assert(offsetof(mac_area, flag) == 24);
static_assert(offsetof(mac_area, mac) == 32);
static_assert(offsetof(mac_area, name) == 38);
static_assert(offsetof(mac_area, mac_num) == 72);
static_assert(offsetof(mac_area, crc) == 76);
static_assert(offsetof(mac_area, cfg_num) == 80);
static_assert(offsetof(mac_area, buf) == 88);
static_assert(offsetof(mac_area, len) == 96);
static_assert(sizeof(mac_area::mac) == 6 && sizeof(mac_area::name) == 32);
static_assert(sizeof(mac_area::channel) == 4 && sizeof(mac_area::cfg_num) == 4);
static_assert(sizeof(mac_area::len) == 4);
static_assert(sizeof(mac_area) == 104);

// The registries of data sets and of drivers share one head.
using Drivers = mac::Registry<MacDriver>;
using DataSets = mac::Registry<mac_inst_mng>;
static_assert(offsetof(Drivers, list) == 0 && offsetof(DataSets, list) == 0);
static_assert(offsetof(Drivers, module_id) == 16 && offsetof(DataSets, module_id) == 16);
static_assert(offsetof(Drivers, name) == 20 && offsetof(DataSets, name) == 20);
static_assert(offsetof(Drivers, lock) == 64 && offsetof(DataSets, lock) == 64);
static_assert(sizeof(Drivers::name) == 40 && sizeof(DataSets::name) == 40);
static_assert(sizeof(Drivers) == 64 + kSpin && sizeof(DataSets) == 64 + kSpin);

// A storage driver and its operations, behind the two words of the manager.
static_assert(offsetof(MacDriver, list) == 0);
static_assert(offsetof(MacDriver, name) == 2 * kWord);
static_assert(offsetof(MacDriver, ops) == 3 * kWord);
static_assert(sizeof(MacDriver) == 4 * kWord);
static_assert(offsetof(MacDriverOps, reserved) == 0);
static_assert(offsetof(MacDriverOps, get_flag) == 2 * kWord);
static_assert(offsetof(MacDriverOps, get_size) == 3 * kWord);
static_assert(offsetof(MacDriverOps, set_format) == 4 * kWord);
static_assert(offsetof(MacDriverOps, get_format) == 5 * kWord);
static_assert(offsetof(MacDriverOps, write) == 6 * kWord);
static_assert(offsetof(MacDriverOps, read) == 7 * kWord);
static_assert(sizeof(MacDriverOps) == 8 * kWord);

// The Qolt record; the others are held against the tests' own encoder.
static_assert(mac::qolt::kTagAt == 0);
static_assert(mac::qolt::kCountAt == 4);
static_assert(mac::qolt::kBaseAt == 8);
static_assert(mac::qolt::kCrcAt == 14);
static_assert(mac::qolt::kSize == 16);

// The configuration registry. The table stands between its fields and changes their order
// as little as the lock does.
static_assert(offsetof(mac_config_registry, config_list) == 0);
static_assert(offsetof(mac_config_registry, module_id) == 16);
static_assert(offsetof(mac_config_registry, name) == 20);
static_assert(offsetof(mac_config_registry, max_num) == 60);
static_assert(offsetof(mac_config_registry, lock) == 64 + sizeof(mac_config_registry::table));
constexpr size_t kDevMutex = offsetof(mac_config_registry, dev_mutex);
static_assert(kDevMutex == offsetof(mac_config_registry, lock) + kSpin);
static_assert(offsetof(mac_config_registry, cfg_list) == kDevMutex + kMutex);
static_assert(offsetof(mac_config_registry, type_list) == kDevMutex + kMutex + 16);
static_assert(offsetof(mac_config_registry, show_mutex) == kDevMutex + kMutex + 32);
static_assert(sizeof(mac_config_registry::name) == 40);

static_assert(offsetof(mac_inst_config, list) == 0);
static_assert(offsetof(mac_inst_config, inst_id) == 16);
static_assert(offsetof(mac_inst_config, name) == 20);
static_assert(offsetof(mac_inst_config, entry_num) == 60);
static_assert(offsetof(mac_inst_config, lock) == 64);
static_assert(offsetof(mac_inst_config, entry_list) == 64 + kSpin);
static_assert(sizeof(mac_inst_config::name) == 40);

static_assert(offsetof(mac_entry, list) == 0);
static_assert(offsetof(mac_entry, storage_code) == 16);
static_assert(offsetof(mac_entry, inst_id) == 20);
static_assert(offsetof(mac_entry, id) == 24);
static_assert(offsetof(mac_entry, chip_id) == 28);
static_assert(offsetof(mac_entry, channel) == 32);
static_assert(offsetof(mac_entry, mac_num) == 36);
static_assert(offsetof(mac_entry, storage_name) == 40);
static_assert(offsetof(mac_entry, drv_name) == 80);
static_assert(offsetof(mac_entry, driver) == 120);
static_assert(offsetof(mac_entry, reclaim) == 128);  // behind all that is laid out

// The records of both XML layouts, and of the listings.
static_assert(offsetof(mac_cfg_entry, list) == 0);
static_assert(offsetof(mac_cfg_entry, inst_id) == 16);
static_assert(offsetof(mac_cfg_entry, mac_type) == 20);
static_assert(offsetof(mac_cfg_entry, mac_num) == 24);
static_assert(offsetof(mac_cfg_entry, drv_name) == 28);
static_assert(offsetof(mac_cfg_entry, eeprom_partition_type) == 68);
static_assert(offsetof(mac_cfg_entry, section_id) == 72);
static_assert(offsetof(mac_cfg_entry, offset) == 76);
static_assert(offsetof(mac_cfg_entry, main_env_name) == 80);
static_assert(offsetof(mac_cfg_entry, spare_exist) == 120);
static_assert(offsetof(mac_cfg_entry, spare_section_id) == 124);
static_assert(offsetof(mac_cfg_entry, spare_offset) == 128);
static_assert(offsetof(mac_cfg_entry, spare_env_name) == 132);
static_assert(sizeof(mac_cfg_entry::drv_name) == 40);
static_assert(sizeof(mac_cfg_entry::main_env_name) == 40);
static_assert(sizeof(mac_cfg_entry::spare_env_name) == 40);
static_assert(sizeof(mac_cfg_entry) == 176);

static_assert(offsetof(mac_old_cfg_entry, found) == 0);
static_assert(offsetof(mac_old_cfg_entry, id) == 4);
static_assert(offsetof(mac_old_cfg_entry, chip_id) == 8);
static_assert(offsetof(mac_old_cfg_entry, channel) == 12);
static_assert(offsetof(mac_old_cfg_entry, mac_num) == 16);
static_assert(offsetof(mac_old_cfg_entry, drv_name) == 20);
static_assert(offsetof(mac_old_cfg_entry, storage_name) == 60);
static_assert(sizeof(mac_old_cfg_entry) == 100);

static_assert(offsetof(mac_type_status, list) == 0);
static_assert(offsetof(mac_type_status, inst_id) == 16);
static_assert(offsetof(mac_type_status, mac_type) == 20);
static_assert(offsetof(mac_type_status, main) == 24);
static_assert(offsetof(mac_type_status, spare) == 40);
static_assert(sizeof(mac_type_status) == 56);
static_assert(offsetof(mac_type_area, mac) == 0);
static_assert(offsetof(mac_type_area, mac_num) == 8);
static_assert(offsetof(mac_type_area, valid) == 12);
static_assert(sizeof(mac_type_area::mac) == 6 && sizeof(mac_type_area) == 16);

// The rows of the tables that the readers and the dispatcher walk.
static_assert(offsetof(mac_u32_map, required) == 0);
static_assert(offsetof(mac_u32_map, key) == kWord);
static_assert(offsetof(mac_u32_map, field) == 2 * kWord);
static_assert(offsetof(mac_u32_map, default_text) == 3 * kWord);
static_assert(sizeof(mac_u32_map::required) == 1 && sizeof(mac_u32_map) == 4 * kWord);
static_assert(offsetof(mac_str_map, required) == 0);
static_assert(offsetof(mac_str_map, key) == kWord);
static_assert(offsetof(mac_str_map, field) == 2 * kWord);
static_assert(offsetof(mac_str_map, capacity) == 3 * kWord);
static_assert(offsetof(mac_str_map, default_text) == 4 * kWord);
static_assert(sizeof(mac_str_map::required) == 1 && sizeof(mac_str_map::capacity) == 4);
static_assert(sizeof(mac_str_map) == 5 * kWord);
static_assert(offsetof(xml_entry, next) == 0);
static_assert(offsetof(xml_entry, element) == kWord);
static_assert(offsetof(mac_ioctl_row, cmd) == 0);
static_assert(offsetof(mac_ioctl_row, handler) == kWord);
static_assert(sizeof(mac_ioctl_row::cmd) == 4 && sizeof(mac_ioctl_row) == 16);
static_assert(sizeof(g_drv_mac_ioctl_map) == 12 * 16);
static_assert(offsetof(mac_ioctl_cmd_row, cmd) == 0);
static_assert(offsetof(mac_ioctl_cmd_row, listing) == kWord);
static_assert(sizeof(mac_ioctl_cmd_row::cmd) == 4 && sizeof(mac_ioctl_cmd_row) == 16);
static_assert(sizeof(g_drv_mac_ioctl_cmd_map) == 2 * 16);

// The diagnostic state, and what it registers.
static_assert(offsetof(mac_diag_state, module_id) == 0);
static_assert(offsetof(mac_diag_state, name) == 4);
static_assert(offsetof(mac_diag_state, max_attr) == 44);
static_assert(offsetof(mac_diag_state, attr_count) == 48);
static_assert(offsetof(mac_diag_state, kobject) == 56);
static_assert(offsetof(mac_diag_state, group) == 64);
static_assert(offsetof(mac_diag_state, attr_name) == 80);
static_assert(offsetof(mac_diag_state, attr) == 160);
static_assert(offsetof(mac_diag_state, attr_list) == 480);
static_assert(offsetof(mac_diag_state, file_list) == 560);
static_assert(sizeof(mac_diag_state::name) == 40 && sizeof(mac_diag_state::attr_count) == 4);
static_assert(sizeof(mac_diag_state::attr_name) == 10 * kWord);
static_assert(sizeof(mac_diag_state::attr) == 10 * 32);
static_assert(sizeof(mac_diag_state::attr_list) == 10 * kWord);
static_assert(sizeof(mac_diag_state::file_list) == 10 * 16);
static_assert(sizeof(mac_diag_state) == 720);
static_assert(offsetof(platform_attribute, name) == 0);
static_assert(offsetof(platform_attribute, mode) == kWord);
static_assert(offsetof(platform_attribute, show) == 2 * kWord);
static_assert(offsetof(platform_attribute, store) == 3 * kWord);
static_assert(sizeof(platform_attribute) == 32 && sizeof(platform_attribute::mode) == 4);
static_assert(offsetof(platform_attribute_group, name) == 0);
static_assert(offsetof(platform_attribute_group, attributes) == kWord);
static_assert(offsetof(diag_file, name) == 0);
static_assert(offsetof(diag_file, kind) == kWord);
static_assert(sizeof(diag_file) == 16 && sizeof(diag_file::kind) == 1);

// The argument records of the control device.
static_assert(offsetof(mac_ioctl_instance, inst) == 0);
static_assert(sizeof(mac_ioctl_instance) == 4);

static_assert(offsetof(mac_ioctl_address, inst) == 0);
static_assert(offsetof(mac_ioctl_address, num) == 4);
static_assert(offsetof(mac_ioctl_address, addr) == 8);
static_assert(offsetof(mac_ioctl_address, reserved) == 14);
static_assert(offsetof(mac_ioctl_address, type) == 16);
static_assert(sizeof(mac_ioctl_address::addr) == 6);
static_assert(sizeof(mac_ioctl_address) == 20);

static_assert(offsetof(mac_ioctl_count, inst) == 0);
static_assert(offsetof(mac_ioctl_count, num) == 4);
static_assert(offsetof(mac_ioctl_count, type) == 8);
static_assert(sizeof(mac_ioctl_count) == 12);

static_assert(offsetof(mac_ioctl_list, inst) == 0);
static_assert(offsetof(mac_ioctl_list, type) == 4);
static_assert(offsetof(mac_ioctl_list, num) == 8);
static_assert(offsetof(mac_ioctl_list, buf) == 12);
static_assert(offsetof(mac_ioctl_list, len) == 20);
static_assert(sizeof(mac_ioctl_list) == 24);

static_assert(offsetof(mac_ioctl_buffer, buf) == 0);
static_assert(offsetof(mac_ioctl_buffer, len) == 8);
static_assert(sizeof(mac_ioctl_buffer) == 12);

}  // namespace
