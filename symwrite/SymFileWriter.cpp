// The file, all numbers little-endian and unaligned:
//
//   u16 section count | section count x { u16 id, u32 offset, u32 size } | sections
//
// A section and its elements are laid out as format/Sections.h describes them. Sizes that precede what
// they measure are found by running the same code with an emitter that only counts.
#include "symwrite/SymFileWriter.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <ostream>

#include "format/LittleEndian.h"
#include "format/Sections.h"

namespace symwrite {

namespace {

using torva::Column;
using torva::ColumnKind;
using torva::FindSection;
using torva::Level;
using torva::Levels;
using torva::SectionInfo;

constexpr std::uint64_t kU32Max = std::numeric_limits<std::uint32_t>::max();

// Takes bytes and passes them on to a stream in pieces, keeps them, or only counts them. It also carries the
// path to the data under way, for messages.
class Emitter {
    static constexpr std::size_t kNoIndex = std::numeric_limits<std::size_t>::max();
    struct Step {
        const char* member;
        std::size_t index;
    };

public:
    enum class Mode { Count, Keep };

    explicit Emitter(Mode mode) : counting(mode == Mode::Count) {}
    explicit Emitter(Bytes&& begun) : buffer(std::move(begun)) {}
    explicit Emitter(std::ostream& out) : stream(&out) {}
    Emitter(const Emitter&) = delete;
    Emitter& operator=(const Emitter&) = delete;

    void Put(const void* bytes, std::size_t size) {
        total += size;
        if (counting) {
            return;
        }
        const auto* from = static_cast<const std::uint8_t*>(bytes);
        buffer.insert(buffer.end(), from, from + size);
        if (stream != nullptr && buffer.size() >= kPiece) {
            Flush();
        }
    }

    void Number(std::uint64_t value, std::size_t width) {
        std::uint8_t bytes[8];
        torva::WriteNumber(bytes, value, width);
        Put(bytes, width);
    }

    // A number that must fit its width, or the deliberate one in its place. `what` and `name` are for
    // messages.
    template <typename Override>
    void Counted(std::uint64_t value, std::size_t width, const std::optional<Override>& instead,
                 const char* what, const char* name = "") {
        const std::uint64_t written = instead ? *instead : value;
        const std::uint64_t largest = torva::LargestNumber(width);
        if (written > largest) {
            Fail(std::string(what) + name + " is " + std::to_string(written) +
                 ", the file can hold at most " + std::to_string(largest));
        }
        Number(written, width);
    }

    void Text(const std::string& text, const char* member) {
        if (text.find('\0') != std::string::npos) {
            Fail("a text cannot contain a zero byte", member);
        }
        Put(text.c_str(), text.size() + 1);
    }

    void Flush() {
        if (stream == nullptr || buffer.empty()) {
            return;
        }
        stream->write(reinterpret_cast<const char*>(buffer.data()),
                      static_cast<std::streamsize>(buffer.size()));
        buffer.clear();
        if (!*stream) {
            throw WriteError("", "the output did not take the bytes");
        }
    }

    [[noreturn]] void Fail(const std::string& what, const char* member = nullptr) const {
        std::string where;
        for (const Step& step : *path) {
            where += '/';
            where += step.member;
            if (step.index != kNoIndex) {
                where += '/' + std::to_string(step.index);
            }
        }
        if (member != nullptr) {
            where += '/';
            where += member;
        }
        throw WriteError(where, section == 0 ? what : "section " + std::to_string(section) + ": " + what);
    }

    // The section under way, for messages.
    void BeginSection(std::uint16_t id) { section = id; }

    // Marks the element under way for as long as it lives.
    class At {
    public:
        At(Emitter& out, const char* member, std::size_t index = kNoIndex) : path(*out.path) {
            path.push_back({member, index});
        }
        ~At() { path.pop_back(); }
        At(const At&) = delete;
        At& operator=(const At&) = delete;

    private:
        std::vector<Step>& path;
    };

