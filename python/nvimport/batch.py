"""Many files to one data frame: what a task of a cluster does, whoever starts it."""

from __future__ import annotations

import copy
import glob
import os
from collections.abc import Iterable
from typing import Any, NamedTuple, Union

import numpy as np
import numpy.typing as npt
import pandas as pd

from nvimport import _nvimport
from nvimport._calls import read
from nvimport._errors import ArgumentError, Cancelled, Error
from nvimport._frames import NUMBERS, TEXT, Parts, runs
from nvimport._requests import make_request, refuse
from nvimport._sheet import Sheet

Paths = Union[str, "os.PathLike[str]", Iterable[Union[str, "os.PathLike[str]"]]]

_NUMBER_TEXTS = 2  # the kind of a column of texts that read as numbers

# The report of files that were left out.
REPORT = pd.DataFrame(
    {
        "path": pd.Series(dtype=object),
        "code": pd.Series(dtype="int64"),
        "text": pd.Series(dtype=object),
    }
)


def expand(paths_or_glob: Paths) -> list[str]:
    """The paths meant, those of a pattern in the order of their names.

    >>> expand("oil-*.dx")[:2]
    ['oil-affn.dx', 'oil-dif.dx']
    """
    if isinstance(paths_or_glob, (str, os.PathLike)):
        pattern = os.fspath(paths_or_glob)
        found = [pattern] if os.path.exists(pattern) else sorted(glob.glob(pattern, recursive=True))
    else:
        found = [os.fspath(path) for path in paths_or_glob]
    if not found:
        raise Error("There are no such files.", path=str(paths_or_glob))
    return found


def read_frame(
    path: str,
    *,
    like: pd.DataFrame | None = None,
    path_column: str | None = None,
    numbers: bool = False,
    **choices: Any,
) -> pd.DataFrame:
    """The rows of one file.

    like: a data frame (its rows don't matter) whose columns and types the file must have; an Error
        otherwise.
    path_column: the name of a further column with the path.
    numbers: a column whose every text reads as a number is float64. The choices are those of read(); names of rows stay columns unless
        `index` says otherwise.
    """
    choices.setdefault("index", False)
    frame = _parts_of(path, numbers, choices).frame().copy()
    if path_column is not None:
        frame[path_column] = path
    return frame if like is None else _as_the_others(frame, like, path)


def _parts_of(
    path: str, numbers: bool, choices: dict[str, Any], before: Parts | None = None
) -> Parts:
    mode = NUMBERS if numbers else TEXT
    sheet: Sheet = read(path, **choices)
    return sheet._parts(mode, before=before, with_x=False)


def _as_the_others(frame: pd.DataFrame, like: pd.DataFrame, path: str) -> pd.DataFrame:
    if list(frame.columns) != list(like.columns):
        raise Error(
            "The columns differ from those of the other files.",
            path=path,
            detail=f"{frame.shape[1]} columns, {like.shape[1]} in the others",
        )
    differing = np.flatnonzero(frame.dtypes.to_numpy() != like.dtypes.to_numpy())
    if len(differing) == 0:
        return frame
    columns = [frame.iloc[:, i] for i in range(frame.shape[1])]
    try:
        for i in differing:
            columns[i] = columns[i].astype(like.dtypes.iloc[i])
    except (TypeError, ValueError) as error:
        raise Error(
            "There are texts where the other files have numbers.", path=path, detail=str(error)
        ) from error
    made = pd.concat(columns, axis=1)
    made.columns = like.columns
    return made


class _Rows:
    """Gathers the rows of files. A data frame of a file is only made of one unlike that before it."""

    def __init__(self, like: pd.DataFrame | None, path_column: str | None) -> None:
        self.like = like
        self._path_column = path_column
        self._frames: list[pd.DataFrame] = []
        self._alike: list[Parts] = []
        self._paths: list[str] = []

    def last(self) -> Parts | None:
        return self._alike[-1] if self._alike else None

    def add(self, path: str, parts: Parts) -> None:
        if self._alike and parts.fits(self._alike[-1]):
            self._alike.append(parts)
            self._paths.append(path)
            return
        frame = self._with_paths(parts.frame(), path)
        if self.like is not None:
            made = _as_the_others(frame, self.like, path)
        else:
            made = frame
            self.like = frame.iloc[:0]
        self._end()
        if made is frame:
            self._alike, self._paths = [parts], [path]
        else:
            self._frames.append(made)

    def frame(self, counts_rows: bool) -> pd.DataFrame:
        self._end()
        if len(self._frames) == 1:
            frame = self._frames[0]
            return frame.reset_index(drop=True) if counts_rows else frame
        if self._frames:
            return pd.concat(self._frames, ignore_index=counts_rows)
        return pd.DataFrame() if self.like is None else self.like.iloc[:0]

    def _with_paths(self, frame: pd.DataFrame, paths: Any) -> pd.DataFrame:
        if self._path_column is not None:
            frame[self._path_column] = paths
        return frame

    def _end(self) -> None:
        if not self._alike:
            return
        heights = [len(parts.arrays[0]) for parts in self._alike]
        arrays = [np.concatenate(alike) for alike in zip(*(p.arrays for p in self._alike))]
        whole = self._alike[0]._replace(arrays=arrays)
        paths = np.repeat(np.array(self._paths, dtype=object), heights)
        self._frames.append(self._with_paths(whole.frame(), paths))
        self._alike, self._paths = [], []


