#include "tables/columns/ArrowImport.h"

#include <bit>
#include <chrono>
#include <cstdlib>
#include <cstring>

#include "tables/columns/Loader.h"

namespace torva::tables::columns {
namespace {

// Bytes of an index into an Arrow dictionary and of an integer, by the letter of its type; 0 for no integer.
u32 IntegerWidth(char letter) {
    switch (letter) {
        case 'c':
        case 'C':
            return 1;
        case 's':
        case 'S':
            return 2;
        case 'i':
        case 'I':
            return 4;
        case 'l':
        case 'L':
            return 8;
        default:
            return 0;
    }
}

bool IsSigned(char letter) { return letter == 'c' || letter == 's' || letter == 'i' || letter == 'l'; }

u64 Load(const ArrowArray& array, int buffer, i64 at, u32 width) {
    u64 number = 0;
    const auto* const bytes = static_cast<const u8*>(array.buffers[buffer]);
    std::memcpy(&number, bytes + at * static_cast<i64>(width), width);
    return number;
}

u64 SignExtended(u64 number, u32 width) {
    const u32 unused = 64 - 8 * width;
    return static_cast<u64>(static_cast<i64>(number << unused) >> unused);
}

bool IsNull(const ArrowArray& array, i64 at) {
    return array.null_count != 0 && array.buffers[0] != nullptr &&
           !Bit(static_cast<const u8*>(array.buffers[0]), static_cast<u64>(at));
}

// A text between two offsets of that width.
std::string_view RangeAt(const ArrowArray& array, i64 at, u32 width) {
    const u64 begin = Load(array, 1, at, width);
    const u64 end = Load(array, 1, at + 1, width);
    if (end <= begin) return {};
    return {static_cast<const char*>(array.buffers[2]) + begin, static_cast<std::size_t>(end - begin)};
}

// A text of the view layout: 16 bytes for each, which begin with its size. Up to 12 bytes follow there; of a
// longer text the first 4, the number of the data buffer among those from the third on, and where it begins
// there.
std::string_view ViewAt(const ArrowArray& array, i64 at) {
    constexpr u32 kMostInline = 12;
    const auto* const view = static_cast<const char*>(array.buffers[1]) + at * 16;
    const auto number = [&](u32 offset) {
        u32 value = 0;
        std::memcpy(&value, view + offset, sizeof value);
        return value;
    };
    const u32 size = number(0);
    if (size <= kMostInline) return {view + 4, size};
    return {static_cast<const char*>(array.buffers[2 + number(8)]) + number(12), size};
}

u64 DateOfDays(i32 days) {
    const std::chrono::year_month_day date{std::chrono::sys_days(std::chrono::days(days))};
    const auto year = static_cast<int>(date.year());
    if (year < 1000 || year > 9999) throw LoadError{TVT_ERR_PARAM, "a date outside the years 1000 to 9999"};
    const u64 month = static_cast<unsigned>(date.month());
    return static_cast<u64>(year) * 10000 + month * 100 + static_cast<unsigned>(date.day());
}

}  // namespace

ImportedColumn::ImportedColumn(const ArrowSchema& columnSchema)
    : schema(columnSchema), name(schema.name == nullptr ? "" : schema.name) {
    if (schema.dictionary != nullptr && IntegerWidth(*schema.format) == 0)
        throw LoadError{TVT_ERR_PARAM, "column " + name + ": the indices of its dictionary are not integers"};
    ReadFormat((schema.dictionary != nullptr ? schema.dictionary : &schema)->format);
}

void ImportedColumn::ReadFormat(const char* format) {
    const char letter = format[0];
    const bool plain = letter != 0 && format[1] == 0;
    width = plain ? IntegerWidth(letter) : 0;
    if (width != 0) {
        kind = IsSigned(letter) ? Kind::kSigned : Kind::kUnsigned;
    } else if (plain && (letter == 'f' || letter == 'g')) {
        kind = Kind::kFloat;
        width = letter == 'f' ? 4 : 8;
    } else if (plain && (letter == 'u' || letter == 'U' || letter == 'z' || letter == 'Z')) {
        kind = Kind::kText;
        utf8 = letter == 'u' || letter == 'U';
        largeOffsets = letter == 'U' || letter == 'Z';
    } else if (std::strcmp(format, "vu") == 0 || std::strcmp(format, "vz") == 0) {
        kind = Kind::kText;
        utf8 = format[1] == 'u';
        views = true;
    } else if (plain && letter == 'b') {
        kind = Kind::kBool;
    } else if (std::strcmp(format, "tdD") == 0) {
        kind = Kind::kDate;
        width = 4;
    } else if (letter == 'w' && format[1] == ':') {
        kind = Kind::kHex;
        width = static_cast<u32>(std::strtoul(format + 2, nullptr, 10));
    }
    if ((kind == Kind::kAuto && std::strcmp(format, "n") != 0) ||
        (kind == Kind::kHex && (width == 0 || width > kMostPayload))) {
        throw LoadError{TVT_ERR_PARAM,
                        "column " + name + ": values of Arrow type \"" + format + "\" cannot be written"};
    }
}

// The metadata is a count, then keys and values, each preceded by its length.
std::string ImportedColumn::Metadata(std::string_view key) const {
    const char* at = schema.metadata;
    if (at == nullptr) return "";
    const auto number = [&] {
        i32 value = 0;
        std::memcpy(&value, at, sizeof value);
        at += sizeof value;
        return value;
    };
    const auto text = [&] {
        const auto size = static_cast<std::size_t>(number());
        const std::string_view view(at, size);
        at += size;
        return view;
    };
    for (i32 left = number(); left > 0; --left) {
        const std::string_view found = text();
        const std::string_view value = text();
        if (found == key) return std::string(value);
    }
    return "";
}

Value ImportedColumn::At(const ArrowArray& array, i64 row) const {
    Value value;
    const ArrowArray* from = &array;
    i64 at = row + array.offset;
    if (kind == Kind::kAuto || IsNull(array, at)) return value;
    if (schema.dictionary != nullptr) {
        const u32 indexWidth = IntegerWidth(*schema.format);
        from = array.dictionary;
        at = static_cast<i64>(Load(array, 1, at, indexWidth)) + from->offset;
        if (IsNull(*from, at)) return value;
    }
    value.null = false;
    if (kind == Kind::kText) {
        value.text = views ? ViewAt(*from, at) : RangeAt(*from, at, largeOffsets ? 8 : 4);
        if (value.text.find('\0') != std::string_view::npos)
            throw LoadError{TVT_ERR_PARAM, "a text with a zero byte"};
        return value;
    }
    if (kind == Kind::kBool) {
        value.bits = Bit(static_cast<const u8*>(from->buffers[1]), static_cast<u64>(at)) ? 1 : 0;
        return value;
    }
    value.bits = Load(*from, 1, at, width);
    if (kind == Kind::kSigned) value.bits = SignExtended(value.bits, width);
    if (kind == Kind::kFloat && width == 4) {
        value.bits =
            std::bit_cast<u64>(static_cast<double>(std::bit_cast<float>(static_cast<u32>(value.bits))));
    }
    if (kind == Kind::kDate) value.bits = DateOfDays(static_cast<i32>(value.bits));
    return value;
}

}  // namespace torva::tables::columns
