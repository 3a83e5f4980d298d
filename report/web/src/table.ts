// SPDX-License-Identifier: BSD-3-Clause
// The table of subfields: sorted by any column, some rows at a time.
import { type Table } from "./data";
import { el } from "./dom";
import { significant } from "./format";

const PAGE = 25;

export class SubfieldTable {
    readonly element: HTMLElement;
    onSelect: (row: number) => void = () => undefined;

    private order: number[];
    private sortedBy = -1;
    private ascending = true;
    private page = 0;
    private selected = -1;
    private readonly heads: HTMLTableCellElement[] = [];
    private readonly body = el("tbody");
    private readonly status = el("span", { role: "status" });
    private readonly before = el("button", { type: "button" }, "Previous");
    private readonly after = el("button", { type: "button" }, "Next");

    constructor(private readonly table: Table) {
        this.order = table.rows.map((_, row) => row);
        const head = el("tr");
        table.columns.forEach((column, at) => {
            const button = el("button", { type: "button", "data-column": column }, column);
            button.addEventListener("click", () => this.sort(at));
            const cell = el("th", { scope: "col", "aria-sort": "none" }, button);
            this.heads.push(cell);
            head.append(cell);
        });
        this.before.addEventListener("click", () => this.show(this.page - 1));
        this.after.addEventListener("click", () => this.show(this.page + 1));
        this.element = el("div", { class: "subfield-table" },
            el("div", { class: "scroll", tabindex: 0, role: "region", "aria-label": "Table of subfields" },
                el("table", {}, el("thead", {}, head), this.body)),
            el("div", { class: "pager" }, this.before, this.status, this.after));
        this.show(0);
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
        this.table.rows[row].forEach((text, at) => {
            const number = Number(text);
            const isNumber = text !== "" && !Number.isNaN(number);
            const shown = isNumber && !Number.isInteger(number) ? significant(number, 4) : text;
            if (at === 0) {
                const button = el("button", { type: "button", "aria-pressed": row === this.selected ? "true" : "false" }, text);
                button.addEventListener("click", () => this.onSelect(row));
                line.append(el("th", { scope: "row" }, button));
            } else {
                line.append(el("td", { class: isNumber ? "number" : undefined, title: shown === text ? undefined : text }, shown));
            }
        });
        return line;
    }

    select(row: number): void {
        this.selected = row;
        this.show(Math.floor(this.order.indexOf(row) / PAGE));
    }
}
