// Symbol files from plain data: the sections as rows (format/Sections.h describes them), and the functions
// that lay them out as bytes.
//
// Tests, fuzzers, benchmarks and the tool share this; the library does not link it. Besides well-formed files
// it writes files that are wrong on purpose: each optional member below, when set, is written instead of the
// value that would be true, and nothing else changes for it.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "format/Fields.h"

namespace symwrite {

using Bytes = std::vector<std::uint8_t>;

// Content that a symbol file cannot express, or a stream that did not take the bytes. Nothing is ever cut to
// fit.
class WriteError : public std::runtime_error {
public:
    // `place` is a path into the data, as in "/sections/2/groups/3/name".
    WriteError(const std::string& place, const std::string& message);
    const std::string& Where() const { return where; }

private:
    std::string where;
};

// A typed field. `value` holds, by tag: 7, the text without its terminator; 1 to 6, 8 and 9, exactly
// `PayloadWidth(tag)` bytes; any other tag, nothing.
struct Field {
    std::uint16_t id = 0;
    std::uint8_t tag = 0;
    std::string value;
    bool operator==(const Field&) const = default;
};

using torva::kTextTag;
using torva::PayloadWidth;

Field TextField(std::uint16_t id, std::string text);
// The low bytes of `number`, as many as the tag's payload has; throws std::invalid_argument for a tag without
// width.
Field NumberField(std::uint16_t id, std::uint8_t tag, std::uint64_t number);
Field NullField(std::uint16_t id, std::uint8_t tag = 0);

// The value of one column: of a number, of a text (without its zero byte) or a record, or of a list.
struct Cell {
    Cell() = default;
    template <std::integral T>
    Cell(T value) : number(static_cast<std::uint32_t>(value)) {}
    Cell(std::string value) : bytes(std::move(value)) {}
    Cell(const char* value) : bytes(value) {}
    Cell(std::vector<std::uint16_t> values) : list(std::move(values)) {}

    std::uint32_t number = 0;
    std::string bytes;
    std::vector<std::uint16_t> list;
    std::optional<std::uint16_t> count;  // of the list
};

// An element of a section, as torva::Level describes it. Cells that are missing at the end are 0 or empty,
// and records that are too short end with zero bytes.
struct Row {
    Row() = default;
    Row(std::vector<Cell> values, std::vector<Row> below = {})
        : cells(std::move(values)), rows(std::move(below)) {}
    // With typed fields below it, as in sections 2 and 6; a size given replaces the true one.
    Row(std::string text, std::vector<Field> below, std::optional<std::uint32_t> sizeOfAll)
        : cells{std::move(text)}, fields(std::move(below)), size(sizeOfAll) {}

    std::vector<Cell> cells;
    std::vector<Row> rows;               // the elements of the level below
    std::vector<Field> fields;           // in their place, where the level below is one of typed fields
    std::optional<std::uint32_t> size;   // of the level below
    std::optional<std::uint32_t> count;  // of the level below
};

struct Section {
    std::uint16_t id = 0;
    std::vector<Row> rows = {};      // the elements of level 0, in the stored form
    std::vector<Field> fields = {};  // in their place, in section 1
    // In place of both, for any section, and for those without a reader always: the bytes after the id.
    std::optional<Bytes> raw = {};
    Bytes before = {};  // bytes of no section, written before this one

    std::optional<std::uint16_t> directoryId = {};
    std::optional<std::uint32_t> directoryOffset = {};
    std::optional<std::uint32_t> directorySize = {};
    std::optional<std::uint16_t> idInFile = {};
    std::optional<std::uint32_t> headValue = {};  // the u32 after the id, in section 1 the size of its fields
    std::optional<std::uint32_t> count = {};      // after the head value; must fit its width
};

struct File {
    std::vector<Section> sections;  // in the order of directory and file; several may share an id
    Bytes behind;                   // bytes of no section at the end of the file
    std::optional<std::uint16_t> sectionCount;
};

// Where the sections are in the file written from `file`, with the true values: offset of the id, all bytes
// from the id to the last one, and the size in the directory (in section 8 only the bytes of the
// groups).
struct SectionPlace {
    std::uint16_t id = 0;
    std::uint32_t offset = 0;
    std::uint32_t bytes = 0;
    std::uint32_t directorySize = 0;
};

// These throw `WriteError` before the first byte is written when the content cannot be expressed.
std::vector<SectionPlace> Layout(const File& file);
Bytes Write(const File& file);
// Writes in pieces, beginning at the stream's position; does not seek. The stream's buffer is flushed.
void Write(const File& file, std::ostream& out);

// Writes a file whose symbols come one at a time, so that they are never in memory together.
//
// `shell` has exactly one section 2 that is not raw, whose place the records take (records that it holds come
// first); it must outlive the writer. The stream must allow seeking: the directory is written last, so
// that a file without `Finish` has none.
class SymbolStreamWriter {
public:
    SymbolStreamWriter(const File& shell, std::ostream& out);
    SymbolStreamWriter(const SymbolStreamWriter&) = delete;
    SymbolStreamWriter& operator=(const SymbolStreamWriter&) = delete;
    ~SymbolStreamWriter();

    void Add(const Row& symbol);
    void Finish();

private:
    struct State;
    std::unique_ptr<State> state;
};

// Adds the record of one symbol, as section 2 has it, to `bytes`.
void AppendSymbol(Bytes& bytes, const Row& symbol);

// Damage to bytes. `CutAt` returns the first `size` bytes (all of them when there are fewer); `Patch`
// overwrites bytes that exist and throws std::out_of_range for others.
Bytes CutAt(const Bytes& bytes, std::size_t size);
void Patch(Bytes& bytes, std::size_t offset, std::span<const std::uint8_t> replacement);
void PatchU16(Bytes& bytes, std::size_t offset, std::uint16_t value);
void PatchU32(Bytes& bytes, std::size_t offset, std::uint32_t value);

}  // namespace symwrite
