#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""The structure tensor with SciPy as it is commonly written, in double precision: gradients by derivatives of a
Gaussian of 1 pixel, their outer products smoothed with the given sigma, NumPy's `eigh` at the foreground, the axis
along which grey values change least. Foreground as all others have it."""

import peer
from peer import np

ndimage = peer.require("scipy.ndimage", "python3-scipy")

GRADIENT_SIGMA_PX = 1.0


def gradient(image, axis):
    order = [0, 0, 0]
    order[axis] = 1
    return ndimage.gaussian_filter(image, GRADIENT_SIGMA_PX, order=order, mode="nearest")


def compute(image, options):
    image = image.astype(np.float64)
    smoothed = ndimage.gaussian_filter(image, options.sigma, mode="nearest")
    foreground = smoothed > peer.threshold_of(smoothed, options.otsu_factor)
    del smoothed
    components = [gradient(image, axis) for axis in (2, 1, 0)]
    tensors = np.empty((np.count_nonzero(foreground), 3, 3))
    for i in range(3):
        for j in range(i, 3):
            product = ndimage.gaussian_filter(components[i] * components[j], options.sigma, mode="nearest")
            tensors[:, i, j] = tensors[:, j, i] = product[foreground]
    del components, product
    axes = np.linalg.eigh(tensors)[1][..., 0]
    theta, phi = peer.empty_maps(image.shape)
    theta[foreground], phi[foreground] = peer.angles_of(axes)
    return theta, phi


if __name__ == "__main__":
    peer.run(compute)
