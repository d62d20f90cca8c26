#include "symwrite/Json.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <istream>

#include "format/Date.h"

namespace symwrite {

namespace {

constexpr std::pair<std::string_view, FieldType> kFieldTypes[] = {
    {"text", FieldType::Text},   {"unsigned", FieldType::Unsigned}, {"signed", FieldType::Signed},
    {"float", FieldType::Float}, {"date", FieldType::Date},         {"hex", FieldType::Hex}};

// The tag that a type has when the dictionary gives none; 0 for none.
std::uint8_t DefaultTag(FieldType type) {
    switch (type) {
        case FieldType::Text:
            return kTextTag;
        case FieldType::Float:
            return 6;
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

std::uint64_t MaxOfWidth(std::size_t width) {
    return width == 8 ? std::numeric_limits<std::uint64_t>::max() : (std::uint64_t{1} << (8 * width)) - 1;
}

// The key under which a section has its elements, by id.
const char* ElementsKey(std::uint16_t id) {
    switch (id) {
        case 1:
            return "fields";
        case 2:
            return "symbols";
        case 4:
            return "records";
        case 3:
        case 6:
        case 8:
        case 11:
            return "groups";
        case 13:
            return "types";
        case 14:
        case 15:
            return "heads";
        case 17:
            return "pairs";
        case 18:
            return "definitions";
        case 21:
            return "entries";
        default:
            return "elements";
    }
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

// Reads one document. Results of nodes that gave an error are empty values, which nobody uses.
class Reader {
public:
    Reader(const FromJsonOptions& options, JsonErrors& sink)
        : dictionary(options.dictionary), codec(options.codec), errors(sink) {}

    File Document(const JsonNode& root) {
        File file;
        if (!root.Value().is_object()) {
            root.FailExpected("an object");
            return file;
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

    // Adds the elements of a list to the content of a section.
    void AddElements(Section& section, const JsonNode& list) {
        std::visit([&](auto& kind) { Read(list, kind, section.id); }, section.content);
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
        const Symbol symbol = OneSymbol(JsonNode(object, errors, pointer));
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
        node.IsObjectOf({"id", "name", "head", "before", "bytes", ElementsKey(IdOf(node))});
        node.Require("id", [&](const JsonNode& member) { id = member.Number<std::uint16_t>(); });
        const SectionKind* kind = FindSectionKind(id);
        node.Optional("name", [&](const JsonNode& member) {
            if (kind != nullptr && member.Value() != kind->name) {
                member.FailExpected('"' + std::string(kind->name) + "\", the name of section " +
                                    std::to_string(id));
            }
        });
        section = MakeSection(id);
        const auto takeBytes = [&](const JsonNode& member) { section.content = Raw{HexBytes(member)}; };
        const auto takeElements = [&](const JsonNode& member) {
            section.content = ElementsOf(section, index, member);
        };
        if (node.Optional("bytes", takeBytes)) {
            if (kind != nullptr && node.Value().contains(ElementsKey(id))) {
                node.Fail(std::string("\"bytes\" and \"") + ElementsKey(id) + "\" exclude each other");
            }
        } else if (kind == nullptr) {
            node.Fail("a section of id " + std::to_string(id) + " is told by its \"bytes\"");
        } else {
            node.Require(ElementsKey(id), takeElements);
        }
        node.Optional("head", [&](const JsonNode& member) {
            if (std::holds_alternative<Raw>(section.content) || id == 2) {
                member.Fail("this section has no head value of its own");
            } else {
                section.headValue = member.Number<std::uint32_t>();
            }
        });
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
            const SectionKind* kind = FindSectionKind(key);
            if (kind == nullptr) {
                member.Fail("such a member is not known here");
                return;
            }
            Section section = MakeSection(kind->id);
            section.content = ElementsOf(section, kShortForm, member);
            sections.emplace(kind->id, std::move(section));
        });
        for (auto& [id, section] : sections) {
            file.sections.push_back(std::move(section));
        }
    }

    Content ElementsOf(const Section& section, std::size_t index, const JsonNode& list) {
        Section filled = MakeSection(section.id);
        AddElements(filled, list);
        if (section.id == 2) {
            const auto taken = takenSymbols.find(index);
            if (taken != takenSymbols.end()) {
                filled.content = Raw{std::move(taken->second)};
            }
        }
        return std::move(filled.content);
    }

    // Fields.

    // A number of the payload's width, a text or null, as the tag alone has it.
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
            field = NumberField(id, tag, value.Number(MaxOfWidth(width)));
        }
        return field;
    }

    // What the dictionary's type makes of a value; without a dictionary what can be told from the value
    // alone.
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
                R"(a text, null or {"tag": ..., "value": ...}, since no dictionary tells the type)");
            return NullField(id);
        }
        return TextField(id, value.Text(codec));
    }

