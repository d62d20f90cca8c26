#include "tools/tvsym/Walker.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "format/Results.h"
#include "tools/tvsym/Sections.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

namespace {

constexpr u64 kRowsBetweenProgress = 1024;     // a look at the clock costs more than a row
constexpr size_t kProblemsOfOneSection = 100;  // a section of nonsense says enough with that

std::string ResultText(i32 result) {
    const torva::ResultCode* code = torva::FindResult(result);
    return code && code->damage ? code->damage : fmt::format("unexpected result {}", result);
}

Cell Number(u64 number) {
    Cell cell;
    cell.number = number;
    return cell;
}

Cell Bytes(std::string_view bytes) {
    Cell cell;
    cell.bytes = bytes;
    return cell;
}

Cell Payload(u8 tag, std::string_view payload) {
    Cell cell;
    cell.number = tag;
    cell.bytes = payload;
    return cell;
}

Cell List(const u16* items, size_t count) {
    Cell cell;
    cell.list = {items, count};
    return cell;
}

Cell List(const tvapi::List<u16>& list) { return List(list.data(), list.size()); }

template <size_t kSize>
Cell RecordBytes(const u8 (&record)[kSize]) {
    return Bytes({reinterpret_cast<const char*>(record), kSize});
}

u64 SizeInFile(const FieldView& field) {
    return 3 + (field.tag == kTextTag ? field.value.size() + 1 : PayloadWidth(field.tag));
}

}  // namespace

FieldView ViewOf(const tvapi::Field& field) {
    FieldView view;
    view.id = field.id();
    view.tag = field.tag();
    view.value = {static_cast<const char*>(field.data()), field.size()};
    return view;
}

bool Walker::Enter(u16 id) {
    section = FindSection(id);
    entry = reader.raw.Find(id);
    if (!section || !entry || !entry->Readable()) {
        return false;
    }
    walk.present = true;
    walk.rows.assign(section->levels.size(), 0);
    consumed = 2;
    return true;
}

// Compares what was delivered with what the section's head and the directory announce. A section that the
// file cuts off is told of with the directory.
void Walker::Leave() {
    if (reader.options.progress) {
        reader.options.progress->SectionDone(entry->size);
    }
    if (!walk.problems.empty()) {
        return;
    }
    if (declared && *declared != walk.rows[0]) {
        Note(fmt::format("its head announces {} {}, {} were there", *declared, section->levels[0].name,
                         walk.rows[0]));
    } else if (consumed < entry->size && entry->End() <= reader.raw.fileSize) {
        Note(fmt::format("expected the section to end at 0x{:x}, its last element ends {} bytes before that",
                         entry->End(), entry->size - consumed));
    } else if (consumed > entry->size) {
        Note(fmt::format("expected the section to end at 0x{:x}, its elements go on for {} bytes",
                         entry->End(), consumed - entry->size));
    }
}

void Walker::Fail(i32 result) {
    Note(ResultText(result));
    walk.result = result;
}

void Walker::Note(std::string what) {
    if (walk.problems.size() < kProblemsOfOneSection) {
        walk.problems.push_back({section->id, Position(), std::move(what)});
    }
}

void Walker::CheckCount(u32 found, u32 announced, const char* what) {
    if (found < announced) {
        Note(fmt::format("the type block ends behind {} of {} {}", found, announced, what));
    }
}

// A call that opens the next block skips what was left of the last one, which stood at `before`.
void Walker::CheckSkipped(u64 before, u64 taken, const char* what) {
    const u64 now = Consumed();
    if (before != 0 && now > before + taken) {
        Note(fmt::format("{} bytes at the end of the {} before this place belong to none of its elements",
                         now - before - taken, what));
    }
}

// The library's progress is consumed / size, and both are 32-bit numbers, so the product is exact when
// rounded.
u64 Walker::Consumed() const {
    if (section->id == 1) {  // read at the open; another section may be current by now
        return consumed;
    }
    return static_cast<u64>(std::llround(file.progress() * entry->size));
}

