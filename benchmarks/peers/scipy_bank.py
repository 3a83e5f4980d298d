#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""A filter bank with SciPy: real transforms in single precision by as many workers as --threads says, masks by
NumPy."""

import peer
from peer import np

fft = peer.require("scipy.fft", "python3-scipy")

THRESHOLD_FACTOR = 1.05


def frequencies(extent):
    """Of an axis in the transform's own order, in [-1, 1)."""
    return (np.fft.fftfreq(extent, 1.0 / extent) / (extent // 2)).astype(np.float32)


def compute(image, options):
    directions = np.atleast_2d(np.loadtxt(options.directions))
    pad = int(2.0 * max(options.major, options.minor) + 0.5)
    padded = np.pad(image.astype(np.float32), pad)
    shape = padded.shape
    spectrum = fft.rfftn(padded, workers=options.threads, overwrite_x=True)
    del padded
    wz, wy, wx = np.ix_(*(frequencies(extent) for extent in shape))
    wx = np.abs(wx[..., :shape[2] // 2 + 1])  # the half spectrum ends at the positive of the highest frequency
    square = wx * wx + wy * wy + wz * wz
    square *= np.float32(-0.5 * options.minor**2)
    along = np.float32(-0.5 * (options.major**2 - options.minor**2))
    inside = tuple(slice(pad, pad + extent) for extent in image.shape)
    best = np.full(image.shape, -1.0, np.float32)
    index = np.zeros(image.shape, np.uint8)
    for number, (x, y, z) in enumerate(directions.astype(np.float32)):
        mask = wx * x + wy * y + wz * z
        mask *= mask
        mask *= along
        mask += square
        np.exp(mask, out=mask)
        response = fft.irfftn(spectrum * mask, shape, workers=options.threads, overwrite_x=True)[inside]
        larger = response > best
        index[larger] = number
        np.maximum(best, response, out=best)
    threshold = THRESHOLD_FACTOR * peer.otsu_bin(np.bincount(image.ravel(), minlength=256))
    theta, phi = (angles[index] for angles in peer.angles_of(directions))
    background = image < threshold
    theta[background], phi[background] = peer.MARKERS
    return theta, phi


if __name__ == "__main__":
    peer.run(compute)
