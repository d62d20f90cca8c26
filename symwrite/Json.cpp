#include "symwrite/Json.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <istream>

#include "format/Date.h"
#include "format/LittleEndian.h"
#include "format/Sections.h"

namespace symwrite {

namespace {

using torva::Column;
using torva::ColumnKind;
using torva::FindSection;
using torva::Level;
using torva::Levels;
using torva::SectionInfo;

constexpr std::pair<std::string_view, FieldType> kFieldTypes[] = {
    {"text", FieldType::Text},   {"unsigned", FieldType::Unsigned}, {"signed", FieldType::Signed},
    {"float", FieldType::Float}, {"date", FieldType::Date},         {"bool", FieldType::Bool},
    {"hex", FieldType::Hex}};

// The tag of a type when the dictionary has none; 0 for none.
std::uint8_t DefaultTag(FieldType type) {
    switch (type) {
        case FieldType::Text:
            return kTextTag;
        case FieldType::Float:
            return 6;
        case FieldType::Bool:
            return 1;
        case FieldType::Hex:
            return 0;
        default:
            return 5;
    }
}

bool TypeFitsTag(FieldType type, std::uint8_t tag) {
    const std::size_t width = PayloadWidth(tag);
    switch (type) {
        case FieldType::Text:
            return tag == kTextTag;
        case FieldType::Float:
            return width == 4 || width == 8;
        case FieldType::Date:
            return width >= 4;
        case FieldType::Hex:
            return width > 0 || tag == kTextTag;
        default:
            return width > 0;
    }
}

std::optional<std::uint16_t> ParseId(std::string_view text) {
    std::uint16_t id = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(id) : std::nullopt;
}

// The key under which a section has its elements; for an id without a reader one that it cannot have.
const char* ElementsKey(std::uint16_t id) {
    const SectionInfo* info = FindSection(id);
    return info == nullptr ? "elements" : info->stored[0].name;
}

// Elements with a single value are written as that value instead of an object.
bool IsPlain(const Levels& levels, std::size_t level) {
    return level + 1 == levels.size() && levels[level].columns.size() == 1;
}

// yyyymmdd from "yyyy-mm-dd" or from the number itself; nothing for a day that the calendar does not have.
std::optional<std::uint64_t> ParseDate(const Json& value) {
    std::uint64_t date = 0;
    if (value.is_string()) {
        const auto& text = value.get_ref<const std::string&>();
        if (text.size() != 10 || text[4] != '-' || text[7] != '-') {
            return std::nullopt;
        }
        const std::string digits = text.substr(0, 4) + text.substr(5, 2) + text.substr(8, 2);
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), date);
        if (error != std::errc() || end != digits.data() + digits.size()) {
            return std::nullopt;
        }
    } else if (value.is_number_unsigned()) {
        date = value.get<std::uint64_t>();
    } else {
        return std::nullopt;
    }
    return torva::DateOf(date) ? std::optional(date) : std::nullopt;
}

std::optional<double> ParseFloat(const Json& value) {
    if (value.is_number()) {
        return value.get<double>();
    }
    if (value == "nan") {
        return std::numeric_limits<double>::quiet_NaN();
    }
    if (value == "inf" || value == "-inf") {
        const double infinity = std::numeric_limits<double>::infinity();
        return value == "inf" ? infinity : -infinity;
    }
    return std::nullopt;
}

// Reads one document. Results of nodes with an error are empty values, which are never used.
class JsonParser {
public:
    JsonParser(const FromJsonOptions& options, JsonErrors& sink)
        : dictionary(options.dictionary),
          codec(options.codec),
          typed(options.typed),
          damaged(options.damaged),
          errors(sink) {}

    File Document(const JsonNode& root) {
        File file;
        if (!root.Value().is_object()) {
            root.FailExpected("an object");
            return file;
        }
        const auto mark = root.Value().find("_damaged");
        if (mark != root.Value().end() && *mark == true && !damaged) {
            root.Fail("dumped from a damaged file, parts of which are missing here");
        }
        if (!dictionaryTaken) {
            root.Optional("dictionary", [&](const JsonNode& node) { dictionary.Load(node); });
        }
        root.Optional("sections", [&](const JsonNode& node) {
            node.ForEachElement([&](const JsonNode& item) {
                file.sections.push_back(OneSection(item, file.sections.size()));
            });
        });
        root.Optional("behind", [&](const JsonNode& node) { file.behind = HexBytes(node); });
        ShortSections(root, file);
        return file;
    }

