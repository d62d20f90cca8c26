// Charts of the symbols' values and of the sections' sizes, each with its numbers as a table.

import type { JSX } from "preact";
import { useEffect, useRef, useState } from "preact/hooks";
import uPlot from "uplot";
import { filterText } from "../filterText";
import { symbolsSection, type Bar, type Distribution, type SectionInfo } from "../protocol";
import { client } from "./client";
import { count, percent, plural } from "./format";
import { openSection } from "./Overview";
import { go, sizesChart, useStore } from "./state";
import { filtersOf, useTable } from "./useTable";

export function Charts(): JSX.Element {
    const { place, file } = useStore();
    const table = useTable({ slot: 0, section: symbolsSection, level: 0 }, place);
    const columns = table.info?.columns.filter(({ type }) => type !== "list") ?? [];
    const likely = columns.find(({ title }) => /exchange|venue|market|country/i.test(title)) ?? columns[1] ?? columns[0];
    const sizes = place.chart === sizesChart;
    const chosen = sizes ? undefined : (columns.find(({ key }) => key === place.chart) ?? likely);
    const [found, setFound] = useState<Distribution | null>(null);
    const query = { ...table.query, filters: filtersOf(table.info?.columns ?? [], place.filters) };
    const key = JSON.stringify([query, chosen?.key, table.version, place.names]);
    useEffect(() => {
        let wanted = true;
        if (!chosen) return;
        void client.call("distribution", query, chosen.key, place.names).then(
            (distribution) => wanted && setFound(distribution),
            () => wanted && setFound(null),
        );
        return () => void (wanted = false);
    }, [key]);
    if (!file) return <></>;
    const filtered = table.info !== null && table.info.rows < table.info.total;
    const followBar = (bar: Bar): void => {
        if (!bar.filter) return;
        go({ view: "symbols", filters: { ...place.filters, [bar.filter.column]: filterText(bar.filter) }, row: -1 });
    };
    return (
        <div class="with-list">
            <nav class="section-list" aria-label="Columns">
                <button aria-current={sizes ? "page" : undefined} onClick={() => go({ chart: sizesChart })}>
                    <span class="section-name">Sizes of sections</span>
                    <span class="quiet">bytes</span>
                </button>
                {columns.map((column) => (
                    <button key={column.key} aria-current={column.key === chosen?.key ? "page" : undefined} onClick={() => go({ chart: column.key, names: -1 })}>
                        <span class="section-name">{column.title}</span>
                        <span class="quiet">{column.type}</span>
                    </button>
                ))}
            </nav>
            <div class="scroll">
                {sizes && <Sizes sections={file.sections} total={file.size} />}
                {!sizes && table.error !== "" && <p class="note bad">{table.error}</p>}
                {!sizes && found && (
                    <>
                        <div class="pane-title">
                            <h2>{found.column.title}</h2>
                            <span class="quiet">
                                {plural(found.total, "symbol")}
                                {filtered ? " (filtered)" : ""} · {plural(found.distinct, "distinct value")}
                                {found.missing > 0 ? ` · ${count(found.missing)} without a value` : ""}
                            </span>
                        </div>
                        {found.least !== "" && (
                            <p class="quiet">
                                from <span class="value">{found.least}</span> to <span class="value">{found.most}</span>
                            </p>
                        )}
                        {found.bins.length > 1 && (
                            <>
                                <h3>{found.binUnit === "" ? "Distribution" : `Symbols by ${found.binUnit}`}</h3>
                                <Histogram bins={found.bins} title={found.column.title} dates={found.binUnit !== ""} />
                                <details>
                                    <summary>Numbers of the chart</summary>
                                    <BarTable bars={found.bins} total={found.total} heading={found.binUnit || "from"} onChoose={found.binUnit === "" ? null : followBar} />
                                </details>
                            </>
                        )}
                        <div class="pane-title">
                            <h3>{found.distinct > found.top.length ? `The ${found.top.length} most frequent values` : "All values"}</h3>
                            <NamesFrom sections={file.sections} chosen={found.names} />
                        </div>
                        <BarTable bars={found.top} total={found.total} heading={found.column.title} onChoose={followBar} />
                    </>
                )}
            </div>
        </div>
    );
}

// Chooses the section whose names are shown beside the values.
function NamesFrom(props: { sections: SectionInfo[]; chosen: number }): JSX.Element {
    const named = props.sections.filter(({ names, readable }) => readable && names);
    if (named.length === 0) return <></>;
    return (
        <label class="quiet">
            names from{" "}
            <select value={String(props.chosen)} onChange={(event) => go({ names: Number(event.currentTarget.value) })}>
                <option value="0">no section</option>
                {named.map(({ id, entry, title }) => (
                    <option key={entry} value={String(id)}>
                        {title}
                    </option>
                ))}
            </select>
        </label>
    );
}

