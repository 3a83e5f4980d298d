# SPDX-License-Identifier: BSD-3-Clause
"""Estimators in memory, and what SciPy and scikit-image say of the same images."""

import numpy as np
import pytest
from scipy import ndimage

import tevra
from conftest import axial_angles_deg, lines_image


def test_the_hessian_in_memory_is_that_of_the_analysis(dense):
    estimator = tevra.HessianOrientations().compute(dense.image, 3)
    result = tevra.analyze(dense.image, 3, estimator="hessian")
    np.testing.assert_array_equal(estimator.theta, result.theta)
    np.testing.assert_array_equal(estimator.phi, result.phi)
    assert estimator.threshold == result.record["foreground"]["threshold"]
    tensor, pixels = estimator.orientation_tensor()
    inside = (slice(None, -1),) * 3
    axes = result.axes()[inside][result.foreground[inside]].astype(float)
    assert pixels == len(axes)
    np.testing.assert_allclose(tensor, np.einsum("ni,nj->ij", axes, axes) / len(axes), atol=1e-6)
    total, _ = estimator.orientation_tensor(normalize=False)
    np.testing.assert_allclose(total / pixels, tensor)


@pytest.mark.filterwarnings("ignore::tevra.ResultWarning")
@pytest.mark.parametrize("kind, name, more", [(tevra.LineVoting, "line-voting", {}), (tevra.LineVoting, "line-voting", {"along": 0}),
                                              (tevra.StructureTensor, "structure-tensor", {}),
                                              (tevra.StructureTensor, "structure-tensor", {"along": 2.0})])
@pytest.mark.parametrize("dtype", [np.uint8, np.uint16, np.float32])
@pytest.mark.parametrize("dim", [2, 3])
def test_estimators_in_memory_are_those_of_the_analysis(dense, kind, name, more, dtype, dim):
    image = np.ascontiguousarray(dense.image if dim == 3 else dense.image[20]).astype(dtype)
    estimator = kind().compute(image, 3, **more)
    field = tevra.orientation(image, 3, estimator=name, **more)
    np.testing.assert_array_equal(estimator.theta, field.theta)
    np.testing.assert_array_equal(estimator.confidence, field.confidence_map)
    if dim == 3:
        np.testing.assert_array_equal(estimator.phi, field.phi)
    np.testing.assert_array_equal(estimator.axes(), field.axes())


def scipy_hessian_axes(image, sigma):
    """Central differences of the Gaussian-smoothed image, and NumPy's eigenvectors; components x, y, z."""
    smoothed = ndimage.gaussian_filter(image.astype(float), sigma, mode="nearest", truncate=8)
    hessian = np.empty(image.shape + (3, 3))
    for i, first in enumerate((2, 1, 0)):
        for j, second in enumerate((2, 1, 0)):
            if first == second:
                hessian[..., i, j] = ndimage.correlate1d(smoothed, [1, -2, 1], first, mode="nearest")
            else:
                once = ndimage.correlate1d(smoothed, [-0.5, 0, 0.5], first, mode="nearest")
                hessian[..., i, j] = ndimage.correlate1d(once, [-0.5, 0, 0.5], second, mode="nearest")
    values, vectors = np.linalg.eigh(hessian)
    smallest = np.abs(values).argmin(axis=-1)
    return smoothed, np.take_along_axis(vectors, smallest[..., None, None], axis=-1)[..., 0]


def test_hessian_axes_are_those_of_scipys_smoothing(dense):
    sigma = 3.0
    estimator = tevra.HessianOrientations().compute(dense.image, sigma)
    smoothed, axes = scipy_hessian_axes(dense.image, sigma)
    theta, phi = estimator.theta, estimator.phi
    found = theta >= 0
    ours = np.stack([np.sin(theta) * np.cos(phi), np.sin(theta) * np.sin(phi), np.cos(theta)], axis=-1)
    assert np.median(axial_angles_deg(ours[found], axes[found])) < 0.1
    # The smoothing itself: of the peak of the impulse response 1e-3, so the foreground differs in few pixels only.
    differs = found != (smoothed > estimator.threshold)
    assert np.abs(smoothed[differs] - estimator.threshold).max(initial=0) < 1e-3 * 255


