// The rows of a table on paper. The table on screen holds only the rows in view, so the first ones are laid out
// here while the browser prints.

import type { JSX } from "preact";
import { useEffect } from "preact/hooks";
import type { ColumnInfo } from "../protocol";
import { count } from "./format";
import { update, useStore } from "./state";

export const printedRows = 1000;

export interface Sheet {
    title: string;
    columns: ColumnInfo[];
    cells: string[][]; // by column
    total: number;
}

export function PrintSheet(): JSX.Element {
    const { sheet } = useStore();
    useEffect(() => {
        if (!sheet) return;
        window.print();
        update({ sheet: null });
    }, [sheet]);
    if (!sheet) return <></>;
    const rows = sheet.cells[0]?.length ?? 0;
    return (
        <section class="print-sheet">
            <h2>{sheet.title}</h2>
            {rows < sheet.total && (
                <p>
                    The first {count(rows)} of {count(sheet.total)} rows.
                </p>
            )}
            <table class="plain">
                <thead>
                    <tr>
                        {sheet.columns.map(({ key, title }) => (
                            <th key={key} scope="col">
                                {title}
                            </th>
                        ))}
                    </tr>
                </thead>
                <tbody>
                    {Array.from({ length: rows }, (_, row) => (
                        <tr key={row}>
                            {sheet.columns.map(({ key, numeric }, column) => (
                                <td key={key} class={numeric ? "number" : ""}>
                                    {sheet.cells[column]?.[row]}
                                </td>
                            ))}
                        </tr>
                    ))}
                </tbody>
            </table>
        </section>
    );
}
