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
 * VALUES
 *
 * A table holds what the exports of TorvaAPI.h deliver for the same file, record by record. A cell holds the
 * first value that a record delivers for its field; later ones of the same id are counted as `repeated`. A
 * record without a value of a field gets the file's default field, or null. A value that cannot be of the
 * column's type is null and counted as a `conflict`; one that can, but has no meaning there (a date of month
 * 13, a bool of 7), is null and counted as `impossible`.
 *
 *
 * DAMAGE
 *
 * Rows that the exports complete are kept; the first record that they do not complete ends the table and is
 * described in the TvtReport. A file that cannot be opened, or whose default fields are cut off, is not
 * loaded at all.
 *
 *
 * MEMORY
 *
 * A load stops with TVT_ERR_LIMIT before its columns take more than TvtOptions.memoryLimit bytes, by default
 * 64 times the size of the file plus 64 MiB.
 *
 *
 * THREADS
 *
 * Any number of threads may read a TvtTable at once without a lock. All functions may be called from any
 * thread. Objects other than tables and watches are used by one thread at a time.
 *
 *
 * OWNERSHIP AND LIFETIME
 *
 * Arguments belong to the caller, and nothing that they point to is needed after the call, unless stated
 * otherwise. Tables, watches, and exported arrays, schemas and streams belong to the caller, who releases
 * each with its own function. Texts and pointers that a table returns live as long as the table.
 *
 *
 * RESULTS
 *
 * Functions that can fail return TVT_OK or a negative TVT_ERR_ code and, where `error` is not null, describe
 * the failure there: file, section, offset and what was wrong. After an error there is nothing to release.
 * TVT_ERR_PARAM is also the result of a null pointer where the function has something to read or write; only
 * `options`, `error`, the `length` of tvt_Text and the `schema` of an export may be null.
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
    uint32_t threads;       /* threads that load at once, 1 to 64; 0: 1. The result does not depend on it */
    const char* dictionary; /* path of a JSON file with names and types of fields; null: FILE.fields.json
                               beside the symbol file, where there is one */
    const char* encoding;   /* character set of the texts, a name that iconv knows; null: UTF-8. Tables hold
                               UTF-8; a column with a text that is not valid in the character set is binary,
                               with the bytes of the file */
    uint64_t memoryLimit;   /* bytes of all columns; 0: 64 times the size of the file plus 64 MiB */
    uint32_t batchRows;     /* rows of a batch of a stream; 0: 65,536 */
    uint32_t section;       /* TVT_SYMBOLS, TVT_DIRECTORY, or the id of another section (see "Sections"), for
                               which only `encoding` and `memoryLimit` of the options above have an effect */
} TvtOptions;

/* Fills in the defaults: the symbols, every field, one thread. A null pointer has no effect. */
TVT_API void tvt_InitOptions(TvtOptions* options);

/* Loads the symbols, or the section that the options name, of a file.
 *
 * Parameters:
 *   path     the file's path, in UTF-8. The file is opened shared and closed before the call returns
 *   options  null for the defaults
 *   table    receives the table, null after an error
 * Returns: TVT_OK.
 * Errors: TVT_ERR_OPEN, TVT_ERR_PARAM (also for the id of a section that no file has), TVT_ERR_NO_MEMORY,
 * TVT_ERR_FORMAT, TVT_ERR_LIMIT.
 * Lifetime: the table is the caller's, until tvt_Release. */
TVT_API int32_t tvt_Load(const char* path, const TvtOptions* options, TvtTable** table, TvtError* error);

/* Loads a file from `size` bytes in memory. Otherwise as tvt_Load. */
TVT_API int32_t tvt_LoadBytes(const void* bytes, size_t size, const TvtOptions* options, TvtTable** table,
                              TvtError* error);

/* Loads a file from an open file descriptor, on Windows a HANDLE. The library takes it over and closes it,
 * whatever the result; its file position is neither used nor moved. Otherwise as tvt_Load. */
