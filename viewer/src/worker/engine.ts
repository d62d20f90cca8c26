// Answers the page's requests: open files, their tables, and everything derived from these.

import type {
    CheckResult,
    ColumnInfo,
    Dictionary,
    Extent,
    FieldInfo,
    Method,
    Methods,
    Overview,
    Query,
    RowPlace,
    SectionInfo,
    Slot,
    TableSource,
} from "../protocol";
import { symbolsSection } from "../protocol";
import { Column, type Value } from "./columns";
import { Comparison } from "./compare";
import { inferDictionary } from "./dictionary";
import { distribution, suggestedNames, type Names } from "./distribution";
import { exportTable } from "./export";
import { FieldColumn, recordDetail } from "./fields";
import type { Front, FrontOverview, FrontSymbols, FrontTable } from "./front";
import { Table, type TableColumn } from "./table";

type Progress = (what: string, done: number) => void;

// The column "#": the position of a row in its section, from 1.
class RowNumberColumn extends Column {
    override isNull(): boolean {
        return false;
    }
    override state(): number {
        return 1;
    }
    override number(row: number): number {
        return row + 1;
    }
    override value(row: number): Value {
        return row + 1;
    }
    override text(row: number): string {
        return String(row + 1);
    }
    override shownState(): number {
        return 1;
    }
}

// An open file. Everything read from it is kept until it is closed.
export class OpenFile {
    readonly overview: Overview;
    dictionary: Dictionary = {};
    symbols: FrontSymbols | null = null;
    private readonly front: Front;
    private readonly sections = new Map<number, FrontTable>();
    private readonly tables = new Map<string, Table>();
    readonly directory: FrontOverview;

    constructor(
        front: Front,
        readonly slot: Slot,
        readonly bytes: number,
        readonly size: number,
        name: string,
    ) {
        this.front = front;
        const start = performance.now();
        this.directory = front.open(slot, bytes, size);
        const sections = this.directory.sections.map(
            (section): SectionInfo => ({
                ...section,
                damage: section.note === "" ? [] : [section.note],
                levels: [],
            }),
        );
        for (const { section, text } of this.directory.problems) {
            if (section !== 0) sections.find(({ id }) => id === section)?.damage.push(text);
        }
        this.overview = {
            name,
            size,
            directorySize: this.directory.directorySize,
            sections,
            gaps: this.directory.gaps,
            problems: this.directory.problems.filter(({ section }) => section === 0).map(({ text }) => text),
            symbols: 0,
            fields: [],
            openMs: 0,
            memory: 0,
        };
        this.load();
        this.overview.openMs = performance.now() - start;
        this.overview.memory = front.buffer.byteLength;
    }

    setDictionary(dictionary: Dictionary): FieldInfo[] {
        this.dictionary = dictionary;
        this.dropTables();
        this.overview.fields = this.fieldInfos();
        return this.overview.fields;
    }

    // Loads the symbols. A failure is reported as damage of the section.
    private load(): void {
        const section = this.overview.sections.find(({ id, readable }) => id === symbolsSection && readable);
        if (!section) return;
        try {
            const symbols = this.front.symbols(this.slot);
            this.symbols = symbols;
            section.damage.push(...symbols.problems);
            section.levels = [{ name: "symbols", rows: symbols.rows }];
            this.overview.symbols = symbols.rows;
            this.overview.fields = this.fieldInfos();
        } catch (error) {
            this.symbols = null;
            section.readable = false;
            section.damage.push(error instanceof Error ? error.message : String(error));
        }
    }

    private fieldInfos(): FieldInfo[] {
        return (this.symbols?.fields ?? []).map((field) => {
            const entry = this.dictionary[field.id];
            return { ...field, name: entry?.name ?? "", type: entry?.type ?? field.type };
        });
    }

    dropTables(): void {
        for (const table of this.tables.values()) table.free();
        this.tables.clear();
    }

    section(id: number): FrontTable {
        let table = this.sections.get(id);
        if (!table) {
            table = this.front.section(this.slot, id);
            this.sections.set(id, table);
            const info = this.overview.sections.find((section) => section.id === id && section.readable);
            if (info) {
                info.levels = table.levels.map(({ name, rows }) => ({ name, rows }));
                for (const problem of table.problems) {
                    if (!info.damage.includes(problem)) info.damage.push(problem);
                }
            }
        }
        return table;
    }

    table(source: TableSource): Table {
        const key = `${source.section}/${source.level}/${source.parent ?? ""}`;
        let table = this.tables.get(key);
        if (!table) {
            table = source.section === symbolsSection ? this.symbolTable() : this.sectionTable(source);
            this.tables.set(key, table);
        }
        return table;
    }

