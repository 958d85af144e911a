"""What is written, as cells."""

from __future__ import annotations

import os
import warnings
from collections.abc import Mapping
from typing import Any

import numpy as np

from nvimport import _nvimport
from nvimport._errors import ArgumentError
from nvimport._requests import check, option_pairs
from nvimport._sheet import Sheet, Spectra
from nvimport._sources import Path, plain_path, shown


def write(
    path: Path,
    data: Any,
    *,
    format: str | None = None,
    overwrite: bool = False,
    options: Mapping[str, Any] | None = None,
) -> None:
    """Writes a sheet, an array, a data frame or what makes one, spectra, or what xarray has.

    The extension of the path decides the format (.csv, .tsv, .jsonl, .json, .xlsx, .arrow, .arrows,
    .txt, .dif, .mat), or `format` does; `options` are those of formats that take such when they
    write, {"compress": False} of MATLAB's. NaN and None are missing cells; numbers are written with the
    digits that read back to the same, whole ones of any size, and times as ISO 8601 has them. A data
    frame's column names become the first row, and its index the first column unless it only counts.

    A file that is there stays as it is, with an Error, unless `overwrite` replaces it. The file appears
    when it is whole; of cells that may not read back a warning tells.

    >>> import os, tempfile
    >>> path = os.path.join(tempfile.mkdtemp(), "wheat.csv")
    >>> nvimport.write(path, nvimport.read(nvimport.samples("wheat.txt")))
    >>> nvimport.read(path).shape
    (13, 12)
    """
    plain = plain_path(path)
    cells = data._data if isinstance(data, Sheet) else _cells_of(data)
    refusal, notes = _nvimport.write_cells(
        cells, plain, format or "", overwrite, option_pairs(options or {})
    )
    check(refusal, shown(plain))
    for note in notes:
        warnings.warn(note, stacklevel=2)


def _cells_of(data: Any) -> _nvimport.Cells:
    """What is to be written, as cells."""
    if data is None or isinstance(data, (str, bytes)):
        raise TypeError(f"what makes a table, not {type(data).__name__}")
    if isinstance(data, Mapping) and any(isinstance(one, Sheet) for one in data.values()):
        raise ArgumentError("A file takes one sheet of a dict.")
    if isinstance(data, (Spectra, Mapping)) and not hasattr(data, "data_vars"):
        import pandas as pd

        if isinstance(data, Spectra):
            data = pd.DataFrame(data.matrix, index=data.names, columns=data.x)
        else:
            data = pd.DataFrame(data)
    if hasattr(data, "coords") and hasattr(data, "dims"):
        data = _frame_of_xarray(data)
    if hasattr(data, "to_frame") and hasattr(data, "iloc"):
        data = data.to_frame()
    if hasattr(data, "columns") and hasattr(data, "iloc"):
        return _cells_of_frame(data)
    if isinstance(data, np.ma.MaskedArray):
        masked: Any = data
        gone: Any = np.nan if masked.dtype.kind == "f" else None
        data = np.where(masked.mask, gone, masked.data)
    values = np.asarray(data)
    if values.dtype.names is not None:
        import pandas as pd

        return _cells_of_frame(pd.DataFrame.from_records(values))
    if values.ndim > 2:
        raise ArgumentError(f"A sheet has two dimensions, not {values.ndim}.")
    if values.ndim < 2:
        values = values.reshape(-1, 1)
    cells = _nvimport.Cells(values.shape[1], len(values))
    if values.dtype.kind in "fb":
        cells.set_numbers(1, 1, values)
    else:
        for column in range(values.shape[1]):
            _set_column(cells, column + 1, 1, values[:, column])
    return cells


def _frame_of_xarray(data: Any) -> Any:
    """A row for each index of an array's first dimension, or for each of a set's dimensions."""
    if not hasattr(data, "to_pandas") or hasattr(data, "data_vars"):
        return data.to_dataframe()
    if data.ndim > 2:
        raise ArgumentError(f"A sheet has two dimensions, not {data.ndim}.")
    frame = data.to_pandas()
    return frame.rename_axis(columns=None) if data.ndim == 2 else frame


