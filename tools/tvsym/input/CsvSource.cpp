#include "tools/tvsym/input/CsvSource.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "tables/dictionary/Values.h"
#include "tools/tvsym/input/Compression.h"
#include "tools/tvsym/input/FlatSymbols.h"
#include "tools/tvsym/output/CsvFolder.h"

namespace tvsym {

namespace {

using symwrite::Json;

// Splits a file into rows: cells after commas, quoted where they hold commas, quotes or line ends.
class CsvReader {
public:
    explicit CsvReader(std::istream& stream) : in(*stream.rdbuf()) {}

    // False at the end. An open quote at the end of the file makes `broken` true.
    bool Next(std::vector<std::string>& cells) {
        cells.clear();
        rowLine = line;
        if (tooLong || in.sgetc() == kEnd) {
            return false;
        }
        for (;;) {
            cells.emplace_back();
            const int end = in.sgetc() == '"' ? Quoted(cells.back()) : Plain(cells.back());
            if (end != ',') {
                return true;
            }
        }
    }

    size_t Line() const { return rowLine; }
    bool Broken() const { return broken; }
    bool EndedByLength() const { return tooLong; }

private:
    static constexpr int kEnd = std::char_traits<char>::eof();

    // More than any text or list of a record. What has no limit are the bytes of a section, which stop at the
    // first that is not a hex digit.
    static constexpr size_t kLongestCell = size_t{64} << 20;

    // Whether a cell has grown too long; the rows end there.
    bool TooLong(const std::string& cell) {
        tooLong = tooLong || (cell.size() >= kLongestCell &&
                              cell.find_first_not_of("0123456789abcdefABCDEF") < cell.size());
        return tooLong;
    }

    // Both return what ended the cell: a comma, a line end or the end of the file.
    int Plain(std::string& cell) {
        for (;;) {
            if (cell.size() % kLongestCell == 0 && TooLong(cell)) return kEnd;
            const int c = in.sbumpc();
            if (c == ',' || c == '\n' || c == kEnd) {
                if (c != ',' && cell.ends_with('\r')) {
                    cell.pop_back();
                }
                line += c == '\n' ? 1 : 0;
                return c;
            }
            cell += static_cast<char>(c);
        }
    }

    int Quoted(std::string& cell) {
        in.sbumpc();
        for (;;) {
            if (cell.size() % kLongestCell == 0 && TooLong(cell)) return kEnd;
            const int c = in.sbumpc();
            if (c == kEnd) {
                broken = true;
                return c;
            }
            if (c == '"' && in.sgetc() != '"') {
                std::string behind;  // nothing, in a sound file
                const int end = Plain(behind);
                cell += behind;
                return end;
            }
            if (c == '"') {
                in.sbumpc();
            }
            line += c == '\n' ? 1 : 0;
            cell += static_cast<char>(c);
        }
    }

    std::streambuf& in;
    size_t line = 1;
    size_t rowLine = 1;
    bool broken = false;
    bool tooLong = false;
};

// The rows of one file, as far as they have certain columns: in whatever order these stand, whatever else
// there is.
class CsvTable {
public:
    // The first row holds the columns' names.
    CsvTable(std::string fileName, std::istream& in, symwrite::JsonErrors& sink)
        : name(std::move(fileName)), rows(in), errors(sink) {
        rows.Next(header);
        constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
        if (!header.empty() && header[0].starts_with(kByteOrderMark)) {
            header[0].erase(0, kByteOrderMark.size());
        }
    }

    // Whether this is the only column.
    bool IsOnly(const char* column) const { return header.size() == 1 && header[0] == column; }

    const std::vector<std::string>& Header() const { return header; }
    bool Has(std::string_view column) const {
        return std::find(header.begin(), header.end(), column) != header.end();
    }

    // Which columns Next gives; false, with an error, when one is missing.
    bool Choose(const std::vector<std::string>& columns) {
        if (header.empty()) {
            Fail(fmt::format("expected the columns {}", fmt::join(columns, ",")));
            return false;
        }
        for (const std::string& column : columns) {
            const auto found = std::find(header.begin(), header.end(), column);
            if (found == header.end()) {
                Fail(fmt::format("the column \"{}\" is missing", column));
                return false;
            }
            places.push_back(static_cast<size_t>(found - header.begin()));
        }
        return true;
    }

