"""The scripts of examples/python do what they say."""

import os
import pathlib
import subprocess
import sys

import pytest

NOTEBOOK = pathlib.Path(__file__).resolve().parents[2] / "examples" / "notebook.ipynb"
EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples" / "python"


def test_notebook(folder: pathlib.Path, monkeypatch: pytest.MonkeyPatch) -> None:
    nbformat = pytest.importorskip("nbformat")
    nbclient = pytest.importorskip("nbclient")
    pytest.importorskip("ipykernel")
    for name in ("HOME", "IPYTHONDIR", "MPLCONFIGDIR"):
        monkeypatch.setenv(name, str(folder))
    notebook = nbformat.read(NOTEBOOK, 4)
    assert not any(cell.get("outputs") for cell in notebook.cells), "kept without what it printed"
    nbclient.NotebookClient(notebook, timeout=120, kernel_name="python3").execute()
    shown = [output for cell in notebook.cells for output in cell.get("outputs", [])]
    assert sum("image/png" in output.get("data", {}) for output in shown) == 2


@pytest.mark.parametrize(
    "script, arguments, needs, printed",
    [
        (
            "spectra_folder.py",
            [".", "plot.png"],
            "matplotlib",
            "1 files, 3 spectra of 100 points in plot.png\n",
        ),
        ("workbook.py", ["ovens.xls"], "pandas", "Runs: 8 rows\n       Peak °C  Held min\n"),
        (
            "jcamp_link.py",
            ["oils.jdx"],
            "numpy",
            "Olive: 90 points, highest 0.700 at 1124\n"
            "Sesame: 90 points, highest 0.700 at 1130\n",
        ),
        (
            "cluster.py",
            ["*.dx"],
            "distributed",
            "5 spectra in 5 files, 1 files left out\n  bad.dx: ",
        ),
    ],
)
def test_example(folder: pathlib.Path, script: str, arguments: list[str], needs: str, printed: str) -> None:
    pytest.importorskip(needs)
    (folder / "bad.dx").write_text("##TITLE= cut\n##JCAMP-DX= 4.24\n")
    done = subprocess.run(
        [sys.executable, EXAMPLES / script, *arguments],
        capture_output=True,
        text=True,
        timeout=300,
        env={**os.environ, "MPLCONFIGDIR": str(folder)},
    )
    assert done.returncode == 0, done.stderr
    assert done.stdout.startswith(printed), done.stdout
