// One column while its rows come in, and when they all have.
//
// A builder receives the values that records carry, in row order. It does not learn of rows without one: the
// rows between two values are filled with the default field, or nulls, when the later value comes. So a
// record costs what it carries, and neither validity nor defaults cost anything where there are no gaps.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "TorvaTables.h"
#include "format/Fields.h"
#include "tables/columns/Buffer.h"
#include "tables/columns/Interner.h"
#include "text/Text.h"

namespace torva::tables::columns {

// What a field's values are taken for.
enum class Kind : u8 { kAuto, kText, kUnsigned, kSigned, kFloat, kDate, kBool, kHex };

// What is known of a column before its values.
struct ColumnSpec {
    u16 id = 0;
    Kind kind = Kind::kAuto;  // kAuto: text for the text tag, unsigned for tags with a payload of fixed width
    u8 tag = 0;               // the type is taken from this tag; 0: from the first value
    bool interned = false;    // texts are numbered from the first row on
    std::string name;
    bool isSymbol = false;
    bool binary = false;   // texts stay bytes, whatever they are
    bool guessed = false;  // the kind comes from a tag: only values of such tags are of it
};

// A typed field as stored in the file. The payload of a text includes its terminator. A fixed payload has
// kMostPayload readable bytes.
struct FieldView {
    u8 tag = 0;
    const u8* payload = nullptr;
    u32 size = 0;
};

// A column when all its rows are there. Offsets and indices of texts have 32 bits.
struct Column {
    u16 id = 0;
    u8 tag = 0;
    u8 type = TVT_NULL;
    u32 width = 0;
    std::string name;
    u64 rows = 0;
    u64 nulls = 0;
    u64 conflicts = 0;
    u64 impossible = 0;
    u64 repeated = 0;
    u64 dictionarySize = 0;  // values that the offsets address; without indices, rows
    bool isField = false;    // of a symbol's field, with `id` and `tag`
    bool nullable = false;   // may have nulls, here or in another file
    Buffer validity;         // empty where nulls is 0
    Buffer own;
    Buffer values;
    Buffer offsets;
    Buffer indices;

    bool Texts() const { return type == TVT_TEXT || type == TVT_BINARY; }
    bool Interned() const { return indices.Room() > 0; }
    u64 Bytes() const {
        return validity.Room() + own.Room() + values.Room() + offsets.Room() + indices.Room();
    }
    // The bytes of row `row` of a column of texts, which is not null.
    std::string_view Text(u64 row) const {
        const u64 at = Interned() ? static_cast<u64>(indices.As<i32>()[row]) : row;
        const i32* const ends = offsets.As<i32>() + at;
        return {values.As<char>() + ends[0], static_cast<std::size_t>(ends[1] - ends[0])};
    }
    void Detach() {
        for (Buffer* const buffer : {&validity, &own, &values, &offsets, &indices}) buffer->Detach();
    }
    bool IsNull(u64 row) const { return type == TVT_NULL || (nulls > 0 && !Bit(validity.As(), row)); }

    // Makes a column of bytes TVT_TEXT where they all are, by the codec or, where that is null, as UTF-8;
    // else TVT_BINARY. Throws std::bad_alloc and LimitError.
    void DecideText(TextCodec* codec, Budget* budget);
};

class ColumnBuilder {
public:
    ColumnBuilder(ColumnSpec columnSpec, bool wantOwn, Budget* columnBudget);

    // The default field: what a row without a value of its own gets. Before the first value.
    void SetDefault(const FieldView& field);

    // A record's value for `row`, which is not below the one before. `readable` ends the bytes that may be
    // read from `payload` on.
    void Put(u32 row, u8 fieldTag, const u8* payload, u32 size, const u8* readable) {
        if (filled != row) {
            if (filled > row) return PutAgain();
            Fill(row);
        }
        if (fieldTag != tag || row >= capacity) return PutSlowly(row, {fieldTag, payload, size});
        switch (store) {
            case Store::k1:
                values.As()[row] = *payload;
                break;
            case Store::k2:
                std::memcpy(values.As() + std::size_t{row} * 2, payload, 2);
                break;
            case Store::k4:
                std::memcpy(values.As() + std::size_t{row} * 4, payload, 4);
                break;
            case Store::k8:
                std::memcpy(values.As() + std::size_t{row} * 8, payload, 8);
                break;
            case Store::kText:
                return PutText(row, payload, size - 1, readable);
            default:
                return PutSlowly(row, {fieldTag, payload, size});
        }
        filled = row + 1;
    }

    // Whether `row` has a value already. Rows are not filled yet that are.
    bool Has(u32 row) const { return filled > row; }

