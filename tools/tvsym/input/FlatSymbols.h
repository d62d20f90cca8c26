// Symbols of a flat table, a value for each field, as the records of section 2.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "symwrite/Json.h"
#include "text/Text.h"
#include "tools/tvsym/Tool.h"
#include "tools/tvsym/output/Spool.h"

namespace tvsym {

// Makes the fields of one column. What it does not make itself, other types and what is wrong, it has made by
// the reader of JSON documents, once for each value.
class FlatField {
public:
    // All must outlive the object. `definition` is null for a field that no dictionary names.
    FlatField(u16 fieldId, const symwrite::FieldDefinition* definition, bool isUtf8,
              symwrite::ElementReader& reader)
        : id(fieldId), known(definition), utf8(isUtf8), general(reader) {}

    // Null where the value is not one of this field. Valid until the next call.
    const symwrite::Field* Text(std::string_view text);
    const symwrite::Field* Unsigned(u64 number);
    const symwrite::Field* Other(std::string_view key,
                                 const symwrite::Json& value);  // equal keys: equal values

    u16 Id() const { return id; }
    const symwrite::FieldDefinition* Definition() const { return known; }

private:
    bool IsText() const {
        return !known || (known->type == symwrite::FieldType::Text && known->tag == kTextTag);
    }

    u16 id;
    const symwrite::FieldDefinition* known;
    bool utf8;  // texts of the file are UTF-8
    symwrite::ElementReader& general;
    symwrite::Field field;
    std::unordered_map<std::string, symwrite::Field> made;
};

// Whether a text can be written as it is to a file in UTF-8.
bool IsPlainText(std::string_view text);

class FlatSymbols {
public:
    // `options` must be typed, and must outlive the object, as `to` must, which takes the records.
    FlatSymbols(const symwrite::FromJsonOptions& options, bool isUtf8, Spool& to)
        : reading(options), utf8(isUtf8), records(to), fields(1, options), symbols(2, options) {}

    FlatField Column(u16 id) { return {id, reading.dictionary.Find(id), utf8, fields}; }

    // Begins a symbol, whose text may be set at any time; false where that needs AddGeneral.
    void Begin() { row.fields.clear(); }
    bool SetText(std::string_view symbol);
    void Add(const symwrite::Field& field) { row.fields.push_back(field); }
    void End();

    // As the reader of JSON documents takes it.
    void AddGeneral(symwrite::Json symbol, symwrite::JsonErrors& errors);

private:
    const symwrite::FromJsonOptions& reading;
    bool utf8;
    Spool& records;
    symwrite::ElementReader fields;
    symwrite::ElementReader symbols;
    symwrite::Row row = {std::string(), {}, std::nullopt};
    symwrite::Bytes record;
};

}  // namespace tvsym
