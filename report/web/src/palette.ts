// SPDX-License-Identifier: BSD-3-Clause
// Which colors stand for directions in 3D: one choice for the whole page, offered wherever such colors are.
import { directionAt, directionColor, type Palette } from "./colors";
import { choice, el } from "./dom";

const CHANGED = "palette";
let current: Palette = "rgb";

export function palette(): Palette {
    return current;
}

export function onPalette(changed: () => void): void {
    document.addEventListener(CHANGED, changed);
}

/** The choice, under a name of its own; those of other places follow. */
export function paletteChoice(name: string): HTMLElement {
    const group = choice(name, "Colors", [{ value: "rgb", text: "red, green, blue" }, { value: "safe", text: "for all eyes" }], current, (value) => {
        current = value as Palette;
        document.dispatchEvent(new Event(CHANGED));
    });
    onPalette(() => {
        const chosen = group.querySelector<HTMLInputElement>(`input[value="${current}"]`);
        if (chosen) {
            chosen.checked = true;
        }
    });
    return group;
}

/** A sphere seen along z: the color of every direction. */
function sphere(): HTMLCanvasElement {
    const size = 160;
    const canvas = el("canvas", { width: size, height: size, role: "img",
        "aria-label": "Colors of directions: a half-sphere seen along z" });
    const context = canvas.getContext("2d") as CanvasRenderingContext2D;
    const picture = context.createImageData(size, size);
    for (let j = 0; j < size; ++j) {
        for (let i = 0; i < size; ++i) {
            const axis = directionAt((2 * (i + 0.5)) / size - 1, (2 * (j + 0.5)) / size - 1);
            if (axis) {
                const [x, y, z] = axis.map((component) => Math.round(255 * Math.abs(component)));
                picture.data.set([...directionColor(x, y, z, current), 255], 4 * (j * size + i));
            }
        }
    }
    context.putImageData(picture, 0, 0);
    return canvas;
}

/** What the colors of 3D directions mean. @param of whose direction it is. */
export function sphereLegend(of: string): HTMLElement[] {
    return [
        el("div", { class: "sphere" }, sphere(), el("span", { class: "of-x" }, "x"), el("span", { class: "of-y" }, "y"),
            el("span", { class: "of-z" }, "z")),
        el("p", {}, current === "rgb" ? `Color: |x|, |y|, |z| of ${of} as red, green, blue`
            : `Color of ${of}: along x yellow, along y green, along z blue`),
    ];
}
