# SPDX-License-Identifier: BSD-3-Clause
"""fields.vtu as VTK reads it holds what result.json holds, at the same places."""

import csv
import math
import sys

import support

(vtk, np, vtk_numpy) = support.modules("vtk", "numpy", "vtk.util.numpy_support")

AXES = "xyz"


class FieldsInVtk(support.ExportTest):
    def read(self, folder="out"):
        reader = vtk.vtkXMLUnstructuredGridReader()
        errors = []
        reader.AddObserver("ErrorEvent", lambda *_: errors.append("error"))
        reader.SetFileName(str(self.folder / folder / "fields.vtu"))
        reader.Update()
        self.assertEqual(errors, [])
        return reader.GetOutput()

    def cells(self, grid):
        """Arrays by name, one row per cell."""
        data = grid.GetCellData()
        return {data.GetArrayName(i): vtk_numpy.vtk_to_numpy(data.GetArray(i))
                for i in range(data.GetNumberOfArrays())}

    def expect_field(self, cells, i, field, dim):
        tensor = cells["orientation_tensor"][i].reshape(3, 3)
        for row in range(3):
            for col in range(3):
                inside = row < dim and col < dim
                expected = field["Orientation tensor"][AXES[row] + AXES[col]] if inside else 0.0
                self.assertEqual(tensor[row, col], expected, AXES[row] + AXES[col])
        for axis in range(dim):
            self.assertEqual(cells["eigenvalues"][i][axis],
                             field["Eigenvalues of the orientation tensor"][str(axis)])
            self.assertEqual(cells["mean_axis"][i][axis], field["Mean fiber direction"][AXES[axis]])
        self.assertEqual(cells["anisotropy"][i], field["Anisotropy value"])

    def expect_place(self, grid, i, field, spacing):
        area = field["Evaluated area"]
        bounds = grid.GetCell(i).GetBounds()
        for axis in range(len(spacing)):
            self.assertAlmostEqual(bounds[2 * axis], area[AXES[axis] + "0"] * spacing[axis], 12)
            self.assertAlmostEqual(bounds[2 * axis + 1], area[AXES[axis] + "1"] * spacing[axis], 12)

    def expect_subfields(self, dim, spacing):
        grid = self.read()
        cells = self.cells(grid)
        result = self.result()
        fields = {name: field for name, field in result["Subfields"].items() if name.startswith("(")}
        self.assertEqual(grid.GetNumberOfCells(), len(fields))
        with open(self.folder / "out/subfields.csv", encoding="utf-8", newline="") as table:
            rows = list(csv.DictReader(table))
        by_corner = {tuple(field["Evaluated area"][a + "0"] for a in AXES[:dim]): field
                     for field in fields.values()}
        empty = 0
        for i, row in enumerate(rows):
            field = by_corner[tuple(cells["lower_px"][i][:dim])]
            self.expect_place(grid, i, field, spacing)
            self.assertEqual(cells["lower_px"][i][0], int(row["x0_px"]))
            self.assertEqual(cells["foreground_pixels"][i], int(row["foreground_pixels"]))
            self.assertEqual(cells["foreground_fraction"][i], float(row["foreground_fraction"]))
            if int(row["foreground_pixels"]) == 0:
                empty += 1
                self.assertEqual(cells["status"][i], 2)
                self.assertTrue(np.isnan(cells["orientation_tensor"][i]).all())
                self.assertTrue(np.isnan(cells["mean_axis"][i]).all())
            else:
                self.expect_field(cells, i, field, dim)
                self.assertEqual(cells["mean_confidence"][i], float(row["mean_confidence"]))
                self.assertEqual(cells["doubtful_fraction"][i], float(row["doubtful_fraction"]))
                self.assertEqual(cells["difference_rad"][i], field["Difference to global direction"])
                self.assertEqual(cells["status"][i], 0 if field["Status"] == "ok" else 1)
        return grid, empty

    def test_subfields_lie_where_they_lie_and_hold_their_tensors(self):
        self.tevra("phantom", "-o", "image.mha", "--size", "60,52,44", "--fiber-radius", "1um", "--spacing", "0.5um",
                   "--volume-fraction", "0.2", "--seed", "3")
        mask = np.ones((44, 52, 60), np.uint8)
        mask[:20, :20, :20] = 0
        np.save(self.folder / "mask.npy", mask)
        self.tevra("analyze", "image.mha", "--fiber-radius", "1um", "--subfield", "15,14,12", "--mask", "mask.npy",
                   "--spacing", "0.4um,0.5um,0.7um", "--export", "vtk", "-o", "out")
        spacing = self.record()["input"]["spacing"]
        grid, empty = self.expect_subfields(3, spacing)
        self.assertGreater(empty, 0)
        self.assertGreater(grid.GetNumberOfCells(), 20)
        # Neighbours share their corners; the order of points makes cells of positive volume.
        self.assertLess(grid.GetNumberOfPoints(), 4 * grid.GetNumberOfCells())
        sizes = vtk.vtkCellSizeFilter()
        sizes.SetInputData(grid)
        sizes.Update()
        volumes = vtk_numpy.vtk_to_numpy(sizes.GetOutput().GetCellData().GetArray("Volume"))
        pixel = math.prod(spacing)
        np.testing.assert_allclose(volumes, 15 * 14 * 12 * pixel, rtol=1e-9)
        # What is right when it is read as a tensor, as glyphs read it.
        self.assertEqual(grid.GetCellData().GetTensors().GetName(), "orientation_tensor")
        self.assertEqual(grid.GetCellData().GetVectors().GetName(), "mean_axis")

    def test_the_whole_field_is_field_data_and_the_cell_without_subfields(self):
        self.tevra("phantom", "-o", "image.mha", "--size", "40,36,32", "--fiber-radius", "2", "--volume-fraction", "0.2")
        self.tevra("analyze", "image.mha", "--fiber-radius", "2", "--export", "vtk", "-o", "out")
        grid = self.read()
        field = self.result()["Field"]
        self.assertEqual(grid.GetNumberOfCells(), 1)
        self.expect_field(self.cells(grid), 0, field, 3)
        self.expect_place(grid, 0, field, [1.0, 1.0, 1.0])
        data = grid.GetFieldData()
        tensor = vtk_numpy.vtk_to_numpy(data.GetArray("field_tensor")).reshape(3, 3)
        self.assertEqual(tensor[0, 2], field["Orientation tensor"]["xz"])
        self.assertEqual(tensor[1, 2], field["Orientation tensor"]["yz"])
        self.assertEqual(data.GetAbstractArray("length_unit").GetValue(0), "px")
        source = data.GetAbstractArray("source").GetValue(0)
        self.assertIn("image.mha", source)
        self.assertIn(self.record()["input"]["checksum"], source)
        self.assertIn(self.record()["version"], source)

    def test_a_plane_is_made_of_quadrilaterals(self):
        self.tevra("phantom", "-o", "image.mha", "--size", "120,90", "--fiber-radius", "2", "--volume-fraction", "0.2",
                   "--spacing", "0.25")
        self.tevra("analyze", "image.mha", "--fiber-radius", "0.5", "--subfield", "30,25", "--export", "vtk",
                   "-o", "out")
        grid, _ = self.expect_subfields(2, self.record()["input"]["spacing"])
        self.assertEqual(grid.GetCellType(0), vtk.VTK_QUAD)
        self.assertEqual(grid.GetBounds()[4:], (0.0, 0.0))


if __name__ == "__main__":
    support.main()
