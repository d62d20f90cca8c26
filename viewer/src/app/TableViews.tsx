// The symbols, and every other section, as tables.

import type { JSX } from "preact";
import { useEffect, useRef, useState } from "preact/hooks";
import { symbolsSection, type ColumnInfo, type ExportFormat, type TableSource } from "../protocol";
import { client } from "./client";
import { Detail } from "./Detail";
import { busy, download } from "./files";
import { offsetText, plural, singular } from "./format";
import { Grid, rowCountText } from "./Grid";
import { ElementBytes, SectionBytes } from "./Hex";
import { printedRows } from "./PrintSheet";
import { clean, current, go, update, useStore } from "./state";
import { Tree } from "./Tree";
import { useTable, type TableState } from "./useTable";

export function SymbolsView(): JSX.Element {
    const { place, file } = useStore();
    const table = useTable({ slot: 0, section: symbolsSection, level: 0 }, place);
    const reveal = useReveal(table, place.row);
    if (!file) return <></>;
    return (
        <div class="with-side">
            <div class="table-pane">
                <Toolbar table={table} noun="symbols" name="symbols" />
                <TablePane table={table} label="Symbols" reveal={reveal} selectable />
            </div>
            {place.row >= 0 && <Detail row={place.row} offset={place.offset} />}
        </div>
    );
}

// The position in the table of the row that a link or a finding selects.
function useReveal(table: TableState, row: number): number | undefined {
    const [reveal, setReveal] = useState<number | undefined>(undefined);
    const ready = table.info !== null;
    const { revision } = useStore();
    useEffect(() => {
        if (row < 0 || !ready) return;
        void client.call("place", table.query, row).then((at) => setReveal(at >= 0 ? at : undefined), () => {});
    }, [ready, row, revision]);
    return reveal;
}

function TablePane(props: { table: TableState; label: string; reveal?: number | undefined; selectable?: boolean; onOpen?: (row: number) => void }): JSX.Element {
    const { place } = useStore();
    const { table } = props;
    if (table.error !== "") return <p class="note bad">{table.error}</p>;
    const columns = (table.info?.columns ?? []).filter(({ key }) => !place.hidden.includes(key));
    const positions = (table.info?.columns ?? []).map(({ key }, at) => (place.hidden.includes(key) ? -1 : at)).filter((at) => at >= 0);
    return (
        <Grid
            label={props.label}
            columns={columns}
            rows={table.info?.rows ?? 0}
            fetch={async (first, count) => {
                const window = await table.fetch(first, count);
                const pick = <T,>(all: T[][]): T[][] => positions.map((at) => all[at] ?? []);
                return { ...window, cells: pick(window.cells), states: pick(window.states) };
            }}
            version={`${table.version}/${place.hidden.join()}`}
            sort={place.sort}
            onSort={(sort) => go({ sort }, true)}
            selected={place.row}
            onSelect={(row) => go({ row, offset: -1 }, true)}
            filters={place.filters}
            onFilter={(column, text) => go({ filters: { ...place.filters, [column]: text } }, true)}
            empty={table.info === null ? "Loading…" : table.info.total === 0 ? "There are no rows." : "No row matches the search and the filters."}
            {...(props.reveal === undefined ? {} : { reveal: props.reveal })}
            {...(props.onOpen ? { onOpen: props.onOpen } : {})}
        />
    );
}

