// A table of any number of rows: only those in view exist, and their cells come from the worker.

import {
    elementScroll,
    observeElementOffset,
    observeElementRect,
    Virtualizer,
    type VirtualizerOptions,
} from "@tanstack/virtual-core";
import type { JSX } from "preact";
import { useCallback, useEffect, useLayoutEffect, useMemo, useReducer, useRef, useState } from "preact/hooks";
import { CellState, headRows, type ColumnInfo, type RowWindow, type Sort } from "../protocol";
import { count } from "./format";

const rowHeight = 26;
// Browsers limit the height of an element (Firefox to 17.8 million pixels). Above this height the scroll bar moves
// over a shorter element, each of whose pixels represents more than one.
const tallest = 15_000_000;
const block = headRows; // rows asked for at once
const band = 16; // rows of one item of the virtualizer
const mostBands = 20; // rendered at once, however tall the view is: printing makes it as tall as its content

export interface GridProps {
    label: string;
    columns: ColumnInfo[];
    rows: number;
    fetch: (first: number, count: number) => Promise<RowWindow>;
    version: string; // changes with what fetch delivers
    sort: Sort | null;
    onSort: (sort: Sort | null) => void;
    selected: number; // row in the file, -1 for none
    onSelect: (row: number) => void;
    onOpen?: (row: number) => void; // Enter or a double click
    filters?: Record<string, string>;
    onFilter?: (column: string, text: string) => void;
    reveal?: number; // position in the table to scroll to
    empty: string;
}

interface Cached {
    version: string;
    blocks: Map<number, RowWindow | null>;
}

