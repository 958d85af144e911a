"""The types that the package tells hold in it."""

import pathlib
import subprocess
import sys

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]


def test_types(folder):
    pytest.importorskip("mypy")
    (folder / "user.py").write_text(
        "import nvimport\n"
        "sheet: nvimport.Sheet = nvimport.read('x.spc', blocks=[1, 2], range=(1, 0))\n"
        "names: list[str] = sheet.spectra().names\n"
    )
    command = [sys.executable, "-m", "mypy", f"--config-file={ROOT / 'pyproject.toml'}"]
    checked = ["--cache-dir=cache", str(ROOT / "python" / "nvimport"), "user.py"]
    done = subprocess.run(
        [*command, *checked], capture_output=True, text=True, env={"MYPYPATH": str(ROOT / "python")}
    )
    assert done.returncode == 0, done.stdout + done.stderr
