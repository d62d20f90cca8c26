// A nested section as a tree. A branch is loaded when it is opened, a hundred rows at a time.

import type { JSX } from "preact";
import { useEffect, useRef, useState } from "preact/hooks";
import type { ColumnInfo, Query, RowWindow, SectionInfo } from "../protocol";
import { client } from "./client";
import { count, singular } from "./format";

const step = 100;

interface Branch {
    columns: ColumnInfo[];
    total: number;
    window: RowWindow;
}

export function Tree({ section }: { section: SectionInfo }): JSX.Element {
    const root = useRef<HTMLDivElement>(null);
    // Arrow keys move over the visible items.
    const onKeyDown = (event: KeyboardEvent): void => {
        const items = [...(root.current?.querySelectorAll<HTMLElement>("[role=treeitem], .tree-more") ?? [])];
        const item = (event.target as HTMLElement).closest<HTMLElement>("[role=treeitem], .tree-more");
        const at = item ? items.indexOf(item) : -1;
        const expanded = item?.getAttribute("aria-expanded");
        const focus = (to: number): void => items[Math.max(0, Math.min(items.length - 1, to))]?.focus();
        const toggle = (): void => item?.querySelector<HTMLElement>(".tree-line")?.click();
        const actions: Record<string, () => void> = {
            ArrowDown: () => focus(at + 1),
            ArrowUp: () => focus(at - 1),
            Home: () => focus(0),
            End: () => focus(items.length - 1),
            ArrowRight: () => (expanded === "false" ? toggle() : focus(at + 1)),
            ArrowLeft: () => (expanded === "true" ? toggle() : item?.parentElement?.closest<HTMLElement>("[role=treeitem]")?.focus()),
            Enter: toggle,
            " ": toggle,
        };
        const action = actions[event.key];
        if (!action || item?.classList.contains("tree-more")) return;
        event.preventDefault();
        event.stopPropagation();
        action();
    };
    return (
        <div class="tree" role="tree" aria-label={section.title} ref={root} onKeyDown={onKeyDown}>
            <Branches section={section} level={0} parent={-1} first />
        </div>
    );
}

function Branches(props: { section: SectionInfo; level: number; parent: number; first?: boolean }): JSX.Element {
    const { section, level, parent } = props;
    const [branch, setBranch] = useState<Branch | null>(null);
    const [wanted, setWanted] = useState(step);
    useEffect(() => {
        let mounted = true;
        const query: Query = {
            source: { slot: 0, section: section.id, level, ...(parent >= 0 ? { parent } : {}) },
            search: "",
            filters: [],
            sort: null,
        };
        void (async () => {
            const info = await client.call("table", query);
            const window = await client.call("rows", query, 0, wanted);
            if (mounted) setBranch({ columns: info.columns, total: info.total, window });
        })();
        return () => void (mounted = false);
    }, [section.id, level, parent, wanted]);
    if (!branch) return <></>;
    return (
        <>
            {branch.window.rows.map((row, at) => (
                <TreeItem key={row} section={section} level={level} row={row} branch={branch} at={at} tabbable={props.first === true && at === 0} />
            ))}
            {branch.total > branch.window.rows.length && (
                <button class="tree-more link" onClick={() => setWanted(wanted + 10 * step)}>
                    {count(branch.total - branch.window.rows.length)} more…
                </button>
            )}
        </>
    );
}

function TreeItem(props: { section: SectionInfo; level: number; row: number; branch: Branch; at: number; tabbable: boolean }): JSX.Element {
    const { section, level, row, branch, at } = props;
    const [open, setOpen] = useState(false);
    const leaf = level + 1 >= section.levels.length;
    const cells = branch.columns.map(({ key, title }, column) => ({ key, title, text: branch.window.cells[column]?.[at] ?? "" })).filter(({ key }) => key !== "#");
    return (
        <div role="treeitem" aria-expanded={leaf ? undefined : open} aria-level={level + 1} aria-posinset={at + 1} aria-setsize={branch.total} tabIndex={props.tabbable ? 0 : -1}>
            <div class="tree-line" style={{ paddingLeft: `${8 + level * 20}px` }} onClick={() => !leaf && setOpen(!open)}>
                <span class="twist" aria-hidden="true">
                    {leaf ? "" : open ? "▾" : "▸"}
                </span>
                <span class="quiet">
                    {singular(section.levels[level]?.name ?? "row")} {at + 1}
                </span>
                {cells.map(({ key, title, text }) => (
                    <span key={key} class="tree-cell">
                        <span class="quiet">{title}</span> {text}
                    </span>
                ))}
            </div>
            {open && (
                <div role="group">
                    <Branches section={section} level={level + 1} parent={row} />
                </div>
            )}
        </div>
    );
}
