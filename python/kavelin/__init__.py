"""Orientation from inertial and magnetic sensor data: filters, layouts, recordings.

Times are in seconds, samples in SI units (m/s^2, rad/s) and uT, angles in radians, quaternions are w, x, y, z.
What goes wrong is an exception that is a `kavelin.Error`; its text is that of the program `kavelin`.
"""

from ._errors import Error, FileError, InvalidValue, MissingFile, ReadOnly, UnknownName, Warning, WrongType
from ._kavelin import __version__, filters

__all__ = [
    "Error", "FileError", "InvalidValue", "MissingFile", "ReadOnly", "UnknownName", "Warning", "WrongType",
    "filters",
]

for _name in __all__:
    globals()[_name].__module__ = __name__
del _name
