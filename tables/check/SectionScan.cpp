#include "tables/check/SectionScan.h"

#include <algorithm>

#include "format/Fields.h"
#include "tables/Hash.h"

namespace torva::tables {

namespace {

constexpr u64 kElementsBetweenProgress = 1024;

// Bytes of an element of fixed width; 0 for any other.
u64 FixedWidth(const Level& level) {
    u64 width = 0;
    for (const Column& column : level.columns) {
        if (column.kind != ColumnKind::Number && column.kind != ColumnKind::Bytes) return 0;
        width += column.width;
    }
    return width;
}

// The column that alone identifies an element of level 0; null if there is none.
const Column* KeyColumn(const Level& level) {
    const auto isKey = [](const Column& column) { return column.key; };
    return std::count_if(level.columns.begin(), level.columns.end(), isKey) == 1
               ? std::find_if(level.columns.begin(), level.columns.end(), isKey)
               : nullptr;
}

bool HasFields(const Level& level) {
    return !level.columns.empty() && level.columns.back().kind == ColumnKind::Field;
}

}  // namespace

std::vector<u64> SectionScan::Scan(const DirectoryEntry& sectionEntry) {
    entry = &sectionEntry;
    section = FindSection(entry->id);
    end = entry->End();
    rows.assign(section->levels.size(), 0);
    place = {};
    sound = true;
    begin = entry->offset;
    keysAreTexts = false;
    firstOfNumber.assign(65536, 0);
    reported = 0;
    bytes.SeekTo(u64{entry->offset} + 2);
    try {
        Elements();
        if (sound && bytes.Position() != end) {
            Add({.fault = Fault::SectionSize,
                 .offset = bytes.Position(),
                 .expected = SizeUpTo(bytes.Position()),
                 .found = entry->size});
        }
    } catch (const BytesEnded& ended) {
        Add({.fault = ended.offset > begin ? Fault::EndsInside : Fault::EndsAhead, .offset = ended.offset});
    }
    ReportRepeats();
    Advanced(entry->size);
    return rows;
}

// Fills in what all findings of the section have.
void SectionScan::Add(Finding finding) {
    finding.section = entry->id;
    finding.element = place;
    parts.findings.Add(std::move(finding));
}

// For a finding after which nothing can be determined.
void SectionScan::AddLast(Finding finding) {
    finding.last = true;
    Add(std::move(finding));
    EndScan();
}

void SectionScan::Advanced(u64 to) {
    if (parts.progress && to > reported && !cancelled) {
        cancelled = !parts.progress(to - reported);
        reported = to;
    }
    if (cancelled) EndScan();
}

// The directory's size for a section that ends at `position`.
u64 SectionScan::SizeUpTo(u64 position) const {
    return position - entry->offset - (section->sizeWithoutHead ? section->HeadSize() : 0);
}

// ---- elements of level 0

void SectionScan::Elements() {
    const Level& top = section->stored[0];
    const u64 head = section->head == Head::None ? 0 : bytes.Number(4);
    const u64 count = top.countWidth == 0 ? 0 : bytes.Number(top.countWidth);
    const u64 start = bytes.Position();
    if (HasFields(top)) {
        if (start + head != end) {
            Add({.fault = Fault::DefaultFieldsSize,
                 .offset = u64{entry->offset} + 2,
                 .expected = end - std::min(end, start),
                 .found = head});
        }
        Fields(start + head, 0);
        return EndScan();  // the sizes have been compared
    }
    if (top.ends == Ends::Section) {
        while (sound && bytes.Position() < end) {
            Begin(rows[0]);
            if (SizeLeavesOutHead()) return EndScan();
            if (!Element()) return;
            Done(Ended::BySize);
        }
    } else {
        const u64 width = std::max<u64>(FixedWidth(top), 1);  // 0 only where a count ends the section
        const u64 elements = top.ends == Ends::Size ? (head + width - 1) / width : count;
        for (u64 at = 0; BeginCounted(at, elements); ++at) {
            Element();
            Done(Ended::ByCount);
        }
    }
    if (sound && section->head != Head::None && head != bytes.Position() - start) {
        Add({.fault = Fault::HeadValue,
             .offset = u64{entry->offset} + 2,
             .expected = bytes.Position() - start,
             .found = head});
    }
    if (sound && (section->count == Count::Zero || section->count == Count::Information) &&
        count != rows[0]) {
        place.noun = top.singular;
        Add({.fault = Fault::Count, .offset = start - top.countWidth, .expected = rows[0], .found = count});
    }
    if (SharesLists()) {  // readers get one row for each distinct id
        rows[0] = static_cast<u64>(
            std::count_if(firstOfNumber.begin(), firstOfNumber.end(), [](u64 o) { return o != 0; }));
    }
}

void SectionScan::Begin(u64 elementIndex) {
    place = {SharesLists() ? "group" : section->stored[0].singular, elementIndex};
    begin = bytes.Position();
    next = 0;
    broken = false;
    if (elementIndex % kElementsBetweenProgress == 0) {
        Advanced(begin - entry->offset);
    }
}

// For sections whose count says how many elements there are, whatever the directory says of their size. False
// when there is no more; a count that continues where the section ends is wrong.
bool SectionScan::BeginCounted(u64 elementIndex, u64 count) {
    if (!sound || elementIndex == count) {
        return false;
    }
    Begin(elementIndex);
    if (sound && begin == end) {
        Add({.fault = Fault::CountPastEnd, .offset = begin, .expected = elementIndex, .found = count});
        EndScan();
    }
    return sound;
}

// A directory size that counts the head, in a section where it should not: another section, or the end of the
// file, follows where the size counted from the id ends.
bool SectionScan::SizeLeavesOutHead() {
    if (!section->sizeWithoutHead || begin != u64{entry->offset} + entry->size) {
        return false;
    }
    const auto& entries = parts.directory.entries;
    const bool sectionBegins = std::any_of(
        entries.begin(), entries.end(), [&](const DirectoryEntry& other) { return other.offset == begin; });
    if (end <= parts.directory.fileSize && !sectionBegins) {
        return false;
    }
    Add({.fault = Fault::SectionSizeWithHead,
         .offset = begin,
         .part = section->stored[0].name,
         .expected = SizeUpTo(begin),
         .found = entry->size,
         .other = section->HeadSize()});
    return true;
}

// The element under way is complete. In a section that the directory's size ends, it must not pass that.
void SectionScan::Done(Ended by) {
    ++rows[0];
    if (sound && by == Ended::BySize && bytes.Position() > end) {
        Add({.fault = Fault::ElementPastEnd, .offset = begin, .expected = end, .found = bytes.Position()});
        EndScan();
    }
}

// False when it cannot be determined where the element ends; the scan of the section has ended then.
bool SectionScan::Element() {
    const Level& top = section->stored[0];
    const Level* below = section->stored.size() > 1 ? &section->stored[1] : nullptr;
    if (below && below->sizeFirst) {
        return Record(bytes.Number(below->sizeWidth));
    }
    if (below && below->ahead) {
        CountedBelow(1);
        Columns(top, true);
        return true;
    }
    Columns(top, true);
    if (below && below->sizeWidth != 0) {
        Body(bytes.Number(below->sizeWidth));
    } else if (below) {
        Below(1);
    }
    return true;
}

// An element whose size counts its columns and its fields.
bool SectionScan::Record(u64 size) {
    const Level& below = section->stored[1];
    const u64 start = bytes.Position();
    const u64 stop = start + size;
    if (section->head == Head::None && stop > end) {
        AddLast({.fault = Fault::RecordSizePastEnd,
                 .offset = begin,
                 .part = below.sizeName,
                 .expected = end - std::min(end, start),
                 .found = size});
        return false;
    }
    Columns(section->stored[0], true);
    const u64 taken = bytes.Position() - start;
    if (taken + below.fewest > size) {
        Add({.fault = below.fewest == 0 ? Fault::RecordSizeTooSmall : Fault::RecordSizeNoField,
             .offset = begin,
             .part = below.sizeName,
             .expected = taken,
             .found = size});
        bytes.SeekTo(stop);
    }
    Fields(stop, 1);
    return true;
}

// A body of that size, which readers skip to its end.
void SectionScan::Body(u64 size) {
    const u64 start = bytes.Position();
    next = start + size <= end ? start + size : 0;
    Below(1);
    if (broken) {
        return;
    }
    const u64 content = bytes.Position() - start;
    const Finding wrong = {.fault = Fault::BodySize,
                           .offset = start - section->stored[1].sizeWidth,
                           .part = section->stored[1].sizeName,
                           .expected = content,
                           .found = size};
    if (content < size && next == 0) {
        AddLast(wrong);
    } else if (content != size) {
        Add(wrong);
    }
    if (sound && content < size) {
        bytes.SeekTo(next);
    }
}

// ---- columns

void SectionScan::Columns(const Level& level, bool top) {
    const Column* key = top && !SharesLists() ? KeyColumn(level) : nullptr;
    for (std::size_t at = 0; at < level.columns.size() && !broken; ++at) {
        const Column& column = level.Stored(at);
        switch (column.kind) {
            case ColumnKind::Number:
                if (&column == key) {
                    NumberKey(bytes.Number(column.width), begin);
                } else {
                    bytes.Skip(column.width);
                }
                break;
            case ColumnKind::Text:
                Text(column, &column == key);
                break;
            case ColumnKind::List:
                List(column);
                break;
            default:
                bytes.Skip(column.width);
        }
    }
}

void SectionScan::Text(const Column& column, bool key) {
    const u64 start = bytes.Position();
    const std::string_view text = ReadText(column.Label());
    if (key) {
        TextKey(text, start);
    }
    if (column.width != 0 && text.size() > column.width) {
        Add({.fault = Fault::TextTooLong,
             .offset = start,
             .part = column.Label(),
             .expected = column.width,
             .found = text.size()});
    }
}

// A list of bytes is short; a longer one is looked at only as far as the section goes.
void SectionScan::List(const Column& column) {
    const u64 countOffset = bytes.Position();
    const u64 count = bytes.Number(column.width);
    if (column.width == 1) {
        return bytes.Skip(count);
    }
    const u64 room = (end - std::min(end, bytes.Position())) / column.width;
    bytes.Skip(std::min(count, room + 1) * column.width);
    Within(room + 1, count, countOffset, "values");
}

std::string_view SectionScan::ReadText(const char* what, std::optional<u16> field) {
    const u64 offset = bytes.Position();
    const std::string_view text = bytes.Text();
    if (text.size() < RawBytes::kLongestText && !parts.codec.Decode(text)) {
        Add({.fault = Fault::NotText,
             .offset = offset,
             .part = what,
             .field = field,
             .text = std::string(text)});
    }
    return text;
}

// Typed fields up to `stop`, where the next element begins.
void SectionScan::Fields(u64 stop, std::size_t level) {
    ++record;
    while (bytes.Position() < stop) {
        const u64 offset = bytes.Position();
        const auto id = static_cast<u16>(bytes.Number(2));
        const auto tag = static_cast<u8>(bytes.Number(1));
        if (tag == kTextTag) {
            ReadText("text", id);
        } else {
            bytes.Skip(PayloadWidth(tag));
        }
        ++rows[level];
        if (bytes.Position() > stop) {
            Add({.fault = Fault::FieldPastEnd,
                 .offset = offset,
                 .field = id,
                 .expected = stop,
                 .found = bytes.Position()});
            return bytes.SeekTo(stop);
        }
        if (lastRecordOfField[id] == record) {
            Add({.fault = Fault::FieldRepeated, .offset = offset, .field = id});
        }
        lastRecordOfField[id] = record;
    }
}

// ---- levels below

// All elements of a level within an element of the level above.
void SectionScan::Below(std::size_t level) {
    const Level& described = section->stored[level];
    if (described.ends == Ends::Count) {
        return CountedBelow(level);
    }
    const u64 stop = next != 0 ? next : end;
    while (!broken && bytes.Position() < stop) {
        Columns(described, false);
        if (level + 1 < section->stored.size()) {
            Below(level + 1);
        }
        ++rows[level];
    }
}

void SectionScan::CountedBelow(std::size_t level) {
    const Level& described = section->stored[level];
    const u64 countOffset = bytes.Position();
    const u64 count = bytes.Number(described.countWidth);
    if (described.columns.size() == 1 && described.columns[0].kind == ColumnKind::Bytes) {
        bytes.Skip(count * described.columns[0].width);
        rows[level] += count;
        return;
    }
    for (u64 at = 0; at < count && Within(at, count, countOffset, described.Label()); ++at) {
        if (described.ahead) {  // ids that share the lists of the element above
            const u64 offset = bytes.Position();
            NumberKey(bytes.Number(described.columns[0].width), offset);
            continue;
        }
        Columns(described, false);
        if (level + 1 < section->stored.size()) {
            Below(level + 1);
        }
        ++rows[level];
    }
}

// Elements within an element, `done` of them complete. False when they passed the section's end; the scan is
// then at the next element, if its place is known.
bool SectionScan::Within(u64 done, u64 count, u64 countOffset, const char* what) {
    if (broken) {
        return false;
    }
    if (bytes.Position() <= end) {
        return true;
    }
    broken = true;
    const Finding wrong = {.fault = Fault::InnerCount,
                           .offset = countOffset,
                           .part = what,
                           .expected = done - std::min<u64>(done, 1),
                           .found = count};
    if (next == 0) {
        AddLast(wrong);
    } else {
        Add(wrong);
        bytes.SeekTo(next);
    }
    return false;
}

// ---- what occurs twice

void SectionScan::NumberKey(u64 key, u64 offset) {
    if (key >= firstOfNumber.size()) {
        keys.push_back({key, offset});
        return;
    }
    u64& first = firstOfNumber[static_cast<std::size_t>(key)];
    if (first != 0) {
        Add({.fault = Fault::IdRepeated, .offset = offset, .found = key, .other = first});
    } else {
        first = offset;
    }
}

void SectionScan::TextKey(std::string_view text, u64 offset) {
    keysAreTexts = true;
    keys.push_back({Hash(text), offset});
}

// The text at `offset`; none when that at `other` is another one.
std::optional<std::string> SectionScan::SharedText(u64 offset, u64 other) {
    bytes.SeekTo(other);
    std::string text(bytes.Text());
    bytes.SeekTo(offset);
    return bytes.Text() == text ? std::optional(std::move(text)) : std::nullopt;
}

void SectionScan::ReportRepeats() {
    std::sort(keys.begin(), keys.end(), [](const Key& a, const Key& b) {
        return a.key != b.key ? a.key < b.key : a.offset < b.offset;
    });
    struct Repeat {
        u64 offset;
        Key first;
    };
    std::vector<Repeat> repeats;
    for (std::size_t at = 1, first = 0; at < keys.size(); ++at) {
        if (keys[at].key == keys[first].key) {
            repeats.push_back({keys[at].offset, keys[first]});
        } else {
            first = at;
        }
    }
    std::sort(repeats.begin(), repeats.end(),
              [](const Repeat& a, const Repeat& b) { return a.offset < b.offset; });
    u64 compared = 0;  // two texts of one hash are compared, as far as they will be shown
    for (const Repeat& repeat : repeats) {
        Finding finding = {.fault = Fault::IdRepeated,
                           .offset = repeat.offset,
                           .found = repeat.first.key,
                           .other = repeat.first.offset};
        if (keysAreTexts && compared++ < parts.findings.Limit()) {
            std::optional<std::string> text = SharedText(repeat.offset, repeat.first.offset);
            if (!text) continue;
            finding.fault = Fault::TextRepeated;
            finding.text = std::move(*text);
        }
        Add(std::move(finding));
    }
    keys = {};
}

}  // namespace torva::tables
