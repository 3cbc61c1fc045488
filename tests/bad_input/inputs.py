"""Makers of the bad inputs, by the keys of the table in docs/RELIABILITY.md.

A maker is called in a fresh folder that holds the good volumes `scan` and `target`, `plain` (the same as `scan`) and
the target histogram `good.hist`. It makes the inputs of its row one after the other, mostly of the name `bad`, and
yields attempts with each.
"""

import os
import struct
import subprocess
import sys
from math import inf, nan
from pathlib import Path

from attempts import Attempt, as_input, in_every_place, usage1, usage2
from make_inputs import CODES, FREQUENCIES, SCAN, header, pair

DIMS = (4, 3, 2)
RECORD = header(DIMS, "B")
VOXELS = bytes(SCAN)
DATATYPES = (-1, 0, 1, 2, 4, 8, 16, 32, 64, 128, 130, 132, 255, 256, 512, 768, 1024, 32767)
BITPIXES = (-8, 0, 1, 7, 8, 9, 16, 24, 32, 33, 64, 128, 32767)
LARGEST_FLOAT = 3.4028234663852886e38
ENDS = {"B": (0, 255), "h": (-(2**15), 2**15 - 1), "i": (-(2**31), 2**31 - 1), "f": (-LARGEST_FLOAT, LARGEST_FLOAT)}
LINES = 10_000_000
ABSENT, FOLDER, PIPE = object(), object(), object()


def place(name, content):
    """A file of these bytes or this text, or what the path names by a link, or a folder, a pipe, or nothing."""
    path = Path(name)
    if path.is_dir() and not path.is_symlink():
        path.rmdir()
    path.unlink(missing_ok=True)
    if content is FOLDER:
        path.mkdir()
    elif content is PIPE:
        os.mkfifo(path)
    elif isinstance(content, Path):
        path.symlink_to(content)
    elif content is not ABSENT:
        content = content() if callable(content) else content
        path.write_bytes(content if isinstance(content, bytes) else content.encode())


def volume(*files, **how):
    """Pairs of what is placed as header and as image."""
    def maker():
        for record, image in files:
            place("bad.hdr", record)
            place("bad.img", image)
            yield from in_every_place(**how)
    return maker


def records(*contents, **how):
    return volume(*((content, VOXELS) for content in contents), **how)


def histogram(*contents, bins=8):
    def maker():
        for content in contents:
            place("bad.hist", content)
            yield Attempt(usage2("scan", "bad.hist", bins), usage2("scan", "good.hist", bins), "bad.hist")
    return maker


def doubles(voxels, *argument_lists):
    """A volume of doubles, and runs that refuse it."""
    def maker():
        pair("bad", DIMS, "d", voxels)
        yield from map(Attempt, argument_lists)
    return maker


def same(volumes, plain_kind="d", places=in_every_place):
    """Volumes (sizes, element kind, voxels, settings of pair) whose plain form is of another element kind."""
    def maker():
        for dims, kind, voxels, settings in volumes:
            pair("bad", dims, kind, voxels, **settings)
            pair("plain", dims, plain_kind, voxels)
            yield from places()
    return maker


def scaled(kind, factor, voxels=tuple(SCAN), all_stages=("00", "01", "10", "11")):
    """Voxels times a power of two: only the centres in the histogram files show it."""
    def maker():
        pair("bad", DIMS, kind, [v * factor for v in voxels])
        pair("plain", DIMS, "B", voxels)
        yield as_input(compared=".img")
        for stages in all_stages:
            yield Attempt(usage1("bad", "bad", stages), usage1("plain", "plain", stages), compared=".img")
    return maker


def fields(offset, form, *values):
    """The good header with each of the values at an offset."""
    return [RECORD[:offset] + struct.pack(form, v) + RECORD[offset + struct.calcsize(form):] for v in values]


def dim(number, *sizes):
    return fields(40 + 2 * number, "<h", *sizes)


def kept_dim(number, *sizes):
    """A size that is not used, but kept in the output."""
    def maker():
        for size, record in zip(sizes, dim(number, *sizes)):
            yield from records(record, kept=(40 + 2 * number, struct.pack("<h", size)))()
    return maker


def every_way(*all_dims):
    """Volumes of these sizes along the three axes in turn."""
    turned = (dims[turn:] + dims[:turn] for dims in all_dims for turn in range(3))
    return [(dims, "B", [j * j % 251 for j in range(dims[0] * dims[1] * dims[2])], {}) for dims in turned]


