#include "reference/PlainReader.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <new>

namespace plain {

namespace {

// Payload bytes of a field in the file, and bytes of the block that a caller gets for it. A text has neither.
constexpr uint32_t kPayload[10] = {0, 1, 1, 4, 2, 4, 8, 0, 4, 3};
constexpr uint32_t kBlock[10] = {0, 1, 1, 4, 2, 4, 8, 0, 11, 9};
constexpr uint8_t kTextTag = 7;
constexpr uint64_t kMinimumPerCall = 102400;

bool HasValue(uint8_t tag) { return tag >= 1 && tag <= 9; }

// `text` includes its zero byte. A text that does not fit leaves an empty one, where there is room for that.
bool BoundedCopy(char* target, uint32_t size, const std::string& text) {
    if (target == nullptr || size == 0) return false;
    if (text.size() > size) {
        target[0] = 0;
        return false;
    }
    memcpy(target, text.data(), text.size());
    return true;
}

template <typename Element>
bool NoArray(const Element* array, int64_t capacity) {
    return array == nullptr && capacity > 0;
}

template <typename Element>
void Clear(Element* array, int32_t capacity) {
    for (int32_t i = 0; i < capacity; ++i) array[i] = Element{};
}

}  // namespace

char* Arena::Place(const std::string& value) {
    if (!Fits(value)) return nullptr;
    bytes.push_back(0);
    bytes += value;
    return bytes.data() + (bytes.size() - value.size());
}

bool Arena::Holds(const void* pointer) const {
    const auto* p = static_cast<const char*>(pointer);
    const std::less_equal<> notAfter;
    return size > 0 && notAfter(bytes.data(), p) && notAfter(p, bytes.data() + size);
}

// Byte source

uint32_t PlainReader::Read(void* target, uint32_t n) {
    uint32_t got = 0;
    if (Fails(n)) return 0;
    while (got < n && position < file.size())
        static_cast<uint8_t*>(target)[got++] = file[static_cast<size_t>(position++)];
    return got;
}

// Over the end a skip fails in memory mode and succeeds in file mode; there it fails at the first bad byte.
bool PlainReader::SkipBytes(uint32_t n, bool& metEnd) {
    const uint64_t left = position < file.size() ? file.size() - position : 0;
    const uint64_t steps = std::min<uint64_t>(left, n);
    metEnd = left < n;
    if (!inMemory && badBegin < badEnd && position < badEnd && position + steps > badBegin) {
        position = std::max(position, badBegin);
        return false;
    }
    position += steps;
    return !metEnd || !inMemory;
}

// `text` takes the bytes that came, the zero byte included. Turns without a byte count as the others do;
// since no further byte will come they are counted at once.
int32_t PlainReader::ReadText(std::string& text, int64_t max, uint32_t& length) {
    text.clear();
    length = 0;
    if (max < 0) return SYM_ERR_BUFFER_TOO_SMALL;
    for (int64_t i = 0; i <= max; ++i) {
        char byte;
        if (Read(&byte, 1) != 1) break;
        text.push_back(byte);
        if (byte != 0) continue;
        length = static_cast<uint32_t>(i + 1);
        return SYM_OK;
    }
    length = static_cast<uint32_t>(max + 1);
    return SYM_ERR_BUFFER_TOO_SMALL;
}

int32_t PlainReader::ReadTextTo(char* target, int32_t max, uint32_t& length) {
    std::string text;
    const int32_t result = ReadText(text, max, length);
    if (target != nullptr) std::copy(text.begin(), text.end(), target);
    return result;
}

// Directory

void PlainReader::LoadDirectory() {
    uint16_t sectionCount = 0;
    if (!ReadAll(&sectionCount, 2)) return;
    for (uint32_t i = 0; i < sectionCount; ++i) {
        uint8_t raw[10] = {};
        if (Read(raw, 10) == 0) continue;
        SectionEntry entry;
        memcpy(&entry.id, raw, 2);
        memcpy(&entry.offset, raw + 2, 4);
        memcpy(&entry.size, raw + 6, 4);
        directory.push_back(entry);
        if (entry.id != 1 && entry.id != 2) ++extendCount;
    }
}

bool PlainReader::SeekSection(uint16_t id) {
    const auto entry = std::find_if(directory.begin(), directory.end(),
                                    [id](const SectionEntry& candidate) { return candidate.id == id; });
    if (entry == directory.end()) return false;
    if (!inMemory || entry->offset <= file.size()) position = entry->offset;
    uint16_t found = 0;
    Read(&found, 2);
    if (found != id) return false;
    sectionId = id;
    sectionSize = entry->size;
    sectionConsumed = 2;
    return true;
}

int32_t PlainReader::GetExtendSectionList(uint32_t* list, int32_t capacity) const {
    const auto total = static_cast<int32_t>(extendCount);
    if (list == nullptr || capacity == 0 || total == 0) return total;
    if (capacity < total) return SYM_ERR_BUFFER_TOO_SMALL;
    for (const SectionEntry& entry : directory) {
        if (entry.id != 1 && entry.id != 2) *list++ = entry.id;
    }
    return total;
}

// Typed fields

int64_t PlainReader::ReadField(Field& field, int64_t max) {
    field = Field();
    uint8_t header[3];
    const uint32_t got = Read(header, 3);
    if (got < 3) return got;
    memcpy(&field.id, header, 2);
    field.tag = header[2];
    if (field.tag == kTextTag) {
        uint32_t length;
        const int32_t result = ReadText(field.value, max, length);
        field.taken = 3 + static_cast<int64_t>(field.value.size());
        field.size = result == SYM_OK ? length : static_cast<int64_t>(length) + 3;
        return result == SYM_OK ? field.size + 3 : result;
    }
    if (HasValue(field.tag)) {
        field.value.resize(kPayload[field.tag]);
        field.value.resize(Read(field.value.data(), kPayload[field.tag]));
    }
    field.size = static_cast<int64_t>(field.value.size());
    field.taken = field.size + 3;
    if (field.size > max) {
        field.size += 3;
        return SYM_ERR_BUFFER_TOO_SMALL;
    }
    return field.taken;
}

uint32_t PlainReader::SkipField() {
    uint8_t header[3];
    uint32_t taken = Read(header, 3);
    if (taken < 3 || !HasValue(header[2])) return taken;
    uint8_t scratch[8];
    if (header[2] != kTextTag) return taken + Read(scratch, kPayload[header[2]]);
    while (Read(scratch, 1) == 1) {
        ++taken;
        if (scratch[0] == 0) break;
    }
    return taken;
}

// `payload` is what the value takes of its section.
int32_t PlainReader::ReadFieldValue(SymFieldBuffer* target, uint32_t& payload) {
    payload = 0;
    const uint8_t tag = target->tag;
    if (!HasValue(tag)) return SYM_OK;
    if (tag == kTextTag) {
        perCall.Reset();
        std::string text;
        uint32_t length;
        if (ReadText(text, perCall.TextMax(), length) != SYM_OK) return SYM_ERR_READ;
        payload = length;
        if (!BoundedCopy(static_cast<char*>(target->value), target->capacity, text)) return SYM_ERR_PARAM;
    } else {
        uint8_t scratch[8] = {};
        payload = kPayload[tag];
        Read(scratch, payload);
        if (target->value == nullptr) return SYM_ERR_PARAM;
        memcpy(target->value, scratch, payload);
    }
    target->size = payload;
    return SYM_OK;
}

// Open and the default fields

int32_t PlainReader::Open(uint32_t memoryBudget, const uint16_t* fieldIds, uint32_t fieldIdCount) {
    fieldIdCount &= 0xFFFF;
    if (fieldIdCount != 0 && fieldIds == nullptr) return SYM_ERR_PARAM;
    for (uint32_t i = 0; i < fieldIdCount; ++i) filterIds.push_back(fieldIds[i]);
    LoadDirectory();
    uint64_t need = 0;
    if (!LoadDefaultFields(false, need)) return SYM_ERR_OPEN;
    if (need + kMinimumPerCall >= memoryBudget) return SYM_ERR_PARAM;
    defaults.Init(need);
    perCall.Init(memoryBudget - need);
    uint64_t stored = 0;
    return LoadDefaultFields(true, stored) && stored == need ? SYM_OK : SYM_ERR_OPEN;
}

// False: the section holds less than it says, or a text without its end.
bool PlainReader::LoadDefaultFields(bool store, uint64_t& need) {
    need = 0;
    if (!SeekSection(1)) return true;
    uint32_t fieldBytes = 0;
    if (Read(&fieldBytes, 4) == 0) return true;
    uint64_t walked = 0;
    uint64_t fields = 0;
    while (walked < fieldBytes) {
        int64_t taken;
        if (store) {
            Field field;
            taken = ReadField(field, defaults.TextMax());
            if (taken > 0) table.push_back({field.id, field.tag, defaults.Place(field.value), false});
        } else {
            taken = SkipField();
        }
        if (taken <= 0) return false;
        ++fields;
        walked += static_cast<uint64_t>(taken);
    }
    need = walked + 14 * fields + 4;
    return true;
}

// Section 2: symbols

bool PlainReader::Wanted(uint16_t id) const {
    return filterIds.empty() || std::find(filterIds.begin(), filterIds.end(), id) != filterIds.end();
}

void PlainReader::MarkSeen(uint16_t id) {
    for (DefaultField& entry : table) {
        if (entry.id != id) continue;
        entry.seen = true;
        return;
    }
}

int32_t PlainReader::GetNextSymData(char* text, int32_t textMax, int32_t* count, SymFieldItem* items,
                                    int32_t maxItems) {
    if (count == nullptr || maxItems < 0 || NoArray(items, maxItems)) return SYM_ERR_PARAM;
    if (text == nullptr && textMax >= 0) return SYM_ERR_PARAM;
    bool found = true;
    if (sectionId != 2) {
        recordSize = recordConsumed = 0;
        found = SeekSection(2);
    }
    if (AtEnd() || Exhausted()) return SYM_END_OF_DATA;
    if (!found) return SYM_OK;
    Read(&recordSize, 4);
    sectionConsumed += 4;
    uint32_t length;
    if (ReadTextTo(text, textMax, length) != SYM_OK) return SYM_ERR_BUFFER_TOO_SMALL;
    recordConsumed += length;
    sectionConsumed += length;
    return HandOver(ReadSymFields(count, items, maxItems), items, maxItems);
}

int32_t PlainReader::GetAgainSymData(int32_t* count, SymFieldItem* items, int32_t maxItems) {
    if (count == nullptr || maxItems < 0 || NoArray(items, maxItems)) return SYM_ERR_PARAM;
    return HandOver(ReadSymFields(count, items, maxItems), items, maxItems);
}

double PlainReader::GetSymDataProgress() const {
    return sectionSize == 0 ? 0.0 : static_cast<double>(sectionConsumed) / static_cast<double>(sectionSize);
}

int32_t PlainReader::ReadSymFields(int32_t* count, SymFieldItem* items, int32_t maxItems) {
    *count = 0;
    Clear(items, maxItems);
    if (!defaultsPhase) {
        int32_t result = SYM_OK;
        perCall.Reset();
        if (AtEnd() || Exhausted()) {
            result = SYM_END_OF_DATA;
        } else if (recordSize > sectionSize || recordConsumed > sectionSize) {
            result = SYM_ERR_FORMAT;
        } else if (maxItems > 0) {
            while (ReadOwnFields(count, items, maxItems, result)) {
            }
        }
        if (recordConsumed > recordSize) return SYM_ERR_FORMAT;
        if (result == SYM_ERR_BUFFER_TOO_SMALL) return result;
        if (recordConsumed < recordSize) return result == SYM_OK ? SYM_MORE_DATA : result;
        defaultsPhase = true;
        recordSize = recordConsumed = 0;
    }
    return AppendDefaults(count, items, maxItems);
}

// One field of the record. False stops the loop.
bool PlainReader::ReadOwnFields(int32_t* count, SymFieldItem* items, int32_t maxItems, int32_t& result) {
    if (recordConsumed >= recordSize || sectionConsumed >= sectionSize) return false;
    const bool wasEmpty = perCall.Empty();
    Field field;
    const int64_t taken = ReadField(field, perCall.TextMax());
    const bool wanted = Wanted(field.id);
    if (taken == SYM_ERR_BUFFER_TOO_SMALL || (wanted && !perCall.Fits(field.value))) {
        const bool cutOff = taken < 0 && field.taken < field.size;
        if (wasEmpty) {
            result = SYM_ERR_BUFFER_TOO_SMALL;
        } else if (!cutOff) {
            StepBack(static_cast<uint64_t>(taken < 0 ? field.size : taken));
        }
        return false;
    }
    recordConsumed += static_cast<uint32_t>(taken);
    sectionConsumed += static_cast<uint32_t>(taken);
    if (taken < 3 && !wanted) {
        result = SYM_END_OF_DATA;
        return false;
    }
    MarkSeen(field.id);
    if (wanted) items[(*count)++] = {field.id, field.tag, perCall.Place(field.value)};
    return *count < maxItems;
}

int32_t PlainReader::AppendDefaults(int32_t* count, SymFieldItem* items, int32_t maxItems) {
    if (*count == maxItems) return SYM_MORE_DATA;
    while (!table.empty()) {
        const DefaultField& entry = table[tableCursor];
        if (!entry.seen && Wanted(entry.id)) items[(*count)++] = {entry.id, entry.tag, entry.value};
        if (++tableCursor == table.size()) {
            tableCursor = 0;
            break;
        }
        if (*count >= maxItems) return SYM_MORE_DATA;
    }
    defaultsPhase = false;
    for (DefaultField& entry : table) entry.seen = false;
    return SYM_OK;
}

// A block of fixed size may be longer than its value: the arena's next bytes follow, and 0 after those in
// use.
void* PlainReader::CopyFieldValue(const SymFieldItem& item) const {
    if (!HasValue(item.tag) || item.value == nullptr) return nullptr;
    const char* value = static_cast<const char*>(item.value);
    const size_t size = item.tag == kTextTag ? strlen(value) + 1 : kBlock[item.tag];
    const Arena& arena = defaults.Holds(value) ? defaults : perCall;
    auto* block = new (std::nothrow) uint8_t[size]();
    if (block == nullptr) return nullptr;
    const auto inUse = static_cast<size_t>(arena.bytes.data() + arena.bytes.size() - value);
    memcpy(block, value, std::min(size, inUse));
    return block;
}

int32_t PlainReader::HandOver(int32_t result, SymFieldItem* items, int32_t maxItems) const {
    if (result == SYM_END_OF_DATA || result == SYM_ERR_FORMAT) return result;
    for (int32_t i = 0; i < maxItems; ++i) items[i].value = CopyFieldValue(items[i]);
    return result;
}

// Section 3: jump prices

int32_t PlainReader::GetNextJumpPriceGroup(uint8_t* groupId, int32_t* count, JumpPriceRecord* records,
                                           int32_t capacity) {
    if (groupId == nullptr || count == nullptr || NoArray(records, capacity)) return SYM_ERR_PARAM;
    bool found = true;
    if (sectionId != 3) {
        jumpGroupCount = 0;
        jumpRecordCount = jumpRecordIndex = 0;
        found = SeekSection(3);
        Read(&recordSize, 4);
        Read(&jumpGroupCount, 1);
        sectionConsumed += 5;
    }
    if (AtEnd() || Exhausted()) return SYM_END_OF_DATA;
    if (!found || jumpGroupCount == 0) return SYM_OK;
    Read(groupId, 1);
    Read(&jumpRecordCount, 2);
    sectionConsumed += 3;
    return GetAgainJumpPriceData(count, records, capacity);
}

int32_t PlainReader::GetAgainJumpPriceData(int32_t* count, JumpPriceRecord* records, int32_t capacity) {
    if (count == nullptr || NoArray(records, capacity)) return SYM_ERR_PARAM;
    *count = 0;
    Clear(records, capacity);
    perCall.Reset();
    if (AtEnd() || Exhausted()) return SYM_END_OF_DATA;
    while (jumpRecordIndex < jumpRecordCount) {
        if (*count >= capacity) return SYM_MORE_DATA;
        Read(records[(*count)++].bytes, 24);
        sectionConsumed += 24;
        if (sectionConsumed > sectionSize) return SYM_ERR_FORMAT;
        if (AtEnd()) return SYM_MORE_DATA;
        ++jumpRecordIndex;
    }
    if (jumpRecordIndex != jumpRecordCount) return SYM_MORE_DATA;
    jumpRecordIndex = jumpRecordCount = 0;
    return SYM_OK;
}

// Section 4: broker info

int32_t PlainReader::BeginSection(uint16_t id) {
    if (!SeekSection(id)) return SYM_ERR_NO_SECTION;
    if (!ReadAll(&recordSize, 4)) return SYM_ERR_READ;
    sectionConsumed += 4;
    return SYM_OK;
}

int32_t PlainReader::InitialSectionBorkerInfo() {
    const int32_t result = BeginSection(4);
    if (result != SYM_OK) return result;
    uint16_t records = 0;
    if (!ReadAll(&records, 2)) return SYM_ERR_READ;
    sectionConsumed += 2;
    brokerRecordCount = records;
    brokerRecordIndex = 0;
    return Begun(records);
}

int32_t PlainReader::GetNextBrokerInfoGroup(int32_t* count, BrokerInfoRecord* records, int32_t capacity) {
    if (count == nullptr || NoArray(records, capacity) || *count < 0) return SYM_ERR_PARAM;
    Clear(records, capacity);
    if (Exhausted() || AtEnd() || brokerRecordCount <= brokerRecordIndex) return SYM_END_OF_DATA;
    while (*count < capacity) {
        Read((records++)->bytes, 30);
        sectionConsumed += 30;
        ++*count;
        if (AtEnd()) return SYM_MORE_DATA;
        if (++brokerRecordIndex < brokerRecordCount) continue;
        brokerRecordIndex = brokerRecordCount = 0;
        return SYM_OK;
    }
    return SYM_MORE_DATA;
}

// Section 6: Eidr quick groups

int32_t PlainReader::InitialSection6() {
    const int32_t result = BeginSection(6);
    if (result != SYM_OK) return result;
    quickBytesTotal = recordSize;
    quickBytesRead = 0;
    quickGroupBytes = quickGroupBytesRead = 0;
    return Begun(SYM_OK);
}

void PlainReader::CountQuick(uint32_t n) {
    sectionConsumed += n;
    quickBytesRead += n;
    quickGroupBytesRead = static_cast<uint16_t>(quickGroupBytesRead + n);
}

int32_t PlainReader::QuickGroupHead() {
    Read(&quickGroupBytes, 2);
    sectionConsumed += 2;
    quickBytesRead += 2;
    perCall.Reset();
    std::string text;
    uint32_t length;
    if (ReadText(text, perCall.TextMax(), length) != SYM_OK) return SYM_ERR_READ;
    if (!BoundedCopy(quickGroupName, sizeof quickGroupName, text)) return SYM_ERR_PARAM;
    CountQuick(length);
    return SYM_OK;
}

int32_t PlainReader::GetNextEidrQuickGroup(const char** name, int32_t* count, SymFieldBuffer* target,
                                           int32_t capacity) {
    if (name == nullptr || count == nullptr || target == nullptr) return SYM_ERR_PARAM;
    if (AtEnd() || Exhausted()) return SYM_END_OF_DATA;
    if (*count >= capacity) return SYM_MORE_DATA;
    if (quickGroupBytesRead > quickGroupBytes) return SYM_ERR_FORMAT;
    if (quickGroupBytesRead == quickGroupBytes) quickGroupBytesRead = 0;
    if (quickGroupBytesRead == 0) {
        const int32_t result = QuickGroupHead();
        if (result != SYM_OK) return result;
    }
    *name = quickGroupName;
    uint16_t id = target->id;
    Read(&id, 2);
    target->id = id;
    Read(&target->tag, 1);
    CountQuick(3);
    target->size = 0;
    uint32_t payload;
    const int32_t result = ReadFieldValue(target, payload);
    if (result == SYM_ERR_READ) return result;
    CountQuick(payload);
    const bool last = quickBytesRead == quickBytesTotal;
    const bool past = quickBytesRead > quickBytesTotal;
    if (last) {
        quickBytesRead = 0;
        quickGroupBytesRead = 0;
    }
    if (result != SYM_OK) return result;
    target->capacity = target->size;
    ++*count;
    if (last) return SYM_OK;
    return past ? SYM_ERR_FORMAT : SYM_MORE_DATA;
}

// Section 7: Eidr sections

int32_t PlainReader::InitialSection7() {
    const int32_t result = BeginSection(7);
    if (result != SYM_OK) return result;
    eidrSectionBytesTotal = recordSize;
    eidrSectionBytesRead = 0;
    return Begun(SYM_OK);
}

// A text on its way through the arena into a caller's buffer; counted once it is there.
int32_t PlainReader::CopyTextTo(char* target, uint32_t size, uint32_t& counter) {
    perCall.Reset();
    std::string text;
    uint32_t length;
    if (ReadText(text, perCall.TextMax(), length) != SYM_OK) return SYM_ERR_READ;
    if (!BoundedCopy(target, size, text)) return SYM_ERR_PARAM;
    sectionConsumed += length;
    counter += length;
    return SYM_OK;
}

int32_t PlainReader::GetNextEidrSectionGroup(int32_t* count, EidrSectionItem* target, int32_t capacity) {
    if (count == nullptr || target == nullptr) return SYM_ERR_PARAM;
    if (AtEnd() || Exhausted()) return SYM_END_OF_DATA;
    if (*count >= capacity) return SYM_MORE_DATA;
    uint16_t id = target->id;
    Read(&id, 2);
    target->id = id;
    sectionConsumed += 2;
    eidrSectionBytesRead += 2;
    int32_t result = CopyTextTo(target->text1, target->text1Size, eidrSectionBytesRead);
    if (result != SYM_OK) return result;
    result = CopyTextTo(target->text2, target->text2Size, eidrSectionBytesRead);
    if (result != SYM_OK) return result;
    ++*count;
    if (eidrSectionBytesRead > eidrSectionBytesTotal) return SYM_ERR_FORMAT;
    if (eidrSectionBytesRead < eidrSectionBytesTotal) return SYM_MORE_DATA;
    eidrSectionBytesRead = 0;
    return SYM_OK;
}

// Section 8: level-2 sections

int32_t PlainReader::GetNextSectionL2Group(uint8_t* groupId, int32_t* count, SectionL2Item* records,
                                           int32_t capacity) {
    if (groupId == nullptr || count == nullptr || NoArray(records, capacity)) return SYM_ERR_PARAM;
    bool found = true;
    if (sectionId != 8) {
        found = SeekSection(8);
        Read(&recordSize, 4);
        sectionConsumed = 0;
        l2ItemCount = l2ItemIndex = 0;
    }
    if (AtEnd() || Exhausted()) return SYM_END_OF_DATA;
    if (!found) return SYM_OK;
    if (l2ItemCount == l2ItemIndex) {
        l2ItemIndex = 0;
        Read(&l2GroupId, 1);
        Read(&l2ItemCount, 1);
        sectionConsumed += 2;
    }
    *groupId = l2GroupId;
    return GetAgainSectionL2Data(count, records, capacity);
}

int32_t PlainReader::GetAgainSectionL2Data(int32_t* count, SectionL2Item* records, int32_t capacity) {
    if (count == nullptr || NoArray(records, capacity)) return SYM_ERR_PARAM;
    *count = 0;
    Clear(records, capacity);
    perCall.Reset();
    if (AtEnd() || Exhausted()) return SYM_END_OF_DATA;
    while (l2ItemIndex < l2ItemCount) {
        if (*count >= capacity) return SYM_MORE_DATA;
        const uint32_t consumedBefore = sectionConsumed;
        const size_t usedBefore = perCall.bytes.size();
        SectionL2Item item = {};
        uint64_t taken = Read(&item.leadByte, 1);
        ++sectionConsumed;
        const char* text1 = nullptr;
        const char* text2 = nullptr;
        if (!ReadL2Text(text1, usedBefore > 0, taken) || !ReadL2Text(text2, usedBefore > 0, taken)) {
            StepBack(taken);
            sectionConsumed = consumedBefore;
            perCall.bytes.resize(usedBefore);
            return SYM_MORE_DATA;
        }
        item.text1 = text1;
        item.text2 = text2;
        records[(*count)++] = item;
        if (sectionConsumed > sectionSize) return SYM_ERR_FORMAT;
        if (AtEnd()) return SYM_MORE_DATA;
        ++l2ItemIndex;
    }
    if (l2ItemIndex != l2ItemCount) return SYM_MORE_DATA;
    l2ItemIndex = l2ItemCount = 0;
    return SYM_OK;
}

// False: the item has to wait for the next call, which has the whole arena for it.
bool PlainReader::ReadL2Text(const char*& text, bool heldAtStart, uint64_t& taken) {
    std::string bytes;
    uint32_t length;
    const int32_t result = ReadText(bytes, perCall.TextMax(), length);
    taken += bytes.size();
    sectionConsumed += length;
    text = result == SYM_OK ? perCall.Place(bytes) : nullptr;
    if (text != nullptr || AtEnd()) return true;
    if (heldAtStart) return false;
    char byte = 1;
    while (result != SYM_OK && byte != 0 && Read(&byte, 1) == 1) ++sectionConsumed;
    return true;
}

// Sections 9, 10, 12, 19, 20, 22: directories

int32_t PlainReader::BeginDirectory(uint16_t id, uint32_t countWidth, DirectoryCursor& cursor) {
    const int32_t result = BeginSection(id);
    if (result != SYM_OK) return result;
    cursor.bytesTotal = recordSize;
    uint32_t elements = 0;
    if (!ReadAll(&elements, countWidth)) return SYM_ERR_READ;
    sectionConsumed += countWidth;
    cursor.elementCount = elements;
    cursor.bytesRead = cursor.elementIndex = 0;
    return Begun(static_cast<int32_t>(elements));
}

int32_t PlainReader::NextOfDirectory(uint32_t idWidth, DirectoryCursor& cursor, int32_t* count, uint32_t* ids,
                                     char** names, uint32_t nameSize) {
    if (count == nullptr || ids == nullptr || names == nullptr || *count < 0) return SYM_ERR_PARAM;
    if (cursor.bytesRead >= cursor.bytesTotal || cursor.elementIndex >= cursor.elementCount || AtEnd())
        return SYM_END_OF_DATA;
    perCall.Reset();
    if (*count >= 1) return SYM_MORE_DATA;
    uint32_t id = 0;
    if (!Take(&id, idWidth, cursor.bytesRead)) return SYM_ERR_READ;
    ids[0] = id;
    const int32_t result = CopyTextTo(*names, nameSize, cursor.bytesRead);
    if (result != SYM_OK) return result;
    ++*count;
    if (++cursor.elementIndex != cursor.elementCount) return SYM_MORE_DATA;
    cursor.bytesRead = cursor.elementCount = cursor.elementIndex = 0;
    return SYM_OK;
}

bool PlainReader::Take(void* target, uint32_t n, uint32_t& counter) {
    if (!ReadAll(target, n)) return false;
    sectionConsumed += n;
    counter += n;
    return true;
}

// Section 11: section groups

int32_t PlainReader::InitializeSection11() {
    const int32_t result = BeginSection(11);
    if (result != SYM_OK) return result;
    bytesTotal11 = recordSize;
    uint8_t groups = 0;
    if (!ReadAll(&groups, 1)) return SYM_ERR_READ;
    sectionConsumed += 1;
    groupCount11 = groups;
    bytesRead11 = 0;
    groupIndex11 = memberCount11 = memberIndex11 = 0;
    return Begun(groups);
}

int32_t PlainReader::GetNextSectionGroup(uint8_t* groupId, int32_t* count, uint8_t** members,
                                         int32_t capacity) {
    if (groupId == nullptr || count == nullptr || members == nullptr) return SYM_ERR_PARAM;
    if (NoArray(*members, capacity) || *count < 0) return SYM_ERR_PARAM;
    if (bytesRead11 >= bytesTotal11 || groupIndex11 >= groupCount11 || AtEnd()) return SYM_END_OF_DATA;
    if (memberIndex11 == 0) {
        if (!Take(&groupId11, 1, bytesRead11)) return SYM_ERR_READ;
        if (!Take(&memberCount11, 1, bytesRead11)) return SYM_ERR_READ;
    }
    *groupId = groupId11;
    const int32_t room = *members == nullptr ? 0 : capacity;
    while (memberIndex11 < memberCount11 && *count < room) {
        uint8_t member;
        if (!Take(&member, 1, bytesRead11)) return SYM_ERR_READ;
        (*members)[(*count)++] = member;
        ++memberIndex11;
    }
    if (memberIndex11 == memberCount11) {
        ++groupIndex11;
        memberIndex11 = 0;
    }
    if (groupIndex11 != groupCount11) return SYM_MORE_DATA;
    bytesRead11 = 0;
    groupCount11 = groupIndex11 = 0;
    return SYM_OK;
}

// Section 13: objects

int32_t PlainReader::InitialObjectSection() {
    const int32_t result = BeginSection(13);
    if (result != SYM_OK) return result;
    uint16_t types = 0;
    if (!ReadAll(&types, 2)) return SYM_ERR_READ;
    sectionConsumed += 2;
    objectBlockSize = objectBlockUsed = 0;
    return Begun(types);
}

// What is left of a block or body. A skip over all its bytes may have reached the section's end.
int32_t PlainReader::SkipRest(uint32_t size, uint32_t& used) {
    const auto rest = static_cast<int32_t>(size - used);
    if (size == 0 || rest <= 0) return SYM_OK;
    bool metEnd = false;
    if (!SkipBytes(static_cast<uint32_t>(rest), metEnd)) return SYM_ERR_READ;
    sectionConsumed += static_cast<uint32_t>(rest);
    if (metEnd || !Exhausted()) return SYM_OK;
    used = size;
    return SYM_END_OF_DATA;
}

int32_t PlainReader::GetNextObjectTypeID(uint16_t* typeId, uint16_t* sourceSymCount) {
    if (typeId == nullptr || sourceSymCount == nullptr) return SYM_ERR_PARAM;
    if (Exhausted()) return SYM_END_OF_DATA;
    const int32_t result = SkipRest(objectBlockSize, objectBlockUsed);
    if (result != SYM_OK) return result;
    if (!ReadAll(typeId, 2)) return SYM_ERR_READ;
    sectionConsumed += 2;
    if (!ReadAll(&objectBlockSize, 4)) return SYM_ERR_READ;
    sectionConsumed += 4;
    objectBlockUsed = 0;
    if (!Take(sourceSymCount, 2, objectBlockUsed)) return SYM_ERR_READ;
    objectSourceSymCount = *sourceSymCount;
    objectSourceSymIndex = 0;
    return SYM_MORE_DATA;
}

int32_t PlainReader::TakeString(const char** target, uint32_t& counter) {
    perCall.Reset();
    uint32_t length;
    if (!PlaceText(*target, length)) return SYM_ERR_READ;
    sectionConsumed += length;
    counter += length;
    return SYM_OK;
}

int32_t PlainReader::GetNextObjectSourceSym(const char** sourceSym, uint16_t* symCount) {
    if (sourceSym == nullptr || symCount == nullptr) return SYM_ERR_PARAM;
    if (objectBlockUsed >= objectBlockSize || objectSourceSymIndex >= objectSourceSymCount)
        return SYM_END_OF_DATA;
    if (TakeString(sourceSym, objectBlockUsed) != SYM_OK) return SYM_ERR_READ;
    ++objectSourceSymIndex;
    if (!Take(symCount, 2, objectBlockUsed)) return SYM_ERR_READ;
    objectSymCount = *symCount;
    objectSymIndex = 0;
    return SYM_MORE_DATA;
}

int32_t PlainReader::GetNextObjectSym(uint8_t* symByte, const char** sym, uint8_t* dataCount) {
    if (symByte == nullptr || sym == nullptr || dataCount == nullptr) return SYM_ERR_PARAM;
    if (objectBlockUsed >= objectBlockSize || objectSymIndex >= objectSymCount) return SYM_END_OF_DATA;
    if (!Take(symByte, 1, objectBlockUsed)) return SYM_ERR_READ;
    if (TakeString(sym, objectBlockUsed) != SYM_OK) return SYM_ERR_READ;
    ++objectSymIndex;
    if (!Take(dataCount, 1, objectBlockUsed)) return SYM_ERR_READ;
    objectDataCount = *dataCount;
    objectDataIndex = 0;
    return SYM_MORE_DATA;
}

int32_t PlainReader::GetNextObjectData(uint8_t* dataByte, const char** data) {
    if (dataByte == nullptr || data == nullptr) return SYM_ERR_PARAM;
    if (objectBlockUsed >= objectBlockSize || objectDataIndex >= objectDataCount) return SYM_END_OF_DATA;
    if (!Take(dataByte, 1, objectBlockUsed)) return SYM_ERR_READ;
    if (TakeString(data, objectBlockUsed) != SYM_OK) return SYM_ERR_READ;
    ++objectDataIndex;
    return SYM_MORE_DATA;
}

// Section 14: foreign trade

int32_t PlainReader::InitialForeignTradeSection() {
    const int32_t result = BeginSection(14);
    if (result != SYM_OK) return result;
    uint16_t heads = 0;
    if (!ReadAll(&heads, 2)) return SYM_ERR_READ;
    sectionConsumed += 2;
    foreignTrade.bodySize = foreignTrade.bodyRead = 0;
    return Begun(heads);
}

// A text into the arena; the pointer is null when it filled the arena to its last byte.
bool PlainReader::PlaceText(const char*& target, uint32_t& length) {
    std::string text;
    if (ReadText(text, perCall.TextMax(), length) != SYM_OK) return false;
    target = perCall.Place(text);
    return true;
}

int32_t PlainReader::GetNextForeignTradeHead(ForeignTradeHead* head) {
    if (head == nullptr) return SYM_ERR_PARAM;
    if (Exhausted()) return SYM_END_OF_DATA;
    const int32_t result = SkipRest(foreignTrade.bodySize, foreignTrade.bodyRead);
    if (result != SYM_OK) return result;
    perCall.Reset();
    uint16_t id = head->id;
    const bool whole = ReadAll(&id, 2);
    head->id = id;
    if (!whole) return SYM_ERR_READ;
    sectionConsumed += 2;
    const char* name;
    uint32_t length;
    if (!PlaceText(name, length)) return SYM_ERR_READ;
    head->name = name;
    sectionConsumed += length;
    if (!ReadAll(&foreignTrade.bodySize, 4)) return SYM_ERR_READ;
    sectionConsumed += 4;
    foreignTrade.bodyRead = 0;
    return SYM_OK;
}

int32_t PlainReader::GetForeignTrade(uint8_t* itemTag, const char** names, uint32_t* count,
                                     uint32_t capacity) {
    if (itemTag == nullptr || count == nullptr || NoArray(names, capacity)) return SYM_ERR_PARAM;
    if (foreignTrade.bodyRead >= foreignTrade.bodySize) return SYM_END_OF_DATA;
    if (!Take(itemTag, 1, foreignTrade.bodyRead)) return SYM_ERR_READ;
    if (!Take(&foreignTrade.count, 2, foreignTrade.bodyRead)) return SYM_ERR_READ;
    foreignTrade.index = 0;
    return GetNextForeignTrade(names, count, capacity);
}

int32_t PlainReader::GetNextForeignTrade(const char** names, uint32_t* count, uint32_t capacity) {
    if (count == nullptr || NoArray(names, capacity)) return SYM_ERR_PARAM;
    perCall.Reset();
    *count = 0;
    while (foreignTrade.index < foreignTrade.count) {
        if (*count == capacity) return SYM_MORE_DATA;
        uint32_t length;
        if (!PlaceText(names[*count], length)) return SYM_ERR_READ;
        sectionConsumed += length;
        foreignTrade.bodyRead += length;
        ++*count;
        ++foreignTrade.index;
    }
    return SYM_OK;
}

// Section 15: global related

int32_t PlainReader::InitialGlobalRelatedSection() {
    const int32_t result = BeginSection(15);
    if (result != SYM_OK) return result;
    uint16_t heads = 0;
    if (!ReadAll(&heads, 2)) return SYM_ERR_READ;
    sectionConsumed += 2;
    globalRelated.bodySize = globalRelated.bodyRead = 0;
    return Begun(heads);
}

int32_t PlainReader::GetNextGlobalReleatedHead(uint16_t* headId) {
    if (headId == nullptr) return SYM_ERR_PARAM;
    if (Exhausted()) return SYM_END_OF_DATA;
    const int32_t result = SkipRest(globalRelated.bodySize, globalRelated.bodyRead);
    if (result != SYM_OK) return result;
    perCall.Reset();
    if (!ReadAll(headId, 2)) return SYM_ERR_READ;
    sectionConsumed += 2;
    if (!ReadAll(&globalRelated.bodySize, 4)) return SYM_ERR_READ;
    sectionConsumed += 4;
    globalRelated.bodyRead = 0;
    return SYM_OK;
}

int32_t PlainReader::GetGlobalReleated(uint8_t* listSize, GlobalRelatedItem* items, uint32_t* count,
                                       uint32_t capacity) {
    if (listSize == nullptr || count == nullptr || NoArray(items, capacity)) return SYM_ERR_PARAM;
    if (globalRelated.bodyRead >= globalRelated.bodySize) return SYM_END_OF_DATA;
    if (!Take(listSize, 1, globalRelated.bodyRead)) return SYM_ERR_READ;
    globalRelated.count = *listSize;
    globalRelated.index = 0;
    return GetNextGlobalReleated(items, count, capacity);
}

int32_t PlainReader::GetNextGlobalReleated(GlobalRelatedItem* items, uint32_t* count, uint32_t capacity) {
    if (count == nullptr || NoArray(items, capacity)) return SYM_ERR_PARAM;
    perCall.Reset();
    *count = 0;
    while (globalRelated.index < globalRelated.count) {
        if (*count == capacity) return SYM_MORE_DATA;
        if (!Take(&items[*count].tag, 1, globalRelated.bodyRead)) return SYM_ERR_READ;
        const char* name;
        uint32_t length;
        if (!PlaceText(name, length)) return SYM_ERR_READ;
        items[*count].name = name;
        sectionConsumed += length;
        globalRelated.bodyRead += length;
        ++*count;
        ++globalRelated.index;
    }
    return SYM_OK;
}

// Section 16: exchanges

int32_t PlainReader::InitialExchangeSection() { return BeginDirectory(16, 2, exchange); }

int32_t PlainReader::GetNextExchange(uint32_t* id, char* text1, int32_t text1Limit, char* text2,
                                     int32_t text2Limit) {
    if (id == nullptr || (text1 == nullptr && text1Limit >= 0) || (text2 == nullptr && text2Limit >= 0))
        return SYM_ERR_PARAM;
    if (exchange.bytesRead >= exchange.bytesTotal || exchange.elementIndex >= exchange.elementCount ||
        AtEnd())
        return SYM_END_OF_DATA;
    uint32_t wide = 0;
    if (!Take(&wide, 2, exchange.bytesRead)) return SYM_ERR_READ;
    *id = wide;
    uint32_t length;
    if (ReadTextTo(text1, text1Limit, length) != SYM_OK) return SYM_ERR_READ;
    sectionConsumed += length;
    exchange.bytesRead += length;
    if (ReadTextTo(text2, text2Limit, length) != SYM_OK) return SYM_ERR_READ;
    sectionConsumed += length;
    exchange.bytesRead += length;
    return ++exchange.elementIndex == exchange.elementCount ? SYM_OK : SYM_MORE_DATA;
}

// Section 17: real-delay mapping

int32_t PlainReader::InitialRealDelayMappingSection() { return BeginDirectory(17, 2, realDelay); }

int32_t PlainReader::GetNextRealDelayMapping(uint8_t* first, uint8_t* second) {
    if (first == nullptr || second == nullptr) return SYM_ERR_PARAM;
    if (realDelay.bytesRead >= realDelay.bytesTotal || realDelay.elementIndex >= realDelay.elementCount ||
        AtEnd())
        return SYM_END_OF_DATA;
    if (!Take(first, 1, realDelay.bytesRead) || !Take(second, 1, realDelay.bytesRead)) return SYM_ERR_READ;
    return SYM_OK;
}

// Sections 18 and 21: preloaded

// A count and that many values.
bool PlainReader::ReadList(std::vector<uint16_t>& list) {
    list.clear();
    uint16_t values = 0;
    uint32_t unused = 0;
    if (!Take(&values, 2, unused)) return false;
    for (uint32_t i = 0; i < values; ++i) {
        uint16_t value;
        if (!Take(&value, 2, unused)) return false;
        list.push_back(value);
    }
    return true;
}

int32_t PlainReader::InitialLevel2EODBasicItemDefineSection() {
    itemDefines.clear();
    const int32_t result = BeginSection(18);
    if (result != SYM_OK) return result;
    uint16_t groups = 0;
    if (!ReadAll(&groups, 2)) return SYM_ERR_READ;
    for (uint32_t i = 0; i < groups; ++i) {
        std::vector<uint16_t> ids, second, third, first;
        if (!ReadList(ids) || !ReadList(second) || !ReadList(third) || !ReadList(first)) return SYM_ERR_READ;
        const ItemDefine define = {std::make_shared<const std::vector<uint16_t>>(first),
                                   std::make_shared<const std::vector<uint16_t>>(second),
                                   std::make_shared<const std::vector<uint16_t>>(third)};
        for (const uint16_t id : ids) itemDefines[id] = define;
    }
    return static_cast<int32_t>(itemDefines.size());
}

int32_t PlainReader::GetNextLevel2EODBasicItemDefine(uint16_t* id, uint16_t* firstCount, uint16_t* firstItems,
                                                     uint32_t firstCapacity, uint16_t* secondCount,
                                                     uint16_t* secondItems, uint32_t secondCapacity,
                                                     uint16_t* thirdCount, uint16_t* thirdItems,
                                                     uint32_t thirdCapacity) {
    if (id == nullptr || firstCount == nullptr || secondCount == nullptr || thirdCount == nullptr ||
        NoArray(firstItems, firstCapacity) || NoArray(secondItems, secondCapacity) ||
        NoArray(thirdItems, thirdCapacity))
        return SYM_ERR_PARAM;
    if (itemDefines.empty()) return SYM_END_OF_DATA;
    const auto entry = itemDefines.begin();
    const ItemDefine& define = entry->second;
    if (define.first->size() > firstCapacity || define.second->size() > secondCapacity ||
        define.third->size() > thirdCapacity)
        return SYM_ERR_BUFFER_TOO_SMALL;
    *id = entry->first;
    *firstCount = static_cast<uint16_t>(define.first->size());
    *secondCount = static_cast<uint16_t>(define.second->size());
    *thirdCount = static_cast<uint16_t>(define.third->size());
    std::copy(define.first->begin(), define.first->end(), firstItems);
    std::copy(define.second->begin(), define.second->end(), secondItems);
    std::copy(define.third->begin(), define.third->end(), thirdItems);
    itemDefines.erase(entry);
    return SYM_OK;
}

int32_t PlainReader::InitialExchangeSupportSection() {
    exchangeSupport.clear();
    const int32_t result = BeginSection(21);
    if (result != SYM_OK) return result;
    uint32_t groups = 0;
    if (!ReadAll(&groups, 4)) return SYM_ERR_READ;
    for (uint32_t i = 0; i < groups; ++i) {
        std::vector<uint16_t> ids, values;
        if (!ReadList(ids) || !ReadList(values)) return SYM_ERR_READ;
        const auto list = std::make_shared<const std::vector<uint16_t>>(values);
        for (const uint16_t id : ids) exchangeSupport[id] = list;
    }
    return static_cast<int32_t>(exchangeSupport.size());
}

int32_t PlainReader::GetNextExchangeSupportSection(uint16_t* id, uint16_t* count, uint16_t* items,
                                                   uint32_t capacity) {
    if (id == nullptr || count == nullptr || NoArray(items, capacity)) return SYM_ERR_PARAM;
    if (exchangeSupport.empty()) return SYM_END_OF_DATA;
    const auto entry = exchangeSupport.begin();
    if (entry->second->size() > capacity) return SYM_ERR_BUFFER_TOO_SMALL;
    *id = entry->first;
    *count = static_cast<uint16_t>(entry->second->size());
    std::copy(entry->second->begin(), entry->second->end(), items);
    exchangeSupport.erase(entry);
    return SYM_OK;
}

}  // namespace plain
