# SPDX-License-Identifier: BSD-3-Clause
"""analyze and orientation, against the command line and against truth."""

import csv
import json

import numpy as np
import pytest

import tevra
from conftest import axial_angles_deg, lines_image, run_program

FILES_THAT_STATE_TIMES = {"run.json", "report.html"}


def read_csv(path):
    with open(path, newline="") as file:
        return list(csv.DictReader(file))


@pytest.mark.parametrize("estimator", tevra.ESTIMATORS)
@pytest.mark.parametrize("dim", [2, 3])
def test_the_document_is_that_of_the_command_line(here, estimator, dim):
    shape = (48, 56, 64)[3 - dim:]
    phantom = tevra.phantom(shape, 3, seed=3, noise=5)
    tevra.write("image.tif", phantom.image)
    run_program("analyze", "image.tif", "--fiber-radius", 3, "--subfield", 16, "--fourth-order", "--estimator", estimator,
                "--threads", 1, "-o", "out")
    expected = json.load(open("out/result.json"))
    for image in (phantom.image, "image.tif"):
        result = tevra.analyze(image, 3, subfield=16, fourth_order=True, estimator=estimator, threads=2)
        assert result.document == expected
        assert list(result.document["Field"]) == list(expected["Field"]), "the order of keys, too"


@pytest.mark.parametrize("maps", [True, False])
def test_saved_files_are_those_of_the_command_line(here, maps):
    image = tevra.phantom((40, 44, 48), 3, seed=7).image
    tevra.write("image.mha", image, spacing=0.5, unit="mm")
    run_program("analyze", "image.mha", "--fiber-radius", 1.5, "--subfield", 12, "--estimator", "line-voting",
                *["--maps"] * maps, "-o", "program")
    tevra.analyze("image.mha", 1.5, subfield=12, maps=maps).save("module")
    names = sorted(path.name for path in (here / "program").iterdir())
    assert sorted(path.name for path in (here / "module").iterdir()) == names
    for name in set(names) - FILES_THAT_STATE_TIMES:
        assert (here / "module" / name).read_bytes() == (here / "program" / name).read_bytes(), name
    runs = [json.load(open(f"{folder}/run.json")) for folder in ("program", "module")]
    for run in runs:
        for key in ("start_time", "seconds", "memory", "file_checks"):
            del run[key]
    assert runs[0] == runs[1]


def test_unequal_spacing_and_scales_do_as_on_the_command_line(here):
    phantom = tevra.phantom((24, 48, 48), 3, spacing=(1, 1, 2), seed=8, blur=1)
    tevra.write("image.mha", phantom.image, spacing=(0.5, 0.5, 1.0), unit="mm")
    run_program("analyze", "image.mha", "--fiber-radius", 1.5, "--estimator", "structure-tensor", "--gradient-sigma", 0.8,
                "--window", 2, "--border", 2, "--subfield-count", 2, "-o", "out")
    expected = json.load(open("out/result.json"))
    more = {"estimator": "structure-tensor", "gradient_sigma": 0.8, "window_sigma": 2, "border": 2, "subfield_count": 2}
    assert tevra.analyze("image.mha", 1.5, **more).document == expected
    result = tevra.analyze(phantom.image, 1.5, spacing=(0.5, 0.5, 1.0), **more)
    assert result.document == expected
    # Axes are directions in space, not in pixels.
    field = tevra.orientation(phantom.image, 1.5, spacing=(0.5, 0.5, 1.0))
    both = field.foreground & (phantom.theta >= 0)
    assert np.median(axial_angles_deg(field.axes()[both], phantom.axes()[both])) < 3
    as_cubes = tevra.orientation(phantom.image, 3)
    both &= as_cubes.foreground
    assert np.median(axial_angles_deg(as_cubes.axes()[both], phantom.axes()[both])) > 5


def test_a_mask_and_a_window_do_as_on_the_command_line(here):
    phantom = tevra.phantom((40, 44, 48), 3, seed=2)
    mask = phantom.theta >= 0
    tevra.write("image.tif", phantom.image.astype(np.uint16) * 100)
    tevra.write("mask.tif", mask.astype(np.uint8))
    run_program("analyze", "image.tif", "--fiber-radius", 3, "--mask", "mask.tif", "--grey-window", "1000,20000",
                "--estimator", "hessian", "-o", "out")
    result = tevra.analyze(phantom.image.astype(np.uint16) * 100, 3, mask=mask, grey_window=(1000, 20000),
                           estimator="hessian")
    assert result.document == json.load(open("out/result.json"))


