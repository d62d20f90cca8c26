#include "tables/columns/Loader.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <thread>

#include "TorvaAPI.h"
#include "library/stream/FieldLoop.h"

namespace torva::tables::columns {
namespace {

constexpr u16 kDefaultFieldSection = 1;
constexpr u16 kSymbolSection = 2;
constexpr u32 kIds = 65536;
constexpr double kMostExpectedRows = 1e9;
constexpr u32 kWindow = 512 * 1024;  // bytes that are read at a time; they stay in the second-level cache

// A run of reads from an offset on, through a small buffer.
class ByteStream {
public:
    ByteStream(const Source& from, u64 offset) : source(from), position(offset) {}

    // How many of `n` bytes came; the others are zero.
    u32 Read(void* dst, u32 n) {
        auto* to = static_cast<u8*>(dst);
        std::memset(to, 0, n);
        u32 done = 0;
        while (done < n && Fill()) {
            const u32 part = std::min(n - done, held - next);
            std::memcpy(to + done, buffer.data() + next, part);
            next += part;
            done += part;
        }
        return done;
    }

    // Appends a text with its zero byte; false where the data ends inside it.
    bool ReadText(std::string& text) {
        for (u8 byte = 1; byte != 0;) {
            if (!Fill()) return false;
            byte = buffer[next++];
            text += static_cast<char>(byte);
        }
        return true;
    }

private:
    bool Fill() {
        if (next < held) return true;
        if (buffer.empty()) buffer.resize(4096);
        next = held = 0;
        if (!source.Read(position, buffer.data(), static_cast<u32>(buffer.size()), held)) {
            throw LoadError{SYM_ERR_OPEN,
                            "offset " + std::to_string(position) + ": the bytes cannot be read"};
        }
        position += held;
        return held > 0;
    }

