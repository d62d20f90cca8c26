// TorvaAPI for C++ hosts: header only, C++17, over the C interface of TorvaAPI.h and nothing else.
//
//     tvapi::File file("market.sym");
//     for (auto& symbol : file.symbols()) {
//         for (auto field : symbol.fields()) print(symbol.text(), field.id(), field.text());
//     }
//     if (file.has(10)) {
//         for (auto& country : file.eidrCountries()) print(country.id, country.name);
//     }
//
// A File closes itself, values free themselves, and each section is an input range: one pass, begun by
// begin(), which may be called again to start anew. What an element refers to (texts, records, values) is
// good until the range goes on to the next element or ends; symbol values can be taken out of their field to
// be kept (Field::take).
//
// One place per file: a file is read at one place, so that beginning a range ends all others of the same
// File, but for level2EodBasicItemDefines() and exchangeSupport(), which are read whole when they begin. A
// File must neither move nor close while one of its ranges is in use. Elements of nested sections may be left
// early at any level; the range of a lower level, begun again, goes on where it was left.
//
// Errors: a range that meets one throws Error, at begin() or at the step to the next element. In a build
// without exceptions, or with TORVA_NO_EXCEPTIONS defined, the range ends instead, and its result() tells the
// code; it is SYM_OK when the range came to its regular end. What the file has ahead of the damage is
// delivered first; of the element that broke off, broken() shows what came. A section that a file does not
// have is SYM_ERR_NO_SECTION (ask with has() before), but for symbols(), jumpPrices() and sectionsL2(): the C
// interface does not tell it for them, and they are empty.
#ifndef TORVA_API_HPP
#define TORVA_API_HPP

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iosfwd>
#include <iterator>
#include <memory>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

#include "TorvaAPI.h"
#include "TorvaValues.h"

#if !defined(TORVA_NO_EXCEPTIONS) && !defined(__cpp_exceptions)
#define TORVA_NO_EXCEPTIONS
#endif
#ifndef TORVA_NO_EXCEPTIONS
#include <stdexcept>
#include <string>
#endif

