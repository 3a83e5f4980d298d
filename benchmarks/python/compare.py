# SPDX-License-Identifier: BSD-3-Clause
"""Compares `tevra` with the scikit-image and SciPy ways to the axis of every fiber pixel, on the same phantom in one run:
time, peak memory and error of the axes, each as a ratio to Tevra's.

usage: compare.py [SIZE ...] [--repeat N]     SIZE: of cubes, by default 128 256

Every way runs in a process of its own and hands back unit vectors at the fiber pixels; time is from the image in memory to
these, without the start of Python and its imports, the best of N (by default 3) in turns. Peak memory is what the process
takes at most beyond what it has before, image included in neither. Other ways take what one would write without further
thought: eigenvectors at fiber pixels only, in pieces, in 32-bit floats where the package keeps them.
"""

import argparse
import json
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import numpy as np

RADIUS = 3
PIECE = 1 << 18  # fiber pixels whose matrices are made at a time
WAYS = {
    "tevra line-voting": ("tevra", "line-voting"),
    "tevra structure-tensor": ("tevra", "structure-tensor"),
    "scikit-image structure tensor": ("skimage_structure_tensor", None),
    "SciPy structure tensor": ("scipy_structure_tensor", None),
    "tevra hessian": ("tevra", "hessian"),
    "scikit-image Hessian": ("skimage_hessian", None),
    "SciPy Hessian": ("scipy_hessian", None),
}
REFERENCES = {"structure tensor": "tevra structure-tensor", "Hessian": "tevra hessian"}


def tevra_way(image, fibers, estimator):
    import tevra
    field = tevra.orientation(image, RADIUS, estimator=estimator, mask=fibers)
    return field.axes()[fibers]


def eigenvectors(elements, fibers, choose):
    """Unit vectors x, y, z from volumes of the upper triangle z, y, x."""
    elements = [element[fibers] for element in elements]
    axes = np.empty((len(elements[0]), 3), np.float32)
    for start in range(0, len(axes), PIECE):
        part = slice(start, start + PIECE)
        zz, zy, zx, yy, yx, xx = (element[part] for element in elements)
        matrices = np.stack([np.stack([xx, yx, zx], -1), np.stack([yx, yy, zy], -1), np.stack([zx, zy, zz], -1)], -2)
        values, vectors = np.linalg.eigh(matrices)
        axes[part] = np.take_along_axis(vectors, choose(values)[:, None, None], axis=2)[:, :, 0]
    return axes


def smallest(values):
    return np.zeros(len(values), int)


def smallest_magnitude(values):
    return np.abs(values).argmin(axis=1)


def skimage_structure_tensor(image, fibers, _):
    from skimage.feature import structure_tensor
    from skimage.filters import gaussian
    smoothed = gaussian(image.astype(np.float32), 1.0, mode="nearest", preserve_range=True)
    return eigenvectors(structure_tensor(smoothed, sigma=RADIUS, mode="nearest", order="rc"), fibers, smallest)


def skimage_hessian(image, fibers, _):
    from skimage.feature import hessian_matrix

    def elements(grey):
        return hessian_matrix(grey, sigma=RADIUS, mode="nearest", order="rc")
    # Versions differ in whether the first element is that of the first or of the last axis.
    along_first_axis = elements(np.arange(16, dtype=np.float32)[:, None, None] ** 2 * np.ones((1, 16, 16), np.float32))
    is_last_first = np.abs(along_first_axis[0]).max() < np.abs(along_first_axis[-1]).max()
    found = elements(image.astype(np.float32))
    if is_last_first:
        found = [found[at] for at in (5, 4, 2, 3, 1, 0)]
    return eigenvectors(found, fibers, smallest_magnitude)


def scipy_structure_tensor(image, fibers, _):
    from scipy.ndimage import gaussian_filter
    grey = image.astype(np.float32)
    slopes = [gaussian_filter(grey, 1.0, order=[int(i == axis) for i in range(3)], mode="nearest") for axis in range(3)]
    elements = [gaussian_filter(slopes[i] * slopes[j], RADIUS, mode="nearest") for i in range(3) for j in range(i, 3)]
    return eigenvectors(elements, fibers, smallest)