def _cells_of_frame(frame: Any) -> _nvimport.Cells:
    import pandas as pd

    names = [_label(name) for name in frame.columns]
    parts = [frame.iloc[:, i] for i in range(frame.shape[1])]
    index = frame.index
    if not isinstance(index, pd.RangeIndex) or index.name is not None:
        names = [*(_label(name) for name in index.names), *names]
        levels = range(index.nlevels)
        parts = [*(index.get_level_values(i).to_series() for i in levels), *parts]
    cells = _nvimport.Cells(len(names), len(frame) + 1)
    for n, (name, part) in enumerate(zip(names, parts), start=1):
        cells.set_texts(n, 1, [name or None])
        _set_column(cells, n, 2, _values_of(part))
    return cells


def _label(name: Any) -> str:
    if name is None:
        return ""
    if isinstance(name, tuple):
        return " ".join(_label(part) for part in name)
    # A float keeps the digits of its own width, and has no point where it needs none.
    if isinstance(name, (float, np.floating)):
        return np.format_float_positional(name, trim="-")
    return str(name)


def _values_of(part: Any) -> Any:
    """The values of a series, those of pandas' own types as objects where some are missing."""
    if isinstance(part.dtype, np.dtype):
        return part.to_numpy()
    if part.dtype.name in ("Float32", "Float64"):
        return part.to_numpy(dtype=part.dtype.numpy_dtype, na_value=np.nan)
    if getattr(part.dtype, "kind", "O") in "iu" and not part.isna().any():
        return part.to_numpy(dtype=part.dtype.numpy_dtype)
    return part.to_numpy(dtype=object, na_value=None)


def _set_column(cells: _nvimport.Cells, column: int, row: int, values: Any) -> None:
    kind = values.dtype.kind
    if kind in "fb":
        cells.set_numbers(column, row, values.reshape(-1, 1))
    elif kind in "iu" and _are_doubles(values):
        cells.set_numbers(column, row, values.reshape(-1, 1))
    elif kind == "O":
        missing = [v is None or _is_missing(v) for v in values]
        is_number = [not m and _is_number(v) for v, m in zip(values, missing)]
        numbers = [_double(v) if n else np.nan for v, n in zip(values, is_number)]
        texts = [None if m or n else _text(v) for v, m, n in zip(values, missing, is_number)]
        cells.set_numbers(column, row, np.array(numbers, dtype=np.float64).reshape(-1, 1))
        cells.set_texts(column, row, texts)
    else:
        gone = np.isnat(values) if kind in "mM" else np.zeros(len(values), dtype=bool)
        if kind == "M":
            values = np.char.replace(np.datetime_as_string(values, unit=_unit(values)), "T", " ")
        cells.set_texts(
            column, row, [None if m else str(t) for t, m in zip(values.astype(str), gone)]
        )


def _unit(times: Any) -> Any:
    """Days where all times are midnight, else seconds or what is finer."""
    known = times[~np.isnat(times)]
    for unit in ("D", "s", "ms", "us"):
        if (known.astype(f"M8[{unit}]") == known).all():
            return unit
    return "ns"


def _text(value: Any) -> str:
    if hasattr(value, "isoformat"):
        return str(value).replace("T", " ")
    return value.decode("utf-8", "replace") if isinstance(value, bytes) else str(value)


def _are_doubles(values: Any) -> bool:
    exact = 2**53  # the whole numbers up to here are doubles
    return bool(values.size == 0 or (values.max() <= exact and values.min() >= -exact))


def _is_missing(value: Any) -> bool:
    """None, NaN, NaT, NA: what is not the same as itself, or does not say."""
    try:
        return bool(value != value)
    except (TypeError, ValueError):
        return True


def _double(value: Any) -> float:
    """The double that is written as the number is: a 32-bit 0.1 as 0.1."""
    return float(str(value)) if isinstance(value, np.float32) else float(value)


def _is_number(value: Any) -> bool:
    if isinstance(value, (int, np.integer)) and not isinstance(value, bool):
        return abs(int(value)) <= 2**53
    return isinstance(value, (bool, float, np.floating, np.bool_))
