"""The calls that read: formats, detect, scan, read."""

from __future__ import annotations

import dataclasses
import enum
import numbers
import os
from collections.abc import Callable, Iterable, Mapping, Sequence
from typing import Any, NamedTuple, Union, cast, overload

from nvimport import _nvimport
from nvimport._description import Description
from nvimport._errors import ArgumentError, ChoiceNeeded
from nvimport._requests import Columns, Items, argument_of, check, make_request
from nvimport._sheet import Choice, Rules, Sheet, encoding_of, make_rules, told_apart
from nvimport._sources import Data, Source, on_disk


class Usual(enum.Enum):
    """What is left open, and answered as a user most likely would."""

    USUAL = "usual"

    def __repr__(self) -> str:
        return "<usual>"


USUAL = Usual.USUAL
OnQuestion = Union[str, Callable[[Choice], Any]]
Missing = Union[str, float, Iterable[Union[str, float]], None]


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


class Scan(NamedTuple):
    """A sheet before its cells are read."""

    path: str
    format: str
    shape: tuple[int, int]
    sheet_names: list[str]  # of all that the file has, where it has several
    choices: list[Choice]  # the questions, and how they would be answered
    options: list[str]  # the pairs that read(options={...}) takes for this format
    description: Description


def formats() -> list[Format]:
    """The formats that can be read or written.

    >>> [f.name for f in nvimport.formats() if f.writes]
    ['DIF File(OEM)', 'Matlab File', 'Text File']
    """
    return [
        Format(f.index, f.name, f.extensions, f.reads, f.writes, f.several, f.library or None)
        for f in _nvimport.list_formats()
    ]


def detect(
    path: Source | None = None,
    *,
    data: Data | None = None,
    name: str | None = None,
    kept_rules: bool | None = None,
) -> Detection:
    """What format a file has.

    >>> nvimport.detect(nvimport.samples("barley.spc")).format
    'GalacticSPC File'
    """
    with on_disk(path, data, name) as (paths, shown):
        found = _nvimport.detect_sheet(paths[0], kept_rules)
        check(found.refusal, shown)
    return Detection(
        found.format or None,
        found.candidates,
        found.reason,
        found.looks_like or None,
        dict(found.answers),
    )


def scan(
    path_or_paths: Source | Sequence[Source] | None = None,
    *,
    data: Data | None = None,
    format: str | int | None = None,
    name: str | None = None,
    encoding: str | None = None,
    sheet: Items | Usual = USUAL,
    **choices: Any,
) -> Scan:
    """What a file is, without reading its cells: format, size, sheets, questions, description.

    The choices are those of read(); the size is that of the sheet which they choose.

    >>> found = nvimport.scan(nvimport.samples("ovens.xls"))
    >>> found.shape, found.sheet_names
    ((9, 5), ['Runs', 'Settings'])
    >>> found.choices[0].argument, found.choices[0].entries
    ('sheet', ['Runs (9 x 5)', 'Settings (3 x 2)'])
    """
    with on_disk(path_or_paths, data, name) as (paths, shown):
        found = _measure(paths, shown, {"format": format, "sheet": sheet, **choices})
    made = _choices(found)
    names: list[str] = []
    for choice in found.choices:
        if not names and argument_of(choice.name) in ("sheet", "blocks"):
            names = told_apart(choice.names)
    described = Description(found.described(encoding_of(encoding)))
    shape = (found.rows, found.columns)
    return Scan(shown, found.format, shape, names, made, found.pairs, described)


@overload
def read(
    path_or_paths: Source | Sequence[Source] | None = None,
    *,
    sheet: int | str | Usual = ...,
    data: Data | None = ...,
    format: str | int | None = ...,
    blocks: Items | None = ...,
    files: Items | None = ...,
    range: str | tuple[int, int] | None = ...,
    columns: Columns | None = ...,
    nrows: int | None = ...,
    skiprows: int = ...,
    delimiter: str | None = ...,
    options: bytes | str | Mapping[str, Any] | None = ...,
    header: bool | None = ...,
    index: int | bool | None = ...,
    dtype: Any = ...,
    na_values: Missing = ...,
    merge: str | None = ...,
    ignore_consecutive: bool = ...,
    password: str | None = ...,
    allow_query: bool = ...,
    query: str | None = ...,
    params: Sequence[Any] = ...,
    encoding: str | None = ...,
    decimal: str = ...,
    name: str | None = ...,
    kept_rules: bool | None = ...,
    on_question: OnQuestion = ...,
) -> Sheet: ...


@overload
def read(
    path_or_paths: Source | Sequence[Source] | None = None,
    *,
    sheet: list[Any] | tuple[Any, ...],
    merge: str,
    **others: Any,
) -> Sheet: ...


