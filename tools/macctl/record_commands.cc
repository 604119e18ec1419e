// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Records in files: dumps of a medium, or single records.
#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "mac_mng/mac_ioctl.h"
#include "mac_mng/mac_status.h"
#include "platform/host/files.h"
#include "tools/macctl/collision.h"
#include "tools/macctl/commands.h"
#include "tools/macctl/identify.h"
#include "tools/macctl/output.h"
#include "tools/macctl/write_checks.h"

namespace macctl {

namespace {

std::vector<u8> read_bytes(const std::string& path) {
    const std::string content = host::read_file(path, host::Source::kStream, host::kDumpMax);
    return {content.begin(), content.end()};
}

// The variant that was named, or the board's, or the one of boards that name none.
const platform::Crc16Variant& variant_of(const Context& context) {
    const Options& options = context.options;
    if (options.crc16.empty() && !options.board.empty()) {
        return context.board_file().crc16();
    }
    const std::string name = options.crc16.empty() ? platform::kCrc16Default : options.crc16;
    const platform::Crc16Variant* const variant = platform::crc16_find(name.c_str());
    if (variant == nullptr) {
        throw Failure(kExitUsage,
                      fmt::format("\"{}\" is none of the 31 known CRC-16 variants", name));
    }
    return *variant;
}

ConstBytes bytes_at(const Context& context, const std::vector<u8>& file) {
    const u32 offset = context.options.offset;
    if (offset >= file.size()) {
        throw Failure(kExitFile, fmt::format("{} has {} bytes: there is no offset 0x{:x}",
                                             context.options.file, file.size(), offset));
    }
    return ConstBytes(file).subspan(offset);
}

// The largest file that is made: larger offsets are slips.
constexpr u64 kNewFileMax = 64 << 20;

[[noreturn]] void refuse_write(const Context& context, const std::string& reason) {
    throw Failure(kExitNotWritten,
                  fmt::format("{}: {}; nothing was written", context.options.file, reason));
}

// The file in which the record is to lie: a dump whose other bytes are kept, and whose size
// stays; one that is not there begins with erased bytes.
std::vector<u8> dump_for(const Context& context, size_t bytes) {
    const Options& options = context.options;
    const u64 end = u64{options.offset} + bytes;
    const auto type = std::filesystem::status(options.file).type();
    if (type == std::filesystem::file_type::not_found) {
        if (end > kNewFileMax) {
            refuse_write(context, fmt::format("a new file would have {} bytes, and more than {} "
                                              "are not made",
                                              end, kNewFileMax));
        }
        return std::vector<u8>(end, 0xff);
    }
    if (type != std::filesystem::file_type::regular) refuse_write(context, "is no regular file");
    std::vector<u8> file = read_bytes(options.file);
    if (end > file.size()) {
        refuse_write(context,
                     fmt::format("it has {} bytes: a record of {} bytes at offset 0x{:x} does not "
                                 "lie inside",
                                 file.size(), bytes, options.offset));
    }
    return file;
}

// An image of the board that was named: other blocks and the environment lie in it.
void refuse_neighbours(const Context& context, size_t bytes) {
    const Options& options = context.options;
    if (options.board.empty()) return;
    const auto hits = collisions(host::BoardFile::read(options.board), options.file,
                                 {options.offset, u64{options.offset} + bytes});
    if (hits.empty()) return;
    refuse_write(context, fmt::format("a record of {} bytes at offset 0x{:x} would be written over "
                                      "{}",
                                      bytes, options.offset, fmt::join(hits, ", ")));
}

// Only erased bytes are written over without a word.
void ask_for_overwrite(const Context& context, ConstBytes place) {
    if (std::all_of(place.begin(), place.end(), [](u8 byte) { return byte == 0xff; })) return;
    const Options& options = context.options;
    std::string what = "bytes that are not erased";
    for (const Found& found : identify({place.begin(), place.end()})) {
        what = fmt::format("a {} record", found.format->name);
        if (found.good) what += fmt::format(" of the block {}", block_words(found.base, found.num));
    }
    ask_first(context,
              fmt::format("{} has {} at offset 0x{:x}", options.file, what, options.offset),
              "Write over them?", "writing over them needs --yes");
}

// The format that was named, or the one whose tag is there.
const Format& format_of(const Context& context, ConstBytes bytes) {
    if (!context.options.format.empty()) return *find_format(context.options.format);
    for (const Format& format : formats()) {
        if (has_tag(format, bytes)) return format;
    }
    throw Failure(kExitNotFound, fmt::format("there is no record's tag at offset 0x{:x}; name the "
                                             "format with --format",
                                             context.options.offset));
}

// The bytes that the record takes up, as far as they are there.
ConstBytes record_bytes(const Context& context, const Format& format, ConstBytes bytes, u32* num) {
    if (format.counted)
        return format.list_at == 8 ? bytes.first(std::min<size_t>(bytes.size(), 16)) : bytes;
    if (context.options.num) {
        *num = *context.options.num;
    } else {
        *num = format.checked ? kolbe_count(bytes) : 1;
    }
    return bytes.first(std::min<u64>(bytes.size(), record_size(format, *num)));
}

struct Decoded {
    const Format* format;
    Record record;
};

Decoded decode(const Context& context) {
    const std::vector<u8> file = read_bytes(context.options.file);
    const ConstBytes bytes = bytes_at(context, file);
    const Format& format = format_of(context, bytes);
    const CrcChoice choice(variant_of(context));
    u32 num = 0;
    const ConstBytes record = record_bytes(context, format, bytes, &num);
    return {&format, decode_record(format, record, num)};
}

std::string lower(std::string text) {
    for (char& character : text) character = static_cast<char>(std::tolower(character));
    return text;
}

Value decoded_value(const Decoded& decoded) {
    const Record& record = decoded.record;
    Value value = {{"format", decoded.format->name}, {"state", state_name(record.state)}};
    const bool good = record.state == CopyState::kGood;
    value["block"] = good ? block_value(record.base, record.num) : Value();
    value["check"] = good ? Value(fmt::format("0x{:x}", record.check)) : Value();
    value["detail"] = record.detail;
    return value;
}

Result described(const Decoded& decoded, std::string text) {
    Result result;
    result.data = decoded_value(decoded);
    result.text = std::move(text);
    if (decoded.record.state != CopyState::kGood) result.exit = kExitLost;
    if (decoded.record.blank) result.exit = kExitBlank;
    return result;
}

std::string state_text(const Record& record) {
    return record.detail.empty() ? state_name(record.state)
                                 : fmt::format("{}: {}", state_name(record.state), record.detail);
}

std::string names_of(const std::vector<const platform::Crc16Variant*>& variants) {
    std::string names;
    for (const auto* variant : variants)
        names += (names.empty() ? "" : ", ") + lower(variant->name);
    return names;
}

std::string found_text(const Found& found) {
    std::string text = fmt::format("0x{:06x}  {:<10}  ", found.offset, found.format->name);
    if (!found.good) return text + fmt::format("tag only: {}\n", found.detail);
    text += block_words(found.base, found.num);
    if (!found.variants.empty()) text += fmt::format("  crc16 {}", names_of(found.variants));
    return text + "\n";
}

Value found_value(const Found& found) {
    Value value = {{"offset", found.offset}, {"format", found.format->name}, {"good", found.good}};
    value["block"] = found.good ? block_value(found.base, found.num) : Value();
    value["crc16"] = Value::array();
    for (const auto* variant : found.variants) value["crc16"].push_back(lower(variant->name));
    value["detail"] = found.detail;
    return value;
}

}  // namespace

Result record_decode(Context& context) {
    const Decoded decoded = decode(context);
    const Record& record = decoded.record;
    std::string text =
        fmt::format("format  {}\nstate   {}\n", decoded.format->name, state_text(record));
    if (record.state == CopyState::kGood) {
        text += fmt::format("base    {}\ncount   {}\ncheck   0x{:x}\n",
                            format_address(record.base.data()), record.num, record.check);
    }
    return described(decoded, text);
}

Result record_verify(Context& context) {
    const Decoded decoded = decode(context);
    return described(decoded, state_text(decoded.record) + "\n");
}

Result record_encode(Context& context) {
    const Options& options = context.options;
    if (!options.num) throw Failure(kExitUsage, "--count is required");
    const Format& format = *find_format(options.format);
    const CrcChoice choice(variant_of(context));
    if (*options.num > MAC_IOCTL_LIST_MAX) {
        throw Failure(kExitRefused,
                      fmt::format("count {} is above {}", *options.num, MAC_IOCTL_LIST_MAX));
    }
    u32 status = 0;
    const std::vector<u8> bytes = encode_record(format, options.address, *options.num, &status);
    must(context, "record encode", status);
    std::vector<u8> file = dump_for(context, bytes.size());
    refuse_neighbours(context, bytes.size());
    ask_for_overwrite(context, ConstBytes(file).subspan(options.offset, bytes.size()));
    if (options.dry_run) {
        host::NewFile::rehearse(options.file);
    } else {
        std::copy(bytes.begin(), bytes.end(), file.begin() + options.offset);
        host::replace_file(options.file, file);
    }
    Result result;
    result.text = fmt::format("{} bytes at offset 0x{:x} of {}{}\n", bytes.size(), options.offset,
                              options.file, options.dry_run ? "  (not written)" : "");
    result.acknowledges = true;
    result.data = {{"format", format.name},
                   {"offset", options.offset},
                   {"bytes", bytes.size()},
                   {"written", !options.dry_run}};
    return result;
}

Result record_identify(Context& context) {
    const std::vector<u8> file = read_bytes(context.options.file);
    Result result;
    result.data["records"] = Value::array();
    for (const Found& found : identify(file)) {
        result.text += found_text(found);
        result.data["records"].push_back(found_value(found));
    }
    if (result.text.empty()) {
        put_err(fmt::format(
            "macctl: {} has no record with a tag (Kolbe records without CRC have none)\n",
            context.options.file));
        result.exit = kExitNotFound;
    }
    return result;
}

}  // namespace macctl
