"""Sheets as Python programs use them: protocols, frames, other packages, processes."""

import concurrent.futures
import ctypes
import multiprocessing
import os
import pathlib
import pickle
import signal
import subprocess
import sys
import threading
from collections.abc import Callable
from typing import Any

import numpy as np
import nvimport
import pandas as pd
import pytest

TABLE = (
    b"id,code,when,what,share,big\n"
    b"1,007,2024-05-06,x,0.5,9007199254740993\n"
    b"2,008,2024-05-07 08:09,,,12\n"
    b",009,,NA,1e3,\n"
)


def test_every_sample_survives_what_python_does_to_it(sample_files: list[str]) -> None:
    for path in sample_files:
        sheet = nvimport.read(path)
        buffers: list[pickle.PickleBuffer] = []
        small = pickle.dumps(sheet, protocol=5, buffer_callback=buffers.append)
        for again in (
            pickle.loads(small, buffers=buffers),
            pickle.loads(pickle.dumps(sheet, protocol=2)),
        ):
            assert again == sheet and (again.cells == sheet.cells).all(), path
            assert again.description == sheet.description and again.options == sheet.options
            pd.testing.assert_frame_equal(again.to_pandas(), sheet.to_pandas())
        cells = sheet.cells
        assert list(sheet) == cells.tolist() and len(sheet) == len(cells), path
        keys: list[Any] = [0, -1, (1, 0), slice(1, 3), (slice(None, None, -2), slice(-2, None)), [0, 1]]
        for key in keys:
            assert np.array_equal(sheet[key], cells[key]), (path, key)
        scanned = nvimport.scan(path)
        assert (scanned.shape, scanned.format) == (sheet.shape, sheet.format), path
        assert "<table>" in sheet._repr_html_() and len(sheet._repr_html_()) < 20_000
        for columns in ([1], [sheet.shape[1]]):
            part = nvimport.read(path, columns=columns, nrows=2)
            assert np.array_equal(part.cells, cells[:2, [columns[0] - 1]]), path
    assert sheet != "x" and nvimport.read("tanks.wk1") != nvimport.read("ovens.xls")
    with pytest.raises(IndexError):
        sheet[len(sheet)]


def test_large_numbers_travel_out_of_band(folder: pathlib.Path) -> None:
    (folder / "big.txt").write_bytes(b"a\tb\n" + b"1\t2\n" * 10)
    sheet = nvimport.read("barley.spc")
    buffers: list[pickle.PickleBuffer] = []
    assert len(pickle.dumps(sheet, protocol=5, buffer_callback=buffers.append)) < 3000
    assert sum(buffer.raw().nbytes for buffer in buffers) >= 3 * 100 * 4


def test_columns_have_the_type_that_their_cells_have() -> None:
    read = nvimport.read(data=TABLE, name="t.csv", na_values="NA")
    frame = read.to_pandas()
    assert [str(t) for t in frame.dtypes] == [
        "Int64",
        "string",
        "datetime64[ns]",
        "string",
        "float64",
        "Int64",
    ]
    assert frame["big"].tolist()[:2] == [2**53 + 1, 12] and frame["big"].isna().tolist()[2]
    assert frame["when"][1] == pd.Timestamp("2024-05-07 08:09") and frame["what"].isna().sum() == 2
    given = nvimport.read(data=TABLE, name="t.csv", dtype={"id": str, "share": "float32", "no": int})
    assert given.to_pandas()["id"].tolist()[0] == "1"
    assert given.to_pandas()["share"].dtype == np.float32
    blanks = b"a,b,c\n1,,-9\n,x,y\n"
    kept = nvimport.read(data=blanks, name="t.csv", dtype=str, na_values=[-9], encoding="latin-1")
    assert kept.to_pandas().to_numpy().tolist() == [["1", None, None], [None, "x", "y"]]
    mixed = nvimport.read("tanks.wk1").to_pandas(header=False)
    assert mixed.dtypes.eq(object).any() and 310 in mixed.iloc[:, 1].tolist()
    assert nvimport.read(data=b"a;b\n1,5;2\n", decimal=",", dtype="float32").to_numpy().dtype == "f4"
    late = b"a,b,c\n12,5,\n2024-05-06,7,9\n,late,\xe4 late\n"
    texts = nvimport.read(data=late, name="t.csv", header=True).to_pandas()
    assert texts.dtypes.eq("string").all(), "a word comes last, or kinds are mixed"
    assert texts.fillna("-").to_numpy().tolist() == [
        ["12", "5", "-"],
        ["2024-05-06", "7", "9"],
        ["-", "late", "\xe4 late"],
    ]
    # Doubles stay doubles where a float would hold them as well.
    nvimport.write("whole.xlsx", pd.DataFrame({"n": [1.0, 2.0], "m": [3.0, 4.0]}))
    assert nvimport.read("whole.xlsx").to_pandas().dtypes.eq(np.float64).all()
    for empty in (b"a,b\n", b"a,b\n1,2\n"):
        sheet = nvimport.read(data=empty, name="e.csv", header=True)
        assert sheet.to_pandas(index=2).shape == (empty.count(b"\n") - 1, 0)
    spectra = nvimport.read("barley.spc")
    assert spectra.to_pandas().columns.tolist() == spectra.spectra().x.tolist()


