// SPDX-License-Identifier: BSD-3-Clause
// Line plots and bars, by Plotly, in the colors of the page.
import Plotly from "plotly.js-basic-dist-min";

type Figure = { data: object[]; layout: object };
const drawn = new Map<HTMLElement, () => Figure>();

function variable(name: string): string {
    return getComputedStyle(document.documentElement).getPropertyValue(name).trim();
}

/** What every axis of a plot has. */
export function axisStyle(title: string): object {
    return {
        title: { text: title, standoff: 8 }, gridcolor: variable("--line"), zerolinecolor: variable("--line"),
        linecolor: variable("--line"), automargin: true,
    };
}

function render(place: HTMLElement, figure: Figure): void {
    const layout = {
        paper_bgcolor: "rgba(0,0,0,0)", plot_bgcolor: "rgba(0,0,0,0)",
        font: { family: "system-ui, sans-serif", size: 13, color: variable("--text") },
        margin: { l: 60, r: 16, t: 16, b: 48 },
        hovermode: "x unified", hoverlabel: { bgcolor: variable("--card"), font: { color: variable("--text") } },
        legend: { orientation: "h", y: 1.02, yanchor: "bottom" },
        modebar: { bgcolor: "rgba(0,0,0,0)", color: variable("--soft"), activecolor: variable("--link") },
        ...figure.layout,
    };
    void Plotly.react(place, figure.data, layout, {
        responsive: true, displaylogo: false, modeBarButtonsToRemove: ["select2d", "lasso2d", "autoScale2d"],
    });
}

/** Draws a figure, and draws it anew when the colors of the page change. */
export function plot(place: HTMLElement, figure: () => Figure): void {
    drawn.set(place, figure);
    render(place, figure());
}

export function replot(): void {
    for (const [place, figure] of drawn) {
        render(place, figure());
    }
}

/** Width of what is printed on A4 and on letter paper, both of which it fits. */
const PAPER_WIDTH_PX = 680;

/** Draws all figures for paper, as wide as it is, or for the screen again. */
export function plotForPaper(isOnPaper: boolean): void {
    for (const place of drawn.keys()) {
        place.style.width = isOnPaper ? `${PAPER_WIDTH_PX}px` : "";
    }
    replot();
}
