// One table: the columns of a section's level or of the symbols, and the rows that match a query, in order.

import { headRows, type CellState, type ColumnInfo, type Filter, type Query, type RowWindow, type Sort, type TableInfo } from "../protocol";
import { displayText, type Column } from "./columns";
import { match, type Front } from "./front";

export interface TableColumn extends ColumnInfo {
    column: Column;
}

// Rows searched between two looks at the clock; few at first, so that the first rows are on screen at once.
const firstChunk = 8_192;
const chunk = 131_072;

// How long a search may occupy the worker before it reports what it has and lets other requests in.
const firstSliceMs = 4;
const sliceMs = 40;

export class Table {
    private key = "";
    private order = 0; // pointer to the rows that match, u32 each
    private capacity = 0;
    private matched = 0;
    private scanned = 0; // rows of the base that were searched
    private base = 0; // pointer to the filtered and sorted rows, before the search; 0: all rows in file order
    private baseKey = "";
    private baseRows = 0;
    private searchText = "";
    readonly byKey: Map<string, TableColumn>;

    // `below`: the rows below one row of the level above; null for all.
    constructor(
        private readonly front: Front,
        readonly columns: TableColumn[],
        readonly total: number,
        private readonly below: { first: number; count: number } | null = null,
    ) {
        this.byKey = new Map(columns.map((column) => [column.key, column]));
    }

    free(): void {
        if (this.order !== 0) this.front.free(this.order);
        if (this.base !== 0) this.front.free(this.base);
        this.order = this.base = 0;
        this.key = this.baseKey = "";
        this.capacity = 0;
    }

    private get all(): number {
        return this.below ? this.below.count : this.total;
    }

    // Applies the query. A long search may stop early; the next call continues it.
    update(query: Query, budgetMs?: number): TableInfo {
        const start = performance.now();
        const starts = this.prepare(query);
        if (query.search !== "") this.continueSearch(query.search, start + (budgetMs ?? (starts ? firstSliceMs : sliceMs)));
        return {
            columns: this.columns.map(({ key: name, title, type, numeric }) => ({ key: name, title, type, numeric })),
            total: this.all,
            rows: this.matched,
            done: this.scanned >= this.baseRows,
            head: this.window(0, headRows),
            ms: performance.now() - start,
        };
    }

    // Filters, sorts and starts the search if the query has changed, and returns whether it has.
    prepare(query: Query): boolean {
        this.updateBase(query);
        const key = JSON.stringify([this.baseKey, query.search]);
        if (key === this.key) return false;
        this.key = key;
        this.startSearch(query.search);
        return true;
    }

    complete(query: Query): void {
        this.update(query, Infinity);
    }

    row(at: number): number {
        if (this.searchText !== "") return this.front.words(this.order, this.matched)[at] ?? 0;
        return this.baseRow(at);
    }

    get rows(): number {
        return this.matched;
    }

    // The rows in order, as a copy.
    rowList(): Uint32Array {
        const pointer = this.searchText !== "" ? this.order : this.base;
        if (pointer !== 0) return this.front.words(pointer, this.matched).slice();
        const first = this.below?.first ?? 0;
        return Uint32Array.from({ length: this.matched }, (_, at) => first + at);
    }

    placeOf(row: number): number {
        const pointer = this.searchText !== "" ? this.order : this.base;
        if (pointer !== 0) return this.front.words(pointer, this.matched).indexOf(row);
        const at = row - (this.below?.first ?? 0);
        return at >= 0 && at < this.matched ? at : -1;
    }

    window(first: number, count: number): RowWindow {
        const rows: number[] = [];
        for (let at = first; at < Math.min(first + count, this.matched); ++at) rows.push(this.row(at));
        return {
            first,
            rows,
            cells: this.columns.map(({ column }) => rows.map((row) => column.shownText(row))),
            states: this.columns.map(({ column }) => rows.map((row) => column.shownState(row))),
        };
    }

    private baseRow(at: number): number {
        if (this.base !== 0) return this.front.words(this.base, this.baseRows)[at] ?? 0;
        return (this.below?.first ?? 0) + at;
    }

    private updateBase(query: Query): void {
        const filters = query.filters.filter((filter) => this.byKey.has(filter.column));
        const sort = query.sort && this.byKey.has(query.sort.column) ? query.sort : null;
        const key = JSON.stringify([filters, sort]);
        if (key === this.baseKey) return;
        if (this.base !== 0) this.front.free(this.base);
        this.base = 0;
        this.baseKey = key;
        this.baseRows = this.all;
        if (filters.length === 0 && !sort) return;
        this.base = this.front.alloc(4 * Math.max(1, this.all));
        const first = this.below?.first ?? 0;
        const rows = this.front.words(this.base, this.all);
        for (let at = 0; at < rows.length; ++at) rows[at] = first + at;
        for (const filter of filters) this.baseRows = this.keep(filter, this.baseRows);
        if (sort) this.sort(sort, this.baseRows);
    }

    private sort(sort: Sort, count: number): void {
        const column = this.byKey.get(sort.column)?.column;
        if (sort.column === "#" && sort.descending) this.front.words(this.base, count).reverse();
        if (column && !column.isList) this.front.sort(column, this.base, count, sort.descending);
    }

