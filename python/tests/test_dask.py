"""Folders of files, by a task and on a cluster."""

import os
import pickle
import signal
import time

import nvimport
import pytest
from nvimport import batch

dd = pytest.importorskip("dask.dataframe")
import dask  # noqa: E402
import nvimport.dask  # noqa: E402


def make_files(folder, count):
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


def check(rows, report, good, bad):
    assert sorted(report["path"]) == bad
    assert sorted(rows["path"]) == good, "each good file once"
    titles = rows.set_index("path")["column 2"]
    assert all(titles[path] == f"oil {int(os.path.basename(path)[:5])}" for path in good[::37])


def test_a_group_reports_what_it_leaves_out(folder):
    good, bad = make_files(folder, 120)
    paths = sorted(good + bad)
    choices = {"path_column": "path", "format": "JCAMP"}
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


def test_lazy_and_picklable(folder, monkeypatch):
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
    rows, report = pickle.loads(pickle.dumps((rows, report)))
    for path in good:
        os.rename(path + ".away", path)
    read = []
    read_frame = batch.read_frame
    monkeypatch.setattr(batch, "read_frame", lambda p, **o: (read.append(p), read_frame(p, **o))[1])
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


def groups_read(dask_scheduler):
    tasks = [t for t in dask_scheduler.tasks.values() if "read_group" in str(t.key)]
    return sum(task.state in ("memory", "released") for task in tasks)


def test_a_cluster_loses_a_worker_and_no_file(folder):
    distributed = pytest.importorskip("distributed")
    good, bad = make_files(folder, 2000)
    with distributed.LocalCluster(
        n_workers=3, threads_per_worker=1, dashboard_address=None, local_directory=str(folder)
    ) as cluster, distributed.Client(cluster) as client:
        worker = next(iter(client.run(os.getpid).values()))
        rows, report = nvimport.dask.read_files(
            str(folder / "batch" / "*.dx"),
            format="JCAMP",
            files_per_partition=10,
            on_error="skip",
            path_column="path",
        )
        both = client.compute((rows, report))
        deadline = time.monotonic() + 300
        while client.run_on_scheduler(groups_read) < rows.npartitions // 10:
            assert time.monotonic() < deadline, "nothing is read"
            time.sleep(0.01)
        assert not any(future.done() for future in both), "too late to disturb"
        os.kill(worker, signal.SIGKILL)
        check(*client.gather(both), good, bad)
