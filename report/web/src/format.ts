// SPDX-License-Identifier: BSD-3-Clause
// Numbers as people read them.

/** With so many significant digits, without an exponent where that can be avoided. */
export function significant(value: number, digits = 3): string {
    if (!Number.isFinite(value)) {
        return "–";
    }
    if (value === 0) {
        return "0";
    }
    const size = Math.abs(value);
    if (size >= 1e6 || size < 1e-4) {
        return value.toExponential(digits - 1);
    }
    return String(Number(value.toPrecision(digits)));
}

/** With so many digits behind the point. */
export function fixed(value: number, digits: number): string {
    return Number.isFinite(value) ? value.toFixed(digits) : "–";
}

export function percent(share: number): string {
    return Number.isFinite(share) ? `${significant(100 * share)} %` : "–";
}

export function degrees(rad: number, digits = 1): string {
    return Number.isFinite(rad) ? `${((rad * 180) / Math.PI).toFixed(digits)}°` : "–";
}

export function whole(value: number): string {
    return Number.isFinite(value) ? Math.round(value).toLocaleString("en").replace(/,/g, "\u202f") : "–";
}

export function withUnit(text: string, unit: string): string {
    return unit === "" ? text : `${text} ${unit}`;
}
