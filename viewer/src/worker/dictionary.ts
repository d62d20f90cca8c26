// A starting point for a file without a dictionary: types inferred from the values, names to be filled in.

import type { Dictionary, ValueType } from "../protocol";
import { dateText } from "./columns";
import type { Table } from "./table";

// Values examined in each column.
const sample = 10_000;

export function inferDictionary(table: Table): Dictionary {
    const dictionary: Dictionary = {};
    for (const { key, column } of table.columns) {
        if (!key.startsWith("f")) continue;
        const id = key.slice(1);
        const step = Math.max(1, Math.floor(table.total / sample));
        const numbers: number[] = [];
        for (let row = 0; row < table.total; row += step) {
            const number = column.isNumeric ? column.number(row) : null;
            if (number !== null) numbers.push(number);
        }
        const type = column.isText ? (column.type === "hex" ? "hex" : "text") : inferType(numbers, column.place.width);
        dictionary[id] = { name: `field_${id}`, type };
    }
    return dictionary;
}

export function inferType(numbers: number[], width: number): ValueType {
    const valued = numbers.filter((number) => number !== 0);
    if (valued.length === 0 || width < 4) return "unsigned";
    if (valued.every((number) => number > 18_000_000 && number < 22_000_000 && dateText(number).includes("-"))) {
        return "date";
    }
    const floats = valued.map((number) => asFloat(number, width));
    const plausible = floats.filter((float) => Math.abs(float) >= 1e-6 && Math.abs(float) < 1e12).length;
    return plausible > floats.length * 0.95 && width !== 3 ? "float" : "unsigned";
}

// The same bytes as a float. 8-byte numbers arrive rounded, which preserves their exponent.
function asFloat(number: number, width: number): number {
    const view = new DataView(new ArrayBuffer(8));
    if (width === 4) {
        view.setUint32(0, number);
        return view.getFloat32(0);
    }
    view.setBigUint64(0, BigInt.asUintN(64, BigInt(Math.trunc(number))));
    return view.getFloat64(0);
}
