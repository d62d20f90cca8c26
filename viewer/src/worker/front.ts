// The library in WebAssembly: the calls of viewer/wasm/Front.cpp with their results as values.

import type { Extent, RowPlace, Slot, ValueType } from "../protocol";
import { Column, type ColumnPlace } from "./columns";
import { typeOf } from "./fields";

// The module as Emscripten's loader returns it.
export interface Module {
    HEAPU8: Uint8Array;
    _view_alloc(size: number): number;
    _view_free(pointer: number): void;
    _view_open(slot: number, bytes: number, size: number): number;
    _view_close(slot: number): void;
    _view_symbols(slot: number): number;
    _view_retype(column: number, kind: number, bits: number): void;
    _view_section(slot: number, entry: number): number;
    _view_check(slot: number): number;
    _view_record(slot: number, row: number): number;
    _view_row_at(slot: number, section: number, offset: number): number;
    _view_element(slot: number, section: number, level: number, row: number): number;
    _view_result(): number;
    _view_result_size(): number;
    _view_sort(column: number, rows: number, count: number, descending: number): number;
    _view_runs(column: number, rows: number, count: number, starts: number): number;
    _view_search(
        columns: number,
        columnCount: number,
        needle: number,
        needleSize: number,
        match: number,
        rows: number,
        first: number,
        count: number,
        found: number,
    ): number;
}

export interface FrontSection {
    id: number;
    entry: number;
    entryBytes: Extent;
    name: string;
    title: string;
    offset: number;
    size: number;
    names: boolean;
    readable: boolean;
    note: string; // why it is not readable
}

export interface FrontOverview {
    directorySize: number;
    sections: FrontSection[];
    gaps: { offset: number; size: number; what: string }[];
    problems: { section: number; offset: number | null; text: string }[];
    textTag: number;
}

export interface FrontLevel {
    name: string; // plural
    singular: string;
    rows: number;
    parents: number; // address of each row's parent in the level above, u32; 0 on the first level
    columns: ColumnPlace[];
}

export interface FrontTable {
    levels: FrontLevel[];
    problems: string[];
}

export interface FrontSymbols {
    rows: number;
    starts: number; // address of the records' offsets in the file, u32, and of the end of the last
    columns: ColumnPlace[]; // the symbol first, then the fields by id
    fields: { id: number; own: number; isDefault: boolean; tags: number[]; type: ValueType }[];
    problems: string[];
}

export interface FrontRecord {
    offset: number;
    size: number;
    text: Extent; // the symbol
    fields: {
        id: number;
        tag: number;
        offset: number;
        size: number;
        isText: boolean;
        payload: Extent;
        isDefault: boolean;
        cut: boolean;
    }[];
}

export const match = { contains: 0, starts: 1, equals: 2 } as const;

const utf8 = new TextEncoder();
const decoder = new TextDecoder();

export class Front {
    constructor(private readonly module: Module) {}

    get buffer(): ArrayBufferLike {
        return this.module.HEAPU8.buffer;
    }

    alloc(size: number): number {
        const pointer = this.module._view_alloc(size);
        if (pointer === 0) throw new Error(`not enough memory for ${size.toLocaleString("en")} bytes`);
        return pointer;
    }

    free(pointer: number): void {
        this.module._view_free(pointer);
    }

    memory(pointer: number, size: number): Uint8Array {
        return this.module.HEAPU8.subarray(pointer, pointer + size);
    }

    words(pointer: number, count: number): Uint32Array {
        return new Uint32Array(this.buffer, pointer, count);
    }

    // The bytes must stay valid until the file is closed.
    open(slot: Slot, bytes: number, size: number): FrontOverview {
        return this.json(this.module._view_open(slot, bytes, size));
    }

    close(slot: Slot): void {
        this.module._view_close(slot);
    }

    symbols(slot: Slot): FrontSymbols {
        return this.json(this.module._view_symbols(slot));
    }

    section(slot: Slot, entry: number): FrontTable {
        return this.json(this.module._view_section(slot, entry));
    }

    check<T>(slot: Slot): T {
        return this.json(this.module._view_check(slot));
    }

    record(slot: Slot, row: number): FrontRecord {
        return this.json(this.module._view_record(slot, row));
    }

    rowAt(slot: Slot, section: number, offset: number): RowPlace | null {
        return this.json(this.module._view_row_at(slot, section, offset));
    }

    element(slot: Slot, section: number, level: number, row: number): Extent | null {
        return this.json(this.module._view_element(slot, section, level, row));
    }

    column(place: ColumnPlace): Column {
        return new Column(place, this);
    }

    // A symbol column read as the dictionary's type; the bytes are the same.
    typedColumn(place: ColumnPlace, type: ValueType | undefined): Column {
        const bits = place.bits ?? 0;
        if (place.kind !== "uint" || bits === 0) return this.column(place);
        const shown = typeOf(type, false, bits / 8);
        const kind = shown === "signed" ? "int" : shown === "float" ? "float" : "uint";
        this.module._view_retype(place.handle, { uint: 2, int: 3, float: 4 }[kind], bits);
        return new Column({ ...place, kind, type: shown, bits }, this);
    }

    // Sorts the rows in place. Those without a value come last; returns how many have one.
    sort(column: Column, rows: number, count: number, descending: boolean): number {
        return this.module._view_sort(column.place.handle, rows, count, descending ? 1 : 0);
    }

    // Where each run of equal values starts among rows that are sorted by the column.
    runs(column: Column, rows: number, count: number): Uint32Array {
        const starts = this.alloc(4 * Math.max(1, count));
        try {
            return this.words(starts, this.module._view_runs(column.place.handle, rows, count, starts)).slice();
        } finally {
            this.free(starts);
        }
    }

    // Writes the matching rows from `first` on to `found`, and returns their number. With `rows` 0, searches all rows in
    // file order.
    search(
        columns: readonly Column[],
        needle: string,
        how: number,
        rows: number,
        first: number,
        count: number,
        found: number,
    ): number {
        const handles = this.alloc(4 * Math.max(1, columns.length));
        this.words(handles, columns.length).set(columns.map((column) => column.place.handle));
        try {
            return this.withText(needle, (text, size) =>
                this.module._view_search(handles, columns.length, text, size, how, rows, first, count, found),
            );
        } finally {
            this.free(handles);
        }
    }

    private withText<T>(text: string, use: (pointer: number, size: number) => T): T {
        const bytes = utf8.encode(text);
        const pointer = this.alloc(bytes.length + 1);
        try {
            this.module.HEAPU8.set(bytes, pointer);
            return use(pointer, bytes.length);
        } finally {
            this.free(pointer);
        }
    }

    private json<T>(status: number): T {
        const text = decoder.decode(this.memory(this.module._view_result(), this.module._view_result_size()));
        if (status !== 0) throw new Error(text);
        return JSON.parse(text) as T;
    }
}
