# SPDX-License-Identifier: BSD-3-Clause
"""Checks of arguments: what is wrong is said with the argument's name."""

from __future__ import annotations

import math
import numbers
import os
from typing import Any, Callable, Optional, Sequence, Tuple, Union

from . import _tevra

Length = Union[float, str]
Progress = Optional[Callable[[int, int, str], Any]]

MOST_THREADS = 1024
LARGEST_WHOLE = 2**63 - 1
_BYTES = {"": 1, "K": 2**10, "M": 2**20, "G": 2**30, "T": 2**40}


def number(name: str, value: Any, *, above: Optional[float] = None, least: Optional[float] = None) -> float:
    """A finite number; not a truth value."""
    if isinstance(value, bool) or not isinstance(value, numbers.Real):
        raise TypeError(f"{name}: {value!r} is no number")
    try:
        result = float(value)
    except OverflowError:
        result = math.inf
    if not math.isfinite(result):
        raise ValueError(f"{name}: is {result}, but must be finite")
    if above is not None and result <= above:
        raise ValueError(f"{name}: is {result:g}, but must be greater than {above:g}")
    if least is not None and result < least:
        raise ValueError(f"{name}: is {result:g}, but must be {least:g} or more")
    return result


def whole(name: str, value: Any, *, least: int = 1, most: int = LARGEST_WHOLE) -> int:
    if isinstance(value, bool) or not isinstance(value, numbers.Integral):
        raise TypeError(f"{name}: {value!r} is no whole number")
    result = int(value)
    if not least <= result <= most:
        allowed = f"{least} or more" if result < least and most == LARGEST_WHOLE else f"{least} to {most}"
        raise ValueError(f"{name}: is {result}, but must be {allowed}")
    return result


def flag(name: str, value: Any) -> bool:
    if not isinstance(value, bool) and type(value).__name__ != "bool_":
        raise TypeError(f"{name}: {value!r} is neither True nor False")
    return bool(value)


def choice(name: str, value: Any, among: Sequence[str]) -> str:
    if not isinstance(value, str):
        raise TypeError(f"{name}: {value!r} is no name; there are {', '.join(among)}")
    if value not in among:
        raise ValueError(f"{name}: '{value}' is none of {', '.join(among)}")
    return value


def length(name: str, value: Any, *, zero: bool = False) -> Tuple[float, str]:
    """A length as a number, or with a unit as in "2.5um" or "3px"."""
    if isinstance(value, str):
        if zero and value.strip() == "0":
            return 0.0, ""
        parsed = _tevra.parse_length(value)
        if parsed is None:
            raise ValueError(f"{name}: '{value}' is no length greater than 0, as in 3 or '2.5um'")
        return parsed
    return number(name, value, least=0.0) if zero else number(name, value, above=0.0), ""


def vector(name: str, value: Any, sizes: Sequence[int]) -> Tuple[float, ...]:
    try:
        components = tuple(value)
    except TypeError:
        raise TypeError(f"{name}: {value!r} is no sequence of numbers") from None
    if len(components) not in sizes:
        raise ValueError(f"{name}: has {len(components)} numbers, but needs {' or '.join(map(str, sizes))}")
    return tuple(number(name, component) for component in components)


def direction(name: str, value: Any, dim: Optional[int] = None) -> Tuple[float, float, float]:
    """x, y, z; z is 0 where two are given. Not 0. Of an image of `dim` dimensions: x, y, z in 3D, in the plane in 2D."""
    x, y, *z = vector(name, value, (3,) if dim == 3 else (2, 3))
    result = (x, y, z[0] if z else 0.0)
    if dim == 2 and result[2] != 0:
        raise ValueError(f"{name}: leads out of the plane of a 2D image; give x, y")
    if not any(result):
        raise ValueError(f"{name}: is 0, which is no direction")
    return result


def per_axis(name: str, value: Any, dim: int, item: Callable[[str, Any], Any]) -> Tuple[Any, ...]:
    """One for all axes or one per axis, x first."""
    if isinstance(value, (numbers.Number, str)):
        return (item(name, value),) * dim
    try:
        items = tuple(value)
    except TypeError:
        raise TypeError(f"{name}: {value!r} is neither one number nor one per axis, x first") from None
    if len(items) != dim:
        raise ValueError(f"{name}: has {len(items)} numbers, but the image has {dim} axes; "
                         "give one for all axes or one per axis, x first")
    return tuple(item(name, one) for one in items)


def threads(value: Any) -> int:
    return _tevra.cores() if value is None else whole("threads", value, most=MOST_THREADS)


def memory(value: Any) -> int:
    """Bytes, or a text as in "1.5G"."""
    if value is None:
        return int(_tevra.default_memory())
    if isinstance(value, str):
        text = value.strip().upper().removesuffix("B").removesuffix("I")
        unit = text[-1:] if text[-1:].isalpha() else ""
        try:
            result = float(text.removesuffix(unit)) * _BYTES[unit]
        except (ValueError, KeyError):
            raise ValueError(f"memory: '{value}' is no size, as in 512M, 1.5G or a number of bytes") from None
        value = int(number("memory", result))
    return whole("memory", value)


def progress(value: Any) -> Progress:
    if value is not None and not callable(value):
        raise TypeError("progress: is not callable; give a function of (done, total, text)")
    return value


def path(name: str, value: Any) -> str:
    try:
        result = os.fspath(value)
    except TypeError:
        raise TypeError(f"{name}: {value!r} is no path") from None
    if isinstance(result, bytes):
        result = os.fsdecode(result)
    if not result:
        raise ValueError(f"{name}: is empty")
    if "\0" in result:
        raise ValueError(f"{name}: has a NUL character in it")
    return result


def is_path(value: Any) -> bool:
    return isinstance(value, (str, bytes, os.PathLike))


def reader(name: str, value: Any, raw: Optional[str] = None) -> _tevra.Reader:
    """An image for reading: a path or something with shape, dtype and slices."""
    if is_path(value):
        if raw is not None and not isinstance(raw, str):
            raise TypeError(f"raw: {raw!r} is no text, as in '128,128,64,u16'")
        return _tevra.open_image(path(name, value), raw)
    if raw is not None:
        raise ValueError("raw: goes with a path only; an array has its shape and dtype")
    return _tevra.reader_of(name, value)