namespace tvapi {

// What a result code means, for messages.
inline const char* describe(std::int32_t code) noexcept {
    switch (code) {
        case SYM_OK:
            return "done";
        case SYM_ERR_OPEN:
            return "the file can't be opened, or its default fields can't be read";
        case SYM_ERR_PARAM:
            return "a size, a text or a pointer does not do";
        case SYM_ERR_NO_SLOT:
            return "too many open files";
        case SYM_ERR_BAD_HANDLE:
            return "no open file";
        case SYM_MORE_DATA:
            return "there is more";
        case SYM_END_OF_DATA:
            return "the data ends here";
        case SYM_ERR_NO_MEMORY:
            return "out of memory";
        case SYM_ERR_BUFFER_TOO_SMALL:
            return "a text or a value does not fit";
        case SYM_ERR_FORMAT:
            return "counts and sizes disagree";
        case SYM_ERR_NO_SECTION:
            return "no such section, or another id at its start";
        case SYM_ERR_READ:
            return "the data is cut off or can't be read, or a text is too long";
        default:
            return "unknown result";
    }
}

// The two builds have names of their own, so that a program may contain both.
#ifndef TORVA_NO_EXCEPTIONS
inline namespace throwing {

class Error : public std::runtime_error {
public:
    Error(std::int32_t code, unsigned section)
        : std::runtime_error(section == 0 ? std::string(describe(code))
                                          : "section " + std::to_string(section) + ": " + describe(code)),
          errorCode(code),
          errorSection(section) {}

    std::int32_t code() const noexcept { return errorCode; }
    // The section that was read; 0 at open.
    unsigned section() const noexcept { return errorSection; }

private:
    std::int32_t errorCode;
    unsigned errorSection;
};

namespace detail {
[[noreturn]] inline void fail(std::int32_t code, unsigned section) { throw Error(code, section); }
}  // namespace detail

#else
inline namespace coded {
namespace detail {
inline void fail(std::int32_t, unsigned) noexcept {}
}  // namespace detail
#endif

namespace detail {

// An array that grows, keeps what it holds and tells when there is no memory. Its room has no initial value.
template <class T>
class Buffer {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    Buffer() = default;
    Buffer(Buffer&& other) noexcept
        : first(std::exchange(other.first, nullptr)), room(std::exchange(other.room, 0)) {}
    Buffer& operator=(Buffer&& other) noexcept {
        std::swap(first, other.first);
        std::swap(room, other.room);
        return *this;
    }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    ~Buffer() { std::free(first); }

    bool reserve(std::size_t count) noexcept {
        if (count <= room) {
            return true;
        }
        if (count > static_cast<std::size_t>(PTRDIFF_MAX) / sizeof(T)) {
            return false;
        }
        void* larger = std::realloc(first, count * sizeof(T));
        if (larger == nullptr) {
            return false;
        }
        first = static_cast<T*>(larger);
        room = count;
        return true;
    }
    T* data() const noexcept { return first; }
    std::size_t capacity() const noexcept { return room; }

private:
    T* first = nullptr;
    std::size_t room = 0;
};

// Every next() of a walk gives one of these or a negative result code.
inline constexpr std::int32_t kEnd = 0;
inline constexpr std::int32_t kElement = 1;

// What a walk can tell beside its elements.
struct WalkNotes {
    std::optional<std::uint32_t> announced;
    bool part = false;  // the last next() wrote something into the element, whatever its result
};

}  // namespace detail

// Some elements in a row that belong to somebody else.
template <class T>
class List {
public:
    List() = default;
    List(const T* first, std::size_t size) noexcept : elements(first), count(size) {}

    const T* begin() const noexcept { return elements; }
    const T* end() const noexcept { return elements + count; }
    const T* data() const noexcept { return elements; }
    std::size_t size() const noexcept { return count; }
    bool empty() const noexcept { return count == 0; }
    const T& operator[](std::size_t index) const noexcept { return elements[index]; }

private:
    const T* elements = nullptr;
    std::size_t count = 0;
};

// A text of the file. Where the library had no room for it, it is absent and reads as an empty one.
class Text {
public:
    Text() = default;
    explicit Text(const char* text) noexcept : first(text) {}

    bool present() const noexcept { return first != nullptr; }
    const char* c_str() const noexcept { return first != nullptr ? first : ""; }
    std::string_view view() const noexcept { return c_str(); }
    operator std::string_view() const noexcept { return view(); }  // NOLINT: reads as the text that it is

    friend bool operator==(Text a, std::string_view b) noexcept { return a.view() == b; }
    friend bool operator!=(Text a, std::string_view b) noexcept { return a.view() != b; }
    template <class Traits>
    friend std::basic_ostream<char, Traits>& operator<<(std::basic_ostream<char, Traits>& out, Text text) {
        return out << text.view();
    }

private:
    const char* first = nullptr;
};

// The typed value of a field.
class Payload {
public:
    Payload(std::uint8_t tag, const void* value) noexcept : typeTag(tag), bytes(value) {}

    std::uint8_t tag() const noexcept { return typeTag; }
    // False for a tag without a value, and where there was no memory for it.
    bool present() const noexcept { return bytes != nullptr; }
    const void* data() const noexcept { return bytes; }

    // Bytes of the value; of a text without its zero byte.
    std::size_t size() const noexcept {
        constexpr std::uint8_t kWidths[10] = {0, 1, 1, 4, 2, 4, 8, 0, 4, 3};
        if (bytes == nullptr || typeTag > 9) {
            return 0;
        }
        return typeTag == 7 ? std::strlen(static_cast<const char*>(bytes)) : kWidths[typeTag];
    }
    // The text of tag 7; else empty.
    std::string_view text() const noexcept {
        return typeTag == 7 && bytes != nullptr ? static_cast<const char*>(bytes) : std::string_view();
    }
    // The value as a number of this type: as many of its bytes as both have, the others 0.
    template <class T>
    T as() const noexcept {
        static_assert(std::is_trivially_copyable_v<T>);
        T number{};
        const std::size_t width = size() < sizeof number ? size() : sizeof number;
        if (width != 0) {
            std::memcpy(&number, bytes, width);
        }
        return number;
    }

private:
    std::uint8_t typeTag;
    const void* bytes;
};

struct FreeValue {
    void operator()(void* value) const noexcept { SymFreeValue(value); }
};
// A symbol value that was taken out of its field.
using Value = std::unique_ptr<void, FreeValue>;

// One field of a symbol.
class Field : public Payload {
public:
    explicit Field(SymFieldItem* item) noexcept : Payload(item->tag, item->value), source(item) {}

    std::uint16_t id() const noexcept { return source->id; }
    // Takes the value out, so that it outlives the symbol. The field is then absent.
    Value take() const noexcept {
        Value value(source->value);  // packed: no reference to the member
        source->value = nullptr;
        return value;
    }

private:
    SymFieldItem* source;
};

class FieldIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = Field;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = Field;

    FieldIterator() = default;
    explicit FieldIterator(SymFieldItem* item) noexcept : at(item) {}
    Field operator*() const noexcept { return Field(at); }
    FieldIterator& operator++() noexcept {
        ++at;
        return *this;
    }
    FieldIterator operator++(int) noexcept { return FieldIterator(at++); }
    friend bool operator==(FieldIterator a, FieldIterator b) noexcept { return a.at == b.at; }
    friend bool operator!=(FieldIterator a, FieldIterator b) noexcept { return a.at != b.at; }

private:
    SymFieldItem* at = nullptr;
};

class FieldList {
public:
    FieldList(SymFieldItem* first, std::size_t size) noexcept : items(first), count(size) {}

    FieldIterator begin() const noexcept { return FieldIterator(items); }
    FieldIterator end() const noexcept { return FieldIterator(items + count); }
    std::size_t size() const noexcept { return count; }
    Field operator[](std::size_t index) const noexcept { return Field(items + index); }

private:
    SymFieldItem* items;
    std::size_t count;
};

// One symbol with all its fields: its own, then the default fields that it does not carry.
class Symbol {
public:
    Text text() const noexcept { return symbolText; }
    FieldList fields() const noexcept { return {items, count}; }
    // The first field of this id.
    std::optional<Field> field(std::uint16_t id) const noexcept {
        for (std::size_t i = 0; i < count; ++i) {
            if (items[i].id == id) {
                return Field(items + i);
            }
        }
        return std::nullopt;
    }

private:
    friend class SymbolWalk;
    Text symbolText;
    SymFieldItem* items = nullptr;
    std::size_t count = 0;
};

// Section 3: a group, whole.
struct JumpPriceGroup {
    std::uint8_t id = 0;
    List<JumpPriceRecord> records;
};

// Section 6: one field of a named group.
class EidrQuickField {
public:
    Text group() const noexcept { return Text(groupName); }
    std::uint16_t id() const noexcept { return target.id; }
    std::uint8_t tag() const noexcept { return target.tag; }
    Payload value() const noexcept { return {target.tag, target.size != 0 ? target.value : nullptr}; }
    // Bytes of the value; of a text without its zero byte. Known without looking at the text.
    std::size_t size() const noexcept {
        return target.tag == 7 && target.size != 0 ? target.size - 1 : target.size;
    }

private:
    friend class EidrQuickWalk;
    const char* groupName = nullptr;
    SymFieldBuffer target = {0, 0, nullptr, 0, 0};
};

// Section 7.
struct EidrSection {
    std::uint16_t id = 0;
    Text text1;
    Text text2;
};

// Section 8: a group; or a part of it, when its texts are too much for the file's memory budget.
struct SectionL2Group {
    std::uint8_t id = 0;
    List<SectionL2Item> items;
    bool more = false;  // the next element goes on with this group
};

// Sections 9, 10, 12, 19, 20, 22.
struct Entry {
    std::uint32_t id = 0;
    Text name;
};

// Section 11: a group, whole.
struct SectionGroup {
    std::uint8_t id = 0;
    List<std::uint8_t> members;
};

// Section 16.
struct Exchange {
    std::uint32_t id = 0;
    Text text1;
    Text text2;
};

// Section 17.
struct RealDelayPair {
    std::uint8_t first = 0;
    std::uint8_t second = 0;
};

// Section 18.
struct Level2EodBasicItemDefine {
    std::uint16_t id = 0;
    List<std::uint16_t> first;
    List<std::uint16_t> second;
    List<std::uint16_t> third;
};

// Section 21.
struct ExchangeSupport {
    std::uint16_t id = 0;
    List<std::uint16_t> values;
};

// An input range over what a walk delivers. A walk has kSection, begin(), next() and item().
template <class Walk>
class Range {
public:
    using pointer = std::remove_reference_t<decltype(std::declval<Walk&>().item())>*;
    struct sentinel {};

    class iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = std::remove_reference_t<decltype(std::declval<Walk&>().item())>;
        using difference_type = std::ptrdiff_t;
        using pointer = value_type*;
        using reference = value_type&;

        iterator() = default;
        explicit iterator(Range* owner) noexcept : range(owner) {}
        reference operator*() const noexcept { return range->walk.item(); }
        pointer operator->() const noexcept { return &range->walk.item(); }
        iterator& operator++() {
            range->advance();
            return *this;
        }
        void operator++(int) { range->advance(); }
        bool ended() const noexcept { return range->outcome != detail::kElement; }
        friend bool operator==(const iterator& it, sentinel) noexcept { return it.ended(); }
        friend bool operator!=(const iterator& it, sentinel) noexcept { return !it.ended(); }
        friend bool operator==(sentinel, const iterator& it) noexcept { return it.ended(); }
        friend bool operator!=(sentinel, const iterator& it) noexcept { return !it.ended(); }

    private:
        Range* range = nullptr;
    };

    template <class... Arguments>
    explicit Range(std::in_place_t, Arguments&&... arguments) : walk(std::forward<Arguments>(arguments)...) {}

    // Begins the section, or begins it again.
    iterator begin() {
        walk.part = false;
        settle(walk.begin());
        if (outcome == detail::kElement) {
            advance();
        }
        return iterator(this);
    }
    sentinel end() const noexcept { return {}; }

    // Why the range ended: SYM_OK at its regular end (and before it), else the code of the error.
    std::int32_t result() const noexcept { return outcome < 0 ? outcome : SYM_OK; }

    // How many elements the section's head announces, known once the range has begun: sections 4, 9, 10, 12,
    // 16, 17, 19, 20, 22, groups of 11, types of 13, heads of 14 and 15. In a damaged file it may say
    // anything.
    std::optional<std::uint32_t> announced() const noexcept { return walk.announced; }

    // After an error: what came of the element that met it. Null when nothing did; many elements come whole
    // or not at all.
    pointer broken() noexcept { return outcome < 0 && walk.part ? &walk.item() : nullptr; }

private:
    void advance() { settle(walk.next()); }
    void settle(std::int32_t reached) {
        outcome = reached;
        if (reached < 0) {
            detail::fail(reached, Walk::kSection);
        }
    }

    Walk walk;
    std::int32_t outcome = detail::kEnd;
};

// How a file is opened; see tv_OpenSymFile.
struct OpenOptions {
    bool wholeFile = true;
    std::uint32_t memoryBudget = 4u << 20;
    // The field ids that symbols() delivers; all when there are none. At most 65535.
    const std::uint16_t* fieldIds = nullptr;
    std::uint32_t fieldIdCount = 0;
    // Longest text that symbols() and the sections with copied texts take, in characters.
    std::int32_t textMax = 65535;
};

namespace detail {

// What all walks know of their file.
struct Place {
    std::uint16_t handle = 0;
    std::int32_t textMax = 0;
};

// An Initial call ends a range that has nothing to deliver like any other.
inline std::int32_t begun(std::int32_t initialResult) noexcept {
    return initialResult >= 0 ? kElement : initialResult == SYM_END_OF_DATA ? kEnd : initialResult;
}

// For Initial calls that give a count. One of 32 bits may come back negative; of those, only the few that are
// codes of Initial calls count as such.
inline std::int32_t begun(std::int32_t initialResult, std::optional<std::uint32_t>& announced) noexcept {
    announced.reset();
    switch (initialResult) {
        case SYM_END_OF_DATA:
            return kEnd;
        case SYM_ERR_BAD_HANDLE:
        case SYM_ERR_NO_SECTION:
        case SYM_ERR_READ:
            return initialResult;
        default:
            announced = static_cast<std::uint32_t>(initialResult);
            return kElement;
    }
}

// For calls that deliver one element each: SYM_OK comes with the last one.
inline std::int32_t delivered(std::int32_t result, bool& last) noexcept {
    last = result == SYM_OK;
    return result == SYM_OK || result == SYM_MORE_DATA ? kElement : result == SYM_END_OF_DATA ? kEnd : result;
}

// For calls that give SYM_OK with every element.
inline std::int32_t oneOf(std::int32_t result) noexcept {
    return result == SYM_OK ? kElement : result == SYM_END_OF_DATA ? kEnd : result;
}

// A copy of an arena text that outlives the arena.
inline std::int32_t keep(Buffer<char>& buffer, const char* text, Text& kept) noexcept {
    kept = Text();
    if (text != nullptr) {
        const std::size_t size = std::strlen(text) + 1;
        if (!buffer.reserve(size)) {
            return SYM_ERR_NO_MEMORY;
        }
        std::memcpy(buffer.data(), text, size);
        kept = Text(buffer.data());
    }
    return kElement;
}

}  // namespace detail

class File;

class SymbolWalk : public detail::WalkNotes {
public:
    static constexpr unsigned kSection = 2;
    SymbolWalk(File& owner, detail::Place where) noexcept : file(&owner), place(where) {}
    SymbolWalk(SymbolWalk&&) = delete;
    ~SymbolWalk() { release(); }

