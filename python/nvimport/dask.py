"""Folders of files on a Dask cluster."""

from __future__ import annotations

import os
from typing import Any, NamedTuple

import dask
import dask.dataframe as dd
import pandas as pd
from dask.sizeof import sizeof

from nvimport import _nvimport, batch
from nvimport._errors import ArgumentError


def read_files(
    paths_or_glob: batch.Paths,
    *,
    format: str | int | None = None,
    files_per_partition: int | None = None,
    bytes_per_partition: int = 16 << 20,
    on_error: str = "raise",
    path_column: str | None = None,
    numbers: bool = False,
    **choices: Any,
) -> tuple[dd.DataFrame, dd.DataFrame]:
    """A lazy data frame of all rows, and a lazy report of the files left out.

    Compute both together, so that each file is read once: dask.compute(rows, report).

    paths_or_glob: paths that every worker can open, or a pattern.
    files_per_partition: how many files a task reads; a partition of the result is theirs. By default as
        many as have bytes_per_partition together.
    on_error: "raise" the first failure, or "skip" the file; the report then has its path, code and text.
        A file whose columns differ from those of the first file is a failure too.
    path_column, numbers: as for nvimport.batch.read_frame.
    choices: as for nvimport.read.

    The columns and types are those of the first file, which is read at once; with on_error="skip" of
    the first that can be read.

    >>> import dask, nvimport.dask
    >>> rows, report = nvimport.dask.read_files("oil-*.dx", files_per_partition=2)
    >>> rows.npartitions
    3
    >>> frame, skipped = dask.compute(rows, report, scheduler="sync")
    >>> len(frame), len(skipped)
    (5, 0)
    """
    paths = batch.expand(paths_or_glob)
    how = {"format": format, "path_column": path_column, "numbers": numbers, **choices}
    like = batch.first_frame(paths, on_error=on_error, **how)
    tasks = _tasks(paths, files_per_partition, bytes_per_partition)
    read = dask.delayed(_read)
    shared = dask.delayed(like)  # travels once
    return _both([read(task, like=shared, on_error=on_error, **how) for task in tasks], like)


def combine_files(
    paths_or_glob: batch.Paths,
    *,
    files_per_partition: int | None = None,
    bytes_per_partition: int = 16 << 20,
    on_error: str = "raise",
    numbers: bool = False,
    path_column: str | None = "file",
    **choices: Any,
) -> tuple[dd.DataFrame, dd.DataFrame]:
    """One lazy table of files whose columns differ, and a lazy report of those left out.

    Columns are matched by name, those of spectra by x value, and one schema is agreed before any row is
    read: all files are surveyed at once, where Dask computes, each part by itself, and the parts
    are merged. Then a partition is the rows of a part under the columns of all.

    choices: as for nvimport.batch.survey_files; everything else as for read_files and
        nvimport.batch.combine_files.

    >>> import dask, nvimport.dask
    >>> with dask.config.set(scheduler="sync"):
    ...     rows, report = nvimport.dask.combine_files(["oil-affn.dx", "barley.spc", "wheat.txt"])
    ...     frame, skipped = dask.compute(rows, report)
    >>> frame.groupby("file").size().to_dict(), len(skipped)
    ({'barley.spc': 3, 'oil-affn.dx': 1, 'wheat.txt': 12}, 0)
    """
    batch.check_on_error(on_error)
    tasks = _tasks(batch.expand(paths_or_glob), files_per_partition, bytes_per_partition)
    survey = dask.delayed(batch.survey_files)
    (surveys,) = dask.compute([survey(task, on_error=on_error, **choices) for task in tasks])
    columns = batch.merge_columns(surveys)
    how: dict[str, Any] = {"numbers": numbers, "path_column": path_column}
    like = batch.empty_frame(columns, **how)
    combine = dask.delayed(_combine)
    shared = dask.delayed(columns)
    none = _nvimport.Columns(False)  # those of a part don't travel again
    groups = [
        combine(dask.delayed(part._replace(columns=none)), shared, on_error=on_error, **how)
        for part in surveys
    ]
    return _both(groups, like)


class _Group(NamedTuple):
    """What a task makes of its files."""

    rows: pd.DataFrame
    report: pd.DataFrame


# Dask's own way looks at each column, which takes longer than reading a file of that many.
@sizeof.register(_Group)  # type: ignore[misc]
def _size(group: _Group) -> int:
    return int(group.rows.size) * 8


def _read(paths: list[str], **how: Any) -> _Group:
    return _Group(*batch.read_group(paths, **how))


def _combine(survey: batch.Survey, columns: Any, **how: Any) -> _Group:
    return _Group(*batch.combine_files(survey, columns, **how))


def _rows(group: _Group) -> pd.DataFrame:
    return group.rows


def _report(group: _Group) -> pd.DataFrame:
    return group.report


def _both(groups: list[Any], like: pd.DataFrame) -> tuple[dd.DataFrame, dd.DataFrame]:
    """The lazy frames of groups: one computation of both keeps each task once."""
    both = dd.from_delayed(groups, meta=like, verify_meta=False)
    rows = both.map_partitions(_rows, meta=like, enforce_metadata=False)
    report = both.map_partitions(_report, meta=batch.REPORT, enforce_metadata=False)
    return rows, report


def _tasks(paths: list[str], files: int | None, most_bytes: int) -> list[list[str]]:
    """The paths, each list for a task."""
    if (files is not None and files < 1) or most_bytes < 1:
        raise ArgumentError("A partition has one file at least.")
    if files is not None:
        return [paths[at : at + files] for at in range(0, len(paths), files)]
    tasks: list[list[str]] = [[]]
    size = 0
    for path in paths:
        try:
            own = os.path.getsize(path)
        except OSError:
            own = 0
        if tasks[-1] and size + own > most_bytes:
            tasks.append([])
            size = 0
        tasks[-1].append(path)
        size += own
    return tasks
