// tvsym diff: what was added, removed and changed between two symbol files.
//
// Both files are read once, one after the other, into records sorted by what they are about; then the two
// sorted streams are gone through side by side. A record is a symbol with its own fields, or a row of another
// section:
//
//     key     u16 section, big-endian | symbol, or the key columns of the rows above and of the row itself
//     value   the own fields, or u8 level and the other columns of the row
//
// Records of one key (a symbol that stands twice) are paired in file order.
#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>

#include "tables/check/Wording.h"
#include "tools/tvsym/SortedRecords.h"
#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/commands/Options.h"
#include "tools/tvsym/input/SymbolFile.h"
#include "tools/tvsym/output/Json.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/output/SymbolPrinter.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

namespace {

constexpr size_t kMemoryForEachFile = size_t{16} << 20;

struct DiffOptions {
    std::string files[2];
    std::string dictionary;
    std::string encoding = "UTF-8";
    std::vector<std::string> sections;
    std::vector<std::string> fields;
    bool json = false;
    bool summary = false;
    bool quiet = false;
};

// ---- numbers and bytes in keys and values; big-endian, so that keys sort by number

void PutNumber(std::string& to, u64 number, size_t width) {
    for (size_t byte = width; byte-- > 0;) {
        to += static_cast<char>(number >> (8 * byte));
    }
}

void PutBytes(std::string& to, std::string_view bytes) {
    PutNumber(to, bytes.size(), 4);
    to += bytes;
}

u64 TakeNumber(std::string_view& from, size_t width) {
    u64 number = 0;
    for (size_t byte = 0; byte < width; ++byte) {
        number = number << 8 | static_cast<u8>(from[byte]);
    }
    from.remove_prefix(width);
    return number;
}

std::string_view TakeBytes(std::string_view& from) {
    const auto size = static_cast<size_t>(TakeNumber(from, 4));
    const std::string_view bytes = from.substr(0, size);
    from.remove_prefix(size);
    return bytes;
}

// Texts have no zero byte, so they end with one in keys and sort as texts do.
void PutCell(std::string& to, ColumnKind kind, const Cell& cell) {
    switch (kind) {
        case ColumnKind::Number:
            return PutNumber(to, cell.number, 4);
        case ColumnKind::Text:
            to += cell.bytes;
            to += '\0';
            return;
        case ColumnKind::Bytes:
        case ColumnKind::Field:
            return PutBytes(to, cell.bytes);
        case ColumnKind::List:
            PutNumber(to, cell.list.size(), 4);
            for (const u16 item : cell.list) {
                PutNumber(to, item, 2);
            }
    }
}

// A cell as it comes back; lists stay bytes.
Cell TakeCell(std::string_view& from, ColumnKind kind) {
    Cell cell;
    switch (kind) {
        case ColumnKind::Number:
            cell.number = TakeNumber(from, 4);
            break;
        case ColumnKind::Text:
            cell.bytes = from.substr(0, from.find('\0'));
            from.remove_prefix(cell.bytes.size() + 1);
            break;
        case ColumnKind::Bytes:
        case ColumnKind::Field:
            cell.bytes = TakeBytes(from);
            break;
        case ColumnKind::List: {
            const auto count = static_cast<size_t>(TakeNumber(from, 4));
            cell.bytes = from.substr(0, count * 2);
            from.remove_prefix(count * 2);
        }
    }
    return cell;
}

// ---- one file as records

struct Side {
    Side() : records(kMemoryForEachFile) {}

    std::string name;
    SortedRecords records;
    std::set<u16> sections;
    std::map<u16, std::string> defaults;  // as PutField puts them, the first of each id
    bool damaged = false;
};

void PutField(std::string& to, const SymbolField& field) {
    PutNumber(to, field.id, 2);
    PutNumber(to, field.tag, 1);
    PutBytes(to, field.value);
}

SymbolField TakeField(std::string_view& from) {
    SymbolField field;
    field.id = static_cast<u16>(TakeNumber(from, 2));
    field.tag = static_cast<u8>(TakeNumber(from, 1));
    field.value = TakeBytes(from);
    return field;
}

class Loader {
public:
    Loader(Side& side, Reader& symbolFile, const std::set<u16>& wantedFields)
        : to(side), reader(symbolFile), fields(wantedFields) {}

