"""One run of the tool with something going wrong, and what may be left behind.

A Form is a command line with its inputs; a Case is a form in some surroundings, with what must come of it. Every case
runs in a folder of its own. Each output file ends absent, as it was before, or exactly as an undisturbed run writes it.
"""

import dataclasses
import os
import re
import shutil
import stat
import struct
import subprocess
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "cli"))
sys.dont_write_bytecode = True
import make_inputs

TIME_LIMIT_SECONDS = 30
ORDINARY_USER = 65534
UNPRIVILEGED = ("setpriv", f"--reuid={ORDINARY_USER}", f"--regid={ORDINARY_USER}", "--clear-groups")
SANITIZER = re.compile(r"Sanitizer|runtime error:")
RUNNING_TIME = re.compile(r"(?<=\*\*\*\*\*TOTAL RUNNING TIME\*\*\*\*\*\n)\d[\d.e-]*")
TEMPORARY = ".tonalign-"

COMPLETE = ("out", "*****TOTAL RUNNING TIME*****")
OUT_OF_MEMORY = ("err", "tonalign: memory ran out while ")
# What a run says of an output that it could not write, and goes on.
HEADER_UNOPENED = ("err", " File could not be opened or already exists")
OLD_PERMISSIONS = 0o664  # others than the usual umask gives new files, so that they have to be carried over
HEADER_UNWRITTEN = ("err", "AnalyzeHeader::save  write error")
IMAGE_UNWRITTEN = ("out", "but the out stream failed after write. Have to debug this. Check Data for validity.")
# What it says before it ends.
IMAGE_UNOPENED = ("err", "  Error opening file ")
HEADER_UNREAD = ("err", " AnalyzeHeader could not be loaded from file = ")
REFUSED = ("err", "tonalign: ")
NO_VOLUME = ("err", " Failed to allocate Memory ")
HEADER_CORRUPTED = ("err", " Header corrupted, even after Byte Swapping ")
BAD_DIMENSIONS = ("err", "Dimensions not good in ")
NO_THREADS = ("err", "libgomp: ")
LOSSES = (HEADER_UNOPENED, HEADER_UNWRITTEN, IMAGE_UNWRITTEN, IMAGE_UNOPENED)
ENDINGS = {
    0: (COMPLETE, IMAGE_UNOPENED, HEADER_UNREAD, HEADER_CORRUPTED),
    1: (REFUSED, NO_VOLUME, BAD_DIMENSIONS, NO_THREADS),
    -6: (OUT_OF_MEMORY,),
}


def pair_bytes(dims, kind, voxels):
    return {".hdr": make_inputs.header(dims, kind), ".img": struct.pack(f"<{len(voxels)}{kind}", *voxels)}


def pair_files(name, dims, kind, voxels):
    return {name + ending: content for ending, content in pair_bytes(dims, kind, voxels).items()}


def histogram_file(bins):
    return {"target.hist": "".join(f"{i + 0.5} {1 + i % 7}\n" for i in range(bins)).encode()}


@dataclasses.dataclass
class Form:
    """A command line. `reference` holds its outputs after an undisturbed run, `old` those of another volume."""

    name: str
    arguments: tuple
    inputs: dict
    histograms: tuple
    pairs: tuple
    reference: dict = dataclasses.field(default_factory=dict)
    output: dict = dataclasses.field(default_factory=dict)

    @property
    def groups(self):
        """The outputs that stand or fall together."""
        return [(name,) for name in self.histograms] + [(name + ".hdr", name + ".img") for name in self.pairs]

    @property
    def outputs(self):
        return [name for group in self.groups for name in group]

    @property
    def old(self):
        content = {name: b"0.5\t1\n" for name in self.histograms}
        for pair in self.pairs:
            content |= pair_files(pair, (2, 2, 1), "B", [1, 2, 3, 4])
        return content | {name: self.inputs[name] for name in self.outputs if name in self.inputs}


def forms():
    scan = pair_files("scan", (4, 3, 2), "B", make_inputs.SCAN)
    target = pair_files("target", (3, 3, 2), "h", make_inputs.TARGET)
    # More than one block of the reading and the writing side, and histogram files of more than one buffer.
    many = [(x * x * 7 + y * 31 + z * z * 3) % 251 + x / 64 for z in range(40) for y in range(40) for x in range(48)]
    large = pair_files("scan", (48, 40, 40), "d", many)
    small1 = "scan target out1 out2 8 1 1 1 before1.hist before2.hist after1.hist after2.hist".split()
    usage2 = "scan target.hist out1 8 before1.hist after1.hist".split()
    return [
        Form("volumes", tuple(small1), scan | target, tuple(small1[-4:]), ("out1", "out2")),
        Form("histogram", tuple(usage2), scan | histogram_file(8), tuple(usage2[-2:]), ("out1",)),
        Form("blocks", tuple(["64" if a == "8" else a for a in usage2]), large | histogram_file(64),
             tuple(usage2[-2:]), ("out1",)),
        Form("in-place", ("scan", "target.hist", "scan", *usage2[3:]), scan | histogram_file(8), tuple(usage2[-2:]),
             ("scan",)),
    ]


