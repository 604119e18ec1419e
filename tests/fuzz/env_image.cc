// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// A boot environment of any content, single and redundant: whether it is valid, which
// copy is current and what the variables hold is what libubootenv makes of the image.
#include "platform/common/env_image.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string>

#include "tests/fuzz/fuzz.h"

extern "C" {
#include <libuboot.h>
}

namespace fuzz {

namespace {

using platform::EnvFlags;
using platform::EnvState;
using Variables = std::map<std::string, std::string>;

constexpr u32 kSize = 256;
constexpr char kAddress[] = "02:00:00:00:00:01";

// A file of this process's own.
class File {
public:
    explicit File(Input bytes) {
        descriptor_ = mkstemp(path_);
        must(
            descriptor_ >= 0 && write(descriptor_, bytes.data(), bytes.size()) == std::ssize(bytes),
            "no file");
    }
    ~File() {
        unlink(path_);
        close(descriptor_);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    const char* path() const { return path_; }

private:
    char path_[32] = "/tmp/mac_fuzz_XXXXXX";
    int descriptor_;
};

// What the library finds; false when it takes no copy for valid.
bool peer_reads(const std::vector<u8>& bytes, bool redundant, Variables* variables) {
    const File image(bytes);
    std::string lines = fmt::format("{} 0x0 {:#x}\n", image.path(), kSize);
    if (redundant) lines += fmt::format("{} {:#x} {:#x}\n", image.path(), kSize, kSize);
    const File config({reinterpret_cast<const u8*>(lines.data()), lines.size()});
    uboot_ctx* context = nullptr;
    must(libuboot_initialize(&context, nullptr) == 0 &&
             libuboot_read_config(context, config.path()) == 0,
         "the library does not start");
    const bool valid = libuboot_open(context) == 0;
    for (void* at = nullptr; valid && (at = libuboot_iterator(context, at)) != nullptr;) {
        (*variables)[libuboot_getname(at)] = libuboot_getvalue(at);
    }
    libuboot_close(context);
    libuboot_exit(context);
    return valid;
}

// The texts of a data area; false where the format says nothing of how to read them.
bool plain(Input data, Variables* variables) {
    size_t at = 0;
    while (at < data.size() && data[at] != 0) {
        const auto end = std::find(data.begin() + static_cast<long>(at), data.end(), u8{0});
        if (end == data.end()) return false;
        const std::string text(data.begin() + static_cast<long>(at), end);
        const size_t equals = text.find('=');
        if (equals == 0 || equals == std::string::npos || equals + 1 == text.size()) return false;
        const std::string name = text.substr(0, equals);
        // The library keeps rules in a variable of this name.
        if (name == ".flags" || !variables->emplace(name, text.substr(equals + 1)).second) {
            return false;
        }
        at += text.size() + 1;
    }
    return at < data.size();
}

void same_variables(Input data, const Variables& expected) {
    for (const auto& [name, value] : expected) {
        u32 length = 0;
        const char* const found =
            platform::env_find(data.data(), static_cast<u32>(data.size()), name.c_str(), &length);
        must(found != nullptr && value == std::string(found, length), "a variable differs");
    }
}

// The area with one variable changed; as it was when that is refused.
std::vector<u8> change_one(Input data) {
    std::vector<u8> area(data.begin(), data.end());
    const auto result =
        platform::env_set(area.data(), static_cast<u32>(area.size()), "ethaddr", kAddress);
    must(result == platform::EnvResult::kOk || std::equal(data.begin(), data.end(), area.begin()),
         "a refused change changes something");
    return area;
}

}  // namespace

// Bytes: redundant or not, which copies are damaged, two flags, the two copies' data.
void env_image(Input input) {
    static constexpr u8 kFlags[][2] = {{1, 2}, {2, 1}, {7, 7}, {1, 100}, {0, 1}, {255, 0}};
    Reader reader(input);
    const bool redundant = reader.byte() % 2 == 1;
    const u8 damage = reader.byte();
    const u8* const flag = kFlags[reader.byte() % std::size(kFlags)];
    const EnvFlags kind = redundant ? EnvFlags::kCounter : EnvFlags::kNone;
    const u32 header = platform::env_data_offset(kind);
    std::vector<u8> image(2 * size_t{kSize});
    platform::EnvCopy copies[2] = {};
    for (u32 i = 0; i < 2; ++i) {
        u8* const copy = image.data() + size_t{i} * kSize;
        const Input data = reader.bytes(kSize - header);
        std::copy(data.begin(), data.end(), copy + header);
        platform::env_seal(copy, kSize, kind, flag[i]);
        if (damage >> i & 1) copy[damage >> 2 & 3] ^= 0x40;
        copies[i] = platform::env_inspect(copy, kSize, kind);
        must((copies[i].state == EnvState::kValid) == ((damage >> i & 1) == 0), "a check failed");
    }
    const bool valid[] = {copies[0].state == EnvState::kValid,
                          redundant && copies[1].state == EnvState::kValid};
    const u32 preferred = redundant ? platform::env_preferred(flag[0], flag[1], kind) : 0;
    const int current = static_cast<int>(valid[preferred] ? preferred : 1 - preferred);
    Variables peer;
    if (!valid[current]) {
        must(!peer_reads(image, redundant, &peer), "the library reads what is not valid here");
        return;
    }
    const Input data =
        Input(image).subspan(size_t{kSize} * static_cast<u32>(current) + header, kSize - header);
    (void)change_one(data);
    Variables expected;
    // The library reads past the end of texts that are not terminated.
    if (!plain(data, &expected)) return;
    must(peer_reads(image, redundant, &peer), "the library refuses what is valid here");
    must(peer == expected, "the library reads something else");
    same_variables(data, expected);
    expected["ethaddr"] = kAddress;
    Variables after;
    const std::vector<u8> changed = change_one(data);
    must(plain(changed, &after), "a change leaves an area that is none");
    must(after == expected || std::equal(data.begin(), data.end(), changed.begin()),
         "a change changes something else");
}

}  // namespace fuzz
