# SPDX-License-Identifier: BSD-3-Clause
"""What the tests of the report share: small volumes, real runs of the tool, and the page taken apart."""

import html
import os
import pathlib
import re
import struct
import subprocess
import sys
import tempfile
import unittest
from unittest import mock

import numpy

TONALIGN, REPORT = os.environ["TONALIGN"], os.environ["TONALIGN_REPORT"]
sys.path.insert(0, str(pathlib.Path(REPORT).resolve().parent))
from tonalign_report import command

BINS = 32
COLUMNS = ("state", "scan", "remarks", "usage", "before", "after", "background", "top")


def head(seed, shape=(10, 12, 14)):
    """A volume [z][y][x]: a bright ball on a background of 0, of many grey levels, one voxel the brightest."""
    z, y, x = numpy.meshgrid(*(numpy.linspace(-1, 1, n) for n in shape), indexing="ij")
    values = 600 + 200 * x - 150 * y + numpy.random.default_rng(seed).normal(0, 40, shape)
    values[tuple(n // 3 for n in shape)] = 1100
    return numpy.where(x * x + y * y + z * z < 0.8, values, 0).round().astype("i2")


def write_pair(base, values, fields=(), order="<"):
    """An Analyze pair of int16 from an array [z][y][x]; fields are offset, type and values of more of the header."""
    record = bytearray(348)
    known = ((0, "i", 348), (40, "8h", 3, *values.shape[::-1], 1, 0, 0, 0), (70, "2h", 4, 16), (80, "3f", 1, 1, 1))
    for offset, kind, *content in (*known, *fields):
        struct.pack_into(order + kind, record, offset, *content)
    pathlib.Path(f"{base}.hdr").write_bytes(record)
    pathlib.Path(f"{base}.img").write_bytes(values.astype(order + "i2").tobytes())


def text_of(markup):
    return html.unescape(re.sub("<[^>]+>", "", markup))


class ReportTest(unittest.TestCase):
    """A folder of its own with a scan and a target; logs of runs that are started in it, and pages about them."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tonalign report-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.page = self.folder / "page.html"
        write_pair(self.folder / "one", head(1))
        write_pair(self.folder / "target", head(2, (11, 16, 9)), [(80, "3f", 0.5, 1.5, 1)], ">")

    def run_tool(self, name, *arguments):
        with open(self.folder / f"{name}.log", "wb") as log:
            subprocess.run([TONALIGN, *map(str, arguments)], cwd=self.folder, stdout=log, stderr=log, check=False)

    def usage1(self, name, source="one", exact=1, output=None, target="target"):
        histograms = [f"{name}-{part}.hist" for part in ("in", "target", "out", "mapped")]
        self.run_tool(name, source, target, output or f"{name}-out", f"{name}-mapped", BINS, 0, 0, exact, *histograms)

    def usage2(self, name, frequencies, source="one"):
        (self.folder / f"{name}-given.hist").write_text(" ".join(f"0 {frequency}" for frequency in frequencies))
        self.run_tool(name, source, f"{name}-given.hist", f"{name}-out", BINS, f"{name}-in.hist", f"{name}-out.hist")

    def report(self, *names, status):
        """In this process, as starting Python and numpy takes most of the time. Rows are kept by their scans' names."""
        logs, said = [f"{self.folder}/{name}.log" for name in names], []
        with mock.patch("tonalign_report.texts.put", lambda _, text: said.append(text)):
            found = command.main(["-C", str(self.folder), "-o", str(self.page), "--title", "A <cohort>", *logs])
        self.console = "".join(said)
        self.assertEqual(found, status, self.console)
        self.html = self.page.read_text("utf-8", "replace")
        self.images = dict(re.findall(r'<img[^>]* alt="(.*?)" src="data:image/png;base64,(.*?)"', self.html))
        self.rows, self.sections = {}, {}
        for anchor, row in re.findall(r'<tr data-for="(.*?)">(.*?)</tr>', self.html, re.DOTALL):
            cells = re.findall(r'<td(?: data-value="([^"]*)")?[^>]*>(.*?)</td>', row, re.DOTALL)
            texts = {name: text_of(shown if name == "state" else value or shown)
                     for name, (value, shown) in zip(COLUMNS, cells)}
            self.rows[texts["scan"]] = texts
            self.sections[texts["scan"]] = re.search(f'<section id="{anchor}".*?</section>', self.html, re.DOTALL)[0]
