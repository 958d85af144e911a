"""The columns of sheets, as pandas has them."""

from __future__ import annotations

import itertools
from collections.abc import Iterable, Mapping
from typing import TYPE_CHECKING, Any, NamedTuple

import numpy as np
import numpy.typing as npt

from nvimport import _nvimport

if TYPE_CHECKING:
    import pandas as pd

# What texts become: numbers, times and words by what a column has; numbers where all are; nothing else.
INFER, NUMBERS, TEXT = "infer", "numbers", "text"


# Columns that may each be an array of their own: as many fewer arrays would have to be copied.
_FEW = 100


def runs(kinds: Iterable[Any]) -> list[tuple[int, int, Any]]:
    """Where each run of the same value begins and ends, and the value."""
    begin = 0
    found = []
    for kind, alike in itertools.groupby(kinds):
        end = begin + sum(1 for _ in alike)
        found.append((begin, end, kind))
        begin = end
    return found


class Parts(NamedTuple):
    """The columns of a sheet below the row of names; those of one kind that lie together are one array."""

    labels: list[Any]  # the names of those that name the rows
    names: Any  # of the others
    width: int  # how many in front name the rows
    head: _nvimport.Cells | None  # whose first row has the names
    begins: list[int]  # the first column of each array, from 0
    arrays: list[Any]  # of a row for each row; of one column also those of pandas' own types

    def add(self, begin: int, values: Any) -> None:
        self.begins.append(begin)
        self.arrays.append(values)

    def named_by(self, other: Parts) -> bool:
        if self.width != other.width or self.head is None or other.head is None:
            return False
        return self.head.begins_like(other.head)

    def fits(self, other: Parts) -> bool:
        """Whether the rows of both make one table as they are."""
        return (
            self.width == other.width
            and self.labels == other.labels
            and (self.names is other.names or self.names == other.names)
            and self.begins == other.begins
            and all(a.dtype == b.dtype for a, b in zip(self.arrays, other.arrays))
        )

    def frame(self) -> pd.DataFrame:
        import pandas as pd

        labels: list[Any] = []
        blocks: list[Any] = []
        for begin, values in zip(self.begins, self.arrays):
            is_one = values.ndim == 1
            count = 1 if is_one else values.shape[1]
            cut = min(max(self.width - begin, 0), count)
            labels += [values] * cut if is_one else [values[:, i] for i in range(cut)]
            if cut < count:
                blocks.append(values if is_one or cut == 0 else values[:, cut:])
        index = None
        if len(labels) == 1:
            index = pd.Index(labels[0], name=self.labels[0])
        elif labels:
            index = pd.MultiIndex.from_arrays(labels, names=self.labels)
        is_x = isinstance(self.names, np.ndarray)
        columns = pd.Index(self.names, dtype=None if is_x else object, copy=is_x)
        if len(blocks) == 1 and blocks[0].ndim == 2:
            return pd.DataFrame(blocks[0], index=index, columns=columns, copy=False)
        if not blocks:
            return pd.DataFrame(index=index, columns=columns)
        if len(columns) <= _FEW:
            each = [one for block in blocks for one in ([block] if block.ndim == 1 else block.T)]
            frame = pd.DataFrame(dict(enumerate(each)), index=index, copy=False)
        else:
            frames = [
                pd.DataFrame(block if block.ndim == 2 else {0: block}, index=index, copy=False)
                for block in blocks
            ]
            frame = pd.concat(frames, axis=1, copy=False)
        frame.columns = columns
        return frame


def add_columns(
    parts: Parts,
    cells: _nvimport.Cells,
    row: int,
    *,
    mode: str,
    encoding: str,
    decimal: str,
    missing: frozenset[str] = frozenset(),
    as_texts: Any = (),
) -> None:
    """Adds all columns from `row` on; those of the positions `as_texts` keep their texts."""
    columns = cells.shape[1]
    of_texts = {INFER: "i", NUMBERS: "d", TEXT: "o"}[mode]
    of_numbers = of_texts if mode == INFER and cells.has_large else "n"
    kinds = [of_texts if has else of_numbers for has in cells.texts(row, columns).tolist()]
    for i in as_texts:
        kinds[i] = "o"
    for begin, end, kind in runs(kinds):
        first = begin + 1
        if kind == "n":
            values: Any = cells.view(first, row, end)
            if values is None:
                values = cells.numbers(first, row, end, 0, False, decimal)
            parts.add(begin, values)
        elif kind == "o":
            values = cells.objects(first, row, end, 0, encoding)
            for i in set(as_texts).intersection(range(begin, end)):
                column = values[:, i - begin]
                column[[isinstance(v, str) and (not v.strip(" ") or v in missing) for v in column]] = None
            parts.add(begin, values)
        elif kind == "d":
            parsed, words = cells.doubles(first, row, end, decimal)
            for a, b, with_words in runs(words.tolist()):
                if with_words:
                    values = cells.objects(first + a, row, begin + b, 0, encoding)
                else:
                    values = parsed[:, a:b]
                parts.add(begin + a, values)
        else:
            _add_typed(parts, cells, (first, row, end), encoding, decimal, missing)


def _add_typed(
    parts: Parts,
    cells: _nvimport.Cells,
    where: tuple[int, int, int],
    encoding: str,
    decimal: str,
    missing: frozenset[str],
) -> None:
    import pandas as pd

    first, row, end = where
    typed = cells.typed(first, row, end, decimal, missing)
    for begin, last, kind in runs(typed.types):
        if kind in "df":
            values: Any = typed.values(begin, last).T
            parts.add(first - 1 + begin, values.astype(np.float32) if kind == "f" else values)
            continue
        for i in range(begin, last):
            gone = typed.missing(i)
            if kind == "i":
                mask = np.zeros(len(typed), dtype=bool) if gone is None else gone.copy()
                values = pd.arrays.IntegerArray(typed.values(i, i + 1)[0].copy(), mask)
            elif kind == "M":
                values = typed.values(i, i + 1)[0].view("M8[ns]")
            elif kind == "t":
                values = pd.arrays.StringArray(typed.texts(i, encoding, pd.NA))
            else:
                values = cells.objects(first + i, row, first + i, 0, encoding)[:, 0]
                if gone is not None:
                    values[gone] = None
            parts.add(first - 1 + i, values)


def text_columns(names: Any, dtype: Any) -> list[int]:
    """The positions of columns whose type wants their texts as they are."""
    if dtype is None:
        return []
    by_name = dtype if isinstance(dtype, Mapping) else dict.fromkeys(names, dtype)
    return [i for i, name in enumerate(names) if _wants_texts(by_name.get(name))]


def _wants_texts(dtype: Any) -> bool:
    return dtype in (str, object) or str(dtype) in ("str", "object", "string", "category", "O")


def with_types(frame: pd.DataFrame, dtype: Any) -> pd.DataFrame:
    if isinstance(dtype, Mapping):
        dtype = {name: one for name, one in dtype.items() if name in frame.columns}
    if dtype is None or (isinstance(dtype, Mapping) and not dtype):
        return frame
    made = frame.astype(dtype)
    # What is missing is no text.
    for i in text_columns(frame.columns, dtype):
        gone = np.flatnonzero(frame.iloc[:, i].isna())
        if len(gone) > 0 and made.dtypes.iloc[i] == object:
            made.iloc[gone, i] = None
    return made