def test_parts_are_chosen(folder: pathlib.Path) -> None:
    book = nvimport.read("ovens.xls", sheet=["Settings", 1])
    assert list(book) == ["Settings", "Runs"] and book["Runs"].shape == (9, 5)
    assert nvimport.read("ovens.xls", sheet=[1, 2], merge="below").shape == (12, 5)
    assert len(nvimport.read("oils.jdx", sheet=None)) == 3
    assert list(nvimport.read("tanks.wk1", sheet=None)) == ["tanks"]
    part = nvimport.read("barley.spc", columns=[2, 1120.0, "1122", 30], nrows=3)
    assert part.shape == (3, 4) and part.cells[0].tolist()[1:] == [1120, 1122, 1154]
    assert part.spectra().x.tolist() == [1120, 1122, 1154]
    tail = nvimport.read("wheat.txt", skiprows=2, nrows=2, header=False)
    assert tail.cells[:, 0].tolist() == ["Wheat 02", "Wheat 03"]
    assert nvimport.read("wheat.txt", columns=[2, 1, 2]).shape == (13, 2)
    assert nvimport.read("wheat.txt", columns=np.array([2, 1]), nrows=2**40).shape == (13, 2)
    assert list(nvimport.read("ovens.xls", sheet=[np.int64(2)])) == ["Settings"]
    unfit: list[dict[str, Any]] = [
        {"columns": ["nil"]},
        {"columns": []},
        {"nrows": 0},
        {"nrows": 2.5},
        {"skiprows": -1},
        {"sheet": ["nil"]},
        {"range": 5},
        {"header": 0},
        {"index": "Run"},
        {"encoding": "nil"},
    ]
    for wrong in unfit:
        with pytest.raises(nvimport.Error):
            nvimport.read("ovens.xls", **wrong)
    alike = (folder / "oils.jdx").read_bytes().replace(b"Sesame", b"Olive")
    blocks = nvimport.read(data=alike, name="x.jdx", sheet=None)
    assert len(blocks) == 3 and list(blocks)[1] == list(blocks)[0] + " (2)"
    asked: list[nvimport.Choice] = []

    def answer(choice: nvimport.Choice) -> int:
        asked.append(choice)
        return {"sheet": 2}[choice.argument]

    sheet = nvimport.read("ovens.xls", on_question=answer)
    assert sheet.shape == (3, 2) and asked[0].entries[0] == "Runs (9 x 5)"
    with pytest.raises(nvimport.ChoiceNeeded, match="sheet"):
        nvimport.read("ovens.xls", on_question="error")
    assert nvimport.read("ovens.xls", sheet=1, on_question="error").shape == (9, 5)
    raw = (folder / "clover.da").read_bytes()
    by_answer = nvimport.read(data=raw, name="clover", on_question=lambda c: c.entries[-1])
    assert by_answer.format == "NSAS File"
    with pytest.raises(nvimport.Error) as caught:
        nvimport.read("barley.spc", format="NSAS")
    assert 'format="GalacticSPC File" reads it' in caught.value.advice


def test_what_is_handed_out_may_be_written_to(sample_files: list[str]) -> None:
    pytest.importorskip("xarray")
    for path in sample_files:
        sheet, kept = nvimport.read(path), nvimport.read(path)
        frame = sheet.to_pandas()
        if (is_number := frame.dtypes.eq(float) | frame.dtypes.eq(np.float32)).any():
            frame.loc[:, is_number.to_numpy()] *= 2
            frame.iloc[0, int(np.flatnonzero(is_number)[-1])] = -1
        sheet.to_numpy()[:] = -1
        if sheet.x is not None:
            sheet.x[:] = sheet.spectra().x[:] = -1
            sheet.to_xarray()[:] = -1
        assert sheet == kept and (sheet.x is None or (sheet.x == kept.x).all()), path
    shared = nvimport.read("barley.spc").to_pandas(copy=False)
    with pytest.raises(ValueError, match="read-only"):
        shared.iloc[0, 0] = 1.0


