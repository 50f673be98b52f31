"""Orientation from recordings."""

from __future__ import annotations

import errno
import json
import os
import time
import warnings
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any, Literal, Mapping, Sequence, Union

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _kavelin
from ._arguments import (Path, arguments, file_text, is_pipe, path_text, positive, reading, settings_arguments, text,
                         units_of_body)
from ._errors import Error, FileError, InvalidValue, RecordingWarning, UnknownName, Warning, WrongType
from ._names import Unchanging, names
from ._recordings import Recording, Units, read, require_times
from ._reports import Policy, require, settle

if TYPE_CHECKING:
    import pandas  # type: ignore[import]

Array = NDArray[np.float64]
Form = Literal["quaternion", "matrix", "euler"]


@dataclass(frozen=True)
class Verdict:
    """Whether tilt, or heading, can be trusted.

    grade: "good", "doubtful" or "bad", as in the summary.
    text: the grade with its reasons and what to do, as the program says it.
    findings: a dict each: "grade", "reason", "advice".
    """

    grade: str
    text: str
    findings: list[dict[str, str]]


@dataclass(frozen=True)
class Verdicts:
    """What a result is worth, judged without a reference. `evidence` is what the verdicts rest on."""

    tilt: Verdict
    heading: Verdict
    evidence: dict[str, Any]

    def __str__(self) -> str:
        return f"tilt: {self.tilt.text}\nheading: {self.heading.text}"


@dataclass(frozen=True)
class RootMeanSquares:
    """Errors over a recording: root mean squares, in degrees."""

    total: float
    heading: float
    tilt: float


@dataclass(frozen=True)
class Errors:
    """How far attitudes are off a reference.

    t: time stamps of those that have a reference, n in s.
    total, heading, tilt: n, in degrees: the angle of the rotation between the two; its turn about the vertical, -180 to
        180; the rest.
    rms: their root mean squares, over `count` pairs.
    turn: the turn about the vertical that was taken out before comparing, in degrees.
    aligned: what was taken out, in words; empty: nothing.
    notes: on rows of the reference that were left out, and what it was taken for.
    """

    t: Array
    total: Array
    heading: Array
    tilt: Array
    rms: RootMeanSquares
    count: int
    turn: float
    aligned: str
    notes: list[str]

    def __repr__(self) -> str:
        return (f"<kavelin.Errors: total {self.rms.total:.4g}, heading {self.rms.heading:.4g}, tilt {self.rms.tilt:.4g} "
                f"degrees, RMS over {self.count} rows{', ' * bool(self.aligned)}{self.aligned}>")


Reference = Union[Path, Recording, "Result", "tuple[ArrayLike, ArrayLike]"]


