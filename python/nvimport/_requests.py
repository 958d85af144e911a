"""Arguments as the library takes them, and its refusals as exceptions."""

from __future__ import annotations

import numbers
import operator
import os
from collections.abc import Iterable, Mapping, Sequence
from typing import Any, NoReturn, Union, cast

from nvimport import _nvimport
from nvimport._errors import ArgumentError, Cancelled, ChoiceNeeded, Error

Items = Union[int, str, Sequence[Union[int, str]]]
Columns = Union[int, float, str, Iterable[Union[int, float, str]]]

# What makes a choice, by the name that the choice has in the library.
_ARGUMENTS = {
    "worksheets": "sheet",
    "matrices": "sheet",
    "variables": "sheet",
    "tables": "sheet",
    "files": "files",
    "reference series": "options['reference']",
}


def argument_of(choice: str) -> str:
    return _ARGUMENTS.get(choice, choice)


def make_request(
    paths: list[bytes],
    name: str,
    format: str | int | None = None,
    *,
    sheet: Items | None = None,
    blocks: Items | None = None,
    files: Items | None = None,
    range: Any = None,
    delimiter: str | None = None,
    options: bytes | str | Mapping[str, Any] | None = None,
    merge: str | None = None,
    ignore_consecutive: bool = False,
    kept_rules: bool | None = None,
    password: str | None = None,
    allow_query: bool = False,
    query: str | None = None,
    params: Sequence[Any] = (),
    columns: Columns | None = None,
    nrows: int | None = None,
    skiprows: int = 0,
) -> _nvimport.Request:
    request = _nvimport.Request()
    request.paths = paths
    request.name = os.fsencode(name)
    request.format = "" if format is None else str(format)
    request.sheet = _items(sheet)
    request.blocks = _items(blocks)
    if range is not None:
        request.range = range if isinstance(range, str) else _range(range)
    request.delimiter = delimiter
    request.ignore_consecutive = ignore_consecutive
    request.merge = merge or ""
    request.kept_rules = kept_rules
    request.password = password
    request.allow_query = allow_query
    request.query = query
    request.parameters = [_parameter(value) for value in params]
    request.columns = _columns(columns)
    request.skipped_rows = _count("skiprows", skiprows, 0)
    request.most_rows = 0 if nrows is None else _count("nrows", nrows, 1)
    if files is not None:
        if isinstance(options, (bytes, bytearray, memoryview)):
            raise ArgumentError("Stored options say which files are taken; files= can't.")
        given = options if isinstance(options, str) else option_pairs(options or {})
        options = ";".join(part for part in (given, f"files={_items(files)}") if part)
    if isinstance(options, Mapping):
        request.pairs = option_pairs(options)
    elif isinstance(options, str):
        request.pairs = options
    elif options is not None:
        request.options = bytes(options)
    return request


def _parameter(value: Any) -> str:
    """What a question mark of a query stands for, texts behind an apostrophe."""
    if value is None:
        return "NULL"
    if isinstance(value, numbers.Integral):
        return str(int(value))
    if isinstance(value, numbers.Real):
        return repr(float(value))
    return f"'{value}"


def option_pairs(options: Mapping[str, Any]) -> str:
    return ";".join(f"{key}={_value(value)}" for key, value in options.items())


def _value(value: Any) -> str:
    if isinstance(value, bool):
        return str(int(value))
    return ",".join(str(v) for v in value) if isinstance(value, (list, tuple)) else str(value)


def _items(items: Items | None) -> str | None:
    if items is None or isinstance(items, str):
        return items
    if isinstance(items, Sequence):
        return ",".join(str(item) for item in items)
    return str(items)


def _columns(columns: Columns | None) -> str | None:
    """As a list of numbers and names, what is in quotes being a name whatever it looks like."""
    if columns is None or isinstance(columns, str):
        return columns
    wanted = [columns] if isinstance(columns, numbers.Real) else list(cast(Iterable[Any], columns))
    if not wanted:
        raise ArgumentError("columns= names no column.")

    def item(column: Any) -> str:
        if isinstance(column, numbers.Integral):
            return str(int(column))
        name = f"{float(column):.15g}" if isinstance(column, numbers.Real) else str(column)
        return '"' + name.replace('"', '""') + '"'

    return ",".join(item(column) for column in wanted)


def _range(ends: Any) -> str:
    try:
        first, last = (operator.index(end) for end in ends)
    except (TypeError, ValueError):
        raise ArgumentError("range= is the first point and the last one.") from None
    return f"{first},{last}"


def _count(argument: str, count: Any, least: int) -> int:
    number = operator.index(count) if hasattr(count, "__index__") else least - 1
    if number < least:
        raise ArgumentError(f"{argument}= is a whole number from {least}.")
    most = 2**31 - 1
    return min(number, most)


def check(refusal: _nvimport.Refusal | None, path: str) -> None:
    if refusal is not None:
        refuse(refusal, path)


def refuse(refusal: _nvimport.Refusal, path: str) -> NoReturn:
    kind = _nvimport.Kind
    where: dict[str, Any] = {
        "status": refusal.code,
        "path": path,
        "format": refusal.format or None,
        "detail": refusal.detail,
        "advice": refusal.advice,
    }
    if refusal.kind == kind.CHOICE:
        argument = argument_of(refusal.question)
        raise ChoiceNeeded(refusal.text, argument, refusal.candidates, **where)
    if refusal.kind == kind.ARGUMENT:
        raise ArgumentError(refusal.text, **where)
    raise (Cancelled if refusal.kind == kind.CANCELLED else Error)(refusal.text, **where)
