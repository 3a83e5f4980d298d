// SPDX-License-Identifier: BSD-3-Clause
// Opens reports in a browser, clicks through them, and compares what they show with result.json.
// Environment: TEVRA_REPORT_TEST holds the program, the browser, and a folder that is emptied, one a line.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { mkdirSync, mkdtempSync, readFileSync, rmSync, statSync } from "node:fs";
import { createRequire } from "node:module";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { after, before, test } from "node:test";
import { chromium } from "playwright-core";
import { DISTANCE, LAYER, writeHalves, writeLayers } from "./images.mjs";

const [tevra, browser, folder] = (process.env.TEVRA_REPORT_TEST ?? "").split("\n");
const axeSource = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");
const FLAGS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
    "--disable-component-update", "--disable-sync"];
const profile = mkdtempSync(join(tmpdir(), "tevra-browser-"));
let context;

/** Analyses an image. @return what the run has written. */
function analyze(name, image, options) {
    const out = join(folder, name);
    execFileSync(tevra, ["analyze", image, "-o", out, "--quiet", ...options]);
    return { page: join(out, "report.html"), result: JSON.parse(readFileSync(join(out, "result.json"), "utf8")) };
}

/** Opens a report, and remembers what must not happen. */
async function open(path, width = 1280) {
    const page = await context.newPage();
    await page.setViewportSize({ width, height: 900 });
    const problems = [];
    page.on("console", (message) => message.type() === "error" && problems.push(message.text()));
    page.on("pageerror", (error) => problems.push(error.message));
    page.on("request", (request) => /^(file|data|blob):/.test(request.url()) || problems.push(`asks for ${request.url()}`));
    await page.goto(`file://${path}`);
    await page.waitForSelector("#report[data-ready]");
    await drawn(page);
    return { page, problems };
}

const pixel = (page, axis, i, j) => page.evaluate(([axis, i, j]) => {
    const canvas = document.querySelector(`canvas[data-axis="${axis}"]`);
    return [...canvas.getContext("2d").getImageData(i, j, 1, 1).data].slice(0, 3);
}, [axis, i, j]);

const choose = (page, id) => page.check(`#${id}`);

/** Waits until the sections that the sliders tell of are drawn. */
const drawn = (page) => page.waitForFunction(() => [...document.querySelectorAll("canvas[data-axis]")].every((canvas) => {
    const text = canvas.closest("figure").querySelector("output")?.textContent;
    return text === undefined ? canvas.dataset.painted : text.includes(`slice ${canvas.dataset.painted} of`);
}));

async function slide(page, axis, value) {
    await page.locator(`#slider-${axis}`).fill(String(value));
    await drawn(page);
}

function assertNear(color, expected, most, what) {
    const apart = Math.max(...color.map((value, channel) => Math.abs(value - expected[channel])));
    assert.ok(apart <= most, `${what}: ${color} is not ${expected}`);
}

let layers;
let halves;

before(async () => {
    rmSync(folder, { recursive: true, force: true });
    mkdirSync(folder, { recursive: true });
    writeLayers(join(folder, "layers.mha"));
    writeHalves(join(folder, "halves.mha"));
    layers = analyze("layers", join(folder, "layers.mha"), ["--fiber-radius", "1.5", "--subfield-count", "4", "--estimator", "line-voting"]);
    halves = analyze("halves", join(folder, "halves.mha"), ["--fiber-radius", "3", "--subfield-count", "4,2"]);
    context = await chromium.launchPersistentContext(profile, { executablePath: browser, headless: true, args: FLAGS, colorScheme: "light" });
});

after(async () => {
    await context?.close();
    rmSync(profile, { recursive: true, force: true });
});

test("the summary shows the numbers of result.json", async () => {
    for (const { page: path, result } of [layers, halves]) {
        const { page, problems } = await open(path);
        const field = result.Field;
        const shown = (key) => page.textContent(`[data-key="${key}"]`);
        const tensor = field["Orientation tensor"];
        const axes = "zz" in tensor ? ["x", "y", "z"] : ["x", "y"];
        assert.equal(await shown("anisotropy"), field["Anisotropy value"].toFixed(3));
        assert.equal(await shown("diagonal"), `(${axes.map((axis) => tensor[axis + axis].toFixed(3)).join(", ")})`);
        assert.equal(await shown("mean"), `(${axes.map((axis) => field["Mean fiber direction"][axis].toFixed(3)).join(", ")})`);
        assert.deepEqual(problems, []);
        await page.close();
    }
});

