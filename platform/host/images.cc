// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/host/images.h"

#include <sys/stat.h>

#include <algorithm>

namespace host {

namespace {

constexpr size_t kFilled = size_t{1} << 20;
constexpr mode_t kImageMode = 0644;

bool is_erased(const std::filesystem::path& path, size_t size) {
    try {
        const std::string content = read_file(path, Source::kFile, size);
        return content.find_first_not_of('\xff') == std::string::npos;
    } catch (const ReadError&) {
        return false;
    }
}

}  // namespace

std::vector<ImageSpec> image_specs(const BoardFile& file) {
    std::vector<ImageSpec> specs;
    for (const FlashSpec& flash : file.flashes()) {
        specs.push_back({flash.image, flash.line, flash.size, false});
    }
    for (const EepromSpec& eeprom : file.eeproms()) {
        specs.push_back({eeprom.image, eeprom.line, eeprom.size, false});
    }
    if (const auto& env = file.env()) specs.push_back({env->image, env->line, env->end(), true});
    return specs;
}

ImageState image_state(const BoardFile& file, const ImageSpec& spec) {
    const std::filesystem::path path = file.resolve(spec.image);
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return ImageState::kMissing;
    const u64 found = static_cast<u64>(status.st_size);
    const bool cut_short = S_ISREG(status.st_mode) && found < spec.size && is_erased(path, found);
    return cut_short ? ImageState::kCutShort : ImageState::kThere;
}

void make_image(const BoardFile& file, const ImageSpec& spec) {
    try {
        NewFile image(file.resolve(spec.image), kImageMode);
        const std::string part(std::min<u64>(spec.size, kFilled), '\xff');
        for (u64 left = spec.size; left > 0;) {
            const size_t here = std::min<u64>(left, part.size());
            image.write({part.data(), here});
            left -= here;
        }
        image.commit();
    } catch (const WriteError& error) {
        throw WriteError(BoardError(file.path(), spec.line, "the image " + spec.image).what(),
                         error.reason(), error.code());
    }
}

}  // namespace host
