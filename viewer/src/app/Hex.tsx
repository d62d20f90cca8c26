// Bytes of the file, 16 a line, with some of them marked.

import type { JSX } from "preact";
import { useEffect, useState } from "preact/hooks";
import type { Extent } from "../protocol";
import { client } from "./client";
import { count, holds, offsetText, plural } from "./format";
import { go, useStore } from "./state";
import { useAnswer } from "./useTable";

export interface Mark extends Extent {
    tone: string;
}

// Lines around a place.
const around = 256;

function windowAt(offset: number, fileSize: number): Extent {
    const start = Math.max(0, Math.min(offset, fileSize) - (offset % 16) - 64);
    return { offset: start, size: Math.min(around, fileSize - start) };
}

// The bytes around a place, those of its element marked off from the rest.
export function PlaceBytes({ offset, element }: { offset: number; element: Extent | null }): JSX.Element {
    const { file } = useStore();
    return <Hex {...windowAt(offset, file?.size ?? 0)} marks={[{ offset, size: 4, tone: "marked" }]} label="Bytes around the place" within={element} />;
}

// The bytes of a section that cannot be read, from the place that a finding leads to.
export function SectionBytes({ section, offset }: { section: Extent; offset: number }): JSX.Element {
    if (offset !== section.offset && holds(section, offset)) return <PlaceBytes offset={offset} element={section} />;
    return <Hex offset={section.offset} size={section.size} marks={[]} label="Bytes of the section" />;
}

// A row of a section: its bytes, or those around the place that a finding leads to.
export function ElementBytes(props: { section: number; level: number; row: number; noun: string; offset: number }): JSX.Element {
    const { section, level, row, offset } = props;
    const { revision } = useStore();
    const element = useAnswer(() => client.call("element", 0, section, level, row), [section, level, row, revision]);
    return (
        <aside class="side" aria-label="Bytes of the row">
            <div class="pane-title">
                <h2>
                    {props.noun} {count(row + 1)}
                </h2>
                <button class="icon" onClick={() => go({ row: -1, offset: -1 }, true)} aria-label="Close the bytes">
                    ✕
                </button>
            </div>
            {element === null && <p class="quiet">Where it is in the file cannot be determined.</p>}
            {element && (
                <p class="quiet mono">
                    {offsetText(element.offset)} · {plural(element.size, "byte")}
                </p>
            )}
            {offset >= 0 ? <PlaceBytes offset={offset} element={element ?? null} /> : element && <Hex {...element} marks={[]} label="Bytes of the row" />}
        </aside>
    );
}

export interface HexProps extends Extent {
    marks: Mark[];
    label: string;
    within?: Extent | null; // bytes outside of it are dimmed; those shown where it is not given
}

export function Hex(props: HexProps): JSX.Element {
    const { revision } = useStore();
    const [bytes, setBytes] = useState<{ offset: number; data: Uint8Array } | null>(null);
    const start = props.offset - (props.offset % 16);
    const size = Math.min(4096, props.offset + props.size - start);
    useEffect(() => {
        let wanted = true;
        void client.call("bytes", 0, start, size).then(
            (data) => wanted && setBytes({ offset: start, data }),
            () => wanted && setBytes(null),
        );
        return () => void (wanted = false);
    }, [start, size, revision]);
    if (!bytes) return <></>;
    const toneOf = (offset: number): string => {
        return props.marks.find((mark) => holds(mark, offset))?.tone ?? (holds(props.within ?? props, offset) ? "" : "outside");
    };
    const lines: JSX.Element[] = [];
    for (let at = 0; at < bytes.data.length; at += 16) {
        const line = bytes.data.subarray(at, at + 16);
        lines.push(
            <tr key={at}>
                <th scope="row">{(bytes.offset + at).toString(16).padStart(8, "0")}</th>
                <td class="hex-bytes">
                    {[...line].map((byte, column) => (
                        <span key={column} class={toneOf(bytes.offset + at + column)}>
                            {byte.toString(16).padStart(2, "0")}
                        </span>
                    ))}
                </td>
                <td class="hex-text">
                    {[...line].map((byte, column) => (
                        <span key={column} class={toneOf(bytes.offset + at + column)}>
                            {byte >= 0x20 && byte < 0x7f ? String.fromCharCode(byte) : "·"}
                        </span>
                    ))}
                </td>
            </tr>,
        );
    }
    return (
        <div class="hex" tabIndex={0} role="region" aria-label={props.label}>
            <table>
                <tbody>{lines}</tbody>
            </table>
            {props.size > 4096 && <p class="quiet">the first 4,096 of {count(props.size)} bytes</p>}
        </div>
    );
}
