// SPDX-License-Identifier: BSD-3-Clause
// Elements of the page.

type Attributes = { [name: string]: string | number | boolean | undefined };
type Child = Node | string;

function fill<T extends Element>(element: T, attributes: Attributes, children: Child[]): T {
    for (const [name, value] of Object.entries(attributes)) {
        if (value !== undefined && value !== false) {
            element.setAttribute(name, value === true ? "" : String(value));
        }
    }
    element.append(...children);
    return element;
}

export function el<K extends keyof HTMLElementTagNameMap>(
    tag: K, attributes: Attributes = {}, ...children: Child[]
): HTMLElementTagNameMap[K] {
    return fill(document.createElement(tag), attributes, children);
}

export function svg<K extends keyof SVGElementTagNameMap>(
    tag: K, attributes: Attributes = {}, ...children: Child[]
): SVGElementTagNameMap[K] {
    return fill(document.createElementNS("http://www.w3.org/2000/svg", tag), attributes, children);
}

/** A choice of one among some, as buttons side by side. */
export function choice(
    name: string, label: string, options: { value: string; text: string }[], chosen: string,
    onChange: (value: string) => void,
): HTMLElement {
    const group = el("fieldset", { class: "choice" }, el("legend", {}, label));
    for (const option of options) {
        const input = el("input", {
            type: "radio", name, id: `${name}-${option.value}`, value: option.value, checked: option.value === chosen,
        });
        input.addEventListener("change", () => onChange(option.value));
        group.append(el("span", {}, input, el("label", { for: input.id }, option.text)));
    }
    return group;
}

/** A part of the report with a heading, for the table of contents. */
export function part(id: string, title: string, ...children: Child[]): HTMLElement {
    return el("section", { id, class: "part", "aria-labelledby": `${id}-title` },
        el("h2", { id: `${id}-title` }, title), ...children);
}

/** Shows that a part is missing, and why. */
export function missing(text: string): HTMLElement {
    return el("p", { class: "missing" }, text);
}
