# SPDX-License-Identifier: BSD-3-Clause
"""What the page shows is what is in the files; failures and warnings come from their causes, and from nothing else."""

import base64
import io
import os
import re
import struct

import numpy
from PIL import Image
from support import BINS, COLUMNS, ReportTest, head, text_of, write_pair

END = b"*****TOTAL RUNNING TIME*****\n"
SPOILT = (  # the reason, the file that is spoilt, and what becomes of its content
    ("not a log of tonalign", ".log", lambda log: b"\xff\x1b[31m<i>\0" * 100_000),
    ("the log cannot be read: No such file", ".log", None),
    ("ends while matching histograms, without the running time", ".log", lambda log: log[: log.index(b"*****IMAGES")]),
    ("holds 2 runs", ".log", lambda log: log * 2),
    ("an output was not written", ".log", lambda log: log.replace(END, b"AnalyzeHeader::save  write error\n" + END)),
    ("not a finite number", ".log", lambda log: re.sub(rb"=\t.*\n(?=\*{5}IMAGES)", b"=\tnan\n", log)),
    ("-out.img: No such file or directory", "-out.img", None),
    ("the image file holds 99 bytes, but its header needs 6336", "-mapped.img", lambda image: image[:99]),
    ("-out.img: some voxels are not finite", "-out.img", lambda image: image[:-4] + b"\xff" * 4),
    ("the histogram file holds something else than numbers", "-out.hist", lambda content: b"centre" + content),
    ("the histogram files after the run are", "-out.hist", lambda content: b"0 0.03125 " * BINS),
)
SCALED = [(48, "h", 3), (108, "f", 352), (112, "f", 0.5), (344, "4s", b"ni1")]


