# SPDX-License-Identifier: BSD-3-Clause
"""The field-by-field analysis, and the axes of pixels alone."""

from __future__ import annotations

import json
import os
import uuid
import warnings
from typing import Any, Dict, Iterator, List, Optional, Sequence, Tuple, Union

import numpy as np

from . import _arguments as check
from . import _tevra
from ._arguments import Length, Progress

Image = Any  # a NumPy array, anything with shape, dtype and slices, or a path
Sizes = Union[None, int, Sequence[int]]
Maps = Union[bool, str, "os.PathLike[str]"]

ESTIMATORS = tuple(_tevra.estimators())
"""Names of the estimators."""
EXPORTS = tuple(_tevra.exports())
"""Names of the files for other programs that `Result.save` can write, too."""


class ResultWarning(UserWarning):
    """Something makes one doubt a result: foregrounds that are tiny or huge, fibers that are not resolved, pixels
    without a value, a mean direction that means little, slices that a folder lacks, values that lose their contrast as
    32-bit floats. The record keeps them."""


class AxisField:
    """The fiber axis of every foreground pixel of an image; what `orientation` returns.

    An axis has no sign. Arrays have the image's shape, [z, y, x] or [y, x]; vectors have the order x, y[, z].

    Attributes
    ----------
    theta : float32, radians. 3D: colatitude from the z axis, [0, pi/2]. 2D: angle from the x axis towards y,
        [0, pi]. Negative where there is no axis.
    phi : float32, radians; 3D: longitude from x towards y, (-pi, pi], below -pi where there is no axis. 2D: None.
    confidence_map : float32, [0, 1]: how much the surroundings of a pixel agree on its axis; 0 where there is none.
        None for estimators that tell none (hessian).
    shape : of the image.
    dim : 2 or 3; an image of one slice is 2D.
    document : the result document as nested dicts, as in the command line's result.json.
    record : what the run worked on and with, as in run.json.
    """

    def __init__(self, analysis: _tevra.Analysis, maps: Dict[str, Optional[np.ndarray]], shape: Tuple[int, ...],
                 dim: int):
        self._analysis = analysis
        self._maps = maps
        self._document: Optional[Dict[str, Any]] = None
        self._record: Optional[Dict[str, Any]] = None
        self.shape = shape
        self.dim = dim

    def _has_maps(self) -> bool:
        return self._maps["theta"] is not None

    def _map(self, name: str) -> np.ndarray:
        if not self._has_maps():
            raise _tevra.Error("the analysis was asked for no maps; give maps=True")
        return self._maps[name]

    @property
    def theta(self) -> np.ndarray:
        return self._map("theta")

    @property
    def phi(self) -> Optional[np.ndarray]:
        return self._map("phi") if self._has_maps() else None

    @property
    def confidence_map(self) -> Optional[np.ndarray]:
        return self._map("confidence")

    @property
    def foreground(self) -> np.ndarray:
        """True where there is an axis; bool, the image's shape."""
        return self.theta >= 0

    @property
    def document(self) -> Dict[str, Any]:
        if self._document is None:
            self._document = json.loads(self._analysis.document_json())
        return self._document

    @property
    def record(self) -> Dict[str, Any]:
        if self._record is None:
            self._record = json.loads(self._analysis.record_json())
        return self._record

    def axes(self) -> np.ndarray:
        """Unit vectors: float32 of shape (z, y, x, 3) or (y, x, 2), components x, y[, z]; 0 where there is no axis.

        >>> field = tevra.orientation(image, 3)
        >>> field.axes().shape == image.shape + (3,)
        True
        """
        axes = _tevra.axes_of(_flat(self.theta), _flat(self.phi))
        return axes.reshape(self.shape + axes.shape[1:])

    def rgb(self) -> np.ndarray:
        """One color per axis: uint8 of the image's shape and 3; black where there is no axis.

        3D: red, green and blue are the absolute components along x, y and z. 2D: angles run around a circle of
        colors that eyes with red-green deficiency tell apart, too. The colors of reports and pictures.

        >>> tevra.orientation(image, 3).rgb().dtype
        dtype('uint8')
        """
        colors = _tevra.colors_of(_flat(self.theta), _flat(self.phi))
        return colors.reshape(self.shape + (3,))

    @staticmethod
    def colors_of_angles(angles: Any) -> np.ndarray:
        """The colors of 2D axes at angles from x towards y, radians: uint8 of the angles' shape and 3; for legends.

        >>> tevra.AxisField.colors_of_angles([0, np.pi]).tolist()[0] == tevra.AxisField.colors_of_angles(0).tolist()
        True
        """
        values = np.mod(np.asarray(angles, np.float64), np.pi).astype(np.float32)
        return _tevra.colors_of(np.ascontiguousarray(values).reshape(-1), None).reshape(values.shape + (3,))

    def distance(self, reference: Sequence[float]) -> np.ndarray:
        """The angle of every axis to a direction x, y, z; see `pointwise_distance`. 3D only.

        >>> bool(tevra.orientation(image, 3).distance((0, 0, 1)).max() <= 1.5708)
        True
        """
        from ._directions import pointwise_distance
        if self.dim == 2:
            raise ValueError("reference: distances are measured in 3D images only")
        return pointwise_distance(self.theta, self.phi, reference)

    def plot(self, axis: Any = None, *, slice_index: Optional[int] = None) -> Any:
        """Draws the axes in color with matplotlib: the image in 2D, a slice along z in 3D.

        Parameters
        ----------
        axis : matplotlib axes to draw into; None: new ones.
        slice_index : of the slice along z; None: the middle one.

        Returns the matplotlib axes.

        >>> axes = tevra.orientation(image, 3).plot()
        """
        from ._plots import plot_axes
        return plot_axes(self, axis, slice_index)

    def __repr__(self) -> str:
        return f"<tevra.{type(self).__name__} of {self.shape}: {self._foreground_text()}>"

    def _foreground_text(self) -> str:
        return f"{100 * self.record['foreground']['share']:.3g} % foreground"


