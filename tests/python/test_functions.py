# SPDX-License-Identifier: BSD-3-Clause
"""Tensors, distances, beta, phantoms and files."""

import json

import numpy as np
import pytest

import tevra
from conftest import axial_angles_deg, lines_image, run_program

RANDOM = np.random.default_rng(7)


def random_tensors(count, dim):
    axes = RANDOM.normal(size=(count, 20, dim))
    axes /= np.linalg.norm(axes, axis=-1, keepdims=True)
    return np.einsum("nki,nkj->nij", axes, axes) / 20


@pytest.mark.parametrize("dim", [2, 3])
def test_eigenvalues_and_vectors_are_those_of_numpy(dim):
    tensors = random_tensors(500, dim)
    values, vectors = np.linalg.eigh(tensors)
    np.testing.assert_allclose(tevra.eigenvalues(tensors), values[:, ::-1], atol=1e-13)
    mean = tevra.mean_orientation(tensors)
    np.testing.assert_allclose(np.abs(np.einsum("ni,ni->n", mean, vectors[:, :, -1])), 1, atol=1e-12)
    largest = np.take_along_axis(mean, np.abs(mean).argmax(axis=1)[:, None], axis=1)
    assert (largest > 0).all()
    assert tevra.eigenvalues(tensors.reshape(5, 100, dim, dim)).shape == (5, 100, dim)
    assert tevra.mean_orientation(tensors[0]).shape == (dim,)


def test_shape_and_strength_follow_from_numpys_eigenvalues():
    tensors = random_tensors(300, 3)
    l3, l2, l1 = np.linalg.eigvalsh(tensors).T
    shape, strength = tevra.orientation_parameters(tensors)
    np.testing.assert_allclose(shape, np.log(l1 / l2) / np.log(l2 / l3), rtol=1e-9)
    np.testing.assert_allclose(strength, np.log(l1 / l3), rtol=1e-9)


def test_results_tensors_go_straight_into_the_functions(dense):
    result = tevra.analyze(dense.image, 3, subfield=16)
    np.testing.assert_allclose(tevra.eigenvalues(result.tensors), result.eigenvalues, atol=1e-12)
    nothing = np.full((2, 3, 3), np.nan)
    assert np.isnan(tevra.eigenvalues(nothing)).all() and np.isnan(tevra.mean_orientation(nothing)).all()


@pytest.mark.parametrize("tensor", [1.0, [1, 2], np.zeros((4, 4)), [[1, 2], [3, 4]], [[1, np.inf], [np.inf, 1]], "x"])
def test_what_is_no_tensor_is_refused_by_name(tensor):
    for function in (tevra.eigenvalues, tevra.mean_orientation, tevra.orientation_parameters):
        with pytest.raises((TypeError, ValueError), match="^tensor: "):
            function(tensor)
    with pytest.raises(ValueError, match="^tensor: "):
        tevra.orientation_parameters(np.eye(2))


def test_distances_are_those_of_vectors():
    axes = RANDOM.normal(size=(4, 5, 6, 3))
    axes /= np.linalg.norm(axes, axis=-1, keepdims=True)
    axes *= np.where(axes[..., 2:] < 0, -1, 1)
    theta = np.arccos(axes[..., 2]).astype(np.float32)
    phi = np.arctan2(axes[..., 1], axes[..., 0]).astype(np.float32)
    theta[0, 0] = -1
    distances = tevra.pointwise_distance(theta, phi, (1, -2, 2))
    expected = np.radians(axial_angles_deg(axes, np.array([1, -2, 2]) / 3))
    np.testing.assert_allclose(distances[theta >= 0], expected[theta >= 0], atol=2e-5)
    assert (distances[0, 0] == -1).all()


@pytest.mark.parametrize("theta, phi, reference, name", [
    (np.zeros((2, 2, 2)), np.zeros((2, 2, 2), "f4"), (0, 0, 1), "theta"),
    (np.zeros((2, 2, 2), "f4"), np.zeros((2, 2, 3), "f4"), (0, 0, 1), "phi"),
    (np.zeros((2, 2), "f4"), np.zeros((2, 2), "f4"), (0, 0, 1), "theta"),
    (np.zeros((2, 2, 2), "f4"), np.zeros((2, 2, 2), "f4"), (0, 0, 0), "reference"),
    (np.zeros((2, 2, 2), "f4"), np.zeros((2, 2, 2), "f4"), (0, 1), "reference")])