    std::vector<Problem> Load(u16 id) {
        key.clear();
        PutNumber(key, id, 2);
        if (!FindSection(id)) {
            LoadRaw(id);
            return {};
        }
        return (id == 2 ? LoadSymbols() : LoadRows(*FindSection(id))).problems;
    }

private:
    bool Wanted(u16 field) const { return fields.empty() || fields.contains(field); }

    Walk LoadSymbols() {
        return reader.WalkSymbols([this](const SymbolView& symbol) {
            key.resize(2);
            key += symbol.text;
            value.clear();
            for (const SymbolField& field : symbol.fields) {
                if (!field.isDefault && Wanted(field.id)) {
                    PutField(value, field);
                }
            }
            to.records.Add(key, value);
            return true;
        });
    }

    Walk LoadRows(const SectionInfo& section) {
        std::vector<size_t> ends(section.levels.size() + 1, key.size());  // of the levels' parts of the key
        std::vector<u64> counts(section.levels.size() + 1);
        return reader.WalkSection(section.id, [&](size_t level, std::span<const Cell> cells) {
            key.resize(ends[level]);
            const auto& columns = section.levels[level].columns;
            const size_t keyColumns = section.levels[level].KeyColumns();
            if (columns.empty()) {
                PutNumber(key, ++counts[level], 4);
            }
            value.assign(1, static_cast<char>(level));
            for (size_t at = 0; at < columns.size(); ++at) {
                PutCell(at < keyColumns ? key : value, columns[at].kind, cells[at]);
            }
            ends[level + 1] = key.size();
            counts[level + 1] = 0;
            const bool field = !columns.empty() && columns.back().kind == ColumnKind::Field;
            if (!field || Wanted(static_cast<u16>(cells[0].number))) {
                to.records.Add(key, value);
            }
        });
    }

    // What no reader delivers counts as one element.
    void LoadRaw(u16 id) {
        const DirectoryEntry& entry = *reader.Directory().Find(id);
        u64 hash = 0xcbf29ce484222325U;
        reader.Bytes().Read(entry.offset, entry.size, [&](std::string_view bytes) {
            for (const char c : bytes) {
                hash = (hash ^ static_cast<u8>(c)) * 0x100000001b3U;
            }
        });
        value.clear();
        PutNumber(value, hash, 8);
        to.records.Add(key, value);
    }

    Side& to;
    Reader& reader;
    const std::set<u16>& fields;
    std::string key;
    std::string value;
};

// ---- what is told of a difference

enum class Change : u8 { Added, Removed, Changed };
constexpr const char* kChangeNames[] = {"added", "removed", "changed"};
constexpr const char* kChangeSigns[] = {"+ ", "- ", "~ "};

// A value before and after; none where it is not there.
struct ValueChange {
    std::string label;
    std::optional<u16> field;
    std::optional<std::string> values[2];
    bool isDefault[2] = {};
};

struct Difference {
    u16 section;
    Change change;
    std::vector<std::pair<std::string, std::string>> path;  // column and value of each key column
    std::vector<ValueChange> values;
};

struct Counts {
    u64 of[3] = {};  // by Change
    u64 same = 0;

    u64 Different() const { return of[0] + of[1] + of[2]; }
};

class DiffWriter {
public:
    DiffWriter(Output& output, bool asJson) : out(output), json(asJson) {}

    void Start(const Side (&sides)[2]) {
        if (json) {
            TextCodec plain;
            out.Write(fmt::format("{{\"old\":{},\"new\":{},\"differences\":[", JsonText(sides[0].name, plain),
                                  JsonText(sides[1].name, plain)));
        }
    }

