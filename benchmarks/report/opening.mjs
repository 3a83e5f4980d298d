// SPDX-License-Identifier: BSD-3-Clause
// Opens a report in headless Chromium some times, and prints how many seconds each took until all parts were drawn.
// usage: node opening.mjs FOLDER_OF_NODE_MODULES REPORT TIMES
import { existsSync, mkdtempSync, rmSync } from "node:fs";
import { createRequire } from "node:module";
import { tmpdir } from "node:os";
import { join, resolve } from "node:path";

const [modules, report, times] = process.argv.slice(2);
const { chromium } = createRequire(resolve(modules, "none.js"))("playwright-core");
const profile = mkdtempSync(join(tmpdir(), "tevra-opening-"));
const browser = ["/usr/bin/chromium", "/usr/bin/chromium-browser", "/usr/bin/google-chrome"];
const context = await chromium.launchPersistentContext(profile, {
    executablePath: browser.find((path) => existsSync(path)), headless: true,
    args: ["--headless", "--no-sandbox", "--disable-gpu", "--no-first-run", "--disable-background-networking"],
});
try {
    for (let round = 0; round <= Number(times); ++round) {
        const page = await context.newPage();
        await page.setViewportSize({ width: 1280, height: 900 });
        const start = performance.now();
        await page.goto(`file://${resolve(report)}`);
        await page.waitForFunction(() => document.querySelector("#report[data-ready]")
            && [...document.querySelectorAll("canvas[data-axis]")].every((canvas) => canvas.dataset.painted !== undefined)
            && [...document.querySelectorAll(".plot")].every((plot) => plot.querySelector(".main-svg")));
        if (round > 0) { // the browser starts with the first one
            console.log(((performance.now() - start) / 1000).toFixed(3));
        }
        await page.close();
    }
} finally {
    await context.close();
    rmSync(profile, { recursive: true, force: true });
}
