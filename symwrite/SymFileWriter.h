// Symbol files from plain data: the structures of a whole file, and the functions that lay them out as bytes.
//
// Tests, fuzzers, benchmarks and the tool share this; the library does not link it. Besides well-formed files
// it writes files that are wrong on purpose: each optional member below, when set, is written instead of the
// value that would be true, and nothing else changes for it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
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

struct DefaultFields {  // section 1
    std::vector<Field> fields;
};

struct Symbol {
    std::string text;
    std::vector<Field> fields;
    std::optional<std::uint32_t> recordSize;
};
struct Symbols {  // section 2
    std::vector<Symbol> symbols;
};

struct JumpPriceGroup {
    std::uint8_t id = 0;
    std::vector<std::array<std::uint8_t, 24>> records;
    std::optional<std::uint16_t> recordCount;
};
struct JumpPrices {  // section 3
    std::vector<JumpPriceGroup> groups;
};

struct Brokers {  // section 4
    std::vector<std::array<std::uint8_t, 30>> records;
};

struct QuickGroup {
    std::string name;
    std::vector<Field> fields;
    std::optional<std::uint16_t> groupSize;
};
struct QuickGroups {  // section 6
    std::vector<QuickGroup> groups;
};

struct TwoTexts {
    std::uint16_t id = 0;
    std::string text1;
    std::string text2;
};
struct EidrSections {  // section 7
    std::vector<TwoTexts> elements;
};
struct Exchanges {  // section 16
    std::vector<TwoTexts> elements;
};

struct Level2Item {
    std::uint8_t lead = 0;
    std::string text1;
    std::string text2;
};
struct Level2Group {
    std::uint8_t id = 0;
    std::vector<Level2Item> items;
    std::optional<std::uint8_t> itemCount;
};
struct Level2Sections {  // section 8
    std::vector<Level2Group> groups;
};

struct DirectoryElement {
    std::uint32_t id = 0;  // 16 bits in the file, 32 in section 19
    std::string name;
};
struct Directory {  // sections 9, 10, 12, 19, 20, 22
    std::vector<DirectoryElement> elements;
};

struct SectionGroup {
    std::uint8_t id = 0;
    std::vector<std::uint8_t> members;
    std::optional<std::uint8_t> memberCount;
};
struct SectionGroups {  // section 11
    std::vector<SectionGroup> groups;
};

struct ObjectData {
    std::uint8_t byte = 0;
    std::string data;
};
struct ObjectSymbol {
    std::uint8_t byte = 0;
    std::string symbol;
    std::vector<ObjectData> data;
    std::optional<std::uint8_t> dataCount;
};
struct ObjectSource {
    std::string source;
    std::vector<ObjectSymbol> symbols;
    std::optional<std::uint16_t> symbolCount;
};
struct ObjectType {
    std::uint16_t id = 0;
    std::vector<ObjectSource> sources;
    std::optional<std::uint32_t> blockSize;
    std::optional<std::uint16_t> sourceCount;
};
struct Objects {  // section 13
    std::vector<ObjectType> types;
};

struct ForeignTradeItem {
    std::uint8_t tag = 0;
    std::vector<std::string> names;
    std::optional<std::uint16_t> nameCount;
};
struct ForeignTradeHead {
    std::uint16_t id = 0;
    std::string name;
    std::vector<ForeignTradeItem> items;
    std::optional<std::uint32_t> bodySize;
};
struct ForeignTrade {  // section 14
    std::vector<ForeignTradeHead> heads;
};

struct GlobalRelatedItem {
    std::uint8_t tag = 0;
    std::string name;
};
struct GlobalRelatedList {
    std::vector<GlobalRelatedItem> items;
    std::optional<std::uint8_t> itemCount;
};
struct GlobalRelatedHead {
    std::uint16_t id = 0;
    std::vector<GlobalRelatedList> lists;
    std::optional<std::uint32_t> bodySize;
};
struct GlobalRelated {  // section 15
    std::vector<GlobalRelatedHead> heads;
};

struct RealDelayPair {
    std::uint8_t first = 0;
    std::uint8_t second = 0;
};
struct RealDelayMapping {  // section 17
    std::vector<RealDelayPair> pairs;
};

