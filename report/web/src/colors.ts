// SPDX-License-Identifier: BSD-3-Clause
// Colors of values and of directions.

export type Color = [number, number, number];

function screenValue(light: number): number {
    const share = light <= 0.0031308 ? 12.92 * light : 1.055 * Math.pow(light, 1 / 2.4) - 0.055;
    return Math.round(255 * Math.min(1, Math.max(0, share)));
}

/** A color of OKLab (B. Ottosson, 2020). */
function fromLab(lightness: number, a: number, b: number): Color {
    const l = (lightness + 0.3963377774 * a + 0.2158037573 * b) ** 3;
    const m = (lightness - 0.1055613458 * a - 0.0638541728 * b) ** 3;
    const s = (lightness - 0.0894841775 * a - 1.291485548 * b) ** 3;
    return [
        screenValue(4.0767416621 * l - 3.3077115913 * m + 0.2309699292 * s),
        screenValue(-1.2684380046 * l + 2.6097574011 * m - 0.3413193965 * s),
        screenValue(-0.0041960863 * l - 0.7034186147 * m + 1.707614701 * s),
    ];
}

/**
 * For values from 0 to 1: from dark blue over grey to light yellow. Lightness grows evenly, and the colors differ along
 * the axis from blue to yellow alone, which nearly all eyes see.
 */
export function sequential(share: number): Color {
    const t = Math.min(1, Math.max(0, share));
    return fromLab(0.25 + 0.68 * t, 0.01 - 0.02 * t, -0.1 + 0.24 * t);
}

export const SEQUENTIAL: readonly Color[] = Array.from({ length: 256 }, (_, at) => sequential(at / 255));

export function css(color: readonly number[]): string {
    return `rgb(${color[0]},${color[1]},${color[2]})`;
}

export type Palette = "rgb" | "safe";

/** Yellow, green and blue of clearly different lightness, for x, y and z. */
const SAFE: readonly Color[] = [[247, 226, 80], [0, 158, 115], [40, 60, 165]];

/** The color of an axis from its absolute components in [0, 255], which as they are make red, green and blue. */
export function directionColor(x: number, y: number, z: number, palette: Palette): Color {
    if (palette === "rgb") {
        return [x, y, z];
    }
    const sum = x * x + y * y + z * z || 1;
    const channel = (at: number) =>
        Math.round((x * x * SAFE[0][at] + y * y * SAFE[1][at] + z * z * SAFE[2][at]) / sum);
    return [channel(0), channel(1), channel(2)];
}

/** The direction at a point of Lambert's projection of the upper half-sphere; none outside the unit circle. */
export function directionAt(x: number, y: number): [number, number, number] | null {
    const squared = x * x + y * y;
    if (squared > 1) {
        return null;
    }
    const stretch = Math.sqrt(2 - squared);
    return [x * stretch, y * stretch, 1 - squared];
}

/** A bar of the colors of values, with its ends named. */
export function gradientOf(): string {
    const stops = Array.from({ length: 11 }, (_, at) => css(sequential(at / 10)));
    return `linear-gradient(to right, ${stops.join(",")})`;
}
