"""Filters, one at a time."""

from __future__ import annotations

import json
import os
from dataclasses import dataclass
from typing import Any, Iterable, Iterator, Mapping, Sequence, Union

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _kavelin
from ._arguments import text
from ._errors import WrongType
from ._names import Uncopied, names
from ._reports import Policy, require, settle
from ._samples import RunResult, Sample, Samples

Value = Union[bool, int, float, str, "os.PathLike[str]", ArrayLike]


@dataclass(frozen=True)
class Pin:
    """What a pin of a filter carries.

    name: its name
    shape: rows and columns of a sample: "1x3"; "any" and "1xN" where they are not fixed
    takes: what an input takes besides, in words: "3 elements" takes 1x3 and 3x1; empty: the shape alone
    quantity: "acceleration"; empty where the pin does not say
    unit: "m/s^2"; empty where any unit will do
    frame: in which the elements are, "sensor"; for an orientation from where to where; empty where the pin does not say
    optional: an input without which the filter works
    """

    name: str
    shape: str
    takes: str = ""
    quantity: str = ""
    unit: str = ""
    frame: str = ""
    optional: bool = False

    def __str__(self) -> str:
        text = f"{self.name}: {self.takes or self.shape}"
        text += f", {self.quantity}" * bool(self.quantity) + f" in {self.unit}" * bool(self.unit)
        return text + f", frame: {self.frame}" * bool(self.frame) + ", optional" * self.optional


@dataclass(frozen=True)
class Property:
    """A property of a filter.

    name: its name
    kind: "bool", "int", "unsigned int", "double", "text", "enum", "file name" or "matrix"
    value: the value it has: bool, int, float, str, for a matrix its rows
    default: the value of a new filter
    minimum, maximum, step: of a number; None where there is none
    unit: "s"; empty where it has none
    choices: the labels of an enum; else empty
    writable: whether it can be written
    """

    name: str
    kind: str
    value: Any
    default: Any
    minimum: float | None = None
    maximum: float | None = None
    step: float | None = None
    unit: str = ""
    choices: tuple[str, ...] = ()
    writable: bool = True

    def __str__(self) -> str:
        text = f"{self.name} = {self.value!r}" + f" {self.unit}" * bool(self.unit)
        if self.value != self.default:
            text += f", default {self.default!r}"
        if self.choices:
            text += f", one of {', '.join(self.choices)}"
        if self.minimum is not None and self.maximum is not None:
            text += f", {self.minimum:.6g} to {self.maximum:.6g}"
        return text + ", not writable" * (not self.writable)