def test_descriptions_and_xarray() -> None:
    oils = nvimport.read("oils.jdx", blocks=[1, 2])
    assert oils.description["title"] == "Two oils" and oils.x_unit == "NANOMETERS"
    assert oils.rows[1] and oils.rows[1] != oils.rows[2] and oils.names[2] == "t 1100"
    xarray = pytest.importorskip("xarray")
    clover = nvimport.read("clover.da").to_xarray()
    assert clover.dims == ("sample", "x") and clover.sample.values[0] == "Clover 1"
    assert clover.coords["SampleNo"].shape == (4,)
    table = nvimport.read("ovens.xls").to_xarray()
    assert isinstance(table, xarray.Dataset) and table["Held min"].shape == (8,)
    nvimport.write("x.csv", clover)
    assert nvimport.read("x.csv").spectra().matrix.shape == (4, 50)
    nvimport.write("y.csv", table)
    assert nvimport.read("y.csv").shape[0] == 9


@pytest.fixture(scope="session")
def consume_arrow(tmp_path_factory: pytest.TempPathFactory) -> Callable[[nvimport.Sheet], str]:
    """The consumer of tests/python, as a function of a sheet."""
    library = tmp_path_factory.mktemp("arrow") / "consume.so"
    source = pathlib.Path(__file__).resolve().parents[2] / "tests" / "python" / "consume_arrow.c"
    subprocess.run(["cc", "-shared", "-fPIC", "-o", library, source], check=True)
    consume = ctypes.CDLL(str(library)).consume_arrow
    consume.argtypes, consume.restype = [ctypes.c_void_p], ctypes.c_char_p
    pointer = ctypes.pythonapi.PyCapsule_GetPointer
    pointer.argtypes, pointer.restype = [ctypes.py_object, ctypes.c_char_p], ctypes.c_void_p

    def text(sheet: nvimport.Sheet) -> str:
        capsule = sheet.__arrow_c_stream__()
        return str(consume(pointer(capsule, b"arrow_array_stream")), "utf-8")

    return text


def test_arrow_tables_are_taken_by_others(consume_arrow: Callable[[nvimport.Sheet], str], sample_files: list[str]) -> None:
    lines = consume_arrow(nvimport.read(data=TABLE, name="t.csv", na_values="NA")).split("\n")
    assert lines[0] == "id:l code:u when:tsn: what:u share:g big:l "
    assert lines[2] == "1 '007' 1714953600000000000 'x' 0.5 9007199254740993"
    assert lines[4] == "null '009' null null 1000 null"
    for path in sample_files:
        sheet = nvimport.read(path)
        text = consume_arrow(sheet)
        assert "wrong" not in text and sheet.__arrow_c_array__() and sheet.__arrow_c_schema__(), path
    twice = nvimport.read(data=b"a,a,\n1,2,3\n", name="t.csv", header=True)
    assert consume_arrow(twice).startswith("a:l a (2):l column 3:l ")


