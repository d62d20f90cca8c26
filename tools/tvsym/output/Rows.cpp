#include "tools/tvsym/output/Rows.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/tvsym/output/Json.h"

namespace tvsym {

namespace {

// A leaf level of one column is a list of plain values.
bool IsBare(const SectionInfo& section, size_t level) {
    const bool leaf = level + 1 == section.levels.size();
    return leaf && section.levels[level].columns.size() == 1;
}

bool HasFields(const SectionInfo& section) {
    const Level& leaf = section.levels.back();
    return !leaf.columns.empty() && leaf.columns.back().kind == ColumnKind::Field;
}

void AppendNumber(std::string& to, u64 number) {
    const fmt::format_int digits(number);
    to.append(digits.data(), digits.size());
}

void AppendList(std::string& to, std::span<const u16> list, std::string_view separator) {
    bool first = true;
    for (const u16 item : list) {
        if (!first) {
            to += separator;
        }
        first = false;
        AppendNumber(to, item);
    }
}

// ---- JSON

class JsonRows : public RowWriter {
public:
    JsonRows(Output& output, const SectionInfo& described, const RowContext& rowContext, bool asLines)
        : out(output), section(described), context(rowContext), lines(asLines) {
        for (const Level& level : section.levels) {
            std::vector<std::string> keys;
            for (const Column& column : level.columns) {
                keys.push_back(fmt::format("\"{}\":", column.name));
            }
            columnKeys.push_back(std::move(keys));
        }
    }

    void Row(size_t level, std::span<const Cell> cells) override {
        CloseTo(level);
        Separate(level);
        if (IsBare(section, level)) {
            if (level == 0 && lines) {
                text += columnKeys[0][0];
            }
            Value(section.levels[level].columns[0], cells[0]);
            if (level == 0 && lines) {
                text += '}';
            }
            return;
        }
        if (level > 0 || !lines) {
            text += '{';
        }
        Members(level, cells);
        if (level + 1 < section.levels.size()) {
            text += fmt::format("{}\"{}\":[", cells.empty() ? "" : ",", section.levels[level + 1].name);
        }
        open = level + 1;
        hasChild[level] = false;
    }

    void Finish() override {
        CloseTo(0);
        if (any) {
            text += '\n';
        }
        out.Write(text);
        text.clear();
    }

private:
    void CloseTo(size_t level) {
        for (; open > level; --open) {
            text += open < section.levels.size() ? "]}" : "}";
        }
    }

    // What stands between an element and the one before, and the start of a line.
    void Separate(size_t level) {
        if (level > 0) {
            text += hasChild[level - 1] ? "," : "";
            hasChild[level - 1] = true;
            return;
        }
        if (lines) {
            text += any ? "\n" : "";
            text += fmt::format("{{\"section\":\"{}\",", section.name);
        } else {
            text += any ? ",\n" : "\n";
        }
        any = true;
        if (text.size() > kBuffered) {
            out.Write(text);
            text.clear();
        }
    }

    void Members(size_t level, std::span<const Cell> cells) {
        const Level& described = section.levels[level];
        for (size_t at = 0; at < cells.size(); ++at) {
            text += at > 0 ? "," : "";
            if (described.columns[at].kind == ColumnKind::Field) {
                FieldValue(cells, columnKeys[level][at]);
            } else {
                text += columnKeys[level][at];
                Value(described.columns[at], cells[at]);
            }
        }
    }

    void Value(const Column& column, const Cell& cell) {
        switch (column.kind) {
            case ColumnKind::Number:
                return AppendNumber(text, cell.number);
            case ColumnKind::Text:
                text += JsonText(cell.bytes, context.codec);
                return;
            case ColumnKind::List:
                text += '[';
                AppendList(text, cell.list, ",");
                text += ']';
                return;
            default:
                text += fmt::format("\"{}\"", Hex(cell.bytes));
        }
    }

