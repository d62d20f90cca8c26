// Two files compared: symbols by their text, field by field; the elements of other sections by their keys.
// Order does not matter. Where a key occurs several times, the first occurrences are compared, then the second ones.

import type { Change, ChangeKind, ChangeWindow, CompareQuery, CompareSection, CompareSummary } from "../protocol";
import { CellState, defaultsSection, symbolsSection } from "../protocol";
import type { Column } from "./columns";
import type { OpenFile } from "./engine";
import type { Front } from "./front";
import type { Table } from "./table";

interface Pair {
    kind: ChangeKind;
    before: number; // row, -1 for an added one
    after: number;
    fields: number[]; // indexes of the compared columns that changed
}

interface Element {
    level: number;
    row: number;
}

interface SectionChange {
    kind: ChangeKind;
    key: string;
    before: Element | null;
    after: Element | null;
}

interface ComparedColumn {
    id: number;
    name: string;
    before: Column | null;
    after: Column | null;
}

export class Comparison {
    private readonly symbolPairs: Pair[] = [];
    private readonly columns: ComparedColumn[] = [];
    private readonly sections = new Map<number, SectionChange[]>();
    private readonly counts: CompareSection[] = [];
    private filtered: { key: string; list: (Pair | SectionChange)[] } | null = null;

    constructor(
        private readonly front: Front,
        private readonly before: OpenFile,
        private readonly after: OpenFile,
    ) {
        const ids = new Set([...this.sectionIds(before), ...this.sectionIds(after)]);
        for (const id of [...ids].sort((a, b) => a - b)) {
            this.counts.push(id === symbolsSection ? this.compareSymbols() : this.compareSection(id));
        }
    }

    free(): void {
        this.filtered = null;
    }

    private sectionIds(file: OpenFile): number[] {
        return file.overview.sections.filter(({ readable, name }) => readable && name !== "").map(({ id }) => id);
    }

    summary(): CompareSummary {
        const changed = this.columns.map(({ id, name }) => ({ id, name, changed: 0 }));
        for (const pair of this.symbolPairs) {
            for (const at of pair.fields) (changed[at] as { changed: number }).changed += 1;
        }
        return {
            name: this.after.overview.name,
            size: this.after.size,
            sections: this.counts,
            damage: [this.before, this.after].flatMap(({ overview }) =>
                overview.sections.flatMap(({ title, damage }) => damage.map((text) => `${overview.name}: ${title}: ${text}`)),
            ),
            fields: changed.filter((field) => field.changed > 0),
        };
    }

    changes(query: CompareQuery, first: number, count: number): ChangeWindow {
        const key = JSON.stringify(query);
        if (this.filtered?.key !== key) this.filtered = { key, list: this.select(query) };
        const list = this.filtered.list;
        return {
            first,
            total: list.length,
            changes: list
                .slice(first, first + count)
                .map((change) => ("fields" in change ? this.symbolChange(change) : this.sectionChange(query, change))),
        };
    }

    private select(query: CompareQuery): (Pair | SectionChange)[] {
        const kinds = new Set(query.kinds);
        const search = query.search.toLowerCase();
        if (query.section === symbolsSection) {
            const column = query.field === null ? -1 : this.columns.findIndex(({ id }) => id === query.field);
            return this.symbolPairs.filter(
                (pair) =>
                    kinds.has(pair.kind) &&
                    (query.field === null || pair.fields.includes(column)) &&
                    (search === "" || this.symbolOf(pair).toLowerCase().includes(search)),
            );
        }
        return (this.sections.get(query.section) ?? []).filter(
            (change) => kinds.has(change.kind) && (search === "" || change.key.toLowerCase().includes(search)),
        );
    }

    // ---- symbols

    private symbolTable(file: OpenFile): Table | null {
        return file.symbols ? file.table({ slot: file.slot, section: symbolsSection, level: 0 }) : null;
    }

    private sorted(table: Table | null): Uint32Array {
        if (!table) return new Uint32Array();
        const rows = this.front.alloc(4 * Math.max(1, table.total));
        const words = this.front.words(rows, table.total);
        for (let at = 0; at < words.length; ++at) words[at] = at;
        this.front.sort((table.byKey.get("symbol") as { column: Column }).column, rows, table.total, false);
        const copy = this.front.words(rows, table.total).slice();
        this.front.free(rows);
        return copy;
    }

