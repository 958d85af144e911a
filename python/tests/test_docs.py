"""What the docstrings show is what happens."""

import doctest
import importlib

import nvimport
import pytest

MODULES = ["nvimport", "nvimport._calls", "nvimport._sheet", "nvimport.batch", "nvimport.dask"]


@pytest.mark.parametrize("name", MODULES)
def test_the_examples_of(name):
    if name.endswith(".dask"):
        pytest.importorskip("dask.dataframe")
    module = importlib.import_module(name)
    result = doctest.testmod(module, extraglobs={"nvimport": nvimport})
    assert result.attempted > 0
    assert result.failed == 0
