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

/** Bright lines, `DISTANCE` apart, at the places of a line's cross-section. */
export const DISTANCE = 16;
const line = (u, v) => {
    const [du, dv] = [u, v].map((place) => (place % DISTANCE) - DISTANCE / 2);
    return 40 + 180 * Math.exp(-(du * du + dv * dv) / 12);
};

/** Three layers one above the other, with fibers along x, y and z. */
export const LAYER = 48;
export function writeLayers(path) {
    writeMetaImage(path, [96, 96, 3 * LAYER], [0.5, 0.5, 0.5], (x, y, z) =>
        z < LAYER ? line(y, z) : z < 2 * LAYER ? line(x, z) : line(x, y));
}

/** A plane whose left half has fibers along x, and its right half along y. */
export function writeHalves(path) {
    writeMetaImage(path, [192, 96], [1, 1], (x, y) => {
        const place = ((x < 96 ? y : x) % DISTANCE) - DISTANCE / 2;
        return 40 + 180 * Math.exp((-place * place) / 6);
    });
}
