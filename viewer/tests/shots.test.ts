// Screenshots of every view, for the documents: ./dev viewer shots

import { mkdirSync, readFileSync, writeFileSync } from "node:fs";
import { join, resolve } from "node:path";
import { test } from "vitest";
import { dictionary, folder, launch, openFiles, openPage, sample, show, tvsym } from "./browser";

const to = resolve(import.meta.dirname, "../../docs/viewer");

interface Document {
    sections: { id: number; symbols?: { symbol: string; fields: { id: number; value: unknown }[] }[]; elements?: { id: number; name: string }[] }[];
}

// The sample with a few changes.
function tomorrow(): string {
    const next = JSON.parse(tvsym("dump", sample())) as Document;
    const symbols = next.sections.find((section) => section.symbols)?.symbols ?? [];
    for (const [at, id, value] of [
        [1, 2, "Galaxy Entertainment"],
        [6, 2, "Tencent"],
        [9, 4, "CNY"],
        [14, 5, 20240701],
    ] as const) {
        const field = symbols[at]?.fields.find((one) => one.id === id);
        if (field) field.value = value;
    }
    symbols.splice(20, 3);
    symbols.push({ symbol: "9999.HK-HKD", fields: [{ id: 1, value: "9999.HK/HKD" }, { id: 2, value: "NetEase Inc" }].map((field) => ({ ...field, tag: 7 })) });
    const names = next.sections.find(({ id, elements }) => id === 10 && elements)?.elements ?? [];
    if (names[3]) names[3].name = "Renamed";
    writeFileSync(join(folder, "tomorrow.json"), JSON.stringify(next));
    const file = join(folder, "instruments-tomorrow.sym");
    tvsym("build", join(folder, "tomorrow.json"), file);
    return file;
}

test.runIf(process.env["SHOTS"])("pictures", async () => {
    mkdirSync(to, { recursive: true });
    const browser = await launch();
    for (const scheme of ["light", "dark"] as const) {
        const { page } = await openPage(browser, "", scheme);
        const shot = async (name: string): Promise<void> => {
            await page.waitForTimeout(500);
            await page.screenshot({ path: join(to, `${name}-${scheme}.png`) });
        };
        await shot("welcome");
        await openFiles(page, [sample(), dictionary]);
        await page.waitForSelector(".fact.good");
        await shot("overview");
        await show(page, "symbols");
        await page.click(".grid-body [role=row] >> nth=3");
        await page.click('.side .fields button:has-text("description")');
        await shot("symbols");
        await page.click(".side .icon");
        await show(page, "sections");
        await page.click('.section-list button:has-text("objects")');
        await page.click('button:text-is("Tree")');
        for (let times = 0; times < 3; ++times) {
            await page.click(`[role=treeitem][aria-expanded=false] >> nth=0`);
            await page.waitForTimeout(150);
        }
        await shot("sections");
        await show(page, "charts");
        await page.click('.section-list button:has-text("first_tick")');
        await shot("charts");
        await page.click('.section-list button:has(.section-name:text-is("country"))');
        await shot("names");
        await page.click('.section-list button:has-text("Sizes of sections")');
        await page.click('label:has-text("without the largest")');
        await shot("sizes");
        await show(page, "dictionary");
        await shot("dictionary");
        const bytes = new Uint8Array(readFileSync(sample()));
        for (const at of [260, 4000, 60_000, 127_000, Buffer.from(bytes).indexOf("Show symbol 2.1.1")]) bytes.fill(0xff, at, at + 3);
        await openFiles(page, [tomorrow(), dictionary], 1);
        await page.waitForSelector(".changes tbody tr");
        await shot("compare");
        await openFiles(page, [{ name: "damaged.sym", bytes }, dictionary]);
        await page.waitForSelector(".fact.bad");
        await show(page, "findings");
        await page.click('.findings tbody tr:has-text("objects") button >> nth=0');
        await shot("findings");
        await page.setViewportSize({ width: 420, height: 800 });
        await shot("findings-narrow");
        await openFiles(page, [sample(), dictionary]);
        await page.waitForSelector(".fact.good");
        await shot("overview-narrow");
        await show(page, "symbols");
        await page.click(".grid-body [role=row] >> nth=3");
        await shot("symbols-narrow");
        await page.context().close();
    }
    await browser.close();
});
