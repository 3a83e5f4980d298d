// SPDX-License-Identifier: BSD-3-Clause
// What was analysed, the most important numbers in words, and what to beware of.
import { AXES, tensorOf, type Axis, type Report } from "./data";
import { el, part } from "./dom";
import { fixed, percent, significant, whole, withUnit } from "./format";

function numberOf(report: Report, key: string): number {
    const value = report.field[key];
    return typeof value === "number" ? value : NaN;
}

type Shape = "nearly parallel" | "mostly aligned" | "partly aligned" | "hardly aligned" | "mostly in one plane" | "in all directions";

/** How eigenvalues share between fibers of one direction, of one plane and of all directions; the sum is 1. */
function shapeOf(lambda: number[]): Shape {
    const one = lambda[0] - lambda[1];
    if (lambda.length === 2) {
        return one > 0.8 ? "nearly parallel" : one > 0.2 ? "partly aligned" : "hardly aligned";
    }
    const plane = 2 * (lambda[1] - lambda[2]);
    const all = 3 * lambda[2];
    if (one > 0.8) {
        return "nearly parallel";
    }
    return one >= plane && one >= all ? "mostly aligned" : plane >= all ? "mostly in one plane" : "in all directions";
}

/** The axis of the image that a direction is nearest to, and how far off that is in degrees. */
function nearestAxis(direction: number[]): { name: Axis; off: number } {
    const sizes = direction.map(Math.abs);
    const at = sizes.indexOf(Math.max(...sizes));
    return { name: AXES[at], off: (Math.acos(Math.min(1, sizes[at] / Math.hypot(...direction))) * 180) / Math.PI };
}

function alongText(direction: number[]): string {
    const { name, off } = nearestAxis(direction);
    if (off < 0.5) {
        return `along ${name}`;
    }
    if (off <= 20) {
        return `along ${name}, ${fixed(off, 0)}° off`;
    }
    if (direction.length === 2) {
        const angle = (Math.atan2(direction[1], direction[0]) * 180) / Math.PI;
        return `at ${fixed((angle + 180) % 180, 0)}° from x`;
    }
    return `in a direction ${fixed(off, 0)}° from ${name}`;
}

/** The eigenvector of a symmetric matrix that belongs to an eigenvalue of its own: what is across all rows of A - λ. */
function eigenvector(matrix: number[][], lambda: number): number[] {
    const rows = matrix.map((row, i) => row.map((value, j) => (i === j ? value - lambda : value)));
    const crosses = [[0, 1], [0, 2], [1, 2]].map(([i, j]) => [0, 1, 2].map((k) =>
        rows[i][(k + 1) % 3] * rows[j][(k + 2) % 3] - rows[i][(k + 2) % 3] * rows[j][(k + 1) % 3]));
    const lengths = crosses.map((cross) => Math.hypot(...cross));
    return crosses[lengths.indexOf(Math.max(...lengths))];
}

/** The program's warnings, as the record has them. */
function givenWarnings(report: Report): { kind?: unknown; text?: unknown }[] {
    const given = report.record.warnings;
    return (Array.isArray(given) ? given : []).map((one) => (one ?? {}) as { kind?: unknown; text?: unknown });
}

function isWarnedOf(report: Report, kind: string): boolean {
    return givenWarnings(report).some((warning) => warning.kind === kind);
}

export function inWords(report: Report): string {
    const axes = AXES.slice(0, report.dim);
    const mean = axes.map((axis) => numberOf(report, `mean_${axis}`));
    const lambda = axes.map((_, at) => numberOf(report, `lambda_${at + 1}`));
    if (![...mean, ...lambda].every(Number.isFinite)) {
        return "No direction was found.";
    }
    const along = alongText(mean);
    const { name } = nearestAxis(mean);
    const share = `a_${name}${name} = ${fixed(numberOf(report, `a_${name}${name}`), 2)}`;
    const shape = shapeOf(lambda);
    const isVague = isWarnedOf(report, "vague-direction");
    switch (shape) {
        case "hardly aligned":
            return isVague ? `Fibers lie along no direction more than along others; ${share}.`
                : `Fibers are hardly aligned; a little more of them lie ${along}; ${share}.`;
        case "in all directions":
            return lambda[0] < 0.4 ? `Fibers lie in all directions alike; ${share}.`
                : `Fibers lie in all directions, ${isVague ? "none of which stands out" : `with a preference: ${along}`}; ${share}.`;
        case "mostly in one plane": {
            const normal = nearestAxis(eigenvector(tensorOf((component) => numberOf(report, component), 3), lambda[2]));
            return `Fibers lie mostly in one plane, across ${normal.name}${normal.off < 0.5 ? "" : ` (${fixed(normal.off, 0)}° off)`}; `
                + `in it ${isVague ? "no direction stands out" : `most of them ${along}`}; ${share}.`;
        }
        default:
            return `Fibers lie mostly ${along}; ${shape}; ${share}.`;
    }
}

