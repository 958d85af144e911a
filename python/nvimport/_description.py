"""What a file says of itself."""

from __future__ import annotations

from collections.abc import Iterator, Mapping
from typing import NamedTuple

Told = tuple[list[tuple[int, str, str, str]], list[tuple[str, str]], int]


class Statement(NamedTuple):
    """One thing that a file says."""

    row: int  # of the sheet that it is about, from 1; 0 for the whole file
    label: str  # the file's own
    key: str  # the normalised one; empty where there is none
    value: str


class AxisName(NamedTuple):
    """What an axis shows, and in which unit; empty where the file does not say."""

    label: str
    unit: str


class Description(Mapping[str, str]):
    """What is said of the whole file, by normalised key or else by the file's own label.

    Of several statements with one key the first counts; `statements` has them all, those about rows
    included. `x`, `y` and `z` are the names of the axes, and `cut` is how many statements were too many
    or too long.

    >>> told = nvimport.scan(nvimport.samples("oils.jdx")).description
    >>> told.x.unit, told["title"]
    ('NANOMETERS', 'Two oils')
    """

    def __init__(self, told: Told) -> None:
        statements, axes, self.cut = told
        self.statements = [Statement(*one) for one in statements]
        self.x, self.y, self.z = (AxisName(*axis) for axis in axes)
        self._of_file = self.of_row(0)

    def of_row(self, row: int) -> dict[str, str]:
        """The same of one row of the sheet, from 1."""
        said: dict[str, str] = {}
        for one in self.statements:
            if one.row == row:
                said.setdefault(one.key or one.label, one.value)
        return said

    def rows(self) -> dict[int, dict[str, str]]:
        """The same of each row that something is said about."""
        found: dict[int, dict[str, str]] = {}
        for one in self.statements:
            if one.row > 0:
                found.setdefault(one.row, {}).setdefault(one.key or one.label, one.value)
        return found

    def __getitem__(self, key: str) -> str:
        return self._of_file[key]

    def __iter__(self) -> Iterator[str]:
        return iter(self._of_file)

    def __len__(self) -> int:
        return len(self._of_file)

    def __repr__(self) -> str:
        return repr(self._of_file)
