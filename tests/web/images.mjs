// SPDX-License-Identifier: BSD-3-Clause
// Images whose fiber directions are known.
import { writeFileSync } from "node:fs";

function writeMetaImage(path, size, spacing, grey) {
    const count = size.reduce((a, b) => a * b);
    const header = ["ObjectType = Image", `NDims = ${size.length}`, "BinaryData = True", "BinaryDataByteOrderMSB = False",
        `DimSize = ${size.join(" ")}`, `ElementSpacing = ${spacing.join(" ")}`, "ElementType = MET_UCHAR", "ElementDataFile = LOCAL"];
    const pixels = Buffer.alloc(count);
    const at = size.map(() => 0);
    for (let pixel = 0; pixel < count; ++pixel) {
        pixels[pixel] = Math.round(grey(...at));
        for (let axis = 0; axis < size.length; ++axis) {
            if (++at[axis] < size[axis]) {
                break;
            }
            at[axis] = 0;
        }
    }
    writeFileSync(path, Buffer.concat([Buffer.from(`${header.join("\n")}\n`), pixels]));
}

/** Bright lines at multiples of `DISTANCE`, at the places of a line's cross-section. */
export const DISTANCE = 16;
const line = (u, v) => {
    const [du, dv] = [u, v].map((place) => ((place + DISTANCE / 2) % DISTANCE) - DISTANCE / 2);
    return 40 + 180 * Math.exp(-(du * du + dv * dv) / 12);
};

/** Three layers one above the other, with fibers along x, y and z. */
export const LAYER = 48;
export const LAYERS_SIZE = [96, 96, 3 * LAYER];
/** A pixel on a fiber along x, one on a fiber along y, and one on a fiber along z; all in the section across y in the middle. */
export const ON_FIBERS = [[40, 48, 16], [32, 48, LAYER + 16], [48, 48, 2 * LAYER + 24]];
export function writeLayers(path) {
    writeMetaImage(path, LAYERS_SIZE, [0.5, 0.5, 0.5], (x, y, z) =>
        z < LAYER ? line(y, z) : z < 2 * LAYER ? line(x, z) : line(x, y));
}

/** A plane whose left half has fibers along x, and its right half along y. */
export function writeHalves(path) {
    writeMetaImage(path, [192, 96], [1, 1], (x, y) => {
        const place = ((x < 96 ? y : x) % DISTANCE) - DISTANCE / 2;
        return 40 + 180 * Math.exp((-place * place) / 6);
    });
}
