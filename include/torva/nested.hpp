// Nested sections: 13, 14 and 15. A tree's walk is that of its top level and keeps the state of the whole;
// the ranges of the lower levels are one template and work on it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>

#include "torva/list.hpp"
#include "torva/range.hpp"
#include "torva/text.hpp"

namespace tvapi {
inline namespace TORVA_EDITION {

// What becomes of an upper level's text while the levels below it are read.
enum class UpperTexts : unsigned char {
    copied,   // it stays good until its own level's next step
    borrowed  // it is good until the first step of a range below it: nothing is copied
};

namespace detail {

// The range of a lower level, on the tree that it belongs to. It stands below one element of the level above
// and has lost its place when that level moves on.
template <class Level>
class LevelWalk {
public:
    using Tree = typename Level::Tree;
    using Element = typename Level::Element;
    using Holder = InPlace<LevelWalk>;
    static constexpr unsigned kSection = Level::kSection;
    static constexpr bool kNested = true;

    explicit LevelWalk(Tree* owner) noexcept : tree(owner), parent(owner->steps[Level::kParent]) {}

    std::int32_t outcome = kEnd;
    bool part = false;

    static std::optional<std::uint32_t> announcedCount() noexcept { return std::nullopt; }
    TORVA_STEP void start() {
        const bool left = parent == tree->steps[Level::kParent] && !Level::open(*tree);
        reached(*this, left ? std::int32_t{kEnd} : next());
    }
    TORVA_STEP std::int32_t next() noexcept {
        return parent == tree->steps[Level::kParent] ? Level::next(*tree, part) : std::int32_t{kErrLostPlace};
    }
    Element& item() const noexcept { return Level::item(*tree); }
    std::int32_t codeOf(std::int32_t code) const noexcept { return tree->codeOf(code); }
    void report(std::int32_t code) { tree->report(code); }

private:
    Tree* tree;
    std::uint64_t parent;
};

// Memory for an arena text that is to outlive the arena.
class UpperText {
public:
    bool keep(Text& text) noexcept {
        if (!text.present()) {
            return true;
        }
        const std::size_t size = std::strlen(text.c_str()) + 1;
        if (!buffer.reserve(size)) {
            return false;
        }
        std::memcpy(buffer.data(), text.c_str(), size);
        text = Text(buffer.data());
        return true;
    }

private:
    Buffer<char> buffer;
};

// `Levels` are those that have others below them.
template <unsigned Section, unsigned Levels>
class TreeWalk : public SectionWalk<Section> {
public:
    static constexpr unsigned kSection = Section;
    using SectionWalk<Section>::SectionWalk;

    // Elements so far at each level above the lowest; a step there is one of all levels below it, too.
    std::uint64_t steps[Levels] = {};

protected:
    void stepped(unsigned level) noexcept {
        for (; level < Levels; ++level) {
            ++steps[level];
        }
    }
};

class ObjectTree;
class ForeignTradeTree;
class GlobalRelatedTree;
struct ObjectSources;
struct ObjectSymbols;
struct ObjectRecords;
struct ForeignTradeItems;
struct GlobalRelatedLists;

}  // namespace detail

// Section 13, the lowest level.
struct ObjectData : detail::Borrowed {
    std::uint8_t byte = 0;
    Text text;
};

struct ObjectSymbol : detail::Borrowed {
    std::uint8_t byte = 0;
    Text text;
    std::uint8_t dataCount = 0;

    [[nodiscard]] Range<detail::LevelWalk<detail::ObjectRecords>> data() const noexcept TORVA_LIFETIMEBOUND;

private:
    friend class detail::ObjectTree;
    detail::ObjectTree* tree = nullptr;
};

struct ObjectSource : detail::Borrowed {
    Text text;
    std::uint16_t symbolCount = 0;

    [[nodiscard]] Range<detail::LevelWalk<detail::ObjectSymbols>> symbols() const noexcept
        TORVA_LIFETIMEBOUND;

private:
    friend class detail::ObjectTree;
    detail::ObjectTree* tree = nullptr;
};

struct ObjectType : detail::Borrowed {
    std::uint16_t id = 0;
    std::uint16_t sourceCount = 0;

    [[nodiscard]] Range<detail::LevelWalk<detail::ObjectSources>> sources() const noexcept
        TORVA_LIFETIMEBOUND;

private:
    friend class detail::ObjectTree;
    detail::ObjectTree* tree = nullptr;
};

// Section 14: an item with names; or a part of one, when it has more than 256.
struct ForeignTradeItem : detail::Borrowed {
    std::uint8_t tag = 0;
    List<const char*> names;  // null where the library had no room for one
    bool more = false;        // the next element continues with this item
};

struct ForeignTrade : detail::Borrowed {
    std::uint16_t id = 0;
    Text name;

    [[nodiscard]] Range<detail::LevelWalk<detail::ForeignTradeItems>> items() const noexcept
        TORVA_LIFETIMEBOUND;

private:
    friend class detail::ForeignTradeTree;
    detail::ForeignTradeTree* tree = nullptr;
};

// Section 15: a list, whole.
struct GlobalRelatedList : detail::Borrowed {
    List<GlobalRelatedItem> items;  // names: null where the library had no room for one
};

struct GlobalRelated : detail::Borrowed {
    std::uint16_t id = 0;

    [[nodiscard]] Range<detail::LevelWalk<detail::GlobalRelatedLists>> lists() const noexcept
        TORVA_LIFETIMEBOUND;

private:
    friend class detail::GlobalRelatedTree;
    detail::GlobalRelatedTree* tree = nullptr;
};

namespace detail {

// A level that is left early is read to its end before the level above continues.
class ObjectTree : public TreeWalk<13, 3> {
public:
    using Element = ObjectType;
    using Holder = Box<ObjectTree>;

    ObjectTree(FileState* state, UpperTexts texts) noexcept
        : TreeWalk(state), copies(texts == UpperTexts::copied) {
        type.tree = source.tree = symbol.tree = this;
    }
    std::int32_t begin() noexcept {
        depth = 0;
        stepped(0);
        return begunWithCount(tv_InitialObjectSection(handle));
    }
    std::int32_t next() noexcept {
        stepped(0);
        return settled(tv_GetNextObjectTypeID(handle, &type.id, &type.sourceCount), 0);
    }
    std::int32_t nextSource() noexcept {
        const std::int32_t left = depth > 1 ? leave(1) : std::int32_t{kEnd};
        if (left < 0 || depth < 1) {
            return left;
        }
        stepped(1);
        const std::int32_t reached =
            settled(tv_GetNextObjectSourceSym(handle, TextSlot::of(source.text), &source.symbolCount), 1);
        return reached == kElement && copies && !sourceText.keep(source.text) ? SYM_ERR_NO_MEMORY : reached;
    }
    TORVA_STEP std::int32_t nextSymbol() noexcept {
        const std::int32_t left = depth > 2 ? leave(2) : std::int32_t{kEnd};
        if (left < 0) {
            return left;
        }
        stepped(2);
        const std::int32_t reached = settled(
            tv_GetNextObjectSym(handle, &symbol.byte, TextSlot::of(symbol.text), &symbol.dataCount), 2);
        return reached == kElement && copies && !symbolText.keep(symbol.text) ? SYM_ERR_NO_MEMORY : reached;
    }
    TORVA_STEP std::int32_t nextData() noexcept {
        const std::int32_t result = tv_GetNextObjectData(handle, &data.byte, TextSlot::of(data.text));
        return result == SYM_MORE_DATA ? std::int32_t{kElement} : settled(result, 3);
    }
    // Whether records of this level, 1 to 3, may be read; only asked when a range begins.
    bool open(int level) const noexcept { return depth >= level; }
    ObjectType& item() noexcept { return type; }

    ObjectSource source;
    ObjectSymbol symbol;
    ObjectData data;

private:
    // A record at this level opens the level below; the end of a level leads back to the one above.
    TORVA_STEP std::int32_t settled(std::int32_t result, int level) noexcept {
        if (result == SYM_MORE_DATA) {
            depth = level + 1;
            return kElement;
        }
        depth = level > 0 ? level - 1 : 0;
        return result == SYM_END_OF_DATA ? std::int32_t{kEnd} : result;
    }
    // Reads what is left of the levels below this one.
    TORVA_RARE std::int32_t leave(int level) noexcept {
        std::int32_t reached = kEnd;
        while (depth > level && reached >= 0) {
            const char* text = nullptr;
            reached = depth == 3
                          ? nextData()
                          : settled(tv_GetNextObjectSym(handle, &symbol.byte, &text, &symbol.dataCount), 2);
        }
        return reached < 0 ? reached : std::int32_t{kEnd};
    }

    bool copies;
    int depth = 0;  // 1: in a type; 2: in a source symbol; 3: in a symbol
    UpperText sourceText;
    UpperText symbolText;
    ObjectType type;
};

struct ObjectSources {
    using Tree = ObjectTree;
    using Element = ObjectSource;
    static constexpr unsigned kSection = 13;
    static constexpr unsigned kParent = 0;
    static bool open(const ObjectTree& tree) noexcept { return tree.open(1); }
    TORVA_STEP static std::int32_t next(ObjectTree& tree, bool& /*part*/) noexcept {
        return tree.nextSource();
    }
    static ObjectSource& item(ObjectTree& tree) noexcept { return tree.source; }
};
struct ObjectSymbols {
    using Tree = ObjectTree;
    using Element = ObjectSymbol;
    static constexpr unsigned kSection = 13;
    static constexpr unsigned kParent = 1;
    static bool open(const ObjectTree& tree) noexcept { return tree.open(2); }
    TORVA_STEP static std::int32_t next(ObjectTree& tree, bool& /*part*/) noexcept {
        return tree.nextSymbol();
    }
    static ObjectSymbol& item(ObjectTree& tree) noexcept { return tree.symbol; }
};
struct ObjectRecords {
    using Tree = ObjectTree;
    using Element = ObjectData;
    static constexpr unsigned kSection = 13;
    static constexpr unsigned kParent = 2;
    static bool open(const ObjectTree& tree) noexcept { return tree.open(3); }
    TORVA_STEP static std::int32_t next(ObjectTree& tree, bool& /*part*/) noexcept { return tree.nextData(); }
    static ObjectData& item(ObjectTree& tree) noexcept { return tree.data; }
};

class ForeignTradeTree : public TreeWalk<14, 1> {
public:
    using Element = ForeignTrade;
    using Holder = Box<ForeignTradeTree>;

    ForeignTradeTree(FileState* state, UpperTexts texts) noexcept
        : TreeWalk(state), copies(texts == UpperTexts::copied) {
        head.tree = this;
    }
    std::int32_t begin() noexcept {
        stepped(0);
        return begunWithCount(tv_InitialForeignTradeSection(handle));
    }
    std::int32_t next() noexcept {
        stepped(0);
        current.more = false;
        ForeignTradeHead record = {0, nullptr};
        const std::int32_t reached = oneOf(tv_GetNextForeignTradeHead(handle, &record));
        head.id = record.id;
        head.name = Text(record.name);
        return reached == kElement && copies && !name.keep(head.name) ? SYM_ERR_NO_MEMORY : reached;
    }
    TORVA_STEP std::int32_t nextItem(bool& came) noexcept {
        constexpr std::uint32_t kNothing = UINT32_MAX;
        std::uint32_t count = kNothing;
        const std::int32_t result = current.more
                                        ? tv_GetNextForeignTrade(handle, names, &count, kMostNames)
                                        : tv_GetForeignTrade(handle, &current.tag, names, &count, kMostNames);
        current.more = result == SYM_MORE_DATA;
        came = count != kNothing;
        current.names = {names, came ? count : 0};
        return current.more ? std::int32_t{kElement} : oneOf(result);
    }
    ForeignTrade& item() noexcept { return head; }

    ForeignTradeItem current;

private:
    enum : std::uint32_t { kMostNames = 256 };

    bool copies;
    UpperText name;
    ForeignTrade head;
    const char* names[kMostNames] = {};
};

struct ForeignTradeItems {
    using Tree = ForeignTradeTree;
    using Element = ForeignTradeItem;
    static constexpr unsigned kSection = 14;
    static constexpr unsigned kParent = 0;
    static bool open(const ForeignTradeTree& /*tree*/) noexcept { return true; }
    TORVA_STEP static std::int32_t next(ForeignTradeTree& tree, bool& part) noexcept {
        return tree.nextItem(part);
    }
    static ForeignTradeItem& item(ForeignTradeTree& tree) noexcept { return tree.current; }
};

class GlobalRelatedTree : public TreeWalk<15, 1> {
public:
    using Element = GlobalRelated;
    using Holder = Box<GlobalRelatedTree>;

    explicit GlobalRelatedTree(FileState* state) noexcept : TreeWalk(state) { head.tree = this; }
    std::int32_t begin() noexcept {
        stepped(0);
        return begunWithCount(tv_InitialGlobalRelatedSection(handle));
    }
    std::int32_t next() noexcept {
        stepped(0);
        return oneOf(tv_GetNextGlobalReleatedHead(handle, &head.id));
    }
    TORVA_STEP std::int32_t nextList(bool& came) noexcept {
        constexpr std::uint32_t kNothing = UINT32_MAX;
        std::uint8_t size = 0;
        std::uint32_t count = kNothing;
        const std::int32_t result = tv_GetGlobalReleated(handle, &size, items, &count, 255);
        came = count != kNothing;
        list.items = {items, came ? count : 0};
        return oneOf(result);
    }
    GlobalRelated& item() noexcept { return head; }

    GlobalRelatedList list;

private:
    GlobalRelated head;
    GlobalRelatedItem items[255] = {};
};

struct GlobalRelatedLists {
    using Tree = GlobalRelatedTree;
    using Element = GlobalRelatedList;
    static constexpr unsigned kSection = 15;
    static constexpr unsigned kParent = 0;
    static bool open(const GlobalRelatedTree& /*tree*/) noexcept { return true; }
    TORVA_STEP static std::int32_t next(GlobalRelatedTree& tree, bool& part) noexcept {
        return tree.nextList(part);
    }
    static GlobalRelatedList& item(GlobalRelatedTree& tree) noexcept { return tree.list; }
};

template <class Level>
Range<LevelWalk<Level>> below(typename Level::Tree* tree) noexcept {
    return Range<LevelWalk<Level>>(InPlace<LevelWalk<Level>>(LevelWalk<Level>(tree)));
}

}  // namespace detail

inline Range<detail::LevelWalk<detail::ObjectSources>> ObjectType::sources() const noexcept {
    return detail::below<detail::ObjectSources>(tree);
}
inline Range<detail::LevelWalk<detail::ObjectSymbols>> ObjectSource::symbols() const noexcept {
    return detail::below<detail::ObjectSymbols>(tree);
}
inline Range<detail::LevelWalk<detail::ObjectRecords>> ObjectSymbol::data() const noexcept {
    return detail::below<detail::ObjectRecords>(tree);
}
inline Range<detail::LevelWalk<detail::ForeignTradeItems>> ForeignTrade::items() const noexcept {
    return detail::below<detail::ForeignTradeItems>(tree);
}
inline Range<detail::LevelWalk<detail::GlobalRelatedLists>> GlobalRelated::lists() const noexcept {
    return detail::below<detail::GlobalRelatedLists>(tree);
}

}  // namespace TORVA_EDITION
}  // namespace tvapi