def test_wrong_maps_and_references_are_named(theta, phi, reference, name):
    with pytest.raises((TypeError, ValueError), match=f"^{name}: "):
        tevra.pointwise_distance(theta, phi, reference)


@pytest.mark.parametrize("wrong", [np.nan, 90.0])
@pytest.mark.parametrize("name", ["theta", "phi"])
def test_angles_that_are_no_radians_have_no_distance(name, wrong):
    maps = {"theta": np.full((2, 2, 2), 0.5, np.float32), "phi": np.zeros((2, 2, 2), np.float32)}
    maps[name][1, 0, 1] = wrong
    with pytest.raises(tevra.Error, match=f"^{name} holds the angle"):
        tevra.pointwise_distance(maps["theta"], maps["phi"], (0, 0, 1))
    maps["theta"][1, 0, 1] = -1
    assert tevra.pointwise_distance(maps["theta"], maps["phi"], (0, 0, 1))[1, 0, 1] == -1, "no axis, whatever phi is"


def test_maps_in_the_wrong_order_have_no_distances(dense):
    field = tevra.orientation(dense.image, 3)
    tevra.pointwise_distance(field.theta, field.phi, (0, 0, 1))
    with pytest.raises(ValueError, match="^theta: holds longitudes"):
        tevra.pointwise_distance(field.phi, field.theta, (0, 0, 1))


def test_one_map_in_both_places_is_refused():
    map_ = np.linspace(0.1, 1.2, 24, dtype=np.float32).reshape(2, 3, 4)
    for theta, phi in ((map_, map_), (map_, map_.copy())):
        for call in (lambda: tevra.estimate_beta(theta, phi), lambda: tevra.pointwise_distance(theta, phi, (0, 0, 1))):
            with pytest.raises(ValueError, match="^phi: holds the same angles as theta"):
                call()
    assert tevra.estimate_beta([1.0], [1.0], axis="angles").sample_size == 1
    assert tevra.pointwise_distance(np.zeros_like(map_), np.zeros_like(map_), (0, 0, 1)).max() == 0, "all along z"


def beta_sample(beta, count):
    """Polar angles at even shares of the family's distribution function: cos t = u / sqrt(beta^2 + (1 - beta^2) u^2)."""
    u = (np.arange(count) + 0.5) / count
    cosine = u / np.sqrt(beta**2 + (1 - beta**2) * u**2)
    return np.arccos(cosine), np.arange(count) * np.pi * (3 - np.sqrt(5)) % (2 * np.pi)


@pytest.mark.parametrize("beta", [0.05, 0.3, 0.7, 1.0, 1.5, 4.0])
def test_beta_of_a_sample_of_its_closed_form_is_found(beta):
    theta, phi = beta_sample(beta, 20000)
    estimate = tevra.estimate_beta(theta, phi, axis="angles")
    assert estimate.beta == pytest.approx(beta, rel=2e-3)
    assert estimate.axis is None and estimate.limit == "none" and estimate.sample_size == 20000
    if abs(np.log(beta)) > 0.5:
        found = tevra.estimate_beta(theta, phi)
        assert found.beta == pytest.approx(beta, rel=2e-2)
        assert axial_angles_deg(np.array(found.axis), (0, 0, 1)) < 1
        assert found.evidence == "clear"
        assert found.type == ("cluster" if beta < 0.5 else found.type)


def test_two_angles_have_the_beta_of_the_likelihood_equation():
    # d/d beta of log-likelihood is 0 where the sum of (beta^2 c - s / 2) / (1 + (beta^2 - 1) c) is; with one angle t
    # beta^2 = s / (2 c).
    t = 1.1
    estimate = tevra.estimate_beta([t, t], [0.0, 2.0], axis="angles")
    assert estimate.beta == pytest.approx(np.tan(t) / np.sqrt(2), rel=1e-12)


def test_beta_is_what_the_command_line_says(here):
    phantom = tevra.phantom((48, 48, 48), 3, beta=0.3, overlap=True, seed=9)
    tevra.write("theta.mha", phantom.theta)
    tevra.write("phi.mha", phantom.phi)
    said = json.loads(run_program("beta", "theta.mha", "phi.mha", "--json").stdout)
    found = tevra.estimate_beta(phantom.theta, phantom.phi)
    assert (found.beta, list(found.axis), found.sample_size) == (said["beta"], said["axis"], said["sample_size"])
    assert found.evidence == said["axis_choice"]["evidence"]


