// Goes over the bytes of a section beside the library's readers, and compares its counts and sizes with what
// is there.
//
// The readers report that sizes disagree, not where, and of some disagreements they report nothing: a count
// that a size overrules, a head value that ends a walk early. This scan follows the description of the
// section (format/Sections.h) element by element and notes each place where two numbers contradict each
// other, ids and symbols that occur twice, and texts that do not decode. After an element that passes its
// bounds it continues where a size before the element says where the next one is. Where there is no
// such size, or it cannot be right, the scan of the section ends.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "format/Sections.h"
#include "tables/check/Findings.h"
#include "tables/source/FileDirectory.h"
#include "tables/source/RawBytes.h"
#include "text/Text.h"

namespace torva::tables {

class SectionScan {
public:
    struct Parts {
        RawBytes& bytes;
        const FileDirectory& directory;
        TextCodec& codec;
        Findings& findings;
        const Progress& progress;
    };

    explicit SectionScan(const Parts& scanParts) : parts(scanParts), bytes(scanParts.bytes) {}

    // The section must be readable, and of an id that has a reader. Returns the rows found on each level.
    std::vector<u64> Scan(const DirectoryEntry& sectionEntry);

    bool Cancelled() const { return cancelled; }

private:
    // What identifies an element, a number or a hash of its text, and where it is.
    struct Key {
        u64 key;
        u64 offset;
    };
    enum class Ended : u8 { BySize, ByCount };

    void Add(Finding finding);
    void AddLast(Finding finding);
    void EndScan() { sound = false; }
    void Advanced(u64 to);

    void DefaultFields();
    void Elements();
    void Begin(u64 elementIndex);
    bool BeginCounted(u64 elementIndex, u64 count);
    void Done(Ended by);
    bool SizeLeavesOutHead();
    bool Element();
    bool Record(u64 size);
    void Body(u64 size);
    void Columns(const Level& level, bool top);
    void Text(const Column& column, bool top);
    void List(const Column& column);
    void Below(std::size_t level);
    void CountedBelow(std::size_t level);
    bool Within(u64 done, u64 count, u64 countOffset, const char* what);
    void Fields(u64 stop, std::size_t level);
    std::string_view ReadText(const char* what, std::optional<u16> field = std::nullopt);

    void NumberKey(u64 key, u64 offset);
    void TextKey(std::string_view text, u64 offset);
    std::optional<std::string> SharedText(u64 offset, u64 other);
    void ReportRepeats();

    u64 SizeUpTo(u64 position) const;
    bool SharesLists() const { return section->stored.size() != section->levels.size(); }

    Parts parts;
    RawBytes& bytes;
    const SectionInfo* section = nullptr;
    const DirectoryEntry* entry = nullptr;
    u64 end = 0;  // of the section, by the directory
    std::vector<u64> rows;
    Place place;  // of the element under way
    u64 begin = 0;
    u64 next = 0;         // where the next one begins, as a size gives it; 0: unknown
    bool broken = false;  // the element under way passed its bounds
    bool sound = true;    // the scan continues, and what was counted can be compared
    bool keysAreTexts = false;
    std::vector<u64> firstOfNumber;  // offset of the first element of each 16-bit id; 0 for none
    std::vector<Key> keys;           // texts and larger numbers; sorted when all are there
    std::vector<u64> lastRecordOfField = std::vector<u64>(65536);
    u64 record = 0;
    u64 reported = 0;
    bool cancelled = false;
};

}  // namespace torva::tables
