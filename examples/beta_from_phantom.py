# SPDX-License-Identifier: BSD-3-Clause
"""Beta from phantoms: directions are drawn with a known anisotropy parameter, measured in the image, and beta is
estimated from them.
"""

import matplotlib.pyplot as plt
import numpy as np

import tevra

RADIUS = 2.5
betas = [0.1, 0.2, 0.4, 0.7, 1.5, 3.0]
figure, (left, right) = plt.subplots(1, 2, figsize=(11, 4.2))
for number, beta in enumerate(betas):
    phantom = tevra.phantom((96, 96, 96), RADIUS, beta=beta, volume_fraction=0.12, overlap=True, seed=3)
    field = tevra.orientation(phantom.image, RADIUS)
    drawn = tevra.estimate_beta(phantom.theta, phantom.phi, axis=(0, 0, 1))
    found = tevra.estimate_beta(field.theta, field.phi, axis=(0, 0, 1))
    print(f"beta {beta:4.2f}: of the fibers in the phantom {drawn.beta:5.3f}, measured in the image {found.beta:5.3f}")
    right.plot(drawn.beta, found.beta, "o", color=f"C{number}")
    if beta in (0.2, 0.7, 3.0):
        angles = field.theta[field.foreground]  # colatitudes are polar angles from the z axis
        left.hist(angles, bins=45, range=(0, np.pi / 2), density=True, alpha=0.4, color=f"C{number}")
        t = np.linspace(0, np.pi / 2, 300)
        density = found.beta * np.sin(t) * (1 + (found.beta**2 - 1) * np.cos(t) ** 2) ** -1.5
        left.plot(t, density, color=f"C{number}", label=f"beta = {found.beta:.2f}")
left.set_xlabel("polar angle from z / rad")
left.set_ylabel("density")
left.legend()
limits = (0.05, 6)
right.plot(limits, limits, color="grey", linewidth=1)
right.set_xscale("log")
right.set_yscale("log")
right.set_xlabel("beta of the fibers in the phantom")
right.set_ylabel("beta measured in the image")
right.grid(alpha=0.3)
figure.tight_layout()
figure.savefig("beta_from_phantom.png", dpi=120)