def test_write_takes_what_there_is_and_keeps_what_it_holds() -> None:
    values = np.array([0.1, 1 / 3, 1e-300, 123456789.123456789])
    frame = pd.DataFrame(
        {
            "d": values,
            "f": values.astype(np.float32),
            "i": pd.array([1, None, 3, 2**60], dtype="Int64"),
            "t": pd.to_datetime(["2024-05-06 07:08:09.5", None, "2024-05-06", "2024-05-07"]),
            "s": pd.array(["a", None, "c", "d"], dtype="string"),
            "c": pd.Categorical(["u", "v", "u", None]),
            "b": pd.array([True, None, False, True], dtype="boolean"),
        }
    )
    nvimport.write("f.csv", frame)
    again = nvimport.read("f.csv").to_pandas()
    assert again["d"].tolist() == values.tolist()
    assert again["f"].astype(np.float32).tolist() == frame["f"].tolist()
    assert again["i"].equals(frame["i"]) and again["t"].equals(frame["t"])
    assert again["s"].equals(frame["s"]) and again["c"].isna().tolist() == [False] * 3 + [True]
    for array in (values.reshape(2, 2), np.asfortranarray(values.reshape(2, 2)), values[::2]):
        nvimport.write("a.csv", array, overwrite=True)
        written = nvimport.read("a.csv", header=False).to_numpy(numbers=True)
        assert (written == array.reshape(2, -1)).all()
    nvimport.write("series.csv", pd.Series([1.5, 2.5], name="v"))
    assert nvimport.read("series.csv").cells[:, 0].tolist() == ["v", "1.5", "2.5"]
    for name in "csv tsv jsonl json xlsx arrow arrows txt dif mat".split():
        nvimport.write(f"o.{name}", nvimport.read("barley.spc"))
        assert os.path.getsize(f"o.{name}") > 1000
        with pytest.raises(nvimport.Error) as caught:
            nvimport.write(f"o.{name}", [[1]])
        assert "overwrite=True" in caught.value.advice
    masked: Any = np.ma.masked_array
    for odd, cells in (
        (np.zeros((0, 3)), [[None]]),
        (masked([[1.0, 2.0]], [[False, True]]), [["1", None]]),
        (masked([["a", "b"]], [[True, False]]), [[None, "b"]]),
        (np.array([(1, 2.5)], dtype=[("a", "i4"), ("b", "f8")]), [["a", "b"], ["1", "2.5"]]),
        (pd.DataFrame([["x\udcff", 1.0]], columns=[1100.0, 0.1]), [["1100", "0.1"], ["x?", "1"]]),
    ):
        nvimport.write("odd.csv", odd, overwrite=True)
        if os.path.getsize("odd.csv") > 1:
            assert nvimport.read("odd.csv").cells.tolist() == cells
    with pytest.warns(UserWarning, match="NUL"):
        nvimport.write("nul.csv", pd.DataFrame({"a": ["x\0y"]}))
    for unfit in (np.zeros((2, 2, 2)), nvimport.read("ovens.xls", sheet=None), None, "text"):
        with pytest.raises((nvimport.ArgumentError, TypeError)):
            nvimport.write("unfit.csv", unfit)


def test_processes_take_and_give_sheets(sample_files: list[str]) -> None:
    expected = [nvimport.read(path) for path in sample_files[:6]]
    for method in ("spawn", "fork"):
        context = multiprocessing.get_context(method)
        with concurrent.futures.ProcessPoolExecutor(2, mp_context=context) as pool:
            assert list(pool.map(nvimport.read, sample_files[:6])) == expected


def test_a_process_is_forked_while_others_read(folder: pathlib.Path) -> None:
    (folder / "big.txt").write_bytes((b"\t".join([b"1.25"] * 200) + b"\n") * 2000)
    over = threading.Event()

    def work() -> None:
        while not over.is_set():
            nvimport.read("big.txt")
            nvimport.read("ovens.xls")

    threads = [threading.Thread(target=work) for _ in range(2)]
    for thread in threads:
        thread.start()
    try:
        for _ in range(20):
            child = os.fork()
            if child == 0:
                signal.alarm(20)
                os._exit(0 if nvimport.read("ovens.xls").shape == (9, 5) else 1)
            assert os.waitpid(child, 0)[1] == 0
    finally:
        over.set()
        for thread in threads:
            thread.join()


ENDED = """
import os, signal, sys, threading, time, nvimport
path = sys.argv[1]
begun = time.perf_counter()
nvimport.read(path)
whole = time.perf_counter() - begun
for part in (0.1, 0.5, 0.9):
    sent = []
    def send():
        sent.append(time.perf_counter())
        os.kill(os.getpid(), signal.SIGINT)
    timer = threading.Timer(part * whole, send)
    try:
        timer.start()
        nvimport.read(path)
        timer.join()
    except KeyboardInterrupt:
        print(time.perf_counter() - sent[0])
"""


@pytest.mark.parametrize("kind", ["txt", "xlsx", "mat"])
def test_an_interrupt_ends_a_read_soon(folder: pathlib.Path, kind: str) -> None:
    values = np.random.default_rng(1).normal(size=(10_000, 100))
    nvimport.write(f"big.{kind}", values)
    done = subprocess.run(
        [sys.executable, "-c", ENDED, f"big.{kind}"],
        capture_output=True,
        text=True,
        timeout=300,
        env={**os.environ, "PYTHONPATH": os.pathsep.join(p for p in sys.path if p)},
    )
    waits = [float(line) for line in done.stdout.split()]
    # A busy machine takes its own time.
    assert waits and min(waits) < 0.2, (waits, done.stderr)
