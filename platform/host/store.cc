// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/host/store.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace host {

bool refuse(const std::string& reason, Reasons* reasons) {
    if (std::find(reasons->begin(), reasons->end(), reason) == reasons->end()) {
        reasons->push_back(reason);
    }
    return false;
}

bool MemoryStore::read(u32 offset, Bytes bytes) {
    std::copy_n(bytes_.begin() + offset, bytes.size(), bytes.begin());
    return true;
}

bool MemoryStore::write(u32 offset, ConstBytes bytes) {
    std::copy(bytes.begin(), bytes.end(), bytes_.begin() + offset);
    return true;
}

FileStore::~FileStore() { close(descriptor_); }

bool FileStore::read(u32 offset, Bytes bytes) {
    while (!bytes.empty()) {
        const ssize_t moved = pread(descriptor_, bytes.data(), bytes.size(), offset);
        if (moved < 0 && errno == EINTR) continue;
        if (moved <= 0) return false;
        offset += static_cast<u32>(moved);
        bytes = bytes.subspan(static_cast<size_t>(moved));
    }
    return true;
}

bool FileStore::write(u32 offset, ConstBytes bytes) {
    while (!bytes.empty()) {
        const ssize_t moved = pwrite(descriptor_, bytes.data(), bytes.size(), offset);
        if (moved < 0 && errno == EINTR) continue;
        if (moved <= 0) return false;
        offset += static_cast<u32>(moved);
        bytes = bytes.subspan(static_cast<size_t>(moved));
    }
    // Device files that know no synchronisation (EINVAL) have written through.
    return fdatasync(descriptor_) == 0 || errno == EINVAL;
}

}  // namespace host
