#include "reference/CallDriver.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "format/Fields.h"

namespace driver {

thread_local bool insideLibrary = false;

namespace {

constexpr uint8_t kFill = 0xA5;
constexpr size_t kGuard = 16;
constexpr size_t kPoolSize = size_t{16} << 20;

#define TORVA_NAME(name) #name,
constexpr const char* kNames[] = {TORVA_OPERATIONS(TORVA_NAME)};
#undef TORVA_NAME

struct CallInsideLibrary {
    template <class Call>
    static auto Run(Call call) {
        insideLibrary = true;
        const auto result = call();
        insideLibrary = false;
        return result;
    }
};
using Library = bench::LibraryReader<CallInsideLibrary>;

// The memory of a call's outputs: one region per pointer argument, filled and with guard bytes around it.
class Outputs {
public:
    explicit Outputs(const Call& forCall) : call(forCall) {}

    // The next pointer argument, with room for `count` elements; null when the call wants it so.
    template <typename Element>
    Element* Array(int64_t count) {
        auto* region = reinterpret_cast<Element*>(
            Region(sizeof(Element) * static_cast<size_t>(std::max<int64_t>(count, 0))));
        return Null() ? nullptr : region;
    }
    template <typename Element>
    Element* One() {
        return Array<Element>(1);
    }
    int32_t* Count() {
        auto* count = reinterpret_cast<int32_t*>(Region(sizeof(int32_t)));
        *count = call.count;
        return Null() ? nullptr : count;
    }
    // A record or pointer that the call reads and writes; never null in itself.
    template <typename Element>
    Element* Record() {
        return reinterpret_cast<Element*>(Region(sizeof(Element)));
    }
    bool Null() { return (call.nulls >> argument++ & 1) != 0; }

    // Replaces the pointer at `place` by what it is (null or not) and notes the text it points to.
    void Text(void* place) {
        char* text = Pointer(place);
        if (text == nullptr || text == Untouched()) return;
        behind.append(text, strlen(text) + 1);
        Mark(place);
    }
    // The same for the value of a symbol field: of a delivered one, notes the block and gives it
    // back.
    void Value(SymFieldItem* item, int32_t result) {
        auto* block = static_cast<char*>(item->value);
        if (block == nullptr || block == Untouched()) return;
        if (result == SYM_OK || result == SYM_MORE_DATA || result == SYM_ERR_BUFFER_TOO_SMALL) {
            behind.append(block,
                          item->tag == torva::kTextTag ? strlen(block) + 1 : torva::BlockSize(item->tag));
            delete[] reinterpret_cast<uint8_t*>(block);
        }
        Mark(reinterpret_cast<uint8_t*>(item) + offsetof(SymFieldItem, value));
    }
    static void Mark(void* place) {
        const uintptr_t mark = 1;
        memcpy(place, &mark, sizeof mark);
    }

    void Finish(Outcome& outcome) const {
        outcome.guardsIntact = true;
        size_t begin = 0;
        for (const auto& [at, size] : regions) {
            outcome.guardsIntact &= Filled(begin, at);
            begin = at + size;
        }
        outcome.guardsIntact &= Filled(begin, used);
        outcome.outputs.assign(reinterpret_cast<const char*>(pool.data()), used);
        outcome.outputs += behind;
    }

private:
    uint8_t* Region(size_t size) {
        const size_t at = used + kGuard;
        const size_t end = (at + size + 15) / 16 * 16 + kGuard;
        if (end > kPoolSize) abort();
        memset(pool.data() + used, kFill, end - used);
        regions.emplace_back(at, size);
        used = end;
        return pool.data() + at;
    }
    static char* Pointer(const void* place) {
        char* pointer;
        memcpy(&pointer, place, sizeof pointer);
        return pointer;
    }
    static char* Untouched() {
        char* pointer;
        memset(&pointer, kFill, sizeof pointer);
        return pointer;
    }
    static bool Filled(size_t from, size_t to) {
        return std::all_of(pool.begin() + static_cast<std::ptrdiff_t>(from),
                           pool.begin() + static_cast<std::ptrdiff_t>(to),
                           [](uint8_t byte) { return byte == kFill; });
    }