    // False at the end. A row with too many or too few cells is an error and passed over.
    bool Next() {
        while (rows.Next(cells)) {
            line = rows.Line();
            if (rows.EndedByLength()) {
                Fail("a cell of more than 64 MiB");
                return false;
            }
            if (cells.size() == header.size()) {
                return true;
            }
            if (cells.size() > 1 || !cells[0].empty()) {  // no empty line
                Fail(fmt::format("expected {} cells, found {}", header.size(), cells.size()));
            }
        }
        if (rows.Broken()) {
            Fail("a quoted cell is not closed");
        }
        return false;
    }

    // Of the chosen column in the row.
    const std::string& Cell(size_t column) const { return cells[places[column]]; }

    // The cell of a column that need not be there; null without it.
    const std::string* Optional(std::string_view column) const {
        const auto found = std::find(header.begin(), header.end(), column);
        return found == header.end() ? nullptr : &cells[static_cast<size_t>(found - header.begin())];
    }

    // Whether the chosen columns from one on are all empty in the row.
    bool EmptyFrom(size_t column) const {
        return std::all_of(places.begin() + static_cast<std::ptrdiff_t>(column), places.end(),
                           [&](size_t place) { return cells[place].empty(); });
    }

    std::string Place(size_t ofLine) const {
        return fmt::format("{}line {}", name.empty() ? "" : name + ": ", ofLine);
    }
    size_t Line() const { return line; }
    void Fail(const std::string& what) { errors.Add(Place(line), what); }

private:
    std::string name;
    CsvReader rows;
    symwrite::JsonErrors& errors;
    std::vector<std::string> header;
    std::vector<size_t> places;
    std::vector<std::string> cells;
    size_t line = 1;
};

std::optional<u64> ParseNumber(std::string_view cell) {
    u64 number = 0;
    const auto [end, error] = std::from_chars(cell.data(), cell.data() + cell.size(), number);
    return error == std::errc() && end == cell.data() + cell.size() ? std::optional(number) : std::nullopt;
}

symwrite::Bytes ParseHex(const std::string& cell, CsvTable& table) {
    symwrite::JsonErrors found;
    const Json text = cell;
    const std::string bytes = symwrite::JsonNode(text, found).Hex();
    for (const symwrite::JsonError& error : found.First()) {
        table.Fail(error.what);
    }
    return {bytes.begin(), bytes.end()};
}

// Puts the rows of one section together to elements as the JSON document has them.
class SectionFromCsv {
public:
    SectionFromCsv(const SectionInfo& described, CsvTable& from, const symwrite::FromJsonOptions& reading,
                   symwrite::JsonErrors& sink)
        : section(described),
          table(from),
          options(reading),
          elements(section.id, reading),
          errors(sink),
          open(section.levels.size(), nullptr),
          numbers(section.levels.size()),
          values(section.levels.size()) {}

    symwrite::Section Read() {
        if (table.Choose(CsvColumns(section, false))) {
            while (table.Next()) {
                Row();
            }
        }
        Flush();
        return elements.Take();
    }

private:
    // A level's element continues while its number and those above stay; its absence ends the row.
    void Row() {
        size_t column = 0;
        bool fresh = false;
        bool added = false;
        for (size_t level = 0; level < section.levels.size(); ++level) {
            const bool last = level + 1 == section.levels.size();
            const bool numbered = section.levels.size() > 1;
            const std::string number = numbered ? table.Cell(column++) : "";
            if (numbered && number.empty()) {
                if (level == 0) {
                    table.Fail(fmt::format("{}_no is empty", section.levels[0].singular));
                } else if (!added) {
                    table.Fail(fmt::format("{}_no {} again, with nothing below it",
                                           section.levels[level - 1].singular, numbers[level - 1]));
                } else if (!table.EmptyFrom(column)) {
                    table.Fail(
                        fmt::format("{}_no is empty, but not what follows", section.levels[level].singular));
                }
                return;
            }
            fresh = fresh || last || open[level] == nullptr || number != numbers[level];
            if (fresh) {
                numbers[level] = number;
                values[level] = Values(level, column);
                Begin(level, column);
                added = true;
            } else if (Values(level, column) != values[level]) {
                table.Fail(fmt::format("{}_no {} was another {} in the row before",
                                       section.levels[level].singular, number,
                                       section.levels[level].singular));
            }
            column += section.levels[level].columns.size();
        }
    }

