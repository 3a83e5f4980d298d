# SPDX-License-Identifier: BSD-3-Clause
"""What goes wrong, and how it is told."""

import os
import signal
import subprocess
import sys
import threading
import time

import numpy as np
import pytest

import tevra
from conftest import lines_image

IMAGE = lines_image((32, 32, 32))


@pytest.mark.parametrize("arguments, error", [
    ({"fiber_radius": "x"}, ValueError), ({"fiber_radius": -1}, ValueError), ({"fiber_radius": None}, TypeError),
    ({"fiber_radius": float("nan")}, ValueError), ({"fiber_radius": True}, TypeError), ({"fiber_radius": 40}, ValueError),
    ({"fiber_radius": 0.3}, ValueError), ({"estimator": "magic"}, ValueError), ({"estimator": 3}, TypeError),
    ({"subfield": 0}, ValueError), ({"subfield": (8, 8)}, ValueError), ({"subfield": 2.5}, TypeError),
    ({"subfield": 30}, ValueError), ({"subfield_count": 1000}, ValueError), ({"mask": np.zeros((3, 3, 3), bool)}, ValueError),
    ({"mask": "nowhere.tif"}, tevra.Error), ({"mask": np.zeros((32, 32, 32))}, TypeError), ({"spacing": 0}, ValueError),
    ({"spacing": ("1um", "1mm", "1um")}, ValueError), ({"otsu_factor": 0}, ValueError), ({"threshold": "a"}, TypeError),
    ({"grey_window": (5, 1)}, ValueError), ({"grey_window": 5}, TypeError), ({"threads": 0}, ValueError), ({"threads": 1.5}, TypeError),
    ({"memory": "much"}, ValueError), ({"memory": -1}, ValueError), ({"progress": 3}, TypeError),
    ({"fourth_order": "yes"}, TypeError), ({"dark_fibers": 1}, TypeError), ({"maps": "no/such/folder"}, ValueError),
    ({"maps": 3}, TypeError), ({"raw": "1,2,u8"}, ValueError), ({"scratch": 3}, TypeError),
    ({"report": 1}, TypeError), ({"exports": "stone"}, ValueError), ({"reference": (0, 0, 0)}, ValueError),
    ({"along": 1, "estimator": "hessian"}, ValueError), ({"along": 1000}, ValueError),
    ({"window_sigma": 1000, "estimator": "structure-tensor"}, ValueError),
    ({"gradient_sigma": "1000px", "estimator": "structure-tensor"}, ValueError), ({"spacing": "1px"}, ValueError),
    ({"border": -1}, ValueError), ({"border": 20}, ValueError), ({"fiber_radius": 12}, ValueError),
    ({"fiber_radius": 10**400}, ValueError), ({"memory": 10**30}, ValueError), ({"subfield": 10**30}, ValueError),
    ({"exports": 3}, TypeError), ({"reference": (1, 0)}, ValueError), ({"window_sigma": 2}, ValueError), ({"gradient_sigma": 0, "estimator": "structure-tensor"}, ValueError)])
def test_wrong_arguments_are_named(arguments, error):
    arguments = {"fiber_radius": 3, **arguments}
    name = next(key for key in arguments if key != "fiber_radius" or len(arguments) == 1)
    with pytest.raises(error, match=f"^{name}[:' ]" if error is not tevra.Error else "") as caught:
        tevra.analyze(IMAGE, **arguments)
    assert "\n" not in str(caught.value)
    assert "--" not in str(caught.value), "no option of the command line"


@pytest.mark.parametrize("more", [{"mask": IMAGE > 9, "threshold": 3}, {"threshold": 3, "otsu_factor": 1.0},
                                  {"subfield_count": 2, "subfield": 8}])
def test_contradictions_are_refused(more):
    with pytest.raises(ValueError, match=f"^{next(iter(more))}: excludes"):
        tevra.analyze(IMAGE, 3, **more)


def test_what_cannot_be_done_is_an_error_of_its_own():
    assert issubclass(tevra.Error, RuntimeError) and issubclass(tevra.Cancelled, tevra.Error)
    with pytest.raises(tevra.Error, match="same grey value"):
        tevra.analyze(np.zeros((16, 16, 16), np.uint8), 2)
    with pytest.raises(tevra.Error, match="threshold"):
        tevra.analyze(IMAGE, 3, threshold=1000)
    with pytest.raises(tevra.Error, match="mask"):
        tevra.analyze(IMAGE, 3, mask=np.zeros(IMAGE.shape, bool))
    with pytest.raises(tevra.Error, match="nowhere"):
        tevra.analyze("nowhere.tif", 3)
    with pytest.raises(tevra.Error, match="memory"):
        tevra.analyze(IMAGE, 3, memory=1000, maps=False)
    with pytest.raises(tevra.Error, match="maps=False"):
        tevra.analyze(IMAGE, 3, memory=1000)
    with pytest.raises(tevra.Error, match="value"):
        tevra.analyze(IMAGE, 3, mask=np.arange(IMAGE.size, dtype=np.uint16).reshape(IMAGE.shape))


