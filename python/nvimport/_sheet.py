"""The sheet that a file becomes."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, NamedTuple

import numpy as np
import numpy.typing as npt

from nvimport import _nvimport
from nvimport._errors import Error

if TYPE_CHECKING:
    import pandas as pd


def runs(kinds: npt.NDArray[np.bool_]) -> list[tuple[int, int, bool]]:
    """Where each run of the same value begins and ends, and the value."""
    borders = [0, *(np.flatnonzero(np.diff(kinds)) + 1), len(kinds)]
    return [(int(a), int(b), bool(kinds[a])) for a, b in zip(borders[:-1], borders[1:])]


class Choice(NamedTuple):
    """A choice that a format offers, and how it was made."""

    argument: str  # of read()
    answer: str
    source: str  # "given" or "guessed"
    entries: list[str]  # what there is to choose from, numbered from 1


class Spectra(NamedTuple):
    """The spectra of a sheet."""

    x: npt.NDArray[np.float64]  # of the points, all rising or all falling
    matrix: npt.NDArray[np.floating[Any]]  # a row for each spectrum, a column for each point
    names: list[str]  # of the spectra


class Sheet:
    """The cells of a file: numbers as wide as the file has them, texts, missing cells.

    Sheets come from read(), and don't change.

    path: of the file, of the first where there are several.
    format: its name.
    options: bytes that repeat the import, choices and all: read(path, options=sheet.options).
    choices: what the format asked, and how it was answered.
    kept_rules: whether it was read as years ago.
    notes: what was answered without having been asked, and cells that were left out.
    warning: what the format warned of, or None.
    """

    def __init__(
        self,
        read: _nvimport.Import,
        path: str,
        choices: list[Choice],
        notes: list[str],
        *,
        header: bool | None,
        index: int | bool | None,
        encoding: str | None,
        decimal: str,
    ) -> None:
        self.path = path
        self.format = read.format
        self.options = read.options
        self.kept_rules = read.kept_rules
        self.choices = choices
        self.notes = notes
        self.warning = "\n".join(read.warnings) or None
        self._data = read.cells
        self._has_x_row = read.has_x_row
        self._exact_x = (read.first_x_column, read.x) if len(read.x) > 1 else None
        self._header = header
        self._index = index
        self._encoding = encoding or ""
        self._decimal = decimal
        self._cells: npt.NDArray[np.object_] | None = None

    def __repr__(self) -> str:
        rows, columns = self.shape
        return f"<nvimport.Sheet of {rows} x {columns} cells: {self.path}, {self.format}>"

    @property
    def shape(self) -> tuple[int, int]:
        """Rows and columns."""
        return self._data.shape

    @property
    def cells(self) -> npt.NDArray[np.object_]:
        """Every cell as it is: a float (an int beyond what one holds), a str, or None where it is missing.

        >>> nvimport.read("wheat.txt").cells[:2, :3]
        array([['Sample', 'Moisture', 'w1100'],
               ['Wheat 01', '12.8', '0.3120']], dtype=object)
        """
        if self._cells is None:
            self._cells = self._data.objects(1, 1, self.shape[1], 0, self._encoding)
            self._cells.flags.writeable = False
        return self._cells

    def to_numpy(self, *, numbers: bool = False) -> npt.NDArray[np.floating[Any]]:
        """The numbers of all cells, a row for each row; missing cells and texts are NaN.

        float32 where the file's numbers are, else float64, as numbers read from texts are.

        numbers: texts count as the numbers that they read as.

        >>> nvimport.read("wheat.txt").to_numpy(numbers=True)[:2, :4]
        array([[    nan,     nan,     nan,     nan],
               [    nan, 12.8   ,  0.312 ,  0.3132]])
        """
        return self._data.numbers(1, 1, self.shape[1], 0, numbers, self._decimal)

    def __array__(self, dtype: npt.DTypeLike = None) -> npt.NDArray[Any]:
        values = self.to_numpy()
        return values if dtype is None else values.astype(dtype, copy=False)

    def spectra(self) -> Spectra:
        """The spectra, their x values and their names.

        The x values are the file's own, to the last digit, where it is one of spectra, else those that
        column names hold: numbers, or a letter and a number. A row without a single number under them (a remark, a table of peaks) is no spectrum. The names are those of
        the first column in front that holds texts. Texts count as the numbers that they read as.

        The matrix is for reading only where it is the memory that the file was read into; copy() one
        to change.

        >>> spectra = nvimport.read("barley.spc").spectra()
        >>> spectra.matrix.shape, spectra.x[:3], spectra.names
        ((3, 100), array([1100., 1102., 1104.]), ['barley.spc_1', 'barley.spc_2', 'barley.spc_3'])
        """
        axis = self._exact_x or self._data.axis(self._decimal)
        if axis is None:
            raise Error(
                "The sheet has no columns that are named by x values.",
                path=self.path,
                format=self.format,
            )
        first, x = axis
        last = first + len(x) - 1
        row = 2
        if self._has_x_row:
            if self._exact_x is None:
                x = self._numbers(first, row, last)[0].astype(np.float64)
            row = 3
        matrix = self._numbers(first, row, last)
        empty = np.isnan(matrix[:, 0])
        empty[empty] = np.isnan(matrix[empty]).all(axis=1)
        kept = np.flatnonzero(~empty)
        if len(kept) == 0:
            return Spectra(x, matrix[:0], [])
        if kept[-1] - kept[0] + 1 == len(kept):
            matrix = matrix[kept[0] : kept[-1] + 1]
        else:
            matrix = matrix[kept]
        return Spectra(x, matrix, self._labels(first - 1, row, kept))

    def _numbers(self, first: int, row: int, last: int) -> npt.NDArray[np.floating[Any]]:
        view = self._data.view(first, row, last)
        if view is not None:
            return view
        return self._data.numbers(first, row, last, 0, True, self._decimal)

    def _labels(self, width: int, row: int, kept: npt.NDArray[np.intp]) -> list[str]:
        """The names of rows counted from `row` on, by the first of `width` columns that holds texts."""
        if width == 0:
            return [str(n) for n in range(1, len(kept) + 1)]
        labels = self._data.objects(1, row, width, 0, self._encoding)[kept]
        for column in range(width):
            if any(isinstance(label, str) for label in labels[:, column]):
                break
        else:
            column = 0
        return [
            "" if v is None else v if isinstance(v, str) else f"{v:g}" for v in labels[:, column]
        ]

    def _layout(self, header: bool | None, index: int | bool | None) -> tuple[bool, int]:
        """Whether the first row has names, and how many columns have those of the rows."""
        header = self._header if header is None else header
        index = self._index if index is None else index
        rows, columns = self.shape
        axis = self._data.axis(self._decimal) if header is not False else None
        if header is None:
            header = axis is not None or self._begins_with_names()
        if index is None:
            index = 0
            if axis is not None and rows > 1:
                _, words = self._data.doubles(1, 2, axis[0] - 1, self._decimal)
                index = int(np.flatnonzero(words)[-1]) + 1 if words.any() else 0
        return bool(header), min(int(index), columns)

    def _begins_with_names(self) -> bool:
        """Words alone in the first row, and numbers somewhere below."""
        if self.shape[0] < 2:
            return False
        looked_at = 100
        if not any(self._data.names(1, self._encoding)):
            return False
        found = [
            ~np.isnan(self._data.numbers(1, 1, self.shape[1], looked_at, True, mark)) for mark in ".,"
        ]
        is_number = found[0] | found[1]
        return not bool(is_number[0].any()) and bool(is_number[1:].any())

    def to_pandas(
        self,
        *,
        numbers: bool = False,
        header: bool | None = None,
        index: int | bool | None = None,
    ) -> pd.DataFrame:
        """The sheet as a data frame.

        Columns of numbers are float32, or float64 where the file's numbers are wider, and columns with
        texts object, of str, float and None.

        numbers: a column whose every text reads as a number is float64.
        header: whether the first row names the columns; by default what read() was told, else so where
            it names x values of spectra, or holds words alone over rows with numbers.
        index: how many columns name the rows; by default what read() was told, else those in front of
            spectra up to the last that holds words.

        >>> nvimport.read("ovens.xls").to_pandas().head(3)
              Run        Date  Peak °C  Held min Remark
        0  Oven 2  2024-03-04   181.75      26.0   None
        1  Oven 3  2024-03-07   180.25      27.0   None
        2  Oven 1  2024-03-10   182.00      28.0   None
        """
        return self._parts(numbers, header, index).frame()

    def _parts(
        self,
        numbers: bool = False,
        header: bool | None = None,
        index: int | bool | None = None,
        before: Parts | None = None,
    ) -> Parts:
        """What to_pandas() makes a data frame of. `before` are those of a sheet whose names may be the same."""
        has_header, width = self._layout(header, index)
        columns = self.shape[1]
        row = 2 if has_header else 1
        texts = self._data.texts(row, columns)
        parts = Parts([], width, self._data if has_header else None, [], [])
        values: npt.NDArray[Any]
        for begin, end, with_texts in runs(texts):
            if not with_texts:
                values = self._data.numbers(begin + 1, row, end, 0, False, self._decimal)
                parts.add(begin, values)
                continue
            words = np.ones(end - begin, dtype=bool)
            if numbers:
                parsed, words = self._data.doubles(begin + 1, row, end, self._decimal)
            for first, last, with_words in runs(words):
                if with_words:
                    values = self._data.objects(
                        begin + first + 1, row, begin + last, 0, self._encoding
                    )
                else:
                    values = parsed[:, first:last]
                parts.add(begin + first, values)
        if before is not None and parts.named_by(before):
            return parts._replace(names=before.names)
        names = self._data.names(1, self._encoding) if has_header else [None] * columns
        named = [
            name if name is not None or i < width else f"column {i + 1}"
            for i, name in enumerate(names)
        ]
        return parts._replace(names=named)


class Parts(NamedTuple):
    """The columns of a sheet below the row of names; those of one kind that lie together are one array."""

    names: list[str | None]  # of all columns
    width: int  # how many in front name the rows
    head: _nvimport.Cells | None  # whose first row has the names
    begins: list[int]  # the first column of each array, from 0
    arrays: list[npt.NDArray[Any]]

    def add(self, begin: int, values: npt.NDArray[Any]) -> None:
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
            and (self.names is other.names or self.names == other.names)
            and self.begins == other.begins
            and all(a.dtype == b.dtype for a, b in zip(self.arrays, other.arrays))
        )

    def frame(self) -> pd.DataFrame:
        import pandas as pd

        blocks = [
            pd.DataFrame(values, columns=range(begin, begin + values.shape[1]))
            for begin, values in zip(self.begins, self.arrays)
        ]
        frame = pd.concat(blocks, axis=1) if len(blocks) > 1 else blocks[0]
        if self.width > 0:
            frame = frame.set_index(list(range(self.width)))
            frame.index.names = self.names[: self.width]
        frame.columns = pd.Index(self.names[self.width :], dtype=object)
        return frame