    // The cells of a level's element.
    std::vector<std::string> Values(size_t level, size_t column) const {
        std::vector<std::string> cells;
        for (size_t at = 0; at < section.levels[level].columns.size(); ++at) {
            cells.push_back(table.Cell(column + at));
        }
        return cells;
    }

    // Makes an element of a level from the cells that begin at `column`.
    void Begin(size_t level, size_t column) {
        if (level == 0) {
            Flush();
            firstLine = table.Line();
        }
        const Level& described = section.levels[level];
        const bool leaf = level + 1 == section.levels.size();
        Json made = Json::object();
        if (!leaf) {
            made[section.levels[level + 1].name] = Json::array();
        }
        for (const Column& one : described.columns) {
            const std::string& cell = table.Cell(column++);
            made[one.name] = Value(one, cell, made);
        }
        if (described.HoldsFields()) CheckShown(made);
        if (leaf && described.columns.size() == 1) {
            made = Json(made.begin().value());  // a list of plain values
        }
        std::fill(open.begin() + static_cast<std::ptrdiff_t>(level), open.end(), nullptr);
        if (level == 0) {
            element = std::move(made);
            open[0] = &element;
            return;
        }
        Json& list = (*open[level - 1])[described.name];
        list.push_back(std::move(made));
        open[level] = &list.back();
    }

    // field_name and field_value show what the dictionary makes of id and value. Where they differ one of
    // them was edited, and building either would lose the other.
    void CheckShown(const Json& field) {
        const std::string* shown = table.Optional("field_value");
        if (!shown) return;
        if (options.dictionary.All().empty()) {
            if (!complained)
                table.Fail("field_value needs the dictionary it was made with, or must be removed");
            complained = true;
            return;
        }
        const auto* definition = options.dictionary.Find(field["id"].get<u16>());
        const std::string* name = table.Optional("field_name");
        if (name && *name != (definition ? definition->name : "")) {
            table.Fail(fmt::format("field_name is \"{}\", but field {} is called \"{}\"", *name,
                                   field["id"].get<u16>(), definition ? definition->name : ""));
        }
        const auto tag = static_cast<u8>(field["tag"].get<u64>());
        const Json& value = field["value"];
        std::string payload;
        if (value.is_object()) {
            payload = FromHex(value["hex"].get<std::string>()).value_or("");
        } else if (value.is_string()) {
            payload = options.codec->Encode(value.get<std::string>()).value_or("");
        } else if (value.is_number() && PayloadWidth(tag) > 0) {
            payload = symwrite::NumberField(0, tag, value.get<u64>()).value;
        }
        const ValueType type = Dictionary::TypeOf(definition, tag, payload.size());
        const std::string expected = ValueText(type, payload, *options.codec);
        if (*shown != expected) {
            table.Fail(
                fmt::format("field_value is \"{}\", but value says \"{}\": change both, or remove the column "
                            "field_value",
                            *shown, expected));
        }
    }

    Json Value(const Column& column, const std::string& cell, const Json& row) {
        switch (column.kind) {
            case ColumnKind::Number:
                return Number(column, cell);
            case ColumnKind::Text:
                return Text(cell);
            case ColumnKind::Bytes:
                return cell;
            case ColumnKind::List:
                return List(column, cell);
            case ColumnKind::Field:
                break;
        }
        if (row["tag"] == kTextTag) {
            return Text(cell);
        }
        return cell.empty() ? Json(nullptr) : Number(column, cell);
    }

