// How the values of a column are distributed: the most frequent ones, and numbers and dates in bins.

import type { Bar, Distribution, Filter, SectionInfo } from "../protocol";
import type { Front } from "./front";
import type { Table, TableColumn } from "./table";

// The names of a column's values, and the section that they come from.
export interface Names {
    section: number;
    byValue: Map<string, string>;
}

// The section that names a column's values, guessed from the titles.
export function suggestedNames(title: string, sections: readonly SectionInfo[]): number {
    const pattern = [/countr/i, /exchange|venue|market/i].find((one) => one.test(title));
    return sections.find((section) => section.names && pattern?.test(section.title))?.id ?? 0;
}

const topValues = 20;
const mostBins = 40;

export function distribution(front: Front, table: Table, key: string, names: Names | null): Distribution {
    const found = table.byKey.get(key);
    if (!found || found.column.isList) throw new Error(`No column ${key} to count.`);
    const { column } = found;
    const all = table.rowList();
    const rows = front.alloc(4 * Math.max(1, all.length));
    front.words(rows, all.length).set(all);
    const valued = front.sort(column, rows, all.length, false);
    const starts = front.runs(column, rows, valued);
    const sorted = front.words(rows, valued).slice();
    front.free(rows);

    const label = (run: number): string => (run >= 0 && run < starts.length ? column.text(sorted[starts[run] as number] as number) : "");
    const named = (value: string): { name?: string } => {
        const name = names?.byValue.get(value);
        return name === undefined ? {} : { name };
    };
    const top = mostFrequent(starts, valued, topValues).map(({ run, count }) => ({ label: label(run), count }));
    // The order of ids means nothing.
    const { bins, unit } = names ? { bins: [], unit: "" } : binsOf(found, sorted, starts.length);
    const { key: name, title, type, numeric } = found;
    return {
        column: { key: name, title, type, numeric },
        total: all.length,
        missing: all.length - valued,
        distinct: starts.length,
        least: label(0),
        most: label(starts.length - 1),
        top: top.map((bar) => ({ ...bar, ...named(bar.label), filter: { column: key, op: "is", value: bar.label } })),
        bins,
        binUnit: unit,
        names: names?.section ?? 0,
    };
}

// The longest runs, longest first, at most `most` of them.
export function mostFrequent(starts: Uint32Array, end: number, most: number): { run: number; count: number }[] {
    const top: { run: number; count: number }[] = [];
    for (let run = 0; run < starts.length; ++run) {
        const count = (starts[run + 1] ?? end) - (starts[run] as number);
        if (top.length === most && count <= (top.at(-1)?.count ?? 0)) continue;
        let at = top.length;
        while (at > 0 && (top[at - 1]?.count ?? 0) < count) --at;
        top.splice(at, 0, { run, count });
        if (top.length > most) top.pop();
    }
    return top;
}

function binsOf(found: TableColumn, sorted: Uint32Array, distinct: number): { bins: Bar[]; unit: string } {
    const { column, key } = found;
    if (!column.isNumeric || sorted.length === 0 || distinct < 2) return { bins: [], unit: "" };
    const numbers = Float64Array.from(sorted, (row) => column.number(row) ?? 0);
    if (found.type === "date") return dateBins(key, numbers);
    const edges = niceEdges(numbers[0] as number, numbers.at(-1) as number, mostBins);
    const bins: Bar[] = [];
    let at = 0;
    for (let bin = 0; bin + 1 < edges.length; ++bin) {
        const [from, to] = [edges[bin] as number, edges[bin + 1] as number];
        const start = at;
        while (at < numbers.length && ((numbers[at] as number) < to || bin + 2 === edges.length)) ++at;
        const filter: Filter = { column: key, op: "least", value: String(from) };
        bins.push({ label: String(from), count: at - start, filter });
    }
    return { bins, unit: "" };
}

// Months where they are few, else years, including the empty ones in between.
function dateBins(key: string, numbers: Float64Array): { bins: Bar[]; unit: string } {
    const months = Array.from(numbers, (number) => Math.floor(number / 100)).filter((month) => {
        const ofYear = month % 100;
        return month >= 100000 && month <= 999912 && ofYear >= 1 && ofYear <= 12;
    });
    const first = months[0];
    const last = months.at(-1);
    if (first === undefined || last === undefined) return { bins: [], unit: "" };
    const span = (Math.floor(last / 100) - Math.floor(first / 100)) * 12 + (last % 100) - (first % 100);
    const byMonth = span < mostBins;
    const counts = new Map<number, number>();
    for (const month of months) {
        const bin = byMonth ? month : Math.floor(month / 100);
        counts.set(bin, (counts.get(bin) ?? 0) + 1);
    }
    const bins: Bar[] = [];
    const end = byMonth ? last : Math.floor(last / 100);
    let bin = byMonth ? first : Math.floor(first / 100);
    for (let made = 0; bin <= end && made < 10_000; ++made) {
        const label = byMonth ? `${Math.floor(bin / 100)}-${String(bin % 100).padStart(2, "0")}` : String(bin);
        bins.push({ label, count: counts.get(bin) ?? 0, filter: { column: key, op: "starts", value: label } });
        bin = byMonth && bin % 100 === 12 ? bin + 89 : bin + 1;
    }
    return { bins, unit: byMonth ? "month" : "year" };
}

// Edges at round numbers that enclose everything from `least` to `greatest`, at most `most` + 3 of them.
export function niceEdges(least: number, greatest: number, most: number): number[] {
    const rough = (greatest - least) / most;
    const power = 10 ** Math.floor(Math.log10(rough));
    let step = [1, 2, 5, 10].map((factor) => factor * power).find((size) => size >= rough) ?? 10 * power;
    if (Number.isInteger(least) && Number.isInteger(greatest)) step = Math.max(1, step);
    const first = Math.floor(least / step);
    const edges: number[] = [];
    for (let at = first; edges.length <= most + 2; ++at) {
        const edge = Number((at * step).toPrecision(12));
        edges.push(edge);
        if (edge > greatest) break;
    }
    return edges;
}
