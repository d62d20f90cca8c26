// A file that is written is its base, with other records in the symbol section:
//
//   base up to its first record | records | base from the end of its symbol section on
//
// In the section directory the size of the symbol section changes, and the offsets of what comes after it.
#include "tables/columns/Write.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstring>
#include <fstream>
#include <list>

#include "format/Date.h"
#include "symwrite/SymFileWriter.h"
#include "tables/columns/ArrowImport.h"
#include "tables/columns/Options.h"
#include "tables/source/NewFile.h"

namespace torva::tables::columns {
namespace {

constexpr u64 kLargestFile = 0xffffffff;
constexpr u32 kEntrySize = 10;  // of the directory: u16 id, u32 offset, u32 size
constexpr u32 kPiece = 1U << 20U;

[[noreturn]] void Refuse(const std::string& what) { throw LoadError{TVT_ERR_PARAM, what}; }

// The tag of a value of a column for which nothing else names one; 0 for no such tag.
u8 UsualTag(Kind kind, u32 width) {
    if (kind == Kind::kText) return kTextTag;
    if (kind == Kind::kDate) return 5;
    if (kind == Kind::kBool) return 1;
    switch (width) {
        case 1:
            return 1;
        case 2:
            return 4;
        case 3:
            return 9;
        case 4:
            return 3;
        case 8:
            return 6;
        default:
            return 0;
    }
}

// A column that becomes a field.
class FieldColumn {
public:
    FieldColumn(const FieldColumn&) = delete;  // its default value points into itself
    FieldColumn& operator=(const FieldColumn&) = delete;
    FieldColumn(const ArrowSchema& schema, i64 place, const Stream& base, const LoadOptions& options)
        : column(schema), child(place), codec(options.codec.get()) {
        ReadId(options);
        const symwrite::FieldDefinition* const definition =
            options.fields == nullptr ? nullptr : options.fields->Find(id);
        isSigned = definition != nullptr && definition->type == symwrite::FieldType::Signed;
        isUnsigned = definition != nullptr && definition->type == symwrite::FieldType::Unsigned;
        isText = definition != nullptr && definition->type == symwrite::FieldType::Text;
        const auto found = std::find_if(base.defaults.begin(), base.defaults.end(),
                                        [&](const Stream::Default& field) { return field.id == id; });
        const std::string known = column.Metadata("torva.tag");
        std::from_chars(known.data(), known.data() + known.size(), tag);
        if (!Fits(tag) && definition != nullptr) tag = definition->tag;
        if (!Fits(tag) && found != base.defaults.end()) tag = found->tag;
        if (!Fits(tag)) tag = UsualTag(column.ColumnKind(), column.Width());
        if (column.ColumnKind() != Kind::kAuto && !Fits(tag))
            Refuse("column " + column.Name() + ": no tag has values of " + std::to_string(column.Width()) +
                   " bytes");
        if (found != base.defaults.end() && options.defaults) ReadDefault(*found);
    }

    u16 Id() const { return id; }
    const std::string& Name() const { return column.Name(); }
    void OwnFlags(i64 place) { ownChild = place; }

    // Adds what the record of this row carries.
    void AddTo(std::vector<symwrite::Field>& fields, const ArrowArray& batch, i64 row) const {
        const ArrowArray& array = *batch.children[child];
        const Value value = column.At(array, row + batch.offset);
        const bool own = ownChild >= 0 && IsOwn(*batch.children[ownChild], row + batch.offset);
        if (!own && value == defaultValue) return;
        if (value.null) {
            fields.push_back(symwrite::NullField(id));
        } else if (tag == kTextTag) {
            fields.push_back(symwrite::TextField(id, Encoded(value.text, column, codec)));
        } else {
            fields.push_back(symwrite::NumberField(id, tag, Payload(value.bits)));
        }
    }

    // The bytes of a text in the file's character set.
    static std::string Encoded(std::string_view text, const ImportedColumn& column, TextCodec* codec) {
        if (codec == nullptr || !column.IsUtf8()) return std::string(text);
        std::optional<std::string> bytes = codec->Encode(text);
        if (!bytes) Refuse("a text with a character that the character set lacks");
        return std::move(*bytes);
    }

private:
    // By the metadata of the column, else by its name: one of the dictionary, or a number.
    void ReadId(const LoadOptions& options) {
        std::string number = column.Metadata("torva.field");
        if (number.empty()) {
            if (options.fields != nullptr) {
                if (const auto* const definition = options.fields->Find(std::string_view(Name()))) {
                    id = definition->id;
                    return;
                }
            }
            number = Name().starts_with("field_") ? Name().substr(6) : Name();
        }
        const char* const end = number.data() + number.size();
        const auto [stop, error] = std::from_chars(number.data(), end, id);
        if (error != std::errc() || stop != end)
            Refuse("column " + Name() + ": neither the dictionary nor its metadata names its field");
    }

