"""Names, one or several."""

from __future__ import annotations

import os
from typing import Any, Iterable


def names(given: str | os.PathLike[str] | Iterable[Any]) -> list[Any]:
    """One name is a list of one, not of its letters."""
    return [given] if isinstance(given, (str, bytes, os.PathLike)) else list(given)