def test_a_folder_that_cannot_be_written_is_an_error_and_the_result_stays(here):
    result = tevra.analyze(IMAGE, 3)
    (here / "file").write_text("")
    with pytest.raises(tevra.Error, match="file"):
        result.save(here / "file")
    result.save(here / "folder")
    assert (here / "folder" / "result.json").exists()


def test_files_are_called_by_the_names_they_were_to_have(here):
    code = ("import resource, signal, tevra\n"
            "result = tevra.analyze(tevra.phantom((40, 40, 40), 3).image, 3)\n"
            "signal.signal(signal.SIGXFSZ, signal.SIG_IGN)\n"
            "resource.setrlimit(resource.RLIMIT_FSIZE, (20000, 20000))\n"
            "try: result.save('out')\nexcept tevra.Error as error: print(error)\n")
    said = subprocess.run([sys.executable, "-W", "ignore", "-c", code], check=True, capture_output=True, text=True).stdout
    assert "out/" in said and "File too large" in said and ".tevra-" not in said
    assert not (here / "out").exists()


def test_a_run_that_fails_leaves_no_maps_and_those_of_before(here):
    tevra.orientation(IMAGE, 3, maps=here)
    maps = {path.name: path.read_bytes() for path in here.iterdir()}
    assert sorted(maps) == ["confidence.npy", "phi.npy", "theta.npy"]
    with pytest.raises(tevra.Cancelled):
        tevra.orientation(IMAGE, 2, maps=here, progress=lambda *_: False)
    with pytest.raises(ValueError, match="^along"):
        tevra.orientation(IMAGE, 2, maps=here, along=1000)
    assert {path.name: path.read_bytes() for path in here.iterdir()} == maps


def test_maps_may_replace_the_image_they_are_made_of(here):
    np.save("theta.npy", IMAGE)
    image = np.load("theta.npy", mmap_mode="r")
    field = tevra.orientation(image, 3, maps=here)
    np.testing.assert_array_equal(field.theta, tevra.orientation(IMAGE, 3).theta)
    np.testing.assert_array_equal(np.load("theta.npy"), field.theta)


def test_a_reference_out_of_the_plane_is_refused():
    with pytest.raises(ValueError, match="^reference: leads out of the plane"):
        tevra.analyze(IMAGE[4], 3, reference=(1, 0, 1))
    tevra.analyze(IMAGE[4], 3, reference=(1, 0))


def test_a_border_of_0_may_be_a_text():
    assert tevra.analyze(IMAGE, 3, border="0").record["parameters"]["border_px"] == [0, 0, 0]


def test_what_was_not_computed_is_an_error():
    estimators = (tevra.HessianOrientations(), tevra.LineVoting(), tevra.StructureTensor(), tevra.FilterOrientations(12, 4))
    for estimator in estimators:
        with pytest.raises(tevra.Error, match="compute first"):
            estimator.orientation_tensor()
    bank = estimators[-1].compute(IMAGE, resolution="coarse")
    assert bank.index.shape == IMAGE.shape
    with pytest.raises(tevra.Cancelled):
        bank.compute(IMAGE[:16], resolution="coarse", progress=lambda *_: False)
    with pytest.raises(tevra.Error, match="compute first"):
        bank.index


def test_a_mapped_image_is_not_replaced_by_its_results(here):
    np.save("theta.npy", IMAGE)
    os.mkdir("results")
    os.rename("theta.npy", "results/result.json")
    image = np.memmap("results/result.json", np.uint8, "r", 128, IMAGE.shape)
    with pytest.raises(tevra.Error, match="result.json"):
        tevra.analyze(image, 3).save("results")
    assert (here / "results/result.json").read_bytes()[:6] == b"\x93NUMPY"


def test_progress_is_told_from_the_beginning_to_the_end():
    told = []
    tevra.analyze(IMAGE, 3, progress=lambda done, total, text: told.append((done, total, text)))
    assert told[0][0] == 0 and told[-1][0] == told[-1][1]
    assert [done for done, _, _ in told] == sorted(done for done, _, _ in told)
    assert any(text for _, _, text in told)