def scipy_hessian(image, fibers, _):
    from scipy.ndimage import gaussian_filter
    grey = image.astype(np.float32)
    orders = [[(k == i) + (k == j) for k in range(3)] for i in range(3) for j in range(i, 3)]
    return eigenvectors([gaussian_filter(grey, RADIUS, order=order, mode="nearest") for order in orders], fibers,
                        smallest_magnitude)


def peak_bytes():
    for line in Path("/proc/self/status").read_text().splitlines():
        if line.startswith("VmHWM:"):
            return int(line.split()[1]) * 1024
    raise OSError("no VmHWM in /proc/self/status")


def run_one(folder, way):
    """In a process of its own: prints seconds, peak bytes and the errors' percentiles."""
    import scipy.ndimage  # noqa: F401  imports are not timed
    import skimage.feature  # noqa: F401
    import skimage.filters  # noqa: F401

    import tevra  # noqa: F401
    function, argument = WAYS[way]
    work = tevra_way if function == "tevra" else globals()[function]
    image, fibers, truth = (np.load(folder / f"{name}.npy") for name in ("image", "fibers", "truth"))
    work(np.ascontiguousarray(image[:32, :32, :32]), np.ascontiguousarray(fibers[:32, :32, :32]), argument)  # warms up
    Path("/proc/self/clear_refs").write_text("5")  # the peak begins anew
    before = peak_bytes()
    start = time.perf_counter()
    axes = work(image, fibers, argument)
    seconds = time.perf_counter() - start
    peak = peak_bytes() - before
    cosine = np.abs((axes * truth).sum(axis=1))
    errors = np.degrees(np.arccos(np.clip(cosine, 0, 1)))
    print(json.dumps([seconds, peak, float(np.median(errors)), float(errors.mean())]))


def make_phantom(size, folder):
    import tevra
    phantom = tevra.phantom((size,) * 3, RADIUS, beta=0.8, volume_fraction=0.15, noise=8, seed=1)
    fibers = phantom.theta >= 0
    for axis in range(3):  # estimators lack neighbours there
        for end in (slice(None, 2 * RADIUS), slice(-2 * RADIUS, None)):
            fibers[(slice(None),) * axis + (end,)] = False
    np.save(folder / "image.npy", phantom.image)
    np.save(folder / "fibers.npy", fibers)
    np.save(folder / "truth.npy", phantom.axes()[fibers])
    return fibers.mean()


def reference_of(way):
    return next((reference for name, reference in REFERENCES.items() if name in way), way)


def compare(size, repeat):
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        share = make_phantom(size, folder)
        print(f"{size}^3 voxels, fibers of radius {RADIUS} px, {100 * share:.1f} % of them looked at; best of {repeat}")
        best = {}
        for _ in range(repeat):
            for way in WAYS:
                run = subprocess.run([sys.executable, __file__, "--one", name, way], capture_output=True, text=True)
                if run.returncode != 0:
                    sys.exit(f"{way}: {run.stderr}")
                found = json.loads(run.stdout)
                best[way] = [min(old, new) for old, new in zip(best[way], found)] if way in best else found
    print(f"{'':32}{'time / s':>10}{'ratio':>7}{'peak / MB':>11}{'ratio':>7}{'median error / deg':>20}{'ratio':>7}{'mean':>8}")
    for way, (seconds, peak, median, mean) in best.items():
        ours = best[reference_of(way)]
        print(f"{way:32}{seconds:10.2f}{seconds / ours[0]:7.1f}{peak / 2**20:11.0f}{peak / ours[1]:7.1f}"
              f"{median:20.2f}{median / ours[2]:7.1f}{mean:8.2f}")
    print(flush=True)


def main():
    if sys.argv[1:2] == ["--one"]:
        run_one(Path(sys.argv[2]), sys.argv[3])
        return
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("sizes", metavar="SIZE", type=int, nargs="*", default=[128, 256])
    parser.add_argument("--repeat", type=int, default=3)
    arguments = parser.parse_args()
    for size in arguments.sizes:
        compare(size, arguments.repeat)


if __name__ == "__main__":
    main()
