// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/version.h"

#include <link.h>

#include <cstring>
#include <span>

namespace macctl {

namespace {

using Bytes = std::span<const unsigned char>;

constexpr char kDigits[] = "0123456789abcdef";

size_t rounded_up(size_t size, size_t step) { return (size + step - 1) / step * step; }

// The content of the build id among notes; empty where it is not there.
Bytes find_id(Bytes notes, size_t step) {
    ElfW(Nhdr) head{};
    while (notes.size() >= sizeof(head)) {
        std::memcpy(&head, notes.data(), sizeof(head));
        const size_t content = rounded_up(sizeof(head) + head.n_namesz, step);
        const size_t end = rounded_up(content + head.n_descsz, step);
        if (end > notes.size()) break;
        const bool is_gnu = head.n_namesz == sizeof(ELF_NOTE_GNU) &&
                            std::memcmp(&notes[sizeof(head)], ELF_NOTE_GNU, head.n_namesz) == 0;
        if (is_gnu && head.n_type == NT_GNU_BUILD_ID) {
            return notes.subspan(content, head.n_descsz);
        }
        notes = notes.subspan(end);
    }
    return {};
}

// Is called for the program first, and needs no other.
int take_id(dl_phdr_info* program, size_t /*size*/, void* result) {
    for (size_t i = 0; i < program->dlpi_phnum; ++i) {
        const ElfW(Phdr)& part = program->dlpi_phdr[i];
        if (part.p_type != PT_NOTE) continue;
        const auto* const notes =
            reinterpret_cast<const unsigned char*>(program->dlpi_addr + part.p_vaddr);
        for (const unsigned char byte : find_id({notes, part.p_memsz}, part.p_align)) {
            const char digits[] = {kDigits[byte >> 4], kDigits[byte & 0xf]};
            static_cast<std::string*>(result)->append(digits, sizeof(digits));
        }
    }
    return 1;
}

}  // namespace

std::string build_id() {
    std::string id;
    dl_iterate_phdr(take_id, &id);
    return id;
}

std::string version_text() {
    const std::string id = build_id();
    return kVersion + (id.empty() ? "" : " (build " + id + ")") + "\n";
}

}  // namespace macctl
