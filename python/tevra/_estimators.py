# SPDX-License-Identifier: BSD-3-Clause
"""Estimators in memory: whole images, for those who want more than results."""

from __future__ import annotations

from typing import Any, Optional, Sequence, Tuple, Union

import numpy as np

from . import _arguments as check
from . import _tevra
from ._arguments import Progress

_RESOLUTIONS = ("coarse", "medium", "fine")


def _image(image: Any) -> _tevra.ArrayImage:
    return _tevra.ArrayImage("image", image)


def _mask(mask: Any, image: np.ndarray) -> Optional[_tevra.ArrayImage]:
    if mask is None:
        return None
    result = _tevra.ArrayImage("mask", mask, is_mask=True)
    if mask.shape != image.shape:
        raise ValueError(f"mask: has shape {mask.shape}, but the image has {image.shape}")
    return result


def _corners(box: Any, shape: Tuple[int, ...]) -> Tuple[Tuple[int, int, int], Tuple[int, int, int]]:
    """Lower and upper corner, x first."""
    dim = len(shape)
    if box is None:
        lower, upper = (0,) * dim, tuple(reversed(shape))
    else:
        try:
            lower, upper = (tuple(check.whole("box", v, least=0) for v in corner) for corner in box)
        except (TypeError, ValueError) as error:
            if str(error).startswith("box"):
                raise
            raise TypeError(f"box: {box!r} is no pair of corners (lower, upper), x first") from None
        if len(lower) != dim or len(upper) != dim:
            raise ValueError(f"box: needs corners of {dim} numbers, x first")
    return (*lower, 0)[:3], (*upper, 1)[:3]


def _spatial(shape: Tuple[int, ...]) -> Tuple[int, ...]:
    """Of the last result, without a z axis of one slice, which counts as none."""
    if not shape:
        raise _tevra.Error("there is no result yet; call compute first")
    return shape[1:] if len(shape) == 3 and shape[0] == 1 else shape


class _InMemory:
    """What the estimators in memory have in common."""

    _estimator: Any

    def __init__(self) -> None:
        self._shape: Tuple[int, ...] = ()

    @property
    def theta(self) -> np.ndarray:
        """float32, radians, read-only: as of `AxisField`. Lives on when another image is computed."""
        return self._estimator.maps()[0].reshape(self._shape)

    @property
    def phi(self) -> Optional[np.ndarray]:
        """float32, radians, read-only: as of `AxisField`; None in 2D."""
        phi = self._estimator.maps()[1]
        return None if phi is None else phi.reshape(self._shape)

    @property
    def threshold(self) -> float:
        """Grey value of the smoothed image that the foreground exceeds; 0 before a run without mask."""
        return self._estimator.threshold

    def axes(self) -> np.ndarray:
        """Unit vectors: float32 of shape (z, y, x, 3) or (y, x, 2), components x, y[, z]; 0 where there is no axis."""
        theta, phi = self._estimator.maps()
        axes = _tevra.axes_of(theta.reshape(-1), None if phi is None else phi.reshape(-1))
        return axes.reshape(self._shape + axes.shape[1:])

    def orientation_tensor(self, box: Any = None, *, normalize: bool = True) -> Tuple[np.ndarray, int]:
        """Mean outer product of the axes in a box.

        Parameters
        ----------
        box : lower and upper corner, whole numbers, each x, y[, z], the upper one exclusive; None: the whole image.
            The image's last column, row and plane are left out.
        normalize : divide the sum by the number of pixels.

        Returns the tensor (d, d), components x, y[, z], and the number of pixels.
        """
        lower, upper = _corners(box, _spatial(self._shape))
        return self._estimator.orientation_tensor(lower, upper, check.flag("normalize", normalize))


