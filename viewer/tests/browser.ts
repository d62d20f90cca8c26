// The built page in Debian's Chromium, opened from disk. Requests, policy violations and errors are recorded.

import { execFileSync } from "node:child_process";
import { existsSync, mkdtempSync, readFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join, resolve } from "node:path";
import { pathToFileURL } from "node:url";
import { chromium, type Browser, type Page } from "playwright-core";

const root = resolve(import.meta.dirname, "../..");
export const pagePath = join(root, "build/viewer/tvsym-viewer.html");
export const folder = mkdtempSync(join(tmpdir(), "tvsym-viewer-"));

// The tool that the page's values are compared with.
export function tvsym(...args: string[]): string {
    return execFileSync(join(root, "build/release/bin/tvsym"), args, { encoding: "utf8", maxBuffer: 1 << 28 });
}

export function sample(): string {
    const file = join(folder, "instruments.sym");
    if (!existsSync(file)) tvsym("build", join(root, "samples/instruments.json"), file);
    return file;
}

export const dictionary = join(root, "samples/fields.json");

export interface Watched {
    page: Page;
    faults: string[]; // requests, policy violations and errors of the page
}

export async function launch(): Promise<Browser> {
    return chromium.launch({
        executablePath: "/usr/bin/chromium",
        args: ["--no-sandbox", "--disable-gpu", "--enable-precise-memory-info"],
    });
}

export async function openPage(browser: Browser, hash = "", colorScheme: "light" | "dark" = "light", path = pagePath): Promise<Watched> {
    const context = await browser.newContext({ viewport: { width: 1360, height: 860 }, colorScheme, acceptDownloads: true });
    const page = await context.newPage();
    const faults: string[] = [];
    const address = pathToFileURL(path).href;
    page.on("request", (request) => {
        const url = request.url();
        if (!url.startsWith(address) && !url.startsWith("blob:") && !url.startsWith("data:")) faults.push(`request: ${url}`);
    });
    page.on("pageerror", (error) => faults.push(`error: ${error.message}`));
    page.on("console", (message) => {
        if (message.type() === "error") faults.push(`console: ${message.text()}`);
    });
    await page.goto(address + hash);
    return { page, faults };
}

export async function openFiles(page: Page, files: (string | { name: string; bytes: Uint8Array })[], slot: 0 | 1 = 0): Promise<void> {
    const given = files.map((file) =>
        typeof file === "string"
            ? { name: file.split("/").pop() ?? file, mimeType: "", buffer: readFileSync(file) }
            : { name: file.name, mimeType: "", buffer: Buffer.from(file.bytes) },
    );
    await page.setInputFiles(`input[data-slot="${slot}"] >> nth=0`, given);
}

// A click without Playwright's wait for the element to rest, for loops over many files and sections.
export async function press(page: Page, selector: string): Promise<void> {
    const element = await page.waitForSelector(selector);
    await element.evaluate((found) => (found as HTMLElement).click());
}

export async function show(page: Page, view: string): Promise<void> {
    await page.click(`#tab-${view}`);
}

// The content of an export of the current view.
export async function exported(page: Page, format: "CSV" | "NDJSON" | "Parquet"): Promise<Buffer> {
    await press(page, 'button:has-text("Export")');
    const [download] = await Promise.all([page.waitForEvent("download"), press(page, `.menu-box button:text-is("${format}")`)]);
    return readFileSync(await download.path());
}

export async function cellTexts(page: Page, row: number): Promise<string[]> {
    const cells = page.locator(`.grid-body [role=row][aria-rowindex="${row + 2}"] [role=gridcell]`);
    await cells.first().waitFor();
    return (await cells.allInnerTexts()).map((text) => text.replace(/ default$/, ""));
}