TVT_API int32_t tvt_LoadDescriptor(intptr_t descriptor, const TvtOptions* options, TvtTable** table,
                                   TvtError* error);

/* Adds a reference to a table.
 * Returns: `table`, null for null. */
TVT_API TvtTable* tvt_Retain(TvtTable* table);

/* Drops a reference; the last one frees the table. A null pointer has no effect. */
TVT_API void tvt_Release(TvtTable* table);

/* How the load went. Texts live as long as the table. */
typedef struct TvtReport {
    int64_t rows;
    int32_t columns;       /* with the symbol column, without those of TVT_OWN_FLAGS */
    int32_t damage;        /* 0: the table is complete; else the code with which an export ends that walk:
                              SYM_END_OF_DATA (-6), SYM_ERR_BUFFER_TOO_SMALL (-8), SYM_ERR_FORMAT (-9),
                              SYM_ERR_NO_SECTION (-10), SYM_ERR_READ (-12), or in another section SYM_ERR_PARAM
                              (-2) */
    uint64_t damageOffset; /* where the damage is, from the start of the file; of symbols, the start of the
                              record that could not be completed */
    const char* message; /* UTF-8: what was damaged; for sections other than the symbols also, with damage 0,
                            sizes and counts that do not match what was found. Else empty */
    const char* name;    /* of the rows: "symbols", "groups", ... */
    int32_t section;     /* id; TVT_DIRECTORY for the section directory */
    int32_t level;       /* 0 for the symbols, the directory and the first level of a section */
    uint64_t bytes;      /* memory that the table's columns take */
    uint64_t conflicts;  /* sums over the columns */
    uint64_t impossible;
    uint64_t repeated;
} TvtReport;

/* Writes the report of a table's load to *report. */
TVT_API void tvt_GetReport(const TvtTable* table, TvtReport* report);

/* --- Sections
 *
 * With TvtOptions.section a load returns any section: its first level as a table, and the levels below it
 * through tvt_Below. Rows are those that the exports of the section deliver, in their order. The columns of a
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

/* Returns: the next level of a section, null where there is no further level.
 * Lifetime: as long as `table`, or longer with a tvt_Retain of its own. */
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
    const uint8_t* own;     /* a bit for each row, 1 for the record's own value; null without TVT_OWN_FLAGS */
    const void* values;     /* fixed widths: rows * width bytes. Text and binary: the bytes of all values.
                              TVT_BOOL: bits. TVT_LIST: the elements of all lists */
    const int32_t* offsets; /* text and binary: value i is bytes offsets[i] to offsets[i + 1] of `values`.
                               TVT_LIST: value i is elements offsets[i] to offsets[i + 1] */
    const int32_t* indices; /* Arrow dictionary: row r holds value indices[r]. Null: row r holds value r */
    int64_t dictionarySize; /* values of the dictionary; without one, rows */
    uint64_t conflicts;     /* values that are null because they cannot be of this type */
    uint64_t impossible;    /* values that are null because they have no meaning as this type */
    uint64_t repeated;      /* values left out because the record delivered one of this field before */
} TvtColumn;

/* Describes a column.
 *
 * Parameters:
 *   index   0 to TvtReport.columns - 1
 *   column  receives the description; its pointers live as long as the table
 * Returns: TVT_OK.
 * Errors: TVT_ERR_PARAM, also for an index out of range. */
TVT_API int32_t tvt_GetColumn(const TvtTable* table, int32_t index, TvtColumn* column);

/* Returns: the index of the column with this name, -1 if there is none. */
TVT_API int32_t tvt_ColumnNamed(const TvtTable* table, const char* name);

/* Returns: the index of the column of this field, -1 if there is none. */
TVT_API int32_t tvt_ColumnOfField(const TvtTable* table, uint16_t fieldId);