class Result(AxisField):
    """What `analyze` has found: the whole field, subfields and, unless they were not wanted, maps.

    Besides what an `AxisField` has, with n subfields of an image of d dimensions; tensor components and vectors in
    the order x, y[, z]; NaN in subfields without foreground:

    Attributes
    ----------
    field : `Field` of the whole evaluated area.
    tensors : (n, d, d): orientation tensors, the mean outer products of the axes; trace 1.
    fourth_order_tensors : (n, d, d, d, d), or None unless asked for.
    eigenvalues : (n, d), of the tensors, largest first.
    mean_directions : (n, d): unit eigenvectors of the largest one; the sign means nothing.
    anisotropy : (n,): 1 - smallest / largest eigenvalue, [0, 1].
    confidence : (n,): mean confidence of the axes, [0, 1]; None for estimators that tell none.
    doubtful_fraction : (n,): share of axes with a confidence below 0.5, [0, 1]; None where that means nothing.
    difference : (n,): angle to the whole field's mean direction, radians, [0, pi/2].
    foreground_pixels, foreground_fraction : (n,).
    boxes : (n, d, 2), whole numbers: lower and upper corner in pixels along x, y[, z]; the upper one is exclusive.
    ids : n texts: the subfields' keys in the document, as in "(005,105)".
    table_ids : the same as in tables: "s005_105".
    status : n texts: "ok", or what is wrong with the values.
    """

    tensors: np.ndarray
    fourth_order_tensors: Optional[np.ndarray]
    eigenvalues: np.ndarray
    mean_directions: np.ndarray
    anisotropy: np.ndarray
    confidence: Optional[np.ndarray]
    doubtful_fraction: Optional[np.ndarray]
    difference: np.ndarray
    foreground_pixels: np.ndarray
    foreground_fraction: np.ndarray
    boxes: np.ndarray
    ids: List[str]
    table_ids: List[str]
    status: List[str]

    def __init__(self, analysis: _tevra.Analysis, maps: Dict[str, Optional[np.ndarray]], shape: Tuple[int, ...],
                 dim: int):
        super().__init__(analysis, maps, shape, dim)
        self._fields = analysis.subfields()
        self.field = Field(analysis.field())

    def __getattr__(self, name: str) -> Any:
        if name != "_fields" and name in self._fields:
            return self._fields[name]
        raise AttributeError(f"'{type(self).__name__}' object has no attribute '{name}'")

    def __dir__(self) -> List[str]:
        return sorted({*super().__dir__(), *self._fields})

    def __len__(self) -> int:
        """The number of subfields."""
        return len(self._fields["ids"])

    def slices(self, index: int) -> Tuple[slice, ...]:
        """Where subfield `index` lies in the image, for arrays in its order: `image[result.slices(0)]`.

        >>> result = tevra.analyze(image, 3, subfield=10)
        >>> image[result.slices(0)].shape
        (10, 10, 10)
        """
        corners = [slice(int(lower), int(upper)) for lower, upper in self.boxes[index]]
        return (0,) * (len(self.shape) - len(corners)) + tuple(reversed(corners))

    def to_dataframe(self) -> Any:
        """The subfields as a pandas DataFrame, one row each; columns as in subfields.csv. Needs pandas.

        >>> tevra.analyze(image, 3, subfield=10).to_dataframe().columns[0]
        'id'
        """
        try:
            import pandas
        except ImportError:
            raise ImportError("to_dataframe needs pandas, which is not installed") from None
        return pandas.DataFrame(dict(self._columns()))

    def _columns(self) -> Iterator[Tuple[str, Any]]:
        names = "xyz"[: self.dim]
        yield "id", self.table_ids
        for corner in (0, 1):
            for axis, name in enumerate(names):
                yield f"{name}{corner}_px", self.boxes[:, axis, corner]
        yield "foreground_pixels", self.foreground_pixels
        yield "foreground_fraction", self.foreground_fraction
        if self.confidence is not None:
            yield "mean_confidence", self.confidence
        if self.doubtful_fraction is not None:
            yield "doubtful_fraction", self.doubtful_fraction
        yield "status", self.status
        for i, first in enumerate(names):
            for j, second in enumerate(names[i:], i):
                yield f"a_{first}{second}", self.tensors[:, i, j]
        for axis in range(self.dim):
            yield f"lambda_{axis + 1}", self.eigenvalues[:, axis]
        for axis, name in enumerate(names):
            yield f"mean_{name}", self.mean_directions[:, axis]
        yield "anisotropy", self.anisotropy
        yield "difference_rad", self.difference

    def save(self, folder: Union[str, "os.PathLike[str]"], *, progress: Progress = None) -> None:
        """Writes the files that the command line writes: result.json, run.json, tables, report and, if the analysis
        has maps, angle maps. They appear together or not at all; results of an earlier run in it are replaced.

        Raises `Error` if that fails.

        >>> tevra.analyze(image, 3).save("results")
        >>> import json; "Field" in json.load(open("results/result.json"))
        True
        """
        maps = [np.ascontiguousarray(self._maps[name]) if self._maps[name] is not None else None
                for name in ("theta", "phi", "confidence")]
        self._analysis.save(check.path("folder", folder), *maps, check.progress(progress))

    def profile(self, axis: str) -> Dict[str, np.ndarray]:
        """Averages of the subfields slice by slice along "x", "y" or "z": a dict of arrays, one entry per slice.

        "slice_px": lower corner of the slice; "position": the same as a length; "tensors", "eigenvalues",
        "mean_directions", "anisotropy", "difference" as of subfields; "confidence": theirs on average, NaN where there is none.

        >>> sorted(tevra.analyze(image, 3, subfield=10).profile("x"))[:3]
        ['anisotropy', 'confidence', 'difference']
        """
        axes = "xyz"[: self.dim]
        check.choice("axis", axis, tuple(axes))
        return self._analysis.profile(axes.index(axis))

    def plot(self, axis: Any = None, *, slice_index: Optional[int] = None) -> Any:
        """Draws the axes in color, if there are maps, and the subfields' mean directions over them; else the
        subfields alone. Parameters as of `AxisField.plot`.

        >>> axes = tevra.analyze(image, 3, subfield=10).plot()
        """
        from ._plots import plot_result
        return plot_result(self, axis, slice_index)

    def __repr__(self) -> str:
        mean = ", ".join(f"{round(component, 3) + 0.0:.3f}" for component in self.field.mean_direction)
        return (f"<tevra.Result of {self.shape}: {len(self)} subfields, {self._foreground_text()}, "
                f"mean direction ({mean}), anisotropy {self.field.anisotropy:.3g}>")

    def _repr_html_(self) -> str:
        from ._plots import result_html
        return result_html(self)


