// The state of the page. `Place` is the part that a link keeps, in the address after #; files are not part of it.

import { useEffect, useState } from "preact/hooks";
import type { ChangeKind, CheckResult, Overview, Sort } from "../protocol";
import type { Sheet } from "./PrintSheet";

export type View = "overview" | "symbols" | "sections" | "findings" | "charts" | "compare" | "dictionary";
export const views: readonly View[] = ["overview", "symbols", "sections", "findings", "charts", "compare", "dictionary"];

export interface Place {
    view: View;
    search: string;
    filters: Record<string, string>; // column to the text in its filter box
    sort: Sort | null;
    hidden: string[]; // columns
    row: number; // selected, -1 for none
    section: number;
    level: number;
    parent: number; // -1: all rows of the level
    tree: boolean; // a nested section as a tree
    chart: string; // column, or sizesChart
    names: number; // section whose names are shown beside a chart's values; 0 for none, -1 for the suggested one
    offset: number; // of the bytes shown, -1 for none
    // Of the comparison; the second file itself cannot be part of a link.
    compared: number; // section, 0 for the first that has changes
    kinds: ChangeKind[];
    field: number; // only symbols in which this field changed, -1 for all
    find: string;
}

// The members that a link holds as numbers.
const numbers = ["row", "section", "level", "parent", "names", "offset", "compared", "field"] as const;

export const changeKinds: readonly ChangeKind[] = ["added", "removed", "changed"];

export const home: Place = {
    view: "overview",
    search: "",
    filters: {},
    sort: null,
    hidden: [],
    row: -1,
    section: 0,
    level: 0,
    parent: -1,
    tree: false,
    chart: "",
    names: -1,
    offset: -1,
    compared: 0,
    kinds: [...changeKinds],
    field: -1,
    find: "",
};

// Nothing searched, filtered, sorted or selected, on a section's first level.
export const clean = { search: "", filters: {}, sort: null, hidden: [], row: -1, level: 0, parent: -1, offset: -1 };

export const sizesChart = "sizes";

export interface State {
    place: Place;
    file: Overview | null;
    other: Overview | null; // that the file is compared with
    check: CheckResult | null;
    checking: boolean;
    busy: string; // work in progress; empty for none
    done: number; // 0 to 1
    error: string;
    sheet: Sheet | null; // being printed
    revision: number; // incremented when columns change
}

let state: State = {
    place: fromHash(location.hash),
    file: null,
    other: null,
    check: null,
    checking: false,
    busy: "",
    done: 0,
    error: "",
    sheet: null,
    revision: 0,
};
const listeners = new Set<() => void>();

export function current(): State {
    return state;
}

export function update(change: Partial<State>): void {
    state = { ...state, ...change };
    for (const listener of listeners) listener();
}

export function useStore(): State {
    const [, redraw] = useState(0);
    useEffect(() => {
        const listener = (): void => redraw((count) => count + 1);
        listeners.add(listener);
        return () => void listeners.delete(listener);
    }, []);
    return state;
}

// Moves to another place. `replace`: without an entry in the browser's history, as while typing.
export function go(change: Partial<Place>, replace = false): void {
    const place = { ...state.place, ...change };
    const hash = toHash(place);
    if (hash !== location.hash) history[replace ? "replaceState" : "pushState"](null, "", hash || "#");
    update({ place });
}

window.addEventListener("popstate", () => update({ place: fromHash(location.hash) }));

export function toHash(place: Place): string {
    const words = new URLSearchParams();
    if (place.view !== home.view) words.set("view", place.view);
    if (place.search !== "") words.set("search", place.search);
    for (const [column, text] of Object.entries(place.filters)) if (text !== "") words.append("filter", `${column}:${text}`);
    if (place.sort) words.set("sort", (place.sort.descending ? "-" : "") + place.sort.column);
    if (place.hidden.length > 0) words.set("hidden", place.hidden.join(","));
    for (const key of numbers) {
        if (place[key] !== home[key]) words.set(key, String(place[key]));
    }
    if (place.tree) words.set("tree", "1");
    for (const key of ["chart", "find"] as const) if (place[key] !== "") words.set(key, place[key]);
    if (place.kinds.length < changeKinds.length) words.set("kinds", place.kinds.join(","));
    const text = words.toString();
    return text === "" ? "" : "#" + text;
}

export function fromHash(hash: string): Place {
    const words = new URLSearchParams(hash.replace(/^#/, ""));
    const number = (key: (typeof numbers)[number]): number => {
        const value = Number(words.get(key) ?? NaN);
        return Number.isInteger(value) && value >= 0 ? value : home[key];
    };
    const view = words.get("view") as View;
    const sort = words.get("sort");
    const filters = words.getAll("filter").map((text): [string, string] => {
        const colon = text.indexOf(":");
        return [text.slice(0, colon), text.slice(colon + 1)];
    });
    return {
        view: views.includes(view) ? view : home.view,
        search: words.get("search") ?? "",
        filters: Object.fromEntries(filters),
        sort: sort ? { column: sort.replace(/^-/, ""), descending: sort.startsWith("-") } : null,
        hidden: words.get("hidden")?.split(",") ?? [],
        row: number("row"),
        section: number("section"),
        level: number("level"),
        parent: number("parent"),
        tree: words.get("tree") === "1",
        chart: words.get("chart") ?? "",
        names: number("names"),
        offset: number("offset"),
        compared: number("compared"),
        kinds: changeKinds.filter((kind) => words.get("kinds")?.split(",").includes(kind) ?? true),
        field: number("field"),
        find: words.get("find") ?? "",
    };
}
