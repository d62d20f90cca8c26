/* TorvaTables: a symbol file as immutable tables in Apache Arrow's memory layout.
 *
 * A table is loaded in one pass and then only read. The table of the symbols has one row for each symbol, a
 * column `symbol`, and one typed column for each wanted field; any other section is a table for each of its
 * levels. Arrays are exported through the Arrow C data interface, so that any Arrow library can use them
 * without a copy.
 *
 *     TvtOptions options;
 *     TvtError error;
 *     TvtTable* table;
 *     tvt_InitOptions(&options);
 *     if (tvt_Load("instruments.sym", &options, &table, &error) != TVT_OK) {
 *         fprintf(stderr, "%s\n", error.message);
 *         return 1;
 *     }
 *     int64_t row = tvt_Find(table, "AAPL", 4);
 *     ...
 *     tvt_Release(table);
 *
 * Values: what the exports of TorvaAPI.h deliver for the same file, record by record. A cell holds the first
 * value that a record delivers for its field; later ones of the same id are counted as `repeated`. A record
 * without a value of a field gets the file's default field, or null. A value that cannot be of the column's
 * type is null and counted as a `conflict`; one that can, but has no meaning there (a date of month 13, a
 * bool of 7), is null and counted as `impossible`.
 *
 * Damage: rows that the exports complete are kept; the first record that they do not complete ends the table
 * and is described in the TvtReport. A file that cannot be opened, or whose default fields are cut off, is
 * not loaded at all.
 *
 * Memory: a load stops with TVT_ERR_LIMIT before its columns take more than TvtOptions.memoryLimit bytes,
 * by default 64 times the size of the file and 64 MiB.
 *
 * Threads: a TvtTable may be read by any number of threads at once without a lock. All functions may be
 * called from any thread; objects other than tables are used by one thread at a time unless stated otherwise.
 *
 * Errors: functions that can fail return TVT_OK or a negative TVT_ERR_ code and, where `error` is not null,
 * describe the failure there: file, section, offset and what was wrong.
 */
#ifndef TORVA_TABLES_H
#define TORVA_TABLES_H

#include <stddef.h>
#include <stdint.h>

/* Define TORVA_TABLES_SHARED when the host uses the library as a Windows DLL. */
#if defined(_WIN32) && defined(TORVA_TABLES_SHARED)
#define TVT_API __declspec(dllimport)
#elif defined(__GNUC__) && !defined(_WIN32) && !defined(TORVA_TABLES_STATIC)
#define TVT_API __attribute__((visibility("default")))
#else
#define TVT_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* --- The Arrow C data interface and the C stream interface, with their standard definitions. */

#ifndef ARROW_C_DATA_INTERFACE
#define ARROW_C_DATA_INTERFACE

#define ARROW_FLAG_DICTIONARY_ORDERED 1
#define ARROW_FLAG_NULLABLE 2
#define ARROW_FLAG_MAP_KEYS_SORTED 4

struct ArrowSchema {
    const char* format;
    const char* name;
    const char* metadata;
    int64_t flags;
    int64_t n_children;
    struct ArrowSchema** children;
    struct ArrowSchema* dictionary;
    void (*release)(struct ArrowSchema*);
    void* private_data;
};

struct ArrowArray {
    int64_t length;
    int64_t null_count;
    int64_t offset;
    int64_t n_buffers;
    int64_t n_children;
    const void** buffers;
    struct ArrowArray** children;
    struct ArrowArray* dictionary;
    void (*release)(struct ArrowArray*);
    void* private_data;
};

#endif

#ifndef ARROW_C_STREAM_INTERFACE
#define ARROW_C_STREAM_INTERFACE

struct ArrowArrayStream {
    int (*get_schema)(struct ArrowArrayStream*, struct ArrowSchema* out);
    int (*get_next)(struct ArrowArrayStream*, struct ArrowArray* out);
    const char* (*get_last_error)(struct ArrowArrayStream*);
    void (*release)(struct ArrowArrayStream*);
    void* private_data;
};

#endif

/* --- Results */

