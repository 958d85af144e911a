"""What read, info and write do beyond the cells that other tests compare."""

import io
import os
import pathlib
import pickle
import resource
import shutil
import sqlite3
import subprocess
import sys
import threading
from collections.abc import Callable
from typing import Any

import numpy as np
import nvimport
import pandas as pd
import pytest


def test_bytes_and_open_files_are_read_like_paths(folder: pathlib.Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setenv("HOME", str(folder))
    path = folder / "barley.spc"
    spectra = nvimport.read(path).spectra()
    content = path.read_bytes()
    odd = os.fsencode(folder) + b"/odd-\xff.spc"
    pathlib.Path(os.fsdecode(odd)).write_bytes(content)
    for sheet in (
        nvimport.read(data=content, name="x.spc"),
        nvimport.read(data=memoryview(content), name="x.spc"),
        nvimport.read(os.fsencode(path)),
        nvimport.read("~/barley.spc"),
        nvimport.read(odd),
        nvimport.read(os.fsdecode(odd)),
        nvimport.read(io.BytesIO(content), name="x.spc"),
        nvimport.read(path.open("rb")),
        nvimport.read(str(path)),
        nvimport.read([path]),
    ):
        assert (sheet.spectra().matrix == spectra.matrix).all()
    assert nvimport.read(io.StringIO("a;ä\n1;2\n"), name="t.csv").cells[0, 1] == "ä"
    assert nvimport.read(data=b"a\tb\n").shape == (1, 2)
    # Nothing stays behind, nothing goes elsewhere.
    for name in ("../x.spc", "/tmp/x.spc", ".."):
        with pytest.raises(nvimport.ArgumentError):
            nvimport.read(data=content, name=name)
    calls: list[Callable[..., Any]] = [nvimport.read, nvimport.scan, nvimport.detect]
    for call in calls:
        for source in ("barley.spc\0.txt", b"barley.spc\0.txt"):
            with pytest.raises(ValueError, match="null"):
                call(source)
        for wrong in (12, None, bytearray(b"a,b"), memoryview(b"a,b")):
            with pytest.raises(TypeError):
                call(wrong)
        with pytest.raises(nvimport.ArgumentError):
            call("barley.spc", data=content)
        with pytest.raises(nvimport.Error) as caught:
            call(b"none-\xff.spc")
        assert caught.value.path == "none-\udcff.spc" and "none-\ufffd.spc" in str(caught.value)
    with pytest.raises(nvimport.Error):
        nvimport.write(b"no-\xff/x.csv", [[1]])


def test_spectra_of_the_layouts_that_formats_have() -> None:
    nsas = nvimport.read("clover.da")
    assert nsas.spectra().names == ["Clover 1", "Clover 2", "Clover 3", "Clover 4"]
    assert nsas.spectra().x[[0, 1, -1]].tolist() == [1100, 1120, 2080]
    assert nsas.shape[0] == 6, "a row of remarks above the four"
    assert not nsas.spectra().matrix.flags.writeable
    with_row = nvimport.read("barley.spc", options={"xrow": True}).spectra()
    without = nvimport.read("barley.spc").spectra()
    assert (with_row.x == without.x).all() and (with_row.matrix == without.matrix).all()
    assert with_row.names == without.names
    two = nvimport.read(["oil-dif.dx", "oil-pac.dx"]).spectra()
    assert two.names == ["oil-dif.dx, Oil in DIF", "oil-pac.dx, Oil in PAC"]
    gaps = nvimport.read(data=b"s,100,200,300\na,1,,3\nremark,,,\nb,,5,6\n", name="t.csv").spectra()
    assert gaps.names == ["a", "b"]
    assert np.array_equal(gaps.matrix, np.array([[1, np.nan, 3], [np.nan, 5, 6]]), equal_nan=True)
    comma = nvimport.read(data=b"s;1,5;2,5;3,5\na;0,1;0,2;0,3\n", name="t.csv", decimal=",").spectra()
    assert comma.x.tolist() == [1.5, 2.5, 3.5] and comma.matrix[0, 2] == 0.3
    wanted: tuple[Any, ...] = ("90-", [1, 90])
    for columns in wanted:
        with pytest.raises(nvimport.ArgumentError, match="no column 90.*has 12 columns"):
            nvimport.read("wheat.txt", columns=columns)
    assert nvimport.read("wheat.txt", columns="11-90").shape == (13, 2)
    with pytest.raises(nvimport.Error, match="no columns that are named by x values"):
        nvimport.read("tanks.wk1").spectra()


def test_frames_keep_texts_and_digits() -> None:
    sheet = nvimport.read(
        data=b"id,code,x,note,x\n1,007,1.5,,1\n123456789,008,,late,2\n", name="t.csv"
    )
    as_is = sheet.to_pandas(dtypes="text")
    assert list(as_is.columns) == ["id", "code", "x", "note", "x"]
    assert as_is.iloc[1].tolist() == ["123456789", "008", None, "late", "2"]
    assert sheet.to_pandas(header=False).shape == (3, 5)
    assert sheet.to_pandas(index=2).index.names == ["id", "code"]
    assert nvimport.read("trials.csv", header=False).to_pandas().columns[0] == "column 1"
    # Without numbers below there is no telling that the first row has names.
    assert nvimport.read(data=b"a,b\nc,d\n", name="t.csv").to_pandas().shape == (2, 2)
    spectra = nvimport.read("clover.da").to_pandas()
    assert spectra.index.names == ["SampleNo", "SpectrumNo", "SampleName", "Time"]
    assert spectra.dtypes.eq(np.float32).all()


def test_a_far_cell_costs_no_memory() -> None:
    before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
    sheet = nvimport.read(data=b"1" + b"\n" * 59999 + b"," * 4999 + b"2\n", name="far.csv", header=False)
    assert sheet.shape == (60000, 5000)
    assert sheet._data.numbers(1, 1, 1, 1, True, ".")[0, 0] == 1
    assert sheet._data.numbers(5000, 60000, 5000, 0, True, ".")[0, 0] == 2
    kilobytes = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before
    assert kilobytes < 300_000, "a matrix of them all would take 1,200,000"


@pytest.mark.parametrize(
    "path, arguments, kind, status, text",
    [
        ("none.txt", {}, nvimport.Error, 0, "The file is not there."),
        ("barley.spc", {"format": "zork"}, nvimport.ArgumentError, 0, "There is no format"),
        ("barley.spc", {"range": "x"}, nvimport.ArgumentError, 0, "is no range"),
        ("barley.spc", {"range": (5, 900)}, nvimport.ChoiceNeeded, 4, "not within the points"),
        ("barley.spc", {"options": b"zz"}, nvimport.Error, 5, "options are not valid"),
        ("ovens.xls", {"sheet": 5}, nvimport.ChoiceNeeded, 4, "not among the worksheets"),
    ],
)
def test_refusals_say_what_and_where(
    path: str, arguments: dict[str, Any], kind: type[nvimport.Error], status: int, text: str
) -> None:
    calls: list[Callable[..., Any]] = [nvimport.read, nvimport.info]
    for call in calls:
        with pytest.raises(kind, match=text) as caught:
            call(path, **arguments)
        error = caught.value
        assert type(error) is kind and error.status == status and text in error.text
        assert "--" not in str(error), "words of the command line"
        assert str(pickle.loads(pickle.dumps(error))) == str(error)
    if isinstance(error, nvimport.ChoiceNeeded):
        assert error.candidates and error.argument in ("format", "range", "sheet")


def test_a_password_opens_a_workbook_and_stays_nowhere(folder: pathlib.Path) -> None:
    locked = pathlib.Path(__file__).resolve().parents[2] / "tests/fuzz/seeds/package-password"
    shutil.copy(locked, folder / "locked.xlsx")
    assert nvimport.read("locked.xlsx", password="p\u00e4ssw\u00f6rd\u20ac", sheet=1).shape == (8, 5)
    with pytest.raises(nvimport.Error, match="password does not open"):
        nvimport.read("locked.xlsx", password="x")
    with pytest.raises(nvimport.Error):
        nvimport.read("locked.xlsx", password="p\u00e4ssw\u00f6rd\u20ac", kept_rules=True)


def test_the_kept_rules_read_as_years_ago() -> None:
    whole = nvimport.read("tanks.wk1")
    kept = nvimport.read("tanks.wk1", kept_rules=True)
    assert (whole.cells[4, 1], kept.cells[4, 1]) == (310, "")
    assert (whole.kept_rules, kept.kept_rules) == (False, True)
    assert nvimport.read("tanks.wk1", options=kept.options).kept_rules
    assert not nvimport.read("tanks.wk1", options=kept.options, kept_rules=False).kept_rules


def test_choices_are_asked_for_and_given() -> None:
    found = nvimport.info("ovens.xls")
    assert (found.shape, found.choices[0].source) == ((9, 5), "guessed")
    assert nvimport.read("ovens.xls", sheet="Settings").shape == (3, 2)
    both = nvimport.read("ovens.xls", sheet=[1, 2], merge="below")
    assert both.shape == (12, 5) and both.notes == []
    assert nvimport.read("oils.jdx", blocks=[2]).spectra().names == ["Sesame"]
    part = nvimport.read("barley.spc", range=(11, 20))
    assert part.spectra().x.tolist() == list(range(1120, 1140, 2))
    stored = pickle.loads(pickle.dumps(part.options))
    assert (nvimport.read("barley.spc", options=stored).cells == part.cells).all()
    unneeded = nvimport.read("tanks.wk1", sheet=2)
    assert "sheet= was not needed, there was no such choice." in unneeded.notes
    assert nvimport.read("wheat.txt", delimiter="tab").notes == []


def test_what_is_written_is_read_again() -> None:
    frame = pd.DataFrame(
        {
            "n": [1, 2**40],
            "t": ["x", None],
            "f": [0.1, np.nan],
            "day": pd.to_datetime(["2024-05-06", None]),
            "mixed": ["a", 2.5],
        },
        index=pd.Index(["r1", "r2"], name="row"),
    )
    expected = [
        ["row", "n", "t", "f", "day", "mixed"],
        ["r1", "1", "x", "0.1", "2024-05-06", "a"],
        ["r2", "1099511627776", None, None, None, "2.5"],
    ]
    with pytest.warns(UserWarning, match="1 cell holds the delimiter"):
        nvimport.write("broken.txt", np.array([["a\tb"]], dtype=object))
    nvimport.write("t.csv", frame)
    assert nvimport.read("t.csv").cells.tolist() == expected
    for name in ("t.txt", "t.dif", "t.tsv"):
        nvimport.write(name, frame)
        cells = nvimport.read(name, format="DIF" if name == "t.dif" else "text").cells
        assert [[cell or None for cell in row] for row in cells] == expected
    nvimport.write("a.csv", np.array([[1, np.nan], [0.25, 1e10]]))
    assert nvimport.read("a.csv").to_numpy(numbers=True).tolist()[1] == [0.25, 1e10]
    nvimport.write("s.csv", nvimport.read("barley.spc").spectra())
    again = nvimport.read("s.csv").spectra()
    first = nvimport.read("barley.spc").spectra()
    assert (again.matrix == first.matrix).all() and again.names == first.names
    for target in ("t.csv", "t.zork", "no/t.csv"):
        with pytest.raises(nvimport.Error):
            nvimport.write(target, frame)
    assert pathlib.Path("t.csv").read_text().startswith("row,n"), "left alone"


def test_threads_read_side_by_side() -> None:
    sums = []

    def work() -> None:
        for _ in range(20):
            sums.append(float(nvimport.read("barley.spc").spectra().matrix.sum()))
            with pytest.raises(nvimport.Error):
                nvimport.read("barley.spc", options=b"zz")

    threads = [threading.Thread(target=work) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert len(sums) == 80 and len(set(sums)) == 1


INTERRUPTED = """
import os, signal, nvimport

def interrupted(handler, kind, work):
    # The signal may come between two calls too, where Python itself deals with it.
    while True:
        signal.signal(signal.SIGALRM, handler)
        signal.setitimer(signal.ITIMER_REAL, 0.03)
        try:
            while True:
                work()
        except kind as error:
            return error
        except KeyboardInterrupt:
            pass

def late(*_):
    raise TimeoutError

def ctrl_c(*_):
    os.kill(os.getpid(), signal.SIGINT)

def read():
    return nvimport.read("big.txt", delimiter="tab")

error = interrupted(ctrl_c, nvimport.Cancelled, read)
assert isinstance(error, KeyboardInterrupt) and error.status == 4
assert interrupted(late, TimeoutError, read).__traceback__ is not None
sheet = read()
interrupted(ctrl_c, nvimport.Cancelled, lambda: nvimport.write("out.csv", sheet, overwrite=True))
assert not os.path.exists("out.csv") or nvimport.read("out.csv").shape == sheet.shape
print(nvimport.read("barley.spc").shape)
"""


def test_ctrl_c_cancels(folder: pathlib.Path) -> None:
    (folder / "big.txt").write_bytes((b"\t".join([b"1.25"] * 1000) + b"\n") * 5000)
    done = subprocess.run(
        [sys.executable, "-c", INTERRUPTED],
        capture_output=True,
        text=True,
        timeout=300,
        env={**os.environ, "PYTHONPATH": os.pathsep.join(p for p in sys.path if p)},
    )
    assert done.stdout == "(4, 102)\n", done.stderr


def test_databases_are_named_in_place_of_paths(tmp_path: pathlib.Path) -> None:
    path = tmp_path / "lab.db"
    with sqlite3.connect(path) as made:
        made.execute("CREATE TABLE wheat (sample TEXT, moisture DOUBLE)")
        made.executemany("INSERT INTO wheat VALUES (?, ?)", [("a;b", 12.5), ("NULL", 13.25), ("7", None)])
        made.execute("CREATE VIEW names AS SELECT sample FROM wheat")
    lab = f"odbc:DRIVER=SQLite3;Database={path};PWD=secret"
    try:
        assert nvimport.read(lab, sheet="wheat").shape == (4, 2)
    except nvimport.Error as error:
        if "no plug-in" in str(error) or "[01000]" in str(error):
            pytest.skip("neither the plug-in nor SQLite's driver may be there")
        raise
    query = "SELECT moisture FROM wheat WHERE sample = ?"
    for value, wanted in (("a;b", 12.5), ("NULL", 13.25), ("7", None)):
        assert nvimport.read(lab, query=query, params=[value]).cells[1, 0] == wanted
    found = nvimport.read(lab, query="SELECT ? AS a, ? AS b", params=[None, 2.5])
    assert (found.path, found.shape) == ("odbc:DRIVER=SQLite3", (2, 2))
    with pytest.raises(nvimport.ChoiceNeeded, match="sheet=") as needed:
        nvimport.read(lab)
    assert needed.value.candidates == ["wheat (a table: sample, moisture)", "names (a view: sample)"]
    refusals: list[dict[str, Any]] = [{"query": "SELECT ?"}, {"query": "DROP TABLE wheat"}, {"sheet": "none"}]
    for arguments in refusals:
        with pytest.raises(nvimport.Error) as refused:
            nvimport.read(lab, **arguments)
        assert "secret" not in str(refused.value)
    for sources in (["a.csv", lab], "a.csv"):
        with pytest.raises(nvimport.ArgumentError, match="atabase"):
            nvimport.read(sources, query=query)
