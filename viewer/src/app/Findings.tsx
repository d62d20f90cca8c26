// What the check found. The chosen finding is marked in the map, with its bytes and the row that holds them.

import type { JSX } from "preact";
import { useState } from "preact/hooks";
import { symbolsSection, type Extent, type Finding, type Query, type RowPlace, type SectionInfo } from "../protocol";
import { client } from "./client";
import { busy, runCheck } from "./files";
import { count, offsetText, plural, singular } from "./format";
import { PlaceBytes } from "./Hex";
import { FileMap } from "./Overview";
import { clean, go, useStore } from "./state";
import { useAnswer } from "./useTable";

const step = 200;

export function Findings(): JSX.Element {
    const { file, check, checking, place } = useStore();
    const [shown, setShown] = useState(step);
    if (!file) return <></>;
    const sectionOf = (id: number): SectionInfo | undefined => file.sections.find((one) => one.id === id && one.readable) ?? file.sections.find((one) => one.id === id);
    // A finding about a whole section is shown at its start.
    const offsetOf = ({ section, offset }: Finding): number => offset ?? sectionOf(section)?.offset ?? 0;
    return (
        <div class="scroll">
            <FileMap />
            {place.offset >= 0 && <Place key={`${place.section}/${place.offset}`} offset={place.offset} section={sectionOf(place.section)} />}
            <h2>{check ? (check.total === 0 ? "No findings" : plural(check.total, "finding")) : checking ? "Checking…" : "Not checked yet"}</h2>
            {!check && !checking && (
                <p>
                    <button class="primary" onClick={() => void busy("Checking", runCheck)}>
                        Check the file
                    </button>{" "}
                    <span class="quiet">The check reads the whole file three times, which takes a while for a file of this size.</span>
                </p>
            )}
            {check?.total === 0 && <p class="quiet">All sizes, counts and texts agree, and readers get every value.</p>}
            {check && check.total > 0 && (
                <table class="plain findings">
                    <caption class="hidden-text">Findings</caption>
                    <thead>
                        <tr>
                            <th scope="col">kind</th>
                            <th scope="col">section</th>
                            <th scope="col">offset</th>
                            <th scope="col">what</th>
                        </tr>
                    </thead>
                    <tbody>
                        {check.findings.slice(0, shown).map((finding, at) => {
                            const chosen = offsetOf(finding) === place.offset && finding.section === place.section;
                            return (
                                <tr key={at} class={chosen ? "selected" : ""}>
                                    <td>
                                        <span class="badge bad">{finding.kind}</span>
                                    </td>
                                    <td>{finding.section === 0 ? "file" : (sectionOf(finding.section)?.title ?? finding.section)}</td>
                                    <td class="mono">{finding.offset === null ? "" : offsetText(finding.offset)}</td>
                                    <td>
                                        <button class="link" aria-pressed={chosen} title="Show the place" onClick={() => go({ section: finding.section, offset: offsetOf(finding) })}>
                                            {finding.text}
                                        </button>
                                    </td>
                                </tr>
                            );
                        })}
                    </tbody>
                </table>
            )}
            {check && check.findings.length > shown && (
                <button onClick={() => setShown(shown + 5 * step)}>Show more ({count(check.findings.length - shown)} left)</button>
            )}
            {check && check.findings.length < check.total && <p class="quiet">{count(check.total - check.findings.length)} more findings are not listed.</p>}
        </div>
    );
}

interface Found extends RowPlace {
    title: string;
    extent: Extent | null;
    cells: { title: string; text: string }[];
}

// The row whose element holds the place, with its values.
async function rowAt(section: SectionInfo, offset: number): Promise<Found | null> {
    const place = await client.call("rowAt", 0, section.id, offset);
    if (!place) return null;
    const query: Query = { source: { slot: 0, section: section.id, level: place.level }, search: "", filters: [], sort: null };
    const { columns } = await client.call("table", query);
    const { cells } = await client.call("rows", query, place.row, 1);
    const symbol = section.id === symbolsSection;
    const extent = await (symbol ? client.call("detail", 0, place.row) : client.call("element", 0, section.id, place.level, place.row));
    return {
        ...place,
        title: `${section.title}, ${singular(section.levels[place.level]?.name ?? "rows")} ${count(place.row + 1)}`,
        extent,
        cells: columns
            .map(({ key, title }, at) => ({ key, title, text: cells[at]?.[0] ?? "" }))
            .filter(({ key, text }) => key !== "#" && text !== "")
            .slice(0, 8),
    };
}

// The bytes at an offset, and the way to the table that has them: the row, or the section's entry in the overview.
function Place({ offset, section }: { offset: number; section: SectionInfo | undefined }): JSX.Element {
    const { file, revision } = useStore();
    const readable = section?.readable && section.name !== "" && offset >= (file?.directorySize ?? 0);
    const found = useAnswer(() => (section && readable ? rowAt(section, offset) : Promise.resolve(null)), [section?.id, readable, offset, revision]);
    const show = (): void => {
        if (!section || !readable) go(section && offset >= (file?.directorySize ?? 0) ? { ...clean, view: "sections", section: section.id, offset } : { view: "overview", offset });
        else if (section.id === symbolsSection) go({ ...clean, view: "symbols", row: found?.row ?? -1, offset });
        else go({ ...clean, view: "sections", section: section.id, tree: false, level: found?.level ?? 0, row: found?.row ?? -1, offset });
    };
    return (
        <section aria-label="The chosen place" class="place">
            <div class="pane-title">
                <h2>Bytes at {offsetText(offset)}</h2>
                <button onClick={show}>{found ? "Show the row in its table" : section && readable ? "Show the section" : "Show the entry"}</button>
            </div>
            <p class="place-row">
                <span class="quiet">{found ? found.title : readable ? `${section.title}, outside of its elements` : (section?.title ?? "the file as a whole")}</span>
                {found?.cells.map(({ title, text }) => (
                    <span key={title} class="tree-cell">
                        <span class="quiet">{title}</span> {text}
                    </span>
                ))}
            </p>
            <PlaceBytes offset={offset} element={found?.extent ?? null} />
        </section>
    );
}
