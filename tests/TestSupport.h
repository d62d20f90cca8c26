// What the tests of the library share: files on disk, open handles, bytes, and results as text.
//
// A walk is compared as one line of text, the outcome of each call in turn: the result's name without its
// prefix, then what the call delivered. "3; MORE 1=AA; MORE 2=B; OK 3=; END".
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "TorvaAPI.h"
#include "format/Fields.h"
#include "format/Sections.h"
#include "symwrite/SymFileWriter.h"

namespace torva::test {

using symwrite::Bytes;

constexpr u32 kBudget = 1U << 20U;
constexpr u32 kLeastBudget = 102401;  // opens a file without default fields

// Files of bytes, put together with +.
inline Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
inline Bytes Number(u64 value, std::size_t width) {
    Bytes bytes(width);
    for (std::size_t i = 0; i < width; ++i) bytes[i] = static_cast<u8>(value >> (8 * i));
    return bytes;
}
inline Bytes U8(u64 value) { return Number(value, 1); }
inline Bytes U16(u64 value) { return Number(value, 2); }
inline Bytes U32(u64 value) { return Number(value, 4); }
inline Bytes Text(const std::string& text) {
    Bytes bytes(text.begin(), text.end());
    bytes.push_back(0);
    return bytes;
}
inline Bytes Fill(std::size_t size, u8 value = 0) { return Bytes(size, value); }

inline symwrite::Section MakeSection(u16 id, std::vector<symwrite::Row> rows) {
    symwrite::Section section;
    section.id = id;
    section.rows = std::move(rows);
    return section;
}
inline symwrite::Section DefaultsSection(std::vector<symwrite::Field> fields) {
    symwrite::Section section;
    section.id = 1;
    section.fields = std::move(fields);
    return section;
}
inline symwrite::Section RawSection(u16 id, Bytes body) {
    symwrite::Section section;
    section.id = id;
    section.raw = std::move(body);
    return section;
}
inline Bytes FileOf(std::vector<symwrite::Section> sections, Bytes behind = {}) {
    symwrite::File file;
    file.sections = std::move(sections);
    file.behind = std::move(behind);
    return symwrite::Write(file);
}

// A file in the temporary directory, gone with this object.
class TempFile {
public:
    explicit TempFile(const Bytes& bytes);
    ~TempFile();
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;
    const char* Path() const { return path.c_str(); }

    // A path in the temporary directory at which nothing exists yet.
    static std::string NewPath();

private:
    std::string path;
};

struct HowToOpen {
    u32 wholeFile = 0;
    u32 budget = kBudget;
    std::vector<u16> ids = {};
};
inline i32 Open(const char* path, const HowToOpen& how = {}) {
    return tv_OpenSymFile(path, how.budget, how.ids.data(), static_cast<u32>(how.ids.size()), how.wholeFile);
}

// A file on disk that is open under a handle.
class OpenFile {
public:
    explicit OpenFile(const Bytes& bytes, const HowToOpen& how = {})
        : file(bytes), result(Open(file.Path(), how)) {
        EXPECT_GT(result, 0) << "the file did not open";
    }
    ~OpenFile() { tv_CloseSymFile(Handle()); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    u16 Handle() const { return result > 0 ? static_cast<u16>(result) : u16{0}; }

private:
    TempFile file;
    i32 result;
};

// Runs `check(handle)` on the bytes in file mode and in memory mode, each on a handle of its own.
inline void InBothModes(const Bytes& bytes, const std::function<void(u16)>& check, HowToOpen how = {}) {
    for (const u32 wholeFile : {0U, 1U}) {
        SCOPED_TRACE(wholeFile != 0 ? "memory mode" : "file mode");
        how.wholeFile = wholeFile;
        const OpenFile file(bytes, how);
        check(file.Handle());
    }
}
// The same for a walk that returns its outcome as text.
inline void ExpectWalk(const Bytes& bytes, const std::function<std::string(u16)>& walk,
                       const std::string& expected, const HowToOpen& how = {}) {
    InBothModes(
        bytes, [&](u16 h) { EXPECT_EQ(walk(h), expected); }, how);
}

// A file and the outcome of the walk over it.
struct WalkCase {
    const char* name;
    Bytes bytes;
    std::string expected;
};
void ExpectWalks(std::span<const WalkCase> cases, const std::function<std::string(u16)>& walk);

// The name of a result code; a positive result as its number.
std::string Name(i32 result);

// Joins the outcomes of calls with "; ".
class Calls {
public:
    Calls& operator<<(const std::string& outcome) {
        if (!text.empty()) text += "; ";
        text += outcome;
        return *this;
    }
    const std::string& Text() const { return text; }

private:
    std::string text;
};

// Outcomes in braces are those of calls made from left to right.
inline std::string InTurn(std::initializer_list<std::string> outcomes) {
    Calls calls;
    for (const std::string& outcome : outcomes) calls << outcome;
    return calls.Text();
}

// The outcome of an initial call and of each call of `next` after it, up to the first that does not begin
// with OK or MORE.
std::string WalkOn(i32 initial, const std::function<std::string()>& next);

constexpr int kMostCalls = 1000;  // a walk that has not ended by then never will

inline std::string Hex(const void* bytes, std::size_t size) {
    static const char* const kDigits = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        const u8 byte = static_cast<const u8*>(bytes)[i];
        text += {kDigits[byte >> 4U], kDigits[byte & 15U]};
    }
    return text;
}

// Frees a value as a host in the same runtime does.
inline void FreeValue(void* value) { delete[] static_cast<u8*>(value); }

// A call of the symbol stream as text: its result, then its items as "id:value" with blocks in hex, texts in
// quotes and null as "-". Frees the blocks. A call that delivers nothing shows only the number of its
// items: "END (2)". `count` is a reference so that the call may be one of the arguments.
std::string TakeItems(i32 result, const std::vector<SymFieldItem>& items, const i32& count);

// An array with guard bytes on both sides; its own bytes begin as 0xcd.
template <class T>
class Guarded {
public:
    explicit Guarded(std::size_t elements) : bytes(2 * kGuard + elements * sizeof(T), 0xa5) {
        std::memset(Data(), 0xcd, elements * sizeof(T));
    }
    T* Data() { return reinterpret_cast<T*>(bytes.data() + kGuard); }
    T& operator[](std::size_t i) { return Data()[i]; }
    bool Intact() const {
        return Hex(bytes.data(), kGuard) == Guard() && Hex(&*bytes.end() - kGuard, kGuard) == Guard();
    }

private:
    static constexpr std::size_t kGuard = 32;
    static std::string Guard() { return Hex(Bytes(kGuard, 0xa5).data(), kGuard); }
    Bytes bytes;
};

}  // namespace torva::test
