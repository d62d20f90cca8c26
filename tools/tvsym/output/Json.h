// JSON as the commands write it.
#pragma once

#include <concepts>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "symwrite/Json.h"
#include "tables/dictionary/Values.h"
#include "tools/tvsym/Tool.h"
#include "tools/tvsym/output/Output.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

// Writes values in the order of the calls, and the commas between them. A document of any size passes through
// a small buffer. (`dump` by way of nlohmann-json, which builds each element before it is written, takes
// seven times as long.)
class JsonWriter {
public:
    explicit JsonWriter(Output& output) : out(output), pretty(Look::Chosen().pretty) {}

    JsonWriter& Open(char bracket);  // '{' or '['
    JsonWriter& Close(char bracket);

    // The key of the value that follows: a name of this program or of format/, in which nothing needs an
    // escape.
    JsonWriter& Key(std::string_view name);
    JsonWriter& AnyKey(std::string_view utf8);  // any other

    JsonWriter& Value(std::string_view utf8);
    JsonWriter& Value(std::nullptr_t) { return Token("null"); }
    // Integers beyond 2^53 are strings of their digits: many programs know no numbers but doubles, and would
    // round them.
    template <std::integral Number>
    JsonWriter& Value(Number number) {
        if constexpr (std::same_as<Number, bool>) {
            return Token(number ? "true" : "false");
        } else {
            const bool exact = std::cmp_less_equal(number, symwrite::kMostExactInteger) &&
                               std::cmp_greater_equal(number, -symwrite::kMostExactInteger);
            const std::string digits = std::to_string(number);
            return exact ? Token(digits) : Value(std::string_view(digits));
        }
    }
    JsonWriter& Value(double number);  // a string for nan and inf
    template <class T>
    JsonWriter& Value(const std::optional<T>& value) {
        return value ? Value(*value) : Value(nullptr);
    }
    template <class T>
    JsonWriter& Member(std::string_view name, const T& value) {
        return Key(name).Value(value);
    }

    // Bytes that should be a text: a string, or {"hex": "..."} where they do not decode.
    JsonWriter& Text(std::string_view bytes, TextCodec& codec);

    // A payload: a number where it is one, else a string, or as Text.
    JsonWriter& Payload(ValueType type, std::string_view payload, TextCodec& codec);

    // "section":"symbols","id":2; null for 0, the directory.
    JsonWriter& Section(u16 id);

    // As Dictionary reads it: an entry a line.
    JsonWriter& Fields(const symwrite::FieldDictionary& dictionary);

    // Rows of each level of a section: {"symbols":3,"fields":40}.
    JsonWriter& Rows(u16 id, const std::vector<u64>& rows);

    // The next value begins a line.
    void Line();

    // Ends a line, and with it a document.
    void EndLine();

    // Characters as they are, without a comma before or after them.
    void Raw(std::string_view characters);

    // Writes what the buffer holds. Nothing else does, where less than the buffer holds was written.
    void Flush();

private:
    // A value that needs no escapes.
    JsonWriter& Token(std::string_view token);
    void Begin();
    void FlushWhenLong();
    void Indent();

    Output& out;
    std::string text;
    bool comma = false;  // before the next value or key
    bool pretty;         // each value on a line of its own, indented by its depth
    size_t depth = 0;
    bool afterKey = false;
};

}  // namespace tvsym
