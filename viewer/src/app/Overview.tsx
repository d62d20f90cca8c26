// The file at a glance: its sections by offset and size, their contents, and damage.

import type { JSX } from "preact";
import { symbolsSection, type SectionInfo } from "../protocol";
import { bytesText, count, holds, offsetText, percent, plural, singular } from "./format";
import { clean, current, go, useStore } from "./state";

export function OverviewView(): JSX.Element {
    const { file, check, checking, place } = useStore();
    if (!file) return <></>;
    const damaged = new Set(file.sections.filter(({ damage }) => damage.length > 0).map(({ entry }) => entry));
    const sound = damaged.size === 0 && file.problems.length === 0;
    return (
        <div class="scroll">
            <dl class="facts">
                <Fact name="Symbols" value={count(file.symbols)} />
                <Fact name="Fields" value={count(file.fields.length)} />
                <Fact name="Sections" value={count(file.sections.length)} />
                <Fact name="Size" value={bytesText(file.size)} />
                <Fact
                    name="Findings"
                    value={check ? count(check.total) : checking ? "checking…" : "not checked"}
                    tone={check && check.total > 0 ? "bad" : check ? "good" : undefined}
                />
                <Fact name="Read in" value={`${Math.round(file.openMs)} ms`} />
                <Fact name="Memory" value={bytesText(file.memory)} />
            </dl>
            {file.problems.map((problem) => (
                <p key={problem} class="note bad">
                    {problem}
                </p>
            ))}
            <h2>Map of the file</h2>
            <FileMap />
            <h2>Sections</h2>
            <table class="plain sections">
                <caption class="hidden-text">Sections in the order of the directory{sound ? "" : "; some are damaged"}</caption>
                <thead>
                    <tr>
                        <th scope="col" class="number">id</th>
                        <th scope="col">section</th>
                        <th scope="col">rows</th>
                        <th scope="col" class="number">offset</th>
                        <th scope="col" class="number">size</th>
                        <th scope="col">share of the file</th>
                        <th scope="col">state</th>
                    </tr>
                </thead>
                <tbody>
                    {file.sections.map((section) => (
                        <SectionRow key={section.entry} section={section} fileSize={file.size} />
                    ))}
                    {file.gaps.map((gap) => (
                        <tr key={`gap-${gap.offset}`} class={place.offset === gap.offset ? "selected" : "quiet"}>
                            <td />
                            <td>bytes {gap.what}</td>
                            <td />
                            <td class="number mono">{offsetText(gap.offset)}</td>
                            <td class="number">{count(gap.size)}</td>
                            <td>
                                <Share part={gap.size} whole={file.size} />
                            </td>
                            <td />
                        </tr>
                    ))}
                </tbody>
            </table>
        </div>
    );
}

function Fact(props: { name: string; value: string; tone?: "good" | "bad" | undefined }): JSX.Element {
    return (
        <div class={`fact ${props.tone ?? ""}`}>
            <dt>{props.name}</dt>
            <dd>{props.value}</dd>
        </div>
    );
}

export function openSection(section: SectionInfo): void {
    const { place } = current();
    if (section.id === symbolsSection && section.readable) go(place.view === "symbols" ? {} : { ...clean, view: "symbols" });
    else go({ ...clean, view: "sections", section: section.id, offset: section.readable ? -1 : section.offset });
}

function SectionRow({ section, fileSize }: { section: SectionInfo; fileSize: number }): JSX.Element {
    const title = section.name === "" ? `section ${section.id} (no reader)` : section.title;
    const { place } = useStore();
    const here = holds(section.entryBytes, place.offset);
    return (
        <tr class={here ? "selected" : ""} aria-current={here ? "location" : undefined}>
            <td class="number">{section.id}</td>
            <td>
                <span class={`swatch tone-${section.id % 12}`} aria-hidden="true" />
                <button class="link" onClick={() => openSection(section)}>
                    {title}
                </button>
            </td>
            <td>{section.levels.map(({ name, rows }) => plural(rows, singular(name), name)).join(", ")}</td>
            <td class="number mono">{offsetText(section.offset)}</td>
            <td class="number">{count(section.size)}</td>
            <td>
                <Share part={section.size} whole={fileSize} />
            </td>
            <td>
                <StateOf section={section} />
            </td>
        </tr>
    );
}