    Field TaggedField(std::uint16_t id, const JsonNode& node) {
        Field field{id, 0, {}};
        node.Require("tag", [&](const JsonNode& member) { field.tag = member.Number<std::uint8_t>(); });
        const bool hasValue = node.Optional(
            "value", [&](const JsonNode& member) { field = ExactField(id, field.tag, member); });
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
                } else {
                    value.FailExpected("a day, as in \"2018-01-02\" or 20180102");
                }
                break;
            case FieldType::Hex:
                return {definition.id, definition.tag, value.Hex(width)};
            default:
                bits = value.Number(MaxOfWidth(width));
        }
        return NumberField(definition.id, definition.tag, bits);
    }

    static std::uint64_t SignedBits(const JsonNode& node, std::size_t width) {
        const Json& value = node.Value();
        const auto highest = static_cast<std::int64_t>(MaxOfWidth(width) >> 1);
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
        if (const FieldDefinition* definition = dictionary.Find(name)) {
            return definition->id;
        }
        const auto id = ParseId(name);
        if (!id) {
            place.Fail("no dictionary ahead of this has a field \"" + std::string(name) + "\"");
        }
        return id;
    }

    // Elements of the sections, each from the list that holds them.

    std::string TextMember(const JsonNode& node, std::string_view name) {
        std::string text;
        node.Require(name, [&](const JsonNode& member) { text = member.Text(codec); });
        return text;
    }

    template <typename T>
    static void NumberMember(const JsonNode& node, std::string_view name, T& number) {
        node.Require(name, [&](const JsonNode& member) { number = member.Number<T>(); });
    }

    template <typename T>
    static std::vector<T> Numbers(const JsonNode& list) {
        std::vector<T> numbers;
        list.ForEachElement([&](const JsonNode& element) { numbers.push_back(element.Number<T>()); });
        return numbers;
    }

    template <std::size_t N>
    static std::array<std::uint8_t, N> Record(const JsonNode& node) {
        std::array<std::uint8_t, N> record{};
        const std::string bytes = node.Hex(N);
        std::copy(bytes.begin(), bytes.end(), record.begin());
        return record;
    }

    // Calls `take(element, fresh)` for each object of a list that has no other members than `names`, with a
    // fresh element at the end of `elements` to be filled.
    template <typename T, typename Take>
    static void ReadList(const JsonNode& list, std::vector<T>& elements,
                         std::initializer_list<std::string_view> names, const Take& take) {
        list.ForEachElement([&](const JsonNode& node) {
            elements.emplace_back();
            if (node.IsObjectOf(names)) {
                take(node, elements.back());
            }
        });
    }

    Symbol OneSymbol(const JsonNode& node) {
        Symbol symbol;
        if (node.IsObjectOf({"symbol", "fields"})) {
            symbol.text = TextMember(node, "symbol");
            node.Optional("fields", [&](const JsonNode& list) { symbol.fields = Fields(list); });
        }
        return symbol;
    }

    void Read(const JsonNode&, Raw&, std::uint16_t) {}

    void Read(const JsonNode& list, DefaultFields& content, std::uint16_t) {
        const std::vector<Field> fields = Fields(list);
        content.fields.insert(content.fields.end(), fields.begin(), fields.end());
    }

    void Read(const JsonNode& list, Symbols& content, std::uint16_t) {
        list.ForEachElement([&](const JsonNode& node) { content.symbols.push_back(OneSymbol(node)); });
    }

    void Read(const JsonNode& list, JumpPrices& content, std::uint16_t) {
        ReadList(list, content.groups, {"id", "records"}, [&](const JsonNode& node, JumpPriceGroup& group) {
            NumberMember(node, "id", group.id);
            node.Optional("records", [&](const JsonNode& records) {
                records.ForEachElement(
                    [&](const JsonNode& record) { group.records.push_back(Record<24>(record)); });
            });
        });
    }

    void Read(const JsonNode& list, Brokers& content, std::uint16_t) {
        list.ForEachElement([&](const JsonNode& record) { content.records.push_back(Record<30>(record)); });
    }

    void Read(const JsonNode& list, QuickGroups& content, std::uint16_t) {
        ReadList(list, content.groups, {"name", "fields"}, [&](const JsonNode& node, QuickGroup& group) {
            group.name = TextMember(node, "name");
            node.Optional("fields", [&](const JsonNode& fields) { group.fields = Fields(fields); });
        });
    }

    void ReadTwoTexts(const JsonNode& list, std::vector<TwoTexts>& elements) {
        ReadList(list, elements, {"id", "text1", "text2"}, [&](const JsonNode& node, TwoTexts& element) {
            NumberMember(node, "id", element.id);
            element.text1 = TextMember(node, "text1");
            element.text2 = TextMember(node, "text2");
        });
    }
    void Read(const JsonNode& list, EidrSections& content, std::uint16_t) {
        ReadTwoTexts(list, content.elements);
    }
    void Read(const JsonNode& list, Exchanges& content, std::uint16_t) {
        ReadTwoTexts(list, content.elements);
    }

    void Read(const JsonNode& list, Level2Sections& content, std::uint16_t) {
        ReadList(list, content.groups, {"id", "items"}, [&](const JsonNode& node, Level2Group& group) {
            NumberMember(node, "id", group.id);
            node.Optional("items", [&](const JsonNode& items) {
                ReadList(items, group.items, {"lead", "text1", "text2"},
                         [&](const JsonNode& one, Level2Item& item) {
                             NumberMember(one, "lead", item.lead);
                             item.text1 = TextMember(one, "text1");
                             item.text2 = TextMember(one, "text2");
                         });
            });
        });
    }

    void Read(const JsonNode& list, Directory& content, std::uint16_t id) {
        const std::uint64_t highest = MaxOfWidth(FindSectionKind(id)->idWidth);
        ReadList(list, content.elements, {"id", "name"},
                 [&](const JsonNode& node, DirectoryElement& element) {
                     node.Require("id", [&](const JsonNode& member) {
                         element.id = static_cast<std::uint32_t>(member.Number(highest));
                     });
                     element.name = TextMember(node, "name");
                 });
    }

    void Read(const JsonNode& list, SectionGroups& content, std::uint16_t) {
        ReadList(list, content.groups, {"id", "members"}, [&](const JsonNode& node, SectionGroup& group) {
            NumberMember(node, "id", group.id);
            node.Optional("members",
                          [&](const JsonNode& all) { group.members = Numbers<std::uint8_t>(all); });
        });
    }

    void Read(const JsonNode& list, Objects& content, std::uint16_t) {
        ReadList(list, content.types, {"type", "sources"}, [&](const JsonNode& node, ObjectType& type) {
            NumberMember(node, "type", type.id);
            node.Optional("sources", [&](const JsonNode& sources) { ReadSources(sources, type.sources); });
        });
    }

    void ReadSources(const JsonNode& list, std::vector<ObjectSource>& sources) {
        ReadList(list, sources, {"source", "symbols"}, [&](const JsonNode& node, ObjectSource& source) {
            source.source = TextMember(node, "source");
            node.Optional("symbols", [&](const JsonNode& all) { ReadObjectSymbols(all, source.symbols); });
        });
    }

    void ReadObjectSymbols(const JsonNode& list, std::vector<ObjectSymbol>& symbols) {
        ReadList(list, symbols, {"byte", "symbol", "data"}, [&](const JsonNode& node, ObjectSymbol& symbol) {
            NumberMember(node, "byte", symbol.byte);
            symbol.symbol = TextMember(node, "symbol");
            node.Optional("data", [&](const JsonNode& all) {
                ReadList(all, symbol.data, {"byte", "data"}, [&](const JsonNode& one, ObjectData& data) {
                    NumberMember(one, "byte", data.byte);
                    data.data = TextMember(one, "data");
                });
            });
        });
    }

    void Read(const JsonNode& list, ForeignTrade& content, std::uint16_t) {
        ReadList(list, content.heads, {"id", "name", "items"},
                 [&](const JsonNode& node, ForeignTradeHead& head) {
                     NumberMember(node, "id", head.id);
                     head.name = TextMember(node, "name");
                     node.Optional("items", [&](const JsonNode& items) {
                         ReadList(items, head.items, {"tag", "names"},
                                  [&](const JsonNode& one, ForeignTradeItem& item) {
                                      NumberMember(one, "tag", item.tag);
                                      one.Optional("names", [&](const JsonNode& names) {
                                          names.ForEachElement([&](const JsonNode& name) {
                                              item.names.push_back(name.Text(codec));
                                          });
                                      });
                                  });
                     });
                 });
    }

    void Read(const JsonNode& list, GlobalRelated& content, std::uint16_t) {
        ReadList(list, content.heads, {"id", "lists"}, [&](const JsonNode& node, GlobalRelatedHead& head) {
            NumberMember(node, "id", head.id);
            node.Optional("lists", [&](const JsonNode& lists) { ReadRelatedLists(lists, head.lists); });
        });
    }

    void ReadRelatedLists(const JsonNode& node, std::vector<GlobalRelatedList>& lists) {
        ReadList(node, lists, {"items"}, [&](const JsonNode& one, GlobalRelatedList& list) {
            one.Optional("items", [&](const JsonNode& items) {
                ReadList(items, list.items, {"tag", "name"},
                         [&](const JsonNode& each, GlobalRelatedItem& item) {
                             NumberMember(each, "tag", item.tag);
                             item.name = TextMember(each, "name");
                         });
            });
        });
    }

    void Read(const JsonNode& list, RealDelayMapping& content, std::uint16_t) {
        ReadList(list, content.pairs, {"first", "second"}, [&](const JsonNode& node, RealDelayPair& pair) {
            NumberMember(node, "first", pair.first);
            NumberMember(node, "second", pair.second);
        });
    }

    static void ReadIds(const JsonNode& node, std::vector<std::uint16_t>& ids) {
        const bool one = node.Optional("id", [&](const JsonNode& id) { ids = {id.Number<std::uint16_t>()}; });
        const bool many =
            node.Optional("ids", [&](const JsonNode& all) { ids = Numbers<std::uint16_t>(all); });
        if (one == many) {
            node.Fail("expected either \"id\" or \"ids\"");
        }
    }

    static void ReadValues(const JsonNode& node, std::string_view name, std::vector<std::uint16_t>& values) {
        node.Optional(name, [&](const JsonNode& list) { values = Numbers<std::uint16_t>(list); });
    }

    void Read(const JsonNode& list, EodItems& content, std::uint16_t) {
        ReadList(list, content.groups, {"id", "ids", "first", "second", "third"},
                 [&](const JsonNode& node, EodItemGroup& group) {
                     ReadIds(node, group.ids);
                     ReadValues(node, "first", group.first);
                     ReadValues(node, "second", group.second);
                     ReadValues(node, "third", group.third);
                 });
    }

    void Read(const JsonNode& list, ExchangeSupport& content, std::uint16_t) {
        ReadList(list, content.groups, {"id", "ids", "items"},
                 [&](const JsonNode& node, ExchangeSupportGroup& group) {
                     ReadIds(node, group.ids);
                     ReadValues(node, "items", group.items);
                 });
    }

    FieldDictionary dictionary;
    const TextCodec* codec;
    JsonErrors& errors;
    bool dictionaryTaken = false;
    std::map<std::size_t, Bytes> takenSymbols;  // by the index of their section
};

