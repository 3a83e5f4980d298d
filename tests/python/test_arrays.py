# SPDX-License-Identifier: BSD-3-Clause
"""Where arrays lie, how long they live, and which are taken."""

import gc
import gzip
import resource
import subprocess
import sys
import threading
import time

import numpy as np
import pytest

import tevra
from tevra import _tevra


@pytest.mark.parametrize("dtype", [np.uint8, np.uint16, np.float32])
def test_contiguous_arrays_are_read_where_they_lie(dtype):
    array = np.ones((4, 5, 6), dtype)
    assert _tevra.reader_of("image", array).address == array.ctypes.data
    assert _tevra.reader_of("image", array[1:]).address == array[1:].ctypes.data
    assert _tevra.ArrayImage("image", array).address == array.ctypes.data


def test_other_layouts_are_sliced_not_copied_whole():
    for array in (np.ones((4, 5, 6), "u1", order="F"), np.ones((4, 5, 6), ">u2"), np.ones((4, 5, 12), "u1")[..., ::2]):
        assert _tevra.reader_of("image", array).address is None
    misaligned = np.frombuffer(b"\0" * 121, "u1")[1:].view("<f4").reshape(2, 3, 5)
    assert _tevra.reader_of("image", misaligned).address is None


@pytest.mark.parametrize("dtype", [np.int8, np.int16, np.float64, np.complex64, bool, "S1", object, np.uint32])
def test_other_types_are_refused_by_name(dtype):
    with pytest.raises(TypeError, match="^image: has dtype .*uint8, uint16 or float32"):
        tevra.analyze(np.zeros((8, 8, 8), dtype), 2)


@pytest.mark.parametrize("image, error", [
    (np.zeros(8, np.uint8), ValueError), (np.zeros((2, 3, 4, 5), np.uint8), ValueError),
    (np.zeros((0, 5, 5), np.uint8), ValueError), ([[1, 2], [3, 4]], TypeError), (None, TypeError), (3, TypeError)])
def test_what_is_no_image_is_refused_by_name(image, error):
    with pytest.raises(error, match="^image: "):
        tevra.analyze(image, 2)


class Sliceable:
    """Like a dataset: shape, dtype and slices, and an account of them."""

    def __init__(self, array, chunks=None):
        self.array, self.shape, self.dtype, self.chunks = array, array.shape, array.dtype, chunks
        self.asked = []

    def __getitem__(self, key):
        key = key[0] if isinstance(key, tuple) else key
        self.asked.append((key.start, key.stop))
        return self.array[key]


def test_anything_sliceable_is_read_a_few_slices_at_a_time(dense):
    image = Sliceable(dense.image, chunks=(5, 64, 64))
    result = tevra.analyze(image, 3, subfield=16)
    assert result.document == tevra.analyze(dense.image, 3, subfield=16).document
    assert max(stop - start for start, stop in image.asked) == 5, "the chunk's slices"
    assert {start % 5 for start, _ in image.asked} == {0}, "whole chunks"


def test_hdf5_zarr_and_mapped_arrays_give_the_result_of_the_array(here, dense):
    import h5py
    import zarr
    expected = tevra.analyze(dense.image, 3, subfield=16).document
    with h5py.File("a.h5", "w") as file:
        file.create_dataset("v", data=dense.image, chunks=(10, 20, 30))
    with h5py.File("a.h5", "r") as file:
        assert tevra.analyze(file["v"], 3, subfield=16).document == expected
    stored = zarr.array(dense.image, chunks=(10, 20, 30))
    assert tevra.analyze(stored, 3, subfield=16).document == expected
    np.save("a.npy", dense.image)
    for mode in ("r", "c", "r+"):
        mapped = np.load("a.npy", mmap_mode=mode)
        assert tevra.analyze(mapped, 3, subfield=16).document == expected
        np.testing.assert_array_equal(mapped, dense.image)


def test_pages_of_the_callers_own_changes_stay(here, dense):
    np.save("a.npy", dense.image)
    mapped = np.load("a.npy", mmap_mode="c")
    mapped[:] = 255 - mapped
    tevra.analyze(mapped, 3)
    np.testing.assert_array_equal(mapped, 255 - dense.image)


def test_what_slicing_raises_arrives_as_it_is(dense):
    class Broken(Sliceable):
        def __getitem__(self, key):
            if (key[0] if isinstance(key, tuple) else key).start:
                raise OSError("the disk is gone")
            return super().__getitem__(key)
    with pytest.raises(OSError, match="the disk is gone"):
        tevra.analyze(Broken(dense.image, chunks=(5, 1, 1)), 3)

    class Short(Sliceable):
        def __getitem__(self, key):
            return super().__getitem__(key)[:, 1:]
    with pytest.raises(ValueError, match="another shape"):
        tevra.analyze(Short(dense.image), 3)


PEAK = """
import sys
import numpy as np, tevra

def peak():  # of this process alone: ru_maxrss begins with that of the one that started it
    with open("/proc/self/status") as status:
        return next(int(line.split()[1]) for line in status if line.startswith("VmHWM:"))

image = np.load(sys.argv[1], mmap_mode="r")
tevra.analyze(image[:8, :64, :64].copy(), 2, estimator="hessian", maps=False, threads=1)
before = peak()
tevra.analyze(image, 2, estimator="hessian", maps=False, threads=1, memory=sys.argv[2], scratch=sys.argv[3])
print((peak() - before) // 1024)
"""