    // Whether values of the column may have this tag.
    bool Fits(u8 candidate) const {
        const u32 payload = PayloadWidth(candidate);
        switch (column.ColumnKind()) {
            case Kind::kText:
                return candidate == kTextTag;
            case Kind::kHex:
                return payload == column.Width();
            case Kind::kFloat:
                return payload == 4 || payload == 8;
            case Kind::kDate:
                return payload >= 4;
            default:
                return payload > 0;
        }
    }

    // What a load of the written file has in rows without a value of their own.
    void ReadDefault(const Stream::Default& field) {
        const u32 payload = PayloadWidth(field.tag);
        if (column.ColumnKind() == Kind::kText) {
            if (field.tag != kTextTag && (!isText || payload == 0)) return;
            defaultText = field.payload;
            while (!defaultText.empty() && defaultText.back() == 0) defaultText.pop_back();
            if (codec != nullptr && column.IsUtf8()) {
                const auto decoded = codec->Decode(defaultText);
                if (decoded) defaultText = std::string(*decoded);
            }
            defaultValue.text = defaultText;
            defaultValue.null = false;
            return;
        }
        if (payload == 0 || field.payload.size() < payload) return;
        u64 bits = 0;
        std::memcpy(&bits, field.payload.data(), payload);
        const bool date = column.ColumnKind() == Kind::kDate;
        const bool floating = column.ColumnKind() == Kind::kFloat;
        if (date && !DateOf(bits)) return;
        if (column.ColumnKind() == Kind::kBool && bits > 1) return;
        if (column.ColumnKind() == Kind::kHex && payload != column.Width()) return;
        if (floating && payload != 4 && payload != 8) return;
        if (isSigned && column.ColumnKind() == Kind::kSigned) {
            const u32 unused = 64 - 8 * payload;
            bits = static_cast<u64>(static_cast<i64>(bits << unused) >> unused);
        }
        if (floating && payload == 4)
            bits = std::bit_cast<u64>(static_cast<double>(std::bit_cast<float>(static_cast<u32>(bits))));
        defaultValue.bits = bits;
        defaultValue.null = false;
    }

    // The payload of a value, whole.
    u64 Payload(u64 bits) const {
        const u32 width = PayloadWidth(tag);
        if (column.ColumnKind() == Kind::kFloat) {
            if (width == 8) return bits;
            const auto number = std::bit_cast<double>(bits);
            const auto narrow = static_cast<float>(number);
            if (static_cast<double>(narrow) != number && number == number) DoesNotFit(std::to_string(number));
            return std::bit_cast<u32>(narrow);
        }
        const u64 most = width == 8 ? ~u64{0} : (u64{1} << (8 * width)) - 1;
        if (column.ColumnKind() == Kind::kSigned) {
            const auto number = static_cast<i64>(bits);
            const auto half = static_cast<i64>(most >> 1U);
            const auto least = isUnsigned ? 0 : -half - 1;
            const bool fits = number >= least && (number < 0 || bits <= (isSigned ? most >> 1U : most));
            if (!fits) DoesNotFit(std::to_string(number));
            return bits & most;
        }
        if (bits > most) DoesNotFit(std::to_string(bits));
        return bits;
    }

    [[noreturn]] void DoesNotFit(const std::string& number) const {
        Refuse(number + " does not fit a value of tag " + std::to_string(tag));
    }

    static bool IsOwn(const ArrowArray& flags, i64 row) {
        return Bit(static_cast<const u8*>(flags.buffers[1]), static_cast<u64>(row + flags.offset));
    }

