"""The types that the package tells hold in it."""

import pathlib
import subprocess
import sys

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]


def test_types(folder: pathlib.Path) -> None:
    pytest.importorskip("mypy")
    (folder / "user.py").write_text(
        "import nvimport\n"
        "sheet: nvimport.Sheet = nvimport.read('x.spc', blocks=[1, 2], range=(1, 0))\n"
        "book: dict[str, nvimport.Sheet] = nvimport.read(b'x.xls', sheet=None)\n"
        "both: nvimport.Sheet = nvimport.read('x.xls', sheet=[1, 2], merge='below')\n"
        "some: dict[str, nvimport.Sheet] = nvimport.read('x.xls', sheet=[1, 'Runs'])\n"
        "title: str = nvimport.scan(data=b'').description['title']\n"
        "names: list[str] = sheet.spectra().names\n"
    )
    command = [sys.executable, "-m", "mypy", f"--config-file={ROOT / 'pyproject.toml'}"]
    examples = sorted(str(path) for path in (ROOT / "examples" / "python").glob("*.py"))
    tests = sorted(str(path) for path in (ROOT / "python" / "tests").glob("*.py"))
    package = str(ROOT / "python" / "nvimport")
    checked = ["--strict", "--cache-dir=cache", package, "user.py", *examples, *tests]
    done = subprocess.run(
        [*command, *checked], capture_output=True, text=True, env={"MYPYPATH": str(ROOT / "python")}
    )
    assert done.returncode == 0, done.stdout + done.stderr
