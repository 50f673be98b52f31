"""What becomes of the errors of a run."""

from __future__ import annotations

import warnings
from typing import TYPE_CHECKING, Literal, Sequence, TypeVar, Union

from ._errors import InvalidValue, RunError, Warning

if TYPE_CHECKING:
    from ._fuse import Result
    from ._samples import RunResult

Policy = Literal["raise", "warn", "ignore"]
Ran = TypeVar("Ran", bound="Union[RunResult, Result]")

_MOST_SHOWN = 10


def require(errors: Policy) -> None:
    """Before the run: afterwards its result would be lost."""
    if errors not in ("raise", "warn", "ignore"):
        raise InvalidValue(f'errors: {errors!r}; "raise", "warn" or "ignore" is expected')


def settle(result: Ran, texts: Sequence[str], errors: Policy, kind: type[Warning] = Warning,
           listed: str = "result.errors") -> Ran:
    """Gives `result` back, after raising or warning of what is wrong with it.

    listed: where all texts are
    """
    if errors == "ignore" or (result.status == 0 and not texts):
        return result
    shown = list(texts[:_MOST_SHOWN])
    if len(texts) > len(shown):
        shown.append(f"and {len(texts) - len(shown)} more: {listed} lists them")
    if errors == "raise" and result.status != 0:
        raise RunError("\n".join(shown), result)
    for text in shown:
        warnings.warn(text, kind, stacklevel=3)
    return result
