// One symbol: its fields, defaults marked, and the bytes of each.

import type { JSX } from "preact";
import { useEffect, useState } from "preact/hooks";
import type { DetailField, RecordDetail } from "../protocol";
import { client } from "./client";
import { holds, offsetText, plural } from "./format";
import { Hex, type Mark } from "./Hex";
import { go, useStore } from "./state";

// `offset`: a place in the record that a finding leads to, -1 for none.
export function Detail({ row, offset }: { row: number; offset: number }): JSX.Element {
    const { revision } = useStore();
    const [detail, setDetail] = useState<RecordDetail | null>(null);
    const [field, setField] = useState<DetailField | null>(null);
    useEffect(() => {
        let wanted = true;
        void client.call("detail", 0, row).then(
            (found) => {
                if (!wanted) return;
                setDetail(found);
                setField(found.fields.find((one) => !one.isDefault && holds(one, offset)) ?? null);
            },
            () => wanted && setDetail(null),
        );
        return () => void (wanted = false);
    }, [row, offset, revision]);
    if (!detail) return <aside class="side" aria-label="Record" />;

    const inDefaults = field?.isDefault === true;
    const marks: Mark[] = field
        ? [
              { offset: field.offset, size: field.payload.offset - field.offset, tone: "head" },
              { offset: field.payload.offset, size: field.offset + field.size - field.payload.offset, tone: "marked" },
          ]
        : detail.fields.filter(({ isDefault }) => !isDefault).map((one) => ({ offset: one.offset, size: one.payload.offset - one.offset, tone: "head" }));
    return (
        <aside class="side" aria-label="Record">
            <div class="pane-title">
                <h2 class="record-title">{detail.title}</h2>
                <button class="icon" onClick={() => go({ row: -1 }, true)} aria-label="Close the record">
                    ✕
                </button>
            </div>
            <p class="quiet mono">
                row {(detail.row + 1).toLocaleString("en-US")} · {offsetText(detail.offset)} · {plural(detail.size, "byte")}
            </p>
            <table class="plain fields">
                <caption class="hidden-text">Fields of {detail.title}</caption>
                <thead>
                    <tr>
                        <th scope="col">field</th>
                        <th scope="col">value</th>
                        <th scope="col">type</th>
                    </tr>
                </thead>
                <tbody>
                    {detail.fields.map((one, at) => (
                        <tr key={at} class={one === field ? "selected" : ""}>
                            <th scope="row">
                                <button class="link" aria-pressed={one === field} title="Show its bytes" onClick={() => setField(one === field ? null : one)}>
                                    {one.name || `field ${one.id}`}
                                </button>
                            </th>
                            <td class={one.isDefault ? "default" : ""}>
                                <span class="value">{one.value === "" ? <span class="quiet">no value</span> : one.value}</span>
                                {one.isDefault && <span class="badge">default</span>}
                                {one.problem && <span class="badge bad">{one.problem}</span>}
                            </td>
                            <td class="quiet">
                                {one.type} <span title="type tag">#{one.tag}</span>
                            </td>
                        </tr>
                    ))}
                </tbody>
            </table>
            <h3>{field ? `Bytes of ${field.name || `field ${field.id}`}${inDefaults ? ", in the default fields" : ""}` : "Bytes"}</h3>
            {inDefaults && field ? (
                <Hex offset={field.offset} size={field.size} marks={marks} label="Bytes of the default field" />
            ) : (
                <Hex offset={detail.offset} size={detail.size} marks={marks} label="Bytes of the record" />
            )}
        </aside>
    );
}
