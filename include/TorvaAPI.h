/* TorvaAPI: reads market symbol master files. The C interface, for C99 and C++.
 *
 * A symbol file holds a list of market symbols with their typed fields (section 2), fields that apply to
 * every symbol (section 1) and about twenty side tables, the sections 3, 4 and 6 to 22. The library reads
 * such files. It never writes, starts no thread, prints nothing and has no configuration other than the
 * arguments below. A file may come from anywhere: whatever its bytes are, a call ends with one of the
 * results listed here. docs/format.md describes the file byte by byte.
 *
 *
 * HANDLES
 *
 * tv_OpenSymFile returns a handle, a number from 1 to 65535. It names the open file until tv_CloseSymFile,
 * or until the tv_ReleaseSymAPI that takes the count of tv_InitSymAPI calls to 0. A free number is used
 * again, the lowest first. Ten files can be open at once; tv_InitSymAPI raises that limit.
 *
 *
 * THE TWO READ MODES
 *
 * File mode (wholeFile 0) reads as the walk proceeds; its memory is the budget and a small read-ahead
 * buffer, whatever the size of the file. Memory mode (wholeFile not 0) loads the file once, in addition to
 * the budget, and makes no call of the operating system after that. Both deliver the same. On a file that
 * was cut off their results may differ, because a skip beyond the end of the data succeeds in file mode and
 * fails in memory mode.
 *
 * The file is opened exclusively: on Windows without sharing, elsewhere under an exclusive advisory
 * lock (where the file system has no locks the file opens without one). Opening a file a second time, in
 * this process too, returns SYM_ERR_OPEN. Only regular files open.
 *
 *
 * ONE POSITION PER FILE
 *
 * A file has one read position and one current section. Beginning another section loses the position in the
 * first. Walks begin in one of three ways:
 *   - Sections 2, 3 and 8 begin in their GetNext call, when another section was the current one. After their
 *     end they stay there; to read one again, begin another section first (any Initial call that finds its
 *     section).
 *   - All others begin with their Initial (or Initialize) call, which may be repeated at any time to start
 *     again. Their other calls continue at the read position and do not check which walk moved it last.
 *   - Sections 18 and 21 are read whole by their Initial call. Their GetNext calls read nothing from the
 *     file and may be mixed with the walk of any other section.
 *
 *
 * THREADS AND PROCESSES
 *
 *   Threads        Any thread may call any export. At most one export runs at a time in the process; the
 *                  others wait, without a time-out. tv_GetAPIVersion takes no lock and never waits. The lock
 *                  protects memory, not the order of calls: a walk, and the texts it delivers, belong to one
 *                  caller.
 *   A long call    tv_OpenSymFile in memory mode holds the lock while it loads the file, and an Initial call
 *                  of section 18 or 21 while it reads the section. All other threads wait for as long as
 *                  that takes, also those that use other files. A host that cannot wait opens in file mode.
 *   fork           A child process may open, read and close files of its own, even when another thread of
 *                  the parent was inside an export at the time of the fork. It may read on with a handle
 *                  that it inherited: the walks of parent and child do not disturb each other. (A handle
 *                  that another thread was using at the time of the fork is unknown in the child.) The
 *                  parent's files stay locked until the parent closes them; what the child closes has no
 *                  effect on that.
 *   Cancellation   No export is a cancellation point, also when the host's allocator is one: a cancelled
 *                  thread runs the export to its end and is cancelled at its own next cancellation point. A
 *                  thread with asynchronous cancellation enabled must not call exports.
 *   Signals        No export may be called from a signal handler, except tv_GetAPIVersion.
 *   Process exit   Open files are closed when the library is unloaded or the process exits. Threads may be
 *                  inside exports at that moment: nothing crashes, and nothing waits forever. From then on a
 *                  call returns what it returns for an unknown handle, and no file opens.
 *
 *
 * OWNERSHIP AND LIFETIME
 *
 *   - Arrays, records and buffers that are passed in belong to the caller. The library keeps no pointer to
 *     them.
 *   - The values of symbol fields (SymFieldItem) are blocks of their own. The caller frees them with
 *     SymFreeValue or SymFreeItems of TorvaValues.h, and only with these. The library keeps no pointer to
 *     them; they outlive the file.
 *   - Texts that sections 8, 13, 14 and 15 deliver as pointers are in the file's arena, which later calls
 *     reuse. Such a text is valid until one of these calls on the same handle, or until the file is closed:
 *         tv_GetNextSymData, tv_GetAgainSymData, tv_GetNextJumpPriceGroup, tv_GetAgainJumpPriceData,
 *         tv_GetNextEidrQuickGroup, tv_GetNextEidrSectionGroup, tv_GetNextSectionL2Group,
 *         tv_GetAgainSectionL2Data, the GetNext calls of sections 9, 10, 12, 19, 20 and 22,
 *         tv_GetNextObjectSourceSym, tv_GetNextObjectSym, tv_GetNextObjectData, tv_GetNextForeignTradeHead,
 *         tv_GetForeignTrade, tv_GetNextForeignTrade, tv_GetNextGlobalReleatedHead, tv_GetGlobalReleated,
 *         tv_GetNextGlobalReleated.
 *     Initial calls, the other sections, the directory and the progress do not affect them. Below, "arena
 *     pointer" means such a text.
 *
 *
 * TEXTS AND NUMBERS
 *
 * A text is a sequence of bytes that ends with a zero byte. The library does not know its character set and
 * changes nothing in it. Numbers in a file are little-endian, and so are the values delivered. Ids, tags and
 * texts have no meaning to the library. Counts and capacities are in elements, sizes in bytes; a text limit
 * or textMax is in characters, not counting the zero byte.
 *
 *
 * RESULTS
 *
 * An export with an int32_t result returns one of the codes below, or a handle or count of 0 and above. Two
 * codes apply to every export and are not repeated there:
 *   - SYM_ERR_BAD_HANDLE for a handle that is not open, from every export with a handle;
 *   - SYM_ERR_PARAM for a null pointer where the call has something to read or write. It is checked right
 *     after the handle, before anything is read, moved or written. An array may be null when its capacity is
 *     0.
 * A capacity below 0 counts as 0. Exceptions: tv_GetExtendSectionList (0 asks for the number of ids, below 0
 * no list fits), maxItems of the symbol walk (SYM_ERR_PARAM) and the limits of tv_GetNextExchange
 * (SYM_ERR_READ).
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

/* The calling convention on Windows is __cdecl for every export, on 32 bits too, whatever the host's default
 * is. The names in the DLL are undecorated. */
