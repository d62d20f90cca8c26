#include "tools/tvsym/CsvSource.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "tools/tvsym/Rows.h"

namespace tvsym {

namespace {

using symwrite::Json;

// Splits a file into rows: cells behind commas, quoted where they hold commas, quotes or line ends.
class CsvReader {
public:
    explicit CsvReader(std::istream& stream) : in(*stream.rdbuf()) {}

    // False at the end. An open quote at the end of the file makes `broken` true.
    bool Next(std::vector<std::string>& cells) {
        cells.clear();
        rowLine = line;
        if (in.sgetc() == kEnd) {
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

private:
    static constexpr int kEnd = std::char_traits<char>::eof();

    // Both give what ended the cell: a comma, a line end or the end of the file.
    int Plain(std::string& cell) {
        for (;;) {
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
            const int c = in.sbumpc();
            if (c == kEnd) {
                broken = true;
                return c;
            }
            if (c == '"' && in.sgetc() != '"') {
                return Plain(cell);  // what stands behind the closing quote is a line end in a sound file
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
};

// Puts the rows of one file together to elements as the JSON document has them.
class SectionFromCsv {
public:
    SectionFromCsv(const SectionInfo& described, std::string fileName,
                   const symwrite::FromJsonOptions& reading, symwrite::JsonErrors& sink)
        : section(described),
          name(std::move(fileName)),
          elements(section.id, reading),
          errors(sink),
          open(section.levels.size(), nullptr),
          numbers(section.levels.size()) {}

    symwrite::Section Read(std::istream& in) {
        CsvReader rows(in);
        std::vector<std::string> cells;
        if (rows.Next(cells) && Header(cells)) {
            while (rows.Next(cells)) {
                line = rows.Line();
                if (cells.size() == 1 && cells[0].empty() && width > 1) {
                    continue;  // an empty line
                }
                if (cells.size() != width) {
                    Fail(fmt::format("expected {} cells, found {}", width, cells.size()));
                } else {
                    Row(cells);
                }
            }
            if (rows.Broken()) {
                Fail("a quoted cell is not closed");
            }
        } else if (width == 0) {
            Fail("expected the columns " + fmt::format("{}", fmt::join(CsvColumns(section, false), ",")));
        }
        Flush();
        return elements.Take();
    }

private:
    void Fail(const std::string& what) { errors.Add(fmt::format("{}: line {}", name, line), what); }

    // Finds the columns, in whatever order they stand.
    bool Header(std::vector<std::string>& cells) {
        constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
        if (cells[0].starts_with(kByteOrderMark)) {
            cells[0].erase(0, kByteOrderMark.size());
        }
        for (const std::string& column : CsvColumns(section, false)) {
            const auto found = std::find(cells.begin(), cells.end(), column);
            if (found == cells.end()) {
                Fail(fmt::format("the column \"{}\" is missing", column));
                width = cells.size();
                return false;
            }
            places.push_back(static_cast<size_t>(found - cells.begin()));
        }
        width = cells.size();
        return true;
    }

    // A level's element goes on while its number and those above stay; its absence ends the row.
    void Row(const std::vector<std::string>& cells) {
        size_t column = 0;
        bool fresh = false;
        for (size_t level = 0; level < section.levels.size(); ++level) {
            const bool last = level + 1 == section.levels.size();
            const bool numbered = section.levels.size() > 1;
            const std::string number = numbered ? cells[places[column++]] : "";
            if (numbered && number.empty()) {
                return;
            }
            fresh = fresh || last || open[level] == nullptr || number != numbers[level];
            if (fresh) {
                numbers[level] = number;
                Begin(level, cells, column);
            }
            column += section.levels[level].columns.size();
        }
    }

    // Makes an element of a level from the cells that begin at `column`.
    void Begin(size_t level, const std::vector<std::string>& cells, size_t column) {
        if (level == 0) {
            Flush();
            firstLine = line;
        }
        const Level& described = section.levels[level];
        const bool leaf = level + 1 == section.levels.size();
        Json made = Json::object();
        for (const Column& one : described.columns) {
            const std::string& cell = cells[places[column++]];
            made[one.name] = Value(one, cell, made);
        }
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
        u64 number = 0;
        const auto [end, error] = std::from_chars(cell.data(), cell.data() + cell.size(), number);
        if (error != std::errc() || end != cell.data() + cell.size()) {
            Fail(fmt::format("{}: expected a number, found \"{}\"", column.name, cell.substr(0, 40)));
        }
        return number;
    }

    Json Text(const std::string& cell) {
        constexpr std::string_view kHex = "hex:";
        if (cell.starts_with(kHex)) {
            return Json{{"hex", cell.substr(kHex.size())}};
        }
        if (!IsUtf8(cell)) {
            Fail("a text is not UTF-8");
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
            errors.Add(fmt::format("{}: line {}: {}", name, firstLine, error.where), error.what);
        }
    }

    const SectionInfo& section;
    const std::string name;
    symwrite::ElementReader elements;
    symwrite::JsonErrors& errors;
    std::vector<size_t> places;        // of the known columns, in their order, in a row
    size_t width = 0;                  // cells of a row
    Json element;                      // of level 0, under way
    std::vector<Json*> open;           // the element under way of each level; null for none
    std::vector<std::string> numbers;  // its number
    size_t line = 1;
    size_t firstLine = 1;  // of the element
};

}  // namespace

symwrite::File ReadCsvSource(const SourceOptions& options, symwrite::JsonErrors& errors) {
    TextCodec codec(options.encoding);
    const symwrite::TextCodec texts = CodecFor(codec);
    symwrite::FromJsonOptions reading;
    reading.codec = &texts;
    symwrite::File file;
    for (const SectionInfo& section : AllSections()) {
        const std::string name = std::string(section.name) + ".csv";
        const std::filesystem::path path = std::filesystem::path(options.source) / name;
        std::error_code ignored;
        if (std::filesystem::exists(path, ignored)) {
            WithSource(path.string(), [&](std::istream& in) {
                file.sections.push_back(SectionFromCsv(section, name, reading, errors).Read(in));
            });
        }
    }
    if (file.sections.empty()) {
        throw ToolError(kExitUnreadable,
                        fmt::format("{}: a folder without the CSV file of any section, as in symbols.csv",
                                    options.source));
    }
    return file;
}

}  // namespace tvsym
