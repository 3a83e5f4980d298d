// SPDX-License-Identifier: BSD-3-Clause
// The distribution of directions: a pole figure, in 2D a rose.
import { css, gradientOf, sequential } from "./colors";
import { type Report } from "./data";
import { el, missing, part, svg } from "./dom";
import { significant, whole } from "./format";

const SIZE = 480; // pixels of the picture of densities

/** Densities where lines are drawn, in multiples of an even distribution. */
function levelsUpTo(most: number): number[] {
    if (most > 6) {
        return [1, 2, 4, 8, 16, 32, 64, 128, 256].filter((level) => level < most);
    }
    const step = most > 3 ? 1 : most > 1.5 ? 0.5 : 0.25;
    return Array.from({ length: Math.floor(most / step) }, (_, at) => (at + 1) * step).filter((level) => level < most);
}

/** Lines of one density through the squares of a grid. */
function contour(values: (number | null)[], nodes: number, level: number): string {
    const at = (row: number, column: number) => values[row * nodes + column];
    const place = (node: number) => (2 * node) / (nodes - 1) - 1;
    let path = "";
    for (let row = 0; row + 1 < nodes; ++row) {
        for (let column = 0; column + 1 < nodes; ++column) {
            const corners: [number, number][] = [[row, column], [row, column + 1], [row + 1, column + 1], [row + 1, column]];
            const heights = corners.map(([r, c]) => at(r, c));
            if (heights.some((height) => height === null)) {
                continue;
            }
            const points: string[] = [];
            for (let side = 0; side < 4; ++side) {
                const next = (side + 1) % 4;
                const from = heights[side] as number;
                const to = heights[next] as number;
                if (from < level !== to < level) {
                    const share = (level - from) / (to - from);
                    const y = place(corners[side][0] + share * (corners[next][0] - corners[side][0]));
                    const x = place(corners[side][1] + share * (corners[next][1] - corners[side][1]));
                    points.push(`${x.toFixed(4)},${y.toFixed(4)}`);
                }
            }
            for (let point = 0; point + 1 < points.length; point += 2) {
                path += `M${points[point]}L${points[point + 1]}`;
            }
        }
    }
    return path;
}

function paint(values: (number | null)[], nodes: number, most: number): HTMLCanvasElement {
    const canvas = el("canvas", { width: SIZE, height: SIZE, "aria-hidden": "true" });
    const context = canvas.getContext("2d") as CanvasRenderingContext2D;
    const picture = context.createImageData(SIZE, SIZE);
    for (let j = 0; j < SIZE; ++j) {
        for (let i = 0; i < SIZE; ++i) {
            const x = (2 * (i + 0.5)) / SIZE - 1;
            const y = (2 * (j + 0.5)) / SIZE - 1;
            if (x * x + y * y <= 1) {
                const density = between(values, nodes, x, y);
                picture.data.set([...sequential(density / most), 255], 4 * (j * SIZE + i));
            }
        }
    }
    context.putImageData(picture, 0, 0);
    return canvas;
}

/** The density at a place, from the nodes around it that there are. */
function between(values: (number | null)[], nodes: number, x: number, y: number): number {
    const column = Math.min(nodes - 2, Math.max(0, Math.floor(((x + 1) / 2) * (nodes - 1))));
    const row = Math.min(nodes - 2, Math.max(0, Math.floor(((y + 1) / 2) * (nodes - 1))));
    const right = ((x + 1) / 2) * (nodes - 1) - column;
    const down = ((y + 1) / 2) * (nodes - 1) - row;
    let sum = 0;
    let weights = 0;
    for (const [r, c, weight] of [[0, 0, (1 - right) * (1 - down)], [0, 1, right * (1 - down)], [1, 0, (1 - right) * down], [1, 1, right * down]]) {
        const value = values[(row + r) * nodes + column + c];
        if (value !== null) {
            sum += value * Math.max(weight, 1e-6);
            weights += Math.max(weight, 1e-6);
        }
    }
    return weights > 0 ? sum / weights : 0;
}