function Toolbar(props: { table: TableState; noun: string; name: string }): JSX.Element {
    const { place } = useStore();
    const { info, query } = props.table;
    const search = useRef<HTMLInputElement>(null);
    useEffect(() => {
        const listener = (event: KeyboardEvent): void => {
            const typing = event.target instanceof HTMLInputElement || event.target instanceof HTMLTextAreaElement;
            const find = (event.ctrlKey || event.metaKey) && event.key === "f";
            if ((event.key === "/" && !typing) || find) {
                event.preventDefault();
                search.current?.focus();
                search.current?.select();
            }
        };
        addEventListener("keydown", listener);
        return () => removeEventListener("keydown", listener);
    }, []);
    const filtered = place.search !== "" || Object.values(place.filters).some((text) => text !== "");
    return (
        <div class="toolbar" role="toolbar" aria-label="Search and export">
            <input
                ref={search}
                class="search"
                type="search"
                placeholder="Search symbols and texts   /"
                aria-label="Search in all texts"
                value={place.search}
                onInput={(event) => go({ search: event.currentTarget.value }, true)}
            />
            <span class="count" role="status">
                {info ? rowCountText(info.rows, info.total, info.done, props.noun) : ""}
            </span>
            {filtered && (
                <button class="link" onClick={() => go({ search: "", filters: {} })}>
                    Clear filters
                </button>
            )}
            <span class="spring" />
            <ColumnChooser columns={info?.columns ?? []} />
            <ExportMenu
                onPrint={() =>
                    void busy("Preparing the rows", async () => {
                        const { cells } = await client.call("rows", query, 0, printedRows);
                        const shown = (info?.columns ?? []).map((column, at) => ({ column, cells: cells[at] ?? [] })).filter(({ column }) => !place.hidden.includes(column.key));
                        update({
                            sheet: { title: `${current().file?.name ?? ""}: ${props.name}`, columns: shown.map(({ column }) => column), cells: shown.map((one) => one.cells), total: info?.rows ?? 0 },
                        });
                    })
                }
                onExport={(format) =>
                    void busy("Exporting", async () => {
                        const keys = (info?.columns ?? []).map(({ key }) => key).filter((key) => !current().place.hidden.includes(key));
                        download(await client.call("export", query, format, keys), `${props.name}.${format}`);
                    })
                }
            />
        </div>
    );
}

function Menu(props: { label: string; children: (close: () => void) => JSX.Element }): JSX.Element {
    const [open, setOpen] = useState(false);
    const box = useRef<HTMLDivElement>(null);
    useEffect(() => {
        if (!open) return;
        const outside = (event: Event): void => {
            if (!box.current?.contains(event.target as Node)) setOpen(false);
        };
        const escape = (event: KeyboardEvent): void => {
            if (event.key === "Escape") setOpen(false);
        };
        addEventListener("pointerdown", outside);
        addEventListener("keydown", escape);
        return () => {
            removeEventListener("pointerdown", outside);
            removeEventListener("keydown", escape);
        };
    }, [open]);
    return (
        <div class="menu" ref={box}>
            <button aria-expanded={open} onClick={() => setOpen(!open)}>
                {props.label} <span aria-hidden="true">▾</span>
            </button>
            {open && <div class="menu-box">{props.children(() => setOpen(false))}</div>}
        </div>
    );
}

function ColumnChooser({ columns }: { columns: ColumnInfo[] }): JSX.Element {
    const { place } = useStore();
    return (
        <Menu label="Columns">
            {() => (
                <fieldset>
                    <legend class="hidden-text">Columns shown</legend>
                    {columns.map(({ key, title, type }) => (
                        <label key={key}>
                            <input
                                type="checkbox"
                                checked={!place.hidden.includes(key)}
                                disabled={!place.hidden.includes(key) && place.hidden.length + 1 >= columns.length}
                                onChange={() =>
                                    go({ hidden: place.hidden.includes(key) ? place.hidden.filter((one) => one !== key) : [...place.hidden, key] }, true)
                                }
                            />
                            {title} <span class="quiet">{type}</span>
                        </label>
                    ))}
                </fieldset>
            )}
        </Menu>
    );
}

function ExportMenu({ onExport, onPrint }: { onExport: (format: ExportFormat) => void; onPrint: () => void }): JSX.Element {
    const formats: [ExportFormat, string][] = [
        ["csv", "CSV"],
        ["ndjson", "NDJSON"],
        ["parquet", "Parquet"],
    ];
    return (
        <Menu label="Export">
            {(close) => (
                <>
                    <p class="quiet">The rows and columns shown, as</p>
                    {formats.map(([format, title]) => (
                        <button
                            key={format}
                            onClick={() => {
                                close();
                                onExport(format);
                            }}
                        >
                            {title}
                        </button>
                    ))}
                    <button
                        onClick={() => {
                            close();
                            onPrint();
                        }}
                    >
                        Print
                    </button>
                </>
            )}
        </Menu>
    );
}

// ---- other sections