    std::int32_t begin() noexcept;
    std::int32_t next() noexcept {
        release();
        part = false;
        // As many items per call as the last symbol had, so that most symbols come in one call.
        if (!items.reserve(static_cast<std::size_t>(chunk))) {
            return SYM_ERR_NO_MEMORY;
        }
        std::int32_t count = -1;
        std::int32_t result =
            tv_GetNextSymData(place.handle, text.data(), place.textMax, &count, items.data(), chunk);
        if (count < 0) {  // nothing was begun: SYM_OK means here that the file has no symbols
            return result == SYM_OK || result == SYM_END_OF_DATA ? detail::kEnd : result;
        }
        part = true;
        while (result == SYM_MORE_DATA) {
            symbol.count += static_cast<std::size_t>(count);
            if (!items.reserve(symbol.count + static_cast<std::size_t>(chunk))) {
                result = SYM_ERR_NO_MEMORY;
                break;
            }
            result = tv_GetAgainSymData(place.handle, &count, items.data() + symbol.count, chunk);
        }
        symbol.items = items.data();
        if (result != SYM_OK) {  // what this call wrote is not the caller's
            leftInside();
            return result;
        }
        symbol.count += static_cast<std::size_t>(count);
        constexpr std::size_t kMost = 1u << 20;
        const std::size_t wanted = symbol.count < kMost ? symbol.count + 1 : kMost;
        chunk = wanted > kLeast ? static_cast<std::int32_t>(wanted) : kLeast;
        return detail::kElement;
    }
    Symbol& item() noexcept { return symbol; }

private:
    static constexpr std::int32_t kLeast = 64;

    void leftInside() noexcept;
    void release() noexcept {
        for (std::size_t i = 0; i < symbol.count; ++i) {
            SymFreeValue(items.data()[i].value);
        }
        symbol.count = 0;
    }

    File* file;
    detail::Place place;
    detail::Buffer<char> text;
    detail::Buffer<SymFieldItem> items;
    std::int32_t chunk = kLeast;
    Symbol symbol;
};

class JumpPriceWalk : public detail::WalkNotes {
public:
    static constexpr unsigned kSection = 3;
    JumpPriceWalk(File& owner, detail::Place where) noexcept : file(&owner), place(where) {}

