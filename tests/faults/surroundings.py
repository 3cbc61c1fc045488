# SPDX-License-Identifier: BSD-3-Clause
"""Runs in surroundings that make trouble: permissions, links, special files, limits, streams. Each case is a function of a
folder with the inputs that yields what was not as it must be; its first line says what is expected."""

import os
import re
import subprocess
import threading

import runs
from runs import run_tool

OTHER = 65534
AS_OTHER = ("setpriv", f"--reuid={OTHER}", f"--regid={OTHER}", "--clear-groups")
COMPLETE = "*****TOTAL RUNNING TIME*****"


class Surroundings:
    """The folder of a case, and what an undisturbed run of usage 2 writes."""

    def __init__(self, runner, folder):
        self.folder, self.runner = folder, runner
        self.files = ("b.hist", "a.hist", "out.hdr", "out.img")
        for name, content in (runs.SCAN | runs.HISTOGRAM).items():
            (folder / name).write_bytes(content)
        (folder / "whole").mkdir()
        self.run(whole=True)
        self.whole = {name: (folder / "whole" / name).read_bytes() for name in self.files}

    def run(self, launch=(), whole=False, **options):
        names = [f"whole/{name}" if whole and name in ("out", "b.hist", "a.hist") else name for name in runs.USAGE2[1:]]
        return run_tool(self.folder, [self.runner.build / "tonalign", *names], launch, **options)

    def path(self, name):
        return self.folder / name

    def make_old(self, names=None):
        for name in names or self.files:
            self.path(name).write_bytes(b"old")

    def unlike(self, *expected):
        """Yields the outputs that are not as expected: "new", "old", b"content" or None for absent; all new if not said."""
        for name, wanted in zip(self.files, expected or ("new",) * 4):
            wanted = self.whole[name] if wanted == "new" else b"old" if wanted == "old" else wanted
            found = self.path(name).read_bytes() if self.path(name).exists() else None
            if found != wanted:
                yield f"{name}: {len(found) if found is not None else 'no'} bytes, expected {wanted and wanted[:9]}"
        left = [path.name for path in self.folder.rglob(".tonalign-*")]
        if left:
            yield f"left behind: {left}"

    def give_away(self, *names):
        for path in (self.folder, *self.folder.iterdir()):
            if not names or path.name in names:
                os.chown(path, OTHER, OTHER, follow_symlinks=False)

    def said(self, text, outcome):
        if text not in outcome[1] + outcome[2]:
            yield f"{text!r} was not said: {outcome[2]}"


def owner_and_mode_are_kept_but_no_set_id(s):
    s.make_old(s.files[:3])
    s.give_away(*s.files)
    for name, mode in zip(s.files, (0o640, 0o4755, 0o664)):
        s.path(name).chmod(mode)
    s.run(umask=0o027)
    yield from s.unlike()
    for name, owner, mode in zip(s.files, (OTHER, OTHER, OTHER, 0), (0o640, 0o755, 0o664, 0o640)):
        status = s.path(name).stat()
        if (status.st_uid, status.st_gid, status.st_mode & 0o7777) != (owner, owner, mode):
            yield f"{name}: {status}"


def closed_folder_is_written_directly_and_halves_are_emptied(s):
    s.make_old()
    s.give_away()
    s.folder.chmod(0o555)
    s.run(AS_OTHER)
    yield from s.unlike()
    s.make_old()
    outcome = s.run((*AS_OTHER, "prlimit", "--fsize=347"))
    yield from s.unlike(b"", b"", b"", "new")  # the image alone is smaller than that
    yield from s.said("AnalyzeHeader::save  write error", outcome)


def whole_header_stays_where_the_image_may_not_be_written(s):
    s.make_old()
    s.give_away()
    s.path("out.img").chmod(0o444)
    s.folder.chmod(0o555)
    yield from s.said("  Error opening file out.img", s.run(AS_OTHER))
    yield from s.unlike("new", "new", "new", "old")


def sticky_folder_with_files_of_others_is_written_directly(s):
    s.make_old()
    for name in s.files:
        s.path(name).chmod(0o666)
    s.folder.chmod(0o1777)
    s.run(AS_OTHER)
    yield from s.unlike()


def link_of_another_user_in_an_open_folder_is_not_followed(s):
    s.path("precious").write_bytes(b"old")
    s.path("out.img").symlink_to("precious")
    os.chown(s.path("out.img"), OTHER, OTHER, follow_symlinks=False)
    for mode in (0o777, 0o1777):
        s.folder.chmod(mode)
        yield from s.said("  Error opening file out.img", s.run())
        if s.path("precious").read_bytes() != b"old" or not s.path("out.img").is_symlink():
            yield "it was followed or replaced"


def mounted_file_is_written_directly(s):
    s.make_old([*s.files, "held"])
    s.run(("unshare", "-m", "sh", "-c", 'mount --bind held out.img; exec "$@"', "sh"))
    if s.path("held").read_bytes() != s.whole["out.img"]:
        yield "not written"


def links_stay_and_lead_to_the_new_file(s):
    s.path("there").mkdir()
    s.make_old(["there/old", "b.hist"])
    for name, target in {"out.img": "there/link", "there/link": "old", "out.hdr": "there/new"}.items():
        s.path(name).symlink_to(target)
    os.link(s.path("b.hist"), s.path("second"))
    s.run()
    yield from s.unlike()
    if not s.path("out.img").is_symlink() or s.path("there/old").read_bytes() != s.whole["out.img"]:
        yield "the link was replaced"
    if s.path("second").read_bytes() != b"old":
        yield "another hard link was touched"