function poleFigure(report: Report, density: (number | null)[], nodes: number): HTMLElement {
    const most = Math.max(...density.map((value) => value ?? 0), 1.5);
    const lines = levelsUpTo(most).map((level) => {
        // Lines over dark colors are light and the other way round.
        const stroke = level / most < 0.55 ? "#fff" : "#000";
        return svg("path", { d: contour(density, nodes, level), fill: "none", stroke, "stroke-opacity": 0.6,
            "stroke-width": level === 1 ? 0.012 : 0.006, "stroke-dasharray": level === 1 ? "0.03 0.02" : undefined });
    });
    const mean = ["x", "y", "z"].map((axis) => Number(report.field[`mean_${axis}`]));
    const up = mean[2] < 0 ? mean.map((value) => -value) : mean;
    const scale = 1 / Math.sqrt(1 + up[2]);
    const label = (x: number, y: number, text: string) =>
        svg("text", { x, y, "font-size": 0.1, "text-anchor": "middle", "dominant-baseline": "middle", fill: "currentColor" }, text);
    const ring = (degree: number) => {
        const r = Math.sqrt(1 - Math.cos((degree * Math.PI) / 180));
        return svg("circle", { r, fill: "none", stroke: "#fff", "stroke-opacity": 0.25, "stroke-width": 0.005 });
    };
    const overlay = svg("svg", { viewBox: "-1.2 -1.2 2.4 2.4", role: "img",
        "aria-label": "Pole figure: density of fiber directions over the upper half-sphere, seen along z" },
        ring(30), ring(60), ...lines, svg("circle", { r: 1, fill: "none", stroke: "currentColor", "stroke-width": 0.012 }),
        svg("circle", { cx: up[0] * scale, cy: up[1] * scale, r: 0.045, fill: "none", stroke: "#000", "stroke-width": 0.035 }),
        svg("circle", { cx: up[0] * scale, cy: up[1] * scale, r: 0.045, fill: "none", stroke: "#fff", "stroke-width": 0.018 }),
        label(1.1, 0, "x"), label(0, 1.1, "y"), label(-1.12, 0, "−x"), label(0, -1.1, "−y"), label(0, 0, "·"));
    const bar = el("div", { class: "bar" });
    bar.style.background = gradientOf();
    const hover = el("p", { class: "hover" }, "\u00a0");
    overlay.addEventListener("pointermove", (event) => {
        const box = overlay.getBoundingClientRect();
        const x = ((event.clientX - box.left) / box.width) * 2.4 - 1.2;
        const y = ((event.clientY - box.top) / box.height) * 2.4 - 1.2;
        const squared = x * x + y * y;
        hover.textContent = squared > 1 ? "\u00a0"
            : `θ = ${((Math.acos(1 - squared) * 180) / Math.PI).toFixed(0)}°, φ = ${((Math.atan2(y, x) * 180) / Math.PI).toFixed(0)}°: `
            + `${significant(between(density, nodes, x, y), 2)} times as many axes as evenly distributed ones`;
    });
    return el("div", { class: "pole" },
        el("div", { class: "picture" }, paint(density, nodes, most), overlay),
        el("div", { class: "beside" },
            bar, el("div", { class: "ends" }, el("span", {}, "0"), el("span", {}, significant(most, 2))),
            el("p", {}, "Density of directions in multiples of an even distribution, which would be 1 everywhere (dashed line)."),
            el("p", {}, "The upper half-sphere seen along z, in Lambert's equal-area projection: z in the middle, directions across z on "
                + "the rim; circles at 30° and 60° from z. The ring marks the mean direction. Smoothed by a bell of 5°."),
            hover));
}

function rose(report: Report, counts: number[]): HTMLElement {
    const width = 5; // degrees
    const bins = 180 / width;
    const sums = Array.from({ length: bins }, (_, bin) => {
        let sum = 0;
        for (let offset = -2; offset <= 2; ++offset) {
            sum += counts[(bin * width + offset + 180) % 180];
        }
        return sum;
    });
    const total = sums.reduce((a, b) => a + b, 0) || 1;
    const most = Math.max(...sums) / total;
    const colors = report.angle_colors ?? [];
    const at = (degree: number, radius: number) => {
        const angle = (degree * Math.PI) / 180;
        return `${(radius * Math.cos(angle)).toFixed(4)},${(radius * Math.sin(angle)).toFixed(4)}`;
    };
    const petals = Array.from({ length: 2 * bins }, (_, number) => {
        const degree = number * width;
        const share = sums[number % bins] / total;
        const r = Math.sqrt(share / most); // areas are shares
        const petal = svg("path", { fill: css(colors[degree % 180] ?? [120, 120, 120]), stroke: "var(--card)", "stroke-width": 0.006,
            d: `M0,0 L${at(degree - width / 2, r)} A${r},${r} 0 0 1 ${at(degree + width / 2, r)} z` });
        petal.append(svg("title", {}, `${degree % 180}°: ${(100 * share).toFixed(1)} % of the axes`));
        return petal;
    });
    const even = Math.sqrt(1 / bins / most);
    const label = (degree: number, text: string) => {
        const [x, y] = at(degree, 1.12).split(",");
        return svg("text", { x, y, "font-size": 0.09, "text-anchor": "middle", "dominant-baseline": "middle", fill: "currentColor" }, text);
    };
    const mean = [Number(report.field.mean_x), Number(report.field.mean_y)];
    return el("div", { class: "pole" },
        svg("svg", { viewBox: "-1.25 -1.25 2.5 2.5", class: "rose", role: "img", "aria-label": "Rose diagram of fiber directions" },
            svg("circle", { r: 1, fill: "none", stroke: "currentColor", "stroke-opacity": 0.3, "stroke-width": 0.006 }),
            ...petals,
            svg("circle", { r: even, fill: "none", stroke: "currentColor", "stroke-width": 0.008, "stroke-dasharray": "0.03 0.02" }),
            svg("line", { x1: -1.04 * mean[0], y1: -1.04 * mean[1], x2: 1.04 * mean[0], y2: 1.04 * mean[1], stroke: "currentColor",
                "stroke-width": 0.012 }),
            label(0, "x"), label(45, "45°"), label(90, "y"), label(135, "135°"), label(180, "−x"), label(270, "−y")),
        el("div", { class: "beside" },
            el("p", {}, `Directions of ${whole(total)} axes in sectors of ${width}°, x to the right and y down as in the image. The area of a petal is `
                + "the share of axes; each stands on both sides, as axes have no sign."),
            el("p", {}, `The fullest sector holds ${(100 * most).toFixed(1)} %. Dashed: evenly distributed axes. The line is the mean direction.`)));
}

export function directionsOf(report: Report): HTMLElement {
    const { directions } = report;
    const title = "Directions";
    if (directions?.counts) {
        return part("directions", title, rose(report, directions.counts));
    }
    if (directions?.density && directions.nodes) {
        return part("directions", title, poleFigure(report, directions.density, directions.nodes));
    }
    return part("directions", title, missing("The distribution of directions was not kept."));
}
