"""The calls: formats, detect, info, read, write."""

from __future__ import annotations

import contextlib
import dataclasses
import io
import os
import pathlib
import shutil
import tempfile
import warnings
from collections.abc import Iterator, Mapping, Sequence
from typing import IO, Any, NamedTuple, NoReturn, Union

import numpy as np

from nvimport import _nvimport
from nvimport._errors import ArgumentError, Cancelled, ChoiceNeeded, Error
from nvimport._sheet import Choice, Sheet, Spectra

Source = Union[str, "os.PathLike[str]", bytes, bytearray, memoryview, IO[bytes], IO[str]]
Items = Union[int, str, Sequence[Union[int, str]]]

# What makes a choice, by the name that the choice has in the library.
_ARGUMENTS = {
    "worksheets": "sheet",
    "matrices": "sheet",
    "variables": "sheet",
    "files": "options['files']",
    "reference series": "options['reference']",
}
_UNNAMED = "data.txt"


@dataclasses.dataclass(frozen=True)
class Format:
    """A format that the library knows."""

    index: int
    name: str
    extensions: list[str]
    reads: bool
    writes: bool
    several: bool  # files can be one sheet
    library: str | None  # the plug-in that serves it, None for a built-in one


class Detection(NamedTuple):
    """What the formats say of a file."""

    format: str | None  # the one that read() takes
    candidates: list[str]  # otherwise, to choose from
    reason: str
    looks_like: str | None  # a kind of file that no format reads
    answers: dict[str, str]  # "certain", "possible" or "no", by format


class Info(NamedTuple):
    """A sheet before its cells are read."""

    path: str
    format: str
    shape: tuple[int, int]
    choices: list[Choice]
    options: list[str]  # the pairs that read(options={...}) takes for this format


def formats() -> list[Format]:
    """The formats that can be read or written.

    >>> [f.name for f in nvimport.formats() if f.writes]
    ['DIF File(OEM)', 'Matlab File', 'Text File']
    """
    return [
        Format(f.index, f.name, f.extensions, f.reads, f.writes, f.several, f.library or None)
        for f in _nvimport.list_formats()
    ]


def detect(path: Source, *, name: str | None = None, kept_rules: bool | None = None) -> Detection:
    """What format a file has.

    >>> nvimport.detect("barley.spc").format
    'GalacticSPC File'
    """
    with _on_disk([path], name) as (paths, shown):
        found = _nvimport.detect_sheet(paths[0], kept_rules)
        _check(found.refusal, shown)
    return Detection(
        found.format or None,
        found.candidates,
        found.reason,
        found.looks_like or None,
        dict(found.answers),
    )


def info(
    path_or_paths: Source | Sequence[Source],
    *,
    format: str | int | None = None,
    name: str | None = None,
    **choices: Any,
) -> Info:
    """How large a sheet is and what can be chosen, without reading its cells.

    The choices are those of read().

    >>> found = nvimport.info("ovens.xls")
    >>> found.shape
    (9, 5)
    >>> found.choices[0].argument, found.choices[0].entries
    ('sheet', ['Runs (9 x 5)', 'Settings (3 x 2)'])
    """
    with _on_disk(path_or_paths, name) as (paths, shown):
        request = make_request(paths, shown, format, **choices)
        found = _nvimport.read_sheet(request, False)
        _check(found.refusal, shown)
    made = _choices(found)
    return Info(shown, found.format, (found.rows, found.columns), made, found.pairs)