    ImportedColumn column;
    i64 child;
    i64 ownChild = -1;
    TextCodec* codec;
    u16 id = 0;
    u8 tag = 0;
    bool isSigned = false;  // by the dictionary
    bool isUnsigned = false;
    bool isText = false;
    Value defaultValue;
    std::string defaultText;
};

// A schema or an array of a stream, released with the object.
template <class T>
struct Imported : T {
    // cppcheck-suppress uninitDerivedMemberVar  ; T{} is all zeros
    Imported() : T{} {}
    Imported(const Imported&) = delete;
    Imported& operator=(const Imported&) = delete;
    ~Imported() { Release(); }
    void Release() {
        if (this->release != nullptr) this->release(this);
        static_cast<T&>(*this) = {};
    }
};

// The records of a stream, a batch at a time.
class Records {
public:
    Records(ArrowArrayStream& from, const Stream& base, const LoadOptions& options)
        : stream(from), codec(options.codec.get()) {
        Check(stream.get_schema(&stream, &schema));
        if (std::strcmp(schema.format, "+s") != 0) Refuse("the stream has no columns");
        for (i64 i = 0; i < schema.n_children; ++i) {
            const ArrowSchema& child = *schema.children[i];
            if (std::strcmp(child.name, "symbol") == 0 && symbol == nullptr) {
                symbol = std::make_unique<ImportedColumn>(child);
                symbolChild = i;
            } else if (!IsOwnFlags(i)) {
                fields.emplace_back(child, i, base, options);
            }
        }
        if (symbol == nullptr || symbol->ColumnKind() != Kind::kText)
            Refuse("the stream has no column \"symbol\" of texts");
        for (i64 i = 0; i < schema.n_children; ++i) {
            if (!IsOwnFlags(i)) continue;
            for (FieldColumn& field : fields) {
                if (field.Name() + kOwn == schema.children[i]->name) field.OwnFlags(i);
            }
        }
        fields.sort([](const FieldColumn& a, const FieldColumn& b) { return a.Id() < b.Id(); });
        const auto twin =
            std::adjacent_find(fields.begin(), fields.end(),
                               [](const FieldColumn& a, const FieldColumn& b) { return a.Id() == b.Id(); });
        if (twin != fields.end())
            Refuse("columns " + twin->Name() + " and " + std::next(twin)->Name() + " are of one field");
    }
    // Adds records to `bytes`, up to about a piece; false at the end of the stream.
    bool Add(symwrite::Bytes& bytes) {
        while (batch.release == nullptr || next == batch.length) {
            batch.Release();
            next = 0;
            Check(stream.get_next(&stream, &batch));
            if (batch.release == nullptr) return false;
        }
        for (; next < batch.length && bytes.size() < kPiece; ++next, ++row) AddRow(bytes);
        return true;
    }

private:
    static constexpr const char* kOwn = ".own";

    // A bool column NAME.own beside a column NAME.
    bool IsOwnFlags(i64 place) const {
        const std::string_view name = schema.children[place]->name;
        if (!name.ends_with(kOwn) || std::strcmp(schema.children[place]->format, "b") != 0) return false;
        const std::string_view of = name.substr(0, name.size() - std::strlen(kOwn));
        return std::any_of(schema.children, schema.children + schema.n_children,
                           [&](const ArrowSchema* child) { return of == child->name; });
    }

    void AddRow(symwrite::Bytes& bytes) {
        std::string column = symbol->Name();
        try {
            const Value text = symbol->At(*batch.children[symbolChild], next + batch.offset);
            if (text.null) Refuse("a symbol is null");
            record.cells = {FieldColumn::Encoded(text.text, *symbol, codec)};
            record.fields.clear();
            for (const FieldColumn& field : fields) {
                column = field.Name();
                field.AddTo(record.fields, batch, next);
            }
        } catch (const LoadError& error) {
            throw LoadError{error.code,
                            "row " + std::to_string(row) + ", column " + column + ": " + error.message};
        }
        symwrite::AppendSymbol(bytes, record);
    }

    void Check(int result) {
        if (result == 0) return;
        const char* const reason = stream.get_last_error(&stream);
        Refuse(std::string("the stream fails: ") + (reason == nullptr ? "without a reason" : reason));
    }

    ArrowArrayStream& stream;
    TextCodec* const codec;
    Imported<ArrowSchema> schema;
    Imported<ArrowArray> batch;
    i64 next = 0;
    u64 row = 0;
    std::unique_ptr<ImportedColumn> symbol;
    i64 symbolChild = 0;
    std::list<FieldColumn> fields;  // they stay where they are
    symwrite::Row record;
};

// The file while it is written, beside its place; it takes the place of what is there at the end.
class Output {
public:
    explicit Output(const char* path) : file(PathOf(path)) {
        out.open(file.Path(), std::ios::binary | std::ios::trunc);
        Check();
    }
    void Put(const void* bytes, std::size_t size) {
        out.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(size));
        Check();
    }
    u64 Position() { return static_cast<u64>(static_cast<std::streamoff>(out.tellp())); }
    void Patch(u64 offset, const void* bytes, std::size_t size) {
        out.seekp(static_cast<std::streamoff>(offset));
        Put(bytes, size);
    }
    void TakePlace() {
        out.close();
        Check();
        const std::error_code failure = file.TakePlace();
        if (failure) throw LoadError{TVT_ERR_OPEN, "cannot be written: " + failure.message()};
    }

private:
    void Check() const {
        if (!out) throw LoadError{TVT_ERR_OPEN, "cannot be written"};
    }