// Gives the exact form.
class Printer {
public:
    explicit Printer(const TextCodec* textCodec) : codec(textCodec) {}

    Json Text(const std::string& bytes) const {
        if (codec == nullptr || !codec->decode) {
            return IsUtf8(bytes) ? Json(bytes) : Json{{"hex", ToHex(bytes)}};
        }
        std::optional<std::string> text = codec->decode(bytes);
        const bool comesBack = text && codec->encode && codec->encode(*text) == bytes;
        return comesBack ? Json(std::move(*text)) : Json{{"hex", ToHex(bytes)}};
    }

    static Json Hex(const std::uint8_t* bytes, std::size_t size) {
        return ToHex(std::string_view(reinterpret_cast<const char*>(bytes), size));
    }

    template <typename T, typename Make>
    static Json List(const std::vector<T>& elements, const Make& make) {
        Json list = Json::array();
        list.get_ref<Json::array_t&>().reserve(elements.size());
        for (const T& element : elements) {
            list.push_back(make(element));
        }
        return list;
    }

    Json Fields(const std::vector<Field>& fields) const {
        return List(fields, [&](const Field& field) {
            return Json{{"id", field.id}, {"tag", field.tag}, {"value", Value(field)}};
        });
    }

    Json Value(const Field& field) const {
        if (field.tag == kTextTag) {
            return Text(field.value);
        }
        if (PayloadWidth(field.tag) == 0) {
            return nullptr;
        }
        std::uint64_t number = 0;
        for (std::size_t i = field.value.size(); i > 0; --i) {
            number = number << 8 | static_cast<unsigned char>(field.value[i - 1]);
        }
        return number;
    }

