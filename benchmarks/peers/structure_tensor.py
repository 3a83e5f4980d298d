#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""The structure tensor in single precision with SciPy: gradients by derivatives of a narrow Gaussian, their outer
products smoothed with the given sigma, the axis along which grey values change least. Another method than the
Hessian's: shown for its error. Foreground as all others have it."""

import peer
from peer import np

ndimage = peer.require("scipy.ndimage", "python3-scipy")

GRADIENT_SIGMA_PX = 1.0


def gradient(image, axis):
    order = [0, 0, 0]
    order[axis] = 1
    return ndimage.gaussian_filter(image, GRADIENT_SIGMA_PX, order=order, output=np.float32, mode="nearest")


def compute(image, options):
    smoothed = ndimage.gaussian_filter(image, options.sigma, output=np.float32, mode="nearest")
    foreground = smoothed > peer.threshold_of(smoothed, options.otsu_factor)
    del smoothed
    z, y, x = (gradient(image, axis) for axis in range(3))
    entries = []
    for first, second in ((x, x), (x, y), (x, z), (y, y), (y, z), (z, z)):
        product = ndimage.gaussian_filter(first * second, options.sigma, mode="nearest")
        entries.append(product[foreground])
    del x, y, z, product
    axes = peer.smallest_axes(*entries)
    theta, phi = peer.empty_maps(image.shape)
    theta[foreground], phi[foreground] = peer.angles_of(axes)
    return theta, phi


if __name__ == "__main__":
    peer.run(compute)