#ifdef _WIN32
#define TV_CALL __cdecl
#else
#define TV_CALL
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Result codes. -11 is not used. ---- */

/* Done. Each walk says how it reports that there is more. All exports. */
#define SYM_OK 0
/* The operating system did not open the file (missing, no permission, not a regular file, open elsewhere),
 * or its default fields cannot be read completely. tv_OpenSymFile only. */
#define SYM_ERR_OPEN (-1)
/* Invalid argument: at open a path longer than 25600 characters or a memory budget that is too small; in a
 * walk a text too long for the buffer it is copied to, or a negative count; anywhere a null pointer. */
#define SYM_ERR_PARAM (-2)
/* The limit of open files is reached. tv_OpenSymFile only. */
#define SYM_ERR_NO_SLOT (-3)
/* No file is open under this handle. All exports with a handle and an int32_t result. */
#define SYM_ERR_BAD_HANDLE (-4)
/* As much was delivered as there was room for; the group, record or section has more. Symbols,
 * sections. */
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
/* The section is not in the file's directory, or the id at its start is another one. Initial calls. */
#define SYM_ERR_NO_SECTION (-10)
/* A read failed or came back short, or a text did not fit the arena or its buffer. Sections 4 (Initial), 6,
 * 7 and 9 to 22. The read position is then no longer at a record: leave all levels of the walk. To read the
 * section again, call its Initial call. */
#define SYM_ERR_READ (-12)

/* ---- Records. Packed: no gaps, pointers of the host's width; the stride of an array is the record's size.
 *      Offsets are given for 4-byte pointers, then for 8-byte pointers. Members are not aligned: access them
 *      by name, never through a pointer to a member. ---- */

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
 * A null value with a tag of 1 to 9 means that there was no memory for it. The bytes after the value of tags
 * 8 and 9 have no meaning. A value's block is aligned for any number. */
typedef struct SymFieldItem {
    uint16_t id; /* offset 0: field id */
    uint8_t tag; /* offset 2: type tag, see above */
    void* value; /* offset 3: owned by the caller, freed with SymFreeValue; or null */
} SymFieldItem;

/* One field of an Eidr quick group, with the caller's room for its value. 15 or 19 bytes. */
typedef struct SymFieldBuffer {
    uint16_t id;       /* offset 0, out: field id */
    uint8_t tag;       /* offset 2, out: type tag; here tags 8 and 9 are 4 and 3 bytes */
    void* value;       /* offset 3, in: the caller's room, at least 8 bytes, and capacity bytes for texts */
    uint32_t capacity; /* offset 7 or 11, in: bytes of room for a text; out: the same as size */
    uint32_t size;     /* offset 11 or 15, out: bytes stored at value */
} SymFieldBuffer;

/* One jump price record, as it is in the file. 24 bytes. */
typedef struct JumpPriceRecord {
    uint8_t bytes[24];
} JumpPriceRecord;

/* One broker record, as it is in the file. 30 bytes. */
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
    uint32_t text1Size; /* offset 6 or 10, in: its size in bytes, including the zero byte */
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

/* A host whose compiler lays a record out differently does not compile: `bytes` and so many pointers. */
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

/* Counts one user of the library and raises the limit of open files to maxFiles if it is lower. The limit
 * starts at 10 and never falls. A host that opens at most ten files does not need this call.
 * Returns: 0. */
TV_API uint32_t TV_CALL tv_InitSymAPI(uint16_t maxFiles);

/* Removes one user of the library. When none is left, all open files are closed. The library stays usable. A
 * call without a matching tv_InitSymAPI takes the count below 0 and closes nothing. */
TV_API void TV_CALL tv_ReleaseSymAPI(void);

