# SPDX-License-Identifier: BSD-3-Clause
"""The direction map of a 2D image: every fiber pixel in the color of its direction, and how often each occurs.

usage: direction_map_2d.py [IMAGE FIBER_RADIUS]     without an image: a phantom
"""

import sys

import matplotlib.pyplot as plt
import numpy as np

import tevra

if len(sys.argv) == 3:
    image, radius = tevra.read(sys.argv[1]), float(sys.argv[2])
else:
    radius = 2.5
    image = tevra.phantom((300, 300), radius, overlap=True, volume_fraction=0.25, noise=12, seed=4).image

field = tevra.orientation(image, radius)

figure = plt.figure(figsize=(12, 4.4), layout="constrained")
grey = figure.add_subplot(1, 3, 1)
grey.imshow(image, cmap="gray")
grey.set_title("image")
field.plot(figure.add_subplot(1, 3, 2))

rose = figure.add_subplot(1, 3, 3, projection="polar")
counts, edges = np.histogram(field.theta[field.foreground], bins=36, range=(0, np.pi))
middles = (edges[:-1] + edges[1:]) / 2
colors = tevra.AxisField.colors_of_angles(middles) / 255
for turn in (0, np.pi):  # an axis points both ways
    rose.bar(middles + turn, counts / counts.sum(), width=np.pi / 36, color=colors)
rose.set_theta_direction(-1)  # y runs downwards, as in the image
rose.set_yticklabels([])
rose.set_title("share of directions")
figure.savefig("direction_map_2d.png", dpi=120)