    // The cells of a field are its id, tag and value.
    void FieldValue(std::span<const Cell> cells, const std::string& key) {
        const u16 id = static_cast<u16>(cells[0].number);
        const u8 tag = static_cast<u8>(cells[1].number);
        const std::string_view payload = cells[2].bytes;
        const FieldDefinition* definition = context.dictionary.Find(id);
        if (definition) {
            text += fmt::format("\"name\":{},", JsonString(definition->name));
        }
        text += key;
        if (lines && definition) {
            text += ValueJson(context.dictionary.TypeOf(id, tag, payload.size()), payload, context.codec);
        } else if (tag == kTextTag) {
            text += JsonText(payload, context.codec);
        } else if (payload.empty()) {
            text += "null";
        } else if (payload.size() != PayloadWidth(tag)) {  // cut off
            text += fmt::format(R"({{"hex":"{}"}})", Hex(payload));
        } else {
            AppendNumber(text, PayloadNumber(payload));
        }
    }

    static constexpr size_t kBuffered = size_t{64} * 1024;

    Output& out;
    const SectionInfo& section;
    RowContext context;
    bool lines;
    std::string text;
    std::vector<std::vector<std::string>> columnKeys;
    size_t open = 0;        // levels that have an element under way
    bool hasChild[4] = {};  // whether that element has a child already
    bool any = false;       // whether an element was written
};

// ---- CSV and tables

struct FlatColumn {
    std::string name;
    bool number;
};

std::vector<FlatColumn> FlatColumns(const SectionInfo& section, bool withDictionary) {
    std::vector<FlatColumn> columns;
    for (size_t level = 0; level < section.levels.size(); ++level) {
        const Level& described = section.levels[level];
        const std::string singular = described.singular;
        const bool leaf = level + 1 == section.levels.size();
        if (section.levels.size() > 1) {
            columns.push_back({singular + "_no", true});
        }
        for (const Column& column : described.columns) {
            const bool plain = leaf || column.name == singular;
            columns.push_back(
                {plain ? column.name : singular + "_" + column.name, column.kind == ColumnKind::Number});
        }
    }
    if (withDictionary && HasFields(section)) {
        columns.push_back({"field_name", false});
        columns.push_back({"field_value", false});
    }
    return columns;
}

// Joins each row of the last level with the rows above it.
class FlatRows : public RowWriter {
public:
    FlatRows(const SectionInfo& described, const RowContext& rowContext, bool isExact)
        : section(described),
          context(rowContext),
          exact(isExact),
          withDictionary(HasFields(described) && !rowContext.dictionary.All().empty()),
          columns(FlatColumns(described, withDictionary)),
          line(columns.size()),
          numbers(described.levels.size(), 0) {}

    void Row(size_t level, std::span<const Cell> cells) override {
        if (level < waiting) {
            Emit();
        }
        waiting = level + 1;
        size_t at = FirstColumn(level);
        if (section.levels.size() > 1) {
            AppendNumber(Cleared(at++), ++numbers[level]);
        }
        for (size_t cell = 0; cell < cells.size(); ++cell) {
            AppendCell(Cleared(at++), section.levels[level].columns[cell].kind, cells[cell]);
        }
        const bool leaf = waiting == section.levels.size();
        if (leaf && withDictionary) {
            const u16 id = static_cast<u16>(cells[0].number);
            const u8 tag = static_cast<u8>(cells[1].number);
            const ValueType type = context.dictionary.TypeOf(id, tag, cells[2].bytes.size());
            line[at++] = context.dictionary.Find(id) ? context.dictionary.NameOf(id) : "";
            line[at] = ValueText(type, cells[2].bytes, context.codec);
        }
        if (leaf) {
            return Emit();
        }
        std::fill(numbers.begin() + static_cast<std::ptrdiff_t>(waiting), numbers.end(), 0);
        for (; at < line.size(); ++at) {
            line[at].clear();
        }
    }

    void Finish() override { Emit(); }

protected:
    virtual void Line(const std::vector<std::string>& cells) = 0;

    const SectionInfo& section;
    RowContext context;
    bool exact;
    bool withDictionary;
    std::vector<FlatColumn> columns;

private:
    size_t FirstColumn(size_t level) const {
        size_t first = 0;
        for (size_t above = 0; above < level; ++above) {
            first += 1 + section.levels[above].columns.size();
        }
        return first;
    }

    std::string& Cleared(size_t at) {
        line[at].clear();
        return line[at];
    }