@overload
def read(
    path_or_paths: Source | Sequence[Source] | None = None,
    *,
    sheet: list[Any] | tuple[Any, ...] | None,
    merge: None = ...,
    **others: Any,
) -> dict[str, Sheet]: ...


def read(  # type: ignore[misc]
    path_or_paths: Source | Sequence[Source] | None = None,
    *,
    data: Data | None = None,
    format: str | int | None = None,
    sheet: Items | Usual | None = USUAL,
    blocks: Items | None = None,
    files: Items | None = None,
    range: str | tuple[int, int] | None = None,
    columns: Columns | None = None,
    nrows: int | None = None,
    skiprows: int = 0,
    delimiter: str | None = None,
    options: bytes | str | Mapping[str, Any] | None = None,
    header: bool | None = None,
    index: int | bool | None = None,
    dtype: Any = None,
    na_values: Missing = (),
    merge: str | None = None,
    ignore_consecutive: bool = False,
    password: str | None = None,
    allow_query: bool = False,
    query: str | None = None,
    params: Sequence[Any] = (),
    encoding: str | None = None,
    decimal: str = ".",
    name: str | None = None,
    kept_rules: bool | None = None,
    on_question: OnQuestion = "usual",
) -> Sheet | dict[str, Sheet]:
    """Reads a file, or several that become one sheet.

    path_or_paths: a path ("~" is a home), or an open file, which is read to its end; or a list of such
        for formats that take several.
    data: the bytes of a file, in the place of a path.
    format: its name, a beginning of that, an extension, or its index; by default it is detected.
    sheet: of a workbook, by number from 1 or by name. A list, or None for all, gives a dict of sheets by
        name, blocks of a file of such included; with `merge`, or as a text like "1,3-5", several become
        one sheet.
    merge: of several worksheets, "side" by side or one "below" the other.
    blocks, files: of a file of blocks, of a set of spectra, in the same way.
    range: the first and the last point, from 1; a last one of 0 is the end.
    columns: those wanted, by number from 1, by name or by x value: [1, "Moisture", 1100.0], "1,3-5".
    skiprows, nrows: how many rows are left out in front, and at most read then, names among them.
    delimiter: what separates the fields of a text, or tab, comma, semicolon, bar, blank.
    ignore_consecutive: a run of delimiters is one.
    password: of an encrypted workbook; no option of the import keeps it.
    allow_query: runs the query of a database that the file holds.
    query, params: what a database is asked that is named as "odbc:DSN=lab" in place of a path, and what
        the question marks of that stand for: numbers, texts, None for NULL. Without a query a table of
        it is read, sheet= says which.
    options: the options of an earlier import (Sheet.options), or pairs for this format.
    header, index: as for Sheet.to_pandas.
    dtype: of the columns of a data frame, one for all or a mapping by name; of arrays if it is one.
    na_values: texts that count as missing cells in data frames and Arrow tables, one or several.
    encoding: of texts; by default those that are valid UTF-8 are, others are Windows-1252.
    decimal: the decimal mark of texts that are to be numbers.
    name: of bytes or of an open file; its extension counts when the format is detected.
    kept_rules: reads as years ago, without the cells that were left out then and with numbers of 32 bits;
        by default as the options say, else whole unless NVIMPORT_RULES is "kept".
    on_question: what becomes of a question that no argument answers. "usual": what a user most likely
        would choose, noted in Sheet.notes. "error": ChoiceNeeded is raised. A function of the Choice
        returns the argument's value, or None for the usual answer.

    Where no answer is safe, ChoiceNeeded is raised anyway. Whatever else stops the import is an Error.

    >>> sheet = nvimport.read(nvimport.samples("ovens.xls"))
    >>> sheet.shape, sheet.notes
    ((9, 5), ['Taken of 2 worksheets: Runs (9 x 5); sheet= decides otherwise.'])
    >>> {name: one.shape for name, one in nvimport.read(nvimport.samples("ovens.xls"), sheet=None).items()}
    {'Runs': (9, 5), 'Settings': (3, 2)}
    >>> nvimport.read(data=b"a;b\\n1,5;2\\n", decimal=",").to_pandas()
         a  b
    0  1.5  2
    """
    if decimal not in (".", ","):
        raise ArgumentError('The decimal mark is "." or ",".')
    if on_question not in ("usual", "error") and not callable(on_question):
        raise ArgumentError('on_question= is "usual", "error" or a function.')
    rules = make_rules(header, index, encoding, decimal, na_values, dtype)
    choices: dict[str, Any] = {
        "format": format,
        "sheet": sheet,
        "blocks": blocks,
        "files": files,
        "range": range,
        "columns": columns,
        "nrows": nrows,
        "skiprows": skiprows,
        "delimiter": delimiter,
        "options": options,
        "merge": merge,
        "ignore_consecutive": ignore_consecutive,
        "password": password,
        "allow_query": allow_query,
        "query": query,
        "params": params,
        "kept_rules": kept_rules,
    }
    with on_disk(path_or_paths, data, name) as (paths, shown):
        is_each = sheet is None or (isinstance(sheet, (list, tuple)) and merge is None)
        if is_each:
            each = _each(paths, shown, choices)
        else:
            each = {"": choices}
        sheets = {}
        for key, one in each.items():
            if on_question != "usual":
                one = _answered(paths, shown, one, on_question)
            sheets[key] = _read(paths, shown, one, rules)
    return sheets if is_each else sheets[""]