class HessianOrientations(_InMemory):
    """Fiber axes from the Hessian of the Gaussian-smoothed image, in memory.

    `analyze` with estimator="hessian" gives the same axes with less memory.

    Parameters
    ----------
    otsu_factor : factor on Otsu's threshold of the smoothed image, for images without a mask.

    >>> phantom = tevra.phantom((24, 32, 40), 3, axis=(1, 0, 0))
    >>> estimator = tevra.HessianOrientations().compute(phantom.image, 3)
    >>> tensor, pixels = estimator.orientation_tensor(((3, 3, 3), (37, 29, 21)))
    >>> bool(tensor[0, 0] > 0.9), estimator.theta.shape, estimator.axes().shape
    (True, (24, 32, 40), (24, 32, 40, 3))
    """

    def __init__(self, otsu_factor: float = _tevra.DEFAULT_OTSU_FACTOR):
        super().__init__()
        self._estimator = _tevra.Hessian(check.number("otsu_factor", otsu_factor, above=0.0))

    def compute(self, image: np.ndarray, sigma: float, *, mask: Optional[np.ndarray] = None, across: bool = False,
                threads: Optional[int] = None, progress: Progress = None) -> "HessianOrientations":
        """Finds the axis of every foreground pixel.

        Parameters
        ----------
        image : uint8, [z, y, x] or [y, x], C-contiguous; taken without a copy. Must not change meanwhile.
        sigma : standard deviation of the Gaussian, in pixels, as a rule the fiber radius.
        mask : bool or uint8 of the image's shape, C-contiguous; None: what is brighter than the threshold.
        across : the eigenvector of the largest absolute eigenvalue, across a tube, instead of that of the smallest.
        threads : None: all cores. The axes do not depend on it.
        progress : see `analyze`.

        Returns the estimator itself. Raises `TypeError`, `ValueError`, `Error`, `Cancelled`.

        >>> estimator = tevra.HessianOrientations().compute(tevra.phantom((32, 32), 2).image, 2)
        """
        pixels = _image(image)
        if image.dtype != np.uint8:
            raise TypeError(f"image: has dtype {image.dtype}, but uint8 is needed; analyze takes others, too")
        self._estimator.compute(pixels, check.number("sigma", sigma, above=0.0), _mask(mask, image),
                                check.flag("across", across), check.threads(threads), check.progress(progress))
        self._shape = image.shape
        return self


class _LocalTensors(_InMemory):
    @property
    def confidence(self) -> np.ndarray:
        """float32, read-only, [0, 1]: how sure every axis is; 0 where there is none."""
        return self._estimator.confidence().reshape(self._shape)


def _spacing(spacing: Any, image: np.ndarray) -> Optional[Tuple[float, float, float]]:
    if spacing is None:
        return None
    given = check.per_axis("spacing", spacing, len(_spatial(image.shape)), lambda n, v: check.number(n, v, above=0.0))
    return (*given, given[0])[:3]


def _length(name: str, value: Optional[float]) -> Optional[float]:
    return None if value is None else check.number(name, value, least=0.0)


