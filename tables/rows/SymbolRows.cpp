#include "tables/rows/SymbolRows.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "TorvaValues.h"
#include "format/Fields.h"

namespace torva::tables {

namespace {

constexpr std::size_t kLeastChunk = 64;
constexpr std::size_t kMostChunk = std::size_t{1} << 20;

u64 SizeInFile(const SymbolField& field) {
    return sizeof(FieldHeader) +
           (field.tag == kTextTag ? field.value.size() + 1 : std::size_t{PayloadWidth(field.tag)});
}

}  // namespace

SymbolRows::SymbolRows(Reader& reader)
    : SectionRows(reader, 2),
      stream(open.symFile.symbols),
      text(new char[std::size_t{open.textMax} + 1]),
      chunk(kLeastChunk) {
    text[0] = '\0';
    stream.defaults.cursor = 0;  // a record that broke off left its marks
    stream.defaults.ClearSeen();
}

void SymbolRows::MoveTo(u32 offset) {
    if (entry != nullptr && result.present && file.SeekSection(2)) {
        ended = false;
        file.source.SeekTo(entry->offset + offset);
        file.sectionConsumed = offset;
        consumed = offset;
    }
}

void SymbolRows::Release() {
    for (std::size_t at = 0; at < itemCount; ++at) {
        SymFreeValue(items[at].value);
    }
    itemCount = 0;
}

// Reads the next record whole. Returns kElement, kEnd or an error; `part`: a record was begun. As many items
// per call as the last record had, so that most records come in one call.
i32 SymbolRows::ReadRecord(bool& part) {
    Release();
    items.resize(std::max(items.size(), chunk));
    const auto most = static_cast<i32>(chunk);
    i32 count = -1;
    i32 outcome =
        stream.GetNextSymData(file, text.get(), static_cast<i32>(open.textMax), &count, items.data(), most);
    part = count >= 0;
    if (!part) {
        return outcome == SYM_OK || outcome == SYM_END_OF_DATA ? kEnd : outcome;
    }
    while (outcome == SYM_MORE_DATA) {
        itemCount += static_cast<std::size_t>(count);
        items.resize(std::max(items.size(), itemCount + chunk));
        outcome = stream.GetAgainSymData(file, &count, items.data() + itemCount, most);
    }
    if (outcome != SYM_OK) {  // the values that this call wrote are the library's
        return outcome;
    }
    itemCount += static_cast<std::size_t>(count);
    chunk = std::clamp(itemCount + 1, kLeastChunk, kMostChunk);
    return kElement;
}

// A record that breaks off is delivered as far as it came, with a problem noted.
bool SymbolRows::NextSymbol() {
    if (ended || result.cancelled) {
        return false;
    }
    if (Call() != kElement) {
        End();
        return false;
    }
    ++result.rows[0];
    result.rows[1] += symbol.fields.size();
    Advanced();
    return true;
}

i32 SymbolRows::Call() {
    for (;;) {
        const i32 outcome = broken ? kEnd : NextRecord();
        if (outcome == kEnd) nextItem = symbol.fields.size() + 1;  // the last record may have been left out
        if (outcome == kEnd || !owner.Options().takes || owner.Options().takes(++number)) {
            return outcome;
        }
    }
}

i32 SymbolRows::NextRecord() {
    bool part = false;
    const i32 outcome = ReadRecord(part);
    if (outcome == kEnd) {
        return kEnd;
    }
    if (outcome < 0) {
        broken = true;
        result.result = outcome;
        if (!part) {
            Note(outcome == SYM_ERR_BUFFER_TOO_SMALL ? "the text of a symbol does not end within the file"
                                                     : ErrorText(outcome));
            return kEnd;
        }
        Note(
            fmt::format("symbol \"{}\": {}", text.get(),
                        outcome == SYM_END_OF_DATA ? "the data ends inside its record" : ErrorText(outcome)));
    }
    View(outcome == kElement);
    nextItem = 0;
    return kElement;
}

bool SymbolRows::Item() {
    if (nextItem == 0 && symbol.text.data()) {
        ++nextItem;
        Cell name;
        name.bytes = symbol.text;
        return Emit(0, name);
    }
    while (nextItem <= symbol.fields.size() && symbol.text.data()) {
        const SymbolField& field = symbol.fields[nextItem++ - 1];
        if (!field.isDefault) {
            return Emit(1, Cell{field.id, {}, {}}, Cell{field.tag, {}, {}}, Cell{field.tag, field.value, {}});
        }
    }
    return false;
}

void SymbolRows::View(bool complete) {
    fields.resize(itemCount);
    for (std::size_t at = 0; at < itemCount; ++at) {
        const SymFieldItem& item = items[at];
        const auto* value = static_cast<const char*>(item.value);
        const std::size_t size = !value                 ? 0
                                 : item.tag == kTextTag ? std::strlen(value)
                                                        : PayloadWidth(item.tag);
        fields[at] = {item.id, item.tag, false, false, {value, size}};
    }
    symbol.text = text.get();
    symbol.complete = complete;
    const bool filtered = !owner.Options().filter.empty();
    symbol.marked = !filtered || owner.Defaults().empty();
    const u64 now = Consumed();
    if (!filtered) {
        MarkFields(now - consumed - 4 - (symbol.text.size() + 1), complete);
    }
    consumed = now;
    symbol.fields = fields;
}

// After the record's own bytes the defaults follow; in a record that broke off, items that mean nothing.
void SymbolRows::MarkFields(u64 ownBytes, bool complete) {
    for (std::size_t at = 0; at < fields.size(); ++at) {
        SymbolField& field = fields[at];
        if (ownBytes < sizeof(FieldHeader)) {
            if (!complete) {
                fields.resize(at);
            }
            for (; at < fields.size(); ++at) {
                fields[at].isDefault = true;
            }
            return;
        }
        const u64 size = SizeInFile(field);
        if (ownBytes < size) {
            field.cut = true;
            field.value = field.value.substr(0, static_cast<std::size_t>(ownBytes - sizeof(FieldHeader)));
        }
        ownBytes -= std::min(ownBytes, size);
    }
}

}  // namespace torva::tables