class Field:
    """The whole evaluated area: attributes as of `Result`, without the first index: `tensor` (d, d),
    `fourth_order_tensor`, `eigenvalues`, `mean_direction`, `anisotropy`, `confidence`, `foreground_pixels`,
    `foreground_fraction`, `box`, `status`.
    """

    _NAMES = {"tensor": "tensors", "fourth_order_tensor": "fourth_order_tensors", "eigenvalues": "eigenvalues",
              "mean_direction": "mean_directions", "anisotropy": "anisotropy", "confidence": "confidence",
              "doubtful_fraction": "doubtful_fraction",
              "foreground_pixels": "foreground_pixels", "foreground_fraction": "foreground_fraction",
              "box": "boxes", "status": "status"}

    def __init__(self, fields: Dict[str, Any]):
        for name, column in self._NAMES.items():
            values = fields.get(column)
            value = None if values is None else values[0]
            setattr(self, name, value.item() if isinstance(value, np.generic) else value)

    def __repr__(self) -> str:
        return f"<tevra.Field: anisotropy {self.anisotropy:.3g}, status {self.status}>"


def _flat(values: Optional[np.ndarray]) -> Optional[np.ndarray]:
    return None if values is None else np.ascontiguousarray(values).reshape(-1)


def _name_of(image: Any, otherwise: str) -> str:
    return check.path(otherwise, image) if check.is_path(image) else otherwise


