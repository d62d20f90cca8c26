// Bytes of the file, 16 a line, with a stretch of them marked.

import type { JSX } from "preact";
import { useEffect, useState } from "preact/hooks";
import { client } from "./client";
import { count } from "./format";
import { useStore } from "./state";

export interface Mark {
    offset: number;
    size: number;
    tone: string;
}

export function Hex(props: { offset: number; size: number; marks: Mark[]; label: string }): JSX.Element {
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
        for (const mark of props.marks) if (offset >= mark.offset && offset < mark.offset + mark.size) return mark.tone;
        return offset < props.offset || offset >= props.offset + props.size ? "outside" : "";
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