function StateOf({ section }: { section: SectionInfo }): JSX.Element {
    if (section.damage.length === 0) {
        if (!section.readable) return <span class="state bad">not found</span>;
        return section.name === "" ? <span class="quiet">bytes only</span> : <span class="state good">sound</span>;
    }
    return (
        <span class="state bad" title={section.damage.join("\n")}>
            {section.readable ? "damaged" : "not readable"}: {section.damage[0]}
        </span>
    );
}

function Share({ part, whole }: { part: number; whole: number }): JSX.Element {
    return (
        <span class="share">
            <span class="share-bar" aria-hidden="true">
                <span style={{ width: `${Math.min(100, (100 * part) / whole)}%` }} />
            </span>
            <span class="number">{percent(part, whole)}</span>
        </span>
    );
}

interface Stretch {
    key: string;
    label: string;
    tone: string;
    offset: number;
    size: number;
    section: SectionInfo | null;
    marks: number[]; // offsets of findings
}

// Sections by offset, with widths in proportion to their sizes; small ones are wide enough to be seen and clicked.
export function FileMap(): JSX.Element {
    const { file, check, place } = useStore();
    if (!file) return <></>;
    const marks = (check?.findings ?? []).map(({ offset }) => offset).filter((offset) => offset !== null);
    const within = (offset: number, size: number): number[] => marks.filter((mark) => mark >= offset && mark < offset + size).slice(0, 40);
    const stretches: Stretch[] = [
        {
            key: "directory",
            label: "directory",
            tone: "tone-none",
            offset: 0,
            size: file.directorySize,
            section: null,
            marks: within(0, file.directorySize),
        },
        ...file.sections
            .filter(({ size }) => size > 0)
            .map((section) => ({
                key: `s${section.entry}`,
                label: section.name === "" ? `section ${section.id}` : section.title,
                tone: section.readable ? `tone-${section.id % 12}` : "tone-bad",
                offset: section.offset,
                size: section.size,
                section,
                marks: within(section.offset, section.size),
            })),
        ...file.gaps
            .filter(({ what }) => what.startsWith("of no"))
            .map((gap) => ({
                key: `g${gap.offset}`,
                label: "of no section",
                tone: "tone-gap",
                offset: gap.offset,
                size: gap.size,
                section: null,
                marks: within(gap.offset, gap.size),
            })),
    ].sort((a, b) => a.offset - b.offset);
    const total = stretches.reduce((sum, { size }) => sum + size, 0);
    return (
        <div class="map">
            <div class="map-bar" role="group" aria-label="Map of the file by offset">
                {stretches.map((stretch) => (
                    <button
                        key={stretch.key}
                        class={`map-part ${stretch.tone} ${stretch.section?.damage.length ? "damaged" : ""} ${holds(stretch, place.offset) ? "here" : ""}`}
                        style={{ flexGrow: Math.max(1, (1000 * stretch.size) / total) }}
                        title={`${stretch.label}\n${offsetText(stretch.offset)}, ${plural(stretch.size, "byte")}${stretch.section?.damage.length ? "\n" + stretch.section.damage.join("\n") : ""}`}
                        aria-label={`${stretch.label}, ${bytesText(stretch.size)}${stretch.marks.length > 0 ? ", " + plural(stretch.marks.length, "finding") : ""}`}
                        onClick={() => (stretch.section ? openSection(stretch.section) : go({ view: "findings", offset: stretch.offset }))}
                    >
                        <span class="map-label">{stretch.size / total > 0.06 ? stretch.label : ""}</span>
                        {stretch.marks.map((mark, at) => (
                            <i key={at} class="map-mark" style={{ left: `${(100 * (mark - stretch.offset)) / stretch.size}%` }} />
                        ))}
                    </button>
                ))}
            </div>
            <div class="map-scale mono" aria-hidden="true">
                <span>{offsetText(0)}</span>
                <span class="quiet">small sections are drawn wider{file.sections.some(({ damage }) => damage.length > 0) ? " · hatched: damaged" : ""}{marks.length > 0 ? " · ▼ finding" : ""}</span>
                <span>{offsetText(file.size)}</span>
            </div>
        </div>
    );
}