    std::int32_t begin() noexcept;
    std::int32_t next() noexcept {
        part = false;
        if (!records.reserve(kChunk)) {
            return SYM_ERR_NO_MEMORY;
        }
        std::size_t total = 0;
        std::int32_t count = -1;
        std::int32_t result =
            tv_GetNextJumpPriceGroup(place.handle, &group.id, &count, records.data(), kChunk);
        if (count < 0) {
            return result == SYM_OK || result == SYM_END_OF_DATA ? detail::kEnd : result;
        }
        while (result == SYM_MORE_DATA) {
            total += static_cast<std::size_t>(count);
            if (!records.reserve(total + kChunk)) {
                return SYM_ERR_NO_MEMORY;
            }
            result = tv_GetAgainJumpPriceData(place.handle, &count, records.data() + total, kChunk);
        }
        part = true;
        group.records = {records.data(), total + static_cast<std::size_t>(count)};
        // A group that ends the file ends with SYM_END_OF_DATA.
        return result == SYM_OK || result == SYM_END_OF_DATA ? detail::kElement : result;
    }
    JumpPriceGroup& item() noexcept { return group; }

private:
    static constexpr std::int32_t kChunk = 128;
    File* file;
    detail::Place place;
    detail::Buffer<JumpPriceRecord> records;
    JumpPriceGroup group;
};

class BrokerInfoWalk : public detail::WalkNotes {
public:
    static constexpr unsigned kSection = 4;
    explicit BrokerInfoWalk(detail::Place where) noexcept : place(where) {}

    std::int32_t begin() noexcept {
        last = false;
        return records.reserve(kChunk) ? detail::begun(tv_InitialSectionBorkerInfo(place.handle), announced)
                                       : SYM_ERR_NO_MEMORY;
    }
    std::int32_t next() noexcept {
        if (last) {
            return detail::kEnd;
        }
        std::int32_t count = 0;
        const std::int32_t reached =
            detail::delivered(tv_GetNextBrokerInfoGroup(place.handle, &count, records.data(), kChunk), last);
        batch = {records.data(), static_cast<std::size_t>(count)};
        return reached;
    }
    List<BrokerInfoRecord>& item() noexcept { return batch; }

private:
    static constexpr std::int32_t kChunk = 128;
    detail::Place place;
    detail::Buffer<BrokerInfoRecord> records;
    List<BrokerInfoRecord> batch;
    bool last = false;
};

class EidrQuickWalk : public detail::WalkNotes {
public:
    static constexpr unsigned kSection = 6;
    explicit EidrQuickWalk(detail::Place where) noexcept : place(where) {}

    std::int32_t begin() noexcept {
        last = false;
        if (!room.reserve(static_cast<std::size_t>(place.textMax) + 8)) {
            return SYM_ERR_NO_MEMORY;
        }
        field.target.value = room.data();
        return detail::begun(tv_InitialSection6(place.handle));
    }
    std::int32_t next() noexcept {
        if (last) {
            return detail::kEnd;
        }
        std::int32_t count = 0;
        field.target.capacity = static_cast<std::uint32_t>(place.textMax) + 1;
        const std::int32_t result =
            tv_GetNextEidrQuickGroup(place.handle, &field.groupName, &count, &field.target, 1);
        part = count == 1;
        return detail::delivered(result, last);
    }
    EidrQuickField& item() noexcept { return field; }

private:
    detail::Place place;
    detail::Buffer<char> room;
    EidrQuickField field;
    bool last = false;
};

class EidrSectionWalk : public detail::WalkNotes {
public:
    static constexpr unsigned kSection = 7;
    explicit EidrSectionWalk(detail::Place where) noexcept : place(where) {}

    std::int32_t begin() noexcept {
        last = false;
        const std::size_t size = static_cast<std::size_t>(place.textMax) + 1;
        if (!text1.reserve(size) || !text2.reserve(size)) {
            return SYM_ERR_NO_MEMORY;
        }
        const auto size32 = static_cast<std::uint32_t>(size);
        target = {0, text1.data(), size32, text2.data(), size32};
        element.text1 = Text(text1.data());
        element.text2 = Text(text2.data());
        return detail::begun(tv_InitialSection7(place.handle));
    }
    std::int32_t next() noexcept {
        if (last) {
            return detail::kEnd;
        }
        std::int32_t count = 0;
        const std::int32_t result = tv_GetNextEidrSectionGroup(place.handle, &count, &target, 1);
        part = count == 1;
        element.id = target.id;
        return detail::delivered(result, last);
    }
    EidrSection& item() noexcept { return element; }

private:
    detail::Place place;
    detail::Buffer<char> text1;
    detail::Buffer<char> text2;
    EidrSectionItem target = {0, nullptr, 0, nullptr, 0};
    EidrSection element;
    bool last = false;
};

class SectionL2Walk : public detail::WalkNotes {
public:
    static constexpr unsigned kSection = 8;
    SectionL2Walk(File& owner, detail::Place where) noexcept : file(&owner), place(where) {}

    std::int32_t begin() noexcept;
    std::int32_t next() noexcept {
        std::int32_t count = -1;
        const std::int32_t result =
            tv_GetNextSectionL2Group(place.handle, &group.id, &count, items.data(), kMostItems);
        part = count >= 0;
        if (!part) {
            return result == SYM_OK || result == SYM_END_OF_DATA ? detail::kEnd : result;
        }
        // SYM_END_OF_DATA behind a group's head: the group is the last one and empty.
        group.items = {items.data(), static_cast<std::size_t>(count)};
        group.more = result == SYM_MORE_DATA;
        return result == SYM_ERR_FORMAT ? result : detail::kElement;
    }
    SectionL2Group& item() noexcept { return group; }

private:
    static constexpr std::int32_t kMostItems = 255;
    File* file;
    detail::Place place;
    detail::Buffer<SectionL2Item> items;
    SectionL2Group group;
};

// The exports of one directory of ids and names.
struct DirectoryCalls {
    std::int32_t (*initial)(std::uint16_t);
    std::int32_t (*next)(std::uint16_t, std::int32_t*, std::uint32_t*, char**, std::uint32_t);
};

template <unsigned Section>
class DirectoryWalk : public detail::WalkNotes {
public:
    static constexpr unsigned kSection = Section;
    DirectoryWalk(detail::Place where, DirectoryCalls exports) noexcept : place(where), calls(exports) {}

    std::int32_t begin() noexcept {
        last = false;
        if (!name.reserve(static_cast<std::size_t>(place.textMax) + 1)) {
            return SYM_ERR_NO_MEMORY;
        }
        names = name.data();
        entry.name = Text(names);
        return detail::begun(calls.initial(place.handle), announced);
    }
    std::int32_t next() noexcept {
        if (last) {
            return detail::kEnd;
        }
        std::int32_t count = 0;
        return detail::delivered(calls.next(place.handle, &count, &entry.id, &names,
                                            static_cast<std::uint32_t>(place.textMax) + 1),
                                 last);
    }
    Entry& item() noexcept { return entry; }

private:
    detail::Place place;
    DirectoryCalls calls;
    detail::Buffer<char> name;
    char* names = nullptr;
    Entry entry;
    bool last = false;
};

class SectionGroupWalk : public detail::WalkNotes {
public:
    static constexpr unsigned kSection = 11;
    explicit SectionGroupWalk(detail::Place where) noexcept : place(where) {}