def test_columns_and_arrays_hold_what_the_table_says(here, dense):
    result = tevra.analyze(dense.image, 3, subfield=16)
    result.save("out")
    rows = read_csv("out/subfields.csv")
    frame = result.to_dataframe()
    assert len(rows) == len(result) == len(frame) > 1
    assert set(frame.columns) <= set(rows[0])
    for name in frame.columns:
        if name in ("id", "status"):
            assert list(frame[name]) == [row[name] for row in rows]
        else:
            expected = [float(row[name]) if row[name] else np.nan for row in rows]
            np.testing.assert_array_equal(frame[name].to_numpy(float), expected, err_msg=name)
    assert np.allclose(np.einsum("nii", result.tensors), 1)


def test_subfields_lie_where_their_boxes_say(dense):
    result = tevra.analyze(dense.image, 3, subfield=(24, 20, 12))
    found = result.theta >= 0
    axes = result.axes().astype(float)
    for index in range(len(result)):
        where = result.slices(index)
        assert found[where].shape == (12, 20, 24)
        assert found[where].sum() == result.foreground_pixels[index]
        inside = axes[where][found[where]]
        tensor = np.einsum("ni,nj->ij", inside, inside) / len(inside)
        np.testing.assert_allclose(result.tensors[index], tensor, atol=1e-6)


def test_axes_are_those_of_the_phantom(dense):
    for axis in ((1, 0, 0), (0, 1, 0), (0, 0, 1), (1, 2, 3)):
        phantom = tevra.phantom((40, 40, 40), 3, axis=axis, volume_fraction=0.08)
        result = tevra.analyze(phantom.image, 3)
        truth = np.array(axis) / np.linalg.norm(axis)
        assert axial_angles_deg(result.field.mean_direction, truth) < 1
        assert np.median(axial_angles_deg(result.axes()[result.foreground], truth)) < 1


def test_an_image_along_each_array_axis_has_the_direction_of_that_name():
    for name, direction in (("x", (1, 0, 0)), ("y", (0, 1, 0)), ("z", (0, 0, 1))):
        mean = tevra.analyze(lines_image((36, 40, 44), name), 3).field.mean_direction
        assert axial_angles_deg(mean, direction) < 0.5, name


@pytest.mark.filterwarnings("ignore::tevra.ResultWarning")
def test_confidence_is_high_on_straight_lines_and_lower_among_crossing_ones():
    straight = tevra.analyze(lines_image((36, 36, 36)), 3)
    crossing = tevra.analyze(np.maximum(lines_image((36, 36, 36), "x"), lines_image((36, 36, 36), "y")), 3)
    assert straight.confidence_map.shape == (36, 36, 36)
    assert straight.confidence_map[straight.foreground].mean() > 0.8
    assert crossing.confidence_map[crossing.foreground].mean() < 0.9 * straight.confidence_map[straight.foreground].mean()
    assert tevra.analyze(lines_image((36, 36, 36)), 3, estimator="hessian").confidence_map is None


def test_orientation_gives_the_maps_of_analyze(dense):
    field = tevra.orientation(dense.image, 3)
    result = tevra.analyze(dense.image, 3, subfield=10)
    np.testing.assert_array_equal(field.theta, result.theta)
    np.testing.assert_array_equal(field.phi, result.phi)
    assert not hasattr(field, "tensors")


def test_one_slice_is_an_image_of_two_dimensions():
    image = tevra.phantom((64, 64), 2, axis=(3, 4)).image
    flat = tevra.analyze(image, 2, subfield=20)
    deep = tevra.analyze(image[None], 2, subfield=20)
    assert deep.theta.shape == (1, 64, 64) and deep.phi is None and deep.tensors.shape[1:] == (2, 2)
    np.testing.assert_array_equal(deep.theta[0], flat.theta)
    assert image[None][deep.slices(0)].shape == (20, 20)
    assert axial_angles_deg(flat.field.mean_direction, (0.6, 0.8)) < 1


