# SPDX-License-Identifier: BSD-3-Clause
"""Runs in surroundings that make trouble: owners, links, special files, limits, closed streams. Each case is a function
that yields what was not as its name says."""

import os
import shutil
import subprocess
import tempfile
import threading
from pathlib import Path

import make_inputs

OTHER = 65534
AS_OTHER = ("setpriv", f"--reuid={OTHER}", f"--regid={OTHER}", "--clear-groups")
FILES = ("b.hist", "a.hist", "out.hdr", "out.img")


class Surroundings:
    """A folder with inputs, and what an undisturbed run writes."""

    def __init__(self, build, folder):
        # Another user may not reach the build: root's home, for one, is closed to them.
        self.folder, self.tool = folder, shutil.copy(build / "tonalign", folder)
        (folder / "scan.hdr").write_bytes(make_inputs.header((4, 3, 2), "B"))
        (folder / "scan.img").write_bytes(bytes(make_inputs.SCAN))
        (folder / "target.hist").write_text("".join(f"{i + 0.5} {1 + i % 7}\n" for i in range(64)))
        self.run()
        self.whole = [self.path(name).read_bytes() for name in FILES]
        for name in FILES:
            self.path(name).unlink()

    def path(self, name):
        return self.folder / name

    def run(self, launch=(), **options):
        """What the run said on standard output and standard error."""
        command = [*launch, self.tool, "scan", "target.hist", "out", "64", "b.hist", "a.hist"]
        done = subprocess.run(command, cwd=self.folder, capture_output=True, timeout=60, check=False, **options)
        return done.stdout.decode() + done.stderr.decode()

    def make_old(self, *names):
        for name in names or FILES:
            self.path(name).write_bytes(b"old")

    def unlike(self, *expected):
        """Yields the outputs that are not as expected: "new", b"content" or None for absent; all new if not said."""
        for name, whole, wanted in zip(FILES, self.whole, expected or ("new",) * 4):
            found = self.path(name).read_bytes() if self.path(name).exists() else None
            if found != (whole if wanted == "new" else wanted):
                yield f"{name} holds {found and len(found)} bytes, not {wanted}"
        if list(self.folder.glob(".tonalign-*")):
            yield "something temporary is left"

    def give_away(self):
        for path in (self.folder, *self.folder.iterdir()):
            os.chown(path, OTHER, OTHER, follow_symlinks=False)


def owner_and_mode_are_kept_but_no_set_id(s):
    s.make_old()
    s.give_away()
    for name, mode in zip(FILES, (0o640, 0o4755, 0o664, 0o600)):
        s.path(name).chmod(mode)
    s.run()
    yield from s.unlike()
    for name, mode in zip(FILES, (0o640, 0o755, 0o664, 0o600)):
        status = s.path(name).stat()
        if (status.st_uid, status.st_mode & 0o7777) != (OTHER, mode):
            yield f"{name}: {status}"


def in_a_closed_folder_files_are_written_directly_and_halves_emptied(s):
    s.make_old()
    s.give_away()
    s.folder.chmod(0o555)
    s.run(AS_OTHER)
    yield from s.unlike()
    s.make_old()
    if "AnalyzeHeader::save  write error" not in s.run((*AS_OTHER, "prlimit", "--fsize=347")):
        yield "not told"
    yield from s.unlike(b"", b"", b"", "new")  # the image alone is smaller than that


def links_of_others_in_an_open_folder_are_not_followed(s):
    s.make_old("precious")
    s.path("out.img").symlink_to("precious")
    os.chown(s.path("out.img"), OTHER, OTHER, follow_symlinks=False)
    s.folder.chmod(0o1777)
    if "  Error opening file out.img" not in s.run() or s.path("precious").read_bytes() != b"old":
        yield "followed"


def pair_that_is_one_file_is_refused(s):
    s.make_old("x")
    s.path("out.img").symlink_to("x")
    s.path("out.hdr").symlink_to("./x")
    for closed in (False, True):
        s.give_away()
        s.folder.chmod(0o555 if closed else 0o755)
        text = s.run(AS_OTHER)
        if ("Error opening file" not in text and "out stream failed" not in text) or s.path("x").read_bytes() != b"old":
            yield f"not refused: {text}"


