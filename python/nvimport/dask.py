"""Folders of files on a Dask cluster."""

from __future__ import annotations

from typing import Any

import dask
import dask.dataframe as dd

from nvimport import batch
from nvimport._errors import ArgumentError


def read_files(
    paths_or_glob: batch.Paths,
    *,
    format: str | int | None = None,
    files_per_partition: int = 100,
    on_error: str = "raise",
    path_column: str | None = None,
    numbers: bool = False,
    **choices: Any,
) -> tuple[dd.DataFrame, dd.DataFrame]:
    """A lazy data frame of all rows, and a lazy report of the files left out.

    Compute both together, so that each file is read once: dask.compute(rows, report).

    paths_or_glob: paths that every worker can open, or a pattern.
    files_per_partition: how many files a task reads; a partition of the result is theirs.
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
    if files_per_partition < 1:
        raise ArgumentError("A partition has one file at least.")
    paths = batch.expand(paths_or_glob)
    how = {"format": format, "path_column": path_column, "numbers": numbers, **choices}
    like = batch.first_frame(paths, on_error=on_error, **how)
    read = dask.delayed(batch.read_group, nout=2)
    groups = [
        read(paths[at : at + files_per_partition], like=like, on_error=on_error, **how)
        for at in range(0, len(paths), files_per_partition)
    ]
    # Both are data frames so that one computation of both keeps each reading task once.
    rows = dd.from_delayed([group[0] for group in groups], meta=like)
    report = dd.from_delayed([group[1] for group in groups], meta=batch.REPORT)
    return rows, report