def _mask_of(mask: Any) -> Any:
    """Truth values are taken as bytes, without a copy."""
    if isinstance(mask, np.ndarray) and mask.dtype == np.bool_:
        return mask.view(np.uint8)
    return mask


def _new_maps(maps: Maps, shape: Tuple[int, ...], dim: int, with_confidence: bool,
              memory: int) -> Tuple[Dict[str, Optional[np.ndarray]], int]:
    """Arrays for the maps, and the memory that is left."""
    names = ["theta"] + ["phi"] * (dim == 3) + ["confidence"] * with_confidence
    arrays: Dict[str, Optional[np.ndarray]] = {"theta": None, "phi": None, "confidence": None}
    if isinstance(maps, (bool, np.bool_)):
        if maps:
            size = len(names) * 4 * int(np.prod(shape, dtype=np.int64))
            if 2 * size > memory:
                raise _tevra.Error(f"the maps take {size / 2**30:.3g} GB of the {memory / 2**30:.3g} GB that are "
                                   "allowed; give maps=False, a folder as maps, or more memory")
            memory -= size
            arrays.update((name, np.empty(shape, np.float32)) for name in names)
        return arrays, memory
    folder = check.path("maps", maps)
    if not os.path.isdir(folder):
        raise ValueError(f"maps: '{folder}' is no folder")
    try:
        for name in names:
            unfinished = os.path.join(folder, f".tevra-maps-{uuid.uuid4().hex}-{name}.npy")
            arrays[name] = np.lib.format.open_memmap(unfinished, "w+", np.float32, shape)
    except OSError as error:
        _drop(arrays)
        raise _tevra.Error(f"the maps cannot be written into '{folder}': {error.strerror}; free some space or give "
                           "another folder") from None
    return arrays, memory


def _drop(arrays: Dict[str, Optional[np.ndarray]]) -> None:
    """Removes the files of maps that are not finished."""
    for array in arrays.values():
        if isinstance(array, np.memmap) and os.path.exists(array.filename):
            os.remove(array.filename)


