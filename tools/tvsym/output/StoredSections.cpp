#include "tools/tvsym/output/StoredSections.h"

#include <algorithm>
#include <map>
#include <stdexcept>

#include "tables/check/SectionScan.h"

namespace tvsym {

namespace {

// Ids that share their lists, which are in the order of the section's columns.
struct Group {
    std::vector<u16> ids;
    std::vector<std::vector<u16>> lists;
};

bool HasGroups(const SectionInfo& section) { return section.stored.size() != section.levels.size(); }

// The groups in the bytes of a whole section, from its id on; none when counts and size do not agree.
std::optional<std::vector<Group>> ParseGroups(const SectionInfo& section, std::string_view bytes) {
    const Level& level = section.stored[0];
    const Level& below = section.stored[1];
    size_t at = 0;
    bool good = true;
    const auto take = [&](size_t width) {
        good = good && bytes.size() - at >= width;
        const u64 number = good ? PayloadNumber(bytes.substr(at, width)) : 0;
        at += good ? width : 0;
        return number;
    };
    const auto takeList = [&](size_t countWidth, size_t width) {
        std::vector<u16> list;
        for (u64 left = take(countWidth); good && left > 0; --left) {
            list.push_back(static_cast<u16>(take(width)));
        }
        return list;
    };
    std::vector<Group> groups;
    take(section.HeadSize() - level.countWidth);
    for (u64 left = take(level.countWidth); good && left > 0; --left) {
        Group group;
        group.ids = takeList(below.countWidth, below.columns[0].width);
        group.lists.resize(level.columns.size());
        for (size_t list = 0; list < group.lists.size(); ++list) {
            const u8 width = level.Stored(list).width;
            group.lists[level.StoredIndex(list)] = takeList(width, width);
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
            groupInFile.clear();  // the file's groups say something else than the rows
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
        for (const Group& group : (inFile && groupInFile.size() == rows) ? *inFile : groups) {
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

    const std::optional<std::vector<Group>> inFile;
    std::map<u16, size_t> groupInFile;  // by id
    u64 rows = 0;
    std::vector<Group> groups;  // by smallest id
    std::map<std::vector<std::vector<u16>>, size_t> groupOf;
};

// Fills in `odd` and `rows`, and returns where the section ends.
u64 FindOddNumbers(Reader& reader, StoredSection& stored) {
    Findings findings(UINT16_MAX);
    TextCodec codec;
    const Progress progress;
    RawBytes bytes(reader.Bytes());
    std::vector<u64> rows =
        SectionScan({bytes, reader.Directory(), codec, findings, progress}).Scan(stored.entry);
    u64 end = stored.entry.End();
    OddNumbers odd;
    for (const Finding& finding : findings.Kept()) {
        switch (finding.fault) {
            case Fault::HeadValue:
                odd.head = finding.found;
                break;
            case Fault::DefaultFieldsSize:  // the head value ends the fields
                odd.size = stored.entry.size;
                end = stored.entry.offset + stored.section->HeadSize() + finding.found;
                break;
            case Fault::Count:
                odd.count = finding.found;
                break;
            case Fault::SectionSize:
                odd.size = finding.found;
                end = *finding.offset;
                break;
            default:
                const FindingKind kind = finding.Kind();
                if (kind != FindingKind::Duplicate && kind != FindingKind::Text) {
                    const auto none = [](size_t, std::span<const Cell>) {};
                    stored.bytesOnly = reader.WalkSection(stored.entry.id, none).problems.empty();
                    return stored.entry.End();
                }
        }
    }
    stored.odd = odd;
    stored.rows = std::move(rows);
    return end;
}

}  // namespace

StoredFile StoredSections(Reader& reader, const std::vector<u16>& wanted) {
    const FileDirectory& raw = reader.Directory();
    const bool between = wanted.empty() && std::ranges::is_sorted(raw.entries, {}, &DirectoryEntry::offset);
    StoredFile file;
    file.whole = !raw.IsCut();
    u64 end = 2 + u64{10} * raw.entryCount;
    for (const DirectoryEntry& entry : raw.entries) {
        const bool isWanted = wanted.empty() || std::ranges::find(wanted, entry.id) != wanted.end();
        u64 next = entry.End();
        if (isWanted && entry.idAtStart == entry.id) {
            StoredSection stored = {entry, entry.Readable() ? FindSection(entry.id) : nullptr,
                                    between && entry.offset > end ? entry.offset - end : 0};
            if (stored.section && entry.id != 2) next = FindOddNumbers(reader, stored);
            file.sections.push_back(std::move(stored));
        }
        file.whole = file.whole && (!isWanted || (entry.idAtStart == entry.id && next <= raw.fileSize));
        end = next;
    }
    file.behind = between && end < raw.fileSize ? raw.fileSize - end : 0;
    return file;
}

const SectionInfo& StoredForm(u16 id) {
    static const std::vector<SectionInfo> kStored = [] {
        std::vector<SectionInfo> sections(kSections.begin(), kSections.end());
        for (SectionInfo& section : sections) section.levels = section.stored;
        return sections;
    }();
    const auto found = std::ranges::find(kStored, id, &SectionInfo::id);
    if (found == kStored.end()) throw std::invalid_argument("no reader for section " + std::to_string(id));
    return *found;
}

WalkResult WalkStored(Reader& reader, u16 id, RowWriter& rows) {
    const SectionInfo* section = FindSection(id);
    if (!section || !HasGroups(*section)) {
        WalkResult walk = reader.WalkSection(
            id, [&](size_t level, std::span<const Cell> cells) { rows.Row(level, cells); });
        rows.Finish();
        return walk;
    }
    std::string bytes;
    if (const DirectoryEntry* entry = reader.Directory().Find(id)) {
        reader.Bytes().Read(entry->offset, entry->size, [&](std::string_view part) { bytes += part; });
    }
    GroupRows groups(ParseGroups(*section, bytes));
    WalkResult walk = reader.WalkSection(id, [&](size_t, std::span<const Cell> cells) { groups.Add(cells); });
    groups.WriteTo(rows);
    rows.Finish();
    return walk;
}

}  // namespace tvsym