/** A sentence of the program's, which begins and ends as notes on a terminal do. */
function sentence(text: string): string {
    return text.charAt(0).toUpperCase() + text.slice(1).replace(/\.?$/, ".");
}

/** What makes one doubt numbers: the program's warnings, and what else the record tells. */
export function warningsOf(report: Report): string[] {
    const { record } = report;
    const texts: string[] = [];
    for (const { text } of givenWarnings(report)) {
        if (typeof text === "string") {
            texts.push(sentence(text));
        }
    }
    if (record.input.spacing_origin === "none" && !isWarnedOf(report, "broken-spacing")) {
        texts.push("The image states no spacing: lengths are in pixels, which are taken for as long along all axes.");
    }
    const beyond = record.parameters.beyond_subfields_px;
    if (Array.isArray(beyond) && beyond.some((pixels) => Number(pixels) > 0)) {
        const parts = beyond.map((pixels, at) => (Number(pixels) > 0 ? `${pixels} px along ${AXES[at]}` : ""));
        texts.push(`At the far edges ${parts.filter(Boolean).join(", ")} lie in no subfield; they count for the whole field only.`);
    }
    if (typeof record.input.missing_slices === "string") {
        texts.push(`Slices are missing: ${record.input.missing_slices}.`);
    }
    if (report.field.status !== "ok") {
        texts.push(`Whole field: ${report.field.status}.`);
    }
    return texts;
}

function card(name: string, value: string, note: string, key?: string): HTMLElement {
    return el("div", { class: "card" },
        el("dt", {}, name),
        el("dd", { class: "value", "data-key": key }, value),
        el("dd", { class: "note" }, note));
}

export function headOf(report: Report, subfieldsWithout: number): HTMLElement {
    const { record, dim } = report;
    const axes = AXES.slice(0, dim);
    const name = record.input.path.replace(/\/+$/, "").split("/").pop() ?? record.input.path;
    const size = record.input.size_px.join(" × ");
    const unit = report.length_unit;
    const lengths = unit !== "px" && report.spacing.every((length) => length > 0)
        ? ` = ${withUnit(record.input.size_px.map((px, at) => significant(px * report.spacing[at])).join(" × "), unit)}`
        : "";
    document.title = `Fiber orientation: ${name}`;
    const mean = axes.map((axis) => fixed(numberOf(report, `mean_${axis}`), 3)).join(", ");
    const diagonal = axes.map((axis) => fixed(numberOf(report, `a_${axis}${axis}`), 3)).join(", ");
    const lambda = axes.map((_, at) => fixed(numberOf(report, `lambda_${at + 1}`), 3)).join(", ");
    const cards = [
        card("Mean direction", `(${mean})`, `${axes.join(", ")}; the sign means nothing`, "mean"),
        card("Orientation tensor", `(${diagonal})`, axes.map((axis) => `a_${axis}${axis}`).join(", "), "diagonal"),
        card("Eigenvalues", `(${lambda})`, "largest first; their sum is 1", "lambda"),
        card("Anisotropy", fixed(numberOf(report, "anisotropy"), 3),
            `0: all directions alike, 1: ${dim === 3 ? "parallel fibers or a plane of them" : "parallel fibers"}`, "anisotropy"),
        card("Foreground", percent(record.foreground.share), `${whole(record.foreground.pixels)} pixels count as fiber`,
            "foreground"),
    ];
    const confidence = numberOf(report, "mean_confidence");
    if (Number.isFinite(confidence)) {
        const doubtful = numberOf(report, "doubtful_fraction");
        cards.push(card("Mean confidence", fixed(confidence, 3),
            Number.isFinite(doubtful) ? `${percent(doubtful)} of the axes are doubtful` : "of the axes, 0 to 1", "confidence"));
    }
    const warnings = warningsOf(report);
    if (subfieldsWithout > 0) {
        warnings.push(`${subfieldsWithout} of ${report.subfields.count} subfields have no fibers, so no values.`);
    }
    return part("summary", "Summary",
        el("p", { class: "words" }, inWords(report)),
        el("p", { class: "what" }, `${name}: ${size} pixels${lengths}, ${String(record.input.format)}, ${String(record.input.pixel_type)}; `
            + `fiber radius ${withUnit(significant(Number(record.parameters.fiber_radius)), unit)}; estimator ${String(record.parameters.estimator)}`),
        el("dl", { class: "cards" }, ...cards),
        warnings.length > 0
            ? el("div", { class: "warnings", role: "note", "aria-label": "Warnings" },
                el("h3", {}, "To be aware of"), el("ul", {}, ...warnings.map((text) => el("li", {}, text))))
            : el("p", { class: "fine" }, "Nothing unusual was noticed."));
}
