// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/host/medium.h"

#include <algorithm>

#include "platform/common/service_status.h"

namespace host {

bool Medium::in_range(u32 offset, size_t length) const { return u64{offset} + length <= size(); }

u32 Medium::read(u32 offset, Bytes bytes) {
    if (!in_range(offset, bytes.size())) return SERVICE_OUT_OF_RANGE;
    if (bytes.empty()) return 0;
    const std::lock_guard guard(lock_);
    return do_read(offset, bytes);
}

u32 Medium::write(u32 offset, ConstBytes bytes) {
    if (!in_range(offset, bytes.size())) return SERVICE_OUT_OF_RANGE;
    if (bytes.empty()) return 0;
    const u32 length = static_cast<u32>(bytes.size());
    const std::lock_guard guard(lock_);
    if (write_guard_refuses(&guard_, 0, offset, length) != 0) return SERVICE_WORN_OUT;
    u32 result = do_write(offset, bytes);
    if (result == 0) result = verify(offset, bytes);
    if (result == 0 || result == SERVICE_VERIFY_FAILED) {
        (void)write_guard_note(&guard_, 0, offset, length, result == 0 ? 1 : 0);
    }
    return result;
}

u32 Medium::verify(u32 offset, ConstBytes bytes) {
    std::vector<u8> stored(bytes.size());
    const u32 result = do_read(offset, stored);
    if (result != 0) return result;
    return std::equal(bytes.begin(), bytes.end(), stored.begin()) ? SERVICE_OK
                                                                  : SERVICE_VERIFY_FAILED;
}

// The last block of an image need not be whole.
bool EmulatedNor::erase(u32 block) {
    const u32 start = block * erase_size_;
    return store_->write(start, std::vector<u8>(std::min(erase_size_, size() - start), 0xff));
}

bool EmulatedNor::program(u32 offset, ConstBytes bytes) {
    std::vector<u8> cells(bytes.size());
    if (!store_->read(offset, cells)) return false;
    for (size_t i = 0; i < cells.size(); ++i) cells[i] &= bytes[i];
    return store_->write(offset, cells);
}

u32 FlashMedium::do_read(u32 offset, Bytes bytes) {
    ++traffic_.reads;
    traffic_.bytes_read += bytes.size();
    return device_->read(offset, bytes) ? SERVICE_OK : SERVICE_IO_ERROR;
}

u32 FlashMedium::do_write(u32 offset, ConstBytes bytes) {
    const u32 erase_size = device_->erase_size();
    while (!bytes.empty()) {
        const u32 from = offset % erase_size;
        const size_t here = std::min<size_t>(bytes.size(), erase_size - from);
        const u32 result = write_block(offset / erase_size, from, bytes.first(here));
        if (result != 0) return result;
        offset += static_cast<u32>(here);
        bytes = bytes.subspan(here);
    }
    return 0;
}

u32 FlashMedium::write_block(u32 block, u32 from, ConstBytes bytes) {
    const u32 start = block * device_->erase_size();
    std::vector<u8> old(bytes.size());
    u32 result = do_read(start + from, old);
    if (result != 0) return result;
    const auto [old_at, new_at] = std::mismatch(old.begin(), old.end(), bytes.begin());
    if (old_at == old.end()) return 0;
    const bool only_clears = std::equal(old.begin(), old.end(), bytes.begin(),
                                        [](u8 was, u8 is) { return (was & is) == is; });
    if (only_clears) {
        const size_t skipped = static_cast<size_t>(new_at - bytes.begin());
        return program(start + from + static_cast<u32>(skipped), bytes.subspan(skipped));
    }
    std::vector<u8> whole(std::min(device_->erase_size(), size() - start));
    result = do_read(start, whole);
    if (result != 0) return result;
    std::copy(bytes.begin(), bytes.end(), whole.begin() + from);
    ++traffic_.erases;
    if (!device_->erase(block)) return SERVICE_IO_ERROR;
    return program(start, whole);
}

u32 FlashMedium::program(u32 offset, ConstBytes bytes) {
    ++traffic_.programs;
    traffic_.bytes_programmed += bytes.size();
    return device_->program(offset, bytes) ? SERVICE_OK : SERVICE_IO_ERROR;
}

u32 EepromMedium::do_read(u32 offset, Bytes bytes) {
    ++traffic_.reads;
    traffic_.bytes_read += bytes.size();
    return store_->read(offset, bytes) ? SERVICE_OK : SERVICE_IO_ERROR;
}

u32 EepromMedium::do_write(u32 offset, ConstBytes bytes) {
    std::vector<u8> old(bytes.size());
    const u32 result = do_read(offset, old);
    if (result != 0) return result;
    for (size_t done = 0; done < bytes.size();) {
        const u32 at = offset + static_cast<u32>(done);
        const size_t here = std::min<size_t>(bytes.size() - done, page_ - at % page_);
        const ConstBytes chunk = bytes.subspan(done, here);
        if (!std::equal(chunk.begin(), chunk.end(), old.begin() + static_cast<long>(done))) {
            ++traffic_.programs;
            traffic_.bytes_programmed += here;
            if (!store_->write(at, chunk)) return SERVICE_IO_ERROR;
        }
        done += here;
    }
    return 0;
}

}  // namespace host
