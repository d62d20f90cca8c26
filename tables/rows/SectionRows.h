// Walks over the sections of a file by the library's section readers, one element per call: elements as rows,
// what their errors mean, and what the counts and sizes at the end say about the section.
//
// Each family of sections has one adapter (SectionRows.cpp), which only calls the operations of its reader
// and fills cells. What all walks share is here.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>

#include "tables/rows/OpenFile.h"

namespace torva::tables {

// What a walk has of its section and its file, whatever it delivers.
class SectionAdapter {
public:
    SectionAdapter(Reader& reader, u16 id);
    virtual ~SectionAdapter() = default;
    SectionAdapter(const SectionAdapter&) = delete;
    SectionAdapter& operator=(const SectionAdapter&) = delete;

    WalkResult result;

protected:
    // What a call of a section reader came to; errors are the library's negative codes.
    static constexpr i32 kEnd = 0;
    static constexpr i32 kElement = 1;

    void Note(std::string what);
    void Fail(i32 error);
    // Bytes of the section that were gone through, counted as the library counts them.
    u64 Consumed() const { return file.sectionSize == 0 ? 0 : file.sectionConsumed; }
    void Advanced();  // by a row or a symbol
    // Ends the walk: compares what was delivered with the counts and sizes in the section's head and the
    // directory.
    void End();
    static std::string ErrorText(i32 error);

    Reader& owner;
    Reader::OpenFile& open;
    FileReader& file;
    const SectionInfo* section = nullptr;
    const DirectoryEntry* entry = nullptr;
    std::optional<u32> announced;  // rows of level 0 by the section's head
    u64 consumed = 2;              // at the end, counted as the size in the directory counts
    bool ended = false;

private:
    u64 Position() const;

    u64 sinceProgress = 0;
    u64 reported = 0;  // bytes that the progress callback knows of
};

// Rows, in calls that each deliver an element of one or more rows.
class SectionRows : public SectionAdapter {
public:
    using SectionAdapter::SectionAdapter;

    bool Next();

    std::size_t level = 0;
    std::array<Cell, 4> cells;
    std::size_t cellCount = 0;

protected:
    // Begins the section, or reads its next element. Returns kElement, kEnd or an error; after an error, what
    // came of the element is delivered first.
    virtual i32 Begin() = 0;
    virtual i32 Call() = 0;
    // Moves to the next row of the element; false when all were delivered.
    virtual bool Item() = 0;

    template <class... Cells>
    bool Emit(std::size_t rowLevel, const Cells&... rowCells) {
        level = rowLevel;
        cellCount = sizeof...(rowCells);
        std::size_t at = 0;
        ((cells[at++] = rowCells), ...);
        return true;
    }

private:
    bool begun = false;
    i32 reached = kElement;
};

// The rows of any section.
std::unique_ptr<SectionRows> MakeSectionRows(Reader& reader, u16 id);

}  // namespace torva::tables