export function Grid(props: GridProps): JSX.Element {
    const { columns, rows, fetch, version, sort, selected } = props;
    const scroller = useRef<HTMLDivElement>(null);
    const [, redraw] = useReducer((n: number) => n + 1, 0);
    const [active, setActive] = useState(0); // position in the table
    const [activeColumn, setActiveColumn] = useState(0);
    const virtualizer = useVirtual(scroller, rows, redraw);

    const cache = useRef<Cached>({ version: "", blocks: new Map() });
    const shown = useRef<Map<number, RowWindow>>(new Map()); // stays on screen until its successor arrives
    if (cache.current.version !== version) {
        cache.current = { version, blocks: new Map() };
        if (columns.length !== shown.current.values().next().value?.cells.length) shown.current = new Map();
    }
    const items = virtualizer.items();
    const firstBlock = Math.floor((items[0]?.index ?? 0) / block);
    const lastBlock = Math.floor((items.at(-1)?.index ?? 0) / block);
    useLayoutEffect(() => {
        const own = cache.current;
        for (let at = firstBlock; at <= lastBlock && rows > 0; ++at) {
            if (own.blocks.has(at)) continue;
            own.blocks.set(at, null);
            void fetch(at * block, block).then(
                (window) => {
                    own.blocks.set(at, window);
                    if (cache.current !== own) return;
                    shown.current.set(at, window);
                    if (own.blocks.size > 64) own.blocks.delete(own.blocks.keys().next().value as number);
                    redraw(0);
                },
                () => own.blocks.delete(at),
            );
        }
    }, [version, firstBlock, lastBlock, rows]);

    const widths = useMemo(() => columns.map(columnWidth), [columns]);
    const template = widths.map((width, at) => (at === widths.length - 1 ? `minmax(${width}px, 1fr)` : `${width}px`)).join(" ");
    const total = widths.reduce((sum, width) => sum + width, 0);

    useEffect(() => {
        if (props.reveal !== undefined && props.reveal >= 0) {
            setActive(props.reveal);
            virtualizer.reveal(props.reveal);
        }
    }, [props.reveal, version]);

    const windowOf = (place: number): RowWindow | undefined => {
        const at = Math.floor(place / block);
        return cache.current.blocks.get(at) ?? shown.current.get(at);
    };
    const rowAt = (place: number): number => windowOf(place)?.rows[place % block] ?? -1;

    const move = (place: number): void => {
        const to = Math.max(0, Math.min(rows - 1, place));
        setActive(to);
        virtualizer.reveal(to);
        const row = rowAt(to);
        if (row >= 0 && selected >= 0) props.onSelect(row);
    };
    const page = Math.max(1, Math.floor((scroller.current?.clientHeight ?? 400) / rowHeight) - 3);
    const onKeyDown = (event: KeyboardEvent): void => {
        if (event.target !== scroller.current) return;
        const moves: Record<string, () => void> = {
            ArrowDown: () => move(active + 1),
            ArrowUp: () => move(active - 1),
            PageDown: () => move(active + page),
            PageUp: () => move(active - page),
            Home: () => (event.ctrlKey ? move(0) : setActiveColumn(0)),
            End: () => (event.ctrlKey ? move(rows - 1) : setActiveColumn(columns.length - 1)),
            ArrowRight: () => setActiveColumn((at) => Math.min(columns.length - 1, at + 1)),
            ArrowLeft: () => setActiveColumn((at) => Math.max(0, at - 1)),
            Enter: () => choose(active, true),
            " ": () => choose(active, false),
        };
        const action = moves[event.key];
        if (!action || event.altKey || event.metaKey) return;
        event.preventDefault();
        action();
    };
    const choose = (place: number, open: boolean): void => {
        setActive(place);
        const row = rowAt(place);
        if (row < 0) return;
        props.onSelect(row);
        if (open) props.onOpen?.(row);
    };
    const toggleSort = (column: ColumnInfo): void => {
        if (sort?.column !== column.key) props.onSort({ column: column.key, descending: false });
        else props.onSort(sort.descending ? null : { column: column.key, descending: true });
    };

    return (
        <div
            ref={scroller}
            class="grid"
            role="grid"
            tabIndex={0}
            aria-label={props.label}
            aria-rowcount={rows + 1}
            aria-colcount={columns.length}
            aria-activedescendant={rows > 0 ? `cell-${active}-${activeColumn}` : undefined}
            onKeyDown={onKeyDown}
        >
            <div class="grid-head" role="rowgroup" style={{ minWidth: `${total}px` }}>
                <div role="row" aria-rowindex={1} class="grid-row" style={{ gridTemplateColumns: template }}>
                    {columns.map((column, at) => (
                        <div
                            key={column.key}
                            role="columnheader"
                            aria-colindex={at + 1}
                            aria-sort={sort?.column !== column.key ? "none" : sort.descending ? "descending" : "ascending"}
                            class={column.numeric ? "cell number" : "cell"}
                        >
                            <button
                                class="sort"
                                title={`${column.title} (${column.type}): sort`}
                                onClick={() => toggleSort(column)}
                                disabled={column.type === "list"}
                            >
                                <span class="title">{column.title}</span>
                                <span aria-hidden="true" class="arrow">
                                    {sort?.column !== column.key ? "" : sort.descending ? "▼" : "▲"}
                                </span>
                            </button>
                            {props.onFilter && (
                                <input
                                    class="filter"
                                    type="text"
                                    value={props.filters?.[column.key] ?? ""}
                                    placeholder={column.type === "date" ? "yyyy-mm-dd" : column.numeric ? "= < > a..b" : "filter"}
                                    aria-label={`Filter ${column.title}`}
                                    title={filterHelp}
                                    onInput={(event) => props.onFilter?.(column.key, event.currentTarget.value)}
                                />
                            )}
                        </div>
                    ))}
                </div>
            </div>
            {rows === 0 && (
                <p class="empty" role="row">
                    <span role="gridcell">{props.empty}</span>
                </p>
            )}
            <div role="rowgroup" class="grid-body" style={{ height: `${virtualizer.height}px`, minWidth: `${total}px` }}>
                {items.map((item) => {
                    const window = windowOf(item.index);
                    const within = item.index % block;
                    const row = window?.rows[within] ?? -1;
                    const classes = ["grid-row", item.index % 2 === 1 ? "even" : "", row >= 0 && row === selected ? "selected" : "", item.index === active ? "active" : ""];
                    return (
                        <div
                            key={item.index}
                            role="row"
                            aria-rowindex={item.index + 2}
                            aria-selected={row >= 0 && row === selected}
                            class={classes.join(" ")}
                            style={{ transform: `translateY(${item.start}px)`, gridTemplateColumns: template }}
                            onClick={() => choose(item.index, false)}
                            onDblClick={() => choose(item.index, true)}
                        >
                            {columns.map((column, at) => {
                                const state = window?.states[at]?.[within];
                                const text = window?.cells[at]?.[within] ?? "";
                                return (
                                    <div
                                        key={column.key}
                                        id={`cell-${item.index}-${at}`}
                                        role="gridcell"
                                        aria-colindex={at + 1}
                                        class={cellClass(column, state, at === activeColumn && item.index === active)}
                                        title={state === CellState.default ? `${text} (default)` : text.length > 24 ? text : undefined}
                                    >
                                        {text}
                                        {state === CellState.default && <span class="hidden-text"> default</span>}
                                    </div>
                                );
                            })}
                        </div>
                    );
                })}
            </div>
        </div>
    );
}

