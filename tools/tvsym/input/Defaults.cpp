#include "tools/tvsym/input/Defaults.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "tables/rows/Reader.h"

namespace tvsym {

namespace {

using symwrite::Field;
using symwrite::Json;

// Bytes that a field takes in a record.
u64 SizeOf(const Field& field) { return 3 + field.value.size() + (field.tag == kTextTag ? 1 : 0); }

// How often each value of a field occurs; given up where there are many.
struct Values {
    static constexpr size_t kMost = 4096;

    u64 records = 0;
    bool repeated = false;
    std::map<std::pair<u8, std::string>, u64> counts;

    void Add(const SymbolField& field) {
        ++records;
        if (counts.size() <= kMost) ++counts[{field.tag, std::string(field.value)}];
    }
};

// The fields that every symbol has once, with the value that saves most.
std::vector<Field> Frequent(Reader& reader) {
    std::map<u16, Values> fields;
    u64 symbols = 0;
    reader.WalkSymbols([&](const SymbolView& symbol) {
        ++symbols;
        for (const SymbolField& field : symbol.fields) {
            Values& values = fields[field.id];
            values.repeated = values.repeated || field.isDefault || values.records == symbols;
            if (!field.isDefault) values.Add(field);
        }
        return true;
    });
    std::vector<Field> found;
    for (const auto& [id, values] : fields) {
        if (values.repeated || values.records != symbols || values.counts.size() > Values::kMost) continue;
        Field best;
        u64 most = 0;
        for (const auto& [value, count] : values.counts) {
            const Field field = {id, value.first, value.second};
            const u64 saved = (count - 1) * SizeOf(field);
            if (saved > most) {
                most = saved;
                best = field;
            }
        }
        if (most > 0) found.push_back(best);
    }
    return found;
}

}  // namespace

Field FieldFromText(const char* option, const std::string& text, const symwrite::FromJsonOptions& reading) {
    const size_t equals = text.find('=');
    const std::string name = text.substr(0, equals);
    const std::optional<u16> id = symwrite::FieldOf(name, reading.dictionary);
    if (equals == std::string::npos || !id) {
        throw ToolError(kExitUsage, fmt::format("{} {}: expected FIELD=VALUE with a field of the dictionary",
                                                option, text));
    }
    const auto* definition = reading.dictionary.Find(*id);
    Json value = text.substr(equals + 1);
    if (definition && definition->type != symwrite::FieldType::Text) {
        const Json parsed = Json::parse(value.get<std::string>(), nullptr, false);
        if (parsed.is_number() || parsed.is_boolean()) value = parsed;
    }
    symwrite::JsonErrors errors;
    symwrite::ElementReader reader(1, reading);
    reader.Add({{"id", *id}, {"value", value}}, errors);
    if (!errors.Empty())
        throw ToolError(kExitUsage, fmt::format("{} {}: {}", option, text, errors.First().front().what));
    return reader.Take().fields.front();
}

void AddDefaults(symwrite::File& file, const DefaultOptions& options,
                 const symwrite::FromJsonOptions& reading) {
    const auto of = [&](u16 id) { return std::ranges::find(file.sections, id, &symwrite::Section::id); };
    if (!options.Any() || of(2) == file.sections.end()) return;
    std::vector<Field> defaults;
    for (const std::string& text : options.chosen)
        defaults.push_back(FieldFromText("--default", text, reading));

    const symwrite::Bytes bytes = symwrite::Write(file);
    Reader reader(FileSource::FromBytes(bytes, "the file that is built"));
    for (const Field& field : defaults) {
        const auto same = [&](const auto& other) { return other.id == field.id; };
        if (std::ranges::any_of(reader.Defaults(), same) || std::ranges::count_if(defaults, same) > 1) {
            throw ToolError(kExitUsage, fmt::format("--default: field {} has a default already", field.id));
        }
    }
    if (options.optimize) {
        for (const Field& field : Frequent(reader)) {
            if (std::ranges::find(defaults, field.id, &Field::id) == defaults.end())
                defaults.push_back(field);
        }
    }
    symwrite::Bytes records;
    reader.WalkSymbols([&](const SymbolView& symbol) {
        symwrite::Row row(std::string(symbol.text), {}, std::nullopt);
        for (const SymbolField& field : symbol.fields) {
            if (field.isDefault) continue;
            const Field own = {field.id, field.tag, std::string(field.value)};
            const auto same = [&](const SymbolField& other) {
                return other.id == own.id && !other.isDefault;
            };
            const bool left = std::ranges::find(defaults, own) != defaults.end() &&
                              std::ranges::count_if(symbol.fields, same) == 1;
            if (!left) row.fields.push_back(own);
        }
        symwrite::AppendSymbol(records, row);
        return true;
    });
    of(2)->raw = std::move(records);
    of(2)->rows.clear();
    if (of(1) == file.sections.end()) file.sections.insert(file.sections.begin(), {.id = 1});
    if (of(1)->raw)
        throw ToolError(kExitUsage, "--default: the default fields of the source are given as bytes");
    of(1)->fields.insert(of(1)->fields.end(), defaults.begin(), defaults.end());
}

}  // namespace tvsym
