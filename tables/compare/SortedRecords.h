// Records of a key and a value, sorted by key, however many: what does not fit into memory goes to a
// temporary file in sorted runs, which are merged when the records are read.
#pragma once

#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tables/Error.h"

namespace torva::tables {

class SortedRecords {
public:
    // Creates an empty file and returns its path.
    using MakeFile = std::function<std::string()>;

    // `memoryBytes` is what the records may take before a run is written. The file from `makeFile` is removed
    // by the destructor. Without `makeFile` all records stay in memory.
    SortedRecords(std::size_t memoryBytes, MakeFile makeFile);
    ~SortedRecords();
    SortedRecords(const SortedRecords&) = delete;
    SortedRecords& operator=(const SortedRecords&) = delete;

    void Add(std::string_view key, std::string_view value);

    // Ends the adding and moves to the first record. Records of one key keep the order in which they were
    // added. This and Add throw Error when the temporary file fails.
    void Sort();

    // The current record; the views live until the next call of Next.
    bool AtEnd() const { return atEnd; }
    std::string_view Key() const { return key; }
    std::string_view Value() const { return value; }
    void Next();

private:
    struct Run;

    std::string_view KeyAt(std::size_t offset) const;
    void SortMemory();
    void WriteRun();
    void TakeFromMemory();
    void TakeFromRuns();

    std::size_t limit;
    MakeFile makeTemporaryFile;
    std::string bytes;                 // u32 key size, u32 value size, key, value
    std::vector<std::size_t> offsets;  // of the records in `bytes`
    std::size_t nextOffset = 0;        // index of the record after the current one
    std::string path;                  // of the temporary file; empty until it is created
    std::fstream file;
    u64 fileSize = 0;
    std::vector<std::unique_ptr<Run>> runs;  // a heap, the smallest record first, once sorted
    bool atEnd = true;
    std::string_view key;
    std::string_view value;
    std::string current;  // holds them when they come from a run
};

}  // namespace torva::tables