    const FieldDictionary& Dictionary() const { return dictionary; }

    // Adds the elements of a list to a section that has a reader.
    void AddElements(Section& section, const JsonNode& list) {
        ReadElements(list, FindSection(section.id)->stored, 0, section.rows, section.fields);
    }

    // Takes symbols, and the dictionary, out of a document under parsing.
    bool Take(const std::vector<ParsedStep>& steps, const Json& object) {
        if (steps.size() == 1 && steps[0].key == "dictionary") {
            dictionary.Load(JsonNode(object, errors, "/dictionary"));
            dictionaryTaken = true;
            return true;
        }
        const bool here = steps.size() == 2 && steps[0].key == "symbols" && steps[1].inArray;
        const bool inSection = steps.size() == 4 && steps[0].key == "sections" && steps[1].inArray &&
                               steps[2].key == "symbols" && steps[3].inArray;
        if (!here && !inSection) {
            return false;
        }
        const std::size_t section = here ? kShortForm : steps[1].index;
        const std::string list = here ? "/symbols/" : "/sections/" + std::to_string(section) + "/symbols/";
        const std::string pointer = list + std::to_string(steps.back().index);
        const Row symbol = OneRow(JsonNode(object, errors, pointer), FindSection(2)->stored, 0);
        if (errors.Empty()) {
            AppendSymbol(takenSymbols[section], symbol);
        }
        return true;
    }

private:
    static constexpr std::size_t kShortForm = std::numeric_limits<std::size_t>::max();

    static Bytes HexBytes(const JsonNode& node) {
        const std::string bytes = node.Hex();
        return Bytes(bytes.begin(), bytes.end());
    }

    Section OneSection(const JsonNode& node, std::size_t index) {
        Section section;
        std::uint16_t id = 0;
        node.IsObjectOf({"id", "name", "head", "count", "size", "before", "bytes", ElementsKey(IdOf(node))});
        node.Require("id", [&](const JsonNode& member) { id = member.Number<std::uint16_t>(); });
        const SectionInfo* info = FindSection(id);
        section.id = id;
        node.Optional("name", [&](const JsonNode& member) {
            if (info != nullptr && member.Value() != info->name) {
                member.FailExpected('"' + std::string(info->name) + "\", the name of section " +
                                    std::to_string(id));
            }
        });
        if (node.Optional("bytes", [&](const JsonNode& member) { section.raw = HexBytes(member); })) {
            if (info != nullptr && node.Value().contains(ElementsKey(id))) {
                node.Fail(std::string("\"bytes\" and \"") + ElementsKey(id) + "\" exclude each other");
            }
        } else if (info == nullptr) {
            section.raw = Bytes();
            node.Fail("a section of id " + std::to_string(id) + " needs a member \"bytes\"");
        } else {
            node.Require(ElementsKey(id),
                         [&](const JsonNode& member) { TakeElements(section, index, member); });
        }
        node.Optional("head", [&](const JsonNode& member) {
            if (info == nullptr || section.raw || info->head == torva::Head::None) {
                member.Fail("this section has no head value of its own");
            } else {
                section.headValue = member.Number<std::uint32_t>();
            }
        });
        node.Optional("count", [&](const JsonNode& member) {
            const std::uint8_t width = section.raw ? 0 : info->stored[0].countWidth;
            if (width == 0) {
                member.Fail("this section has no count of its own");
            } else {
                section.count = static_cast<std::uint32_t>(member.Number(torva::LargestNumber(width)));
            }
        });
        node.Optional(
            "size", [&](const JsonNode& member) { section.directorySize = member.Number<std::uint32_t>(); });
        node.Optional("before", [&](const JsonNode& member) { section.before = HexBytes(member); });
        return section;
    }

