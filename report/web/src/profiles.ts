// SPDX-License-Identifier: BSD-3-Clause
// Averages slice by slice along each axis, at positions in physical units.
import { AXES, type Axis, type Report, type Table } from "./data";
import { choice, el, missing, part } from "./dom";
import { axisStyle, plot } from "./plot";

const LINES = ["#0072B2", "#D55E00", "#009E73", "#CC79A7", "#E69F00", "#56B4E9"];
const DASHES = ["solid", "dash", "dot", "dashdot", "longdash", "longdashdot"];
const MARKERS = ["circle", "square", "diamond", "triangle-up", "cross", "x"];

/** Middles of slices of subfields: the tables of profiles give their lower corners. */
function middles(axis: Axis, profiles: Table, rows: number[], subfields: Table | null, report: Report): number[] {
    const at = AXES.indexOf(axis);
    const centre = subfields?.withUnit(`center_${axis}`);
    const known = new Map<string, number>();
    subfields?.rows.forEach((_, row) => known.set(subfields.text(row, `${axis}0_px`), subfields.number(row, centre ?? "")));
    return rows.map((row) => known.get(profiles.text(row, "slice_px")) ?? profiles.number(row, "slice_px") * report.spacing[at]);
}

export function profilesOf(report: Report, profiles: Table | null, subfields: Table | null): HTMLElement {
    const title = "Profiles";
    if (profiles === null) {
        return part("profiles", title, missing(report.profiles.count > 0
            ? `There are ${report.profiles.count} slices, too many for this page: see profiles.csv.`
            : "The image was analysed as a whole. Analysed with subfields, averages along x, y and z stand here."));
    }
    const axes = AXES.slice(0, report.dim);
    const place = el("div", { class: "plot tall", role: "img", "aria-label": "Profiles of tensor components, anisotropy and difference" });
    let axis: Axis = axes[report.dim - 1];
    const unit = report.length_unit;
    const draw = (): { data: object[]; layout: object } => {
        const rows = profiles.rows.map((_, row) => row)
            .filter((row) => profiles.text(row, "axis") === axis && profiles.text(row, "anisotropy") !== "");
        const x = middles(axis, profiles, rows, subfields, report);
        const column = (name: string, factor = 1) => rows.map((row) => profiles.number(row, name) * factor);
        const components = axes.flatMap((one, i) => axes.slice(i).map((other) => one + other));
        const order = [...components.filter((c) => c[0] === c[1]), ...components.filter((c) => c[0] !== c[1])];
        const mode = rows.length > 60 ? "lines" : "lines+markers";
        const line = (at: number) => ({ color: LINES[at], dash: DASHES[at], width: 2 });
        const data: object[] = order.map((component, at) => ({
            x, y: column(`a_${component}`), name: `a<sub>${component}</sub>`, mode, line: line(at),
            marker: { symbol: MARKERS[at], size: 7 }, visible: component[0] === component[1] ? true : "legendonly",
            hovertemplate: "%{y:.3f}",
        }));
        const confidence = column("mean_confidence");
        const hasConfidence = confidence.some(Number.isFinite);
        data.push({ x, y: column("anisotropy"), name: "anisotropy", mode, yaxis: "y2", showlegend: hasConfidence,
            line: line(3), marker: { symbol: MARKERS[3], size: 7 }, hovertemplate: "%{y:.3f}" });
        if (hasConfidence) {
            data.push({ x, y: confidence, name: "mean confidence", mode, yaxis: "y2",
                line: { ...line(5), dash: "dot" }, marker: { symbol: MARKERS[5], size: 7 }, hovertemplate: "%{y:.3f}" });
        }
        data.push({ x, y: column("difference_rad", 180 / Math.PI), name: "difference", mode, yaxis: "y3", showlegend: false,
            line: { ...line(4), dash: "solid" }, marker: { symbol: MARKERS[4], size: 7 }, hovertemplate: "%{y:.1f}°" });
        return {
            data,
            layout: {
                xaxis: { ...axisStyle(`${axis}${unit === "" ? "" : ` (${unit})`}`), anchor: "y3" },
                yaxis: { ...axisStyle("tensor"), domain: [0.56, 1], rangemode: "tozero" },
                yaxis2: { ...axisStyle(hasConfidence ? "anisotropy,<br>confidence" : "anisotropy"), domain: [0.29, 0.5], range: [0, 1.02] },
                yaxis3: { ...axisStyle("difference (°)"), domain: [0, 0.22], rangemode: "tozero" },
            },
        };
    };
    const controls = choice("profile-axis", "Along", axes.map((one) => ({ value: one, text: one })), axis, (value) => {
        axis = value as Axis;
        plot(place, draw);
    });
    queueMicrotask(() => plot(place, draw));
    return part("profiles", title,
        el("p", {}, "Subfields averaged slice by slice: components of the orientation tensor, anisotropy, confidence of estimators that know it, and the angle "
            + "between the slice's and the whole field's mean direction. Positions are the middles of the slices."),
        el("div", { class: "controls" }, controls), place);
}