@dataclasses.dataclass
class Expected:
    """What must come of a run. A text is (stream, part of it)."""

    statuses: tuple = (0, 1, -6)
    told: tuple = ()  # one of these is said
    whole: bool = False  # every output is new, and the console as undisturbed
    untouched: bool = False  # no output is touched
    lost: tuple = None  # exactly these outputs are not new
    at_most: tuple = None  # no other outputs than these are not new, unless the run ends before them
    lossy: bool = False  # at least one output is not new
    tidy: bool = True  # no temporary file stays
    mute: bool = False  # standard output is lost, and what was told on it


@dataclasses.dataclass
class Case:
    """A form in its surroundings; `launch` stands before the tool's name on the command line."""

    name: str
    form: Form
    expected: Expected
    old: bool = False
    threads: int = 1
    environment: dict = dataclasses.field(default_factory=dict)
    launch: tuple = ()
    redirect: str = ""
    umask: int = 0o022
    prepare: object = None  # called with the folder
    check: object = None  # called with the folder and the outcome; yields complaints
    injected: bool = False
    outputs: dict = None  # the names under which the outputs are found, where others than usual
    rights: bool = True  # the runner gives up root's rights; otherwise `launch` does


def possible_users(top):
    """As whom the cases can be tried. A container may number its user 0 without giving root's rights."""
    if os.geteuid() != 0:
        return ("user",), "root's part takes root"
    closed = Path(top) / "closed"
    closed.touch(mode=0)
    if not os.access(closed, os.R_OK):
        return ("user",), "root has no more rights here than others"
    try:
        os.chown(closed, ORDINARY_USER, ORDINARY_USER)
        subprocess.run([*UNPRIVILEGED, "true"], capture_output=True, text=True, check=True)
    except (OSError, subprocess.CalledProcessError) as error:
        return ("root",), f"root cannot act for others here: {getattr(error, 'stderr', None) or error}".strip()
    return ("root", "user"), ""


@dataclasses.dataclass
class Outcome:
    status: int
    texts: dict
    states: dict
    leftovers: list


class Runner:
    """Runs cases in folders of their own below `top`."""

    def __init__(self, tool, shim, top, user, as_other):
        self.top = Path(top).resolve()
        self.top.chmod(0o755)
        self.user = user
        self.as_other = as_other  # a user without rights, whose part root plays
        # An ordinary user may not be let into the folder the tool was built in.
        self.tool = self.top / tool.name
        self.shim = self.top / shim.name
        for source, copy in ((tool, self.tool), (shim, self.shim)):
            shutil.copy(source, copy)
            copy.chmod(0o755)
        self.sanitizer = ""
        if b"libasan.so" in tool.read_bytes():
            self.sanitizer = subprocess.run(["gcc", "-print-file-name=libasan.so"], capture_output=True, text=True,
                                            check=True).stdout.strip()

    def folder(self, number):
        folder = self.top / f"run{number:06}"
        folder.mkdir()
        return folder

    def fill(self, folder, case):
        for name, content in (case.form.inputs | (case.form.old if case.old else {})).items():
            (folder / name).write_bytes(content)
            (folder / name).chmod(OLD_PERMISSIONS)
        if self.as_other:
            for path in (folder, *folder.iterdir()):
                os.chown(path, ORDINARY_USER, ORDINARY_USER)
        if case.prepare:
            case.prepare(folder)

    def command(self, case, folder, log):
        environment = {"LC_ALL": "C", "OMP_NUM_THREADS": str(case.threads)}
        if self.sanitizer:
            environment |= {"ASAN_OPTIONS": "detect_leaks=0:exitcode=99", "UBSAN_OPTIONS": "exitcode=99"}
        environment |= case.environment
        if case.injected:
            preload = ":".join(filter(None, (self.sanitizer, str(self.shim))))
            environment |= {"LD_PRELOAD": preload, "FAULT_FOLDER": f"{folder}/", "FAULT_LOG": str(log)}
        settings = tuple(f"{name}={value}" for name, value in environment.items())
        rights = UNPRIVILEGED if self.as_other and case.rights else ()
        command = (*rights, "env", *settings, *case.launch, str(self.tool), *case.form.arguments)
        if case.redirect:
            command = ("sh", "-c", f'exec "$@" {case.redirect}', "sh", *command)
        return command

    def run(self, case, folder):
        """The outcome and the shim's lines."""
        log = folder.parent / (folder.name + ".log")
        self.fill(folder, case)
        log.touch()
        log.chmod(0o666)
        command = self.command(case, folder, log)
        process = subprocess.Popen(command, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, umask=case.umask)
        try:
            out, err = process.communicate(timeout=TIME_LIMIT_SECONDS)
            status = process.returncode
        except subprocess.TimeoutExpired:
            process.kill()
            out, err = process.communicate()
            status = None
        # The shell of a redirection reports a signal as 128 + its number.
        if case.redirect and status is not None and status > 128:
            status = 128 - status
        texts = {"out": out.decode("utf-8", "replace"), "err": err.decode("utf-8", "replace")}
        lines = [line.split("\t") for line in log.read_text().splitlines()]
        log.unlink()
        return Outcome(status, texts, states(case, folder), leftovers(folder)), lines

    def undisturbed(self, form, folder):
        """Runs the form as it is and keeps what comes as its reference."""
        outcome, _ = self.run(Case("undisturbed", form, Expected()), folder)
        if outcome.status != 0 or COMPLETE[1] not in outcome.texts["out"]:
            raise SystemExit(f"The undisturbed run of '{form.name}' failed: {outcome}")
        form.reference = {name: (folder / name).read_bytes() for name in form.outputs}
        form.output = {stream: RUNNING_TIME.sub("", text) for stream, text in outcome.texts.items()}
        shutil.rmtree(folder)


