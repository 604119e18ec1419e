// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Values as JSON text. json.cc is the one source that sees the JSON library: its headers
// cost more than all else that a source of this tool includes.
#ifndef TOOLS_MACCTL_JSON_H
#define TOOLS_MACCTL_JSON_H

#include <istream>
#include <optional>

#include "tools/macctl/value.h"

namespace macctl {

// In one line.
std::string json_line(const Value& value);
// Indented by two, as people read it.
std::string json_pages(const Value& value);
// None when the stream holds no JSON, or more than one value.
std::optional<Value> parse_json(std::istream& stream);

}  // namespace macctl

#endif
