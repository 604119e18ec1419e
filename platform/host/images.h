// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The image files of a board: what each of them is to be, and what it is.
#ifndef PLATFORM_HOST_IMAGES_H
#define PLATFORM_HOST_IMAGES_H

#include <string>
#include <vector>

#include "platform/host/board_file.h"
#include "platform/host/files.h"

namespace host {

// The image of a medium, as its board file wants it.
struct ImageSpec {
    std::string image;
    unsigned line;
    u64 size;
    bool at_least;  // a larger one does as well
};

// Of all media, in the order in which they are opened.
std::vector<ImageSpec> image_specs(const BoardFile& file);

// A file that is shorter than it is to be and erased in every byte was cut short when it was
// made: a full disk leaves such a one.
enum class ImageState { kMissing, kCutShort, kThere };
ImageState image_state(const BoardFile& file, const ImageSpec& spec);

// Makes an image, erased; the whole of it or nothing. Throws WriteError.
void make_image(const BoardFile& file, const ImageSpec& spec);

}  // namespace host

#endif
