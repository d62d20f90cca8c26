// Names and types for field ids, from a JSON file:
//
//     {"1": {"name": "name", "type": "text", "tag": 7}, "4": {"name": "listed", "type": "date"}}
//
// Types: text, unsigned, signed, float, date (a number yyyymmdd), hex. "tag" is optional. The file is the one
// that
// --dictionary names, else FILE.fields.json beside the symbol file where that exists.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "tools/tvsym/Text.h"
#include "tools/tvsym/Tool.h"

namespace tvsym {

enum class ValueType : u8 { Text, Unsigned, Signed, Float, Date, Hex };

struct FieldDefinition {
    std::string name;
    ValueType type = ValueType::Hex;
    u8 tag = 0;  // what a value gets when a file is built
};

class Dictionary {
public:
    Dictionary() = default;

    // `path` empty: the file beside `symbolFile`, or nothing. Throws ToolError with kExitUnreadable.
    static Dictionary Load(const std::string& path, const std::string& symbolFile);

    const std::map<u16, FieldDefinition>& All() const { return fields; }
    const FieldDefinition* Find(u16 id) const;

    // From a name of the dictionary or a number.
    std::optional<u16> IdOf(std::string_view nameOrId) const;

    // The name, or the number where there is none.
    std::string NameOf(u16 id) const;

    // What type a value of this id and tag is shown as: the dictionary's where the payload can be that, else
    // text for tag 7 and hex for the others.
    ValueType TypeOf(u16 id, u8 tag, size_t payloadSize) const;

private:
    std::map<u16, FieldDefinition> fields;
    std::map<std::string, u16, std::less<>> ids;
};

// The number that a payload of 1 to 8 bytes is, 0 for an empty one.
u64 PayloadNumber(std::string_view payload);
i64 PayloadSigned(std::string_view payload);    // not of an empty one
double PayloadFloat(std::string_view payload);  // of 4 or 8 bytes

// A value for people: "12.5", "2024-01-31", "0x0aff", a text as TextCodec::Display gives it.
std::string ValueText(ValueType type, std::string_view payload, TextCodec& codec);

// Below, at or above 0 as `a` is less than, equal to or greater than `b`; both are of that type. Hex is put
// in order as the unsigned numbers that the bytes are.
int CompareValues(ValueType type, std::string_view a, std::string_view b);

// A value as JSON: a number where it is one, else a string; texts that do not decode as {"hex": "..."}.
std::string ValueJson(ValueType type, std::string_view payload, TextCodec& codec);

// A JSON string, quotes included, of valid UTF-8.
std::string JsonString(std::string_view utf8);

// JSON for bytes that should be a text.
std::string JsonText(std::string_view bytes, TextCodec& codec);

}  // namespace tvsym
