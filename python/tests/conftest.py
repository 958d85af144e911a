"""Every test works in a folder of its own, with a copy of the samples."""

import os
import pathlib
import shutil

import pytest

SAMPLES = pathlib.Path(__file__).resolve().parents[2] / "samples"


@pytest.fixture(autouse=True)
def folder(tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch) -> pathlib.Path:
    for sample in SAMPLES.iterdir():
        if sample.suffix != ".sh":
            shutil.copy(sample, tmp_path)
    monkeypatch.chdir(tmp_path)
    return tmp_path


@pytest.fixture
def sample_files() -> list[str]:
    # A CN file stands beside the DA file that is read.
    return sorted(p.name for p in SAMPLES.iterdir() if p.suffix not in (".sh", ".cn"))


@pytest.fixture(scope="session")
def build() -> pathlib.Path:
    """The build that is tested: NVIMPORT_BUILD, or the one of the preset "release"."""
    return pathlib.Path(os.environ.get("NVIMPORT_BUILD", SAMPLES.parent / "build" / "release"))
