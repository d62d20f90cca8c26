// Symbol files from JSON, in the form of docs/json.md. The way back is `tvsym dump`.
#pragma once

#include <map>
#include <memory>
#include <unordered_map>

#include "symwrite/JsonNode.h"
#include "symwrite/SymFileWriter.h"

namespace symwrite {

enum class FieldType : std::uint8_t { Text, Unsigned, Signed, Float, Date, Bool, Hex };

// As a dictionary names it: "text", "unsigned", ...
std::string_view TypeName(FieldType type);

struct FieldDefinition {
    std::uint16_t id = 0;
    std::uint8_t tag = kTextTag;
    FieldType type = FieldType::Text;
    std::string name;
    bool operator==(const FieldDefinition&) const = default;
};

// Names and types of field ids, for documents that use names.
class FieldDictionary {
public:
    // From {"1": {"name": "name", "type": "text", "tag": 7}, ...}, added to what is there. Wrong entries give
    // errors.
    void Load(const JsonNode& node);

    // Takes over what has an id and a name that are not there yet.
    void Add(const FieldDefinition& definition);
    void AddMissing(const FieldDictionary& other);

    // Null when the id, or the name, is not there.
    const FieldDefinition* Find(std::uint16_t id) const;
    const FieldDefinition* Find(std::string_view name) const;

    const std::map<std::uint16_t, FieldDefinition>& All() const { return definitions; }

private:
    void LoadOne(std::string_view key, const JsonNode& node);

    std::map<std::uint16_t, FieldDefinition> definitions;
    std::unordered_map<std::string, std::uint16_t> ids;
};

struct FromJsonOptions {
    FieldDictionary dictionary;         // a dictionary in the document adds to it
    torva::TextCodec* codec = nullptr;  // null: texts of the file are UTF-8
    // A field with a tag has the value that the dictionary's type makes of its payload, as in JSON lines;
    // else the payload as a number.
    bool typed = false;
    bool damaged = false;  // takes documents that are marked as dumped from a damaged file; else an error
};

// The file that the document describes. Without errors, `Write` can refuse it only for sizes: groups over
// 65,535 bytes, too many elements, a file over 4 GiB.
File FromJson(const Json& document, const FromJsonOptions& options, JsonErrors& errors);

// The same from a stream, for large documents: symbols are turned into the bytes of their records while the
// document is parsed, so that it needs about as much memory as the file has bytes. Section 2 is then raw.
// `dictionary`, where it is not null, becomes the one of the options with what the document added.
File ReadJson(std::istream& in, const FromJsonOptions& options, JsonErrors& errors,
              FieldDictionary* dictionary = nullptr);

// The id that a key or a column stands for: a name of the dictionary, field_7, or 7.
std::optional<std::uint16_t> FieldOf(std::string_view name, const FieldDictionary& dictionary);

// The elements of one section, each as the document has them, one at a time.
class ElementReader {
public:
    // `options` must outlive the reader.
    ElementReader(std::uint16_t id, const FromJsonOptions& options);
    ElementReader(const ElementReader&) = delete;
    ElementReader& operator=(const ElementReader&) = delete;
    ~ElementReader();

    // What is wrong goes to `errors`, with pointers from the element on.
    void Add(Json element, JsonErrors& errors);

    // The section with all elements. Section 2 is raw, so that symbols need no more memory than in the file.
    Section Take();

private:
    struct State;
    std::unique_ptr<State> state;
};

}  // namespace symwrite