    static thread_local std::vector<uint8_t> pool;
    const Call& call;
    size_t used = 0;
    uint32_t argument = 0;
    std::vector<std::pair<size_t, size_t>> regions;
    std::string behind;
};

thread_local std::vector<uint8_t> Outputs::pool(kPoolSize);

uint32_t Unsigned(int32_t room) { return room < 0 ? 0 : static_cast<uint32_t>(room); }

template <typename Api>
int32_t NextSym(Api& api, const Call& call, Outputs& out) {
    auto* text = out.Array<char>(int64_t{call.room[1]} + 1);
    auto* count = out.Count();
    auto* items = out.Array<SymFieldItem>(call.room[0]);
    const int32_t result = call.op == Op::kGetNextSymData
                               ? api.GetNextSymData(text, call.room[1], count, items, call.room[0])
                               : api.GetAgainSymData(count, items, call.room[0]);
    for (int32_t i = 0; items != nullptr && i < call.room[0]; ++i) out.Value(items + i, result);
    return result;
}

template <typename Api>
int32_t NextQuick(Api& api, const Call& call, Outputs& out) {
    auto* name = out.Array<const char*>(1);
    auto* count = out.Count();
    auto* record = out.Record<SymFieldBuffer>();
    auto* target = out.Null() ? nullptr : record;
    record->value = out.Array<uint8_t>(std::max(8, call.room[1]));
    record->capacity = Unsigned(call.room[1]);
    const int32_t result = api.GetNextEidrQuickGroup(name, count, target, call.room[0]);
    if (name != nullptr) out.Text(name);
    record->value = nullptr;
    return result;
}

template <typename Api>
int32_t NextEidr(Api& api, const Call& call, Outputs& out) {
    auto* count = out.Count();
    auto* record = out.Record<EidrSectionItem>();
    auto* target = out.Null() ? nullptr : record;
    record->text1 = out.Array<char>(call.room[1]);
    record->text1Size = Unsigned(call.room[1]);
    record->text2 = out.Array<char>(call.room[2]);
    record->text2Size = Unsigned(call.room[2]);
    const int32_t result = api.GetNextEidrSectionGroup(count, target, call.room[0]);
    record->text1 = record->text2 = nullptr;
    return result;
}

template <typename Api>
int32_t NextL2(Api& api, const Call& call, Outputs& out) {
    auto* groupId = out.One<uint8_t>();
    auto* count = out.Count();
    auto* records = out.Array<SectionL2Item>(call.room[0]);
    const int32_t result = call.op == Op::kGetNextSectionL2Group
                               ? api.GetNextSectionL2Group(groupId, count, records, call.room[0])
                               : api.GetAgainSectionL2Data(count, records, call.room[0]);
    for (int32_t i = 0; records != nullptr && i < call.room[0]; ++i) {
        out.Text(reinterpret_cast<uint8_t*>(records + i) + offsetof(SectionL2Item, text1));
        out.Text(reinterpret_cast<uint8_t*>(records + i) + offsetof(SectionL2Item, text2));
    }
    return result;
}

template <typename Api>
int32_t NextOfDirectory(Api& api, const Call& call, Outputs& out) {
    auto* count = out.Count();
    auto* ids = out.One<uint32_t>();
    auto* record = out.Record<char*>();
    auto** names = out.Null() ? nullptr : record;
    *record = out.Array<char>(call.room[1]);
    const uint32_t size = Unsigned(call.room[1]);
    int32_t result = 0;
    switch (call.op) {
        case Op::kGetNextFundCompanyGroup:
            result = api.GetNextFundCompanyGroup(count, ids, names, size);
            break;
        case Op::kGetNextEidrCountryGroup:
            result = api.GetNextEidrCountryGroup(count, ids, names, size);
            break;
        case Op::kGetNextIssueCompanyGroup:
            result = api.GetNextIssueCompanyGroup(count, ids, names, size);
            break;
        case Op::kGetNextFundMainName:
            result = api.GetNextFundMainName(count, ids, names, size);
            break;
        case Op::kGetNextFuturesSectionV2:
            result = api.GetNextFuturesSectionV2(count, ids, names, size);
            break;
        default:
            result = api.GetNextFuturesClassType(count, ids, names, size);
            break;
    }
    *record = nullptr;
    return result;
}

template <typename Api>
int32_t NextGroup(Api& api, const Call& call, Outputs& out) {
    auto* groupId = out.One<uint8_t>();
    auto* count = out.Count();
    auto* record = out.Record<uint8_t*>();
    auto** members = out.Null() ? nullptr : record;
    *record = out.Array<uint8_t>(call.room[0]);
    const int32_t result = api.GetNextSectionGroup(groupId, count, members, call.room[0]);
    *record = nullptr;
    return result;
}

template <typename Api>
int32_t ObjectLevel(Api& api, const Call& call, Outputs& out) {
    auto* byte = out.One<uint8_t>();
    auto* text = out.Array<const char*>(1);
    auto* number = out.One<uint16_t>();
    auto* dataCount = reinterpret_cast<uint8_t*>(number);
    int32_t result = 0;
    if (call.op == Op::kGetNextObjectSourceSym) {
        result = api.GetNextObjectSourceSym(text, number);
    } else if (call.op == Op::kGetNextObjectSym) {
        result = api.GetNextObjectSym(byte, text, dataCount);
    } else {
        result = api.GetNextObjectData(byte, text);
    }
    if (text != nullptr) out.Text(text);
    return result;
}

template <typename Api>
int32_t Trade(Api& api, const Call& call, Outputs& out) {
    if (call.op == Op::kGetNextForeignTradeHead) {
        auto* head = out.One<ForeignTradeHead>();
        const int32_t result = api.GetNextForeignTradeHead(head);
        if (head != nullptr) out.Text(reinterpret_cast<uint8_t*>(head) + offsetof(ForeignTradeHead, name));
        return result;
    }
    const uint32_t capacity = Unsigned(call.room[0]);
    auto* tag = out.One<uint8_t>();
    auto* names = out.Array<const char*>(capacity);
    auto* count = out.One<uint32_t>();
    const int32_t result = call.op == Op::kGetForeignTrade ? api.GetForeignTrade(tag, names, count, capacity)
                                                           : api.GetNextForeignTrade(names, count, capacity);
    for (uint32_t i = 0; names != nullptr && i < capacity; ++i) out.Text(names + i);
    return result;
}

template <typename Api>
int32_t Related(Api& api, const Call& call, Outputs& out) {
    if (call.op == Op::kGetNextGlobalReleatedHead) return api.GetNextGlobalReleatedHead(out.One<uint16_t>());
    const uint32_t capacity = Unsigned(call.room[0]);
    auto* size = out.One<uint8_t>();
    auto* items = out.Array<GlobalRelatedItem>(capacity);
    auto* count = out.One<uint32_t>();
    const int32_t result = call.op == Op::kGetGlobalReleated
                               ? api.GetGlobalReleated(size, items, count, capacity)
                               : api.GetNextGlobalReleated(items, count, capacity);
    for (uint32_t i = 0; items != nullptr && i < capacity; ++i)
        out.Text(reinterpret_cast<uint8_t*>(items + i) + offsetof(GlobalRelatedItem, name));
    return result;
}

template <typename Api>
int32_t NextItemDefine(Api& api, const Call& call, Outputs& out) {
    auto* id = out.One<uint16_t>();
    uint16_t* counts[3];
    uint16_t* lists[3];
    for (int i = 0; i < 3; ++i) {
        counts[i] = out.One<uint16_t>();
        lists[i] = out.Array<uint16_t>(call.room[i]);
    }
    return api.GetNextLevel2EODBasicItemDefine(id, counts[0], lists[0], Unsigned(call.room[0]), counts[1],
                                               lists[1], Unsigned(call.room[1]), counts[2], lists[2],
                                               Unsigned(call.room[2]));
}

template <typename Api>
int32_t Dispatch(Api& api, const Call& call, Outputs& out) {
    const int32_t room = call.room[0];
    switch (call.op) {
        case Op::kGetExtendSectionList:
            return api.GetExtendSectionList(out.Array<uint32_t>(room), room);
        case Op::kGetNextSymData:
        case Op::kGetAgainSymData:
            return NextSym(api, call, out);
        case Op::kGetNextJumpPriceGroup: {
            auto* groupId = out.One<uint8_t>();
            auto* count = out.Count();
            return api.GetNextJumpPriceGroup(groupId, count, out.Array<JumpPriceRecord>(room), room);
        }
        case Op::kGetAgainJumpPriceData: {
            auto* count = out.Count();
            return api.GetAgainJumpPriceData(count, out.Array<JumpPriceRecord>(room), room);
        }
        case Op::kInitialSectionBorkerInfo:
            return api.InitialSectionBorkerInfo();
        case Op::kGetNextBrokerInfoGroup: {
            auto* count = out.Count();
            return api.GetNextBrokerInfoGroup(count, out.Array<BrokerInfoRecord>(room), room);
        }
        case Op::kInitialSection6:
            return api.InitialSection6();
        case Op::kGetNextEidrQuickGroup:
            return NextQuick(api, call, out);
        case Op::kInitialSection7:
            return api.InitialSection7();
        case Op::kGetNextEidrSectionGroup:
            return NextEidr(api, call, out);
        case Op::kGetNextSectionL2Group:
        case Op::kGetAgainSectionL2Data:
            return NextL2(api, call, out);
        case Op::kInitializeSection9:
            return api.InitializeSection9();
        case Op::kInitializeSection10:
            return api.InitializeSection10();
        case Op::kInitializeSection11:
            return api.InitializeSection11();
        case Op::kGetNextSectionGroup:
            return NextGroup(api, call, out);
        case Op::kInitializeSection12:
            return api.InitializeSection12();
        case Op::kInitialObjectSection:
            return api.InitialObjectSection();
        case Op::kGetNextObjectTypeID: {
            auto* typeId = out.One<uint16_t>();
            return api.GetNextObjectTypeID(typeId, out.One<uint16_t>());
        }
        case Op::kGetNextObjectSourceSym:
        case Op::kGetNextObjectSym:
        case Op::kGetNextObjectData:
            return ObjectLevel(api, call, out);
        case Op::kInitialForeignTradeSection:
            return api.InitialForeignTradeSection();
        case Op::kGetNextForeignTradeHead:
        case Op::kGetForeignTrade:
        case Op::kGetNextForeignTrade:
            return Trade(api, call, out);
        case Op::kInitialGlobalRelatedSection:
            return api.InitialGlobalRelatedSection();
        case Op::kGetNextGlobalReleatedHead:
        case Op::kGetGlobalReleated:
        case Op::kGetNextGlobalReleated:
            return Related(api, call, out);
        case Op::kInitialExchangeSection:
            return api.InitialExchangeSection();
        case Op::kGetNextExchange: {
            auto* id = out.One<uint32_t>();
            auto* text1 = out.Array<char>(int64_t{room} + 1);
            auto* text2 = out.Array<char>(int64_t{call.room[1]} + 1);
            return api.GetNextExchange(id, text1, room, text2, call.room[1]);
        }
        case Op::kInitialRealDelayMappingSection:
            return api.InitialRealDelayMappingSection();
        case Op::kGetNextRealDelayMapping: {
            auto* first = out.One<uint8_t>();
            return api.GetNextRealDelayMapping(first, out.One<uint8_t>());
        }
        case Op::kInitialLevel2EODBasicItemDefineSection:
            return api.InitialLevel2EODBasicItemDefineSection();
        case Op::kGetNextLevel2EODBasicItemDefine:
            return NextItemDefine(api, call, out);
        case Op::kInitialFundMainNameSection:
            return api.InitialFundMainNameSection();
        case Op::kInitialFuturesSectionV2:
            return api.InitialFuturesSectionV2();
        case Op::kInitialExchangeSupportSection:
            return api.InitialExchangeSupportSection();
        case Op::kGetNextExchangeSupportSection: {
            auto* id = out.One<uint16_t>();
            auto* count = out.One<uint16_t>();
            return api.GetNextExchangeSupportSection(id, count, out.Array<uint16_t>(room), Unsigned(room));
        }
        case Op::kInitialFuturesClassType:
            return api.InitialFuturesClassType();
        default:
            return NextOfDirectory(api, call, out);
    }
}

template <typename Api>
Outcome Perform(Api& api, const Call& call) {
    Outcome outcome;
    Outputs outputs(call);
    outcome.result = Dispatch(api, call, outputs);
    outcome.progress = api.GetSymDataProgress();
    outputs.Finish(outcome);
    return outcome;
}

}  // namespace

std::string Describe(const Call& call) {
    std::ostringstream text;
    text << kNames[static_cast<size_t>(call.op)] << "(room " << call.room[0] << " " << call.room[1] << " "
         << call.room[2] << ", count " << call.count << ", nulls " << call.nulls << ")";
    return text.str();
}

std::optional<Call> Decode(const uint8_t*& data, const uint8_t* end) {
    static constexpr int32_t kRooms[16] = {4,  0,  1,  2,   3,   5,    7,  10,
                                           20, 49, 64, 130, 300, 2000, -1, INT32_MIN};
    static constexpr int32_t kCounts[8] = {0, 0, 0, 0, 1, 2, -1, INT32_MAX};
    if (end - data < 3) return std::nullopt;
    Call call;
    call.op = static_cast<Op>(data[0] % static_cast<uint8_t>(Op::kOps));
    call.room[0] = kRooms[data[1] & 15];
    call.room[1] = kRooms[(data[1] >> 4) ^ 10];
    call.room[2] = kRooms[10];
    if ((data[2] & 0x80) != 0) {
        call.nulls = data[2] & 0x7F;
    } else {
        call.count = kCounts[data[2] & 7];
        call.room[2] = kRooms[(data[2] >> 3) ^ 10];
    }
    data += 3;
    return call;
}

Outcome CallLibrary(uint16_t handle, const Call& call) {
    Library library{handle};
    return Perform(library, call);
}

Pair::Pair(const Bytes& file, const OpenOptions& options) : reader(file, options.wholeFile) {
    const auto ids = static_cast<uint32_t>(options.fieldIds.size());
    memoryfile::Plan plan;
    plan.badBegin = options.badBegin;
    plan.badEnd = options.badEnd;
    scope.emplace(file, plan);
    reader.SetBadBytes(options.badBegin, options.badEnd);
    const int32_t opened = tv_OpenSymFile("memory", options.memoryBudget, options.fieldIds.data(), ids,
                                          options.wholeFile ? 1 : 0);
    openResult = opened > 0 ? SYM_OK : opened;
    handle = static_cast<uint16_t>(std::max(opened, 0));
    const int32_t expected = reader.Open(options.memoryBudget, options.fieldIds.data(), ids);
    if (openResult != expected)
        difference = "open: " + std::to_string(openResult) + ", expected " + std::to_string(expected);
}

Pair::~Pair() { tv_CloseSymFile(handle); }

void Pair::Recover() {
    memoryfile::Scope::Recover();
    reader.Recover();
}

Outcome Pair::Step(const Call& call) {
    if (openResult != SYM_OK) return {};
    if (history.size() == 2000) history.erase(history.begin(), history.begin() + 1000);
    history.push_back(call);
    Outcome library = CallLibrary(handle, call);
    const Outcome expected = Perform(reader, call);
    if (difference.empty() && (!(library == expected) || !library.guardsIntact)) Differ(library, expected);
    return library;
}

void Pair::Differ(const Outcome& library, const Outcome& expected) {
    std::ostringstream text;
    const size_t shown = std::min<size_t>(history.size(), 12);
    for (size_t i = history.size() - shown; i < history.size(); ++i) text << Describe(history[i]) << "\n";
    text << "result " << library.result << ", expected " << expected.result << "; progress "
         << library.progress << ", expected " << expected.progress;
    if (!library.guardsIntact) text << "; wrote outside the caller's memory";
    const auto [at, other] = std::mismatch(library.outputs.begin(), library.outputs.end(),
                                           expected.outputs.begin(), expected.outputs.end());
    if (at != library.outputs.end() || other != expected.outputs.end())
        text << "; outputs differ at " << at - library.outputs.begin() << " of " << library.outputs.size()
             << " and " << expected.outputs.size();
    difference = text.str();
}

namespace {

// The calls of a walk, held to a bound; a call that changes nothing any more ends its loop.
class BoundedWalk {
public:
    BoundedWalk(const Stepper& stepper, const WalkOptions& walkOptions)
        : step(stepper), options(walkOptions), left(4 * walkOptions.fileSize + 400) {}

