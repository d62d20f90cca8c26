#include "tools/tvsym/Walker.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "api/TorvaAPI.h"
#include "api/TorvaValues.h"
#include "tools/tvsym/Terminal.h"

namespace tvsym {

namespace {

constexpr size_t kGroup = 512;                 // records or pointers asked for in one call
constexpr u64 kRowsBetweenProgress = 1024;     // a look at the clock costs more than a row
constexpr size_t kProblemsOfOneSection = 100;  // a section of nonsense says enough with that

std::string_view View(const char* text) { return text ? std::string_view(text) : std::string_view(); }

std::string ResultText(i32 result) {
    switch (result) {
        case SYM_ERR_READ:
            return "the data ends inside an element";
        case SYM_ERR_FORMAT:
            return "sizes disagree: an element goes past the end that its record or section announces";
        case SYM_ERR_PARAM:
            return "expected a shorter text; this one is longer than readers of this section take";
        case SYM_ERR_BUFFER_TOO_SMALL:
            return "a text does not end within the file";
        case SYM_ERR_NO_SECTION:
            return "the section is not found";
        case SYM_ERR_NO_MEMORY:
            return "not enough memory";
        default:
            return fmt::format("unexpected result {}", result);
    }
}

bool IsError(i32 result) {
    return result == SYM_ERR_READ || result == SYM_ERR_NO_SECTION || result == SYM_ERR_NO_MEMORY ||
           result == SYM_ERR_BAD_HANDLE || result == SYM_ERR_PARAM;
}

struct DirectoryCalls {
    u16 id;
    i32 (*initial)(u16 handle);
    i32 (*next)(u16 handle, i32* count, u32* ids, char** names, u32 nameSize);
};

constexpr DirectoryCalls kDirectories[] = {
    {9, tv_InitializeSection9, tv_GetNextFundCompanyGroup},
    {10, tv_InitializeSection10, tv_GetNextEidrCountryGroup},
    {12, tv_InitializeSection12, tv_GetNextIssueCompanyGroup},
    {19, tv_InitialFundMainNameSection, tv_GetNextFundMainName},
    {20, tv_InitialFuturesSectionV2, tv_GetNextFuturesSectionV2},
    {22, tv_InitialFuturesClassType, tv_GetNextFuturesClassType},
};

Cell Number(u64 number) {
    Cell cell;
    cell.number = number;
    return cell;
}

Cell Bytes(std::string_view bytes) {
    Cell cell;
    cell.bytes = bytes;
    return cell;
}

Cell Payload(u8 tag, std::string_view payload) {
    Cell cell;
    cell.number = tag;
    cell.bytes = payload;
    return cell;
}

Cell List(const u16* items, size_t count) {
    Cell cell;
    cell.list = {items, count};
    return cell;
}

template <size_t kSize>
Cell RecordBytes(const u8 (&record)[kSize]) {
    return Bytes({reinterpret_cast<const char*>(record), kSize});
}

u64 SizeInFile(const FieldView& field) {
    return 3 + (field.tag == kTextTag ? field.value.size() + 1 : PayloadWidth(field.tag));
}

// The values that the symbol stream handed over.
class OwnedValues {
public:
    OwnedValues() = default;
    OwnedValues(const OwnedValues&) = delete;
    OwnedValues& operator=(const OwnedValues&) = delete;
    ~OwnedValues() { Clear(); }