class Result(Unchanging):
    """Orientation over time, which `kavelin.fuse` gives.

    t: n time stamps in s.
    quaternion: n x 4: w, x, y, z, Hamilton, of unit norm: from the sensor's frame to `frame`.
    """

    __slots__ = ("_fused", "_summary")
    _instead = "take what you need of it, such as result.t and result.quaternion, or write it by save"

    def __init__(self, fused: _kavelin.FusedResult) -> None:
        self._fused = fused
        self._summary: dict[str, Any] = json.loads(fused.summary)

    @property
    def t(self) -> Array:
        """Time stamps: n, in s."""
        return self._fused.times

    @property
    def quaternion(self) -> Array:
        """n x 4: w, x, y, z; Hamilton product; v_earth = q v_sensor q*, where `frame` says which earth."""
        return self._fused.quaternions

    @property
    def frame(self) -> str:
        """From where to where the quaternions turn: "sensor to earth (east, north, up)"."""
        return self._fused.frame

    @property
    def filter(self) -> str:
        """The type of the filter that estimated it."""
        return self._fused.type

    def euler(self, degrees: bool = True) -> Array:
        """n x 3: yaw, pitch, roll: intrinsic turns about z, y, x; in degrees, or in rad."""
        return self._fused.euler(degrees)

    def rotation(self) -> Array:
        """n x 3 x 3: rotation matrices; v_earth = R v_sensor."""
        return self._fused.rotation()

    @property
    def flags(self) -> dict[str, NDArray[np.bool_]]:
        """The filter's detection flags by name, "flag_rest": n each; False in rows without one."""
        return self._fused.flags

    @property
    def quality(self) -> dict[str, Array]:
        """Scores of the environment and the motion by name, "envQuality": n each, 1 good, 0 bad; NaN in rows without one."""
        return self._fused.quality

    @property
    def scores(self) -> Array | None:
        """The static score: n x 5 x 2; None unless `scores=True` was given."""
        return self._fused.scores

    @property
    def bias(self) -> Array | None:
        """The gyroscope's bias as it was known at each time: n x 3 in rad/s, sensor frame; NaN before the first. None where
        the filter sends none."""
        return self._fused.bias

    @property
    def verdict(self) -> Verdicts | None:
        """What the result is worth; None for a filter whose attitude cannot be judged."""
        texts = self._fused.verdicts
        if texts is None:
            return None
        tilt, heading = (Verdict(self._summary[name]["grade"], words, self._summary[name]["findings"])
                         for name, words in zip(("tilt", "heading"), texts))
        return Verdicts(tilt, heading, self._summary["evidence"])

    def errors(self, reference: Reference | None = None, *, align: str = "auto") -> Errors:
        """How far it is off a reference, in the numbers of the program's summary.

        reference: a path ("FILE#SENSOR" for one of several sensors), a `Recording` with a "quat", another `Result` (its
            estimate, as below), or (t, q): m time stamps in s and m x 4 quaternions, w first, from the sensor to the earth. It is interpolated to
            the times of this result. Without one: the reference of the run, which is the recording's own "quat" at exactly
            these times unless `kavelin.fuse` was given another.
        align: what is taken out before comparing: "none", "heading" (the turn about the vertical that fits best), "start"
            (the rotation at the first pair), "auto" (what suits the filter).

        The estimate is compared as the filter sent it: before it was turned by `frame`, resampled or turned by `mount`. A
        reference in arrays or of a simulation is relative to East, North, up, and so is one of a file whose format says what
        it is relative to. One of another file is taken as relative to the `frame` that `kavelin.fuse` was given: where that
        is "ned", a `kavelin.Warning` says so.

        A reference with nothing to compare is a `kavelin.InvalidValue`: other times, quaternions that are zero.
        """
        path, recording = reference_of(reference)
        t, errors, rms, count, turn, aligned, notes, is_assumed = self._fused.compare(path, recording, text(align, "align"))
        if is_assumed:
            notes.append('the reference is taken as relative to North-East-Down, as frame="ned" says of the result: its file '
                         "does not say what it is relative to. For one relative to East-North-Up leave frame out, or give it "
                         "as (t, q)")
            warnings.warn(notes[-1], Warning, stacklevel=2)
        total, heading, tilt = errors.T
        return Errors(t, total, heading, tilt, RootMeanSquares(*rms), count, turn, aligned, notes)

    @property
    def summary(self) -> dict[str, Any]:
        """What `kavelin fuse --summary` writes: SI units, angles in degrees; None where there is nothing to say."""
        return self._summary

    @property
    def text(self) -> str:
        """The summary for a person, as the program shows it."""
        return self._fused.text

    @property
    def messages(self) -> list[str]:
        """What is wrong with the recording or the run, a text each; each was a `kavelin.RecordingWarning` too."""
        return messages_of(self._fused)

    @property
    def status(self) -> int:
        """The exit status that the program would have: 0, or 1 where there are errors in the data or the run."""
        return self._fused.status

    @property
    def settings(self) -> dict[str, Any]:
        """The properties of the filter as they were: bool, int, float, str, an array for a matrix."""
        return self._fused.settings

    def to_pandas(self) -> pandas.DataFrame:
        """A table with a row for each time stamp, which is its index: the columns of `to_csv`, flags as bool."""
        try:
            import pandas
        except ImportError:
            raise Error("to_pandas() needs pandas, which is not installed (python3-pandas)") from None
        columns: dict[str, Any] = {name: values for name, values in zip(("qw", "qx", "qy", "qz"), self.quaternion.T)}
        columns.update(self.flags)
        columns.update(self.quality)
        if self.scores is not None:
            for row in range(5):
                for column in range(2):
                    columns[f"Score.{row}{column}"] = self.scores[:, row, column]
        return pandas.DataFrame(columns, index=pandas.Index(self.t, name="t"))

    def to_csv(self, path: Path, form: Form = "quaternion") -> None:
        """Writes the table that `kavelin fuse -o` writes, byte for byte.

        path: the file.
        form: what an attitude is written as: "quaternion", "matrix", or "euler" in degrees.
        """
        write(self._fused, path, form, "csv")

    def save(self, path: Path, form: Form = "quaternion") -> list[str]:
        """The same in the format that the name ends in: .csv, .sto (OpenSim), .mat (MATLAB), .npz or .npy (NumPy).

        path, form: as in `to_csv`. Gives back what a reader of the file should know, a text each.
        """
        ending = os.path.splitext(path_text(path, "path"))[1]
        if ending.lower() not in (".csv", ".sto", ".mat", ".npz", ".npy"):
            raise InvalidValue(f"path: its name ends in {ending!r}; .csv, .sto, .mat, .npz or .npy is expected")
        return write(self._fused, path, form, "")

    def __len__(self) -> int:
        return len(self.t)

    def __repr__(self) -> str:
        lines = self.text.rstrip("\n").replace("\n", "\n  ")
        return f"<kavelin.Result of {len(self.t)} rows, status {self.status}\n  {lines}>"


