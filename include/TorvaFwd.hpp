// Names of TorvaAPI.hpp for headers that mention its types without using them. Needs no other header.
#ifndef TORVA_FWD_HPP
#define TORVA_FWD_HPP

// Defined by the host or here: errors are results, nothing throws.
#if !defined(TORVA_NO_EXCEPTIONS) && !defined(__cpp_exceptions)
#define TORVA_NO_EXCEPTIONS
#endif

// Each edition, with and without exceptions, has a namespace of its own, so that a program may contain
// several.
#ifdef TORVA_NO_EXCEPTIONS
#define TORVA_EDITION v2_coded
#else
#define TORVA_EDITION v2
#endif

namespace tvapi {
inline namespace TORVA_EDITION {

enum class Reason : unsigned char;
enum class UpperTexts : unsigned char;
struct OpenOptions;
class File;
class Library;
class OpenResult;
#ifndef TORVA_NO_EXCEPTIONS
class Error;
#endif

class Text;
class Payload;
class Value;
class Field;
class FieldIterator;
class FieldList;
class Symbol;
class OwnedSymbol;
template <class T>
class List;
template <class Walk>
class Range;

struct JumpPriceGroup;
class EidrQuickField;
struct EidrSection;
struct SectionL2Group;
struct Entry;
struct SectionGroup;
struct ObjectType;
struct ObjectSource;
struct ObjectSymbol;
struct ObjectData;
struct ForeignTrade;
struct ForeignTradeItem;
struct GlobalRelated;
struct GlobalRelatedList;
struct Exchange;
struct RealDelayPair;
struct Level2EodBasicItemDefine;
struct ExchangeSupport;

}  // namespace TORVA_EDITION
}  // namespace tvapi

#endif
