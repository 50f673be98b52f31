"""The exceptions of the package. C++ code finds them here by name."""

from __future__ import annotations

from typing import TYPE_CHECKING, Union

if TYPE_CHECKING:
    from ._fuse import Result
    from ._samples import RunResult


class Error(Exception):
    """What the package refuses, or what went wrong in it. Its text is that of the program `kavelin`."""


class InvalidValue(Error, ValueError):
    """A value, a shape, a unit or the contents of a file that cannot be used."""


class WrongType(Error, TypeError):
    """A value of a type that cannot be used."""


class UnknownName(Error, KeyError):
    """A name that does not exist. The text lists those that do."""

    __str__ = Exception.__str__  # KeyError's own shows the text as a quoted string


class ReadOnly(Error, AttributeError):
    """A property that cannot be written."""


class FileError(Error, OSError):
    """A file that cannot be read or written."""


class MissingFile(FileError, FileNotFoundError):
    """A file that does not exist."""


class Warning(UserWarning):
    """What the program would report and go on."""


class RecordingWarning(Warning):
    """What is wrong with a recording or a run of it, so that the program would end with status 1."""


class RunError(Error, RuntimeError):
    """A run that was done, but with errors: `result` is what it gave. `result.errors` lists them, `result.messages` where
    `kavelin.fuse` gave it."""

    def __init__(self, text: str, result: Union[RunResult, Result]) -> None:
        super().__init__(text, result)
        self.text = text
        self.result = result

    def __str__(self) -> str:
        return self.text