enum {
    TVT_OK = 0,
    TVT_ERR_OPEN = -1,      /* the file cannot be opened or read */
    TVT_ERR_PARAM = -2,     /* invalid argument or option */
    TVT_ERR_NO_MEMORY = -7, /* out of memory */
    TVT_ERR_FORMAT = -9,    /* the file, or its dictionary, cannot be used */
    TVT_ERR_LIMIT = -20     /* the columns would take more than the limit */
};

/* What went wrong, in English, UTF-8, ended by a zero byte. */
typedef struct TvtError {
    int32_t code;
    char message[508];
} TvtError;

/* --- Loading */

/* An immutable table. Counted: each successful tvt_Load... and tvt_Retain is matched by one tvt_Release;
 * arrays and streams exported from a table keep its memory alive by themselves. */
typedef struct TvtTable TvtTable;

enum {
    TVT_NO_DEFAULTS = 1,     /* records without a value get null, not the default field's value */
    TVT_OWN_FLAGS = 2,       /* with each field a column NAME.own: whether the value is the record's own */
    TVT_NO_DICTIONARIES = 4, /* texts always as plain texts, never as Arrow dictionaries */
    TVT_NO_FIELDS_FILE = 8,  /* do not look for FILE.fields.json */
    TVT_FIELD_ROWS = 16      /* section 2 by levels, as any other section: symbols, and their own fields */
};

enum {
    TVT_DIRECTORY = 0, /* the section directory, a row for each entry */
    TVT_SYMBOLS = 2    /* the symbols */
};

typedef struct TvtOptions {
    uint32_t size;            /* sizeof(TvtOptions), set by tvt_InitOptions */
    uint32_t flags;           /* TVT_NO_DEFAULTS | ... */
    const uint16_t* fieldIds; /* the wanted fields; with fieldCount 0, every field that occurs */
    uint32_t fieldCount;
    uint32_t threads; /* threads that load at once, 1 to 64; 0 means 1. The result does not depend on it */
    const char* dictionary; /* path of a JSON file with names and types of fields; null: FILE.fields.json
                               beside the symbol file, where there is one */
    const char* encoding;   /* character set of the texts, a name that iconv knows; null: UTF-8. Tables hold
                               UTF-8;   a column with a text that is not valid in the character set is binary,
                               with the   bytes of the file */
    uint64_t memoryLimit;   /* bytes of all columns; 0: 64 times the size of the file and 64 MiB */
    uint32_t batchRows;     /* rows of a batch of a stream; 0: 65,536 */
    uint32_t section; /* TVT_SYMBOLS, TVT_DIRECTORY, or the id of another section (see "Sections"). For those
                         only `encoding` and `memoryLimit` of the options above mean anything */
} TvtOptions;

/* Fills in the defaults: the symbols, every field, one thread. */
TVT_API void tvt_InitOptions(TvtOptions* options);

/* Loads the symbols, or the section of the options, of the file `path` (UTF-8). The file is opened shared and
 * closed before the call returns. `options` may be null; nothing it points to is needed after the call.
 * Returns TVT_OK and a table in *table, or a code and null: TVT_ERR_OPEN, TVT_ERR_PARAM (also for the id of a
 * section that no file has), TVT_ERR_NO_MEMORY, TVT_ERR_FORMAT, TVT_ERR_LIMIT. */
TVT_API int32_t tvt_Load(const char* path, const TvtOptions* options, TvtTable** table, TvtError* error);

/* The same from `size` bytes in memory, which are not needed after the call. */
TVT_API int32_t tvt_LoadBytes(const void* bytes, size_t size, const TvtOptions* options, TvtTable** table,
                              TvtError* error);

/* The same from an open file descriptor, on Windows a HANDLE. It is taken over and closed, whatever the
 * result; its file position is neither used nor moved. */
TVT_API int32_t tvt_LoadDescriptor(intptr_t descriptor, const TvtOptions* options, TvtTable** table,
                                   TvtError* error);

/* Returns `table` with one more reference. Null stays null. */
TVT_API TvtTable* tvt_Retain(TvtTable* table);

/* Drops a reference; the last one frees the table. Null is ignored. */
TVT_API void tvt_Release(TvtTable* table);

