# SPDX-License-Identifier: BSD-3-Clause
"""Maps as other programs read them hold the same numbers in every format, and say where they lie."""

import re

import support

(np, tifffile, vtk, vtk_numpy) = support.modules("numpy", "tifffile", "vtk", "vtk.util.numpy_support")

MHA_TYPES = {"MET_FLOAT": "<f4", "MET_UCHAR": "u1"}
NRRD_TYPES = {"float": "<f4", "uint8": "u1"}


def read_mha(path):
    """Pixels as (z, y, x[, 3]) and the header, by the format's description."""
    head, _, rest = path.read_bytes().partition(b"ElementDataFile = LOCAL\n")
    fields = dict(line.split(" = ", 1) if " = " in line else (line[:-2], "")
                  for line in head.decode().replace("=  ", "= ").splitlines())
    shape = [int(n) for n in fields["DimSize"].split()][::-1]
    if int(fields.get("ElementNumberOfChannels", 1)) > 1:
        shape.append(int(fields["ElementNumberOfChannels"]))
    return np.frombuffer(rest, MHA_TYPES[fields["ElementType"]]).reshape(shape), fields


def read_nrrd(path):
    head, _, rest = path.read_bytes().partition(b"\n\n")
    lines = head.decode().splitlines()
    fields = dict(line.split(": ", 1) for line in lines[1:] if not line.startswith("#"))
    shape = [int(n) for n in fields["sizes"].split()][::-1]
    return np.frombuffer(rest, NRRD_TYPES[fields["type"]]).reshape(shape), fields


def read_vti(path):
    reader = vtk.vtkXMLImageDataReader()
    errors = []
    reader.AddObserver("ErrorEvent", lambda *_: errors.append("error"))
    reader.SetFileName(str(path))
    reader.Update()
    assert not errors, path
    image = reader.GetOutput()
    array = vtk_numpy.vtk_to_numpy(image.GetPointData().GetArray(0))
    extents = image.GetDimensions()[::-1]
    shape = [n for n in extents] if extents[0] > 1 else list(extents[1:])
    return array.reshape(shape + list(array.shape[1:])), image


