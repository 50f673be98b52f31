"""Recordings: read, simulated, or made of arrays."""

from __future__ import annotations

from typing import Iterator, Mapping, Union

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _kavelin
from ._arguments import Path, arguments, number, path_text, positive, reading, text
from ._errors import InvalidValue
from ._names import Unchanging
from ._samples import Samples

Units = Union[str, Mapping[str, str]]


class Recording(Unchanging):
    """A recording in memory: samples of one unit with their time stamps.

    `kavelin.read` and `kavelin.simulate` give one; of arrays you make it yourself:

    t: n time stamps in s; with `rate` in place of it, rows come at that rate from 0 s on.
    acc: n x 3, specific force in m/s^2: at rest it points up.
    gyr: n x 3, angular rate in rad/s.
    mag: n x 3, magnetic field in uT.
    quat: n x 4, a reference orientation: w, x, y, z, from the sensor to the earth (x East, y North, z up).
    rate: rows a second, in Hz.
    units: units of the arrays, where they are others: `{"acc": "g", "gyr": "deg/s", "t": "ms"}`.
    axes: how the axes of the unit lie along those of the arrays: "y,-x,z"; of one sensor "3m = y,-x,z".
    name: what messages call it.

    A row with NaN in a sample has no value of that sensor. A row that cannot be used is left out, as from a file: without
    a time stamp, with an earlier one than the row before, with an infinite value.

    The samples of a pin are `recording["3a"]`: "3a" is the acceleration, "3g" the rate, "3m" the field, "quat" the reference.
    """

    __slots__ = ("_recording",)
    _instead = "another process reads the file itself, or takes its arrays: recording.t, recording[\"3a\"]"

    def __init__(self, t: ArrayLike | None = None, acc: ArrayLike | None = None, gyr: ArrayLike | None = None,
                 mag: ArrayLike | None = None, quat: ArrayLike | None = None, *, rate: float | None = None,
                 units: Units | None = None, axes: str | None = None, name: str = "arrays") -> None:
        arrays = _kavelin.SampleArrays(t, acc, gyr, mag, quat)
        options = reading(None, None, None, axes, None, units, rate)
        require_times(t, rate)
        self._recording = _kavelin.recording_of(arrays, options, text(name, "name"))

    @classmethod
    def _of(cls, recording: _kavelin.Recording) -> Recording:
        made = cls.__new__(cls)
        made._recording = recording
        return made

    @property
    def name(self) -> str:
        """What messages call it: the path that was read."""
        return self._recording.name

    @property
    def t(self) -> NDArray[np.float64]:
        """The time stamps of its rows, in s: n, which do not decrease."""
        return self._recording.t

    @property
    def pins(self) -> list[str]:
        """What it holds: "3a", "3g", "3m", "quat", and what its file names besides."""
        return self._recording.pins

    def __getitem__(self, pin: str) -> Samples:
        """The samples of a pin: those rows that have a value. Vectors are n x 3, quaternions n x 4."""
        return Samples(*self._recording.samples(pin))

    def __contains__(self, pin: object) -> bool:
        return pin in self.pins

    def __iter__(self) -> Iterator[str]:
        return iter(self.pins)

    def __len__(self) -> int:
        """How many rows there are."""
        return self._recording.rows

    @property
    def sensor(self) -> str:
        """Which of several sensors this is; empty where the recording holds one."""
        return self._recording.sensor

    @property
    def sensors(self) -> list[str]:
        """The sensors of the file that was read; empty where it holds one."""
        return self._recording.sensors

    @property
    def read_as(self) -> list[str]:
        """What was found out or decided about the file, in a few words each; empty for a plain table."""
        return self._recording.read_as

    @property
    def notes(self) -> list[str]:
        """What may need your attention, one sentence each."""
        return self._recording.notes

    @property
    def errors(self) -> list[str]:
        """What cannot be right, so that results are wrong, one sentence each: an undeclared unit, raw counts."""
        return self._recording.errors

    @property
    def left_out(self) -> dict[str, int]:
        """How many rows could not be used, by what was wrong."""
        return self._recording.left_out

    @property
    def faults(self) -> list[str]:
        """What was wrong with the first rows that were left out, with file and line."""
        return self._recording.faults

    @property
    def lost(self) -> int:
        """Packets that are missing, by a counter in the recording."""
        return self._recording.lost

    def __repr__(self) -> str:
        return repr(self._recording)