/* Finds the bytes of a cell of a text or binary column, whether or not it is an Arrow dictionary.
 *
 * Parameters:
 *   length  receives the number of bytes, 0 where the result is null
 * Returns: the bytes, without a zero byte at their end; null for a null cell, a row or column that does not
 * exist, and other types.
 * Lifetime: as long as the table. */
TVT_API const char* tvt_Text(const TvtTable* table, int32_t column, int64_t row, size_t* length);

/* --- Lookup: by symbol, byte for byte, in a table of symbols. The first tvt_Find or tvt_FindAll builds the
 * hash index (11 to 21 bytes a row, 4 more where symbols repeat), the first tvt_Prefix or tvt_Sorted the
 * sorted index (12 bytes a row); tvt_BuildIndexes builds both ahead. An index is built once for a table,
 * whatever the threads. After that no call takes a lock.
 *
 * Errors of all these functions: TVT_ERR_PARAM for a table of anything else, TVT_ERR_NO_MEMORY where the
 * index cannot be built. */

/* Returns: the first row with this symbol (`length` bytes), -1 if there is none. */
TVT_API int64_t tvt_Find(const TvtTable* table, const char* symbol, size_t length);

/* Finds all rows with a symbol.
 *
 * Parameters:
 *   symbol    `length` bytes
 *   rows      receives the first `capacity` of the rows, ascending; may be null with a capacity of 0
 * Returns: how many rows have the symbol, in all. */
TVT_API int64_t tvt_FindAll(const TvtTable* table, const char* symbol, size_t length, int64_t* rows,
                            int64_t capacity);

/* Finds the rows whose symbol begins with a prefix, sorted by the symbol's bytes, equal ones by row.
 *
 * Parameters:
 *   prefix    `length` bytes
 *   skip      how many of the rows to leave out, from the first
 *   rows      receives up to `capacity` rows after those; may be null with a capacity of 0
 * Returns: how many rows have the prefix, in all. */
TVT_API int64_t tvt_Prefix(const TvtTable* table, const char* prefix, size_t length, int64_t skip,
                           int64_t* rows, int64_t capacity);

/* Returns: all rows in the order of tvt_Prefix, an array of as many row numbers as there are rows; null where
 * there are no rows, and after an error.
 * Lifetime: as long as the table. */
TVT_API const uint32_t* tvt_Sorted(const TvtTable* table);

/* Builds both indexes now.
 * Returns: TVT_OK. */
TVT_API int32_t tvt_BuildIndexes(const TvtTable* table);

/* --- Arrow. What is exported stays valid after the table was released, and is freed by its own release
 * function. The schema is a struct with the columns as its children; the field id and the tag of a symbol's
 * field are in the metadata of its column as "torva.field" and "torva.tag".
 *
 * Returns, for all these functions: TVT_OK.
 * Errors: TVT_ERR_PARAM, TVT_ERR_NO_MEMORY. */

TVT_API int32_t tvt_ExportSchema(const TvtTable* table, struct ArrowSchema* schema, TvtError* error);

/* Exports the whole table as one struct array, which shares the table's memory. */
TVT_API int32_t tvt_ExportArray(const TvtTable* table, struct ArrowArray* array, struct ArrowSchema* schema,
                                TvtError* error);

/* Exports all levels of a section in one struct array: each level as a list of structs after the columns of
 * the level above, under the name in its TvtReport and without its `parent`. Without a level below, as
 * tvt_ExportArray. */
TVT_API int32_t tvt_ExportNested(const TvtTable* table, struct ArrowArray* array, struct ArrowSchema* schema,
                                 TvtError* error);

/* Exports the whole table in batches of `batchRows` rows, 0 for one batch. They share the table's memory. */
TVT_API int32_t tvt_ExportStream(const TvtTable* table, uint32_t batchRows, struct ArrowArrayStream* stream,
                                 TvtError* error);

