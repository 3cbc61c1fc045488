# SPDX-License-Identifier: BSD-3-Clause
"""The programs that are tried, their inputs and outputs, and what is found after a run."""

import dataclasses
import re
import struct
import subprocess
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "cli"))
import make_inputs

RUNNING_TIME = re.compile(r"(?<=\*\*\*\*\*TOTAL RUNNING TIME\*\*\*\*\*\n)\d[\d.e-]*")
KEPT_OLD = "the old file could not be put back; it is .tonalign-"


def pair(name, dims, kind, voxels):
    return {f"{name}.hdr": make_inputs.header(dims, kind), f"{name}.img": struct.pack(f"<{len(voxels)}{kind}", *voxels)}


SCAN = pair("scan", (4, 3, 2), "B", make_inputs.SCAN)
TARGET = pair("target", (3, 3, 2), "h", make_inputs.TARGET)
# More than one block of the reader and of the writer, and files of more than one buffer.
LARGE = pair("scan", (40, 30, 40), "d", [i * i % 251 + i % 64 / 64 for i in range(48000)])
HISTOGRAM = {"target.hist": "".join(f"{i + 0.5} {1 + i % 7}\n" for i in range(64)).encode()}
VOLUMES = "tonalign scan target out1 out2 8 1 1 1 b1.hist b2.hist a1.hist a2.hist".split()
USAGE2 = "tonalign scan target.hist out 64 b.hist a.hist".split()


@dataclasses.dataclass
class Program:
    """A command line. `reference` holds its outputs after an undisturbed run, `old` those that are there before."""

    name: str
    arguments: list
    inputs: dict
    outputs: list
    old: dict = dataclasses.field(default_factory=dict)
    status_tells: bool = False
    counted: str = ""  # in the names of calls that are to fail
    reference: dict = dataclasses.field(default_factory=dict)
    text: str = ""

    @property
    def pairs(self):
        return [(name, name[:-4] + ".img") for name in self.outputs if name.endswith(".hdr")]

    def before(self, name):
        return "old" if name in self.old else "absent"

    def fill(self, folder):
        for name, content in (self.inputs | self.old).items():
            (folder / name).write_bytes(content)


class Outcome:
    """What a run left, while its folder is there."""

    def __init__(self, program, folder, done, log):
        self.status = done.returncode
        self.killed = done.returncode == -9
        self.out, self.err = (text.decode(errors="replace") for text in (done.stdout, done.stderr))
        self.text = RUNNING_TIME.sub("", self.out + self.err).replace(str(folder), "")
        lines = [line.split("\t") for line in log.read_text(errors="replace").splitlines()]
        self.calls = [(kind, name.removeprefix(str(folder)).lstrip("/")) for kind, name in lines]
        self.fired = bool(lines)
        files = {path.name: path.read_bytes() for path in folder.iterdir() if path.is_file()}
        self.states = {name: self.state(program, name, files.get(name)) for name in program.outputs}
        self.leftovers = [name for name in files if name.startswith(".")]
        self.contents = list(files.values())

    @staticmethod
    def state(program, name, content):
        kinds = {None: "absent", program.reference.get(name): "new", program.old.get(name): "old"}
        return "absent" if content is None else kinds.get(content, "wrong" if content else "empty")


def old_pair(name):
    return pair(name, (2, 2, 1), "B", [1, 2, 3, 4])


def files_of_run(runner):
    folder = runner.top / "reported"
    folder.mkdir()
    for name, content in (SCAN | HISTOGRAM).items():
        (folder / name).write_bytes(content)
    _, out, _ = run_tool(folder, [runner.build / "tonalign", *USAGE2[1:]])
    return {path.name: path.read_bytes() for path in folder.iterdir()} | {"run.log": out.encode()}


def programs(runner):
    """Each form of a run that writes in another way: new files, over old ones, over its input."""
    histograms, volumes = VOLUMES[-4:], ["out1.hdr", "out1.img", "out2.hdr", "out2.img"]
    old = dict.fromkeys(histograms, b"0.5\t1\n") | old_pair("out1") | old_pair("out2")
    yield Program("new", VOLUMES, SCAN | TARGET, histograms + volumes)
    yield Program("over-old", VOLUMES, SCAN | TARGET, histograms + volumes, old)
    arguments = ["scan" if argument == "out" else argument for argument in USAGE2]
    yield Program("over-input", arguments, LARGE | HISTOGRAM, ["b.hist", "a.hist", *LARGE], LARGE)
    yield Program("average", "tonalign-average mean.hist 8 scan target".split(), SCAN | TARGET, ["mean.hist"],
                  {"mean.hist": b"0.5\t1\n"}, True)
    if not runner.sanitizer:  # Python has none
        yield Program("report", "tonalign-report -o page.html run.log".split(), files_of_run(runner), ["page.html"],
                      {"page.html": b"old"}, True, r"page|tonalign-report")


def run_tool(folder, arguments, launch=(), **options):
    """A run without the shim."""
    done = subprocess.run([*launch, *map(str, arguments)], cwd=folder, capture_output=True, timeout=60, check=False,
                          **options)
    return done.returncode, done.stdout.decode(errors="replace"), done.stderr.decode(errors="replace")