@pytest.mark.parametrize("estimator", tevra.ESTIMATORS)
def test_progress_that_returns_false_cancels(estimator):
    image = tevra.phantom((64, 64, 64), 3, overlap=True).image
    calls = []

    def stop(done, total, text):
        calls.append(done)
        return False
    with pytest.raises(tevra.Cancelled):
        tevra.analyze(image, 3, estimator=estimator, progress=stop)
    assert len(calls) == 1
    assert tevra.analyze(IMAGE, 3, progress=lambda *_: None).foreground.any(), "None goes on"


def test_a_cancelled_run_leaves_no_file(here):
    with pytest.raises(tevra.Cancelled):
        tevra.analyze(IMAGE, 3).save("out", progress=lambda *_: False)
    assert not (here / "out").exists()


def test_what_the_progress_function_raises_passes_through():
    class Mine(Exception):
        pass

    def fail(*_):
        raise Mine("enough")
    for work in (lambda: tevra.analyze(IMAGE, 3, progress=fail), lambda: tevra.phantom((32, 32, 32), 3, progress=fail),
                 lambda: tevra.HessianOrientations().compute(IMAGE, 3, progress=fail),
                 lambda: tevra.FilterOrientations(12, 4).compute(IMAGE, progress=fail)):
        with pytest.raises(Mine, match="enough"):
            work()


def test_ctrl_c_cancels():
    image = tevra.phantom((128, 128, 128), 3, overlap=True).image
    timer = threading.Timer(0.15, lambda: os.kill(os.getpid(), signal.SIGINT))
    start = time.perf_counter()
    timer.start()
    with pytest.raises(KeyboardInterrupt):
        while time.perf_counter() < start + 60:
            tevra.analyze(image, 3, threads=1)
    assert time.perf_counter() - start < 10
    assert tevra.analyze(IMAGE, 3).foreground.any()


def test_warnings_name_arguments():
    sparse = IMAGE.copy()
    sparse[:, 8:] = 40
    with pytest.warns(tevra.ResultWarning, match="otsu_factor"):
        result = tevra.analyze(sparse, 3, estimator="hessian", threshold=90)
    assert result.record["warnings"]


def test_a_folder_that_lacks_slices_is_warned_of(here):
    for number in (*range(1, 13), *range(14, 33)):
        tevra.write(f"s{number:02}.tif", np.ascontiguousarray(IMAGE[number - 1]))
    with pytest.warns(tevra.ResultWarning, match="lack slices: no file has the number 13;"):
        tevra.analyze(here, 3, maps=False)


def test_values_that_lose_their_contrast_as_floats_are_warned_of(here):
    (IMAGE.astype("<u4") + 4_000_000_001).tofile("image.raw")
    with pytest.warns(tevra.ResultWarning, match="were rounded to 32-bit float"):
        tevra.analyze("image.raw", 3, raw="32,32,32,u32", maps=False)


def test_the_module_needs_no_more_than_numpy():
    code = ("import sys\nfor name in ('pandas', 'matplotlib', 'skimage', 'scipy'): sys.modules[name] = None\n"
            "import tevra, numpy as np\nresult = tevra.analyze(tevra.phantom((32, 32), 2).image, 2, subfield=9)\n"
            "result._repr_html_()\n"
            "for call in (result.to_dataframe, result.plot):\n"
            "    try: call()\n    except ImportError as error: print(error)\n")
    run = subprocess.run([sys.executable, "-W", "ignore", "-c", code], capture_output=True, text=True)
    assert run.returncode == 0, run.stderr
    assert "pandas" in run.stdout and "matplotlib" in run.stdout


@pytest.mark.parametrize("arguments", [
    {"shape": (8,)}, {"shape": 8}, {"fiber_radius": 0}, {"volume_fraction": 0}, {"beta": -1}, {"axis": (0, 0, 0)},
    {"layout": "chaos"}, {"grey": (0, 300)}, {"noise": -1}, {"seed": -1}, {"hole": -1}, {"spacing": 0}, {"wave": 3},
    {"fiber_distance": 9}, {"bundle_radius": 9}, {"layer_angles": (0,)}, {"layer_rows": 0}, {"symmetry_axis": (1,)},
    {"planar": 1}, {"overlap": 1}, {"blur": "much"}, {"volume_fraction": 0.39}, {"fiber_radius": 20}, {"hole": 5},
    {"fiber_radius": 0.2, "overlap": True}, {"beta": 1e9}, {"grey": (9, 9)}, {"bundle_radius": 5, "layout": "bundles"}])
def test_wrong_arguments_of_phantoms_are_named(arguments):
    with pytest.raises((TypeError, ValueError), match=f"^{next(iter(arguments))}[: ]"):
        tevra.phantom(**{"shape": (32, 32, 32), **arguments})