def read(
    path_or_paths: Source | Sequence[Source],
    *,
    format: str | int | None = None,
    sheet: Items | None = None,
    blocks: Items | None = None,
    range: str | tuple[int, int] | None = None,
    delimiter: str | None = None,
    options: bytes | str | Mapping[str, Any] | None = None,
    header: bool | None = None,
    index: int | bool | None = None,
    merge: str | None = None,
    ignore_consecutive: bool = False,
    password: str | None = None,
    encoding: str | None = None,
    decimal: str = ".",
    name: str | None = None,
    kept_rules: bool | None = None,
) -> Sheet:
    """Reads a file, or several that become one sheet.

    path_or_paths: a path, the bytes of a file, or an open file, which is read to its end; or a list of
        such for formats that take several.
    format: its name, a beginning of that, an extension, or its index; by default it is detected.
    sheet: of a workbook, by number from 1 or by name; several as a list or as "1,3-5" or "all".
    merge: of several worksheets, "side" by side or one "below" the other.
    blocks: of a file of blocks, in the same way.
    range: the first and the last point, from 1; a last one of 0 is the end.
    delimiter: what separates the fields of a text, or tab, comma, semicolon, bar, blank.
    ignore_consecutive: a run of delimiters is one.
    password: of an encrypted workbook; no option of the import keeps it.
    options: the options of an earlier import (Sheet.options), or pairs for this format.
    header, index: as for Sheet.to_pandas.
    encoding: of texts; by default those that are valid UTF-8 are, others are Windows-1252.
    decimal: the decimal mark of texts that are to be numbers.
    name: of bytes or of an open file; its extension counts when the format is detected.
    kept_rules: reads as years ago, without the cells that were left out then and with numbers of 32 bits;
        by default as the options say, else whole unless NVIMPORT_RULES is "kept".

    What is left open is chosen as a user most likely would, and noted in Sheet.notes. Where that is not
    safe, ChoiceNeeded is raised. Whatever else stops the import is an Error.

    >>> sheet = nvimport.read("ovens.xls")
    >>> sheet
    <nvimport.Sheet of 9 x 5 cells: ovens.xls, Excel File>
    >>> sheet.notes
    ['Taken of 2 worksheets: Runs (9 x 5); sheet= decides otherwise.']
    """
    if decimal not in (".", ","):
        raise ArgumentError('The decimal mark is "." or ",".')
    with _on_disk(path_or_paths, name) as (paths, shown):
        request = make_request(
            paths,
            shown,
            format,
            sheet=sheet,
            blocks=blocks,
            range=range,
            delimiter=delimiter,
            options=options,
            merge=merge,
            ignore_consecutive=ignore_consecutive,
            kept_rules=kept_rules,
            password=password,
        )
        found = _nvimport.read_sheet(request, True)
        _check(found.refusal, shown)
    choices = _choices(found)
    notes = [_note(choice) for choice in found.choices if choice.source == "guessed"]
    made = {choice.argument for choice in choices}
    given = {"sheet": sheet, "blocks": blocks, "range": range}
    notes += [
        f"{argument}= was not needed, there was no such choice."
        for argument, value in given.items()
        if value is not None and argument not in made
    ]
    return Sheet(
        found,
        shown,
        choices,
        notes + found.notes,
        header=header,
        index=index,
        encoding=encoding,
        decimal=decimal,
    )


def write(
    path: str | os.PathLike[str],
    data: Any,
    *,
    format: str | None = None,
    overwrite: bool = True,
    options: Mapping[str, Any] | None = None,
) -> None:
    """Writes a sheet, an array, a data frame or spectra.

    The extension of the path decides the format (.csv, .tsv, .jsonl, .json, .xlsx, .arrow, .arrows,
    .txt, .dif, .mat), or `format` does; `options` are those of formats that take such when they
    write, {"compress": False} of MATLAB's. NaN and None are missing cells; numbers are written with the digits
    that read back to the same, whole ones of any size. A data frame's column names become the first row, and its index the first column
    unless it only counts. The file appears when it is whole; of cells that may not read back a
    warning tells.

    >>> nvimport.write("wheat.csv", nvimport.read("wheat.txt"))
    >>> nvimport.read("wheat.csv").shape
    (13, 12)
    """
    cells = data._data if isinstance(data, Sheet) else _cells_of(data)
    shown = os.fspath(path)
    refusal, notes = _nvimport.write_cells(
        cells, os.fsencode(shown), format or "", overwrite, _pairs(options or {})
    )
    _check(refusal, os.fsdecode(shown))
    for note in notes:
        warnings.warn(note, stacklevel=2)