export function SectionsView(): JSX.Element {
    const { place, file } = useStore();
    if (!file) return <></>;
    const listed = file.sections.filter(({ id }) => id !== symbolsSection);
    const section = listed.find(({ id }) => id === place.section) ?? listed[0];
    if (!section) return <p class="note">This file has no sections besides the symbols.</p>;
    return (
        <div class="with-list">
            <nav class="section-list" aria-label="Sections">
                {listed.map((one) => (
                    <button
                        key={one.entry}
                        aria-current={one.entry === section.entry ? "page" : undefined}
                        onClick={() => go({ ...clean, section: one.id })}
                    >
                        <span class={`swatch tone-${one.id % 12}`} aria-hidden="true" />
                        <span class="section-name">{one.name === "" ? `section ${one.id}` : one.title}</span>
                        <span class="quiet">{one.levels[0] ? one.levels[0].rows.toLocaleString("en-US") : ""}</span>
                        {one.damage.length > 0 && (
                            <span class="dot bad" title="damaged">
                                <span class="hidden-text">damaged</span>
                            </span>
                        )}
                    </button>
                ))}
            </nav>
            <SectionPane key={section.entry} entry={section.entry} />
        </div>
    );
}

function SectionPane({ entry }: { entry: number }): JSX.Element {
    const { place, file } = useStore();
    const section = file?.sections.find((one) => one.entry === entry);
    if (!section) return <></>;
    const levels = section.levels;
    const readable = section.readable && section.name !== "";
    return (
        <div class="table-pane">
            <div class="pane-title">
                <h2>{section.name === "" ? `Section ${section.id}` : section.title}</h2>
                <span class="quiet mono">
                    {offsetText(section.offset)} · {plural(section.size, "byte")}
                </span>
                <span class="spring" />
                {levels.length > 1 && readable && (
                    <div class="segments" role="group" aria-label="Show as">
                        <button aria-pressed={!place.tree} onClick={() => go({ tree: false })}>
                            Table
                        </button>
                        <button aria-pressed={place.tree} onClick={() => go({ tree: true })}>
                            Tree
                        </button>
                    </div>
                )}
            </div>
            {section.damage.map((damage) => (
                <p key={damage} class="note bad">
                    {damage}
                </p>
            ))}
            {!readable ? (
                <SectionBytes section={section} offset={place.offset} />
            ) : place.tree && levels.length > 1 ? (
                <Tree section={section} />
            ) : (
                <LevelTable section={section.id} name={section.name} levels={levels.map(({ name, rows }) => ({ name, rows }))} place={place} />
            )}
        </div>
    );
}

function LevelTable(props: { section: number; name: string; levels: { name: string; rows: number }[]; place: ReturnType<typeof current>["place"] }): JSX.Element {
    const { levels, place } = props;
    const level = Math.min(place.level, Math.max(0, levels.length - 1));
    const source: TableSource = { slot: 0, section: props.section, level, ...(place.parent >= 0 && level > 0 ? { parent: place.parent } : {}) };
    const table = useTable(source, place);
    const reveal = useReveal(table, place.row);
    const below = levels[level + 1];
    const noun = levels[level]?.name ?? "rows";
    return (
        <>
            {levels.length > 1 && (
                <div class="crumbs">
                    {levels.map(({ name, rows }, at) => (
                        <button key={name} aria-pressed={at === level && place.parent < 0} onClick={() => go({ ...clean, level: at })}>
                            {name} <span class="quiet">{rows.toLocaleString("en-US")}</span>
                        </button>
                    ))}
                    {place.parent >= 0 && level > 0 && (
                        <span>
                            {noun} of row {place.parent + 1} of {levels[level - 1]?.name}
                        </span>
                    )}
                    <span class="spring" />
                    {level > 0 && (
                        <button
                            disabled={place.row < 0 && place.parent < 0}
                            onClick={() =>
                                void (place.parent >= 0 ? Promise.resolve(place.parent) : client.call("parent", 0, props.section, level, place.row)).then((row) =>
                                    go({ ...clean, level: level - 1, row }),
                                )
                            }
                        >
                            ↑ Row above
                        </button>
                    )}
                    {below && (
                        <button disabled={place.row < 0} onClick={() => go({ ...clean, level: level + 1, parent: place.row })}>
                            ↓ Its {below.name}
                        </button>
                    )}
                </div>
            )}
            <Toolbar table={table} noun={noun} name={levels.length > 1 ? `${props.name}-${noun}` : props.name} />
            <div class="with-side">
                <div class="table-pane">
                    <TablePane
                        table={table}
                        label={`Section ${props.name}`}
                        reveal={reveal}
                        {...(below ? { onOpen: (row: number) => go({ ...clean, level: level + 1, parent: row }) } : {})}
                    />
                </div>
                {place.row >= 0 && <ElementBytes section={props.section} level={level} row={place.row} noun={singular(noun)} offset={place.offset} />}
            </div>
        </>
    );
}
