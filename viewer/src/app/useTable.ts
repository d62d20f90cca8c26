// A query of the worker: a new one replaces the last, and a long search reports its matches so far until it is
// done.

import { useEffect, useLayoutEffect, useState } from "preact/hooks";
import { parseFilter } from "../filterText";
import { headRows, type ColumnInfo, type Filter, type Query, type RowWindow, type TableInfo, type TableSource } from "../protocol";
import { client } from "./client";
import { useStore, type Place } from "./state";

export interface TableState {
    info: TableInfo | null;
    query: Query;
    version: string;
    error: string;
    fetch: (first: number, count: number) => Promise<RowWindow>;
}

export function filtersOf(columns: ColumnInfo[], texts: Record<string, string>): Filter[] {
    return columns.flatMap((column) => parseFilter(column, texts[column.key] ?? ""));
}

// The worker's answer; undefined until it arrives, and after an error.
export function useAnswer<T>(ask: () => Promise<T>, dependencies: unknown[]): T | undefined {
    const [answer, setAnswer] = useState<T | undefined>(undefined);
    useEffect(() => {
        let wanted = true;
        ask().then(
            (found) => wanted && setAnswer(found),
            () => wanted && setAnswer(undefined),
        );
        return () => void (wanted = false);
    }, dependencies);
    return answer;
}

export function useTable(source: TableSource, place: Place): TableState {
    const { revision } = useStore();
    const [info, setInfo] = useState<TableInfo | null>(null);
    const [version, setVersion] = useState("");
    const [error, setError] = useState("");
    const base: Query = { source, search: place.search, filters: [], sort: place.sort };
    // Filters need the columns' types, which come with the first reply.
    const columns = info?.columns ?? [];
    const query: Query = { ...base, filters: filtersOf(columns, place.filters) };
    const waiting = Object.values(place.filters).some((text) => text !== "") && columns.length === 0;
    const key = JSON.stringify([query, revision, waiting]);

    // A layout effect, so that the query of a keystroke does not wait for the next frame.
    useLayoutEffect(() => {
        let wanted = true;
        const ask = async (): Promise<void> => {
            try {
                for (let first = true; wanted; first = false) {
                    const start = performance.now();
                    const reply = await client.call("table", query);
                    if (!wanted) return;
                    if (first) performance.measure("query", { start, end: performance.now() });
                    setInfo(reply);
                    setError("");
                    // A search only adds matches, so the first rows are final once they are full.
                    setVersion(`${key}/${reply.head.rows.length}/${reply.done}`);
                    if (reply.done) return;
                }
            } catch (failure) {
                if (!wanted) return;
                setInfo(null);
                setError(failure instanceof Error ? failure.message : String(failure));
            }
        };
        void ask();
        return () => void (wanted = false);
    }, [key]);

    return {
        info,
        query,
        version,
        error,
        fetch: (first, count) => (first === 0 && count <= headRows && info ? Promise.resolve(info.head) : client.call("rows", query, first, count)),
    };
}
