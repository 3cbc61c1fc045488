# SPDX-License-Identifier: BSD-3-Clause
"""docs_test.py SOURCE_FOLDER BUILD_FOLDER: the documents' commands print what stands below them; links lead somewhere."""

import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SOURCE, BUILD = (Path(argument).resolve() for argument in sys.argv[1:3])
DOCUMENTS = [SOURCE / "README.md", *sorted(SOURCE.glob("docs/*.md"))]
INSTALLED = {SOURCE / name for name in ("README.md", "CHANGELOG.md", "CITATION.cff", "LICENSE")}
INSTALLED |= {file for ending in ("md", "png", "svg") for file in SOURCE.glob(f"docs/**/*.{ending}")}
EXEMPT = {"scripts/faults": "takes minutes, and leave to trace processes"}
# What scripts/demo leaves, by its own steps.
PREPARATION = """set -e
mkdir demo-output
for pair in ch2bet:brain ch2better:average; do
    build/tonalign-from-nifti /usr/share/mricron/templates/${pair%:*}.nii.gz demo-output/${pair#*:} >/dev/null
done
d=demo-output
build/tonalign $d/brain.img $d/average.img $d/brain-matched.img $d/average-mapped.img 256 1 1 1 \\
    $d/brain.hist $d/average.hist $d/brain-matched.hist $d/average-mapped.hist >$d/usage1.log
build/tonalign $d/brain.img $d/average-mapped.hist $d/brain-by-file.img 256 \\
    $d/brain-again.hist $d/brain-by-file.hist >$d/usage2.log
"""


def is_whole(command):
    """Whether bash has all of a command, which may go on in the next line."""
    checked = subprocess.run(["bash", "-n", "-c", command], capture_output=True, check=False)
    return checked.returncode == 0 and not command.endswith("\\")


def commands_of(document):
    """Pairs of each command behind a `$ ` and what is shown below it."""
    for block in re.findall(r"^```\n(.*?)^```", document.read_text(encoding="utf-8"), re.DOTALL | re.MULTILINE):
        lines = block.splitlines()
        while lines:
            line = lines.pop(0)
            if not line.startswith("$ "):
                continue
            command = line[2:]
            while not is_whole(command):
                command += "\n" + lines.pop(0)
            shown = []
            while lines and not lines[0].startswith("$ "):
                shown.append(lines.pop(0))
            yield command, "\n".join(shown)


def as_pattern(shown):
    """What stands as `...` may be anything: times, this machine's memory, lines left out."""
    return re.escape(shown).replace(r"\.\.\.", ".*")


def anchors_of(document):
    headings = re.findall(r"^#+ (.*)$", document.read_text(encoding="utf-8"), re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


class Documents(unittest.TestCase):
    def test_commands_print_what_is_shown(self):
        tried = 0
        for document in DOCUMENTS:
            commands = [pair for pair in commands_of(document) if not pair[0].startswith(tuple(EXEMPT))]
            if not commands:
                continue
            with tempfile.TemporaryDirectory() as folder, self.subTest(document.name):
                for entry in SOURCE.iterdir():
                    if entry.name not in ("build", "demo-output"):
                        os.symlink(entry, f"{folder}/{entry.name}")
                os.symlink(BUILD, f"{folder}/build")
                script = PREPARATION + "set +e\n"
                script += "".join(f"echo '<<{number}>>'\n{command}\n" for number, (command, _) in enumerate(commands))
                environment = os.environ | {"PATH": f"{BUILD}:{os.environ['PATH']}", "XDG_CACHE_HOME": f"{folder}/.cache"}
                run = subprocess.run(["bash", "-c", script], cwd=folder, env=environment, text=True, stdout=subprocess.PIPE,
                                     stderr=subprocess.STDOUT, check=False)
                found = re.split(r"^<<\d+>>\n", run.stdout, flags=re.MULTILINE)
                self.assertEqual((found[0], len(found)), ("", len(commands) + 1), run.stdout)
                for (command, shown), said in zip(commands, found[1:]):
                    if not re.fullmatch(as_pattern(shown), said.rstrip("\n"), re.DOTALL):
                        self.fail(f"{command}\nshown:\n{shown}\nfound:\n{said}")
                    tried += 1
        self.assertGreater(tried, 20)

    def test_links_lead_to_what_is_there_and_is_installed(self):
        for document in [*DOCUMENTS, *(SOURCE / name for name in ("CHANGELOG.md", "CONTRIBUTING.md", "SECURITY.md"))]:
            text = re.sub(r"^```.*?^```", "", document.read_text(encoding="utf-8"), flags=re.DOTALL | re.MULTILINE)
            for link in re.findall(r"\]\(([^)\s]+)\)", text):
                place, _, anchor = link.partition("#")
                if "://" in place:
                    continue
                target = (document.parent / place).resolve() if place else document
                with self.subTest(f"{document.name}: {link}"):
                    self.assertTrue(target.is_file())
                    self.assertTrue(document not in INSTALLED or target in INSTALLED, "not installed")
                    self.assertTrue(not anchor or anchor in anchors_of(target), "no such heading")


unittest.main(argv=sys.argv[:1])
