// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Media of a board: flash with NOR rules, EEPROMs with pages, plain bytes. Every
// write is read back and compared.
#ifndef PLATFORM_HOST_MEDIUM_H
#define PLATFORM_HOST_MEDIUM_H

#include <memory>
#include <mutex>
#include <string>

#include "platform/common/write_guard.h"
#include "platform/host/store.h"

namespace host {

// What went over the bus since the board was opened.
struct Traffic {
    u64 reads = 0;
    u64 bytes_read = 0;
    u64 programs = 0;
    u64 bytes_programmed = 0;
    u64 erases = 0;

    bool operator==(const Traffic&) const = default;
};

// A medium that records are read from and written to; an access is one step for every
// thread. Results are 0 or a code of platform/common/service_status.h.
class Medium {
public:
    virtual ~Medium() = default;
    virtual u32 size() const = 0;
    u32 read(u32 offset, Bytes bytes);
    // A range that did not take 16 writes in a row is refused from then on.
    u32 write(u32 offset, ConstBytes bytes);
    const Traffic& traffic() const { return traffic_; }

protected:
    // The range has been checked and is not empty.
    virtual u32 do_read(u32 offset, Bytes bytes) = 0;
    virtual u32 do_write(u32 offset, ConstBytes bytes) = 0;

    Traffic traffic_;

private:
    bool in_range(u32 offset, size_t length) const;
    u32 verify(u32 offset, ConstBytes bytes);

    std::mutex lock_;
    write_guard guard_{};
};

// A flash device: erasing sets a whole block to 0xff, programming clears bits.
class NorDevice {
public:
    virtual ~NorDevice() = default;
    virtual u32 size() const = 0;
    virtual u32 erase_size() const = 0;
    virtual bool read(u32 offset, Bytes bytes) = 0;
    virtual bool erase(u32 block) = 0;
    virtual bool program(u32 offset, ConstBytes bytes) = 0;
};

// NOR rules over plain bytes.
class EmulatedNor : public NorDevice {
public:
    EmulatedNor(std::unique_ptr<Store> store, u32 erase_size)
        : store_(std::move(store)), erase_size_(erase_size) {}
    u32 size() const override { return store_->size(); }
    u32 erase_size() const override { return erase_size_; }
    bool read(u32 offset, Bytes bytes) override { return store_->read(offset, bytes); }
    bool erase(u32 block) override;
    bool program(u32 offset, ConstBytes bytes) override;

private:
    std::unique_ptr<Store> store_;
    u32 erase_size_;
};

// Flash: a write reads the blocks that it touches, erases those in which a bit
// must be set, programs what differs, and does nothing where nothing differs.
// Foreign bytes of a block keep their values.
class FlashMedium : public Medium {
public:
    explicit FlashMedium(std::unique_ptr<NorDevice> device) : device_(std::move(device)) {}
    u32 size() const override { return device_->size(); }

protected:
    u32 do_read(u32 offset, Bytes bytes) override;
    u32 do_write(u32 offset, ConstBytes bytes) override;

private:
    u32 write_block(u32 block, u32 from, ConstBytes bytes);
    u32 program(u32 offset, ConstBytes bytes);

    std::unique_ptr<NorDevice> device_;
};

// An EEPROM: a write goes page by page and skips pages that hold it already.
class EepromMedium : public Medium {
public:
    EepromMedium(std::unique_ptr<Store> store, u32 page) : store_(std::move(store)), page_(page) {}
    u32 size() const override { return store_->size(); }

protected:
    u32 do_read(u32 offset, Bytes bytes) override;
    u32 do_write(u32 offset, ConstBytes bytes) override;

private:
    std::unique_ptr<Store> store_;
    u32 page_;
};

}  // namespace host

#endif
