// Opens files. A *.json dropped with a symbol file is its dictionary.

import type { Dictionary, DictionaryEntry, Overview, Slot } from "../protocol";
import { valueTypes } from "../protocol";
import { client } from "./client";
import { current, go, home, update } from "./state";

const dictionaries: [Dictionary, Dictionary] = [{}, {}];

export function dictionaryOf(slot: Slot): Dictionary {
    return dictionaries[slot];
}

function message(error: unknown): string {
    return error instanceof Error ? error.message : String(error);
}

export async function busy<T>(what: string, work: () => Promise<T>): Promise<T | undefined> {
    update({ busy: what, done: 0, error: "" });
    try {
        return await work();
    } catch (error) {
        update({ error: message(error) });
        return undefined;
    } finally {
        update({ busy: "", done: 0 });
    }
}

// Opens files that were dropped or chosen: symbol files and their dictionaries. `slot` says whether the first one
// replaces the open file or is compared with it.
export async function takeFiles(files: File[], slot: Slot): Promise<void> {
    const json = files.filter(({ name }) => /\.json$/i.test(name));
    const symbolFiles = files.filter((file) => !json.includes(file));
    const [first, second] = symbolFiles;
    if (first) await openFile(first, slot, json);
    else if (json[0] && current().file) await loadDictionary(json[0], 0);
    else if (json.length > 0) update({ error: "This is a dictionary. Drop it together with its symbol file." });
    if (second && slot === 0 && current().file) await openFile(second, 1, json);
}

async function openFile(file: File, slot: Slot, json: File[]): Promise<void> {
    await busy(`Reading ${file.name}`, async () => {
        const start = performance.now();
        let overview = await client.call("open", slot, file, file.name);
        const own = json.find(({ name }) => name.startsWith(file.name)) ?? json[0];
        const dictionary = own ? await readDictionary(own) : slot === 1 ? dictionaries[0] : {};
        dictionaries[slot] = dictionary;
        if (Object.keys(dictionary).length > 0) {
            overview = { ...overview, fields: await client.call("setDictionary", slot, dictionary) };
        }
        performance.measure("open", { start, end: performance.now() });
        opened(slot, overview);
    });
}

function opened(slot: Slot, overview: Overview): void {
    const revision = current().revision + 1;
    if (slot === 1) {
        update({ other: overview, revision });
        // The state that a link has for the comparison applies to this file.
        if (current().place.view !== "compare") go({ ...home, view: "compare" });
        return;
    }
    const first = current().file === null;
    update({ file: overview, other: null, check: null, revision });
    document.title = `${overview.name} – Symbol file viewer`;
    // The state in the page's address applies to the first file.
    if (!first) go({ ...home });
    void survey();
}

// The check reads the whole file three times, and the worker answers nothing else during that time. Larger files are
// checked on request.
const checkedAtOnce = 16 << 20;

export async function runCheck(): Promise<void> {
    const { file } = current();
    update({ checking: true });
    try {
        const check = await client.call("check", 0);
        if (current().file?.name === file?.name) update({ check });
    } finally {
        update({ checking: false });
    }
}

// Slower work follows the first view: the rows of the sections, then the check.
async function survey(): Promise<void> {
    const file = current().file;
    try {
        const sections = await client.call("survey", 0);
        if (current().file === file && file) update({ file: { ...file, sections } });
        if (file && file.size <= checkedAtOnce) await runCheck();
    } catch (error) {
        update({ error: message(error) });
    }
}

export async function closeOther(): Promise<void> {
    await client.call("close", 1);
    update({ other: null, revision: current().revision + 1 });
}

// ---- the dictionary

export async function loadDictionary(file: File, slot: Slot): Promise<void> {
    await busy(`Reading ${file.name}`, async () => setDictionary(await readDictionary(file), slot));
}

export async function setDictionary(dictionary: Dictionary, slot: Slot): Promise<void> {
    dictionaries[slot] = dictionary;
    const fields = await client.call("setDictionary", slot, dictionary);
    const { file, other, revision } = current();
    if (slot === 0 && file) update({ file: { ...file, fields }, revision: revision + 1 });
    if (slot === 1 && other) update({ other: { ...other, fields }, revision: revision + 1 });
}

async function readDictionary(file: File): Promise<Dictionary> {
    let parsed: unknown;
    try {
        parsed = JSON.parse(await file.text());
    } catch {
        throw new Error(`${file.name} is not JSON.`);
    }
    return asDictionary(parsed, file.name);
}

// FILE.fields.json, or a document for `tvsym build` that contains a dictionary.
export function asDictionary(parsed: unknown, name: string): Dictionary {
    const inner = isObject(parsed) && isObject(parsed["dictionary"]) ? parsed["dictionary"] : parsed;
    if (!isObject(inner)) throw new Error(`${name} is not a dictionary: expected an object of field ids.`);
    const dictionary: Dictionary = {};
    for (const [id, entry] of Object.entries(inner)) {
        if (id.startsWith("_")) continue;
        if (!/^\d{1,5}$/.test(id) || Number(id) > 65535) throw new Error(`${name}: "${id}" is not a field id.`);
        const found = isObject(entry) ? entry : {};
        const type = found["type"];
        if (typeof found["name"] !== "string" || !valueTypes.includes(type as never)) {
            throw new Error(`${name}: field ${id} needs a name and one of the types ${valueTypes.join(", ")}.`);
        }
        const made: DictionaryEntry = { name: found["name"], type: type as DictionaryEntry["type"] };
        if (typeof found["tag"] === "number") made.tag = found["tag"];
        dictionary[id] = made;
    }
    return dictionary;
}

function isObject(value: unknown): value is Record<string, unknown> {
    return typeof value === "object" && value !== null && !Array.isArray(value);
}

export function download(blob: Blob, name: string): void {
    const link = document.createElement("a");
    link.href = URL.createObjectURL(blob);
    link.download = name;
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 10_000);
}