    void Flat(std::optional<Op> init, Op next, std::optional<Op> again = {}) {
        if (init) Try(*init);
        while (GoesOn(Try(next))) {
            while (again && last.result == SYM_MORE_DATA && GoesOn(Try(*again))) {
            }
        }
    }
    // The levels of a tree, each entered for every record of the one above.
    void Tree(const std::vector<Op>& levels, size_t level = 0) {
        for (uint32_t i = 0; (level == 0 || i < options.children) && GoesOn(Try(levels[level])); ++i) {
            if (level + 1 < levels.size()) Tree(levels, level + 1);
        }
    }
    void Lists(Op init, Op head, Op get, Op next) {
        Try(init);
        while (GoesOn(Try(head))) {
            for (uint32_t i = 0; i < options.children && GoesOn(Try(get)); ++i) {
                while (last.result == SYM_MORE_DATA && GoesOn(Try(next))) {
                }
            }
        }
    }
    int32_t Try(Op op) {
        Call call{op, {options.capacity, options.textRoom, options.textRoom}, 0, 0};
        if (op == Op::kGetNextExchange) call.room[0] = options.textRoom;
        if (op == Op::kGetNextLevel2EODBasicItemDefine) call.room[1] = call.room[2] = options.capacity;
        Outcome outcome = step(call);
        same = outcome == last ? same + 1 : 0;
        last = std::move(outcome);
        return last.result;
    }

private:
    bool GoesOn(int32_t result) {
        if (left > 0) --left;
        return (result == SYM_OK || result == SYM_MORE_DATA) && same < 3 && left > 0;
    }

