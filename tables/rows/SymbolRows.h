// Section 2: symbols with all their fields, or rows of the records' own fields.
#pragma once

#include "library/stream/SymbolStream.h"
#include "tables/rows/SectionRows.h"

namespace torva::tables {

// Own fields are distinguished from defaults by their bytes: the step of the section's counter over a record
// is the record's size in the file, and each own field takes 3 bytes and its payload. With a filter the
// fields that were left out are counted too, so that it cannot be determined.
class SymbolRows final : public SectionRows {
public:
    explicit SymbolRows(Reader& reader);
    ~SymbolRows() override { Release(); }

    // Continues with the record that begins `offset` bytes after the section's start.
    void MoveTo(u32 offset);

    // Moves to the next symbol. Either this or Next.
    bool NextSymbol();
    const SymbolView& Symbol() const { return symbol; }

private:
    i32 Begin() override { return kElement; }
    i32 Call() override;
    bool Item() override;

    i32 NextRecord();
    i32 ReadRecord(bool& part);
    void View(bool complete);
    void MarkFields(u64 ownBytes, bool complete);
    void Release();

    SymbolStream& stream;
    std::unique_ptr<char[]> text;
    std::vector<SymFieldItem> items;
    std::size_t itemCount = 0;  // of the record; the caller of the library owns their values
    std::size_t chunk;
    std::vector<SymbolField> fields;
    SymbolView symbol;
    u64 number = 0;            // of the record, from 1
    bool broken = false;       // the walk ends with the record in hand
    std::size_t nextItem = 0;  // of the rows of the record: 0 is the symbol; past the end: none
};

}  // namespace torva::tables
