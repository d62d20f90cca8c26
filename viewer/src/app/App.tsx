// The frame of the page: the open file, the views, and files dropped anywhere.

import type { JSX } from "preact";
import { useEffect, useRef, useState } from "preact/hooks";
import { Charts } from "./Charts";
import { client } from "./client";
import { Compare } from "./Compare";
import { DictionaryView } from "./DictionaryView";
import { takeFiles } from "./files";
import { Findings } from "./Findings";
import { bytesText } from "./format";
import { OverviewView } from "./Overview";
import { PrintSheet } from "./PrintSheet";
import { current, go, update, useStore, views, type View } from "./state";
import { SectionsView, SymbolsView } from "./TableViews";

const titles: Record<View, string> = {
    overview: "Overview",
    symbols: "Symbols",
    sections: "Sections",
    findings: "Findings",
    charts: "Charts",
    compare: "Compare",
    dictionary: "Dictionary",
};

client.onProgress = (_what, done) => update({ done });
client.onFailure = (error) => update({ error, busy: "" });

export function App(): JSX.Element {
    const { file, place, busy, done, error } = useStore();
    const [dropping, setDropping] = useState(false);
    useDrop(setDropping);
    useEmbedded();
    const theme = useTheme();

    return (
        <div class={dropping ? "app dropping" : "app"}>
            <header class="top">
                <h1 class="brand">
                    <Mark /> <span class="brand-text">Symbol file viewer</span>
                </h1>
                {file && (
                    <p class="file-name" title={file.name}>
                        <strong>{file.name}</strong> <span class="quiet">{bytesText(file.size)}</span>
                    </p>
                )}
                <span class="spring" />
                <FileButton label={file ? "Open…" : "Open a file…"} slot={0} />
                {file && <FileButton label="Compare with…" slot={1} />}
                <button class="icon" onClick={theme.toggle} aria-label={`Use the ${theme.other} theme`} title={`Use the ${theme.other} theme`}>
                    {theme.other === "dark" ? "☾" : "☀"}
                </button>
            </header>
            {file && <Tabs />}
            {busy !== "" && (
                <div class="progress" role="progressbar" aria-label={busy} aria-valuenow={Math.round(done * 100)} aria-valuemin={0} aria-valuemax={100}>
                    <div style={{ width: `${Math.max(4, done * 100)}%` }} />
                </div>
            )}
            <div class="hidden-text" role="status">
                {busy}
            </div>
            {error !== "" && (
                <div class="error" role="alert">
                    <span>{error}</span>
                    <button onClick={() => update({ error: "" })} aria-label="Dismiss the message">
                        ✕
                    </button>
                </div>
            )}
            <PrintSheet />
            <main class="view">
                {file ? (
                    <div id="main" role="tabpanel" aria-labelledby={`tab-${place.view}`} class={`view view-${place.view}`}>
                        <ViewOf view={place.view} />
                    </div>
                ) : (
                    <Welcome />
                )}
            </main>
            {dropping && <div class="drop-hint" aria-hidden="true">Drop to open{file ? " · a second file to compare" : ""}</div>}
        </div>
    );
}

function ViewOf({ view }: { view: View }): JSX.Element {
    switch (view) {
        case "symbols":
            return <SymbolsView />;
        case "sections":
            return <SectionsView />;
        case "findings":
            return <Findings />;
        case "charts":
            return <Charts />;
        case "compare":
            return <Compare />;
        case "dictionary":
            return <DictionaryView />;
        case "overview":
            return <OverviewView />;
    }
}

function Tabs(): JSX.Element {
    const { file, place, check, checking, other } = useStore();
    const list = useRef<HTMLDivElement>(null);
    const badge: Partial<Record<View, string>> = {
        symbols: file && file.symbols > 0 ? file.symbols.toLocaleString("en-US") : "",
        sections: file ? String(file.sections.length) : "",
        findings: check ? check.total.toLocaleString("en-US") : checking ? "…" : "",
        compare: other ? "2" : "",
    };
    const onKeyDown = (event: KeyboardEvent): void => {
        const step = event.key === "ArrowRight" ? 1 : event.key === "ArrowLeft" ? -1 : 0;
        if (step === 0) return;
        event.preventDefault();
        const next = views[(views.indexOf(place.view) + step + views.length) % views.length] as View;
        go({ view: next });
        list.current?.querySelector<HTMLElement>(`#tab-${next}`)?.focus();
    };
    return (
        <div class="tabs" role="tablist" aria-label="Views" ref={list} onKeyDown={onKeyDown}>
            {views.map((view) => (
                <button
                    key={view}
                    id={`tab-${view}`}
                    role="tab"
                    aria-selected={view === place.view}
                    aria-controls="main"
                    tabIndex={view === place.view ? 0 : -1}
                    onClick={() => go({ view })}
                >
                    {titles[view]}
                    {badge[view] && <span class={view === "findings" && (check?.total ?? 0) > 0 ? "badge bad" : "badge"}>{badge[view]}</span>}
                </button>
            ))}
        </div>
    );
}

