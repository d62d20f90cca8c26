// The symbols of a file into columns.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "symwrite/Json.h"
#include "tables/columns/Column.h"
#include "tables/columns/Source.h"

namespace torva::tables::columns {

// What a load is asked for, from TvtOptions.
struct LoadOptions {
    std::vector<u16> fieldIds;  // empty: every field
    bool defaults = true;
    bool ownFlags = false;
    bool dictionaries = true;
    u32 threads = 1;
    u32 batchRows = 65536;
    u64 memoryLimit = 0;
    // Of a stream: the records that begin in this range, counted from the section's start; see CutRecords.
    u64 firstRecord = 2;
    u64 endRecord = ~u64{0};
    bool binarySymbols = false;                               // the symbols are not all UTF-8
    std::shared_ptr<TextCodec> codec;                         // decodes texts; null: they are UTF-8
    std::shared_ptr<const symwrite::FieldDictionary> fields;  // the dictionary; null: there is none
    std::function<ColumnSpec(u16 id)> specOf;                 // name and kind of a field
};

struct Damage {
    i32 code = 0;    // 0: none
    u64 offset = 0;  // of the record in the file
    std::string message;
};

// A file that cannot be loaded at all. `code` is a TVT_ERR_ code.
struct LoadError {
    i32 code = 0;
    std::string message;
};

// The symbol section and what counts for all of its records.
struct Stream {
    bool found = false;
    u64 offset = 0;  // of the section in the file
    u32 size = 0;    // as its directory entry says
    struct Default {
        u16 id = 0;
        u8 tag = 0;
        std::string payload;  // of a text with its zero byte
    };
    std::vector<Default> defaults;

    // Reads the directory and the default fields. Throws LoadError.
    static Stream Open(const Source& source);
};

// Turns bytes of the symbol section into columns, piece by piece.
class ColumnLoader {
public:
    // `known`: what is known of columns in advance. `firstOffset` is where the first record begins, counted
    // from the section's start.
    ColumnLoader(const Stream& symbolStream, const LoadOptions& loadOptions, Budget* loadBudget,
                 const std::vector<ColumnSpec>& known, u64 firstOffset);

    // Reads the records at `data`, which has `size` bytes and, with `last`, all that the file has from there
    // on. Stops at a record that is not whole there, and before row `rowLimit`. Returns the bytes that it
    // read; Done() says whether that was the end.
    std::size_t Feed(const u8* data, std::size_t size, bool last, u32 rowLimit);

    bool Done() const { return done; }
    u32 Rows() const { return rows; }
    const Damage& Broken() const { return damage; }

    // Moves out the columns up to now: the symbols, then the fields by id.
    std::vector<Column> Finish();

    // Continues with row 0 of new columns.
    void Restart(const std::vector<ColumnSpec>& known);

    // Stops before the record that begins at this offset from the section's start.
    void StopAt(u64 offset) { stopAt = offset; }
    bool Stopped() const { return consumed >= stopAt; }

    // What the columns are was decided by another loader.
    void SkipSample() { sampled = true; }

    // Decides what needs a sample of rows. Finish does it for fewer rows.
    void DecideFromSample();
    std::vector<ColumnSpec> Known() const;

    // Makes room for the rows of the section's other bytes, at what the rows up to now took of them. A block
    // that grows step by step is copied each time, and leaves holes where memory cannot be remapped.
    void ReserveFor(u64 sectionBytes);

    // Appends the rows of the loader that continues where this one stopped. False where their columns have
    // different types: then all rows must be loaded by one.
    bool Append(ColumnLoader& next);

    // A sink of DeliverFields.
    static bool Full() { return false; }
    static const u8* TextLimit(const u8* /*text*/, const u8* end) { return end; }
    bool Take(u16 id, u8 tag, const u8* payload, u32 size) {
        const u32 slot = slots[id];
        if (slot >= kNew) return slot == kUnwanted || TakeNew(id, tag, payload, size);
        ColumnBuilder& column = columns[slot];
        if (column.Has(rows)) {
            again.push_back(slot);
            return true;
        }
        column.Put(rows, tag, payload, size, readable);
        return true;
    }

private:
    enum class Outcome : u8 { kRow, kMore, kEnd };
    static constexpr u32 kNew = 0xfffffffe;
    static constexpr u32 kUnwanted = 0xffffffff;

    void Start();
    u32 AddColumn(const ColumnSpec& spec);
    bool TakeNew(u16 id, u8 tag, const u8* payload, u32 size);
    Outcome Record(const u8* data, const u8* end, const u8*& next, bool last);
    i32 TakeRest(const u8*& next, const u8* end, u64& recordConsumed, u32 recordSize, bool last);
    Outcome End(i32 code, const char* message);
    void TakeBackRow();
    bool HasValues() const;

    const Stream& stream;
    const LoadOptions& options;
    Budget* const budget;
    std::vector<ColumnSpec> knownSpecs;
    u64 stopAt = ~u64{0};
    u64 consumed;  // bytes of the section before the next record, its id included

    std::vector<u32> slots;  // by field id: index in `columns`, kNew or kUnwanted
    std::vector<ColumnBuilder> columns;
    ColumnBuilder symbols;
    u32 rows = 0;
    const u8* readable = nullptr;  // end of the bytes in the window
    std::vector<u32> again;        // columns that the current record has a second value of
    bool sampled = false;
    bool done = false;
    Damage damage;
};

// Feeds a loader from a source, from `firstOffset` of the file on.
class Feeder {
public:
    Feeder(const Source& from, u64 firstOffset) : source(from), offset(firstOffset) {}

    // Until the loader is done or has `rowLimit` rows. Throws LoadError where the system cannot read.
    void Run(ColumnLoader& loader, u32 rowLimit);

    // Of the next record, for bytes in memory.
    u64 Offset() const { return offset; }

private:
    void Fill();

    const Source& source;
    u64 offset;  // of the bytes to read next
    std::vector<u8> window;
    std::size_t begin = 0;
    std::size_t end = 0;
    bool ended = false;    // the window has the last byte of the file
    bool starved = false;  // the bytes in the window are not a whole record
};

// A file loaded whole.
struct Loaded {
    std::vector<Column> columns;
    u32 rows = 0;
    Damage damage;
};

// What the columns of a file of `size` bytes may take.
u64 MemoryLimit(u64 size, const LoadOptions& options);

// Throws LoadError, LimitError and std::bad_alloc.
Loaded Load(const Source& source, const LoadOptions& options);

}  // namespace torva::tables::columns