    private symbolTable(): Table {
        const symbols = this.symbols;
        if (!symbols) throw new Error("This file has no symbols that can be read.");
        const columns = symbols.columns.map((place, at): TableColumn => {
            const column = this.front.typedColumn(place, this.dictionary[place.field]?.type);
            const key = at === 0 ? "symbol" : `f${place.field}`;
            const title = at === 0 ? "symbol" : (this.dictionary[place.field]?.name ?? `field ${place.field}`);
            return { key, title, type: column.type, numeric: column.isNumeric && column.type !== "date", column };
        });
        return new Table(this.front, columns, symbols.rows);
    }

    private sectionTable(source: TableSource): Table {
        const level = this.section(source.section).levels[source.level];
        if (!level) throw new Error(`Section ${source.section} has no level ${source.level}.`);
        const number: TableColumn = {
            key: "#",
            title: "#",
            type: "unsigned",
            numeric: true,
            column: new RowNumberColumn(
                {
                    name: "#",
                    field: 0,
                    kind: "list",
                    type: "unsigned",
                    width: 0,
                    rows: level.rows,
                    validity: 0,
                    own: 0,
                    values: 0,
                    offsets: 0,
                    indices: 0,
                    handle: 0,
                },
                this.front,
            ),
        };
        const columns = [number];
        for (const place of level.columns) {
            const isField = place.type === "hex" && place.name === "value";
            const column = isField
                ? new FieldColumn(
                      place,
                      this.front,
                      this.front.column(level.columns[0] ?? place),
                      this.front.column(level.columns[1] ?? place),
                      this.directory.textTag,
                      () => this.dictionary,
                  )
                : this.front.column(place);
            columns.push({
                key: place.name,
                title: place.name,
                type: column.type,
                numeric: column.isNumeric && !isField,
                column,
            });
        }
        return new Table(this.front, columns, level.rows, this.below(source));
    }

    // The rows below one row are contiguous, since a section is read in order.
    private below(source: TableSource): { first: number; count: number } | null {
        if (source.parent === undefined || source.level === 0) return null;
        const level = this.section(source.section).levels[source.level];
        if (!level) return null;
        const parents = this.front.words(level.parents, level.rows);
        const first = lowerBound(parents, source.parent);
        return { first, count: lowerBound(parents, source.parent + 1) - first };
    }

    parentOf(section: number, level: number, row: number): number {
        const described = this.section(section).levels[level];
        return described && level > 0 ? (this.front.words(described.parents, described.rows)[row] ?? -1) : -1;
    }

    // The names in a section of ids and texts: by id, and where there are two texts, the second by the first.
    namesIn(id: number): Names | null {
        if (!this.overview.sections.some((section) => section.id === id && section.readable && section.names)) return null;
        const level = this.section(id).levels[0];
        const [ids, ...texts] = (level?.columns ?? []).map((place) => this.front.column(place));
        const last = texts.at(-1);
        if (!level || !ids || !last) return null;
        const byValue = new Map<string, string>();
        for (let row = 0; row < level.rows; ++row) {
            byValue.set(ids.text(row), last.text(row));
            if (texts.length > 1) byValue.set(texts[0]?.text(row) ?? "", last.text(row));
        }
        return { section: id, byValue };
    }

    columnInfos(source: TableSource): ColumnInfo[] {
        return this.table(source).columns;
    }
}

// The index of the first element of an ascending array that is not less than `value`.
export function lowerBound(array: ArrayLike<number>, value: number): number {
    let low = 0;
    let high = array.length;
    while (low < high) {
        const middle = (low + high) >> 1;
        if ((array[middle] as number) < value) low = middle + 1;
        else high = middle;
    }
    return low;
}

const readPiece = 16 << 20;

export class Engine implements AsyncMethods {
    private readonly files: (OpenFile | null)[] = [null, null];
    private comparison: Comparison | null = null;

    constructor(
        private readonly front: Front,
        private readonly progress: Progress,
    ) {}

    call(method: Method, args: unknown[]): unknown {
        const call = this[method] as (...args: unknown[]) => unknown;
        return call.apply(this, args);
    }

    private file(slot: Slot): OpenFile {
        const file = this.files[slot];
        if (!file) throw new Error("No file is open.");
        return file;
    }

