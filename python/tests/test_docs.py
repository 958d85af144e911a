"""What docstrings and pages show is what happens."""

import doctest
import importlib
import pathlib

import nvimport
import pytest

DOCS = pathlib.Path(__file__).resolve().parents[2] / "docs"
MODULES = [
    "nvimport",
    *(f"nvimport.{name}" for name in "_calls _description _sheet _sources _write batch dask".split()),
]


@pytest.mark.parametrize("name", MODULES)
def test_docstrings_of(name: str) -> None:
    if name.endswith(".dask"):
        pytest.importorskip("dask.dataframe")
    module = importlib.import_module(name)
    result = doctest.testmod(module, extraglobs={"nvimport": nvimport})
    assert result.attempted > 0 and result.failed == 0


@pytest.mark.parametrize("page", ["python.md", "python-sheets.md", "scale.md"])
def test_page(page: str) -> None:
    pytest.importorskip("dask.dataframe")
    result = doctest.testfile(str(DOCS / page), module_relative=False)
    assert result.attempted > 0 and result.failed == 0
