# SPDX-License-Identifier: BSD-3-Clause
"""What orientation tensors tell."""

from __future__ import annotations

from typing import Any, Tuple

import numpy as np

from . import _tevra


def _evaluated(tensor: Any) -> Tuple[Tuple[int, ...], Tuple[np.ndarray, ...]]:
    try:
        tensors = np.asarray(tensor, dtype=np.float64)
    except (TypeError, ValueError):
        raise TypeError("tensor: is no array of numbers") from None
    if tensors.ndim < 2 or tensors.shape[-1] != tensors.shape[-2] or tensors.shape[-1] not in (2, 3):
        raise ValueError(f"tensor: has shape {tensors.shape}, but (..., 2, 2) or (..., 3, 3) is needed")
    flat = np.ascontiguousarray(tensors.reshape((-1,) + tensors.shape[-2:]))
    return tensors.shape[:-2], _tevra.evaluate_tensors(flat)


def eigenvalues(tensor: Any) -> np.ndarray:
    """Eigenvalues of symmetric tensors, largest first.

    Parameters
    ----------
    tensor : array (..., d, d), d = 2 or 3, components in the order x, y[, z]; symmetric. An orientation tensor has
        no negative eigenvalue; of other tensors absolute values are given.

    Returns an array (..., d) of float64; NaN where a component is NaN. Raises `TypeError`, `ValueError`.

    >>> tevra.eigenvalues([[0.25, 0], [0, 0.75]])
    array([0.75, 0.25])
    """
    shape, (values, _, _, _) = _evaluated(tensor)
    return values.reshape(shape + values.shape[1:])


def mean_orientation(tensor: Any) -> np.ndarray:
    """Unit eigenvectors of the largest eigenvalues, components x, y[, z]. An axis has no sign: the largest component
    is positive.

    Parameters as of `eigenvalues`. Returns an array (..., d) of float64; NaN where a component is NaN.

    >>> tevra.mean_orientation(np.diag([0.1, 0.7, 0.2]))
    array([0., 1., 0.])
    """
    shape, (_, directions, _, _) = _evaluated(tensor)
    return directions.reshape(shape + directions.shape[1:])


def orientation_parameters(tensor: Any) -> Tuple[np.ndarray, np.ndarray]:
    """Shape and strength of distributions of directions, from the eigenvalues l1 >= l2 >= l3 of their tensors.

    Shape is ln(l1 / l2) / ln(l2 / l3), above 1 for clusters and below for girdles; strength is ln(l1 / l3)
    (N. H. Woodcock, Geological Society of America Bulletin 88, 1231-1236, 1977). Equal or zero eigenvalues give
    infinities or NaN.

    Parameters
    ----------
    tensor : array (..., 3, 3), symmetric, in the order x, y, z.

    Returns two arrays (...) of float64. Raises `TypeError`, `ValueError`.

    >>> shape, strength = tevra.orientation_parameters(np.diag(np.exp([3.0, 1.0, 0.0]) / 100))
    >>> round(float(shape), 6), round(float(strength), 6)
    (2.0, 3.0)
    """
    outer, (values, _, shape, strength) = _evaluated(tensor)
    if values.shape[1] != 3:
        raise ValueError("tensor: is 2 x 2, but shape and strength are of 3 x 3 tensors")
    return shape.reshape(outer), strength.reshape(outer)


class TensorRank4(_tevra.TensorRank4):
    """A fourth-order tensor of d = 2 or 3 dimensions, components in the order x, y[, z]; zero at first.

    Parameters
    ----------
    dim : 2 or 3.

    `array` is a (d, d, d, d) NumPy view of its numbers, not a copy: what is written into the one is in the other, and
    the view keeps the tensor alive. NumPy functions take the tensor itself.

    >>> mean = tevra.TensorRank4(3)
    >>> axis = np.array([0.6, 0.8, 0.0])
    >>> mean.array[...] = np.einsum("i,j,k,l", axis, axis, axis, axis)
    >>> bool(np.isclose(np.einsum("iijj", mean), 1))
    True
    """

    def __init__(self, dim: int):
        from . import _arguments as check
        super().__init__(check.whole("dim", dim, least=2, most=3))

    def __array__(self, dtype: Any = None, copy: Any = None) -> np.ndarray:
        if dtype is None or np.dtype(dtype) == self.array.dtype:
            return self.array.copy() if copy else self.array
        if copy is False:
            raise ValueError(f"dtype: {dtype} needs a copy of the numbers, which are float64")
        return self.array.astype(dtype)

    def contract(self) -> np.ndarray:
        """The sum over the last two indices being equal, (d, d): of an orientation tensor that of second order.

        >>> tevra.TensorRank4(2).contract()
        array([[0., 0.],
               [0., 0.]])
        """
        return np.einsum("ijkk->ij", self.array)

    def __repr__(self) -> str:
        return f"<tevra.TensorRank4 of {self.dim} dimensions>"
