# SPDX-License-Identifier: BSD-3-Clause
"""Compares the estimators on a phantom whose directions are known: how far do axes err, and how well do the estimators
know it?
"""

import matplotlib.pyplot as plt
import numpy as np

import tevra

RADIUS = 3
phantom = tevra.phantom((80, 80, 80), RADIUS, beta=0.7, volume_fraction=0.18, noise=10, seed=2)
truth = phantom.axes()
inside = np.zeros(truth.shape[:3], bool)
inside[(slice(2 * RADIUS, -2 * RADIUS),) * 3] = True  # estimators lack neighbours at the border

figure, (left, right) = plt.subplots(1, 2, figsize=(11, 4.2))
for estimator in tevra.ESTIMATORS:
    field = tevra.orientation(phantom.image, RADIUS, estimator=estimator)
    both = inside & field.foreground & (phantom.theta >= 0)
    cosine = np.abs((field.axes()[both] * truth[both]).sum(axis=1))
    errors = np.degrees(np.arccos(np.clip(cosine, 0, 1)))
    print(f"{estimator:17} median error {np.median(errors):5.2f} degrees, 95 % below {np.percentile(errors, 95):5.1f}")
    shares = np.linspace(0, 1, 200)
    left.plot(np.quantile(errors, shares), shares, label=f"{estimator} (median {np.median(errors):.2g}°)")
    if field.confidence_map is not None:
        confidence = field.confidence_map[both]
        bins = np.linspace(0, 1, 11)
        means = [errors[(low <= confidence) & (confidence <= high)].mean() if ((low <= confidence) & (confidence <= high)).any()
                 else np.nan for low, high in zip(bins, bins[1:])]
        right.plot((bins[:-1] + bins[1:]) / 2, means, marker="o", label=estimator)
left.set_xscale("log")
left.set_xlim(0.05, 90)
left.set_xlabel("error of the axis / degrees")
left.set_ylabel("share of fiber pixels below")
left.grid(alpha=0.3)
left.legend()
right.set_xlabel("confidence")
right.set_ylabel("mean error / degrees")
right.grid(alpha=0.3)
right.legend()
figure.tight_layout()
figure.savefig("compare_estimators.png", dpi=120)