    private compareSymbols(): CompareSection {
        const tables = [this.symbolTable(this.before), this.symbolTable(this.after)] as const;
        const symbol = tables.map((table) => table?.byKey.get("symbol")?.column ?? null);
        this.pairColumns(tables);
        const rows = tables.map((table) => this.sorted(table)) as [Uint32Array, Uint32Array];
        const sameBytes = this.sameRecordTest();
        const count = { id: symbolsSection, title: "symbols", added: 0, removed: 0, changed: 0, same: 0 };
        let [a, b] = [0, 0];
        while (a < rows[0].length || b < rows[1].length) {
            const [rowA, rowB] = [rows[0][a] ?? -1, rows[1][b] ?? -1];
            const order =
                rowA < 0
                    ? 1
                    : rowB < 0
                      ? -1
                      : compareBytes((symbol[0] as Column).bytes(rowA), (symbol[1] as Column).bytes(rowB));
            if (order < 0) {
                this.symbolPairs.push({ kind: "removed", before: rowA, after: -1, fields: [] });
                ++count.removed;
            } else if (order > 0) {
                this.symbolPairs.push({ kind: "added", before: -1, after: rowB, fields: [] });
                ++count.added;
            } else if (sameBytes(rowA, rowB)) {
                ++count.same;
            } else {
                const fields = this.changedFields(rowA, rowB);
                if (fields.length > 0) {
                    this.symbolPairs.push({ kind: "changed", before: rowA, after: rowB, fields });
                    ++count.changed;
                } else {
                    ++count.same;
                }
            }
            if (order <= 0) ++a;
            if (order >= 0) ++b;
        }
        return count;
    }

    private pairColumns(tables: readonly (Table | null)[]): void {
        const byId = new Map<number, ComparedColumn>();
        tables.forEach((table, side) => {
            for (const { key, column, title } of table?.columns ?? []) {
                if (key === "symbol") continue;
                const id = Number(key.slice(1));
                const paired = byId.get(id) ?? { id, name: title, before: null, after: null };
                if (side === 0) paired.before = column;
                else paired.after = column;
                if (!/^field \d+$/.test(title)) paired.name = title;
                byId.set(id, paired);
            }
        });
        this.columns.push(...[...byId.values()].sort((x, y) => x.id - y.id));
    }

    // Whether two records have identical bytes, which settles it where both files have the same defaults.
    private sameRecordTest(): (before: number, after: number) => boolean {
        const [a, b] = [this.before, this.after];
        if (!a.symbols || !b.symbols || !equalBytes(this.defaults(a), this.defaults(b))) return () => false;
        const startsA = this.front.words(a.symbols.starts, a.symbols.rows + 1).slice();
        const startsB = this.front.words(b.symbols.starts, b.symbols.rows + 1).slice();
        const bytes = this.front.memory(0, this.front.buffer.byteLength);
        return (before, after) => {
            const from = startsA[before] as number;
            const size = (startsA[before + 1] as number) - from;
            const other = startsB[after] as number;
            if ((startsB[after + 1] as number) - other !== size) return false;
            for (let at = 0; at < size; ++at) {
                if (bytes[a.bytes + from + at] !== bytes[b.bytes + other + at]) return false;
            }
            return true;
        };
    }

    private defaults(file: OpenFile): Uint8Array {
        const section = file.overview.sections.find(({ id, readable }) => id === defaultsSection && readable);
        return section ? this.front.memory(file.bytes + section.offset, section.size) : new Uint8Array();
    }

    private changedFields(before: number, after: number): number[] {
        const changed: number[] = [];
        this.columns.forEach((column, at) => {
            if (cell(column.before, before) !== cell(column.after, after)) changed.push(at);
        });
        return changed;
    }

    private symbolOf(pair: Pair): string {
        const [file, row] = pair.before >= 0 ? [this.before, pair.before] : [this.after, pair.after];
        return this.symbolTable(file)?.byKey.get("symbol")?.column.text(row) ?? "";
    }

