"""Many files to one data frame: what a task of a cluster does, whoever starts it."""

from __future__ import annotations

import glob
import os
from collections.abc import Iterable
from typing import Any, Union

import numpy as np
import pandas as pd

from nvimport._calls import read
from nvimport._errors import Cancelled, Error
from nvimport._sheet import Parts

Paths = Union[str, "os.PathLike[str]", Iterable[Union[str, "os.PathLike[str]"]]]

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
    numbers: as for Sheet.to_pandas. The choices are those of read(); names of rows stay columns unless
        `index` says otherwise.
    """
    choices.setdefault("index", False)
    frame = read(path, **choices).to_pandas(numbers=numbers)
    if path_column is not None:
        frame[path_column] = path
    return frame if like is None else _as_the_others(frame, like, path)


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
            rows.add(path, read(path, **choices)._parts(numbers, before=rows.last()))
        except Cancelled:
            raise
        except Error as error:
            if on_error == "raise":
                raise
            skipped.append((path, error.code, error.text))
    report = pd.DataFrame(skipped, columns=REPORT.columns).astype(dict(REPORT.dtypes))
    return rows.frame(not choices["index"]), report


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
