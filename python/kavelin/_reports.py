"""What becomes of the errors of a run."""

from __future__ import annotations

import warnings
from typing import Literal, TypeVar

from ._errors import InvalidValue, RunError, Warning
from ._samples import RunResult

Result = TypeVar("Result", bound=RunResult)

_MOST_SHOWN = 10


def settle(result: Result, errors: Literal["raise", "warn", "ignore"]) -> Result:
    """Gives `result` back, after raising or warning of what is wrong with it."""
    if errors not in ("raise", "warn", "ignore"):
        raise InvalidValue(f'errors: {errors!r}; "raise", "warn" or "ignore" is expected')
    if result.status == 0 or errors == "ignore":
        return result
    shown = result.errors[:_MOST_SHOWN]
    if len(result.errors) > len(shown):
        shown.append(f"and {len(result.errors) - len(shown)} more: result.errors lists them")
    if errors == "raise":
        raise RunError("\n".join(shown), result)
    for text in shown:
        warnings.warn(text, Warning, stacklevel=3)
    return result