/* Opens a symbol file.
 *
 * Parameters:
 *   path          the file's path, at most 25600 characters; copied. On Windows in the ANSI code page
 *   memoryBudget  bytes for the default fields and the arena. Must be above 102400 plus what the default
 *                 fields need: 0 without section 1, otherwise their bytes in the file + 14 for each + 4. The
 *                 arena gets the rest, so a larger budget takes longer texts and more of them per call. 4
 *                 MiB is enough for most files. The image of memory mode comes on top
 *   fieldIds      the ids of the fields that the symbol walk delivers; copied. Ignored when fieldIdCount is
 *                 0
 *   fieldIdCount  number of fieldIds, at most 65535 (only the low 16 bits count); 0 for all fields
 *   wholeFile     0: file mode; otherwise memory mode
 * Returns: a handle of 1 or more, valid until the file is closed.
 * Errors, checked in this order; a failed open leaves nothing allocated or locked:
 *   SYM_ERR_NO_SLOT    the limit of open files is reached
 *   SYM_ERR_NO_MEMORY  no memory for the file's state
 *   SYM_ERR_PARAM      fieldIds is null with a count above 0, or the path is null or too long
 *   SYM_ERR_OPEN       the file cannot be opened
 *   SYM_ERR_OPEN       the default fields are cut off by the end of the file
 *   SYM_ERR_PARAM      memoryBudget is too small
 *   SYM_ERR_NO_MEMORY  the budget cannot be allocated
 *   SYM_ERR_OPEN       the default fields changed while they were read: the file is being written
 *
 * A file without a directory or without sections opens too, and each walk then reports that it has no
 * section. In memory mode a file that cannot be loaded (no memory, 2^32 - 1 bytes or more) opens as if it
 * were empty. */
TV_API int32_t TV_CALL tv_OpenSymFile(const char* path, uint32_t memoryBudget, const uint16_t* fieldIds,
                                      uint32_t fieldIdCount, uint32_t wholeFile);

/* Closes the file. All arena pointers of the handle become invalid; values of symbol fields do not. An
 * unknown handle has no effect. */
TV_API void TV_CALL tv_CloseSymFile(uint16_t handle);

/* Writes the version of the interface to *version. A null pointer has no effect. */
TV_API void TV_CALL tv_GetAPIVersion(SymApiVersion* version);

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

/* Lists the ids of all directory entries except those of sections 1 and 2, in file order, including
 * duplicates and unknown ids. Reads nothing and moves no walk.
 *
 * Parameters:
 *   list      array of capacity; null asks for the number of ids only
 *   capacity  0 asks for the number of ids only
 * Returns: the number of ids, 0 and above.
 * Errors:
 *   SYM_ERR_BUFFER_TOO_SMALL  there are more ids than capacity, which may be below 0; nothing was written */
TV_API int32_t TV_CALL tv_GetExtendSectionList(uint16_t handle, uint32_t* list, int32_t capacity);

/* ---- Section 2: symbols ----
 *
 * One call begins a symbol, further calls deliver what did not fit the array. A symbol delivers its own
 * fields first, in file order, then the default fields that it does not contain, in the order of section 1;
 * of both only those that pass the filter given at open.
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
 * Why count starts at -1: in a file with default fields and without symbols the call returns SYM_OK and
 * writes nothing, each time. A count that is still -1 shows this, and the end of the walk as well.
 */

/* Begins the next symbol. Not to be called while the last result was SYM_MORE_DATA: finish the symbol with
 * tv_GetAgainSymData first, also before beginning another section.
 *
 * Parameters:
 *   text      receives the symbol's text; room for textMax + 1 bytes
 *   textMax   longest text in characters
 *   count     receives the number of items that this call delivered
 *   items     array of maxItems; all of it is cleared first, and pointers that it held are lost
 *   maxItems  0 or more
 * Returns:
 *   SYM_OK           the symbol is complete. With count unchanged: the file has no symbols
 *   SYM_MORE_DATA    count items (possibly 0) were delivered, the symbol has more
 *   SYM_END_OF_DATA  no further symbol. With count 0 or more: the data ended inside the symbol
 * Lifetime: with SYM_OK and SYM_MORE_DATA the caller owns the values of the count items. With any other
 * result the array may hold pointers, which must be neither used nor freed.
 * Errors:
 *   SYM_ERR_BUFFER_TOO_SMALL  count unchanged: the text is longer than textMax or cut off by the end of the
 *                             file, and the read position is inside the record, so end the walk. Otherwise
 *                             count is 0: a value is larger than the whole arena; open the file with a
 *                             larger memoryBudget
 *   SYM_ERR_FORMAT            the sizes of the record disagree. The walk cannot continue
 *   SYM_ERR_PARAM             maxItems is below 0; nothing was read */
TV_API int32_t TV_CALL tv_GetNextSymData(uint16_t handle, char* text, int32_t textMax, int32_t* count,
                                         SymFieldItem* items, int32_t maxItems);

/* Continues the symbol after SYM_MORE_DATA. Parameters, results, lifetime and errors as in
 * tv_GetNextSymData; count is always written. */
TV_API int32_t TV_CALL tv_GetAgainSymData(uint16_t handle, int32_t* count, SymFieldItem* items,
                                          int32_t maxItems);

/* The share of the current section, whichever it is, that has been read.
 * Returns: 0.0 to 1.0 in a sound section; 0.0 for an unknown handle or a section of size 0. Sections 18 and
 * 21 count a little less than they read (2 and 4 bytes). */
TV_API double TV_CALL tv_GetSymDataProgress(uint16_t handle);