// Bytes of the section's head that the progress leaves out.
u64 Walker::NotCounted() const {
    return section->id == 8 ? 6 : section->id == 18 ? 2 : section->id == 21 ? 4 : 0;
}

u64 Walker::Position() const { return entry->offset + Consumed() + NotCounted(); }

void Walker::Emit(size_t level, std::initializer_list<Cell> cells) {
    ++walk.rows[level];
    (*rowSink)(level, {cells.begin(), cells.size()});
    Progressed();
}

void Walker::Progressed() {
    if (reader.options.progress && ++sinceProgress >= kRowsBetweenProgress) {
        sinceProgress = 0;
        reader.options.progress->SectionAt(Consumed());
    }
}

// Every element of a range, and what came of the one that broke off. Gives the number that the section's head
// announces.
template <class Range, class Show>
std::optional<u32> Walker::Each(Range&& range, Show show) {
    try {
        for (const auto& element : range) {
            show(element);
        }
    } catch (const tvapi::Error&) {
        if (const auto* part = range.broken()) {
            show(*part);
        }
        throw;
    }
    return range.announced();
}

// ---- sections 1 and 2

void Walker::DefaultFields() {
    consumed += 4;
    for (const FieldView& field : reader.defaults) {
        Emit(0, {Number(field.id), Number(field.tag), Payload(field.tag, field.value)});
        consumed += SizeInFile(field);
    }
}

Walk Walker::Symbols(const SymbolSink& sink) {
    if (!Enter(2)) {
        return walk;
    }
    const bool ended = Records([&](const SymbolView& symbol) {
        ++walk.rows[0];
        walk.rows[1] += symbol.fields.size();
        Progressed();
        return sink(symbol);
    });
    if (ended) {
        Leave();
    }
    return walk;
}

void Walker::SymbolRows() {
    Records([&](const SymbolView& symbol) {
        Emit(0, {Bytes(symbol.text)});
        for (const FieldView& field : symbol.fields) {
            if (!field.isDefault) {
                Emit(1, {Number(field.id), Number(field.tag), Payload(field.tag, field.value)});
            }
        }
        return true;
    });
}

// Every record; false when the sink ended the walk. A record that breaks off is delivered as far as it came,
// with a problem noted.
template <class Sink>
bool Walker::Records(const Sink& sink) {
    auto symbols = file.symbols();
    try {
        for (const auto& symbol : symbols) {
            if (!sink(Record(symbol, true))) {
                return false;
            }
        }
    } catch (const tvapi::Error& error) {
        const i32 result = error.code();
        const tvapi::Symbol* part = symbols.broken();
        if (part) {
            Note(fmt::format(
                "symbol \"{}\": {}", part->text().view(),
                result == SYM_END_OF_DATA ? "the data ends inside its record" : ResultText(result)));
            sink(Record(*part, false));
        } else {
            Note(result == SYM_ERR_BUFFER_TOO_SMALL ? "the text of a symbol does not end within the file"
                                                    : ResultText(result));
        }
        walk.result = result;
    }
    return true;
}

// The record at which the walk stands.
SymbolView Walker::Record(const tvapi::Symbol& symbol, bool complete) {
    fields.clear();
    for (const auto field : symbol.fields()) {
        fields.push_back(ViewOf(field));
    }
    SymbolView view;
    view.text = symbol.text();
    view.complete = complete;
    view.marked = reader.options.filter.empty() || reader.defaults.empty();
    const u64 now = Consumed();
    if (reader.options.filter.empty()) {
        MarkFields(now - consumed - 4 - (view.text.size() + 1), complete);
    }
    consumed = now;
    view.fields = fields;
    return view;
}