@contextlib.contextmanager
def _on_disk(sources: Any, name: str | None) -> Iterator[tuple[list[bytes], str]]:
    """The paths of what is to be read, and what it is called."""
    several = isinstance(sources, Sequence) and not isinstance(
        sources, (str, bytes, bytearray, memoryview)
    )
    if not several:
        sources = [sources]
    if not sources:
        raise ArgumentError("There is no file to read.")
    with contextlib.ExitStack() as stack:
        placed = [_place(source, name, stack) for source in sources]
        shown = [path if source_name is None else source_name for path, source_name in placed]
        yield [os.fsencode(path) for path, _ in placed], shown[0]


def _place(source: Any, name: str | None, stack: contextlib.ExitStack) -> tuple[str, str | None]:
    """A path to read, and the name of what has none of its own."""
    if isinstance(source, str) or hasattr(source, "__fspath__"):
        return os.fsdecode(os.fspath(source)), None
    if isinstance(source, (bytearray, memoryview)):
        source = bytes(source)
    if isinstance(source, bytes):
        name = name or _UNNAMED
        source = io.BytesIO(source)
    elif not hasattr(source, "read"):
        raise TypeError(f"a path, bytes or an open file, not {type(source).__name__}")
    own = getattr(source, "name", None)
    name = name or (os.path.basename(own) if isinstance(own, str) else _UNNAMED)
    if name in ("", ".", "..") or "/" in name or "\0" in name:
        raise ArgumentError(f'"{name}" is no plain file name.')
    folder = stack.enter_context(tempfile.TemporaryDirectory(prefix="nvimport-"))
    path = pathlib.Path(folder, name)
    with path.open("wb") as target:
        piece = source.read(1 << 20)
        if isinstance(piece, str):
            target.write((piece + source.read()).encode())
        else:
            target.write(piece)
            shutil.copyfileobj(source, target)
    return str(path), name


def make_request(
    paths: list[bytes],
    name: str,
    format: str | int | None,
    *,
    sheet: Items | None = None,
    blocks: Items | None = None,
    range: Any = None,
    delimiter: str | None = None,
    options: bytes | str | Mapping[str, Any] | None = None,
    merge: str | None = None,
    ignore_consecutive: bool = False,
    kept_rules: bool | None = None,
    password: str | None = None,
) -> _nvimport.Request:
    request = _nvimport.Request()
    request.paths = paths
    request.name = name
    request.format = "" if format is None else str(format)
    request.sheet = _items(sheet)
    request.blocks = _items(blocks)
    if range is not None:
        request.range = range if isinstance(range, str) else ",".join(str(int(n)) for n in range)
    request.delimiter = delimiter
    request.ignore_consecutive = ignore_consecutive
    request.merge = merge or ""
    request.kept_rules = kept_rules
    request.password = password
    if isinstance(options, Mapping):
        request.pairs = _pairs(options)
    elif isinstance(options, str):
        request.pairs = options
    elif options is not None:
        request.options = bytes(options)
    return request


def _pairs(options: Mapping[str, Any]) -> str:
    return ";".join(f"{key}={_value(value)}" for key, value in options.items())


def _items(items: Items | None) -> str | None:
    if items is None or isinstance(items, str):
        return items
    if isinstance(items, Sequence):
        return ",".join(str(item) for item in items)
    return str(items)


def _value(value: Any) -> str:
    if isinstance(value, bool):
        return str(int(value))
    return ",".join(str(v) for v in value) if isinstance(value, (list, tuple)) else str(value)


def _choices(found: _nvimport.Import) -> list[Choice]:
    return [
        Choice(_argument(c), c.answer, c.source, c.entries) for c in found.choices
    ]


def _argument(choice: _nvimport.Choice) -> str:
    return _ARGUMENTS.get(choice.name, choice.name)


def _note(choice: _nvimport.Choice) -> str:
    decides = f"{_argument(choice)}= decides otherwise."
    if choice.name == "delimiter":
        return f"The delimiter was taken to be {choice.answer}; {decides}"
    if choice.name == "range":
        return f"All of the {choice.entries[0]} were taken; {decides}"
    return f"Taken of {len(choice.entries)} {choice.name}: {choice.answer}; {decides}"