def read_group(
    paths: Iterable[str],
    *,
    like: pd.DataFrame | None = None,
    on_error: str = "raise",
    path_column: str | None = None,
    numbers: bool = False,
    **choices: Any,
) -> tuple[pd.DataFrame, pd.DataFrame]:
    """The rows of several files, one after the other, and a report of those left out.

    like: as for read_frame; by default the first file that can be read.
    on_error: "raise" the first failure, or "skip" the file and report its path, code and text.
    path_column, numbers, choices: as for read_frame.

    >>> rows, report = read_group(["oil-affn.dx", "wheat.txt", "oil-dif.dx"], on_error="skip")
    >>> rows.iloc[:, 1:4]
          column 2  t 1100  t 1102
    0  Oil in AFFN     0.4   0.401
    1   Oil in DIF     0.4   0.401
    >>> report[["path", "text"]].values.tolist()
    [['wheat.txt', 'The columns differ from those of the other files.']]
    """
    check_on_error(on_error)
    choices.setdefault("index", False)
    rows = _Rows(like, path_column)
    skipped: list[tuple[str | None, int, str]] = []
    for path in paths:
        try:
            rows.add(path, _parts_of(path, numbers, choices, rows.last()))
        except Cancelled:
            raise
        except Error as error:
            if on_error == "raise":
                raise
            skipped.append((path, error.status, error.text))
    return rows.frame(not choices["index"]), _report(skipped)


class Survey(NamedTuple):
    """What files have for columns; see survey_files()."""

    paths: list[str]  # of those that can be read
    sheets: list[bytes]  # what their rows are read by
    columns: _nvimport.Columns  # of all
    report: pd.DataFrame  # of those that can't
    cells: tuple[bool | None, str, str]  # header, encoding, decimal
    choices: dict[str, Any]


def survey_files(
    paths: Iterable[str],
    *,
    on_error: str = "raise",
    grid: str = "union",
    header: bool | None = None,
    encoding: str | None = None,
    decimal: str = ".",
    **choices: Any,
) -> Survey:
    """Reads files for their columns: the first half of one table of files that differ.

    Names match those of other files, x values of spectra the same x values. grid: "union", each x that
    occurs, or "first", those of the first file that has some. header: whether the first row names the
    columns; by default so where it holds words over cells. Further arguments are those of read().

    Surveys of parts can be made anywhere and in any order; merge_columns() puts theirs together, and
    combine_files() reads the rows under the columns of all.

    >>> surveys = [survey_files(["oil-affn.dx"]), survey_files(["barley.spc", "wheat.txt"])]
    >>> columns = merge_columns(surveys)
    >>> rows, report = combine_files(surveys[1], columns)
    >>> rows.shape, rows["file"].unique().tolist(), rows["1100"].count()
    ((15, 115), ['barley.spc', 'wheat.txt'], 3)
    """
    check_on_error(on_error)
    if grid not in ("union", "first"):
        raise ArgumentError('grid is "union" or "first".')
    cells = (header, encoding or "", decimal)
    columns = _nvimport.Columns(grid == "first")
    kept, sheets = [], []
    skipped: list[tuple[str | None, int, str]] = []
    for path in paths:
        refusal, found = columns.survey(_surveyed(path, choices), *cells)
        if refusal is None:
            kept.append(path)
            sheets.append(found)
        else:
            _leave_out(refusal, path, on_error, skipped)
    return Survey(kept, sheets, columns, _report(skipped), cells, choices)


def merge_columns(surveys: Iterable[Survey | _nvimport.Columns]) -> _nvimport.Columns:
    """The columns of all, those of the first ones first."""
    parts = (part.columns if isinstance(part, Survey) else part for part in surveys)
    whole = copy.copy(next(parts))
    for part in parts:
        whole.add(part)
    return whole


