#include "tables/rows/SymbolScan.h"

#include <algorithm>
#include <cstring>

#include "library/stream/FieldLoop.h"

namespace torva::tables {

namespace {

constexpr std::size_t kLeastReadAhead = 4096;
constexpr std::size_t kMostReadAhead = std::size_t{256} * 1024;
constexpr std::size_t kSlack = 16;  // what DeliverFields may read after a record
static_assert(kSlack >= kMostFixedField);

}  // namespace

SymbolScan::SymbolScan(Reader& base, std::span<const u16> wantedIds, bool listOwnFields)
    : reader(base), slots(wantedIds.size()), listing(listOwnFields) {
    const DirectoryEntry* const entry = reader.Directory().Find(2);
    if (entry != nullptr && entry->Readable()) section = entry;
    if (!wantedIds.empty()) slotOf.assign(65536, kNone);
    for (std::size_t at = 0; at < wantedIds.size(); ++at) slotOf[wantedIds[at]] = static_cast<u16>(at);
    for (const SymbolField& field : reader.Defaults()) {
        if (slotOf.empty() || slotOf[field.id] == kNone) continue;
        Slot& slot = slots[slotOf[field.id]];
        if (slot.fallback == nullptr) slot.fallback = &field;
    }
}

SymbolScan::~SymbolScan() = default;

void SymbolScan::MoveTo(Place place) {
    next = place;
    skip = 0;
    if (place.offset == firstBroken.offset && place.number > firstBroken.number) {
        next = firstBroken;
        skip = place.number - firstBroken.number;
    }
    broken.reset();
    brokenReader.reset();
    problems.clear();
}

// Lends `count` bytes of the file and kSlack more that may be read; null where the file has fewer.
const u8* SymbolScan::Bytes(u64 offset, u64 count) {
    if (offset >= windowOffset && offset + count <= windowOffset + held) {
        return window.data() + (offset - windowOffset);
    }
    if (offset + count > reader.Bytes().Size()) return nullptr;
    const bool onward = held > 0 && offset >= windowOffset && offset <= windowOffset + held;
    readAhead = onward ? std::min(readAhead * 4, kMostReadAhead) : kLeastReadAhead;
    const std::size_t wanted = std::max<std::size_t>(readAhead, static_cast<std::size_t>(count));
    if (window.size() < wanted + kSlack) window.resize(wanted + kSlack);
    held = reader.Bytes().ReadAt(offset, window.data(), static_cast<u32>(wanted));
    windowOffset = offset;
    std::memset(window.data() + held, 0, kSlack);
    return held >= count ? window.data() : nullptr;
}

bool SymbolScan::Next() {
    if (section == nullptr) return false;
    ++stamp;
    ownFields.clear();
    if (!broken) {
        if (next.offset >= section->size) return false;
        if (NextWhole()) return true;
        ++stamp;  // drops what the record delivered up to where it is not whole
        ownFields.clear();
        brokenReader = std::make_unique<Reader>(reader.Source(), ReaderOptions{ReadMode::File});
        broken = std::make_unique<SymbolCursor>(brokenReader->Symbols());
        broken->MoveTo(next.offset);
        firstBroken = next;
        for (; skip > 0 && broken->Next(); --skip) ++next.number;
    }
    return NextBroken();
}

//   0   u32     bytes of the record that follow
//   4   text    symbol
//       fields  typed fields, up to the record's end
bool SymbolScan::NextWhole() {
    const u64 offset = u64{section->offset} + next.offset;
    const u8* start = Bytes(offset, sizeof(u32));
    if (start == nullptr) return false;
    u32 size = 0;
    std::memcpy(&size, start, sizeof size);
    const u64 after = u64{next.offset} + sizeof size + size;
    if (after > section->size) return false;
    start = Bytes(offset, u64{size} + sizeof size);
    if (start == nullptr) return false;
    const u8* const begin = start + sizeof size;
    const u8* const end = begin + size;
    const u8* const zero = FindTextEnd(begin, end);
    if (zero == nullptr) return false;
    text = {reinterpret_cast<const char*>(begin), static_cast<std::size_t>(zero - begin)};
    if (zero + 1 != end && DeliverFields(zero + 1, end - 1, end + kSlack, *this) != end) return false;
    record = {reinterpret_cast<const char*>(start), size + sizeof size};
    complete = true;
    current = next;
    next = {static_cast<u32>(after), next.number + 1};
    return true;
}

bool SymbolScan::NextBroken() {
    if (!broken->Next()) {
        problems = broken->Result().problems;
        return false;
    }
    const SymbolView& symbol = broken->Symbol();
    text = symbol.text;
    record = {};
    complete = symbol.complete;
    for (const SymbolField& field : symbol.fields) {
        if (!field.isDefault) Add(slotOf.empty() ? kNone : slotOf[field.id], field);
    }
    current = next;
    ++next.number;  // the offset stays that of the first record that is not whole
    return true;
}

}  // namespace torva::tables