@pytest.mark.filterwarnings("ignore::tevra.ResultWarning")
def test_smoothing_agrees_with_scikit_image_within_the_stated_tolerance():
    # The threshold set to a grey value cuts the smoothed image there: bisection shows the smoothed value of a pixel.
    from skimage.filters import gaussian
    image = np.zeros((33, 33, 33), np.float32)
    image[16, 16, 16] = 1000.0
    sigma = 2.5
    expected = gaussian(image, sigma, truncate=8, preserve_range=True)
    peak = expected.max()
    for z, y, x in ((16, 16, 16), (16, 16, 19), (14, 18, 16), (12, 16, 16), (13, 14, 20)):
        low, high = -0.1 * peak, 1.5 * peak
        for _ in range(24):
            middle = (low + high) / 2
            try:
                result = tevra.orientation(image, sigma, estimator="hessian", threshold=middle)
                is_above = result.foreground[z, y, x]
            except tevra.Error:  # nothing is
                is_above = False
            low, high = (middle, high) if is_above else (low, middle)
        # 1e-3 of the peak along each axis; a product of three.
        assert abs(low - expected[z, y, x]) < 3e-3 * peak, (z, y, x)


def matrices_of(elements):
    """Symmetric matrices x, y[, z] of an upper triangle that follows the array's axes, z first."""
    dim = 2 if len(elements) == 3 else 3
    matrices = np.empty(elements[0].shape + (dim, dim))
    at = 0
    for i in reversed(range(dim)):
        for j in reversed(range(i + 1)):
            matrices[..., i, j] = matrices[..., j, i] = elements[at]
            at += 1
    return matrices


def smallest_vectors(matrices):
    return np.linalg.eigh(matrices)[1][..., 0]


def scipy_structure_tensor(image, gradient_sigma, window_sigma):
    names = "zyx"[3 - image.ndim:]
    slopes = [ndimage.gaussian_filter(image.astype(float), gradient_sigma, order=[int(name == axis) for name in names],
                                      mode="nearest", truncate=6) for axis in names]
    return matrices_of([ndimage.gaussian_filter(slopes[i] * slopes[j], window_sigma, mode="nearest", truncate=6)
                        for i in range(image.ndim) for j in range(i, image.ndim)])


@pytest.mark.parametrize("axis", [(1, 0, 0), (1, 2, 0.5), (0, 1, 1), (3, -1, 2), (1, 3)])
@pytest.mark.parametrize("gradient_sigma, window_sigma", [(1.0, 3.0), (2.0, 4.0)])
def test_structure_tensor_axes_are_those_of_scipy_on_phantoms(axis, gradient_sigma, window_sigma):
    shape, volume_fraction = ((96, 96), 0.2) if len(axis) == 2 else ((48, 48, 48), 0.1)
    phantom = tevra.phantom(shape, 3, axis=axis, volume_fraction=volume_fraction, blur=1.0)
    inside = (slice(8, -8),) * len(shape)
    estimator = tevra.StructureTensor().compute(phantom.image, 3, gradient_sigma=gradient_sigma,
                                                window_sigma=window_sigma, along=0)
    found = (estimator.theta >= 0)[inside]
    theirs = smallest_vectors(scipy_structure_tensor(phantom.image, gradient_sigma, window_sigma)[inside][found])
    ours = estimator.axes()[inside][found]
    assert found.sum() > 100
    assert np.median(axial_angles_deg(ours, theirs)) < 0.05
    truth = np.array(axis) / np.linalg.norm(axis)
    assert np.median(axial_angles_deg(ours, truth)) < 0.1


def test_structure_tensor_axes_are_those_of_scikit_image_where_its_differences_are_exact():
    # Its gradients are differences over neighbouring pixels, by symmetry exact along axes and diagonals of the grid;
    # elsewhere they turn axes by a few tenths of a degree, away from the truth.
    from skimage.feature import structure_tensor
    from skimage.filters import gaussian
    for axis in ((1, 0, 0), (0, 1, 1), (1, 1, 0), (1, 2, 0.5)):
        phantom = tevra.phantom((48, 48, 48), 3, axis=axis, volume_fraction=0.1, blur=1.0)
        inside = (slice(8, -8),) * 3
        estimator = tevra.StructureTensor().compute(phantom.image, 3, gradient_sigma=1.0, window_sigma=3.0, along=0)
        found = (estimator.theta >= 0)[inside]
        smoothed = gaussian(phantom.image.astype(float), 1.0, mode="nearest", preserve_range=True)
        elements = structure_tensor(smoothed, sigma=3, mode="nearest", order="rc")
        theirs = smallest_vectors(matrices_of([element[inside][found] for element in elements]))
        ours = estimator.axes()[inside][found]
        truth = np.array(axis) / np.linalg.norm(axis)
        our_error, their_error = (np.median(axial_angles_deg(axes, truth)) for axes in (ours, theirs))
        if axis == (1, 2, 0.5):
            assert our_error < 0.1 < their_error
        else:
            assert np.median(axial_angles_deg(ours, theirs)) < 0.1