def types(recognised):
    """All pairs of codes that are recognised, or all that are not."""
    by_codes = {(d, b): kind for kind, (datatype, b) in CODES.items() for d in DATATYPES
                if b in (8, 64) or d == datatype}
    codes = ((d, b) for d in DATATYPES for b in BITPIXES if ((d, b) in by_codes) == recognised)
    return [(DIMS, by_codes.get(c, "d"), SCAN, {"codes": c}) for c in codes]


def lines(frequencies=FREQUENCIES, end="\n", point="."):
    return "".join(f"{10 * i}{point}5\t{v}{end}" for i, v in enumerate(frequencies))


def with_frequency(value, place_of=4):
    return lines([*FREQUENCIES[:place_of], value, *FREQUENCIES[place_of + 1:]])


def names(*all_names):
    """Good input, target and target histogram of each of the names, and the outputs in a folder of that name."""
    def maker():
        for name in map(os.fsdecode, all_names):
            out = name + " "
            Path(name).parent.mkdir(parents=True, exist_ok=True)
            Path(out).symlink_to(Path("out").resolve())
            pair(name, DIMS, "B", SCAN)
            place(name, lines())
            yield Attempt(usage2(name, name, out=out), usage2("scan"))
            yield Attempt(usage1(name, name, out=out), usage1("scan", "scan"))
    return maker


def two_intensities():
    """7 and 9, in every element type, and 0 and 255, which is what they become without a stage."""
    for kind in CODES:
        pair("bad", DIMS, kind, [9 if v > 20 else 7 for v in SCAN])
        pair("plain", DIMS, "B", [255 if v > 20 else 0 for v in SCAN])
        yield as_input(compared=".img")
        yield Attempt(usage1("bad", "bad", "00"), usage1("plain", "plain", "00"), compared=".img")


def decimal_comma():
    place("locales", FOLDER)
    subprocess.run(["localedef", "-i", "de_DE", "-f", "UTF-8", "locales/de_DE.UTF-8"], check=True)
    environment = {"LC_ALL": "de_DE.UTF-8", "LOCPATH": str(Path("locales").resolve())}
    decimal_point = "import locale; locale.setlocale(locale.LC_ALL, ''); print(locale.localeconv()['decimal_point'])"
    point = subprocess.run([sys.executable, "-c", decimal_point], env=os.environ | environment, capture_output=True,
                           check=True)
    if point.stdout != b",\n":
        raise RuntimeError("the locale with a decimal comma is not in force")
    place("fine.hist", with_frequency("2.75"))
    for arguments in (usage2("scan", "fine.hist"), usage1("scan", "target", "11", sigma=1.5)):
        yield Attempt(arguments, arguments, environment=environment)


TOO_WIDE = [-1e308, 1e308] * 12

