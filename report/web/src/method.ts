// SPDX-License-Identifier: BSD-3-Clause
// How the numbers came about, and what they mean.
import { type Json, type Report } from "./data";
import { el, missing, part, svg } from "./dom";
import { percent, significant } from "./format";
import { axisStyle, plot } from "./plot";

const ESTIMATORS: { [name: string]: string } = {
    "hessian": "The axis of a pixel is the eigenvector of the Hessian matrix of the smoothed image that belongs to the "
        + "eigenvalue of least magnitude: the direction in which the image bends least. For separate fibers.",
    "line-voting": "Pixels on bright lines vote for the axes around them, weighted by how much of a line they are. Holds in "
        + "dense material.",
    "structure-tensor": "The axis of a pixel is the direction in which grey values around it change least. For fibers that "
        + "are not resolved.",
};

function textOf(value: Json): string {
    if (value === null) {
        return "none";
    }
    if (typeof value === "number") {
        return Number.isInteger(value) ? String(value) : significant(value, 6);
    }
    if (typeof value === "boolean") {
        return value ? "yes" : "no";
    }
    if (Array.isArray(value)) {
        return value.map(textOf).join(", ");
    }
    if (typeof value === "object") {
        return Object.entries(value).map(([key, one]) => `${key.replace(/_/g, " ")} ${textOf(one)}`).join("; ");
    }
    return value;
}

function listOf(title: string, values: { [key: string]: Json }): HTMLElement {
    const rows = Object.entries(values).map(([key, value]) =>
        el("tr", {}, el("th", { scope: "row" }, key.replace(/_/g, " ")), el("td", { "data-key": key }, textOf(value))));
    return el("div", { class: "facts" }, el("h3", {}, title), el("table", {}, el("tbody", {}, ...rows)));
}

function histogramOf(report: Report): HTMLElement {
    const { histogram } = report;
    if (histogram === null) {
        return missing("Foreground is what the mask selects: there is no threshold.");
    }
    const threshold = report.record.foreground.threshold;
    const place = el("div", { class: "plot", role: "img", "aria-label": "Histogram of smoothed grey values with the threshold" });
    queueMicrotask(() => plot(place, () => ({
        data: [{
            type: "bar", x: histogram.counts.map((_, bin) => histogram.lo + (bin + 0.5) * histogram.bin_width),
            y: histogram.counts, width: histogram.bin_width, marker: { color: "#56B4E9", line: { width: 0 } }, name: "pixels",
        }],
        layout: {
            bargap: 0, showlegend: false, hovermode: "closest",
            xaxis: axisStyle("smoothed grey value"), yaxis: { ...axisStyle("pixels"), type: "log" },
            shapes: threshold === null ? [] : [{ type: "line", x0: threshold, x1: threshold, y0: 0, y1: 1, yref: "paper",
                line: { color: "#D55E00", width: 2, dash: "dash" } }],
            annotations: threshold === null ? [] : [{ x: threshold, y: 1, yref: "paper", yanchor: "top", xanchor: "left",
                text: ` threshold ${significant(threshold, 4)}`, showarrow: false }],
        },
    })));
    return place;
}

