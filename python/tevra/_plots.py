# SPDX-License-Identifier: BSD-3-Clause
"""Pictures of results: matplotlib, and HTML for notebooks."""

from __future__ import annotations

import base64
import html
import struct
import zlib
from typing import Any, Optional

import numpy as np

_LARGEST_PICTURE_PX = 512


def _new_axes(axis: Any) -> Any:
    if axis is not None:
        return axis
    try:
        import matplotlib.pyplot as plt
    except ImportError:
        raise ImportError("plot needs matplotlib, which is not installed") from None
    return plt.subplots()[1]


def _colors_of_slice(field: Any, index: int) -> np.ndarray:
    from . import _tevra
    if len(field.shape) == 2:
        return field.rgb()
    theta = np.ascontiguousarray(field.theta[index]).reshape(-1)
    phi = None if field.phi is None else np.ascontiguousarray(field.phi[index]).reshape(-1)
    return _tevra.colors_of(theta, phi).reshape(field.shape[1:] + (3,))


def _slice_of(field: Any, index: Optional[int]) -> int:
    depth = field.shape[0] if len(field.shape) == 3 else 1
    if index is None:
        return depth // 2
    if not 0 <= index < depth:
        raise ValueError(f"slice_index: is {index}, but must be 0 to {depth - 1}")
    return index


def plot_axes(field: Any, axis: Any, slice_index: Optional[int]) -> Any:
    index = _slice_of(field, slice_index)
    axis = _new_axes(axis)
    axis.imshow(_colors_of_slice(field, index), interpolation="nearest")
    axis.set_xlabel("x / px")
    axis.set_ylabel("y / px")
    axis.set_title(f"fiber axes, slice {index}" if len(field.shape) == 3 else "fiber axes")
    return axis


def plot_result(result: Any, axis: Any, slice_index: Optional[int]) -> Any:
    index = _slice_of(result, slice_index)
    if result._has_maps():
        axis = plot_axes(result, axis, index)
    else:
        axis = _new_axes(axis)
        axis.set_xlim(0, result.shape[-1])
        axis.set_ylim(result.shape[-2], 0)
        axis.set_aspect("equal")
    is_shown = np.ones(len(result), bool)
    if result.dim == 3:
        is_shown = (result.boxes[:, 2, 0] <= index) & (index < result.boxes[:, 2, 1])
    if is_shown.any():
        corners = result.boxes[is_shown, :2]
        centers = corners.mean(axis=2) - 0.5
        length = 0.4 * float((corners[:, :, 1] - corners[:, :, 0]).min())
        half = length * result.mean_directions[is_shown, :2]
        for (x, y), (dx, dy) in zip(centers, half):
            if np.isfinite(dx):
                axis.plot([x - dx, x + dx], [y - dy, y + dy], color="white", linewidth=2.5, zorder=2)
                axis.plot([x - dx, x + dx], [y - dy, y + dy], color="black", linewidth=1.2, zorder=3)
    return axis


def _png(pixels: np.ndarray) -> bytes:
    """RGB bytes as a PNG file."""
    def chunk(kind: bytes, content: bytes) -> bytes:
        return struct.pack(">I", len(content)) + kind + content + struct.pack(">I", zlib.crc32(kind + content))
    height, width, _ = pixels.shape
    rows = np.concatenate([np.zeros((height, 1), np.uint8), pixels.reshape(height, -1)], axis=1)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
            + chunk(b"IDAT", zlib.compress(rows.tobytes())) + chunk(b"IEND", b""))


def _row(name: str, value: Any) -> str:
    return f"<tr><th style='text-align:left'>{html.escape(name)}</th><td>{html.escape(str(value))}</td></tr>"


def _numbers(values: Any) -> str:
    return ", ".join(f"{value:.3g}" for value in np.ravel(values))


def result_html(result: Any) -> str:
    record = result.record
    unit = record["input"]["length_unit"] or ""
    radius = f"{record['parameters']['fiber_radius']:g} {unit}".strip()
    rows = [
        _row("image", " x ".join(map(str, reversed(result.shape))) + " px"),
        _row("estimator", record["parameters"]["estimator"]),
        _row("fiber radius", radius),
        _row("foreground", f"{100 * record['foreground']['share']:.3g} %"),
        _row("mean direction (x, y" + ", z)" * (result.dim == 3) + ")" * (result.dim == 2),
             _numbers(result.field.mean_direction)),
        _row("eigenvalues", _numbers(result.field.eigenvalues)),
        _row("anisotropy", f"{result.field.anisotropy:.3g}"),
    ]
    if result.field.confidence is not None:
        rows.append(_row("confidence", f"{result.field.confidence:.3g}"))
    rows += [_row("subfields", len(result)), _row("status", result.field.status)]
    picture = ""
    if result._has_maps():
        colors = _colors_of_slice(result, _slice_of(result, None))
        step = max(1, -(-max(colors.shape[:2]) // _LARGEST_PICTURE_PX))
        data = base64.b64encode(_png(np.ascontiguousarray(colors[::step, ::step]))).decode()
        picture = (f"<img alt='fiber axes by color' style='image-rendering:pixelated;max-width:256px' "
                   f"src='data:image/png;base64,{data}'>")
    return ("<div style='display:flex;gap:1.5em;align-items:flex-start'><table><caption>fiber orientation</caption>"
            + "".join(rows) + "</table>" + picture + "</div>")