MAKERS = {
    "header-missing": records(ABSENT),
    "header-folder": records(FOLDER),
    "header-pipe": records(PIPE),
    "header-short": records(b"", RECORD[:1]),
    "header-no-type": records(RECORD[:3], RECORD[:40], RECORD[:72]),
    "header-100": records(RECORD[:100], kept=(100, bytes(248))),
    "header-347": records(RECORD[:347]),
    "header-349": records(RECORD + b"\1"),
    "size-of-header": records(*fields(0, "<i", 0, -1, 347, 349, 0x5C010001)),
    "size-of-header-alone": records(*fields(0, ">i", 348)),
    "foreign": same((DIMS, kind, SCAN, {"order": ">"}) for kind in CODES),
    "x-below-1": records(*dim(1, 0, -1, -32768), header((-4, -3, -2), "B"), header((0, 0, 0), "B")),
    "y-below-1": records(*dim(2, 0, -1, -32768), header((4, 0, -2), "B")),
    "z-below-1": records(*dim(3, 0, -1, -32768)),
    "axis-too-long": records(*dim(1, 5, 32767), *dim(2, 4, 32767), *dim(3, 3, 32767), header((32767,) * 3, "d")),
    "axis-long": same(every_way((32767, 1, 1), (32767, 2, 1))),
    "axis-1": same(every_way((1, 3, 2), (1, 1, 5), (1, 1, 2))),
    "dim-0": kept_dim(0, 0, -1, 1, 3, 32767),
    "dim-4": kept_dim(4, 0, -1, 2, 32767),
    "dim-5": kept_dim(5, 0, -1, 32767),
    "dim-6": kept_dim(6, 0, -1, 32767),
    "dim-7": kept_dim(7, 0, -1, 32767),
    "type-recognised": same(types(True), "f"),
    "type-other": same(types(False), places=lambda: [as_input()]),
    "image-missing": volume((RECORD, ABSENT), (header(DIMS, "B", codes=(128, 24)), ABSENT)),
    "image-empty": volume((RECORD, b"")),
    "image-byte-short": volume((RECORD, VOXELS[:23])),
    "image-half": volume((RECORD, VOXELS[:12])),
    "image-longer": volume((RECORD, VOXELS + b"\xff" * 5)),
    "image-special": volume((RECORD, FOLDER), (RECORD, Path("/dev/null")), (RECORD, PIPE)),
    "voxel-nan": same((DIMS, kind, SCAN[:6] + [nan] + SCAN[7:], {}) for kind in "fd"),
    "voxel-inf": same((DIMS, kind, SCAN[:23] + [inf], {}) for kind in "fd"),
    "voxels-not-finite": same((DIMS, kind, [-inf] + SCAN[1:22] + [nan, inf], {}) for kind in "fd"),
    "voxels-equal": doubles([7] * 24, usage2("bad"), *(
        arguments for stages in ("01", "10", "11")
        for arguments in (usage1("bad", "target", stages), usage1("target", "bad", stages)))),
    "voxels-equal-both": doubles([7] * 24, usage1("bad", "bad", "00")),
    "voxels-two": two_intensities,
    "voxels-saturated": same((DIMS, kind, SCAN[:12] + list(ends) * 6, {}) for kind, ends in ENDS.items()),
    "voxels-denormal": scaled("f", 2.0**-149),
    "voxels-denormal-double": doubles([v * 2.0**-1074 for v in SCAN], usage2("bad"), usage1("bad", "bad", "00")),
    "voxels-1e306": scaled("d", 2.0**1010, all_stages=("00", "01")),
    "voxels-1e306-endpoints": doubles([v * 2.0**1010 for v in SCAN], usage1("bad", "bad", "10"),
                                      usage1("bad", "bad", "11")),
    "voxels-1e308": scaled("d", 2.0**1019, [j * 7 % 24 for j in range(24)], ("00", "01")),
    "voxels-wide": doubles(TOO_WIDE, usage2("bad"), usage1("bad", "target"), usage1("target", "bad")),
    "voxels-wide-no-stage": doubles(TOO_WIDE, usage1("bad", "target", "00"), usage1("target", "bad", "00")),
    "histogram-missing": histogram(ABSENT, Path("nowhere")),
    "histogram-no-name": lambda: [Attempt(usage2("scan", ""), name="")],
    "histogram-folder": histogram(FOLDER),
    "histogram-empty": histogram("", "0.5\t40\n"),
    "histogram-binary": histogram(bytes(range(256)), b"\0" * 99, struct.pack("<16d", *range(16))),
    "histogram-text": histogram("bin\tfrequency\n" + lines(), "\ufeff" + lines(), lines(point=","), "0x" + lines()),
    "histogram-late-text": histogram(*map(with_frequency, ["four", "inf", "-inf", "nan", "1e999"])),
    "histogram-half-number": histogram(*map(with_frequency, ["0x4", "4,5"])),
    "histogram-negative": histogram(with_frequency("-1e-09")),
    "histogram-zeros": histogram(lines([5] + [0] * 7)),
    "histogram-overflow": histogram(lines([0, 1e308, 1e308, 1e308, 0, 0, 0, 0])),
    "histogram-cut": histogram(lines(FREQUENCIES[:7]) + "75.5", lines(FREQUENCIES[:7]) + "75.5\t\n"),
    "histogram-few": histogram(lines(), bins=1000),
    "histogram-far-too-few": histogram(lines(), bins=1_000_000_000),
    "histogram-windows": histogram(lines(end="\r\n"), lines(end="\r")),
    "histogram-no-newline": histogram(lines().rstrip()),
    "histogram-long": histogram(lambda: lines().encode() + b"0 1\n" * LINES),
    "histogram-long-text": histogram(lambda: b"0 1\n" * (LINES - 1) + b"0 x\n", bins=LINES),
    "name-empty": lambda: in_every_place(""),
    "name-too-long": lambda: in_every_place("d" * 300),
    "name-short": names("a", "scan", ".img", ".hdr"),
    "name-long": names("/".join(letter * 99 for letter in "abc")),
    "name-unusual": names("two  blanks", " ", "-scan", "--", "Schädel ἐγκέφαλος", b"\xff\xfe", "a\tb\nc"),
    "locale": decimal_comma,
}