class Shown(ReportTest):
    def test_numbers_and_pictures_agree_with_the_files(self):
        source = head(1, (10, 12, 160))
        write_pair(self.folder / "one", source, [(88, "f", 2)])
        self.usage1("scan")
        self.report("scan", status=0)
        output, mapped = (numpy.fromfile(self.folder / f"scan-{name}.img", "<f4").reshape(shape)
                          for name, shape in (("out", source.shape), ("mapped", (11, 16, 9))))
        errors = re.findall("histograms=\t(.*)", (self.folder / "scan.log").read_text())
        background = (output <= output.min() + numpy.ptp(output) / BINS).mean()
        row, top = self.rows["scan"], (output == output.max()).mean() / (1 - background)
        self.assertEqual([row[column] for column in COLUMNS[3:6]], ["1", errors[0], errors[2]])
        numpy.testing.assert_allclose([float(row["background"]), float(row["top"])], [background, top], rtol=1e-3)
        high, low = max(numpy.percentile(v, 99.9) for v in (output, mapped)), min(output.min(), mapped.min())
        for what, values, numbers, black, white in (
            ("input", source, ["160 × 12 × 10", "1 × 1 × 2", "int16"], 0, numpy.percentile(source, 99.9)),
            ("output", output, ["160 × 12 × 10", "1 × 1 × 2", "float32"], low, high),
            ("target", mapped, ["9 × 16 × 11", "0.5 × 1.5 × 1", "float32"], low, high),
        ):
            numbers += [f"{values.min():g} to {values.max():g}", f"{100 * (values == values.max()).mean():.3g} %",
                        str(len(numpy.unique(values)))]
            found = re.findall("<td>(.*?)</td>", re.search(f'data-volume="{what}".*?</tr>', self.sections["scan"])[0])
            self.assertEqual(found[:4] + found[5:], numbers)
            for plane, axis, name in (("x-y", 0, "z"), ("x-z", 1, "y"), ("y-z", 2, "x")):
                middle, count = values.shape[axis] // 2, values.shape[axis]
                view = values.take(middle, axis)[::-1].astype(float)
                edges = numpy.linspace(0, view.shape[1], min(150, view.shape[1]) + 1).astype(int)
                view = numpy.array([view[:, a:b].mean(1) for a, b in zip(edges, edges[1:])]).T
                png = self.images[f"scan, {what}: {plane} plane, slice {name} = {middle} of {count}, {plane[2]} upward"]
                found = numpy.asarray(Image.open(io.BytesIO(base64.b64decode(png))), float)
                numpy.testing.assert_allclose(found, ((view - black) / (white - black) * 255).clip(0, 255), atol=0.51)

    def test_failures_are_told_as_text_without_control_characters_and_cut(self):
        reasons = {os.fsdecode(b"<i>\x1b\x9b\xe9%d" % number): reason for number, (reason, *_) in enumerate(SPOILT)}
        for name, (_, ending, change) in zip(reasons, SPOILT):
            self.usage1(name)
            file = self.folder / f"{name}{ending}"
            content = file.read_bytes()
            file.unlink()
            if change:
                file.write_bytes(change(content))
        for name, source, output, reason in (
            ("first", "one", None, "first-out.img was written by another run too"), ("sound", "one", None, None),
            ("again", "one", "first-out", "first-out.img was written by another run too"),
            ("missing", "two", None, "the run ended early: AnalyzeHeader: File <two.hdr> could not be opened"),
        ):
            self.usage1(name, source, output=output)
            reasons |= {name: reason} if reason else {}
        self.report(*reasons, "sound", status=1)
        self.assertEqual((list(self.rows)[-1], {text[:6] for text in self.images}), ("sound", {"sound,"}))
        for name, reason in reasons.items():
            shown = name.encode("ascii", "backslashreplace").decode().replace("\x1b", r"\x1b").replace("udc", "x")
            said = next(line for line in self.console.splitlines() if f"/{name}.log: " in line)
            for place in (self.rows[shown]["remarks"], text_of(self.sections[shown]), said):
                self.assertIn(reason, place)
            self.assertLess(len(said), 2100)
        self.assertIsNone(re.search("<i>|[\0-\x09\x0b-\x1f\x7f-\x9f]", self.html))
        self.assertLess(len(self.html), 300_000)

    def assert_word(self, words, expected):
        """What the index says of a scan that has not failed, and its section says too."""
        self.report("scan", status=0)
        found = set(self.rows["scan"]["remarks"].split("; ")) & words
        self.assertEqual(found, expected)
        self.assertTrue(all(f"{word}: " in text_of(self.sections["scan"]) for word in found))

    def test_warnings(self):
        write_pair(self.folder / "one", head(1), SCALED, ">")
        self.usage1("scan")
        words = {"scale factor", "series", "vox_offset", "NIfTI magic"}
        self.assert_word(words, words)
        values, almost = head(1), head(1, (36, 36, 36))
        ceiling = lambda share: numpy.quantile(values[values > 0], 1 - share).astype("i2")
        first = numpy.arange(values.size).reshape(values.shape) == 0
        write_pair(self.folder / "almost", almost)
        almost[18, 18, 18] += 90
        same, run = lambda _: values, lambda _: self.usage1("scan")
        for word, fires, silent, scan, usage in (
            ("input saturated", 0.12, 0.04, lambda share: numpy.minimum(values, ceiling(share)), run),
            ("output saturated", 5, 1, same, lambda top: self.usage2("scan", [1] * (BINS - 1) + [top])),
            # The lowest bin ends at 1100 / 32 before, and at 1/64 of that less after.
            ("background moved", 34, 33, lambda air: numpy.where((values == 0) & ~first, air, values),
             lambda _: self.usage2("scan", [1] * BINS)),
            ("hardly closer", "target", "almost", lambda _: almost, lambda t: self.usage1("scan", exact=0, target=t)),
            ("input overwritten", "one.hdr", None, same, lambda output: self.usage1("scan", output=output)),
        ):
            for value in (silent, fires):
                with self.subTest(word, value=value):
                    write_pair(self.folder / "one", scan(value))
                    usage(value)
                    self.assert_word({word}, {word} if value == fires else set())
