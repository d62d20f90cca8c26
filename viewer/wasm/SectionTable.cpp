#include "viewer/wasm/SectionTable.h"

#include <cstring>
#include <limits>
#include <stdexcept>

namespace viewer {

SectionColumn::SectionColumn(const torva::Column& described) : column(described) {
    switch (column.kind) {
        case torva::ColumnKind::Number:
            view.kind = ColumnView::Kind::Unsigned;
            view.width = sizeof(u32);
            view.bits = 32;
            return;
        case torva::ColumnKind::List:
            view.kind = ColumnView::Kind::List;
            break;
        default:
            view.kind = ColumnView::Kind::Text;
    }
    offsets.push_back(0);
}

void SectionColumn::Add(const torva::tables::Cell& cell) {
    switch (column.kind) {
        case torva::ColumnKind::Number: {
            const auto number = static_cast<u32>(cell.number);
            const std::size_t at = values.size();
            values.resize(at + sizeof number);
            std::memcpy(values.data() + at, &number, sizeof number);
            return;
        }
        case torva::ColumnKind::List:
            return AddBytes(cell.list.data(), cell.list.size_bytes(), sizeof(u16));
        default:
            return AddBytes(cell.bytes.data(), cell.bytes.size(), 1);
    }
}

void SectionColumn::AddBytes(const void* from, std::size_t size, std::size_t elementSize) {
    const std::size_t at = values.size();
    const std::size_t end = (at + size) / elementSize;
    if (end > static_cast<std::size_t>(std::numeric_limits<i32>::max())) throw std::bad_alloc();
    values.resize(at + size);
    if (size != 0) std::memcpy(values.data() + at, from, size);
    offsets.push_back(static_cast<i32>(end));
}

void SectionColumn::Complete() {
    view.values = values.data();
    view.offsets = offsets.data();
}

SectionTable::SectionTable(torva::tables::Reader& reader, const torva::SectionInfo& info) {
    for (const torva::Level& description : info.levels) {
        SectionLevel& level = levels.emplace_back();
        level.description = &description;
        for (const torva::Column& column : description.columns) {
            level.columns.push_back(std::make_unique<SectionColumn>(column));
        }
    }
    result = reader.WalkSection(info.id, [this](std::size_t at, std::span<const torva::tables::Cell> cells) {
        SectionLevel& level = levels[at];
        if (at > 0) level.parents.push_back(levels[at - 1].rows - 1);
        for (std::size_t column = 0; column < cells.size(); ++column)
            level.columns[column]->Add(cells[column]);
        ++level.rows;
    });
    for (SectionLevel& level : levels) {
        for (const auto& column : level.columns) column->Complete();
    }
}

}  // namespace viewer