    void Add(void* value) { values.push_back(value); }
    void Clear() {
        for (void* value : values) {
            SymFreeValue(value);
        }
        values.clear();
    }

private:
    std::vector<void*> values;
};

FieldView Take(const SymFieldItem& item, OwnedValues& owned) {
    FieldView field;
    field.id = item.id;
    field.tag = item.tag;
    if (item.value) {
        owned.Add(item.value);
        const char* value = static_cast<const char*>(item.value);
        field.value = {value, item.tag == kTextTag ? std::strlen(value) : PayloadWidth(item.tag)};
    }
    return field;
}

}  // namespace

char* TextBuffer::For(u64 fileSize) {
    constexpr u64 kLongest = u64{256} << 20;
    if (!bytes) {
        size = static_cast<u32>(std::min(fileSize, kLongest) + 1);
        bytes = std::make_unique_for_overwrite<char[]>(size);
    }
    bytes[0] = '\0';
    return bytes.get();
}

bool Walker::Enter(u16 id) {
    section = FindSection(id);
    entry = reader.raw.Find(id);
    if (!section || !entry || !entry->Readable()) {
        return false;
    }
    // Sections 2, 3 and 8 enter by themselves, and begin anew only when another one was read in between.
    if (reader.lastEntered == id && (id == 2 || id == 3 || id == 8)) {
        reader.Reopen();
        handle = reader.handle;
    }
    if (id != 1) {  // read at the open: walking it moves nothing
        reader.lastEntered = id;
    }
    walk.present = true;
    walk.rows.assign(section->levels.size(), 0);
    walk.consumed = 2;
    return true;
}

// Compares what was delivered with what the section's head and the directory announce. A section that the
// file cuts off is told of with the directory.
void Walker::Leave() {
    if (reader.options.progress) {
        reader.options.progress->SectionDone(entry->size);
    }
    if (!walk.problems.empty()) {
        return;
    }
    if (walk.declared && *walk.declared != walk.rows[0]) {
        Note(fmt::format("its head announces {} {}, {} were there", *walk.declared, section->levels[0].name,
                         walk.rows[0]));
    } else if (walk.consumed < entry->size && entry->End() <= reader.raw.fileSize) {
        Note(fmt::format("expected the section to end at 0x{:x}, its last element ends {} bytes before that",
                         entry->End(), entry->size - walk.consumed));
    } else if (walk.consumed > entry->size) {
        Note(fmt::format("expected the section to end at 0x{:x}, its elements go on for {} bytes",
                         entry->End(), walk.consumed - entry->size));
    }
}

// Takes the result of an initial call; false when there is nothing to walk. Counts of 2^31 and more come as
// negative numbers.
bool Walker::Begun(i32 result) {
    if (IsError(result)) {
        Fail(result);
        return false;
    }
    if (result == SYM_END_OF_DATA) {
        walk.consumed = Consumed();
        return false;
    }
    walk.declared = static_cast<u32>(result);
    return true;
}

void Walker::Fail(i32 result) {
    Note(ResultText(result));
    walk.result = result;
    walk.consumed = Consumed();
}

void Walker::Note(std::string what) {
    if (walk.problems.size() < kProblemsOfOneSection) {
        walk.problems.push_back({section->id, Position(), std::move(what)});
    }
}

// A call that opens the next block skips what was left of the last one.
void Walker::CheckSkipped(u64 before, u64 taken, const char* what) {
    const u64 now = Consumed();
    if (now > before + taken) {
        Note(fmt::format("{} bytes at the end of the {} before this place belong to none of its elements",
                         now - before - taken, what));
    }
}

// The library's progress is consumed / size, and both are 32-bit numbers, so the product is exact when
// rounded.
u64 Walker::Consumed() const {
    if (section->id == 1) {  // read at the open; another section may be current by now
        return walk.consumed;
    }
    return static_cast<u64>(std::llround(tv_GetSymDataProgress(handle) * entry->size));
}

u64 Walker::Position() const {
    const u64 notCounted = entry->id == 8 ? 6 : entry->id == 18 ? 2 : entry->id == 21 ? 4 : 0;
    return entry->offset + Consumed() + notCounted;
}

void Walker::Emit(size_t level, std::initializer_list<Cell> cells) {
    ++walk.rows[level];
    (*rowSink)(level, {cells.begin(), cells.size()});
    if (reader.options.progress && ++sinceProgress >= kRowsBetweenProgress) {
        sinceProgress = 0;
        reader.options.progress->SectionAt(Consumed());
    }
}

// ---- section 1 and 2

void Walker::TakeDefaults(const std::function<void(const FieldView&)>& take) {
    std::vector<SymFieldItem> items(kGroup);
    i32 result = SYM_MORE_DATA;
    while (result == SYM_MORE_DATA) {
        OwnedValues owned;
        i32 count = 0;
        result = tv_GetAgainSymData(handle, &count, items.data(), static_cast<i32>(items.size()));
        for (i32 at = 0; result != SYM_END_OF_DATA && result != SYM_ERR_FORMAT && at < count; ++at) {
            take(Take(items[static_cast<size_t>(at)], owned));
        }
    }
}

void Walker::DefaultFields() {
    walk.consumed += 4;
    for (const FieldView& field : reader.defaults) {
        Emit(0, {Number(field.id), Number(field.tag), Payload(field.tag, field.value)});
        walk.consumed += SizeInFile(field);
    }
}

struct Walker::Record {
    std::vector<SymFieldItem> items = std::vector<SymFieldItem>(kGroup);
    OwnedValues owned;
    std::vector<FieldView> fields;
    SymbolView view;
};

Walk Walker::Symbols(const SymbolSink& sink) {
    if (!Enter(2)) {
        return walk;
    }
    Record record;
    bool stopped = false;
    while (!stopped && ReadRecord(record, walk.consumed)) {
        ++walk.rows[0];
        walk.rows[1] += record.fields.size();
        stopped = !sink(record.view);
        if (reader.options.progress && ++sinceProgress >= kRowsBetweenProgress) {
            sinceProgress = 0;
            reader.options.progress->SectionAt(walk.consumed);
        }
        if (!record.view.complete) {
            return walk;
        }
    }
    if (!stopped) {
        Leave();
    }
    return walk;
}

// Reads the next record; `at` is where the section stands. A record that breaks off is delivered as far as it
// came, with a problem noted. False at the end, and when nothing at all could be taken.
bool Walker::ReadRecord(Record& record, u64& at) {
    record.owned.Clear();
    record.fields.clear();
    char* text = text1.For(reader.raw.fileSize);
    const i32 capacity = static_cast<i32>(record.items.size());
    i32 count = 0;
    i32 result = tv_GetNextSymData(handle, text, static_cast<i32>(text1.Size() - 1), &count,
                                   record.items.data(), capacity);
    const bool textRead = result != SYM_ERR_BUFFER_TOO_SMALL;
    for (;;) {
        // After these two results the values are not the caller's.
        for (i32 item = 0; result != SYM_END_OF_DATA && result != SYM_ERR_FORMAT && item < count; ++item) {
            record.fields.push_back(Take(record.items[static_cast<size_t>(item)], record.owned));
        }
        if (result != SYM_MORE_DATA) {
            break;
        }
        count = 0;
        result = tv_GetAgainSymData(handle, &count, record.items.data(), capacity);
    }
    const u64 now = Consumed();
    if (result == SYM_END_OF_DATA && now == at) {
        return false;
    }
    record.view.text = textRead ? std::string_view(text) : std::string_view();
    record.view.complete = result == SYM_OK;
    if (!record.view.complete) {
        walk.result = result;
    }
    record.view.marked = reader.options.filter.empty() || reader.defaults.empty();
    if (!textRead) {
        Note("the text of a symbol does not end within the file");
    } else if (!record.view.complete) {
        Note(fmt::format("symbol \"{}\": {}", record.view.text,
                         result == SYM_END_OF_DATA ? "the data ends inside its record" : ResultText(result)));
    }
    if (textRead && reader.options.filter.empty()) {
        MarkFields(record, now - at - 4 - (record.view.text.size() + 1));
    }
    record.view.fields = record.fields;
    at = now;
    return textRead;
}

// Behind the record's own bytes the defaults follow; in a record that broke off, items that stand for
// nothing.
void Walker::MarkFields(Record& record, u64 ownBytes) const {
    for (size_t at = 0; at < record.fields.size(); ++at) {
        FieldView& field = record.fields[at];
        if (ownBytes < 3) {
            if (!record.view.complete) {
                record.fields.resize(at);
            }
            for (; at < record.fields.size(); ++at) {
                record.fields[at].isDefault = true;
            }
            return;
        }
        const u64 size = SizeInFile(field);
        if (ownBytes < size) {
            field.cut = true;
            field.value = field.value.substr(0, ownBytes - 3);
        }
        ownBytes -= std::min(ownBytes, size);
    }
}

void Walker::SymbolRows() {
    Record record;
    while (ReadRecord(record, walk.consumed)) {
        Emit(0, {Bytes(record.view.text)});
        for (const FieldView& field : record.fields) {
            if (!field.isDefault) {
                Emit(1, {Number(field.id), Number(field.tag), Payload(field.tag, field.value)});
            }
        }
        if (!record.view.complete) {
            return;
        }
    }
}

// ---- tables of fixed records: 3, 4, 8

void Walker::JumpPrices() {
    std::vector<JumpPriceRecord> records(kGroup);
    for (;;) {
        u8 group = 0;
        i32 count = -1;
        i32 result = tv_GetNextJumpPriceGroup(handle, &group, &count, records.data(), kGroup);
        if (count < 0) {  // the end, or a group count of 0 with bytes behind it
            break;
        }
        Emit(0, {Number(group)});
        for (;;) {
            for (i32 at = 0; at < count; ++at) {
                const auto& record = records[static_cast<size_t>(at)];
                Emit(1, {RecordBytes(record.bytes)});
            }
            if (result != SYM_MORE_DATA) {
                break;
            }
            result = tv_GetAgainJumpPriceData(handle, &count, records.data(), kGroup);
        }
        if (result == SYM_ERR_FORMAT) {
            return Fail(result);
        }
    }
    walk.consumed = Consumed();
}

void Walker::BrokerInfo() {
    if (!Begun(tv_InitialSectionBorkerInfo(handle))) {
        return;
    }
    std::vector<BrokerInfoRecord> records(kGroup);
    i32 result = SYM_MORE_DATA;
    while (result == SYM_MORE_DATA) {
        i32 count = 0;
        result = tv_GetNextBrokerInfoGroup(handle, &count, records.data(), kGroup);
        for (i32 at = 0; at < count; ++at) {
            const auto& record = records[static_cast<size_t>(at)];
            Emit(0, {RecordBytes(record.bytes)});
        }
    }
    walk.consumed = Consumed();
}

void Walker::Level2Sections() {
    std::vector<SectionL2Item> items(kGroup);
    walk.consumed = 0;
    for (;;) {
        u8 group = 0;
        i32 count = -1;
        i32 result = tv_GetNextSectionL2Group(handle, &group, &count, items.data(), kGroup);
        if (count < 0) {
            break;
        }
        Emit(0, {Number(group)});
        for (;;) {
            for (i32 at = 0; at < count; ++at) {
                const SectionL2Item& item = items[static_cast<size_t>(at)];
                Emit(1, {Number(item.leadByte), Bytes(View(item.text1)), Bytes(View(item.text2))});
                if (!item.text1 || !item.text2) {
                    Note("the data ends inside a text, or the text is longer than readers take");
                }
            }
            if (result != SYM_MORE_DATA) {
                break;
            }
            result = tv_GetAgainSectionL2Data(handle, &count, items.data(), kGroup);
        }
        if (result == SYM_ERR_FORMAT) {
            return Fail(result);
        }
    }
    walk.consumed = Consumed();
}

// ---- flat sections: 6, 7, the directories, 11, 16, 17

// One call delivers one field. A new group has no result of its own: its head takes bytes beyond the field's.
void Walker::QuickGroups() {
    i32 result = tv_InitialSection6(handle);
    if (result != SYM_OK) {
        Begun(result);
        return;
    }
    char* value = text1.For(std::max<u64>(reader.raw.fileSize, 8));
    for (;;) {
        const u64 before = Consumed();
        const char* group = "";
        i32 count = 0;
        SymFieldBuffer field = {0, 0, value, text1.Size(), 0};
        result = tv_GetNextEidrQuickGroup(handle, &group, &count, &field, 1);
        if (count == 1) {
            if (Consumed() - before != 3 + u64{field.size}) {
                Emit(0, {Bytes(View(group))});
            }
            const u32 size = field.size - (field.tag == kTextTag ? 1 : 0);
            Emit(1, {Number(field.id), Number(field.tag), Payload(field.tag, {value, size})});
        }
        if (result != SYM_MORE_DATA) {
            break;
        }
    }
    if (result != SYM_OK && result != SYM_END_OF_DATA) {
        return Fail(result);
    }
    walk.consumed = Consumed();
}

void Walker::EidrSections() {
    i32 result = tv_InitialSection7(handle);
    if (result != SYM_OK) {
        Begun(result);
        return;
    }
    EidrSectionItem item = {};
    item.text1 = text1.For(reader.raw.fileSize);
    item.text1Size = text1.Size();
    item.text2 = text2.For(reader.raw.fileSize);
    item.text2Size = text2.Size();
    for (;;) {
        i32 count = 0;
        result = tv_GetNextEidrSectionGroup(handle, &count, &item, 1);
        if (count == 1) {
            Emit(0, {Number(item.id), Bytes(View(item.text1)), Bytes(View(item.text2))});
        }
        if (result != SYM_MORE_DATA) {
            break;
        }
    }
    if (result != SYM_OK && result != SYM_END_OF_DATA) {
        return Fail(result);
    }
    walk.consumed = Consumed();
}

void Walker::Directory() {
    const auto* calls = std::find_if(std::begin(kDirectories), std::end(kDirectories),
                                     [&](const DirectoryCalls& one) { return one.id == section->id; });
    if (!Begun(calls->initial(handle))) {
        return;
    }
    char* name = text1.For(reader.raw.fileSize);
    i32 result = SYM_MORE_DATA;
    while (result == SYM_MORE_DATA) {
        i32 count = 0;
        u32 id = 0;
        result = calls->next(handle, &count, &id, &name, text1.Size());
        if (count == 1) {
            Emit(0, {Number(id), Bytes(View(name))});
        }
    }
    if (result != SYM_OK && result != SYM_END_OF_DATA) {
        return Fail(result);
    }
    walk.consumed = Consumed();
}

void Walker::SectionGroups() {
    if (!Begun(tv_InitializeSection11(handle))) {
        return;
    }
    std::array<u8, 256> bytes = {};  // one more than the longest group: each call delivers a whole one
    u8* members = bytes.data();
    i32 result = SYM_MORE_DATA;
    while (result == SYM_MORE_DATA) {
        u8 group = 0;
        i32 count = 0;
        result = tv_GetNextSectionGroup(handle, &group, &count, &members, static_cast<i32>(bytes.size()));
        if (result == SYM_OK || result == SYM_MORE_DATA || count > 0) {
            std::array<u16, 256> list = {};
            std::copy_n(bytes.begin(), count, list.begin());
            Emit(0, {Number(group), List(list.data(), static_cast<size_t>(count))});
        }
    }
    if (result != SYM_OK && result != SYM_END_OF_DATA) {
        return Fail(result);
    }
    walk.consumed = Consumed();
}

void Walker::Exchanges() {
    if (!Begun(tv_InitialExchangeSection(handle))) {
        return;
    }
    char* first = text1.For(reader.raw.fileSize);
    char* second = text2.For(reader.raw.fileSize);
    const i32 limit = static_cast<i32>(text1.Size() - 1);
    i32 result = SYM_MORE_DATA;
    while (result == SYM_MORE_DATA) {
        u32 id = 0;
        result = tv_GetNextExchange(handle, &id, first, limit, second, limit);
        if (result == SYM_OK || result == SYM_MORE_DATA) {
            Emit(0, {Number(id), Bytes(View(first)), Bytes(View(second))});
        }
    }
    if (result != SYM_OK && result != SYM_END_OF_DATA) {
        return Fail(result);
    }
    walk.consumed = Consumed();
}

void Walker::RealDelay() {
    if (!Begun(tv_InitialRealDelayMappingSection(handle))) {
        return;
    }
    i32 result = SYM_OK;
    while (result == SYM_OK) {
        u8 first = 0;
        u8 second = 0;
        result = tv_GetNextRealDelayMapping(handle, &first, &second);
        if (result == SYM_OK) {
            Emit(0, {Number(first), Number(second)});
        }
    }
    if (result != SYM_END_OF_DATA) {
        return Fail(result);
    }
    walk.consumed = Consumed();
}

// ---- nested sections: 13, 14, 15

void Walker::Objects() {
    if (!Begun(tv_InitialObjectSection(handle))) {
        return;
    }
    for (;;) {
        const u64 before = Consumed();
        u16 type = 0;
        u16 sources = 0;
        const i32 result = tv_GetNextObjectTypeID(handle, &type, &sources);
        if (result == SYM_ERR_READ) {
            return Fail(result);
        }
        CheckSkipped(before, result == SYM_MORE_DATA ? 8 : 0, "type block");
        if (result != SYM_MORE_DATA) {
            break;
        }
        Emit(0, {Number(type)});
        if (!ObjectSources(sources)) {
            return;
        }
    }
    walk.consumed = Consumed();
}

bool Walker::ObjectSources(u16 announced) {
    for (u32 at = 0;; ++at) {
        const char* source = nullptr;
        u16 symbols = 0;
        const i32 result = tv_GetNextObjectSourceSym(handle, &source, &symbols);
        if (result == SYM_ERR_READ) {
            Fail(result);
            return false;
        }
        if (result != SYM_MORE_DATA) {
            if (at < announced) {
                Note(fmt::format("the type block ends behind {} of {} source symbols", at, announced));
            }
            return true;
        }
        Emit(1, {Bytes(View(source))});
        if (!ObjectSymbols(symbols)) {
            return false;
        }
    }
}

bool Walker::ObjectSymbols(u16 announced) {
    for (u32 at = 0;; ++at) {
        u8 byte = 0;
        const char* symbol = nullptr;
        u8 data = 0;
        const i32 result = tv_GetNextObjectSym(handle, &byte, &symbol, &data);
        if (result == SYM_ERR_READ) {
            Fail(result);
            return false;
        }
        if (result != SYM_MORE_DATA) {
            if (at < announced) {
                Note(fmt::format("the type block ends behind {} of {} symbols", at, announced));
            }
            return true;
        }
        Emit(2, {Number(byte), Bytes(View(symbol))});
        if (!ObjectData(data)) {
            return false;
        }
    }
}

bool Walker::ObjectData(u8 announced) {
    for (u32 at = 0;; ++at) {
        u8 byte = 0;
        const char* data = nullptr;
        const i32 result = tv_GetNextObjectData(handle, &byte, &data);
        if (result == SYM_ERR_READ) {
            Fail(result);
            return false;
        }
        if (result != SYM_MORE_DATA) {
            if (at < announced) {
                Note(fmt::format("the type block ends behind {} of {} data records", at, announced));
            }
            return true;
        }
        Emit(3, {Number(byte), Bytes(View(data))});
    }
}

void Walker::ForeignTrade() {
    if (!Begun(tv_InitialForeignTradeSection(handle))) {
        return;
    }
    for (;;) {
        const u64 before = Consumed();
        ForeignTradeHead head = {};
        const i32 result = tv_GetNextForeignTradeHead(handle, &head);
        if (result == SYM_ERR_READ) {
            return Fail(result);
        }
        CheckSkipped(before, result == SYM_OK ? 6 + View(head.name).size() + 1 : 0, "head's body");
        if (result != SYM_OK) {
            break;
        }
        Emit(0, {Number(head.id), Bytes(View(head.name))});
        if (!ForeignTradeItems()) {
            return;
        }
    }
    walk.consumed = Consumed();
}

bool Walker::ForeignTradeItems() {
    std::array<const char*, kGroup> names = {};
    for (;;) {
        u8 tag = 0;
        u32 count = UINT32_MAX;
        i32 result = tv_GetForeignTrade(handle, &tag, names.data(), &count, kGroup);
        if (result == SYM_END_OF_DATA) {
            return true;
        }
        if (count != UINT32_MAX) {
            Emit(1, {Number(tag)});
        }
        for (;;) {
            for (u32 at = 0; count != UINT32_MAX && at < count; ++at) {
                Emit(2, {Bytes(View(names.at(at)))});
            }
            if (result != SYM_MORE_DATA) {
                break;
            }
            result = tv_GetNextForeignTrade(handle, names.data(), &count, kGroup);
        }
        if (result == SYM_ERR_READ) {
            Fail(result);
            return false;
        }
    }
}

void Walker::GlobalRelated() {
    if (!Begun(tv_InitialGlobalRelatedSection(handle))) {
        return;
    }
    for (;;) {
        const u64 before = Consumed();
        u16 id = 0;
        const i32 result = tv_GetNextGlobalReleatedHead(handle, &id);
        if (result == SYM_ERR_READ) {
            return Fail(result);
        }
        CheckSkipped(before, result == SYM_OK ? 6 : 0, "head's body");
        if (result != SYM_OK) {
            break;
        }
        Emit(0, {Number(id)});
        if (!GlobalRelatedLists()) {
            return;
        }
    }
    walk.consumed = Consumed();
}

bool Walker::GlobalRelatedLists() {
    std::array<GlobalRelatedItem, kGroup> items = {};  // more than the longest list
    for (;;) {
        u8 size = 0;
        u32 count = UINT32_MAX;
        const i32 result = tv_GetGlobalReleated(handle, &size, items.data(), &count, kGroup);
        if (result == SYM_END_OF_DATA) {
            return true;
        }
        if (count != UINT32_MAX) {
            Emit(1, {});
        }
        for (u32 at = 0; count != UINT32_MAX && at < count; ++at) {
            Emit(2, {Number(items.at(at).tag), Bytes(View(items.at(at).name))});
        }
        if (result == SYM_ERR_READ) {
            Fail(result);
            return false;
        }
    }
}

// ---- preloaded sections: 18, 21

void Walker::Level2Definitions() {
    const i32 initial = tv_InitialLevel2EODBasicItemDefineSection(handle);
    if (initial < 0) {
        Fail(initial);
    } else {
        walk.consumed = Consumed() + 2;
    }
    constexpr u32 kLongest = UINT16_MAX;
    std::vector<u16> first(kLongest);
    std::vector<u16> second(kLongest);
    std::vector<u16> third(kLongest);
    u16 id = 0;
    u16 firstCount = 0;
    u16 secondCount = 0;
    u16 thirdCount = 0;
    while (tv_GetNextLevel2EODBasicItemDefine(handle, &id, &firstCount, first.data(), kLongest, &secondCount,
                                              second.data(), kLongest, &thirdCount, third.data(),
                                              kLongest) == SYM_OK) {
        Emit(0, {Number(id), List(first.data(), firstCount), List(second.data(), secondCount),
                 List(third.data(), thirdCount)});
    }
}

void Walker::ExchangeSupport() {
    const i32 initial = tv_InitialExchangeSupportSection(handle);
    if (initial < 0) {
        Fail(initial);
    } else {
        walk.consumed = Consumed() + 4;
    }
    constexpr u32 kLongest = UINT16_MAX;
    std::vector<u16> items(kLongest);
    u16 id = 0;
    u16 count = 0;
    while (tv_GetNextExchangeSupportSection(handle, &id, &count, items.data(), kLongest) == SYM_OK) {
        Emit(0, {Number(id), List(items.data(), count)});
    }
}

Walk Walker::Section(u16 id, const RowSink& sink) {
    if (!Enter(id)) {
        return walk;
    }
    rowSink = &sink;
    switch (id) {
        case 1:
            DefaultFields();
            break;
        case 2:
            SymbolRows();
            break;
        case 3:
            JumpPrices();
            break;
        case 4:
            BrokerInfo();
            break;
        case 6:
            QuickGroups();
            break;
        case 7:
            EidrSections();
            break;
        case 8:
            Level2Sections();
            break;
        case 11:
            SectionGroups();
            break;
        case 13:
            Objects();
            break;
        case 14:
            ForeignTrade();
            break;
        case 15:
            GlobalRelated();
            break;
        case 16:
            Exchanges();
            break;
        case 17:
            RealDelay();
            break;
        case 18:
            Level2Definitions();
            break;
        case 21:
            ExchangeSupport();
            break;
        default:
            Directory();
    }
    Leave();
    return walk;
}

}  // namespace tvsym
