#include "python/native/Views.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include "tables/columns/Table.h"

namespace torva::python {
namespace {

using tables::columns::Column;

constexpr std::size_t kInline = 12;

// A bitmask for each size of a text of up to 12 bytes.
constexpr std::array<std::array<u8, kInline>, kInline + 1> kMasks = [] {
    std::array<std::array<u8, kInline>, kInline + 1> masks{};
    for (std::size_t size = 0; size <= kInline; ++size) {
        for (std::size_t at = 0; at < size; ++at) masks[size][at] = 0xff;
    }
    return masks;
}();

struct View {
    u32 size;
    u8 bytes[kInline];
};
static_assert(sizeof(View) == 16);

// The first 12 bytes after `mask`. `text` has 12 readable bytes.
void CopyMasked(u8* to, const char* text, const std::array<u8, kInline>& mask) {
    u64 low = 0;
    u32 high = 0;
    u64 lowMask = 0;
    u32 highMask = 0;
    std::memcpy(&low, text, sizeof low);
    std::memcpy(&high, text + sizeof low, sizeof high);
    std::memcpy(&lowMask, mask.data(), sizeof low);
    std::memcpy(&highMask, mask.data() + sizeof low, sizeof high);
    low &= lowMask;
    high &= highMask;
    std::memcpy(to, &low, sizeof low);
    std::memcpy(to + sizeof low, &high, sizeof high);
}

// The memory of a column's views; what a released column frees.
struct Views {
    explicit Views(const Column& column)
        : views(new View[column.rows > 0 ? column.rows : 1]),
          dataSize(column.offsets.As<i32>()[column.rows]) {
        const i32* const offsets = column.offsets.As<i32>();
        const char* const bytes = column.values.As<char>();
        for (u64 row = 0; row < column.rows; ++row) {
            View& view = views[row];
            const auto begin = static_cast<u32>(offsets[row]);
            view.size = static_cast<u32>(offsets[row + 1]) - begin;
            if (view.size > kInline) {
                constexpr u32 kBuffer = 0;
                std::memcpy(view.bytes, bytes + begin, 4);
                std::memcpy(view.bytes + 4, &kBuffer, sizeof kBuffer);
                std::memcpy(view.bytes + 8, &begin, sizeof begin);
            } else if (begin + kInline <= static_cast<u64>(dataSize)) {
                CopyMasked(view.bytes, bytes + begin, kMasks[view.size]);
            } else {
                std::memset(view.bytes, 0, kInline);
                if (view.size > 0) std::memcpy(view.bytes, bytes + begin, view.size);
            }
        }
    }

    std::unique_ptr<View[]> views;
    i64 dataSize;
    std::array<const void*, 4> buffers{};
    ArrowArray plain{};  // the column as the table exports it, which holds the rest of the memory
};

void ReleaseViews(ArrowArray* array) {
    auto* const views = static_cast<Views*>(array->private_data);
    views->plain.release(&views->plain);
    delete views;
    array->release = nullptr;
}

void MakeViews(ArrowArray& array, const Column& column) {
    auto views = std::make_unique<Views>(column);
    views->buffers = {array.buffers[0], views->views.get(), array.buffers[2], &views->dataSize};
    views->plain = array;
    array.n_buffers = static_cast<i64>(views->buffers.size());
    array.buffers = views->buffers.data();
    array.release = ReleaseViews;
    array.private_data = views.release();
}

struct Stream {
    std::unique_ptr<TvtTable, TvtTable::Release> table;
    bool done = false;
};

bool IsPlain(const Column& column) { return column.Texts() && !column.Interned(); }

int GetSchema(ArrowArrayStream* stream, ArrowSchema* schema) {
    const TvtTable* const table = static_cast<Stream*>(stream->private_data)->table.get();
    if (tvt_ExportSchema(table, schema, nullptr) != TVT_OK) return ENOMEM;
    i64 child = 0;
    for (const Column& column : table->batch->columns) {
        if (IsPlain(column)) schema->children[child]->format = column.type == TVT_TEXT ? "vu" : "vz";
        child += column.own.Room() > 0 ? 2 : 1;
    }
    return 0;
}

int GetNext(ArrowArrayStream* stream, ArrowArray* array) {
    auto& state = *static_cast<Stream*>(stream->private_data);
    *array = {};
    if (state.done) return 0;
    if (tvt_ExportArray(state.table.get(), array, nullptr, nullptr) != TVT_OK) return ENOMEM;
    try {
        i64 child = 0;
        for (const Column& column : state.table->batch->columns) {
            if (IsPlain(column)) MakeViews(*array->children[child], column);
            child += column.own.Room() > 0 ? 2 : 1;
        }
    } catch (const std::bad_alloc&) {
        array->release(array);
        return ENOMEM;
    }
    state.done = true;
    return 0;
}

void ReleaseStream(ArrowArrayStream* stream) {
    delete static_cast<Stream*>(stream->private_data);
    stream->release = nullptr;
}

}  // namespace

void ExportViews(const TvtTable* table, ArrowArrayStream* stream) {
    auto state = std::make_unique<Stream>();
    state->table.reset(tvt_Retain(const_cast<TvtTable*>(table)));
    stream->get_schema = GetSchema;
    stream->get_next = GetNext;
    stream->get_last_error = [](ArrowArrayStream*) { return "out of memory"; };
    stream->release = ReleaseStream;
    stream->private_data = state.release();
}

}  // namespace torva::python