    // The bytes that `emit(counter)` would put here.
    template <typename Emit>
    std::uint64_t Measure(const Emit& emit) {
        Emitter counter(Mode::Count);
        counter.path = path;
        counter.section = section;
        emit(counter);
        return counter.total;
    }

    std::uint64_t Total() const { return total; }
    Bytes Take() { return std::move(buffer); }

private:
    static constexpr std::size_t kPiece = 1 << 16;

    bool counting = false;
    std::uint16_t section = 0;
    std::ostream* stream = nullptr;
    std::uint64_t total = 0;
    Bytes buffer;
    std::vector<Step> ownPath;
    std::vector<Step>* path = &ownPath;  // a counter continues the path of the emitter that it measures for
};

using At = Emitter::At;

template <typename Elements, typename Emit>
void ForEach(Emitter& out, const char* member, const Elements& elements, const Emit& emit) {
    for (std::size_t i = 0; i < elements.size(); ++i) {
        const At at(out, member, i);
        emit(elements[i]);
    }
}

void EmitFields(Emitter& out, const std::vector<Field>& fields) {
    ForEach(out, "fields", fields, [&](const Field& field) {
        out.Number(field.id, 2);
        out.Number(field.tag, 1);
        if (field.tag == kTextTag) {
            out.Text(field.value, "value");
            return;
        }
        if (field.value.size() != PayloadWidth(field.tag)) {
            out.Fail("a field of tag " + std::to_string(field.tag) + " takes " +
                         std::to_string(PayloadWidth(field.tag)) + " bytes, not " +
                         std::to_string(field.value.size()),
                     "value");
        }
        out.Put(field.value.data(), field.value.size());
    });
}

void EmitList(Emitter& out, const Column& column, const Cell& cell) {
    const At at(out, column.name);
    out.Counted(cell.list.size(), column.width, cell.count, "the number of values");
    for (const std::uint16_t value : cell.list) {
        out.Counted(value, column.width, std::optional<std::uint16_t>(), "a value");
    }
}

void EmitCell(Emitter& out, const Column& column, const Cell& cell) {
    const bool isList = column.kind == ColumnKind::List;
    const bool isNumber = column.kind == ColumnKind::Number;
    if ((!isList && !cell.list.empty()) || (!isNumber && cell.number != 0) ||
        ((isNumber || isList) && !cell.bytes.empty())) {
        out.Fail("the value is not of this column's kind", column.name);
    }
    switch (column.kind) {
        case ColumnKind::Number:
            return out.Counted(cell.number, column.width, std::optional<std::uint32_t>(), "the ",
                               column.name);
        case ColumnKind::Bytes: {
            if (cell.bytes.size() > column.width) {
                out.Fail("a record takes " + std::to_string(column.width) + " bytes, not " +
                         std::to_string(cell.bytes.size()));
            }
            std::string record = cell.bytes;
            record.resize(column.width);
            return out.Put(record.data(), record.size());
        }
        case ColumnKind::List:
            return EmitList(out, column, cell);
        default:
            return out.Text(cell.bytes, column.name);
    }
}

void EmitCells(Emitter& out, const Level& level, const Row& row) {
    static const Cell kMissing;
    if (row.cells.size() > level.columns.size()) {
        out.Fail(std::string("an element of ") + level.name + " has " + std::to_string(level.columns.size()) +
                 " columns, not " + std::to_string(row.cells.size()));
    }
    for (std::size_t at = 0; at < level.columns.size(); ++at) {
        const std::size_t column = level.StoredIndex(at);
        EmitCell(out, level.columns[column], column < row.cells.size() ? row.cells[column] : kMissing);
    }
}

void EmitRow(Emitter& out, const Levels& levels, std::size_t level, const Row& row);

void EmitElements(Emitter& out, const Levels& levels, std::size_t level, const std::vector<Row>& rows,
                  const std::vector<Field>& fields) {
    if (levels[level].HoldsFields() ? !rows.empty() : !fields.empty()) {
        out.Fail(std::string("the elements are not ") + levels[level].name);
    }
    EmitFields(out, fields);
    ForEach(out, levels[level].name, rows, [&](const Row& row) { EmitRow(out, levels, level, row); });
}

// An element with all below it.
void EmitRow(Emitter& out, const Levels& levels, std::size_t level, const Row& row) {
    if (level + 1 == levels.size()) {
        return EmitCells(out, levels[level], row);
    }
    const Level& below = levels[level + 1];
    const auto elements = [&](Emitter& to) {
        if (below.countWidth != 0) {
            to.Counted(row.rows.size(), below.countWidth, row.count, "the number of ", below.Label());
        }
        EmitElements(to, levels, level + 1, row.rows, row.fields);
    };
    const auto all = [&](Emitter& to) {
        EmitCells(to, levels[level], row);
        elements(to);
    };
    if (below.ahead) {
        elements(out);
        EmitCells(out, levels[level], row);
    } else if (below.sizeFirst) {
        out.Counted(out.Measure(all), below.sizeWidth, row.size, "the ", below.sizeName);
        all(out);
    } else if (below.sizeWidth != 0) {
        EmitCells(out, levels[level], row);
        out.Counted(out.Measure(elements), below.sizeWidth, row.size, "the ", below.sizeName);
        elements(out);
    } else {
        all(out);
    }
}

constexpr std::uint16_t kSymbolSection = 2;

void EmitSymbol(Emitter& out, const Row& symbol) {
    EmitRow(out, FindSection(kSymbolSection)->stored, 0, symbol);
}

// The description that the section is laid out by; null for a raw one.
const SectionInfo* LayoutOf(const Emitter& out, const Section& section) {
    if (section.raw) {
        return nullptr;
    }
    const SectionInfo* info = FindSection(section.id);
    if (info == nullptr) {
        out.Fail("section " + std::to_string(section.id) + " can be written as raw bytes alone");
    }
    return info;
}

std::uint64_t BytesAheadOfElements(const SectionInfo* info) { return info == nullptr ? 2 : info->HeadSize(); }

void EmitElements(Emitter& out, const Section& section) {
    if (const SectionInfo* info = LayoutOf(out, section)) {
        EmitElements(out, info->stored, 0, section.rows, section.fields);
    } else {
        out.Put(section.raw->data(), section.raw->size());
    }
}

void EmitSection(Emitter& out, const Section& section, std::uint64_t elementBytes) {
    const SectionInfo* info = LayoutOf(out, section);
    const bool hasHead = info != nullptr && info->head != torva::Head::None;
    const std::size_t countWidth = info == nullptr ? 0 : info->stored[0].countWidth;
    if (section.headValue && !hasHead) {
        out.Fail("the section has no head value to replace");
    }
    if (section.count && countWidth == 0) {
        out.Fail("the section has no count to replace");
    }
    out.Number(section.idInFile.value_or(section.id), 2);
    if (hasHead) {
        out.Counted(elementBytes, 4, section.headValue, "the size of the elements");
    }
    if (countWidth != 0) {
        out.Counted(section.rows.size(), countWidth, section.count, "the number of elements");
    }
    EmitElements(out, section);
}

// Follows the offsets of the sections. All sums are 64 bits wide and checked against what the directory can
// hold.
class Placer {
public:
    explicit Placer(const File& file) : at(2 + std::uint64_t{10} * file.sections.size()) {}

