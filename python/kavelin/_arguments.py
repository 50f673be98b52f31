"""Keywords as options of the program."""

from __future__ import annotations

import os
import stat
from typing import Any, Iterable, Mapping, Union

import numpy as np

from ._errors import InvalidValue, MissingFile, WrongType

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


def positive(value: Any, name: str) -> str:
    shown = number(value, name)
    if not 0 < float(value) < float("inf"):
        raise InvalidValue(f"{name}: {shown}; a number above 0 is expected, in Hz")
    return shown


def pins(value: Any, name: str) -> str:
    """`{"acc": "g"}`, `{"3a": "g"}` or "3a=g"."""
    if isinstance(value, Mapping):
        for name_of_pin, pin in _PINS.items():
            if name_of_pin in value and pin in value:
                raise InvalidValue(f"{name}: {name_of_pin} and {pin} are the same; one of them is expected")
        return ", ".join(f"{_PINS.get(pin, pin)}={text(its, name)}" for pin, its in value.items())
    return text(value, name)


def is_pipe(path: str) -> bool:
    """One that has to be opened where waiting for its other end can be interrupted."""
    try:
        return stat.S_ISFIFO(os.stat(path).st_mode)
    except (OSError, ValueError):
        return False  # refused by the compiled part, in its words


def file_text(value: Any, name: str) -> str:
    path = path_text(value, name)
    if is_pipe(path):
        raise InvalidValue(f"{name}: {path} is a pipe; a file is expected")
    if path and not os.path.exists(path):
        raise MissingFile(f"{name}: no file '{path}'")
    return path


def units_of_body(value: Any, name: str) -> str:
    """A file, or one for each unit."""
    if isinstance(value, Mapping):
        return ",".join(f"{unit}={'' if file is None else file_text(file, name)}" for unit, file in value.items())
    path = path_text(value, name)
    return path if "=" in path else file_text(path, name)  # "UNIT=FILE,..."


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
        if value is None:
            continue
        said = how(value, name)
        if not said:
            raise InvalidValue(f"{name}: it is empty; leave it out, or give None")
        out.append(f"--{name.replace('_', '-')}={said}")
    return out


def reading(sensor: Any, format: Any, dialect: Any, axes: Any, map: Any, units: Any, rate: Any) -> list[str]:
    """What is said of a recording beyond its name."""
    return arguments([("sensor", sensor, text), ("format", format, text), ("dialect", dialect, text),
                      ("axes", axes, text), ("map", map, text), ("units", units, pins), ("rate", rate, positive)])


def settings_arguments(settings: Any) -> list[str]:
    if settings is None:
        return []
    if not isinstance(settings, Mapping):
        raise WrongType(f"settings: a dict of names and values is expected; this is {type(settings).__name__}")
    for name in settings:
        if not isinstance(name, str) or not name or "=" in name:
            raise InvalidValue(f"settings: {name!r}: the name of a property is expected")
    return [f"--set={setting(name, value)}" for name, value in settings.items()]