    NewFile file;
    std::ofstream out;  // is closed before the file is removed
};

void Copy(const Source& source, u64 from, u64 to, Output& out) {
    std::vector<u8> piece(kPiece);
    while (from < to) {
        u32 got = 0;
        if (!source.Read(from, piece.data(), static_cast<u32>(std::min<u64>(kPiece, to - from)), got) ||
            got == 0)
            throw LoadError{TVT_ERR_OPEN, "the base cannot be read at offset " + std::to_string(from)};
        out.Put(piece.data(), got);
        from += got;
    }
}

// The directory entries of the base, as their bytes.
std::vector<u8> Directory(const Source& source) {
    u8 head[2] = {};
    u32 got = 0;
    source.Read(0, head, sizeof head, got);
    const u32 size = (u32{head[0]} | u32{head[1]} << 8U) * kEntrySize;
    std::vector<u8> entries(size);
    source.Read(sizeof head, entries.data(), size, got);
    entries.resize(got - got % kEntrySize);
    return entries;
}

u32 NumberAt(const u8* bytes) {
    u32 number = 0;
    std::memcpy(&number, bytes, sizeof number);
    return number;
}

void Write(const char* path, Source source, ArrowArrayStream& symbols, const LoadOptions& options) {
    const Stream base = Stream::Open(source);
    if (!base.found) throw LoadError{TVT_ERR_FORMAT, "the base has no symbol section"};
    const u64 first = base.offset + 2;
    const u64 end = std::clamp(base.offset + base.size, first, std::max(first, source.Size()));
    Records records(symbols, base, options);
    Output out(path);
    Copy(source, 0, first, out);
    symwrite::Bytes bytes;
    u64 size = 2;
    for (bool more = true; more; bytes.clear()) {
        more = records.Add(bytes);
        size += bytes.size();
        if (first + size + (source.Size() - end) > kLargestFile)
            throw LoadError{TVT_ERR_LIMIT, "the file would be larger than 4 GiB"};
        out.Put(bytes.data(), bytes.size());
    }
    Copy(source, end, source.Size(), out);
    std::vector<u8> entries = Directory(source);
    bool replaced = false;
    for (std::size_t at = 0; at < entries.size(); at += kEntrySize) {
        u8* const entry = entries.data() + at;
        const u32 offset = NumberAt(entry + 2);
        const u32 newSize = static_cast<u32>(size);
        const u32 moved = static_cast<u32>(offset + size - (end - base.offset));
        if (offset == base.offset && entry[0] == TVT_SYMBOLS && entry[1] == 0) {
            if (!std::exchange(replaced, true)) std::memcpy(entry + 6, &newSize, sizeof newSize);
        } else if (offset >= end) {
            std::memcpy(entry + 2, &moved, sizeof moved);
        } else if (offset > base.offset) {
            throw LoadError{TVT_ERR_FORMAT, "section " + std::to_string(entry[0] | entry[1] << 8) +
                                                " of the base begins inside its symbols"};
        }
    }
    out.Patch(2, entries.data(), entries.size());
    source = {};  // closed: the target may be the base, and an open file cannot be replaced on Windows
    out.TakePlace();
}

}  // namespace

void WriteSymbols(const char* path, const char* base, ArrowArrayStream& symbols, const LoadOptions& options) {
    if (base != nullptr) {
        auto file = platform::OpenFile(base, platform::Sharing::shared);
        if (file == nullptr)
            throw LoadError{TVT_ERR_OPEN, std::string("the base ") + base + " cannot be opened"};
        return Write(path, Source(std::move(file)), symbols, options);
    }
    symwrite::File empty;
    empty.sections.emplace_back().id = TVT_SYMBOLS;
    const symwrite::Bytes bytes = symwrite::Write(empty);
    Write(path, Source(bytes.data(), bytes.size()), symbols, options);
}

}  // namespace torva::tables::columns