def require_times(t: object, rate: object) -> None:
    if t is None and rate is None:
        raise InvalidValue("t: there are no time stamps; give t, in s, or rate, in Hz")


def read(path: Path, *, sensor: str | None = None, format: str | None = None, dialect: str | None = None,
         axes: str | None = None, map: str | None = None, units: Units | None = None,
         rate: float | None = None) -> Recording:
    """Reads a recording of any format that `kavelin fuse` reads: a table, a folder, an archive (`kavelin formats`).

    path: file or folder.
    sensor: which of several; `kavelin.sensors` names them.
    format: name of the format; without it, it is found out.
    dialect: what the table is like: "separator=semicolon, decimal=comma, header=3, counter=COLUMN".
    axes: how the axes of the unit lie along those of the recording: "y,-x,z"; of one sensor "3m = y,-x,z".
    map: columns to pins: "3a = ax1, ay1, az1 (g); t = stamp (ms)".
    units: units that the header does not give: `{"acc": "g", "gyr": "deg/s", "t": "ms"}`, or "3a=g, 3g=deg/s".
    rate: rows a second in Hz, of a recording without time stamps.

    Samples come in m/s^2, rad/s and uT, in the axes of the sensor. A file that cannot be used is a `kavelin.FileError` or
    `kavelin.InvalidValue` with the program's text; rows that cannot be used are left out and told by `faults`.
    """
    options = reading(sensor, format, dialect, axes, map, units, rate)
    return Recording._of(_kavelin.read(path_text(path, "path"), options))


def sensors(path: Path, *, format: str | None = None, dialect: str | None = None) -> list[str]:
    """The names of the sensors of a recording; empty where it holds one.

    path, format, dialect: as in `read`.
    """
    return _kavelin.sensors(path_text(path, "path"), reading(None, format, dialect, None, None, None, None))


def simulate(*, seed: int | None = None, seconds: float | None = None, rows: int | None = None,
             rate: float | None = None, truth: bool = True, rests: bool = True,
             **options: float | int | str | list[float] | tuple[float, ...] | list[str]) -> Recording:
    """Makes a recording with seeded motion and sensor errors, and its truth: what `kavelin simulate` writes.

    seed: the same seed gives the same numbers, on any machine; without it 1.
    seconds, rows: its length.
    rate: rows a second, in Hz.
    truth: whether it holds the true orientation, pin "quat": w, x, y, z, sensor to earth (East, magnetic North, up).
    rests: False: full motion from the first rest to the end.
    options: any other option of `kavelin simulate --help`, "-" written as "_": gyro_noise=0.01 (rad/s),
        hard_iron=[10, -5, 0] (uT), magnet_from=20 (s), dead="gyro:xz"; a list of texts where it may be repeated.
    """
    given = arguments([("seed", seed, whole), ("seconds", seconds, number), ("rows", rows, whole),
                       ("rate", rate, positive)])
    given += [] if truth else ["--no-truth"]
    given += [] if rests else ["--no-rests"]
    for name, value in options.items():
        if value is None:
            continue
        repeated = isinstance(value, (list, tuple)) and all(isinstance(one, str) for one in value)
        for one in value if repeated else [value]:  # type: ignore[union-attr]
            given.append(f"--{name.replace('_', '-')}={simulated(one, name)}")
    return Recording._of(_kavelin.simulate(given))


def whole(value: object, name: str) -> str:
    return str(value)


def simulated(value: object, name: str) -> str:
    if isinstance(value, str):
        return value
    if isinstance(value, (list, tuple, np.ndarray)):
        return ",".join(number(one, name) for one in value)
    return whole(value, name) if isinstance(value, (int, np.integer)) else number(value, name)
