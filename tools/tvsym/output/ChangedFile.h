// What the commands that change files share: the records of section 2 as bytes, and a result that is checked
// and takes its place when it is safe on the disk.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tables/Hash.h"
#include "tables/dictionary/Dictionary.h"
#include "tables/rows/Reader.h"
#include "tables/rows/SymbolScan.h"
#include "tools/tvsym/output/Replacement.h"
#include "tools/tvsym/output/Rewrite.h"
#include "tools/tvsym/output/Spool.h"

namespace tvsym {

// A record as it is in the file. Valid until the next one.
struct Record {
    u64 number;               // of the symbol, from 1
    std::string_view symbol;  // in the file's character set
    std::string_view bytes;
    std::span<const SymbolField> own;  // where they were asked for
};

// The records of a file up to the first that is not whole.
struct RecordWalk {
    u64 records = 0;
    u64 end = 0;   // offset in the file after the last of them
    u64 tail = 0;  // bytes from there to the section's end: damage
    std::vector<Problem> problems;
};
RecordWalk WalkRecords(Reader& reader, bool ownFields, const std::function<void(const Record&)>& sink);

// Records for a new section 2, and what is needed to know them again.
class RecordSpool {
public:
    void Add(std::string_view symbol, std::string_view record);
    void Add(std::string_view record);                               // a whole one, with its symbol in it
    void AddTail(const FileSource& source, const RecordWalk& walk);  // damage, as it was

    u64 Count() const { return count; }
    const std::shared_ptr<Spool>& Bytes() const { return bytes; }

    // Whether the records that a file begins section 2 with are these.
    bool Matches(Reader& reader) const;

private:
    static u64 Step(u64 digest, std::string_view symbol, std::string_view record) {
        return HashStep(Hash(symbol, digest), record.size());
    }

    std::shared_ptr<Spool> bytes = std::make_shared<Spool>();
    u64 count = 0;
    u64 digest = kHashStart;
};

// Where a result goes.
struct ChangeTarget {
    std::string source;    // which is read; may be replaced only with `inPlace`
    std::string path;      // "-" for the standard output
    bool inPlace = false;  // `path` is that of the source
    bool dryRun = false;   // nothing is written
};

// Writes the result beside its place, reads it back and compares its records with `symbols` where that is not
// null. Throws ToolError.
std::unique_ptr<Replacement> WriteBeside(const Rewrite& result, const RecordSpool* symbols,
                                         const ChangeTarget& target);

// The same, and lets it take its place, with the dictionary beside it.
void WriteChanged(const Rewrite& result, const RecordSpool* symbols, const ChangeTarget& target,
                  const Dictionary& dictionary);

// One line about what was done: on the standard output, unless the result goes there. With `dryRun` it says
// that nothing was written.
void ReportChange(const ChangeTarget& target, const std::string& line);

}  // namespace tvsym
