// The page as a person uses it, on the sample; its values are compared with those of the tool.

import { copyFileSync, readFileSync, statSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { parquetReadObjects } from "hyparquet";
import type { Browser, Page } from "playwright-core";
import { afterAll, afterEach, beforeAll, describe, expect, test } from "vitest";
import { cellTexts, dictionary, exported, folder, launch, openFiles, openPage, pagePath, press, sample, show, tvsym, type Watched } from "./browser";

let browser: Browser;
let watched: Watched;
let page: Page;

beforeAll(async () => {
    browser = await launch();
});
afterAll(() => browser.close());
afterEach(async () => {
    // No view uses the network, violates the policy or reports an error.
    if (!(watched as Watched | undefined)) return;
    expect(watched.faults).toEqual([]);
    if (watched !== shared) await page.context().close();
});

// One page with the sample serves all tests that only look at it.
let shared: Watched | null = null;

async function openSample(hash = ""): Promise<void> {
    if (shared) {
        ({ page } = watched = shared);
        return page.evaluate((to) => void (location.hash = to), hash || "#view=overview");
    }
    await openOwnSample(hash);
    shared = watched;
}

async function openOwnSample(hash = ""): Promise<void> {
    ({ page } = watched = await openPage(browser, hash));
    await openFiles(page, [sample(), dictionary]);
    await page.waitForSelector("#tab-overview");
}

interface ToolSymbol {
    symbol: string;
    fields: { id: number; name?: string; value: unknown; default?: boolean }[];
}

function toolSymbols(): ToolSymbol[] {
    const lines = tvsym("symbols", "--json", "--dictionary", dictionary, sample()).trim().split("\n");
    return lines.map((line) => JSON.parse(line) as ToolSymbol);
}

test("the page is one file within its size, with a policy that allows nothing else", () => {
    expect(statSync(pagePath).size).toBeLessThan(2 * 1024 * 1024);
    const text = readFileSync(pagePath, "utf8");
    expect(text).toContain("default-src 'none'");
    expect(text).not.toMatch(/unsafe-inline|unsafe-eval'(?<!wasm-unsafe-eval')/);
    expect(text).not.toMatch(/<(?:script|link|img)[^>]+(?:src|href)="(?!data:)/);
});

test("the policy stops what asks the network or runs a script", async () => {
    await openOwnSample();
    const stopped = await page.evaluate(async () => {
        const directives = new Set<string>();
        document.addEventListener("securitypolicyviolation", (event) => directives.add(event.effectiveDirective));
        await fetch("https://example.invalid/").catch(() => {});
        new Image().src = "https://example.invalid/";
        const script = document.createElement("script");
        script.textContent = "document.title = 'ran'";
        document.body.append(script);
        await new Promise((resolve) => setTimeout(resolve, 300));
        return { directives: [...directives].sort(), ran: document.title === "ran" };
    });
    expect(stopped).toEqual({ directives: ["connect-src", "img-src", "script-src-elem"], ran: false });
    watched.faults.length = 0;
});

describe("the sample", () => {
    test("sections have the rows that the tool counts", async () => {
        await openSample();
        const info = JSON.parse(tvsym("info", "--json", sample())) as { sections: { id: number; size: number }[] };
        await page.waitForSelector(".plain.sections .state.good");
        await page.waitForFunction(() => document.querySelector(".fact.good dd")?.textContent === "0");
        const ids = await page.locator(".plain.sections tbody tr td:first-child").allInnerTexts();
        expect(ids.filter((id) => id !== "").map(Number)).toEqual(info.sections.map(({ id }) => id));
        expect(await page.locator(".facts").innerText()).toContain("1,499");
        expect(await page.locator(".state.bad").count()).toBe(0);
    });

    test("every value of every symbol is the tool's", async () => {
        await openSample("#view=symbols");
        await page.waitForSelector(".grid-body [role=row]");
        const lines = (await exported(page, "NDJSON")).toString("utf8").trim().split("\n");
        const expected = toolSymbols().map(({ symbol, fields }) => {
            const row: Record<string, unknown> = { symbol };
            for (const { id, name, value } of fields) row[name ?? `field ${id}`] ??= value;
            return row;
        });
        const drop = (row: Record<string, unknown>): Record<string, unknown> =>
            Object.fromEntries(Object.entries(row).filter(([, value]) => value !== null && value !== ""));
        expect(lines.map((line) => drop(JSON.parse(line) as Record<string, unknown>))).toEqual(expected.map(drop));
    });

    test("search, filter and sort leave the rows that they should", async () => {
        await openSample("#view=symbols");
        await page.fill(".search", "hsbc");
        await page.waitForFunction(() => /^\d+ of 1,499/.test(document.querySelector(".count")?.textContent ?? ""));
        const all = toolSymbols();
        const texts = (one: ToolSymbol): string => [one.symbol, ...one.fields.map(({ value }) => String(value))].join("\n").toLowerCase();
        const hits = all.filter((one) => texts(one).includes("hsbc"));
        expect(await page.locator(".count").innerText()).toBe(`${hits.length} of 1,499 symbols`);
        expect((await cellTexts(page, 0))[0]).toBe(hits[0]?.symbol);

        await page.fill(".search", "");
        await page.fill('input[aria-label="Filter currency"]', "=HKD");
        await page.waitForFunction(() => /^\d+ of 1,499/.test(document.querySelector(".count")?.textContent ?? ""));
        const hkd = all.filter(({ fields }) => fields.some(({ name, value }) => name === "currency" && value === "HKD"));
        expect(await page.locator(".count").innerText()).toBe(`${hkd.length} of 1,499 symbols`);

        await page.click('button[title^="symbol"]');
        await page.click('button[title^="symbol"]');
        const last = hkd.map(({ symbol }) => symbol).sort().at(-1);
        await page.waitForFunction((wanted) => document.querySelector(".grid-body [role=gridcell]")?.textContent === wanted, last);
        // On paper are these rows, not those that happen to be on screen.
        await page.evaluate(() => void (window.print = () => document.body.setAttribute("data-printed", String(document.querySelectorAll(".print-sheet tbody tr").length))));
        await page.click('button:has-text("Export")');
        await page.click('.menu-box button:text-is("Print")');
        await page.waitForSelector(`body[data-printed="${hkd.length}"]`);
        // The address keeps all of it.
        expect(page.url()).toContain("sort=-symbol");
        expect(decodeURIComponent(page.url())).toContain("=HKD");
    });

    test("a record shows its defaults and its bytes", async () => {
        await openSample("#view=symbols&row=0");
        const first = toolSymbols()[0] as ToolSymbol;
        await page.waitForSelector(".side .fields tbody tr");
        const shown = await page.locator(".side .fields tbody tr").count();
        expect(shown).toBe(first.fields.length);
        expect(await page.locator(".side .fields .badge:text-is('default')").count()).toBe(first.fields.filter((field) => field.default).length);
        await page.click(`.side .fields button:has-text("${first.fields[0]?.name}")`);
        const marked = (await page.locator(".hex-text .marked").allInnerTexts()).join("");
        expect(marked).toContain(String(first.fields[0]?.value));
    });

    test("every value of the other sections is the tool's", async () => {
        await openSample();
        const dumped = JSON.parse(tvsym("dump", "--dictionary", dictionary, sample())) as { sections: Record<string, unknown>[] };
        const isObject = (value: unknown): value is Record<string, unknown> => typeof value === "object" && value !== null && !Array.isArray(value);
        const listsIn = (element: unknown, except: string[]): [string, unknown[]][] =>
            isObject(element) ? (Object.entries(element).filter(([key, value]) => Array.isArray(value) && !except.includes(key)) as [string, unknown[]][]) : [];
        const plain = (value: unknown): string => String(value).replace(/^0x/, "").replace(/^(\d{4})-(\d\d)-(\d\d)$/, "$1$2$3");
        // The bytes of the last row end where the next section begins.
        const { size: fileSize, sections } = JSON.parse(tvsym("info", "--json", sample())) as { size: number; sections: { id: number; offset: number }[] };
        const starts = [...sections.map(({ offset }) => offset), fileSize].sort((a, b) => a - b);
        const lastRowEndsSection = async (id: number): Promise<void> => {
            await page.focus(".grid");
            await page.keyboard.press("Control+End");
            await page.waitForSelector(".active-cell:not(:empty)");
            await page.keyboard.press("Space");
            const [, offset, size] = /0x(\w+) · ([\d,]+) byte/.exec(await page.locator(".side p.mono").innerText()) ?? [];
            expect(parseInt(offset ?? "", 16) + Number(size?.replaceAll(",", "")), `section ${id}`).toBe(starts[starts.indexOf(sections.find((one) => one.id === id)?.offset ?? -1) + 1]);
        };
        // The dump has sections 18 and 21 as they are stored, the page as they are read.
        for (const section of dumped.sections.filter(({ id }) => ![2, 18, 21].includes(id as number))) {
            let [name, elements] = listsIn(section, [])[0] ?? ["", []];
            for (let level = 0; elements.length > 0; ++level) {
                await page.evaluate((hash) => void (location.hash = hash), `view=sections&section=${String(section["id"])}&level=${level}`);
                const count = `${elements.length.toLocaleString("en-US")} ${name}`;
                await page.waitForFunction((wanted) => document.querySelector(".count")?.textContent === wanted, count);
                const lines = (await exported(page, "NDJSON")).toString("utf8").trim().split("\n");
                const rows = lines.map((line) => JSON.parse(line) as Record<string, unknown>);
                const keys = Object.keys(rows[0] ?? {}).filter((key) => key !== "#");
                const wanted = elements.map((element) => keys.map((key) => plain(isObject(element) ? element[key] : element)));
                expect(rows.map((row) => keys.map((key) => plain(row[key]))), `section ${String(section["id"])}, ${name}`).toEqual(wanted);
                if (level === 0) await lastRowEndsSection(section["id"] as number);
                const below = elements.flatMap((element) => listsIn(element, keys));
                [name, elements] = [below[0]?.[0] ?? "", below.flatMap(([, list]) => list)];
            }
        }
    });

    test("a nested section is a tree, opened by keys, and a link keeps it", async () => {
        await openSample("#view=sections&section=14&tree=1");
        await page.waitForSelector("[role=treeitem]");
        expect(await page.locator("[role=treeitem]").count()).toBe(2);
        await page.focus("[role=treeitem] >> nth=0");
        await page.keyboard.press("ArrowRight");
        await page.waitForSelector("[role=treeitem][aria-level='2']");
        await page.click('button:text-is("Table")');
        await page.click(".grid-body [role=row] >> nth=0");
        await page.click('button:has-text("Its items")');
        await page.waitForFunction(() => /^\d+ items/.test(document.querySelector(".count")?.textContent ?? ""));
        expect(page.url()).toContain("parent=0");
    });
});

describe("taken away", () => {
    test("CSV and Parquet hold the same as NDJSON, and no cell is a formula", async () => {
        const hostile = join(folder, "hostile.sym");
        const texts = ["=1+1", "+1", "-1", "@SUM(A1)", '<img src=x onerror="document.title=1">', 'a "b", c', "line\nbreak", "é".repeat(1_000_000)];
        const symbols = texts.map((text, at) => ({ symbol: `S${at}`, fields: [{ id: 1, tag: 7, value: text }, { id: 2, tag: 6, value: 9007199254740993n + BigInt(at) }] }));
        const json = JSON.stringify({ sections: [{ id: 2, symbols }] }, (_key, value: unknown) => (typeof value === "bigint" ? `#${value}#` : value)).replace(/"#(\d+)#"/g, "$1");
        writeFileSync(join(folder, "hostile.json"), json);
        tvsym("build", join(folder, "hostile.json"), hostile);
        watched = await openPage(browser, "#view=symbols");
        page = watched.page;
        await openFiles(page, [hostile]);
        await page.waitForSelector(".grid-body [role=row]");
        expect(await page.locator(".grid-body img").count()).toBe(0);
        expect((await cellTexts(page, 4))[1]).toBe(texts[4]);
        // Of a long text the table shows the start, and the exports hold all of it.
        expect((await cellTexts(page, 7))[1]).toBe("é".repeat(2048) + "…");

        const lines = (await exported(page, "NDJSON")).toString("utf8").trim().split("\n");
        expect(lines.map((line) => (JSON.parse(line) as Record<string, unknown>)["field 2"])).toEqual(symbols.map(({ fields }) => String(fields[1]?.value)));
        expect((JSON.parse(lines[7] ?? "") as Record<string, unknown>)["field 1"]).toBe(texts[7]);
        const csv = (await exported(page, "CSV")).toString("utf8").split("\r\n");
        for (const line of csv.slice(1, 5)) expect(line).toMatch(/^S\d,'[=+\-@]/);
        expect(csv[6]).toContain('"a ""b"", c"');
        const parquet = await exported(page, "Parquet");
        const buffer = parquet.buffer.slice(parquet.byteOffset, parquet.byteOffset + parquet.length) as ArrayBuffer;
        const rows = await parquetReadObjects({ file: buffer });
        expect(rows.map((row) => row["symbol"])).toEqual(symbols.map(({ symbol }) => symbol));
        expect(rows.map((row) => row["field 2"])).toEqual(symbols.map(({ fields }) => fields[1]?.value));
    });
});

test("two versions: added, removed and changed, field by field", async () => {
    const next = JSON.parse(tvsym("dump", sample())) as { sections: { id: number; symbols?: { symbol: string; fields: { id: number; value: unknown }[] }[]; elements?: { id: number; name: string }[] }[] };
    const symbols = next.sections.find(({ id }) => id === 2)?.symbols ?? [];
    const [removed] = symbols.splice(3, 1);
    const changed = symbols[5];
    const field = changed?.fields.find(({ id }) => id === 2);
    if (field) field.value = "Another description";
    symbols.push({ symbol: "NEW.ONE", fields: [] });
    const countries = next.sections.find(({ id }) => id === 10)?.elements ?? [];
    if (countries[0]) countries[0].name = "Elsewhere";
    writeFileSync(join(folder, "next.json"), JSON.stringify(next));
    tvsym("build", join(folder, "next.json"), join(folder, "next.sym"));

    // A link keeps what is shown of the comparison.
    await openOwnSample("#view=compare&kinds=added,removed&find=new");
    await openFiles(page, [join(folder, "next.sym")], 1);
    await page.waitForFunction(() => document.querySelectorAll(".changes tbody tr").length === 1);
    expect(await page.locator(".changes tbody tr").innerText()).toContain("NEW.ONE");
    await page.fill('input[aria-label="Search the changes"]', "");
    await page.click('.segments button:text-is("changed")');
    await page.waitForFunction(() => document.querySelectorAll(".changes tbody tr").length === 3);
    expect(page.url()).not.toContain("kinds");
    const row = async (title: string): Promise<string[]> => page.locator(`.compare tr:has(button:text-is("${title}")) td`).allInnerTexts();
    expect(await row("symbols")).toEqual(["1", "1", "1", "1,497"]);
    expect((await row("Eidr countries")).slice(0, 3)).toEqual(["0", "0", "1"]);
    const changes = await page.locator(".changes tbody tr").allInnerTexts();
    expect(changes.some((text) => text.includes("added") && text.includes("NEW.ONE"))).toBe(true);
    expect(changes.some((text) => text.includes("removed") && text.includes(removed?.symbol ?? "?"))).toBe(true);
    expect(changes.some((text) => text.includes(changed?.symbol ?? "?") && text.includes("Another description"))).toBe(true);
});

test("pictures come with their numbers, and a bar leads to its rows", async () => {
    await openSample("#view=charts&chart=f4");
    await page.waitForSelector(".bars tbody tr");
    const currencies = new Map<string, number>();
    for (const { fields } of toolSymbols()) {
        const value = String(fields.find(({ id }) => id === 4)?.value);
        currencies.set(value, (currencies.get(value) ?? 0) + 1);
    }
    const [top, times] = [...currencies].sort((a, b) => b[1] - a[1])[0] as [string, number];
    const cells = await page.locator(".bars tbody tr >> nth=0").innerText();
    expect(cells).toContain(top);
    expect(cells).toContain(times.toLocaleString("en-US"));
    await page.click(".bars tbody button >> nth=0");
    await page.waitForFunction((count) => document.querySelector(".count")?.textContent?.startsWith(count), times.toLocaleString("en-US"));

    // Countries by name, and the sizes of the sections.
    await page.evaluate(() => void (location.hash = "view=charts&chart=f6"));
    await page.waitForFunction(() => document.querySelector(".bars tbody tr")?.textContent?.startsWith("840United States"));
    await page.click('.section-list button:has-text("Sizes of sections")');
    await page.waitForFunction(() => document.querySelectorAll(".bars tbody tr").length === 21);
    expect(await page.locator(".bars tbody tr >> nth=0").innerText()).toContain("2 symbols");
});

// In every section of texts one of them is damaged, and each finding must lead to the row that shows it.
test("a finding leads to its place in the map, its bytes and its row", async () => {
    const bytes = new Uint8Array(readFileSync(sample()));
    const dumped = JSON.parse(tvsym("dump", sample())) as { sections: { id: number; offset?: number }[] };
    const info = JSON.parse(tvsym("info", "--json", sample())) as { sections: { id: number; offset: number; size: number }[] };
    const textsIn = (element: unknown): string[] =>
        typeof element === "string" && element.length > 4 && !element.startsWith("0x") ? [element] : typeof element === "object" && element !== null ? Object.values(element).flatMap(textsIn) : [];
    const damaged = new Map<number, number>(); // section to the place of the damage
    for (const section of dumped.sections) {
        const { offset, size } = info.sections.find(({ id }) => id === section.id) as { offset: number; size: number };
        const text = textsIn(Object.values(section).filter((value) => typeof value === "object")).at(-1);
        const within = Buffer.from(bytes).subarray(offset, offset + size);
        const at = text === undefined ? -1 : within.lastIndexOf(text + "\0");
        if (at < 0) continue;
        bytes[offset + at] = 0xff; // not UTF-8
        damaged.set(section.id, offset + at);
    }
    expect(damaged.size).toBeGreaterThan(10);
    watched = await openPage(browser, "#view=findings");
    page = watched.page;
    await openFiles(page, [{ name: "odd.sym", bytes }]);
    await page.waitForSelector(".findings tbody tr");
    expect(await page.locator(".findings tbody tr").count()).toBe(damaged.size);
    for (const [id, place] of damaged) {
        await press(page, `.findings tbody tr:has-text("${place.toString(16).padStart(8, "0")}") button`);
        await page.waitForSelector(".map-part.here");
        await page.waitForSelector('.hex-bytes .marked:text-is("ff")');
        await press(page, 'button:text-is("Show the row in its table")');
        const row = await page.waitForSelector(".grid-body [role=row].selected");
        expect(await row.innerText(), `section ${id}`).toContain("\\xff");
        await page.waitForSelector('.side .hex-bytes .marked:text-is("ff")');
        await press(page, "#tab-findings");
    }
});

test("a page made by the tool shows its files", async () => {
    const [file, made] = [join(folder, "carried.sym"), join(folder, "carried.html")];
    copyFileSync(sample(), file);
    tvsym("view", "--page", pagePath, "--dictionary", dictionary, "--output", made, file, join(folder, "instruments.sym"));
    watched = await openPage(browser, "", "light", made);
    page = watched.page;
    await page.waitForSelector(".compare, .note.good");
    expect(await page.locator(".file-name").innerText()).toContain("carried.sym");
    await show(page, "symbols");
    await page.waitForSelector('button[title^="currency"]');
    expect((await cellTexts(page, 0))[0]).toBe(toolSymbols()[0]?.symbol);
});

test("a dictionary is inferred, edited and taken away", async () => {
    watched = await openPage(browser, "#view=dictionary");
    page = watched.page;
    await openFiles(page, [sample()]);
    await page.click('button:has-text("Infer")');
    await page.waitForFunction(() => document.querySelector<HTMLSelectElement>('select[aria-label="Type of field 5"]')?.value === "date");
    await page.fill('input[aria-label="Name of field 5"]', "listed");
    await page.keyboard.press("Tab");
    await page.waitForFunction(() => document.querySelector<HTMLInputElement>('input[aria-label="Name of field 5"]')?.value === "listed");
    const [download] = await Promise.all([page.waitForEvent("download"), page.click('button:text-is("Download")')]);
    const made = JSON.parse(readFileSync(await download.path(), "utf8")) as Record<string, { name: string; type: string }>;
    expect(made["5"]).toEqual({ name: "listed", type: "date" });
    expect(made["1"]?.type).toBe("text");
});
