#pragma once

// Values — what a command answers: named values, as text for people or as JSON.

#include "CoreFoundation/CFString.h"
#include "pxtool/Errors.h"

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace px::tool {

struct Field;

// Values in their order; names are words of ours in lower camel case.
using Fields = std::vector<Field>;

// JSON that is already text.
struct JSONText {
    std::string text;
};

// Strings are UTF-8.
struct Value {
    Value();  // null
    Value(const char* text);
    Value(std::string text);
    Value(bool yes);
    Value(int32_t number);
    Value(int64_t number);
    Value(double number);  // null unless it is finite
    Value(JSONText json);
    Value(std::vector<Value> list);
    Value(Fields fields);
    Value(const Value& other);
    Value(Value&& other) noexcept;
    Value& operator=(const Value& other);
    Value& operator=(Value&& other) noexcept;
    ~Value();

    // Field is incomplete here, so that what makes and ends one is defined elsewhere.
    std::variant<std::monostate, bool, int64_t, double, std::string, JSONText, std::vector<Value>,
                 Fields>
        held;
};

using Values = std::vector<Value>;

struct Field {
    std::string name;
    Value value;
};

// One line for each value, "name of it: value", with the parts of a value indented below its name.
// Null and empty ones are left out. Control characters become '?', so that a name in a file steers
// no terminal; so they do in all texts here.
std::string TextOf(const Fields& fields);
// One line of values for each of the records, which are Fields, aligned in columns.
std::string TableOf(const Values& records);
// One line.
std::string JSONOf(const Value& value);

// "peak memory bytes" for "peakMemoryBytes".
std::string LabelOf(const std::string& name);

// The text with control characters as '?'.
std::string Plain(std::string text);

// The text in UTF-8, "?" for what is no character; empty for null.
std::string UTF8Of(CFStringRef text);

// Writes to standard output.
Failure Print(const std::string& text);

}  // namespace px::tool
