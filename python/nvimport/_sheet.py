"""The sheet that a file becomes."""

from __future__ import annotations

import codecs
import html
import json
import numbers
from collections.abc import Iterator
from typing import TYPE_CHECKING, Any, NamedTuple

import numpy as np
import numpy.typing as npt

from nvimport import _nvimport
from nvimport._description import Description
from nvimport._errors import ArgumentError, Error
from nvimport._frames import INFER, TEXT, Parts, add_columns, text_columns, with_types

if TYPE_CHECKING:
    import pandas as pd
    import xarray as xr


class Choice(NamedTuple):
    """A choice that a format offers, and how it was made."""

    argument: str  # of read()
    answer: str
    source: str  # "given" or "guessed"; "needed" where there is no usual answer
    entries: list[str]  # what there is to choose from, numbered from 1


class Spectra(NamedTuple):
    """The spectra of a sheet."""

    x: npt.NDArray[np.float64]  # of the points, all rising or all falling
    matrix: npt.NDArray[np.floating[Any]]  # a row for each spectrum, a column for each point
    names: list[str]  # of the spectra


class Rules(NamedTuple):
    """What read() was told of the cells."""

    header: bool | None
    width: int | bool | None  # how many columns name the rows
    encoding: str
    decimal: str
    missing: frozenset[str]
    dtype: Any


def make_rules(
    header: Any, index: Any, encoding: str | None, decimal: str, na_values: Any, dtype: Any
) -> Rules:
    _check_layout(header, index)
    if na_values is None:
        na_values = ()
    elif isinstance(na_values, (str, numbers.Real)):
        na_values = [na_values]
    missing = (
        f"{float(one):.15g}" if isinstance(one, numbers.Real) else str(one) for one in na_values
    )
    return Rules(header, index, encoding_of(encoding), decimal, frozenset(missing), dtype)


def _check_layout(header: Any, index: Any) -> None:
    if not (header is None or isinstance(header, (bool, np.bool_))):
        raise ArgumentError("header= is True if the first row has names, False, or None.")
    if not (index is None or hasattr(index, "__index__") or isinstance(index, np.bool_)):
        raise ArgumentError("index= is how many columns name the rows.")


def encoding_of(name: str | None) -> str:
    """An encoding by the name that the library has for it; Python has others beside it."""
    if not name or _nvimport.has_encoding(name):
        return name or ""
    try:
        known = codecs.lookup(name).name
    except LookupError:
        known = ""
    if not known or not _nvimport.has_encoding(known):
        raise ArgumentError(f'There is no encoding "{name}".')
    return known


