import { expect, test } from "vitest";
import { dateText, displayText, shortestFloat } from "./columns";
import { inferType } from "./dictionary";
import { mostFrequent, niceEdges } from "./distribution";
import { lowerBound } from "./engine";
import { csvCell, jsonValue } from "./export";
import { typeOf, valueText } from "./fields";
import { filterNumber } from "./table";

const bytes = (...values: number[]): Uint8Array => Uint8Array.from(values);

test.each([
    [20240229, "2024-02-29"],
    [20230229, "20230229"],
    [0, "0"],
    [99999999, "99999999"],
])("the date %d is shown as %s", (number, text) => expect(dateText(number)).toBe(text));

test("texts show what is not text", () => {
    expect(displayText(bytes(0x41, 0xc3, 0xa9))).toEqual({ text: "Aé", odd: false });
    expect(displayText(bytes(0x41, 0xff))).toEqual({ text: "A\\xff", odd: true });
    expect(displayText(bytes(0x1b, 0x5b))).toEqual({ text: "\\x1b[", odd: true });
});

test("floats of 4 bytes come back from their shortest text", () => {
    for (const value of [1.1, 0.1, 16777216, 3.4028234e38, 1e-40, -2.5]) {
        const single = Math.fround(value);
        expect(Math.fround(Number(shortestFloat(single)))).toBe(single);
    }
    expect(shortestFloat(Math.fround(1.1))).toBe("1.1");
});

test("payloads by type", () => {
    expect(valueText("signed", bytes(0xff, 0xff, 0xff)).text).toBe("-1");
    expect(valueText("unsigned", bytes(0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff)).text).toBe("18446744073709551615");
    expect(valueText(typeOf("float", false, 4), bytes(0, 0, 0xc0, 0x3f)).text).toBe("1.5");
    expect(typeOf("date", false, 2)).toBe("hex");
    expect(valueText(typeOf("bool", false, 1), bytes(1)).text).toBe("true");
    expect(valueText("bool", bytes(7))).toEqual({ text: "7", odd: true });
});

test.each([
    ["=1+1", true, "'=1+1"],
    ["-5", false, "-5"],
    ['a"b,c', true, '"a""b,c"'],
])("a CSV cell of %j", (text, isText, cell) => expect(csvCell(text, isText)).toBe(cell));

test("numbers that doubles cannot hold are strings in JSON", () => {
    expect(jsonValue(9007199254740993n)).toBe("9007199254740993");
    expect(jsonValue(12n)).toBe(12);
    expect(jsonValue(NaN)).toBe("NaN");
});

test("types are found in the values", () => {
    expect(inferType([20200101, 20191231, 0], 4)).toBe("date");
    expect(inferType([1065353216, 1073741824], 4)).toBe("float");
    expect(inferType([840, 344, 1], 4)).toBe("unsigned");
    expect(inferType([20230231], 4)).toBe("unsigned");
});

test("edges hold everything at round places", () => {
    for (const [least, most] of [[0, 1], [-3, 9999], [0.001, 0.0012], [5, 1e9]] as const) {
        const edges = niceEdges(least, most, 40);
        expect(edges[0]).toBeLessThanOrEqual(least);
        expect(edges.at(-1)).toBeGreaterThan(most);
        expect(edges.length).toBeLessThanOrEqual(43);
    }
});

test("runs and bounds", () => {
    expect(mostFrequent(Uint32Array.of(0, 1, 3, 4, 7), 9, 3).map(({ run, count }) => `${run}:${count}`)).toEqual(["3:3", "1:2", "4:2"]);
    expect([0, 2, 5, 6].map((value) => lowerBound([0, 0, 2, 5, 5], value))).toEqual([0, 2, 3, 5]);
});

test("numbers as people write them", () => {
    expect(filterNumber("2020-01-31", "date")).toBe(20200131);
    expect(filterNumber("0x10", "unsigned")).toBe(16);
    expect(filterNumber("1_000", "unsigned")).toBe(1000);
    expect(filterNumber("abc", "unsigned")).toBe(null);
});
