// SPDX-License-Identifier: BSD-3-Clause
// Subfields in place, and their table.
import { directionColor, gradientOf, sequential, type Color } from "./colors";
import { AXES, tensorOf, type Report, type Table } from "./data";
import { choice, el, missing, part } from "./dom";
import { degrees, fixed, percent, significant, whole } from "./format";
import { GlyphView, type Glyph } from "./glyphs";
import { onPalette, palette, paletteChoice, sphereLegend } from "./palette";
import { SubfieldTable } from "./table";

type Coloring = "direction" | "anisotropy" | "confidence" | "difference" | "foreground";

interface Scale {
    text: string;
    column: string;
    most: (values: number[]) => number;
    show: (value: number) => string;
}

const SCALES: { [name in Exclude<Coloring, "direction">]: Scale } = {
    anisotropy: { text: "anisotropy", column: "anisotropy", most: () => 1, show: (value) => fixed(value, 2) },
    confidence: { text: "mean confidence", column: "mean_confidence", most: () => 1, show: (value) => fixed(value, 2) },
    difference: { text: "difference to the whole field", column: "difference_rad", most: (values) => Math.max(...values, 1e-9), show: (value) => degrees(value) },
    foreground: { text: "foreground", column: "foreground_fraction", most: (values) => Math.max(...values, 1e-9), show: (value) => percent(value) },
};

/** The square of the tensor, brought to a longest half axis: its eigenvectors, half axes as long as the eigenvalues. */
function shapeOf(tensor: number[][], largest: number, length: number): number[][] {
    const factor = length / largest;
    return tensor.map((row) => tensor.map((_, column) =>
        factor * factor * row.reduce((sum, value, at) => sum + value * tensor[at][column], 0)));
}

function glyphsOf(report: Report, table: Table, coloring: Coloring): { glyphs: Glyph[]; most: number } {
    const { dim } = report;
    const rows = table.rows.map((_, row) => row).filter((row) => table.text(row, "anisotropy") !== "");
    const centres = AXES.slice(0, dim).map((axis) => table.withUnit(`center_${axis}`));
    const scale = coloring === "direction" ? null : SCALES[coloring];
    const values = scale ? rows.map((row) => table.number(row, scale.column)) : [];
    const most = scale ? scale.most(values.filter(Number.isFinite)) : 1;
    const glyphs = rows.map((row, at): Glyph => {
        const mean = AXES.map((axis, i) => (i < dim ? table.number(row, `mean_${axis}`) : 0)) as [number, number, number];
        const extent = AXES.slice(0, dim).map((axis, i) =>
            (table.number(row, `${axis}1_px`) - table.number(row, `${axis}0_px`)) * report.spacing[i]);
        const tensor = tensorOf((name) => table.number(row, name), dim);
        const color: Color = scale === null
            ? dim === 3
                ? directionColor(...(mean.map((value) => Math.round(255 * Math.abs(value))) as Color), palette())
                : (report.angle_colors ?? [])[Math.round((Math.atan2(mean[1], mean[0]) * 180) / Math.PI + 360) % 180] ?? [120, 120, 120]
            : Number.isFinite(values[at]) ? sequential(values[at] / most) : [128, 128, 128];
        return {
            row, mean, color,
            centre: [0, 1, 2].map((i) => (i < dim ? table.number(row, centres[i]) : 0)) as [number, number, number],
            shape: shapeOf(tensor, table.number(row, "lambda_1"), 0.48 * Math.min(...extent)),
        };
    });
    return { glyphs, most };
}

export function subfieldsOf(report: Report, table: Table | null): HTMLElement {
    const title = "Subfields";
    if (table === null) {
        return part("subfields", title, missing(report.subfields.count > 0
            ? `There are ${whole(report.subfields.count)} subfields, too many for this page: see subfields.csv, and result.json for programs.`
            : "The image was analysed as a whole. Analysed with subfields, their tensors stand here as ellipsoids in place and as a table."));
    }
    let coloring: Coloring = "direction";
    const { size_px } = report.record.input;
    const upper = [0, 1, 2].map((axis) => (axis < report.dim ? size_px[axis] * report.spacing[axis] : 0)) as [number, number, number];
    const view = new GlyphView(glyphsOf(report, table, coloring).glyphs, [[0, 0, 0], upper], report.dim === 2);
    const list = new SubfieldTable(table);
    const legend = el("div", { class: "legend wide" });
    const chosen = el("p", { class: "chosen", role: "status" }, "Click an ellipsoid, or an id in the table.");
    const colors = paletteChoice("glyph-palette");
    const draw = () => {
        const { glyphs, most } = glyphsOf(report, table, coloring);
        view.show(glyphs);
        colors.hidden = coloring !== "direction" || report.dim === 2;
        if (coloring === "direction") {
            legend.replaceChildren(...(report.dim === 3 ? sphereLegend("the mean direction")
                : [el("p", {}, "Color: angle of the mean direction, as in the image.")]));
            return;
        }
        const bar = el("div", { class: "bar" });
        bar.style.background = gradientOf();
        legend.replaceChildren(el("p", {}, SCALES[coloring].text), bar,
            el("div", { class: "ends" }, el("span", {}, "0"), el("span", {}, SCALES[coloring].show(most))));
    };
    const select = (row: number) => {
        view.select(row);
        list.select(row);
        const axes = AXES.slice(0, report.dim);
        const components = axes.map((axis) => `a_${axis}${axis} ${fixed(table.number(row, `a_${axis}${axis}`), 3)}`).join(", ");
        chosen.textContent = table.text(row, "anisotropy") === "" ? `${table.text(row, "id")}: no fibers`
            : `${table.text(row, "id")}: ${components}, anisotropy ${significant(table.number(row, "anisotropy"))}, `
            + `${degrees(table.number(row, "difference_rad"))} from the whole field, foreground ${percent(table.number(row, "foreground_fraction"))}`;
    };
    view.onPick = select;
    list.onSelect = select;
    const options = [{ value: "direction", text: "direction" },
        ...Object.entries(SCALES).filter(([, scale]) => table.has(scale.column) && table.rows.some((_, row) => table.text(row, scale.column) !== ""))
            .map(([value, scale]) => ({ value, text: scale.text }))];
    const controls = el("div", { class: "controls" }, choice("coloring", "Color by", options, coloring, (value) => {
        coloring = value as Coloring;
        draw();
    }), colors);
    onPalette(draw);
    const download = el("a", { href: `data:text/csv;charset=utf-8,${encodeURIComponent(report.subfields.csv ?? "")}`, download: "subfields.csv" },
        "Save the table as subfields.csv");
    queueMicrotask(draw);
    Object.assign(view.element, { placeOf: (row: number) => view.placeOf(row) });
    return part("subfields", title,
        el("p", {}, `The orientation tensor of ${whole(table.rows.length)} subfields: half axes as long as its eigenvalues, each brought to the size of its subfield. `,
            el("span", { class: "on-screen" }, `${report.dim === 3 ? "Drag or press arrow keys to turn them" : "Seen as the image is"}; + and − zoom.`)),
        controls, view.element, legend, chosen, list.element, el("p", { class: "on-screen" }, download));
}