def write(fused: _kavelin.FusedResult, path: Path, form: Form, format: str) -> list[str]:
    name = path_text(path, "path")
    if not name:
        raise InvalidValue("path: the name of a file is expected; this is ''")
    reader = opened_pipe(name) if is_pipe(name) else None
    try:
        return fused.write(name, text(form, "form"), format)
    finally:
        if reader is not None:
            os.close(reader)


def opened_pipe(path: str) -> int:
    """Waits until somebody reads the pipe."""
    while True:
        try:
            return os.open(path, os.O_WRONLY | os.O_NONBLOCK)
        except OSError as error:
            if error.errno != errno.ENXIO:
                raise FileError(f"cannot open '{path}': {os.strerror(error.errno or 0)}") from None
        time.sleep(0.02)


def messages_of(fused: _kavelin.FusedResult) -> list[str]:
    return [line.removeprefix("kavelin: ") for line in fused.messages.splitlines()]


def reference_of(reference: Reference | None) -> tuple[str, _kavelin.Recording | None]:
    """A path, or a recording."""
    if reference is None:
        return "", None
    if isinstance(reference, Recording):
        return "", reference._recording
    if isinstance(reference, Result):
        return "", _kavelin.attitudes(reference._fused)
    if isinstance(reference, (str, bytes, os.PathLike)):
        path = path_text(reference, "reference")
        if not path:
            raise InvalidValue("reference: a path is expected; this is ''")
        if is_pipe(path):
            return "", read(path)._recording  # where waiting for its writer can be interrupted
        return path, None
    if isinstance(reference, tuple) and len(reference) == 2:
        return "", Recording(t=reference[0], quat=reference[1], name="reference")._recording
    raise WrongType("reference: a path, a Recording, a Result, or (t, q) with n time stamps and n x 4 quaternions is "
                    f"expected; this is {type(reference).__name__}")


