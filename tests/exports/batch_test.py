# SPDX-License-Identifier: BSD-3-Clause
"""Several images in one go: a folder each, one table, and failures that do not stop the rest."""

import csv

import support


class Batch(support.ExportTest):
    def phantom(self, name, *more, size="40,36,32"):
        self.tevra("phantom", "-o", name, "--size", size, "--fiber-radius", "2", "--volume-fraction", "0.2", *more)

    def rows(self):
        with open(self.folder / "out/summary.csv", encoding="utf-8", newline="") as table:
            return list(csv.DictReader(table))

    def test_each_image_has_a_folder_as_of_a_run_of_its_own_and_a_row_of_the_table(self):
        self.phantom("a.mha", "--seed", "1")
        self.phantom("b.mha", "--seed", "2")
        (self.folder / "more").mkdir()
        self.phantom("more/a.mha", "--seed", "3")
        self.phantom("plane.mha", size="90,80")
        run = self.tevra("analyze", "a.mha", "b.mha", "more/a.mha", "plane.mha", "--fiber-radius", "2", "-o", "out",
                         "--no-report")
        self.assertEqual(sorted(p.name for p in (self.folder / "out").iterdir()),
                         ["a", "a_2", "b", "plane", "summary.csv"])
        self.assertIn("image 2 of 4: b.mha", run.stderr)
        rows = self.rows()
        self.assertEqual([(row["image"], row["folder"]) for row in rows],
                         [("a.mha", "a"), ("b.mha", "b"), ("more/a.mha", "a_2"), ("plane.mha", "plane")])
        for row in rows:
            self.assertEqual(row["error"], "")
            self.tevra("analyze", row["image"], "--fiber-radius", "2", "-o", "alone", "--no-report")
            alone = (self.folder / "alone/result.json").read_bytes()
            self.assertEqual((self.folder / "out" / row["folder"] / "result.json").read_bytes(), alone)
            field = self.result("alone")["Field"]
            for key, value in field["Orientation tensor"].items():
                if key <= key[::-1]:
                    self.assertEqual(float(row["a_" + key]), value)
            for axis, value in field["Mean fiber direction"].items():
                self.assertEqual(float(row["mean_" + axis]), value)
            self.assertEqual(float(row["anisotropy"]), field["Anisotropy value"])
            self.assertEqual(float(row["mean_confidence"]), self.record("alone")["confidence"]["mean"])
        self.assertEqual([rows[3][key] for key in ("a_xz", "a_zz", "lambda_3", "mean_z")], [""] * 4)

    def test_an_image_that_fails_does_not_stop_the_others(self):
        self.phantom("good.mha")
        (self.folder / "broken.mha").write_bytes((self.folder / "good.mha").read_bytes()[:-1000])
        run = self.tevra("analyze", "broken.mha", "missing.tif", "good.mha", "--fiber-radius", "2", "-o", "out",
                         "--quiet", status=1)
        errors = [line for line in run.stderr.splitlines() if line.startswith("tevra: error:")]
        self.assertEqual(len(errors), 3)
        self.assertIn("2 of 3 images failed: broken.mha, missing.tif", errors[-1])
        self.assertEqual(sorted(p.name for p in (self.folder / "out").iterdir()), ["good", "summary.csv"])
        broken, missing, good = self.rows()
        self.assertIn("broken.mha", broken["error"])
        self.assertIn("missing.tif: there is no such file", missing["error"])
        self.assertEqual((good["error"], broken["a_xx"]), ("", ""))
        self.assertNotEqual(good["a_xx"], "")

    def test_wrong_options_stop_all_before_anything_is_written(self):
        self.phantom("a.mha")
        self.phantom("b.mha")
        run = self.tevra("analyze", "a.mha", "b.mha", "--fiber-radius", "x", "-o", "out", status=2)
        self.assertIn("--fiber-radius", run.stderr)
        self.assertFalse((self.folder / "out").exists())

    def test_a_table_of_the_user_stays_and_that_of_an_earlier_batch_is_replaced(self):
        self.phantom("a.mha")
        self.phantom("b.mha")
        for _ in range(2):
            self.tevra("analyze", "a.mha", "b.mha", "--fiber-radius", "2", "-o", "out", "--no-report")
        (self.folder / "out/summary.csv").write_text("mine\n", encoding="utf-8")
        run = self.tevra("analyze", "a.mha", "b.mha", "--fiber-radius", "2", "-o", "out", status=1)
        self.assertIn("no run of Tevra has written it", run.stderr)
        self.assertEqual((self.folder / "out/summary.csv").read_text(encoding="utf-8"), "mine\n")

    def test_an_image_is_never_replaced_by_the_table(self):
        self.phantom("a.mha")
        (self.folder / "out").mkdir()
        (self.folder / "a.mha").rename(self.folder / "out/summary.csv")
        before = (self.folder / "out/summary.csv").read_bytes()
        run = self.tevra("analyze", "out/summary.csv", "out/summary.csv", "--fiber-radius", "2", "-o", "out", status=1)
        self.assertIn("summary.csv' would be replaced", run.stderr)
        self.assertEqual((self.folder / "out/summary.csv").read_bytes(), before)


if __name__ == "__main__":
    support.main()
