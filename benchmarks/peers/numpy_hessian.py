#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""What a careful user writes with NumPy and SciPy: one Gaussian in single precision, differences and closed-form
eigenvectors of a few planes at a time, at the foreground only."""

import peer
from peer import np

ndimage = peer.require("scipy.ndimage", "python3-scipy")

PLANES = 8  # at a time: temporary arrays then fit the caches of a large processor


def entries_at(block, where):
    """The Hessian's entries xx, xy, xz, yy, yz, zz at the voxels `where` of the inside of a block, which has one
    voxel more on every side."""
    def shifted(z, y, x):
        depth, height, width = block.shape
        return block[1 + z:depth - 1 + z, 1 + y:height - 1 + y, 1 + x:width - 1 + x][where].astype(float)

    def first_twice(first, second):
        both = [tuple(s * a + t * b for a, b in zip(first, second)) for s, t in ((1, 1), (1, -1), (-1, 1), (-1, -1))]
        return 0.25 * (shifted(*both[0]) - shifted(*both[1]) - shifted(*both[2]) + shifted(*both[3]))

    x, y, z = (0, 0, 1), (0, 1, 0), (1, 0, 0)
    twice = 2.0 * shifted(0, 0, 0)

    def second(axis):
        return shifted(*axis) - twice + shifted(*(-a for a in axis))

    return second(x), first_twice(x, y), first_twice(x, z), second(y), first_twice(y, z), second(z)


def compute(image, options):
    smoothed = ndimage.gaussian_filter(image, options.sigma, output=np.float32, mode="nearest")
    threshold = peer.threshold_of(smoothed, options.otsu_factor)
    theta, phi = peer.empty_maps(image.shape)
    depth = image.shape[0]
    for first in range(0, depth, PLANES):
        last = min(first + PLANES, depth)
        planes = smoothed[np.clip(np.arange(first - 1, last + 1), 0, depth - 1)]
        block = np.pad(planes, ((0, 0), (1, 1), (1, 1)), mode="edge")
        where = smoothed[first:last] > threshold
        axes = peer.smallest_axes(*entries_at(block, where))
        theta[first:last][where], phi[first:last][where] = peer.angles_of(axes)
    return theta, phi


if __name__ == "__main__":
    peer.run(compute)