    // A section that one of the files does not have.
    void Section(u16 id, Change change) {
        if (json) {
            out.Write(fmt::format(R"({}{{"section":{},"name":{},"change":"{}"}})", Separator(), id,
                                  NameJson(id), kChangeNames[static_cast<size_t>(change)]));
            return;
        }
        out.Write(Line(change, fmt::format("section {} ({})", id, SectionTitle(id))));
    }

    void Write(const Difference& difference) {
        if (json) {
            return WriteJson(difference);
        }
        if (difference.section != lastSection) {
            lastSection = difference.section;
            out.Write(
                Styled(Style::Bold, fmt::format("section {}: {}", lastSection, SectionTitle(lastSection))) +
                "\n");
        }
        std::string path;
        for (const auto& [column, value] : difference.path) {
            path += fmt::format("{}{} {}", path.empty() ? "" : " / ", column, value);
        }
        out.Write(Line(difference.change, path.empty() ? "its bytes" : path));
        for (const ValueChange& value : difference.values) {
            out.Write(fmt::format("    {}: {}\n", value.label, ValuesText(difference.change, value)));
        }
    }

    void Finish(const std::map<u16, Counts>& counts) {
        if (json) {
            out.Write("],\n\"summary\":[");
            first = true;
            for (const auto& [id, count] : counts) {
                out.Write(fmt::format(
                    R"({}{{"section":{},"name":{},"added":{},"removed":{},"changed":{},"same":{}}})",
                    Separator(), id, NameJson(id), count.of[0], count.of[1], count.of[2], count.same));
            }
            out.Write("]}\n");
            return;
        }
        if (lastSection != 0) {
            out.Write("\n");
        }
        using enum Table::Align;
        Table table(out, {{"id", Right},
                          {"section"},
                          {"added", Right},
                          {"removed", Right},
                          {"changed", Right},
                          {"same", Right}});
        for (const auto& [id, count] : counts) {
            table.Row({fmt::format("{}", id), SectionTitle(id), Grouped(count.of[0]), Grouped(count.of[1]),
                       Grouped(count.of[2]), Grouped(count.same)});
        }
        table.Finish();
    }

private:
    const char* Separator() {
        const char* separator = first ? "\n" : ",\n";
        first = false;
        return separator;
    }

    static std::string NameJson(u16 id) {
        const SectionInfo* section = FindSection(id);
        return section ? JsonString(section->name) : "null";
    }

    static std::string Line(Change change, const std::string& text) {
        return Styled(change == Change::Removed ? Style::Bad : Style::Plain,
                      kChangeSigns[static_cast<size_t>(change)] + text) +
               "\n";
    }

    static std::string ValuesText(Change change, const ValueChange& value) {
        std::string sides[2];
        for (size_t side = 0; side < 2; ++side) {
            sides[side] = value.values[side].value_or("none");
            if (value.isDefault[side]) {
                sides[side] = fmt::format("({})", sides[side]);
            }
        }
        return change == Change::Added     ? sides[1]
               : change == Change::Removed ? sides[0]
                                           : fmt::format("{} -> {}", sides[0], sides[1]);
    }

    void WriteJson(const Difference& difference) {
        std::string line =
            fmt::format(R"({}{{"section":{},"name":{},"change":"{}")", Separator(), difference.section,
                        NameJson(difference.section), kChangeNames[static_cast<size_t>(difference.change)]);
        if (difference.section == 2) {
            line += fmt::format(R"(,"symbol":{})", difference.path[0].second);
        } else {
            line += ",\"path\":[";
            for (size_t at = 0; at < difference.path.size(); ++at) {
                line += fmt::format("{}{{{}:{}}}", at ? "," : "", JsonString(difference.path[at].first),
                                    difference.path[at].second);
            }
            line += ']';
        }
        if (!difference.values.empty()) {
            line += ",\"values\":[";
            for (size_t at = 0; at < difference.values.size(); ++at) {
                line += fmt::format("{}{}", at ? "," : "", ValueJsonOf(difference.values[at]));
            }
            line += ']';
        }
        out.Write(line + "}");
    }

