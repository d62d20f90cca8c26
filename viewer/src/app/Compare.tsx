// Two files compared: additions, removals and changes, field by field.

import type { JSX } from "preact";
import { useEffect, useState } from "preact/hooks";
import { symbolsSection, type Change, type CompareQuery, type CompareSummary } from "../protocol";
import { client } from "./client";
import { busy, closeOther } from "./files";
import { bytesText, count, plural } from "./format";
import { changeKinds, clean, go, home, useStore } from "./state";

const step = 200;

function changesIn({ added, removed, changed }: CompareSummary["sections"][number]): number {
    return added + removed + changed;
}

export function Compare(): JSX.Element {
    const { file, other, place, revision } = useStore();
    const [summary, setSummary] = useState<CompareSummary | null>(null);
    const [all, setAll] = useState(false);
    useEffect(() => {
        setSummary(null);
        if (!other) return;
        let wanted = true;
        void busy("Comparing", async () => {
            const found = await client.call("compare");
            if (wanted) setSummary(found);
        });
        return () => void (wanted = false);
    }, [other, revision]);
    if (!file) return <></>;
    if (!other) {
        return (
            <section class="welcome">
                <div class="drop-zone">
                    <h2>Drop a second file here</h2>
                    <p class="quiet">or use “Compare with…”. {file.name} is the older one of the two.</p>
                    <p class="quiet">A link keeps the section, the filters and the search of a comparison, but not the second file.</p>
                </div>
            </section>
        );
    }
    if (!summary) return <p class="note">Comparing…</p>;
    const first = summary.sections.find((one) => changesIn(one) > 0);
    const unchanged = summary.sections.filter((one) => changesIn(one) === 0).length;
    const section = summary.sections.find(({ id }) => id === place.compared)?.id ?? first?.id ?? 0;
    const field = section === symbolsSection ? summary.fields.find(({ id }) => id === place.field)?.id : undefined;
    const query: CompareQuery = { section, kinds: place.kinds, field: field ?? null, search: place.find };
    return (
        <div class="scroll">
            <div class="pane-title">
                <h2>
                    {file.name} → {other.name}
                </h2>
                <span class="quiet">
                    {bytesText(file.size)} → {bytesText(other.size)}
                </span>
                <span class="spring" />
                <button onClick={() => void closeOther()}>Close the comparison</button>
            </div>
            {summary.damage.map((text) => (
                <p key={text} class="note bad">
                    {text}
                </p>
            ))}
            {summary.damage.length > 0 && <p class="quiet">What readers do not get because of damage counts as missing.</p>}
            {!first ? (
                <p class="note good">{summary.damage.length > 0 ? "What can be read of the two files is identical." : "The contents of the two files are identical."}</p>
            ) : (
                <>
                    <table class="plain compare">
                        <caption class="hidden-text">Changes by section</caption>
                        <thead>
                            <tr>
                                <th scope="col">section</th>
                                {[...changeKinds, "same"].map((kind) => (
                                    <th key={kind} scope="col" class="number">
                                        {kind}
                                    </th>
                                ))}
                            </tr>
                        </thead>
                        <tbody>
                            {summary.sections.filter((one) => all || changesIn(one) > 0 || one.id === section).map((one) => (
                                <tr key={one.id} class={one.id === section ? "selected" : changesIn(one) === 0 ? "quiet" : ""}>
                                    <th scope="row">
                                        <button class="link" aria-pressed={one.id === section} onClick={() => go({ compared: one.id })}>
                                            {one.title}
                                        </button>
                                    </th>
                                    {changeKinds.map((kind) => (
                                        <td key={kind} class={`number ${one[kind] > 0 ? kind : "none"}`}>
                                            {count(one[kind])}
                                        </td>
                                    ))}
                                    <td class="number">{count(one.same)}</td>
                                </tr>
                            ))}
                        </tbody>
                    </table>
                    {unchanged > 0 && (
                        <label class="quiet">
                            <input type="checkbox" checked={all} onChange={() => setAll(!all)} /> also the {plural(unchanged, "section")} without changes
                        </label>
                    )}
                    <div class="toolbar" role="toolbar" aria-label="Filter the changes">
                        <div class="segments" role="group" aria-label="Kinds of changes">
                            {changeKinds.map((kind) => (
                                <button
                                    key={kind}
                                    class={kind}
                                    aria-pressed={place.kinds.includes(kind)}
                                    onClick={() => go({ kinds: changeKinds.filter((one) => place.kinds.includes(one) !== (one === kind)) })}
                                >
                                    {kind}
                                </button>
                            ))}
                        </div>
                        {section === symbolsSection && summary.fields.length > 0 && (
                            <label>
                                field{" "}
                                <select value={field ?? ""} onChange={(event) => go({ field: event.currentTarget.value === "" ? home.field : Number(event.currentTarget.value) })}>
                                    <option value="">any</option>
                                    {summary.fields.map(({ id, name, changed }) => (
                                        <option key={id} value={id}>
                                            {name} ({count(changed)})
                                        </option>
                                    ))}
                                </select>
                            </label>
                        )}
                        <input class="search" type="search" placeholder="Search" aria-label="Search the changes" value={place.find} onInput={(event) => go({ find: event.currentTarget.value }, true)} />
                    </div>
                    <Changes query={query} revision={revision} />
                </>
            )}
        </div>
    );
}

function Changes({ query, revision }: { query: CompareQuery; revision: number }): JSX.Element {
    const key = JSON.stringify(query);
    const symbols = query.section === symbolsSection;
    const fileName = useStore().file?.name ?? "";
    const [wanted, setWanted] = useState(step);
    const [list, setList] = useState<{ total: number; changes: Change[] }>({ total: 0, changes: [] });
    useEffect(() => setWanted(step), [key]);
    useEffect(() => {
        let mounted = true;
        void client.call("changes", query, 0, wanted).then((found) => mounted && setList(found), () => {});
        return () => void (mounted = false);
    }, [key, wanted, revision]);
    return (
        <>
            <p class="quiet" role="status">
                {plural(list.total, "change")}
            </p>
            <table class="plain changes">
                <caption class="hidden-text">Changes</caption>
                <thead>
                    <tr>
                        <th scope="col">kind</th>
                        <th scope="col">{symbols ? "symbol" : "element"}</th>
                        <th scope="col">what</th>
                    </tr>
                </thead>
                <tbody>
                    {list.changes.map((change, at) => (
                        <tr key={at}>
                            <td>
                                <span class={`badge ${change.kind}`}>{change.kind}</span>
                            </td>
                            <th scope="row">
                                {symbols && change.before >= 0 ? (
                                    <button class="link" title={`Show it in ${fileName}`} onClick={() => go({ ...clean, view: "symbols", row: change.before })}>
                                        {change.key}
                                    </button>
                                ) : (
                                    change.key
                                )}
                            </th>
                            <td>
                                {change.cells.map((cell) => (
                                    <span key={cell.name} class="change-cell">
                                        <span class="quiet">{cell.name}</span>{" "}
                                        {change.kind !== "added" && <del>{cell.before === "" ? "∅" : cell.before}</del>}
                                        {change.kind === "changed" && " → "}
                                        {change.kind !== "removed" && <ins>{cell.after === "" ? "∅" : cell.after}</ins>}
                                    </span>
                                ))}
                            </td>
                        </tr>
                    ))}
                </tbody>
            </table>
            {list.total > list.changes.length && (
                <button onClick={() => setWanted(wanted + 5 * step)}>Show more ({count(list.total - list.changes.length)} left)</button>
            )}
        </>
    );
}