    private keep(filter: Filter, count: number): number {
        const column = this.byKey.get(filter.column)?.column;
        if (!column) return count;
        const how = { contains: match.contains, starts: match.starts, is: match.equals }[filter.op as string];
        if (how !== undefined && column.isText && column.type !== "hex") {
            const found = this.front.alloc(4 * Math.max(1, count));
            const kept = this.front.search([column], filter.value, how, this.base, 0, count, found);
            this.front.words(this.base, kept).set(this.front.words(found, kept));
            this.front.free(found);
            return kept;
        }
        const wanted = predicate(column, filter);
        const rows = this.front.words(this.base, count);
        let kept = 0;
        for (let at = 0; at < count; ++at) {
            const row = rows[at] as number;
            if (wanted(row)) rows[kept++] = row;
        }
        return kept;
    }

    // A needle that extends the last one is searched in the rows that matched, where these are few.
    private startSearch(search: string): void {
        const narrows =
            this.order !== 0 &&
            this.searchText !== "" &&
            search.startsWith(this.searchText) &&
            this.scanned >= this.baseRows &&
            this.matched <= chunk &&
            this.searchedBase === this.baseKey;
        this.searchText = search;
        this.searchedBase = this.baseKey;
        if (search === "") {
            this.matched = this.baseRows;
            this.scanned = this.baseRows;
            return;
        }
        if (narrows) {
            const found = this.front.alloc(4 * Math.max(1, this.matched));
            const kept = this.front.search(this.texts(), search, match.contains, this.order, 0, this.matched, found);
            this.front.words(this.order, kept).set(this.front.words(found, kept));
            this.front.free(found);
            this.matched = kept;
            return;
        }
        if (this.capacity < this.baseRows || this.order === 0) {
            if (this.order !== 0) this.front.free(this.order);
            this.capacity = Math.max(1, this.baseRows);
            this.order = this.front.alloc(4 * this.capacity);
        }
        this.matched = 0;
        this.scanned = 0;
    }
    private searchedBase = "";

    private texts(): Column[] {
        return this.columns.map(({ column }) => column).filter((column) => column.isText && column.type !== "hex");
    }

    private continueSearch(search: string, until: number): void {
        const texts = this.texts();
        while (this.scanned < this.baseRows) {
            // Rows in another order are searched in one go: their texts are scattered over the column.
            const count = Math.min(this.base !== 0 ? this.baseRows : this.scanned === 0 ? firstChunk : chunk, this.baseRows - this.scanned);
            const first = this.base !== 0 ? this.scanned : (this.below?.first ?? 0) + this.scanned;
            const to = this.order + 4 * this.matched;
            this.matched += this.front.search(texts, search, match.contains, this.base, first, count, to);
            this.scanned += count;
            if (performance.now() >= until) return;
        }
    }
}

// Tests a row, for filters that are not searches over texts.
export function predicate(column: Column, filter: Filter): (row: number) => boolean {
    const state = { own: 1, default: 2 } satisfies Record<string, (typeof CellState)[keyof typeof CellState]>;
    switch (filter.op) {
        case "own":
        case "default": {
            const wanted = state[filter.op];
            return (row) => column.state(row) === wanted;
        }
        case "none":
            return (row) => column.isNull(row);
        case "any":
            return (row) => !column.isNull(row);
    }
    const number = filterNumber(filter.value, column.type);
    if (column.isNumeric && number !== null) {
        switch (filter.op) {
            case "is":
                return (row) => column.number(row) === number;
            case "not":
                return (row) => column.number(row) !== number;
            case "least":
                return (row) => (column.number(row) ?? -Infinity) >= number;
            case "most":
                return (row) => (column.number(row) ?? Infinity) <= number;
        }
    }
    const value = filter.value.toLowerCase();
    const shown = (row: number): string =>
        column.isText && column.type !== "hex"
            ? displayText(column.bytes(row)).text.toLowerCase()
            : column.text(row).toLowerCase();
    switch (filter.op) {
        case "contains":
            return (row) => !column.isNull(row) && shown(row).includes(value);
        case "starts":
            return (row) => !column.isNull(row) && shown(row).startsWith(value);
        case "is":
            return (row) => !column.isNull(row) && shown(row) === value;
        case "not":
            return (row) => column.isNull(row) || shown(row) !== value;
        case "least":
            return (row) => !column.isNull(row) && shown(row) >= value;
        case "most":
            return (row) => !column.isNull(row) && shown(row) <= value;
        default:
            return () => true;
    }
}

// Parses a number: dates with or without hyphens, hex with 0x. Null for anything else.
export function filterNumber(text: string, type: string): number | null {
    const trimmed = text.trim().replaceAll("_", "");
    if (trimmed === "") return null;
    if (type === "bool" && /^(true|false)$/i.test(trimmed)) return /^t/i.test(trimmed) ? 1 : 0;
    if (type === "date") {
        const parts = /^(\d{4})-?(\d{2})?-?(\d{2})?$/.exec(trimmed);
        if (parts) return Number(parts[1]) * 10000 + Number(parts[2] ?? 0) * 100 + Number(parts[3] ?? 0);
    }
    const number = Number(trimmed);
    return Number.isFinite(number) ? number : null;
}
