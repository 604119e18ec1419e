// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Scoped holders: locks and memory that are given back on every way out.
#ifndef BASE_GUARD_H
#define BASE_GUARD_H

#include "platform/lock.h"
#include "platform/memory.h"

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
