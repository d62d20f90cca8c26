// One walk over one section through the exported functions: the calls of each family in their order, what
// their results mean, and what the figures at the end say about the section. Used by Reader alone.
#pragma once

#include <array>
#include <initializer_list>

#include "tools/tvsym/Reader.h"

struct SymFieldItem;

namespace tvsym {

// A buffer for texts of unknown length, as large as any text of the file can be. Pages that no text reaches
// are never touched.
class TextBuffer {
public:
    char* For(u64 fileSize);
    u32 Size() const { return size; }

private:
    std::unique_ptr<char[]> bytes;
    u32 size = 0;
};

class Walker {
public:
    explicit Walker(Reader& owner) : reader(owner), handle(owner.handle) {}

    void TakeDefaults(const std::function<void(const FieldView&)>& take);
    Walk Symbols(const SymbolSink& sink);
    Walk Section(u16 id, const RowSink& sink);

private:
    struct Record;

    bool Enter(u16 id);
    void Leave();
    bool Begun(i32 result);
    void Fail(i32 result);
    void Note(std::string what);
    void CheckSkipped(u64 before, u64 taken, const char* what);

    u64 Consumed() const;
    u64 Position() const;
    void Emit(size_t level, std::initializer_list<Cell> cells);

    bool ReadRecord(Record& record, u64& at);
    void MarkFields(Record& record, u64 recordBytes) const;

    void DefaultFields();
    void SymbolRows();
    void JumpPrices();
    void BrokerInfo();
    void QuickGroups();
    void EidrSections();
    void Level2Sections();
    void SectionGroups();
    void Directory();
    void Objects();
    bool ObjectSources(u16 count);
    bool ObjectSymbols(u16 count);
    bool ObjectData(u8 count);
    void ForeignTrade();
    bool ForeignTradeItems();
    void GlobalRelated();
    bool GlobalRelatedLists();
    void Exchanges();
    void RealDelay();
    void Level2Definitions();
    void ExchangeSupport();

    Reader& reader;
    u16 handle;
    const SectionInfo* section = nullptr;
    const DirectoryEntry* entry = nullptr;
    const RowSink* rowSink = nullptr;
    Walk walk;
    u64 sinceProgress = 0;
    TextBuffer text1;
    TextBuffer text2;
};

}  // namespace tvsym