/* How the load went. */
typedef struct TvtReport {
    int64_t rows;
    int32_t columns;       /* with the symbol column, without those of TVT_OWN_FLAGS */
    int32_t damage;        /* 0: the rows came whole; else the code with which an export ends that walk:
                              SYM_END_OF_DATA (-6), SYM_ERR_BUFFER_TOO_SMALL (-8), SYM_ERR_FORMAT (-9),
                              SYM_ERR_NO_SECTION (-10), SYM_ERR_READ (-12), or in another section SYM_ERR_PARAM
                              (-2) */
    uint64_t damageOffset; /* where the damage is, from the start of the file; of symbols, the start of the
                              record that could not be completed */
    const char* message;   /* what was damaged; of other sections than the symbols also what their sizes and
                              counts say that is not there, with damage 0. Else empty. UTF-8; lives as long as
                              the table */
    const char* name;      /* of the rows: "symbols", "groups", ...; lives as long as the table */
    int32_t section;       /* id; TVT_DIRECTORY for the section directory */
    int32_t level;         /* 0 for the symbols, the directory and the first level of a section */
    uint64_t bytes;        /* memory that the table's columns take */
    uint64_t conflicts;    /* sums over the columns */
    uint64_t impossible;
    uint64_t repeated;
} TvtReport;

TVT_API void tvt_GetReport(const TvtTable* table, TvtReport* report);

/* --- Sections
 *
 * With TvtOptions.section a load returns any section: its first level as a table, and the levels below it
 * by tvt_Below. Rows are those that the exports of the section deliver, in their order. The columns of a
 * level are named in docs/json.md; ids and other numbers are unsigned, records are TVT_FIXED, lists TVT_LIST.
 * Below the first level, column 0 is `parent` (uint32_t), the row of the level above that the row belongs to.
 * The value of a typed field (sections 1, 2 and 6) is in `number` (uint64_t) or in `text`; the other one is
 * null, and both are for tags without a value.
 *
 * A section that the file does not have is a table without rows, with SYM_ERR_NO_SECTION as its damage.
 *
 * TVT_DIRECTORY returns the section directory, in file order: `id`, `name` and `title` (null for an id
 * without a reader), `offset`, `size`, `levels` (0 for an id without a reader), and `readable`, whether the
 * exports find the section by this entry. */

/* The next level of a section: a table that lives as long as `table`, or longer with a tvt_Retain of its own.
 * Null where there is no further level. */
TVT_API TvtTable* tvt_Below(const TvtTable* table);

/* --- Columns: of symbols, column 0 is `symbol` and the others follow by field id. */

enum {
    TVT_NULL = 0, /* nothing but nulls; no values */
    TVT_BOOL,     /* a bit each, the lowest bit of a byte first */
    TVT_INT8,
    TVT_INT16,
    TVT_INT32,
    TVT_INT64,
    TVT_UINT8,
    TVT_UINT16,
    TVT_UINT32,
    TVT_UINT64,
    TVT_FLOAT,
    TVT_DOUBLE,
    TVT_DATE,   /* int32_t: days since 1970-01-01 */
    TVT_TEXT,   /* valid UTF-8 */
    TVT_BINARY, /* bytes of any length */
    TVT_FIXED,  /* `width` bytes each */
    TVT_LIST    /* unsigned numbers of `width` bytes (1 or 2) */
};

/* A column in memory. Pointers live as long as the table. */
typedef struct TvtColumn {
    const char* name; /* the dictionary's name, else the id as a number; unique in the table */
    uint16_t fieldId; /* of a symbol's field; 0 for all other columns */
    uint8_t tag;      /* of a symbol's field: the tag that the column's type was taken from; else 0 */
    uint8_t type;     /* TVT_NULL ... TVT_LIST, of the values */
    uint32_t width;   /* bytes of a value, of TVT_LIST an element; 0 for TVT_NULL, TVT_BOOL, TVT_TEXT and
                         TVT_BINARY */
    int64_t rows;
    int64_t nulls;
    const uint8_t* validity; /* a bit for each row, 0 for null; null pointer where nulls is 0 */
    const uint8_t*
        own; /* a bit for each row, 1 for a value of the record's own; null without TVT_OWN_FLAGS */
    const void* values;     /* fixed widths: rows * width bytes. Text and binary: the bytes of all values.
                               TVT_BOOL: bits. TVT_LIST: the elements of all lists */
    const int32_t* offsets; /* text and binary: value i is bytes offsets[i] to offsets[i + 1] of `values`.
                               TVT_LIST: value i is elements offsets[i] to offsets[i + 1] */
    const int32_t*
        indices; /* an Arrow dictionary: row r holds value indices[r]; else null, row r holds value r */
    int64_t dictionarySize; /* values of the dictionary; without one, rows */
    uint64_t conflicts;     /* values that are null because they cannot be of this type */
    uint64_t impossible;    /* values that are null because they have no meaning as this type */
    uint64_t repeated;      /* values left out because the record delivered one of this field before */
} TvtColumn;

