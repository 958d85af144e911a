"""What is to be read, as files on a disk."""

from __future__ import annotations

import contextlib
import io
import os
import pathlib
import shutil
import tempfile
from collections.abc import Iterator, Sequence
from typing import IO, Any, Union

from nvimport import _nvimport
from nvimport._errors import ArgumentError

Path = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]
Source = Union[Path, IO[bytes], IO[str]]
Data = Union[bytes, bytearray, memoryview]

_UNNAMED = "data.txt"


def samples(name: str | None = None) -> pathlib.Path:
    """The folder of the small files that come with the package, or one of them.

    >>> nvimport.detect(nvimport.samples("barley.spc")).format
    'GalacticSPC File'
    """
    folder = pathlib.Path(__file__).parent / "samples"
    path = folder if name is None else folder / name
    if not path.exists():
        raise FileNotFoundError(f"no such sample: {path}")
    return path


def plain_path(path: Path) -> bytes:
    """The path of a file as the system has it, "~" being a home."""
    plain = os.path.expanduser(os.fsencode(path))
    if b"\0" in plain:
        raise ArgumentError("A path has no null character.", path=shown(plain))
    return plain


def shown(path: bytes) -> str:
    return os.fsdecode(path)


@contextlib.contextmanager
def on_disk(
    sources: Source | Sequence[Source] | None, data: Data | None, name: str | None
) -> Iterator[tuple[list[bytes], str]]:
    """The paths of what is to be read, and what it is called."""
    with contextlib.ExitStack() as stack:
        if data is not None:
            if sources is not None:
                raise ArgumentError("Either a path or data= is read, not both.")
            view = memoryview(data)
            source = io.BytesIO(view if view.c_contiguous else view.tobytes())
            yield [_spool(source, name or _UNNAMED, stack)], name or _UNNAMED
            return
        if sources is None or isinstance(sources, (bytearray, memoryview)):
            raise TypeError("a path or an open file; data= takes bytes")
        several: Sequence[Any] = [sources]
        if isinstance(sources, Sequence) and not isinstance(sources, (str, bytes)):
            several = sources
        placed = [_place(source, name, stack) for source in several]
        if not placed:
            raise ArgumentError("There is no file to read.")
        yield [path for path, _ in placed], placed[0][1]


def _place(source: Any, name: str | None, stack: contextlib.ExitStack) -> tuple[bytes, str]:
    """A path to read, and what it is called."""
    if isinstance(source, (str, bytes, os.PathLike)):
        if isinstance(source, (str, bytes)) and os.fsencode(source).startswith(b"odbc:"):
            return os.fsencode(source), _nvimport.shown_database(os.fsencode(source))
        path = plain_path(source)
        return path, shown(path)
    if not hasattr(source, "read"):
        raise TypeError(f"a path or an open file, not {type(source).__name__}; data= takes bytes")
    own = getattr(source, "name", None)
    if isinstance(own, bytes):
        own = os.fsdecode(own)
    name = name or (os.path.basename(own) if isinstance(own, str) else "") or _UNNAMED
    return _spool(source, name, stack), name


def _spool(source: Any, name: str, stack: contextlib.ExitStack) -> bytes:
    if name in (".", "..") or "/" in name or "\0" in name:
        raise ArgumentError(f'"{name}" is no plain file name.')
    folder = stack.enter_context(tempfile.TemporaryDirectory(prefix="nvimport-"))
    path = pathlib.Path(folder, name)
    with path.open("wb") as target:
        piece = source.read(1 << 20)
        if isinstance(piece, str):
            while piece:
                target.write(piece.encode())
                piece = source.read(1 << 20)
        else:
            target.write(piece)
            shutil.copyfileobj(source, target)
    return os.fsencode(path)
