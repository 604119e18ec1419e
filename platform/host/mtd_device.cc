// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/host/mtd_device.h"

#include <fcntl.h>
#include <libmtd.h>
#include <mtd/mtd-user.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace host {

namespace {

class MtdDevice : public NorDevice {
public:
    MtdDevice(libmtd_t library, const mtd_dev_info& info, int descriptor)
        : library_(library), info_(info), descriptor_(descriptor) {}
    ~MtdDevice() override {
        close(descriptor_);
        libmtd_close(library_);
    }
    MtdDevice(const MtdDevice&) = delete;
    MtdDevice& operator=(const MtdDevice&) = delete;

    u32 size() const override { return static_cast<u32>(info_.size); }
    u32 erase_size() const override { return static_cast<u32>(info_.eb_size); }

    bool read(u32 offset, Bytes bytes) override {
        return for_each_block(
            offset, bytes.size(), [&](int block, int from, size_t at, int length) {
                return mtd_read(&info_, descriptor_, block, from, bytes.data() + at, length) == 0;
            });
    }

    bool erase(u32 block) override {
        unlock(block);
        return mtd_erase(library_, &info_, descriptor_, static_cast<int>(block)) == 0;
    }

    bool program(u32 offset, ConstBytes bytes) override {
        std::vector<u8> copy(bytes.begin(), bytes.end());
        return for_each_block(offset, copy.size(), [&](int block, int from, size_t at, int length) {
            unlock(static_cast<u32>(block));
            return mtd_write(library_, &info_, descriptor_, block, from, copy.data() + at, length,
                             nullptr, 0, 0) == 0;
        });
    }

private:
    // Devices that lock their blocks refuse to change a locked one. Those that know
    // no locks refuse the unlock, which does not matter; the library would print
    // an error for it.
    void unlock(u32 block) const {
        erase_info_user range = {block * erase_size(), erase_size()};
        (void)ioctl(descriptor_, MEMUNLOCK, &range);
    }

    template <typename Action>
    bool for_each_block(u32 offset, size_t length, Action action) const {
        for (size_t done = 0; done < length;) {
            const u32 at = offset + static_cast<u32>(done);
            const u32 from = at % erase_size();
            const size_t here = std::min<size_t>(length - done, erase_size() - from);
            if (!action(static_cast<int>(at / erase_size()), static_cast<int>(from), done,
                        static_cast<int>(here))) {
                return false;
            }
            done += here;
        }
        return true;
    }

    libmtd_t library_;
    mtd_dev_info info_;
    int descriptor_;
};

}  // namespace

std::unique_ptr<NorDevice> open_mtd(const std::string& path, bool writing, MtdGeometry* geometry,
                                    std::string* error) {
    libmtd_t library = libmtd_open();
    if (library == nullptr) {
        *error = "the kernel offers no MTD devices";
        return nullptr;
    }
    mtd_dev_info info{};
    const int flags = (writing ? O_RDWR : O_RDONLY) | O_CLOEXEC;
    const int descriptor =
        mtd_get_dev_info(library, path.c_str(), &info) == 0 ? open(path.c_str(), flags) : -1;
    if (descriptor < 0) {
        *error = std::string("the MTD device cannot be opened: ") + std::strerror(errno);
        libmtd_close(library);
        return nullptr;
    }
    *geometry = {static_cast<u64>(info.size), static_cast<u32>(info.eb_size), info.writable != 0,
                 info.type == MTD_NORFLASH};
    return std::make_unique<MtdDevice>(library, info, descriptor);
}

}  // namespace host
