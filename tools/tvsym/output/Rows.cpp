#include "tools/tvsym/output/Rows.h"

#include <fmt/format.h>

#include <algorithm>

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
    JsonRows(JsonWriter& writer, const SectionInfo& described, const RowContext& rowContext, bool asLines)
        : json(writer), section(described), context(rowContext), lines(asLines) {}

    void Row(size_t level, std::span<const Cell> cells) override {
        CloseTo(level);
        const Level& described = section.levels[level];
        const bool bare = IsBare(section, level);
        if (level == 0) {
            Begin();
        }
        if (bare && !(level == 0 && lines)) {
            Value(described.columns[0], cells[0]);
            return;
        }
        if (level > 0 || !lines) {
            json.Open('{');
        }
        for (size_t at = 0; at < cells.size(); ++at) {
            if (described.columns[at].kind == ColumnKind::Field) {
                FieldValue(cells);
            } else {
                json.Key(described.columns[at].name);
                Value(described.columns[at], cells[at]);
            }
        }
        if (level + 1 < section.levels.size()) {
            json.Key(section.levels[level + 1].name).Open('[');
        }
        open = level + 1;
    }

    void Finish() override {
        CloseTo(0);
        if (any) {
            json.EndLine();
        }
    }

private:
    void CloseTo(size_t level) {
        for (; open > level; --open) {
            if (open < section.levels.size()) {
                json.Close(']');
            }
            json.Close('}');
        }
    }

    // Begins the line of an element of level 0.
    void Begin() {
        if (!lines) {
            json.Line();
        } else {
            if (any) {
                json.EndLine();
            }
            json.Open('{').Member("section", section.name);
        }
        any = true;
    }

    void Value(const Column& column, const Cell& cell) { WriteCell(json, column.kind, cell, context.codec); }

    // The cells of a field are its id, tag and value.
    void FieldValue(std::span<const Cell> cells) {
        const u16 id = static_cast<u16>(cells[0].number);
        const u8 tag = static_cast<u8>(cells[1].number);
        const std::string_view payload = cells[2].bytes;
        const FieldDefinition* definition = context.dictionary.Find(id);
        if (definition) {
            json.Member("name", definition->name);
        }
        json.Key("value");
        if (lines && definition) {
            json.Payload(context.dictionary.TypeOf(id, tag, payload.size()), payload, context.codec);
        } else if (tag == kTextTag) {
            json.Text(payload, context.codec);
        } else if (payload.empty()) {
            json.Value(nullptr);
        } else if (payload.size() != PayloadWidth(tag)) {  // cut off
            json.Open('{').Member("hex", Hex(payload)).Close('}');
        } else {
            json.Value(PayloadNumber(payload));
        }
    }

    JsonWriter& json;
    const SectionInfo& section;
    RowContext context;
    bool lines;
    size_t open = 0;   // levels that have an element under way
    bool any = false;  // whether an element was written
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
            const FieldDefinition* definition = context.dictionary.Find(id);
            line[at++] = definition ? definition->name : std::string();
            AppendValue(Cleared(at), type, cells[2].bytes);
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

    void AppendValue(std::string& to, ValueType type, std::string_view bytes) const {
        if (type == ValueType::Unsigned) {
            AppendNumber(to, PayloadNumber(bytes));
        } else {
            to += ValueText(type, bytes, context.codec);
        }
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
            AppendValue(to, Dictionary::TypeOf(nullptr, static_cast<u8>(cell.number), cell.bytes.size()),
                        cell.bytes);
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

void WriteCell(JsonWriter& json, ColumnKind kind, const Cell& cell, TextCodec& codec) {
    switch (kind) {
        case ColumnKind::Number:
            json.Value(cell.number);
            return;
        case ColumnKind::Text:
            json.Text(cell.bytes, codec);
            return;
        case ColumnKind::List:
            json.Open('[');
            for (const u16 item : cell.list) {
                json.Value(item);
            }
            json.Close(']');
            return;
        default:
            json.Value(Hex(cell.bytes));
    }
}

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

std::unique_ptr<RowWriter> MakeJsonRows(JsonWriter& json, const SectionInfo& section,
                                        const RowContext& context, bool lines) {
    return std::make_unique<JsonRows>(json, section, context, lines);
}

std::unique_ptr<RowWriter> MakeCsvRows(Output& out, const SectionInfo& section, const RowContext& context) {
    return std::make_unique<CsvRows>(out, section, context);
}

std::unique_ptr<RowWriter> MakeTableRows(Output& out, const SectionInfo& section, const RowContext& context) {
    return std::make_unique<TableRows>(out, section, context);
}

}  // namespace tvsym
