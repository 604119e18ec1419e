// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "tools/macctl/live_board.h"
#include "tools/macctl/target.h"

namespace macctl {

namespace {

constexpr char kRing[] = "/sys/kernel/debug/mac_platform/mac_mng";
constexpr char kDeviceNumber[] = "/sys/class/misc/mac_mng/dev";
constexpr char kAttributeFolder[] = "/sys/devices/mac_platform/mac_mng/";

std::string open_failure(int error) {
    switch (error) {
        case ENOENT:
            return "is mac_mng loaded?";
        case EACCES:
        case EPERM:
            return "only root, or the group that the administrator chose, may use it";
        case ENODEV:
            return "mac_mng has not finished its start-up; the kernel log says why";
        default:
            return "the kernel log may say why";
    }
}

// A descriptor that closes itself.
class Device {
public:
    explicit Device(const std::filesystem::path& path)
        : path_(path.string()), descriptor_(::open(path.c_str(), O_RDWR | O_CLOEXEC)) {
        if (descriptor_ >= 0) return;
        const int error = errno;
        throw TargetError(fmt::format("{} cannot be opened: {}; {}", path_, strerror(error),
                                      open_failure(error)));
    }
    ~Device() { close(descriptor_); }
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    // For what never asks the device itself. Throws TargetError.
    void must_be_ours() const {
        struct stat status {};
        std::string ours;
        std::getline(std::ifstream(kDeviceNumber), ours);
        if (fstat(descriptor_, &status) == 0 && S_ISCHR(status.st_mode) &&
            ours == fmt::format("{}:{}", major(status.st_rdev), minor(status.st_rdev))) {
            return;
        }
        throw TargetError(fmt::format("{} is not the control device of mac_mng, which is {}", path_,
                                      ours.empty() ? "not loaded" : ours));
    }

    u32 command(u32 number, void* record) const {
        int result = 0;
        do {
            result = ::ioctl(descriptor_, number, record);
        } while (result == -1 && errno == EINTR);
        if (result == -1 && (errno == ENOTTY || errno == EINVAL)) {
            throw TargetError(path_ + " is not the control device of mac_mng: " + strerror(errno));
        }
        return ioctl_status(result, errno);
    }

private:
    std::string path_;
    int descriptor_;
};

// A ring's line: the level's digit, a space and the text.
LogEntry parse_line(const std::string& line) {
    const size_t space = line.find(' ');
    if (space == std::string::npos) return {0, line};
    return {static_cast<u32>(strtoul(line.c_str(), nullptr, 10)), line.substr(space + 1)};
}

class DeviceTarget : public Target {
public:
    explicit DeviceTarget(const std::shared_ptr<const Device>& device)
        : device_(device),
          client_([device](u32 number, void* record) { return device->command(number, record); }) {}

    const Client& client() override { return client_; }

    // The device does not tell, but it refuses to mount what is mounted.
    bool is_mounted(u32 inst) override {
        if (client_.init(inst) != 0) return true;
        (void)client_.deinit(inst);
        return false;
    }

    std::vector<LogEntry> log() override {
        std::ifstream stream(kRing);
        if (!stream) {
            throw TargetError(fmt::format(
                "{} cannot be read: {}; the log is for root, and debugfs has to be mounted", kRing,
                strerror(errno)));
        }
        std::vector<LogEntry> entries;
        for (std::string line; std::getline(stream, line);) entries.push_back(parse_line(line));
        return entries;
    }

    std::optional<std::string> attribute(const std::string& name) override {
        std::ifstream stream(kAttributeFolder + name);
        if (!stream) return std::nullopt;
        return std::string(std::istreambuf_iterator<char>(stream), {});
    }

    host::BoardFile board_file() override { return live_board(); }

    std::vector<PoolReport> inspect(const PoolFilter& filter) override {
        device_->must_be_ours();
        const auto board = host::Board::open(live_board(), host::Access::kReadOnly);
        std::vector<PoolReport> reports = macctl::inspect(board.get(), filter);
        // A record may be on its way to the medium: what looks bad is looked at again.
        for (const PoolReport& report : reports) {
            if (report.health != Health::kGood) return macctl::inspect(board.get(), filter);
        }
        return reports;
    }

private:
    std::shared_ptr<const Device> device_;
    Client client_;
};

}  // namespace

u32 ioctl_status(int result, int error) { return static_cast<u32>(result == -1 ? -error : result); }

std::unique_ptr<Target> open_device(const std::filesystem::path& device) {
    return std::make_unique<DeviceTarget>(std::make_shared<const Device>(device));
}

}  // namespace macctl
