"""The compiled part of the Python package, by CMake.

NVIMPORT_BUILD names a build of the project to take it from; without it one is made here. With
NVIMPORT_PORTABLE=1 that needs nothing of a system but what every Linux has: libraries that others may lack
are linked in where their static ones are there, else what they serve is left out.
"""

import os
import pathlib
import re
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).resolve().parent


def static_library(name):
    found = subprocess.run(
        ["cc", f"-print-file-name=lib{name}.a"], stdout=subprocess.PIPE, text=True, check=True
    ).stdout.strip()
    return found if os.path.isabs(found) else "OFF"


def where_pybind11_is():
    """The package that pip brings to builds of its own; CMake finds that of a system itself."""
    try:
        import pybind11
    except ImportError:
        return []
    return [f"-Dpybind11_DIR={pybind11.get_cmake_dir()}"]


class CMakeBuild(build_ext):
    def run(self):
        build = os.environ.get("NVIMPORT_BUILD")
        if not build:
            portable = os.environ.get("NVIMPORT_PORTABLE") == "1"
            build = str(ROOT / "build" / ("wheel-portable" if portable else "wheel"))
            options = [f"-DNVIMPORT_{part}=OFF" for part in ("TESTS", "BENCH", "CLI", "DESKTOP", "R")]
            options += [f"-DPython_EXECUTABLE={sys.executable}", *where_pybind11_is()]
            if portable:
                options += [f"-DNVIMPORT_ISAL={static_library('isal')}"]
                options += [f"-DNVIMPORT_NETTLE={static_library('nettle')}", "-DNVIMPORT_XML2=OFF"]
            subprocess.run(
                ["cmake", "-S", ROOT, "-B", build, "-DCMAKE_BUILD_TYPE=Release", *options],
                check=True,
            )
            targets = ["nvimport-python", "nvimport-complete"]
            # Without a number, make takes as many jobs as there are files.
            jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL") or str(os.cpu_count() or 1)
            subprocess.run(
                ["cmake", "--build", build, "--parallel", jobs, "--target", *targets], check=True
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
