// The differences between two files as a table.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "format/Sections.h"
#include "python/native/Select.h"
#include "tables/dictionary/Values.h"

namespace torva::python {
namespace {

using tables::Cell;
using tables::Difference;
using tables::ValueChange;
using tables::ValueType;
using tables::columns::Batch;
using tables::columns::Budget;
using tables::columns::Column;
using tables::columns::ColumnBuilder;
using tables::columns::ColumnSpec;
using tables::columns::Kind;

constexpr u8 kTwoBytes = 4;  // tag

class Builder {
public:
    Builder(const tables::Dictionary& fieldDictionary, TextCodec& textCodec)
        : dictionary(fieldDictionary), codec(textCodec) {
        ColumnSpec section;
        section.kind = Kind::kUnsigned;
        section.tag = kTwoBytes;
        section.name = "section";
        columns.emplace_back(section, false, &budget);
        for (const char* const name : {"name", "change", "key", "field", "old", "new"}) {
            ColumnSpec spec;
            spec.kind = Kind::kText;
            spec.tag = kTextTag;
            spec.name = name;
            columns.emplace_back(spec, false, &budget);
        }
    }

    void Add(const Difference& difference) {
        if (difference.values.empty()) return Row(difference, nullptr);
        for (const ValueChange& value : difference.values) Row(difference, &value);
    }

    TableOwner Finish() {
        auto batch = std::make_shared<Batch>();
        batch->rows = rows;
        batch->name = "differences";
        for (ColumnBuilder& builder : columns) {
            Column column = builder.Finish(rows, nullptr);
            column.isField = false;
            column.tag = 0;
            column.Detach();
            batch->columns.push_back(std::move(column));
        }
        return TableOwner(TvtTable::New(std::move(batch), {}, 0, false));
    }

private:
    enum At : u8 { kSection, kName, kChange, kKey, kField, kOld, kNew };

    void Row(const Difference& difference, const ValueChange* value) {
        constexpr const char* kChanges[] = {"added", "removed", "changed"};
        u8 number[kMostPayload] = {};
        std::memcpy(number, &difference.section, sizeof difference.section);
        columns[kSection].Put(rows, kTwoBytes, number, sizeof difference.section, number + sizeof number);
        const SectionInfo* const section = FindSection(difference.section);
        if (section != nullptr) Put(kName, section->name);
        Put(kChange, kChanges[static_cast<std::size_t>(difference.change)]);
        if (!difference.wholeSection) Put(kKey, Key(difference));
        if (value != nullptr) {
            Put(kField, value->column != nullptr ? value->column->name : dictionary.NameOf(value->field));
            for (std::size_t side = 0; side < 2; ++side) {
                const auto text = value->cells[side] ? Text(*value, *value->cells[side]) : std::nullopt;
                if (text) Put(side == 0 ? kOld : kNew, *text);
            }
        }
        ++rows;
    }

    void Put(At at, const std::string& text) {
        columns[at].Put(rows, kTextTag, reinterpret_cast<const u8*>(text.c_str()),
                        static_cast<u32>(text.size() + 1),
                        reinterpret_cast<const u8*>(text.c_str()) + text.size() + 1);
    }

    // "AAPL", "7 / 12".
    std::string Key(const Difference& difference) {
        std::string key;
        for (const Difference::Step& step : difference.path)
            key += (key.empty() ? "" : " / ") + Text(step.kind, step.cell);
        return key;
    }

    // None for a field without a value.
    std::optional<std::string> Text(const ValueChange& value, const Cell& cell) {
        if (value.column != nullptr) return Text(value.column->kind, cell);
        const ValueType type =
            dictionary.TypeOf(value.field, static_cast<u8>(cell.number), cell.bytes.size());
        if (type == ValueType::Text) return codec.Display(cell.bytes);
        if (cell.bytes.empty()) return std::nullopt;
        return tables::ValueText(type, cell.bytes, codec);
    }

    std::string Text(ColumnKind kind, const Cell& cell) {
        switch (kind) {
            case ColumnKind::Number:
                return std::to_string(cell.number);
            case ColumnKind::Text:
                return codec.Display(cell.bytes);
            case ColumnKind::List:
                return fmt::format("[{}]", fmt::join(cell.list, ","));
            default:
                return "0x" + Hex(cell.bytes);
        }
    }

    const tables::Dictionary& dictionary;
    TextCodec& codec;
    Budget budget{~u64{0}};
    std::vector<ColumnBuilder> columns;
    u32 rows = 0;
};

}  // namespace

TableOwner DifferenceTable(tables::Comparison& comparison, const tables::Dictionary& dictionary,
                           TextCodec& codec) {
    Builder builder(dictionary, codec);
    while (comparison.Next()) builder.Add(comparison.Current());
    return builder.Finish();
}

}  // namespace torva::python