class LineVoting(_LocalTensors):
    """Fiber axes by the votes of bright lines near by, in memory. Holds in dense material.

    `analyze` with estimator="line-voting" gives the same axes with less memory.

    Parameters
    ----------
    otsu_factor : factor on Otsu's threshold of the smoothed image, for images without a mask.

    >>> phantom = tevra.phantom((24, 32, 40), 3, axis=(1, 0, 0))
    >>> estimator = tevra.LineVoting().compute(phantom.image, 3)
    >>> estimator.theta.shape, bool(estimator.confidence.max() <= 1)
    ((24, 32, 40), True)
    """

    def __init__(self, otsu_factor: float = _tevra.LOCAL_TENSOR_OTSU_FACTOR):
        super().__init__()
        self._estimator = _tevra.LineVoting(check.number("otsu_factor", otsu_factor, above=0.0))

    def compute(self, image: np.ndarray, fiber_radius: float, *, mask: Optional[np.ndarray] = None,
                spacing: Union[None, float, Sequence[float]] = None, along: Optional[float] = None,
                dark_fibers: bool = False, threads: Optional[int] = None, progress: Progress = None) -> "LineVoting":
        """Finds the axis of every foreground pixel, and how sure it is.

        Parameters
        ----------
        image : uint8, uint16 or float32, [z, y, x] or [y, x], C-contiguous; taken without a copy. Must not change
            meanwhile.
        fiber_radius : in the unit of the spacing; 2 to 10 pixels are best.
        mask : bool or uint8 of the image's shape, C-contiguous; None: what is brighter than the threshold.
        spacing : distance of pixels, one number or one per axis in the order x, y[, z]; None: 1.
        along : votes are averaged along the fiber with this standard deviation; None: the fiber radius. 0 for
            strongly curved fibers.
        dark_fibers : fibers are darker than what is around them.
        threads, progress : see `analyze`.

        Returns the estimator itself. Raises `TypeError`, `ValueError`, `Error`, `Cancelled`.

        >>> estimator = tevra.LineVoting().compute(tevra.phantom((32, 32), 2).image, 2, along=0)
        """
        self._estimator.compute(_image(image), check.number("fiber_radius", fiber_radius, above=0.0),
                                _mask(mask, image), _spacing(spacing, image), _length("along", along),
                                check.flag("dark_fibers", dark_fibers), check.threads(threads),
                                check.progress(progress))
        self._shape = image.shape
        return self


class StructureTensor(_LocalTensors):
    """Fiber axes by the structure tensor, in memory: the direction in which grey values change least. For fibers that
    are not resolved.

    `analyze` with estimator="structure-tensor" gives the same axes with less memory.

    Parameters
    ----------
    otsu_factor : factor on Otsu's threshold of the smoothed image, for images without a mask.

    >>> phantom = tevra.phantom((24, 32, 40), 3, axis=(1, 0, 0))
    >>> tevra.StructureTensor().compute(phantom.image, 3).axes().shape
    (24, 32, 40, 3)
    """

    def __init__(self, otsu_factor: float = _tevra.LOCAL_TENSOR_OTSU_FACTOR):
        super().__init__()
        self._estimator = _tevra.StructureTensor(check.number("otsu_factor", otsu_factor, above=0.0))

    def compute(self, image: np.ndarray, fiber_radius: float, *, mask: Optional[np.ndarray] = None,
                spacing: Union[None, float, Sequence[float]] = None, gradient_sigma: Optional[float] = None,
                window_sigma: Optional[float] = None, along: float = 0.0, dark_fibers: bool = False,
                threads: Optional[int] = None, progress: Progress = None) -> "StructureTensor":
        """Finds the axis of every foreground pixel, and how sure it is.

        Parameters
        ----------
        image, fiber_radius, mask, spacing, dark_fibers, threads, progress : as of `LineVoting.compute`.
        gradient_sigma : standard deviation of the Gaussian whose derivatives are the gradient, in the unit of the
            spacing; None: a third of the fiber radius, but at least one pixel and 0.7 of the largest spacing.
        window_sigma : standard deviation of the Gaussian that gathers products of gradients; None: the fiber radius.
        along : tensors are averaged along the axis with this standard deviation; 0: they are not.

        Returns the estimator itself. Raises `TypeError`, `ValueError`, `Error`, `Cancelled`.

        >>> estimator = tevra.StructureTensor().compute(tevra.phantom((32, 32), 2).image, 2, window_sigma=3)
        """
        self._estimator.compute(_image(image), check.number("fiber_radius", fiber_radius, above=0.0),
                                _mask(mask, image), _spacing(spacing, image),
                                _length("gradient_sigma", gradient_sigma), _length("window_sigma", window_sigma),
                                check.number("along", along, least=0.0), check.flag("dark_fibers", dark_fibers),
                                check.threads(threads), check.progress(progress))
        self._shape = image.shape
        return self


