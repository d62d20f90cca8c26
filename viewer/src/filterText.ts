// The text of a column's filter box, parsed into filters:
//
//   word        contains it; numbers and dates: equals it       ^word     begins with it
//   =x  !=x     is, is not                                      >=x  <=x  at least, at most
//   a..b        from a to b                                     >x   <x   the same without x itself
//   none  any   without a value, with one                       own  default   where the value comes from

import type { ColumnInfo, Filter } from "./protocol";

export function parseFilter(column: Pick<ColumnInfo, "key" | "type" | "numeric">, text: string): Filter[] {
    const trimmed = text.trim();
    if (trimmed === "") return [];
    const make = (op: Filter["op"], value = ""): Filter => ({ column: column.key, op, value });
    if (trimmed === "none" || trimmed === "any" || trimmed === "own" || trimmed === "default") return [make(trimmed)];
    const range = /^(\S+)\s*\.\.\s*(\S+)$/.exec(trimmed);
    if (range?.[1] && range[2]) return [make("least", range[1]), make("most", range[2])];
    const prefixes: [string, Filter["op"][]][] = [
        [">=", ["least"]],
        ["<=", ["most"]],
        ["!=", ["not"]],
        [">", ["least", "not"]],
        ["<", ["most", "not"]],
        ["=", ["is"]],
        ["^", ["starts"]],
    ];
    for (const [prefix, ops] of prefixes) {
        if (!trimmed.startsWith(prefix)) continue;
        const value = trimmed.slice(prefix.length).trim();
        return value === "" && prefix !== "=" ? [] : ops.map((op) => make(op, value));
    }
    if (column.type === "date") return [make("starts", trimmed)];
    return [make(column.numeric ? "is" : "contains", trimmed)];
}

// The text of a filter box that is equivalent to a filter.
export function filterText(filter: Filter): string {
    const marks: Partial<Record<Filter["op"], string>> = { is: "=", not: "!=", starts: "^", least: ">=", most: "<=" };
    const mark = marks[filter.op];
    if (mark !== undefined) return mark + filter.value;
    return filter.op === "contains" ? filter.value : filter.op;
}
