// Names and types of the field ids: dropped with the file, inferred, edited here, and downloaded.

import type { JSX } from "preact";
import { useRef } from "preact/hooks";
import { valueTypes, type Dictionary, type FieldInfo, type ValueType } from "../protocol";
import { client } from "./client";
import { busy, dictionaryOf, download, loadDictionary, setDictionary } from "./files";
import { count, percent } from "./format";
import { useStore } from "./state";

export function DictionaryView(): JSX.Element {
    const { file } = useStore();
    const input = useRef<HTMLInputElement>(null);
    if (!file) return <></>;
    const dictionary = dictionaryOf(0);
    const known = Object.keys(dictionary).length;
    const change = (field: FieldInfo, entry: { name?: string; type?: ValueType }): void => {
        const old = dictionary[field.id];
        const next = { name: `field_${field.id}`, type: field.type, ...old, ...entry };
        const taken = Object.entries(dictionary).some(([id, { name }]) => id !== String(field.id) && name === next.name);
        void busy("Applying the dictionary", async () => {
            if (taken) throw new Error(`Two fields cannot both be called "${next.name}".`);
            const changed: Dictionary = { ...dictionary, [field.id]: next };
            if (next.name === "") delete changed[field.id];
            await setDictionary(changed, 0);
        });
    };
    return (
        <div class="scroll">
            <div class="toolbar" role="toolbar" aria-label="Dictionary">
                <button onClick={() => input.current?.click()}>Load…</button>
                <input
                    ref={input}
                    type="file"
                    accept=".json"
                    hidden
                    aria-hidden="true"
                    onChange={(event) => {
                        const chosen = event.currentTarget.files?.[0];
                        event.currentTarget.value = "";
                        if (chosen) void loadDictionary(chosen, 0);
                    }}
                />
                <button onClick={() => void busy("Inferring types", async () => setDictionary({ ...(await client.call("inferDictionary", 0)), ...dictionary }, 0))}>
                    Infer the missing types
                </button>
                <button
                    disabled={known === 0}
                    onClick={() => download(new Blob([JSON.stringify(dictionary, null, 2) + "\n"], { type: "application/json" }), `${file.name}.fields.json`)}
                >
                    Download
                </button>
                <span class="quiet">
                    {known === 0
                        ? "No dictionary: drop FILE.fields.json on this page, or infer the types."
                        : `${count(known)} of ${count(file.fields.length)} fields named. The tools find it beside the file as ${file.name}.fields.json.`}
                </span>
            </div>
            <table class="plain dictionary">
                <caption class="hidden-text">Fields</caption>
                <thead>
                    <tr>
                        <th scope="col" class="number">
                            id
                        </th>
                        <th scope="col">name</th>
                        <th scope="col">type</th>
                        <th scope="col" class="number">
                            symbols with own value
                        </th>
                        <th scope="col">default</th>
                        <th scope="col">tag</th>
                    </tr>
                </thead>
                <tbody>
                    {file.fields.map((field) => (
                        <tr key={field.id}>
                            <th scope="row" class="number">
                                {field.id}
                            </th>
                            <td>
                                <input
                                    type="text"
                                    value={dictionary[field.id]?.name ?? ""}
                                    placeholder={`field ${field.id}`}
                                    aria-label={`Name of field ${field.id}`}
                                    onChange={(event) => change(field, { name: event.currentTarget.value.trim() })}
                                />
                            </td>
                            <td>
                                <select
                                    value={dictionary[field.id]?.type ?? field.type}
                                    aria-label={`Type of field ${field.id}`}
                                    onChange={(event) => change(field, { type: event.currentTarget.value as ValueType })}
                                >
                                    {valueTypes.map((type) => (
                                        <option key={type}>{type}</option>
                                    ))}
                                </select>
                            </td>
                            <td class="number">
                                {count(field.own)} <span class="quiet">{percent(field.own, file.symbols)}</span>
                            </td>
                            <td>{field.isDefault ? "yes" : ""}</td>
                            <td class="quiet">{field.tags.map((tag) => `#${tag}`).join(" ")}</td>
                        </tr>
                    ))}
                </tbody>
            </table>
        </div>
    );
}
