// SPDX-License-Identifier: BSD-3-Clause
// Sections through the image with the direction of fibers as color.
import { css, directionColor, gradientOf, SEQUENTIAL, type Color } from "./colors";
import { AXES, type Axis, type Report, type SectionImage } from "./data";
import { choice, el, missing, part, svg } from "./dom";
import { fixed, percent, significant, withUnit } from "./format";
import { onPalette, palette, paletteChoice, sphereLegend } from "./palette";

type Layer = "directions" | "confidence" | "foreground" | "none";

/** The bytes of a section: one per pixel and plane. */
interface Planes {
    grey: Uint8Array;
    color: [Uint8Array, Uint8Array, Uint8Array];
    coverage: Uint8Array;
    confidence: Uint8Array | null;
}

interface View {
    layer: Layer;
    opacity: number;
}

const FOREGROUND: Color = [255, 176, 0];

async function unpacked(base64: string): Promise<Uint8Array> {
    const letters = atob(base64);
    const packed = Uint8Array.from(letters, (letter) => letter.charCodeAt(0));
    const stream = new Blob([packed]).stream().pipeThrough(new DecompressionStream("deflate"));
    return new Uint8Array(await new Response(stream).arrayBuffer());
}

async function planesOf(image: SectionImage): Promise<Planes> {
    const bytes = await unpacked(image.planes);
    const pixels = image.size[0] * image.size[1];
    const plane = (at: number) => bytes.subarray(at * pixels, (at + 1) * pixels);
    return { grey: plane(0), color: [plane(1), plane(2), plane(3)], coverage: plane(4), confidence: image.has_confidence ? plane(5) : null };
}

function alongAxes(axis: Axis): [number, number] {
    return axis === "x" ? [1, 2] : axis === "y" ? [0, 2] : [0, 1];
}

/** The sections across one axis: a picture, and a slider through them. */
class Panel {
    readonly element: HTMLElement;
    onMove: () => void = () => undefined;
    onPick: (axis: Axis, px: number) => void = () => undefined;
    onHover: (text: string) => void = () => undefined;

    private readonly canvas: HTMLCanvasElement;
    private readonly lines = svg("svg", { class: "cross", viewBox: "0 0 100 100", preserveAspectRatio: "none", "aria-hidden": "true" });
    private readonly slider: HTMLInputElement;
    private readonly output = el("output");
    private readonly planes: (Planes | null)[];
    private view: View = { layer: "directions", opacity: 1 };

    constructor(private readonly report: Report, readonly axis: Axis, private readonly images: SectionImage[]) {
        const [right, down] = alongAxes(axis);
        const [width, height] = images[0].size;
        this.planes = images.map(() => null);
        this.canvas = el("canvas", { width, height, role: "img", "data-axis": axis });
        this.canvas.classList.toggle("crisp", width < 250);
        const id = `slider-${axis}`;
        this.slider = el("input", { type: "range", id, min: 0, max: images.length - 1, step: 1, value: Math.floor(images.length / 2) });
        this.slider.addEventListener("input", () => this.show());
        const extents = [right, down].map((at) => report.record.input.size_px[at] * report.spacing[at]);
        const picture = el("div", { class: "picture" }, this.canvas, this.lines, this.scaleBar(extents[0]));
        picture.style.aspectRatio = `${extents[0]} / ${extents[1]}`;
        this.canvas.addEventListener("pointermove", (event) => this.hover(event));
        this.canvas.addEventListener("pointerleave", () => this.onHover(""));
        this.canvas.addEventListener("click", (event) => {
            const [i, j] = this.pixelAt(event);
            this.onPick(AXES[right], (i + 0.5) * this.block(right));
            this.onPick(AXES[down], (j + 0.5) * this.block(down));
        });
        this.element = el("figure", { class: "panel" },
            el("figcaption", {}, report.dim === 2 ? "x to the right, y down" : `${AXES[right]} to the right, ${AXES[down]} down`),
            picture,
            ...(images.length > 1
                ? [el("div", { class: "slide" }, el("label", { for: id }, axis), this.slider, this.output)]
                : []));
    }

    private block(axis: number): number {
        return this.report.sections?.block_px[axis] ?? 1;
    }

    private scaleBar(extent: number): HTMLElement {
        const power = Math.pow(10, Math.floor(Math.log10(extent / 3)));
        const length = [5, 2, 1].map((one) => one * power).find((one) => one <= extent / 3) ?? power;
        const bar = el("div", { class: "scale" }, withUnit(significant(length), this.report.length_unit));
        bar.style.width = `${(100 * length) / extent}%`;
        return bar;
    }

    current(): SectionImage {
        return this.images[Number(this.slider.value)];
    }

    goTo(px: number): void {
        const distances = this.images.map((image) => Math.abs(image.slice_px - px));
        this.slider.value = String(distances.indexOf(Math.min(...distances)));
        this.show();
    }

    use(view: View): void {
        this.view = view;
        this.show();
    }

