// What the check found: a list, and for the chosen finding its place in the map, its bytes and its row.

import type { JSX } from "preact";
import { client } from "./client";
import { busy, runCheck } from "./files";
import { count, offsetText, plural } from "./format";
import { Hex } from "./Hex";
import { FileMap, openSection } from "./Overview";
import { go, useStore } from "./state";

export function Findings(): JSX.Element {
    const { file, check, checking, place } = useStore();
    if (!file) return <></>;
    const show = async (section: number, offset: number): Promise<void> => {
        const found = file.sections.find(({ id, readable }) => id === section && readable);
        if (!found) return;
        const row = await client.call("rowAt", 0, section, offset);
        if (row >= 0) go({ view: "symbols", row, search: "", filters: {}, sort: null });
        else openSection(found);
    };
    const window = 256;
    const start = Math.max(0, place.offset - (place.offset % 16) - 64);
    return (
        <div class="scroll">
            <FileMap />
            {place.offset >= 0 && (
                <section aria-label="Bytes at the place">
                    <h2>Bytes at {offsetText(place.offset)}</h2>
                    <Hex offset={start} size={Math.min(window, file.size - start)} marks={[{ offset: place.offset, size: 4, tone: "marked" }]} label="Bytes around the place" />
                </section>
            )}
            <h2>{check ? (check.total === 0 ? "Nothing is wrong" : plural(check.total, "finding")) : checking ? "Checking…" : "Not checked yet"}</h2>
            {!check && !checking && (
                <p>
                    <button class="primary" onClick={() => void busy("Checking", runCheck)}>
                        Check the file
                    </button>{" "}
                    <span class="quiet">It goes over the whole file three times, which takes a while in a file of this size.</span>
                </p>
            )}
            {check?.total === 0 && <p class="quiet">All sizes, counts and texts agree, and readers get everything.</p>}
            {check && check.total > 0 && (
                <table class="plain findings">
                    <caption class="hidden-text">Findings</caption>
                    <thead>
                        <tr>
                            <th scope="col">kind</th>
                            <th scope="col">section</th>
                            <th scope="col">offset</th>
                            <th scope="col">what</th>
                            <th scope="col">
                                <span class="hidden-text">Go to</span>
                            </th>
                        </tr>
                    </thead>
                    <tbody>
                        {check.findings.map((finding, at) => (
                            <tr key={at} class={finding.offset !== null && finding.offset === place.offset ? "selected" : ""}>
                                <td>
                                    <span class="badge bad">{finding.kind}</span>
                                </td>
                                <td>{finding.section === 0 ? "file" : (file.sections.find(({ id }) => id === finding.section)?.title ?? finding.section)}</td>
                                <td class="mono">
                                    {finding.offset === null ? (
                                        ""
                                    ) : (
                                        <button class="link" onClick={() => go({ offset: finding.offset as number })} title="Show the bytes">
                                            {offsetText(finding.offset)}
                                        </button>
                                    )}
                                </td>
                                <td>{finding.text}</td>
                                <td>
                                    {finding.section > 0 && (
                                        <button class="link" onClick={() => void show(finding.section, finding.offset ?? 0)}>
                                            table
                                        </button>
                                    )}
                                </td>
                            </tr>
                        ))}
                    </tbody>
                </table>
            )}
            {check && check.findings.length < check.total && <p class="quiet">and {count(check.total - check.findings.length)} more of these kinds</p>}
        </div>
    );
}
