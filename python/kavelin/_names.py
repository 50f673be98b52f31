"""Names, one or several; objects that only their process has."""

from __future__ import annotations

import os
from typing import Any, ClassVar, Iterable, NoReturn

from ._errors import WrongType


def names(given: str | os.PathLike[str] | Iterable[Any]) -> list[Any]:
    """One name is a list of one, not of its letters."""
    if isinstance(given, (str, bytes, os.PathLike)):
        return [given]
    try:
        return list(given)
    except TypeError:
        raise WrongType(f"a name or several are expected; this is {type(given).__name__}") from None


class Uncopied:
    """An object that only its process has. Names that it does not have are refused, also in assignments."""

    __slots__ = ("__weakref__",)
    _instead: ClassVar[str]

    def __reduce_ex__(self, protocol: object) -> NoReturn:
        raise WrongType(f"a {type(self).__name__} can be neither copied nor pickled: {self._instead}")


class Unchanging(Uncopied):
    """One that nothing changes: it is its own copy."""

    __slots__ = ()

    def __copy__(self) -> Any:
        return self

    def __deepcopy__(self, memo: object) -> Any:
        return self

    def __reduce_ex__(self, protocol: object) -> NoReturn:
        raise WrongType(f"a {type(self).__name__} cannot be pickled: {self._instead}")