class FilterOrientations:
    """Fiber axes by a bank of oriented Gaussian filters, in memory: a pixel gets the direction whose filter answers
    strongest.

    Parameters
    ----------
    major_width, minor_width : of the filters along and across their direction: pi times the standard deviation, pixels.

    >>> phantom = tevra.phantom((32, 32), 2, axis=(1, 0))
    >>> bank = tevra.FilterOrientations(12, 4).compute(phantom.image)
    >>> bank.directions.shape, bank.index.shape
    ((50, 2), (32, 32))
    """

    def __init__(self, major_width: float, minor_width: float):
        self._estimator = _tevra.FilterBank(check.number("major_width", major_width, above=0.0),
                                            check.number("minor_width", minor_width, above=0.0))
        self._shape: Tuple[int, ...] = ()
        self._resolution = 1

    def compute(self, image: np.ndarray, *, resolution: str = "medium", mask: Optional[np.ndarray] = None,
                threads: Optional[int] = None, progress: Progress = None) -> "FilterOrientations":
        """Finds the direction of every foreground pixel.

        Parameters
        ----------
        image : uint8, uint16 or float32, [z, y, x] or [y, x], C-contiguous; taken without a copy. Beyond its border
            it counts as 0: subtract the background of images that have one.
        resolution : "coarse", "medium" or "fine": 18, 50 or 98 directions.
        mask : bool or uint8 of the image's shape; None: what is brighter than a threshold.
        threads : None: all cores.
        progress : see `analyze`.

        Returns the estimator itself. Raises `TypeError`, `ValueError`, `Error`, `Cancelled`.

        >>> bank = tevra.FilterOrientations(12, 4).compute(tevra.phantom((32, 32), 2).image, resolution="coarse")
        """
        number = _RESOLUTIONS.index(check.choice("resolution", resolution, _RESOLUTIONS))
        pixels = _image(image)
        self._estimator.compute(pixels, number, _mask(mask, image), check.threads(threads), check.progress(progress))
        self._shape = image.shape
        self._resolution = number
        return self

    def orientations(self) -> Tuple[np.ndarray, Optional[np.ndarray]]:
        """theta and phi, float32, radians, of the image's shape; -1 at pixels that are excluded. phi is None in 2D.

        >>> theta, phi = tevra.FilterOrientations(12, 4).compute(tevra.phantom((32, 32), 2).image).orientations()
        """
        theta, phi = self._estimator.orientations()
        return theta.reshape(self._shape), None if phi is None else phi.reshape(self._shape)

    @property
    def best_response(self) -> np.ndarray:
        """The strongest answer of every pixel, float32; -1 where none exceeded -1.

        >>> tevra.FilterOrientations(12, 4).compute(tevra.phantom((32, 32), 2).image).best_response.dtype
        dtype('float32')
        """
        return self._estimator.best_response().reshape(self._shape)

    @property
    def index(self) -> np.ndarray:
        """The number of every pixel's direction, uint8; 255 at pixels that are excluded.

        >>> int(tevra.FilterOrientations(12, 4).compute(tevra.phantom((32, 32), 2).image).index.max())
        255
        """
        return self._estimator.index().reshape(self._shape)

    @property
    def directions(self) -> np.ndarray:
        """The directions of the last run, (n, d), components x, y[, z]: what `index` counts.

        >>> tevra.FilterOrientations(12, 4).compute(tevra.phantom((32, 32), 2).image).directions[0]
        array([1., 0.])
        """
        return _tevra.filter_directions(self._resolution, len(_spatial(self._shape)))

    def orientation_tensor(self, box: Any = None) -> Tuple[np.ndarray, int]:
        """Mean outer product of the directions in a box; parameters and results as of `HessianOrientations`.

        >>> tensor, n = tevra.FilterOrientations(12, 4).compute(tevra.phantom((32, 32), 2).image).orientation_tensor()
        """
        return self._estimator.orientation_tensor(*_corners(box, _spatial(self._shape)))