    Json TwoTextList(const std::vector<TwoTexts>& elements) const {
        return List(elements, [&](const TwoTexts& element) {
            return Json{{"id", element.id}, {"text1", Text(element.text1)}, {"text2", Text(element.text2)}};
        });
    }

    Json operator()(const Raw& c) const { return Hex(c.bytes.data(), c.bytes.size()); }
    Json operator()(const DefaultFields& c) const { return Fields(c.fields); }
    Json operator()(const Symbols& c) const {
        return List(c.symbols, [&](const Symbol& symbol) {
            return Json{{"symbol", Text(symbol.text)}, {"fields", Fields(symbol.fields)}};
        });
    }
    Json operator()(const JumpPrices& c) const {
        return List(c.groups, [&](const JumpPriceGroup& group) {
            return Json{
                {"id", group.id},
                {"records", List(group.records, [&](const auto& r) { return Hex(r.data(), r.size()); })}};
        });
    }
    Json operator()(const Brokers& c) const {
        return List(c.records, [&](const auto& record) { return Hex(record.data(), record.size()); });
    }
    Json operator()(const QuickGroups& c) const {
        return List(c.groups, [&](const QuickGroup& group) {
            return Json{{"name", Text(group.name)}, {"fields", Fields(group.fields)}};
        });
    }
    Json operator()(const EidrSections& c) const { return TwoTextList(c.elements); }
    Json operator()(const Exchanges& c) const { return TwoTextList(c.elements); }
    Json operator()(const Level2Sections& c) const {
        const auto item = [&](const Level2Item& one) {
            return Json{{"lead", one.lead}, {"text1", Text(one.text1)}, {"text2", Text(one.text2)}};
        };
        return List(c.groups, [&](const Level2Group& group) {
            return Json{{"id", group.id}, {"items", List(group.items, item)}};
        });
    }
    Json operator()(const Directory& c) const {
        return List(c.elements, [&](const DirectoryElement& element) {
            return Json{{"id", element.id}, {"name", Text(element.name)}};
        });
    }
    Json operator()(const SectionGroups& c) const {
        return List(c.groups, [&](const SectionGroup& group) {
            return Json{{"id", group.id}, {"members", group.members}};
        });
    }
    Json operator()(const Objects& c) const {
        const auto data = [&](const ObjectData& one) {
            return Json{{"byte", one.byte}, {"data", Text(one.data)}};
        };
        const auto symbol = [&](const ObjectSymbol& one) {
            return Json{{"byte", one.byte}, {"symbol", Text(one.symbol)}, {"data", List(one.data, data)}};
        };
        const auto source = [&](const ObjectSource& one) {
            return Json{{"source", Text(one.source)}, {"symbols", List(one.symbols, symbol)}};
        };
        return List(c.types, [&](const ObjectType& type) {
            return Json{{"type", type.id}, {"sources", List(type.sources, source)}};
        });
    }
    Json operator()(const ForeignTrade& c) const {
        const auto item = [&](const ForeignTradeItem& one) {
            return Json{{"tag", one.tag},
                        {"names", List(one.names, [&](const auto& name) { return Text(name); })}};
        };
        return List(c.heads, [&](const ForeignTradeHead& head) {
            return Json{{"id", head.id}, {"name", Text(head.name)}, {"items", List(head.items, item)}};
        });
    }
    Json operator()(const GlobalRelated& c) const {
        const auto item = [&](const GlobalRelatedItem& one) {
            return Json{{"tag", one.tag}, {"name", Text(one.name)}};
        };
        const auto list = [&](const GlobalRelatedList& one) {
            Json object = Json::object();
            object["items"] = List(one.items, item);
            return object;
        };
        return List(c.heads, [&](const GlobalRelatedHead& head) {
            return Json{{"id", head.id}, {"lists", List(head.lists, list)}};
        });
    }
    Json operator()(const RealDelayMapping& c) const {
        return List(c.pairs, [](const RealDelayPair& pair) {
            return Json{{"first", pair.first}, {"second", pair.second}};
        });
    }
    Json operator()(const EodItems& c) const {
        return List(c.groups, [](const EodItemGroup& group) {
            return Json{
                {"ids", group.ids}, {"first", group.first}, {"second", group.second}, {"third", group.third}};
        });
    }
    Json operator()(const ExchangeSupport& c) const {
        return List(c.groups, [](const ExchangeSupportGroup& group) {
            return Json{{"ids", group.ids}, {"items", group.items}};
        });
    }

private:
    const TextCodec* codec;
};

}  // namespace

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
    if (definitions.contains(*id) || !ids.emplace(definition.name, *id).second) {
        node.Fail("the id or the name stands in the dictionary already");
        return;
    }
    definitions.emplace(*id, std::move(definition));
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
    Reader reader(options, errors);
    return reader.Document(JsonNode(document, errors));
}

