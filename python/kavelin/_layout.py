"""Layouts of filters."""

from __future__ import annotations

import json
import os
from pathlib import Path
from typing import Any, Iterable, Mapping

import numpy as np

from . import _kavelin
from ._errors import InvalidValue, WrongType
from ._filter import Value
from ._names import Uncopied, names
from ._reports import Policy, require, settle
from ._samples import RunResult


class Layout(Uncopied):
    """Filters, wired: what a layout file of `kavelin run` describes.

    source: path of a layout file, or a dict of the same form; NumPy arrays and numbers, and paths, may stand in it
    out: the folder that ${OUT} stands for, else as the layout says, else the current one
    variables: what other ${NAME} stand for, in place of what the layout says

    Relative paths in a layout file start from its folder; those in a dict, of `out` and of `set` from the current one.
    `kavelin.InvalidValue` lists every mistake in the layout, with its place; that in a dict is line and column of
    `json.dumps(source, indent=2)`.

    >>> layout = kavelin.Layout("imu.json", out="results")
    >>> layout.set("attitude:Mode", "static")
    >>> result = layout.run(probes=["attitude:attitude"])
    >>> t, R = result["attitude:attitude"]
    """

    __slots__ = ("_name", "_core", "_probes")
    _instead = "make another by kavelin.Layout"

    def __init__(self, source: str | os.PathLike[str] | Mapping[str, Any], *, out: str | os.PathLike[str] | None = None,
                 variables: Mapping[str, str | os.PathLike[str]] | None = None) -> None:
        if isinstance(source, Mapping):
            self._name = "the layout"
            try:
                text = json.dumps(_plain(source), indent=2)
            except RecursionError:
                raise InvalidValue("source: a dict that contains itself, or too many in one another") from None
            self._core = _kavelin.LayoutCore.from_text(text, self._name)
        else:
            if not isinstance(source, (str, bytes, os.PathLike)):
                raise WrongType(f"source: a path or a dict is expected; this is {type(source).__name__}")
            self._name = os.fsdecode(source)
            self._core = _kavelin.LayoutCore.from_file(source)
        self._probes: list[str] = []
        for variable, value in {} if variables is None else variables.items():
            self._core.set_variable(variable, value)
        if out is not None:
            self._core.set_variable("OUT", os.path.abspath(out))

    def set(self, target: str, value: Value) -> None:
        """Writes a property before each run: `target` is "filter:Property", or "Property" where one filter has it. The value
        is as in `Filter.__setitem__`; whether the property takes it is known when the layout runs."""
        self._core.set(target, value)

    def command(self, target: str) -> None:
        """Activates "filter:Command" before each run."""
        self._core.command(target)

    def probe(self, target: str) -> None:
        """Keeps what "filter:pin" sends, or gets, in each run: the results have it by that name."""
        self._core.require_target(target)
        self._probes.append(target)

    def check(self) -> list[str]:
        """What `kavelin check` says is wrong, a line each; none where nothing is. Runs nothing."""
        return self._core.check()

    def run(self, probes: Iterable[str] = (), *, threads: bool = False,
            errors: Policy = "raise", stop_on_error: bool = False) -> RunResult:
        """Runs the layout to the end of its sources, as `kavelin run` does; files are written as it says.

        probes: "filter:pin", whose samples are kept, with their time stamps in s, besides those of `probe`:
            `t, value = result["filter:pin"]`.
        threads: a thread for each layout of the file, instead of all in one, in turn. The results are the same.
        errors: what becomes of errors in the data or the run, those with which the program ends with status 1: "raise" a
            `kavelin.RunError` afterwards, which has the result; "warn"; or "ignore": they stand in `result.errors`.
        stop_on_error: ends the run at the first exception of a filter.

        Each run begins anew. Runs of several threads follow each other, and other Python threads run meanwhile. Ctrl-C ends
        the run; the files have the rows done.
        """
        require(errors)
        wanted = list(dict.fromkeys([*self._probes, *names(probes)]))
        samples, wrong, notes, status = self._core.run(wanted, threads, stop_on_error)
        return settle(RunResult(samples, wrong, notes, status), wrong, errors)

    @property
    def filters(self) -> dict[str, str]:
        """The type of each filter, by its name."""
        return {one["name"]: one["type"] for layout in self._described()["layouts"] for one in layout["filters"]}

    def __str__(self) -> str:
        wires = [f"  {one['from']} -> {one['to']}" for one in self._described().get("connections", ())]
        return "\n".join([repr(self), *(f"  {name}  {type}" for name, type in self.filters.items()), *wires])

    def __repr__(self) -> str:
        return f"<kavelin.Layout {self._name}: {', '.join(self.filters)}>"

    def _described(self) -> dict[str, Any]:
        described: dict[str, Any] = json.loads(self._core.text())
        return described


def _plain(value: Any) -> Any:
    """What JSON knows: arrays as nested lists, numbers that it lacks as texts."""
    if isinstance(value, Mapping):
        return {key if isinstance(key, str) else _refuse(key): _plain(one) for key, one in value.items()}
    if isinstance(value, np.ndarray) and value.ndim == 1:
        return _plain([value.tolist()])  # a row, as in `set`
    if isinstance(value, (np.ndarray, np.generic)):
        return _plain(value.tolist())
    if isinstance(value, (list, tuple)):
        return [_plain(one) for one in value]
    if isinstance(value, Path):
        return os.fspath(value)
    if isinstance(value, float) and not np.isfinite(value):
        return str(value)
    if value is None or isinstance(value, (bool, int, float, str)):
        return value
    return _refuse(value)


def _refuse(value: Any) -> Any:
    raise WrongType(f"{value!r} cannot stand in a layout; texts, numbers, lists, dicts and arrays can")