def combine_files(
    survey: Survey,
    columns: _nvimport.Columns | None = None,
    *,
    on_error: str = "raise",
    numbers: bool = False,
    path_column: str | None = "file",
) -> tuple[pd.DataFrame, pd.DataFrame]:
    """The rows of files under the columns of all, and a report of those left out, now or in the survey.

    Columns of numbers are float64, others object; of files with several sheets a column "sheet" names them.

    columns: by default those of the survey.
    numbers: a column whose every text reads as a number is float64.
    path_column: the name of the column of paths; None for none.
    """
    check_on_error(on_error)
    columns = survey.columns if columns is None else columns
    requests = [_surveyed(path, survey.choices) for path in survey.paths]
    found = columns.gather(list(zip(requests, survey.sheets)), *survey.cells)
    skipped: list[tuple[str | None, int, str]] = []
    is_whole = np.repeat([refusal is None for refusal in found.refusals], found.rows_of)
    for path, refusal in zip(survey.paths, found.refusals):
        if refusal is not None:
            _leave_out(refusal, path, on_error, skipped)
    frame = _combined_frame(columns, found, numbers, survey.cells[2])
    if not is_whole.all():
        frame = frame[is_whole].reset_index(drop=True)
    report = pd.concat([survey.report, _report(skipped)], ignore_index=True)
    if path_column is None:
        return frame.drop(columns="file"), report
    return frame.rename(columns={"file": path_column}), report


def empty_frame(
    columns: _nvimport.Columns, *, numbers: bool = False, path_column: str | None = "file"
) -> pd.DataFrame:
    """The columns and types that combine_files() gives its rows."""
    dtypes = np.where(_holds_numbers(columns, numbers), "float64", "object")
    names = columns.names()
    frame = pd.DataFrame(
        {i: pd.Series(dtype=dtype) for i, dtype in enumerate(dtypes)}, columns=range(len(names))
    )
    frame.columns = pd.Index(names, dtype=object)
    if path_column is None:
        return frame.drop(columns="file")
    return frame.rename(columns={"file": path_column})


def _holds_numbers(columns: _nvimport.Columns, numbers: bool) -> npt.NDArray[np.bool_]:
    return np.array(columns.kinds()) <= (_NUMBER_TEXTS if numbers else _NUMBER_TEXTS - 1)


def _combined_frame(
    columns: _nvimport.Columns, found: _nvimport.GatheredRows, numbers: bool, decimal: str
) -> pd.DataFrame:
    last = found.rows + 1
    blocks = []
    values: npt.NDArray[Any]
    for begin, end, with_numbers in runs(_holds_numbers(columns, numbers).tolist()):
        where = (begin + 1, 2, end, last)
        if found.rows == 0:
            values = np.empty((0, end - begin), dtype=float if with_numbers else object)
        elif with_numbers:
            values = found.cells.numbers(*where, numbers, decimal).astype(float, copy=False)
        else:
            values = found.cells.objects(*where, "")
        blocks.append(pd.DataFrame(values, columns=range(begin, end)))
    frame = pd.concat(blocks, axis=1)
    frame.columns = pd.Index(columns.names(), dtype=object)
    return frame


def _surveyed(path: str, choices: dict[str, Any]) -> _nvimport.Request:
    format = choices.get("format")
    others = {name: value for name, value in choices.items() if name != "format"}
    return make_request([os.fsencode(path)], path, format, **others)


def _leave_out(
    refusal: _nvimport.Refusal,
    path: str,
    on_error: str,
    skipped: list[tuple[str | None, int, str]],
) -> None:
    try:
        refuse(refusal, path)
    except Cancelled:
        raise
    except Error as error:
        if on_error == "raise":
            raise
        skipped.append((path, error.status, error.text))


def _report(skipped: list[tuple[str | None, int, str]]) -> pd.DataFrame:
    return pd.DataFrame(skipped, columns=REPORT.columns).astype(dict(REPORT.dtypes))


def first_frame(paths: Iterable[str], *, on_error: str = "raise", **choices: Any) -> pd.DataFrame:
    """An empty frame with the columns and types of the first file, when skipping the first good one."""
    check_on_error(on_error)
    failure: Error | None = None
    for path in paths:
        try:
            return read_frame(path, **choices).iloc[:0]
        except Cancelled:
            raise
        except Error as error:
            failure = failure or error
            if on_error == "raise":
                break
    raise failure or Error("There are no files.")


def check_on_error(on_error: str) -> None:
    if on_error not in ("raise", "skip"):
        raise ValueError('on_error is "raise" or "skip"')