    // The id of a section's node, for the list of members that it may have; 0 when there is none.
    static std::uint16_t IdOf(const JsonNode& node) {
        const Json& value = node.Value();
        const auto found = value.is_object() ? value.find("id") : value.end();
        const bool known = value.is_object() && found != value.end() && found->is_number_unsigned();
        return known && found->get<std::uint64_t>() <= 0xFFFF ? found->get<std::uint16_t>()
                                                              : std::uint16_t{0};
    }

    void ShortSections(const JsonNode& root, File& file) {
        std::map<std::uint16_t, Section> sections;
        root.ForEachMember([&](std::string_view key, const JsonNode& member) {
            if (key == "dictionary" || key == "sections" || key == "behind") {
                return;
            }
            const SectionInfo* info = torva::FindSectionNamed(key);
            if (info == nullptr || key != info->name) {
                member.Fail("unknown key");
                return;
            }
            Section section = {.id = info->id};
            TakeElements(section, kShortForm, member);
            sections.emplace(info->id, std::move(section));
        });
        for (auto& [id, section] : sections) {
            file.sections.push_back(std::move(section));
        }
    }

    void TakeElements(Section& section, std::size_t index, const JsonNode& list) {
        AddElements(section, list);
        const auto taken = section.id == 2 ? takenSymbols.find(index) : takenSymbols.end();
        if (taken != takenSymbols.end()) {
            section.raw = std::move(taken->second);
        }
    }

    // Fields.

    // A number of the payload's width, a text or null, as the tag determines.
    Field ExactField(std::uint16_t id, std::uint8_t tag, const JsonNode& value) {
        const std::size_t width = PayloadWidth(tag);
        Field field{id, tag, {}};
        if (tag == kTextTag) {
            field.value = value.Text(codec);
        } else if (width == 0) {
            if (!value.Value().is_null()) {
                value.FailExpected("null, since a field of tag " + std::to_string(tag) + " has no payload");
            }
        } else if (value.IsHexObject()) {
            value.Require("hex", [&](const JsonNode& hex) { field.value = hex.Hex(width); });
        } else {
            field = NumberField(id, tag, value.Number(torva::LargestNumber(width)));
        }
        return field;
    }

    // What the dictionary's type makes of a value; without a dictionary what follows from the value
    // itself.
    Field NamedField(std::uint16_t id, const JsonNode& value) {
        const Json& json = value.Value();
        if (json.is_null()) {
            return NullField(id);
        }
        if (json.is_object() && json.contains("tag")) {
            value.IsObjectOf({"tag", "value"});
            return TaggedField(id, value);
        }
        const FieldDefinition* definition = dictionary.Find(id);
        if (definition != nullptr) {
            return TypedField(*definition, value);
        }
        if (!json.is_string() && !value.IsHexObject()) {
            value.FailExpected(
                R"(a text, null or {"tag": ..., "value": ...}, since no dictionary has its type)");
            return NullField(id);
        }
        return TextField(id, value.Text(codec));
    }

    Field TaggedField(std::uint16_t id, const JsonNode& node) {
        Field field{id, 0, {}};
        node.Require("tag", [&](const JsonNode& member) { field.tag = member.Number<std::uint8_t>(); });
        const FieldDefinition* definition = typed ? dictionary.Find(id) : nullptr;
        const bool hasValue = node.Optional("value", [&](const JsonNode& member) {
            if (definition == nullptr || field.tag == kTextTag || PayloadWidth(field.tag) == 0 ||
                !TypeFitsTag(definition->type == FieldType::Date ? FieldType::Unsigned : definition->type,
                             field.tag)) {
                field = ExactField(id, field.tag, member);
            } else {
                field = TypedField({id, field.tag, definition->type, {}}, member);
            }
        });
        if (!hasValue && (PayloadWidth(field.tag) != 0 || field.tag == kTextTag)) {
            node.Fail("the member \"value\" is missing");
        }
        return field;
    }