    Json Number(const Column& column, std::string_view cell) {
        const std::optional<u64> number = ParseNumber(cell);
        if (!number) {
            table.Fail(fmt::format("{}: expected a number, found \"{}\"", column.name, cell.substr(0, 40)));
        }
        return number.value_or(0);
    }

    Json Text(const std::string& cell) {
        constexpr std::string_view kHex = "hex:";
        if (cell.starts_with(kHex)) {
            return Json{{"hex", cell.substr(kHex.size())}};
        }
        if (!IsUtf8(cell)) {
            table.Fail("a text is not UTF-8");
            return "";
        }
        return cell;
    }

    Json List(const Column& column, std::string_view cell) {
        Json list = Json::array();
        while (!cell.empty()) {
            const size_t end = std::min(cell.find(' '), cell.size());
            list.push_back(Number(column, cell.substr(0, end)));
            cell.remove_prefix(std::min(end + 1, cell.size()));
        }
        return list;
    }

    void Flush() {
        if (open[0] == nullptr) {
            return;
        }
        symwrite::JsonErrors found;
        elements.Add(std::move(element), found);
        for (const symwrite::JsonError& error : found.First()) {
            errors.Add(fmt::format("{}: {}", table.Place(firstLine), error.where), error.what);
        }
    }

    const SectionInfo& section;
    CsvTable& table;
    const symwrite::FromJsonOptions& options;
    symwrite::ElementReader elements;
    symwrite::JsonErrors& errors;
    Json element;                                  // of level 0, under way
    std::vector<Json*> open;                       // the element under way of each level; null for none
    std::vector<std::string> numbers;              // its number
    std::vector<std::vector<std::string>> values;  // its cells, above the last level
    size_t firstLine = 1;                          // of the element
    bool complained = false;
};

// A row for each symbol and a column for each field: symbol,name,lot. An empty cell means no field.
class WideSymbols {
public:
    WideSymbols(CsvTable& from, const symwrite::FromJsonOptions& reading, bool utf8, Spool& to,
                symwrite::JsonErrors& sink)
        : table(from), errors(sink), options(Typed(reading)), symbols(options, utf8, to) {
        for (const std::string& name : table.Header()) {
            if (name == "symbol" || name == "symbol_no") continue;
            const std::optional<u16> id = symwrite::FieldOf(name, reading.dictionary);
            if (!id) {
                table.Fail(fmt::format(
                    "no field is called \"{}\": a dictionary names the columns (--dictionary)", name));
                continue;
            }
            names.push_back(name);
            fields.push_back(symbols.Column(*id));
        }
    }

    void Read() {
        std::vector<std::string> columns = names;
        columns.insert(columns.begin(), "symbol");
        if (!table.Choose(columns)) return;
        while (table.Next()) {
            if (!Row()) GeneralRow();
        }
    }

private:
    static symwrite::FromJsonOptions Typed(symwrite::FromJsonOptions from) {
        from.typed = true;
        return from;
    }

    static constexpr std::string_view kHex = "hex:";

    bool Row() {
        const std::string& symbol = table.Cell(0);
        symbols.Begin();
        if (symbol.starts_with(kHex) || !symbols.SetText(symbol)) return false;
        for (size_t at = 0; at < fields.size(); ++at) {
            const std::string& cell = table.Cell(at + 1);
            if (cell.empty()) continue;
            const symwrite::Field* const field = Field(fields[at], cell);
            if (field == nullptr) return false;
            symbols.Add(*field);
        }
        symbols.End();
        return true;
    }

    static const symwrite::Field* Field(FlatField& field, const std::string& cell) {
        const ValueType type = TypeOf(field);
        if (type == ValueType::Text && !cell.starts_with(kHex)) return field.Text(cell);
        if (type == ValueType::Unsigned) {
            if (const std::optional<u64> number = ParseNumber(cell)) return field.Unsigned(*number);
        }
        return field.Other(cell, Value(type, cell));
    }

