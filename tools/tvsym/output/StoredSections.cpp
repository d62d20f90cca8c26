#include "tools/tvsym/output/StoredSections.h"

#include <algorithm>
#include <map>
#include <stdexcept>

namespace tvsym {

namespace {

// Ids that share their lists, which stand in the order of the section's columns.
struct Group {
    std::vector<u16> ids;
    std::vector<std::vector<u16>> lists;
};

bool HasGroups(u16 id) { return id == 18 || id == 21; }

// The groups in the bytes of a whole section, from its id on; none when counts and size do not agree.
//
//   u16 id | u32 head value | section 18: u16, 21: u32 group count | groups
//
// A group is a count and ids, then a count and values for each list; section 18 has its first list last.
std::optional<std::vector<Group>> ParseGroups(u16 sectionId, std::string_view bytes) {
    size_t at = 0;
    bool good = true;
    const auto take = [&](size_t width) {
        good = good && bytes.size() - at >= width;
        const u64 number = good ? PayloadNumber(bytes.substr(at, width)) : 0;
        at += good ? width : 0;
        return number;
    };
    const auto takeList = [&] {
        std::vector<u16> list;
        for (u64 left = take(2); good && left > 0; --left) {
            list.push_back(static_cast<u16>(take(2)));
        }
        return list;
    };
    std::vector<Group> groups;
    take(2 + 4);
    for (u64 left = take(sectionId == 18 ? 2 : 4); good && left > 0; --left) {
        Group group;
        group.ids = takeList();
        for (size_t list = sectionId == 18 ? 3 : 1; list > 0; --list) {
            group.lists.push_back(takeList());
        }
        if (sectionId == 18) {
            std::rotate(group.lists.begin(), group.lists.end() - 1, group.lists.end());
        }
        groups.push_back(std::move(group));
    }
    return good && at == bytes.size() ? std::optional(std::move(groups)) : std::nullopt;
}

// Puts the rows of a section together to groups.
class GroupRows {
public:
    explicit GroupRows(std::optional<std::vector<Group>> groupsOfFile) : inFile(std::move(groupsOfFile)) {
        for (size_t group = 0; inFile && group < inFile->size(); ++group) {
            for (const u16 id : (*inFile)[group].ids) {
                groupInFile[id] = group;  // the last group that names an id holds
            }
        }
    }

    void Add(std::span<const Cell> cells) {
        const std::span<const Cell> lists = cells.subspan(1);
        const u16 id = static_cast<u16>(cells[0].number);
        const auto stored = groupInFile.find(id);
        const auto same = [](const std::vector<u16>& a, const Cell& b) {
            return std::ranges::equal(a, b.list);
        };
        if (stored == groupInFile.end() ||
            !std::ranges::equal((*inFile)[stored->second].lists, lists, same)) {
            inFile.reset();
            groupInFile.clear();
        }
        ++rows;
        std::vector<std::vector<u16>> key;
        for (const Cell& cell : lists) {
            key.emplace_back(cell.list.begin(), cell.list.end());
        }
        const auto [found, isNew] = groupOf.try_emplace(std::move(key), groups.size());
        if (isNew) {
            groups.push_back({{}, found->first});
        }
        groups[found->second].ids.push_back(id);
    }

    void WriteTo(RowWriter& writer) const {
        for (const Group& group : inFile&& groupInFile.size() == rows ? *inFile : groups) {
            std::span<const u16> rest = group.ids;
            do {
                const size_t count = std::min<size_t>(rest.size(), UINT16_MAX);  // what a group takes
                Write(rest.first(count), group.lists, writer);
                rest = rest.subspan(count);
            } while (!rest.empty());
        }
    }

private:
    static void Write(std::span<const u16> ids, const std::vector<std::vector<u16>>& lists,
                      RowWriter& writer) {
        std::vector<Cell> cells(lists.size());
        for (size_t at = 0; at < lists.size(); ++at) {
            cells[at].list = lists[at];
        }
        writer.Row(0, cells);
        for (const u16 id : ids) {
            const Cell cell = {id, {}, {}};
            writer.Row(1, {&cell, 1});
        }
    }

    std::optional<std::vector<Group>> inFile;  // none once they say something else than the rows
    std::map<u16, size_t> groupInFile;         // by id
    u64 rows = 0;
    std::vector<Group> groups;  // by smallest id
    std::map<std::vector<std::vector<u16>>, size_t> groupOf;
};

SectionInfo AsStored(u16 id) {
    SectionInfo section = *FindSection(id);
    section.levels = section.stored;
    return section;
}

}  // namespace

StoredFile StoredSections(const FileDirectory& raw, const std::vector<u16>& wanted) {
    const bool between = wanted.empty() && std::ranges::is_sorted(raw.entries, {}, &DirectoryEntry::offset);
    StoredFile file;
    u64 end = 2 + u64{10} * raw.entryCount;
    for (const DirectoryEntry& entry : raw.entries) {
        const bool isWanted = wanted.empty() || std::ranges::find(wanted, entry.id) != wanted.end();
        if (isWanted && entry.idAtStart == entry.id) {
            file.sections.push_back({entry, entry.Readable() ? FindSection(entry.id) : nullptr,
                                     between && entry.offset > end ? entry.offset - end : 0});
        }
        end = entry.End();
    }
    file.behind = between && end < raw.fileSize ? raw.fileSize - end : 0;
    return file;
}

const SectionInfo& StoredForm(u16 id) {
    static const SectionInfo eodItems = AsStored(18);
    static const SectionInfo exchangeSupport = AsStored(21);
    if (id == 18) return eodItems;
    if (id == 21) return exchangeSupport;
    const SectionInfo* const section = FindSection(id);
    if (section == nullptr) throw std::invalid_argument("no reader for section " + std::to_string(id));
    return *section;
}

Walk WalkStored(Reader& reader, u16 id, RowWriter& rows) {
    if (!HasGroups(id)) {
        Walk walk = reader.WalkSection(
            id, [&](size_t level, std::span<const Cell> cells) { rows.Row(level, cells); });
        rows.Finish();
        return walk;
    }
    std::string bytes;
    if (const DirectoryEntry* entry = reader.Directory().Find(id)) {
        reader.Bytes().Read(entry->offset, entry->size, [&](std::string_view part) { bytes += part; });
    }
    GroupRows groups(ParseGroups(id, bytes));
    Walk walk = reader.WalkSection(id, [&](size_t, std::span<const Cell> cells) { groups.Add(cells); });
    groups.WriteTo(rows);
    rows.Finish();
    return walk;
}

}  // namespace tvsym
