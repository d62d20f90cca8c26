// A table's rows, as filtered and sorted, as CSV, NDJSON or Parquet.

import { parquetWriteBuffer } from "hyparquet-writer";
import type { ExportFormat } from "../protocol";
import { hexText, type Value } from "./columns";
import type { Table, TableColumn } from "./table";

const piece = 1 << 20; // characters collected before they become part of the file

export function exportTable(table: Table, format: ExportFormat, keys: string[]): Blob {
    const chosen = keys.map((key) => table.byKey.get(key)).filter((column) => column !== undefined);
    const columns = uniqueTitles(chosen.length > 0 ? chosen : table.columns);
    const rows = table.rowList();
    switch (format) {
        case "csv":
            return textBlob("text/csv", csvLines(columns, rows));
        case "ndjson":
            return textBlob("application/x-ndjson", jsonLines(columns, rows));
        case "parquet":
            return parquetBlob(columns, rows);
    }
}

// A name that occurs again is followed by its key, so that no column overwrites another.
function uniqueTitles(columns: TableColumn[]): TableColumn[] {
    const seen = new Set<string>();
    return columns.map((column) => {
        const title = seen.has(column.title) ? `${column.title} (${column.key})` : column.title;
        seen.add(title);
        return { ...column, title };
    });
}

function textBlob(type: string, lines: Iterable<string>): Blob {
    const parts: Blob[] = [];
    let text = "";
    for (const line of lines) {
        text += line;
        if (text.length > piece) {
            parts.push(new Blob([text]));
            text = "";
        }
    }
    return new Blob([...parts, text], { type });
}

// Spreadsheets evaluate texts that begin like a formula; a leading apostrophe prevents it.
export function csvCell(text: string, isText: boolean): string {
    const safe = isText && /^[=+\-@\t\r]/.test(text) ? "'" + text : text;
    return /[",\r\n]|^\s|\s$/.test(safe) ? `"${safe.replaceAll('"', '""')}"` : safe;
}

function* csvLines(columns: TableColumn[], rows: Uint32Array): Generator<string> {
    yield columns.map(({ title }) => csvCell(title, true)).join(",") + "\r\n";
    for (const row of rows) {
        yield columns
            .map(({ column }) => csvCell(column.text(row), column.isText && column.type !== "hex"))
            .join(",") + "\r\n";
    }
}

// Integers that JavaScript and jq would round become strings.
export function jsonValue(value: Value): unknown {
    if (typeof value === "bigint") {
        return value >= -9007199254740991n && value <= 9007199254740991n ? Number(value) : String(value);
    }
    if (value instanceof Uint8Array) return "0x" + hexText(value);
    if (typeof value === "number" && !Number.isFinite(value)) return String(value);
    return value;
}

function jsonBool(value: Value): unknown {
    return value == 0 || value == 1 ? value == 1 : jsonValue(value);
}

function* jsonLines(columns: TableColumn[], rows: Uint32Array): Generator<string> {
    for (const row of rows) {
        const object: [string, unknown][] = columns.map(({ title, type, column }) => [
            title,
            column.isNull(row) ? null : type === "date" ? column.text(row) : type === "bool" ? jsonBool(column.value(row)) : jsonValue(column.value(row)),
        ]);
        yield JSON.stringify(Object.fromEntries(object)) + "\n";
    }
}

function parquetBlob(columns: TableColumn[], rows: Uint32Array): Blob {
    const columnData = columns.map(({ title, type, column }) => {
        const data: unknown[] = Array.from(rows, (row) => {
            const value = column.value(row);
            if (value === null || value instanceof Uint8Array) return value;
            if (Array.isArray(value)) return value.join(" ");
            if (type === "date") return isoDate(column.text(row));
            if (column.place.width === 8 && column.place.kind !== "float") return BigInt(value);
            return value;
        });
        return { name: title, data, nullable: true, type: parquetType(type, column.isText, column) };
    });
    return new Blob([parquetWriteBuffer({ columnData } as Parameters<typeof parquetWriteBuffer>[0])], {
        type: "application/vnd.apache.parquet",
    });
}

// A number that is not a calendar date is null in a column of dates.
function isoDate(text: string): Date | null {
    return text.includes("-") ? new Date(text + "T00:00:00Z") : null;
}

function parquetType(type: string, isText: boolean, column: TableColumn["column"]): string {
    if (type === "date") return "TIMESTAMP";
    if (isText) return type === "hex" ? "BYTE_ARRAY" : "STRING";
    if (column.isList) return column.place.name === "#" ? "INT32" : "STRING";
    if (column.place.kind === "float") return "DOUBLE";
    return column.place.width >= 4 ? (column.place.width === 8 ? "INT64" : "DOUBLE") : "INT32";
}