def _finished(arrays: Dict[str, Optional[np.ndarray]]) -> Dict[str, Optional[np.ndarray]]:
    """The maps, those in files under their own names: what was there before is replaced now, and not before."""
    finished = dict(arrays)
    for name, array in arrays.items():
        if isinstance(array, np.memmap):
            array.flush()
            place = os.path.join(os.path.dirname(array.filename), name + ".npy")
            os.replace(array.filename, place)
            finished[name] = np.load(place, mmap_mode="r+")
    return finished


def _exports(names: Any) -> List[str]:
    try:
        given = (names,) if isinstance(names, str) else tuple(names)
    except TypeError:
        raise TypeError(f"exports: {names!r} is no sequence of names; there are {', '.join(EXPORTS)}") from None
    return [check.choice("exports", name, EXPORTS) for name in given]


def _run(kind: type, image: Image, fiber_radius: Length, *, estimator: str, mask: Any, maps: Maps, raw: Optional[str],
         progress: Progress, subfield: Sizes = None, subfield_count: Sizes = None, spacing: Any = None,
         fourth_order: bool = False, along: Optional[Length] = None, gradient_sigma: Optional[Length] = None,
         window_sigma: Optional[Length] = None, border: Optional[Length] = None,
         otsu_factor: Optional[float] = None, threshold: Optional[float] = None, dark_fibers: bool = False,
         grey_window: Optional[Sequence[float]] = None, threads: Optional[int] = None, memory: Any = None,
         scratch: Any = None, exports: Sequence[str] = (), reference: Optional[Sequence[float]] = None,
         report: bool = False) -> Any:
    check.choice("estimator", estimator, ESTIMATORS)
    radius = check.length("fiber_radius", fiber_radius)
    check.progress(progress)
    if subfield is not None and subfield_count is not None:
        raise ValueError("subfield_count: excludes subfield; give the size of subfields or their number")
    if mask is not None and (otsu_factor is not None or threshold is not None):
        raise ValueError("mask: excludes otsu_factor and threshold; all say what is foreground")
    if otsu_factor is not None and threshold is not None:
        raise ValueError("threshold: excludes otsu_factor; both say what is foreground")
    if along is not None and estimator == "hessian":
        raise ValueError("along: goes with the estimators line-voting and structure-tensor only")
    for name, value in (("gradient_sigma", gradient_sigma), ("window_sigma", window_sigma)):
        if value is not None and estimator != "structure-tensor":
            raise ValueError(f"{name}: goes with the estimator structure-tensor only")

    reader = check.reader("image", image, raw)
    dim = len(reader.shape)
    mask_reader = None
    if mask is not None:
        mask_reader = check.reader("mask", _mask_of(mask))
        if mask_reader.shape != reader.shape:
            raise ValueError(f"mask: has shape {mask_reader.shape}, but the image has {reader.shape}")

    def sizes(name: str, value: Sizes) -> Optional[Tuple[int, int, int]]:
        if value is None:
            return None
        return (*check.per_axis(name, value, dim, check.whole), -1)[:3]

    distances = None
    units = set()
    if spacing is not None:
        given = check.per_axis("spacing", spacing, dim, check.length)
        units = {one[1] for one in given}
        if "px" in units:
            raise ValueError("spacing: pixels are no unit of their own distance; give another unit, or none")
        if len(units) > 1:
            raise ValueError("spacing: has several units; give one")
        distances = (*(one[0] for one in given), given[0][0])[:3]
    window_ends = None
    if grey_window is not None:
        window_ends = check.vector("grey_window", grey_window, (2,))
        if window_ends[0] >= window_ends[1]:
            raise ValueError("grey_window: has its lower grey value second")
    shape = tuple(int(extent) for extent in image.shape) if not check.is_path(image) else reader.shape
    settings = {
        "estimator": estimator,
        "fiber_radius": radius,
        "along": None if along is None else check.length("along", along, zero=True),
        "gradient_sigma": None if gradient_sigma is None else check.length("gradient_sigma", gradient_sigma),
        "window_sigma": None if window_sigma is None else check.length("window_sigma", window_sigma),
        "border": None if border is None else check.length("border", border, zero=True),
        "spacing": distances,
        "unit": units.pop() if units else "",
        "otsu_factor": None if otsu_factor is None else check.number("otsu_factor", otsu_factor, above=0.0),
        "threshold": None if threshold is None else check.number("threshold", threshold),
        "dark_fibers": check.flag("dark_fibers", dark_fibers),
        "subfield": sizes("subfield", subfield),
        "subfield_count": sizes("subfield_count", subfield_count),
        "fourth_order": check.flag("fourth_order", fourth_order),
        "window": window_ends,
        "threads": check.threads(threads),
        "memory": check.memory(memory),
        "report": check.flag("report", report),
        "exports": _exports(exports),
        "reference": None if reference is None else check.direction("reference", reference, dim),
        "scratch": None if scratch is None else check.path("scratch", scratch),
        "image_name": _name_of(image, "image"),
        "mask_name": None if mask is None else _name_of(mask, "mask"),
    }
    arrays, settings["memory"] = _new_maps(maps, shape, dim, estimator != "hessian", settings["memory"])
    try:
        analysis = _tevra.Analysis(reader, mask_reader, settings)
        analysis.run(*(arrays[name] for name in ("theta", "phi", "confidence")), progress)
        arrays = _finished(arrays)
    except BaseException:
        _drop(arrays)
        raise
    for text in analysis.warnings():
        warnings.warn(text, ResultWarning, stacklevel=3)
    return kind(analysis, arrays, shape, dim)


