// The messages between the page and its worker. The page asks by method name and gets one reply; the worker
// owns the files, and only what is on screen crosses over. Everything here is plain data.

// The file being looked at, and the one it is compared with.
export type Slot = 0 | 1;

// The sections that the page treats unlike the others.
export const defaultsSection = 1;
export const symbolsSection = 2;

export type ValueType = "text" | "unsigned" | "signed" | "float" | "date" | "bool" | "hex";
export const valueTypes: readonly ValueType[] = ["text", "unsigned", "signed", "float", "date", "bool", "hex"];

export interface DictionaryEntry {
    name: string;
    type: ValueType;
    tag?: number;
}
// Field id to name and type, as in FILE.fields.json.
export type Dictionary = Record<string, DictionaryEntry>;

export interface LevelInfo {
    name: string; // plural: "groups"
    rows: number;
}

export interface SectionInfo {
    id: number;
    entry: number; // place in the section directory, from 0
    entryBytes: Extent; // of the directory
    name: string; // "fund-companies"; empty for an id without a reader
    title: string;
    offset: number;
    size: number; // bytes from the section's id to its end
    names: boolean; // it maps ids to names
    readable: boolean; // the library finds it and can walk it
    damage: string[]; // what the walk reported, empty for a sound section
    levels: LevelInfo[];
}

export interface Finding {
    kind: string;
    section: number; // 0: the directory and the file as a whole
    offset: number | null;
    text: string;
}

// A row of a section's level.
export interface RowPlace {
    level: number;
    row: number;
}

// Bytes of the file.
export interface Extent {
    offset: number;
    size: number;
}

export interface Gap {
    offset: number;
    size: number;
    what: string;
}

export interface FieldInfo {
    id: number;
    name: string;
    type: ValueType;
    own: number; // symbols with a value of their own
    isDefault: boolean; // it has a default
    tags: number[];
}

export interface Overview {
    name: string;
    size: number;
    directorySize: number;
    sections: SectionInfo[];
    gaps: Gap[];
    problems: string[]; // of the directory and the file as a whole
    symbols: number;
    fields: FieldInfo[]; // by id
    openMs: number;
    memory: number; // bytes held by the reader, including the file
}

export interface CheckResult {
    findings: Finding[];
    total: number; // may exceed the number listed
}

// ---- tables

// The rows of a table. Level 0 is the section's outermost; `parent` selects the rows below one row of the level
// above.
export interface TableSource {
    slot: Slot;
    section: number; // 2: symbols
    level: number;
    parent?: number;
}

export type FilterOp = "contains" | "is" | "not" | "starts" | "least" | "most" | "own" | "default" | "none" | "any";

export interface Filter {
    column: string;
    op: FilterOp;
    value: string;
}

export interface Sort {
    column: string;
    descending: boolean;
}

export interface Query {
    source: TableSource;
    search: string;
    filters: Filter[];
    sort: Sort | null;
}

export type ColumnType = ValueType | "list";

export interface ColumnInfo {
    key: string; // stable: "symbol", "f7" for field 7, "id", "name", "#" for the row's place in the file
    title: string;
    type: ColumnType;
    numeric: boolean; // aligned right
}

export interface TableInfo {
    columns: ColumnInfo[];
    total: number; // rows of the source
    rows: number; // rows that match so far
    done: boolean; // false: the search has not seen all rows; the next call continues it
    head: RowWindow; // the first rows
    ms: number;
}

// Rows that come with a table's description.
export const headRows = 128;

// Where a cell's value comes from.
export const CellState = { none: 0, own: 1, default: 2, odd: 3 } as const;

// `rows` are places in the file's order. cells[column][row].
export interface RowWindow {
    first: number;
    rows: number[];
    cells: string[][];
    states: number[][];
}

// One value of a record, with the bytes that it came from.
export interface DetailField {
    id: number;
    name: string;
    type: string;
    tag: number;
    value: string;
    isDefault: boolean;
    problem: string; // with the value; empty for none
    offset: number; // of its id in the file
    size: number; // with its id and tag
    payload: Extent;
}

export interface RecordDetail {
    row: number;
    title: string;
    offset: number; // of the record in the file, its size field included
    size: number;
    fields: DetailField[];
}

// ---- charts

export interface Bar {
    label: string; // the value, or the start of the range
    count: number;
    filter: Filter | null; // selects these rows
    name?: string; // of the value, from a section of names
}

export interface Distribution {
    column: ColumnInfo;
    total: number;
    missing: number;
    distinct: number;
    least: string;
    most: string;
    top: Bar[]; // most frequent first
    bins: Bar[]; // in order of value; empty for texts
    binUnit: string; // "year", "month", or empty
    names: number; // section that the names come from, 0 for none
}

// ---- compare

export type ChangeKind = "added" | "removed" | "changed";

export interface CompareSection {
    id: number;
    title: string;
    added: number;
    removed: number;
    changed: number;
    same: number;
}

export interface CompareSummary {
    name: string; // of the second file
    size: number;
    sections: CompareSection[];
    damage: string[]; // of either file; what it hides appears as removed or added
    fields: { id: number; name: string; changed: number }[]; // of the symbols
}

export interface CompareQuery {
    section: number;
    kinds: ChangeKind[];
    field: number | null; // symbols only: those in which this field changed
    search: string;
}

export interface Change {
    kind: ChangeKind;
    key: string;
    before: number; // row, or -1
    after: number;
    cells: { name: string; before: string; after: string }[];
}

export interface ChangeWindow {
    first: number;
    total: number;
    changes: Change[];
}

export type ExportFormat = "csv" | "ndjson" | "parquet";

// ---- the methods

export interface Methods {
    open(slot: Slot, file: Blob, name: string): Overview;
    close(slot: Slot): null;
    check(slot: Slot): CheckResult;
    setDictionary(slot: Slot, dictionary: Dictionary): FieldInfo[];
    inferDictionary(slot: Slot): Dictionary;
    // Reads every section for its rows and its damage.
    survey(slot: Slot): SectionInfo[];
    table(query: Query): TableInfo;
    rows(query: Query, first: number, count: number): RowWindow;
    detail(slot: Slot, row: number): RecordDetail;
    // The position of a row in the filtered and sorted table; -1 if it is not there.
    place(query: Query, row: number): number;
    // The row of the level above that a row belongs to; -1 on the first level.
    parent(slot: Slot, section: number, level: number, row: number): number;
    // The innermost row of a section whose element holds this offset, or after the last element that one. Null in
    // the section's head, and where damage hides the place.
    rowAt(slot: Slot, section: number, offset: number): RowPlace | null;
    // The bytes of a row's element, symbols excepted (see detail).
    element(slot: Slot, section: number, level: number, row: number): Extent | null;
    bytes(slot: Slot, offset: number, size: number): Uint8Array;
    // `names`: the section whose names are shown beside the values; 0 for none, -1 for the one that the column's
    // title suggests.
    distribution(query: Query, column: string, names: number): Distribution;
    compare(): CompareSummary;
    changes(query: CompareQuery, first: number, count: number): ChangeWindow;
    // Exports the columns with these keys, in this order.
    export(query: Query, format: ExportFormat, columns: string[]): Blob;
}

export type Method = keyof Methods;

export interface Request {
    id: number;
    method: Method;
    args: unknown[];
}

export type Message =
    | { type: "reply"; id: number; value: unknown }
    | { type: "error"; id: number; message: string }
    | { type: "progress"; what: string; done: number } // 0 to 1
    | { type: "ready" };
