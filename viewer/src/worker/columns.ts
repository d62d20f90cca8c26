// Columns in the WebAssembly module's memory, in Apache Arrow's layout, read one value at a time.
//
// The module's memory moves when it grows, so views of it are renewed whenever its buffer has changed.

import { CellState, type ColumnType } from "../protocol";

// The addresses of a column's parts, as the module reports them; 0 for an absent part.
export interface ColumnPlace {
    name: string;
    field: number; // id of the typed field that the column holds, 0 for other columns
    kind: "null" | "bool" | "int" | "uint" | "float" | "date" | "text" | "binary" | "fixed" | "list";
    type: ColumnType; // how values are shown
    width: number; // bytes of a value, of fixed width
    rows: number;
    validity: number; // a bit for each row, 0 for null
    own: number; // a bit for each row, 1 where the value is the record's own
    values: number;
    offsets: number;
    indices: number; // of a dictionary-encoded column: row r holds value indices[r]
    bits?: number; // of a typed field's number; fewer than `width` has where it is stored in 3 bytes
    key?: boolean; // part of an element's identity within its level
    handle: number; // of the column, for the module's operations
}

export interface Memory {
    readonly buffer: ArrayBufferLike;
}

class Views {
    private buffer: ArrayBufferLike | null = null;
    bytes: Uint8Array = new Uint8Array();
    data: DataView = new DataView(new ArrayBuffer(0));

    constructor(private readonly memory: Memory) {}

    refresh(): this {
        if (this.buffer !== this.memory.buffer) {
            this.buffer = this.memory.buffer;
            this.bytes = new Uint8Array(this.buffer);
            this.data = new DataView(this.buffer);
        }
        return this;
    }
}

const utf8 = new TextDecoder("utf-8", { fatal: true, ignoreBOM: true });

// Text for display. Invalid UTF-8 and control characters appear as \xHH, so that nothing is hidden.
export function displayText(bytes: Uint8Array): { text: string; odd: boolean } {
    let text: string;
    let odd = false;
    // A shared buffer cannot be decoded in place, and the copy is short.
    try {
        text = utf8.decode(bytes);
    } catch {
        odd = true;
        text = "";
        for (const byte of bytes) {
            text += byte >= 0x20 && byte < 0x7f ? String.fromCharCode(byte) : escapeByte(byte);
        }
        return { text, odd };
    }
    // eslint-disable-next-line no-control-regex
    if (/[\u0000-\u001f\u007f-\u009f]/.test(text)) {
        odd = true;
        // eslint-disable-next-line no-control-regex
        text = text.replace(/[\u0000-\u001f\u007f-\u009f]/g, (c) => escapeByte(c.charCodeAt(0)));
    }
    return { text, odd };
}

// Bytes of a text that are shown; a corrupt file may have texts of many megabytes.
const mostShown = 4096;

// The same for the screen: of a long text only the start.
export function shownText(bytes: Uint8Array): { text: string; odd: boolean } {
    if (bytes.length <= mostShown) return displayText(bytes);
    let end = mostShown;
    while (end > mostShown - 4 && ((bytes[end] ?? 0) & 0xc0) === 0x80) --end; // not within a character
    const { text, odd } = displayText(bytes.subarray(0, end));
    return { text: text + "…", odd };
}

function escapeByte(byte: number): string {
    return "\\x" + byte.toString(16).padStart(2, "0");
}

export function hexText(bytes: Uint8Array): string {
    let text = "";
    for (const byte of bytes) text += byte.toString(16).padStart(2, "0");
    return text;
}

// "2024-01-31" for 20240131; the number itself where it is not a calendar date.
export function dateText(value: number): string {
    const year = Math.floor(value / 10000);
    const month = Math.floor(value / 100) % 100;
    const day = value % 100;
    const date = new Date(Date.UTC(year, month - 1, day));
    if (year < 1000 || year > 9999 || date.getUTCMonth() !== month - 1 || date.getUTCDate() !== day) {
        return String(value);
    }
    return date.toISOString().slice(0, 10);
}

// Numbers above 1 stay numbers.
export function boolText(value: number | bigint): string {
    return value > 1 ? String(value) : String(value == 1);
}

const dayMs = 86_400_000;

export type Value = string | number | bigint | Uint8Array | number[] | null;

export class Column {
    private readonly views: Views;
    readonly type: ColumnType;

    constructor(
        readonly place: ColumnPlace,
        memory: Memory,
    ) {
        this.views = new Views(memory);
        this.type = place.type;
    }

    get length(): number {
        return this.place.rows;
    }

    private bit(bitmap: number, row: number): boolean {
        return ((this.views.refresh().bytes[bitmap + (row >> 3)] ?? 0) & (1 << (row & 7))) !== 0;
    }

    isNull(row: number): boolean {
        const { validity, kind } = this.place;
        return kind === "null" || (validity !== 0 && !this.bit(validity, row));
    }

    // CellState: from the record itself, from the default fields, or none.
    state(row: number): number {
        if (this.isNull(row)) return CellState.none;
        return this.place.own !== 0 && !this.bit(this.place.own, row) ? CellState.default : CellState.own;
    }

