// Numbers and sizes for people.

import type { Extent } from "../protocol";

export function count(number: number): string {
    return number.toLocaleString("en-US");
}

export function plural(number: number, one: string, many = one + "s"): string {
    return `${count(number)} ${number === 1 ? one : many}`;
}

export function bytesText(size: number): string {
    if (size < 1024) return plural(size, "byte");
    const units = ["KiB", "MiB", "GiB"];
    let value = size / 1024;
    let unit = 0;
    while (value >= 1024 && unit + 1 < units.length) {
        value /= 1024;
        ++unit;
    }
    return `${value < 10 ? value.toFixed(2) : value < 100 ? value.toFixed(1) : value.toFixed(0)} ${units[unit]}`;
}

export function offsetText(offset: number): string {
    return "0x" + offset.toString(16).padStart(8, "0");
}

export function percent(part: number, whole: number): string {
    if (whole === 0) return "";
    const share = (100 * part) / whole;
    return share > 0 && share < 0.1 ? "< 0.1 %" : `${share.toFixed(share < 10 ? 1 : 0)} %`;
}

export function holds({ offset, size }: Extent, place: number): boolean {
    return place >= offset && place < offset + size;
}

// Of the name of a level.
export function singular(name: string): string {
    if (name.endsWith("ies")) return name.slice(0, -3) + "y";
    return name.endsWith("s") ? name.slice(0, -1) : name;
}