    std::int32_t begin() noexcept {
        last = false;
        return detail::begun(tv_InitializeSection11(place.handle), announced);
    }
    std::int32_t next() noexcept {
        if (last) {
            return detail::kEnd;
        }
        std::int32_t count = 0;
        std::uint8_t* array = members;
        const std::int32_t result =
            tv_GetNextSectionGroup(place.handle, &group.id, &count, &array, sizeof members);
        part = count > 0;
        group.members = {members, static_cast<std::size_t>(count)};
        return detail::delivered(result, last);
    }
    SectionGroup& item() noexcept { return group; }

private:
    detail::Place place;
    std::uint8_t members[255] = {};
    SectionGroup group;
    bool last = false;
};

// Section 13. The state of the whole tree; the ranges of the lower levels work on it. A level that is left
// early is read to its end before the level above goes on.
struct ObjectState {
    std::uint16_t handle = 0;
    int depth = 0;  // 1: in a type; 2: in a source symbol; 3: in a symbol
    detail::Buffer<char> sourceText;
    detail::Buffer<char> symbolText;

    std::int32_t nextData(std::uint8_t& byte, const char*& text) noexcept {
        if (depth < 3) {
            return detail::kEnd;
        }
        const std::int32_t result = tv_GetNextObjectData(handle, &byte, &text);
        return result == SYM_MORE_DATA ? detail::kElement : settle(result, 3);
    }
    std::int32_t nextSymbol(std::uint8_t& byte, const char*& text, std::uint8_t& dataCount) noexcept {
        std::uint8_t skippedByte = 0;
        const char* skipped = nullptr;
        std::int32_t reached = detail::kElement;
        while (depth == 3 && reached == detail::kElement) {
            reached = nextData(skippedByte, skipped);
        }
        if (reached < 0 || depth < 2) {
            return reached < 0 ? reached : detail::kEnd;
        }
        return settle(tv_GetNextObjectSym(handle, &byte, &text, &dataCount), 2);
    }
    std::int32_t nextSource(const char*& text, std::uint16_t& symbolCount) noexcept {
        std::uint8_t skippedByte = 0;
        std::uint8_t skippedCount = 0;
        const char* skipped = nullptr;
        std::int32_t reached = detail::kElement;
        while (depth >= 2 && reached == detail::kElement) {
            reached = nextSymbol(skippedByte, skipped, skippedCount);
        }
        if (reached < 0 || depth < 1) {
            return reached < 0 ? reached : detail::kEnd;
        }
        return settle(tv_GetNextObjectSourceSym(handle, &text, &symbolCount), 1);
    }
    std::int32_t nextType(std::uint16_t& id, std::uint16_t& sourceCount) noexcept {
        return settle(tv_GetNextObjectTypeID(handle, &id, &sourceCount), 0);
    }

private:
    // A record at this level opens the level below; the end of a level leads back to the one above.
    std::int32_t settle(std::int32_t result, int level) noexcept {
        if (result == SYM_MORE_DATA) {
            depth = level + 1;
            return detail::kElement;
        }
        depth = level > 0 ? level - 1 : 0;
        return result == SYM_END_OF_DATA ? detail::kEnd : result;
    }
};

struct ObjectData {
    std::uint8_t byte = 0;
    Text text;
};

class ObjectDataWalk : public detail::WalkNotes {
public:
    static constexpr unsigned kSection = 13;
    explicit ObjectDataWalk(ObjectState* tree) noexcept : state(tree) {}
    std::int32_t begin() noexcept { return detail::kElement; }
    std::int32_t next() noexcept {
        std::uint8_t byte = 0;  // of its own: the element need not live in memory
        const char* text = nullptr;
        const std::int32_t reached = state->nextData(byte, text);
        data.byte = byte;
        data.text = Text(text);
        return reached;
    }
    ObjectData& item() noexcept { return data; }

private:
    ObjectState* state;
    ObjectData data;
};

struct ObjectSymbol {
    std::uint8_t byte = 0;
    Text text;
    std::uint8_t dataCount = 0;

    Range<ObjectDataWalk> data() const { return Range<ObjectDataWalk>(std::in_place, state); }
    ObjectState* state = nullptr;
};

class ObjectSymbolWalk : public detail::WalkNotes {
public:
    static constexpr unsigned kSection = 13;
    explicit ObjectSymbolWalk(ObjectState* tree) noexcept { symbol.state = tree; }
    std::int32_t begin() noexcept { return detail::kElement; }
    std::int32_t next() noexcept {
        const char* text = nullptr;
        const std::int32_t reached = symbol.state->nextSymbol(symbol.byte, text, symbol.dataCount);
        return reached == detail::kElement ? detail::keep(symbol.state->symbolText, text, symbol.text)
                                           : reached;
    }
    ObjectSymbol& item() noexcept { return symbol; }

private:
    ObjectSymbol symbol;
};

struct ObjectSource {
    Text text;
    std::uint16_t symbolCount = 0;

    Range<ObjectSymbolWalk> symbols() const { return Range<ObjectSymbolWalk>(std::in_place, state); }
    ObjectState* state = nullptr;
};

class ObjectSourceWalk : public detail::WalkNotes {
public:
    static constexpr unsigned kSection = 13;
    explicit ObjectSourceWalk(ObjectState* tree) noexcept { source.state = tree; }
    std::int32_t begin() noexcept { return detail::kElement; }
    std::int32_t next() noexcept {
        const char* text = nullptr;
        const std::int32_t reached = source.state->nextSource(text, source.symbolCount);
        return reached == detail::kElement ? detail::keep(source.state->sourceText, text, source.text)
                                           : reached;
    }
    ObjectSource& item() noexcept { return source; }

private:
    ObjectSource source;
};

struct ObjectType {
    std::uint16_t id = 0;
    std::uint16_t sourceCount = 0;