/* TVT_ERR_PARAM for an index outside 0 to columns - 1. */
TVT_API int32_t tvt_GetColumn(const TvtTable* table, int32_t index, TvtColumn* column);

/* The index of the column with this name, -1 if there is none. */
TVT_API int32_t tvt_ColumnNamed(const TvtTable* table, const char* name);

/* The index of the column of this field, -1 if there is none. */
TVT_API int32_t tvt_ColumnOfField(const TvtTable* table, uint16_t fieldId);

/* The bytes of a cell of a text or binary column, dictionary or not; they are not ended by a zero byte.
 * Returns null, *length 0, for a null cell, a row or column that does not exist and other types. */
TVT_API const char* tvt_Text(const TvtTable* table, int32_t column, int64_t row, size_t* length);

/* --- Lookup: by symbol, byte for byte, in a table of symbols; for other tables these return TVT_ERR_PARAM or
 * null. The hash index (11 to 21 bytes a row, 4 more where symbols repeat) is
 * built by the first tvt_Find or tvt_FindAll, the sorted index (12 bytes a row) by the first tvt_Prefix or
 * tvt_Sorted, once for a table whatever the threads; tvt_BuildIndexes builds both ahead. Once an index is
 * built no call takes a lock. */

/* The first row with this symbol, -1 if there is none, TVT_ERR_NO_MEMORY where the index cannot be built.
 */
TVT_API int64_t tvt_Find(const TvtTable* table, const char* symbol, size_t length);

/* All rows with this symbol, ascending: up to `capacity` of them go to `rows`. Returns how many there are. */
TVT_API int64_t tvt_FindAll(const TvtTable* table, const char* symbol, size_t length, int64_t* rows,
                            int64_t capacity);

/* The rows whose symbol begins with `prefix`, sorted by the symbol's bytes, equal ones by row. Skips the
 * first `skip` of them and writes up to `capacity` to `rows`. Returns how many rows have the prefix in all.
 */
TVT_API int64_t tvt_Prefix(const TvtTable* table, const char* prefix, size_t length, int64_t skip,
                           int64_t* rows, int64_t capacity);

/* All rows in the order of tvt_Prefix: an array of as many row numbers as there are rows, which lives as long
 * as the table. Null where there are no rows and where memory ran out. */
TVT_API const uint32_t* tvt_Sorted(const TvtTable* table);

/* Builds both indexes now. TVT_OK, TVT_ERR_PARAM or TVT_ERR_NO_MEMORY. */
TVT_API int32_t tvt_BuildIndexes(const TvtTable* table);

/* --- Arrow. What is exported stays valid after the table was released, and is freed by its own release
 * function. The schema is a struct with the columns as its children; the field id and the tag of a symbol's
 * field are in the metadata of its column as "torva.field" and "torva.tag". These functions return TVT_OK,
 * TVT_ERR_PARAM or TVT_ERR_NO_MEMORY, and after an error nothing has to be released. */

TVT_API int32_t tvt_ExportSchema(const TvtTable* table, struct ArrowSchema* schema, TvtError* error);

/* The whole table as one struct array, which shares the table's memory. */
TVT_API int32_t tvt_ExportArray(const TvtTable* table, struct ArrowArray* array, struct ArrowSchema* schema,
                                TvtError* error);

/* The same with all levels below in one: each as a list of structs after the columns of the level above,
 * named as TvtReport.name names it and without its `parent`. For a table without a level below as
 * tvt_ExportArray. */