    void Emit() {
        if (waiting > 0) {
            Line(line);
        }
        waiting = 0;
    }

    void AppendText(std::string& to, std::string_view bytes) const {
        if (!exact) {
            to += context.codec.Display(bytes);
            return;
        }
        const std::optional<std::string_view> text = context.codec.Decode(bytes);
        if (text && !text->starts_with("hex:")) {
            to += *text;
        } else {
            to += "hex:" + Hex(bytes);
        }
    }

    void AppendCell(std::string& to, ColumnKind kind, const Cell& cell) const {
        switch (kind) {
            case ColumnKind::Number:
                return AppendNumber(to, cell.number);
            case ColumnKind::Text:
                return AppendText(to, cell.bytes);
            case ColumnKind::List:
                return AppendList(to, cell.list, " ");
            case ColumnKind::Bytes:
                to += Hex(cell.bytes);
                return;
            case ColumnKind::Field:
                break;
        }
        if (static_cast<u8>(cell.number) == kTextTag) {
            AppendText(to, cell.bytes);
        } else if (!exact) {
            to += ValueText(ValueType::Hex, cell.bytes, context.codec);
        } else if (!cell.bytes.empty()) {
            AppendNumber(to, PayloadNumber(cell.bytes));
        }
    }

    std::vector<std::string> line;  // the cells of all levels; those below `waiting` are empty
    std::vector<u64> numbers;
    size_t waiting = 0;  // the row of this many levels waits for a row below it, or for a line of its own
};

class CsvRows : public FlatRows {
public:
    CsvRows(Output& output, const SectionInfo& described, const RowContext& rowContext)
        : FlatRows(described, rowContext, true), out(output) {
        Line(CsvColumns(section, withDictionary));
    }

protected:
    void Line(const std::vector<std::string>& cells) final {
        text.clear();
        AppendCsvLine(text, cells);
        out.Write(text);
    }

private:
    Output& out;
    std::string text;
};

class TableRows : public FlatRows {
public:
    TableRows(Output& output, const SectionInfo& described, const RowContext& rowContext)
        : FlatRows(described, rowContext, false), table(output, Columns()) {}

    void Finish() override {
        FlatRows::Finish();
        table.Finish();
    }

protected:
    void Line(const std::vector<std::string>& cells) override { table.Row(cells); }

private:
    std::vector<Table::Column> Columns() const {
        std::vector<Table::Column> all;
        for (const FlatColumn& column : columns) {
            all.push_back({column.name, column.number ? Table::Align::Right : Table::Align::Left});
        }
        return all;
    }

    Table table;
};

}  // namespace

std::vector<std::string> CsvColumns(const SectionInfo& section, bool withDictionary) {
    std::vector<std::string> names;
    for (FlatColumn& column : FlatColumns(section, withDictionary)) {
        names.push_back(std::move(column.name));
    }
    return names;
}

void AppendCsvLine(std::string& to, const std::vector<std::string>& cells) {
    for (const std::string& cell : cells) {
        const bool edgeBlank = !cell.empty() && (cell.front() == ' ' || cell.back() == ' ');
        const bool special = std::any_of(
            cell.begin(), cell.end(), [](char c) { return c == ',' || c == '"' || c == '\r' || c == '\n'; });
        if (!special && !edgeBlank) {
            to += cell;
        } else {
            to += '"';
            for (const char c : cell) {
                to += c == '"' ? "\"\"" : std::string_view(&c, 1);
            }
            to += '"';
        }
        to += ',';
    }
    to.pop_back();
    to += "\r\n";
}

std::unique_ptr<RowWriter> MakeJsonRows(Output& out, const SectionInfo& section, const RowContext& context,
                                        bool lines) {
    return std::make_unique<JsonRows>(out, section, context, lines);
}

std::unique_ptr<RowWriter> MakeCsvRows(Output& out, const SectionInfo& section, const RowContext& context) {
    return std::make_unique<CsvRows>(out, section, context);
}

std::unique_ptr<RowWriter> MakeTableRows(Output& out, const SectionInfo& section, const RowContext& context) {
    return std::make_unique<TableRows>(out, section, context);
}

}  // namespace tvsym