const filterHelp =
    "word: contains · =x is · !=x is not · ^x begins with · >=x <=x a..b · none, any: without or with a value · own, default";

function cellClass(column: ColumnInfo, state: number | undefined, active: boolean): string {
    const classes = ["cell"];
    if (column.numeric) classes.push("number");
    if (column.type === "hex") classes.push("mono");
    if (state === CellState.default) classes.push("default");
    if (state === CellState.none) classes.push("none");
    if (state === CellState.odd) classes.push("odd");
    if (active) classes.push("active-cell");
    return classes.join(" ");
}

function columnWidth(column: ColumnInfo): number {
    const title = column.title.length * 7.2 + 34;
    const byType = { text: 150, unsigned: 96, signed: 96, float: 110, date: 108, bool: 80, hex: 220, list: 220 }[column.type];
    const named = column.key === "symbol" ? 150 : /name|desc|text/i.test(column.title) ? 220 : byType;
    return Math.round(Math.max(title, column.key === "#" ? 72 : named));
}

interface VirtualRows {
    items: () => { index: number; start: number }[];
    height: number;
    reveal: (place: number) => void;
}

// TanStack's virtualizer for rows of equal height. It keeps an object for each item, so an item is a band of rows.
// Above `tallest`, scroll positions are scaled up to the full height before the virtualizer sees them, and rows are
// shifted to where the shorter element is scrolled to.
function useVirtual(scroller: { current: HTMLDivElement | null }, rows: number, redraw: (n: number) => void): VirtualRows {
    const full = rows * rowHeight;
    const height = Math.min(full, tallest);
    const stretch = useRef(1);
    const view = scroller.current?.clientHeight ?? 600;
    stretch.current = full > tallest ? (full - view) / (tallest - view) : 1;

    type Options = VirtualizerOptions<HTMLDivElement, Element>;
    const options: Options = {
        count: Math.ceil(rows / band),
        getScrollElement: useCallback(() => scroller.current, []),
        estimateSize: useCallback(() => rowHeight * band, []),
        overscan: 1,
        initialRect: { width: 800, height: 600 },
        onChange: () => redraw(0),
        observeElementRect,
        observeElementOffset: (instance, report) =>
            observeElementOffset(instance, (offset, scrolling) => report(offset * stretch.current, scrolling)),
        scrollToFn: elementScroll,
    };
    const [virtualizer] = useState(() => new Virtualizer<HTMLDivElement, Element>(options));
    virtualizer.setOptions(options);
    useLayoutEffect(() => virtualizer._didMount(), []);
    useLayoutEffect(() => virtualizer._willUpdate());
    const scrolled = scroller.current?.scrollTop ?? 0;
    const shift = stretch.current > 1 ? scrolled - (virtualizer.scrollOffset ?? 0) : 0;
    return {
        items: () =>
            virtualizer.getVirtualItems().slice(0, mostBands).flatMap(({ index: at }) => {
                const first = at * band;
                return Array.from({ length: Math.min(band, rows - first) }, (_, row) => ({
                    index: first + row,
                    start: (first + row) * rowHeight + shift,
                }));
            }),
        height,
        reveal: (place) => {
            const element = scroller.current;
            if (!element || place < 0) return;
            const head = (element.firstElementChild as HTMLElement | null)?.offsetHeight ?? 0;
            const top = place * rowHeight;
            const offset = element.scrollTop * stretch.current;
            const visible = element.clientHeight - head;
            if (top < offset) element.scrollTop = top / stretch.current;
            else if (top + rowHeight > offset + visible) element.scrollTop = (top + rowHeight - visible) / stretch.current + (place + 1 === rows ? head : 0);
        },
    };
}

export function rowCountText(rows: number, total: number, done: boolean, noun: string): string {
    const text = rows === total ? `${count(total)} ${noun}` : `${count(rows)} of ${count(total)} ${noun}`;
    return done ? text : `${text}, searching…`;
}
