// SPDX-License-Identifier: BSD-3-Clause
// Ellipsoids in space. Seen from far away each is an ellipse, so they are drawn without a graphics processor.
import { css, type Color } from "./colors";
import { el } from "./dom";

export interface Glyph {
    centre: [number, number, number];
    /** Half axes are the eigenvectors, times the eigenvalues' square roots. */
    shape: number[][];
    mean: [number, number, number];
    color: Color;
    row: number;
}

type Vector = [number, number, number];

const dot = (a: readonly number[], b: readonly number[]) => a[0] * b[0] + a[1] * b[1] + a[2] * b[2];

/** Ellipsoids that can be turned by the mouse and the arrow keys. */
export class GlyphView {
    readonly element: HTMLElement;
    onPick: (row: number) => void = () => undefined;

    private readonly canvas: HTMLCanvasElement;
    private readonly centre: Vector;
    private readonly radius: number;
    private azimuth = -0.6;
    private elevation = 0.5;
    private zoom = 1;
    private selected = -1;
    private drawn: { glyph: Glyph; x: number; y: number; a: number; b: number; angle: number }[] = [];

    /** @param box lower and upper corner. @param flat seen along z, and not turned. */
    constructor(private glyphs: Glyph[], private readonly box: [Vector, Vector], private readonly flat: boolean) {
        this.centre = [0, 1, 2].map((at) => (box[0][at] + box[1][at]) / 2) as Vector;
        this.radius = Math.hypot(...[0, 1, 2].map((at) => (box[1][at] - box[0][at]) / 2));
        this.canvas = el("canvas", { tabindex: 0, role: "application", class: "glyphs",
            "aria-label": `${glyphs.length} subfields as ellipsoids in place. Arrow keys turn them, plus and minus zoom, page up and page down select the previous and next subfield; `
                + "the table below has the same values." });
        this.element = el("div", { class: "glyph-view" }, this.canvas);
        this.listen();
        new ResizeObserver(() => this.draw()).observe(this.canvas);
        document.addEventListener("theme", () => this.draw());
    }

    show(glyphs: Glyph[]): void {
        this.glyphs = glyphs;
        this.draw();
    }

    select(row: number): void {
        this.selected = row;
        this.draw();
    }

    /** Where a subfield is on the screen, for whoever points there. */
    placeOf(row: number): { x: number; y: number } | null {
        const box = this.canvas.getBoundingClientRect();
        const found = this.drawn.find((one) => one.glyph.row === row);
        return found ? { x: box.left + found.x, y: box.top + found.y } : null;
    }

    private listen(): void {
        const { canvas } = this;
        let from: { x: number; y: number } | null = null;
        let moved = false;
        canvas.addEventListener("pointerdown", (event) => {
            from = { x: event.clientX, y: event.clientY };
            moved = false;
        });
        canvas.addEventListener("pointermove", (event) => {
            if (!from || event.buttons === 0) {
                return;
            }
            const dx = event.clientX - from.x;
            const dy = event.clientY - from.y;
            if (moved || Math.hypot(dx, dy) > 3) {
                moved = true;
                from = { x: event.clientX, y: event.clientY };
                this.turn(dx * 0.008, dy * 0.008);
            }
        });
        canvas.addEventListener("click", (event) => {
            from = null;
            if (!moved) {
                const box = canvas.getBoundingClientRect();
                const row = this.rowAt(event.clientX - box.left, event.clientY - box.top);
                if (row >= 0) {
                    this.onPick(row);
                }
            }
        });
        canvas.addEventListener("wheel", (event) => {
            if (event.ctrlKey || document.activeElement === canvas) { // else the page scrolls
                event.preventDefault();
                this.scale(Math.exp(-event.deltaY * 0.001));
            }
        }, { passive: false });
        canvas.addEventListener("keydown", (event) => {
            const turns: { [key: string]: [number, number] } = {
                ArrowLeft: [-0.1, 0], ArrowRight: [0.1, 0], ArrowUp: [0, -0.1], ArrowDown: [0, 0.1],
            };
            if (event.key in turns) {
                this.turn(...turns[event.key]);
            } else if (event.key === "+" || event.key === "-") {
                this.scale(event.key === "+" ? 1.15 : 1 / 1.15);
            } else if (event.key === "PageDown" || event.key === "PageUp") {
                const at = this.glyphs.findIndex((glyph) => glyph.row === this.selected);
                const step = event.key === "PageDown" ? 1 : -1;
                const count = this.glyphs.length;
                this.onPick(this.glyphs[at < 0 ? 0 : (at + step + count) % count].row);
            } else {
                return;
            }
            event.preventDefault();
        });
    }

    private turn(azimuth: number, elevation: number): void {
        if (!this.flat) {
            this.azimuth += azimuth;
            this.elevation = Math.min(1.57, Math.max(-1.57, this.elevation + elevation));
            this.draw();
        }
    }

    private scale(factor: number): void {
        this.zoom = Math.min(8, Math.max(0.5, this.zoom * factor));
        this.draw();
    }

    private rowAt(x: number, y: number): number {
        for (let at = this.drawn.length - 1; at >= 0; --at) { // the nearest was drawn last
            const one = this.drawn[at];
            const [dx, dy] = [x - one.x, y - one.y];
            const [c, s] = [Math.cos(one.angle), Math.sin(one.angle)];
            const [u, v] = [(dx * c + dy * s) / Math.max(one.a, 4), (-dx * s + dy * c) / Math.max(one.b, 4)];
            if (u * u + v * v <= 1) {
                return one.glyph.row;
            }
        }
        return -1;
    }