def leftovers(folder):
    return sorted(str(path.relative_to(folder)) for path in folder.rglob(TEMPORARY + "*"))


def content_of(path):
    """The bytes of a file, also of one that the case left unreadable; its permissions stay."""
    if os.access(path, os.R_OK):
        return path.read_bytes()
    mode = stat.S_IMODE(path.stat().st_mode)
    path.chmod(0o400)
    content = path.read_bytes()
    path.chmod(mode)
    return content


def states(case, folder):
    """For each output: absent, old, new or wrong."""
    found = {}
    for name in case.form.outputs:
        path = folder / (case.outputs or {}).get(name, name)
        if not os.path.lexists(path):
            found[name] = "absent"
        elif not stat.S_ISREG(os.stat(path).st_mode if path.exists() else 0):
            found[name] = "special"
        else:
            content = content_of(path)
            found[name] = ("new" if content == case.form.reference.get(name) else
                           "old" if case.old and content == case.form.old[name] else "wrong")
    return found


def said(texts, wanted):
    stream, text = wanted
    return text in texts[stream]


def complaints(case, folder, outcome, fired):
    """Everything that is not as it must be."""
    expected = case.expected
    if not fired:
        yield "the fault never fired"
    if outcome.status is None:
        yield f"no end within {TIME_LIMIT_SECONDS} seconds"
        return
    if outcome.status not in expected.statuses:
        yield f"status {outcome.status}, expected one of {expected.statuses}"
    for stream, text in outcome.texts.items():
        if SANITIZER.search(text):
            yield f"a sanitizer's report on {stream}"
    if expected.told and not any(said(outcome.texts, text) for text in expected.told):
        yield f"none of {expected.told} was said"
    yield from wrong_files(case, outcome)
    if expected.tidy and outcome.status >= 0 and outcome.leftovers:
        yield f"left behind: {outcome.leftovers}"
    if expected.whole:
        for stream, text in outcome.texts.items():
            if RUNNING_TIME.sub("", text) != case.form.output[stream]:
                yield f"{stream} differs from that of an undisturbed run"
    elif outcome.status in ENDINGS and not expected.mute:
        yield from untold_losses(case, outcome)
    if case.check:
        yield from case.check(folder, outcome)


def wrong_files(case, outcome):
    expected, found = case.expected, outcome.states
    before = "old" if case.old else "absent"
    for name, state in found.items():
        if state == "wrong":
            yield f"{name} is neither as before nor whole"
        if expected.whole and state != "new":
            yield f"{name} is {state}, expected new"
        if expected.untouched and state != before:
            yield f"{name} is {state}, expected {before}"
        wanted = "new" if expected.lost is None or name not in expected.lost else before
        if expected.lost is not None and state not in (wanted, "special"):
            yield f"{name} is {state}, expected {wanted}"
        if expected.at_most is not None and state != "new" and name not in expected.at_most:
            if said(outcome.texts, COMPLETE):
                yield f"{name} is {state}, expected new"
    if expected.lossy and all(state == "new" for state in found.values()):
        yield "nothing was lost: the fault did not show"
    for pair in case.form.pairs:
        header, image = found[pair + ".hdr"], found[pair + ".img"]
        # Without its header an image is no volume: a killed run may leave that, or one that cannot put the old back.
        no_volume = header == "absent" and (outcome.status < 0 or not expected.tidy)
        if header != image and "special" not in (header, image) and not no_volume:
            yield f"the pair {pair} is mixed: header {header}, image {image}"


def untold_losses(case, outcome):
    """A pair that is not new has been told, and so has an early end."""
    if not any(said(outcome.texts, text) for text in ENDINGS[outcome.status]):
        yield f"status {outcome.status} without any of {ENDINGS[outcome.status]}"
    if said(outcome.texts, COMPLETE):
        told = sum(outcome.texts[stream].count(text) for stream, text in LOSSES)
        lost = sum(outcome.states[pair + ".img"] not in ("new", "special") for pair in case.form.pairs)
        if lost > told:
            yield f"{lost} pairs were lost but {told} told"
