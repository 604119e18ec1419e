// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/client.h"

#include <algorithm>
#include <cstring>

#include "mac_mng/mac_ioctl.h"
#include "mac_mng/mac_status.h"

namespace macctl {

namespace {

constexpr size_t kFirstListing = size_t{64} * 1024;

mac_ioctl_address address_record(const Pool& pool, const MacAddress& address, u32 num) {
    mac_ioctl_address record{};
    record.inst = pool.inst;
    record.type = pool.type;
    record.num = num;
    std::copy(address.begin(), address.end(), record.addr);
    return record;
}

u64 address_of(void* bytes) { return reinterpret_cast<u64>(bytes); }

}  // namespace

u32 Client::init(u32 inst) const {
    mac_ioctl_instance record{inst};
    return ioctl_(MAC_IOCTL_INIT, &record);
}

u32 Client::deinit(u32 inst) const {
    mac_ioctl_instance record{inst};
    return ioctl_(MAC_IOCTL_DEINIT, &record);
}

u32 Client::get_addr(const Pool& pool, MacAddress* address) const {
    mac_ioctl_address record = address_record(pool, {}, 0);
    const u32 status = ioctl_(MAC_IOCTL_GET_ADDR, &record);
    if (status == MAC_OK) std::copy_n(record.addr, address->size(), address->begin());
    return status;
}

u32 Client::get_num(const Pool& pool, u32* num) const {
    mac_ioctl_count record{pool.inst, 0, pool.type};
    const u32 status = ioctl_(MAC_IOCTL_GET_NUM, &record);
    if (status == MAC_OK) *num = record.num;
    return status;
}

u32 Client::get_list(const Pool& pool, u32 num, std::vector<MacAddress>* addresses) const {
    // One spare element: the buffer's address must not be null for an empty list.
    std::vector<MacAddress> buffer(size_t{num} + 1);
    mac_ioctl_list record{pool.inst, pool.type, num, address_of(buffer.data()),
                          num * static_cast<u32>(sizeof(MacAddress))};
    const u32 status = ioctl_(MAC_IOCTL_GET_ADDR_NUM, &record);
    if (status != MAC_OK) return status;
    buffer.resize(num);
    *addresses = std::move(buffer);
    return MAC_OK;
}

u32 Client::set_addr(const Pool& pool, const MacAddress& address) const {
    mac_ioctl_address record = address_record(pool, address, 0);
    return ioctl_(MAC_IOCTL_SET_ADDR, &record);
}

u32 Client::set_num(const Pool& pool, u32 num) const {
    mac_ioctl_count record{pool.inst, num, pool.type};
    return ioctl_(MAC_IOCTL_SET_NUM, &record);
}

u32 Client::set_block(const Pool& pool, const MacAddress& address, u32 num) const {
    mac_ioctl_address record = address_record(pool, address, num);
    return ioctl_(MAC_IOCTL_SET_ADDR_NUM, &record);
}

u32 Client::replace_block(const Pool& pool, const MacAddress& address, u32 num) const {
    u32 ignored = 0;
    (void)get_num(pool, &ignored);
    return set_block(pool, address, num);
}

u32 Client::show_cfg(std::string* text) const { return show(MAC_IOCTL_SHOW_CFG, text); }
u32 Client::show_types(std::string* text) const { return show(MAC_IOCTL_SHOW_TYPES, text); }

u32 Client::show(u32 command, std::string* text) const {
    // A listing is cut to its buffer in silence: one that fills it is asked for
    // again with more room.
    for (size_t size = kFirstListing;; size = std::min<size_t>(size * 8, MAC_IOCTL_SHOW_LEN_MAX)) {
        std::vector<char> buffer(size);
        mac_ioctl_buffer record{address_of(buffer.data()), static_cast<u32>(size)};
        const u32 status = ioctl_(command, &record);
        if (status != MAC_OK) return status;
        *text = buffer.data();
        if (text->size() + 1 < size || size == MAC_IOCTL_SHOW_LEN_MAX) return MAC_OK;
    }
}

}  // namespace macctl