    static std::string ValueJsonOf(const ValueChange& value) {
        std::string text = "{";
        if (value.field) {
            text += fmt::format("\"id\":{},", *value.field);
        }
        text += fmt::format("\"name\":{}", JsonString(value.label));
        constexpr const char* kSides[] = {"old", "new"};
        for (size_t side = 0; side < 2; ++side) {
            if (value.values[side]) {
                text += fmt::format(
                    ",\"{}\":{}{}", kSides[side], *value.values[side],
                    value.isDefault[side] ? fmt::format(",\"{}Default\":true", kSides[side]) : "");
            }
        }
        return text + "}";
    }

    Output& out;
    bool json;
    bool first = true;
    u16 lastSection = 0;
};

// ---- the comparison

class Diff {
public:
    explicit Diff(const DiffOptions& diffOptions)
        : options(diffOptions),
          dictionary(LoadDictionary(options.dictionary, options.files[1])),
          codec(options.encoding),
          writer(out, options.json) {}

    int Run() {
        const std::vector<u16> fieldIds = FieldIds(options.fields, dictionary);
        const std::set<u16> fields(fieldIds.begin(), fieldIds.end());
        for (size_t side = 0; side < 2; ++side) {
            LoadSide(side, fields);
        }
        writer.Start(sides);
        CompareSections();
        while (!sides[0].records.AtEnd() || !sides[1].records.AtEnd()) {
            Step();
        }
        writer.Finish(counts);
        out.Close();
        if (sides[0].damaged || sides[1].damaged) {
            return kExitUnreadable;
        }
        return different ? kExitFindings : kExitOk;
    }

private:
    void LoadSide(size_t number, const std::set<u16>& fields) {
        Side& side = sides[number];
        ProgressBar progress(options.files[number], 0, options.quiet);
        Reader reader(OpenSource(options.files[number]), {ReadMode::Auto, {}, progress.Callback()});
        progress.SetTotal(reader.Directory().fileSize);
        side.name = reader.Name();
        const std::vector<u16> wanted = SectionIds(options.sections);
        std::vector<Problem> problems;
        Loader loader(side, reader, fields);
        for (const DirectoryEntry& entry : std::vector(reader.Directory().entries)) {
            const bool chosen =
                wanted.empty() || std::find(wanted.begin(), wanted.end(), entry.id) != wanted.end();
            if (chosen && entry.Readable()) {
                side.sections.insert(entry.id);
                const std::vector<Problem> found = loader.Load(entry.id);
                problems.insert(problems.end(), found.begin(), found.end());
            }
        }
        for (const SymbolField& field : reader.Defaults()) {
            std::string value;
            PutField(value, field);
            side.defaults.emplace(field.id, value);
        }
        side.records.Sort();
        progress.Hide();
        const std::vector<u16> read(side.sections.begin(), side.sections.end());
        side.damaged = ReportProblems(reader, wanted.empty() ? AllIds(reader) : read, problems) != kExitOk;
    }

    static std::vector<u16> AllIds(const Reader& reader) {
        std::vector<u16> ids;
        for (const DirectoryEntry& entry : reader.Directory().entries) {
            ids.push_back(entry.id);
        }
        return ids;
    }

    void CompareSections() {
        for (size_t side = 0; side < 2; ++side) {
            for (const u16 id : sides[side].sections) {
                counts[id];
                if (!sides[1 - side].sections.contains(id)) {
                    different = true;
                    if (!options.summary) {
                        writer.Section(id, side == 0 ? Change::Removed : Change::Added);
                    }
                }
            }
        }
    }

    // Takes the next record of either file, or of both when they are about the same.
    void Step() {
        SortedRecords& old = sides[0].records;
        SortedRecords& now = sides[1].records;
        const int order = old.AtEnd() ? 1 : now.AtEnd() ? -1 : old.Key().compare(now.Key());
        if (order < 0) {
            Tell(Change::Removed, old.Key(), old.Value(), {});
        } else if (order > 0) {
            Tell(Change::Added, now.Key(), {}, now.Value());
        } else {
            Tell(Change::Changed, old.Key(), old.Value(), now.Value());
        }
        if (order <= 0) {
            old.Next();
        }
        if (order >= 0) {
            now.Next();
        }
    }