/* ---- Section 3: jump prices ----
 *
 * Groups of 24-byte records. Needs no initial call.
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

/* Reads the head of the next group and delivers its first records. Not to be called while a group is open:
 * it would read records as a head.
 *
 * Parameters:
 *   groupId   receives the group's id
 *   count     receives the number of records that this call delivered
 *   records   array of capacity, filled from its start; all of it is cleared first
 * Returns:
 *   SYM_OK           the group is complete. With count unchanged: the file has no such section, or no groups
 *                    in it
 *   SYM_MORE_DATA    count records were delivered; continue with tv_GetAgainJumpPriceData. Also for the last
 *                    record of a section that ends the file
 *   SYM_END_OF_DATA  the section is exhausted. With count 0: it ended after the group's head
 * Errors:
 *   SYM_ERR_FORMAT   the last record delivered extends beyond the end of the section
 * In a record cut off by the end of the file the missing bytes are zeros. */
TV_API int32_t TV_CALL tv_GetNextJumpPriceGroup(uint16_t handle, uint8_t* groupId, int32_t* count,
                                                JumpPriceRecord* records, int32_t capacity);

/* Continues the open group. Parameters, results and errors as in tv_GetNextJumpPriceGroup; count is always
 * written. Between groups: SYM_OK with count 0. */
TV_API int32_t TV_CALL tv_GetAgainJumpPriceData(uint16_t handle, int32_t* count, JumpPriceRecord* records,
                                                int32_t capacity);

/* ---- Section 4: broker info ----
 *
 * One list of 30-byte records.
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
 * Returns:
 *   0 to 65535          number of records
 *   SYM_END_OF_DATA     the file ends after the section's head
 * Errors:
 *   SYM_ERR_NO_SECTION  no such section
 *   SYM_ERR_READ        its head is cut off or cannot be read */
TV_API int32_t TV_CALL tv_InitialSectionBorkerInfo(uint16_t handle);

/* Delivers the next records.
 *
 * Parameters:
 *   count    set to 0 before each call. The call adds the number of records that it delivers and stops at
 *            capacity. A value above 0 reduces what is delivered; records are filled from the start of the
 *            array all the same
 *   records  array of capacity; all of it is cleared first
 * Returns:
 *   SYM_OK           the last record was delivered
 *   SYM_MORE_DATA    call again. Also for the last record of a section that ends the file
 *   SYM_END_OF_DATA  nothing was delivered: the section is exhausted, or was not begun
 * Errors:
 *   SYM_ERR_PARAM    *count is below 0; nothing was read or cleared
 * In a record cut off by the end of the file the missing bytes are zeros. */
TV_API int32_t TV_CALL tv_GetNextBrokerInfoGroup(uint16_t handle, int32_t* count, BrokerInfoRecord* records,
                                                 int32_t capacity);

/* ---- Section 6: Eidr quick groups ----
 *
 * Named groups of typed fields, one field per call. A new group shows only by its name.
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
 * Returns:
 *   SYM_OK              there are bytes to read
 *   SYM_END_OF_DATA     the file ends after the section's head
 * Errors:
 *   SYM_ERR_NO_SECTION  no such section
 *   SYM_ERR_READ        its head is cut off or cannot be read */
TV_API int32_t TV_CALL tv_InitialSection6(uint16_t handle);

/* Delivers the next field.
 *
 * Parameters:
 *   name      receives the address of the group's name, at most 49 characters
 *   count     the call adds 1 when it delivers a field, and reads nothing when count has reached capacity
 *   target    one record, not indexed by count. Its value must have room for 8 bytes whatever its capacity;
 *             set capacity before each call, since the call overwrites it with size
 *   capacity  see count
 * Returns:
 *   SYM_OK           a field was delivered, the last of the section
 *   SYM_MORE_DATA    a field was delivered and more follow; or count had reached capacity
 *   SYM_END_OF_DATA  nothing was delivered: the section or the file is exhausted
 * Lifetime: the address of the name is valid until the file is closed; its text changes when the next group
 * begins.
 * Errors:
 *   SYM_ERR_PARAM    a text is longer than target->capacity, or target->value is null and the field has a
 *                    value: count unchanged, size 0, and the next call reads the next field. Or the group's
 *                    name has 50 characters or more: begin the section again
 *   SYM_ERR_FORMAT   the sizes disagree. With count raised, the field was delivered and extends beyond the
 *                    section's data; otherwise the last field extended beyond its group: begin the section
 *                    again
 *   SYM_ERR_READ     a name or a text is cut off by the end of the file or too long for the arena: count
 *                    unchanged; begin the section again
 * A field of a tag other than 1 to 9 has no value and size 0. The missing bytes of a number cut off by the
 * end of the file are zeros. */
