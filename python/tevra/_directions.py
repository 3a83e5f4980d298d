# SPDX-License-Identifier: BSD-3-Clause
"""Distances of directions, and how they are distributed."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any, Optional, Sequence, Tuple, Union

import numpy as np

from . import _arguments as check
from . import _tevra


def _float_map(name: str, values: Any) -> _tevra.ArrayImage:
    if isinstance(values, np.ndarray) and values.dtype != np.float32:
        raise TypeError(f"{name}: has dtype {values.dtype}, but float32 is needed, as of maps; convert it by "
                        f"{name}.astype(numpy.float32)")
    return _tevra.ArrayImage(name, values)


def _require_two_maps(theta: np.ndarray, phi: np.ndarray) -> None:
    """One map in both places would give an axis to every pixel all the same. A single direction may have equal angles."""
    if theta.size > 1 and np.any(theta > 0) and np.array_equal(theta, phi):
        raise ValueError("phi: holds the same angles as theta; give colatitudes and longitudes")


def pointwise_distance(theta: np.ndarray, phi: np.ndarray, reference: Sequence[float]) -> np.ndarray:
    """The angle of every axis of 3D maps to a reference direction; a direction and its opposite are the same.

    Parameters
    ----------
    theta, phi : [z, y, x], float32, C-contiguous, radians: colatitude, negative where there is no axis, and longitude.
    reference : x, y, z; its length does not matter.

    Returns float32 of the same shape: radians, [0, pi/2]; -1 where there is no axis. Raises `TypeError`, `ValueError`, also
    for one map in both places, and `Error` for angles that are no radians.

    >>> theta = np.full((2, 2, 2), np.pi / 2, np.float32)
    >>> phi = np.zeros((2, 2, 2), np.float32)
    >>> tevra.pointwise_distance(theta, phi, (1, 1, 0))[0, 0].round(4)
    array([0.7854, 0.7854], dtype=float32)
    """
    direction = check.vector("reference", reference, (3,))
    maps = [_float_map("theta", theta), _float_map("phi", phi)]
    if theta.ndim != 3 or theta.shape[0] == 1:
        raise ValueError(f"theta: has shape {theta.shape}, but maps of 3D images are needed")
    if phi.shape != theta.shape:
        raise ValueError(f"phi: has shape {phi.shape}, but theta has {theta.shape}")
    _require_two_maps(theta, phi)
    return _tevra.pointwise_distance(*maps, direction)


@dataclass(frozen=True)
class BetaEstimate:
    """What `estimate_beta` has found.

    Attributes
    ----------
    beta : 1 for directions without preference, below 1 gathered along the axis, above 1 across it; 0 or infinity at a
        limit.
    axis : x, y, z of the symmetry axis; None if angles were measured from it.
    type : "girdle", "cluster" or "intermediate".
    eigenvalues : of the mean outer product of the directions, largest first.
    sample_size : number of directions.
    log_likelihood : natural, less that of beta = 1.
    limit : "none", or "along" (beta 0) or "across" (infinity): where so many directions lie that there is no maximum.
    evidence : "clear", "weak", "none" or "unknown": how much the sample tells of its axis; None if it was given.
    other_axis, other_beta : of the principal axis that was not taken; None if the axis was given.
    """

    beta: float
    type: str
    axis: Optional[Tuple[float, float, float]]
    eigenvalues: Tuple[float, float, float]
    sample_size: int
    log_likelihood: float
    limit: str
    evidence: Optional[str]
    other_axis: Optional[Tuple[float, float, float]]
    other_beta: Optional[float]


def estimate_beta(theta: Any, phi: Any, *, axis: Union[None, str, Sequence[float]] = None,
                  type: Optional[str] = None) -> BetaEstimate:
    """The anisotropy parameter beta of a distribution of directions in space, by maximum likelihood.

    The density of the angle t from the symmetry axis is proportional to
    beta sin(t) (1 + (beta^2 - 1) cos^2(t))^(-3/2).

    Parameters
    ----------
    theta, phi : arrays of one shape, any: colatitudes from z and longitudes from x towards y, radians; maps or samples.
        Converted to float64. Directions with a negative theta do not count, as in maps.
    axis : symmetry axis as x, y, z; "angles": theta is measured from it already; None: the principal axis whose
        eigenvalue stands apart.
    type : "girdle", "cluster" or "intermediate"; None: found from the sample. With `axis` None a cluster is measured
        from the axis of the largest eigenvalue, a girdle from that of the smallest.

    Returns a `BetaEstimate`. Raises `ValueError` for a sample without directions and for the same angles in both places,
    `Error` for angles that are no radians.

    >>> phantom = tevra.phantom((64, 64, 64), 3, beta=0.2, overlap=True, seed=2)
    >>> bool(tevra.estimate_beta(phantom.theta, phantom.phi).beta < 0.5)
    True
    """
    angles = []
    for name, values in (("theta", theta), ("phi", phi)):
        try:
            angles.append(np.ascontiguousarray(values, dtype=np.float64))
        except (TypeError, ValueError):
            raise TypeError(f"{name}: is no array of numbers") from None
    if angles[0].shape != angles[1].shape:
        raise ValueError(f"phi: has shape {angles[1].shape}, but theta has {angles[0].shape}")
    _require_two_maps(*angles)
    if type is not None:
        check.choice("type", type, _tevra.distribution_types())
    of_angles = isinstance(axis, str)
    if of_angles:
        check.choice("axis", axis, ("angles",))
    direction = None if axis is None or of_angles else check.vector("axis", axis, (3,))
    values = _tevra.estimate_beta(angles[0], angles[1], type, direction, of_angles)
    for name in ("axis", "eigenvalues", "other_axis"):
        values[name] = None if values[name] is None else tuple(values[name])
    return BetaEstimate(**values)
