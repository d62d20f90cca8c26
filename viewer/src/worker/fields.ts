// Typed fields as they are stored: values by tag and dictionary, and a record's detail with its bytes.

import type { DetailField, Dictionary, RecordDetail, ValueType } from "../protocol";
import { boolText, Column, dateText, displayText, hexText, shortestFloat, shownText, type ColumnPlace, type Memory, type Value } from "./columns";
import type { OpenFile } from "./engine";
import type { Front } from "./front";

export function payloadNumber(bytes: Uint8Array): bigint {
    let number = 0n;
    for (let at = bytes.length - 1; at >= 0; --at) number = (number << 8n) | BigInt(bytes[at] ?? 0);
    return number;
}

// The type that a payload is shown as: the dictionary's where its size allows that, else the tag's.
export function typeOf(type: ValueType | undefined, isText: boolean, size: number): ValueType {
    if (isText) return "text";
    switch (type) {
        case "unsigned":
        case "signed":
        case "bool":
            return size > 0 ? type : "hex";
        case "date":
            return size >= 4 ? type : "hex";
        case "float":
            return size === 4 || size === 8 ? type : "hex";
        case "hex":
            return "hex";
        default:
            return size > 0 ? "unsigned" : "hex";
    }
}

export function valueText(type: ValueType, payload: Uint8Array, asText = shownText): { text: string; odd: boolean } {
    if (type === "text") return asText(payload);
    if (payload.length === 0) return { text: "", odd: false };
    const view = new DataView(payload.buffer, payload.byteOffset, payload.length);
    switch (type) {
        case "unsigned":
            return { text: String(payloadNumber(payload)), odd: false };
        case "bool":
            return { text: boolText(payloadNumber(payload)), odd: payloadNumber(payload) > 1n };
        case "signed":
            return { text: String(BigInt.asIntN(payload.length * 8, payloadNumber(payload))), odd: false };
        case "date": {
            const text = dateText(Number(payloadNumber(payload)));
            return { text, odd: !text.includes("-") };
        }
        case "float":
            return payload.length === 4
                ? { text: shortestFloat(view.getFloat32(0, true)), odd: false }
                : { text: String(view.getFloat64(0, true)), odd: false };
        default:
            return { text: "0x" + hexText(payload), odd: false };
    }
}

// The value column of a level whose rows are typed fields: each value has its own type.
export class FieldColumn extends Column {
    constructor(
        place: ColumnPlace,
        memory: Memory,
        private readonly ids: Column,
        private readonly tags: Column,
        private readonly textTag: number,
        private readonly dictionary: () => Dictionary,
    ) {
        super({ ...place, type: "text" }, memory);
    }

    private shown(row: number, asText = shownText): { text: string; odd: boolean } {
        const payload = this.bytes(row);
        const entry = this.dictionary()[String(this.ids.number(row))];
        return valueText(typeOf(entry?.type, this.tags.number(row) === this.textTag, payload.length), payload, asText);
    }

    override text(row: number): string {
        return this.shown(row, displayText).text;
    }

    override value(row: number): Value {
        return this.text(row);
    }

    override shownText(row: number): string {
        return this.shown(row).text;
    }

    override shownState(row: number): number {
        return this.shown(row).odd ? 3 : 1;
    }
}

export function recordDetail(front: Front, file: OpenFile, row: number): RecordDetail {
    const record = front.record(file.slot, row);
    const fields = record.fields.map((field): DetailField => {
        const entry = file.dictionary[field.id];
        const payload = front.memory(file.bytes + field.payload.offset, field.payload.size);
        const type = typeOf(entry?.type, field.isText, payload.length);
        const { text, odd } = valueText(type, payload);
        return {
            id: field.id,
            name: entry?.name ?? "",
            type,
            tag: field.tag,
            value: text,
            isDefault: field.isDefault,
            problem: field.cut ? "cut off" : odd ? (type === "date" ? "not a date" : "not plain text") : "",
            offset: field.offset,
            size: field.size,
            payload: field.payload,
        };
    });
    const symbol = front.memory(file.bytes + record.text.offset, record.text.size);
    return { row, title: shownText(symbol).text, offset: record.offset, size: record.size, fields };
}