def test_results_do_not_depend_on_threads_memory_or_pixel_layout(here, dense):
    expected = tevra.analyze(dense.image, 3, subfield=16, threads=1)
    for image, more in ((dense.image, {"threads": 3}), (np.asfortranarray(dense.image), {}),
                        (dense.image.astype(">u2").astype("u1"), {}), (dense.image[::-1][::-1], {})):
        result = tevra.analyze(image, 3, subfield=16, **more)
        assert result.document == expected.document
        np.testing.assert_array_equal(result.theta, expected.theta)
    swapped = tevra.analyze(dense.image.astype(">u2"), 3, subfield=16)
    assert swapped.document == tevra.analyze(dense.image.astype(np.uint16), 3, subfield=16).document


def test_maps_can_lie_in_files(here, dense):
    expected = tevra.orientation(dense.image, 3)
    field = tevra.orientation(dense.image, 3, maps=here)
    assert isinstance(field.theta, np.memmap)
    for name in ("theta", "phi"):
        np.testing.assert_array_equal(np.load(f"{name}.npy"), getattr(expected, name))


def test_without_maps_there_are_results_only(dense):
    result = tevra.analyze(dense.image, 3, subfield=16, maps=False)
    assert result.tensors.shape[1:] == (3, 3)
    with pytest.raises(tevra.Error, match="maps=True"):
        result.theta
    assert "Result" in repr(result) and "<table" in result._repr_html_()


def test_colors_are_absolute_components(dense):
    field = tevra.orientation(dense.image, 3)
    colors = field.rgb()
    assert colors.shape == dense.image.shape + (3,)
    assert not colors[~field.foreground].any()
    np.testing.assert_allclose(colors, 255 * np.abs(field.axes()), atol=0.51)


def test_distances_are_angles_to_the_reference(dense):
    field = tevra.orientation(dense.image, 3)
    distances = field.distance((1, 1, 1))
    expected = np.radians(axial_angles_deg(field.axes()[field.foreground], np.ones(3) / np.sqrt(3)))
    np.testing.assert_allclose(distances[field.foreground], expected, atol=1e-3)
    assert (distances[~field.foreground] == -1).all()


def test_profiles_are_averages_along_an_axis(dense):
    result = tevra.analyze(dense.image, 3, subfield=12)
    profile = result.profile("z")
    starts = result.boxes[:, 2, 0]
    assert list(profile["slice_px"]) == sorted(set(starts))
    for row, start in enumerate(profile["slice_px"]):
        valid = (starts == start) & (np.array(result.status) == result.status[0])
        np.testing.assert_allclose(profile["tensors"][row], result.tensors[valid].mean(axis=0), atol=1e-12)
        np.testing.assert_allclose(profile["confidence"][row], result.confidence[valid].mean(), atol=1e-12)


def test_a_result_shows_itself_in_notebooks_and_plots(here, dense):
    import matplotlib
    matplotlib.use("Agg")
    result = tevra.analyze(dense.image, 3, subfield=16)
    text = result._repr_html_()
    assert "data:image/png;base64," in text and "anisotropy" in text
    axes = result.plot(slice_index=20)
    assert len(axes.images) == 1 and len(axes.lines) > 0
    axes.figure.savefig("plot.png")
    with pytest.raises(ValueError, match="slice_index"):
        result.plot(slice_index=1000)


def test_fourth_order_tensors_contract_to_second_order_ones(dense):
    result = tevra.analyze(dense.image, 3, subfield=16, fourth_order=True)
    np.testing.assert_allclose(np.einsum("nijkk->nij", result.fourth_order_tensors), result.tensors, atol=1e-9)
    assert tevra.analyze(dense.image, 3).field.fourth_order_tensor is None


def test_lengths_may_have_units(here, dense):
    result = tevra.analyze(dense.image, "1.5um", spacing="0.5um")
    assert result.document == tevra.analyze(dense.image, "0.0015mm", spacing="500nm").document
    assert result.record["input"]["length_unit"] == "um"
    assert result.document == tevra.analyze(dense.image, "3px", spacing="0.5um").document
    assert "mean direction (" in repr(result) and "e-" not in repr(result)
    with pytest.raises(ValueError, match="^fiber_radius: "):
        tevra.analyze(dense.image, "1.5um")
