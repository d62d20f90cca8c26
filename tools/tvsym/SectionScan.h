// Goes over the bytes of a section beside the library, and compares its counts and sizes with what is there.
//
// The library tells that sizes disagree, not where, and of some disagreements it tells nothing: a count that
// a size overrules, a head value that ends a walk early. This scan follows the layout of each section element
// by element and notes each place where two numbers contradict each other, ids that stand twice and texts
// that do not decode. Behind an element that passes its bounds it goes on where a size ahead of the element
// says that the next one begins. Where no such size stands, or it cannot be right, the scan of the section
// ends, and the finding tells that the rest was not looked at.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/tvsym/Findings.h"
#include "tools/tvsym/RawBytes.h"
#include "tools/tvsym/RawFile.h"
#include "tools/tvsym/Text.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

class SectionScan {
public:
    struct Sources {
        RawBytes& bytes;
        const RawFile& raw;
        TextCodec& codec;
        const std::string& encoding;
        Findings& findings;
        ProgressBar& progress;
    };

    explicit SectionScan(const Sources& scanSources) : sources(scanSources), bytes(scanSources.bytes) {}

    // The section must be one that readers find, of an id that has a reader. Gives the rows found on each
    // level.
    std::vector<u64> Scan(const DirectoryEntry& sectionEntry);

private:
    // What tells an element from the others, a number or a hash of its text, and where it stands.
    struct Key {
        u64 key;
        u64 offset;
    };

    void Add(FindingKind kind, u64 offset, std::string what, std::string expected = {},
             std::string found = {});
    void ScanElements();
    u64 SizeUpTo(u64 position) const;
    std::string Place() const;

    void Begin(const char* elementNoun, u64 elementIndex);
    bool BeginCounted(const char* elementNoun, u64 elementIndex, u64 count);
    enum class Ended : u8 { BySize, ByCount };
    void Done(Ended by);
    void AddLast(FindingKind kind, u64 offset, std::string what, std::string expected, std::string found);
    void EndScan() { sound = false; }
    void CheckHead(u64 head, u64 start);
    void CheckCount(u64 count, u64 offset, const char* noun);
    void BeginBody(u64 size);
    void CheckBody(u64 size, u64 start, const char* what);

    bool Within(u64 done, u64 count, u64 countOffset, const char* what);

    std::string_view Text(const char* what, std::optional<u64> field = std::nullopt);
    void Fields(u64 stop, size_t level);
    void Repeated(const std::string& name, u64 offset, u64 first);
    void NumberKey(u64 key, u64 offset);
    void TextKey(std::string_view text, u64 offset);
    std::optional<std::string> SharedText(u64 offset, u64 other);
    void ReportRepeats();

    void DefaultFields();
    void Symbols();
    void JumpPrices();
    void BrokerInfo();
    void QuickGroups();
    void EidrSections();
    bool SectionBeginsAt(u64 offset) const;
    void Level2Sections();
    void SectionGroups();
    void Directory(size_t countWidth, size_t idWidth, size_t texts);
    void Objects();
    void ObjectSources();
    void HeadsWithBodies();
    void RealDelay();
    void Definitions(size_t countWidth, size_t lists);

    Sources sources;
    RawBytes& bytes;
    const DirectoryEntry* entry = nullptr;
    u64 end = 0;  // of the section, by the directory
    std::vector<u64> rows;
    const char* noun = "its head";  // of the element under way
    u64 index = 0;
    u64 begin = 0;
    bool counted = false;            // an element is under way, not the section's head
    u64 next = 0;                    // where the next one begins, as a size tells; 0 when none does
    bool broken = false;             // the element under way passed its bounds
    bool sound = true;               // the scan goes on, and what was counted can be compared
    std::vector<u64> firstOfNumber;  // where the first element of each 16-bit id stands; 0 for none
    std::vector<Key> keys;           // texts and larger numbers; sorted when all are there
    bool keysAreTexts = false;
    std::vector<u64> lastRecordOfField = std::vector<u64>(65536);
    u64 record = 0;
};

}  // namespace tvsym