TVT_API int32_t tvt_ExportNested(const TvtTable* table, struct ArrowArray* array, struct ArrowSchema* schema,
                                 TvtError* error);

/* The whole table in batches of `batchRows` rows, 0 for one batch; they share the table's memory. */
TVT_API int32_t tvt_ExportStream(const TvtTable* table, uint32_t batchRows, struct ArrowArrayStream* stream,
                                 TvtError* error);

/* Reads the symbols of a file in batches, with memory for one batch at a time whatever the size of the file.
 * The file stays open, shared, until the stream is released. It is read twice: the first time for the types
 * of its columns. Texts are never Arrow dictionaries. A damaged file ends as a load of it; get_next then
 * fails with EIO after the last whole row, and get_last_error describes the damage. Other sections are loaded
 * whole. Returns what tvt_Load does. */
TVT_API int32_t tvt_OpenStream(const char* path, const TvtOptions* options, struct ArrowArrayStream* stream,
                               TvtError* error);

/* --- Tables that follow their file */

/* A file and the table that was last loaded from it. Any function may be called by any thread at any time; a
 * load keeps no one from the table before it. */
typedef struct TvtWatch TvtWatch;

/* Loads the file as tvt_Load and follows it. What the options point to must outlive the watch.
 * Returns what tvt_Load does, with null in *watch after an error. */
TVT_API int32_t tvt_OpenWatch(const char* path, const TvtOptions* options, TvtWatch** watch, TvtError* error);

/* The table of the moment, with a reference of its own: to be released with tvt_Release. It stays what it is
 * whatever becomes of the file and of the watch. Null only for a null watch. */
TVT_API TvtTable* tvt_WatchGet(const TvtWatch* watch);

/* Loads the file again where it was replaced or rewritten, by its size and the time of its last change.
 * Returns 1 for a new table, 0 where the file did not change, and what tvt_Load returns where it cannot be
 * loaded: then the table stays what it was, and the next call tries again. */
TVT_API int32_t tvt_WatchRefresh(TvtWatch* watch, TvtError* error);

/* Frees the watch; tables that it returned stay. Null is ignored. */
TVT_API void tvt_CloseWatch(TvtWatch* watch);

/* --- Writing */

/* Writes the symbols of a stream as the symbol file `path` (UTF-8). Everything else in the file `base`, its
 * default fields and other sections, is copied byte for byte; `base` may be `path`, or null for a file with
 * symbols alone. The file takes the place of an older one when it is complete; until then, and after an
 * error, the older one is what it was.
 *
 * The stream has a column `symbol` of texts, and a column for each field: of integers, floats, texts, bytes,
 * bools or days, with or without an Arrow dictionary. A column's field id is its metadata "torva.field",
 * else what the dictionary of the options has for its name, else its name as a number; its tag is the
 * metadata "torva.tag", else that of the dictionary, of the base's default field, or the usual one for the
 * type. A value that does not fit the tag is an error. A record carries the fields, ascending by id, whose
 * values differ from the base's default field or, in a column NAME, whose flag in a bool column NAME.own is
 * set; null in place of a default field is written as a field without a value (tag 0).
 *
 * So a table that was loaded with TVT_OWN_FLAGS, exported as a stream and written with its file as the base
 * loads as the same table; the file is the same byte for byte where its records carry each field once,
 * ascending by id. What tables do not hold (`repeated` values, `conflicts`, `impossible` values, records
 * after damage) is not written.
 *
 * The stream is released, whatever the result. Of the options `dictionary`, `encoding` and `flags` are used.
 * Returns TVT_OK; TVT_ERR_PARAM for a column or value that cannot be written and a stream that fails;
 * TVT_ERR_OPEN, TVT_ERR_NO_MEMORY; TVT_ERR_FORMAT for a base without symbol section; TVT_ERR_LIMIT for a file
 * of 4 GiB or more. */
TVT_API int32_t tvt_Write(const char* path, const char* base, struct ArrowArrayStream* symbols,
                          const TvtOptions* options, TvtError* error);

#ifdef __cplusplus
}
#endif

#endif