    private show(): void {
        const at = Number(this.slider.value);
        const image = this.images[at];
        const along = AXES.indexOf(this.axis);
        const count = this.report.record.input.size_px[along] ?? 1;
        const position = withUnit(significant((image.slice_px + 0.5) * this.report.spacing[along], 4), this.report.length_unit);
        this.output.textContent = `${position} (slice ${image.slice_px} of 0 to ${count - 1})`;
        this.slider.setAttribute("aria-valuetext", this.output.textContent);
        this.canvas.setAttribute("aria-label", this.report.dim === 2 ? "The image with the direction of fibers as color"
            : `Section across ${this.axis} at ${position}`);
        const known = this.planes[at];
        if (known) {
            this.paint(image, known);
        } else {
            void planesOf(image).then((planes) => {
                this.planes[at] = planes;
                if (at === Number(this.slider.value)) {
                    this.paint(image, planes);
                }
            });
        }
        this.onMove();
    }

    private paint(image: SectionImage, planes: Planes): void {
        const context = this.canvas.getContext("2d") as CanvasRenderingContext2D;
        const picture = context.createImageData(image.size[0], image.size[1]);
        const { layer, opacity } = this.view;
        const used = palette();
        for (let pixel = 0; pixel < planes.grey.length; ++pixel) {
            const grey = planes.grey[pixel];
            let color: Color | null = null;
            if (planes.coverage[pixel] > 0) {
                if (layer === "directions") {
                    const [red, green, blue] = planes.color.map((plane) => plane[pixel]);
                    color = this.report.dim === 3 ? directionColor(red, green, blue, used) : [red, green, blue];
                } else if (layer === "confidence" && planes.confidence) {
                    color = SEQUENTIAL[planes.confidence[pixel]];
                } else if (layer === "foreground") {
                    color = FOREGROUND;
                }
            }
            const share = color ? (opacity * planes.coverage[pixel]) / 255 : 0;
            for (let channel = 0; channel < 3; ++channel) {
                picture.data[4 * pixel + channel] = Math.round(grey * (1 - share) + (color ? color[channel] : 0) * share);
            }
            picture.data[4 * pixel + 3] = 255;
        }
        context.putImageData(picture, 0, 0);
        this.canvas.dataset.painted = String(image.slice_px);
    }

    /** Where the other sections lie. */
    cross(panels: Panel[]): void {
        const [right, down] = alongAxes(this.axis);
        const share = (at: number) => {
            const other = panels.find((panel) => panel.axis === AXES[at]);
            return other ? (100 * (other.current().slice_px + 0.5)) / this.report.record.input.size_px[at] : null;
        };
        const x = share(right);
        const y = share(down);
        const line = (x1: number, y1: number, x2: number, y2: number) => svg("line", { x1, y1, x2, y2, "vector-effect": "non-scaling-stroke" });
        this.lines.replaceChildren(...(x === null ? [] : [line(x, 0, x, 100)]), ...(y === null ? [] : [line(0, y, 100, y)]));
    }

    private pixelAt(event: MouseEvent): [number, number] {
        const box = this.canvas.getBoundingClientRect();
        const clamp = (share: number, count: number) => Math.min(count - 1, Math.max(0, Math.floor(share * count)));
        return [clamp((event.clientX - box.left) / box.width, this.canvas.width),
            clamp((event.clientY - box.top) / box.height, this.canvas.height)];
    }

    private hover(event: MouseEvent): void {
        const planes = this.planes[Number(this.slider.value)];
        if (!planes) {
            return;
        }
        const [i, j] = this.pixelAt(event);
        const pixel = j * this.canvas.width + i;
        const [right, down] = alongAxes(this.axis);
        const place = [[right, i], [down, j]].map(([axis, at]) => `${AXES[axis]} = `
            + withUnit(significant((at + 0.5) * this.block(axis) * this.report.spacing[axis], 4), this.report.length_unit)).join(", ");
        this.onHover(`${place}: ${this.directionText(planes, pixel)}`);
    }

    private directionText(planes: Planes, pixel: number): string {
        if (planes.coverage[pixel] === 0) {
            return "no fiber";
        }
        const color = planes.color.map((plane) => plane[pixel]);
        const confidence = planes.confidence ? `, confidence ${fixed(planes.confidence[pixel] / 255, 2)}` : "";
        const share = planes.coverage[pixel] < 255 ? `, ${percent(planes.coverage[pixel] / 255)} fiber` : "";
        if (this.report.dim === 3) {
            return `|x|, |y|, |z| = ${color.map((value) => fixed(value / 255, 2)).join(", ")}${share}${confidence}`;
        }
        const distances = (this.report.angle_colors ?? []).map((one) =>
            one.reduce((sum, value, channel) => sum + (value - color[channel]) ** 2, 0));
        return `${distances.indexOf(Math.min(...distances))}° from x${share}${confidence}`;
    }
}

