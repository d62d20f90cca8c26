/* TorvaAPI: reads market symbol master files. The C interface, for C99 and C++.
 *
 * A symbol file holds a list of market symbols with their typed fields (section 2), fields that count for
 * every symbol (section 1) and about twenty side tables, the sections 3, 4 and 6 to 22. The library reads
 * such files; it never writes, starts no thread, prints nothing and has no configuration beyond the arguments
 * below. A file may come from anywhere: whatever its bytes are, a call ends with one of the results told
 * here. What lies where in a file is told in docs/format.md.
 *
 *
 * HANDLES
 *
 * tv_OpenSymFile gives a handle, a number from 1 to 65535. It names the open file until tv_CloseSymFile, or
 * until the tv_ReleaseSymAPI that takes the count of tv_InitSymAPI calls to 0. A free number is used again,
 * the lowest first. Ten files can be open at once; tv_InitSymAPI raises that.
 *
 *
 * THE TWO READ MODES
 *
 * File mode (wholeFile 0) reads as the walk goes on; its memory is the budget and a small read-ahead buffer,
 * whatever the size of the file. Memory mode (wholeFile not 0) loads the file once, beside the budget, and
 * asks nothing of the operating system after that. Both deliver the same. On a file that was cut off they may
 * give different results, because file mode skips beyond the end of the data without noticing.
 *
 * The file is open to this library alone: on Windows without sharing, elsewhere under an exclusive lock that
 * other users of such locks see (where the file system has none the file opens without it). Opening a file a
 * second time, in this process too, gives SYM_ERR_OPEN. Only regular files open.
 *
 *
 * ONE PLACE PER FILE
 *
 * A file has one read position and stands in one section. Beginning another section loses the place in the
 * first. Three kinds of walk differ in how they begin:
 *   - sections 2, 3 and 8 begin by themselves, in their GetNext call, when another section was the current
 *     one. Read to their end they stay there; to read one again, begin another section first (any Initial
 *     call that finds its section), and then this one;
 *   - all others begin with their Initial (or Initialize) call, which may be repeated at any time to start
 *     again. Their other calls read on at the place where the last call left off and do not look whose place
 *     that is;
 *   - sections 18 and 21 are read whole by their Initial call. Their GetNext calls read nothing from the file
 *     and can be mixed with the walk of any other section.
 *
 *
 * THREADS
 *
 * Any thread may call any export. One export runs at a time in the process (tv_GetAPIVersion alone takes no
 * lock). The locks protect memory, not the order of calls: a walk, and the texts it delivers, belong to one
 * caller.
 *
 *
 * WHO OWNS WHAT, AND FOR HOW LONG
 *
 *   - Arrays, records and buffers that are passed in belong to the caller. Nothing of them is kept.
 *   - The values of symbol fields (SymFieldItem) are blocks of their own, which the caller gives back with
 *     SymFreeValue (TorvaValues.h; it tells how, for each host). The library keeps no pointer to them; they
 *     outlive the file.
 *   - Texts that sections 8, 13, 14 and 15 deliver as pointers lie in the file's arena, an area that is used
 *     anew by later calls. Such a text is good until one of these calls on the same handle, or until the file
 *     is closed:
 *         tv_GetNextSymData, tv_GetAgainSymData, tv_GetNextJumpPriceGroup, tv_GetAgainJumpPriceData,
 *         tv_GetNextEidrQuickGroup, tv_GetNextEidrSectionGroup, tv_GetNextSectionL2Group,
 *         tv_GetAgainSectionL2Data, the GetNext calls of sections 9, 10, 12, 19, 20 and 22,
 *         tv_GetNextObjectSourceSym, tv_GetNextObjectSym, tv_GetNextObjectData, tv_GetNextForeignTradeHead,
 *         tv_GetForeignTrade, tv_GetNextForeignTrade, tv_GetNextGlobalReleatedHead, tv_GetGlobalReleated,
 *         tv_GetNextGlobalReleated.
 *     Initial calls, the other sections, the directory and the progress leave them alone. Below, "arena
 *     pointer" means such a text.
 *
 *
 * TEXTS AND NUMBERS
 *
 * A text is bytes up to a zero byte. The library does not know its character set and changes nothing in it.
 * Numbers in a file are little-endian, and so are the values handed out. Ids, tags and texts have no meaning
 * to the library. Counts and capacities are in elements, sizes in bytes; a text limit or textMax is in
 * characters, without the zero byte.
 *
 *
 * RESULTS
 *
 * An export that gives an int32_t gives one of the codes below, or a handle or count of 0 and above. Two of
 * them hold for every export and are not repeated there:
 *   - SYM_ERR_BAD_HANDLE at every export with a handle;
 *   - SYM_ERR_PARAM for a null pointer where the call has something to read or write. It is tested right
 *     after the handle, before anything is read, moved or written. An array may be null when its capacity is
 *     0.
 * A capacity below 0 counts as 0, unless told otherwise.
 *
 * SYM_MORE_DATA is a success: something was delivered, or there was no room for it, and there is more.
 */
#ifndef TORVA_API_H
#define TORVA_API_H

#include <stdint.h>

/* A host that uses the library as a Windows DLL defines TORVA_API_SHARED, one that links the static library
 * defines TORVA_API_STATIC (the CMake targets and the pkg-config files do). */
#if defined(_WIN32) && defined(TORVA_API_SHARED)
#define TV_API __declspec(dllimport)
#elif defined(__GNUC__) && !defined(_WIN32) && defined(TORVA_API_STATIC)
#define TV_API __attribute__((visibility("hidden")))
#elif defined(__GNUC__) && !defined(_WIN32)
#define TV_API __attribute__((visibility("default")))
#else
#define TV_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Result codes. -11 is not used. ---- */

/* Done. Whether a walk has more is told with each walk. All exports. */
#define SYM_OK 0
/* The operating system did not open the file (missing, no right to it, not a regular file, open elsewhere),
 * or its default fields can't be read whole. tv_OpenSymFile only. */