/* Reads the symbols of a file in batches, with memory for one batch at a time whatever the size of the file.
 * The file is read twice, the first time for the types of its columns. Texts are never Arrow dictionaries. A
 * damaged file ends as a load of it: get_next fails with EIO after the last complete row, and get_last_error
 * describes the damage. Other sections are loaded whole.
 *
 * Parameters: those of tvt_Load.
 * Returns: TVT_OK.
 * Errors: those of tvt_Load.
 * Lifetime: the file stays open, shared, until the stream is released. */
TVT_API int32_t tvt_OpenStream(const char* path, const TvtOptions* options, struct ArrowArrayStream* stream,
                               TvtError* error);

/* --- Tables that follow their file */

/* A file and the table that was last loaded from it. Any function may be called by any thread at any time;
 * while a load runs, the others still get the previous table. */
typedef struct TvtWatch TvtWatch;

/* Loads a file and follows it.
 *
 * Parameters: those of tvt_Load; what the options point to must outlive the watch.
 * Returns: TVT_OK and a watch in *watch, which is null after an error.
 * Errors: those of tvt_Load.
 * Lifetime: the watch is the caller's, until tvt_CloseWatch. */
TVT_API int32_t tvt_OpenWatch(const char* path, const TvtOptions* options, TvtWatch** watch, TvtError* error);

/* Returns: the current table, with a reference of its own; null only for a null watch.
 * Lifetime: until tvt_Release, whatever happens to the file and the watch. */
TVT_API TvtTable* tvt_WatchGet(const TvtWatch* watch);

/* Loads the file again if it was replaced or rewritten, which its size and the time of its last change show.
 * Returns: 1 for a new table, 0 if the file did not change.
 * Errors: those of tvt_Load. The table then stays as it was, and the next call tries again. */
TVT_API int32_t tvt_WatchRefresh(TvtWatch* watch, TvtError* error);

/* Frees the watch; tables that it returned stay valid. A null pointer has no effect. */
TVT_API void tvt_CloseWatch(TvtWatch* watch);

/* --- Writing */

/* Writes the symbols of a stream to a symbol file.
 *
 * Parameters:
 *   path     the file to write, in UTF-8. It replaces an older file when it is complete; until then, and
 *            after an error, the older one is unchanged
 *   base     a file from which everything else, its default fields and other sections, is copied byte for
 *            byte; it may be `path`. Null for a file with symbols alone
 *   symbols  the stream; released whatever the result
 *   options  only `dictionary`, `encoding` and `flags` are used; null for the defaults
 *
 * The stream has a column `symbol` of texts, and a column for each field: of integers, floats, texts, bytes,
 * bools or days, with or without an Arrow dictionary. A column's field id is its metadata "torva.field",
 * else what the dictionary of the options has for its name, else its name as a number; its tag is the
 * metadata "torva.tag", else that of the dictionary, of the base's default field, or the usual one for the
 * type. A value that does not fit the tag is an error. A record carries the fields, ascending by id, whose
 * values differ from the base's default field or, in a column NAME, whose flag in a bool column NAME.own is
 * set; null in place of a default field is written as a field without a value (tag 0).
 *
 * Therefore a table that was loaded with TVT_OWN_FLAGS, exported as a stream and written with its file as the
 * base loads as the same table; the file is the same byte for byte if its records carry each field once,
 * ascending by id. What tables do not hold (`repeated` values, `conflicts`, `impossible` values, records
 * after damage) is not written.
 *
 * Returns: TVT_OK.
 * Errors: TVT_ERR_PARAM for a column or value that cannot be written and for a stream that fails,
 * TVT_ERR_OPEN, TVT_ERR_NO_MEMORY, TVT_ERR_FORMAT for a base without a symbol section, TVT_ERR_LIMIT for a
 * file of 4 GiB or more. */
TVT_API int32_t tvt_Write(const char* path, const char* base, struct ArrowArrayStream* symbols,
                          const TvtOptions* options, TvtError* error);

#ifdef __cplusplus
}
#endif

#endif