/** The axes of an image and the angles of a direction. */
function drawing(dim: number): SVGElement {
    const line = (x1: number, y1: number, x2: number, y2: number, more: { [name: string]: string } = {}) =>
        svg("line", { x1, y1, x2, y2, stroke: "currentColor", "stroke-width": 1.5, ...more });
    const text = (x: number, y: number, content: string) =>
        svg("text", { x, y, fill: "currentColor", "font-size": 14, "text-anchor": "middle" }, content);
    const arrow = { "marker-end": "url(#arrow)" };
    const head = svg("defs", {}, svg("marker", { id: "arrow", viewBox: "0 0 8 8", refX: 7, refY: 4, markerWidth: 8, markerHeight: 8,
        orient: "auto" }, svg("path", { d: "M0,0 L8,4 L0,8 z", fill: "currentColor" })));
    const fiber = { stroke: "#D55E00", "stroke-width": "4", "stroke-linecap": "round" };
    if (dim === 2) {
        return svg("svg", { viewBox: "0 0 260 190", class: "drawing", role: "img",
            "aria-label": "x runs to the right, y down; theta is the angle of an axis from x, towards y" },
            head, svg("rect", { x: 40, y: 30, width: 190, height: 140, fill: "none", stroke: "currentColor", "stroke-opacity": 0.3 }),
            line(40, 30, 150, 30, arrow), text(162, 35, "x"), line(40, 30, 40, 130, arrow), text(40, 148, "y"),
            line(60, 50, 190, 140, fiber),
            svg("path", { d: "M100,50 A40,40 0 0 1 93,73", fill: "none", stroke: "currentColor" }),
            line(60, 50, 120, 50, { "stroke-dasharray": "4 3" }), text(112, 68, "θ"));
    }
    return svg("svg", { viewBox: "0 0 300 230", class: "drawing", role: "img",
        "aria-label": "x runs to the right, y down, z from slice to slice; theta is the angle of an axis from z, phi that of its projection from x, towards y" },
        head, svg("rect", { x: 40, y: 40, width: 130, height: 110, fill: "none", stroke: "currentColor", "stroke-opacity": 0.3 }),
        svg("rect", { x: 100, y: 90, width: 130, height: 110, fill: "none", stroke: "currentColor", "stroke-opacity": 0.2 }),
        line(40, 40, 150, 40, arrow), text(163, 45, "x"), line(40, 40, 40, 130, arrow), text(40, 148, "y"),
        line(40, 40, 120, 107, arrow), text(131, 118, "z"),
        line(40, 40, 200, 150, fiber), line(200, 150, 150, 108, { "stroke-dasharray": "4 3" }),
        line(40, 40, 150, 108, { "stroke-dasharray": "4 3" }),
        svg("path", { d: "M88,80 A60,60 0 0 0 94,77", fill: "none", stroke: "currentColor" }), text(118, 88, "θ"),
        svg("path", { d: "M85,40 A45,45 0 0 1 78,64", fill: "none", stroke: "currentColor" }), text(98, 60, "φ"));
}

function conventions(dim: number): HTMLElement {
    const order = dim === 3 ? "xx, xy, xz, yy, yz, zz" : "xx, xy, yy";
    const angles = dim === 3
        ? "θ is the angle from z, 0 to 90°; φ the angle from x towards y, −180° to 180°. Axes are folded into the upper half-space (z ≥ 0)."
        : "θ is the angle from x towards y, 0 to 180°.";
    return el("div", { class: "conventions" }, drawing(dim), el("ul", {},
        el("li", {}, `x runs along rows (to the right), y along columns (down)${dim === 3 ? ", z from slice to slice" : ""}.`),
        el("li", {}, `Angles in files are in radians. ${angles}`),
        el("li", {}, `Tensor components come in the order ${order}; the tensor is the mean of the outer products of unit axes, its trace is 1.`),
        el("li", {}, "An axis has no sign: (x, y, z) and (−x, −y, −z) are the same one.".replace(dim === 2 ? ", z" : "\0", "")
            .replace(dim === 2 ? ", −z" : "\0", "")),
        el("li", {}, "Positions are lengths from the outer edge of the image's first pixel; pixel corners in tables are exclusive at the upper end."),
        el("li", {}, "Anisotropy is 1 − smallest / largest eigenvalue; the difference is the angle between mean directions, 0 to 90°.")));
}

export function methodOf(report: Report): HTMLElement {
    const { record } = report;
    const estimator = String(record.parameters.estimator);
    const known: { [key: string]: Json } = {};
    for (const [key, value] of Object.entries(record)) {
        if (!["input", "parameters", "foreground", "files", "program", "version", "command", "warnings"].includes(key)) {
            known[key] = value;
        }
    }
    const children: (Node | string)[] = [
        el("p", {}, `Estimator ${estimator}. ${ESTIMATORS[estimator] ?? ""}`),
        el("h3", {}, "Threshold"),
        el("p", {}, `Foreground are ${percent(record.foreground.share)} of the image. The histogram is that of the smoothed image.`),
        histogramOf(report),
        el("h3", {}, "Conventions"), conventions(report.dim),
        el("div", { class: "columns" },
            listOf("Parameters", record.parameters), listOf("Input", record.input),
            listOf("Foreground", record.foreground),
            ...(Object.keys(known).length > 0 ? [listOf("Also recorded", known)] : [])),
        el("p", {}, `Made by tevra ${record.version}. Beside this page: ${record.files.filter((file) => file !== "report.html").join(", ")}, run.json.`),
    ];
    return part("method", "Method and trust", ...children);
}