def test_a_mask_is_taken_as_it_is(dense):
    mask = np.zeros(dense.image.shape, bool)
    mask[10:20, 10:30, 10:40] = True
    estimator = tevra.HessianOrientations().compute(dense.image, 3, mask=mask)
    assert (estimator.theta >= 0)[mask].mean() > 0.99 and not (estimator.theta >= 0)[~mask].any()
    for wrong in (mask[1:], mask.astype(float), mask[:, ::-1]):
        with pytest.raises((TypeError, ValueError), match="^mask: "):
            tevra.HessianOrientations().compute(dense.image, 3, mask=wrong)


def test_estimators_say_what_they_do_not_take(dense):
    estimator = tevra.HessianOrientations()
    with pytest.raises(tevra.Error, match="compute"):
        estimator.theta
    for wrong in (dense.image.astype(np.uint16), dense.image[:, ::2], list(dense.image)):
        with pytest.raises(TypeError, match="^image: "):
            estimator.compute(wrong, 3)
    with pytest.raises(ValueError, match="^sigma: "):
        estimator.compute(dense.image, 0)
    estimator.compute(dense.image, 3)
    for box in (3, ((1, 2), (3, 4)), ((0, 0, 0.5), (1, 1, 1))):
        with pytest.raises((TypeError, ValueError), match="^box: "):
            estimator.orientation_tensor(box)


@pytest.mark.parametrize("dim", [2, 3])
def test_the_filter_bank_chooses_the_nearest_direction(dim):
    axis = (0, 1, 0)[:dim]
    phantom = tevra.phantom((40, 44, 48)[3 - dim:], 3, axis=axis, grey=(0, 200))
    bank = tevra.FilterOrientations(16, 6).compute(phantom.image)
    theta, phi = bank.orientations()
    inside = (slice(10, -10),) * dim
    chosen = bank.index[inside][bank.index[inside] < 255]
    nearest = np.abs(bank.directions @ np.array(axis)).argmax()
    assert (chosen == nearest).mean() > 0.8
    tensor, pixels = bank.orientation_tensor(((10,) * dim, (30,) * dim))
    assert tensor[1, 1] > 0.9 and pixels > 0
    assert (theta >= 0).sum() == (bank.index < 255).sum()
    assert (phi is None) == (dim == 2)
    assert bank.best_response.max() > 0


def test_the_filter_bank_takes_every_pixel_type_and_resolution(dense):
    counts = {"coarse": 18, "medium": 50, "fine": 98}
    for dtype, (resolution, count) in zip((np.uint8, np.uint16, np.float32), counts.items()):
        bank = tevra.FilterOrientations(16, 6).compute(dense.image.astype(dtype), resolution=resolution)
        assert bank.directions.shape == (count, 3)
    with pytest.raises(ValueError, match="^resolution: "):
        bank.compute(dense.image, resolution="ultra")


def test_two_dimensional_angles_run_from_x_towards_y():
    image = np.zeros((64, 64), np.uint8)
    for x in range(64):
        for offset in (-24, 0, 24):
            y = 0.5 * x + 16 + offset
            for row in range(max(0, int(y) - 2), min(64, int(y) + 4)):
                image[row, x] = max(image[row, x], int(200 * np.exp(-(row - y) ** 2 / 3)))
    expected = np.arctan(0.5)
    for estimator in tevra.ESTIMATORS:
        field = tevra.orientation(image, 2, estimator=estimator)
        inside = field.theta[10:-10, 10:-10]
        assert np.median(inside[inside >= 0]) == pytest.approx(expected, abs=0.03), estimator
    assert np.median((lambda t: t[t >= 0])(tevra.HessianOrientations().compute(image, 2).theta)) == pytest.approx(
        expected, abs=0.05)


def test_lines_along_x_have_the_angles_of_x():
    theta = tevra.HessianOrientations().compute(lines_image((30, 30, 30), "x"), 3)
    found = theta.theta >= 0
    assert np.abs(theta.theta[found] - np.pi / 2).max() < 0.02
    assert axial_angles_deg(np.stack([np.cos(theta.phi[found]), np.sin(theta.phi[found])], -1), (1, 0)).max() < 1
