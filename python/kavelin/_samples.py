"""Samples of one pin, and what a run gives."""

from __future__ import annotations

from typing import Iterator, Mapping, NamedTuple

import numpy as np
from numpy.typing import NDArray


class Samples(NamedTuple):
    """Samples of one pin with their time stamps: `t, value = samples`.

    t: n time stamps in s.
    value: a number a sample is an array of n; a vector of k elements n x k; an r x c matrix n x r x c. Samples of
        several shapes are an object array of n arrays.
    """

    t: NDArray[np.float64]
    value: NDArray[np.float64]

    @property
    def values(self) -> NDArray[np.float64]:
        """The same as `value`."""
        return self.value

    def __repr__(self) -> str:
        if len(self.t) == 0:
            return "Samples(none)"
        return f"Samples({len(self.t)} of shape {self.value.shape[1:]}, {self.t[0]:.6g} s to {self.t[-1]:.6g} s)"


class Sample(NamedTuple):
    """One sample of a pin: `t, value = sample`.

    t: time stamp in s.
    value: an array without axes for a number, of k elements for a vector, r x c for a matrix.
    """

    t: float
    value: NDArray[np.float64]


class RunResult(Mapping[str, Samples]):
    """What a run gives: `t, value = result["attitude"]` for each of its outputs.

    errors: what makes the results wrong or incomplete, a text each.
    notes: what may need your attention, a text each.
    status: the exit status that the program would have: 0, or 1 where there are errors.
    """

    errors: list[str]
    notes: list[str]

    def __init__(self, samples: Mapping[str, tuple[NDArray[np.float64], NDArray[np.float64]]], errors: list[str],
                 notes: list[str], status: int | None = None) -> None:
        self._samples = {name: Samples(*its) for name, its in samples.items()}
        self.errors = errors
        self.notes = notes
        self.status = (1 if errors else 0) if status is None else status

    def __getitem__(self, name: str) -> Samples:
        try:
            return self._samples[name]
        except KeyError:
            from ._errors import UnknownName
            raise UnknownName(f'no output is named "{name}"; there are {", ".join(self) or "none"}') from None

    def __iter__(self) -> Iterator[str]:
        return iter(self._samples)

    def __len__(self) -> int:
        return len(self._samples)

    def __repr__(self) -> str:
        width = max(map(len, self._samples), default=0)
        lines = [f"{type(self).__name__}: status {self.status}"]
        lines += [f"  {name:{width}}  {samples!r}" for name, samples in self._samples.items()]
        lines += [f"  error: {text}" for text in self.errors]
        lines += [f"  note: {text}" for text in self.notes]
        return "\n".join(lines)
