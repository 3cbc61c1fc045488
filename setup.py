# SPDX-License-Identifier: BSD-3-Clause
"""Has CMake build the extension; everything else is in pyproject.toml."""

import pathlib
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        source = pathlib.Path(__file__).resolve().parent
        build = pathlib.Path(self.build_temp).resolve()
        options = [
            "-DCMAKE_BUILD_TYPE=Release",
            "-DTONALIGN_BUILD_PYTHON=ON",
            f"-DPython3_EXECUTABLE={sys.executable}",
        ]
        subprocess.run(["cmake", "-S", source, "-B", build, *options], check=True)
        subprocess.run(["cmake", "--build", build, "--target", "tonalign_python", "--parallel"], check=True)
        (built,) = (build / "python/tonalign").glob("_core.*.so")
        self.copy_file(built, self.get_ext_fullpath(ext.name))


setup(ext_modules=[Extension("tonalign._core", sources=[])], cmdclass={"build_ext": CMakeBuild})