    Range<ObjectSourceWalk> sources() const { return Range<ObjectSourceWalk>(std::in_place, state); }
    ObjectState* state = nullptr;
};

class ObjectTypeWalk : public detail::WalkNotes {
public:
    static constexpr unsigned kSection = 13;
    explicit ObjectTypeWalk(detail::Place place) noexcept { state.handle = place.handle; }
    ObjectTypeWalk(ObjectTypeWalk&&) = delete;
    std::int32_t begin() noexcept {
        type.state = &state;
        state.depth = 0;
        return detail::begun(tv_InitialObjectSection(state.handle), announced);
    }
    std::int32_t next() noexcept { return state.nextType(type.id, type.sourceCount); }
    ObjectType& item() noexcept { return type; }

private:
    ObjectState state;
    ObjectType type;
};

// Section 14: an item with names; or a part of one, when it has more than 256.
struct ForeignTradeItem {
    std::uint8_t tag = 0;
    List<const char*> names;  // null where the library had no room for one
    bool more = false;        // the next element goes on with this item
};

// What the heads and the items of section 14 share.
struct ForeignTradeState {
    std::uint16_t handle = 0;
    bool more = false;
    ForeignTradeItem item;
    const char* names[256] = {};
};

class ForeignTradeItemWalk : public detail::WalkNotes {
public:
    static constexpr unsigned kSection = 14;
    explicit ForeignTradeItemWalk(ForeignTradeState* section) noexcept : state(section) {}
    std::int32_t begin() noexcept { return detail::kElement; }
    std::int32_t next() noexcept {
        constexpr std::uint32_t kMostNames = std::extent_v<decltype(ForeignTradeState::names)>;
        constexpr std::uint32_t kNothing = UINT32_MAX;
        ForeignTradeItem& element = state->item;
        std::uint32_t count = kNothing;
        const std::int32_t result =
            state->more ? tv_GetNextForeignTrade(state->handle, state->names, &count, kMostNames)
                        : tv_GetForeignTrade(state->handle, &element.tag, state->names, &count, kMostNames);
        state->more = element.more = result == SYM_MORE_DATA;
        part = count != kNothing;
        element.names = {state->names, part ? count : 0};
        return element.more ? detail::kElement : detail::oneOf(result);
    }
    ForeignTradeItem& item() noexcept { return state->item; }

private:
    ForeignTradeState* state;
};

struct ForeignTrade {
    std::uint16_t id = 0;
    Text name;

    Range<ForeignTradeItemWalk> items() const { return Range<ForeignTradeItemWalk>(std::in_place, state); }
    ForeignTradeState* state = nullptr;
};

class ForeignTradeWalk : public detail::WalkNotes {
public:
    static constexpr unsigned kSection = 14;
    explicit ForeignTradeWalk(detail::Place place) noexcept { state.handle = place.handle; }
    ForeignTradeWalk(ForeignTradeWalk&&) = delete;
    std::int32_t begin() noexcept {
        head.state = &state;
        return detail::begun(tv_InitialForeignTradeSection(state.handle), announced);
    }
    std::int32_t next() noexcept {
        state.more = false;
        ForeignTradeHead record = {0, nullptr};
        const std::int32_t result = detail::oneOf(tv_GetNextForeignTradeHead(state.handle, &record));
        head.id = record.id;
        return result == detail::kElement ? detail::keep(name, record.name, head.name) : result;
    }
    ForeignTrade& item() noexcept { return head; }

private:
    detail::Buffer<char> name;
    ForeignTradeState state;
    ForeignTrade head;
};

// Section 15: a list, whole.
struct GlobalRelatedList {
    List<GlobalRelatedItem> items;
};

// What the heads and the lists of section 15 share.
struct GlobalRelatedState {
    std::uint16_t handle = 0;
    GlobalRelatedList list;
    GlobalRelatedItem items[255] = {};
};

class GlobalRelatedListWalk : public detail::WalkNotes {
public:
    static constexpr unsigned kSection = 15;
    explicit GlobalRelatedListWalk(GlobalRelatedState* section) noexcept : state(section) {}
    std::int32_t begin() noexcept { return detail::kElement; }
    std::int32_t next() noexcept {
        constexpr std::uint32_t kNothing = UINT32_MAX;
        std::uint8_t size = 0;
        std::uint32_t count = kNothing;
        const std::int32_t result = tv_GetGlobalReleated(state->handle, &size, state->items, &count, 255);
        part = count != kNothing;
        state->list.items = {state->items, part ? count : 0};
        return detail::oneOf(result);
    }
    GlobalRelatedList& item() noexcept { return state->list; }

private:
    GlobalRelatedState* state;
};

struct GlobalRelated {
    std::uint16_t id = 0;

    Range<GlobalRelatedListWalk> lists() const { return Range<GlobalRelatedListWalk>(std::in_place, state); }
    GlobalRelatedState* state = nullptr;
};

class GlobalRelatedWalk : public detail::WalkNotes {
public:
    static constexpr unsigned kSection = 15;
    explicit GlobalRelatedWalk(detail::Place place) noexcept { state.handle = place.handle; }
    GlobalRelatedWalk(GlobalRelatedWalk&&) = delete;
    std::int32_t begin() noexcept {
        head.state = &state;
        return detail::begun(tv_InitialGlobalRelatedSection(state.handle), announced);
    }
    std::int32_t next() noexcept {
        return detail::oneOf(tv_GetNextGlobalReleatedHead(state.handle, &head.id));
    }
    GlobalRelated& item() noexcept { return head; }

private:
    GlobalRelatedState state;
    GlobalRelated head;
};

class ExchangeWalk : public detail::WalkNotes {
public:
    static constexpr unsigned kSection = 16;
    explicit ExchangeWalk(detail::Place where) noexcept : place(where) {}

    std::int32_t begin() noexcept {
        last = false;
        const std::size_t size = static_cast<std::size_t>(place.textMax) + 1;
        if (!text1.reserve(size) || !text2.reserve(size)) {
            return SYM_ERR_NO_MEMORY;
        }
        exchange.text1 = Text(text1.data());
        exchange.text2 = Text(text2.data());
        return detail::begun(tv_InitialExchangeSection(place.handle), announced);
    }
    std::int32_t next() noexcept {
        if (last) {
            return detail::kEnd;
        }
        return detail::delivered(tv_GetNextExchange(place.handle, &exchange.id, text1.data(), place.textMax,
                                                    text2.data(), place.textMax),
                                 last);
    }
    Exchange& item() noexcept { return exchange; }

private:
    detail::Place place;
    detail::Buffer<char> text1;
    detail::Buffer<char> text2;
    Exchange exchange;
    bool last = false;
};

class RealDelayWalk : public detail::WalkNotes {
public:
    static constexpr unsigned kSection = 17;
    explicit RealDelayWalk(detail::Place where) noexcept : place(where) {}
    std::int32_t begin() noexcept {
        return detail::begun(tv_InitialRealDelayMappingSection(place.handle), announced);
    }
    std::int32_t next() noexcept {
        return detail::oneOf(tv_GetNextRealDelayMapping(place.handle, &pair.first, &pair.second));
    }
    RealDelayPair& item() noexcept { return pair; }

private:
    detail::Place place;
    RealDelayPair pair;
};

namespace detail {

inline constexpr std::size_t kFirstList = 256;
inline constexpr std::size_t kLongestList = 65535;

// Room for a longer list, after the library said that there was too little.
inline bool grow(Buffer<std::uint16_t>& list) noexcept {
    const std::size_t room = list.capacity() * 4;
    return list.reserve(room < kLongestList ? room : kLongestList);
}

inline std::uint32_t capacity32(const Buffer<std::uint16_t>& list) noexcept {
    return static_cast<std::uint32_t>(list.capacity());
}

// Where the Initial call broke off, the ids that it had read come first and its code, kept in `failure`,
// behind them.
inline std::int32_t loaded(std::int32_t initialResult, std::int32_t& failure) noexcept {
    failure = initialResult == SYM_ERR_READ || initialResult == SYM_ERR_NO_MEMORY ? initialResult : SYM_OK;
    return failure != SYM_OK ? kElement : begun(initialResult);
}

// The result of a call behind a loaded section's last id.
inline std::int32_t unloaded(std::int32_t result, std::int32_t failure) noexcept {
    return result != SYM_END_OF_DATA ? result : failure != SYM_OK ? failure : kEnd;
}

}  // namespace detail

class Level2EodWalk : public detail::WalkNotes {
public:
    static constexpr unsigned kSection = 18;
    explicit Level2EodWalk(detail::Place where) noexcept : place(where) {}