// The lists in the order of the file, which is second, third, first; the names are those of the reading
// function.
struct EodItemGroup {
    std::vector<std::uint16_t> ids;
    std::vector<std::uint16_t> second;
    std::vector<std::uint16_t> third;
    std::vector<std::uint16_t> first;
    std::optional<std::uint16_t> idCount;
    std::optional<std::uint16_t> secondCount;
    std::optional<std::uint16_t> thirdCount;
    std::optional<std::uint16_t> firstCount;
};
struct EodItems {  // section 18
    std::vector<EodItemGroup> groups;
};

struct ExchangeSupportGroup {
    std::vector<std::uint16_t> ids;
    std::vector<std::uint16_t> items;
    std::optional<std::uint16_t> idCount;
    std::optional<std::uint16_t> itemCount;
};
struct ExchangeSupport {  // section 21
    std::vector<ExchangeSupportGroup> groups;
};

struct Raw {  // any section, chiefly those that have no reader: the bytes behind the section's id
    Bytes bytes;
};

using Content = std::variant<Raw, DefaultFields, Symbols, JumpPrices, Brokers, QuickGroups, EidrSections,
                             Level2Sections, Directory, SectionGroups, Objects, ForeignTrade, GlobalRelated,
                             Exchanges, RealDelayMapping, EodItems, ExchangeSupport>;

struct Section {
    std::uint16_t id = 0;
    Content content;
    Bytes before;  // bytes of no section, written between the section ahead (or the directory) and this one

    std::optional<std::uint16_t> directoryId;
    std::optional<std::uint32_t> directoryOffset;
    std::optional<std::uint32_t> directorySize;
    std::optional<std::uint16_t> idInFile;
    std::optional<std::uint32_t> headValue;  // the u32 behind the id, in section 1 the size of its fields
    std::optional<std::uint32_t> count;  // the count behind the head value; must fit the width of that count
};

struct File {
    std::vector<Section> sections;  // in the order of directory and file; several may share an id
    Bytes behind;                   // bytes of no section at the end of the file
    std::optional<std::uint16_t> sectionCount;
};

// What is known of a section id.
struct SectionKind {
    std::uint16_t id;
    std::string_view name;     // as in "jump-prices"
    std::string_view title;    // as in "jump prices"
    std::uint8_t countWidth;   // bytes of the element count behind the head value; 0 for none
    std::uint8_t idWidth;      // bytes of an element's id in the directories; 0 elsewhere
    std::size_t contentIndex;  // index of the content's alternative in `Content`
};
// All kinds that have a reader, ascending by id.
std::span<const SectionKind> SectionKinds();
// Null for an id, or a name, that is not known.
const SectionKind* FindSectionKind(std::uint16_t id);
const SectionKind* FindSectionKind(std::string_view name);
// A section with empty content of the id's kind; raw for an id that is not known.
Section MakeSection(std::uint16_t id);

// Where the sections lie in the file that `file` gives, with the true values: offset of the id, all bytes
// from the id to the last one, and the size that the directory tells (in section 8 the bytes of the groups
// alone).
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

// Writes a file whose symbols come one at a time, so that they never lie in memory together.
//
// `shell` has exactly one section with `Symbols` content, whose place the records take (records that it holds
// come first); it must outlive the writer. The stream must allow seeking: the directory is written last, so
// that a file without `Finish` has none.
class SymbolStreamWriter {
public:
    SymbolStreamWriter(const File& shell, std::ostream& out);
    SymbolStreamWriter(const SymbolStreamWriter&) = delete;
    SymbolStreamWriter& operator=(const SymbolStreamWriter&) = delete;
    ~SymbolStreamWriter();

    void Add(const Symbol& symbol);
    void Finish();

private:
    struct State;
    std::unique_ptr<State> state;
};

// Adds the record of one symbol, as section 2 has it, to `bytes`.
void AppendSymbol(Bytes& bytes, const Symbol& symbol);

// Damage to bytes. `CutAt` gives the first `size` bytes (all of them when there are fewer); `Patch`
// overwrites bytes that exist and throws std::out_of_range for others.
Bytes CutAt(const Bytes& bytes, std::size_t size);
void Patch(Bytes& bytes, std::size_t offset, std::span<const std::uint8_t> replacement);
void PatchU16(Bytes& bytes, std::size_t offset, std::uint16_t value);
void PatchU32(Bytes& bytes, std::size_t offset, std::uint32_t value);

}  // namespace symwrite