    private symbolChange(pair: Pair): Change {
        const shown =
            pair.kind === "changed"
                ? pair.fields.map((at) => this.columns[at] as ComparedColumn)
                : this.columns.filter(({ before, after }) => {
                      const [column, row] = pair.kind === "added" ? [after, pair.after] : [before, pair.before];
                      return column && column.state(row) !== CellState.none && column.state(row) !== CellState.default;
                  });
        return {
            kind: pair.kind,
            key: this.symbolOf(pair),
            before: pair.before,
            after: pair.after,
            cells: shown.map(({ name, before, after }) => ({
                name,
                before: pair.before < 0 ? "" : (before?.shownText(pair.before) ?? ""),
                after: pair.after < 0 ? "" : (after?.shownText(pair.after) ?? ""),
            })),
        };
    }

    // ---- other sections

    private elements(file: OpenFile, id: number): Map<string, Element> {
        const elements = new Map<string, Element>();
        if (!this.sectionIds(file).includes(id)) return elements;
        const levels = file.section(id).levels;
        let paths: string[] = [];
        levels.forEach((level, at) => {
            const keys = level.columns.filter(({ key }) => key).map((place) => this.front.column(place));
            const parents = at > 0 ? this.front.words(level.parents, level.rows).slice() : null;
            const here: string[] = [];
            const seen = new Map<string, number>();
            for (let row = 0; row < level.rows; ++row) {
                const above = parents ? `${paths[parents[row] as number] ?? ""} › ` : "";
                const own = keys.map((column) => column.text(row)).join(" ");
                let path = `${above}${level.singular} ${own}`.trimEnd();
                const times = (seen.get(path) ?? 0) + 1;
                seen.set(path, times);
                if (times > 1 || keys.length === 0) path += ` #${times}`;
                here.push(path);
                elements.set(path, { level: at, row });
            }
            paths = here;
        });
        return elements;
    }

    private compareSection(id: number): CompareSection {
        const [before, after] = [this.elements(this.before, id), this.elements(this.after, id)];
        const changes: SectionChange[] = [];
        let same = 0;
        for (const [key, element] of before) {
            const other = after.get(key);
            if (!other) changes.push({ kind: "removed", key, before: element, after: null });
            else if (this.rest(id, element, other).length === 0) ++same;
            else changes.push({ kind: "changed", key, before: element, after: other });
        }
        for (const [key, element] of after) {
            if (!before.has(key)) changes.push({ kind: "added", key, before: null, after: element });
        }
        this.sections.set(id, changes);
        const count = (kind: ChangeKind): number => changes.filter((change) => change.kind === kind).length;
        const info = [...this.before.overview.sections, ...this.after.overview.sections].find((s) => s.id === id);
        return {
            id,
            title: info?.title ?? "",
            added: count("added"),
            removed: count("removed"),
            changed: count("changed"),
            same,
        };
    }

    // The cells other than keys that differ.
    private rest(id: number, before: Element | null, after: Element | null): Change["cells"] {
        const columns = (file: OpenFile, element: Element | null): Table | null =>
            element ? file.table({ slot: file.slot, section: id, level: element.level }) : null;
        const [a, b] = [columns(this.before, before), columns(this.after, after)];
        const cells: Change["cells"] = [];
        for (const { key, title, column } of (a ?? b)?.columns ?? []) {
            if (key === "#" || column.place.key) continue;
            const was = before ? (a?.byKey.get(key)?.column.text(before.row) ?? "") : "";
            const is = after ? (b?.byKey.get(key)?.column.text(after.row) ?? "") : "";
            if (was !== is || !before || !after) cells.push({ name: title, before: was, after: is });
        }
        return cells;
    }

    private sectionChange(query: CompareQuery, change: SectionChange): Change {
        return {
            kind: change.kind,
            key: change.key,
            before: change.before?.row ?? -1,
            after: change.after?.row ?? -1,
            cells: this.rest(query.section, change.before, change.after),
        };
    }
}

function cell(column: Column | null, row: number): string {
    return column && !column.isNull(row) ? column.text(row) : "";
}

export function compareBytes(a: Uint8Array, b: Uint8Array): number {
    const size = Math.min(a.length, b.length);
    for (let at = 0; at < size; ++at) {
        const difference = (a[at] as number) - (b[at] as number);
        if (difference !== 0) return difference;
    }
    return a.length - b.length;
}

function equalBytes(a: Uint8Array, b: Uint8Array): boolean {
    return a.length === b.length && compareBytes(a, b) === 0;
}
