// SPDX-License-Identifier: BSD-3-Clause
// Opens reports in a browser, clicks through them, and compares what they show with result.json.
// Environment: TEVRA_REPORT_TEST holds the program, the browser, and a folder that is emptied, one a line.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { mkdirSync, mkdtempSync, readFileSync, rmSync, statSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { after, before, test } from "node:test";
import { chromium } from "playwright-core";
import { DISTANCE, LAYER, LAYERS_SIZE, ON_FIBERS, writeHalves, writeLayers } from "./images.mjs";

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
    return { out, page: join(out, "report.html"), result: JSON.parse(readFileSync(join(out, "result.json"), "utf8")) };
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
    layers = analyze("layers", join(folder, "layers.mha"), ["--fiber-radius", "1.5", "--subfield-count", "4", "--estimator", "line-voting", "--rgb"]);
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
    // Across y, x runs to the right and z down.
    await slide(page, "y", 2);
    assertNear(await pixel(page, "y", 3 * DISTANCE, LAYER + DISTANCE), [0, 255, 0], 30, "fibers along y");
    // Across x, y runs to the right and z down.
    await slide(page, "x", 2);
    assertNear(await pixel(page, "x", 3 * DISTANCE, DISTANCE), [255, 0, 0], 30, "fibers along x");
    // Across z, the uppermost section lies among fibers along z.
    await slide(page, "z", 8);
    assertNear(await pixel(page, "z", 3 * DISTANCE, 3 * DISTANCE), [0, 0, 255], 30, "fibers along z");
    const legend = await page.evaluate(() => {
        const canvas = document.querySelector(".sphere canvas");
        const at = (x, y) => [...canvas.getContext("2d").getImageData(x, y, 1, 1).data].slice(0, 3);
        return [at(canvas.width - 1, canvas.height / 2), at(canvas.width / 2, canvas.height - 1), at(canvas.width / 2, canvas.height / 2)];
    });
    [[255, 0, 0], [0, 255, 0], [0, 0, 255]].forEach((color, at) => assertNear(legend[at], color, 30, `legend of ${"xyz"[at]}`));
    await page.close();
});

/** Colors of places in a PNG file, as the browser reads it. */
const colorsIn = (page, bytes, places) => page.evaluate(async ([source, places]) => {
    const image = new Image();
    image.src = source;
    await image.decode();
    const canvas = Object.assign(document.createElement("canvas"), { width: image.width, height: image.height });
    const context = canvas.getContext("2d", { willReadFrequently: true });
    context.drawImage(image, 0, 0);
    return places.map(([x, y]) => [...context.getImageData(Math.floor(x), Math.floor(y), 1, 1).data].slice(0, 3));
}, [`data:image/png;base64,${bytes.toString("base64")}`, places]);

/** Red, green and blue of a stack's pixel: a MetaImage, whose pixels follow its header. */
function colorInStack(file, [x, y, z]) {
    const bytes = readFileSync(file);
    const key = "ElementDataFile = LOCAL\n";
    const at = bytes.indexOf(key) + key.length;
    const [width, height] = LAYERS_SIZE;
    assert.equal(bytes.length - at, 3 * width * height * LAYERS_SIZE[2]);
    return [...bytes.subarray(at + 3 * ((z * height + y) * width + x), at + 3 * ((z * height + y) * width + x) + 3)];
}