    Field TypedField(const FieldDefinition& definition, const JsonNode& value) {
        const std::size_t width = PayloadWidth(definition.tag);
        if (definition.tag == kTextTag || value.IsHexObject()) {
            return ExactField(definition.id, definition.tag, value);
        }
        std::uint64_t bits = 0;
        switch (definition.type) {
            case FieldType::Signed:
                bits = SignedBits(value, width);
                break;
            case FieldType::Float:
                bits = FloatBits(value, width);
                break;
            case FieldType::Date:
                if (const auto date = ParseDate(value.Value())) {
                    bits = *date;
                } else if (typed && value.Value().is_number()) {  // how a number that is not a day is shown
                    bits = value.Number(torva::LargestNumber(width));
                } else {
                    value.FailExpected("a day, as in \"2018-01-02\" or 20180102");
                }
                break;
            case FieldType::Hex:
                return {definition.id, definition.tag, value.Hex(width)};
            case FieldType::Bool:
                if (value.Value().is_boolean()) {
                    bits = value.Value().get<bool>() ? 1 : 0;
                } else {
                    bits = value.Number(torva::LargestNumber(width));
                }
                break;
            default:
                bits = value.Number(torva::LargestNumber(width));
        }
        return NumberField(definition.id, definition.tag, bits);
    }

    static std::uint64_t SignedBits(const JsonNode& node, std::size_t width) {
        const Json& value = node.Value();
        const auto highest = static_cast<std::int64_t>(torva::LargestNumber(width) >> 1);
        const bool fits = value.is_number_unsigned()
                              ? value.get<std::uint64_t>() <= static_cast<std::uint64_t>(highest)
                              : value.is_number_integer() && value.get<std::int64_t>() <= highest &&
                                    value.get<std::int64_t>() >= -highest - 1;
        if (!fits) {
            node.FailExpected("a whole number from " + std::to_string(-highest - 1) + " to " +
                              std::to_string(highest));
            return 0;
        }
        return static_cast<std::uint64_t>(value.get<std::int64_t>());
    }

    static std::uint64_t FloatBits(const JsonNode& node, std::size_t width) {
        const std::optional<double> number = ParseFloat(node.Value());
        if (!number) {
            node.FailExpected("a number");
            return 0;
        }
        if (width == 8) {
            return std::bit_cast<std::uint64_t>(*number);
        }
        if (std::isfinite(*number) &&
            std::fabs(*number) > static_cast<double>(std::numeric_limits<float>::max())) {
            node.FailExpected("a number that 4 bytes can hold");
            return 0;
        }
        return std::bit_cast<std::uint32_t>(static_cast<float>(*number));
    }

    std::vector<Field> Fields(const JsonNode& node) {
        std::vector<Field> fields;
        if (node.Value().is_object()) {
            fields.reserve(node.Value().size());
            node.ForEachMember([&](std::string_view key, const JsonNode& value) {
                if (const auto id = IdOfName(key, value)) {
                    fields.push_back(NamedField(*id, value));
                }
            });
            return fields;
        }
        if (node.Value().is_array()) {
            fields.reserve(node.Value().size());
        }
        node.ForEachElement([&](const JsonNode& element) {
            if (element.IsObjectOf({"id", "name", "tag", "value"})) {
                fields.push_back(OneField(element));
            }
        });
        return fields;
    }

    Field OneField(const JsonNode& node) {
        std::optional<std::uint16_t> id;
        node.Optional("id", [&](const JsonNode& member) { id = member.Number<std::uint16_t>(); });
        node.Optional("name", [&](const JsonNode& member) {
            // Beside an id the name is for people.
            if (!id && member.Value().is_string()) {
                id = IdOfName(member.Value().get_ref<const std::string&>(), member);
            }
        });
        if (!id) {
            node.Fail("the member \"id\" is missing");
            return {};
        }
        if (node.Value().contains("tag")) {
            return TaggedField(*id, node);
        }
        Field field = NullField(*id);
        node.Optional("value", [&](const JsonNode& member) { field = NamedField(*id, member); });
        return field;
    }

    std::optional<std::uint16_t> IdOfName(std::string_view name, const JsonNode& place) {
        const auto id = FieldOf(name, dictionary);
        if (!id) {
            place.Fail("no dictionary before this has a field \"" + std::string(name) + "\"");
        }
        return id;
    }

    // Elements.