class Sheet:
    """The cells of a file: numbers as wide as the file has them, texts, missing cells.

    Sheets come from read(), don't change, and can be pickled. sheet[3], sheet[3, 4], sheet[:10, 2:] and
    iteration give cells by row, rows and columns counted from 0. Two are equal if all their cells are.

    path: of the file, of the first where there are several.
    format: its name.
    options: bytes that repeat the import, choices and all: read(path, options=sheet.options).
    choices: what the format asked, and how it was answered.
    kept_rules: whether it was read as years ago.
    notes: what was answered without having been asked, and cells that were left out.
    warnings: what the format warned of.
    """

    def __init__(
        self,
        read: _nvimport.Import,
        path: str,
        choices: list[Choice],
        notes: list[str],
        rules: Rules,
    ) -> None:
        self.path = path
        self.format = read.format
        self.options = read.options
        self.kept_rules = read.kept_rules
        self.choices = choices
        self.notes = notes
        self.warnings = read.warnings
        self._data = read.cells
        self._has_x_row = read.has_x_row
        x = read.x
        self._exact_x = (read.first_x_column, x) if len(x) > 1 else None
        self._rules = rules
        self._read: _nvimport.Import | None = read  # for the description
        self._description: Description | None = None
        self._cells: npt.NDArray[np.object_] | None = None

    def __getstate__(self) -> dict[str, Any]:
        return {**self.__dict__, "_description": self.description, "_read": None, "_cells": None}

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, Sheet):
            return NotImplemented
        return self._data.equals(other._data)

    __hash__ = None  # type: ignore[assignment]

    def __repr__(self) -> str:
        rows, columns = self.shape
        return f"<nvimport.Sheet of {rows} x {columns} cells: {self.path}, {self.format}>"

    def _repr_html_(self) -> str:
        rows, columns = 10, 12
        head = self[:rows, :columns]
        lines = []
        for row in head:
            cells = ("" if v is None else _short(v) for v in row)
            lines.append("".join(f"<td>{html.escape(cell)}</td>" for cell in cells))
        more = "<td>\u2026</td>" if self.shape[1] > columns else ""
        table = "".join(f"<tr>{line}{more}</tr>" for line in lines)
        below = "<p>\u2026</p>" if self.shape[0] > rows else ""
        size = f"{self.shape[0]} rows \u00d7 {self.shape[1]} columns"
        about = html.escape(f"{_short(self.path)}, {self.format}")
        return f"<table>{table}</table>{below}<p>{size}: {about}</p>"

    @property
    def shape(self) -> tuple[int, int]:
        """Rows and columns."""
        return self._data.shape

    def __len__(self) -> int:
        return self.shape[0]

    def __iter__(self) -> Iterator[list[Any]]:
        at_once = max(1, 100_000 // max(self.shape[1], 1))
        for first in range(0, len(self), at_once):
            yield from self[first : first + at_once].tolist()

    def __getitem__(self, key: Any) -> Any:
        """Cells as they are (see `cells`): a row, a cell, or an array of what slices take."""
        row, column = key if isinstance(key, tuple) and len(key) == 2 else (key, slice(None))
        if not all(isinstance(k, (int, np.integer, slice)) for k in (row, column)):
            return self.cells[key]
        rows, columns = self.shape
        first, last, of_rows = _span(row, rows)
        left, right, of_columns = _span(column, columns)
        if first >= last or left >= right:
            return np.empty((max(last - first, 0), max(right - left, 0)), dtype=object)[
                of_rows, of_columns
            ]
        found = self._data.objects(left + 1, first + 1, right, last, self._rules.encoding)
        return found[of_rows, of_columns]

    @property
    def cells(self) -> npt.NDArray[np.object_]:
        """Every cell as it is: a float (an int beyond what one holds), a str, or None where it is missing.

        >>> nvimport.read(nvimport.samples("wheat.txt")).cells[:2, :3]
        array([['Sample', 'Moisture', 'w1100'],
               ['Wheat 01', '12.8', '0.3120']], dtype=object)
        """
        if self._cells is None:
            self._cells = self._data.objects(1, 1, self.shape[1], 0, self._rules.encoding)
            self._cells.flags.writeable = False
        return self._cells

    @property
    def description(self) -> Description:
        """What the file says of itself, a mapping.

        >>> nvimport.read(nvimport.samples("oils.jdx")).description["title"]
        'Two oils'
        """
        if self._description is None:
            assert self._read is not None
            self._description = Description(self._read.described(self._rules.encoding))
            self._read = None
        return self._description

    @property
    def rows(self) -> dict[int, dict[str, str]]:
        """What the file says of single rows, by row from 0."""
        return {row - 1: said for row, said in self.description.rows().items()}

    @property
    def x(self) -> npt.NDArray[np.float64] | None:
        """The x values of spectra, exactly as the file has them; None where there are none."""
        axis = self._axis()
        return None if axis is None else axis[1].copy()

    @property
    def x_unit(self) -> str:
        """The unit of the x values, empty where the file does not say."""
        return self.description.x.unit

    @property
    def y_unit(self) -> str:
        """The unit of the spectra's values, empty where the file does not say."""
        return self.description.y.unit

    @property
    def names(self) -> list[str]:
        """The names of the columns, as to_pandas() takes them for x values and texts alike."""
        header, _ = self._layout(None, None)
        return self._column_names(header)

    def _column_names(self, header: bool) -> list[str]:
        names = self._data.names(1, self._rules.encoding) if header else [None] * self.shape[1]
        return [f"column {i}" if name is None else name for i, name in enumerate(names, start=1)]

    def to_numpy(
        self, dtype: npt.DTypeLike = None, *, numbers: bool = False
    ) -> npt.NDArray[np.floating[Any]]:
        """The numbers of all cells, a row for each row; missing cells and texts are NaN.

        float64, or float32 where every number of the file is one; or of `dtype`.

        numbers: texts count as the numbers that they read as, in float64.

        >>> nvimport.read(nvimport.samples("wheat.txt")).to_numpy(numbers=True)[:2, :4]
        array([[    nan,     nan,     nan,     nan],
               [    nan, 12.8   ,  0.312 ,  0.3132]])
        """
        found = self._data.numbers(1, 1, self.shape[1], 0, numbers, self._rules.decimal)
        if dtype is None and not hasattr(self._rules.dtype, "items"):
            dtype = self._rules.dtype
        return found if dtype is None else found.astype(dtype, copy=False)

    def __array__(self, dtype: npt.DTypeLike = None, copy: bool | None = None) -> npt.NDArray[Any]:
        return self.to_numpy(dtype)

    def spectra(self) -> Spectra:
        """The spectra, their x values and their names.

        The x values are the file's own, to the last digit, where it is one of spectra, else those that
        column names hold: numbers, or a letter and a number. A row without a single number under them (a
        remark, a table of peaks) is no spectrum. The names are those of the first column in front that
        holds texts. Texts count as the numbers that they read as.

        The matrix is for reading only where it is the memory that the file was read into; copy() one
        to change.

        >>> spectra = nvimport.read(nvimport.samples("barley.spc")).spectra()
        >>> spectra.matrix.shape, spectra.x[:3], spectra.names
        ((3, 100), array([1100., 1102., 1104.]), ['barley.spc_1', 'barley.spc_2', 'barley.spc_3'])
        """
        axis = self._axis()
        if axis is None:
            raise Error(
                "The sheet has no columns that are named by x values.",
                path=self.path,
                format=self.format,
            )
        first, x = axis[0], axis[1].copy()
        row = self._first_row(True)
        matrix = self._numbers(first, row, first + len(x) - 1)
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

    def _axis(self) -> tuple[int, npt.NDArray[np.float64]] | None:
        """The first column of spectra, from 1, and the x values."""
        if self._exact_x is not None:
            return self._exact_x
        axis = self._data.axis(self._rules.decimal)
        if axis is None or not self._has_x_row:
            return axis
        x = self._numbers(axis[0], 2, axis[0] + len(axis[1]) - 1)[0]
        return axis[0], x.astype(np.float64)

    def _first_row(self, header: bool) -> int:
        return (3 if self._has_x_row else 2) if header else 1

    def _numbers(self, first: int, row: int, last: int) -> npt.NDArray[np.floating[Any]]:
        view = self._data.view(first, row, last)
        if view is not None:
            return view
        return self._data.numbers(first, row, last, 0, True, self._rules.decimal)

    def _labels(self, width: int, row: int, kept: npt.NDArray[np.intp]) -> list[str]:
        """The names of rows counted from `row` on, by the first of `width` columns that holds texts."""
        if width == 0:
            return [str(n) for n in range(1, len(kept) + 1)]
        labels = self._data.objects(1, row, width, 0, self._rules.encoding)[kept]
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
        _check_layout(header, index)
        header = self._rules.header if header is None else header
        index = self._rules.width if index is None else index
        rows, columns = self.shape
        axis = self._axis() if header is not False else None
        if header is None:
            header = axis is not None or self._begins_with_names()
        if index is None:
            index = 0
            if axis is not None and rows > 1:
                words = self._data.words(2, axis[0] - 1, self._rules.decimal)
                index = int(np.flatnonzero(words)[-1]) + 1 if words.any() else 0
        if index < 0:
            raise ArgumentError("index= is how many columns name the rows.")
        return bool(header), min(int(index), columns)

    def _begins_with_names(self) -> bool:
        """Words alone in the first row, and numbers somewhere below."""
        if self.shape[0] < 2:
            return False
        looked_at = 100

        def holds_numbers(first: int, last: int) -> bool:
            parts = (self._data.numbers(1, first, self.shape[1], last, True, mark) for mark in ".,")
            return any(not np.isnan(part).all() for part in parts)

        return (
            not holds_numbers(1, 1)
            and any(self._data.names(1, self._rules.encoding))
            and holds_numbers(2, looked_at)
        )

    def to_pandas(
        self,
        *,
        header: bool | None = None,
        index: int | bool | None = None,
        dtypes: str = "infer",
        copy: bool = True,
    ) -> pd.DataFrame:
        """The sheet as a data frame.

        Columns of spectra are named by their x values, as floats.

        header: whether the first row names the columns; by default what read() was told, else so where
            it names x values of spectra, or holds words alone over rows with numbers.
        index: how many columns name the rows; by default what read() was told, else those in front of
            spectra up to the last that holds words.
        dtypes: "infer" gives columns the type that all their cells have: float64 (float32 where the file
            has floats), Int64 for whole numbers, datetime64 for texts like 2024-05-06 07:08, else string;
            codes like 007 stay texts. "text" keeps texts, as object, and converts nothing.
        copy: the frame is yours to write to, and the sheet stays as it is. False takes numbers that lie
            in the memory that the file was read into as they are: at once, and for reading only.

        >>> nvimport.read(nvimport.samples("ovens.xls")).to_pandas().head(3)
              Run       Date  Peak \u00b0C  Held min Remark
        0  Oven 2 2024-03-04   181.75      26.0   <NA>
        1  Oven 3 2024-03-07   180.25      27.0   <NA>
        2  Oven 1 2024-03-10   182.00      28.0   <NA>
        """
        if dtypes not in (INFER, TEXT):
            raise ArgumentError('dtypes= is "infer" or "text".')
        parts = self._parts(dtypes, header, index)
        if copy:
            parts = parts._replace(arrays=[_writable(values) for values in parts.arrays])
        return with_types(parts.frame(), self._rules.dtype)

    def _parts(
        self,
        mode: str,
        header: bool | None = None,
        index: int | bool | None = None,
        before: Parts | None = None,
        with_x: bool = True,
    ) -> Parts:
        """What to_pandas() makes a data frame of. `before` are those of a sheet whose names may be the same."""
        header, width = self._layout(header, index)
        parts = Parts([], [], width, self._data if header else None, [], [])
        if before is not None and parts.named_by(before):
            parts = parts._replace(labels=before.labels, names=before.names)
        else:
            labels, names = self._frame_names(header, width, with_x)
            parts = parts._replace(labels=labels, names=names)
        rules = self._rules
        dtype = rules.dtype
        add_columns(
            parts,
            self._data,
            self._first_row(header),
            mode=mode,
            encoding=rules.encoding,
            decimal=rules.decimal,
            missing=rules.missing,
            as_texts=[] if dtype is None else text_columns([*parts.labels, *parts.names], dtype),
        )
        return parts

    def _frame_names(self, header: bool, width: int, with_x: bool) -> tuple[list[Any], Any]:
        """Of the columns that name rows and of the others, those of spectra as floats."""
        axis = self._axis() if header and with_x else None
        if axis is not None and axis[0] == 1 + width and len(axis[1]) == self.shape[1] - width:
            labels = self._data.objects(1, 1, width, 1, self._rules.encoding)[0].tolist()
            return labels, axis[1]
        names: list[Any] = (
            self._data.names(1, self._rules.encoding) if header else [None] * self.shape[1]
        )
        if axis is not None:
            names[axis[0] - 1 : axis[0] - 1 + len(axis[1])] = axis[1].tolist()
        return names[:width], [
            f"column {i}" if name is None else name
            for i, name in enumerate(names[width:], start=width + 1)
        ]

    def to_xarray(self) -> Any:
        """Spectra as a DataArray over the names of the samples and x, with units; other sheets as a Dataset.

        Columns beside the spectra are coordinates of the samples, and what the file says of itself is in
        `attrs`. Needs xarray.

        >>> spectra = nvimport.read(nvimport.samples("oils.jdx"), blocks=[1, 2]).to_xarray()
        >>> spectra.dims, spectra.x.attrs["units"], spectra.sel(x=1102).values.round(3)
        (('sample', 'x'), 'NANOMETERS', array([0.401, 0.4  ]))
        """
        import xarray as xr

        axis = self._axis()
        if axis is None:
            made: xr.Dataset = self.to_pandas().to_xarray()
            return made.assign_attrs(self.description)
        x, matrix, names = self.spectra()
        frame = self.to_pandas(index=0, copy=False)
        told = self.description

        def said(name: Any) -> dict[str, str]:
            both = {"long_name": name.label, "units": name.unit}
            return {key: value for key, value in both.items() if value}

        coords: dict[Any, Any] = {"sample": names, "x": ("x", x, said(told.x))}
        others = [i for i in range(frame.shape[1]) if not axis[0] - 1 <= i < axis[0] - 1 + len(x)]
        rows = self._data.numbers(axis[0], self._first_row(True), axis[0] + len(x) - 1, 0, True, ".")
        kept = ~np.isnan(rows).all(axis=1)
        for i in others:
            values = frame.iloc[:, i].to_numpy()[kept]
            if frame.columns[i] not in coords:
                coords[frame.columns[i]] = ("sample", values)
        attrs = {**told, **said(told.y)}
        return xr.DataArray(_writable(matrix), coords, ("sample", "x"), attrs=attrs)

    def __arrow_c_schema__(self) -> object:
        return self._arrow()[0]

    def __arrow_c_array__(self, requested_schema: object = None) -> tuple[object, object]:
        schema, array, _ = self._arrow()
        return schema, array

    def __arrow_c_stream__(self, requested_schema: object = None) -> object:
        return self._arrow()[2]

    def _arrow(self) -> tuple[object, object, object]:
        header, _ = self._layout(None, None)
        names = self._column_names(header)
        x = self._axis() if header else None
        if x is not None:
            for i, value in enumerate(x[1], start=x[0] - 1):
                if not _is_number(names[i]):
                    names[i] = np.format_float_positional(value, trim="-")
        told = self.description
        said = {
            "source": self.path,
            "title": told.get("title", ""),
            "x_label": told.x.label,
            "x_unit": told.x.unit,
            "y_label": told.y.label,
            "y_unit": told.y.unit,
            "x": "" if x is None else json.dumps(x[1].tolist()),
        }
        return self._data.arrow(
            self._first_row(header),
            told_apart(names),
            self._rules.encoding,
            self._rules.decimal,
            self._rules.missing,
            [(key, value) for key, value in said.items() if value],
        )


def _is_number(text: str) -> bool:
    try:
        float(text)
    except ValueError:
        return False
    return True


def told_apart(names: list[str]) -> list[str]:
    """Names of which no two are the same: "Weight", "Weight (2)"."""
    taken = set(names)
    seen: set[str] = set()
    apart = []
    for name in names:
        number, new = 1, name
        while new in seen or (number > 1 and new in taken):
            number += 1
            new = f"{name} ({number})"
        seen.add(new)
        apart.append(new)
    return apart


def _writable(values: Any) -> Any:
    """Values that are the sheet's own memory as a copy."""
    is_shared = isinstance(values, np.ndarray) and not values.flags.writeable
    return values.copy() if is_shared else values


def _span(key: Any, count: int) -> tuple[int, int, Any]:
    """The first and the end of what a key takes, and the key to that alone."""
    if not isinstance(key, slice):
        at = int(key) + (count if key < 0 else 0)
        if not 0 <= at < count:
            raise IndexError(f"index {key} is not within {count}")
        return at, at + 1, 0
    taken = range(*key.indices(count))
    if len(taken) == 0:
        return 0, 0, slice(None)
    low, high = min(taken[0], taken[-1]), max(taken[0], taken[-1])
    return low, high + 1, slice(None, None, taken.step)


def _short(value: Any) -> str:
    longest = 40
    text = f"{value:.10g}" if isinstance(value, float) else str(value)
    return text if len(text) <= longest else text[: longest - 1] + "\u2026"
