// Every view by the rules of axe.

import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import { expect, test } from "vitest";
import { dictionary, launch, openFiles, openPage, sample, show } from "./browser";

interface Violation {
    id: string;
    impact: string;
    nodes: { html: string; failureSummary: string }[];
}
type Axe = { run: (options: object) => Promise<{ violations: Violation[] }> };

test("no view has a serious finding of axe, light or dark", async () => {
    const axe = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");
    const browser = await launch();
    const found: string[] = [];
    for (const scheme of ["light", "dark"] as const) {
        const { page } = await openPage(browser, "", scheme);
        await openFiles(page, [sample(), dictionary]);
        await page.waitForSelector(".fact.good");
        await page.evaluate(axe);
        // The views differ by theme only in colours.
        const options = { resultTypes: ["violations"], ...(scheme === "dark" ? { runOnly: ["color-contrast"] } : {}) };
        const check = async (name: string): Promise<void> => {
            const results = await page.evaluate((wanted) => (window as unknown as { axe: Axe }).axe.run(wanted), options);
            for (const { id, impact, nodes } of results.violations) {
                if (impact === "serious" || impact === "critical") found.push(`${scheme} ${name}: ${id} ${nodes[0]?.html.slice(0, 120)} ${nodes[0]?.failureSummary.slice(0, 240)}`);
            }
        };
        const ready: [string, string][] = [
            ["overview", ".plain.sections"],
            ["symbols", ".grid-body [role=row] >> nth=1"],
            ["sections", ".grid-body [role=row] >> nth=1"],
            ["findings", ".map-part"],
            ["charts", ".bars tbody tr"],
            ["compare", ".drop-zone"],
            ["dictionary", ".dictionary"],
        ];
        for (const [view, selector] of ready) {
            await show(page, view);
            await page.waitForSelector(selector);
            if (view === "symbols" || view === "sections") {
                await page.click(selector);
                await page.waitForSelector(".side .hex");
            }
            if (view === "findings") {
                await page.click(".map-part >> nth=0");
                await page.waitForSelector(".place .hex");
            }
            await check(view);
        }
        const changed = new Uint8Array(readFileSync(sample()));
        changed.fill(0x41, 4000, 4004);
        await openFiles(page, [{ name: "changed.sym", bytes: changed }], 1);
        await page.waitForSelector(".changes tbody tr, .note");
        await check("comparison");
    }
    await browser.close();
    expect(found).toEqual([]);
});
