"""What the tests beside this file share: the programs, run as users run them, in a fresh folder for each test."""

import contextlib
import io
import os
import re
import runpy
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path
from unittest import mock

import numpy

SCRIPTS = Path(__file__).resolve().parents[2] / "tools/nifti"
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
    """The voxels as nifti_tool reads them, stored values without a scale factor; it prints six decimals."""
    lines = nifti_tool("-disp_ci", *[-1] * 3, *[0] * 4, "-infiles", name).splitlines()
    values = [word for line in lines if not line.startswith("dataset") for word in line.split()]
    return numpy.array(values, dtype="f8").reshape(shape, order="F")


def assert_same_voxels(name, values):
    numpy.testing.assert_allclose(voxels(name, values.shape), values, rtol=0, atol=0.6e-6)


def script(name, *arguments):
    """One of our scripts; gives exit status, standard output and standard error.

    In this process, since loading nibabel takes most of the time of a small conversion.
    """
    output, errors, status = io.StringIO(), io.StringIO(), 0
    with (
        mock.patch.object(sys, "argv", [name, *map(str, arguments)]),
        mock.patch.object(sys, "path", [str(SCRIPTS), *sys.path]),
        contextlib.redirect_stdout(output),
        contextlib.redirect_stderr(errors),
    ):
        try:
            runpy.run_path(str(SCRIPTS / name), run_name="__main__")
        except SystemExit as end:
            status = end.code or 0
            if isinstance(status, str):
                print(status, file=errors)
                status = 1
    return status, output.getvalue(), errors.getvalue()
