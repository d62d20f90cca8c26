// A JSON document being read: values that know their place, errors that name it, and a parser that can
// deliver and forget parts of a document while it reads on.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <iosfwd>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "text/Text.h"

namespace symwrite {

// Members keep the order of the document: fields are written in that order.
using Json = nlohmann::ordered_json;

struct JsonError {
    // A JSON pointer, as in "/symbols/3/fields/name", or "line 3, column 7"; empty for the whole.
    std::string where;
    std::string what;
};

// Reading continues after an error, so that one run shows more than the first. The first 20 are kept.
class JsonErrors {
public:
    void Add(std::string where, std::string what);
    bool Empty() const { return count == 0; }
    std::size_t Count() const { return count; }
    const std::vector<JsonError>& First() const { return first; }

private:
    std::vector<JsonError> first;
    std::size_t count = 0;
};

// Integers up to it, and no others, survive programs that know no numbers but doubles.
constexpr std::int64_t kMostExactInteger = std::int64_t{1} << 53;

// A step of a JSON pointer.
std::string EscapedStep(std::string_view key);

// A value and the way to it. Nodes live on the stack and refer to their parent's node and to the document.
class JsonNode {
public:
    // `prefix` is the pointer to `value` itself, "" for the document.
    JsonNode(const Json& json, JsonErrors& sink, std::string_view prefix = "");

    const Json& Value() const { return *value; }
    std::string Pointer() const;
    void Fail(const std::string& what) const;
    // "expected `expected`, found ..."
    void FailExpected(std::string_view expected) const;

    // Calls `take(node)` for each element; an error for anything but an array.
    template <typename Take>
    void ForEachElement(const Take& take) const {
        if (!value->is_array()) {
            FailExpected("an array");
            return;
        }
        std::size_t at = 0;
        for (const Json& element : *value) {
            take(JsonNode(element, *this, {}, at++));
        }
    }

    // Calls `take(key, node)` for each member except comments; an error for anything but an object.
    template <typename Take>
    void ForEachMember(const Take& take) const {
        if (!value->is_object()) {
            FailExpected("an object");
            return;
        }
        for (const auto& [name, member] : value->get_ref<const Json::object_t&>()) {
            if (!name.starts_with('_')) {
                take(std::string_view(name), JsonNode(member, *this, name, 0));
            }
        }
    }

    // Calls `take(node)` with a member of an object; false without the member, and no error.
    template <typename Take>
    bool Optional(std::string_view name, const Take& take) const {
        const auto found = value->find(name);
        if (found == value->end()) {
            return false;
        }
        take(JsonNode(*found, *this, name, 0));
        return true;
    }

    // The same, with an error without the member.
    template <typename Take>
    void Require(std::string_view name, const Take& take) const {
        if (!Optional(name, take)) {
            Fail("the member \"" + std::string(name) + "\" is missing");
        }
    }

    // False, with an error, for anything but an object; an error for each member that is not in the list.
    bool IsObjectOf(std::span<const std::string_view> names) const;
    bool IsObjectOf(std::initializer_list<std::string_view> names) const {
        return IsObjectOf(std::span(names.begin(), names.size()));
    }

    // The following return an empty value, with an error, for anything else.

    std::uint64_t Number(std::uint64_t max) const;

    template <typename T>
    T Number() const {
        return static_cast<T>(Number(std::numeric_limits<T>::max()));
    }

    // A string, or {"hex": "..."}; without zero bytes. `codec` may be null: the file then holds UTF-8.
    std::string Text(torva::TextCodec* codec) const;

    // A string of hex digits; of `size` bytes when given.
    std::string Hex(std::optional<std::size_t> size = std::nullopt) const;

    bool IsHexObject() const { return value->is_object() && value->size() == 1 && value->contains("hex"); }

private:
    JsonNode(const Json& json, const JsonNode& owner, std::string_view name, std::size_t elementIndex);

    const Json* value;
    JsonErrors* errors;
    const JsonNode* parent = nullptr;
    std::string_view key;  // of a member; of a node without parent, the prefix
    std::size_t index = 0;
};

// One level of the way from the document to a value under parsing.
struct ParsedStep {
    std::string key;        // in an object
    std::size_t index = 0;  // in an array: elements before this one, taken ones too
    bool inArray = false;
};

// Called when an object inside the document ends, with the steps that lead to it. Returns true to take it: it
// is then left out of the document.
using TakeObject = std::function<bool(const std::vector<ParsedStep>& steps, const Json& object)>;

// A document whose destructor allocates nothing. That of Json allocates for each array and object that is not
// empty, and terminates the process when there is no memory.
class JsonDocument {
public:
    JsonDocument() = default;
    JsonDocument(JsonDocument&&) = default;
    JsonDocument& operator=(JsonDocument&&) = delete;
    ~JsonDocument() { Clear(value); }

    operator const Json&() const { return value; }
    Json& Value() { return value; }

    // Frees all elements and members, the innermost first.
    static void Clear(Json& json);

private:
    Json value;
};

// Parses a document. Errors of syntax, and two equal keys in an object, are errors; the document is then
// incomplete.
JsonDocument ParseJson(std::istream& in, JsonErrors& errors, const TakeObject& takeObject = {});

}  // namespace symwrite