    SectionPlace Place(const Emitter& out, const Section& section, std::uint64_t elementBytes) {
        const std::uint64_t offset = at + section.before.size();
        const std::uint64_t bytes = BytesAheadOfElements(LayoutOf(out, section)) + elementBytes;
        if (offset > kU32Max || bytes > kU32Max) {
            out.Fail("the section would begin at byte " + std::to_string(offset) + " and take " +
                     std::to_string(bytes) + " bytes; neither may exceed " + std::to_string(kU32Max));
        }
        at = offset + bytes;
        const SectionInfo* info = LayoutOf(out, section);
        const bool elementsAlone = info != nullptr && info->sizeWithoutHead;
        return {section.id, static_cast<std::uint32_t>(offset), static_cast<std::uint32_t>(bytes),
                static_cast<std::uint32_t>(elementsAlone ? elementBytes : bytes)};
    }

private:
    std::uint64_t at;
};

void EmitDirectory(Emitter& out, const File& file, const std::vector<SectionPlace>& places) {
    out.Counted(file.sections.size(), 2, file.sectionCount, "the number of sections");
    for (std::size_t i = 0; i < places.size(); ++i) {
        const Section& section = file.sections[i];
        out.Number(section.directoryId.value_or(section.id), 2);
        out.Number(section.directoryOffset.value_or(places[i].offset), 4);
        out.Number(section.directorySize.value_or(places[i].directorySize), 4);
    }
}

std::uint64_t MeasureElements(Emitter& out, const Section& section) {
    return out.Measure([&](Emitter& to) { EmitElements(to, section); });
}

void EmitFile(Emitter& out, const File& file) {
    const std::vector<SectionPlace> places = Layout(file);
    EmitDirectory(out, file, places);
    for (std::size_t i = 0; i < places.size(); ++i) {
        const At at(out, "sections", i);
        const Section& section = file.sections[i];
        out.Put(section.before.data(), section.before.size());
        const std::uint64_t ahead = BytesAheadOfElements(LayoutOf(out, section));
        EmitSection(out, section, places[i].bytes - ahead);
    }
    out.Put(file.behind.data(), file.behind.size());
}

}  // namespace

WriteError::WriteError(const std::string& place, const std::string& message)
    : std::runtime_error(place.empty() ? message : place + ": " + message), where(place) {}

Field TextField(std::uint16_t id, std::string text) { return {id, kTextTag, std::move(text)}; }

Field NumberField(std::uint16_t id, std::uint8_t tag, std::uint64_t number) {
    const std::size_t width = PayloadWidth(tag);
    if (width == 0) {
        throw std::invalid_argument("tag " + std::to_string(tag) + " takes no number");
    }
    Field field{id, tag, std::string(width, '\0')};
    torva::WriteNumber(field.value.data(), number, width);
    return field;
}

Field NullField(std::uint16_t id, std::uint8_t tag) { return {id, tag, {}}; }

std::vector<SectionPlace> Layout(const File& file) {
    Emitter counter(Emitter::Mode::Count);
    Placer placer(file);
    std::vector<SectionPlace> places;
    places.reserve(file.sections.size());
    for (std::size_t i = 0; i < file.sections.size(); ++i) {
        const At at(counter, "sections", i);
        const Section& section = file.sections[i];
        counter.BeginSection(section.id);
        const std::uint64_t elementBytes = MeasureElements(counter, section);
        EmitSection(counter, section, elementBytes);
        places.push_back(placer.Place(counter, section, elementBytes));
    }
    counter.BeginSection(0);
    EmitDirectory(counter, file, places);
    return places;
}

Bytes Write(const File& file) {
    Emitter out(Emitter::Mode::Keep);
    EmitFile(out, file);
    return out.Take();
}

void Write(const File& file, std::ostream& out) {
    Emitter emitter(out);
    EmitFile(emitter, file);
    emitter.Flush();
    out.flush();
    if (!out) {
        throw WriteError("", "the output did not take the bytes");
    }
}

struct SymbolStreamWriter::State {
    State(const File& shell, std::ostream& output)
        : file(shell), stream(output), start(output.tellp()), out(output), placer(shell) {}

