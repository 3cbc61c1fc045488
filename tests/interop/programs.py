"""What the tests beside this file share: the programs, run as users run them, in a fresh folder for each test."""

import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import numpy

SCRIPTS = Path(__file__).resolve().parents[2] / "scripts"
TONALIGN, NIFTI_TOOL = (str(Path(argument).resolve()) for argument in sys.argv[1:3])
BINS = 16


def main():
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])


class FolderCase(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tonalign-interop-")
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)
        Path("flat.hist").write_text("".join(f"{i} 1\n" for i in range(BINS)), encoding="ascii")

    def tonalign(self, *arguments):
        """A run that must be complete; gives its standard output."""
        process = subprocess.run([TONALIGN, *map(str, arguments)], capture_output=True, text=True, check=False)
        self.assertEqual(process.returncode, 0, process.stderr)
        self.assertIn("*****TOTAL RUNNING TIME*****", process.stdout, process.stderr)
        return process.stdout

    def equalise(self, name, result):
        self.tonalign(name, "flat.hist", result, BINS, "before.hist", "after.hist")

    def map_both(self, first, second, result1, result2):
        """The run that only maps both volumes onto 0 to 255, by one line."""
        self.tonalign(first, second, result1, result2, BINS, 0, 0, 0, "1.hist", "2.hist", "1t.hist", "2t.hist")


def nifti_tool(*arguments, status=0):
    process = subprocess.run([NIFTI_TOOL, *map(str, arguments)], capture_output=True, text=True, check=False)
    assert process.returncode == status, (process.args, process.returncode, process.stderr)
    return process.stdout


def fields(name, *wanted, structure="hdr1"):
    """Header fields as nifti_tool shows them: hdr1, those in the file; nim, what its library makes of them."""
    options = [word for field in wanted for word in ("-field", field)]
    lines = nifti_tool(f"-disp_{structure}", *options, "-infiles", name).splitlines()
    rows = [re.split(r"\s+", line.strip(), maxsplit=3) for line in lines]
    found = {row[0]: row[3] if len(row) > 3 else "" for row in rows if row[0] in wanted}
    assert set(found) == set(wanted), lines
    return found


def numbers(text):
    return [float(word) for word in text.split()]


def differing_fields(first, second):
    """Names of the fields of the NIfTI-1 header in which nifti_tool finds two files to differ."""
    process = subprocess.run(
        [NIFTI_TOOL, "-diff_hdr1", "-infiles", first, second], capture_output=True, text=True, check=False
    )
    assert process.returncode in (0, 1) and not process.stderr, process.stderr
    return {line.split()[0] for line in process.stdout.splitlines() if re.match(r"\s+\w+\s+\d+\s+\d+", line)}


def voxels(name, shape):
    """The voxels as nifti_tool reads them, stored values without a scale factor."""
    lines = nifti_tool("-disp_ci", *[-1] * 3, *[0] * 4, "-infiles", name).splitlines()
    values = [word for line in lines if not line.startswith("dataset") for word in line.split()]
    return numpy.array(values, dtype="f8").reshape(shape, order="F")


def script(name, *arguments):
    """One of our scripts; gives exit status, standard output and standard error."""
    process = subprocess.run(
        ["/usr/bin/python3", SCRIPTS / name, *map(str, arguments)], capture_output=True, text=True, check=False
    )
    return process.returncode, process.stdout, process.stderr