def pair_that_is_one_file_is_refused(s):
    for old in (None, "old"):
        for closed in (False, True):
            s.folder.chmod(0o755)
            for name in ("x", "out.img", "out.hdr"):
                s.path(name).unlink(missing_ok=True)
            if old:
                s.make_old(["x"])
            s.path("out.img").symlink_to("x")
            s.path("out.hdr").symlink_to("./whole/../x")
            s.give_away()
            s.folder.chmod(0o555 if closed else 0o755)
            outcome = s.run(AS_OTHER)
            if "Error opening file" not in outcome[2] and "out stream failed" not in outcome[1]:
                yield f"nothing was said: {outcome}"
            found = s.path("x").read_bytes() if s.path("x").exists() else None
            if found != (b"old" if old else None):
                yield f"x has {found and len(found)} bytes"


def documented_outcomes_come_first(s):
    s.path("out.hdr").mkdir()
    yield from s.said(" File could not be opened or already exists", s.run())
    s.path("out.hdr").rmdir()
    yield from s.unlike("new", "new", None, "new")
    s.path("out.img").unlink()
    s.path("out.img").mkdir()
    yield from s.said("  Error opening file out.img", s.run())
    s.path("out.img").rmdir()
    yield from s.unlike("new", "new", "new", None)


def loops_and_long_names_are_not_opened(s):
    s.path("loop").symlink_to("loop")
    s.path("out.img").symlink_to("loop")
    yield from s.said("  Error opening file out.img", s.run())
    for name in ("loop", "n" * 300, "n/" * 3000 + "n", "loop/n", "b.hist/n", ""):
        status, _, err = run_tool(s.folder, [s.runner.build / "tonalign-average", name, "8", "scan"])
        if status != 2 or err.count("\n") != 1:
            yield f"{name[:9]}: status {status}, {err}"


def file_size_limits_lose_what_is_larger(s):
    s.make_old()
    sizes = sorted(map(len, s.whole.values()))
    for limit in (0, 1, *(size - 1 for size in sizes)):
        s.make_old()
        s.run(("prlimit", f"--fsize={limit}"))
        fits = [len(s.whole[name]) <= limit for name in s.files]
        # The header is told; its image is saved all the same.
        yield from s.unlike(*("new" if fit else "old" for fit in fits))


def special_files_stay(s):
    os.mkfifo(s.path("out.img"))
    os.mkfifo(s.path("out.hdr"))
    received = []
    reader = threading.Thread(
        target=lambda: received.extend(s.path(name).read_bytes() for name in ("out.hdr", "out.img")), daemon=True)
    reader.start()
    yield from s.said("AnalyzeHeader::save  write error", s.run())
    reader.join(5)
    if received[1:] != [s.whole["out.img"]] or not s.path("out.img").is_fifo():
        yield f"a pipe got {received}"
    s.path("out.img").unlink()
    s.path("out.hdr").unlink()
    s.path("out.img").symlink_to("/dev/full")
    yield from s.said("the out stream failed after write", s.run())
    if not os.path.exists("/dev/full") or s.path("/dev/full").is_file():
        yield "/dev/full is no device any more"


def lost_report_is_told_and_outputs_are_whole(s):
    command = " ".join([str(s.runner.build / "tonalign"), *runs.USAGE2[1:]])
    for redirect in (">/dev/full", ">&-", "<&- >&-", "| true", ">/dev/full 2>&1", "<&- >&- 2>&-"):
        for name in s.files:
            s.path(name).unlink(missing_ok=True)
        done = subprocess.run(["bash", "-c", f"set -o pipefail; sleep 0.2; {command} {redirect}"], cwd=s.folder,
                              stderr=subprocess.PIPE, text=True, timeout=60, check=False)
        told = done.stderr.splitlines()
        if "| true" not in redirect and "2>" not in redirect and told != ["tonalign: standard output cannot be written"]:
            yield f"{redirect}: {told}"
        if done.returncode != 0:
            yield f"{redirect}: status {done.returncode}"
        yield from s.unlike()


BY_ROOT = (owner_and_mode_are_kept_but_no_set_id, closed_folder_is_written_directly_and_halves_are_emptied,
           whole_header_stays_where_the_image_may_not_be_written, sticky_folder_with_files_of_others_is_written_directly,
           link_of_another_user_in_an_open_folder_is_not_followed, mounted_file_is_written_directly,
           pair_that_is_one_file_is_refused)
BY_ANYBODY = (links_stay_and_lead_to_the_new_file, documented_outcomes_come_first, loops_and_long_names_are_not_opened,
              file_size_limits_lose_what_is_larger, special_files_stay, lost_report_is_told_and_outputs_are_whole)


def is_possible():
    """Root's cases take root's rights, which a container may keep to itself."""
    command = (*AS_OTHER, "true"), ("unshare", "-m", "mount", "-t", "tmpfs", "none", "/mnt")
    return os.geteuid() == 0 and not any(subprocess.run(c, capture_output=True, check=False).returncode for c in command)


def cases(runner):
    possible = is_possible()
    if not possible:
        print(f"not possible here, and left out: {len(BY_ROOT)} cases that take root's rights")
    for number, case in enumerate(BY_ANYBODY + (BY_ROOT if possible else ())):
        def tried(case=case, number=number):
            folder = runner.top / f"case{number}"
            folder.mkdir()
            yield from case(Surroundings(runner, folder))

        yield f"surroundings/{re.sub('_', '-', case.__name__)}", tried
