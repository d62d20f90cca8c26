#include "viewer/wasm/RecordStarts.h"

#include <algorithm>
#include <cstring>

#include "format/LittleEndian.h"

namespace viewer {

namespace {

constexpr u64 kSizeWidth = 4;
constexpr u64 kFieldHead = sizeof(torva::FieldHeader);

}  // namespace

std::vector<u32> RecordStarts(std::span<const u8> file, const torva::tables::DirectoryEntry& symbols,
                              u64 rows) {
    std::vector<u32> starts;
    starts.reserve(static_cast<std::size_t>(rows) + 1);
    u64 at = u64{symbols.offset} + 2;
    for (u64 row = 0; row < rows && at + kSizeWidth <= file.size(); ++row) {
        starts.push_back(static_cast<u32>(at));
        at += kSizeWidth + torva::ReadNumber<u32>(file.data() + at);
    }
    const u64 end = std::min<u64>(at, file.size());
    starts.resize(static_cast<std::size_t>(rows) + 1, static_cast<u32>(end));
    return starts;
}

std::vector<StoredField> ReadFields(std::span<const u8> file, u64 start, u64 end) {
    std::vector<StoredField> fields;
    u64 at = start;
    while (at + kFieldHead <= end) {
        const u8* const head = file.data() + at;
        const u8 tag = head[2];
        u64 size = kFieldHead + torva::PayloadWidth(tag);
        if (tag == torva::kTextTag) {
            const void* const zero =
                std::memchr(head + kFieldHead, 0, static_cast<std::size_t>(end - at - kFieldHead));
            size = zero != nullptr ? static_cast<u64>(static_cast<const u8*>(zero) - head) + 1 : end - at + 1;
        }
        const bool cut = at + size > end;
        if (cut) size = end - at;
        fields.push_back({torva::ReadNumber<u16>(head), tag, cut, at, size});
        at += size;
    }
    return fields;
}

StoredRecord ReadRecord(std::span<const u8> file, u64 start, u64 end) {
    StoredRecord record{start, end - start, {}, {}};
    const u64 text = start + kSizeWidth;
    if (text >= end) return record;
    const char* const from = reinterpret_cast<const char*>(file.data() + text);
    const void* const zero = std::memchr(from, 0, static_cast<std::size_t>(end - text));
    const u64 length = zero != nullptr ? static_cast<u64>(static_cast<const char*>(zero) - from) : end - text;
    record.text = {from, static_cast<std::size_t>(length)};
    record.fields = ReadFields(file, std::min(end, text + length + 1), end);
    return record;
}

}  // namespace viewer