/** All angles around a circle, x to the right and y down. */
function wheel(colors: [number, number, number][]): SVGElement {
    const at = (degree: number, radius: number) => {
        const angle = (degree * Math.PI) / 180;
        return `${(radius * Math.cos(angle)).toFixed(2)},${(radius * Math.sin(angle)).toFixed(2)}`;
    };
    const sectors = Array.from({ length: 180 }, (_, number) => {
        const degree = 2 * number;
        return svg("path", { fill: css(colors[degree % 180]),
            d: `M${at(degree - 1.2, 40)} L${at(degree - 1.2, 70)} A70,70 0 0 1 ${at(degree + 1.2, 70)} L${at(degree + 1.2, 40)} z` });
    });
    const label = (degree: number) => {
        const [x, y] = at(degree, 86).split(",");
        return svg("text", { x, y, "text-anchor": "middle", "dominant-baseline": "middle", "font-size": 14, fill: "currentColor" },
            degree === 0 ? "x" : degree === 90 ? "y" : `${degree}°`);
    };
    return svg("svg", { viewBox: "-100 -100 200 200", class: "wheel", role: "img", "aria-label": "Colors of angles from x" },
        ...sectors, ...[0, 45, 90, 135].map(label));
}

export function sectionsOf(report: Report): HTMLElement {
    const title = report.dim === 3 ? "Sections" : "Image";
    const { sections } = report;
    if (sections === null) {
        return part("sections", title, missing("No sections of the image were kept."));
    }
    const axes: Axis[] = report.dim === 3 ? ["z", "y", "x"] : ["z"];
    const view: View = { layer: "directions", opacity: 1 };
    const panels = axes.map((axis) => new Panel(report, axis, sections.images.filter((image) => image.axis === axis)));
    const hover = el("p", { class: "hover", "aria-live": "off" }, "\u00a0");
    const legend = el("div", { class: "legend" });
    const hasConfidence = sections.images.some((image) => image.has_confidence);

    const drawLegend = () => {
        if (view.layer === "directions") {
            if (report.dim === 2) {
                legend.replaceChildren(wheel(report.angle_colors ?? []), el("p", {}, "Color: the angle of fibers from x"));
            } else {
                legend.replaceChildren(...sphereLegend("the fiber's direction"));
            }
        } else if (view.layer === "confidence") {
            const bar = el("div", { class: "bar" });
            bar.style.background = gradientOf();
            legend.replaceChildren(bar, el("div", { class: "ends" }, el("span", {}, "0"), el("span", {}, "1")), el("p", {}, "Confidence of axes"));
        } else if (view.layer === "foreground") {
            legend.replaceChildren(el("p", {}, el("span", { class: "swatch" }), " counts as fiber"));
        } else {
            legend.replaceChildren(el("p", {}, "Grey values of the image"));
        }
    };
    const update = () => {
        panels.forEach((panel) => panel.use({ ...view }));
        drawLegend();
    };
    for (const panel of panels) {
        panel.onHover = (text) => {
            hover.textContent = text || "\u00a0";
        };
        panel.onMove = () => panels.forEach((one) => one.cross(panels));
        panel.onPick = (axis, px) => panels.find((one) => one.axis === axis)?.goTo(px);
    }
    const layers: { value: Layer; text: string }[] = [
        { value: "directions", text: "directions" },
        ...(hasConfidence ? [{ value: "confidence" as const, text: "confidence" }] : []),
        { value: "foreground", text: "foreground" }, { value: "none", text: "image only" },
    ];
    const opacity = el("input", { type: "range", id: "opacity", min: 0, max: 100, step: 5, value: 100 });
    opacity.addEventListener("input", () => {
        view.opacity = Number(opacity.value) / 100;
        update();
    });
    const controls = el("div", { class: "controls" },
        choice("layer", "Over the image", layers, view.layer, (value) => {
            view.layer = value as Layer;
            update();
        }),
        el("div", { class: "slide short" }, el("label", { for: "opacity" }, "Opacity"), opacity),
        ...(report.dim === 3 ? [paletteChoice("palette")] : []));
    onPalette(update);
    const grid = el("div", { class: "panels" }, ...panels.map((panel) => panel.element));
    const extent = (at: number) => report.record.input.size_px[at] * report.spacing[at];
    if (report.dim === 3) { // the same scale for all of them
        const widths = [extent(0), extent(0), extent(1)];
        const sum = widths.reduce((a, b) => a + b);
        grid.style.setProperty("--columns", widths.map((width) => `minmax(140px, ${Math.max(1, Math.round((100 * width) / sum))}fr)`).join(" "));
    }
    const blocks = sections.block_px.slice(0, report.dim);
    const kept = blocks.some((px) => px > 1)
        ? `Kept at reduced resolution: a pixel stands for ${blocks.join(" × ")} pixels of the image.`
        : "Pixels are those of the image.";
    queueMicrotask(update);
    return part("sections", title,
        el("p", {}, ...(report.dim === 3 ? [el("span", { class: "on-screen" }, "Click into a section to move the others there. ")] : []), kept),
        controls, el("div", { class: "with-legend" }, grid, legend), hover);
}