function Sizes({ sections, total }: { sections: SectionInfo[]; total: number }): JSX.Element {
    const [all, setAll] = useState(true);
    const bySize = [...sections].sort((a, b) => b.size - a.size);
    const shown = all ? bySize : bySize.slice(1);
    const entryOf = new Map<string, SectionInfo>();
    for (const section of shown) {
        const label = `${section.id} ${section.title}`;
        entryOf.set(entryOf.has(label) ? `${label}, entry ${section.entry + 1}` : label, section);
    }
    const bars = [...entryOf].map(([label, { size }]): Bar => ({ label, count: size, filter: null }));
    return (
        <>
            <div class="pane-title">
                <h2>Sizes of sections</h2>
                <span class="quiet">
                    {plural(sections.length, "section")} · {plural(total, "byte")}
                </span>
            </div>
            <label>
                <input type="checkbox" checked={!all} onChange={() => setAll(!all)} /> without the largest, so that the others can be compared
            </label>
            <BarTable
                bars={bars}
                total={total}
                heading="section"
                unit="bytes"
                onChoose={({ label }) => {
                    const section = entryOf.get(label);
                    if (section) openSection(section);
                }}
            />
        </>
    );
}

// A bar chart as a table: the chart and its numbers in one.
function BarTable(props: { bars: Bar[]; total: number; heading: string; unit?: string; onChoose: ((bar: Bar) => void) | null }): JSX.Element {
    const most = Math.max(1, ...props.bars.map((bar) => bar.count));
    const named = props.bars.some(({ name }) => name !== undefined);
    const { onChoose, unit = "symbols" } = props;
    return (
        <table class="plain bars">
            <thead>
                <tr>
                    <th scope="col">{props.heading}</th>
                    {named && <th scope="col">name</th>}
                    <th scope="col" class="number">
                        {unit}
                    </th>
                    <th scope="col" class="number">
                        share
                    </th>
                    <th scope="col">
                        <span class="hidden-text">bar</span>
                    </th>
                </tr>
            </thead>
            <tbody>
                {props.bars.map((bar) => (
                    <tr key={bar.label}>
                        <th scope="row">
                            {onChoose && bar.label !== "" ? (
                                <button class="link" title={unit === "symbols" ? "Show these symbols" : "Show this section"} onClick={() => onChoose(bar)}>
                                    {bar.label}
                                </button>
                            ) : (
                                bar.label || <span class="quiet">empty text</span>
                            )}
                        </th>
                        {named && <td>{bar.name ?? ""}</td>}
                        <td class="number">{count(bar.count)}</td>
                        <td class="number">{percent(bar.count, props.total)}</td>
                        <td class="bar-cell" aria-hidden="true">
                            <span style={{ width: `${(100 * bar.count) / most}%` }} />
                        </td>
                    </tr>
                ))}
            </tbody>
        </table>
    );
}

function Histogram(props: { bins: Bar[]; title: string; dates: boolean }): JSX.Element {
    const { revision } = useStore();
    const box = useRef<HTMLDivElement>(null);
    const { bins, dates } = props;
    useEffect(() => {
        const element = box.current;
        if (!element) return;
        const colour = (name: string): string => getComputedStyle(element).getPropertyValue(name).trim();
        const axis = { stroke: colour("--quiet"), grid: { stroke: colour("--line"), width: 1 }, ticks: { show: false }, font: "12px system-ui, sans-serif" };
        const width = (): number => Math.max(240, Math.min(1100, element.clientWidth));
        const plot = new uPlot(
            {
                width: width(),
                height: 220,
                legend: { show: false },
                cursor: { y: false, points: { show: false }, drag: { x: false, y: false } },
                scales: { x: { time: false, range: () => [-0.6, bins.length - 0.4] }, y: { range: (_plot, _least, most) => [0, most * 1.08 || 1] } },
                series: [
                    {},
                    {
                        fill: colour("--accent"),
                        stroke: colour("--accent"),
                        width: 0,
                        paths: uPlot.paths.bars?.({ size: [0.86, 64], align: 0 }) as uPlot.Series.PathBuilder,
                        points: { show: false },
                    },
                ],
                axes: [
                    {
                        ...axis,
                        grid: { show: false },
                        size: 32,
                        incrs: [1, 2, 5, 10, 20, 50, 100],
                        values: (_plot, places) => places.map((at) => (Number.isInteger(at) ? (bins[at]?.label ?? "") : "")),
                    },
                    { ...axis, size: 64, values: (_plot, values) => values.map((value) => (Number.isInteger(value) ? count(value) : "")) },
                ],
            },
            [bins.map((_, at) => at), bins.map((bin) => bin.count)],
            element,
        );
        const resize = new ResizeObserver(() => plot.setSize({ width: width(), height: 220 }));
        resize.observe(element);
        return () => {
            resize.disconnect();
            plot.destroy();
        };
    }, [bins, dates, revision]);
    const most = bins.reduce((best, bin) => (bin.count > best.count ? bin : best));
    return <div class="chart" ref={box} role="img" aria-label={`Bars of ${props.title}: ${bins.length} bins, most at ${most.label} (${count(most.count)})`} />;
}
