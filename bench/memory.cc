// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Bytes that the system asks of the two heaps, in lines "NAME: BYTES".
#include <fmt/format.h>

#include "bench/world.h"
#include "control/mac_ioctl.h"
#include "mac_mng/mac_ioctl.h"
#include "mac_mng/mac_mng.h"
#include "platform/host/memory_service.h"

namespace {

// What mounting an instance with that many pools takes.
size_t instance_bytes(u32 pools) {
    const bench::World world(2, 1, pools);
    const size_t before = host::heap_use().bytes;
    (void)drv_mac_init(1);
    return host::heap_use().bytes - before;
}

size_t peak_of_command(u32 cmd, void* record) {
    const bench::World world(1);
    const size_t before = host::heap_use().bytes;
    host::heap_forget_peak();
    (void)drv_mac_ioctl(nullptr, cmd, reinterpret_cast<u64>(record));
    return host::heap_use().peak - before;
}

size_t list_peak() {
    static u8 out[6 * bench::kLongest];
    mac_ioctl_list list{MAC_DEFAULT_INSTANCE, 0, bench::kLongest, reinterpret_cast<u64>(out),
                        sizeof(out)};
    return peak_of_command(MAC_IOCTL_GET_ADDR_NUM, &list);
}

size_t get_peak() {
    mac_ioctl_address address{};
    address.inst = MAC_DEFAULT_INSTANCE;
    return peak_of_command(MAC_IOCTL_GET_ADDR, &address);
}

}  // namespace

int main() {
    const size_t one = instance_bytes(1);
    fmt::print("an instance with one pool: {}\n", one);
    fmt::print("every further pool: {}\n", instance_bytes(2) - one);
    fmt::print("while an address is read: {}\n", get_peak());
    fmt::print("while a list of 65534 is made: {}\n", list_peak());
    return 0;
}