// Behind the record's own bytes the defaults follow; in a record that broke off, items that stand for
// nothing.
void Walker::MarkFields(u64 ownBytes, bool complete) {
    for (size_t at = 0; at < fields.size(); ++at) {
        FieldView& field = fields[at];
        if (ownBytes < 3) {
            if (!complete) {
                fields.resize(at);
            }
            for (; at < fields.size(); ++at) {
                fields[at].isDefault = true;
            }
            return;
        }
        const u64 size = SizeInFile(field);
        if (ownBytes < size) {
            field.cut = true;
            field.value = field.value.substr(0, static_cast<size_t>(ownBytes - 3));
        }
        ownBytes -= std::min(ownBytes, size);
    }
}

// ---- tables of fixed records and flat sections

void Walker::JumpPrices() {
    Each(file.jumpPrices(), [&](const tvapi::JumpPriceGroup& group) {
        Emit(0, {Number(group.id)});
        for (const JumpPriceRecord& record : group.records) {
            Emit(1, {RecordBytes(record.bytes)});
        }
    });
}

void Walker::BrokerInfo() {
    declared = Each(file.brokerInfo(), [&](const tvapi::List<BrokerInfoRecord>& records) {
        for (const BrokerInfoRecord& record : records) {
            Emit(0, {RecordBytes(record.bytes)});
        }
    });
}

// A new group does not show by itself: its head takes bytes beyond the field's.
void Walker::QuickGroups() {
    u64 before = 0;
    Each(file.eidrQuickFields(), [&](const tvapi::EidrQuickField& field) {
        const u64 now = Consumed();
        const std::string_view value = {static_cast<const char*>(field.value().data()), field.size()};
        if (now - before != 3 + value.size() + (field.tag() == kTextTag ? 1 : 0)) {
            Emit(0, {Bytes(field.group())});
        }
        before = now;
        Emit(1, {Number(field.id()), Number(field.tag()), Payload(field.tag(), value)});
    });
}

void Walker::Level2Sections() {
    bool goesOn = false;
    Each(file.sectionsL2(), [&](const tvapi::SectionL2Group& group) {
        if (!goesOn) {
            Emit(0, {Number(group.id)});
        }
        goesOn = group.more;
        for (const SectionL2Item& item : group.items) {
            Emit(1, {Number(item.leadByte), Bytes(tvapi::Text(item.text1)), Bytes(tvapi::Text(item.text2))});
            if (!item.text1 || !item.text2) {
                Note("the data ends inside a text, or the text is longer than readers take");
            }
        }
    });
}

void Walker::SectionGroups() {
    declared = Each(file.sectionGroups(), [&](const tvapi::SectionGroup& group) {
        std::array<u16, 255> members = {};
        std::copy(group.members.begin(), group.members.end(), members.begin());
        Emit(0, {Number(group.id), List(members.data(), group.members.size())});
    });
}

template <class Range>
void Walker::Directory(Range&& range) {
    declared = Each(range, [&](const tvapi::Entry& element) {
        Emit(0, {Number(element.id), Bytes(element.name)});
    });
}

// Sections 7 and 16.
template <class Range>
void Walker::TwoTexts(Range&& range) {
    declared = Each(range, [&](const auto& element) {
        Emit(0, {Number(element.id), Bytes(element.text1), Bytes(element.text2)});
    });
}

void Walker::RealDelay() {
    declared = Each(file.realDelayMapping(), [&](const tvapi::RealDelayPair& pair) {
        Emit(0, {Number(pair.first), Number(pair.second)});
    });
}

void Walker::Level2Definitions() {
    Each(file.level2EodBasicItemDefines(), [&](const tvapi::Level2EodBasicItemDefine& define) {
        Emit(0, {Number(define.id), List(define.first), List(define.second), List(define.third)});
    });
}

void Walker::ExchangeSupport() {
    Each(file.exchangeSupport(), [&](const tvapi::ExchangeSupport& support) {
        Emit(0, {Number(support.id), List(support.values)});
    });
}

// ---- nested sections: 13, 14, 15