def _check(refusal: _nvimport.Refusal | None, path: str) -> None:
    if refusal is not None:
        refuse(refusal, path)


def refuse(refusal: _nvimport.Refusal, path: str) -> NoReturn:
    kind = _nvimport.Kind
    where: dict[str, Any] = {
        "code": refusal.code,
        "path": path,
        "format": refusal.format or None,
        "detail": refusal.detail,
    }
    if refusal.kind == kind.CHOICE:
        argument = _ARGUMENTS.get(refusal.question, refusal.question)
        raise ChoiceNeeded(refusal.text, argument, refusal.candidates, **where)
    if refusal.kind == kind.ARGUMENT:
        raise ArgumentError(refusal.text, **where)
    raise (Cancelled if refusal.kind == kind.CANCELLED else Error)(refusal.text, **where)


def _cells_of(data: Any) -> _nvimport.Cells:
    """What is to be written, as cells."""
    if isinstance(data, Spectra):
        import pandas as pd

        data = pd.DataFrame(data.matrix, index=data.names, columns=data.x)
    if hasattr(data, "columns") and hasattr(data, "iloc"):
        return _cells_of_frame(data)
    values = np.asarray(data)
    values = values.reshape(len(values), -1) if values.ndim else values.reshape(1, 1)
    cells = _nvimport.Cells(values.shape[1], len(values))
    if values.dtype.kind in "fb":
        cells.set_numbers(1, 1, values)
    else:
        for column in range(values.shape[1]):
            _set_column(cells, column + 1, 1, values[:, column])
    return cells


def _cells_of_frame(frame: Any) -> _nvimport.Cells:
    import pandas as pd

    if not isinstance(frame.index, pd.RangeIndex) or frame.index.name is not None:
        named = frame.index.to_frame()
        names = ["" if name is None else name for name in frame.index.names]
        columns = [*names, *frame.columns]
        parts = [named.iloc[:, i] for i in range(named.shape[1])]
    else:
        columns, parts = list(frame.columns), []
    parts += [frame.iloc[:, i] for i in range(frame.shape[1])]
    cells = _nvimport.Cells(len(columns), len(frame) + 1)
    for n, (name, part) in enumerate(zip(columns, parts), start=1):
        cells.set_texts(n, 1, [None if name == "" else str(name)])
        _set_column(cells, n, 2, part.to_numpy())
    return cells


def _set_column(cells: _nvimport.Cells, column: int, row: int, values: Any) -> None:
    kind = values.dtype.kind
    exact = 2**53  # the whole numbers up to here are doubles
    if kind in "fb" or (kind in "iu" and (not values.size or np.abs(values).max() <= exact)):
        cells.set_numbers(column, row, values.reshape(-1, 1))
    elif kind == "O":
        texts = [None if v is None or v != v or _is_number(v) else str(v) for v in values]
        numbers = [
            _double(v) if v is not None and v == v and _is_number(v) else np.nan for v in values
        ]
        cells.set_numbers(column, row, np.array(numbers, dtype=np.float64).reshape(-1, 1))
        cells.set_texts(column, row, texts)
    else:
        missing = np.isnat(values) if kind in "mM" else np.zeros(len(values), dtype=bool)
        if kind == "M":
            values = np.char.replace(np.datetime_as_string(values, unit="auto"), "T", " ")
        texts = values.astype(str)
        cells.set_texts(column, row, [None if m else str(t) for t, m in zip(texts, missing)])


def _double(value: Any) -> float:
    """The double that is written as the number is: a 32-bit 0.1 as 0.1."""
    return float(str(value)) if isinstance(value, np.float32) else float(value)


def _is_number(value: Any) -> bool:
    if isinstance(value, (int, np.integer)) and not isinstance(value, bool):
        return abs(int(value)) <= 2**53
    return isinstance(value, (bool, float, np.floating, np.bool_))
