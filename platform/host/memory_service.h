// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The record heap and the control-device heap, counted.
#ifndef PLATFORM_HOST_MEMORY_SERVICE_H
#define PLATFORM_HOST_MEMORY_SERVICE_H

#include <cstddef>

namespace host {

struct HeapUse {
    std::size_t blocks;
    std::size_t bytes;
    std::size_t peak;  // the most bytes since the last heap_forget_peak()
};

// What is allocated and not yet freed, both heaps together.
HeapUse heap_use();

// The peak is what is allocated now.
void heap_forget_peak();

// Frees whatever is left: what the system leaves on purpose when an instance is
// unmounted and at shutdown.
void heap_release_all();

}  // namespace host

#endif
