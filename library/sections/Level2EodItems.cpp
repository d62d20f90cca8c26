// Section 18, the level-2 EOD basic item definitions: groups with three lists, in the file in the order
// second, third, first. DefinitionSection.cpp has the layout and the parse.

#include "library/sections/Level2EodItems.h"

namespace torva {
namespace {

constexpr u8 kLevel2EodItems = 18;
constexpr u32 kLists = 3;

}  // namespace

i32 Level2EodItemReader::InitialLevel2EODBasicItemDefineSection(FileReader& file) {
    return Load<u16>(file, kLevel2EodItems, kLists);
}

i32 Level2EodItemReader::GetNextLevel2EODBasicItemDefine(FileReader& /*file*/, u16* id, u16* firstCount,
                                                         u16* firstItems, u32 firstCapacity, u16* secondCount,
                                                         u16* secondItems, u32 secondCapacity,
                                                         u16* thirdCount, u16* thirdItems,
                                                         u32 thirdCapacity) {
    if (AnyNull(id, firstCount, secondCount, thirdCount) || NullArray(firstItems, firstCapacity) ||
        NullArray(secondItems, secondCapacity) || NullArray(thirdItems, thirdCapacity)) {
        return SYM_ERR_PARAM;
    }
    if (map.Count() == 0) return SYM_END_OF_DATA;
    const u16 smallest = map.Smallest();
    const DefinitionMap::Lists lists = map.ListsOf(smallest);
    const u16 second = lists.Length(0);
    const u16 third = lists.Length(1);
    const u16 first = lists.Length(2);
    if (first > firstCapacity || second > secondCapacity || third > thirdCapacity)
        return SYM_ERR_BUFFER_TOO_SMALL;
    const u16* const values = lists.Values();
    *id = smallest;
    *firstCount = first;
    *secondCount = second;
    *thirdCount = third;
    CopyValues(firstItems, values + second + third, first);
    CopyValues(secondItems, values, second);
    CopyValues(thirdItems, values + second, third);
    map.RemoveSmallest();
    return SYM_OK;
}

}  // namespace torva
