// A file of 100 MB: times and memory are reported, and what is shown is right.

import { writeFileSync } from "node:fs";
import { join } from "node:path";
import { expect, test } from "vitest";
import { cellTexts, folder, launch, openPage, show } from "./browser";

const rows = 1_000_000;
const venues = ["XNYS", "XHKG", "XLON", "XTKS", "XPAR"];

function symbolOf(row: number): string {
    return `${((row * 7919) % rows).toString().padStart(7, "0")}.${venues[row % 5]}`;
}

// Section 2 alone: records of a symbol, two texts, a date and three numbers.
function largeFile(): Buffer {
    const file = Buffer.alloc(rows * 128);
    let at = 12;
    const number = (value: number, width: number): void => void (at = file.writeUIntLE(value, at, width));
    const text = (value: string): void => {
        at += file.write(value, at, "latin1");
        file[at++] = 0;
    };
    const head = (id: number, tag: number): void => {
        number(id, 2);
        number(tag, 1);
    };
    number(2, 2);
    for (let row = 0; row < rows; ++row) {
        const start = at;
        at += 4;
        text(symbolOf(row));
        head(1, 7);
        text(`Instrument number ${row} of the market`);
        head(2, 7);
        text(venues[row % 5] as string);
        head(3, 5);
        number(20000101 + (row % 20) * 10000, 4);
        head(4, 4);
        number(row % 1000, 2);
        head(5, 3);
        number(row * 3, 4);
        head(6, 6);
        number(row * 1000, 6);
        number(0, 2);
        file.writeUInt32LE(at - start - 4, start);
    }
    file.writeUInt16LE(1, 0);
    file.writeUInt16LE(2, 2);
    file.writeUInt32LE(12, 4);
    file.writeUInt32LE(at - 12, 8);
    return file.subarray(0, at);
}

// Runs in the page, so that no message to and from the browser is measured.
async function typeAndWait({ typed, wanted }: { typed: string; wanted: string }): Promise<number> {
    const search = document.querySelector(".search") as HTMLInputElement;
    const start = performance.now();
    search.value = typed;
    search.dispatchEvent(new Event("input", { bubbles: true }));
    while (document.querySelector(".grid-body [role=gridcell]")?.textContent !== wanted) await new Promise(requestAnimationFrame);
    return performance.now() - start;
}

test("1,000,000 symbols", async () => {
    const file = join(folder, "large.sym");
    const bytes = largeFile();
    writeFileSync(file, bytes);
    const browser = await launch();
    const { page, faults } = await openPage(browser, "#view=symbols");
    const report: string[] = [`file: ${(bytes.length / 1e6).toFixed(0)} MB`];

    const measured = async (name: string, work: () => Promise<void>): Promise<void> => {
        const start = performance.now();
        await work();
        report.push(`${name}: ${(performance.now() - start).toFixed(0)} ms`);
        if (process.env["VERBOSE"]) console.log(report.at(-1));
    };
    await measured("first rows", async () => {
        await page.setInputFiles('input[data-slot="0"] >> nth=0', file);
        await page.waitForFunction((first) => document.querySelector(".grid-body [role=gridcell]")?.textContent === first, symbolOf(0));
    });
    // Each key until the frame that shows its rows.
    for (const typed of ["9", "99", "999", "9999", "99999"]) {
        const first = Array.from({ length: rows }, (_, row) => row).find((row) => symbolOf(row).includes(typed) || `Instrument number ${row} of`.includes(typed)) ?? 0;
        const ms = await page.evaluate(typeAndWait, { typed, wanted: symbolOf(first) });
        report.push(`search ${typed}: ${ms.toFixed(0)} ms`);
        if (process.env["VERBOSE"]) console.log(report.at(-1));
    }
    await measured("search done", () => page.waitForFunction(() => !document.querySelector(".count")?.textContent?.includes("searching")).then(() => {}));
    const expected = Array.from({ length: rows }, (_, row) => row).filter((row) => symbolOf(row).includes("99999") || String(row).includes("99999")).length;
    expect(await page.locator(".count").innerText()).toBe(`${expected} of 1,000,000 symbols`);
    await page.fill(".search", "");
    await page.waitForFunction(() => document.querySelector(".count")?.textContent === "1,000,000 symbols");
    await measured("sort by symbol", async () => {
        await page.click('button[title^="symbol"]');
        await page.waitForFunction(() => document.querySelector(".grid-body [role=gridcell]")?.textContent?.startsWith("0000000"));
    });
    await measured("filter a number", async () => {
        await page.fill('input[aria-label="Filter field 4"]', "3..4");
        await page.waitForFunction(() => document.querySelector(".count")?.textContent === "2,000 of 1,000,000 symbols");
    });
    await page.fill('input[aria-label="Filter field 4"]', "");
    await page.waitForFunction(() => document.querySelector(".count")?.textContent === "1,000,000 symbols");
    await measured("to the last row", async () => {
        await page.focus(".grid");
        await page.keyboard.press("Control+End");
        await page.waitForSelector(`.grid-body [role=row][aria-rowindex="${rows + 1}"]`);
    });
    expect((await cellTexts(page, rows - 1))[0]).toMatch(/^0999999\./);
    const frames = await page.evaluate(async () => {
        const grid = document.querySelector(".grid") as HTMLElement;
        const times: number[] = [];
        let last = performance.now();
        for (let step = 0; step < 120; ++step) {
            grid.scrollTop -= 400;
            await new Promise(requestAnimationFrame);
            const now = performance.now();
            times.push(now - last);
            last = now;
        }
        return times.sort((a, b) => a - b);
    });
    report.push(`frames while scrolling: median ${frames[60]?.toFixed(0)} ms, 95 % ${frames[114]?.toFixed(0)} ms`);
    await measured("distribution", async () => {
        await show(page, "charts");
        await page.waitForSelector(".bars tbody tr");
    });
    expect(await page.locator(".scroll").innerText()).toMatch(/1,000,000 distinct values[^]*from Instrument number 0 of the market to Instrument number 999999 of the market/);
    await show(page, "overview");
    report.push(`memory after opening: ${await page.locator(".fact:last-child dd").innerText()}`);
    console.log(report.join("\n"));
    expect(faults).toEqual([]);
    await browser.close();
}, 300_000);