    std::int32_t begin() noexcept {
        if (!first.reserve(detail::kFirstList) || !second.reserve(detail::kFirstList) ||
            !third.reserve(detail::kFirstList)) {
            return SYM_ERR_NO_MEMORY;
        }
        return detail::loaded(tv_InitialLevel2EODBasicItemDefineSection(place.handle), failure);
    }
    std::int32_t next() noexcept {
        std::uint16_t firstCount = 0;
        std::uint16_t secondCount = 0;
        std::uint16_t thirdCount = 0;
        for (;;) {
            const std::int32_t result = tv_GetNextLevel2EODBasicItemDefine(
                place.handle, &define.id, &firstCount, first.data(), detail::capacity32(first), &secondCount,
                second.data(), detail::capacity32(second), &thirdCount, third.data(),
                detail::capacity32(third));
            if (result == SYM_OK) {
                define.first = {first.data(), firstCount};
                define.second = {second.data(), secondCount};
                define.third = {third.data(), thirdCount};
                return detail::kElement;
            }
            if (result != SYM_ERR_BUFFER_TOO_SMALL || detail::capacity32(first) == detail::kLongestList) {
                return detail::unloaded(result, failure);
            }
            if (!detail::grow(first) || !detail::grow(second) || !detail::grow(third)) {
                return SYM_ERR_NO_MEMORY;
            }
        }
    }
    Level2EodBasicItemDefine& item() noexcept { return define; }

private:
    detail::Place place;
    detail::Buffer<std::uint16_t> first;
    detail::Buffer<std::uint16_t> second;
    detail::Buffer<std::uint16_t> third;
    Level2EodBasicItemDefine define;
    std::int32_t failure = SYM_OK;
};

class ExchangeSupportWalk : public detail::WalkNotes {
public:
    static constexpr unsigned kSection = 21;
    explicit ExchangeSupportWalk(detail::Place where) noexcept : place(where) {}

