"""Folders of files on a Dask cluster."""

from __future__ import annotations

import os
from typing import Any, NamedTuple

import dask
import dask.dataframe as dd
import pandas as pd
from dask.sizeof import sizeof

from nvimport import batch
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


class _Group(NamedTuple):
    """What a task makes of its files."""

    rows: pd.DataFrame
    report: pd.DataFrame


# Dask's own way looks at each column, which takes longer than reading a file of that many.
@sizeof.register(_Group)
def _size(group: _Group) -> int:
    return int(group.rows.size) * 8


def _read(paths: list[str], **how: Any) -> _Group:
    return _Group(*batch.read_group(paths, **how))


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
