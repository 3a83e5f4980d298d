// SPDX-License-Identifier: BSD-3-Clause
import { readReport, Table, type Report } from "./data";
import { el } from "./dom";
import { directionsOf } from "./directions";
import { headOf } from "./head";
import { methodOf } from "./method";
import { plotForPaper, replot } from "./plot";
import { profilesOf } from "./profiles";
import { sectionsOf } from "./sections";
import { subfieldsOf } from "./subfields";
import "./style.css";

const PARTS: [string, string][] = [
    ["summary", "Summary"], ["sections", "Sections"], ["directions", "Directions"], ["profiles", "Profiles"],
    ["subfields", "Subfields"], ["method", "Method"],
];

function themeButton(): HTMLElement {
    const root = document.documentElement;
    const prefers = window.matchMedia("(prefers-color-scheme: dark)");
    const isDark = () => (root.dataset.theme ? root.dataset.theme === "dark" : prefers.matches);
    const button = el("button", { type: "button", id: "theme" });
    const name = () => {
        button.textContent = isDark() ? "Light" : "Dark";
        button.setAttribute("aria-label", isDark() ? "Switch to light colors" : "Switch to dark colors");
    };
    const changed = () => {
        name();
        replot();
        document.dispatchEvent(new Event("theme"));
    };
    button.addEventListener("click", () => {
        root.dataset.theme = isDark() ? "light" : "dark";
        changed();
    });
    prefers.addEventListener("change", changed);
    name();
    return button;
}

/** On paper everything is light, and figures are as wide as it is. They are drawn anew, as colors and sizes are drawn into them. */
function preparePrinting(): void {
    const root = document.documentElement;
    let chosen: string | null = null; // theme before; null if nothing is being printed
    const begin = () => {
        if (chosen === null) {
            chosen = root.dataset.theme ?? "";
            root.dataset.theme = "light";
            plotForPaper(true);
            document.dispatchEvent(new Event("theme"));
        }
    };
    const end = () => {
        if (chosen !== null) {
            if (chosen === "") {
                delete root.dataset.theme;
            } else {
                root.dataset.theme = chosen;
            }
            chosen = null;
            plotForPaper(false);
            document.dispatchEvent(new Event("theme"));
        }
    };
    window.addEventListener("beforeprint", begin);
    window.addEventListener("afterprint", end);
    window.matchMedia("print").addEventListener("change", (event) => (event.matches ? begin() : end()));
}

function show(report: Report): void {
    const place = document.getElementById("report") as HTMLElement;
    const subfields = report.subfields.csv === null ? null : Table.parse(report.subfields.csv);
    const profiles = report.profiles.csv === null ? null : Table.parse(report.profiles.csv);
    const without = subfields === null ? 0
        : subfields.rows.filter((_, row) => subfields.text(row, "anisotropy") === "").length;
    place.append(
        el("a", { href: "#summary", class: "skip" }, "Skip to the report"),
        el("header", { class: "top" },
            el("h1", {}, "Fiber orientation"),
            el("nav", { "aria-label": "Parts of the report" },
                ...PARTS.map(([id, title]) => el("a", { href: `#${id}` }, title))),
            themeButton()),
        el("main", {},
            headOf(report, without), sectionsOf(report), directionsOf(report), profilesOf(report, profiles, subfields),
            subfieldsOf(report, subfields), methodOf(report)),
        el("footer", {}, `tevra ${report.record.version}`));
    preparePrinting();
    place.dataset.ready = "true";
}

show(readReport());