def test_a_mapped_array_is_analysed_in_less_memory_than_it_takes(here):
    phantom = tevra.phantom((64, 256, 256), 2, volume_fraction=0.05, overlap=True)
    volume = np.lib.format.open_memmap("large.npy", "w+", np.float32, (640, 256, 256))
    for start in range(0, 640, 64):
        volume[start:start + 64] = phantom.image
    volume.flush()
    del volume  # 160 MB
    run = subprocess.run([sys.executable, "-c", PEAK, "large.npy", "100M", str(here)], check=True, capture_output=True,
                         text=True)
    assert int(run.stdout) < 100, f"{run.stdout} MB above those of a small run"


def test_results_and_images_may_go_in_any_order(dense):
    def settled():
        gc.collect()
        return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss

    expected = None
    for turn in range(40):
        image = dense.image.copy()
        result = tevra.analyze(image, 3, subfield=16, threads=2)
        estimator = tevra.HessianOrientations().compute(image, 3)
        first = estimator.theta, estimator.phi
        view = result.theta[::2, 1:, :]
        tensors = result.tensors
        image[:] = 0
        del image
        estimator.compute(dense.image[:, ::-1].copy(), 3)
        del result, estimator
        gc.collect()
        state = [float(view.sum()), float(tensors.sum()), float(first[0].sum()), float(first[1].sum())]
        assert expected is None or state == expected, turn
        expected = state
        if turn == 20:
            middle = settled()
    assert settled() < middle + 30 * 1024, "no memory is kept from turn to turn"


def test_lent_maps_cannot_be_written_to(dense):
    theta = tevra.HessianOrientations().compute(dense.image, 3).theta
    with pytest.raises(ValueError):
        theta[0] = 0


def test_the_image_is_let_go_of(dense):
    import weakref

    class Named(np.ndarray):
        pass
    image = dense.image.copy().view(Named)
    seen = weakref.ref(image)
    result = tevra.analyze(image, 3)
    del image
    gc.collect()
    assert seen() is None
    result.save  # the result lives on


@pytest.mark.parametrize("work", [
    lambda image, folder: tevra.analyze(image, 3, threads=1, estimator="hessian", otsu_factor=1),
    lambda image, folder: tevra.LineVoting().compute(image, 3, threads=1),
    lambda image, folder: tevra.HessianOrientations().compute(image, 3, threads=1),
    lambda image, folder: tevra.FilterOrientations(12, 6).compute(image[:96, :96, :96].copy(), resolution="coarse",
                                                                           threads=1),
    lambda image, folder: tevra.phantom((256, 192, 192), 3, overlap=True),
    lambda image, folder: tevra.read(folder / "packed.nrrd"),
], ids=["analyze", "line_voting", "hessian", "filter", "phantom", "read"])
def test_other_threads_run_meanwhile(work, tmp_path):
    image = np.random.default_rng(1).integers(0, 200, (160, 128, 128), "u1")
    (tmp_path / "packed.nrrd").write_bytes(b"NRRD0004\ntype: uint8\ndimension: 3\nsizes: 128 128 1280\nencoding: gzip\n\n"
                                           + gzip.compress(image.tobytes() * 8, 1))

    def longest_gap():
        """Between two looks of another thread, as a share of the time that the work took."""
        gaps, done = [], threading.Event()

        def watch():
            last = time.perf_counter()
            while not done.is_set():
                time.sleep(0.001)
                now = time.perf_counter()
                gaps.append(now - last)
                last = now
        watcher = threading.Thread(target=watch)
        watcher.start()
        start = time.perf_counter()
        work(image, tmp_path)
        took = time.perf_counter() - start
        done.set()
        watcher.join()
        return max(gaps) / took
    # A busy machine lets the other thread wait as well, but not every time.
    assert any(longest_gap() < 0.5 for _ in range(3)), "the interpreter was locked"


def test_threads_share_no_estimator_but_analyse_side_by_side(dense):
    expected = tevra.analyze(dense.image, 3).document
    found = []
    threads = [threading.Thread(target=lambda: found.append(tevra.analyze(dense.image, 3, threads=1).document))
               for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert found == [expected] * 4

    estimator = tevra.HessianOrientations()
    refusals = []

    def look(done, total, text):
        try:
            estimator.threshold
        except tevra.Error as error:
            refusals.append(str(error))
    estimator.compute(dense.image, 3, progress=look)
    assert refusals and "another thread" in refusals[0]


def test_rank_4_tensors_are_views():
    tensor = tevra.TensorRank4(3)
    view = tensor.array
    view[0, 1, 2, 0] = 5
    assert tensor.array[0, 1, 2, 0] == 5
    assert np.shares_memory(view, tensor.array)
    del tensor
    gc.collect()
    assert view[0, 1, 2, 0] == 5
    first, second = tevra.TensorRank4(2), tevra.TensorRank4(2)
    first.array[...] = 1
    second.array[...] = np.arange(16).reshape(2, 2, 2, 2)
    first += second
    first /= 2
    np.testing.assert_array_equal(np.asarray(first), (1 + second.array) / 2)
    assert isinstance(first, tevra.TensorRank4)
    assert np.shares_memory(np.asarray(first), first.array) and np.asarray(first, np.float32).dtype == np.float32
    assert not np.shares_memory(first.__array__(copy=True), first.array)
    with pytest.raises(ValueError, match="copy"):
        first.__array__(np.float32, copy=False)
    for wrong in (1, 4):
        with pytest.raises(ValueError, match="^dim"):
            tevra.TensorRank4(wrong)
    with pytest.raises(ValueError, match="dimension"):
        first += tevra.TensorRank4(3)