    // With the errors that the row has.
    void GeneralRow() {
        Json row = {{"symbol", TextOf(table.Cell(0))}, {"fields", Json::array()}};
        for (size_t at = 0; at < fields.size(); ++at) {
            const std::string& cell = table.Cell(at + 1);
            if (cell.empty()) continue;
            row["fields"].push_back({{"id", fields[at].Id()}, {"value", Value(TypeOf(fields[at]), cell)}});
        }
        symwrite::JsonErrors found;
        symbols.AddGeneral(std::move(row), found);
        for (const symwrite::JsonError& error : found.First()) {
            // "/fields/3/value" is the fourth cell that is not empty; its value is in the message
            errors.Add(table.Place(table.Line()), error.what);
        }
    }

    static ValueType TypeOf(const FlatField& field) {
        return field.Definition() ? field.Definition()->type : ValueType::Text;
    }

    static Json TextOf(const std::string& cell) {
        return cell.starts_with(kHex) ? Json{{"hex", cell.substr(kHex.size())}} : Json(cell);
    }

    // A cell that is not what the type asks for stays a text, and is an error where the field is made.
    static Json Value(ValueType type, const std::string& cell) {
        if (type == ValueType::Text) return TextOf(cell);
        if (type == ValueType::Hex) return cell;
        if (type == ValueType::Bool && (cell == "true" || cell == "false")) return cell == "true";
        if (type == ValueType::Signed) return Parsed<i64>(cell);
        if (type == ValueType::Float) return Parsed<double>(cell);
        return Parsed<u64>(cell);
    }

    template <class Number>
    static Json Parsed(const std::string& cell) {
        Number number = {};
        const auto [end, error] = std::from_chars(cell.data(), cell.data() + cell.size(), number);
        return error == std::errc() && end == cell.data() + cell.size() && cell != "nan" && cell != "inf"
                   ? Json(number)
                   : Json(cell);
    }

    CsvTable& table;
    symwrite::JsonErrors& errors;
    symwrite::FromJsonOptions options;
    FlatSymbols symbols;
    std::vector<std::string> names;
    std::vector<FlatField> fields;
};

bool IsWide(u16 id, const CsvTable& table) {
    return id == 2 && table.Has("symbol") && !table.Has("field_no");
}

symwrite::Section ReadSection(u16 id, CsvTable& table, const symwrite::FromJsonOptions& reading,
                              symwrite::JsonErrors& errors) {
    const SectionInfo* known = FindSection(id);
    if (known && !table.IsOnly(kCsvRawColumn)) {
        return SectionFromCsv(StoredForm(id), table, reading, errors).Read();
    }
    symwrite::Section section = {.id = id, .raw = symwrite::Bytes()};
    if (table.Choose({kCsvRawColumn})) {
        while (table.Next()) {
            const symwrite::Bytes bytes = ParseHex(table.Cell(0), table);
            section.raw->insert(section.raw->end(), bytes.begin(), bytes.end());
        }
    }
    return section;
}

// One file of the folder, and what the directory says of it.
struct SectionFile {
    u16 id = 0;
    std::string name;
    symwrite::Bytes before = {};
    std::optional<u32> head = {};
    std::optional<u32> count = {};
    std::optional<u32> size = {};
};

// From a column that may be missing, as the cell may be empty.
std::optional<u32> OddNumber(CsvTable& table, const char* column) {
    const std::string* cell = table.Optional(column);
    if (!cell || cell->empty()) return std::nullopt;
    const std::optional<u64> number = ParseNumber(*cell);
    if (!number || *number > UINT32_MAX) table.Fail(fmt::format("{}: expected a number", column));
    return static_cast<u32>(number.value_or(0));
}

// From directory.csv. Bytes at the end of the symbol file go to `behind`.
std::vector<SectionFile> ListedFiles(CsvTable& table, symwrite::Bytes& behind, bool damaged) {
    std::vector<SectionFile> files;
    if (!table.Choose({"id", "file", "before"})) {
        return files;
    }
    while (table.Next()) {
        symwrite::Bytes before = ParseHex(table.Cell(2), table);
        const std::optional<u64> id = ParseNumber(table.Cell(0));
        const std::string& name = table.Cell(1);
        if (table.Cell(0).empty() && name.empty()) {
            behind = std::move(before);
        } else if (table.Cell(0).empty() && name == kCsvDamaged) {
            if (!damaged) table.Fail("dumped from a damaged file, parts of which are missing here");
        } else if (!id || *id > UINT16_MAX) {
            table.Fail(fmt::format("id: expected a number from 0 to 65535, found \"{}\"",
                                   table.Cell(0).substr(0, 40)));
        } else if (name.empty() || name.find_first_of("/\\") != std::string::npos) {
            table.Fail(fmt::format("file: expected the name of a file in this folder, found \"{}\"", name));
        } else {
            files.push_back({static_cast<u16>(*id), name, std::move(before), OddNumber(table, "head"),
                             OddNumber(table, "count"), OddNumber(table, "size")});
        }
    }
    return files;
}

// The files that are named as `dump` names them, ascending by id.
std::vector<SectionFile> KnownFiles(const std::filesystem::path& folder) {
    std::vector<SectionFile> files;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
        const std::string name = entry.path().filename().string();
        const std::string stem = entry.path().stem().string();
        constexpr std::string_view kNumbered = "section-";
        constexpr u64 kNone = UINT64_MAX;
        u64 id = kNone;
        if (stem.starts_with(kNumbered)) {
            id = ParseNumber(std::string_view(stem).substr(kNumbered.size())).value_or(kNone);
        }
        for (const SectionInfo& section : torva::kSections) {
            id = section.name == stem ? section.id : id;
        }
        if (entry.path().extension() == ".csv" && id <= UINT16_MAX) {
            files.push_back({static_cast<u16>(id), name});
        }
    }
    std::ranges::sort(files, {}, &SectionFile::id);
    return files;
}

}  // namespace

