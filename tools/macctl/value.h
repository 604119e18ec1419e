// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// A command's result as plain data; json.h turns it into text and back.
#ifndef TOOLS_MACCTL_VALUE_H
#define TOOLS_MACCTL_VALUE_H

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <variant>
#include <vector>

namespace macctl {

struct Member;

// Nothing, a truth value, a number, a text, a list, or an object whose members keep the
// order in which they were added.
class Value {
public:
    using Array = std::vector<Value>;
    using Object = std::vector<Member>;
    using Content = std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double,
                                 std::string, Array, Object>;

    // All that makes or ends a value stands in value.cc, where members are known.
    Value();
    Value(const Value& other);
    Value(Value&& other) noexcept;
    Value& operator=(const Value& other);
    Value& operator=(Value&& other) noexcept;
    ~Value();
    Value(bool truth);
    Value(std::int64_t number);
    Value(std::uint64_t number);
    template <std::signed_integral Number>
    Value(Number number) : Value(std::int64_t{number}) {}
    template <std::unsigned_integral Number>
    requires(!std::same_as<Number, bool>) Value(Number number) : Value(std::uint64_t{number}) {}
    Value(double number);
    Value(const char* text);
    Value(std::string text);
    Value(std::initializer_list<Member> members);

    static Value array();
    static Value object();

    const Content& content() const { return content_; }
    bool is_null() const { return std::holds_alternative<std::monostate>(content_); }
    bool is_object() const { return std::holds_alternative<Object>(content_); }
    bool is_array() const { return std::holds_alternative<Array>(content_); }
    bool empty() const;

    // The text, or null when it is none.
    const std::string* text() const { return std::get_if<std::string>(&content_); }
    // The elements of a list; none when it is no list.
    const Array& elements() const;
    // The member of that name, or null when it is not there, or this no object.
    const Value* find(const std::string& name) const;
    // The member of that name, added when it is not there; what has no members yet becomes
    // an object.
    Value& operator[](const std::string& name);
    // Adds to a list; what has no elements yet becomes one.
    void push_back(Value element);
    // Adds members to an object.
    void append(const Value& members);

private:
    Content content_;
};

struct Member {
    std::string name;
    Value value;
};

}  // namespace macctl

#endif