#define SYM_ERR_OPEN (-1)
/* A given size, text or pointer does not do: at open a path longer than 25600 characters or a memory budget
 * that is too small; in a walk a text too long for the buffer it is copied to, or a negative count; anywhere
 * a null pointer. */
#define SYM_ERR_PARAM (-2)
/* As many files are open as the limit allows. tv_OpenSymFile only. */
#define SYM_ERR_NO_SLOT (-3)
/* No file is open under this handle. All exports with a handle and an int32_t result. */
#define SYM_ERR_BAD_HANDLE (-4)
/* Delivered what there was room for; the group, record or section has more. Symbols and sections. */
#define SYM_MORE_DATA (-5)
/* The section or the file is exhausted, nothing was delivered. Symbols and sections. */
#define SYM_END_OF_DATA (-6)
/* An allocation failed. tv_OpenSymFile and the Initial calls of sections 18 and 21. */
#define SYM_ERR_NO_MEMORY (-7)
/* A text, a value or a list does not fit the room given. Symbols, tv_GetExtendSectionList, the GetNext calls
 * of sections 18 and 21. */
#define SYM_ERR_BUFFER_TOO_SMALL (-8)
/* The section's own counts and sizes disagree. Symbols and sections 3, 6, 7 and 8. */
#define SYM_ERR_FORMAT (-9)
/* The section is not in the file's directory, or another id stands at its start. Initial calls. */
#define SYM_ERR_NO_SECTION (-10)
/* A read failed or came back short, or a text did not fit the arena or its buffer. Sections 4 (Initial), 6, 7
 * and 9 to 22. After it, begin the walk again with its Initial call. */
#define SYM_ERR_READ (-12)

/* ---- Records. Packed: no gaps, pointers of the host's width; an array has the record's size as its stride.
 *      Offsets are given for 4-byte pointers, then for 8-byte pointers. Members are not aligned: read them by
 *      name, never through a pointer to a member. ---- */

#pragma pack(push, 1)

/* Version of the interface: 1.0.4.4, stamped 7, 2016, 5. 8 bytes: 01 00 04 04 07 E0 07 05. */
typedef struct SymApiVersion {
    uint8_t version1;   /* offset 0: 1 */
    uint8_t version2;   /* offset 1: 0 */
    uint8_t version3;   /* offset 2: 4 */
    uint8_t version4;   /* offset 3: 4 */
    uint8_t stamp1;     /* offset 4: 7 */
    uint16_t stampWide; /* offset 5: 2016 */
    uint8_t stamp2;     /* offset 7: 5 */
} SymApiVersion;

/* One field of a symbol. 7 or 11 bytes.
 *
 *   tag    value points to
 *   1, 2   1 byte
 *   3, 5   4 bytes
 *   4      2 bytes
 *   6      8 bytes
 *   7      a text with its zero byte
 *   8      11 bytes; the first 4 are the value
 *   9      9 bytes; the first 3 are the value
 *   other  null: the field has no value
 *
 * A tag of 1 to 9 with a null value means that there was no memory for it. Behind the value of tags 8 and 9
 * lie bytes without meaning. A value's block is aligned for any number. */
typedef struct SymFieldItem {
    uint16_t id; /* offset 0: field id */
    uint8_t tag; /* offset 2: type tag, see above */
    void* value; /* offset 3: the caller's, to be given back with SymFreeValue; or null */
} SymFieldItem;

/* One field of an Eidr quick group, with the caller's room for its value. 15 or 19 bytes. */
typedef struct SymFieldBuffer {
    uint16_t id;       /* offset 0, out: field id */
    uint8_t tag;       /* offset 2, out: type tag; here tags 8 and 9 are 4 and 3 bytes */
    void* value;       /* offset 3, in: room of the caller, 8 bytes at least and capacity bytes for texts */
    uint32_t capacity; /* offset 7 or 11, in: bytes of room for a text; out: the same as size */
    uint32_t size;     /* offset 11 or 15, out: bytes stored at value */
} SymFieldBuffer;

/* One jump price record, as it stands in the file. 24 bytes. */
typedef struct JumpPriceRecord {
    uint8_t bytes[24];
} JumpPriceRecord;

/* One broker record, as it stands in the file. 30 bytes. */
typedef struct BrokerInfoRecord {
    uint8_t bytes[30];
} BrokerInfoRecord;

/* One item of a level-2 section. 9 or 17 bytes. */
typedef struct SectionL2Item {
    uint8_t leadByte;  /* offset 0 */
    const char* text1; /* offset 1: arena pointer; null when the arena had no room for the text */
    const char* text2; /* offset 5 or 9: the same */
} SectionL2Item;

/* One Eidr section, with the caller's buffers for its texts. 18 or 26 bytes. */
typedef struct EidrSectionItem {
    uint16_t id;        /* offset 0, out */
    char* text1;        /* offset 2, in: buffer for the first text */
    uint32_t text1Size; /* offset 6 or 10, in: its size in bytes, with room for the zero byte */
    char* text2;        /* offset 10 or 14, in: buffer for the second text */
    uint32_t text2Size; /* offset 14 or 22, in: its size in bytes */
} EidrSectionItem;

/* One head of the foreign trade section. 6 or 10 bytes. */
typedef struct ForeignTradeHead {
    uint16_t id;      /* offset 0 */
    const char* name; /* offset 2: arena pointer; null when the arena had no room for the name */
} ForeignTradeHead;

/* One item of a global related list. 5 or 9 bytes. */
typedef struct GlobalRelatedItem {
    uint8_t tag;      /* offset 0 */
    const char* name; /* offset 1: arena pointer; null when the arena had no room for the name */
} GlobalRelatedItem;

#pragma pack(pop)

