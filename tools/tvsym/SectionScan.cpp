#include "tools/tvsym/SectionScan.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/tvsym/Sections.h"

namespace tvsym {

namespace {

constexpr size_t kLongestQuickGroupName = 49;
constexpr u64 kElementsBetweenProgress = 1024;

u64 Fnv1a(std::string_view text) {
    u64 hash = 0xcbf29ce484222325U;
    for (const char c : text) {
        hash = (hash ^ static_cast<u8>(c)) * 0x100000001b3U;
    }
    return hash;
}

std::string Start(std::string_view bytes) {
    constexpr size_t kShown = 24;
    return "0x" + Hex(bytes.substr(0, kShown)) + (bytes.size() > kShown ? "..." : "");
}

}  // namespace

// ---- what all sections share

std::vector<u64> SectionScan::Scan(const DirectoryEntry& sectionEntry) {
    entry = &sectionEntry;
    end = entry->End();
    rows.assign(FindSection(entry->id)->levels.size(), 0);
    noun = "head";
    counted = false;
    sound = true;
    begin = entry->offset;
    keysAreTexts = false;
    firstOfNumber.assign(65536, 0);
    bytes.SeekTo(u64{entry->offset} + 2);
    try {
        ScanElements();
        if (sound && bytes.Position() != end) {
            Add(FindingKind::Size, bytes.Position(), "the size in the directory",
                fmt::format("{} (up to where its elements end)", SizeUpTo(bytes.Position())),
                fmt::format("{}", entry->size));
        }
    } catch (const BytesEnded& ended) {
        Add(FindingKind::Cut, ended.offset,
            fmt::format("the file ends {} {}", ended.offset > begin ? "inside" : "ahead of", Place()));
    }
    ReportRepeats();
    sources.progress.SectionDone(entry->size);
    return rows;
}

void SectionScan::ScanElements() {
    switch (entry->id) {
        case 1:
            return DefaultFields();
        case 2:
            return Symbols();
        case 3:
            return JumpPrices();
        case 4:
            return BrokerInfo();
        case 6:
            return QuickGroups();
        case 7:
            return EidrSections();
        case 8:
            return Level2Sections();
        case 11:
            return SectionGroups();
        case 13:
            return Objects();
        case 14:
        case 15:
            return HeadsWithBodies();
        case 16:
            return Directory(2, 2, 2);
        case 17:
            return RealDelay();
        case 18:
            return Definitions(2, 3);
        case 19:
            return Directory(4, 4, 1);
        case 20:
        case 22:
            return Directory(4, 2, 1);
        case 21:
            return Definitions(4, 1);
        default:  // 9, 10 and 12
            return Directory(2, 2, 1);
    }
}

void SectionScan::Add(FindingKind kind, u64 offset, std::string what, std::string expected,
                      std::string found) {
    sources.findings.Add({kind, entry->id, offset, std::move(what), std::move(expected), std::move(found)});
}

// For a finding behind which nothing can be made out.
void SectionScan::AddLast(FindingKind kind, u64 offset, std::string what, std::string expected,
                          std::string found) {
    sources.findings.Add(
        {kind, entry->id, offset, std::move(what), std::move(expected), std::move(found), true});
    EndScan();
}

// The directory's size for a section that ends at `position`.
u64 SectionScan::SizeUpTo(u64 position) const { return position - entry->offset - (entry->id == 8 ? 6 : 0); }

std::string SectionScan::Place() const {
    return counted          ? fmt::format("{} {}", noun, index + 1)
           : entry->id == 1 ? "the default fields"
                            : "its head";
}

void SectionScan::Begin(const char* elementNoun, u64 elementIndex) {
    noun = elementNoun;
    index = elementIndex;
    begin = bytes.Position();
    counted = true;
    next = 0;
    broken = false;
    if (index % kElementsBetweenProgress == 0) {
        sources.progress.SectionAt(begin - entry->offset);
    }
}

// For sections whose count says how many elements there are, whatever the directory says of their size. False
// when there is no more; a count that goes on where the section ends is wrong.
bool SectionScan::BeginCounted(const char* elementNoun, u64 elementIndex, u64 count) {
    if (!sound || elementIndex == count) {
        return false;
    }
    Begin(elementNoun, elementIndex);
    if (begin == end) {
        Add(FindingKind::Count, begin, fmt::format("the number of {}s", noun),
            fmt::format("{} (up to the end by the directory)", index), fmt::format("{}", count));
        EndScan();
    }
    return sound;
}

// The element under way is through. In a section that the directory's size ends, it must not pass that.
void SectionScan::Done(Ended by) {
    ++rows[0];
    if (sound && by == Ended::BySize && bytes.Position() > end) {
        Add(FindingKind::Size, begin, Place(), fmt::format("an end at 0x{:x}, where the section ends", end),
            fmt::format("0x{:x}", bytes.Position()));
        EndScan();
    }
}

// Sections whose head value is the size of their elements.
void SectionScan::CheckHead(u64 head, u64 start) {
    const u64 elements = bytes.Position() - start;
    if (sound && head != elements) {
        Add(FindingKind::Size, u64{entry->offset} + 2, "the head value",
            fmt::format("{} (bytes of the elements)", elements), fmt::format("{}", head));
    }
}

void SectionScan::CheckCount(u64 count, u64 offset, const char* of) {
    if (sound && count != rows[0]) {
        Add(FindingKind::Count, offset, fmt::format("the number of {}s", of), fmt::format("{}", rows[0]),
            fmt::format("{}", count));
    }
}

// A body begins here whose size stands in the 4 bytes ahead of it.
void SectionScan::BeginBody(u64 size) {
    const u64 stop = bytes.Position() + size;
    next = stop <= end ? stop : 0;
}

// Its content has been gone through.
void SectionScan::CheckBody(u64 size, u64 start, const char* what) {
    if (broken) {
        return;
    }
    const u64 content = bytes.Position() - start;
    const std::string expected = fmt::format("{} (bytes of its content)", content);
    if (content < size && next == 0) {
        AddLast(FindingKind::Size, start - 4, fmt::format("the {} of {}", what, Place()), expected,
                fmt::format("{}", size));
    } else if (content != size) {
        Add(FindingKind::Size, start - 4, fmt::format("the {} of {}", what, Place()), expected,
            fmt::format("{}", size));
    }
    if (sound && content < size) {  // readers skip what is left
        bytes.SeekTo(next);
    }
}

std::string_view SectionScan::Text(const char* what, std::optional<u64> field) {
    const u64 offset = bytes.Position();
    const std::string_view text = bytes.Text();
    if (text.size() < RawBytes::kLongestText && !sources.codec.Decode(text)) {
        Add(FindingKind::Text, offset,
            fmt::format("the {}{} of {} is no text in {}: {}", what,
                        field ? fmt::format(" of field {}", *field) : "", Place(), sources.encoding,
                        Start(text)));
    }
    return text;
}

// Typed fields up to `stop`, where the next element begins.
void SectionScan::Fields(u64 stop, size_t level) {
    ++record;
    while (bytes.Position() < stop) {
        const u64 offset = bytes.Position();
        const auto id = static_cast<u16>(bytes.Number(2));
        const auto tag = static_cast<u8>(bytes.Number(1));
        if (tag == kTextTag) {
            Text("text", id);
        } else {
            bytes.Skip(PayloadWidth(tag));
        }
        ++rows[level];
        if (bytes.Position() > stop) {
            Add(FindingKind::Size, offset, fmt::format("field {} of {}", id, Place()),
                fmt::format("an end at 0x{:x} by the size ahead of it", stop),
                fmt::format("0x{:x}", bytes.Position()));
            return bytes.SeekTo(stop);
        }
        if (lastRecordOfField[id] == record) {
            Add(FindingKind::Duplicate, offset, fmt::format("field {} stands twice in {}", id, Place()));
        }
        lastRecordOfField[id] = record;
    }
}

// Elements within an element, `done` of them gone through. False when they passed the section's end; the
// scan then stands at the next element, if its place is known.
bool SectionScan::Within(u64 done, u64 count, u64 countOffset, const char* what) {
    if (broken) {
        return false;
    }
    if (bytes.Position() <= end) {
        return true;
    }
    broken = true;
    std::string text = fmt::format("the number of {} in {}", what, Place());
    std::string expected = fmt::format("at most {} (up to the section's end)", done - std::min<u64>(done, 1));
    if (next == 0) {
        AddLast(FindingKind::Count, countOffset, std::move(text), std::move(expected),
                fmt::format("{}", count));
    } else {
        Add(FindingKind::Count, countOffset, std::move(text), std::move(expected), fmt::format("{}", count));
        bytes.SeekTo(next);
    }
    return false;
}

// ---- what stands twice

void SectionScan::Repeated(const std::string& name, u64 offset, u64 first) {
    const bool definitions = entry->id == 18 || entry->id == 21;
    Add(FindingKind::Duplicate, offset,
        fmt::format("{} stands a further time, first at 0x{:x}{}", name, first,
                    definitions ? "; readers get the lists of the last one" : ""));
}

void SectionScan::NumberKey(u64 key, u64 offset) {
    if (key >= firstOfNumber.size()) {
        keys.push_back({key, offset});
        return;
    }
    u64& first = firstOfNumber[static_cast<size_t>(key)];
    if (first != 0) {
        Repeated(fmt::format("id {}", key), offset, first);
    } else {
        first = offset;
    }
}

void SectionScan::TextKey(std::string_view text, u64 offset) {
    keysAreTexts = true;
    keys.push_back({Fnv1a(text), offset});
}

// The text at `offset` as people see it; none when that at `other` is another one.
std::optional<std::string> SectionScan::SharedText(u64 offset, u64 other) {
    bytes.SeekTo(other);
    const std::string text(bytes.Text());
    bytes.SeekTo(offset);
    return bytes.Text() == text ? std::optional(fmt::format("\"{}\"", sources.codec.Display(text)))
                                : std::nullopt;
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
    for (size_t at = 1, first = 0; at < keys.size(); ++at) {
        if (keys[at].key == keys[first].key) {
            repeats.push_back({keys[at].offset, keys[first]});
        } else {
            first = at;
        }
    }
    std::sort(repeats.begin(), repeats.end(),
              [](const Repeat& a, const Repeat& b) { return a.offset < b.offset; });
    u64 looked = 0;  // two texts of one hash are compared, as far as they will be shown
    for (const Repeat& repeat : repeats) {
        std::optional<std::string> name = fmt::format("id {}", repeat.first.key);
        if (keysAreTexts && looked++ < sources.findings.Limit()) {
            name = SharedText(repeat.offset, repeat.first.offset);
        }
        if (name) {
            Repeated(*name, repeat.offset, repeat.first.offset);
        }
    }
    keys = {};
}

// ---- the sections, behind their id

// u32 bytes of the fields | fields
void SectionScan::DefaultFields() {
    const u64 head = bytes.Number(4);
    const u64 start = bytes.Position();
    if (start + head != end) {
        Add(FindingKind::Size, u64{entry->offset} + 2, "the size of the default fields",
            fmt::format("{} (up to the end by the directory)", end - std::min(end, start)),
            fmt::format("{}", head));
    }
    Fields(start + head, 0);
    EndScan();  // the sizes have been compared
}

// records: u32 size of what follows | symbol | fields
void SectionScan::Symbols() {
    while (sound && bytes.Position() < end) {
        Begin("symbol", rows[0]);
        const u64 size = bytes.Number(4);
        const u64 start = bytes.Position();
        if (start + size > end) {
            return AddLast(FindingKind::Size, begin, fmt::format("the record size of {}", Place()),
                           fmt::format("at most {} (up to the section's end)", end - std::min(end, start)),
                           fmt::format("{}", size));
        }
        TextKey(Text("name"), start);
        if (bytes.Position() > start + size) {
            Add(FindingKind::Size, begin, fmt::format("the record size of {}", Place()),
                fmt::format("at least {} (its name)", bytes.Position() - start), fmt::format("{}", size));
            bytes.SeekTo(start + size);
        }
        Fields(start + size, 1);
        Done(Ended::BySize);
    }
}

// u32 not used | u8 number of groups | groups: u8 id | u16 count | count x 24 bytes
void SectionScan::JumpPrices() {
    bytes.Skip(4);
    const u64 count = bytes.Number(1);
    while (sound && bytes.Position() < end) {
        Begin("group", rows[0]);
        NumberKey(bytes.Number(1), begin);
        const u64 records = bytes.Number(2);
        bytes.Skip(records * 24);
        rows[1] += records;
        Done(Ended::BySize);
    }
    CheckCount(count, u64{entry->offset} + 6, "group");
}

// u32 not used | u16 count | count x 30 bytes
void SectionScan::BrokerInfo() {
    bytes.Skip(4);
    const u64 count = bytes.Number(2);
    for (u64 at = 0; BeginCounted("record", at, count); ++at) {
        bytes.Skip(30);
        Done(Ended::ByCount);
    }
}

// u32 bytes of the groups | groups: u16 size of what follows | name | fields
void SectionScan::QuickGroups() {
    const u64 head = bytes.Number(4);
    const u64 elements = bytes.Position();
    while (sound && bytes.Position() < end) {
        Begin("group", rows[0]);
        const u64 size = bytes.Number(2);
        const u64 start = bytes.Position();
        const std::string_view name = Text("name");
        TextKey(name, start);
        if (name.size() > kLongestQuickGroupName) {
            Add(FindingKind::Size, start, fmt::format("the name of {}", Place()),
                fmt::format("at most {} bytes", kLongestQuickGroupName), fmt::format("{}", name.size()));
        }
        if (bytes.Position() >= start + size) {
            Add(FindingKind::Size, begin, fmt::format("the size of {}", Place()),
                fmt::format("more than {} (its name), for at least one field", bytes.Position() - start),
                fmt::format("{}", size));
            bytes.SeekTo(start + size);
        }
        Fields(start + size, 1);
        Done(Ended::BySize);
    }
    CheckHead(head, elements);
}

// u32 bytes of the elements | elements: u16 id | text | text
void SectionScan::EidrSections() {
    const u64 head = bytes.Number(4);
    const u64 elements = bytes.Position();
    while (sound && bytes.Position() < end) {
        Begin("element", rows[0]);
        NumberKey(bytes.Number(2), begin);
        Text("first text");
        Text("second text");
        Done(Ended::BySize);
    }
    CheckHead(head, elements);
}

bool SectionScan::SectionBeginsAt(u64 offset) const {
    return std::any_of(sources.raw.directory.begin(), sources.raw.directory.end(),
                       [&](const DirectoryEntry& other) { return other.offset == offset; });
}

// u32 not used | groups: u8 id | u8 count | items: u8 | text | text
// The directory's size counts the groups alone.
void SectionScan::Level2Sections() {
    bytes.Skip(4);
    const u64 sizeFromId = u64{entry->offset} + entry->size;
    while (sound && bytes.Position() < end) {
        Begin("group", rows[0]);
        if (begin == sizeFromId && (end > sources.raw.fileSize || SectionBeginsAt(begin))) {
            Add(FindingKind::Size, begin, "the size in the directory",
                fmt::format("{} (the groups, without the 6 bytes ahead of them)", SizeUpTo(begin)),
                fmt::format("{}", entry->size));
            return EndScan();
        }
        NumberKey(bytes.Number(1), begin);
        const u64 items = bytes.Number(1);
        for (u64 at = 0; at < items && Within(at, items, begin + 1, "items"); ++at, ++rows[1]) {
            bytes.Skip(1);
            Text("first text");
            Text("second text");
        }
        Done(Ended::BySize);
    }
}

// u32 bytes of the groups | u8 number of groups | groups: u8 id | u8 count | count x u8
void SectionScan::SectionGroups() {
    const u64 head = bytes.Number(4);
    const u64 count = bytes.Number(1);
    const u64 elements = bytes.Position();
    for (u64 at = 0; BeginCounted("group", at, count); ++at) {
        NumberKey(bytes.Number(1), begin);
        bytes.Skip(bytes.Number(1));
        Done(Ended::ByCount);
    }
    CheckHead(head, elements);
}

// u32 bytes of the elements | count | elements: id | one text or two
void SectionScan::Directory(size_t countWidth, size_t idWidth, size_t texts) {
    const u64 head = bytes.Number(4);
    const u64 count = bytes.Number(countWidth);
    const u64 elements = bytes.Position();
    for (u64 at = 0; BeginCounted("element", at, count); ++at) {
        NumberKey(bytes.Number(idWidth), begin);
        Text(texts == 1 ? "name" : "first text");
        if (texts == 2) {
            Text("second text");
        }
        Done(Ended::ByCount);
    }
    CheckHead(head, elements);
}

// u32 not used | u16 number of types | types: u16 id | u32 block size | block, which its counts divide
void SectionScan::Objects() {
    bytes.Skip(4);
    const u64 count = bytes.Number(2);
    while (sound && bytes.Position() < end) {
        Begin("type", rows[0]);
        NumberKey(bytes.Number(2), begin);
        const u64 size = bytes.Number(4);
        const u64 start = bytes.Position();
        BeginBody(size);
        ObjectSources();
        CheckBody(size, start, "block size");
        Done(Ended::BySize);
    }
    CheckCount(count, u64{entry->offset} + 6, "type");
}

// u16 count | sources: text | u16 count | symbols: u8 | text | u8 count | data: u8 | text
void SectionScan::ObjectSources() {
    const u64 sourcesAt = bytes.Position();
    const u64 count = bytes.Number(2);
    for (u64 source = 0; source < count && Within(source, count, sourcesAt, "source symbols");
         ++source, ++rows[1]) {
        Text("source symbol");
        const u64 symbolsAt = bytes.Position();
        const u64 symbols = bytes.Number(2);
        for (u64 symbol = 0; symbol < symbols && Within(symbol, symbols, symbolsAt, "symbols");
             ++symbol, ++rows[2]) {
            bytes.Skip(1);
            Text("symbol");
            const u64 dataAt = bytes.Position();
            const u64 data = bytes.Number(1);
            for (u64 at = 0; at < data && Within(at, data, dataAt, "data records"); ++at, ++rows[3]) {
                bytes.Skip(1);
                Text("data");
            }
        }
    }
}

// u32 not used | u16 number of heads | heads
//   section 14, a head: u16 id | name | u32 body size | items: u8 | u16 count | names
//   section 15, a head: u16 id | u32 body size | lists: u8 count | items: u8 | name
void SectionScan::HeadsWithBodies() {
    const bool trade = entry->id == 14;
    bytes.Skip(4);
    const u64 count = bytes.Number(2);
    while (sound && bytes.Position() < end) {
        Begin("head", rows[0]);
        NumberKey(bytes.Number(2), begin);
        if (trade) {
            Text("name");
        }
        const u64 size = bytes.Number(4);
        const u64 start = bytes.Position();
        BeginBody(size);
        while (!broken && bytes.Position() < std::min(start + size, end)) {
            bytes.Skip(trade ? 1 : 0);
            const u64 countAt = bytes.Position();
            const u64 texts = bytes.Number(trade ? 2 : 1);
            const char* const what = trade ? "names" : "items";
            for (u64 at = 0; at < texts && Within(at, texts, countAt, what); ++at, ++rows[2]) {
                bytes.Skip(trade ? 0 : 1);
                Text("item's name");
            }
            ++rows[1];
        }
        CheckBody(size, start, "body size");
        Done(Ended::BySize);
    }
    CheckCount(count, u64{entry->offset} + 6, "head");
}

// u32 bytes of the pairs | u16 count | pairs { u8, u8 }
// Readers go by the bytes; the count says only whether there are any.
void SectionScan::RealDelay() {
    const u64 head = bytes.Number(4);
    const u64 count = bytes.Number(2);
    const u64 elements = bytes.Position();
    for (u64 at = 0; BeginCounted("pair", at, (head + 1) / 2); ++at) {
        bytes.Skip(2);
        Done(Ended::ByCount);
    }
    CheckHead(head, elements);
    CheckCount(count, elements - 2, "pair");
}

// u32 not used | count | groups: u16 count | ids, then each list: u16 count | values
// Readers get one row for each distinct id.
void SectionScan::Definitions(size_t countWidth, size_t lists) {
    bytes.Skip(4);
    const u64 count = bytes.Number(countWidth);
    for (u64 at = 0; BeginCounted("group", at, count); ++at) {
        const u64 ids = bytes.Number(2);
        for (u64 id = 0; id < ids && Within(id, ids, begin, "ids"); ++id) {
            const u64 offset = bytes.Position();
            NumberKey(bytes.Number(2), offset);
        }
        for (size_t list = 0; !broken && list < lists; ++list) {
            const u64 valuesAt = bytes.Position();
            const u64 values = bytes.Number(2);
            const u64 room = (end - std::min(end, valuesAt + 2)) / 2;
            bytes.Skip(std::min(values, room + 1) * 2);
            Within(room + 1, values, valuesAt, "values");
        }
        Done(Ended::ByCount);
    }
    rows[0] = static_cast<u64>(
        std::count_if(firstOfNumber.begin(), firstOfNumber.end(), [](u64 o) { return o != 0; }));
}

}  // namespace tvsym
