// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/host/memory_service.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "platform/host/checker.h"
#include "platform/host/journal.h"
#include "platform/memory.h"
#include "platform/poison.h"

namespace {

enum class Heap : u32 {
    kRecord = 0x7265636f,
    kKept = 0x6b657074,
    kControl = 0x6374726c,
    kFreed = 0x66726565
};

// As Linux 4.4 has them.
constexpr std::uintptr_t kListPoisonNext = 0xdead000000000100;
constexpr std::uintptr_t kListPoisonPrev = 0xdead000000000200;

// In front of every block. The chain keeps what is left on purpose reachable.
struct Header {
    Header* next;
    Header* prev;
    std::size_t bytes;
    Heap heap;
};
constexpr std::size_t kHeaderBytes = (sizeof(Header) + 15) / 16 * 16;
constexpr int kPoison = 0x6b;

std::mutex chain_lock;
Header* chain = nullptr;
host::HeapUse use{};

void* allocate(u64 bytes, Heap heap) {
    auto* const header = static_cast<Header*>(std::calloc(1, kHeaderBytes + bytes));
    if (header == nullptr) return nullptr;
    const std::lock_guard guard(chain_lock);
    header->next = chain;
    if (chain != nullptr) chain->prev = header;
    chain = header;
    header->bytes = bytes;
    header->heap = heap;
    ++use.blocks;
    use.bytes += bytes;
    use.peak = std::max(use.peak, use.bytes);
    return reinterpret_cast<char*>(header) + kHeaderBytes;
}

void release(void* block, Heap heap) {
    if (block == nullptr) return;
    char* const bytes = static_cast<char*>(block);
    auto* const header = reinterpret_cast<Header*>(bytes - kHeaderBytes);
    const std::lock_guard guard(chain_lock);
    if (header->heap != heap) host::violation("free of %p, which is no block of that heap", block);
    (header->prev == nullptr ? chain : header->prev->next) = header->next;
    if (header->next != nullptr) header->next->prev = header->prev;
    --use.blocks;
    use.bytes -= header->bytes;
    header->heap = Heap::kFreed;
    std::memset(bytes, kPoison, header->bytes);
    std::free(header);
}

}  // namespace

namespace host {

HeapUse heap_use() {
    const std::lock_guard guard(chain_lock);
    return use;
}

void heap_forget_peak() {
    const std::lock_guard guard(chain_lock);
    use.peak = use.bytes;
}

void heap_release_all() {
    const std::lock_guard guard(chain_lock);
    while (chain != nullptr) {
        Header* const next = chain->next;
        std::free(chain);
        chain = next;
    }
    use = {};
}

}  // namespace host

namespace {

void* allocate_record(u64 bytes, Heap heap) {
    host_journal("platform_zalloc %llu", bytes);
    host::might_sleep("platform_zalloc");
    if (host::faults().hit(host::Call::kZalloc) || bytes > PLATFORM_HEAP_MAX) return nullptr;
    return allocate(bytes, heap);
}

}  // namespace

void* platform_zalloc(u64 bytes) { return allocate_record(bytes, Heap::kRecord); }

void platform_free(void* block) { release(block, Heap::kRecord); }

void* platform_kept_zalloc(u64 bytes) { return allocate_record(bytes, Heap::kKept); }

void platform_kept_free(void* block) { release(block, Heap::kKept); }

void* platform_buffer_alloc(u64 bytes) {
    host_journal("platform_buffer_alloc %llu", bytes);
    host::might_sleep("platform_buffer_alloc");
    if (host::faults().hit(host::Call::kBufferAlloc) || bytes > PLATFORM_BUFFER_MAX) {
        return nullptr;
    }
    return allocate(bytes, Heap::kControl);
}

void platform_buffer_free(void* buffer) {
    host::might_sleep("platform_buffer_free");
    release(buffer, Heap::kControl);
}

mac_link platform_list_poison() {
    return {reinterpret_cast<mac_link*>(kListPoisonNext),
            reinterpret_cast<mac_link*>(kListPoisonPrev)};
}
