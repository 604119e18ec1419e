// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Plain bytes that an image is kept in: a file, or memory for tests.
#ifndef PLATFORM_HOST_STORE_H
#define PLATFORM_HOST_STORE_H

#include <span>
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

// What is not there: nothing can be read or written.
class AbsentStore : public Store {
public:
    explicit AbsentStore(u32 size) : size_(size) {}
    u32 size() const override { return size_; }
    bool read(u32 /*offset*/, Bytes /*bytes*/) override { return false; }
    bool write(u32 /*offset*/, ConstBytes /*bytes*/) override { return false; }

private:
    u32 size_;
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
