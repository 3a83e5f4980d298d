// SPDX-License-Identifier: BSD-3-Clause
// What the program has put into the page; docs/report.md lists the keys.

export interface Field {
    foreground_pixels: number;
    foreground_fraction: number;
    status: string;
    anisotropy: number;
    box_px: [number, number][];
    [component: string]: unknown;
}

export interface SectionImage {
    axis: Axis;
    slice_px: number;
    size: [number, number];
    has_confidence: boolean;
    planes: string;
}

export interface Sections {
    block_px: number[];
    grey_range: [number, number];
    images: SectionImage[];
}

export interface Directions {
    counts: number[] | null;
    density: (number | null)[] | null;
    nodes?: number;
}

export interface Histogram {
    lo: number;
    bin_width: number;
    counts: number[];
}

export interface TableText {
    count: number;
    csv: string | null;
}

export type Json = null | boolean | number | string | Json[] | { [key: string]: Json };
export type JsonObject = { [key: string]: Json };

export interface Report {
    format: number;
    dim: 2 | 3;
    length_unit: string;
    spacing: number[];
    border_px: number;
    record: {
        version: string;
        input: JsonObject & { path: string; size_px: number[] };
        parameters: JsonObject;
        foreground: JsonObject & { share: number; pixels: number; threshold: number | null };
        files: string[];
        [key: string]: Json;
    };
    field: Field;
    subfields: TableText;
    profiles: TableText;
    histogram: Histogram | null;
    directions: Directions | null;
    sections: Sections | null;
    angle_colors: [number, number, number][] | null;
}

export type Axis = "x" | "y" | "z";
export const AXES: readonly Axis[] = ["x", "y", "z"];

/** A table as its file has it: cells are texts, empty where there is no value. */
export class Table {
    constructor(
        readonly columns: string[],
        readonly rows: string[][],
    ) {}

    /** Comma-separated values with quotes as in RFC 4180. */
    static parse(csv: string): Table {
        const rows: string[][] = [];
        let row: string[] = [];
        let cell = "";
        let quoted = false;
        for (let at = 0; at < csv.length; ++at) {
            const letter = csv[at];
            if (quoted) {
                if (letter !== '"') {
                    cell += letter;
                } else if (csv[at + 1] === '"') {
                    cell += letter;
                    ++at;
                } else {
                    quoted = false;
                }
            } else if (letter === '"') {
                quoted = true;
            } else if (letter === ",") {
                row.push(cell);
                cell = "";
            } else if (letter === "\n") {
                row.push(cell);
                rows.push(row);
                row = [];
                cell = "";
            } else {
                cell += letter;
            }
        }
        const columns = rows.shift() ?? [];
        return new Table(columns, rows);
    }

    has(column: string): boolean {
        return this.columns.includes(column);
    }
    text(row: number, column: string): string {
        const at = this.columns.indexOf(column);
        return at < 0 ? "" : this.rows[row][at];
    }
    /** NaN where there is no number. */
    number(row: number, column: string): number {
        const text = this.text(row, column);
        return text === "" ? NaN : Number(text);
    }
    /** The column that begins with a name and goes on with a unit, as in "center_x_mm". */
    withUnit(name: string): string {
        return this.columns.find((column) => column === name || column.startsWith(`${name}_`)) ?? name;
    }
}

export function readReport(): Report {
    const element = document.getElementById("tevra-data");
    return JSON.parse(element?.textContent ?? "null") as Report;
}

/** The tensor of a field or row as a full 3 x 3 matrix; in 2D the rest is 0. */
export function tensorOf(component: (name: string) => number, dim: number): number[][] {
    const matrix = [0, 1, 2].map(() => [0, 0, 0]);
    for (let i = 0; i < dim; ++i) {
        for (let j = i; j < dim; ++j) {
            matrix[i][j] = matrix[j][i] = component(`a_${AXES[i]}${AXES[j]}`);
        }
    }
    return matrix;
}