class Filter(Uncopied):
    """One filter: an attitude estimator, a converter, a detector.

    type: its type, such as "FilterCompass"; `kavelin.filters()` lists them
    plugin: name or path of a plugin to load for it, or several; those that come with kavelin need not be named
    name: what messages call it; its type if not given

    Samples go in by `push`, or as whole arrays by `run`. Properties are items: `f["Init time"] = 3`. A filter goes on from
    where it is: for another recording make another one, or reset it by a command if it has one.
    `print(f)` shows its pins and properties.

    Several threads may use one filter: they take turns. `run` lets other Python threads run meanwhile, and so does `process`
    where many samples wait.

    >>> f = kavelin.Filter("FilterInclinometer")
    >>> f.push("3a", 0.5, [0, 9.81, 0])
    >>> f.process()
    >>> f.pop("roll")
    Sample(t=0.5, value=array(1.57079633))
    """

    __slots__ = ("_type", "_core")
    _instead = "make another by kavelin.Filter, and write its properties"

    def __init__(self, type: str, plugin: str | os.PathLike[str] | Sequence[str | os.PathLike[str]] | None = None, *,
                 name: str | None = None) -> None:
        self._type = text(type, "type")
        self._core = _kavelin.FilterCore(type, type if name is None else text(name, "name"),
                                         names(() if plugin is None else plugin))

    @property
    def type(self) -> str:
        """The type of the filter."""
        return self._type

    @property
    def name(self) -> str:
        """What messages call the filter."""
        return self._core.name

    @property
    def inputs(self) -> dict[str, Pin]:
        """The input pins by name: what `push` and `run` take."""
        return self._pins("input")

    @property
    def outputs(self) -> dict[str, Pin]:
        """The output pins by name: what `pop` and `run` give."""
        return self._pins("output")

    @property
    def properties(self) -> dict[str, Property]:
        """The properties by name, with the values they have now."""
        defaults = {one["name"]: one.get("default") for one in json.loads(_kavelin.describe(self._type))["properties"]}
        return {one["name"]: _property(one, defaults.get(one["name"]))
                for one in json.loads(self._core.describe())["properties"] if one["kind"] != "command"}

    @property
    def commands(self) -> tuple[str, ...]:
        """The names that `command` takes."""
        return tuple(one["name"] for one in json.loads(self._core.describe())["properties"] if one["kind"] == "command")

    def __getitem__(self, name: str) -> Any:
        """The value of the property `name`: bool, int, float, str (of an enum its label), or an array of r x c."""
        return self._core.get(name)

    def __contains__(self, name: object) -> bool:
        return name in self.properties

    def __iter__(self) -> Iterator[str]:
        """The names of the properties."""
        return iter(self.properties)

    def __setitem__(self, name: str, value: Value) -> None:
        """Writes the property `name`. A matrix is an array of r x c, or of k elements for a row. A value that is refused
        raises `kavelin.InvalidValue`, and the old one stays."""
        self._core.set(name, value)

    def command(self, name: str) -> None:
        """Activates the command `name`, such as "Reset". Time stamps may begin again after it."""
        self._core.command(name)

    def push(self, pin: str, t: ArrayLike, value: ArrayLike) -> None:
        """Gives samples to the input `pin`.

        t: a time stamp in s, or n of them, which do not decrease.
        value: one sample or n, in the unit and frame that `inputs` tells: n x 3 for vectors, n x 3 x 3 for matrices, n for
            numbers; without the n for one. One with a NaN in it is no value: nothing is sent.

        Contiguous arrays of doubles are read in place; others are converted. At most 1024 samples wait for `process`.
        """
        self._core.push(pin, t, value)

    def process(self) -> None:
        """Lets the filter take the samples pushed, as long as there are some that it can take. Its errors are raised."""
        self._core.process()

    def pop(self, pin: str) -> Sample | None:
        """The oldest sample that the output `pin` sent and that was not taken yet: `t, value = f.pop("attitude")`; None
        where there is none. An output keeps the newest 1024."""
        sample = self._core.pop(pin)
        return None if sample is None else Sample(*sample)

    def pop_all(self, pin: str) -> Samples:
        """All samples that the output `pin` sent and that were not taken yet, oldest first."""
        return Samples(*self._core.pop_all(pin))

    def run(self, t: ArrayLike | None, inputs: Mapping[str, ArrayLike | tuple[ArrayLike, ArrayLike]],
            outputs: Iterable[str] | None = None, *, errors: Policy = "raise",
            stop_on_error: bool = False) -> RunResult:
        """Runs the filter on whole arrays, as a layout with a source of them does, to the last bit.

        t: n time stamps in s, which do not decrease; None where each input has its own.
        inputs: for each input pin its n samples, in the unit and frame that `inputs` of the filter tells: n x 3 for vectors,
            n x 3 x 3 for matrices, n for numbers. `(t, samples)` has time stamps of its own. A sample with a NaN in it is no
            value: nothing is sent for that row. Nor for one with an infinite value, which is an error of the run.
        outputs: the pins to keep; all if not given. What is not kept need not be computed.
        errors: what becomes of errors of the run, such as a row at which the filter raises an exception: "raise" a
            `kavelin.RunError` afterwards, which has the result; "warn"; or "ignore": they stand in `result.errors`.
        stop_on_error: ends the run at the first exception of the filter.

        Contiguous arrays of doubles are read in place; others are converted. All rows of one time are sent before the filter
        is called. Rows without a partner, and outputs of which nothing came, stand in `result.notes`. Other Python threads run meanwhile; do not change the arrays in them. Ctrl-C ends the run.

        >>> result = f.run(t, {"3a": acc, "3g": gyr}, outputs=["attitude"])
        >>> t, R = result["attitude"]
        """
        require(errors)
        if not isinstance(inputs, Mapping):
            raise WrongType("inputs: a dict of pins and samples is expected, such as {\"3a\": acc}; this is "
                            f"{type(inputs).__name__}")
        samples, wrong, notes = self._core.run(t, dict(inputs), None if outputs is None else names(outputs), stop_on_error)
        return settle(RunResult(samples, wrong, notes), wrong, errors)

    def __str__(self) -> str:
        return str(self._core)

    def __repr__(self) -> str:
        pins = f"{', '.join(self.inputs) or 'nothing'} -> {', '.join(self.outputs) or 'nothing'}"
        return f"<kavelin.Filter {self._type}: {pins}>"

    def _pins(self, direction: str) -> dict[str, Pin]:
        keys = ("name", "shape", "takes", "quantity", "unit", "frame", "optional")
        return {one["name"]: Pin(**{key: one[key] for key in keys if key in one})
                for one in json.loads(self._core.describe())["pins"] if one["direction"] == direction}


def _property(one: dict[str, Any], default: Any) -> Property:
    minimum, maximum, step = (_number(one, one.get(key)) for key in ("minimum", "maximum", "step"))
    return Property(one["name"], one["kind"], _number(one, one.get("default")), _number(one, default), minimum, maximum, step,
                    one.get("unit", ""), tuple(one.get("labels", ())), one["writable"])


def _number(one: dict[str, Any], value: Any) -> Any:
    """JSON has no infinity and no NaN: they are texts there."""
    return float(value) if one["kind"] == "double" and value is not None else value