def analyze(image: Image, fiber_radius: Length, *, estimator: str = _tevra.DEFAULT_ESTIMATOR, subfield: Sizes = None,
            subfield_count: Sizes = None, mask: Any = None, spacing: Any = None, fourth_order: bool = False,
            along: Optional[Length] = None, gradient_sigma: Optional[Length] = None,
            window_sigma: Optional[Length] = None, border: Optional[Length] = None,
            otsu_factor: Optional[float] = None, threshold: Optional[float] = None, dark_fibers: bool = False,
            grey_window: Optional[Sequence[float]] = None, maps: Maps = True,
            reference: Optional[Sequence[float]] = None, report: bool = True, exports: Sequence[str] = (),
            raw: Optional[str] = None, threads: Optional[int] = None, memory: Union[None, int, str] = None,
            scratch: Any = None, progress: Progress = None) -> Result:
    """Measures fiber orientation field by field: what `tevra analyze` does on the command line.

    Images are indexed [z, y, x] or [y, x]. Everything with one number per axis (sizes, spacings, vectors, tensor
    components) has the order x, y, z.

    Parameters
    ----------
    image : array of uint8, uint16 or float32; or anything with `shape`, `dtype` and slices (numpy.memmap, an h5py
        dataset, a zarr array), which is read a few slices at a time; or the path of an image file (see `read`).
        C-contiguous arrays are taken without a copy. Byte order and gaps of other arrays are mended slice by slice.
    fiber_radius : in the unit of the spacing, in pixels without one; or a text with a unit, as in "2.5um" or "3px".
    estimator : "line-voting": holds in dense material; "structure-tensor": for fibers that are not resolved;
        "hessian": for separate fibers.
    subfield : size of subfields in pixels, one number or one per axis; None: the whole field only.
    subfield_count : number of subfields along all axes or per axis instead: they divide the whole evaluated area.
    mask : what is foreground: array of bool or of two values (0 is background), or path; of the image's shape.
    spacing : distance of pixels, one number or one per axis, or texts with a unit; None: that of the image file,
        if it states one, else lengths are in pixels.
    fourth_order : fourth-order tensors, too.
    along : tensors are averaged along the axis with this standard deviation (not of hessian); 0 for strongly curved
        fibers. None: the fiber radius; of structure-tensor 0.
    gradient_sigma, window_sigma : of structure-tensor: standard deviations of the Gaussian whose derivatives are the
        gradient, and of the one that gathers products of gradients. None: a third of the fiber radius, and the radius.
    border : length that is left out of results at every edge; None: what the estimator needs.
    otsu_factor : foreground is what is brighter in the smoothed image than this factor times Otsu's threshold.
    threshold : grey value in place of that.
    dark_fibers : fibers are darker than what is around them.
    grey_window : two grey values that become 0 and 255 of 8 bit; None: the image's own precision.
    maps : whether to keep the axis of every pixel, 4 bytes per pixel and map in memory; or a folder that they are
        written into as theta.npy, phi.npy and confidence.npy and mapped from; they appear when all is done.
    reference : direction x, y, in 3D x, y, z, that tables hold mean directions against, too.
    report : whether to keep what report.html shows, so that `Result.save` can write it.
    exports : names out of `EXPORTS`: files for other programs that `Result.save` is to write, too.
    raw : layout of an image file without header, see `read`.
    threads : None: all cores. Results do not depend on it.
    memory : most memory to use, in bytes or as in "1.5G", maps included, the image's own not. None: half of the
        machine's. Results do not depend on it.
    scratch : folder for a temporary file of smoothed slices if the memory does not suffice; None: that of the
        system's temporary files.
    progress : called a few times a second as progress(done, total, text). If it returns False, the analysis ends
        with `Cancelled`; Ctrl-C ends it, too. Exceptions pass through.

    Returns a `Result`.

    Raises `TypeError` and `ValueError` for wrong arguments, naming them; `Error` if the work cannot be done, for
    instance without foreground; `Cancelled`; what slicing the image raises. Warns with `ResultWarning`. Other
    threads run meanwhile.

    >>> phantom = tevra.phantom((32, 48, 64), 3, axis=(1, 0, 0))
    >>> result = tevra.analyze(phantom.image, 3, subfield=16)
    >>> result.tensors.shape[1:], bool(abs(result.field.mean_direction[0]) > 0.99)
    ((3, 3), True)
    """
    return _run(Result, image, fiber_radius, estimator=estimator, subfield=subfield, subfield_count=subfield_count,
                mask=mask, spacing=spacing, fourth_order=fourth_order, along=along,
                gradient_sigma=gradient_sigma, window_sigma=window_sigma, border=border, otsu_factor=otsu_factor,
                threshold=threshold, dark_fibers=dark_fibers, grey_window=grey_window, maps=maps, reference=reference,
                report=report, exports=exports, raw=raw, threads=threads, memory=memory, scratch=scratch,
                progress=progress)


