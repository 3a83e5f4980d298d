# SPDX-License-Identifier: BSD-3-Clause
"""The program around a comparison peer written in Python: command line, image, timing, memory, maps.

Peers get from a grey-value volume to the axis of every fiber voxel. All work once on a volume of 32 voxels along
each axis, which loads what is loaded late, then on the image, and print one line of JSON: the seconds from the
image in memory to angles in memory, by the clock and of all processors together, and in bytes the peak memory of
the process and by how much it exceeds what was in use when the run began."""

import argparse
import importlib
import json
import os
import sys
import time

MARKERS = (-1.0, -4.1415925)  # colatitude and longitude where there is no axis


def require(module, package):
    """Imports a module, or ends the program with a message that says what to install."""
    try:
        return importlib.import_module(module)
    except ImportError:
        sys.exit(f"{os.path.basename(sys.argv[0])}: needs the Python module {module}; on Debian: "
                 f"apt-get install {package} (and run it by /usr/bin/python3)")


def _limit_threads():
    """Before NumPy is loaded: its linear algebra uses as many threads as the command line says."""
    threads = "1"
    if "--threads" in sys.argv[:-1]:
        threads = sys.argv[sys.argv.index("--threads") + 1]
    for name in ("OMP_NUM_THREADS", "OPENBLAS_NUM_THREADS", "MKL_NUM_THREADS"):
        os.environ.setdefault(name, threads)


_limit_threads()
np = require("numpy", "python3-numpy")


def read_volume(path):
    """An 8-bit MetaImage volume without compression, as an array with axes z, y, x."""
    with open(path, "rb") as file:
        header = {}
        while header.get("ElementDataFile") is None:
            line = file.readline()
            if not line:
                sys.exit(f"'{path}' is not a MetaImage file")
            key, _, value = line.decode("ascii", "replace").partition("=")
            header[key.strip()] = value.strip()
        wanted = {"ElementType": "MET_UCHAR", "ElementDataFile": "LOCAL", "NDims": "3"}
        for key, value in wanted.items():
            if header.get(key) != value:
                sys.exit(f"'{path}' is not an uncompressed 8-bit volume in one file: {key} is not {value}")
        size = [int(extent) for extent in header["DimSize"].split()]
        return np.fromfile(file, np.uint8, size[0] * size[1] * size[2]).reshape(size[::-1])


def write_map(path, values):
    z, y, x = values.shape
    with open(path, "wb") as file:
        file.write(f"ObjectType = Image\nNDims = 3\nBinaryData = True\nBinaryDataByteOrderMSB = False\n"
                   f"DimSize = {x} {y} {z}\nElementType = MET_FLOAT\nElementDataFile = LOCAL\n".encode())
        np.ascontiguousarray(values, np.float32).tofile(file)


def otsu_bin(counts):
    """The bin that maximises the between-class variance; bins up to it form the lower class."""
    bins = np.arange(len(counts))
    below = np.cumsum(counts).astype(float)
    moment = np.cumsum(counts * bins).astype(float)
    total = below[-1]
    with np.errstate(divide="ignore", invalid="ignore"):
        variance = (below * moment[-1] - total * moment) ** 2 / (below * (total - below))
    return int(np.argmax(np.where((below < total) & (counts > 0), variance, -1.0)))


def threshold_of(smoothed, factor):
    """Otsu's threshold from 256 bins between the extremes, its position between them scaled."""
    least, largest = float(smoothed.min()), float(smoothed.max())
    counts = np.zeros(256, np.int64)
    for plane in smoothed:
        bins = np.minimum((plane - least) * (256.0 / (largest - least)), 255.0).astype(np.intp)
        counts += np.bincount(bins.ravel(), minlength=256)
    return otsu_bin(counts) / 256.0 * factor * (largest - least) + least


def angles_of(axes):
    """Colatitude and longitude of unit axes (..., 3), folded into the upper half-space."""
    axes = np.where(axes[..., 2:] < 0, -axes, axes)
    theta = np.arccos(np.clip(axes[..., 2], -1.0, 1.0))
    return theta.astype(np.float32), np.arctan2(axes[..., 1], axes[..., 0]).astype(np.float32)


def empty_maps(shape):
    return [np.full(shape, marker, np.float32) for marker in MARKERS]