    /** Unit vectors to the right, down and away from the eye. */
    private view(): [Vector, Vector, Vector] {
        if (this.flat) {
            return [[1, 0, 0], [0, 1, 0], [0, 0, 1]];
        }
        const [ca, sa, ce, se] = [Math.cos(this.azimuth), Math.sin(this.azimuth), Math.cos(this.elevation), Math.sin(this.elevation)];
        // From the usual view of an image (x right, y down, z away), turned about y, then about the horizontal.
        const right: Vector = [ca, 0, sa];
        const down: Vector = [se * sa, ce, -se * ca];
        return [right, down, [-ce * sa, se, ce * ca]];
    }

    private draw(): void {
        const { canvas } = this;
        const ratio = window.devicePixelRatio || 1;
        const [width, height] = [canvas.clientWidth, canvas.clientHeight];
        if (width === 0) {
            return;
        }
        canvas.width = Math.round(width * ratio);
        canvas.height = Math.round(height * ratio);
        const context = canvas.getContext("2d") as CanvasRenderingContext2D;
        context.scale(ratio, ratio);
        const [right, down, away] = this.view();
        const half = this.flat
            ? Math.max((this.box[1][0] - this.box[0][0]) / width, (this.box[1][1] - this.box[0][1]) / height) / 2
            : this.radius / Math.min(width, height);
        const scale = (0.46 * this.zoom) / half;
        const project = (point: readonly number[]) => {
            const from = [0, 1, 2].map((at) => point[at] - this.centre[at]);
            return [width / 2 + scale * dot(from, right), height / 2 + scale * dot(from, down)];
        };
        const style = getComputedStyle(canvas);
        this.drawBox(context, project, style.color);
        this.drawn = [];
        const order = [...this.glyphs].sort((a, b) => dot(b.centre, away) - dot(a.centre, away));
        for (const glyph of order) {
            this.drawGlyph(context, glyph, project, [right, down], scale, style.color);
        }
    }

    private drawBox(context: CanvasRenderingContext2D, project: (point: readonly number[]) => number[], color: string): void {
        const [lower, upper] = this.box;
        const corner = (at: number) => project([0, 1, 2].map((axis) => (at >> axis & 1 ? upper : lower)[axis]));
        context.strokeStyle = color;
        context.fillStyle = color;
        context.lineWidth = 1;
        for (let at = 0; at < (this.flat ? 4 : 8); ++at) {
            for (let axis = 0; axis < (this.flat ? 2 : 3); ++axis) {
                if (!(at >> axis & 1)) {
                    context.globalAlpha = at === 0 ? 0.9 : 0.25;
                    context.beginPath();
                    context.moveTo(...(corner(at) as [number, number]));
                    context.lineTo(...(corner(at | 1 << axis) as [number, number]));
                    context.stroke();
                }
            }
        }
        context.globalAlpha = 1;
        context.font = "600 14px system-ui, sans-serif";
        context.textAlign = "center";
        context.textBaseline = "middle";
        ["x", "y", "z"].slice(0, this.flat ? 2 : 3).forEach((name, axis) => {
            const end = lower.map((value, at) => (at === axis ? upper[at] + 0.05 * (2 * this.radius) : value));
            context.fillText(name, ...(project(end) as [number, number]));
        });
    }

    private drawGlyph(
        context: CanvasRenderingContext2D, glyph: Glyph, project: (point: readonly number[]) => number[],
        plane: [Vector, Vector], scale: number, ink: string,
    ): void {
        const times = (v: Vector) => glyph.shape.map((row) => dot(row, v));
        const [right, down] = plane;
        const xx = dot(right, times(right));
        const xy = dot(right, times(down));
        const yy = dot(down, times(down));
        const middle = (xx + yy) / 2;
        const spread = Math.hypot((xx - yy) / 2, xy);
        const a = scale * Math.sqrt(middle + spread);
        const b = Math.max(scale * Math.sqrt(Math.max(middle - spread, 0)), 0.06 * a, 1);
        const angle = 0.5 * Math.atan2(2 * xy, xx - yy);
        const [x, y] = project(glyph.centre);
        this.drawn.push({ glyph, x, y, a, b, angle });
        context.save();
        context.translate(x, y);
        context.rotate(angle);
        context.scale(1, b / a);
        // Lit from the upper left.
        const light = -0.35 * a;
        const [lx, ly] = [light * (Math.cos(angle) + Math.sin(angle)), light * (Math.cos(angle) - Math.sin(angle))];
        const gradient = context.createRadialGradient(lx, ly, 0.05 * a, lx * 0.3, ly * 0.3, 1.15 * a);
        const shade = (factor: number, white: number) => css(glyph.color.map((value) => Math.round(value * factor * (1 - white) + 255 * white)));
        gradient.addColorStop(0, shade(1, 0.35));
        gradient.addColorStop(0.5, shade(1, 0));
        gradient.addColorStop(1, shade(0.62, 0));
        context.beginPath();
        context.arc(0, 0, a, 0, 2 * Math.PI);
        context.restore();
        context.save();
        context.translate(x, y);
        context.rotate(angle);
        context.scale(1, b / a);
        context.fillStyle = gradient;
        context.fill();
        context.restore();
        context.beginPath();
        context.ellipse(x, y, a, b, angle, 0, 2 * Math.PI);
        context.lineWidth = glyph.row === this.selected ? 3 : 0.75;
        context.strokeStyle = glyph.row === this.selected ? "#D55E00" : ink;
        context.stroke();
    }
}
