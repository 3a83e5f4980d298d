# SPDX-License-Identifier: BSD-3-Clause
"""Tevra measures how fibers lie in 2D and 3D grey-value images.

Images are NumPy arrays indexed [z, y, x] or [y, x]. Vectors, tensor components and sizes have the order x, y, z.
Angles are in radians; lengths are in pixels unless there is a spacing.

>>> import tevra
>>> phantom = tevra.phantom((48, 48, 48), 3, axis=(1, 1, 0))     # or image = tevra.read("scan.tif")
>>> result = tevra.analyze(phantom.image, 3, subfield=16)
>>> result.tensors.shape
(8, 3, 3)
>>> abs(result.field.mean_direction).round(1)
array([0.7, 0.7, 0. ])
>>> result.save("results")                                       # what the command line writes
"""

from ._analysis import ESTIMATORS, EXPORTS, AxisField, Field, Result, ResultWarning, analyze, orientation
from ._directions import BetaEstimate, estimate_beta, pointwise_distance
from ._estimators import FilterOrientations, HessianOrientations, LineVoting, StructureTensor
from ._files import ImageInfo, info, read, write
from ._phantom import Phantom, phantom
from ._tensors import TensorRank4, eigenvalues, mean_orientation, orientation_parameters
from ._tevra import Cancelled, Error, __version__

__all__ = [
    "AxisField",
    "BetaEstimate",
    "Cancelled",
    "ESTIMATORS",
    "EXPORTS",
    "Error",
    "Field",
    "FilterOrientations",
    "HessianOrientations",
    "ImageInfo",
    "LineVoting",
    "Phantom",
    "Result",
    "ResultWarning",
    "StructureTensor",
    "TensorRank4",
    "analyze",
    "eigenvalues",
    "estimate_beta",
    "info",
    "mean_orientation",
    "orientation",
    "orientation_parameters",
    "phantom",
    "pointwise_distance",
    "read",
    "write",
]
