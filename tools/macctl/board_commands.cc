// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The board file itself.
#include <fmt/format.h>

#include <algorithm>

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
    const host::BoardLock lock(file, host::Access::kReadWrite, context.lock_wait());
    Result result;
    result.data["images"] = Value::array();
    for (const host::ImageSpec& spec : host::image_specs(file)) {
        const host::ImageState state = host::image_state(file, spec);
        result.text += fmt::format("{}: {}\n", spec.image, words_for(state));
        result.data["images"].push_back({{"image", spec.image},
                                         {"made", state == host::ImageState::kMissing},
                                         {"mended", state == host::ImageState::kCutShort}});
    }
    (void)host::Board::open(std::move(file), host::Access::kMend);
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
        host::replace_file(context.options.svg, svg);
    }
    return result;
}

Result board_compile(Context& context) {
    host::replace_file(context.options.file, compile_board(host::BoardFile::read(context.board())));
    return {"", {{"file", context.options.file}}};
}

Result board_install(Context& context) {
    const std::string& folder = context.options.directory;
    const std::filesystem::path path =
        std::filesystem::path(folder.empty() ? "/lib/firmware" : folder) / kBoardFirmware;
    const std::vector<u8> blob = compile_board(host::BoardFile::read(context.board()));
    std::filesystem::create_directories(path.parent_path());
    host::replace_file(path, blob);
    return {"", {{"file", path.string()}}};
}

}  // namespace macctl
