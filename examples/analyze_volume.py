# SPDX-License-Identifier: BSD-3-Clause
"""Analyses a volume field by field and plots profiles: how the layers of a laminate lie, slice by slice.

usage: analyze_volume.py [IMAGE FIBER_RADIUS]     without an image: a phantom of four layers
"""

import sys

import matplotlib.pyplot as plt
import numpy as np

import tevra

if len(sys.argv) == 3:
    image, radius = sys.argv[1], float(sys.argv[2])
else:
    radius = 3
    image = tevra.phantom((96, 96, 96), radius, layout="layers", layer_angles=np.radians([0, 90, 45, 135]), layer_rows=4,
                          volume_fraction=0.4, blur=1, noise=10).image

result = tevra.analyze(image, radius, subfield=(24, 24, 6))
print(result)
result.save("volume_result")  # tables, document and maps, as of the command line

profile = result.profile("z")
names = "xyz"
figure, (left, right) = plt.subplots(1, 2, figsize=(11, 4.2))
first, end = result.boxes[:, 2].min(), result.boxes[:, 2].max()  # slices that subfields lie in
result.plot(left, slice_index=int(first + result.foreground[first:end].sum(axis=(1, 2)).argmax()))
for i, name in enumerate(names):
    right.plot(profile["slice_px"], profile["tensors"][:, i, i], marker="o", label=f"$a_{{{name}{name}}}$")
right.plot(profile["slice_px"], profile["tensors"][:, 0, 1], marker="s", linestyle="--", label="$a_{xy}$")
right.set_xlabel("z / px")
right.set_ylabel("orientation tensor")
right.set_ylim(-0.6, 1.05)
right.grid(alpha=0.3)
right.legend(ncol=2)
right.set_title("profile along z")
figure.tight_layout()
figure.savefig("analyze_volume.png", dpi=120)
