// Files that are not symbol files, and damaged ones.

import { readFileSync } from "node:fs";
import type { Browser, Page } from "playwright-core";
import { afterAll, beforeAll, expect, test } from "vitest";
import { launch, openFiles, openPage, sample, type Watched } from "./browser";

let browser: Browser;
let watched: Watched;
let page: Page;

beforeAll(async () => {
    browser = await launch();
    ({ page } = watched = await openPage(browser));
});
afterAll(async () => {
    await browser.close();
    expect(watched.faults).toEqual([]);
});

test("what is not a symbol file gets a message, and the open file stays", async () => {
    await openFiles(page, [sample()]);
    await page.waitForSelector(".fact.good");
    for (const bytes of [new Uint8Array(), new TextEncoder().encode("no symbol file, ".repeat(9)), new Uint8Array([7])]) {
        await openFiles(page, [{ name: "other.bin", bytes }]);
        await page.waitForSelector("[role=alert]");
        expect(await page.locator("[role=alert]").innerText()).toMatch(/other\.bin|symbol file|empty/);
        await page.click("[role=alert] button");
    }
    await page.click("#tab-symbols");
    await page.waitForSelector(".grid-body [role=row]");
    await page.click("#tab-overview");
});

interface Damage {
    size: number;
    bytes: [number, number][]; // offset, value
}

// Runs in the page: a call from here for every step would take most of the time.
async function lookAtEach({ sound, damages }: { sound: string; damages: Damage[] }): Promise<{ opened: number; withFindings: number }> {
    const until = async <T>(found: () => T | null | false | undefined, what: string): Promise<T> => {
        const end = performance.now() + 30_000;
        for (;;) {
            const value = found();
            if (value) return value;
            if (performance.now() > end) throw new Error(`waited for ${what}`);
            await new Promise((resolve) => setTimeout(resolve, 2));
        }
    };
    const find = (selector: string): HTMLElement | null => document.querySelector(selector);
    const press = async (selector: string): Promise<void> => (await until(() => find(selector), selector)).click();
    const input = find('input[data-slot="0"]') as HTMLInputElement;
    const original = Uint8Array.from(atob(sound), (c) => c.charCodeAt(0));
    const seen = { opened: 0, withFindings: 0 };
    for (const [at, { size, bytes }] of damages.entries()) {
        const name = `damaged-${at}.sym`;
        const damaged = original.slice(0, size);
        for (const [offset, value] of bytes) damaged[offset] = value;
        const files = new DataTransfer();
        files.items.add(new File([damaged], name));
        input.files = files.files;
        input.dispatchEvent(new Event("change"));
        const isOpen = (): boolean =>
            (find(".file-name")?.textContent?.includes(name) ?? false) && !find(".progress") && /^[\d,]+$/.test(find(".fact:nth-child(5) dd")?.textContent ?? "");
        await until(() => find("[role=alert]") ?? isOpen(), name);
        if (find("[role=alert]")) {
            await press("[role=alert] button");
            await until(() => !find("[role=alert]"), "no message");
            continue;
        }
        ++seen.opened;
        // Every view works for every file.
        await press("#tab-symbols");
        await until(() => find(".grid, .note"), "symbols");
        await press("#tab-findings");
        const findings = await until(() => find(".view-findings h2"), "findings");
        if (!findings.textContent?.startsWith("No")) {
            ++seen.withFindings;
            await press(".findings tbody tr:last-child button");
            await until(() => find(".place .hex"), "bytes");
            await press(".place .pane-title button");
            await until(() => !find(".view-findings") && find(".grid, .hex, .sections .selected"), "its row");
        }
        await press("#tab-overview");
    }
    return seen;
}

test("of 50 damaged files, each shows what is left and where it is damaged", async () => {
    const sound = readFileSync(sample());
    let seed = 12345;
    const random = (below: number): number => (seed = (Math.imul(seed, 1103515245) + 12345) >>> 0) % below;
    const damages = Array.from({ length: 50 }, (_, at): Damage => {
        const cut = at % 5 === 0;
        const size = cut ? 240 + random(sound.length - 240) : sound.length;
        const bytes = Array.from({ length: cut ? 0 : 1 + (at % 7) }, (): [number, number] => [random(size), random(256)]);
        if (at % 10 === 9) bytes.push([random(220), random(256)]);
        return { size, bytes };
    });
    const { opened, withFindings } = await page.evaluate(lookAtEach, { sound: sound.toString("base64"), damages });
    expect(opened).toBeGreaterThan(40);
    expect(withFindings).toBeGreaterThan(30);
});

test("a directory of 65,535 entries does not stop the page", async () => {
    const bytes = Buffer.alloc(2 + 10 * 65535 + 64);
    bytes.writeUInt16LE(65535, 0);
    for (let at = 0; at < 65535; ++at) {
        bytes.writeUInt16LE(at % 3 === 0 ? at : 9 + (at % 14), 2 + 10 * at);
        bytes.writeUInt32LE(bytes.length - 64 + (at % 60), 4 + 10 * at);
        bytes.writeUInt32LE(20, 8 + 10 * at);
    }
    await openFiles(page, [{ name: "entries.sym", bytes }]);
    await page.waitForSelector('.note:has-text("65535 entries")');
    await page.waitForFunction(() => /^[\d,]{4,}$/.test(document.querySelector(".fact:nth-child(5) dd")?.textContent ?? ""));
    for (const view of ["findings", "sections", "charts", "overview"]) await page.click(`#tab-${view}`);
});