    // Reads the file in pieces directly into the module's memory, which holds the only copy. A file that does not open
    // leaves the one before it open.
    open(slot: Slot, blob: Blob, name: string): Overview {
        if (blob.size === 0) throw new Error(`${name} is empty.`);
        if (blob.size > 2 ** 31 - 2 ** 24) throw new Error(`${name} is larger than this page can hold (2 GB).`);
        const bytes = this.front.alloc(blob.size);
        const reader = new FileReaderSync();
        try {
            for (let at = 0; at < blob.size; at += readPiece) {
                const piece = new Uint8Array(reader.readAsArrayBuffer(blob.slice(at, at + readPiece)));
                this.front.memory(bytes + at, piece.length).set(piece);
                this.progress("Reading", at / blob.size);
            }
            const file = new OpenFile(this.front, slot, bytes, blob.size, name);
            this.forget(slot);
            this.files[slot] = file;
            return file.overview;
        } catch (error) {
            this.front.free(bytes);
            throw error;
        } finally {
            this.progress("Reading", 1);
        }
    }

    close(slot: Slot): null {
        this.front.close(slot);
        this.forget(slot);
        return null;
    }

    // Frees what the module no longer uses.
    private forget(slot: Slot): void {
        this.comparison?.free();
        this.comparison = null;
        const file = this.files[slot];
        file?.dropTables();
        if (file) this.front.free(file.bytes);
        this.files[slot] = null;
    }

    check(slot: Slot): CheckResult {
        this.file(slot);
        return this.front.check(slot);
    }

    // Reads every section except the symbols, for its rows and its damage.
    survey(slot: Slot): SectionInfo[] {
        const file = this.file(slot);
        for (const section of file.overview.sections) {
            if (section.readable && section.id !== symbolsSection && section.name !== "") file.section(section.id);
        }
        return file.overview.sections;
    }

    setDictionary(slot: Slot, dictionary: Dictionary): FieldInfo[] {
        this.comparison?.free();
        this.comparison = null;
        return this.file(slot).setDictionary(dictionary);
    }

    inferDictionary(slot: Slot): Dictionary {
        const file = this.file(slot);
        return inferDictionary(file.table({ slot, section: symbolsSection, level: 0 }));
    }

    table(query: Query): ReturnType<Methods["table"]> {
        return this.file(query.source.slot).table(query.source).update(query);
    }

    rows(query: Query, first: number, count: number): ReturnType<Methods["rows"]> {
        const table = this.file(query.source.slot).table(query.source);
        // A search that is not done is continued by calls of table().
        if (table.prepare(query)) table.update(query);
        return table.window(first, count);
    }

    detail(slot: Slot, row: number): ReturnType<Methods["detail"]> {
        return recordDetail(this.front, this.file(slot), row);
    }

    place(query: Query, row: number): number {
        const table = this.file(query.source.slot).table(query.source);
        table.complete(query);
        return table.placeOf(row);
    }

    parent(slot: Slot, section: number, level: number, row: number): number {
        return this.file(slot).parentOf(section, level, row);
    }

    rowAt(slot: Slot, section: number, offset: number): RowPlace | null {
        this.file(slot);
        return this.front.rowAt(slot, section, offset);
    }

    element(slot: Slot, section: number, level: number, row: number): Extent | null {
        this.file(slot);
        return this.front.element(slot, section, level, row);
    }

    bytes(slot: Slot, offset: number, size: number): Uint8Array {
        const file = this.file(slot);
        const end = Math.min(file.size, offset + size);
        return offset < end ? this.front.memory(file.bytes + offset, end - offset).slice() : new Uint8Array();
    }

    distribution(query: Query, column: string, names: number): ReturnType<Methods["distribution"]> {
        const file = this.file(query.source.slot);
        const table = file.table(query.source);
        table.complete(query);
        const section = names >= 0 ? names : suggestedNames(table.byKey.get(column)?.title ?? "", file.overview.sections);
        return distribution(this.front, table, column, file.namesIn(section));
    }

    compare(): ReturnType<Methods["compare"]> {
        const [before, after] = [this.file(0), this.file(1)];
        this.comparison ??= new Comparison(this.front, before, after);
        return this.comparison.summary();
    }

    changes(...args: Parameters<Methods["changes"]>): ReturnType<Methods["changes"]> {
        if (!this.comparison) this.compare();
        return (this.comparison as Comparison).changes(...args);
    }

    export(query: Query, format: Parameters<Methods["export"]>[1], columns: string[]): Blob {
        const table = this.file(query.source.slot).table(query.source);
        table.complete(query);
        return exportTable(table, format, columns);
    }
}

type AsyncMethods = {
    [M in Method]: (...args: Parameters<Methods[M]>) => ReturnType<Methods[M]> | Promise<ReturnType<Methods[M]>>;
};
