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
    if like is None:
        return frame
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


def read_group(
    paths: Iterable[str],
    *,
    like: pd.DataFrame | None = None,
    on_error: str = "raise",
    **choices: Any,
) -> tuple[pd.DataFrame, pd.DataFrame]:
    """The rows of several files, one after the other, and a report of those left out.

    like: as for read_frame; by default the first file that can be read.
    on_error: "raise" the first failure, or "skip" the file and report its path, code and text.

    >>> rows, report = read_group(["oil-affn.dx", "wheat.txt", "oil-dif.dx"], on_error="skip")
    >>> rows.iloc[:, 1:4]
          column 2  t 1100  t 1102
    0  Oil in AFFN     0.4   0.401
    1   Oil in DIF     0.4   0.401
    >>> report[["path", "text"]].values.tolist()
    [['wheat.txt', 'The columns differ from those of the other files.']]
    """
    check_on_error(on_error)
    frames = []
    skipped: list[tuple[str | None, int, str]] = []
    for path in paths:
        try:
            frame = read_frame(path, like=like, **choices)
        except Cancelled:
            raise
        except Error as error:
            if on_error == "raise":
                raise
            skipped.append((path, error.code, error.text))
            continue
        if like is None:
            like = frame.iloc[:0]
        frames.append(frame)
    if frames:
        rows = pd.concat(frames, ignore_index=not choices.get("index"))
    else:
        rows = pd.DataFrame() if like is None else like.iloc[:0]
    report = pd.DataFrame(skipped, columns=REPORT.columns).astype(dict(REPORT.dtypes))
    return rows, report


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