class Maps(support.ExportTest):
    def phantom(self, *size):
        self.tevra("phantom", "-o", "image.mha", "--size", ",".join(map(str, size)), "--fiber-radius", "1um",
                   "--spacing", "0.4um", "--volume-fraction", "0.2", "--seed", "5")

    def analyze(self, out, *more):
        self.tevra("analyze", "image.mha", "--fiber-radius", "1um", "-o", out, *more)
        return self.folder / out

    def read(self, folder, name, ending):
        path = folder / f"{name}.{ending}"
        if ending == "mha":
            return read_mha(path)[0]
        if ending == "nrrd":
            return read_nrrd(path)[0]
        if ending == "npy":
            return np.load(path)
        if ending == "vti":
            return read_vti(path)[0]
        pixels = tifffile.imread(path)
        if name == "axes":  # components are ImageJ's channels, before the axes of the image
            pixels = np.moveaxis(pixels, -3, -1)
        return pixels

    def test_every_format_holds_the_same_numbers(self):
        self.phantom(45, 41, 37)
        base = self.analyze("mha", "--maps", "--rgb")
        vectors = self.analyze("axes_mha", "--maps", "--vectors")
        theta = self.read(base, "theta", "mha")
        self.assertEqual(theta.shape, (37, 41, 45))
        self.assertGreater(np.count_nonzero(theta >= 0), 1000)
        for ending in ("nrrd", "npy", "tif", "vti"):
            folder = self.analyze(ending, "--maps", ending, "--rgb")
            for name in ("theta", "phi", "confidence", "rgb"):
                np.testing.assert_array_equal(self.read(folder, name, ending), self.read(base, name, "mha"), name)
            folder = self.analyze("axes_" + ending, "--maps", ending, "--vectors")
            np.testing.assert_array_equal(self.read(folder, "axes", ending), self.read(vectors, "axes", "mha"))
            self.assertFalse((folder / f"theta.{ending}").exists())

    def test_vectors_are_the_axes_that_the_angles_tell(self):
        self.phantom(45, 41, 37)
        folder = self.analyze("angles", "--maps", "npy")
        theta, phi = np.load(folder / "theta.npy"), np.load(folder / "phi.npy")
        axes = np.load(self.analyze("axes", "--maps", "npy", "--vectors") / "axes.npy")
        self.assertEqual(axes.shape, (37, 41, 45, 3))
        fiber = theta >= 0
        expected = np.stack([np.sin(theta) * np.cos(phi), np.sin(theta) * np.sin(phi), np.cos(theta)], -1)
        np.testing.assert_allclose(axes[fiber], expected[fiber], atol=1e-6)
        self.assertTrue((axes[~fiber] == 0).all())

    def test_degrees_are_the_radians_of_the_other_file(self):
        self.phantom(45, 41, 37)
        radians = self.analyze("rad", "--maps", "npy")
        degrees = self.analyze("deg", "--maps", "npy", "--degrees")
        fiber = np.load(radians / "theta.npy") >= 0
        for name, marker in (("theta", -1), ("phi", -181)):
            angle = np.load(degrees / f"{name}.npy")
            np.testing.assert_allclose(angle[fiber], np.degrees(np.load(radians / f"{name}.npy")[fiber]), rtol=1e-6)
            self.assertTrue((angle[~fiber] == marker).all())
        self.assertEqual(self.record("deg")["maps"]["angle_unit"], "deg")
        self.assertEqual(self.record("deg")["maps"]["no_angle"], -181)
        np.testing.assert_array_equal(np.load(radians / "confidence.npy"), np.load(degrees / "confidence.npy"))

    def test_a_stride_leaves_the_pixels_between_out_and_stretches_the_spacing(self):
        self.phantom(45, 41, 37)
        whole = self.analyze("whole", "--maps", "npy", "--rgb")
        axes = self.analyze("axes", "--maps", "npy", "--vectors")
        for ending in ("npy", "tif", "mha", "nrrd", "vti"):
            every = self.analyze("every_" + ending, "--maps", ending, "--rgb", "--stride", "4")
            for name in ("theta", "phi", "confidence", "rgb"):
                np.testing.assert_array_equal(self.read(every, name, ending),
                                              np.load(whole / f"{name}.npy")[::4, ::4, ::4])
            every = self.analyze("few_" + ending, "--maps", ending, "--vectors", "--stride", "4")
            np.testing.assert_array_equal(self.read(every, "axes", ending),
                                          np.load(axes / "axes.npy")[::4, ::4, ::4])
        record = self.record("every_npy")
        self.assertEqual(record["maps"]["size_px"], [12, 11, 10])
        np.testing.assert_allclose(record["maps"]["spacing"], [4 * s for s in record["input"]["spacing"]])
        np.testing.assert_allclose(record["maps"]["first_centre"], [s / 2 for s in record["input"]["spacing"]])

    def test_spacing_and_unit_are_where_the_format_has_them(self):
        self.phantom(45, 41, 37)
        for ending in ("mha", "nrrd", "tif", "vti"):
            self.analyze(ending, "--maps", ending, "--stride", "2")
        spacing, unit = self.record("mha")["maps"]["spacing"], self.record("mha")["maps"]["length_unit"]
        _, fields = read_mha(self.folder / "mha/theta.mha")
        np.testing.assert_allclose([float(n) for n in fields["ElementSpacing"].split()], spacing)
        self.assertEqual(fields["DistanceUnits"], unit)
        self.assertIn("-1 where there is no fiber", fields["Comment"])
        _, fields = read_nrrd(self.folder / "nrrd/phi.nrrd")
        directions = [[float(n) for n in v.split(",")]
                      for v in re.findall(r"\(([^)]*)\)", fields["space directions"])]
        np.testing.assert_allclose(directions, np.diag(spacing))
        self.assertEqual(fields["space units"], " ".join([f'"{unit}"'] * 3))
        with tifffile.TiffFile(self.folder / "tif/phi.tif") as file:
            self.assertTrue(file.is_imagej)
            self.assertEqual(file.imagej_metadata["unit"], unit)
            self.assertAlmostEqual(file.imagej_metadata["spacing"], spacing[2])
            for tag, axis in (("XResolution", 0), ("YResolution", 1)):
                pixels, units = file.pages[0].tags[tag].value
                self.assertAlmostEqual(units / pixels, spacing[axis], 12)
        _, image = read_vti(self.folder / "vti/phi.vti")
        np.testing.assert_allclose(image.GetSpacing(), spacing)
        np.testing.assert_allclose(image.GetOrigin(), [s / 4 for s in spacing])  # half a pixel of the image

    def test_tevra_reads_its_own_maps(self):
        self.phantom(45, 41, 37)
        for ending in ("mha", "nrrd", "npy", "tif"):
            self.analyze(ending, "--maps", ending)
            self.tevra("distance", f"{ending}/theta.{ending}", f"{ending}/phi.{ending}", "--reference", "0,0,1",
                       "-o", f"{ending}.mha")
            np.testing.assert_array_equal(read_mha(self.folder / f"{ending}.mha")[0],
                                          read_mha(self.folder / "mha.mha")[0])

    def test_the_plane_has_one_angle(self):
        self.phantom(90, 70)
        base = self.analyze("mha", "--maps", "--rgb")
        theta = self.read(base, "theta", "mha")
        self.assertEqual(theta.shape, (70, 90))
        fiber = theta >= 0
        axes = np.load(self.analyze("axes", "--maps", "npy", "--vectors") / "axes.npy")
        self.assertEqual(axes.shape, (70, 90, 3))
        np.testing.assert_allclose(axes[fiber][:, :2],
                                   np.stack([np.cos(theta[fiber]), np.sin(theta[fiber])], -1), atol=1e-6)
        self.assertTrue((axes[..., 2] == 0).all())
        degrees = np.load(self.analyze("degrees", "--maps", "npy", "--degrees") / "theta.npy")
        np.testing.assert_allclose(degrees[fiber], np.degrees(theta[fiber]), rtol=1e-6)
        self.assertTrue((~fiber).any() and (degrees[~fiber] == -181).all())
        for ending in ("nrrd", "npy", "tif", "vti"):
            folder = self.analyze(ending, "--maps", ending, "--rgb")
            for name in ("theta", "confidence", "rgb"):
                np.testing.assert_array_equal(self.read(folder, name, ending), self.read(base, name, "mha"), name)
            folder = self.analyze("axes_" + ending, "--maps", ending, "--vectors")
            np.testing.assert_array_equal(self.read(folder, "axes", ending), axes)

    def layers(self):
        """Fibers along x, y and z in three layers one above the other, 36 slices each."""
        z, y, x = np.mgrid[0:36, 0:60, 0:60]

        def fibers(a, b):
            return np.exp(-((a % 12 - 6.0) ** 2 + (b % 12 - 6.0) ** 2) / 9.0)

        image = np.concatenate([fibers(y, z), fibers(x, z), fibers(x, y)])
        np.save(self.folder / "layers.npy", (40 + 160 * image).astype(np.uint8))

    def test_layers_along_x_y_and_z_are_red_green_and_blue(self):
        self.layers()
        self.tevra("analyze", "layers.npy", "--fiber-radius", "3", "--rgb", "--estimator", "hessian", "-o", "out")
        colors, _ = read_mha(self.folder / "out/rgb.mha")
        self.assertFalse((self.folder / "out/theta.mha").exists())
        self.assertEqual(colors.dtype, np.uint8)
        for layer in range(3):
            inside = colors[36 * layer + 9:36 * layer + 27, 12:48, 12:48].reshape(-1, 3).astype(int)
            fiber = inside[inside.any(axis=1)]
            self.assertGreater(len(fiber), 500)
            expected = [255 if channel == layer else 0 for channel in range(3)]
            np.testing.assert_allclose(np.median(fiber, axis=0), expected, atol=3)
            self.assertGreater(np.mean(np.abs(fiber - expected).max(axis=1) <= 20), 0.9)

    def test_colors_of_doubtful_axes_are_greyer_but_as_bright(self):
        self.layers()
        for estimator, out in (("hessian", "sure"), ("line-voting", "voted")):
            self.tevra("analyze", "layers.npy", "--fiber-radius", "3", "--maps", "npy", "--rgb", "--estimator", estimator,
                       "-o", out)
        folder = self.folder / "voted"
        theta, phi = np.load(folder / "theta.npy"), np.load(folder / "phi.npy")
        confidence, colors = np.load(folder / "confidence.npy"), np.load(folder / "rgb.npy").astype(float)
        fiber = theta >= 0
        axes = np.stack([np.sin(theta) * np.cos(phi), np.sin(theta) * np.sin(phi), np.cos(theta)], -1)[fiber]
        full = np.round(255 * np.abs(axes))
        grey = full @ [0.2126, 0.7152, 0.0722]
        share = np.clip(confidence[fiber], 0, 1)[:, None]
        np.testing.assert_allclose(colors[fiber], grey[:, None] + share * (full - grey[:, None]), atol=1.01)
        self.assertTrue((colors[~fiber] == 0).all())
        self.assertFalse((self.folder / "sure/confidence.npy").exists())

    def test_wrong_wishes_are_refused(self):
        self.phantom(45, 41, 37)
        image = ("analyze", "image.mha", "--fiber-radius", "1um", "-o", "out")
        for words, part in ((("--maps", "tiff"), "none of tif, mha, nrrd, npy, vti"), (("--degrees",), "--maps"),
                            (("--maps", "--vectors", "--degrees"), "angles only"), (("--stride", "2"), "--maps"),
                            (("--maps", "--stride", "0"), "--stride"), (("--maps=tif,npy",), "one format")):
            self.assertIn(part, self.tevra(*image, *words, status=2).stderr)
        self.assertFalse((self.folder / "out").exists())

    def test_maps_without_a_format_leave_the_next_word_alone(self):
        self.phantom(45, 41, 37)
        self.tevra("analyze", "--fiber-radius", "1um", "-o", "out", "--maps", "image.mha")
        self.assertTrue((self.folder / "out/theta.mha").exists())


if __name__ == "__main__":
    support.main()