test("report, picture and stack of colors agree on fibers along x, y and z, and each with its legend", async () => {
    const { page } = await open(layers.page);
    const picture = readFileSync(join(layers.out, "sections.png"));
    // Panels across z, y and x, 48, 48 and 48 long at 1500 pixels together; the second one has the fibers of all layers.
    const scale = 1500 / (3 * LAYERS_SIZE[0]);
    const [left, top] = [28 + LAYERS_SIZE[0] * scale + 20, 28 + 34];
    const sphere = [28 + 3 * (LAYERS_SIZE[0] * scale + 20) + 100, top + 90]; // of the picture's legend
    const legend = await colorsIn(page, picture, [[78, 0], [0, 78], [0, 12]].map(([x, y]) => [sphere[0] + x, sphere[1] + y]));
    const drawnThere = await colorsIn(page, picture, ON_FIBERS.map(([x, , z]) => [left + (x + 0.5) * scale, top + (z + 0.5) * scale]));
    ON_FIBERS.forEach((place, axis) => {
        const own = [0, 1, 2].map((channel) => (channel === axis ? 255 : 0));
        assertNear(legend[axis], own, 60, `the picture's legend of ${"xyz"[axis]}`);
        assertNear(drawnThere[axis], own, 40, `picture, fibers along ${"xyz"[axis]}`);
        assertNear(colorInStack(join(layers.out, "rgb.mha"), place), own, 60, `stack, fibers along ${"xyz"[axis]}`);
    });
    await slide(page, "y", 2);
    for (const [axis, place] of ON_FIBERS.entries()) {
        const own = [0, 1, 2].map((channel) => (channel === axis ? 255 : 0));
        assertNear(await pixel(page, "y", place[0], place[2]), own, 40, `report, fibers along ${"xyz"[axis]}`);
    }
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
    const place = [3 * DISTANCE, 3 * DISTANCE];
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

/** How far apart colors look: their distance in OKLab (B. Ottosson, 2020). */
function apart(one, other) {
    const lab = (color) => {
        const [r, g, b] = color.map((value) => (value / 255 <= 0.04045 ? value / 255 / 12.92 : ((value / 255 + 0.055) / 1.055) ** 2.4));
        const [l, m, s] = [0.4122214708 * r + 0.5363325363 * g + 0.0514459929 * b, 0.2119034982 * r + 0.6806995451 * g + 0.1073969566 * b,
            0.0883024619 * r + 0.2817188376 * g + 0.6299787005 * b].map(Math.cbrt);
        return [0.2104542553 * l + 0.793617785 * m - 0.0040720468 * s, 1.9779984951 * l - 2.428592205 * m + 0.4505937099 * s,
            0.0259040371 * l + 0.7827717662 * m - 0.808675766 * s];
    };
    const [a, b] = [lab(one), lab(other)];
    return Math.hypot(...a.map((value, at) => value - b[at]));
}

/** Colors of places on the screen, as eyes with a deficiency see them by the browser's own simulation. */
async function seenBy(page, deficiency, places) {
    const session = await context.newCDPSession(page);
    await session.send("Emulation.setEmulatedVisionDeficiency", { type: deficiency });
    const shot = await page.screenshot();
    await session.send("Emulation.setEmulatedVisionDeficiency", { type: "none" });
    await session.detach();
    return colorsIn(page, shot, places);
}

const DEFICIENCIES = ["protanopia", "deuteranopia", "tritanopia", "achromatopsia"];

test("colors for all eyes keep x, y and z apart, in sections and for ellipsoids", async () => {
    const { page, problems } = await open(layers.page);
    await choose(page, "palette-safe");
    assert.ok(await page.isChecked("#glyph-palette-safe"), "one choice for the whole page");
    for (const part of ["#sections", "#subfields"]) {
        await page.locator(`${part} .sphere`).scrollIntoViewIfNeeded();
        const box = await page.locator(`${part} .sphere canvas`).boundingBox();
        const at = (x, y) => [box.x + box.width * (0.5 + x / 2), box.y + box.height * (0.5 + y / 2)];
        for (const deficiency of DEFICIENCIES) {
            const [x, y, z] = await seenBy(page, deficiency, [at(0.97, 0), at(0, 0.97), at(0, 0.15)]);
            for (const [name, distance] of [["x and y", apart(x, y)], ["y and z", apart(y, z)], ["x and z", apart(x, z)]]) {
                assert.ok(distance > 0.15, `${part}: ${deficiency} sees ${name} only ${distance.toFixed(3)} apart`);
            }
        }
    }
    await choose(page, "glyph-palette-rgb");
    assert.ok(await page.isChecked("#palette-rgb"));
    assert.deepEqual(problems, []);
    await page.close();
});

test("ellipsoids have the colors of the chosen legend", async () => {
    const { page } = await open(layers.page);
    await page.locator(".glyph-view").scrollIntoViewIfNeeded();
    /** How many of the drawn pixels are red, and how many yellow. */
    const counts = () => page.evaluate(() => {
        const canvas = document.querySelector("canvas.glyphs");
        const { data } = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height);
        let [red, yellow] = [0, 0];
        for (let at = 0; at < data.length; at += 4) {
            const [r, g, b] = data.subarray(at, at + 3);
            red += r > 150 && g < 60 && b < 60 ? 1 : 0;
            yellow += r > 150 && g > 140 && b < 110 ? 1 : 0;
        }
        return { red, yellow };
    });
    const first = await counts();
    assert.ok(first.red > 300 && first.yellow < first.red / 4, `fibers along x are red: ${JSON.stringify(first)}`);
    await choose(page, "glyph-palette-safe");
    const then = await counts();
    assert.ok(then.yellow > 300 && then.red === 0, `fibers along x are yellow: ${JSON.stringify(then)}`);
    await choose(page, "coloring-anisotropy");
    assert.ok(await page.isHidden("#glyph-palette-safe"), "values have colors of their own");
    await page.close();
});

test("colors of values grow lighter evenly for all eyes", async () => {
    const { page } = await open(layers.page);
    await page.locator(".pole .bar").scrollIntoViewIfNeeded();
    const box = await page.locator(".pole .bar").boundingBox();
    const places = [0.05, 0.2, 0.35, 0.5, 0.65, 0.8, 0.95].map((share) => [box.x + share * box.width, box.y + box.height / 2]);
    for (const deficiency of DEFICIENCIES) {
        const colors = await seenBy(page, deficiency, places);
        const light = colors.map(([r, g, b]) => 0.2126 * r + 0.7152 * g + 0.0722 * b);
        for (let at = 1; at < light.length; ++at) {
            assert.ok(light[at] > light[at - 1] + 8, `${deficiency}: ${light.map(Math.round)}`);
        }
    }
    await page.close();
});

test("lines of profiles differ by more than color", async () => {
    const { page } = await open(layers.page);
    const lines = await page.evaluate(() => document.querySelector(".plot.tall").data.slice(0, 6).map(({ line, marker }) => [line.dash, marker.symbol]));
    assert.equal(new Set(lines.map(([dash]) => dash)).size, 6);
    assert.equal(new Set(lines.map(([, symbol]) => symbol)).size, 6);
    await page.close();
});

/** The same report with other numbers of the whole field, and these kinds of warnings. */
function withField(path, name, values, kinds) {
    const text = readFileSync(path, "utf8");
    const data = /(<script type="application\/json" id="tevra-data">)(.*?)(<\/script>)/s;
    const changed = JSON.parse(data.exec(text)[2]);
    Object.assign(changed.field, values);
    changed.record.warnings = kinds.map((kind) => ({ kind, value: null, text: `a warning of ${kind}` }));
    const file = join(folder, `${name}.html`);
    writeFileSync(file, text.replace(data, (_, start, __, end) => `${start}${JSON.stringify(changed).replace(/</g, "\\u003c")}${end}`));
    return file;
}

test("the first sentence says how fibers lie", async () => {
    const diagonal = (xx, yy, zz) => {
        const lambda = [xx, yy, zz].sort((a, b) => b - a);
        return { a_xx: xx, a_yy: yy, a_zz: zz, a_xy: 0, a_xz: 0, a_yz: 0, lambda_1: lambda[0], lambda_2: lambda[1], lambda_3: lambda[2] };
    };
    const degrees = Math.PI / 180;
    const cases = [
        [layers, { ...diagonal(0.05, 0.9, 0.05), mean_x: 0, mean_y: 1, mean_z: 0 }, "Fibers lie mostly along y; nearly parallel; a_yy = 0.90."],
        [layers, { ...diagonal(0.7, 0.2, 0.1), mean_x: -Math.cos(12 * degrees), mean_y: Math.sin(12 * degrees), mean_z: 0 },
            "Fibers lie mostly along x, 12° off; mostly aligned; a_xx = 0.70."],
        [layers, { ...diagonal(0.52, 0.46, 0.02), mean_x: 1, mean_y: 0, mean_z: 0 },
            "Fibers lie mostly in one plane, across z; in it most of them along x; a_xx = 0.52."],
        [layers, { ...diagonal(0.34, 0.33, 0.33), mean_x: 1, mean_y: 0, mean_z: 0 }, "Fibers lie in all directions alike; a_xx = 0.34."],
        [layers, { ...diagonal(0.31, 0.42, 0.27), mean_x: 0, mean_y: 1, mean_z: 0 },
            "Fibers lie in all directions, with a preference: along y; a_yy = 0.42."],
        [halves, { a_xx: 0.3, a_xy: 0, a_yy: 0.7, lambda_1: 0.85, lambda_2: 0.15, mean_x: Math.cos(125 * degrees), mean_y: Math.sin(125 * degrees) },
            "Fibers lie mostly at 125° from x; partly aligned; a_yy = 0.70."],
        [halves, { a_xx: 0.53, a_xy: 0, a_yy: 0.47, lambda_1: 0.53, lambda_2: 0.47, mean_x: 1, mean_y: 0 },
            "Fibers are hardly aligned; a little more of them lie along x; a_xx = 0.53."],
        [halves, { a_xx: 0.51, a_xy: 0, a_yy: 0.49, lambda_1: 0.51, lambda_2: 0.49, mean_x: 1, mean_y: 0 },
            "Fibers lie along no direction more than along others; a_xx = 0.51.", "vague-direction"],
        [layers, { ...diagonal(0.5, 0.48, 0.02), mean_x: 1, mean_y: 0, mean_z: 0 },
            "Fibers lie mostly in one plane, across z; in it no direction stands out; a_xx = 0.50.", "vague-direction"],
        [layers, { ...diagonal(0.41, 0.38, 0.21), mean_x: 1, mean_y: 0, mean_z: 0 },
            "Fibers lie in all directions, none of which stands out; a_xx = 0.41.", "vague-direction"],
    ];
    for (const [at, [report, values, sentence, ...kinds]] of cases.entries()) {
        const { page } = await open(withField(report.page, `words-${at}`, values, kinds));
        assert.equal(await page.textContent(".words"), sentence);
        await page.close();
    }
    // The normal of a plane that is turned about x by 30 degrees: a = 1/2 (x x + v v), v across it.
    const [c, s] = [Math.cos(30 * degrees), Math.sin(30 * degrees)];
    const turned = { a_xx: 0.5, a_xy: 0, a_xz: 0, a_yy: 0.49 * c * c + 0.01 * s * s, a_yz: 0.48 * c * s, a_zz: 0.49 * s * s + 0.01 * c * c,
        lambda_1: 0.5, lambda_2: 0.49, lambda_3: 0.01, mean_x: 1, mean_y: 0, mean_z: 0 };
    const { page } = await open(withField(layers.page, "words-turned", turned, []));
    assert.equal(await page.textContent(".words"), "Fibers lie mostly in one plane, across z (30° off); in it most of them along x; a_xx = 0.50.");
    await page.close();
});

test("a report prints in light colors, and nothing is cut off", async () => {
    const PAPER = 718; // pixels of the width of A4 within the usual margins
    for (const { page: path } of [layers, halves]) {
        const { page, problems } = await open(path);
        await page.emulateMedia({ colorScheme: "dark" });
        await page.emulateMedia({ colorScheme: "dark", media: "print" });
        await page.setViewportSize({ width: PAPER, height: 1000 });
        await page.waitForTimeout(300);
        const printed = await page.evaluate(() => {
            const style = (element, name) => getComputedStyle(element)[name];
            const shown = (element) => element.getClientRects().length > 0;
            const ends = [...document.querySelectorAll("main *")].filter(shown)
                .map((element) => ({ right: element.getBoundingClientRect().right, what: element.outerHTML.slice(0, 100) }));
            const last = ends.reduce((one, other) => (other.right > one.right ? other : one));
            return {
                last, back: style(document.body, "backgroundColor"), letters: style(document.body, "color"),
                axes: [...document.querySelectorAll(".js-plotly-plot .xtitle")].map((title) => style(title, "fill")),
                sections: [...document.querySelectorAll("canvas[data-axis]")].map((canvas) => shown(canvas) && canvas.getBoundingClientRect().width > 80),
                places: [...document.querySelectorAll(".slide output")].every(shown),
                buttons: [...document.querySelectorAll("button")].filter((button) => shown(button) && !button.closest("table")).length,
                overlaps: [...document.querySelectorAll(".plot")].some((plot) => plot.querySelector(".main-svg").getBoundingClientRect().bottom
                    > plot.getBoundingClientRect().bottom + 1),
                proportions: [...document.querySelectorAll("canvas.glyphs")].map((canvas) => style(canvas, "objectFit")),
            };
        });
        assert.ok(printed.last.right <= PAPER + 1, `${printed.last.what} ends at ${printed.last.right} of ${PAPER} pixels`);
        assert.equal(printed.back, "rgb(255, 255, 255)");
        assert.equal(printed.letters, "rgb(0, 0, 0)");
        assert.ok(printed.axes.length > 0 && printed.axes.every((fill) => fill === "rgb(0, 0, 0)"), `charts are drawn for paper: ${printed.axes}`);
        assert.ok(printed.sections.length > 0 && printed.sections.every(Boolean), "all sections are printed");
        assert.ok(printed.places, "with their places");
        assert.equal(printed.buttons, 0);
        assert.ok(!printed.overlaps, "charts reach into what follows");
        assert.deepEqual(printed.proportions, ["contain"]);
        await page.emulateMedia({ colorScheme: "dark", media: "screen" });
        await page.waitForTimeout(200);
        assert.equal(await page.evaluate(() => getComputedStyle(document.body).backgroundColor), "rgb(18, 22, 28)", "dark again on the screen");
        assert.deepEqual(problems, []);
        await page.close();
    }
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