def links_stay_and_lead_to_the_new_file(s):
    s.path("there").mkdir()
    s.make_old("there/old", "b.hist")
    for name, target in {"out.img": "there/link", "there/link": "old", "out.hdr": "there/new"}.items():
        s.path(name).symlink_to(target)
    os.link(s.path("b.hist"), s.path("second"))
    s.run()
    yield from s.unlike()
    if not s.path("out.img").is_symlink() or s.path("second").read_bytes() != b"old":
        yield "a link was replaced, or the other name of a file touched"


def file_size_limits_lose_what_is_larger(s):
    for limit in (0, *(len(whole) - 1 for whole in s.whole)):
        s.make_old()
        s.run(("prlimit", f"--fsize={limit}"))
        yield from s.unlike(*("new" if len(whole) <= limit else b"old" for whole in s.whole))


def exhausted_memory_is_told(s):
    s.path("scan.hdr").write_bytes(make_inputs.header((1000, 1000, 500), "d"))
    os.truncate(s.path("scan.img"), 8 * 500_000_000)
    if " Failed to allocate Memory " not in s.run(("prlimit", "--as=2000000000")):
        yield "not told"
    yield from s.unlike(None, None, None, None)


def special_files_stay(s):
    os.mkfifo(s.path("out.img"))
    s.path("out.hdr").symlink_to("/dev/full")
    received = []
    reader = threading.Thread(target=lambda: received.append(s.path("out.img").read_bytes()), daemon=True)
    reader.start()
    if "AnalyzeHeader::save  write error" not in s.run():
        yield "not told"
    reader.join(5)
    if received != [s.whole[3]] or not s.path("out.img").is_fifo() or s.path("/dev/full").is_file():
        yield f"a pipe got {received}"


def closed_streams_and_dead_pipes_lose_nothing(s):
    for redirect in (">/dev/full", ">&-", "<&- >&- 2>&-", "| true"):
        text = s.run(("bash", "-c", f'set -o pipefail; sleep 0.1; "$@" {redirect} || echo "status $?" >>status', "run"))
        if ("standard output cannot be written" in text) != (redirect in (">/dev/full", ">&-", "| true")):
            yield f"{redirect}: {text}"
        yield from s.unlike()
    if s.path("status").exists():
        yield s.path("status").read_text()


BY_ROOT = (owner_and_mode_are_kept_but_no_set_id, in_a_closed_folder_files_are_written_directly_and_halves_emptied,
           links_of_others_in_an_open_folder_are_not_followed, pair_that_is_one_file_is_refused)
BY_ANYBODY = (links_stay_and_lead_to_the_new_file, file_size_limits_lose_what_is_larger, exhausted_memory_is_told,
              special_files_stay, closed_streams_and_dead_pipes_lose_nothing)


def cases(build):
    root = os.geteuid() == 0 and subprocess.run((*AS_OTHER, "true"), check=False, capture_output=True).returncode == 0
    libraries = subprocess.run(["ldd", build / "tonalign"], check=False, capture_output=True).stdout
    left_out = [exhausted_memory_is_told] if b"libasan" in libraries else []  # its shadow takes more than any limit
    if b"libomp" in libraries:  # Clang's OpenMP runtime writes a file of its own
        left_out += [file_size_limits_lose_what_is_larger, in_a_closed_folder_files_are_written_directly_and_halves_emptied]
    if not root:
        print(f"not possible here, and left out: {len(BY_ROOT)} cases that take root's rights")
    for case in BY_ANYBODY + (BY_ROOT if root else ()):
        def tried(case=case):
            with tempfile.TemporaryDirectory(prefix="tonalign-surroundings-") as folder:
                Path(folder).chmod(0o755)
                yield from case(Surroundings(build, Path(folder)))

        if case not in left_out:
            yield f"surroundings/{case.__name__}", tried
