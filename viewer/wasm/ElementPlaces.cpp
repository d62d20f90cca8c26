#include "viewer/wasm/ElementPlaces.h"

#include <algorithm>

#include "format/Fields.h"

namespace viewer {

using torva::ColumnKind;
using torva::Ends;
using torva::Level;

ElementPlaces::ElementPlaces(const torva::tables::FileSource& file,
                             const torva::tables::DirectoryEntry& entry,
                             const torva::SectionInfo& sectionInfo, const std::vector<u64>& delivered)
    : info(sectionInfo), bytes(file), levels(sectionInfo.stored.size()) {
    const Level& top = info.stored[0];
    const bool byId = info.stored.size() != info.levels.size();
    bytes.SeekTo(u64{entry.offset} + info.HeadSize() - top.countWidth);
    try {
        const u64 count = top.countWidth == 0 ? 0 : bytes.Number(top.countWidth);
        const u64 elements = byId ? count : delivered[0];
        while (levels[0].size() < elements) Element(0);
    } catch (const torva::tables::BytesEnded& ended) {
        for (auto& level : levels) {
            for (Extent& extent : level) {
                if (extent.end == 0) extent.end = static_cast<u32>(ended.offset);
            }
        }
    }
    if (byId) {  // rows are ids in ascending order, each with the last group that names it
        for (const StoredId& stored : ids) rowIds.push_back(stored.id);
        std::sort(rowIds.begin(), rowIds.end());
        rowIds.erase(std::unique(rowIds.begin(), rowIds.end()), rowIds.end());
        return;
    }
    for (std::size_t level = 0; level < levels.size(); ++level) {
        levels[level].resize(std::min<std::size_t>(levels[level].size(), delivered[level]));
    }
}

void ElementPlaces::Element(std::size_t level) {
    const Level& described = info.stored[level];
    const Level* const below = level + 1 < info.stored.size() ? &info.stored[level + 1] : nullptr;
    const std::size_t at = levels[level].size();
    levels[level].push_back({Position(), 0});
    u64 end = 0;
    const auto readSize = [&] {
        const u64 size = bytes.Number(below->sizeWidth);
        end = bytes.Position() + size;
    };
    if (below != nullptr && below->sizeFirst) readSize();
    if (below != nullptr && below->ahead) Below(level + 1, 0);
    const u64 id = Columns(described);
    if (described.ahead) {
        ids.push_back({static_cast<u16>(id), {levels[level][at].start, Position()}, levels[0].size() - 1});
    }
    if (below != nullptr && !below->ahead) {
        if (below->sizeWidth != 0 && !below->sizeFirst) readSize();
        Below(level + 1, end);
        // Readers skip to where a size ends the element, and never go back.
        if (below->sizeFirst || end > bytes.Position()) bytes.SeekTo(end);
    }
    levels[level][at].end = Position();
}

// Returns the last number.
u64 ElementPlaces::Columns(const Level& level) {
    u64 number = 0;
    for (std::size_t at = 0; at < level.columns.size(); ++at) {
        const torva::Column& column = level.Stored(at);
        switch (column.kind) {
            case ColumnKind::Number:
                number = bytes.Number(column.width);
                break;
            case ColumnKind::List:
                bytes.Skip(bytes.Number(column.width) * column.width);
                break;
            case ColumnKind::Bytes:
                bytes.Skip(column.width);
                break;
            case ColumnKind::Field:
                if (number != torva::kTextTag) {
                    bytes.Skip(torva::PayloadWidth(static_cast<torva::u8>(number)));
                    break;
                }
                [[fallthrough]];
            case ColumnKind::Text:
                bytes.Text();
        }
    }
    return number;
}

// The elements of a level within one of the level above. `end`: where a size ends them.
void ElementPlaces::Below(std::size_t level, u64 end) {
    const Level& described = info.stored[level];
    u64 left = described.countWidth == 0 ? 0 : bytes.Number(described.countWidth);
    if (described.ends == Ends::Count) {
        for (; left > 0; --left) Element(level);
    } else {
        while (bytes.Position() < end) Element(level);
    }
}

std::optional<Extent> ElementPlaces::Of(RowPlace place) const {
    if (ids.empty()) {
        if (place.level >= levels.size() || place.row >= levels[place.level].size()) return std::nullopt;
        return levels[place.level][static_cast<std::size_t>(place.row)];
    }
    if (place.row >= rowIds.size()) return std::nullopt;
    const u16 id = rowIds[static_cast<std::size_t>(place.row)];
    const auto last =
        std::find_if(ids.rbegin(), ids.rend(), [&](const StoredId& stored) { return stored.id == id; });
    return levels[0][static_cast<std::size_t>(last->group)];
}

std::optional<RowPlace> ElementPlaces::At(u64 offset) const {
    if (!ids.empty()) {
        const StoredId* found = nullptr;  // the id itself, else the first one of the group
        for (const StoredId& stored : ids) {
            if (stored.extent.Holds(offset)) {
                found = &stored;
                break;
            }
            if (levels[0][static_cast<std::size_t>(stored.group)].start > offset) break;
            if (found == nullptr || found->group != stored.group) found = &stored;
        }
        if (found == nullptr) return std::nullopt;
        const auto row = std::lower_bound(rowIds.begin(), rowIds.end(), found->id);
        return RowPlace{0, static_cast<u64>(row - rowIds.begin())};
    }
    for (std::size_t level = levels.size(); level-- > 0;) {
        // Starts ascend within a level.
        const auto after = std::upper_bound(levels[level].begin(), levels[level].end(), offset,
                                            [](u64 at, const Extent& extent) { return at < extent.start; });
        if (after == levels[level].begin()) continue;
        const bool last = level == 0 && after == levels[level].end();
        if (std::prev(after)->Holds(offset) || last) {
            return RowPlace{level, static_cast<u64>(std::prev(after) - levels[level].begin())};
        }
    }
    return std::nullopt;
}

}  // namespace viewer