    void EmitWhole(std::size_t index) {
        const At at(out, "sections", index);
        const Section& section = file.sections[index];
        const std::uint64_t elementBytes = MeasureElements(out, section);
        places.push_back(placer.Place(out, section, elementBytes));
        out.Put(section.before.data(), section.before.size());
        EmitSection(out, section, elementBytes);
    }

    const File& file;
    std::ostream& stream;
    std::ostream::pos_type start;
    Emitter out;
    Placer placer;
    std::vector<SectionPlace> places;
    std::size_t symbolSection = 0;
    std::uint64_t symbolBytes = 0;
    std::size_t symbolCount = 0;
};

SymbolStreamWriter::SymbolStreamWriter(const File& shell, std::ostream& out)
    : state(std::make_unique<State>(shell, out)) {
    const auto holdsSymbols = [](const Section& s) { return s.id == kSymbolSection && !s.raw; };
    const auto& sections = shell.sections;
    if (std::count_if(sections.begin(), sections.end(), holdsSymbols) != 1) {
        throw WriteError("/sections", "a streamed file has one section for its symbols");
    }
    if (state->start == std::ostream::pos_type(-1)) {
        throw WriteError("", "the output cannot seek, which a streamed file needs");
    }
    Layout(shell);  // finds what cannot be expressed before anything is written
    const Bytes noDirectory(2 + 10 * sections.size(), 0);
    state->out.Put(noDirectory.data(), noDirectory.size());
    state->symbolSection = static_cast<std::size_t>(
        std::find_if(sections.begin(), sections.end(), holdsSymbols) - sections.begin());
    for (std::size_t i = 0; i < state->symbolSection; ++i) {
        state->EmitWhole(i);
    }
    const Section& section = sections[state->symbolSection];
    state->out.Put(section.before.data(), section.before.size());
    state->out.Number(section.idInFile.value_or(section.id), 2);
    for (const Row& symbol : section.rows) {
        Add(symbol);
    }
}

SymbolStreamWriter::~SymbolStreamWriter() = default;

void SymbolStreamWriter::Add(const Row& symbol) {
    const At section(state->out, "sections", state->symbolSection);
    const At at(state->out, "symbols", state->symbolCount);
    const std::uint64_t bytes = state->out.Measure([&](Emitter& to) { EmitSymbol(to, symbol); });
    if (2 + state->symbolBytes + bytes > kU32Max) {
        state->out.Fail("the section of the symbols would exceed " + std::to_string(kU32Max) + " bytes");
    }
    EmitSymbol(state->out, symbol);
    state->symbolBytes += bytes;
    ++state->symbolCount;
}

void SymbolStreamWriter::Finish() {
    const auto& sections = state->file.sections;
    {
        const At at(state->out, "sections", state->symbolSection);
        state->places.push_back(
            state->placer.Place(state->out, sections[state->symbolSection], state->symbolBytes));
    }
    for (std::size_t i = state->symbolSection + 1; i < sections.size(); ++i) {
        state->EmitWhole(i);
    }
    state->out.Put(state->file.behind.data(), state->file.behind.size());
    state->out.Flush();
    const auto end = state->stream.tellp();
    state->stream.seekp(state->start);
    EmitDirectory(state->out, state->file, state->places);
    state->out.Flush();
    state->stream.seekp(end);
    state->stream.flush();
    if (!state->stream) {
        throw WriteError("", "the output did not take the bytes");
    }
}

void AppendSymbol(Bytes& bytes, const Row& symbol) {
    Emitter check(Emitter::Mode::Count);
    EmitSymbol(check, symbol);  // throws before `bytes` is touched
    Emitter out(std::move(bytes));
    EmitSymbol(out, symbol);
    bytes = out.Take();
}

Bytes CutAt(const Bytes& bytes, std::size_t size) {
    return Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(std::min(size, bytes.size())));
}

void Patch(Bytes& bytes, std::size_t offset, std::span<const std::uint8_t> replacement) {
    if (offset > bytes.size() || replacement.size() > bytes.size() - offset) {
        throw std::out_of_range("a patch of " + std::to_string(replacement.size()) + " bytes at " +
                                std::to_string(offset) + " passes the end at " +
                                std::to_string(bytes.size()));
    }
    std::copy(replacement.begin(), replacement.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
}

void PatchU16(Bytes& bytes, std::size_t offset, std::uint16_t value) {
    std::uint8_t raw[2];
    torva::WriteNumber(raw, value, sizeof raw);
    Patch(bytes, offset, raw);
}

void PatchU32(Bytes& bytes, std::size_t offset, std::uint32_t value) {
    std::uint8_t raw[4];
    torva::WriteNumber(raw, value, sizeof raw);
    Patch(bytes, offset, raw);
}

}  // namespace symwrite
