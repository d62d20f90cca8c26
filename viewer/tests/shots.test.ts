// Pictures of every view, for the documents and for the eye: ./dev viewer shots

import { mkdirSync } from "node:fs";
import { join, resolve } from "node:path";
import { test } from "vitest";
import { dictionary, launch, openFiles, openPage, sample, show } from "./browser";

const to = resolve(import.meta.dirname, "../../docs/viewer");

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
        await show(page, "dictionary");
        await shot("dictionary");
    }
    await browser.close();
});
