"""Orientation from inertial and magnetic sensor data: filters, layouts, recordings.

Times are in seconds, samples in SI units (m/s^2, rad/s) and uT, angles in radians, quaternions are w, x, y, z.
What goes wrong is an exception that is a `kavelin.Error`; its text is that of the program `kavelin`.
"""

from ._errors import (Error, FileError, InvalidValue, MissingFile, ReadOnly, RunError, UnknownName, Warning,
                      WrongType)
from ._filter import Filter, Pin, Property
from ._kavelin import __version__
from ._layout import Layout
from ._plugins import filters
from ._samples import RunResult, Sample, Samples

__all__ = [
    "Error", "FileError", "InvalidValue", "MissingFile", "ReadOnly", "RunError", "UnknownName", "Warning", "WrongType",
    "Filter", "Layout", "Pin", "Property", "filters",
    "RunResult", "Sample", "Samples",
]

for _name in __all__:
    globals()[_name].__module__ = __name__
del _name