def fuse(recording: Recording | Path | ArrayLike | None = None, filter: str | None = None,
         settings: Mapping[str, Any] | None = None, *, t: ArrayLike | None = None, acc: ArrayLike | None = None,
         gyr: ArrayLike | None = None, mag: ArrayLike | None = None, quat: ArrayLike | None = None,
         calibration: Path | Mapping[str, Path | None] | None = None,
         mount: Path | Mapping[str, Path | None] | None = None, frame: str | None = None,
         output_rate: float | None = None, reference: Reference | None = None, movement: Path | None = None,
         align: str | None = None, scores: bool = False, sensor: str | None = None, format: str | None = None,
         dialect: str | None = None, axes: str | None = None, map: str | None = None, units: Units | None = None,
         rate: float | None = None, plugins: Path | Sequence[Path] = (), errors: Policy = "warn") -> Result:
    """Turns a recording into orientation over time: the same run as `kavelin fuse`, with the same numbers.

    recording: a path, a `Recording`, or arrays: `fuse(t, acc=..., gyr=..., mag=...)`, each as `Recording` takes it.
        Contiguous arrays of doubles are taken without a copy.
    filter: the type of the filter that estimates; without it FilterSO3Attitude. `kavelin.filters` lists them.
    settings: properties of the filter, or "FILTER:PROPERTY" of another in the run: `{"Rest time": 0.5}`. A bool, a number,
        a text, an array; None activates a command.
    calibration: what `kavelin calibrate` found of the unit, applied to the samples: a file, or `{unit: file}`.
    mount: what `kavelin calibrate mount` found: the result is the attitude of the segment that carries the unit.
    frame: "enu" (East, North, up) or "ned" (North, East, down): the earth of the result; without it that of the filter.
    output_rate: rows a second of the result, in Hz; without it a row for each sample.
    reference: what errors are counted against, in place of the recording's own "quat"; as in `Result.errors`.
    movement: file with t_start, t_end in s: errors count only in these intervals.
    align: as in `Result.errors`.
    scores: keep the static score.
    sensor, format, dialect, map: of a path, as in `kavelin.read`.
    axes, units, rate: of a path or of arrays, as in `kavelin.read`. The rate of a recording with time stamps is that of the
        result.
    plugins: names or paths of plugins to load.
    errors: what becomes of errors in the data or the run, those with which the program ends with status 1: "raise" a
        `kavelin.RunError` afterwards, which has the result; "warn": each message is a `kavelin.RecordingWarning`; or
        "ignore": they stand in `result.messages`. Unlike a run of a layout, it warns if nothing is said: recordings of real
        units often have rows that cannot be used, and the verdict says what the result is worth.

    The result has `status` 1 then. Where the program would end with 2, it is an exception with the program's text.
    """
    require(errors)
    choice = reading(sensor, format, dialect, axes, map, units, rate)
    path, other = reference_of(reference)
    given = arguments([("filter", filter, text), ("calibration", calibration, units_of_body),
                       ("mount", mount, units_of_body), ("frame", frame, text), ("output_rate", output_rate, positive),
                       ("reference", path or None, text), ("movement", movement, file_text), ("align", align, text)])
    loaded = names(plugins)
    given += settings_arguments(settings) + ["--scores"] * bool(scores)
    given += [f"--plugin={path_text(one, 'plugins')}" for one in loaded]
    if settings:
        try_settings(_kavelin.default_estimator() if filter is None else filter, settings, loaded)
    source = source_of(recording, t, acc, gyr, mag, quat, choice)
    if isinstance(source, str):
        fused = _kavelin.fuse_file(source, given + choice, other)
    else:
        fused = _kavelin.fuse(source, given + choice, other)
    result = Result(fused)
    return settle(result, result.messages, errors, RecordingWarning, "result.messages")


def try_settings(filter: str, settings: Mapping[str, Any], plugins: list[Any]) -> None:
    """Refuses what `Filter` would: as options of the program, settings are texts, which lose their types."""
    tried = _kavelin.FilterCore(filter, filter, plugins)
    for name, value in settings.items():
        own = name.removeprefix("estimator:")
        if value is not None and f'"{own}"' in tried.describe():
            try:
                tried.set(own, value)
            except UnknownName:
                pass  # of another filter in the run, or of none: the run says so


def source_of(recording: Any, t: Any, acc: Any, gyr: Any, mag: Any, quat: Any, choice: list[str]) -> Any:
    """What the compiled part takes as a recording."""
    if any(one is not None for one in (acc, gyr, mag, quat)):
        if recording is not None and t is not None:
            raise WrongType("t is given twice")
        if isinstance(recording, (Recording, str, bytes, os.PathLike)):
            raise WrongType("a recording and arrays are given; one of them is expected")
        refuse_choice(choice, ("sensor", "format", "dialect", "map"), "it is of a file; arrays have their meaning by name")
        times = t if recording is None else recording
        require_times(times, next((one for one in choice if one.startswith("--rate=")), None))
        return _kavelin.SampleArrays(times, acc, gyr, mag, quat)
    if recording is None or t is not None:
        raise WrongType("a recording is expected: a path, a kavelin.Recording, or t, acc=, gyr=, mag=")
    if isinstance(recording, Recording):
        refuse_choice(choice, None, "the recording is in memory; give this where it is read")
        return recording._recording
    if isinstance(recording, (str, bytes, os.PathLike)):
        return path_text(recording, "recording")
    raise WrongType(f"recording: a path, a kavelin.Recording, or t with acc=, gyr=, mag= is expected; this is "
                    f"{type(recording).__name__}")


def refuse_choice(choice: list[str], refused: Sequence[str] | None, why: str) -> None:
    """refused: the names; None: all."""
    said = [name for name in (one[2:].split("=")[0] for one in choice) if refused is None or name in refused]
    if said:
        raise InvalidValue(f"{', '.join(said)}: {why}")
