"""Orientation from inertial and magnetic sensor data: filters, layouts, recordings.

Times are in seconds, samples in SI units (m/s^2, rad/s) and uT, angles in radians, quaternions are w, x, y, z.
What goes wrong is an exception that is a `kavelin.Error`; its text is that of the program `kavelin`.
"""

from . import _interpreter  # first
from ._errors import (Error, FileError, InvalidValue, MissingFile, ReadOnly, RecordingWarning, RunError, UnknownName,
                      Warning, WrongType)
from ._filter import Filter, Pin, Property
from ._fuse import Errors, Result, RootMeanSquares, Verdict, Verdicts, fuse
from ._kavelin import __version__
from ._layout import Layout
from ._plugins import filters
from ._recordings import Recording, read, sensors, simulate
from ._samples import RunResult, Sample, Samples

__all__ = [
    "Error", "FileError", "InvalidValue", "MissingFile", "ReadOnly", "RecordingWarning", "RunError", "UnknownName", "Warning",
    "WrongType",
    "Filter", "Layout", "Pin", "Property", "filters",
    "Errors", "Recording", "Result", "RootMeanSquares", "Verdict", "Verdicts", "fuse", "read", "sensors", "simulate",
    "RunResult", "Sample", "Samples",
]

for _name in __all__:
    globals()[_name].__module__ = __name__
del _name
__all__.remove("Warning")  # import * shall not hide Python's own
