// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "bench/workload.h"

#include <fmt/format.h>
#include <isa-l/crc.h>

#include <cstring>
#include <memory>
#include <optional>

#include "bench/world.h"
#include "mac_mng/mac_mng.h"
#include "platform/common/crc16.h"
#include "platform/host/log_service.h"
#include "platform/log.h"
#include "storage/formats/mac_mesg.h"
#include "storage/formats/mac_router.h"
#include "tools/macctl/record.h"
#include "tools/macctl/text.h"

namespace bench {

namespace {

constexpr u32 kModule = 22;
constexpr u32 kRouterBytes = 6 * kLongest + 16;

Workload get_with(u32 instances) {
    return {fmt::format("get base address, {} mounted", instances), 0, 100, [instances] {
                auto world = std::make_shared<World>(instances);
                return [world] {
                    u8 mac[6];
                    (void)drv_mac_get_addr(world->last(), 0, mac, sizeof(mac));
                    keep(mac);
                };
            }};
}

Workload set_block() {
    return {"set block", 0, 100, [] {
                auto world = std::make_shared<World>(1);
                return [world, odd = 0u]() mutable {
                    u8 mac[6];
                    std::memcpy(mac, kBase, 6);
                    mac[5] = static_cast<u8>(odd++);
                    (void)drv_mac_set_addr_num(MAC_DEFAULT_INSTANCE, 0, 16, mac);
                };
            }};
}

Workload list_of(u32 num) {
    return {fmt::format("list of {}", num), u64{6} * num, 3, [num] {
                auto world = std::make_shared<World>(1);
                auto out = std::make_shared<std::vector<u8>>(6 * num);
                return [world, out, num] {
                    (void)drv_mac_get_addr_num(MAC_DEFAULT_INSTANCE, 0, num, out->data(),
                                               static_cast<u32>(out->size()));
                    keep(out->data());
                };
            }};
}

Workload copy_of(u32 num) {
    return {fmt::format("memcpy of {} addresses", num), u64{6} * num, 3, [num] {
                auto from = std::make_shared<std::vector<u8>>(6 * num, u8{1});
                auto to = std::make_shared<std::vector<u8>>(6 * num);
                return [from, to] {
                    std::memcpy(to->data(), from->data(), from->size());
                    keep(to->data());
                };
            }};
}

Workload naive_list(u32 num) {
    return {fmt::format("naive list of {}", num), u64{6} * num, 3, [num] {
                auto out = std::make_shared<std::vector<u8>>(6 * num);
                return [out, num] {
                    u64 value = 0x021122334450;
                    for (u32 i = 0; i < num; ++i, ++value) {
                        for (u32 k = 0; k < 6; ++k) {
                            (*out)[6 * i + k] = static_cast<u8>(value >> (40 - 8 * k));
                        }
                    }
                    keep(out->data());
                };
            }};
}

Workload log_line(bool kept) {
    return {kept ? "log line, kept" : "log line, filtered", 0, 100, [kept] {
                auto world = std::make_shared<World>(1);
                host::log_set_level(kept ? PLATFORM_LOG_DUMP : PLATFORM_LOG_NOTICE);
                return [world] {
                    drv_log_record(kModule, PLATFORM_LOG_DUMP, 0, "mac inst 0x%x type %d area %d",
                                   1u, 2u, 3u);
                };
            }};
}

std::shared_ptr<std::vector<u8>> some_bytes(size_t length) {
    auto bytes = std::make_shared<std::vector<u8>>(length);
    for (size_t i = 0; i < length; ++i) (*bytes)[i] = static_cast<u8>(i * 31 + 7);
    return bytes;
}

Workload crc16_of(const platform::Crc16Variant& variant, u32 length) {
    return {fmt::format("crc16 {} of {}", variant.name, length), length, 20, [&variant, length] {
                auto crc = std::make_shared<platform::Crc16>();
                crc->select(variant);
                auto bytes = some_bytes(length);
                return [crc, bytes] {
                    const u16 value = crc->value(bytes->data(), bytes->size());
                    keep(&value);
                };
            }};
}

Workload isal_crc16_of(u32 length) {
    return {fmt::format("ISA-L crc16 T10-DIF of {}", length), length, 20, [length] {
                auto bytes = some_bytes(length);
                return [bytes] {
                    const u16 value = crc16_t10dif(0, bytes->data(), bytes->size());
                    keep(&value);
                };
            }};
}

Workload router_record(bool build) {
    return {build ? "router record of 65534, built" : "router record of 65534, checked",
            kRouterBytes, 3, [build] {
                auto choice = std::make_shared<macctl::CrcChoice>(
                    *platform::crc16_find(platform::kCrc16Default));
                auto record = std::make_shared<std::vector<u8>>(kRouterBytes);
                u64 flag = 0;
                u32 crc = 0;
                (void)mac_router_incrc_set_format(kBase, kLongest, record->data(), kRouterBytes,
                                                  &flag, &crc);
                return [choice, record, build] {
                    u64 tag = 0;
                    u32 check = 0;
                    u32 num = 0;
                    u8 mac[6];
                    const u32 status =
                        build ? mac_router_incrc_set_format(kBase, kLongest, record->data(),
                                                            kRouterBytes, &tag, &check)
                              : mac_router_incrc_get_format(record->data(), kRouterBytes, &tag, mac,
                                                            &num, &check);
                    keep(&status);
                };
            }};
}

Workload to_text() {
    return {"address to text", 0, 100, [] {
                auto base = some_bytes(6);  // nothing that could be worked out beforehand
                return [base] {
                    const macctl::AddressText text = macctl::address_text(base->data());
                    keep(text.data());
                };
            }};
}

Workload from_text() {
    return {"text to address", 0, 100, [] {
                return [error = std::string(), text = std::string("02:11:22:33:44:50")]() mutable {
                    const auto address = macctl::parse_address(text, &error);
                    keep(&address);
                };
            }};
}

Workload mount() {
    return {"mount and unmount", 0, 20, [] {
                auto world = std::make_shared<World>(2, 1);
                return [world] {
                    (void)drv_mac_init(1);
                    (void)drv_mac_deinit(1);
                };
            }};
}

std::vector<Workload> make_workloads() {
    std::vector<Workload> list;
    for (const u32 instances : {1u, 2u, 4u, 16u, 64u, 256u, 1024u}) {
        list.push_back(get_with(instances));
    }
    list.push_back(set_block());
    list.push_back(mount());
    list.push_back(log_line(false));
    list.push_back(log_line(true));
    for (const u32 num : {1u, 16u, 256u, 4096u, kLongest}) list.push_back(list_of(num));
    list.push_back(naive_list(kLongest));
    list.push_back(copy_of(kLongest));
    const auto& usual = *platform::crc16_find(platform::kCrc16Default);
    for (const u32 length : {14u, 16u, 64u, 512u, 4096u, 393264u}) {
        list.push_back(crc16_of(usual, length));
        list.push_back(isal_crc16_of(length));
    }
    for (const platform::Crc16Variant& variant : platform::kCrc16Variants) {
        if (&variant == &usual) continue;
        for (const u32 length : {14u, 4096u}) list.push_back(crc16_of(variant, length));
    }
    list.push_back(router_record(true));
    list.push_back(router_record(false));
    list.push_back(to_text());
    list.push_back(from_text());
    return list;
}

}  // namespace

const std::vector<Workload>& workloads() {
    static const std::vector<Workload> list = make_workloads();
    return list;
}

}  // namespace bench