    void Tell(Change change, std::string_view key, std::string_view old, std::string_view now) {
        const auto id = static_cast<u16>(TakeNumber(key, 2));
        Counts& count = counts[id];
        if (change == Change::Changed && old == now) {
            ++count.same;
            return;
        }
        Difference difference{id, change, {}, {}};
        if (id == 2) {
            difference.path.emplace_back("symbol", TextValue(key));
            FieldChanges(difference, old, now);
            if (change == Change::Changed && difference.values.empty()) {  // the order of the fields alone
                ++count.same;
                return;
            }
        } else if (const SectionInfo* section = FindSection(id)) {
            RowPath(difference, *section, key, change == Change::Added ? now : old, old, now);
        }
        ++count.of[static_cast<size_t>(change)];
        different = true;
        if (!options.summary) {
            writer.Write(difference);
        }
    }

    std::string TextValue(std::string_view bytes) {
        return options.json ? JsonText(bytes, codec) : fmt::format("\"{}\"", codec.Display(bytes));
    }

    std::string FieldValue(const SymbolField& field) {
        const ValueType type = dictionary.TypeOf(field.id, field.tag, field.value.size());
        if (type == ValueType::Text) {
            return TextValue(field.value);
        }
        if (field.value.empty()) {
            return "null";
        }
        return options.json ? ValueJson(type, field.value, codec) : ValueText(type, field.value, codec);
    }

    // Both records' fields by id, the first of an id with the first, the second with the second.
    void FieldChanges(Difference& difference, std::string_view old, std::string_view now) {
        std::vector<SymbolField> fields[2];
        std::string_view from[2] = {old, now};
        for (size_t side = 0; side < 2; ++side) {
            while (!from[side].empty()) {
                fields[side].push_back(TakeField(from[side]));
            }
            std::stable_sort(fields[side].begin(), fields[side].end(),
                             [](const SymbolField& a, const SymbolField& b) { return a.id < b.id; });
        }
        auto left = fields[0].begin();
        auto right = fields[1].begin();
        while (left != fields[0].end() || right != fields[1].end()) {
            const bool hasLeft =
                left != fields[0].end() && (right == fields[1].end() || left->id <= right->id);
            const bool hasRight =
                right != fields[1].end() && (left == fields[0].end() || right->id <= left->id);
            const SymbolField* pair[2] = {hasLeft ? &*left : nullptr, hasRight ? &*right : nullptr};
            if (!hasLeft || !hasRight || left->tag != right->tag || left->value != right->value) {
                difference.values.push_back(FieldChange(difference.change, pair));
            }
            left += hasLeft ? 1 : 0;
            right += hasRight ? 1 : 0;
        }
    }

    ValueChange FieldChange(Change change, const SymbolField* (&pair)[2]) {
        const u16 id = (pair[0] ? pair[0] : pair[1])->id;
        ValueChange value;
        value.label = dictionary.NameOf(id);
        value.field = id;
        for (size_t side = 0; side < 2; ++side) {
            const auto standard = sides[side].defaults.find(id);
            if (pair[side]) {
                value.values[side] = FieldValue(*pair[side]);
            } else if (change == Change::Changed && standard != sides[side].defaults.end()) {
                std::string_view bytes = standard->second;
                value.values[side] = FieldValue(TakeField(bytes));
                value.isDefault[side] = true;
            }
        }
        if (pair[0] && pair[1] && pair[0]->tag != pair[1]->tag) {
            value.label += fmt::format(" (tag {} -> {})", pair[0]->tag, pair[1]->tag);
        }
        return value;
    }

