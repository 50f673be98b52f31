"""Keywords as options of the program."""

from __future__ import annotations

import os
from typing import Any, Iterable, Mapping, Union

import numpy as np

from ._errors import InvalidValue, WrongType

Path = Union[str, "os.PathLike[str]"]

_PINS = {"acc": "3a", "gyr": "3g", "mag": "3m"}


def path_text(value: Any, name: str) -> str:
    """The path as the program takes it."""
    try:
        return os.fsdecode(value)
    except TypeError:
        raise WrongType(f"{name}: a path is expected; this is {type(value).__name__}") from None


def text(value: Any, name: str) -> str:
    if not isinstance(value, str):
        raise WrongType(f"{name}: a text is expected; this is {type(value).__name__}")
    return value


def number(value: Any, name: str) -> str:
    try:
        return repr(float(value))
    except (TypeError, ValueError):
        raise WrongType(f"{name}: a number is expected; this is {value!r}") from None


def pins(value: Any, name: str) -> str:
    """`{"acc": "g"}`, `{"3a": "g"}` or "3a=g"."""
    if isinstance(value, Mapping):
        return ", ".join(f"{_PINS.get(pin, pin)}={text(its, name)}" for pin, its in value.items())
    return text(value, name)


def units_of_body(value: Any, name: str) -> str:
    """A file, or one for each unit."""
    if isinstance(value, Mapping):
        return ",".join(f"{unit}={'' if file is None else path_text(file, name)}" for unit, file in value.items())
    return path_text(value, name)


def setting(name: str, value: Any) -> str:
    """What follows --set."""
    if value is None:
        return name  # a command
    if isinstance(value, np.ndarray) and value.ndim == 0:
        value = value.item()
    if isinstance(value, (bool, np.bool_)):
        return f"{name}={int(value)}"
    if isinstance(value, (int, np.integer)):
        return f"{name}={int(value)}"
    if isinstance(value, (float, np.floating)):
        return f"{name}={float(value)!r}"
    if isinstance(value, (str, bytes, os.PathLike)):
        return f"{name}={os.fsdecode(value)}"
    try:
        matrix = np.atleast_2d(np.asarray(value, dtype=float))
    except (TypeError, ValueError):
        matrix = np.zeros((0, 0, 0))
    if matrix.ndim != 2:
        raise WrongType(f"settings: {name}: a bool, a number, a text or an array is expected; this is "
                        f"{type(value).__name__}")
    elements = " ".join(map(repr, matrix.ravel().tolist()))
    return f"{name}={matrix.shape[0]} {matrix.shape[1]} {elements}"


def arguments(options: Iterable[tuple[str, Any, Any]]) -> list[str]:
    """@param options keyword, value and how it becomes a text; None is left out."""
    out = []
    for name, value, how in options:
        if value is not None:
            out.append(f"--{name.replace('_', '-')}={how(value, name)}")
    return out


def reading(sensor: Any, format: Any, dialect: Any, axes: Any, map: Any, units: Any, rate: Any) -> list[str]:
    """What is said of a recording beyond its name."""
    return arguments([("sensor", sensor, text), ("format", format, text), ("dialect", dialect, text),
                      ("axes", axes, text), ("map", map, text), ("units", units, pins), ("rate", rate, number)])


def settings_arguments(settings: Any) -> list[str]:
    if settings is None:
        return []
    if not isinstance(settings, Mapping):
        raise WrongType(f"settings: a dict of names and values is expected; this is {type(settings).__name__}")
    for name in settings:
        if not isinstance(name, str) or not name:
            raise InvalidValue(f"settings: {name!r}: the name of a property is expected")
    return [f"--set={setting(name, value)}" for name, value in settings.items()]
