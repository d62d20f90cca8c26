// Sections of a symbol file as rows.
//
//     auto source = FileSource::FromPath("market.sym");        // throws Error
//     Reader reader(source);                               // throws Error
//     RowCursor rows = reader.Rows(14);
//     while (rows.Next()) {
//         const Level& level = section.levels[rows.Level()];   // format/Sections.h describes the columns
//         ...rows.Cells()...
//     }
//     for (const Problem& problem : rows.Result().problems) ...
//
// Rows come one by one and none is kept, so memory does not grow with the file. A row is valid until the next
// Next. A row of level n belongs to the row of level n - 1 delivered last. A damaged section delivers exactly
// what the library's exports deliver of it, and the problems say where it broke: everything is read by the
// library's own operations.
//
// A Reader has one position: starting a cursor ends the one before, which then must not be used any more. For
// several at once (a join, a comparison, threads) make several Readers of one FileSource. A Reader may be
// used by one thread at a time; the FileSource of many may be shared. A cursor must not outlive its Reader.
#pragma once

#include <memory>
#include <string>

#include "format/Sections.h"
#include "tables/rows/Rows.h"
#include "tables/source/FileDirectory.h"

namespace torva::tables {

// Memory reads the file whole; File reads through a buffer, so that memory stays bounded; Auto is Memory for
// files of up to 64 MiB. What is delivered differs only in damaged files. Memory given as bytes is never
// copied, whatever the mode.
enum class ReadMode : u8 { Auto, File, Memory };

struct ReaderOptions {
    ReadMode mode = ReadMode::Auto;
    std::vector<u16> filter = {};  // field ids that symbols deliver; empty: all
    Progress progress = {};
    u64 budget = 0;  // bytes for the values of a row; 0: enough for every row of the file
    // Called once for each symbol of a walk, with its number in the file from 1 on: false leaves it out. All
    // are taken where it is empty.
    std::function<bool(u64 number)> takes = {};
};

// The default fields cannot be loaded in memory mode; file mode may read the other sections without them.
class DefaultsUnreadable : public Error {
public:
    using Error::Error;
};

class SectionRows;
class SymbolRows;

// The rows of one section, from the first to the last.
class RowCursor {
public:
    explicit RowCursor(std::unique_ptr<SectionRows> sectionRows);
    RowCursor(RowCursor&&) noexcept;
    RowCursor& operator=(RowCursor&&) noexcept;
    ~RowCursor();

    // Moves to the next row; false at the end, which is also where damage or a cancellation ends the walk.
    bool Next();

    // Of the row, valid until the next call of Next.
    std::size_t Level() const;
    std::span<const Cell> Cells() const;

    const WalkResult& Result() const;

private:
    std::unique_ptr<SectionRows> rows;
};

// The symbols, in file order.
class SymbolCursor {
public:
    explicit SymbolCursor(std::unique_ptr<SymbolRows> symbolRows);
    SymbolCursor(SymbolCursor&&) noexcept;
    SymbolCursor& operator=(SymbolCursor&&) noexcept;
    ~SymbolCursor();

    // The next call of Next reads the record that begins `offset` bytes after the section's start. Of a walk
    // in which no record broke off.
    void MoveTo(u32 offset);

    bool Next();
    const SymbolView& Symbol() const;  // valid until the next call of Next
    const WalkResult& Result() const;  // rows: symbols, and fields with defaults

private:
    std::unique_ptr<SymbolRows> symbols;
};

class Reader {
public:
    struct OpenFile;

    // Throws Error when the source is not a symbol file, or its default fields cannot be loaded; bad_alloc.
    explicit Reader(std::shared_ptr<const FileSource> bytes, ReaderOptions readerOptions = {});
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    ~Reader();

    const std::string& Name() const { return source->Name(); }
    const FileSource& Bytes() const { return *source; }
    const std::shared_ptr<const FileSource>& Source() const { return source; }
    const ReaderOptions& Options() const { return options; }
    const FileDirectory& Directory() const { return directory; }

    // Section 1, in file order, duplicates included; through the filter. Valid as long as the Reader.
    const std::vector<SymbolField>& Defaults() const { return defaults; }

    // Every row of a section, each level in file order; sections 18 and 21 by ascending id. Of section 2 the
    // rows are the records' own fields. For an id without a reader, or a section that is not there, the
    // cursor has no rows and its result is not `present`.
    RowCursor Rows(u16 id);

    // Every symbol with its fields, defaults included.
    SymbolCursor Symbols();

    // The same with a call for each row, or symbol; a sink that returns false ends the walk.
    template <class Sink>
    WalkResult WalkSection(u16 id, Sink&& sink) {
        RowCursor rows = Rows(id);
        while (rows.Next()) sink(rows.Level(), rows.Cells());
        return rows.Result();
    }
    template <class Sink>
    WalkResult WalkSymbols(Sink&& sink) {
        SymbolCursor symbols = Symbols();
        while (symbols.Next() && sink(symbols.Symbol())) {
        }
        return symbols.Result();
    }

private:
    friend class SectionAdapter;

    std::shared_ptr<const FileSource> source;
    ReaderOptions options;
    FileDirectory directory;
    std::unique_ptr<OpenFile> open;
    std::vector<SymbolField> defaults;
};

}  // namespace torva::tables