    void ReadElements(const JsonNode& list, const Levels& levels, std::size_t level, std::vector<Row>& rows,
                      std::vector<Field>& fields) {
        if (levels[level].HoldsFields()) {
            std::vector<Field> found = Fields(list);
            if (fields.empty()) {
                fields = std::move(found);
            } else {
                fields.insert(fields.end(), found.begin(), found.end());
            }
            return;
        }
        list.ForEachElement([&](const JsonNode& node) { rows.push_back(OneRow(node, levels, level)); });
    }

    // An element with all below it.
    Row OneRow(const JsonNode& node, const Levels& levels, std::size_t level) {
        Row row;
        const auto& columns = levels[level].columns;
        if (IsPlain(levels, level)) {
            row.cells.push_back(OneCell(node, columns[0]));
            return row;
        }
        const Level* below = level + 1 < levels.size() ? &levels[level + 1] : nullptr;
        torva::FewOf<std::string_view, 6> names;
        for (const Column& column : columns) {
            names.push_back(column.name);
        }
        if (below != nullptr) {
            names.push_back(below->name);
            if (below->ahead) {
                names.push_back(below->singular);
            }
        }
        if (!node.IsObjectOf(std::span(names.begin(), names.size()))) {
            return row;
        }
        const auto takeBelow = [&](const JsonNode& list) {
            ReadElements(list, levels, level + 1, row.rows, row.fields);
        };
        if (below != nullptr && below->ahead) {
            OneOrMany(node, *below, row.rows, takeBelow);
        }
        row.cells.reserve(columns.size());
        for (const Column& column : columns) {
            Cell& cell = row.cells.emplace_back();
            const auto take = [&](const JsonNode& member) { cell = OneCell(member, column); };
            if (column.kind == ColumnKind::List) {
                node.Optional(column.name, take);
            } else {
                node.Require(column.name, take);
            }
        }
        if (below != nullptr && !below->ahead) {
            node.Optional(below->name, takeBelow);
        }
        return row;
    }

    // Elements with lists of their own beside them: a list, or a single one under its own name.
    template <typename TakeList>
    void OneOrMany(const JsonNode& node, const Level& below, std::vector<Row>& rows,
                   const TakeList& takeList) {
        const bool one = node.Optional(
            below.singular, [&](const JsonNode& value) { rows = {Row({OneCell(value, below.columns[0])})}; });
        const bool many = node.Optional(below.name, takeList);
        if (one == many) {
            node.Fail("expected either \"" + std::string(below.singular) + "\" or \"" + below.name + '"');
        }
    }

    Cell OneCell(const JsonNode& node, const Column& column) {
        const std::uint64_t largest = torva::LargestNumber(column.width);
        switch (column.kind) {
            case ColumnKind::Number:
                return node.Number(largest);
            case ColumnKind::Bytes:
                return node.Hex(column.width);
            case ColumnKind::List: {
                std::vector<std::uint16_t> list;
                node.ForEachElement([&](const JsonNode& element) {
                    list.push_back(static_cast<std::uint16_t>(element.Number(largest)));
                });
                return list;
            }
            default:
                return node.Text(codec);
        }
    }

    FieldDictionary dictionary;
    torva::TextCodec* codec;
    bool typed;
    bool damaged;
    JsonErrors& errors;
    bool dictionaryTaken = false;
    std::map<std::size_t, Bytes> takenSymbols;  // by the index of their section
};

}  // namespace

std::string_view TypeName(FieldType type) {
    return std::find_if(std::begin(kFieldTypes), std::end(kFieldTypes),
                        [type](const auto& one) { return one.second == type; })
        ->first;
}

void FieldDictionary::Load(const JsonNode& node) {
    node.ForEachMember([&](std::string_view key, const JsonNode& entry) { LoadOne(key, entry); });
}