def orientation(image: Image, fiber_radius: Length, *, estimator: str = _tevra.DEFAULT_ESTIMATOR, mask: Any = None,
                spacing: Any = None, along: Optional[Length] = None, gradient_sigma: Optional[Length] = None,
                window_sigma: Optional[Length] = None, otsu_factor: Optional[float] = None,
                threshold: Optional[float] = None, dark_fibers: bool = False,
                grey_window: Optional[Sequence[float]] = None, maps: Maps = True, raw: Optional[str] = None,
                threads: Optional[int] = None, memory: Union[None, int, str] = None, scratch: Any = None,
                progress: Progress = None) -> AxisField:
    """The fiber axis of every foreground pixel alone. Parameters, errors and numbers are those of `analyze`.

    Returns an `AxisField`.

    >>> phantom = tevra.phantom((48, 48), 2, axis=(1, 1))
    >>> field = tevra.orientation(phantom.image, 2)
    >>> field.theta.shape, field.axes().shape
    ((48, 48), (48, 48, 2))
    """
    return _run(AxisField, image, fiber_radius, estimator=estimator, mask=mask, spacing=spacing, along=along,
                gradient_sigma=gradient_sigma, window_sigma=window_sigma, otsu_factor=otsu_factor,
                threshold=threshold, dark_fibers=dark_fibers, grey_window=grey_window, maps=maps, raw=raw,
                threads=threads, memory=memory, scratch=scratch, progress=progress)
