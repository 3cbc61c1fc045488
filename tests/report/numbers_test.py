"""The numbers and pictures of the page, against what numpy makes of the same files."""

import base64
import io
import os
import re
import subprocess
import unittest

import numpy
from PIL import Image
from support import BINS, REPORT, ReportTest, head, write_pair
from tonalign_report.charts import cumulative_chart, histogram_chart


def histogram(values, bins):
    """Frequencies without the lowest bin, counted from the definition: upper ends belong to their bin."""
    values = values.ravel().astype(float)
    ends = values.min() + numpy.arange(1, bins + 1) * ((values.max() - values.min()) / bins)
    counts = numpy.bincount(numpy.minimum(numpy.searchsorted(ends, values), bins - 1), minlength=bins).astype(float)
    return numpy.insert(counts[1:] / counts[1:].sum(), 0, 0), counts[0] / len(values)


class Numbers(ReportTest):
    def voxels(self, base, shape):
        return numpy.fromfile(self.folder / f"{base}.img", "<f4").reshape(shape)

    def test_index_and_table_agree_with_the_files(self):
        self.assertEqual(self.usage1("first"), 0)
        (self.folder / "given.hist").write_text(" ".join(f"{i} {40 - i % 7}" for i in range(BINS + 3)))
        self.assertEqual(self.usage2("second", "given.hist"), 0)
        page = self.report("first", "second", status=0)
        source, target = head(1), head(2, (9, 16, 11))
        given = numpy.array([0] + [40 - i % 7 for i in range(1, BINS)], float)
        before = {"first": histogram(target, BINS)[0], "second": given / given.sum()}
        mapped = self.voxels("first-mapped", target.shape)
        after = {"first": histogram(mapped, BINS)[0], "second": before["second"]}
        for name, usage in (("first", "1"), ("second", "2")):
            with self.subTest(name):
                row, output = page.by_name[name], self.voxels(f"{name}-out", source.shape)
                frequencies, background = histogram(output, BINS)
                self.assertEqual((row["usage"], row["input"]), (usage, "one"))
                error = numpy.linalg.norm(histogram(source, BINS)[0] - before[name])
                self.assertAlmostEqual(float(row["before"]), error, delta=1e-5 * error)
                error = numpy.linalg.norm(frequencies - after[name])
                # The tool counts before it rounds to floats, so a voxel may change its bin.
                self.assertAlmostEqual(float(row["after"]), error, delta=3 / numpy.count_nonzero(output))
                self.assertAlmostEqual(float(row["background"]), background, delta=2 / output.size)
                top = numpy.count_nonzero(output == output.max()) / (output.size * (1 - background))
                self.assertAlmostEqual(float(row["top"]), top, delta=0.01 * top)
                self.assertEqual(row["range"], f"{output.min():g} to {output.max():g}")
        table = page.numbers["first"]
        self.assertEqual(list(table), ["input", "output", "target"])
        self.assertEqual(table["input"][:3], ["14 × 12 × 10", "1 × 1 × 2", "int16"])
        self.assertEqual(table["input"][3], f"{source.min()} to {source.max()}")
        self.assertEqual(table["input"][5], f"{100 / source.size:.3g} %")  # one voxel is the brightest
        self.assertEqual(table["input"][6], str(len(numpy.unique(source))))
        self.assertEqual(table["target"][:3], ["9 × 16 × 11", "0.5 × 1.5 × 1", "float32"])
        self.assertEqual(table["target"][6], str(len(numpy.unique(mapped))))
        self.assertEqual(list(page.numbers["second"]), ["input", "output"])

    def test_every_picture_is_its_middle_slice(self):
        self.usage1("first")
        page = self.report("first", status=0)
        found = {}
        for _, text, source in page.images:
            content = base64.b64decode(source.removeprefix("data:image/png;base64,"), validate=True)
            found[text] = numpy.asarray(Image.open(io.BytesIO(content)), float)
        volumes = {
            "input": head(1).astype(float),
            "output": self.voxels("first-out", (10, 12, 14)).astype(float),
            "target": self.voxels("first-mapped", (11, 16, 9)).astype(float),
        }
        bright = {what: numpy.percentile(v, 99.9) for what, v in volumes.items()}
        bright["output"] = bright["target"] = max(bright["output"], bright["target"])
        low = {"input": volumes["input"].min()}
        low["output"] = low["target"] = min(volumes["output"].min(), volumes["target"].min())
        self.assertEqual(len(found), 9)
        for what, values in volumes.items():
            nz, ny, nx = values.shape
            for plane, index, count, view in (
                ("x-y", f"z = {nz // 2}", nz, values[nz // 2]),
                ("x-z", f"y = {ny // 2}", ny, values[:, ny // 2]),
                ("y-z", f"x = {nx // 2}", nx, values[:, :, nx // 2]),
            ):
                text = f"first, {what}: {plane} plane, slice {index} of {count}, {plane[2]} upward"
                with self.subTest(text):
                    grey = (view[::-1] - low[what]) / (bright[what] - low[what]) * 255
                    numpy.testing.assert_allclose(found[text], grey.clip(0, 255), atol=0.51)
        self.assertEqual([chart for chart, _ in page.charts], ["first", "first"])

    def test_curves_run_through_their_frequencies_in_colours_of_the_page(self):
        noise = numpy.random.default_rng(5).random(40)
        values = {"input": noise ** 2, "output": noise[::-1], "target": numpy.roll(noise, 3)}
        values["input"][11] = 100.0  # far above the others' peaks
        values = {what: given / given.sum() for what, given in values.items()}
        (frequencies, note), sums = histogram_chart(values, "a & b"), cumulative_chart(values, "a & b")
        self.assertEqual((frequencies, note), histogram_chart(values, "a & b"))  # nothing random, no date
        self.assertEqual(note, f"The input's highest bins are cut off; they reach {values['input'][11]:.3g}.")
        top = 1.04 * 2.5 * max(values["output"].max(), values["target"].max())
        for chart, height, shown in (
            (frequencies, top, values),
            (sums, 1, {what: numpy.cumsum(given) for what, given in values.items()}),
        ):
            self.assertIsNone(re.search(r"#[0-9a-f]{6}| id=|<style|url\(", chart))
            curves = re.findall(r'<path d="M([^"]*)" style="[^"]*var\(--(input|output|target)\)', chart)
            self.assertEqual([what for _, what in curves], ["target", "input", "output"])
            for path, what in curves:
                points = numpy.array([point.split() for point in path.split("L")], float)
                bins = 2 + (points[:, 0] - 52) / 418 * 38
                wanted = numpy.interp(bins, range(1, 41), numpy.minimum(shown[what], 1.02 * height))
                # A path leaves out points on its straight parts; a tenth of a unit is what it is rounded to.
                numpy.testing.assert_allclose((176 - points[:, 1]) / 164 * height, wanted, atol=height / 164)
                self.assertGreater(len(points), 20)
                self.assertEqual((points[0, 0], points[-1, 0]), (52, 470))

    def test_large_volumes_give_small_pictures(self):
        noise = numpy.random.default_rng(3).integers(0, 900, (152, 155, 160)).astype("i2")
        write_pair(self.folder / "one", noise)
        self.usage1("large", bins=256, target="one", exact=0)
        self.assertEqual(len(self.report("large", status=0).images), 9)
        self.assertLess(len(self.html), 330_000)  # noise does not compress; brains take half of that

    def test_command_line(self):
        def run(*arguments):
            done = subprocess.run([REPORT, *arguments], cwd=self.folder, capture_output=True, text=True, check=False)
            return done.returncode, done.stdout + done.stderr

        self.assertEqual(run("--version"), (0, "tonalign-report " + os.environ["TONALIGN_VERSION"] + "\n"))
        self.assertIn("Exit status", run("--help")[1])
        self.usage1("first")
        before = (self.folder / "first.log").read_bytes()
        for arguments in ((), ("-x",), ("-o", "no/page.html", "first.log"), ("-o", ".", "first.log"),
                          ("-o", "first.log", "first.log")):
            with self.subTest(arguments):
                status, said = run(*arguments)
                self.assertEqual(status, 2, said)
                self.assertIn("tonalign-report: ", said)
        self.assertEqual((self.folder / "first.log").read_bytes(), before)


if __name__ == "__main__":
    unittest.main()