TV_API int32_t TV_CALL tv_GetNextEidrQuickGroup(uint16_t handle, const char** name, int32_t* count,
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

/* Begins the section. Results and errors as in tv_InitialSection6. */
TV_API int32_t TV_CALL tv_InitialSection7(uint16_t handle);

/* Delivers the next element.
 *
 * Parameters:
 *   count, capacity  as in tv_GetNextEidrQuickGroup
 *   target           one record. The call writes its id and the two buffers, never its pointers and sizes
 * Returns:
 *   SYM_OK           an element was delivered, the last of the section
 *   SYM_MORE_DATA    an element was delivered and more follow; or count had reached capacity
 *   SYM_END_OF_DATA  nothing was delivered: the section or the file is exhausted
 * Errors:
 *   SYM_ERR_PARAM    a text does not fit its buffer, or the buffer is null; begin the section again
 *   SYM_ERR_FORMAT   the element was delivered and extends beyond the section's data
 *   SYM_ERR_READ     a text is cut off by the end of the file or too long for the arena; begin the section
 *                    again */
TV_API int32_t TV_CALL tv_GetNextEidrSectionGroup(uint16_t handle, int32_t* count, EidrSectionItem* target,
                                                  int32_t capacity);

/* ---- Section 8: level-2 sections ----
 *
 * Groups of items; an item is a byte and two texts. Needs no initial call.
 *
 *     SectionL2Item records[100];
 *     int32_t result;
 *     do {
 *         uint8_t groupId;
 *         int32_t count = -1;
 *         result = tv_GetNextSectionL2Group(file, &groupId, &count, records, 100);
 *         if (count < 0) break;
 *         for (int32_t i = 0; i < count; ++i) {
 *             ... groupId, records[i].leadByte, records[i].text1, records[i].text2, both possibly null ...
 *         }
 *     } while (result == SYM_OK || result == SYM_MORE_DATA);
 */

/* Reads the head of the next group, or continues the open one, and delivers items.
 *
 * Parameters:
 *   groupId  receives the id of the group that the items belong to
 *   count    receives the number of items that this call delivered
 *   records  array of capacity, filled from its start; all of it is cleared first
 * Returns:
 *   SYM_OK           the group is complete. With count unchanged: the file has no such section
 *   SYM_MORE_DATA    count items were delivered, the group has more: the array or the arena is full. Also
 *                    for the last item of a section that ends the file
 *   SYM_END_OF_DATA  the section is exhausted
 * Lifetime: the texts are arena pointers. The call invalidates all earlier arena pointers, whatever its
 * result.
 * Errors:
 *   SYM_ERR_FORMAT   the last item delivered extends beyond the end of the section */
TV_API int32_t TV_CALL tv_GetNextSectionL2Group(uint16_t handle, uint8_t* groupId, int32_t* count,
                                                SectionL2Item* records, int32_t capacity);

/* Continues the open group, as tv_GetNextSectionL2Group does, and never reads a group's head. count is
 * always written. Between groups: SYM_OK with count 0. */
TV_API int32_t TV_CALL tv_GetAgainSectionL2Data(uint16_t handle, int32_t* count, SectionL2Item* records,
                                                int32_t capacity);

/* ---- Sections 9, 10, 12, 19, 20, 22: name tables ----
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
 * The Initial calls begin the section.
 * Returns:
 *   0 and above         number of elements. Sections 19, 20 and 22 return their 32-bit count unchanged: 2^31
 *                       and above appears as a negative number, the highest as one of the codes
 *   SYM_END_OF_DATA     the file ends after the section's head
 * Errors:
 *   SYM_ERR_NO_SECTION  no such section
 *   SYM_ERR_READ        its head is cut off or cannot be read
 *
 * The GetNext calls deliver the next element.
 * Parameters:
 *   count     set to 0 before each call; 1 after a call that delivered an element
 *   ids       receives the id, in ids[0]
 *   names     *names is the buffer for the name
 *   nameSize  its size in bytes, including the zero byte
 * Returns:
 *   SYM_OK           an element was delivered, the last of the section
 *   SYM_MORE_DATA    an element was delivered and more follow; or count was 1 or more and nothing was read
 *   SYM_END_OF_DATA  nothing was delivered: the walk is over, or was not begun
 * Errors:
 *   SYM_ERR_PARAM    the name does not fit the buffer, which is then an empty text, or *names is null: the
 *                    element is lost, begin the section again. Or count is below 0; nothing was read
 *   SYM_ERR_READ     cut off by the end of the file, or the name is too long for the arena; begin the
 *                    section again
 */

/* Section 9: fund companies. */
TV_API int32_t TV_CALL tv_InitializeSection9(uint16_t handle);
TV_API int32_t TV_CALL tv_GetNextFundCompanyGroup(uint16_t handle, int32_t* count, uint32_t* ids,
                                                  char** names, uint32_t nameSize);
/* Section 10: Eidr countries. */
TV_API int32_t TV_CALL tv_InitializeSection10(uint16_t handle);
TV_API int32_t TV_CALL tv_GetNextEidrCountryGroup(uint16_t handle, int32_t* count, uint32_t* ids,
                                                  char** names, uint32_t nameSize);
/* Section 12: issue companies. */
TV_API int32_t TV_CALL tv_InitializeSection12(uint16_t handle);
TV_API int32_t TV_CALL tv_GetNextIssueCompanyGroup(uint16_t handle, int32_t* count, uint32_t* ids,
                                                   char** names, uint32_t nameSize);
/* Section 19: fund main names. */
TV_API int32_t TV_CALL tv_InitialFundMainNameSection(uint16_t handle);
TV_API int32_t TV_CALL tv_GetNextFundMainName(uint16_t handle, int32_t* count, uint32_t* ids, char** names,
                                              uint32_t nameSize);
/* Section 20: futures section V2. */
TV_API int32_t TV_CALL tv_InitialFuturesSectionV2(uint16_t handle);
TV_API int32_t TV_CALL tv_GetNextFuturesSectionV2(uint16_t handle, int32_t* count, uint32_t* ids,
                                                  char** names, uint32_t nameSize);
/* Section 22: futures class types. */
TV_API int32_t TV_CALL tv_InitialFuturesClassType(uint16_t handle);
TV_API int32_t TV_CALL tv_GetNextFuturesClassType(uint16_t handle, int32_t* count, uint32_t* ids,
                                                  char** names, uint32_t nameSize);

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
 * Returns:
 *   0 to 255            number of groups
 *   SYM_END_OF_DATA     the file ends after the section's head
 * Errors:
 *   SYM_ERR_NO_SECTION  no such section
 *   SYM_ERR_READ        its head is cut off or cannot be read */
TV_API int32_t TV_CALL tv_InitializeSection11(uint16_t handle);

/* Delivers the next group, or continues the one that did not fit.
 *
 * Parameters:
 *   groupId   receives the id of the group that the members belong to
 *   count     how full the array is: members are stored from this index on, and it grows by 1 for each. Set
 *             it to 0 before each call to get one group at a time
 *   members   *members is the array
 *   capacity  its size in bytes; must be above count: a call without room for one member loses its place
 * Returns:
 *   SYM_OK           the last group of the section is complete
 *   SYM_MORE_DATA    call again: the array is full inside a group, or more groups follow. If the next call
 *                    delivers the same groupId, it continued this group (or two neighbours share an id)
 *   SYM_END_OF_DATA  nothing was delivered: the walk is over, or was not begun
 * Errors:
 *   SYM_ERR_PARAM    *count is below 0; nothing was read
 *   SYM_ERR_READ     cut off by the end of the file; the members up to count were delivered */
TV_API int32_t TV_CALL tv_GetNextSectionGroup(uint16_t handle, uint8_t* groupId, int32_t* count,
                                              uint8_t** members, int32_t capacity);

/* ---- Section 13: objects ----
 *
 * A tree of four levels, walked depth first: types, their source symbols, their symbols, their data. Every
 * success is SYM_MORE_DATA. Each level delivers the number of records of the level below it. Records below
 * the type level must be read in their order, and only a type can be left early, by asking for the next one.
 *
 *     uint16_t typeId, sources, symbols;
 *     uint8_t symByte, dataCount, dataByte;
 *     const char *source, *sym, *data;
 *     int32_t result = tv_InitialObjectSection(file);
 *     if (result >= 0) {
 *         while ((result = tv_GetNextObjectTypeID(file, &typeId, &sources)) == SYM_MORE_DATA) {
 *             while ((result = tv_GetNextObjectSourceSym(file, &source, &symbols)) == SYM_MORE_DATA) {
 *                 ... typeId, source ...
 *                 while ((result = tv_GetNextObjectSym(file, &symByte, &sym, &dataCount)) == SYM_MORE_DATA) {
 *                     ... symByte, sym ...
 *                     while ((result = tv_GetNextObjectData(file, &dataByte, &data)) == SYM_MORE_DATA) {
 *                         ... dataByte, data ...
 *                     }
 *                     if (result != SYM_END_OF_DATA) break;
 *                 }
 *                 if (result != SYM_END_OF_DATA) break;
 *             }
 *             if (result != SYM_END_OF_DATA) break;
 *         }
 *     }
 *
 * Any result other than SYM_MORE_DATA and SYM_END_OF_DATA leaves all levels: after SYM_ERR_READ an upper
 * level would deliver records that are not in the file. After the walk result is SYM_END_OF_DATA, or the
 * error that ended it.
 *
 * The four GetNext calls:
 * Returns:
 *   SYM_MORE_DATA    a record was delivered
 *   SYM_END_OF_DATA  no more records at this level; nothing has changed
 * Lifetime: the texts are arena pointers: copy source before asking for its symbols, sym before its data. A
 * pointer is null when the arena had no room for the text.
 * Errors:
 *   SYM_ERR_READ     cut off by the end of the file, or a text is too long for the arena. What the call
 *                    wrote has no meaning; begin the section again
 */

/* Begins the section.
 * Returns:
 *   0 to 65535          number of types, by the section's own count
 *   SYM_END_OF_DATA     the file ends after the section's head
 * Errors:
 *   SYM_ERR_NO_SECTION  no such section
 *   SYM_ERR_READ        its head is cut off or cannot be read */
TV_API int32_t TV_CALL tv_InitialObjectSection(uint16_t handle);
/* Next type: its id and the number of its source symbols. Skips what is left of the previous type. */
TV_API int32_t TV_CALL tv_GetNextObjectTypeID(uint16_t handle, uint16_t* typeId, uint16_t* sourceSymCount);
/* Next source symbol of the type: its text and the number of its symbols. */
TV_API int32_t TV_CALL tv_GetNextObjectSourceSym(uint16_t handle, const char** sourceSym, uint16_t* symCount);
/* Next symbol of the source symbol: a byte, its text and the number of its data records. */
TV_API int32_t TV_CALL tv_GetNextObjectSym(uint16_t handle, uint8_t* symByte, const char** sym,
                                           uint8_t* dataCount);
/* Next data record of the symbol: a byte and a text. */
TV_API int32_t TV_CALL tv_GetNextObjectData(uint16_t handle, uint8_t* dataByte, const char** data);

/* ---- Section 14: foreign trade ----
 *
 * Heads with items, an item being a tag and a list of names.
 *
 *     ForeignTradeHead head;
 *     const char* names[100];
 *     uint8_t itemTag;
 *     uint32_t count;
 *     int32_t result = tv_InitialForeignTradeSection(file);
 *     if (result >= 0) {
 *         while ((result = tv_GetNextForeignTradeHead(file, &head)) == SYM_OK) {
 *             ... head.id, head.name: copy the name to keep it beside the items ...
 *             result = tv_GetForeignTrade(file, &itemTag, names, &count, 100);
 *             while (result == SYM_OK || result == SYM_MORE_DATA) {
 *                 for (uint32_t i = 0; i < count; ++i) { ... itemTag, names[i], possibly null ... }
 *                 result = result == SYM_MORE_DATA ? tv_GetNextForeignTrade(file, names, &count, 100)
 *                                                  : tv_GetForeignTrade(file, &itemTag, names, &count, 100);
 *             }
 *             if (result != SYM_END_OF_DATA) break;
 *         }
 *     }
 *
 * As in section 13, any error leaves all levels.
 */

/* Begins the section. Results and errors as in tv_InitialObjectSection, the number being that of the heads.
 * */
TV_API int32_t TV_CALL tv_InitialForeignTradeSection(uint16_t handle);

/* Next head. Skips what is left of the previous head.
 *
 * Parameters:
 *   head             receives the head
 * Returns:
 *   SYM_OK           head was written
 *   SYM_END_OF_DATA  the section is exhausted
 * Lifetime: the name is an arena pointer, valid until the first item.
 * Errors:
 *   SYM_ERR_READ     cut off by the end of the file, or the name is too long for the arena; begin the
 *                    section again */
TV_API int32_t TV_CALL tv_GetNextForeignTradeHead(uint16_t handle, ForeignTradeHead* head);

/* Next item of the head: its tag and the first names. Not to be called while an item has more names.
 *
 * Parameters:
 *   itemTag   receives the item's tag
 *   names     array of capacity; receives arena pointers, null where the arena had no room
 *   count     receives the number of names that this call delivered
 * Returns:
 *   SYM_OK           all names of the item were delivered
 *   SYM_MORE_DATA    the array is full; continue with tv_GetNextForeignTrade
 *   SYM_END_OF_DATA  the head has no more items; count is not written
 * Lifetime: the names are arena pointers. The call invalidates all earlier ones.
 * Errors:
 *   SYM_ERR_READ     cut off by the end of the file, or the names of this call are too much for the arena (a
 *                    smaller capacity helps). Begin the section again. To know whether names were delivered
 *                    before the error, set count to 0 before the call */
TV_API int32_t TV_CALL tv_GetForeignTrade(uint16_t handle, uint8_t* itemTag, const char** names,
                                          uint32_t* count, uint32_t capacity);

/* Further names of the item, as tv_GetForeignTrade; count is always written. SYM_OK with count 0 when there
 * are none. */
TV_API int32_t TV_CALL tv_GetNextForeignTrade(uint16_t handle, const char** names, uint32_t* count,
                                              uint32_t capacity);

/* ---- Section 15: global related ----
 *
 * Heads with lists, a list being up to 255 items of a tag and a name.
 *
 *     GlobalRelatedItem items[255];
 *     uint16_t headId;
 *     uint8_t listSize;
 *     uint32_t count;
 *     int32_t result = tv_InitialGlobalRelatedSection(file);
 *     if (result >= 0) {
 *         while ((result = tv_GetNextGlobalReleatedHead(file, &headId)) == SYM_OK) {
 *             while ((result = tv_GetGlobalReleated(file, &listSize, items, &count, 255)) == SYM_OK) {
 *                 for (uint32_t i = 0; i < count; ++i) { ... headId, items[i].tag, items[i].name ... }
 *             }
 *             if (result != SYM_END_OF_DATA) break;
 *         }
 *     }
 *
 * As in section 13, any error leaves all levels. With a smaller array the rest of a list comes as in section
 * 14, by tv_GetNextGlobalReleated.
 */

/* Begins the section. Results and errors as in tv_InitialObjectSection, the number being that of the heads.
 * */
TV_API int32_t TV_CALL tv_InitialGlobalRelatedSection(uint16_t handle);

/* Next head. Skips what is left of the previous head.
 *
 * Parameters:
 *   headId           receives the head's id
 * Returns:
 *   SYM_OK           headId was written
 *   SYM_END_OF_DATA  the section is exhausted
 * Lifetime: the call invalidates all arena pointers.
 * Errors:
 *   SYM_ERR_READ     cut off by the end of the file; begin the section again */
TV_API int32_t TV_CALL tv_GetNextGlobalReleatedHead(uint16_t handle, uint16_t* headId);

/* Next list of the head and its first items. Not to be called while a list has more items. listSize receives
 * the length of the whole list; items, count, capacity, results, lifetime and errors as in
 * tv_GetForeignTrade. */
TV_API int32_t TV_CALL tv_GetGlobalReleated(uint16_t handle, uint8_t* listSize, GlobalRelatedItem* items,
                                            uint32_t* count, uint32_t capacity);

/* Further items of the list, as tv_GetGlobalReleated; count is always written. SYM_OK with count 0 when
 * there are none. */
TV_API int32_t TV_CALL tv_GetNextGlobalReleated(uint16_t handle, GlobalRelatedItem* items, uint32_t* count,
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

/* Begins the section. Results and errors as in tv_InitialSectionBorkerInfo, the number being that of the
 * elements. */
TV_API int32_t TV_CALL tv_InitialExchangeSection(uint16_t handle);

/* Delivers the next element.
 *
 * Parameters:
 *   id                      receives the element's id
 *   text1, text2            buffers of text1Limit + 1 and text2Limit + 1 bytes
 *   text1Limit, text2Limit  longest text in characters
 * Returns:
 *   SYM_OK           an element was delivered, the last of the section
 *   SYM_MORE_DATA    an element was delivered and more follow
 *   SYM_END_OF_DATA  nothing was delivered: the walk is over, or was not begun
 * Errors:
 *   SYM_ERR_READ     cut off by the end of the file, or a text is longer than its limit (its buffer is then
 *                    full and has no zero byte), or a limit is below 0; begin the section again */
TV_API int32_t TV_CALL tv_GetNextExchange(uint16_t handle, uint32_t* id, char* text1, int32_t text1Limit,
                                          char* text2, int32_t text2Limit);

/* ---- Section 17: real-delay mapping ----
 *
 * Pairs of bytes. The section's size of data ends the walk, not its count.
 *
 *     uint8_t first, second;
 *     if (tv_InitialRealDelayMappingSection(file) >= 0) {
 *         while (tv_GetNextRealDelayMapping(file, &first, &second) == SYM_OK) { ... first, second ... }
 *     }
 */

/* Begins the section. Results and errors as in tv_InitialSectionBorkerInfo, the number being that of the
 * pairs by the section's own count. */
TV_API int32_t TV_CALL tv_InitialRealDelayMappingSection(uint16_t handle);

/* Delivers the next pair.
 *
 * Parameters:
 *   first, second    receive the pair
 * Returns:
 *   SYM_OK           a pair was delivered, also the last one
 *   SYM_END_OF_DATA  nothing was delivered: the walk is over, or was not begun
 * Errors:
 *   SYM_ERR_READ     cut off by the end of the file; begin the section again */
TV_API int32_t TV_CALL tv_GetNextRealDelayMapping(uint16_t handle, uint8_t* first, uint8_t* second);

/* ---- Section 18: level-2 EOD basic item definitions ----
 *
 * For each id three lists of 16-bit values, smallest id first. The Initial call reads the whole section;
 * each GetNext call removes one id. Arrays of 65535 elements take any list.
 *
 *     static uint16_t first[65535], second[65535], third[65535];
 *     uint16_t id, n1, n2, n3;
 *     if (tv_InitialLevel2EODBasicItemDefineSection(file) >= 0) {
 *         while (tv_GetNextLevel2EODBasicItemDefine(file, &id, &n1, first, 65535, &n2, second, 65535,
 *                                                   &n3, third, 65535) == SYM_OK) {
 *             ... id, first[0] to first[n1 - 1], and so on ...
 *         }
 *     }
 */

/* Reads the section. What an earlier call read and no GetNext call fetched is dropped first, whatever the
 * result.
 * Returns:
 *   0 to 65536          number of ids
 * Errors:
 *   SYM_ERR_NO_SECTION  no such section
 *   SYM_ERR_READ        cut off or cannot be read; the ids read before the error can be fetched
 *   SYM_ERR_NO_MEMORY   no memory; the ids read before the error can be fetched */
TV_API int32_t TV_CALL tv_InitialLevel2EODBasicItemDefineSection(uint16_t handle);

/* Removes the smallest id and delivers it with its three lists, copied in the order first, second, third.
 *
 * Parameters:
 *   id                                           receives the id
 *   firstCount, secondCount, thirdCount          receive the lengths of the lists
 *   firstItems, secondItems, thirdItems          arrays; may be null when their capacity is 0
 *   firstCapacity, secondCapacity, thirdCapacity lengths of the arrays in elements
 * Returns:
 *   SYM_OK                    delivered
 *   SYM_END_OF_DATA           no ids are left, or none were read
 * Errors:
 *   SYM_ERR_BUFFER_TOO_SMALL  a list is longer than its capacity: nothing was written; call again with more
 *                             room */
TV_API int32_t TV_CALL tv_GetNextLevel2EODBasicItemDefine(uint16_t handle, uint16_t* id, uint16_t* firstCount,
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

/* Reads the section. Results and errors as in tv_InitialLevel2EODBasicItemDefineSection. */
TV_API int32_t TV_CALL tv_InitialExchangeSupportSection(uint16_t handle);

/* Removes the smallest id and delivers it with its list. Parameters, results and errors as in
 * tv_GetNextLevel2EODBasicItemDefine. */
TV_API int32_t TV_CALL tv_GetNextExchangeSupportSection(uint16_t handle, uint16_t* id, uint16_t* count,
                                                        uint16_t* items, uint32_t capacity);

#ifdef __cplusplus
}
#endif

#endif
