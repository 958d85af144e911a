"""The compiled part of the Python package, by CMake.

NVIMPORT_BUILD names a build of the project to take it from; without it one is made here.
"""

import os
import pathlib
import re
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).resolve().parent


class CMakeBuild(build_ext):
    def run(self):
        build = os.environ.get("NVIMPORT_BUILD")
        if not build:
            build = str(ROOT / "build" / "wheel")
            off = [f"-DNVIMPORT_{part}=OFF" for part in ("TESTS", "BENCH")]
            python = f"-DPython_EXECUTABLE={sys.executable}"
            subprocess.run(
                ["cmake", "-S", ROOT, "-B", build, "-DCMAKE_BUILD_TYPE=Release", python, *off],
                check=True,
            )
            targets = ["nvimport-python", "nvimport-complete"]
            subprocess.run(
                ["cmake", "--build", build, "--parallel", "--target", *targets], check=True
            )
        subprocess.run(
            ["cmake", "--install", build, "--component", "wheel", "--prefix", self.build_lib],
            check=True,
        )


header = (ROOT / "nvimport/framework/Version.h").read_text()
setup(
    version=".".join(re.findall(r"#define NVIMPORT_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)", header)),
    ext_modules=[Extension("nvimport._nvimport", [])],
    cmdclass={"build_ext": CMakeBuild},
)