/* A host whose compiler lays a record out in another way does not compile: `bytes` and so many pointers. */
#ifdef __cplusplus
#define TV_ASSERT_SIZE(record, bytes, pointers) \
    static_assert(sizeof(record) == (bytes) + (pointers) * sizeof(void*), "size of " #record)
#else
#define TV_ASSERT_SIZE(record, bytes, pointers) \
    typedef char record##SizeIsRight[sizeof(record) == (bytes) + (pointers) * sizeof(void*) ? 1 : -1]
#endif
TV_ASSERT_SIZE(SymApiVersion, 8, 0);
TV_ASSERT_SIZE(SymFieldItem, 3, 1);
TV_ASSERT_SIZE(SymFieldBuffer, 11, 1);
TV_ASSERT_SIZE(JumpPriceRecord, 24, 0);
TV_ASSERT_SIZE(BrokerInfoRecord, 30, 0);
TV_ASSERT_SIZE(SectionL2Item, 1, 2);
TV_ASSERT_SIZE(EidrSectionItem, 10, 2);
TV_ASSERT_SIZE(ForeignTradeHead, 2, 1);
TV_ASSERT_SIZE(GlobalRelatedItem, 1, 1);
#undef TV_ASSERT_SIZE

/* ---- Lifecycle ----
 *
 *     int32_t opened = tv_OpenSymFile("market.sym", 4u << 20, NULL, 0, 1);
 *     if (opened > 0) {
 *         uint16_t file = (uint16_t)opened;
 *         ... the loops below ...
 *         tv_CloseSymFile(file);
 *     }
 */

/* Counts one user of the library and raises the limit of open files to maxFiles if it is lower; it starts at
 * 10 and never falls. Not needed by a host that opens ten files at most. Gives 0. */
TV_API uint32_t tv_InitSymAPI(uint16_t maxFiles);

/* Takes one user away. When that leaves 0, all open files are closed. The library stays usable. A call
 * without a matching tv_InitSymAPI takes the count below 0 and closes nothing. */
TV_API void tv_ReleaseSymAPI(void);

/* Opens a symbol file.
 *
 *   path          the file's path, at most 25600 characters; copied. On Windows in the ANSI code page
 *   memoryBudget  bytes for the default fields and the arena. It must be above 102400 plus the need of the
 *                 default fields: 0 without section 1, else their bytes in the file + 14 for each + 4. The
 *                 arena gets all that is left, so a larger budget takes longer texts and more of them per
 *                 call. 4 MiB do for most files. The image of memory mode comes on top
 *   fieldIds      the ids of the fields that the symbol walk is to deliver; copied, not looked at when there
 *                 are 0
 *   fieldIdCount  number of fieldIds, at most 65535 (only its low 16 bits count); 0 for all fields
 *   wholeFile     0: file mode; else memory mode
 *
 * Gives a handle of 1 or more, or, tested in this order:
 *   SYM_ERR_NO_SLOT    as many files are open as the limit allows
 *   SYM_ERR_PARAM      fieldIds is null with a count above 0
 *   SYM_ERR_NO_MEMORY  no memory for the file's state
 *   SYM_ERR_PARAM      the path is null or too long
 *   SYM_ERR_OPEN       the file can't be opened
 *   SYM_ERR_OPEN       the default fields are cut off by the end of the file
 *   SYM_ERR_PARAM      memoryBudget is too small
 *   SYM_ERR_NO_MEMORY  the budget can't be allocated
 *   SYM_ERR_OPEN       the default fields are not what they were a moment ago: the file is being changed
 * A failed open leaves nothing behind.
 *
 * A file without a directory or without sections opens too, and each walk then tells that it has no section.
 * In memory mode a file that can't be loaded (no memory, 2^32 - 1 bytes or more) opens as if it were
 * empty. */
TV_API int32_t tv_OpenSymFile(const char* path, uint32_t memoryBudget, const uint16_t* fieldIds,
                              uint32_t fieldIdCount, uint32_t wholeFile);

/* Closes the file. All arena pointers of the handle end. An unknown handle does nothing. */
TV_API void tv_CloseSymFile(uint16_t handle);

/* Writes the version of the interface. A null pointer does nothing. */
TV_API void tv_GetAPIVersion(SymApiVersion* version);

/* ---- Directory ----
 *
 *     int32_t n = tv_GetExtendSectionList(file, NULL, 0);
 *     if (n > 0) {
 *         uint32_t* list = malloc((size_t)n * sizeof *list);
 *         if (list != NULL && tv_GetExtendSectionList(file, list, n) == n) {
 *             for (int32_t i = 0; i < n; ++i) printf("section %u\n", (unsigned)list[i]);
 *         }
 *         free(list);
 *     }
 */

/* Lists the ids of all directory entries but those of sections 1 and 2, in file order, duplicates and unknown
 * ids included. Reads nothing and moves no walk. With list null or capacity 0 it gives the number alone.
 *   0 and above               number of ids
 *   SYM_ERR_BUFFER_TOO_SMALL  there are more than capacity; nothing was written */
TV_API int32_t tv_GetExtendSectionList(uint16_t handle, uint32_t* list, int32_t capacity);

/* ---- Section 2: symbols ----
 *
 * One call begins a symbol, further calls deliver what did not fit the array. Of a symbol come first its own
 * fields in file order, then the default fields that it does not carry, in the order of section 1; of both
 * only what passes the filter given at open.
 *
 *     char text[256];
 *     SymFieldItem items[64];
 *     for (;;) {
 *         int32_t count = -1;
 *         int32_t result = tv_GetNextSymData(file, text, 255, &count, items, 64);
 *         if (count < 0) break;
 *         for (;;) {
 *             if (result != SYM_OK && result != SYM_MORE_DATA) break;
 *             for (int32_t i = 0; i < count; ++i) {
 *                 ... text, items[i].id, items[i].tag, items[i].value ...
 *                 SymFreeValue(items[i].value);
 *             }
 *             if (result == SYM_OK) break;
 *             result = tv_GetAgainSymData(file, &count, items, 64);
 *         }
 *         if (result != SYM_OK) break;
 *     }
 *
 * Why count starts at -1: in a file with default fields and without symbols the call gives SYM_OK and writes
 * nothing, each time. A count that stayed -1 tells it, and the end of the walk as well.
 */

/* Begins the next symbol. Not to be called while the last result was SYM_MORE_DATA: finish the symbol with
 * tv_GetAgainSymData first, also before turning to another section.
 *
 *   text      receives the symbol's text; room for textMax + 1 bytes
 *   textMax   longest text in characters
 *   count     receives the number of items that this call delivered
 *   items     array of maxItems; all of it is cleared, and pointers that stood there are lost
 *   maxItems  0 or more
 *
 *   SYM_OK                    the symbol is complete. With count untouched: the file has no symbols
 *   SYM_MORE_DATA             count items (maybe 0) were delivered, the symbol has more
 *   SYM_END_OF_DATA           no further symbol. With count 0 or more: the data ended inside the symbol
 *   SYM_ERR_BUFFER_TOO_SMALL  count untouched: the text is longer than textMax or cut off by the end of the
 *                             file, and the walk is out of step with its records, so end it. Else count is 0:
 *                             a value larger than the whole arena; a larger memoryBudget takes it
 *   SYM_ERR_FORMAT            the sizes of the record disagree. The walk can't go on
 *   SYM_ERR_PARAM             maxItems is below 0; nothing was read
 * With SYM_OK and SYM_MORE_DATA the values of the count items are the caller's to give back. With
 * SYM_END_OF_DATA and SYM_ERR_FORMAT the array may hold pointers, which are not to be used and not to be
 * given back. */
TV_API int32_t tv_GetNextSymData(uint16_t handle, char* text, int32_t textMax, int32_t* count,
                                 SymFieldItem* items, int32_t maxItems);

/* Goes on with the symbol after SYM_MORE_DATA. Arguments and results as above; count is always written. */
TV_API int32_t tv_GetAgainSymData(uint16_t handle, int32_t* count, SymFieldItem* items, int32_t maxItems);

/* The share of the current section, whichever it is, that has been read: 0.0 to 1.0 in a sound section. 0.0
 * for an unknown handle or a section of size 0. Sections 18 and 21 count a little less than they read (2 and
 * 4 bytes). */
TV_API double tv_GetSymDataProgress(uint16_t handle);

/* ---- Section 3: jump prices ----
 *
 * Groups of 24-byte records. Begins by itself.
 *
 *     JumpPriceRecord records[100];
 *     for (;;) {
 *         uint8_t groupId;
 *         int32_t count = -1;
 *         int32_t result = tv_GetNextJumpPriceGroup(file, &groupId, &count, records, 100);
 *         if (count < 0) break;
 *         for (;;) {
 *             for (int32_t i = 0; i < count; ++i) { ... groupId, records[i].bytes ... }
 *             if (result != SYM_MORE_DATA) break;
 *             result = tv_GetAgainJumpPriceData(file, &count, records, 100);
 *         }
 *         if (result != SYM_OK) break;
 *     }
 */

/* Reads the head of the next group and delivers its first records. Not to be called while a group is open: it
 * would take records for a head.
 *
 *   groupId   receives the group's id
 *   count     receives the number of records that this call delivered
 *   records   array of capacity, filled from its start; all of it is cleared first
 *
 *   SYM_OK           the group is complete. With count untouched: the file has no such section, or no groups
 *                    in it
 *   SYM_MORE_DATA    count records were delivered; go on with tv_GetAgainJumpPriceData. Also for the last
 *                    record of a section that ends the file
 *   SYM_END_OF_DATA  the table is out. With count 0: it ended behind the group's head
 *   SYM_ERR_FORMAT   the last record delivered passes the end of the section
 * A record cut off by the end of the file is delivered with zeros in the bytes that are missing. */
TV_API int32_t tv_GetNextJumpPriceGroup(uint16_t handle, uint8_t* groupId, int32_t* count,
                                        JumpPriceRecord* records, int32_t capacity);

/* Goes on with the open group. Arguments and results as above; count is always written. Between groups:
 * SYM_OK with count 0. */
TV_API int32_t tv_GetAgainJumpPriceData(uint16_t handle, int32_t* count, JumpPriceRecord* records,
                                        int32_t capacity);

/* ---- Section 4: broker info ----
 *
 * One run of 30-byte records.
 *
 *     BrokerInfoRecord records[100];
 *     int32_t total = tv_InitialSectionBorkerInfo(file);
 *     for (int32_t result = SYM_MORE_DATA; total >= 0 && result == SYM_MORE_DATA;) {
 *         int32_t count = 0;
 *         result = tv_GetNextBrokerInfoGroup(file, &count, records, 100);
 *         for (int32_t i = 0; i < count; ++i) { ... records[i].bytes ... }
 *     }
 */

/* Begins the section.
 *   0 to 65535          number of records
 *   SYM_END_OF_DATA     nothing stands behind the section's head
 *   SYM_ERR_NO_SECTION  no such section
 *   SYM_ERR_READ        its head is cut off or can't be read */
TV_API int32_t tv_InitialSectionBorkerInfo(uint16_t handle);

/* Delivers the next records.
 *
 *   count    set to 0 before each call. The call adds the records that it delivers and stops at capacity. A
 *            value above 0 lessens what is delivered; records are filled from the start of the array all the
 *            same
 *   records  array of capacity; all of it is cleared first
 *
 *   SYM_OK           the last record was delivered
 *   SYM_MORE_DATA    call again. Also for the last record of a section that ends the file
 *   SYM_END_OF_DATA  nothing was delivered: the table is out, or was not begun
 *   SYM_ERR_PARAM    *count is below 0; nothing was read or cleared
 * A record cut off by the end of the file is delivered with zeros in the bytes that are missing. */
TV_API int32_t tv_GetNextBrokerInfoGroup(uint16_t handle, int32_t* count, BrokerInfoRecord* records,
                                         int32_t capacity);

/* ---- Section 6: Eidr quick groups ----
 *
 * Named groups of typed fields, one field per call. A new group shows by its name alone.
 *
 *     char room[4096];
 *     int32_t result = tv_InitialSection6(file);
 *     for (result = result == SYM_OK ? SYM_MORE_DATA : result; result == SYM_MORE_DATA;) {
 *         const char* name;
 *         int32_t count = 0;
 *         SymFieldBuffer field = {0, 0, room, sizeof room, 0};
 *         result = tv_GetNextEidrQuickGroup(file, &name, &count, &field, 1);
 *         if (count == 1) { ... name, field.id, field.tag, field.size bytes at room ... }
 *     }
 */

/* Begins the section.
 *   SYM_OK              there are bytes to read
 *   SYM_END_OF_DATA     nothing stands behind the section's head
 *   SYM_ERR_NO_SECTION  no such section
 *   SYM_ERR_READ        its head is cut off or can't be read */
TV_API int32_t tv_InitialSection6(uint16_t handle);

/* Delivers the next field.
 *
 *   name      receives the address of the group's name, at most 49 characters. The address is good until the
 *             file is closed; what stands there changes when the next group begins
 *   count     the call adds 1 when it delivers a field, and reads nothing when count has reached capacity
 *   target    one record, not indexed by count. Its value must have room for 8 bytes whatever its capacity;
 *             set capacity before each call, since it comes back as size
 *   capacity  see count
 *
 *   SYM_OK           a field was delivered, the last of the section
 *   SYM_MORE_DATA    a field was delivered and more follow; or count had reached capacity
 *   SYM_END_OF_DATA  nothing was delivered: the section or the file is out
 *   SYM_ERR_PARAM    a text is longer than target->capacity, or target->value is null and the field has a
 *                    value: count as it was, size 0, and the next call reads the next field. Or the group's
 *                    name has 50 characters or more: the section has to be begun again
 *   SYM_ERR_FORMAT   the sizes disagree. With count raised, the field was delivered and passes the section's
 *                    data; else the last field passed its group, and the section has to be begun again
 *   SYM_ERR_READ     a name or a text is cut off by the end of the file or too long for the arena: count as
 *                    it was, the section has to be begun again
 * A field of another tag than 1 to 9 has no value and size 0. A number cut off by the end of the file is
 * filled up with zeros. */
TV_API int32_t tv_GetNextEidrQuickGroup(uint16_t handle, const char** name, int32_t* count,
                                        SymFieldBuffer* target, int32_t capacity);

/* ---- Section 7: Eidr sections ----
 *
 * Elements of an id and two texts, one per call.
 *
 *     char text1[256], text2[256];
 *     EidrSectionItem item = {0, text1, sizeof text1, text2, sizeof text2};
 *     int32_t result = tv_InitialSection7(file);
 *     for (result = result == SYM_OK ? SYM_MORE_DATA : result; result == SYM_MORE_DATA;) {
 *         int32_t count = 0;
 *         result = tv_GetNextEidrSectionGroup(file, &count, &item, 1);
 *         if (count == 1) { ... item.id, text1, text2 ... }
 *     }
 */

/* Begins the section. Results as tv_InitialSection6. */
TV_API int32_t tv_InitialSection7(uint16_t handle);

/* Delivers the next element. count and capacity as in tv_GetNextEidrQuickGroup. The call writes target's id
 * and the two buffers, never its pointers and sizes.
 *   SYM_OK           an element was delivered, the last of the section
 *   SYM_MORE_DATA    an element was delivered and more follow; or count had reached capacity
 *   SYM_END_OF_DATA  nothing was delivered: the section or the file is out
 *   SYM_ERR_PARAM    a text does not fit its buffer, or the buffer is null; the section has to be begun again
 *   SYM_ERR_FORMAT   the element was delivered and passes the section's data
 *   SYM_ERR_READ     a text is cut off by the end of the file or too long for the arena; begin the section
 *                    again */
TV_API int32_t tv_GetNextEidrSectionGroup(uint16_t handle, int32_t* count, EidrSectionItem* target,
                                          int32_t capacity);

/* ---- Section 8: level-2 sections ----
 *
 * Groups of items, an item being a byte and two texts. Begins by itself.
 *
 *     SectionL2Item records[100];
 *     int32_t result;
 *     do {
 *         uint8_t groupId;
 *         int32_t count = -1;
 *         result = tv_GetNextSectionL2Group(file, &groupId, &count, records, 100);
 *         if (count < 0) break;
 *         for (int32_t i = 0; i < count; ++i) {
 *             ... groupId, records[i].leadByte, records[i].text1, records[i].text2, both maybe null ...
 *         }
 *     } while (result == SYM_OK || result == SYM_MORE_DATA);
 */

/* Reads the head of the next group, or goes on with the open one, and delivers items.
 *
 *   groupId  receives the id of the group that the items belong to
 *   count    receives the number of items that this call delivered
 *   records  array of capacity, filled from its start; all of it is cleared first. The texts are arena
 *            pointers
 *
 *   SYM_OK           the group is complete. With count untouched: the file has no such section
 *   SYM_MORE_DATA    count items were delivered, the group has more: the array or the arena is full. Also for
 *                    the last item of a section that ends the file
 *   SYM_END_OF_DATA  the table is out
 *   SYM_ERR_FORMAT   the last item delivered passes the end of the section */
TV_API int32_t tv_GetNextSectionL2Group(uint16_t handle, uint8_t* groupId, int32_t* count,
                                        SectionL2Item* records, int32_t capacity);

/* Goes on with the open group, as tv_GetNextSectionL2Group does, and never reads a group's head. count is
 * always written. Between groups: SYM_OK with count 0. */
TV_API int32_t tv_GetAgainSectionL2Data(uint16_t handle, int32_t* count, SectionL2Item* records,
                                        int32_t capacity);

/* ---- Sections 9, 10, 12, 19, 20, 22: directories of ids and names ----
 *
 * Fund companies, Eidr countries, issue companies, fund main names, futures section V2, futures class types:
 * six lists of ids and names, walked the same way, one element per call. In section 19 an id has 32 bits, in
 * the others 16.
 *
 *     uint32_t id;
 *     char name[256];
 *     char* names = name;
 *     int32_t total = tv_InitializeSection10(file);
 *     for (int32_t result = SYM_MORE_DATA; total >= 0 && result == SYM_MORE_DATA;) {
 *         int32_t count = 0;
 *         result = tv_GetNextEidrCountryGroup(file, &count, &id, &names, sizeof name);
 *         if (count == 1) { ... id, name ... }
 *     }
 *
 * Initial calls:
 *   0 and above         number of elements. Sections 19, 20 and 22 give their 32-bit count as it stands: 2^31
 *                       and above shows as a negative number
 *   SYM_END_OF_DATA     nothing stands behind the section's head
 *   SYM_ERR_NO_SECTION  no such section
 *   SYM_ERR_READ        its head is cut off or can't be read
 *
 * GetNext calls:
 *   count     set to 0 before each call; 1 after a call that delivered an element
 *   ids       receives the id, in ids[0]
 *   names     *names is the buffer for the name
 *   nameSize  its size in bytes, with room for the zero byte
 *
 *   SYM_OK           an element was delivered, the last of the section
 *   SYM_MORE_DATA    an element was delivered and more follow; or count was 1 or more and nothing was read
 *   SYM_END_OF_DATA  nothing was delivered: the walk is over, or was not begun
 *   SYM_ERR_PARAM    the name does not fit the buffer, which is then an empty text, or *names is null: the
 *                    element is lost, begin the section again. Or count is below 0; nothing was read
 *   SYM_ERR_READ     cut off by the end of the file, or the name is too long for the arena; begin the section
 *                    again
 */

/* Section 9: fund companies. */
TV_API int32_t tv_InitializeSection9(uint16_t handle);
TV_API int32_t tv_GetNextFundCompanyGroup(uint16_t handle, int32_t* count, uint32_t* ids, char** names,
                                          uint32_t nameSize);
/* Section 10: Eidr countries. */
TV_API int32_t tv_InitializeSection10(uint16_t handle);
TV_API int32_t tv_GetNextEidrCountryGroup(uint16_t handle, int32_t* count, uint32_t* ids, char** names,
                                          uint32_t nameSize);
/* Section 12: issue companies. */
TV_API int32_t tv_InitializeSection12(uint16_t handle);
TV_API int32_t tv_GetNextIssueCompanyGroup(uint16_t handle, int32_t* count, uint32_t* ids, char** names,
                                           uint32_t nameSize);
/* Section 19: fund main names. */
TV_API int32_t tv_InitialFundMainNameSection(uint16_t handle);
TV_API int32_t tv_GetNextFundMainName(uint16_t handle, int32_t* count, uint32_t* ids, char** names,
                                      uint32_t nameSize);
/* Section 20: futures section V2. */
TV_API int32_t tv_InitialFuturesSectionV2(uint16_t handle);
TV_API int32_t tv_GetNextFuturesSectionV2(uint16_t handle, int32_t* count, uint32_t* ids, char** names,
                                          uint32_t nameSize);
/* Section 22: futures class types. */
TV_API int32_t tv_InitialFuturesClassType(uint16_t handle);
TV_API int32_t tv_GetNextFuturesClassType(uint16_t handle, int32_t* count, uint32_t* ids, char** names,
                                          uint32_t nameSize);

/* ---- Section 11: section groups ----
 *
 * Groups of one-byte members. A call delivers one group, or the part of it that fits; 255 bytes take any
 * group.
 *
 *     uint8_t bytes[255];
 *     uint8_t* members = bytes;
 *     int32_t total = tv_InitializeSection11(file);
 *     for (int32_t result = SYM_MORE_DATA; total >= 0 && result == SYM_MORE_DATA;) {
 *         uint8_t groupId;
 *         int32_t count = 0;
 *         result = tv_GetNextSectionGroup(file, &groupId, &count, &members, 255);
 *         if (result == SYM_OK || result == SYM_MORE_DATA) { ... groupId, count bytes ... }
 *     }
 */

/* Begins the section.
 *   0 to 255            number of groups
 *   SYM_END_OF_DATA     nothing stands behind the section's head
 *   SYM_ERR_NO_SECTION  no such section
 *   SYM_ERR_READ        its head is cut off or can't be read */
TV_API int32_t tv_InitializeSection11(uint16_t handle);

/* Delivers the next group, or goes on with the one that did not fit.
 *
 *   groupId   receives the id of the group that the members belong to
 *   count     how full the array is: members are stored from this index on, and it grows by 1 for each. Set
 *             it to 0 before each call to have one group at a time
 *   members   *members is the array
 *   capacity  its size in bytes; must be above count: a call without room for one member loses the place
 *
 *   SYM_OK           the last group of the section is complete
 *   SYM_MORE_DATA    call again: the array is full inside a group, or more groups follow. If the next call
 *                    gives the same groupId, it went on with this group (or two neighbours share an id)
 *   SYM_END_OF_DATA  nothing was delivered: the walk is over, or was not begun
 *   SYM_ERR_PARAM    *count is below 0; nothing was read
 *   SYM_ERR_READ     cut off by the end of the file; what count shows was delivered */
TV_API int32_t tv_GetNextSectionGroup(uint16_t handle, uint8_t* groupId, int32_t* count, uint8_t** members,
                                      int32_t capacity);

/* ---- Section 13: objects ----
 *
 * A tree of four levels, walked depth first: types, their source symbols, their symbols, their data. Every
 * success is SYM_MORE_DATA. Each level tells how many records the level below it has; records below the type
 * level must be read in their order, and only a type can be left early, by going on to the next one.
 *
 *     uint16_t typeId, sources, symbols;
 *     uint8_t symByte, dataCount, dataByte;
 *     const char *source, *sym, *data;
 *     if (tv_InitialObjectSection(file) >= 0) {
 *         while (tv_GetNextObjectTypeID(file, &typeId, &sources) == SYM_MORE_DATA) {
 *             while (tv_GetNextObjectSourceSym(file, &source, &symbols) == SYM_MORE_DATA) {
 *                 ... typeId, source ...
 *                 while (tv_GetNextObjectSym(file, &symByte, &sym, &dataCount) == SYM_MORE_DATA) {
 *                     ... symByte, sym ...
 *                     while (tv_GetNextObjectData(file, &dataByte, &data) == SYM_MORE_DATA) {
 *                         ... dataByte, data ...
 *                     }
 *                 }
 *             }
 *         }
 *     }
 *
 * (A host that must tell a damaged file from a whole one looks at what ends each loop: SYM_END_OF_DATA or
 * SYM_ERR_READ.) The texts are arena pointers: copy source before asking for its symbols, sym before its
 * data. A pointer is null when the arena had no room for the text. Results of the four GetNext calls:
 *   SYM_MORE_DATA    a record was delivered
 *   SYM_END_OF_DATA  no more records at this level; nothing has changed
 *   SYM_ERR_READ     cut off by the end of the file, or a text is too long for the arena. What the call wrote
 *                    has no meaning; begin the section again
 */

/* Begins the section.
 *   0 to 65535          number of types, by the section's own count
 *   SYM_END_OF_DATA     nothing stands behind the section's head
 *   SYM_ERR_NO_SECTION  no such section
 *   SYM_ERR_READ        its head is cut off or can't be read */
TV_API int32_t tv_InitialObjectSection(uint16_t handle);
/* Next type: its id and the number of its source symbols. Skips what is left of the type before it. */
TV_API int32_t tv_GetNextObjectTypeID(uint16_t handle, uint16_t* typeId, uint16_t* sourceSymCount);
/* Next source symbol of the type: its text and the number of its symbols. */
TV_API int32_t tv_GetNextObjectSourceSym(uint16_t handle, const char** sourceSym, uint16_t* symCount);
/* Next symbol of the source symbol: a byte, its text and the number of its data records. */
TV_API int32_t tv_GetNextObjectSym(uint16_t handle, uint8_t* symByte, const char** sym, uint8_t* dataCount);
/* Next data record of the symbol: a byte and a text. */
TV_API int32_t tv_GetNextObjectData(uint16_t handle, uint8_t* dataByte, const char** data);

/* ---- Section 14: foreign trade ----
 *
 * Heads with items, an item being a tag and a list of names.
 *
 *     ForeignTradeHead head;
 *     const char* names[100];
 *     uint8_t itemTag;
 *     uint32_t count;
 *     if (tv_InitialForeignTradeSection(file) >= 0) {
 *         while (tv_GetNextForeignTradeHead(file, &head) == SYM_OK) {
 *             ... head.id, head.name: copy the name to have it beside the items ...
 *             int32_t result = tv_GetForeignTrade(file, &itemTag, names, &count, 100);
 *             while (result == SYM_OK || result == SYM_MORE_DATA) {
 *                 for (uint32_t i = 0; i < count; ++i) { ... itemTag, names[i], maybe null ... }
 *                 result = result == SYM_MORE_DATA ? tv_GetNextForeignTrade(file, names, &count, 100)
 *                                                  : tv_GetForeignTrade(file, &itemTag, names, &count, 100);
 *             }
 *         }
 *     }
 */

/* Begins the section. Results as tv_InitialObjectSection, the number being that of the heads. */
TV_API int32_t tv_InitialForeignTradeSection(uint16_t handle);

/* Next head. Skips what is left of the head before it. The name is an arena pointer, dead with the first
 * item.
 *   SYM_OK           head is filled
 *   SYM_END_OF_DATA  the section is out
 *   SYM_ERR_READ     cut off by the end of the file, or the name is too long for the arena; begin the section
 *                    again */
TV_API int32_t tv_GetNextForeignTradeHead(uint16_t handle, ForeignTradeHead* head);

/* Next item of the head: its tag and the first names. Not to be called while an item has more names.
 *
 *   itemTag   receives the item's tag
 *   names     array of capacity; receives arena pointers, null where the arena had no room
 *   count     receives the number of names that this call delivered
 *
 *   SYM_OK           all names of the item were delivered
 *   SYM_MORE_DATA    the array is full; go on with tv_GetNextForeignTrade
 *   SYM_END_OF_DATA  the head has no more items; count is not written
 *   SYM_ERR_READ     cut off by the end of the file, or the names of this call are too much for the arena (a
 *                    smaller capacity helps). Begin the section again. Set count to 0 before the call to know
 *                    whether names were delivered before it */
TV_API int32_t tv_GetForeignTrade(uint16_t handle, uint8_t* itemTag, const char** names, uint32_t* count,
                                  uint32_t capacity);

/* Further names of the item, as above; count is always written. SYM_OK with count 0 when there are none. */
TV_API int32_t tv_GetNextForeignTrade(uint16_t handle, const char** names, uint32_t* count,
                                      uint32_t capacity);

/* ---- Section 15: global related ----
 *
 * Heads with lists, a list being up to 255 items of a tag and a name.
 *
 *     GlobalRelatedItem items[255];
 *     uint16_t headId;
 *     uint8_t listSize;
 *     uint32_t count;
 *     if (tv_InitialGlobalRelatedSection(file) >= 0) {
 *         while (tv_GetNextGlobalReleatedHead(file, &headId) == SYM_OK) {
 *             while (tv_GetGlobalReleated(file, &listSize, items, &count, 255) == SYM_OK) {
 *                 for (uint32_t i = 0; i < count; ++i) { ... headId, items[i].tag, items[i].name ... }
 *             }
 *         }
 *     }
 *
 * With a smaller array the rest of a list comes as in section 14, by tv_GetNextGlobalReleated.
 */

/* Begins the section. Results as tv_InitialObjectSection, the number being that of the heads. */
TV_API int32_t tv_InitialGlobalRelatedSection(uint16_t handle);

/* Next head. Skips what is left of the head before it. Ends all arena pointers.
 *   SYM_OK           headId is written
 *   SYM_END_OF_DATA  the section is out
 *   SYM_ERR_READ     cut off by the end of the file; begin the section again */
TV_API int32_t tv_GetNextGlobalReleatedHead(uint16_t handle, uint16_t* headId);

/* Next list of the head and its first items. Not to be called while a list has more items. listSize receives
 * the length of the whole list; items, count, capacity and the results as in tv_GetForeignTrade. */
TV_API int32_t tv_GetGlobalReleated(uint16_t handle, uint8_t* listSize, GlobalRelatedItem* items,
                                    uint32_t* count, uint32_t capacity);

/* Further items of the list, as above; count is always written. SYM_OK with count 0 when there are none. */
TV_API int32_t tv_GetNextGlobalReleated(uint16_t handle, GlobalRelatedItem* items, uint32_t* count,
                                        uint32_t capacity);

/* ---- Section 16: exchanges ----
 *
 * Elements of an id and two texts, one per call.
 *
 *     uint32_t id;
 *     char text1[256], text2[256];
 *     int32_t total = tv_InitialExchangeSection(file);
 *     for (int32_t result = SYM_MORE_DATA; total >= 0 && result == SYM_MORE_DATA;) {
 *         result = tv_GetNextExchange(file, &id, text1, 255, text2, 255);
 *         if (result == SYM_OK || result == SYM_MORE_DATA) { ... id, text1, text2 ... }
 *     }
 */

/* Begins the section. Results as tv_InitialSectionBorkerInfo, the number being that of the elements. */
TV_API int32_t tv_InitialExchangeSection(uint16_t handle);

/* Delivers the next element.
 *
 *   text1, text2            buffers of text1Limit + 1 and text2Limit + 1 bytes
 *   text1Limit, text2Limit  longest text in characters
 *
 *   SYM_OK           an element was delivered, the last of the section
 *   SYM_MORE_DATA    an element was delivered and more follow
 *   SYM_END_OF_DATA  nothing was delivered: the walk is over, or was not begun
 *   SYM_ERR_READ     cut off by the end of the file, or a text is longer than its limit (its buffer is then
 *                    full and has no zero byte), or a limit is below 0; begin the section again */
TV_API int32_t tv_GetNextExchange(uint16_t handle, uint32_t* id, char* text1, int32_t text1Limit, char* text2,
                                  int32_t text2Limit);

/* ---- Section 17: real-delay mapping ----
 *
 * Pairs of bytes. The section's size of data ends the walk, not its count.
 *
 *     uint8_t first, second;
 *     if (tv_InitialRealDelayMappingSection(file) >= 0) {
 *         while (tv_GetNextRealDelayMapping(file, &first, &second) == SYM_OK) { ... first, second ... }
 *     }
 */

/* Begins the section. Results as tv_InitialSectionBorkerInfo, the number being that of the pairs by the
 * section's own count. */
TV_API int32_t tv_InitialRealDelayMappingSection(uint16_t handle);

/* Delivers the next pair.
 *   SYM_OK           a pair was delivered, also the last one
 *   SYM_END_OF_DATA  nothing was delivered: the walk is over, or was not begun
 *   SYM_ERR_READ     cut off by the end of the file; begin the section again */
TV_API int32_t tv_GetNextRealDelayMapping(uint16_t handle, uint8_t* first, uint8_t* second);

/* ---- Section 18: level-2 EOD basic item definitions ----
 *
 * For each id three lists of 16-bit values, smallest id first. Read whole by the Initial call; each GetNext
 * call takes one id out. Arrays of 65535 elements take any list.
 *
 *     static uint16_t first[65535], second[65535], third[65535];
 *     uint16_t id, n1, n2, n3;
 *     if (tv_InitialLevel2EODBasicItemDefineSection(file) >= 0) {
 *         while (tv_GetNextLevel2EODBasicItemDefine(file, &id, &n1, first, 65535, &n2, second, 65535, &n3,
 *         third,
 *                                                   65535) == SYM_OK) {
 *             ... id, first[0] to first[n1 - 1], and so on ...
 *         }
 *     }
 */

/* Reads the section. What an earlier call read and nobody fetched is dropped first, whatever the result.
 *   0 to 65536          number of ids
 *   SYM_ERR_NO_SECTION  no such section
 *   SYM_ERR_READ        cut off or can't be read; ids that were read before that can be fetched
 *   SYM_ERR_NO_MEMORY   no memory; ids that were read before that can be fetched */
TV_API int32_t tv_InitialLevel2EODBasicItemDefineSection(uint16_t handle);

/* Takes out the smallest id with its three lists. Counts are those of the lists, capacities those of the
 * arrays, all in elements. An array may be null when its capacity is 0.
 *   SYM_OK                    delivered
 *   SYM_END_OF_DATA           no ids are left, or none were read
 *   SYM_ERR_BUFFER_TOO_SMALL  a list is longer than its capacity: nothing was written; call again with more
 *                             room */
TV_API int32_t tv_GetNextLevel2EODBasicItemDefine(uint16_t handle, uint16_t* id, uint16_t* firstCount,
                                                  uint16_t* firstItems, uint32_t firstCapacity,
                                                  uint16_t* secondCount, uint16_t* secondItems,
                                                  uint32_t secondCapacity, uint16_t* thirdCount,
                                                  uint16_t* thirdItems, uint32_t thirdCapacity);

/* ---- Section 21: exchange support ----
 *
 * For each id one list of 16-bit values, as in section 18.
 *
 *     static uint16_t values[65535];
 *     uint16_t id, n;
 *     if (tv_InitialExchangeSupportSection(file) >= 0) {
 *         while (tv_GetNextExchangeSupportSection(file, &id, &n, values, 65535) == SYM_OK) {
 *             ... id, values[0] to values[n - 1] ...
 *         }
 *     }
 */

/* Reads the section. Results as tv_InitialLevel2EODBasicItemDefineSection. */
TV_API int32_t tv_InitialExchangeSupportSection(uint16_t handle);

/* Takes out the smallest id with its list. Results as tv_GetNextLevel2EODBasicItemDefine. */
TV_API int32_t tv_GetNextExchangeSupportSection(uint16_t handle, uint16_t* id, uint16_t* count,
                                                uint16_t* items, uint32_t capacity);

#ifdef __cplusplus
}
#endif

#endif