    std::string CellValue(ColumnKind kind, const Cell& cell) {
        switch (kind) {
            case ColumnKind::Number:
                return fmt::format("{}", cell.number);
            case ColumnKind::Text:
                return TextValue(cell.bytes);
            case ColumnKind::List: {
                std::string text;
                for (std::string_view rest = cell.bytes; rest.size() >= 2;) {
                    text += fmt::format("{}{}", text.empty() ? "" : ",", TakeNumber(rest, 2));
                }
                return fmt::format("[{}]", text);
            }
            default:
                return options.json ? JsonString(Hex(cell.bytes)) : "0x" + Hex(cell.bytes);
        }
    }

    // The way to a row, and its other columns before and after. `present` is the value of a record that is
    // there.
    void RowPath(Difference& difference, const SectionInfo& section, std::string_view key,
                 std::string_view present, std::string_view old, std::string_view now) {
        const size_t depth = static_cast<u8>(present[0]);
        u16 field = 0;
        for (size_t level = 0; level <= depth; ++level) {
            const auto& columns = section.levels[level].columns;
            if (columns.empty()) {
                difference.path.emplace_back(section.levels[level].name,
                                             fmt::format("{}", TakeNumber(key, 4)));
            }
            for (size_t at = 0; at < section.levels[level].KeyColumns(); ++at) {
                const Cell cell = TakeCell(key, columns[at].kind);
                field = static_cast<u16>(cell.number);
                difference.path.emplace_back(columns[at].name, CellValue(columns[at].kind, cell));
            }
        }
        const auto& columns = section.levels[depth].columns;
        const size_t first = section.levels[depth].KeyColumns();
        std::string_view from[2] = {old.substr(old.empty() ? 0 : 1), now.substr(now.empty() ? 0 : 1)};
        if (first < columns.size() && columns.back().kind == ColumnKind::Field) {
            difference.values.push_back(FieldRow(field, from));
            return;
        }
        for (size_t at = first; at < columns.size(); ++at) {
            ValueChange value{columns[at].name, std::nullopt, {}};
            for (size_t side = 0; side < 2; ++side) {
                if (!from[side].empty()) {
                    value.values[side] = CellValue(columns[at].kind, TakeCell(from[side], columns[at].kind));
                }
            }
            if (value.values[0] != value.values[1]) {
                difference.values.push_back(value);
            }
        }
    }

    // A typed field: its tag and payload stand behind the key.
    ValueChange FieldRow(u16 id, std::string_view (&from)[2]) {
        ValueChange value{dictionary.NameOf(id), id, {}};
        u8 tags[2] = {};
        for (size_t side = 0; side < 2; ++side) {
            if (!from[side].empty()) {
                SymbolField field;
                field.id = id;
                tags[side] = field.tag = static_cast<u8>(TakeNumber(from[side], 4));
                field.value = TakeBytes(from[side]);
                value.values[side] = FieldValue(field);
            }
        }
        if (value.values[0] && value.values[1] && tags[0] != tags[1]) {
            value.label += fmt::format(" (tag {} -> {})", tags[0], tags[1]);
        }
        return value;
    }

    const DiffOptions& options;
    Dictionary dictionary;
    TextCodec codec;
    Output out;
    DiffWriter writer;
    Side sides[2];
    std::map<u16, Counts> counts;
    bool different = false;
};

}  // namespace

RunCommand AddDiff(CLI::App& app) {
    auto options = std::make_shared<DiffOptions>();
    AddArgument(app, "OLD", options->files[0], kFileArgument);
    AddArgument(app, "NEW", options->files[1], "symbol file to compare it with");
    app.add_option("--dictionary", options->dictionary,
                   "names and types of the field ids, a JSON file; NEW.fields.json when it is there")
        ->type_name("JSON");
    AddEncoding(app, options->encoding, "in the files");
    AddSections(app, options->sections);
    AddFields(app, options->fields);
    app.add_flag("--summary", options->summary, "only how much differs");
    app.add_flag("--json", options->json, "one JSON document");
    AddQuiet(app, options->quiet);
    return [options] {
        if (options->files[0] == "-" && options->files[1] == "-") {
            throw ToolError(kExitUsage, "only one of the files can be the standard input");
        }
        return Diff(*options).Run();
    };
}

}  // namespace tvsym