    // Makes room for that many rows in all, and for texts that grow by the factor. Throws LimitError and
    // std::bad_alloc, with what is there kept.
    void ReserveFor(u32 rows, double textGrowth);

    // Takes back what was put for `row`, with which the table ends.
    void TakeBack(u32 row);

    // After the first kSampleRows rows: decides whether the texts are numbered.
    void DecideInterning(u32 rows);

    // Fills up to `rows`, and moves the column out. Texts are decoded by the codec; null: they are UTF-8.
    Column Finish(u32 rows, TextCodec* codec);

    // The column's spec with the type that its values gave it.
    ColumnSpec Known() const;
    const ColumnSpec& Spec() const { return spec; }
    u32 Width() const { return sourceWidth; }

    // Appends the rows of another builder of the same field, which continues where this one's `rows` end.
    // False, with both unusable, where that one took its values for another type than this one would have.
    bool Append(ColumnBuilder& next, u32 rows, u32 nextRows);

    static constexpr u32 kSampleRows = 8192;

    u64 repeated = 0;

private:
    enum class Store : u8 { kNone, k1, k2, k4, k8, kText, kOther };
    enum class Verdict : u8 { kValue, kNull, kConflict, kImpossible };
    struct Cell {
        Verdict verdict = Verdict::kNull;
        u64 bits = 0;
        std::string_view text;
    };

    void PutText(u32 row, const u8* text, u32 size, const u8* readable) {
        if (interned != nullptr) {
            offsets.As<i32>()[row] = static_cast<i32>(interned->Number(text, size, budget));
            plainBytes += size;
        } else {
            constexpr std::size_t kBlock = 32;
            const std::size_t held = static_cast<std::size_t>(offsets.As<i32>()[row]);
            if (held + size + kBlock > texts.Room()) GrowTexts(held, size);
            u8* const to = texts.As() + held;
            if (size <= kBlock && static_cast<std::size_t>(readable - text) >= kBlock) {
                std::memcpy(to, text, kBlock);
            } else {
                std::memcpy(to, text, size);
            }
            offsets.As<i32>()[row + 1] = static_cast<i32>(held + size);
        }
        filled = row + 1;
    }

    void PutAgain() { ++repeated; }
    void PutSlowly(u32 row, const FieldView& field);
    void PutNull(u32 row);
    void PutCell(u32 row, const Cell& cell);
    void Fill(u32 to);
    void FillNull(u32 to);
    void FillDefault(u32 to);
    void Reserve(u32 rows);
    void GrowTexts(std::size_t held, std::size_t more);
    bool Decide(u8 fieldTag);
    void Widen(u8 fieldTag);
    void SetStore();
    Cell Convert(const FieldView& field) const;
    void ConvertDefault();
    void NeedValidity();
    void CloseRuns();
    void InternRows(u32 rows);
    void Expand();
    std::size_t TextBytes(u32 rows) const;
    bool IsText() const { return store == Store::kText; }
    u64& FaultCounter() { return faultyVerdict == Verdict::kConflict ? conflicts : impossible; }

    // What the fast path reads, together.
    u32 filled = 0;    // rows that have their value
    u32 capacity = 0;  // rows that there is room for
    u8 tag = 0;        // values of this tag take the fast path
    Store store = Store::kNone;
    u8 storeWidth = 0;   // bytes of a stored value
    u8 sourceWidth = 0;  // bytes of the widest payload it was taken from; 0 for texts
    Buffer values;       // fixed widths; bools a byte each
    Buffer offsets;      // texts: offsets; numbered texts: the numbers
    Buffer texts;
    std::unique_ptr<Interner> interned;
    u64 plainBytes = 0;  // of the numbered texts, were they not numbered
    Budget* budget;

    ColumnSpec spec;
    bool wantsOwn;
    bool hasDefault = false;
    u8 defaultTag = 0;
    std::string defaultPayload;
    Cell defaultCell;
    std::string defaultText;

    Buffer validity;    // from the first null on: the rows below validFrom
    u32 validFrom = 0;  // rows from here to `filled` are valid
    Buffer own;
    u32 ownFrom = 0;  // rows from here to `filled` are the records' own
    u64 nulls = 0;
    u64 conflicts = 0;
    u64 impossible = 0;
    u32 faultyRow = ~u32{0};  // the last row whose own value was counted
    Verdict faultyVerdict = Verdict::kNull;
};

// Days since 1970-01-01 of a number yyyymmdd.
bool DaysOfDate(u64 number, i32& days);

// Whether every one of the `count` texts at `offsets` is UTF-8.
bool AllUtf8(const u8* bytes, const i32* offsets, u64 count);

}  // namespace torva::tables::columns
