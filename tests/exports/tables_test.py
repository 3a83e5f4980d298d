# SPDX-License-Identifier: BSD-3-Clause
"""Tables for other programs, read as people read them, hold what result.json holds."""

import csv
import math

import support

(np,) = support.modules("numpy")

ORDERS = {
    "plain": ["11", "22", "33", "12", "13", "23"],
    "voigt": ["11", "22", "33", "23", "13", "12"],
    "abaqus": ["11", "22", "33", "12", "13", "23"],
    "moldflow": ["11", "22", "33", "12", "13", "23"],
}


def table(path):
    """The lines of the head without "#", and the rows by column."""
    lines = path.read_text(encoding="utf-8").splitlines()
    head = [line[1:].strip() for line in lines if line.startswith("#")]
    return head, list(csv.DictReader(line for line in lines if not line.startswith("#")))


class Tables(support.ExportTest):
    def analyze(self, *more):
        self.tevra("phantom", "-o", "image.mha", "--size", "44,40,36", "--fiber-radius", "2", "--volume-fraction", "0.2",
                   "--spacing", "0.5")
        self.tevra("analyze", "image.mha", "--fiber-radius", "1", "--subfield", "12", "-o", "out", *more)

    def fields(self):
        subfields = self.result()["Subfields"]
        return {"s" + name.strip("()").replace(",", "_"): field
                for name, field in subfields.items() if name.startswith("(")}

    def test_simulation_orders_name_their_columns_and_hold_the_components(self):
        self.analyze("--export", "plain,voigt,abaqus,moldflow")
        fields = {"field": self.result()["Field"], **self.fields()}
        self.assertGreater(len(fields), 10)
        for name, order in ORDERS.items():
            head, rows = table(self.folder / f"out/tensors_{name}.csv")
            self.assertEqual(list(rows[0])[-6:], ["a" + component for component in order])
            self.assertIn("order " + name + ": " + " ".join("a" + c for c in order), head[0])
            self.assertIn("not doubled", head[1])
            self.assertIn(self.record()["input"]["checksum"], head[-1])
            self.assertEqual([row["id"] for row in rows], list(fields))
            for row in rows:
                field = fields[row["id"]]
                for component in order:
                    key = "".join("xyz"[int(digit) - 1] for digit in component)
                    self.assertEqual(float(row["a" + component]), field["Orientation tensor"][key])
                area = field["Evaluated area"]
                for axis in "xyz":
                    centre = (area[axis + "0"] + area[axis + "1"]) / 2 * 0.5
                    self.assertAlmostEqual(float(row[f"center_{axis}_mm"]), centre, 12)

    def test_the_plane_has_three_components(self):
        self.tevra("phantom", "-o", "image.mha", "--size", "80,70", "--fiber-radius", "2", "--volume-fraction", "0.2")
        self.tevra("analyze", "image.mha", "--fiber-radius", "2", "-o", "out", "--export", "voigt")
        _, rows = table(self.folder / "out/tensors_voigt.csv")
        self.assertEqual(list(rows[0]), ["id", "center_x_px", "center_y_px", "foreground_fraction", "a11", "a22", "a12"])
        self.assertEqual(float(rows[0]["a12"]), self.result()["Field"]["Orientation tensor"]["xy"])

    def test_unknown_orders_are_refused_with_the_known_ones_nearest_first(self):
        run = self.tevra("analyze", "image.mha", "--fiber-radius", "2", "-o", "out", "--export", "plain,abacus",
                         status=2)
        self.assertIn("'abacus' is none of abaqus, plain, voigt, moldflow, vtk", run.stderr)

    def test_fourth_order_tensors_are_their_independent_components(self):
        self.analyze("--fourth-order")
        _, rows = table(self.folder / "out/subfields_a4.csv")
        fields = self.fields()
        names = [a + b + c + d for a in "xyz" for b in "xyz" for c in "xyz" for d in "xyz" if a <= b <= c <= d]
        self.assertEqual(len(names), 15)
        self.assertEqual(list(rows[0]), ["id", *("a_" + name for name in names)])
        for row in rows:
            for name in names:
                self.assertEqual(float(row["a_" + name]), fields[row["id"]]["Fourth order Orientation tensor"][name])

    def test_shape_strength_and_angle_to_the_reference_are_those_of_the_tensor(self):
        reference = np.array([1.0, 2.0, -2.0]) / 3.0
        self.analyze("--reference", "2,4,-4")
        np.testing.assert_allclose(self.record()["parameters"]["reference"], reference, rtol=1e-15)
        _, rows = table(self.folder / "out/subfields.csv")
        fields = self.fields()
        for row in rows:
            tensor = fields[row["id"]]["Orientation tensor"]
            matrix = np.array([[tensor[a + b] for b in "xyz"] for a in "xyz"])
            values, vectors = np.linalg.eigh(matrix)
            l3, l2, l1 = values
            self.assertAlmostEqual(float(row["woodcock_strength"]), math.log(l1 / l3), 6)
            self.assertAlmostEqual(float(row["woodcock_shape"]), math.log(l1 / l2) / math.log(l2 / l3), 5)
            angle = math.degrees(math.acos(min(1.0, abs(vectors[:, 2] @ reference))))
            self.assertAlmostEqual(float(row["reference_angle_deg"]), angle, 5)

    def test_references_that_do_not_go_with_the_image_are_refused(self):
        self.tevra("phantom", "-o", "plane.mha", "--size", "80,70", "--fiber-radius", "2", "--volume-fraction", "0.2")
        self.tevra("phantom", "-o", "space.mha", "--size", "40,36,32", "--fiber-radius", "2", "--volume-fraction", "0.2")
        for image, reference, part in (("plane.mha", "1,0,1", "out of the plane"), ("space.mha", "1,0", "3 axes"),
                                       ("space.mha", "0,0,0", "no direction"), ("space.mha", "1", "not a direction")):
            run = self.tevra("analyze", image, "--fiber-radius", "2", "-o", "out", "--reference", reference, status=2)
            self.assertIn(part, run.stderr)


if __name__ == "__main__":
    support.main()