test("sections show fibers along x, y and z in the legend's colors", async () => {
    const { page } = await open(layers.page);
    // Across y, x runs to the right and z down; middles of fibers lie half a distance from a multiple of it.
    await slide(page, "y", 2);
    const middle = DISTANCE / 2;
    assertNear(await pixel(page, "y", 3 * DISTANCE + middle, LAYER + middle + DISTANCE), [0, 255, 0], 30, "fibers along y");
    // Across x, y runs to the right and z down.
    await slide(page, "x", 2);
    assertNear(await pixel(page, "x", 3 * DISTANCE + middle, middle + DISTANCE), [255, 0, 0], 30, "fibers along x");
    // Across z, the uppermost section lies among fibers along z.
    await slide(page, "z", 8);
    assertNear(await pixel(page, "z", 3 * DISTANCE + middle, 3 * DISTANCE + middle), [0, 0, 255], 30, "fibers along z");
    const legend = await page.evaluate(() => {
        const canvas = document.querySelector(".sphere canvas");
        const at = (x, y) => [...canvas.getContext("2d").getImageData(x, y, 1, 1).data].slice(0, 3);
        return [at(canvas.width - 1, canvas.height / 2), at(canvas.width / 2, canvas.height - 1), at(canvas.width / 2, canvas.height / 2)];
    });
    [[255, 0, 0], [0, 255, 0], [0, 0, 255]].forEach((color, at) => assertNear(legend[at], color, 30, `legend of ${"xyz"[at]}`));
    await page.close();
});

test("a plane shows fibers along x and y in the wheel's colors", async () => {
    const { page } = await open(halves.page);
    const wheel = await page.evaluate(() => [...document.querySelectorAll(".wheel path")].map((path) => path.getAttribute("fill").match(/\d+/g).map(Number)));
    assertNear(await pixel(page, "z", 40, 3 * DISTANCE + DISTANCE / 2), wheel[0], 12, "fibers along x");
    assertNear(await pixel(page, "z", 144 - DISTANCE / 2, 40), wheel[45], 12, "fibers along y");
    assert.ok(await page.isVisible(".rose"));
    await page.close();
});

test("sliders, layers, opacity and clicks change the sections", async () => {
    const { page, problems } = await open(layers.page);
    const painted = (axis) => page.getAttribute(`canvas[data-axis="${axis}"]`, "data-painted");
    const first = await painted("z");
    await slide(page, "z", 0);
    assert.notEqual(await painted("z"), first);
    await slide(page, "z", 8);
    const place = [3 * DISTANCE + DISTANCE / 2, 3 * DISTANCE + DISTANCE / 2];
    const seen = new Set([String(await pixel(page, "z", ...place))]);
    for (const layer of ["confidence", "foreground", "none"]) {
        await choose(page, `layer-${layer}`);
        seen.add(String(await pixel(page, "z", ...place)));
    }
    assert.equal(seen.size, 4, "each layer looks different");
    await choose(page, "layer-directions");
    await choose(page, "palette-safe");
    assertNear(await pixel(page, "z", ...place), [40, 60, 165], 40, "fibers along z in colors for all eyes");
    await choose(page, "palette-rgb");
    await page.locator("#opacity").fill("0");
    const [red, green, blue] = await pixel(page, "z", ...place);
    assert.ok(red === green && green === blue, "only the image is left");
    const before = await painted("x");
    const box = await page.locator('canvas[data-axis="z"]').boundingBox();
    await page.mouse.click(box.x + 0.05 * box.width, box.y + 0.5 * box.height);
    await drawn(page);
    assert.notEqual(await painted("x"), before, "a click moves the others");
    assert.deepEqual(problems, []);
    await page.close();
});

