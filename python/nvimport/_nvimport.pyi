"""The library's calls and the sheets that they fill."""

import enum
from typing import Any, Optional, Union

import numpy as np
import numpy.typing as npt

version: str

class Cells:
    """Columns and rows count from 1; a last row of 0 is the end."""

    def __init__(self, columns: int, rows: int) -> None: ...
    @property
    def shape(self) -> tuple[int, int]: ...
    def objects(
        self, first_column: int, first_row: int, last_column: int, last_row: int, encoding: str
    ) -> npt.NDArray[np.object_]: ...
    def names(self, row: int, encoding: str) -> list[Optional[str]]: ...
    def begins_like(self, other: Cells) -> bool: ...
    def numbers(
        self,
        first_column: int,
        first_row: int,
        last_column: int,
        last_row: int,
        reads_texts: bool,
        decimal: str,
    ) -> npt.NDArray[np.floating[Any]]: ...
    def view(
        self, first_column: int, first_row: int, last_column: int
    ) -> Optional[npt.NDArray[np.floating[Any]]]: ...
    def doubles(
        self, first_column: int, first_row: int, last_column: int, decimal: str
    ) -> tuple[npt.NDArray[np.float64], npt.NDArray[np.bool_]]: ...
    def texts(self, first_row: int, last_column: int) -> npt.NDArray[np.bool_]: ...
    def words(self, first_row: int, last_column: int, decimal: str) -> npt.NDArray[np.bool_]: ...
    def axis(self, decimal: str) -> Optional[tuple[int, npt.NDArray[np.float64]]]: ...
    def typed(
        self,
        first_column: int,
        first_row: int,
        last_column: int,
        decimal: str,
        missing: frozenset[str],
    ) -> Typed: ...
    def arrow(
        self,
        first_row: int,
        names: list[str],
        encoding: str,
        decimal: str,
        missing: frozenset[str],
        metadata: list[tuple[str, str]],
    ) -> tuple[object, object, object]: ...
    def equals(self, other: Cells) -> bool: ...
    @property
    def has_large(self) -> bool: ...
    def set_numbers(self, column: int, row: int, numbers: npt.NDArray[Any]) -> None: ...
    def set_texts(self, column: int, row: int, texts: list[Optional[str]]) -> None: ...

class Typed:
    """Columns, each of one type: f and d for numbers, i whole, M times, t texts, x mixed ones."""

    types: str
    def __len__(self) -> int: ...
    def values(self, first: int, last: int) -> npt.NDArray[Any]: ...
    def texts(self, column: int, encoding: str, missing: object) -> npt.NDArray[np.object_]: ...
    def missing(self, column: int) -> Optional[npt.NDArray[np.bool_]]: ...

class Kind(enum.Enum):
    ERROR = ...
    ARGUMENT = ...
    CHOICE = ...
    CANCELLED = ...

class Refusal:
    kind: Kind
    code: int
    text: str
    detail: str
    advice: str
    format: str
    question: str
    candidates: list[str]

class Choice:
    name: str
    answer: str
    source: str
    entries: list[str]
    names: list[str]

class Import:
    refusal: Optional[Refusal]
    format: str
    kept_rules: bool
    rows: int
    columns: int
    options: bytes
    pairs: list[str]
    choices: list[Choice]
    notes: list[str]
    warnings: list[str]
    has_x_row: bool
    first_x_column: int
    x: npt.NDArray[np.float64]
    cells: Cells
    def described(
        self, encoding: str
    ) -> tuple[list[tuple[int, str, str, str]], list[tuple[str, str]], int]: ...

class Request:
    paths: list[bytes]
    name: Union[str, bytes]
    format: str
    pairs: str
    options: Optional[bytes]
    delimiter: Optional[str]
    ignore_consecutive: bool
    sheet: Optional[str]
    blocks: Optional[str]
    range: Optional[str]
    merge: str
    kept_rules: Optional[bool]
    password: Optional[str]
    allow_query: bool
    query: Optional[str]
    parameters: list[str]
    columns: Optional[str]
    skipped_rows: int
    most_rows: int
    def __init__(self) -> None: ...

class Columns:
    """Those of any number of files, by name and x value; the first are of the file, and the sheet."""

    def __init__(self, first_grid: bool) -> None: ...
    def survey(
        self, request: Request, header: Optional[bool], encoding: str, decimal: str
    ) -> tuple[Optional[Refusal], bytes]: ...
    def add(self, others: Columns) -> None: ...
    def kinds(self) -> list[int]: ...
    def names(self) -> list[str]: ...
    def gather(
        self,
        surveyed: list[tuple[Request, bytes]],
        header: Optional[bool],
        encoding: str,
        decimal: str,
    ) -> GatheredRows: ...

class GatheredRows:
    cells: Cells
    rows: int
    rows_of: list[int]
    refusals: list[Optional[Refusal]]

class Detected:
    refusal: Optional[Refusal]
    format: str
    reason: str
    looks_like: str
    candidates: list[str]
    answers: list[tuple[str, str]]

class ListedFormat:
    index: int
    name: str
    extensions: list[str]
    reads: bool
    writes: bool
    several: bool
    library: str

def has_encoding(name: str) -> bool: ...
def read_sheet(request: Request, with_cells: bool) -> Import: ...
def detect_sheet(path: bytes, kept_rules: Optional[bool]) -> Detected: ...
def shown_database(name: bytes) -> str: ...
def list_formats() -> list[ListedFormat]: ...
def write_cells(
    cells: Cells, path: bytes, format: str, overwrite: bool, pairs: str
) -> tuple[Optional[Refusal], list[str]]: ...
