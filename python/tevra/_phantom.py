# SPDX-License-Identifier: BSD-3-Clause
"""Synthetic fiber images whose directions are known."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Optional, Sequence, Tuple, Union

import numpy as np

from . import _arguments as check
from . import _tevra
from ._arguments import Progress

LAYOUTS = ("random", "bundles", "layers", "single", "grid")

# By words of the library's refusals; the first that fits.
_ARGUMENTS_OF_REFUSALS = (
    ("no room", "volume_fraction"), ("volume fraction", "volume_fraction"), ("distance of", "fiber_distance"),
    ("bundle", "bundle_radius"), ("hole", "hole"), ("wave", "wave"), ("blur", "blur"), ("grey", "grey"),
    ("noise", "noise"), ("spacing", "spacing"), ("beta", "beta"), ("layers lie", "shape"), ("layers need", "layer_angles"),
    ("fiber radius", "fiber_radius"), ("fiber diameter", "fiber_radius"), ("symmetry", "symmetry_axis"), ("axis", "axis"))


@dataclass(frozen=True)
class Phantom:
    """A synthetic image and its truth.

    Attributes
    ----------
    image : uint8, [z, y, x] or [y, x].
    theta, phi : float32, radians: angles of the fiber's axis at every fiber pixel, as of `AxisField`; phi is None in 2D.
    tensor : (d, d), components x, y[, z]: mean outer product of the axes over all fiber pixels; trace 1.
    fiber_axes : (number of fibers, d): unit vectors x, y[, z].
    volume_fraction : fiber pixels per pixel.
    """

    image: np.ndarray
    theta: np.ndarray
    phi: Optional[np.ndarray]
    tensor: np.ndarray
    fiber_axes: np.ndarray
    volume_fraction: float

    def axes(self) -> np.ndarray:
        """Unit vectors, float32 of the image's shape and d; 0 off fibers.

        >>> tevra.phantom((32, 32), 2).axes().shape
        (32, 32, 2)
        """
        phi = None if self.phi is None else self.phi.reshape(-1)
        axes = _tevra.axes_of(self.theta.reshape(-1), phi)
        return axes.reshape(self.image.shape + axes.shape[1:])


def phantom(shape: Sequence[int] = (128, 128, 128), fiber_radius: float = 4.0, *, layout: str = "random",
            volume_fraction: Optional[float] = None, overlap: bool = False, beta: Optional[float] = None,
            axis: Optional[Sequence[float]] = None, planar: bool = False,
            symmetry_axis: Optional[Sequence[float]] = None, fiber_distance: Optional[float] = None,
            bundle_radius: Optional[float] = None, layer_angles: Optional[Sequence[float]] = None,
            layer_rows: int = 4, wave: Optional[Tuple[float, float]] = None, hole: float = 0.0, blur: float = 0.0,
            grey: Tuple[float, float] = (50.0, 200.0), noise: float = 0.0,
            spacing: Union[float, Sequence[float]] = 1.0, seed: int = 1, progress: Progress = None) -> Phantom:
    """Makes a synthetic image of straight or curved fibers whose directions are known exactly.

    The same arguments give the same image everywhere. Vectors have the order x, y, z.

    Parameters
    ----------
    shape : [z, y, x] or [y, x].
    fiber_radius : half a pixel or more; as all lengths in the unit of `spacing`.
    layout : "random": anywhere; "bundles": bundles of parallel fibers; "layers": touching layers, one above the other;
        "single": one fiber through the centre; "grid": parallel fibers on a square grid. The last two need `axis`.
    volume_fraction : share of the image to fill, of layers share within a layer; None: 0.1, bundles 0.15, layers 0.5.
    overlap : with layout "random": fibers are placed without regard to each other; above a volume fraction of some 0.15
        the truth is ambiguous then.
    beta : directions scattered around the symmetry axis, below 1 gathered along it, above 1 across it (3D only);
        1e-6 to 1e6. None: 1, without preference; in 2D `planar`.
    axis : all fibers along this direction.
    planar : all directions across the symmetry axis alike.
    symmetry_axis : that `beta` and `planar` refer to; None: (0, 0, 1).
    fiber_distance : of neighbours on the grid.
    bundle_radius : None: 4 fiber radii.
    layer_angles : directions of the layers from x towards y, radians, in turn; None: (0, pi/2).
    layer_rows : rows of fibers per layer.
    wave : amplitude and length of the sinusoids that curved fibers are.
    hole : radius of the lumen of hollow fibers.
    blur : standard deviation of the imaging's Gaussian blur.
    grey : of background and fibers, 0 to 255.
    noise : standard deviation, in grey values.
    spacing : distance of pixels along all axes or per axis; of layouts with overlap, single and grid 1.
    seed : of all that is random, 0 or more.
    progress : see `analyze`.

    Returns a `Phantom`. Raises `TypeError` and `ValueError` for wrong arguments.

    >>> phantom = tevra.phantom((32, 48, 64), 3, axis=(1, 0, 0))
    >>> phantom.image.shape, phantom.tensor[0, 0].round(6)
    ((32, 48, 64), 1.0)
    """
    try:
        sizes = tuple(check.whole("shape", extent, most=100_000) for extent in shape)
    except TypeError as error:
        raise TypeError(str(error) if "shape" in str(error) else f"shape: {shape!r} is no sequence of extents") from None
    if len(sizes) not in (2, 3):
        raise ValueError(f"shape: has {len(sizes)} extents, but must be [z, y, x] or [y, x]")
    check.choice("layout", layout, LAYOUTS)
    if beta is not None and (axis is not None or planar):
        raise ValueError("beta: excludes axis and planar")
    if axis is not None and (planar or symmetry_axis is not None):
        raise ValueError("axis: excludes planar and symmetry_axis")
    if overlap and layout != "random":
        raise ValueError('overlap: goes with layout="random" only')
    if layout in ("single", "grid"):
        if axis is None:
            raise ValueError(f'axis: is needed by layout="{layout}"')
        if volume_fraction is not None:
            raise ValueError(f'volume_fraction: does not go with layout="{layout}"')
    for name, value, wanted in (("fiber_distance", fiber_distance, "grid"), ("bundle_radius", bundle_radius, "bundles"),
                                ("layer_angles", layer_angles, "layers")):
        if value is not None and layout != wanted:
            raise ValueError(f'{name}: goes with layout="{wanted}" only')
    if layout == "grid" and fiber_distance is None:
        raise ValueError('fiber_distance: is needed by layout="grid"')
    overlaps = overlap or layout in ("single", "grid")
    radius = check.number("fiber_radius", fiber_radius, above=0.0)
    distances = check.per_axis("spacing", spacing, len(sizes), lambda n, v: check.number(n, v, above=0.0))
    for name, value, default in (("wave", wave, None), ("hole", hole, 0.0), ("blur", blur, 0.0),
                                 ("spacing", distances, (1.0,) * len(sizes))):
        if overlaps and value != default:
            raise ValueError(f"{name}: goes with fibers that do not overlap only")
    fraction = {"bundles": 0.15, "layers": 0.5}.get(layout, 0.1) if volume_fraction is None else volume_fraction
    greys = check.vector("grey", grey, (2,))
    for value in greys:
        if not 0 <= value <= 255:
            raise ValueError(f"grey: has {value:g}, but must be 0 to 255")
    settings = {
        "size": list(reversed(sizes)),
        "fiber_radius": radius,
        "layout": layout,
        "volume_fraction": check.number("volume_fraction", fraction, above=0.0),
        "overlap": check.flag("overlap", overlap),
        "beta": None if beta is None else check.number("beta", beta, above=0.0),
        "axis": None if axis is None else check.direction("axis", axis),
        "planar": check.flag("planar", planar),
        "symmetry_axis": check.direction("symmetry_axis", (0, 0, 1) if symmetry_axis is None else symmetry_axis),
        "fiber_distance": None if fiber_distance is None else check.number("fiber_distance", fiber_distance, above=0.0),
        "bundle_radius": 4 * radius if bundle_radius is None else check.number("bundle_radius", bundle_radius, above=0.0),
        "layer_angles": [0.0, np.pi / 2] if layer_angles is None else
                        [check.number("layer_angles", angle) for angle in layer_angles],
        "layer_rows": check.whole("layer_rows", layer_rows),
        "wave": None if wave is None else check.vector("wave", wave, (2,)),
        "hole": check.number("hole", hole, least=0.0),
        "blur": check.number("blur", blur, least=0.0),
        "grey": greys,
        "noise": check.number("noise", noise, least=0.0),
        "spacing": (*distances, distances[0])[:3],
        "seed": check.whole("seed", seed, least=0, most=2**63 - 1),
    }
    try:
        return Phantom(**_tevra.phantom(settings, check.progress(progress)))
    except ValueError as error:
        text = str(error).removeprefix("Phantom: ")
        argument = next((name for clue, name in _ARGUMENTS_OF_REFUSALS if clue in text), "shape")
        raise ValueError(f"{argument}: {text}") from None