    const Stepper& step;
    const WalkOptions& options;
    size_t left;
    size_t same = 0;
    Outcome last;
};

}  // namespace

void WalkAll(const Stepper& step, const WalkOptions& options) {
    const auto walk = [&] { return BoundedWalk(step, options); };
    walk().Try(Op::kGetExtendSectionList);
    walk().Flat({}, Op::kGetNextSymData, Op::kGetAgainSymData);
    walk().Flat({}, Op::kGetNextJumpPriceGroup, Op::kGetAgainJumpPriceData);
    walk().Flat(Op::kInitialSectionBorkerInfo, Op::kGetNextBrokerInfoGroup);
    walk().Flat(Op::kInitialSection6, Op::kGetNextEidrQuickGroup);
    walk().Flat(Op::kInitialSection7, Op::kGetNextEidrSectionGroup);
    walk().Flat({}, Op::kGetNextSectionL2Group, Op::kGetAgainSectionL2Data);
    walk().Flat(Op::kInitializeSection9, Op::kGetNextFundCompanyGroup);
    walk().Flat(Op::kInitializeSection10, Op::kGetNextEidrCountryGroup);
    walk().Flat(Op::kInitializeSection11, Op::kGetNextSectionGroup);
    walk().Flat(Op::kInitializeSection12, Op::kGetNextIssueCompanyGroup);
    walk().Try(Op::kInitialObjectSection);
    walk().Tree({Op::kGetNextObjectTypeID, Op::kGetNextObjectSourceSym, Op::kGetNextObjectSym,
                 Op::kGetNextObjectData});
    walk().Lists(Op::kInitialForeignTradeSection, Op::kGetNextForeignTradeHead, Op::kGetForeignTrade,
                 Op::kGetNextForeignTrade);
    walk().Lists(Op::kInitialGlobalRelatedSection, Op::kGetNextGlobalReleatedHead, Op::kGetGlobalReleated,
                 Op::kGetNextGlobalReleated);
    walk().Flat(Op::kInitialExchangeSection, Op::kGetNextExchange);
    walk().Flat(Op::kInitialRealDelayMappingSection, Op::kGetNextRealDelayMapping);
    walk().Flat(Op::kInitialLevel2EODBasicItemDefineSection, Op::kGetNextLevel2EODBasicItemDefine);
    walk().Flat(Op::kInitialFundMainNameSection, Op::kGetNextFundMainName);
    walk().Flat(Op::kInitialFuturesSectionV2, Op::kGetNextFuturesSectionV2);
    walk().Flat(Op::kInitialExchangeSupportSection, Op::kGetNextExchangeSupportSection);
    walk().Flat(Op::kInitialFuturesClassType, Op::kGetNextFuturesClassType);
}

}  // namespace driver
