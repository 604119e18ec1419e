// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/json.h"

#include <nlohmann/json.hpp>

namespace macctl {

namespace {

using Json = nlohmann::ordered_json;

constexpr int kDepthMax = 32;

Json to_json(const Value& value);

struct Converter {
    Json operator()(std::monostate) const { return nullptr; }
    Json operator()(const Value::Array& elements) const {
        Json json = Json::array();
        for (const Value& element : elements) json.push_back(to_json(element));
        return json;
    }
    Json operator()(const Value::Object& members) const {
        Json json = Json::object();
        for (const Member& member : members) json[member.name] = to_json(member.value);
        return json;
    }
    template <typename Plain>
    Json operator()(const Plain& plain) const {
        return plain;
    }
};

Json to_json(const Value& value) { return std::visit(Converter{}, value.content()); }

Value from_json(const Json& json) {
    Value value;
    switch (json.type()) {
        case Json::value_t::boolean:
            return json.get<bool>();
        case Json::value_t::number_integer:
            return json.get<std::int64_t>();
        case Json::value_t::number_unsigned:
            return json.get<std::uint64_t>();
        case Json::value_t::number_float:
            return json.get<double>();
        case Json::value_t::string:
            return json.get<std::string>();
        case Json::value_t::array:
            value = Value::array();
            for (const Json& element : json) value.push_back(from_json(element));
            return value;
        case Json::value_t::object:
            value = Value::object();
            for (const auto& [name, member] : json.items()) value[name] = from_json(member);
            return value;
        case Json::value_t::null:
        case Json::value_t::binary:
        case Json::value_t::discarded:
            return value;
    }
    return value;
}

}  // namespace

// What is not UTF-8, as a module's log line may hold, is shown as the replacement character.
std::string json_line(const Value& value) {
    return to_json(value).dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string json_pages(const Value& value) {
    return to_json(value).dump(2, ' ', false, Json::error_handler_t::replace);
}

std::optional<Value> parse_json(std::istream& stream) {
    // What lies deeper than any of our documents is left out: nesting costs stack.
    const auto within = [](int depth, Json::parse_event_t, const Json&) {
        return depth <= kDepthMax;
    };
    const Json json = Json::parse(stream, within, false);
    if (json.is_discarded()) return std::nullopt;
    return from_json(json);
}

}  // namespace macctl
