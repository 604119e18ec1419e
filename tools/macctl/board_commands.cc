// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The board file itself.
#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "platform/host/images.h"
#include "platform/host/loader.h"
#include "tools/macctl/board_check.h"
#include "tools/macctl/board_compile.h"
#include "tools/macctl/board_map.h"
#include "tools/macctl/commands.h"
#include "tools/macctl/terminal.h"

namespace macctl {

namespace {

Colour colour_of(Severity severity) {
    switch (severity) {
        case Severity::kError:
            return Colour::kBad;
        case Severity::kWarning:
            return Colour::kWarning;
        default:
            return Colour::kNone;
    }
}

std::string finding_text(const std::string& file, const Finding& finding) {
    return fmt::format("{}:{}: {}: {} [{}]\n    {}\n", file, finding.line,
                       coloured(severity_name(finding.severity), colour_of(finding.severity)),
                       finding.text, finding.code, finding.advice);
}

Value finding_value(const std::string& file, const Finding& finding) {
    return {{"severity", severity_name(finding.severity)},
            {"code", finding.code},
            {"file", file},
            {"line", finding.line},
            {"text", finding.text},
            {"advice", finding.advice}};
}

std::vector<Finding> findings_of(Context& context) {
    try {
        context.leave_mistakes_to_command();
        std::vector<Finding> findings = check_layout(host::BoardFile::read(context.board()));
        // What the media hold, where they are there and can be read.
        const std::vector<Finding> blocks = check_blocks(context.target().inspect({}));
        findings.insert(findings.end(), blocks.begin(), blocks.end());
        return findings;
    } catch (const host::BoardError& error) {
        const std::string what = error.what();
        const std::string where = fmt::format("{}:{}: ", context.board(), error.line());
        return {{Severity::kError, "unusable", error.line(),
                 what.rfind(where, 0) == 0 ? what.substr(where.size()) : what,
                 "nothing else can be checked before this is mended"}};
    }
}

size_t count(const std::vector<Finding>& findings, Severity severity) {
    return static_cast<size_t>(
        std::count_if(findings.begin(), findings.end(),
                      [severity](const Finding& finding) { return finding.severity == severity; }));
}

// A board with errors is used only by force, and then it says what was overridden. Slips
// that are no errors are told as by every command.
Result check_before_use(const Context& context, const host::BoardFile& file, const char* used) {
    const std::vector<Finding> mistakes = mistakes_of(file);
    const size_t errors = count(mistakes, Severity::kError);
    Result result;
    result.data["overridden"] = Value::array();
    if (errors == 0) {
        tell_mistakes(file);
        return result;
    }
    std::string texts;
    for (const Finding& mistake : mistakes) {
        texts += finding_text(context.board(), mistake);
        result.data["overridden"].push_back(finding_value(context.board(), mistake));
    }
    if (!context.options.force) {
        throw Failure(
            kExitRefused,
            fmt::format("{} has {} and is not {}; --force overrides that\n{}", context.board(),
                        counted(errors, "error"), used, texts.substr(0, texts.size() - 1)));
    }
    result.text = fmt::format("overridden by --force:\n{}", texts);
    return result;
}

enum class Folder { kHasToBeThere, kIsMade };

[[noreturn]] void refuse_folder(const std::filesystem::path& path, int error) {
    throw host::WriteError(path, fmt::format("its folder cannot be made: {}", strerror(error)),
                           error);
}

void make_folder_of(const std::filesystem::path& path) {
    std::error_code error;
    std::filesystem::create_directories(path.parent_path(), error);
    if (error) refuse_folder(path, error.value());
}

// The first folder on the way that would have to be made, or the file itself.
void rehearse_with_folder(const std::filesystem::path& path) {
    std::filesystem::path first = path;
    std::error_code error;
    while (first.has_parent_path() && !std::filesystem::exists(first.parent_path(), error)) {
        first = first.parent_path();
    }
    try {
        host::NewFile::rehearse(first);
    } catch (const host::WriteError& problem) {
        if (first == path) throw;
        refuse_folder(path, problem.code());
    }
}

// Writes a file, or says that it would.
std::string write_output(const Context& context, const std::filesystem::path& path,
                         const std::vector<u8>& content, Folder folder = Folder::kHasToBeThere) {
    const bool written = !context.options.dry_run;
    if (written) {
        if (folder == Folder::kIsMade) make_folder_of(path);
        host::replace_file(path, content);
    } else if (folder == Folder::kIsMade) {
        rehearse_with_folder(path);
    } else {
        host::NewFile::rehearse(path);
    }
    return fmt::format("{}: {} bytes{}\n", path.string(), content.size(),
                       written ? "" : "  (not written)");
}

Value place_value(const Place& place) {
    return {{"label", place.label},
            {"start", place.range.start},
            {"bytes", place.range.end - place.range.start},
            {"driver", place.driver},
            {"line", place.line},
            {"overlaps", place.overlaps}};
}

Value map_value(const std::vector<MediumMap>& media) {
    Value value = Value::array();
    for (const MediumMap& map : media) {
        Value places = Value::array();
        for (const Place& place : map.places) places.push_back(place_value(place));
        Value variables = Value::array();
        for (const std::string& variable : map.variables) variables.push_back(variable);
        value.push_back({{"medium", map.name},
                         {"image", map.image},
                         {"size", map.size},
                         {"step", map.step},
                         {"places", places},
                         {"variables", variables}});
    }
    return value;
}

const char* words_for(host::ImageState state) {
    switch (state) {
        case host::ImageState::kMissing:
            return "made, erased";
        case host::ImageState::kCutShort:
            return "was cut short when it was made; made anew, erased";
        case host::ImageState::kThere:
            break;
    }
    return "kept as it is";
}

}  // namespace

Result board_check(Context& context) {
    const std::vector<Finding> findings = findings_of(context);
    Result result;
    result.data["findings"] = Value::array();
    for (const Finding& finding : findings) {
        result.text += finding_text(context.board(), finding);
        result.data["findings"].push_back(finding_value(context.board(), finding));
    }
    const size_t errors = count(findings, Severity::kError);
    const size_t warnings = count(findings, Severity::kWarning);
    result.text += fmt::format("{}: {}, {}, {}\n", context.board(), counted(errors, "error"),
                               counted(warnings, "warning"),
                               counted(count(findings, Severity::kNote), "note"));
    if (errors != 0 || (context.options.strict && warnings != 0)) result.exit = kExitRefused;
    return result;
}

Result board_init(Context& context) {
    host::BoardFile file = context.board_file();
    const bool written = !context.options.dry_run;
    const host::Access lock_access = written ? host::Access::kReadWrite : host::Access::kReadOnly;
    const host::BoardLock lock(file, lock_access, context.lock_wait());
    bool any_cut_short = false;
    Result result;
    result.acknowledges = true;
    result.data["images"] = Value::array();
    for (const host::ImageSpec& spec : host::image_specs(file)) {
        const host::ImageState state = host::image_state(file, spec);
        const bool cut_short = state == host::ImageState::kCutShort;
        const bool kept = state != host::ImageState::kMissing && !cut_short;
        any_cut_short = any_cut_short || cut_short;
        result.text += fmt::format("{}: {}{}\n", spec.image, words_for(state),
                                   written || kept ? "" : "  (not written)");
        result.data["images"].push_back({{"image", spec.image},
                                         {"made", written && state == host::ImageState::kMissing},
                                         {"mended", written && cut_short}});
    }
    // What is cut short would be refused by a look that may not mend it.
    if (written) {
        (void)host::Board::open(std::move(file), host::Access::kMend);
    } else if (!any_cut_short) {
        (void)host::Board::open(std::move(file), host::Access::kRehearse);
    }
    return result;
}

Result board_map(Context& context) {
    const host::BoardFile file = context.board_file();
    const std::vector<MediumMap> media = map_board(file);
    Result result;
    result.data["media"] = map_value(media);
    if (context.options.svg.empty()) {
        result.text = map_text(media);
        return result;
    }
    const std::string svg = map_svg(file.name(), media);
    if (context.options.svg == "-") {
        result.text = svg;
    } else {
        result.text = write_output(context, context.options.svg, {svg.begin(), svg.end()});
        result.acknowledges = true;
    }
    return result;
}

Result board_compile(Context& context) {
    const host::BoardFile file = host::BoardFile::read(context.board());
    Result result = check_before_use(context, file, "compiled");
    result.text += write_output(context, context.options.file, compile_board(file));
    result.acknowledges = true;
    result.data["file"] = context.options.file;
    return result;
}

Result board_install(Context& context) {
    const std::string& folder = context.options.directory;
    const std::filesystem::path path =
        std::filesystem::path(folder.empty() ? "/lib/firmware" : folder) / kBoardFirmware;
    const host::BoardFile file = host::BoardFile::read(context.board());
    Result result = check_before_use(context, file, "installed");
    result.text += write_output(context, path, compile_board(file), Folder::kIsMade);
    result.acknowledges = true;
    result.data["file"] = path.string();
    return result;
}

}  // namespace macctl
