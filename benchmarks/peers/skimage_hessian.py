#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""scikit-image's Hessian of the smoothed volume, and NumPy's eigenvectors at the foreground."""

import peer
from peer import np

filters = peer.require("skimage.filters", "python3-skimage")
feature = peer.require("skimage.feature", "python3-skimage")


def hessian_entries(image, sigma):
    """xx, xy, xz, yy, yz, zz. Versions differ in which axis the order 'rc' begins with, so a parabola along x is
    asked."""
    parabola = np.broadcast_to(0.01 * np.arange(7.0) ** 2, (7, 7, 7))
    starts_with_x = abs(feature.hessian_matrix(parabola, 0.5, mode="nearest", order="rc")[0][3, 3, 3]) > 0.01
    entries = feature.hessian_matrix(image, sigma, mode="nearest", order="rc")
    return entries if starts_with_x else entries[::-1]


def compute(image, options):
    smoothed = filters.gaussian(image, options.sigma, mode="nearest", preserve_range=True)
    foreground = smoothed > peer.threshold_of(smoothed, options.otsu_factor)
    del smoothed
    entries = hessian_entries(image, options.sigma)
    xx, xy, xz, yy, yz, zz = (entry[foreground] for entry in entries)
    del entries
    hessians = np.stack([xx, xy, xz, xy, yy, yz, xz, yz, zz], axis=-1).reshape(-1, 3, 3)
    values, vectors = np.linalg.eigh(hessians)
    smallest = np.abs(values).argmin(axis=1)
    axes = np.take_along_axis(vectors, smallest[:, np.newaxis, np.newaxis], axis=2)[..., 0]
    theta, phi = peer.empty_maps(image.shape)
    theta[foreground], phi[foreground] = peer.angles_of(axes)
    return theta, phi


if __name__ == "__main__":
    peer.run(compute)