FlatFile ReadCsvSource(const SourceOptions& options, const symwrite::FieldDictionary& dictionary,
                       symwrite::JsonErrors& errors, ProgressBar& progress) {
    TextCodec codec(options.encoding);
    symwrite::FromJsonOptions reading;
    reading.codec = &codec;
    reading.dictionary = dictionary;
    FlatFile result;
    symwrite::File& file = result.file;
    const auto read = [&](u16 id, CsvTable& table) {
        if (IsWide(id, table) && !result.symbols) {
            WideSymbols(table, reading, options.encoding == "UTF-8", FlatRecords(result), errors).Read();
        } else {
            file.sections.push_back(ReadSection(id, table, reading, errors));
        }
    };
    std::error_code ignored;
    if (!std::filesystem::is_directory(options.source, ignored)) {
        const std::string plain = NameWithout(CompressionNamed(options.source), options.source);
        const std::string stem = std::filesystem::path(plain).stem().string();
        const SectionInfo* section = torva::FindSectionNamed(stem);
        WithSource(
            options.source,
            [&](std::istream& in) {
                CsvTable table("", in, errors);
                read(section && section->name == stem ? section->id : u16{2}, table);
            },
            &progress);
        return result;
    }
    const std::filesystem::path folder = options.source;
    const auto withTable = [&](const std::string& name, const auto& take) {
        WithSource((folder / name).string(),
                   [&](std::istream& in) {
                       CsvTable table(name, in, errors);
                       take(table);
                   },
                   &progress);
    };
    std::vector<SectionFile> files;
    if (std::filesystem::exists(folder / kCsvDirectoryFile, ignored)) {
        withTable(kCsvDirectoryFile,
                  [&](CsvTable& table) { files = ListedFiles(table, file.behind, options.damaged); });
    } else {
        files = KnownFiles(folder);
        if (files.empty()) {
            throw ToolError(kExitUnreadable,
                            fmt::format("{}: a folder without the CSV file of any section, as in symbols.csv",
                                        options.source));
        }
    }
    u64 total = 0;
    for (const SectionFile& one : files) {
        total += SourceSize((folder / one.name).string());
    }
    progress.SetTotal(total);
    for (SectionFile& one : files) {
        withTable(one.name, [&](CsvTable& table) {
            read(one.id, table);
            file.sections.back().before = std::move(one.before);
            file.sections.back().headValue = one.head;
            file.sections.back().count = one.count;
            file.sections.back().directorySize = one.size;
        });
    }
    return result;
}

}  // namespace tvsym
