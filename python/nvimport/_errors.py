"""What can go wrong."""

from __future__ import annotations

from typing import Any


def _again(kind: type[Error], state: dict[str, Any]) -> Error:
    error = kind.__new__(kind)
    error.__dict__.update(state)
    error.args = (str(error),)
    return error


class Error(Exception):
    """A file that could not be read or written.

    status: of the reader or writer that refused the file, 0 where none did.
    text: the library's own words.
    detail: where in the file, or why; may be empty.
    advice: what can be done about it; may be empty.
    path: the file.
    format: the name of the format that the file was taken for, or None.
    """

    def __init__(
        self,
        text: str,
        *,
        status: int = 0,
        path: str | None = None,
        format: str | None = None,
        detail: str = "",
        advice: str = "",
    ) -> None:
        self.status = status
        self.text = text
        self.path = path
        self.format = format
        self.detail = detail
        self.advice = advice
        super().__init__(str(self))

    def __str__(self) -> str:
        # A path that is no text is shown all the same.
        path = (self.path or "").encode("utf-8", "surrogateescape").decode("utf-8", "replace")
        said = f"{path}: {self.text}" if path else self.text
        further = [part for part in (self.detail,) if part and part not in self.advice]
        further += [self.advice] if self.advice else []
        return f"{said} ({'; '.join(further)})" if further else said

    def __reduce__(self) -> tuple[Any, ...]:
        return _again, (type(self), dict(self.__dict__))


class ArgumentError(Error, ValueError):
    """An argument that makes no sense: there is no such format, the range is none."""


class ChoiceNeeded(Error):
    """There is a choice that nobody but the caller can make.

    argument: the argument of read() that makes it.
    candidates: what there is to choose from.
    """

    def __init__(self, text: str, argument: str, candidates: list[str], **where: Any) -> None:
        self.argument = argument
        self.candidates = candidates
        if f"{argument}=" not in where.get("advice", ""):
            where["advice"] = f"{argument}= chooses among: {'; '.join(candidates)}"
        super().__init__(text, **where)


class Cancelled(Error, KeyboardInterrupt):
    """Ctrl-C ended the work. What waits for a KeyboardInterrupt gets it too."""
