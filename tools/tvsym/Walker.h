// One walk over one section through the ranges of TorvaAPI.hpp: its elements as rows, what its errors mean,
// and what the figures at the end say about the section. Used by Reader alone.
#pragma once

#include <initializer_list>

#include "TorvaAPI.hpp"
#include "tools/tvsym/Reader.h"

namespace tvsym {

// `value` stands as long as the field's own value does.
FieldView ViewOf(const tvapi::Field& field);

class Walker {
public:
    explicit Walker(Reader& owner) : reader(owner), file(owner.file) {}

    Walk Symbols(const SymbolSink& sink);
    Walk Section(u16 id, const RowSink& sink);

private:
    bool Enter(u16 id);
    void Leave();
    void Fail(i32 result);
    void Note(std::string what);
    void CheckCount(u32 found, u32 announced, const char* what);
    void CheckSkipped(u64 before, u64 taken, const char* what);

    u64 Consumed() const;
    u64 NotCounted() const;
    u64 Position() const;
    void Emit(size_t level, std::initializer_list<Cell> cells);
    void Progressed();

    template <class Range, class Show>
    std::optional<u32> Each(Range&& range, Show show);
    template <class Sink>
    bool Records(const Sink& sink);
    SymbolView Record(const tvapi::Symbol& symbol, bool complete);
    void MarkFields(u64 ownBytes, bool complete);

    void Rows();
    void DefaultFields();
    void SymbolRows();
    void JumpPrices();
    void BrokerInfo();
    void QuickGroups();
    void Level2Sections();
    void SectionGroups();
    void Objects();
    void ObjectSource(const tvapi::ObjectSource& source);
    void ForeignTrade();
    void GlobalRelated();
    void RealDelay();
    void Level2Definitions();
    void ExchangeSupport();
    template <class Range>
    void Directory(Range&& range);
    template <class Range>
    void TwoTexts(Range&& range);

    Reader& reader;
    tvapi::File& file;
    const SectionInfo* section = nullptr;
    const DirectoryEntry* entry = nullptr;
    const RowSink* rowSink = nullptr;
    std::vector<FieldView> fields;  // of the record at which the symbol walk stands
    Walk walk;
    std::optional<u64> declared;  // rows of level 0 that the section's head announces
    u64 consumed = 0;  // bytes of the section that were gone through, counted as its directory size counts
    u64 sinceProgress = 0;
};

}  // namespace tvsym
