import { expect, test } from "vitest";
import { filterText, parseFilter } from "./filterText";

const text = { key: "c", type: "text", numeric: false } as const;
const number = { key: "c", type: "unsigned", numeric: true } as const;
const date = { key: "c", type: "date", numeric: false } as const;

test.each([
    [text, "abc", "contains:abc"],
    [text, "^ab c", "starts:ab c"],
    [text, "=", "is:"],
    [text, "!=x", "not:x"],
    [text, "  ", ""],
    [text, ">=", ""],
    [number, "12", "is:12"],
    [number, ">5", "least:5 not:5"],
    [number, "3..9", "least:3 most:9"],
    [date, "2020-01", "starts:2020-01"],
    [date, "<=2020", "most:2020"],
    [number, "none", "none:"],
    [text, "default", "default:"],
] as const)("a filter of %o for %s", (column, written, wanted) => {
    expect(parseFilter(column, written).map(({ op, value }) => `${op}:${value}`).join(" ")).toBe(wanted);
});

test("a filter's text parses as the same filter", () => {
    for (const op of ["is", "not", "starts", "least", "most", "contains"] as const) {
        expect(parseFilter(text, filterText({ column: "c", op, value: "v" }))).toEqual([{ column: "c", op, value: "v" }]);
    }
});