def _request(paths: list[bytes], shown: str, choices: Mapping[str, Any]) -> _nvimport.Request:
    given = {key: value for key, value in choices.items() if value is not USUAL}
    return make_request(paths, shown, given.pop("format", None), **given)


def _measure(paths: list[bytes], shown: str, choices: Mapping[str, Any]) -> _nvimport.Import:
    found = _nvimport.read_sheet(_request(paths, shown, choices), False)
    check(found.refusal, shown)
    return found


def _read(paths: list[bytes], shown: str, given: dict[str, Any], rules: Rules) -> Sheet:
    found = _nvimport.read_sheet(_request(paths, shown, given), True)
    check(found.refusal, shown)
    choices = _choices(found)
    notes = [_note(choice) for choice in found.choices if choice.source == "guessed"]
    made = {choice.argument for choice in choices}
    notes += [
        f"{argument}= was not needed, there was no such choice."
        for argument in ("sheet", "blocks", "range")
        if given[argument] not in (None, USUAL) and argument not in made
    ]
    return Sheet(found, shown, choices, notes + found.notes, rules)


def _each(paths: list[bytes], shown: str, given: dict[str, Any]) -> dict[str, dict[str, Any]]:
    """The choices that read each of the sheets that are wanted, by name."""
    wanted = given["sheet"]
    found = _measure(paths, shown, {**given, "sheet": USUAL})
    for choice in found.choices:
        argument = argument_of(choice.name)
        if argument == "sheet" or (argument == "blocks" and given["blocks"] is None):
            break
    else:
        return {os.path.splitext(os.path.basename(shown))[0]: {**given, "sheet": USUAL}}
    # Blocks may have the same title.
    names = told_apart(choice.names)
    positions = []
    for item in range(1, len(choice.names) + 1) if wanted is None else wanted:
        if item in names:
            item = names.index(item) + 1
        number = int(item) if isinstance(item, numbers.Integral) else 0
        if not 1 <= number <= len(choice.names):
            text = f'"{item}" is not among the {choice.name}.'
            raise ChoiceNeeded(text, argument, choice.entries, path=shown, format=found.format)
        positions.append(number)
    return {names[n - 1]: {**given, "sheet": USUAL, argument: n} for n in positions}


def _answered(
    paths: list[bytes], shown: str, given: dict[str, Any], on_question: OnQuestion
) -> dict[str, Any]:
    """The choices with the answers to all questions that they left open."""
    asked: set[str] = set()
    while True:
        try:
            found = _measure(paths, shown, given)
            choices = [choice for choice in _choices(found) if choice.source == "guessed"]
            format: str | None = found.format
        except ChoiceNeeded as needed:
            if needed.argument in asked:
                raise
            choices = [Choice(needed.argument, "", "needed", needed.candidates)]
            format = needed.format
        choice = next((one for one in choices if one.argument not in asked), None)
        if choice is None:
            return given
        if on_question == "error":
            text = f"The {choice.argument} was not given."
            raise ChoiceNeeded(text, choice.argument, choice.entries, path=shown, format=format)
        asked.add(choice.argument)
        answer = cast(Callable[[Choice], Any], on_question)(choice)
        if answer is None:
            continue
        if choice.argument.startswith("options["):
            key = choice.argument.split("'")[1]
            given = {**given, "options": {**(given["options"] or {}), key: answer}}
        else:
            given = {**given, choice.argument: answer}


def _choices(found: _nvimport.Import) -> list[Choice]:
    return [Choice(argument_of(c.name), c.answer, c.source, c.entries) for c in found.choices]


def _note(choice: _nvimport.Choice) -> str:
    decides = f"{argument_of(choice.name)}= decides otherwise."
    if choice.name == "delimiter":
        return f"The delimiter was taken to be {choice.answer}; {decides}"
    if choice.name == "range":
        return f"All of the {choice.entries[0]} were taken; {decides}"
    return f"Taken of {len(choice.entries)} {choice.name}: {choice.answer}; {decides}"
