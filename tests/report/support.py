"""What the tests of the report share: small volumes, real runs of the tool, and the page taken apart."""

import contextlib
import io
import os
import pathlib
import struct
import subprocess
import sys
import tempfile
import unittest
from html.parser import HTMLParser

import numpy

TONALIGN = os.environ["TONALIGN"]
REPORT = os.environ["TONALIGN_REPORT"]
sys.path.insert(0, str(pathlib.Path(REPORT).resolve().parent))
from tonalign_report import command

BINS = 32
BYTES = {"sizeof_hdr": (0, "i"), "dim4": (48, "h"), "bitpix": (72, "h"), "vox_offset": (108, "f"),
         "roi_scale": (112, "f"), "funused1": (116, "f"), "cal_max": (124, "f"), "cal_min": (128, "f"), "glmax": (140, "i"), "glmin": (144, "i"),
         "magic": (344, "4s")}
COLUMNS = ("state", "scan", "input", "usage", "before", "after", "background", "top", "range", "remarks")


def head(seed, sizes=(14, 12, 10)):
    """A volume [z][y][x]: a bright ball on a background of 0, of many grey levels, one voxel the brightest."""
    x, y, z = numpy.meshgrid(*(numpy.linspace(-1, 1, n) for n in sizes), indexing="ij")
    noise = numpy.random.default_rng(seed).normal(0, 40, sizes)
    values = numpy.where(x * x + y * y + z * z < 0.8, 600 + 200 * x - 150 * y + noise, 0)
    values[tuple(n // 3 for n in sizes)] = 1100
    return values.round().astype("i2").transpose()


def write_pair(base, values, spacing=(1, 1, 1), order="<", **fields):
    """An Analyze pair from an array [z][y][x] of int16."""
    record = bytearray(348)
    struct.pack_into(order + "i", record, 0, 348)
    struct.pack_into(order + "8h", record, 40, 3, *values.shape[::-1], 1, 0, 0, 0)
    struct.pack_into(order + "2h", record, 70, 4, 16)
    struct.pack_into(order + "4f", record, 76, 0, *spacing)
    for name, value in fields.items():
        offset, kind = BYTES[name]
        struct.pack_into(order + kind, record, offset, value)
    pathlib.Path(f"{base}.hdr").write_bytes(record)
    pathlib.Path(f"{base}.img").write_bytes(values.astype(order + "i2").tobytes())


def change_header(base, **fields):
    file = pathlib.Path(f"{base}.hdr")
    record = bytearray(file.read_bytes())
    for name, value in fields.items():
        offset, kind = BYTES[name]
        struct.pack_into("<" + kind, record, offset, value)
    file.write_bytes(record)


class Page(HTMLParser):
    """The index, the sections' texts by their scan's name, and the pictures of a page."""

    def __init__(self, text):
        super().__init__()
        self.rows, self.sections, self.images, self.charts, self.numbers = [], {}, [], [], {}
        self.row = self.cell = self.section = self.volume = None
        self.feed(text)
        self.by_name = {row["scan"]: row for row in self.rows}

    def handle_starttag(self, tag, attributes):
        attributes = dict(attributes)
        if tag == "tr" and "data-for" in attributes:
            self.row = {"anchor": attributes["data-for"]}
            self.rows.append(self.row)
        elif tag == "tr" and "data-volume" in attributes:
            self.volume = self.numbers.setdefault(self.section, {}).setdefault(attributes["data-volume"], [])
        elif tag == "td" and self.row is not None:
            self.cell = COLUMNS[len(self.row) - 1]
            self.row[self.cell] = ""
            self.value = attributes.get("data-value") if self.cell not in ("state", "range") else None
        elif tag == "td" and self.volume is not None:
            self.volume.append("")
        elif tag == "section":
            self.section = next(row["scan"] for row in self.rows if row["anchor"] == attributes["id"])
            self.sections[self.section] = ""
        elif tag == "img":
            self.images.append((self.section, attributes["alt"], attributes["src"]))
        elif tag == "svg":
            self.charts.append((self.section, attributes["aria-label"]))

    def handle_endtag(self, tag):
        if tag == "td" and self.cell:
            self.row[self.cell] = self.row[self.cell] if self.value is None else self.value
            self.cell = None
        elif tag == "tr":
            self.row = self.volume = None
        elif tag == "section":
            self.section = None

    def handle_data(self, data):
        if self.cell:
            self.row[self.cell] += data
        elif self.volume:
            self.volume[-1] += data
        if self.section:
            self.sections[self.section] += data


class ReportTest(unittest.TestCase):
    """A folder of its own with two scans and a target; logs of runs that are started in it."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tonalign report-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        write_pair(self.folder / "one", head(1), spacing=(1, 1, 2))
        write_pair(self.folder / "target", head(2, (9, 16, 11)), spacing=(0.5, 1.5, 1), order=">")

    def tool(self, log, *arguments):
        with open(self.folder / log, "wb") as file:
            status = subprocess.run(
                [TONALIGN, *map(str, arguments)], cwd=self.folder, stdout=file, stderr=subprocess.STDOUT, check=False
            ).returncode
        return status

    def usage1(self, name, source="one", bins=BINS, sigma=0, endpoints=0, exact=1, output=None, target="target"):
        histograms = [f"{name}-{part}.hist" for part in ("in", "target", "out", "mapped")]
        volumes = (source, target, output or f"{name}-out", f"{name}-mapped")
        return self.tool(f"{name}.log", *volumes, bins, sigma, endpoints, exact, *histograms)

    def usage2(self, name, target, source="one", bins=BINS):
        return self.tool(f"{name}.log", source, target, f"{name}-out", bins, f"{name}-in.hist", f"{name}-out.hist")

    def report(self, *names, status):
        """The page about logs; the runs were started in another folder than this one."""
        logs = [str(self.folder / f"{name}.log") for name in names]
        page = self.folder / "page.html"
        page.unlink(missing_ok=True)
        out, self.console = io.StringIO(), io.StringIO()
        # In this process: starting Python and numpy anew for each page would take most of the time.
        with contextlib.redirect_stdout(out), contextlib.redirect_stderr(self.console):
            found = command.main(["-C", str(self.folder), "-o", str(page), "--title", "A <cohort>", *logs])
        self.console = self.console.getvalue()
        self.assertEqual((found, out.getvalue()), (status, ""), self.console)
        left_over = [file.name for file in self.folder.iterdir() if file.name.startswith(".page")]
        self.assertEqual(left_over, [])
        self.html = page.read_text("utf-8")
        return Page(self.html)