void FieldDictionary::LoadOne(std::string_view key, const JsonNode& node) {
    const auto id = ParseId(key);
    if (!id) {
        node.Fail("the key is not a field id from 0 to 65535");
        return;
    }
    if (!node.IsObjectOf({"name", "type", "tag"})) {
        return;
    }
    FieldDefinition definition;
    definition.id = *id;
    node.Require("name", [&](const JsonNode& name) { definition.name = name.Text(nullptr); });
    node.Require("type", [&](const JsonNode& type) {
        const auto known = std::find_if(std::begin(kFieldTypes), std::end(kFieldTypes),
                                        [&](const auto& one) { return type.Value() == one.first; });
        if (known == std::end(kFieldTypes)) {
            type.FailExpected("text, unsigned, signed, float, date or hex");
        } else {
            definition.type = known->second;
        }
    });
    definition.tag = DefaultTag(definition.type);
    node.Optional("tag", [&](const JsonNode& tag) { definition.tag = tag.Number<std::uint8_t>(); });
    if (!TypeFitsTag(definition.type, definition.tag)) {
        node.Fail("a field of this type cannot have the tag " + std::to_string(definition.tag));
        return;
    }
    const FieldDefinition* same = Find(*id);
    if (same != nullptr && *same == definition) {
        return;  // said twice
    }
    if (same != nullptr || !ids.emplace(definition.name, *id).second) {
        node.Fail("the id or the name is in the dictionary already");
        return;
    }
    definitions.emplace(*id, std::move(definition));
}

void FieldDictionary::Add(const FieldDefinition& definition) {
    if (!definitions.contains(definition.id) && ids.emplace(definition.name, definition.id).second) {
        definitions.emplace(definition.id, definition);
    }
}

void FieldDictionary::AddMissing(const FieldDictionary& other) {
    for (const auto& [id, definition] : other.definitions) Add(definition);
}

const FieldDefinition* FieldDictionary::Find(std::uint16_t id) const {
    const auto found = definitions.find(id);
    return found == definitions.end() ? nullptr : &found->second;
}

const FieldDefinition* FieldDictionary::Find(std::string_view name) const {
    const auto found = ids.find(std::string(name));
    return found == ids.end() ? nullptr : Find(found->second);
}

File FromJson(const Json& document, const FromJsonOptions& options, JsonErrors& errors) {
    JsonParser reader(options, errors);
    return reader.Document(JsonNode(document, errors));
}

File ReadJson(std::istream& in, const FromJsonOptions& options, JsonErrors& errors,
              FieldDictionary* dictionary) {
    JsonParser reader(options, errors);
    const JsonDocument document = ParseJson(
        in, errors, [&](const auto& steps, const Json& object) { return reader.Take(steps, object); });
    // After a syntax error, missing parts would only add useless errors.
    File file = errors.Empty() ? reader.Document(JsonNode(document, errors)) : File();
    if (dictionary != nullptr) *dictionary = reader.Dictionary();
    return file;
}

std::optional<std::uint16_t> FieldOf(std::string_view name, const FieldDictionary& dictionary) {
    if (const FieldDefinition* definition = dictionary.Find(name)) return definition->id;
    constexpr std::string_view kNumbered = "field_";
    if (name.starts_with(kNumbered)) name.remove_prefix(kNumbered.size());
    return ParseId(name);
}

struct ElementReader::State {
    State(std::uint16_t id, const FromJsonOptions& options) : reader(options, unused), section{.id = id} {}

    JsonErrors unused;
    JsonParser reader;
    Section section;
    Bytes symbols;
};

ElementReader::ElementReader(std::uint16_t id, const FromJsonOptions& options)
    : state(std::make_unique<State>(id, options)) {}

ElementReader::~ElementReader() = default;

void ElementReader::Add(Json element, JsonErrors& errors) {
    Json list = Json::array();
    list.push_back(std::move(element));
    JsonErrors found;
    state->reader.AddElements(state->section, JsonNode(list, found));
    for (const JsonError& error : found.First()) {
        errors.Add(error.where.substr(std::string_view("/0").size()), error.what);
    }
    if (state->section.id == 2) {
        if (found.Empty()) {
            AppendSymbol(state->symbols, state->section.rows.back());
        }
        state->section.rows.clear();
    }
}

Section ElementReader::Take() {
    if (state->section.id == 2) {
        state->section.raw = std::move(state->symbols);
    }
    return std::move(state->section);
}

}  // namespace symwrite
