# SPDX-License-Identifier: BSD-3-Clause
"""The arguments of the converters, read before anything that may not be installed."""

import argparse
import pathlib
import sys

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "report"))  # in the source tree and installed
from tonalign_report import VERSION


def parse_arguments(explanation, *names):
    program = pathlib.Path(sys.argv[0]).name
    parser = argparse.ArgumentParser(
        prog=program, description=explanation, formatter_class=argparse.RawDescriptionHelpFormatter
    )
    parser.add_argument("--version", action="version", version=f"{program} {VERSION}")
    for name in names:
        parser.add_argument(name, metavar=name.upper())
    arguments = parser.parse_args()
    try:
        import nibabel
    except ModuleNotFoundError as error:
        sys.exit(f"{program}: {error}; it needs the Debian package python3-nibabel")
    return arguments
