// What the readers of all sections share: the bytes of one open file, its section directory, its one section
// cursor, reads that count, and the per-call arena.
#pragma once

#include <algorithm>
#include <cstring>
#include <memory>

#include "TorvaAPI.h"
#include "format/Types.h"
#include "library/core/Arguments.h"
#include "library/core/ByteSource.h"
#include "library/core/SectionDirectory.h"
#include "library/core/TempData.h"

namespace torva {

// A file has one read position and one section cursor: reading a section moves both, and entering another
// section loses the place in the first. Knows no particular section.
class FileReader {
public:
    // Reads from `openFile` from now on, with `wholeFile` from an image of it in memory, and loads the
    // section directory. Throws std::bad_alloc.
    void Open(std::unique_ptr<platform::File> openFile, bool wholeFile);

    // The same over an image of the caller's, which must not change and must outlive its use here.
    void OpenImage(const u8* image, u64 size);

    i32 GetExtendSectionList(u32* list, i32 capacity) const {
        return directory.GetExtendSectionList(list, capacity);
    }

    // The share of the current section that is consumed: 0.0 to 1.0 in a sound one. Leaves `*progress` as it
    // is for a section of size 0.
    i32 GetSymDataProgress(double* progress) const {
        if (sectionSize != 0)
            *progress = static_cast<double>(sectionConsumed) / static_cast<double>(sectionSize);
        return SYM_OK;
    }

    // --- The section cursor

    // Places the cursor at the start of section `id`, after its id. False when the directory does not list
    // the section, or when another id is at its start; the cursor is then as before, and in the second
    // case the read position has moved.
    bool SeekSection(u8 id);

    // True when a section's bytes are used up, by its size or by the end of the data.
    bool Exhausted() { return source.AtEnd() || sectionSize <= sectionConsumed; }

    // Seeks a section and reads its head value. SYM_OK, SYM_ERR_NO_SECTION or SYM_ERR_READ.
    i32 EnterSection(u8 id);

    // The same for a section whose head continues with a count. `bytesTotal`, where given, takes the head
    // value, also when the count cannot be read.
    template <class Count>
    i32 EnterCountedSection(u8 id, Count& count, u32* bytesTotal = nullptr) {
        const i32 result = EnterSection(id);
        if (result != SYM_OK) return result;
        if (bytesTotal != nullptr) *bytesTotal = headValue;
        return Read(&count, sizeof count) ? SYM_OK : SYM_ERR_READ;
    }

    // --- Reads that count: each adds its bytes to sectionConsumed and to the counters given

    // Strict: all of `n` bytes, or false and nothing is counted.
    template <class... Counters>
    bool Read(void* dst, u32 n, Counters&... counters) {
        if (!source.ReadStrict(dst, n)) return false;
        Consume(n, counters...);
        return true;
    }

    // Loose: bytes that do not come leave `dst` as it was, and are counted like the others.
    template <class... Counters>
    void ReadLoose(void* dst, u32 n, Counters&... counters) {
        source.ReadBytes(dst, n);
        Consume(n, counters...);
    }

    template <class... Counters>
    void Consume(u32 n, Counters&... counters) {
        sectionConsumed += n;
        ((counters = static_cast<Counters>(counters + n)), ...);
    }

    // Strict reads of up to `n` elements of `size` bytes, one after the other, until one fails: as many at a
    // time as lie together. Returns the number of elements that came whole; they are counted.
    template <class... Counters>
    u32 ReadRun(void* dst, u32 size, u32 n, Counters&... counters) {
        u8* to = static_cast<u8*>(dst);
        u32 done = 0;
        while (done < n) {
            const u32 part = std::clamp<u32>(static_cast<u32>(source.Lent() / size), 1, n - done);
            if (!Read(to, part * size, counters...)) break;
            to += std::size_t{part} * size;
            done += part;
        }
        return done;
    }

    // Loose reads of up to `n` records, with zeros for the bytes that do not come: what the window holds,
    // then many at once past it, then from window to window. Stops after the record with which the data
    // ends, and sets `ended`. Returns the number of records read; they are counted.
    template <class Record>
    u32 ReadRecords(Record* records, u32 n, bool& ended) {
        constexpr u32 kSize = sizeof(Record);
        u32 done = static_cast<u32>(std::min<std::size_t>(source.Lent() / kSize, n));
        ReadLoose(records, done * kSize);
        if (source.MayPassWindow(u64{n - done} * kSize)) {
            done += ReadRecordsPastWindow(records + done, kSize, n - done);
        }
        ended = done > 0 && source.AtEnd();
        while (done < n && !ended) {
            const u32 part = std::clamp<u32>(static_cast<u32>(source.Lent() / kSize), 1, n - done);
            if (source.Lent() < kSize) std::memset(records + done, 0, kSize);
            ReadLoose(records + done, part * kSize);
            done += part;
            ended = source.AtEnd();
        }
        return done;
    }

    // --- Texts

    // Takes a text that only passes through the per-call arena, on its way to a buffer of the caller. Null
    // when it is longer than the arena allows, or cut off; *length counts the terminator. Valid until the
    // next read.
    const u8* PassText(u32* length) {
        const i32 max = arena.MaxText();
        if (const u8* text = source.LendText(max, length)) return text;
        return source.ReadTextToArena(arena.Next(), max, length) == SYM_OK ? arena.Next() : nullptr;
    }

    // PassText and a bounded copy to a caller's buffer of `size` bytes. SYM_OK, with the text counted, or
    // SYM_ERR_READ or SYM_ERR_PARAM with its bytes not counted.
    template <class... Counters>
    i32 ReadTextTo(char* dst, u32 size, Counters&... counters) {
        u32 length = 0;
        const u8* text = PassText(&length);
        if (text == nullptr) return SYM_ERR_READ;
        if (!BoundedCopy(dst, size, text, length)) return SYM_ERR_PARAM;
        Consume(length, counters...);
        return SYM_OK;
    }

    // Places a text in the per-call arena, where it stays until the arena's next reset, and sets `*text` to
    // it; to null when it could be read but found no room. False when it is longer than the arena allows, or
    // cut off.
    template <class... Counters>
    bool PlaceText(const char** text, Counters&... counters) {
        u32 length = 0;
        if (source.ReadTextToArena(arena.Next(), arena.MaxText(), &length) != SYM_OK) return false;
        *text = arena.Fits(length) ? reinterpret_cast<const char*>(arena.Place(length)) : nullptr;
        Consume(length, counters...);
        return true;
    }

    // Copies a text with its terminator, `length` bytes, when it fits; else leaves an empty string where
    // there is room.
    static bool BoundedCopy(void* dst, u32 size, const u8* text, u32 length) {
        if (dst == nullptr || size == 0) return false;
        if (length > size) {
            *static_cast<u8*>(dst) = 0;
            return false;
        }
        std::memcpy(dst, text, length);
        return true;
    }

    ByteSource source;
    TempData arena;  // the per-call arena

    u8 sectionId = 0;  // the section that the cursor is in; 0: none
    u32 sectionSize = 0;
    u32 sectionConsumed = 0;

    // The u32 that was read last from the place of a section's head value, or a record's size in section 2.
    // It is one value for all sections: a record that is continued after another section was entered takes
    // that section's head value for its size.
    u32 headValue = 0;

private:
    u32 ReadRecordsPastWindow(void* dst, u32 size, u32 n);

    SectionDirectory directory;
};

}  // namespace torva