File ReadJson(std::istream& in, const FromJsonOptions& options, JsonErrors& errors) {
    Reader reader(options, errors);
    const Json document = ParseJson(
        in, errors, [&](const auto& steps, const Json& object) { return reader.Take(steps, object); });
    // What is missing behind an error of syntax would only give errors that nobody can use.
    return errors.Empty() ? reader.Document(JsonNode(document, errors)) : File();
}

struct ElementReader::State {
    State(std::uint16_t id, const FromJsonOptions& options)
        : reader(options, unused), section(MakeSection(id)) {}

    JsonErrors unused;
    Reader reader;
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
    if (auto* content = std::get_if<Symbols>(&state->section.content)) {
        if (found.Empty()) {
            AppendSymbol(state->symbols, content->symbols.back());
        }
        content->symbols.clear();
    }
}

Section ElementReader::Take() {
    if (std::holds_alternative<Symbols>(state->section.content)) {
        state->section.content = Raw{std::move(state->symbols)};
    }
    return std::move(state->section);
}

Json ToJson(const Section& section, const TextCodec* codec) {
    Json json;
    json["id"] = section.id;
    if (const SectionKind* kind = FindSectionKind(section.id)) {
        json["name"] = kind->name;
    }
    if (!section.before.empty()) {
        json["before"] = Printer::Hex(section.before.data(), section.before.size());
    }
    if (section.headValue) {
        json["head"] = *section.headValue;
    }
    const bool raw = std::holds_alternative<Raw>(section.content);
    json[raw ? "bytes" : ElementsKey(section.id)] = std::visit(Printer(codec), section.content);
    return json;
}

Json ToJson(const File& file, const TextCodec* codec) {
    Json json;
    json["sections"] =
        Printer::List(file.sections, [&](const Section& section) { return ToJson(section, codec); });
    if (!file.behind.empty()) {
        json["behind"] = Printer::Hex(file.behind.data(), file.behind.size());
    }
    return json;
}

}  // namespace symwrite