void Walker::Objects() {
    u64 before = 0;
    declared = Each(file.objectTypes(), [&](const tvapi::ObjectType& type) {
        CheckSkipped(before, 8, "type block");
        Emit(0, {Number(type.id)});
        u32 sources = 0;
        Each(type.sources(), [&](const tvapi::ObjectSource& source) {
            ++sources;
            ObjectSource(source);
        });
        CheckCount(sources, type.sourceCount, "source symbols");
        before = Consumed();
    });
    CheckSkipped(before, 0, "type block");
}

void Walker::ObjectSource(const tvapi::ObjectSource& source) {
    Emit(1, {Bytes(source.text)});
    u32 symbols = 0;
    Each(source.symbols(), [&](const tvapi::ObjectSymbol& symbol) {
        ++symbols;
        Emit(2, {Number(symbol.byte), Bytes(symbol.text)});
        u32 records = 0;
        Each(symbol.data(), [&](const tvapi::ObjectData& data) {
            ++records;
            Emit(3, {Number(data.byte), Bytes(data.text)});
        });
        CheckCount(records, symbol.dataCount, "data records");
    });
    CheckCount(symbols, source.symbolCount, "symbols");
}

void Walker::ForeignTrade() {
    u64 before = 0;
    declared = Each(file.foreignTrade(), [&](const tvapi::ForeignTrade& head) {
        CheckSkipped(before, 6 + head.name.view().size() + 1, "head's body");
        Emit(0, {Number(head.id), Bytes(head.name)});
        bool goesOn = false;
        Each(head.items(), [&](const tvapi::ForeignTradeItem& item) {
            if (!goesOn) {
                Emit(1, {Number(item.tag)});
            }
            goesOn = item.more;
            for (const char* name : item.names) {
                Emit(2, {Bytes(tvapi::Text(name))});
            }
        });
        before = Consumed();
    });
    CheckSkipped(before, 0, "head's body");
}

void Walker::GlobalRelated() {
    u64 before = 0;
    declared = Each(file.globalRelated(), [&](const tvapi::GlobalRelated& head) {
        CheckSkipped(before, 6, "head's body");
        Emit(0, {Number(head.id)});
        Each(head.lists(), [&](const tvapi::GlobalRelatedList& list) {
            Emit(1, {});
            for (const GlobalRelatedItem& item : list.items) {
                Emit(2, {Number(item.tag), Bytes(tvapi::Text(item.name))});
            }
        });
        before = Consumed();
    });
    CheckSkipped(before, 0, "head's body");
}

// ---- any section

Walk Walker::Section(u16 id, const RowSink& sink) {
    if (!Enter(id)) {
        return walk;
    }
    rowSink = &sink;
    try {
        Rows();
        // The directory's size of section 8 leaves its head out as well.
        consumed = Consumed() + (id == 8 ? 0 : NotCounted());
    } catch (const tvapi::Error& error) {
        Fail(error.code());
    }
    Leave();
    return walk;
}

void Walker::Rows() {
    switch (section->id) {
        case 1:
            return DefaultFields();
        case 2:
            return SymbolRows();
        case 3:
            return JumpPrices();
        case 4:
            return BrokerInfo();
        case 6:
            return QuickGroups();
        case 7:
            return TwoTexts(file.eidrSections());
        case 8:
            return Level2Sections();
        case 9:
            return Directory(file.fundCompanies());
        case 10:
            return Directory(file.eidrCountries());
        case 11:
            return SectionGroups();
        case 12:
            return Directory(file.issueCompanies());
        case 13:
            return Objects();
        case 14:
            return ForeignTrade();
        case 15:
            return GlobalRelated();
        case 16:
            return TwoTexts(file.exchanges());
        case 17:
            return RealDelay();
        case 18:
            return Level2Definitions();
        case 19:
            return Directory(file.fundMainNames());
        case 20:
            return Directory(file.futuresSectionsV2());
        case 21:
            return ExchangeSupport();
        default:
            return Directory(file.futuresClassTypes());
    }
}

}  // namespace tvsym
