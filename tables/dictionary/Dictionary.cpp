#include "tables/dictionary/Dictionary.h"

#include <fmt/format.h>

#include <charconv>
#include <istream>

#include "format/Fields.h"

namespace torva::tables {

// Read by the same rules as where files are built.
Dictionary Dictionary::Read(std::istream& in, const std::string& name) {
    symwrite::JsonErrors errors;
    const symwrite::JsonDocument json = symwrite::ParseJson(in, errors);
    Dictionary dictionary;
    if (errors.Empty()) {
        dictionary.fields.Load(symwrite::JsonNode(json, errors));
    }
    if (!errors.Empty()) {
        const symwrite::JsonError& first = errors.First().front();
        throw Error(
            fmt::format("{}: {}{}{}", name, first.where, first.where.empty() ? "" : ": ", first.what));
    }
    return dictionary;
}

std::optional<u16> Dictionary::IdOf(std::string_view nameOrId) const {
    if (const FieldDefinition* known = fields.Find(nameOrId)) {
        return known->id;
    }
    u16 id = 0;
    const char* const last = nameOrId.data() + nameOrId.size();
    const auto [end, error] = std::from_chars(nameOrId.data(), last, id);
    return error == std::errc() && end == last ? std::optional(id) : std::nullopt;
}

std::string Dictionary::NameOf(u16 id) const {
    const FieldDefinition* definition = Find(id);
    return definition ? definition->name : fmt::format("{}", id);
}

ValueType Dictionary::TypeOf(const FieldDefinition* definition, u8 tag, std::size_t payloadSize) {
    if (tag == kTextTag || (definition && definition->type == ValueType::Text)) {
        return ValueType::Text;
    }
    if (payloadSize != PayloadWidth(tag) || payloadSize == 0) {
        return ValueType::Hex;
    }
    if (!definition) {
        return ValueType::Unsigned;
    }
    if (definition->type == ValueType::Float && payloadSize != sizeof(float) &&
        payloadSize != sizeof(double)) {
        return ValueType::Unsigned;
    }
    return definition->type;
}

}  // namespace torva::tables
