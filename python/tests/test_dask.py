"""Folders of files, by a task and on a cluster."""

import os
import pathlib
import pickle
import signal
import time
from typing import Any

import numpy as np
import nvimport
import pandas as pd
import pytest
from nvimport import batch

dd = pytest.importorskip("dask.dataframe")
import cloudpickle  # noqa: E402
import dask  # noqa: E402
import nvimport.dask  # noqa: E402


def make_files(folder: pathlib.Path, count: int) -> tuple[list[str], list[str]]:
    """Spectra with titles of their own; some files damaged, some of other columns, some no spectra."""
    good, bad = [], []
    whole = (folder / "oil-dif.dx").read_text()
    (folder / "batch").mkdir()
    for number in range(count):
        path = folder / "batch" / f"{number:05}.dx"
        text = whole.replace("Oil in DIF", f"oil {number}")
        if number % 100 == 7:
            path.write_text(text[: len(text) // 2])
        elif number % 100 == 57:
            path.write_bytes(b"\0" * 300)
        elif number % 500 == 33:
            path.write_text(text.replace("FIRSTX= 1100", "FIRSTX= 1101").replace("1278", "1279"))
        else:
            path.write_text(text)
            good.append(str(path))
            continue
        bad.append(str(path))
    return good, bad


def check(rows: pd.DataFrame, report: pd.DataFrame, good: list[str], bad: list[str]) -> None:
    assert sorted(report["path"]) == bad
    assert sorted(rows["path"]) == good, "each good file once"
    titles = rows.set_index("path")["column 2"]
    assert all(titles[path] == f"oil {int(os.path.basename(path)[:5])}" for path in good[::37])


def test_a_group_reports_what_it_leaves_out(folder: pathlib.Path) -> None:
    good, bad = make_files(folder, 120)
    paths = sorted(good + bad)
    choices: dict[str, Any] = {"path_column": "path", "format": "JCAMP"}
    rows, report = batch.read_group(paths, on_error="skip", **choices)
    check(rows, report, good, bad)
    assert report["text"].str.startswith("The columns differ").tolist() == [False, True, False, False]
    with pytest.raises(nvimport.Error) as caught:
        batch.read_group(paths, **choices)
    assert caught.value.path == bad[0]
    # In columns of numbers a text is an error, whichever file comes first.
    (folder / "a.csv").write_text("n\n1\n")
    (folder / "b.csv").write_text("n\nx\n")
    rows, report = batch.read_group(
        ["a.csv", "b.csv"], numbers=True, header=True, on_error="skip"
    )
    assert rows["n"].tolist() == [1.0] and report["path"].tolist() == ["b.csv"]
    rows, report = batch.read_group(["b.csv", "a.csv"], header=True)
    assert rows["n"].tolist() == ["x", "1"] and report.empty


def test_lazy_and_picklable(folder: pathlib.Path, monkeypatch: pytest.MonkeyPatch) -> None:
    good, bad = make_files(folder, 60)
    rows, report = nvimport.dask.read_files(
        "batch/*.dx",
        format="JCAMP",
        files_per_partition=8,
        on_error="skip",
        path_column="path",
    )
    assert isinstance(rows, dd.DataFrame) and rows.npartitions == 8
    for path in good:
        os.rename(path, path + ".away")
    rows, report = cloudpickle.loads(cloudpickle.dumps((rows, report)))
    for path in good:
        os.rename(path + ".away", path)
    read = []

    def noted(path: str, **choices: Any) -> Any:
        read.append(path)
        return nvimport.read(path, **choices)

    monkeypatch.setattr(batch, "read", noted)
    frame, skipped = dask.compute(rows, report, scheduler="sync")
    assert len(read) == len(set(read)) == 60, "once for both"
    frame["path"] = [os.path.abspath(path) for path in frame["path"]]
    skipped["path"] = [os.path.abspath(path) for path in skipped["path"]]
    check(frame, skipped, good, bad)
    assert list(frame.columns) == list(rows.columns) and (frame.dtypes == rows.dtypes).all()
    with pytest.raises(nvimport.Error):
        raising, _ = nvimport.dask.read_files("batch/*.dx", format="JCAMP")
        raising.compute(scheduler="sync")
    with pytest.raises(nvimport.Error):
        nvimport.dask.read_files("batch/*.zork")


def make_tables(folder: pathlib.Path, count: int) -> list[str]:
    """Tables with columns of their own beside a common one, some spectra, some damaged."""
    (folder / "tables").mkdir()
    spectrum = (folder / "oil-dif.dx").read_text()
    bad = []
    for number in range(count):
        path = folder / "tables" / f"{number:05}.csv"
        if number % 1000 == 7:
            path.with_suffix(".dx").write_bytes(b"\0" * 300)
            bad.append(str(path.with_suffix(".dx")))
        elif number % 1000 == 8:
            path.with_suffix(".dx").write_text(spectrum)
        else:
            path.write_text(f"n,c{number % 5}\n{number},{number / 4}\n{number},words {number}\n")
    return bad


def check_tables(rows: pd.DataFrame, report: pd.DataFrame, bad: list[str], count: int) -> None:
    assert sorted(report["path"]) == bad
    counts = rows.groupby("file").size()
    assert len(counts) == count - len(bad)
    assert (counts == np.where(counts.index.str.endswith(".dx"), 1, 2)).all(), "each row once"
    tables = rows[rows["n"].notna()].reset_index(drop=True)
    numbers = tables["file"].str[-9:-4].astype(int)
    assert (tables["n"] == numbers).all()
    for k in range(5):
        own = tables.loc[numbers % 5 == k, f"c{k}"]
        words = [f"words {n}" for n in numbers[own.index[1::2]]]
        assert own.iloc[1::2].tolist() == words and tables[f"c{k}"].count() == len(own)
    assert rows["1100"].dtype == float and rows["1100"].count() == count // 1000


def test_tables_of_files_that_differ(folder: pathlib.Path) -> None:
    bad = make_tables(folder, 2000)
    paths = sorted(str(path) for path in (folder / "tables").iterdir())
    halves = [batch.survey_files(paths[at::2], on_error="skip") for at in range(2)]
    columns = pickle.loads(pickle.dumps(batch.merge_columns(halves)))
    os.utime(paths[1])  # as in a copy
    parts = [batch.combine_files(pickle.loads(pickle.dumps(h)), columns, numbers=True) for h in halves]
    rows, report = (pd.concat(part, ignore_index=True) for part in zip(*parts))
    check_tables(rows, report, bad, 2000)
    assert (batch.empty_frame(columns, numbers=True).dtypes == rows.dtypes).all()
    # A file that is another one by now is left out whole, or ends it.
    survey = batch.survey_files(paths[:3])
    (folder / "tables" / "00001.csv").write_text("another\n1\n2\n")
    rows, report = batch.combine_files(survey, on_error="skip", numbers=True)
    assert rows["file"].unique().tolist() == paths[0:3:2] and report["path"].tolist() == paths[1:2]
    with pytest.raises(nvimport.Error):
        batch.combine_files(survey)
    for damaged in (b"", b"s", b"-" + b"\xff" * 64):
        with pytest.raises(ValueError):
            columns.__class__.__new__(columns.__class__).__setstate__(damaged)


def groups_read(dask_scheduler: Any) -> int:
    tasks = [t for t in dask_scheduler.tasks.values() if "_combine" in str(t.key)]
    return sum(task.state in ("memory", "released") for task in tasks)


def test_a_cluster_loses_a_worker_and_no_file(folder: pathlib.Path) -> None:
    distributed = pytest.importorskip("distributed")
    count = 20_000
    bad = make_tables(folder, count)
    with distributed.LocalCluster(
        n_workers=2, threads_per_worker=1, dashboard_address=None, local_directory=str(folder)
    ) as cluster, distributed.Client(cluster) as client:
        worker = next(iter(client.run(os.getpid).values()))
        rows, report = nvimport.dask.combine_files(
            str(folder / "tables" / "*"), files_per_partition=200, on_error="skip", numbers=True
        )
        both = client.compute((rows, report))
        deadline = time.monotonic() + 300
        while client.run_on_scheduler(groups_read) < rows.npartitions // 10:
            assert time.monotonic() < deadline, "nothing is read"
            time.sleep(0.01)
        assert not any(future.done() for future in both), "too late to disturb"
        os.kill(worker, signal.SIGKILL)
        rows, report = client.gather(both)
        check_tables(rows, report, bad, count)