@pytest.mark.parametrize("theta, phi, more, error, name", [
    ([], [], {}, ValueError, "theta"), ([-1.0], [0.0], {}, ValueError, "theta"), ([1.0], [0.0, 1.0], {}, ValueError, "phi"),
    ([90.0], [0.0], {}, tevra.Error, "angle 0"), (["a"], [0.0], {}, TypeError, "theta"),
    ([1.0], [0.0], {"type": "x"}, ValueError, "type"), ([1.0], [0.0], {"axis": "x"}, ValueError, "axis"),
    ([1.0], [0.0], {"axis": (0, 0, 0)}, ValueError, "axis")])
def test_wrong_samples_are_named(theta, phi, more, error, name):
    with pytest.raises(error, match=f"^{name}"):
        tevra.estimate_beta(theta, phi, **more)


@pytest.mark.parametrize("more", [{}, {"overlap": True}, {"layout": "bundles", "volume_fraction": 0.08}, {"layout": "layers"},
                                  {"layout": "grid", "axis": (1, 2, 3), "fiber_distance": 12}])
def test_a_phantoms_tensor_is_that_of_its_maps(more):
    phantom = tevra.phantom((48, 40, 56), 3, seed=4, **more)
    axes = phantom.axes()[phantom.theta >= 0].astype(float)
    np.testing.assert_allclose(np.einsum("ni,nj->ij", axes, axes) / len(axes), phantom.tensor, atol=1e-5)
    assert phantom.volume_fraction == pytest.approx(len(axes) / phantom.image.size)


def test_a_phantom_is_that_of_the_command_line(here):
    run_program("phantom", "-o", "image.mha", "--size", "56,40,48", "--fiber-radius", 3, "--beta", 0.5, "--noise", 4,
                "--seed", 11, "--truth", "truth-")
    phantom = tevra.phantom((48, 40, 56), 3, beta=0.5, noise=4, seed=11)
    np.testing.assert_array_equal(tevra.read("image.mha"), phantom.image)
    np.testing.assert_array_equal(tevra.read("truth-phi.mha"), phantom.phi)


@pytest.mark.parametrize("dtype", [np.uint8, np.uint16, np.float32])
@pytest.mark.parametrize("name", ["image.mha", "image.tif"])
@pytest.mark.parametrize("shape", [(4, 5, 6), (5, 6)])
def test_what_is_written_is_read_back(here, dtype, name, shape):
    image = (RANDOM.random(shape) * 200).astype(dtype)
    tevra.write(name, image, spacing=2.5, unit="um")
    np.testing.assert_array_equal(tevra.read(name), image)
    info = tevra.info(name)
    assert (info.shape, info.dtype, info.unit) == (shape, dtype, "um")
    assert info.spacing == pytest.approx((2.5,) * len(shape))


def test_files_of_other_programs_are_read(here):
    import tifffile
    image = RANDOM.integers(0, 60000, (6, 7, 8)).astype(np.uint16)
    tifffile.imwrite("scan.tif", image)
    np.testing.assert_array_equal(tevra.read("scan.tif"), image)
    image.tofile("scan.raw")
    np.testing.assert_array_equal(tevra.read("scan.raw", raw="8,7,6,u16"), image)
    tevra.write("ours.tif", image)
    np.testing.assert_array_equal(tifffile.imread("ours.tif"), image)


@pytest.mark.parametrize("call, error, name", [
    (lambda: tevra.write("a.png", np.zeros((2, 2), np.uint8)), ValueError, "path"),
    (lambda: tevra.write("a.mha", np.zeros((2, 2))), TypeError, "image"),
    (lambda: tevra.write("a.mha", np.zeros((4, 4), "u1")[:, ::2]), TypeError, "image"),
    (lambda: tevra.write("a.mha", np.zeros((2, 2), "u1"), spacing=0), ValueError, "spacing"),
    (lambda: tevra.write("a.mha", np.zeros((2, 2), "u1"), unit="ell"), ValueError, "unit"),
    (lambda: tevra.write("no/folder/a.mha", np.zeros((2, 2), "u1")), tevra.Error, ""),
    (lambda: tevra.read(3), TypeError, "path"), (lambda: tevra.read("nowhere.tif"), tevra.Error, ""),
    (lambda: tevra.read("x", raw="1,2"), ValueError, "raw")])
def test_what_cannot_be_read_or_written_is_said(here, call, error, name):
    with pytest.raises(error, match=f"^{name}"):
        call()
    assert not list(here.iterdir())
