// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Plain bytes that an image is kept in: a file, or memory for tests.
#ifndef PLATFORM_HOST_STORE_H
#define PLATFORM_HOST_STORE_H

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/types.h"

namespace host {

using Bytes = std::span<u8>;
using ConstBytes = std::span<const u8>;

class Store {
public:
    virtual ~Store() = default;
    virtual u32 size() const = 0;
    // Both move all bytes, which lie inside the store, or return false.
    virtual bool read(u32 offset, Bytes bytes) = 0;
    virtual bool write(u32 offset, ConstBytes bytes) = 0;
};

class MemoryStore : public Store {
public:
    explicit MemoryStore(u32 size) : bytes_(size, 0xff) {}
    u32 size() const override { return static_cast<u32>(bytes_.size()); }
    bool read(u32 offset, Bytes bytes) override;
    bool write(u32 offset, ConstBytes bytes) override;
    std::vector<u8>& bytes() { return bytes_; }

private:
    std::vector<u8> bytes_;
};

// Why a store is not what it is asked for, each reason once.
using Reasons = std::vector<std::string>;
bool refuse(const std::string& reason, Reasons* reasons);

// What is not there: nothing can be read or written.
class AbsentStore : public Store {
public:
    AbsentStore(u32 size, std::string reason, Reasons* reasons)
        : size_(size), reason_(std::move(reason)), reasons_(reasons) {}
    u32 size() const override { return size_; }
    bool read(u32 /*offset*/, Bytes /*bytes*/) override { return refuse(reason_, reasons_); }
    bool write(u32 /*offset*/, ConstBytes /*bytes*/) override { return refuse(reason_, reasons_); }

private:
    u32 size_;
    std::string reason_;
    Reasons* reasons_;
};

// What can be read and not written.
class ReadOnlyStore : public Store {
public:
    ReadOnlyStore(std::unique_ptr<Store> store, std::string reason, Reasons* reasons)
        : store_(std::move(store)), reason_(std::move(reason)), reasons_(reasons) {}
    u32 size() const override { return store_->size(); }
    bool read(u32 offset, Bytes bytes) override { return store_->read(offset, bytes); }
    bool write(u32 /*offset*/, ConstBytes /*bytes*/) override { return refuse(reason_, reasons_); }

private:
    std::unique_ptr<Store> store_;
    std::string reason_;
    Reasons* reasons_;
};

// An open file; written bytes are on the disk when write() returns.
class FileStore : public Store {
public:
    // Takes the descriptor over.
    FileStore(int descriptor, u32 size) : descriptor_(descriptor), size_(size) {}
    ~FileStore() override;
    FileStore(const FileStore&) = delete;
    FileStore& operator=(const FileStore&) = delete;
    u32 size() const override { return size_; }
    bool read(u32 offset, Bytes bytes) override;
    bool write(u32 offset, ConstBytes bytes) override;

private:
    int descriptor_;
    u32 size_;
};

}  // namespace host

#endif
