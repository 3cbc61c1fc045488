"""Faults that need no shim: limits, full disks, permissions, links and special files, a lost console."""

import os
import shutil
import stat
import subprocess
import threading
from pathlib import Path

import fault_runs as runs
from fault_runs import Case, Expected

PAGE = 4096
ANY_END = (0, 1, 127, -6)


def label(old):
    return "old" if old else "new"


def pages(content):
    return -(-len(content) // PAGE)


def lost_groups(form, lost):
    return tuple(name for group in form.groups if any(map(lost, group)) for name in group)


def file_size_cases(forms):
    """A file may grow to this size and no further: exactly the files that are larger are lost, with their pairs."""
    for form in (forms["histogram"], forms["blocks"]):
        sizes = sorted({len(content) for content in form.reference.values()})
        limits = {0, 1, 100, 347, 348, *(size - 1 for size in sizes), *range(0, sizes[-1], 1 << 14)}
        for limit in sorted(limits):
            lost = lost_groups(form, lambda name: len(form.reference[name]) > limit)
            for old in (False, True):
                expected = Expected((0,), (runs.COMPLETE,), lost=lost)
                launch = ("prlimit", f"--fsize={limit}")
                yield Case(f"file-size/{form.name}-{label(old)}-{limit}", form, expected, old, launch=launch)


def starts_with(runner, form, limit, threads):
    """Whether the form runs undisturbed within so much memory, in MiB."""
    folder = runner.top / f"probe{limit}-{threads}"
    folder.mkdir()
    case = Case("probe", form, Expected(), threads=threads, launch=("prlimit", f"--as={limit << 20}"))
    outcome, _ = runner.run(case, folder)
    shutil.rmtree(folder)
    return all(state == "new" for state in outcome.states.values())


def memory_cases(runner, forms):
    """Address space in steps, up to what a run needs."""
    if runner.sanitizer:  # which reserves terabytes
        return
    form = forms["blocks"]
    for threads in (1, 4):
        low, high = 1, 1 << 12
        while high - low > 1:
            middle = (low + high) // 2
            low, high = (low, middle) if starts_with(runner, form, middle, threads) else (middle, high)
        # Less than a quarter, and the kernel cannot even start a program.
        for step in range(16, 64):
            limit = low * 1024 * step // 64
            expected = Expected(ANY_END, tidy=False, lossy=True)
            launch = ("prlimit", f"--as={limit << 10}")
            yield Case(f"memory-limit/{threads}-{step}", form, expected, step % 2 == 0, threads, launch=launch)


def thread_cases(runner, forms):
    """More threads than can be started: the runtime library ends the run, before anything is written."""
    for name in ("volumes", "blocks"):
        form = forms[name]
        expected = Expected((1,), (runs.NO_THREADS,), tidy=True)
        if runner.as_other or os.geteuid() != 0:  # the kernel does not count root's
            yield Case(f"threads/{name}-processes", form, expected, True, 4000, launch=("prlimit", "--nproc=1"))
        if not runner.sanitizer:
            yield Case(f"threads/{name}-memory", form, Expected((1, -6, 127), lossy=True), True, 4000,
                       launch=("prlimit", f"--as={1 << 29}"))
            yield Case(f"threads/{name}-stacks", form, expected, True, 4, {"OMP_STACKSIZE": "100000G"})


def descriptor_cases(forms):
    for count in range(3, 7):
        launch = ("prlimit", f"--nofile={count}")
        yield Case(f"descriptors/{count}", forms["histogram"], Expected(ANY_END), True, launch=launch)


# A file system of its own for the outputs, whose content is brought out before it ends with its name space.
ON_SMALL_DISK = """set -e
mount -t tmpfs -o "$1" tonalign disk; shift
[ ! -d old ] || cp -p old/* disk
status=0; "$@" || status=$?
mkdir after; cp -a disk/. after
exit $status"""


def can_mount(runner):
    name_space = ("unshare", "-m") if os.geteuid() == 0 else ("unshare", "-rm")
    command = [*name_space, "mount", "-t", "tmpfs", "tonalign", runner.top]
    trial = subprocess.run(command, capture_output=True, text=True, check=False)
    return name_space, trial.stderr.strip() if trial.returncode else ""


def on_disk(form):
    """The form with its outputs in the folder disk, and where they are found afterwards."""
    def moved(name):
        return f"disk/{name}" if name in (*form.histograms, *form.pairs) else name

    arguments = tuple(map(moved, form.arguments))
    twin = runs.Form(form.name, arguments, form.inputs, form.histograms, form.pairs, form.reference, form.output)
    return twin, {name: f"after/{name}" for name in form.outputs}


def full_disk_cases(runner, forms):
    name_space, reason = can_mount(runner)
    if reason:
        print(f"as {runner.user}: full-disk: not possible here ({reason}); ENOSPC is injected at every write")
        return
    owner = f"uid={runs.ORDINARY_USER},gid={runs.ORDINARY_USER}," if runner.as_other else ""
    for form in (forms["histogram"], forms["blocks"]):
        twin, places = on_disk(form)
        need = sum(map(pages, form.reference.values()))
        settings = [(f"size={size * PAGE}", False) for size in range(1, need)]
        # A disk of old files must have held them.
        settings += [(f"size={size * PAGE}", True) for size in range(len(form.outputs), need)]
        settings += [(f"size=100M,nr_inodes={count}", False) for count in range(1, len(form.outputs) + 1)]
        for setting, old in settings:
            def prepare(folder, old=old, form=form):
                (folder / "disk").mkdir()
                folder.chmod(0o777)
                if old:
                    (folder / "old").mkdir()
                    for name in form.outputs:
                        (folder / name).rename(folder / "old" / name)

            launch = (*name_space, "sh", "-c", ON_SMALL_DISK, "sh", owner + setting)
            launch += runs.UNPRIVILEGED if runner.as_other else ()
            name = f"full-disk/{form.name}-{label(old)}-{setting}"
            yield Case(name, twin, Expected((0,), lossy=True), old, prepare=prepare, launch=launch, outputs=places,
                       rights=False)


def mounted_file_cases(runner, forms):
    """Another file is mounted on an output, so that no file can be renamed over it."""
    name_space, reason = can_mount(runner)
    form = forms["histogram"]
    for name in () if reason else form.outputs:
        def held(folder, name=name):
            shutil.copy(folder / name, folder / "held")
            os.chown(folder / "held", folder.stat().st_uid, folder.stat().st_gid)

        launch = (*name_space, "sh", "-c", 'mount --bind held "$1"; shift; exec "$@"', "sh", name)
        launch += runs.UNPRIVILEGED if runner.as_other else ()
        yield Case(f"mounted/{name}", form, Expected((0,), whole=True), True, prepare=held, launch=launch,
                   outputs={name: "held"}, rights=False)


def modes(wanted):
    """A check of the permissions of every output."""
    def check(folder, outcome):
        for name in outcome.states:
            mode = stat.S_IMODE((folder / name).stat().st_mode)
            if mode != wanted:
                yield f"{name} has permissions {mode:o}, expected {wanted:o}"
    return check


def set_modes(mode, names=None):
    def prepare(folder):
        for name in names or [path.name for path in folder.iterdir()]:
            (folder / name).chmod(mode)
    return prepare


def permission_cases(runner, forms):
    form = forms["histogram"]
    root = runner.user == "root"
    whole = Expected((0,), whole=True)
    for umask in (0o000, 0o022, 0o027, 0o077, 0o222, 0o777):
        yield Case(f"permissions/umask-{umask:o}", form, whole, umask=umask, check=modes(0o666 & ~umask))
    for mode in (0o600, 0o640, 0o666, 0o755, 0o606):
        yield Case(f"permissions/kept-{mode:o}", form, whole, True, umask=0o077, prepare=set_modes(mode, form.outputs),
                   check=modes(mode))
    told = {".hdr": (runs.HEADER_UNOPENED,), ".img": (runs.IMAGE_UNOPENED,)}
    for name in form.outputs:
        group = next(group for group in form.groups if name in group)
        refused = Expected((0,), told.get(Path(name).suffix, (runs.COMPLETE,)), lost=group)
        yield Case(f"permissions/read-only-{name}", form, whole if root else refused, True,
                   prepare=set_modes(0o444, [name]))
        yield Case(f"permissions/write-only-{name}", form, whole, True, prepare=set_modes(0o222, [name]))
    for name in form.inputs:
        refused = Expected((0, 1), untouched=True)
        yield Case(f"permissions/unreadable-{name}", form, whole if root else refused, True,
                   prepare=set_modes(0, [name]))

    def close_folder(folder):
        folder.chmod(0o555)

    nothing = Expected((0,), (runs.IMAGE_UNOPENED,), untouched=True)
    yield Case("permissions/closed-folder-new", form, whole if root else nothing, prepare=close_folder)
    yield Case("permissions/closed-folder-old", form, whole, True, prepare=close_folder)

    def sticky(folder):
        for name in form.outputs:
            os.chown(folder / name, 0, 0)
            (folder / name).chmod(0o666)
        os.chown(folder, 0, 0)
        folder.chmod(0o1777)

    if runner.as_other:
        yield Case("permissions/sticky-folder", form, whole, True, prepare=sticky)


def link_cases(runner, forms):
    form = forms["histogram"]
    for name in form.outputs:
        for there in (True, False):
            def link(folder, name=name, there=there):
                (folder / "elsewhere").mkdir()
                if runner.as_other:
                    owner = (folder / "scan.hdr").stat()
                    os.chown(folder / "elsewhere", owner.st_uid, owner.st_gid)
                if there:
                    (folder / name).rename(folder / "elsewhere" / "file")
                (folder / "elsewhere" / "link").symlink_to("file")
                (folder / name).symlink_to("elsewhere/link")

            def still_link(folder, outcome, name=name):
                if not ((folder / name).is_symlink() and (folder / "elsewhere" / "link").is_symlink()):
                    yield f"{name} is no link any more"

            where = "whole" if there else "dangling"
            yield Case(f"links/{where}-{name}", form, Expected((0,), whole=True), there, prepare=link, check=still_link)

        def loop(folder, name=name):
            (folder / name).symlink_to(name)

        yield Case(f"links/loop-{name}", form, Expected((0,), lossy=True), prepare=loop)

        def hard_link(folder, name=name):
            os.link(folder / name, folder / "other")

        def other_kept(folder, outcome, name=name):
            if (folder / "other").read_bytes() != form.old[name]:
                yield "the other link was touched"

        yield Case(f"links/hard-{name}", form, Expected((0,), whole=True), True, prepare=hard_link, check=other_kept)

        def folder_there(folder, name=name):
            (folder / name).mkdir()

        yield Case(f"links/folder-{name}", form, Expected((0,), lossy=True), prepare=folder_there)


def special_cases(runner, forms):
    form = forms["histogram"]
    for name in form.histograms + tuple(form.outputs[-2:]):
        received = {}

        def pipe(folder, name=name, received=received):
            os.mkfifo(folder / name)
            (folder / name).chmod(0o666)
            def receive():
                received[folder] = (folder / name).read_bytes()

            received["reader"] = threading.Thread(target=receive, daemon=True)
            received["reader"].start()

        def got_all(folder, outcome, name=name, received=received):
            received["reader"].join(5)
            if received.get(folder) != form.reference[name]:
                yield "the pipe's reader did not get the whole file"
            if not stat.S_ISFIFO((folder / name).stat().st_mode):
                yield f"{name} is no pipe any more"

        # A header is written at a position in its file, which a pipe does not have.
        header = name.endswith(".hdr")
        expected = Expected((0,), (runs.HEADER_UNWRITTEN,) if header else ())
        yield Case(f"special/pipe-{name}", form, expected, prepare=pipe, check=None if header else got_all)
    for device, minor in (("full", 7), ("null", 3)):
        for name in form.outputs:
            if runner.nodes:
                def node(folder, name=name, minor=minor):
                    os.mknod(folder / name, 0o666 | stat.S_IFCHR, os.makedev(1, minor))
                    (folder / name).chmod(0o666)

                told, partner = partner_of(name, form) if device == "full" else ((), None)
                # All is written and kept but what goes to the full device, and the other file of its pair.
                expected = Expected((0,), told, lost=tuple(filter(None, (name, partner))))
                yield Case(f"special/{device}-{name}", form, expected, prepare=node, check=still_device(name))
    if not runner.nodes:
        print(f"as {runner.user}: special: device nodes of our own are not possible here, so only pipes were tried")


def partner_of(name, form):
    """What is told when this output is lost, and what is given up with it."""
    for pair in form.pairs:
        if name == pair + ".hdr":
            return (runs.HEADER_UNWRITTEN,), pair + ".img"
        if name == pair + ".img":
            return (runs.IMAGE_UNWRITTEN,), pair + ".hdr"
    return (), None


def still_device(name):
    def check(folder, outcome):
        found = (folder / name).stat()
        if not stat.S_ISCHR(found.st_mode) or stat.S_IMODE(found.st_mode) != 0o666:
            yield f"{name} is no device any more, or has other permissions"
    return check


def console_cases(forms):
    for name in ("volumes", "histogram"):
        for where, redirect in {
            "stdout-closed": ">&-",
            "stderr-closed": "2>&-",
            "stdin-and-stdout-closed": "<&- >&-",
            "all-closed": "<&- >&- 2>&-",
            "full": ">/dev/full",
            "both-full": ">/dev/full 2>&1",
        }.items():
            for old in (False, True):
                expected = Expected((0,), lost=(), mute=True)
                yield Case(f"console/{name}-{where}-{label(old)}", forms[name], expected, old, redirect=redirect)


def can_make_nodes(runner):
    trial = runner.top / "node"
    try:
        os.mknod(trial, 0o600 | stat.S_IFCHR, os.makedev(1, 3))
        with trial.open("wb") as file:
            file.write(b"0")
    except OSError:
        return False
    return True


def cases(runner, forms):
    runner.nodes = can_make_nodes(runner)
    yield from file_size_cases(forms)
    yield from memory_cases(runner, forms)
    yield from thread_cases(runner, forms)
    if not runner.sanitizer:  # which needs some itself
        yield from descriptor_cases(forms)
    yield from full_disk_cases(runner, forms)
    yield from mounted_file_cases(runner, forms)
    yield from permission_cases(runner, forms)
    yield from link_cases(runner, forms)
    yield from special_cases(runner, forms)
    yield from console_cases(forms)
