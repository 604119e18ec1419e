// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Scoped holders: locks and memory that are given back on every way out, and records that
// are given back when nobody uses them any more.
#ifndef BASE_GUARD_H
#define BASE_GUARD_H

#include <stddef.h>

#include "platform/lock.h"
#include "platform/memory.h"
#include "platform/reclaim.h"

namespace mac {

// Holds a spinlock with interrupts off; restores the interrupt state it found.
class [[nodiscard]] SpinGuard {
public:
    explicit SpinGuard(platform_spinlock& lock)
        : lock_(lock), flags_(platform_spin_lock_irqsave(&lock)) {}
    ~SpinGuard() { platform_spin_unlock_irqrestore(&lock_, flags_); }
    SpinGuard(const SpinGuard&) = delete;
    SpinGuard& operator=(const SpinGuard&) = delete;

private:
    platform_spinlock& lock_;
    unsigned long flags_;
};

// A call that uses what look-ups hand out: none of it is freed before it has left. It does
// not wait and holds nobody up.
class [[nodiscard]] CallGuard {
public:
    CallGuard() : token_(platform_reclaim_enter()) {}
    ~CallGuard() { platform_reclaim_leave(token_); }
    CallGuard(const CallGuard&) = delete;
    CallGuard& operator=(const CallGuard&) = delete;

private:
    int token_;
};

// The record that a `reclaim` is the member of.
template <typename T>
T* owner_of(platform_reclaim* reclaim) {
    return reinterpret_cast<T*>(reinterpret_cast<char*>(reclaim) - offsetof(T, reclaim));
}

// Frees a record of the record heap that no look-up finds any more, once every call that is
// inside has left. Any context.
template <typename T>
void free_later(T* record) {
    platform_reclaim_later(&record->reclaim,
                           [](platform_reclaim* reclaim) { platform_free(owner_of<T>(reclaim)); });
}

// Owns one zero-filled record of the record heap until release().
template <typename T>
class [[nodiscard]] HeapRecord {
public:
    HeapRecord() : record_(static_cast<T*>(platform_zalloc(sizeof(T)))) {}
    ~HeapRecord() { platform_free(record_); }
    HeapRecord(const HeapRecord&) = delete;
    HeapRecord& operator=(const HeapRecord&) = delete;

    explicit operator bool() const { return record_ != nullptr; }
    T* get() const { return record_; }
    T* operator->() const { return record_; }

    // Hands the record to its next owner.
    [[nodiscard]] T* release() {
        T* const record = record_;
        record_ = nullptr;
        return record;
    }

private:
    T* record_;
};

// Owns one control-device buffer.
class [[nodiscard]] ControlBuffer {
public:
    explicit ControlBuffer(u32 bytes) : bytes_(static_cast<u8*>(platform_buffer_alloc(bytes))) {}
    ~ControlBuffer() { platform_buffer_free(bytes_); }
    ControlBuffer(const ControlBuffer&) = delete;
    ControlBuffer& operator=(const ControlBuffer&) = delete;

    explicit operator bool() const { return bytes_ != nullptr; }
    u8* get() const { return bytes_; }

private:
    u8* bytes_;
};

}  // namespace mac

#endif
