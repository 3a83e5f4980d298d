// SPDX-License-Identifier: BSD-3-Clause
// The table of subfields: sorted by any column, some rows at a time.
import { type Table } from "./data";
import { el } from "./dom";
import { significant } from "./format";

const PAGE = 25;

/** Columns that the page shows first, and that are printed; what a column's name begins with. */
const FIRST = ["id", "center_", "foreground_fraction", "a_xx", "a_yy", "a_zz", "anisotropy", "mean_confidence", "difference_rad"];
/** Those that come last: where a subfield lies is told by its middle. */
const LAST = [/^[xyz][01]_px$/, /^foreground_pixels$/];

/** Numbers of the columns in the order of the page. */
function orderOf(columns: string[]): { order: number[]; first: number } {
    const rank = (column: string) => {
        const first = FIRST.findIndex((start) => (start.endsWith("_") ? column.startsWith(start) : column === start));
        return first >= 0 ? first : FIRST.length + (LAST.some((pattern) => pattern.test(column)) ? 1 : 0);
    };
    const order = columns.map((_, at) => at).sort((a, b) => rank(columns[a]) - rank(columns[b]) || a - b);
    return { order, first: columns.filter((column) => rank(column) < FIRST.length).length };
}

export class SubfieldTable {
    readonly element: HTMLElement;
    onSelect: (row: number) => void = () => undefined;

    private order: number[];
    private sortedBy = -1;
    private ascending = true;
    private page = 0;
    private selected = -1;
    private readonly columns: { order: number[]; first: number };
    private readonly heads = new Map<number, HTMLTableCellElement>();
    private readonly body = el("tbody");
    private readonly status = el("span", { role: "status" });
    private readonly before = el("button", { type: "button" }, "Previous");
    private readonly after = el("button", { type: "button" }, "Next");

    constructor(private readonly table: Table) {
        this.order = table.rows.map((_, row) => row);
        this.columns = orderOf(table.columns);
        const head = el("tr");
        this.columns.order.forEach((at, place) => {
            const column = table.columns[at];
            const button = el("button", { type: "button", "data-column": column }, column);
            button.addEventListener("click", () => this.sort(at));
            const cell = el("th", { scope: "col", "aria-sort": "none", class: this.classOf(place) }, button);
            this.heads.set(at, cell);
            head.append(cell);
        });
        this.before.addEventListener("click", () => this.show(this.page - 1));
        this.after.addEventListener("click", () => this.show(this.page + 1));
        this.element = el("div", { class: "subfield-table" },
            el("div", { class: "scroll", tabindex: 0, role: "region", "aria-label": "Table of subfields" },
                el("table", {}, el("thead", {}, head), this.body)),
            el("div", { class: "pager" }, this.before, this.status, this.after),
            el("p", { class: "on-paper" }, "More columns are in subfields.csv."));
        this.show(0);
    }

    private classOf(place: number): string | undefined {
        return place < this.columns.first ? undefined : "on-screen";
    }

    private sort(column: number): void {
        this.ascending = this.sortedBy === column ? !this.ascending : true;
        this.sortedBy = column;
        const { rows } = this.table;
        const sign = this.ascending ? 1 : -1;
        this.order.sort((one, other) => {
            const a = rows[one][column];
            const b = rows[other][column];
            if (a === "" || b === "") { // rows without a value come last
                return a === b ? one - other : a === "" ? 1 : -1;
            }
            const difference = Number(a) - Number(b);
            return sign * (Number.isNaN(difference) ? a.localeCompare(b) : difference) || one - other;
        });
        this.heads.forEach((cell, at) =>
            cell.setAttribute("aria-sort", at === column ? (this.ascending ? "ascending" : "descending") : "none"));
        this.show(0);
    }

    private show(page: number): void {
        const pages = Math.max(1, Math.ceil(this.order.length / PAGE));
        this.page = Math.min(Math.max(page, 0), pages - 1);
        const first = this.page * PAGE;
        const shown = this.order.slice(first, first + PAGE);
        this.body.replaceChildren(...shown.map((row) => this.rowOf(row)));
        this.status.textContent = `${first + 1} to ${first + shown.length} of ${this.order.length}`;
        this.before.disabled = this.page === 0;
        this.after.disabled = this.page === pages - 1;
    }

    private rowOf(row: number): HTMLTableRowElement {
        const line = el("tr", { "data-row": row, class: row === this.selected ? "selected" : undefined });
        this.columns.order.forEach((at, place) => {
            const text = this.table.rows[row][at];
            const number = Number(text);
            const isNumber = text !== "" && !Number.isNaN(number);
            const shown = isNumber && !Number.isInteger(number) ? significant(number, 4) : text;
            if (place === 0) {
                const button = el("button", { type: "button", "aria-pressed": row === this.selected ? "true" : "false" }, text);
                button.addEventListener("click", () => this.onSelect(row));
                line.append(el("th", { scope: "row" }, button));
            } else {
                line.append(el("td", { class: [isNumber ? "number" : "", this.classOf(place) ?? ""].join(" ").trim() || undefined, title: shown === text ? undefined : text }, shown));
            }
        });
        return line;
    }

    select(row: number): void {
        this.selected = row;
        this.show(Math.floor(this.order.indexOf(row) / PAGE));
    }
}