    std::int32_t begin() noexcept {
        return values.reserve(detail::kFirstList)
                   ? detail::loaded(tv_InitialExchangeSupportSection(place.handle), failure)
                   : SYM_ERR_NO_MEMORY;
    }
    std::int32_t next() noexcept {
        std::uint16_t count = 0;
        for (;;) {
            const std::int32_t result = tv_GetNextExchangeSupportSection(
                place.handle, &support.id, &count, values.data(), detail::capacity32(values));
            if (result == SYM_OK) {
                support.values = {values.data(), count};
                return detail::kElement;
            }
            if (result != SYM_ERR_BUFFER_TOO_SMALL || detail::capacity32(values) == detail::kLongestList) {
                return detail::unloaded(result, failure);
            }
            if (!detail::grow(values)) {
                return SYM_ERR_NO_MEMORY;
            }
        }
    }
    ExchangeSupport& item() noexcept { return support; }

private:
    detail::Place place;
    detail::Buffer<std::uint16_t> values;
    ExchangeSupport support;
    std::int32_t failure = SYM_OK;
};

// One open symbol file.
class File {
public:
    File() = default;
#ifndef TORVA_NO_EXCEPTIONS
    explicit File(const char* path, const OpenOptions& how = {}) {
        const std::int32_t result = open(path, how);
        if (result != SYM_OK) {
            detail::fail(result, 0);
        }
    }
    explicit File(const std::string& path, const OpenOptions& how = {}) : File(path.c_str(), how) {}
#endif
    File(File&& other) noexcept
        : fileHandle(std::exchange(other.fileHandle, std::uint16_t{0})),
          begunSections(other.begunSections),
          insideSymbol(other.insideSymbol),
          options(other.options),
          filePath(std::move(other.filePath)),
          fieldIds(std::move(other.fieldIds)),
          sectionIds(std::move(other.sectionIds)) {}
    File& operator=(File&& other) noexcept {
        if (this != &other) {
            close();
            fileHandle = std::exchange(other.fileHandle, std::uint16_t{0});
            begunSections = other.begunSections;
            insideSymbol = other.insideSymbol;
            options = other.options;
            filePath = std::move(other.filePath);
            fieldIds = std::move(other.fieldIds);
            sectionIds = std::move(other.sectionIds);
        }
        return *this;
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() { close(); }

    // Opens a file; one that was open is closed first. Gives SYM_OK or the code of tv_OpenSymFile and never
    // throws.
    std::int32_t open(const char* path, const OpenOptions& how = {}) noexcept {
        close();
        if (path == nullptr || how.textMax < 0 || (how.fieldIds == nullptr && how.fieldIdCount != 0)) {
            return SYM_ERR_PARAM;
        }
        // Path and filter are kept for the rare range that can begin again only with the file opened again.
        const std::size_t pathSize = std::strlen(path) + 1;
        if (!filePath.reserve(pathSize) || !fieldIds.reserve(how.fieldIdCount)) {
            return SYM_ERR_NO_MEMORY;
        }
        std::memmove(filePath.data(), path, pathSize);
        if (how.fieldIdCount != 0) {
            std::memmove(fieldIds.data(), how.fieldIds, how.fieldIdCount * sizeof(std::uint16_t));
        }
        options = how;
        options.fieldIds = fieldIds.data();
        return openKept();
    }
    void close() noexcept {
        if (fileHandle != 0) {
            tv_CloseSymFile(std::exchange(fileHandle, std::uint16_t{0}));
        }
    }

    explicit operator bool() const noexcept { return fileHandle != 0; }
    // For calls of the C interface; 0 when no file is open.
    std::uint16_t handle() const noexcept { return fileHandle; }
    // The share of the current section that has been read.
    double progress() const noexcept { return tv_GetSymDataProgress(fileHandle); }

    // The ids in the file's directory but 1 and 2, in file order. Good until the next call of it.
    List<std::uint32_t> sections() noexcept {
        const std::int32_t count = tv_GetExtendSectionList(fileHandle, nullptr, 0);
        if (count <= 0 || !sectionIds.reserve(static_cast<std::size_t>(count))) {
            return {};
        }
        tv_GetExtendSectionList(fileHandle, sectionIds.data(), count);
        return {sectionIds.data(), static_cast<std::size_t>(count)};
    }
    // Whether the directory names this section; not for 1 and 2.
    bool has(std::uint32_t section) noexcept {
        for (const std::uint32_t id : sections()) {
            if (id == section) {
                return true;
            }
        }
        return false;
    }

    Range<SymbolWalk> symbols() noexcept { return walk<SymbolWalk>(*this, place()); }
    Range<JumpPriceWalk> jumpPrices() noexcept { return walk<JumpPriceWalk>(*this, place()); }
    // In lists of up to 128 records.
    Range<BrokerInfoWalk> brokerInfo() noexcept { return walk<BrokerInfoWalk>(place()); }
    Range<EidrQuickWalk> eidrQuickFields() noexcept { return walk<EidrQuickWalk>(place()); }
    Range<EidrSectionWalk> eidrSections() noexcept { return walk<EidrSectionWalk>(place()); }
    Range<SectionL2Walk> sectionsL2() noexcept { return walk<SectionL2Walk>(*this, place()); }
    Range<DirectoryWalk<9>> fundCompanies() noexcept {
        return directory<9>({tv_InitializeSection9, tv_GetNextFundCompanyGroup});
    }
    Range<DirectoryWalk<10>> eidrCountries() noexcept {
        return directory<10>({tv_InitializeSection10, tv_GetNextEidrCountryGroup});
    }
    Range<SectionGroupWalk> sectionGroups() noexcept { return walk<SectionGroupWalk>(place()); }
    Range<DirectoryWalk<12>> issueCompanies() noexcept {
        return directory<12>({tv_InitializeSection12, tv_GetNextIssueCompanyGroup});
    }
    Range<ObjectTypeWalk> objectTypes() noexcept { return walk<ObjectTypeWalk>(place()); }
    Range<ForeignTradeWalk> foreignTrade() noexcept { return walk<ForeignTradeWalk>(place()); }
    Range<GlobalRelatedWalk> globalRelated() noexcept { return walk<GlobalRelatedWalk>(place()); }
    Range<ExchangeWalk> exchanges() noexcept { return walk<ExchangeWalk>(place()); }
    Range<RealDelayWalk> realDelayMapping() noexcept { return walk<RealDelayWalk>(place()); }
    Range<Level2EodWalk> level2EodBasicItemDefines() noexcept { return walk<Level2EodWalk>(place()); }
    Range<DirectoryWalk<19>> fundMainNames() noexcept {
        return directory<19>({tv_InitialFundMainNameSection, tv_GetNextFundMainName});
    }
    Range<DirectoryWalk<20>> futuresSectionsV2() noexcept {
        return directory<20>({tv_InitialFuturesSectionV2, tv_GetNextFuturesSectionV2});
    }
    Range<ExchangeSupportWalk> exchangeSupport() noexcept { return walk<ExchangeSupportWalk>(place()); }
    Range<DirectoryWalk<22>> futuresClassTypes() noexcept {
        return directory<22>({tv_InitialFuturesClassType, tv_GetNextFuturesClassType});
    }

private:
    friend class SymbolWalk;
    friend class JumpPriceWalk;
    friend class SectionL2Walk;

    detail::Place place() const noexcept { return {fileHandle, options.textMax}; }

    template <class Walk, class... Arguments>
    static Range<Walk> walk(Arguments&&... arguments) noexcept {
        return Range<Walk>(std::in_place, std::forward<Arguments>(arguments)...);
    }
    template <unsigned Section>
    Range<DirectoryWalk<Section>> directory(DirectoryCalls calls) noexcept {
        return walk<DirectoryWalk<Section>>(place(), calls);
    }

    std::int32_t openKept() noexcept {
        begunSections = 0;
        insideSymbol = false;
        const std::int32_t result = tv_OpenSymFile(filePath.data(), options.memoryBudget, options.fieldIds,
                                                   options.fieldIdCount, options.wholeFile ? 1u : 0u);
        if (result <= 0) {
            return result;
        }
        fileHandle = static_cast<std::uint16_t>(result);
        return SYM_OK;
    }

    // Sections 2, 3 and 8 begin at their first record only when another section was current. So a section
    // that was begun before is left for another one first; in a file that has no other, by opening the file
    // again. That also forgets which fields a symbol that broke off had already shown.
    std::int32_t beginAnew(unsigned section, detail::Place& where) noexcept {
        const unsigned bit = 1u << section;
        const bool inside = section == SymbolWalk::kSection && insideSymbol;
        if ((begunSections & bit) != 0 && (inside || !enterAnother())) {
            close();
            const std::int32_t result = openKept();
            if (result != SYM_OK) {
                return result;
            }
        }
        begunSections |= bit;
        where.handle = fileHandle;
        return detail::kElement;
    }
    bool enterAnother() const noexcept {
        using Initial = std::int32_t (*)(std::uint16_t);
        const Initial initials[] = {tv_InitializeSection9,
                                    tv_InitializeSection10,
                                    tv_InitializeSection11,
                                    tv_InitializeSection12,
                                    tv_InitialSectionBorkerInfo,
                                    tv_InitialSection6,
                                    tv_InitialSection7,
                                    tv_InitialObjectSection,
                                    tv_InitialForeignTradeSection,
                                    tv_InitialGlobalRelatedSection,
                                    tv_InitialExchangeSection,
                                    tv_InitialRealDelayMappingSection,
                                    tv_InitialFundMainNameSection,
                                    tv_InitialFuturesSectionV2,
                                    tv_InitialFuturesClassType};
        for (const Initial initial : initials) {
            if (initial(fileHandle) != SYM_ERR_NO_SECTION) {
                return true;
            }
        }
        return false;
    }

    std::uint16_t fileHandle = 0;
    unsigned begunSections = 0;
    bool insideSymbol = false;
    OpenOptions options;
    detail::Buffer<char> filePath;
    detail::Buffer<std::uint16_t> fieldIds;
    detail::Buffer<std::uint32_t> sectionIds;
};

inline std::int32_t SymbolWalk::begin() noexcept {
    release();
    if (!text.reserve(static_cast<std::size_t>(place.textMax) + 1)) {
        return SYM_ERR_NO_MEMORY;
    }
    text.data()[0] = '\0';
    symbol.symbolText = Text(text.data());
    return file->beginAnew(kSection, place);
}

inline void SymbolWalk::leftInside() noexcept { file->insideSymbol = true; }

inline std::int32_t JumpPriceWalk::begin() noexcept { return file->beginAnew(kSection, place); }

inline std::int32_t SectionL2Walk::begin() noexcept {
    return items.reserve(kMostItems) ? file->beginAnew(kSection, place) : SYM_ERR_NO_MEMORY;
}

// Raises the number of files that can be open at once, for as long as it lives. When the last one goes, the
// library closes all files that are still open, those of a File too.
class Library {
public:
    explicit Library(std::uint16_t maxFiles) noexcept { tv_InitSymAPI(maxFiles); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    ~Library() { tv_ReleaseSymAPI(); }
};

#ifndef TORVA_NO_EXCEPTIONS
}  // namespace throwing
#else
}  // namespace coded
#endif
}  // namespace tvapi

#endif