    // The index of a row's value among the values.
    private index(row: number): number {
        const { indices } = this.place;
        return indices === 0 ? row : this.views.refresh().data.getInt32(indices + row * 4, true);
    }

    // The bytes of a text or binary value.
    bytes(row: number): Uint8Array {
        const { offsets, values, kind, width } = this.place;
        const at = this.index(row);
        const { bytes, data } = this.views.refresh();
        if (kind === "fixed") return bytes.subarray(values + at * width, values + (at + 1) * width);
        return bytes.subarray(
            values + data.getUint32(offsets + at * 4, true),
            values + data.getUint32(offsets + at * 4 + 4, true),
        );
    }

    private scalar(row: number): number | bigint {
        const { values, kind, width } = this.place;
        const at = this.index(row);
        const { data } = this.views.refresh();
        const place = values + at * width;
        if (kind === "bool") return this.bit(values, at) ? 1 : 0;
        if (kind === "float") return width === 4 ? data.getFloat32(place, true) : data.getFloat64(place, true);
        const unsigned = kind === "uint";
        if (this.place.bits === 24 && !unsigned) return (data.getInt32(place, true) << 8) >> 8;
        switch (width) {
            case 1:
                return unsigned ? data.getUint8(place) : data.getInt8(place);
            case 2:
                return unsigned ? data.getUint16(place, true) : data.getInt16(place, true);
            case 4:
                return unsigned ? data.getUint32(place, true) : data.getInt32(place, true);
            default:
                return unsigned ? data.getBigUint64(place, true) : data.getBigInt64(place, true);
        }
    }

    get isText(): boolean {
        return this.place.kind === "text" || this.place.kind === "binary" || this.place.kind === "fixed";
    }

    get isList(): boolean {
        return this.place.kind === "list";
    }

    // Whether `number` orders the values.
    get isNumeric(): boolean {
        return !this.isText && !this.isList && this.place.kind !== "null";
    }

    list(row: number): number[] {
        const { offsets, values } = this.place;
        const { data } = this.views.refresh();
        const items: number[] = [];
        const end = data.getUint32(offsets + row * 4 + 4, true);
        for (let at = data.getUint32(offsets + row * 4, true); at < end; ++at) {
            items.push(data.getUint16(values + at * 2, true));
        }
        return items;
    }

    // A number for comparisons, dates as yyyymmdd; null for a missing value.
    number(row: number): number | null {
        if (this.isNull(row)) return null;
        const value = this.scalar(row);
        return this.place.kind === "date" ? yyyymmdd(Number(value)) : Number(value);
    }

    // The value itself, for exports.
    value(row: number): Value {
        if (this.isNull(row)) return null;
        if (this.isList) return this.list(row);
        if (this.isText) {
            if (this.type === "hex") return this.bytes(row).slice();
            const shown = displayText(this.bytes(row));
            return shown.text;
        }
        const value = this.scalar(row);
        return this.place.kind === "date" ? yyyymmdd(Number(value)) : value;
    }

    // The value as shown.
    text(row: number): string {
        if (this.isNull(row)) return "";
        if (this.isList) return this.list(row).join(" ");
        if (this.isText) {
            return this.type === "hex" ? "0x" + hexText(this.bytes(row)) : displayText(this.bytes(row)).text;
        }
        const value = this.scalar(row);
        if (this.type === "hex") return "0x" + hexText(littleEndian(BigInt(value), (this.place.bits ?? 0) / 8));
        if (this.place.kind === "date") return new Date(Number(value) * dayMs).toISOString().slice(0, 10);
        if (this.type === "date") return dateText(Number(value));
        if (this.type === "bool") return boolText(value);
        if (this.place.kind === "float" && this.place.width === 4) return shortestFloat(Number(value));
        return String(value);
    }

    // The value for the screen.
    shownText(row: number): string {
        return this.isText && this.type !== "hex" && !this.isNull(row) ? shownText(this.bytes(row)).text : this.text(row);
    }

    // CellState as shown, where invalid texts are marked.
    shownState(row: number): number {
        const state = this.state(row);
        if (state === CellState.none || !this.isText || this.type === "hex") return state;
        return shownText(this.bytes(row)).odd ? CellState.odd : state;
    }
}

function littleEndian(number: bigint, size: number): Uint8Array {
    return Uint8Array.from({ length: size }, (_, at) => Number((number >> BigInt(8 * at)) & 255n));
}

function yyyymmdd(days: number): number {
    const date = new Date(days * dayMs);
    return date.getUTCFullYear() * 10000 + (date.getUTCMonth() + 1) * 100 + date.getUTCDate();
}

// The fewest digits that parse as the same 4-byte float.
export function shortestFloat(value: number): string {
    if (!Number.isFinite(value)) return String(value);
    for (let digits = 1; digits <= 9; ++digits) {
        const text = String(Number(value.toPrecision(digits)));
        if (Math.fround(Number(text)) === value) return text;
    }
    return String(value);
}
