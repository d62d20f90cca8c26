#include "python/native/Select.h"

#include <cstring>

namespace torva::python {
namespace {

using tables::columns::Batch;
using tables::columns::Bit;
using tables::columns::BitmapBytes;
using tables::columns::Buffer;
using tables::columns::Column;
using tables::columns::LimitError;

constexpr u64 kMost = 0x7fffffff;  // what offsets of 32 bits address

// Copies rows of one table, one column after the other.
class RowCopy {
public:
    explicit RowCopy(const std::optional<std::vector<u32>>& wantedRows, u64 allRows)
        : wanted(wantedRows), count(wantedRows ? wantedRows->size() : allRows) {}

    u64 Count() const { return count; }
    u32 operator[](u64 at) const { return wanted ? (*wanted)[at] : static_cast<u32>(at); }

    Column Copy(const Column& from) const {
        Column to;
        to.id = from.id;
        to.tag = from.tag;
        to.type = from.type;
        to.width = from.width;
        to.name = from.name;
        to.isField = from.isField;
        to.nullable = from.nullable;
        to.rows = to.dictionarySize = count;
        if (from.own.Room() > 0) CopyBits(from.own, to.own);
        if (from.type == TVT_NULL) {
            to.nulls = count;
            return to;
        }
        for (u64 at = 0; at < count; ++at) to.nulls += from.IsNull((*this)[at]) ? 1 : 0;
        if (to.nulls > 0) CopyBits(from.validity, to.validity);
        if (from.Interned()) {
            CopyValues(from.indices, sizeof(i32), to.indices);
            to.dictionarySize = from.dictionarySize;
            CopyWhole(from.offsets, to.offsets);
            CopyWhole(from.values, to.values);
        } else if (from.offsets.Room() > 0) {
            CopyRanges(from, from.type == TVT_LIST ? from.width : 1, to);
        } else if (from.type == TVT_BOOL) {
            CopyBits(from.values, to.values);
        } else {
            CopyValues(from.values, from.width, to.values);
        }
        return to;
    }

private:
    // Buffers that are exported are never null.
    static void Make(Buffer& buffer, u64 bytes) {
        buffer.Resize(static_cast<std::size_t>(bytes > 0 ? bytes : 1), nullptr);
    }

    static void CopyWhole(const Buffer& from, Buffer& to) {
        Make(to, from.Room());
        if (from.Room() > 0) std::memcpy(to.As(), from.As(), from.Room());
    }

    void CopyBits(const Buffer& from, Buffer& to) const {
        Make(to, BitmapBytes(count));
        std::memset(to.As(), 0, to.Room());
        for (u64 at = 0; at < count; ++at) {
            if (Bit(from.As(), (*this)[at]))
                to.As()[at / 8] = static_cast<u8>(to.As()[at / 8] | 1U << at % 8);
        }
    }

    void CopyValues(const Buffer& from, std::size_t width, Buffer& to) const {
        Make(to, count * width);
        for (u64 at = 0; at < count; ++at)
            std::memcpy(to.As() + at * width, from.As() + (*this)[at] * width, width);
    }

    void CopyRanges(const Column& from, std::size_t width, Column& to) const {
        const i32* const ends = from.offsets.As<i32>();
        Make(to.offsets, (count + 1) * sizeof(i32));
        i32* const offsets = to.offsets.As<i32>();
        u64 held = 0;
        offsets[0] = 0;
        for (u64 at = 0; at < count; ++at) {
            const u32 row = (*this)[at];
            held += static_cast<u64>(ends[row + 1] - ends[row]);
            if (held > kMost) throw LimitError();
            offsets[at + 1] = static_cast<i32>(held);
        }
        Make(to.values, held * width);
        for (u64 at = 0; at < count; ++at) {
            const auto begin = static_cast<std::size_t>(ends[(*this)[at]]) * width;
            const auto size = static_cast<std::size_t>(offsets[at + 1] - offsets[at]) * width;
            if (size > 0) {
                std::memcpy(to.values.As() + static_cast<std::size_t>(offsets[at]) * width,
                            from.values.As() + begin, size);
            }
        }
    }

    const std::optional<std::vector<u32>>& wanted;
    u64 count;
};

}  // namespace

TableOwner Select(const TvtTable& from, const std::optional<std::vector<u32>>& rows,
                  const std::vector<u32>& columns) {
    const RowCopy copy(rows, from.batch->rows);
    auto batch = std::make_shared<Batch>();
    batch->rows = copy.Count();
    batch->name = from.batch->name;
    batch->hasParent = from.batch->hasParent;
    for (const u32 at : columns) batch->columns.push_back(copy.Copy(from.batch->columns[at]));
    return TableOwner(TvtTable::New(std::move(batch), from.damage, from.section, from.symbols, from.level));
}

}  // namespace torva::python