def smallest_axes(xx, xy, xz, yy, yz, zz):
    """Unit eigenvectors of the smallest absolute eigenvalues of symmetric matrices, in closed form.

    Eigenvalues by the trigonometric formula, the vector as the longest cross product of two rows of
    A - lambda 1."""
    mean = (xx + yy + zz) / 3.0
    a, b, c = xx - mean, yy - mean, zz - mean
    p = np.sqrt((a * a + b * b + c * c + 2.0 * (xy * xy + xz * xz + yz * yz)) / 6.0)
    p = np.where(p > 0, p, 1.0)
    determinant = a * (b * c - yz * yz) - xy * (xy * c - yz * xz) + xz * (xy * yz - b * xz)
    angle = np.arccos(np.clip(determinant / (2.0 * p**3), -1.0, 1.0)) / 3.0
    roots = np.stack([mean + 2.0 * p * np.cos(angle + turn * 2.0 * np.pi / 3.0) for turn in (0, 1, 2)])
    root = np.take_along_axis(roots, np.abs(roots).argmin(axis=0)[np.newaxis], axis=0)[0]
    rows = ((xx - root, xy, xz), (xy, yy - root, yz), (xz, yz, zz - root))
    best = np.zeros((3, len(root)))
    longest = np.zeros(len(root))
    for first, second in ((0, 1), (0, 2), (1, 2)):
        (ax, ay, az), (bx, by, bz) = rows[first], rows[second]
        cross = np.stack([ay * bz - az * by, az * bx - ax * bz, ax * by - ay * bx])
        square = (cross * cross).sum(axis=0)
        longer = square > longest
        np.copyto(best, cross, where=longer)
        np.copyto(longest, square, where=longer)
    best[2, longest == 0] = longest[longest == 0] = 1.0
    return (best / np.sqrt(longest)).T


def _status_bytes(key):
    try:
        with open("/proc/self/status", encoding="ascii") as status:
            for line in status:
                if line.startswith(key):
                    return int(line.split()[1]) * 1024
    except OSError:
        pass
    return 0


def _reset_peak():
    try:
        with open("/proc/self/clear_refs", "w", encoding="ascii") as file:
            file.write("5")
    except OSError:
        pass


def _warm_up_volume():
    at = np.arange(32) - 16
    plane = 50 + np.maximum(0, 150 - 4 * (at[:, np.newaxis] ** 2 + at**2))
    return np.repeat(plane.astype(np.uint8)[:, :, np.newaxis], 32, axis=2)


def run(compute):
    """`compute(image, options)` returns colatitudes and longitudes; image has axes z, y, x."""
    parser = argparse.ArgumentParser()
    parser.add_argument("--input", required=True, help="8-bit volume, .mha")
    parser.add_argument("--output", help="write PREFIXtheta.mha and PREFIXphi.mha", metavar="PREFIX")
    parser.add_argument("--sigma", type=float, default=3.0, help="standard deviation in pixels (3)")
    parser.add_argument("--otsu-factor", type=float, default=1.25, help="factor on Otsu's threshold (1.25)")
    parser.add_argument("--threads", type=int, default=1)
    parser.add_argument("--runs", type=int, default=1, help="how often to work on the image (1)")
    parser.add_argument("--major", type=float, default=16.0, help="width of a bank's filters along (16)")
    parser.add_argument("--minor", type=float, default=6.0, help="and across their direction (6)")
    parser.add_argument("--directions", help="axes of a bank, three numbers per line")
    options = parser.parse_args()
    image = read_volume(options.input)
    compute(_warm_up_volume(), options)

    before = _status_bytes("VmRSS:")
    _reset_peak()
    seconds, cpu_seconds = [], []
    maps = None
    for _ in range(options.runs):
        maps = None  # of the last run
        start, cpu_start = time.perf_counter(), time.process_time()
        maps = compute(image, options)
        seconds.append(time.perf_counter() - start)
        cpu_seconds.append(time.process_time() - cpu_start)
    peak = _status_bytes("VmHWM:")
    if options.output:
        write_map(options.output + "theta.mha", maps[0])
        write_map(options.output + "phi.mha", maps[1])
    print(json.dumps({"seconds": seconds, "cpu_seconds": cpu_seconds, "planning_seconds": 0.0, "peak_bytes": peak,
                      "work_bytes": max(0, peak - before), "foreground": float((maps[0] >= 0).mean())}))