    const Source& source;
    u64 position;
    std::vector<u8> buffer;
    u32 held = 0;
    u32 next = 0;
};

struct Entry {
    u16 id = 0;
    u32 offset = 0;
    u32 size = 0;
    bool found = false;
};

// The first entry of each of the two sections, where the section's own id agrees.
void FindSections(const Source& source, Entry& defaults, Entry& symbols) {
    ByteStream directory(source, 0);
    u16 count = 0;
    if (directory.Read(&count, sizeof count) < sizeof count) return;
    for (u32 i = 0; i < count && !(defaults.found && symbols.found); ++i) {
        u8 bytes[10];
        if (directory.Read(bytes, sizeof bytes) == 0) break;
        Entry entry;
        std::memcpy(&entry.id, bytes, 2);
        std::memcpy(&entry.offset, bytes + 2, 4);
        std::memcpy(&entry.size, bytes + 6, 4);
        entry.found = true;
        if (entry.id == kDefaultFieldSection && !defaults.found) defaults = entry;
        if (entry.id == kSymbolSection && !symbols.found) symbols = entry;
    }
    for (Entry* const entry : {&defaults, &symbols}) {
        u16 idThere = 0;
        if (entry->found) ByteStream(source, entry->offset).Read(&idThere, sizeof idThere);
        entry->found = entry->found && idThere == entry->id;
    }
}

// Section 1, as the exports' open reads it: u16 id, u32 bytes of the fields, fields. A fixed payload that the
// data cuts off has zeros in the bytes that did not come.
void LoadDefaults(const Source& source, const Entry& section, std::vector<Stream::Default>& defaults) {
    const u64 afterId = u64{section.offset} + 2;
    ByteStream reader(source, afterId);
    u32 fieldBytes = 0;
    reader.Read(&fieldBytes, sizeof fieldBytes);
    for (u64 walked = 0; walked < fieldBytes;) {
        FieldHeader header{};
        u32 taken = reader.Read(&header, sizeof header);
        if (taken < sizeof header) header = {};
        Stream::Default field{header.id, header.tag, {}};
        bool whole = taken > 0;
        if (taken == sizeof header && header.tag == kTextTag) {
            whole = reader.ReadText(field.payload);
            taken += static_cast<u32>(field.payload.size());
        } else if (taken == sizeof header) {
            u8 payload[kMostPayload];
            const u32 width = PayloadWidth(header.tag);
            taken += reader.Read(payload, width);
            field.payload.assign(reinterpret_cast<const char*>(payload), width);
        }
        if (!whole) {
            throw LoadError{SYM_ERR_FORMAT, "section 1, offset " +
                                                std::to_string(u64{section.offset} + 6 + walked) +
                                                ": the data ends inside the default fields"};
        }
        defaults.push_back(std::move(field));
        walked += taken;
    }
}

ColumnSpec SymbolSpec(const LoadOptions& options) {
    ColumnSpec spec;
    spec.kind = Kind::kText;
    spec.tag = kTextTag;
    spec.name = "symbol";
    spec.isSymbol = true;
    spec.binary = options.binarySymbols;
    return spec;
}

}  // namespace

Stream Stream::Open(const Source& source) {
    Entry defaults;
    Entry symbols;
    FindSections(source, defaults, symbols);
    Stream stream;
    if (defaults.found) LoadDefaults(source, defaults, stream.defaults);
    stream.found = symbols.found;
    stream.offset = symbols.offset;
    stream.size = symbols.size;
    return stream;
}

ColumnLoader::ColumnLoader(const Stream& symbolStream, const LoadOptions& loadOptions, Budget* loadBudget,
                           const std::vector<ColumnSpec>& known, u64 firstOffset)
    : stream(symbolStream),
      options(loadOptions),
      budget(loadBudget),
      knownSpecs(known),
      consumed(firstOffset),
      symbols(SymbolSpec(loadOptions), false, loadBudget) {
    if (!stream.found) {
        done = true;
        damage = {SYM_ERR_NO_SECTION, 0, "the file has no symbol section"};
    }
    Start();
}

// Columns that are there from the first row on: those that are known, wanted by name, or have a default
// field. The type of a default field takes precedence over those of the records.
void ColumnLoader::Start() {
    slots.assign(kIds, options.fieldIds.empty() ? kNew : kUnwanted);
    columns.clear();
    rows = 0;
    for (const ColumnSpec& spec : knownSpecs) AddColumn(spec);
    for (const u16 id : options.fieldIds) {
        if (slots[id] == kUnwanted) AddColumn(options.specOf(id));
    }
    if (!options.defaults) return;
    std::vector<bool> set(kIds);
    for (const Stream::Default& field : stream.defaults) {
        if (slots[field.id] == kUnwanted) continue;
        const u32 slot = slots[field.id] == kNew ? AddColumn(options.specOf(field.id)) : slots[field.id];
        if (set[field.id]) continue;
        set[field.id] = true;
        columns[slot].SetDefault({field.tag, reinterpret_cast<const u8*>(field.payload.data()),
                                  static_cast<u32>(field.payload.size())});
    }
}

void ColumnLoader::Restart(const std::vector<ColumnSpec>& known) {
    knownSpecs = known;
    symbols = ColumnBuilder(SymbolSpec(options), false, budget);
    Start();
}

u32 ColumnLoader::AddColumn(const ColumnSpec& spec) {
    const u32 slot = static_cast<u32>(columns.size());
    columns.emplace_back(spec, options.ownFlags, budget);
    slots[spec.id] = slot;
    return slot;
}

bool ColumnLoader::TakeNew(u16 id, u8 tag, const u8* payload, u32 size) {
    const u32 slot = AddColumn(options.specOf(id));
    columns[slot].Put(rows, tag, payload, size, readable);
    return true;
}

std::size_t ColumnLoader::Feed(const u8* data, std::size_t size, bool last, u32 rowLimit) {
    const u8* const end = data + size;
    const u8* next = data;
    readable = end;
    while (!done && rows < rowLimit && consumed < stopAt) {
        const u8* at = next;
        const Outcome outcome = Record(data, end, at, last);
        if (outcome == Outcome::kMore) break;
        if (outcome == Outcome::kEnd) {
            done = true;
            break;
        }
        consumed += static_cast<u64>(at - next);
        next = at;
        ++rows;
        for (const u32 slot : again) ++columns[slot].repeated;
        again.clear();
    }
    return static_cast<std::size_t>(next - data);
}

// One record:
//
//   0   u32     recordSize: bytes of the record that follow
//   4   text    symbol
//       fields  typed fields, up to recordSize
ColumnLoader::Outcome ColumnLoader::Record(const u8* /*data*/, const u8* end, const u8*& next, bool last) {
    const std::size_t left = static_cast<std::size_t>(end - next);
    u32 recordSize = 0;
    if (!last) {
        if (left < sizeof recordSize) return Outcome::kMore;
        std::memcpy(&recordSize, next, sizeof recordSize);
        if (left - sizeof recordSize < u64{recordSize} + kMostFixedField) return Outcome::kMore;
    } else {
        if (consumed >= stream.size) return Outcome::kEnd;
        if (left == 0) return End(SYM_END_OF_DATA, "the data ends before the section's end");
        std::memcpy(&recordSize, next, std::min(left, sizeof recordSize));
    }
    if (consumed >= stream.size) return Outcome::kEnd;
    const u8* const text = next + std::min(left, sizeof recordSize);
    const u8* const zero = FindTextEnd(text, end);
    if (zero == nullptr) {
        if (!last) return Outcome::kMore;
        return End(SYM_ERR_BUFFER_TOO_SMALL, "the data ends inside the symbol");
    }
    const u32 length = static_cast<u32>(zero - text) + 1;
    u64 recordConsumed = length;
    const u64 sectionConsumed = consumed + sizeof recordSize + length;
    if (recordSize != recordConsumed) {
        if (recordConsumed > recordSize)
            return End(SYM_ERR_FORMAT, "the symbol extends past the end of its record");
        if (sectionConsumed >= stream.size) return End(SYM_END_OF_DATA, "the section ends inside the record");
        if (last && zero + 1 == end) return End(SYM_END_OF_DATA, "the data ends inside the record");
        if (recordSize > stream.size) return End(SYM_ERR_FORMAT, "the record is longer than the section");
    }
    symbols.Put(rows, kTextTag, text, length, end);
    const u8* at = zero + 1;
    const u64 sectionLeft = stream.size > sectionConsumed ? stream.size - sectionConsumed : 0;
    const u64 ownLeft = std::min<u64>(recordSize - recordConsumed, sectionLeft);
    if (ownLeft > 0) {
        // Fields begin before the end of the record and of the section.
        const auto room = static_cast<u64>(end - at);
        if (room >= kMostFixedField) {
            const u8* const lastStart = at + std::min(ownLeft - 1, room - kMostFixedField);
            const u8* const fields = at;
            at = DeliverFields(at, lastStart, end, *this);
            recordConsumed += static_cast<u64>(at - fields);
        }
        if (recordConsumed < recordSize) {
            const i32 result = TakeRest(at, end, recordConsumed, recordSize, last);
            if (result == SYM_MORE_DATA || (result != SYM_OK && recordConsumed != recordSize)) {
                TakeBackRow();
                if (result == SYM_MORE_DATA) return Outcome::kMore;
                return End(result, "the data ends inside the record");
            }
        }
    }
    if (recordConsumed != recordSize) {
        TakeBackRow();
        return End(SYM_ERR_FORMAT, "a field extends past the end of its record");
    }
    next = at;
    return Outcome::kRow;
}

// Fields that are not whole within the bytes that may be read. SYM_OK: the record's fields are read,
// to its end or past it. SYM_MORE_DATA: more bytes are needed. Else the code with which the data ends.
// Of a header that the end of the data cuts off an empty field with id 0 is left.
i32 ColumnLoader::TakeRest(const u8*& next, const u8* end, u64& recordConsumed, u32 recordSize, bool last) {
    while (recordConsumed < recordSize) {
        if (consumed + sizeof recordSize + recordConsumed >= stream.size) return SYM_END_OF_DATA;
        const auto left = static_cast<std::size_t>(end - next);
        FieldHeader header{};
        if (left < sizeof header) {
            if (!last) return SYM_MORE_DATA;
            next = end;
            recordConsumed += left;
            if (recordConsumed != recordSize) return SYM_END_OF_DATA;
            Take(0, 0, end, 0);
            return SYM_OK;
        }
        std::memcpy(&header, next, sizeof header);
        const u8* const payload = next + sizeof header;
        if (header.tag == kTextTag) {
            const u8* const zero = FindTextEnd(payload, end);
            if (zero == nullptr && !last) return SYM_MORE_DATA;
            if (zero == nullptr) return HasValues() ? SYM_END_OF_DATA : SYM_ERR_BUFFER_TOO_SMALL;
            Take(header.id, header.tag, payload, static_cast<u32>(zero - payload) + 1);
            recordConsumed += static_cast<u64>(zero + 1 - next);
            next = zero + 1;
            continue;
        }
        const u32 width = PayloadWidth(header.tag);
        const u32 came = static_cast<u32>(std::min<std::size_t>(width, left - sizeof header));
        if (came < width && !last) return SYM_MORE_DATA;
        u8 whole[kMostPayload] = {};
        std::memcpy(whole, payload, came);
        Take(header.id, header.tag, whole, width);
        recordConsumed += sizeof header + came;
        next = payload + came;
    }
    return SYM_OK;
}

ColumnLoader::Outcome ColumnLoader::End(i32 code, const char* message) {
    const u64 offset = stream.offset + consumed;
    damage = {code, offset, "section 2, offset " + std::to_string(offset) + ": " + message};
    return Outcome::kEnd;
}

void ColumnLoader::TakeBackRow() {
    symbols.TakeBack(rows);
    for (ColumnBuilder& column : columns) column.TakeBack(rows);
    again.clear();
}

void ColumnLoader::DecideFromSample() {
    if (sampled) return;
    sampled = true;
    if (!options.dictionaries) return;
    for (ColumnBuilder& column : columns) column.DecideInterning(rows);
}

void ColumnLoader::ReserveFor(u64 sectionBytes) {
    if (done || rows == 0 || consumed >= sectionBytes) return;
    const double growth = 1.02 * static_cast<double>(sectionBytes) / static_cast<double>(consumed);
    const double expected = static_cast<double>(rows) * growth;
    const double bytes = static_cast<double>(budget->Used()) * growth;
    // A guess from the first rows must not be what exhausts the limit.
    if (expected > kMostExpectedRows || bytes > static_cast<double>(budget->Limit()) / 2) return;
    try {
        symbols.ReserveFor(static_cast<u32>(expected), growth);
        for (ColumnBuilder& column : columns) column.ReserveFor(static_cast<u32>(expected), growth);
    } catch (const std::bad_alloc&) {  // there may be fewer rows than it seems
    }
}

std::vector<ColumnSpec> ColumnLoader::Known() const {
    std::vector<ColumnSpec> known;
    known.reserve(columns.size());
    for (const ColumnBuilder& column : columns) known.push_back(column.Known());
    return known;
}

// Whether the current record has a wanted value.
bool ColumnLoader::HasValues() const {
    return std::any_of(columns.begin(), columns.end(),
                       [&](const ColumnBuilder& column) { return column.Has(rows); });
}

bool ColumnLoader::Append(ColumnLoader& next) {
    for (const ColumnBuilder& column : next.columns) {
        if (slots[column.Spec().id] == kNew) AddColumn(options.specOf(column.Spec().id));
    }
    for (ColumnBuilder& column : columns) {
        const u32 slot = next.slots[column.Spec().id];
        if (slot >= kNew) continue;
        if (!column.Append(next.columns[slot], rows, next.rows)) return false;
    }
    if (!symbols.Append(next.symbols, rows, next.rows)) return false;
    rows += next.rows;
    consumed = next.consumed;
    done = next.done;
    damage = next.damage;
    return true;
}

std::vector<Column> ColumnLoader::Finish() {
    DecideFromSample();
    std::vector<Column> finished;
    finished.reserve(columns.size() + 1);
    TextCodec* const codec = options.codec.get();
    finished.push_back(symbols.Finish(rows, codec));
    std::vector<ColumnBuilder*> sorted;
    for (ColumnBuilder& column : columns) sorted.push_back(&column);
    std::sort(sorted.begin(), sorted.end(),
              [](const ColumnBuilder* a, const ColumnBuilder* b) { return a->Spec().id < b->Spec().id; });
    for (ColumnBuilder* const column : sorted) finished.push_back(column->Finish(rows, codec));
    return finished;
}

void Feeder::Run(ColumnLoader& loader, u32 rowLimit) {
    if (const u8* const bytes = source.Memory()) {
        offset = std::min(offset, source.Size());
        offset +=
            loader.Feed(bytes + offset, static_cast<std::size_t>(source.Size() - offset), true, rowLimit);
        return;
    }
    while (!loader.Done() && !loader.Stopped() && loader.Rows() < rowLimit) {
        if (begin == end || starved) Fill();
        begin += loader.Feed(window.data() + begin, end - begin, ended, rowLimit);
        starved = loader.Rows() < rowLimit;
    }
}

// Brings the bytes that are left to the front and reads on after them. A record that the window does not hold
// makes it grow, at most to the size of the file.
void Feeder::Fill() {
    const std::size_t left = end - begin;
    if (left > 0) std::memmove(window.data(), window.data() + begin, left);
    const std::size_t wanted = left < kWindow / 2 ? kWindow : left * 2;
    if (wanted > window.size()) window.resize(wanted);
    begin = 0;
    end = left;
    const auto room = static_cast<u32>(std::min<std::size_t>(window.size() - left, 0x40000000U));
    u32 got = 0;
    if (!source.Read(offset, window.data() + left, room, got)) {
        throw LoadError{SYM_ERR_OPEN,
                        "section 2, offset " + std::to_string(offset) + ": the bytes cannot be read"};
    }
    offset += got;
    end += got;
    ended = got < room;
}

u64 MemoryLimit(u64 size, const LoadOptions& options) {
    constexpr u64 kLeast = u64{64} << 20U;
    return options.memoryLimit != 0 ? options.memoryLimit : 64 * size + kLeast;
}

namespace {

// Cuts the records of a section from `from` on into `parts` of about the same number of bytes, and returns
// the offsets in the file of all parts but the first. Only record
// sizes are looked at. Where they leave the data or the section, which damage does, there are fewer cuts.
std::vector<u64> CutRecords(const u8* bytes, u64 size, const Stream& stream, u64 from, u32 parts) {
    const u64 end = std::min(size, stream.offset + stream.size);
    std::vector<u64> cuts;
    u64 at = from;
    for (u32 part = 1; part < parts; ++part) {
        const u64 wanted = from + (end - from) / parts * part;
        while (at < wanted && end - at >= sizeof(u32)) {
            u32 recordSize = 0;
            std::memcpy(&recordSize, bytes + at, sizeof recordSize);
            if (recordSize >= end - at - sizeof recordSize) return cuts;
            at += sizeof recordSize + recordSize;
        }
        cuts.push_back(at);
    }
    return cuts;
}

// Runs `work(i)` for 0 to `count` - 1, each on a thread of its own, and throws what one of them threw.
template <class Work>
void InParallel(u32 count, Work work) {
    std::vector<std::exception_ptr> failures(count);
    const auto guarded = [&](u32 i) noexcept {
        try {
            work(i);
        } catch (...) {
            failures[i] = std::current_exception();
        }
    };
#if defined(__EMSCRIPTEN__) && !defined(__EMSCRIPTEN_PTHREADS__)
    for (u32 i = 0; i < count; ++i) guarded(i);
#else
    std::vector<std::thread> threads;
    for (u32 i = 1; i < count; ++i) {
        try {
            threads.emplace_back(guarded, i);
        } catch (...) {  // the system has no more threads
            guarded(i);
        }
    }
    guarded(0);
    for (std::thread& thread : threads) thread.join();
#endif
    for (const std::exception_ptr& failure : failures) {
        if (failure != nullptr) std::rethrow_exception(failure);
    }
}

std::vector<u8> ReadAll(const Source& source) {
    std::vector<u8> image(static_cast<std::size_t>(source.Size()));
    for (std::size_t done = 0; done < image.size();) {
        const auto part = static_cast<u32>(std::min<std::size_t>(image.size() - done, 0x40000000U));
        u32 got = 0;
        if (!source.Read(done, image.data() + done, part, got)) {
            throw LoadError{SYM_ERR_OPEN, "offset " + std::to_string(done) + ": the bytes cannot be read"};
        }
        if (got == 0) image.resize(done);
        done += got;
    }
    return image;
}

// The rows of all loaders in the first one. False where they must be loaded by one.
bool Join(std::vector<std::unique_ptr<ColumnLoader>>& loaders) {
    for (std::size_t i = 1; i < loaders.size(); ++i) {
        if (loaders[0]->Done()) return true;  // the data is damaged there; later records do not count
        if (!loaders[0]->Append(*loaders[i])) return false;
        loaders[i].reset();
    }
    return true;
}

}  // namespace

Loaded Load(const Source& source, const LoadOptions& options) {
    if (options.threads > 1 && source.Memory() == nullptr) {
        const std::vector<u8> image = ReadAll(source);
        return Load(Source(image.data(), image.size()), options);
    }
    const Stream stream = Stream::Open(source);
    Budget budget(MemoryLimit(source.Size(), options));
    std::vector<std::unique_ptr<ColumnLoader>> loaders;
    loaders.push_back(std::make_unique<ColumnLoader>(stream, options, &budget, std::vector<ColumnSpec>(), 2));
    Feeder feeder(source, stream.offset + 2);
    // What the columns are is decided by the first rows, whatever the number of threads.
    feeder.Run(*loaders[0], ColumnBuilder::kSampleRows);
    if (loaders[0]->Rows() == ColumnBuilder::kSampleRows) loaders[0]->DecideFromSample();
    std::vector<u64> cuts;
    if (options.threads > 1 && !loaders[0]->Done()) {
        cuts = CutRecords(source.Memory(), source.Size(), stream, feeder.Offset(), options.threads);
    }
    if (cuts.empty()) {
        const u64 there = source.Size() - std::min(source.Size(), stream.offset);
        loaders[0]->ReserveFor(std::min<u64>(stream.size, there));
        feeder.Run(*loaders[0], ~u32{0});
    } else {
        for (const u64 cut : cuts) {
            loaders.push_back(std::make_unique<ColumnLoader>(stream, options, &budget, loaders[0]->Known(),
                                                             cut - stream.offset));
            loaders.back()->SkipSample();
        }
        InParallel(static_cast<u32>(loaders.size()), [&](u32 i) {
            Feeder part(source, i == 0 ? feeder.Offset() : cuts[i - 1]);
            if (i < cuts.size()) loaders[i]->StopAt(cuts[i] - stream.offset);
            part.Run(*loaders[i], ~u32{0});
        });
        if (!Join(loaders)) {
            loaders.clear();
            LoadOptions alone = options;
            alone.threads = 1;
            return Load(source, alone);
        }
    }
    Loaded loaded;
    loaded.rows = loaders[0]->Rows();
    loaded.columns = loaders[0]->Finish();
    loaded.damage = loaders[0]->Broken();
    for (Column& column : loaded.columns) column.Detach();
    return loaded;
}

}  // namespace torva::tables::columns
