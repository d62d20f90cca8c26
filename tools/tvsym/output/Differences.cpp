#include "tools/tvsym/output/Differences.h"

#include <fmt/format.h>

#include "tables/check/Wording.h"
#include "tools/tvsym/output/Json.h"
#include "tools/tvsym/output/Problems.h"

namespace tvsym {

namespace {

constexpr const char* kNames[] = {"added", "removed", "changed"};
constexpr const char* kSigns[] = {"+ ", "- ", "~ "};

const char* Name(Change change) { return kNames[static_cast<size_t>(change)]; }

// The type that a field's value is shown as.
ValueType TypeOf(const Dictionary& dictionary, u16 field, const Cell& cell) {
    return dictionary.TypeOf(field, static_cast<u8>(cell.number), cell.bytes.size());
}

std::string Label(const Dictionary& dictionary, const ValueChange& value) {
    if (value.column) {
        return value.column->name;
    }
    std::string label = dictionary.NameOf(value.field);
    const auto& [old, now] = value.cells;
    const bool own = !value.isDefault[0] && !value.isDefault[1];
    if (own && old && now && old->number != now->number) {
        label += fmt::format(" (tag {} -> {})", old->number, now->number);
    }
    return label;
}

class DifferenceText : public DifferenceWriter {
public:
    DifferenceText(Output& output, const RowContext& rowContext) : out(output), context(rowContext) {}

    void Start(const std::array<std::string, 2>&) override {}

    void Write(const Difference& difference) override {
        if (difference.wholeSection) {
            return Line(difference.change,
                        fmt::format("section {} ({})", difference.section, SectionTitle(difference.section)));
        }
        if (difference.section != lastSection) {
            lastSection = difference.section;
            out.Write(
                Styled(Style::Bold, fmt::format("section {}: {}", lastSection, SectionTitle(lastSection))) +
                "\n");
        }
        std::string path;
        for (const Difference::Step& step : difference.path) {
            path += fmt::format("{}{} {}", path.empty() ? "" : " / ", step.name, Text(step.kind, step.cell));
        }
        Line(difference.change, path.empty() ? "its bytes" : path);
        for (const ValueChange& value : difference.values) {
            out.Write(fmt::format("    {}: {}\n", Label(context.dictionary, value),
                                  Values(difference.change, value)));
        }
    }

    void Finish(const std::map<u16, CompareCounts>& counts) override {
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
            table.Row({fmt::format("{}", id), SectionTitle(id), Grouped(count.Of(Change::Added)),
                       Grouped(count.Of(Change::Removed)), Grouped(count.Of(Change::Changed)),
                       Grouped(count.same)});
        }
        table.Finish();
    }

private:
    void Line(Change change, const std::string& text) {
        out.Write(Styled(change == Change::Removed ? Style::Bad : Style::Plain,
                         kSigns[static_cast<size_t>(change)] + text) +
                  "\n");
    }

    std::string Values(Change change, const ValueChange& value) {
        std::string sides[2];
        for (size_t side = 0; side < 2; ++side) {
            const std::optional<Cell>& cell = value.cells[side];
            sides[side] = !cell          ? "none"
                          : value.column ? Text(value.column->kind, *cell)
                                         : FieldText(value.field, *cell);
            if (value.isDefault[side]) {
                sides[side] = fmt::format("({})", sides[side]);
            }
        }
        return change == Change::Added     ? sides[1]
               : change == Change::Removed ? sides[0]
                                           : fmt::format("{} -> {}", sides[0], sides[1]);
    }

    std::string FieldText(u16 field, const Cell& cell) {
        const ValueType type = TypeOf(context.dictionary, field, cell);
        if (type == ValueType::Text) {
            return Text(ColumnKind::Text, cell);
        }
        return cell.bytes.empty() ? "null" : ValueText(type, cell.bytes, context.codec);
    }

    std::string Text(ColumnKind kind, const Cell& cell) {
        switch (kind) {
            case ColumnKind::Number:
                return fmt::format("{}", cell.number);
            case ColumnKind::Text:
                return fmt::format("\"{}\"", context.codec.Display(cell.bytes));
            case ColumnKind::List:
                return fmt::format("[{}]", fmt::join(cell.list, ","));
            default:
                return "0x" + Hex(cell.bytes);
        }
    }

    Output& out;
    RowContext context;
    u16 lastSection = 0;
};

class DifferenceJson : public DifferenceWriter {
public:
    DifferenceJson(Output& output, const RowContext& rowContext) : json(output), context(rowContext) {}

    void Start(const std::array<std::string, 2>& names) override {
        TextCodec plain;
        json.Open('{').Key("old").Text(names[0], plain).Key("new").Text(names[1], plain);
        json.Key("differences").Open('[');
    }

    void Write(const Difference& difference) override {
        json.Line();
        json.Open('{').Section(difference.section);
        json.Member("change", Name(difference.change));
        if (difference.section == 2 && !difference.wholeSection) {
            json.Key("symbol");
            Value(difference.path[0].kind, difference.path[0].cell);
        } else if (!difference.wholeSection) {
            json.Key("path").Open('[');
            for (const Difference::Step& step : difference.path) {
                json.Open('{').Key(step.name);
                Value(step.kind, step.cell);
                json.Close('}');
            }
            json.Close(']');
        }
        if (!difference.values.empty()) {
            json.Key("values").Open('[');
            for (const ValueChange& value : difference.values) {
                Values(value);
            }
            json.Close(']');
        }
        json.Close('}');
    }

    void Finish(const std::map<u16, CompareCounts>& counts) override {
        json.Close(']').Line();
        json.Key("summary").Open('[');
        for (const auto& [id, count] : counts) {
            json.Line();
            json.Open('{').Section(id);
            for (const Change change : {Change::Added, Change::Removed, Change::Changed}) {
                json.Member(Name(change), count.Of(change));
            }
            json.Member("same", count.same).Close('}');
        }
        json.Close(']').Close('}').EndLine();
        json.Flush();
    }

private:
    void Values(const ValueChange& value) {
        json.Open('{');
        if (!value.column) {
            json.Member("id", value.field);
        }
        json.Member("name", Label(context.dictionary, value));
        for (size_t side = 0; side < 2; ++side) {
            const std::optional<Cell>& cell = value.cells[side];
            if (!cell) {
                continue;
            }
            json.Key(side == 0 ? "old" : "new");
            if (value.column) {
                Value(value.column->kind, *cell);
            } else {
                FieldValue(value.field, *cell);
            }
            if (value.isDefault[side]) {
                json.Member(side == 0 ? "oldDefault" : "newDefault", true);
            }
        }
        json.Close('}');
    }

    void FieldValue(u16 field, const Cell& cell) {
        const ValueType type = TypeOf(context.dictionary, field, cell);
        if (type != ValueType::Text && cell.bytes.empty()) {
            json.Value(nullptr);
        } else {
            json.Payload(type, cell.bytes, context.codec);
        }
    }

    void Value(ColumnKind kind, const Cell& cell) { WriteCell(json, kind, cell, context.codec); }

    JsonWriter json;
    RowContext context;
};

}  // namespace

std::unique_ptr<DifferenceWriter> MakeDifferenceText(Output& out, const RowContext& context) {
    return std::make_unique<DifferenceText>(out, context);
}

std::unique_ptr<DifferenceWriter> MakeDifferenceJson(Output& out, const RowContext& context) {
    return std::make_unique<DifferenceJson>(out, context);
}

}  // namespace tvsym
