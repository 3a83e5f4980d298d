# SPDX-License-Identifier: BSD-3-Clause
"""Image files."""

from __future__ import annotations

import os
from dataclasses import dataclass
from typing import Optional, Sequence, Tuple, Union

import numpy as np

from . import _arguments as check
from . import _tevra
from ._arguments import Progress

Path = Union[str, "os.PathLike[str]"]


@dataclass(frozen=True)
class ImageInfo:
    """What an image file holds.

    `shape` is [z, y, x] or [y, x], as of the array that `read` gives, `dtype` its type. `spacing` is the distance
    of pixels along x, y and z (in this order), or None if the file states none; `unit` is "mm", "um" or "".
    """

    format: str
    shape: Tuple[int, ...]
    dtype: np.dtype
    stored_type: str
    spacing: Optional[Tuple[float, ...]]
    unit: str


def info(path: Path, *, raw: Optional[str] = None) -> ImageInfo:
    """What an image file holds, from its header.

    Parameters as of `read`. Raises `Error` if there is no such file or it is not an image.

    >>> import numpy as np, tevra
    >>> tevra.write("scan.mha", np.zeros((4, 5, 6), np.uint16), spacing=0.5, unit="um")
    >>> tevra.info("scan.mha").shape, tevra.info("scan.mha").spacing
    ((4, 5, 6), (0.5, 0.5, 0.5))
    """
    reader = check.reader("path", check.path("path", path), raw)
    return ImageInfo(reader.format, reader.shape, reader.dtype, reader.stored_type, reader.spacing, reader.unit)


def read(path: Path, *, raw: Optional[str] = None, progress: Progress = None) -> np.ndarray:
    """An image file as an array: [z, y, x] or [y, x], uint8, uint16 or float32.

    Read are TIFF and BigTIFF stacks, folders of TIFF or PNG slices, PNG, MetaImage, NRRD, NIfTI, HDF5
    ("file.h5:/dataset"), NumPy's .npy and, with `raw`, files without header. Other pixel types become float32.
    To analyse an image that is larger than the memory give its path to `analyze` instead.

    Parameters
    ----------
    path : file or folder.
    raw : layout of a file without header: sizes along x, y and z and a pixel type, as in "128,128,64,u16".
    progress : called as progress(done, total, text); the reading stops if it returns False.

    Raises `Error` if the file cannot be read.

    >>> import numpy as np, tevra
    >>> tevra.write("scan.tif", np.arange(24, dtype=np.uint8).reshape(2, 3, 4))
    >>> tevra.read("scan.tif")[1, 0]
    array([12, 13, 14, 15], dtype=uint8)
    """
    return check.reader("path", check.path("path", path), raw).read(check.progress(progress))


def write(path: Path, image: np.ndarray, *, spacing: Union[None, float, Sequence[float]] = None, unit: str = "",
          progress: Progress = None) -> None:
    """Writes an array as an image file: MetaImage (.mha) or TIFF (.tif, .tiff), by the ending.

    The file appears whole or not at all.

    Parameters
    ----------
    path : file to write.
    image : [z, y, x] or [y, x], C-contiguous, uint8, uint16 or float32.
    spacing : distance of pixels, one number or one per axis in the order x, y, z; None: not stated. TIFF can
        state one with a unit only.
    unit : "mm", "um" or "".
    progress : see `read`.

    Raises `TypeError` for other arrays, `ValueError` for another ending, `Error` if the file cannot be written.

    >>> import numpy as np, tevra
    >>> tevra.write("map.mha", np.zeros((8, 8), np.float32), spacing=(2, 3), unit="mm")
    >>> tevra.info("map.mha").spacing
    (2.0, 3.0)
    """
    name = check.path("path", path)
    check.choice("unit", unit, ("", "mm", "um"))
    pixels = _tevra.ArrayImage("image", image)
    distances = None
    if spacing is not None:
        given = check.per_axis("spacing", spacing, image.ndim, lambda n, v: check.number(n, v, above=0.0))
        distances = (*given, 1.0)[:3]
    _tevra.write(name, pixels, distances, unit, check.progress(progress))
