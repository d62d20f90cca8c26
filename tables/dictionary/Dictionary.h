// Names and types for field ids, from a JSON document:
//
//     {"1": {"name": "name", "type": "text", "tag": 7}, "4": {"name": "listed", "type": "date"}}
//
// Types: text, unsigned, signed, float, date (a number yyyymmdd), bool (0 or 1), hex. "tag" is optional.
#pragma once

#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "symwrite/Json.h"
#include "tables/Error.h"

namespace torva::tables {

using ValueType = symwrite::FieldType;
using symwrite::FieldDefinition;

class Dictionary {
public:
    Dictionary() = default;

    // Reads the document; `name` is used in messages. Throws Error.
    static Dictionary Read(std::istream& in, const std::string& name);

    // The dictionary that goes with a symbol file, where there is such a file: FILE.fields.json.
    static std::string PathBeside(const std::string& symbolFile) { return symbolFile + ".fields.json"; }

    // Adds the ids of `other` that are not there yet, unless their names are.
    void AddMissing(const Dictionary& other) { fields.AddMissing(other.fields); }

    const symwrite::FieldDictionary& Fields() const { return fields; }
    const std::map<u16, FieldDefinition>& All() const { return fields.All(); }
    const FieldDefinition* Find(u16 id) const { return fields.Find(id); }

    // From a name of the dictionary or a number.
    std::optional<u16> IdOf(std::string_view nameOrId) const;

    // The name, or the number if there is none.
    std::string NameOf(u16 id) const;

    // The type that a value of this id and tag is shown as: the dictionary's where the payload can be that,
    // else text for tag 7, an unsigned number for the others, and hex for what was cut off.
    ValueType TypeOf(u16 id, u8 tag, std::size_t payloadSize) const {
        return TypeOf(Find(id), tag, payloadSize);
    }
    // The same with what Find returned for the id.
    static ValueType TypeOf(const FieldDefinition* definition, u8 tag, std::size_t payloadSize);

private:
    symwrite::FieldDictionary fields;
};

}  // namespace torva::tables
