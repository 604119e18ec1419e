// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/value.h"

#include <algorithm>

namespace macctl {

Value::Value() = default;
Value::Value(const Value& other) = default;
Value::Value(Value&& other) noexcept = default;
Value& Value::operator=(const Value& other) = default;
Value& Value::operator=(Value&& other) noexcept = default;
Value::~Value() = default;
Value::Value(bool truth) : content_(truth) {}
Value::Value(std::int64_t number) : content_(number) {}
Value::Value(std::uint64_t number) : content_(number) {}
Value::Value(double number) : content_(number) {}
Value::Value(const char* text) : content_(std::string(text)) {}
Value::Value(std::string text) : content_(std::move(text)) {}
Value::Value(std::initializer_list<Member> members) : content_(Object(members)) {}

Value Value::array() {
    Value value;
    value.content_ = Array{};
    return value;
}

Value Value::object() {
    Value value;
    value.content_ = Object{};
    return value;
}

bool Value::empty() const {
    if (const auto* const object = std::get_if<Object>(&content_)) return object->empty();
    return elements().empty();
}

const Value::Array& Value::elements() const {
    static const Array kNone;
    const auto* const array = std::get_if<Array>(&content_);
    return array == nullptr ? kNone : *array;
}

const Value* Value::find(const std::string& name) const {
    const auto* const object = std::get_if<Object>(&content_);
    if (object == nullptr) return nullptr;
    const auto member =
        std::find_if(object->begin(), object->end(),
                     [&name](const Member& candidate) { return candidate.name == name; });
    return member == object->end() ? nullptr : &member->value;
}

Value& Value::operator[](const std::string& name) {
    if (!is_object()) content_ = Object{};
    auto& object = std::get<Object>(content_);
    for (Member& member : object) {
        if (member.name == name) return member.value;
    }
    return object.emplace_back(Member{name, Value()}).value;
}

void Value::push_back(Value element) {
    if (!is_array()) content_ = Array{};
    std::get<Array>(content_).push_back(std::move(element));
}

void Value::append(const Value& members) {
    for (const Member& member : std::get<Object>(members.content_)) {
        (*this)[member.name] = member.value;
    }
}

}  // namespace macctl