function Welcome(): JSX.Element {
    return (
        <section class="welcome">
            <div class="drop-zone">
                <Mark large />
                <h2>Drop a symbol file here</h2>
                <p>
                    or <FileButton label="choose one…" slot={0} primary />
                </p>
                <p class="quiet">
                    Drop its dictionary (<code>.fields.json</code>) along with it, or a second symbol file to compare.
                </p>
            </div>
            <p class="quiet promise">
                The file is read on this machine by the page itself. The page cannot use the network, and nothing is stored.
            </p>
        </section>
    );
}

function FileButton(props: { label: string; slot: 0 | 1; primary?: boolean }): JSX.Element {
    const input = useRef<HTMLInputElement>(null);
    return (
        <>
            <button class={props.primary ? "primary" : ""} onClick={() => input.current?.click()}>
                {props.label}
            </button>
            <input
                ref={input}
                type="file"
                multiple
                hidden
                aria-hidden="true"
                data-slot={props.slot}
                onChange={(event) => {
                    const files = [...(event.currentTarget.files ?? [])];
                    event.currentTarget.value = "";
                    void takeFiles(files, props.slot);
                }}
            />
        </>
    );
}

function Mark({ large = false }: { large?: boolean }): JSX.Element {
    const size = large ? 56 : 18;
    return (
        <svg class="mark" width={size} height={size} viewBox="0 0 18 18" aria-hidden="true">
            <rect x="1" y="1" width="16" height="16" rx="3" fill="none" stroke="currentColor" stroke-width="1.4" />
            <rect x="4" y="4.5" width="10" height="2" rx="1" fill="currentColor" />
            <rect x="4" y="8" width="6" height="2" rx="1" fill="currentColor" opacity=".6" />
            <rect x="4" y="11.5" width="8" height="2" rx="1" fill="currentColor" opacity=".35" />
        </svg>
    );
}

function useDrop(setDropping: (dropping: boolean) => void): void {
    useEffect(() => {
        let depth = 0;
        const enter = (event: DragEvent): void => {
            event.preventDefault();
            ++depth;
            setDropping(true);
        };
        const leave = (): void => {
            if (--depth <= 0) setDropping(false);
        };
        const over = (event: DragEvent): void => event.preventDefault();
        const drop = (event: DragEvent): void => {
            event.preventDefault();
            depth = 0;
            setDropping(false);
            const files = [...(event.dataTransfer?.files ?? [])];
            const toCompare = current().file !== null && current().place.view === "compare";
            void takeFiles(files, toCompare ? 1 : 0);
        };
        const events = { dragenter: enter, dragleave: leave, dragover: over, drop } as const;
        for (const [name, listener] of Object.entries(events)) addEventListener(name, listener as EventListener);
        return () => {
            for (const [name, listener] of Object.entries(events)) removeEventListener(name, listener as EventListener);
        };
    }, []);
}

// The page may contain files, each as blocks of base64: the first block has data-name, the others data-more.
function useEmbedded(): void {
    useEffect(() => {
        const files: { name: string; parts: Uint8Array<ArrayBuffer>[] }[] = [];
        for (const block of document.querySelectorAll<HTMLScriptElement>("script[data-name], script[data-more]")) {
            const name = block.dataset["name"];
            if (name !== undefined) files.push({ name, parts: [] });
            files.at(-1)?.parts.push(decodeBase64(block.textContent ?? ""));
            block.remove();
        }
        if (files.length > 0) void takeFiles(files.map(({ name, parts }) => new File(parts, name)), 0);
    }, []);
}

function decodeBase64(text: string): Uint8Array<ArrayBuffer> {
    const binary = atob(text);
    const bytes = new Uint8Array(binary.length);
    for (let at = 0; at < bytes.length; ++at) bytes[at] = binary.charCodeAt(at);
    return bytes;
}

function useTheme(): { other: "dark" | "light"; toggle: () => void } {
    const [chosen, setChosen] = useState<"dark" | "light" | null>(null);
    const [system, setSystem] = useState(matchMedia("(prefers-color-scheme: dark)").matches);
    useEffect(() => {
        const query = matchMedia("(prefers-color-scheme: dark)");
        const listener = (): void => setSystem(query.matches);
        query.addEventListener("change", listener);
        return () => query.removeEventListener("change", listener);
    }, []);
    const now = chosen ?? (system ? "dark" : "light");
    const other = now === "dark" ? "light" : "dark";
    return {
        other,
        toggle: () => {
            setChosen(other);
            document.documentElement.dataset["theme"] = other;
            update({ revision: current().revision + 1 });
        },
    };
}

