#include "tables/columns/ArrowExport.h"

#include <algorithm>
#include <array>
#include <string>

namespace torva::tables::columns {
namespace {

// A schema or an array below another one: released with it, unless the consumer moved it out.
struct Releaser {
    template <class T>
    void operator()(T* it) const {
        if (it->release != nullptr) it->release(it);
        delete it;
    }
};
using OwnedSchema = std::unique_ptr<ArrowSchema, Releaser>;
using OwnedArray = std::unique_ptr<ArrowArray, Releaser>;

// --- Schemas

struct SchemaHolder {
    std::string format;
    std::string name;
    std::string metadata;
    std::vector<OwnedSchema> children;
    std::vector<ArrowSchema*> childPointers;
    OwnedSchema dictionary;
};

void ReleaseSchema(ArrowSchema* schema) {
    delete static_cast<SchemaHolder*>(schema->private_data);
    schema->release = nullptr;
}

void FillSchema(ArrowSchema* schema, std::unique_ptr<SchemaHolder> holder, bool nullable) {
    *schema = {};
    schema->format = holder->format.c_str();
    schema->name = holder->name.c_str();
    schema->metadata = holder->metadata.empty() ? nullptr : holder->metadata.data();
    schema->flags = nullable ? ARROW_FLAG_NULLABLE : 0;
    schema->n_children = static_cast<i64>(holder->children.size());
    schema->children = holder->children.empty() ? nullptr : holder->childPointers.data();
    schema->dictionary = holder->dictionary.get();
    schema->release = ReleaseSchema;
    schema->private_data = holder.release();
}

std::string FormatOf(const Column& column) {
    constexpr std::array<const char*, 17> kFormats = {"n", "b", "c", "s",   "i", "l", "C",  "S", "I",
                                                      "L", "f", "g", "tdD", "u", "z", "w:", "+l"};
    std::string format = kFormats[column.type];
    if (column.type == TVT_FIXED) format += std::to_string(column.width);
    return format;
}

// Pairs of texts, each preceded by its length, after their count.
std::string Metadata(const std::vector<std::pair<std::string, std::string>>& pairs) {
    std::string metadata;
    const auto append = [&](const std::string& text) {
        const auto size = static_cast<i32>(text.size());
        metadata.append(reinterpret_cast<const char*>(&size), sizeof size).append(text);
    };
    const auto count = static_cast<i32>(pairs.size());
    metadata.append(reinterpret_cast<const char*>(&count), sizeof count);
    for (const auto& [key, value] : pairs) {
        append(key);
        append(value);
    }
    return metadata;
}

OwnedSchema NewSchema(std::unique_ptr<SchemaHolder> holder, bool nullable) {
    OwnedSchema schema(new ArrowSchema{});
    FillSchema(schema.get(), std::move(holder), nullable);
    return schema;
}

void AddChild(SchemaHolder& holder, OwnedSchema child) {
    holder.childPointers.push_back(child.get());
    holder.children.push_back(std::move(child));
}

// The schema of a list with these elements.
void MakeList(SchemaHolder& holder, std::unique_ptr<SchemaHolder> element) {
    holder.format = "+l";
    element->name = "item";
    AddChild(holder, NewSchema(std::move(element), false));
}

OwnedSchema ColumnSchema(const Column& column) {
    auto holder = std::make_unique<SchemaHolder>();
    holder->name = column.name;
    holder->format = column.Interned() ? "i" : FormatOf(column);
    if (column.isField) {
        holder->metadata =
            Metadata({{"torva.field", std::to_string(column.id)}, {"torva.tag", std::to_string(column.tag)}});
    }
    if (column.type == TVT_LIST) {
        auto element = std::make_unique<SchemaHolder>();
        element->format = column.width == 1 ? "C" : "S";
        MakeList(*holder, std::move(element));
    }
    if (column.Interned()) {
        auto values = std::make_unique<SchemaHolder>();
        values->format = FormatOf(column);
        holder->dictionary = NewSchema(std::move(values), true);
    }
    return NewSchema(std::move(holder), column.nullable);
}

OwnedSchema OwnSchema(const Column& column) {
    auto holder = std::make_unique<SchemaHolder>();
    holder->name = column.name + ".own";
    holder->format = "b";
    return NewSchema(std::move(holder), false);
}

// --- Arrays

struct ArrayHolder {
    std::shared_ptr<const Batch> batch;
    std::array<const void*, 3> buffers{};
    std::vector<OwnedArray> children;
    std::vector<ArrowArray*> childPointers;
    OwnedArray dictionary;
};

void ReleaseArray(ArrowArray* array) {
    delete static_cast<ArrayHolder*>(array->private_data);
    array->release = nullptr;
}

struct Slice {
    u64 first;
    u64 rows;
};

void FillArray(ArrowArray* array, std::unique_ptr<ArrayHolder> holder, Slice slice, i64 bufferCount,
               i64 nulls) {
    *array = {};
    array->length = static_cast<i64>(slice.rows);
    array->null_count = nulls;
    array->offset = static_cast<i64>(slice.first);
    array->n_buffers = bufferCount;
    array->buffers = holder->buffers.data();
    array->n_children = static_cast<i64>(holder->children.size());
    array->children = holder->children.empty() ? nullptr : holder->childPointers.data();
    array->dictionary = holder->dictionary.get();
    array->release = ReleaseArray;
    array->private_data = holder.release();
}

OwnedArray NewArray(std::unique_ptr<ArrayHolder> holder, Slice slice, i64 bufferCount, i64 nulls) {
    OwnedArray array(new ArrowArray{});
    FillArray(array.get(), std::move(holder), slice, bufferCount, nulls);
    return array;
}

std::unique_ptr<ArrayHolder> HolderOf(const std::shared_ptr<const Batch>& batch) {
    auto holder = std::make_unique<ArrayHolder>();
    holder->batch = batch;
    return holder;
}

void AddChild(ArrayHolder& holder, OwnedArray child) {
    holder.childPointers.push_back(child.get());
    holder.children.push_back(std::move(child));
}

OwnedArray ColumnArray(const std::shared_ptr<const Batch>& batch, const Column& column, Slice slice) {
    const bool whole = slice.first == 0 && slice.rows == column.rows;
    const i64 nulls = column.nulls == 0 ? 0 : whole ? static_cast<i64>(column.nulls) : -1;
    auto holder = HolderOf(batch);
    if (column.type == TVT_NULL) return NewArray(std::move(holder), slice, 0, static_cast<i64>(slice.rows));
    holder->buffers[0] = column.nulls == 0 ? nullptr : column.validity.As();
    if (column.type == TVT_LIST) {
        auto elements = HolderOf(batch);
        elements->buffers[1] = column.values.As();
        holder->buffers[1] = column.offsets.As();
        const auto count = static_cast<u64>(column.offsets.As<i32>()[column.rows]);
        AddChild(*holder, NewArray(std::move(elements), {0, count}, 2, 0));
        return NewArray(std::move(holder), slice, 2, nulls);
    }
    if (!column.Texts()) {
        holder->buffers[1] = column.values.As();
        return NewArray(std::move(holder), slice, 2, nulls);
    }
    if (!column.Interned()) {
        holder->buffers[1] = column.offsets.As();
        holder->buffers[2] = column.values.As();
        return NewArray(std::move(holder), slice, 3, nulls);
    }
    auto values = HolderOf(batch);
    values->buffers = {nullptr, column.offsets.As(), column.values.As()};
    holder->buffers[1] = column.indices.As();
    holder->dictionary = NewArray(std::move(values), {0, column.dictionarySize}, 3, 0);
    return NewArray(std::move(holder), slice, 2, nulls);
}

OwnedArray OwnArray(const std::shared_ptr<const Batch>& batch, const Column& column, Slice slice) {
    auto holder = HolderOf(batch);
    holder->buffers[1] = column.own.As();
    return NewArray(std::move(holder), slice, 2, 0);
}

// The columns of a batch, and in the nested form the level below as a list.
std::unique_ptr<SchemaHolder> StructSchema(const Batch& batch, Form form, bool isTop) {
    auto holder = std::make_unique<SchemaHolder>();
    holder->format = "+s";
    for (const Column& column : batch.columns) {
        if (!isTop && batch.hasParent && &column == batch.columns.data()) continue;
        AddChild(*holder, ColumnSchema(column));
        if (column.own.Room() > 0) AddChild(*holder, OwnSchema(column));
    }
    if (form == Form::nested && batch.below != nullptr) {
        auto list = std::make_unique<SchemaHolder>();
        list->name = batch.below->name;
        MakeList(*list, StructSchema(*batch.below, form, false));
        AddChild(*holder, NewSchema(std::move(list), false));
    }
    return holder;
}

std::unique_ptr<ArrayHolder> StructArray(const std::shared_ptr<const Batch>& batch, Slice slice, Form form,
                                         bool isTop) {
    auto holder = HolderOf(batch);
    for (const Column& column : batch->columns) {
        if (!isTop && batch->hasParent && &column == batch->columns.data()) continue;
        AddChild(*holder, ColumnArray(batch, column, slice));
        if (column.own.Room() > 0) AddChild(*holder, OwnArray(batch, column, slice));
    }
    if (form == Form::nested && batch->below != nullptr) {
        const Slice all{0, batch->below->rows};
        auto list = HolderOf(batch);
        list->buffers[1] = batch->starts.As();
        AddChild(*list, NewArray(StructArray(batch->below, all, form, false), all, 1, 0));
        AddChild(*holder, NewArray(std::move(list), slice, 2, 0));
    }
    return holder;
}

}  // namespace

void ExportSchema(const Batch& batch, Form form, ArrowSchema* schema) {
    FillSchema(schema, StructSchema(batch, form, true), false);
}

void ExportArray(const std::shared_ptr<const Batch>& batch, u64 first, u64 rows, Form form,
                 ArrowArray* array) {
    FillArray(array, StructArray(batch, {first, rows}, form, true), {0, rows}, 1, 0);
}

bool SameSchema(const Batch& a, const Batch& b) {
    const auto same = [](const Column& x, const Column& y) {
        return x.id == y.id && x.type == y.type && x.width == y.width && x.Interned() == y.Interned();
    };
    return std::equal(a.columns.begin(), a.columns.end(), b.columns.begin(), b.columns.end(), same);
}

}  // namespace torva::tables::columns
