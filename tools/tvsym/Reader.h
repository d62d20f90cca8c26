// Reading a symbol file the way every command of the tool does: through TorvaAPI.hpp alone, as any host
// would.
//
// How a command uses it:
//
//     FileOptions options;                        // Options.h: FILE, --file-mode, --dictionary, --encoding,
//     --quiet
//     ...AddFileOptions(app, options)...
//
//     Reader reader(options.file, {options.Mode()});     // throws ToolError (exit status 2) when it cannot
//     for (const Problem& problem : reader.DirectoryProblems()) PrintProblem(reader.Name(), problem);
//
//     Walk walk = reader.WalkSymbols([&](const SymbolView& symbol) {
//         ...symbol.text, symbol.fields: own fields first, then defaults...
//         return true;                            // false ends the walk
//     });
//     for (const Problem& problem : walk.problems) PrintProblem(reader.Name(), problem);
//
//     walk = reader.WalkSection(14, [&](size_t level, std::span<const Cell> cells) {
//         ...one row; Sections.h tells the columns of each level...
//     });
//     return walk.problems.empty() ? kExitOk : kExitFindings;
//
// Rows come one by one and nothing is kept, so memory does not grow with the file. What a row or symbol
// points to lives until the callback returns. A damaged section delivers what can be read, and `problems`
// says where it broke.
//
// A file has one cursor: a walk must not begin inside the callback of another walk on the same Reader. Two
// Readers may stand side by side (diff), but not on one file: the library opens a file for itself alone.
//
// Default fields. Right after the open, with no record in progress, tv_GetAgainSymData hands out the whole
// table of default fields as it would for a record without fields; Reader calls it there, once, and keeps the
// copies (Defaults()). In the symbol walk a record's own fields come first and its defaults behind them. How
// many are own follows from tv_GetSymDataProgress: its step over one record is the record's size in the file,
// and each own field takes 3 bytes and its payload. With a filter the bytes of fields that were left out are
// counted as well, so nothing can be told; then SymbolView::marked is false.
//
// Reading mode. Files up to 64 MiB are read whole (memory mode), larger ones through the library's buffer
// (file mode), so that memory stays bounded. A command may ask for one of the two.
#pragma once

#include <functional>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "TorvaAPI.hpp"
#include "tools/tvsym/RawFile.h"
#include "tools/tvsym/Sections.h"
#include "tools/tvsym/Tool.h"

namespace tvsym {

class ProgressBar;

// One column of one row. Which member counts, the column's kind says.
struct Cell {
    u64 number = 0;             // Number; the tag of a Field
    std::string_view bytes;     // Text (without its zero byte), Bytes, Field (payload)
    std::span<const u16> list;  // List
};

struct FieldView {
    u16 id = 0;
    u8 tag = 0;
    bool isDefault = false;
    bool cut = false;        // the data ended inside the payload; `value` holds what came
    std::string_view value;  // payload; a text without its zero byte
};

struct SymbolView {
    std::string_view text;
    std::span<const FieldView> fields;
    bool marked = true;    // FieldView::isDefault tells own fields from defaults
    bool complete = true;  // false: the record broke off; `fields` holds what came
};

// How a walk over one section went.
struct Walk {
    bool present = false;   // the library found the section
    std::vector<u64> rows;  // delivered, for each level
    i32 result = 0;         // of the call that ended the walk, where that was an error
    std::vector<Problem> problems;
};

using SymbolSink = std::function<bool(const SymbolView& symbol)>;
using RowSink = std::function<void(size_t level, std::span<const Cell> cells)>;

enum class ReadMode : u8 { Auto, File, Memory };

struct ReaderOptions {
    ReadMode mode = ReadMode::Auto;
    std::vector<u16> filter = {};     // ids for the library's filter; none: all fields
    ProgressBar* progress = nullptr;  // told of the bytes gone through
};

// A symbol file by its path. "-" is the standard input, copied to a temporary file that goes with the object.
class InputFile {
public:
    explicit InputFile(const std::string& path);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    const std::string& Name() const { return name; }  // for messages
    const std::string& Path() const { return spoolPath.empty() ? name : spoolPath; }

private:
    std::string name;
    std::string spoolPath;
};

class Reader {
public:
    explicit Reader(const std::string& path, ReaderOptions options = {});
    // For a file that is read more than once.
    explicit Reader(std::shared_ptr<const InputFile> inputFile, ReaderOptions options = {});

    const std::string& Name() const { return input->Name(); }
    const RawFile& Raw() const { return raw; }

    // Section 1, in file order, duplicates included; through the filter when there is one.
    const std::vector<FieldView>& Defaults() const { return defaults; }

    // What the directory alone shows to be wrong: cut off, sections behind the end, a wrong id at the start,
    // further entries of an id. An id that no reader knows is no fault.
    std::vector<Problem> DirectoryProblems() const;

    // Every symbol; the sink's false ends the walk. A repeat starts again at the first symbol.
    Walk WalkSymbols(const SymbolSink& sink);

    // Every row of a section, each level in file order. Sections 18 and 21 come by ascending id. Of section 2
    // the rows are the records' own fields. An id without reader gives a Walk that is not present.
    Walk WalkSection(u16 id, const RowSink& sink);

    // Bytes of the file that no export hands out: sections without a reader, further entries of an id, and
    // what lies between sections. They come in pieces; the library's hold on the file is given up for the
    // time. Not to be called within a walk.
    void ReadRaw(u64 offset, u64 size, const std::function<void(std::string_view)>& sink);

private:
    friend class Walker;

    const std::string& Path() const { return input->Path(); }
    void Open();
    void OpenForRepeat(u16 id);
    [[noreturn]] void RefuseOpen(i32 code) const;
    void LoadDefaults();

    std::shared_ptr<const InputFile> input;
    ReaderOptions options;
    RawFile raw;
    tvapi::Library library;
    tvapi::File file;
    std::set<u16> walked;  // sections that were
    std::vector<FieldView> defaults;
    std::vector<tvapi::Value> defaultValues;  // what they point to
};

}  // namespace tvsym