test("profiles are those of result.json", async () => {
    const { page } = await open(layers.page);
    for (const axis of ["x", "z"]) {
        await choose(page, `profile-axis-${axis}`);
        const shown = await page.evaluate(() => document.querySelector(".plot.tall").data.map(({ name, x, y }) => ({ name, x, y })));
        const slices = Object.values(layers.result["Averaged Profile"][`${axis}-Direction`]).filter((slice) => slice["Number of subfields"] > 0);
        assert.deepEqual(shown[0].y, slices.map((slice) => slice["Orientation tensor"].xx));
        assert.deepEqual(shown[2].y, slices.map((slice) => slice["Orientation tensor"].zz));
        assert.deepEqual(shown.find(({ name }) => name === "anisotropy").y, slices.map((slice) => slice["Anisotropy value"]));
        assert.ok(shown[0].x.every((place, at) => place > slices[at]["slice position"]), "positions are middles");
    }
    await page.close();
});

test("the table sorts, and a click on an ellipsoid shows its row", async () => {
    const { page, problems } = await open(layers.page);
    const subfields = Object.entries(layers.result.Subfields).filter(([, value]) => typeof value === "object");
    const least = subfields.map(([, value]) => value["Anisotropy value"]).sort((a, b) => a - b)[0];
    const sort = page.locator('button[data-column="anisotropy"]');
    const column = await sort.evaluate((button) => button.closest("th").cellIndex);
    const top = () => page.evaluate((column) => {
        const cell = document.querySelector(".subfield-table tbody tr").cells[column];
        return Number(cell.title || cell.textContent);
    }, column);
    await sort.click();
    assert.equal(await top(), least);
    await sort.click();
    assert.ok((await top()) > least);
    let found = 0;
    for (let row = 0; row < subfields.length && found < 3; ++row) {
        await page.locator(".glyph-view").scrollIntoViewIfNeeded();
        const place = await page.evaluate((row) => document.querySelector(".glyph-view").placeOf(row), row);
        await page.mouse.click(place.x, place.y);
        const selected = await page.evaluate(() => {
            const line = document.querySelector(".subfield-table tr.selected");
            return line && { row: Number(line.dataset.row), id: line.cells[0].textContent };
        });
        if (selected?.row === row) { // others may lie in front of it
            ++found;
            const corner = (text) => (text.match(/\d+/g) ?? []).map(Number).join();
            const value = subfields.find(([id]) => corner(id) === corner(selected.id))[1];
            const text = await page.textContent(".chosen");
            assert.ok(text.startsWith(selected.id), text);
            assert.ok(text.includes(`a_xx ${value["Orientation tensor"].xx.toFixed(3)}`), text);
        }
    }
    assert.equal(found, 3, "ellipsoids in front can be clicked");
    await page.focus("canvas.glyphs");
    const before = await page.textContent(".chosen");
    await page.keyboard.press("PageDown");
    assert.notEqual(await page.textContent(".chosen"), before);
    assert.deepEqual(problems, []);
    await page.close();
});

test("reports pass the accessibility check, dark and light, wide and narrow", async () => {
    for (const { page: path } of [layers, halves]) {
        for (const [scheme, width] of [["light", 1280], ["dark", 1280], ["light", 390]]) {
            const { page, problems } = await open(path, width);
            await page.emulateMedia({ colorScheme: scheme });
            await page.waitForTimeout(300);
            await page.evaluate(axeSource);
            const { violations } = await page.evaluate(() => globalThis.axe.run({ exclude: [".js-plotly-plot"] }));
            assert.deepEqual(violations.map(({ id, nodes }) => `${id}: ${nodes.map((node) => node.html).slice(0, 3)}`), []);
            const [scrollWidth, clientWidth] = await page.evaluate(() => [document.documentElement.scrollWidth, document.documentElement.clientWidth]);
            assert.ok(scrollWidth <= clientWidth, `${width} px wide: the page must not scroll sideways`);
            assert.deepEqual(problems, []);
            await page.close();
        }
    }
});

test("a report is small and opens fast", async () => {
    assert.ok(statSync(layers.page).size < 6e6);
    const start = Date.now();
    const { page } = await open(layers.page);
    const milliseconds = Date.now() - start;
    console.log(`opened in ${milliseconds} ms`);
    assert.ok(milliseconds < 20000);
    await page.close();
});
